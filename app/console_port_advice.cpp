#include "app/console_port_advice.h"

#include "platform/text.h"

namespace {

constexpr const char* kSerialPrefix = "COM";
constexpr const char* kExampleDevice = "/dev/ttyUSB0";

std::string KnownPortsText(const std::vector<platform::SerialPortInfo>& known) {
  if (known.empty()) return "no serial ports are known";
  std::string text = "known ports:";
  for (size_t i = 0; i < known.size(); ++i) {
    text += (i == 0 ? " " : ", ") + known[i].name + " = " + known[i].device;
  }
  return text;
}

}  // namespace

std::vector<std::string> PortOpenAdvice(const std::string& port, const platform::PortResult& result,
                                        const std::vector<platform::SerialPortInfo>& known,
                                        const std::string& settings_path) {
  if (!result.ok && result.failure != platform::PortFailure::kNotPresent) return {result.message};
  const std::string reason = result.ok ? port + " is not a serial port name" : result.message;
  // The example line names the port asked for, so a technician can copy it and change only the device.
  const std::string name = platform::text::StartsWithNoCase(port, kSerialPrefix) ? port : "COM3";
  const std::string map_line = "\"" + name + " = " + kExampleDevice + "\"";
  return {reason + "; " + KnownPortsText(known), "to map " + name + " to a device, add the line " + map_line +
                                                     " to section [SerialPorts] of " + settings_path};
}
