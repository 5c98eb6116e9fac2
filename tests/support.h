// Shared predicates, builders and independent oracles for the unit tests. Test code only: it
// may use any public header of the library, and nothing in the library includes it.
//
//   #include "tests/support.h"
//   using namespace plexa::test;
//   const CBPointArray tri = Poly({{0, 0}, {10, 0}, {5, 8}, {0, 0}});
//   EXPECT_POINT_NEAR(BezierAt(tri[0], tri[1], 0.5), CDPOINT(5, 0), 1e-12);
//   EXPECT_EQ(tested.IsPointInCurves(q), DenseInside(DensePolygons({&tri}), q, nearest));
//
// The oracles share no code with the library: curves are evaluated in the plain Bernstein form
// and inside tests are the classic crossing rule on a dense flattening.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <vector>

#include "plexa/geom/path.h"
#include "plexa/geom/polypoly.h"

namespace plexa::test {

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using PLEXA::CDRECT;

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInf = std::numeric_limits<double>::infinity();

// Passes when the Euclidean distance of a and b is at most tol; prints both and the tolerance.
inline ::testing::AssertionResult PointNear(const CDPOINT& a, const CDPOINT& b, double tol) {
  if (std::hypot(a.x - b.x, a.y - b.y) <= tol) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "(" << a.x << ", " << a.y << ") vs (" << b.x << ", " << b.y << "), tolerance " << tol;
}
#define EXPECT_POINT_NEAR(a, b, tol) EXPECT_TRUE(::plexa::test::PointNear((a), (b), (tol)))

inline double Dist(const CDPOINT& a, const CDPOINT& b) {
  return std::hypot(a.x - b.x, a.y - b.y);
}

// A node whose controls sit on its anchor.
inline CBPOINT Corner(double x, double y) {
  return CBPOINT({x, y}, {x, y}, {x, y});
}
inline CBPOINT Corner(const CDPOINT& p) {
  return CBPOINT(p, p, p);
}

// A path of corner nodes (a polygon when the first point is repeated at the end).
inline CBPointArray Poly(std::initializer_list<CDPOINT> pts) {
  CBPointArray p;
  for (const CDPOINT& q : pts) p.Add(Corner(q));
  return p;
}

// An array from a list: Array<CDPOINT>({{0, 0}, {1, 2}}) is a CArray<CDPOINT, CDPOINT>.
template <typename T, typename A = CArray<T, T>>
A Array(std::initializer_list<T> items) {
  A a;
  for (const T& t : items) a.Add(t);
  return a;
}

inline CBPointArray Circle(double cx, double cy, double r) {
  CBPointArray c;
  c.CreateCircle(CDRECT(cx - r, cx + r, cy - r, cy + r));
  return c;
}

inline CBPointArray Rect(double x0, double y0, double x1, double y1) {
  CBPointArray p;
  p.CreateRect(CDRECT(x0, x1, y0, y1));
  return p;
}

// The paths of a set, for the dense oracles below (null slots included as null).
inline std::vector<const CBPointArray*> Paths(const CPolyPolyBezier& set) {
  std::vector<const CBPointArray*> v;
  for (INT_PTR i = 0; i < set.GetSize(); ++i) v.push_back(set.GetAt(static_cast<int>(i)));
  return v;
}

// The segment from node a to node b at t, in the textbook Bernstein form.
inline CDPOINT BezierAt(const CBPOINT& a, const CBPOINT& b, double t) {
  const double u = 1 - t;
  return a.anchor * (u * u * u) + a.out * (3 * u * u * t) + b.in * (3 * u * t * t) +
         b.anchor * (t * t * t);
}
inline CDPOINT BezierAt(const CDPOINT* p, double t) {
  const double u = 1 - t;
  return p[0] * (u * u * u) + p[1] * (3 * u * u * t) + p[2] * (3 * u * t * t) + p[3] * (t * t * t);
}

// Distance from q to the polyline through pts (no closing edge).
inline double DistanceToPolyline(const std::vector<CDPOINT>& pts, const CDPOINT& q) {
  double best = pts.empty() ? kInf : Dist(pts[0], q);
  for (std::size_t i = 0; i + 1 < pts.size(); ++i) {
    const CDPOINT u = pts[i], d = pts[i + 1] - pts[i];
    const double l2 = d.x * d.x + d.y * d.y;
    const double t =
        l2 > 0 ? std::clamp(((q.x - u.x) * d.x + (q.y - u.y) * d.y) / l2, 0.0, 1.0) : 0;
    best = std::min(best, Dist(u + d * t, q));
  }
  return best;
}

// Every path sampled densely (`samples` points a segment) into one closed polygon each. With
// closeOpen, a path whose ends are more than 1e-7 apart gets the closing curve from its last
// node to its first, as the curve inside test adds it.
inline std::vector<std::vector<CDPOINT>> DensePolygons(
    const std::vector<const CBPointArray*>& paths, int samples = 400, bool closeOpen = true) {
  std::vector<std::vector<CDPOINT>> out;
  for (const CBPointArray* path : paths) {
    const int n = static_cast<int>(path->GetSize());
    if (n < 2) continue;
    const bool open = Dist((*path)[0].anchor, (*path)[n - 1].anchor) >= 1e-7;
    const int segs = open && closeOpen ? n : n - 1;
    std::vector<CDPOINT> poly;
    for (int i = 0; i < segs; ++i)
      for (int k = 0; k < samples; ++k)
        poly.push_back(BezierAt((*path)[i], (*path)[(i + 1) % n], double(k) / samples));
    poly.push_back(poly[0]);
    out.push_back(std::move(poly));
  }
  return out;
}

// The classic even-odd crossing rule over all polygons; nearest receives the distance from q to
// the nearest edge, so that callers can leave out points too close to decide.
inline bool DenseInside(const std::vector<std::vector<CDPOINT>>& polys, const CDPOINT& q,
                        double& nearest) {
  bool in = false;
  nearest = kInf;
  for (const auto& poly : polys) {
    for (std::size_t i = 0; i + 1 < poly.size(); ++i) {
      const CDPOINT u = poly[i], v = poly[i + 1];
      if ((u.y > q.y) != (v.y > q.y) && q.x < u.x + (q.y - u.y) * (v.x - u.x) / (v.y - u.y))
        in = !in;
    }
    nearest = std::min(nearest, DistanceToPolyline(poly, q));
  }
  return in;
}

// Distance from p to a path: dense sampling of every segment, then golden-section refinement
// around every local minimum of the samples (unimodal that close, if the samples are dense
// enough for the folds of the curve).
inline double DistanceToPath(const CBPointArray& path, const CDPOINT& p, int samples = 96) {
  if (path.GetSize() == 0) return kInf;
  double best = Dist(path[0].anchor, p);
  std::vector<double> d(static_cast<std::size_t>(samples) + 1);
  for (int i = 0; i + 1 < path.GetSize(); ++i) {
    const auto dist = [&](double t) { return Dist(BezierAt(path[i], path[i + 1], t), p); };
    for (int k = 0; k <= samples; ++k) best = std::min(best, d[k] = dist(double(k) / samples));
    for (int k = 0; k <= samples; ++k) {
      if ((k > 0 && d[k - 1] < d[k]) || (k < samples && d[k + 1] < d[k])) continue;
      double lo = std::max(0.0, (k - 1.0) / samples), hi = std::min(1.0, (k + 1.0) / samples);
      const double g = (std::sqrt(5.0) - 1) / 2;
      for (int it = 0; it < 48; ++it) {
        const double m1 = hi - g * (hi - lo), m2 = lo + g * (hi - lo);
        const bool left = dist(m1) < dist(m2);
        (left ? hi : lo) = left ? m2 : m1;
      }
      best = std::min(best, dist((lo + hi) / 2));
    }
  }
  return best;
}

}  // namespace plexa::test
