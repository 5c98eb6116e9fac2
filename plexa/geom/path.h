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

#include "plexa/core/types.h"
#include "plexa/core/view3d.h"
#include "plexa/geom/bezier.h"
#include "plexa/platform/array.h"
#include "plexa/platform/export.h"

// Halving depth and point count at which flattening by ratio accepts pieces as they stand.
inline constexpr int kFlattenExMaxDepth = 40;
inline constexpr INT_PTR kFlattenExPointCeiling = 1000000;

class PLEXA_API CBPointArray : public CArray<PLEXA::CBPOINT, PLEXA::CBPOINT> {
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

  // ---- Measurement and flattening ----

  // Sum of CBezier::GetLength() (Simpson, 10 intervals) over the segments; 0 below 2 nodes.
  double CalcLength() const;
  // The point at half the length: the end anchor of the segment where the running length
  // equals half exactly, else CBezier::GetCurvePoint2 at GetTFromLength of the remainder in
  // the segment where it first exceeds half. Empty path: (0, 0); one node: its anchor.
  PLEXA::CDPOINT CalcHalfwayPoint() const;
  // Adaptive flattening: each segment's CBezier::GetPolyline at the resolution, appended to
  // pts (not emptied first: the first anchor is added only when pts starts empty); after each
  // segment the point count is appended to segEnds, so segEnds[i] is one past the last point
  // of segment i. Fewer than 2 nodes add nothing.
  void ExecuteBPointArrayT(CArray<PLEXA::CDPOINT>& pts, CDWordArray& segEnds,
                           double resolution) const;
  // Flattening by flatness ratio: the first anchor (and 0.0 to params), then each segment
  // halved until chord * ratio >= the sum of its control legs, appending each accepted
  // piece's end point (and its parameter local to the segment, 0..1), and after each segment
  // the point count to segEnds. Empty path: nothing. A ratio of 1 or less accepts a curved
  // piece only when rounding does. Bounds: halving stops at depth kFlattenExMaxDepth, and
  // once pts holds more than kFlattenExPointCeiling points pieces are accepted as they stand.
  void ExecuteBPointArrayTEx(CArray<PLEXA::CDPOINT>& pts, CArray<double>* params,
                             CDWordArray* segEnds, double ratio) const;
  // Bounds of the path flattened by CBezier::GetPolyline at the resolution; all zeros for
  // fewer than 2 nodes.
  PLEXA::CDRECT GetPolyBezierRect(double resolution) const;
  // A point strictly inside the closed path (even-odd), and inside clip when clip is given.
  // The path is flattened finely (a thousandth of its diagonal) and cut by horizontal lines
  // through the middles of the bands between its vertex heights; the point returned is the
  // middle of the inside span that leaves the most room around it (the larger of its
  // half-width and its band's half-height bounded by the other), so thin and concave shapes
  // and shapes with loops give a point well inside. An open path is read as closed by its
  // chord. False, with pt untouched, for fewer than 3 nodes, non-finite or zero-size
  // shapes, or when no inside span meets the clip rectangle.
  bool GetInternalPoint(PLEXA::CDPOINT& pt, const PLEXA::CDRECT* clip = nullptr) const;

  // Index of the first node whose anchor is within 0.001 of p in x and in y, searching nodes
  // 0 .. n-2 only: the last node (the closing repeat of a closed path) is never returned.
  // -1 when none matches or the path has fewer than 2 nodes.
  int FindBPoint(const PLEXA::CDPOINT& p) const;

  // Shape builders. Each empties the output first and builds nodes with attribute word 0;
  // closed shapes repeat their first node as their last. Rectangles are read as
  // (xmin, xmax, ymin, ymax); k = 0.5522847771644592 is the quarter-circle handle ratio.
  // Five corner nodes (xmin,ymin), (xmax,ymin), (xmax,ymax), (xmin,ymax), (xmin,ymin).
  static void GetRectBPoints(const PLEXA::CDRECT& r, CBPointArray& path);
  // The rectangle of half-side max(|w|,|h|)/2 about the centre.
  static void GetSquareBPoints(const PLEXA::CDRECT& r, CBPointArray& path);
  // Four quarter arcs starting at the middle of the ymin edge, towards xmax.
  static void GetEllipseBPoints(const PLEXA::CDRECT& r, CBPointArray& path);
  // The ellipse of the square of half-side max(|w|,|h|)/2 about the centre.
  static void GetCircleBPoints(const PLEXA::CDRECT& r, CBPointArray& path);
  // Two nodes with handles at 0.3 of the chord from each end; the int is ignored.
  static void GetLineBPoints(const PLEXA::CDPOINT& p0, const PLEXA::CDPOINT& p1, CBPointArray& path,
                             int unused = 0);
  // Regular n-gon with its first vertex straight above the centre (smaller y), scaled about
  // the centre to the rectangle's width and height but not recentred: an odd n keeps the
  // offset the rotation gave it. Empty for n < 3 or a width or height below 1e-8.
  static void GetPolygonBPoints(const PLEXA::CDRECT& r, CBPointArray& path, int n);
  // Rectangle with quarter-circle corners of radius min(|w|/2, |radius|) in x and
  // min(|h|/2, |radius|) in y: nine nodes, each corner one segment. A positive radius rounds
  // the corners outward; a negative one cuts them inward (concave quarter circles centred
  // on the rectangle's corners), with the same nine-node layout. |radius| < 1e-8: a rectangle.
  static void GetRoundRectBPoints(const PLEXA::CDRECT& r, CBPointArray& path, double radius);

  void CreateRect(const PLEXA::CDRECT& r) { GetRectBPoints(r, *this); }
  void CreateSquare(const PLEXA::CDRECT& r) { GetSquareBPoints(r, *this); }
  void CreateEllipse(const PLEXA::CDRECT& r) { GetEllipseBPoints(r, *this); }
  void CreateCircle(const PLEXA::CDRECT& r) { GetCircleBPoints(r, *this); }
  void CreateLine(const PLEXA::CDPOINT& p0, const PLEXA::CDPOINT& p1, int unused = 0) {
    GetLineBPoints(p0, p1, *this, unused);
  }
  void CreatePolygon(const PLEXA::CDRECT& r, int n) { GetPolygonBPoints(r, *this, n); }
  void CreateRoundRect(const PLEXA::CDRECT& r, double radius) {
    GetRoundRectBPoints(r, *this, radius);
  }

  // ---- Editing ----

  // Reverses node order and swaps each node's two controls, so every segment keeps its shape.
  void MakeReverse();
  // Reverses when the orientation differs from the request; 1 when it reversed, else 0.
  // Fewer than 2 nodes: 0.
  int SetOrientation(bool clockwise);
  // From the end backwards, removes node i when node i + 1 matches it within tol in all six
  // coordinates (|d| <= tol): the later node of a run of repeats survives.
  void RemoveSamePoints(double tol);

  // Re-starts a closed path at node k. Refused (false) for k outside [0, n), n < 3, or when
  // the last node differs from the first in any of its six coordinates by 1e-8 or more: a
  // path closed only by its anchors is deliberately refused.
  bool SetStartingPoint(int k);
  // Moves anchor i to p; the neighbouring handles turn and stretch with their segments,
  // pivoting on the old anchor. i outside [0, n) or p equal to the anchor: nothing changes.
  void MoveBezierPoint(int i, const PLEXA::CDPOINT& p);
  // Every node's controls at 0.333 (not one third) of the way to its neighbours' anchors;
  // the end nodes keep the outer control on the anchor.
  void MakeProperPolyline();
  // Same node count and, node by node, anchors and both controls each at most tol apart
  // (Euclidean). Two empty paths are the same.
  bool IsSame(const CBPointArray& other, double tol) const;

  // Nodes 0..k are appended to a and k..n-1 to b (node k goes to both); outputs are not
  // emptied. A one-node result gets a second copy of its node. k outside [0, n): nothing.
  void SplitBPointArray(int k, CBPointArray& a, CBPointArray& b) const;
  // Three pieces: nodes 0..k1 to a, k1..k2 to b, k2..n-1 to c, built like the one-index
  // split (shared boundary nodes, one-node results doubled, outputs appended to). The indexes
  // are taken in increasing order; either outside [0, n): nothing.
  void SplitBPointArray(int k1, int k2, CBPointArray& a, CBPointArray& b, CBPointArray& c) const;
  // The piece from parameter t1 of segment i1 to parameter t2 of segment i2, into out
  // (emptied first). The end segments are cut with CBezier::Split, inner nodes are whole
  // copies; cut ends are new nodes (attribute word 0). Indexes are clamped to the segments
  // and parameters to [0, 1]. When the start lies after the end, a closed path gives the
  // piece that runs on through its closing node and back from the start; an open path gives
  // the piece between the two positions in path order. Fewer than 2 nodes: out is empty.
  void SplitBPointArray(int i1, double t1, int i2, double t2, CBPointArray& out) const;
  // The same between two positions measured as arc length from the start of the path (the
  // measure of CalcLength), clamped to [0, length].
  void SplitBPointArray(double pos1, double pos2, CBPointArray& out) const;
  // Splits at one position (arc length from the start) into a (start to pos) and b (pos to
  // end), both emptied first; through CBPointArrayMath.
  void SplitBPointArray(double pos, CBPointArray& a, CBPointArray& b) const;

  // Whether other's anchors occur, in order and consecutively, among this path's anchors,
  // each within tol (Euclidean); on a closed path the run may wrap past the closing node.
  // first and last receive this path's node indexes of the run's ends (-1 when false).
  // Controls are not compared, so a piece cut out of this path is a subset of it.
  bool IsSubset(const CBPointArray& other, int& first, int& last, double tol) const;
  // This path becomes the node-by-node blend CBezierPoint::Lerp(t, p[i], q[i]). When the node
  // counts differ, the path with fewer nodes is first given more by splitting its longest
  // segments in half (its shape unchanged) until the counts match, so blends of a triangle
  // and a square stay sensible. An empty operand gives a copy of the other.
  void Interpolate(double t, const CBPointArray& p, const CBPointArray& q);
  // The same blend with a weight that varies along the path: node i of n uses t = i/(n-1),
  // so the result starts on p and ends on q.
  void InterpolateVaring(const CBPointArray& p, const CBPointArray& q);

 protected:
  // One step of ExecuteBPointArrayTEx: the piece of bez between t0 and t1, halved until flat
  // enough for the ratio, appending accepted end points (and parameters).
  static void AddBezierPoints(const CBezier& bez, double t0, double t1, CArray<PLEXA::CDPOINT>& pts,
                              CArray<double>* params, double ratio);

  // The handle transforms of MoveBezierPoint. With s = |B - O| / |A - O| (1 when |A - O| is 0)
  // and theta = angle(B - O) - angle(A - O): Q := O + R(s (Q - O)) ...
  static void MBPScaleRotate(const PLEXA::CDPOINT& O, PLEXA::CDPOINT& Q, const PLEXA::CDPOINT& A,
                             const PLEXA::CDPOINT& B);
  // ... and the same s and theta with Q taken about A: Q := A + R(s (Q - A)).
  static void MBPScaleRotate2(const PLEXA::CDPOINT& A, const PLEXA::CDPOINT& B,
                              const PLEXA::CDPOINT& O, PLEXA::CDPOINT& Q);

  // The anchor-polygon sum shared by IsClockwise and SetOrientation.
  double OrientationSum() const;
};

// Splits one path at positions measured as arc length from its start (the measure of
// CBPointArray::CalcLength). Holds a reference: the path must outlive this object and not
// change after Analyse.
//
//   CBPointArrayMath m(path);
//   m.Analyse();
//   m.Split(m.GetLength() / 3, head, tail);
class PLEXA_API CBPointArrayMath {
 public:
  explicit CBPointArrayMath(const CBPointArray& path) : m_path(path) {}
  // Measures every segment; Split and Locate call it when it has not been called.
  void Analyse();
  double GetLength();
  // Segment index and parameter at a position clamped to [0, length]; false for fewer than
  // 2 nodes.
  bool Locate(double pos, int& segment, double& t);
  // a = start to pos, b = pos to end (both emptied first); false for fewer than 2 nodes.
  bool Split(double pos, CBPointArray& a, CBPointArray& b);

 private:
  const CBPointArray& m_path;
  CArray<double> m_ends;  // running length at the end of each segment
  bool m_analysed = false;
};

// The integer point-in-polygon test on the path: flattened at resolution 1.0, points rounded
// to the nearest integer (floor of v + 0.5).
PLEXA_API int IsPointInPolygon(const CBPointArray& path, const tagPOINT& p);
