#include "gnet/frame_error_recovery.h"

#include <cstdlib>

#include "gnet/ucGNet.h"
#include "platform/clock.h"

namespace gnet {

FrameErrorRecovery::FrameErrorRecovery(TickSource ticks)
    : ticks_(ticks ? std::move(ticks) : TickSource([] { return platform::GetTickCount(); })) {}

bool FrameErrorRecovery::InBurst(int32_t now) const {
  // In 64 bits: across the counter's wrap the distance is large, which is what it is in time too.
  return std::llabs(static_cast<int64_t>(now) - last_tick_) <= kBurstMs;
}

bool FrameErrorRecovery::Flip(ucGNet& engine, int32_t now) const {
  if (InBurst(now)) return false;
  const std::string current = engine.Settings();
  // "Contains" rather than "equals": a port may report more than it was given, and a text that already
  // holds the wanted one is left alone.
  if (current != primary_) {
    if (current.find(primary_) == std::string::npos) engine.SetSettings(primary_);
  } else if (current.find(alternative_) == std::string::npos) {
    engine.SetSettings(alternative_);
  }
  return true;
}

void FrameErrorRecovery::OnMainEngineFrameError(ucGNet& engine) {
  const int32_t now = ticks_();
  if (Flip(engine, now)) last_tick_ = now;
}

void FrameErrorRecovery::OnSecondEngineFrameError(ucGNet& engine) {
  Flip(engine, ticks_());
}

void FrameErrorRecovery::Connect(ucGNet& main, ucGNet* second) {
  main.OnFrameError = [this, &main] { OnMainEngineFrameError(main); };
  if (second) second->OnFrameError = [this, second] { OnSecondEngineFrameError(*second); };
}

}  // namespace gnet
