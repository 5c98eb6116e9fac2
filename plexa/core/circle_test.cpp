#include "plexa/core/circle.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <numbers>

#include "tests/support.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

double Uniform(double lo, double hi) {
  return lo + (hi - lo) * (std::rand() / static_cast<double>(RAND_MAX));
}

}  // namespace

TEST(CircleHelpers, CollinearityIsAnAbsoluteHeightOverTheLongestSide) {
  using PLEXA::ArePointsCollinear;
  EXPECT_TRUE(ArePointsCollinear(CDPOINT(0, 0), CDPOINT(1, 0), CDPOINT(2, 0)));
  EXPECT_TRUE(ArePointsCollinear(CDPOINT(0, 0), CDPOINT(2, 0), CDPOINT(1, 0)));  // any order
  EXPECT_TRUE(ArePointsCollinear(CDPOINT(0, 0), CDPOINT(1, 5e-9), CDPOINT(2, 0)));
  EXPECT_FALSE(ArePointsCollinear(CDPOINT(0, 0), CDPOINT(1, 1e-7), CDPOINT(2, 0)));
  // Long sides do not hide a real height, and a short side does not fake collinearity.
  EXPECT_FALSE(ArePointsCollinear(CDPOINT(0, 0), CDPOINT(1e6, 1e-3), CDPOINT(2e6, 0)));
  EXPECT_FALSE(ArePointsCollinear(CDPOINT(0, 0), CDPOINT(1e-6, 0), CDPOINT(0, 1)));
  EXPECT_TRUE(ArePointsCollinear(CDPOINT(3, 3), CDPOINT(3, 3), CDPOINT(3, 3 + 5e-9)));
  EXPECT_TRUE(ArePointsCollinear(CDPOINT(3, 3), CDPOINT(3, 3), CDPOINT(8, -1)));  // two coincide
  EXPECT_TRUE(ArePointsCollinear(CDPOINT(kNaN, 0), CDPOINT(1, 0), CDPOINT(0, 1)));
}

TEST(CircleHelpers, FullAngleNormalisation) {
  using PLEXA::Bound0To2PI;
  EXPECT_DOUBLE_EQ(Bound0To2PI(-7), -7 + 4 * kPi);  // two turns, where Bound2PI wraps once
  EXPECT_DOUBLE_EQ(Bound0To2PI(7), 7 - 2 * kPi);
  EXPECT_DOUBLE_EQ(Bound0To2PI(1), 1);
  EXPECT_EQ(Bound0To2PI(2 * kPi), 0.0);
  EXPECT_EQ(Bound0To2PI(-1e-20), 0.0);  // 2 pi - 1e-20 rounds to 2 pi: reported as 0
  EXPECT_NEAR(Bound0To2PI(-kPi / 2 + 1000 * kPi), 3 * kPi / 2, 1e-9);
  EXPECT_TRUE(std::isnan(Bound0To2PI(std::numeric_limits<double>::infinity())));
  EXPECT_TRUE(std::isnan(Bound0To2PI(kNaN)));
}

TEST(CircleHelpers, CircleThroughThreePointsAgreesWithTheBisectorConstruction) {
  CDPOINT c(-1, -1);
  double r = -1;
  ASSERT_TRUE(PLEXA::GetCircle(CDPOINT(8, 4), CDPOINT(3, 9), CDPOINT(-2, 4), c, r));
  EXPECT_POINT_NEAR(c, CDPOINT(3, 4), 1e-12);
  EXPECT_NEAR(r, 5, 1e-12);
  c = CDPOINT(-1, -1);
  r = -1;
  EXPECT_FALSE(PLEXA::GetCircle(CDPOINT(0, 0), CDPOINT(1, 1), CDPOINT(2, 2), c, r));
  EXPECT_FALSE(PLEXA::GetCircle(CDPOINT(1e200, 0), CDPOINT(0, 1e200), CDPOINT(-1e200, 0), c,
                                r));  // overflow
  EXPECT_FALSE(PLEXA::GetCircle(CDPOINT(kNaN, 0), CDPOINT(0, 1), CDPOINT(1, 0), c, r));
  EXPECT_EQ(c, CDPOINT(-1, -1));
  EXPECT_EQ(r, -1);

  // Two constructions of the same circle: the helper against CalcCircle's bisectors, and
  // every point at the returned radius.
  std::srand(5);
  for (int i = 0; i < 200; ++i) {
    const CDPOINT p1(Uniform(-100, 100), Uniform(-100, 100));
    const CDPOINT p2(Uniform(-100, 100), Uniform(-100, 100));
    const CDPOINT p3(Uniform(-100, 100), Uniform(-100, 100));
    CDPOINT c1, c2;
    double r1 = 0, r2 = 0;
    const bool ok1 = PLEXA::GetCircle(p1, p2, p3, c1, r1);
    const bool ok2 = CalcCircle(p1.x, p1.y, p2.x, p2.y, p3.x, p3.y, c2, r2);
    ASSERT_EQ(ok1, ok2);
    if (!ok1 || r1 > 1e4) continue;  // near-collinear triples are ill-conditioned for both
    EXPECT_NEAR(r1, r2, 1e-6 * r1);
    EXPECT_NEAR(std::hypot(p1.x - c1.x, p1.y - c1.y), r1, 1e-9 * r1);
    EXPECT_NEAR(std::hypot(p2.x - c1.x, p2.y - c1.y), r1, 1e-9 * r1);
  }
}

TEST(CircleHelpers, ArcSenseDrivesTheBezierArcThroughTheMiddlePoint) {
  using PLEXA::IsArcClockwise;
  EXPECT_FALSE(IsArcClockwise(CDPOINT(1, 0), CDPOINT(0, 1), CDPOINT(-1, 0)));  // increasing angle
  EXPECT_TRUE(IsArcClockwise(CDPOINT(1, 0), CDPOINT(0, -1), CDPOINT(-1, 0)));
  EXPECT_FALSE(IsArcClockwise(CDPOINT(0, 0), CDPOINT(1, 1), CDPOINT(2, 2)));  // no arc

  // The documented use: centre, end angles and sense give one segment on the middle point's
  // side of the chord.
  std::srand(9);
  for (int i = 0; i < 200; ++i) {
    const CDPOINT p1(Uniform(-50, 50), Uniform(-50, 50));
    const CDPOINT p2(Uniform(-50, 50), Uniform(-50, 50));
    const CDPOINT p3(Uniform(-50, 50), Uniform(-50, 50));
    CDPOINT c;
    double r;
    if (!PLEXA::GetCircle(p1, p2, p3, c, r)) continue;
    CBPOINT f, s;
    ASSERT_TRUE(GetArcBPoints(c, r, std::atan2(p1.y - c.y, p1.x - c.x),
                              std::atan2(p3.y - c.y, p3.x - c.x), IsArcClockwise(p1, p2, p3), f,
                              s));
    EXPECT_NEAR(f.anchor.x, p1.x, 1e-6 * (1 + r));
    EXPECT_NEAR(s.anchor.y, p3.y, 1e-6 * (1 + r));
    const CDPOINT mid = f.anchor * 0.125 + f.out * 0.375 + s.in * 0.375 + s.anchor * 0.125;
    EXPECT_EQ(GetHalfPlane(p1.x, p1.y, p3.x, p3.y, mid.x, mid.y),
              GetHalfPlane(p1.x, p1.y, p3.x, p3.y, p2.x, p2.y))
        << i;
  }
}
