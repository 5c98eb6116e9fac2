// Lone segments of the boolean's input (plexa/analysis/internal/lone_segments.h).
#include "plexa/analysis/internal/lone_segments.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "plexa/analysis/internal/box_pairs.h"
#include "plexa/core/internal/numerics.h"

namespace plexa::lone {
namespace {

using PLEXA::CDPOINT;

// Angular room (radians) two cones must keep between them, and most turning of a lone
// segment's control legs.
constexpr double kConeGap = 1e-9;
constexpr double kMaxTurn = std::numbers::pi / 2;

// The directions of vs (zero ones left out) as an interval [lo, hi] of angles about their mean
// direction, of angle `mid`; false when none is left or they spread a right angle or more
// either way.
bool Spread(std::span<const CDPOINT> vs, double& mid, double& lo, double& hi) {
  CDPOINT m(0, 0);
  int used = 0;
  for (const CDPOINT& v : vs) {
    const double l = num::Length(v);
    if (l > 0 && std::isfinite(l)) m = m + v * (1 / l), ++used;
  }
  if (used == 0 || !(num::Length(m) > 1e-9)) return false;
  mid = std::atan2(m.y, m.x);
  lo = 0, hi = 0;
  for (const CDPOINT& v : vs) {
    if (!(num::Length(v) > 0)) continue;
    const double a = std::atan2(num::Cross(m, v), num::Dot(m, v));
    if (!(std::fabs(a) < kMaxTurn)) return false;
    lo = std::min(lo, a), hi = std::max(hi, a);
  }
  return true;
}

// Whether the legs of s turn by less than kMaxTurn.
bool Gentle(const Segment& s) {
  const CDPOINT legs[3] = {s.q[1] - s.q[0], s.q[2] - s.q[1], s.q[3] - s.q[2]};
  double mid, lo, hi;
  return Spread(legs, mid, lo, hi) && hi - lo < kMaxTurn;
}

// Whether a, ending where b starts, leaves that point in cones that meet only there.
bool Apart(const Segment& a, const Segment& b) {
  const CDPOINT v = a.q[3];
  if (v.x != b.q[0].x || v.y != b.q[0].y) return false;
  const CDPOINT da[3] = {a.q[0] - v, a.q[1] - v, a.q[2] - v};
  const CDPOINT db[3] = {b.q[1] - v, b.q[2] - v, b.q[3] - v};
  double ma, la, ha, mb, lb, hb;
  if (!Spread(da, ma, la, ha) || !Spread(db, mb, lb, hb)) return false;
  // b's mean direction seen from a's, in (-pi, pi]; the intervals must not meet either way
  // round the circle.
  double d = std::remainder(mb - ma, 2 * std::numbers::pi);
  if (d < 0) {
    d = -d;
    std::swap(la, lb), std::swap(ha, hb);
  }
  return ha + kConeGap < d + lb && d + hb + kConeGap < 2 * std::numbers::pi + la;
}

}  // namespace

std::vector<char> LoneSegments(std::span<const Segment> segs, double margin) {
  const std::size_t n = segs.size();
  std::vector<char> crowded(n, 0);
  std::vector<boxes::Box> box(n);
  for (std::size_t i = 0; i < n; ++i) {
    const CDPOINT* q = segs[i].q;
    box[i] = {std::min({q[0].x, q[1].x, q[2].x, q[3].x}) - margin,
              std::min({q[0].y, q[1].y, q[2].y, q[3].y}) - margin,
              std::max({q[0].x, q[1].x, q[2].x, q[3].x}) + margin,
              std::max({q[0].y, q[1].y, q[2].y, q[3].y}) + margin};
    crowded[i] = Gentle(segs[i]) ? 0 : 1;
  }
  boxes::ForEachOverlap(box, [&](int i, int j) {
    if (crowded[i] && crowded[j]) return true;
    const Segment &a = segs[static_cast<std::size_t>(i)], &b = segs[static_cast<std::size_t>(j)];
    const bool ab = a.next == j, ba = b.next == i;
    if (!(ab || ba) || (ab && !Apart(a, b)) || (ba && !Apart(b, a))) crowded[i] = crowded[j] = 1;
    return true;
  });
  for (char& c : crowded) c = !c;
  return crowded;
}

}  // namespace plexa::lone
