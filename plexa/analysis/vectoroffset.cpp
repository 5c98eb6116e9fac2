// The vector offset: the region made into simple boundaries, one offset loop per boundary
// (plexa/analysis/internal/offset_loops.h), and the boolean union only for the loops that
// cross something or do not nest as outlines and holes.
//
// Why the winding numbers come out right. A boundary's loop winds like the boundary plus the
// coverage of the band on the loop's side (thin quadrilaterals from the path to its offset,
// join shapes, disks; see vectoroffset_loops.cpp), never negatively. Growing, outlines and
// holes wind 1 inside the region and 0 outside, so the loops wind non-zero exactly within d
// of the region: the non-zero union of the loops is the offset. Shrinking, the loops of the
// reversed boundaries, reversed back, wind 1 less the inner coverage: where every loop is
// clean that is the shrunk region; otherwise the region less the coverage, read through a
// frame round everything (winding once) plus the raw loops, which wind 0 exactly where the
// region is and the coverage is not.
#include "plexa/analysis/vectoroffset.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "plexa/analysis/internal/offset_loops.h"
#include "plexa/core/internal/numerics.h"

namespace {

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
namespace num = plexa::num;

// Share of the accuracy the boolean's flattening may spend (crossings move by at most its
// tolerance); the loops spend the rest (vectoroffset_loops.cpp), and the merging of short
// edges moves a vertex by at most half the minimum edge, a quarter of the accuracy.
constexpr double kFlattenShare = 0.45;
// A straight node is dropped when it lies within this share of the minimum edge of the line
// through its neighbours.
constexpr double kCollinear = 0.01;
// Stands for "no box yet".
constexpr double kHuge = 1e300;
// The layout flattens within this share of |d| (at least the accuracy): coarse, since it
// only decides which loops cross, and the margin it keeps (twice the tolerance) is then a
// small share of the offset.
constexpr double kCoarseShare = 1.0 / 64;
// Work budget of the layout and of the union behind it, on the coarsely flattened edges:
// pairs of edges whose boxes overlap (the sweep's own work) and pairs found within the margin
// (crossings, as far as the layout sees: the union's work), each a floor plus a share per
// edge. A crowded, self-crossing path offset far beyond its features makes nearly every pair
// overlap; past the budget the offset refuses. The values keep 64 nodes of hostile input to
// about three seconds (before: 6.8 s) and let the traced example sign take a 60 mm contour
// (275,000 near pairs on 6,900 edges, 0.9 s).
constexpr std::size_t kPairFloor = std::size_t{1} << 20;
constexpr std::size_t kPairsPerEdge = 256;
constexpr std::size_t kCloseFloor = std::size_t{1} << 18;
constexpr std::size_t kClosePerEdge = 64;

// A path with nodes, all finite (a single node is a point: a round cap strokes it to a disk).
bool Usable(const CBPointArray* p) {
  if (!p || p->GetSize() < 1) return false;
  for (const CBPOINT& n : *p)
    if (!num::IsFinite(n.in) || !num::IsFinite(n.anchor) || !num::IsFinite(n.out)) return false;
  return true;
}

// Merges, cyclically, every edge of a closed path shorter than minEdge (control polygon
// length) into its neighbours: its two nodes become one at its middle. At most one merge a
// node; returns the number of nodes left (without the closing copy).
std::size_t MergeShortEdges(CBPointArray& p, double minEdge) {
  std::vector<CBPOINT> ring(p.GetData(), p.GetData() + std::max<INT_PTR>(p.GetSize() - 1, 0));
  const std::size_t before = ring.size();
  for (std::size_t guard = ring.size(); guard > 0 && ring.size() > 3; --guard) {
    const std::size_t m = ring.size();
    std::size_t k = m;
    for (std::size_t j = 0; j < m && k == m; ++j) {
      const CBPOINT &a = ring[j], &b = ring[(j + 1) % m];
      const double len =
          num::Dist(a.anchor, a.out) + num::Dist(a.out, b.in) + num::Dist(b.in, b.anchor);
      if (len < minEdge) k = j;
    }
    if (k == m) break;
    const CBPOINT &a = ring[k], &b = ring[(k + 1) % m];
    const CDPOINT mid = num::Lerp(a.anchor, b.anchor, 0.5);
    const CBPOINT merged(a.in + (mid - a.anchor), mid, b.out + (mid - b.anchor));
    ring[k] = merged;
    ring.erase(ring.begin() + static_cast<std::ptrdiff_t>((k + 1) % m));
  }
  // Straight neighbours on one line become one straight edge (bands split long edges).
  const auto straight = [](const CBPOINT& a, const CBPOINT& b) {
    return a.out.x == a.anchor.x && a.out.y == a.anchor.y && b.in.x == b.anchor.x &&
           b.in.y == b.anchor.y;
  };
  for (std::size_t guard = ring.size(), j = 0; guard > 0 && ring.size() > 3; --guard) {
    const std::size_t m = ring.size();
    j %= m;
    const CBPOINT &a = ring[(j + m - 1) % m], &b = ring[j], &c = ring[(j + 1) % m];
    const double len = num::Dist(a.anchor, c.anchor);
    if (straight(a, b) && straight(b, c) && len > 0 &&
        std::fabs(num::Cross(a.anchor, b.anchor, c.anchor)) <= len * minEdge * kCollinear &&
        num::Dot(b.anchor - a.anchor, c.anchor - b.anchor) > 0) {
      ring.erase(ring.begin() + static_cast<std::ptrdiff_t>(j));
    } else {
      ++j;
    }
  }
  if (ring.size() != before) {
    p.SetSize(0);
    for (const CBPOINT& n : ring) p.Add(n);
    if (!ring.empty()) p.Add(ring.front());
  }
  return ring.size();
}

// Twice the area over the perimeter, from samples of the curves: the width of a sliver, the
// radius of a disk.
double MeanWidth(const CBPointArray& p) {
  constexpr int kSamples = 8;
  double area = 0, length = 0;
  CDPOINT prev = p.GetSize() > 0 ? p[0].anchor : CDPOINT();
  for (int k = 0; k + 1 < p.GetSize(); ++k)
    for (int s = 1; s <= kSamples; ++s) {
      const CDPOINT q = num::BezierPoint(p[k].anchor, p[k].out, p[k + 1].in, p[k + 1].anchor,
                                         double(s) / kSamples);
      area += prev.x * q.y - q.x * prev.y;
      length += num::Dist(prev, q);
      prev = q;
    }
  return length > 0 ? std::fabs(area) / length : 0;
}

// Merges short edges of every result path and drops paths left with fewer than three
// segments or narrower (MeanWidth) than minWidth: slivers of the boolean. Keeps the tree
// consistent: a dropped path's children move to its parent.
void Tidy(CPolyPolyBezier& out, BooleanTree* tree, double minEdge, double minWidth) {
  std::vector<int> keep;
  for (int i = 0; i < static_cast<int>(out.GetSize()); ++i) {
    CBPointArray& p = *out.GetAt(i);
    const std::size_t left = MergeShortEdges(p, minEdge);
    keep.push_back(left >= 3 && MeanWidth(p) >= minWidth ? 1 : 0);
  }
  const int n = static_cast<int>(keep.size());
  if (tree && static_cast<int>(tree->parent.size()) == n) {
    std::vector<int> index(static_cast<std::size_t>(n), -1);
    for (int i = 0, j = 0; i < n; ++i)
      if (keep[i]) index[i] = j++;
    const auto lift = [&](int q) {
      for (int g = 0; g < n && q >= 0 && !keep[q]; ++g) q = tree->parent[q];
      return q >= 0 && keep[q] ? index[q] : -1;
    };
    BooleanTree t;
    for (int i = 0; i < n; ++i)
      if (keep[i]) t.parent.push_back(lift(tree->parent[i]));
    for (int q : t.parent) t.depth.push_back(q < 0 ? 0 : t.depth[static_cast<std::size_t>(q)] + 1);
    *tree = std::move(t);
  }
  for (int i = n - 1; i >= 0; --i)
    if (!keep[i]) out.RemoveAt(i);
}

// Nodes of every path of a set.
std::size_t Nodes(const CPolyPolyBezier& set) {
  std::size_t n = 0;
  for (INT_PTR i = 0; i < set.GetSize(); ++i)
    if (const CBPointArray* p = set.GetAt(static_cast<int>(i)))
      n += static_cast<std::size_t>(p->GetSize());
  return n;
}

bool Valid(double d, const OffsetOptions& o) {
  return std::isfinite(d) && std::isfinite(o.accuracy) && o.accuracy > 0;
}

// The flattening tolerance of the layout: coarse, for it only decides which loops need the
// union (the result keeps the curves).
double Coarse(double d, const OffsetOptions& o) {
  return std::max(o.accuracy, std::fabs(d) * kCoarseShare);
}

// Whether the union behind a layout would be too much work (see kCloseFloor).
bool OverBudget(const plexa::offset::Layout& lay) {
  return lay.overBudget || lay.close > kCloseFloor + kClosePerEdge * lay.edges;
}

bool Inside(int w, FillRule rule) {
  return rule == FillRule::kNonZero ? w != 0 : (w & 1) != 0;
}

// The usable paths of a set, each closed (an open one by its chord).
CPolyPolyBezier ClosedPaths(const CPolyPolyBezier& set) {
  CPolyPolyBezier paths;
  for (INT_PTR i = 0; i < set.GetSize(); ++i) {
    const CBPointArray* p = set.GetAt(static_cast<int>(i));
    if (!Usable(p) || p->GetSize() < 2) continue;
    auto* q = new CBPointArray(*p);
    const CDPOINT a = (*q)[0].anchor, b = (*q)[static_cast<int>(q->GetUpperBound())].anchor;
    if (a.x != b.x || a.y != b.y) q->Add(CBPOINT(a, a, a));
    paths.Add(q);
  }
  return paths;
}

// Loops that cross (as far as the layout sees), closed under nesting so that no other loop
// lies in or around one; with `parity`, also loops that do not wind as their depth says
// (outlines at even depth, holes at odd). All of them when the layout could not finish.
std::vector<char> Problems(const plexa::offset::Layout& lay, int n, bool parity) {
  if (!lay.ok) return std::vector<char>(static_cast<std::size_t>(n), 1);
  std::vector<char> problem = lay.crossed;
  for (int round = 0; round <= n; ++round) {
    bool changed = false;
    for (int l = 0; l < n; ++l)
      for (const int c : lay.containers[l])
        if (problem[l] != problem[c]) problem[l] = problem[c] = 1, changed = true;
    for (int l = 0; l < n && parity; ++l) {
      const bool outline = lay.sign[l] < 0, even = lay.containers[l].size() % 2 == 0;
      if (!problem[l] && outline != even) problem[l] = 1, changed = true;
    }
    if (!changed) break;
  }
  return problem;
}

// The region of a set as simple boundaries: paths that cross nothing (and have nothing
// crossing in or around them) as they are, those with the region on one side only turned to
// wind as an outline (region inside) or a hole, the others dropped; the rest welded. False at
// the weld's bounds.
bool Boundaries(const CPolyPolyBezier& set, double tol, const BooleanOptions& bo,
                CPolyPolyBezier& out) {
  const CPolyPolyBezier paths = ClosedPaths(set);
  const int n = static_cast<int>(paths.GetSize());
  const plexa::offset::Layout lay = plexa::offset::LayOut(paths, tol, kPairFloor, kPairsPerEdge);
  if (OverBudget(lay)) return false;
  const std::vector<char> problem = Problems(lay, n, false);
  CPolyPolyBezier rest;
  for (int l = 0; l < n; ++l) {
    if (problem[l]) {
      rest.Add(new CBPointArray(paths[l]));
      continue;
    }
    int outside = 0;
    for (const int c : lay.containers[l]) outside += lay.sign[c];
    const bool in = Inside(outside + lay.sign[l], bo.fillRule);
    if (in == Inside(outside, bo.fillRule)) continue;
    auto* p = new CBPointArray(paths[l]);
    // Outlines wind with a negative signed area (y up), holes with a positive one.
    if ((lay.sign[l] > 0) == in) p->MakeReverse();
    out.Add(p);
  }
  if (rest.GetSize() == 0) return true;
  CPolyPolyBezier welded;
  if (!WeldPolyPolyBezier(rest, welded, bo)) return false;
  for (INT_PTR i = 0; i < welded.GetSize(); ++i)
    out.Add(new CBPointArray(welded[static_cast<int>(i)]));
  return true;
}

// Loops that cross nothing and nest as their windings say (outlines at even depth, holes at
// odd) go to out as they are, with their tree; the others (closed under nesting, so that no
// clean loop lies in or around one) are resolved by the union (when `unite`) or make the
// whole call fall back (false, `fallback` set). False with fallback unset: over budget.
bool Resolve(const CPolyPolyBezier& loops, double tol, bool unite, const OffsetOptions& o,
             CPolyPolyBezier& out, BooleanTree* tree, bool& fallback) {
  fallback = false;
  const int n = static_cast<int>(loops.GetSize());
  const plexa::offset::Layout lay = plexa::offset::LayOut(loops, tol, kPairFloor, kPairsPerEdge);
  if (OverBudget(lay)) return false;
  const std::vector<char> problem = Problems(lay, n, true);
  CPolyPolyBezier rest;
  std::vector<int> index(static_cast<std::size_t>(n), -1);
  for (int l = 0; l < n; ++l) {
    if (problem[l]) {
      rest.Add(new CBPointArray(loops[l]));
    } else {
      index[l] = static_cast<int>(out.GetSize());
      out.Add(new CBPointArray(loops[l]));
    }
  }
  if (rest.GetSize() > 0 && !unite) {
    fallback = true;
    return false;
  }
  BooleanTree t;
  for (int l = 0; l < n; ++l) {
    if (problem[l]) continue;
    const std::size_t depth = lay.containers[l].size();
    int parent = -1;
    for (const int c : lay.containers[l])
      if (lay.containers[c].size() + 1 == depth) parent = index[c];
    t.parent.push_back(parent);
    t.depth.push_back(static_cast<int>(depth));
  }
  if (rest.GetSize() > 0) {
    BooleanOptions bo;
    bo.tolerance = o.accuracy * kFlattenShare;
    CPolyPolyBezier united;
    BooleanTree ut;
    if (!BooleanPolyPolyBezier(CPolyPolyBezier(), rest, BooleanOp::kUnion, united, bo, &ut))
      return false;
    const int shift = static_cast<int>(out.GetSize());
    for (INT_PTR i = 0; i < united.GetSize(); ++i)
      out.Add(new CBPointArray(united[static_cast<int>(i)]));
    for (std::size_t i = 0; i < ut.parent.size(); ++i) {
      t.parent.push_back(ut.parent[i] < 0 ? -1 : ut.parent[i] + shift);
      t.depth.push_back(ut.depth[i]);
    }
  }
  if (tree) *tree = std::move(t);
  Tidy(out, tree, o.accuracy / 2, o.accuracy);
  return true;
}

// The boolean of the region and the loops at the offset's accuracy, after the layout's budget.
bool Combine(const CPolyPolyBezier& region, const CPolyPolyBezier& loops, BooleanOp op, double tol,
             const OffsetOptions& o, CPolyPolyBezier& out, BooleanTree* tree) {
  BooleanOptions bo;
  bo.tolerance = o.accuracy * kFlattenShare;
  if (OverBudget(plexa::offset::LayOut(loops, tol, kPairFloor, kPairsPerEdge)) ||
      !BooleanPolyPolyBezier(region, loops, op, out, bo, tree)) {
    out.RemoveAll();
    if (tree) *tree = {};
    return false;
  }
  Tidy(out, tree, o.accuracy / 2, o.accuracy);
  return true;
}

// A path with its short edges merged (edges too short to have a direction of their own would
// turn the joins at random), optionally reversed.
CBPointArray Cleaned(const CBPointArray& p, double minEdge, bool reverse) {
  CBPointArray clean(p);
  if (clean.IsPolyBezierClosed()) MergeShortEdges(clean, minEdge);
  if (reverse) clean.MakeReverse();
  return clean;
}

}  // namespace

bool OffsetPolyPolyBezier(const CPolyPolyBezier& set, double d, CPolyPolyBezier& out,
                          const OffsetOptions& options, BooleanTree* tree) {
  out.RemoveAll();
  if (tree) *tree = {};
  if (!Valid(d, options)) return false;
  BooleanOptions bo;
  bo.fillRule = options.fillRule;
  bo.tolerance = options.accuracy * kFlattenShare;
  if (std::fabs(d) < options.accuracy) return WeldPolyPolyBezier(set, out, bo, tree);
  const double tol = Coarse(d, options), minEdge = options.accuracy / 2;
  // The region as simple outlines and holes: straight from the paths where they cross
  // nothing, welded where they do.
  CPolyPolyBezier base;
  if (!Boundaries(set, tol, bo, base)) return false;
  // Outlines wind negatively (y up), so their left side is outside: growing offsets every
  // boundary to its left, shrinking every reversed boundary (then reversed back, so that each
  // loop winds like its boundary less the coverage).
  CPolyPolyBezier loops;
  plexa::offset::LoopBuilder builder(d, options, loops, Nodes(base));
  for (INT_PTR i = 0; i < base.GetSize(); ++i)
    builder.AddLeftSide(Cleaned(base[static_cast<int>(i)], minEdge, d < 0));
  if (d > 0) {
    bool fallback = false;
    if (Resolve(loops, tol, true, options, out, tree, fallback)) return true;
    out.RemoveAll();
    if (tree) *tree = {};
    return false;
  }
  CPolyPolyBezier inward;
  for (INT_PTR i = 0; i < loops.GetSize(); ++i) {
    auto* p = new CBPointArray(loops[static_cast<int>(i)]);
    p->MakeReverse();
    inward.Add(p);
  }
  bool fallback = false;
  if (Resolve(inward, tol, false, options, out, tree, fallback)) return true;
  out.RemoveAll();
  if (tree) *tree = {};
  if (!fallback) return false;
  // Some loops cross or vanish: the region less everything the loops cover. With a frame
  // round it all (winding once), the raw loops (the coverage less the region's winding) are
  // inside exactly where the coverage is or the region is not.
  double x0 = kHuge, x1 = -kHuge, y0 = kHuge, y1 = -kHuge;
  for (INT_PTR i = 0; i < loops.GetSize(); ++i)
    for (const CBPOINT& n : loops[static_cast<int>(i)])
      for (const CDPOINT& q : {n.in, n.anchor, n.out}) {
        x0 = std::min(x0, q.x), x1 = std::max(x1, q.x);
        y0 = std::min(y0, q.y), y1 = std::max(y1, q.y);
      }
  if (x0 > x1) return true;
  const double m = 1 + (x1 - x0) + (y1 - y0);
  auto* frame = new CBPointArray;
  for (const CDPOINT& q :
       {CDPOINT(x0 - m, y0 - m), CDPOINT(x0 - m, y1 + m), CDPOINT(x1 + m, y1 + m),
        CDPOINT(x1 + m, y0 - m), CDPOINT(x0 - m, y0 - m)})
    frame->Add(CBPOINT(q, q, q));
  loops.Add(frame);
  return Combine(base, loops, BooleanOp::kDifference, tol, options, out, tree);
}

bool OffsetBPointArray(const CBPointArray& path, double d, CPolyPolyBezier& out,
                       const OffsetOptions& options) {
  CPolyPolyBezier set;
  set.Add(new CBPointArray(path));
  return OffsetPolyPolyBezier(set, d, out, options);
}

bool StrokePolyPolyBezier(const CPolyPolyBezier& set, double d, CPolyPolyBezier& out,
                          const OffsetOptions& options, BooleanTree* tree) {
  out.RemoveAll();
  if (tree) *tree = {};
  if (!Valid(d, options)) return false;
  if (std::fabs(d) < options.accuracy) return true;
  CPolyPolyBezier loops;
  plexa::offset::LoopBuilder builder(d, options, loops, Nodes(set));
  for (INT_PTR i = 0; i < set.GetSize(); ++i) {
    const CBPointArray* p = set.GetAt(static_cast<int>(i));
    if (!Usable(p)) continue;
    if (p->IsPolyBezierClosed()) {
      builder.AddBothSides(*p);
    } else {
      builder.AddOpen(*p);
    }
  }
  bool fallback = false;
  if (Resolve(loops, Coarse(d, options), true, options, out, tree, fallback)) return true;
  out.RemoveAll();
  if (tree) *tree = {};
  return false;
}

bool StrokePolyPolyBezier(const CBPointArray& path, double d, CPolyPolyBezier& out,
                          const OffsetOptions& options) {
  CPolyPolyBezier set;
  set.Add(new CBPointArray(path));
  return StrokePolyPolyBezier(set, d, out, options);
}
