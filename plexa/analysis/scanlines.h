// CCurveScanLines: fill lines for cutting and engraving hosts. Given a set of closed
// poly-Bezier outlines, a line spacing and an angle, it gives the even-odd inside spans along
// parallel scan lines, as line segments or joined into serpentine polylines, and the plain
// crossings of each scan line for scan conversion. Everything is computed on the curves
// themselves (the y-monotone pieces of CCurveCollision), never on a flattened copy.
//
//   CCurveScanLines fill(set, 2.0, M_PI / 4);    // lines 2 units apart, rising at 45 degrees
//   CArray<PLEXA::CDLINE> spans;
//   fill.GetAllSpans(spans, true);               // line by line, every other line reversed
//   CPolyPolyDPoint paths;
//   fill.GetSerpentine(paths);                   // spans joined where the join stays inside
//
// Geometry: the outlines are rotated by -angle into a scan frame (u along the lines, v across
// them: u = x cos a + y sin a, v = -x sin a + y cos a), where the scan lines are horizontal.
// Scan line k lies at v = (k + phase) * spacing for every integer k with that level inside
// the outlines' exact v range. The grid is anchored at v = 0, not at the shape, so shapes
// filled with the same spacing, angle and phase share one continuous line pattern; the default
// phase 0.5 keeps lines off the grid origin. An angle of exactly 0 leaves coordinates
// untouched (u = x, v = y).
//
// Inside rule: exactly that of CCurveCollision::IsPointInCurves on the rotated outlines
// (even-odd over all paths; an open path is closed by a curved segment from its last node to
// its first). Crossings of one line are counted by the same rules (a shared break point once,
// a horizontal tangent twice) and sorted; spans are the pairs (c0, c1), (c2, c3), ...; an odd
// last crossing (possible only through the tolerance of nearly flat pieces) is dropped, and
// so are spans of zero length. A point on a line that is farther than the crossing tolerance
// from every crossing is inside a span exactly when IsPointInCurves holds for it (with the
// angle 0; at other angles up to the rounding of the rotation).
//
// Serpentine joins: a chain starts at the first unused span of the lowest line, runs it left
// to right, and steps to the next line when an unused span there overlaps the current span
// along u and the straight connector from the current end to that span's near end stays
// inside within the join tolerance tol (a distance; by default spacing / 20): the connector's
// midpoint must lie in a span of the scan line through it, widened by tol at both ends, and
// no outline may pass from farther than tol on one side of the connector to farther than tol
// on the other, except within tol of the connector's ends (which lie on the outline). Both
// tests solve the curves exactly. So a connector may run outside the outline by up to about
// tol: the chord across a concave stretch of outline (around a hole) is accepted when its
// sagitta is below tol; with tolerance 0 only connectors inside or along a straight outline
// are. Among candidates the one whose near end is closest wins; the chain then runs that span
// the other way, and so on.
//
// Failure and bounds: SetCurves refuses (false, nothing loaded) a spacing that is not finite
// and positive, a non-finite angle or phase, outlines with non-finite coordinates, and more
// than 1,000,000 lines. Cost: each line's crossings take O(pieces) plus one bisection per
// crossing (see CCurveCollision); a serpentine join check takes O(segments).
//
// Thread safety: the queries are const; loading must not overlap them.
#pragma once

#include <vector>

#include "plexa/analysis/collision.h"
#include "plexa/core/types.h"
#include "plexa/geom/polypoly.h"
#include "plexa/platform/array.h"
#include "plexa/platform/export.h"

class PLEXA_API CCurveScanLines {
 public:
  CCurveScanLines() = default;
  CCurveScanLines(const CPolyPolyBezier& set, double spacing, double angle, double phase = 0.5) {
    SetCurves(set, spacing, angle, phase);
  }

  // Loads (a rotated copy of) the outlines; false and nothing loaded on the refusals above.
  // Null paths and paths of fewer than two nodes are ignored.
  bool SetCurves(const CPolyPolyBezier& set, double spacing, double angle, double phase = 0.5);

  // Number of scan lines (0 when nothing is loaded); some may have no spans.
  int GetLineCount() const { return m_lineCount; }
  // Level v of line i in the scan frame; 0 when i is out of range.
  double GetLineLevel(int i) const;
  double GetSpacing() const { return m_spacing; }
  double GetAngle() const { return m_angle; }

  // The crossings of line i as u positions along it (scan frame), ascending, replacing us;
  // returns the count (0 for i out of range). With the angle 0 these are the x crossings of
  // the horizontal line y = GetLineLevel(i).
  int GetCrossings(int i, CArray<double>& us) const;
  // The same for any level v of the scan frame.
  int GetCrossingsAt(double v, CArray<double>& us) const;
  // Maps a scan-frame position back to the plane.
  PLEXA::CDPOINT ToPlane(double u, double v) const;
  // Maps a plane point into the scan frame (x = u, y = v).
  PLEXA::CDPOINT ToScan(const PLEXA::CDPOINT& p) const;

  // Appends the inside spans of line i (plane coordinates), in increasing u, each running
  // towards increasing u; returns how many were appended.
  int GetSpans(int i, CArray<PLEXA::CDLINE>& spans) const;
  // All spans, line by line in increasing v, replacing spans. With alternate, every other
  // line (the second, fourth, ...) is listed in decreasing u with each span reversed, so a
  // tool moving span to span zig-zags instead of returning to one side.
  void GetAllSpans(CArray<PLEXA::CDLINE>& spans, bool alternate) const;
  // The spans joined into serpentine polylines (see above), replacing the set's contents;
  // every span appears in exactly one polyline, as two consecutive points. A negative
  // tolerance means the default, spacing * 0.05.
  void GetSerpentine(CPolyPolyDPoint& polylines, double tolerance = -1) const;

  // The inside test the spans follow, in plane coordinates.
  bool IsPointInside(const PLEXA::CDPOINT& p) const {
    return m_loaded && m_hit.IsPointInCurves(ToScan(p));
  }

 private:
  struct Span {
    double u0, u1;
  };
  void LineSpans(int i, std::vector<Span>& out) const;
  bool ConnectorInside(const PLEXA::CDPOINT& a, const PLEXA::CDPOINT& b, double tol) const;

  CPolyPolyBezier m_scan;  // the outlines in the scan frame
  CCurveCollision m_hit;   // profiles of m_scan
  bool m_loaded = false;
  double m_spacing = 0, m_angle = 0, m_phase = 0.5;
  double m_cos = 1, m_sin = 0;
  double m_firstLine = 0;  // k of line 0 (an integer, kept as a double: it may exceed any int)
  int m_lineCount = 0;
};
