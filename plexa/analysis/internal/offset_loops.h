// The loops behind the vector offset (plexa/analysis/vectoroffset.h): for a path, the closed
// chain that runs along its offset at +|d| on its left (in y-up axes), with the join asked for
// where the path turns away from that side, a detour through the corner where it turns towards
// it, and a detour along the path itself (plus disks of radius |d|, added as separate loops)
// over stretches whose curvature on that side passes 1/|d|.
//
//   CPolyPolyBezier loops;
//   plexa::offset::LoopBuilder b(d, options, loops);
//   b.AddBothSides(path);          // coverage of the band of width 2|d| round a closed path
//   BooleanPolyPolyBezier(region, loops, BooleanOp::kUnion, out);
//
// Invariant: the winding number of a side's loop is the path's own winding number plus the
// number of times the point is covered by the thin quadrilaterals between the path and its
// offset and by the join shapes, each counted positively (as an outline, IsClockwise() false).
// So the loops of a path and of its reverse together wind exactly as often as the band of
// width 2|d| round the path covers a point (never negatively), and an open path's stroke (one
// loop: one side out, the cap, the other side back, the other cap) does the same. Private:
// never installed.
#pragma once

#include <cstddef>
#include <memory>

#include "plexa/analysis/vectoroffset.h"
#include "plexa/geom/polypoly.h"

namespace plexa::offset {

class LoopBuilder {
 public:
  // Loops of radius |d| for the options' join, cap and accuracy, appended to out; at most
  // kOffsetMaxPieces + kOffsetPiecesPerNode * nodes offset curves and disks (the fits and
  // disk spacings then stop refining).
  LoopBuilder(double d, const OffsetOptions& options, CPolyPolyBezier& out, std::size_t nodes);
  ~LoopBuilder();
  LoopBuilder(const LoopBuilder&) = delete;
  LoopBuilder& operator=(const LoopBuilder&) = delete;

  // The loop on the left side of a path read as closed (its chord closes it).
  void AddLeftSide(const CBPointArray& path);
  // The loops on both sides of a path read as closed.
  void AddBothSides(const CBPointArray& path);
  // The stroke of an open path: one loop with the options' caps (a single node with round
  // caps gives a disk).
  void AddOpen(const CBPointArray& path);
  // Loops built so far (disks included).
  int Count() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace plexa::offset

namespace plexa::offset {

// How closed loops lie against each other, from their polygons flattened within tol: which
// come within 2 * tol of another loop or of a non-neighbouring part of themselves (crossing,
// as far as the flattening can tell), and which loops contain which (winding number of the
// other loop at a point of this one, non-zero). Work: a grid over the flattened edges
// (plexa/analysis/internal/box_pairs.h), then each pair of edges whose boxes overlap (and the
// edges of each loop whose box holds another's point); when more than floor + perEdge *
// (flattened edges) such pairs arise the search stops with overBudget set. ok is false then, and
// when there are too many loops to nest pairwise.
struct Layout {
  bool ok = false;
  bool overBudget = false;
  std::size_t edges = 0;      // flattened edges
  std::size_t close = 0;      // pairs of edges (of one loop or two) found within the margin
  std::vector<char> crossed;  // per loop
  std::vector<int> group;     // loops joined by crossings share a group
  std::vector<std::vector<int>> containers;  // per loop, the loops around it
  std::vector<int> sign;                     // winding inside each loop: +1 or -1
};
Layout LayOut(const CPolyPolyBezier& loops, double tol, std::size_t floor, std::size_t perEdge);

}  // namespace plexa::offset
