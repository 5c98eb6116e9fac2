#include "plexa/analysis/hull.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "plexa/core/planar.h"

namespace {

// The polar sort measures each angle against the ray from the pivot towards this far point
// (pivot.x + kHullRayLength, pivot.y).
constexpr LONG kHullRayLength = 1000;

double Angle(const tagPOINT& p1, const tagPOINT& p2, const tagPOINT& p3) {
  return GetLinesAngle(p1.x, p1.y, p2.x, p2.y, p3.x, p3.y);
}

// Removes the points strictly inside (by the even-odd test) the quadrilateral of the extreme
// points, except point 0. The order of the survivors is not kept.
void FilterExtremePoints(CArray<tagPOINT>& pts) {
  const INT_PTR n = pts.GetSize();
  if (n == 0) return;
  const tagPOINT* p = pts.GetData();
  INT_PTR minX = 0, minY = 0, maxX = 0, maxY = 0;
  for (INT_PTR i = 1; i < n; ++i) {
    if (p[i].x < p[minX].x) minX = i;
    if (p[i].y < p[minY].y) minY = i;
    if (p[i].x > p[maxX].x) maxX = i;
    if (p[i].y > p[maxY].y) maxY = i;
  }
  const tagPOINT quad[5] = {p[minX], p[minY], p[maxX], p[maxY], p[minX]};
  const CRect bounds = GetPolygonRect(quad, 5);
  tagPOINT* d = pts.GetData();
  INT_PTR kept = 1;
  for (INT_PTR i = 1; i < n; ++i)
    if (IsPointInPolygon(quad, 5, d[i], &bounds) == 0) d[kept++] = d[i];
  pts.SetSize(kept);
}

}  // namespace

void GetConvexHull(CArray<tagPOINT>& pts) {
  if (pts.GetSize() < 4) return;
  FilterExtremePoints(pts);
  const INT_PTR n = pts.GetSize();
  tagPOINT* P = pts.GetData();

  INT_PTR pivotIndex = 0;
  for (INT_PTR i = 1; i < n; ++i)
    if (P[i].y > P[pivotIndex].y || (P[i].y == P[pivotIndex].y && P[i].x > P[pivotIndex].x))
      pivotIndex = i;
  const tagPOINT pivot = P[pivotIndex];
  // The ray end is computed in 64 bits: pivot.x + 1000 may leave the LONG range, and the angle
  // function takes doubles anyway.
  const double rx = static_cast<double>(pivot.x) + kHullRayLength, ry = pivot.y;

  // Sort keys computed once per point; the comparison reads the pivot through the capture.
  struct Keyed {
    tagPOINT p;
    double angle;
    double dist2;
  };
  std::vector<Keyed> keyed;
  keyed.reserve(static_cast<std::size_t>(n));
  for (INT_PTR i = 0; i < n; ++i) {
    const double dx = static_cast<double>(P[i].x) - pivot.x,
                 dy = static_cast<double>(P[i].y) - pivot.y;
    keyed.push_back({P[i], 0.0, dx * dx + dy * dy});
  }
  auto angle_at_pivot = [&pivot, rx, ry](const tagPOINT& q) {
    return std::fabs(GetLinesAngle(rx, ry, pivot.x, pivot.y, q.x, q.y));
  };
  for (Keyed& k : keyed) k.angle = angle_at_pivot(k.p);
  std::sort(keyed.begin(), keyed.end(), [](const Keyed& a, const Keyed& b) {
    if (a.angle != b.angle) return a.angle < b.angle;
    return a.dist2 < b.dist2;
  });
  for (INT_PTR i = 0; i < n; ++i) P[i] = keyed[static_cast<std::size_t>(i)].p;

  INT_PTR k = std::min<INT_PTR>(2, n - 1);
  for (INT_PTR i = 3; i < n; ++i) {
    while (k >= 1 && Angle(P[k], P[k - 1], P[i]) <= 0) --k;
    ++k;
    std::swap(P[k], P[i]);
  }
  pts.SetSize(k + 1);
  const tagPOINT& first = pts[0];
  const tagPOINT last = pts[pts.GetUpperBound()];
  if (last.x != first.x || last.y != first.y) pts.Add(first);
}
