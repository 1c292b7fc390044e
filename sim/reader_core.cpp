#include "sim/reader_core.h"

#include <algorithm>

#include "sim/line_noise.h"

namespace msrsim {

namespace {

// Every Nth event of a counter that was just incremented; N of 0 never.
bool IsNth(size_t count, int every) {
  return every > 0 && count % static_cast<size_t>(every) == 0;
}

bool IsPoll(const std::string& request) {
  return request == "D" || (request.size() == 3 && request[0] == 'D' && ParseHexByte(request.substr(1)));
}

}  // namespace

const char* FateName(ReplyFate fate) {
  switch (fate) {
    case ReplyFate::kSent:
      return "sent";
    case ReplyFate::kGarbled:
      return "garbled";
    case ReplyFate::kDropped:
      return "dropped";
    case ReplyFate::kSilent:
      return "silent";
  }
  return "?";
}

ReaderCore::ReaderCore(const ReaderConfig& config)
    : config_(config), registers_(config.registers), rate_(config.line_rate), dice_(config.seed) {
  const int baud_register = config_.serial_map.baud_register;
  if (baud_register >= 0 && baud_register < 256) {
    if (const auto code = config_.serial_map.CodeForRate(rate_)) registers_[baud_register] = *code;
  }
}

FeedResult ReaderCore::Feed(const uint8_t* data, size_t size, uint32_t host_rate) {
  FeedResult result;
  if (closed_) return result;
  for (const std::string& request : frames_.Feed(data, size)) {
    if (closed_) break;  // requests behind the last one before closing never reach the reader
    ++transaction_count_;
    const Reply reply = Answer(request);

    Transaction transaction;
    transaction.request = request;
    transaction.reader_rate = rate_;
    transaction.host_rate = host_rate;

    LineOutput output;
    output.rate = rate_;
    output.is_reply = true;
    output.delay_ms = ReplyDelayMs();
    std::string text = reply.text;
    if (reply.has_checksum && (IsNth(++checksummed_count_, config_.bad_checksum_every) ||
                               dice_.Roll(config_.bad_checksum_percent))) {
      // Keep the text, spoil the digits: the host must notice the mismatch, not a different value.
      const std::string payload = text.substr(0, text.size() - 2);
      text = payload + HexByte(static_cast<uint8_t>(Checksum(payload) + 1));
    }
    Bytes wire;
    if (reply.raw_dump) {
      const size_t count = config_.dump_bytes < 0
                               ? registers_.size()
                               : std::min(registers_.size(), static_cast<size_t>(config_.dump_bytes));
      wire.assign(registers_.begin(), registers_.begin() + static_cast<std::ptrdiff_t>(count));
      transaction.reply = "<dump of " + std::to_string(count) + " bytes>";
    } else {
      wire = Frame(text);
      transaction.reply = text;
    }

    if (config_.silent) {
      transaction.fate = ReplyFate::kSilent;
    } else if (IsNth(++reply_count_, config_.drop_every) || dice_.Roll(config_.drop_percent)) {
      transaction.fate = ReplyFate::kDropped;
    } else if (host_rate != 0 && host_rate != rate_) {
      transaction.fate = ReplyFate::kGarbled;
      output.bytes = Garble(wire, rate_, host_rate, noise_seed_++);
    } else {
      output.bytes = std::move(wire);
    }

    if (reply.new_rate) {
      output.rate_after = reply.new_rate;
      rate_ = *reply.new_rate;
    }
    if (config_.close_after > 0 && transaction_count_ >= static_cast<size_t>(config_.close_after)) {
      output.close_after = true;
      closed_ = true;
    }
    result.transactions.push_back(std::move(transaction));
    if (!output.bytes.empty() || output.rate_after || output.close_after) {
      result.outputs.push_back(std::move(output));
    }
  }
  return result;
}

std::optional<LineOutput> ReaderCore::Swipe(const std::string& text, uint32_t host_rate) {
  if (closed_) return std::nullopt;
  LineOutput output;
  output.rate = rate_;
  output.bytes.assign(text.begin(), text.end());
  output.bytes.push_back(kCr);
  output.bytes.push_back(kLf);
  if (host_rate != 0 && host_rate != rate_)
    output.bytes = Garble(output.bytes, rate_, host_rate, noise_seed_++);
  return output;
}

void ReaderCore::SetRegister(uint8_t reg, uint8_t value) {
  if (const auto rate = RateChangeFor(reg, value)) rate_ = *rate;
  registers_[reg] = value;
}

int ReaderCore::ReplyDelayMs() {
  if (config_.latency_max_ms <= config_.latency_ms) return config_.latency_ms;
  return dice_.Between(config_.latency_ms, config_.latency_max_ms);
}

std::optional<uint32_t> ReaderCore::RateChangeFor(uint8_t reg, uint8_t value) const {
  if (reg != config_.serial_map.baud_register) return std::nullopt;
  // A code the table does not know is stored but leaves the line alone: the reader keeps talking.
  return config_.serial_map.RateForCode(value);
}

ReaderCore::Reply ReaderCore::Answer(const std::string& request) {
  Reply reply;
  const char command = request[0];
  if (request == "V") {
    reply.text = "A," + config_.version_text;
  } else if (IsPoll(request)) {
    const bool not_ready = ++poll_count_ <= static_cast<size_t>(std::max(config_.not_ready_polls, 0)) ||
                           dice_.Roll(config_.not_ready_percent);
    reply.text = not_ready ? "N" : "A," + config_.identification;
  } else if (command == 'B' && request.size() == 3 && ParseHexByte(request.substr(1))) {
    const uint8_t reg = *ParseHexByte(request.substr(1));
    if (config_.refused_reads.Contains(reg)) {
      reply.text = kErrorRefused;
      return reply;
    }
    const std::string text = "A" + HexByte(registers_[reg]);
    reply.text = text + HexByte(Checksum(text));
    reply.has_checksum = true;
  } else if (command == 'C') {
    reply = AnswerWrite(request);
  } else if (request == "Y") {
    reply.raw_dump = true;
  } else {
    reply.text = kErrorCommand;
  }
  return reply;
}

// "Cxx,yy" followed by the checksum digits of those six characters.
ReaderCore::Reply ReaderCore::AnswerWrite(const std::string& request) {
  Reply reply;
  const bool well_formed = (request.size() == 6 || request.size() == 8) && request[3] == ',' &&
                           ParseHexByte(request.substr(1, 2)) && ParseHexByte(request.substr(4, 2));
  if (!well_formed) {
    reply.text = kErrorCommand;
    return reply;
  }
  const std::string payload = request.substr(0, 6);
  const auto digits = request.size() == 8 ? ParseHexByte(request.substr(6, 2)) : std::nullopt;
  // A write without checksum digits is refused like one with wrong digits: the reader cannot tell a
  // write from line noise without them.
  if (!digits || *digits != Checksum(payload)) {
    reply.text = kErrorChecksum;
    return reply;
  }
  const uint8_t reg = *ParseHexByte(request.substr(1, 2));
  const uint8_t value = *ParseHexByte(request.substr(4, 2));
  if (config_.refused_writes.Contains(reg)) {
    reply.text = kErrorRefused;
    return reply;
  }
  reply.text = "A";
  if (config_.ignored_writes.Contains(reg)) return reply;
  registers_[reg] = value;
  const auto rate = RateChangeFor(reg, value);
  if (rate && *rate != rate_) reply.new_rate = rate;
  return reply;
}

}  // namespace msrsim
