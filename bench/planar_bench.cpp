// Even-odd inside tests and polyline measures on a star outline of N vertices (alternating
// radii, so every row crosses many edges), in double and integer coordinates, against two
// peers: a plain crossing count without the library's tie-breaks, and Boost.Geometry's
// `within` (when its headers are installed) on the same polygon and points. Query points are a fixed
// seeded sample of the bounding box; before timing, the library's answers are checked against
// the baseline on every sample point (none lies on an edge).
//
//   cmake -S . -B build-bench -DPLEXA_BUILD_BENCH=ON -DCMAKE_BUILD_TYPE=Release
//   build-bench/bench/planar_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <random>
#include <vector>

#include "plexa/plexa.h"

#if __has_include(<boost/geometry.hpp>)
#include <boost/geometry.hpp>
#define PLEXA_BENCH_BOOST 1
#endif

using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

constexpr int kQueries = 1024;

struct Star {
  CArray<CDPOINT, CDPOINT> pts;
  CArray<tagPOINT, tagPOINT> ipts;
  std::vector<CDPOINT> queries;
  std::vector<tagPOINT> iqueries;
};

// A closed star of n vertices: radius 10000 on even vertices, 6000 on odd ones. The integer
// copy is scaled by 10 so that even 100,000 vertices stay distinct after rounding.
Star MakeStar(int n) {
  Star s;
  for (int k = 0; k <= n; ++k) {
    const double a = 2 * std::numbers::pi * (k % n) / n + 1e-3;  // no vertex on an axis
    const double r = (k % 2 == 0) ? 10000.0 : 6000.0;
    const CDPOINT p(r * std::cos(a), r * std::sin(a));
    s.pts.Add(p);
    s.ipts.Add(tagPOINT{static_cast<LONG>(std::lround(10 * p.x)), static_cast<LONG>(std::lround(10 * p.y))});
  }
  std::mt19937 gen(12345);
  std::uniform_real_distribution<double> u(-10000.0, 10000.0);
  for (int q = 0; q < kQueries; ++q) {
    // Off the grid by a quarter, so no double query meets a vertex.
    const double x = std::floor(u(gen)) + 0.25, y = std::floor(u(gen)) + 0.25;
    s.queries.emplace_back(x, y);
    s.iqueries.push_back(tagPOINT{static_cast<LONG>(10 * x), static_cast<LONG>(10 * y)});
  }
  return s;
}

// The textbook crossing count (half-open in y, strict in x): the losing alternative kept for
// comparison; it shares none of the library's tie-breaks.
template <typename P>
int PlainCrossings(const P* v, int n, double px, double py) {
  int c = 0;
  for (int i = 0; i + 1 < n; ++i) {
    const double ay = v[i].y, by = v[i + 1].y;
    if ((ay > py) != (by > py)) {
      const double x = v[i].x + (py - ay) / (by - ay) * (v[i + 1].x - v[i].x);
      if (x < px) ++c;
    }
  }
  return c & 1;
}

const Star& StarOf(int n) {
  static std::vector<std::pair<int, Star>> cache;
  for (auto& [k, s] : cache)
    if (k == n) return s;
  cache.emplace_back(n, MakeStar(n));
  const Star& s = cache.back().second;
  const int m = static_cast<int>(s.pts.GetSize());
  int mismatches = 0, imismatches = 0;
  const tagRECT irect = GetPolygonRect(s.ipts.GetData(), m);
  for (int q = 0; q < kQueries; ++q) {
    const CDPOINT& p = s.queries[q];
    if (IsPointInPolygon(s.pts.GetData(), m, p, nullptr) != PlainCrossings(s.pts.GetData(), m, p.x, p.y)) ++mismatches;
    const tagPOINT& ip = s.iqueries[q];
    if (IsPointInPolygon(s.ipts.GetData(), m, ip, &irect) != PlainCrossings(s.ipts.GetData(), m, ip.x + 0.0, ip.y + 0.0))
      ++imismatches;
  }
  if (mismatches != 0 || imismatches != 0) {
    std::fprintf(stderr, "star %d: %d double and %d integer answers differ from the crossing count\n", n, mismatches,
                 imismatches);
    std::abort();
  }
  return s;
}

void BM_InsideDouble(benchmark::State& state) {
  const Star& s = StarOf(static_cast<int>(state.range(0)));
  const int m = static_cast<int>(s.pts.GetSize());
  int q = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(IsPointInPolygon(s.pts.GetData(), m, s.queries[q], nullptr));
    q = (q + 1) % kQueries;
  }
}

void BM_InsideDoubleGivenRect(benchmark::State& state) {
  const Star& s = StarOf(static_cast<int>(state.range(0)));
  const int m = static_cast<int>(s.pts.GetSize());
  CDRECT rect = GetPolygonRect(s.pts);
  int q = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(IsPointInPolygon(s.pts.GetData(), m, s.queries[q], &rect));
    q = (q + 1) % kQueries;
  }
}

void BM_InsideInteger(benchmark::State& state) {
  const Star& s = StarOf(static_cast<int>(state.range(0)));
  const int m = static_cast<int>(s.ipts.GetSize());
  const tagRECT rect = GetPolygonRect(s.ipts.GetData(), m);
  int q = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(IsPointInPolygon(s.ipts.GetData(), m, s.iqueries[q], &rect));
    q = (q + 1) % kQueries;
  }
}

void BM_PlainCrossingsDouble(benchmark::State& state) {
  const Star& s = StarOf(static_cast<int>(state.range(0)));
  const int m = static_cast<int>(s.pts.GetSize());
  int q = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(PlainCrossings(s.pts.GetData(), m, s.queries[q].x, s.queries[q].y));
    q = (q + 1) % kQueries;
  }
}

#ifdef PLEXA_BENCH_BOOST
namespace bg = boost::geometry;
using BoostPoint = bg::model::d2::point_xy<double>;
using BoostPolygon = bg::model::polygon<BoostPoint>;

BoostPolygon BoostStar(const Star& s) {
  BoostPolygon poly;
  for (const CDPOINT& p : s.pts) bg::append(poly.outer(), BoostPoint(p.x, p.y));
  bg::correct(poly);  // Boost wants its own orientation
  return poly;
}

void BM_BoostWithin(benchmark::State& state) {
  const Star& s = StarOf(static_cast<int>(state.range(0)));
  const BoostPolygon poly = BoostStar(s);
  int agree = 0;
  for (int q = 0; q < kQueries; ++q)
    agree += bg::within(BoostPoint(s.queries[q].x, s.queries[q].y), poly) ==
             (IsPointInPolygon(s.pts.GetData(), static_cast<int>(s.pts.GetSize()), s.queries[q], nullptr) != 0);
  if (agree != kQueries) {
    std::fprintf(stderr, "star %d: Boost disagrees on %d points\n", static_cast<int>(state.range(0)), kQueries - agree);
    std::abort();
  }
  int q = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(bg::within(BoostPoint(s.queries[q].x, s.queries[q].y), poly));
    q = (q + 1) % kQueries;
  }
}
#endif

void BM_PolylineLength(benchmark::State& state) {
  const Star& s = StarOf(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(GetPolylineLength(s.pts));
}

void BM_PolylinePoint(benchmark::State& state) {
  const Star& s = StarOf(static_cast<int>(state.range(0)));
  int seg = 0, q = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(GetPolylinePoint(s.pts, (q + 0.5) / kQueries, &seg));
    q = (q + 1) % kQueries;
  }
}

}  // namespace

BENCHMARK(BM_InsideDouble)->Arg(1000)->Arg(10000)->Arg(100000);
BENCHMARK(BM_InsideDoubleGivenRect)->Arg(1000)->Arg(10000)->Arg(100000);
BENCHMARK(BM_InsideInteger)->Arg(1000)->Arg(10000)->Arg(100000);
BENCHMARK(BM_PlainCrossingsDouble)->Arg(1000)->Arg(10000)->Arg(100000);
#ifdef PLEXA_BENCH_BOOST
BENCHMARK(BM_BoostWithin)->Arg(1000)->Arg(10000)->Arg(100000);
#endif
BENCHMARK(BM_PolylineLength)->Arg(10000);
BENCHMARK(BM_PolylinePoint)->Arg(10000);

BENCHMARK_MAIN();
