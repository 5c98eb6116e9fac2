// First-fit rectangle packing on cut lists of 2,500, 10,000, 40,000 and 160,000 rectangles with
// a spread of sizes like a sign shop's job (many small decals and letters, fewer panels, a few
// large pieces), seeded and sorted by decreasing size as a host does before packing.
//
// Before timing, CRectanglePacker (the first band with room found through its search tree) is
// checked against PackRectangleFFD (the plain form: every band visited in order, the host's
// own state): identical placements and states, bit for bit, at every count up to 40,000 in
// every order and gap, and at 160,000 for the height order without gap. Then it reports
// microseconds a rectangle for both (the plain form only up to 40,000: it is quadratic), the
// packer's cost a rectangle at each count against 10,000's (below 3,000 bands the packer scans
// like the plain form), and the ratios packer / plain.
//
// The peer, potpack (run under node when scripts/bench-peers.sh installed it), chooses a bin
// of its own, close to a square. To compare fill on the same bin shape, the packing is asked
// for potpack's bin height (columns) or width (rows): a first rectangle of zero width and
// potpack's height (or zero height and potpack's width) fixes the strip's limit, every
// rectangle then packs within it, and fill is placed area over bin area (the bin of the
// packing: that limit by its extent along the strip). The rectangles are the same; columns get
// them by decreasing width and rows by decreasing height, as a host sorts for each mode.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "plexa/plexa.h"

using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

constexpr int kCounts[] = {2500, 10000, 40000, 160000};
// The plain form is quadratic: timed up to this count.
constexpr int kPlainMax = 40000;
// The first count at which the packer works on its tree throughout most of the run.
constexpr int kTreeFrom = 10000;
constexpr unsigned kSeed = 20261121;

enum class Order { kHeight, kArea, kWidth };

// A normal deviate (Box-Muller) from mt19937, whose output the C++ standard fixes bit for
// bit, so the cut list is the same with every standard library.
double Normal(std::mt19937& gen) {
  const double u1 = (gen() + 0.5) / 4294967296.0;
  const double u2 = (gen() + 0.5) / 4294967296.0;
  return std::sqrt(-2 * std::log(u1)) * std::cos(6.283185307179586 * u2);
}

// Sizes in tenths of a millimetre: widths log-normal about 40 mm (5 mm .. 60 cm), aspect
// ratios log-normal about 1 (1:10 .. 10:1).
std::vector<CDPOINT> CutList(Order order, int count) {
  std::mt19937 gen(kSeed);
  std::vector<CDPOINT> sizes(count);
  for (CDPOINT& s : sizes) {
    const double w = std::clamp(400 * std::exp(0.7 * Normal(gen)), 50.0, 6000.0);
    const double aspect = std::clamp(std::exp(0.6 * Normal(gen)), 0.1, 10.0);
    s = CDPOINT(std::round(w), std::round(std::clamp(w * aspect, 30.0, 6000.0)));
  }
  std::stable_sort(sizes.begin(), sizes.end(), [order](const CDPOINT& a, const CDPOINT& b) {
    if (order == Order::kHeight) return a.y != b.y ? a.y > b.y : a.x > b.x;
    if (order == Order::kWidth) return a.x != b.x ? a.x > b.x : a.y > b.y;
    return a.x * a.y > b.x * b.y;
  });
  return sizes;
}

// The two forms behind one signature: the plain function, and the packer (which keeps its
// own state; `state` receives a copy of it at the end when asked).
enum class Form { kPlain, kPacker };
// A positive `limit` first places a rectangle of zero width and that height (columns) or of
// zero height and that width (rows), which fixes the strip's limit: the host's way to ask for
// a bin of a given height (or width).
std::vector<CDRECT> Pack(const std::vector<CDPOINT>& sizes, double gap, Form form = Form::kPacker,
                         CArray<CDPOINT, CDPOINT>* stateOut = nullptr, double limit = 0,
                         bool vertical = true) {
  CArray<CDPOINT, CDPOINT> state;
  CRectanglePacker packer(gap, vertical);
  const auto pack = [&](CDRECT& r) {
    if (form == Form::kPlain)
      PackRectangleFFD(r, state, gap, vertical);
    else
      packer.Pack(r);
  };
  if (limit > 0) {
    CDRECT spacer = vertical ? CDRECT(0, 0, 0, limit) : CDRECT(0, limit, 0, 0);
    pack(spacer);
  }
  std::vector<CDRECT> placed;
  placed.reserve(sizes.size());
  for (const CDPOINT& s : sizes) {
    CDRECT r(0, s.x, 0, s.y);
    pack(r);
    placed.push_back(r);
  }
  if (stateOut != nullptr) *stateOut = form == Form::kPlain ? state : packer.State();
  return placed;
}

// Identical placements and states, bit for bit.
bool PackerSameAsPlain(const std::vector<CDPOINT>& sizes, double gap) {
  CArray<CDPOINT, CDPOINT> a, b;
  const std::vector<CDRECT> x = Pack(sizes, gap, Form::kPacker, &a);
  const std::vector<CDRECT> y = Pack(sizes, gap, Form::kPlain, &b);
  return a.GetSize() == b.GetSize() &&
         std::memcmp(a.GetData(), b.GetData(), sizeof(CDPOINT) * a.GetSize()) == 0 &&
         std::memcmp(x.data(), y.data(), sizeof(CDRECT) * x.size()) == 0;
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
  std::sort(byX.begin(), byX.end(),
            [](const CDRECT& a, const CDRECT& b) { return a.xmin < b.xmin; });
  const double eps = 1e-6;
  for (std::size_t i = 0; i < byX.size(); ++i)
    for (std::size_t j = i + 1; j < byX.size() && byX[j].xmin < byX[i].xmax + gap - eps; ++j)
      if (byX[j].ymin < byX[i].ymax + gap - eps && byX[i].ymin < byX[j].ymax + gap - eps)
        return false;
  return true;
}

void BM_Pack(benchmark::State& state, Form form, Order order, double gap) {
  const int count = static_cast<int>(state.range(0));
  const std::vector<CDPOINT> sizes = CutList(order, count);
  double fill = 0;
  for (auto _ : state) {
    std::vector<CDRECT> placed = Pack(sizes, gap, form);
    benchmark::DoNotOptimize(placed.data());
    fill = Fill(placed);
  }
  state.SetItemsProcessed(state.iterations() * count);
  // Rectangles per second, inverted: seconds a rectangle (printed with a unit prefix, u = us).
  state.counters["per_rect"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * count,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["fill"] = fill;
}

void Counts(benchmark::internal::Benchmark* b) {
  for (int n : kCounts) b->Arg(n);
  b->Unit(benchmark::kMillisecond)->UseRealTime();
}
void PlainCounts(benchmark::internal::Benchmark* b) {
  for (int n : kCounts)
    if (n <= kPlainMax) b->Arg(n);
  b->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK_CAPTURE(BM_Pack, packer_by_height_gap0, Form::kPacker, Order::kHeight, 0.0)
    ->Apply(Counts);
BENCHMARK_CAPTURE(BM_Pack, plain_by_height_gap0, Form::kPlain, Order::kHeight, 0.0)
    ->Apply(PlainCounts);
BENCHMARK_CAPTURE(BM_Pack, packer_by_area_gap20, Form::kPacker, Order::kArea, 20.0)->Apply(Counts);
BENCHMARK_CAPTURE(BM_Pack, plain_by_area_gap20, Form::kPlain, Order::kArea, 20.0)
    ->Apply(PlainCounts);

std::string Quote(const std::string& s) {
  std::string q = "'";
  for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

// Runs potpack on the same cut list; prints the fills and their ratio, or why it skipped.
void ComparePeer() {
  namespace fs = std::filesystem;
  // __FILE__ may be relative to the build folder; the benchmark may run from the source root.
  fs::path script = fs::path(__FILE__).parent_path() / "peers" / "potpack_fill.mjs";
  if (!fs::exists(script)) script = fs::path("bench") / "peers" / "potpack_fill.mjs";
  const fs::path module = script.parent_path() / "node_modules" / "potpack";
  if (std::system("command -v node >/dev/null 2>&1") != 0) {
    std::printf("peer: node not found; potpack comparison skipped\n");
    return;
  }
  if (!fs::exists(script) || !fs::exists(module)) {
    std::printf("peer: potpack not installed (scripts/bench-peers.sh); comparison skipped\n");
    return;
  }
  const std::vector<CDPOINT> sizes = CutList(Order::kHeight, 10000);
  const fs::path json =
      fs::temp_directory_path() / ("plexa_pack_" + std::to_string(getpid()) + ".json");
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
      std::sscanf(line, "fill=%lf w=%lf h=%lf rects_per_s=%lf", &peerFill, &peerW, &peerH,
                  &peerRate) != 4) {
    std::printf("peer: potpack run failed; comparison skipped\n");
    return;
  }
  double area = 0;
  for (const CDPOINT& p : sizes) area += p.x * p.y;
  std::printf("peer: potpack fill %.4f (its bin %.0f x %.0f), %.3f us a rectangle under node\n",
              peerFill, peerW, peerH, 1e6 / peerRate);
  // The same bin shape, both ways: columns up to potpack's height (the same rectangles sorted
  // by decreasing width, the host's order for columns), rows up to its width (by height).
  for (bool vertical : {true, false}) {
    const double limit = vertical ? peerH : peerW;
    const std::vector<CDRECT> ours = Pack(vertical ? CutList(Order::kWidth, 10000) : sizes, 0,
                                          Form::kPacker, nullptr, limit, vertical);
    double xmax = 0, ymax = 0;
    for (const CDRECT& r : ours) xmax = std::max(xmax, r.xmax), ymax = std::max(ymax, r.ymax);
    const double binW = vertical ? xmax : std::max(xmax, limit);
    const double binH = vertical ? std::max(ymax, limit) : ymax;
    const double fill = area / (binW * binH);
    std::printf(
        "peer: %s at potpack's %s %.0f: bin %.0f x %.0f, fill %.4f; fill ratio CRectanglePacker "
        "/ potpack = %.3f\n",
        vertical ? "columns (by width)" : "rows (by height)", vertical ? "height" : "width", limit,
        binW, binH, fill, fill / peerFill);
  }
  // Time on the same list, median of 5 runs like the peer's script.
  std::vector<double> times;
  for (int k = 0; k < 5; ++k) {
    const auto t0 = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(Pack(sizes, 0, Form::kPacker, nullptr, peerW, false).data());
    times.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
  }
  std::sort(times.begin(), times.end());
  const double perRect = times[2] / static_cast<double>(sizes.size());
  std::printf(
      "peer: CRectanglePacker %.3f us a rectangle at 10,000 (rows at potpack's width); time "
      "ratio CRectanglePacker / potpack = %.2f\n",
      perRect * 1e6, perRect * peerRate);
  const std::vector<CDRECT> strip = Pack(sizes, 0);
  std::printf("peer: (as a strip of the first rectangle's height: fill %.4f)\n", Fill(strip));
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  for (int count : kCounts)
    for (Order order : {Order::kHeight, Order::kArea})
      for (double gap : {0.0, 20.0}) {
        const std::vector<CDPOINT> sizes = CutList(order, count);
        const bool compare = count <= kPlainMax || (order == Order::kHeight && gap == 0);
        if (!Valid(sizes, Pack(sizes, gap), gap) || (compare && !PackerSameAsPlain(sizes, gap))) {
          std::fprintf(stderr,
                       "pack_bench: packing invalid or the packer unlike PackRectangleFFD "
                       "(count %d, order %d, gap %g)\n",
                       count, static_cast<int>(order), gap);
          return 1;
        }
      }
  std::printf(
      "check: CRectanglePacker's placements and states equal PackRectangleFFD's at 2,500, "
      "10,000, 40,000 (both orders, gaps 0 and 20) and 160,000 (by height, gap 0)\n");
  ComparePeer();
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const auto name = [](const char* run, int n) {
    // Appended piece by piece: "/" + std::to_string(n) trips a false -Wrestrict in GCC 12.
    std::string s = "BM_Pack/";
    s += run;
    s += "/";
    s += std::to_string(n);
    s += "/real_time";
    return s;
  };
  for (const char* run : {"by_height_gap0", "by_area_gap20"}) {
    const std::string packer = std::string("packer_") + run, plain = std::string("plain_") + run;
    for (int n : kCounts)
      if (n <= kPlainMax) reporter.PrintRatio(name(packer.c_str(), n), name(plain.c_str(), n));
    // Cost a rectangle against 10,000's (past 3,000 bands the packer searches its tree; at
    // 2,500 it still scans): the ratio of the times over the ratio of the counts.
    for (int n : kCounts)
      if (n > kTreeFrom) {
        const double r =
            reporter.PrintRatio(name(packer.c_str(), n), name(packer.c_str(), kTreeFrom));
        std::printf("  -> %s: cost a rectangle at %d is %.2fx that at %d\n", packer.c_str(), n,
                    r * kTreeFrom / n, kTreeFrom);
      }
  }
  benchmark::Shutdown();
  return 0;
}
