// CEllipse: an ellipse or elliptical arc about a centre, with radii along its own axes and
// the axes turned by a rotation. It builds poly-Bezier paths of the whole ellipse or of an
// arc, measures arc length, finds the point at a given length and tests whether a point lies
// inside.
//
//   CEllipse e(PLEXA::CDPOINT(100, 50), 80, 30, 0.5);  // centre, rx, ry, rotation (radians)
//   CBPointArray path;
//   e.CalcCurve(path);                    // closed, 4 quarter arcs, within 2.7e-4 * 80
//   e.CalcArc(path, 0, M_PI, 0.01);       // half an ellipse, pieces fine enough for 0.01
//   double len = e.CalcLength(0, 2 * M_PI);
//   PLEXA::CDPOINT p = e.CalcPointAtLength(0, len / 3);
//
// Parameterisation: angles are the ellipse's parametric angle t (the eccentric anomaly, as in
// SVG arcs), not the polar angle of the point: P(t) = centre + R(rotation) (rx cos t,
// ry sin t), with R turning counter-clockwise in y-up axes. A positive sweep runs with
// increasing t. ParamFromPolar converts a polar direction into t.
//
// Accuracy: each Bezier piece of sweep s uses handles of 4/3 tan(s/4) along the tangents and
// is the affine image of the best-known circular-arc cubic, so its distance from the true
// ellipse is at most max(|rx|, |ry|) * (2/27) sin^6(s/4) / cos^2(s/4): 2.7e-4 of the larger
// radius for quarter arcs, 4.2e-6 for eighths (ArcErrorBound; ellipse_test checks it against a
// dense nearest-point scan of the exact ellipse).
//
// Zero and negative radii: the shape uses the magnitudes; a negative radius mirrors the
// parameterisation along that axis (the path runs the other way round when exactly one is
// negative). CalcCurve and CalcArc refuse (false, path emptied) when either radius is 0 or
// any input is not finite: a flat ellipse has no area to cut. CalcPoint, CalcLength and
// CalcPointAtLength work on flat ellipses (a radius of 0 gives the doubled segment, both 0 the
// centre, length 0). IsPointInside is false when either radius is 0 (no interior).
// Non-finite inputs give NaN points and lengths and false tests, never a hang: the quadrature
// and the length search are bounded (constants below).
#pragma once

#include "plexa/core/types.h"
#include "plexa/geom/path.h"
#include "plexa/platform/export.h"

// CalcArc splits an arc into at most this many pieces, however small the accuracy asked.
inline constexpr int kEllipseMaxPieces = 4096;
// Arc length: adaptive Gauss-Kronrod (7/15 points) to a relative accuracy of 1e-12, halving
// an interval at most this many times; a span of more than this many turns is measured one
// turn and a remainder.
inline constexpr int kEllipseMaxQuadratureDepth = 30;
// CalcParamAtLength: at most this many Newton or bisection steps.
inline constexpr int kEllipseMaxLengthSteps = 200;

class PLEXA_API CEllipse {
 public:
  // Centre (0, 0), radii 1, rotation 0.
  CEllipse() = default;
  CEllipse(const PLEXA::CDPOINT& centre, double rx, double ry, double rotation = 0);

  // P(t) as above.
  PLEXA::CDPOINT CalcPoint(double t) const;
  // Derivative dP/dt (its length is the speed of the parameterisation).
  PLEXA::CDPOINT CalcDerivative(double t) const;

  // The whole ellipse: 5 nodes (4 quarter arcs) from t = 0 round to t = 2 pi, the last node a
  // copy of the first, so the path is closed. With accuracy > 0, as many equal pieces as
  // needed for that largest distance from the true ellipse (see CalcArc). False (path empty)
  // for a zero or non-finite radius, centre or rotation.
  bool CalcCurve(CBPointArray& path, double accuracy = 0) const;
  // The arc from t = start over `sweep` (signed radians; |sweep| above 2 pi is taken as one
  // full turn): n equal pieces, n the smallest count with pieces of at most a quarter turn
  // and, when accuracy > 0, ArcErrorBound(|sweep| / n) <= accuracy (at most
  // kEllipseMaxPieces). Path emptied first; nodes have attribute word 0. An open arc's first
  // incoming and last outgoing controls lie on their anchors; a sweep of 2 pi gives a closed
  // path whose last node repeats its first. False (path empty) for zero radii, a zero sweep or
  // non-finite input.
  bool CalcArc(CBPointArray& path, double start, double sweep, double accuracy = 0) const;
  // Largest distance between a piece of this sweep and the true ellipse (see Accuracy).
  double ArcErrorBound(double sweep) const;

  // Arc length from t0 to t1, negative when t1 < t0. NaN for non-finite input.
  double CalcLength(double t0, double t1) const;
  // The circumference.
  double CalcPerimeter() const;
  // The parameter t >= t0 where the arc length from t0 reaches `length` (a negative length
  // walks backwards), to within 1e-12 of the circumference. t0 for a flat-to-a-point ellipse.
  double CalcParamAtLength(double t0, double length) const;
  PLEXA::CDPOINT CalcPointAtLength(double t0, double length) const;

  // Strictly inside: (u/rx)^2 + (v/ry)^2 < 1 in the ellipse's own axes. False on the ellipse,
  // outside, for a zero radius or for non-finite input.
  bool IsPointInside(const PLEXA::CDPOINT& p) const;
  // The parametric angle of the ellipse point in polar direction `angle` (radians, measured
  // like the rotation, from the world x axis), within half a turn of the angle.
  double ParamFromPolar(double angle) const;

  PLEXA::CDPOINT m_centre;
  double m_rx = 1;
  double m_ry = 1;
  double m_rotation = 0;

 private:
  bool IsUsable() const;
  double Speed(double t) const;
};
