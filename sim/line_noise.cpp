#include "sim/line_noise.h"

#include <algorithm>

namespace msrsim {

Bytes Garble(const Bytes& sent, uint32_t reader_rate, uint32_t host_rate, uint32_t seed) {
  if (sent.empty()) return {};
  size_t count = sent.size();
  if (reader_rate > 0 && host_rate > 0) {
    count = static_cast<size_t>(static_cast<uint64_t>(sent.size()) * host_rate / reader_rate);
  }
  count = std::clamp<size_t>(count, 1, sent.size() * 4);

  Bytes noise;
  noise.reserve(count);
  uint32_t state = seed * 2654435761u + 0x9E3779B9u;
  for (size_t i = 0; i < count; ++i) {
    state = state * 1664525u + 1013904223u;  // a plain LCG is random enough for line noise
    auto byte = static_cast<uint8_t>(state >> 24);
    if (byte == kStx || byte == kCr) byte |= 0x80;
    noise.push_back(byte);
  }
  return noise;
}

}  // namespace msrsim
