// Helpers shared by the edge detector's files (private).
#pragma once

#include <cmath>
#include <cstdint>

namespace edge_internal {

// Writes text to the standard error stream and ends the process with status 1.
[[noreturn]] void OutOfStorage(const char* text);

// i modulo n in 0..n-1 (n > 0), also for negative i and for i beyond n.
inline int Wrap(int i, int n) {
  const int r = i % n;
  return r < 0 ? r + n : r;
}

// A value stored into a byte the way a conversion through a 32-bit integer does: truncated
// towards zero, then the low 8 bits. NaN and values beyond the integer range give 0.
inline unsigned char WrapToByte(double v) {
  if (!(std::fabs(v) < 2147483648.0)) return 0;
  return static_cast<unsigned char>(static_cast<std::uint32_t>(static_cast<std::int32_t>(v)));
}

}  // namespace edge_internal
