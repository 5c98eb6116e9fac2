#include "plexa/effects/spiral.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "plexa/core/internal/numerics.h"
#include "plexa/platform/internal/grow.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

// One full turn, as the spiral's formulas spell it.
constexpr double kSpiralTwoPi = 6.283185307179586;
// The grid of the Bezier approximation: every segment ends on a multiple of pi/4.
constexpr double kSpiralQuarterPi = 0.7853981633974483;
// Simpson's rule over this many intervals (five pairs) measures arc length; fixed.
constexpr int kSpiralSimpsonIntervals = 10;
// CalcAngle widens its search interval by tripling at most this many times; beyond ~650
// triplings the bound is infinite anyway.
constexpr int kSpiralMaxWidenings = 700;
// CalcAngle bisects at most this many times; the stop on "no further progress" ends a
// bisection over doubles well before (about 1100 steps from the largest double).
constexpr int kSpiralMaxBisections = 4096;
// CalcCurve refuses (empty path) a stretch that would need more grid nodes than this.
constexpr double kSpiralMaxCurveNodes = 1 << 20;
// NormalizeAngleRad adds 2*pi one turn at a time for up to this many turns; angles further
// below zero are first reduced by a floating remainder, so the loop stays bounded.
constexpr double kSpiralMaxUnwindTurns = 1 << 16;

// The coefficients of the through-the-thirds control point, as the formula spells them.
constexpr double kFiveSixths = 0.8333333333333334;
constexpr double kOneThird = 0.3333333333333333;

}  // namespace

CSpiral::CSpiral(const CDPOINT& centre, double k, double r0, double)
    : m_centre(centre), m_r0(r0), m_k(k), m_direction(1) {}

CDPOINT CSpiral::CalcPoint(double t) const {
  const double r = m_r0 + m_k * t;
  const double a = m_direction == -1 ? -t : t;
  return CDPOINT(m_centre.x + std::cos(a) * r, m_centre.y + std::sin(a) * r);
}

double CSpiral::GetDRPerCircle() const {
  return m_k * kSpiralTwoPi;
}

void CSpiral::SetDRPerCircle(double d) {
  m_k = d / kSpiralTwoPi;
}

double CSpiral::NormalizeAngleRad(double a) {
  if (!std::isfinite(a)) return std::numeric_limits<double>::quiet_NaN();
  // Far below zero the turn-by-turn loop would be long (or, past 2^53, never move a), so
  // reduce first; the remainder then lies in (-2*pi, 0] and the loop runs once.
  if (a < -kSpiralMaxUnwindTurns * kSpiralTwoPi) a = std::fmod(a, kSpiralTwoPi);
  while (a < 0) a += kSpiralTwoPi;
  return std::fmod(a, kSpiralTwoPi);
}

double CSpiral::Speed(double t) const {
  const double radicand = m_k * m_k * t * t + 2 * m_k * m_r0 * t + m_r0 * m_r0 + m_k * m_k;
  return radicand > 0 ? std::sqrt(radicand) : 0.0;
}

double CSpiral::CalcLength(double t0, double t1) const {
  const double lo = std::min(t0, t1);
  const double hi = std::max(t0, t1);
  const double h = (hi - lo) / kSpiralSimpsonIntervals;
  double f[kSpiralSimpsonIntervals + 1];
  for (int i = 0; i <= kSpiralSimpsonIntervals; ++i) f[i] = Speed(lo + i * h);
  double sum = 0;
  for (int i = 0; i < kSpiralSimpsonIntervals; i += 2)
    sum += (f[i] + 4 * f[i + 1] + f[i + 2]) * h / 3;
  return sum;
}

double CSpiral::CalcAngle(double length, double tol) const {
  if (std::isnan(length)) return length;
  if (length <= 0) return 0;
  double hi = kSpiralTwoPi;
  for (int i = 0; i < kSpiralMaxWidenings && length > CalcLength(0, hi); ++i) hi = 3 * hi;
  double lo = 0;
  double mid = hi / 2;
  double m = CalcLength(0, mid);
  if (std::fabs(length - m) < tol) return mid;
  for (int i = 0; i < kSpiralMaxBisections; ++i) {
    if (mid == lo || mid == hi) break;  // no further progress possible
    if (m > length) {
      hi = mid;
    } else if (m < length) {
      lo = mid;
    } else {
      break;
    }
    mid = (lo + hi) / 2;
    m = CalcLength(0, mid);
    if (std::fabs(length - m) < tol) break;
  }
  return mid;
}

CDPOINT CSpiral::ControlPoint(double from, double d) const {
  const CDPOINT p0 = CalcPoint(from);
  const CDPOINT p1 = CalcPoint(from + d / 3);
  const CDPOINT p2 = CalcPoint(from + 2 * d / 3);
  const CDPOINT p3 = CalcPoint(from + d);
  return 3 * p1 - kFiveSixths * p0 - 1.5 * p2 + kOneThird * p3;
}

void CSpiral::CalcCurve(CBPointArray& path, double t0, double t1) const {
  path.RemoveAll();
  if (!std::isfinite(t0) || !std::isfinite(t1)) return;
  // Grid indexes stay doubles until their count is known to be small.
  const double first = 1 + std::trunc(t0 / kSpiralQuarterPi);
  const double last = std::trunc(t1 / kSpiralQuarterPi);
  const double grid = last >= first ? last - first + 1 : 0;
  if (grid > kSpiralMaxCurveNodes) return;

  CArray<double, double> params;
  plexa::grow::Append(params, t0);
  // An integer counter: past 2^53 adding 1 to a double index would not move it.
  for (long long c = 0; c < static_cast<long long>(grid); ++c)
    plexa::grow::Append(params, (first + static_cast<double>(c)) * kSpiralQuarterPi);
  if (t1 > params[params.GetSize() - 1]) plexa::grow::Append(params, t1);

  const INT_PTR n = params.GetSize();
  path.SetSize(n);
  for (INT_PTR j = 0; j < n; ++j) {
    const double t = params[j];
    const double d = j > 0 ? t - params[j - 1] : 0.0;
    const double e = j + 1 < n ? params[j + 1] - t : 0.0;
    CBPOINT node(ControlPoint(t, -d), CalcPoint(t), ControlPoint(t, e));
    path[j] = node;
  }
}

bool CSpiral::IsInSpiral(const CDPOINT& p, double t) const {
  if (std::isnan(t)) return false;  // max(0, NaN) would quietly test against r0
  const double rho = plexa::num::Dist(m_centre, p);
  const double tp = std::max(0.0, t - kSpiralTwoPi);
  const double inner = m_k * tp + m_r0;
  if (rho < inner) return true;
  if (rho > m_k * t + m_r0) return false;
  const double a =
      NormalizeAngleRad(NormalizeAngleRad(std::atan2(p.y - m_centre.y, p.x - m_centre.x)) - tp);
  return a * m_k + inner > rho;
}
