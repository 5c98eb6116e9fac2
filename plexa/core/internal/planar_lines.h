// Helpers shared by the planar geometry files: the slope-form line intersection that the
// public intersection functions, the inside tests and the circle construction all use (so
// their crossings are bit-identical), the inclusive range test, coincidence and the float
// conversion. Private: never installed, never included by a public header.
#pragma once

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <numbers>

#include "plexa/core/internal/numerics.h"
#include "plexa/core/planar.h"

namespace plexa::planar {

using PLEXA::CDPOINT;

inline constexpr double kPi = std::numbers::pi;
inline constexpr double kTwoPi = 2 * std::numbers::pi;

inline bool Coincide(double x1, double y1, double x2, double y2) {
  return std::fabs(x1 - x2) < kPlanarEpsilon && std::fabs(y1 - y2) < kPlanarEpsilon;
}

// Lengths: overflow-safe, from the numerics kernel.
using plexa::num::Dist;

// double to float as the hardware rounds it, with the out-of-range case (undefined for a plain
// conversion) spelled out: up to half a unit past the largest float rounds to it, beyond is
// infinite.
inline float ToFloat(double v) {
  constexpr double kMax = std::numeric_limits<float>::max();
  if (v > kMax || v < -kMax) {
    const float big = std::fabs(v) < kMax + std::ldexp(1.0, 103)
                          ? std::numeric_limits<float>::max()
                          : std::numeric_limits<float>::infinity();
    return v > 0 ? big : -big;
  }
  return static_cast<float>(v);
}

// The slope-form intersection shared by the public function and the inside tests, so that
// both give bit-identical crossings.
inline bool LinesIntersect(double x1, double y1, double x2, double y2, double x3, double y3,
                           double x4, double y4, double& ix, double& iy) {
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

inline bool InLineRange(double x1, double y1, double x2, double y2, double px, double py) {
  return std::min(x1, x2) - kPlanarEpsilon <= px && px <= std::max(x1, x2) + kPlanarEpsilon &&
         std::min(y1, y2) - kPlanarEpsilon <= py && py <= std::max(y1, y2) + kPlanarEpsilon;
}

inline int ArraySizeAsInt(INT_PTR n) {
  return n > INT_MAX ? INT_MAX : static_cast<int>(n);
}

}  // namespace plexa::planar
