#include "io/drawing.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "plexa/core/planar.h"

namespace plexa::io {
namespace {

// Share of a path's flattened points that must lie inside another path for it to count as
// inside: high enough that outlines which only touch are not nested.
constexpr double kHoleRatio = 0.9;

// Polygons with more points than this get a row index for their inside test.
constexpr std::size_t kIndexedPolygon = 64;
// Rows of the index: a point test walks about edges / kIndexRows edges.
constexpr int kIndexRows = 256;
// Cells a side of the candidate grid, and cells a path may cover before it is checked
// against every path instead of through the grid.
constexpr int kGridSide = 256;
constexpr long long kGridCellsPerPath = 64;

struct Flat {
  std::vector<tagPOINT> pts;
  CRect bounds;
  double area = 0;
  // Edge i joins pts[i] and pts[i + 1] (and the last point the first); rows[k] lists the edges
  // whose y range meets row k of the bounds.
  std::vector<std::vector<int>> rows;
  double rowHeight = 1;

  // Even-odd crossing count of a horizontal ray towards +x: a crossing counts when the edge
  // straddles p.y (one end above, the other at or below) and meets the ray right of p.
  bool Contains(const tagPOINT& p) const {
    if (pts.size() < 3 || p.x < bounds.left || p.x > bounds.right || p.y < bounds.top ||
        p.y > bounds.bottom)
      return false;
    bool inside = false;
    const auto edge = [&](std::size_t i) {
      const tagPOINT& a = pts[i];
      const tagPOINT& b = pts[i + 1 < pts.size() ? i + 1 : 0];
      if ((a.y > p.y) == (b.y > p.y)) return;
      const double x = a.x + (static_cast<double>(p.y) - a.y) * (static_cast<double>(b.x) - a.x) /
                                 (static_cast<double>(b.y) - a.y);
      if (p.x < x) inside = !inside;
    };
    if (rows.empty()) {
      for (std::size_t i = 0; i < pts.size(); ++i) edge(i);
    } else {
      const int k = std::clamp(static_cast<int>((p.y - bounds.top) / rowHeight), 0, kIndexRows - 1);
      for (int i : rows[static_cast<std::size_t>(k)]) edge(static_cast<std::size_t>(i));
    }
    return inside;
  }
};

// Flattened at 1 unit and rounded to integers.
Flat Flatten(const CBPointArray& path) {
  Flat f;
  CArray<PLEXA::CDPOINT> pts;
  CDWordArray ends;
  path.ExecuteBPointArrayT(pts, ends, 1.0);
  f.pts.reserve(static_cast<std::size_t>(pts.GetSize()));
  constexpr double kLimit = 2e9;  // LONG range
  for (const PLEXA::CDPOINT& p : pts) {
    const double x = std::isfinite(p.x) ? std::clamp(std::floor(p.x + 0.5), -kLimit, kLimit) : 0;
    const double y = std::isfinite(p.y) ? std::clamp(std::floor(p.y + 0.5), -kLimit, kLimit) : 0;
    f.pts.push_back(tagPOINT{static_cast<LONG>(x), static_cast<LONG>(y)});
  }
  if (f.pts.empty()) return f;
  f.bounds = GetPolygonRect(f.pts.data(), static_cast<int>(f.pts.size()));
  f.area = static_cast<double>(f.bounds.Width()) * f.bounds.Height();
  if (f.pts.size() > kIndexedPolygon) {
    f.rows.resize(kIndexRows);
    f.rowHeight =
        std::max(1.0, (static_cast<double>(f.bounds.bottom) - f.bounds.top + 1) / kIndexRows);
    for (std::size_t i = 0; i < f.pts.size(); ++i) {
      const tagPOINT& a = f.pts[i];
      const tagPOINT& b = f.pts[i + 1 < f.pts.size() ? i + 1 : 0];
      const auto row = [&](LONG y) {
        return std::clamp(static_cast<int>((y - f.bounds.top) / f.rowHeight), 0, kIndexRows - 1);
      };
      const int r0 = row(std::min(a.y, b.y)), r1 = row(std::max(a.y, b.y));
      for (int r = r0; r <= r1; ++r)
        f.rows[static_cast<std::size_t>(r)].push_back(static_cast<int>(i));
    }
  }
  return f;
}

// At least kHoleRatio of inner's points inside outer; stops as soon as the answer is known.
bool Inside(const Flat& inner, const Flat& outer) {
  if (inner.pts.empty() || outer.pts.size() < 3) return false;
  const std::size_t n = inner.pts.size();
  const auto allowedOut = static_cast<std::size_t>(std::floor(n * (1 - kHoleRatio) + 1e-9));
  std::size_t out = 0;
  for (const tagPOINT& p : inner.pts)
    if (!outer.Contains(p) && ++out > allowedOut) return false;
  return true;
}

bool Overlap(const CRect& a, const CRect& b) {
  return a.left <= b.right && b.left <= a.right && a.top <= b.bottom && b.top <= a.bottom;
}

void ScaleNode(PLEXA::CBPOINT& n, double sx, double sy) {
  for (PLEXA::CDPOINT* p : {&n.in, &n.anchor, &n.out}) {
    p->x *= sx;
    p->y *= sy;
  }
}

}  // namespace

int Drawing::Add(CBPointArray path, FillRule rule) {
  const int index =
      static_cast<int>(paths.Add(std::make_unique<CBPointArray>(std::move(path)).release()));
  items.push_back(Item{{index}, rule});
  return index;
}

PLEXA::CDRECT PageBox(const Drawing& d) {
  if (d.width > 0 && d.height > 0) return PLEXA::CDRECT(0, d.width, 0, d.height);
  constexpr double kInf = std::numeric_limits<double>::infinity();
  PLEXA::CDRECT r(kInf, -kInf, kInf, -kInf);
  for (INT_PTR i = 0; i < d.paths.GetSize(); ++i) {
    const CBPointArray* p = d.paths.GetAt(static_cast<int>(i));
    if (p == nullptr) continue;
    // Control points bound the curve: cheaper than flattening and never smaller.
    for (const PLEXA::CBPOINT& n : *p)
      for (const PLEXA::CDPOINT& q : {n.in, n.anchor, n.out}) {
        if (!std::isfinite(q.x) || !std::isfinite(q.y)) continue;
        r.xmin = std::min(r.xmin, q.x);
        r.xmax = std::max(r.xmax, q.x);
        r.ymin = std::min(r.ymin, q.y);
        r.ymax = std::max(r.ymax, q.y);
      }
  }
  if (r.xmin > r.xmax) return PLEXA::CDRECT();
  return r;
}

void Scale(Drawing& d, double s) {
  Scale(d, s, s);
}

void Scale(Drawing& d, double sx, double sy) {
  if (!std::isfinite(sx) || !std::isfinite(sy) || sx <= 0 || sy <= 0) return;
  for (INT_PTR i = 0; i < d.paths.GetSize(); ++i)
    if (CBPointArray* p = d.paths.GetAt(static_cast<int>(i)))
      for (PLEXA::CBPOINT& n : *p) ScaleNode(n, sx, sy);
  d.width *= sx;
  d.height *= sy;
  d.userUnitX *= sx;
  d.userUnitY *= sy;
}

void NestPaths(const CPolyPolyBezier& set, std::vector<int>& depth, std::vector<int>& parent) {
  const int n = static_cast<int>(set.GetSize());
  std::vector<Flat> flat(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i)
    if (const CBPointArray* p = set.GetAt(i)) flat[static_cast<std::size_t>(i)] = Flatten(*p);
  depth.assign(static_cast<std::size_t>(n), 0);
  parent.assign(static_cast<std::size_t>(n), -1);

  // Candidates through a grid over all bounds: a container's bounds overlap its content's.
  CRect all(0, 0, 0, 0);
  bool any = false;
  for (const Flat& f : flat) {
    if (f.pts.empty()) continue;
    all = any ? CRect(std::min(all.left, f.bounds.left), std::min(all.top, f.bounds.top),
                      std::max(all.right, f.bounds.right), std::max(all.bottom, f.bounds.bottom))
              : f.bounds;
    any = true;
  }
  if (!any) return;
  const double cw = std::max(1.0, (static_cast<double>(all.right) - all.left + 1) / kGridSide);
  const double ch = std::max(1.0, (static_cast<double>(all.bottom) - all.top + 1) / kGridSide);
  const auto cells = [&](const CRect& r, int& x0, int& y0, int& x1, int& y1) {
    x0 = std::clamp(static_cast<int>((r.left - all.left) / cw), 0, kGridSide - 1);
    x1 = std::clamp(static_cast<int>((r.right - all.left) / cw), 0, kGridSide - 1);
    y0 = std::clamp(static_cast<int>((r.top - all.top) / ch), 0, kGridSide - 1);
    y1 = std::clamp(static_cast<int>((r.bottom - all.top) / ch), 0, kGridSide - 1);
    return static_cast<long long>(x1 - x0 + 1) * (y1 - y0 + 1);
  };
  std::vector<std::vector<int>> grid(static_cast<std::size_t>(kGridSide) * kGridSide);
  std::vector<int> large;
  for (int i = 0; i < n; ++i) {
    const Flat& f = flat[static_cast<std::size_t>(i)];
    if (f.pts.size() < 3) continue;
    int x0, y0, x1, y1;
    if (cells(f.bounds, x0, y0, x1, y1) > kGridCellsPerPath) {
      large.push_back(i);
      continue;
    }
    for (int y = y0; y <= y1; ++y)
      for (int x = x0; x <= x1; ++x) grid[static_cast<std::size_t>(y) * kGridSide + x].push_back(i);
  }
  std::vector<int> seen(static_cast<std::size_t>(n), -1);
  for (int j = 0; j < n; ++j) {
    const auto uj = static_cast<std::size_t>(j);
    if (flat[uj].pts.empty()) continue;
    const auto consider = [&](int i) {
      const auto ui = static_cast<std::size_t>(i);
      if (i == j || seen[ui] == j || !Overlap(flat[ui].bounds, flat[uj].bounds)) return;
      seen[ui] = j;
      if (!Inside(flat[uj], flat[ui])) return;
      ++depth[uj];
      const int p = parent[uj];
      if (p < 0 || flat[ui].area < flat[static_cast<std::size_t>(p)].area) parent[uj] = i;
    };
    int x0, y0, x1, y1;
    if (cells(flat[uj].bounds, x0, y0, x1, y1) > kGridCellsPerPath) {
      for (int i = 0; i < n; ++i) consider(i);
      continue;
    }
    for (int i : large) consider(i);
    for (int y = y0; y <= y1; ++y)
      for (int x = x0; x <= x1; ++x)
        for (int i : grid[static_cast<std::size_t>(y) * kGridSide + x]) consider(i);
  }
}

void GroupIntoShapes(Drawing& d) {
  std::vector<bool> used(static_cast<std::size_t>(d.paths.GetSize()), false);
  for (const Item& item : d.items)
    for (int k : item.paths)
      if (k >= 0 && k < static_cast<int>(used.size())) used[static_cast<std::size_t>(k)] = true;
  std::vector<int> depth, parent;
  NestPaths(d.paths, depth, parent);
  const int n = static_cast<int>(d.paths.GetSize());
  std::vector<Item> shapes;
  std::vector<int> shapeOf(static_cast<std::size_t>(n), -1);
  for (int i = 0; i < n; ++i) {
    const auto ui = static_cast<std::size_t>(i);
    if (d.paths.GetAt(i) == nullptr || !used[ui] || depth[ui] % 2 != 0) continue;
    shapeOf[ui] = static_cast<int>(shapes.size());
    shapes.push_back(Item{{i}, FillRule::kEvenOdd});
  }
  for (int j = 0; j < n; ++j) {
    const auto uj = static_cast<std::size_t>(j);
    if (d.paths.GetAt(j) == nullptr || !used[uj] || depth[uj] % 2 == 0) continue;
    const int owner = parent[uj] >= 0 ? shapeOf[static_cast<std::size_t>(parent[uj])] : -1;
    if (owner >= 0)
      shapes[static_cast<std::size_t>(owner)].paths.push_back(j);
    else
      shapes.push_back(Item{{j}, FillRule::kEvenOdd});  // its container is a hole: keep it
  }
  d.items = std::move(shapes);
}

}  // namespace plexa::io
