#pragma once
// The settings text of a serial port, "baud,parity,databits,stopbits" such as "9600,N,8,1".

#include <optional>
#include <string>

#include "platform/comm_state.h"

namespace platform {

// The four fields as line settings, or nothing when the text does not have that form: exactly four
// comma-separated fields (blanks around a field are allowed), the rate a non-negative whole number,
// parity one of N O E M S in either case, data bits 4 to 8, stop bits 1, 1.5 or 2. Whether the device
// can run the combination (4 data bits, a rate of 0) is for the device to say.
// comm::ParseSettingsText differs on purpose: it reads the port interface's texts the lenient way
// (leading numbers, rounding, named rates); this strict form guards what reaches a device.
std::optional<CommState> ParseLineSettings(const std::string& settings);

}  // namespace platform
