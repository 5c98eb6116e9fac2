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

  std::string out = "IN;SP1;";
  std::vector<bool> done(static_cast<std::size_t>(n), false);
  Step knife{0, 0};
  for (int round = 0; round < n; ++round) {
    int best = -1;
    std::size_t bestAt = 0;
    double bestD = std::numeric_limits<double>::infinity();
    for (int i = 0; i < n; ++i) {
      const auto ui = static_cast<std::size_t>(i);
      if (done[ui] || polys[ui].empty() || waiting[ui] > 0) continue;
      const auto& poly = polys[ui];
      const auto consider = [&](std::size_t at) {
        const double dd = Dist2(knife, poly[at]);
        if (dd < bestD) {
          bestD = dd;
          best = i;
          bestAt = at;
        }
      };
      if (closed[ui] && poly.size() > 1) {
        for (std::size_t k = 0; k + 1 < poly.size(); ++k) consider(k);  // any vertex may start
      } else {
        consider(0);
        consider(poly.size() - 1);  // an open path may run backwards
      }
    }
    if (best < 0) break;
    const auto ub = static_cast<std::size_t>(best);
    done[ub] = true;
    if (parent[ub] >= 0) --waiting[static_cast<std::size_t>(parent[ub])];
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
