#include "platform/console.h"

#include <unistd.h>

#include <cerrno>

namespace platform {

namespace {

int DescriptorOf(StandardStream stream) {
  return stream == StandardStream::kOutput ? STDOUT_FILENO : STDERR_FILENO;
}

}  // namespace

bool WriteStandardStream(StandardStream stream, const std::string& text) {
  const int fd = DescriptorOf(stream);
  size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

bool IsTerminal(StandardStream stream) {
  return isatty(DescriptorOf(stream)) == 1;
}

}  // namespace platform
