// The cubic pieces of the vector offset's loops (plexa/analysis/internal/offset_loops.h) and
// the cutting of the little loops that offsets make round a sharp turn towards their side.
// Private: never installed.
#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include "plexa/core/internal/numerics.h"
#include "plexa/geom/polypoly.h"

namespace plexa::offset {

using PLEXA::CDPOINT;

// Relative size below which a stretch counts as straight (control points on the chord).
constexpr double kStraight = 1e-12;

struct Cubic {
  CDPOINT p[4];
  CDPOINT At(double t) const { return num::BezierPoint(p[0], p[1], p[2], p[3], t); }
  CDPOINT D1(double t) const { return num::BezierDerivative(p[0], p[1], p[2], p[3], t); }
  CDPOINT D2(double t) const {
    const double s = 1 - t;
    return CDPOINT(6 * (s * (p[2].x - 2 * p[1].x + p[0].x) + t * (p[3].x - 2 * p[2].x + p[1].x)),
                   6 * (s * (p[2].y - 2 * p[1].y + p[0].y) + t * (p[3].y - 2 * p[2].y + p[1].y)));
  }
  Cubic Reversed() const { return Cubic{{p[3], p[2], p[1], p[0]}}; }
  double HullLength() const {
    return num::Dist(p[0], p[1]) + num::Dist(p[1], p[2]) + num::Dist(p[2], p[3]);
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

inline CDPOINT Unit(const CDPOINT& v) {
  const double l = num::Length(v);
  return l > 0 && std::isfinite(l) ? v * (1 / l) : CDPOINT();
}

// The point at t, exactly the end point at 0 and 1, so that neighbouring curves share it.
inline CDPOINT EndPoint(const Cubic& c, double t) {
  return t <= 0 ? c.p[0] : t >= 1 ? c.p[3] : c.At(t);
}

// Whether every control point of c lies on its chord, between its ends.
bool Straight(const Cubic& c);

// A detour of a loop, from node s (where the offset before it ends) to node e (where the
// offset after it starts), through a corner or along a stretch of high curvature; the disks
// that cover that stretch unless the detour is cut.
struct Detour {
  int s = 0, e = 0;
  std::vector<CDPOINT> disks;
};

// Cuts, at each detour, the little loop that the offsets before and after it make: from their
// first crossing (the curves just beside the detour first, then further out on either side,
// nearest first) at which that little loop winds as an outline (it then lies where the
// offsets on both sides cover) or, smaller than 2r across, as a hole (it then lies within r
// of the path: where the curvature of a stretch hovers about 1/r, the halving leaves a fan of
// detours whose offsets cross that way), round the detour and back to it. On short curves (traced
// outlines) the offsets beside a tight turn often cross only a few curves away. Returns which
// detours were cut; the others stay (the union resolves them). r is the offset's radius.
std::vector<char> TrimDetours(CBPointArray& loop, const std::vector<Detour>& detours, double r);

// The disks of radius r about centres (in order along a curve), thinned: the first and last
// kept, and each one left out only where the disks kept on either side of it cover it but for
// at most `loss` (every point of it within loss of them).
std::vector<CDPOINT> ThinDisks(const std::vector<CDPOINT>& centres, double r, double loss);

// An arc of a circle about c from `from` to `to`, sweeping `sweep` radians (negative:
// clockwise, the way a disk loop winds).
struct Arc {
  CDPOINT c, from, to;
  double sweep = 0;
};

// The boundary of the union of the disks of radius r about centres (at most kUnionMost of
// them), as closed chains of clockwise arcs: outlines wind like a disk loop, holes the other
// way, so the chains wind exactly like the disks' union (once inside, never more). False,
// with loops empty, where the arcs do not chain unambiguously (three circles through one
// point, near tangencies): the caller then keeps the disks.
constexpr std::size_t kUnionMost = 256;
bool DiskUnion(const std::vector<CDPOINT>& centres, double r, std::vector<std::vector<Arc>>& loops);

}  // namespace plexa::offset
