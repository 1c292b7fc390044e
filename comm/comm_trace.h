#pragma once
// Diagnostic lines of the port layer, such as "SetCOMMSettings - Parity Error". They explain why a
// settings change did not take, which the port objects never report to their callers. Nobody sees them
// unless a sink is installed: a test that captures them, or a debug switch of the program that writes
// them to its log. Everything runs on the user-interface thread, so the sink needs no lock.

#include <functional>
#include <string>

namespace comm {

using TraceSink = std::function<void(const std::string& line)>;

// Installs `sink` and returns the one it replaces; an empty function makes the layer silent again.
TraceSink SetTraceSink(TraceSink sink);
void Trace(const std::string& line);

}  // namespace comm
