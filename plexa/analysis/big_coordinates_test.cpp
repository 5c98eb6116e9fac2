// Answers at the edges of the coordinate range: lengths, inside points and fits of shapes
// far beyond everyday sizes, and the integer inside test and hull within their stated range,
// each against an exact or analytic oracle.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "plexa/analysis/hull.h"
#include "plexa/core/planar.h"
#include "plexa/geom/bezier.h"
#include "plexa/geom/path.h"
#include "plexa/geom/setplanar.h"
#include "tests/support.h"

using namespace plexa::test;

namespace {

__extension__ typedef __int128 Int128;

// Exact orientation of c against the line a -> b (sign of the cross product in 128 bits).
int Orient(const tagPOINT& a, const tagPOINT& b, const tagPOINT& c) {
  const Int128 v = static_cast<Int128>(static_cast<long long>(b.x) - a.x) * (c.y - a.y) -
                   static_cast<Int128>(static_cast<long long>(b.y) - a.y) * (c.x - a.x);
  return (v > 0) - (v < 0);
}

}  // namespace

TEST(BigCoordinates, LengthsOfHugeSegments) {
  // A straight segment (handles on the anchors) and the same one with handles at its thirds:
  // every length function gives s, never 0, infinity or NaN, up to 1e300. (The Simpson
  // length squares an expanded speed polynomial, which cancels to about 1e-8 relative where
  // the speed vanishes at an end; that is its accuracy at every scale.)
  for (const double s : {1.0, 1e100, 1e154, 1e160, 1e200, 1e300}) {
    SCOPED_TRACE(s);
    const CBezier flat(Corner(0, 0), Corner(s, 0));
    EXPECT_NEAR(flat.GetLength() / s, 1.0, 1e-7);
    CBPointArray path;
    path.Add(CBPOINT(CDPOINT(0, 0), CDPOINT(0, 0), CDPOINT(s / 3, 0)));
    path.Add(CBPOINT(CDPOINT(2 * (s / 3), 0), CDPOINT(s, 0), CDPOINT(s, 0)));
    EXPECT_NEAR(path.CalcLength() / s, 1.0, 1e-12);
    EXPECT_NEAR(GetPolylineLength(path) / s, 1.0, 1e-12);
    CArray<CDPOINT> poly;
    poly.Add(CDPOINT(-s / 2, 0));
    poly.Add(CDPOINT(s / 2, 0));
    EXPECT_NEAR(GetPolylineLength(poly) / s, 1.0, 1e-12);
  }
}

TEST(BigCoordinates, InternalPointOfHugeTriangles) {
  // The triangle (0, 0), (s, 0), (0, s) and the same with one far vertex: the point found
  // is finite and strictly inside (x > 0, y > 0, x / a + y / b < 1).
  struct Case {
    double a, b;
  };
  for (const Case c : {Case{1, 1}, Case{1e154, 1e154}, Case{1e201, 1}, Case{1, 1e250},
                       Case{1e300, 1e300}, Case{1e307, 1e307}}) {
    SCOPED_TRACE(c.a);
    CBPointArray tri;
    for (const CDPOINT p : {CDPOINT(0, 0), CDPOINT(c.a, 0), CDPOINT(0, c.b), CDPOINT(0, 0)})
      tri.Add(Corner(p.x, p.y));
    CDPOINT pt(-1, -1);
    ASSERT_TRUE(tri.GetInternalPoint(pt, nullptr));
    EXPECT_TRUE(std::isfinite(pt.x) && std::isfinite(pt.y));
    EXPECT_TRUE(pt.x > 0 && pt.y > 0 && pt.x / c.a + pt.y / c.b < 1) << pt.x << ", " << pt.y;
  }
}

TEST(BigCoordinates, IntegerInsideTestAndHullWithinStatedRange) {
  // Random triangles and points with coordinates up to 2^24 in magnitude, against exact
  // cross products; points on an edge are left out (their verdict is a tie rule).
  std::mt19937 rng(5);
  const int r = 1 << 24;
  std::uniform_int_distribution<int> u(-r, r);
  int checked = 0;
  for (int i = 0; i < 20000; ++i) {
    tagPOINT t[4] = {{u(rng), u(rng)}, {u(rng), u(rng)}, {u(rng), u(rng)}, {0, 0}};
    t[3] = t[0];
    const tagPOINT p{u(rng), u(rng)};
    const int o0 = Orient(t[0], t[1], p), o1 = Orient(t[1], t[2], p), o2 = Orient(t[2], t[0], p);
    if (o0 == 0 || o1 == 0 || o2 == 0 || Orient(t[0], t[1], t[2]) == 0) continue;
    ++checked;
    const bool want = o0 == o1 && o1 == o2;
    const CRect box = GetPolygonRect(t, 4);
    ASSERT_EQ(IsPointInPolygon(t, 4, p, &box), want ? 1 : 0)
        << t[0].x << "," << t[0].y << " " << t[1].x << "," << t[1].y << " " << t[2].x << ","
        << t[2].y << " p " << p.x << "," << p.y;
  }
  EXPECT_GT(checked, 19000);

  // Hulls of random sets at the same size: every input point is inside or on the hull (the
  // leftmost point first, which the extreme-point filter deliberately never removes).
  for (int trial = 0; trial < 300; ++trial) {
    CArray<tagPOINT> pts;
    for (int i = 0; i < 12; ++i) pts.Add(tagPOINT{u(rng), u(rng)});
    for (INT_PTR i = 1; i < pts.GetSize(); ++i)
      if (pts[i].x < pts[0].x) std::swap(pts[0], pts[i]);
    const std::vector<tagPOINT> input(pts.GetData(), pts.GetData() + pts.GetSize());
    GetConvexHull(pts);
    ASSERT_GE(pts.GetSize(), 4);
    // The hull's turning sense, from its first corner that is not collinear.
    int sense = 0;
    for (INT_PTR i = 0; sense == 0 && i + 2 < pts.GetSize(); ++i)
      sense = Orient(pts[i], pts[i + 1], pts[i + 2]);
    for (const tagPOINT& q : input)
      for (INT_PTR i = 0; i + 1 < pts.GetSize(); ++i)
        ASSERT_NE(Orient(pts[i], pts[i + 1], q), -sense) << "point outside its hull";
  }
}
