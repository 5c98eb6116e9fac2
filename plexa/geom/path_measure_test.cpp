#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "plexa/core/planar.h"
#include "plexa/geom/path.h"
#include "tests/support.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

using namespace plexa::test;

// Even-odd on a dense flattening, an open path closed by a straight line.
bool InsideDense(const CBPointArray& path, const CDPOINT& q) {
  double nearest;
  return DenseInside(DensePolygons({&path}, 400, false), q, nearest);
}

}  // namespace

TEST(PathMeasure, LengthAndHalfwayPoint) {
  CBPointArray line;
  line.CreateLine(CDPOINT(0, 0), CDPOINT(30, 40));
  EXPECT_NEAR(line.CalcLength(), 50, 1e-9);
  const CDPOINT mid = line.CalcHalfwayPoint();
  EXPECT_POINT_NEAR(mid, CDPOINT(15, 20), 1e-6);

  CBPointArray circle;
  circle.CreateCircle(CDRECT(-100, 100, -100, 100));
  // The four-arc cubic circle is 2.7e-4 of the radius out at worst; its length is within
  // about 1e-4 relative of 2 pi r.
  EXPECT_NEAR(circle.CalcLength(), 2 * std::numbers::pi * 100, 0.1);
  const CDPOINT half = circle.CalcHalfwayPoint();  // opposite the start (0, -100)
  EXPECT_POINT_NEAR(half, CDPOINT(0, 100), 1e-6);

  // Two equal straight segments: the running sum meets half exactly at the middle anchor.
  CBPointArray two = Poly({{0, 0}, {10, 0}, {20, 0}});
  EXPECT_EQ(two.CalcHalfwayPoint(), CDPOINT(10, 0));
  EXPECT_EQ(CBPointArray().CalcHalfwayPoint(), CDPOINT(0, 0));
  EXPECT_EQ(Poly({{3, 4}}).CalcHalfwayPoint(), CDPOINT(3, 4));
  EXPECT_EQ(Poly({{3, 4}}).CalcLength(), 0);
}

TEST(PathMeasure, FlatteningsRecordSegmentEnds) {
  CBPointArray circle;
  circle.CreateCircle(CDRECT(-100, 100, -100, 100));
  CArray<CDPOINT> pts;
  pts.Add(CDPOINT(999, 999));  // not emptied: the first anchor is not added to a non-empty list
  CDWordArray ends;
  circle.ExecuteBPointArrayT(pts, ends, 1.0);
  ASSERT_EQ(ends.GetSize(), 4);
  EXPECT_EQ(ends[3], static_cast<DWORD>(pts.GetSize()));
  for (INT_PTR i = 1; i < ends.GetSize(); ++i) EXPECT_GT(ends[i], ends[i - 1]);

  CArray<CDPOINT> ex;
  CArray<double> params;
  CDWordArray exEnds;
  circle.ExecuteBPointArrayTEx(ex, &params, &exEnds, 1.001);
  ASSERT_EQ(ex.GetSize(), params.GetSize());
  EXPECT_EQ(ex[0], circle[0].anchor);
  EXPECT_EQ(params[0], 0.0);
  EXPECT_EQ(exEnds.GetSize(), 4);
  // Each segment ends with parameter 1 at its end anchor, and every point lies on the circle
  // within the cubic's own error.
  for (INT_PTR s = 0; s < 4; ++s) {
    EXPECT_EQ(params[exEnds[s] - 1], 1.0);
    EXPECT_EQ(ex[exEnds[s] - 1], circle[s + 1].anchor);
  }
  for (const CDPOINT& p : ex) EXPECT_NEAR(std::hypot(p.x, p.y), 100, 0.03);

  // A ratio below 1 never accepts a curved piece: bounded by the depth cap, not endless.
  CBPointArray arc;
  arc.Add(CBPOINT(CDPOINT(0, 0), CDPOINT(0, 0), CDPOINT(0, 10)));
  arc.Add(CBPOINT(CDPOINT(10, 10), CDPOINT(10, 0), CDPOINT(10, 0)));
  CArray<CDPOINT> many;
  arc.ExecuteBPointArrayTEx(many, nullptr, nullptr, 0.5);
  EXPECT_LE(many.GetSize(), kFlattenExPointCeiling + kFlattenExMaxDepth + 2);
  EXPECT_EQ(many[many.GetUpperBound()], CDPOINT(10, 0));

  EXPECT_EQ(CBPointArray().GetPolyBezierRect(1.0), CDRECT());
  const CDRECT r = circle.GetPolyBezierRect(0.5);
  EXPECT_NEAR(r.xmin, -100, 1e-9);
  EXPECT_NEAR(r.ymax, 100, 1e-9);
}

TEST(PathMeasure, InternalPointIsStrictlyInside) {
  CDPOINT pt;
  EXPECT_FALSE(Poly({{0, 0}, {1, 1}}).GetInternalPoint(pt));
  EXPECT_FALSE(Poly({{0, 0}, {1, 0}, {2, 0}, {0, 0}}).GetInternalPoint(pt));  // no area

  // A thin concave U: the hollow must not be chosen.
  const CBPointArray u =
      Poly({{0, 0}, {100, 0}, {100, 100}, {98, 100}, {98, 2}, {2, 2}, {2, 100}, {0, 100}, {0, 0}});
  ASSERT_TRUE(u.GetInternalPoint(pt));
  EXPECT_TRUE(InsideDense(u, pt)) << pt.x << ", " << pt.y;

  // A ring: outline and hole as one path with a loop; the point must avoid the hole.
  CBPointArray ring;
  ring.CreateCircle(CDRECT(-50, 50, -50, 50));
  CBPointArray hole;
  hole.CreateCircle(CDRECT(-45, 45, -45, 45));
  hole.MakeReverse();
  for (const CBPOINT& n : hole) ring.Add(n);
  ring.Add(ring[0]);
  ASSERT_TRUE(ring.GetInternalPoint(pt));
  EXPECT_TRUE(InsideDense(ring, pt));
  EXPECT_GT(std::hypot(pt.x, pt.y), 45);

  // Random star polygons: every answer is inside.
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> radius(5, 100);
  for (int trial = 0; trial < 20; ++trial) {
    CBPointArray star;
    const int n = 5 + trial;
    for (int i = 0; i < n; ++i) {
      const double a = 2 * std::numbers::pi * i / n, r = radius(rng);
      star.Add(Corner(r * std::cos(a), r * std::sin(a)));
    }
    star.Add(star[0]);
    ASSERT_TRUE(star.GetInternalPoint(pt)) << trial;
    EXPECT_TRUE(InsideDense(star, pt)) << trial;
  }

  // Clip rectangle: the point lies in both; a clip outside the shape gives false.
  CBPointArray sq;
  sq.CreateRect(CDRECT(0, 100, 0, 100));
  const CDRECT clip(80, 200, 80, 200);
  ASSERT_TRUE(sq.GetInternalPoint(pt, &clip));
  EXPECT_GT(pt.x, 80);
  EXPECT_GT(pt.y, 80);
  const CDRECT away(200, 300, 200, 300);
  EXPECT_FALSE(sq.GetInternalPoint(pt, &away));

  CBPointArray nan = Poly({{0, 0}, {NAN, 1}, {1, 1}, {0, 0}});
  EXPECT_FALSE(nan.GetInternalPoint(pt));
}

TEST(PathMeasure, IntegerInsideTestOnTheFlattenedPath) {
  CBPointArray sq;
  sq.CreateRect(CDRECT(0, 10, 0, 10));
  EXPECT_EQ(IsPointInPolygon(sq, tagPOINT{5, 5}), 1);
  EXPECT_EQ(IsPointInPolygon(sq, tagPOINT{15, 5}), 0);
  EXPECT_EQ(IsPointInPolygon(CBPointArray(), tagPOINT{0, 0}), 0);
}
