// Glyph outlines: glyphs converted a second over a whole font (DejaVu Sans), through the font
// layer's native records and the conversion to cubic paths, against FreeType's own outline
// decomposition of the same glyphs in the same run; and the public per-character call, which
// also makes the font each time.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "bench/ratio.h"
#include "plexa/draw/internal/glyph_convert.h"
#include "plexa/plexa.h"

#ifdef PLEXA_BENCH_FREETYPE
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H
#endif

namespace {

constexpr const char* kFontFile = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
constexpr MAT2 kIdentity = {{0, 1}, {0, 0}, {0, 0}, {0, 1}};

LOGFONTW Font(LONG height) {
  LOGFONTW lf{};
  lf.lfHeight = height;
  std::wcsncpy(lf.lfFaceName, L"DejaVu Sans", LF_FACESIZE - 1);
  return lf;
}

void BM_PlexaWholeFont(benchmark::State& state) {
  LOGFONTW lf = Font(-2048);
  HDC dc = CreateDCW(L"DISPLAY", nullptr, nullptr, nullptr);
  HFONT font = CreateFontIndirectW(&lf);
  SelectObject(dc, font);
  std::vector<BYTE> buf;
  long glyphs = 0, nodes = 0;
  for (auto _ : state) {
    glyphs = nodes = 0;
    for (UINT g = 0;; ++g) {
      GLYPHMETRICS gm;
      const UINT f = GGO_NATIVE | GGO_GLYPH_INDEX;
      const DWORD size = GetGlyphOutlineW(dc, g, f, &gm, 0, nullptr, &kIdentity);
      if (size == GDI_ERROR) {
        if (g == 0) continue;
        break;
      }
      ++glyphs;
      if (size == 0) continue;
      buf.resize(size);
      GetGlyphOutlineW(dc, g, f, &gm, size, buf.data(), &kIdentity);
      CPolyPolyBezier out;
      plexa::glyph::ConvertNativeOutline(buf.data(), size, true, out);
      for (INT_PTR i = 0; i < out.GetSize(); ++i)
        nodes += out.GetAt(static_cast<int>(i))->GetSize();
      benchmark::DoNotOptimize(out.GetSize());
    }
  }
  state.counters["glyphs"] = static_cast<double>(glyphs);
  state.counters["nodes"] = static_cast<double>(nodes);
  state.counters["glyphs/s"] = benchmark::Counter(static_cast<double>(glyphs),
                                                  benchmark::Counter::kIsIterationInvariantRate);
  DeleteDC(dc);
  DeleteObject(font);
}
BENCHMARK(BM_PlexaWholeFont)->Unit(benchmark::kMillisecond)->UseRealTime();

// The public call a host makes per character: font matched and made on every call.
void BM_PlexaGetTTOutlinePoints2(benchmark::State& state) {
  LOGFONTW lf = Font(-1000);
  for (auto _ : state) {
    CPolyPolyBezier out;
    PLEXA::CDPOINT pen(0, 0);
    for (unsigned c = 33; c < 127; ++c) GetTTOutlinePoints2(lf, c, out, pen, 0);
    benchmark::DoNotOptimize(out.GetSize());
  }
  state.counters["chars/s"] = benchmark::Counter(94, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_PlexaGetTTOutlinePoints2)->Unit(benchmark::kMillisecond)->UseRealTime();

#ifdef PLEXA_BENCH_FREETYPE
struct Points {
  std::vector<FT_Vector> v;
};
int Move(const FT_Vector* to, void* u) {
  static_cast<Points*>(u)->v.push_back(*to);
  return 0;
}
int Line(const FT_Vector* to, void* u) {
  return Move(to, u);
}
int Conic(const FT_Vector* c, const FT_Vector* to, void* u) {
  Move(c, u);
  return Move(to, u);
}
int Cubic(const FT_Vector* c1, const FT_Vector* c2, const FT_Vector* to, void* u) {
  Move(c1, u);
  Move(c2, u);
  return Move(to, u);
}

void BM_FreeTypeWholeFont(benchmark::State& state) {
  FT_Library lib;
  FT_Face face;
  if (FT_Init_FreeType(&lib) || FT_New_Face(lib, kFontFile, 0, &face)) {
    state.SkipWithError("font missing");
    return;
  }
  const FT_Outline_Funcs funcs = {Move, Line, Conic, Cubic, 0, 0};
  Points pts;
  for (auto _ : state) {
    for (FT_Long g = 1; g < face->num_glyphs; ++g) {
      if (FT_Load_Glyph(face, static_cast<FT_UInt>(g), FT_LOAD_NO_SCALE | FT_LOAD_NO_HINTING))
        continue;
      pts.v.clear();
      FT_Outline_Decompose(&face->glyph->outline, &funcs, &pts);
      benchmark::DoNotOptimize(pts.v.data());
    }
  }
  state.counters["glyphs/s"] = benchmark::Counter(static_cast<double>(face->num_glyphs - 1),
                                                  benchmark::Counter::kIsIterationInvariantRate);
  FT_Done_Face(face);
  FT_Done_FreeType(lib);
}
BENCHMARK(BM_FreeTypeWholeFont)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  MedianReporter r;
  benchmark::RunSpecifiedBenchmarks(&r);
  r.PrintRatio("BM_PlexaWholeFont/real_time", "BM_FreeTypeWholeFont/real_time");
  return 0;
}
