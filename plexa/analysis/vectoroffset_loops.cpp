// The offset loops of the vector offset (plexa/analysis/internal/offset_loops.h).
//
// Why one loop per side and not one simple piece per stretch: the union's cost grows with the
// edges and crossings it is fed. A side's loop has one offset curve per stretch and no seams,
// where a piece per stretch doubles the offsets (both sides in every band), adds end lines
// that cross every neighbour, and overlaps its join wedges. The winding numbers stay exact:
// over a stretch where the offset runs forward (1 - |d| k > 0 for the curvature k towards that
// side), the loop minus the path is the sum of thin quadrilaterals from the path to its offset,
// each wound once as an outline; a corner turning away from the side adds its join shape, also
// wound once; a corner turning towards the side and a stretch of higher curvature are detoured
// through the path itself, adding nothing (disks cover the latter). The loops of a path and of
// its reverse sum to the path's winding plus its negative plus the coverage: the coverage.
#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "plexa/analysis/internal/offset_cubic.h"
#include "plexa/analysis/internal/offset_loops.h"
#include "plexa/core/internal/numerics.h"

namespace plexa::offset {
namespace {

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

// Share of the accuracy each stage may spend. A result point lies on one kind of curve: an
// offset fitted by cubics, an arc of a disk or join, or the outside of two neighbouring disks
// (their gap), so these three shares are alternatives; to them come the boolean's flattening
// and the merging of short edges (see vectoroffset.cpp).
constexpr double kFitShare = 0.3;
constexpr double kArcShare = 0.25;
constexpr double kGapShare = 0.25;
// The disks along a detour are thinned (ThinDisks), their union shrinking by at most this
// share of the accuracy, which with the gap share above stays within the fit's share. Halving
// a stretch whose curvature sits near 1/d makes many tiny tight pieces, each with disks at
// both ends.
constexpr double kDiskMergeShare = 0.05;
// Stretches where |d| times the curvature towards the side stays below this run along their
// offset. Below 1 the offset runs forward (no cusp); the margin keeps it clear of the turning
// point.
constexpr double kBandCurvature = 0.98;
// Most turning of one stretch, in radians, before it is halved: the curvature samples of a
// stretch then stay close enough to catch a peak.
constexpr double kBandTurn = std::numbers::pi / 3;
// Curvature samples a stretch is judged by (its ends included).
constexpr int kCurvatureSamples = 9;
// Segments of a loop shorter than this share of the accuracy are dropped (DropSpecks).
constexpr double kSpeckShare = 1e-3;
// Halving depth for the stretches, the offset fits and the disk spacing.
constexpr int kMaxDepth = 18;
// Samples along an offset cubic at which its distance from the base curve is checked.
constexpr int kFitChecks = 8;
// Newton steps of the projection onto the base curve, at most; they stop once a step moves
// the point by less than this share of the fit's tolerance (the distance is then read before
// that step: the step runs along the curve, and the distance changes by its square).
constexpr int kProjectSteps = 6;
constexpr double kProjectSettled = 1e-3;
// Largest angle between disks in a stretch of high curvature, whatever the accuracy allows.
constexpr double kDiskMaxTurn = 0.5;
// Where a curvature is read beside an end whose handle is on its anchor.
constexpr double kEndNudge = 1e-4;
// Curvature standing for "unbounded" (a cusp of the base curve).
constexpr double kHuge = 1e300;
// Splitting depth while a stretch mixes low and high curvature, and the bisection that finds
// where it changes: at most kSplitSteps halvings, down to this share of the stretch.
constexpr int kMixedDepth = 12;
constexpr int kSplitSteps = 40;
constexpr double kSplitPrecision = 1e-9;
// Halvings of a stretch that changes the sign of a high curvature (a cusp): 2^8 disks at most.
constexpr int kDiskDepth = 8;
// Disks along a stretch of high curvature of one sign: spacing in units of d, and at most.
constexpr double kTightSpacing = 0.5;
constexpr int kMaxTightDisks = 64;
// Smallest scale of a handle of a fitted offset (where the offset nearly stops).
constexpr double kMinHandleScale = 0.02;
// Least sine of the angle between the end tangents of a stretch whose offset is fitted
// through its middle (a straighter one keeps its own handles, scaled).
constexpr double kMiddleMinTurn = 1e-3;
// Longest handle of a fitted offset, in units of its chord plus the radius.
constexpr double kMaxHandle = 2.0;
// Samples that seed the projection onto the base curve.
constexpr int kProjectSamples = 16;
// Two tangents closer than this (radians, also scaled by the accuracy) need no join.
constexpr double kJoinMinAngle = 1e-9;
// Most arcs of one join or disk.
constexpr int kMaxArcs = 64;

// Left normal of a unit vector (counter-clockwise in y-up axes).
CDPOINT Normal(const CDPOINT& t) {
  return CDPOINT(-t.y, t.x);
}

// Unit tangent at t, falling back to the next control point that differs when the derivative
// vanishes at an end (handles on their anchors). scale is c.HullLength().
CDPOINT Tangent(const Cubic& c, double t, double scale) {
  CDPOINT v = c.D1(t);
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
CDPOINT Tangent(const Cubic& c, double t) {
  return Tangent(c, t, c.HullLength());
}

// Signed curvature at t (positive turning left in y-up axes); huge where the speed vanishes.
// At an end whose handle sits on its anchor the value is taken a little inside (a straight
// segment so drawn has curvature 0 throughout, not an undefined one at its ends). scale is
// c.HullLength().
double Curvature(const Cubic& c, double t, double scale) {
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
double Curvature(const Cubic& c, double t) {
  return Curvature(c, t, c.HullLength());
}

// The unit tangent and the curvature at t together (as Tangent and Curvature).
void TangentAndCurvature(const Cubic& c, double t, double scale, CDPOINT& tangent, double& k) {
  const CDPOINT v = c.D1(t);
  const double s = num::Length(v);
  if (!(s > scale * 1e-9)) {
    tangent = Tangent(c, t, scale);
    k = Curvature(c, t, scale);
    return;
  }
  tangent = v * (1 / s);
  const double q = num::Cross(v, c.D2(t)) / (s * s * s);
  k = std::isfinite(q) ? std::clamp(q, -kHuge, kHuge) : kHuge;
}

// The segments of a path with length (the chord from its last anchor to its first appended
// when closed).
std::vector<Cubic> Segments(const CBPointArray& path, bool closed) {
  std::vector<Cubic> segs;
  const CBPOINT* n = path.GetData();
  for (INT_PTR k = 0; k + 1 < path.GetSize(); ++k) {
    const Cubic c{{n[k].anchor, n[k].out, n[k + 1].in, n[k + 1].anchor}};
    if (c.HullLength() > 0) segs.push_back(c);
  }
  if (closed && !segs.empty()) {
    const CDPOINT a = segs.back().p[3], b = segs.front().p[0];
    if (a.x != b.x || a.y != b.y) segs.push_back(Cubic{{a, a, b, b}});
  }
  return segs;
}

// Drops, from a closed loop (its last node a copy of the first), each node whose segment from
// the node kept before it is shorter than eps (control polygon), that node taking the dropped
// one's outgoing handle: the specks that tiny halvings and cuts leave, which would stand
// between their neighbours as company in the union. Moves the loop by less than eps.
void DropSpecks(CBPointArray& loop, double eps) {
  const int n = static_cast<int>(loop.GetSize()) - 1;
  if (n < 4) return;
  const auto hull = [](const CBPOINT& a, const CBPOINT& b) {
    return num::Dist(a.anchor, a.out) + num::Dist(a.out, b.in) + num::Dist(b.in, b.anchor);
  };
  std::vector<CBPOINT> ring;
  ring.reserve(static_cast<std::size_t>(n));
  for (int k = 0; k < n; ++k) {
    if (!ring.empty() && hull(ring.back(), loop[k]) < eps) {
      ring.back().out = loop[k].out;
      continue;
    }
    ring.push_back(loop[k]);
  }
  while (ring.size() > 3 && hull(ring.back(), ring.front()) < eps) {
    ring.front().in = ring.back().in;
    ring.pop_back();
  }
  if (ring.size() == static_cast<std::size_t>(n) || ring.size() < 3) return;
  loop.SetSize(0);
  for (const CBPOINT& q : ring) loop.Add(q);
  loop.Add(ring.front());
}

std::vector<Cubic> Reversed(const std::vector<Cubic>& segs) {
  std::vector<Cubic> r;
  r.reserve(segs.size());
  for (auto it = segs.rbegin(); it != segs.rend(); ++it) r.push_back(it->Reversed());
  return r;
}

}  // namespace

struct LoopBuilder::Impl {
  Impl(double d, const OffsetOptions& o, CPolyPolyBezier& out) : r(std::fabs(d)), opt(o), out(out) {
    fitTol = o.accuracy * kFitShare;
    arcTol = o.accuracy * kArcShare;
    gapTol = o.accuracy * kGapShare;
    diskMerge = o.accuracy * kDiskMergeShare;
  }

  double r;
  const OffsetOptions& opt;
  CPolyPolyBezier& out;
  double fitTol = 0, arcTol = 0, gapTol = 0, diskMerge = 0;
  // The loop being built, and the offset curves and disks built so far, at most maxPieces.
  CBPointArray chain;
  CBPointArray* cur = &chain;
  // The detours of the chain, and where disks go while one is being built (null: built).
  std::vector<Detour> detours;
  std::vector<CDPOINT>* diskSink = nullptr;
  long long pieces = 0, maxPieces = kOffsetMaxPieces;

  bool Full() const { return pieces >= maxPieces; }

  // --- The chain of the loop being built.
  bool Empty() const { return cur->GetSize() == 0; }
  const CDPOINT& Last() const { return (*cur)[static_cast<int>(cur->GetUpperBound())].anchor; }
  void LineTo(const CDPOINT& p) {
    if (Empty() || Last().x != p.x || Last().y != p.y) cur->Add(CBPOINT(p, p, p));
  }
  void CurveTo(const Cubic& q) {
    LineTo(q.p[0]);
    (*cur)[static_cast<int>(cur->GetUpperBound())].out = q.p[1];
    cur->Add(CBPOINT(q.p[2], q.p[3], q.p[3]));
    ++pieces;
  }
  // From the last anchor round c by sweep radians (counter-clockwise when positive), ending
  // exactly on `to`; arcs of radius r, each within arcTol.
  void ArcTo(const CDPOINT& c, double sweep, const CDPOINT& to) {
    const CDPOINT from = Last();
    int n = 1;
    while (n < kMaxArcs && 2.7e-4 * r * std::pow(sweep / n / (std::numbers::pi / 2), 6) > arcTol)
      ++n;
    const double a0 = std::atan2(from.y - c.y, from.x - c.x), q = sweep / n;
    const double k = 4.0 / 3.0 * std::tan(q / 4) * r;
    for (int i = 0; i < n; ++i) {
      const double s0 = a0 + q * i, s1 = s0 + q;
      const CDPOINT u0(std::cos(s0), std::sin(s0)), u1(std::cos(s1), std::sin(s1));
      const CDPOINT e1 = i + 1 == n ? to : c + u1 * r;
      const CDPOINT e0 = Last();
      (*cur)[static_cast<int>(cur->GetUpperBound())].out = e0 + Normal(u0) * k;
      cur->Add(CBPOINT(e1 - Normal(u1) * k, e1, e1));
      ++pieces;
    }
  }
  // Closes the chain (last anchor back to the first) and hands it to out as it winds.
  void Finish() {
    if (Empty()) return;
    LineTo((*cur)[0].anchor);
    const bool main = cur == &chain;
    std::vector<char> cut(main ? detours.size() : 0, 0);
    if (cur->GetSize() >= 3) {
      const int last = static_cast<int>(cur->GetUpperBound());
      (*cur)[last].out = (*cur)[0].out;
      (*cur)[0].in = (*cur)[last].in;
      if (main) cut = TrimDetours(chain, detours, r);
      DropSpecks(*cur, opt.accuracy * kSpeckShare);
      out.Add(new CBPointArray(*cur));
    }
    cur->SetSize(0);
    if (!main) return;
    for (std::size_t k = 0; k < detours.size(); ++k)
      if (!cut[k]) AddDisks(ThinDisks(detours[k].disks, r, diskMerge));
    detours.clear();
  }

  // The disks about centres as the loops of their union (one small loop for a run of disks
  // along a turn, rather than one loop each for the union behind to resolve), or each disk
  // as its own loop where the union's arcs do not chain.
  void AddDisks(const std::vector<CDPOINT>& centres) {
    std::vector<std::vector<Arc>> unions;
    if (centres.size() < 2 || !DiskUnion(centres, r, unions)) {
      for (const CDPOINT& c : centres) AddDisk(c);
      return;
    }
    CBPointArray loop;
    CBPointArray* keep = cur;
    cur = &loop;
    for (const std::vector<Arc>& arcs : unions) {
      LineTo(arcs.front().from);
      for (std::size_t k = 0; k < arcs.size(); ++k)
        ArcTo(arcs[k].c, arcs[k].sweep, k + 1 < arcs.size() ? arcs[k].to : arcs.front().from);
      Finish();
    }
    cur = keep;
  }

  // A detour joins the previous one when it starts where that ends (a tight stretch halved,
  // a corner beside one), or only offset curves shorter than fitTol in all lie between (where
  // the curvature hovers about 1/r): the offsets round both are then cut as one.
  void AddDetour(Detour&& detour) {
    double between = 0;
    for (int q = detours.empty() ? detour.s : detours.back().e; q < detour.s && between <= fitTol;
         ++q)
      between += num::Dist((*cur)[q].anchor, (*cur)[q].out) +
                 num::Dist((*cur)[q].out, (*cur)[q + 1].in) +
                 num::Dist((*cur)[q + 1].in, (*cur)[q + 1].anchor);
    if (!detours.empty() && detours.back().e <= detour.s && between <= fitTol) {
      Detour& last = detours.back();
      last.e = detour.e;
      last.disks.insert(last.disks.end(), detour.disks.begin(), detour.disks.end());
      return;
    }
    detours.push_back(std::move(detour));
  }

  // A disk of radius r about c, a loop of its own (the chain in progress kept aside).
  void AddDisk(const CDPOINT& c) {
    ++pieces;
    if (diskSink) {
      diskSink->push_back(c);
      return;
    }
    CBPointArray disk;
    CBPointArray* keep = cur;
    cur = &disk;
    const CDPOINT start = c + CDPOINT(r, 0);
    LineTo(start);
    ArcTo(c, -std::numbers::pi, c - CDPOINT(r, 0));
    ArcTo(c, -std::numbers::pi, start);
    Finish();
    cur = keep;
  }

  // --- One side: the loop along the left offset of segs, with joins between them (and from
  // the last round to the first when closed).
  void Side(const std::vector<Cubic>& segs, bool closed) {
    for (std::size_t k = 0; k < segs.size(); ++k) {
      Stretch(segs[k], 0, 1, 0);
      if (k + 1 < segs.size()) {
        Join(segs[k].p[3], Tangent(segs[k], 1), Tangent(segs[k + 1], 0));
      } else if (closed) {
        Join(segs[k].p[3], Tangent(segs[k], 1), Tangent(segs.front(), 0));
      }
    }
  }

  // The stretch t0..t1 of c: its offset where the curvature towards the left stays below
  // 1/r, halved while it turns much; a detour along the curve itself (and disks) where the
  // curvature passes it.
  void Stretch(const Cubic& c, double t0, double t1, int depth) {
    // A straight segment (every control point on the chord, between its ends: the curve then
    // never turns back) has no curvature to sample.
    if (depth == 0 && Straight(c)) {
      FitOffset(c, t0, t1, 0);
      return;
    }
    double kMax = -kHuge, kMin = kHuge, turn = 0;
    const double scale = c.HullLength();
    double ts[kCurvatureSamples], ks[kCurvatureSamples];
    CDPOINT prev;
    for (int i = 0; i < kCurvatureSamples; ++i) {
      const double t = t0 + (t1 - t0) * i / (kCurvatureSamples - 1);
      CDPOINT tan;
      double k = 0;
      TangentAndCurvature(c, t, scale, tan, k);
      ts[i] = t, ks[i] = k;
      kMax = std::max(kMax, k);
      kMin = std::min(kMin, k);
      if (i > 0) turn += std::fabs(std::atan2(num::Cross(prev, tan), num::Dot(prev, tan)));
      prev = tan;
    }
    const bool regular = r * kMax < kBandCurvature;
    if (regular && (turn <= kBandTurn || depth >= kMaxDepth || Full())) {
      FitOffset(c, t0, t1, 0);
      return;
    }
    if (regular) {
      const double m = 0.5 * (t0 + t1);
      Stretch(c, t0, m, depth + 1);
      Stretch(c, m, t1, depth + 1);
      return;
    }
    const bool mixed = r * kMin < kBandCurvature;
    if (mixed && depth < kMixedDepth && !Full()) {
      // Split where the samples change between regular and tight, each change found by
      // bisection; a regular piece ends (or starts) on a regular point, so that it samples as
      // regular again, and the tight pieces become detours.
      const auto isRegular = [&](double t) { return r * Curvature(c, t, scale) < kBandCurvature; };
      double from = t0;
      bool cls = r * ks[0] < kBandCurvature;
      const auto piece = [&](double a, double b, bool reg) {
        if (!(b > a)) return;
        if (reg) {
          Stretch(c, a, b, depth + 1);
        } else {
          Tight(c, a, b);
        }
      };
      for (int i = 1; i < kCurvatureSamples; ++i) {
        if ((r * ks[i] < kBandCurvature) == cls) continue;
        double lo = ts[i - 1], hi = ts[i];
        for (int it = 0; it < kSplitSteps && hi - lo > (t1 - t0) * kSplitPrecision; ++it) {
          const double m = 0.5 * (lo + hi);
          (isRegular(m) == cls ? lo : hi) = m;
        }
        const double cut = cls ? lo : hi;
        piece(from, cut, cls);
        from = cut;
        cls = !cls;
      }
      piece(from, t1, cls);
      return;
    }
    Tight(c, t0, t1, kMin, kMax);
  }

  // The stretch t0..t1 of c, whose curvature passes 1/r, as a detour (kMin and kMax sampled
  // here).
  void Tight(const Cubic& c, double t0, double t1) {
    double kMax = -kHuge, kMin = kHuge;
    const double scale = c.HullLength();
    for (int i = 0; i < kCurvatureSamples; ++i) {
      const double k = Curvature(c, t0 + (t1 - t0) * i / (kCurvatureSamples - 1), scale);
      kMax = std::max(kMax, k);
      kMin = std::min(kMin, k);
    }
    Tight(c, t0, t1, kMin, kMax);
  }

  // The stretch t0..t1 of c, whose curvature passes 1/r (between kMin and kMax), as a detour.
  void Tight(const Cubic& c, double t0, double t1, double kMin, double kMax) {
    // Detour along the curve; the offset side within r of it is covered by disks: spaced
    // kTightSpacing * r apart where the curvature radius stays below r (every point of that
    // side then lies within the radius of the stretch), else close enough for the gap.
    const CDPOINT q0 = EndPoint(c, t0) + Normal(Tangent(c, t0)) * r;
    const CDPOINT q1 = EndPoint(c, t1) + Normal(Tangent(c, t1)) * r;
    Cubic part = c.Part(t0, t1);
    part.p[0] = EndPoint(c, t0);
    part.p[3] = EndPoint(c, t1);
    Detour detour;
    LineTo(q0);
    detour.s = static_cast<int>(cur->GetUpperBound());
    CurveTo(part);
    LineTo(q1);
    detour.e = static_cast<int>(cur->GetUpperBound());
    diskSink = &detour.disks;
    if (r * kMin >= kBandCurvature && kMax < kHuge) {
      const double len = c.Part(t0, t1).HullLength();
      const int n =
          std::clamp(static_cast<int>(std::ceil(len / (kTightSpacing * r))), 1, kMaxTightDisks);
      for (int i = 0; i <= n; ++i) AddDisk(EndPoint(c, t0 + (t1 - t0) * i / n));
    } else {
      AddDisk(EndPoint(c, t0));
      Disks(c, t0, t1, 0);
      AddDisk(EndPoint(c, t1));
    }
    diskSink = nullptr;
    AddDetour(std::move(detour));
  }

  // Disks inside t0..t1, halving until two neighbouring disks leave a gap within gapTol: for
  // centres l apart on a curve of radius rho, the gap is about l^2 (rho + r) / (8 rho r).
  void Disks(const Cubic& c, double t0, double t1, int depth) {
    const double l = c.Part(t0, t1).HullLength();
    double kMax = 0;
    for (int i = 0; i < 3; ++i)
      kMax = std::max(kMax, std::fabs(Curvature(c, t0 + (t1 - t0) * i / 2)));
    const double rho = kMax > 0 ? 1 / kMax : 1e300;
    const double gap = l * l * (rho + r) / (8 * rho * r);
    const double angle = l * kMax;
    // Disks closer than the accuracy gain nothing (the sweep lies within l of them), and a
    // cusp would otherwise ask for ever closer ones: kDiskDepth halvings at most.
    if ((gap > gapTol || angle > kDiskMaxTurn) && l > gapTol && depth < kDiskDepth && !Full()) {
      const double m = 0.5 * (t0 + t1);
      Disks(c, t0, m, depth + 1);
      AddDisk(c.At(m));
      Disks(c, m, t1, depth + 1);
    }
  }

  // Cubics within fitTol of the left offset at distance r of the stretch t0..t1, appended to
  // the chain, halved where a check point strays: the ends offset exactly, the handles along
  // the end tangents, as long as makes the cubic's middle the exact offset of the stretch's
  // middle (where that asks for a handle backwards or too long, or the stretch hardly turns,
  // the handles of the stretch scaled by 1 - r k at each end, exact for circular arcs).
  void FitOffset(const Cubic& c, double t0, double t1, int depth) {
    const Cubic b = c.Part(t0, t1);
    const double scale = c.HullLength();
    const CDPOINT u0 = Tangent(c, t0, scale), u1 = Tangent(c, t1, scale);
    const CDPOINT n0 = Normal(u0), n1 = Normal(u1);
    const CDPOINT q0 = EndPoint(c, t0) + n0 * r, q3 = EndPoint(c, t1) + n1 * r;
    const double chord = num::Dist(b.p[0], b.p[3]);
    // A straight stretch (every control point on the chord) moves across as it is.
    const CDPOINT u = Unit(b.p[3] - b.p[0]);
    if (chord > 0 && std::fabs(num::Cross(u, b.p[1] - b.p[0])) <= chord * kStraight &&
        std::fabs(num::Cross(u, b.p[2] - b.p[0])) <= chord * kStraight &&
        num::Dot(n0, n1) > 1 - kStraight) {
      CurveTo(Cubic{{q0, b.p[1] + n0 * r, b.p[2] + n0 * r, q3}});
      return;
    }
    CDPOINT h0 = b.p[1] - b.p[0], h1 = b.p[2] - b.p[3];
    if (num::Length(h0) < chord * 1e-9) h0 = u0 * (chord / 3);
    if (num::Length(h1) < chord * 1e-9) h1 = u1 * (-chord / 3);
    const double f0 = std::max(1 - r * Curvature(c, t0, scale), kMinHandleScale);
    const double f1 = std::max(1 - r * Curvature(c, t1, scale), kMinHandleScale);
    // No handle longer than the offset's chord and radius allow (at a cusp the curvature, and
    // with it the scale, is unbounded).
    const double most = kMaxHandle * (num::Dist(q0, q3) + r);
    const auto scaled = [most](const CDPOINT& h, double f) {
      const double l = num::Length(h) * f;
      return l > most ? h * (most / num::Length(h)) : h * f;
    };
    Cubic q{{q0, q0 + scaled(h0, f0), q3 + scaled(h1, f1), q3}};
    // alpha u0 - beta u1 = w, where the cubic's middle is (q0 + q3) / 2 + 3 / 8 w.
    const double det = num::Cross(u1, u0);
    bool throughMiddle = false;
    if (std::fabs(det) > kMiddleMinTurn) {
      const double tm = 0.5 * (t0 + t1);
      const CDPOINT om = c.At(tm) + Normal(Tangent(c, tm, scale)) * r;
      const CDPOINT w = (om - (q0 + q3) * 0.5) * (8.0 / 3.0);
      const double alpha = num::Cross(u1, w) / det, beta = num::Cross(u0, w) / det;
      if (alpha > 0 && beta > 0 && alpha <= most && beta <= most) {
        q.p[1] = q0 + u0 * alpha;
        q.p[2] = q3 - u1 * beta;
        throughMiddle = true;
      }
    }
    // Newton steps from t towards the foot of p on the stretch; false when they do not settle.
    // Sets dist to the distance from p to the foot found (before the last, settled step).
    double dist = 0;
    const auto project = [&](const CDPOINT& p, double& t) {
      for (int it = 0; it < kProjectSteps; ++it) {
        const CDPOINT e = c.At(t) - p, v = c.D1(t), a = c.D2(t);
        const double g1 = num::Dot(e, v), g2 = num::Dot(v, v) + num::Dot(e, a);
        if (!(g2 > 0)) return false;
        const double next = std::clamp(t - g1 / g2, t0, t1);
        const bool settled = std::fabs(next - t) * num::Length(v) <= fitTol * kProjectSettled;
        dist = num::Length(e);
        t = next;
        if (settled) return true;
      }
      return false;
    };
    double err = 0;
    CDPOINT samples[kProjectSamples + 1];
    bool sampled = false;
    // The quarters first, then the eighths, then the middle (unless the cubic goes through
    // it): a fit that strays mostly strays at the first ones, and is given up at once.
    constexpr int kOrder[] = {2, 6, 1, 3, 5, 7, 4};
    static_assert(kFitChecks == 8);
    for (int j = 0; j < kFitChecks - (throughMiddle ? 2 : 1) && err <= fitTol; ++j) {
      const double s = double(kOrder[j]) / kFitChecks;
      const CDPOINT p = q.At(s);
      // Newton steps from the same share of the stretch (the fit keeps the stretch's pace);
      // where they do not settle, from the nearest of a few samples (slow alone where the
      // speed vanishes).
      double t = t0 + (t1 - t0) * s;
      if (!project(p, t)) {
        if (!sampled) {
          for (int k = 0; k <= kProjectSamples; ++k)
            samples[k] = c.At(t0 + (t1 - t0) * k / kProjectSamples);
          sampled = true;
        }
        double best = kHuge;
        for (int k = 0; k <= kProjectSamples; ++k) {
          const CDPOINT e = samples[k] - p;
          const double dk = num::Dot(e, e);
          if (dk < best) best = dk, t = t0 + (t1 - t0) * k / kProjectSamples;
        }
        if (!project(p, t)) dist = num::Dist(c.At(t), p);
      }
      err = std::max(err, std::fabs(dist - r));
    }
    if (err > fitTol && depth < kMaxDepth && !Full()) {
      const double m = 0.5 * (t0 + t1);
      FitOffset(c, t0, m, depth + 1);
      FitOffset(c, m, t1, depth + 1);
      return;
    }
    CurveTo(q);
  }

  // The corner v between incoming tangent a and outgoing tangent b, the chain standing on
  // v + r * Normal(a): the join where the path turns right (away from the left side), a
  // detour through v where it turns left; a turn too small for either to matter is a line.
  void Join(const CDPOINT& v, const CDPOINT& a, const CDPOINT& b) {
    const double turn = std::atan2(num::Cross(a, b), num::Dot(a, b));
    const CDPOINT na = Normal(a) * r, nb = Normal(b) * r;
    if (std::fabs(turn) * r <= arcTol || std::fabs(turn) < kJoinMinAngle) {
      LineTo(v + nb);
      return;
    }
    if (turn > 0) {
      Detour detour;
      detour.s = static_cast<int>(cur->GetUpperBound());
      LineTo(v);
      LineTo(v + nb);
      detour.e = static_cast<int>(cur->GetUpperBound());
      AddDetour(std::move(detour));
      return;
    }
    if (opt.join == OffsetJoin::kRound) {
      ArcTo(v, turn, v + nb);
      return;
    }
    const double half = std::fabs(turn) / 2, limit = std::max(1.0, opt.miterLimit);
    if (opt.join == OffsetJoin::kMiter && std::cos(half) * limit >= 1)
      LineTo(v + Unit(na + nb) * (r / std::cos(half)));
    LineTo(v + nb);
  }

  // The cap at end p, whose outward tangent is t, from p + r * Normal(t) to p - r * Normal(t).
  void Cap(const CDPOINT& p, const CDPOINT& t) {
    const CDPOINT n = Normal(t) * r, e = t * r;
    if (opt.cap == OffsetCap::kRound) {
      ArcTo(p, -std::numbers::pi, p - n);
      return;
    }
    if (opt.cap == OffsetCap::kSquare) {
      LineTo(p + n + e);
      LineTo(p - n + e);
    } else {
      LineTo(p);
    }
    LineTo(p - n);
  }
};

LoopBuilder::LoopBuilder(double d, const OffsetOptions& options, CPolyPolyBezier& out,
                         std::size_t nodes)
    : impl_(std::make_unique<Impl>(d, options, out)) {
  impl_->maxPieces = kOffsetMaxPieces +
                     kOffsetPiecesPerNode *
                         static_cast<long long>(std::min<std::size_t>(nodes, std::size_t{1} << 40));
}
LoopBuilder::~LoopBuilder() = default;

void LoopBuilder::AddLeftSide(const CBPointArray& path) {
  const std::vector<Cubic> segs = Segments(path, true);
  if (segs.empty()) return;
  impl_->Side(segs, true);
  impl_->Finish();
}

void LoopBuilder::AddBothSides(const CBPointArray& path) {
  const std::vector<Cubic> segs = Segments(path, true);
  if (segs.empty()) return;
  impl_->Side(segs, true);
  impl_->Finish();
  impl_->Side(Reversed(segs), true);
  impl_->Finish();
}

void LoopBuilder::AddOpen(const CBPointArray& path) {
  const std::vector<Cubic> segs = Segments(path, false);
  if (segs.empty()) {
    if (path.GetSize() > 0 && impl_->opt.cap == OffsetCap::kRound) impl_->AddDisk(path[0].anchor);
    return;
  }
  const std::vector<Cubic> back = Reversed(segs);
  impl_->Side(segs, false);
  impl_->Cap(segs.back().p[3], Tangent(segs.back(), 1));
  impl_->Side(back, false);
  impl_->Cap(back.back().p[3], Tangent(back.back(), 1));
  impl_->Finish();
}

int LoopBuilder::Count() const {
  return static_cast<int>(impl_->out.GetSize());
}

}  // namespace plexa::offset
