// plexa offset IN.svg -o OUT.svg --distance D: a drawing grown or shrunk, in curves.
#include <cstdio>
#include <map>
#include <memory>
#include <string>

#include "io/svg_read.h"
#include "plexa/analysis/vectoroffset.h"
#include "tools/cli.h"
#include "tools/weld.h"

namespace plexa::tool {
namespace {

struct OffsetCmdOptions {
  std::string input, distance, join = "round";
  double miterLimit = 4.0;
  OutputOptions output;
  std::string fillRule;
};

// A signed length: "-2mm", "1.5" (millimetres), "0.1in".
bool ParseSignedLength(const std::string& text, double& units) {
  if (!text.empty() && text[0] == '-') {
    if (!ParseLength(text.substr(1), units)) return false;
    units = -units;
    return true;
  }
  return ParseLength(text, units);
}

int RunOffset(OffsetCmdOptions& o) {
  static const std::map<std::string, OffsetJoin> kJoins = {
      {"round", OffsetJoin::kRound}, {"miter", OffsetJoin::kMiter}, {"bevel", OffsetJoin::kBevel}};
  std::string error, warning;
  double d = 0;
  if (!o.output.Resolve(error) || !ParseSignedLength(o.distance, d)) {
    if (error.empty()) error = "--distance needs a length such as 2mm or -0.5mm";
    std::fprintf(stderr, "plexa: %s (see 'plexa offset --help')\n", error.c_str());
    return kExitUsage;
  }
  std::optional<FillRule> rule;
  ResolveFillRule(o.fillRule, rule);
  const io::WriteOptions write = o.output.Write();
  io::Drawing drawing;
  if (!io::ReadSvgFile(o.input, drawing, warning, error)) return Fail(error);
  if (!warning.empty()) Warn(warning);
  CPolyPolyBezier region, out;
  if (!DrawingRegion(drawing, rule, write.tolerance, region, error)) return Fail(error);
  OffsetOptions options;
  options.join = kJoins.at(o.join);
  options.miterLimit = o.miterLimit;
  options.fillRule = rule.value_or(FillRule::kNonZero);  // cleaned regions read non-zero
  BooleanTree tree;
  if (!OffsetPolyPolyBezier(region, d, out, options, &tree))
    return Fail(
        "the offset is too complex to compute at this distance (the drawing is too large or the "
        "distance far beyond its features): try a smaller --distance");
  SetResult(drawing, out, tree);
  const int status = WriteOutput(o.output, io::WriteDrawing(drawing, write));
  if (status != kExitOk) return status;
  std::fprintf(o.output.path == "-" ? stderr : stdout,
               "%s offset by %g mm: %zu shapes of %td paths written to %s\n", o.input.c_str(),
               d / io::kUnitsPerMm, drawing.items.size(),
               static_cast<std::ptrdiff_t>(drawing.paths.GetSize()),
               o.output.path == "-" ? "standard output" : o.output.path.c_str());
  return kExitOk;
}

}  // namespace

void RegisterOffset(Tool& tool) {
  auto o = std::make_shared<OffsetCmdOptions>();
  CLI::App* cmd = tool.Add("offset", "grow or shrink the shapes of an SVG by a distance",
                           [o] { return RunOffset(*o); });
  cmd->footer(
      "Every shape grows by --distance (shrinks when it is negative): the result holds the\n"
      "points within that distance of the shapes (or farther than it inside them), in\n"
      "curves within 0.1 micrometre, without loops or spikes; shapes that vanish are left\n"
      "out. Corners on the outside of the turn get the --join. The result is welded: shapes\n"
      "that grow into each other merge.");
  cmd->add_option("INPUT", o->input, "the SVG to offset ('-': standard input)")->required();
  AddOutput(*cmd, o->output);
  cmd->add_option("--distance,-d", o->distance,
                  "offset distance with a unit (bare numbers are millimetres); negative shrinks")
      ->required()
      ->allow_extra_args(false);
  cmd->add_option("--join", o->join, "corners: round (default), miter or bevel")
      ->check(CLI::IsMember({"round", "miter", "bevel"}));
  cmd->add_option("--miter-limit", o->miterLimit,
                  "miter tips longer than this many distances are bevelled (default 4)")
      ->check(CLI::Range(1.0, 1000.0));
  AddFillRule(*cmd, o->fillRule,
              "read every path under this rule, evenodd or nonzero (default: each shape's own)");
}

}  // namespace plexa::tool
