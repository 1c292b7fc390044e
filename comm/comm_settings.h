#pragma once
// The settings string of a serial line, "baud,parity,databits,stopbits" such as "19200,N,8,1", and the
// four fields of the device-control block it stands for. Pure functions, so the rules can be tested and
// fuzzed without a port.

#include <optional>
#include <string>
#include <vector>

#include "platform/comm_state.h"

namespace comm {

// Fills the four line fields of `state` from a full settings string. Returns an empty text when every
// field passed, else the failed check ("Param Count Error", "BaudRate Error", "Parity Error",
// "ByteSize Error", "Stop Bits Error"); checks stop at the first failure and `state` is then unchanged.
// Lenient where platform::ParseLineSettings is strict, on purpose: fields are read as leading numbers.
std::string ParseSettingsText(const std::string& settings, platform::CommState& state);

// The settings string of `state`, or an empty text when a field holds a code that has no letter or
// digit. Every field is checked; `errors` receives each failed check ("Parity Error", "ByteSize Error",
// "Stop Bits Error").
std::string FormatSettingsText(const platform::CommState& state, std::vector<std::string>& errors);

// Applies a partial settings value to the four `current` fields: each comma-separated token replaces
// the field its number belongs to (a parity letter, 1/1.5/2 stop bits, 4..8 data bits, anything else the
// baud rate), a later token of the same kind winning. Empty when `current` does not have four fields
// or no token replaced anything.
std::optional<std::string> MergeSettingsText(const std::string& current, const std::string& value);

}  // namespace comm
