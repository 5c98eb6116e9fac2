#include "plexa/geom/fitcurve.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <random>
#include <vector>

#include "tests/support.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

constexpr double kPi = std::numbers::pi;
using namespace plexa::test;

double MaxDeviation(const CBPointArray& path, const std::vector<CDPOINT>& pts, int samples = 96) {
  double worst = 0;
  for (const CDPOINT& p : pts)
    if (std::isfinite(p.x) && std::isfinite(p.y))
      worst = std::max(worst, DistanceToPath(path, p, samples));
  return worst;
}

CBPointArray Fit(const std::vector<CDPOINT>& pts, double tol) {
  CBPointArray path;
  FitCurve(pts.data(), static_cast<int>(pts.size()), &path, tol);
  return path;
}

// The contract every fit keeps: exact end anchors, attribute 0, finite nodes, every point
// within the tolerance.
void ExpectContract(const CBPointArray& path, const std::vector<CDPOINT>& pts, double tol,
                    int samples = 96) {
  ASSERT_GE(path.GetSize(), 2);
  EXPECT_EQ(path.GetData()[0].anchor, pts.front());
  EXPECT_EQ(path.GetData()[path.GetSize() - 1].anchor, pts.back());
  for (const CBPOINT& n : path) {
    EXPECT_EQ(n.attr, 0);
    for (const CDPOINT& q : {n.in, n.anchor, n.out})
      EXPECT_TRUE(std::isfinite(q.x) && std::isfinite(q.y));
  }
  EXPECT_LE(MaxDeviation(path, pts, samples), tol * (1 + 1e-9))
      << "segments: " << path.GetSize() - 1;
}

// Sine of the angle between a node's two handles, negative when they point the same way.
// A smooth join gives about 0 with the handles on opposite sides; a corner gives clearly
// more than 0. Handles on the anchor give 1 (no direction at all: a corner).
double HandleKink(const CBPOINT& n) {
  const CDPOINT a = n.in - n.anchor, b = n.out - n.anchor;
  const double la = std::hypot(a.x, a.y), lb = std::hypot(b.x, b.y);
  if (la == 0 || lb == 0) return 1;
  const double sine = std::fabs(a.x * b.y - a.y * b.x) / (la * lb);
  return (a.x * b.x + a.y * b.y) > 0 ? 1 : sine;
}
bool IsSmooth(const CBPOINT& n) {
  return HandleKink(n) < 1e-9;
}

// A rasterised outline: the curve sampled finely, rounded to pixel centres, repeats merged,
// closed the way the shape tracer closes it (first point twice at the end).
template <typename F>
std::vector<CDPOINT> PixelChain(F curve, int samples, bool tracerClose,
                                bool fourConnected = false) {
  std::vector<CDPOINT> pts;
  for (int i = 0; i < samples; ++i) {
    CDPOINT q = curve(double(i) / samples);
    q = CDPOINT(std::floor(q.x + 0.5), std::floor(q.y + 0.5));
    if (!pts.empty() && pts.back() == q) continue;
    if (fourConnected && !pts.empty() && pts.back().x != q.x && pts.back().y != q.y)
      pts.push_back(CDPOINT(q.x, pts.back().y));
    pts.push_back(q);
  }
  if (tracerClose) {
    pts.push_back(pts.front());
    pts.push_back(pts.front());
  }
  return pts;
}

std::vector<CDPOINT> PixelCircle(double r, double phase, bool fourConnected = false) {
  return PixelChain(
      [&](double u) {
        const double a = phase + 2 * kPi * u;
        return CDPOINT(500 + r * std::cos(a), 500 + r * std::sin(a));
      },
      static_cast<int>(40 * r), true, fourConnected);
}

// Closed polygon through `corners`, each edge sampled at unit steps and rounded to pixels.
std::vector<CDPOINT> PixelPolygon(const std::vector<CDPOINT>& corners) {
  std::vector<CDPOINT> pts;
  for (std::size_t i = 0; i < corners.size(); ++i) {
    const CDPOINT a = corners[i], b = corners[(i + 1) % corners.size()];
    const int steps = static_cast<int>(std::ceil(4 * Dist(a, b)));
    for (int k = 0; k < steps; ++k) {
      const CDPOINT q = a + (b - a) * (double(k) / steps);
      const CDPOINT r(std::floor(q.x + 0.5), std::floor(q.y + 0.5));
      if (pts.empty() || !(pts.back() == r)) pts.push_back(r);
    }
  }
  pts.push_back(pts.front());
  pts.push_back(pts.front());
  return pts;
}

// The contract on chains with non-finite points: at most one node per finite point, the ends
// exactly the first and last finite points, every node finite, and with withinTol every finite
// point within the tolerance (sampled densely: spikes fold curves).
void ExpectFiniteContract(const std::vector<CDPOINT>& pts, double tol, bool withinTol) {
  const CBPointArray path = Fit(pts, tol);
  std::vector<CDPOINT> finite;
  for (const CDPOINT& p : pts)
    if (std::isfinite(p.x) && std::isfinite(p.y)) finite.push_back(p);
  ASSERT_LE(path.GetSize(), static_cast<INT_PTR>(finite.size()));
  ASSERT_EQ(finite.empty(), path.GetSize() == 0);
  if (finite.size() < 2) return;
  if (withinTol) return ExpectContract(path, finite, tol, 1024);
  EXPECT_EQ(path[0].anchor, finite.front());
  EXPECT_EQ(path[path.GetUpperBound()].anchor, finite.back());
  for (const CBPOINT& n : path)
    for (const CDPOINT& q : {n.in, n.anchor, n.out})
      EXPECT_TRUE(std::isfinite(q.x) && std::isfinite(q.y)) << q.x << ", " << q.y;
}

// Index of the node nearest to p.
int NearestNode(const CBPointArray& path, const CDPOINT& p) {
  int best = 0;
  for (int i = 1; i < path.GetSize(); ++i)
    if (Dist(path.GetData()[i].anchor, p) < Dist(path.GetData()[best].anchor, p)) best = i;
  return best;
}

}  // namespace

TEST(FitCurve, DegenerateCountsPointersAndValues) {
  CBPointArray path;
  path.Add(CBPOINT(CDPOINT(1, 1), CDPOINT(2, 2), CDPOINT(3, 3)));
  FitCurve(nullptr, 5, &path, 1.0);
  EXPECT_EQ(path.GetSize(), 0);  // previous nodes are always removed
  const CDPOINT one[] = {CDPOINT(3, 4)};
  FitCurve(one, 0, &path, 1.0);
  EXPECT_EQ(path.GetSize(), 0);
  FitCurve(one, -3, &path, 1.0);
  EXPECT_EQ(path.GetSize(), 0);
  FitCurve(one, 1, nullptr, 1.0);  // nothing to fill, nothing happens

  FitCurve(one, 1, &path, 1.0);
  ASSERT_EQ(path.GetSize(), 1);
  EXPECT_EQ(path[0], CBPOINT(one[0], one[0], one[0]));

  const CDPOINT same[] = {CDPOINT(3, 4), CDPOINT(3, 4), CDPOINT(3, 4 + 1e-9)};
  FitCurve(same, 3, &path, 1.0);
  ASSERT_EQ(path.GetSize(), 2);
  EXPECT_EQ(path[0].anchor, same[0]);
  EXPECT_EQ(path[1].anchor, same[2]);  // the exact last point, not the merged one
  EXPECT_FALSE(path.IsPolyBezierClosed());

  // Every kind of tolerance gives a valid fit of a bent chain.
  const std::vector<CDPOINT> bent{CDPOINT(0, 0), CDPOINT(4, 1), CDPOINT(8, 3), CDPOINT(11, 7),
                                  CDPOINT(12, 12)};
  for (double tol : {kNaN, 0.0, -2.0, 1e-12, 0.3, 1e9, kInf}) {
    SCOPED_TRACE(tol);
    path = Fit(bent, tol);
    ExpectContract(path, bent, tol > 1e-8 ? tol : 1e-8);
    EXPECT_LE(path.GetSize(), 5);
  }
}

TEST(FitCurve, ShortChains) {
  // Two points: one straight segment whose handles lie on it.
  std::vector<CDPOINT> two{CDPOINT(1, 2), CDPOINT(7, 10)};
  CBPointArray path = Fit(two, 1.0);
  ASSERT_EQ(path.GetSize(), 2);
  ExpectContract(path, two, 1.0);
  EXPECT_EQ(path[0].in, path[0].anchor);  // open ends: outer controls on the anchors
  EXPECT_EQ(path[1].out, path[1].anchor);
  EXPECT_LE(DistanceToPath(path, CDPOINT(4, 6)), 1e-9);

  // Three collinear points: still one segment, through the middle point.
  std::vector<CDPOINT> line{CDPOINT(0, 0), CDPOINT(3, 0), CDPOINT(10, 0)};
  path = Fit(line, 0.01);
  EXPECT_EQ(path.GetSize(), 2);
  ExpectContract(path, line, 0.01);

  // A right angle of three points is a corner, whatever the tolerance below its size.
  std::vector<CDPOINT> ell{CDPOINT(0, 0), CDPOINT(10, 0), CDPOINT(10, 10)};
  for (double tol : {0.1, 1.0}) {
    path = Fit(ell, tol);
    ASSERT_EQ(path.GetSize(), 3);
    ExpectContract(path, ell, tol);
    EXPECT_EQ(path[1].anchor, ell[1]);
    EXPECT_GT(HandleKink(path[1]), 0.5);
  }

  // Out and back (a one-pixel spur): the turn is a corner.
  std::vector<CDPOINT> spur{CDPOINT(0, 0), CDPOINT(6, 0), CDPOINT(0, 0)};
  path = Fit(spur, 1.0);
  ASSERT_EQ(path.GetSize(), 3);
  ExpectContract(path, spur, 1.0);
  EXPECT_GT(HandleKink(path[1]), 0.5);

  // A 60-degree turn three points before an open end, where only the hard angle rule applies.
  std::vector<CDPOINT> hook;
  for (int i = 0; i <= 40; ++i) hook.push_back(CDPOINT(i, 0));
  for (int k = 1; k <= 3; ++k) hook.push_back(CDPOINT(40 + k * 0.5, k * std::sqrt(0.75)));
  path = Fit(hook, 2.0);
  ExpectContract(path, hook, 2.0);
  const int at = NearestNode(path, CDPOINT(40, 0));
  EXPECT_LE(Dist(path[at].anchor, CDPOINT(40, 0)), 1e-9);
  EXPECT_GT(HandleKink(path[at]), 0.5);

  // A triangle closed the tracer's way: three corners, a closed path repeating node 0.
  std::vector<CDPOINT> tri{CDPOINT(0, 0), CDPOINT(20, 0), CDPOINT(10, 15), CDPOINT(0, 0),
                           CDPOINT(0, 0)};
  path = Fit(tri, 1.0);
  ASSERT_EQ(path.GetSize(), 4);
  ExpectContract(path, tri, 1.0);
  EXPECT_TRUE(path.IsPolyBezierClosed());
  EXPECT_EQ(path[0].in, path[3].in);
  EXPECT_EQ(path[3].out, path[0].out);
  for (int i = 0; i < 3; ++i) EXPECT_GT(HandleKink(path[i]), 0.5) << i;
}

TEST(FitCurve, PixelCircleGivesFewSmoothSegments) {
  for (bool four : {false, true}) {
    for (double phase : {0.0, 0.3, 2.0}) {
      SCOPED_TRACE(testing::Message() << "4-connected " << four << " phase " << phase);
      const std::vector<CDPOINT> pts = PixelCircle(100, phase, four);
      const CBPointArray path = Fit(pts, 1.0);
      ExpectContract(path, pts, 1.0);
      EXPECT_TRUE(path.IsPolyBezierClosed());
      EXPECT_LE(path.GetSize() - 1, 8);
      for (const CBPOINT& n : path) EXPECT_TRUE(IsSmooth(n)) << n.anchor.x << "," << n.anchor.y;
      // The other way round: the curve stays on the circle, within the tolerance and the
      // half-diagonal of a pixel.
      for (int i = 0; i + 1 < path.GetSize(); ++i)
        for (int k = 0; k <= 20; ++k)
          EXPECT_NEAR(Dist(BezierAt(path[i], path[i + 1], k / 20.0), CDPOINT(500, 500)), 100,
                      1.0 + 0.71);
    }
  }
  // The shape tracer's tolerance on a small disc.
  const std::vector<CDPOINT> small = PixelCircle(12, 1.0);
  const CBPointArray path = Fit(small, 5.0);
  ExpectContract(path, small, 5.0);
  EXPECT_LE(path.GetSize() - 1, 4);
  for (const CBPOINT& n : path) EXPECT_TRUE(IsSmooth(n));
}

TEST(FitCurve, SmoothCurvesEllipseSpiralAndNoise) {
  // An analytic ellipse sampled unevenly, starting at an arbitrary angle.
  std::vector<CDPOINT> ellipse;
  for (int i = 0; i < 300; ++i) {
    const double a = 0.7 + 2 * kPi * std::pow(i / 300.0, 1.3);
    ellipse.push_back(CDPOINT(150 * std::cos(a), 60 * std::sin(a)));
  }
  ellipse.push_back(ellipse.front());
  CBPointArray path = Fit(ellipse, 0.5);
  ExpectContract(path, ellipse, 0.5);
  EXPECT_TRUE(path.IsPolyBezierClosed());
  EXPECT_LE(path.GetSize() - 1, 10);
  for (const CBPOINT& n : path) EXPECT_TRUE(IsSmooth(n));

  // An open Archimedean spiral, rasterised: three turns.
  const std::vector<CDPOINT> spiral = PixelChain(
      [](double u) {
        const double a = 6 * kPi * u, r = 8 + 12 * a;
        return CDPOINT(r * std::cos(a), r * std::sin(a));
      },
      40000, false);
  path = Fit(spiral, 1.0);
  ExpectContract(path, spiral, 1.0);
  EXPECT_LE(path.GetSize() - 1, 24);
  for (int i = 1; i + 1 < path.GetSize(); ++i) EXPECT_TRUE(IsSmooth(path[i])) << i;

  // A circle with seeded noise of +-0.4 around its samples.
  std::mt19937 rng(12345);
  std::uniform_real_distribution<double> noise(-0.4, 0.4);
  std::vector<CDPOINT> noisy;
  for (int i = 0; i < 500; ++i) {
    const double a = 2 * kPi * i / 500;
    noisy.push_back(CDPOINT(80 * std::cos(a) + noise(rng), 80 * std::sin(a) + noise(rng)));
  }
  noisy.push_back(noisy.front());
  path = Fit(noisy, 1.0);
  ExpectContract(path, noisy, 1.0);
  EXPECT_LE(path.GetSize() - 1, 8);
  for (const CBPOINT& n : path) EXPECT_TRUE(IsSmooth(n));
}

TEST(FitCurve, CornersStaySharp) {
  // Axis-aligned square, traced from a corner and from the middle of an edge.
  for (double tol : {1.0, 5.0}) {
    std::vector<CDPOINT> sq =
        PixelPolygon({CDPOINT(0, 0), CDPOINT(60, 0), CDPOINT(60, 60), CDPOINT(0, 60)});
    CBPointArray path = Fit(sq, tol);
    ExpectContract(path, sq, tol);
    EXPECT_EQ(path.GetSize(), 5);
    for (const CBPOINT& n : path) EXPECT_GT(HandleKink(n), 0.9);

    std::rotate(sq.begin(), sq.begin() + 30, sq.end() - 2);
    sq[sq.size() - 2] = sq[sq.size() - 1] = sq[0];
    path = Fit(sq, tol);
    ExpectContract(path, sq, tol);
    EXPECT_EQ(path.GetSize(), 6);  // the start stays a node, but a smooth one
    EXPECT_TRUE(IsSmooth(path[0]));
    for (const CDPOINT& c : {CDPOINT(0, 0), CDPOINT(60, 0), CDPOINT(60, 60), CDPOINT(0, 60)}) {
      const int k = NearestNode(path, c);
      EXPECT_LE(Dist(path[k].anchor, c), 1e-9);
      EXPECT_GT(HandleKink(path[k]), 0.9);
    }
  }

  // Polygons as a rasteriser gives them; one straight segment an edge, every corner a node
  // near the true vertex with a clear kink: a stem narrower than three tolerances (both
  // corners at each end kept), a square turned by 30 degrees (staircase edges), a five-pointed
  // star (tips turn by 144 degrees, inner corners by 72) and a regular octagon (only 45
  // degrees a corner, but concentrated).
  struct Shape {
    std::vector<CDPOINT> corners;
    std::vector<double> tols;
    double nearTol, kink;  // nearTol < 0: within the fit's tolerance
  };
  const auto ring = [](int n, CDPOINT c, double a0, double r0, double r1) {
    std::vector<CDPOINT> v;
    for (int i = 0; i < n; ++i) {
      const double a = a0 + i * 2 * kPi / n, r = i % 2 ? r1 : r0;
      v.push_back(CDPOINT(c.x + r * std::cos(a), c.y + r * std::sin(a)));
    }
    return v;
  };
  const Shape shapes[] = {
      {{{0, 0}, {12, 0}, {12, 150}, {0, 150}}, {5.0}, 1e-9, 0.5},
      {ring(4, {200, 200}, kPi / 6, 70, 70), {1.5}, 1.5, 0.8},
      {ring(10, {300, 300}, -kPi / 2, 110, 45), {1.0, 3.0}, -1, 0.5},
      {ring(8, {150, 150}, kPi / 8, 100, 100), {1.0, 2.0, 5.0}, 1.0, 0.3},
  };
  for (const Shape& shape : shapes) {
    const std::vector<CDPOINT> pts = PixelPolygon(shape.corners);
    for (double tol : shape.tols) {
      SCOPED_TRACE(testing::Message() << shape.corners.size() << " corners, tol " << tol);
      const CBPointArray path = Fit(pts, tol);
      ExpectContract(path, pts, tol);
      EXPECT_EQ(path.GetSize() - 1, static_cast<INT_PTR>(shape.corners.size()));
      for (const CDPOINT& c : shape.corners) {
        const int k = NearestNode(path, c);
        EXPECT_LE(Dist(path[k].anchor, c), shape.nearTol < 0 ? tol : shape.nearTol);
        EXPECT_GT(HandleKink(path[k]), shape.kink);
      }
    }
  }
}

TEST(FitCurve, RepeatsAndHostileValuesChangeNothing) {
  // Every point three times, and NaN or infinite points spliced in: the same path as the
  // clean chain.
  const std::vector<CDPOINT> clean = PixelCircle(40, 0.5);
  std::vector<CDPOINT> dirty;
  for (std::size_t i = 0; i < clean.size(); ++i) {
    for (int k = 0; k < 3; ++k) dirty.push_back(clean[i]);
    if (i % 17 == 3) dirty.push_back(CDPOINT(i % 2 ? kNaN : kInf, 5));
  }
  EXPECT_TRUE(Fit(dirty, 1.0) == Fit(clean, 1.0));

  // Seeded random chains with hostile values: the contract holds on the finite points.
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> coord(-50, 50);
  for (int trial = 0; trial < 300; ++trial) {
    std::vector<CDPOINT> pts(rng() % 12);
    for (std::size_t i = 0; i < pts.size(); ++i) {
      const unsigned kind = rng() % 8;  // NaN, infinity, a long spike, a repeat, or plain
      const double x = coord(rng), y = coord(rng);
      pts[i] = kind == 0            ? CDPOINT(kNaN, y)
               : kind == 1          ? CDPOINT(x, -kInf)
               : kind == 2          ? CDPOINT(40 * x, y)
               : kind == 3 && i > 0 ? pts[i - 1]
                                    : CDPOINT(std::round(x), std::round(y));
    }
    SCOPED_TRACE(trial);
    ExpectFiniteContract(pts, 0.5 + trial % 4, true);
  }
}

TEST(FitCurve, HugeAndHostileChains) {
  // A long staircase (a rasterised circle of radius 3000, ~17,000 points): linear work,
  // few segments, every point within the tolerance.
  const std::vector<CDPOINT> big = PixelCircle(3000, 0.1);
  CBPointArray path = Fit(big, 1.0);
  ASSERT_GE(path.GetSize(), 5);
  EXPECT_LE(path.GetSize() - 1, 16);
  std::vector<CDPOINT> sample;
  for (std::size_t i = 0; i < big.size(); i += 37) sample.push_back(big[i]);
  EXPECT_LE(MaxDeviation(path, sample), 1.0 * (1 + 1e-9));
  EXPECT_EQ(path[0].anchor, big.front());

  // Coordinates near the top of the double range: scaled internally, corners still found.
  const double h = 1e300;
  std::vector<CDPOINT> huge{CDPOINT(-h, -h), CDPOINT(0, -h), CDPOINT(h, -h),
                            CDPOINT(h, 0),   CDPOINT(h, h),  CDPOINT(0, h),
                            CDPOINT(-h, h),  CDPOINT(-h, 0), CDPOINT(-h, -h)};
  path = Fit(huge, 1e290);
  ExpectContract(path, huge, 1e290);
  EXPECT_EQ(path.GetSize(), 5);

  // A closed chain of 20,000 random points in a small box at a tolerance far beyond the box:
  // corner arms stop after a bounded number of points, so this is quick; few nodes.
  std::mt19937 rng(3);
  std::uniform_real_distribution<double> box(-1000, 1000);
  std::vector<CDPOINT> tangle(20000);
  for (CDPOINT& p : tangle) p = CDPOINT(box(rng), box(rng));
  tangle.push_back(tangle.front());
  path = Fit(tangle, 1e6);
  EXPECT_TRUE(path.IsPolyBezierClosed());
  EXPECT_LE(path.GetSize(), 60);
  EXPECT_EQ(path[0].anchor, tangle.front());

  // A zig-zag of one-pixel teeth at a tolerance below the teeth: every point is followed.
  std::vector<CDPOINT> zig;
  for (int i = 0; i < 400; ++i) zig.push_back(CDPOINT(i, i % 2));
  path = Fit(zig, 0.2);
  ExpectContract(path, zig, 0.2);
  // ...and at a tolerance above them it is a straight line.
  path = Fit(zig, 1.0);
  ExpectContract(path, zig, 1.0);
  EXPECT_LE(path.GetSize(), 3);
}

TEST(FitCurve, BigCoordinatesKeepFiniteHandles) {
  // Regression (fuzzing): NaN tolerance, then (tiny, -9.58e90), (-9.59e90, -9.59e90),
  // (subnormal, subnormal), (0, NaN): the squares of squares in the fit overflowed to NaN.
  const unsigned char input[72] = {
      0xff, 0xe8, 0xe8, 0x06, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xfe, 0x00, 0x00, 0x01, 0x00,
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xd2, 0xd2, 0xd2, 0xd2, 0xd2, 0xd2, 0xd2, 0xd2, 0xd2,
      0xd2, 0xd2, 0xd2, 0xd2, 0xd2, 0xd2, 0xd2, 0xd2, 0xd2, 0xd2, 0xd2, 0xd2, 0xd2, 0xd2, 0xd2,
      0xd2, 0x00, 0x00, 0x00, 0x00, 0x2a, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xff, 0xff};
  double tol;
  std::memcpy(&tol, input, sizeof tol);
  std::vector<CDPOINT> pts(4);
  std::memcpy(pts.data(), input + sizeof tol, sizeof(CDPOINT) * pts.size());
  ExpectFiniteContract(pts, tol, false);
  // The same shape at every scale from 1e-100 to 1e300, and a corner chain of many points.
  for (const double s : {1e-100, 1e-8, 1.0, 1e60, 1e77, 1e90, 1e100, 1e154, 1e200, 1e300}) {
    SCOPED_TRACE(s);
    ExpectFiniteContract({CDPOINT(0, -s), CDPOINT(-s, -s), CDPOINT(0, 0)}, s * 1e-8, false);
    ExpectFiniteContract({CDPOINT(0, -s), CDPOINT(-s, -s), CDPOINT(0, 0)}, 1.0, false);
    std::vector<CDPOINT> arc;
    for (int i = 0; i <= 40; ++i)
      arc.emplace_back(s * std::cos(i * 0.1), s * std::sin(i * 0.1) * (i < 20 ? 1 : -1));
    ExpectFiniteContract(arc, s * 1e-3, false);
  }
}
