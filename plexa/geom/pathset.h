// Path-set operations: free functions over one path or a whole CPolyPolyBezier. Closing and
// closedness, equality, cyclic index arithmetic on closed paths, flattening a whole set,
// holes and outlines, containment, segment-length limits, blends, node insertion, joins of
// paths that share ends, and positions along a path.
//
//   CPolyPolyBezier page;                      // outlines and their holes, e.g. from a trace
//   CArray<int, int> holes, outlines;
//   GetPolyPolyHoles(page, holes, 0.9);        // paths with >= 90% of their points in another
//   GetPolyPolyNoHoles(page, outlines, 0.9);   // every other index
//   int k = AddPointToPolyBezier(path, 3, 0.25);   // node k now splits segment 3 at t = 0.25
//
// Conventions and invariants:
// - A closed path repeats its first node as its last, so it has m = n - 1 distinct nodes; the
//   closed-path index helpers count those m and never return the closing index n - 1.
// - Coordinates coincide when they differ by less than kPathSetEpsilon (1e-8), tested per
//   coordinate; "differs" means by 1e-8 or more.
// - Null slots of a set are skipped unless a function says otherwise; output sets own what
//   they receive (the containers' rule).
// - Integer polygons: paths are flattened with CBPointArray::ExecuteBPointArrayT at resolution
//   1.0 and every point is rounded to floor(v + 0.5). NaN rounds to 0 and values beyond the
//   32-bit range saturate at its ends, so hostile coordinates give answers, never traps.
// - Every loop is bounded: splitting stops at the caps named below, and NaN or infinite
//   coordinates give unspecified geometry but always finish.
#pragma once

#include "plexa/core/types.h"
#include "plexa/geom/path.h"
#include "plexa/geom/polypoly.h"
#include "plexa/platform/array.h"
#include "plexa/platform/export.h"

// Zero and coincidence of coordinates in the path-set functions.
inline constexpr double kPathSetEpsilon = 1e-8;
// Resolution of the integer polygons of the hole and containment tests.
inline constexpr double kHoleFlattenResolution = 1.0;
// SetMaxBezierLength: a piece is not halved further at this depth (each halving at least
// halves its length, so only non-finite lengths reach it), and no split is made once the path
// holds this many segments; the pieces still too long are then kept as they are.
inline constexpr int kMaxLengthSplitDepth = 48;
inline constexpr INT_PTR kMaxLengthSegmentCeiling = INT_PTR{1} << 20;
// Interpolate: more steps than this are taken as this many (bounds memory and time).
inline constexpr int kMaxInterpolateSteps = 65536;
// MatchPoints: node length fractions of the two paths closer than this correspond.
inline constexpr double kMatchFractionEpsilon = 1e-9;
// AddPointToPolyBezier: a split this close to a segment end (in the parameter) returns the
// end node instead of inserting a node on top of it.
inline constexpr double kInsertEndT = 1e-8;
// TripleToQuadraticBezier: largest distance, in drawing units, between a cubic piece and its
// quadratic, and the halving depth after which pieces are taken as they stand.
inline constexpr double kQuadraticTolerance = 0.1;
inline constexpr int kQuadraticMaxDepth = 16;

// ---- Closing, equality, containment ----------------------------------------------------

// With at least 2 nodes, when the last anchor differs from the first in x or in y by 1e-8 or
// more, appends a whole copy of the first node (attribute word included). Otherwise nothing,
// so an already closed path and a one-node path are left alone.
PLEXA_API void ClosePolyBezier(CBPointArray& path);
// ClosePolyBezier on every non-null path.
PLEXA_API void ClosePolyPolyBezier(CPolyPolyBezier& set);
// False for an empty set; otherwise true when every non-null path is closed
// (CBPointArray::IsPolyBezierClosed). A set whose slots are all null is closed.
PLEXA_API bool IsPolyPolyBezierClosed(const CPolyPolyBezier& set);
// Equal node counts and all six coordinates of every node within 1e-8 (attribute words are
// not compared); two empty paths are equal.
PLEXA_API bool ArePolyBezierEqual(const CBPointArray& a, const CBPointArray& b);
// Whether inner lies inside outer, on the integer polygons described above. False when the
// outer polygon has fewer than 2 points or the inner none.
// |tol| < 1e-8 (exact): the inner polygon's integer bounds must lie within the outer's, and
// every inner point must pass the integer even-odd test with the outer bounds.
// Otherwise |tol| is the share of the inner points allowed outside: true when
// (points outside) / (inner points) <= |tol| (a share of 1 or more accepts any inner path);
// the bounds are not required to nest. NaN tol: false.
PLEXA_API bool IsPolyBezierInPolyBezier(const CBPointArray& outer, const CBPointArray& inner,
                                        double tol);
// Counts the non-null paths q of the set with IsPolyBezierInPolyBezier(q, path, tol) and
// returns true exactly when the count is odd (even-odd nesting: inside an outline and one of
// its holes is outside). A path that is itself in the set counts against itself like any
// other path.
PLEXA_API bool IsPolyBezierInPolyPolyBezier(const CPolyPolyBezier& set, const CBPointArray& path,
                                            double tol);

// ---- Index arithmetic --------------------------------------------------------------------

// i + 1 when i < n - 2, else 0: steps through the n - 1 distinct nodes of a closed path of n.
PLEXA_API int GetNextClosedBpArIndex(int i, int n);
// n - 2 when i < 1, else i - 1.
PLEXA_API int GetPrevClosedBpArIndex(int i, int n);
// b - a, plus n when a > b: the forward distance from a to b on a cycle of n.
PLEXA_API int GetPointsDistance(int a, int b, int n);
// Nearest index after (before) i, cyclically modulo the node count, whose node differs from
// node i in any of its six coordinates by 1e-8 or more. -1 when i is out of range, the path
// has fewer than 2 nodes, or every node equals node i.
PLEXA_API int GetNextBpArIndex(const CBPointArray& path, int i);
PLEXA_API int GetPrevBpArIndex(const CBPointArray& path, int i);

// ---- Flattening a set --------------------------------------------------------------------

// For every slot in order: a new polyline and a new CDWordArray filled by
// ExecuteBPointArrayT(polyline, ends, resolution), appended to polys and segEnds (neither is
// emptied). A null slot gets an empty polyline and an empty index array, so indexes stay
// aligned with the set. The caller owns (and must delete) the arrays added to segEnds.
PLEXA_API void ExecutePolyPolyBezier(const CPolyPolyBezier& set, CPolyPolyDPoint& polys,
                                     CArray<CDWordArray*>& segEnds, double resolution);
// The same with ExecuteBPointArrayTEx (flattening by flatness ratio): for every slot a new
// polyline in polys, and when given, a new parameter list in params and a new index array in
// segEnds (owned by the caller). Null slots give empty entries.
PLEXA_API void ExecutePolyPolyBezierEx(const CPolyPolyBezier& set, CPolyPolyDPoint& polys,
                                       CPolyPolyDouble* params, CArray<CDWordArray*>* segEnds,
                                       double ratio);

// ---- Holes and outlines ------------------------------------------------------------------

// Empties holes, then lists (ascending, each once) the paths j that lie inside some other path
// i of the set: at least the share `ratio` of j's integer polygon points pass the even-odd
// test in i's polygon (count / points of j >= ratio). Containment, not parity: an island
// inside a hole is reported too. A ratio above 1 reports nothing; a ratio of 0 or below
// reports every path that has points (sets of 2 or more). Fewer than 2 paths: nothing. A
// path with no points (null, or fewer than 2 nodes) is never a hole. NaN ratio: nothing.
// Cost: O(P^2) bound comparisons for P paths; point tests (each O(points of i)) run only for
// pairs whose integer bounds overlap enough to reach the ratio, once per run of equal points,
// and stop as soon as the outcome is known. Flattening caps a path near 100,000 points, so a
// pair of huge overlapping paths can still cost up to about 10^10 steps, but never more.
PLEXA_API void GetPolyPolyHoles(const CPolyPolyBezier& set, CArray<int, int>& holes, double ratio);
// Empties outlines, then every index 0 .. size - 1 that GetPolyPolyHoles(set, ., ratio)
// does not return, ascending.
PLEXA_API void GetPolyPolyNoHoles(const CPolyPolyBezier& set, CArray<int, int>& outlines,
                                  double ratio);
// Deletes the paths GetPolyPolyHoles reports (the set keeps the others, in order). Returns
// the number removed.
PLEXA_API int RemoveHolesFromPolyPoly(CPolyPolyBezier& set, double ratio);

// ---- Segment length, quantising, duplicates ----------------------------------------------

// maxLen <= 0 (or NaN) does nothing; otherwise the path overload on every non-null path.
PLEXA_API void SetMaxBezierLength(CPolyPolyBezier& set, double maxLen);
// Halves segments at t = 0.5 (left half first, depth first) until none is longer than maxLen
// (CBezier::GetLength), then rebuilds the path: first node (P0, P0, P2), then per segment a
// node (P2, P3, P3), the previous node's outgoing control set to that P2, attribute words 0.
// Deliberately every segment ends with the inner controls (P2, P2): each segment's first
// control P1 is dropped, also when nothing needed splitting. Fewer than 2 nodes or
// maxLen <= 0: nothing changes. Splitting is bounded by kMaxLengthSplitDepth and
// kMaxLengthSegmentCeiling.
PLEXA_API void SetMaxBezierLength(CBPointArray& path, double maxLen);
// Every point of every node of every non-null path floored to the grid q (PLEXA::Quantize;
// attribute words kept), then DelPolyBezierDuplicatePoints on each path. *removed (when given)
// receives the number of nodes removed. q <= 0, NaN or infinite: nothing changes (*removed 0).
PLEXA_API void QuantizePoints(CPolyPolyBezier& set, double q, int* removed);
// Removes every node whose anchor coincides (per coordinate, within 1e-8) with the anchor of
// the node kept before it; the kept node takes the removed node's outgoing control, so the
// segment after it keeps its shape. The first node of a run stays. Returns the number removed.
PLEXA_API int DelPolyBezierDuplicatePoints(CBPointArray& path);

// ---- Blends ------------------------------------------------------------------------------

// Empties a2 and b2 (and params); false when a or b is empty. Otherwise a2 and b2 receive a
// and b with equal node counts and corresponding nodes, and true is returned. Correspondence
// is by length fraction: node i of a sits at (length of segments before it) / (length of a)
// (index / (n - 1) when the path has no length). Where a and b both have a node at the same
// fraction (within kMatchFractionEpsilon) those nodes correspond; every other fraction gets a
// new node in the path that lacks one, inserted by splitting its segment at the parameter
// of that length (the shape is unchanged). A one-node path is repeated. params receives the
// fraction of every node pair, ascending from 0.
PLEXA_API bool MatchPoints(const CBPointArray& a, const CBPointArray& b, CBPointArray& a2,
                           CBPointArray& b2, CArray<double, const double&>& params);
// out.RemoveAll(); MatchPoints(a, b, a2, b2); on failure out stays empty. withEnds: a copy of
// a2 first. Then for k = 1 .. steps, t = k / (steps + 1) and a path whose node i has each of
// its six coordinates a2[i] + (b2[i] - a2[i]) t (attribute word 0). withEnds: a copy of b2
// last. The ends (t = 0, 1) are never produced by the steps. steps above
// kMaxInterpolateSteps are taken as that; steps <= 0 give no intermediate path.
PLEXA_API void Interpolate(CPolyPolyBezier& out, int steps, const CBPointArray& a,
                           const CBPointArray& b, bool withEnds);

// ---- Node insertion (shape unchanged) ----------------------------------------------------
//
// Each overload splits one segment with de Casteljau at a parameter t: the node before gets
// the left half's first control, the new node (attribute word 0) is (left P2, B(t), right P1),
// the node after gets the right half's second control. The curve is unchanged. Each returns
// the index of the node at the point: the new node, or the existing end node when t lies
// within kInsertEndT of 0 or 1 (nothing is inserted then). -1 (path unchanged) for fewer than
// 2 nodes, an index out of range or a NaN parameter.

// At parameter t (clamped to [0, 1]) of segment seg.
PLEXA_API int AddPointToPolyBezier(CBPointArray& path, int seg, double t);
// At the point of segment seg nearest p (CBezier::GetNearestCurvePointT2). For a point of the
// curve this inserts exactly there; the outline effects subdivide with it.
PLEXA_API int AddPointToPolyBezier(CBPointArray& path, int seg, const PLEXA::CDPOINT& p);
// At the curve point nearest p over all segments (the first segment strictly nearer wins).
PLEXA_API int AddPointToPolyBezier(CBPointArray& path, const PLEXA::CDPOINT& p);
// At point `index` of the path's flattening pts with segment ends segEnds (as made by
// ExecuteBPointArrayT): the segment is the first s with segEnds[s] > index, and the node goes
// where that segment is nearest pts[index]. -1 when index is outside pts or no segment holds
// it.
PLEXA_API int AddPointToPolyBezier(CBPointArray& path, const CArray<PLEXA::CDPOINT>& pts,
                                   const CDWordArray& segEnds, int index);

// ---- Positions along a path --------------------------------------------------------------

// Tangent direction of segment seg at parameter t, atan2 of the derivative in radians
// (CBezier::GetCurveTangentAngle: exactly 0 and 1 are read at 0.001 and 0.999). seg is
// clamped to the segments and t to [0, 1]. When the segment has no direction (all four
// points within 1e-8), the chord of the nearest segment that has one is used (of two at the
// same distance, the following one).
// 0 for fewer than 2 nodes, a NaN t, or a path without any direction.
PLEXA_API double GetBPointArrayTangentAngle(const CBPointArray& path, int seg, double t);
// Nearest point of the path to p: seg and t of it (CBezier::GetNearestCurvePointT2 per
// segment, the first strictly nearer segment wins). Returns the distance; -1 with seg = -1 and
// t = 0 for fewer than 2 nodes.
PLEXA_API double GetCurvePointSegmentT(const CBPointArray& path, const PLEXA::CDPOINT& p, int& seg,
                                       double& t);
// Arc length from the start of the path to parameter t of segment seg, in the measure of
// CBPointArray::CalcLength (Simpson, 10 intervals): the whole lengths of the segments before
// seg plus CBezier::GetLength(0, t, 10). seg is clamped to the segments and t to [0, 1]; 0 for
// fewer than 2 nodes. GetPointFromPosition inverts it.
PLEXA_API double GetSegmentT2PathPos(const CBPointArray& path, int seg, double t);
// The point at arc length pos from the start (clamped to [0, length]), with its segment and
// parameter in *seg and *t when given (CBPointArrayMath::Locate). Fewer than 2 nodes: the
// only anchor (or (0, 0) when empty), *seg = -1, *t = 0.
PLEXA_API PLEXA::CDPOINT GetPointFromPosition(const CBPointArray& path, double pos, int* seg,
                                              double* t);
// Point at fraction t (not clamped, so other values extrapolate) of the edge from point j to
// point j + 1 of polyline i: p[j] + (p[j+1] - p[j]) t. j the last point: that point. (0, 0)
// when polyline i is absent or j is out of range.
PLEXA_API PLEXA::CDPOINT GetPoint(const CPolyPolyDPoint& set, int i, int j, double t);
// Mean of the path's anchors (flattened false) or of its flattening at `resolution`
// (ExecuteBPointArrayT, flattened true). The closing repeat of a closed path is not counted.
// (0, 0) for an empty path.
PLEXA_API PLEXA::CDPOINT AveragePoint(const CBPointArray& path, bool flattened, double resolution);

// ---- Shape conversions -------------------------------------------------------------------

// Makes the path a smooth curve through its anchors (Catmull-Rom tangents): node i gets the
// controls anchor -+ (next anchor - previous anchor) * tension / 600, tension in percent,
// clamped to [0, 200]: 0 gives straight segments, 100 the classic Catmull-Rom curve. A
// closed path wraps (node 0's previous is node n - 2); on an open path the end nodes use
// themselves as the missing neighbour. Null path or fewer than 2 nodes: nothing.
PLEXA_API void CalcBezierPoints(CBPointArray* path, int tension);
// Quadratic approximation: out is emptied, then receives q0, c0, q1, c1, ..., qk: the
// anchors and single controls of k quadratic pieces, each within kQuadraticTolerance of its
// cubic (cubics are halved until so, at most kQuadraticMaxDepth times). One node: its anchor
// only; null or empty: nothing.
PLEXA_API void TripleToQuadraticBezier(CBPointArray* path, CArray<PLEXA::CDPOINT>& out);
// The free form of CBPointArray::SetStartingPoint (same refusals, same result).
PLEXA_API bool SetStartingPoint(CBPointArray& path, int k);

// ---- Sub-paths and joins -----------------------------------------------------------------

// How two open paths touch, by their end anchors, within tol per coordinate (tol below 1e-8
// is taken as 1e-8; "within" is strictly less than): kAdjacentEndStart when a's last anchor
// meets b's first, then kAdjacentEndEnd, kAdjacentStartStart, kAdjacentStartEnd, tested in
// that order; kAdjacentNone otherwise, and for a closed path or one with fewer than 2 nodes.
inline constexpr int kAdjacentNone = 0;
inline constexpr int kAdjacentEndStart = 1;
inline constexpr int kAdjacentEndEnd = 2;
inline constexpr int kAdjacentStartStart = 3;
inline constexpr int kAdjacentStartEnd = 4;
PLEXA_API int AreBPointArraysAdjacent(const CBPointArray& a, const CBPointArray& b, double tol);
// Joins b onto a when AreBPointArraysAdjacent says they touch, reversing either as needed
// (start-start reverses a, end-end reverses b, start-end puts b first). The meeting nodes
// become one node: the first path's end anchor with its incoming control and the second
// path's outgoing control (attribute word of the first). When the joined path's ends then
// meet too (3 or more nodes), it is closed: its last node takes the first node's anchor and
// outgoing control. Returns false, a unchanged, when they do not touch; a and b must be
// different objects.
PLEXA_API bool JoinAdjacentBPointArrays(CBPointArray& a, const CBPointArray& b, double tol);
// Joins paths of the set that touch (JoinAdjacentBPointArrays), in place, until no two touch:
// each path in order absorbs every later path that touches it. Null slots are removed first.
// Returns the number of joins made.
PLEXA_API int MergePolyBezierCurves(CPolyPolyBezier& set, double tol);
// All non-null, non-empty paths in set order made one path: each next path is linked to the
// one before by a straight segment from its end anchor to the next start anchor, or merged
// into it when those anchors coincide (1e-8). out is emptied first.
PLEXA_API void ConnectPolyBezierCurves(const CPolyPolyBezier& set, CBPointArray& out);
// Whether sub's anchors run, consecutively and within tol (Euclidean), along path's anchors,
// in path order or against it (CBPointArray::IsSubset on sub and its reverse). Controls are
// not compared. False when either is empty.
PLEXA_API bool IsSubPolyBezier(const CBPointArray& path, const CBPointArray& sub, double tol);
// The piece between nodes i1 and i2 into out (emptied first), running from i1 to i2. On a
// closed path the shorter (CalcLength) of the two ways round; on an open path the nodes in
// between. Inner nodes are whole copies. False, out empty, when an index is outside [0, n),
// i1 == i2 (the same node of a closed path counts: 0 and n - 1) or the path has fewer than 2
// nodes.
PLEXA_API bool GetMinSubCurve(const CBPointArray& path, int i1, int i2, CBPointArray& out);
