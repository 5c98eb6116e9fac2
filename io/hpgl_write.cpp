#include "io/hpgl_write.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "io/flatten.h"

namespace plexa::io {
namespace {

constexpr double kUnitsPerStep = kUnitsPerMm / kHpglUnitsPerMm;  // drawing units a plotter unit
// Plotter coordinates are clamped to this (HPGL's usual signed 30-bit range).
constexpr double kMaxStep = 1 << 30;

struct Step {
  long long x, y;
};

Step ToStep(const PLEXA::CDPOINT& p, const PLEXA::CDRECT& box) {
  const auto round = [](double v) {
    if (!std::isfinite(v)) return 0LL;
    return static_cast<long long>(std::llround(std::clamp(v, -kMaxStep, kMaxStep)));
  };
  return Step{round((p.x - box.xmin) / kUnitsPerStep), round((box.ymax - p.y) / kUnitsPerStep)};
}

double Dist2(const Step& a, const Step& b) {
  const double dx = static_cast<double>(a.x - b.x), dy = static_cast<double>(a.y - b.y);
  return dx * dx + dy * dy;
}

}  // namespace

std::string WriteHpgl(const Drawing& d, const WriteOptions& o) {
  const PLEXA::CDRECT box = PageBox(d);
  const int n = static_cast<int>(d.paths.GetSize());
  std::vector<std::vector<Step>> polys(static_cast<std::size_t>(n));
  std::vector<bool> closed(static_cast<std::size_t>(n), false);
  std::vector<PLEXA::CDPOINT> pts;
  for (int i = 0; i < n; ++i) {
    const CBPointArray* p = d.paths.GetAt(i);
    if (p == nullptr || p->GetSize() < 2) continue;
    FlattenPath(*p, o.tolerance, pts);
    auto& poly = polys[static_cast<std::size_t>(i)];
    for (const PLEXA::CDPOINT& q : pts) {
      const Step s = ToStep(q, box);
      if (poly.empty() || poly.back().x != s.x || poly.back().y != s.y) poly.push_back(s);
    }
    closed[static_cast<std::size_t>(i)] = p->IsPolyBezierClosed();
    if (closed[static_cast<std::size_t>(i)] && poly.size() > 1 &&
        (poly.front().x != poly.back().x || poly.front().y != poly.back().y))
      poly.push_back(poly.front());
  }

  // A path waits for every path whose innermost container it is.
  std::vector<int> depth, parent, waiting(static_cast<std::size_t>(n), 0);
  NestPaths(d.paths, depth, parent);
  for (int i = 0; i < n; ++i)
    if (parent[static_cast<std::size_t>(i)] >= 0 && !polys[static_cast<std::size_t>(i)].empty())
      ++waiting[static_cast<std::size_t>(parent[static_cast<std::size_t>(i)])];

  // Bounds of every stroke: the distance to them is a lower bound for any of its vertices.
  struct Box {
    long long x0, y0, x1, y1;
  };
  std::vector<Box> boxes(static_cast<std::size_t>(n));
  std::vector<int> ready;  // paths free to go next
  for (int i = 0; i < n; ++i) {
    const auto& poly = polys[static_cast<std::size_t>(i)];
    if (poly.empty()) continue;
    Box b{poly[0].x, poly[0].y, poly[0].x, poly[0].y};
    for (const Step& s : poly)
      b = Box{std::min(b.x0, s.x), std::min(b.y0, s.y), std::max(b.x1, s.x), std::max(b.y1, s.y)};
    boxes[static_cast<std::size_t>(i)] = b;
    if (waiting[static_cast<std::size_t>(i)] == 0) ready.push_back(i);
  }
  const auto boxDist2 = [&boxes](const Step& p, int i) {
    const Box& b = boxes[static_cast<std::size_t>(i)];
    const double dx = static_cast<double>(std::max({b.x0 - p.x, 0LL, p.x - b.x1}));
    const double dy = static_cast<double>(std::max({b.y0 - p.y, 0LL, p.y - b.y1}));
    return dx * dx + dy * dy;
  };

  std::string out = "IN;SP1;";
  Step knife{0, 0};
  // Each round takes one path off the ready list, so there are at most n rounds.
  for (int round = 0; round < n && !ready.empty(); ++round) {
    int best = -1;
    std::size_t bestAt = 0, bestSlot = 0;
    double bestD = std::numeric_limits<double>::infinity();
    const auto scan = [&](std::size_t slot) {
      const int i = ready[slot];
      const auto ui = static_cast<std::size_t>(i);
      const auto& poly = polys[ui];
      const auto consider = [&](std::size_t at) {
        const double dd = Dist2(knife, poly[at]);
        if (dd < bestD) {
          bestD = dd;
          best = i;
          bestAt = at;
          bestSlot = slot;
        }
      };
      if (closed[ui] && poly.size() > 1) {
        for (std::size_t k = 0; k + 1 < poly.size(); ++k) consider(k);  // any vertex may start
      } else {
        consider(0);
        consider(poly.size() - 1);  // an open path may run backwards
      }
    };
    // The path with the nearest bounds first, then every path whose bounds are nearer than
    // the best vertex so far.
    std::size_t nearest = 0;
    double nearestD = std::numeric_limits<double>::infinity();
    for (std::size_t slot = 0; slot < ready.size(); ++slot) {
      const double dd = boxDist2(knife, ready[slot]);
      if (dd < nearestD) {
        nearestD = dd;
        nearest = slot;
      }
    }
    scan(nearest);
    for (std::size_t slot = 0; slot < ready.size(); ++slot)
      if (slot != nearest && boxDist2(knife, ready[slot]) < bestD) scan(slot);
    if (best < 0) break;
    const auto ub = static_cast<std::size_t>(best);
    ready[bestSlot] = ready.back();
    ready.pop_back();
    if (parent[ub] >= 0 && --waiting[static_cast<std::size_t>(parent[ub])] == 0)
      ready.push_back(parent[ub]);
    std::vector<Step> seq;
    const auto& poly = polys[ub];
    if (closed[ub] && poly.size() > 1) {
      // Start at bestAt, go round, end where it started.
      for (std::size_t k = 0; k + 1 < poly.size(); ++k)
        seq.push_back(poly[(bestAt + k) % (poly.size() - 1)]);
      seq.push_back(poly[bestAt]);
    } else if (bestAt == 0) {
      seq = poly;
    } else {
      seq.assign(poly.rbegin(), poly.rend());
    }
    out += "PU" + std::to_string(seq[0].x) + "," + std::to_string(seq[0].y) + ";";
    if (seq.size() > 1) {
      out += "PD";
      for (std::size_t k = 1; k < seq.size(); ++k) {
        if (k > 1) out += ',';
        out += std::to_string(seq[k].x) + "," + std::to_string(seq[k].y);
      }
      out += ';';
    }
    knife = seq.back();
    out += '\n';
  }
  out += "PU;SP0;\n";
  return out;
}

}  // namespace plexa::io
