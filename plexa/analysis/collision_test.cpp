#include "plexa/analysis/collision.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "bench/glyph_paths.h"
#include "tests/support.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

using namespace plexa::test;

// A wavy blob: n nodes on a star-shaped radius, smooth handles, closed.
CBPointArray Blob(std::mt19937& rng, double cx, double cy, double r, int n) {
  std::uniform_real_distribution<double> rad(0.5 * r, r), handle(0.1, 0.6);
  CBPointArray p;
  for (int i = 0; i < n; ++i) {
    const double a = 2 * M_PI * i / n, rr = rad(rng), h = handle(rng) * r;
    const CDPOINT anchor(cx + rr * std::cos(a), cy + rr * std::sin(a));
    const CDPOINT tan(-std::sin(a + 0.3) * h, std::cos(a + 0.3) * h);
    p.Add(CBPOINT(anchor - tan, anchor, anchor + tan));
  }
  p.Add(p[0]);
  return p;
}

// Exposes the protected plain walk, to check the accelerated query against it.
class Probe : public CCurveCollision {
 public:
  using CCurveCollision::CCurveCollision;
  using CCurveCollision::Intersections;
  int Segments(int i) const { return GetProfileCount(i); }
  const BEZPROFILE& Profile(int list, int i) const {
    return GetProfileList(list)[static_cast<size_t>(i)];
  }
};

// Calls f(profile) for every monotone piece profile of every path.
template <typename F>
void ForEachProfile(const Probe& probe, F f) {
  for (int l = 0; l < probe.GetProfileListCount(); ++l)
    for (int i = 0; i < probe.Segments(l); ++i) f(probe.Profile(l, i));
}

// The profile's polynomial at t.
CDPOINT At(const CCurveCollision::BEZPROFILE& bp, double t) {
  return CDPOINT(bp.x[0] + bp.x[1] * t + bp.x[2] * t * t + bp.x[3] * t * t * t,
                 bp.y[0] + bp.y[1] * t + bp.y[2] * t * t + bp.y[3] * t * t * t);
}

// Each point of `in` tests inside, each point of `out` outside.
void ExpectVerdicts(const CCurveCollision& c, std::initializer_list<CDPOINT> in,
                    std::initializer_list<CDPOINT> out) {
  for (const CDPOINT& p : in)
    EXPECT_TRUE(c.IsPointInCurves(p)) << "expected inside: " << p.x << ", " << p.y;
  for (const CDPOINT& p : out)
    EXPECT_FALSE(c.IsPointInCurves(p)) << "expected outside: " << p.x << ", " << p.y;
}

}  // namespace

TEST(CurveCollision, SolveQuadratic) {
  // c0 + c1 t + c2 t^2: the root count and the roots in their order.
  struct Case {
    double c0, c1, c2;
    int n;
    double r0, r1;
  };
  const Case cases[] = {
      {3, -6, 0, 1, 0.5, 0},  // linear: 3 - 6t
      {3, 0, 0, 0, 0, 0},     // constant
      {1, 0, 1, 0, 0, 0},     // t^2 + 1
      {1, -2, 1, 1, 1, 0},    // (t - 1)^2, discriminant exactly 0
      {2, -3, 1, 2, 2, 1},    // t^2 - 3t + 2: roots[0] is the one with +sqrt(D) over 2 c2...
      {-2, 3, -1, 2, 1, 2},   // ...so with c2 negative the same roots come in the other order
      {-6, 244, 1e-14, 2, 6.0 / 244, -2.44e16},  // nearly linear: the finite root survives
      {-6, -244, -1e-14, 2, -2.44e16, -6.0 / 244},
      {2e300, -3e300, 1e300, 2, 2, 1},  // squares beyond the double range
      {2e-300, -3e-300, 1e-300, 2, 2, 1},
  };
  for (const Case& c : cases) {
    double r[2] = {-1, -1};
    ASSERT_EQ(SolveQuadratic(c.c0, c.c1, c.c2, r), c.n) << c.c0 << " " << c.c1 << " " << c.c2;
    if (c.n >= 1) {
      EXPECT_DOUBLE_EQ(r[0], c.r0);
    }
    if (c.n == 2) {
      EXPECT_DOUBLE_EQ(r[1], c.r1);
    }
  }
}

TEST(CurveCollision, ProfilesSplitAtYExtremaAndClosedness) {
  // Bump: y(t) = -30 t (1 - t) has its top at t = 0.5, y = -7.5.
  CBPointArray bump;
  bump.Add(CBPOINT(CDPOINT(0, 0), CDPOINT(0, 0), CDPOINT(0, -10)));
  bump.Add(CBPOINT(CDPOINT(10, -10), CDPOINT(10, 0), CDPOINT(10, 0)));
  bump.Add(Corner(0, 0));
  Probe probe(bump);
  ASSERT_EQ(probe.Segments(0), 2);
  const auto& bp = probe.Profile(0, 0);
  ASSERT_EQ(bp.count, 3);
  EXPECT_DOUBLE_EQ(bp.t[1], 0.5);
  EXPECT_DOUBLE_EQ(bp.pt[1].y, -7.5);
  EXPECT_DOUBLE_EQ(bp.pt[1].x, 5.0);
  EXPECT_DOUBLE_EQ(bp.dy[0], -30);  // dy/dt = -30 + 60 t
  EXPECT_DOUBLE_EQ(bp.dy[1], 60);
  EXPECT_EQ(probe.Profile(0, 1).count, 2);
  // The ray level with the top meets the rising and the falling piece: two crossings.
  bool hasPrev = false;
  double prevDir = 0;
  EXPECT_EQ(probe.Intersections(bp, CDPOINT(-5, -7.5), hasPrev, prevDir), 2);
  ExpectVerdicts(probe, {{5, -5}}, {{-5, -7.5}, {5, -8}});

  // Closed within 1e-7: n - 1 segments; 2e-7 apart: n, the last one back to the start.
  Probe nearly(Poly({{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0.5e-7}}));
  EXPECT_EQ(nearly.Segments(0), 4);
  Probe open(Poly({{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 2e-7}}));
  EXPECT_EQ(open.Segments(0), 5);
  EXPECT_EQ(open.Profile(0, 4).pt[0].y, 2e-7);
  EXPECT_NEAR(open.Profile(0, 4).pt[open.Profile(0, 4).count - 1].y, 0.0, 1e-20);

  // An open path is closed by a curve from the last node's out control to the first node's
  // in control: here a bulge to the left of the edge x = 0, reaching x = -7.5 at y = 5.
  CBPointArray d;
  d.Add(CBPOINT(CDPOINT(-10, 0), CDPOINT(0, 0), CDPOINT(0, 0)));
  d.Add(Corner(10, 0));
  d.Add(Corner(10, 10));
  d.Add(CBPOINT(CDPOINT(0, 10), CDPOINT(0, 10), CDPOINT(-10, 10)));
  ExpectVerdicts(CCurveCollision(d), {{-7, 5}, {5, 5}}, {{-8, 5}});
}

TEST(CurveCollision, SharedBreakPointsCountOnce) {
  // The left edge is split at (0, 5); both halves run the same way, so a ray through the
  // junction crosses once.
  ExpectVerdicts(CCurveCollision(Poly({{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 5}, {0, 0}})),
                 {{5, 5}}, {{-5, 5}});
  // A path starting on the ray's level: the end of the last segment and the start of the
  // first are one crossing (the walk is primed by the last segment).
  ExpectVerdicts(CCurveCollision(Poly({{0, 5}, {0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 5}})),
                 {{5, 5}}, {{-5, 5}});
  // A vertex that is a y extremum (the diamond's top corner) is crossed twice, falling then
  // rising: parity kept. Its side corners are crossed once, like the split edge above.
  ExpectVerdicts(CCurveCollision(Poly({{0, 5}, {5, 0}, {10, 5}, {5, 10}, {0, 5}})), {{5, 5}},
                 {{-5, 0}, {-5, 5}});
}

TEST(CurveCollision, SetsHolesAndRectangleOfLastPath) {
  CPolyPolyBezier set;
  set.Add(new CBPointArray(Poly({{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}})));
  set.Add(nullptr);
  set.Add(new CBPointArray(Poly({{20, 0}, {30, 0}, {30, 10}, {20, 10}, {20, 0}})));
  CCurveCollision two(set);
  EXPECT_EQ(two.GetProfileListCount(), 2);
  ExpectVerdicts(two, {{5, 5}, {25, 5}}, {{15, 5}});
  EXPECT_EQ(two.GetBoundingRect(), CDRECT(20, 30, 0, 10));

  // Ring: outer square and a hole; the inner point is searched in the hole's rectangle but
  // checked against the whole set, so it lands in the ring.
  CPolyPolyBezier ring;
  ring.Add(new CBPointArray(Poly({{0, 0}, {100, 0}, {100, 100}, {0, 100}, {0, 0}})));
  ring.Add(new CBPointArray(Poly({{10, 10}, {90, 10}, {90, 90}, {10, 90}, {10, 10}})));
  CCurveCollision rc(ring);
  ExpectVerdicts(rc, {{5, 50}}, {{50, 50}});
  CDPOINT inner(-1, -1);
  ASSERT_TRUE(rc.CalcInnerPoint(inner));
  EXPECT_TRUE(rc.IsPointInCurves(inner));
  // The first line, at half the hole's height; x the midpoint of the crossings 0 and 10.
  EXPECT_TRUE(inner.y == 50.0 && std::fabs(inner.x - 5.0) <= 1e-6) << inner.x << ", " << inner.y;

  // A last path of one node leaves the rectangle zero: no inner point even though the
  // earlier path is fine, and the output is untouched.
  ring.Add(new CBPointArray(Poly({{50, 50}})));
  rc.SetCurves(ring);
  EXPECT_EQ(rc.GetBoundingRect(), CDRECT());
  EXPECT_EQ(rc.GetProfileListCount(), 2);
  CDPOINT untouched(-1, -1);
  EXPECT_FALSE(rc.CalcInnerPoint(untouched));
  EXPECT_EQ(untouched, CDPOINT(-1, -1));

  // A flat path has a rectangle of zero height but not zero width: every line is tried and
  // finds no crossing; y is still written, x is left alone.
  CCurveCollision flat(Poly({{0, 3}, {10, 3}, {0, 3}}));
  CDPOINT miss(-1, -1);
  EXPECT_FALSE(flat.CalcInnerPoint(miss));
  EXPECT_EQ(miss, CDPOINT(-1, 3));

  CCurveCollision empty;
  EXPECT_FALSE(empty.IsPointInCurves(CDPOINT(0, 0)));
  EXPECT_FALSE(empty.CalcInnerPoint(miss));
  CCurveCollision single(Poly({{3, 3}}));
  EXPECT_EQ(single.GetProfileListCount(), 0);
}

TEST(CurveCollision, AgreesWithDenseOracleOnRealShapes) {
  std::mt19937 rng(7);
  CPolyPolyBezier shapes;
  // Letter-O like ring, a blob with a blob-shaped hole, and an open blob (closed by a curve).
  shapes.Add(new CBPointArray(Circle(0, 0, 50)));
  shapes.Add(new CBPointArray(Circle(5, 0, 30)));
  shapes.Add(new CBPointArray(Blob(rng, 150, 0, 60, 9)));
  shapes.Add(new CBPointArray(Blob(rng, 150, 0, 25, 5)));
  CBPointArray open = Blob(rng, 300, 20, 50, 7);
  open.RemoveAt(open.GetUpperBound());
  open.RemoveAt(open.GetUpperBound());
  shapes.Add(new CBPointArray(open));
  Probe probe;
  probe.SetCurves(shapes);
  const std::vector<const CBPointArray*> paths = Paths(shapes);
  const auto polys = DensePolygons(paths);

  std::uniform_real_distribution<double> ux(-70, 370), uy(-80, 80);
  int checked = 0, inside = 0;
  for (int i = 0; i < 3000; ++i) {
    const CDPOINT q(ux(rng), uy(rng));
    double nearest;
    const bool want = DenseInside(polys, q, nearest);
    ASSERT_EQ(probe.IsPointInCurves(q), probe.IsPointInCurvesPlain(q)) << q.x << ", " << q.y;
    if (nearest < 1e-3) continue;
    ++checked;
    inside += want;
    ASSERT_EQ(probe.IsPointInCurves(q), want) << q.x << ", " << q.y;
  }
  EXPECT_GT(checked, 2900);
  EXPECT_GT(inside, 500);
  CDPOINT inner;
  ASSERT_TRUE(probe.CalcInnerPoint(inner));
  EXPECT_TRUE(probe.IsPointInCurves(inner));
}

TEST(CurveCollision, AcceleratedQueryMatchesPlainWalkOnBoundaries) {
  // Points on vertices, on break levels and on edges exercise every tie rule; the shortcuts
  // must never change a verdict.
  std::mt19937 rng(11);
  CPolyPolyBezier shapes;
  shapes.Add(new CBPointArray(Poly({{0, 0}, {10, 0}, {10, 10}, {5, 5}, {0, 10}, {0, 0}})));
  shapes.Add(new CBPointArray(Circle(20, 5, 5)));
  shapes.Add(new CBPointArray(Blob(rng, 40, 5, 6, 6)));
  Probe probe(shapes);
  std::vector<double> xs, ys;
  ForEachProfile(probe, [&](const CCurveCollision::BEZPROFILE& bp) {
    for (int k = 0; k < bp.count; ++k) {
      xs.push_back(bp.pt[k].x);
      ys.push_back(bp.pt[k].y);
    }
  });
  for (double y : ys)
    for (double x : xs)
      ASSERT_EQ(probe.IsPointInCurves(CDPOINT(x, y)), probe.IsPointInCurvesPlain(CDPOINT(x, y)));

  // Points right at and around the curve, at heights near the quarter steps of every piece
  // (where the query switches between its step bounds) and within the crossing tolerance.
  int probes = 0;
  ForEachProfile(probe, [&](const CCurveCollision::BEZPROFILE& bp) {
    for (int k = 1; k < bp.count; ++k)
      for (int j = 0; j <= 8; ++j) {
        const CDPOINT p = At(bp, bp.t[k - 1] + (bp.t[k] - bp.t[k - 1]) * j / 8);
        for (const double dy : {-2e-7, -1e-7, -0.5e-7, 0.0, 0.5e-7, 1e-7, 2e-7})
          for (const double dx : {-1e-3, -1e-6, -1e-9, 0.0, 1e-9, 1e-6, 1e-3}) {
            const CDPOINT q(p.x + dx, p.y + dy);
            ++probes;
            ASSERT_EQ(probe.IsPointInCurves(q), probe.IsPointInCurvesPlain(q))
                << q.x << ", " << q.y;
          }
      }
  });
  EXPECT_GT(probes, 5000);
}

TEST(CurveCollision, HostileCoordinatesStayBounded) {
  const double nan = std::numeric_limits<double>::quiet_NaN(),
               inf = std::numeric_limits<double>::infinity();
  CPolyPolyBezier set;
  set.Add(new CBPointArray(Poly({{0, 0}, {nan, 0}, {10, 10}, {0, 0}})));
  set.Add(new CBPointArray(Poly({{0, 0}, {inf, 5}, {10, -inf}, {0, 0}})));
  set.Add(new CBPointArray(Poly(
      {{-1e300, -1e300}, {1e300, -1e300}, {1e300, 1e300}, {-1e300, 1e300}, {-1e300, -1e300}})));
  Probe probe(set);
  for (const CDPOINT q :
       {CDPOINT(1, 1), CDPOINT(nan, 0), CDPOINT(0, nan), CDPOINT(inf, 1), CDPOINT(5, 5)})
    EXPECT_EQ(probe.IsPointInCurves(q), probe.IsPointInCurvesPlain(q));
  CDPOINT pt;
  probe.CalcInnerPoint(pt);  // must return, whatever it says
  // Regression (found by fuzzing): subnormal coordinates round absolutely, so the x bounds
  // need an absolute margin or a point on the curve is decided differently by the shortcuts.
  CBPointArray tiny;
  tiny.Add(
      CBPOINT(CDPOINT(-1.86662e-301, -2.71618e-310), CDPOINT(4.14457e-315, -128), CDPOINT(0, 0)));
  for (int i = 0; i < 9; ++i) tiny.Add(CBPOINT());
  Probe tp(tiny);
  EXPECT_EQ(tp.IsPointInCurves(CDPOINT(0, 0)), tp.IsPointInCurvesPlain(CDPOINT(0, 0)));

  // Regression (found by fuzzing): at 1e221 the discriminant of dx/dt overflows, so x bounds
  // taken from its roots missed an extremum; the bounds now come from control-point hulls.
  CBPointArray vast;
  const double a = 2.81701e+209, b = -3.38084e+221;
  vast.Add(CBPOINT(CDPOINT(a, a), CDPOINT(a, a), CDPOINT(a, a)));
  vast.Add(CBPOINT(CDPOINT(a, a), CDPOINT(a, b), CDPOINT(b, b)));
  Probe vp(vast);
  for (const CDPOINT q : {CDPOINT(109, 109), CDPOINT(109, -128)})
    EXPECT_EQ(vp.IsPointInCurves(q), vp.IsPointInCurvesPlain(q));
  // Quadratics raised to cubics, nudged off exactly zero cubic terms: badly conditioned
  // derivative roots must not matter either.
  std::mt19937 rng(17);
  std::uniform_real_distribution<double> u(-100, 100), nudge(-1e-9, 1e-9);
  for (int trial = 0; trial < 200; ++trial) {
    CBPointArray quad;
    const CDPOINT p0(u(rng), u(rng)), q(u(rng), u(rng)), p1(u(rng), u(rng));
    const CDPOINT c0 = p0 + (q - p0) * (2.0 / 3.0) + CDPOINT(nudge(rng), nudge(rng));
    const CDPOINT c1 = p1 + (q - p1) * (2.0 / 3.0);
    quad.Add(CBPOINT(p0, p0, c0));
    quad.Add(CBPOINT(c1, p1, p1));
    quad.Add(CBPOINT(p0, p0, p0));
    Probe qp(quad);
    for (int k = 0; k < 50; ++k) {
      const CDPOINT r(u(rng), u(rng));
      ASSERT_EQ(qp.IsPointInCurves(r), qp.IsPointInCurvesPlain(r));
    }
  }

  CCurveCollision huge(*set.GetAt(2));
  EXPECT_TRUE(huge.IsPointInCurves(CDPOINT(0, 0)));
}

// Regression: a quadratic raised to a cubic has a cubic term that should be 0 but is rounding
// noise; the textbook quadratic formula lost the root of dy/dt to cancellation, the piece was
// not monotone and points near the curve's bottom got the wrong verdict.
TEST(CurveCollision, RaisedQuadraticKeepsItsExtremum) {
  CBPointArray path;
  path.Add(CBPOINT(CDPOINT(1335, -115), CDPOINT(1335, -115), CDPOINT(1301, -117)));
  path.Add(CBPOINT(CDPOINT(1284, -78.333333333333329), CDPOINT(1284, 1), CDPOINT(1284, 1)));
  path.Add(Corner(1335, 1));
  path.Add(Corner(1335, -115));
  double r[2];
  const Probe probe(path);
  const auto& bp = probe.Profile(0, 0);
  EXPECT_EQ(bp.count, 3);  // split at the bottom, t = 6 / 244 in exact arithmetic
  EXPECT_NEAR(bp.t[1], 6.0 / 244, 1e-12);
  EXPECT_EQ(SolveQuadratic(bp.dy[0], bp.dy[1], bp.dy[2], r), 2);

  const auto polys = DensePolygons({&path}, 4000);
  // A coarse grid over the shape and a fine one over the band the curve dips into below its
  // start (y from -115.074 to -115).
  std::vector<CDPOINT> queries;
  for (double y = -120; y <= 4; y += 1)
    for (double x = 1280; x <= 1339; x += 1) queries.emplace_back(x, y);
  for (double y = -115.1; y <= -114.95; y += 0.005)
    for (double x = 1320; x <= 1339; x += 0.25) queries.emplace_back(x, y);
  int checked = 0, wrong = 0;
  for (const CDPOINT& q : queries) {
    double nearest;
    const bool want = DenseInside(polys, q, nearest);
    if (nearest < 1e-3) continue;
    ++checked;
    wrong += probe.IsPointInCurves(q) != want;
  }
  EXPECT_GT(checked, 9500);
  EXPECT_EQ(wrong, 0) << "of " << checked;
}

// Real glyph outlines (DejaVu Sans, quadratics raised to cubics) against the dense oracle.
TEST(CurveCollision, GlyphOutlinesAgreeWithDenseOracle) {
  CPolyPolyBezier glyphs;
  if (LoadGlyphPaths(glyphs, "aBgS&8@") == 0) GTEST_SKIP() << "no FreeType or no DejaVu font";
  // Turned by 0.3 radians: fonts put their extrema on the nodes, a turn moves the y extrema
  // inside the pieces, where the derivative's roots decide the split.
  const double ca = std::cos(0.3), sa = std::sin(0.3);
  const auto turn = [&](CDPOINT& q) { q = CDPOINT(ca * q.x - sa * q.y, sa * q.x + ca * q.y); };
  for (INT_PTR i = 0; i < glyphs.GetSize(); ++i)
    for (CBPOINT& n : glyphs[static_cast<int>(i)]) {
      turn(n.in);
      turn(n.anchor);
      turn(n.out);
    }
  const std::vector<const CBPointArray*> paths = Paths(glyphs);
  const auto polys = DensePolygons(paths, 64);
  Probe c(glyphs);
  // Every piece between break parameters is monotone in y, sampled densely.
  int pieces = 0, bent = 0;
  ForEachProfile(c, [&](const CCurveCollision::BEZPROFILE& bp) {
    for (int k = 1; k < bp.count; ++k, ++pieces) {
      const double sign = bp.pt[k].y >= bp.pt[k - 1].y ? 1 : -1;
      double prev = bp.pt[k - 1].y;
      bool ok = true;
      for (int j = 1; j <= 64; ++j) {
        const double y = At(bp, bp.t[k - 1] + (bp.t[k] - bp.t[k - 1]) * j / 64).y;
        ok = ok && sign * (y - prev) >= -1e-9;
        prev = y;
      }
      bent += !ok;
    }
  });
  EXPECT_EQ(bent, 0) << "of " << pieces << " pieces";
  CDRECT box(1e300, -1e300, 1e300, -1e300);
  for (const auto& poly : polys)
    for (const CDPOINT& q : poly)
      box = CDRECT(std::min(box.xmin, q.x), std::max(box.xmax, q.x), std::min(box.ymin, q.y),
                   std::max(box.ymax, q.y));
  // Half the points anywhere in the box, half just off the curves (where a lost extremum
  // shows), each kept only when it is clear of the dense outline.
  std::mt19937 rng(3);
  std::uniform_real_distribution<double> ux(box.xmin, box.xmax), uy(box.ymin, box.ymax);
  std::uniform_real_distribution<double> ut(0, 1), off(-6, 6);
  std::uniform_int_distribution<int> upath(0, static_cast<int>(paths.size()) - 1);
  int checked = 0, wrong = 0;
  for (int i = 0; i < 6000; ++i) {
    CDPOINT q(ux(rng), uy(rng));
    if (i % 2) {
      const CBPointArray& p = *paths[static_cast<size_t>(upath(rng))];
      const int seg = std::uniform_int_distribution<int>(0, static_cast<int>(p.GetSize()) - 2)(rng);
      const CBezier b(p[seg], p[seg + 1]);
      const double t = ut(rng);
      const CDPOINT d =
          b.GetCurvePoint(std::min(t + 1e-6, 1.0)) - b.GetCurvePoint(std::max(t - 1e-6, 0.0));
      const double len = std::hypot(d.x, d.y);
      if (!(len > 0)) continue;
      q = b.GetCurvePoint(t) + CDPOINT(-d.y, d.x) * (off(rng) / len);
    }
    double nearest;
    const bool want = DenseInside(polys, q, nearest);
    if (nearest < 0.5) continue;
    ++checked;
    wrong += c.IsPointInCurves(q) != want;
  }
  EXPECT_GT(checked, 5000);
  EXPECT_EQ(wrong, 0) << "of " << checked;
}
