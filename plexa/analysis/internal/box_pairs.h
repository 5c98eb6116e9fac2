// Pairs of overlapping axis-aligned boxes through a uniform grid: the broad phase of the
// offset's layout and of the boolean's choice of which curves to flatten finely.
//
//   std::vector<plexa::boxes::Box> boxes = ...;
//   plexa::boxes::ForEachOverlap(boxes, [&](int i, int j) { ...; return true; });
//
// Every pair i < j of boxes that overlap (closed: touching counts) is visited exactly once, in
// the cell holding the low corner of the overlap; visit returns false to stop (ForEachOverlap
// then returns false). Boxes with a NaN coordinate overlap nothing. Work: the boxes are
// spread over at most 4 n cells, with the cell side doubled until they take at most
// kMaxEntriesPerBox n + kMinEntries places (a few huge boxes cost little, many cost a coarser
// grid); then each cell's pairs. Private: never installed.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace plexa::boxes {

struct Box {
  double x0, y0, x1, y1;
};

inline constexpr std::size_t kMaxEntriesPerBox = 8;
inline constexpr std::size_t kMinEntries = std::size_t{1} << 16;

template <typename Visit>
bool ForEachOverlap(std::span<const Box> boxes, Visit visit) {
  const std::size_t n = boxes.size();
  double minx = HUGE_VAL, miny = HUGE_VAL, maxx = -HUGE_VAL, maxy = -HUGE_VAL, size = 0;
  std::size_t valid = 0;
  for (const Box& b : boxes) {
    if (!(b.x0 <= b.x1 && b.y0 <= b.y1)) continue;
    minx = std::min(minx, b.x0), maxx = std::max(maxx, b.x1);
    miny = std::min(miny, b.y0), maxy = std::max(maxy, b.y1);
    size += std::max(b.x1 - b.x0, b.y1 - b.y0);
    ++valid;
  }
  if (valid < 2) return true;
  const double extent = std::max({maxx - minx, maxy - miny, 1e-300});
  // Cells about the size of a mean box, and no more than about 4 a box.
  double cell = std::max(size / static_cast<double>(valid),
                         extent / std::sqrt(4.0 * static_cast<double>(valid)));
  if (!(cell > 0) || !std::isfinite(cell)) cell = extent;
  std::int64_t nx = 1, ny = 1;
  // Cell of coordinate v, clamped to the grid (a NaN, from infinite boxes, to the first).
  const auto index = [&](double v, double lo, std::int64_t cells) -> std::int64_t {
    const double c = std::floor((v - lo) / cell);
    if (!(c > 0)) return 0;
    return c >= static_cast<double>(cells - 1) ? cells - 1 : static_cast<std::int64_t>(c);
  };
  const std::size_t budget = kMaxEntriesPerBox * valid + kMinEntries;
  std::size_t entries = valid;
  const bool finite = std::isfinite(maxx - minx) && std::isfinite(maxy - miny);
  for (int round = 0; finite && round < 64; ++round) {
    nx = std::min<std::int64_t>(static_cast<std::int64_t>((maxx - minx) / cell) + 1, 1 << 20);
    ny = std::min<std::int64_t>(static_cast<std::int64_t>((maxy - miny) / cell) + 1, 1 << 20);
    entries = 0;
    for (const Box& b : boxes) {
      if (!(b.x0 <= b.x1 && b.y0 <= b.y1)) continue;
      entries += static_cast<std::size_t>((index(b.x1, minx, nx) - index(b.x0, minx, nx) + 1) *
                                          (index(b.y1, miny, ny) - index(b.y0, miny, ny) + 1));
    }
    if (entries <= budget && static_cast<std::size_t>(nx * ny) <= 4 * valid + 16) break;
    cell *= 2;
  }
  const std::size_t cells = static_cast<std::size_t>(nx * ny);
  std::vector<std::uint32_t> start(cells + 1, 0);
  std::vector<int> items(entries);
  for (int pass = 0; pass < 2; ++pass) {
    for (std::size_t i = 0; i < n; ++i) {
      const Box& b = boxes[i];
      if (!(b.x0 <= b.x1 && b.y0 <= b.y1)) continue;
      const std::int64_t cx0 = index(b.x0, minx, nx), cx1 = index(b.x1, minx, nx);
      const std::int64_t cy0 = index(b.y0, miny, ny), cy1 = index(b.y1, miny, ny);
      for (std::int64_t y = cy0; y <= cy1; ++y)
        for (std::int64_t x = cx0; x <= cx1; ++x) {
          const std::size_t c = static_cast<std::size_t>(y * nx + x);
          if (pass == 0)
            ++start[c + 1];
          else
            items[start[c]++] = static_cast<int>(i);
        }
    }
    if (pass == 0) {
      for (std::size_t c = 0; c < cells; ++c) start[c + 1] += start[c];
    } else {
      for (std::size_t c = cells; c > 0; --c) start[c] = start[c - 1];
      start[0] = 0;
    }
  }
  for (std::size_t c = 0; c < cells; ++c) {
    const std::int64_t cx = static_cast<std::int64_t>(c) % nx,
                       cy = static_cast<std::int64_t>(c) / nx;
    // By the left sides of the boxes: a pair is looked at only while the second box starts
    // left of the first one's right side.
    std::sort(items.begin() + start[c], items.begin() + start[c + 1], [&](int a, int b) {
      return boxes[static_cast<std::size_t>(a)].x0 < boxes[static_cast<std::size_t>(b)].x0;
    });
    for (std::uint32_t a = start[c]; a < start[c + 1]; ++a) {
      const int i = items[a];
      const Box& e = boxes[static_cast<std::size_t>(i)];
      for (std::uint32_t b = a + 1; b < start[c + 1]; ++b) {
        const int j = items[b];
        const Box& f = boxes[static_cast<std::size_t>(j)];
        if (f.x0 > e.x1) break;
        const double ox = std::max(e.x0, f.x0), oy = std::max(e.y0, f.y0);
        if (ox > std::min(e.x1, f.x1) || oy > std::min(e.y1, f.y1)) continue;
        if (index(ox, minx, nx) != cx || index(oy, miny, ny) != cy) continue;
        if (!(i < j ? visit(i, j) : visit(j, i))) return false;
      }
    }
  }
  return true;
}

}  // namespace plexa::boxes
