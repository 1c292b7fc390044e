#pragma once
// Why a port named on the command line did not open, in words a technician can act on: the port's own
// reason (no permission, in use, ...), and for a name that leads to no device the names that do and how
// to map one in the settings file. Serial ports are mapped in section SerialPorts, HID bridges in HIDPorts.

#include <string>
#include <vector>

#include "platform/hid_ports.h"
#include "platform/serial_control.h"
#include "platform/serial_registry.h"

// One or two lines. `result` is what the open gave; ok means no port object took the name at all.
// `serial` and `hid` list the ports there are, `settings_path` the per-user settings file that maps names.
std::vector<std::string> PortOpenAdvice(const std::string& port, const platform::PortResult& result,
                                        const std::vector<platform::SerialPortInfo>& serial,
                                        const std::vector<platform::HidPortInfo>& hid,
                                        const std::string& settings_path);
