#pragma once
// What the main window does when an engine reports a framing error outside a transaction: a reader that
// talks at the other of two line settings garbles every byte, so the settings flip between the primary
// and the alternative text until the errors stop. Errors in one burst count once.
//
// The window has a main engine and, in test mode, a second one. Both handlers measure the burst from the
// last error the main engine acted on; only the main handler moves that mark. So once the main engine has
// been quiet for the burst time, every framing error on the second engine flips its settings again. The
// second engine's reader is a test fixture that is expected to settle on its own; keep the asymmetry.

#include <cstdint>
#include <functional>
#include <string>

class ucGNet;

namespace gnet {

class FrameErrorRecovery {
 public:
  // Errors closer together than this belong to one burst.
  static constexpr int32_t kBurstMs = 50;
  using TickSource = std::function<int32_t()>;

  // `ticks` nullptr means the system tick counter.
  explicit FrameErrorRecovery(TickSource ticks = nullptr);

  // The two settings texts, e.g. "19200,N,8,1" and "9600,N,8,1"; both must be set before the first error.
  const std::string& Primary() const { return primary_; }
  void SetPrimary(const std::string& settings) { primary_ = settings; }
  const std::string& Alternative() const { return alternative_; }
  void SetAlternative(const std::string& settings) { alternative_ = settings; }

  // The handlers of the engines' OnFrameError.
  void OnMainEngineFrameError(ucGNet& engine);
  void OnSecondEngineFrameError(ucGNet& engine);
  // Routes both engines' OnFrameError to the handlers; `second` may be nullptr. The engines must not
  // outlive this object while connected.
  void Connect(ucGNet& main, ucGNet* second);

  // The tick of the last error the main handler acted on (0 before the first).
  int32_t LastErrorTick() const { return last_tick_; }

 private:
  // Flips the engine's settings unless `now` lies within the burst; false when it did nothing.
  bool Flip(ucGNet& engine, int32_t now) const;
  bool InBurst(int32_t now) const;

  TickSource ticks_;
  std::string primary_;
  std::string alternative_;
  int32_t last_tick_ = 0;
};

}  // namespace gnet
