// The vector offset: the boundary is covered by simple counter-clockwise pieces (bands between
// the two offsets of low-curvature stretches, disks where the curvature passes 1/d, join and
// cap shapes), and the pieces are combined with the region by the boolean operations.
//
// Why pieces and not one raw offset curve per path: a raw offset curve's winding numbers are
// right only under a "positive" fill rule, and even then only with care at swallowtails and
// when a shape collapses. Every piece here is a simple loop of the same orientation, so the
// non-zero rule gives exactly their union, and the union of the pieces is the set of points
// within d of the boundary (each such point lies on the normal of its nearest boundary point,
// which a band covers, or within d of a corner or end, which its join or cap covers).
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
// Curvature-free value standing for "no box yet".
constexpr double kHuge = 1e300;
// Pairs of pieces whose control boxes overlap that the union may face: a floor plus a share per
// node of the input. The union's crossings and time (5 to 20 microseconds per pair) grow with
// the pairs; a crowded, self-crossing path offset far beyond its features makes nearly every
// pair of its many disks overlap. The budget keeps 64 nodes of hostile input under about ten
// seconds (512 a node: two seconds, but the example sign's 30 mm contour was refused; 2048 a
// node: 15 s) and lets a traced sign of about a hundred nodes take a contour of a third of its
// size; past it the offset refuses.
constexpr std::size_t kOverlapFloor = std::size_t{1} << 15;
constexpr std::size_t kOverlapsPerNode = 1024;

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

// Counts the pairs of pieces whose control boxes overlap, by a sweep along x, stopping once
// the count exceeds limit: how crowded the union will be, for the price of a sort.
std::size_t OverlappingPairs(const CPolyPolyBezier& pieces, std::size_t limit) {
  struct Box {
    double x0, x1, y0, y1;
  };
  std::vector<Box> boxes;
  boxes.reserve(static_cast<std::size_t>(pieces.GetSize()));
  for (INT_PTR i = 0; i < pieces.GetSize(); ++i) {
    Box b{kHuge, -kHuge, kHuge, -kHuge};
    for (const CBPOINT& n : pieces[static_cast<int>(i)])
      for (const CDPOINT& q : {n.in, n.anchor, n.out}) {
        b.x0 = std::min(b.x0, q.x), b.x1 = std::max(b.x1, q.x);
        b.y0 = std::min(b.y0, q.y), b.y1 = std::max(b.y1, q.y);
      }
    if (b.x0 <= b.x1) boxes.push_back(b);
  }
  std::sort(boxes.begin(), boxes.end(), [](const Box& a, const Box& b) { return a.x0 < b.x0; });
  std::size_t pairs = 0;
  for (std::size_t i = 0; i < boxes.size(); ++i)
    for (std::size_t j = i + 1; j < boxes.size() && boxes[j].x0 <= boxes[i].x1; ++j) {
      if (boxes[j].y0 > boxes[i].y1 || boxes[i].y0 > boxes[j].y1) continue;
      if (++pairs > limit) return pairs;
    }
  return pairs;
}

// Nodes of every path of a set.
std::size_t Nodes(const CPolyPolyBezier& set) {
  std::size_t n = 0;
  for (INT_PTR i = 0; i < set.GetSize(); ++i)
    if (const CBPointArray* p = set.GetAt(static_cast<int>(i)))
      n += static_cast<std::size_t>(p->GetSize());
  return n;
}

// The union (or difference) of the region and the pieces, refused when the pieces overlap
// beyond the budget for an input of the given number of nodes.
bool Combine(const CPolyPolyBezier& region, const CPolyPolyBezier& pieces, std::size_t nodes,
             BooleanOp op, const OffsetOptions& o, CPolyPolyBezier& out, BooleanTree* tree) {
  BooleanOptions bo;
  bo.tolerance = o.accuracy * kFlattenShare;
  const std::size_t limit = kOverlapFloor + kOverlapsPerNode * nodes;
  if (OverlappingPairs(pieces, limit) > limit ||
      !BooleanPolyPolyBezier(region, pieces, op, out, bo, tree)) {
    out.RemoveAll();
    if (tree) *tree = {};
    return false;
  }
  Tidy(out, tree, o.accuracy / 2, o.accuracy);
  return true;
}

bool Valid(double d, const OffsetOptions& o) {
  return std::isfinite(d) && std::isfinite(o.accuracy) && o.accuracy > 0;
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
  // Growing under the non-zero rule, the paths themselves will do: pieces along an edge
  // inside the region (an overlap) lie within d of the region anyway. Otherwise the region is
  // cleaned first, for its boundary is what gets offset and the pieces are read non-zero.
  CPolyPolyBezier region, pieces;
  const bool direct = d > 0 && options.fillRule == FillRule::kNonZero;
  if (!direct && !WeldPolyPolyBezier(set, region, bo)) return false;
  const CPolyPolyBezier& base = direct ? set : region;
  plexa::offset::LoopBuilder builder(d, options, pieces);
  for (INT_PTR i = 0; i < base.GetSize(); ++i) {
    const CBPointArray* p = base.GetAt(static_cast<int>(i));
    if (!Usable(p) || p->GetSize() < 2) continue;
    // Edges too short to have a direction of their own would turn the joins at random.
    CBPointArray clean(*p);
    if (clean.IsPolyBezierClosed()) MergeShortEdges(clean, options.accuracy / 2);
    builder.AddBothSides(clean);
  }
  return Combine(base, pieces, Nodes(base), d > 0 ? BooleanOp::kUnion : BooleanOp::kDifference,
                 options, out, tree);
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
  CPolyPolyBezier pieces;
  plexa::offset::LoopBuilder builder(d, options, pieces);
  for (INT_PTR i = 0; i < set.GetSize(); ++i) {
    const CBPointArray* p = set.GetAt(static_cast<int>(i));
    if (!Usable(p)) continue;
    if (p->IsPolyBezierClosed()) {
      builder.AddBothSides(*p);
    } else {
      builder.AddOpen(*p);
    }
  }
  const CPolyPolyBezier none;
  return Combine(none, pieces, Nodes(set), BooleanOp::kUnion, options, out, tree);
}

bool StrokePolyPolyBezier(const CBPointArray& path, double d, CPolyPolyBezier& out,
                          const OffsetOptions& options) {
  CPolyPolyBezier set;
  set.Add(new CBPointArray(path));
  return StrokePolyPolyBezier(set, d, out, options);
}
