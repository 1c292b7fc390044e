#include "app/console_port_advice.h"

#include "platform/text.h"

namespace {

// How one kind of port is named and mapped.
struct PortKind {
  const char* noun;
  const char* example_name;
  const char* example_device;
  const char* section;
};
constexpr PortKind kSerial{"serial port", "COM3", "/dev/ttyUSB0", "SerialPorts"};
constexpr PortKind kHid{"HID bridge", "HID1", "/dev/hidraw0", "HIDPorts"};

template <typename Port>
std::string KnownPortsText(const PortKind& kind, const std::vector<Port>& known) {
  if (known.empty()) return std::string("no ") + kind.noun + "s are known";
  std::string text = "known ports:";
  for (size_t i = 0; i < known.size(); ++i) {
    text += (i == 0 ? " " : ", ") + known[i].name + " = " + known[i].device;
  }
  return text;
}

}  // namespace

std::vector<std::string> PortOpenAdvice(const std::string& port, const platform::PortResult& result,
                                        const std::vector<platform::SerialPortInfo>& serial,
                                        const std::vector<platform::HidPortInfo>& hid,
                                        const std::string& settings_path) {
  if (!result.ok && result.failure != platform::PortFailure::kNotPresent) return {result.message};
  const bool is_hid = platform::text::StartsWithNoCase(port, "HID");
  const PortKind& kind = is_hid ? kHid : kSerial;
  const std::string known = is_hid ? KnownPortsText(kind, hid) : KnownPortsText(kind, serial);
  const std::string reason = result.ok ? port + " is not a port name" : result.message;
  // The example line names the port asked for, so a technician can copy it and change only the device.
  const bool named_like_kind = is_hid || platform::text::StartsWithNoCase(port, "COM");
  const std::string name = named_like_kind ? port : kind.example_name;
  const std::string map_line = "\"" + name + " = " + kind.example_device + "\"";
  return {reason + "; " + known, "to map " + name + " to a device, add the line " + map_line +
                                     " to section [" + kind.section + "] of " + settings_path};
}
