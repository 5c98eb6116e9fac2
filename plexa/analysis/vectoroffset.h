// The vector offset: sets of closed poly-Bezier outlines grown or shrunk by a distance, and open
// paths stroked into outlines, with curves in and curves out. The contour cut line around a
// printed sticker is the typical use.
//
//   CPolyPolyBezier letters = ..., contour, inset, line;
//   OffsetPolyPolyBezier(letters, 20.0, contour);                        // 2 mm all round
//   OffsetPolyPolyBezier(letters, -5.0, inset, {.join = OffsetJoin::kMiter});
//   StrokePolyPolyBezier(path, 3.0, line, {.cap = OffsetCap::kRound});   // a 6-unit wide line
//
// What it computes. The grown set is every point within distance d of the region the set
// fills (the Minkowski sum with a disk of radius d when the joins are round); the shrunk set is
// every point of the region farther than d from its complement. The stroke of a path is every
// point within d of the path (d is half the line's width). Corners of the offset on the side
// where the boundary turns away get the join asked for: round (an arc of radius d), miter (the
// two offset edges extended until they meet, cut back to a bevel where the tip lies farther
// than miterLimit * d from the corner) or bevel (a straight cut). Smooth curves stay smooth.
//
// How. The region is first made into simple outlines and holes (paths that cross no other
// path are kept, turned to wind as outlines or holes; crossing ones are welded under the fill
// rule). Each boundary is offset into one loop on the side asked for: its offset curves
// (approximated by cubics), the join where it turns away from that side, and where it turns
// towards it the two offsets cut at their crossing; stretches whose curvature exceeds 1/d
// (where the offset would form a cusp or a swallowtail) are cut the same way, or covered by
// disks of radius d close enough that the gaps between them stay within the accuracy. Loops
// that cross nothing and nest as outlines and holes are the result; the others go through the
// boolean union (plexa/analysis/boolean.h, non-zero), so no loop, spike or swallowtail
// survives. Outlines come out counter-clockwise (IsClockwise() false), holes clockwise, each
// path closed. Finally every edge shorter than the minimum edge (half the accuracy) is merged
// into its neighbours, straight edges on one line become one, and any path whose area is below
// half the accuracy times its perimeter (a sliver, or a speck narrower than the accuracy) is
// dropped.
//
// Accuracy: every point of the result lies within options.accuracy of the exact offset
// boundary (distance d from the input), apart from the bounds below. A shape that vanishes
// under shrinking gives an empty result.
//
// Degenerate input: d NaN or infinite, or accuracy not positive and finite: out empty, false.
// |d| below the accuracy: out is the cleaned region (the weld), true. Empty sets, and paths
// with fewer than 2 nodes or non-finite coordinates (skipped) give an empty result with true.
// A d much larger than the drawing gives a rounded blob (growing) or nothing (shrinking).
// Stretches of high curvature get at most 64 disks each, and where the curvature
// changes sign there (a cusp of the input) at most 256 disks are spaced along it; the accuracy
// is then not guaranteed. Bounds: at most kOffsetMaxPieces + kOffsetPiecesPerNode * (input
// nodes) offset curves and disks are built (beyond it, fits and disks stop refining and the
// accuracy degrades). The loops are flattened coarsely (within |d| / 64, at least the
// accuracy) to find crossings; when more than 2^21 such edges arise, or more than 2^20 + 256
// per edge pairs of them have overlapping boxes, or more than 2^18 + 64 per edge pairs lie
// within twice that tolerance (a crowded, self-crossing path offset far beyond its features,
// where the union grows quadratic), the offset refuses: false, out empty. This keeps hostile
// input of 64 nodes to about three seconds, while a traced sign takes a contour of half its
// size. The boolean's bounds apply too (false, out empty). Cost: a
// grid over the coarse edges, plus the boolean on the loops that cross, at a tolerance of 0.45
// times the accuracy.
#pragma once

#include "plexa/analysis/boolean.h"
#include "plexa/geom/polypoly.h"
#include "plexa/platform/export.h"

enum class OffsetJoin { kRound, kMiter, kBevel };
enum class OffsetCap { kButt, kRound, kSquare };

// Most offset curves and disks one call builds: kOffsetMaxPieces plus kOffsetPiecesPerNode for
// every node of the input; past it the fits and the disk spacing stop refining.
inline constexpr int kOffsetMaxPieces = 1 << 15;
inline constexpr int kOffsetPiecesPerNode = 8;

struct OffsetOptions {
  OffsetJoin join = OffsetJoin::kRound;
  // Miter tips farther than miterLimit * |d| from their corner are bevelled (values below 1
  // count as 1).
  double miterLimit = 4.0;
  // Caps of open paths (StrokePolyPolyBezier only).
  OffsetCap cap = OffsetCap::kButt;
  // How the input set fills (OffsetPolyPolyBezier only).
  FillRule fillRule = FillRule::kNonZero;
  // Largest distance, in drawing units, between the result and the exact offset.
  double accuracy = 1e-3;
};

// The set grown (d > 0) or shrunk (d < 0) by |d|, into out (emptied first). Every path is read
// as closed (an open one by the chord from its last anchor to its first). tree, when given,
// receives the outline/hole tree of out. False only for a non-finite d or accuracy, or at the
// boolean's bounds.
PLEXA_API bool OffsetPolyPolyBezier(const CPolyPolyBezier& set, double d, CPolyPolyBezier& out,
                                    const OffsetOptions& options = {}, BooleanTree* tree = nullptr);
// One path grown or shrunk, as the set form on a set of that path alone.
PLEXA_API bool OffsetBPointArray(const CBPointArray& path, double d, CPolyPolyBezier& out,
                                 const OffsetOptions& options = {});

// The outline of every path stroked with a line of half-width |d| (d's sign is ignored), into
// out (emptied first): closed paths (IsPolyBezierClosed) give a band with joins all round,
// open ones a band with the caps asked for at their ends. Overlapping strokes merge. False
// only for a non-finite d or accuracy, or at the boolean's bounds; d = 0 gives empty and true.
PLEXA_API bool StrokePolyPolyBezier(const CPolyPolyBezier& set, double d, CPolyPolyBezier& out,
                                    const OffsetOptions& options = {}, BooleanTree* tree = nullptr);
PLEXA_API bool StrokePolyPolyBezier(const CBPointArray& path, double d, CPolyPolyBezier& out,
                                    const OffsetOptions& options = {});
