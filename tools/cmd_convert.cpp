// plexa convert IN -o OUT: a drawing from SVG into any format the tool writes.
#include <cstdio>
#include <memory>
#include <string>

#include "io/flatten.h"
#include "io/svg_read.h"
#include "tools/cli.h"
#include "tools/weld.h"

namespace plexa::tool {
namespace {

struct ConvertOptions {
  std::string input;
  OutputOptions output;
  bool flatten = false;
  bool weld = false;
  double scale = 0;
  double width = 0, height = 0;
};

// Replaces every path by straight segments within tolerance (corner nodes).
void FlattenDrawing(io::Drawing& d, double tolerance) {
  std::vector<PLEXA::CDPOINT> pts;
  for (INT_PTR i = 0; i < d.paths.GetSize(); ++i) {
    CBPointArray* p = d.paths.GetAt(static_cast<int>(i));
    if (p == nullptr) continue;
    const bool closed = p->IsPolyBezierClosed();
    io::FlattenPath(*p, tolerance, pts);
    p->SetSize(0);
    for (const PLEXA::CDPOINT& q : pts) p->Add(PLEXA::CBPOINT(q, q, q));
    if (closed && p->GetSize() > 1) (*p)[p->GetSize() - 1] = (*p)[0];
  }
}

int RunConvert(ConvertOptions& o) {
  std::string error, warning;
  if (!o.output.Resolve(error)) {
    std::fprintf(stderr, "plexa: %s (see 'plexa convert --help')\n", error.c_str());
    return kExitUsage;
  }
  io::Drawing d;
  if (!io::ReadSvgFile(o.input, d, warning, error)) return Fail(error);
  if (!warning.empty()) Warn(warning);
  if (o.scale > 0) io::Scale(d, o.scale);
  if (o.width > 0 || o.height > 0) {
    const PLEXA::CDRECT box = io::PageBox(d);
    const double w = box.xmax - box.xmin, h = box.ymax - box.ymin;
    if (!(w > 0) || !(h > 0)) return Fail("'" + o.input + "' is empty: it has no size to scale");
    double sx = o.width > 0 ? o.width / w : o.height / h;
    double sy = o.height > 0 ? o.height / h : sx;
    if (o.width <= 0) sx = sy;
    io::Scale(d, sx, sy);
  }
  const io::WriteOptions write = o.output.Write();
  if (o.weld && !WeldDrawing(d, std::nullopt, write.tolerance, error)) return Fail(error);
  if (o.flatten) FlattenDrawing(d, write.tolerance);
  const int status = WriteOutput(o.output, io::WriteDrawing(d, write));
  if (status != kExitOk) return status;
  std::fprintf(o.output.path == "-" ? stderr : stdout,
               "converted %s: %zu shapes of %td paths written to %s\n",
               o.input == "-" ? "standard input" : o.input.c_str(), d.items.size(),
               static_cast<std::ptrdiff_t>(d.paths.GetSize()),
               o.output.path == "-" ? "standard output" : o.output.path.c_str());
  return kExitOk;
}

}  // namespace

void RegisterConvert(Tool& tool) {
  auto o = std::make_shared<ConvertOptions>();
  CLI::App* cmd = tool.Add("convert", "convert a drawing from SVG to SVG, PDF, EPS, DXF or HPGL",
                           [o] { return RunConvert(*o); });
  cmd->footer(
      "Reads paths, rectangles, circles, ellipses, lines, polylines and polygons with their\n"
      "transforms, units and fill rules; text, images and other content are skipped with a\n"
      "warning. The page keeps the SVG's size.");
  cmd->add_option("INPUT", o->input, "the SVG to read ('-': standard input)")->required();
  AddOutput(*cmd, o->output);
  cmd->add_flag("--weld", o->weld, "merge overlapping shapes, each filled by its own rule");
  cmd->add_flag("--flatten", o->flatten, "replace curves by straight lines within --tolerance");
  CLI::Option* scale =
      cmd->add_option("--scale", o->scale, "multiply every coordinate and the page")
          ->check(CLI::Range(1e-6, 1e6));
  AddSize(*cmd, o->width, o->height);
  scale->excludes(cmd->get_option("--width"))->excludes(cmd->get_option("--height"));
}

}  // namespace plexa::tool
