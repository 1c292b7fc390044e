#pragma once
// Counts a call of the engine as Busy from its entry to every way out, so that a window closing in the
// middle of it only asks for cancellation.

#include <cstdint>

namespace gnet {

class BusyScope {
 public:
  explicit BusyScope(int16_t& count) : count_(count) { ++count_; }
  ~BusyScope() { --count_; }
  BusyScope(const BusyScope&) = delete;
  BusyScope& operator=(const BusyScope&) = delete;

 private:
  int16_t& count_;
};

}  // namespace gnet
