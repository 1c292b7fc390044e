#pragma once
// SHA-256 (FIPS 180-4), so that a record can name the exact register image a reader got without keeping
// the image itself.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The digest of `size` bytes at `data` as 64 lower-case hexadecimal digits.
std::string Sha256Hex(const uint8_t* data, size_t size);
std::string Sha256Hex(const std::vector<uint8_t>& data);
