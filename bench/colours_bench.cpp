// Whole-image colour tracing: the pipeline of `plexa colours` (libimagequant palette, speck
// merging, CColourRegions, SVG text) against imagetracerjs (run under node, when
// scripts/bench-peers.sh installed it) on the same decoded pixels and the same 16 colours.
// Images: three real pictures from Debian's mate-backgrounds (two photographs and a piece of
// flat artwork, installed by scripts/bench-peers.sh), scaled by box averaging to 480 pixels
// on the longer side so the peer finishes in seconds.
// Printed per image: median times and their ratio, loops (closed subpaths) and segments and
// their ratios, and the render-back of each result at pixel centres (even-odd per colour,
// painted in order): pixels no colour covers (gaps), pixels two colours cover (overlaps), and
// the RMS colour error against the image (gaps counted as white).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "io/colour_image.h"
#include "plexa/plexa.h"

namespace fs = std::filesystem;

namespace {

constexpr int kColours = 16;
constexpr int kSpeckle = 8;
constexpr double kTolerance = 1.0;
constexpr int kLongSide = 480;
constexpr int kPeerRounds = 3;

struct Picture {
  std::string name;
  plexa::io::ColourImage img;
  fs::path rgba;  // the pixels for the peer
};
std::vector<Picture> g_pictures;
fs::path g_dir;

plexa::io::ColourImage Shrink(const plexa::io::ColourImage& in) {
  const int f = std::max(1, (std::max(in.width, in.height) + kLongSide - 1) / kLongSide);
  plexa::io::ColourImage out;
  out.width = in.width / f, out.height = in.height / f;
  out.rgb.resize(static_cast<std::size_t>(out.width) * out.height * 3);
  for (int y = 0; y < out.height; ++y)
    for (int x = 0; x < out.width; ++x)
      for (int c = 0; c < 3; ++c) {
        int s = 0;
        for (int dy = 0; dy < f; ++dy)
          for (int dx = 0; dx < f; ++dx)
            s += in.rgb[(static_cast<std::size_t>(y * f + dy) * in.width + x * f + dx) * 3 + c];
        out.rgb[(static_cast<std::size_t>(y) * out.width + x) * 3 + c] =
            static_cast<std::uint8_t>(s / (f * f));
      }
  return out;
}

struct PlexaResult {
  plexa::io::Palette palette;
  CColourRegions regions;
  std::string svg;
  long long loops = 0, segments = 0;
};

void RunPlexa(const plexa::io::ColourImage& img, PlexaResult& r) {
  std::string error;
  plexa::io::ReduceColours(img, kColours, r.palette, error);
  MergeSmallRegions(r.palette.labels, img.width, img.height, kSpeckle);
  r.regions.Trace(r.palette.labels, img.width, img.height, kTolerance);
  r.svg = plexa::io::WriteColourSvg(r.regions, r.palette.colours, img.width, img.height, 96.0,
                                    &r.loops, &r.segments);
}

std::string Quote(const std::string& s) {
  return "'" + s + "'";
}

// Runs the peer; its median milliseconds, or a negative value when it could not run.
double RunPeer(const Picture& p, const fs::path& paths) {
  fs::path script = fs::path(__FILE__).parent_path() / "peers" / "imagetracer_run.mjs";
  if (!fs::exists(script)) script = fs::path("bench") / "peers" / "imagetracer_run.mjs";
  const fs::path out = g_dir / "peer.txt";
  const std::string cmd = "node " + Quote(script.string()) + " " + Quote(p.rgba.string()) + " " +
                          std::to_string(p.img.width) + " " + std::to_string(p.img.height) + " " +
                          std::to_string(kColours) + " " + std::to_string(kPeerRounds) + " " +
                          Quote(paths.string()) + " > " + Quote(out.string()) + " 2>/dev/null";
  if (std::system(cmd.c_str()) != 0) return -1;
  std::ifstream f(out);
  std::string line;
  std::getline(f, line);
  return line.rfind("ms=", 0) == 0 ? std::atof(line.c_str() + 3) : -1;
}

struct Layer {
  std::uint32_t colour;
  CPolyPolyBezier paths;
};

// Reads the peer's paths, each colour one layer in paint order; counts loops and segments.
std::vector<Layer> ReadPeer(const fs::path& file, long long& loops, long long& segments) {
  std::vector<Layer> layers;
  std::ifstream f(file);
  std::string tag;
  loops = segments = 0;
  while (f >> tag) {
    if (tag != "P") break;
    int r, g, b, hole, n;
    f >> r >> g >> b >> hole >> n;
    const std::uint32_t c = static_cast<std::uint32_t>((r << 16) | (g << 8) | b);
    if (layers.empty() || layers.back().colour != c) layers.push_back(Layer{c, {}});
    auto* path = new CBPointArray;
    for (int i = 0; i < n; ++i) {
      std::string t;
      f >> t;
      PLEXA::CDPOINT p0, p1, p2;
      f >> p0.x >> p0.y >> p1.x >> p1.y;
      if (path->IsEmpty()) path->Add(PLEXA::CBPOINT(p0, p0, p0));
      if (t == "L") {
        path->Add(PLEXA::CBPOINT(p1, p1, p1));
      } else {
        f >> p2.x >> p2.y;
        PLEXA::CBPOINT& last = (*path)[path->GetSize() - 1];
        last.out = PLEXA::CDPOINT(p0.x + 2.0 / 3 * (p1.x - p0.x), p0.y + 2.0 / 3 * (p1.y - p0.y));
        const PLEXA::CDPOINT in(p2.x + 2.0 / 3 * (p1.x - p2.x), p2.y + 2.0 / 3 * (p1.y - p2.y));
        path->Add(PLEXA::CBPOINT(in, p2, p2));
      }
    }
    ++loops;
    segments += n;
    layers.back().paths.Add(path);
  }
  return layers;
}

struct RenderBack {
  long long gaps = 0, overlaps = 0;
  double rms = 0;
};

RenderBack Compare(const plexa::io::ColourImage& img, const std::vector<Layer>& layers) {
  const std::size_t n = static_cast<std::size_t>(img.width) * img.height;
  std::vector<int> cover(n, 0);
  std::vector<std::uint32_t> painted(n, 0xFFFFFF);
  for (const Layer& l : layers) {
    std::vector<std::uint8_t> mask;
    FillPolyPolyEvenOdd(l.paths, img.width, img.height, mask);
    for (std::size_t i = 0; i < mask.size(); ++i)
      if (mask[i]) ++cover[i], painted[i] = l.colour;
  }
  RenderBack r;
  double sum = 0;
  for (std::size_t i = 0; i < n; ++i) {
    r.gaps += cover[i] == 0;
    r.overlaps += cover[i] > 1;
    for (int c = 0; c < 3; ++c) {
      const double d =
          static_cast<double>((painted[i] >> (16 - 8 * c)) & 0xFF) - img.rgb[3 * i + c];
      sum += d * d;
    }
  }
  r.rms = std::sqrt(sum / (3.0 * static_cast<double>(n)));
  return r;
}

std::vector<Layer> PlexaLayers(const PlexaResult& r) {
  std::vector<Layer> layers;
  for (int i = 0; i < r.regions.GetRegionCount(); ++i) {
    layers.push_back(Layer{r.palette.colours[r.regions.GetLabel(i)], {}});
    layers.back().paths.Copy(r.regions.GetOutlines(i));
  }
  return layers;
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  const char* files[] = {"/usr/share/backgrounds/mate/nature/LadyBird.jpg",
                         "/usr/share/backgrounds/mate/nature/FreshFlower.jpg",
                         "/usr/share/backgrounds/mate/desktop/Float-into-MATE.png"};
  g_dir = fs::temp_directory_path() / ("plexa_colours_bench_" + std::to_string(::getpid()));
  fs::create_directories(g_dir);
  for (const char* file : files) {
    std::string error;
    plexa::io::ColourImage img = plexa::io::LoadColourImage(file, 1LL << 30, error);
    if (img.rgb.empty()) {
      std::printf("skipped %s: %s (scripts/bench-peers.sh installs mate-backgrounds)\n", file,
                  error.c_str());
      continue;
    }
    Picture p{fs::path(file).stem().string(), Shrink(img), {}};
    p.rgba = g_dir / (p.name + ".rgba");
    std::ofstream out(p.rgba, std::ios::binary);
    for (std::size_t i = 0; i < p.img.rgb.size(); i += 3)
      out << p.img.rgb[i] << p.img.rgb[i + 1] << p.img.rgb[i + 2] << static_cast<char>(255);
    g_pictures.push_back(std::move(p));
  }
  std::vector<double> peerMs(g_pictures.size(), -1);
  for (std::size_t k = 0; k < g_pictures.size(); ++k) {
    const Picture& p = g_pictures[k];
    benchmark::RegisterBenchmark(("BM_PlexaColours/" + p.name).c_str(), [&p](benchmark::State& s) {
      for (auto _ : s) {
        PlexaResult r;
        RunPlexa(p.img, r);
        benchmark::DoNotOptimize(r.svg.data());
      }
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("BM_ImageTracer/" + p.name).c_str(),
                                 [&p, &peerMs, k](benchmark::State& s) {
                                   for (auto _ : s) {
                                     const double ms = RunPeer(p, g_dir / (p.name + ".peer"));
                                     if (ms < 0) {
                                       s.SkipWithError("imagetracerjs not available");
                                       break;
                                     }
                                     peerMs[k] = ms;
                                     s.SetIterationTime(ms / 1000.0);
                                   }
                                 })
        ->UseManualTime()
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
  }
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);

  for (std::size_t k = 0; k < g_pictures.size(); ++k) {
    const Picture& p = g_pictures[k];
    PlexaResult mine;
    RunPlexa(p.img, mine);
    const RenderBack a = Compare(p.img, PlexaLayers(mine));
    std::printf("\n%s (%d x %d, %d colours)\n", p.name.c_str(), p.img.width, p.img.height,
                kColours);
    std::printf("  plexa:        %7lld loops %8lld segments  gaps %lld  overlaps %lld  rms %.2f\n",
                mine.loops, mine.segments, a.gaps, a.overlaps, a.rms);
    if (peerMs[k] < 0) {
      std::printf("  imagetracerjs: not measured (node or imagetracerjs missing)\n");
      continue;
    }
    long long loops = 0, segments = 0;
    const std::vector<Layer> layers = ReadPeer(g_dir / (p.name + ".peer"), loops, segments);
    const RenderBack b = Compare(p.img, layers);
    std::printf("  imagetracerjs: %7lld loops %8lld segments  gaps %lld  overlaps %lld  rms %.2f\n",
                loops, segments, b.gaps, b.overlaps, b.rms);
    reporter.PrintRatio("BM_PlexaColours/" + p.name,
                        "BM_ImageTracer/" + p.name + "/iterations:1/manual_time");
    std::printf("  segments plexa / imagetracerjs = %.2f, loops = %.2f\n",
                segments ? static_cast<double>(mine.segments) / segments : 0.0,
                loops ? static_cast<double>(mine.loops) / loops : 0.0);
  }
  fs::remove_all(g_dir);
  return 0;
}
