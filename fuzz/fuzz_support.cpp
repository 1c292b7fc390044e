#include "fuzz/fuzz_support.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "platform/file_system.h"

namespace fuzz {

void Fail(const std::string& what) {
  std::fprintf(stderr, "invariant failed: %s\n", what.c_str());
  std::abort();
}

namespace {

std::string scratch_path;

constexpr const char* kScratchPrefix = "msr-fuzz-";

void RemoveScratch() {
  if (!scratch_path.empty()) platform::RemoveTree(scratch_path);
}

// A crash, a time-out or a kill ends the process without its exit handlers: folders of processes that are
// gone are removed by the next run instead.
void RemoveAbandonedScratch(const std::string& parent) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(parent, error)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind(kScratchPrefix, 0) != 0) continue;
    const std::string pid =
        name.substr(std::strlen(kScratchPrefix),
                    name.find('-', std::strlen(kScratchPrefix)) - std::strlen(kScratchPrefix));
    if (pid.empty() || pid.find_first_not_of("0123456789") != std::string::npos) continue;
    if (!platform::DirectoryExists("/proc/" + pid)) platform::RemoveTree(entry.path().string());
  }
}

}  // namespace

const std::string& ScratchFolder() {
  if (scratch_path.empty()) {
    const std::string parent = platform::DirectoryExists("/dev/shm") ? "/dev/shm" : "/tmp";
    RemoveAbandonedScratch(parent);
    std::string error;
    const std::string prefix = kScratchPrefix + std::to_string(getpid()) + "-";
    scratch_path = platform::MakeUniqueDirectory(parent, prefix, &error);
    if (scratch_path.empty()) Fail("cannot create a scratch folder: " + error);
    std::atexit(RemoveScratch);
  }
  return scratch_path;
}

std::string WriteScratchFile(const std::string& name, const std::string& content) {
  const std::string path = ScratchFolder() + "/" + name;
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
  if (!out.flush()) Fail("cannot write " + path);
  return path;
}

std::string CarriedValue(const std::string& value) {
  std::string out;
  for (size_t i = 0; i < value.size(); ++i) {
    const char c = value[i];
    if (c == '\r' && i + 1 < value.size() && value[i + 1] == '\n') {
      out += "\r\n";
      ++i;
    } else if (c == '\r' || c == '\n') {
      out += ' ';
    } else if (c == '\\') {
      out += '/';
    } else {
      out += c;
    }
  }
  // Reading trims these (the line break's own bytes included) and strips one quote at each end.
  const std::string trimmed = " \t\r\n\v\f\"";
  const size_t begin = out.find_first_not_of(trimmed);
  if (begin == std::string::npos) return {};
  return out.substr(begin, out.find_last_not_of(trimmed) - begin + 1);
}

std::vector<std::string> SplitInput(const std::string& text, char separator, size_t max_parts) {
  std::vector<std::string> parts;
  size_t start = 0;
  while (parts.size() + 1 < max_parts) {
    const size_t at = text.find(separator, start);
    if (at == std::string::npos) break;
    parts.push_back(text.substr(start, at - start));
    start = at + 1;
  }
  parts.push_back(text.substr(start));
  return parts;
}

}  // namespace fuzz
