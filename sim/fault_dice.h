#pragma once
// The chance that decides where random faults strike. One generator per reader, seeded explicitly, so a
// long run that met a fault at an odd place can be played again with the same seed.

#include <cstdint>
#include <random>

namespace msrsim {

class FaultDice {
 public:
  explicit FaultDice(uint64_t seed) : engine_(seed) {}

  // True with a chance of `percent` in a hundred (fractions allowed). A chance of 0 draws nothing, so a
  // fault that is switched off does not move the others.
  bool Roll(double percent);
  // A whole number from `low` to `high`, both included; `low` itself when the range is empty.
  int Between(int low, int high);

 private:
  // The 64-bit Mersenne Twister gives the same numbers everywhere; the standard distributions do not,
  // so the numbers are shaped here.
  std::mt19937_64 engine_;
};

}  // namespace msrsim
