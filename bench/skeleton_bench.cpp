// Thinning thick strokes and thin line art to one-pixel centre lines: the library's queued
// parallel thinning (CSkeleton::thnz), the plain whole-image passes it replaces (kept here
// as the losing alternative), and OpenCV's cv::ximgproc::thinning (Zhang-Suen, one thread)
// when scripts/bench-peers.sh installed it. Pages are 2000 x 2000 pixels of strokes drawn
// with round pens; the argument is the stroke width, so the growth of cost with the width can
// be read off. Each run starts from a fresh copy of the page (both tools copy their input).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <vector>

#include "bench/ratio.h"
#include "plexa/plexa.h"

#if defined(PLEXA_BENCH_OPENCV)
#include <opencv2/core.hpp>
#include <opencv2/ximgproc.hpp>
#endif

namespace {

constexpr int kPage = 2000;

struct Skel : CSkeleton {
  using CSkeleton::thnz;
};

// A page of strokes: spokes, rings and a zig-zag, spaced so strokes up to 80 pixels wide
// stay apart except where they cross. Returns object-0 rows with a background frame.
CSkeleton::image Page(int width) {
  HBITMAP bmp = CImgProc::CreateBitmapBW(kPage, kPage);
  HDC dc = CreateCompatibleDC(nullptr);
  HGDIOBJ old = SelectObject(dc, bmp);
  HPEN pen = CreatePen(PS_SOLID, width, RGB(255, 255, 255));
  SelectObject(dc, pen);
  for (int k = 0; k < 8; ++k) {  // spokes from the centre
    const double a = k * 3.14159265358979 / 4;
    const POINT line[2] = {
        {1000, 1000},
        {static_cast<LONG>(1000 + 900 * std::cos(a)), static_cast<LONG>(1000 + 900 * std::sin(a))}};
    Polyline(dc, line, 2);
  }
  for (int r = 300; r <= 900; r += 300) {  // rings
    std::vector<POINT> ring;
    for (int i = 0; i <= 360; ++i)
      ring.push_back({static_cast<LONG>(1000 + r * std::cos(i * 3.14159265358979 / 180)),
                      static_cast<LONG>(1000 + r * std::sin(i * 3.14159265358979 / 180))});
    Polyline(dc, ring.data(), static_cast<int>(ring.size()));
  }
  std::vector<POINT> zig;
  for (int i = 0; i <= 12; ++i) zig.push_back({80 + 150 * i, i % 2 ? 1950 : 1700});
  Polyline(dc, zig.data(), static_cast<int>(zig.size()));
  SelectObject(dc, old);
  DeleteObject(pen);
  DeleteDC(dc);
  tagBITMAP bm{};
  GetObjectW(bmp, sizeof bm, &bm);
  CSkeleton::image img;
  img.rows = kPage + 2, img.cols = kPage + 2;
  img.pixels.assign(static_cast<std::size_t>(img.rows) * img.cols, 1);
  for (int y = 0; y < kPage; ++y)
    for (int x = 0; x < kPage; ++x)
      if (CImgProc::GetPixel(bm, x, y))
        img.pixels[static_cast<std::size_t>(y + 1) * img.cols + x + 1] = 0;
  DeleteObject(bmp);
  return img;
}

const CSkeleton::image& Cached(int width) {
  static std::map<int, CSkeleton::image> pages;
  auto it = pages.find(width);
  if (it == pages.end()) it = pages.emplace(width, Page(width)).first;
  return it->second;
}

void Fresh(CSkeleton::image& img, const CSkeleton::image& from) {
  img.rows = from.rows, img.cols = from.cols;
  img.pixels = from.pixels;
  img.data.resize(static_cast<std::size_t>(img.rows));
  for (int r = 0; r < img.rows; ++r)
    img.data[static_cast<std::size_t>(r)] =
        img.pixels.data() + static_cast<std::size_t>(r) * img.cols;
}

// The whole-image passes: every sub-iteration rescans every pixel; then staircases.
void PlainThin(CSkeleton::image& img) {
  const int R = img.rows, C = img.cols;
  for (auto& v : img.pixels) v = !v;
  std::vector<unsigned char> mark(img.pixels.size());
  auto sweep = [&](bool a) {
    bool any = false;
    for (int r = 1; r < R - 1; ++r)
      for (int c = 1; c < C - 1; ++c) {
        const unsigned char* p = img.data[r] + c;
        if (*p != 1) continue;
        const int e = p[1] != 0, ne = p[1 - C] != 0, n = p[-C] != 0, nw = p[-1 - C] != 0;
        const int w = p[-1] != 0, sw = p[C - 1] != 0, s = p[C] != 0, se = p[C + 1] != 0;
        const int ring[9] = {e, ne, n, nw, w, sw, s, se, e};
        int count = 0, conn = 0;
        for (int k = 0; k < 8; ++k) count += ring[k], conn += ring[k] && !ring[k + 1];
        const bool prod =
            a ? (!(n && e && w) && !(n && s && w)) : (!(n && e && s) && !(e && s && w));
        if (count >= 2 && count <= 6 && conn == 1 && prod) mark[r * C + c] = 1, any = true;
      }
    for (std::size_t i = 0; i < mark.size(); ++i)
      if (mark[i]) img.pixels[i] = 0, mark[i] = 0;
    return any;
  };
  while (sweep(true)) sweep(false);
  for (int r = 1; r < R - 1; ++r)  // staircase removal, then object 0 for output
    for (int c = 1; c < C - 1; ++c) {
      const unsigned char* p = img.data[r] + c;
      if (*p != 1 || !p[-C]) continue;
      const bool e = p[1], ne = p[1 - C], nw = p[-1 - C], w = p[-1], sw = p[C - 1], s = p[C],
                 se = p[C + 1];
      if ((e && !ne && !sw && !(w && s)) || (w && !nw && !se && !(e && s))) mark[r * C + c] = 1;
    }
  for (std::size_t i = 0; i < mark.size(); ++i)
    if (mark[i]) img.pixels[i] = 0;
  for (int r = 0; r < R; ++r)
    for (int c = 0; c < C; ++c) {
      unsigned char& v = img.data[r][c];
      v = (r > 0 && c > 0 && r < R - 1 && c < C - 1 && v) ? 0 : 255;
    }
}

void BM_Plexa(benchmark::State& state) {
  const auto& page = Cached(static_cast<int>(state.range(0)));
  CSkeleton::image img;
  Skel s;
  for (auto _ : state) {
    Fresh(img, page);
    s.thnz(img);
    benchmark::DoNotOptimize(img.pixels.data());
  }
}

void BM_Plain(benchmark::State& state) {
  const auto& page = Cached(static_cast<int>(state.range(0)));
  CSkeleton::image img;
  for (auto _ : state) {
    Fresh(img, page);
    PlainThin(img);
    benchmark::DoNotOptimize(img.pixels.data());
  }
}

#if defined(PLEXA_BENCH_OPENCV)
void BM_OpenCV(benchmark::State& state) {
  cv::setNumThreads(1);
  const auto& page = Cached(static_cast<int>(state.range(0)));
  cv::Mat src(kPage, kPage, CV_8UC1);
  for (int y = 0; y < kPage; ++y)
    for (int x = 0; x < kPage; ++x)
      src.at<unsigned char>(y, x) =
          page.pixels[static_cast<std::size_t>(y + 1) * page.cols + x + 1] == 0 ? 255 : 0;
  cv::Mat dst;
  for (auto _ : state) {
    cv::ximgproc::thinning(src, dst, cv::ximgproc::THINNING_ZHANGSUEN);
    benchmark::DoNotOptimize(dst.data);
  }
}
#endif

// Thin line art (2 pixels) and thick strokes (20, 40, 80 pixels).
#define WIDTHS Arg(2)->Arg(20)->Arg(40)->Arg(80)->Unit(benchmark::kMillisecond)
BENCHMARK(BM_Plexa)->WIDTHS;
BENCHMARK(BM_Plain)->Arg(2)->Arg(20)->Unit(benchmark::kMillisecond)->Iterations(2);
#if defined(PLEXA_BENCH_OPENCV)
BENCHMARK(BM_OpenCV)->WIDTHS->Iterations(2);
#endif

}  // namespace

int main(int argc, char** argv) {
  // Correctness before timing: the queued thinning equals the whole-image passes.
  for (int width : {2, 20}) {
    CSkeleton::image a, b;
    Fresh(a, Cached(width));
    Fresh(b, Cached(width));
    Skel s;
    s.thnz(a);
    PlainThin(b);
    std::size_t differ = 0, skeleton = 0;
    for (std::size_t i = 0; i < a.pixels.size(); ++i)
      differ += a.pixels[i] != b.pixels[i], skeleton += a.pixels[i] == 0;
    std::printf("width %d: %zu skeleton pixels, %zu differ from the plain passes (expect 0)\n",
                width, skeleton, differ);
  }
  benchmark::Initialize(&argc, argv);
  MedianReporter r;
  benchmark::RunSpecifiedBenchmarks(&r);
  for (const char* w : {"2", "20", "40", "80"}) {
    r.PrintRatio(std::string("BM_OpenCV/") + w + "/iterations:2", std::string("BM_Plexa/") + w);
  }
  r.PrintRatio("BM_Plain/20/iterations:2", "BM_Plexa/20");
  for (const char* w : {"20", "40", "80"}) r.PrintRatio(std::string("BM_Plexa/") + w, "BM_Plexa/2");
  return 0;
}
