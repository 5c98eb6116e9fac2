// Long outputs: every flattening, bounding, inside-point, split and set function that builds
// a result element by element, on one circle of 10^4, 10^5 and 10^6 nodes. The arrays' own
// growth rule adds at most 1,024 elements a step, so a builder that relied on it would cost the
// square of its output; the library's builders size their outputs geometrically instead.
// The per-node time ("per_node") should stay flat from 10^4 to 10^6 nodes, and the summary at
// the end prints time(10^6) / time(10^4) for each function: about 100 is linear (up to a few
// hundred where 10^6 nodes outgrow the caches and fresh pages must be faulted in), about
// 10,000 quadratic.
//
//   ./long_outputs_bench                       # all functions, all sizes
//   ./long_outputs_bench --benchmark_filter=Rect
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <numbers>
#include <string>

#include "bench/ratio.h"
#include "plexa/plexa.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

constexpr int kSmall = 10000;
constexpr int kLarge = 1000000;

// A closed circle of n segments (n + 1 nodes, the last repeating the first) whose radius grows
// with n, so every segment is about 6 units long and flattens into a few points at
// resolution 1: 10^6 nodes give about 3 million points.
const CBPointArray& Circle(int n) {
  static std::map<int, std::unique_ptr<CBPointArray>> cache;
  auto& slot = cache[n];
  if (!slot) {
    slot = std::make_unique<CBPointArray>();
    const double r = n, step = 2 * std::numbers::pi / n;
    const double arm = 4.0 / 3.0 * std::tan(step / 4) * r;
    slot->SetSize(n + 1);
    for (int i = 0; i <= n; ++i) {
      const double a = step * (i % n);
      const CDPOINT at(r * std::cos(a), r * std::sin(a)), tangent(-std::sin(a), std::cos(a));
      (*slot)[i] = CBPOINT(at - tangent * arm, at, at + tangent * arm);
    }
  }
  return *slot;
}

CPolyPolyBezier& CircleSet(int n) {
  static std::map<int, std::unique_ptr<CPolyPolyBezier>> cache;
  auto& slot = cache[n];
  if (!slot) {
    slot = std::make_unique<CPolyPolyBezier>();
    slot->Add(new CBPointArray(Circle(n)));
  }
  return *slot;
}

void PerNode(benchmark::State& state) {
  state.counters["per_node"] = benchmark::Counter(
      static_cast<double>(state.range(0)),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void DeleteAll(CArray<CDWordArray*>& arrays) {
  for (CDWordArray* a : arrays) delete a;
  arrays.RemoveAll();
}

// ---- Flattening ---------------------------------------------------------------------------

void BM_ExecuteBPointArrayT(benchmark::State& state) {
  const CBPointArray& path = Circle(static_cast<int>(state.range(0)));
  INT_PTR points = 0;
  for (auto _ : state) {
    CArray<CDPOINT> pts;
    CDWordArray ends;
    path.ExecuteBPointArrayT(pts, ends, 1.0);
    points = pts.GetSize();
    benchmark::DoNotOptimize(pts.GetData());
  }
  state.counters["points"] = static_cast<double>(points);
  PerNode(state);
}

void BM_ExecuteBPointArrayTEx(benchmark::State& state) {
  const CBPointArray& path = Circle(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    CArray<CDPOINT> pts;
    CArray<double> params;
    CDWordArray ends;
    path.ExecuteBPointArrayTEx(pts, &params, &ends, 1.0001);
    benchmark::DoNotOptimize(pts.GetData());
  }
  PerNode(state);
}

void BM_ExecutePolyPolyBezier(benchmark::State& state) {
  const CPolyPolyBezier& set = CircleSet(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    CPolyPolyDPoint polys;
    CArray<CDWordArray*> ends;
    ExecutePolyPolyBezier(set, polys, ends, 1.0);
    benchmark::DoNotOptimize(polys.GetAt(0));
    DeleteAll(ends);
  }
  PerNode(state);
}

void BM_ExecutePolyPolyBezierEx(benchmark::State& state) {
  const CPolyPolyBezier& set = CircleSet(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    CPolyPolyDPoint polys;
    CPolyPolyDouble params;
    CArray<CDWordArray*> ends;
    ExecutePolyPolyBezierEx(set, polys, &params, &ends, 1.0001);
    benchmark::DoNotOptimize(polys.GetAt(0));
    DeleteAll(ends);
  }
  PerNode(state);
}

void BM_AveragePointFlattened(benchmark::State& state) {
  const CBPointArray& path = Circle(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(AveragePoint(path, true, 1.0));
  PerNode(state);
}

void BM_IsPointInPolygonPath(benchmark::State& state) {
  const CBPointArray& path = Circle(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(IsPointInPolygon(path, tagPOINT{0, 0}));
  PerNode(state);
}

void BM_TripleToQuadraticBezier(benchmark::State& state) {
  CBPointArray path = Circle(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    CArray<CDPOINT> out;
    TripleToQuadraticBezier(&path, out);
    benchmark::DoNotOptimize(out.GetData());
  }
  PerNode(state);
}

void BM_CurveCollisionLineCrossings(benchmark::State& state) {
  const CBPointArray& path = Circle(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    CCurveCollision hit(path);
    CArray<double> xs;
    hit.GetLineCrossings(0.5, xs);
    benchmark::DoNotOptimize(xs.GetData());
  }
  PerNode(state);
}

// ---- Bounds and an inside point -----------------------------------------------------------

void BM_GetPolyBezierRect(benchmark::State& state) {
  const CBPointArray& path = Circle(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(path.GetPolyBezierRect(1.0));
  PerNode(state);
}

void BM_CalcFrame(benchmark::State& state) {
  const CPolyPolyBezier& set = CircleSet(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    CDRECT rc;
    set.CalcFrame(rc, 1.0);
    benchmark::DoNotOptimize(rc);
  }
  PerNode(state);
}

void BM_GetPolyPolyBezierRect(benchmark::State& state) {
  const CPolyPolyBezier& set = CircleSet(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(GetPolyPolyBezierRect(set, 1.0));
  PerNode(state);
}

void BM_GetPolylineBoundsPath(benchmark::State& state) {
  const CBPointArray& path = Circle(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    CDRECT r;
    GetPolylineBounds(path, r);
    benchmark::DoNotOptimize(r);
  }
  PerNode(state);
}

void BM_GetInternalPoint(benchmark::State& state) {
  const CBPointArray& path = Circle(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    CDPOINT p;
    benchmark::DoNotOptimize(path.GetInternalPoint(p));
  }
  PerNode(state);
}

// ---- Splits and joins ---------------------------------------------------------------------

void BM_SplitBetweenPositions(benchmark::State& state) {
  const CBPointArray& path = Circle(static_cast<int>(state.range(0)));
  const double length = path.CalcLength();
  for (auto _ : state) {
    CBPointArray out;
    path.SplitBPointArray(length * 0.01, length * 0.99, out);
    benchmark::DoNotOptimize(out.GetData());
  }
  PerNode(state);
}

void BM_SplitAtIndex(benchmark::State& state) {
  const CBPointArray& path = Circle(static_cast<int>(state.range(0)));
  const int k = static_cast<int>(state.range(0) / 2);
  for (auto _ : state) {
    CBPointArray a, b;
    path.SplitBPointArray(k, a, b);
    benchmark::DoNotOptimize(a.GetData());
  }
  PerNode(state);
}

void BM_GetMinSubCurve(benchmark::State& state) {
  const CBPointArray& path = Circle(static_cast<int>(state.range(0)));
  const int n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    CBPointArray out;
    GetMinSubCurve(path, 1, n / 2 - 1, out);
    benchmark::DoNotOptimize(out.GetData());
  }
  PerNode(state);
}

void BM_ConnectPolyBezierCurves(benchmark::State& state) {
  const CPolyPolyBezier& set = CircleSet(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    CBPointArray out;
    ConnectPolyBezierCurves(set, out);
    benchmark::DoNotOptimize(out.GetData());
  }
  PerNode(state);
}

void BM_SetMaxBezierLength(benchmark::State& state) {
  const CBPointArray& path = Circle(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    CBPointArray copy = path;
    SetMaxBezierLength(copy, 3.0);  // every segment (about 6 units) is halved once
    benchmark::DoNotOptimize(copy.GetData());
  }
  PerNode(state);
}

// Every node doubled: half of them go, which costs the square of the length when each
// removal moves the tail.
void BM_RemoveSamePoints(benchmark::State& state) {
  const CBPointArray& path = Circle(static_cast<int>(state.range(0)) / 2);
  CBPointArray doubled;
  doubled.SetSize(2 * path.GetSize());
  for (INT_PTR i = 0; i < path.GetSize(); ++i) doubled[2 * i] = doubled[2 * i + 1] = path[i];
  for (auto _ : state) {
    CBPointArray copy = doubled;
    copy.RemoveSamePoints(1e-9);
    benchmark::DoNotOptimize(copy.GetData());
  }
  PerNode(state);
}

#define PLEXA_LONG_OUTPUT(fn) \
  BENCHMARK(fn)->Arg(kSmall)->Arg(kSmall * 10)->Arg(kLarge)->Unit(benchmark::kMillisecond)

PLEXA_LONG_OUTPUT(BM_ExecuteBPointArrayT);
PLEXA_LONG_OUTPUT(BM_ExecuteBPointArrayTEx);
PLEXA_LONG_OUTPUT(BM_ExecutePolyPolyBezier);
PLEXA_LONG_OUTPUT(BM_ExecutePolyPolyBezierEx);
PLEXA_LONG_OUTPUT(BM_AveragePointFlattened);
PLEXA_LONG_OUTPUT(BM_IsPointInPolygonPath);
PLEXA_LONG_OUTPUT(BM_TripleToQuadraticBezier);
PLEXA_LONG_OUTPUT(BM_CurveCollisionLineCrossings);
PLEXA_LONG_OUTPUT(BM_GetPolyBezierRect);
PLEXA_LONG_OUTPUT(BM_CalcFrame);
PLEXA_LONG_OUTPUT(BM_GetPolyPolyBezierRect);
PLEXA_LONG_OUTPUT(BM_GetPolylineBoundsPath);
PLEXA_LONG_OUTPUT(BM_GetInternalPoint);
PLEXA_LONG_OUTPUT(BM_SplitBetweenPositions);
PLEXA_LONG_OUTPUT(BM_SplitAtIndex);
PLEXA_LONG_OUTPUT(BM_GetMinSubCurve);
PLEXA_LONG_OUTPUT(BM_ConnectPolyBezierCurves);
PLEXA_LONG_OUTPUT(BM_SetMaxBezierLength);
PLEXA_LONG_OUTPUT(BM_RemoveSamePoints);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf("time(10^6 nodes) / time(10^4 nodes): about 100 is linear, 10,000 quadratic\n");
  for (const char* fn :
       {"BM_ExecuteBPointArrayT", "BM_ExecuteBPointArrayTEx", "BM_ExecutePolyPolyBezier",
        "BM_ExecutePolyPolyBezierEx", "BM_AveragePointFlattened", "BM_IsPointInPolygonPath",
        "BM_TripleToQuadraticBezier", "BM_CurveCollisionLineCrossings", "BM_GetPolyBezierRect",
        "BM_CalcFrame", "BM_GetPolyPolyBezierRect", "BM_GetPolylineBoundsPath",
        "BM_GetInternalPoint", "BM_SplitBetweenPositions", "BM_SplitAtIndex", "BM_GetMinSubCurve",
        "BM_ConnectPolyBezierCurves", "BM_SetMaxBezierLength"}) {
    const std::string name(fn);
    reporter.PrintRatio(name + "/" + std::to_string(kLarge), name + "/" + std::to_string(kSmall));
  }
  benchmark::Shutdown();
  return 0;
}
