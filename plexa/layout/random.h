// CRandomGenerator: the library's seedable uniform pseudo-random generator, a rotated
// lagged-Fibonacci generator (RANROT family) on 11 words, filled from the seed by Marsaglia's
// xorshift32. The same seed gives the same sequence on every platform and compiler.
//
//   CRandomGenerator gen(42);
//   double u = gen.Random();   // in [0, 1), a multiple of 2^-32
//   gen.SetInterval(1, 6);
//   int die = gen.iRandom();   // 1 .. 6
//
// Invariants: p1 and p2 stay in 0 .. 10; Random() never returns 1.0. Seeds 0 and 0xFFFFFFFF
// give the same sequence (0 would leave xorshift at 0 forever). Only the low 32 bits of the
// seed count. A value, copied and assigned member-wise. Not synchronised: one generator, one
// thread at a time.
#pragma once

#include <cstdint>

#include "plexa/platform/export.h"

class PLEXA_API CRandomGenerator {
 public:
  explicit CRandomGenerator(unsigned long seed = 0xFFFFFFFFul) { RandomInit(seed); }

  // x = seed (0xFFFFFFFF for 0); 11 xorshift32 steps fill the buffer; p1 = 0, p2 = 7; then
  // nine values are drawn and dropped.
  void RandomInit(unsigned long seed);
  // y = rotl32(buffer[p1] + buffer[p2], 13) is stored at p1, both indices step down (10 after
  // 0), and y / 2^32 is returned, exactly.
  double Random();
  // The interval lo .. hi of iRandom: n = hi - lo + 1, computed on 32 bits with wrap-around
  // (so the full int range gives n = 0, and iRandom then returns lo). hi < lo is not checked.
  void SetInterval(int lo, int hi);
  // min(trunc(Random() * n), n) + lo, the sum wrapping on 32 bits. Before any SetInterval
  // n = 0 and lo = 0.
  int iRandom();

 private:
  std::int32_t p1 = 0, p2 = 0;
  std::int32_t lo = 0;
  std::int32_t n = 0;
  std::uint32_t buffer[11] = {};
};
