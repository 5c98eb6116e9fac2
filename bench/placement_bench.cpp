// Random placement of a 200-point outline (a closed ten-lobed rosette, 1000 units across):
// copies kept per second when a placement keeps 1,000 copies, and how the cost a copy grows
// with the count (250, 1,000, 4,000 copies at the same density: the area grows with the
// count). Every run is checked before timing: the count reached, copies inside the area and
// clear of each other's clearance polygons (a sampled pairwise check).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "plexa/plexa.h"

namespace {

constexpr int kPoints = 200;
constexpr double kAreaPerCopy = 3000.0 * 3000.0;

CArray<tagPOINT, tagPOINT> Rosette() {
  CArray<tagPOINT, tagPOINT> pts;
  for (int i = 0; i < kPoints - 1; ++i) {
    const double a = 2 * 3.141592653589793 * i / (kPoints - 1);
    const double r = 400 + 100 * std::cos(10 * a);
    pts.Add(tagPOINT{static_cast<LONG>(std::lround(500 + r * std::cos(a))),
                     static_cast<LONG>(std::lround(500 + r * std::sin(a)))});
  }
  pts.Add(pts[0]);
  return pts;
}

CRect AreaFor(int count) {
  const LONG side = static_cast<LONG>(std::sqrt(kAreaPerCopy * count));
  return CRect(0, 0, side, side);
}

std::size_t Place(int count, std::vector<CView3D>& out, CRandPolylinePlacement& place) {
  static const CArray<tagPOINT, tagPOINT> outline = Rosette();
  place.m_maxCopies = count;
  CPoint offset;
  std::srand(1234);
  place.PlacePolylines(AreaFor(count), outline, {CRect(1000, 1000, 5000, 3000)}, out, offset);
  return out.size();
}

bool Check(int count) {
  CRandPolylinePlacement place;
  std::vector<CView3D> out;
  if (Place(count, out, place) != static_cast<std::size_t>(count)) return false;
  const auto& kept = place.GetPolylines();
  const CRect area = AreaFor(count);
  for (std::size_t i = 0; i < kept.size(); ++i) {
    const CRect& r = kept[i].rect;
    if (r.left < area.left || r.right > area.right || r.top < area.top || r.bottom > area.bottom)
      return false;
    for (std::size_t j = i + 1; j < kept.size(); j += 7)
      if (CRandPolylinePlacement::vvPolylinesHit(kept[i], kept[j])) return false;
  }
  return true;
}

void BM_PlaceCopies(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  CRandPolylinePlacement place;
  std::vector<CView3D> out;
  for (auto _ : state) benchmark::DoNotOptimize(Place(count, out, place));
  state.SetItemsProcessed(state.iterations() * count);  // copies kept per second
  state.counters["per_copy"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * count,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_PlaceCopies)->Arg(250)->Arg(1000)->Arg(4000)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  for (int count : {250, 1000, 4000})
    if (!Check(count)) {
      std::fprintf(stderr, "placement_bench: placement of %d copies failed its check\n", count);
      return 1;
    }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
