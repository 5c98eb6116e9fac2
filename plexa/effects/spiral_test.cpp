#include "plexa/effects/spiral.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "tests/support.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kTwoPi = 2 * kPi;  // one full turn

using namespace plexa::test;

}  // namespace

TEST(CSpiral, ConstructionPointsAndTurnGrowth) {
  // Growth comes before the start radius; the fourth argument changes nothing.
  CSpiral a(CDPOINT(1, 2), 3.0, 7.0, 123.0);
  EXPECT_POINT_NEAR(a.CalcPoint(0), CDPOINT(8, 2), 1e-12);
  // t = pi/2: r = 7 + 3*pi/2, straight up (y grows) counter-clockwise...
  const double r = 7 + 3 * kPi / 2;
  EXPECT_POINT_NEAR(a.CalcPoint(kPi / 2), CDPOINT(1, 2 + r), 1e-12);
  // ...and straight down when the spiral turns the other way.
  a.m_direction = -1;
  EXPECT_POINT_NEAR(a.CalcPoint(kPi / 2), CDPOINT(1, 2 - r), 1e-12);

  CSpiral d;
  EXPECT_DOUBLE_EQ(d.GetDRPerCircle(), 20 * kPi);  // growth 10 by default
  d.SetDRPerCircle(37.5);
  EXPECT_DOUBLE_EQ(d.m_k, 37.5 / (2 * kPi));
}

TEST(CSpiral, NormalizeAngleRad) {
  EXPECT_DOUBLE_EQ(CSpiral::NormalizeAngleRad(-kPi / 2), 1.5 * kPi);
  EXPECT_DOUBLE_EQ(CSpiral::NormalizeAngleRad(7.0), 7.0 - 2 * kPi);
  EXPECT_DOUBLE_EQ(CSpiral::NormalizeAngleRad(1.0), 1.0);
  EXPECT_EQ(CSpiral::NormalizeAngleRad(kTwoPi), 0.0);
  EXPECT_NEAR(CSpiral::NormalizeAngleRad(-20.0), 4 * kTwoPi - 20.0, 1e-13);
  for (double a : {std::nan(""), -double(INFINITY), double(INFINITY)})
    EXPECT_TRUE(std::isnan(CSpiral::NormalizeAngleRad(a))) << a;
  // Far below zero stays bounded in time and lands in range.
  for (double a : {-1e300, -1e17, -3e6}) {
    const double n = CSpiral::NormalizeAngleRad(a);
    EXPECT_TRUE(n >= 0.0 && n < kTwoPi) << a << " -> " << n;
  }
}

TEST(CSpiral, LengthIsTenIntervalSimpson) {
  // A circle (k = 0): Simpson is exact on a constant speed.
  CSpiral circle(CDPOINT(0, 0), 0.0, 4.0, 0.0);
  EXPECT_NEAR(circle.CalcLength(0, 2 * kPi), 8 * kPi, 1e-12);
  EXPECT_NEAR(circle.CalcLength(3, -1), 16.0, 1e-12);

  CSpiral s(CDPOINT(5, 5), 1.0, 0.0, 0.0);
  EXPECT_EQ(s.CalcLength(1, 9), s.CalcLength(9, 1));
  // From 0 to 10 the samples are at whole angles (h = 1): weights 1 4 2 4 ... 4 1 over 3.
  double simpson = 0;
  for (int i = 0; i <= 10; ++i) {
    const double w = (i == 0 || i == 10) ? 1 : (i % 2 ? 4 : 2);
    simpson += w * std::sqrt(i * i + 1.0);
  }
  simpson /= 3;
  EXPECT_NEAR(s.CalcLength(0, 10), simpson, 1e-12);
  // ...and that is close to the true arc length (t sqrt(1+t^2) + asinh t) / 2.
  const double exact = (10 * std::sqrt(101.0) + std::asinh(10.0)) / 2;
  EXPECT_NEAR(s.CalcLength(0, 10), exact, 1e-3 * exact);
  EXPECT_NE(s.CalcLength(0, 10), exact);

  EXPECT_EQ(CSpiral(CDPOINT(0, 0), 0.0, 0.0, 0.0).CalcLength(0, 100), 0.0);  // not NaN
}

TEST(CSpiral, AngleFromLength) {
  CSpiral circle(CDPOINT(0, 0), 0.0, 4.0, 0.0);
  EXPECT_EQ(circle.CalcAngle(-3, 1e-6), 0.0);
  for (double len : {1.0, 30.0, 1000.0}) EXPECT_NEAR(circle.CalcAngle(len, 1e-9), len / 4, 1e-9);

  // With a huge tolerance the first midpoint is returned. The bound starts at 2*pi, where
  // the length is 8*pi = 25.13; 30 is beyond it, so the bound triples to 6*pi.
  EXPECT_DOUBLE_EQ(circle.CalcAngle(30.0, 1e300), 3 * kPi);
  EXPECT_DOUBLE_EQ(circle.CalcAngle(20.0, 1e300), kPi);  // 20 <= 25.13: no tripling

  CSpiral s(CDPOINT(1, -1), 10.0, 5.0, 0.0);
  for (double len : {3.0, 500.0, 1e5}) {
    const double t = s.CalcAngle(len, 1e-6);
    EXPECT_GT(t, 0.0);
    EXPECT_NEAR(s.CalcLength(0, t), len, 1e-6) << len;
  }
  // Tolerance 0 still ends (no further progress or an exact hit).
  EXPECT_NEAR(circle.CalcAngle(kPi, 0.0), kPi / 4, 1e-12);

  EXPECT_TRUE(std::isnan(s.CalcAngle(std::nan(""), 1e-6)));
  // Unreachable lengths end too.
  (void)CSpiral(CDPOINT(0, 0), 0.0, 0.0, 0.0).CalcAngle(1.0, 1e-6);
  (void)s.CalcAngle(INFINITY, 1e-6);
}

TEST(CSpiral, CurveNodesOnTheQuarterTurnGrid) {
  CSpiral s(CDPOINT(10, 20), 10.0, 5.0, 0.0);
  CBPointArray path;
  s.CalcCurve(path, 0, kPi / 2);
  ASSERT_EQ(path.GetSize(), 3);
  for (int j = 0; j < 3; ++j) {
    EXPECT_POINT_NEAR(path[j].anchor, s.CalcPoint(j * kPi / 4), 1e-12) << j;
    EXPECT_EQ(path[j].attr, 0);
  }
  EXPECT_POINT_NEAR(path[0].in, path[0].anchor, 1e-12);
  EXPECT_POINT_NEAR(path[2].out, path[2].anchor, 1e-12);
  EXPECT_FALSE(path.IsPolyBezierClosed());

  // Each cubic meets the spiral at its thirds and stays close in between.
  s.CalcCurve(path, 0.3, 7.0);
  ASSERT_EQ(path.GetSize(), 1 + 8 + 1);  // 0.3, 1..8 * pi/4, 7.0
  for (INT_PTR j = 0; j + 1 < path.GetSize(); ++j) {
    const double ta = j == 0 ? 0.3 : j * kPi / 4;
    const double tb = j + 1 == path.GetSize() - 1 ? 7.0 : (j + 1) * kPi / 4;
    const double d = tb - ta;
    EXPECT_POINT_NEAR(BezierAt(path[j], path[j + 1], 1.0 / 3), s.CalcPoint(ta + d / 3), 1e-9);
    EXPECT_POINT_NEAR(BezierAt(path[j], path[j + 1], 2.0 / 3), s.CalcPoint(ta + 2 * d / 3), 1e-9);
    EXPECT_POINT_NEAR(BezierAt(path[j], path[j + 1], 0.5), s.CalcPoint(ta + d / 2), 0.05);
  }

  s.CalcCurve(path, 0.1, 0.2);  // no grid angle between: the two ends
  EXPECT_EQ(path.GetSize(), 2);
  // Truncation towards zero: from -0.5 the first grid angle is pi/4, not 0.
  s.CalcCurve(path, -0.5, 1.0);
  ASSERT_EQ(path.GetSize(), 3);
  EXPECT_POINT_NEAR(path[1].anchor, s.CalcPoint(kPi / 4), 1e-12);
  // Negative stretch -3 .. -2: grid index -2 only, and -2 is not beyond -pi/2, so it is
  // not added.
  s.CalcCurve(path, -3.0, -2.0);
  ASSERT_EQ(path.GetSize(), 2);
  EXPECT_POINT_NEAR(path[1].anchor, s.CalcPoint(-kPi / 2), 1e-12);
  // A reversed stretch gives the start node alone.
  s.CalcCurve(path, 1.0, 0.5);
  ASSERT_EQ(path.GetSize(), 1);
  EXPECT_POINT_NEAR(path[0].out, path[0].anchor, 1e-12);
}

TEST(CSpiral, CurveRefusesHostileStretches) {
  CSpiral s;
  CBPointArray path;
  s.CalcCurve(path, 0, 1);
  ASSERT_GT(path.GetSize(), 0);
  // Not a number, infinite, and over a million nodes: empty.
  for (auto [from, to] : {std::pair{0.0, std::nan("")}, {-INFINITY, 1.0}, {0.0, 1e12}}) {
    s.CalcCurve(path, from, to);
    EXPECT_EQ(path.GetSize(), 0) << from << " .. " << to;
  }
  s.CalcCurve(path, 1e17, 1e17 + 1000);  // past 2^53: still bounded
  EXPECT_LE(path.GetSize(), 3000);
}

TEST(CSpiral, InsideTestIgnoresDirection) {
  CSpiral s(CDPOINT(0, 0), 10.0, 0.0, 0.0);
  const double t = 4 * kPi;  // two turns: inner circle 20*pi, outer 40*pi
  // Between the circles, at angle pi/2 the last turn has radius 20*pi + 10*pi/2; at angle
  // 3*pi/2 it is further out. The direction does not matter.
  const double edge = 20 * kPi + 5 * kPi;
  CSpiral r = s;
  r.m_direction = -1;
  for (auto [p, in] : {std::pair{CDPOINT(30, 0), true},
                       {CDPOINT(0, 200), false},
                       {CDPOINT(0, edge - 0.5), true},
                       {CDPOINT(0, edge + 0.5), false},
                       {CDPOINT(0, -(edge + 0.5)), true}}) {
    EXPECT_EQ(s.IsInSpiral(p, t), in) << p.x << ", " << p.y;
    EXPECT_EQ(r.IsInSpiral(p, t), in) << p.x << ", " << p.y;
  }

  // Less than a turn: the inner circle is r0.
  CSpiral q(CDPOINT(0, 0), 10.0, 3.0, 0.0);
  EXPECT_TRUE(q.IsInSpiral(CDPOINT(2.9, 0), 1.0));
  EXPECT_FALSE(q.IsInSpiral(CDPOINT(14, 0), 1.0));  // beyond r(1) = 13
  // Drawn to t = 2 (radius 3 .. 23): at angle pi/2 the curve is at 3 + 5*pi = 18.7, at
  // angle 0.5 it is at 8.
  EXPECT_TRUE(q.IsInSpiral(CDPOINT(0.0, 10.0), 2.0));
  EXPECT_FALSE(q.IsInSpiral(CDPOINT(10 * std::cos(0.5), 10 * std::sin(0.5)), 2.0));
  EXPECT_FALSE(q.IsInSpiral(CDPOINT(std::nan(""), 0), 1.0) ||
               q.IsInSpiral(CDPOINT(0, 0), std::nan("")) ||
               q.IsInSpiral(CDPOINT(INFINITY, 0), 1.0));
  (void)q.IsInSpiral(CDPOINT(1, 1), 1e12);  // far along: bounded
}
