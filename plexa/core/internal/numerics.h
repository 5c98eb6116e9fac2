// The library's private numerics kernel: the tolerances with their meanings, vector helpers,
// Bezier evaluation in Bernstein and power form, and the polynomial solvers in their
// cancellation-free forms. Every library file uses these instead of writing its own.
// Private: never installed, never included by a public header.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

#include "plexa/core/types.h"

namespace plexa::num {

using PLEXA::CDPOINT;

// ---- Tolerances -------------------------------------------------------------------------
// Zero, coincidence and parallelism in the planar and path functions.
inline constexpr double kEpsilon = 1e-8;
// The curve inside test's closedness and bisection tolerance.
inline constexpr double kInsideEpsilon = 1e-7;

// ---- Vectors ----------------------------------------------------------------------------
inline double Dot(const CDPOINT& a, const CDPOINT& b) { return a.x * b.x + a.y * b.y; }
inline double Cross(const CDPOINT& a, const CDPOINT& b) { return a.x * b.y - a.y * b.x; }
// Cross product of (a - o) and (b - o): positive when o, a, b turn counter-clockwise in
// y-up axes.
inline double Cross(const CDPOINT& o, const CDPOINT& a, const CDPOINT& b) {
  return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}
// Length without overflow or underflow of the squares (finite for any finite vector whose
// length is representable).
inline double Length(const CDPOINT& v) { return std::hypot(v.x, v.y); }
inline double Dist(const CDPOINT& a, const CDPOINT& b) { return std::hypot(b.x - a.x, b.y - a.y); }
inline CDPOINT Lerp(const CDPOINT& a, const CDPOINT& b, double t) {
  return CDPOINT(a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t);
}
inline bool IsFinite(const CDPOINT& p) { return std::isfinite(p.x) && std::isfinite(p.y); }

// ---- Cubic Bezier -----------------------------------------------------------------------
// Point at t by de Casteljau's construction (stable for t in [0, 1]).
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
// Power-form coefficients of one coordinate: c3 t^3 + c2 t^2 + c1 t + c0.
struct Cubic1D {
  double c3, c2, c1, c0;
};
inline Cubic1D PowerForm(double p0, double p1, double p2, double p3) {
  return {p3 - p0 + 3 * (p1 - p2), 3 * (p0 - 2 * p1 + p2), 3 * (p1 - p0), p0};
}

// ---- Solvers ----------------------------------------------------------------------------
// Real roots of a x^2 + b x + c = 0 in the cancellation-free form (q = -(b + sign(b) sqrt(D))
// / 2, roots q / a and c / q), so a tiny leading coefficient (a quadratic that is nearly
// linear) keeps its finite root accurate. Writes up to two roots in increasing order and
// returns how many: 0 when there is none or every x is a root; a double root counts once;
// a == 0 gives the linear root. NaN coefficients give 0.
inline int SolveQuadraticStable(double a, double b, double c, double roots[2]) {
  if (!(std::isfinite(a) && std::isfinite(b) && std::isfinite(c))) return 0;
  if (a == 0) {
    if (b == 0) return 0;
    roots[0] = -c / b;
    return 1;
  }
  // Scale so the discriminant cannot overflow or underflow.
  const double s = std::max({std::fabs(a), std::fabs(b), std::fabs(c)});
  a /= s;
  b /= s;
  c /= s;
  const double d = b * b - 4 * a * c;
  if (d < 0) return 0;
  if (d == 0) {
    roots[0] = -b / (2 * a);
    return 1;
  }
  const double q = -0.5 * (b + std::copysign(std::sqrt(d), b));
  double r0 = q / a;
  double r1 = q != 0 ? c / q : -r0;
  if (r0 > r1) std::swap(r0, r1);
  roots[0] = r0;
  roots[1] = r1;
  return 2;
}

}  // namespace plexa::num
