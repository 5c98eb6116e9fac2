#include "tools/svg.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "plexa/core/planar.h"
#include "plexa/geom/pathset.h"

namespace {

// Share of a path's flattened points that must lie inside another path for it to count as
// inside: high enough that outlines which only touch are not nested.
constexpr double kHoleRatio = 0.9;

struct Flat {
  std::vector<tagPOINT> pts;
  CRect bounds;
  double area = 0;
};

Flat Flatten(const CBPointArray& path) {
  Flat f;
  CArray<PLEXA::CDPOINT> pts;
  CDWordArray ends;
  path.ExecuteBPointArrayT(pts, ends, 1.0);
  for (const PLEXA::CDPOINT& p : pts)
    f.pts.push_back(tagPOINT{static_cast<LONG>(std::floor(p.x + 0.5)), static_cast<LONG>(std::floor(p.y + 0.5))});
  if (!f.pts.empty()) f.bounds = GetPolygonRect(f.pts.data(), static_cast<int>(f.pts.size()));
  f.area = static_cast<double>(f.bounds.Width()) * f.bounds.Height();
  return f;
}

bool Inside(const Flat& inner, const Flat& outer) {
  if (inner.pts.empty() || outer.pts.size() < 3) return false;
  std::size_t count = 0;
  for (const tagPOINT& p : inner.pts)
    count += IsPointInPolygon(outer.pts.data(), static_cast<int>(outer.pts.size()), p, &outer.bounds) ? 1 : 0;
  return static_cast<double>(count) / static_cast<double>(inner.pts.size()) >= kHoleRatio;
}

void Number(std::string& out, double v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.3f", v);
  std::string s(buf);
  while (!s.empty() && s.back() == '0') s.pop_back();
  if (!s.empty() && s.back() == '.') s.pop_back();
  if (s == "-0") s = "0";
  out += s;
}

void Point(std::string& out, const PLEXA::CDPOINT& p, double scale) {
  Number(out, (p.x + 0.5) * scale);
  out += ' ';
  Number(out, (p.y + 0.5) * scale);
}

void PathData(std::string& out, const CBPointArray& path, double scale) {
  if (path.IsEmpty()) return;
  out += 'M';
  Point(out, path[0].anchor, scale);
  for (INT_PTR i = 0; i + 1 < path.GetSize(); ++i) {
    out += " C";
    Point(out, path[i].out, scale);
    out += ' ';
    Point(out, path[i + 1].in, scale);
    out += ' ';
    Point(out, path[i + 1].anchor, scale);
  }
  out += " Z";
}

}  // namespace

std::vector<Shape> GroupOutlines(const CPolyPolyBezier& set) {
  const int n = static_cast<int>(set.GetSize());
  CArray<int, int> holes;
  GetPolyPolyHoles(set, holes, kHoleRatio);
  std::vector<bool> isHole(static_cast<std::size_t>(n), false);
  for (int h : holes) isHole[static_cast<std::size_t>(h)] = true;

  std::vector<Flat> flat;
  flat.reserve(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) flat.push_back(set.GetAt(i) ? Flatten(*set.GetAt(i)) : Flat());

  // Depth and innermost container of every nested path.
  std::vector<int> depth(static_cast<std::size_t>(n), 0), parent(static_cast<std::size_t>(n), -1);
  for (int j = 0; j < n; ++j) {
    if (!isHole[static_cast<std::size_t>(j)]) continue;
    for (int i = 0; i < n; ++i) {
      if (i == j || !Inside(flat[static_cast<std::size_t>(j)], flat[static_cast<std::size_t>(i)])) continue;
      ++depth[static_cast<std::size_t>(j)];
      const int p = parent[static_cast<std::size_t>(j)];
      if (p < 0 || flat[static_cast<std::size_t>(i)].area < flat[static_cast<std::size_t>(p)].area)
        parent[static_cast<std::size_t>(j)] = i;
    }
  }

  std::vector<Shape> shapes;
  std::vector<int> shapeOf(static_cast<std::size_t>(n), -1);
  for (int i = 0; i < n; ++i) {
    if (set.GetAt(i) == nullptr || depth[static_cast<std::size_t>(i)] % 2 != 0) continue;
    shapeOf[static_cast<std::size_t>(i)] = static_cast<int>(shapes.size());
    shapes.push_back(Shape{i, {}});
  }
  for (int j = 0; j < n; ++j) {
    if (depth[static_cast<std::size_t>(j)] % 2 == 0) continue;
    const int owner = shapeOf[static_cast<std::size_t>(parent[static_cast<std::size_t>(j)])];
    if (owner >= 0) shapes[static_cast<std::size_t>(owner)].holes.push_back(j);
    else shapes.push_back(Shape{j, {}});  // its container is itself a hole: keep it visible
  }
  return shapes;
}

std::string WriteSvg(const CPolyPolyBezier& set, const std::vector<Shape>& shapes, const SvgOptions& o) {
  const double scale = o.dpi > 0 ? 25.4 / o.dpi : 1.0;
  const char* unit = o.dpi > 0 ? "mm" : "";
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  out += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"";
  Number(out, o.width * scale);
  out += unit;
  out += "\" height=\"";
  Number(out, o.height * scale);
  out += unit;
  out += "\" viewBox=\"0 0 ";
  Number(out, o.width * scale);
  out += ' ';
  Number(out, o.height * scale);
  out += "\">\n";
  for (const Shape& s : shapes) {
    out += "  <path fill-rule=\"evenodd\" d=\"";
    PathData(out, set[s.outline], scale);
    for (int h : s.holes) {
      out += ' ';
      PathData(out, set[h], scale);
    }
    out += "\"/>\n";
  }
  out += "</svg>\n";
  return out;
}
