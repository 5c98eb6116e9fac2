// Path sets: positions and tangents along a path, and shape conversions.
#include <algorithm>
#include <cmath>
#include <limits>
#include <list>
#include <memory>
#include <utility>
#include <vector>

#include "plexa/core/planar.h"
#include "plexa/geom/bezier.h"
#include "plexa/geom/internal/pathset_common.h"
#include "plexa/geom/pathset.h"
#include "plexa/platform/internal/grow.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

using namespace plexa::pathset;  // NOLINT: the shared private helpers

// ---- Positions along a path --------------------------------------------------------------

double GetBPointArrayTangentAngle(const CBPointArray& path, int seg, double t) {
  const int segments = static_cast<int>(path.GetSize()) - 1;
  if (segments < 1 || std::isnan(t)) return 0;
  seg = std::clamp(seg, 0, segments - 1);
  t = std::clamp(t, 0.0, 1.0);
  auto has_direction = [&](int s) {
    const CBezier b = Segment(path, s);
    const CDPOINT* q = b.GetPoints();
    return !(Coincide(q[0], q[1]) && Coincide(q[0], q[2]) && Coincide(q[0], q[3]));
  };
  if (has_direction(seg)) return Segment(path, seg).GetCurveTangentAngle(t);
  for (int d = 1; d < segments; ++d) {
    for (int s : {seg + d, seg - d}) {
      if (s < 0 || s >= segments || !has_direction(s)) continue;
      const CBezier b = Segment(path, s);
      const CDPOINT c = b.GetPoint3() - b.GetPoint0();
      if (!Coincide(c, CDPOINT())) return std::atan2(c.y, c.x);
      return b.GetCurveTangentAngle(s > seg ? 0.0 : 1.0);
    }
  }
  return 0;
}

double GetCurvePointSegmentT(const CBPointArray& path, const CDPOINT& p, int& seg, double& t) {
  seg = -1;
  t = 0;
  if (path.GetSize() < 2) return -1;
  double best = 0;
  for (int s = 0; s + 1 < path.GetSize(); ++s) {
    double d = 0;
    const double ts = Segment(path, s).GetNearestCurvePointT2(p, &d);
    if (seg < 0 || d < best) seg = s, t = ts, best = d;
  }
  return best;
}

double GetSegmentT2PathPos(const CBPointArray& path, int seg, double t) {
  const int segments = static_cast<int>(path.GetSize()) - 1;
  if (segments < 1) return 0;
  seg = std::clamp(seg, 0, segments - 1);
  t = std::isnan(t) ? 0.0 : std::clamp(t, 0.0, 1.0);
  double pos = 0;
  for (int s = 0; s < seg; ++s) pos += Segment(path, s).GetLength();
  return pos + Segment(path, seg).GetLength(0, t, 10);
}

CDPOINT GetPointFromPosition(const CBPointArray& path, double pos, int* seg, double* t) {
  if (seg) *seg = -1;
  if (t) *t = 0;
  if (path.GetSize() < 2) return path.IsEmpty() ? CDPOINT() : path[0].anchor;
  CBPointArrayMath math(path);
  int s = 0;
  double ts = 0;
  math.Locate(pos, s, ts);
  if (seg) *seg = s;
  if (t) *t = ts;
  return Segment(path, s).GetCurvePoint(ts);
}

CDPOINT GetPoint(const CPolyPolyDPoint& set, int i, int j, double t) {
  const CArray<CDPOINT>* line = set.GetAt(i);
  if (line == nullptr || j < 0 || j >= line->GetSize()) return CDPOINT();
  if (j == line->GetSize() - 1) return (*line)[j];
  const CDPOINT& a = (*line)[j];
  const CDPOINT& b = (*line)[j + 1];
  return a + (b - a) * t;
}

CDPOINT AveragePoint(const CBPointArray& path, bool flattened, double resolution) {
  if (path.IsEmpty()) return CDPOINT();
  const bool closed = path.IsPolyBezierClosed();
  CArray<CDPOINT> pts;
  if (flattened) {
    CDWordArray ends;
    path.ExecuteBPointArrayT(pts, ends, resolution);
    if (pts.IsEmpty()) plexa::grow::Append(pts, path[0].anchor);
  } else {
    for (const CBPOINT& node : path) plexa::grow::Append(pts, node.anchor);
  }
  INT_PTR n = pts.GetSize();
  if (closed && n > 1) --n;  // the closing repeat
  CDPOINT sum;
  for (INT_PTR k = 0; k < n; ++k) sum += pts[k];
  return sum / static_cast<double>(n);
}

// ---- Shape conversions -------------------------------------------------------------------

void CalcBezierPoints(CBPointArray* path, int tension) {
  if (path == nullptr || path->GetSize() < 2) return;
  CBPointArray& p = *path;
  const int n = static_cast<int>(p.GetSize());
  const bool closed = p.IsPolyBezierClosed();
  const double k = std::clamp(tension, 0, 200) / 600.0;
  std::vector<CDPOINT> anchors;
  for (const CBPOINT& node : p) anchors.push_back(node.anchor);
  for (int i = 0; i < n; ++i) {
    int prev = i - 1, next = i + 1;
    if (closed) {
      if (i == 0 || i == n - 1) prev = n - 2, next = 1;
    } else {
      prev = std::max(prev, 0);
      next = std::min(next, n - 1);
    }
    const CDPOINT d =
        (anchors[static_cast<std::size_t>(next)] - anchors[static_cast<std::size_t>(prev)]) * k;
    p[i].in = anchors[static_cast<std::size_t>(i)] - d;
    p[i].out = anchors[static_cast<std::size_t>(i)] + d;
  }
}

namespace {
// Appends the quadratic control and end point of one cubic piece, halving it until the
// quadratic stays within kQuadraticTolerance: for the control (3 (P1 + P2) - P0 - P3) / 4 the
// distance is at most sqrt(3) / 36 |P3 - 3 P2 + 3 P1 - P0|.
void AppendQuadratic(const CBezier& c, CArray<CDPOINT>& out, int depth) {
  const CDPOINT* q = c.GetPoints();
  const CDPOINT d = q[3] - q[2] * 3 + q[1] * 3 - q[0];
  const double err = std::sqrt(3.0) / 36.0 * std::hypot(d.x, d.y);
  if (depth < kQuadraticMaxDepth && err > kQuadraticTolerance) {
    CBezier left, right;
    c.Split(0.5, left, right);
    AppendQuadratic(left, out, depth + 1);
    AppendQuadratic(right, out, depth + 1);
    return;
  }
  plexa::grow::Append(out, ((q[1] + q[2]) * 3 - q[0] - q[3]) / 4);
  plexa::grow::Append(out, q[3]);
}
}  // namespace

void TripleToQuadraticBezier(CBPointArray* path, CArray<CDPOINT>& out) {
  out.RemoveAll();
  if (path == nullptr || path->IsEmpty()) return;
  plexa::grow::Append(out, (*path)[0].anchor);
  for (INT_PTR s = 0; s + 1 < path->GetSize(); ++s) AppendQuadratic(Segment(*path, s), out, 0);
}

bool SetStartingPoint(CBPointArray& path, int k) {
  return path.SetStartingPoint(k);
}
