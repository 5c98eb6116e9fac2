// The first half of the boolean arrangement (plexa/analysis/internal/arrangement.h): snap
// rounding of the input edges into merged integer graph edges, and the grid and bucket helpers
// both halves share. Every vector lives in the caller's memory resource (one arena a call).
// Private: never installed.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <span>
#include <vector>

#include "plexa/analysis/internal/arrangement.h"

namespace plexa::arr::detail {

__extension__ typedef __int128 i128;

inline std::int64_t Orient(const IPoint& o, const IPoint& a, const IPoint& b) {
  return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

// A uniform grid over the bounding box of the input, with square cells of 2^shift units (a
// shift finds a point's cell exactly). Small inputs use one cell: scanning every item then
// costs less than setting the buckets up.
struct Grid {
  std::int64_t minx = 0, miny = 0, nx = 1, ny = 1;
  int shift = 0;
  std::int64_t Cell() const { return std::int64_t{1} << shift; }
  std::int64_t Cx(std::int64_t x) const {
    return std::clamp<std::int64_t>((x - minx) >> shift, 0, nx - 1);
  }
  std::int64_t Cy(std::int64_t y) const {
    return std::clamp<std::int64_t>((y - miny) >> shift, 0, ny - 1);
  }
};

// Compressed lists: items of bucket b are items[start[b] .. start[b + 1]).
struct Buckets {
  explicit Buckets(std::pmr::memory_resource* mem) : start(mem), items(mem) {}
  std::pmr::vector<std::size_t> start;
  std::pmr::vector<int> items;
  std::span<const int> Of(std::size_t b) const {
    return {items.data() + start[b], items.data() + start[b + 1]};
  }
};

// Fills buckets from ranges [x0, x1] x [y0, y1] of cells per item (two passes: count, place;
// one pass when there is a single bucket).
template <typename RangeFn>
void MakeBuckets(Buckets& b, std::size_t nbuckets, std::size_t nitems, std::int64_t nx,
                 RangeFn range) {
  b.start.assign(nbuckets + 1, 0);
  if (nbuckets == 1) {
    b.items.resize(nitems);
    for (std::size_t i = 0; i < nitems; ++i) b.items[i] = static_cast<int>(i);
    b.start[1] = nitems;
    return;
  }
  for (std::size_t i = 0; i < nitems; ++i) {
    std::int64_t x0, y0, x1, y1;
    range(i, x0, y0, x1, y1);
    for (std::int64_t y = y0; y <= y1; ++y)
      for (std::int64_t x = x0; x <= x1; ++x) ++b.start[static_cast<std::size_t>(y * nx + x) + 1];
  }
  for (std::size_t k = 0; k < nbuckets; ++k) b.start[k + 1] += b.start[k];
  b.items.resize(b.start[nbuckets]);
  std::pmr::vector<std::size_t> fill(b.start.begin(), b.start.end() - 1, b.start.get_allocator());
  for (std::size_t i = 0; i < nitems; ++i) {
    std::int64_t x0, y0, x1, y1;
    range(i, x0, y0, x1, y1);
    for (std::int64_t y = y0; y <= y1; ++y)
      for (std::int64_t x = x0; x <= x1; ++x)
        b.items[fill[static_cast<std::size_t>(y * nx + x)]++] = static_cast<int>(i);
  }
}

// A graph edge between hot pixels u < v, with the contributions of its merged fragments in the
// direction u -> v per set, and the provenance of its first fragment.
struct Edge {
  int u, v;
  int cA = 0, cB = 0;
  int source = 0;
  double su = 0, sv = 0;
};

// The snap-rounded graph: hot pixels (in (x, y) order, so ids order like points), the merged
// edges with a non-zero contribution, and the grid the input was bucketed on.
struct Snapped {
  explicit Snapped(std::pmr::memory_resource* mem) : hot(mem), edges(mem) {}
  std::pmr::vector<IPoint> hot;
  std::pmr::vector<Edge> edges;
  Grid grid;
  ArrangementStats stats;
};

// Steps 1 to 3 of the arrangement (hot pixels, rerouting, merging). False at the bounds of
// arrangement.h; an input without any edge of non-zero length gives no edges.
bool SnapRound(std::span<const InputEdge> input, std::pmr::memory_resource* mem, Snapped& out);

}  // namespace plexa::arr::detail
