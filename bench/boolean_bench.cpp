// Boolean operations against Clipper 6.4 (libpolyclipping, installed by scripts/bench-peers.sh)
// on the same polygons: a page of overlapping DejaVu glyphs welded (curves for plexa, the same
// curves flattened at the same tolerance for Clipper), two 10,000-vertex stars intersected,
// a drawing of 100,000 edges (2,500 random 40-gons) welded, 900 overlapping squares welded
// (3,600 edges, the Python benchmark's case), and small inputs where the fixed cost of a call
// shows: 2 squares, 4 overlapping 16-gons and 10 overlapping 30-gons (8, 64 and 300 edges).
// Each case prints the time ratio (plexa / Clipper, medians) and the node counts of both
// results.
//
// After the timings, the same operations on curve inputs are compared with paper.js (run under
// node by bench/peers/paper_boolean.mjs, when scripts/bench-peers.sh installed it): a page of
// DejaVu glyphs united with itself shifted, circles intersected with and cut by ellipses, and
// script-like overlapping letters (alternate letters as the two operands) united. Printed per
// case: both times (medians of 5) and their ratio, both areas, and the largest distance from
// dense samples of either result to the other's boundary, against this library's stated
// accuracy (the flattening tolerance plus one grid step).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

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
        k.a.Add(Polygon({{i * 7.0, j * 7.0},
                         {i * 7.0 + 10, j * 7.0},
                         {i * 7.0 + 10, j * 7.0 + 10},
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

// ---- paper.js on curve inputs ----

void Shift(CPolyPolyBezier& s, double dx, double dy, double sx = 1, double sy = 1) {
  for (INT_PTR i = 0; i < s.GetSize(); ++i)
    for (INT_PTR n = 0; n < s[static_cast<int>(i)].GetSize(); ++n) {
      CBPOINT& p = s[static_cast<int>(i)][static_cast<int>(n)];
      for (CDPOINT* q : {&p.in, &p.anchor, &p.out}) q->x = q->x * sx + dx, q->y = q->y * sy + dy;
    }
}

struct PaperCase {
  const char* name;
  const char* op;  // paper's method
  BooleanOp ours;
  CPolyPolyBezier a, b;
};

void MakePaperCases(std::vector<PaperCase>& cases) {
  cases.resize(4);
  cases[0] = {"glyph page united with itself shifted", "unite", BooleanOp::kUnion, {}, {}};
  for (int line = 0; line < 4; ++line) {
    CPolyPolyBezier row;
    LoadGlyphPaths(row, "Welding overlapping script letters");
    Shift(row, 0, 1400.0 * line, 0.5, 1);
    cases[0].a.AppendCurve(row);
    Shift(row, 60, 45);
    cases[0].b.AppendCurve(row);
  }
  for (int k = 1; k <= 2; ++k) {
    cases[static_cast<std::size_t>(k)] = {
        k == 1 ? "100 circles intersected with 100 ellipses" : "100 circles cut by 100 ellipses",
        k == 1 ? "intersect" : "subtract",
        k == 1 ? BooleanOp::kIntersection : BooleanOp::kDifference,
        {},
        {}};
    for (int i = 0; i < 10; ++i)
      for (int j = 0; j < 10; ++j) {
        auto* c = new CBPointArray;
        CBPointArray::GetCircleBPoints(
            PLEXA::CDRECT(i * 100.0 - 60, i * 100.0 + 60, j * 100.0 - 60, j * 100.0 + 60), *c);
        cases[static_cast<std::size_t>(k)].a.Add(c);
        auto* e = new CBPointArray;
        CBPointArray::GetCircleBPoints(
            PLEXA::CDRECT(i * 100.0 - 20, i * 100.0 + 90, j * 100.0 + 10, j * 100.0 + 55), *e);
        cases[static_cast<std::size_t>(k)].b.Add(e);
      }
  }
  cases[3] = {"script-like overlapping letters united", "unite", BooleanOp::kUnion, {}, {}};
  const std::string word = "welding minimum overlapping";
  for (std::size_t i = 0; i < word.size(); ++i) {
    if (word[i] == ' ') continue;
    CPolyPolyBezier letter;
    LoadGlyphPaths(letter, std::string(1, word[i]));
    Shift(letter, 820.0 * static_cast<double>(i), 0);
    (i % 2 ? cases[3].b : cases[3].a).AppendCurve(letter);
  }
}

using Polyline = std::vector<CDPOINT>;
std::vector<Polyline> Sampled(const CPolyPolyBezier& s, int per) {
  std::vector<Polyline> out;
  for (INT_PTR i = 0; i < s.GetSize(); ++i) {
    const CBPointArray& p = s[static_cast<int>(i)];
    Polyline line;
    for (INT_PTR k = 0; k + 1 < p.GetSize(); ++k) {
      const CBezier b(p.GetData()[k], p.GetData()[k + 1]);
      for (int m = 0; m < per; ++m) line.push_back(b.GetCurvePoint(m / static_cast<double>(per)));
    }
    if (!line.empty()) line.push_back(line[0]);
    out.push_back(std::move(line));
  }
  return out;
}
double Area(const std::vector<Polyline>& lines) {
  double a = 0;
  for (const Polyline& l : lines)
    for (std::size_t k = 0; k + 1 < l.size(); ++k) a += l[k].x * l[k + 1].y - l[k + 1].x * l[k].y;
  return std::fabs(a) * 0.5;
}
double SegDist(const CDPOINT& p, const CDPOINT& a, const CDPOINT& b) {
  const double dx = b.x - a.x, dy = b.y - a.y, l2 = dx * dx + dy * dy;
  double t = l2 > 0 ? ((p.x - a.x) * dx + (p.y - a.y) * dy) / l2 : 0;
  t = std::clamp(t, 0.0, 1.0);
  return std::hypot(p.x - a.x - t * dx, p.y - a.y - t * dy);
}
// The edges of a set of polylines in a bucket grid: distance queries search it ring by ring.
class EdgeGrid {
 public:
  explicit EdgeGrid(const std::vector<Polyline>& lines) {
    std::size_t ne = 0;
    for (const Polyline& l : lines)
      for (const CDPOINT& p : l)
        x0_ = std::min(x0_, p.x), y0_ = std::min(y0_, p.y), x1_ = std::max(x1_, p.x),
        y1_ = std::max(y1_, p.y), ++ne;
    n_ = std::max(1, static_cast<int>(std::sqrt(static_cast<double>(ne)) / 2));
    cw_ = std::max((x1_ - x0_) / n_, 1e-9), ch_ = std::max((y1_ - y0_) / n_, 1e-9);
    cells_.resize(static_cast<std::size_t>(n_ * n_));
    for (const Polyline& l : lines)
      for (std::size_t k = 0; k + 1 < l.size(); ++k)
        for (int j = Cy(std::min(l[k].y, l[k + 1].y)); j <= Cy(std::max(l[k].y, l[k + 1].y)); ++j)
          for (int i = Cx(std::min(l[k].x, l[k + 1].x)); i <= Cx(std::max(l[k].x, l[k + 1].x)); ++i)
            cells_[static_cast<std::size_t>(j * n_ + i)].emplace_back(l[k], l[k + 1]);
    empty_ = ne == 0;
  }
  double Dist(const CDPOINT& p) const {
    if (empty_) return 1e300;
    const int pi = Cx(p.x), pj = Cy(p.y);
    double best = 1e300;
    for (int r = 0; r <= n_; ++r) {
      for (int j = pj - r; j <= pj + r; ++j)
        for (int i = pi - r; i <= pi + r; ++i) {
          if (i < 0 || j < 0 || i >= n_ || j >= n_) continue;
          if (std::max(std::abs(i - pi), std::abs(j - pj)) != r) continue;
          for (const auto& [a, b] : cells_[static_cast<std::size_t>(j * n_ + i)])
            best = std::min(best, SegDist(p, a, b));
        }
      if (best <= r * std::min(cw_, ch_)) break;
    }
    return best;
  }

 private:
  int Cx(double x) const { return std::clamp(static_cast<int>((x - x0_) / cw_), 0, n_ - 1); }
  int Cy(double y) const { return std::clamp(static_cast<int>((y - y0_) / ch_), 0, n_ - 1); }
  double x0_ = 1e300, y0_ = 1e300, x1_ = -1e300, y1_ = -1e300, cw_ = 1, ch_ = 1;
  int n_ = 1;
  bool empty_ = true;
  std::vector<std::vector<std::pair<CDPOINT, CDPOINT>>> cells_;
};

// Largest distance from the points of `from` to the edges of `to`, and how many points lie
// farther than `limit`.
std::pair<double, std::size_t> Farthest(const std::vector<Polyline>& from,
                                        const std::vector<Polyline>& to, double limit) {
  const EdgeGrid grid(to);
  double worst = 0;
  std::size_t beyond = 0;
  for (const Polyline& l : from)
    for (const CDPOINT& p : l) {
      const double d = grid.Dist(p);
      worst = std::max(worst, d);
      if (d > limit) ++beyond;
    }
  return {worst, beyond};
}

// Non-zero winding of the polylines around p.
int Winding(const std::vector<Polyline>& lines, const CDPOINT& p) {
  int w = 0;
  for (const Polyline& l : lines)
    for (std::size_t k = 0; k + 1 < l.size(); ++k) {
      const CDPOINT& a = l[k];
      const CDPOINT& b = l[k + 1];
      const double c = (b.x - a.x) * (p.y - a.y) - (p.x - a.x) * (b.y - a.y);
      if (a.y <= p.y && b.y > p.y && c > 0) ++w;
      if (a.y > p.y && b.y <= p.y && c < 0) --w;
    }
  return w;
}

std::string Quote(const std::string& s) {
  std::string q = "'";
  for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

void WritePaths(std::ostream& out, const char* tag, const CPolyPolyBezier& s) {
  for (INT_PTR i = 0; i < s.GetSize(); ++i) {
    const CBPointArray& p = s[static_cast<int>(i)];
    // Closed: a last node equal to the first is the first node's incoming half.
    INT_PTR n = p.GetSize();
    const bool repeats = n > 1 && p[n - 1].anchor == p[0].anchor;
    if (repeats) --n;
    out << tag;
    for (INT_PTR k = 0; k < n; ++k) {
      const CBPOINT& q = p[static_cast<int>(k)];
      const CDPOINT in = k == 0 && repeats ? p[static_cast<int>(p.GetSize() - 1)].in : q.in;
      out << ' ' << in.x << ' ' << in.y << ' ' << q.anchor.x << ' ' << q.anchor.y << ' ' << q.out.x
          << ' ' << q.out.y;
    }
    out << '\n';
  }
}

void ComparePaper() {
  namespace fs = std::filesystem;
  fs::path script = fs::path(__FILE__).parent_path() / "peers" / "paper_boolean.mjs";
  if (!fs::exists(script)) script = fs::path("bench") / "peers" / "paper_boolean.mjs";
  if (std::system("command -v node >/dev/null 2>&1") != 0) {
    std::printf("paper.js: node not found; comparison skipped\n");
    return;
  }
  if (!fs::exists(script) || !fs::exists(script.parent_path() / "node_modules" / "paper")) {
    std::printf("paper.js: not installed (scripts/bench-peers.sh); comparison skipped\n");
    return;
  }
  std::vector<PaperCase> cases;
  MakePaperCases(cases);
  if (cases[0].a.GetSize() == 0) {
    std::printf("paper.js: no glyph outlines (FreeType or DejaVu missing); comparison skipped\n");
    return;
  }
  const fs::path file =
      fs::temp_directory_path() / ("plexa_paper_" + std::to_string(getpid()) + ".txt");
  {
    std::ofstream out(file);
    out.precision(17);
    for (const PaperCase& c : cases) {
      out << "case " << c.op << '\n';
      WritePaths(out, "a", c.a);
      WritePaths(out, "b", c.b);
    }
  }
  std::string text;
  {
    FILE* pipe =
        popen(("node " + Quote(script.string()) + " " + Quote(file.string())).c_str(), "r");
    char buf[1 << 16];
    std::size_t got;
    while (pipe != nullptr && (got = std::fread(buf, 1, sizeof buf, pipe)) > 0)
      text.append(buf, got);
    const int status = pipe != nullptr ? pclose(pipe) : -1;
    fs::remove(file);
    if (status != 0) {
      std::printf("paper.js: run failed; comparison skipped\n");
      return;
    }
  }
  std::istringstream in(text);
  std::string line;
  int index = -1;
  std::vector<double> paperMs(cases.size(), 0);
  std::vector<CPolyPolyBezier> theirs(cases.size());
  while (std::getline(in, line)) {
    std::istringstream ls(line);
    std::string kind;
    ls >> kind;
    if (kind == "case") {
      ++index;
      if (index >= static_cast<int>(cases.size())) break;
      ls >> paperMs[static_cast<std::size_t>(index)];
    } else if (kind == "path" && index >= 0) {
      std::vector<double> v;
      for (double x; ls >> x;) v.push_back(x);
      auto* p = new CBPointArray;
      for (std::size_t k = 0; k + 5 < v.size(); k += 6)
        p->Add(CBPOINT(CDPOINT(v[k], v[k + 1]), CDPOINT(v[k + 2], v[k + 3]),
                       CDPOINT(v[k + 4], v[k + 5])));
      if (p->GetSize() > 0) p->Add((*p)[0]);
      theirs[static_cast<std::size_t>(index)].Add(p);
    }
  }
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const PaperCase& c = cases[i];
    CPolyPolyBezier ours;
    std::vector<double> times;
    for (int r = 0; r < 6; ++r) {
      const auto t0 = std::chrono::steady_clock::now();
      BooleanPolyPolyBezier(c.a, c.b, c.ours, ours);
      const auto t1 = std::chrono::steady_clock::now();
      if (r > 0) times.push_back(std::chrono::duration<double, std::milli>(t1 - t0).count());
    }
    std::sort(times.begin(), times.end());
    // The stated accuracy: the default flattening tolerance plus one grid step.
    double x0 = 1e300, x1 = -1e300, y0 = 1e300, y1 = -1e300;
    for (const CPolyPolyBezier* s : {&c.a, &c.b})
      for (INT_PTR k = 0; k < s->GetSize(); ++k)
        for (const CBPOINT& q : (*s)[static_cast<int>(k)])
          for (const CDPOINT& p : {q.in, q.anchor, q.out})
            x0 = std::min(x0, p.x), x1 = std::max(x1, p.x), y0 = std::min(y0, p.y),
            y1 = std::max(y1, p.y);
    const double accuracy =
        BooleanOptions{}.tolerance + std::max(x1 - x0, y1 - y0) / 2 / 67108864.0;
    const auto so = Sampled(ours, 32), st = Sampled(theirs[i], 32);
    const double ao = Area(so), at = Area(st);
    const auto [dOT, nOT] = Farthest(so, st, accuracy);
    const auto [dTO, nTO] = Farthest(st, so, accuracy);
    // The point oracle: the operation applied to the inputs' windings on a lattice of points
    // farther than `margin` from every input boundary, against both results' windings.
    const auto sa = Sampled(c.a, 16), sb = Sampled(c.b, 16);
    std::vector<Polyline> both = sa;
    both.insert(both.end(), sb.begin(), sb.end());
    const EdgeGrid inputs(both);
    const double margin = 100 * accuracy;
    int tested = 0, wrongOurs = 0, wrongTheirs = 0;
    for (int j = 0; j < 80; ++j)
      for (int k = 0; k < 80; ++k) {
        const CDPOINT p(x0 + (x1 - x0) * (k + 0.5) / 80, y0 + (y1 - y0) * (j + 0.5) / 80);
        if (inputs.Dist(p) < margin) continue;
        const bool ia = Winding(sa, p) != 0, ib = Winding(sb, p) != 0;
        const bool want = c.ours == BooleanOp::kUnion          ? ia || ib
                          : c.ours == BooleanOp::kIntersection ? ia && ib
                                                               : ia && !ib;
        ++tested;
        wrongOurs += (Winding(so, p) != 0) != want;
        wrongTheirs += (Winding(st, p) != 0) != want;
      }
    std::size_t samples = 0;
    for (const auto* s : {&so, &st})
      for (const Polyline& l : *s) samples += l.size();
    std::printf("paper.js: %s: plexa %.2f ms, paper.js %.2f ms, ratio %.2f; paths %d / %d\n",
                c.name, times[times.size() / 2], paperMs[i], times[times.size() / 2] / paperMs[i],
                static_cast<int>(ours.GetSize()), static_cast<int>(theirs[i].GetSize()));
    std::printf(
        "paper.js:   area %.6g / %.6g (rel. diff %.2g); farthest sample %.3g (ours to theirs) "
        "%.3g (theirs to ours); %zu of %zu samples beyond the accuracy %.3g\n",
        ao, at, std::fabs(ao - at) / std::max(at, 1e-300), dOT, dTO, nOT + nTO, samples, accuracy);
    std::printf(
        "paper.js:   point oracle (%d lattice points off the input boundaries): %d wrong in "
        "plexa's result, %d in paper.js's\n",
        tested, wrongOurs, wrongTheirs);
  }
}

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
  ComparePaper();
  benchmark::Shutdown();
  return 0;
}
