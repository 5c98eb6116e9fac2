#include "plexa/analysis/offset.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "plexa/core/planar.h"
#include "tests/support.h"

using namespace plexa::test;

namespace {

using Pts = CArray<CDPOINT>;

Pts Square(double s) {
  return Array<CDPOINT>({{0, 0}, {s, 0}, {s, s}, {0, s}, {0, 0}});
}

}  // namespace

// Part removal refuses every range that does not fit; loop removal keeps the lobe that holds
// at least half of the points and drops a smaller one.
TEST(OutlineOffset, PartAndLoopRemoval) {
  Pts seven = Array<CDPOINT>({{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0}, {6, 0}});
  for (auto [start, count] : {std::pair{3, 5}, {-1, 1}, {7, 0}, {2, 0}}) {
    Pts p = seven;
    RemoveOutlinePart(p, start, count);
    EXPECT_EQ(p.GetSize(), 7) << start << " " << count;
  }
  RemoveOutlinePart(seven, 2, 3);
  ASSERT_EQ(seven.GetSize(), 4);
  EXPECT_POINT_NEAR(seven[2], CDPOINT(5, 0), 0);

  // A small lobe past the crossing of segments 1 and 3 at (10, 8): it holds fewer than half
  // of the points, so points 2 .. 3 go and (10, 0) runs straight on to (8, 8).
  Pts small = Array<CDPOINT>({{0, 0}, {10, 0}, {10, 10}, {12, 8}, {8, 8}, {8, 20}, {0, 20}});
  RemoveOutlineLoops(small);
  ASSERT_EQ(small.GetSize(), 5);
  EXPECT_POINT_NEAR(small[1], CDPOINT(10, 0), 0);
  EXPECT_POINT_NEAR(small[2], CDPOINT(8, 8), 0);
  // Segments 0 and 4 cross at (10, 4) around a lobe of 3 of 7 points (7 / 2 = 3): the lobe
  // is kept alone.
  Pts lobe = Array<CDPOINT>({{10, 0}, {10, 10}, {14, 10}, {14, 7}, {14, 4}, {6, 4}, {6, 20}});
  RemoveOutlineLoops(lobe);
  ASSERT_EQ(lobe.GetSize(), 3);
  EXPECT_POINT_NEAR(lobe[0], CDPOINT(10, 10), 0);
  EXPECT_POINT_NEAR(lobe[2], CDPOINT(14, 7), 0);
}

// A 100 x 100 square: corners move by d along their bisectors (not d / sin 45), inwards or
// outwards by the bool, whichever way the square runs; the outline stays closed.
TEST(OutlineOffset, VertexOffsetOfASquare) {
  const double s = 10 / std::sqrt(2.0);
  for (bool reversed : {false, true})
    for (bool shrink : {true, false}) {
      Pts p = Square(100);
      if (reversed)
        for (INT_PTR i = 0; i < p.GetSize() / 2; ++i) {
          const CDPOINT t = p[i];
          p[i] = p[p.GetSize() - 1 - i];
          p[p.GetSize() - 1 - i] = t;
        }
      ShrinkOutline(p, 10, shrink);
      ASSERT_EQ(p.GetSize(), 5) << reversed << shrink;
      const double lo = shrink ? s : -s, hi = shrink ? 100 - s : 100 + s;
      for (const CDPOINT& q : p) {
        EXPECT_TRUE(std::fabs(q.x - lo) < 1e-9 || std::fabs(q.x - hi) < 1e-9) << q.x;
        EXPECT_TRUE(std::fabs(q.y - lo) < 1e-9 || std::fabs(q.y - hi) < 1e-9) << q.y;
      }
      EXPECT_POINT_NEAR(p[0], p[4], 0);
    }
  // Points closer than 0.3 are thinned; fewer than two points, and a NaN d, change nothing.
  Pts dense = Array<CDPOINT>({{0, 0}, {0.1, 0}, {100, 0}, {100, 100}, {0, 100}, {0, 0.1}, {0, 0}});
  ShrinkOutline(dense, 10, true);
  EXPECT_EQ(dense.GetSize(), 5);
  Pts one = Array<CDPOINT>({{1, 2}});
  ShrinkOutline(one, 5, true);
  EXPECT_EQ(one.GetSize(), 1);
  Pts sq = Square(100);
  ShrinkOutline(sq, kNaN, true);
  EXPECT_POINT_NEAR(sq[2], CDPOINT(100, 100), 0);
}

// The set form: a circle of radius 50 grown and shrunk by 10 lies at radius 60 / 40 within
// the refit tolerance; clean-up drops NaN points and repeats and empties what cannot bound.
TEST(OutlineOffset, SetFormAndCleanUp) {
  for (bool shrink : {true, false}) {
    CPolyPolyBezier set;
    set.Add(new CBPointArray(Circle(0, 0, 50)));
    ShrinkOutlineBound(set, 10, shrink);
    ASSERT_EQ(set.GetSize(), 1);
    const double want = shrink ? 40 : 60;
    for (const auto& poly : DensePolygons({set.GetAt(0)}, 16))
      for (const CDPOINT& q : poly) EXPECT_NEAR(std::hypot(q.x, q.y), want, kShrinkRefit);
  }
  Pts p = Array<CDPOINT>({{0, 0}, {0, 0}, {kNaN, 1}, {5, 0}, {5, 5}});
  ExactBound(p);
  EXPECT_EQ(p.GetSize(), 3);
  Pts two = Array<CDPOINT>({{0, 0}, {5, 0}});
  ExactBound(two);
  EXPECT_EQ(two.GetSize(), 0);
  CPolyPolyBezier set;
  set.Add(new CBPointArray(Rect(0, 0, 10, 10)));
  set.Add(new CBPointArray(Poly({{kInf, 0}, {1, 1}})));
  set.Add(nullptr);
  CPolyPolyDPoint polys;
  ExactBound(set, polys);
  EXPECT_EQ(polys.GetSize(), 1);
}

namespace {

PLEXA::CDRECT Bounds(const Pts& p) {
  PLEXA::CDRECT r;
  GetPolylineBounds(p, r);
  return r;
}

}  // namespace

// The raster offset of a 100 x 100 square: grown by 10 it traces to about 120 x 120 with
// corners of radius 10; shrunk, to about 80 x 80; the polyline form grows whatever its bool.
// The trace follows the background's boundary pixels, so the outline may stand up to two
// pixels off the band.
TEST(OutlineOffset, RasterParallelOffsetOfASquare) {
  for (bool shrink : {false, true}) {
    CBPointArray sq = Rect(0, 0, 100, 100);
    Pts out;
    ShrinkOutlineParallel(sq, out, 10, shrink);
    ASSERT_GT(out.GetSize(), 10);
    const PLEXA::CDRECT r = Bounds(out);
    const double lo = shrink ? 10 : -10, hi = shrink ? 90 : 110;
    EXPECT_NEAR(r.xmin, lo, 2.5);
    EXPECT_NEAR(r.xmax, hi, 2.5);
    EXPECT_NEAR(r.ymin, lo, 2.5);
    EXPECT_NEAR(r.ymax, hi, 2.5);
    // Grown: every point within three pixels of distance 10 from the square (round corners).
    if (!shrink)
      for (const CDPOINT& q : out) {
        const double dx = std::max({-q.x, 0.0, q.x - 100}), dy = std::max({-q.y, 0.0, q.y - 100});
        EXPECT_NEAR(std::hypot(dx, dy), 10, 3) << q.x << " " << q.y;
      }
  }
  for (bool flag : {false, true}) {
    Pts p = Square(100);
    ShrinkOutlineParallel(p, 10, flag);
    EXPECT_NEAR(Bounds(p).xmax, 110, 2.5) << flag;
  }
  // A 2000 x 2000 square is drawn at about half scale: still about 10 out, within 2 pixels.
  CBPointArray big = Rect(0, 0, 2000, 2000);
  ShrinkOutlineParallel(big, 10, false);
  ASSERT_GT(big.GetSize(), 2);
  EXPECT_NEAR(big.GetPolyBezierRect(1.0).xmax, 2010, 4 + kShrinkRefit);
  CPolyPolyBezier set;
  set.Add(new CBPointArray(Circle(0, 0, 50)));
  set.Add(new CBPointArray(Poly({{1, 1}})));
  ShrinkOutlineParallelBound(set, 5, true);
  ASSERT_EQ(set.GetSize(), 1);
  for (const auto& poly : DensePolygons({set.GetAt(0)}, 16))
    for (const CDPOINT& q : poly) EXPECT_NEAR(std::hypot(q.x, q.y), 46, 2 + kShrinkRefit);
}

// The grid offsets: a circle of radius 100 grown, shrunk and rippled; bad arguments change
// nothing.
TEST(OutlineOffset, GridOffsetsAndRipples) {
  const auto radii = [](const CPolyPolyBezier& set, int i, double& lo, double& hi) {
    lo = kInf;
    hi = 0;
    for (const auto& poly : DensePolygons({set.GetAt(i)}, 16))
      for (const CDPOINT& q : poly) {
        lo = std::min(lo, std::hypot(q.x, q.y));
        hi = std::max(hi, std::hypot(q.x, q.y));
      }
  };
  double lo = 0, hi = 0;
  const double cell = 300.0 / 1020;  // side 200 + band 2 * 50 over 1020 cells
  for (int mode : {0, 1, 2}) {
    CPolyPolyBezier set;
    set.Add(new CBPointArray(Circle(0, 0, 100)));
    ShrinkOutlineParallel(set, 50, mode);
    ASSERT_EQ(set.GetSize(), mode == 2 ? 2 : 1) << mode;
    radii(set, 0, lo, hi);
    const double want = mode == 1 ? 50 : 150;
    EXPECT_NEAR(lo, want, 2 * cell) << mode;
    EXPECT_NEAR(hi, want, 2 * cell) << mode;
  }
  CPolyPolyBezier rip;
  rip.Add(new CBPointArray(Circle(0, 0, 100)));
  ShrinkOutlineRipples(rip, 20, 3);
  ASSERT_EQ(rip.GetSize(), 3);
  for (int k = 0; k < 3; ++k) {
    radii(rip, k, lo, hi);
    EXPECT_NEAR(lo, 120 + 20 * k, 2 * 320.0 / 1020);
    EXPECT_NEAR(hi, 120 + 20 * k, 2 * 320.0 / 1020);
  }
  for (auto [d, n] : {std::pair{kNaN, 1}, {-1.0, 1}, {5.0, 0}}) {
    ShrinkOutlineRipples(rip, d, n);
    ShrinkOutlineParallel(rip, d, n == 0 ? 7 : 0);
    EXPECT_EQ(rip.GetSize(), 3);
  }
}
