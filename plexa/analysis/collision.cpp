#include "plexa/analysis/collision.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "plexa/core/internal/numerics.h"
#include "plexa/platform/internal/grow.h"

using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

// The piece bounds are widened by this many units in the last place of the sum of the
// coefficient magnitudes: far more than the rounding of one power-form evaluation at a
// parameter in [0, 1] or of the re-expansion about a parameter (some tens of units at most),
// so a point outside the widened bound is outside the value the bisection would compute.
inline constexpr double kBoundUlps = 256.0;
// The step bounds are used only while the y coefficients' magnitudes sum to less than this:
// then one unit in the last place of the parameter moves y by far less than the crossing
// tolerance, so the bisection always ends within the tolerance of the query's height.
inline constexpr double kStepBoundsMaxMagnitude = 1e7;
// The CalcInnerPoint line heights, as fractions of the rectangle's height, in trial order.
inline constexpr double kInnerLineFractions[7] = {0.5, 0.25, 0.75, 0.125, 0.375, 0.625, 0.875};

// A bound on the rounding of one power-form evaluation at a parameter in [0, 1], given the sum
// of the coefficients' magnitudes: relative for normal numbers, plus an absolute part for
// subnormal ones (whose rounding is absolute).
inline double RoundingMargin(double mag) {
  return kBoundUlps *
         (std::numeric_limits<double>::epsilon() * mag + std::numeric_limits<double>::denorm_min());
}

// c0 + c1 t + c2 t^2 + c3 t^3, in that order of terms.
inline double Eval(const double* c, double t) {
  return plexa::num::PowerSum(c, t);
}

inline int Sign(double v) {
  return (v > 0) - (v < 0);
}

// Ascending with NaN last, a strict weak order even for non-finite input.
void SortAscending(CArray<double>& xs) {
  std::sort(xs.GetData(), xs.GetData() + xs.GetSize(),
            [](double a, double b) { return a < b || (std::isnan(b) && !std::isnan(a)); });
}

// Bisection of piece k of bp for the height y; returns the x of the crossing.
double CrossingX(const CCurveCollision::BEZPROFILE& bp, int k, double y) {
  const double y0 = bp.pt[k - 1].y, y1 = bp.pt[k].y;
  const bool rising = y1 > y0;
  double lo = bp.t[k - 1], hi = bp.t[k];
  double t = (lo + hi) / 2;
  for (int steps = 0; steps < kCollisionMaxBisections; ++steps) {
    const double yt = Eval(bp.y, t);
    if (!(std::fabs(yt - y) > kCollisionTolerance)) break;
    if (rising ? (yt > y) : (y > yt))
      hi = t;
    else
      lo = t;
    t = (lo + hi) / 2;
  }
  return Eval(bp.x, (lo + hi) / 2);
}

// Bounds of x over [ta, tb]: the hull of the control points of that part of the curve (the
// power form re-expanded about ta), widened by the rounding margin. No roots are involved, so
// the bound holds however badly conditioned the segment is.
void PieceXRange(const CCurveCollision::BEZPROFILE& bp, double ta, double tb, double& lo,
                 double& hi) {
  const double* c = bp.x;
  const double h = tb - ta;
  const double a0 = Eval(c, ta);
  const double a1 = h * (c[1] + 2 * c[2] * ta + 3 * c[3] * ta * ta);
  const double a2 = h * h * (c[2] + 3 * c[3] * ta);
  const double a3 = h * h * h * c[3];
  const double b1 = a0 + a1 / 3, b2 = a0 + (2 * a1 + a2) / 3, b3 = a0 + a1 + a2 + a3;
  const double xb = Eval(c, tb);
  lo = std::min({a0, b1, b2, b3, xb});
  hi = std::max({a0, b1, b2, b3, xb});
  const double mag = std::fabs(c[0]) + std::fabs(c[1]) + std::fabs(c[2]) + std::fabs(c[3]);
  const double margin = RoundingMargin(mag);
  lo -= margin;
  hi += margin;
  // Non-finite values: make both shortcuts fail (every comparison with NaN is false).
  if (!std::isfinite(lo) || !std::isfinite(hi)) lo = hi = std::numeric_limits<double>::quiet_NaN();
}

}  // namespace

int SolveQuadratic(double c0, double c1, double c2, double* roots) {
  return plexa::num::SolveQuadratic(c0, c1, c2, roots);
}

void CCurveCollision::SetCurve(const CBPointArray& path) {
  DeleteProfile();
  ProcessCurve(path);
}

void CCurveCollision::SetCurves(const CPolyPolyBezier& set) {
  DeleteProfile();
  for (INT_PTR i = 0; i < set.GetSize(); ++i)
    if (const CBPointArray* path = set.GetAt(static_cast<int>(i))) ProcessCurve(*path);
}

void CCurveCollision::DeleteProfile() {
  m_lists.clear();
}

int CCurveCollision::GetProfileCount(int i) const {
  if (i < 0 || i >= static_cast<int>(m_lists.size())) return 0;
  return static_cast<int>(m_lists[static_cast<size_t>(i)].profiles.size());
}

void CCurveCollision::Derivative(const double* c, int n, double* d) {
  for (int i = 0; i + 1 < n; ++i) d[i] = (i + 1) * c[i + 1];
}

void CCurveCollision::ProcessCurve(const CBPointArray& path) {
  m_rect = CDRECT();
  const INT_PTR n = path.GetSize();
  if (n < 2) return;
  const PLEXA::CBPOINT* nodes = path.GetData();
  const CDPOINT first = nodes[0].anchor, last = nodes[n - 1].anchor;
  const bool closed = plexa::num::Dist(first, last) < kCollisionTolerance;
  const INT_PTR segments = closed ? n - 1 : n;

  ProfileList list;
  try {
    list.profiles.resize(static_cast<size_t>(segments));
    list.bounds.resize(static_cast<size_t>(segments));
  } catch (const std::bad_alloc&) {
    return;
  }
  bool finite = true;
  double ymin = 0, ymax = 0, xmax = 0;
  for (INT_PTR i = 0; i < segments; ++i) {
    const PLEXA::CBPOINT& a = nodes[i];
    const PLEXA::CBPOINT& b = nodes[(i + 1) % n];
    const CDPOINT p0 = a.anchor, p1 = a.out, p2 = b.in, p3 = b.anchor;
    BEZPROFILE& bp = list.profiles[static_cast<size_t>(i)];
    plexa::num::PowerForm(p0.x, p1.x, p2.x, p3.x, bp.x);
    plexa::num::PowerForm(p0.y, p1.y, p2.y, p3.y, bp.y);
    Derivative(bp.x, 4, bp.dx);
    Derivative(bp.y, 4, bp.dy);

    double roots[2];
    const int nr = SolveQuadratic(bp.dy[0], bp.dy[1], bp.dy[2], roots);
    bp.count = 0;
    bp.t[bp.count++] = 0.0;
    for (int r = 0; r < nr; ++r)
      if (roots[r] > 0.0 && roots[r] < 1.0) bp.t[bp.count++] = roots[r];
    bp.t[bp.count++] = 1.0;
    std::sort(bp.t, bp.t + bp.count);
    for (int k = 0; k < bp.count; ++k) bp.pt[k] = CDPOINT(Eval(bp.x, bp.t[k]), Eval(bp.y, bp.t[k]));
    for (int k = bp.count; k < 4; ++k) {
      bp.t[k] = 0.0;
      bp.pt[k] = CDPOINT();
    }

    for (int k = 0; k < bp.count; ++k) {
      const CDPOINT& q = bp.pt[k];
      if (i == 0 && k == 0) {
        m_rect = CDRECT(q.x, q.x, q.y, q.y);
      } else {
        m_rect.xmin = std::min(m_rect.xmin, q.x);
        m_rect.xmax = std::max(m_rect.xmax, q.x);
        m_rect.ymin = std::min(m_rect.ymin, q.y);
        m_rect.ymax = std::max(m_rect.ymax, q.y);
      }
      if (!std::isfinite(q.y)) finite = false;
      if (i == 0 && k == 0) ymin = ymax = q.y;
      ymin = std::min(ymin, q.y);
      ymax = std::max(ymax, q.y);
    }
    PieceBounds& pb = list.bounds[static_cast<size_t>(i)];
    pb = PieceBounds{};
    pb.ymin = pb.ymax = bp.pt[0].y;
    for (int k = 1; k < bp.count; ++k) {
      pb.ymin = std::min(pb.ymin, bp.pt[k].y);
      pb.ymax = std::max(pb.ymax, bp.pt[k].y);
    }
    // A NaN height must never reject: the plain walk does not skip a piece beside NaN.
    for (int k = 0; k < bp.count; ++k)
      if (std::isnan(bp.pt[k].y)) pb.ymin = pb.ymax = std::numeric_limits<double>::quiet_NaN();
    const double ymag =
        std::fabs(bp.y[0]) + std::fabs(bp.y[1]) + std::fabs(bp.y[2]) + std::fabs(bp.y[3]);
    const double ymargin = RoundingMargin(ymag);
    for (int k = 1; k < bp.count; ++k) {
      const int piece = k - 1;
      PieceXRange(bp, bp.t[k - 1], bp.t[k], pb.xlo[piece], pb.xhi[piece]);
      if (std::isnan(pb.xhi[piece]))
        finite = false;
      else if (i == 0 && k == 1)
        xmax = pb.xhi[piece];
      else
        xmax = std::max(xmax, pb.xhi[piece]);
      // Steps: the last parameter of a converged bisection has a computed height within the
      // tolerance of the query's, and a true height within ymargin of that.
      const double ta = bp.t[k - 1], tb = bp.t[k];
      bool usable = ymag < kStepBoundsMaxMagnitude && !std::isnan(pb.xhi[piece]);
      for (int j = 0; j <= kSubPieces; ++j) {
        const double tj = j == kSubPieces ? tb : ta + (tb - ta) * j / kSubPieces;
        pb.sy[piece][j] = Eval(bp.y, tj);
        if (j > 0) {
          const double tp = ta + (tb - ta) * (j - 1) / kSubPieces;
          PieceXRange(bp, tp, tj, pb.sxlo[piece][j - 1], pb.sxhi[piece][j - 1]);
          if (std::isnan(pb.sxhi[piece][j - 1])) usable = false;
        }
      }
      pb.window[piece] =
          usable ? kCollisionTolerance + 4 * ymargin : std::numeric_limits<double>::quiet_NaN();
    }
  }
  if (!finite) ymin = ymax = xmax = std::numeric_limits<double>::quiet_NaN();
  list.ymin = ymin;
  list.ymax = ymax;
  list.xmax = xmax;
  try {
    m_lists.push_back(std::move(list));
  } catch (const std::bad_alloc&) {
  }
}

int CCurveCollision::Intersections(const BEZPROFILE& bp, const CDPOINT& p, bool& hasPrev,
                                   double& prevDir) const {
  int count = 0;
  for (int k = 1; k < bp.count; ++k) {
    const double y0 = bp.pt[k - 1].y, y1 = bp.pt[k].y;
    if ((p.y < y0 && p.y < y1) || (p.y > y0 && p.y > y1)) {
      hasPrev = false;
      continue;
    }
    if (std::fabs(y0 - y1) < kCollisionTolerance) continue;
    const double x = CrossingX(bp, k, p.y);
    if (p.x > x) {
      hasPrev = false;
      continue;
    }
    const double dir = y1 - y0;
    if (hasPrev && Sign(dir) == Sign(prevDir)) continue;
    hasPrev = true;
    prevDir = dir;
    ++count;
  }
  return count;
}

int CCurveCollision::StepSide(const PieceBounds& b, int piece, const CDPOINT& p) {
  const double w = b.window[piece];
  if (!(w >= 0)) return 0;
  double lo = std::numeric_limits<double>::infinity(), hi = -lo;
  for (int j = 0; j < kSubPieces; ++j) {
    const double ya = b.sy[piece][j], yb = b.sy[piece][j + 1];
    if (p.y >= std::min(ya, yb) - w && p.y <= std::max(ya, yb) + w) {
      lo = std::min(lo, b.sxlo[piece][j]);
      hi = std::max(hi, b.sxhi[piece][j]);
    }
  }
  if (!(lo <= hi)) return 0;
  if (p.x > hi) return -1;
  if (p.x <= lo) return 1;
  return 0;
}

int CCurveCollision::FastIntersections(const BEZPROFILE& bp, const PieceBounds& b, const CDPOINT& p,
                                       bool& hasPrev, double& prevDir) const {
  // Wholly above or below the point: every piece would reset.
  if (p.y < b.ymin || p.y > b.ymax) {
    hasPrev = false;
    return 0;
  }
  int count = 0;
  for (int k = 1; k < bp.count; ++k) {
    const double y0 = bp.pt[k - 1].y, y1 = bp.pt[k].y;
    if ((p.y < y0 && p.y < y1) || (p.y > y0 && p.y > y1)) {
      hasPrev = false;
      continue;
    }
    if (std::fabs(y0 - y1) < kCollisionTolerance) continue;
    // The bisection stays inside the piece, so its x lies within the widened bounds: a point
    // right of them sees the crossing on its left, a point left of them on its right.
    if (p.x > b.xhi[k - 1]) {
      hasPrev = false;
      continue;
    }
    if (!(p.x <= b.xlo[k - 1])) {
      const int side = StepSide(b, k - 1, p);
      if (side < 0 || (side == 0 && p.x > CrossingX(bp, k, p.y))) {
        hasPrev = false;
        continue;
      }
    }
    const double dir = y1 - y0;
    if (hasPrev && Sign(dir) == Sign(prevDir)) continue;
    hasPrev = true;
    prevDir = dir;
    ++count;
  }
  return count;
}

bool CCurveCollision::IsPointInCurvesPlain(const CDPOINT& p) const {
  int total = 0;
  for (const ProfileList& list : m_lists) {
    if (list.profiles.empty()) continue;
    bool hasPrev = false;
    double prevDir = 0;
    Intersections(list.profiles.back(), p, hasPrev, prevDir);
    int sum = 0;
    for (const BEZPROFILE& bp : list.profiles) sum += Intersections(bp, p, hasPrev, prevDir);
    total += sum & 1;
  }
  return (total & 1) != 0;
}

bool CCurveCollision::IsPointInCurves(const CDPOINT& p) const {
  if (m_lists.empty()) return false;
  int total = 0;
  for (const ProfileList& list : m_lists) {
    if (list.profiles.empty()) continue;
    // Wholly above, below or left of the point: every piece resets and none counts.
    if (p.y < list.ymin || p.y > list.ymax || p.x > list.xmax) continue;
    const BEZPROFILE* profiles = list.profiles.data();
    const PieceBounds* bounds = list.bounds.data();
    const size_t n = list.profiles.size();
    bool hasPrev = false;
    double prevDir = 0;
    FastIntersections(profiles[n - 1], bounds[n - 1], p, hasPrev, prevDir);
    int sum = 0;
    for (size_t i = 0; i < n; ++i)
      sum += FastIntersections(profiles[i], bounds[i], p, hasPrev, prevDir);
    total += sum & 1;
  }
  return (total & 1) != 0;
}

int CCurveCollision::Intersections(const BEZPROFILE& bp, double y, double& prevDir,
                                   CArray<double>& xs) const {
  int count = 0;
  for (int k = 1; k < bp.count; ++k) {
    const double y0 = bp.pt[k - 1].y, y1 = bp.pt[k].y;
    if ((y < y0 && y < y1) || (y > y0 && y > y1)) continue;
    if (std::fabs(y0 - y1) < kCollisionTolerance) continue;
    const double x = CrossingX(bp, k, y);
    const double dir = y1 - y0;
    if (Sign(dir) == Sign(prevDir)) continue;
    plexa::grow::Append(xs, x);
    prevDir = dir;
    ++count;
  }
  return count;
}

void CCurveCollision::LineCrossings(const BEZPROFILE& bp, double y, bool& hasPrev, double& prevDir,
                                    CArray<double>& xs) const {
  for (int k = 1; k < bp.count; ++k) {
    const double y0 = bp.pt[k - 1].y, y1 = bp.pt[k].y;
    if ((y < y0 && y < y1) || (y > y0 && y > y1)) {
      hasPrev = false;
      continue;
    }
    if (std::fabs(y0 - y1) < kCollisionTolerance) continue;
    const double dir = y1 - y0;
    const double x = CrossingX(bp, k, y);
    if (hasPrev && Sign(dir) == Sign(prevDir)) continue;
    hasPrev = true;
    prevDir = dir;
    plexa::grow::Append(xs, x);
  }
}

int CCurveCollision::GetLineCrossings(double y, CArray<double>& xs) const {
  xs.SetSize(0);
  CArray<double> discard;
  for (const ProfileList& list : m_lists) {
    if (list.profiles.empty() || y < list.ymin || y > list.ymax) continue;
    bool hasPrev = false;
    double prevDir = 0;
    LineCrossings(list.profiles.back(), y, hasPrev, prevDir, discard);
    discard.SetSize(0);
    for (const BEZPROFILE& bp : list.profiles) LineCrossings(bp, y, hasPrev, prevDir, xs);
  }
  SortAscending(xs);
  return static_cast<int>(xs.GetSize());
}

bool CCurveCollision::CalcInnerPoint(CDPOINT& pt) const {
  if (m_lists.empty()) return false;
  if (m_rect.Width() == 0 && m_rect.Height() == 0) return false;
  CArray<double> xs, discard;
  for (const double f : kInnerLineFractions) {
    const double y = m_rect.ymin + f * (m_rect.ymax - m_rect.ymin);
    pt.y = y;
    xs.SetSize(0);
    for (const ProfileList& list : m_lists) {
      if (list.profiles.empty()) continue;
      double prevDir = 0;
      discard.SetSize(0);
      Intersections(list.profiles.back(), y, prevDir, discard);
      for (const BEZPROFILE& bp : list.profiles) Intersections(bp, y, prevDir, xs);
    }
    SortAscending(xs);
    for (INT_PTR i = 0; i + 1 < xs.GetSize(); ++i) {
      const CDPOINT mid((xs[i] + xs[i + 1]) / 2, y);
      if (IsPointInCurves(mid)) {
        pt = mid;
        return true;
      }
    }
  }
  return false;
}
