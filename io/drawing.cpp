#include "io/drawing.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "plexa/core/planar.h"
#include "plexa/geom/pathset.h"

namespace plexa::io {
namespace {

// Share of a path's flattened points that must lie inside another path for it to count as
// inside: high enough that outlines which only touch are not nested.
constexpr double kHoleRatio = 0.9;

struct Flat {
  std::vector<tagPOINT> pts;
  CRect bounds;
  double area = 0;
};

// Flattened at 1 unit and rounded to integers, as GetPolyPolyHoles counts points.
Flat Flatten(const CBPointArray& path) {
  Flat f;
  CArray<PLEXA::CDPOINT> pts;
  CDWordArray ends;
  path.ExecuteBPointArrayT(pts, ends, 1.0);
  f.pts.reserve(static_cast<std::size_t>(pts.GetSize()));
  for (const PLEXA::CDPOINT& p : pts)
    f.pts.push_back(tagPOINT{static_cast<LONG>(std::floor(p.x + 0.5)),
                             static_cast<LONG>(std::floor(p.y + 0.5))});
  if (!f.pts.empty()) f.bounds = GetPolygonRect(f.pts.data(), static_cast<int>(f.pts.size()));
  f.area = static_cast<double>(f.bounds.Width()) * f.bounds.Height();
  return f;
}

bool Inside(const Flat& inner, const Flat& outer) {
  if (inner.pts.empty() || outer.pts.size() < 3) return false;
  std::size_t count = 0;
  for (const tagPOINT& p : inner.pts)
    count += IsPointInPolygon(outer.pts.data(), static_cast<int>(outer.pts.size()), p,
                              &outer.bounds) != 0;
  return static_cast<double>(count) / static_cast<double>(inner.pts.size()) >= kHoleRatio;
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
}

void NestPaths(const CPolyPolyBezier& set, std::vector<int>& depth, std::vector<int>& parent) {
  const int n = static_cast<int>(set.GetSize());
  CArray<int, int> holes;
  GetPolyPolyHoles(set, holes, kHoleRatio);
  std::vector<bool> isHole(static_cast<std::size_t>(n), false);
  for (int h : holes) isHole[static_cast<std::size_t>(h)] = true;

  std::vector<Flat> flat(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i)
    if (const CBPointArray* p = set.GetAt(i)) flat[static_cast<std::size_t>(i)] = Flatten(*p);

  depth.assign(static_cast<std::size_t>(n), 0);
  parent.assign(static_cast<std::size_t>(n), -1);
  for (int j = 0; j < n; ++j) {
    const auto uj = static_cast<std::size_t>(j);
    if (!isHole[uj]) continue;
    for (int i = 0; i < n; ++i) {
      const auto ui = static_cast<std::size_t>(i);
      if (i == j || !Inside(flat[uj], flat[ui])) continue;
      ++depth[uj];
      const int p = parent[uj];
      if (p < 0 || flat[ui].area < flat[static_cast<std::size_t>(p)].area) parent[uj] = i;
    }
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
