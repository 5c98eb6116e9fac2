// CRandomGenerator against a plain restatement of the algorithm in 64-bit arithmetic (no bit
// tricks), plus the seed, interval and range properties.
#include "plexa/layout/random.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

namespace {

// The generator written out directly: value y / 2^32 by ldexp, indices kept modulo 11.
struct Reference {
  explicit Reference(std::uint64_t seed) {
    std::uint64_t x = seed & 0xFFFFFFFFu;
    if (x == 0) x = 0xFFFFFFFFu;
    for (std::uint64_t& b : buf) {
      x = (x ^ (x << 13)) & 0xFFFFFFFFu;
      x = x ^ (x >> 17);
      x = (x ^ (x << 5)) & 0xFFFFFFFFu;
      b = x;
    }
    for (int i = 0; i < 9; ++i) Next();
  }
  double Next() {
    const std::uint64_t sum = (buf[p1] + buf[p2]) & 0xFFFFFFFFu;
    const std::uint64_t y = ((sum << 13) | (sum >> 19)) & 0xFFFFFFFFu;
    buf[p1] = y;
    p1 = (p1 + 10) % 11;
    p2 = (p2 + 10) % 11;
    return std::ldexp(static_cast<double>(y), -32);
  }
  std::uint64_t buf[11];
  int p1 = 0, p2 = 7;
};

}  // namespace

TEST(RandomGenerator, FollowsTheRecurrenceForEverySeed) {
  for (unsigned long seed : {1ul, 42ul, 0x12345678ul, 0xFFFFFFFFul, 0x1FFFFFFFFul}) {
    CRandomGenerator gen(seed);
    Reference ref(seed);
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(gen.Random(), ref.Next()) << seed << " #" << i;
  }
  // Seed 0 is the default seed; copies continue the same sequence.
  CRandomGenerator zero(0), dflt;
  zero.Random();
  dflt.Random();
  CRandomGenerator copy = zero;
  for (int i = 0; i < 100; ++i) {
    const double v = zero.Random();
    EXPECT_EQ(v, dflt.Random());
    EXPECT_EQ(v, copy.Random());
  }
}

TEST(RandomGenerator, RangeAndInterval) {
  CRandomGenerator gen(2026);
  double sum = 0;
  constexpr int kDraws = 200000;
  for (int i = 0; i < kDraws; ++i) {
    const double v = gen.Random();
    ASSERT_GE(v, 0.0);
    ASSERT_LT(v, 1.0);
    ASSERT_EQ(v, std::ldexp(std::floor(std::ldexp(v, 32)), -32));  // a multiple of 2^-32
    sum += v;
  }
  EXPECT_NEAR(sum / kDraws, 0.5, 0.005);  // 7 standard errors

  int seen[7] = {};
  gen.SetInterval(1, 6);
  for (int i = 0; i < 6000; ++i) {
    const int d = gen.iRandom();
    ASSERT_GE(d, 1);
    ASSERT_LE(d, 6);
    ++seen[d];
  }
  for (int d = 1; d <= 6; ++d) EXPECT_GT(seen[d], 800) << d;
  gen.SetInterval(-2147483647 - 1, 2147483647);  // width wraps to 0: always lo
  EXPECT_EQ(gen.iRandom(), -2147483647 - 1);
  gen.SetInterval(5, 5);
  EXPECT_EQ(gen.iRandom(), 5);
}
