// CNest against libnest2d (no-fit-polygon placer, first-fit selection, one thread) on real
// shapes of mixed sizes: DejaVu Sans glyphs, Adwaita action icons and the traced example sign,
// each split into outlines with their holes. Both nest 50 and 200 shapes on a fixed sheet,
// 1 mm apart, in four turns. Counters: fill of the first sheet (fill0: the sum of the placed
// shapes' areas; fill0_union: the area of their union, the material truly covered, which is
// less where shapes overlap; fill0_clean: only the shapes that overlap nothing; fill0_usable:
// what is left once overlapping shapes are recut elsewhere until no overlap remains, greedily:
// the shape in the most remaining overlaps first, the smaller on a tie), sheets used,
// shapes placed and overlaps found by the exact check (FindShapeOverlaps on the true curves,
// sheet by sheet). CNest runs with 1 and more attempts (orders of placement).
// libnest2d gets the outlines flattened within 0.05 mm (without holes, which it cannot use).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <string>

#include "bench/glyph_paths.h"
#include "bench/ratio.h"
#include "plexa/analysis/boolean.h"
#ifdef PLEXA_BENCH_IO
#include "io/drawing.h"
#include "io/image_read.h"
#include "io/svg_read.h"
#endif
#include "plexa/layout/nest.h"
#include "plexa/platform/internal/rasterizer.h"

#ifdef PLEXA_BENCH_LIBNEST2D
#include <libnest2d/common.hpp>
namespace libnest2d {
// Exact matches, so that C++20's rewritten comparisons do not find the header's own
// Radians/Degrees comparisons ambiguous.
inline bool operator==(const Radians& a, const Radians& b) {
  return double(a) == double(b);
}
inline bool operator!=(const Radians& a, const Radians& b) {
  return double(a) != double(b);
}
}  // namespace libnest2d
#include <libnest2d/libnest2d.hpp>
#endif

namespace {

constexpr double kSheetW = 1800, kSheetH = 1200;  // 18 x 12 cm
constexpr double kGap = 10;                       // 1 mm
constexpr double kPeerScale = 1000;               // libnest2d integer units a drawing unit
// CNest's attempts in the measured run. Mean first-sheet fill over five draws of parts
// (NEST_SEED=42..46) with the automatic resolution: 0.698 / 0.856 (50 / 200 parts) with four
// orders, 0.708 / 0.859 with six (and no more with eight), at 1.4 times the time of four.
constexpr int kAttempts = 6;

#ifdef PLEXA_BENCH_IO
// Every outline-with-holes of a drawing, moved so its box starts at the origin.
void TakeShapes(plexa::io::Drawing& d, std::vector<CPolyPolyBezier>& out) {
  plexa::io::GroupIntoShapes(d);
  for (const plexa::io::Item& item : d.items) {
    CPolyPolyBezier s;
    for (int p : item.paths) s.Add(new CBPointArray(d.paths[p]));
    const PLEXA::CDRECT box = GetPolyPolyBezierRect(s, 1.0);
    if (!(box.xmax - box.xmin > 1e-6 && box.ymax - box.ymin > 1e-6)) continue;
    CNest::Transform t;
    t.dx = -box.xmin, t.dy = -box.ymin;
    t.Apply(s);
    out.push_back(std::move(s));
  }
}

#endif

std::vector<CPolyPolyBezier> SourceShapes() {
  std::vector<CPolyPolyBezier> out;
#ifndef PLEXA_BENCH_IO
  return out;  // the shapes need the readers' grouping of outlines and holes
#else
  const std::string text = "ABCDEFGHKMNOPQRSWXYZabdegkmpqswxyz02345689&@%#$?";
  for (char c : text) {
    plexa::io::Drawing d;
    CPolyPolyBezier g;
    if (LoadGlyphPaths(g, std::string(1, c)) == 0) continue;
    for (INT_PTR i = 0; i < g.GetSize(); ++i) d.Add(CBPointArray(g[static_cast<int>(i)]));
    TakeShapes(d, out);
  }
  const std::filesystem::path dir = "/usr/share/icons/Adwaita/scalable/actions";
  std::vector<std::string> names;
  std::error_code ec;
  for (const auto& e : std::filesystem::directory_iterator(dir, ec))
    if (e.path().extension() == ".svg") names.push_back(e.path().string());
  std::sort(names.begin(), names.end());
  if (names.size() > 40) names.resize(40);
  for (const std::string& n : names) {
    plexa::io::Drawing d;
    std::string warning, error;
    if (plexa::io::ReadSvgFile(n, d, warning, error)) TakeShapes(d, out);
  }
  std::string error;
  plexa::io::LoadedImage img =
      plexa::io::LoadTwoLevelImage(PLEXA_EXAMPLES "/sign.png", plexa::io::ImageOptions(), error);
  if (img.bitmap != nullptr) {
    CPolyPolyBezier traced;
    CFaithfulTrace trace;
    if (trace.Trace(img.bitmap, traced)) {
      plexa::io::Drawing d;
      for (INT_PTR i = 0; i < traced.GetSize(); ++i)
        d.Add(CBPointArray(traced[static_cast<int>(i)]));
      TakeShapes(d, out);
    }
    DeleteObject(img.bitmap);
  }
  return out;
#endif
}

// n shapes drawn from the sources, each scaled to a longest side of 80 .. 700 units.
const std::vector<CPolyPolyBezier>& Shapes(int n) {
  static std::map<int, std::vector<CPolyPolyBezier>> cache;
  auto& out = cache[n];
  if (!out.empty()) return out;
  static const std::vector<CPolyPolyBezier> sources = SourceShapes();
  if (sources.empty()) return out;
  // NEST_SEED draws another set (to tell a change's effect from one draw's luck).
  std::mt19937 rng(std::getenv("NEST_SEED") ? std::atoi(std::getenv("NEST_SEED")) : 42);
  std::uniform_int_distribution<size_t> pick(0, sources.size() - 1);
  std::uniform_real_distribution<double> extent(std::log(80.0), std::log(700.0));
  for (int i = 0; i < n; ++i) {
    CPolyPolyBezier s = sources[pick(rng)];
    const PLEXA::CDRECT box = GetPolyPolyBezierRect(s, 1.0);
    const double k = std::exp(extent(rng)) / std::max(box.xmax - box.xmin, box.ymax - box.ymin);
    CNest::Transform t;
    t.m11 = t.m22 = k;
    t.Apply(s);
    out.push_back(std::move(s));
  }
  return out;
}

struct Outcome {
  double fill0 = 0, fill0Union = 0;
  int sheets = 0, placed = 0, overlaps = 0;
  double fill0Clean = 0;      // peer only: first-sheet fill of the shapes that overlap nothing
  double fill0Usable = 0;     // peer only: first-sheet fill once overlapping shapes are recut
  int recut = 0;              // peer only: the shapes recut for it
  int overlaps0 = 0;          // overlaps on the first sheet
  double transformError = 0;  // peer only: largest box corner mismatch (drawing units)
};
std::map<std::string, Outcome> g_outcomes;

// Overlaps of the placed shapes, sheet by sheet, on the exact curves; marks the shapes involved
// and gives the overlapping pairs of the first sheet.
int CountOverlaps(const std::vector<CPolyPolyBezier>& placed, const std::vector<int>& sheet,
                  std::vector<bool>& involved, std::vector<std::pair<int, int>>& first) {
  involved.assign(placed.size(), false);
  first.clear();
  int total = 0;
  const int sheets = sheet.empty() ? 0 : *std::max_element(sheet.begin(), sheet.end()) + 1;
  for (int s = 0; s < sheets; ++s) {
    std::vector<CPolyPolyBezier> one(placed.size());
    for (size_t i = 0; i < placed.size(); ++i)
      if (sheet[i] == s) one[i] = placed[i];
    std::vector<std::pair<int, int>> pairs;
    total += FindShapeOverlaps(one, 1.0, pairs);  // more than 0.01 mm^2 in common
    for (auto [i, j] : pairs) involved[size_t(i)] = involved[size_t(j)] = true;
    if (s == 0) first = pairs;
  }
  return total;
}

// The shapes a user would recut on another sheet so that none of the pairs overlaps any more:
// while an overlap remains, the shape in the most remaining overlaps goes (on a tie the smaller
// area, then the lower index). Marks them in dropped.
void DropOverlapping(std::vector<std::pair<int, int>> pairs, const std::vector<double>& area,
                     std::vector<bool>& dropped) {
  dropped.assign(area.size(), false);
  while (!pairs.empty()) {  // every round removes at least one pair
    std::map<int, int> count;
    for (auto [i, j] : pairs) ++count[i], ++count[j];
    int worst = count.begin()->first;
    for (auto [k, n] : count) {
      const int w = count[worst];
      if (n > w || (n == w && area[size_t(k)] < area[size_t(worst)])) worst = k;
    }
    dropped[size_t(worst)] = true;
    std::erase_if(
        pairs, [&](const std::pair<int, int>& p) { return p.first == worst || p.second == worst; });
  }
}

void Report(benchmark::State& state, const std::string& name, const Outcome& o) {
  state.counters["fill0"] = o.fill0;
  state.counters["sheets"] = o.sheets;
  state.counters["placed"] = o.placed;
  state.counters["overlaps"] = o.overlaps;
  if (o.transformError > 0) state.counters["box_err"] = o.transformError;
  if (o.fill0Clean > 0) state.counters["fill0_clean"] = o.fill0Clean;
  if (o.fill0Usable > 0) state.counters["fill0_usable"] = o.fill0Usable;
  state.counters["fill0_union"] = o.fill0Union;
  g_outcomes[name] = o;
}

// The area of the union of the shapes on sheet 0 over the sheet's area: every shape made
// simple (outlines counter-clockwise, holes clockwise) and all of them welded non-zero.
double UnionFill(const std::vector<CPolyPolyBezier>& placed, const std::vector<int>& sheet) {
  CPolyPolyBezier all, clean, none, out;
  BooleanOptions evenOdd;
  evenOdd.fillRule = FillRule::kEvenOdd;
  for (size_t i = 0; i < placed.size(); ++i) {
    if (sheet[i] != 0) continue;
    BooleanPolyPolyBezier(placed[i], none, BooleanOp::kUnion, clean, evenOdd);
    for (INT_PTR k = 0; k < clean.GetSize(); ++k)
      all.Add(new CBPointArray(clean[static_cast<int>(k)]));
  }
  WeldPolyPolyBezier(all, out);
  return GetShapeArea(out) / (kSheetW * kSheetH);
}

// Debugging aid (NEST_DEBUG): the first sheet's shapes as a grey image, a pixel a unit.
void DumpSheet(const CNest& nest, const char* path) {
  namespace rast = plexa::rasterizer;
  const int w = static_cast<int>(kSheetW), h = static_cast<int>(kSheetH);
  std::vector<CPolyPolyBezier> placed;
  nest.GetPlacedShapes(placed);
  std::vector<unsigned char> grey(static_cast<size_t>(w) * h, 255);
  for (int i = 0; i < nest.GetShapeCount(); ++i) {
    if (nest.GetShape(i).transform.sheet != 0) continue;
    std::vector<rast::Figure> figures;
    for (INT_PTR k = 0; k < placed[i].GetSize(); ++k) {
      const CBPointArray& p = placed[i][static_cast<int>(k)];
      std::vector<rast::PointD> poly{{p[0].anchor.x, p[0].anchor.y}};
      for (INT_PTR n = 0; n + 1 < p.GetSize(); ++n)
        rast::FlattenBezier({p[n].anchor.x, p[n].anchor.y}, {p[n].out.x, p[n].out.y},
                            {p[n + 1].in.x, p[n + 1].in.y}, {p[n + 1].anchor.x, p[n + 1].anchor.y},
                            0.3, 64, poly);
      figures.push_back(rast::Figure{poly, true});
    }
    rast::Coverage cov(w, h);
    rast::FillEvenOdd(figures, cov);
    cov.Finish();
    for (const rast::Span& s : cov.Spans())
      for (int x = s.x0; x <= s.x1; ++x) grey[static_cast<size_t>(s.y) * w + x] = 60;
  }
  if (FILE* f = std::fopen(path, "wb")) {
    std::fprintf(f, "P5\n%d %d\n255\n", w, h);
    std::fwrite(grey.data(), 1, grey.size(), f);
    std::fclose(f);
  }
}

void BM_PlexaNest(benchmark::State& state) {
  const auto& shapes = Shapes(static_cast<int>(state.range(0)));
  if (shapes.empty()) return state.SkipWithError("no shapes (fonts or icons missing)");
  CNest nest;
  for (const CPolyPolyBezier& s : shapes) nest.AddShape(s);
  CNest::Options o;
  o.width = kSheetW, o.height = kSheetH, o.gap = kGap, o.rotations = 4;
  o.resolution = static_cast<int>(state.range(1));
  o.attempts = static_cast<int>(state.range(2));
  for (auto _ : state) {
    nest.Nest(o);
    benchmark::DoNotOptimize(nest.GetNestedCount());
  }
  Outcome r;
  r.fill0 = nest.GetSheetFill(0);
  if (std::getenv("NEST_DEBUG")) DumpSheet(nest, "/tmp/nest_sheet0.pgm");
  if (std::getenv("NEST_DEBUG")) {
    for (int k = 0; k < nest.GetSheetCount(); ++k) {
      int n = 0;
      for (int i = 0; i < nest.GetShapeCount(); ++i) n += nest.GetShape(i).transform.sheet == k;
      std::fprintf(stderr, "sheet %d: %d shapes, fill %.3f\n", k, n, nest.GetSheetFill(k));
    }
  }
  r.sheets = nest.GetSheetCount();
  r.placed = nest.GetNestedCount();
  std::vector<CPolyPolyBezier> placed;
  nest.GetPlacedShapes(placed);
  std::vector<int> sheet;
  for (int i = 0; i < nest.GetShapeCount(); ++i) sheet.push_back(nest.GetShape(i).transform.sheet);
  std::vector<bool> involved;
  std::vector<std::pair<int, int>> pairs;
  r.overlaps = CountOverlaps(placed, sheet, involved, pairs);
  r.fill0Union = UnionFill(placed, sheet);
  Report(state,
         "BM_PlexaNest/" + std::to_string(state.range(0)) + "/" + std::to_string(state.range(1)) +
             "/" + std::to_string(state.range(2)),
         r);
}
// Shapes, resolution (0: automatic, 1080 here), attempts.
BENCHMARK(BM_PlexaNest)
    ->ArgsProduct({{50, 200}, {0, 1024}, {1, kAttempts}})
    ->Args({50, 512, 1})
    ->Args({50, 2048, 1})
    ->Unit(benchmark::kMillisecond);

#ifdef PLEXA_BENCH_LIBNEST2D
void BM_Libnest2d(benchmark::State& state) {
  const auto& shapes = Shapes(static_cast<int>(state.range(0)));
  if (shapes.empty()) return state.SkipWithError("no shapes (fonts or icons missing)");
  using namespace libnest2d;
  // Outline and holes as closed integer polygons, outline clockwise in Clipper's sense.
  std::vector<Item> input;
  std::vector<size_t> source;  // shape index of each item
  std::vector<plexa::rasterizer::PointD> poly;
  for (const CPolyPolyBezier& s : shapes) {
    // Flattened rings, cleaned by Clipper into one outline with its holes (the largest
    // outline of the result when a ring crosses itself).
    ClipperLib::Clipper clip;
    for (INT_PTR i = 0; i < s.GetSize(); ++i) {
      const CBPointArray& p = s[static_cast<int>(i)];
      poly.assign(1, {p[0].anchor.x, p[0].anchor.y});
      for (INT_PTR k = 0; k + 1 < p.GetSize(); ++k)
        plexa::rasterizer::FlattenBezier({p[k].anchor.x, p[k].anchor.y}, {p[k].out.x, p[k].out.y},
                                         {p[k + 1].in.x, p[k + 1].in.y},
                                         {p[k + 1].anchor.x, p[k + 1].anchor.y}, 0.5, 64, poly);
      ClipperLib::Path ring;
      for (const auto& q : poly)
        ring.emplace_back(std::llround(q.x * kPeerScale), std::llround(q.y * kPeerScale));
      clip.AddPath(ring, ClipperLib::ptSubject, true);
    }
    ClipperLib::PolyTree tree;
    clip.Execute(ClipperLib::ctUnion, tree, ClipperLib::pftEvenOdd, ClipperLib::pftEvenOdd);
    const ClipperLib::PolyNode* outer = nullptr;
    for (const ClipperLib::PolyNode* n : tree.Childs)
      if (!outer ||
          std::abs(ClipperLib::Area(n->Contour)) > std::abs(ClipperLib::Area(outer->Contour)))
        outer = n;
    if (outer == nullptr) continue;
    PolygonImpl shape;
    shape.Contour = outer->Contour;
    if (ClipperLib::Orientation(shape.Contour)) ClipperLib::ReversePath(shape.Contour);
    shape.Contour.push_back(shape.Contour.front());
    // No holes: this placer never uses them (it cannot place parts inside), and its merge of
    // the pile refuses the slivers that tiny holes become once turned and rounded.
    input.emplace_back(std::move(shape));
    source.push_back(static_cast<size_t>(&s - shapes.data()));
  }
  std::vector<Item> items;
  const Box bin(Point(0, 0), Point(static_cast<Coord>(kSheetW * kPeerScale),
                                   static_cast<Coord>(kSheetH * kPeerScale)));
  NestConfig<NfpPlacer, FirstFitSelection> cfg;
  cfg.placer_config.parallel = false;
  cfg.placer_config.rotations = {0.0, Pi / 2.0, Pi, 3 * Pi / 2};
  size_t bins = 0;
  for (auto _ : state) {
    items = input;
    try {
      bins = nest(items, bin, static_cast<Coord>(kGap * kPeerScale), cfg);
    } catch (const std::exception& e) {
      return state.SkipWithError(e.what());
    }
    benchmark::DoNotOptimize(bins);
  }
  Outcome r;
  r.sheets = static_cast<int>(bins);
  std::vector<CPolyPolyBezier> placed(shapes.size());
  std::vector<int> sheet(shapes.size(), -1);
  for (size_t k = 0; k < items.size(); ++k) {
    const size_t i = source[k];
    if (items[k].binId() < 0) continue;
    const double a = items[k].rotation();
    CNest::Transform t;
    t.m11 = std::cos(a), t.m12 = std::sin(a), t.m21 = -std::sin(a), t.m22 = std::cos(a);
    t.dx = static_cast<double>(items[k].translation().X) / kPeerScale;
    t.dy = static_cast<double>(items[k].translation().Y) / kPeerScale;
    placed[i] = shapes[i];
    t.Apply(placed[i]);
    // The transform read back must move our outline onto the peer's own placed polygon.
    const PLEXA::CDRECT ours = GetPolyPolyBezierRect(placed[i], 1.0);
    const auto theirs = libnest2d::sl::boundingBox(items[k].transformedShape());
    const double err =
        std::max(std::abs(ours.xmin - static_cast<double>(theirs.minCorner().X) / kPeerScale),
                 std::abs(ours.ymin - static_cast<double>(theirs.minCorner().Y) / kPeerScale));
    r.transformError = std::max(r.transformError, err);
    sheet[i] = items[k].binId();
    ++r.placed;
  }
  std::vector<bool> involved, dropped;
  std::vector<std::pair<int, int>> pairs;
  r.overlaps = CountOverlaps(placed, sheet, involved, pairs);
  r.fill0Union = UnionFill(placed, sheet);
  std::vector<double> area(shapes.size());
  for (size_t i = 0; i < shapes.size(); ++i) area[i] = GetShapeArea(shapes[i]);
  DropOverlapping(pairs, area, dropped);
  r.overlaps0 = static_cast<int>(pairs.size());
  for (size_t i = 0; i < shapes.size(); ++i) {
    if (sheet[i] != 0) continue;
    const double a = area[i] / (kSheetW * kSheetH);
    r.fill0 += a;
    if (!involved[i]) r.fill0Clean += a;
    if (!dropped[i]) r.fill0Usable += a;
  }
  r.recut = static_cast<int>(std::count(dropped.begin(), dropped.end(), true));
  Report(state, "BM_Libnest2d/" + std::to_string(state.range(0)), r);
}
BENCHMARK(BM_Libnest2d)->Arg(50)->Arg(200)->Iterations(1)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  for (const char* n : {"50", "200"}) {
    const std::string ours = std::string("BM_PlexaNest/") + n + "/0/" + std::to_string(kAttempts);
    const std::string peer = std::string("BM_Libnest2d/") + n;
    reporter.PrintRatio(ours, peer + "/iterations:1");
    const auto a = g_outcomes.find(ours), b = g_outcomes.find(peer);
    if (a == g_outcomes.end() || b == g_outcomes.end() || !(b->second.fill0 > 0)) continue;
    const Outcome& us = a->second;
    const Outcome& them = b->second;
    std::printf(
        "%s shapes: first-sheet fill %.3f vs %.3f = %.2fx (area sum); union %.3f vs %.3f = "
        "%.2fx; against the peer's shapes that overlap nothing %.3f vs %.3f = %.2fx; usable once "
        "%d of the peer's shapes in %d overlaps are recut (greedy) %.3f vs %.3f = %.2fx; sheets %d "
        "vs "
        "%d; placed %d vs %d; overlaps %d vs %d\n",
        n, us.fill0, them.fill0, us.fill0 / them.fill0, us.fill0Union, them.fill0Union,
        them.fill0Union > 0 ? us.fill0Union / them.fill0Union : 0.0, us.fill0, them.fill0Clean,
        them.fill0Clean > 0 ? us.fill0 / them.fill0Clean : 0.0, them.recut, them.overlaps0,
        us.fill0, them.fill0Usable, them.fill0Usable > 0 ? us.fill0 / them.fill0Usable : 0.0,
        us.sheets, them.sheets, us.placed, them.placed, us.overlaps, them.overlaps);
  }
}
