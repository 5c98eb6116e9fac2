#include "plexa/platform/internal/grow.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "plexa/analysis/intersect.h"
#include "plexa/core/types.h"
#include "plexa/geom/path.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

// Appending n elements reallocates O(log n) times, keeps every element and the stored grow-by,
// and never holds more than twice the size (plus the minimum step).
TEST(Grow, AppendIsGeometricAndKeepsContentsAndGrowBy) {
  CArray<double> a;
  a.SetSize(0, 7);  // a host's grow-by, to survive the library's appends
  const double* data = nullptr;
  int moves = 0;
  constexpr int kN = 200000;
  for (int i = 0; i < kN; ++i) {
    plexa::grow::Append(a, i);
    if (a.GetData() != data) ++moves, data = a.GetData();
    ASSERT_LE(a.GetAllocSize(), 2 * a.GetSize() + plexa::grow::kMinStep) << i;
  }
  EXPECT_LE(moves, 20);  // the arrays' own rule would move about kN / 1024 = 195 times
  ASSERT_EQ(a.GetSize(), kN);
  for (int i = 0; i < kN; i += 997) EXPECT_EQ(a[i], i);
  const INT_PTR cap = a.GetAllocSize();
  a.SetSize(cap + 1);
  EXPECT_EQ(a.GetAllocSize(), cap + 7);  // the host's grow-by still rules its own growth

  CArray<CBPOINT> self;  // an element of the array itself, appended while the buffer moves
  self.Add(CBPOINT(CDPOINT(1, 2), CDPOINT(3, 4), CDPOINT(5, 6)));
  for (int i = 0; i < 100; ++i) plexa::grow::Append(self, self[0]);
  for (const CBPOINT& n : self) EXPECT_EQ(n, self[0]);
}

// A long flattening holds about its own size, and the hits of a line keep their specified
// grow-by of 16 for the host's later additions.
TEST(Grow, BuildersSizeTheirOutputsOnce) {
  constexpr int kNodes = 20000;
  CBPointArray circle;
  const double r = kNodes, step = 2 * std::numbers::pi / kNodes;
  const double arm = 4.0 / 3.0 * std::tan(step / 4) * r;
  for (int i = 0; i <= kNodes; ++i) {
    const double a = step * (i % kNodes);
    const CDPOINT at(r * std::cos(a), r * std::sin(a)), t(-std::sin(a), std::cos(a));
    circle.Add(CBPOINT(at - t * arm, at, at + t * arm));
  }
  CArray<CDPOINT> pts;
  CDWordArray ends;
  circle.ExecuteBPointArrayT(pts, ends, 1.0);
  ASSERT_GT(pts.GetSize(), 2 * kNodes);
  EXPECT_LE(pts.GetAllocSize(), 2 * pts.GetSize() + plexa::grow::kMinStep);

  CArray<CDPOINT> zigzag;
  for (int i = 0; i < 1000; ++i) zigzag.Add(CDPOINT(i, i % 2 ? 1 : -1));
  CArray<CDPOINT> hits;
  GetPolyLineWithLineIntersections(zigzag, PLEXA::CDLINE(CDPOINT(-10, 0), CDPOINT(2000, 0)), hits,
                                   nullptr);
  ASSERT_EQ(hits.GetSize(), 999);
  const INT_PTR cap = hits.GetAllocSize();
  hits.SetSize(cap + 1);
  EXPECT_EQ(hits.GetAllocSize(), cap + 16);
}
