#include "plexa/analysis/vectoroffset.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>
#include <vector>

#include "bench/glyph_paths.h"
#include "plexa/analysis/internal/offset_cubic.h"
#include "plexa/raster/faithtrace.h"
#include "tests/support.h"

using namespace plexa::test;

namespace {

// Signed area of the dense polygons (outlines positive, holes negative on screen).
double Area(const CPolyPolyBezier& set) {
  double a = 0;
  for (const auto& poly : DensePolygons(Paths(set), 200))
    for (std::size_t i = 0; i + 1 < poly.size(); ++i)
      a += poly[i].x * poly[i + 1].y - poly[i + 1].x * poly[i].y;
  return std::fabs(a / 2);
}

// Distance from p to the boundary of a set: each segment on its own, skipped when its control
// box is already farther than the best found.
struct SegmentOracle {
  std::vector<CBPointArray> segs;
  std::vector<CDRECT> boxes;
  explicit SegmentOracle(const CPolyPolyBezier& set) {
    for (INT_PTR i = 0; i < set.GetSize(); ++i) {
      const CBPointArray& p = *set.GetAt(static_cast<int>(i));
      for (int k = 0; k + 1 < p.GetSize(); ++k) {
        CBPointArray s;
        s.Add(p[k]);
        s.Add(p[k + 1]);
        CDRECT r(kInf, -kInf, kInf, -kInf);
        for (const CDPOINT& q : {p[k].anchor, p[k].out, p[k + 1].in, p[k + 1].anchor})
          r = CDRECT(std::min(r.xmin, q.x), std::max(r.xmax, q.x), std::min(r.ymin, q.y),
                     std::max(r.ymax, q.y));
        segs.push_back(s);
        boxes.push_back(r);
      }
    }
  }
  double operator()(const CDPOINT& p) const {
    std::vector<std::pair<double, std::size_t>> order;
    for (std::size_t i = 0; i < segs.size(); ++i) {
      const CDRECT& r = boxes[i];
      const double dx = std::max({r.xmin - p.x, 0.0, p.x - r.xmax});
      const double dy = std::max({r.ymin - p.y, 0.0, p.y - r.ymax});
      order.push_back({std::hypot(dx, dy), i});
    }
    std::sort(order.begin(), order.end());
    double best = kInf;
    for (const auto& [lower, i] : order) {
      if (lower >= best) break;
      best = std::min(best, DistanceToPath(segs[i], p, 32));
    }
    return best;
  }
};

// Largest | distance from the input's boundary - |d| | over samples of the result, and the
// shortest result edge (control polygon length).
void Measure(const CPolyPolyBezier& in, const CPolyPolyBezier& out, double d, double& err,
             double& shortest) {
  const SegmentOracle dist(in);
  err = 0;
  shortest = kInf;
  for (INT_PTR i = 0; i < out.GetSize(); ++i) {
    const CBPointArray& p = *out.GetAt(static_cast<int>(i));
    for (int k = 0; k + 1 < p.GetSize(); ++k) {
      shortest = std::min(shortest, Dist(p[k].anchor, p[k].out) + Dist(p[k].out, p[k + 1].in) +
                                        Dist(p[k + 1].in, p[k + 1].anchor));
      for (int s = 0; s < 4; ++s)
        err = std::max(err, std::fabs(dist(BezierAt(p[k], p[k + 1], s / 4.0)) - std::fabs(d)));
    }
  }
}

double SegmentDistance(const CDPOINT& a, const CDPOINT& b, const CDPOINT& q) {
  const CDPOINT d = b - a;
  const double l2 = d.x * d.x + d.y * d.y;
  const double t = l2 > 0 ? std::clamp(((q.x - a.x) * d.x + (q.y - a.y) * d.y) / l2, 0.0, 1.0) : 0;
  return Dist(a + d * t, q);
}

CPolyPolyBezier One(const CBPointArray& p) {
  CPolyPolyBezier s;
  s.Add(new CBPointArray(p));
  return s;
}

}  // namespace

// A 100 x 100 square, drawn either way round: areas of the grown square under each join, the
// shrunk square, vanishing.
TEST(VectorOffset, SquareJoinsAndShrinkAgreeWithAreas) {
  const CPolyPolyBezier sq = One(Rect(0, 0, 100, 100));
  CBPointArray back = Rect(0, 0, 100, 100);
  back.MakeReverse();
  const double pi = std::numbers::pi;
  struct Case {
    double d;
    OffsetJoin join;
    double area;
  } cases[] = {
      {10, OffsetJoin::kRound, 100 * 100 + 4 * 100 * 10 + pi * 100},
      {10, OffsetJoin::kMiter, 120 * 120},
      {10, OffsetJoin::kBevel, 120 * 120 - 4 * 50},
      {-10, OffsetJoin::kRound, 80 * 80},
      {-49, OffsetJoin::kMiter, 2 * 2},
  };
  for (const Case& c : cases)
    for (const CPolyPolyBezier& in : {sq, One(back)}) {
      CPolyPolyBezier out;
      OffsetOptions o;
      o.join = c.join;
      ASSERT_TRUE(OffsetPolyPolyBezier(in, c.d, out, o));
      ASSERT_EQ(out.GetSize(), 1) << c.d;
      EXPECT_NEAR(Area(out), c.area, 0.05) << c.d << " join " << int(c.join);
      EXPECT_FALSE(out.GetAt(0)->IsClockwise());
    }
  for (double d : {-50.5, -1e6}) {
    CPolyPolyBezier out;
    EXPECT_TRUE(OffsetPolyPolyBezier(sq, d, out));
    EXPECT_EQ(out.GetSize(), 0) << d;
  }
}

// Strokes of one open line: butt, round and square caps.
TEST(VectorOffset, StrokeCapsOfALine) {
  CBPointArray line = Poly({{0, 0}, {100, 0}});
  const double pi = std::numbers::pi;
  const std::pair<OffsetCap, double> caps[] = {
      {OffsetCap::kButt, 1000}, {OffsetCap::kRound, 1000 + pi * 25}, {OffsetCap::kSquare, 1100}};
  for (auto [cap, area] : caps) {
    CPolyPolyBezier out;
    OffsetOptions o;
    o.cap = cap;
    ASSERT_TRUE(StrokePolyPolyBezier(line, -5, out, o));
    ASSERT_EQ(out.GetSize(), 1);
    EXPECT_NEAR(Area(out), area, 0.05) << int(cap);
  }
}

// Real outlines: every result point lies at |d| from the input within the accuracy, no edge
// is shorter than half the accuracy, and outlines, holes and vanishing shapes come out right.
TEST(VectorOffset, GlyphOffsetsLieAtTheDistance) {
  CPolyPolyBezier glyphs;
  if (LoadGlyphPaths(glyphs, "aB&@") == 0) GTEST_SKIP() << "no FreeType or no DejaVu font";
  const OffsetOptions o;
  for (double d : {24.0, -12.0, 90.0}) {
    CPolyPolyBezier out;
    ASSERT_TRUE(OffsetPolyPolyBezier(glyphs, d, out, o));
    ASSERT_GT(out.GetSize(), 0);
    double err = 0, shortest = 0;
    Measure(glyphs, out, d, err, shortest);
    EXPECT_LE(err, o.accuracy) << d;
    EXPECT_GE(shortest, o.accuracy / 2) << d;
  }
  // A circle of radius 30 with a hole of radius 10: the hole closes at d = 10.
  CPolyPolyBezier ring;
  ring.Add(new CBPointArray(Circle(0, 0, 30)));
  CBPointArray hole = Circle(0, 0, 10);
  hole.MakeReverse();
  ring.Add(new CBPointArray(hole));
  CPolyPolyBezier out;
  ASSERT_TRUE(OffsetPolyPolyBezier(ring, 5, out));
  EXPECT_EQ(out.GetSize(), 2);
  ASSERT_TRUE(OffsetPolyPolyBezier(ring, 10.5, out));
  EXPECT_EQ(out.GetSize(), 1);
  ASSERT_TRUE(OffsetPolyPolyBezier(ring, -10.5, out));
  EXPECT_EQ(out.GetSize(), 0);
}

// Growing then shrinking by d gives back a shape without features narrower than 2d.
TEST(VectorOffset, GrowThenShrinkReturnsTheInput) {
  CPolyPolyBezier glyphs;
  if (LoadGlyphPaths(glyphs, "O") == 0) GTEST_SKIP() << "no FreeType or no DejaVu font";
  glyphs.Add(new CBPointArray(Circle(3000, 0, 200)));
  CPolyPolyBezier grown, back;
  ASSERT_TRUE(OffsetPolyPolyBezier(glyphs, 40, grown));
  ASSERT_TRUE(OffsetPolyPolyBezier(grown, -40, back));
  ASSERT_EQ(back.GetSize(), glyphs.GetSize());
  double err = 0, shortest = 0;
  Measure(glyphs, back, 0, err, shortest);
  EXPECT_LE(err, 2e-3);
}

// Traced lettering (short curves, sharp turns, letters that grow into each other) grown and
// shrunk, rendered back at pixel centres on a half-pixel grid: a point is covered exactly when
// it lies in the input grown by d (inside, or nearer than d to its boundary) or shrunk by |d|
// (inside, and farther than |d| from it). Points within 0.05 of that distance are not judged
// (the render flattens within 0.02). The distance comes from the input's boundary sampled
// densely, its chords bucketed on a grid.
TEST(VectorOffset, TracedArtCoverageMatchesTheDistance) {
  CPolyPolyBezier text;
  if (LoadGlyphPaths(text, "Print&cut") == 0) GTEST_SKIP() << "no FreeType or no DejaVu font";
  const int w = 440, h = 130;
  for (INT_PTR i = 0; i < text.GetSize(); ++i)
    for (CBPOINT& n : text[static_cast<int>(i)])
      for (CDPOINT* q : {&n.in, &n.anchor, &n.out})
        *q = CDPOINT(q->x * 0.045 + 12, q->y * 0.045 + 100);
  std::vector<std::uint8_t> mask;
  ASSERT_TRUE(FillPolyPolyEvenOdd(text, w, h, mask));
  for (std::uint8_t& m : mask) m = m ? 0 : 255;
  CPolyPolyBezier art;
  ASSERT_TRUE(CFaithfulTrace().Trace(mask, w, h, w, art));

  constexpr int kZoom = 2;     // samples a pixel, each way
  constexpr double kCell = 8;  // bucket size, at least the largest |d| + margin
  constexpr double kMargin = 0.05;
  const int gw = w * kZoom, gh = h * kZoom, cw = static_cast<int>(w / kCell) + 1,
            ch = static_cast<int>(h / kCell) + 1;
  std::vector<std::vector<std::pair<CDPOINT, CDPOINT>>> cells(static_cast<std::size_t>(cw * ch));
  for (const auto& poly : DensePolygons(Paths(art), 64))
    for (std::size_t i = 0; i + 1 < poly.size(); ++i) {
      const CDPOINT a = poly[i], b = poly[i + 1];
      const int x = std::clamp(static_cast<int>(a.x / kCell), 0, cw - 1);
      const int y = std::clamp(static_cast<int>(a.y / kCell), 0, ch - 1);
      cells[static_cast<std::size_t>(y * cw + x)].push_back({a, b});
    }
  const auto distance = [&](const CDPOINT& q) {  // exact below kCell - 1 (chords are short)
    double best = kInf;
    const int cx = static_cast<int>(q.x / kCell), cy = static_cast<int>(q.y / kCell);
    for (int y = std::max(cy - 1, 0); y <= std::min(cy + 1, ch - 1); ++y)
      for (int x = std::max(cx - 1, 0); x <= std::min(cx + 1, cw - 1); ++x)
        for (const auto& [a, b] : cells[static_cast<std::size_t>(y * cw + x)])
          best = std::min(best, SegmentDistance(a, b, q));
    return best;
  };
  const auto zoomed = [&](const CPolyPolyBezier& set) {
    CPolyPolyBezier z(set);
    for (INT_PTR i = 0; i < z.GetSize(); ++i)
      for (CBPOINT& n : z[static_cast<int>(i)])
        for (CDPOINT* q : {&n.in, &n.anchor, &n.out}) *q = *q * kZoom;
    std::vector<std::uint8_t> m;
    EXPECT_TRUE(FillPolyPolyEvenOdd(z, gw, gh, m));
    return m;
  };
  const std::vector<std::uint8_t> inside = zoomed(art);
  for (double d : {6.0, 2.5, -2.0}) {
    CPolyPolyBezier out;
    ASSERT_TRUE(OffsetPolyPolyBezier(art, d, out));
    const std::vector<std::uint8_t> covered = zoomed(out);
    int judged = 0, wrong = 0;
    for (int y = 0; y < gh; ++y)
      for (int x = 0; x < gw; ++x) {
        const std::size_t k = static_cast<std::size_t>(y) * gw + x;
        const double dist = distance(CDPOINT((x + 0.5) / kZoom, (y + 0.5) / kZoom));
        if (std::fabs(dist - std::fabs(d)) < kMargin) continue;
        const bool want = d > 0 ? inside[k] || dist < d : inside[k] && dist > -d;
        ++judged;
        wrong += want != (covered[k] != 0);
      }
    EXPECT_GT(judged, gw * gh * 9 / 10) << d;
    EXPECT_EQ(wrong, 0) << d;
  }
}

// Bad input gives quiet, stated results.
// Runs of disks (a curl tighter than their radius, a ring whose union has a hole, a line with
// repeated centres, one disk): the chained arcs wind -1 exactly inside some disk and 0
// elsewhere, at grid points clear of every circle.
TEST(VectorOffset, DiskUnionWindsLikeTheDisks) {
  constexpr double r = 1.0, pi = std::numbers::pi;
  std::vector<std::vector<CDPOINT>> runs(4);
  for (int k = 0; k <= 20; ++k)
    runs[0].push_back(CDPOINT(0.6 * std::cos(k * 0.26), 0.6 * std::sin(k * 0.26)));
  for (int k = 0; k < 40; ++k)
    runs[1].push_back(CDPOINT(2.2 * std::cos(k * pi / 20), 2.2 * std::sin(k * pi / 20)));
  for (double x : {0.0, 0.0, 0.7, 1.9, 1.9, 3.0}) runs[2].push_back(CDPOINT(x, 0.3 * x));
  runs[3] = {CDPOINT(1, 1)};
  for (const auto& run : runs) {
    std::vector<std::vector<plexa::offset::Arc>> loops;
    ASSERT_TRUE(plexa::offset::DiskUnion(run, r, loops));
    std::vector<std::vector<CDPOINT>> polys;
    for (const auto& loop : loops) {
      polys.emplace_back();
      for (const auto& a : loop)
        for (int k = 0; k < 200; ++k) {
          const double t = std::atan2(a.from.y - a.c.y, a.from.x - a.c.x) + a.sweep * k / 200;
          polys.back().push_back(a.c + CDPOINT(std::cos(t), std::sin(t)) * r);
        }
      polys.back().push_back(polys.back().front());
    }
    for (double x = -4; x <= 4.5; x += 0.13)
      for (double y = -4; y <= 4.5; y += 0.13) {
        const CDPOINT q(x, y);
        double clear = kInf;
        bool in = false;
        for (const CDPOINT& c : run) {
          clear = std::min(clear, std::fabs(Dist(c, q) - r));
          in = in || Dist(c, q) < r;
        }
        if (clear < 1e-2) continue;
        int w = 0;
        for (const auto& poly : polys)
          for (std::size_t i = 0; i + 1 < poly.size(); ++i) {
            const CDPOINT u = poly[i], v = poly[i + 1];
            const double side = (v.x - u.x) * (q.y - u.y) - (q.x - u.x) * (v.y - u.y);
            if (u.y <= q.y && v.y > q.y && side > 0) ++w;
            if (u.y > q.y && v.y <= q.y && side < 0) --w;
          }
        EXPECT_EQ(w, in ? -1 : 0) << x << "," << y;
      }
  }
}

TEST(VectorOffset, BadInputIsQuiet) {
  const CPolyPolyBezier sq = One(Rect(0, 0, 10, 10));
  CPolyPolyBezier out;
  for (double d : {kNaN, kInf, -kInf}) {
    EXPECT_FALSE(OffsetPolyPolyBezier(sq, d, out));
    EXPECT_EQ(out.GetSize(), 0);
    EXPECT_FALSE(StrokePolyPolyBezier(sq, d, out));
  }
  OffsetOptions bad;
  bad.accuracy = 0;
  EXPECT_FALSE(OffsetPolyPolyBezier(sq, 1, out, bad));
  EXPECT_TRUE(OffsetPolyPolyBezier(CPolyPolyBezier(), 5, out));
  EXPECT_EQ(out.GetSize(), 0);
  CPolyPolyBezier nan = One(Poly({{0, 0}, {kNaN, 1}, {5, 5}, {0, 0}}));
  EXPECT_TRUE(OffsetPolyPolyBezier(nan, 5, out));
  EXPECT_EQ(out.GetSize(), 0);
  // Zero: the cleaned region; huge: one round blob.
  EXPECT_TRUE(OffsetPolyPolyBezier(sq, 0, out));
  EXPECT_EQ(out.GetSize(), 1);
  EXPECT_TRUE(OffsetPolyPolyBezier(sq, 1e9, out));
  EXPECT_EQ(out.GetSize(), 1);
  // A point stroked with round caps is a disk.
  EXPECT_TRUE(StrokePolyPolyBezier(Poly({{1, 1}}), 2, out, {.cap = OffsetCap::kRound}));
  EXPECT_EQ(out.GetSize(), 1);
}

// A closed path of 64 curved nodes criss-crossing a unit square, grown and stroked by 100 times
// its size: every piece overlaps nearly every other. The offset either lies at the distance or
// is refused quietly, and it comes back promptly rather than spending minutes in the union.
TEST(VectorOffset, CrowdedPathFarOffsetIsBounded) {
  CBPointArray zigzag;
  for (int i = 0; i <= 64; ++i) {
    const int k = i % 64;
    const CDPOINT a{(k * 37 % 64) / 64.0, (k * 23 % 64) / 64.0};
    const CDPOINT h{0.4 * std::cos(k * 1.7), 0.4 * std::sin(k * 1.7)};
    zigzag.Add(CBPOINT(a - h, a, a + h));
  }
  const CPolyPolyBezier set = One(zigzag);
  for (const bool stroke : {false, true}) {
    const double d = 100;
    CPolyPolyBezier out;
    const bool ok = stroke ? StrokePolyPolyBezier(set, d, out) : OffsetPolyPolyBezier(set, d, out);
    if (!ok) {
      EXPECT_EQ(out.GetSize(), 0) << stroke;
      continue;
    }
    ASSERT_GT(out.GetSize(), 0) << stroke;
    double err = 0, shortest = 0;
    Measure(set, out, d, err, shortest);
    EXPECT_LE(err, OffsetOptions{}.accuracy) << stroke;
  }
}
