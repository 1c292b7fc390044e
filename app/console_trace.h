#pragma once
// Turns what a run on a reader learnt into the row the trace file keeps: where the reader was (port,
// device, the adapter's serial number), who it was (identification, serial number, firmware), what it got
// (file, the image's SHA-256, alias, registers written) and how it ended.

#include <string>

#include "app/console_batch.h"
#include "app/trace_log.h"

// The device behind a port name and the serial number of its USB adapter or bridge, as the port lists
// show them now. Taken before a run starts: after an unplug the port is no longer listed.
struct PortIdentity {
  std::string device;
  std::string adapter_serial;
};
PortIdentity LookUpPort(const std::string& port);

// A reader's version text split at its first ",": the serial number before it and the firmware version
// after it, both trimmed ("12345678, V1.05"). Without a "," the whole text, as it is, is the serial number.
void SplitVersionText(const std::string& version, std::string& serial_number, std::string& firmware);

// The row of a run that ended with exit status `status` after `seconds`, at the time of this call.
// `result_text` empty: the status's meaning.
TraceRecord MakeTraceRecord(const std::string& port, const PortIdentity& identity,
                            const ConsoleJobRecord& job, int status, double seconds,
                            const std::string& result_text = "");
