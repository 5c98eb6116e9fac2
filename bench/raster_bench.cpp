// Fill and stroke of a real outline (text set in DejaVu Sans, its contours as cubic Beziers)
// into a 2000 x 2000 32-bit bitmap through the drawing platform, side by side with cairo
// (antialiasing off, even-odd fill, round joins and caps, same flattening tolerance 0.1) when
// cairo was found at build time. Pens of 1, 20 and 200 pixels. Before timing, the two results
// are compared pixel by pixel and the share of differing pixels is printed; at the end the
// ratio plexa / cairo of each pair's median (or single) CPU time, which other work on a shared
// machine disturbs less than the wall-clock time.
//
//   scripts/bench.sh raster_bench
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "plexa/platform/gdi.h"

#ifdef PLEXA_BENCH_CAIRO
#include <cairo.h>
#endif
#ifdef PLEXA_BENCH_FREETYPE
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H
#endif

namespace {

constexpr int kSize = 2000;

// One contour: its start and then 3 points per cubic segment.
using Contour = std::vector<POINT>;

struct Outline {
  std::string name;
  std::vector<Contour> contours;
  std::size_t segments = 0;
};

#ifdef PLEXA_BENCH_FREETYPE
struct Decomposer {
  std::vector<Contour>* out;
  double ox, oy;
  double lastX = 0, lastY = 0;
  POINT P(double x, double y) const {
    return POINT{LONG(std::lround(ox + x / 64.0)), LONG(std::lround(oy - y / 64.0))};
  }
  void Cubic(double x1, double y1, double x2, double y2, double x3, double y3) {
    out->back().push_back(P(x1, y1));
    out->back().push_back(P(x2, y2));
    out->back().push_back(P(x3, y3));
    lastX = x3, lastY = y3;
  }
  static int Move(const FT_Vector* to, void* u) {
    auto* d = static_cast<Decomposer*>(u);
    d->out->push_back({d->P(to->x, to->y)});
    d->lastX = to->x, d->lastY = to->y;
    return 0;
  }
  static int Line(const FT_Vector* to, void* u) {
    auto* d = static_cast<Decomposer*>(u);
    const double x0 = d->lastX, y0 = d->lastY;
    d->Cubic(x0 + (to->x - x0) / 3, y0 + (to->y - y0) / 3, x0 + 2 * (to->x - x0) / 3,
             y0 + 2 * (to->y - y0) / 3, to->x, to->y);
    return 0;
  }
  static int Conic(const FT_Vector* c, const FT_Vector* to, void* u) {
    auto* d = static_cast<Decomposer*>(u);
    const double x0 = d->lastX, y0 = d->lastY;
    d->Cubic(x0 + 2.0 / 3 * (c->x - x0), y0 + 2.0 / 3 * (c->y - y0),
             to->x + 2.0 / 3 * (c->x - to->x), to->y + 2.0 / 3 * (c->y - to->y), to->x, to->y);
    return 0;
  }
  static int CubicTo(const FT_Vector* c1, const FT_Vector* c2, const FT_Vector* to, void* u) {
    static_cast<Decomposer*>(u)->Cubic(c1->x, c1->y, c2->x, c2->y, to->x, to->y);
    return 0;
  }
};

bool SetText(Outline& o, const char* text, int pixels, int lineHeight) {
  FT_Library lib;
  if (FT_Init_FreeType(&lib)) return false;
  FT_Face face;
  if (FT_New_Face(lib, "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf", 0, &face)) {
    FT_Done_FreeType(lib);
    return false;
  }
  FT_Set_Pixel_Sizes(face, 0, static_cast<FT_UInt>(pixels));
  FT_Outline_Funcs funcs{};
  funcs.move_to = &Decomposer::Move;
  funcs.line_to = &Decomposer::Line;
  funcs.conic_to = &Decomposer::Conic;
  funcs.cubic_to = &Decomposer::CubicTo;
  double penX = 40, penY = lineHeight;
  for (const char* p = text; *p; ++p) {
    if (*p == '\n') {
      penX = 40, penY += lineHeight;
      continue;
    }
    if (FT_Load_Char(face, static_cast<FT_ULong>(*p), FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP))
      continue;
    Decomposer d{&o.contours, penX, penY};
    FT_Outline_Decompose(&face->glyph->outline, &funcs, &d);
    penX += face->glyph->advance.x / 64.0;
  }
  FT_Done_Face(face);
  FT_Done_FreeType(lib);
  return true;
}
#endif

// Without FreeType: gear wheels with Bezier teeth, as many segments.
void SetGears(Outline& o, int wheels, int teeth) {
  for (int w = 0; w < wheels; ++w) {
    const double cx = 250 + (w % 4) * 500, cy = 250 + (w / 4) * 500, r = 200;
    Contour c;
    const int n = teeth * 2;
    for (int k = 0; k <= n; ++k) {
      const double a0 = 2 * M_PI * k / n, rr = k % 2 ? r : r * 0.8;
      const POINT p{LONG(cx + rr * std::cos(a0)), LONG(cy + rr * std::sin(a0))};
      if (k == 0) {
        c.push_back(p);
        continue;
      }
      const POINT q = c.back();
      c.push_back({LONG(q.x + (p.x - q.x) / 3 + 5), q.y + (p.y - q.y) / 3});
      c.push_back({LONG(q.x + 2 * (p.x - q.x) / 3 - 5), q.y + 2 * (p.y - q.y) / 3});
      c.push_back(p);
    }
    o.contours.push_back(c);
  }
}

Outline MakeOutline(bool large) {
  Outline o;
  o.name = large ? "text" : "large";
#ifdef PLEXA_BENCH_FREETYPE
  const char* para =
      "Sign making and cutting:\nplotters follow outlines,\nvinyl letters, decals,\n"
      "window graphics, banners.\nEvery glyph becomes a path\nof cubic Bezier curves;\n"
      "offsets add a weeding\nborder and round corners.\nQuick brown foxes jump!\n"
      "0123456789 (&%$#@?)\nABCDEFGHIJKLMNOPQR\nSTUVWXYZ abcdefghijk";
  const bool ok =
      large ? SetText(o, para, 120, 160)
            : SetText(o, "Weeding\nBorders &\nRound Cut\nPlotters!\nVinyl Signs\nDecals 2026 %@",
                      250, 320);
  if (!ok) o.contours.clear();
#endif
  if (o.contours.empty()) SetGears(o, large ? 16 : 4, large ? 300 : 130);
  for (const Contour& c : o.contours) o.segments += (c.size() - 1) / 3;
  return o;
}

const Outline& Get(bool large) {
  static const Outline small = MakeOutline(false), big = MakeOutline(true);
  return large ? big : small;
}

enum Mode { kFill = 0, kStroke = 1 };

// plexa: a memory surface on a 32-bit section; white pen and brush on black.
struct PlexaCanvas {
  PlexaCanvas() {
    BITMAPINFO info{};
    info.bmiHeader = {sizeof(BITMAPINFOHEADER), kSize, kSize, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    bmp = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    dc = CreateCompatibleDC(nullptr);
    old = SelectObject(dc, bmp);
    brush = CreateSolidBrush(RGB(255, 255, 255));
    oldBrush = SelectObject(dc, brush);
  }
  ~PlexaCanvas() {
    SelectObject(dc, old);
    SelectObject(dc, oldBrush);
    if (pen) SelectObject(dc, GetStockObject(BLACK_PEN)), DeleteObject(pen);
    DeleteDC(dc);
    DeleteObject(bmp);
    DeleteObject(brush);
  }
  void Draw(const Outline& o, Mode mode, int width) {
    if (mode == kStroke && pen == nullptr) {
      pen = CreatePen(PS_SOLID, width, RGB(255, 255, 255));
      SelectObject(dc, pen);
    }
    if (mode == kFill) SelectObject(dc, GetStockObject(NULL_PEN));
    BeginPath(dc);
    for (const Contour& c : o.contours) PolyBezier(dc, c.data(), static_cast<DWORD>(c.size()));
    EndPath(dc);
    if (mode == kFill) {
      FillPath(dc);
    } else {
      StrokePath(dc);
    }
  }
  bool Covered(int x, int y) const {
    return static_cast<const BYTE*>(bits)[(std::size_t(kSize - 1 - y) * kSize + x) * 4] != 0;
  }
  void* bits = nullptr;
  HBITMAP bmp;
  HDC dc;
  HGDIOBJ old, oldBrush;
  HBRUSH brush;
  HPEN pen = nullptr;
};

#ifdef PLEXA_BENCH_CAIRO
struct CairoCanvas {
  CairoCanvas() {
    surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, kSize, kSize);
    cr = cairo_create(surface);
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_NONE);
    cairo_set_tolerance(cr, 0.1);
    cairo_set_source_rgb(cr, 0, 0, 0);
    cairo_paint(cr);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_set_fill_rule(cr, CAIRO_FILL_RULE_EVEN_ODD);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
  }
  ~CairoCanvas() {
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
  }
  void Draw(const Outline& o, Mode mode, int width) {
    // The platform's coordinates name pixels; cairo's pixel x spans [x, x + 1), so its centre
    // is x + 0.5 in both: the same numbers go in unchanged.
    cairo_new_path(cr);
    for (const Contour& c : o.contours) {
      cairo_move_to(cr, c[0].x, c[0].y);
      for (std::size_t i = 1; i + 2 < c.size(); i += 3)
        cairo_curve_to(cr, c[i].x, c[i].y, c[i + 1].x, c[i + 1].y, c[i + 2].x, c[i + 2].y);
    }
    if (mode == kFill) {
      cairo_fill(cr);
    } else {
      cairo_set_line_width(cr, width);
      cairo_stroke(cr);
    }
  }
  bool Covered(int x, int y) {
    cairo_surface_flush(surface);
    const unsigned char* d = cairo_image_surface_get_data(surface);
    return d[std::size_t(y) * cairo_image_surface_get_stride(surface) + 4 * std::size_t(x)] != 0;
  }
  cairo_surface_t* surface;
  cairo_t* cr;
};
#endif

void BM_Plexa(benchmark::State& state, bool large, Mode mode) {
  const Outline& o = Get(large);
  const int width = static_cast<int>(state.range(0));
  PlexaCanvas canvas;
  for (auto _ : state) {
    canvas.Draw(o, mode, width);
    benchmark::DoNotOptimize(canvas.bits);
    benchmark::ClobberMemory();
  }
  state.counters["segments"] = double(o.segments);
}

#ifdef PLEXA_BENCH_CAIRO
void BM_Cairo(benchmark::State& state, bool large, Mode mode) {
  const Outline& o = Get(large);
  const int width = static_cast<int>(state.range(0));
  CairoCanvas canvas;
  for (auto _ : state) {
    canvas.Draw(o, mode, width);
    cairo_surface_flush(canvas.surface);
    benchmark::ClobberMemory();
  }
  state.counters["segments"] = double(o.segments);
}

// Correctness before speed: how many pixels the two renderers disagree on.
void Compare() {
  for (bool large : {false, true}) {
    for (int width : {0, 1, 20, 200}) {
      const Mode mode = width == 0 ? kFill : kStroke;
      PlexaCanvas p;
      CairoCanvas c;
      p.Draw(Get(large), mode, width);
      c.Draw(Get(large), mode, width);
      long covered = 0, differ = 0;
      for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) {
          const bool a = p.Covered(x, y), b = c.Covered(x, y);
          covered += a;
          differ += a != b;
        }
      }
      std::printf(
          "check %-5s %-7s: %zu segments, plexa covers %ld px, %ld differ from cairo (%.3f%%)%s\n",
          Get(large).name.c_str(), width == 0 ? "fill" : ("pen " + std::to_string(width)).c_str(),
          Get(large).segments, covered, differ, covered ? 100.0 * differ / covered : 0.0,
          width == 1 ? "  [Bresenham lines against cairo's 1-pixel-wide area: unlike by design]"
                     : "");
    }
  }
}
#endif

// Keeps each benchmark's median (or its only) time for the ratios printed at the end.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& r : runs) {
      if (r.run_type == Run::RT_Aggregate && r.aggregate_name != "median") continue;
      std::string name = r.run_name.function_name + "/" + r.run_name.args;
      times[name] = r.GetAdjustedCPUTime();
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> times;
};

}  // namespace

int main(int argc, char** argv) {
  const char* sizes[] = {"large", "text"};
  for (int l = 0; l < 2; ++l) {
    const bool large = l == 1;
    for (int m = 0; m < 2; ++m) {
      const std::string what = m == kFill ? "fill" : "stroke";
      auto* b =
          benchmark::RegisterBenchmark(("plexa_" + what + "_" + sizes[l]).c_str(),
                                       [=](benchmark::State& s) { BM_Plexa(s, large, Mode(m)); });
      b->Unit(benchmark::kMillisecond);
      if (m == kFill)
        b->Arg(0);
      else
        b->Arg(1)->Arg(20)->Arg(200);
#ifdef PLEXA_BENCH_CAIRO
      auto* c =
          benchmark::RegisterBenchmark(("cairo_" + what + "_" + sizes[l]).c_str(),
                                       [=](benchmark::State& s) { BM_Cairo(s, large, Mode(m)); });
      c->Unit(benchmark::kMillisecond);
      if (m == kFill)
        c->Arg(0);
      else
        c->Arg(1)->Arg(20)->Arg(200);
#endif
    }
  }
  benchmark::Initialize(&argc, argv);
#ifdef PLEXA_BENCH_CAIRO
  Compare();
#else
  std::printf(
      "cairo was not found at build time: plexa alone (scripts/bench-peers.sh installs it)\n");
#endif
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
#ifdef PLEXA_BENCH_CAIRO
  std::printf("\nratio plexa / cairo, CPU time (below 1: plexa faster)\n");
  for (const auto& [name, t] : reporter.times) {
    if (name.rfind("plexa_", 0) != 0) continue;
    auto it = reporter.times.find("cairo_" + name.substr(6));
    if (it != reporter.times.end() && it->second > 0)
      std::printf("  %-24s %8.2f ms vs %8.2f ms  ratio %.2f\n", name.c_str(), t, it->second,
                  t / it->second);
  }
#endif
  benchmark::Shutdown();
  return 0;
}
