// SHA-256 as FIPS 180-4 describes it: 512-bit blocks, 64 rounds each, the message padded with one 1 bit,
// zeros and its length in bits as a 64-bit big-endian number.
#include "app/sha256.h"

#include <array>

namespace {

// The first 32 bits of the fractional parts of the cube roots of the first 64 primes.
constexpr std::array<uint32_t, 64> kRoundConstants = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

// The first 32 bits of the fractional parts of the square roots of the first 8 primes.
constexpr std::array<uint32_t, 8> kInitialHash = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                                  0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

constexpr size_t kBlockSize = 64;

uint32_t RotateRight(uint32_t x, int n) {
  return (x >> n) | (x << (32 - n));
}

void ProcessBlock(std::array<uint32_t, 8>& hash, const uint8_t* block) {
  std::array<uint32_t, 64> w{};
  for (size_t t = 0; t < 16; ++t) {
    w[t] = static_cast<uint32_t>(block[4 * t]) << 24 | static_cast<uint32_t>(block[4 * t + 1]) << 16 |
           static_cast<uint32_t>(block[4 * t + 2]) << 8 | static_cast<uint32_t>(block[4 * t + 3]);
  }
  for (size_t t = 16; t < 64; ++t) {
    const uint32_t s0 = RotateRight(w[t - 15], 7) ^ RotateRight(w[t - 15], 18) ^ (w[t - 15] >> 3);
    const uint32_t s1 = RotateRight(w[t - 2], 17) ^ RotateRight(w[t - 2], 19) ^ (w[t - 2] >> 10);
    w[t] = w[t - 16] + s0 + w[t - 7] + s1;
  }
  uint32_t a = hash[0], b = hash[1], c = hash[2], d = hash[3];
  uint32_t e = hash[4], f = hash[5], g = hash[6], h = hash[7];
  for (size_t t = 0; t < 64; ++t) {
    const uint32_t sum1 = RotateRight(e, 6) ^ RotateRight(e, 11) ^ RotateRight(e, 25);
    const uint32_t choose = (e & f) ^ (~e & g);
    const uint32_t t1 = h + sum1 + choose + kRoundConstants[t] + w[t];
    const uint32_t sum0 = RotateRight(a, 2) ^ RotateRight(a, 13) ^ RotateRight(a, 22);
    const uint32_t majority = (a & b) ^ (a & c) ^ (b & c);
    const uint32_t t2 = sum0 + majority;
    h = g;
    g = f;
    f = e;
    e = d + t1;
    d = c;
    c = b;
    b = a;
    a = t1 + t2;
  }
  hash[0] += a;
  hash[1] += b;
  hash[2] += c;
  hash[3] += d;
  hash[4] += e;
  hash[5] += f;
  hash[6] += g;
  hash[7] += h;
}

}  // namespace

std::string Sha256Hex(const uint8_t* data, size_t size) {
  std::array<uint32_t, 8> hash = kInitialHash;
  size_t done = 0;
  for (; size - done >= kBlockSize; done += kBlockSize) ProcessBlock(hash, data + done);

  // The rest, the 1 bit and the length: one block, or two when fewer than 9 bytes are left for them.
  std::array<uint8_t, 2 * kBlockSize> tail{};
  const size_t rest = size - done;
  for (size_t i = 0; i < rest; ++i) tail[i] = data[done + i];
  tail[rest] = 0x80;
  const size_t tail_size = rest + 9 <= kBlockSize ? kBlockSize : 2 * kBlockSize;
  const uint64_t bits = static_cast<uint64_t>(size) * 8;
  for (size_t i = 0; i < 8; ++i) tail[tail_size - 1 - i] = static_cast<uint8_t>(bits >> (8 * i));
  for (size_t at = 0; at < tail_size; at += kBlockSize) ProcessBlock(hash, tail.data() + at);

  static constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(64);
  for (uint32_t word : hash) {
    for (int shift = 28; shift >= 0; shift -= 4) hex += kDigits[(word >> shift) & 0xF];
  }
  return hex;
}

std::string Sha256Hex(const std::vector<uint8_t>& data) {
  return Sha256Hex(data.data(), data.size());
}
