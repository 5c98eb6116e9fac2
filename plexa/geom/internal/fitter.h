// The curve fitter's working parts, shared by its stage files: chains of points and their
// arc lengths, corner detection (fitcurve_corners.cpp), node placement and tangents
// (fitcurve_nodes.cpp), cubic fits of the runs between nodes (fitcurve_spans.cpp), and the
// entry point (fitcurve.cpp). Private: never installed, never included by a public header.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

#include "plexa/core/internal/numerics.h"
#include "plexa/geom/fitcurve.h"

namespace plexa::fit {

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using PLEXA::kCoincide;

using Pt = CDPOINT;

// A run whose chord is below this share of its polyline length is a loop: no cubic with
// coincident ends is tried on it.
inline constexpr double kLoopChordShare = 1e-9;
// Bisection for the longest run stops once the bracket is narrower than this share of the
// run found (1/kBisectShare): a few points of reach are not worth a dozen more fits.
inline constexpr int kBisectShare = 32;
// A fit stops early when a round gains less than this share of the pace it would need to
// reach the tolerance within the remaining rounds.
inline constexpr double kStallShare = 0.25;
// The direction of a corner arm is taken from at most this many of its points.
inline constexpr int kArmSamples = 16;
// Arms whose directions differ by less than this sine (about 6 degrees) are too close to
// parallel to place a corner at their crossing.
inline constexpr double kParallelSine = 0.1;
// Singular pivots of the handle system: below this share of the largest diagonal entry.
inline constexpr double kPivotShare = 1e-14;
// A handle at a smooth join must reach at least this share of the chord ahead along its
// tangent: a backward or vanishing one would put a cusp at the join.
inline constexpr double kMinSmoothHandleShare = 1e-6;
// Coordinates are rescaled by a power of two (exactly) during the computation when their
// largest magnitude exceeds this: the least-squares systems hold products of up to four
// coordinates (and sums of many), which must stay far below the double range.
inline constexpr double kFitRescaleAbove = 1e50;
// Lawson's step multiplies each weight by the point's error plus this share of the
// tolerance, so points the fit already meets keep some pull.
inline constexpr double kWeightFloor = 0.05;

using plexa::num::Cross;
using plexa::num::Dot;
// Coordinates are rescaled below 1e50, so the kernel's length takes its plain square root.
inline double Norm(const Pt& a) {
  return plexa::num::Length(a);
}
inline double Norm2(const Pt& a) {
  return a.x * a.x + a.y * a.y;
}
inline bool Finite(const Pt& p) {
  return plexa::num::IsFinite(p);
}
inline bool Coincide(const Pt& a, const Pt& b) {
  return std::fabs(a.x - b.x) < kCoincide && std::fabs(a.y - b.y) < kCoincide;
}

// Unit eigenvector of the larger eigenvalue of the covariance [[sxx, sxy], [sxy, syy]]
// (either sign); zero when the spread is the same in every direction.
inline Pt PrincipalAxis(double sxx, double sxy, double syy) {
  const double half = 0.5 * (sxx - syy);
  const double r = std::sqrt(half * half + sxy * sxy);
  if (!(r > 0.0)) return Pt();
  // Of the two equivalent forms, the one whose large component does not cancel.
  const Pt e = half >= 0.0 ? Pt(half + r, sxy) : Pt(sxy, r - half);
  return e / Norm(e);
}

struct Cubic {
  std::array<Pt, 4> p;
};

inline Pt Eval(const Cubic& c, double t) {
  return plexa::num::BezierPoint(c.p[0], c.p[1], c.p[2], c.p[3], t);
}

inline Pt Derivative(const Cubic& c, double t) {
  return plexa::num::BezierDerivative(c.p[0], c.p[1], c.p[2], c.p[3], t);
}

inline Pt SecondDerivative(const Cubic& c, double t) {
  return (c.p[2] - c.p[1] * 2.0 + c.p[0]) * (6.0 * (1.0 - t)) +
         (c.p[3] - c.p[2] * 2.0 + c.p[1]) * (6.0 * t);
}

// How a run meets its end node: a corner leaves the handle free; a smooth join fixes the
// handle's direction (unit vector pointing from the anchor into the run).
struct End {
  bool smooth = false;
  Pt dir;
};

// A run of points a..b fitted by one cubic. lo..hi (virtual indices) is the stretch between
// the corners around it, where tangent windows may look.
struct Span {
  int a = 0;
  int b = 0;
  End ea;
  End eb;
  int lo = 0;
  int hi = 0;
  Pt pa;  // anchors: the data points, except at smooth joins (see JoinAt)
  Pt pb;
};

// A smooth join: its tangent (direction of travel) and its anchor.
struct Join {
  Pt dir;
  Pt anchor;
};

struct Segment {
  Span span;
  Cubic cubic;
};

// Solves the small dense system m z = r (n <= 4) by Gaussian elimination with partial
// pivoting; false when a pivot is negligible or the answer is not finite.
inline bool SolveSmall(std::array<std::array<double, 4>, 4> m, std::array<double, 4> r, int n,
                       std::array<double, 4>& z) {
  double scale = 0.0;
  for (int i = 0; i < n; ++i) scale = std::max(scale, std::fabs(m[i][i]));
  if (!(scale > 0.0) || !std::isfinite(scale)) return false;
  for (int col = 0; col < n; ++col) {
    int piv = col;
    for (int row = col + 1; row < n; ++row)
      if (std::fabs(m[row][col]) > std::fabs(m[piv][col])) piv = row;
    if (!(std::fabs(m[piv][col]) > kPivotShare * scale)) return false;
    std::swap(m[piv], m[col]);
    std::swap(r[piv], r[col]);
    for (int row = col + 1; row < n; ++row) {
      const double f = m[row][col] / m[col][col];
      for (int k = col; k < n; ++k) m[row][k] -= f * m[col][k];
      r[row] -= f * r[col];
    }
  }
  for (int row = n - 1; row >= 0; --row) {
    double v = r[row];
    for (int k = row + 1; k < n; ++k) v -= m[row][k] * z[k];
    z[row] = v / m[row][row];
    if (!std::isfinite(z[row])) return false;
  }
  return true;
}

class Fitter {
 public:
  // pts: distinct consecutive points; closed: pts.back() repeats pts.front().
  Fitter(std::vector<Pt> pts, bool closed, double tol)
      : p_(std::move(pts)), closed_(closed), tol_(tol) {
    last_ = static_cast<int>(p_.size()) - 1;
    m_ = closed_ ? last_ : static_cast<int>(p_.size());
    s_.assign(p_.size(), 0.0);
    for (std::size_t i = 1; i < p_.size(); ++i) s_[i] = s_[i - 1] + Norm(p_[i] - p_[i - 1]);
    total_ = s_.back();
    // Corner arms: long enough to see past pixel steps (a few point spacings, at least one
    // tolerance), never longer than needed to see past noise the size of the tolerance.
    std::vector<double> steps(p_.size() - 1);
    for (std::size_t i = 0; i + 1 < p_.size(); ++i) steps[i] = s_[i + 1] - s_[i];
    std::nth_element(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2),
                     steps.end());
    const double spacing = steps[steps.size() / 2];
    arm_ = std::min(kFitCornerArm * tol_, std::max(tol_, kFitCornerSpacing * spacing));
    arm_ = std::min(arm_, std::max(tol_, total_ * kFitCornerArmShare));
  }

  std::vector<Segment> Run() {
    MeasureCorners();
    return FitRuns(PlaceNodes());
  }

 private:
  // Index helpers: a closed chain is walked cyclically through virtual indices (any
  // integer), an open chain is clamped to its ends.
  int Wrap(int j) const {
    if (!closed_) return std::clamp(j, 0, last_);
    const int r = j % m_;
    return r < 0 ? r + m_ : r;
  }
  Pt P(int j) const { return p_[static_cast<std::size_t>(Wrap(j))]; }
  double S(int j) const {
    if (!closed_) return s_[static_cast<std::size_t>(Wrap(j))];
    const int w = Wrap(j);
    return s_[static_cast<std::size_t>(w)] + static_cast<double>((j - w) / m_) * total_;
  }

  // A straight line through points: a point on it and its unit direction.
  struct Line {
    Pt at;
    Pt dir;
  };

  // The principal line of the points j0..j1 (virtual indices), oriented from j0 to j1, from
  // at most kArmSamples of them evenly spread. Every point of a staircase pulls, so pixel
  // steps tilt it far less than they tilt a chord. Zero direction when the ends coincide.
  // Mean (relative to point j0) and second moments of the points j0..j1, at most
  // kArmSamples of them.
  struct Scatter {
    Pt mean;
    double sxx = 0.0, sxy = 0.0, syy = 0.0;
  };
  Scatter Spread(int j0, int j1) const;

  Line ArmLine(int j0, int j1) const;

  Pt ArmDirection(int j0, int j1) const { return ArmLine(j0, j1).dir; }

  static double TurnAngle(const Pt& u, const Pt& v) {
    if (Norm2(u) == 0.0 || Norm2(v) == 0.0) return 0.0;
    return std::atan2(std::fabs(Cross(u, v)), Dot(u, v));
  }

  // Turning angle at every point with arms of arc length `arm`, by two pointers: O(n).
  // With `full`, a point of an open chain closer than one arm to an end turns by 0: its
  // short arm is one noisy step, not a direction.
  std::vector<double> Turning(double arm, bool full) const;

  void MeasureCorners();

  bool IsCandidate(int j) const { return candidate_[static_cast<std::size_t>(Wrap(j))] != 0; }

  // The index where an arm of length `arm` from point i ends, walking by `step` (+1 or -1):
  // the first point that far away in a straight line or twice that far walked, or the end
  // of an open chain.
  int ArmEnd(int i, double arm, int step) const;

  // Whether an arm from point i ends at point j: j is `arm` away in a straight line, or
  // twice that walked, or kFitMaxArmPoints points on.
  bool ArmReached(int i, int j, double arm) const {
    return Norm(P(j) - P(i)) >= arm || std::fabs(S(j) - S(i)) >= 2.0 * arm ||
           std::abs(j - i) >= kFitMaxArmPoints;
  }

  // Sum of squared distances of the points j0..j1 (at most kArmSamples of them) from their
  // principal line: how far they are from lying on one straight line.
  double LineResidual(int j0, int j1) const {
    const Scatter sc = Spread(j0, j1);
    const double half = 0.5 * (sc.sxx - sc.syy);
    return 0.5 * (sc.sxx + sc.syy) - std::sqrt(half * half + sc.sxy * sc.sxy);
  }

  // Moves a corner found at c, within half an arm, to the point where the outline splits
  // best into two straight arms (two arms long each side): on a staircase the sharpest
  // turn can sit a pixel off the true corner, which would leave the straight segments on
  // either side out of tolerance next to it.
  int RefineCorner(int c) const;

  // The anchor of the corner at point c: where the lines of its two arms (two arms long)
  // cross, moved at most kFitAnchorShift tolerances from the point, so that a corner pixel
  // off the true corner does not push the straight segments beside it out of tolerance.
  // The point itself when the arms are nearly parallel.
  Pt CornerAnchor(int c) const;

  // The turn over the shorter arms: it peaks more sharply at a corner than the strength,
  // so it decides where in a run of candidates the corner sits.
  double Sharp(int j) const { return sharp_[static_cast<std::size_t>(Wrap(j))]; }

  // Corners: the sharpest point of each run of candidates, then of two corners closer than
  // half an arm only the sharper. Returned as sorted real indices.
  std::vector<int> FindCorners() const;

  // Of sorted corners closer than half an arm, keeps the sharper.
  std::vector<int> Thin(std::vector<int> picks) const;

  // The points within arc length w of point k on either side, at least its two
  // neighbours, not past the virtual indices lo and hi.
  std::pair<int, int> Window(int k, double w, int lo, int hi) const;

  // Tangent (direction of travel) at point k: the principal direction of the points within
  // arc length w on either side, not looking past the virtual indices lo and hi. Away from
  // those the window is symmetric, so a steady bend does not tilt it.
  Pt TangentAt(int k, double w, int lo, int hi) const;

  // A smooth join at point k: the tangent over the window of TangentAt, and the anchor
  // moved across the tangent onto a quadratic fitted by least squares to the window's points
  // (at most kFitAnchorShift tolerances), so that pixel steps do not pin the curve to one
  // side of the outline.
  Join JoinAt(int k, double w, int lo, int hi) const;

  // The node list: ends, corners and, for a closed chain, its start.
  std::vector<Span> PlaceNodes() const;

  // Least-squares handles for run [a, b] at parameters u (u[0] = 0, u.back() = 1).
  // Weights w (one per point of the run, or empty for all 1) lean the fit towards the points
  // that the previous fit missed most.
  Cubic Solve(const Span& sp, const std::vector<double>& u,
              const std::vector<double>& w = {}) const;

  // Largest distance from a point of the run to the curve at its parameter.
  double MaxError(const Span& sp, const Cubic& c, const std::vector<double>& u) const;

  // One Newton step per point towards its nearest curve parameter, kept only if closer.
  void Reparameterise(const Span& sp, const Cubic& c, std::vector<double>& u) const;

  // Lawson's step towards the minimax fit: each weight grows with its point's error, so
  // the worst points pull harder in the next least-squares fit.
  void Reweight(const Span& sp, const Cubic& c, const std::vector<double>& u,
                std::vector<double>& w) const;

  // Fits one cubic to the run within the tolerance; false when it cannot.
  bool FitSpan(const Span& sp, Cubic& out) const;

  // The run a..b starting at anchor pa, its end b a smooth join inside the stretch of
  // `run` (or run's own end).
  Span Candidate(const Span& run, int a, const End& ea, const Pt& pa, int b) const;

  // Covers each run between fixed nodes greedily: from each node, the longest stretch that
  // one cubic fits, found by doubling the length and then bisecting.
  std::vector<Segment> FitRuns(const std::vector<Span>& runs) const;

  std::vector<Pt> p_;
  std::vector<double> s_;
  std::vector<double> sharp_;
  std::vector<unsigned char> candidate_;
  bool closed_;
  int last_ = 0;
  int m_ = 0;
  double total_ = 0.0;
  double tol_;
  double arm_ = 0.0;
};

}  // namespace plexa::fit
