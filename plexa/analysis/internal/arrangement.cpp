// Snap rounding in Hobby's sense, then a planar graph with exact integer predicates.
//
// 1. Proper crossings of the input edges are found through a uniform grid and rounded to the
//    nearest integer point (exact int128 arithmetic). Hot pixels = every end point and every
//    rounded crossing; the pixel of point h is the half-open unit square [h - 1/2, h + 1/2).
// 2. Every edge is rerouted through the centres of all hot pixels its segment meets (exact
//    rational clipping), in order along the edge. Rounded fragments then never cross
//    properly; any hot pixel lying exactly on a fragment's inside splits it too, so that
//    partial collinear overlaps become identical fragments.
// 3. Identical fragments merge, summing their directed contributions per set; edges whose
//    contributions cancel in both sets are dropped (the winding is equal on both sides).
// 4. Outgoing half-edges are sorted around each vertex exactly (half-plane, then cross
//    product); faces are the cycles of next(h) = the half-edge clockwise after twin(h).
//    The outer face of each connected component is the one left of the half-edge at the
//    component's lowest-leftmost vertex that is last below the direction (-1, 0); its winding
//    comes from a leftward ray cast from that vertex over all edges (a half-open crossing
//    rule; no other component passes through the vertex after snapping). Breadth-first
//    search across edges then gives every face: w(left of h) = w(right of h) + c(h).
// 5. Edges whose two faces differ in the predicate are kept with the inside on their left;
//    kept half-edges are linked by rotating clockwise around each vertex, so loops touching
//    at a vertex stay separate simple loops. The tree: the nearest kept edge of another loop
//    to the left of a loop's lowest-leftmost vertex belongs to its parent (when the vertex is
//    inside that loop's polygon) or to a sibling (then the sibling's parent is the parent).
//    When several edges meet that leftward line at one vertex, the one rising at the smallest
//    angle is the nearest. Loops that touch the vertex itself are passed by turning around it
//    from the leftward direction to the loop's lower edge, entering and leaving them.
#include "plexa/analysis/internal/arrangement.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <numeric>

namespace plexa::arr {
namespace {

__extension__ typedef __int128 i128;
using std::int64_t;

int64_t Orient(const IPoint& o, const IPoint& a, const IPoint& b) {
  return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}
int Sign(int64_t v) {
  return (v > 0) - (v < 0);
}

// num / den rounded to the nearest integer (halves upward), den != 0.
int64_t RoundDiv(i128 num, i128 den) {
  if (den < 0) num = -num, den = -den;
  i128 q = num / den, r = num % den;
  if (r < 0) q -= 1, r += den;
  if (2 * r >= den) q += 1;
  return static_cast<int64_t>(q);
}

// A uniform grid over the bounding box of the input, with cells sized so that an average
// edge covers a few cells and the cell count stays near 4 n.
struct Grid {
  int64_t minx = 0, miny = 0, cell = 1, nx = 1, ny = 1;
  int64_t Cx(int64_t x) const { return std::clamp<int64_t>((x - minx) / cell, 0, nx - 1); }
  int64_t Cy(int64_t y) const { return std::clamp<int64_t>((y - miny) / cell, 0, ny - 1); }
};

// Compressed lists: items of bucket b are items[start[b] .. start[b + 1]).
struct Buckets {
  std::vector<std::size_t> start;
  std::vector<int> items;
  std::span<const int> Of(std::size_t b) const {
    return {items.data() + start[b], items.data() + start[b + 1]};
  }
};

// Fills buckets from ranges [x0, x1] x [y0, y1] of cells per item (two passes: count, place).
template <typename RangeFn>
Buckets MakeBuckets(std::size_t nbuckets, std::size_t nitems, int64_t nx, RangeFn range) {
  Buckets b;
  b.start.assign(nbuckets + 1, 0);
  for (std::size_t i = 0; i < nitems; ++i) {
    int64_t x0, y0, x1, y1;
    range(i, x0, y0, x1, y1);
    for (int64_t y = y0; y <= y1; ++y)
      for (int64_t x = x0; x <= x1; ++x) ++b.start[static_cast<std::size_t>(y * nx + x) + 1];
  }
  for (std::size_t k = 0; k < nbuckets; ++k) b.start[k + 1] += b.start[k];
  b.items.resize(b.start[nbuckets]);
  std::vector<std::size_t> fill(b.start.begin(), b.start.end() - 1);
  for (std::size_t i = 0; i < nitems; ++i) {
    int64_t x0, y0, x1, y1;
    range(i, x0, y0, x1, y1);
    for (int64_t y = y0; y <= y1; ++y)
      for (int64_t x = x0; x <= x1; ++x)
        b.items[fill[static_cast<std::size_t>(y * nx + x)]++] = static_cast<int>(i);
  }
  return b;
}

// A point's sort key: x in the high bits, y in the low ones, both offset to be non-negative,
// so keys order like points (x, then y). Coordinates lie within +-kArrangementLimit = 2^26.
constexpr int kKeyShift = 28;
std::uint64_t KeyOf(const IPoint& p) {
  return (static_cast<std::uint64_t>(p.x + kArrangementLimit) << kKeyShift) |
         static_cast<std::uint64_t>(p.y + kArrangementLimit);
}
IPoint PointOf(std::uint64_t k) {
  return {static_cast<int64_t>(k >> kKeyShift) - kArrangementLimit,
          static_cast<int64_t>(k & ((std::uint64_t{1} << kKeyShift) - 1)) - kArrangementLimit};
}

struct KeyRef {
  std::uint64_t key;
  int ref;
};
// Sorts by key (stable): least significant byte first over the 56 key bits, skipping bytes
// equal in every key; short lists go to insertion sort, where the byte counts would cost more.
void SortByKey(std::vector<KeyRef>& v, std::vector<KeyRef>& tmp) {
  constexpr std::size_t kShort = 64;
  constexpr int kBytes = 7;
  const std::size_t n = v.size();
  if (n <= kShort) {
    for (std::size_t i = 1; i < n; ++i) {
      const KeyRef x = v[i];
      std::size_t j = i;
      for (; j > 0 && v[j - 1].key > x.key; --j) v[j] = v[j - 1];
      v[j] = x;
    }
    return;
  }
  std::vector<std::size_t> count(kBytes * 256, 0);
  for (const KeyRef& e : v)
    for (int b = 0; b < kBytes; ++b)
      ++count[static_cast<std::size_t>(b) * 256 + ((e.key >> (8 * b)) & 255)];
  tmp.resize(n);
  for (int b = 0; b < kBytes; ++b) {
    std::size_t* c = count.data() + static_cast<std::size_t>(b) * 256;
    if (c[(v[0].key >> (8 * b)) & 255] == n) continue;
    std::size_t sum = 0;
    for (int d = 0; d < 256; ++d) {
      const std::size_t k = c[d];
      c[d] = sum, sum += k;
    }
    for (const KeyRef& e : v) tmp[c[(e.key >> (8 * b)) & 255]++] = e;
    v.swap(tmp);
  }
}

// A rational bound num / den (den > 0) on the edge parameter, open or closed.
struct Bound {
  int64_t num, den;
  bool closed;
};
int Compare(const Bound& a, const Bound& b) {
  const i128 l = static_cast<i128>(a.num) * b.den, r = static_cast<i128>(b.num) * a.den;
  return (l > r) - (l < r);
}

// Whether segment p-q (doubled coordinates) meets the half-open square [x0, x1) x [y0, y1).
bool SegmentMeetsPixel(const IPoint& p, const IPoint& q, int64_t x0, int64_t x1, int64_t y0,
                       int64_t y1) {
  Bound lo{0, 1, true}, hi{1, 1, true};
  auto lower = [&](Bound b) {
    const int c = Compare(b, lo);
    if (c > 0)
      lo = b;
    else if (c == 0)
      lo.closed = lo.closed && b.closed;
  };
  auto upper = [&](Bound b) {
    const int c = Compare(b, hi);
    if (c < 0)
      hi = b;
    else if (c == 0)
      hi.closed = hi.closed && b.closed;
  };
  const int64_t d[2] = {q.x - p.x, q.y - p.y};
  const int64_t s[2] = {p.x, p.y};
  const int64_t a[2] = {x0, y0}, b[2] = {x1, y1};
  for (int k = 0; k < 2; ++k) {
    if (d[k] == 0) {
      if (!(a[k] <= s[k] && s[k] < b[k])) return false;
    } else if (d[k] > 0) {
      lower({a[k] - s[k], d[k], true});
      upper({b[k] - s[k], d[k], false});
    } else {
      upper({s[k] - a[k], -d[k], true});
      lower({s[k] - b[k], -d[k], false});
    }
  }
  const int c = Compare(lo, hi);
  return c < 0 || (c == 0 && lo.closed && hi.closed);
}

// Up to this many hot pixels near an edge, its fragments look for hot pixels on them in that
// list instead of in the grid's cells.
constexpr std::size_t kNearList = 48;

struct Fragment {
  int u, v;  // hot pixel ids, u != v
  int set, source;
  double su, sv;  // parameters along the source edge at u and at v
};

struct Edge {
  int u, v;            // u < v
  int cA = 0, cB = 0;  // contributions in the direction u -> v
  int source = 0;
  double su = 0, sv = 0;
};

bool Inside(int w, bool evenOdd) {
  return evenOdd ? (w & 1) != 0 : w != 0;
}
bool Predicate(const Rule& r, int wa, int wb) {
  const bool a = Inside(wa, r.evenOdd), b = Inside(wb, r.evenOdd);
  switch (r.op) {
    case Op::kUnion:
      return a || b;
    case Op::kIntersection:
      return a && b;
    case Op::kDifference:
      return a && !b;
    case Op::kXor:
      return a != b;
  }
  return false;
}

// Upper half-plane first (angles [0, pi)), then by cross product: counter-clockwise order.
bool AngleLess(const IPoint& a, const IPoint& b) {
  const bool ha = a.y > 0 || (a.y == 0 && a.x > 0), hb = b.y > 0 || (b.y == 0 && b.x > 0);
  if (ha != hb) return ha;
  return a.x * b.y - a.y * b.x > 0;
}

}  // namespace

bool BuildBoolean(std::span<const InputEdge> input, Rule rule, std::vector<ResultLoop>& loops,
                  ArrangementStats* stats) {
  loops.clear();
  if (stats) *stats = {};
  // ---- Input: drop zero-length edges, check the coordinate limit ----
  std::vector<int> live;
  live.reserve(input.size());
  int64_t minx = 0, miny = 0, maxx = 0, maxy = 0;
  double lenSum = 0;
  for (std::size_t i = 0; i < input.size(); ++i) {
    const InputEdge& e = input[i];
    for (const IPoint& p : {e.a, e.b})
      if (std::max(std::llabs(p.x), std::llabs(p.y)) > kArrangementLimit) return false;
    if (e.a == e.b) continue;
    if (live.empty()) minx = maxx = e.a.x, miny = maxy = e.a.y;
    minx = std::min({minx, e.a.x, e.b.x}), maxx = std::max({maxx, e.a.x, e.b.x});
    miny = std::min({miny, e.a.y, e.b.y}), maxy = std::max({maxy, e.a.y, e.b.y});
    lenSum += static_cast<double>(std::max(std::llabs(e.b.x - e.a.x), std::llabs(e.b.y - e.a.y)));
    live.push_back(static_cast<int>(i));
  }
  if (live.empty()) return true;
  const std::size_t n = live.size();

  Grid g;
  g.minx = minx - 1, g.miny = miny - 1;
  const double extent = static_cast<double>(std::max(maxx - minx, maxy - miny) + 3);
  const double byDensity = extent / std::sqrt(4.0 * static_cast<double>(n));
  g.cell = std::max<int64_t>(
      1, static_cast<int64_t>(std::ceil(std::max(lenSum / static_cast<double>(n), byDensity))));
  g.nx = (maxx + 1 - g.minx) / g.cell + 1;
  g.ny = (maxy + 1 - g.miny) / g.cell + 1;
  const std::size_t ncells = static_cast<std::size_t>(g.nx * g.ny);

  auto edgeRange = [&](std::size_t i, int64_t& x0, int64_t& y0, int64_t& x1, int64_t& y1) {
    const InputEdge& e = input[static_cast<std::size_t>(live[i])];
    x0 = g.Cx(std::min(e.a.x, e.b.x)), x1 = g.Cx(std::max(e.a.x, e.b.x));
    y0 = g.Cy(std::min(e.a.y, e.b.y)), y1 = g.Cy(std::max(e.a.y, e.b.y));
  };
  const Buckets edgeCells = MakeBuckets(ncells, n, g.nx, edgeRange);

  // ---- Hot pixels: end points and rounded proper crossings ----
  // Keyed by point; ref 2 i (+1) is end a (b) of live edge i, -1 a crossing.
  std::vector<KeyRef> hotKeys;
  hotKeys.reserve(2 * n);
  for (std::size_t i = 0; i < n; ++i) {
    const InputEdge& e = input[static_cast<std::size_t>(live[i])];
    hotKeys.push_back({KeyOf(e.a), static_cast<int>(2 * i)});
    hotKeys.push_back({KeyOf(e.b), static_cast<int>(2 * i + 1)});
  }
  // Boxes of the live edges side by side, for the pair loop.
  struct Box {
    int64_t x0, y0, x1, y1;
  };
  std::vector<Box> boxes(n);
  for (std::size_t i = 0; i < n; ++i) {
    const InputEdge& e = input[static_cast<std::size_t>(live[i])];
    boxes[i] = {std::min(e.a.x, e.b.x), std::min(e.a.y, e.b.y), std::max(e.a.x, e.b.x),
                std::max(e.a.y, e.b.y)};
  }
  std::size_t crossings = 0;
  for (std::size_t c = 0; c < ncells; ++c) {
    const std::span<const int> items = edgeCells.Of(c);
    const int64_t cx = static_cast<int64_t>(c) % g.nx, cy = static_cast<int64_t>(c) / g.nx;
    // The cell's own range of points (the outer cells reach on: the grid clamps there).
    const int64_t lox = cx == 0 ? INT64_MIN : g.minx + cx * g.cell;
    const int64_t hix = cx == g.nx - 1 ? INT64_MAX : g.minx + (cx + 1) * g.cell;
    const int64_t loy = cy == 0 ? INT64_MIN : g.miny + cy * g.cell;
    const int64_t hiy = cy == g.ny - 1 ? INT64_MAX : g.miny + (cy + 1) * g.cell;
    for (std::size_t i = 0; i < items.size(); ++i) {
      const Box be = boxes[static_cast<std::size_t>(items[i])];
      for (std::size_t j = i + 1; j < items.size(); ++j) {
        const Box& bf = boxes[static_cast<std::size_t>(items[j])];
        // Each pair is tested once: in the cell holding the low corner of the boxes' overlap.
        const int64_t ox = std::max(be.x0, bf.x0), oy = std::max(be.y0, bf.y0);
        if (ox > std::min(be.x1, bf.x1) || oy > std::min(be.y1, bf.y1)) continue;
        if (ox < lox || ox >= hix || oy < loy || oy >= hiy) continue;
        const InputEdge& e =
            input[static_cast<std::size_t>(live[static_cast<std::size_t>(items[i])])];
        const InputEdge& f =
            input[static_cast<std::size_t>(live[static_cast<std::size_t>(items[j])])];
        const int64_t d1 = Orient(f.a, f.b, e.a), d2 = Orient(f.a, f.b, e.b);
        const int64_t d3 = Orient(e.a, e.b, f.a), d4 = Orient(e.a, e.b, f.b);
        if (Sign(d1) * Sign(d2) >= 0 || Sign(d3) * Sign(d4) >= 0) continue;
        const i128 den = static_cast<i128>(d1) - d2;
        hotKeys.push_back({KeyOf({e.a.x + RoundDiv(static_cast<i128>(e.b.x - e.a.x) * d1, den),
                                  e.a.y + RoundDiv(static_cast<i128>(e.b.y - e.a.y) * d1, den)}),
                           -1});
        if (++crossings > kMaxCrossings) return false;
      }
    }
  }
  // Sorted and deduplicated: ids follow the points' (x, y) order; endId gives each edge end's.
  std::vector<IPoint> hot;
  std::vector<int> endId(2 * n);
  {
    std::vector<KeyRef> tmp;
    SortByKey(hotKeys, tmp);
    hot.reserve(hotKeys.size());
    for (std::size_t k = 0; k < hotKeys.size(); ++k) {
      if (k == 0 || hotKeys[k].key != hotKeys[k - 1].key) hot.push_back(PointOf(hotKeys[k].key));
      if (hotKeys[k].ref >= 0)
        endId[static_cast<std::size_t>(hotKeys[k].ref)] = static_cast<int>(hot.size()) - 1;
    }
    hotKeys = {};
  }
  const Buckets hotCells =
      MakeBuckets(ncells, hot.size(), g.nx,
                  [&](std::size_t i, int64_t& x0, int64_t& y0, int64_t& x1, int64_t& y1) {
                    x0 = x1 = g.Cx(hot[i].x), y0 = y1 = g.Cy(hot[i].y);
                  });

  // ---- Rerouting through hot pixels ----
  std::vector<Fragment> frags;
  frags.reserve(n + crossings * 2);
  std::vector<std::pair<int64_t, int>> hits;
  std::vector<std::pair<int64_t, int>> onFrag;
  std::vector<int> near;  // hot pixels in the edge's box grown by 1: every fragment lies there
  for (std::size_t li = 0; li < n; ++li) {
    const InputEdge& e = input[static_cast<std::size_t>(live[li])];
    const IPoint d{e.b.x - e.a.x, e.b.y - e.a.y};
    const int64_t len2 = d.x * d.x + d.y * d.y;
    const IPoint p2{2 * e.a.x, 2 * e.a.y}, q2{2 * e.b.x, 2 * e.b.y};
    const int64_t x0 = std::min(e.a.x, e.b.x) - 1, x1 = std::max(e.a.x, e.b.x) + 1;
    const int64_t y0 = std::min(e.a.y, e.b.y) - 1, y1 = std::max(e.a.y, e.b.y) + 1;
    hits.clear();
    near.clear();
    const int ia = endId[2 * li], ib = endId[2 * li + 1];
    for (int64_t cy = g.Cy(y0); cy <= g.Cy(y1); ++cy)
      for (int64_t cx = g.Cx(x0); cx <= g.Cx(x1); ++cx)
        for (int h : hotCells.Of(static_cast<std::size_t>(cy * g.nx + cx))) {
          const IPoint& p = hot[static_cast<std::size_t>(h)];
          if (p.x < x0 || p.x > x1 || p.y < y0 || p.y > y1) continue;
          near.push_back(h);
          if (h == ia || h == ib) continue;
          if (!SegmentMeetsPixel(p2, q2, 2 * p.x - 1, 2 * p.x + 1, 2 * p.y - 1, 2 * p.y + 1))
            continue;
          hits.emplace_back((p.x - e.a.x) * d.x + (p.y - e.a.y) * d.y, h);
        }
    std::sort(hits.begin(), hits.end());
    hits.insert(hits.begin(), {0, ia});
    hits.emplace_back(len2, ib);
    auto param = [&](int64_t proj, int h) {
      if (h == ia) return 0.0;
      if (h == ib) return 1.0;
      return std::clamp(static_cast<double>(proj) / static_cast<double>(len2), 0.0, 1.0);
    };
    for (std::size_t k = 0; k + 1 < hits.size(); ++k) {
      const int u = hits[k].second, v = hits[k + 1].second;
      const IPoint& pu = hot[static_cast<std::size_t>(u)];
      const IPoint& pv = hot[static_cast<std::size_t>(v)];
      // Hot pixels exactly on the fragment's inside split it as well. A fragment that is the
      // whole edge needs no look: such a pixel would have been met by the edge already.
      onFrag.clear();
      const bool rerouted = hits.size() > 2;
      const int64_t fx0 = std::min(pu.x, pv.x), fx1 = std::max(pu.x, pv.x);
      const int64_t fy0 = std::min(pu.y, pv.y), fy1 = std::max(pu.y, pv.y);
      const IPoint fd{pv.x - pu.x, pv.y - pu.y};
      const int64_t flen2 = fd.x * fd.x + fd.y * fd.y;
      auto look = [&](int h) {
        const IPoint& p = hot[static_cast<std::size_t>(h)];
        if (h == u || h == v || p.x < fx0 || p.x > fx1 || p.y < fy0 || p.y > fy1) return;
        if (Orient(pu, pv, p) != 0) return;
        const int64_t t = (p.x - pu.x) * fd.x + (p.y - pu.y) * fd.y;
        if (t > 0 && t < flen2) onFrag.emplace_back(t, h);
      };
      if (rerouted && near.size() <= kNearList) {
        for (int h : near) look(h);
      } else {
        for (int64_t cy = g.Cy(fy0); rerouted && cy <= g.Cy(fy1); ++cy)
          for (int64_t cx = g.Cx(fx0); cx <= g.Cx(fx1); ++cx)
            for (int h : hotCells.Of(static_cast<std::size_t>(cy * g.nx + cx))) look(h);
      }
      std::sort(onFrag.begin(), onFrag.end());
      int prev = u;
      double sPrev = param(hits[k].first, u);
      for (std::size_t m = 0; m <= onFrag.size(); ++m) {
        const int w = m < onFrag.size() ? onFrag[m].second : v;
        const IPoint& pw = hot[static_cast<std::size_t>(w)];
        const double sw = m < onFrag.size() ? param((pw.x - e.a.x) * d.x + (pw.y - e.a.y) * d.y, w)
                                            : param(hits[k + 1].first, v);
        if (w != prev) frags.push_back({prev, w, e.set, e.source, sPrev, sw});
        prev = w, sPrev = sw;
      }
      if (frags.size() > kMaxFragments) return false;
    }
  }

  // ---- Merge identical fragments ----
  // Grouped by (low vertex, high vertex), fragments in index order within a group (counting
  // sort by the low vertex, then a stable insertion sort by the high one in each bucket): the
  // first fragment of a group gives the merged edge its provenance, so set A's fragments win
  // over set B's.
  std::vector<std::size_t> loStart(hot.size() + 1, 0);
  for (const Fragment& f : frags) ++loStart[static_cast<std::size_t>(std::min(f.u, f.v)) + 1];
  for (std::size_t v = 0; v < hot.size(); ++v) loStart[v + 1] += loStart[v];
  std::vector<int> order(frags.size());
  {
    std::vector<std::size_t> fill(loStart.begin(), loStart.end() - 1);
    for (std::size_t i = 0; i < frags.size(); ++i)
      order[fill[static_cast<std::size_t>(std::min(frags[i].u, frags[i].v))]++] =
          static_cast<int>(i);
  }
  auto hiOf = [&](int i) {
    return std::max(frags[static_cast<std::size_t>(i)].u, frags[static_cast<std::size_t>(i)].v);
  };
  std::vector<Edge> edges;
  edges.reserve(frags.size());
  for (std::size_t v = 0; v < hot.size(); ++v) {
    const std::size_t b0 = loStart[v], b1 = loStart[v + 1];
    for (std::size_t i = b0 + 1; i < b1; ++i) {
      const int x = order[i];
      const int hx = hiOf(x);
      std::size_t j = i;
      for (; j > b0 && hiOf(order[j - 1]) > hx; --j) order[j] = order[j - 1];
      order[j] = x;
    }
    for (std::size_t k = b0; k < b1;) {
      const int lo = static_cast<int>(v), hi = hiOf(order[k]);
      const Fragment& f0 = frags[static_cast<std::size_t>(order[k])];
      Edge e{lo, hi};
      e.source = f0.source;
      e.su = f0.u == lo ? f0.su : f0.sv;
      e.sv = f0.u == lo ? f0.sv : f0.su;
      for (; k < b1 && hiOf(order[k]) == hi; ++k) {
        const Fragment& f = frags[static_cast<std::size_t>(order[k])];
        (f.set == 0 ? e.cA : e.cB) += f.u == lo ? 1 : -1;
      }
      if (e.cA != 0 || e.cB != 0) edges.push_back(e);
    }
  }
  if (stats) *stats = {crossings, frags.size(), edges.size()};
  frags = {};
  if (edges.empty()) return true;

  // ---- Half-edges around vertices ----
  const std::size_t nh = 2 * edges.size();
  auto origin = [&](std::size_t h) { return h & 1 ? edges[h >> 1].v : edges[h >> 1].u; };
  auto dest = [&](std::size_t h) { return h & 1 ? edges[h >> 1].u : edges[h >> 1].v; };
  auto dir = [&](std::size_t h) {
    const IPoint& a = hot[static_cast<std::size_t>(origin(h))];
    const IPoint& b = hot[static_cast<std::size_t>(dest(h))];
    return IPoint{b.x - a.x, b.y - a.y};
  };
  std::vector<std::size_t> vstart(hot.size() + 1, 0);
  for (std::size_t h = 0; h < nh; ++h) ++vstart[static_cast<std::size_t>(origin(h)) + 1];
  for (std::size_t v = 0; v < hot.size(); ++v) vstart[v + 1] += vstart[v];
  std::vector<int> out(nh);
  {
    std::vector<std::size_t> fill(vstart.begin(), vstart.end() - 1);
    for (std::size_t h = 0; h < nh; ++h)
      out[fill[static_cast<std::size_t>(origin(h))]++] = static_cast<int>(h);
  }
  std::vector<std::size_t> pos(nh);
  for (std::size_t v = 0; v < hot.size(); ++v) {
    std::sort(out.begin() + static_cast<std::ptrdiff_t>(vstart[v]),
              out.begin() + static_cast<std::ptrdiff_t>(vstart[v + 1]), [&](int a, int b) {
                return AngleLess(dir(static_cast<std::size_t>(a)),
                                 dir(static_cast<std::size_t>(b)));
              });
    for (std::size_t k = vstart[v]; k < vstart[v + 1]; ++k)
      pos[static_cast<std::size_t>(out[k])] = k;
  }
  // The half-edge out of dest(h) that comes next clockwise after twin(h), among those `ok`.
  auto turn = [&](std::size_t h, auto ok) -> std::size_t {
    const std::size_t v = static_cast<std::size_t>(dest(h));
    const std::size_t deg = vstart[v + 1] - vstart[v];
    std::size_t i = pos[h ^ 1] - vstart[v];
    for (std::size_t step = 0; step < deg; ++step) {
      i = (i + deg - 1) % deg;
      const std::size_t c = static_cast<std::size_t>(out[vstart[v] + i]);
      if (ok(c)) return c;
    }
    return h ^ 1;
  };

  // ---- Faces ----
  std::vector<int> faceOf(nh, -1);
  std::vector<std::size_t> faceStart{0};
  std::vector<int> faceEdges;
  faceEdges.reserve(nh);
  for (std::size_t h0 = 0; h0 < nh; ++h0) {
    if (faceOf[h0] >= 0) continue;
    const int f = static_cast<int>(faceStart.size()) - 1;
    std::size_t h = h0;
    for (std::size_t step = 0; step < nh && faceOf[h] < 0; ++step) {
      faceOf[h] = f;
      faceEdges.push_back(static_cast<int>(h));
      h = turn(h, [](std::size_t) { return true; });
    }
    faceStart.push_back(faceEdges.size());
  }
  const std::size_t nfaces = faceStart.size() - 1;

  // Rows of the grid with the edges whose y-range meets them: the ray casts look at one row.
  const Buckets rows =
      MakeBuckets(static_cast<std::size_t>(g.ny), edges.size(), 1,
                  [&](std::size_t i, int64_t& x0, int64_t& y0, int64_t& x1, int64_t& y1) {
                    x0 = x1 = 0;
                    const IPoint& a = hot[static_cast<std::size_t>(edges[i].u)];
                    const IPoint& b = hot[static_cast<std::size_t>(edges[i].v)];
                    y0 = g.Cy(std::min(a.y, b.y)), y1 = g.Cy(std::max(a.y, b.y));
                  });
  // Crossing of edge i with the leftward ray from p (half-open in y), strictly left of p.
  auto crossesLeft = [&](int i, const IPoint& p, bool& down) {
    const IPoint& a = hot[static_cast<std::size_t>(edges[static_cast<std::size_t>(i)].u)];
    const IPoint& b = hot[static_cast<std::size_t>(edges[static_cast<std::size_t>(i)].v)];
    if ((a.y > p.y) == (b.y > p.y)) return false;
    down = a.y > b.y;
    const IPoint& lo = down ? b : a;
    const IPoint& hi = down ? a : b;
    return Orient(lo, hi, p) < 0;
  };

  // ---- Windings: outer face per component by ray cast, then across edges ----
  std::vector<int> wA(nfaces, 0), wB(nfaces, 0);
  std::vector<char> known(nfaces, 0);
  std::vector<int> uf(hot.size());
  std::iota(uf.begin(), uf.end(), 0);
  auto findRoot = [&](int x) {
    while (uf[static_cast<std::size_t>(x)] != x)
      x = uf[static_cast<std::size_t>(x)] =
          uf[static_cast<std::size_t>(uf[static_cast<std::size_t>(x)])];
    return x;
  };
  for (const Edge& e : edges) uf[static_cast<std::size_t>(findRoot(e.u))] = findRoot(e.v);
  std::vector<int> lowest(hot.size(), -1);  // per component root: lowest-leftmost vertex
  for (std::size_t v = 0; v < hot.size(); ++v) {
    if (vstart[v + 1] == vstart[v]) continue;
    int& l = lowest[static_cast<std::size_t>(findRoot(static_cast<int>(v)))];
    if (l < 0 || hot[v] < hot[static_cast<std::size_t>(l)]) l = static_cast<int>(v);
  }
  std::vector<int> queue;
  for (int v : lowest) {
    if (v < 0) continue;
    const IPoint& p = hot[static_cast<std::size_t>(v)];
    // The outer face: left of the last outgoing half-edge in the upper half-plane, or of the
    // last one overall when none points upward.
    std::size_t h = static_cast<std::size_t>(out[vstart[static_cast<std::size_t>(v) + 1] - 1]);
    for (std::size_t k = vstart[static_cast<std::size_t>(v)];
         k < vstart[static_cast<std::size_t>(v) + 1]; ++k) {
      const IPoint d = dir(static_cast<std::size_t>(out[k]));
      if (d.y > 0 || (d.y == 0 && d.x > 0)) h = static_cast<std::size_t>(out[k]);
    }
    int a = 0, b = 0;
    const std::size_t row = static_cast<std::size_t>(g.Cy(p.y));
    for (int i : rows.Of(row)) {
      bool down;
      if (!crossesLeft(i, p, down)) continue;
      const int s = down ? 1 : -1;
      a += s * edges[static_cast<std::size_t>(i)].cA,
          b += s * edges[static_cast<std::size_t>(i)].cB;
    }
    const int f = faceOf[h];
    if (known[static_cast<std::size_t>(f)]) continue;
    wA[static_cast<std::size_t>(f)] = a, wB[static_cast<std::size_t>(f)] = b,
    known[static_cast<std::size_t>(f)] = 1;
    queue.assign(1, f);
    for (std::size_t qi = 0; qi < queue.size(); ++qi) {
      const std::size_t fc = static_cast<std::size_t>(queue[qi]);
      for (std::size_t k = faceStart[fc]; k < faceStart[fc + 1]; ++k) {
        const std::size_t he = static_cast<std::size_t>(faceEdges[k]);
        const std::size_t gf = static_cast<std::size_t>(faceOf[he ^ 1]);
        if (known[gf]) continue;
        const Edge& e = edges[he >> 1];
        const int sgn = he & 1 ? -1 : 1;
        wA[gf] = wA[fc] - sgn * e.cA, wB[gf] = wB[fc] - sgn * e.cB, known[gf] = 1;
        queue.push_back(static_cast<int>(gf));
      }
    }
  }

  // ---- Kept half-edges, linked into loops ----
  std::vector<char> kept(nh, 0);
  for (std::size_t i = 0; i < edges.size(); ++i) {
    const std::size_t fl = static_cast<std::size_t>(faceOf[2 * i]),
                      fr = static_cast<std::size_t>(faceOf[2 * i + 1]);
    const bool inL = Predicate(rule, wA[fl], wB[fl]), inR = Predicate(rule, wA[fr], wB[fr]);
    if (inL != inR) kept[inL ? 2 * i : 2 * i + 1] = 1;
  }
  std::vector<int> loopOf(edges.size(), -1);
  std::vector<char> used(nh, 0);
  std::vector<IPoint> lowestOfLoop;
  std::vector<int> lowestIdOfLoop;
  for (std::size_t h0 = 0; h0 < nh; ++h0) {
    if (!kept[h0] || used[h0]) continue;
    ResultLoop loop;
    const int id = static_cast<int>(loops.size());
    std::size_t h = h0;
    i128 area = 0;
    for (std::size_t step = 0; step < nh && !used[h]; ++step) {
      used[h] = 1;
      loopOf[h >> 1] = id;
      const IPoint& a = hot[static_cast<std::size_t>(origin(h))];
      const IPoint& b = hot[static_cast<std::size_t>(dest(h))];
      area += static_cast<i128>(a.x) * b.y - static_cast<i128>(b.x) * a.y;
      const Edge& e = edges[h >> 1];
      loop.vertices.push_back(a);
      loop.edges.push_back({e.source, h & 1 ? e.sv : e.su, h & 1 ? e.su : e.sv});
      h = turn(h, [&](std::size_t c) { return kept[c] != 0; });
    }
    loop.hole = area < 0;
    lowestOfLoop.push_back(*std::min_element(loop.vertices.begin(), loop.vertices.end()));
    // Vertex ids follow the points' order: the lowest id is the lowest-leftmost vertex.
    lowestIdOfLoop.push_back(static_cast<int>(
        std::lower_bound(hot.begin(), hot.end(), lowestOfLoop.back()) - hot.begin()));
    loops.push_back(std::move(loop));
  }

  // ---- Tree ----
  struct Touch {
    IPoint back;   // reversed direction of the edge at p
    int loop;      // the loop it belongs to
    bool outward;  // the loop runs along it away from p
  };
  std::vector<Touch> touching;
  std::vector<int> held;
  std::vector<int> byLowest(loops.size());
  std::iota(byLowest.begin(), byLowest.end(), 0);
  std::sort(byLowest.begin(), byLowest.end(), [&](int a, int b) {
    return lowestOfLoop[static_cast<std::size_t>(a)] < lowestOfLoop[static_cast<std::size_t>(b)];
  });
  for (int li : byLowest) {
    const IPoint& p = lowestOfLoop[static_cast<std::size_t>(li)];
    int best = -1;
    i128 bn = 0, bd = 1;
    IPoint bLo, bHi;
    for (int i : rows.Of(static_cast<std::size_t>(g.Cy(p.y)))) {
      const std::size_t ei = static_cast<std::size_t>(i);
      bool down;
      if (loopOf[ei] < 0 || loopOf[ei] == li || !crossesLeft(i, p, down)) continue;
      const IPoint& a = hot[static_cast<std::size_t>(edges[ei].u)];
      const IPoint& b = hot[static_cast<std::size_t>(edges[ei].v)];
      const IPoint& lo = down ? b : a;
      const IPoint& hi = down ? a : b;
      const i128 den = hi.y - lo.y;
      const i128 num =
          static_cast<i128>(lo.x) * den + static_cast<i128>(p.y - lo.y) * (hi.x - lo.x);
      // Edges meeting the line at one point share a vertex there, and all rise from it: the
      // one nearest to the direction toward p (the smallest angle) bounds the sector that holds
      // p, so it decides (an arbitrary one of them could put p on the wrong side).
      const i128 l = num * bd, r = bn * den;
      if (best < 0 || l > r ||
          (l == r && (hi.x - lo.x) * (bHi.y - bLo.y) - (hi.y - lo.y) * (bHi.x - bLo.x) > 0))
        best = i, bn = num, bd = den, bLo = lo, bHi = hi;
    }
    ResultLoop& l = loops[static_cast<std::size_t>(li)];
    // The innermost loop around the points just left of p (and just above the line).
    int container = -1;
    if (best >= 0) {
      const std::size_t be = static_cast<std::size_t>(best);
      const int m = loopOf[be];
      const bool forward = kept[2 * be] != 0;
      const IPoint& a = hot[static_cast<std::size_t>(forward ? edges[be].u : edges[be].v)];
      const IPoint& b = hot[static_cast<std::size_t>(forward ? edges[be].v : edges[be].u)];
      const bool insideM = (Orient(a, b, p) > 0) != loops[static_cast<std::size_t>(m)].hole;
      container = insideM ? m : loops[static_cast<std::size_t>(m)].parent;
    }
    // Other loops touching p: turn counter-clockwise around p from just above the leftward
    // direction to this loop's lower edge, entering and leaving the loops whose edges at p are
    // passed; the loop holding the last sector passed is the parent. Angles are compared on
    // reversed directions, so that the turn starts at the leftward direction.
    const std::size_t pv = static_cast<std::size_t>(lowestIdOfLoop[static_cast<std::size_t>(li)]);
    touching.clear();
    bool others = false;
    IPoint lower{0, 0};
    bool haveLower = false;
    for (std::size_t k = vstart[pv]; k < vstart[pv + 1]; ++k) {
      const std::size_t h = static_cast<std::size_t>(out[k]);
      if (!kept[h] && !kept[h ^ 1]) continue;
      const int owner = loopOf[h >> 1];
      const IPoint d = dir(h);
      const IPoint back{-d.x, -d.y};
      if (owner == li) {
        if (!haveLower || AngleLess(back, lower)) lower = back, haveLower = true;
      } else {
        touching.push_back({back, owner, kept[h] != 0});
        others = true;
      }
    }
    if (others && haveLower) {
      std::sort(touching.begin(), touching.end(),
                [](const Touch& x, const Touch& y) { return AngleLess(x.back, y.back); });
      held.clear();
      for (const Touch& t : touching) {
        if (!AngleLess(t.back, lower)) break;
        const ResultLoop& k = loops[static_cast<std::size_t>(t.loop)];
        if (t.outward != k.hole) {  // the far side of the edge is inside loop t.loop
          held.push_back(container);
          container = t.loop;
        } else if (!held.empty() && container == t.loop) {
          container = held.back();
          held.pop_back();
        } else {
          container = k.parent;
        }
      }
    }
    l.parent = container;
  }
  // Depths once every parent is known (a parent may share its lowest vertex with its child and
  // come later in the order above); each walk up stops at a known depth.
  for (ResultLoop& l : loops) l.depth = -1;
  std::vector<int> chain;
  for (std::size_t i = 0; i < loops.size(); ++i) {
    chain.clear();
    int c = static_cast<int>(i);
    while (c >= 0 && loops[static_cast<std::size_t>(c)].depth < 0 && chain.size() <= loops.size())
      chain.push_back(c), c = loops[static_cast<std::size_t>(c)].parent;
    int d = c < 0 ? -1 : loops[static_cast<std::size_t>(c)].depth;
    for (std::size_t k = chain.size(); k-- > 0;)
      loops[static_cast<std::size_t>(chain[k])].depth = ++d;
  }
  return true;
}

}  // namespace plexa::arr
