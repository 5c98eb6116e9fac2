#include "plexa/effects/envelope.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "plexa/core/internal/numerics.h"
#include "plexa/core/planar.h"
#include "plexa/geom/bezier.h"
#include "plexa/platform/errors.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

// The boundary ends beyond the frame: CEnvelopEx smooths its first and last node against a
// point this far out at the same y; the arc walk meets the vertical through (x, top) and
// (x, top + this).
constexpr double kOutsideReach = 100.0;

// |v| < 1e-8 becomes sign(v) * 1e-8; an exact 0 (and NaN) stays as it is.
double GuardDivisor(double v) {
  if (std::fabs(v) < kEnvelopEpsilon) {
    if (v > 0) return kEnvelopEpsilon;
    if (v < 0) return -kEnvelopEpsilon;
  }
  return v;
}

// Widens a degenerate frame by 1e-8, written back into the record.
template <typename Record>
void WidenFrame(Record& e) {
  if (std::fabs(e.right - e.left) < kEnvelopEpsilon) e.right = e.left + kEnvelopEpsilon;
  if (std::fabs(e.top - e.bottom) < kEnvelopEpsilon) e.bottom = e.top + kEnvelopEpsilon;
}

// The mapping shared by both envelope kinds.
double MapY(double y, double top, double bottom, double T, double B) {
  const double h = GuardDivisor(bottom - top);
  return (y - (top + bottom) / 2) * (B - T) / h + (B + T) / 2;
}

CBPOINT SmoothNode(const CDPOINT& anchor) {
  return CBPOINT(anchor, anchor, anchor);
}

// Five nodes at the quarters of the width, smoothed between their anchors.
void BuildCurve(CBPointArray& curve, double left, double right, double base, const double off[5]) {
  curve.RemoveAll();
  const double w = right - left;
  const double xs[5] = {left, left + w / 4, left + w / 2, left + 3 * w / 4, right};
  for (int i = 0; i < 5; ++i) curve.Add(SmoothNode(CDPOINT(xs[i], base + off[i])));
  for (int i = 0; i < 5; ++i) {
    const CDPOINT a = curve[i].anchor;
    const CDPOINT prev = i > 0 ? curve[i - 1].anchor : CDPOINT(a.x - kOutsideReach, a.y);
    const CDPOINT next = i < 4 ? curve[i + 1].anchor : CDPOINT(a.x + kOutsideReach, a.y);
    CBezierPoint node(curve[i]);
    node.Smooth(prev, next);
    curve[i] = node.GetBPoint();
  }
}

template <typename Env>
void MapSet(CPolyPolyBezier& set, Env& env) {
  for (INT_PTR i = 0; i < set.GetSize(); ++i) {
    CBPointArray* path = set.GetAt(static_cast<int>(i));
    if (path == nullptr) continue;
    for (INT_PTR j = 0; j < path->GetSize(); ++j) {
      CBPOINT& n = path->ElementAt(j);
      n.in.y = env.envelop(n.in.x, n.in.y);
      n.anchor.y = env.envelop(n.anchor.x, n.anchor.y);
      n.out.y = env.envelop(n.out.x, n.out.y);
    }
  }
}

template <typename Env>
void MapSet(CPolyPolyDPoint& set, Env& env) {
  for (INT_PTR i = 0; i < set.GetSize(); ++i) {
    auto* line = set.GetAt(static_cast<int>(i));
    if (line == nullptr) continue;
    for (INT_PTR j = 0; j < line->GetSize(); ++j) {
      CDPOINT& p = line->ElementAt(j);
      p.y = env.envelop(p.x, p.y);
    }
  }
}

}  // namespace

// ---- CEnvelop ----------------------------------------------------------------------------

CEnvelop::CEnvelop() : ENVELOP{}, m_bDirty(1) {}
CEnvelop::~CEnvelop() = default;

void CEnvelop::GetEnvelop(ENVELOP& e) {
  e = static_cast<const ENVELOP&>(*this);
}

void CEnvelop::SetEnvelop(ENVELOP& e) {
  static_cast<ENVELOP&>(*this) = e;
  m_bDirty = 1;
}

void CEnvelop::SetType(int type, double v) {
  const unsigned char wasDirty = m_bDirty;
  m_bDirty = 1;
  switch (type) {
    case 1:
      topMiddle = v;
      break;
    case 2:
      bottomMiddle = -v;
      break;
    case 3:
      topMiddle = v;
      bottomMiddle = -v;
      break;
    case 4:
      topMiddle = -v;
      break;
    case 5:
      bottomMiddle = v;
      break;
    case 6:
      bottomMiddle = v;
      topMiddle = -v;
      break;
    case 7:
      topMiddle = v;
      bottomMiddle = v;
      break;
    case 8:
      topMiddle = -v;
      bottomMiddle = -v;
      break;
    case 9:
      topLeft = v;
      topMiddle = v * 0.5;
      bottomLeft = -v;
      bottomMiddle = v * (-0.5);
      break;
    case 10:
      topRight = v;
      topMiddle = v * 0.5;
      bottomRight = -v;
      bottomMiddle = v * (-0.5);
      break;
    default:
      m_bDirty = wasDirty;
      if (m_bDirty) CalcEnvelop();
      return;
  }
  CalcEnvelop();
}

void CEnvelop::CalcEnvelop() {
  WidenFrame(static_cast<ENVELOP&>(*this));
  const double mid = (left + right) / 2;
  m_arcTop.RemoveAll();
  CalcArc(m_arcTop, left, top + topLeft, mid, top + topMiddle, right, top + topRight);
  if (m_arcTop.IsEmpty()) {
    m_arcTop.Add(CDPOINT(left, top + topLeft));
    m_arcTop.Add(CDPOINT(right, top + topRight));
  }
  m_arcBot.RemoveAll();
  CalcArc(m_arcBot, left, bottom + bottomLeft, mid, bottom + bottomMiddle, right,
          bottom + bottomRight);
  if (m_arcBot.IsEmpty()) {
    m_arcBot.Add(CDPOINT(left, bottom + bottomLeft));
    m_arcBot.Add(CDPOINT(right, bottom + bottomRight));
  }
  m_bDirty = 0;
}

double CEnvelop::CalcArcPoint(CArray<CDPOINT, CDPOINT>& arc, double x, double y) {
  const INT_PTR n = arc.GetSize();
  if (n == 0) return y;
  if (n == 1) return arc[0].x;  // deliberately the x: kept as designed
  if (x < left) return arc[0].y;
  if (x > right) return arc[n - 1].y;
  for (INT_PTR i = 1; i < n; ++i) {
    const CDPOINT& a = arc[i - 1];
    const CDPOINT& b = arc[i];
    double ix = 0, iy = 0;
    if (GetLinesIntersection(a.x, a.y, b.x, b.y, x, top, x, top + kOutsideReach, &ix, &iy) &&
        IsPointInLineRange(a.x, a.y, b.x, b.y, ix, iy))
      return iy;
  }
  return y;
}

double CEnvelop::envelop(double x, double y) {
  if (m_bDirty) CalcEnvelop();
  const double T = CalcArcPoint(m_arcTop, x, y);
  const double B = CalcArcPoint(m_arcBot, x, y);
  return MapY(y, top, bottom, T, B);
}

double CEnvelop::envelop_return(double x, double y) {
  if (m_bDirty) CalcEnvelop();
  if (x < left || x > right) return y;
  const double T = CalcArcPoint(m_arcTop, x, y);
  const double B = CalcArcPoint(m_arcBot, x, y);
  const double d = GuardDivisor(B - T);
  return (bottom - top) * (y - (B + T) / 2) / d + (top + bottom) / 2;
}

// ---- CEnvelopEx --------------------------------------------------------------------------

CEnvelopEx::CEnvelopEx() : m_env{}, m_bDirty(1) {}
CEnvelopEx::CEnvelopEx(const CEnvelopEx& other) = default;
CEnvelopEx& CEnvelopEx::operator=(const CEnvelopEx& other) = default;
CEnvelopEx::~CEnvelopEx() = default;

void CEnvelopEx::GetEnvelop(ENVELOPEX& e) {
  e = m_env;
}

void CEnvelopEx::SetEnvelop(ENVELOPEX& e) {
  m_env = e;
  m_bDirty = 1;
}

void CEnvelopEx::SetType(int type, double v) {
  ENVELOPEX& e = m_env;
  const double f = v * 0.25;
  const double h = v * 0.5;
  switch (type) {
    case 20:
      e.topQuarter -= v;
      e.topMiddle -= h;
      e.topRight -= f;
      e.topThreeQuarter += f;
      e.bottomQuarter += v;
      e.bottomThreeQuarter -= f;
      e.bottomRight += f;
      e.bottomMiddle += h;
      break;
    case 21:
      e.topLeft -= f;
      e.topQuarter += f;
      e.topMiddle -= h;
      e.topThreeQuarter -= v;
      e.topRight += f;
      e.bottomQuarter -= f;
      e.bottomThreeQuarter += v;
      e.bottomMiddle += h;
      break;
    case 22:
      e.topQuarter -= v;
      e.topThreeQuarter -= v;
      e.bottomQuarter -= v;
      e.bottomThreeQuarter -= v;
      break;
    case 23:
      e.topQuarter += v;
      e.topThreeQuarter += v;
      e.bottomQuarter += v;
      e.bottomThreeQuarter += v;
      break;
    default:
      if (m_bDirty) CalcEnvelop();
      return;
  }
  m_bDirty = 1;
  CalcEnvelop();
}

void CEnvelopEx::CalcEnvelop() {
  m_curveTop.RemoveAll();
  m_curveBottom.RemoveAll();
  ENVELOPEX& e = m_env;
  WidenFrame(e);
  const double topOff[5] = {e.topLeft, e.topQuarter, e.topMiddle, e.topThreeQuarter, e.topRight};
  const double botOff[5] = {e.bottomLeft, e.bottomQuarter, e.bottomMiddle, e.bottomThreeQuarter,
                            e.bottomRight};
  BuildCurve(m_curveTop, e.left, e.right, e.top, topOff);
  BuildCurve(m_curveBottom, e.left, e.right, e.bottom, botOff);
  m_bDirty = 0;
}

double CEnvelopEx::CalcCurvePoint(CBPointArray& curve, double x, double y) {
  const INT_PTR n = curve.GetSize();
  if (n == 0) return y;
  if (n == 1) return curve[0].anchor.y;
  const double q = (m_env.right - m_env.left) * 0.25;
  const double t = std::min(m_env.right, std::max(m_env.left, x)) - m_env.left;
  const double kq = std::trunc(t / q);
  // Also refuses NaN and values beyond the int range before the conversion.
  if (!(kq >= 0 && kq < static_cast<double>(n))) AfxThrowInvalidArgException();
  const INT_PTR k = static_cast<INT_PTR>(kq);
  const double f = std::fmod(t, q) / q;
  const CBPOINT& a = curve[k];
  const CBPOINT& b = k + 1 < n ? curve[k + 1] : curve[k];
  double ax[4], ay[4];
  CBezier(a, b).CalcBezierConstants(ax, ay);
  return ay[3] * f * f * f + ay[2] * f * f + ay[1] * f + ay[0];
}

double CEnvelopEx::envelop(double x, double y) {
  if (m_bDirty) CalcEnvelop();
  const double T = CalcCurvePoint(m_curveTop, x, y);
  const double B = CalcCurvePoint(m_curveBottom, x, y);
  return MapY(y, m_env.top, m_env.bottom, T, B);
}

double CEnvelopEx::envelop_return(double, double y) {
  if (m_bDirty) CalcEnvelop();
  return y;  // no inverse, intended
}

// ---- The containers' ApplyEnvelop --------------------------------------------------------

void CPolyPolyBezier::ApplyEnvelop(CEnvelop& env) {
  MapSet(*this, env);
}
void CPolyPolyBezier::ApplyEnvelop(CEnvelopEx& env) {
  MapSet(*this, env);
}
void CPolyPolyDPoint::ApplyEnvelop(CEnvelop& env) {
  MapSet(*this, env);
}
void CPolyPolyDPoint::ApplyEnvelop(CEnvelopEx& env) {
  MapSet(*this, env);
}

// ---- Curve-preserving application --------------------------------------------------------

namespace {

// Fraction of a control leg over which the one-sided derivative of the envelope is taken.
// The arcs are polylines of at least 36 steps, so a step this short almost always stays on
// one of their pieces; where it does not, the error check splits the segment.
constexpr double kDerivativeStep = 1e-6;
// A piece is accepted when its sampled error is within this share of the tolerance, so that
// the error between the samples stays within the whole of it.
constexpr double kCheckMargin = 0.9;

// Add with capacity doubling (the arrays' own growth step is at most 1,024 elements).
void Push(CBPointArray& a, const CBPOINT& e) {
  if (a.GetSize() == a.GetAllocSize()) a.SetSize(a.GetSize(), std::max<INT_PTR>(16, a.GetSize()));
  a.Add(e);
}

template <typename Env>
class CurveMapper {
 public:
  CurveMapper(Env& env, double tol) : m_env(env), m_tol(tol) {}

  CDPOINT Map(const CDPOINT& p) { return CDPOINT(p.x, m_env.envelop(p.x, p.y)); }

  // The image of anchor + leg, carried through the envelope's derivative at the anchor in
  // the leg's direction (one-sided, from the side the leg points to).
  CDPOINT MapLeg(const CDPOINT& anchor, const CDPOINT& mappedAnchor, const CDPOINT& leg) {
    if (leg.x == 0 && leg.y == 0) return mappedAnchor;
    const CDPOINT probe(anchor.x + leg.x * kDerivativeStep, anchor.y + leg.y * kDerivativeStep);
    const double dy = (m_env.envelop(probe.x, probe.y) - mappedAnchor.y) / kDerivativeStep;
    return CDPOINT(mappedAnchor.x + leg.x, mappedAnchor.y + dy);
  }

  // Appends the pieces of the source cubic p (mapped ends q0 and q3 already known) to out:
  // the last node of out receives the first piece's outgoing control; each piece adds its
  // end node. `last` is the source end node (its attribute word and outgoing control stay for
  // the caller).
  void Segment(const CDPOINT p[4], const CDPOINT& q0, const CDPOINT& q3, int depth,
               CBPointArray& out) {
    const CDPOINT q1 = MapLeg(p[0], q0, CDPOINT(p[1].x - p[0].x, p[1].y - p[0].y));
    const CDPOINT q2 = MapLeg(p[3], q3, CDPOINT(p[2].x - p[3].x, p[2].y - p[3].y));
    const bool budget = out.GetSize() < kEnvelopMaxNodes;
    if (depth < kEnvelopMaxDepth && budget && !Within(p, q0, q1, q2, q3)) {
      CDPOINT l[4], r[4];
      SplitHalf(p, l, r);
      const CDPOINT qm = Map(l[3]);
      Segment(l, q0, qm, depth + 1, out);
      Segment(r, qm, q3, depth + 1, out);
      return;
    }
    out[out.GetSize() - 1].out = q1;
    Push(out, CBPOINT(q2, q3, q3));
  }

 private:
  // Whether the mapped cubic stays within the tolerance of the exact image; non-finite errors
  // count as within (nothing to gain by splitting).
  bool Within(const CDPOINT p[4], const CDPOINT& q0, const CDPOINT& q1, const CDPOINT& q2,
              const CDPOINT& q3) {
    for (int i = 1; i < kEnvelopCheckSamples; ++i) {
      const double t = static_cast<double>(i) / kEnvelopCheckSamples;
      const CDPOINT s = plexa::num::BezierPoint(p[0], p[1], p[2], p[3], t);
      const CDPOINT c = plexa::num::BezierPoint(q0, q1, q2, q3, t);
      const double err = std::fabs(c.y - m_env.envelop(s.x, s.y));
      if (err > m_tol * kCheckMargin) return false;
    }
    return true;
  }

  static void SplitHalf(const CDPOINT p[4], CDPOINT l[4], CDPOINT r[4]) {
    const CDPOINT a = plexa::num::Lerp(p[0], p[1], 0.5), b = plexa::num::Lerp(p[1], p[2], 0.5),
                  c = plexa::num::Lerp(p[2], p[3], 0.5);
    const CDPOINT d = plexa::num::Lerp(a, b, 0.5), e = plexa::num::Lerp(b, c, 0.5);
    const CDPOINT m = plexa::num::Lerp(d, e, 0.5);
    l[0] = p[0], l[1] = a, l[2] = d, l[3] = m;
    r[0] = m, r[1] = e, r[2] = c, r[3] = p[3];
  }

  Env& m_env;
  double m_tol;
};

bool IsStraight(const CDPOINT p[4]) {
  return std::fabs(p[1].x - p[0].x) < kEnvelopEpsilon &&
         std::fabs(p[1].y - p[0].y) < kEnvelopEpsilon &&
         std::fabs(p[2].x - p[3].x) < kEnvelopEpsilon &&
         std::fabs(p[2].y - p[3].y) < kEnvelopEpsilon;
}

template <typename Env>
bool KeepCurves(CBPointArray& path, Env& env, double tol) {
  if (!(std::isfinite(tol) && tol > 0)) return false;
  const INT_PTR n = path.GetSize();
  if (n == 0) return true;
  CurveMapper<Env> mapper(env, tol);
  CBPointArray out;
  const CBPOINT& first = path[0];
  const CDPOINT a0 = mapper.Map(first.anchor);
  CBPOINT node(mapper.MapLeg(first.anchor, a0,
                             CDPOINT(first.in.x - first.anchor.x, first.in.y - first.anchor.y)),
               a0, a0);
  node.attr = first.attr;
  out.Add(node);
  CDPOINT qStart = a0;
  for (INT_PTR i = 0; i + 1 < n; ++i) {
    const CBPOINT& s = path[i];
    const CBPOINT& e = path[i + 1];
    CDPOINT p[4] = {s.anchor, s.out, e.in, e.anchor};
    if (IsStraight(p)) {
      p[1] = plexa::num::Lerp(p[0], p[3], 1.0 / 3);
      p[2] = plexa::num::Lerp(p[0], p[3], 2.0 / 3);
    }
    const CDPOINT qEnd = mapper.Map(e.anchor);
    const bool finite = plexa::num::IsFinite(p[0]) && plexa::num::IsFinite(p[1]) &&
                        plexa::num::IsFinite(p[2]) && plexa::num::IsFinite(p[3]);
    mapper.Segment(p, qStart, qEnd, finite ? 0 : kEnvelopMaxDepth, out);
    CBPOINT& last = out[out.GetSize() - 1];
    last.attr = e.attr;
    qStart = qEnd;
  }
  const CBPOINT& lastSrc = path[n - 1];
  out[out.GetSize() - 1].out =
      mapper.MapLeg(lastSrc.anchor, qStart,
                    CDPOINT(lastSrc.out.x - lastSrc.anchor.x, lastSrc.out.y - lastSrc.anchor.y));
  path = std::move(out);
  return true;
}

template <typename Env>
bool KeepCurvesSet(CPolyPolyBezier& set, Env& env, double tol) {
  if (!(std::isfinite(tol) && tol > 0)) return false;
  for (INT_PTR i = 0; i < set.GetSize(); ++i)
    if (CBPointArray* p = set.GetAt(static_cast<int>(i))) KeepCurves(*p, env, tol);
  return true;
}

}  // namespace

bool ApplyEnvelopKeepCurves(CBPointArray& path, CEnvelop& env, double tolerance) {
  return KeepCurves(path, env, tolerance);
}
bool ApplyEnvelopKeepCurves(CBPointArray& path, CEnvelopEx& env, double tolerance) {
  return KeepCurves(path, env, tolerance);
}
bool ApplyEnvelopKeepCurves(CPolyPolyBezier& set, CEnvelop& env, double tolerance) {
  return KeepCurvesSet(set, env, tolerance);
}
bool ApplyEnvelopKeepCurves(CPolyPolyBezier& set, CEnvelopEx& env, double tolerance) {
  return KeepCurvesSet(set, env, tolerance);
}
