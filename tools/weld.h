// Welding and boolean operations on tool drawings: the region a drawing fills, an operation's
// result turned back into a drawing of shapes with holes, and the --weld/--fill-rule options
// the subcommands share.
//
//   io::Drawing d = ...;
//   std::string error;
//   if (!WeldDrawing(d, BooleanOptions{}, error)) return Fail(error);  // one outline per shape
//
// Shapes come from the tree the operation returns (each outline with the holes directly inside
// it; an island inside a hole is a shape of its own), so grouping costs nothing extra. Items
// of the result are non-zero; outlines run counter-clockwise and holes clockwise on screen.
#pragma once

#include <optional>
#include <string>

#include "io/drawing.h"
#include "plexa/analysis/boolean.h"
#include "tools/cli.h"

namespace plexa::tool {

// The paths of d as one set. With a rule, every path is taken as it is (the set is read under
// that rule); without one, each item is first cleaned under its own fill rule, so that the
// set read non-zero is exactly what the drawing fills. False with a message at the
// operation's bounds.
bool DrawingRegion(const io::Drawing& d, std::optional<FillRule> rule, double tolerance,
                   CPolyPolyBezier& set, std::string& error);

// Replaces d's paths and items by the result of an operation and its tree (page unchanged).
void SetResult(io::Drawing& d, const CPolyPolyBezier& result, const BooleanTree& tree);

// Welds every path of d (read under the rule, or each item under its own when none) into
// shapes with holes. False with a one-line message when the drawing is too large to weld.
bool WeldDrawing(io::Drawing& d, std::optional<FillRule> rule, double tolerance,
                 std::string& error);

// --fill-rule evenodd|nonzero into ruleText. The flattening tolerance of the operations is the
// output's --tolerance (mm), which also bounds how far crossings may move.
void AddFillRule(CLI::App& cmd, std::string& ruleText, const std::string& help);
// Fills rule from the text --fill-rule took (after parsing; unset when not given).
void ResolveFillRule(const std::string& text, std::optional<FillRule>& rule);

}  // namespace plexa::tool
