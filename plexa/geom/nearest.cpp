// How the nearest-point members of CBezier and the line clipper work (their contracts are in
// plexa/geom/bezier.h and plexa/geom/nearest.h):
// - GetNearestCurvePointT finds every stationary parameter of the distance as a root of the
//   fifth-degree Bezier (t_i = i/5, f_i = control values of (B(t) - p) . B'(t)) by recursive
//   subdivision: no sign change, no root; one sign change, a root at the chord's crossing
//   once the control polygon is flat (error below 2^-65), or the polygon's mid-parameter at
//   depth 64; otherwise halve at 0.5, left roots before right. At depth 64 a polygon with
//   several sign changes also yields its mid-parameter, and the whole search visits at most
//   kMaxRootPolygons polygons with sign changes (a polygon beyond that budget yields its
//   mid-parameter): exact arithmetic never needs either bound; they keep rounding noise and
//   non-finite input from recursing without end. A NaN control value counts as positive.
// - GetNearestCurvePointT2 runs the same isolation on a copy translated and scaled (by powers
//   of two) to unit size, polishes each root with at most 8 Newton steps that must each
//   reduce the distance, and keeps the nearest of the ends and the polished roots; measured
//   against a dense scan it is within rounding (1e-15 relative) for segment sizes from 1e-6
//   to 1e6 and points up to 1e9 sizes away.
#include "plexa/geom/nearest.h"

#include <algorithm>
#include <cmath>

#include "plexa/core/internal/numerics.h"

using PLEXA::CDPOINT;

namespace {

// Nearest point: depth limit of the root isolation (the flatness threshold is 2^-(64 + 1)),
// and the guard that replaces a denominator within it of 0 (carrying the denominator's sign,
// 0 counting as positive).
constexpr int kNearestMaxDepth = 64;
constexpr double kNearestDivisionGuard = 1e-8;
// Root isolation budget: polygons with at least one sign change that one search may visit.
constexpr int kMaxRootPolygons = 2048;
// _clip_line: rounds of the clipping loop before an unresolved segment is rejected.
constexpr int kMaxClipRounds = 32;

constexpr int kDegree = 5;
// Flatness threshold of the root isolation: 2^-(max depth + 1).
constexpr double kFlatEnough = 0x1p-65;
static_assert(kNearestMaxDepth == 64, "kFlatEnough is 2^-(kNearestMaxDepth + 1)");

// One control point of the quintic: parameter t and value f.
struct Ctl {
  double t;
  double f;
};
using Quintic = Ctl[kDegree + 1];

// A denominator within the guard of 0 becomes the guard, with the denominator's sign (0
// counting as positive).
double Guarded(double d) {
  if (std::fabs(d) < kNearestDivisionGuard)
    return d < 0 ? -kNearestDivisionGuard : kNearestDivisionGuard;
  return d;
}

using plexa::num::Dot;
double SquaredDistance(const CDPOINT& a, const CDPOINT& b) {
  return Dot(a - b, a - b);
}

// The Bernstein control values of (B(t) - p) . B'(t): the difference curve's control i
// times the derivative's control j goes to index i + j with weight C(3,i) C(2,j) / C(5,i+j).
void ToQuintic(const CDPOINT v[4], const CDPOINT& p, Quintic& w) {
  static constexpr double kZ[3][4] = {
      {1.0, 0.6, 0.3, 0.1},
      {0.4, 0.6, 0.6, 0.4},
      {0.1, 0.3, 0.6, 1.0},
  };
  CDPOINT c[4], d[3];
  for (int i = 0; i < 4; ++i) c[i] = v[i] - p;
  for (int i = 0; i < 3; ++i) d[i] = (v[i + 1] - v[i]) * 3.0;
  for (int i = 0; i <= kDegree; ++i) w[i] = {static_cast<double>(i) / kDegree, 0.0};
  for (int k = 0; k <= kDegree; ++k) {
    const int lb = std::max(0, k - 2), ub = std::min(k, 3);
    for (int i = lb; i <= ub; ++i) {
      const int j = k - i;
      w[k].f += Dot(d[j], c[i]) * kZ[j][i];
    }
  }
}

int SignChanges(const Quintic& w) {
  int changes = 0;
  bool negative = w[0].f < 0;
  for (int i = 1; i <= kDegree; ++i) {
    const bool n = w[i].f < 0;
    if (n != negative) ++changes;
    negative = n;
  }
  return changes;
}

// The control polygon lies within a thin band around its chord: the signed squared
// distances of the inner points bound two lines parallel to the chord, and half the distance
// between their crossings with f = 0 must be below kFlatEnough.
bool FlatEnough(const Quintic& w) {
  const double a = w[0].f - w[kDegree].f;
  const double b = w[kDegree].t - w[0].t;
  const double c = w[0].t * w[kDegree].f - w[kDegree].t * w[0].f;
  const double abSquared = Guarded(a * a + b * b);
  double above = 0, below = 0;
  for (int i = 1; i < kDegree; ++i) {
    double v = a * w[i].t + b * w[i].f + c;
    if (v > 0)
      v = v * v / abSquared;
    else if (v < 0)
      v = -(v * v / abSquared);
    if (v < 0) below = std::min(below, v);
    if (v > 0) above = std::max(above, v);
  }
  // Crossings of a2 t + b2 f + c2 = 0 with the axis 0 t + 1 f + 0 = 0.
  const auto intercept = [a, b](double c2) {
    const double a1 = 0, b1 = 1, c1 = 0;
    const double det = a1 * b - a * b1;
    return (b1 * c2 - b * c1) * (1.0 / Guarded(det));
  };
  const double i1 = intercept(c + above), i2 = intercept(c + below);
  const double error = 0.5 * (std::max(i1, i2) - std::min(i1, i2));
  return error < kFlatEnough;
}

// Where the chord from the first to the last control point crosses f = 0.
double ChordCrossing(const Quintic& w) {
  const double xlk = 1.0, ylk = 0.0;
  const double xnm = w[kDegree].t - w[0].t, ynm = w[kDegree].f - w[0].f;
  const double xmk = w[0].t, ymk = w[0].f;
  const double det = xnm * ylk - ynm * xlk;
  const double s = (xnm * ymk - ynm * xmk) * (1.0 / Guarded(det));
  return 0.0 + xlk * s;
}

void SplitHalf(const Quintic& w, Quintic& left, Quintic& right) {
  Ctl tmp[kDegree + 1][kDegree + 1];
  for (int j = 0; j <= kDegree; ++j) tmp[0][j] = w[j];
  for (int i = 1; i <= kDegree; ++i) {
    for (int j = 0; j <= kDegree - i; ++j) {
      tmp[i][j].t = 0.5 * tmp[i - 1][j].t + 0.5 * tmp[i - 1][j + 1].t;
      tmp[i][j].f = 0.5 * tmp[i - 1][j].f + 0.5 * tmp[i - 1][j + 1].f;
    }
  }
  for (int j = 0; j <= kDegree; ++j) {
    left[j] = tmp[j][0];
    right[j] = tmp[kDegree - j][j];
  }
}

// Calls emit(t) for every isolated root, in increasing order of the polygons visited.
template <typename Emit>
void FindRoots(const Quintic& w, int depth, int& budget, Emit& emit) {
  const int changes = SignChanges(w);
  if (changes == 0) return;
  --budget;
  if (depth >= kNearestMaxDepth || budget <= 0) {
    emit((w[0].t + w[kDegree].t) / 2.0);
    return;
  }
  if (changes == 1 && FlatEnough(w)) {
    emit(ChordCrossing(w));
    return;
  }
  Quintic left, right;
  SplitHalf(w, left, right);
  FindRoots(left, depth + 1, budget, emit);
  FindRoots(right, depth + 1, budget, emit);
}

template <typename Emit>
void ForEachStationaryT(const CDPOINT v[4], const CDPOINT& p, Emit&& emit) {
  Quintic w;
  ToQuintic(v, p, w);
  int budget = kMaxRootPolygons;
  FindRoots(w, 0, budget, emit);
}

bool Finite(const CDPOINT& p) {
  return plexa::num::IsFinite(p);
}

CDPOINT Derivative(const CDPOINT v[4], double t) {
  return plexa::num::BezierDerivative(v[0], v[1], v[2], v[3], t);
}

CDPOINT SecondDerivative(const CDPOINT v[4], double t) {
  return (v[2] - v[1] * 2.0 + v[0]) * (6 * (1 - t)) + (v[3] - v[2] * 2.0 + v[1]) * (6 * t);
}

// Newton polishing of a candidate t for the unit-scale curve: steps on
// g(t) = (B - q) . B' while they reduce the squared distance. Returns the improved t and
// updates d2.
constexpr int kNewtonSteps = 8;
double Polish(const CBezier& bez, const CDPOINT& q, double t, double& d2) {
  const CDPOINT* v = bez.GetPoints();
  for (int i = 0; i < kNewtonSteps; ++i) {
    const CDPOINT b = bez.GetCurvePoint(t);
    const CDPOINT d1 = Derivative(v, t);
    const double g = Dot(b - q, d1);
    const double g1 = Dot(d1, d1) + Dot(b - q, SecondDerivative(v, t));
    if (!(g1 > 0)) break;  // not heading for a minimum
    const double next = std::clamp(t - g / g1, 0.0, 1.0);
    if (next == t) break;
    const double nd2 = SquaredDistance(bez.GetCurvePoint(next), q);
    if (!(nd2 < d2)) break;
    t = next;
    d2 = nd2;
  }
  return t;
}

// The power of two that brings m (> 0 and finite) into [1, 2): its exponent, negated. Applied
// with std::ldexp, never as a factor: for a subnormal m the factor itself would overflow.
int PowerOfTwoBelow(double m) {
  return -std::ilogb(m);
}
CDPOINT Scaled(const CDPOINT& p, int e) {
  return CDPOINT(std::ldexp(p.x, e), std::ldexp(p.y, e));
}

}  // namespace

double CBezier::GetNearestCurvePointT(const CDPOINT& p) const {
  double best = 0;
  double bestD2 = SquaredDistance(p, m_p[0]);
  ForEachStationaryT(m_p, p, [&](double t) {
    if (std::isnan(t)) return;
    t = std::clamp(t, 0.0, 1.0);  // the answer stays a parameter of the segment
    const double d2 = SquaredDistance(p, GetCurvePoint(t));
    if (d2 < bestD2) bestD2 = d2, best = t;
  });
  if (SquaredDistance(p, m_p[3]) < bestD2) best = 1;
  return best;
}

CDPOINT CBezier::GetNearestCurvePoint(const CDPOINT& p) const {
  return GetCurvePoint(GetNearestCurvePointT(p));
}

double CBezier::GetNearestCurvePointT2(const CDPOINT& p, double* dist) const {
  const auto finish = [&](double t) {
    if (dist != nullptr) {
      const CDPOINT d = GetCurvePoint(t) - p;
      *dist = std::hypot(d.x, d.y);
    }
    return t;
  };
  bool finite = Finite(p);
  double m = std::max(std::fabs(p.x), std::fabs(p.y));
  for (const CDPOINT& v : m_p) {
    finite = finite && Finite(v);
    m = std::max({m, std::fabs(v.x), std::fabs(v.y)});
  }
  if (!finite || m == 0) return finish(0);

  // A unit-scale copy: scale by a power of two so every coordinate is within 2, centre the
  // control box on the origin, and scale again so the box's longer side is about 1 (but the
  // target no further than 2^100 out). Powers of two keep the scaling exact.
  const int s1 = PowerOfTwoBelow(m);
  CDPOINT v[4];
  double xmin = std::ldexp(m_p[0].x, s1), xmax = xmin, ymin = std::ldexp(m_p[0].y, s1), ymax = ymin;
  for (int i = 0; i < 4; ++i) {
    v[i] = Scaled(m_p[i], s1);
    xmin = std::min(xmin, v[i].x), xmax = std::max(xmax, v[i].x);
    ymin = std::min(ymin, v[i].y), ymax = std::max(ymax, v[i].y);
  }
  const double extent = std::max(xmax - xmin, ymax - ymin);
  if (extent == 0) return finish(0);
  const CDPOINT centre(xmin / 2 + xmax / 2, ymin / 2 + ymax / 2);
  CDPOINT q = Scaled(p, s1) - centre;
  int s2 = PowerOfTwoBelow(extent);
  const double qm = std::max(std::fabs(q.x), std::fabs(q.y));
  if (qm > 0) s2 = std::min(s2, PowerOfTwoBelow(qm) + 100);
  for (CDPOINT& c : v) c = Scaled(c - centre, s2);
  q = Scaled(q, s2);
  const CBezier unit(v[0], v[1], v[2], v[3]);

  double best = 0;
  double bestD2 = SquaredDistance(v[0], q);
  const auto consider = [&](double t) {
    if (std::isnan(t)) return;
    t = std::clamp(t, 0.0, 1.0);
    double d2 = SquaredDistance(unit.GetCurvePoint(t), q);
    t = Polish(unit, q, t, d2);
    if (d2 < bestD2) bestD2 = d2, best = t;
  };
  ForEachStationaryT(v, q, consider);
  if (SquaredDistance(v[3], q) < bestD2) best = 1;
  return finish(best);
}

CDPOINT CBezier::GetNearestCurvePoint2(const CDPOINT& p, double* dist) const {
  return GetCurvePoint(GetNearestCurvePointT2(p, dist));
}

namespace {

int OutCode(double x, double y, double left, double right, double top, double bottom) {
  int code = 0;
  if (y > bottom) {
    code = 1;
    if (x > right)
      code += 4;
    else if (x < left)
      code += 8;
  } else {
    if (x > right)
      code = 4;
    else if (x < left)
      code = 8;
    if (y < top) code += 2;
  }
  return code;
}

}  // namespace

int _clip_line(double* x1, double* y1, double* x2, double* y2, double left, double right,
               double top, double bottom) {
  double ax = *x1, ay = *y1, bx = *x2, by = *y2;
  int ca = OutCode(ax, ay, left, right, top, bottom);
  int cb = OutCode(bx, by, left, right, top, bottom);
  bool movedA = false, movedB = false;
  for (int round = 0; ca != 0 || cb != 0; ++round) {
    if ((ca & cb) != 0 || round >= kMaxClipRounds) return 0;
    const bool first = ca != 0;
    const int code = first ? ca : cb;
    double x, y;
    if (code & 4) {
      y = ay + (by - ay) * (right - ax) / (bx - ax);
      x = right;
    } else if (code & 8) {
      y = ay + (by - ay) * (left - ax) / (bx - ax);
      x = left;
    } else if (code & 1) {
      x = ax + (bx - ax) * (bottom - ay) / (by - ay);
      y = bottom;
    } else {
      x = ax + (bx - ax) * (top - ay) / (by - ay);
      y = top;
    }
    if (first) {
      ax = x, ay = y, movedA = true;
      ca = OutCode(ax, ay, left, right, top, bottom);
    } else {
      bx = x, by = y, movedB = true;
      cb = OutCode(bx, by, left, right, top, bottom);
    }
  }
  *x1 = ax, *y1 = ay, *x2 = bx, *y2 = by;
  return 1 + (movedA ? 2 : 0) + (movedB ? 4 : 0);
}

int ClipLine(double* x1, double* y1, double* x2, double* y2, const tagRECT* r) {
  if (r == nullptr) return 0;
  return _clip_line(x1, y1, x2, y2, r->left, r->right, r->top, r->bottom);
}
