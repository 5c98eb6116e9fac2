// Circle and angle helpers on double points: a collinearity test, full angle normalisation, the
// circle through three points and the turning sense of a three-point arc. Stateless, in the
// library's conventions: radians, counter-clockwise positive (rotating by +a maps (1, 0)
// towards (0, 1)), the 1e-8 epsilon of the planar functions.
//
//   PLEXA::CDPOINT c;  double r;
//   if (PLEXA::GetCircle(p1, p2, p3, c, r))                  // the circle through the points
//     GetArcBPoints(c, r, std::atan2(p1.y - c.y, p1.x - c.x),
//                   std::atan2(p3.y - c.y, p3.x - c.x),
//                   PLEXA::IsArcClockwise(p1, p2, p3), n0, n1);   // one segment via p2's side
//
// "Clockwise" means decreasing angle about the centre, the sense of GetArcBPoints' clockwise
// flag; on a y-down screen such an arc appears counter-clockwise.
#pragma once

#include "plexa/core/planar.h"
#include "plexa/core/types.h"
#include "plexa/platform/export.h"

namespace PLEXA {

// True when the three points lie on one line: the point opposite the longest side is nearer
// than 1e-8 to the line through that side (an absolute distance, so the answer does not
// depend on how long the sides are), or all three lie within 1e-8 of each other. NaN
// coordinates count as collinear, so that GetCircle refuses them.
PLEXA_API bool ArePointsCollinear(const CDPOINT& a, const CDPOINT& b, const CDPOINT& c);

// a moved into [0, 2 pi) by as many whole turns as needed (unlike Bound2PI, which wraps
// once). Values that would round up to 2 pi give 0. NaN or infinite: NaN.
PLEXA_API double Bound0To2PI(double a);

// The circle through three points, computed relative to p1 for accuracy. False, with center
// and radius unchanged, when the points are collinear (ArePointsCollinear) or the result is
// not finite (overflow on huge coordinates).
PLEXA_API bool GetCircle(const CDPOINT& p1, const CDPOINT& p2, const CDPOINT& p3, CDPOINT& center,
                         double& radius);

// True when the arc that starts at start, passes mid and ends at end turns clockwise
// (decreasing angle about its centre, as GetArcBPoints' flag). False for collinear points,
// where no arc exists, and for counter-clockwise arcs.
PLEXA_API bool IsArcClockwise(const CDPOINT& start, const CDPOINT& mid, const CDPOINT& end);

}  // namespace PLEXA
