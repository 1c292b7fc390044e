#include "tests/support/child_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "platform/child_process.h"
#include "platform/fd_io.h"
#include "platform/file_system.h"
#include "platform/paths.h"

namespace test_support {

ChildProcess::ChildProcess(std::vector<std::string> argv, const std::string& output_path, bool report) {
  int pipe_fds[2] = {-1, -1};
  if (report) {
    // Only the write end is inherited, so the read end sees the end of the file once the program is gone.
    if (pipe2(pipe_fds, O_CLOEXEC) != 0 || fcntl(pipe_fds[1], F_SETFD, 0) != 0) {
      ADD_FAILURE() << "cannot make a pipe: " << std::strerror(errno);
      return;
    }
    report_fd_ = pipe_fds[0];
    argv.push_back("--report-fd=" + std::to_string(pipe_fds[1]));
  }
  std::string error;
  const int pid = platform::StartChild(argv, error, output_path);
  platform::CloseFd(pipe_fds[1]);
  if (pid < 0) {
    ADD_FAILURE() << "cannot start: " << error;
    return;
  }
  pid_ = pid;
}

ChildProcess::~ChildProcess() {
  if (pid_ > 0) Kill();
  platform::CloseFd(report_fd_);
}

bool ChildProcess::WaitReport() {
  uint8_t byte = 0;
  return report_fd_ >= 0 && platform::WaitReadable(report_fd_, 60000) == 1 &&
         platform::ReadFd(report_fd_, &byte, 1) == 1;
}

bool ChildProcess::Kill() {
  if (pid_ <= 0) return false;
  platform::KillChild(pid_);
  platform::ChildUsage usage;
  const bool reaped = platform::WaitChild(pid_, usage);
  pid_ = -1;
  return reaped && usage.signal == SIGKILL;
}

bool ChildProcess::Finish() {
  if (pid_ <= 0) return false;
  platform::ChildUsage usage;
  const bool reaped = platform::WaitChild(pid_, usage);
  pid_ = -1;
  return reaped && usage.exit_code == 0;
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

void LeaveAbandonedTemporaryFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
  const std::string name = platform::BaseName(path);
  if (setxattr(path.c_str(), platform::kTemporaryFileMark, name.data(), name.size(), 0) != 0) {
    ADD_FAILURE() << "cannot mark " << path << ": " << std::strerror(errno);
  }
}

}  // namespace test_support
