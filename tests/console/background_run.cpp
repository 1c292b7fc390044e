#include "tests/console/background_run.h"

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/fd_io.h"

namespace console_test {

namespace {
constexpr int64_t kPatienceMs = 60000;
}

BackgroundRun::BackgroundRun(const ConsoleBench& bench, const std::vector<std::string>& args) {
  std::string error;
  if (!platform::StartPipedChild(bench.Command(args), child_, error)) {
    ADD_FAILURE() << "cannot start msrcfg: " << error;
  }
}

BackgroundRun::~BackgroundRun() {
  if (child_.pid <= 0) return;
  platform::KillChild(child_.pid);
  platform::ChildUsage usage;
  platform::WaitChild(child_.pid, usage);
  platform::CloseFd(child_.to_child);
  platform::CloseFd(child_.from_child);
}

bool BackgroundRun::ReadSome(int wait_ms) {
  if (ended_ || child_.pid <= 0) return false;
  if (platform::WaitReadable(child_.from_child, wait_ms) <= 0) return true;
  uint8_t buffer[4096];
  const long n = platform::ReadFd(child_.from_child, buffer, sizeof buffer);
  if (n == 0 || (n < 0 && !platform::WouldBlock(n))) {
    ended_ = true;
    return false;
  }
  if (n > 0) pending_.append(reinterpret_cast<const char*>(buffer), static_cast<size_t>(n));
  for (size_t end; (end = pending_.find('\n')) != std::string::npos;) {
    lines_.push_back(pending_.substr(0, end));
    pending_.erase(0, end + 1);
  }
  return true;
}

bool BackgroundRun::WaitForLines(const std::string& text, size_t count) {
  const int64_t deadline = platform::MonotonicMs() + kPatienceMs;
  while (LinesWith(text).size() < count) {
    const int64_t left = deadline - platform::MonotonicMs();
    if (left <= 0 || !ReadSome(static_cast<int>(left))) return false;
  }
  return true;
}

int BackgroundRun::Stop() {
  if (child_.pid <= 0) return -1;
  platform::AskChildToStop(child_.pid);
  const int64_t deadline = platform::MonotonicMs() + kPatienceMs;
  while (ReadSome(static_cast<int>(std::max<int64_t>(deadline - platform::MonotonicMs(), 0)))) {
    if (platform::MonotonicMs() >= deadline) {
      ADD_FAILURE() << "msrcfg did not end within a minute of SIGTERM";
      break;
    }
  }
  platform::ChildUsage usage;
  if (!ended_) platform::KillChild(child_.pid);
  platform::WaitChild(child_.pid, usage);
  platform::CloseFd(child_.to_child);
  platform::CloseFd(child_.from_child);
  child_.pid = -1;
  return usage.exit_code;
}

std::vector<std::string> BackgroundRun::LinesWith(const std::string& text) const {
  std::vector<std::string> found;
  for (const std::string& line : lines_) {
    if (line.find(text) != std::string::npos) found.push_back(line);
  }
  return found;
}

}  // namespace console_test
