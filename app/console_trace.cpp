#include "app/console_trace.h"

#include "app/sha256.h"
#include "platform/clock.h"
#include "platform/hid_ports.h"
#include "platform/record_file.h"
#include "platform/serial_registry.h"
#include "platform/text.h"

PortIdentity LookUpPort(const std::string& port) {
  const std::string name = platform::text::Upper(port);
  for (const platform::SerialPortInfo& info : platform::ListSerialPorts()) {
    if (platform::text::Upper(info.name) == name) return {info.device, info.usb_serial};
  }
  for (const platform::HidPortInfo& info : platform::ListHidPorts()) {
    if (platform::text::Upper(info.name) == name) return {info.device, info.serial};
  }
  return {};
}

void SplitVersionText(const std::string& version, std::string& serial_number, std::string& firmware) {
  const size_t comma = version.find(',');
  if (comma == std::string::npos) {
    serial_number = version;
    firmware.clear();
    return;
  }
  serial_number = platform::text::Trim(version.substr(0, comma));
  firmware = platform::text::Trim(version.substr(comma + 1));
}

TraceRecord MakeTraceRecord(const std::string& port, const PortIdentity& identity,
                            const ConsoleJobRecord& job, int status, double seconds,
                            const std::string& result_text) {
  TraceRecord record;
  record.utc_time = platform::UtcTimeIso8601();
  record.host = platform::HostName();
  record.port = platform::text::Upper(port);
  record.device = identity.device;
  record.adapter_serial = identity.adapter_serial;
  record.identification = job.identification;
  SplitVersionText(job.version_text, record.serial_number, record.firmware);
  record.file = job.file;
  if (!job.image.empty()) record.image_sha256 = Sha256Hex(job.image);
  record.alias = job.alias;
  record.registers_written = job.registers_written;
  record.result = status;
  record.result_text =
      result_text.empty() ? console_result::MeaningOf(status, job.registers_written) : result_text;
  record.seconds = seconds;
  return record;
}
