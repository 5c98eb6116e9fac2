#include "plexa/effects/ellipse.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "plexa/core/internal/numerics.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 2 * kPi;
constexpr double kQuarter = kPi / 2;
// Relative accuracy of the arc-length quadrature, per unit of parameter.
constexpr double kLengthRelTol = 1e-13;
// CalcParamAtLength stops when the length is met this closely (relative to the perimeter).
constexpr double kParamRelTol = 1e-12;
// Rounding slack when counting quarter turns in a sweep.
constexpr double kCountSlack = 1e-9;

// Gauss-Kronrod 7/15 nodes and weights (QUADPACK qk15).
constexpr double kXgk[8] = {
    0.991455371120812639206854697526329, 0.949107912342758524526189684047851,
    0.864864423359769072789712788640926, 0.741531185599394439863864773280788,
    0.586087235467691130294144845693013, 0.405845151377397166906606412076961,
    0.207784955007898467600689403773245, 0.0};
constexpr double kWgk[8] = {
    0.022935322010529224963732008058970, 0.063092092629978553290700663189204,
    0.104790010322250183839876322541518, 0.140653259715525918745189590510238,
    0.169004726639267902826583426598550, 0.190350578064785409913256402421014,
    0.204432940075298892414161999234649, 0.209482141084727828012999174891714};
constexpr double kWg[4] = {0.129484966168869693270611432679082, 0.279705391489276667901467771423780,
                           0.381830050505118944950369775488975,
                           0.417959183673469387755102040816327};

template <typename F>
double Adaptive(const F& f, double a, double b, double tolPerUnit, int depth) {
  const double c = (a + b) / 2, h = (b - a) / 2;
  const double fc = f(c);
  double kron = fc * kWgk[7];
  double gauss = fc * kWg[3];
  for (int j = 0; j < 7; ++j) {
    const double x = h * kXgk[j];
    const double s = f(c - x) + f(c + x);
    kron += kWgk[j] * s;
    if (j % 2 == 1) gauss += kWg[j / 2] * s;
  }
  kron *= h;
  gauss *= h;
  const double err = std::fabs(kron - gauss);
  if (depth >= kEllipseMaxQuadratureDepth || !(err > tolPerUnit * (b - a))) return kron;
  return Adaptive(f, a, c, tolPerUnit, depth + 1) + Adaptive(f, c, b, tolPerUnit, depth + 1);
}

}  // namespace

CEllipse::CEllipse(const CDPOINT& centre, double rx, double ry, double rotation)
    : m_centre(centre), m_rx(rx), m_ry(ry), m_rotation(rotation) {}

CDPOINT CEllipse::CalcPoint(double t) const {
  const double c = std::cos(m_rotation), s = std::sin(m_rotation);
  const double u = m_rx * std::cos(t), v = m_ry * std::sin(t);
  return CDPOINT(m_centre.x + c * u - s * v, m_centre.y + s * u + c * v);
}

CDPOINT CEllipse::CalcDerivative(double t) const {
  const double c = std::cos(m_rotation), s = std::sin(m_rotation);
  const double u = -m_rx * std::sin(t), v = m_ry * std::cos(t);
  return CDPOINT(c * u - s * v, s * u + c * v);
}

bool CEllipse::IsUsable() const {
  return std::isfinite(m_rx) && std::isfinite(m_ry) && std::isfinite(m_rotation) &&
         plexa::num::IsFinite(m_centre) && m_rx != 0 && m_ry != 0;
}

double CEllipse::ArcErrorBound(double sweep) const {
  const double q = std::fabs(sweep) / 4;
  const double s = std::sin(q), c = std::cos(q);
  const double s3 = s * s * s;
  return std::max(std::fabs(m_rx), std::fabs(m_ry)) * (2.0 / 27.0) * s3 * s3 / (c * c);
}

bool CEllipse::CalcCurve(CBPointArray& path, double accuracy) const {
  return CalcArc(path, 0, kTwoPi, accuracy);
}

bool CEllipse::CalcArc(CBPointArray& path, double start, double sweep, double accuracy) const {
  path.RemoveAll();
  if (!IsUsable() || !std::isfinite(start) || !std::isfinite(sweep) || sweep == 0) return false;
  sweep = std::clamp(sweep, -kTwoPi, kTwoPi);
  const double span = std::fabs(sweep);
  int n = std::max(1, static_cast<int>(std::ceil(span / kQuarter - kCountSlack)));
  if (accuracy > 0)
    while (n < kEllipseMaxPieces && ArcErrorBound(span / n) > accuracy) ++n;
  const double piece = sweep / n;
  const double k = 4.0 / 3.0 * std::tan(piece / 4);
  path.SetSize(0, n + 1);
  for (int i = 0; i <= n; ++i) {
    const double t = start + piece * i;
    const CDPOINT p = CalcPoint(t);
    const CDPOINT d = CalcDerivative(t);
    CBPOINT node(i > 0 ? CDPOINT(p.x - k * d.x, p.y - k * d.y) : p, p,
                 i < n ? CDPOINT(p.x + k * d.x, p.y + k * d.y) : p);
    path.Add(node);
  }
  if (span == kTwoPi) {
    // Close exactly: the last node repeats the first (with its incoming control kept).
    CBPOINT& last = path[n];
    last.anchor = path[0].anchor;
    last.out = path[0].out;
    path[0].in = last.in;
  }
  return true;
}

double CEllipse::Speed(double t) const {
  return plexa::num::Length(CalcDerivative(t));
}

double CEllipse::CalcLength(double t0, double t1) const {
  if (!std::isfinite(t0) || !std::isfinite(t1) || !std::isfinite(m_rx) || !std::isfinite(m_ry))
    return std::numeric_limits<double>::quiet_NaN();
  if (t1 < t0) return -CalcLength(t1, t0);
  double span = t1 - t0;
  double whole = 0;
  if (span > kTwoPi) {
    const double turns = std::floor(span / kTwoPi);
    whole = turns * CalcPerimeter();
    span -= turns * kTwoPi;
    t1 = t0 + span;
  }
  const double tol = kLengthRelTol * (std::fabs(m_rx) + std::fabs(m_ry));
  if (tol == 0) return whole;
  auto speed = [this](double t) { return Speed(t); };
  // Split at the multiples of a quarter turn, where the speed of a flat ellipse has its
  // sharp minima, so that each interval is smooth.
  double sum = 0;
  double a = t0;
  double q = std::floor(t0 / kQuarter) + 1;
  for (int guard = 0; guard < 8 && q * kQuarter < t1; ++guard, q += 1) {
    const double b = q * kQuarter;
    if (b > a) sum += Adaptive(speed, a, b, tol, 0);
    a = std::max(a, b);
  }
  if (t1 > a) sum += Adaptive(speed, a, t1, tol, 0);
  return whole + sum;
}

double CEllipse::CalcPerimeter() const {
  if (!std::isfinite(m_rx) || !std::isfinite(m_ry)) return std::numeric_limits<double>::quiet_NaN();
  return CalcLength(0, kTwoPi);
}

double CEllipse::CalcParamAtLength(double t0, double length) const {
  const double P = CalcPerimeter();
  if (!std::isfinite(t0) || !std::isfinite(length) || !std::isfinite(P))
    return std::numeric_limits<double>::quiet_NaN();
  if (P == 0 || length == 0) return t0;
  const double dir = length < 0 ? -1.0 : 1.0;
  double rem = std::fabs(length);
  const double turns = std::floor(rem / P);
  rem -= turns * P;
  // Solve L(t0, t0 + dir * tau) = rem for tau in [0, 2 pi]: Newton steps kept inside a
  // shrinking bracket, bisection where Newton leaves it.
  double lo = 0, hi = kTwoPi;
  double tau = rem / P * kTwoPi;
  for (int i = 0; i < kEllipseMaxLengthSteps; ++i) {
    const double len = dir > 0 ? CalcLength(t0, t0 + tau) : CalcLength(t0 - tau, t0);
    const double f = len - rem;
    if (std::fabs(f) <= kParamRelTol * P) break;
    if (f > 0)
      hi = tau;
    else
      lo = tau;
    const double v = Speed(t0 + dir * tau);
    double next = v > 0 ? tau - f / v : (lo + hi) / 2;
    if (!(next > lo && next < hi)) next = (lo + hi) / 2;
    if (next == tau) break;
    tau = next;
  }
  return t0 + dir * (turns * kTwoPi + tau);
}

CDPOINT CEllipse::CalcPointAtLength(double t0, double length) const {
  return CalcPoint(CalcParamAtLength(t0, length));
}

bool CEllipse::IsPointInside(const CDPOINT& p) const {
  if (!IsUsable() || !plexa::num::IsFinite(p)) return false;
  const double c = std::cos(m_rotation), s = std::sin(m_rotation);
  const double dx = p.x - m_centre.x, dy = p.y - m_centre.y;
  const double u = (c * dx + s * dy) / m_rx;
  const double v = (-s * dx + c * dy) / m_ry;
  return u * u + v * v < 1;
}

double CEllipse::ParamFromPolar(double angle) const {
  const double a = angle - m_rotation;
  if (m_rx == 0 || m_ry == 0) return a;
  double t = std::atan2(std::sin(a) / m_ry, std::cos(a) / m_rx);
  t += kTwoPi * std::round((a - t) / kTwoPi);
  return t;
}
