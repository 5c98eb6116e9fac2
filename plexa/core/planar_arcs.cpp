// Circles through three points, arcs, and the nearest hit of a line on a polyline.
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

// ---- Circles and arcs --------------------------------------------------------------------

bool CalcCircle(double x1, double y1, double x2, double y2, double x3, double y3, CDPOINT& c,
                double& r) {
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

void CalcArc(DPointArray& out, CDPOINT c, double r, double x1, double y1, double x2, double y2,
             double x3, double y3) {
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

bool GetArcBPoints(const CDPOINT& c, double r, double a0, double a1, bool clockwise,
                   PLEXA::CBPOINT& first, PLEXA::CBPOINT& second) {
  if (r < 0) return false;
  const double n0 = NormaliseArcAngle(a0), n1 = NormaliseArcAngle(a1);
  const double theta =
      clockwise ? (n0 <= n1 ? n0 + kTwoPi : n0) - n1 : (n0 > n1 ? n1 + kTwoPi : n1) - n0;
  const double s = std::sin(theta), co = std::cos(theta);
  const double b = kArcB * s;
  const double a = 3 * co - kArcA;
  const double d = b * b - 6 * a * kArcD * (1 - co);
  if (d < 0) return false;
  const double k = (b - std::sqrt(d)) / (3 * a) * r;
  const CDPOINT p0(r, 0), c0(r, k), c1(r * co + k * s, r * s - k * co), p3(r * co, r * s);
  if (!clockwise) {
    const CDPOINT P0 = Placed(p0, n0, c), C0 = Placed(c0, n0, c), C1 = Placed(c1, n0, c),
                  P3 = Placed(p3, n0, c);
    first.in = P0, first.anchor = P0, first.out = C0;
    second.in = C1, second.anchor = P3, second.out = P3;
  } else {
    const CDPOINT P0 = Placed(p0, n1, c), C0 = Placed(c0, n1, c), C1 = Placed(c1, n1, c),
                  P3 = Placed(p3, n1, c);
    first.in = P3, first.anchor = P3, first.out = C1;
    second.in = C0, second.anchor = P0, second.out = P0;
  }
  return true;
}

int GetPolyLineWithLineIntersection(DPointArray& poly, PLEXA::CDLINE line, CDPOINT& hit,
                                    int& index) {
  const INT_PTR n = poly.GetSize();
  if (n > 0) hit = index > n / 2 ? poly[n - 1] : poly[0];
  const CDPOINT* p = poly.GetData();
  const CDPOINT mid((line.p1.x + line.p2.x) / 2, (line.p1.y + line.p2.y) / 2);
  for (INT_PTR k = std::max(index, 0); k + 1 < n; ++k) {
    double x, y;
    if (!LinesIntersect(p[k].x, p[k].y, p[k + 1].x, p[k + 1].y, line.p1.x, line.p1.y, line.p2.x,
                        line.p2.y, x, y))
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
