// Shape tracing of a page of artwork: DejaVu Sans lettering filled white on black into a
// bitmap by the drawing layer, then traced with CShapeTrace (boundary following plus FitCurve
// at 5 pixels). Sizes grow the page, so the cost per pixel and per outline can be read off.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <vector>

#include "bench/glyph_paths.h"
#include "plexa/plexa.h"

namespace {

// A page of `lines` lines of text, each glyph about `em` pixels high.
HBITMAP Page(int lines, double em, int& width, int& height, int& outlines) {
  CPolyPolyBezier text;
  const char* line = "Sign Shop & Vinyl Cutting 0123456789";
  for (int l = 0; l < lines; ++l) {
    CPolyPolyBezier one;
    LoadGlyphPaths(one, line);
    CView3D v;
    v.Translate(0, -(l + 1) * 1.3 * 2048, 0);  // down a line (translation is negated)
    one.ApplyTransformation(v);
    text.AppendCurve(one);
  }
  outlines = static_cast<int>(text.GetSize());
  const PLEXA::CDRECT r = GetPolyPolyBezierRect(text, 1.0);
  const double s = em / 2048;
  width = static_cast<int>((r.xmax - r.xmin) * s) + 20;
  height = static_cast<int>((r.ymax - r.ymin) * s) + 20;
  HBITMAP bmp = CImgProc::CreateBitmap32(width, height);
  HDC dc = CreateCompatibleDC(nullptr);
  HGDIOBJ old = SelectObject(dc, bmp);
  SelectObject(dc, GetStockObject(WHITE_BRUSH));
  SelectObject(dc, GetStockObject(NULL_PEN));
  BeginPath(dc);
  for (int i = 0; i < text.GetSize(); ++i) {
    const CBPointArray& p = text[i];
    std::vector<POINT> pts;
    auto at = [&](const PLEXA::CDPOINT& q) {
      return POINT{static_cast<LONG>((q.x - r.xmin) * s + 10),
                   static_cast<LONG>((q.y - r.ymin) * s + 10)};
    };
    pts.push_back(at(p[0].anchor));
    for (INT_PTR k = 0; k + 1 < p.GetSize(); ++k) {
      pts.push_back(at(p[k].out));
      pts.push_back(at(p[k + 1].in));
      pts.push_back(at(p[k + 1].anchor));
    }
    PolyBezier(dc, pts.data(), static_cast<DWORD>(pts.size()));
    CloseFigure(dc);
  }
  EndPath(dc);
  FillPath(dc);
  SelectObject(dc, old);
  DeleteDC(dc);
  return bmp;
}

void BM_ShapeTrace(benchmark::State& state) {
  int w = 0, h = 0, glyphOutlines = 0;
  HBITMAP page = Page(static_cast<int>(state.range(0)), 120, w, h, glyphOutlines);
  if (glyphOutlines == 0) {
    DeleteObject(page);
    return state.SkipWithError("no glyph outlines (FreeType or DejaVu missing)");
  }
  int traced = 0;
  for (auto _ : state) {
    CShapeTrace trace(page);
    CPolyPolyBezier out;
    trace.DoTrace(out, 10);
    traced = static_cast<int>(out.GetSize());
    benchmark::DoNotOptimize(traced);
  }
  DeleteObject(page);
  state.counters["pixels"] = static_cast<double>(w) * h;
  state.counters["outlines"] = traced;
  state.counters["Mpixels/s"] = benchmark::Counter(static_cast<double>(w) * h / 1e6,
                                                   benchmark::Counter::kIsIterationInvariantRate);
}

}  // namespace

BENCHMARK(BM_ShapeTrace)->Arg(1)->Arg(4)->Arg(16)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
