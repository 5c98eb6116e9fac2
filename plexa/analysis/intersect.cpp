#include "plexa/analysis/intersect.h"

#include <algorithm>
#include <cmath>

#include "plexa/analysis/collision.h"
#include "plexa/core/internal/numerics.h"
#include "plexa/core/planar.h"
#include "plexa/platform/internal/grow.h"

using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

// GetPolyLineWithLineIntersection(s): the x band around the line, the reach of a line that
// stops short of a polyline (both in drawing units, deliberately absolute), and the distance
// a hit must keep from the line's end point.
constexpr double kLineHitMargin = 3.0;
constexpr double kLineHitMinDistance = 1e-8;
// GetPolyLineWithLineIntersection starts its nearest-hit search at this distance: farther
// hits are never taken.
constexpr double kLineHitFarthest = 1e6;
using plexa::num::Horner;

// Ascending with NaN last, a strict weak order even for non-finite input.
void SortAscending(CArray<double>& xs) {
  std::sort(xs.GetData(), xs.GetData() + xs.GetSize(),
            [](double a, double b) { return a < b || (std::isnan(b) && !std::isnan(a)); });
}

// The shared segment-against-line test: the line parameter s when segment p -> q crosses the
// line segment l1 -> l2 (0 <= s <= 1 and 0 <= u <= 1, both inclusive); exactly parallel pairs
// (collinear ones included) never cross.
bool SegmentCrossesLine(const CDPOINT& p, const CDPOINT& q, const CDPOINT& l1, const CDPOINT& l2,
                        double& s) {
  const double dx = q.x - p.x, dy = q.y - p.y;
  const double ex = l2.x - l1.x, ey = l2.y - l1.y;
  const double den = dx * ey - dy * ex;
  if (den == 0) return false;
  const double sv = ((p.y - l1.y) * dx - (p.x - l1.x) * dy) / den;
  const double u = ((p.y - l1.y) * ex - (p.x - l1.x) * ey) / den;
  if (sv >= 0 && sv <= 1 && u >= 0 && u <= 1) {
    s = sv;
    return true;
  }
  return false;
}

// Roots of the per-segment power forms against the value v on one axis: appends i + t and
// the points for every root of axis(t) = v whose other coordinate passes keep.
template <typename Keep>
void AppendAxisRoots(const double axis[4], const double other[4], bool axisIsX, double v, int i,
                     Keep keep, CArray<double>& ts, CArray<CDPOINT>* pts) {
  double c[4] = {axis[0] - v, axis[1], axis[2], axis[3]};
  double roots[4];
  const int n = FindPolynomialRoots(c, 0.0, 1.0, roots);
  for (int r = 0; r < n; ++r) {
    const double t = roots[r];
    const double a = Horner(axis, t), o = Horner(other, t);
    const CDPOINT pt = axisIsX ? CDPOINT(a, o) : CDPOINT(o, a);
    if (!keep(pt)) continue;
    plexa::grow::Append(ts, i + t);
    if (pts) plexa::grow::Append(*pts, pt);
  }
}

void SegmentConstants(const CBPointArray& path, INT_PTR i, double ax[4], double ay[4]) {
  CBezier(path.GetData()[i], path.GetData()[i + 1]).CalcBezierConstants(ax, ay);
}

void ClearOutputs(CArray<double>& ts, CArray<CDPOINT>* pts) {
  ts.SetSize(0);
  if (pts) pts->SetSize(0);
}

}  // namespace

int FindPolynomialRoots(const double c[4], double a, double b, double roots[4]) {
  return plexa::num::SolveCubic(c, a, b, roots);
}

void FindLineIntersections(const CArray<CDPOINT>& poly, const PLEXA::CDLINE& line,
                           CArray<double>& s) {
  const CDPOINT* p = poly.GetData();
  for (INT_PTR i = 0; i + 1 < poly.GetSize(); ++i) {
    double sv;
    if (SegmentCrossesLine(p[i], p[i + 1], line.p1, line.p2, sv)) plexa::grow::Append(s, sv);
  }
}

void FindLineIntersections(const CBPointArray& path, const PLEXA::CDLINE& line, CArray<double>& s) {
  CArray<CDPOINT> pts;
  CDWordArray ends;
  path.ExecuteBPointArrayT(pts, ends, 1.0);
  FindLineIntersections(pts, line, s);
}

void FindLineIntersections(const CPolyPolyBezier& set, const PLEXA::CDLINE& line,
                           CArray<double>& s) {
  for (INT_PTR i = 0; i < set.GetSize(); ++i)
    if (const CBPointArray* path = set.GetAt(static_cast<int>(i)))
      FindLineIntersections(*path, line, s);
  SortAscending(s);
}

bool FindNextIntersection(const CPolyPolyDPoint& set, const PLEXA::CDLINE& line, int& poly,
                          int& seg, double& s) {
  if (poly < 0) poly = 0;
  if (seg < 0) seg = 0;
  for (INT_PTR k = poly; k < set.GetSize(); ++k) {
    const CArray<CDPOINT>* pl = set.GetAt(static_cast<int>(k));
    if (pl == nullptr) continue;
    const CDPOINT* p = pl->GetData();
    for (INT_PTR i = (k == poly ? seg : 0); i + 1 < pl->GetSize(); ++i) {
      double sv;
      if (SegmentCrossesLine(p[i], p[i + 1], line.p1, line.p2, sv)) {
        poly = static_cast<int>(k);
        seg = static_cast<int>(i);
        s = sv;
        return true;
      }
    }
  }
  return false;
}

bool FindNextIntersection(const CArray<CDPOINT>& poly, const CDRECT& rect, int& seg, double& s) {
  const CDPOINT corners[5] = {CDPOINT(rect.xmin, rect.ymin), CDPOINT(rect.xmax, rect.ymin),
                              CDPOINT(rect.xmax, rect.ymax), CDPOINT(rect.xmin, rect.ymax),
                              CDPOINT(rect.xmin, rect.ymin)};
  const CDPOINT* p = poly.GetData();
  for (INT_PTR i = std::max(seg, 0); i + 1 < poly.GetSize(); ++i) {
    for (int side = 0; side < 4; ++side) {
      double sv;
      if (SegmentCrossesLine(p[i], p[i + 1], corners[side], corners[side + 1], sv)) {
        seg = static_cast<int>(i);
        s = sv;
        return true;
      }
    }
  }
  return false;
}

namespace {

// Crossings of every segment with the line y = v (vertical false) or x = v (vertical true).
void FindAxisIntersections(const CBPointArray& path, double v, bool vertical, CArray<double>& ts,
                           CArray<CDPOINT>* pts, bool sort) {
  ClearOutputs(ts, pts);
  const auto all = [](const CDPOINT&) { return true; };
  for (INT_PTR i = 0; i + 1 < path.GetSize(); ++i) {
    double ax[4], ay[4];
    SegmentConstants(path, i, ax, ay);
    if (vertical)
      AppendAxisRoots(ax, ay, true, v, static_cast<int>(i), all, ts, pts);
    else
      AppendAxisRoots(ay, ax, false, v, static_cast<int>(i), all, ts, pts);
  }
  if (sort && !ts.IsEmpty()) SortAscending(ts);
}

}  // namespace

void FindXIntersections(const CBPointArray& path, double y, CArray<double>& ts,
                        CArray<CDPOINT>* pts, bool sort) {
  FindAxisIntersections(path, y, false, ts, pts, sort);
}

void FindYIntersections(const CBPointArray& path, double x, CArray<double>& ts,
                        CArray<CDPOINT>* pts, bool sort) {
  FindAxisIntersections(path, x, true, ts, pts, sort);
}

void FindRectIntersections(const CBPointArray& path, const CDRECT& rect, CArray<double>& ts,
                           CArray<CDPOINT>* pts, bool sort) {
  ClearOutputs(ts, pts);
  const double x0 = std::min(rect.xmin, rect.xmax), x1 = std::max(rect.xmin, rect.xmax);
  const double y0 = std::min(rect.ymin, rect.ymax), y1 = std::max(rect.ymin, rect.ymax);
  const auto inY = [&](const CDPOINT& p) { return p.y >= y0 && p.y <= y1; };
  const auto inX = [&](const CDPOINT& p) { return p.x >= x0 && p.x <= x1; };
  for (INT_PTR i = 0; i + 1 < path.GetSize(); ++i) {
    double ax[4], ay[4];
    SegmentConstants(path, i, ax, ay);
    const int seg = static_cast<int>(i);
    AppendAxisRoots(ax, ay, true, rect.xmin, seg, inY, ts, pts);
    AppendAxisRoots(ay, ax, false, rect.ymin, seg, inX, ts, pts);
    AppendAxisRoots(ax, ay, true, rect.xmax, seg, inY, ts, pts);
    AppendAxisRoots(ay, ax, false, rect.ymax, seg, inX, ts, pts);
  }
  if (sort && !ts.IsEmpty()) SortAscending(ts);
}

namespace {

// True when the segment a -> b lies wholly left or wholly right of the band [lo, hi].
bool OutsideBand(const CDPOINT& a, const CDPOINT& b, double lo, double hi) {
  return (a.x < lo && b.x < lo) || (a.x > hi && b.x > hi);
}

}  // namespace

int GetPolyLineWithLineIntersection(CArray<CDPOINT>& poly, PLEXA::CDLINE line, CDPOINT& hit) {
  hit = CDPOINT(0, 0);
  const double lo = std::min(line.p1.x, line.p2.x) - kLineHitMargin;
  const double hi = std::max(line.p1.x, line.p2.x) + kLineHitMargin;
  const CDPOINT* p = poly.GetData();
  double best = kLineHitFarthest;
  bool found = false;
  for (INT_PTR i = 0; i + 1 < poly.GetSize(); ++i) {
    const CDPOINT a = p[i], b = p[i + 1];
    if (OutsideBand(a, b, lo, hi)) continue;
    double ix, iy;
    if (!GetLinesIntersection(a.x, a.y, b.x, b.y, line.p1.x, line.p1.y, line.p2.x, line.p2.y, &ix,
                              &iy))
      continue;
    if (!IsPointInLineRange(a.x, a.y, b.x, b.y, ix, iy)) continue;
    if (!(plexa::num::Dist(ix, iy, line.p1.x, line.p1.y) >= kLineHitMinDistance)) continue;
    const double toEnd = plexa::num::Dist(ix, iy, line.p2.x, line.p2.y);
    if (!IsPointInLineRange(line.p1.x, line.p1.y, line.p2.x, line.p2.y, ix, iy) &&
        !(toEnd < kLineHitMargin))
      continue;
    if (toEnd < best) {
      best = toEnd;
      hit = CDPOINT(ix, iy);
      found = true;
    }
  }
  return found ? 1 : 0;
}

void GetPolyLineWithLineIntersections(CArray<CDPOINT>& poly, PLEXA::CDLINE line,
                                      CArray<CDPOINT>& hits, CDWordArray* segs) {
  constexpr INT_PTR kGrowBy = 16;
  hits.SetSize(0, kGrowBy);
  if (segs) segs->SetSize(0, kGrowBy);
  const double lo = std::min(line.p1.x, line.p2.x) - kLineHitMargin;
  const double hi = std::max(line.p1.x, line.p2.x) + kLineHitMargin;
  const CDPOINT* p = poly.GetData();
  for (INT_PTR i = 0; i + 1 < poly.GetSize(); ++i) {
    const CDPOINT a = p[i], b = p[i + 1];
    if (OutsideBand(a, b, lo, hi)) continue;
    double ix, iy;
    if (!GetLinesIntersection(a.x, a.y, b.x, b.y, line.p1.x, line.p1.y, line.p2.x, line.p2.y, &ix,
                              &iy))
      continue;
    if (!IsPointInLineRange(a.x, a.y, b.x, b.y, ix, iy)) continue;
    if (!(plexa::num::Dist(ix, iy, line.p2.x, line.p2.y) >= kLineHitMinDistance)) continue;
    if (!IsPointInLineRange(line.p1.x, line.p1.y, line.p2.x, line.p2.y, ix, iy)) continue;
    plexa::grow::Append(hits, CDPOINT(ix, iy));
    if (segs) plexa::grow::Append(*segs, static_cast<DWORD>(i));
  }
}

bool IsClockwise(const CArray<CDPOINT>& poly) {
  const INT_PTR n = poly.GetSize();
  const CDPOINT* p = poly.GetData();
  double sum = 0;
  for (INT_PTR i = 0; i < n; ++i) {
    const CDPOINT& a = p[i];
    const CDPOINT& b = p[(i + 1) % n];
    sum += (b.y + a.y) * (b.x - a.x);
  }
  return !(sum > 0);
}
