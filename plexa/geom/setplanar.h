// The planar functions over paths and path sets: bounds and lengths of a path's anchor
// polygon, conversion of a polyline into a path, similarity, and the inside tests over sets
// of polylines and polygons. They sit above the path sets, beside the plain planar functions
// of plexa/core/planar.h, and follow the same rules (1e-8 epsilon, even-odd, explicitly
// closed polygons).
//
//   CDRECT r;
//   GetPolylineBounds(path, r);   // anchors only: control points are ignored
#pragma once

#include "plexa/core/planar.h"
#include "plexa/geom/path.h"
#include "plexa/geom/polypoly.h"
#include "plexa/platform/export.h"

// Resizes rects to the set's count; entry i is GetPolygonRect of polyline i, or all zeros
// for an absent (null) polyline.
PLEXA_API void GetPolygonRects(CPolyPolyDPoint& set, CArray<PLEXA::CDRECT, PLEXA::CDRECT>& rects);

// Bounds of the path's anchor points only (control points are ignored); zeros when empty.
PLEXA_API void GetPolylineBounds(const CBPointArray& path, PLEXA::CDRECT& r);

// Length of the chord polyline through the anchors (curves are not followed); 0 below 2 nodes.
PLEXA_API double GetPolylineLength(const CBPointArray& path);

// Replaces the path's nodes with one straight corner node per point (in = anchor = out =
// the point, attribute word 0).
PLEXA_API void Convert(const CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts, CBPointArray& path);

// False when the node counts differ; true below two nodes; otherwise false when an anchor step
// in x (a[i+1].x - a[i].x) differs from b's by more than tol. Only x steps are compared,
// deliberately: paths differing only in y are similar. NaN steps compare as similar.
PLEXA_API bool AreSimilar(const CBPointArray& a, const CBPointArray& b, double tol);
// False when the counts differ; true when both are empty; per index two absent paths pass,
// one absent fails, two present ones must satisfy the path overload.
PLEXA_API bool AreSimilar(const CPolyPolyBezier& a, const CPolyPolyBezier& b, double tol);

// Counts the present polylines whose double test holds (rectangle i from rects, which must
// have an entry for every present polyline: a missing one raises CInvalidArgException), and
// returns count & 1.
PLEXA_API int IsPointInPolygon(CPolyPolyDPoint& set, const PLEXA::CDPOINT& p,
                               CArray<PLEXA::CDRECT, PLEXA::CDRECT>& rects);
// Parity over the present polygons that hold p; rectangle i from rects while i is below its
// count, else computed with GetPolygonRect(tagPOINT*, int).
PLEXA_API int IsPointInPolyPolygon(CPolyPolyPoint& set, const CPoint& p,
                                   const CArray<CRect, CRect>& rects);
// The same rectangle rule; evenOdd false: true at the first polygon holding p (union);
// evenOdd true: the parity.
PLEXA_API bool IsPointInPolyPolygon(const CPolyPolyDPoint& set, const PLEXA::CDPOINT& p,
                                    const CArray<PLEXA::CDRECT, PLEXA::CDRECT>& rects,
                                    bool evenOdd);
