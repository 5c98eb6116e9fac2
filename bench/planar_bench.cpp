// Even-odd inside tests and polyline measures on outlines of N vertices, in double and integer
// coordinates, side by side with two peers on the same polygon and points: a plain crossing
// count without the library's tie-breaks, and Boost.Geometry's `within` (when its headers are
// installed). Two outlines:
// - star: alternating radii 10000 and 6000, so every row crosses many edges;
// - gear: the outer outline of Debian's Adwaita "system-run" icon (bench/gear_outline.inc,
//   made by bench/extract_outline.py), its 92 cubic segments flattened uniformly.
// Query points are a fixed seeded sample of the bounding box, off the vertices; before timing,
// the library's answers are checked against both peers on every sample point.
//
//   cmake -S . -B build-bench -DPLEXA_BUILD_BENCH=ON -DCMAKE_BUILD_TYPE=Release
//   build-bench/bench/planar_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <numbers>
#include <random>
#include <utility>
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
enum Kind { kStar = 0, kGear = 1 };

constexpr double kGearCubics[][8] = {
#include "gear_outline.inc"
};

struct Outline {
  CArray<CDPOINT, CDPOINT> pts;
  CArray<tagPOINT, tagPOINT> ipts;  // the same outline scaled by 10 and rounded
  std::vector<CDPOINT> queries;
  std::vector<tagPOINT> iqueries;
};

CArray<CDPOINT, CDPOINT> StarPoints(int n) {
  CArray<CDPOINT, CDPOINT> pts;
  for (int k = 0; k <= n; ++k) {
    const double a = 2 * std::numbers::pi * (k % n) / n + 1e-3;  // no vertex on an axis
    const double r = (k % 2 == 0) ? 10000.0 : 6000.0;
    pts.Add(CDPOINT(r * std::cos(a), r * std::sin(a)));
  }
  return pts;
}

// The icon's nodes sit on whole units; a crossing within half a unit of an edge's start
// vertex is deliberately not counted by the library (the peers count it), so the outline is
// moved off the grid, where that rule does not fire on these queries.
constexpr CDPOINT kGearShift(0.37, 0.61);

// About n vertices: each cubic in n / 92 uniform steps, then the start repeated.
CArray<CDPOINT, CDPOINT> GearPoints(int n) {
  const int cubics = static_cast<int>(std::size(kGearCubics));
  const int steps = std::max(1, n / cubics);
  CArray<CDPOINT, CDPOINT> pts;
  for (const auto& c : kGearCubics) {
    for (int s = 0; s < steps; ++s) {
      const double t = static_cast<double>(s) / steps, u = 1 - t;
      const double b0 = u * u * u, b1 = 3 * u * u * t, b2 = 3 * u * t * t, b3 = t * t * t;
      pts.Add(CDPOINT(b0 * c[0] + b1 * c[2] + b2 * c[4] + b3 * c[6] + kGearShift.x,
                      b0 * c[1] + b1 * c[3] + b2 * c[5] + b3 * c[7] + kGearShift.y));
    }
  }
  pts.Add(pts[0]);
  return pts;
}

// The textbook crossing count (half-open in y, strict in x), kept as the losing alternative;
// it shares none of the library's tie-breaks.
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

#ifdef PLEXA_BENCH_BOOST
namespace bg = boost::geometry;
using BoostPoint = bg::model::d2::point_xy<double>;
using BoostPolygon = bg::model::polygon<BoostPoint>;

BoostPolygon ToBoost(const CArray<CDPOINT, CDPOINT>& pts) {
  BoostPolygon poly;
  for (const CDPOINT& p : pts) bg::append(poly.outer(), BoostPoint(p.x, p.y));
  bg::correct(poly);  // Boost's own orientation
  return poly;
}
#endif

Outline MakeOutline(Kind kind, int n) {
  Outline o;
  o.pts = kind == kStar ? StarPoints(n) : GearPoints(n);
  for (const CDPOINT& p : o.pts)
    o.ipts.Add(tagPOINT{static_cast<LONG>(std::lround(10 * p.x)),
                        static_cast<LONG>(std::lround(10 * p.y))});
  const CDRECT box = GetPolygonRect(o.pts);
  std::mt19937 gen(12345);
  std::uniform_real_distribution<double> ux(box.xmin, box.xmax), uy(box.ymin, box.ymax);
  for (int q = 0; q < kQueries; ++q) {
    // A quarter off the grid: no double query meets a vertex.
    const double x = std::floor(ux(gen)) + 0.25, y = std::floor(uy(gen)) + 0.25;
    o.queries.emplace_back(x, y);
    o.iqueries.push_back(tagPOINT{static_cast<LONG>(10 * x), static_cast<LONG>(10 * y)});
  }
  return o;
}

// Built once per (kind, size) and checked against the peers before any timing.
const Outline& OutlineOf(const benchmark::State& state) {
  static std::map<std::pair<int, int>, Outline> cache;
  const auto key =
      std::make_pair(static_cast<int>(state.range(1)), static_cast<int>(state.range(0)));
  if (auto it = cache.find(key); it != cache.end()) return it->second;
  const Outline& o = cache[key] = MakeOutline(static_cast<Kind>(key.first), key.second);
  const int m = static_cast<int>(o.pts.GetSize());
  const tagRECT irect = GetPolygonRect(o.ipts.GetData(), m);
#ifdef PLEXA_BENCH_BOOST
  const BoostPolygon poly = ToBoost(o.pts);
#endif
  int bad = 0;
  for (int q = 0; q < kQueries; ++q) {
    const CDPOINT& p = o.queries[q];
    const int ours = IsPointInPolygon(o.pts.GetData(), m, p, nullptr);
    bad += ours != PlainCrossings(o.pts.GetData(), m, p.x, p.y);
#ifdef PLEXA_BENCH_BOOST
    bad += ours != static_cast<int>(bg::within(BoostPoint(p.x, p.y), poly));
#endif
    const tagPOINT& ip = o.iqueries[q];
    bad += IsPointInPolygon(o.ipts.GetData(), m, ip, &irect) !=
           PlainCrossings(o.ipts.GetData(), m, ip.x + 0.0, ip.y + 0.0);
  }
  if (bad != 0) {
    std::fprintf(stderr, "outline %d/%d: %d answers differ from the peers\n", key.first, m, bad);
    std::abort();
  }
  return o;
}

void BM_InsideDouble(benchmark::State& state) {
  const Outline& o = OutlineOf(state);
  const int m = static_cast<int>(o.pts.GetSize());
  int q = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(IsPointInPolygon(o.pts.GetData(), m, o.queries[q], nullptr));
    q = (q + 1) % kQueries;
  }
}

void BM_InsideDoubleGivenRect(benchmark::State& state) {
  const Outline& o = OutlineOf(state);
  const int m = static_cast<int>(o.pts.GetSize());
  CDRECT rect = GetPolygonRect(o.pts);
  int q = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(IsPointInPolygon(o.pts.GetData(), m, o.queries[q], &rect));
    q = (q + 1) % kQueries;
  }
}

void BM_InsideInteger(benchmark::State& state) {
  const Outline& o = OutlineOf(state);
  const int m = static_cast<int>(o.ipts.GetSize());
  const tagRECT rect = GetPolygonRect(o.ipts.GetData(), m);
  int q = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(IsPointInPolygon(o.ipts.GetData(), m, o.iqueries[q], &rect));
    q = (q + 1) % kQueries;
  }
}

void BM_PlainCrossings(benchmark::State& state) {
  const Outline& o = OutlineOf(state);
  const int m = static_cast<int>(o.pts.GetSize());
  int q = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(PlainCrossings(o.pts.GetData(), m, o.queries[q].x, o.queries[q].y));
    q = (q + 1) % kQueries;
  }
}

#ifdef PLEXA_BENCH_BOOST
void BM_BoostWithin(benchmark::State& state) {
  const Outline& o = OutlineOf(state);
  const BoostPolygon poly = ToBoost(o.pts);
  int q = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(bg::within(BoostPoint(o.queries[q].x, o.queries[q].y), poly));
    q = (q + 1) % kQueries;
  }
}
#endif

void BM_PolylineLength(benchmark::State& state) {
  const Outline& o = OutlineOf(state);
  for (auto _ : state) benchmark::DoNotOptimize(GetPolylineLength(o.pts));
}

void BM_PolylinePoint(benchmark::State& state) {
  const Outline& o = OutlineOf(state);
  int seg = 0, q = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(GetPolylinePoint(o.pts, (q + 0.5) / kQueries, &seg));
    q = (q + 1) % kQueries;
  }
}

void Sizes(benchmark::internal::Benchmark* b) {
  for (int kind : {kStar, kGear})
    for (int n : {1000, 10000, 100000}) b->Args({n, kind});
}

}  // namespace

BENCHMARK(BM_InsideDouble)->Apply(Sizes);
BENCHMARK(BM_InsideDoubleGivenRect)->Apply(Sizes);
BENCHMARK(BM_InsideInteger)->Apply(Sizes);
BENCHMARK(BM_PlainCrossings)->Apply(Sizes);
#ifdef PLEXA_BENCH_BOOST
BENCHMARK(BM_BoostWithin)->Apply(Sizes);
#endif
BENCHMARK(BM_PolylineLength)->Apply(Sizes);
BENCHMARK(BM_PolylinePoint)->Apply(Sizes);

BENCHMARK_MAIN();
