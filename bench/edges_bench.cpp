// Edge detection on real photographs (mate-backgrounds, installed by scripts/bench-peers.sh):
// CEdgeDetect's Canny raster alone (grey conversion, smoothing, derivatives, suppression,
// hysteresis), its whole trace (raster, CImageTrace, units), and OpenCV 4 on one thread
// (cvtColor + GaussianBlur at the same sigma + Canny, thresholds 50 / 150) when
// libopencv-imgproc-dev is there. The photographs are read with the tool's stb-based reader.
// Before timing, the program prints per photograph: size, CEdgeDetect's edge pixel count, OpenCV's
// edge pixel count and the number of traced paths; after timing, the ratios of the medians (run
// with --benchmark_repetitions=5), and the time per megapixel of the same photograph at two sizes
// (cost linear in pixels).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "io/image_read.h"
#include "plexa/plexa.h"

#ifdef PLEXA_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr const char* kDir = "/usr/share/backgrounds/mate/";
struct Photo {
  const char* label;
  const char* file;
  HBITMAP bmp = nullptr;
  int w = 0, h = 0;
};
std::vector<Photo> photos = {
    {"meadow_1.3MP", "nature/GreenMeadow.jpg"},
    {"elephants_2.1MP", "abstract/Elephants.jpg"},
    {"wood_4.9MP", "nature/Wood.jpg"},
    {"elephants_8.3MP", "abstract/Elephants_3840x2160.jpg"},
};

// The 2.1 MP photograph tiled 2 x 2: four times the pixels with the same detail per pixel, so
// its time against the photograph's shows how cost grows with pixels alone (the 8.3 MP version
// of the photograph has finer detail and 5.6 times the edge pixels).
Photo tiled = {"elephants_2x2_8.3MP", ""};
HBITMAP Tile2x2(HBITMAP src, int w, int h) {
  HBITMAP out = CImgProc::CreateBitmap32(2 * w, 2 * h);
  if (out == nullptr) return nullptr;
  tagBITMAP a{}, b{};
  GetObjectW(src, sizeof a, &a);
  GetObjectW(out, sizeof b, &b);
  const std::size_t row = static_cast<std::size_t>(w) * 4;
  for (int y = 0; y < 2 * h; ++y) {
    const auto* from = static_cast<const unsigned char*>(a.bmBits) +
                       static_cast<std::size_t>(y % h) * static_cast<std::size_t>(a.bmWidthBytes);
    auto* to = static_cast<unsigned char*>(b.bmBits) +
               static_cast<std::size_t>(y) * static_cast<std::size_t>(b.bmWidthBytes);
    std::memcpy(to, from, row);
    std::memcpy(to + row, from, row);
  }
  return out;
}

// Opens the raster stage for timing.
struct Raster : CEdgeDetect {
  using CEdgeDetect::image;
  bool Run(HBITMAP bmp, image& out) {
    m_bitmap = bmp;
    GetObjectW(bmp, sizeof m_bm, &m_bm);
    return CannyEdges(out);
  }
};

std::int64_t EdgeCount(const Raster::image& r) {
  std::int64_t n = 0;
  for (unsigned char v : r.pixels) n += v == 0;
  return n;
}

#ifdef PLEXA_BENCH_OPENCV
cv::Mat Bgra(const Photo& p) {
  tagBITMAP bm{};
  GetObjectW(p.bmp, sizeof bm, &bm);
  cv::Mat m(p.h, p.w, CV_8UC4);
  for (int y = 0; y < p.h; ++y)  // bottom-up rows
    std::memcpy(m.ptr(y),
                static_cast<const unsigned char*>(bm.bmBits) +
                    static_cast<std::size_t>(p.h - 1 - y) * p.w * 4,
                static_cast<std::size_t>(p.w) * 4);
  return m;
}
cv::Mat OpenCvEdges(const cv::Mat& bgra) {
  cv::Mat grey, smooth, edges;
  cv::cvtColor(bgra, grey, cv::COLOR_BGRA2GRAY);
  cv::GaussianBlur(grey, smooth, cv::Size(0, 0), 1.0);  // sigma of details 0.5
  cv::Canny(smooth, edges, 50, 150);
  return edges;
}
#endif

void BM_PlexaRaster(benchmark::State& state, const Photo* p) {
  Raster e;
  for (auto _ : state) {
    Raster::image r;
    e.Run(p->bmp, r);
    benchmark::DoNotOptimize(r.pixels.data());
  }
  state.counters["Mpx/s"] = benchmark::Counter(static_cast<double>(p->w) * p->h / 1e6,
                                               benchmark::Counter::kIsIterationInvariantRate);
}

void BM_PlexaTrace(benchmark::State& state, const Photo* p) {
  for (auto _ : state) {
    CEdgeDetect e;
    e.Input(p->bmp, 96, 96);
    benchmark::DoNotOptimize(e.GetSize());
  }
}

#ifdef PLEXA_BENCH_OPENCV
void BM_OpenCV(benchmark::State& state, const Photo* p) {
  const cv::Mat bgra = Bgra(*p);
  for (auto _ : state) benchmark::DoNotOptimize(OpenCvEdges(bgra).data);
}
#endif

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
#ifdef PLEXA_BENCH_OPENCV
  cv::setNumThreads(1);
#endif
  std::vector<const Photo*> loaded;
  for (Photo& p : photos) {
    std::string error;
    const std::string path = std::string(kDir) + p.file;
    if (!std::filesystem::exists(path)) continue;
    plexa::io::LoadedImage img =
        plexa::io::LoadColourBitmap(path, plexa::io::kDefaultMaxPixels, error);
    if (img.bitmap == nullptr) continue;
    p.bmp = img.bitmap;
    p.w = img.width;
    p.h = img.height;
    loaded.push_back(&p);
  }
  for (const Photo* p : std::vector<const Photo*>(loaded))
    if (std::string(p->label) == "elephants_2.1MP" &&
        (tiled.bmp = Tile2x2(p->bmp, p->w, p->h)) != nullptr) {
      tiled.w = 2 * p->w;
      tiled.h = 2 * p->h;
      loaded.push_back(&tiled);
    }
  if (loaded.empty()) {
    std::printf("no photographs in %s (scripts/bench-peers.sh installs mate-backgrounds)\n", kDir);
    return 0;
  }
  for (const Photo* p : loaded) {
    Raster e;
    Raster::image r;
    e.Run(p->bmp, r);
    CEdgeDetect traced;
    traced.Input(p->bmp, 96, 96);
    std::printf("%-16s %5d x %4d  plexa edge pixels %8lld  paths %6d", p->label, p->w, p->h,
                static_cast<long long>(EdgeCount(r)), static_cast<int>(traced.GetSize()));
#ifdef PLEXA_BENCH_OPENCV
    std::printf("  opencv edge pixels %8d", cv::countNonZero(OpenCvEdges(Bgra(*p))));
#endif
    std::printf("\n");
    benchmark::RegisterBenchmark((std::string("BM_PlexaRaster/") + p->label).c_str(),
                                 BM_PlexaRaster, p)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((std::string("BM_PlexaTrace/") + p->label).c_str(), BM_PlexaTrace,
                                 p)
        ->Unit(benchmark::kMillisecond);
#ifdef PLEXA_BENCH_OPENCV
    benchmark::RegisterBenchmark((std::string("BM_OpenCV/") + p->label).c_str(), BM_OpenCV, p)
        ->Unit(benchmark::kMillisecond);
#endif
  }
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  for (const Photo* p : loaded) {
    const std::string l = p->label;
    reporter.PrintRatio("BM_PlexaRaster/" + l, "BM_OpenCV/" + l);
    reporter.PrintRatio("BM_PlexaTrace/" + l, "BM_OpenCV/" + l);
  }
  reporter.PrintRatio("BM_PlexaRaster/elephants_8.3MP", "BM_PlexaRaster/elephants_2.1MP");
  reporter.PrintRatio("BM_PlexaRaster/elephants_2x2_8.3MP", "BM_PlexaRaster/elephants_2.1MP");
  std::printf("(8.3 MP / 2.1 MP = 4.0 pixels: a ratio near 4 is linear)\n");
  for (const Photo* p : loaded) DeleteObject(p->bmp);
  return 0;
}
