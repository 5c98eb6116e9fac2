// The boolean's flattening plan (plexa/analysis/internal/lone_segments.h).
#include "plexa/analysis/internal/lone_segments.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "plexa/analysis/internal/box_pairs.h"
#include "plexa/core/internal/numerics.h"

namespace plexa::lone {
namespace {

using PLEXA::CDPOINT;

// Room (the sine of an angle) two cones must keep between them.
constexpr double kConeGap = 1e-9;
// Halvings during which pieces are tested for company; deeper ones are halved until flat.
constexpr int kPlanDepth = 3;
// Pairs of overlapping boxes looked at in one search for company: a floor and a number per
// piece.
constexpr std::size_t kLonePairsFloor = std::size_t{1} << 16;
constexpr std::size_t kLonePairsPerPiece = 64;
// Pairs of boxes the sweep may test (overlapping in x), per pair of that budget.
constexpr std::size_t kLoneTestsPerPair = 4;
// The halving goes on while at least one piece in kLoneShare was found alone.
constexpr std::size_t kLoneShare = 4;

struct Piece {
  CDPOINT q[4];
  int seg;
  double t0, t1;
  int next;     // index of the following piece in the same list, -1 when it is not there
  bool frozen;  // straight, flat or deep enough: never halved
  bool gentle;  // its legs turn by less than a right angle
};

// The unit directions of vs (zero ones left out) when every two of them are less than a right
// angle apart (the cone they span is then narrower than a right angle): its two extreme rays,
// lo then hi counter-clockwise. False when none is left or two are a right angle apart or more.
bool Narrow(std::span<const CDPOINT> vs, CDPOINT& lo, CDPOINT& hi) {
  CDPOINT u[3];
  int n = 0;
  for (const CDPOINT& v : vs) {
    const double l = num::Length(v);
    if (l > 0 && std::isfinite(l) && n < 3) u[n++] = v * (1 / l);
  }
  if (n == 0) return false;
  lo = hi = u[0];
  double widest = 2;
  for (int i = 0; i < n; ++i)
    for (int j = i + 1; j < n; ++j) {
      const double d = num::Dot(u[i], u[j]);
      if (!(d > 0)) return false;
      if (d < widest) widest = d, lo = u[i], hi = u[j];
    }
  if (num::Cross(lo, hi) < 0) std::swap(lo, hi);
  return true;
}

// Whether the legs of q turn by less than a right angle: the tangent of the curve is a positive
// blend of them.
bool Gentle(const CDPOINT q[4]) {
  const CDPOINT legs[3] = {q[1] - q[0], q[2] - q[1], q[3] - q[2]};
  CDPOINT lo, hi;
  return Narrow(legs, lo, hi);
}

// Whether unit ray w lies in the cone lo..hi (narrower than a right angle), or within kConeGap
// of it.
bool InCone(const CDPOINT& w, const CDPOINT& lo, const CDPOINT& hi) {
  return num::Cross(lo, w) >= -kConeGap && num::Cross(w, hi) >= -kConeGap &&
         num::Dot(w, lo + hi) > 0;
}

// Whether a, ending where b starts, leaves that point in cones that meet only there: two
// narrow cones meet when one holds an extreme ray of the other.
bool Apart(const CDPOINT a[4], const CDPOINT b[4]) {
  const CDPOINT v = a[3];
  if (v.x != b[0].x || v.y != b[0].y) return false;
  const CDPOINT da[3] = {a[0] - v, a[1] - v, a[2] - v};
  const CDPOINT db[3] = {b[1] - v, b[2] - v, b[3] - v};
  CDPOINT la, ha, lb, hb;
  if (!Narrow(da, la, ha) || !Narrow(db, lb, hb)) return false;
  return !InCone(lb, la, ha) && !InCone(hb, la, ha) && !InCone(la, lb, hb) && !InCone(ha, lb, hb);
}

// Flat enough for the boolean: both handles within tol / 0.75 of the chord's thirds.
bool Flat(const CDPOINT q[4], double tol) {
  const CDPOINT l1 = num::Lerp(q[0], q[3], 1.0 / 3), l2 = num::Lerp(q[0], q[3], 2.0 / 3);
  return !(std::max(num::Dist(q[1], l1), num::Dist(q[2], l2)) > tol / 0.75);
}

// Whether the hulls of the control points of a and b stay more than margin apart: along the
// normal of some line through two control points of either, the two sets of points keep a gap
// of more than margin (the edges of both hulls are among those lines).
bool HullsApart(const CDPOINT a[4], const CDPOINT b[4], double margin) {
  const auto separates = [margin](const CDPOINT p[4], const CDPOINT q[4]) {
    for (int i = 0; i < 4; ++i)
      for (int j = i + 1; j < 4; ++j) {
        const CDPOINT n(p[i].y - p[j].y, p[j].x - p[i].x);
        const double len = num::Length(n);
        if (!(len > 0)) continue;
        const double base = num::Dot(n, p[i]);
        double lo = HUGE_VAL, hi = -HUGE_VAL;
        for (int k = 0; k < 4; ++k) {
          const double d = num::Dot(n, p[k]) - base;
          lo = std::min(lo, d), hi = std::max(hi, d);
        }
        double qlo = HUGE_VAL, qhi = -HUGE_VAL;
        for (int k = 0; k < 4; ++k) {
          const double d = num::Dot(n, q[k]) - base;
          qlo = std::min(qlo, d), qhi = std::max(qhi, d);
        }
        const double gap = margin * len;
        if (qlo > hi + gap || qhi < lo - gap) return true;
      }
    return false;
  };
  return separates(a, b) || separates(b, a);
}

// Which pieces are lone (see the header).
std::vector<char> Lone(const std::vector<Piece>& ps, double margin) {
  const std::size_t n = ps.size();
  std::vector<char> crowded(n, 0);
  std::vector<boxes::Box> box(n);
  for (std::size_t i = 0; i < n; ++i) {
    const CDPOINT* q = ps[i].q;
    box[i] = {std::min({q[0].x, q[1].x, q[2].x, q[3].x}) - margin,
              std::min({q[0].y, q[1].y, q[2].y, q[3].y}) - margin,
              std::max({q[0].x, q[1].x, q[2].x, q[3].x}) + margin,
              std::max({q[0].y, q[1].y, q[2].y, q[3].y}) + margin};
    crowded[i] = ps[i].gentle ? 0 : 1;
  }
  // Crowded input (every box over every other) would make the pairs quadratic: past the
  // budget every piece counts as crowded, which only costs finer flattening.
  std::size_t budget = kLonePairsFloor + kLonePairsPerPiece * n;
  const bool done = boxes::ForEachOverlap(
      box,
      [&](int i, int j) {
        if (budget-- == 0) return false;
        const Piece &a = ps[static_cast<std::size_t>(i)], &b = ps[static_cast<std::size_t>(j)];
        // Frozen pieces become the same chord either way, and a piece halved later meets only
        // what it meets now: two frozen ones need not look at each other.
        if ((crowded[i] && crowded[j]) || (a.frozen && b.frozen)) return true;
        const bool ab = a.next == j, ba = b.next == i;
        if (ab || ba ? (ab && !Apart(a.q, b.q)) || (ba && !Apart(b.q, a.q))
                     : !HullsApart(a.q, b.q, margin))
          crowded[i] = crowded[j] = 1;
        return true;
      },
      kLoneTestsPerPair * budget);
  if (!done) return std::vector<char>(n, 0);
  for (char& c : crowded) c = !c;
  return crowded;
}

// The halves of p (de Casteljau at the middle of its parameters), unlinked.
void Halve(const Piece& p, double tol, Piece& l, Piece& r) {
  const CDPOINT* q = p.q;
  const CDPOINT a = num::Lerp(q[0], q[1], 0.5), b = num::Lerp(q[1], q[2], 0.5),
                c = num::Lerp(q[2], q[3], 0.5);
  const CDPOINT ab = num::Lerp(a, b, 0.5), bc = num::Lerp(b, c, 0.5);
  const CDPOINT m = num::Lerp(ab, bc, 0.5);
  const double tm = 0.5 * (p.t0 + p.t1);
  l = {{q[0], a, ab, m}, p.seg, p.t0, tm, -1, false, false};
  r = {{m, bc, c, q[3]}, p.seg, tm, p.t1, -1, false, false};
  for (Piece* h : {&l, &r}) h->frozen = Flat(h->q, tol);
}

// The chords of p halved until flat within tol or depth reaches maxDepth; false (stopping)
// when out would hold more than most.
bool Flatten(const Piece& p, double tol, int depth, int maxDepth, std::size_t most,
             std::vector<Chord>& out) {
  if (p.frozen || depth >= maxDepth) {
    if (out.size() >= most) return false;
    out.push_back({p.seg, p.t0, p.t1, p.q[0], p.q[3]});
    return true;
  }
  Piece l, r;
  Halve(p, tol, l, r);
  return Flatten(l, tol, depth + 1, maxDepth, most, out) &&
         Flatten(r, tol, depth + 1, maxDepth, most, out);
}

}  // namespace

bool PlanChords(std::span<const Segment> segs, double tol, double margin, int maxDepth,
                std::size_t most, std::vector<Chord>& chords) {
  chords.clear();
  std::vector<Piece> ps, next;
  ps.reserve(segs.size());
  for (std::size_t i = 0; i < segs.size(); ++i) {
    const Segment& s = segs[i];
    ps.push_back({{s.q[0], s.q[1], s.q[2], s.q[3]},
                  static_cast<int>(i),
                  0,
                  1,
                  s.next,
                  s.straight || Flat(s.q, tol),
                  Gentle(s.q)});
  }
  const auto emit = [&](const Piece& p) { chords.push_back({p.seg, p.t0, p.t1, p.q[0], p.q[3]}); };
  int depth = 0;
  for (; !ps.empty() && depth < kPlanDepth; ++depth) {
    const std::vector<char> lone = Lone(ps, margin);
    // Each piece that is not lone goes on: as it is when frozen, else as its two halves.
    std::vector<int> first(ps.size(), -1), count(ps.size(), 0);
    next.clear();
    bool halved = false;
    std::size_t alone = 0;
    for (std::size_t i = 0; i < ps.size(); ++i) {
      const Piece& p = ps[i];
      if (lone[i]) {
        emit(p);
        ++alone;
        continue;
      }
      first[i] = static_cast<int>(next.size());
      if (p.frozen || depth >= maxDepth) {
        next.push_back(p);
        next.back().frozen = true;
        count[i] = 1;
        continue;
      }
      halved = true;
      count[i] = 2;
      Piece l, r;
      Halve(p, tol, l, r);
      l.gentle = Gentle(l.q), r.gentle = Gentle(r.q);
      next.push_back(l);
      next.push_back(r);
    }
    // Links: a left half leads to its right half, a piece's last part to the first part of
    // what followed the piece (none when that was lone).
    for (std::size_t i = 0; i < ps.size(); ++i) {
      if (count[i] == 0) continue;
      const int last = first[i] + count[i] - 1;
      if (count[i] == 2) next[static_cast<std::size_t>(first[i])].next = last;
      const int after = ps[i].next;
      next[static_cast<std::size_t>(last)].next =
          after >= 0 ? first[static_cast<std::size_t>(after)] : -1;
    }
    if (chords.size() > most) return false;
    const std::size_t tested = ps.size();
    ps.swap(next);
    // Where most pieces have company, halving them once more finds little more alone.
    if (!halved || alone * kLoneShare < tested) break;
  }
  // Deeper down the company is too close to gain from looking for it.
  for (const Piece& p : ps)
    if (!Flatten(p, tol, depth, maxDepth, most, chords)) return false;
  // In segment order (counting), then along each segment (insertion: a few each).
  std::vector<std::size_t> start(segs.size() + 1, 0);
  for (const Chord& c : chords) ++start[static_cast<std::size_t>(c.seg) + 1];
  for (std::size_t i = 0; i < segs.size(); ++i) start[i + 1] += start[i];
  std::vector<Chord> sorted(chords.size());
  for (const Chord& c : chords) sorted[start[static_cast<std::size_t>(c.seg)]++] = c;
  for (std::size_t i = 1; i < sorted.size(); ++i) {
    const Chord c = sorted[i];
    std::size_t j = i;
    for (; j > 0 && sorted[j - 1].seg == c.seg && sorted[j - 1].t0 > c.t0; --j)
      sorted[j] = sorted[j - 1];
    sorted[j] = c;
  }
  chords.swap(sorted);
  return true;
}

}  // namespace plexa::lone
