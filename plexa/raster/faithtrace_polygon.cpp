// Stage 2 of CFaithfulTrace: the straight pieces a pixel staircase stands for.
//
// An edge from boundary point i to point j is allowed when the line from i to j passes within
// a corridor of every boundary point between them (a square centred on the point: 7/8 pixel
// each way on long boundaries, half a pixel on short ones, see kReach) and the steps from i to
// j do not use all four directions (the piece does not fold back). The allowed ends of an edge
// from i are i + 1 .. lon(i); the polygon with the fewest edges is found by a shortest-path
// sweep over these ranges from the boundary's top-left corner, ties broken by the least sum of
// squared distances of the boundary points to the edges.
//
// lon(i) is found by narrowing the cone of directions, seen from point i, that pass through
// every square so far. Only the staircase's corners narrow it: the squares of points inside an
// axis-aligned run are crossed by any line that crosses the squares at both ends of the run
// (the line meets the run's strip in one interval). Within a run the first point that leaves
// the cone follows from the linear constraints directly, so lon(i) costs O(corners passed).
//
// The vertices are then moved within half a pixel (each axis) of their boundary point, to where
// the least-squares lines of the two neighbouring edges meet, or as near to it as the square
// allows: the edges end up along the lines the staircases stand for.
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "plexa/core/internal/numerics.h"
#include "plexa/raster/internal/faithtrace_stages.h"

namespace plexa::faith {

namespace {

using PLEXA::CDPOINT;

// Longest edge, in boundary steps. Bounds the cost on long boundaries; a longer straight
// stretch becomes several collinear edges, which the curve stage joins again.
constexpr int kMaxSpan = 1000;
// The work arrays hold distances along the boundary, of at most kMaxSpan + 1, in 16 bits.
static_assert(kMaxSpan < 0xFFFF);
// Staircase corners examined from one point: bounds the cost on long diagonal lines (same
// effect as kMaxSpan when reached).
constexpr int kMaxCornersWalked = 300;
// The cone from point i admits lines through it that pass within reach / kScale pixels
// (along each axis) of every later point. Point i itself may lie up to half a pixel off the
// line the staircase stands for, so a line through it may need to pass up to a pixel from
// the others: long boundaries are given kReach (7/8 pixel), which finds the long straight
// pieces. Short boundaries (dots, thin bits, at most kShortBoundary steps) keep the strict
// half pixel, kShortReach: there a loose corridor could cut off a third of the area.
constexpr std::int64_t kScale = 8;
constexpr std::int64_t kReach = 7;
constexpr std::int64_t kShortReach = 4;
constexpr std::size_t kShortBoundary = 32;
// A polygon enclosing less than kCollapsed of its boundary's pixels (a thin stroke whose two
// sides the loose corridor let meet) is fitted again within the strict one.
constexpr double kCollapsed = 0.65;
// Previous vertices weighed for each vertex in the shortest-path sweep (all with the fewest
// edges are weighed up to this many; beyond it the nearest are taken).
constexpr int kMaxCandidates = 96;

struct V {
  std::int64_t x, y;
};
std::int64_t Cross(V a, V b) {
  return a.x * b.y - a.y * b.x;
}
std::int64_t Dot(V a, V b) {
  return a.x * b.x + a.y * b.y;
}

// Sums over points k = i..j relative to point i, exact.
struct Window {
  std::int64_t m, x, y, xx, xy, yy;
};

Window WindowOf(const std::vector<Sums>& sums, const IPoint& o, std::size_t i, std::size_t j) {
  const std::uint64_t ox = static_cast<std::uint64_t>(std::int64_t{o.x});
  const std::uint64_t oy = static_cast<std::uint64_t>(std::int64_t{o.y});
  const std::uint64_t m = j - i + 1;
  const Sums& a = sums[i];
  const Sums& b = sums[j + 1];
  const std::uint64_t sx = b.x - a.x, sy = b.y - a.y;
  Window w;
  w.m = static_cast<std::int64_t>(m);
  w.x = static_cast<std::int64_t>(sx - m * ox);
  w.y = static_cast<std::int64_t>(sy - m * oy);
  w.xx = static_cast<std::int64_t>((b.xx - a.xx) - 2 * ox * sx + m * ox * ox);
  w.yy = static_cast<std::int64_t>((b.yy - a.yy) - 2 * oy * sy + m * oy * oy);
  w.xy = static_cast<std::int64_t>((b.xy - a.xy) - ox * sy - oy * sx + m * ox * oy);
  return w;
}

// f / g rounded down, for 0 <= f < 2^62 and 0 < g: by a floating division, corrected exactly
// (cheaper than a 64-bit integer division).
std::int64_t FloorDiv(std::int64_t f, std::int64_t g) {
  std::int64_t t = static_cast<std::int64_t>(static_cast<double>(f) / static_cast<double>(g));
  while (t > 0 && t * g > f) --t;
  while ((t + 1) * g <= f) ++t;
  return t;
}

int StepDir(const IPoint& a, const IPoint& b) {
  if (b.x > a.x) return 0;
  if (b.y > a.y) return 1;
  if (b.x < a.x) return 2;
  return 3;
}

// Least-squares line through a window: centroid (relative to the window's origin) and unit
// direction.
void FitLine(const Window& w, CDPOINT& centre, CDPOINT& dir, CDPOINT chord) {
  const double m = static_cast<double>(w.m);
  const double mx = w.x / m, my = w.y / m;
  const double a = w.xx / m - mx * mx, b = w.xy / m - mx * my, c = w.yy / m - my * my;
  centre = CDPOINT(mx, my);
  if (std::fabs(a) + std::fabs(b) + std::fabs(c) < 1e-12) {
    const double len = num::Length(chord);
    dir = len > 0 ? CDPOINT(chord.x / len, chord.y / len) : CDPOINT(1, 0);
    return;
  }
  // The direction at half the angle atan2(2b, a - c), by the half-angle formulas.
  const double r = num::Length(2 * b, a - c);
  if (!(r > 0)) {
    dir = CDPOINT(1, 0);
    return;
  }
  const double cos2 = (a - c) / r;
  const double x = std::sqrt(std::max(0.0, 0.5 * (1 + cos2)));
  const double y = std::copysign(std::sqrt(std::max(0.0, 0.5 * (1 - cos2))), b);
  dir = CDPOINT(x, y);
}

}  // namespace

namespace {

void FitPolygonWithin(const std::vector<IPoint>& input, std::int64_t reach, PolygonWork& w,
                      std::vector<CDPOINT>& out) {
  const std::size_t n = input.size();
  out.clear();
  if (n < 4) {
    for (const IPoint& q : input) out.emplace_back(q.x, q.y);
    return;
  }
  // Start at the top-left corner: a convex corner of every boundary.
  std::size_t first = 0;
  for (std::size_t k = 1; k < n; ++k)
    if (input[k].y < input[first].y ||
        (input[k].y == input[first].y && input[k].x < input[first].x))
      first = k;

  // At most half the boundary, so that every polygon has at least three vertices.
  const std::size_t span = std::max<std::size_t>(1, std::min<std::size_t>(kMaxSpan, (n - 1) / 2));

  // The boundary from the start point, unwrapped up to index len (< 2n) for the walks below:
  // points, step directions and the distance to the next corner after each index (to the first
  // c > k where the step direction changes, len when there is none before len), held to at most
  // kMaxSpan + 1: every walk below ends within span <= kMaxSpan of where it looks.
  const std::size_t len = n + span + 1;
  std::vector<IPoint>& up = w.points;
  up.resize(len + 1);
  for (std::size_t k = 0, src = first; k <= len; ++k) {
    up[k] = input[src];
    if (++src == n) src = 0;
  }
  std::vector<std::uint8_t>& dirs = w.dirs;
  dirs.resize(len);
  for (std::size_t k = 0; k < len; ++k)
    dirs[k] = static_cast<std::uint8_t>(StepDir(up[k], up[k + 1]));
  std::vector<std::uint16_t>& nextCorner = w.nextCorner;
  nextCorner.resize(len);
  for (std::size_t k = len, c = len; k-- > 0;) {
    nextCorner[k] = static_cast<std::uint16_t>(std::min<std::size_t>(c - k, kMaxSpan + 1));
    if (dirs[k] != dirs[k > 0 ? k - 1 : n - 1]) c = k;
  }

  // lon(i) - i, in 1 .. span.
  std::vector<std::uint16_t>& lon = w.lon;
  lon.resize(n);
  // Ranges must not shrink as i grows (a later start never reaches less far): lon(i) is held
  // to lon(i + 1), so the walks go backwards and stop there.
  for (std::size_t i = n; i-- > 0;) {
    const IPoint& pi = up[i];
    const std::size_t limit = i + 1 < n ? std::min(i + span, i + 1 + lon[i + 1]) : i + span;
    int used = 1 << dirs[i];
    bool coned = false;
    V lo{0, 0}, hi{0, 0};
    std::size_t k = i, result = limit;
    for (int walked = 0;; ++walked) {
      const std::size_t c = std::min(k + nextCorner[k], limit);
      const IPoint& pk = up[k];
      const V a{kScale * (pk.x - pi.x), kScale * (pk.y - pi.y)};
      const int d = dirs[k];
      const V u{d == 0 ? kScale : d == 2 ? -kScale : 0, d == 1 ? kScale : d == 3 ? -kScale : 0};
      std::int64_t tmax = static_cast<std::int64_t>(c - k);
      if (coned) {
        const V s{lo.x + hi.x, lo.y + hi.y};
        // Constraints f(t) = f0 + t f1 >= bound, for t = 1 .. tmax.
        const std::int64_t f0[3] = {Cross(lo, a), Cross(a, hi), Dot(s, a) - 1};
        const std::int64_t f1[3] = {Cross(lo, u), -Cross(hi, u), Dot(s, u)};
        for (int q = 0; q < 3; ++q) {
          if (f0[q] + f1[q] < 0) {
            tmax = 0;
            break;
          }
          if (f1[q] < 0 && f0[q] < tmax * -f1[q]) tmax = FloorDiv(f0[q], -f1[q]);
        }
      }
      if (tmax < static_cast<std::int64_t>(c - k)) {
        result = k + static_cast<std::size_t>(tmax);
        break;
      }
      k = c;
      if (k >= limit || walked >= kMaxCornersWalked) {
        result = k;
        break;
      }
      used |= 1 << dirs[k];
      if (used == 15) {
        result = k;
        break;
      }
      // Narrow the cone by the square around point k (a square that holds point i admits
      // every direction). Its extreme corners seen from point i follow from the side of the
      // square point i lies on; no side of the square passes through point i (the square's
      // sides sit at odd multiples of 1/8 pixel... off the integer grid).
      const IPoint& pc = up[k];
      const std::int64_t x0 = kScale * (pc.x - pi.x) - reach, x1 = x0 + 2 * reach;
      const std::int64_t y0 = kScale * (pc.y - pi.y) - reach, y1 = y0 + 2 * reach;
      V e1, e2;
      if (x0 > 0) {
        if (y0 > 0) {
          e1 = {x1, y0};
          e2 = {x0, y1};
        } else if (y1 < 0) {
          e1 = {x0, y0};
          e2 = {x1, y1};
        } else {
          e1 = {x0, y0};
          e2 = {x0, y1};
        }
      } else if (x1 < 0) {
        if (y0 > 0) {
          e1 = {x1, y1};
          e2 = {x0, y0};
        } else if (y1 < 0) {
          e1 = {x0, y1};
          e2 = {x1, y0};
        } else {
          e1 = {x1, y1};
          e2 = {x1, y0};
        }
      } else if (y0 > 0) {
        e1 = {x1, y0};
        e2 = {x0, y0};
      } else if (y1 < 0) {
        e1 = {x0, y1};
        e2 = {x1, y1};
      } else {
        continue;
      }
      // e2 lies counter-clockwise of e1 (in x-right, y-up terms) in every case above.
      const V cw = e1, ccw = e2;
      if (!coned) {
        lo = cw;
        hi = ccw;
        coned = true;
      } else {
        if (Cross(lo, cw) > 0) lo = cw;
        if (Cross(ccw, hi) > 0) hi = ccw;
        if (Cross(lo, hi) < 0) {
          result = k;
          break;
        }
      }
    }
    lon[i] = static_cast<std::uint16_t>(std::max(result, i + 1) - i);
  }

  // Prefix sums of the coordinates and their products over up[0 .. n], wrapping modulo 2^64:
  // every window's own sums, and the penalties below, are small integers, so the wrapped
  // arithmetic gives them exactly.
  std::vector<Sums>& sums = w.sums;
  sums.resize(n + 2);
  sums[0] = Sums{};
  for (std::size_t k = 0; k <= n; ++k) {
    const std::uint64_t x = static_cast<std::uint64_t>(std::int64_t{up[k].x});
    const std::uint64_t y = static_cast<std::uint64_t>(std::int64_t{up[k].y});
    const Sums& a = sums[k];
    sums[k + 1] = Sums{a.x + x, a.y + y, a.xx + x * x, a.xy + x * y, a.yy + y * y};
  }

  // Shortest path from point 0 to point n (= point 0 again).
  std::vector<int>& count = w.count;
  std::vector<double>& pen = w.pen;
  std::vector<std::uint16_t>& prev = w.prev;  // j minus the vertex before j, in 1 .. span
  count.assign(n + 1, 0);
  pen.assign(n + 1, 0);
  prev.assign(n + 1, 0);
  std::size_t lowest = 0;
  for (std::size_t j = 1; j <= n; ++j) {
    while (lowest < j && std::min(lowest + lon[lowest], n) < j) ++lowest;
    const int best = count[lowest];
    double bestPen = 0;
    std::size_t bestI = lowest;
    int weighed = 0;
    const IPoint& b = up[j];
    const Sums& sj = sums[j + 1];
    for (std::size_t i = lowest; i < j && count[i] == best && weighed < kMaxCandidates;
         ++i, ++weighed) {
      // The edge's own penalty is never negative: a candidate already behind needs no more.
      if (weighed > 0 && !(pen[i] < bestPen)) continue;
      // Sum over points k = i..j of (e x (p_k - p_i))^2, e = p_j - p_i: the squared
      // distances to the edge times |e|^2.
      const IPoint& a = up[i];
      const Sums& si = sums[i];
      const std::uint64_t ex = static_cast<std::uint64_t>(std::int64_t{b.x} - a.x);
      const std::uint64_t ey = static_cast<std::uint64_t>(std::int64_t{b.y} - a.y);
      const std::uint64_t ax = static_cast<std::uint64_t>(std::int64_t{a.x});
      const std::uint64_t ay = static_cast<std::uint64_t>(std::int64_t{a.y});
      const std::uint64_t m = j - i + 1;
      const std::uint64_t c = ex * ay - ey * ax;
      const std::uint64_t sx = sj.x - si.x, sy = sj.y - si.y;
      const std::uint64_t sq = ex * ex * (sj.yy - si.yy) - 2 * ex * ey * (sj.xy - si.xy) +
                               ey * ey * (sj.xx - si.xx) - 2 * c * (ex * sy - ey * sx) + m * c * c;
      const double len2 = static_cast<double>(static_cast<std::int64_t>(ex * ex + ey * ey));
      const double e = len2 > 0 ? static_cast<double>(static_cast<std::int64_t>(sq)) / len2 : 0;
      const double total = pen[i] + e;
      if (weighed == 0 || total < bestPen) {
        bestPen = total;
        bestI = i;
      }
    }
    count[j] = best + 1;
    pen[j] = bestPen;
    prev[j] = static_cast<std::uint16_t>(j - bestI);
  }
  std::vector<std::size_t>& idx = w.idx;
  idx.clear();
  for (std::size_t j = n; j > 0 && idx.size() <= n; j -= prev[j]) idx.push_back(j - prev[j]);
  std::reverse(idx.begin(), idx.end());  // vertex boundary indexes, idx[0] == 0
  const std::size_t m = idx.size();
  auto at = [&](std::size_t k) -> const IPoint& { return up[k]; };

  // Least-squares line of each edge (idx[e] .. idx[e + 1]), in absolute coordinates.
  std::vector<CDPOINT>& centre = w.centre;
  std::vector<CDPOINT>& dir = w.dir;
  centre.resize(m);
  dir.resize(m);
  for (std::size_t e = 0; e < m; ++e) {
    const std::size_t s = idx[e], t = e + 1 < m ? idx[e + 1] : n;
    const IPoint& a = at(s);
    const IPoint& b = at(t);
    CDPOINT c, d;
    FitLine(WindowOf(sums, a, s, t), c, d, CDPOINT(b.x - a.x, b.y - a.y));
    centre[e] = CDPOINT(c.x + a.x, c.y + a.y);
    dir[e] = d;
  }
  out.resize(m);
  for (std::size_t v = 0; v < m; ++v) {
    const std::size_t e1 = (v + m - 1) % m, e2 = v;
    const IPoint& o = at(idx[v]);
    // Work relative to the boundary point; the vertex stays in [-0.5, 0.5]^2.
    const CDPOINT n1(-dir[e1].y, dir[e1].x), n2(-dir[e2].y, dir[e2].x);
    const double c1 = n1.x * (centre[e1].x - o.x) + n1.y * (centre[e1].y - o.y);
    const double c2 = n2.x * (centre[e2].x - o.x) + n2.y * (centre[e2].y - o.y);
    auto q = [&](double x, double y) {
      const double d1 = n1.x * x + n1.y * y - c1, d2 = n2.x * x + n2.y * y - c2;
      return d1 * d1 + d2 * d2;
    };
    const double mxx = n1.x * n1.x + n2.x * n2.x, mxy = n1.x * n1.y + n2.x * n2.y,
                 myy = n1.y * n1.y + n2.y * n2.y;
    const double bx = n1.x * c1 + n2.x * c2, by = n1.y * c1 + n2.y * c2;
    const double det = mxx * myy - mxy * mxy;
    CDPOINT best(0, 0);
    double bestQ = q(0, 0);
    auto consider = [&](double x, double y) {
      x = std::clamp(x, -0.5, 0.5);
      y = std::clamp(y, -0.5, 0.5);
      const double val = q(x, y);
      if (val < bestQ - 1e-12) {
        bestQ = val;
        best = CDPOINT(x, y);
      }
    };
    bool inside = false;
    if (det > 1e-3) {
      const double x = (myy * bx - mxy * by) / det, y = (mxx * by - mxy * bx) / det;
      if (std::fabs(x) <= 0.5 && std::fabs(y) <= 0.5) {
        best = CDPOINT(x, y);
        inside = true;
      }
    } else {
      // Nearly parallel edges: the point of their common line nearest the boundary point.
      consider(c1 * n1.x, c1 * n1.y);
      consider(c2 * n2.x, c2 * n2.y);
    }
    if (!inside) {
      for (double side : {-0.5, 0.5}) {
        if (myy > 1e-12) consider(side, (by - mxy * side) / myy);
        if (mxx > 1e-12) consider((bx - mxy * side) / mxx, side);
        consider(side, -0.5);
        consider(side, 0.5);
      }
    }
    out[v] = CDPOINT(o.x + best.x, o.y + best.y);
  }
}

}  // namespace

void FitPolygon(const std::vector<IPoint>& input, std::int64_t area, PolygonWork& w,
                std::vector<CDPOINT>& out) {
  if (input.size() <= kShortBoundary) {
    FitPolygonWithin(input, kShortReach, w, out);
    return;
  }
  FitPolygonWithin(input, kReach, w, out);
  double twice = 0;  // twice the polygon's signed area
  for (std::size_t k = 0, m = out.size(); k < m; ++k) {
    const CDPOINT& a = out[k];
    const CDPOINT& b = out[k + 1 < m ? k + 1 : 0];
    twice += a.x * b.y - a.y * b.x;
  }
  if (std::fabs(twice) < 2 * kCollapsed * static_cast<double>(std::llabs(area)))
    FitPolygonWithin(input, kShortReach, w, out);
}

}  // namespace plexa::faith
