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
//   - The first anchor is exactly the first finite input point and the last anchor exactly
//     the last one.
//   - Every finite input point lies within `tolerance` (Euclidean distance, drawing units)
//     of the fitted curve. Acceptance is judged on the distance from each point to the
//     curve point at its parameter, never less than the true distance, so the bound holds.
//   - An open chain gives an open path: the first node's incoming control equals its anchor
//     and so does the last node's outgoing control. A closed chain (after repeats are
//     merged, at least three distinct points and the last equal to the first within
//     PLEXA::kCoincide in x and y) gives a closed path of at least two segments whose last
//     node is a copy of the first, except that its anchor is the input's last point; the
//     first node's incoming control is the one of the closing segment.
//   - Every node is a corner (its two handles point independently) or a smooth join (its
//     two handles lie on one line through the anchor, on opposite sides: tangent
//     continuity). Apart from the first and last, a node may sit up to kFitAnchorShift
//     tolerances from the input point it stands for (corners move to where their straight
//     arms cross, smooth joins across the outline onto a local fit), so that one noisy pixel
//     does not pin the curve.
//   - At most count - 1 segments.
//
// Algorithm.
//   1. Non-finite points are dropped; consecutive points that coincide within
//      PLEXA::kCoincide are merged (a tracer closing its polygon with the first point twice
//      is the common case). When a coordinate exceeds 1e50 in magnitude, all are scaled by a
//      power of two for the computation and scaled back, so the products of up to four
//      coordinates that the least-squares systems form do not overflow. (Tiny ones need no care:
//      distinct neighbours differ by at least PLEXA::kCoincide.)
//   2. Corners. At every point the turning angle between the directions of the points one
//      arm behind and of the points one arm ahead (each the principal line of those points,
//      so every pixel step pulls rather than one) is measured at two arm lengths, L and 2L.
//      L is kFitCornerSpacing median point spacings, at least one tolerance and at most
//      kFitCornerArm tolerances, and at most kFitCornerArmShare of the chain's length unless
//      that is below one tolerance. An arm ends at the first point that far away in a
//      straight line, or twice that far walked, or kFitMaxArmPoints points on. A true corner
//      turns by the same angle at both lengths, an arc by twice as much at the longer one
//      and pixel noise by about half as much, so the corner strength is the smaller of the
//      two (0 within one arm of an open chain's ends, where one arm is a noisy step). A
//      point is a candidate when its strength reaches kFitCornerAngle, or reaches
//      kFitSoftCornerAngle while the longer arms, both whole, turn at most kFitArcRatio
//      times as much as the shorter (a concentrated turn, not an arc). In each run of
//      candidates the point turning most over the shorter arms is taken, then moved (within
//      L/2) to where the outline splits best into two straight arms of length 2L; of two
//      corners closer than L/2 only the sharper stays. A corner's anchor is where its two
//      arm lines cross (see kFitAnchorShift). Closed chains are measured cyclically. Their
//      start is a corner when it is a candidate itself or a corner lies within one arm of it
//      (the start then takes that corner's place rather than leave a sliver segment);
//      otherwise it is a smooth join whose tangent is measured across the closure, so a
//      smooth closed outline has no kink at its start.
//   3. Each stretch between corners (and ends, and the start of a closed chain) is covered
//      greedily: from each node, the longest run of points that one cubic fits within the
//      tolerance, found by doubling the run (from the previous segment's length, at first
//      kFitFirstStep points) and then bisecting until the bracket is within 1/32 of the
//      length found, so a segment costs a handful of fits. The end of a run inside a
//      stretch is a smooth join: its tangent is the principal direction of the points within
//      kFitTangentShare of the run's length (at least two arms) on either side, and its
//      anchor moves across that tangent onto a quadratic fitted to the same points, by at
//      most kFitAnchorShift tolerances. The next segment leaves along the same tangent line.
//   4. One cubic is fitted to a run by least squares, with chord-length parameters refined
//      by Newton steps towards each point's nearest curve parameter (kFitMaxReparam rounds
//      at most; after kFitPlainRounds rounds the points are also reweighted by their errors,
//      Lawson's iteration towards the smallest largest error; a run still more than
//      kFitReparamLimit tolerances off, or whose error stalls, is given up). Ends at corners
//      get free handles, ends at smooth joins keep the join's tangent and fit only the
//      handle length. The linear system carries a tiny ridge term (kFitRidge) towards
//      handles of a third of the chord, so runs with too few points still get a
//      well-defined answer. Handles that come out pointing backwards at a smooth join, or
//      longer than kFitMaxHandle times the run's polyline length, are replaced by that
//      third-of-the-chord guess.
//   There is no recursion and every loop is bounded by the number of points: the greedy
//   search always advances (a run of two points is a straight segment) and each fit makes
//   at most kFitMaxReparam + 1 passes over its run. Cost: O(n log n) for n points at worst,
//   about linear in practice (about a million pixel-chain points a second on one core).
//
// Degenerate input: a null points pointer, count <= 0, or no finite point gives an empty
// path (a null path pointer does nothing). One finite point gives one node with both
// controls on the anchor. Two or more points that all coincide give two nodes with their
// controls on their anchors (a zero-length segment). A tolerance that is NaN, zero or
// negative is taken as kFitMinTolerance, and any tolerance below kFitPrecisionFloor times
// the largest coordinate magnitude is raised to that (the bound above then holds for the
// raised tolerance); an infinite tolerance gives the fewest segments the corners allow.
// The path is not thread-shared state: concurrent calls on different paths are safe.
#pragma once

#include "plexa/core/types.h"
#include "plexa/geom/path.h"
#include "plexa/platform/export.h"

// Smallest tolerance used, in drawing units: a NaN, zero or negative tolerance means this.
inline constexpr double kFitMinTolerance = 1e-8;
// Smallest tolerance used relative to the largest coordinate magnitude: double precision
// cannot place a curve closer than a few thousand rounding units, so a finer tolerance is
// raised to this share of the largest |coordinate| (1e-8 units at coordinates of 10,000).
inline constexpr double kFitPrecisionFloor = 1e-12;
// Longest corner arm, as a multiple of the tolerance: deviations up to the tolerance count
// as noise, and over arms three tolerances long they tilt an arm by at most 18 degrees.
inline constexpr double kFitCornerArm = 3.0;
// Corner arms are this many median point spacings long (at least one tolerance, at most
// kFitCornerArm tolerances): enough to see past pixel steps, short enough that a stem a few
// tolerances wide still shows two corners at its end rather than one blunt turn.
inline constexpr double kFitCornerSpacing = 4.0;
// A corner arm ends after this many points whatever its length: on a chain that winds
// within a small area at a huge tolerance, arms would otherwise take in the whole chain
// and corner placement would cost the square of its length.
inline constexpr int kFitMaxArmPoints = 128;
// Corner arms are at most this share of the chain's arc length (but never below one
// tolerance), so small closed shapes are not measured across their whole outline. A circle
// then turns by at most 2 pi / 16 (22.5 degrees) over one arm, below both corner angles,
// unless its radius is about the tolerance or less.
inline constexpr double kFitCornerArmShare = 1.0 / 16.0;
// Turning angle (radians, 55 degrees) that makes a corner at any scale: squares, stars and
// triangles keep sharp corners, bends wider than about L / 0.96 in radius stay smooth.
inline constexpr double kFitCornerAngle = 0.96;
// Lower turning angle (radians, 35 degrees) that makes a corner when the turn is
// concentrated (see kFitArcRatio): octagon corners stay sharp, tight arcs stay smooth.
inline constexpr double kFitSoftCornerAngle = 0.61;
// A turn counts as concentrated when doubling the arms multiplies it by at most this (a
// corner gives 1, an arc 2).
inline constexpr double kFitArcRatio = 1.4;
// The greedy search tries runs of at least this many points first, then doubles.
inline constexpr int kFitFirstStep = 8;
// A smooth join's tangent window reaches this share of the run's length on either side (at
// least two corner arms): wide enough that pixel steps tilt it by a few degrees at most,
// symmetric away from corners so that a steady bend does not tilt it at all.
inline constexpr double kFitTangentShare = 1.0 / 8.0;
// How far, in tolerances, a node may sit from its input point: a smooth join's anchor moves
// across its tangent onto a quadratic fitted to the points around it, a corner's anchor
// towards the crossing of its arm lines. Pixel steps then do not pin the curve to one side
// of an outline. The first and last anchors never move.
inline constexpr double kFitAnchorShift = 0.5;
// Newton reparameterisation rounds per fit at most (a fit whose error stops shrinking fast
// enough to reach the tolerance in the rounds left ends sooner).
inline constexpr int kFitMaxReparam = 16;
// Rounds of plain least squares before the later rounds reweight the points by their errors.
inline constexpr int kFitPlainRounds = 2;
// After the plain rounds a fit is given up when its error exceeds this many tolerances.
inline constexpr double kFitReparamLimit = 4.0;
// Ridge weight of the least-squares system, relative to the system's own scale: decides
// under-determined fits (runs of two or three points) without changing well-posed ones.
inline constexpr double kFitRidge = 1e-9;
// Longest handle accepted, as a multiple of the run's polyline length.
inline constexpr double kFitMaxHandle = 1.0;

// Fits `count` points starting at `points` into `path` (emptied first) within `tolerance`
// drawing units. See above for the contract and the degenerate cases. Returns nothing.
PLEXA_API void FitCurve(const PLEXA::CDPOINT* points, int count, CBPointArray* path,
                        double tolerance);
