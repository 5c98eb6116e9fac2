// First-fit rectangle packing on a cut list of 10,000 rectangles with a spread of sizes like
// a sign shop's job (many small decals and letters, fewer panels, a few large pieces),
// seeded and sorted by decreasing size as a host does before packing. Reports rectangles
// per second and the strip's fill ratio (placed area over the bounding box of the packing),
// and compares the fill with potpack (run under node) on the same rectangles when node and
// the package are present (scripts/bench-peers.sh installs it).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "plexa/plexa.h"

using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

constexpr int kCount = 10000;
constexpr unsigned kSeed = 20261121;

enum class Order { kHeight, kArea };

// A normal deviate (Box-Muller) from mt19937, whose output the C++ standard fixes bit for
// bit, so the cut list is the same with every standard library.
double Normal(std::mt19937& gen) {
  const double u1 = (gen() + 0.5) / 4294967296.0;
  const double u2 = (gen() + 0.5) / 4294967296.0;
  return std::sqrt(-2 * std::log(u1)) * std::cos(6.283185307179586 * u2);
}

// Sizes in tenths of a millimetre: widths log-normal about 40 mm (5 mm .. 60 cm), aspect
// ratios log-normal about 1 (1:10 .. 10:1).
std::vector<CDPOINT> CutList(Order order) {
  std::mt19937 gen(kSeed);
  std::vector<CDPOINT> sizes(kCount);
  for (CDPOINT& s : sizes) {
    const double w = std::clamp(400 * std::exp(0.7 * Normal(gen)), 50.0, 6000.0);
    const double aspect = std::clamp(std::exp(0.6 * Normal(gen)), 0.1, 10.0);
    s = CDPOINT(std::round(w), std::round(std::clamp(w * aspect, 30.0, 6000.0)));
  }
  std::stable_sort(sizes.begin(), sizes.end(), [order](const CDPOINT& a, const CDPOINT& b) {
    if (order == Order::kHeight) return a.y != b.y ? a.y > b.y : a.x > b.x;
    return a.x * a.y > b.x * b.y;
  });
  return sizes;
}

std::vector<CDRECT> Pack(const std::vector<CDPOINT>& sizes, double gap) {
  CArray<CDPOINT, CDPOINT> state;
  std::vector<CDRECT> placed;
  placed.reserve(sizes.size());
  for (const CDPOINT& s : sizes) {
    CDRECT r(0, s.x, 0, s.y);
    PackRectangleFFD(r, state, gap, true);
    placed.push_back(r);
  }
  return placed;
}

double Fill(const std::vector<CDRECT>& placed) {
  double area = 0, xmax = 0, ymax = 0;
  for (const CDRECT& r : placed) {
    area += r.Width() * r.Height();
    xmax = std::max(xmax, r.xmax);
    ymax = std::max(ymax, r.ymax);
  }
  return area / (xmax * ymax);
}

// Correctness before timing: sizes kept, nothing below the strip's floor, no two
// rectangles closer than the gap (a sweep over x with the rectangles sorted by xmin).
bool Valid(const std::vector<CDPOINT>& sizes, const std::vector<CDRECT>& placed, double gap) {
  for (std::size_t i = 0; i < sizes.size(); ++i)
    if (std::fabs(placed[i].Width() - sizes[i].x) > 1e-6 ||
        std::fabs(placed[i].Height() - sizes[i].y) > 1e-6 || placed[i].ymin < 0)
      return false;
  std::vector<CDRECT> byX = placed;
  std::sort(byX.begin(), byX.end(), [](const CDRECT& a, const CDRECT& b) { return a.xmin < b.xmin; });
  const double eps = 1e-6;
  for (std::size_t i = 0; i < byX.size(); ++i)
    for (std::size_t j = i + 1; j < byX.size() && byX[j].xmin < byX[i].xmax + gap - eps; ++j)
      if (byX[j].ymin < byX[i].ymax + gap - eps && byX[i].ymin < byX[j].ymax + gap - eps)
        return false;
  return true;
}

void BM_PackColumns(benchmark::State& state, Order order, double gap) {
  const std::vector<CDPOINT> sizes = CutList(order);
  double fill = 0;
  for (auto _ : state) {
    std::vector<CDRECT> placed = Pack(sizes, gap);
    benchmark::DoNotOptimize(placed.data());
    fill = Fill(placed);
  }
  state.SetItemsProcessed(state.iterations() * kCount);
  state.counters["fill"] = fill;
}

BENCHMARK_CAPTURE(BM_PackColumns, by_height_gap0, Order::kHeight, 0.0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_PackColumns, by_area_gap0, Order::kArea, 0.0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_PackColumns, by_height_gap20, Order::kHeight, 20.0)->Unit(benchmark::kMillisecond);

std::string Quote(const std::string& s) {
  std::string q = "'";
  for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

// Runs potpack on the same cut list; prints the fills and their ratio, or why it skipped.
void ComparePeer() {
  namespace fs = std::filesystem;
  const fs::path script = fs::path(__FILE__).parent_path() / "peers" / "potpack_fill.mjs";
  const fs::path module = script.parent_path() / "node_modules" / "potpack";
  if (std::system("command -v node >/dev/null 2>&1") != 0) {
    std::printf("peer: node not found; potpack comparison skipped\n");
    return;
  }
  if (!fs::exists(script) || !fs::exists(module)) {
    std::printf("peer: potpack not installed (scripts/bench-peers.sh); comparison skipped\n");
    return;
  }
  const std::vector<CDPOINT> sizes = CutList(Order::kHeight);
  const fs::path json = fs::temp_directory_path() / ("plexa_pack_" + std::to_string(getpid()) + ".json");
  {
    std::ofstream out(json);
    out << "[";
    for (std::size_t i = 0; i < sizes.size(); ++i)
      out << (i ? "," : "") << "[" << sizes[i].x << "," << sizes[i].y << "]";
    out << "]\n";
  }
  const std::string cmd = "node " + Quote(script.string()) + " " + Quote(json.string());
  char line[512] = {0};
  FILE* pipe = popen(cmd.c_str(), "r");
  const bool read = pipe != nullptr && std::fgets(line, sizeof line, pipe) != nullptr;
  const int status = pipe != nullptr ? pclose(pipe) : -1;
  fs::remove(json);
  double peerFill = 0, peerW = 0, peerH = 0, peerRate = 0;
  if (!read || status != 0 ||
      std::sscanf(line, "fill=%lf w=%lf h=%lf rects_per_s=%lf", &peerFill, &peerW, &peerH, &peerRate) != 4) {
    std::printf("peer: potpack run failed; comparison skipped\n");
    return;
  }
  const std::vector<CDRECT> ours = Pack(sizes, 0);
  const double fill = Fill(ours);
  double xmax = 0, ymax = 0;
  for (const CDRECT& r : ours) xmax = std::max(xmax, r.xmax), ymax = std::max(ymax, r.ymax);
  std::printf("peer: potpack fill %.4f (%.0f x %.0f, %.0f rects/s under node)\n", peerFill, peerW,
              peerH, peerRate);
  std::printf("peer: PackRectangleFFD fill %.4f (%.0f x %.0f; columns, by height, gap 0)\n", fill,
              xmax, ymax);
  std::printf("peer: fill ratio PackRectangleFFD / potpack = %.3f\n", fill / peerFill);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  for (Order order : {Order::kHeight, Order::kArea})
    for (double gap : {0.0, 20.0}) {
      const std::vector<CDPOINT> sizes = CutList(order);
      if (!Valid(sizes, Pack(sizes, gap), gap)) {
        std::fprintf(stderr, "pack_bench: invalid packing (order %d, gap %g)\n",
                     static_cast<int>(order), gap);
        return 1;
      }
    }
  ComparePeer();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
