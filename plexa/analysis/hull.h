// Convex hull of integer points: an extreme-point filter followed by a Graham scan.
//
//   CArray<tagPOINT> pts;                     // any integer points, in any order
//   ...
//   GetConvexHull(pts);                       // now the hull, first point repeated at the end
//
// The hull starts at the pivot (the point with the largest y, the one with the largest x
// among those) and turns clockwise with y up (counter-clockwise on a y-down screen). Points
// on a hull edge between two corners are dropped, as are repeated points, except on the
// first edge out of the pivot: the scan starts with points 0, 1 and 2 on the hull and only
// tests point 1 again once point 2 has been dropped, so a point between the pivot and the
// next corner may stay.
//
// Re-entrant: the sort pivot reaches the angle computation through a lambda's capture, not a
// global, so hulls may be computed on several threads at once (each on its own array). Each
// point's sort key (angle, squared distance) is computed once and the keys are sorted; the
// order is the one a comparison reading a global pivot would give. Cost: O(n log n).
#pragma once

#include "plexa/platform/array.h"
#include "plexa/platform/export.h"
#include "plexa/platform/records.h"

// Replaces the points by their convex hull, closed (first point repeated at the end).
// Fewer than four points: unchanged (three points get no closing point).
// 1. Extreme-point filter: the quadrilateral of the first smallest-x, smallest-y, largest-x
//    and largest-y points (closed) and its integer bounds; every point other than point 0
//    that passes the integer even-odd test in it (IsPointInPolygon) is removed. That test's
//    tie-breaks are applied as they stand, and they count a point on the quadrilateral's
//    left side as inside, corners included: the smallest-x corner (unless it is point 0 or
//    the test's extremum rule spares it) is removed with the inner points, so the result can
//    miss that hull corner. This is the defined behaviour and is kept deliberately; a host
//    that needs every corner can put its leftmost point first.
// 2. Graham scan: points sorted by |GetLinesAngle((pivot.x + 1000, pivot.y), pivot, p)|,
//    smaller first, ties nearer first (the pivot sorts first); with k = 2, for each later
//    point i the top P[k] is dropped while k >= 1 and GetLinesAngle(P[k], P[k-1], P[i]) <= 0
//    (collinear points are dropped too), then P[i] becomes P[++k]. Points 0..k are kept and
//    point 0 appended when the last differs from it.
// When the filter leaves fewer than three points the scan keeps them all, and the closing
// point is added when the last differs from the first.
// Coordinates are used in doubles throughout; the whole LONG range is accepted, but the hull
// is exact (every input point inside or on it, the deliberate corner case above aside) only
// with coordinates within +-2^24, the range of the integer inside test the filter uses;
// beyond it the filter can remove a hull corner (371 of 3,000 random sets at +-1.34e8).
PLEXA_API void GetConvexHull(CArray<tagPOINT>& pts);
