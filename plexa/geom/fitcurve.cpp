#include "plexa/geom/fitcurve.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "plexa/geom/internal/fitter.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using namespace plexa::fit;  // NOLINT: the fitter's private parts

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
