// The library's private numerics kernel: the tolerances with their meanings, vector helpers,
// Bezier evaluation in Bernstein and power form, and the polynomial solvers in their
// cancellation-free forms. Every library file uses these instead of writing its own.
// Private: never installed, never included by a public header.
//
//   double r[2];
//   const int n = plexa::num::SolveQuadratic(c0, c1, c2, r);  // roots of c0 + c1 t + c2 t^2
//
// Lengths and distances are overflow-safe: finite for every finite input whose true answer is
// representable. Dot and cross products are plain products (they overflow past about 1e154;
// callers that compare them only for sign and may see such input say so).
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "plexa/core/types.h"

namespace plexa::num {

using PLEXA::CDPOINT;

// ---- Tolerances -------------------------------------------------------------------------
// Zero, coincidence and parallelism in the planar and path functions.
inline constexpr double kEpsilon = 1e-8;
// The curve inside test's closedness distance and its crossing (bisection) tolerance in y.
inline constexpr double kInsideEpsilon = 1e-7;

// ---- Vectors ----------------------------------------------------------------------------
inline double Dot(const CDPOINT& a, const CDPOINT& b) {
  return a.x * b.x + a.y * b.y;
}
inline double Cross(const CDPOINT& a, const CDPOINT& b) {
  return a.x * b.y - a.y * b.x;
}
// Cross product of (a - o) and (b - o): positive when o, a, b turn counter-clockwise in
// y-up axes.
inline double Cross(const CDPOINT& o, const CDPOINT& a, const CDPOINT& b) {
  return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

// Length of (dx, dy): sqrt(dx^2 + dy^2) while the sum of squares is safely inside the normal
// range, std::hypot (several times slower, the same up to the last bit) where the squares
// would overflow or lose precision to underflow. Finite for every finite vector whose length
// is representable; a NaN component gives NaN.
inline constexpr double kSquareSafeLow = 1e-290;
inline constexpr double kSquareSafeHigh = 1e290;
inline double Length(double dx, double dy) {
  const double s = dx * dx + dy * dy;
  if (s > kSquareSafeLow && s < kSquareSafeHigh) return std::sqrt(s);
  return std::hypot(dx, dy);
}
inline double Length(const CDPOINT& v) {
  return Length(v.x, v.y);
}
// Distance from a to b, overflow-safe as Length (a difference that overflows gives infinity).
inline double Dist(const CDPOINT& a, const CDPOINT& b) {
  return Length(b.x - a.x, b.y - a.y);
}
inline double Dist(double x1, double y1, double x2, double y2) {
  return Length(x2 - x1, y2 - y1);
}
inline CDPOINT Lerp(const CDPOINT& a, const CDPOINT& b, double t) {
  return CDPOINT(a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t);
}
inline bool IsFinite(const CDPOINT& p) {
  return std::isfinite(p.x) && std::isfinite(p.y);
}

// ---- Cubic Bezier -----------------------------------------------------------------------
// Point at t from the Bernstein weights (stable for t in [0, 1]).
inline CDPOINT BezierPoint(const CDPOINT& p0, const CDPOINT& p1, const CDPOINT& p2,
                           const CDPOINT& p3, double t) {
  const double s = 1 - t;
  const double b0 = s * s * s, b1 = 3 * s * s * t, b2 = 3 * s * t * t, b3 = t * t * t;
  return CDPOINT(b0 * p0.x + b1 * p1.x + b2 * p2.x + b3 * p3.x,
                 b0 * p0.y + b1 * p1.y + b2 * p2.y + b3 * p3.y);
}
// First derivative at t.
inline CDPOINT BezierDerivative(const CDPOINT& p0, const CDPOINT& p1, const CDPOINT& p2,
                                const CDPOINT& p3, double t) {
  const double s = 1 - t;
  const double a = 3 * s * s, b = 6 * s * t, c = 3 * t * t;
  return CDPOINT(a * (p1.x - p0.x) + b * (p2.x - p1.x) + c * (p3.x - p2.x),
                 a * (p1.y - p0.y) + b * (p2.y - p1.y) + c * (p3.y - p2.y));
}
// Signed area swept by the cubic p0..p3 about the origin, (1/2) integral of x dy - y dx over
// t in [0, 1]; summed over a closed path it is the enclosed area, positive for a path that
// runs clockwise on a y-down screen. The integrand is a polynomial of degree 5, so the
// three-point Gauss-Legendre rule is exact (up to rounding).
inline double BezierSignedArea(const CDPOINT& p0, const CDPOINT& p1, const CDPOINT& p2,
                               const CDPOINT& p3) {
  constexpr double kNode = 0.38729833462074168852;  // sqrt(15) / 10
  constexpr double kT[3] = {0.5 - kNode, 0.5, 0.5 + kNode};
  constexpr double kW[3] = {5.0 / 18, 8.0 / 18, 5.0 / 18};
  double sum = 0;
  for (int i = 0; i < 3; ++i) {
    const CDPOINT p = BezierPoint(p0, p1, p2, p3, kT[i]);
    const CDPOINT d = BezierDerivative(p0, p1, p2, p3, kT[i]);
    sum += kW[i] * (p.x * d.y - p.y * d.x);
  }
  return 0.5 * sum;
}
// Power-form coefficients of one coordinate, lowest first: c[0] + c[1] t + c[2] t^2 +
// c[3] t^3, built as c1 = 3 (p1 - p0), c2 = 3 (p2 - p1) - c1, c3 = p3 - p0 - c1 - c2.
inline void PowerForm(double p0, double p1, double p2, double p3, double c[4]) {
  c[0] = p0;
  c[1] = 3 * (p1 - p0);
  c[2] = 3 * (p2 - p1) - c[1];
  c[3] = p3 - p0 - c[1] - c[2];
}
// The power form summed term by term, in the order c0 + c1 t + c2 t^2 + c3 t^3 (the inside
// test's specified order of evaluation).
inline double PowerSum(const double c[4], double t) {
  return c[0] + c[1] * t + c[2] * (t * t) + c[3] * (t * t * t);
}
// The same polynomial by Horner's rule (one rounding fewer per term; the root finders' form).
inline double Horner(const double c[4], double t) {
  return c[0] + t * (c[1] + t * (c[2] + t * c[3]));
}

// ---- Solvers ----------------------------------------------------------------------------
// Real roots of c0 + c1 t + c2 t^2 = 0 into roots (room for 2); returns the count.
// - c2 exactly 0: one root -c0 / c1 when c1 != 0, else none.
// - D = c1^2 - 4 c2 c0 < 0: none; D exactly 0: one root c1 / (-2 c2).
// - Otherwise roots[0] is the root (sqrt(D) - c1) / (2 c2) and roots[1] the root
//   (-c1 - sqrt(D)) / (2 c2) (not sorted), both computed without cancellation: with
//   q = -(c1 + sign(c1) sqrt(D)) / 2 they are q / c2 and c0 / q, so a nearly vanishing c2 (a
//   quadratic raised to a cubic, as font outlines are) keeps its finite root exact to rounding.
// The coefficients are first scaled by a power of two (exact, so D's sign and its exact zero
// are unchanged) when their size would make the squares overflow or underflow. NaN input gives
// NaN roots or none.
inline int SolveQuadratic(double c0, double c1, double c2, double* roots) {
  if (c2 == 0) {
    if (c1 != 0) {
      roots[0] = -c0 / c1;
      return 1;
    }
    return 0;
  }
  const double big = std::max({std::fabs(c0), std::fabs(c1), std::fabs(c2)});
  if (std::isfinite(big) && (big > 0x1p500 || big < 0x1p-500)) {
    int e = 0;
    std::frexp(big, &e);
    c0 = std::ldexp(c0, -e);
    c1 = std::ldexp(c1, -e);
    c2 = std::ldexp(c2, -e);
  }
  const double d = c1 * c1 - 4 * c2 * c0;
  if (d < 0) return 0;
  if (d == 0) {
    roots[0] = c1 / (-2 * c2);
    return 1;
  }
  const double s = std::sqrt(d);
  if (c1 >= 0) {
    const double q = -0.5 * (c1 + s);  // nonzero: s > 0
    roots[0] = c0 / q;
    roots[1] = q / c2;
  } else {
    const double q = 0.5 * (s - c1);  // positive
    roots[0] = q / c2;
    roots[1] = c0 / q;
  }
  return 2;
}

// The cubic root bisection stops when the interval can no longer shrink in floating point;
// this cap only bounds non-finite coefficients (finite ones need at most about 1,100 steps).
inline constexpr int kRootMaxBisections = 2200;

// Real roots of c[0] + c[1] t + c[2] t^2 + c[3] t^3 in [a, b], ascending, into roots (room
// for 4); returns the count. A cubic coefficient of exactly 0 drops to the quadratic (and so
// on down). The roots of the derivative (SolveQuadratic) that lie in [a, b] split the interval
// into monotone parts; in each part an end value exactly 0 is a root (a shared inner end is
// reported once, by the part it starts), ends of the same sign hold none, and otherwise the
// part is bisected until it cannot shrink further (the root is the last midpoint). A
// polynomial identically 0 gives a and b. Empty or reversed interval (b < a): a or nothing.
int SolveCubic(const double c[4], double a, double b, double roots[4]);

}  // namespace plexa::num
