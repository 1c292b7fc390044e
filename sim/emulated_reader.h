#pragma once
// One emulated reader on a line of its own: a new pseudo-terminal, a given serial device, or the socket of
// an emulated USB HID bridge in front of it (config.hid), served by a worker thread with its own event loop.
// Every public member is thread-safe, so a test can start a reader, point the program under test at Path()
// and look at what the reader saw.
//
//   msrsim::ReaderConfig config;
//   config.identification = "KRD36AR,3TRACK,UART";
//   msrsim::EmulatedReader reader(config);
//   std::string error;
//   if (!reader.Start(&error)) FAIL() << error;
//   ... the program under test opens reader.Path() ...
//   EXPECT_EQ(reader.Register(0x12), 0x5A);

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "sim/reader_config.h"
#include "sim/reader_core.h"

namespace msrsim {

class ReaderLine;

class EmulatedReader {
 public:
  explicit EmulatedReader(ReaderConfig config = {});
  ~EmulatedReader();  // Stop()
  EmulatedReader(const EmulatedReader&) = delete;
  EmulatedReader& operator=(const EmulatedReader&) = delete;

  // Opens the line and starts serving it. False with `error` when the line cannot be opened or the
  // reader runs already. A reader starts once; make a new one to start again.
  bool Start(std::string* error = nullptr);
  // Closes the line (a host sees a hang-up) and ends the worker thread. Safe to call twice.
  void Stop();

  // What a host opens: "/dev/pts/N", the device path, or the bridge's socket. Empty before Start.
  std::string Path() const;
  const ReaderConfig& Config() const { return config_; }

  RegisterImage Registers() const;
  uint8_t Register(uint8_t reg) const;
  void SetRegister(uint8_t reg, uint8_t value);
  uint32_t LineRate() const;

  size_t TransactionCount() const;
  // The most recent transactions (at most kHistory), oldest first.
  std::vector<Transaction> Transactions() const;
  // Their request texts only.
  std::vector<std::string> Requests() const;
  // Waits until at least `count` transactions were served; false after `timeout_ms`.
  bool WaitForTransactions(size_t count, int timeout_ms) const;

  // Sends track data followed by CR LF outside any transaction, as a card swipe does. An empty text sends
  // the configured swipe text. Returns at once; the bytes go out on the reader's thread.
  void Swipe(const std::string& text = {});
  // Closes the line now: the host sees a hang-up, the reader answers nothing more.
  void CloseLine();
  bool LineOpen() const;
  // Waits until the line has closed (close_after or CloseLine); false after `timeout_ms`.
  bool WaitForLineClosed(int timeout_ms) const;

  // Called on the reader's thread with one line of text per transaction, swipe and line event, for logs.
  // Set it before Start.
  std::function<void(const std::string&)> on_log;
  // Called on the reader's thread when the line closes (not when Stop closes it). Set it before Start.
  std::function<void()> on_line_closed;

  static constexpr size_t kHistory = 10000;

 private:
  struct Worker;

  ReaderConfig config_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  ReaderCore core_;
  std::deque<Transaction> history_;  // the last kHistory transactions
  std::string path_;
  bool line_open_ = false;
  bool started_ = false;
  std::unique_ptr<Worker> worker_;
  std::thread thread_;
};

// One log line for a transaction: request, "->", the reply, and what happened to it when it was not sent.
std::string FormatTransaction(const Transaction& transaction);

}  // namespace msrsim
