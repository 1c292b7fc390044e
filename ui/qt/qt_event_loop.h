#pragma once
// The event loop of the window: the program's waits run Qt's own loop, so the window stays alive while
// the protocol engine waits for a reply, and timers, descriptor watches and posted calls are Qt events.
// A QApplication (or QCoreApplication) must exist before the loop is created.

#include <QObject>
#include <memory>

#include "platform/event_loop.h"

class QEventLoop;
class QSocketNotifier;

namespace platform {
class DescriptorSet;
}

namespace ui_qt {

class QtEventLoop final : public platform::EventLoop {
 public:
  QtEventLoop();
  ~QtEventLoop() override;
  QtEventLoop(const QtEventLoop&) = delete;
  QtEventLoop& operator=(const QtEventLoop&) = delete;

  void ProcessPendingEvents() override;
  void WaitForEvents(int max_ms) override;
  int Run() override;
  void Quit(int exit_code) override;
  std::unique_ptr<platform::LoopTimer> CreateTimer(std::function<void()> on_tick) override;
  std::unique_ptr<platform::LoopWatch> WatchDescriptor(int fd, unsigned conditions,
                                                       std::function<void(unsigned)> on_ready) override;
  void Post(std::function<void()> call) override;

  struct Watches;

 private:
  QObject post_target_;  // posted calls are queued to it and dropped with it
  std::shared_ptr<Watches> watches_;
  QEventLoop* running_ = nullptr;
};

}  // namespace ui_qt
