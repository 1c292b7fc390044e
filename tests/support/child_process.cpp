#include "tests/support/child_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/child_process.h"

namespace test_support {

ChildProcess::ChildProcess(const std::vector<std::string>& argv, const std::string& output_path) {
  std::string error;
  const int pid = platform::StartChild(argv, error, output_path);
  if (pid < 0) {
    ADD_FAILURE() << "cannot start: " << error;
    return;
  }
  pid_ = pid;
}

ChildProcess::~ChildProcess() {
  if (pid_ > 0) Kill();
}

bool ChildProcess::Kill() {
  if (pid_ <= 0) return false;
  platform::KillChild(pid_);
  platform::ChildUsage usage;
  const bool reaped = platform::WaitChild(pid_, usage);
  pid_ = -1;
  return reaped && usage.signal == SIGKILL;
}

HeldFileLock::HeldFileLock(const std::string& path) {
  fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd_ < 0 || flock(fd_, LOCK_EX | LOCK_NB) != 0) {
    ADD_FAILURE() << "cannot lock " << path << ": " << std::strerror(errno);
  }
}

HeldFileLock::~HeldFileLock() {
  if (fd_ >= 0) close(fd_);
}

}  // namespace test_support
