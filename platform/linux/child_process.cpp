#include "platform/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "platform/system_error.h"

extern char** environ;

namespace platform {
namespace {

int64_t Micros(const timeval& tv) {
  return static_cast<int64_t>(tv.tv_sec) * 1'000'000 + tv.tv_usec;
}

// One wait4 call; `options` 0 blocks, WNOHANG does not.
bool Reap(int pid, ChildUsage& usage, int options) {
  int status = 0;
  rusage ru{};
  pid_t done = -1;
  do {
    done = wait4(pid, &status, options, &ru);
  } while (done < 0 && errno == EINTR);
  if (done <= 0) return false;
  usage.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  usage.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  usage.cpu_micros = Micros(ru.ru_utime) + Micros(ru.ru_stime);
  usage.max_resident_kb = ru.ru_maxrss;  // kilobytes on Linux
  return true;
}

}  // namespace

int StartChild(const std::vector<std::string>& argv, std::string& error, const std::string& output_path) {
  if (argv.empty()) {
    error = "no program to start";
    return -1;
  }
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
  // posix_spawnp reports a program that cannot be executed as its result, not as a child that exits 127.
  const int rc = posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (rc != 0) {
    error = argv[0] + " - " + GetSystemErrorText(rc);
    return -1;
  }
  return pid;
}

bool WaitChild(int pid, ChildUsage& usage) {
  return Reap(pid, usage, 0);
}

bool TryWaitChild(int pid, ChildUsage& usage) {
  return Reap(pid, usage, WNOHANG);
}

void KillChild(int pid) {
  if (pid > 0) kill(pid, SIGKILL);
}

}  // namespace platform
