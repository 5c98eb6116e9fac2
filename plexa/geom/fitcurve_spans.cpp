// The fitter's cubic fits: least-squares handles, reparameterisation, reweighting, and the
// greedy cover of each run by the longest spans one cubic fits.
#include "plexa/geom/internal/fitter.h"

namespace plexa::fit {

Cubic Fitter::Solve(const Span& sp, const std::vector<double>& u,
                    const std::vector<double>& w) const {
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
    for (int k = 0; k < n; ++k) m[j][k] = aa(cols[j].end, cols[k].end) * Dot(cols[j].v, cols[k].v);
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

double Fitter::MaxError(const Span& sp, const Cubic& c, const std::vector<double>& u) const {
  double worst = 0.0;
  for (int i = sp.a + 1; i < sp.b; ++i) {
    const double d =
        Norm2(Eval(c, u[static_cast<std::size_t>(i - sp.a)]) - p_[static_cast<std::size_t>(i)]);
    if (!(d <= worst)) worst = std::isnan(d) ? HUGE_VAL : d;  // NaN counts as the worst
  }
  return std::sqrt(worst);
}

void Fitter::Reparameterise(const Span& sp, const Cubic& c, std::vector<double>& u) const {
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

void Fitter::Reweight(const Span& sp, const Cubic& c, const std::vector<double>& u,
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

bool Fitter::FitSpan(const Span& sp, Cubic& out) const {
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

Span Fitter::Candidate(const Span& run, int a, const End& ea, const Pt& pa, int b) const {
  Span sp{a, b, ea, run.eb, run.lo, run.hi, pa, run.pb};
  if (b != run.b) {
    const double w = std::max(2.0 * arm_, kFitTangentShare * (S(b) - S(a)));
    const Join j = JoinAt(b, w, run.lo, run.hi);
    sp.eb = End{true, -j.dir};
    sp.pb = j.anchor;
  }
  return sp;
}

std::vector<Segment> Fitter::FitRuns(const std::vector<Span>& runs) const {
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

}  // namespace plexa::fit
