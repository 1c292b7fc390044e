#pragma once
// The process's standard output and standard error, as the console batch mode uses them: lines a script
// reads on standard output, a progress line for a person on standard error.

#include <string>

namespace platform {

enum class StandardStream { kOutput, kError };

// Writes `text` byte for byte and flushes it, so a script reading a pipe sees each line as it happens.
// False when the stream is closed or gone (a reader of the pipe that went away).
bool WriteStandardStream(StandardStream stream, const std::string& text);

// True when the stream is a terminal: a progress line can then be redrawn in place with a carriage return.
bool IsTerminal(StandardStream stream);

}  // namespace platform
