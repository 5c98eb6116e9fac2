// Pairs of overlapping axis-aligned boxes through a uniform grid: the broad phase of the
// offset's layout and of the boolean's choice of which curves to flatten finely.
//
//   std::vector<plexa::boxes::Box> boxes = ...;
//   plexa::boxes::ForEachOverlap(boxes, [&](int i, int j) { ...; return true; });
//
// Every pair i < j of boxes that overlap (closed: touching counts) is visited exactly once, in
// the cell holding the low corner of the overlap; visit returns false to stop (ForEachOverlap
// then returns false), and so does testing more than maxTests pairs whose x ranges overlap
// (boxes crowded into one cell, overlapping in x but not in y, cost tests without visits). Boxes
// with a NaN coordinate overlap nothing. Work: the boxes are spread over at most 4 n cells, with
// the cell side doubled until they take at most kMaxEntriesPerBox n + kMinEntries places (a few
// huge boxes cost little, many cost a coarser grid); then each cell's pairs. Private: never
// installed.
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
bool ForEachOverlap(std::span<const Box> boxes, Visit visit,
                    std::size_t maxTests = static_cast<std::size_t>(-1)) {
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
  double inv = 1 / cell;
  // Cell of coordinate v, clamped to the grid (a NaN, from infinite boxes, to the first).
  const auto index = [&](double v, double lo, std::int64_t cells) -> std::int32_t {
    const double c = (v - lo) * inv;
    if (!(c >= 1)) return 0;
    return static_cast<std::int32_t>(c >= static_cast<double>(cells - 1) ? cells - 1 : c);
  };
  const std::size_t budget = kMaxEntriesPerBox * valid + kMinEntries;
  std::size_t entries = valid;
  const bool finite = std::isfinite(maxx - minx) && std::isfinite(maxy - miny);
  for (int round = 0; finite && round < 64; ++round, cell *= 2) {
    inv = 1 / cell;
    nx = std::min<std::int64_t>(static_cast<std::int64_t>((maxx - minx) * inv) + 1, 1 << 20);
    ny = std::min<std::int64_t>(static_cast<std::int64_t>((maxy - miny) * inv) + 1, 1 << 20);
    if (static_cast<std::size_t>(nx * ny) > 4 * valid + 16) continue;
    entries = 0;
    for (const Box& b : boxes) {
      if (!(b.x0 <= b.x1 && b.y0 <= b.y1)) continue;
      entries += static_cast<std::size_t>(index(b.x1, minx, nx) - index(b.x0, minx, nx) + 1) *
                 static_cast<std::size_t>(index(b.y1, miny, ny) - index(b.y0, miny, ny) + 1);
    }
    if (entries <= budget) break;
  }
  if (!finite) inv = 0;
  // Each box's range of cells, once (-1 for the boxes left out).
  struct Range {
    std::int32_t x0, y0, x1, y1;
  };
  std::vector<Range> range(n, Range{-1, -1, -2, -2});
  for (std::size_t i = 0; i < n; ++i) {
    const Box& b = boxes[i];
    if (b.x0 <= b.x1 && b.y0 <= b.y1)
      range[i] = {index(b.x0, minx, nx), index(b.y0, miny, ny), index(b.x1, minx, nx),
                  index(b.y1, miny, ny)};
  }
  entries = 0;
  for (const Range& r : range)
    entries +=
        static_cast<std::size_t>(r.x1 - r.x0 + 1) * static_cast<std::size_t>(r.y1 - r.y0 + 1);
  const std::size_t cells = static_cast<std::size_t>(nx * ny);
  std::vector<std::uint32_t> start(cells + 1, 0);
  std::vector<int> items(entries);
  for (int pass = 0; pass < 2; ++pass) {
    for (std::size_t i = 0; i < n; ++i) {
      const Range& r = range[i];
      for (std::int64_t y = r.y0; y <= r.y1; ++y)
        for (std::int64_t x = r.x0; x <= r.x1; ++x) {
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
  for (std::int64_t cy = 0; cy < ny; ++cy)
    for (std::int64_t cx = 0; cx < nx; ++cx) {
      const std::size_t c = static_cast<std::size_t>(cy * nx + cx);
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
          if (maxTests-- == 0) return false;
          if (f.y0 > e.y1 || e.y0 > f.y1 || f.x1 < e.x0) continue;
          // The low corner of the overlap is the larger low corner of each axis: its cell is
          // that box's own first cell.
          const Range &re = range[static_cast<std::size_t>(i)],
                      &rf = range[static_cast<std::size_t>(j)];
          if ((e.x0 >= f.x0 ? re.x0 : rf.x0) != cx || (e.y0 >= f.y0 ? re.y0 : rf.y0) != cy)
            continue;
          if (!(i < j ? visit(i, j) : visit(j, i))) return false;
        }
      }
    }
  return true;
}

}  // namespace plexa::boxes
