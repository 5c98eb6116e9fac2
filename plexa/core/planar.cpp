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
#include "plexa/core/view3d.h"

using PLEXA::CDPOINT;
using PLEXA::CDRECT;
using PLEXA::CFPOINT;
using DPointArray = CArray<CDPOINT, CDPOINT>;

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kTwoPi = 2 * std::numbers::pi;

bool Coincide(double x1, double y1, double x2, double y2) {
  return std::fabs(x1 - x2) < kPlanarEpsilon && std::fabs(y1 - y2) < kPlanarEpsilon;
}

// Lengths: overflow-safe, from the numerics kernel.
using plexa::num::Dist;

// double to float as the hardware rounds it, with the out-of-range case (undefined for a plain
// conversion) spelled out: up to half a unit past the largest float rounds to it, beyond is
// infinite.
float ToFloat(double v) {
  constexpr double kMax = std::numeric_limits<float>::max();
  if (v > kMax || v < -kMax) {
    const float big = std::fabs(v) < kMax + std::ldexp(1.0, 103) ? std::numeric_limits<float>::max()
                                                                 : std::numeric_limits<float>::infinity();
    return v > 0 ? big : -big;
  }
  return static_cast<float>(v);
}

// The slope-form intersection shared by the public function and the inside tests, so that
// both give bit-identical crossings.
inline bool LinesIntersect(double x1, double y1, double x2, double y2, double x3, double y3, double x4,
                           double y4, double& ix, double& iy) {
  ix = iy = 0.0;
  if ((x1 == x2 && y1 == y2) || (x3 == x4 && y3 == y4)) return false;
  const double dx3 = x3 - x2, dx4 = x4 - x2, dy4 = y4 - y2;
  const double d = dx3 - dx4;
  const bool vertical1 = std::fabs(x1 - x2) < kPlanarEpsilon;
  double rx, ry;
  if (std::fabs(d) < kPlanarEpsilon) {
    if (vertical1) return false;
    const double m1 = (y1 - y2) / (x1 - x2);
    rx = dx3;
    ry = m1 * dx3;
  } else {
    const double m2 = ((y3 - y2) - dy4) / d;
    if (vertical1) {
      rx = 0.0;
      ry = dy4 - m2 * dx4;
    } else {
      const double m1 = (y1 - y2) / (x1 - x2);
      if (std::fabs(m1 - m2) < kPlanarEpsilon) return false;
      rx = (dy4 - m2 * dx4) / (m1 - m2);
      ry = rx * m1;
    }
  }
  ix = x2 + rx;
  iy = y2 + ry;
  return true;
}

// LinesIntersect(A, B, P, (x0, py)) for the horizontal ray of the inside tests, with the
// second line's slope, ((py - by) - (py - by)) / d, known to be a signed zero whenever the
// differences are finite: one division fewer, bit-identical results. Anything non-finite
// takes the general routine.
inline bool RayIntersect(double ax, double ay, double bx, double by, double px, double py, double x0,
                         double& ix, double& iy) {
  const double dx3 = px - bx, dx4 = x0 - bx, dy4 = py - by;
  if (!std::isfinite(dx3 + dx4 + dy4)) return LinesIntersect(ax, ay, bx, by, px, py, x0, py, ix, iy);
  ix = iy = 0.0;
  if ((ax == bx && ay == by) || px == x0) return false;
  const double d = dx3 - dx4;
  const bool vertical1 = std::fabs(ax - bx) < kPlanarEpsilon;
  double rx, ry;
  if (std::fabs(d) < kPlanarEpsilon) {
    if (vertical1) return false;
    const double m1 = (ay - by) / (ax - bx);
    rx = dx3;
    ry = m1 * dx3;
  } else if (vertical1) {
    rx = 0.0;
    ry = dy4;  // dy4 - (+-0) * dx4
  } else {
    const double m1 = (ay - by) / (ax - bx);
    if (std::fabs(m1) < kPlanarEpsilon) return false;  // |m1 - (+-0)|
    rx = dy4 / m1;
    ry = rx * m1;
  }
  ix = bx + rx;
  iy = by + ry;
  return true;
}

inline bool InLineRange(double x1, double y1, double x2, double y2, double px, double py) {
  return std::min(x1, x2) - kPlanarEpsilon <= px && px <= std::max(x1, x2) + kPlanarEpsilon &&
         std::min(y1, y2) - kPlanarEpsilon <= py && py <= std::max(y1, y2) + kPlanarEpsilon;
}

// ---- The even-odd inside test, shared by the double and the integer point types ----------

// floor and trunc without a library call, equal to std::floor / std::trunc up to the sign of
// a zero result (only ever compared with ==). Magnitudes from 2^52 on are already integers.
constexpr double kIntegralFrom = 4503599627370496.0;  // 2^52
inline double FloorFast(double v) {
  if (!(std::fabs(v) < kIntegralFrom)) return v;  // also NaN and infinities
  const double t = static_cast<double>(static_cast<long long>(v));
  return t > v ? t - 1.0 : t;
}
inline double TruncFast(double v) {
  if (!(std::fabs(v) < kIntegralFrom)) return v;
  return static_cast<double>(static_cast<long long>(v));
}

// What handling one edge asks of the walk.
enum class EdgeResult { kGoOn, kEndAfterThis, kAnswerZero };

// Double points: the end vertex is compared exactly.
struct DoublePoints {
  static bool SameAsEnd(double x, double y, const CDPOINT& b) { return x == b.x && y == b.y; }
};
// Integer points: the end vertex is compared with the crossing truncated toward zero.
struct IntegerPoints {
  static bool SameAsEnd(double x, double y, const tagPOINT& b) {
    return TruncFast(x) == static_cast<double>(b.x) && TruncFast(y) == static_cast<double>(b.y);
  }
};

template <typename P, typename Rules>
class EvenOddWalk {
 public:
  EvenOddWalk(const P* pts, int n, double px, double py) : pts_(pts), n_(n), px_(px), py_(py) {}

  bool Straddles(int i) const {
    const auto ay = pts_[i].y, by = pts_[i + 1].y;
    const double py = py_;
    return !((ay < py && by < py) || (ay > py && by > py));
  }

  // Handles edge i against the ray ending at x0.
  EdgeResult Edge(int i, double x0) {
    const P& a = pts_[i];
    const P& b = pts_[i + 1];
    const double ax = a.x, ay = a.y, bx = b.x, by = b.y;
    double x, y;
    if (!RayIntersect(ax, ay, bx, by, px_, py_, x0, x, y)) return EdgeResult::kGoOn;
    if (!InLineRange(ax, ay, bx, by, x, y) || !InLineRange(px_, py_, x0, py_, x, y)) return EdgeResult::kGoOn;
    // A hit rounding to the start vertex belongs to the edge that ends there.
    if (FloorFast(y + 0.5) == ay && FloorFast(x + 0.5) == ax) return EdgeResult::kGoOn;
    if (!Rules::SameAsEnd(x, y, b)) {
      ++count_;
      return EdgeResult::kGoOn;
    }
    // Through the end vertex: count it unless it is a strict extremum in y.
    const int bi = i + 1;
    const auto bY = b.y;
    auto next = bi == n_ - 1 ? pts_[1].y : pts_[bi + 1].y;
    bool endAfter = false;
    if (next == bY) {
      bool found = false;
      for (int j = bi + 1; j < n_ && !found; ++j)
        if (pts_[j].y != bY) next = pts_[j].y, found = true;
      if (!found) {
        for (int j = 1; j < n_ && !found; ++j)
          if (pts_[j].y != bY) next = pts_[j].y, found = true;
        if (!found) return EdgeResult::kAnswerZero;
        endAfter = true;
      }
    }
    const bool extremum = (ay > by && next > bY) || (bY > ay && bY > next);
    if (!extremum) ++count_;
    return endAfter ? EdgeResult::kEndAfterThis : EdgeResult::kGoOn;
  }

  // The bounding rectangle of double points, two coordinates at a time: each (x, y) pair is
  // one two-lane vector, and four vectors of running extremes keep the pass off one long
  // dependency chain. Element-wise the same selections as the scalar chain from point 0.
  // False when p lies outside the rectangle; minX receives the minimum x. (GCC/Clang vector
  // extension: plain SSE2 on x86-64, generic code elsewhere.)
  bool WithinExtent(double& minX) const {
    using V = double __attribute__((vector_size(16)));
    constexpr int kLanes = 4;
    V first;
    std::memcpy(&first, &pts_[0], sizeof first);
    V lo[kLanes] = {first, first, first, first}, hi[kLanes] = {first, first, first, first};
    int i = 0;
    for (; i + kLanes <= n_; i += kLanes) {
      for (int l = 0; l < kLanes; ++l) {
        V q;
        std::memcpy(&q, &pts_[i + l], sizeof q);
        lo[l] = q < lo[l] ? q : lo[l];
        hi[l] = q > hi[l] ? q : hi[l];
      }
    }
    for (; i < n_; ++i) {
      V q;
      std::memcpy(&q, &pts_[i], sizeof q);
      lo[0] = q < lo[0] ? q : lo[0];
      hi[0] = q > hi[0] ? q : hi[0];
    }
    for (int l = 1; l < kLanes; ++l) {
      lo[0] = lo[l] < lo[0] ? lo[l] : lo[0];
      hi[0] = hi[l] > hi[0] ? hi[l] : hi[0];
    }
    minX = lo[0][0];
    return !(px_ < lo[0][0] || px_ > hi[0][0] || py_ < lo[0][1] || py_ > hi[0][1]);
  }

  // The walk: one pass for the minimum x (the ray's far end), with the bounding rectangle
  // when kComputeRect (the point is then rejected before any edge is looked at), then one pass
  // over the edges. The first pass keeps four independent running extremes so that it is not
  // bound by the latency of one long chain of comparisons; the result is the same as one
  // chain started at point 0 (a NaN there stays, later NaNs are passed over).
  template <bool kComputeRect>
  int Run() {
    using T = decltype(P::x);
    static_assert(!kComputeRect || std::is_same_v<P, CDPOINT>, "rectangles are computed for double points");
    T minX = pts_[0].x;
    if constexpr (kComputeRect) {
      if (!WithinExtent(minX)) return 0;
    } else {
      // Four independent running minima, merged at the end.
      T m0 = minX, m1 = minX, m2 = minX, m3 = minX;
      int i = 0;
      for (; i + 4 <= n_; i += 4) {
        m0 = pts_[i].x < m0 ? pts_[i].x : m0;
        m1 = pts_[i + 1].x < m1 ? pts_[i + 1].x : m1;
        m2 = pts_[i + 2].x < m2 ? pts_[i + 2].x : m2;
        m3 = pts_[i + 3].x < m3 ? pts_[i + 3].x : m3;
      }
      for (; i < n_; ++i) m0 = pts_[i].x < m0 ? pts_[i].x : m0;
      m0 = m1 < m0 ? m1 : m0;
      m0 = m2 < m0 ? m2 : m0;
      minX = m3 < m0 ? m3 : m0;
    }
    const double x0 = static_cast<double>(minX) - 1.0;
    // An edge wholly right of the ray's reach cannot pass both range tests of Edge.
    const double reach = std::max(px_, x0) + kPlanarEpsilon;
    for (int e = 0; e < n_ - 1; ++e) {
      if (!Straddles(e)) continue;
      if (std::min<double>(pts_[e].x, pts_[e + 1].x) - kPlanarEpsilon > reach) continue;
      const EdgeResult r = Edge(e, x0);
      if (r == EdgeResult::kAnswerZero) return 0;
      if (r == EdgeResult::kEndAfterThis) break;
    }
    return count_ & 1;
  }

 private:
  const P* pts_;
  int n_;
  double px_, py_;
  int count_ = 0;
};

int ArraySizeAsInt(INT_PTR n) { return n > INT_MAX ? INT_MAX : static_cast<int>(n); }

}  // namespace

// ---- Angles and distances --------------------------------------------------------------

double Bound2PI(double a) { return a < 0 ? a + kTwoPi : a; }

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

int GetLinesIntersection(double x1, double y1, double x2, double y2, double x3, double y3, double x4,
                         double y4, double* ix, double* iy) {
  double x, y;
  const bool hit = LinesIntersect(x1, y1, x2, y2, x3, y3, x4, y4, x, y);
  if (ix != nullptr) *ix = x;
  if (iy != nullptr) *iy = y;
  return hit ? 1 : 0;
}

int GetSegmentIntersection(double x1, double y1, double x2, double y2, double x3, double y3, double x4,
                           double y4, double* ix, double* iy) {
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
  return CFPOINT(std::fabs(x) < kPlanarEpsilon ? 0.0f : ToFloat(x), std::fabs(y) < kPlanarEpsilon ? 0.0f : ToFloat(y));
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

void FlipHor(double* x, double*, double cx, double) { *x = cx - (*x - cx); }

void FlipVer(double*, double* y, double, double cy) { *y = cy - (*y - cy); }

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

CDRECT GetPolygonRect(const DPointArray& pts) { return GetPolygonRect(pts.GetData(), ArraySizeAsInt(pts.GetSize())); }

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

void GetPolylineBounds(const DPointArray& pts, double& minX, double& minY, double& maxX, double& maxY) {
  const CDRECT r = GetPolygonRect(pts);
  minX = r.xmin, minY = r.ymin, maxX = r.xmax, maxY = r.ymax;
}

void GetPolylineBounds(const DPointArray& pts, CDRECT& r) { r = GetPolygonRect(pts); }

double GetPolylineLength(const DPointArray& pts) {
  double len = 0.0;
  const CDPOINT* p = pts.GetData();
  for (INT_PTR i = 0; i + 1 < pts.GetSize(); ++i) len += Dist(p[i].x, p[i].y, p[i + 1].x, p[i + 1].y);
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
  CompactRepeats(pts, [](const tagPOINT& a, const tagPOINT& b) { return a.x == b.x && a.y == b.y; });
}

void DelPolylineDuplicatePoints(DPointArray& pts) {
  CompactRepeats(pts, [](const CDPOINT& a, const CDPOINT& b) { return Dist(a.x, a.y, b.x, b.y) < kPlanarEpsilon; });
}

// ---- Inside tests ------------------------------------------------------------------------

int IsPointInPolygon(const CDPOINT* pts, int n, const CDPOINT& p, CDRECT* rect) {
  if (pts == nullptr || n < 1) return 0;
  EvenOddWalk<CDPOINT, DoublePoints> walk(pts, n, p.x, p.y);
  if (rect == nullptr) return walk.Run<true>();
  if (p.x < rect->xmin || p.x > rect->xmax || p.y < rect->ymin || p.y > rect->ymax) return 0;
  return walk.Run<false>();
}

bool IsPointInPolygon(const DPointArray& pts, const CDPOINT& p, const CDRECT* rect) {
  if (rect == nullptr) return IsPointInPolygon(pts.GetData(), ArraySizeAsInt(pts.GetSize()), p, nullptr) != 0;
  CDRECT r = *rect;
  return IsPointInPolygon(pts.GetData(), ArraySizeAsInt(pts.GetSize()), p, &r) != 0;
}

int IsPointInPolygon(const DPointArray& pts, const CDPOINT& p, CDRECT* rect) {
  return IsPointInPolygon(pts.GetData(), ArraySizeAsInt(pts.GetSize()), p, rect);
}

int IsPointInPolygon(const DPointArray& pts, const CDPOINT& p, std::nullptr_t) {
  return IsPointInPolygon(pts.GetData(), ArraySizeAsInt(pts.GetSize()), p, static_cast<CDRECT*>(nullptr));
}

int IsPointInPolygon(const tagPOINT* pts, int n, const tagPOINT& p, const tagRECT* rect) {
  if (pts == nullptr || n < 1) return 0;
  const tagRECT r = rect != nullptr ? *rect : static_cast<tagRECT>(GetPolygonRect(pts, n));
  if (p.x < r.left || p.x > r.right || p.y < r.top || p.y > r.bottom) return 0;
  EvenOddWalk<tagPOINT, IntegerPoints> walk(pts, n, p.x, p.y);
  return walk.Run<false>();
}

int IsPointInPolygon(const CArray<tagPOINT, tagPOINT>& pts, const tagPOINT& p, const tagRECT* rect) {
  return IsPointInPolygon(pts.GetData(), ArraySizeAsInt(pts.GetSize()), p, rect);
}

int IsPointInRect(tagPOINT p, tagRECT r) {
  return std::min(r.left, r.right) <= p.x && p.x <= std::max(r.left, r.right) &&
                 std::min(r.top, r.bottom) <= p.y && p.y <= std::max(r.top, r.bottom)
             ? 1
             : 0;
}

int IsPointInRect(CDPOINT p, CDRECT r) {
  return std::min(r.xmin, r.xmax) <= p.x && p.x <= std::max(r.xmin, r.xmax) &&
                 std::min(r.ymin, r.ymax) <= p.y && p.y <= std::max(r.ymin, r.ymax)
             ? 1
             : 0;
}

// ---- Circles and arcs --------------------------------------------------------------------

bool CalcCircle(double x1, double y1, double x2, double y2, double x3, double y3, CDPOINT& c, double& r) {
  const double m12x = (x1 + x2) / 2, m12y = (y1 + y2) / 2;
  double q1x = x1, q1y = y1;
  Rotate(&q1x, &q1y, m12x, m12y, kPi / 2);
  const double m23x = (x2 + x3) / 2, m23y = (y2 + y3) / 2;
  double q2x = x2, q2y = y2;
  Rotate(&q2x, &q2y, m23x, m23y, kPi / 2);
  double cx, cy;
  if (!LinesIntersect(m12x, m12y, q1x, q1y, m23x, m23y, q2x, q2y, cx, cy)) return false;
  c = CDPOINT(cx, cy);
  r = Dist(cx, cy, x3, y3);
  return true;
}

void CalcArc(DPointArray& out, CDPOINT c, double r, double x1, double y1, double x2, double y2, double x3,
             double y3) {
  const int side = GetHalfPlane(x1, y1, x3, y3, x2, y2);
  if (side == 0) return;
  double steps = std::floor(r * kPi + 0.5);
  if (!(steps >= kArcMinSteps)) steps = kArcMinSteps;  // also NaN
  if (steps > kArcMaxSteps) steps = kArcMaxSteps;
  const int m = static_cast<int>(steps);
  double step = kTwoPi / m;
  double tx = x1, ty = y1;
  Rotate(&tx, &ty, c.x, c.y, step);
  if (GetHalfPlane(x1, y1, x3, y3, tx, ty) != side) step = -step;
  out.Add(CDPOINT(x1, y1));
  double x = x1, y = y1;
  for (int k = 0; k < m; ++k) {
    Rotate(&x, &y, c.x, c.y, step);
    if (GetHalfPlane(x1, y1, x3, y3, x, y) != side) break;
    out.Add(CDPOINT(x, y));
  }
  out.Add(CDPOINT(x3, y3));
}

void CalcArc(DPointArray& out, double x1, double y1, double x2, double y2, double x3, double y3) {
  CDPOINT c;
  double r = 0.0;
  if (CalcCircle(x1, y1, x2, y2, x3, y3, c, r)) {
    CalcArc(out, c, r, x1, y1, x2, y2, x3, y3);
    return;
  }
  out.Add(CDPOINT(x1, y1));
  out.Add(CDPOINT(x3, y3));
}

namespace {

// The arc constants of the one-segment fit, kept exactly as tuned.
constexpr double kArcB = 12.71060279521624;
constexpr double kArcA = 3.7106027952162397;
constexpr double kArcD = 8.71060279521624;

// a - trunc(a / 2 pi) * 2 pi, then + 2 pi when negative.
double NormaliseArcAngle(double a) {
  a -= std::trunc(a / kTwoPi) * kTwoPi;
  return a < 0 ? a + kTwoPi : a;
}

CDPOINT Placed(CDPOINT p, double angle, const CDPOINT& c) {
  Rotate(&p.x, &p.y, 0.0, 0.0, angle);
  return p + c;
}

}  // namespace

bool GetArcBPoints(const CDPOINT& c, double r, double a0, double a1, bool clockwise, PLEXA::CBPOINT& first,
                   PLEXA::CBPOINT& second) {
  if (r < 0) return false;
  const double n0 = NormaliseArcAngle(a0), n1 = NormaliseArcAngle(a1);
  const double theta = clockwise ? (n0 <= n1 ? n0 + kTwoPi : n0) - n1 : (n0 > n1 ? n1 + kTwoPi : n1) - n0;
  const double s = std::sin(theta), co = std::cos(theta);
  const double b = kArcB * s;
  const double a = 3 * co - kArcA;
  const double d = b * b - 6 * a * kArcD * (1 - co);
  if (d < 0) return false;
  const double k = (b - std::sqrt(d)) / (3 * a) * r;
  const CDPOINT p0(r, 0), c0(r, k), c1(r * co + k * s, r * s - k * co), p3(r * co, r * s);
  if (!clockwise) {
    const CDPOINT P0 = Placed(p0, n0, c), C0 = Placed(c0, n0, c), C1 = Placed(c1, n0, c), P3 = Placed(p3, n0, c);
    first.in = P0, first.anchor = P0, first.out = C0;
    second.in = C1, second.anchor = P3, second.out = P3;
  } else {
    const CDPOINT P0 = Placed(p0, n1, c), C0 = Placed(c0, n1, c), C1 = Placed(c1, n1, c), P3 = Placed(p3, n1, c);
    first.in = P3, first.anchor = P3, first.out = C1;
    second.in = C0, second.anchor = P0, second.out = P0;
  }
  return true;
}

int GetPolyLineWithLineIntersection(DPointArray& poly, PLEXA::CDLINE line, CDPOINT& hit, int& index) {
  const INT_PTR n = poly.GetSize();
  if (n > 0) hit = index > n / 2 ? poly[n - 1] : poly[0];
  const CDPOINT* p = poly.GetData();
  const CDPOINT mid((line.p1.x + line.p2.x) / 2, (line.p1.y + line.p2.y) / 2);
  for (INT_PTR k = std::max(index, 0); k + 1 < n; ++k) {
    double x, y;
    if (!LinesIntersect(p[k].x, p[k].y, p[k + 1].x, p[k + 1].y, line.p1.x, line.p1.y, line.p2.x, line.p2.y, x, y))
      continue;
    if (!InLineRange(p[k].x, p[k].y, p[k + 1].x, p[k + 1].y, x, y)) continue;
    if (Dist(x, y, mid.x, mid.y) < kLineHitStart) {
      hit = CDPOINT(x, y);
      index = static_cast<int>(k);
      return 1;
    }
    return 0;
  }
  return 0;
}
