// Steps 1 to 3 of the arrangement (see arrangement.cpp for the whole): snap rounding in
// Hobby's sense.
//
// 1. Proper crossings of the input edges are found through a uniform grid (one cell for small
//    inputs) and rounded to the nearest integer point (exact int128 arithmetic). Hot pixels =
//    every end point and every rounded crossing; the pixel of point h is the half-open unit
//    square [h - 1/2, h + 1/2).
// 2. Every edge is rerouted through the centres of all hot pixels its segment meets (exact
//    rational clipping), in order along the edge. Rounded fragments then never cross
//    properly; any hot pixel lying exactly on a fragment's inside splits it too, so that
//    partial collinear overlaps become identical fragments.
// 3. Identical fragments merge, summing their directed contributions per set; edges whose
//    contributions cancel in both sets are dropped (the winding is equal on both sides).
#include "plexa/analysis/internal/arrangement_snap.h"

#include <climits>
#include <cmath>

namespace plexa::arr::detail {
namespace {

using std::int64_t;

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
// Sorts by key (the order of equal keys is left open: the caller only groups them). Long lists:
// least significant byte first over the 56 key bits, skipping bytes equal in every key; shorter
// ones go to insertion sort or std::sort, where the byte counts would cost more.
void SortByKey(std::pmr::vector<KeyRef>& v, std::pmr::vector<KeyRef>& tmp) {
  constexpr std::size_t kShort = 32, kComparisonSort = 1024;
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
  if (n <= kComparisonSort) {
    std::sort(v.begin(), v.end(), [](const KeyRef& a, const KeyRef& b) { return a.key < b.key; });
    return;
  }
  std::size_t count[kBytes * 256] = {};
  for (const KeyRef& e : v)
    for (int b = 0; b < kBytes; ++b)
      ++count[static_cast<std::size_t>(b) * 256 + ((e.key >> (8 * b)) & 255)];
  tmp.resize(n);
  for (int b = 0; b < kBytes; ++b) {
    std::size_t* c = count + static_cast<std::size_t>(b) * 256;
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

// Up to this many live edges the grid is one cell: every pair and every hot pixel is looked at,
// which costs less than sizing and filling buckets for so few edges.
constexpr std::size_t kOneCell = 48;
// The hot pixels' grid is at most this many halvings finer than the edges' grid, with at most
// this many cells a hot pixel.
constexpr int kHotGridSteps = 2;
constexpr std::size_t kHotCellsPerPixel = 2;

struct Fragment {
  int u, v;  // hot pixel ids, u != v
  int set, source;
  double su, sv;  // parameters along the source edge at u and at v
};

}  // namespace

bool SnapRound(std::span<const InputEdge> input, std::pmr::memory_resource* mem, Snapped& out) {
  // ---- Input: drop zero-length edges, check the coordinate limit ----
  std::pmr::vector<InputEdge> live(mem);
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
    live.push_back(e);
  }
  if (live.empty()) return true;
  const std::size_t n = live.size();

  Grid g;
  g.minx = minx - 1, g.miny = miny - 1;
  const double extent = static_cast<double>(std::max(maxx - minx, maxy - miny) + 3);
  const double byDensity = extent / std::sqrt(4.0 * static_cast<double>(n));
  const double cell = std::max(lenSum / static_cast<double>(n), byDensity);
  while (g.shift < 40 && static_cast<double>(g.Cell()) < cell) ++g.shift;
  g.nx = ((maxx + 1 - g.minx) >> g.shift) + 1;
  g.ny = ((maxy + 1 - g.miny) >> g.shift) + 1;
  if (n <= kOneCell) g.nx = g.ny = 1;
  const std::size_t ncells = static_cast<std::size_t>(g.nx * g.ny);

  auto edgeRange = [&](std::size_t i, int64_t& x0, int64_t& y0, int64_t& x1, int64_t& y1) {
    const InputEdge& e = live[i];
    x0 = g.Cx(std::min(e.a.x, e.b.x)), x1 = g.Cx(std::max(e.a.x, e.b.x));
    y0 = g.Cy(std::min(e.a.y, e.b.y)), y1 = g.Cy(std::max(e.a.y, e.b.y));
  };
  Buckets edgeCells(mem);
  MakeBuckets(edgeCells, ncells, n, g.nx, edgeRange);

  // ---- Hot pixels: end points and rounded proper crossings ----
  // Keyed by point; ref 2 i (+1) is end a (b) of live edge i, -1 a crossing. An end b equal to
  // the next edge's a (a path's edges one after the other) is left out and shares its id.
  std::pmr::vector<KeyRef> hotKeys(mem);
  hotKeys.reserve(2 * n + 16);
  for (std::size_t i = 0; i < n; ++i) {
    hotKeys.push_back({KeyOf(live[i].a), static_cast<int>(2 * i)});
    if (i + 1 == n || live[i].b != live[i + 1].a)
      hotKeys.push_back({KeyOf(live[i].b), static_cast<int>(2 * i + 1)});
  }
  // Boxes of the live edges side by side, for the pair loop.
  struct Box {
    int64_t x0, y0, x1, y1;
  };
  std::pmr::vector<Box> boxes(n, mem);
  for (std::size_t i = 0; i < n; ++i) {
    const InputEdge& e = live[i];
    boxes[i] = {std::min(e.a.x, e.b.x), std::min(e.a.y, e.b.y), std::max(e.a.x, e.b.x),
                std::max(e.a.y, e.b.y)};
  }
  std::size_t crossings = 0;
  std::pmr::vector<int> byX(mem);
  for (std::size_t c = 0; c < ncells; ++c) {
    // The cell's edges by the left side of their boxes: a pair is looked at only while the
    // second box starts left of the first one's right side.
    const std::span<const int> cellItems = edgeCells.Of(c);
    byX.assign(cellItems.begin(), cellItems.end());
    std::sort(byX.begin(), byX.end(), [&](int a, int b) {
      return boxes[static_cast<std::size_t>(a)].x0 < boxes[static_cast<std::size_t>(b)].x0;
    });
    const std::span<const int> items(byX);
    const int64_t cx = static_cast<int64_t>(c) % g.nx, cy = static_cast<int64_t>(c) / g.nx;
    // The cell's own range of points (the outer cells reach on: the grid clamps there).
    const int64_t lox = cx == 0 ? INT64_MIN : g.minx + (cx << g.shift);
    const int64_t hix = cx == g.nx - 1 ? INT64_MAX : g.minx + ((cx + 1) << g.shift);
    const int64_t loy = cy == 0 ? INT64_MIN : g.miny + (cy << g.shift);
    const int64_t hiy = cy == g.ny - 1 ? INT64_MAX : g.miny + ((cy + 1) << g.shift);
    for (std::size_t i = 0; i < items.size(); ++i) {
      const Box be = boxes[static_cast<std::size_t>(items[i])];
      for (std::size_t j = i + 1; j < items.size(); ++j) {
        const Box& bf = boxes[static_cast<std::size_t>(items[j])];
        if (bf.x0 > be.x1) break;
        // Each pair is tested once: in the cell holding the low corner of the boxes' overlap.
        const int64_t ox = std::max(be.x0, bf.x0), oy = std::max(be.y0, bf.y0);
        if (ox > std::min(be.x1, bf.x1) || oy > std::min(be.y1, bf.y1)) continue;
        if (ox < lox || ox >= hix || oy < loy || oy >= hiy) continue;
        const InputEdge& e = live[static_cast<std::size_t>(items[i])];
        const InputEdge& f = live[static_cast<std::size_t>(items[j])];
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
  std::pmr::vector<IPoint>& hot = out.hot;
  std::pmr::vector<int> endId(2 * n, mem);
  {
    std::pmr::vector<KeyRef> tmp(mem);
    SortByKey(hotKeys, tmp);
    hot.reserve(hotKeys.size());
    for (std::size_t k = 0; k < hotKeys.size(); ++k) {
      if (k == 0 || hotKeys[k].key != hotKeys[k - 1].key) hot.push_back(PointOf(hotKeys[k].key));
      if (hotKeys[k].ref >= 0)
        endId[static_cast<std::size_t>(hotKeys[k].ref)] = static_cast<int>(hot.size()) - 1;
    }
    for (std::size_t i = 0; i + 1 < n; ++i)
      if (live[i].b == live[i + 1].a) endId[2 * i + 1] = endId[2 * i + 2];
  }
  // The hot pixels' own grid: down to a quarter of the edges' cell, while it keeps at most
  // kHotCellsPerPixel cells a hot pixel, so that an edge looks at few pixels off its line.
  Grid hg = g;
  if (g.nx * g.ny > 1) {
    const auto cells = [&](int shift) {
      return (((maxx + 1 - g.minx) >> shift) + 1) * (((maxy + 1 - g.miny) >> shift) + 1);
    };
    const int64_t most = static_cast<int64_t>(kHotCellsPerPixel * hot.size());
    for (int k = 0; k < kHotGridSteps && hg.shift > 0 && cells(hg.shift - 1) <= most; ++k)
      --hg.shift;
    hg.nx = ((maxx + 1 - g.minx) >> hg.shift) + 1;
    hg.ny = ((maxy + 1 - g.miny) >> hg.shift) + 1;
  }
  Buckets hotCells(mem);
  MakeBuckets(hotCells, static_cast<std::size_t>(hg.nx * hg.ny), hot.size(), hg.nx,
              [&](std::size_t i, int64_t& x0, int64_t& y0, int64_t& x1, int64_t& y1) {
                x0 = x1 = hg.Cx(hot[i].x), y0 = y1 = hg.Cy(hot[i].y);
              });

  // ---- Rerouting through hot pixels ----
  std::pmr::vector<Fragment> frags(mem);
  frags.reserve(n + crossings * 2);
  std::pmr::vector<std::pair<int64_t, int>> hits(mem), onFrag(mem);
  // Hot pixels within the edge's reach of its line, with their projections on it: every
  // fragment lies in the edge's box grown by 1 and within that reach (its ends do, and both
  // bounds are convex), so a pixel on a fragment is among them, its projection between the
  // fragment's ends'.
  std::pmr::vector<std::pair<int64_t, int>> line(mem);
  for (std::size_t li = 0; li < n; ++li) {
    const InputEdge& e = live[li];
    const IPoint d{e.b.x - e.a.x, e.b.y - e.a.y};
    const int64_t len2 = d.x * d.x + d.y * d.y;
    const IPoint p2{2 * e.a.x, 2 * e.a.y}, q2{2 * e.b.x, 2 * e.b.y};
    const int64_t x0 = std::min(e.a.x, e.b.x) - 1, x1 = std::max(e.a.x, e.b.x) + 1;
    const int64_t y0 = std::min(e.a.y, e.b.y) - 1, y1 = std::max(e.a.y, e.b.y) + 1;
    line.clear();
    const int ia = endId[2 * li], ib = endId[2 * li + 1];
    hits.assign(1, {0, ia});
    // A cell's hot pixels ascend in (x, y) order: those left of the box are skipped by a
    // binary search, the scan stops right of it.
    const auto leftOf = [&](int h, int64_t x) { return hot[static_cast<std::size_t>(h)].x < x; };
    for (int64_t cy = hg.Cy(y0); cy <= hg.Cy(y1); ++cy)
      for (int64_t cx = hg.Cx(x0); cx <= hg.Cx(x1); ++cx) {
        const std::span<const int> cell = hotCells.Of(static_cast<std::size_t>(cy * hg.nx + cx));
        for (auto it = std::lower_bound(cell.begin(), cell.end(), x0, leftOf);
             it != cell.end() && hot[static_cast<std::size_t>(*it)].x <= x1; ++it) {
          const int h = *it;
          const IPoint& p = hot[static_cast<std::size_t>(h)];
          if (p.y < y0 || p.y > y1) continue;
          // The line's distance first (doubled units): it must pass within the square's
          // reach, |cross(d, 2 p - 2 a)| <= |dx| + |dy|, for the segment to meet the pixel.
          const int64_t side = d.x * (2 * (p.y - e.a.y)) - d.y * (2 * (p.x - e.a.x));
          if (std::llabs(side) > std::llabs(d.x) + std::llabs(d.y)) continue;
          const int64_t proj = (p.x - e.a.x) * d.x + (p.y - e.a.y) * d.y;
          line.emplace_back(proj, h);
          if (h == ia || h == ib) continue;
          if (!SegmentMeetsPixel(p2, q2, 2 * p.x - 1, 2 * p.x + 1, 2 * p.y - 1, 2 * p.y + 1))
            continue;
          hits.emplace_back(proj, h);
        }
      }
    std::sort(hits.begin() + 1, hits.end());
    const bool rerouted = hits.size() > 1;
    if (rerouted) std::sort(line.begin(), line.end());
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
      if (rerouted) {
        const int64_t lo = std::min(hits[k].first, hits[k + 1].first);
        const int64_t hi = std::max(hits[k].first, hits[k + 1].first);
        for (auto it = std::lower_bound(line.begin(), line.end(), std::pair{lo, INT_MIN});
             it != line.end() && it->first <= hi; ++it)
          look(it->second);
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
  std::pmr::vector<std::size_t> loStart(hot.size() + 1, 0, mem);
  for (const Fragment& f : frags) ++loStart[static_cast<std::size_t>(std::min(f.u, f.v)) + 1];
  for (std::size_t v = 0; v < hot.size(); ++v) loStart[v + 1] += loStart[v];
  std::pmr::vector<int> order(frags.size(), mem);
  {
    std::pmr::vector<std::size_t> fill(loStart.begin(), loStart.end() - 1, mem);
    for (std::size_t i = 0; i < frags.size(); ++i)
      order[fill[static_cast<std::size_t>(std::min(frags[i].u, frags[i].v))]++] =
          static_cast<int>(i);
  }
  auto hiOf = [&](int i) {
    return std::max(frags[static_cast<std::size_t>(i)].u, frags[static_cast<std::size_t>(i)].v);
  };
  std::pmr::vector<Edge>& edges = out.edges;
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
  out.grid = g;
  out.stats = {crossings, frags.size(), edges.size()};
  return true;
}

}  // namespace plexa::arr::detail
