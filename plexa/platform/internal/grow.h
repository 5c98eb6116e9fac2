// Geometric growth for the library's own builders. CArray grows by at most 1,024 elements a
// step when nothing else is said (the rule hosts rely on for their own Add calls), so a result
// of n elements built with Add costs about n^2 / 2048 element copies: 49 s for the 3 million
// points of a flattened 10^6-node circle. Builders whose output length is not known in advance
// append through Append (or call Reserve before a block) instead: the capacity then at least
// doubles whenever it runs out, and a result of n elements costs O(n) copies.
//
//   for (...) plexa::grow::Append(pts, p);          // instead of pts.Add(p)
//   plexa::grow::Reserve(pts, pts.GetSize() + k);   // before adding k elements one by one
//
// Only the capacity differs from building with Add: size, contents and the stored grow-by are
// the same. The capacity is at most twice the size the array reached (plus 16), so a builder
// never holds much more memory than its result.
#pragma once

#include <algorithm>
#include <type_traits>

#include "plexa/platform/array.h"

namespace plexa::grow {

// Elements added at least when the capacity grows, so short arrays do not double by ones.
inline constexpr INT_PTR kMinStep = 16;

// Makes the capacity at least `needed`, growing it to at least twice what it was, without
// changing size, contents or grow-by. An empty array is left alone: its first Add allocates,
// and later calls double from there.
template <typename T, typename A>
void Reserve(CArray<T, A>& a, INT_PTR needed) {
  const INT_PTR cap = a.GetAllocSize();
  const INT_PTR size = a.GetSize();
  if (needed <= cap || size == 0) return;
  // SetSize beyond the capacity allocates exactly max(n, capacity + step); shrinking back
  // within the capacity keeps the buffer.
  a.SetSize(std::max(needed, cap + std::max(cap, kMinStep)));
  a.SetSize(size);
}

// a.Add(v) with geometric growth; returns the new element's index.
template <typename T, typename A>
INT_PTR Append(CArray<T, A>& a, std::type_identity_t<T> v) {
  Reserve(a, a.GetSize() + 1);
  return a.Add(v);
}

}  // namespace plexa::grow
