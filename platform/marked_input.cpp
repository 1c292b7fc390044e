#include "platform/marked_input.h"

namespace platform {
namespace {

constexpr uint8_t kMark = 0xFF;

void StoreData(uint8_t byte, const MarkedInputDecoder::Options& options, std::vector<uint8_t>& out) {
  if (byte == 0 && options.discard_nulls) return;
  out.push_back(byte);
}

}  // namespace

size_t MarkedInputDecoder::Decode(const uint8_t* data, size_t size, const Options& options,
                                  std::vector<uint8_t>& out) {
  size_t errors = 0;
  for (size_t i = 0; i < size; ++i) {
    const uint8_t byte = data[i];
    switch (state_) {
      case State::kData:
        if (byte == kMark) {
          state_ = State::kAfterMark;
        } else {
          StoreData(byte, options, out);
        }
        break;
      case State::kAfterMark:
        if (byte == kMark) {
          StoreData(kMark, options, out);
          state_ = State::kData;
        } else if (byte == 0) {
          state_ = State::kAfterErrorMark;
        } else {
          // The kernel never sends this; if a device does, pass both bytes on rather than lose them.
          StoreData(kMark, options, out);
          StoreData(byte, options, out);
          state_ = State::kData;
        }
        break;
      case State::kAfterErrorMark:
        ++errors;
        if (options.error_replacement) {
          out.push_back(*options.error_replacement);
        } else if (byte != 0) {
          out.push_back(byte);
        }
        state_ = State::kData;
        break;
    }
  }
  return errors;
}

}  // namespace platform
