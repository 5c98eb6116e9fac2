// The fitter's corner detection: turning angles of principal arm lines, refined corner points.
#include "plexa/geom/internal/fitter.h"

namespace plexa::fit {

Fitter::Scatter Fitter::Spread(int j0, int j1) const {
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

Fitter::Line Fitter::ArmLine(int j0, int j1) const {
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

std::vector<double> Fitter::Turning(double arm, bool full) const {
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

void Fitter::MeasureCorners() {
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

int Fitter::ArmEnd(int i, double arm, int step) const {
  int j = i;
  for (;;) {
    if (closed_ ? std::abs(j + step - i) >= m_ : (j + step < 0 || j + step > last_)) return j;
    j += step;
    if (ArmReached(i, j, arm)) return j;
  }
}

int Fitter::RefineCorner(int c) const {
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

Pt Fitter::CornerAnchor(int c) const {
  const Line back = ArmLine(ArmEnd(c, 2.0 * arm_, -1), c);
  const Line ahead = ArmLine(c, ArmEnd(c, 2.0 * arm_, 1));
  const double den = Cross(back.dir, ahead.dir);
  if (!(std::fabs(den) > kParallelSine)) return P(c);
  const double t = Cross(ahead.at - back.at, ahead.dir) / den;
  const Pt shift = back.at + back.dir * t - P(c);
  const double len = Norm(shift), limit = kFitAnchorShift * tol_;
  if (!(len <= limit)) return len > 0.0 && std::isfinite(len) ? P(c) + shift * (limit / len) : P(c);
  return P(c) + shift;
}

std::vector<int> Fitter::FindCorners() const {
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

std::vector<int> Fitter::Thin(std::vector<int> picks) const {
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

}  // namespace plexa::fit
