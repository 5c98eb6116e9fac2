// Writing HPGL for a cutter: the nearest-next ordering of 1,000 to 35,000 paths (small closed
// ellipses of four cubics on a jittered grid over a 2 x 1 m sheet, a tenth of them with a
// hole, as a sheet of decals or letters, in shuffled order), seeded. Reports milliseconds a write
// and microseconds a path; the cost a path at each count against 1,000's shows how the ordering
// grows.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "io/hpgl_write.h"
#include "plexa/plexa.h"

namespace {

constexpr int kCounts[] = {1000, 5000, 35000};

// `count` paths on a jittered grid over the sheet (one outline a cell, apart from the others;
// every tenth outline holds a hole, which counts as a path), in shuffled order.
plexa::io::Drawing Sheet(int count) {
  std::mt19937 gen(20261124);
  const int cols = static_cast<int>(std::ceil(std::sqrt(2.0 * count)));
  const double cell = 20000.0 / cols;
  // The same outlines at every count (radii 1 to 2.2 mm), so only the ordering's share grows.
  std::uniform_real_distribution<double> jitter(0.3, 0.7), r(10, 22);
  std::vector<CBPointArray> paths;
  for (int i = 0; static_cast<int>(paths.size()) < count; ++i) {
    const double cx = (i % cols + jitter(gen)) * cell, cy = (i / cols + jitter(gen)) * cell;
    const double rad = r(gen);
    for (int ring = 0; ring < (i % 10 == 0 ? 2 : 1); ++ring) {
      const double rr = ring == 0 ? rad : rad * 0.4;
      CBPointArray path;
      path.CreateEllipse(PLEXA::CDRECT(cx - rr, cx + rr, cy - rr * 0.7, cy + rr * 0.7));
      paths.push_back(std::move(path));
    }
  }
  std::shuffle(paths.begin(), paths.end(), gen);
  plexa::io::Drawing d;
  d.width = 20000;
  d.height = 10000;
  for (CBPointArray& p : paths) d.Add(std::move(p));
  return d;
}

void BM_WriteHpgl(benchmark::State& state) {
  const plexa::io::Drawing d = Sheet(static_cast<int>(state.range(0)));
  plexa::io::WriteOptions o;
  o.tolerance = 0.25;
  for (auto _ : state) benchmark::DoNotOptimize(plexa::io::WriteHpgl(d, o).size());
  state.counters["per_path"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * d.paths.GetSize(),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_WriteHpgl)
    ->Arg(1000)
    ->Arg(5000)
    ->Arg(35000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  for (int n : kCounts)
    if (n != kCounts[0]) {
      const std::string a = "BM_WriteHpgl/" + std::to_string(n) + "/real_time";
      const double r = reporter.PrintRatio(a, "BM_WriteHpgl/1000/real_time");
      std::printf("  -> cost a path at %d is %.2fx that at %d\n", n, r * kCounts[0] / n,
                  kCounts[0]);
    }
  benchmark::Shutdown();
  return 0;
}
