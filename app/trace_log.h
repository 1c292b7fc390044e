#pragma once
// The trace file of production runs: one CSV row per reader, so that quality assurance can later tell which
// reader got which configuration, on which station and when. Several programs may append to one file at
// once (two stations, or a station and a single run); platform::AppendRecord keeps their rows whole.

#include <string>

// One production run on one reader, as the trace file keeps it.
struct TraceRecord {
  std::string utc_time;        // "2026-11-24T21:41:17Z", when the run on the reader ended
  std::string host;            // the machine's host name
  std::string port;            // "COM5", "HID1"
  std::string device;          // "/dev/ttyUSB0", or an emulated bridge's socket path
  std::string adapter_serial;  // the USB adapter's or bridge's serial number; "" where there is none
  std::string identification;  // "KRD36AR,3TRACK,UART"
  std::string serial_number;   // the reader's, from its version text
  std::string firmware;        // "V1.05"
  std::string file;            // the register file's path; "" when none was found
  std::string image_sha256;    // SHA-256 of the 256 register bytes the reader was to hold; "" when none
  std::string alias;           // the alias written or kept
  int registers_written = 0;
  int result = 0;           // the run's result code (0..6, 255, 130/143 for cancelled)
  std::string result_text;  // its meaning in words, e.g. "written and checked"
  double seconds = 0;       // how long the run on this reader took
};

// The CSV header row, "\n"-terminated: utc_time,host,port,device,adapter_serial,identification,
// serial_number,firmware,file,sha256,alias,registers_written,result,result_text,seconds
std::string TraceHeader();
// One row, "\n"-terminated. A field holding a comma, a double quote, CR or LF is put in double quotes with
// its quotes doubled (RFC 4180); seconds have one decimal ("4.3").
std::string TraceRow(const TraceRecord& record);
// Appends the row through platform::AppendRecord, with TraceHeader() as the header of a new file. False
// with the reason in `error`.
bool AppendTraceRecord(const std::string& path, const TraceRecord& record, std::string* error = nullptr);
// Makes sure the trace file can be appended to before any reader is touched: creates it with its header
// when missing or empty. False with the reason in `error`.
bool PrepareTraceFile(const std::string& path, std::string* error = nullptr);
