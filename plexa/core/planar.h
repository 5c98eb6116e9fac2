// Planar geometry on points, lines and polylines: angles, distances, intersections, bounds,
// lengths, even-odd inside tests, arcs and small in-place point transforms. Stateless free
// functions in the library's plane coordinates (x right, y as stored, nothing flipped).
//
//   double a = GetLinesAngle(1, 0, 0, 0, 0, 1);   // -pi/2: P1 is clockwise of P3 seen from P2
//   Rotate(&x, &y, cx, cy, M_PI / 2);              // in place, counter-clockwise positive
//   CArray<PLEXA::CDPOINT, PLEXA::CDPOINT> square; // (0,0) (10,0) (10,10) (0,10) (0,0)
//   IsPointInPolygon(square, PLEXA::CDPOINT(0, 5), nullptr);   // 1: the left edge is inside
//
// Invariants and conventions:
// - One absolute epsilon, kPlanarEpsilon = 1e-8, decides zero, coincidence and parallelism.
//   Other thresholds are named where they are used.
// - Angles are radians, counter-clockwise positive: rotating by +a maps (1, 0) towards (0, 1).
// - PLEXA::CDRECT is (xmin, xmax, ymin, ymax); an empty rectangle is all zeros.
// - A polygon given as a point list is explicitly closed (first point repeated at the end);
//   the inside tests never add a closing edge.
// - Polylines are CArray<PLEXA::CDPOINT, PLEXA::CDPOINT> (the element type of CPolyPolyDPoint)
//   and integer polylines CArray<tagPOINT, tagPOINT>. Indexed access through CArray is
//   bounds-checked and raises CInvalidArgException; nothing else here throws.
// - NaN or infinite coordinates never crash or loop: every loop is bounded by the point
//   count; the answers are then whatever the comparisons give (usually 0, false or NaN).
//   Float results beyond the float range are stored as infinities.
// - The overloads over paths and path sets live a layer up, in plexa/geom/setplanar.h.
#pragma once

#include <cstddef>

#include "plexa/core/types.h"
#include "plexa/platform/array.h"
#include "plexa/platform/export.h"
#include "plexa/platform/records.h"

class CView3D;

// Zero, coincidence and parallelism throughout the planar functions.
inline constexpr double kPlanarEpsilon = 1e-8;
// GetPolylineT answers 0 for polylines shorter than one whole drawing unit (not the epsilon).
inline constexpr double kPolylineTMinLength = 1.0;
// GetPolylineClosestPoint keeps a segment only when its distance is below this start value.
inline constexpr double kClosestPointStart = 1e10;
// GetPolyLineWithLineIntersection keeps a hit only within this distance of the line's midpoint.
inline constexpr double kLineHitStart = 1e6;
// CalcArc's step count: round(r * pi) clamped into this range.
inline constexpr int kArcMinSteps = 36;
inline constexpr int kArcMaxSteps = 360;

// ---- Angles and distances --------------------------------------------------------------

// a + 2 pi when a < 0, otherwise a. One wrap only: Bound2PI(-7) is still negative.
PLEXA_API double Bound2PI(double a);
// a - sign(a) * 2 pi when |a| > pi (once), otherwise a.
PLEXA_API double BoundPI(double a);
// d = |Bound2PI(a) - Bound2PI(b)|; 1 when d < tol or |d - 2 pi| < tol, else 0.
PLEXA_API int AreAnglesEqual(double a, double b, double tol);
// 1 when |a| and |b| are both below 1e-8; otherwise 1 when min(|a|,|b|) / max(|a|,|b|) is
// above |ratio|. The third argument is a ratio (e.g. 0.99), not an absolute tolerance.
PLEXA_API int AreDistancesEqual(double a, double b, double ratio);
// Signed angle at P2 from ray P2->P3 to ray P2->P1, in [-pi, pi], positive when P1 lies
// counter-clockwise of P3. 0 when any two of the points coincide (both differences < 1e-8).
PLEXA_API double GetLinesAngle(double x1, double y1, double x2, double y2, double x3, double y3);
// Distance from P to the infinite line P1P2; the distance to P1 when |P1P2| < 1e-8.
PLEXA_API double GetDistanceFromLine(double x1, double y1, double x2, double y2, double px,
                                     double py);
// Foot of the perpendicular from P on the infinite line P1P2; P1 when |P1P2| < 1e-8.
PLEXA_API PLEXA::CDPOINT GetDistancePoint(double x1, double y1, double x2, double y2, double px,
                                          double py);
// s = (y1 - y2)(px - x2) - (x1 - x2)(py - y2): 1 when s > 0 (P left of P1->P2 with y up),
// -1 when s < 0, 0 when |s| < 1e-8 (an absolute test, not scaled by the lengths). NaN: -1.
PLEXA_API int GetHalfPlane(double x1, double y1, double x2, double y2, double px, double py);
// 1 when P lies in the bounding box of segment P1P2 widened by 1e-8 on every side, else 0.
PLEXA_API int IsPointInLineRange(double x1, double y1, double x2, double y2, double px, double py);
// Intersection of the infinite lines P1P2 and P3P4, computed in slope form relative to P2.
// Sets *ix = *iy = 0 first; returns 0 for a degenerate line (P1 == P2 or P3 == P4 exactly),
// for parallel lines (slopes within 1e-8, or both with an x extent below 1e-8) and for
// collinear lines; otherwise writes the point and returns 1. Null outputs are allowed.
PLEXA_API int GetLinesIntersection(double x1, double y1, double x2, double y2, double x3, double y3,
                                   double x4, double y4, double* ix, double* iy);
// GetLinesIntersection, then 1 only when the point lies in the range of both segments. When
// the lines meet outside a segment it returns 0 but leaves the line intersection in *ix, *iy.
PLEXA_API int GetSegmentIntersection(double x1, double y1, double x2, double y2, double x3,
                                     double y3, double x4, double y4, double* ix, double* iy);
// P1 - (P1 - P2) * f: f = 0 gives P1, f = 1 gives P2, other f extrapolate.
PLEXA_API PLEXA::CDPOINT DivideLine(const PLEXA::CDLINE& l, double f);
// The same in double arithmetic; a result component below 1e-8 in magnitude becomes 0.
PLEXA_API PLEXA::CFPOINT DivideLine(const PLEXA::CFLINE& l, double f);
// lo + rand() % (hi - lo + 1) with the standard generator (seeding is the caller's). An empty
// range (hi < lo) returns lo instead of dividing by zero. Not thread-safe (rand's state).
PLEXA_API int GetRandom(int lo, int hi);

// ---- In-place point transforms ----------------------------------------------------------

// Rotate (x, y) about (cx, cy) by a radians, counter-clockwise positive.
PLEXA_API void Rotate(double* x, double* y, double cx, double cy, double a);
// The double rotation on widened values; a result below 1e-8 in magnitude is stored as 0.
PLEXA_API void Rotate(float* x, float* y, float cx, float cy, double a);
// x = (x - cx) * sx + cx; y = (y - cy) * sy + cy.
PLEXA_API void Stretch(double* x, double* y, double cx, double cy, double sx, double sy);
// The same, with a factor below 1e-8 in magnitude taken as 0.
PLEXA_API void Stretch(float* x, float* y, float cx, float cy, double sx, double sy);
// x = cx - (x - cx); y untouched.
PLEXA_API void FlipHor(double* x, double* y, double cx, double cy);
// y = cy - (y - cy); x untouched.
PLEXA_API void FlipVer(double* x, double* y, double cx, double cy);
// The same in double arithmetic; an axis coordinate (cx) below 1e-8 in magnitude is taken as 0.
PLEXA_API void FlipHor(float* x, float* y, float cx, float cy);
// The same in double arithmetic; an axis coordinate (cy) below 1e-8 in magnitude is taken as 0.
PLEXA_API void FlipVer(float* x, float* y, float cx, float cy);

// ---- Bounds and lengths -----------------------------------------------------------------

// Min and max of x and y over the n points; all zero when n < 1 or pts is null.
PLEXA_API PLEXA::CDRECT GetPolygonRect(const PLEXA::CDPOINT* pts, int n);
PLEXA_API PLEXA::CDRECT GetPolygonRect(const CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts);
// Integer bounds: left = min x, top = min y, right = max x, bottom = max y; all zero when
// n < 1 or pts is null.
PLEXA_API CRect GetPolygonRect(const tagPOINT* pts, int n);
// Integer bounds of the points; the zero rectangle for an empty array.
PLEXA_API void GetPolylineBounds(const CArray<tagPOINT, tagPOINT>& pts, CRect& r);
PLEXA_API CRect GetPolylineBounds(const CArray<tagPOINT, tagPOINT>& pts);
// Double bounds; all four zero for an empty array.
PLEXA_API void GetPolylineBounds(const CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts, double& minX,
                                 double& minY, double& maxX, double& maxY);
PLEXA_API void GetPolylineBounds(const CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts,
                                 PLEXA::CDRECT& r);
// Sum of the n - 1 segment lengths; 0 for fewer than two points.
PLEXA_API double GetPolylineLength(const CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts);
PLEXA_API double GetPolylineLength(const CArray<tagPOINT, tagPOINT>& pts);
// Length of the first min(k, n - 1) segments; 0 when that count is below 1.
PLEXA_API double GetPolylineLength(const CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts, int k);
// The point at fraction t of the polyline's length; *seg (when given) receives the segment.
// Empty: (0, 0) and segment 0; one point: that point. The segment is the first whose
// cumulative length reaches t * L. For t > 1 the point lies beyond the last point on the last
// segment's line; for t < 0 it is deliberately mirrored into the first segment (the absolute
// value of the in-segment fraction is used), not extrapolated backwards. A segment shorter
// than 1e-8 answers its start point.
PLEXA_API PLEXA::CDPOINT GetPolylinePoint(const CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts,
                                          double t, int* seg);
// Length fraction of p, trusted to lie on segment seg (it is not projected): (lengths of
// segments before seg + |P_seg p|) / L. seg == n - 1 gives 1 (even for an empty polyline,
// where n - 1 is -1); seg < 0 or seg > n - 1 gives 0; a polyline shorter than one whole unit
// (kPolylineTMinLength) gives 0 for every point, deliberately.
PLEXA_API double GetPolylineT(CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts, int seg,
                              PLEXA::CDPOINT p);
// len / L; 0 when |L| < 1e-8 or len < 0; 1 when len > L.
PLEXA_API double GetPolylineTFromLength(const CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts,
                                        double len);
// atan2 of (next - prev) where prev is point i - 1 (point i at the start) and next point i + 1
// (point i at the end). i outside 0 .. n - 1 raises CInvalidArgException. One point: 0.
PLEXA_API double GetDPointTangentAngle(const CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts, int i);
// Index of the point with the smallest squared distance to p (computed exactly, without
// overflow); ties keep the lowest index; -1 for an empty array.
PLEXA_API int GetClosestPointIndex(const CArray<CPoint, CPoint>& pts, CPoint p);
// Closest point on the polyline. Fewer than two points: *seg = 0, *q unchanged, true.
// Otherwise per segment the foot of the perpendicular when it lies in the segment's range,
// else the nearer end (the first wins a tie); the first segment strictly nearer than every
// earlier one (starting from kClosestPointStart) is kept. Always returns true; when no
// segment is nearer than 1e10, *seg = 0 and *q is unchanged. Null outputs are allowed.
PLEXA_API bool GetPolylineClosestPoint(CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts,
                                       PLEXA::CDPOINT p, int* seg, PLEXA::CDPOINT* q);

// ---- Conversions and construction -------------------------------------------------------

// Each point becomes the x and y of view.Transfer(x, y, 0).
PLEXA_API void ApplyTransformation(CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts, CView3D& view);
// Removes point i (i >= 1) when it equals point i - 1 exactly. Comparisons are between the
// original neighbours, as in a walk from the end down to point 1; the first of a run stays.
PLEXA_API void DelPolylineDuplicatePoints(CArray<tagPOINT, tagPOINT>& pts);
// The same with "equal" meaning a distance below 1e-8.
PLEXA_API void DelPolylineDuplicatePoints(CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts);

// ---- Even-odd inside tests ---------------------------------------------------------------
//
// A horizontal ray is cast from p to the left, to (min x of all points - 1, p.y), and its
// crossings with the edges point i -> point i + 1 (i = 0 .. n - 2, no closing edge) are
// counted; the answer is count & 1. The tie-breaks are fixed behaviour, not accidents:
// - p outside the bounding rectangle answers 0 at once; a point on its border goes on.
// - Edges wholly above or below p.y are skipped; edges parallel to the ray (slope below 1e-8)
//   never count.
// - A crossing must lie in both the edge's and the ray's range (1e-8 slack), so a point on an
//   edge meets its own ray end and counts like any crossing: on a square (0,0) (10,0) (10,10)
//   (0,10) (0,0), (0, 5) is inside and (10, 5), (5, 0), (5, 10) are outside.
// - A crossing that rounds (floor(v + 0.5)) to the edge's start vertex is not counted there,
//   even when it is not the vertex itself: near a vertex with whole-unit coordinates a real
//   crossing within half a unit can be dropped. Fractional coordinates rarely meet the rule.
// - A crossing exactly at the edge's end vertex B counts once unless B is a strict extremum in
//   y against its neighbours, judged with the next vertex whose y differs from B's (a
//   horizontal run is scanned forward, then again from point 1; when the second scan was
//   needed the edge walk ends after this edge; when every point has B's y the answer is 0).
// Cost: O(n) with no allocation per query: one pass for the extent (the minimum x, plus the
// rectangle when none is given), one over the edges; the edge pass stops early only where
// the rule says so. Passing a precomputed rectangle saves a little and rejects outside points
// in O(1).

// The rule above on n points. rect, when given, replaces the bounding rectangle (it is read,
// never written). n < 1 or null pts: 0.
PLEXA_API int IsPointInPolygon(const PLEXA::CDPOINT* pts, int n, const PLEXA::CDPOINT& p,
                               PLEXA::CDRECT* rect);
// The same rule on the array; the rectangle is read, never written.
PLEXA_API bool IsPointInPolygon(const CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts,
                                const PLEXA::CDPOINT& p, const PLEXA::CDRECT* rect);
// Forwards to the pointer overload.
PLEXA_API int IsPointInPolygon(const CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts,
                               const PLEXA::CDPOINT& p, PLEXA::CDRECT* rect);
// Resolves a literal nullptr, which the two array overloads above would find ambiguous.
PLEXA_API int IsPointInPolygon(const CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts,
                               const PLEXA::CDPOINT& p, std::nullptr_t);
// Integer points. The rectangle is tested inclusively (left <= x <= right, top <= y <= bottom);
// when null it is computed with GetPolygonRect. The ray ends at min x - 1 (no overflow), the
// crossing is computed in doubles; the start-vertex test rounds (floor(v + 0.5)) but the
// end-vertex test compares the crossing truncated toward zero with B, deliberately asymmetric.
// Range: with every coordinate (points and p) within +-2^24 (16,777,216) the verdict is the
// exact even-odd answer for every p off the boundary: the crossing's rounding (a few units in
// the last place of 2^24, under 2e-8) plus the 1e-8 slack stays below the smallest true
// distance, 1 / |dy| >= 3e-8, between a near miss and the ray's end. Beyond that the specified
// slope-form arithmetic drifts (at +-1.34e8 about 0.7% of random triangle tests are wrong, and
// past a span of 1e8 an edge of slope below 1e-8 is skipped as parallel).
PLEXA_API int IsPointInPolygon(const tagPOINT* pts, int n, const tagPOINT& p, const tagRECT* rect);
// Forwards to the integer pointer overload.
PLEXA_API int IsPointInPolygon(const CArray<tagPOINT, tagPOINT>& pts, const tagPOINT& p,
                               const tagRECT* rect);
// Inclusive on all four sides; each axis range runs from the smaller to the larger stored value.
PLEXA_API int IsPointInRect(tagPOINT p, tagRECT r);
PLEXA_API int IsPointInRect(PLEXA::CDPOINT p, PLEXA::CDRECT r);

// ---- Circles and arcs --------------------------------------------------------------------

// Circle through three points: the perpendicular bisectors of P1P2 and P2P3 intersected with
// GetLinesIntersection; r = |c - P3|. False (c and r unchanged) for collinear or coincident
// points.
PLEXA_API bool CalcCircle(double x1, double y1, double x2, double y2, double x3, double y3,
                          PLEXA::CDPOINT& c, double& r);
// Appends the arc of circle (c, r) from P1 through the side of P2 to P3: P1, the points
// reached by rotating P1 about c in steps of 2 pi / m while they stay on P2's side of the
// chord P1P3 (at most m of them), then P3. m = round(r * pi) clamped into [36, 360]; the step
// direction is the one whose first step stays on P2's side. When P2 lies on the chord (side
// 0), nothing at all is appended.
PLEXA_API void CalcArc(CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& out, PLEXA::CDPOINT c, double r,
                       double x1, double y1, double x2, double y2, double x3, double y3);
// The circle through the points, then the overload above; collinear points append P1 and P3.
PLEXA_API void CalcArc(CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& out, double x1, double y1, double x2,
                       double y2, double x3, double y3);
// One cubic segment approximating the arc of (c, r) from angle a0 to angle a1, as two nodes:
// first (in = anchor = the point at a0) and second (anchor = out = the point at a1), the
// attribute words untouched. Angles are first normalised into [0, 2 pi). The sweep runs
// counter-clockwise (increasing angle) or clockwise; equal angles give a zero sweep
// counter-clockwise but a full turn clockwise, deliberately. False (nodes untouched) when
// r < 0 or the control-arm equation has no real root.
PLEXA_API bool GetArcBPoints(const PLEXA::CDPOINT& c, double r, double a0, double a1,
                             bool clockwise, PLEXA::CBPOINT& first, PLEXA::CBPOINT& second);

// ---- Polyline against a line -------------------------------------------------------------

// Starting at segment index (a negative index starts at 0), finds the first segment whose
// line meets the unbounded line within the segment's range. hit is first set to point 0, or
// to the last point when index > n / 2. When a segment was found and its hit lies within
// kLineHitStart of the line's midpoint, hit and index are set from it and 1 is returned;
// otherwise 0 with hit as set first.
PLEXA_API int GetPolyLineWithLineIntersection(CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& poly,
                                              PLEXA::CDLINE line, PLEXA::CDPOINT& hit, int& index);
