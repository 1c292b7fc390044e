#pragma once
// The bookkeeping of one descriptor watch, shared by the event-loop back ends.

#include <functional>

namespace platform {

struct WatchRecord {
  int fd = -1;
  unsigned conditions = 0;
  std::function<void(unsigned)> on_ready;
  bool running = false;  // its handler is on the stack: a nested wait must not run it again
  bool removed = false;
};

}  // namespace platform
