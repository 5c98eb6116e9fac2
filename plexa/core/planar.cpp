// Planar geometry: angles, distances, point transforms, bounds, polyline lengths and points.
#include "plexa/core/planar.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <numbers>
#include <type_traits>

#include "plexa/core/internal/numerics.h"
#include "plexa/core/internal/planar_lines.h"
#include "plexa/core/view3d.h"

using PLEXA::CDPOINT;
using PLEXA::CDRECT;
using PLEXA::CFPOINT;
using DPointArray = CArray<CDPOINT, CDPOINT>;

using namespace plexa::planar;  // NOLINT: the shared private helpers

// ---- Angles and distances --------------------------------------------------------------

double Bound2PI(double a) {
  return a < 0 ? a + kTwoPi : a;
}

double BoundPI(double a) {
  if (std::fabs(a) > kPi) return a > 0 ? a - kTwoPi : a + kTwoPi;
  return a;
}

int AreAnglesEqual(double a, double b, double tol) {
  const double d = std::fabs(Bound2PI(a) - Bound2PI(b));
  return (d < tol || std::fabs(d - kTwoPi) < tol) ? 1 : 0;
}

int AreDistancesEqual(double a, double b, double ratio) {
  const double fa = std::fabs(a), fb = std::fabs(b);
  if (fa < kPlanarEpsilon && fb < kPlanarEpsilon) return 1;
  return std::min(fa, fb) / std::max(fa, fb) > std::fabs(ratio) ? 1 : 0;
}

double GetLinesAngle(double x1, double y1, double x2, double y2, double x3, double y3) {
  if (Coincide(x1, y1, x2, y2) || Coincide(x1, y1, x3, y3) || Coincide(x3, y3, x2, y2)) return 0.0;
  double a1 = std::atan2(y1 - y2, x1 - x2);
  double a2 = std::atan2(y3 - y2, x3 - x2);
  if (a1 < 0) a1 += kTwoPi;
  if (a2 < 0) a2 += kTwoPi;
  const double d = a1 - a2;
  if (std::fabs(d) > kPi) return d > 0 ? d - kTwoPi : d + kTwoPi;
  return d;
}

double GetDistanceFromLine(double x1, double y1, double x2, double y2, double px, double py) {
  const double len = std::sqrt((x2 - x1) * (x2 - x1) + (y2 - y1) * (y2 - y1));
  if (len < kPlanarEpsilon) return std::sqrt((px - x1) * (px - x1) + (py - y1) * (py - y1));
  return std::fabs((y1 - y2) * px - (x1 - x2) * py + (x1 * y2 - y1 * x2)) / len;
}

CDPOINT GetDistancePoint(double x1, double y1, double x2, double y2, double px, double py) {
  const double dx = x2 - x1, dy = y2 - y1;
  const double len2 = dx * dx + dy * dy;
  if (std::sqrt(len2) < kPlanarEpsilon) return CDPOINT(x1, y1);
  const double t = ((px - x1) * dx + (py - y1) * dy) / len2;
  return CDPOINT(x1 + t * dx, y1 + t * dy);
}

int GetHalfPlane(double x1, double y1, double x2, double y2, double px, double py) {
  const double s = (y1 - y2) * (px - x2) - (x1 - x2) * (py - y2);
  if (std::fabs(s) < kPlanarEpsilon) return 0;
  return s > 0 ? 1 : -1;
}

int IsPointInLineRange(double x1, double y1, double x2, double y2, double px, double py) {
  return InLineRange(x1, y1, x2, y2, px, py) ? 1 : 0;
}

int GetLinesIntersection(double x1, double y1, double x2, double y2, double x3, double y3,
                         double x4, double y4, double* ix, double* iy) {
  double x, y;
  const bool hit = LinesIntersect(x1, y1, x2, y2, x3, y3, x4, y4, x, y);
  if (ix != nullptr) *ix = x;
  if (iy != nullptr) *iy = y;
  return hit ? 1 : 0;
}

int GetSegmentIntersection(double x1, double y1, double x2, double y2, double x3, double y3,
                           double x4, double y4, double* ix, double* iy) {
  double x, y;
  const bool hit = LinesIntersect(x1, y1, x2, y2, x3, y3, x4, y4, x, y);
  if (ix != nullptr) *ix = x;
  if (iy != nullptr) *iy = y;
  if (!hit) return 0;
  return InLineRange(x1, y1, x2, y2, x, y) && InLineRange(x3, y3, x4, y4, x, y) ? 1 : 0;
}

CDPOINT DivideLine(const PLEXA::CDLINE& l, double f) {
  return CDPOINT(l.p1.x - (l.p1.x - l.p2.x) * f, l.p1.y - (l.p1.y - l.p2.y) * f);
}

CFPOINT DivideLine(const PLEXA::CFLINE& l, double f) {
  const double x1 = l.p1.x, y1 = l.p1.y, x2 = l.p2.x, y2 = l.p2.y;
  const double x = x1 - (x1 - x2) * f, y = y1 - (y1 - y2) * f;
  return CFPOINT(std::fabs(x) < kPlanarEpsilon ? 0.0f : ToFloat(x),
                 std::fabs(y) < kPlanarEpsilon ? 0.0f : ToFloat(y));
}

int GetRandom(int lo, int hi) {
  const long long range = static_cast<long long>(hi) - lo + 1;
  if (range <= 0) return lo;
  return static_cast<int>(lo + std::rand() % range);
}

// ---- In-place point transforms ----------------------------------------------------------

void Rotate(double* x, double* y, double cx, double cy, double a) {
  const double dx = *x - cx, dy = *y - cy;
  const double c = std::cos(a), s = std::sin(a);
  *x = cx + c * dx - s * dy;
  *y = cy + c * dy + s * dx;
}

void Rotate(float* x, float* y, float cx, float cy, double a) {
  double dx = *x, dy = *y;
  Rotate(&dx, &dy, cx, cy, a);
  *x = std::fabs(dx) < kPlanarEpsilon ? 0.0f : ToFloat(dx);
  *y = std::fabs(dy) < kPlanarEpsilon ? 0.0f : ToFloat(dy);
}

void Stretch(double* x, double* y, double cx, double cy, double sx, double sy) {
  *x = (*x - cx) * sx + cx;
  *y = (*y - cy) * sy + cy;
}

void Stretch(float* x, float* y, float cx, float cy, double sx, double sy) {
  if (std::fabs(sx) < kPlanarEpsilon) sx = 0.0;
  if (std::fabs(sy) < kPlanarEpsilon) sy = 0.0;
  double dx = *x, dy = *y;
  Stretch(&dx, &dy, cx, cy, sx, sy);
  *x = ToFloat(dx);
  *y = ToFloat(dy);
}

void FlipHor(double* x, double*, double cx, double) {
  *x = cx - (*x - cx);
}

void FlipVer(double*, double* y, double, double cy) {
  *y = cy - (*y - cy);
}

void FlipHor(float* x, float*, float cx, float) {
  const double c = std::fabs(cx) < kPlanarEpsilon ? 0.0 : static_cast<double>(cx);
  *x = ToFloat(c - (static_cast<double>(*x) - c));
}

void FlipVer(float*, float* y, float, float cy) {
  const double c = std::fabs(cy) < kPlanarEpsilon ? 0.0 : static_cast<double>(cy);
  *y = ToFloat(c - (static_cast<double>(*y) - c));
}

// ---- Bounds and lengths -----------------------------------------------------------------

CDRECT GetPolygonRect(const CDPOINT* pts, int n) {
  if (pts == nullptr || n < 1) return CDRECT();
  CDRECT r(pts[0].x, pts[0].x, pts[0].y, pts[0].y);
  for (int i = 1; i < n; ++i) {
    r.xmin = std::min(r.xmin, pts[i].x);
    r.xmax = std::max(r.xmax, pts[i].x);
    r.ymin = std::min(r.ymin, pts[i].y);
    r.ymax = std::max(r.ymax, pts[i].y);
  }
  return r;
}

CDRECT GetPolygonRect(const DPointArray& pts) {
  return GetPolygonRect(pts.GetData(), ArraySizeAsInt(pts.GetSize()));
}

CRect GetPolygonRect(const tagPOINT* pts, int n) {
  if (pts == nullptr || n < 1) return CRect();
  CRect r(pts[0].x, pts[0].y, pts[0].x, pts[0].y);
  for (int i = 1; i < n; ++i) {
    r.left = std::min(r.left, pts[i].x);
    r.right = std::max(r.right, pts[i].x);
    r.top = std::min(r.top, pts[i].y);
    r.bottom = std::max(r.bottom, pts[i].y);
  }
  return r;
}

void GetPolylineBounds(const CArray<tagPOINT, tagPOINT>& pts, CRect& r) {
  r = GetPolygonRect(pts.GetData(), ArraySizeAsInt(pts.GetSize()));
}

CRect GetPolylineBounds(const CArray<tagPOINT, tagPOINT>& pts) {
  return GetPolygonRect(pts.GetData(), ArraySizeAsInt(pts.GetSize()));
}

void GetPolylineBounds(const DPointArray& pts, double& minX, double& minY, double& maxX,
                       double& maxY) {
  const CDRECT r = GetPolygonRect(pts);
  minX = r.xmin, minY = r.ymin, maxX = r.xmax, maxY = r.ymax;
}

void GetPolylineBounds(const DPointArray& pts, CDRECT& r) {
  r = GetPolygonRect(pts);
}

double GetPolylineLength(const DPointArray& pts) {
  double len = 0.0;
  const CDPOINT* p = pts.GetData();
  for (INT_PTR i = 0; i + 1 < pts.GetSize(); ++i)
    len += Dist(p[i].x, p[i].y, p[i + 1].x, p[i + 1].y);
  return len;
}

double GetPolylineLength(const CArray<tagPOINT, tagPOINT>& pts) {
  double len = 0.0;
  const tagPOINT* p = pts.GetData();
  for (INT_PTR i = 0; i + 1 < pts.GetSize(); ++i)
    len += Dist(p[i].x, p[i].y, p[i + 1].x, p[i + 1].y);
  return len;
}

double GetPolylineLength(const DPointArray& pts, int k) {
  const INT_PTR segs = std::min<INT_PTR>(k, pts.GetSize() - 1);
  double len = 0.0;
  const CDPOINT* p = pts.GetData();
  for (INT_PTR i = 0; i < segs; ++i) len += Dist(p[i].x, p[i].y, p[i + 1].x, p[i + 1].y);
  return len;
}

CDPOINT GetPolylinePoint(const DPointArray& pts, double t, int* seg) {
  if (seg != nullptr) *seg = 0;
  const int n = ArraySizeAsInt(pts.GetSize());
  if (n < 1) return CDPOINT();
  const CDPOINT* p = pts.GetData();
  if (n == 1) return p[0];
  const double target = t * GetPolylineLength(pts);
  double acc = 0.0;
  int a = -1;
  for (int i = 0; i <= n - 2; ++i) {
    acc += Dist(p[i].x, p[i].y, p[i + 1].x, p[i + 1].y);
    if (acc >= target) {
      a = i;
      break;
    }
  }
  if (a < 0) a = acc * 0.5 > target ? 0 : n - 2;  // past the end (or NaN)
  const int b = a + 1;
  if (seg != nullptr) *seg = a;
  const double seglen = Dist(p[a].x, p[a].y, p[b].x, p[b].y);
  if (seglen < kPlanarEpsilon) return p[a];
  const double overshoot = acc - target;
  // The absolute value is intended: a negative t mirrors into the first segment.
  return DivideLine(PLEXA::CDLINE(p[a], p[b]), std::fabs(seglen - overshoot) / seglen);
}

double GetPolylineT(DPointArray& pts, int seg, CDPOINT q) {
  const INT_PTR n = pts.GetSize();
  if (seg == n - 1) return 1.0;
  if (seg < 0 || seg > n - 1) return 0.0;
  const CDPOINT* p = pts.GetData();
  double total = 0.0, partial = 0.0;
  for (INT_PTR i = 0; i + 1 < n; ++i) {
    const double len = Dist(p[i].x, p[i].y, p[i + 1].x, p[i + 1].y);
    total += len;
    if (i < seg) partial += len;
  }
  partial += Dist(p[seg].x, p[seg].y, q.x, q.y);
  if (total < kPolylineTMinLength) return 0.0;
  return partial / total;
}

double GetPolylineTFromLength(const DPointArray& pts, double len) {
  const double total = GetPolylineLength(pts);
  if (std::fabs(total) < kPlanarEpsilon || len < 0) return 0.0;
  if (len > total) return 1.0;
  return len / total;
}

double GetDPointTangentAngle(const DPointArray& pts, int i) {
  const CDPOINT& prev = pts[i == 0 ? i : i - 1];
  const CDPOINT& next = pts[i == pts.GetSize() - 1 ? i : i + 1];
  return std::atan2(next.y - prev.y, next.x - prev.x);
}

int GetClosestPointIndex(const CArray<CPoint, CPoint>& pts, CPoint p) {
  // Squares of 33-bit differences need 66 bits: accumulate in 128 bits to stay exact.
  __extension__ using U128 = unsigned __int128;
  int best = -1;
  U128 bestD = 0;
  for (INT_PTR i = 0; i < pts.GetSize(); ++i) {
    const long long dx = static_cast<long long>(pts[i].x) - p.x;
    const long long dy = static_cast<long long>(pts[i].y) - p.y;
    const U128 ax = static_cast<U128>(dx < 0 ? -dx : dx), ay = static_cast<U128>(dy < 0 ? -dy : dy);
    const U128 d = ax * ax + ay * ay;
    if (best < 0 || d < bestD) best = static_cast<int>(i), bestD = d;
  }
  return best;
}

bool GetPolylineClosestPoint(DPointArray& pts, CDPOINT p, int* seg, CDPOINT* q) {
  if (seg != nullptr) *seg = 0;
  const INT_PTR n = pts.GetSize();
  if (n < 2) return true;
  const CDPOINT* v = pts.GetData();
  double best = kClosestPointStart;
  for (INT_PTR i = 0; i + 1 < n; ++i) {
    const CDPOINT& a = v[i];
    const CDPOINT& b = v[i + 1];
    CDPOINT c = GetDistancePoint(a.x, a.y, b.x, b.y, p.x, p.y);
    if (!InLineRange(a.x, a.y, b.x, b.y, c.x, c.y))
      c = Dist(a.x, a.y, p.x, p.y) <= Dist(b.x, b.y, p.x, p.y) ? a : b;
    const double d = Dist(c.x, c.y, p.x, p.y);
    if (d < best) {
      best = d;
      if (seg != nullptr) *seg = static_cast<int>(i);
      if (q != nullptr) *q = c;
    }
  }
  return true;
}

// ---- Conversions ------------------------------------------------------------------------

void ApplyTransformation(DPointArray& pts, CView3D& view) {
  CDPOINT* p = pts.GetData();
  for (INT_PTR i = 0; i < pts.GetSize(); ++i) {
    view.Transfer(p[i].x, p[i].y, 0.0);
    p[i] = CDPOINT(view.x(), view.y());
  }
}

namespace {

// Keeps point 0 and every point that is not a repeat of its original predecessor; the same
// result as removing repeats one by one from the end down to point 1, in one pass.
template <typename T, typename Same>
void CompactRepeats(CArray<T, T>& pts, Same same) {
  const INT_PTR n = pts.GetSize();
  if (n < 2) return;
  T* p = pts.GetData();
  T prev = p[0];
  INT_PTR w = 1;
  for (INT_PTR i = 1; i < n; ++i) {
    const T cur = p[i];
    if (!same(cur, prev)) p[w++] = cur;
    prev = cur;
  }
  pts.SetSize(w);
}

}  // namespace

void DelPolylineDuplicatePoints(CArray<tagPOINT, tagPOINT>& pts) {
  CompactRepeats(pts,
                 [](const tagPOINT& a, const tagPOINT& b) { return a.x == b.x && a.y == b.y; });
}

void DelPolylineDuplicatePoints(DPointArray& pts) {
  CompactRepeats(pts, [](const CDPOINT& a, const CDPOINT& b) {
    return Dist(a.x, a.y, b.x, b.y) < kPlanarEpsilon;
  });
}
