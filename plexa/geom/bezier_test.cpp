#include "plexa/geom/bezier.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <random>

#include "tests/support.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using Polyline = CArray<CDPOINT, CDPOINT>;

namespace {

using namespace plexa::test;

// Independent evaluation: the textbook Bernstein sum.
CDPOINT Eval(const CBezier& b, double t) {
  return BezierAt(b.GetPoints(), t);
}

// Chord-polygon length through n + 1 evenly spaced parameters.
double ChordLength(const CBezier& b, int n) {
  double sum = 0;
  for (int i = 0; i < n; ++i) sum += Dist(Eval(b, double(i) / n), Eval(b, double(i + 1) / n));
  return sum;
}

CBezier RandomCurve(std::mt19937& rng, double scale) {
  std::uniform_real_distribution<double> u(0, scale);
  return CBezier(CDPOINT(u(rng), u(rng)), CDPOINT(u(rng), u(rng)), CDPOINT(u(rng), u(rng)),
                 CDPOINT(u(rng), u(rng)));
}

// A straight segment with controls at the thirds: constant speed |P3 - P0|.
const CBezier kLine(CDPOINT(0, 0), CDPOINT(1, 4.0 / 3), CDPOINT(2, 8.0 / 3), CDPOINT(3, 4));
// The usual quarter circle of radius 1.
constexpr double kKappa = 0.5522847498307936;
const CBezier kQuarter(CDPOINT(1, 0), CDPOINT(1, kKappa), CDPOINT(kKappa, 1), CDPOINT(0, 1));

}  // namespace

TEST(CBezier, ConstructionAndEvaluation) {
  const CBPOINT a(CDPOINT(-1, -1), CDPOINT(0, 0), CDPOINT(1, 2));
  const CBPOINT b(CDPOINT(3, 2), CDPOINT(4, 0), CDPOINT(9, 9));
  const CBezier seg(a, b);
  // From node a to node b: a's anchor and out control, b's in control and anchor.
  const CDPOINT want[4] = {CDPOINT(0, 0), CDPOINT(1, 2), CDPOINT(3, 2), CDPOINT(4, 0)};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(seg.GetPoints()[i], want[i]) << i;

  std::mt19937 rng(7);
  for (int k = 0; k < 50; ++k) {
    const CBezier c = RandomCurve(rng, 100);
    for (double t : {0.1, 0.37, 0.5, 0.93, -0.5, 1.7}) {  // outside [0, 1] extrapolates
      EXPECT_POINT_NEAR(c.GetCurvePoint(t), Eval(c, t), 1e-9);
      EXPECT_POINT_NEAR(c.GetCurvePoint2(t), Eval(c, t), 1e-9);
    }
  }
  // The ends are returned untouched, without arithmetic on the other points.
  const CBezier poisoned(CDPOINT(1, 2), CDPOINT(kNaN, kInf), CDPOINT(kInf, kNaN), CDPOINT(3, 4));
  EXPECT_EQ(poisoned.GetCurvePoint(0), CDPOINT(1, 2));
  EXPECT_EQ(poisoned.GetCurvePoint(1), CDPOINT(3, 4));
  EXPECT_TRUE(std::isnan(poisoned.GetCurvePoint2(0).x));

  // The node at t carries the split's inner controls, so inserting it keeps the shape.
  const CBPOINT mid = seg.GetCurveBPoint(0.3);
  CBezier left, right;
  seg.Split(0.3, left, right);
  EXPECT_EQ(mid.attr, 0);
  EXPECT_POINT_NEAR(mid.anchor, Eval(seg, 0.3), 1e-12);
  EXPECT_EQ(mid.in, left.GetPoint2());
  EXPECT_EQ(mid.out, right.GetPoint1());
}

TEST(CBezier, TangentAngleUsesInnerParametersAtTheEnds) {
  // P1 on P0: the derivative vanishes at exactly 0, so 0.001 is used.
  const CBezier c(CDPOINT(0, 0), CDPOINT(0, 0), CDPOINT(10, 10), CDPOINT(20, 0));
  EXPECT_EQ(c.GetCurveTangentAngle(0), c.GetCurveTangentAngle(0.001));
  EXPECT_EQ(c.GetCurveTangentAngle(1), c.GetCurveTangentAngle(0.999));
  EXPECT_NEAR(c.GetCurveTangentAngle(0), std::numbers::pi / 4, 1e-2);  // leaves towards P2
  EXPECT_NEAR(kLine.GetCurveTangentAngle(0.5), std::atan2(4.0, 3.0), 1e-12);
  EXPECT_NEAR(kQuarter.GetCurveTangentAngle(0.5), 3 * std::numbers::pi / 4, 1e-12);
}

TEST(CBezier, TightRectMatchesDenseSampling) {
  // A font quadratic raised to a cubic: the cubic term is rounding noise, and the extremum
  // near t = 0.03 must not be lost to cancellation (this one was 0.074 off).
  const CBezier glyph(CDPOINT(-115, 1335), CDPOINT(-117, 1301), CDPOINT(-78.333333333333329, 1284),
                      CDPOINT(1, 1284));
  double xmin = kInf;
  for (int i = 0; i <= 200000; ++i) xmin = std::min(xmin, Eval(glyph, i / 200000.0).x);
  EXPECT_NEAR(glyph.CalcTightRect().xmin, xmin, 1e-7);

  std::mt19937 rng(11);
  for (int k = 0; k < 100; ++k) {
    const CBezier c = RandomCurve(rng, 1000);
    const PLEXA::CDRECT b = c.CalcTightRect();
    double x0 = kInf, x1 = -kInf, y0 = kInf, y1 = -kInf;
    for (int i = 0; i <= 4000; ++i) {
      const CDPOINT p = Eval(c, i / 4000.0);
      x0 = std::min(x0, p.x), x1 = std::max(x1, p.x), y0 = std::min(y0, p.y),
      y1 = std::max(y1, p.y);
    }
    // Contains every sample, and no more than sampling misses (1e-3 of the size); the upper
    // sides negated so that one pair of comparisons serves all four.
    const double got[4] = {b.xmin, b.ymin, -b.xmax, -b.ymax}, sampled[4] = {x0, y0, -x1, -y1};
    for (int s = 0; s < 4; ++s) {
      EXPECT_LE(got[s], sampled[s] + 1e-9) << "curve " << k << " side " << s;
      EXPECT_GT(got[s], sampled[s] - 1e-3) << "curve " << k << " side " << s;
    }
  }
}

TEST(CBezier, LengthBySimpsonRule) {
  EXPECT_NEAR(kLine.GetLength(), 5, 1e-12);
  EXPECT_NEAR(kLine.GetLength(0, 1, 9), 5.0 * 8 / 9, 1e-12);  // odd n drops its last interval
  for (int n : {1, 0, -4}) EXPECT_EQ(kLine.GetLength(0, 1, n), 0) << n;
  EXPECT_NEAR(kLine.GetLength(1, 0, 10), -5, 1e-12);
  EXPECT_EQ(CBezier().GetLength(), 0);

  // The quarter-circle approximation: its own length from a fine chord polygon, which is
  // within 1e-3 of pi/2.
  const double reference = ChordLength(kQuarter, 200000);
  EXPECT_NEAR(reference, std::numbers::pi / 2, 1e-3);
  EXPECT_NEAR(kQuarter.GetLength(0, 1, 256), reference, 1e-9);
  EXPECT_NEAR(kQuarter.GetLength(), reference, 1e-5);
  // Beyond the interval cap the work is bounded and the answer still right.
  EXPECT_NEAR(kQuarter.GetLength(0, 1, std::numeric_limits<int>::max()), reference, 1e-9);

  CArray<CBPOINT, CBPOINT> path;
  for (double x : {0.0, 3.0, 6.0}) path.Add(CBPOINT(CDPOINT(x, 0), CDPOINT(x, 0), CDPOINT(x, 0)));
  // Segments counted: all for -1 or too many, else the first n.
  for (auto [n, len] : {std::pair{-1, 6.0}, {5, 6.0}, {1, 3.0}, {0, 0.0}})
    EXPECT_NEAR(CBezier::GetBPointArrayLength(path, n), len, 1e-12) << n;
  path.SetSize(1);
  EXPECT_EQ(CBezier::GetBPointArrayLength(path, -1), 0);
}

TEST(CBezier, ParameterFromLengthBisects) {
  EXPECT_EQ(kLine.GetTFromLength(2.5), 0.5);  // the first midpoint already matches
  for (auto [len, t] : {std::pair{1.0, 0.2}, {-1.0, 0.0}, {100.0, 1.0}})
    EXPECT_NEAR(kLine.GetTFromLength(len), t, 1e-7);
  EXPECT_EQ(kLine.GetTFromLength(kNaN), 0.5);
  const CBezier broken(CDPOINT(0, 0), CDPOINT(kNaN, 0), CDPOINT(kInf, 1), CDPOINT(1, 1));
  const double tb = broken.GetTFromLength(1);  // NaN speeds count as 0: terminates
  EXPECT_TRUE(tb >= 0 && tb <= 1);
  for (double len : {0.3, 0.9, 1.4}) {
    const double t = kQuarter.GetTFromLength(len);
    EXPECT_NEAR(kQuarter.GetLength(0, t, 10), len, 1e-7);
  }
}

TEST(CBezier, AdaptiveFlattening) {
  Polyline pts;
  CBezier().GetPolyline(pts);
  ASSERT_EQ(pts.GetSize(), 4);
  for (const CDPOINT& p : pts) EXPECT_EQ(p, CDPOINT(0, 0));

  // A straight segment (controls on the anchors) without expansion adds only P3.
  CBezier straight(CDPOINT(0, 0), CDPOINT(0, 0), CDPOINT(10, 0), CDPOINT(10, 0));
  straight.SetExpandStraightLines(false);
  pts.RemoveAll();
  straight.GetPolyline(pts);
  ASSERT_EQ(pts.GetSize(), 2);
  EXPECT_EQ(pts[1], CDPOINT(10, 0));

  // Controls at the thirds of a 10-unit line: legs of 10/3 halve twice to 5/6 <= 1, and each
  // of the 4 pieces appends its P1, P2, P3. A non-empty list does not receive P0. (The general
  // rule is pinned bit for bit against the plain recursion below.)
  const CBezier thirds(CDPOINT(0, 0), CDPOINT(10.0 / 3, 0), CDPOINT(20.0 / 3, 0), CDPOINT(10, 0));
  pts.RemoveAll();
  pts.Add(CDPOINT(-1, -1));
  thirds.GetPolyline(pts);
  ASSERT_EQ(pts.GetSize(), 13);
  EXPECT_POINT_NEAR(pts[1], CDPOINT(10.0 / 12, 0), 1e-12);

  // A chord of 3,000 flattens at resolution 3: legs 1000 need 9 halvings (1000/512 <= 3),
  // where resolution 1 would need 10.
  const CBezier longLine(CDPOINT(0, 0), CDPOINT(1000, 0), CDPOINT(2000, 0), CDPOINT(3000, 0));
  pts.RemoveAll();
  longLine.GetPolyline(pts);
  EXPECT_EQ(pts.GetSize(), 1 + 3 * 512);
}

namespace {

// The adaptive flattening written plainly (square roots, a growing list), for bitwise
// comparison; the ceiling and depth bound are not reached by the curves it is used on.
void PlainFlatten(const CDPOINT p[4], double r, Polyline& out) {
  const auto leg = [](const CDPOINT& a, const CDPOINT& b) {
    return std::sqrt((b.x - a.x) * (b.x - a.x) + (b.y - a.y) * (b.y - a.y));
  };
  if (leg(p[0], p[1]) <= r && leg(p[1], p[2]) <= r && leg(p[2], p[3]) <= r) {
    for (int i = 1; i < 4; ++i) out.Add(p[i]);
    return;
  }
  const auto lerp = [](const CDPOINT& a, const CDPOINT& b) {
    return CDPOINT(a.x + (b.x - a.x) * 0.5, a.y + (b.y - a.y) * 0.5);
  };
  const CDPOINT q0 = lerp(p[0], p[1]), q1 = lerp(p[1], p[2]), q2 = lerp(p[2], p[3]);
  const CDPOINT r0 = lerp(q0, q1), r1 = lerp(q1, q2), s = lerp(r0, r1);
  const CDPOINT left[4] = {p[0], q0, r0, s}, right[4] = {s, r1, q2, p[3]};
  PlainFlatten(left, r, out);
  PlainFlatten(right, r, out);
}

}  // namespace

TEST(CBezier, AdaptiveFlatteningMatchesPlainRecursionBitForBit) {
  std::mt19937 rng(13);
  for (int k = 0; k < 60; ++k) {
    CBezier c = RandomCurve(rng, 1500);
    // Resolutions at exact leg lengths make ties, where the flatness test must stay "<=".
    const double tie =
        std::sqrt((c.GetPoint1().x - c.GetPoint0().x) * (c.GetPoint1().x - c.GetPoint0().x) +
                  (c.GetPoint1().y - c.GetPoint0().y) * (c.GetPoint1().y - c.GetPoint0().y)) /
        64;
    for (double r : {1.0, 0.37, 7.5, tie, std::nextafter(tie, 0.0)}) {
      c.SetResolution(r);
      Polyline got, want;
      c.GetPolyline(got);
      want.Add(c.GetPoint0());
      PlainFlatten(c.GetPoints(), r, want);
      ASSERT_EQ(got.GetSize(), want.GetSize()) << "curve " << k << " r " << r;
      for (INT_PTR i = 0; i < got.GetSize(); ++i) ASSERT_EQ(got[i], want[i]);
    }
  }
}

TEST(CBezier, FlatteningIsBoundedOnHostileInput) {
  const double huge = 1e300;
  const CBezier cases[] = {
      CBezier(CDPOINT(0, 0), CDPOINT(kNaN, 0), CDPOINT(1, 1), CDPOINT(2, 0)),
      CBezier(CDPOINT(0, 0), CDPOINT(kInf, 0), CDPOINT(-kInf, 1), CDPOINT(2, 0)),
      CBezier(CDPOINT(-huge, -huge), CDPOINT(huge, -huge), CDPOINT(huge, huge),
              CDPOINT(-huge, huge)),
      CBezier(CDPOINT(0, 0), CDPOINT(0, 1e6), CDPOINT(1e6, 1e6), CDPOINT(1e6, 0)),
  };
  for (CBezier c : cases) {
    for (double r : {1.0, 0.0, -1.0, kNaN, 1e-9}) {
      c.SetResolution(r);
      Polyline pts;
      c.GetPolyline(pts);
      EXPECT_LE(pts.GetSize(), kFlattenPointCeiling + 3 * kMaxFlattenDepth + 4);
      EXPECT_GE(pts.GetSize(), 4);
      pts.Add(CDPOINT());  // the uniform form replaces whatever the list holds
      c.GetPolylineEx(pts);
      EXPECT_LE(pts.GetSize(), 20481);
    }
  }
  // A fine resolution on a long curve stops just past the ceiling and still ends at P3.
  CBezier c(CDPOINT(0, 0), CDPOINT(0, 1000), CDPOINT(1000, 1000), CDPOINT(1000, 0));
  c.SetResolution(1e-3);
  Polyline pts;
  c.GetPolyline(pts);
  EXPECT_GT(pts.GetSize(), kFlattenPointCeiling);
  EXPECT_EQ(pts[pts.GetSize() - 1], c.GetPoint3());
}

TEST(CBezier, UniformFlatteningComparesAgainstTenChords) {
  Polyline pts;
  pts.Add(CDPOINT(7, 7));
  kLine.GetPolylineEx(pts);  // straight: all chord polygons agree, n = 20
  ASSERT_EQ(pts.GetSize(), 21);
  EXPECT_EQ(pts[0], kLine.GetPoint0());
  EXPECT_EQ(pts[20], kLine.GetPoint3());
  EXPECT_POINT_NEAR(pts[5], Eval(kLine, 0.25), 1e-12);

  // For a convex arc the chord polygons grow with n, so |L10 - L(n)| only grows: once the
  // 20-chord test fails, every later n fails too and 20,480 is used.
  CBezier arc = kQuarter;
  const double gap20 = ChordLength(arc, 20) - ChordLength(arc, 10);
  arc.SetResolution(gap20 * 1.01);
  arc.GetPolylineEx(pts);
  EXPECT_EQ(pts.GetSize(), 21);
  arc.SetResolution(gap20 * 0.99);
  arc.GetPolylineEx(pts);
  EXPECT_EQ(pts.GetSize(), 20481);
  EXPECT_POINT_NEAR(pts[10240], Eval(arc, 0.5), 1e-12);
}

TEST(CBezier, SplitKeepsShapeAndDirection) {
  std::mt19937 rng(3);
  CBezier c = RandomCurve(rng, 100);
  c.SetResolution(2.5);
  c.SetExpandStraightLines(false);
  CBezier left, right;
  c.Split(0.3, left, right);
  EXPECT_EQ(left.GetResolution(), 2.5);
  EXPECT_FALSE(right.GetExpandStraightLines());
  EXPECT_EQ(left.GetPoint3(), right.GetPoint0());
  for (double u : {0.0, 0.25, 0.8, 1.0}) {
    EXPECT_POINT_NEAR(left.GetCurvePoint(u), Eval(c, 0.3 * u), 1e-9);
    EXPECT_POINT_NEAR(right.GetCurvePoint(u), Eval(c, 0.3 + 0.7 * u), 1e-9);
  }
  CBezier alias = c, other;
  alias.Split(0.3, alias, other);  // the source may be one of the halves
  EXPECT_POINT_NEAR(alias.GetPoint3(), left.GetPoint3(), 0);

  CBezier part;
  c.Split(0.25, 0.75, part);
  for (double u : {0.0, 0.4, 1.0})
    EXPECT_POINT_NEAR(part.GetCurvePoint(u), Eval(c, 0.25 + 0.5 * u), 1e-9);
  c.Split(0.75, 0.25, part);  // reversed: runs from 0.75 back to 0.25
  for (double u : {0.0, 0.4, 1.0})
    EXPECT_POINT_NEAR(part.GetCurvePoint(u), Eval(c, 0.75 - 0.5 * u), 1e-9);
}

TEST(CBezier, SampledNearestParameter) {
  std::mt19937 rng(5);
  std::uniform_real_distribution<double> ut(0.05, 0.95);
  for (int k = 0; k < 20; ++k) {
    const CBezier c(CDPOINT(0, 0), CDPOINT(30, 80), CDPOINT(70, 80), CDPOINT(100, 0));
    const double t = ut(rng);
    EXPECT_NEAR(c._GetCurveT(Eval(c, t)), t, 1e-9);
    EXPECT_POINT_NEAR(c._GetCurvePoint(Eval(c, t)), Eval(c, t), 1e-6);
  }
  const CBezier arch(CDPOINT(0, 0), CDPOINT(0, 1), CDPOINT(1, 1), CDPOINT(1, 0));
  EXPECT_EQ(arch._GetCurveT(CDPOINT(0.5, -5)), 0);  // a tie between the ends: the first wins
  EXPECT_NEAR(arch._GetCurveT(CDPOINT(1, -1)), 1, 1e-8);
  EXPECT_EQ(arch._GetCurveT(CDPOINT(kNaN, 0)), 0);
}

TEST(CBezier, DragToPointPassesThroughThePoint) {
  std::mt19937 rng(9);
  std::uniform_real_distribution<double> ut(0.02, 0.98), up(-50, 150);
  for (int k = 0; k < 50; ++k) {
    CBezier c = RandomCurve(rng, 100);
    const double t = ut(rng);
    const CDPOINT p(up(rng), up(rng));
    c.DragToPoint(t, p);
    EXPECT_POINT_NEAR(c.GetCurvePoint(t), p, 1e-8);
  }
  // A straight segment first gets handles along its chord; t <= 0.5 then moves P2 by 8/9 of
  // the miss (20/9 - 0.75 * 16/9) and solves P1.
  CBezier s(CDPOINT(0, 0), CDPOINT(0, 0), CDPOINT(10, 0), CDPOINT(10, 0));
  const CBezier handles(CDPOINT(0, 0), CDPOINT(1.8, 0), CDPOINT(6.225, 0), CDPOINT(10, 0));
  const CDPOINT target(2.5, 2);
  const CDPOINT miss = target - Eval(handles, 0.25);
  s.DragToPoint(0.25, target);
  EXPECT_POINT_NEAR(s.GetPoint2(), CDPOINT(6.225, 0) + miss * (8.0 / 9), 1e-12);
  EXPECT_POINT_NEAR(s.GetCurvePoint(0.25), target, 1e-12);
  EXPECT_EQ(s.GetPoint0(), CDPOINT(0, 0));

  // At the ends the anchor moves and its control follows; t is clamped.
  CBezier e(CDPOINT(0, 0), CDPOINT(1, 1), CDPOINT(2, 1), CDPOINT(3, 0));
  e.DragToPoint(0, CDPOINT(-1, 0));
  e.DragToPoint(7, CDPOINT(3, 2));
  const CDPOINT moved[4] = {CDPOINT(-1, 0), CDPOINT(0, 1), CDPOINT(2, 3), CDPOINT(3, 2)};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(e.GetPoints()[i], moved[i]) << i;
  e.DragToPoint(kNaN, CDPOINT(5, 5));  // refused
  for (int i = 0; i < 4; ++i) EXPECT_EQ(e.GetPoints()[i], moved[i]) << i;
}

TEST(CBezierPoint, NodeEdits) {
  CBPOINT node(CDPOINT(4, 5), CDPOINT(5, 5), CDPOINT(6, 5));
  node.attr = 0x55;
  CBezierPoint bp(node);
  bp.Move(1, 2);  // moves by -d, deliberately
  CBPOINT moved(CDPOINT(3, 3), CDPOINT(4, 3), CDPOINT(5, 3));
  moved.attr = 0x55;
  EXPECT_EQ(bp.GetBPoint(), moved);  // whole node, attribute word kept
  bp.Move(CDPOINT(-1, -2));
  EXPECT_EQ(static_cast<const CBPOINT&>(bp), node);

  CBezierPoint r(CBPOINT(CDPOINT(1, 0), CDPOINT(2, 0), CDPOINT(3, 0)));
  r.Rotate(0, 0, std::numbers::pi / 2);
  EXPECT_POINT_NEAR(r.GetBPoint().in, CDPOINT(0, 1), 1e-12);
  EXPECT_POINT_NEAR(r.GetBPoint().out, CDPOINT(0, 3), 1e-12);
  r.Stretch(CDPOINT(0, 1), 2, 3);
  EXPECT_POINT_NEAR(r.GetBPoint().anchor, CDPOINT(0, 4), 1e-12);

  const CBPOINT lerp =
      CBezierPoint::Lerp(0.25, node, CBPOINT(CDPOINT(8, 9), CDPOINT(9, 9), CDPOINT(10, 9)));
  EXPECT_EQ(lerp.attr, 0);
  EXPECT_POINT_NEAR(lerp.in, CDPOINT(5, 6), 1e-15);
  EXPECT_POINT_NEAR(lerp.out, CDPOINT(7, 6), 1e-15);
}

TEST(CBezierPoint, SmoothAndIsSmooth) {
  const double h = std::sqrt(2.0) / 6;
  CBezierPoint a(CBPOINT(CDPOINT(0, 0), CDPOINT(0, 0), CDPOINT(0, 0)));
  EXPECT_FALSE(a.IsSmooth());               // no handles
  a.Smooth(CDPOINT(-1, 0), CDPOINT(1, 0));  // straight through: handles at the thirds
  EXPECT_POINT_NEAR(a.GetBPoint().in, CDPOINT(-1.0 / 3, 0), 1e-15);
  EXPECT_POINT_NEAR(a.GetBPoint().out, CDPOINT(1.0 / 3, 0), 1e-15);
  EXPECT_TRUE(a.IsSmooth());

  a.Smooth(CDPOINT(0, 1), CDPOINT(1, 0));  // right angle: handles along next - prev
  EXPECT_POINT_NEAR(a.GetBPoint().in, CDPOINT(-h, h), 1e-15);
  EXPECT_POINT_NEAR(a.GetBPoint().out, CDPOINT(h, -h), 1e-15);
  EXPECT_TRUE(a.IsSmooth());

  // Both neighbours on the same side: angle 0, the rotation pi/2 becomes -pi/2.
  a.Smooth(CDPOINT(1, 0), CDPOINT(2, 0));
  EXPECT_POINT_NEAR(a.GetBPoint().in, CDPOINT(0, -1.0 / 3), 1e-15);
  EXPECT_POINT_NEAR(a.GetBPoint().out, CDPOINT(0, 2.0 / 3), 1e-15);
  EXPECT_EQ(a.GetBPoint().anchor, CDPOINT(0, 0));

  EXPECT_FALSE(CBezierPoint(CBPOINT(CDPOINT(-1, 0), CDPOINT(0, 0), CDPOINT(1, 0.5))).IsSmooth());
  EXPECT_TRUE(CBezierPoint(CBPOINT(CDPOINT(-1, 0), CDPOINT(0, 0.05), CDPOINT(1, 0))).IsSmooth());
  EXPECT_FALSE(CBezierPoint(CBPOINT(CDPOINT(-0.05, 0), CDPOINT(0, 0), CDPOINT(1, 0))).IsSmooth());
}
