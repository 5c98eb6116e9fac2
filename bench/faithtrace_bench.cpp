// CFaithfulTrace against potrace on real two-level artwork. Every image is traced by both,
// each result rendered back by the library's even-odd fill at pixel centres
// (FillPolyPolyEvenOdd) and compared with the source: differing pixels, drawn segments (a
// potrace corner counts as its two lines), regions of 3+ pixels lost and holes of 3+ pixels
// filled (a source component of which less than half comes back). The tracing calls are
// timed by Google Benchmark (medians with --benchmark_repetitions; both given the image one bit
// a pixel); whole processes, `plexa trace` against the potrace program on the same file (a PBM,
// then a 24-bit BMP), wall and CPU time, the median of several runs taken in turn.
// Pathological art (a checkerboard, thin rings, a blank page) is timed last.
//
// Images (built at run time, nothing large is stored; sources and licences in bench/README.md):
// text pages from DejaVu Sans at 48 and 14 pixels an em, outline lettering (line art with
// closed cells), examples/sign.png (a logo), an Adwaita folder icon at 512 pixels, and a
// 3200 x 2400 drawing of lettering, outlines and frames.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "bench/glyph_paths.h"
#include "bench/ratio.h"
#include "plexa/plexa.h"

#ifdef PLEXA_BENCH_STB
#define STB_IMAGE_IMPLEMENTATION
#include <stb_image.h>
#endif
#ifdef PLEXA_BENCH_POTRACE
#include <potracelib.h>
#endif

namespace {

struct Img {
  std::string name;
  int w = 0, h = 0;
  std::vector<std::uint8_t> fg;  // 1 = dark, traced
  std::vector<std::uint8_t> grey;
};

void Finish(Img& img) {
  img.grey.resize(img.fg.size());
  for (std::size_t i = 0; i < img.fg.size(); ++i) img.grey[i] = img.fg[i] ? 0 : 255;
}

// Paths (y down, pixel units) filled, and optionally stroked with a round pen, into an image.
Img FromPaths(const std::string& name, const CPolyPolyBezier& fill, const CPolyPolyBezier& stroke,
              int pen, int w, int h) {
  Img img;
  img.name = name;
  img.w = w;
  img.h = h;
  FillPolyPolyEvenOdd(fill, w, h, img.fg);
  if (stroke.GetSize() > 0) {
    HBITMAP bmp = CImgProc::CreateBitmap32(w, h);
    HDC dc = CreateCompatibleDC(nullptr);
    HGDIOBJ old = SelectObject(dc, bmp);
    HPEN p = CreatePen(PS_SOLID, pen, RGB(255, 255, 255));
    SelectObject(dc, p);
    for (int i = 0; i < stroke.GetSize(); ++i) {
      const CBPointArray& s = stroke[i];
      std::vector<POINT> pts;
      auto at = [](const PLEXA::CDPOINT& q) {
        return POINT{static_cast<LONG>(std::lround(q.x)), static_cast<LONG>(std::lround(q.y))};
      };
      pts.push_back(at(s[0].anchor));
      for (INT_PTR k = 0; k + 1 < s.GetSize(); ++k) {
        pts.push_back(at(s[k].out));
        pts.push_back(at(s[k + 1].in));
        pts.push_back(at(s[k + 1].anchor));
      }
      BeginPath(dc);
      PolyBezier(dc, pts.data(), static_cast<DWORD>(pts.size()));
      EndPath(dc);
      StrokePath(dc);
    }
    SelectObject(dc, old);
    DeleteDC(dc);
    DeleteObject(p);
    BITMAP bm{};
    GetObjectW(bmp, sizeof(BITMAP), &bm);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x)
        if (CImgProc::GetPixel32(bm, x, y) & 0xFF) img.fg[static_cast<std::size_t>(y) * w + x] = 1;
    DeleteObject(bmp);
  }
  Finish(img);
  return img;
}

// Lines of text in pixel units, the first baseline `em` below y0.
void Text(CPolyPolyBezier& out, const char* const* lines, int count, double em, double x0,
          double y0) {
  for (int l = 0; l < count; ++l) {
    CPolyPolyBezier one;
    LoadGlyphPaths(one, lines[l]);
    CView3D s;
    s.Scale(em / 2048, em / 2048, 1);
    one.ApplyTransformation(s);
    CView3D t;
    t.Translate(-x0, -(y0 + em + l * 1.25 * em), 0);  // translation is negated
    one.ApplyTransformation(t);
    out.AppendCurve(one);
  }
}

Img LoadPicture(const std::string& name, const std::string& path) {
  Img img;
  img.name = name;
#ifdef PLEXA_BENCH_STB
  int w = 0, h = 0, n = 0;
  stbi_uc* px = stbi_load(path.c_str(), &w, &h, &n, 4);
  if (px == nullptr) return img;
  img.w = w;
  img.h = h;
  img.fg.resize(static_cast<std::size_t>(w) * h);
  for (std::size_t i = 0; i < img.fg.size(); ++i) {
    const stbi_uc* p = px + 4 * i;
    // Over white paper, then half grey.
    const double a = p[3] / 255.0;
    const double g = (0.299 * p[0] + 0.587 * p[1] + 0.114 * p[2]) * a + 255 * (1 - a);
    img.fg[i] = g < 128 ? 1 : 0;
  }
  stbi_image_free(px);
  Finish(img);
#endif
  return img;
}

std::vector<Img> BuildImages() {
  std::vector<Img> v;
  const char* page[] = {"Sign Shop & Vinyl Cutting 0123456789", "The quick brown fox jumps over",
                        "the lazy dog: QWERTY @ 50% off!"};
  {
    CPolyPolyBezier t, none;
    Text(t, page, 3, 48, 10, 10);
    if (t.GetSize() > 0) v.push_back(FromPaths("text48", t, none, 0, 1000, 215));
  }
  {
    CPolyPolyBezier t, none;
    const char* many[] = {page[0], page[1], page[2], page[0], page[1], page[2]};
    Text(t, many, 6, 14, 4, 4);
    if (t.GetSize() > 0) v.push_back(FromPaths("text14", t, none, 0, 300, 120));
  }
  {
    CPolyPolyBezier t, none;
    const char* big[] = {"ABRACADABRA", "ego 8 @ &"};
    Text(t, big, 2, 160, 20, 10);
    if (t.GetSize() > 0) v.push_back(FromPaths("lineart", none, t, 4, 1100, 450));
  }
  Img sign = LoadPicture("logo", PLEXA_EXAMPLES "/sign.png");
  if (sign.w > 0) v.push_back(sign);
  Img icon = LoadPicture("icon512", "/usr/share/icons/Adwaita/512x512/places/folder-pictures.png");
  if (icon.w > 0) v.push_back(icon);
  {
    CPolyPolyBezier fill, stroke;
    const char* lines[] = {"Plexa Signs", "Cut & Weed", "0123456789", "Quartz Jigs"};
    Text(fill, lines, 4, 300, 60, 40);
    const char* outl[] = {"OUTLINE @ 8%", "gear & rope"};
    Text(stroke, outl, 2, 220, 80, 1700);
    if (fill.GetSize() > 0) v.push_back(FromPaths("drawing3200", fill, stroke, 6, 3200, 2400));
  }
  return v;
}

std::vector<Img>& Images() {
  static std::vector<Img> images = BuildImages();
  return images;
}

int Segments(const CPolyPolyBezier& p) {
  int n = 0;
  for (int i = 0; i < p.GetSize(); ++i) n += static_cast<int>(p[i].GetSize()) - 1;
  return n;
}

#ifdef PLEXA_BENCH_POTRACE
struct Potrace {
  potrace_bitmap_t bm{};
  std::vector<potrace_word> words;
  potrace_param_t* param = potrace_param_default();
  explicit Potrace(const Img& img) {
    const int bits = 8 * sizeof(potrace_word);
    bm.w = img.w;
    bm.h = img.h;
    bm.dy = (img.w + bits - 1) / bits;
    words.assign(static_cast<std::size_t>(bm.dy) * img.h, 0);
    for (int y = 0; y < img.h; ++y)
      for (int x = 0; x < img.w; ++x)
        if (img.fg[static_cast<std::size_t>(y) * img.w + x])
          words[static_cast<std::size_t>(y) * bm.dy + x / bits] |= potrace_word{1}
                                                                   << (bits - 1 - x % bits);
    bm.map = words.data();
  }
  ~Potrace() { potrace_param_free(param); }
  potrace_state_t* Run() { return potrace_trace(param, &bm); }
};

// potrace's paths as plexa paths (same coordinates: potrace's row y is our row y).
int ToPaths(const potrace_state_t* st, CPolyPolyBezier& out) {
  int segs = 0;
  for (const potrace_path_t* p = st->plist; p; p = p->next) {
    const potrace_curve_t& c = p->curve;
    auto* path = new CBPointArray;
    auto P = [](const potrace_dpoint_t& q) { return PLEXA::CDPOINT(q.x, q.y); };
    PLEXA::CDPOINT cur = P(c.c[c.n - 1][2]);
    path->Add(PLEXA::CBPOINT(cur, cur, cur));
    for (int i = 0; i < c.n; ++i) {
      if (c.tag[i] == POTRACE_CURVETO) {
        (*path)[path->GetUpperBound()].out = P(c.c[i][0]);
        path->Add(PLEXA::CBPOINT(P(c.c[i][1]), P(c.c[i][2]), P(c.c[i][2])));
        ++segs;
      } else {
        path->Add(PLEXA::CBPOINT(P(c.c[i][1]), P(c.c[i][1]), P(c.c[i][1])));
        path->Add(PLEXA::CBPOINT(P(c.c[i][2]), P(c.c[i][2]), P(c.c[i][2])));
        segs += 2;
      }
    }
    out.Add(path);
  }
  return segs;
}
#endif

struct Quality {
  int diff = 0, segs = 0, lost = 0, filled = 0, regions = 0, holes = 0;
};

// Components of 3+ pixels of `level` (foreground 8-connected, background 4-connected, holes
// only away from the border) that the render-back mostly loses.
void Judge(const Img& img, const std::vector<std::uint8_t>& back, Quality& q) {
  q.diff = 0;
  for (std::size_t i = 0; i < back.size(); ++i) q.diff += (back[i] != 0) != (img.fg[i] != 0);
  const int w = img.w, h = img.h;
  std::vector<std::uint8_t> seen(img.fg.size(), 0);
  std::vector<int> stack, comp;
  for (int level = 1; level >= 0; --level)
    for (int s = 0; s < w * h; ++s) {
      if (seen[s] || img.fg[s] != level) continue;
      seen[s] = 1;
      stack.assign(1, s);
      comp.clear();
      bool border = false;
      while (!stack.empty()) {
        const int p = stack.back(), x = p % w, y = p / w;
        stack.pop_back();
        comp.push_back(p);
        border |= x == 0 || y == 0 || x == w - 1 || y == h - 1;
        for (int dy = -1; dy <= 1; ++dy)
          for (int dx = -1; dx <= 1; ++dx) {
            if ((dx == 0 && dy == 0) || (level == 0 && dx != 0 && dy != 0)) continue;
            const int nx = x + dx, ny = y + dy;
            if (nx < 0 || ny < 0 || nx >= w || ny >= h) continue;
            const int qi = ny * w + nx;
            if (seen[qi] || img.fg[qi] != level) continue;
            seen[qi] = 1;
            stack.push_back(qi);
          }
      }
      if (comp.size() < 3 || (level == 0 && border)) continue;
      int kept = 0;
      for (int p : comp) kept += (back[static_cast<std::size_t>(p)] != 0) == (level == 1);
      const bool gone = 2 * kept < static_cast<int>(comp.size());
      if (level == 1) {
        ++q.regions;
        q.lost += gone;
      } else {
        ++q.holes;
        q.filled += gone;
      }
    }
}

// Both tracers are handed the image packed one bit a pixel, prepared outside the timing.
std::vector<std::uint8_t> PackedRows(const Img& img) {
  const int stride = (img.w + 7) / 8;
  std::vector<std::uint8_t> bits(static_cast<std::size_t>(stride) * img.h, 0);
  for (int y = 0; y < img.h; ++y)
    for (int x = 0; x < img.w; ++x)
      if (img.fg[static_cast<std::size_t>(y) * img.w + x])
        bits[static_cast<std::size_t>(y) * stride + x / 8] |=
            static_cast<std::uint8_t>(0x80 >> (x % 8));
  return bits;
}

void BM_Faithful(benchmark::State& state, std::size_t index) {
  const Img& img = Images()[index];
  const std::vector<std::uint8_t> bits = PackedRows(img);
  CFaithfulTrace trace;
  CPolyPolyBezier out;
  for (auto _ : state) {
    trace.TraceBits(bits, img.w, img.h, (img.w + 7) / 8, out);
    benchmark::DoNotOptimize(out.GetSize());
  }
  state.counters["paths"] = static_cast<double>(out.GetSize());
}

#ifdef PLEXA_BENCH_POTRACE
void BM_Potrace(benchmark::State& state, std::size_t index) {
  Potrace pt(Images()[index]);
  int paths = 0;
  for (auto _ : state) {
    potrace_state_t* st = pt.Run();
    paths = 0;
    for (const potrace_path_t* p = st->plist; p; p = p->next) ++paths;
    potrace_state_free(st);
  }
  state.counters["paths"] = paths;
}
#endif

double Seconds(const std::function<void()>& f) {
  const auto t0 = std::chrono::steady_clock::now();
  f();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

constexpr int kProcessRuns = 15;

// One run of a program (no shell), its output thrown away: wall seconds, CPU seconds (user +
// system, from the kernel's accounting of the child) and the exit status.
struct Run {
  double wall = 0, cpu = 0;
  int status = -1;
};
Run RunProcess(const std::vector<std::string>& args) {
  Run run;
  std::vector<char*> argv;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t fa;
  posix_spawn_file_actions_init(&fa);
  posix_spawn_file_actions_addopen(&fa, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&fa, 2, "/dev/null", O_WRONLY, 0);
  const auto t0 = std::chrono::steady_clock::now();
  pid_t pid = 0;
  if (posix_spawnp(&pid, argv[0], &fa, nullptr, argv.data(), environ) == 0) {
    int status = 0;
    struct rusage ru {};
    if (wait4(pid, &status, 0, &ru) == pid) {
      run.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
      run.cpu = static_cast<double>(ru.ru_utime.tv_sec + ru.ru_stime.tv_sec) +
                1e-6 * static_cast<double>(ru.ru_utime.tv_usec + ru.ru_stime.tv_usec);
      run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128;
    }
  }
  posix_spawn_file_actions_destroy(&fa);
  return run;
}

double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

void WriteFiles(const Img& img, const std::string& stem) {
  std::ofstream pbm(stem + ".pbm", std::ios::binary);
  pbm << "P4\n" << img.w << " " << img.h << "\n";
  const int rowBytes = (img.w + 7) / 8;
  std::vector<char> row(static_cast<std::size_t>(rowBytes));
  for (int y = 0; y < img.h; ++y) {
    std::fill(row.begin(), row.end(), 0);
    for (int x = 0; x < img.w; ++x)
      if (img.fg[static_cast<std::size_t>(y) * img.w + x])
        row[x / 8] = static_cast<char>(row[x / 8] | (0x80 >> (x % 8)));
    pbm.write(row.data(), rowBytes);
  }
  // A 24-bit BMP for the plexa tool (bottom-up rows, padded to 4 bytes).
  std::ofstream bmp(stem + ".bmp", std::ios::binary);
  const int pad = (4 - (img.w * 3) % 4) % 4;
  const std::uint32_t data = static_cast<std::uint32_t>((img.w * 3 + pad) * img.h);
  auto u32 = [&](std::uint32_t v) { bmp.write(reinterpret_cast<const char*>(&v), 4); };
  auto u16 = [&](std::uint16_t v) { bmp.write(reinterpret_cast<const char*>(&v), 2); };
  bmp.write("BM", 2);
  u32(54 + data);
  u32(0);
  u32(54);
  u32(40);
  u32(static_cast<std::uint32_t>(img.w));
  u32(static_cast<std::uint32_t>(img.h));
  u16(1);
  u16(24);
  for (int k = 0; k < 6; ++k) u32(0);
  for (int y = img.h - 1; y >= 0; --y) {
    for (int x = 0; x < img.w; ++x) {
      const char g = static_cast<char>(img.grey[static_cast<std::size_t>(y) * img.w + x]);
      const char px[3] = {g, g, g};
      bmp.write(px, 3);
    }
    bmp.write("\0\0\0", pad);
  }
}

void Pathological() {
  std::printf("\nPathological art (library call, wall clock, one run):\n");
  struct Case {
    const char* name;
    int w, h;
    std::function<bool(int, int)> f;
  } cases[] = {
      {"checkerboard 3000 (12 px)", 3000, 3000,
       [](int x, int y) { return (x / 12 + y / 12) % 2 == 0; }},
      {"thin rings 2000", 2000, 2000,
       [](int x, int y) {
         const double r = std::hypot(x + 0.5 - 1000, y + 0.5 - 1000);
         return static_cast<int>(r) % 6 < 2;
       }},
      {"blank 20000", 20000, 20000, [](int, int) { return false; }},
  };
  for (const Case& c : cases) {
    Img img;
    img.name = c.name;
    img.w = c.w;
    img.h = c.h;
    const bool blank = c.w > 10000;
    if (!blank) {
      img.fg.resize(static_cast<std::size_t>(c.w) * c.h);
      for (int y = 0; y < c.h; ++y)
        for (int x = 0; x < c.w; ++x) img.fg[static_cast<std::size_t>(y) * c.w + x] = c.f(x, y);
      Finish(img);
    } else {
      img.grey.assign(static_cast<std::size_t>(c.w) * c.h, 255);
    }
    CFaithfulTrace trace;
    CPolyPolyBezier out;
    const double ours = Seconds([&] { trace.Trace(img.grey, img.w, img.h, img.w, out); });
    std::printf("  %-28s plexa %7.3f s  %d outlines, %d holes", c.name, ours, trace.OutlineCount(),
                trace.HoleCount());
#ifdef PLEXA_BENCH_POTRACE
    if (!blank) {
      Potrace pt(img);
      int paths = 0;
      const double theirs = Seconds([&] {
        potrace_state_t* st = pt.Run();
        for (const potrace_path_t* p = st->plist; p; p = p->next) ++paths;
        potrace_state_free(st);
      });
      std::printf("  | potrace %7.3f s  %d paths  ratio %.2f", theirs, paths, ours / theirs);
    }
#endif
    std::printf("\n");
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  // --no-processes: the tracing calls and the fidelity table only.
  bool processes = true;
  for (int i = 1; i < argc; ++i) processes &= std::string(argv[i]) != "--no-processes";
  std::vector<Img>& images = Images();
  if (images.empty()) {
    std::printf("no images (FreeType, DejaVu or stb missing)\n");
    return 0;
  }
  for (std::size_t i = 0; i < images.size(); ++i) {
    benchmark::RegisterBenchmark(("BM_Faithful/" + images[i].name).c_str(), BM_Faithful, i)
        ->Unit(benchmark::kMillisecond);
#ifdef PLEXA_BENCH_POTRACE
    benchmark::RegisterBenchmark(("BM_Potrace/" + images[i].name).c_str(), BM_Potrace, i)
        ->Unit(benchmark::kMillisecond);
#endif
  }
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);

  std::printf("\nFidelity (render-back at pixel centres, even-odd):\n");
  std::printf("%-12s %10s | %7s %7s %6s %6s | %7s %7s %6s %6s | %6s %6s\n", "image", "pixels",
              "diff", "segs", "lost", "filled", "pt diff", "pt segs", "lost", "filled", "diff/",
              "segs/");
  for (std::size_t i = 0; i < images.size(); ++i) {
    const Img& img = images[i];
    CFaithfulTrace trace;
    CPolyPolyBezier ours;
    trace.Trace(img.grey, img.w, img.h, img.w, ours);
    std::vector<std::uint8_t> back;
    FillPolyPolyEvenOdd(ours, img.w, img.h, back);
    Quality a, b;
    Judge(img, back, a);
    a.segs = Segments(ours);
#ifdef PLEXA_BENCH_POTRACE
    Potrace pt(img);
    potrace_state_t* st = pt.Run();
    CPolyPolyBezier theirs;
    b.segs = ToPaths(st, theirs);
    potrace_state_free(st);
    FillPolyPolyEvenOdd(theirs, img.w, img.h, back);
    Judge(img, back, b);
#endif
    std::printf(
        "%-12s %4dx%-5d | %7d %7d %6d %6d | %7d %7d %6d %6d | %6.2f %6.2f   (%d regions, %d "
        "holes)\n",
        img.name.c_str(), img.w, img.h, a.diff, a.segs, a.lost, a.filled, b.diff, b.segs, b.lost,
        b.filled, b.diff ? static_cast<double>(a.diff) / b.diff : 0.0,
        b.segs ? static_cast<double>(a.segs) / b.segs : 0.0, a.regions, a.holes);
  }
  std::printf("\nTracing call, median times:\n");
  for (const Img& img : images)
    reporter.PrintRatio("BM_Faithful/" + img.name, "BM_Potrace/" + img.name);

#ifdef PLEXA_TOOL
  if (processes) {
    std::printf(
        "\nWhole processes (median of %d runs taken in turn; both read the same file; CPU is "
        "user + system time of the process):\n",
        kProcessRuns);
    for (const Img& img : images) {
      const std::string stem = "/tmp/plexa_faith_" + img.name;
      WriteFiles(img, stem);
      for (const char* ext : {".pbm", ".bmp"}) {
        const std::vector<std::string> ours = {PLEXA_TOOL, "trace", stem + ext, "-o",
                                               stem + "_plexa.svg"};
        const std::vector<std::string> theirs = {"potrace", "-s", "-o", stem + "_potrace.svg",
                                                 stem + ext};
        int rc1 = 0, rc2 = 0;
        std::vector<double> w1, w2, c1, c2;
        for (int r = 0; r < kProcessRuns; ++r) {
          const Run a = RunProcess(ours), b = RunProcess(theirs);
          rc1 |= a.status;
          rc2 |= b.status;
          w1.push_back(a.wall);
          c1.push_back(a.cpu);
          w2.push_back(b.wall);
          c2.push_back(b.cpu);
        }
        std::printf(
            "  %-12s %s  plexa trace wall %.4f s cpu %.4f s (rc %d) | potrace wall %.4f s cpu "
            "%.4f s (rc %d) | ratio wall %.2f cpu %.2f\n",
            img.name.c_str(), ext, Median(w1), Median(c1), rc1, Median(w2), Median(c2), rc2,
            Median(w1) / Median(w2), Median(c1) / Median(c2));
      }
    }
  }
#endif
  if (processes) Pathological();
  return 0;
}
