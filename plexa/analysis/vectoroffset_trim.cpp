// The cutting of the little loops round detours (plexa/analysis/internal/offset_cubic.h).
#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>
#include <vector>

#include "plexa/analysis/internal/offset_cubic.h"

namespace plexa::offset {
namespace {

using PLEXA::CBPOINT;

// Chords per curve in the search for a crossing of two cubics, and Newton steps refining a
// crossing found.
constexpr int kTrimChords = 16;
constexpr int kCrossSteps = 8;
// Offset curves on either side of a detour searched for the crossing that cuts it, beyond the
// one beside it: kTrimWindow, more while they are shorter than kTrimReach radii in all (beside
// a stretch whose curvature nears 1/r the offset nearly stops, and where a stroke meets a
// bowl the crossing lies round the corner beyond), kTrimMost at most. The search
// tries at most (kTrimMost + 1)^2 pairs of curves, each after a test of their boxes; over a
// loop, the crossings sought beyond the two curves beside each detour stop after a floor plus
// a number per curve of the loop (a crowded path offset far gives many detours with many
// short offsets round them).
constexpr int kTrimWindow = 4;
constexpr int kTrimMost = 32;
constexpr double kTrimReach = 2;
constexpr long long kTrimTestsFloor = 4096;
constexpr long long kTrimTestsPerCurve = 16;
// Samples per curve of the little loop's area.
constexpr int kAreaSamples = 8;
// Most disks one kept disk may stand in for when thinning.
constexpr std::size_t kThinMost = 64;
// The union of disks: centres closer than this share of the radius count as one disk, free
// arcs shorter than this angle make the chaining ambiguous, and an arc's end meets the start
// of the next within kChainMatch of the radius while no other start lies within kChainApart.
constexpr double kSameCentre = 1e-9;
constexpr double kTinyArc = 1e-9;
constexpr double kChainMatch = 1e-9;
constexpr double kChainApart = 1e-6;

// Where straight cubics a and b (see Straight) cross: the crossing of their chords, at sa
// along a and sb along b.
bool CrossLines(const Cubic& a, const Cubic& b, double& sa, double& sb) {
  const CDPOINT r = a.p[3] - a.p[0], q = b.p[3] - b.p[0], w = b.p[0] - a.p[0];
  const double den = num::Cross(r, q);
  if (!(std::fabs(den) > 0)) return false;
  sa = num::Cross(w, q) / den;
  sb = num::Cross(w, r) / den;
  return sa >= 0 && sa <= 1 && sb >= 0 && sb <= 1;
}

// Where cubics a and b cross: the crossing of their chords (kTrimChords each) latest along a
// and then earliest along b, refined by Newton steps on a(s) = b(u). False when the chords do
// not cross or the refinement drifts off.
bool CrossCubics(const Cubic& a, const Cubic& b, double& sa, double& sb) {
  CDPOINT pa[kTrimChords + 1], pb[kTrimChords + 1];
  for (int k = 0; k <= kTrimChords; ++k) {
    pa[k] = EndPoint(a, double(k) / kTrimChords);
    pb[k] = EndPoint(b, double(k) / kTrimChords);
  }
  bool found = false;
  for (int i = kTrimChords - 1; i >= 0 && !found; --i)
    for (int j = 0; j < kTrimChords && !found; ++j) {
      const CDPOINT r = pa[i + 1] - pa[i], q = pb[j + 1] - pb[j], w = pb[j] - pa[i];
      const double den = num::Cross(r, q);
      if (!(std::fabs(den) > 0)) continue;
      const double x = num::Cross(w, q) / den, y = num::Cross(w, r) / den;
      if (x < 0 || x > 1 || y < 0 || y > 1) continue;
      sa = (i + x) / kTrimChords;
      sb = (j + y) / kTrimChords;
      found = true;
    }
  if (!found) return false;
  const double scale = a.HullLength() + b.HullLength();
  for (int it = 0; it < kCrossSteps; ++it) {
    const CDPOINT f = a.At(sa) - b.At(sb), da = a.D1(sa), db = b.D1(sb);
    // a'(sa) ds - b'(sb) du = -f, by Cramer's rule.
    const double det = -num::Cross(da, db);
    if (!(std::fabs(det) > scale * scale * 1e-18)) break;
    const double ds = num::Cross(f, db) / det, du = -num::Cross(da, f) / det;
    sa = std::clamp(sa + ds, 0.0, 1.0);
    sb = std::clamp(sb + du, 0.0, 1.0);
  }
  return num::Dist(a.At(sa), b.At(sb)) <= scale * 1e-9;
}

// Twice the signed area swept by c from the origin (y up: negative for an outline), from
// kAreaSamples chords.
double SweptArea(const Cubic& c) {
  double area = 0;
  CDPOINT prev = c.p[0];
  for (int k = 1; k <= kAreaSamples; ++k) {
    const CDPOINT q = EndPoint(c, double(k) / kAreaSamples);
    area += prev.x * q.y - q.x * prev.y;
    prev = q;
  }
  return area;
}

// Whether the control boxes of a and b overlap.
bool BoxesMeet(const Cubic& a, const Cubic& b) {
  const auto lo = [](const Cubic& c, double CDPOINT::*m) {
    return std::min({c.p[0].*m, c.p[1].*m, c.p[2].*m, c.p[3].*m});
  };
  const auto hi = [](const Cubic& c, double CDPOINT::*m) {
    return std::max({c.p[0].*m, c.p[1].*m, c.p[2].*m, c.p[3].*m});
  };
  return lo(a, &CDPOINT::x) <= hi(b, &CDPOINT::x) && lo(b, &CDPOINT::x) <= hi(a, &CDPOINT::x) &&
         lo(a, &CDPOINT::y) <= hi(b, &CDPOINT::y) && lo(b, &CDPOINT::y) <= hi(a, &CDPOINT::y);
}

}  // namespace

// Whether every control point of c lies on its chord, between its ends.
bool Straight(const Cubic& c) {
  const double chord = num::Dist(c.p[0], c.p[3]);
  const CDPOINT u = Unit(c.p[3] - c.p[0]);
  if (!(chord > 0)) return false;
  for (int k = 1; k <= 2; ++k) {
    const CDPOINT v = c.p[k] - c.p[0];
    const double along = num::Dot(u, v);
    if (std::fabs(num::Cross(u, v)) > chord * kStraight || along < 0 || along > chord) return false;
  }
  return true;
}

std::vector<char> TrimDetours(CBPointArray& loop, const std::vector<Detour>& detours, double r) {
  std::vector<char> cut(detours.size(), 0);
  const int n = static_cast<int>(loop.GetSize()) - 1;
  if (n < 4 || detours.empty()) return cut;
  std::vector<Cubic> seg(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i)
    seg[i] = Cubic{{loop[i].anchor, loop[i].out, loop[i + 1].in, loop[i + 1].anchor}};
  std::vector<char> alive(static_cast<std::size_t>(n), 1), offset(static_cast<std::size_t>(n), 1);
  const auto at = [n](int i) { return ((i % n) + n) % n; };
  for (const Detour& d : detours)
    for (int q = d.s; q < d.e; ++q) offset[at(q)] = 0;
  bool any = false;
  long long tests = kTrimTestsFloor + kTrimTestsPerCurve * static_cast<long long>(n);
  for (std::size_t k = 0; k < detours.size(); ++k) {
    const int s = detours[k].s, e = detours[k].e;
    bool ok = e - s + 3 < n;
    for (int q = s - 1; q <= e && ok; ++q) ok = alive[at(q)] != 0;
    if (!ok) continue;
    // The window: offset curves still in the loop on either side, up to the next detour.
    int wa = 0, wb = 0;
    double la = 0, lb = 0;
    const auto more = [r](int w, double l) {
      return w < kTrimMost && (w < kTrimWindow || l < kTrimReach * r);
    };
    while (more(wa, la) && e - s + 4 + wa + wb < n && alive[at(s - 2 - wa)] &&
           offset[at(s - 2 - wa)])
      la += seg[at(s - 2 - wa++)].HullLength();
    while (more(wb, lb) && e - s + 4 + wa + wb < n && alive[at(e + 1 + wb)] &&
           offset[at(e + 1 + wb)])
      lb += seg[at(e + 1 + wb++)].HullLength();
    // Whether curves q0..q1 - 1 lie in a box narrower than 2r both ways.
    const auto small = [&](int q0, int q1) {
      double x0 = 1e300, x1 = -1e300, y0 = 1e300, y1 = -1e300;
      for (int q = q0; q < q1; ++q)
        for (const CDPOINT& p : seg[at(q)].p) {
          x0 = std::min(x0, p.x), x1 = std::max(x1, p.x);
          y0 = std::min(y0, p.y), y1 = std::max(y1, p.y);
        }
      return x1 - x0 < 2 * r && y1 - y0 < 2 * r;
    };
    // Cuts at the crossing of curves s - 1 - a (before) and e + b (after) when the little loop
    // winds as an outline (cutting it takes one from a winding of at least two), or as a hole
    // in a box narrower than 2r (cutting it adds one inside, and every point there lies within
    // r of the path: the little loop runs along offsets, detours and the path itself, and a
    // point farther from them all would need a disk of radius r inside it).
    const auto tryCut = [&](int a, int b) {
      const int i = at(s - 1 - a), j = at(e + b);
      double si = 0, sj = 0;
      // Two straight offsets (the common case: corners of polygons) are cut as lines (their
      // parameters are along the chords).
      if (!BoxesMeet(seg[i], seg[j]) || (tests <= 0 && a + b > 0)) return false;
      --tests;
      const bool lines = Straight(seg[i]) && Straight(seg[j]);
      if (!(lines ? CrossLines(seg[i], seg[j], si, sj) : CrossCubics(seg[i], seg[j], si, sj)))
        return false;
      const auto line = [](const CDPOINT& p, const CDPOINT& q) { return Cubic{{p, p, q, q}}; };
      const CDPOINT x = lines ? num::Lerp(seg[i].p[0], seg[i].p[3], si) : seg[i].At(si);
      double area = SweptArea(lines ? line(x, seg[i].p[3]) : seg[i].Part(si, 1)) +
                    SweptArea(lines ? line(seg[j].p[0], x) : seg[j].Part(0, sj));
      for (int q = s - a; q < e + b; ++q) area += SweptArea(seg[at(q)]);
      if (!(area < 0) && !(area > 0 && small(s - a, e + b))) return false;
      seg[i] = lines ? line(seg[i].p[0], x) : seg[i].Part(0, si);
      seg[j] = lines ? line(x, seg[j].p[3]) : seg[j].Part(sj, 1);
      seg[i].p[3] = seg[j].p[0] = x;
      for (int q = s - a; q < e + b; ++q) alive[at(q)] = 0;
      return true;
    };
    // The pairs nearest first (by a + b).
    for (int w = 0; w <= wa + wb && !cut[k]; ++w)
      for (int a = std::max(0, w - wb); a <= std::min(w, wa) && !cut[k]; ++a)
        cut[k] = tryCut(a, w - a) ? 1 : 0;
    any = any || cut[k];
  }
  if (!any) return cut;
  CBPointArray out;
  for (int i = 0; i < n; ++i) {
    if (!alive[i]) continue;
    const Cubic& c = seg[i];
    if (out.GetSize() == 0) out.Add(CBPOINT(c.p[0], c.p[0], c.p[0]));
    out[static_cast<int>(out.GetUpperBound())].out = c.p[1];
    out.Add(CBPOINT(c.p[2], c.p[3], c.p[3]));
  }
  if (out.GetSize() < 3) return std::vector<char>(detours.size(), 0);
  const int last = static_cast<int>(out.GetUpperBound());
  out[last].out = out[0].out;
  out[0].in = out[last].in;
  loop = out;
  return cut;
}

// Why thinning loses at most `loss`: a point x of a dropped disk about c lies within r + h of
// the point c' of the chord from a to b nearest c (h = |c - c'|), and every point within r of
// the chord lies within hypot(r, |ab| / 2) - r of the disks about a and b.
std::vector<CDPOINT> ThinDisks(const std::vector<CDPOINT>& centres, double r, double loss) {
  const std::size_t m = centres.size();
  const auto covered = [&](std::size_t i, std::size_t j) {
    const CDPOINT a = centres[i], ab = centres[j] - a;
    const double len2 = num::Dot(ab, ab);
    const double g = std::hypot(r, std::sqrt(len2) / 2) - r;
    for (std::size_t q = i + 1; q < j; ++q) {
      const double t = len2 > 0 ? std::clamp(num::Dot(centres[q] - a, ab) / len2, 0.0, 1.0) : 0;
      if (!(num::Dist(centres[q], a + ab * t) + g <= loss)) return false;
    }
    return true;
  };
  std::vector<CDPOINT> kept;
  for (std::size_t i = 0; i < m;) {
    kept.push_back(centres[i]);
    std::size_t j = i + 1;
    for (std::size_t next = i + 2; next < m && next - i <= kThinMost && covered(i, next); ++next)
      j = next;
    i = j;
  }
  return kept;
}

// Why the chains are the union's boundary: a point of a circle lies on the boundary exactly
// when no other disk covers it, so the free arcs of every circle (its angles outside the
// intervals the other disks cover, each ending where another circle crosses it) make up the
// boundary. Where a free arc of circle i ends (read clockwise) on circle j, j's free arc
// starts: just past that point j leaves disk i and no third disk is there (else the point
// would be covered). So each end meets exactly one start, and the disks lie on the right of
// every arc: outlines clockwise, holes counter-clockwise.
bool DiskUnion(const std::vector<CDPOINT>& centres, double r,
               std::vector<std::vector<Arc>>& loops) {
  loops.clear();
  constexpr double kTurn = 2 * std::numbers::pi;
  if (!(r > 0) || !std::isfinite(r)) return false;
  std::vector<CDPOINT> c;
  for (const CDPOINT& p : centres) {
    if (!num::IsFinite(p)) return false;
    bool same = false;
    for (const CDPOINT& q : c) same = same || num::Dist(p, q) <= r * kSameCentre;
    if (!same) c.push_back(p);
  }
  if (c.size() > kUnionMost) return false;
  const auto at = [&](std::size_t i, double a) {
    return c[i] + CDPOINT(std::cos(a), std::sin(a)) * r;
  };
  std::vector<Arc> arcs;
  std::vector<std::pair<double, double>> cover;
  for (std::size_t i = 0; i < c.size(); ++i) {
    cover.clear();
    for (std::size_t j = 0; j < c.size(); ++j) {
      const double d = num::Dist(c[i], c[j]);
      if (j == i || !(d < 2 * r)) continue;
      const double half = std::acos(d / (2 * r));
      double lo = std::atan2(c[j].y - c[i].y, c[j].x - c[i].x) - half;
      lo = std::fmod(lo + 2 * kTurn, kTurn);
      const double hi = lo + 2 * half;
      if (hi > kTurn) {
        cover.emplace_back(lo, kTurn);
        cover.emplace_back(0.0, hi - kTurn);
      } else {
        cover.emplace_back(lo, hi);
      }
    }
    if (cover.empty()) {
      const CDPOINT p = at(i, 0);
      loops.push_back({Arc{c[i], p, p, -kTurn}});
      continue;
    }
    std::sort(cover.begin(), cover.end());
    std::vector<std::pair<double, double>> merged{cover.front()};
    for (const auto& [lo, hi] : cover) {
      if (lo <= merged.back().second) {
        merged.back().second = std::max(merged.back().second, hi);
      } else {
        merged.emplace_back(lo, hi);
      }
    }
    // Free angles between the covered ones (the last gap wraps round), read clockwise.
    for (std::size_t q = 0; q < merged.size(); ++q) {
      const double a = merged[q].second;
      const double b = q + 1 < merged.size() ? merged[q + 1].first : merged[0].first + kTurn;
      if (!(b > a)) continue;
      if (b - a < kTinyArc) return loops.clear(), false;
      arcs.push_back(Arc{c[i], at(i, b), at(i, a), -(b - a)});
    }
  }
  // Chains: the next arc starts where this one ends, and no other start lies near.
  const std::size_t m = arcs.size();
  std::vector<std::size_t> next(m, m), before(m, 0);
  for (std::size_t k = 0; k < m; ++k) {
    double best = 1e300, second = 1e300;
    for (std::size_t q = 0; q < m; ++q) {
      const double dq = num::Dist(arcs[k].to, arcs[q].from);
      if (dq < best) {
        second = best, best = dq, next[k] = q;
      } else {
        second = std::min(second, dq);
      }
    }
    if (!(best <= r * kChainMatch) || !(second > r * kChainApart) || next[k] == k)
      return loops.clear(), false;
    ++before[next[k]];
  }
  for (std::size_t k = 0; k < m; ++k)
    if (before[k] != 1) return loops.clear(), false;
  std::vector<char> used(m, 0);
  for (std::size_t k = 0; k < m; ++k) {
    std::vector<Arc> loop;
    for (std::size_t q = k; !used[q]; q = next[q]) {
      used[q] = 1;
      loop.push_back(arcs[q]);
    }
    if (!loop.empty()) loops.push_back(std::move(loop));
  }
  return true;
}

}  // namespace plexa::offset
