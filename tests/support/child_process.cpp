#include "tests/support/child_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

extern char** environ;

namespace test_support {

ChildProcess::ChildProcess(const std::vector<std::string>& argv, const std::string& output_path) {
  std::vector<char*> args;
  for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (!output_path.empty()) {
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output_path.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
  }
  pid_t pid = -1;
  const int code =
      argv.empty() ? EINVAL : posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (code != 0) {
    ADD_FAILURE() << "cannot start " << (argv.empty() ? "" : argv[0]) << ": " << std::strerror(code);
    return;
  }
  pid_ = pid;
}

ChildProcess::~ChildProcess() {
  if (pid_ > 0) Kill();
}

bool ChildProcess::Kill() {
  if (pid_ <= 0) return false;
  kill(pid_, SIGKILL);
  int status = 0;
  pid_t done;
  do {
    done = waitpid(pid_, &status, 0);
  } while (done < 0 && errno == EINTR);
  pid_ = -1;
  return done > 0 && WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
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
