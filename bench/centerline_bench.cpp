// Centre lines of real line art, timed and measured: a page of DejaVu Sans lettering
// (fonts-dejavu-core) and a sheet of Adwaita symbolic icons (adwaita-icon-theme), each filled
// black on white and traced by CSkeleton (grey input, one unit a pixel). Before timing, the
// program prints per image: paths, Bezier segments, strokes (8-connected ink regions),
// segments per path and per stroke, and the distance from the traced curves to the medial
// axis of the ink (ridge pixels of the exact Euclidean distance transform), largest and
// 99th percentile, against the largest half stroke width.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "bench/glyph_paths.h"
#include "io/drawing.h"
#include "io/svg_read.h"
#include "plexa/plexa.h"

namespace {

struct Art {
  HBITMAP bmp = nullptr;
  int w = 0, h = 0;
};

// Fills the closed paths of set even-odd, black on white, scaled by s with a 20-pixel margin.
Art Fill(const CPolyPolyBezier& set, double s) {
  const PLEXA::CDRECT r = GetPolyPolyBezierRect(set, 1.0);
  Art a;
  a.w = static_cast<int>((r.xmax - r.xmin) * s) + 40;
  a.h = static_cast<int>((r.ymax - r.ymin) * s) + 40;
  a.bmp = CImgProc::CreateBitmap32(a.w, a.h);
  HDC dc = CreateCompatibleDC(nullptr);
  HGDIOBJ old = SelectObject(dc, a.bmp);
  const RECT all{0, 0, a.w, a.h};
  FillRect(dc, &all, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
  SelectObject(dc, GetStockObject(BLACK_BRUSH));
  SelectObject(dc, GetStockObject(NULL_PEN));
  BeginPath(dc);
  for (int i = 0; i < set.GetSize(); ++i) {
    const CBPointArray& p = set[i];
    if (p.GetSize() < 2) continue;
    std::vector<POINT> pts;
    auto at = [&](const PLEXA::CDPOINT& q) {
      return POINT{static_cast<LONG>(std::lround((q.x - r.xmin) * s + 20)),
                   static_cast<LONG>(std::lround((q.y - r.ymin) * s + 20))};
    };
    pts.push_back(at(p[0].anchor));
    for (INT_PTR k = 0; k + 1 < p.GetSize(); ++k)
      pts.push_back(at(p[k].out)), pts.push_back(at(p[k + 1].in)),
          pts.push_back(at(p[k + 1].anchor));
    PolyBezier(dc, pts.data(), static_cast<DWORD>(pts.size()));
    CloseFigure(dc);
  }
  EndPath(dc);
  FillPath(dc);
  SelectObject(dc, old);
  DeleteDC(dc);
  return a;
}

Art Lettering() {
  CPolyPolyBezier text;
  if (LoadGlyphPaths(text, "Sign Shop & Vinyl Cutting 0123456789") == 0) return {};
  return Fill(text, 160.0 / 2048);  // em of 160 pixels: stems about 18 pixels wide
}

Art Icons() {
  // The first 24 action icons by name, 4 rows of 6, each 16 units drawn 256 pixels wide.
  const std::filesystem::path dir = "/usr/share/icons/Adwaita/scalable/actions";
  std::vector<std::string> names;
  std::error_code ec;
  for (const auto& e : std::filesystem::directory_iterator(dir, ec))
    if (e.path().extension() == ".svg") names.push_back(e.path().string());
  std::sort(names.begin(), names.end());
  CPolyPolyBezier sheet;
  int placed = 0;
  for (const std::string& n : names) {
    if (placed == 24) break;
    plexa::io::Drawing d;
    std::string warning, error;
    if (!plexa::io::ReadSvgFile(n, d, warning, error)) continue;
    CView3D v;
    v.Translate(-20.0 * (placed % 6) * 10, -20.0 * (placed / 6) * 10, 0);  // 20 units apart
    d.paths.ApplyTransformation(v);
    sheet.AppendCurve(d.paths);
    ++placed;
  }
  if (placed == 0) return {};
  return Fill(sheet, 256.0 / 160);  // the reader gives tenths of a mm: 16 px = 160 units
}

// Exact squared Euclidean distance to the nearest pixel where seed holds (Felzenszwalb and
// Huttenlocher: one parabola pass along rows, one along columns).
std::vector<double> Distance(const std::vector<bool>& seed, int w, int h) {
  const double inf = 1e20;
  std::vector<double> d(seed.size());
  for (std::size_t i = 0; i < seed.size(); ++i) d[i] = seed[i] ? 0 : inf;
  auto pass = [&](int n, auto get, auto set) {
    std::vector<double> f(n), z(n + 1);
    std::vector<int> v(n);
    for (int q = 0; q < n; ++q) f[q] = get(q);
    int k = 0;
    v[0] = 0, z[0] = -inf, z[1] = inf;
    for (int q = 1; q < n; ++q) {
      double s;
      while (true) {
        s = ((f[q] + double(q) * q) - (f[v[k]] + double(v[k]) * v[k])) / (2.0 * q - 2.0 * v[k]);
        if (s > z[k] || k == 0) break;
        --k;
      }
      if (s <= z[k]) s = z[k];
      ++k, v[k] = q, z[k] = s, z[k + 1] = inf;
    }
    k = 0;
    for (int q = 0; q < n; ++q) {
      while (z[k + 1] < q) ++k;
      set(q, double(q - v[k]) * (q - v[k]) + f[v[k]]);
    }
  };
  for (int y = 0; y < h; ++y)
    pass(
        w, [&](int x) { return d[std::size_t(y) * w + x]; },
        [&](int x, double val) { d[std::size_t(y) * w + x] = val; });
  for (int x = 0; x < w; ++x)
    pass(
        h, [&](int y) { return d[std::size_t(y) * w + x]; },
        [&](int y, double val) { d[std::size_t(y) * w + x] = val; });
  return d;
}

void Report(const char* name, const Art& art) {
  if (art.bmp == nullptr) {
    std::printf("%s: not available (source files missing)\n", name);
    return;
  }
  const int w = art.w, h = art.h;
  tagBITMAP bm{};
  GetObjectW(art.bmp, sizeof bm, &bm);
  std::vector<bool> ink(std::size_t(w) * h), paper(ink.size());
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const bool dark = CImgProc::GetPixel32(bm, x, y) == 0;
      ink[std::size_t(y) * w + x] = dark, paper[std::size_t(y) * w + x] = !dark;
    }
  // Strokes: 8-connected ink regions.
  std::vector<int> region(ink.size(), -1);
  int strokes = 0;
  for (std::size_t s = 0; s < ink.size(); ++s) {
    if (!ink[s] || region[s] >= 0) continue;
    std::vector<std::size_t> stack{s};
    region[s] = strokes;
    while (!stack.empty()) {
      const std::size_t i = stack.back();
      stack.pop_back();
      const int x = int(i % w), y = int(i / w);
      for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
          const int nx = x + dx, ny = y + dy;
          if (nx < 0 || ny < 0 || nx >= w || ny >= h) continue;
          const std::size_t j = std::size_t(ny) * w + nx;
          if (ink[j] && region[j] < 0) region[j] = strokes, stack.push_back(j);
        }
    }
    ++strokes;
  }
  // Medial axis: ink pixels whose distance to the paper is a maximum along some line
  // (row, column or diagonal) through them.
  const std::vector<double> depth = Distance(paper, w, h);
  std::vector<bool> ridge(ink.size());
  double widest = 0;
  for (int y = 1; y + 1 < h; ++y)
    for (int x = 1; x + 1 < w; ++x) {
      const std::size_t i = std::size_t(y) * w + x;
      if (!ink[i]) continue;
      widest = std::max(widest, std::sqrt(depth[i]));
      for (auto [dx, dy] : {std::pair{1, 0}, {0, 1}, {1, 1}, {1, -1}}) {
        const double a = depth[std::size_t(y + dy) * w + x + dx],
                     b = depth[std::size_t(y - dy) * w + x - dx];
        if (depth[i] >= a && depth[i] >= b) ridge[i] = true;
      }
    }
  const std::vector<double> toAxis = Distance(ridge, w, h);

  CSkeleton skel;
  skel.Input(art.bmp, 254.0, 254.0);  // one unit a pixel
  CPolyPolyBezier out;
  skel.Output(out);
  std::size_t segments = 0;
  std::vector<double> off;
  for (int i = 0; i < out.GetSize(); ++i) {
    segments += std::size_t(std::max<INT_PTR>(out[i].GetSize() - 1, 0));
    for (INT_PTR k = 0; k + 1 < out[i].GetSize(); ++k) {
      const CBezier seg(out[i][k], out[i][k + 1]);
      for (int s = 0; s < 16; ++s) {
        const PLEXA::CDPOINT p = seg.GetCurvePoint(s / 16.0);
        const int x = static_cast<int>(std::lround(p.x - 1)),
                  y = static_cast<int>(std::lround(p.y - 1));
        if (x < 0 || y < 0 || x >= w || y >= h) continue;  // cells are pixel + 1
        off.push_back(std::sqrt(toAxis[std::size_t(y) * w + x]));
      }
    }
  }
  std::sort(off.begin(), off.end());
  const double worst = off.empty() ? 0 : off.back();
  const double p99 = off.empty() ? 0 : off[off.size() * 99 / 100];
  std::printf(
      "%s (%d x %d px): %d strokes, %d paths, %zu segments: %.2f segments a path, %.2f a stroke; "
      "distance to the medial axis: largest %.2f px, 99%% within %.2f px (half stroke width up "
      "to %.1f px; sampled to the nearest pixel)\n",
      name, w, h, strokes, int(out.GetSize()), segments,
      out.GetSize() ? double(segments) / out.GetSize() : 0.0,
      strokes ? double(segments) / strokes : 0.0, worst, p99, widest);
}

void Trace(benchmark::State& state, const Art& art) {
  if (art.bmp == nullptr) return state.SkipWithError("source files missing");
  int paths = 0;
  for (auto _ : state) {
    CSkeleton skel;
    skel.Input(art.bmp, 254.0, 254.0);
    CPolyPolyBezier out;
    skel.Output(out);
    paths = static_cast<int>(out.GetSize());
    benchmark::DoNotOptimize(paths);
  }
  state.counters["pixels"] = double(art.w) * art.h;
  state.counters["paths"] = paths;
}

const Art& TextArt() {
  static const Art a = Lettering();
  return a;
}
const Art& IconArt() {
  static const Art a = Icons();
  return a;
}

void BM_CenterlineLettering(benchmark::State& state) {
  Trace(state, TextArt());
}
void BM_CenterlineIcons(benchmark::State& state) {
  Trace(state, IconArt());
}
BENCHMARK(BM_CenterlineLettering)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CenterlineIcons)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  Report("DejaVu Sans lettering", TextArt());
  Report("Adwaita action icons", IconArt());
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
