// Boolean operations and weld on sets of closed poly-Bezier paths: union, intersection,
// difference and exclusive or of two sets, and the weld of one set (the union of everything
// in it), with the outline/hole tree of the result.
//
//   CPolyPolyBezier letters = ..., panel = ..., out;
//   WeldPolyPolyBezier(letters, out);                                   // one cuttable outline
//   BooleanPolyPolyBezier(panel, letters, BooleanOp::kDifference, out);  // letters cut out
//
// Input: every path of a set is read as closed; an open path is closed by the straight chord
// from its last anchor back to its first. Paths with fewer than 2 nodes, or with any NaN or
// infinite coordinate, are skipped (left out as if absent); null slots are skipped. The region
// of a set is the points whose winding number over its paths is inside under the fill rule:
// non-zero (the default: winding != 0) or even-odd (odd winding).
//
// Output (out is emptied first): closed paths (the last node repeats the first), simple (no
// path crosses itself or another; paths may touch at single points), outlines counter-clockwise
// and holes clockwise on a y-down screen, i.e. CBPointArray::IsClockwise() is false for an
// outline and true for a hole, so the result reads the same under both fill rules. Curves stay
// curves: every result segment is a piece of one input segment (CBezier::Split between the
// crossings), its ends moved onto the result's vertices; straight input segments and chords
// give straight segments with their handles on their anchors; straight pieces that follow
// each other on one line become one straight segment.
//
// Accuracy: every result vertex lies within the flattening tolerance plus one grid step of the
// exact boundary. The grid step is the set's half-extent (the larger half side of the bounding
// box of all control points of both sets) divided by 2^26. Loops and slivers narrower than a
// grid step collapse and vanish. The topology is decided by exact integer arithmetic on the
// grid, so it is always consistent (no crossing result edges, no open loops).
//
// Degenerate input: two empty sets (or sets whose paths are all skipped) give an empty result
// and true; an empty second set makes union/difference/xor the cleaned region of the first and
// intersection empty. Coordinates up to the largest finite double are accepted. A bounding box
// smaller than 1e-290 gives an empty result.
//
// Bounds: each segment is flattened into at most 2^12 edges; false (out empty) when more than
// 2^22 flattened edges, 2^24 crossings or 2^25 fragments arise. Work is O((n + k) log n) for n
// flattened edges and k crossings on evenly spread input, quadratic at worst.
#pragma once

#include <vector>

#include "plexa/geom/polypoly.h"
#include "plexa/platform/export.h"

enum class BooleanOp { kUnion, kIntersection, kDifference, kXor };
enum class FillRule { kNonZero, kEvenOdd };

struct BooleanOptions {
  FillRule fillRule = FillRule::kNonZero;
  // Largest distance between a curve and its flattened polygon, in drawing units. Values
  // that are not positive or not finite mean the default 0.01; values below the grid step
  // are raised to it.
  double tolerance = 0.01;
};

// The outline/hole tree of a result: for output path i, parent[i] is the index of the
// innermost path around it (-1 at the top level) and depth[i] its nesting depth (0 at the top
// level). Outlines have even depth and holes odd depth.
struct BooleanTree {
  std::vector<int> parent;
  std::vector<int> depth;
};

// a op b into out; tree, when given, receives the tree of out. False only at the bounds above.
PLEXA_API bool BooleanPolyPolyBezier(const CPolyPolyBezier& a, const CPolyPolyBezier& b,
                                     BooleanOp op, CPolyPolyBezier& out,
                                     const BooleanOptions& options = {},
                                     BooleanTree* tree = nullptr);
// The union of everything in the set, as BooleanPolyPolyBezier(set, {}, kUnion, ...): with the
// default non-zero rule, overlapping outlines of the same orientation merge and holes whose
// orientation is opposite stay holes.
PLEXA_API bool WeldPolyPolyBezier(const CPolyPolyBezier& set, CPolyPolyBezier& out,
                                  const BooleanOptions& options = {}, BooleanTree* tree = nullptr);
