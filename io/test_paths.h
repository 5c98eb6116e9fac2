// Helpers shared by the plexa::io tests, on top of tests/support.h: dense samples, the
// distance between two drawings, segment-wise comparison.
#pragma once

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#include "plexa/geom/path.h"
#include "tests/support.h"

namespace plexa::io {

using plexa::test::BezierAt;

// perSegment + 1 points of every segment, by parameter.
inline void ForEachSample(const CBPointArray& p, int perSegment,
                          const std::function<void(PLEXA::CDPOINT)>& fn) {
  for (INT_PTR s = 0; s + 1 < p.GetSize(); ++s)
    for (int k = 0; k <= perSegment; ++k)
      fn(BezierAt(p[s], p[s + 1], static_cast<double>(k) / perSegment));
}

// The larger of the two one-sided distances between the path (sampled densely) and the
// polyline: how far apart the two drawings are.
inline double Hausdorff(const CBPointArray& path, const std::vector<PLEXA::CDPOINT>& poly) {
  std::vector<PLEXA::CDPOINT> dense;
  ForEachSample(path, 200, [&](PLEXA::CDPOINT q) { dense.push_back(q); });
  double worst = 0;
  for (const PLEXA::CDPOINT& q : dense) worst = std::max(worst, test::DistanceToPolyline(poly, q));
  for (const PLEXA::CDPOINT& q : poly) worst = std::max(worst, test::DistanceToPolyline(dense, q));
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
