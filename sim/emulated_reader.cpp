#include "sim/emulated_reader.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <optional>

#include "platform/clock.h"
#include "platform/event_loop.h"
#include "sim/reader_line.h"

namespace msrsim {

namespace {

// Microseconds one byte takes on the line: start bit, 8 data bits, stop bit.
int64_t ByteMicros(uint32_t rate) {
  return rate == 0 ? 0 : 10'000'000 / rate;
}

}  // namespace

std::string FormatTransaction(const Transaction& transaction) {
  std::string line = Printable(transaction.request) + " -> " + Printable(transaction.reply);
  switch (transaction.fate) {
    case ReplyFate::kSent:
      break;
    case ReplyFate::kGarbled:
      line += " (garbled: host at " + std::to_string(transaction.host_rate) + ", reader at " +
              std::to_string(transaction.reader_rate) + ")";
      break;
    case ReplyFate::kDropped:
      line += " (dropped)";
      break;
    case ReplyFate::kSilent:
      line += " (not sent: silent)";
      break;
  }
  return line;
}

// Everything that lives on the reader's thread. Only Post() of its loop is called from other threads.
struct EmulatedReader::Worker {
  // Bytes waiting for the line, with what to do once they are out.
  struct Pending {
    LineOutput output;
    int64_t not_before_us = 0;
    int64_t start_us = -1;
    size_t sent = 0;
    std::optional<uint32_t> set_line_rate;  // a device moves its own rate once earlier bytes are out
    bool close_line = false;
  };

  // A closing pty drops what the host has not read yet, so the last reply gets time to be read first.
  static constexpr int64_t kCloseGraceMicros = 100'000;
  static constexpr int64_t kSendTickMicros = 1000;

  explicit Worker(EmulatedReader& reader) : owner(reader) {}

  EmulatedReader& owner;
  platform::PollEventLoop loop;
  std::unique_ptr<ReaderLine> line;
  std::unique_ptr<platform::LoopTimer> send_timer;
  std::unique_ptr<platform::LoopTimer> swipe_timer;
  std::deque<Pending> queue;

  bool LineUp() const { return line && line->IsOpen(); }

  void Run() {
    line->SetLog([this](const std::string& text) { Log(text); });
    line->Attach([this](const uint8_t* data, size_t size) { Serve(data, size); },
                 [this] {
                   Log("line lost");
                   CloseLine(true);
                 });
    send_timer = loop.CreateTimer([this] { Pump(); });
    if (owner.config_.swipe_every_ms > 0) {
      swipe_timer = loop.CreateTimer([this] { SendSwipe(owner.config_.swipe_text); });
      swipe_timer->Start(owner.config_.swipe_every_ms);
    }
    for (const std::string& text : owner.config_.swipes_at_start) SendSwipe(text);
    loop.Run();
    CloseLine(false);
    // Timers and the line refer to the loop: they go first.
    send_timer.reset();
    swipe_timer.reset();
    line.reset();
  }

  void Log(const std::string& text) const {
    if (owner.on_log) owner.on_log(text);
  }

  void Serve(const uint8_t* data, size_t size) {
    const uint32_t host_rate = line->HostRate();
    FeedResult result;
    {
      std::lock_guard lock(owner.mutex_);
      result = owner.core_.Feed(data, size, host_rate);
      for (const Transaction& t : result.transactions) {
        owner.history_.push_back(t);
        if (owner.history_.size() > kHistory) owner.history_.pop_front();
      }
    }
    owner.changed_.notify_all();
    for (const Transaction& t : result.transactions) Log(FormatTransaction(t));
    const int64_t now = platform::MonotonicMicros();
    for (LineOutput& output : result.outputs) {
      const int64_t delay = output.is_reply ? static_cast<int64_t>(output.delay_ms) * 1000 : 0;
      Enqueue(std::move(output), now + delay);
    }
    Pump();
  }

  void SendSwipe(const std::string& text) {
    if (!LineUp()) return;
    const uint32_t host_rate = line->HostRate();
    std::optional<LineOutput> output;
    bool garbled = false;
    {
      std::lock_guard lock(owner.mutex_);
      output = owner.core_.Swipe(text, host_rate);
      garbled = host_rate != 0 && host_rate != owner.core_.LineRate();
    }
    if (!output) return;
    Log("swipe " + Printable(text) + (garbled ? " (garbled)" : ""));
    Enqueue(std::move(*output), platform::MonotonicMicros());
    Pump();
  }

  void Enqueue(LineOutput output, int64_t not_before_us) {
    Pending pending;
    pending.output = std::move(output);
    pending.not_before_us = not_before_us;
    queue.push_back(std::move(pending));
  }

  // Writes what is due. Without pacing a reply goes out in one write; with pacing each tick writes the
  // bytes whose time on the line has come. A full pty buffer (host not reading) just waits for the next tick.
  void Pump() {
    while (!queue.empty() && LineUp()) {
      Pending& item = queue.front();
      const int64_t now = platform::MonotonicMicros();
      if (now < item.not_before_us) break;
      if (item.start_us < 0) item.start_us = now;

      const Bytes& bytes = item.output.bytes;
      size_t due = bytes.size();
      const int64_t byte_us = ByteMicros(item.output.rate);
      if (owner.config_.pacing && byte_us > 0) {
        // A byte is on the far side once all its bits are: the k-th is due k byte times after the start.
        due = std::min(bytes.size(), static_cast<size_t>((now - item.start_us) / byte_us));
      }
      while (item.sent < due) {
        const long n = line->Write(bytes.data() + item.sent, due - item.sent);
        if (n < 0) {
          Log("line failed");
          CloseLine(true);
          return;
        }
        if (n == 0) break;  // the line takes nothing now; the next tick tries again
        item.sent += static_cast<size_t>(n);
      }
      if (item.sent < bytes.size()) {
        // Bytes follow each other faster than the ticks come: when the next one is due before the next
        // tick, this thread sleeps until its moment, so a reply takes its line time to the microsecond.
        if (owner.config_.pacing && byte_us > 0 && item.sent >= due) {
          const int64_t wait =
              item.start_us + static_cast<int64_t>(item.sent + 1) * byte_us - platform::MonotonicMicros();
          if (wait < kSendTickMicros) {
            platform::SleepMicros(std::max<int64_t>(wait, 0));
            continue;
          }
        }
        break;
      }

      Pending done = std::move(item);
      queue.pop_front();
      if (done.close_line) {
        Log("line closed after " + std::to_string(owner.config_.close_after) + " transactions");
        CloseLine(true);
        return;
      }
      if (done.set_line_rate) line->SetReaderRate(*done.set_line_rate);
      // A device still sends the bytes at the old rate after the write returned; on any other line they
      // are out, and the reader listens at its new rate from now on.
      const int64_t on_line_us =
          line->SendsAtLineRate() ? static_cast<int64_t>(done.output.bytes.size()) * byte_us : 0;
      if (done.output.rate_after && !line->SendsAtLineRate()) line->SetReaderRate(*done.output.rate_after);
      if (done.output.close_after) {
        Pending step;
        step.close_line = true;
        step.not_before_us = now + on_line_us + kCloseGraceMicros;
        queue.push_front(std::move(step));
      }
      if (done.output.rate_after && line->SendsAtLineRate()) {
        Pending step;
        step.set_line_rate = done.output.rate_after;
        step.not_before_us = now + on_line_us + 2000;
        queue.push_front(std::move(step));
      }
    }
    if (queue.empty()) {
      send_timer->Stop();
    } else if (!send_timer->Active()) {
      send_timer->Start(kSendTickMicros / 1000);
    }
  }

  void CloseLine(bool notify) {
    queue.clear();
    if (send_timer) send_timer->Stop();
    if (swipe_timer) swipe_timer->Stop();
    if (!LineUp()) return;
    line->Close();
    {
      std::lock_guard lock(owner.mutex_);
      owner.line_open_ = false;
    }
    owner.changed_.notify_all();
    if (notify && owner.on_line_closed) owner.on_line_closed();
  }
};

EmulatedReader::EmulatedReader(ReaderConfig config) : config_(std::move(config)), core_(config_) {}

EmulatedReader::~EmulatedReader() {
  Stop();
}

bool EmulatedReader::Start(std::string* error) {
  std::string message;
  if (started_) {
    if (error) *error = "the reader was started already";
    return false;
  }
  // The line is opened here, before the thread exists, so that Path() and any error are known when Start
  // returns; the worker's loop is not yet running on another thread.
  auto worker = std::make_unique<Worker>(*this);
  if (config_.hid) {
    // Readers of this process that were given no socket path number theirs in the order they start.
    static std::atomic<int> unnamed_bridges{0};
    const std::string socket =
        config_.hid_socket.empty() ? DefaultHidSocketPath(++unnamed_bridges) : config_.hid_socket;
    worker->line = OpenHidBridgeLine(socket, worker->loop, message);
    if (worker->line) worker->line->SetReaderRate(config_.line_rate);
  } else if (config_.device.empty()) {
    worker->line = OpenPtyLine(worker->loop, message);
  } else {
    worker->line = OpenDeviceLine(config_.device, config_.line_rate, worker->loop, message);
  }
  if (!worker->line) {
    if (error) *error = message;
    return false;
  }
  {
    std::lock_guard lock(mutex_);
    path_ = worker->line->Path();
    line_open_ = true;
    started_ = true;
  }
  worker_ = std::move(worker);
  thread_ = std::thread([this] { worker_->Run(); });
  return true;
}

void EmulatedReader::Stop() {
  if (!thread_.joinable()) return;
  Worker* worker = worker_.get();
  worker->loop.Post([worker] { worker->loop.Quit(0); });
  thread_.join();
}

std::string EmulatedReader::Path() const {
  std::lock_guard lock(mutex_);
  return path_;
}

RegisterImage EmulatedReader::Registers() const {
  std::lock_guard lock(mutex_);
  return core_.Registers();
}

uint8_t EmulatedReader::Register(uint8_t reg) const {
  std::lock_guard lock(mutex_);
  return core_.Registers()[reg];
}

void EmulatedReader::SetRegister(uint8_t reg, uint8_t value) {
  uint32_t before = 0;
  uint32_t after = 0;
  {
    std::lock_guard lock(mutex_);
    before = core_.LineRate();
    core_.SetRegister(reg, value);
    after = core_.LineRate();
  }
  if (after != before && thread_.joinable()) {
    Worker* worker = worker_.get();
    worker->loop.Post([worker, after] {
      if (worker->LineUp()) worker->line->SetReaderRate(after);
    });
  }
}

uint32_t EmulatedReader::LineRate() const {
  std::lock_guard lock(mutex_);
  return core_.LineRate();
}

size_t EmulatedReader::TransactionCount() const {
  std::lock_guard lock(mutex_);
  return core_.TransactionCount();
}

std::vector<Transaction> EmulatedReader::Transactions() const {
  std::lock_guard lock(mutex_);
  return {history_.begin(), history_.end()};
}

std::vector<std::string> EmulatedReader::Requests() const {
  std::lock_guard lock(mutex_);
  std::vector<std::string> requests;
  for (const Transaction& t : history_) requests.push_back(t.request);
  return requests;
}

bool EmulatedReader::WaitForTransactions(size_t count, int timeout_ms) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, std::chrono::milliseconds(timeout_ms),
                           [&] { return core_.TransactionCount() >= count; });
}

void EmulatedReader::Swipe(const std::string& text) {
  if (!thread_.joinable()) return;
  Worker* worker = worker_.get();
  const std::string data = text.empty() ? config_.swipe_text : text;
  worker->loop.Post([worker, data] { worker->SendSwipe(data); });
}

void EmulatedReader::CloseLine() {
  if (!thread_.joinable()) return;
  Worker* worker = worker_.get();
  worker->loop.Post([worker] { worker->CloseLine(true); });
}

bool EmulatedReader::LineOpen() const {
  std::lock_guard lock(mutex_);
  return line_open_;
}

bool EmulatedReader::WaitForLineClosed(int timeout_ms) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, std::chrono::milliseconds(timeout_ms), [&] { return !line_open_; });
}

}  // namespace msrsim
