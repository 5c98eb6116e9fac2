#include "plexa/core/planar.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numbers>
#include <random>
#include <tuple>

#include "plexa/core/view3d.h"
#include "plexa/geom/path.h"
#include "plexa/geom/polypoly.h"
#include "plexa/geom/setplanar.h"
#include "tests/support.h"

using PLEXA::CBPOINT;
using PLEXA::CDLINE;
using PLEXA::CDPOINT;
using PLEXA::CDRECT;
using PLEXA::CFLINE;
using PLEXA::CFPOINT;
using Pts = CArray<CDPOINT, CDPOINT>;
using IPoly = CArray<tagPOINT, tagPOINT>;

namespace {

using namespace plexa::test;
constexpr double kPi = std::numbers::pi;

const Pts kSquare = Array<CDPOINT>({{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}});

}  // namespace

TEST(PlanarAngles, WrapOnceAndCompare) {
  EXPECT_DOUBLE_EQ(Bound2PI(-7), -7 + 2 * kPi);  // -0.7168..., still negative: one wrap only
  EXPECT_EQ(Bound2PI(1.5), 1.5);
  EXPECT_DOUBLE_EQ(BoundPI(4), 4 - 2 * kPi);
  EXPECT_DOUBLE_EQ(BoundPI(-4), -4 + 2 * kPi);
  EXPECT_EQ(BoundPI(kPi), kPi);
  EXPECT_DOUBLE_EQ(BoundPI(10), 10 - 2 * kPi);  // once: 3.7168 stays above pi

  EXPECT_EQ(AreAnglesEqual(0.001, 2 * kPi - 0.001, 0.01), 1);  // across the wrap
  EXPECT_EQ(AreAnglesEqual(-0.1, 2 * kPi - 0.1, 1e-9), 1);
  EXPECT_EQ(AreAnglesEqual(0, 1, 0.5), 0);

  // Ratio 0.5 exceeds 0.4 (also given as -0.4), but strictly; both zero suits any ratio.
  for (auto [a, b, ratio, want] : {std::tuple{1.0, 2.0, 0.4, 1},
                                   {1, 2, -0.4, 1},
                                   {2, 1, 0.5, 0},
                                   {1, 2, 0.6, 0},
                                   {-3, 3, 0.99, 1},
                                   {0, 1e-9, 5, 1},
                                   {0, 1e-7, 0.1, 0}})
    EXPECT_EQ(AreDistancesEqual(a, b, ratio), want) << a << " " << b << " " << ratio;
}

TEST(PlanarAngles, LinesAngleSignRangeAndCoincidence) {
  EXPECT_DOUBLE_EQ(GetLinesAngle(1, 0, 0, 0, 0, 1), -kPi / 2);  // P1 clockwise of P3
  EXPECT_DOUBLE_EQ(GetLinesAngle(0, 1, 0, 0, 1, 0), kPi / 2);
  EXPECT_DOUBLE_EQ(GetLinesAngle(-1, 0, 0, 0, 1, 0), kPi);  // the ends of the range
  EXPECT_DOUBLE_EQ(GetLinesAngle(1, 0, 0, 0, -1, 0), -kPi);
  // P1 at 350 degrees, P3 at 10 degrees: -20 degrees, not 340.
  const double a = 350 * kPi / 180, b = 10 * kPi / 180;
  EXPECT_NEAR(GetLinesAngle(std::cos(a), std::sin(a), 0, 0, std::cos(b), std::sin(b)),
              -20 * kPi / 180, 1e-12);
  EXPECT_EQ(GetLinesAngle(5e-9, 0, 0, 0, 0, 1), 0.0);      // P1 on P2
  EXPECT_EQ(GetLinesAngle(0, 1, 5, 5, 5e-9, 1), 0.0);      // P1 on P3
  EXPECT_EQ(GetLinesAngle(1, 0, 3, 3, 3, 3 + 5e-9), 0.0);  // P3 on P2
}

TEST(PlanarLines, IntersectionInSlopeFormRelativeToSecondPoint) {
  double x = -1, y = -1;
  // Meeting lines: plain, vertical first line, vertical second line.
  for (auto [l, at] : {std::pair{std::array<double, 8>{0, 0, 2, 2, 0, 2, 2, 0}, CDPOINT(1, 1)},
                       {{1, -1, 1, 1, 0, 0, 2, 0}, CDPOINT(1, 0)},
                       {{0, 0, 2, 2, 1, 5, 1, -5}, CDPOINT(1, 1)}}) {
    EXPECT_EQ(GetLinesIntersection(l[0], l[1], l[2], l[3], l[4], l[5], l[6], l[7], &x, &y), 1);
    EXPECT_POINT_NEAR(CDPOINT(x, y), at, 1e-12);
  }
  // Collinear, parallel, both vertical, and degenerate first or second line: 0 with the
  // outputs zeroed.
  for (const auto& l : {std::array<double, 8>{0, 0, 1, 1, 2, 2, 3, 3},
                        {0, 0, 1, 1, 0, 1, 1, 2},
                        {1, 0, 1, 5, 3, 0, 3, 5},
                        {1, 1, 1, 1, 0, 0, 5, 0},
                        {0, 0, 5, 1, 2, 2, 2, 2}}) {
    x = y = -1;
    EXPECT_EQ(GetLinesIntersection(l[0], l[1], l[2], l[3], l[4], l[5], l[6], l[7], &x, &y), 0)
        << l[0] << " " << l[4];
    EXPECT_EQ(CDPOINT(x, y), CDPOINT(0, 0)) << l[0] << " " << l[4];
  }
  // A first line with an x extent below 1e-8 counts as vertical through its second point.
  EXPECT_EQ(GetLinesIntersection(5 + 5e-9, 10, 5, 0, 0, 3, 10, 3, &x, &y), 1);
  EXPECT_EQ(x, 5.0);
  EXPECT_DOUBLE_EQ(y, 3.0);
  // The epsilon is on slopes, not angles: slope 1e-9 against a horizontal line is parallel...
  EXPECT_EQ(GetLinesIntersection(0, 0, 100, 1e-7, 0, 1, 1, 1, &x, &y), 0);
  // ...while two steep lines a hair apart in angle still meet.
  EXPECT_EQ(GetLinesIntersection(0, 0, 1, 1e8, 0, 1, 1, 1 + 1.0001e8, &x, &y), 1);
  EXPECT_NEAR(x, -1e-4, 1e-9);  // 1e8 x = 1 + 1.0001e8 x
  // Null outputs are allowed.
  EXPECT_EQ(GetLinesIntersection(0, 0, 2, 2, 0, 2, 2, 0, nullptr, nullptr), 1);

  // Segments: a meeting outside one segment answers 0 but leaves the point.
  EXPECT_EQ(GetSegmentIntersection(0, 0, 2, 2, 0, 2, 2, 0, &x, &y), 1);
  EXPECT_EQ(GetSegmentIntersection(0, 0, 1, 1, 4, 0, 4, 10, &x, &y), 0);
  EXPECT_POINT_NEAR(CDPOINT(x, y), CDPOINT(4, 4), 1e-12);
}

TEST(PlanarLines, DistancesHalfPlanesRangesAndDivision) {
  EXPECT_DOUBLE_EQ(GetDistanceFromLine(0, 0, 10, 0, 3, -4), 4.0);
  EXPECT_DOUBLE_EQ(GetDistanceFromLine(1, 1, 1, 1, 4, 5), 5.0);  // degenerate: distance to P1
  EXPECT_POINT_NEAR(GetDistancePoint(0, 0, 10, 10, 10, 0), CDPOINT(5, 5), 1e-12);
  EXPECT_EQ(GetDistancePoint(2, 3, 2, 3, 9, 9), CDPOINT(2, 3));

  EXPECT_EQ(GetHalfPlane(0, 0, 1, 0, 0, 1), 1);  // left of P1->P2 with y up
  EXPECT_EQ(GetHalfPlane(0, 0, 1, 0, 7, 5e-9), 0);
  EXPECT_EQ(GetHalfPlane(0, 0, 1000, 0, 7, 5e-11), 1);  // absolute, not scaled: s = 5e-8

  EXPECT_EQ(IsPointInLineRange(0, 0, 10, 5, 10 + 5e-9, -5e-9), 1);
  EXPECT_EQ(IsPointInLineRange(10, 5, 0, 0, 5, 5 + 2e-8), 0);
  EXPECT_EQ(IsPointInLineRange(0, 0, 10, 10, 9, 1), 1);  // a box test, not an on-line test

  const CDLINE l(CDPOINT(1, 2), CDPOINT(5, 10));
  EXPECT_EQ(DivideLine(l, 1), CDPOINT(5, 10));
  EXPECT_POINT_NEAR(DivideLine(l, 1.5), CDPOINT(7, 14), 1e-12);
  EXPECT_POINT_NEAR(DivideLine(l, -0.5), CDPOINT(-1, -2), 1e-12);
  const CFPOINT f = DivideLine(CFLINE(CFPOINT(1.0f, -1.0f), CFPOINT(-1.0f, 3.0f)), 0.5);
  EXPECT_EQ(f, CFPOINT(0.0f, 1.0f));
  const CFPOINT g = DivideLine(CFLINE(CFPOINT(0.0f, 0.0f), CFPOINT(1e-8f, 2.0f)), 0.5);
  EXPECT_EQ(g.x, 0.0f);  // 5e-9 is stored as exactly 0
  // Results beyond the float range become infinities rather than undefined conversions.
  const float big = std::numeric_limits<float>::max();
  const CFPOINT h = DivideLine(CFLINE(CFPOINT(-big, 0.0f), CFPOINT(big, 1.0f)), 3.0);
  EXPECT_EQ(h.x, std::numeric_limits<float>::infinity());
  float fx = big, fy = 0;
  FlipHor(&fx, &fy, -big, 0);
  EXPECT_EQ(fx, -std::numeric_limits<float>::infinity());
}

TEST(PlanarTransforms, FlipsAndRandomRange) {
  double x = 3, y = 7;
  FlipHor(&x, &y, 10, 0);
  FlipVer(&x, &y, 0, 2);
  EXPECT_EQ(CDPOINT(x, y), CDPOINT(17, -3));
  float fx = 3, fy = 7;
  FlipHor(&fx, &fy, 5e-9f, 0);  // an axis below 1e-8 is the axis 0
  EXPECT_EQ(fx, -3.0f);

  std::srand(7);
  int seen = 0;
  for (int i = 0; i < 500; ++i) seen |= 1 << (GetRandom(3, 7) - 3);  // shifts stay in 0..4
  EXPECT_EQ(seen, 31);
  EXPECT_EQ(GetRandom(5, 4), 5);  // empty range: no division by zero
}

TEST(PlanarBounds, RectanglesOfPointsArraysSetsAndPaths) {
  const Pts tri = Array<CDPOINT>({{3, -1}, {-2, 4}, {5, 2}});
  EXPECT_EQ(GetPolygonRect(tri), CDRECT(-2, 5, -1, 4));
  EXPECT_EQ(GetPolygonRect(tri.GetData(), 2), CDRECT(-2, 3, -1, 4));
  EXPECT_EQ(GetPolygonRect(tri.GetData(), 0), CDRECT());
  EXPECT_EQ(GetPolygonRect(Pts()), CDRECT());

  EXPECT_EQ(GetPolylineBounds(Array<tagPOINT>({{3, -1}, {-2, 4}, {5, 2}})), CRect(-2, -1, 5, 4));
  EXPECT_EQ(GetPolylineBounds(IPoly()), CRect());
  double x0 = 9, y0 = 9, x1 = 9, y1 = 9;
  GetPolylineBounds(tri, x0, y0, x1, y1);
  EXPECT_EQ(CDRECT(x0, x1, y0, y1), CDRECT(-2, 5, -1, 4));  // note the argument order

  // Paths: anchors only, control points ignored.
  CBPointArray path;
  path.Add(CBPOINT(CDPOINT(-100, -100), CDPOINT(0, 0), CDPOINT(100, 100)));
  path.Add(CBPOINT(CDPOINT(50, 50), CDPOINT(2, 3), CDPOINT(50, 50)));
  CDRECT pr;
  GetPolylineBounds(path, pr);
  EXPECT_EQ(pr, CDRECT(0, 2, 0, 3));

  CPolyPolyDPoint set;
  set.Add(new Pts(tri));
  set.Add(nullptr);
  set.Add(new Pts(kSquare));
  CArray<CDRECT, CDRECT> rects;
  rects.Add(CDRECT(7, 7, 7, 7));
  rects.Add(CDRECT(7, 7, 7, 7));
  GetPolygonRects(set, rects);
  ASSERT_EQ(rects.GetSize(), 3);
  EXPECT_EQ(rects[1], CDRECT());  // absent polyline: zero
  EXPECT_EQ(rects[2], CDRECT(0, 10, 0, 10));
}

TEST(PlanarLengths, LengthsAndLengthFractions) {
  const Pts l = Array<CDPOINT>({{0, 0}, {3, 4}, {3, 10}});
  EXPECT_DOUBLE_EQ(GetPolylineLength(l), 11.0);
  EXPECT_DOUBLE_EQ(GetPolylineLength(l, 1), 5.0);
  EXPECT_DOUBLE_EQ(GetPolylineLength(l, 9), 11.0);
  EXPECT_DOUBLE_EQ(GetPolylineLength(Array<tagPOINT>({{0, 0}, {3, 4}, {3, 10}})), 11.0);
  // A path's length follows the anchors, not the curves.
  CBPointArray path = Poly({{0, 0}, {3, 4}});
  path[0].out = CDPOINT(100, 0);
  EXPECT_DOUBLE_EQ(GetPolylineLength(path), 5.0);

  EXPECT_EQ(GetPolylineTFromLength(l, 5.5), 0.5);
  EXPECT_EQ(GetPolylineTFromLength(l, 12), 1.0);
  EXPECT_EQ(GetPolylineTFromLength(l, -1), 0.0);
  EXPECT_EQ(GetPolylineTFromLength(Array<CDPOINT>({{1, 1}, {1, 1}}), 0.0), 0.0);
}

TEST(PlanarLengths, PointAtFractionKeepsTheAbsoluteValue) {
  const Pts l = Array<CDPOINT>({{0, 0}, {10, 0}, {10, 10}});  // length 20
  int seg = -1;
  // At 0.5 the first segment whose cumulative length reaches t * L; beyond the end
  // extrapolated along the last segment's line; before the start mirrored into the first
  // segment, |10 - 15| / 10 of the way.
  struct Case {
    double t;
    CDPOINT p;
    int seg;
  };
  for (const Case& c :
       {Case{0.75, {10, 5}, 1}, {0.5, {10, 0}, 0}, {1.5, {10, 20}, 1}, {-0.25, {5, 0}, 0}}) {
    EXPECT_POINT_NEAR(GetPolylinePoint(l, c.t, &seg), c.p, 1e-12);
    EXPECT_EQ(seg, c.seg) << c.t;
  }
  // Degenerate inputs.
  EXPECT_EQ(GetPolylinePoint(Pts(), 0.5, &seg), CDPOINT());
  EXPECT_EQ(seg, 0);
  EXPECT_EQ(GetPolylinePoint(Array<CDPOINT>({{2, 2}, {2, 2}, {9, 2}}), 0.0, &seg), CDPOINT(2, 2));
  const CDPOINT nan = GetPolylinePoint(l, std::numeric_limits<double>::quiet_NaN(), &seg);
  EXPECT_TRUE(std::isnan(nan.x) || std::isnan(nan.y));
}

TEST(PlanarLengths, FractionOfPointUsesAOneUnitThreshold) {
  Pts l = Array<CDPOINT>({{0, 0}, {10, 0}, {10, 10}});
  EXPECT_DOUBLE_EQ(GetPolylineT(l, 1, CDPOINT(10, 5)), 0.75);
  EXPECT_DOUBLE_EQ(GetPolylineT(l, 0, CDPOINT(5, 3)), std::hypot(5, 3) / 20);  // not projected
  EXPECT_EQ(GetPolylineT(l, 2, CDPOINT(0, 0)), 1.0);                           // seg == n - 1
  EXPECT_EQ(GetPolylineT(l, 3, CDPOINT(0, 0)), 0.0);
  EXPECT_EQ(GetPolylineT(l, -1, CDPOINT(0, 0)), 0.0);
  Pts empty;
  EXPECT_EQ(GetPolylineT(empty, -1, CDPOINT(0, 0)), 1.0);  // n - 1 is -1
  // Shorter than one unit: 0 for every point; exactly one unit is long enough.
  Pts tiny = Array<CDPOINT>({{0, 0}, {0.5, 0}, {0.9, 0}});
  EXPECT_EQ(GetPolylineT(tiny, 0, CDPOINT(0.3, 0)), 0.0);
  Pts unit = Array<CDPOINT>({{0, 0}, {1, 0}});
  EXPECT_DOUBLE_EQ(GetPolylineT(unit, 0, CDPOINT(0.25, 0)), 0.25);
}

TEST(PlanarLengths, TangentsAndClosestPoints) {
  const Pts l = Array<CDPOINT>({{0, 0}, {10, 0}, {10, 10}});
  EXPECT_DOUBLE_EQ(GetDPointTangentAngle(l, 0), 0.0);
  EXPECT_DOUBLE_EQ(GetDPointTangentAngle(l, 1), kPi / 4);
  EXPECT_DOUBLE_EQ(GetDPointTangentAngle(l, 2), kPi / 2);
  EXPECT_THROW(GetDPointTangentAngle(l, 3), CInvalidArgException);

  CArray<CPoint, CPoint> pts;
  EXPECT_EQ(GetClosestPointIndex(pts, CPoint(0, 0)), -1);
  pts.Add(CPoint(5, 5));
  pts.Add(CPoint(1, 0));
  pts.Add(CPoint(0, 1));  // tie with index 1
  EXPECT_EQ(GetClosestPointIndex(pts, CPoint(0, 0)), 1);
  // Extreme coordinates: squared distances need more than 64 bits.
  CArray<CPoint, CPoint> far;
  constexpr LONG kMin = std::numeric_limits<LONG>::min(), kMax = std::numeric_limits<LONG>::max();
  far.Add(CPoint(kMin, kMin));
  far.Add(CPoint(kMin, kMax));
  EXPECT_EQ(GetClosestPointIndex(far, CPoint(kMax, kMax)), 1);

  Pts poly = Array<CDPOINT>({{0, 0}, {10, 0}, {10, 10}});
  int seg = -1;
  CDPOINT q(-1, -1);
  EXPECT_TRUE(GetPolylineClosestPoint(poly, CDPOINT(4, 3), &seg, &q) && seg == 0) << seg;
  EXPECT_POINT_NEAR(q, CDPOINT(4, 0), 1e-12);
  // Beyond the ends: the nearer end point; at the corner the earlier segment wins the tie.
  EXPECT_TRUE(GetPolylineClosestPoint(poly, CDPOINT(13, -3), &seg, &q) && seg == 0) << seg;
  EXPECT_EQ(q, CDPOINT(10, 0));
  Pts one = Array<CDPOINT>({{1, 1}});
  q = CDPOINT(-7, -7);
  EXPECT_TRUE(GetPolylineClosestPoint(one, CDPOINT(4, 3), &seg, &q));
  EXPECT_EQ(seg, 0);
  EXPECT_EQ(q, CDPOINT(-7, -7));  // unchanged
}

TEST(PlanarConversions, ConvertTransformDuplicatesAndSimilarity) {
  CBPointArray path = Poly({{9, 9}, {9, 9}, {9, 9}});
  Convert(Array<CDPOINT>({{1, 2}, {3, 4}}), path);
  ASSERT_EQ(path.GetSize(), 2);
  EXPECT_EQ(path[1], CBPOINT(CDPOINT(3, 4), CDPOINT(3, 4), CDPOINT(3, 4)));

  Pts pts = Array<CDPOINT>({{1, 2}, {3, 4}});
  CView3D view;
  view.Translate(5, 0, 0);  // a view moves the world by the negated offset
  ApplyTransformation(pts, view);
  EXPECT_POINT_NEAR(pts[1], CDPOINT(-2, 4), 1e-12);

  IPoly ip = Array<tagPOINT>({{1, 1}, {1, 1}, {2, 2}, {2, 2}, {2, 2}, {1, 1}});
  DelPolylineDuplicatePoints(ip);
  ASSERT_EQ(ip.GetSize(), 3);
  EXPECT_EQ(ip[2].x, 1);
  // A chain of near repeats collapses onto its first point: each is compared with its
  // original predecessor, not with the survivor.
  Pts chain = Array<CDPOINT>({{0, 0}, {0.6e-8, 0}, {1.2e-8, 0}, {5, 0}});
  DelPolylineDuplicatePoints(chain);
  ASSERT_EQ(chain.GetSize(), 2);
  EXPECT_EQ(chain[1], CDPOINT(5, 0));

  const CBPointArray a = Poly({{0, 0}, {10, 0}, {10, 10}});
  EXPECT_TRUE(AreSimilar(a, Poly({{5, 5}, {15, 5}, {15, 15}}), 1e-9));    // translated
  EXPECT_TRUE(AreSimilar(a, Poly({{0, 7}, {10, -40}, {10, 99}}), 1e-9));  // y never decides
  EXPECT_FALSE(AreSimilar(a, Poly({{0, 0}, {10.5, 0}, {10.5, 10}}), 0.1));
  EXPECT_FALSE(AreSimilar(a, Poly({{0, 0}, {10, 0}}), 1.0));

  CPolyPolyBezier s1, s2;
  EXPECT_TRUE(AreSimilar(s1, s2, 0.1));
  s1.Add(new CBPointArray(a));
  s2.Add(new CBPointArray(Poly({{3, 0}, {13, 9}, {13, 0}})));
  s1.Add(nullptr);
  s2.Add(nullptr);
  EXPECT_TRUE(AreSimilar(s1, s2, 0.1));
  s1.Add(new CBPointArray(a));
  s2.Add(nullptr);
  EXPECT_FALSE(AreSimilar(s1, s2, 0.1));  // one absent fails
  s2.RemoveAt(2);
  EXPECT_FALSE(AreSimilar(s1, s2, 0.1));  // counts differ
}

TEST(PlanarInside, SquareEdgesAndRectangleRule) {
  // On the left edge inside, on the others outside; NaN and infinite points answer 0.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  for (auto [p, in] : {std::pair{CDPOINT(0, 5), 1},
                       {CDPOINT(10, 5), 0},
                       {CDPOINT(5, 0), 0},
                       {CDPOINT(5, 10), 0},
                       {CDPOINT(5, 5), 1},
                       {CDPOINT(-1e-6, 5), 0},
                       {CDPOINT(-1e9, 5), 0},
                       {CDPOINT(nan, 5), 0},
                       {CDPOINT(5, inf), 0}})
    EXPECT_EQ(IsPointInPolygon(kSquare, p, nullptr), in) << p.x << ", " << p.y;
  // The given rectangle replaces the bounds: a tighter one rejects, and it is never written.
  CDRECT tight(6, 10, 0, 10);
  EXPECT_EQ(IsPointInPolygon(kSquare, CDPOINT(5, 5), &tight), 0);
  EXPECT_EQ(tight, CDRECT(6, 10, 0, 10));
  const CDRECT loose(-100, 100, -100, 100);
  EXPECT_TRUE(IsPointInPolygon(kSquare, CDPOINT(5, 5), &loose));
  EXPECT_FALSE(IsPointInPolygon(kSquare, CDPOINT(50, 5), &loose));
  // No closing edge: without the repeated first point the left edge is missing.
  const Pts open = Array<CDPOINT>({{0, 0}, {10, 0}, {10, 10}, {0, 10}});
  EXPECT_EQ(IsPointInPolygon(open, CDPOINT(5, 5), nullptr), 0);
  EXPECT_EQ(IsPointInPolygon(Pts(), CDPOINT(0, 0), nullptr), 0);
  EXPECT_EQ(IsPointInPolygon(static_cast<const CDPOINT*>(nullptr), 3, CDPOINT(0, 0), nullptr), 0);
  // NaN and infinite polygon coordinates answer without crashing.
  const Pts wild = Array<CDPOINT>({{nan, 0}, {inf, 1}, {-inf, nan}, {1e308, -1e308}, {nan, 0}});
  EXPECT_GE(IsPointInPolygon(wild, CDPOINT(0, 0), &loose), 0);
}

TEST(PlanarInside, VertexTieBreaks) {
  // A left vertex whose neighbours lie on opposite sides counts once.
  const Pts diamond = Array<CDPOINT>({{0, 5}, {5, 0}, {10, 5}, {5, 10}, {0, 5}});
  EXPECT_EQ(IsPointInPolygon(diamond, CDPOINT(7, 5), nullptr), 1);
  // A top vertex on the ray counts zero times: the point right of the apex is outside.
  const Pts tri = Array<CDPOINT>({{0, 0}, {10, 0}, {5, 5}, {0, 0}});
  EXPECT_EQ(IsPointInPolygon(tri, CDPOINT(8, 5), nullptr), 0);
  // A bottom notch vertex on the ray: not counted, the point stays inside.
  const Pts notch = Array<CDPOINT>({{0, 0}, {20, 0}, {20, 10}, {10, 5}, {0, 10}, {0, 0}});
  EXPECT_EQ(IsPointInPolygon(notch, CDPOINT(15, 5), nullptr), 1);
  // A flat-bottomed notch: the ray runs along it and the run is scanned for the next height.
  const Pts step = Array<CDPOINT>(
      {{0, 0}, {10, 0}, {10, 10}, {6, 10}, {6, 5}, {3, 5}, {3, 10}, {0, 10}, {0, 0}});
  EXPECT_EQ(IsPointInPolygon(step, CDPOINT(8, 5), nullptr), 1);
  // On the notch's floor: its end (3, 5) is the start vertex of the next edge and the left
  // edge counts once, so the floor tests inside, like the left edge of the square.
  EXPECT_EQ(IsPointInPolygon(step, CDPOINT(4.5, 5), nullptr), 1);
  // The end vertex is the last point and the run continues at point 1: the scan wraps and
  // finds y = 0 at point 2, so the vertex is a top extremum and (6, 5) is outside.
  const Pts wrap = Array<CDPOINT>({{5, 5}, {0, 5}, {0, 0}, {10, 0}, {5, 5}});
  EXPECT_EQ(IsPointInPolygon(wrap, CDPOINT(6, 5), nullptr), 0);
  EXPECT_EQ(IsPointInPolygon(wrap, CDPOINT(3, 2), nullptr), 1);
  // An open list ending on the ray: the search for the next height resumes at point 1, not 0.
  EXPECT_EQ(
      IsPointInPolygon(Array<CDPOINT>({{0, 0}, {10, 5}, {0, 10}, {5, 5}}), CDPOINT(8, 5), nullptr),
      0);
  EXPECT_EQ(IsPointInPolygon(Array<tagPOINT>({{0, 0}, {10, 5}, {0, 10}, {5, 5}}), tagPOINT{8, 5},
                             nullptr),
            0);
  // A crossing that rounds to the edge's start vertex is not counted: (5, 0.3) lies inside
  // this triangle geometrically, but its only crossing (0.3, 0.3) rounds to (0, 0).
  const Pts thin = Array<CDPOINT>({{0, 0}, {10, 10}, {20, 0}, {0, 0}});
  EXPECT_EQ(IsPointInPolygon(thin, CDPOINT(5, 0.3), nullptr), 0);
  EXPECT_EQ(IsPointInPolygon(thin, CDPOINT(10, 3), nullptr), 1);
  // A sliver whose points all share the end vertex's y answers 0 for the whole test.
  const Pts sliver = Array<CDPOINT>({{0.3, 0.3}, {0.3 + 5e-9, 0.3}, {0.3, 0.3}});
  EXPECT_EQ(IsPointInPolygon(sliver, CDPOINT(0.3 + 5e-9, 0.3), nullptr), 0);
}

TEST(PlanarInside, IntegerOverloadsAndAsymmetricRounding) {
  const IPoly sq = Array<tagPOINT>({{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}});
  const tagRECT r{0, 0, 10, 10};
  for (auto [p, in] : {std::pair{tagPOINT{5, 5}, 1},
                       {tagPOINT{0, 5}, 1},
                       {tagPOINT{10, 5}, 0},
                       {tagPOINT{5, 10}, 0}})
    EXPECT_EQ(IsPointInPolygon(sq, p, &r), in) << p.x << ", " << p.y;
  EXPECT_EQ(IsPointInPolygon(sq, tagPOINT{5, 5}, nullptr), 1);  // computed when absent
  const tagRECT narrow{6, 0, 10, 10};
  EXPECT_EQ(IsPointInPolygon(sq, tagPOINT{5, 5}, &narrow), 0);
  // The crossing with the first edge is (1/49, (1/49) * 49) = (0.0204, 0.9999999999999999);
  // truncated it equals the end vertex (0, 0), a bottom extremum, so that edge does not count
  // and the point, geometrically outside, tests inside. The double test counts both edges.
  const IPoly v = Array<tagPOINT>({{1, 49}, {0, 0}, {-1, 49}, {1, 49}});
  EXPECT_EQ(IsPointInPolygon(v.GetData(), 4, tagPOINT{1, 1}, nullptr), 1);
  const Pts vd = Array<CDPOINT>({{1, 49}, {0, 0}, {-1, 49}, {1, 49}});
  EXPECT_EQ(IsPointInPolygon(vd, CDPOINT(1, 1), nullptr), 0);
  // Mirrored below zero the crossing's y is -0.99...: truncated (not floored) it is 0 again.
  const IPoly w = Array<tagPOINT>({{1, -49}, {0, 0}, {-1, -49}, {1, -49}});
  EXPECT_EQ(IsPointInPolygon(w.GetData(), 4, tagPOINT{1, -1}, nullptr), 1);
  // Extreme integers: the ray end min x - 1 does not overflow.
  constexpr LONG kMin = std::numeric_limits<LONG>::min(), kMax = std::numeric_limits<LONG>::max();
  const IPoly huge =
      Array<tagPOINT>({{kMin, kMin}, {kMax, kMin}, {kMax, kMax}, {kMin, kMax}, {kMin, kMin}});
  EXPECT_EQ(IsPointInPolygon(huge, tagPOINT{0, 0}, nullptr), 1);
}

TEST(PlanarInside, SetsAndRectangles) {
  CPolyPolyDPoint set;
  set.Add(new Pts(kSquare));
  set.Add(nullptr);
  set.Add(new Pts(Array<CDPOINT>({{2, 2}, {8, 2}, {8, 8}, {2, 8}, {2, 2}})));
  CArray<CDRECT, CDRECT> rects;
  GetPolygonRects(set, rects);
  EXPECT_EQ(IsPointInPolygon(set, CDPOINT(1, 5), rects), 1);
  EXPECT_EQ(IsPointInPolygon(set, CDPOINT(5, 5), rects), 0);            // in the hole
  EXPECT_TRUE(IsPointInPolyPolygon(set, CDPOINT(5, 5), rects, false));  // union
  EXPECT_FALSE(IsPointInPolyPolygon(set, CDPOINT(5, 5), rects, true));
  EXPECT_TRUE(
      IsPointInPolyPolygon(set, CDPOINT(1, 5), CArray<CDRECT, CDRECT>(), true));  // computed
  EXPECT_FALSE(IsPointInPolyPolygon(set, CDPOINT(50, 5), rects, false));
  rects.SetSize(1);
  EXPECT_THROW(IsPointInPolygon(set, CDPOINT(5, 5), rects), CInvalidArgException);

  CPolyPolyPoint iset;
  iset.Add(new IPoly(Array<tagPOINT>({{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}})));
  iset.Add(new IPoly(Array<tagPOINT>({{2, 2}, {8, 2}, {8, 8}, {2, 8}, {2, 2}})));
  CArray<CRect, CRect> irects;
  irects.Add(CRect(0, 0, 10, 10));  // the second rectangle is computed
  EXPECT_EQ(IsPointInPolyPolygon(iset, CPoint(1, 5), irects), 1);
  EXPECT_EQ(IsPointInPolyPolygon(iset, CPoint(5, 5), irects), 0);

  EXPECT_EQ(IsPointInRect(tagPOINT{5, 5}, tagRECT{10, 10, 0, 0}), 1);   // either orientation
  EXPECT_EQ(IsPointInRect(tagPOINT{10, 0}, tagRECT{0, 0, 10, 10}), 1);  // inclusive
  EXPECT_EQ(IsPointInRect(tagPOINT{11, 0}, tagRECT{0, 0, 10, 10}), 0);
  EXPECT_EQ(IsPointInRect(CDPOINT(10, 2), CDRECT(10, 0, 5, 0)), 1);
  EXPECT_EQ(IsPointInRect(CDPOINT(10, 5.5), CDRECT(10, 0, 5, 0)), 0);
}

TEST(PlanarArcs, CircleAndPolylineArcStepsAndSides) {
  CDPOINT c(9, 9);
  double r = -1;
  ASSERT_TRUE(CalcCircle(8, 4, 3, 9, -2, 4, c, r));
  EXPECT_POINT_NEAR(c, CDPOINT(3, 4), 1e-9);
  EXPECT_NEAR(r, 5, 1e-9);
  EXPECT_FALSE(CalcCircle(0, 0, 1, 1, 2, 2, c, r));

  // The arc's points, appended to a fresh list.
  const auto arc = [](CDPOINT c, double r, double x1, double y1, double x2, double y2, double x3,
                      double y3) {
    Pts out;
    CalcArc(out, c, r, x1, y1, x2, y2, x3, y3);
    return out;
  };
  // Radius 1: 36 steps of 10 degrees; a half circle has 17 inner points.
  Pts out = Array<CDPOINT>({{-9, -9}});
  CalcArc(out, CDPOINT(0, 0), 1, 1, 0, 0, 1, -1, 0);
  ASSERT_EQ(out.GetSize(), 1 + 19);  // appended after what was there
  EXPECT_POINT_NEAR(out[2], CDPOINT(std::cos(kPi / 18), std::sin(kPi / 18)), 1e-12);
  EXPECT_EQ(out[19], CDPOINT(-1, 0));
  // The other side: P2 below the chord sends the steps clockwise.
  out = arc(CDPOINT(0, 0), 1, 1, 0, 0, -1, -1, 0);
  ASSERT_EQ(out.GetSize(), 19);
  for (int i = 1; i < 18; ++i) EXPECT_LT(out[i].y, 0);
  // Radius 200: 360 steps; radius 50: round(157.08) = 157 steps, 78 inside a half turn.
  EXPECT_EQ(arc(CDPOINT(0, 0), 200, 200, 0, 0, 200, -200, 0).GetSize(), 181);
  EXPECT_EQ(arc(CDPOINT(0, 0), 50, 50, 0, 0, 50, -50, 0).GetSize(), 80);
  // A quarter arc stops where the next step would reach the chord.
  EXPECT_EQ(arc(CDPOINT(0, 0), 1, 1, 0, std::sqrt(0.5), std::sqrt(0.5), 0, 1).GetSize(), 10);
  // P2 on the chord: nothing at all.
  EXPECT_EQ(arc(CDPOINT(0, 0), 1, 1, 0, 0, 0, -1, 0).GetSize(), 0);
  // The three-point form: a circle through them, or the two ends for collinear points.
  out.RemoveAll();
  CalcArc(out, 1, 0, 0, 1, -1, 0);
  EXPECT_EQ(out.GetSize(), 19);
  out.RemoveAll();
  CalcArc(out, 0, 0, 1, 1, 2, 2);
  ASSERT_EQ(out.GetSize(), 2);
  EXPECT_EQ(out[1], CDPOINT(2, 2));
  // Absurd radii stay within the step cap.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_LE(arc(CDPOINT(0, 0), nan, 1, 0, 0, 1, -1, 0).GetSize(), 2 + kArcMaxSteps);
}

TEST(PlanarArcs, OneSegmentBezierArc) {
  CBPOINT f, s;
  f.attr = 7;
  s.attr = 9;
  ASSERT_TRUE(GetArcBPoints(CDPOINT(0, 0), 1, 0, kPi / 2, false, f, s));
  // The tuned quarter-circle arm, about 0.5519 (not the 0.5523 of the tangent rule).
  const double k = f.out.y;
  EXPECT_NEAR(k, 0.55191, 1e-4);
  EXPECT_EQ(f.in, f.anchor);
  EXPECT_POINT_NEAR(f.anchor, CDPOINT(1, 0), 1e-15);
  EXPECT_POINT_NEAR(s.in, CDPOINT(k, 1), 1e-15);
  EXPECT_EQ(s.out, s.anchor);
  EXPECT_EQ(f.attr + s.attr, 16);  // attribute words untouched
  for (double t = 0.1; t < 1; t += 0.1) {
    const CDPOINT p = BezierAt(f, s, t);
    EXPECT_NEAR(std::hypot(p.x, p.y), 1, 3e-4);
  }
  // Clockwise from 90 to 0 degrees, about a shifted centre: the same quarter, reversed.
  CBPOINT f2, s2;
  ASSERT_TRUE(GetArcBPoints(CDPOINT(10, 20), 1, kPi / 2, 0, true, f2, s2));
  EXPECT_POINT_NEAR(f2.out, CDPOINT(10 + k, 21), 1e-12);
  EXPECT_POINT_NEAR(s2.anchor, CDPOINT(11, 20), 1e-12);
  // Clockwise from 0 to 90 degrees sweeps three quarters through the third quadrant.
  ASSERT_TRUE(GetArcBPoints(CDPOINT(0, 0), 1, 0, kPi / 2, true, f2, s2));
  EXPECT_POINT_NEAR(f2.anchor, CDPOINT(1, 0), 1e-12);
  EXPECT_POINT_NEAR(s2.anchor, CDPOINT(0, 1), 1e-12);
  const CDPOINT mid = BezierAt(f2, s2, 0.5);
  EXPECT_LT(mid.x, 0);
  EXPECT_LT(mid.y, 0);
  // Angles are normalised first: 5 pi / 2 is pi / 2, -3 pi / 2 is pi / 2.
  CBPOINT f3, s3;
  ASSERT_TRUE(GetArcBPoints(CDPOINT(0, 0), 2, 5 * kPi / 2, kPi, false, f3, s3));
  ASSERT_TRUE(GetArcBPoints(CDPOINT(0, 0), 2, -3 * kPi / 2, kPi, false, f2, s2));
  EXPECT_POINT_NEAR(f3.anchor, CDPOINT(0, 2), 1e-12);
  EXPECT_POINT_NEAR(s2.in, s3.in, 1e-12);
  // Equal angles: counter-clockwise a zero-length segment, clockwise a full turn whose ends
  // coincide.
  ASSERT_TRUE(GetArcBPoints(CDPOINT(0, 0), 3, 1, 1, false, f, s));
  EXPECT_EQ(f.out, s.anchor);
  EXPECT_EQ(f.anchor, s.anchor);
  ASSERT_TRUE(GetArcBPoints(CDPOINT(0, 0), 3, 1, 1, true, f, s));
  EXPECT_POINT_NEAR(f.anchor, s.anchor, 1e-12);
  EXPECT_POINT_NEAR(f.anchor, CDPOINT(3 * std::cos(1), 3 * std::sin(1)), 1e-12);
  // A negative radius is refused and the nodes are left alone.
  f = CBPOINT(CDPOINT(1, 1), CDPOINT(1, 1), CDPOINT(1, 1));
  EXPECT_FALSE(GetArcBPoints(CDPOINT(0, 0), -1, 0, 1, false, f, s));
  EXPECT_EQ(f.anchor, CDPOINT(1, 1));
}

TEST(PlanarArcs, PolylineAgainstALine) {
  Pts poly = Array<CDPOINT>({{0, 0}, {10, 0}, {10, 10}, {0, 10}});
  const CDLINE vertical(CDPOINT(5, -5), CDPOINT(5, 15));
  CDPOINT hit;
  int index = 0;
  // The answer and the segment index reached, searching from `from`.
  const auto search = [&](Pts& p, const CDLINE& l, int from) {
    index = from;
    const int found = GetPolyLineWithLineIntersection(p, l, hit, index);
    return std::pair(found, index);
  };
  EXPECT_EQ(search(poly, vertical, 0), std::pair(1, 0));
  EXPECT_POINT_NEAR(hit, CDPOINT(5, 0), 1e-12);
  EXPECT_EQ(search(poly, vertical, 1), std::pair(1, 2));  // segment 1 is parallel, 2 the first hit
  EXPECT_POINT_NEAR(hit, CDPOINT(5, 10), 1e-12);
  // No hit: hit falls back to point 0, or to the last point when index > n / 2.
  EXPECT_EQ(search(poly, CDLINE(CDPOINT(50, 0), CDPOINT(50, 1)), 1).first, 0);
  EXPECT_EQ(hit, CDPOINT(0, 0));
  EXPECT_EQ(search(poly, vertical, 3), std::pair(0, 3));
  EXPECT_EQ(hit, CDPOINT(0, 10));
  // A hit farther than 1e6 from the line's midpoint is not taken.
  Pts longLine = Array<CDPOINT>({{0, 0}, {1e7, 0}});
  EXPECT_EQ(search(longLine, CDLINE(CDPOINT(5e6, -1), CDPOINT(5e6, -3e6)), 0).first, 0);
  EXPECT_EQ(hit, CDPOINT(0, 0));
}

TEST(PlanarInside, AwayFromVertexLevelsTheWalkIsPlainEvenOdd) {
  // Vertices on multiples of 4 and rays at 4k + 2: no crossing can round to or meet a vertex,
  // so both overloads must agree with the classic crossing rule off the edges. (The tie rules
  // at vertex levels have their own cases above.)
  std::mt19937 rng(2024);
  for (int poly = 0; poly < 300; ++poly) {
    Pts d;
    IPoly ip;
    for (int i = 0, n = 3 + rng() % 10; i <= n; ++i) {
      const LONG x = i == n ? ip[0].x : 4 * LONG(rng() % 7),
                 y = i == n ? ip[0].y : 4 * LONG(rng() % 5);
      d.Add(CDPOINT(x, y));
      ip.Add(tagPOINT{x, y});
    }
    const std::vector<std::vector<CDPOINT>> ring{{d.begin(), d.end()}};
    for (LONG qx = -1; qx <= 25; ++qx) {
      for (LONG qy = 2; qy < 20; qy += 4) {
        double nearest;
        const bool want = DenseInside(ring, CDPOINT(qx, qy), nearest);
        if (nearest < 1e-9) continue;
        ASSERT_EQ(IsPointInPolygon(d, CDPOINT(qx, qy), nullptr), want)
            << poly << ": " << qx << "," << qy;
        ASSERT_EQ(IsPointInPolygon(ip, tagPOINT{qx, qy}, nullptr), want)
            << poly << ": " << qx << "," << qy;
      }
    }
  }
}
