#include "platform/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

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

bool StartPipedChild(const std::vector<std::string>& argv, PipedChild& child, std::string& error) {
  if (argv.empty()) {
    error = "no program to start";
    return false;
  }
  int in_pipe[2] = {-1, -1};
  int out_pipe[2] = {-1, -1};
  if (pipe2(in_pipe, O_CLOEXEC) != 0 || pipe2(out_pipe, O_CLOEXEC) != 0) {
    error = "pipe - " + GetSystemErrorText(errno);
    for (const int fd : {in_pipe[0], in_pipe[1], out_pipe[0], out_pipe[1]}) {
      if (fd >= 0) close(fd);
    }
    return false;
  }
  std::vector<char*> args;
  for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  // dup2 clears close-on-exec on the copies, so only the child's standard streams cross the exec.
  posix_spawn_file_actions_adddup2(&actions, in_pipe[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out_pipe[1], STDOUT_FILENO);
  pid_t pid = -1;
  const int rc = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(in_pipe[0]);
  close(out_pipe[1]);
  if (rc != 0) {
    close(in_pipe[1]);
    close(out_pipe[0]);
    error = argv[0] + " - " + GetSystemErrorText(rc);
    return false;
  }
  fcntl(in_pipe[1], F_SETFL, fcntl(in_pipe[1], F_GETFL) | O_NONBLOCK);
  fcntl(out_pipe[0], F_SETFL, fcntl(out_pipe[0], F_GETFL) | O_NONBLOCK);
  child = {pid, in_pipe[1], out_pipe[0]};
  return true;
}

void AskChildToStop(int pid) {
  if (pid > 0) kill(pid, SIGTERM);
}

std::string OwnExecutablePath() {
  std::vector<char> buffer(4096);
  for (;;) {
    const ssize_t n = readlink("/proc/self/exe", buffer.data(), buffer.size());
    if (n < 0) return {};
    if (static_cast<size_t>(n) < buffer.size()) return std::string(buffer.data(), static_cast<size_t>(n));
    buffer.resize(buffer.size() * 2);
  }
}

}  // namespace platform
