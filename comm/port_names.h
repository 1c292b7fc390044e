#pragma once
// The serial port list as the port objects hand it out: "COM"n names only, at most 256 of them, in
// ascending order of n.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/serial_registry.h"

namespace comm {

// The n of a "COM"n name, read as the number its rest starts with (0 when none: "COM" alone); nothing
// without the exact-case prefix, since lower-case names may belong to another port object.
std::optional<double> SerialPortNumber(std::string_view name);

// The names of `ports` that serve as port names, in the order given and then sorted by number.
// Only names beginning with "COM" (exact case) are kept. A name longer than seven characters ends the
// list and no more than 256 entries are looked at: every caller's port-name buffers and the scan's
// port numbers were sized for that, and a stray long name must not push real ports out.
std::vector<std::string> SerialPortNames(const std::vector<platform::SerialPortInfo>& ports);

// Sorts "COM"n names by n (COM10 after COM9) with a plain exchange sort, swapping
// only when the later number is smaller.
void SortPortNamesByNumber(std::vector<std::string>& names);

}  // namespace comm
