#include "plexa/effects/ellipse.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "plexa/geom/bezier.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Distance from q to the exact ellipse, to first order in the miss: |F| / |grad F| with
// F = (u/rx)^2 + (v/ry)^2 - 1 in the ellipse's own axes (relative error about miss / radius,
// far below the bounds tested here; exact to that order for a circle).
double DistToEllipse(const CEllipse& e, const CDPOINT& q) {
  const double c = std::cos(e.m_rotation), s = std::sin(e.m_rotation);
  const double dx = q.x - e.m_centre.x, dy = q.y - e.m_centre.y;
  const double u = c * dx + s * dy, v = -s * dx + c * dy;
  const double a2 = e.m_rx * e.m_rx, b2 = e.m_ry * e.m_ry;
  return std::fabs(u * u / a2 + v * v / b2 - 1) / std::hypot(2 * u / a2, 2 * v / b2);
}

// Largest distance from the path, sampled 256 times per segment, to the exact ellipse.
double PathError(const CEllipse& e, const CBPointArray& path) {
  double worst = 0;
  for (INT_PTR i = 0; i + 1 < path.GetSize(); ++i) {
    const CBezier seg(path[i], path[i + 1]);
    for (int j = 0; j <= 256; ++j)
      worst = std::max(worst, DistToEllipse(e, seg.GetCurvePoint(j / 256.0)));
  }
  return worst;
}

}  // namespace

TEST(CEllipse, CurveErrorBound) {
  // A circle: the quarter-arc cubic misses by 2.7e-4 of the radius at most (the well-known
  // figure), and the stated bound is tight.
  const CEllipse circle(CDPOINT(3, 4), 100, 100, 0.3);
  CBPointArray path;
  ASSERT_TRUE(circle.CalcCurve(path));
  ASSERT_EQ(path.GetSize(), 5);
  EXPECT_TRUE(path.IsPolyBezierClosed());
  const double bound = circle.ArcErrorBound(kPi / 2);
  EXPECT_NEAR(bound / 100, 2.73e-4, 0.01e-4);
  const double err = PathError(circle, path);
  EXPECT_LE(err, bound * 1.0001);
  EXPECT_GE(err, bound * 0.95);

  // Turned, eccentric ellipses, whole and in arcs, at requested accuracies.
  const CEllipse e(CDPOINT(-20, 50), 80, 30, 0.7);
  ASSERT_TRUE(e.CalcCurve(path));
  EXPECT_LE(PathError(e, path), e.ArcErrorBound(kPi / 2));
  for (double acc : {1e-2, 1e-4, 1e-7}) {
    ASSERT_TRUE(e.CalcArc(path, 0.4, -4.0, acc));
    EXPECT_LE(PathError(e, path), acc) << acc;
    EXPECT_LE(e.ArcErrorBound(4.0 / (path.GetSize() - 1)), acc);
    EXPECT_GT(e.ArcErrorBound(4.0 / (path.GetSize() - 2)), acc);  // no more pieces than needed
    // The arc runs from P(0.4) backwards to P(-3.6).
    EXPECT_NEAR(path[0].anchor.x, e.CalcPoint(0.4).x, 1e-12);
    EXPECT_NEAR(path[path.GetSize() - 1].anchor.y, e.CalcPoint(-3.6).y, 1e-9);
    EXPECT_EQ(path[0].in, path[0].anchor);
  }
  // A negative radius mirrors the parameterisation: same shape, other direction.
  const CEllipse m(CDPOINT(-20, 50), -80, 30, 0.7);
  ASSERT_TRUE(m.CalcCurve(path));
  EXPECT_LE(PathError(e, path), e.ArcErrorBound(kPi / 2));
  EXPECT_NE(path.IsClockwise(), [&] {
    CBPointArray p;
    e.CalcCurve(p);
    return p.IsClockwise();
  }());
  // Refusals leave an empty path.
  for (const CEllipse& bad : {CEllipse(CDPOINT(0, 0), 0, 5), CEllipse(CDPOINT(0, 0), 5, kNaN),
                              CEllipse(CDPOINT(kNaN, 0), 5, 5)}) {
    path.Add(CBPOINT());
    EXPECT_FALSE(bad.CalcCurve(path));
    EXPECT_EQ(path.GetSize(), 0);
  }
  EXPECT_FALSE(e.CalcArc(path, 0, 0));
  EXPECT_FALSE(e.CalcArc(path, kNaN, 1));
  ASSERT_TRUE(e.CalcArc(path, 0, 1e-300, 1e-300));  // bounded piece count
  EXPECT_LE(path.GetSize(), kEllipseMaxPieces + 1);
}

TEST(CEllipse, LengthAndPointAtLength) {
  // Oracles: 2 pi r; the ellipse (1, 0.5) has circumference 4 E(3/4) = 4.844224110273838;
  // a flat ellipse is its segment twice; a dense chord polygon for a rotated arc.
  EXPECT_NEAR(CEllipse(CDPOINT(1, 1), 7, 7).CalcPerimeter(), 14 * kPi, 1e-11);
  EXPECT_NEAR(CEllipse(CDPOINT(0, 0), 1, 0.5, 2).CalcPerimeter(), 4.844224110273838, 1e-12);
  EXPECT_NEAR(CEllipse(CDPOINT(0, 0), 10, 0).CalcPerimeter(), 40, 1e-9);
  EXPECT_NEAR(CEllipse(CDPOINT(0, 0), 1, 1e-9).CalcPerimeter(), 4, 1e-8);
  EXPECT_EQ(CEllipse(CDPOINT(0, 0), 0, 0).CalcPerimeter(), 0);
  const CEllipse e(CDPOINT(5, -5), 60, 15, -0.4);
  double chords = 0;
  const int n = 200000;
  for (int i = 0; i < n; ++i) {
    const CDPOINT a = e.CalcPoint(0.3 + 2.5 * i / n), b = e.CalcPoint(0.3 + 2.5 * (i + 1) / n);
    chords += std::hypot(b.x - a.x, b.y - a.y);
  }
  EXPECT_NEAR(e.CalcLength(0.3, 2.8), chords, 1e-6);
  EXPECT_NEAR(e.CalcLength(2.8, 0.3), -chords, 1e-6);
  EXPECT_NEAR(e.CalcLength(0, 3 * 2 * kPi + 1), 3 * e.CalcPerimeter() + e.CalcLength(0, 1), 1e-9);

  // The point at a length is where that much arc has been walked, forwards, backwards and
  // beyond a turn.
  const double P = e.CalcPerimeter();
  for (double len : {0.0, 10.0, 123.4, -50.0, P, 2.5 * P}) {
    const double t = e.CalcParamAtLength(0.7, len);
    EXPECT_NEAR(e.CalcLength(0.7, t), len, 1e-9 * P) << len;
  }
  EXPECT_EQ(CEllipse(CDPOINT(2, 3), 0, 0).CalcParamAtLength(1.5, 10), 1.5);
  EXPECT_TRUE(std::isnan(e.CalcParamAtLength(kNaN, 1)));
  EXPECT_TRUE(std::isnan(e.CalcLength(0, std::numeric_limits<double>::infinity())));
}

TEST(CEllipse, InsideTestAndPolarAngles) {
  // Long axis turned to the world y axis.
  const CEllipse e(CDPOINT(10, 10), 50, 5, kPi / 2);
  struct Row {
    CDPOINT p;
    bool inside;
  } rows[] = {{CDPOINT(10, 10), true},    {CDPOINT(10, 59), true},   {CDPOINT(10, -39), true},
              {CDPOINT(59, 10), false},   {CDPOINT(14.9, 10), true}, {CDPOINT(15.1, 10), false},
              {CDPOINT(kNaN, 10), false}, {CDPOINT(10, 61), false}};
  for (const Row& r : rows) EXPECT_EQ(e.IsPointInside(r.p), r.inside) << r.p.x << " " << r.p.y;
  EXPECT_FALSE(CEllipse(CDPOINT(0, 0), 0, 5).IsPointInside(CDPOINT(0, 0)));
  EXPECT_TRUE(CEllipse(CDPOINT(0, 0), -5, -3).IsPointInside(CDPOINT(4, 0)));
  // The parametric angle of a polar direction gives a point on that ray.
  const CEllipse f(CDPOINT(1, 2), 40, 10, 0.3);
  for (double a : {0.0, 0.5, 2.0, -2.5, 3.0}) {
    const CDPOINT p = f.CalcPoint(f.ParamFromPolar(a));
    EXPECT_NEAR(std::atan2(p.y - 2, p.x - 1), a, 1e-12) << a;
  }
}
