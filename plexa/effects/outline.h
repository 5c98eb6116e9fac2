// Outline effects: free functions that distort one path in place (pinch and bulge, spherize,
// twirl, wave, zig-zag, roughen) and GeometricEcho, which makes displaced copies of a path.
// The point functions move one point and are exported so that a host can preview single
// points; the outline functions first resample the path and then move its points.
//
//   CBPointArray path;  path.CreateCircle(PLEXA::CDRECT(0, 200, 0, 200));
//   PLEXA::CDPOINT c(100, 100);
//   TwirlOutline(&c, 100, 90, &path);          // split to pieces of <= 40 units, then twirled
//   ZigZagOutlinePerInch(4, 10, 2, true, &path);  // 4 teeth an inch, 10 units along normals
//
// Constants, used as written (they are part of the results): pi is 3.1415926, 2 pi is
// 6.2831852 and one degree 0.017453292222222222 in every formula here; an inch is 254 units.
// One consequence, intended: a path running exactly leftwards has the tangent angle pi =
// 3.14159265..., which is 5e-8 away from 3.1415926, so zig-zag mode 0 moves its nodes.
// Angles: TwirlPoint's angle is in degrees; tangent angles are radians. y-up wording:
// "counter-clockwise" is counter-clockwise with y growing upward.
//
// Degenerate and hostile input never hangs or crashes:
// - null pointers: the function does nothing;
// - a divisor below 1e-8 in magnitude (a radius, a period, the spherize limit distance) is
//   replaced by sign * 1e-8; WavePoint and ZigZagPoint leave p alone for a period that is not
//   a positive number (a negative one would never end the reduction), and reduce an offset of
//   more than kWaveMaxReductions periods with a floating remainder instead of the
//   period-by-period subtraction;
// - NaN or infinite arguments give NaN or infinite coordinates where the formula carries
//   them, never a loop that does not end;
// - resampling and subdivision are capped (kEffectMaxNodes nodes a path, kEffectMaxSplits
//   pieces a segment): beyond the cap pieces are longer than asked, never missing.
#pragma once

#include "plexa/core/types.h"
#include "plexa/geom/path.h"
#include "plexa/geom/polypoly.h"
#include "plexa/platform/export.h"

// The truncated constants of the effect formulas.
inline constexpr double kEffectPi = 3.1415926;
inline constexpr double kEffectTwoPi = 6.2831852;
inline constexpr double kEffectDegree = 0.017453292222222222;
// Resampling length unit: units per inch.
inline constexpr double kEffectUnitsPerInch = 254.0;
// Pinch, spherize and twirl first split the path so that no segment is longer than this.
inline constexpr double kEffectMaxSegmentLength = 40.0;
// Zero, coincidence and straightness; smallest divisor.
inline constexpr double kEffectEpsilon = 1e-8;
// Caps: nodes of a resampled or subdivided path, new pieces of one segment, nodes that
// GeometricEcho writes in all, whole periods removed one by one in WavePoint/ZigZagPoint.
inline constexpr long long kEffectMaxNodes = 1LL << 20;
inline constexpr long long kEffectMaxSplits = 1LL << 16;
inline constexpr long long kEchoMaxNodes = 1LL << 22;
inline constexpr int kWaveMaxReductions = 1 << 16;

// ---- Point functions ------------------------------------------------------------------
// In each, d = p - centre and r = |d|.

// Bulge (amount > 0) or pinch (amount < 0) inside the circle of the radius: the point keeps
// its direction from the centre and gets the distance m = |a| R sin x / sqrt(a^2 sin^2 x +
// cos^2 x), x = (pi/2) u / R with u = r (bulge) or R - r (pinch, and then m := R - m). A
// point on the rim stays on it. Unchanged when R <= 0, amount = 0, r = 0 or r > R.
PLEXA_API void PinchPoint(const PLEXA::CDPOINT* centre, double radius, double amount,
                          PLEXA::CDPOINT* p);
// New distance R1 sin(pi r / (2 R2)) on the same ray; a point beyond R2 is put on the circle
// of radius R1 (deliberately flattened onto the rim). The centre itself stays.
PLEXA_API void SpherizePoint(const PLEXA::CDPOINT* centre, double radius, double extent,
                             PLEXA::CDPOINT* p);
// Spherize inside a rectangle (xmin, xmax, ymin, ymax): the limit distance L is the distance
// from the centre to the rectangle's boundary along the ray through p (half sizes taken as
// magnitudes), and the new distance is R sin(pi r / (2 L)). Points beyond the boundary are not
// treated specially. The centre stays.
PLEXA_API void SpherizePoint(const PLEXA::CDRECT* rect, double radius, PLEXA::CDPOINT* p);
// Rotation about the centre by theta - 90 degrees with theta = r * angle / R degrees: every
// point, the centre included, turns a further quarter turn clockwise (y-up), as designed. No
// radius limit: points beyond R keep twisting.
PLEXA_API void TwirlPoint(const PLEXA::CDPOINT* centre, double radius, double angle,
                          PLEXA::CDPOINT* p);
// t = p.x - o.x (p.y - o.y when vertical != 0), reduced by whole periods while t > L
// (negative t is kept); adds sin(2 pi t / L) L a / 4 to p.y (to p.x when vertical).
PLEXA_API void WavePoint(const PLEXA::CDPOINT* origin, double period, double amplitude,
                         int vertical, PLEXA::CDPOINT* p);
// t reduced as for the wave, folded at L/2 (t := L - t above it); adds t a to p.y (to p.x when
// vertical): a triangle wave of peak L a / 2.
PLEXA_API void ZigZagPoint(const PLEXA::CDPOINT* origin, double period, double amplitude,
                           int vertical, PLEXA::CDPOINT* p);

// ---- Outline functions ------------------------------------------------------------------

// Split every segment longer than 40 units into floor(length / 40) + 1 equal-parameter pieces
// (straight segments with corner nodes, curves with AddPointToPolyBezier, so the shape is
// kept), then move every anchor and both controls with the point function. Attribute words
// are kept; inserted nodes have 0.
PLEXA_API void PinchOutline(const PLEXA::CDPOINT* centre, double radius, double amount,
                            CBPointArray* path);
PLEXA_API void SpherizeOutline(const PLEXA::CDPOINT* centre, double radius, double extent,
                               CBPointArray* path);
PLEXA_API void TwirlOutline(const PLEXA::CDPOINT* centre, double radius, double angle,
                            CBPointArray* path);

// Zig-zag: the path is rebuilt from corner nodes and every node is pushed by the amplitude,
// with alternating sign, in the mode's direction:
//   direction 0: along x, except where the path runs horizontally (tangent angle 0 or pi);
//   direction 1: along y, except where it runs vertically (pi/2 or 3 pi/2);
//   any other value: along the normal (tangent angle - pi/2).
// With smooth, every node is then smoothed between its neighbours (bit 0 of its attribute
// word cleared). A closed path stays closed (its last node is a copy of its first).
// The three forms differ in where the nodes go:
//   ZigZagOutline: every `step` units of arc length from the start (the length fraction in
//     a segment is used directly as the curve parameter), plus the end of an open path;
//   ZigZagOutlinePerInch: floor(length * perInch / 254 + 0.5) + 1 nodes per segment at equal
//     parameters, the segment's start included, plus the last source node of an open path;
//   ZigZagOutlinePerSegment: perSegment + 1 nodes per segment the same way.
// Nothing happens for a null or shorter than two-node path, or a spacing below 1e-8 (step,
// perInch) or below 1 (perSegment), or a path whose length is not a positive finite number.
// A step so small that the path would get more than kEffectMaxNodes nodes is widened to
// length / kEffectMaxNodes.
PLEXA_API void ZigZagOutline(double step, double amplitude, int direction, bool smooth,
                             CBPointArray* path);
PLEXA_API void ZigZagOutlinePerInch(double perInch, double amplitude, int direction, bool smooth,
                                    CBPointArray* path);
PLEXA_API void ZigZagOutlinePerSegment(int perSegment, double amplitude, int direction, bool smooth,
                                       CBPointArray* path);
// Roughen: as the zig-zag forms, with each node's push multiplied by a uniform factor in
// [-1, 1] from the standard generator (rand() brought into 0..32767). The generator is
// reseeded from the millisecond tick count at every call, so results differ from call to
// call by design (and the process-wide rand() state changes).
PLEXA_API void RoughenOutline(double step, double amplitude, int direction, bool smooth,
                              CBPointArray* path);
PLEXA_API void RoughenOutlinePerInch(double perInch, double amplitude, int direction, bool smooth,
                                     CBPointArray* path);
PLEXA_API void RoughenOutlinePerSegment(int perSegment, double amplitude, int direction,
                                        bool smooth, CBPointArray* path);

// Empties out, then appends `count` copies of src, copy i displaced by i * step along the
// nodes' normals (the average of the turned incoming and outgoing directions; the sign is
// flipped for a clockwise path so that a positive step goes the same way for both
// orientations). Offsets are taken from src, so they do not accumulate. Nothing more for a
// path of fewer than 3 nodes or count < 1; count is lowered so that out holds at most
// kEchoMaxNodes nodes. The flag argument has no effect.
PLEXA_API void GeometricEcho(const CBPointArray& src, CPolyPolyBezier& out, int count, double step,
                             bool flag);
