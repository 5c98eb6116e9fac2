// plexa colours IMAGE -o OUT.svg: a photo or flat-colour image into filled colour regions.
#include <cstdio>
#include <memory>
#include <string>

#include "io/colour_image.h"
#include "io/output_file.h"
#include "plexa/raster/colourregions.h"
#include "tools/cli.h"

namespace plexa::tool {
namespace {

struct ColoursOptions {
  std::string input;
  std::string output;
  int colours = 16;
  int speckle = 8;
  double tolerance = 1.0;
  double dpi = 96.0;
  std::int64_t max_pixels = io::kDefaultMaxPixels;
  bool progress = false;
};

int RunColours(const ColoursOptions& o) {
  Progress progress("colours", o.progress);
  progress.Stage("reading");
  std::string error;
  const io::ColourImage img = io::LoadColourImage(o.input, o.max_pixels, error);
  if (img.rgb.empty()) return Fail(error);
  progress.Stage("reducing colours");
  io::Palette palette;
  if (!io::ReduceColours(img, o.colours, palette, error)) return Fail(error);
  progress.Stage("merging specks");
  MergeSmallRegions(palette.labels, img.width, img.height, o.speckle);
  progress.Stage("tracing");
  CColourRegions regions;
  if (!regions.Trace(palette.labels, img.width, img.height, o.tolerance))
    return Fail("'" + o.input + "' is too large to trace in colour (" + std::to_string(img.width) +
                " x " + std::to_string(img.height) + " pixels)");
  progress.Stage("writing");
  const std::string svg =
      io::WriteColourSvg(regions, palette.colours, img.width, img.height, o.dpi);
  if (!io::WriteOutputFile(o.output, svg, error)) return Fail(error);
  return kExitOk;
}

}  // namespace

void RegisterColours(Tool& tool) {
  auto o = std::make_shared<ColoursOptions>();
  CLI::App* cmd = tool.Add("colours", "trace every colour region of an image into filled paths",
                           [o] { return RunColours(*o); });
  cmd->add_option("IMAGE", o->input, "the image to trace ('-': standard input)")->required();
  cmd->add_option("-o,--output", o->output, "the SVG to write ('-': standard output)")->required();
  cmd->add_option("--colours", o->colours, "colours to reduce the image to, 1 to 256 (default 16)")
      ->check(CLI::Range(1, io::kMaxPaletteColours));
  cmd->add_option("--speckle", o->speckle,
                  "merge regions of fewer pixels than this into their neighbours (default 8; "
                  "0 keeps every pixel)")
      ->check(CLI::Range(0, 1 << 20));
  cmd->add_option("--tolerance", o->tolerance,
                  "how far curves may stray from the pixel boundaries, in pixels (default 1)")
      ->check(CLI::Range(0.05, 100.0));
  AddDpi(*cmd, o->dpi,
         "the image's resolution in pixels per inch, for the SVG's size (default 96)");
  cmd->add_option("--max-pixels", o->max_pixels,
                  "refuse images whose header promises more pixels than this (default 100000000)")
      ->check(CLI::Range(std::int64_t{1}, std::int64_t{1} << 40));
  AddProgress(*cmd, o->progress);
}

}  // namespace plexa::tool
