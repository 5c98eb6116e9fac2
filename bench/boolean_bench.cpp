// Boolean operations against Clipper 6.4 (libpolyclipping, installed by scripts/bench-peers.sh)
// on the same polygons: a page of overlapping DejaVu glyphs welded (curves for plexa, the same
// curves flattened at the same tolerance for Clipper), two 10,000-vertex stars intersected,
// a drawing of 100,000 edges (2,500 random 40-gons) welded, 900 overlapping squares welded
// (3,600 edges, the Python benchmark's case), and small inputs where the fixed cost of a call
// shows: 2 squares, 4 overlapping 16-gons and 10 overlapping 30-gons (8, 64 and 300 edges).
// Each case prints the time ratio (plexa / Clipper, medians) and the node counts of both
// results.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <string>

#include "bench/glyph_paths.h"
#include "bench/ratio.h"
#include "plexa/plexa.h"

#ifdef PLEXA_BENCH_CLIPPER
#include <polyclipping/clipper.hpp>
#endif

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

struct Case {
  CPolyPolyBezier a, b;
  BooleanOp op = BooleanOp::kUnion;
};

CBPointArray* Polygon(const std::vector<CDPOINT>& pts) {
  auto* p = new CBPointArray;
  for (const CDPOINT& q : pts) p->Add(CBPOINT(q, q, q));
  p->Add(CBPOINT(pts[0], pts[0], pts[0]));
  return p;
}

CBPointArray* Star(int vertices, double r0, double r1, double phase) {
  std::vector<CDPOINT> pts;
  for (int i = 0; i < vertices; ++i) {
    const double a = phase + 2 * M_PI * i / vertices, r = i % 2 ? r1 : r0;
    pts.emplace_back(r * std::cos(a), r * std::sin(a));
  }
  return Polygon(pts);
}

const Case& Glyphs() {
  static Case c = [] {
    Case k;
    for (int line = 0; line < 8; ++line) {
      CPolyPolyBezier row;
      LoadGlyphPaths(row, "Welding overlapping script letters");
      for (INT_PTR i = 0; i < row.GetSize(); ++i)
        for (INT_PTR n = 0; n < row[static_cast<int>(i)].GetSize(); ++n) {
          CBPOINT& p = row[static_cast<int>(i)][static_cast<int>(n)];
          for (CDPOINT* q : {&p.in, &p.anchor, &p.out}) q->x *= 0.5, q->y += 1400.0 * line;
        }
      k.a.AppendCurve(row);
    }
    return k;
  }();
  return c;
}
const Case& Stars() {
  static Case c = [] {
    Case k;
    k.a.Add(Star(10000, 1000, 800, 0));
    k.b.Add(Star(10000, 1000, 800, 0.00031));
    k.op = BooleanOp::kIntersection;
    return k;
  }();
  return c;
}
const Case& Drawing() {
  static Case c = [] {
    Case k;
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> pos(0, 10000), rad(20, 200);
    for (int i = 0; i < 2500; ++i) {
      const double cx = pos(rng), cy = pos(rng), r = rad(rng);
      std::vector<CDPOINT> pts;
      for (int j = 0; j < 40; ++j)
        pts.emplace_back(cx + r * std::cos(2 * M_PI * j / 40),
                         cy + r * std::sin(2 * M_PI * j / 40));
      k.a.Add(Polygon(pts));
    }
    return k;
  }();
  return c;
}

const Case& Squares() {
  static Case c = [] {
    Case k;
    for (int i = 0; i < 30; ++i)
      for (int j = 0; j < 30; ++j)
        k.a.Add(Polygon({{i * 7.0, j * 7.0}, {i * 7.0 + 10, j * 7.0}, {i * 7.0 + 10, j * 7.0 + 10},
                         {i * 7.0, j * 7.0 + 10}}));
    return k;
  }();
  return c;
}
// count overlapping regular polygons of `sides` sides on a circle, welded.
Case Ring(int count, int sides) {
  Case k;
  for (int i = 0; i < count; ++i) {
    const double cx = 30 * std::cos(2 * M_PI * i / count), cy = 30 * std::sin(2 * M_PI * i / count);
    std::vector<CDPOINT> pts;
    for (int j = 0; j < sides; ++j)
      pts.emplace_back(cx + 40 * std::cos(2 * M_PI * j / sides + 0.1),
                       cy + 40 * std::sin(2 * M_PI * j / sides + 0.1));
    k.a.Add(Polygon(pts));
  }
  return k;
}
const Case& Small(int edges) {
  static const Case c8 = Ring(2, 4), c64 = Ring(4, 16), c300 = Ring(10, 30);
  return edges <= 8 ? c8 : edges <= 64 ? c64 : c300;
}

INT_PTR Nodes(const CPolyPolyBezier& s) {
  INT_PTR n = 0;
  for (INT_PTR i = 0; i < s.GetSize(); ++i) n += s[static_cast<int>(i)].GetSize() - 1;
  return n;
}

void RunPlexa(benchmark::State& state, const Case& c) {
  CPolyPolyBezier out;
  for (auto _ : state) {
    BooleanPolyPolyBezier(c.a, c.b, c.op, out);
    benchmark::DoNotOptimize(out.GetSize());
  }
  state.counters["nodes"] = static_cast<double>(Nodes(out));
  state.counters["paths"] = static_cast<double>(out.GetSize());
}
void BM_PlexaGlyphWeld(benchmark::State& s) {
  RunPlexa(s, Glyphs());
}
void BM_PlexaStarIntersect(benchmark::State& s) {
  RunPlexa(s, Stars());
}
void BM_PlexaDrawingWeld(benchmark::State& s) {
  RunPlexa(s, Drawing());
}
void BM_PlexaSquaresWeld(benchmark::State& s) {
  RunPlexa(s, Squares());
}
void BM_PlexaSmallWeld(benchmark::State& s) {
  RunPlexa(s, Small(static_cast<int>(s.range(0))));
}
BENCHMARK(BM_PlexaGlyphWeld)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlexaStarIntersect)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlexaDrawingWeld)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlexaSquaresWeld)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_PlexaSmallWeld)->Arg(8)->Arg(64)->Arg(300)->Unit(benchmark::kMicrosecond);

#ifdef PLEXA_BENCH_CLIPPER
// The same sets as Clipper paths: curves flattened by halving until the handles are within
// 0.01 / 0.75 of the chord's thirds (the criterion plexa flattens with), scaled by 1,000.
void FlattenInto(const CDPOINT q[4], int depth, ClipperLib::Path& out) {
  const CDPOINT l1 = q[0] + (q[3] - q[0]) * (1.0 / 3), l2 = q[0] + (q[3] - q[0]) * (2.0 / 3);
  const double dev =
      std::max(std::hypot(q[1].x - l1.x, q[1].y - l1.y), std::hypot(q[2].x - l2.x, q[2].y - l2.y));
  if (depth >= 12 || dev <= 0.01 / 0.75) {
    out.push_back({std::llround(q[3].x * 1000), std::llround(q[3].y * 1000)});
    return;
  }
  const CDPOINT a = (q[0] + q[1]) * 0.5, b = (q[1] + q[2]) * 0.5, c = (q[2] + q[3]) * 0.5;
  const CDPOINT ab = (a + b) * 0.5, bc = (b + c) * 0.5, m = (ab + bc) * 0.5;
  const CDPOINT l[4] = {q[0], a, ab, m}, r[4] = {m, bc, c, q[3]};
  FlattenInto(l, depth + 1, out);
  FlattenInto(r, depth + 1, out);
}
ClipperLib::Paths ToClipper(const CPolyPolyBezier& s) {
  ClipperLib::Paths paths;
  for (INT_PTR i = 0; i < s.GetSize(); ++i) {
    const CBPointArray& p = s[static_cast<int>(i)];
    ClipperLib::Path path;
    for (INT_PTR k = 0; k + 1 < p.GetSize(); ++k) {
      const CDPOINT q[4] = {p[k].anchor, p[k].out, p[k + 1].in, p[k + 1].anchor};
      const bool straight = q[1] == q[0] && q[2] == q[3];
      if (straight)
        path.push_back({std::llround(q[3].x * 1000), std::llround(q[3].y * 1000)});
      else
        FlattenInto(q, 0, path);
    }
    paths.push_back(std::move(path));
  }
  return paths;
}
void RunClipper(benchmark::State& state, const Case& c) {
  const ClipperLib::Paths a = ToClipper(c.a), b = ToClipper(c.b);
  const ClipperLib::ClipType ct[4] = {ClipperLib::ctUnion, ClipperLib::ctIntersection,
                                      ClipperLib::ctDifference, ClipperLib::ctXor};
  ClipperLib::Paths out;
  std::size_t edges = 0;
  for (const auto& p : a) edges += p.size();
  for (const auto& p : b) edges += p.size();
  for (auto _ : state) {
    ClipperLib::Clipper cl;
    cl.AddPaths(a, ClipperLib::ptSubject, true);
    if (!b.empty()) cl.AddPaths(b, ClipperLib::ptClip, true);
    cl.Execute(ct[static_cast<int>(c.op)], out, ClipperLib::pftNonZero, ClipperLib::pftNonZero);
    benchmark::DoNotOptimize(out.size());
  }
  std::size_t n = 0;
  for (const auto& p : out) n += p.size();
  state.counters["nodes"] = static_cast<double>(n);
  state.counters["paths"] = static_cast<double>(out.size());
  state.counters["input_edges"] = static_cast<double>(edges);
}
void BM_ClipperGlyphWeld(benchmark::State& s) {
  RunClipper(s, Glyphs());
}
void BM_ClipperStarIntersect(benchmark::State& s) {
  RunClipper(s, Stars());
}
void BM_ClipperDrawingWeld(benchmark::State& s) {
  RunClipper(s, Drawing());
}
void BM_ClipperSquaresWeld(benchmark::State& s) {
  RunClipper(s, Squares());
}
void BM_ClipperSmallWeld(benchmark::State& s) {
  RunClipper(s, Small(static_cast<int>(s.range(0))));
}
BENCHMARK(BM_ClipperGlyphWeld)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ClipperStarIntersect)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ClipperDrawingWeld)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ClipperSquaresWeld)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ClipperSmallWeld)->Arg(8)->Arg(64)->Arg(300)->Unit(benchmark::kMicrosecond);
#endif

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  MedianReporter r;
  benchmark::RunSpecifiedBenchmarks(&r);
  r.PrintRatio("BM_PlexaGlyphWeld", "BM_ClipperGlyphWeld");
  r.PrintRatio("BM_PlexaStarIntersect", "BM_ClipperStarIntersect");
  r.PrintRatio("BM_PlexaDrawingWeld", "BM_ClipperDrawingWeld");
  r.PrintRatio("BM_PlexaSquaresWeld", "BM_ClipperSquaresWeld");
  for (const char* n : {"/8", "/64", "/300"})
    r.PrintRatio(std::string("BM_PlexaSmallWeld") + n, std::string("BM_ClipperSmallWeld") + n);
  benchmark::Shutdown();
  return 0;
}
