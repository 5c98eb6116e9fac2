#include "plexa/geom/bezier.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "plexa/core/internal/numerics.h"
#include "plexa/core/planar.h"
#include "plexa/platform/internal/grow.h"

using PLEXA::CBEZIER;
using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

// Arc length: a Simpson speed sample within this of kSpeedFloor is taken as 0.
constexpr double kSpeedZeroBand = 1e-8;
constexpr double kSpeedFloor = 1e-20;
// Arc length: more intervals than this are treated as this many (bounds the work of a call).
constexpr int kMaxSimpsonIntervals = 65536;
// GetTFromLength: bisection stops when the midpoint moves by less than this, or after
// kMaxLengthBisections rounds.
constexpr double kLengthBisectionStop = 1e-8;
constexpr int kMaxLengthBisections = 1000;
// Tangent angle: parameters used in place of exactly 0 and exactly 1, where a control point
// sitting on its anchor would give a zero derivative.
constexpr double kTangentStart = 0.001;
constexpr double kTangentEnd = 0.999;
// _GetCurveT: first scan step and number of refinement rounds (each divides the step by 10).
constexpr double kCurveTScanStep = 0.01;
constexpr int kCurveTRefinements = 8;
// CBezierPoint::IsSmooth: the anchor must lie closer than this to the line through the
// controls. (Each control must also be at least PLEXA::kHandleDistinct from the anchor.)
constexpr double kSmoothLineDistance = 0.1;

using plexa::num::Dist;
constexpr auto Distance = [](const CDPOINT& a, const CDPOINT& b) { return Dist(a, b); };
using plexa::num::Lerp;
constexpr auto Interpolate = [](const CDPOINT& a, const CDPOINT& b, double t) {
  return Lerp(a, b, t);
};

// Arc length: coefficients beyond this magnitude are scaled by a power of two (exactly) before
// their squares are formed, and the length scaled back, so huge segments keep their length.
constexpr double kLengthRescaleAbove = 1e100;

// The de Casteljau triangle at t: q[0..2] level 1, r[0..1] level 2, s level 3.
struct Casteljau {
  CDPOINT q[3];
  CDPOINT r[2];
  CDPOINT s;
};

Casteljau Subdivide(const CDPOINT p[4], double t) {
  Casteljau c;
  for (int i = 0; i < 3; ++i) c.q[i] = Interpolate(p[i], p[i + 1], t);
  for (int i = 0; i < 2; ++i) c.r[i] = Interpolate(c.q[i], c.q[i + 1], t);
  c.s = Interpolate(c.r[0], c.r[1], t);
  return c;
}

// Bernstein weights at t, in the factored forms the evaluation uses.
struct Weights {
  double b0, b1, b2, b3;
};

Weights Bernstein(double t) {
  const double t2 = t * t;
  return {(3 - t) * t2 - 3 * t + 1, 3 * ((t - 2) * t2 + t), 3 * t2 * (1 - t), t2 * t};
}

bool OnAnchor(const CDPOINT& control, const CDPOINT& anchor) {
  return std::fabs(control.x - anchor.x) < PLEXA::kCoincide &&
         std::fabs(control.y - anchor.y) < PLEXA::kCoincide;
}

// The effective flattening resolution: long chords raise the set resolution.
double EffectiveResolution(double chord, double r) {
  if (chord > 100000) return std::max(r, 100.0);
  if (chord > 10000) return std::max(r, 10.0);
  if (chord > 5000) return std::max(r, 5.0);
  if (chord > 2000) return std::max(r, 3.0);
  return r;
}

}  // namespace

// ---- CBezier ----

CBezier::CBezier(const CBPOINT& a, const CBPOINT& b) : m_p{a.anchor, a.out, b.in, b.anchor} {}

CBezier::CBezier(const CDPOINT& p0, const CDPOINT& p1, const CDPOINT& p2, const CDPOINT& p3)
    : m_p{p0, p1, p2, p3} {}

void CBezier::SetPoints(const CDPOINT pts[4]) {
  std::copy(pts, pts + 4, m_p);
}

CDPOINT CBezier::GetCurvePoint(double t) const {
  if (t == 0) return m_p[0];
  if (t == 1) return m_p[3];
  const Weights w = Bernstein(t);
  return CDPOINT(w.b0 * m_p[0].x + w.b1 * m_p[1].x + w.b2 * m_p[2].x + w.b3 * m_p[3].x,
                 w.b0 * m_p[0].y + w.b1 * m_p[1].y + w.b2 * m_p[2].y + w.b3 * m_p[3].y);
}

CDPOINT CBezier::GetCurvePoint2(double t) const {
  return Subdivide(m_p, t).s;
}

CDPOINT CBezier::_GetCurvePoint(const CDPOINT& p) const {
  return GetCurvePoint(_GetCurveT(p));
}

CBPOINT CBezier::GetCurveBPoint(double t) const {
  const Casteljau c = Subdivide(m_p, t);
  return CBPOINT(c.r[0], c.s, c.r[1]);
}

double CBezier::GetCurveTangentAngle(double t) const {
  if (t == 0)
    t = kTangentStart;
  else if (t == 1)
    t = kTangentEnd;
  const double u = 1 - t;
  const double w0 = 3 * u * u, w1 = 6 * u * t, w2 = 3 * t * t;
  const double dx =
      w0 * (m_p[1].x - m_p[0].x) + w1 * (m_p[2].x - m_p[1].x) + w2 * (m_p[3].x - m_p[2].x);
  const double dy =
      w0 * (m_p[1].y - m_p[0].y) + w1 * (m_p[2].y - m_p[1].y) + w2 * (m_p[3].y - m_p[2].y);
  return std::atan2(dy, dx);
}

void CBezier::CalcBezierConstants(double ax[4], double ay[4]) const {
  plexa::num::PowerForm(m_p[0].x, m_p[1].x, m_p[2].x, m_p[3].x, ax);
  plexa::num::PowerForm(m_p[0].y, m_p[1].y, m_p[2].y, m_p[3].y, ay);
}

CDRECT CBezier::CalcTightRect() const {
  double ax[4], ay[4];
  CalcBezierConstants(ax, ay);
  return CalcTightRect(ax, ay);
}

namespace {

// Range of a0 + a1 t + a2 t^2 + a3 t^3 over [0, 1]: the end values widened by the values at
// the roots of the derivative that lie in [0, 1].
void AxisRange(const double a[4], double& lo, double& hi) {
  const auto value = [a](double t) { return a[0] + a[1] * t + a[2] * t * t + a[3] * t * t * t; };
  const double e0 = a[0], e1 = a[0] + a[1] + a[2] + a[3];
  lo = std::min(e0, e1);
  hi = std::max(e0, e1);
  // The roots of the derivative a1 + 2 a2 t + 3 a3 t^2, without cancellation: a nearly
  // vanishing cubic term (a quadratic raised to a cubic, as font outlines are) keeps its root.
  double roots[2];
  const int count = plexa::num::SolveQuadratic(a[1], 2 * a[2], 3 * a[3], roots);
  for (int i = 0; i < count; ++i) {
    if (roots[i] >= 0 && roots[i] <= 1) {
      const double v = value(roots[i]);
      lo = std::min(lo, v);
      hi = std::max(hi, v);
    }
  }
}

}  // namespace

CDRECT CBezier::CalcTightRect(const double ax[4], const double ay[4]) const {
  CDRECT rc;
  AxisRange(ax, rc.xmin, rc.xmax);
  AxisRange(ay, rc.ymin, rc.ymax);
  return rc;
}

double CBezier::GetLength() const {
  return GetLength(0, 1, 10);
}

double CBezier::GetLength(double t0, double t1, int n) const {
  if (n <= 1) return 0;
  n = std::min(n, kMaxSimpsonIntervals);
  double ax[4], ay[4];
  CalcBezierConstants(ax, ay);
  double big = 0;
  for (int i = 1; i < 4; ++i) big = std::max({big, std::fabs(ax[i]), std::fabs(ay[i])});
  int e = 0;
  if (big > kLengthRescaleAbove && std::isfinite(big)) {
    std::frexp(big, &e);
    for (int i = 1; i < 4; ++i) ax[i] = std::ldexp(ax[i], -e), ay[i] = std::ldexp(ay[i], -e);
  }
  const double a33 = ax[3] * ax[3] + ay[3] * ay[3];
  const double a32 = ax[3] * ax[2] + ay[3] * ay[2];
  const double a31 = ax[3] * ax[1] + ay[3] * ay[1];
  const double a22 = ax[2] * ax[2] + ay[2] * ay[2];
  const double a21 = ax[2] * ax[1] + ay[2] * ay[1];
  const double a11 = ax[1] * ax[1] + ay[1] * ay[1];
  const double h = (t1 - t0) / n;
  // Samples are computed as they are needed instead of being kept in tables; the values and
  // the order of the sums are those of a table of n + 1 samples.
  const auto speed = [&](int i) {
    const double t = t0 + i * h;
    const double t2 = t * t;
    const double sq =
        9 * a33 * t2 * t2 + 12 * a32 * t2 * t + (4 * a22 + 6 * a31) * t2 + 4 * a21 * t + a11;
    double s = sq > 0 ? std::sqrt(sq) : 0.0;
    if (std::fabs(std::ldexp(s, e) - kSpeedFloor) < kSpeedZeroBand) s = 0;
    return s;
  };
  double sum = 0;
  double f0 = speed(0);
  for (int i = 0; i < n - 1; i += 2) {
    const double f1 = speed(i + 1), f2 = speed(i + 2);
    sum += (f0 + 4 * f1 + f2) * h / 3;
    f0 = f2;
  }
  return std::ldexp(sum, e);
}

double CBezier::GetL(int n) const {
  if (n <= 1) return Distance(m_p[0], m_p[3]);
  double sum = 0;
  CDPOINT prev = m_p[0];
  for (int i = 1; i < n; ++i) {
    const CDPOINT q = GetCurvePoint(static_cast<double>(i) / n);
    sum += Distance(prev, q);
    prev = q;
  }
  return sum + Distance(prev, m_p[3]);
}

double CBezier::GetTFromLength(double len) const {
  double lo = 0, hi = 1;
  double m = 0.5;
  for (int round = 0; round < kMaxLengthBisections; ++round) {
    const double l = GetLength(0, m, 10);
    if (l < len)
      lo = m;
    else if (l > len)
      hi = m;
    else
      return m;  // equal, or NaN on either side
    const double next = (lo + hi) / 2;
    if (std::fabs(next - m) < kLengthBisectionStop) return next;
    m = next;
  }
  return m;
}

double CBezier::GetBPointArrayLength(const CArray<CBPOINT, CBPOINT>& path, int n) {
  const INT_PTR count = path.GetSize();
  INT_PTR k = count - 1;
  if (n >= 0 && n < count - 1) k = n;
  double sum = 0;
  for (INT_PTR i = 0; i < k; ++i)
    sum += CBezier(path.GetData()[i], path.GetData()[i + 1]).GetLength();
  return sum;
}

namespace {

// |ab| <= r, decided like sqrt(dx^2 + dy^2) <= r but without the square root when the squared
// length is clearly (by far more than rounding) below or above r^2; only near-ties and
// resolutions whose square leaves the normal range take the square root.
class LegWithin {
 public:
  explicit LegWithin(double r) : m_r(r) {
    const double r2 = r * r;
    m_fast = r > 0 && r2 > kMinSquare && r2 < kMaxSquare;
    m_below = r2 * (1 - kMargin);
    m_above = r2 * (1 + kMargin);
  }
  bool operator()(const CDPOINT& a, const CDPOINT& b) const {
    const double dx = b.x - a.x, dy = b.y - a.y;
    const double d2 = dx * dx + dy * dy;
    if (m_fast) {
      if (d2 <= m_below) return true;
      if (d2 > m_above) return false;
    }
    return plexa::num::Length(dx, dy) <= m_r;
  }

 private:
  static constexpr double kMargin = 1e-14;  // about 45 units of rounding
  static constexpr double kMinSquare = 1e-290, kMaxSquare = 1e290;
  double m_r, m_below = 0, m_above = 0;
  bool m_fast = false;
};

}  // namespace

struct CBezier::FlattenSink {
  static constexpr int kBlock = 512;  // 8 KB of stack
  CArray<CDPOINT, CDPOINT>& list;
  const LegWithin within;  // the flatness test of one control leg
  CDPOINT block[kBlock];
  int pending = 0;

  FlattenSink(CArray<CDPOINT, CDPOINT>& l, double r) : list(l), within(r) {}
  FlattenSink(const FlattenSink&) = delete;
  FlattenSink& operator=(const FlattenSink&) = delete;
  ~FlattenSink() { Flush(); }
  // Points in the list, counting those not yet appended.
  INT_PTR Size() const { return list.GetSize() + pending; }
  void Add(const CDPOINT& p) {
    if (pending == kBlock) Flush();
    block[pending++] = p;
  }
  void Flush() {
    if (pending == 0) return;
    const INT_PTR old = list.GetSize();
    plexa::grow::Reserve(list, old + pending);
    list.SetSize(old + pending);
    std::copy(block, block + pending, list.GetData() + old);
    pending = 0;
  }
};

void CBezier::GetPolyline(CArray<CDPOINT, CDPOINT>& list) const {
  if (!m_expandStraightLines && Distance(m_p[0], m_p[1]) < PLEXA::kCoincide &&
      Distance(m_p[2], m_p[3]) < PLEXA::kCoincide) {
    if (list.IsEmpty()) list.Add(m_p[0]);
    plexa::grow::Append(list, m_p[3]);
    return;
  }
  const double r = EffectiveResolution(Distance(m_p[0], m_p[3]), m_resolution);
  FlattenSink sink(list, r);
  if (list.IsEmpty()) sink.Add(m_p[0]);
  CBEZIER piece;
  std::copy(m_p, m_p + 4, piece.p);
  GetBArray(&piece, sink, 0);
}

void CBezier::GetBArray(const CBEZIER* piece, FlattenSink& sink, int depth) const {
  const CDPOINT* p = piece->p;
  const LegWithin& within = sink.within;
  const bool flat = within(p[0], p[1]) && within(p[1], p[2]) && within(p[2], p[3]);
  if (flat || sink.Size() > kFlattenPointCeiling || depth >= kMaxFlattenDepth) {
    sink.Add(p[1]);
    sink.Add(p[2]);
    sink.Add(p[3]);
    return;
  }
  const Casteljau c = Subdivide(p, 0.5);
  CBEZIER half;
  half.p[0] = p[0], half.p[1] = c.q[0], half.p[2] = c.r[0], half.p[3] = c.s;
  GetBArray(&half, sink, depth + 1);
  half.p[0] = c.s, half.p[1] = c.r[1], half.p[2] = c.q[2], half.p[3] = p[3];
  GetBArray(&half, sink, depth + 1);
}

void CBezier::GetPolylineEx(CArray<CDPOINT, CDPOINT>& list) const {
  const double l10 = GetL(10);
  int n = 20;
  if (!(std::fabs(l10 - GetL(20)) <= m_resolution)) {
    constexpr int kFirst = 40, kLast = 20480;
    for (n = kFirst; n < kLast; n *= 2) {
      if (std::fabs(l10 - GetL(n)) <= m_resolution) break;
    }
  }
  list.RemoveAll();
  list.SetSize(n + 1);
  CDPOINT* out = list.GetData();
  out[0] = m_p[0];
  for (int i = 1; i < n; ++i) out[i] = GetCurvePoint(static_cast<double>(i) / n);
  out[n] = m_p[3];
}

void CBezier::Split(double t, CBezier& left, CBezier& right) const {
  const Casteljau c = Subdivide(m_p, t);
  const CDPOINT p0 = m_p[0], p3 = m_p[3];
  const double res = m_resolution;
  const bool expand = m_expandStraightLines;
  left = CBezier(p0, c.q[0], c.r[0], c.s);
  right = CBezier(c.s, c.r[1], c.q[2], p3);
  left.m_resolution = right.m_resolution = res;
  left.m_expandStraightLines = right.m_expandStraightLines = expand;
}

void CBezier::Split(double t0, double t1, CBezier& part) const {
  const double lo = std::min(t0, t1), hi = std::max(t0, t1);
  CBezier left, right;
  Split(lo, left, right);
  CBezier tail;
  right.Split((hi - lo) / (1 - lo), part, tail);
  if (t0 > t1) {
    std::swap(part.m_p[0], part.m_p[3]);
    std::swap(part.m_p[1], part.m_p[2]);
  }
}

double CBezier::_GetCurveT(const CDPOINT& p) const {
  double best = 0;
  double bestDist = Distance(GetCurvePoint(0), p);
  double step = kCurveTScanStep;
  for (double t = 0; t <= 1; t += step) {
    const double d = Distance(GetCurvePoint(t), p);
    if (d < bestDist) bestDist = d, best = t;
  }
  for (int round = 0; round < kCurveTRefinements; ++round) {
    const double lo = std::max(0.0, best - step), hi = std::min(1.0, best + step);
    step /= 10;
    for (double t = lo; t <= hi; t += step) {
      const double d = Distance(GetCurvePoint(t), p);
      if (d < bestDist) bestDist = d, best = t;
    }
  }
  return best;
}

void CBezier::DragToPoint(double t, const CDPOINT& p) {
  if (std::isnan(t)) return;
  t = std::clamp(t, 0.0, 1.0);
  if (std::fabs(t) < PLEXA::kCoincide) {
    m_p[1] += p - m_p[0];
    m_p[0] = p;
    return;
  }
  if (std::fabs(t - 1) < PLEXA::kCoincide) {
    m_p[2] += p - m_p[3];
    m_p[3] = p;
    return;
  }
  if (OnAnchor(m_p[1], m_p[0]) && OnAnchor(m_p[2], m_p[3])) {
    const CDPOINT chord = m_p[3] - m_p[0];
    if (t <= 0.5) {
      m_p[1] = m_p[0] + chord * (0.6 * t + 0.03);
      m_p[2] = m_p[3] - chord * (0.17 * (1 - t) + 0.25);
    } else {
      m_p[1] = m_p[0] + chord * (0.17 * t + 0.25);
      m_p[2] = m_p[3] - chord * (0.6 * (1 - t) + 0.03);
    }
  }
  const CDPOINT d = p - GetCurvePoint(t);
  const Weights w = Bernstein(t);
  if (t <= 0.5) {
    m_p[2] += d * (20.0 / 9 - (1 - t) * 16.0 / 9);
    m_p[1] = (p - w.b0 * m_p[0] - w.b2 * m_p[2] - w.b3 * m_p[3]) / w.b1;
  } else {
    m_p[1] += d * (20.0 / 9 - t * 16.0 / 9);
    m_p[2] = (p - w.b0 * m_p[0] - w.b1 * m_p[1] - w.b3 * m_p[3]) / w.b2;
  }
}

// ---- CBezierPoint ----

CBPOINT CBezierPoint::Lerp(double t, const CBPOINT& a, const CBPOINT& b) {
  return CBPOINT(Interpolate(a.in, b.in, t), Interpolate(a.anchor, b.anchor, t),
                 Interpolate(a.out, b.out, t));
}

void CBezierPoint::Move(double dx, double dy) {
  Move(CDPOINT(dx, dy));
}

void CBezierPoint::Move(const CDPOINT& d) {
  m_node.in -= d;
  m_node.anchor -= d;
  m_node.out -= d;
}

void CBezierPoint::Rotate(double cx, double cy, double angle) {
  for (CDPOINT* q : {&m_node.in, &m_node.anchor, &m_node.out})
    ::Rotate(&q->x, &q->y, cx, cy, angle);
}

void CBezierPoint::Stretch(const CDPOINT& centre, double sx, double sy) {
  for (CDPOINT* q : {&m_node.in, &m_node.anchor, &m_node.out})
    ::Stretch(&q->x, &q->y, centre.x, centre.y, sx, sy);
}

void CBezierPoint::Smooth(const CDPOINT& prev, const CDPOINT& next) {
  constexpr double kHalfPi = std::numbers::pi / 2;
  const CDPOINT a = m_node.anchor;
  const double alpha = GetLinesAngle(prev.x, prev.y, a.x, a.y, next.x, next.y);
  double rho = kHalfPi - alpha / 2;
  if (std::fabs(rho) >= kHalfPi) rho -= std::numbers::pi;
  CDPOINT in = (2 * a + prev) / 3;
  CDPOINT out = (2 * a + next) / 3;
  ::Rotate(&in.x, &in.y, a.x, a.y, rho);
  ::Rotate(&out.x, &out.y, a.x, a.y, -rho);
  m_node.in = in;
  m_node.out = out;
}

bool CBezierPoint::IsSmooth() const {
  const CBPOINT& n = m_node;
  if (Distance(n.in, n.anchor) < PLEXA::kHandleDistinct ||
      Distance(n.out, n.anchor) < PLEXA::kHandleDistinct)
    return false;
  return GetDistanceFromLine(n.in.x, n.in.y, n.out.x, n.out.y, n.anchor.x, n.anchor.y) <
         kSmoothLineDistance;
}
