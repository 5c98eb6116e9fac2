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
// contracts are written) and are implemented in nearest.cpp:
// - GetNearestCurvePointT finds every stationary parameter of the distance as a root of the
//   fifth-degree Bezier (t_i = i/5, f_i = control values of (B(t) - p) . B'(t)) by recursive
//   subdivision: no sign change, no root; one sign change, a root at the chord's crossing
//   once the control polygon is flat (error below 2^-65), or the polygon's mid-parameter at
//   depth 64; otherwise halve at 0.5, left roots before right. At depth 64 a polygon with
//   several sign changes also yields its mid-parameter, and the whole search visits at most
//   kMaxRootPolygons polygons with sign changes (a polygon beyond that budget yields its
//   mid-parameter): exact arithmetic never needs either bound; they keep rounding noise and
//   non-finite input from recursing without end. A NaN control value counts as positive.
// - GetNearestCurvePointT2 runs the same isolation on a copy translated and scaled (by powers
//   of two) to unit size, polishes each root with at most 8 Newton steps that must each
//   reduce the distance, and keeps the nearest of the ends and the polished roots; measured
//   against a dense scan it is within rounding (1e-15 relative) for segment sizes from 1e-6
//   to 1e6 and points up to 1e9 sizes away.
#pragma once

#include "plexa/geom/bezier.h"
#include "plexa/platform/export.h"
#include "plexa/platform/records.h"

// Root isolation budget: polygons with at least one sign change that one search may visit.
inline constexpr int kMaxRootPolygons = 2048;

// Cohen-Sutherland clipping of the segment (x1, y1)-(x2, y2) against the rectangle, in place
// (y grows downwards: top <= bottom). Outcodes: below the bottom 1, plus 4 right of it or 8
// left of it; otherwise 4 right, 8 left, plus 2 above the top (a point below the bottom
// never gets the top bit). Returns 0 when rejected (coordinates unchanged); otherwise 1, plus
// 2 when the first end was moved, plus 4 when the second end was moved. The loop runs at
// most kMaxClipRounds rounds; a segment still unresolved then (only rounding at a corner
// can do that) is rejected. NaN coordinates get outcode 0 and are accepted as they are.
inline constexpr int kMaxClipRounds = 32;
PLEXA_API int _clip_line(double* x1, double* y1, double* x2, double* y2, double left, double right,
                         double top, double bottom);
// _clip_line with the rectangle's left, right, top and bottom as doubles; 0 for a null
// rectangle.
PLEXA_API int ClipLine(double* x1, double* y1, double* x2, double* y2, const tagRECT* r);
