// plexa weld IN -o OUT: every outline of an SVG merged where they overlap, holes kept.
#include <cstdio>
#include <memory>
#include <string>

#include "io/svg_read.h"
#include "tools/cli.h"
#include "tools/weld.h"

namespace plexa::tool {
namespace {

struct WeldOptions {
  std::string input;
  OutputOptions output;
  std::string fillRule = "nonzero";
};

int RunWeld(WeldOptions& o) {
  std::string error, warning;
  if (!o.output.Resolve(error)) {
    std::fprintf(stderr, "plexa: %s (see 'plexa weld --help')\n", error.c_str());
    return kExitUsage;
  }
  io::Drawing d;
  if (!io::ReadSvgFile(o.input, d, warning, error)) return Fail(error);
  if (!warning.empty()) Warn(warning);
  const std::size_t before = static_cast<std::size_t>(d.paths.GetSize());
  std::optional<FillRule> rule;
  ResolveFillRule(o.fillRule, rule);
  const io::WriteOptions write = o.output.Write();
  if (!WeldDrawing(d, rule, write.tolerance, error)) return Fail(error);
  const int status = WriteOutput(o.output, io::WriteDrawing(d, write));
  if (status != kExitOk) return status;
  std::fprintf(o.output.path == "-" ? stderr : stdout,
               "welded %s: %zu paths into %zu shapes of %td paths written to %s\n",
               o.input == "-" ? "standard input" : o.input.c_str(), before, d.items.size(),
               static_cast<std::ptrdiff_t>(d.paths.GetSize()),
               o.output.path == "-" ? "standard output" : o.output.path.c_str());
  return kExitOk;
}

}  // namespace

void RegisterWeld(Tool& tool) {
  auto o = std::make_shared<WeldOptions>();
  CLI::App* cmd = tool.Add("weld", "merge overlapping outlines of an SVG into one",
                           [o] { return RunWeld(*o); });
  cmd->footer(
      "Every path of the drawing is read under --fill-rule (non-zero by default, so overlapping\n"
      "letters merge and counter-wound holes stay holes) and the filled region is written as\n"
      "outlines with their holes. Curves stay curves: the result's edges are pieces of the\n"
      "input's own segments, cut where outlines cross (within --tolerance).");
  cmd->add_option("INPUT", o->input, "the SVG to read ('-': standard input)")->required();
  AddOutput(*cmd, o->output);
  AddFillRule(*cmd, o->fillRule, "how the paths fill: nonzero (default) or evenodd");
}

}  // namespace plexa::tool
