#pragma once
// The reader itself, without a line: request bytes in, reply bytes out, and the state they change.
// Pure and single-threaded, so the protocol behaviour can be tested without a pseudo-terminal; the line
// (EmulatedReader) adds timing, the descriptor and the thread.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim/fault_dice.h"
#include "sim/frame.h"
#include "sim/reader_config.h"

namespace msrsim {

// Error replies. None starts with "A" (acknowledged) or "N" (not ready), so a host reads them as errors.
inline constexpr const char* kErrorChecksum = "E1";  // checksum digits wrong or missing
inline constexpr const char* kErrorCommand = "E2";   // unknown command or malformed arguments
inline constexpr const char* kErrorRefused = "E3";   // the register refuses the access

// What happened to a transaction's reply on the way to the host.
enum class ReplyFate {
  kSent,     // sent as it is
  kGarbled,  // sent, but the host's rate differs from the reader's: it received noise
  kDropped,  // left out on purpose (drop_every, drop_percent)
  kSilent,   // the reader answers nothing (silent)
};
const char* FateName(ReplyFate fate);

// One request and its reply, for logs and for tests.
struct Transaction {
  std::string request;  // the frame's text, checksum digits included
  std::string reply;    // the reply text as the reader meant it, checksum digits included; for the dump
                        // "<dump of N bytes>"
  ReplyFate fate = ReplyFate::kSent;
  uint32_t reader_rate = 0;  // the reader's rate when it answered
  uint32_t host_rate = 0;    // the host's rate as seen then; 0 when it cannot be seen
};

// Bytes for the line, in order, with what the line must do after sending them.
struct LineOutput {
  Bytes bytes;                         // may be empty when only the actions matter
  uint32_t rate = 0;                   // the reader's rate while these bytes go out (for pacing)
  bool is_reply = false;               // a reply or a swipe (sent at once)
  int delay_ms = 0;                    // a reply waits this long before it goes out
  std::optional<uint32_t> rate_after;  // the reader moves to this rate once the bytes are out
  bool close_after = false;            // the line closes once the bytes are out
};

struct FeedResult {
  std::vector<Transaction> transactions;
  std::vector<LineOutput> outputs;
};

class ReaderCore {
 public:
  explicit ReaderCore(const ReaderConfig& config);

  // Takes bytes the host sent. `host_rate` is the host's line speed, 0 when it cannot be seen (a real
  // serial device: the host's speed then shows only as noise on the wire, which is the hardware's business).
  FeedResult Feed(const uint8_t* data, size_t size, uint32_t host_rate);
  FeedResult Feed(const Bytes& data, uint32_t host_rate) { return Feed(data.data(), data.size(), host_rate); }
  FeedResult Feed(std::string_view data, uint32_t host_rate) {
    return Feed(reinterpret_cast<const uint8_t*>(data.data()), data.size(), host_rate);
  }

  // Track data `text` followed by CR LF, as the reader sends it when a card passes. Nothing once closed.
  std::optional<LineOutput> Swipe(const std::string& text, uint32_t host_rate);

  const RegisterImage& Registers() const { return registers_; }
  // Writes a register directly (as a person would with the reader's own tools). Writing the baud-rate
  // register with a known code moves the line at once: there is no reply to wait for.
  void SetRegister(uint8_t reg, uint8_t value);

  uint32_t LineRate() const { return rate_; }
  size_t TransactionCount() const { return transaction_count_; }
  // True once close_after was reached: the reader takes no more requests.
  bool Closed() const { return closed_; }

 private:
  struct Reply {
    std::string text;           // framed replies
    bool raw_dump = false;      // "Y": the image, unframed
    bool has_checksum = false;  // text ends in checksum digits
    std::optional<uint32_t> new_rate;
  };

  Reply Answer(const std::string& request);
  Reply AnswerWrite(const std::string& request);
  std::optional<uint32_t> RateChangeFor(uint8_t reg, uint8_t value) const;
  int ReplyDelayMs();

  ReaderConfig config_;
  RegisterImage registers_;
  uint32_t rate_;
  FrameReader frames_;
  size_t transaction_count_ = 0;
  size_t reply_count_ = 0;
  size_t checksummed_count_ = 0;
  size_t poll_count_ = 0;
  uint32_t noise_seed_ = 1;
  FaultDice dice_;
  bool closed_ = false;
};

}  // namespace msrsim
