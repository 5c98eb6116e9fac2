#include "plexa/layout/random.h"

#include <bit>
#include <cstring>

namespace {

constexpr int kWords = 11;
constexpr int kStartP2 = 7;
constexpr int kRotation = 13;
constexpr int kWarmUp = 9;

}  // namespace

void CRandomGenerator::RandomInit(unsigned long seed) {
  std::uint32_t x = static_cast<std::uint32_t>(seed);
  if (x == 0) x = 0xFFFFFFFFu;
  for (int i = 0; i < kWords; ++i) {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    buffer[i] = x;
  }
  p1 = 0;
  p2 = kStartP2;
  for (int i = 0; i < kWarmUp; ++i) Random();
}

double CRandomGenerator::Random() {
  const std::uint32_t y = std::rotl(static_cast<std::uint32_t>(buffer[p1] + buffer[p2]), kRotation);
  buffer[p1] = y;
  if (--p1 < 0) p1 = kWords - 1;
  if (--p2 < 0) p2 = kWords - 1;
  // y in the top 32 bits of the 52-bit mantissa of a double in [1, 2), minus 1: y / 2^32.
  const std::uint64_t bits = 0x3FF0000000000000ull | (static_cast<std::uint64_t>(y) << 20);
  double d;
  std::memcpy(&d, &bits, sizeof d);
  return d - 1.0;
}

void CRandomGenerator::SetInterval(int low, int high) {
  lo = low;
  n = static_cast<std::int32_t>(static_cast<std::uint32_t>(high) - static_cast<std::uint32_t>(low) +
                                1u);
}

int CRandomGenerator::iRandom() {
  // |Random() * n| < 2^31, so the truncation fits an int.
  std::int32_t i = static_cast<std::int32_t>(Random() * n);
  if (i > n) i = n;
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(i) + static_cast<std::uint32_t>(lo));
}
