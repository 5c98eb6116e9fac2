// plexa trace IMAGE -o OUT: a two-level artwork into cut-ready outlines.
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "io/image_read.h"
#include "plexa/raster/faithtrace.h"
#include "plexa/raster/shapetrace.h"
#include "tools/cli.h"
#include "tools/weld.h"

namespace plexa::tool {
namespace {

struct TraceOptions {
  std::string input;
  OutputOptions output;
  bool invert = false;
  std::string threshold = "128";
  int min_points = 10;
  std::string engine = "faithful";
  CFaithfulTrace::OPTIONS faithful;
  std::string turn_policy = "minority";
  double dpi = 0;
  double width = 0, height = 0;  // drawing units; 0: not given
  std::int64_t max_pixels = io::kDefaultMaxPixels;
  bool progress = false;
  bool weld = false;
};

int RunTrace(TraceOptions& o) {
  std::string error;
  if (!o.output.Resolve(error)) {
    std::fprintf(stderr, "plexa: %s (see 'plexa trace --help')\n", error.c_str());
    return kExitUsage;
  }
  Progress progress("trace", o.progress);
  progress.Stage("reading");
  const std::string name = o.input == "-" ? "standard input" : o.input;
  io::Drawing drawing;
  int width = 0, height = 0, threshold = 0;
  if (o.engine == "shape") {
    io::LoadedImage img =
        ReadArtwork(o.input, o.threshold, o.invert, o.max_pixels, "outlines", error);
    if (img.bitmap == nullptr) return Fail(error);
    width = img.width;
    height = img.height;
    threshold = img.threshold;
    progress.Stage("tracing");
    {
      CShapeTrace trace(img.bitmap);
      const bool ok = trace.DoTrace(drawing.paths, o.min_points);
      DeleteObject(img.bitmap);
      if (!ok) return Fail("'" + name + "' could not be traced (out of memory)");
    }
    // Traced points are pixel indexes and the paths pass through pixel centres: half a pixel
    // lines them up with the image.
    for (INT_PTR i = 0; i < drawing.paths.GetSize(); ++i)
      if (CBPointArray* p = drawing.paths.GetAt(static_cast<int>(i)))
        for (PLEXA::CBPOINT& n : *p)
          for (PLEXA::CDPOINT* q : {&n.in, &n.anchor, &n.out}) {
            q->x += 0.5;
            q->y += 0.5;
          }
    progress.Stage("sorting holes");
    for (INT_PTR i = 0; i < drawing.paths.GetSize(); ++i)
      drawing.items.push_back(io::Item{{static_cast<int>(i)}, io::FillRule::kEvenOdd});
    io::GroupIntoShapes(drawing);
  } else {
    // The artwork one bit a pixel, set where traced, its rows read into the tracer's own
    // image. The tracer's tree gives each outline its holes directly.
    io::TwoLevelRows rows;
    if (!OpenArtworkRows(o.input, o.threshold, o.invert, o.max_pixels, "outlines", rows, error))
      return Fail(error);
    width = rows.width;
    height = rows.height;
    threshold = rows.threshold;
    progress.Stage("tracing");
    CFaithfulTrace::OPTIONS opt = o.faithful;
    opt.invert = false;
    opt.turnPolicy = o.turn_policy == "majority" ? CFaithfulTrace::TurnPolicy::Majority
                     : o.turn_policy == "black"  ? CFaithfulTrace::TurnPolicy::Foreground
                     : o.turn_policy == "white"  ? CFaithfulTrace::TurnPolicy::Background
                                                 : CFaithfulTrace::TurnPolicy::Minority;
    CFaithfulTrace trace(opt);
    std::string readError;
    const bool ok = trace.TraceBitRows(
        width, height, [&](std::span<std::uint8_t> bits) { return rows.Read(bits, readError); },
        drawing.paths);
    if (!ok && !readError.empty()) return Fail(readError);  // the file, not the tracer
    if (!ok) return Fail("'" + name + "' could not be traced (too large or out of memory)");
    const auto& tree = trace.Tree();
    std::vector<int> item(tree.size(), -1);
    for (std::size_t i = 0; i < tree.size(); ++i) {
      if (!tree[i].hole) {
        item[i] = static_cast<int>(drawing.items.size());
        drawing.items.push_back(io::Item{{static_cast<int>(i)}, io::FillRule::kEvenOdd});
      } else if (tree[i].parent >= 0 && item[static_cast<std::size_t>(tree[i].parent)] >= 0) {
        drawing.items[static_cast<std::size_t>(item[static_cast<std::size_t>(tree[i].parent)])]
            .paths.push_back(static_cast<int>(i));
      }
    }
  }
  if (drawing.items.empty())
    Warn("nothing traced in " + name + ": no " + (o.invert ? "light" : "dark") +
         " region (threshold " + std::to_string(threshold) + ") survived");
  drawing.width = width;
  drawing.height = height;

  // Pixels to drawing units: by resolution, or to the size asked for (one side given: the
  // other follows).
  double sx = io::kUnitsPerInch / (o.dpi > 0 ? o.dpi : kDefaultDpi), sy = sx;
  if (o.width > 0) sx = o.width / width;
  if (o.height > 0) sy = o.height / height;
  if (o.width > 0 && o.height <= 0) sy = sx;
  if (o.height > 0 && o.width <= 0) sx = sy;
  io::Scale(drawing, sx, sy);
  if (o.weld) {
    progress.Stage("welding");
    if (!WeldDrawing(drawing, std::nullopt, o.output.Write().tolerance, error)) return Fail(error);
  }

  progress.Stage("writing");
  const int status = WriteOutput(o.output, io::WriteDrawing(drawing, o.output.Write()));
  if (status != kExitOk) return status;
  std::size_t holes = 0;
  for (const io::Item& item : drawing.items) holes += item.paths.size() - 1;
  std::fprintf(o.output.path == "-" ? stderr : stdout,
               "traced %s (%d x %d pixels): %zu outlines with %zu holes written to %s\n",
               name.c_str(), width, height, drawing.items.size(), holes,
               o.output.path == "-" ? "standard output" : o.output.path.c_str());
  return kExitOk;
}

}  // namespace

int RunTracePlain(const std::string& input, const std::string& output) {
  TraceOptions o;  // every option at its default, as the option tree leaves them
  o.input = input;
  o.output.path = output;
  return RunTrace(o);
}

void RegisterTrace(Tool& tool) {
  auto o = std::make_shared<TraceOptions>();
  CLI::App* cmd =
      tool.Add("trace", "trace a two-level artwork into outlines", [o] { return RunTrace(*o); });
  cmd->footer(
      "Reads IMAGE (PNG, JPEG, BMP, GIF, PNM or TGA; '-' for standard input), reduces it to\n"
      "two levels, follows the boundary of every dark region and fits it with Bezier curves,\n"
      "then writes one filled shape per outline with its holes. The default engine finds\n"
      "every region and hole, keeps outlines on the pixel edges, straight edges straight and\n"
      "corners sharp. '--engine shape' gives the host library's shape tracer instead\n"
      "(regions found on a 10-pixel grid, fitted at 5 pixels; --min-points applies to it).");
  cmd->add_option("IMAGE", o->input, "the image to trace ('-': standard input)")->required();
  AddOutput(*cmd, o->output);
  cmd->add_flag("--weld", o->weld, "merge touching or overlapping outlines into one");
  cmd->add_flag("--invert", o->invert,
                "trace the light pixels (light artwork on a dark ground); by default the dark "
                "ones are traced");
  AddThreshold(*cmd, o->threshold);
  cmd->add_option("--engine", o->engine,
                  "'faithful' (default) or 'shape' (the host library's shape tracer)")
      ->check(CLI::IsMember({"faithful", "shape"}));
  cmd->add_option("--turdsize", o->faithful.speckle,
                  "drop regions and fill holes of this many pixels or fewer (default 2)")
      ->check(InRange(0, 1000000000, "INT in [0 - 1000000000]"));
  cmd->add_option("--alphamax", o->faithful.cornerThreshold,
                  "corner threshold: 0 makes every polygon vertex a corner, 1.334 none "
                  "(default 1)")
      ->check(InRange(0.0, 10.0, "FLOAT in [0 - 10]"));
  cmd->add_option("--opttolerance", o->faithful.optTolerance,
                  "merge curves that stay within this many pixels of the curves they replace; "
                  "0 merges none (default 0.4)")
      ->check(InRange(0.0, 100.0, "FLOAT in [0 - 100]"));
  cmd->add_option("--turnpolicy", o->turn_policy,
                  "where dark pixels touch only at a corner: join the 'minority' colour "
                  "(default), the 'majority', always 'black' (the traced level) or 'white'")
      ->check(CLI::IsMember({"minority", "majority", "black", "white"}));
  cmd->add_option("--min-points", o->min_points,
                  "with --engine shape: drop boundaries of this many pixels or fewer (default 10)")
      ->check(InRange(0, 1000000000, "INT in [0 - 1000000000]"));
  AddImageOptions(*cmd, o->dpi, o->width, o->height, o->max_pixels);
  AddProgress(*cmd, o->progress);
}

}  // namespace plexa::tool
