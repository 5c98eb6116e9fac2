// The vector offset: the boundary is covered by simple counter-clockwise pieces (bands between
// the two offsets of low-curvature stretches, disks where the curvature passes 1/d, join and
// cap shapes), and the pieces are combined with the region by the boolean operations.
//
// Why pieces and not one raw offset curve per path: a raw offset curve's winding numbers are
// right only under a "positive" fill rule, and even then only with care at swallowtails and
// when a shape collapses. Every piece here is a simple loop of the same orientation, so the
// non-zero rule gives exactly their union, and the union of the pieces is the set of points
// within d of the boundary (each such point lies on the normal of its nearest boundary point,
// which a band covers, or within d of a corner or end, which its join or cap covers).
#include "plexa/analysis/vectoroffset.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "plexa/core/internal/numerics.h"

namespace {

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
namespace num = plexa::num;

// Share of the accuracy each stage may spend. A result point lies on one kind of piece: an
// offset fitted by cubics, an arc of a disk or join, or the outside of two neighbouring disks
// (their gap), so these three shares are alternatives; to that come the boolean's flattening
// (crossings move by at most its tolerance) and the merging of short edges, which moves a
// vertex by at most half the minimum edge, a quarter of the accuracy.
constexpr double kFitShare = 0.3;
constexpr double kArcShare = 0.3;
constexpr double kGapShare = 0.3;
constexpr double kFlattenShare = 0.45;
// Stretches where d times the curvature stays below this get a band; above it, disks. Below 1
// the inner offset runs forward (no cusp); the margin keeps it clear of the turning point.
constexpr double kBandCurvature = 0.98;
// Most turning of one band, in radians, so that both offsets of it stay simple.
constexpr double kBandTurn = std::numbers::pi / 3;
// Curvature samples a stretch is judged by (its ends included).
constexpr int kCurvatureSamples = 9;
// Halving depth for the stretches, the offset fits and the disk spacing.
constexpr int kMaxDepth = 18;
// Samples along an offset cubic at which its distance from the base curve is checked.
constexpr int kFitChecks = 8;
// Newton steps of the projection onto the base curve.
constexpr int kProjectSteps = 6;
// Largest angle between disks in a stretch of high curvature, whatever the accuracy allows.
constexpr double kDiskMaxTurn = 0.5;
// Where a curvature is read beside an end whose handle is on its anchor.
constexpr double kEndNudge = 1e-4;
// Curvature standing for "unbounded" (a cusp of the base curve).
constexpr double kHuge = 1e300;
// Halving depth while a stretch mixes low and high curvature.
constexpr int kMixedDepth = 12;
// Halvings of a stretch that changes the sign of a high curvature (a cusp): 2^8 disks at most.
constexpr int kDiskDepth = 8;
// Disks along a stretch of high curvature of one sign: spacing in units of d, and at most.
constexpr double kTightSpacing = 0.5;
constexpr int kMaxTightDisks = 64;
// Pairs of pieces whose control boxes overlap that the union may face: a floor plus a share per
// node of the input. The union's crossings and time (5 to 20 microseconds per pair) grow with
// the pairs; a crowded, self-crossing path offset far beyond its features makes nearly every
// pair of its many disks overlap. The budget keeps 64 nodes of hostile input under about ten
// seconds (512 a node: two seconds, but the example sign's 30 mm contour was refused; 2048 a
// node: 15 s) and lets a traced sign of about a hundred nodes take a contour of a third of its
// size; past it the offset refuses.
constexpr std::size_t kOverlapFloor = std::size_t{1} << 15;
constexpr std::size_t kOverlapsPerNode = 1024;
// Smallest scale of a handle of a fitted offset (where the offset nearly stops).
constexpr double kMinHandleScale = 0.02;
// A straight node is dropped when it lies within this share of the minimum edge of the line
// through its neighbours.
constexpr double kCollinear = 0.01;
// Samples that seed the projection onto the base curve.
constexpr int kProjectSamples = 16;
// Relative size below which a stretch counts as straight (control points on the chord).
constexpr double kStraight = 1e-12;
// Two tangents closer than this (radians, also scaled by the accuracy) need no join.
constexpr double kJoinMinAngle = 1e-9;

struct Cubic {
  CDPOINT p[4];
  CDPOINT At(double t) const { return num::BezierPoint(p[0], p[1], p[2], p[3], t); }
  CDPOINT D1(double t) const { return num::BezierDerivative(p[0], p[1], p[2], p[3], t); }
  CDPOINT D2(double t) const {
    const double s = 1 - t;
    return CDPOINT(6 * (s * (p[2].x - 2 * p[1].x + p[0].x) + t * (p[3].x - 2 * p[2].x + p[1].x)),
                   6 * (s * (p[2].y - 2 * p[1].y + p[0].y) + t * (p[3].y - 2 * p[2].y + p[1].y)));
  }
  // The piece between t0 and t1 (de Casteljau twice).
  Cubic Part(double t0, double t1) const {
    const auto split = [](const Cubic& c, double t, bool right) {
      const CDPOINT a = num::Lerp(c.p[0], c.p[1], t), b = num::Lerp(c.p[1], c.p[2], t),
                    e = num::Lerp(c.p[2], c.p[3], t);
      const CDPOINT ab = num::Lerp(a, b, t), be = num::Lerp(b, e, t), m = num::Lerp(ab, be, t);
      return right ? Cubic{{m, be, e, c.p[3]}} : Cubic{{c.p[0], a, ab, m}};
    };
    Cubic r = t1 < 1 ? split(*this, t1, false) : *this;
    if (t0 > 0 && t1 > 0) r = split(r, t0 / t1, true);
    return r;
  }
};

CDPOINT Unit(const CDPOINT& v) {
  const double l = num::Length(v);
  return l > 0 && std::isfinite(l) ? v * (1 / l) : CDPOINT();
}
// Left normal of a unit vector (counter-clockwise in y-up axes).
CDPOINT Normal(const CDPOINT& t) {
  return CDPOINT(-t.y, t.x);
}

// Unit tangent at t, falling back to the next control point that differs when the derivative
// vanishes at an end (handles on their anchors).
CDPOINT Tangent(const Cubic& c, double t) {
  CDPOINT v = c.D1(t);
  const double scale =
      num::Dist(c.p[0], c.p[1]) + num::Dist(c.p[1], c.p[2]) + num::Dist(c.p[2], c.p[3]);
  if (num::Length(v) > scale * 1e-9) return Unit(v);
  if (t <= 0.5) {
    for (int k = 1; k <= 3; ++k)
      if (num::Dist(c.p[k], c.p[0]) > scale * 1e-12) return Unit(c.p[k] - c.p[0]);
  } else {
    for (int k = 2; k >= 0; --k)
      if (num::Dist(c.p[3], c.p[k]) > scale * 1e-12) return Unit(c.p[3] - c.p[k]);
  }
  return CDPOINT();
}

// Signed curvature at t (positive turning left in y-up axes); huge where the speed vanishes.
// At an end whose handle sits on its anchor the value is taken a little inside (a straight
// segment so drawn has curvature 0 throughout, not an undefined one at its ends).
double Curvature(const Cubic& c, double t) {
  const double scale =
      num::Dist(c.p[0], c.p[1]) + num::Dist(c.p[1], c.p[2]) + num::Dist(c.p[2], c.p[3]);
  CDPOINT v = c.D1(t);
  if (!(num::Length(v) > scale * 1e-9)) {
    t += t < 0.5 ? kEndNudge : -kEndNudge;
    v = c.D1(t);
  }
  const CDPOINT a = c.D2(t);
  const double s = num::Length(v);
  if (!(s > scale * 1e-12)) return kHuge;
  const double k = num::Cross(v, a) / (s * s * s);
  return std::isfinite(k) ? std::clamp(k, -kHuge, kHuge) : kHuge;
}

// The point at t, exactly the end point at 0 and 1, so that pieces meeting there share it.
CDPOINT EndPoint(const Cubic& c, double t) {
  return t <= 0 ? c.p[0] : t >= 1 ? c.p[3] : c.At(t);
}

class PieceBuilder {
 public:
  PieceBuilder(double d, const OffsetOptions& o, CPolyPolyBezier& pieces)
      : d_(d), o_(o), pieces_(pieces) {
    const double a = o.accuracy;
    fitTol_ = a * kFitShare;
    arcTol_ = a * kArcShare;
    gapTol_ = a * kGapShare;
  }

  // One open or closed path: bands or disks along every segment, joins between segments
  // (round the closing node of a closed path), caps at the ends of an open one.
  void AddPath(const CBPointArray& path, bool closed, bool caps) {
    std::vector<Cubic> segs;
    const CBPOINT* n = path.GetData();
    for (INT_PTR k = 0; k + 1 < path.GetSize(); ++k) {
      Cubic c{{n[k].anchor, n[k].out, n[k + 1].in, n[k + 1].anchor}};
      const double len =
          num::Dist(c.p[0], c.p[1]) + num::Dist(c.p[1], c.p[2]) + num::Dist(c.p[2], c.p[3]);
      if (len > 0) segs.push_back(c);
    }
    if (closed && !segs.empty()) {
      const CDPOINT a = segs.back().p[3], b = segs.front().p[0];
      if (a.x != b.x || a.y != b.y) segs.push_back(Cubic{{a, a, b, b}});
    }
    if (segs.empty()) {
      if (path.GetSize() > 0 && caps && o_.cap == OffsetCap::kRound) AddDisk(n[0].anchor);
      return;
    }
    // Bands run on across smooth joins (a kink the accuracy does not see) while they turn
    // little: fewer, longer pieces for the boolean.
    for (std::size_t k = 0; k < segs.size(); ++k) {
      AddStretch(segs[k], 0, 1, 0);
      if (k + 1 == segs.size()) break;
      const CDPOINT v = segs[k].p[3], a = Tangent(segs[k], 1), b = Tangent(segs[k + 1], 0);
      const double turn = std::atan2(num::Cross(a, b), num::Dot(a, b));
      if (std::fabs(turn) * R() <= arcTol_) {
        pending_ = {true, v, a, b};
      } else {
        Flush();
        AddJoin(v, a, b);
      }
    }
    Flush();
    if (closed) {
      AddJoin(segs.front().p[0], Tangent(segs.back(), 1), Tangent(segs.front(), 0));
    } else if (caps) {
      AddCap(segs.front().p[0], Tangent(segs.front(), 0) * -1.0);
      AddCap(segs.back().p[3], Tangent(segs.back(), 1));
    }
  }

  // A full disk of radius |d| at c.
  void AddDisk(const CDPOINT& c) {
    auto* p = new CBPointArray;
    AppendArc(*p, c, 0, 2 * std::numbers::pi);
    Close(p);
  }
  // The sector of that disk from the radius to `from` turning counter-clockwise by sweep
  // (at most pi) to the radius to `to`. The two radii end exactly on from and to, which the
  // neighbouring bands share, so the boolean sees the same edges.
  void AddWedge(const CDPOINT& c, const CDPOINT& from, const CDPOINT& to, double sweep) {
    auto* p = new CBPointArray;
    p->Add(CBPOINT(c, c, c));
    const double a0 = std::atan2(from.y - c.y, from.x - c.x);
    AppendArc(*p, c, a0, a0 + sweep);
    const auto pin = [&](int i, const CDPOINT& q) {
      const CDPOINT shift = q - (*p)[i].anchor;
      (*p)[i] = CBPOINT((*p)[i].in + shift, q, (*p)[i].out + shift);
    };
    pin(1, from);
    pin(static_cast<int>(p->GetUpperBound()), to);
    Close(p);
  }

 private:
  double R() const { return std::fabs(d_); }
  bool Full() const { return pieces_.GetSize() >= kOffsetMaxPieces; }

  // Cubic arcs of radius |d| about c from angle a0 to a1 (a1 > a0), each within arcTol_, from
  // a new node at the arc's start.
  void AppendArc(CBPointArray& p, const CDPOINT& c, double a0, double a1) {
    const double r = R(), sweep = a1 - a0;
    // The error of one cubic arc of angle q is about 2.7e-4 r (q / (pi/2))^6.
    int n = 1;
    while (n < 64 && 2.7e-4 * r * std::pow(sweep / n / (std::numbers::pi / 2), 6) > arcTol_) ++n;
    const double q = sweep / n, k = 4.0 / 3.0 * std::tan(q / 4) * r;
    for (int i = 0; i < n; ++i) {
      const double s0 = a0 + q * i, s1 = s0 + q;
      const CDPOINT u0(std::cos(s0), std::sin(s0)), u1(std::cos(s1), std::sin(s1));
      const CDPOINT e0 = c + u0 * r, e1 = c + u1 * r;
      if (i == 0) p.Add(CBPOINT(e0, e0, e0));
      p[static_cast<int>(p.GetUpperBound())].out = e0 + Normal(u0) * k;
      p.Add(CBPOINT(e1 - Normal(u1) * k, e1, e1));
    }
  }

  // Closes a built loop (its last anchor back to its first), orients it like an outline and
  // hands it to the set.
  void Close(CBPointArray* p) {
    const INT_PTR n = p->GetSize();
    const CDPOINT a = (*p)[0].anchor, b = (*p)[static_cast<int>(n - 1)].anchor;
    if (a.x != b.x || a.y != b.y) {
      (*p)[static_cast<int>(n - 1)].out = b;
      p->Add(CBPOINT(a, a, a));
    }
    (*p)[static_cast<int>(p->GetUpperBound())].out = (*p)[0].out;
    (*p)[0].in = (*p)[static_cast<int>(p->GetUpperBound())].in;
    p->SetOrientation(false);
    pieces_.Add(p);
  }

  void AddPolygon(std::initializer_list<CDPOINT> pts) {
    auto* p = new CBPointArray;
    for (const CDPOINT& q : pts) p->Add(CBPOINT(q, q, q));
    Close(p);
  }

  // The stretch t0..t1 of c: a band when its curvature is low and it turns little, else
  // halved; at the depth bound or in high curvature, disks.
  void AddStretch(const Cubic& c, double t0, double t1, int depth) {
    double kMax = 0, kMin = kHuge, turn = 0;
    CDPOINT prev = Tangent(c, t0);
    for (int i = 0; i < kCurvatureSamples; ++i) {
      const double t = t0 + (t1 - t0) * i / (kCurvatureSamples - 1);
      const double k = std::fabs(Curvature(c, t));
      kMax = std::max(kMax, k);
      kMin = std::min(kMin, k);
      const CDPOINT tan = Tangent(c, t);
      turn += std::fabs(std::atan2(num::Cross(prev, tan), num::Dot(prev, tan)));
      prev = tan;
    }
    const bool low = R() * kMax < kBandCurvature;
    if (low && turn <= kBandTurn) {
      if (!run_.empty() && runTurn_ + turn > kBandTurn) Flush();
      pending_.on = false;
      run_.push_back({c, t0, t1});
      runTurn_ += turn;
      return;
    }
    Flush();
    const bool mixed = R() * kMin < kBandCurvature;
    if (((low && depth < kMaxDepth) || (mixed && depth < kMixedDepth)) && !Full()) {
      const double m = 0.5 * (t0 + t1);
      AddStretch(c, t0, m, depth + 1);
      AddStretch(c, m, t1, depth + 1);
      return;
    }
    // High curvature of one sign: the convex side's offset is regular, the concave side lies
    // within the curvature radius (< d) of every point of the stretch, so disks spaced
    // kTightSpacing * d apart cover it; where the sign changes, disks close enough for the gap.
    double kLo = kHuge, kHi = -kHuge;
    for (int i = 0; i < kCurvatureSamples; ++i) {
      const double k = Curvature(c, t0 + (t1 - t0) * i / (kCurvatureSamples - 1));
      kLo = std::min(kLo, k);
      kHi = std::max(kHi, k);
    }
    if ((kLo > 0 || kHi < 0) && kLo > -kHuge && kHi < kHuge) {
      AddHalfBand(c, t0, t1, kLo > 0 ? -R() : R());
      const Cubic part = c.Part(t0, t1);
      const double len = num::Dist(part.p[0], part.p[1]) + num::Dist(part.p[1], part.p[2]) +
                         num::Dist(part.p[2], part.p[3]);
      const int n =
          std::clamp(static_cast<int>(std::ceil(len / (kTightSpacing * R()))), 1, kMaxTightDisks);
      for (int i = 0; i <= n; ++i) AddDisk(EndPoint(c, t0 + (t1 - t0) * i / n));
      return;
    }
    // The sign changes in here: halve towards the change, so that only a short piece around
    // it needs a chain of disks.
    if (depth < kMixedDepth && !Full()) {
      const double m = 0.5 * (t0 + t1);
      AddStretch(c, t0, m, depth + 1);
      AddStretch(c, m, t1, depth + 1);
      return;
    }
    AddDisks(c, t0, t1, 0);
  }

  // The band between a stretch and its offset at signed distance s (its convex side).
  void AddHalfBand(const Cubic& c, double t0, double t1, double s) {
    std::vector<Cubic> off;
    FitOffset(c, t0, t1, s, 0, off);
    const Cubic b = c.Part(t0, t1);
    auto* p = new CBPointArray;
    const CDPOINT a0 = EndPoint(c, t0), a1 = EndPoint(c, t1);
    p->Add(CBPOINT(a0, a0, b.p[1]));
    p->Add(CBPOINT(b.p[2], a1, a1));
    const CDPOINT e = off.back().p[3];
    p->Add(CBPOINT(e, e, e));
    for (auto it = off.rbegin(); it != off.rend(); ++it) {
      (*p)[static_cast<int>(p->GetUpperBound())].out = it->p[2];
      p->Add(CBPOINT(it->p[1], it->p[0], it->p[0]));
    }
    Close(p);
  }

  // Disks along t0..t1, halving until two neighbouring disks leave a gap within gapTol_: for
  // centres l apart on a curve of radius rho, the gap is about l^2 (rho + d) / (8 rho d).
  void AddDisks(const Cubic& c, double t0, double t1, int depth) {
    if (depth == 0) AddDisk(EndPoint(c, t0));
    const Cubic part = c.Part(t0, t1);
    const double l = num::Dist(part.p[0], part.p[1]) + num::Dist(part.p[1], part.p[2]) +
                     num::Dist(part.p[2], part.p[3]);
    double kMax = 0;
    for (int i = 0; i < 3; ++i)
      kMax = std::max(kMax, std::fabs(Curvature(c, t0 + (t1 - t0) * i / 2)));
    const double rho = kMax > 0 ? 1 / kMax : 1e300;
    const double gap = l * l * (rho + R()) / (8 * rho * R());
    const double angle = l * kMax;
    // Disks closer than the accuracy gain nothing (the sweep lies within l of them), and a
    // cusp would otherwise ask for ever closer ones: kDiskDepth halvings at most.
    if ((gap > gapTol_ || angle > kDiskMaxTurn) && l > gapTol_ && depth < kDiskDepth && !Full()) {
      const double m = 0.5 * (t0 + t1);
      AddDisks(c, t0, m, depth + 1);
      AddDisk(c.At(m));
      AddDisks(c, m, t1, depth + 1);
    }
    if (depth == 0) AddDisk(EndPoint(c, t1));
  }

  // The band between the offsets at +|d| and -|d| of the queued run of stretches of low
  // curvature; a smooth join left at the run's end (when the run breaks there) gets its
  // sliver filled.
  void Flush() {
    if (!run_.empty()) {
      std::vector<Cubic> left, right;
      for (const Stretch& st : run_) {
        FitOffset(st.c, st.t0, st.t1, R(), 0, left);
        FitOffset(st.c, st.t0, st.t1, -R(), 0, right);
      }
      auto* p = new CBPointArray;
      const auto chain = [&](const Cubic& q, bool reverse) {
        const CDPOINT a = reverse ? q.p[3] : q.p[0], h1 = reverse ? q.p[2] : q.p[1],
                      h2 = reverse ? q.p[1] : q.p[2], b = reverse ? q.p[0] : q.p[3];
        const CDPOINT last = (*p)[static_cast<int>(p->GetUpperBound())].anchor;
        if (last.x != a.x || last.y != a.y) p->Add(CBPOINT(a, a, a));
        (*p)[static_cast<int>(p->GetUpperBound())].out = h1;
        p->Add(CBPOINT(h2, b, b));
      };
      p->Add(CBPOINT(left.front().p[0], left.front().p[0], left.front().p[0]));
      for (const Cubic& q : left) chain(q, false);
      // The end lines pass through the curve's own end points as vertices, where joins and
      // caps meet them.
      const CDPOINT mid1 = EndPoint(run_.back().c, run_.back().t1);
      p->Add(CBPOINT(mid1, mid1, mid1));
      const CDPOINT rEnd = right.back().p[3];
      p->Add(CBPOINT(rEnd, rEnd, rEnd));
      for (auto it = right.rbegin(); it != right.rend(); ++it) chain(*it, true);
      const CDPOINT mid0 = EndPoint(run_.front().c, run_.front().t0);
      p->Add(CBPOINT(mid0, mid0, mid0));
      Close(p);
      run_.clear();
      runTurn_ = 0;
    }
    if (pending_.on) {
      pending_.on = false;
      AddJoin(pending_.v, pending_.a, pending_.b);
    }
  }

  // Cubics within fitTol_ of the offset at signed distance s (along the left normal) of the
  // stretch t0..t1: the ends offset exactly, the handles of the stretch scaled by 1 - s k at
  // each end (exact for circular arcs), halved where a check point strays.
  void FitOffset(const Cubic& c, double t0, double t1, double s, int depth,
                 std::vector<Cubic>& out) {
    const Cubic b = c.Part(t0, t1);
    const CDPOINT n0 = Normal(Tangent(c, t0)), n1 = Normal(Tangent(c, t1));
    const CDPOINT q0 = EndPoint(c, t0) + n0 * s, q3 = EndPoint(c, t1) + n1 * s;
    const double chord = num::Dist(b.p[0], b.p[3]);
    // A straight stretch (every control point on the chord) moves across as it is.
    const CDPOINT u = Unit(b.p[3] - b.p[0]);
    if (chord > 0 && std::fabs(num::Cross(u, b.p[1] - b.p[0])) <= chord * kStraight &&
        std::fabs(num::Cross(u, b.p[2] - b.p[0])) <= chord * kStraight &&
        num::Dot(n0, n1) > 1 - kStraight) {
      out.push_back(Cubic{{q0, b.p[1] + n0 * s, b.p[2] + n0 * s, q3}});
      return;
    }
    CDPOINT h0 = b.p[1] - b.p[0], h1 = b.p[2] - b.p[3];
    if (num::Length(h0) < chord * 1e-9) h0 = Tangent(c, t0) * (chord / 3);
    if (num::Length(h1) < chord * 1e-9) h1 = Tangent(c, t1) * (-chord / 3);
    const double f0 = std::max(1 - s * Curvature(c, t0), kMinHandleScale);
    const double f1 = std::max(1 - s * Curvature(c, t1), kMinHandleScale);
    const Cubic q{{q0, q0 + h0 * f0, q3 + h1 * f1, q3}};
    double err = 0;
    for (int j = 1; j < kFitChecks && err <= fitTol_; ++j) {
      const double u = double(j) / kFitChecks;
      const CDPOINT p = q.At(u);
      // The nearest of a few samples, then Newton steps (slow alone where the speed vanishes).
      double t = t0 + (t1 - t0) * u, best = kHuge;
      for (int k = 0; k <= kProjectSamples; ++k) {
        const double tk = t0 + (t1 - t0) * k / kProjectSamples;
        const double dk = num::Dist(c.At(tk), p);
        if (dk < best) best = dk, t = tk;
      }
      for (int it = 0; it < kProjectSteps; ++it) {
        const CDPOINT e = c.At(t) - p, v = c.D1(t), a = c.D2(t);
        const double f1 = num::Dot(e, v), f2 = num::Dot(v, v) + num::Dot(e, a);
        if (!(f2 > 0)) break;
        t = std::clamp(t - f1 / f2, t0, t1);
      }
      err = std::max(err, std::fabs(num::Dist(c.At(t), p) - std::fabs(s)));
    }
    if (err > fitTol_ && depth < kMaxDepth && !Full()) {
      const double m = 0.5 * (t0 + t1);
      FitOffset(c, t0, m, s, depth + 1, out);
      FitOffset(c, m, t1, s, depth + 1, out);
      return;
    }
    out.push_back(q);
  }

  // The join at corner v between incoming tangent a and outgoing tangent b, on the side the
  // path turns away from.
  void AddJoin(const CDPOINT& v, const CDPOINT& a, const CDPOINT& b) {
    const double turn = std::atan2(num::Cross(a, b), num::Dot(a, b));
    if (!(std::fabs(turn) > 0)) return;
    // Turning left, the outer side is the right one.
    const double side = turn > 0 ? -1.0 : 1.0;
    const CDPOINT na = Normal(a) * (side * R()), nb = Normal(b) * (side * R());
    // A gap too thin for an arc to matter still needs filling, or it would stay as a notch.
    if (std::fabs(turn) * R() <= arcTol_ || std::fabs(turn) < kJoinMinAngle) {
      AddPolygon({v, v + na, v + nb});
      return;
    }
    if (o_.join == OffsetJoin::kRound) {
      // From na to nb the normal turns with the path.
      if (turn > 0) {
        AddWedge(v, v + na, v + nb, turn);
      } else {
        AddWedge(v, v + nb, v + na, -turn);
      }
      return;
    }
    const double half = std::fabs(turn) / 2, limit = std::max(1.0, o_.miterLimit);
    if (o_.join == OffsetJoin::kMiter && std::cos(half) * limit >= 1) {
      const CDPOINT dir = Unit(na + nb);
      const CDPOINT tip = v + dir * (R() / std::cos(half));
      AddPolygon({v, v + na, tip, v + nb});
    } else {
      AddPolygon({v, v + na, v + nb});
    }
  }

  // The cap at an open end p whose outward tangent is t.
  void AddCap(const CDPOINT& p, const CDPOINT& t) {
    if (o_.cap == OffsetCap::kRound) {
      // From the right normal round the tip to the left one (the band's end points).
      const CDPOINT n = Normal(t) * R();
      AddWedge(p, p - n, p + n, std::numbers::pi);
    } else if (o_.cap == OffsetCap::kSquare) {
      const CDPOINT n = Normal(t) * R(), e = t * R();
      AddPolygon({p + n, p + n + e, p - n + e, p - n});
    }
  }

  struct Stretch {
    Cubic c;
    double t0, t1;
  };
  struct Join {
    bool on = false;
    CDPOINT v, a, b;
  };
  std::vector<Stretch> run_;
  double runTurn_ = 0;
  Join pending_;
  double d_;
  const OffsetOptions& o_;
  CPolyPolyBezier& pieces_;
  double fitTol_ = 0, arcTol_ = 0, gapTol_ = 0;
};

// A path with nodes, all finite (a single node is a point: a round cap strokes it to a disk).
bool Usable(const CBPointArray* p) {
  if (!p || p->GetSize() < 1) return false;
  for (const CBPOINT& n : *p)
    if (!num::IsFinite(n.in) || !num::IsFinite(n.anchor) || !num::IsFinite(n.out)) return false;
  return true;
}

// Merges, cyclically, every edge of a closed path shorter than minEdge (control polygon
// length) into its neighbours: its two nodes become one at its middle. At most one merge a
// node; returns the number of nodes left (without the closing copy).
std::size_t MergeShortEdges(CBPointArray& p, double minEdge) {
  std::vector<CBPOINT> ring(p.GetData(), p.GetData() + std::max<INT_PTR>(p.GetSize() - 1, 0));
  const std::size_t before = ring.size();
  for (std::size_t guard = ring.size(); guard > 0 && ring.size() > 3; --guard) {
    const std::size_t m = ring.size();
    std::size_t k = m;
    for (std::size_t j = 0; j < m && k == m; ++j) {
      const CBPOINT &a = ring[j], &b = ring[(j + 1) % m];
      const double len =
          num::Dist(a.anchor, a.out) + num::Dist(a.out, b.in) + num::Dist(b.in, b.anchor);
      if (len < minEdge) k = j;
    }
    if (k == m) break;
    const CBPOINT &a = ring[k], &b = ring[(k + 1) % m];
    const CDPOINT mid = num::Lerp(a.anchor, b.anchor, 0.5);
    const CBPOINT merged(a.in + (mid - a.anchor), mid, b.out + (mid - b.anchor));
    ring[k] = merged;
    ring.erase(ring.begin() + static_cast<std::ptrdiff_t>((k + 1) % m));
  }
  // Straight neighbours on one line become one straight edge (bands split long edges).
  const auto straight = [](const CBPOINT& a, const CBPOINT& b) {
    return a.out.x == a.anchor.x && a.out.y == a.anchor.y && b.in.x == b.anchor.x &&
           b.in.y == b.anchor.y;
  };
  for (std::size_t guard = ring.size(), j = 0; guard > 0 && ring.size() > 3; --guard) {
    const std::size_t m = ring.size();
    j %= m;
    const CBPOINT &a = ring[(j + m - 1) % m], &b = ring[j], &c = ring[(j + 1) % m];
    const double len = num::Dist(a.anchor, c.anchor);
    if (straight(a, b) && straight(b, c) && len > 0 &&
        std::fabs(num::Cross(a.anchor, b.anchor, c.anchor)) <= len * minEdge * kCollinear &&
        num::Dot(b.anchor - a.anchor, c.anchor - b.anchor) > 0) {
      ring.erase(ring.begin() + static_cast<std::ptrdiff_t>(j));
    } else {
      ++j;
    }
  }
  if (ring.size() != before) {
    p.SetSize(0);
    for (const CBPOINT& n : ring) p.Add(n);
    if (!ring.empty()) p.Add(ring.front());
  }
  return ring.size();
}

// Twice the area over the perimeter, from samples of the curves: the width of a sliver, the
// radius of a disk.
double MeanWidth(const CBPointArray& p) {
  constexpr int kSamples = 8;
  double area = 0, length = 0;
  CDPOINT prev = p.GetSize() > 0 ? p[0].anchor : CDPOINT();
  for (int k = 0; k + 1 < p.GetSize(); ++k)
    for (int s = 1; s <= kSamples; ++s) {
      const CDPOINT q = num::BezierPoint(p[k].anchor, p[k].out, p[k + 1].in, p[k + 1].anchor,
                                         double(s) / kSamples);
      area += prev.x * q.y - q.x * prev.y;
      length += num::Dist(prev, q);
      prev = q;
    }
  return length > 0 ? std::fabs(area) / length : 0;
}

// Merges short edges of every result path and drops paths left with fewer than three
// segments or narrower (MeanWidth) than minWidth: slivers of the boolean. Keeps the tree
// consistent: a dropped path's children move to its parent.
void Tidy(CPolyPolyBezier& out, BooleanTree* tree, double minEdge, double minWidth) {
  std::vector<int> keep;
  for (int i = 0; i < static_cast<int>(out.GetSize()); ++i) {
    CBPointArray& p = *out.GetAt(i);
    const std::size_t left = MergeShortEdges(p, minEdge);
    keep.push_back(left >= 3 && MeanWidth(p) >= minWidth ? 1 : 0);
  }
  const int n = static_cast<int>(keep.size());
  if (tree && static_cast<int>(tree->parent.size()) == n) {
    std::vector<int> index(static_cast<std::size_t>(n), -1);
    for (int i = 0, j = 0; i < n; ++i)
      if (keep[i]) index[i] = j++;
    const auto lift = [&](int q) {
      for (int g = 0; g < n && q >= 0 && !keep[q]; ++g) q = tree->parent[q];
      return q >= 0 && keep[q] ? index[q] : -1;
    };
    BooleanTree t;
    for (int i = 0; i < n; ++i)
      if (keep[i]) t.parent.push_back(lift(tree->parent[i]));
    for (int q : t.parent) t.depth.push_back(q < 0 ? 0 : t.depth[static_cast<std::size_t>(q)] + 1);
    *tree = std::move(t);
  }
  for (int i = n - 1; i >= 0; --i)
    if (!keep[i]) out.RemoveAt(i);
}

// Counts the pairs of pieces whose control boxes overlap, by a sweep along x, stopping once
// the count exceeds limit: how crowded the union will be, for the price of a sort.
std::size_t OverlappingPairs(const CPolyPolyBezier& pieces, std::size_t limit) {
  struct Box {
    double x0, x1, y0, y1;
  };
  std::vector<Box> boxes;
  boxes.reserve(static_cast<std::size_t>(pieces.GetSize()));
  for (INT_PTR i = 0; i < pieces.GetSize(); ++i) {
    Box b{kHuge, -kHuge, kHuge, -kHuge};
    for (const CBPOINT& n : pieces[static_cast<int>(i)])
      for (const CDPOINT& q : {n.in, n.anchor, n.out}) {
        b.x0 = std::min(b.x0, q.x), b.x1 = std::max(b.x1, q.x);
        b.y0 = std::min(b.y0, q.y), b.y1 = std::max(b.y1, q.y);
      }
    if (b.x0 <= b.x1) boxes.push_back(b);
  }
  std::sort(boxes.begin(), boxes.end(), [](const Box& a, const Box& b) { return a.x0 < b.x0; });
  std::size_t pairs = 0;
  for (std::size_t i = 0; i < boxes.size(); ++i)
    for (std::size_t j = i + 1; j < boxes.size() && boxes[j].x0 <= boxes[i].x1; ++j) {
      if (boxes[j].y0 > boxes[i].y1 || boxes[i].y0 > boxes[j].y1) continue;
      if (++pairs > limit) return pairs;
    }
  return pairs;
}

// Nodes of every path of a set.
std::size_t Nodes(const CPolyPolyBezier& set) {
  std::size_t n = 0;
  for (INT_PTR i = 0; i < set.GetSize(); ++i)
    if (const CBPointArray* p = set.GetAt(static_cast<int>(i)))
      n += static_cast<std::size_t>(p->GetSize());
  return n;
}

// The union (or difference) of the region and the pieces, refused when the pieces overlap
// beyond the budget for an input of the given number of nodes.
bool Combine(const CPolyPolyBezier& region, const CPolyPolyBezier& pieces, std::size_t nodes,
             BooleanOp op, const OffsetOptions& o, CPolyPolyBezier& out, BooleanTree* tree) {
  BooleanOptions bo;
  bo.tolerance = o.accuracy * kFlattenShare;
  const std::size_t limit = kOverlapFloor + kOverlapsPerNode * nodes;
  if (OverlappingPairs(pieces, limit) > limit ||
      !BooleanPolyPolyBezier(region, pieces, op, out, bo, tree)) {
    out.RemoveAll();
    if (tree) *tree = {};
    return false;
  }
  Tidy(out, tree, o.accuracy / 2, o.accuracy);
  return true;
}

bool Valid(double d, const OffsetOptions& o) {
  return std::isfinite(d) && std::isfinite(o.accuracy) && o.accuracy > 0;
}

}  // namespace

bool OffsetPolyPolyBezier(const CPolyPolyBezier& set, double d, CPolyPolyBezier& out,
                          const OffsetOptions& options, BooleanTree* tree) {
  out.RemoveAll();
  if (tree) *tree = {};
  if (!Valid(d, options)) return false;
  BooleanOptions bo;
  bo.fillRule = options.fillRule;
  bo.tolerance = options.accuracy * kFlattenShare;
  if (std::fabs(d) < options.accuracy) return WeldPolyPolyBezier(set, out, bo, tree);
  // Growing under the non-zero rule, the paths themselves will do: pieces along an edge
  // inside the region (an overlap) lie within d of the region anyway. Otherwise the region is
  // cleaned first, for its boundary is what gets offset and the pieces are read non-zero.
  CPolyPolyBezier region, pieces;
  const bool direct = d > 0 && options.fillRule == FillRule::kNonZero;
  if (!direct && !WeldPolyPolyBezier(set, region, bo)) return false;
  const CPolyPolyBezier& base = direct ? set : region;
  PieceBuilder builder(d, options, pieces);
  for (INT_PTR i = 0; i < base.GetSize(); ++i) {
    const CBPointArray* p = base.GetAt(static_cast<int>(i));
    if (!Usable(p) || p->GetSize() < 2) continue;
    // Edges too short to have a direction of their own would turn the joins at random.
    CBPointArray clean(*p);
    if (clean.IsPolyBezierClosed()) MergeShortEdges(clean, options.accuracy / 2);
    builder.AddPath(clean, true, false);
  }
  return Combine(base, pieces, Nodes(base), d > 0 ? BooleanOp::kUnion : BooleanOp::kDifference,
                 options, out, tree);
}

bool OffsetBPointArray(const CBPointArray& path, double d, CPolyPolyBezier& out,
                       const OffsetOptions& options) {
  CPolyPolyBezier set;
  set.Add(new CBPointArray(path));
  return OffsetPolyPolyBezier(set, d, out, options);
}

bool StrokePolyPolyBezier(const CPolyPolyBezier& set, double d, CPolyPolyBezier& out,
                          const OffsetOptions& options, BooleanTree* tree) {
  out.RemoveAll();
  if (tree) *tree = {};
  if (!Valid(d, options)) return false;
  if (std::fabs(d) < options.accuracy) return true;
  CPolyPolyBezier pieces;
  PieceBuilder builder(d, options, pieces);
  for (INT_PTR i = 0; i < set.GetSize(); ++i) {
    const CBPointArray* p = set.GetAt(static_cast<int>(i));
    if (!Usable(p)) continue;
    const bool closed = p->IsPolyBezierClosed();
    builder.AddPath(*p, closed, !closed);
  }
  const CPolyPolyBezier none;
  return Combine(none, pieces, Nodes(set), BooleanOp::kUnion, options, out, tree);
}

bool StrokePolyPolyBezier(const CBPointArray& path, double d, CPolyPolyBezier& out,
                          const OffsetOptions& options) {
  CPolyPolyBezier set;
  set.Add(new CBPointArray(path));
  return StrokePolyPolyBezier(set, d, out, options);
}
