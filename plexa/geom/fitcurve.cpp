#include "plexa/geom/fitcurve.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

#include "plexa/core/internal/numerics.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using PLEXA::kCoincide;

namespace {

using Pt = CDPOINT;

// A run whose chord is below this share of its polyline length is a loop: no cubic with
// coincident ends is tried on it.
constexpr double kLoopChordShare = 1e-9;
// Bisection for the longest run stops once the bracket is narrower than this share of the
// run found (1/kBisectShare): a few points of reach are not worth a dozen more fits.
constexpr int kBisectShare = 32;
// A fit stops early when a round gains less than this share of the pace it would need to
// reach the tolerance within the remaining rounds.
constexpr double kStallShare = 0.25;
// The direction of a corner arm is taken from at most this many of its points.
constexpr int kArmSamples = 16;
// Arms whose directions differ by less than this sine (about 6 degrees) are too close to
// parallel to place a corner at their crossing.
constexpr double kParallelSine = 0.1;
// Singular pivots of the handle system: below this share of the largest diagonal entry.
constexpr double kPivotShare = 1e-14;
// A handle at a smooth join must reach at least this share of the chord ahead along its
// tangent: a backward or vanishing one would put a cusp at the join.
constexpr double kMinSmoothHandleShare = 1e-6;
// Coordinates are rescaled by a power of two (exactly) during the computation when their
// largest magnitude exceeds this: the least-squares systems hold products of up to four
// coordinates (and sums of many), which must stay far below the double range.
constexpr double kFitRescaleAbove = 1e50;
// Lawson's step multiplies each weight by the point's error plus this share of the
// tolerance, so points the fit already meets keep some pull.
constexpr double kWeightFloor = 0.05;

using plexa::num::Cross;
using plexa::num::Dot;
// Coordinates are rescaled below 1e50, so the kernel's length takes its plain square root.
double Norm(const Pt& a) {
  return plexa::num::Length(a);
}
double Norm2(const Pt& a) {
  return a.x * a.x + a.y * a.y;
}
bool Finite(const Pt& p) {
  return plexa::num::IsFinite(p);
}
bool Coincide(const Pt& a, const Pt& b) {
  return std::fabs(a.x - b.x) < kCoincide && std::fabs(a.y - b.y) < kCoincide;
}

// Unit eigenvector of the larger eigenvalue of the covariance [[sxx, sxy], [sxy, syy]]
// (either sign); zero when the spread is the same in every direction.
Pt PrincipalAxis(double sxx, double sxy, double syy) {
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

Pt Eval(const Cubic& c, double t) {
  return plexa::num::BezierPoint(c.p[0], c.p[1], c.p[2], c.p[3], t);
}

Pt Derivative(const Cubic& c, double t) {
  return plexa::num::BezierDerivative(c.p[0], c.p[1], c.p[2], c.p[3], t);
}

Pt SecondDerivative(const Cubic& c, double t) {
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
bool SolveSmall(std::array<std::array<double, 4>, 4> m, std::array<double, 4> r, int n,
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
  Scatter Spread(int j0, int j1) const {
    const int stride = std::max(1, (j1 - j0) / kArmSamples);
    Scatter s;
    int n = 0;
    for (int j = j0; j <= j1; j += stride, ++n) s.mean += P(j) - P(j0);
    s.mean /= static_cast<double>(n);
    for (int j = j0; j <= j1; j += stride) {
      const Pt d = P(j) - P(j0) - s.mean;
      s.sxx += d.x * d.x;
      s.sxy += d.x * d.y;
      s.syy += d.y * d.y;
    }
    return s;
  }

  Line ArmLine(int j0, int j1) const {
    const Pt chord = P(j1) - P(j0);
    const double cl = Norm(chord);
    if (cl == 0.0) return {P(j0), Pt()};
    const Scatter sc = Spread(j0, j1);
    const Pt mean = sc.mean;
    const Pt e = PrincipalAxis(sc.sxx, sc.sxy, sc.syy);
    const double c = Dot(e, chord) / cl;
    // Points that turn back on themselves have no main direction; their chord is the answer.
    if (std::fabs(c) < 0.5) return {P(j0) + mean, chord / cl};
    return {P(j0) + mean, c < 0.0 ? -e : e};
  }

  Pt ArmDirection(int j0, int j1) const { return ArmLine(j0, j1).dir; }

  static double TurnAngle(const Pt& u, const Pt& v) {
    if (Norm2(u) == 0.0 || Norm2(v) == 0.0) return 0.0;
    return std::atan2(std::fabs(Cross(u, v)), Dot(u, v));
  }

  // Turning angle at every point with arms of arc length `arm`, by two pointers: O(n).
  // With `full`, a point of an open chain closer than one arm to an end turns by 0: its
  // short arm is one noisy step, not a direction.
  std::vector<double> Turning(double arm, bool full) const {
    std::vector<double> out(static_cast<std::size_t>(m_), 0.0);
    const int first = closed_ ? 0 : 1;
    const int stop = closed_ ? m_ : last_;  // exclusive
    int b = closed_ ? -m_ : 0;
    int f = 0;
    for (int i = first; i < stop; ++i) {
      // An arm ends at the first point at least `arm` away in a straight line (on a
      // staircase the walked length overstates the reach), or at twice that walked.
      const auto reached = [&](int j) { return ArmReached(i, j, arm); };
      while (b + 1 <= i - 1 && reached(b + 1)) ++b;
      f = std::max(f, i + 1);
      while (!reached(f) && (closed_ ? f < i + m_ : f < last_)) ++f;
      if (full && !closed_ && (S(i) - S(0) < arm || S(last_) - S(i) < arm)) continue;
      out[static_cast<std::size_t>(i)] = TurnAngle(ArmDirection(b, i), ArmDirection(i, f));
    }
    return out;
  }

  void MeasureCorners() {
    const std::vector<double> t1 = Turning(arm_, true);
    const std::vector<double> t2 = Turning(2.0 * arm_, false);
    // The concentrated-turn test compares full arms only: near an open end the longer arm
    // is cut short and would make any bend look concentrated.
    std::vector<double> t2full = t2;
    if (!closed_)
      for (int i = 0; i < m_; ++i)
        if (S(i) - S(0) < 2.0 * arm_ || S(last_) - S(i) < 2.0 * arm_)
          t2full[static_cast<std::size_t>(i)] = 0.0;
    sharp_ = t1;
    candidate_.resize(t1.size());
    for (std::size_t i = 0; i < t1.size(); ++i) {
      const double strength = std::min(t1[i], t2[i]);
      candidate_[i] = strength >= kFitCornerAngle ||
                      (strength >= kFitSoftCornerAngle && t2full[i] >= kFitSoftCornerAngle &&
                       t2full[i] <= kFitArcRatio * t1[i]);
    }
  }

  bool IsCandidate(int j) const { return candidate_[static_cast<std::size_t>(Wrap(j))] != 0; }

  // The index where an arm of length `arm` from point i ends, walking by `step` (+1 or -1):
  // the first point that far away in a straight line or twice that far walked, or the end
  // of an open chain.
  int ArmEnd(int i, double arm, int step) const {
    int j = i;
    for (;;) {
      if (closed_ ? std::abs(j + step - i) >= m_ : (j + step < 0 || j + step > last_)) return j;
      j += step;
      if (ArmReached(i, j, arm)) return j;
    }
  }

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
  int RefineCorner(int c) const {
    const int lo = closed_ ? c - m_ + 1 : 1;
    const int hi = closed_ ? c + m_ - 1 : last_ - 1;
    int j0 = c;
    while (j0 - 1 >= lo && S(c) - S(j0 - 1) <= 0.5 * arm_ && c - j0 < kFitMaxArmPoints / 2) --j0;
    int j1 = c;
    while (j1 + 1 <= hi && S(j1 + 1) - S(c) <= 0.5 * arm_ && j1 - c < kFitMaxArmPoints / 2) ++j1;
    int best = c;
    double bestResidual = HUGE_VAL;
    for (int j = j0; j <= j1; ++j) {
      const double r =
          LineResidual(ArmEnd(j, 2.0 * arm_, -1), j) + LineResidual(j, ArmEnd(j, 2.0 * arm_, 1));
      if (r < bestResidual) {
        bestResidual = r;
        best = j;
      }
    }
    return best;
  }

  // The anchor of the corner at point c: where the lines of its two arms (two arms long)
  // cross, moved at most kFitAnchorShift tolerances from the point, so that a corner pixel
  // off the true corner does not push the straight segments beside it out of tolerance.
  // The point itself when the arms are nearly parallel.
  Pt CornerAnchor(int c) const {
    const Line back = ArmLine(ArmEnd(c, 2.0 * arm_, -1), c);
    const Line ahead = ArmLine(c, ArmEnd(c, 2.0 * arm_, 1));
    const double den = Cross(back.dir, ahead.dir);
    if (!(std::fabs(den) > kParallelSine)) return P(c);
    const double t = Cross(ahead.at - back.at, ahead.dir) / den;
    const Pt shift = back.at + back.dir * t - P(c);
    const double len = Norm(shift), limit = kFitAnchorShift * tol_;
    if (!(len <= limit))
      return len > 0.0 && std::isfinite(len) ? P(c) + shift * (limit / len) : P(c);
    return P(c) + shift;
  }

  // The turn over the shorter arms: it peaks more sharply at a corner than the strength,
  // so it decides where in a run of candidates the corner sits.
  double Sharp(int j) const { return sharp_[static_cast<std::size_t>(Wrap(j))]; }

  // Corners: the sharpest point of each run of candidates, then of two corners closer than
  // half an arm only the sharper. Returned as sorted real indices.
  std::vector<int> FindCorners() const {
    std::vector<int> picks;
    const auto cand = [&](int j) { return IsCandidate(j); };
    if (!closed_) {
      for (int i = 1; i < last_;) {
        if (!cand(i)) {
          ++i;
          continue;
        }
        int best = i;
        for (; i < last_ && cand(i); ++i)
          if (Sharp(i) > Sharp(best)) best = i;
        picks.push_back(best);
      }
    } else {
      int start = -1;
      for (int i = 0; i < m_; ++i)
        if (!cand(i)) {
          start = i;
          break;
        }
      if (start < 0) {
        // Every point turns sharply (a polygon of few points): all are picks, and the
        // thinning below keeps the sharpest of those too close together.
        for (int i = 0; i < m_; ++i) picks.push_back(i);
      } else {
        for (int i = start + 1; i <= start + m_;) {
          if (!cand(i)) {
            ++i;
            continue;
          }
          int best = i;
          for (; i <= start + m_ && cand(i); ++i)
            if (Sharp(i) > Sharp(best)) best = i;
          picks.push_back(Wrap(best));
        }
        std::sort(picks.begin(), picks.end());
      }
    }
    // Thinned before the (costlier) placement and again after it, which can move corners.
    picks = Thin(std::move(picks));
    for (int& c : picks) c = Wrap(RefineCorner(c));
    std::sort(picks.begin(), picks.end());
    return Thin(std::move(picks));
  }

  // Of sorted corners closer than half an arm, keeps the sharper.
  std::vector<int> Thin(std::vector<int> picks) const {
    std::vector<int> kept;
    for (int c : picks) {
      if (!kept.empty() && S(c) - S(kept.back()) < 0.5 * arm_) {
        if (Sharp(c) > Sharp(kept.back())) kept.back() = c;
        continue;
      }
      kept.push_back(c);
    }
    if (closed_ && kept.size() > 1 && S(kept.front() + m_) - S(kept.back()) < 0.5 * arm_) {
      if (Sharp(kept.front()) >= Sharp(kept.back()))
        kept.pop_back();
      else
        kept.erase(kept.begin());
    }
    return kept;
  }

  // The points within arc length w of point k on either side, at least its two
  // neighbours, not past the virtual indices lo and hi.
  std::pair<int, int> Window(int k, double w, int lo, int hi) const {
    int j0 = k - 1;
    while (j0 - 1 >= lo && S(k) - S(j0 - 1) <= w) --j0;
    int j1 = k + 1;
    while (j1 + 1 <= hi && S(j1 + 1) - S(k) <= w) ++j1;
    return {j0, j1};
  }

  // Tangent (direction of travel) at point k: the principal direction of the points within
  // arc length w on either side, not looking past the virtual indices lo and hi. Away from
  // those the window is symmetric, so a steady bend does not tilt it.
  Pt TangentAt(int k, double w, int lo, int hi) const {
    const auto [j0, j1] = Window(k, w, lo, hi);
    Pt mean;
    for (int j = j0; j <= j1; ++j) mean += P(j);
    mean /= static_cast<double>(j1 - j0 + 1);
    double sxx = 0.0, sxy = 0.0, syy = 0.0;
    for (int j = j0; j <= j1; ++j) {
      const Pt d = P(j) - mean;
      sxx += d.x * d.x;
      sxy += d.x * d.y;
      syy += d.y * d.y;
    }
    Pt chord = P(j1) - P(j0);
    const double cl = Norm(chord);
    if (cl == 0.0) {
      chord = P(k + 1) - P(k - 1);
      const double c2 = Norm(chord);
      return c2 > 0.0 ? chord / c2 : Pt(1.0, 0.0);
    }
    chord /= cl;
    const Pt e = PrincipalAxis(sxx, sxy, syy);
    // An almost isotropic window (a tight turn) says little; the chord is safer then.
    const double c = Dot(e, chord);
    if (std::fabs(c) < 0.5) return chord;
    return c < 0.0 ? -e : e;
  }

  // A smooth join at point k: the tangent over the window of TangentAt, and the anchor
  // moved across the tangent onto a quadratic fitted by least squares to the window's points
  // (at most kFitAnchorShift tolerances), so that pixel steps do not pin the curve to one
  // side of the outline.
  Join JoinAt(int k, double w, int lo, int hi) const {
    const Pt t = TangentAt(k, w, lo, hi);
    const Pt nrm(-t.y, t.x);
    const auto [j0, j1] = Window(k, w, lo, hi);
    double reach = 0.0;
    for (int j = j0; j <= j1; ++j) reach = std::max(reach, std::fabs(Dot(P(j) - P(k), t)));
    if (!(reach > 0.0) || j1 - j0 < 2) return {t, P(k)};
    std::array<std::array<double, 4>, 4> m{};
    std::array<double, 4> r{}, z{};
    for (int j = j0; j <= j1; ++j) {
      const Pt d = P(j) - P(k);
      const double x = Dot(d, t) / reach, y = Dot(d, nrm);
      const double pw[3] = {1.0, x, x * x};
      for (int e = 0; e < 3; ++e) {
        for (int f = 0; f < 3; ++f) m[e][f] += pw[e] * pw[f];
        r[e] += pw[e] * y;
      }
    }
    if (!SolveSmall(m, r, 3, z)) return {t, P(k)};
    const double limit = kFitAnchorShift * tol_;
    return {t, P(k) + nrm * std::clamp(z[0], -limit, limit)};
  }

  // The node list: ends, corners and, for a closed chain, its start.
  std::vector<Span> PlaceNodes() const {
    std::vector<Span> spans;
    if (!closed_) {
      const std::vector<int> corners = FindCorners();
      std::vector<int> nodes{0};
      for (int c : corners) nodes.push_back(c);
      nodes.push_back(last_);
      // The ends stay on their points; corners take their arms' crossing.
      const auto anchor = [&](std::size_t i) {
        return i == 0 || i + 1 == nodes.size() ? P(nodes[i]) : CornerAnchor(nodes[i]);
      };
      for (std::size_t i = 0; i + 1 < nodes.size(); ++i)
        spans.push_back(
            {nodes[i], nodes[i + 1], {}, {}, nodes[i], nodes[i + 1], anchor(i), anchor(i + 1)});
      return spans;
    }
    // The start of a closed chain is always a node: a corner when it is a candidate itself
    // or a corner lies within one arm of it (the start takes that corner's place, as
    // the output must begin at the first point, instead of leaving a sliver segment), else
    // a smooth join whose tangent is measured across the closure.
    std::vector<int> corners = FindCorners();
    bool startCorner = IsCandidate(0);
    std::erase_if(corners, [&](int c) {
      const bool near = S(c) - S(0) < arm_ || S(m_) - S(c) < arm_;
      if (near) startCorner = true;
      return near;
    });
    std::vector<int> nodes{0};
    nodes.insert(nodes.end(), corners.begin(), corners.end());
    nodes.push_back(m_);
    // Around a smooth start the stretch runs from the last corner to the first, across
    // the closure; without corners it is the whole ring.
    const bool ring = nodes.size() == 2;
    const int wrapLo = ring ? -m_ + 1 : nodes[nodes.size() - 2] - m_;
    const int wrapHi = ring ? m_ - 1 : nodes[1];
    End startEnd;
    if (!startCorner) {
      startEnd.smooth = true;
      const double stretch = S(wrapHi) - S(wrapLo);
      startEnd.dir = TangentAt(0, std::max(2.0 * arm_, kFitTangentShare * stretch), wrapLo, wrapHi);
    }
    const auto anchor = [&](std::size_t i) {
      return i == 0 || i + 1 == nodes.size() ? P(nodes[i]) : CornerAnchor(nodes[i]);
    };
    for (std::size_t i = 0; i + 1 < nodes.size(); ++i) {
      Span s{nodes[i], nodes[i + 1], {}, {}, nodes[i], nodes[i + 1], anchor(i), anchor(i + 1)};
      if (i == 0 && startEnd.smooth) {
        s.ea = startEnd;
        s.lo = wrapLo;
      }
      if (i + 2 == nodes.size() && startEnd.smooth) {
        s.eb = End{true, -startEnd.dir};
        s.hi = wrapHi + m_;
      }
      spans.push_back(s);
    }
    return spans;
  }

  // Least-squares handles for run [a, b] at parameters u (u[0] = 0, u.back() = 1).
  // Weights w (one per point of the run, or empty for all 1) lean the fit towards the points
  // that the previous fit missed most.
  Cubic Solve(const Span& sp, const std::vector<double>& u,
              const std::vector<double>& w = {}) const {
    const Pt p0 = sp.pa;
    const Pt p3 = sp.pb;
    const Pt chord = p3 - p0;
    const double cl = Norm(chord);
    double a11 = 0, a12 = 0, a22 = 0;
    Pt x1, x2;
    for (int i = sp.a + 1; i < sp.b; ++i) {
      const double t = u[static_cast<std::size_t>(i - sp.a)];
      const double wi = w.empty() ? 1.0 : w[static_cast<std::size_t>(i - sp.a)];
      const double s = 1.0 - t;
      const double b0 = s * s * s, b1 = 3.0 * s * s * t, b2 = 3.0 * s * t * t, b3 = t * t * t;
      const Pt d = p_[static_cast<std::size_t>(i)] - p0 * (b0 + b1) - p3 * (b2 + b3);
      a11 += wi * b1 * b1;
      a12 += wi * b1 * b2;
      a22 += wi * b2 * b2;
      x1 += d * (wi * b1);
      x2 += d * (wi * b2);
    }
    // Columns of the system: (end, direction). A free end has two, a smooth end one.
    struct Column {
      int end;
      Pt v;
      double guess;
    };
    std::array<Column, 4> cols{};
    int n = 0;
    const Pt ex(1, 0), ey(0, 1);
    if (sp.ea.smooth) {
      cols[n++] = {0, sp.ea.dir, cl / 3.0};
    } else {
      cols[n++] = {0, ex, chord.x / 3.0};
      cols[n++] = {0, ey, chord.y / 3.0};
    }
    if (sp.eb.smooth) {
      cols[n++] = {1, sp.eb.dir, cl / 3.0};
    } else {
      cols[n++] = {1, ex, -chord.x / 3.0};
      cols[n++] = {1, ey, -chord.y / 3.0};
    }
    const auto aa = [&](int e, int f) { return e == f ? (e == 0 ? a11 : a22) : a12; };
    const double ridge = kFitRidge * (a11 + a22);
    std::array<std::array<double, 4>, 4> m{};
    std::array<double, 4> r{}, z{};
    for (int j = 0; j < n; ++j) {
      for (int k = 0; k < n; ++k)
        m[j][k] = aa(cols[j].end, cols[k].end) * Dot(cols[j].v, cols[k].v);
      m[j][j] += ridge;
      r[j] = Dot(cols[j].v, cols[j].end == 0 ? x1 : x2) + ridge * cols[j].guess;
    }
    // Without interior points (or with all of them at the ends) there is nothing to fit.
    bool ok = ridge > 0.0 && SolveSmall(m, r, n, z);
    Pt h[2];
    if (ok) {
      for (int j = 0; j < n; ++j) h[cols[j].end] += cols[j].v * z[j];
      const double limit =
          kFitMaxHandle * (s_[static_cast<std::size_t>(sp.b)] - s_[static_cast<std::size_t>(sp.a)]);
      for (int j = 0; j < n; ++j)
        if ((sp.ea.smooth && cols[j].end == 0) || (sp.eb.smooth && cols[j].end == 1))
          if (!(z[j] > kMinSmoothHandleShare * cl)) ok = false;
      if (!(Norm(h[0]) <= limit) || !(Norm(h[1]) <= limit)) ok = false;
    }
    if (!ok) {
      h[0] = h[1] = Pt();
      for (int j = 0; j < n; ++j) h[cols[j].end] += cols[j].v * cols[j].guess;
    }
    return Cubic{{p0, p0 + h[0], p3 + h[1], p3}};
  }

  // Largest distance from a point of the run to the curve at its parameter.
  double MaxError(const Span& sp, const Cubic& c, const std::vector<double>& u) const {
    double worst = 0.0;
    for (int i = sp.a + 1; i < sp.b; ++i) {
      const double d =
          Norm2(Eval(c, u[static_cast<std::size_t>(i - sp.a)]) - p_[static_cast<std::size_t>(i)]);
      if (!(d <= worst)) worst = std::isnan(d) ? HUGE_VAL : d;  // NaN counts as the worst
    }
    return std::sqrt(worst);
  }

  // One Newton step per point towards its nearest curve parameter, kept only if closer.
  void Reparameterise(const Span& sp, const Cubic& c, std::vector<double>& u) const {
    for (int i = sp.a + 1; i < sp.b; ++i) {
      double& t = u[static_cast<std::size_t>(i - sp.a)];
      const Pt p = p_[static_cast<std::size_t>(i)];
      const Pt d = Eval(c, t) - p;
      const Pt d1 = Derivative(c, t);
      const Pt d2 = SecondDerivative(c, t);
      const double den = Dot(d1, d1) + Dot(d, d2);
      if (!(std::fabs(den) > 0.0)) continue;
      const double nt = std::clamp(t - Dot(d, d1) / den, 0.0, 1.0);
      if (Norm2(Eval(c, nt) - p) < Norm2(d)) t = nt;
    }
  }

  // Lawson's step towards the minimax fit: each weight grows with its point's error, so
  // the worst points pull harder in the next least-squares fit.
  void Reweight(const Span& sp, const Cubic& c, const std::vector<double>& u,
                std::vector<double>& w) const {
    double sum = 0.0;
    for (int i = sp.a + 1; i < sp.b; ++i) {
      const std::size_t j = static_cast<std::size_t>(i - sp.a);
      w[j] *= Norm(Eval(c, u[j]) - p_[static_cast<std::size_t>(i)]) + kWeightFloor * tol_;
      sum += w[j];
    }
    if (!(sum > 0.0) || !std::isfinite(sum)) {
      std::fill(w.begin(), w.end(), 1.0);
      return;
    }
    const double norm = static_cast<double>(sp.b - sp.a - 1) / sum;
    for (double& x : w) x *= norm;
  }

  // Fits one cubic to the run within the tolerance; false when it cannot.
  bool FitSpan(const Span& sp, Cubic& out) const {
    const Pt p0 = sp.pa;
    const Pt p3 = sp.pb;
    const double len = s_[static_cast<std::size_t>(sp.b)] - s_[static_cast<std::size_t>(sp.a)];
    if (sp.b - sp.a == 1) {
      out = Solve(sp, {0.0, 1.0});
      return true;
    }
    if (!(Norm(p3 - p0) > kLoopChordShare * len)) return false;
    std::vector<double> u(static_cast<std::size_t>(sp.b - sp.a + 1));
    for (int i = sp.a; i <= sp.b; ++i)
      u[static_cast<std::size_t>(i - sp.a)] =
          (s_[static_cast<std::size_t>(i)] - s_[static_cast<std::size_t>(sp.a)]) / len;
    u.back() = 1.0;
    Cubic c = Solve(sp, u);
    double err = MaxError(sp, c, u);
    // The first errors are measured at chord-length parameters, which on a long run can be
    // far from each point's nearest parameter: the hopelessness test waits for the plain
    // rounds.
    std::vector<double> w(u.size(), 1.0);
    for (int it = 0; it < kFitMaxReparam && err > tol_; ++it) {
      if (it >= kFitPlainRounds && !(err < kFitReparamLimit * tol_)) break;
      Reparameterise(sp, c, u);
      if (it >= kFitPlainRounds) Reweight(sp, c, u, w);
      c = Solve(sp, u, w);
      const double before = err;
      err = MaxError(sp, c, u);
      // Stalled: the remaining rounds would not close the gap at this pace.
      const int left = kFitMaxReparam - 1 - it;
      if (it >= kFitPlainRounds && before - err < (err - tol_) / std::max(1, left) * kStallShare)
        break;
    }
    if (!(err <= tol_)) return false;
    out = c;
    return true;
  }

  // The run a..b starting at anchor pa, its end b a smooth join inside the stretch of
  // `run` (or run's own end).
  Span Candidate(const Span& run, int a, const End& ea, const Pt& pa, int b) const {
    Span sp{a, b, ea, run.eb, run.lo, run.hi, pa, run.pb};
    if (b != run.b) {
      const double w = std::max(2.0 * arm_, kFitTangentShare * (S(b) - S(a)));
      const Join j = JoinAt(b, w, run.lo, run.hi);
      sp.eb = End{true, -j.dir};
      sp.pb = j.anchor;
    }
    return sp;
  }

  // Covers each run between fixed nodes greedily: from each node, the longest stretch that
  // one cubic fits, found by doubling the length and then bisecting.
  std::vector<Segment> FitRuns(const std::vector<Span>& runs) const {
    std::vector<Segment> segs;
    // Neighbouring segments tend to be alike: the search starts from the last one's length.
    int guess = kFitFirstStep;
    for (const Span& run : runs) {
      int a = run.a;
      End ea = run.ea;
      Pt pa = run.pa;
      while (a < run.b) {
        Segment best{Candidate(run, a, ea, pa, a + 1), Cubic{}};
        FitSpan(best.span, best.cubic);  // two points always fit
        int good = a + 1;
        int bad = -1;
        for (int step = guess; good < run.b; step *= 2) {
          const int b = std::min(run.b, a + step);
          Segment trial{Candidate(run, a, ea, pa, b), Cubic{}};
          if (!FitSpan(trial.span, trial.cubic)) {
            bad = b;
            break;
          }
          best = trial;
          good = b;
        }
        while (bad > good + 1 + (good - a) / kBisectShare) {
          const int b = good + (bad - good) / 2;
          Segment trial{Candidate(run, a, ea, pa, b), Cubic{}};
          if (FitSpan(trial.span, trial.cubic)) {
            best = trial;
            good = b;
          } else {
            bad = b;
          }
        }
        segs.push_back(best);
        guess = std::max(kFitFirstStep, good - a);
        a = good;
        ea = End{best.span.eb.smooth, -best.span.eb.dir};
        pa = best.span.pb;
      }
    }
    return segs;
  }

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

}  // namespace

void FitCurve(const CDPOINT* points, int count, CBPointArray* path, double tolerance) {
  if (path == nullptr) return;
  path->RemoveAll();
  if (points == nullptr || count <= 0) return;

  std::vector<Pt> pts;
  pts.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i)
    if (Finite(points[i])) pts.push_back(points[i]);
  if (pts.empty()) return;
  const Pt first = pts.front();
  const Pt last = pts.back();

  if (pts.size() == 1) {
    path->Add(CBPOINT(first, first, first));
    return;
  }

  // Merge consecutive repeats, keeping the first of each run.
  std::vector<Pt> d;
  d.reserve(pts.size());
  for (const Pt& p : pts)
    if (d.empty() || !Coincide(d.back(), p)) d.push_back(p);
  if (d.size() == 1) {
    path->Add(CBPOINT(first, first, first));
    path->Add(CBPOINT(last, last, last));
    return;
  }
  const bool closed = d.size() >= 4 && Coincide(d.front(), d.back());
  if (closed) d.back() = d.front();

  double maxAbs = 0.0;
  for (const Pt& p : d) maxAbs = std::max({maxAbs, std::fabs(p.x), std::fabs(p.y)});
  // NaN fails the comparison too. Below the precision floor rounding would decide.
  double tol = tolerance > 0.0 ? tolerance : kFitMinTolerance;
  tol = std::max({tol, kFitMinTolerance, kFitPrecisionFloor * maxAbs});
  int exponent = 0;
  if (maxAbs > kFitRescaleAbove) {
    exponent = std::ilogb(maxAbs);
    for (Pt& p : d) p = Pt(std::ldexp(p.x, -exponent), std::ldexp(p.y, -exponent));
    tol = std::ldexp(tol, -exponent);
  }

  Fitter fitter(std::move(d), closed, tol);
  const std::vector<Segment> segs = fitter.Run();

  // Handles of a fit near the top of the double range could scale back past it: they are
  // held at the largest finite value, so the path stays finite.
  const auto back = [exponent](const Pt& p) {
    constexpr double kMax = std::numeric_limits<double>::max();
    return Pt(std::clamp(std::ldexp(p.x, exponent), -kMax, kMax),
              std::clamp(std::ldexp(p.y, exponent), -kMax, kMax));
  };
  path->SetSize(static_cast<INT_PTR>(segs.size() + 1));
  CBPOINT* nodes = path->GetData();
  for (std::size_t i = 0; i < segs.size(); ++i) {
    nodes[i].anchor = back(segs[i].cubic.p[0]);
    nodes[i].out = back(segs[i].cubic.p[1]);
    nodes[i + 1].in = back(segs[i].cubic.p[2]);
    nodes[i + 1].anchor = back(segs[i].cubic.p[3]);
  }
  CBPOINT& head = nodes[0];
  CBPOINT& tail = nodes[segs.size()];
  head.anchor = first;
  tail.anchor = last;
  if (closed) {
    head.in = tail.in;
    tail.out = head.out;
  } else {
    head.in = head.anchor;
    tail.out = tail.anchor;
  }
}
