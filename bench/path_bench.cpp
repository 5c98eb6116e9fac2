// Path measurement and flattening on real outlines: the glyphs of DejaVu Sans at 2048 units an
// em (about 0.7 mm a unit on a 1.4 m sign, so resolution 1 is a fine cutting tolerance).
// cairo's flattening of the same paths at the same tolerance runs beside it when installed.
#include <benchmark/benchmark.h>

#include <cstdio>

#include "bench/glyph_paths.h"
#include "bench/ratio.h"
#include "plexa/plexa.h"

#ifdef PLEXA_BENCH_CAIRO
#include <cairo.h>
#endif

namespace {

const char* kText = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789&@%$?!";

const CPolyPolyBezier& Glyphs() {
  static CPolyPolyBezier set = [] {
    CPolyPolyBezier s;
    LoadGlyphPaths(s, kText);
    return s;
  }();
  return set;
}

std::int64_t Segments() {
  std::int64_t n = 0;
  for (int i = 0; i < Glyphs().GetSize(); ++i) n += Glyphs()[i].GetSize() - 1;
  return n;
}

void BM_CalcLength(benchmark::State& state) {
  const CPolyPolyBezier& set = Glyphs();
  if (set.GetSize() == 0)
    return state.SkipWithError("no glyph outlines (FreeType or DejaVu missing)");
  for (auto _ : state) {
    double total = 0;
    for (int i = 0; i < set.GetSize(); ++i) total += set[i].CalcLength();
    benchmark::DoNotOptimize(total);
  }
  state.counters["segments/s"] = benchmark::Counter(static_cast<double>(Segments()),
                                                    benchmark::Counter::kIsIterationInvariantRate);
}

void BM_ExecuteBPointArrayT(benchmark::State& state) {
  const CPolyPolyBezier& set = Glyphs();
  if (set.GetSize() == 0)
    return state.SkipWithError("no glyph outlines (FreeType or DejaVu missing)");
  CArray<PLEXA::CDPOINT> pts;
  CDWordArray ends;
  std::int64_t points = 0;
  for (auto _ : state) {
    points = 0;
    for (int i = 0; i < set.GetSize(); ++i) {
      pts.SetSize(0, 4096);
      ends.SetSize(0, 256);
      set[i].ExecuteBPointArrayT(pts, ends, static_cast<double>(state.range(0)));
      points += pts.GetSize();
    }
    benchmark::DoNotOptimize(points);
  }
  state.counters["points"] = static_cast<double>(points);
  state.counters["points/s"] = benchmark::Counter(static_cast<double>(points),
                                                  benchmark::Counter::kIsIterationInvariantRate);
}

void BM_ExecuteBPointArrayTEx(benchmark::State& state) {
  const CPolyPolyBezier& set = Glyphs();
  if (set.GetSize() == 0)
    return state.SkipWithError("no glyph outlines (FreeType or DejaVu missing)");
  CArray<PLEXA::CDPOINT> pts;
  CArray<double> params;
  CDWordArray ends;
  std::int64_t points = 0;
  for (auto _ : state) {
    points = 0;
    for (int i = 0; i < set.GetSize(); ++i) {
      pts.SetSize(0, 4096);
      params.SetSize(0, 4096);
      ends.SetSize(0, 256);
      set[i].ExecuteBPointArrayTEx(pts, &params, &ends, 1.001);
      points += pts.GetSize();
    }
    benchmark::DoNotOptimize(points);
  }
  state.counters["points"] = static_cast<double>(points);
  state.counters["points/s"] = benchmark::Counter(static_cast<double>(points),
                                                  benchmark::Counter::kIsIterationInvariantRate);
}

#ifdef PLEXA_BENCH_CAIRO
void BM_CairoCopyPathFlat(benchmark::State& state) {
  const CPolyPolyBezier& set = Glyphs();
  if (set.GetSize() == 0)
    return state.SkipWithError("no glyph outlines (FreeType or DejaVu missing)");
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_A8, 1, 1);
  cairo_t* cr = cairo_create(surface);
  cairo_set_tolerance(cr, 1.0);
  std::int64_t points = 0;
  for (auto _ : state) {
    points = 0;
    for (int i = 0; i < set.GetSize(); ++i) {
      const CBPointArray& p = set[i];
      cairo_new_path(cr);
      cairo_move_to(cr, p[0].anchor.x, p[0].anchor.y);
      for (INT_PTR k = 0; k + 1 < p.GetSize(); ++k)
        cairo_curve_to(cr, p[k].out.x, p[k].out.y, p[k + 1].in.x, p[k + 1].in.y, p[k + 1].anchor.x,
                       p[k + 1].anchor.y);
      cairo_path_t* flat = cairo_copy_path_flat(cr);
      for (int d = 0; d < flat->num_data; d += flat->data[d].header.length) ++points;
      cairo_path_destroy(flat);
    }
    benchmark::DoNotOptimize(points);
  }
  cairo_destroy(cr);
  cairo_surface_destroy(surface);
  state.counters["points"] = static_cast<double>(points);
  state.counters["points/s"] = benchmark::Counter(static_cast<double>(points),
                                                  benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_CairoCopyPathFlat)->Unit(benchmark::kMicrosecond);
#endif

}  // namespace

BENCHMARK(BM_CalcLength)->Unit(benchmark::kMicrosecond);
// Resolution 1 keeps every control leg within one unit (many points); 16 gives a point count
// close to cairo's at tolerance 1.
BENCHMARK(BM_ExecuteBPointArrayT)->Arg(1)->Arg(16)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ExecuteBPointArrayTEx)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  std::printf("%d glyph paths, %lld segments\n", static_cast<int>(Glyphs().GetSize()),
              static_cast<long long>(Segments()));
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatio("BM_ExecuteBPointArrayT/1", "BM_CairoCopyPathFlat");
  reporter.PrintRatio("BM_ExecuteBPointArrayT/16", "BM_CairoCopyPathFlat");
  reporter.PrintRatio("BM_ExecuteBPointArrayTEx", "BM_CairoCopyPathFlat");
  benchmark::Shutdown();
}
