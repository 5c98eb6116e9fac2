// plexa centerline IMAGE -o OUT: the centre lines of the strokes of a line drawing, as open
// paths for plotters, engravers and single-line cutters.
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "io/image_read.h"
#include "plexa/raster/imgproc.h"
#include "plexa/raster/skeleton.h"
#include "tools/cli.h"

namespace plexa::tool {
namespace {

// Length, in pixels, of the short path that stands for a dot.
constexpr double kDotLength = 1.0;

struct CenterlineOptions {
  std::string input;
  OutputOptions output;
  bool invert = false;
  std::string threshold = "128";
  int min_dot = 4;
  double dpi = 0;
  double width = 0, height = 0;  // drawing units; 0: not given
  std::int64_t max_pixels = io::kDefaultMaxPixels;
  bool progress = false;
};

// Strokes too small to leave a centre line (dots, short dashes) thin away. Every 8-connected
// region of traced pixels that no path starts or ends in, and that has at least minDot
// pixels, gets a short horizontal path through its centre of mass, so a dot over an i is
// kept. Paths are in pixel coordinates (centres at + 0.5). Returns the dots added.
int AddDots(const tagBITMAP& bm, CPolyPolyBezier& paths, int minDot) {
  const int w = bm.bmWidth, h = bm.bmHeight;
  std::vector<std::int32_t> region(static_cast<std::size_t>(w) * h, -1);
  struct Sum {
    double x = 0, y = 0;
    std::int64_t n = 0;
  };
  std::vector<Sum> sums;
  std::vector<std::int64_t> stack;
  for (int y0 = 0; y0 < h; ++y0)
    for (int x0 = 0; x0 < w; ++x0) {
      const std::size_t i0 = static_cast<std::size_t>(y0) * w + x0;
      if (region[i0] >= 0 || !CImgProc::GetPixel(bm, x0, y0)) continue;
      const auto id = static_cast<std::int32_t>(sums.size());
      sums.emplace_back();
      region[i0] = id;
      stack.assign(1, static_cast<std::int64_t>(i0));
      while (!stack.empty()) {  // every pixel enters once
        const std::int64_t i = stack.back();
        stack.pop_back();
        const int x = static_cast<int>(i % w), y = static_cast<int>(i / w);
        sums[id].x += x, sums[id].y += y, ++sums[id].n;
        for (int dy = -1; dy <= 1; ++dy)
          for (int dx = -1; dx <= 1; ++dx) {
            const int nx = x + dx, ny = y + dy;
            if (nx < 0 || ny < 0 || nx >= w || ny >= h) continue;
            const std::size_t j = static_cast<std::size_t>(ny) * w + nx;
            if (region[j] < 0 && CImgProc::GetPixel(bm, nx, ny)) {
              region[j] = id;
              stack.push_back(static_cast<std::int64_t>(j));
            }
          }
      }
    }
  std::vector<bool> traced(sums.size(), false);
  for (INT_PTR i = 0; i < paths.GetSize(); ++i) {
    const CBPointArray* p = paths.GetAt(static_cast<int>(i));
    if (p == nullptr || p->IsEmpty()) continue;
    for (const PLEXA::CDPOINT& e : {(*p)[0].anchor, (*p)[p->GetSize() - 1].anchor}) {
      const int x = static_cast<int>(e.x), y = static_cast<int>(e.y);  // pixel x + 0.5
      if (x >= 0 && y >= 0 && x < w && y < h) {
        const std::int32_t id = region[static_cast<std::size_t>(y) * w + x];
        if (id >= 0) traced[static_cast<std::size_t>(id)] = true;
      }
    }
  }
  int dots = 0;
  for (std::size_t id = 0; id < sums.size(); ++id) {
    if (traced[id] || sums[id].n < minDot) continue;
    const double cx = sums[id].x / sums[id].n + 0.5, cy = sums[id].y / sums[id].n + 0.5;
    const PLEXA::CDPOINT a(cx - kDotLength / 2, cy), b(cx + kDotLength / 2, cy);
    auto dot = std::make_unique<CBPointArray>();
    dot->Add(PLEXA::CBPOINT(a, a, a));
    dot->Add(PLEXA::CBPOINT(b, b, b));
    paths.Add(dot.release());
    ++dots;
  }
  return dots;
}

int RunCenterline(CenterlineOptions& o) {
  std::string error;
  if (!o.output.Resolve(error)) {
    std::fprintf(stderr, "plexa: %s (see 'plexa centerline --help')\n", error.c_str());
    return kExitUsage;
  }
  Progress progress("centerline", o.progress);
  progress.Stage("reading");
  io::LoadedImage img = ReadArtwork(o.input, o.threshold, o.invert, o.max_pixels, "lines", error);
  if (img.bitmap == nullptr) return Fail(error);
  const std::string name = o.input == "-" ? "standard input" : o.input;

  progress.Stage("thinning and tracing");
  io::Drawing drawing;
  int dots = 0;
  {
    CSkeleton skeleton;
    skeleton.InputMono(img.bitmap, 0, 0);  // the traced (white) pixels are the strokes
    skeleton.Output(drawing.paths);
    // Traced points are cells, one more than the pixel's index; pixel centres are at + 0.5.
    for (INT_PTR i = 0; i < drawing.paths.GetSize(); ++i)
      if (CBPointArray* p = drawing.paths.GetAt(static_cast<int>(i)))
        for (PLEXA::CBPOINT& n : *p)
          for (PLEXA::CDPOINT* q : {&n.in, &n.anchor, &n.out}) {
            q->x -= 0.5;
            q->y -= 0.5;
          }
    tagBITMAP bm{};
    GetObjectW(img.bitmap, sizeof bm, &bm);
    dots = AddDots(bm, drawing.paths, o.min_dot);
    DeleteObject(img.bitmap);
  }
  for (INT_PTR i = 0; i < drawing.paths.GetSize(); ++i)
    drawing.items.push_back(io::Item{{static_cast<int>(i)}, io::FillRule::kEvenOdd});
  drawing.width = img.width;
  drawing.height = img.height;

  double sx = io::kUnitsPerInch / (o.dpi > 0 ? o.dpi : kDefaultDpi), sy = sx;
  if (o.width > 0) sx = o.width / img.width;
  if (o.height > 0) sy = o.height / img.height;
  if (o.width > 0 && o.height <= 0) sy = sx;
  if (o.height > 0 && o.width <= 0) sx = sy;
  io::Scale(drawing, sx, sy);

  progress.Stage("writing");
  const int status = WriteOutput(o.output, io::WriteDrawing(drawing, o.output.Write()));
  if (status != kExitOk) return status;
  std::fprintf(o.output.path == "-" ? stderr : stdout,
               "traced centre lines of %s (%d x %d pixels): %d paths, %d of them dots, written "
               "to %s\n",
               name.c_str(), img.width, img.height, static_cast<int>(drawing.paths.GetSize()), dots,
               o.output.path == "-" ? "standard output" : o.output.path.c_str());
  return kExitOk;
}

}  // namespace

void RegisterCenterline(Tool& tool) {
  auto o = std::make_shared<CenterlineOptions>();
  CLI::App* cmd = tool.Add("centerline", "trace the centre lines of the strokes of a drawing",
                           [o] { return RunCenterline(*o); });
  cmd->footer(
      "Reads IMAGE (PNG, JPEG, BMP, GIF, PNM or TGA; '-' for standard input), reduces it to\n"
      "two levels, thins every dark stroke to a one-pixel centre line (Zhang-Suen thinning),\n"
      "walks the lines from end to junction and fits them with Bezier curves, then writes\n"
      "open paths (SVG: fill=\"none\" with a thin stroke) for plotters, engravers and\n"
      "single-line cutters. Strokes meet at their junctions; a dot too small to leave a line\n"
      "becomes a short path through its middle. Coordinates are millimetres at 96 pixels an\n"
      "inch (SVG's own pixel size) unless --dpi or a size is given.");
  cmd->add_option("IMAGE", o->input, "the image to trace ('-': standard input)")->required();
  AddOutput(*cmd, o->output);
  cmd->add_flag("--invert", o->invert,
                "trace light strokes on a dark ground; by default the dark strokes are traced");
  AddThreshold(*cmd, o->threshold);
  cmd->add_option("--min-dot", o->min_dot,
                  "regions of fewer pixels than this that leave no line are dropped as specks; "
                  "larger ones become dots (default 4)")
      ->check(CLI::Range(1, 1000000000));
  AddImageOptions(*cmd, o->dpi, o->width, o->height, o->max_pixels);
  AddProgress(*cmd, o->progress);
}

}  // namespace plexa::tool
