// Outline offsets at round joins against Clipper 6.4's ClipperOffset (libpolyclipping, installed
// by scripts/bench-peers.sh) on the same outlines: a line of DejaVu glyphs (curves for plexa,
// the curves flattened for Clipper), a drawing of 10,000 vertices (250 random 40-gons) and a
// page of traced art (glyphs rendered to pixels and traced back with CFaithfulTrace). Each
// case prints the time ratio (plexa / Clipper, medians), the largest distance error of each
// result (|distance from the input - d| over samples of the result: plexa's curves, Clipper's
// polygon edges) and both node counts; plexa runs at its default accuracy (1e-3) and at
// Clipper's arc tolerance. The raster parallel offset's error is printed for the glyphs.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "bench/glyph_paths.h"
#include "bench/ratio.h"
#include "plexa/plexa.h"

#ifdef PLEXA_BENCH_CLIPPER
#include <polyclipping/clipper.hpp>
#endif

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

// Clipper's arc tolerance and the flattening of its input, in drawing units.
constexpr double kArcTolerance = 0.25;
// Clipper works on integers: coordinates are scaled by this much.
constexpr double kClipperScale = 1000.0;

struct Case {
  const char* name;
  CPolyPolyBezier set;
  double d = 0;
};

CBPointArray* Polygon(const std::vector<CDPOINT>& pts) {
  auto* p = new CBPointArray;
  for (const CDPOINT& q : pts) p->Add(CBPOINT(q, q, q));
  p->Add(CBPOINT(pts[0], pts[0], pts[0]));
  return p;
}

const Case& Glyphs() {
  static Case c = [] {
    Case k{"glyphs", {}, 40};
    LoadGlyphPaths(k.set, "Contour cut lines around lettering");
    return k;
  }();
  return c;
}

const Case& Drawing() {
  static Case c = [] {
    Case k{"10k-vertex drawing", {}, 15};
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> pos(0, 5000), rad(20, 200);
    for (int i = 0; i < 250; ++i) {
      const double cx = pos(rng), cy = pos(rng), r = rad(rng);
      std::vector<CDPOINT> pts;
      for (int j = 0; j < 40; ++j)
        pts.emplace_back(cx + r * std::cos(2 * M_PI * j / 40) * (j % 2 ? 1 : 0.8),
                         cy + r * std::sin(2 * M_PI * j / 40) * (j % 2 ? 1 : 0.8));
      k.set.Add(Polygon(pts));
    }
    return k;
  }();
  return c;
}

const Case& TracedArt() {
  static Case c = [] {
    Case k{"traced art", {}, 6};
    CPolyPolyBezier text;
    LoadGlyphPaths(text, "Print and cut");
    // To pixels: 2048 font units to about 90 pixels, three lines on a page.
    const double s = 0.045;
    const int w = 1400, h = 400;
    for (int line = 0; line < 3; ++line) {
      CPolyPolyBezier copy(text);
      for (INT_PTR i = 0; i < copy.GetSize(); ++i)
        for (CBPOINT& n : copy[static_cast<int>(i)])
          for (CDPOINT* q : {&n.in, &n.anchor, &n.out})
            *q = CDPOINT(q->x * s + 20 + 100 * line, q->y * s + 110 + 120 * line);
      k.set.AppendCurve(copy);
    }
    std::vector<std::uint8_t> mask;
    FillPolyPolyEvenOdd(k.set, w, h, mask);
    for (std::uint8_t& m : mask) m = m ? 0 : 255;
    CFaithfulTrace trace;
    trace.Trace(mask, w, h, w, k.set);
    return k;
  }();
  return c;
}

INT_PTR Nodes(const CPolyPolyBezier& s) {
  INT_PTR n = 0;
  for (INT_PTR i = 0; i < s.GetSize(); ++i) n += s[static_cast<int>(i)].GetSize() - 1;
  return n;
}

// Every path flattened by halving until the handles lie within tol of the chord.
void Flatten(const CDPOINT q[4], double tol, int depth, std::vector<CDPOINT>& out) {
  const CDPOINT d = q[3] - q[0];
  const double l = std::hypot(d.x, d.y);
  const auto off = [&](const CDPOINT& p) {
    return l > 0 ? std::fabs((p.x - q[0].x) * d.y - (p.y - q[0].y) * d.x) / l
                 : std::hypot(p.x - q[0].x, p.y - q[0].y);
  };
  if (depth >= 16 || std::max(off(q[1]), off(q[2])) <= tol) {
    out.push_back(q[3]);
    return;
  }
  const CDPOINT a = (q[0] + q[1]) * 0.5, b = (q[1] + q[2]) * 0.5, e = (q[2] + q[3]) * 0.5;
  const CDPOINT ab = (a + b) * 0.5, be = (b + e) * 0.5, m = (ab + be) * 0.5;
  const CDPOINT left[4] = {q[0], a, ab, m}, right[4] = {m, be, e, q[3]};
  Flatten(left, tol, depth + 1, out);
  Flatten(right, tol, depth + 1, out);
}
std::vector<std::vector<CDPOINT>> Polylines(const CPolyPolyBezier& s, double tol) {
  std::vector<std::vector<CDPOINT>> out;
  for (INT_PTR i = 0; i < s.GetSize(); ++i) {
    const CBPointArray& p = s[static_cast<int>(i)];
    if (p.GetSize() < 2) continue;
    std::vector<CDPOINT> poly{p[0].anchor};
    for (int k = 0; k + 1 < p.GetSize(); ++k) {
      const CDPOINT q[4] = {p[k].anchor, p[k].out, p[k + 1].in, p[k + 1].anchor};
      Flatten(q, tol, 0, poly);
    }
    out.push_back(std::move(poly));
  }
  return out;
}

// Distance to a set of polylines (every edge tried).
class DistanceField {
 public:
  explicit DistanceField(const std::vector<std::vector<CDPOINT>>& polys) {
    for (const auto& p : polys)
      for (std::size_t i = 0; i + 1 < p.size(); ++i) edges_.push_back({p[i], p[i + 1]});
  }
  double operator()(const CDPOINT& q) const {
    double best = 1e300;
    for (const auto& e : edges_) {
      const CDPOINT d = e.second - e.first;
      const double l2 = d.x * d.x + d.y * d.y;
      const double t =
          l2 > 0 ? std::clamp(((q.x - e.first.x) * d.x + (q.y - e.first.y) * d.y) / l2, 0.0, 1.0)
                 : 0;
      const CDPOINT f = e.first + d * t;
      best = std::min(best, (f.x - q.x) * (f.x - q.x) + (f.y - q.y) * (f.y - q.y));
    }
    return std::sqrt(best);
  }

 private:
  std::vector<std::pair<CDPOINT, CDPOINT>> edges_;
};

// Largest |distance from the input - d| over up to 1,500 samples spread over the result.
double MaxError(const Case& c, const std::vector<std::vector<CDPOINT>>& result) {
  const DistanceField field(Polylines(c.set, 1e-4));
  std::vector<CDPOINT> samples;
  for (const auto& p : result)
    for (std::size_t i = 0; i + 1 < p.size(); ++i) {
      samples.push_back(p[i]);
      samples.push_back((p[i] + p[i + 1]) * 0.5);
    }
  const std::size_t step = std::max<std::size_t>(1, samples.size() / 1500);
  double err = 0;
  for (std::size_t i = 0; i < samples.size(); i += step)
    err = std::max(err, std::fabs(field(samples[i]) - c.d));
  return err;
}

void RunPlexa(benchmark::State& state, const Case& c, double accuracy) {
  CPolyPolyBezier out;
  OffsetOptions o;
  o.accuracy = accuracy;
  for (auto _ : state) {
    OffsetPolyPolyBezier(c.set, c.d, out, o);
    benchmark::DoNotOptimize(out.GetSize());
  }
  state.counters["nodes"] = static_cast<double>(Nodes(out));
  state.counters["maxerr"] = MaxError(c, Polylines(out, accuracy * 0.1));
}

void BM_PlexaGlyphs(benchmark::State& s) {
  RunPlexa(s, Glyphs(), 1e-3);
}
void BM_PlexaGlyphsCoarse(benchmark::State& s) {
  RunPlexa(s, Glyphs(), kArcTolerance);
}
void BM_PlexaDrawing(benchmark::State& s) {
  RunPlexa(s, Drawing(), 1e-3);
}
void BM_PlexaDrawingCoarse(benchmark::State& s) {
  RunPlexa(s, Drawing(), kArcTolerance);
}
void BM_PlexaTraced(benchmark::State& s) {
  RunPlexa(s, TracedArt(), 1e-3);
}
void BM_PlexaTracedCoarse(benchmark::State& s) {
  RunPlexa(s, TracedArt(), kArcTolerance);
}
BENCHMARK(BM_PlexaGlyphs)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlexaGlyphsCoarse)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlexaDrawing)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlexaDrawingCoarse)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlexaTraced)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlexaTracedCoarse)->Unit(benchmark::kMillisecond);

// The raster parallel offset (the path-to-points form on every path, as the set form runs it).
void BM_RasterGlyphs(benchmark::State& state) {
  const Case& c = Glyphs();
  std::vector<std::vector<CDPOINT>> rings;
  for (auto _ : state) {
    rings.clear();
    for (INT_PTR i = 0; i < c.set.GetSize(); ++i) {
      CBPointArray path(c.set[static_cast<int>(i)]);
      CArray<CDPOINT> pts;
      ShrinkOutlineParallel(path, pts, c.d, false);
      rings.emplace_back(pts.GetData(), pts.GetData() + pts.GetSize());
    }
    benchmark::DoNotOptimize(rings.size());
  }
  // Each ring against its own path (drawn alone, a hole's path grows like an outline).
  std::size_t points = 0;
  double err = 0;
  for (INT_PTR i = 0; i < c.set.GetSize(); ++i) {
    CPolyPolyBezier one;
    one.Add(new CBPointArray(c.set[static_cast<int>(i)]));
    const DistanceField field(Polylines(one, 1e-3));
    const auto& r = rings[static_cast<std::size_t>(i)];
    points += r.size();
    for (std::size_t k = 0; k < r.size(); k += 7) err = std::max(err, std::fabs(field(r[k]) - c.d));
  }
  state.counters["points"] = static_cast<double>(points);
  state.counters["maxerr"] = err;
}
BENCHMARK(BM_RasterGlyphs)->Unit(benchmark::kMillisecond);

#ifdef PLEXA_BENCH_CLIPPER
void RunClipper(benchmark::State& state, const Case& c) {
  ClipperLib::Paths in;
  for (const auto& p : Polylines(c.set, kArcTolerance)) {
    ClipperLib::Path path;
    for (const CDPOINT& q : p)
      path.emplace_back(static_cast<ClipperLib::cInt>(std::llround(q.x * kClipperScale)),
                        static_cast<ClipperLib::cInt>(std::llround(q.y * kClipperScale)));
    in.push_back(std::move(path));
  }
  ClipperLib::Paths out;
  for (auto _ : state) {
    ClipperLib::ClipperOffset off;
    off.ArcTolerance = kArcTolerance * kClipperScale;
    off.AddPaths(in, ClipperLib::jtRound, ClipperLib::etClosedPolygon);
    off.Execute(out, c.d * kClipperScale);
    benchmark::DoNotOptimize(out.size());
  }
  std::vector<std::vector<CDPOINT>> result;
  double nodes = 0;
  for (const auto& p : out) {
    std::vector<CDPOINT> poly;
    for (const auto& q : p) poly.emplace_back(q.X / kClipperScale, q.Y / kClipperScale);
    if (!poly.empty()) poly.push_back(poly.front());
    nodes += static_cast<double>(p.size());
    result.push_back(std::move(poly));
  }
  state.counters["nodes"] = nodes;
  state.counters["maxerr"] = MaxError(c, result);
}
void BM_ClipperGlyphs(benchmark::State& s) {
  RunClipper(s, Glyphs());
}
void BM_ClipperDrawing(benchmark::State& s) {
  RunClipper(s, Drawing());
}
void BM_ClipperTraced(benchmark::State& s) {
  RunClipper(s, TracedArt());
}
BENCHMARK(BM_ClipperGlyphs)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ClipperDrawing)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ClipperTraced)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  for (const char* k : {"Glyphs", "Drawing", "Traced"}) {
    reporter.PrintRatio(std::string("BM_Plexa") + k, std::string("BM_Clipper") + k);
    reporter.PrintRatio(std::string("BM_Plexa") + k + "Coarse", std::string("BM_Clipper") + k);
  }
  reporter.PrintRatio("BM_RasterGlyphs", "BM_PlexaGlyphs");
  return 0;
}
