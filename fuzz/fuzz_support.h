#pragma once
// What the fuzz targets share: a failed invariant that stops the run like a crash, a scratch folder for
// files, and the values an INI file of the program can carry through a write and a read.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fuzz {

// Prints `what` and aborts, so libFuzzer saves the input as a crash.
[[noreturn]] void Fail(const std::string& what);
inline void Check(bool condition, const std::string& what) {
  if (!condition) Fail(what);
}

// A folder created once per process and removed at its end. In memory (/dev/shm) when the machine has it:
// every INI change is flushed to disk, which on a real disk would make each run take milliseconds.
const std::string& ScratchFolder();
// Writes `content` byte for byte to `name` in the scratch folder and returns its path.
std::string WriteScratchFile(const std::string& name, const std::string& content);

// `value` changed into one that the INI dialect writes and reads back unchanged: no backslash (it would
// start an escape), line breaks only as CR LF pairs, and no blanks or double quotes at either end (they are
// trimmed or stripped on reading).
std::string CarriedValue(const std::string& value);

// `text` split at `separator`, at most `max_parts` parts (the last one keeps the rest).
std::vector<std::string> SplitInput(const std::string& text, char separator, size_t max_parts);

}  // namespace fuzz
