// Helpers shared by the plexa::io tests: points on paths, dense samples, distances.
#pragma once

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "plexa/geom/path.h"

namespace plexa::io {

inline PLEXA::CDPOINT PointOnPath(const CBPointArray& p, INT_PTR seg, double t) {
  const PLEXA::CDPOINT a = p[seg].anchor, b = p[seg].out, c = p[seg + 1].in, d = p[seg + 1].anchor;
  const double u = 1 - t;
  return PLEXA::CDPOINT(
      u * u * u * a.x + 3 * u * u * t * b.x + 3 * u * t * t * c.x + t * t * t * d.x,
      u * u * u * a.y + 3 * u * u * t * b.y + 3 * u * t * t * c.y + t * t * t * d.y);
}

// perSegment + 1 points of every segment, by parameter.
inline void ForEachSample(const CBPointArray& p, int perSegment,
                          const std::function<void(PLEXA::CDPOINT)>& fn) {
  for (INT_PTR s = 0; s + 1 < p.GetSize(); ++s)
    for (int k = 0; k <= perSegment; ++k)
      fn(PointOnPath(p, s, static_cast<double>(k) / perSegment));
}

inline double DistToSegment(PLEXA::CDPOINT p, PLEXA::CDPOINT a, PLEXA::CDPOINT b) {
  const double dx = b.x - a.x, dy = b.y - a.y, len2 = dx * dx + dy * dy;
  double t = len2 > 0 ? ((p.x - a.x) * dx + (p.y - a.y) * dy) / len2 : 0;
  t = std::clamp(t, 0.0, 1.0);
  return std::hypot(p.x - a.x - t * dx, p.y - a.y - t * dy);
}

inline double DistToPolyline(PLEXA::CDPOINT p, const std::vector<PLEXA::CDPOINT>& poly) {
  if (poly.size() == 1) return std::hypot(p.x - poly[0].x, p.y - poly[0].y);
  double best = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i + 1 < poly.size(); ++i)
    best = std::min(best, DistToSegment(p, poly[i], poly[i + 1]));
  return best;
}

// The larger of the two one-sided distances between the path (sampled densely) and the
// polyline: how far apart the two drawings are.
inline double Hausdorff(const CBPointArray& path, const std::vector<PLEXA::CDPOINT>& poly) {
  std::vector<PLEXA::CDPOINT> dense;
  ForEachSample(path, 200, [&](PLEXA::CDPOINT q) { dense.push_back(q); });
  double worst = 0;
  for (const PLEXA::CDPOINT& q : dense) worst = std::max(worst, DistToPolyline(q, poly));
  for (const PLEXA::CDPOINT& q : poly) worst = std::max(worst, DistToPolyline(q, dense));
  return worst;
}

// The segments of a and b agree (anchors and the control points segments use) within tol.
inline bool SameSegments(const CBPointArray& a, const CBPointArray& b, double tol) {
  if (a.GetSize() != b.GetSize()) return false;
  const auto near = [tol](PLEXA::CDPOINT p, PLEXA::CDPOINT q) {
    return std::abs(p.x - q.x) <= tol && std::abs(p.y - q.y) <= tol;
  };
  for (INT_PTR i = 0; i < a.GetSize(); ++i) {
    if (!near(a[i].anchor, b[i].anchor)) return false;
    if (i + 1 < a.GetSize() && !near(a[i].out, b[i].out)) return false;
    if (i > 0 && !near(a[i].in, b[i].in)) return false;
  }
  return true;
}

}  // namespace plexa::io
