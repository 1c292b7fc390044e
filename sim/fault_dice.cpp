#include "sim/fault_dice.h"

namespace msrsim {

bool FaultDice::Roll(double percent) {
  if (!(percent > 0)) return false;
  // 53 random bits as a fraction in [0, 1).
  const double fraction = static_cast<double>(engine_() >> 11) * 0x1.0p-53;
  return fraction * 100.0 < percent;
}

int FaultDice::Between(int low, int high) {
  if (high <= low) return low;
  const uint64_t span = static_cast<uint64_t>(high - low) + 1;
  // The modulo bias is below one in 2^40 for the spans used here.
  return low + static_cast<int>(engine_() % span);
}

}  // namespace msrsim
