// CBezier: one cubic Bezier segment with its flattening resolution, the working object for
// every evaluation, length, flattening and split of a path segment. CBezierPoint: one path
// node with the edits a drawing host applies to it (move, rotate, stretch, smooth).
//
//   CBezier seg(path[i], path[i + 1]);            // anchor, out of node i; in, anchor of i + 1
//   double len = seg.GetLength();                 // Simpson's rule, 10 intervals
//   CArray<PLEXA::CDPOINT, PLEXA::CDPOINT> pts;
//   seg.GetPolyline(pts);                         // adaptive flattening, appended
//   double t = seg.GetNearestCurvePointT(p);      // exact nearest parameter, in [0, 1]
//
// Invariants: a segment is its four points P0..P3 (start anchor, first control, second
// control, end anchor), a resolution (default 1.0: the flattening tolerance in coordinate
// units) and the expand-straight-lines flag (default true). Every constructor sets
// resolution 1.0 and expand true. Nothing is validated: any double is accepted, and NaN or
// infinite coordinates give NaN or infinite answers, never a hang (every loop and recursion
// below is bounded and says so).
//
// Thread safety: every member works on the object and the stack only. Arc-length samples are
// computed per call (there are no shared sample tables), so length computations may run on
// several threads at once.
//
// The nearest-point members (GetNearestCurvePoint*) are implemented with the line clipper in
// plexa/geom/nearest.cpp; see plexa/geom/nearest.h.
#pragma once

#include "plexa/core/types.h"
#include "plexa/platform/array.h"
#include "plexa/platform/export.h"

// Flattening: a piece is flat when all three control legs are at most the effective
// resolution. Once a list holds more than this many points every further piece is appended
// as it stands.
inline constexpr INT_PTR kFlattenPointCeiling = 100000;
// Flattening: a piece still not flat at this recursion depth is appended as it stands. Only
// non-finite coordinates, a resolution that is 0, negative or NaN, or legs above 2^64 times
// the resolution reach it, and all of those also reach the point ceiling; it keeps their
// recursion and output finite.
inline constexpr int kMaxFlattenDepth = 64;

class PLEXA_API CBezier {
 public:
  // All four points (0, 0).
  CBezier() = default;
  // P0 = a.anchor, P1 = a.out, P2 = b.in, P3 = b.anchor.
  CBezier(const PLEXA::CBPOINT& a, const PLEXA::CBPOINT& b);
  CBezier(const PLEXA::CDPOINT& p0, const PLEXA::CDPOINT& p1, const PLEXA::CDPOINT& p2,
          const PLEXA::CDPOINT& p3);

  const PLEXA::CDPOINT& GetPoint0() const { return m_p[0]; }
  const PLEXA::CDPOINT& GetPoint1() const { return m_p[1]; }
  const PLEXA::CDPOINT& GetPoint2() const { return m_p[2]; }
  const PLEXA::CDPOINT& GetPoint3() const { return m_p[3]; }
  // The four points P0..P3, contiguous.
  const PLEXA::CDPOINT* GetPoints() const { return m_p; }
  // Replaces point i; i must be 0..3 (unchecked).
  void SetPoint(const PLEXA::CDPOINT& p, int i) { m_p[i] = p; }
  void SetPoints(const PLEXA::CDPOINT pts[4]);
  void SetResolution(double r) { m_resolution = r; }
  double GetResolution() const { return m_resolution; }
  void SetExpandStraightLines(bool expand) { m_expandStraightLines = expand; }
  bool GetExpandStraightLines() const { return m_expandStraightLines; }

  // Bernstein form. t = 0 returns P0 and t = 1 returns P3 exactly, untouched; t is not
  // clamped, so other values outside [0, 1] extrapolate the cubic.
  PLEXA::CDPOINT GetCurvePoint(double t) const;
  // The same point by de Casteljau interpolation (may differ from GetCurvePoint in the last
  // bits, including at 0 and 1 for non-finite points).
  PLEXA::CDPOINT GetCurvePoint2(double t) const;
  // GetCurvePoint(_GetCurveT(p)).
  PLEXA::CDPOINT _GetCurvePoint(const PLEXA::CDPOINT& p) const;
  // A node at t: anchor B(t), incoming control the left half's P2, outgoing control the
  // right half's P1 (so inserting it splits the segment without changing its shape);
  // attribute word 0.
  PLEXA::CBPOINT GetCurveBPoint(double t) const;
  // atan2(dy, dx) of the derivative at t, in radians; exactly t = 0 uses 0.001 and exactly
  // t = 1 uses 0.999. A segment with all points equal gives atan2(0, 0) = 0.
  double GetCurveTangentAngle(double t) const;

  // Power basis per axis: B(t) = a[0] + a[1] t + a[2] t^2 + a[3] t^3.
  void CalcBezierConstants(double ax[4], double ay[4]) const;
  // Exact bounds of the curve for t in [0, 1], per axis: the range of the end values a0 and
  // a0 + a1 + a2 + a3, widened by B at each root in [0, 1] of the derivative (solved as a
  // linear equation when 3 a3 is exactly 0; otherwise by the discriminant, the two roots
  // computed in the cancellation-free form, so an almost-quadratic curve keeps its extremum).
  // xmin <= xmax and ymin <= ymax for finite input.
  PLEXA::CDRECT CalcTightRect() const;
  PLEXA::CDRECT CalcTightRect(const double ax[4], const double ay[4]) const;

  // GetLength(0, 1, 10).
  double GetLength() const;
  // Arc length from t0 to t1 by Simpson's rule on n intervals. Deliberately, an odd n drops
  // its last interval and n <= 1 gives 0. n above 65,536 is taken as 65,536.
  // Negative when t1 < t0.
  double GetLength(double t0, double t1, int n) const;
  // Parameter whose arc length GetLength(0, t, 10) from 0 equals len, by bisection on
  // [0, 1] (at most 1,000 rounds). Near 0 for len <= 0, near 1 for len beyond the length;
  // a NaN len gives 0.5 (NaN speed samples count as 0, so NaN points still end in [0, 1]).
  double GetTFromLength(double len) const;
  // Summed GetLength() of the first n segments of a path (all segments when n < 0 or
  // n >= count - 1); 0 for fewer than 2 nodes or n = 0. Takes any node array, so a
  // CBPointArray path is accepted as it is.
  static double GetBPointArrayLength(const CArray<PLEXA::CBPOINT, PLEXA::CBPOINT>& path, int n);

  // Adaptive flattening, appended to list. An empty list first receives P0. Then:
  // - expand straight lines false and both control legs below 1e-8: only P3 is appended;
  // - otherwise pieces are halved at t = 0.5 (left half first) until each control leg is at
  //   most the effective resolution, and each flat piece appends its P1, P2, P3 (the control
  //   points are kept as polyline points, deliberately). The effective resolution is raised
  //   for long chords |P0P3|: to at least 3 above 2,000, 5 above 5,000, 10 above 10,000,
  //   100 above 100,000.
  // Bounds: once the list holds more than kFlattenPointCeiling points, and at depth
  // kMaxFlattenDepth, pieces are appended as they stand; a call appends at most about
  // 100,000 + 3 * 64 points plus what the list held.
  void GetPolyline(CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& list) const;
  // Uniform flattening: empties list, then P0, B(i/n) for 0 < i < n, P3, where n is 20 when
  // |GetL(10) - GetL(20)| <= resolution, else the first of 40, 80, ..., 20,480 with
  // |GetL(10) - GetL(n)| <= resolution (always against GetL(10), deliberately), else 20,480.
  void GetPolylineEx(CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& list) const;

  // De Casteljau split at t (a + (b - a) t at each level). Both halves take this segment's
  // resolution and flag. left or right may be this object.
  void Split(double t, CBezier& left, CBezier& right) const;
  // The piece between t0 and t1, running from t0 to t1 (reversed when t0 > t1). lo =
  // min(t0, t1) = 1 is not guarded and gives non-finite points.
  void Split(double t0, double t1, CBezier& part) const;

  // Parameter of the nearest sampled point: scan t = 0, 0.01, ... while t <= 1 (first least
  // distance wins), then 8 rounds each rescanning [best - s, best + s] (clipped to [0, 1])
  // at a tenth of the step s; only a strictly smaller distance replaces the best. 0 when
  // every distance is NaN.
  double _GetCurveT(const PLEXA::CDPOINT& p) const;

  // Reshapes the segment so that it passes through p at t (clamped to [0, 1]; a NaN t does
  // nothing). At an end (within 1e-8) the anchor moves to p and its control moves with it.
  // Otherwise a straight segment first gets handles along its chord, then the control on
  // the far side of t is moved by a weighted share of the miss and the near control is
  // solved so that B(t) = p.
  void DragToPoint(double t, const PLEXA::CDPOINT& p);

  // ---- Nearest point (plexa/geom/nearest.cpp) ----
  // Parameter in [0, 1] of the curve point nearest p by root isolation of the fifth-degree
  // (B(t) - p) . B'(t): candidates t = 0, every root in order (a strictly smaller squared
  // distance wins), then t = 1 (only when strictly nearer). Roots are clamped into [0, 1]
  // before they compete. Root isolation recurses to depth 64 at most and
  // visits a bounded number of polygons. The flatness threshold (2^-65) and the +-1e-8
  // denominator guard are absolute, as designed, so accuracy depends on the segment's size:
  // measured on random segments, distances agree with a dense scan to 1e-9 of the size for
  // sizes from 0.1 to 30,000 units, drift to 1e-4 at 1e6 and fail below about 0.01.
  // GetNearestCurvePointT2 is accurate at every scale.
  double GetNearestCurvePointT(const PLEXA::CDPOINT& p) const;
  // GetCurvePoint(GetNearestCurvePointT(p)).
  PLEXA::CDPOINT GetNearestCurvePoint(const PLEXA::CDPOINT& p) const;
  // The nearest parameter in [0, 1] at any scale: roots of the same quintic on a copy scaled
  // to unit size, each polished by Newton steps, with the two ends as candidates. Stores
  // the distance |B(t) - p| in *dist when dist is not null. Non-finite input: 0, with the
  // (non-finite) distance to P0.
  double GetNearestCurvePointT2(const PLEXA::CDPOINT& p, double* dist) const;
  // GetCurvePoint(GetNearestCurvePointT2(p, dist)).
  PLEXA::CDPOINT GetNearestCurvePoint2(const PLEXA::CDPOINT& p, double* dist) const;

 protected:
  // Length of the chord polygon P0, B(1/n), ..., B((n-1)/n), P3; |P0P3| for n <= 1.
  double GetL(int n) const;
  // Collects GetPolyline's points and appends them to the list in blocks; carries the
  // flatness test at the effective resolution.
  struct FlattenSink;
  // The recursive step of GetPolyline on one piece.
  void GetBArray(const PLEXA::CBEZIER* piece, FlattenSink& sink, int depth) const;

 private:
  PLEXA::CDPOINT m_p[4];
  double m_resolution = 1.0;
  bool m_expandStraightLines = true;
};

// One node and the edits a host applies to it. Holds a copy of the node (attribute word
// included) and nothing else; read it back with GetBPoint().
class PLEXA_API CBezierPoint {
 public:
  CBezierPoint() = default;
  explicit CBezierPoint(const PLEXA::CBPOINT& node) : m_node(node) {}

  const PLEXA::CBPOINT& GetBPoint() const { return m_node; }
  operator const PLEXA::CBPOINT&() const { return m_node; }  // NOLINT: reads like the node

  // Node with each of the six coordinates a + (b - a) t; attribute word 0.
  static PLEXA::CBPOINT Lerp(double t, const PLEXA::CBPOINT& a, const PLEXA::CBPOINT& b);

  // Subtracts (dx, dy) from all three points: the node moves by -d. Intended; hosts pass the
  // offset in this sense.
  void Move(double dx, double dy);
  void Move(const PLEXA::CDPOINT& d);
  // The planar Rotate (counter-clockwise positive) of each of the three points.
  void Rotate(double cx, double cy, double angle);
  // The planar Stretch of each of the three points about the centre.
  void Stretch(const PLEXA::CDPOINT& centre, double sx, double sy);
  // Replaces both controls so the node is smooth between its neighbours: with a =
  // GetLinesAngle(prev, anchor, next) and r = pi/2 - a/2 (r - pi when |r| >= pi/2), the
  // incoming control is (2 anchor + prev)/3 rotated about the anchor by r, the outgoing
  // control (2 anchor + next)/3 rotated by -r. Anchor and attribute word are kept.
  void Smooth(const PLEXA::CDPOINT& prev, const PLEXA::CDPOINT& next);
  // False when either control is closer than PLEXA::kHandleDistinct (0.1) to the anchor;
  // otherwise true when the anchor is closer than 0.1 to the line
  // through the two controls.
  bool IsSmooth() const;

 private:
  PLEXA::CBPOINT m_node;
};
