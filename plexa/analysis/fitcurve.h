// The curve fitter: turns an ordered chain of digitised points (a traced pixel boundary, a
// walked skeleton line, a refitted offset) into a poly-Bezier path that follows the points
// within an error tolerance, with as few cubic segments as that tolerance allows.
//
//   CArray<PLEXA::CDPOINT, PLEXA::CDPOINT> chain = ...;   // traced points, in order
//   CBPointArray path;
//   FitCurve(chain.GetData(), static_cast<int>(chain.GetSize()), &path, 5.0);
//   // path starts at chain[0], ends at chain[n - 1], every point is within 5.0 of it.
//
// Contract (guaranteed on the output, not hoped for):
//   - The path's previous nodes are removed; the new nodes have attribute word 0.
//   - The first anchor is exactly the first (finite) input point and the last anchor exactly
//     the last (finite) input point.
//   - Every finite input point lies within `tolerance` (Euclidean distance, drawing units)
//     of the fitted curve. Acceptance is judged on the distance from each point to the curve
//     point at its parameter, which is never less than the true distance, so the bound holds.
//   - An open chain gives an open path: the first node's incoming control equals its anchor
//     and so does the last node's outgoing control. A closed chain (last point equal to the
//     first within PLEXA::kCoincide in x and y after repeats are removed, and at least three
//     distinct points) gives a closed path whose last node is a copy of the first with the
//     last anchor set to the input's last point: the first node's incoming control is the one
//     of the closing segment.
//   - Nodes are either corners (the two handles point independently) or smooth joins (the
//     two handles lie on one line through the anchor, on opposite sides: tangent continuity).
//   - At most count - 1 segments.
//
// Algorithm.
//   1. Non-finite points are dropped; consecutive points that coincide within
//      PLEXA::kCoincide are merged (a tracer closing its polygon with the first point twice is
//      the common case). Coordinates beyond kFitRescaleAbove or below kFitRescaleBelow in
//      magnitude are scaled by a power of two for the computation and scaled back, so huge
//      coordinates do not overflow and tiny ones do not underflow.
//   2. Corners. At every point the turning angle between the chord to the point an arc length
//      L behind and the chord to the point L ahead is measured at two scales, L and 2L, with
//      L = kFitCornerArm * tolerance (at most 1/16 of the chain's length). A true corner turns
//      by the same angle at both scales, an arc by twice as much at the larger one and pixel
//      noise by half as much, so the corner strength is the smaller of the two (and 0
//      within one arm of an open chain's ends, where one arm is a noisy step). Points of
//      strength at least kFitCornerAngle are corner candidates; the strongest of each run of
//      candidates becomes a corner, and of two corners closer than L/2 only the stronger
//      stays. Closed chains are measured cyclically, so the start is not a corner unless the
//      shape has one there (or a weaker one of at least kFitSoftCornerAngle, see 4).
//   3. Each run between nodes is fitted with one cubic by least squares, with chord-length
//      parameters refined by Newton steps towards each point's nearest curve parameter (at
//      most kFitMaxReparam rounds, and only while the error is below kFitReparamLimit times
//      the tolerance). Ends at corners get free handles; ends at smooth joins keep the
//      join's tangent direction and fit only the handle length. The linear system carries a
//      tiny ridge term (kFitRidge) towards handles of a third of the chord, so runs with too
//      few points still get a well-defined answer. Handles that come out pointing backwards
//      at a smooth join, or longer than kFitMaxHandle times the run's polyline length, are
//      replaced by that third-of-the-chord guess.
//   4. A run that misses the tolerance is split at its point of greatest error (kept at least
//      1/kFitSplitGuard of the run away from its ends, which bounds the depth to a logarithm
//      of the chain length), or at the strongest point within L/2 of it when that point's
//      corner strength reaches kFitSoftCornerAngle: then the split is a corner. Otherwise
//      the split is a smooth join whose tangent is the principal direction of the points
//      within kFitTangentShare of the run's length on both sides of it (not crossing a
//      corner). A closed chain without
//      corners is first split at its point farthest from the start, and the start is a
//      smooth join whose tangent is measured across the closure.
//   5. Neighbouring segments that meet at a smooth join are merged when one cubic fits both
//      runs within the tolerance (one pass), which removes splits that the greedy
//      subdivision made where it did not have to.
//   Runs are kept on an explicit work list, never by recursion; every split makes both parts
//   shorter, so the work ends, and a run of two points is always a straight segment.
//   Cost: O(n log n) for n points in the worst case, about linear on tracer output.
//
// Degenerate input: a null points pointer, count <= 0, or no finite point gives an empty
// path (a null path pointer does nothing). One finite point gives one node with both
// controls on the anchor. Two or more points that all coincide give two corner nodes joined
// by a zero-length straight segment. A tolerance that is NaN, zero or negative is taken as
// kFitMinTolerance; an infinite tolerance gives the fewest segments the corners allow.
#pragma once

#include "plexa/geom/path.h"
#include "plexa/geom/types.h"

// Smallest tolerance used, in drawing units: a NaN, zero or negative tolerance means this.
inline constexpr double kFitMinTolerance = 1e-8;
// Corner arm length as a multiple of the tolerance. Deviations up to the tolerance are
// treated as noise; with arms three tolerances long they tilt a chord by at most about
// 18 degrees, well below the corner angles.
inline constexpr double kFitCornerArm = 3.0;
// Corner arms are at most this fraction of the chain's arc length, so small closed shapes
// are not measured across their whole outline. A circle then turns by at most 2 pi / 16
// (22.5 degrees) over one arm, below both corner angles, however small it is.
inline constexpr double kFitCornerArmShare = 1.0 / 16.0;
// Turning angle (radians, 55 degrees) at which a point is a corner from the start: squares,
// stars and triangles keep sharp corners, arcs wider than about L / 0.96 stay smooth.
inline constexpr double kFitCornerAngle = 0.96;
// Turning angle (radians, 35 degrees) at which a split point, or the start of a closed
// chain, becomes a corner instead of a smooth join: octagon-like corners that did not reach
// kFitCornerAngle but would cost many smooth segments to round off.
inline constexpr double kFitSoftCornerAngle = 0.61;
// A smooth join's tangent is measured over points within this share of the split run's arc
// length on either side (at least one corner arm): wide enough that pixel steps tilt it by
// only a few degrees, symmetric so that a steady bend does not tilt it at all.
inline constexpr double kFitTangentShare = 1.0 / 8.0;
// A smooth join's anchor moves across its tangent onto a quadratic fitted to the points
// around it, by at most this many tolerances: pixel steps then do not pin the curve to one
// side of an outline. The first and last anchors and corners never move.
inline constexpr double kFitAnchorShift = 0.5;
// Newton reparameterisation rounds per fit attempt.
inline constexpr int kFitMaxReparam = 8;
// Rounds of plain least squares before the later rounds reweight the points by their errors
// (Lawson's iteration towards the fit whose largest error is smallest).
inline constexpr int kFitPlainRounds = 2;
// Reparameterisation is tried only when the first error is below this many tolerances;
// beyond it the run is split at once (a cubic far off will not be rescued by parameters).
inline constexpr double kFitReparamLimit = 4.0;
// Ridge weight of the least-squares system, relative to the system's own scale: decides
// under-determined fits (runs of two or three points) without changing well-posed ones.
inline constexpr double kFitRidge = 1e-9;
// Longest handle accepted, as a multiple of the run's polyline length.
inline constexpr double kFitMaxHandle = 1.0;
// A split is kept at least 1/kFitSplitGuard of a run's point count away from its ends.
inline constexpr int kFitSplitGuard = 8;
// Coordinates whose largest magnitude lies outside [kFitRescaleBelow, kFitRescaleAbove] are
// rescaled by a power of two (exact) during the computation.
inline constexpr double kFitRescaleAbove = 1e100;
inline constexpr double kFitRescaleBelow = 1e-100;

// Fits `count` points starting at `points` into `path` (emptied first) within `tolerance`
// drawing units. See above for the contract and the degenerate cases. Returns nothing.
void FitCurve(const PLEXA::CDPOINT* points, int count, CBPointArray* path, double tolerance);
