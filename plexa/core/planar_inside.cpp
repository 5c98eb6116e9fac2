// The even-odd inside tests of points in polygons and rectangles, for double and integer points.
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
#include "plexa/core/planar.h"
#include "plexa/core/view3d.h"

using PLEXA::CDPOINT;
using PLEXA::CDRECT;
using PLEXA::CFPOINT;
using DPointArray = CArray<CDPOINT, CDPOINT>;

using namespace plexa::planar;  // NOLINT: the shared private helpers

namespace {

// LinesIntersect(A, B, P, (x0, py)) for the horizontal ray of the inside tests, with the
// second line's slope, ((py - by) - (py - by)) / d, known to be a signed zero whenever the
// differences are finite: one division fewer, bit-identical results. Anything non-finite
// takes the general routine.
inline bool RayIntersect(double ax, double ay, double bx, double by, double px, double py,
                         double x0, double& ix, double& iy) {
  const double dx3 = px - bx, dx4 = x0 - bx, dy4 = py - by;
  if (!std::isfinite(dx3 + dx4 + dy4))
    return LinesIntersect(ax, ay, bx, by, px, py, x0, py, ix, iy);
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
    if (!InLineRange(ax, ay, bx, by, x, y) || !InLineRange(px_, py_, x0, py_, x, y))
      return EdgeResult::kGoOn;
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
    static_assert(!kComputeRect || std::is_same_v<P, CDPOINT>,
                  "rectangles are computed for double points");
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

}  // namespace

// ---- Inside tests ------------------------------------------------------------------------

int IsPointInPolygon(const CDPOINT* pts, int n, const CDPOINT& p, CDRECT* rect) {
  if (pts == nullptr || n < 1) return 0;
  EvenOddWalk<CDPOINT, DoublePoints> walk(pts, n, p.x, p.y);
  if (rect == nullptr) return walk.Run<true>();
  if (p.x < rect->xmin || p.x > rect->xmax || p.y < rect->ymin || p.y > rect->ymax) return 0;
  return walk.Run<false>();
}

bool IsPointInPolygon(const DPointArray& pts, const CDPOINT& p, const CDRECT* rect) {
  if (rect == nullptr)
    return IsPointInPolygon(pts.GetData(), ArraySizeAsInt(pts.GetSize()), p, nullptr) != 0;
  CDRECT r = *rect;
  return IsPointInPolygon(pts.GetData(), ArraySizeAsInt(pts.GetSize()), p, &r) != 0;
}

int IsPointInPolygon(const DPointArray& pts, const CDPOINT& p, CDRECT* rect) {
  return IsPointInPolygon(pts.GetData(), ArraySizeAsInt(pts.GetSize()), p, rect);
}

int IsPointInPolygon(const DPointArray& pts, const CDPOINT& p, std::nullptr_t) {
  return IsPointInPolygon(pts.GetData(), ArraySizeAsInt(pts.GetSize()), p,
                          static_cast<CDRECT*>(nullptr));
}

int IsPointInPolygon(const tagPOINT* pts, int n, const tagPOINT& p, const tagRECT* rect) {
  if (pts == nullptr || n < 1) return 0;
  const tagRECT r = rect != nullptr ? *rect : static_cast<tagRECT>(GetPolygonRect(pts, n));
  if (p.x < r.left || p.x > r.right || p.y < r.top || p.y > r.bottom) return 0;
  EvenOddWalk<tagPOINT, IntegerPoints> walk(pts, n, p.x, p.y);
  return walk.Run<false>();
}

int IsPointInPolygon(const CArray<tagPOINT, tagPOINT>& pts, const tagPOINT& p,
                     const tagRECT* rect) {
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
