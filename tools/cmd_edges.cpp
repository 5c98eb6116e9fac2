// plexa edges PHOTO -o OUT: the edges of a photograph as open paths, for engraving or cutting
// an outline drawing of a picture.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "io/drawing.h"
#include "io/image_read.h"
#include "plexa/raster/edgedetect.h"
#include "tools/cli.h"

namespace plexa::tool {
namespace {

struct EdgesOptions {
  std::string input;
  OutputOptions output;
  double details = 0.5;
  std::string method = "canny";
  double dpi = 0;
  double width = 0, height = 0;  // drawing units; 0: not given
  std::int64_t max_pixels = io::kDefaultMaxPixels;
  bool progress = false;
};

// The detector with the ISEF entry reachable at a given resolution (Input runs Canny).
struct Detector : CEdgeDetect {
  void Isef(HBITMAP bmp, double dpiX, double dpiY) {
    m_bitmap = bmp;
    GetObjectW(bmp, sizeof m_bm, &m_bm);
    m_dpiX = dpiX;
    m_dpiY = dpiY;
    Input_Shen();
    ScaleBack();
  }
};

// True when every pixel of a 32-bit bitmap has one colour. The detector's estimated thresholds
// fall to zero on such a picture and every pixel becomes an edge, which is never what a user
// of the tool means: a flat picture has no edges.
bool IsFlat(HBITMAP bmp) {
  tagBITMAP bm{};
  if (GetObjectW(bmp, sizeof bm, &bm) == 0 || bm.bmBits == nullptr || bm.bmBitsPixel != 32)
    return false;
  const auto* base = static_cast<const unsigned char*>(bm.bmBits);
  std::uint32_t first = 0;
  std::memcpy(&first, base, 4);
  first &= 0xFFFFFFu;
  for (LONG y = 0; y < bm.bmHeight; ++y) {
    const unsigned char* row = base + static_cast<std::size_t>(y) * bm.bmWidthBytes;
    for (LONG x = 0; x < bm.bmWidth; ++x) {
      std::uint32_t c = 0;
      std::memcpy(&c, row + 4 * static_cast<std::size_t>(x), 4);
      if ((c & 0xFFFFFFu) != first) return false;
    }
  }
  return true;
}

int RunEdges(EdgesOptions& o) {
  std::string error;
  if (!o.output.Resolve(error)) {
    std::fprintf(stderr, "plexa: %s (see 'plexa edges --help')\n", error.c_str());
    return kExitUsage;
  }
  Progress progress("edges", o.progress);
  progress.Stage("reading");
  io::LoadedImage img = io::LoadColourBitmap(o.input, o.max_pixels, error);
  if (img.bitmap == nullptr) return Fail(error);
  const std::string name = o.input == "-" ? "standard input" : o.input;

  // Resolution of the picture: --dpi, or what the sizes ask for, else 96.
  double dpiX = o.dpi > 0 ? o.dpi : kDefaultDpi, dpiY = dpiX;
  if (o.width > 0) dpiX = img.width * io::kUnitsPerInch / o.width;
  if (o.height > 0) dpiY = img.height * io::kUnitsPerInch / o.height;
  if (o.width > 0 && o.height <= 0) dpiY = dpiX;
  if (o.height > 0 && o.width <= 0) dpiX = dpiY;

  progress.Stage("detecting and tracing edges");
  io::Drawing drawing;
  if (IsFlat(img.bitmap)) {
    std::fprintf(stderr, "plexa: %s is one flat colour: no edges to trace\n", name.c_str());
    DeleteObject(img.bitmap);
  } else {
    Detector e;
    e.SetDetails(o.details);
    if (o.method == "isef")
      e.Isef(img.bitmap, dpiX, dpiY);
    else
      e.Input(img.bitmap, dpiX, dpiY);
    DeleteObject(img.bitmap);
    e.Output(drawing.paths);
  }
  // Traced points are cells, one more than the pixel's index: half a pixel back puts them on
  // the pixel centres.
  const double hx = 0.5 * io::kUnitsPerInch / dpiX, hy = 0.5 * io::kUnitsPerInch / dpiY;
  for (INT_PTR i = 0; i < drawing.paths.GetSize(); ++i) {
    if (CBPointArray* p = drawing.paths.GetAt(static_cast<int>(i)))
      for (PLEXA::CBPOINT& n : *p)
        for (PLEXA::CDPOINT* q : {&n.in, &n.anchor, &n.out}) {
          q->x -= hx;
          q->y -= hy;
        }
    drawing.items.push_back(io::Item{{static_cast<int>(i)}, io::FillRule::kEvenOdd});
  }
  drawing.width = img.width * io::kUnitsPerInch / dpiX;
  drawing.height = img.height * io::kUnitsPerInch / dpiY;

  progress.Stage("writing");
  const int status = WriteOutput(o.output, io::WriteDrawing(drawing, o.output.Write()));
  if (status != kExitOk) return status;
  std::fprintf(o.output.path == "-" ? stderr : stdout,
               "traced the edges of %s (%d x %d pixels, %s, details %g): %d paths, written to "
               "%s\n",
               name.c_str(), img.width, img.height, o.method.c_str(), o.details,
               static_cast<int>(drawing.paths.GetSize()),
               o.output.path == "-" ? "standard output" : o.output.path.c_str());
  return kExitOk;
}

}  // namespace

void RegisterEdges(Tool& tool) {
  auto o = std::make_shared<EdgesOptions>();
  CLI::App* cmd = tool.Add("edges", "trace the edges of a photograph as open paths",
                           [o] { return RunEdges(*o); });
  cmd->footer(
      "Reads PHOTO (PNG, JPEG, BMP, GIF, PNM or TGA; '-' for standard input) in colour,\n"
      "turns it grey (0.3 R + 0.59 G + 0.11 B), finds its edge pixels and traces them into\n"
      "open Bezier paths (SVG: fill=\"none\" with a thin stroke) for engraving, plotting or\n"
      "cutting an outline drawing of the picture. --method canny (the default) smooths with\n"
      "a Gaussian of sigma 1.5 - details pixels and keeps the ridges of the gradient above\n"
      "thresholds it estimates from the picture; --method isef (Shen-Castan) keeps the zero\n"
      "crossings of a band-limited Laplacian whose local contrast passes fixed thresholds\n"
      "(20 and 22 grey levels), so it keeps only strong edges. Paths shorter than 1 mm are\n"
      "dropped. Coordinates are millimetres at 96 pixels an inch unless --dpi or a size is\n"
      "given.");
  cmd->add_option("PHOTO", o->input, "the picture ('-': standard input)")->required();
  AddOutput(*cmd, o->output);
  cmd->add_option("--details", o->details,
                  "0 (coarse: fewer, smoother edges) to 1 (fine: more edges); default 0.5")
      ->check(CLI::Range(0.0, 1.0));
  cmd->add_option("--method", o->method, "canny (default) or isef")
      ->check(CLI::IsMember({"canny", "isef"}));
  AddImageOptions(*cmd, o->dpi, o->width, o->height, o->max_pixels);
  AddProgress(*cmd, o->progress);
}

}  // namespace plexa::tool
