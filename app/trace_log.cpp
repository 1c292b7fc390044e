// The trace file's columns and their CSV form.
#include "app/trace_log.h"

#include <charconv>
#include <cmath>

#include "platform/record_file.h"

namespace {

// The columns in file order, with the field each one shows. The header and the rows are made from this
// one table, so they cannot disagree.
struct Column {
  const char* name;
  std::string (*value)(const TraceRecord&);
};

// "4.3": to_chars ignores the locale, which a window toolkit may have set to one with a decimal comma.
std::string Seconds(double seconds) {
  if (!std::isfinite(seconds) || seconds < 0) seconds = 0;
  char text[32];
  const auto [end, ec] = std::to_chars(text, text + sizeof text, seconds, std::chars_format::fixed, 1);
  return ec == std::errc{} ? std::string(text, end) : "0.0";
}

const Column kColumns[] = {
    {"utc_time", [](const TraceRecord& r) { return r.utc_time; }},
    {"host", [](const TraceRecord& r) { return r.host; }},
    {"port", [](const TraceRecord& r) { return r.port; }},
    {"device", [](const TraceRecord& r) { return r.device; }},
    {"adapter_serial", [](const TraceRecord& r) { return r.adapter_serial; }},
    {"identification", [](const TraceRecord& r) { return r.identification; }},
    {"serial_number", [](const TraceRecord& r) { return r.serial_number; }},
    {"firmware", [](const TraceRecord& r) { return r.firmware; }},
    {"file", [](const TraceRecord& r) { return r.file; }},
    {"sha256", [](const TraceRecord& r) { return r.image_sha256; }},
    {"alias", [](const TraceRecord& r) { return r.alias; }},
    {"registers_written", [](const TraceRecord& r) { return std::to_string(r.registers_written); }},
    {"result", [](const TraceRecord& r) { return std::to_string(r.result); }},
    {"result_text", [](const TraceRecord& r) { return r.result_text; }},
    {"seconds", [](const TraceRecord& r) { return Seconds(r.seconds); }},
};

// RFC 4180: a field that holds the separator, a quote or a line break is quoted, its quotes doubled.
std::string CsvField(const std::string& value) {
  if (value.find_first_of(",\"\r\n") == std::string::npos) return value;
  std::string quoted = "\"";
  for (char c : value) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + "\"";
}

}  // namespace

std::string TraceHeader() {
  std::string header;
  for (const Column& column : kColumns) header += (header.empty() ? "" : ",") + std::string(column.name);
  return header + "\n";
}

std::string TraceRow(const TraceRecord& record) {
  std::string row;
  bool first = true;
  for (const Column& column : kColumns) {
    if (!first) row += ',';
    first = false;
    row += CsvField(column.value(record));
  }
  return row + "\n";
}

bool AppendTraceRecord(const std::string& path, const TraceRecord& record, std::string* error) {
  return platform::AppendRecord(path, TraceHeader(), TraceRow(record), error);
}

bool PrepareTraceFile(const std::string& path, std::string* error) {
  return platform::AppendRecord(path, TraceHeader(), "", error);
}
