// Hole detection on a page of glyph outlines, and the convex hull of 100,000 points next to
// Boost.Geometry's convex_hull.
//
// The page: DejaVu Sans glyphs (FreeType, em of 100 drawing units) set as lines of text until
// the page holds the wanted number of outlines, one path per contour (letters such as o, e, B
// bring their holes). Without FreeType a page of generated rings is used instead. Results are
// checked before timing: the accelerated hole search must agree with the plain rule (every
// ordered pair, every point), and the hull with Boost's corner count.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "plexa/analysis/hull.h"
#include "plexa/core/planar.h"
#include "plexa/geom/pathset.h"

#ifdef PLEXA_BENCH_FREETYPE
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H
#endif

#ifdef PLEXA_BENCH_BOOST
#include <boost/geometry.hpp>
#include <boost/geometry/geometries/multi_point.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/polygon.hpp>
#endif

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

constexpr double kEm = 100.0;        // glyph size in drawing units
constexpr double kPageWidth = 2400;  // line length before wrapping
constexpr double kLineHeight = 130;

// ---- The page ---------------------------------------------------------------------------

#ifdef PLEXA_BENCH_FREETYPE
struct Builder {
  std::vector<std::unique_ptr<CBPointArray>> paths;
  CDPOINT origin;
  CDPOINT last;
  CDPOINT Map(const FT_Vector* v) const {
    return CDPOINT(origin.x + v->x / 64.0, origin.y - v->y / 64.0);
  }
};

int MoveTo(const FT_Vector* to, void* user) {
  auto* b = static_cast<Builder*>(user);
  if (!b->paths.empty()) ClosePolyBezier(*b->paths.back());
  b->paths.push_back(std::make_unique<CBPointArray>());
  b->last = b->Map(to);
  b->paths.back()->Add(CBPOINT(b->last, b->last, b->last));
  return 0;
}
int LineTo(const FT_Vector* to, void* user) {
  auto* b = static_cast<Builder*>(user);
  b->last = b->Map(to);
  b->paths.back()->Add(CBPOINT(b->last, b->last, b->last));
  return 0;
}
int CubicTo(const FT_Vector* c1, const FT_Vector* c2, const FT_Vector* to, void* user) {
  auto* b = static_cast<Builder*>(user);
  CBPointArray& p = *b->paths.back();
  p[p.GetUpperBound()].out = b->Map(c1);
  b->last = b->Map(to);
  p.Add(CBPOINT(b->Map(c2), b->last, b->last));
  return 0;
}
int ConicTo(const FT_Vector* c, const FT_Vector* to, void* user) {
  // Degree elevation: the cubic controls lie two thirds of the way to the conic control.
  auto* b = static_cast<Builder*>(user);
  const CDPOINT p0 = b->last, q = b->Map(c), p3 = b->Map(to);
  CBPointArray& p = *b->paths.back();
  p[p.GetUpperBound()].out = p0 + (q - p0) * (2.0 / 3);
  p.Add(CBPOINT(p3 + (q - p3) * (2.0 / 3), p3, p3));
  b->last = p3;
  return 0;
}

bool GlyphPage(std::size_t outlines, CPolyPolyBezier& page) {
  FT_Library lib;
  if (FT_Init_FreeType(&lib)) return false;
  FT_Face face;
  if (FT_New_Face(lib, "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf", 0, &face)) {
    FT_Done_FreeType(lib);
    return false;
  }
  FT_Set_Pixel_Sizes(face, 0, static_cast<FT_UInt>(kEm));
  const std::string text =
      "Sphinx of black quartz, judge my vow. The quick brown fox jumps over the lazy dog. "
      "Pack my box with five dozen liquor jugs! 0123456789 ABDOPQR abdegopq & @ % 8 ";
  FT_Outline_Funcs funcs{};
  funcs.move_to = MoveTo;
  funcs.line_to = LineTo;
  funcs.conic_to = ConicTo;
  funcs.cubic_to = CubicTo;
  Builder b;
  b.origin = CDPOINT(0, kLineHeight);
  for (std::size_t k = 0; b.paths.size() < outlines; ++k) {
    const char ch = text[k % text.size()];
    if (FT_Load_Char(face, static_cast<FT_ULong>(static_cast<unsigned char>(ch)),
                     FT_LOAD_NO_BITMAP | FT_LOAD_NO_HINTING))
      continue;
    const std::size_t before = b.paths.size();
    FT_Outline_Decompose(&face->glyph->outline, &funcs, &b);
    if (b.paths.size() > before) ClosePolyBezier(*b.paths.back());
    b.origin.x += face->glyph->advance.x / 64.0;
    if (b.origin.x > kPageWidth) b.origin = CDPOINT(0, b.origin.y + kLineHeight);
  }
  FT_Done_Face(face);
  FT_Done_FreeType(lib);
  b.paths.resize(outlines);
  for (auto& p : b.paths) page.Add(p.release());
  return true;
}
#endif

// Fallback: rings of two concentric circles (outline and hole) on a grid.
void GeneratedPage(std::size_t outlines, CPolyPolyBezier& page) {
  for (std::size_t k = 0; page.GetSize() < static_cast<INT_PTR>(outlines); ++k) {
    const double x = static_cast<double>(k % 24) * 100, y = static_cast<double>(k / 24) * 100;
    for (double r : {40.0, 25.0}) {
      auto p = std::make_unique<CBPointArray>();
      p->CreateCircle(PLEXA::CDRECT(x - r, x + r, y - r, y + r));
      page.Add(p.release());
    }
  }
  while (page.GetSize() > static_cast<INT_PTR>(outlines))
    page.RemoveAt(static_cast<int>(page.GetSize() - 1));
}

const CPolyPolyBezier& Page(std::size_t outlines) {
  static std::vector<std::unique_ptr<CPolyPolyBezier>> cache;
  for (auto& p : cache)
    if (p->GetSize() == static_cast<INT_PTR>(outlines)) return *p;
  auto page = std::make_unique<CPolyPolyBezier>();
#ifdef PLEXA_BENCH_FREETYPE
  if (!GlyphPage(outlines, *page))
#endif
    GeneratedPage(outlines, *page);
  cache.push_back(std::move(page));
  return *cache.back();
}

// The plain rule, kept as the baseline: every ordered pair, every point counted.
void HolesReference(const CPolyPolyBezier& set, CArray<int, int>& holes, double ratio) {
  holes.RemoveAll();
  const int n = static_cast<int>(set.GetSize());
  if (n < 2) return;
  std::vector<CArray<tagPOINT>> polys(static_cast<std::size_t>(n));
  std::vector<CRect> rects(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    CArray<CDPOINT> flat;
    CDWordArray ends;
    set.GetAt(i)->ExecuteBPointArrayT(flat, ends, 1.0);
    for (const CDPOINT& q : flat)
      polys[static_cast<std::size_t>(i)].Add(tagPOINT{static_cast<LONG>(std::floor(q.x + 0.5)),
                                                      static_cast<LONG>(std::floor(q.y + 0.5))});
    rects[static_cast<std::size_t>(i)] =
        GetPolygonRect(polys[static_cast<std::size_t>(i)].GetData(),
                       static_cast<int>(polys[static_cast<std::size_t>(i)].GetSize()));
  }
  std::vector<bool> hole(static_cast<std::size_t>(n), false);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      if (i == j) continue;
      const auto& pi = polys[static_cast<std::size_t>(i)];
      const auto& pj = polys[static_cast<std::size_t>(j)];
      int count = 0;
      for (const tagPOINT& q : pj)
        count += IsPointInPolygon(pi.GetData(), static_cast<int>(pi.GetSize()), q,
                                  &rects[static_cast<std::size_t>(i)]);
      if (static_cast<double>(count) / static_cast<double>(pj.GetSize()) >= ratio)
        hole[static_cast<std::size_t>(j)] = true;
    }
  for (int j = 0; j < n; ++j)
    if (hole[static_cast<std::size_t>(j)]) holes.Add(j);
}

constexpr double kRatio = 0.9;

void BM_GetPolyPolyHoles(benchmark::State& state) {
  const CPolyPolyBezier& page = Page(static_cast<std::size_t>(state.range(0)));
  CArray<int, int> holes;
  for (auto _ : state) {
    GetPolyPolyHoles(page, holes, kRatio);
    benchmark::DoNotOptimize(holes.GetData());
  }
  state.counters["holes"] = static_cast<double>(holes.GetSize());
}
BENCHMARK(BM_GetPolyPolyHoles)
    ->Arg(100)
    ->Arg(200)
    ->Arg(400)
    ->Arg(800)
    ->Arg(1600)
    ->Unit(benchmark::kMillisecond);

void BM_HolesReference(benchmark::State& state) {
  const CPolyPolyBezier& page = Page(static_cast<std::size_t>(state.range(0)));
  CArray<int, int> holes;
  for (auto _ : state) {
    HolesReference(page, holes, kRatio);
    benchmark::DoNotOptimize(holes.GetData());
  }
}
BENCHMARK(BM_HolesReference)->Arg(100)->Arg(200)->Arg(400)->Unit(benchmark::kMillisecond);

// ---- Convex hull -------------------------------------------------------------------------

constexpr int kHullPoints = 100000;

const std::vector<tagPOINT>& HullInput() {
  static const std::vector<tagPOINT> pts = [] {
    std::mt19937 rng(2024);
    std::normal_distribution<double> d(0, 10000);  // a round cloud: a hull of a few dozen corners
    std::vector<tagPOINT> v;
    for (int i = 0; i < kHullPoints; ++i)
      v.push_back(tagPOINT{static_cast<LONG>(d(rng)), static_cast<LONG>(d(rng))});
    return v;
  }();
  return pts;
}

void BM_Hull_plexa(benchmark::State& state) {
  const auto& in = HullInput();
  CArray<tagPOINT> pts;
  for (auto _ : state) {
    state.PauseTiming();
    pts.SetSize(static_cast<INT_PTR>(in.size()));
    std::copy(in.begin(), in.end(), pts.GetData());
    state.ResumeTiming();
    GetConvexHull(pts);
    benchmark::DoNotOptimize(pts.GetData());
  }
  state.counters["corners"] = static_cast<double>(pts.GetSize() - 1);
}
BENCHMARK(BM_Hull_plexa)->Unit(benchmark::kMillisecond);

#ifdef PLEXA_BENCH_BOOST
namespace bg = boost::geometry;
using BPoint = bg::model::d2::point_xy<double>;

void BM_Hull_boost(benchmark::State& state) {
  bg::model::multi_point<BPoint> mp;
  for (const tagPOINT& p : HullInput()) mp.emplace_back(p.x, p.y);
  bg::model::polygon<BPoint> hull;
  for (auto _ : state) {
    bg::clear(hull);
    bg::convex_hull(mp, hull);
    benchmark::DoNotOptimize(&hull);
  }
  state.counters["corners"] = static_cast<double>(hull.outer().size() - 1);
}
BENCHMARK(BM_Hull_boost)->Unit(benchmark::kMillisecond);
#endif

void CheckBeforeTiming() {
  for (std::size_t n : {100u, 200u, 400u}) {
    CArray<int, int> fast, plain;
    GetPolyPolyHoles(Page(n), fast, kRatio);
    HolesReference(Page(n), plain, kRatio);
    bool same = fast.GetSize() == plain.GetSize();
    for (INT_PTR k = 0; same && k < fast.GetSize(); ++k) same = fast[k] == plain[k];
    std::printf("page of %zu outlines: %lld holes, %s the plain rule\n", n,
                static_cast<long long>(fast.GetSize()), same ? "same as" : "DIFFERENT FROM");
  }
  CArray<tagPOINT> pts;
  for (const tagPOINT& p : HullInput()) pts.Add(p);
  GetConvexHull(pts);
  std::printf("hull of %d points: %lld corners", kHullPoints,
              static_cast<long long>(pts.GetSize() - 1));
#ifdef PLEXA_BENCH_BOOST
  bg::model::multi_point<BPoint> mp;
  for (const tagPOINT& p : HullInput()) mp.emplace_back(p.x, p.y);
  bg::model::polygon<BPoint> hull;
  bg::convex_hull(mp, hull);
  std::vector<std::pair<double, double>> ours, theirs;
  for (INT_PTR k = 0; k + 1 < pts.GetSize(); ++k) ours.emplace_back(pts[k].x, pts[k].y);
  for (std::size_t k = 0; k + 1 < hull.outer().size(); ++k)
    theirs.emplace_back(hull.outer()[k].x(), hull.outer()[k].y());
  std::sort(ours.begin(), ours.end());
  std::sort(theirs.begin(), theirs.end());
  std::printf(" (Boost.Geometry: %zu, %s corners)", theirs.size(),
              ours == theirs ? "the same" : "different");
  for (const auto& c : theirs)
    if (!std::binary_search(ours.begin(), ours.end(), c))
      std::printf("; Boost only (%.0f, %.0f)", c.first, c.second);
  for (const auto& c : ours)
    if (!std::binary_search(theirs.begin(), theirs.end(), c))
      std::printf("; plexa only (%.0f, %.0f)", c.first, c.second);
#endif
  std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
#ifdef PLEXA_BENCH_FREETYPE
  std::printf("page: DejaVu Sans glyph outlines\n");
#else
  std::printf("page: generated rings (FreeType not found)\n");
#endif
  CheckBeforeTiming();
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatio("BM_HolesReference/400", "BM_GetPolyPolyHoles/400");
  reporter.PrintRatio("BM_GetPolyPolyHoles/1600", "BM_GetPolyPolyHoles/800");
  reporter.PrintRatio("BM_GetPolyPolyHoles/800", "BM_GetPolyPolyHoles/400");
  reporter.PrintRatio("BM_GetPolyPolyHoles/400", "BM_GetPolyPolyHoles/200");
  reporter.PrintRatio("BM_Hull_plexa", "BM_Hull_boost");
  benchmark::Shutdown();
}
