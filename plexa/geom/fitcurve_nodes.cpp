// The fitter's node placement: runs between corners, tangent windows and smooth joins.
#include "plexa/geom/internal/fitter.h"

namespace plexa::fit {

std::pair<int, int> Fitter::Window(int k, double w, int lo, int hi) const {
  int j0 = k - 1;
  while (j0 - 1 >= lo && S(k) - S(j0 - 1) <= w) --j0;
  int j1 = k + 1;
  while (j1 + 1 <= hi && S(j1 + 1) - S(k) <= w) ++j1;
  return {j0, j1};
}

Pt Fitter::TangentAt(int k, double w, int lo, int hi) const {
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

Join Fitter::JoinAt(int k, double w, int lo, int hi) const {
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

std::vector<Span> Fitter::PlaceNodes() const {
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

}  // namespace plexa::fit
