// plexa boolean OP A B -o OUT: union, intersection, difference or exclusive or of two SVGs.
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <tuple>

#include "io/svg_read.h"
#include "tools/cli.h"
#include "tools/weld.h"

namespace plexa::tool {
namespace {

struct BooleanCmdOptions {
  std::string op, a, b;
  OutputOptions output;
  std::string fillRule;
};

int RunBoolean(BooleanCmdOptions& o) {
  static const std::map<std::string, BooleanOp> kOps = {{"union", BooleanOp::kUnion},
                                                        {"intersect", BooleanOp::kIntersection},
                                                        {"subtract", BooleanOp::kDifference},
                                                        {"xor", BooleanOp::kXor}};
  std::string error, warning;
  if (!o.output.Resolve(error)) {
    std::fprintf(stderr, "plexa: %s (see 'plexa boolean --help')\n", error.c_str());
    return kExitUsage;
  }
  const BooleanOp op = kOps.at(o.op);  // CLI11 has checked the name
  std::optional<FillRule> rule;
  ResolveFillRule(o.fillRule, rule);
  const io::WriteOptions write = o.output.Write();
  io::Drawing a, b;
  CPolyPolyBezier setA, setB, out;
  for (auto [name, d, set] : {std::tuple{&o.a, &a, &setA}, std::tuple{&o.b, &b, &setB}}) {
    if (!io::ReadSvgFile(*name, *d, warning, error)) return Fail(error);
    if (!warning.empty()) Warn(warning);
    if (!DrawingRegion(*d, rule, write.tolerance, *set, error)) return Fail(error);
  }
  BooleanOptions options;
  options.fillRule = rule.value_or(FillRule::kNonZero);  // cleaned regions read non-zero
  options.tolerance = write.tolerance;
  BooleanTree tree;
  if (!BooleanPolyPolyBezier(setA, setB, op, out, options, &tree))
    return Fail("the drawings are too large to combine");
  SetResult(a, out, tree);  // the page of the first drawing
  const int status = WriteOutput(o.output, io::WriteDrawing(a, write));
  if (status != kExitOk) return status;
  std::fprintf(o.output.path == "-" ? stderr : stdout,
               "%s of %s and %s: %zu shapes of %td paths written to %s\n", o.op.c_str(),
               o.a.c_str(), o.b.c_str(), a.items.size(),
               static_cast<std::ptrdiff_t>(a.paths.GetSize()),
               o.output.path == "-" ? "standard output" : o.output.path.c_str());
  return kExitOk;
}

}  // namespace

void RegisterBoolean(Tool& tool) {
  auto o = std::make_shared<BooleanCmdOptions>();
  CLI::App* cmd = tool.Add("boolean", "union, intersection, difference or xor of two SVGs",
                           [o] { return RunBoolean(*o); });
  cmd->footer(
      "OPERATION is union, intersect, subtract (A minus B) or xor. Each drawing fills by its\n"
      "own fill rules unless --fill-rule sets one for every path. The result keeps A's page;\n"
      "its edges are pieces of the inputs' own curves, cut where they cross (within\n"
      "--tolerance).");
  cmd->add_option("OPERATION", o->op, "union, intersect, subtract or xor")
      ->required()
      ->check(CLI::IsMember({"union", "intersect", "subtract", "xor"}));
  cmd->add_option("A", o->a, "the first SVG ('-': standard input)")->required();
  cmd->add_option("B", o->b, "the second SVG")->required();
  AddOutput(*cmd, o->output);
  AddFillRule(*cmd, o->fillRule,
              "read every path under this rule, evenodd or nonzero (default: each shape's own)");
}

}  // namespace plexa::tool
