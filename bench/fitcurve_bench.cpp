// The curve fitter on pixel staircase chains of 1,000, 10,000 and 100,000 points, the way
// the tracers hand them over: a closed outline (a rasterised wavy blob, first point twice at
// the end, tolerance 5 as the shape tracer uses) and an open line (a rasterised sine wave,
// tolerance 1). Every chain is checked (exact ends, points within the tolerance, a sample of
// them) before it is timed. Reports points per second and segments per chain; after the run
// prints the median time per point at each size and its growth from 1,000 to 100,000 points
// (1.0 would be exactly linear). Run with --benchmark_repetitions=5 for medians.
//
// With FreeType present it also fits the pixel outlines of DejaVu Sans glyphs rasterised at
// several sizes (the boundary followed pixel corner by pixel corner, as a tracer hands it
// over) and prints segments per outline and the maximum and mean deviation of the points
// from the fitted curves, then times the whole glyph set at each size. With potrace
// (libpotrace-dev) present as well, its segment count on the same bitmaps is printed beside
// (in cubic-equivalents: a curve is one cubic, a corner two straight lines), with the same
// deviation measure, and its whole trace of the glyph set is timed for reference (that time
// includes potrace's own boundary decomposition and polygon optimisation).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <numbers>
#include <string>
#include <vector>

#include "plexa/plexa.h"

#if PLEXA_BENCH_FREETYPE
#include <ft2build.h>
#include FT_FREETYPE_H
#endif
#if PLEXA_BENCH_POTRACE
#include <potracelib.h>
#endif

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

constexpr double kPi = std::numbers::pi;

// Samples the curve finely, rounds to pixel centres and keeps each pixel once: an
// 8-connected staircase.
template <typename F>
std::vector<CDPOINT> Staircase(F curve, int samples) {
  std::vector<CDPOINT> pts;
  for (int i = 0; i < samples; ++i) {
    const CDPOINT q = curve(static_cast<double>(i) / samples);
    const CDPOINT r(std::floor(q.x + 0.5), std::floor(q.y + 0.5));
    if (pts.empty() || !(pts.back() == r)) pts.push_back(r);
  }
  return pts;
}

// A closed wavy blob whose pixel outline has about n points.
std::vector<CDPOINT> Blob(int n) {
  const double r = n / (2 * kPi * 1.2);
  std::vector<CDPOINT> pts = Staircase(
      [r](double u) {
        const double a = 2 * kPi * u, k = r * (1 + 0.2 * std::sin(5 * a));
        return CDPOINT(k * std::cos(a), k * std::sin(a));
      },
      8 * n);
  pts.push_back(pts.front());
  pts.push_back(pts.front());
  return pts;
}

// An open sine wave of about n pixels, 12 periods, amplitude 40.
std::vector<CDPOINT> Wave(int n) {
  const double len = n / 1.15;
  return Staircase([len](double u) { return CDPOINT(u * len, 40 * std::sin(u * 24 * kPi)); },
                   8 * n);
}

CDPOINT SegmentPoint(const CBPointArray& path, int i, double t) {
  const CBPOINT& a = path.GetData()[i];
  const CBPOINT& b = path.GetData()[i + 1];
  const double s = 1 - t;
  return a.anchor * (s * s * s) + a.out * (3 * s * s * t) + b.in * (3 * s * t * t) +
         b.anchor * (t * t * t);
}

// Distance from p to segment i: the best of 64 samples, refined by golden-section search.
double SegmentDistance(const CBPointArray& path, int i, const CDPOINT& p) {
  const auto dist = [&](double t) {
    const CDPOINT q = SegmentPoint(path, i, t);
    return std::hypot(q.x - p.x, q.y - p.y);
  };
  int best = 0;
  for (int k = 1; k <= 64; ++k)
    if (dist(k / 64.0) < dist(best / 64.0)) best = k;
  double lo = std::max(0.0, (best - 1) / 64.0), hi = std::min(1.0, (best + 1) / 64.0);
  const double g = (std::sqrt(5.0) - 1) / 2;
  for (int it = 0; it < 40; ++it) {
    const double m1 = hi - g * (hi - lo), m2 = lo + g * (hi - lo);
    if (dist(m1) < dist(m2))
      hi = m2;
    else
      lo = m1;
  }
  return std::min(dist(best / 64.0), dist((lo + hi) / 2));
}

// True when the ends are exact and every 97th point is within tol of the path.
bool Valid(const std::vector<CDPOINT>& pts, const CBPointArray& path, double tol) {
  if (path.GetSize() < 2 || !(path[0].anchor == pts.front()) ||
      !(path[path.GetSize() - 1].anchor == pts.back()))
    return false;
  for (std::size_t i = 0; i < pts.size(); i += 97) {
    double best = HUGE_VAL;
    for (int s = 0; s + 1 < path.GetSize(); ++s)
      best = std::min(best, SegmentDistance(path, s, pts[i]));
    if (best > tol * (1 + 1e-9)) return false;
  }
  return true;
}

void Run(benchmark::State& state, const std::vector<CDPOINT>& pts, double tol) {
  CBPointArray path;
  FitCurve(pts.data(), static_cast<int>(pts.size()), &path, tol);
  if (!Valid(pts, path, tol)) {
    state.SkipWithError("fit out of tolerance");
    return;
  }
  for (auto _ : state) {
    FitCurve(pts.data(), static_cast<int>(pts.size()), &path, tol);
    benchmark::DoNotOptimize(path.GetData());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(pts.size()));
  state.counters["points"] = static_cast<double>(pts.size());
  state.counters["segments"] = static_cast<double>(path.GetSize() - 1);
}

void BM_FitClosedBlob(benchmark::State& state) {
  const std::vector<CDPOINT> pts = Blob(static_cast<int>(state.range(0)));
  Run(state, pts, 5.0);
}
BENCHMARK(BM_FitClosedBlob)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);

void BM_FitOpenWave(benchmark::State& state) {
  const std::vector<CDPOINT> pts = Wave(static_cast<int>(state.range(0)));
  Run(state, pts, 1.0);
}
BENCHMARK(BM_FitOpenWave)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);

#if PLEXA_BENCH_FREETYPE
constexpr const char* kFont = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
constexpr const char* kGlyphs = "AaBbCcDeGgHKMNOoQRSsWwXyz&@%$2345689";

// The outlines of a two-level image (inside = true), each a closed chain of pixel corners
// one unit apart, inside on the right going forward on a y-down grid; closed the way the
// shape tracer closes its polygons (first point twice at the end). At a corner where two
// inside pixels touch diagonally the chain turns right, keeping them apart.
std::vector<std::vector<CDPOINT>> PixelOutlines(const std::vector<unsigned char>& img, int w,
                                                int h) {
  const auto in = [&](int x, int y) {
    return x >= 0 && y >= 0 && x < w && y < h && img[y * w + x];
  };
  // Directed unit edges keyed by their start corner; direction 0..3 = +x, +y, -x, -y.
  const int cw = w + 1;
  std::vector<unsigned char> out(static_cast<std::size_t>(cw) * (h + 1), 0);  // bit per direction
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      if (!in(x, y)) continue;
      if (!in(x, y - 1)) out[y * cw + x] |= 1;            // top: (x,y) -> (x+1,y)
      if (!in(x + 1, y)) out[y * cw + x + 1] |= 2;        // right: (x+1,y) -> (x+1,y+1)
      if (!in(x, y + 1)) out[(y + 1) * cw + x + 1] |= 4;  // bottom: (x+1,y+1) -> (x,y+1)
      if (!in(x - 1, y)) out[(y + 1) * cw + x] |= 8;      // left: (x,y+1) -> (x,y)
    }
  const int dx[4] = {1, 0, -1, 0}, dy[4] = {0, 1, 0, -1};
  std::vector<std::vector<CDPOINT>> loops;
  for (int sy = 0; sy <= h; ++sy)
    for (int sx = 0; sx <= w; ++sx) {
      while (out[sy * cw + sx]) {
        int x = sx, y = sy, dir = 0;
        while (!(out[sy * cw + sx] >> dir & 1)) ++dir;
        std::vector<CDPOINT> loop;
        do {
          loop.push_back(CDPOINT(x, y));
          out[y * cw + x] &= static_cast<unsigned char>(~(1 << dir));
          x += dx[dir];
          y += dy[dir];
          const unsigned char here = out[y * cw + x];
          for (int turn : {1, 0, 3}) {  // right, straight, left
            if (here >> ((dir + turn) & 3) & 1) {
              dir = (dir + turn) & 3;
              break;
            }
          }
        } while (!(x == sx && y == sy) && out[y * cw + x]);
        loop.push_back(loop.front());
        loop.push_back(loop.front());
        loops.push_back(std::move(loop));
      }
    }
  return loops;
}

// One glyph rasterised at half coverage (inside = 1), rows top-down.
struct Glyph {
  int w = 0;
  int h = 0;
  std::vector<unsigned char> img;
};

// Every glyph of kGlyphs at `px` pixels a em; empty when the font is missing.
std::vector<Glyph> RenderGlyphs(int px) {
  std::vector<Glyph> glyphs;
  FT_Library lib;
  if (FT_Init_FreeType(&lib)) return glyphs;
  FT_Face face;
  if (FT_New_Face(lib, kFont, 0, &face) == 0) {
    FT_Set_Pixel_Sizes(face, 0, static_cast<FT_UInt>(px));
    for (const char* c = kGlyphs; *c; ++c) {
      if (FT_Load_Char(face, static_cast<FT_ULong>(*c), FT_LOAD_RENDER | FT_LOAD_NO_HINTING))
        continue;
      const FT_Bitmap& bm = face->glyph->bitmap;
      Glyph g;
      g.w = static_cast<int>(bm.width);
      g.h = static_cast<int>(bm.rows);
      g.img.resize(static_cast<std::size_t>(g.w) * g.h);
      for (int y = 0; y < g.h; ++y)
        for (int x = 0; x < g.w; ++x) g.img[y * g.w + x] = bm.buffer[y * bm.pitch + x] >= 128;
      glyphs.push_back(std::move(g));
    }
    FT_Done_Face(face);
  }
  FT_Done_FreeType(lib);
  return glyphs;
}

// The pixel outlines of one glyph, specks of 8 corners or fewer left out.
std::vector<std::vector<CDPOINT>> Outlines(const Glyph& g) {
  std::vector<std::vector<CDPOINT>> loops;
  for (auto& loop : PixelOutlines(g.img, g.w, g.h))
    if (loop.size() > 8) loops.push_back(std::move(loop));
  return loops;
}

std::vector<std::vector<CDPOINT>> GlyphOutlines(int px) {
  std::vector<std::vector<CDPOINT>> all;
  for (const Glyph& g : RenderGlyphs(px))
    for (auto& loop : Outlines(g)) all.push_back(std::move(loop));
  return all;
}

// Largest and summed distance of the points from the nearest of the paths.
void Deviation(const std::vector<CDPOINT>& pts, const std::vector<CBPointArray>& paths,
               double& worst, double& sum) {
  for (const CDPOINT& p : pts) {
    double best = HUGE_VAL;
    for (const CBPointArray& path : paths)
      for (int s = 0; s + 1 < path.GetSize(); ++s)
        best = std::min(best, SegmentDistance(path, s, p));
    worst = std::max(worst, best);
    sum += best;
  }
}

#if PLEXA_BENCH_POTRACE
// potrace's outlines of one glyph, as paths in the glyph's own top-down pixel coordinates,
// and its segment count in cubic-equivalents (a curve is one cubic, a corner two lines).
std::vector<CBPointArray> Potrace(const Glyph& g, const potrace_param_t* param, int& cubics) {
  constexpr int kBits = 8 * sizeof(potrace_word);
  potrace_bitmap_t bm;
  bm.w = g.w;
  bm.h = g.h;
  bm.dy = (g.w + kBits - 1) / kBits;
  std::vector<potrace_word> map(static_cast<std::size_t>(bm.dy) * g.h, 0);
  for (int y = 0; y < g.h; ++y)  // potrace's rows go up: row 0 is the bottom one
    for (int x = 0; x < g.w; ++x)
      if (g.img[y * g.w + x])
        map[static_cast<std::size_t>(g.h - 1 - y) * bm.dy + x / kBits] |=
            potrace_word{1} << (kBits - 1 - x % kBits);
  bm.map = map.data();
  std::vector<CBPointArray> paths;
  potrace_state_t* st = potrace_trace(param, &bm);
  if (st == nullptr) return paths;
  const auto pt = [&](const potrace_dpoint_t& p) { return CDPOINT(p.x, g.h - p.y); };
  for (const potrace_path_t* p = st->plist; p != nullptr; p = p->next) {
    const potrace_curve_t& c = p->curve;
    CBPointArray path;
    CDPOINT at = pt(c.c[c.n - 1][2]);
    path.Add(CBPOINT(at, at, at));
    for (int i = 0; i < c.n; ++i) {
      const CDPOINT end = pt(c.c[i][2]);
      if (c.tag[i] == POTRACE_CURVETO) {
        path[path.GetSize() - 1].out = pt(c.c[i][0]);
        path.Add(CBPOINT(pt(c.c[i][1]), end, end));
        ++cubics;
      } else {
        const CDPOINT corner = pt(c.c[i][1]);
        path.Add(CBPOINT(corner, corner, corner));
        path.Add(CBPOINT(end, end, end));
        cubics += 2;
      }
    }
    paths.push_back(std::move(path));
  }
  potrace_state_free(st);
  return paths;
}
#endif

// Segments per outline and the points' maximum and mean distance from their fitted curves,
// beside potrace (default parameters) on the same bitmaps when it is there.
void ReportGlyphs(int px) {
  const std::vector<Glyph> glyphs = RenderGlyphs(px);
  if (glyphs.empty()) return;
  std::size_t outlines = 0, points = 0;
  for (const Glyph& g : glyphs)
    for (const auto& loop : Outlines(g)) {
      ++outlines;
      points += loop.size();
    }
  for (double tol : {0.5, 1.0, 2.0}) {
    std::size_t segments = 0;
    double worst = 0, sum = 0;
    for (const Glyph& g : glyphs)
      for (const auto& pts : Outlines(g)) {
        std::vector<CBPointArray> one(1);
        FitCurve(pts.data(), static_cast<int>(pts.size()), &one[0], tol);
        segments += static_cast<std::size_t>(one[0].GetSize() - 1);
        Deviation(pts, one, worst, sum);
      }
    std::printf(
        "%3d px glyphs, %3zu outlines, %6zu points: FitCurve tolerance %.1f: %5.1f segments "
        "an outline, deviation max %.3f mean %.3f\n",
        px, outlines, points, tol, static_cast<double>(segments) / outlines, worst,
        sum / static_cast<double>(points));
  }
#if PLEXA_BENCH_POTRACE
  potrace_param_t* param = potrace_param_default();
  int cubics = 0, paths = 0;
  double worst = 0, sum = 0;
  for (const Glyph& g : glyphs) {
    const std::vector<CBPointArray> traced = Potrace(g, param, cubics);
    paths += static_cast<int>(traced.size());
    for (const auto& pts : Outlines(g)) Deviation(pts, traced, worst, sum);
  }
  potrace_param_free(param);
  std::printf(
      "%3d px glyphs, %3d outlines (potrace's own)  : potrace %s defaults:  %5.1f cubic "
      "segments an outline, deviation max %.3f mean %.3f\n",
      px, paths, potrace_version(), static_cast<double>(cubics) / std::max(paths, 1), worst,
      sum / static_cast<double>(points));
#endif
}

void BM_FitGlyphOutlines(benchmark::State& state) {
  const std::vector<std::vector<CDPOINT>> outlines =
      GlyphOutlines(static_cast<int>(state.range(0)));
  if (outlines.empty()) {
    state.SkipWithError("DejaVu Sans not found");
    return;
  }
  std::size_t points = 0;
  for (const auto& pts : outlines) points += pts.size();
  CBPointArray path;
  for (auto _ : state) {
    for (const auto& pts : outlines) {
      FitCurve(pts.data(), static_cast<int>(pts.size()), &path, 1.0);
      benchmark::DoNotOptimize(path.GetData());
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(points));
  state.counters["points"] = static_cast<double>(points);
}
BENCHMARK(BM_FitGlyphOutlines)->Arg(24)->Arg(64)->Arg(192)->Unit(benchmark::kMicrosecond);

#if PLEXA_BENCH_POTRACE
void BM_PotraceGlyphs(benchmark::State& state) {
  const std::vector<Glyph> glyphs = RenderGlyphs(static_cast<int>(state.range(0)));
  potrace_param_t* param = potrace_param_default();
  for (auto _ : state) {
    int cubics = 0;
    for (const Glyph& g : glyphs) benchmark::DoNotOptimize(Potrace(g, param, cubics));
  }
  potrace_param_free(param);
}
BENCHMARK(BM_PotraceGlyphs)->Arg(24)->Arg(64)->Arg(192)->Unit(benchmark::kMicrosecond);
#endif
#endif

// Remembers each run's median real time (or its single time without repetitions).
class MedianReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& r : runs) {
      if (r.error_occurred) continue;
      const std::string name = r.run_name.str();
      if (r.aggregate_name == "median" || (r.aggregate_name.empty() && !medians_.count(name))) {
        medians_[name] = r.GetAdjustedRealTime();
        cpu_[name] = r.GetAdjustedCPUTime();
        const auto p = r.counters.find("points");
        if (p != r.counters.end()) points_[name] = p->second;
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }

  // Median real and CPU time per point at each size, and how the CPU time per point grows
  // (1.0 is exactly linear). Small chains make short segments, which are cheaper a point
  // than long ones, so the first step grows more than the asymptote. On a shared machine the
  // CPU time is the steadier of the two.
  void PrintGrowth(const std::string& family) const {
    std::printf("%s, median ns per point (real / cpu):", family.c_str());
    double first = 0, mid = 0, last = 0;
    for (const char* n : {"1000", "10000", "100000"}) {
      const std::string name = family + "/" + n;
      const auto t = medians_.find(name);
      const auto c = cpu_.find(name);
      const auto p = points_.find(name);
      if (t == medians_.end() || p == points_.end() || p->second <= 0) continue;
      const double real = t->second * 1000.0 / p->second;  // microseconds -> ns
      const double cpu = c->second * 1000.0 / p->second;
      std::printf("  %s: %.0f / %.0f", n, real, cpu);
      if (first == 0) first = cpu;
      if (std::string(n) == "10000") mid = cpu;
      last = cpu;
    }
    if (first > 0 && mid > 0)
      std::printf("  (cpu growth 1k -> 100k: %.2f, 10k -> 100k: %.2f)", last / first, last / mid);
    std::printf("\n");
  }

 private:
  std::map<std::string, double> medians_;
  std::map<std::string, double> cpu_;
  std::map<std::string, double> points_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintGrowth("BM_FitClosedBlob");
  reporter.PrintGrowth("BM_FitOpenWave");
#if PLEXA_BENCH_FREETYPE
  for (int px : {24, 64, 192}) ReportGlyphs(px);
#endif
  benchmark::Shutdown();
  return 0;
}
