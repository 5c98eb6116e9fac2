// Path intersections: where a polyline, a poly-Bezier path or a set of paths meets a line
// segment, a horizontal or vertical line or a rectangle, reported as parameters or points;
// the polyline-against-line hit searches and the polyline orientation test.
//
//   CArray<double> ts;
//   CArray<PLEXA::CDPOINT> pts;
//   FindXIntersections(path, 50.0, ts, &pts, true);   // curves against the line y = 50
//   // ts[i] = segment index + local t, e.g. 3.25 is a quarter of the way along segment 3
//
// Conventions:
// - A path parameter is segment index + local t (t in [0, 1]); segment i of a path runs from
//   node i to node i + 1 (anchor, outgoing control, incoming control, anchor). Paths are not
//   closed implicitly here: an open path has no closing segment.
// - A line parameter s runs from 0 at the line's first point to 1 at its second.
// - Crossings are exact on the curves (cubic roots by interval bisection to the last bit)
//   except in FindLineIntersections' path forms, which flatten the path first.
// - Both ends of a segment are inclusive, so a crossing exactly at a shared vertex is
//   reported by both segments; parallel or collinear segments report nothing.
// - NaN or infinite coordinates never hang or crash: every loop is bounded by the point or
//   segment count and the root bisection is capped at 2,200 halvings; results are then
//   whatever the comparisons give (usually nothing).
// - Re-entrant; no shared state.
#pragma once

#include "plexa/core/types.h"
#include "plexa/geom/path.h"
#include "plexa/geom/polypoly.h"
#include "plexa/platform/array.h"
#include "plexa/platform/export.h"

// Real roots of c[0] + c[1] t + c[2] t^2 + c[3] t^3 in [a, b], ascending, into roots (room
// for 4); returns the count. A cubic coefficient of exactly 0 drops to the quadratic (and so
// on down). The roots of the derivative that lie in [a, b] split the interval into monotone
// parts; in each part an end value exactly 0 is a root (a shared inner end is reported once,
// by the part it starts), ends of the same sign hold none, and otherwise the part is bisected
// until it cannot shrink further (the root is the last midpoint). A polynomial identically 0
// gives a and b. Empty or reversed interval (b < a): a or nothing.
PLEXA_API int FindPolynomialRoots(const double c[4], double a, double b, double roots[4]);

// Appends the line parameter s of every crossing of polyline segment i -> i + 1 with the line
// segment (both ends inclusive on both). Unsorted, in segment order. Fewer than 2 points:
// nothing.
PLEXA_API void FindLineIntersections(const CArray<PLEXA::CDPOINT>& poly, const PLEXA::CDLINE& line,
                                     CArray<double>& s);
// Flattens the path with ExecuteBPointArrayT at resolution 1.0 and appends as the polyline
// form (unsorted).
PLEXA_API void FindLineIntersections(const CBPointArray& path, const PLEXA::CDLINE& line,
                                     CArray<double>& s);
// The path form for every present path, appending to s, then sorts all of s ascending
// (earlier contents included).
PLEXA_API void FindLineIntersections(const CPolyPolyBezier& set, const PLEXA::CDLINE& line,
                                     CArray<double>& s);

// The first crossing of the line segment with a polyline of the set, searching polylines from
// poly on (absent ones skipped) and, within the starting polyline, segments from seg on (from
// 0 in later ones). The starting segment is included: a caller wanting the next crossing
// advances seg first. Negative poly or seg are first set to 0 (written back). On success poly,
// seg and s (the line parameter) are set and true is returned; otherwise false with poly and
// seg as normalised and s untouched.
PLEXA_API bool FindNextIntersection(const CPolyPolyDPoint& set, const PLEXA::CDLINE& line,
                                    int& poly, int& seg, double& s);
// The first crossing of polyline segments seg .. n - 2 with the rectangle's sides, tried per
// segment in the order (xmin,ymin)->(xmax,ymin), (xmax,ymin)->(xmax,ymax),
// (xmax,ymax)->(xmin,ymax), (xmin,ymax)->(xmin,ymin); s is the parameter along the side that
// was hit. A negative seg starts at 0. seg >= n - 1 or no crossing: false, seg and s untouched.
PLEXA_API bool FindNextIntersection(const CArray<PLEXA::CDPOINT>& poly, const PLEXA::CDRECT& rect,
                                    int& seg, double& s);

// Crossings of the path's curves with the horizontal line at y: ts (and pts, when given) are
// emptied, then per segment each root of y(t) = y in [0, 1] appends i + t and the point
// (x(t), y(t)) of the power form. With sort, ts is sorted ascending afterwards; the points
// keep segment order (they are not reordered with it). A segment lying on the line reports
// its two ends; a crossing at a node is reported by both segments that meet there.
PLEXA_API void FindXIntersections(const CBPointArray& path, double y, CArray<double>& ts,
                                  CArray<PLEXA::CDPOINT>* pts, bool sort);
// The same with the vertical line at x.
PLEXA_API void FindYIntersections(const CBPointArray& path, double x, CArray<double>& ts,
                                  CArray<PLEXA::CDPOINT>* pts, bool sort);
// The same with the four sides of the rectangle, per segment in the order x = xmin, y = ymin,
// x = xmax, y = ymax; a root on a vertical side is kept when its y lies within the
// rectangle's y range, on a horizontal side when its x lies within the x range (inclusive;
// each range runs from the smaller to the larger stored value). A crossing at a corner may be
// reported by both sides.
PLEXA_API void FindRectIntersections(const CBPointArray& path, const PLEXA::CDRECT& rect,
                                     CArray<double>& ts, CArray<PLEXA::CDPOINT>* pts, bool sort);

// The crossing nearest the line's second point. Segments wholly left or right of the band
// min(line x) - 3 .. max(line x) + 3 are skipped; for the others the infinite lines are
// intersected (GetLinesIntersection, segment first) and the point is a candidate when it lies
// in the segment's range (IsPointInLineRange), at least 1e-8 from the line's first point, and
// in the line's range or less than 3.0 from its second point (so a line stopping up to 3
// units short still finds the polyline; intended). The nearest candidate to the second point
// (strictly nearer wins, earliest on ties, farther than 1e6 never) sets hit and 1 is
// returned; otherwise 0 with hit = (0, 0).
PLEXA_API int GetPolyLineWithLineIntersection(CArray<PLEXA::CDPOINT>& poly, PLEXA::CDLINE line,
                                              PLEXA::CDPOINT& hit);
// All crossings in segment order: hits and segs (when given) are emptied (growing by 16),
// then with the same band, each intersection that lies in the segment's range and the line's
// range and at least 1e-8 from the line's second point is appended with its segment index.
PLEXA_API void GetPolyLineWithLineIntersections(CArray<PLEXA::CDPOINT>& poly, PLEXA::CDLINE line,
                                                CArray<PLEXA::CDPOINT>& hits, CDWordArray* segs);

// Sum over i of (y[i+1] + y[i]) (x[i+1] - x[i]), the last point followed by the first; true
// when the sum is not positive (clockwise on a y-down screen). Empty: true; NaN sum: true.
PLEXA_API bool IsClockwise(const CArray<PLEXA::CDPOINT>& poly);
