// CSpiral: an Archimedean spiral about a centre, r(t) = r0 + k*t for the turning angle t in
// radians. It turns a stretch of the spiral into a poly-Bezier path, measures arc length,
// finds the angle at which a given length is reached and tests whether a point lies inside
// the turns drawn so far. Hosts use it to draw spirals and to lay text along them.
//
//   CSpiral s(PLEXA::CDPOINT(0, 0), 10.0, 5.0, 0.0);  // k = 10 per radian, r0 = 5
//   CBPointArray path;
//   s.CalcCurve(path, 0, 4 * M_PI);                     // two turns, 17 nodes, open path
//   double t = s.CalcAngle(500.0, 0.01);                // where 500 units of arc are reached
//
// Invariants: the class owns nothing and has no virtual functions; copies copy all four
// fields. The fields are public so the host can set them; `m_direction` is 1 after
// construction and -1 makes the spiral turn the other way (the angle used is -t). No
// member function changes any field except SetDRPerCircle (k).
//
// Non-finite or huge arguments never hang or crash: the loops below are bounded (see the
// constants) and the results are then NaN, infinite or empty as each function says.
#pragma once

#include "plexa/core/types.h"
#include "plexa/geom/path.h"

// One full turn, as the spiral's formulas spell it.
inline constexpr double kSpiralTwoPi = 6.283185307179586;
// The grid of the Bezier approximation: every segment ends on a multiple of pi/4.
inline constexpr double kSpiralQuarterPi = 0.7853981633974483;
// Simpson's rule over this many intervals (five pairs) measures arc length; fixed.
inline constexpr int kSpiralSimpsonIntervals = 10;
// CalcAngle widens its search interval by tripling at most this many times; beyond ~650
// triplings the bound is infinite anyway.
inline constexpr int kSpiralMaxWidenings = 700;
// CalcAngle bisects at most this many times; the stop on "no further progress" ends a
// bisection over doubles well before (about 1100 steps from the largest double).
inline constexpr int kSpiralMaxBisections = 4096;
// CalcCurve refuses (empty path) a stretch that would need more grid nodes than this.
inline constexpr double kSpiralMaxCurveNodes = 1 << 20;
// NormalizeAngleRad adds 2*pi one turn at a time for up to this many turns; angles further
// below zero are first reduced by a floating remainder, so the loop stays bounded.
inline constexpr double kSpiralMaxUnwindTurns = 1 << 16;

class CSpiral {
 public:
  // Centre (0, 0), k = 10.0, r0 = 0.0, direction 1.
  CSpiral() = default;
  // Sets centre, k and r0 (note the order: growth before start radius) and direction 1. The
  // fourth argument is accepted and ignored on purpose: its meaning belongs to the host and
  // the signature keeps it.
  CSpiral(const PLEXA::CDPOINT& centre, double k, double r0, double);

  // centre + (cos a * r, sin a * r) with r = r0 + k*t and a = t (a = -t when m_direction is
  // -1). Non-finite t gives non-finite coordinates.
  PLEXA::CDPOINT CalcPoint(double t) const;

  // Radius growth per full turn: k * 2*pi.
  double GetDRPerCircle() const;
  // k = d / (2*pi).
  void SetDRPerCircle(double d);

  // Adds 2*pi while a < 0, then takes the floating remainder by 2*pi: a result in [0, 2*pi).
  // The turn-by-turn addition is deliberate (its rounding is part of the result). NaN and
  // infinities give NaN.
  static double NormalizeAngleRad(double a);

  // Arc length between two angles, in either order, by Simpson's rule with exactly 10
  // intervals over the speed sqrt(k^2 t^2 + 2 k r0 t + r0^2 + k^2), taken as 0 wherever the
  // radicand is not positive (or NaN). CalcLength(t, t) is 0; a NaN argument gives NaN or 0.
  double CalcLength(double t0, double t1) const;

  // The angle t >= 0 at which the arc length from 0 reaches `length` within `tol`: 0 for
  // length <= 0. The search triples an upper bound from 2*pi until the length is covered,
  // then bisects until |length - CalcLength(0, t)| < tol, stopping early when the midpoint
  // no longer moves or hits the length exactly. A NaN length gives NaN; an unreachable
  // length (a spiral of zero speed, an infinite length) gives a huge or infinite angle.
  double CalcAngle(double length, double tol) const;

  // Replaces `path` by the Bezier approximation of the stretch t0 .. t1: one node at t0, one
  // at every multiple i*pi/4 with i from 1 + trunc(t0/(pi/4)) to trunc(t1/(pi/4)) (trunc
  // towards zero, deliberately, so a negative t0 skips the multiple 0), and one at t1 when
  // it lies beyond the last node. Each cubic passes through the spiral at both ends and at
  // its thirds; the first node's incoming and the last node's outgoing control fall on
  // their anchors. Attribute words are 0; the path is open. t1 <= t0 gives the single node
  // at t0. A negative t1 may be left out by the rule: -3 .. -2 gives nodes at -3 and -pi/2
  // only, as -2 does not lie beyond -pi/2. Non-finite ends or more than
  // kSpiralMaxCurveNodes grid nodes give an empty path.
  void CalcCurve(CBPointArray& path, double t0, double t1) const;

  // Whether p lies inside the spiral drawn up to angle t: inside the circle of radius
  // k*max(0, t - 2*pi) + r0 it is; outside the circle of radius k*t + r0 it is not; between
  // them it is when the radius of the last turn at p's angle exceeds |p - centre|. Always
  // assumes counter-clockwise turning: m_direction is not consulted, on purpose. NaN gives
  // false.
  bool IsInSpiral(const PLEXA::CDPOINT& p, double t) const;

  PLEXA::CDPOINT m_centre;
  double m_r0 = 0.0;
  double m_k = 10.0;
  int m_direction = 1;

 private:
  // Speed of the spiral at angle t, 0 where the radicand is not positive.
  double Speed(double t) const;
  // Inner control point of the cubic from `from` to `from + d` that passes through the
  // spiral at both ends and at the thirds (d may be negative for an incoming control).
  PLEXA::CDPOINT ControlPoint(double from, double d) const;
};
