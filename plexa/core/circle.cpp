#include "plexa/core/circle.h"

#include <cmath>
#include <numbers>

#include "plexa/core/internal/numerics.h"

namespace PLEXA {

using plexa::num::Cross;
using plexa::num::Dist;

bool ArePointsCollinear(const CDPOINT& a, const CDPOINT& b, const CDPOINT& c) {
  const double ab = Dist(a, b);
  const double bc = Dist(b, c);
  const double ca = Dist(c, a);
  // Measure the height over the longest side: the other two heights can be small for a
  // perfectly good triangle with one short side.
  double base = ab;
  double area2 = Cross(a, b, c);
  if (bc > base) base = bc, area2 = Cross(b, c, a);
  if (ca > base) base = ca, area2 = Cross(c, a, b);
  if (!(base >= kPlanarEpsilon)) return true;
  return !(std::fabs(area2) / base >= kPlanarEpsilon);
}

double Bound0To2PI(double a) {
  constexpr double kTwoPi = 2 * std::numbers::pi;
  double r = std::fmod(a, kTwoPi);
  if (r < 0) r += kTwoPi;
  if (r >= kTwoPi) r = 0.0;
  return r;
}

bool GetCircle(const CDPOINT& p1, const CDPOINT& p2, const CDPOINT& p3, CDPOINT& center,
               double& radius) {
  if (ArePointsCollinear(p1, p2, p3)) return false;
  const double bx = p2.x - p1.x, by = p2.y - p1.y;
  const double cx = p3.x - p1.x, cy = p3.y - p1.y;
  const double d = 2 * (bx * cy - by * cx);
  const double b2 = bx * bx + by * by, c2 = cx * cx + cy * cy;
  const double ux = (cy * b2 - by * c2) / d;
  const double uy = (bx * c2 - cx * b2) / d;
  const double r = std::hypot(ux, uy);
  if (!std::isfinite(ux) || !std::isfinite(uy) || !std::isfinite(r)) return false;
  center = CDPOINT(p1.x + ux, p1.y + uy);
  radius = r;
  return true;
}

bool IsArcClockwise(const CDPOINT& start, const CDPOINT& mid, const CDPOINT& end) {
  if (ArePointsCollinear(start, mid, end)) return false;
  return Cross(start, mid, end) < 0;
}

}  // namespace PLEXA
