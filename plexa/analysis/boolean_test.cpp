#include "plexa/analysis/boolean.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "tests/support.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

using Poly = std::vector<CDPOINT>;

const BooleanOp kOps[4] = {BooleanOp::kUnion, BooleanOp::kIntersection, BooleanOp::kDifference,
                           BooleanOp::kXor};

CBPointArray* Polygon(const Poly& pts, bool close = true) {
  auto* p = new CBPointArray;
  for (const CDPOINT& q : pts) p->Add(CBPOINT(q, q, q));
  if (close) p->Add(CBPOINT(pts[0], pts[0], pts[0]));
  return p;
}
CBPointArray* Circle(double cx, double cy, double r) {
  auto* p = new CBPointArray;
  CBPointArray::GetCircleBPoints(PLEXA::CDRECT(cx - r, cx + r, cy - r, cy + r), *p);
  return p;
}

// Every path sampled into a closed polygon (per points a segment; 1 for polygons): the oracle's
// view.
std::vector<Poly> Sampled(const CPolyPolyBezier& set, int per) {
  std::vector<Poly> out;
  for (INT_PTR i = 0; i < set.GetSize(); ++i) {
    const CBPointArray* p = set.GetAt(static_cast<int>(i));
    if (!p || p->GetSize() < 2) continue;
    Poly poly;
    for (INT_PTR k = 0; k + 1 < p->GetSize(); ++k) {
      const CBezier b(p->GetData()[k], p->GetData()[k + 1]);
      for (int s = 0; s < per; ++s) poly.push_back(b.GetCurvePoint(s / static_cast<double>(per)));
    }
    poly.push_back(poly[0]);
    out.push_back(poly);
  }
  return out;
}

int Winding(const std::vector<Poly>& polys, const CDPOINT& p) {
  int w = 0;
  for (const Poly& poly : polys)
    for (std::size_t i = 0; i < poly.size(); ++i) {
      const CDPOINT& a = poly[i];
      const CDPOINT& b = poly[(i + 1) % poly.size()];
      const double c = (b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x);
      if (a.y <= p.y && b.y > p.y && c > 0) ++w;
      if (a.y > p.y && b.y <= p.y && c < 0) --w;
    }
  return w;
}

double BoundaryDist(const std::vector<Poly>& polys, const CDPOINT& p) {
  double d = plexa::test::kInf;
  for (const Poly& poly : polys) d = std::min(d, plexa::test::DistanceToPolyline(poly, p));
  return d;
}

bool In(int w, FillRule r) {
  return r == FillRule::kEvenOdd ? (w & 1) != 0 : w != 0;
}
bool Expected(BooleanOp op, bool a, bool b) {
  switch (op) {
    case BooleanOp::kUnion:
      return a || b;
    case BooleanOp::kIntersection:
      return a && b;
    case BooleanOp::kDifference:
      return a && !b;
    case BooleanOp::kXor:
      return a != b;
  }
  return false;
}

// Compares the result with the operation applied point by point to the inputs, on a grid of
// sample points farther than `margin` from every input boundary. The result must also be
// oriented so that its non-zero winding is 0 or 1 (outlines counter-clockwise on screen are
// negative in the shoelace sense, hence the sign flip). Returns the number of mismatches.
int CompareWithOracle(const CPolyPolyBezier& a, const CPolyPolyBezier& b, BooleanOp op,
                      FillRule rule, const CPolyPolyBezier& out, double x0, double x1, int n,
                      double margin, int per = 50) {
  const auto pa = Sampled(a, per), pb = Sampled(b, per), po = Sampled(out, per);
  int bad = 0;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      const CDPOINT p(x0 + (x1 - x0) * (i + 0.5) / n + 0.0123,
                      x0 + (x1 - x0) * (j + 0.5) / n + 0.0071);
      if (BoundaryDist(pa, p) < margin || BoundaryDist(pb, p) < margin) continue;
      const bool want = Expected(op, In(Winding(pa, p), rule), In(Winding(pb, p), rule));
      const int w = -Winding(po, p);
      if (w != (want ? 1 : 0)) ++bad;
    }
  return bad;
}

}  // namespace

TEST(Boolean, RandomPolygonsMatchThePointOracle) {
  std::mt19937 rng(20261124);
  std::uniform_int_distribution<int> coord(0, 8), count(3, 6), pick(0, 3);
  int failures = 0;
  for (int c = 0; c < 10000 && failures < 5; ++c) {
    CPolyPolyBezier a, b, out;
    for (CPolyPolyBezier* s : {&a, &b})
      for (int k = 0, np = 1 + (pick(rng) == 0); k < np; ++k) {
        Poly poly(static_cast<std::size_t>(count(rng)));
        for (CDPOINT& p : poly) p = CDPOINT(coord(rng), coord(rng));
        s->Add(Polygon(poly));
      }
    const BooleanOp op = kOps[pick(rng)];
    const FillRule rule = pick(rng) & 1 ? FillRule::kEvenOdd : FillRule::kNonZero;
    BooleanOptions opt;
    opt.fillRule = rule;
    ASSERT_TRUE(BooleanPolyPolyBezier(a, b, op, out, opt));
    // Polygons are exact (no flattening), so the margin only covers the grid step.
    const int bad = CompareWithOracle(a, b, op, rule, out, 0, 8, 8, 1e-4, 1);
    if (bad) ++failures;
    EXPECT_EQ(bad, 0) << "case " << c << " op " << static_cast<int>(op) << " rule "
                      << static_cast<int>(rule);
  }
}

TEST(Boolean, SameShapeTwiceAndCurvesStayCurves) {
  CPolyPolyBezier a;
  a.Add(Circle(0, 0, 10));
  a.Add(Circle(8, 3, 6));
  a.Add(Polygon({{-5, -14}, {12, -12}, {3, 0}}));
  for (FillRule rule : {FillRule::kNonZero, FillRule::kEvenOdd})
    for (BooleanOp op : kOps) {
      CPolyPolyBezier out;
      BooleanOptions opt;
      opt.fillRule = rule;
      ASSERT_TRUE(BooleanPolyPolyBezier(a, a, op, out, opt));
      if (op == BooleanOp::kDifference || op == BooleanOp::kXor) {
        EXPECT_EQ(out.GetSize(), 0) << static_cast<int>(op);
        continue;
      }
      // A u A = A n A = the region of A under the rule.
      CPolyPolyBezier none;
      EXPECT_EQ(CompareWithOracle(a, none, BooleanOp::kUnion, rule, out, -20, 20, 40, 0.05), 0);
      INT_PTR nodes = 0;
      for (INT_PTR i = 0; i < out.GetSize(); ++i) nodes += out[static_cast<int>(i)].GetSize();
      // Pieces of the input's own segments, split at the crossings: a few dozen nodes, not a
      // dense polyline.
      EXPECT_LT(nodes, 60);
    }
  // Two overlapping curved sets: every operation against the point oracle, away from the
  // boundaries by more than the tolerance and the grid step. Circles far from the rest and
  // one passing 0.02 from another are flattened coarsely and finely in one call.
  CPolyPolyBezier b;
  b.Add(Circle(6, -4, 9));
  b.Add(Circle(-9, 6, 4));
  b.Add(Circle(15, 15, 3));
  b.Add(Circle(-13.02, 0, 3));
  for (FillRule rule : {FillRule::kNonZero, FillRule::kEvenOdd})
    for (BooleanOp op : kOps) {
      CPolyPolyBezier out;
      BooleanOptions opt;
      opt.fillRule = rule;
      ASSERT_TRUE(BooleanPolyPolyBezier(a, b, op, out, opt));
      EXPECT_EQ(CompareWithOracle(a, b, op, rule, out, -20, 20, 40, 0.05), 0)
          << static_cast<int>(op) << " " << static_cast<int>(rule);
    }
  // A lone circle comes back as its own four quarter arcs.
  CPolyPolyBezier c, out;
  c.Add(Circle(1, 2, 5));
  ASSERT_TRUE(WeldPolyPolyBezier(c, out));
  ASSERT_EQ(out.GetSize(), 1);
  EXPECT_EQ(out[0].GetSize(), 5);
  EXPECT_FALSE(out[0].IsClockwise());
  EXPECT_TRUE(out[0].IsPolyBezierClosed());
  for (int k = 0; k < 4; ++k) {
    const CDPOINT m = CBezier(out[0][k], out[0][k + 1]).GetCurvePoint(0.5);
    EXPECT_NEAR(std::hypot(m.x - 1, m.y - 2), 5, 0.01);
  }
}

TEST(Boolean, TouchingSharedEdgesAndSelfIntersections) {
  using enum BooleanOp;
  using enum FillRule;
  const Poly sq = {{0, 0}, {4, 0}, {4, 4}, {0, 4}};
  const Poly star = {{5, 0}, {8, 9}, {0, 3}, {10, 3}, {2, 9}};
  struct Case {
    const char* name;
    Poly a, b;
    BooleanOp op;
    FillRule rule;
    int paths;
  } cases[] = {
      {"edge-touch union", sq, {{4, 0}, {8, 0}, {8, 4}, {4, 4}}, kUnion, kNonZero, 1},
      {"edge-touch intersection", sq, {{4, 1}, {8, 1}, {8, 3}, {4, 3}}, kIntersection, kNonZero, 0},
      {"partial edge union", sq, {{4, 1}, {8, 1}, {8, 3}, {4, 3}}, kUnion, kNonZero, 1},
      {"vertex-touch union", sq, {{4, 4}, {8, 4}, {8, 8}, {4, 8}}, kUnion, kNonZero, 2},
      {"vertex on edge", sq, {{4, 2}, {8, 0}, {8, 4}}, kUnion, kNonZero, 2},
      {"vertex on edge xor", sq, {{4, 2}, {1, 0}, {1, 4}}, kXor, kNonZero, 3},
      {"pentagram non-zero", star, {}, kUnion, kNonZero, 1},
      {"pentagram even-odd", star, {}, kUnion, kEvenOdd, 5},
      {"bow tie", {{0, 0}, {6, 6}, {6, 0}, {0, 6}}, {}, kUnion, kNonZero, 2},
  };
  for (const Case& c : cases) {
    CPolyPolyBezier a, b, out;
    a.Add(Polygon(c.a));
    if (!c.b.empty()) b.Add(Polygon(c.b));
    BooleanOptions opt;
    opt.fillRule = c.rule;
    ASSERT_TRUE(BooleanPolyPolyBezier(a, b, c.op, out, opt)) << c.name;
    EXPECT_EQ(out.GetSize(), c.paths) << c.name;
    EXPECT_EQ(CompareWithOracle(a, b, c.op, c.rule, out, -1, 11, 48, 1e-4, 1), 0) << c.name;
    for (INT_PTR i = 0; i < out.GetSize(); ++i) {
      EXPECT_TRUE(out[static_cast<int>(i)].IsPolyBezierClosed()) << c.name;
      EXPECT_FALSE(out[static_cast<int>(i)].IsClockwise()) << c.name;  // no holes here
    }
  }
}

TEST(Boolean, TreeTinyLoopsAndBadInput) {
  // Nested squares under even-odd: outline, hole, island.
  CPolyPolyBezier nest, out;
  nest.Add(Polygon({{0, 0}, {9, 0}, {9, 9}, {0, 9}}));
  nest.Add(Polygon({{2, 2}, {7, 2}, {7, 7}, {2, 7}}));
  nest.Add(Polygon({{4, 4}, {5, 4}, {5, 5}, {4, 5}}));
  BooleanOptions eo;
  eo.fillRule = FillRule::kEvenOdd;
  BooleanTree tree;
  ASSERT_TRUE(WeldPolyPolyBezier(nest, out, eo, &tree));
  ASSERT_EQ(out.GetSize(), 3);
  for (int i = 0; i < 3; ++i) {
    const int d = tree.depth[static_cast<std::size_t>(i)],
              p = tree.parent[static_cast<std::size_t>(i)];
    EXPECT_EQ(out[i].IsClockwise(), d == 1);
    EXPECT_EQ(p < 0 ? -1 : tree.depth[static_cast<std::size_t>(p)], d - 1);
  }

  // Loops below 1e-9 vanish; they do not disturb the rest.
  CPolyPolyBezier tiny;
  tiny.Add(Polygon({{0, 0}, {10, 0}, {10, 10}, {0, 10}}));
  tiny.Add(Polygon({{20, 20}, {20 + 1e-10, 20}, {20, 20 + 1e-10}}));
  tiny.Add(Polygon({{5, 5}, {5 + 1e-10, 5}, {5, 5 - 1e-10}}));
  ASSERT_TRUE(WeldPolyPolyBezier(tiny, out));
  ASSERT_EQ(out.GetSize(), 1);
  EXPECT_EQ(out[0].GetSize(), 5);

  // Quiet results on bad input.
  CPolyPolyBezier bad, empty;
  bad.Add(Polygon({{0, 0}, {plexa::test::kNaN, 0}, {1, 1}}));
  bad.Add(Polygon({{0, 0}, {plexa::test::kInf, 0}, {1, 1}}));
  bad.Add(new CBPointArray);
  bad.Add(nullptr);
  ASSERT_TRUE(WeldPolyPolyBezier(bad, out));
  EXPECT_EQ(out.GetSize(), 0);
  ASSERT_TRUE(BooleanPolyPolyBezier(empty, empty, BooleanOp::kXor, out));
  EXPECT_EQ(out.GetSize(), 0);

  // Huge coordinates and an open path (closed by its chord).
  CPolyPolyBezier huge, open;
  huge.Add(Polygon({{-1e300, -1e300}, {1e300, -1e300}, {1e300, 1e300}, {-1e300, 1e300}}));
  ASSERT_TRUE(WeldPolyPolyBezier(huge, out));
  ASSERT_EQ(out.GetSize(), 1);
  EXPECT_EQ(out[0].GetSize(), 5);
  EXPECT_DOUBLE_EQ(std::fabs(out[0][0].anchor.x), 1e300);
  open.Add(Polygon({{0, 0}, {4, 0}, {0, 4}}, false));
  ASSERT_TRUE(WeldPolyPolyBezier(open, out));
  ASSERT_EQ(out.GetSize(), 1);
  EXPECT_EQ(out[0].GetSize(), 4);
}

// The tree against a dense inside oracle where the leftward line through a loop's
// lowest-leftmost vertex (the line its parent is decided on) meets another loop at a vertex
// from which both of that loop's edges rise: a diamond standing on its corner beside a square,
// alone, inside an outline, beside an outline's hole, and a diamond inside a diamond-shaped hole;
// then 2,000 seeded sets of squares and diamonds on a small lattice, where loops also touch at
// their own lowest-leftmost vertices.
TEST(Boolean, TreeParentsWhereTheDecidingLineMeetsAVertex) {
  const Poly diamond = {{1, 0}, {4, 3}, {1, 6}, {-2, 3}}, square = {{6, 0}, {9, 0}, {9, 3}, {6, 3}};
  const Poly frame = {{-5, -5}, {15, -5}, {15, 15}, {-5, 15}};
  std::vector<std::vector<Poly>> sets = {
      {diamond, square},
      {frame, diamond, square},
      {frame, {{1, -2}, {5, 2}, {1, 6}, {-3, 2}}, square},
      {frame, {{1, -3}, {7, 3}, {1, 9}, {-5, 3}}, diamond, {{6, 3}, {8, 3}, {8, 5}, {6, 5}}},
      {{{2, 3}, {3, 3}, {3, 4}, {2, 4}}, diamond, square},
  };
  std::mt19937 rng(17);
  std::uniform_int_distribution<int> coord(0, 6), side(1, 3), shape(0, 1), count(2, 7);
  for (int c = 0; c < 2000; ++c) {
    std::vector<Poly>& set = sets.emplace_back();
    for (int k = 0, n = count(rng); k < n; ++k) {
      const double x = coord(rng), y = coord(rng), s = side(rng);
      set.push_back(shape(rng) ? Poly{{x, y}, {x + s, y}, {x + s, y + s}, {x, y + s}}
                               : Poly{{x, y - s}, {x + s, y}, {x, y + s}, {x - s, y}});
    }
  }
  int failures = 0;
  BooleanOptions eo;
  eo.fillRule = FillRule::kEvenOdd;
  for (std::size_t c = 0; c < sets.size() && failures < 3; ++c) {
    CPolyPolyBezier set, out;
    for (const Poly& p : sets[c]) set.Add(Polygon(p));
    BooleanTree tree;
    ASSERT_TRUE(WeldPolyPolyBezier(set, out, eo, &tree));
    const int n = static_cast<int>(out.GetSize());
    std::vector<std::vector<Poly>> polys;
    for (int i = 0; i < n; ++i) polys.push_back(plexa::test::DensePolygons({&out[i]}, 1));
    // Which other paths hold path i: decided at a point along one of its edges that is clear of
    // every other path (paths only touch at vertices).
    std::vector<std::vector<int>> holders(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
      const CBPointArray& p = out[i];
      for (INT_PTR e = 0; e + 1 < p.GetSize(); ++e) {
        const CDPOINT q = p[e].anchor + (p[e + 1].anchor - p[e].anchor) * 0.3183;
        std::vector<int> in;
        bool clear = true;
        for (int j = 0; j < n && clear; ++j) {
          double nearest;
          if (j != i && plexa::test::DenseInside(polys[static_cast<std::size_t>(j)], q, nearest))
            in.push_back(j);
          clear = j == i || nearest > 1e-6;
        }
        if (!clear) continue;
        holders[static_cast<std::size_t>(i)] = in;
        break;
      }
    }
    bool bad = false;
    for (int i = 0; i < n; ++i) {
      const auto& h = holders[static_cast<std::size_t>(i)];
      int innermost = -1;
      for (int j : h)
        if (innermost < 0 || holders[static_cast<std::size_t>(j)].size() >
                                 holders[static_cast<std::size_t>(innermost)].size())
          innermost = j;
      bad |= tree.depth[static_cast<std::size_t>(i)] != static_cast<int>(h.size()) ||
             tree.parent[static_cast<std::size_t>(i)] != innermost ||
             out[i].IsClockwise() != (h.size() % 2 == 1);
    }
    failures += bad;
    EXPECT_FALSE(bad) << "set " << c;
  }
}

TEST(Boolean, HostileSetsGiveQuietClosedResults) {
  // Raw bit patterns (NaN, infinities, denormals, 1e300) mixed with small integers that make
  // coincident edges and shared vertices; curved and straight segments, open and closed paths.
  std::mt19937_64 rng(17);
  const double specials[] = {0, 1, -1, 1e300, -1e300, 1e-300, 5e-324, 3, 1e-9, 2e-9};
  for (int c = 0; c < 300; ++c) {
    auto value = [&]() {
      const std::uint64_t r = rng();
      switch (r % 4) {
        case 0: {
          double d;
          const std::uint64_t bits = rng();
          std::memcpy(&d, &bits, sizeof d);
          return d;
        }
        case 1:
          return specials[(r >> 8) % 10];
        default:
          return static_cast<double>((r >> 8) % 5);
      }
    };
    CPolyPolyBezier sets[2], out;
    for (CPolyPolyBezier& s : sets)
      for (int k = 0, np = static_cast<int>(rng() % 3); k < np; ++k) {
        auto* p = new CBPointArray;
        for (int n = 0, nn = static_cast<int>(rng() % 6); n < nn; ++n) {
          const CDPOINT a(value(), value());
          p->Add(rng() % 2 ? CBPOINT(a, a, a)
                           : CBPOINT(CDPOINT(value(), value()), a, CDPOINT(value(), value())));
        }
        s.Add(p);
      }
    BooleanOptions opt;
    opt.fillRule = c % 2 ? FillRule::kEvenOdd : FillRule::kNonZero;
    BooleanTree tree;
    ASSERT_TRUE(BooleanPolyPolyBezier(sets[0], sets[1], kOps[c % 4], out, opt, &tree)) << c;
    ASSERT_EQ(tree.parent.size(), static_cast<std::size_t>(out.GetSize()));
    for (INT_PTR i = 0; i < out.GetSize(); ++i) {
      const CBPointArray& p = out[static_cast<int>(i)];
      ASSERT_GE(p.GetSize(), 3) << c;
      EXPECT_TRUE(p.IsPolyBezierClosed()) << c;
      EXPECT_TRUE(p[0].anchor == p[p.GetUpperBound()].anchor) << c;
      for (INT_PTR k = 0; k < p.GetSize(); ++k)
        EXPECT_TRUE(std::isfinite(p[k].anchor.x) && std::isfinite(p[k].out.y)) << c;
    }
  }
}
