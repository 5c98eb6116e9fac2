#include "plexa/analysis/planar.h"

#include <cmath>
#include <numbers>

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kTwoPi = 2 * std::numbers::pi;

bool Coincide(double x1, double y1, double x2, double y2) {
  return std::fabs(x1 - x2) < kPlanarEpsilon && std::fabs(y1 - y2) < kPlanarEpsilon;
}

}  // namespace

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

void Rotate(double* x, double* y, double cx, double cy, double a) {
  const double dx = *x - cx, dy = *y - cy;
  const double c = std::cos(a), s = std::sin(a);
  *x = cx + c * dx - s * dy;
  *y = cy + c * dy + s * dx;
}

void Rotate(float* x, float* y, float cx, float cy, double a) {
  double dx = *x, dy = *y;
  Rotate(&dx, &dy, cx, cy, a);
  *x = std::fabs(dx) < kPlanarEpsilon ? 0.0f : static_cast<float>(dx);
  *y = std::fabs(dy) < kPlanarEpsilon ? 0.0f : static_cast<float>(dy);
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
  *x = static_cast<float>(dx);
  *y = static_cast<float>(dy);
}
