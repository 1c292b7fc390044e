#include "ui/qt/qt_event_loop.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <map>
#include <utility>

#include "platform/descriptor_set.h"
#include "platform/watch_record.h"

namespace ui_qt {

using platform::WatchRecord;

namespace {

// Runs `handler` unless it is already running further up the stack: a handler that waits (the engine
// inside a timer tick) must not be entered again by the ticks that fall due during its own wait.
struct GuardedHandler {
  std::function<void()> call;
  bool running = false;
};

void RunGuarded(const std::shared_ptr<GuardedHandler>& handler) {
  if (handler->running) return;
  const std::shared_ptr<GuardedHandler> keep = handler;  // the handler may destroy its own timer
  keep->running = true;
  keep->call();
  keep->running = false;
}

class QtLoopTimer final : public platform::LoopTimer {
 public:
  explicit QtLoopTimer(std::function<void()> on_tick) : handler_(std::make_shared<GuardedHandler>()) {
    handler_->call = std::move(on_tick);
    // The engine's receive timer runs at 1 ms; a coarse timer would stretch it to 5 % of the interval.
    timer_.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer_, &QTimer::timeout, [handler = handler_] { RunGuarded(handler); });
  }
  // A QTimer does not tick at 0 ms the way the loop's timers do: it would fire on every pass, so 1 ms.
  void Start(int interval_ms) override { timer_.start(std::max(interval_ms, 1)); }
  void Stop() override { timer_.stop(); }
  bool Active() const override { return timer_.isActive(); }

 private:
  QTimer timer_;
  std::shared_ptr<GuardedHandler> handler_;
};

}  // namespace

// Every descriptor watch of the loop sits in one descriptor set, and Qt watches only the set: a socket
// notifier knows readable and writable, but the serial control must also hear a hang-up while its reading
// is paused, which a read notifier cannot ask for without firing on every pending byte.
struct QtEventLoop::Watches {
  platform::DescriptorSet set;
  std::unique_ptr<QSocketNotifier> notifier;
  std::map<uint64_t, std::shared_ptr<WatchRecord>> records;
  uint64_t next_key = 1;

  Watches() {
    if (set.Fd() < 0) return;
    notifier = std::make_unique<QSocketNotifier>(set.Fd(), QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, [this] { Dispatch(); });
  }

  void Dispatch() {
    for (const platform::DescriptorSet::Ready& ready : set.Poll()) {
      auto it = records.find(ready.key);
      if (it == records.end()) continue;
      const std::shared_ptr<WatchRecord> watch = it->second;  // survives the handler destroying its watch
      if (watch->running || watch->removed) continue;
      // Out of the set while its handler runs: a descriptor that stays ready would otherwise wake every
      // nested wait of the handler at once, without ever being read.
      set.Remove(ready.key);
      watch->running = true;
      watch->on_ready(ready.conditions);
      watch->running = false;
      if (!watch->removed) set.Set(ready.key, watch->fd, watch->conditions);
    }
  }
};

namespace {

class QtLoopWatch final : public platform::LoopWatch {
 public:
  QtLoopWatch(std::weak_ptr<QtEventLoop::Watches> watches, uint64_t key, std::shared_ptr<WatchRecord> record)
      : watches_(std::move(watches)), key_(key), record_(std::move(record)) {}
  ~QtLoopWatch() override {
    record_->removed = true;
    if (auto watches = watches_.lock()) {
      watches->set.Remove(key_);
      watches->records.erase(key_);
    }
  }
  void SetConditions(unsigned conditions) override {
    record_->conditions = conditions;
    // A running handler's watch is outside the set; it goes back with these conditions when it returns.
    if (record_->running) return;
    if (auto watches = watches_.lock()) watches->set.Set(key_, record_->fd, conditions);
  }

 private:
  std::weak_ptr<QtEventLoop::Watches> watches_;
  uint64_t key_;
  std::shared_ptr<WatchRecord> record_;
};

}  // namespace

QtEventLoop::QtEventLoop() : watches_(std::make_shared<Watches>()) {}

QtEventLoop::~QtEventLoop() = default;

void QtEventLoop::ProcessPendingEvents() {
  QCoreApplication::processEvents();
}

void QtEventLoop::WaitForEvents(int max_ms) {
  if (max_ms == 0) {
    ProcessPendingEvents();
    return;
  }
  // The deadline is just one more event: whichever comes first ends the wait.
  QTimer deadline;
  if (max_ms > 0) {
    deadline.setSingleShot(true);
    deadline.setTimerType(Qt::PreciseTimer);
    deadline.start(max_ms);
  }
  QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  // Whatever else is ready by now runs in the same wait, as in the poll loop.
  QCoreApplication::processEvents();
}

int QtEventLoop::Run() {
  QEventLoop loop;
  QEventLoop* outer = std::exchange(running_, &loop);
  const int code = loop.exec();
  running_ = outer;
  return code;
}

void QtEventLoop::Quit(int exit_code) {
  if (running_) running_->exit(exit_code);
}

std::unique_ptr<platform::LoopTimer> QtEventLoop::CreateTimer(std::function<void()> on_tick) {
  return std::make_unique<QtLoopTimer>(std::move(on_tick));
}

std::unique_ptr<platform::LoopWatch> QtEventLoop::WatchDescriptor(int fd, unsigned conditions,
                                                                  std::function<void(unsigned)> on_ready) {
  auto record = std::make_shared<WatchRecord>();
  record->fd = fd;
  record->conditions = conditions;
  record->on_ready = std::move(on_ready);
  const uint64_t key = watches_->next_key++;
  watches_->records[key] = record;
  watches_->set.Set(key, fd, conditions);
  return std::make_unique<QtLoopWatch>(watches_, key, std::move(record));
}

void QtEventLoop::Post(std::function<void()> call) {
  // Queued to an object of the loop's thread: Qt hands the call over to that thread and wakes its loop.
  QMetaObject::invokeMethod(&post_target_, std::move(call), Qt::QueuedConnection);
}

}  // namespace ui_qt
