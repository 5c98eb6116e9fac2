// CCurveCollision: exact even-odd inside test on closed poly-Bezier outlines, computed on the
// cubic curves themselves (nothing is flattened), and a search for a point inside them.
//
//   CPolyPolyBezier set = ...;                  // outlines and holes, any orientation
//   CCurveCollision hit(set);                   // converts every segment once
//   if (hit.IsPointInCurves(PLEXA::CDPOINT(12, 30))) { ... }
//   PLEXA::CDPOINT inner;
//   if (hit.CalcInnerPoint(inner)) { ... }      // a point that passes IsPointInCurves
//
// How it works: every segment of every path becomes a BEZPROFILE (power form of x and y and
// their derivatives) split at the parameters where dy/dt = 0, so that each piece is monotone in
// y. A horizontal ray from the query point towards +x meets each piece at most once; the
// crossing is found by bisection on the parameter (tolerance kCollisionTolerance in y, at most
// kCollisionMaxBisections halvings). The answer is the parity of all counted crossings over all
// paths together (even-odd; orientation does not matter).
//
// Invariants and deliberate behaviour:
// - A path is closed when its first and last anchors are less than kCollisionTolerance apart
//   (Euclidean); it then has n - 1 segments. Any other path of n >= 2 nodes is closed
//   implicitly by an n-th, curved segment from the last node (its outgoing control) back to
//   the first node (its incoming control).
// - The crossing at a break point shared by two pieces running the same way (up-up or
//   down-down) is counted once; a horizontal tangent touching the ray counts twice (parity
//   unchanged). Each path's walk is primed with its last segment, so a crossing exactly at a
//   path's start point is counted once.
// - The bounding rectangle describes the most recently processed path only (all zero when
//   that path had fewer than two nodes), measured over the break points: exact in y, in x it
//   covers only segment ends and y extrema. CalcInnerPoint searches that rectangle, so after
//   SetCurves it only looks at the band of the last path. This is intended.
// - NaN or infinite coordinates never hang or crash: every loop is bounded by the segment
//   count and the bisection cap; the verdicts are then whatever the comparisons give.
//
// Thread safety: the queries are const and allocate only locals, so several threads may query
// one loaded object at once; loading (SetCurve, SetCurves) must not overlap any query.
//
// Speed: besides the profiles, each path keeps the bounds of its break points and each piece
// slightly widened bounds of its x range, whole and in four parameter steps. A query uses
// them to skip whole paths and to decide a piece without bisection when the point lies
// clearly left or right of where the crossing can be; the bounds are widened by more than the
// rounding of the evaluation, so the verdicts are exactly those of the plain walk
// (Intersections) on every input. Only points close to an outline pay for a bisection.
#pragma once

#include <vector>

#include "plexa/core/types.h"
#include "plexa/geom/path.h"
#include "plexa/geom/polypoly.h"
#include "plexa/platform/array.h"
#include "plexa/platform/export.h"

// Closedness of a path and the y tolerance of the crossing search (and of a flat piece).
inline constexpr double kCollisionTolerance = 1e-7;
// The crossing search stops after this many halvings even when still farther than the
// tolerance from the ray (only non-finite or astronomically large coordinates reach it).
inline constexpr int kCollisionMaxBisections = 1000;

// Real roots of c0 + c1 t + c2 t^2 = 0, written to roots (room for 2), count returned:
// c2 exactly 0: one root -c0 / c1 when c1 != 0, else none. Discriminant D = c1^2 - 4 c2 c0:
// D < 0 none; D exactly 0 one root c1 / (-2 c2); otherwise roots[0] = (sqrt(D) - c1) / (2 c2)
// and roots[1] = (-c1 - sqrt(D)) / (2 c2) (not sorted), each evaluated in the form that
// avoids cancellation (c0 / q or q / c2 with q = -(c1 + sign(c1) sqrt(D)) / 2), so a nearly
// vanishing c2 keeps its finite root. NaN input gives NaN roots or none.
PLEXA_API int SolveQuadratic(double c0, double c1, double c2, double* roots);

class PLEXA_API CCurveCollision {
 public:
  // One cubic segment in power form, split into y-monotone pieces.
  struct BEZPROFILE {
    double x[4];           // x(t) = x[0] + x[1] t + x[2] t^2 + x[3] t^3
    double y[4];           // y(t) likewise
    double dx[3];          // dx/dt coefficients (x[1], 2 x[2], 3 x[3])
    double dy[3];          // dy/dt coefficients
    double t[4];           // break parameters, ascending: 0, roots of dy/dt in (0, 1), 1
    PLEXA::CDPOINT pt[4];  // curve point at each break parameter
    int count;             // break parameters in use, 2 to 4
  };

  // Empty: no profiles, zero rectangle.
  CCurveCollision() = default;
  explicit CCurveCollision(const CBPointArray& path) { SetCurve(path); }
  explicit CCurveCollision(const CPolyPolyBezier& set) { SetCurves(set); }
  virtual ~CCurveCollision() { DeleteProfile(); }
  CCurveCollision(const CCurveCollision&) = default;
  CCurveCollision& operator=(const CCurveCollision&) = default;

  // Discards the loaded profiles, then converts the one path.
  void SetCurve(const CBPointArray& path);
  // Discards the loaded profiles, then converts every present (non-null) path in order.
  void SetCurves(const CPolyPolyBezier& set);

  // Even-odd inside test over all loaded paths; false when nothing is loaded. A point on an
  // outline may go either way.
  bool IsPointInCurves(const PLEXA::CDPOINT& p) const;
  // The same verdict by the plain walk over every profile, without the bounds shortcuts:
  // slower, kept as the reference that the fast test is checked against.
  bool IsPointInCurvesPlain(const PLEXA::CDPOINT& p) const;
  // Tries the horizontal lines at the fractions 0.5, 0.25, 0.75, 0.125, 0.375, 0.625, 0.875
  // of the rectangle's height; on each, the midpoints between consecutive crossings (sorted)
  // are tested with IsPointInCurves and the first inside one is written to pt (true). pt.y
  // receives each line's height as it is tried, so after a failure it holds the last line's
  // height while pt.x is untouched. False when nothing is loaded, when the rectangle has both
  // width and height exactly 0, or when no line gives an inside midpoint.
  bool CalcInnerPoint(PLEXA::CDPOINT& pt) const;

  // The crossings of the whole horizontal line at height y with the loaded outlines,
  // ascending, replacing the contents of xs; returns their count. They are counted by the
  // rules of IsPointInCurves (a shared break point once, a tangent twice), so for a point
  // (x, y) that is not within the tolerance of a crossing, the number of crossings greater
  // than or equal to x has the parity of IsPointInCurves. Used for scan conversion.
  int GetLineCrossings(double y, CArray<double>& xs) const;

  // The rectangle of the most recently processed path (see above).
  const PLEXA::CDRECT& GetBoundingRect() const { return m_rect; }
  // Number of profile lists (paths with at least two nodes that were converted).
  int GetProfileListCount() const { return static_cast<int>(m_lists.size()); }
  // Segment count of list i; 0 when i is out of range.
  int GetProfileCount(int i) const;

 protected:
  // Builds the profile list of one path and appends it; see the class comment. A path with
  // fewer than two nodes adds nothing (the rectangle is still reset to zero). When memory
  // for the list cannot be had, the path adds nothing.
  void ProcessCurve(const CBPointArray& path);
  // Frees every profile list and empties the list of lists (the rectangle is kept).
  void DeleteProfile();
  // d[i] = (i + 1) c[i + 1] for i = 0 .. n - 2.
  static void Derivative(const double* c, int n, double* d);
  // Counted crossings of the ray from p towards +x with one segment, updating the shared
  // hasPrev / prevDir state of the walk (the plain algorithm, without the speed-ups).
  int Intersections(const BEZPROFILE& bp, const PLEXA::CDPOINT& p, bool& hasPrev,
                    double& prevDir) const;
  // Crossings of the whole line at height y with one segment: each crossing's x is appended
  // to xs unless its direction has the sign of prevDir; prevDir is set by each recorded
  // crossing only (misses do not reset it). Returns the number appended.
  int Intersections(const BEZPROFILE& bp, double y, double& prevDir, CArray<double>& xs) const;

  // The loaded profile list i (read only); i must be in range.
  const std::vector<BEZPROFILE>& GetProfileList(int i) const {
    return m_lists[static_cast<size_t>(i)].profiles;
  }

 private:
  // Bounds of the pieces of one profile (piece k runs from break k - 1 to break k): the
  // widened x range of each piece, and of each of kSubPieces equal parameter steps of it with
  // the heights at the step ends. The bisection's last parameter lies in a step whose height
  // range, widened by window, holds the query's y; window is NaN where the coordinates are too
  // large for that to be guaranteed (then only the whole-piece bounds are used).
  static constexpr int kSubPieces = 4;
  struct PieceBounds {
    double ymin, ymax;  // of the profile's break points; NaN when one of them is NaN
    double xlo[3];
    double xhi[3];
    double window[3];
    double sy[3][kSubPieces + 1];
    double sxlo[3][kSubPieces];
    double sxhi[3][kSubPieces];
  };
  struct ProfileList {
    std::vector<BEZPROFILE> profiles;
    std::vector<PieceBounds> bounds;  // one per profile
    // Bounds of every break point (y) and every widened piece bound (x); NaN when any value
    // was not finite, which disables the whole-list shortcuts.
    double ymin = 0, ymax = 0, xmax = 0;
  };

  // The point form with the piece bounds: same verdicts as Intersections, less work.
  int FastIntersections(const BEZPROFILE& bp, const PieceBounds& b, const PLEXA::CDPOINT& p,
                        bool& hasPrev, double& prevDir) const;
  // Where the crossing of piece `piece` lies for p by the step bounds: -1 surely left of p.x,
  // 1 surely at or right of it, 0 undecided (bisect).
  static int StepSide(const PieceBounds& b, int piece, const PLEXA::CDPOINT& p);
  // The walk of one list for the line form of GetLineCrossings (with the ray's hasPrev rule).
  void LineCrossings(const BEZPROFILE& bp, double y, bool& hasPrev, double& prevDir,
                     CArray<double>& xs) const;

  std::vector<ProfileList> m_lists;
  PLEXA::CDRECT m_rect;
};
