#include "plexa/effects/outline.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "plexa/core/internal/numerics.h"
#include "plexa/geom/bezier.h"
#include "plexa/geom/pathset.h"
#include "plexa/platform/gdi.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

// |v| < 1e-8 becomes sign(v) * 1e-8 (+1e-8 for zero); NaN stays NaN.
double Guard(double v) {
  if (std::fabs(v) < kEffectEpsilon) return std::signbit(v) ? -kEffectEpsilon : kEffectEpsilon;
  return v;
}

CBPOINT Corner(const CDPOINT& p) {
  return CBPOINT(p, p, p);
}

// Add with capacity doubling: the arrays' own growth step is at most 1,024 elements, which
// makes a million-node result quadratic.
template <typename Arr, typename T>
void Push(Arr& a, const T& e) {
  if (a.GetSize() == a.GetAllocSize()) a.SetSize(a.GetSize(), std::max<INT_PTR>(16, a.GetSize()));
  a.Add(e);
}

bool Near(const CDPOINT& a, const CDPOINT& b) {
  return std::fabs(a.x - b.x) < kEffectEpsilon && std::fabs(a.y - b.y) < kEffectEpsilon;
}

// Controls within 1e-8 of their anchors.
bool IsStraight(const CBezier& b) {
  return Near(b.GetPoint1(), b.GetPoint0()) && Near(b.GetPoint2(), b.GetPoint3());
}

// The period reduction of the wave and the zig-zag: while t > L, t -= L. Far beyond the
// period the floating remainder (same result range (0, L]) replaces the loop.
double ReducePeriod(double t, double L) {
  if (t > L * kWaveMaxReductions) {
    const double r = std::fmod(t, L);
    return r == 0 ? L : r;  // NaN (an infinite t) stays NaN
  }
  while (t > L) t -= L;
  return t;
}

// Offset of the wave or zig-zag at p, or false when the period cannot be used.
bool PeriodicOffset(const CDPOINT* origin, double& period, int vertical, const CDPOINT* p,
                    double& t) {
  if (origin == nullptr || p == nullptr) return false;
  if (!(period > 0) || std::isinf(period)) return false;
  period = Guard(period);
  t = vertical ? p->y - origin->y : p->x - origin->x;
  t = ReducePeriod(t, period);
  return true;
}

// Splits the path so that no segment is longer than maxLen (the pinch, spherize and twirl
// preparation). Each segment is done on a two-node piece and the pieces are joined, which
// gives the nodes that inserting into the whole path would give, in linear time.
void SubdivideToLength(CBPointArray& path, double maxLen) {
  const INT_PTR n = path.GetSize();
  if (n < 2 || !(maxLen >= kEffectEpsilon)) return;
  std::vector<CBPointArray> pieces(static_cast<std::size_t>(n - 1));
  long long budget = kEffectMaxNodes - n;
  // Visited from the last segment back to the first.
  for (INT_PTR s = n - 2; s >= 0; --s) {
    CBPointArray& piece = pieces[static_cast<std::size_t>(s)];
    piece.Add(path[s]);
    piece.Add(path[s + 1]);
    const CBezier bez(path[s], path[s + 1]);
    const double len = bez.GetLength();
    const double kd = std::floor(len / maxLen);
    if (!(kd > 0) || budget <= 0) continue;
    const long long k =
        std::min({static_cast<long long>(std::min(kd, 1e18)), kEffectMaxSplits, budget});
    budget -= k;
    const bool straight = IsStraight(bez);
    const CDPOINT a = bez.GetPoint0(), b = bez.GetPoint3();
    // The points go in from the last to the first, each splitting the segment between the
    // start and the point inserted before it. The part behind the new point is finished, so
    // it moves out to `done` (in reverse) and every insertion works on a two-node path.
    std::vector<CBPOINT> done;
    done.reserve(static_cast<std::size_t>(k) + 1);
    for (long long j = k; j >= 1; --j) {
      const double t = static_cast<double>(j) / static_cast<double>(k + 1);
      if (straight) {
        done.push_back(piece[1]);
        piece[1] = Corner(CDPOINT((1 - t) * a.x + t * b.x, (1 - t) * a.y + t * b.y));
      } else {
        AddPointToPolyBezier(piece, 0, bez.GetCurvePoint(t));
        if (piece.GetSize() == 3) {  // inserted (not within reach of an end)
          done.push_back(piece[2]);
          piece.RemoveAt(2);
        }
      }
    }
    for (auto it = done.rbegin(); it != done.rend(); ++it) Push(piece, *it);
  }
  CBPointArray out;
  out.Add(pieces[0][0]);
  for (const CBPointArray& piece : pieces) {
    out[out.GetSize() - 1].out = piece[0].out;
    for (INT_PTR j = 1; j < piece.GetSize(); ++j) Push(out, piece[j]);
  }
  path = out;
}

template <typename PointFn>
void MoveOutline(CBPointArray* path, PointFn fn) {
  if (path == nullptr) return;
  SubdivideToLength(*path, kEffectMaxSegmentLength);
  for (INT_PTR i = 0; i < path->GetSize(); ++i) {
    CBPOINT& node = path->ElementAt(i);
    fn(&node.anchor);
    fn(&node.in);
    fn(&node.out);
  }
}

// ---- Zig-zag and roughen ----------------------------------------------------------------

enum class Spacing { kDistance, kPerInch, kPerSegment };

struct Resampled {
  CBPointArray nodes;
  std::vector<double> angles;
};

CDPOINT PointAt(const CBezier& bez, double t) {
  if (IsStraight(bez)) return plexa::num::Lerp(bez.GetPoint0(), bez.GetPoint3(), t);
  return bez.GetCurvePoint(t);
}

// Rebuilds src from corner nodes at the spacing's places, with the tangent angles. False when
// nothing can be placed (zero, NaN or infinite length).
bool Resample(const CBPointArray& src, Spacing mode, double spacing, Resampled& r) {
  const INT_PTR n = src.GetSize();
  const INT_PTR segs = n - 1;
  std::vector<double> lengths(static_cast<std::size_t>(segs));
  std::vector<double> ends(static_cast<std::size_t>(segs));
  double total = 0;
  for (INT_PTR i = 0; i < segs; ++i) {
    lengths[static_cast<std::size_t>(i)] = CBezier(src[i], src[i + 1]).GetLength();
    total += lengths[static_cast<std::size_t>(i)];
    ends[static_cast<std::size_t>(i)] = total;
  }
  if (!(std::isfinite(total) && total > 0)) return false;
  auto add = [&](const CDPOINT& p, int seg, double t) {
    Push(r.nodes, Corner(p));
    r.angles.push_back(GetBPointArrayTangentAngle(src, seg, t));
  };
  if (mode == Spacing::kDistance) {
    const double step = std::max(spacing, total / static_cast<double>(kEffectMaxNodes));
    INT_PTR seg = 0;
    for (long long i = 0; i < kEffectMaxNodes; ++i) {
      const double s = static_cast<double>(i) * step;
      if (!(s < total) || std::fabs(s - total) < kEffectEpsilon) break;
      while (seg + 1 < segs && ends[static_cast<std::size_t>(seg)] < s) ++seg;
      const double before = seg > 0 ? ends[static_cast<std::size_t>(seg - 1)] : 0.0;
      const double len = lengths[static_cast<std::size_t>(seg)];
      const double t = len >= kEffectEpsilon ? (s - before) / len : 0.0;
      add(PointAt(CBezier(src[seg], src[seg + 1]), t), static_cast<int>(seg), t);
    }
  } else {
    long long budget = kEffectMaxNodes;
    for (INT_PTR seg = 0; seg < segs; ++seg) {
      const CBezier bez(src[seg], src[seg + 1]);
      double nd =
          mode == Spacing::kPerSegment
              ? spacing
              : std::floor(lengths[static_cast<std::size_t>(seg)] * spacing / kEffectUnitsPerInch +
                           0.5);
      if (!(nd >= 0)) nd = 0;
      const long long k =
          std::min(static_cast<long long>(std::min(nd, 1e18)), std::max(0LL, budget - 1));
      budget -= k + 1;
      for (long long j = 0; j <= k; ++j) {
        const double t = static_cast<double>(j) / static_cast<double>(k + 1);
        add(PointAt(bez, t), static_cast<int>(seg), t);
      }
    }
  }
  if (src.IsPolyBezierClosed()) {
    if (r.nodes.IsEmpty()) return false;
    r.nodes.Add(r.nodes[0]);
    r.angles.push_back(r.angles.front());
  } else if (mode == Spacing::kDistance) {
    const CBezier last(src[n - 2], src[n - 1]);
    add(last.GetPoint3(), static_cast<int>(segs - 1), 1.0);
  } else {
    r.nodes.Add(src[n - 1]);
    r.angles.push_back(GetBPointArrayTangentAngle(src, static_cast<int>(segs - 1), 1.0));
  }
  return true;
}

// rand() brought into 0..32767 whatever the library's RAND_MAX.
int Rand15() {
  const unsigned long long r = static_cast<unsigned long long>(std::rand());
  return static_cast<int>(r * 32768ULL / (static_cast<unsigned long long>(RAND_MAX) + 1ULL));
}

void Displace(CBPOINT& node, double a, double phi, int direction, bool roughen) {
  double x;
  bool move = true;
  const double aphi = std::fabs(phi);
  if (direction == 0) {
    x = 0;
    if (aphi < kEffectEpsilon || std::fabs(aphi - kEffectPi) < kEffectEpsilon) move = false;
  } else if (direction == 1) {
    x = kEffectPi / 2;
    if (std::fabs(aphi - kEffectPi / 2) < kEffectEpsilon ||
        std::fabs(aphi - 3 * kEffectPi / 2) < kEffectEpsilon)
      move = false;
  } else {
    x = phi - kEffectPi / 2;
  }
  if (move) {
    if (roughen) a *= 2.0 * Rand15() / 32767.0 - 1.0;
    node.anchor.x += std::cos(x) * a;
    node.anchor.y += std::sin(x) * a;
  }
  node.in = node.anchor;
  node.out = node.anchor;
}

void SmoothAll(CBPointArray& path) {
  const INT_PTR n = path.GetSize();
  const bool closed = path.IsPolyBezierClosed();
  for (INT_PTR i = 0; i < n; ++i) {
    const INT_PTR prev = i > 0 ? i - 1 : (closed ? n - 2 : 0);
    const INT_PTR next = i + 1 < n ? i + 1 : (closed ? 1 : n - 1);
    CBPOINT node = path[i];
    node.attr = static_cast<unsigned short>(node.attr & ~1u);
    CBezierPoint bp(node);
    bp.Smooth(path[prev].anchor, path[next].anchor);
    path[i] = bp.GetBPoint();
  }
}

void ZigZag(Spacing mode, double spacing, double amplitude, int direction, bool smooth,
            CBPointArray* path, bool roughen) {
  if (path == nullptr || path->GetSize() < 2) return;
  if (mode == Spacing::kPerSegment ? !(spacing >= 1) : !(spacing >= kEffectEpsilon)) return;
  Resampled r;
  if (!Resample(*path, mode, spacing, r)) return;
  *path = r.nodes;
  const INT_PTR N = std::min<INT_PTR>(path->GetSize(), static_cast<INT_PTR>(r.angles.size()));
  if (N < 2) return;
  if (roughen) std::srand(GetTickCount());
  const bool closed = path->IsPolyBezierClosed();
  const INT_PTR count = closed ? N - 1 : N;
  double a = amplitude;
  for (INT_PTR i = 0; i < count; ++i) {
    Displace(path->ElementAt(i), a, r.angles[static_cast<std::size_t>(i)], direction, roughen);
    a = -a;
  }
  if (closed) (*path)[N - 1] = (*path)[0];
  if (smooth) SmoothAll(*path);
}

// +90 degrees (counter-clockwise, y-up), normalised; shorter than 1e-8: (0, 0).
CDPOINT TurnedUnit(const CDPOINT& v) {
  const double len = plexa::num::Length(v);
  if (!(len >= kEffectEpsilon)) return CDPOINT(0, 0);
  return CDPOINT(-v.y / len, v.x / len);
}

CDPOINT Unit(const CDPOINT& v) {
  const double len = plexa::num::Length(v);
  if (!(len >= kEffectEpsilon)) return CDPOINT(0, 0);
  return CDPOINT(v.x / len, v.y / len);
}

bool IsZero(const CDPOINT& v) {
  return std::fabs(v.x) < kEffectEpsilon && std::fabs(v.y) < kEffectEpsilon;
}

CDPOINT Sub(const CDPOINT& a, const CDPOINT& b) {
  return CDPOINT(a.x - b.x, a.y - b.y);
}

}  // namespace

// ---- Point functions ----------------------------------------------------------------------

void PinchPoint(const CDPOINT* centre, double radius, double amount, CDPOINT* p) {
  if (centre == nullptr || p == nullptr) return;
  const CDPOINT d = Sub(*p, *centre);
  const double r = plexa::num::Length(d);
  if (radius <= 0 || amount == 0 || r == 0 || r > radius) return;
  const double R = Guard(radius);
  double u = amount < 0 ? R - r : r;
  const double x = u * kEffectPi / R * 0.5;
  const double s = std::sin(x), k = std::cos(x);
  double m = std::fabs(amount) * R * s / std::sqrt(amount * amount * s * s + k * k);
  if (amount < 0) {
    u = R - u;
    m = R - m;
  }
  const double f = m / u - 1;
  p->x += f * d.x;
  p->y += f * d.y;
}

void SpherizePoint(const CDPOINT* centre, double radius, double extent, CDPOINT* p) {
  if (centre == nullptr || p == nullptr) return;
  const CDPOINT d = Sub(*p, *centre);
  if (d.x == 0 && d.y == 0) return;
  const double r = plexa::num::Length(d);
  if (r > extent) {
    p->x = centre->x + d.x * radius / r;
    p->y = centre->y + d.y * radius / r;
    return;
  }
  const double f = std::sin(r * kEffectPi / Guard(extent) * 0.5) * radius / r - 1;
  p->x += f * d.x;
  p->y += f * d.y;
}

void SpherizePoint(const PLEXA::CDRECT* rect, double radius, CDPOINT* p) {
  if (rect == nullptr || p == nullptr) return;
  const CDPOINT c((rect->xmin + rect->xmax) / 2, (rect->ymin + rect->ymax) / 2);
  const double hx = std::fabs(rect->xmax - rect->xmin) / 2;
  const double hy = std::fabs(rect->ymax - rect->ymin) / 2;
  const CDPOINT d = Sub(*p, c);
  if (d.x == 0 && d.y == 0) return;
  double ex, ey;
  if (d.x != 0) {
    ey = std::fabs(d.y) * hx / std::fabs(d.x);
    ex = hx;
    if (ey > hy) {
      ex = std::fabs(d.x) * hy / std::fabs(d.y);
      ey = hy;
    }
  } else {
    ex = 0;
    ey = hy;
  }
  const double L = Guard(std::sqrt(ex * ex + ey * ey));
  const double r = plexa::num::Length(d);
  const double f = std::sin(r * kEffectPi / L * 0.5) * radius / r - 1;
  p->x += f * d.x;
  p->y += f * d.y;
}

void TwirlPoint(const CDPOINT* centre, double radius, double angle, CDPOINT* p) {
  if (centre == nullptr || p == nullptr) return;
  const CDPOINT d = Sub(*p, *centre);
  const double r = plexa::num::Length(d);
  const double theta = r * angle / Guard(radius) * kEffectDegree;
  const double s = std::sin(theta), k = std::cos(theta);
  p->x = centre->x + s * d.x + k * d.y;
  p->y = centre->y - k * d.x + s * d.y;
}

void WavePoint(const CDPOINT* origin, double period, double amplitude, int vertical, CDPOINT* p) {
  double t;
  if (!PeriodicOffset(origin, period, vertical, p, t)) return;
  const double w = std::sin(t * kEffectTwoPi / period) * period * amplitude * 0.25;
  (vertical ? p->x : p->y) += w;
}

void ZigZagPoint(const CDPOINT* origin, double period, double amplitude, int vertical, CDPOINT* p) {
  double t;
  if (!PeriodicOffset(origin, period, vertical, p, t)) return;
  if (t > period / 2) t = period - t;
  (vertical ? p->x : p->y) += t * amplitude;
}

// ---- Outline functions -----------------------------------------------------------------

void PinchOutline(const CDPOINT* centre, double radius, double amount, CBPointArray* path) {
  MoveOutline(path, [&](CDPOINT* q) { PinchPoint(centre, radius, amount, q); });
}

void SpherizeOutline(const CDPOINT* centre, double radius, double extent, CBPointArray* path) {
  MoveOutline(path, [&](CDPOINT* q) { SpherizePoint(centre, radius, extent, q); });
}

void TwirlOutline(const CDPOINT* centre, double radius, double angle, CBPointArray* path) {
  MoveOutline(path, [&](CDPOINT* q) { TwirlPoint(centre, radius, angle, q); });
}

void ZigZagOutline(double step, double amplitude, int direction, bool smooth, CBPointArray* path) {
  ZigZag(Spacing::kDistance, step, amplitude, direction, smooth, path, false);
}
void ZigZagOutlinePerInch(double perInch, double amplitude, int direction, bool smooth,
                          CBPointArray* path) {
  ZigZag(Spacing::kPerInch, perInch, amplitude, direction, smooth, path, false);
}
void ZigZagOutlinePerSegment(int perSegment, double amplitude, int direction, bool smooth,
                             CBPointArray* path) {
  ZigZag(Spacing::kPerSegment, perSegment, amplitude, direction, smooth, path, false);
}
void RoughenOutline(double step, double amplitude, int direction, bool smooth, CBPointArray* path) {
  ZigZag(Spacing::kDistance, step, amplitude, direction, smooth, path, true);
}
void RoughenOutlinePerInch(double perInch, double amplitude, int direction, bool smooth,
                           CBPointArray* path) {
  ZigZag(Spacing::kPerInch, perInch, amplitude, direction, smooth, path, true);
}
void RoughenOutlinePerSegment(int perSegment, double amplitude, int direction, bool smooth,
                              CBPointArray* path) {
  ZigZag(Spacing::kPerSegment, perSegment, amplitude, direction, smooth, path, true);
}

// ---- Geometric echo ---------------------------------------------------------------------

void GeometricEcho(const CBPointArray& src, CPolyPolyBezier& out, int count, double step,
                   bool /*flag: no effect, as designed*/) {
  out.RemoveAll();
  const INT_PTR n = src.GetSize();
  if (n < 3 || count < 1) return;
  const bool cw = src.IsClockwise();
  const bool closed = src.IsPolyBezierClosed();
  // The unit normals do not depend on the copy; compute them once.
  std::vector<CDPOINT> normal(static_cast<std::size_t>(n));
  for (INT_PTR j = 0; j < n; ++j) {
    const CBPOINT& node = src[j];
    CDPOINT in = Sub(node.anchor, node.in);
    if (IsZero(in)) {
      const INT_PTR prev = j > 0 ? j - 1 : (closed ? n - 2 : n - 1);
      in = Sub(src[j].anchor, src[prev].anchor);
    }
    CDPOINT out_ = Sub(node.out, node.anchor);
    if (IsZero(out_)) {
      const INT_PTR next = j + 1 < n ? j + 1 : (closed ? 1 : 0);
      out_ = Sub(src[next].anchor, src[j].anchor);
    }
    const CDPOINT a = TurnedUnit(in), b = TurnedUnit(out_);
    normal[static_cast<std::size_t>(j)] = Unit(CDPOINT((a.x + b.x) / 2, (a.y + b.y) / 2));
  }
  const long long maxCount = std::max<long long>(1, kEchoMaxNodes / n);
  const int copies = static_cast<int>(std::min<long long>(count, maxCount));
  for (int i = 1; i <= copies; ++i) {
    double D = i * step;
    if (cw) D = -D;
    auto copy = std::make_unique<CBPointArray>(src);
    for (INT_PTR j = 0; j < n; ++j) {
      const CDPOINT off(normal[static_cast<std::size_t>(j)].x * D,
                        normal[static_cast<std::size_t>(j)].y * D);
      CBPOINT& node = copy->ElementAt(j);
      node.in.x += off.x, node.in.y += off.y;
      node.anchor.x += off.x, node.anchor.y += off.y;
      node.out.x += off.x, node.out.y += off.y;
    }
    out.Add(copy.release());
  }
}
