// CBPointArray: one poly-Bezier path. Every two neighbouring nodes form a cubic segment:
// segment i is (anchor i, out i, in i+1, anchor i+1), so n nodes make n - 1 segments.
//
//   CBPointArray square;
//   for (auto p : {CDPOINT(0,0), CDPOINT(1,0), CDPOINT(1,1), CDPOINT(0,1), CDPOINT(0,0)})
//     square.Add(PLEXA::CBPOINT(p, p, p));   // corner nodes, straight segments
//   square.IsPolyBezierClosed();             // true: >= 3 nodes, last anchor == first
//
// Invariants: closedness is a test, never a flag: at least 3 nodes and the last anchor within
// 1e-8 of the first in x and in y; a closed path repeats its first node as its last. The
// path adds no fields to its node array.
#pragma once

#include "plexa/effects/view3d.h"
#include "plexa/geom/types.h"
#include "plexa/platform/array.h"

class CBPointArray : public CArray<PLEXA::CBPOINT, PLEXA::CBPOINT> {
 public:
  CBPointArray() = default;
  CBPointArray(const CBPointArray&) = default;
  CBPointArray& operator=(const CBPointArray&) = default;
  ~CBPointArray() override = default;

  // Equal node counts and all six coordinates of every node within 1e-8; the attribute word
  // is not compared. Two empty paths are equal.
  bool operator==(const CBPointArray& other) const;
  bool IsPolyBezierClosed() const;
  // Anchor-polygon orientation: S = sum (x[i+1] - x[i]) * (y[i+1] + y[i]) with the last node
  // followed by the first; true when S <= 0 (clockwise on a y-down screen). Empty: true.
  bool IsClockwise() const;
  // Each point of every node goes through view.Transfer(x, y, 0); attribute words are kept.
  void ApplyTransformation(CView3D& view);

  // Reverses node order and swaps each node's two controls, so every segment keeps its shape.
  void MakeReverse();
  // Reverses when the orientation differs from the request; 1 when it reversed, else 0.
  // Fewer than 2 nodes: 0.
  int SetOrientation(bool clockwise);
  // From the end backwards, removes node i when node i + 1 matches it within tol in all six
  // coordinates (|d| <= tol): the later node of a run of repeats survives.
  void RemoveSamePoints(double tol);

 protected:
  // The anchor-polygon sum shared by IsClockwise and SetOrientation.
  double OrientationSum() const;
};
