#include "io/hpgl_write.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "io/cut_order.h"
#include "io/flatten.h"

namespace plexa::io {
namespace {

constexpr double kUnitsPerStep = kUnitsPerMm / kHpglUnitsPerMm;  // drawing units a plotter unit
// Plotter coordinates are clamped to this (HPGL's usual signed 30-bit range).
constexpr double kMaxStep = 1 << 30;

PlotStep ToStep(const PLEXA::CDPOINT& p, const PLEXA::CDRECT& box) {
  const auto round = [](double v) {
    if (!std::isfinite(v)) return 0LL;
    return static_cast<long long>(std::llround(std::clamp(v, -kMaxStep, kMaxStep)));
  };
  return PlotStep{round((p.x - box.xmin) / kUnitsPerStep), round((box.ymax - p.y) / kUnitsPerStep)};
}

}  // namespace

std::string WriteHpgl(const Drawing& d, const WriteOptions& o) {
  const PLEXA::CDRECT box = PageBox(d);
  const int n = static_cast<int>(d.paths.GetSize());
  std::vector<Stroke> strokes(static_cast<std::size_t>(n));
  std::vector<PLEXA::CDPOINT> pts;
  for (int i = 0; i < n; ++i) {
    const CBPointArray* p = d.paths.GetAt(i);
    if (p == nullptr || p->GetSize() < 2) continue;
    FlattenPath(*p, o.tolerance, pts);
    Stroke& s = strokes[static_cast<std::size_t>(i)];
    for (const PLEXA::CDPOINT& q : pts) {
      const PlotStep t = ToStep(q, box);
      if (s.pts.empty() || s.pts.back().x != t.x || s.pts.back().y != t.y) s.pts.push_back(t);
    }
    s.closed = p->IsPolyBezierClosed();
    if (s.closed && s.pts.size() > 1 &&
        (s.pts.front().x != s.pts.back().x || s.pts.front().y != s.pts.back().y))
      s.pts.push_back(s.pts.front());
  }
  // Holes before the outline that holds them, nearest first.
  std::vector<int> depth, parent;
  NestPaths(d.paths, depth, parent);

  std::string out = "IN;SP1;";
  std::vector<PlotStep> seq;
  for (const CutStart& c : NearestCutOrder(strokes, parent)) {
    const auto& poly = strokes[static_cast<std::size_t>(c.stroke)].pts;
    seq.clear();
    if (strokes[static_cast<std::size_t>(c.stroke)].closed && poly.size() > 1) {
      // Start at c.at, go round, end where it started.
      for (std::size_t k = 0; k + 1 < poly.size(); ++k)
        seq.push_back(poly[(c.at + k) % (poly.size() - 1)]);
      seq.push_back(poly[c.at]);
    } else if (c.at == 0) {
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
    out += '\n';
  }
  out += "PU;SP0;\n";
  return out;
}

}  // namespace plexa::io
