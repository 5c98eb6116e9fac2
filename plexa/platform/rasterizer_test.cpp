// The scan converter against coverage computed independently, pixel by pixel: a per-pixel
// even-odd ray cast for fills, a per-pixel distance to the nearest segment (exact rationals)
// for wide pens, and the classic incremental Bresenham loop for thin lines.
#include "plexa/platform/internal/rasterizer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "tests/support.h"

using PLEXA::CDPOINT;
using plexa::rasterizer::Coverage;
using plexa::rasterizer::Figure;
using plexa::rasterizer::PointD;
using plexa::test::BezierAt;
using plexa::test::DistanceToPolyline;

namespace {

struct IPt {
  std::int64_t x, y;
};

Figure ToFigure(const std::vector<IPt>& pts, bool closed) {
  Figure f;
  for (const IPt& p : pts) f.points.push_back({double(p.x), double(p.y)});
  f.closed = closed;
  return f;
}

// Even-odd: count the edges that a ray from the centre towards -x crosses at or left of the
// centre. Doubled coordinates make every centre odd and every vertex even, so a centre never
// lies at the height of a vertex.
bool InsideEvenOdd(const std::vector<std::vector<IPt>>& polys, int i, int j) {
  const std::int64_t px = 2 * i + 1, py = 2 * j + 1;
  int count = 0;
  for (const auto& poly : polys) {
    const std::size_t n = poly.size();
    for (std::size_t k = 0; k < n; ++k) {
      const IPt a{2 * poly[k].x, 2 * poly[k].y},
          b{2 * poly[(k + 1) % n].x, 2 * poly[(k + 1) % n].y};
      if ((a.y < py) == (b.y < py)) continue;
      // Crossing x - px has the sign of num / (b.y - a.y).
      const std::int64_t num = (a.x - px) * (b.y - a.y) + (py - a.y) * (b.x - a.x);
      if ((b.y > a.y ? num : -num) <= 0) ++count;
    }
  }
  return count % 2 == 1;
}

void ClassicBresenham(std::int64_t x0, std::int64_t y0, std::int64_t x1, std::int64_t y1,
                      std::vector<IPt>& out) {
  const std::int64_t dx = std::abs(x1 - x0), dy = std::abs(y1 - y0);
  const std::int64_t sx = x1 < x0 ? -1 : 1, sy = y1 < y0 ? -1 : 1;
  std::int64_t x = x0, y = y0, err = 0;
  if (dx >= dy) {
    for (std::int64_t k = 0; k < dx; ++k, x += sx) {
      out.push_back({x, y});
      err += 2 * dy;
      if (err >= dx) y += sy, err -= 2 * dx;
    }
  } else {
    for (std::int64_t k = 0; k < dy; ++k, y += sy) {
      out.push_back({x, y});
      err += 2 * dx;
      if (err >= dy) x += sx, err -= 2 * dy;
    }
  }
}

std::vector<IPt> RandomPath(std::mt19937& rng, int n, int lo, int hi) {
  std::uniform_int_distribution<int> c(lo, hi);
  std::vector<IPt> p;
  for (int i = 0; i < n; ++i) p.push_back({c(rng), c(rng)});
  return p;
}

Coverage Filled(const std::vector<std::vector<IPt>>& polys, int w, int h) {
  std::vector<Figure> figs;
  for (const auto& p : polys) figs.push_back(ToFigure(p, true));
  Coverage c(w, h);
  plexa::rasterizer::FillEvenOdd(figs, c);
  c.Finish();
  return c;
}

// A round-pen stroke of the given width, or with pen 0 the thin one-pixel stroke.
Coverage Stroked(const std::vector<IPt>& path, bool closed, double pen, int w, int h) {
  const Figure f = ToFigure(path, closed);
  Coverage c(w, h);
  if (pen > 0)
    plexa::rasterizer::StrokeRound({&f, 1}, pen, c);
  else
    plexa::rasterizer::StrokeThin({&f, 1}, c);
  c.Finish();
  return c;
}

int CountCovered(const Coverage& c) {
  int n = 0;
  for (const auto& s : c.Spans()) n += s.x1 - s.x0 + 1;
  return n;
}

// The distance rule for points given in eighths of a pixel and a pen of `pen8` eighths, in
// exact 128-bit integers: in units of a sixteenth the centre (i + .5, j + .5) is
// ((2i + 1) * 8, (2j + 1) * 8), a point p is 2 * p8 and the radius is pen8.
__extension__ typedef __int128 i128;
bool WithinPenEighths(const std::vector<IPt>& p8, bool closed, std::int64_t pen8, int i, int j) {
  const std::int64_t px = (2 * i + 1) * 8, py = (2 * j + 1) * 8;
  const std::size_t n = p8.size();
  const std::size_t segs = n == 1 ? 1 : n - 1 + (closed && n > 2 ? 1 : 0);
  for (std::size_t k = 0; k < segs; ++k) {
    const IPt a{2 * p8[k].x, 2 * p8[k].y};
    const IPt b = n == 1 ? a : IPt{2 * p8[(k + 1) % n].x, 2 * p8[(k + 1) % n].y};
    const i128 dx = b.x - a.x, dy = b.y - a.y, l2 = dx * dx + dy * dy;
    const i128 ux = px - a.x, uy = py - a.y;
    if (l2 == 0) {
      if (ux * ux + uy * uy <= i128(pen8) * pen8) return true;
      continue;
    }
    const i128 t = std::clamp<i128>(ux * dx + uy * dy, 0, l2);
    const i128 ex = ux * l2 - t * dx, ey = uy * l2 - t * dy;
    if (ex * ex + ey * ey <= i128(pen8) * pen8 * l2 * l2) return true;
  }
  return false;
}

// Every pixel of the w x h grid against the distance rule, for integer points and pen.
void ExpectMatchesPen(const Coverage& c, std::vector<IPt> path, bool closed, std::int64_t pen,
                      int w, int h) {
  for (IPt& p : path) p = {8 * p.x, 8 * p.y};
  for (int j = 0; j < h; ++j)
    for (int i = 0; i < w; ++i)
      ASSERT_EQ(c.Covered(i, j), WithinPenEighths(path, closed, 8 * pen, i, j))
          << "pen " << pen << " pixel " << i << "," << j;
}

}  // namespace

TEST(Raster, FillMatchesPerPixelRayCastOnRandomPolygons) {
  std::mt19937 rng(12345);
  const int w = 40, h = 36;
  for (int trial = 0; trial < 60; ++trial) {
    std::vector<std::vector<IPt>> polys;
    const int figures = 1 + trial % 3;
    for (int f = 0; f < figures; ++f) polys.push_back(RandomPath(rng, 3 + (trial + f) % 7, -6, 45));
    const Coverage c = Filled(polys, w, h);
    for (int j = 0; j < h; ++j) {
      for (int i = 0; i < w; ++i) {
        ASSERT_EQ(c.Covered(i, j), InsideEvenOdd(polys, i, j))
            << "trial " << trial << " pixel " << i << "," << j;
      }
    }
  }
}

TEST(Raster, WidePenMatchesDistanceToPathOnRandomPaths) {
  std::mt19937 rng(777);
  const int w = 48, h = 48;
  const int widths[] = {2, 3, 4, 5, 6, 9, 12, 17};
  for (int trial = 0; trial < 80; ++trial) {
    const std::int64_t pen = widths[trial % 8];
    const bool closed = trial % 3 == 0;
    const std::vector<IPt> path = RandomPath(rng, 1 + trial % 6, -8, 50);
    SCOPED_TRACE(trial);
    ExpectMatchesPen(Stroked(path, closed, double(pen), w, h), path, closed, pen, w, h);
    if (HasFatalFailure()) return;
  }
  // Many vertices with small turns (a rounded circle and a spiral): the joins are thin
  // sectors, whose every side must still match the distance rule.
  std::vector<IPt> circle, spiral;
  for (int k = 0; k < 90; ++k) {
    const double a = 2 * M_PI * k / 90, r = 4 + k / 6.0;
    circle.push_back({std::llround(23 + 15 * std::cos(a)), std::llround(22 + 15 * std::sin(a))});
    spiral.push_back(
        {std::llround(24 + r * std::cos(a * 2)), std::llround(24 + r * std::sin(a * 2))});
  }
  for (std::int64_t pen : {2, 5, 8, 13}) {
    for (int shape = 0; shape < 3; ++shape) {
      const std::vector<IPt>& path = shape == 2 ? spiral : circle;
      SCOPED_TRACE(shape);
      ExpectMatchesPen(Stroked(path, shape == 0, double(pen), w, h), path, shape == 0, pen, w, h);
      if (HasFatalFailure()) return;
    }
  }
}

TEST(Raster, WidePenOverManyShortFractionalSegmentsMatchesDistance) {
  // Pens many times wider than the segments (as flattened curves give), coordinates in eighths
  // of a pixel: most rows of most capsules lie inside what their neighbours already cover and
  // are passed over, and every pixel must still follow the distance rule exactly.
  std::mt19937 rng(4242);
  const int w = 56, h = 52;
  std::uniform_int_distribution<int> step(-12, 12), start(8 * 8, 48 * 8);
  const std::int64_t pens8[] = {8 * 8, 12 * 8 + 3, 20 * 8, 31 * 8 + 4, 45 * 8};
  for (int trial = 0; trial < 25; ++trial) {
    const std::int64_t pen8 = pens8[trial % 5];
    const bool closed = trial % 2 == 0;
    // A wandering path of 30 to 90 steps of at most 1.5 pixels, now and then doubling back.
    std::vector<IPt> p8{{start(rng), start(rng)}};
    const int n = 30 + trial * 5 / 2;
    int vx = step(rng), vy = step(rng);
    for (int k = 1; k < n; ++k) {
      if (k % 17 == 0) vx = -vx, vy = -vy;
      vx = std::clamp(vx + step(rng) / 4, -12, 12);
      vy = std::clamp(vy + step(rng) / 4, -12, 12);
      p8.push_back({p8.back().x + vx, p8.back().y + vy});
    }
    Figure f;
    for (const IPt& p : p8) f.points.push_back({p.x / 8.0, p.y / 8.0});
    f.closed = closed;
    Coverage c(w, h);
    plexa::rasterizer::StrokeRound({&f, 1}, pen8 / 8.0, c);
    c.Finish();
    SCOPED_TRACE(trial);
    for (int j = 0; j < h; ++j)
      for (int i = 0; i < w; ++i)
        ASSERT_EQ(c.Covered(i, j), WithinPenEighths(p8, closed, pen8, i, j)) << i << "," << j;
  }
  // Two figures in one call, the second inside the first's stroke: nothing lost or added.
  std::vector<IPt> ring, dot{{28 * 8, 26 * 8}};
  for (int k = 0; k < 120; ++k) {
    const double a = 2 * M_PI * k / 120;
    ring.push_back(
        {std::llround(8 * (28 + 14 * std::cos(a))), std::llround(8 * (26 + 14 * std::sin(a)))});
  }
  std::vector<Figure> figs(2);
  for (const IPt& p : ring) figs[0].points.push_back({p.x / 8.0, p.y / 8.0});
  figs[0].closed = true;
  figs[1].points.push_back({28, 26});
  Coverage c(w, h);
  plexa::rasterizer::StrokeRound(figs, 22.0, c);
  c.Finish();
  for (int j = 0; j < h; ++j)
    for (int i = 0; i < w; ++i)
      ASSERT_EQ(c.Covered(i, j), WithinPenEighths(ring, true, 22 * 8, i, j) ||
                                     WithinPenEighths(dot, false, 22 * 8, i, j))
          << i << "," << j;
}

TEST(Raster, WidePenCountsTiesAndClipsHugeGeometry) {
  // Fractional input with a tie: column 13's centres lie exactly 3.25 from x = 10.25, and
  // count.
  Figure f{{{10.25, 5.5}, {10.25, 25.5}}, false};
  Coverage frac(40, 30);
  plexa::rasterizer::StrokeRound({&f, 1}, 6.5, frac);
  frac.Finish();
  EXPECT_TRUE(frac.Covered(13, 15) && frac.Covered(7, 15) && !frac.Covered(14, 15));
  // Pen far wider than the grid, path far outside it: every pixel within reach is covered and
  // the work stays bounded by the grid.
  EXPECT_EQ(CountCovered(Stroked({{-100000000, 8}, {100000000, 8}}, false, 6.0, 16, 16)), 16 * 6);
  EXPECT_EQ(CountCovered(Stroked({{-5000, -5000}}, false, 20000.0, 16, 16)), 256);
  EXPECT_TRUE(Stroked({{1000, 1000}, {2000, 1000}}, false, 50.0, 16, 16).Empty());
}

TEST(Raster, ThinLinesMatchClassicBresenhamInEveryOctant) {
  std::mt19937 rng(99);
  std::uniform_int_distribution<int> c(-4, 36);
  for (int trial = 0; trial < 200; ++trial) {
    const std::int64_t x0 = c(rng), y0 = c(rng), x1 = c(rng), y1 = c(rng);
    std::vector<IPt> want;
    ClassicBresenham(x0, y0, x1, y1, want);
    Coverage got(32, 32);
    plexa::rasterizer::ThinLine(x0, y0, x1, y1, false, got);
    got.Finish();
    std::vector<bool> expect(32 * 32, false);
    for (const IPt& p : want)
      if (p.x >= 0 && p.x < 32 && p.y >= 0 && p.y < 32) expect[p.y * 32 + p.x] = true;
    for (int j = 0; j < 32; ++j)
      for (int i = 0; i < 32; ++i)
        ASSERT_EQ(got.Covered(i, j), expect[j * 32 + i])
            << x0 << "," << y0 << " -> " << x1 << "," << y1;
  }
  // With its last pixel, and a line of no length draws only when the last pixel is asked for.
  Coverage last(8, 8);
  plexa::rasterizer::ThinLine(0, 0, 3, 0, true, last);
  plexa::rasterizer::ThinLine(5, 5, 5, 5, false, last);
  last.Finish();
  EXPECT_EQ(CountCovered(last), 4);
}

TEST(Raster, ThinStrokeLeavesOutOnlyTheLastPixelOfAnOpenFigure) {
  const Coverage open = Stroked({{1, 1}, {10, 1}, {10, 8}}, false, 0, 20, 20);
  EXPECT_EQ(CountCovered(open), 9 + 7);
  EXPECT_TRUE(open.Covered(10, 1));
  EXPECT_FALSE(open.Covered(10, 8));
  // The whole frame of columns 1..10, rows 1..8.
  EXPECT_EQ(CountCovered(Stroked({{1, 1}, {10, 1}, {10, 8}, {1, 8}}, true, 0, 20, 20)),
            2 * 10 + 2 * 6);
}

TEST(Raster, BezierFlatteningStaysWithinToleranceAndBounded) {
  const PointD p0{0, 0}, p1{30, 120}, p2{170, -60}, p3{200, 50};
  for (double tol : {0.1, 0.5, 2.0}) {
    std::vector<PointD> pts{p0};
    plexa::rasterizer::FlattenBezier(p0, p1, p2, p3, tol, 1 << 14, pts);
    EXPECT_TRUE(pts.back().x == 200.0 && pts.back().y == 50.0);  // ends exactly on P3
    std::vector<CDPOINT> poly;
    for (const PointD& p : pts) poly.push_back(CDPOINT(p.x, p.y));
    const CDPOINT ctl[4] = {{p0.x, p0.y}, {p1.x, p1.y}, {p2.x, p2.y}, {p3.x, p3.y}};
    double worst = 0;
    for (int k = 0; k <= 4000; ++k)
      worst = std::max(worst, DistanceToPolyline(poly, BezierAt(ctl, k / 4000.0)));
    EXPECT_LE(worst, tol) << "tolerance " << tol;
  }
  std::vector<PointD> huge{{0, 0}};
  plexa::rasterizer::FlattenBezier({0, 0}, {1e8, 1e8}, {-1e8, 1e8}, {0, 0}, 0.1, 64, huge);
  EXPECT_EQ(huge.size(), 65u);
  std::vector<PointD> nan{{0, 0}};
  plexa::rasterizer::FlattenBezier({0, 0}, {NAN, 0}, {0, 0}, {1, 1}, 0.1, 64, nan);
  EXPECT_EQ(nan.size(), 65u);
}

TEST(Raster, CoverageMergesTouchingRunsAndClips) {
  Coverage c(10, 3);
  c.Add(1, 5, 7);
  c.Add(1, -4, 2);
  c.Add(1, 3, 4);  // touches both neighbours
  c.Add(1, 9, 40);
  c.Add(5, 0, 3);  // row outside
  c.Add(0, 6, 2);  // empty
  c.Finish();
  std::vector<std::pair<int, int>> runs;
  for (const auto& r : c.Spans()) runs.emplace_back(r.x0, r.x1);
  EXPECT_EQ(runs, (std::vector<std::pair<int, int>>{{0, 7}, {9, 9}}));
  Coverage empty(-5, -5);
  empty.Add(0, 0, 0);
  empty.Finish();
  EXPECT_TRUE(empty.Empty());
}
