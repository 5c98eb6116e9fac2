// The curve fitter on pixel staircase chains of 1,000, 10,000 and 100,000 points, the way
// the tracers hand them over: a closed outline (a rasterised wavy blob, first point twice at
// the end, tolerance 5 as the shape tracer uses) and an open line (a rasterised sine wave,
// tolerance 1). Every chain is checked (exact ends, points within the tolerance, a sample of
// them) before it is timed. Reports points per second and segments per chain; after the run
// prints the median time per point at each size and its growth from 1,000 to 100,000 points
// (1.0 would be exactly linear). Run with --benchmark_repetitions=5 for medians.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <numbers>
#include <string>
#include <vector>

#include "plexa/plexa.h"

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
  std::vector<CDPOINT> pts = Staircase([r](double u) {
    const double a = 2 * kPi * u, k = r * (1 + 0.2 * std::sin(5 * a));
    return CDPOINT(k * std::cos(a), k * std::sin(a));
  }, 8 * n);
  pts.push_back(pts.front());
  pts.push_back(pts.front());
  return pts;
}

// An open sine wave of about n pixels, 12 periods, amplitude 40.
std::vector<CDPOINT> Wave(int n) {
  const double len = n / 1.15;
  return Staircase([len](double u) { return CDPOINT(u * len, 40 * std::sin(u * 24 * kPi)); }, 8 * n);
}

CDPOINT SegmentPoint(const CBPointArray& path, int i, double t) {
  const CBPOINT& a = path.GetData()[i];
  const CBPOINT& b = path.GetData()[i + 1];
  const double s = 1 - t;
  return a.anchor * (s * s * s) + a.out * (3 * s * s * t) + b.in * (3 * s * t * t) + b.anchor * (t * t * t);
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
    if (dist(m1) < dist(m2)) hi = m2; else lo = m1;
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
    for (int s = 0; s + 1 < path.GetSize(); ++s) best = std::min(best, SegmentDistance(path, s, pts[i]));
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
  benchmark::Shutdown();
  return 0;
}
