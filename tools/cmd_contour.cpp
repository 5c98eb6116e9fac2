// plexa contour IMAGE -o OUT.svg --distance D: artwork traced and welded, and the contour cut
// line around it, as two layers (print and cut).
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "io/image_read.h"
#include "plexa/analysis/vectoroffset.h"
#include "plexa/raster/faithtrace.h"
#include "tools/cli.h"
#include "tools/weld.h"

namespace plexa::tool {
namespace {

struct ContourOptions {
  std::string input, distance = "3mm", threshold = "128";
  OutputOptions output;
  bool invert = false;
  double dpi = 0, width = 0, height = 0;
  std::int64_t max_pixels = io::kDefaultMaxPixels;
};

// The SVG of both drawings with each one's paths in a group of its own: the artwork filled,
// the cut line stroked.
std::string TwoLayers(const io::Drawing& art, const io::Drawing& cut,
                      const io::WriteOptions& write) {
  std::string a = io::WriteDrawing(art, write), c = io::WriteDrawing(cut, write);
  const auto body = [](const std::string& s) {
    const std::size_t from = s.find("  <path"), to = s.rfind("</svg>");
    return from == std::string::npos || to == std::string::npos ? std::string()
                                                                : s.substr(from, to - from);
  };
  std::string cutBody = body(c);
  // Cut lines are drawn as hairlines, not filled.
  for (std::size_t at = 0; (at = cutBody.find("<path ", at)) != std::string::npos; at += 6)
    cutBody.insert(at + 6, "fill=\"none\" stroke=\"red\" stroke-width=\"0.1\" ");
  const std::size_t head =
      a.find("  <path") != std::string::npos ? a.find("  <path") : a.rfind("</svg>");
  return a.substr(0, head) + "  <g id=\"artwork\">\n" + body(a) + "  </g>\n" +
         "  <g id=\"cut-contour\">\n" + cutBody + "  </g>\n</svg>\n";
}

int RunContour(ContourOptions& o) {
  std::string error;
  double d = 0;
  if (!o.output.Resolve(error) || !ParseLength(o.distance, d)) {
    if (error.empty()) error = "--distance needs a positive length such as 3mm";
    std::fprintf(stderr, "plexa: %s (see 'plexa contour --help')\n", error.c_str());
    return kExitUsage;
  }
  io::LoadedImage img =
      ReadArtwork(o.input, o.threshold, o.invert, o.max_pixels, "outlines", error);
  if (img.bitmap == nullptr) return Fail(error);
  const std::string name = o.input == "-" ? "standard input" : o.input;
  io::Drawing art;
  CFaithfulTrace::OPTIONS opt;
  opt.threshold = 128;
  opt.invert = true;  // the loaded bitmap has the traced pixels white
  CFaithfulTrace trace(opt);
  const bool ok = trace.Trace(img.bitmap, art.paths);
  DeleteObject(img.bitmap);
  if (!ok) return Fail("'" + name + "' could not be traced (too large or out of memory)");
  for (INT_PTR i = 0; i < art.paths.GetSize(); ++i)
    art.items.push_back(io::Item{{static_cast<int>(i)}, io::FillRule::kNonZero});
  art.width = img.width;
  art.height = img.height;
  double sx = io::kUnitsPerInch / (o.dpi > 0 ? o.dpi : kDefaultDpi), sy = sx;
  if (o.width > 0) sx = o.width / img.width;
  if (o.height > 0) sy = o.height / img.height;
  if (o.width > 0 && o.height <= 0) sy = sx;
  if (o.height > 0 && o.width <= 0) sx = sy;
  io::Scale(art, sx, sy);
  const io::WriteOptions write = o.output.Write();
  // Outlines clockwise, holes counter-clockwise: the set reads non-zero as the artwork.
  if (!WeldDrawing(art, FillRule::kNonZero, write.tolerance, error)) return Fail(error);
  if (art.items.empty()) Warn("nothing traced in " + name);
  CPolyPolyBezier region, contour;
  for (INT_PTR i = 0; i < art.paths.GetSize(); ++i)
    if (const CBPointArray* p = art.paths.GetAt(static_cast<int>(i)))
      region.Add(new CBPointArray(*p));
  BooleanTree tree;
  if (!OffsetPolyPolyBezier(region, d, contour, {}, &tree))
    return Fail(
        "the contour is too complex to compute at this distance (the artwork is too large or the "
        "distance far beyond its features): try a smaller --distance");
  io::Drawing cut;
  cut.width = art.width;
  cut.height = art.height;
  SetResult(cut, contour, tree);
  std::string bytes;
  if (o.output.resolved == io::Format::kSvg) {
    bytes = TwoLayers(art, cut, write);
  } else {
    // Formats without layers get the cut line after the artwork.
    for (const io::Item& item : cut.items) {
      io::Item copy = item;
      for (int& k : copy.paths) k += static_cast<int>(art.paths.GetSize());
      art.items.push_back(copy);
    }
    for (INT_PTR i = 0; i < cut.paths.GetSize(); ++i)
      art.paths.Add(new CBPointArray(*cut.paths.GetAt(static_cast<int>(i))));
    bytes = io::WriteDrawing(art, write);
  }
  const int status = WriteOutput(o.output, bytes);
  if (status != kExitOk) return status;
  std::fprintf(o.output.path == "-" ? stderr : stdout,
               "contoured %s: %zu shapes and a cut line of %td paths at %g mm written to %s\n",
               name.c_str(),
               art.items.size() - (o.output.resolved == io::Format::kSvg ? 0 : cut.items.size()),
               static_cast<std::ptrdiff_t>(cut.paths.GetSize()), d / io::kUnitsPerMm,
               o.output.path == "-" ? "standard output" : o.output.path.c_str());
  return kExitOk;
}

}  // namespace

void RegisterContour(Tool& tool) {
  auto o = std::make_shared<ContourOptions>();
  CLI::App* cmd = tool.Add("contour", "trace artwork and add a contour cut line around it",
                           [o] { return RunContour(*o); });
  cmd->footer(
      "Traces the dark regions of IMAGE as 'plexa trace' does, welds them, and writes them\n"
      "with their contour cut line (the artwork grown by --distance, round corners) for print\n"
      "and cut: in SVG as two groups, 'artwork' (filled) and 'cut-contour' (a red hairline);\n"
      "in other formats the cut line follows the artwork. Sizes are millimetres, from --dpi\n"
      "(default 96) or --width/--height.");
  cmd->add_option("IMAGE", o->input, "the image to trace ('-': standard input)")->required();
  AddOutput(*cmd, o->output);
  cmd->add_option("--distance,-d", o->distance,
                  "distance of the cut line from the artwork (bare numbers are millimetres; "
                  "default 3mm)");
  cmd->add_flag("--invert", o->invert, "trace the light pixels instead of the dark ones");
  AddThreshold(*cmd, o->threshold);
  AddImageOptions(*cmd, o->dpi, o->width, o->height, o->max_pixels);
}

}  // namespace plexa::tool
