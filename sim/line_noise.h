#pragma once
// What a host receives when its line runs at another rate than the reader's: bytes, but not the ones sent.

#include <cstdint>

#include "sim/frame.h"

namespace msrsim {

// Pseudo-random bytes standing in for `sent` seen at `host_rate` while the reader sends at `reader_rate`.
// The count follows the ratio of the rates (a slower host samples fewer bytes, a faster one more), at
// least one and at most four times the bytes sent. The bytes never hold STX or CR, so the host never
// assembles a frame from them. The same `seed` gives the same bytes.
Bytes Garble(const Bytes& sent, uint32_t reader_rate, uint32_t host_rate, uint32_t seed);

}  // namespace msrsim
