// Nearest point on one cubic Bezier segment, and line clipping against an axis-aligned
// rectangle.
//
//   CBezier seg(p0, p1, p2, p3);
//   double t = seg.GetNearestCurvePointT(p);            // exact: roots of a quintic
//   double d;
//   PLEXA::CDPOINT q = seg.GetNearestCurvePoint2(p, &d); // nearest point and its distance
//   int r = _clip_line(&x1, &y1, &x2, &y2, 0, 100, 0, 50);  // 0 rejected; else 1 | 2 | 4
//
// The nearest-point members belong to CBezier (declared in plexa/geom/bezier.h, where their
// contracts and accuracy are written) and are implemented in nearest.cpp, which describes
// the root isolation.
#pragma once

#include "plexa/geom/bezier.h"
#include "plexa/platform/export.h"
#include "plexa/platform/records.h"

// Cohen-Sutherland clipping of the segment (x1, y1)-(x2, y2) against the rectangle, in place
// (y grows downwards: top <= bottom). Outcodes: below the bottom 1, plus 4 right of it or 8
// left of it; otherwise 4 right, 8 left, plus 2 above the top (a point below the bottom
// never gets the top bit). Returns 0 when rejected (coordinates unchanged); otherwise 1, plus
// 2 when the first end was moved, plus 4 when the second end was moved. The loop runs at
// most 32 rounds; a segment still unresolved then (only rounding at a corner can do that)
// is rejected. NaN coordinates get outcode 0 and are accepted as they are.
PLEXA_API int _clip_line(double* x1, double* y1, double* x2, double* y2, double left, double right,
                         double top, double bottom);
// _clip_line with the rectangle's left, right, top and bottom as doubles; 0 for a null
// rectangle.
PLEXA_API int ClipLine(double* x1, double* y1, double* x2, double* y2, const tagRECT* r);
