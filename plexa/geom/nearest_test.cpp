#include "plexa/geom/nearest.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "tests/support.h"

using PLEXA::CDPOINT;

namespace {

using namespace plexa::test;

// Reference nearest distance: the segment as a one-segment path, densely sampled and refined.
double ReferenceDistance(const CBezier& c, const CDPOINT& p) {
  const CDPOINT* q = c.GetPoints();
  CBPointArray path;
  path.Add(CBPOINT(q[0], q[0], q[1]));
  path.Add(CBPOINT(q[2], q[3], q[3]));
  return DistanceToPath(path, p, 400);
}

CBezier Scaled(std::mt19937& rng, double scale, double offset) {
  std::uniform_real_distribution<double> u(0, 1);
  const auto pt = [&] { return CDPOINT(offset + u(rng) * scale, offset + u(rng) * scale); };
  const CDPOINT a = pt(), b = pt(), c = pt(), d = pt();
  return CBezier(a, b, c, d);
}

}  // namespace

TEST(NearestPoint, MatchesDenseScanOnRandomCurves) {
  std::mt19937 rng(2024);
  std::uniform_real_distribution<double> u(-0.2, 1.2);
  for (int k = 0; k < 150; ++k) {
    const CBezier c = Scaled(rng, 1000, 0);
    const CDPOINT p(u(rng) * 1000, u(rng) * 1000);
    const double ref = ReferenceDistance(c, p);
    const double t = c.GetNearestCurvePointT(p);
    ASSERT_TRUE(t >= 0 && t <= 1);
    EXPECT_NEAR(Dist(c.GetCurvePoint(t), p), ref, 1e-6 + 1e-9 * ref) << "case " << k;
    EXPECT_EQ(c.GetNearestCurvePoint(p), c.GetCurvePoint(t));
    double d2 = -1;
    const CDPOINT q = c.GetNearestCurvePoint2(p, &d2);
    EXPECT_NEAR(d2, ref, 1e-6 + 1e-9 * ref) << "case " << k;
    EXPECT_NEAR(Dist(q, p), d2, 1e-9);
  }
}

TEST(NearestPoint, SecondVariantHoldsAtAnyScale) {
  std::mt19937 rng(77);
  std::uniform_real_distribution<double> u(-0.2, 1.2);
  for (double scale : {1e-7, 1e-3, 1e9}) {
    for (int k = 0; k < 40; ++k) {
      const CBezier c = Scaled(rng, scale, 5 * scale);
      const CDPOINT p((5 + u(rng)) * scale, (5 + u(rng)) * scale);
      const double ref = ReferenceDistance(c, p);
      double d = -1;
      const double t = c.GetNearestCurvePointT2(p, &d);
      ASSERT_TRUE(t >= 0 && t <= 1);
      EXPECT_NEAR(d, ref, 1e-7 * scale) << "scale " << scale << " case " << k;
      EXPECT_NEAR(Dist(c.GetCurvePoint(t), p), d, 1e-12 * scale);
    }
  }
  const CBezier c(CDPOINT(0, 0), CDPOINT(1, 1), CDPOINT(2, 1), CDPOINT(3, 0));
  EXPECT_EQ(c.GetNearestCurvePointT2(CDPOINT(0, 0), nullptr), 0);  // no distance wanted
}

TEST(NearestPoint, EndsAndDegenerateCurves) {
  const CBezier arch(CDPOINT(0, 0), CDPOINT(0, 10), CDPOINT(10, 10), CDPOINT(10, 0));
  for (auto [p, t] :
       {std::pair{CDPOINT(0, 0), 0.0}, {CDPOINT(-3, -4), 0.0}, {CDPOINT(13, -4), 1.0}})
    EXPECT_EQ(arch.GetNearestCurvePointT(p), t) << p.x << ", " << p.y;
  EXPECT_NEAR(arch.GetNearestCurvePointT(CDPOINT(5, 20)), 0.5, 1e-9);
  // A closed loop: both ends at the same distance, the start wins (t = 1 must be nearer).
  const CBezier loop(CDPOINT(0, 0), CDPOINT(10, 10), CDPOINT(-10, 10), CDPOINT(0, 0));
  EXPECT_EQ(loop.GetNearestCurvePointT(CDPOINT(0, -5)), 0);
  double d = 0;
  loop.GetNearestCurvePointT2(CDPOINT(0, -5), &d);
  EXPECT_NEAR(d, 5, 1e-12);

  const CBezier dot(CDPOINT(2, 2), CDPOINT(2, 2), CDPOINT(2, 2), CDPOINT(2, 2));
  EXPECT_EQ(dot.GetNearestCurvePointT(CDPOINT(5, 6)), 0);
  EXPECT_TRUE(dot.GetNearestCurvePointT2(CDPOINT(5, 6), &d) == 0 && d == 5) << d;
}

TEST(NearestPoint, HostileInputTerminatesInRange) {
  const double huge = 1e300;
  const CBezier cases[] = {
      CBezier(CDPOINT(0, 0), CDPOINT(kNaN, 0), CDPOINT(1, 1), CDPOINT(2, 0)),
      CBezier(CDPOINT(0, 0), CDPOINT(kInf, 0), CDPOINT(-kInf, 1), CDPOINT(2, 0)),
      CBezier(CDPOINT(-huge, -huge), CDPOINT(huge, -huge), CDPOINT(huge, huge),
              CDPOINT(-huge, huge)),
  };
  for (const CBezier& c : cases) {
    for (const CDPOINT& p : {CDPOINT(1, 1), CDPOINT(kNaN, 0), CDPOINT(huge, -huge)}) {
      const double t = c.GetNearestCurvePointT(p), t2 = c.GetNearestCurvePointT2(p, nullptr);
      EXPECT_TRUE(t >= 0 && t <= 1 && t2 >= 0 && t2 <= 1) << t << " " << t2;
    }
  }
  double d = 0;
  EXPECT_EQ(cases[0].GetNearestCurvePointT2(CDPOINT(1, 1), &d), 0);
  EXPECT_EQ(d, std::sqrt(2.0));  // non-finite curve: the start and its distance
  // Huge but finite: the second variant still finds the nearest point (the right side).
  cases[2].GetNearestCurvePointT2(CDPOINT(2 * huge, 0), &d);
  EXPECT_NEAR(d / huge, 1.5, 1e-9);  // x(0.5) = huge / 2
  // Regression (fuzzing): a subnormal segment, whose power-of-two scale factor would overflow.
  const double tiny = 10 * std::numeric_limits<double>::denorm_min();
  const CBezier sub(CDPOINT(tiny, 0), CDPOINT(), CDPOINT(), CDPOINT());
  EXPECT_EQ(sub.GetNearestCurvePointT2(CDPOINT(tiny, 0), &d), 0);
  EXPECT_EQ(d, 0);
}

TEST(ClipLine, CohenSutherland) {
  // Segment in, window (xmin, xmax, ymin, ymax), the answer and the segment out. Rejected
  // segments leave the caller's coordinates as they were. Coordinates set to a window edge
  // are exact; the interpolated ones get yTol.
  struct Case {
    double in[4], window[4];
    int code;
    double out[4], yTol = 0;
  };
  // Inside: untouched; fully left; left to right through the window; from below the bottom
  // (y down): the first end moves; out above the top: the second moves; past the corner:
  // clipped once, then rejected.
  const Case cases[] = {
      {{2, 3, 8, 4}, {0, 10, 0, 10}, 1, {2, 3, 8, 4}},
      {{-5, 1, -1, 9}, {0, 10, 0, 10}, 0, {-5, 1, -1, 9}},
      {{-10, 0, 20, 6}, {0, 10, -5, 5}, 7, {0, 2, 10, 4}, 1e-12},
      {{5, 15, 5, 5}, {0, 10, 0, 10}, 3, {5, 10, 5, 5}},
      {{5, 5, 5, -3}, {0, 10, 0, 10}, 5, {5, 5, 5, 0}},
      {{-2, 1, 1, -2}, {0, 10, 0, 10}, 0, {-2, 1, 1, -2}},
  };
  for (const Case& c : cases) {
    double v[4] = {c.in[0], c.in[1], c.in[2], c.in[3]};
    EXPECT_EQ(
        _clip_line(&v[0], &v[1], &v[2], &v[3], c.window[0], c.window[1], c.window[2], c.window[3]),
        c.code)
        << c.in[0] << ", " << c.in[1] << " -> " << c.in[2] << ", " << c.in[3];
    for (int k = 0; k < 4; ++k)
      EXPECT_NEAR(v[k], c.out[k], k % 2 ? c.yTol : 0.0) << "coordinate " << k << " of " << c.in[0];
  }

  double x1, y1, x2, y2;
  const tagRECT r{0, 0, 10, 10};
  x1 = -5, y1 = 5, x2 = 5, y2 = 5;
  EXPECT_EQ(ClipLine(&x1, &y1, &x2, &y2, &r), 3);
  EXPECT_EQ(x1, 0);
  EXPECT_EQ(ClipLine(&x1, &y1, &x2, &y2, nullptr), 0);

  x1 = kNaN, y1 = 5, x2 = kInf, y2 = -kInf;  // terminates
  const int code = _clip_line(&x1, &y1, &x2, &y2, 0, 10, 0, 10);
  EXPECT_TRUE(code >= 0 && code <= 7);
}
