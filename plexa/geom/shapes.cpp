// The primitive shape builders of CBPointArray.
#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "plexa/geom/path.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

// Handle length of a cubic quarter circle of radius 1.
constexpr double kQuarter = 0.5522847771644592;
// Polygon extents and round-rectangle radii below this count as zero.
constexpr double kDegenerate = 1e-8;
// Straight-line handles sit at this fraction of the chord from each end.
constexpr double kLineHandle = 0.3;

CBPOINT Corner(const CDPOINT& p) {
  return CBPOINT(p, p, p);
}

CDPOINT Centre(const CDRECT& r) {
  return CDPOINT((r.xmin + r.xmax) / 2, (r.ymin + r.ymax) / 2);
}

CDRECT SquareAbout(const CDRECT& r) {
  const double s = std::max(std::fabs(r.xmax - r.xmin), std::fabs(r.ymax - r.ymin)) / 2;
  const CDPOINT c = Centre(r);
  return CDRECT(c.x - s, c.x + s, c.y - s, c.y + s);
}

}  // namespace

void CBPointArray::GetRectBPoints(const CDRECT& r, CBPointArray& path) {
  path.RemoveAll();
  path.Add(Corner(CDPOINT(r.xmin, r.ymin)));
  path.Add(Corner(CDPOINT(r.xmax, r.ymin)));
  path.Add(Corner(CDPOINT(r.xmax, r.ymax)));
  path.Add(Corner(CDPOINT(r.xmin, r.ymax)));
  path.Add(Corner(CDPOINT(r.xmin, r.ymin)));
}

void CBPointArray::GetSquareBPoints(const CDRECT& r, CBPointArray& path) {
  GetRectBPoints(SquareAbout(r), path);
}

void CBPointArray::GetEllipseBPoints(const CDRECT& r, CBPointArray& path) {
  path.RemoveAll();
  const CDPOINT c = Centre(r);
  const double ka = kQuarter * (r.xmax - r.xmin) / 2;
  const double kb = kQuarter * (r.ymax - r.ymin) / 2;
  path.Add(CBPOINT(CDPOINT(c.x - ka, r.ymin), CDPOINT(c.x, r.ymin), CDPOINT(c.x + ka, r.ymin)));
  path.Add(CBPOINT(CDPOINT(r.xmax, c.y - kb), CDPOINT(r.xmax, c.y), CDPOINT(r.xmax, c.y + kb)));
  path.Add(CBPOINT(CDPOINT(c.x + ka, r.ymax), CDPOINT(c.x, r.ymax), CDPOINT(c.x - ka, r.ymax)));
  path.Add(CBPOINT(CDPOINT(r.xmin, c.y + kb), CDPOINT(r.xmin, c.y), CDPOINT(r.xmin, c.y - kb)));
  path.Add(path[0]);
}

void CBPointArray::GetCircleBPoints(const CDRECT& r, CBPointArray& path) {
  GetEllipseBPoints(SquareAbout(r), path);
}

void CBPointArray::GetLineBPoints(const CDPOINT& p0, const CDPOINT& p1, CBPointArray& path, int) {
  path.RemoveAll();
  const CDPOINT d = (p1 - p0) * kLineHandle;
  path.Add(CBPOINT(p0, p0, p0 + d));
  path.Add(CBPOINT(p1 - d, p1, p1));
}

void CBPointArray::GetPolygonBPoints(const CDRECT& r, CBPointArray& path, int n) {
  path.RemoveAll();
  const double w = r.xmax - r.xmin, h = r.ymax - r.ymin;
  if (n < 3 || std::fabs(w) < kDegenerate || std::fabs(h) < kDegenerate) return;
  const CDPOINT c = Centre(r);
  const double radius = std::max(std::fabs(w), std::fabs(h)) / 2;

  // Rotation about the centre; the view's newest operation acts first, so the move to the
  // origin is added last.
  CView3D turn;
  turn.Translate(-c.x, -c.y, 0);
  turn.Rotate(2 * std::numbers::pi / n);
  turn.Translate(c.x, c.y, 0);

  std::vector<CDPOINT> v;
  v.reserve(static_cast<std::size_t>(n));
  v.emplace_back(c.x, c.y - radius);
  for (int i = 1; i < n; ++i) {
    turn.Transfer(v.back().x, v.back().y, 0);
    v.emplace_back(turn.x(), turn.y());
  }

  double x0 = v[0].x, x1 = v[0].x, y0 = v[0].y, y1 = v[0].y;
  for (const CDPOINT& p : v) {
    x0 = std::min(x0, p.x), x1 = std::max(x1, p.x);
    y0 = std::min(y0, p.y), y1 = std::max(y1, p.y);
  }
  const double sx = x1 - x0 == 0 ? 1 : std::fabs(w) / (x1 - x0);
  const double sy = y1 - y0 == 0 ? 1 : std::fabs(h) / (y1 - y0);
  CView3D scale;
  scale.Translate(-c.x, -c.y, 0);
  scale.Scale(sx, sy, 1);
  scale.Translate(c.x, c.y, 0);
  for (const CDPOINT& p : v) {
    scale.Transfer(p.x, p.y, 0);
    path.Add(Corner(CDPOINT(scale.x(), scale.y())));
  }
  path.Add(path[0]);
}

void CBPointArray::GetRoundRectBPoints(const CDRECT& r, CBPointArray& path, double radius) {
  if (std::fabs(radius) < kDegenerate) {
    GetRectBPoints(r, path);
    return;
  }
  path.RemoveAll();
  const double w = r.xmax - r.xmin, h = r.ymax - r.ymin;
  const double rx = std::min(std::fabs(w) / 2, std::fabs(radius));
  const double ry = std::min(std::fabs(h) / 2, std::fabs(radius));
  // Edge end points, walking ymin towards xmax, xmax towards ymax, ymax towards xmin and
  // xmin towards ymin; corner j joins edge end 2j+1 to edge start 2j+2.
  const CDPOINT a[8] = {{r.xmin + rx, r.ymin}, {r.xmax - rx, r.ymin}, {r.xmax, r.ymin + ry},
                        {r.xmax, r.ymax - ry}, {r.xmax - rx, r.ymax}, {r.xmin + rx, r.ymax},
                        {r.xmin, r.ymax - ry}, {r.xmin, r.ymin + ry}};
  const CDPOINT corner[4] = {
      {r.xmax, r.ymin}, {r.xmax, r.ymax}, {r.xmin, r.ymax}, {r.xmin, r.ymin}};
  CBPOINT nodes[8];
  for (int i = 0; i < 8; ++i) nodes[i] = Corner(a[i]);
  for (int j = 0; j < 4; ++j) {
    CBPOINT& from = nodes[2 * j + 1];
    CBPOINT& to = nodes[(2 * j + 2) % 8];
    const CDPOINT& k = corner[j];
    if (radius > 0) {  // outward arc: handles along the edges towards the corner
      from.out = from.anchor + (k - from.anchor) * kQuarter;
      to.in = to.anchor + (k - to.anchor) * kQuarter;
    } else {  // inward arc centred on the corner: handles perpendicular to the radii
      from.out = from.anchor + (to.anchor - k) * kQuarter;
      to.in = to.anchor + (from.anchor - k) * kQuarter;
    }
  }
  for (const CBPOINT& n : nodes) path.Add(n);
  path.Add(nodes[0]);
}
