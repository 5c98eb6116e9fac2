// How the offset's loops lie against each other (plexa/analysis/internal/offset_loops.h): a
// grid over their coarsely flattened edges for crossings, and a winding count for nesting.
// Loops that cross nothing and nest as their orientations say need no union.
#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <vector>

#include "plexa/analysis/internal/box_pairs.h"
#include "plexa/analysis/internal/offset_loops.h"
#include "plexa/core/internal/numerics.h"

namespace plexa::offset {
namespace {

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

// Most chords of one curve in the flattening.
constexpr int kMaxChords = 256;
// Most flattened edges the layout takes on (more: over budget, before the sweep).
constexpr std::size_t kMaxEdges = std::size_t{1} << 21;
// Pairs of boxes the sweep may test (overlapping in x), per pair of the budget.
constexpr std::size_t kTestsPerPair = 4;
// Most loops whose nesting is worked out pairwise (beyond it the layout is not ok).
constexpr std::size_t kMaxNestedLoops = 4096;

struct Edge {
  CDPOINT a, b;
  double x0, x1, y0, y1;
  int loop, index;
};

// Squared distance from p to segment se.
double SquaredDistanceToSegment(const CDPOINT& p, const CDPOINT& s, const CDPOINT& e) {
  const CDPOINT v = e - s;
  const double l2 = num::Dot(v, v);
  const double t = l2 > 0 ? std::clamp(num::Dot(p - s, v) / l2, 0.0, 1.0) : 0.0;
  const CDPOINT d = p - (s + v * t);
  return num::Dot(d, d);
}
double DistanceToSegment(const CDPOINT& p, const CDPOINT& s, const CDPOINT& e) {
  return std::sqrt(SquaredDistanceToSegment(p, s, e));
}

// Whether segments ab and cd cross or come within m of each other.
bool SegmentsWithin(const CDPOINT& a, const CDPOINT& b, const CDPOINT& c, const CDPOINT& d,
                    double m) {
  const double d1 = num::Cross(a, b, c), d2 = num::Cross(a, b, d), d3 = num::Cross(c, d, a),
               d4 = num::Cross(c, d, b);
  if (((d1 > 0 && d2 < 0) || (d1 < 0 && d2 > 0)) && ((d3 > 0 && d4 < 0) || (d3 < 0 && d4 > 0)))
    return true;
  const double m2 = m * m;
  return SquaredDistanceToSegment(a, c, d) <= m2 || SquaredDistanceToSegment(b, c, d) <= m2 ||
         SquaredDistanceToSegment(c, a, b) <= m2 || SquaredDistanceToSegment(d, a, b) <= m2;
}

int Find(std::vector<int>& parent, int i) {
  while (parent[i] != i) i = parent[i] = parent[parent[i]];
  return i;
}

}  // namespace

Layout LayOut(const CPolyPolyBezier& loops, double tol, std::size_t floor, std::size_t perEdge) {
  Layout out;
  const int n = static_cast<int>(loops.GetSize());
  std::vector<std::vector<CDPOINT>> poly(static_cast<std::size_t>(n));
  std::vector<Edge> edges;
  bool full = false;
  for (int l = 0; l < n && !full; ++l) {
    const CBPointArray& p = loops[l];
    std::vector<CDPOINT>& q = poly[l];
    if (p.GetSize() > 0) q.push_back(p[0].anchor);
    for (int k = 0; k + 1 < p.GetSize() && !full; ++k) {
      // Past kMaxEdges in all the layout is over budget: stop before holding them.
      full = edges.size() + q.size() > kMaxEdges;
      const CDPOINT c[4] = {p[k].anchor, p[k].out, p[k + 1].in, p[k + 1].anchor};
      const double m =
          std::max(num::Length(c[0] - c[1] * 2 + c[2]), num::Length(c[1] - c[2] * 2 + c[3]));
      // A curve lies in the hull of its control points: handles within tol of the chord
      // (a straight segment however its handles sit on it) make the chord close enough.
      const double want =
          std::max(DistanceToSegment(c[1], c[0], c[3]), DistanceToSegment(c[2], c[0], c[3])) <= tol
              ? 1
              : std::ceil(std::sqrt(0.75 * m / tol));
      const int chords = want >= 1 ? static_cast<int>(std::min<double>(want, kMaxChords)) : 1;
      for (int i = 1; i <= chords; ++i) {
        const CDPOINT e =
            i == chords ? c[3] : num::BezierPoint(c[0], c[1], c[2], c[3], double(i) / chords);
        // Repeated points would make edges that touch their second neighbours.
        if (e.x != q.back().x || e.y != q.back().y) q.push_back(e);
      }
    }
    for (std::size_t i = 0; i + 1 < q.size(); ++i) {
      const CDPOINT &a = q[i], &b = q[i + 1];
      edges.push_back({a, b, std::min(a.x, b.x), std::max(a.x, b.x), std::min(a.y, b.y),
                       std::max(a.y, b.y), l, static_cast<int>(i)});
    }
  }
  const std::size_t maxPairs = floor + perEdge * edges.size();
  out.edges = edges.size();
  if (full || edges.size() > kMaxEdges) {
    out.overBudget = true;
    return out;
  }
  out.crossed.assign(static_cast<std::size_t>(n), 0);
  out.group.resize(static_cast<std::size_t>(n));
  std::iota(out.group.begin(), out.group.end(), 0);
  out.containers.assign(static_cast<std::size_t>(n), {});
  out.sign.assign(static_cast<std::size_t>(n), 1);
  // Crossings: edges whose boxes overlap within the margin, then their distance.
  const double margin = 2 * tol;
  std::vector<boxes::Box> grown(edges.size());
  for (std::size_t i = 0; i < edges.size(); ++i) {
    const Edge& e = edges[i];
    grown[i] = {e.x0 - tol, e.y0 - tol, e.x1 + tol, e.y1 + tol};
  }
  std::size_t pairs = 0;
  const bool done = boxes::ForEachOverlap(
      grown,
      [&](int i, int j) {
        if (++pairs > maxPairs) return false;
        const Edge& e = edges[static_cast<std::size_t>(i)];
        const Edge& f = edges[static_cast<std::size_t>(j)];
        if (e.loop == f.loop) {
          const int last = static_cast<int>(poly[e.loop].size()) - 2;
          const int gap = std::abs(e.index - f.index);
          if (gap <= 1 || gap == last) return true;
        }
        if (!SegmentsWithin(e.a, e.b, f.a, f.b, margin)) return true;
        ++out.close;
        out.crossed[e.loop] = out.crossed[f.loop] = 1;
        out.group[Find(out.group, e.loop)] = Find(out.group, f.loop);
        return true;
      },
      kTestsPerPair * maxPairs);
  if (!done) {
    out.overBudget = true;
    return out;
  }
  for (int l = 0; l < n; ++l) out.group[l] = Find(out.group, l);
  // Orientation, and nesting by the winding number of each other loop at a point of this one.
  if (static_cast<std::size_t>(n) > kMaxNestedLoops) return out;
  std::vector<std::array<double, 4>> box(static_cast<std::size_t>(n));
  for (int l = 0; l < n; ++l) {
    double area = 0;
    std::array<double, 4> b{1e300, -1e300, 1e300, -1e300};
    const auto& q = poly[l];
    for (std::size_t i = 0; i < q.size(); ++i) {
      const CDPOINT& a = q[i];
      const CDPOINT& c = q[(i + 1) % q.size()];
      area += a.x * c.y - c.x * a.y;
      b = {std::min(b[0], a.x), std::max(b[1], a.x), std::min(b[2], a.y), std::max(b[3], a.y)};
    }
    out.sign[l] = area > 0 ? 1 : -1;
    box[l] = b;
  }
  for (int l = 0; l < n; ++l) {
    if (poly[l].empty()) continue;
    const CDPOINT p = poly[l][0];
    for (int o = 0; o < n; ++o) {
      const auto& b = box[o];
      if (o == l || p.x < b[0] || p.x > b[1] || p.y < b[2] || p.y > b[3]) continue;
      const auto& q = poly[o];
      pairs += q.size();
      if (pairs > maxPairs) {
        out.overBudget = true;
        return out;
      }
      int w = 0;
      for (std::size_t i = 0; i + 1 < q.size(); ++i) {
        const CDPOINT &a = q[i], &c = q[i + 1];
        if (a.y <= p.y && c.y > p.y && num::Cross(a, c, p) > 0) ++w;
        if (c.y <= p.y && a.y > p.y && num::Cross(a, c, p) < 0) --w;
      }
      if (w != 0) out.containers[l].push_back(o);
    }
  }
  out.ok = true;
  return out;
}

}  // namespace plexa::offset
