#include "platform/signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <mutex>

namespace platform {

namespace {

int g_pipe[2] = {-1, -1};

// Runs in signal context: only async-signal-safe calls, errno kept for the code it interrupted.
void OnStopSignal(int number) {
  const int saved = errno;
  const auto byte = static_cast<unsigned char>(number);
  [[maybe_unused]] const ssize_t n = write(g_pipe[1], &byte, 1);
  errno = saved;
}

}  // namespace

int StopSignalFd() {
  static std::once_flag once;
  std::call_once(once, [] {
    if (pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) != 0) {
      g_pipe[0] = g_pipe[1] = -1;
      return;
    }
    struct sigaction action {};
    action.sa_handler = OnStopSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaction(number, &action, nullptr);
  });
  return g_pipe[0];
}

int TakeStopSignal() {
  if (g_pipe[0] < 0) return 0;
  int last = 0;
  unsigned char byte = 0;
  while (read(g_pipe[0], &byte, 1) == 1) last = byte;
  return last;
}

void RestoreDefaultStopSignals() {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) std::signal(number, SIG_DFL);
}

void IgnorePipeAndBackgroundReadSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGTTIN, SIG_IGN);
}

}  // namespace platform
