#include "plexa/analysis/intersect.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

#include "plexa/analysis/preview.h"
#include "plexa/platform/gdi.h"
#include "tests/support.h"

using PLEXA::CBPOINT;
using PLEXA::CDLINE;
using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

using namespace plexa::test;

CArray<CDPOINT> Line(std::initializer_list<CDPOINT> pts) {
  return Array<CDPOINT>(pts);
}

// The whole list, element by element within tol (0: exact).
void ExpectValues(const CArray<double>& got, std::initializer_list<double> want, double tol) {
  ASSERT_EQ(got.GetSize(), static_cast<INT_PTR>(want.size()));
  int i = 0;
  for (double w : want) {
    EXPECT_NEAR(got[i], w, tol) << "element " << i;
    ++i;
  }
}

double Horner(const double c[4], double t) {
  return c[0] + t * (c[1] + t * (c[2] + t * c[3]));
}

}  // namespace

TEST(PathIntersections, SegmentAgainstLineIsInclusiveAndSkipsParallels) {
  // Zig-zag through (10, 0): the vertical line x = 10 hits the shared vertex from both sides.
  const CArray<CDPOINT> zig = Line({{0, -10}, {10, 0}, {20, -10}, {30, 0}, {40, 0}});
  CArray<double> s;
  s.Add(-7);  // appended to, never cleared
  FindLineIntersections(zig, CDLINE(CDPOINT(10, 10), CDPOINT(10, -10)), s);
  ExpectValues(s, {-7, 0.5, 0.5}, 1e-15);
  // Lying on the last segment (collinear) reports nothing for it; the end of the line just
  // touching a segment (s = 1) counts.
  s.RemoveAll();
  FindLineIntersections(zig, CDLINE(CDPOINT(35, 0), CDPOINT(45, 0)), s);
  EXPECT_EQ(s.GetSize(), 0);
  FindLineIntersections(zig, CDLINE(CDPOINT(5, 10), CDPOINT(5, -5)), s);
  ExpectValues(s, {1.0}, 1e-15);  // meets the first segment at (5, -5), its own end
  // Unsorted in segment order for a polyline; the set form sorts everything.
  s.RemoveAll();
  const CArray<CDPOINT> back = Line({{0, 10}, {0, -10}, {20, -10}, {20, 10}});
  FindLineIntersections(back, CDLINE(CDPOINT(30, 0), CDPOINT(-10, 0)), s);
  ExpectValues(s, {0.75, 0.25}, 1e-15);

  CPolyPolyBezier set;
  CBPointArray sq;
  sq.CreateRect(CDRECT(0, 10, 0, 10));
  set.Add(new CBPointArray(sq));
  set.Add(nullptr);
  sq.CreateRect(CDRECT(20, 30, 0, 10));
  set.Add(new CBPointArray(sq));
  s.RemoveAll();
  FindLineIntersections(set, CDLINE(CDPOINT(40, 3), CDPOINT(-10, 3)), s);
  ExpectValues(s, {0.2, 0.4, 0.6, 0.8}, 1e-12);  // x = 30, 20, 10, 0 along the line
}

TEST(PathIntersections, FindNextIntersectionIncludesItsStart) {
  CPolyPolyDPoint set;
  set.Add(new CArray<CDPOINT>(Line({{0, -5}, {0, 5}, {10, 5}, {10, -5}})));
  set.Add(nullptr);
  set.Add(new CArray<CDPOINT>(Line({{20, -5}, {20, 5}})));
  const CDLINE line(CDPOINT(-10, 0), CDPOINT(30, 0));
  int poly = -3, seg = -1;
  double s = -1;
  // Found or not, the polyline and segment reached, and the parameter along the line.
  const auto next = [&] {
    const bool found = FindNextIntersection(set, line, poly, seg, s);
    return std::tuple(found, poly, seg, s);
  };
  EXPECT_EQ(next(), std::tuple(true, 0, 0, 0.25));
  EXPECT_EQ(next(), std::tuple(true, 0, 0, 0.25));  // same call, same crossing
  ++seg;
  EXPECT_EQ(next(), std::tuple(true, 0, 2, 0.5));
  ++seg;  // past the end of polyline 0: the absent one is skipped, the third starts at 0
  EXPECT_EQ(next(), std::tuple(true, 2, 0, 0.75));
  poly = 3;
  EXPECT_FALSE(std::get<0>(next()));

  // Against a rectangle: the parameter is along the side that was hit.
  const CArray<CDPOINT> path = Line({{-5, 5}, {2, 5}, {5, 5}, {5, 15}});
  const CDRECT rect(0, 10, 0, 10);
  int k = 0;
  double t = -1;
  const auto nextOnRect = [&] {
    const bool found = FindNextIntersection(path, rect, k, t);
    return std::tuple(found, k, t);
  };
  EXPECT_EQ(nextOnRect(),
            std::tuple(true, 0, 0.5));  // the side (xmin, ymax) -> (xmin, ymin), halfway
  k = 1;
  EXPECT_EQ(nextOnRect(), std::tuple(true, 2, 0.5));  // (xmax, ymax) -> (xmin, ymax) at x = 5
  k = 3;
  EXPECT_EQ(std::get<0>(nextOnRect()), false);
  EXPECT_EQ(k, 3);
}

TEST(PathIntersections, PolynomialRootsByMonotoneIntervals) {
  // (t - 0.2)(t - 0.5)(t - 0.7) = t^3 - 1.4 t^2 + 0.59 t - 0.07
  const double c[4] = {-0.07, 0.59, -1.4, 1.0};
  double r[4];
  // Roots in [lo, hi] as a list, to compare whole answers.
  const auto roots = [&r](const double* p, double lo, double hi) {
    const int n = FindPolynomialRoots(p, lo, hi, r);
    return std::vector<double>(r, r + std::max(n, 0));
  };
  const auto near = [](const std::vector<double>& got, const std::vector<double>& want) {
    bool ok = got.size() == want.size();
    for (std::size_t i = 0; ok && i < got.size(); ++i) ok = std::fabs(got[i] - want[i]) <= 1e-14;
    return ok;
  };
  EXPECT_TRUE(near(roots(c, 0, 1), {0.2, 0.5, 0.7}));
  EXPECT_TRUE(near(roots(c, 0.3, 0.6), {0.5}));
  EXPECT_TRUE(roots(c, 1, 0).empty());  // reversed interval
  // A double root where the derivative vanishes too is reported once (exactly).
  const double sq[4] = {0.25, -1.0, 1.0, 0.0};  // (t - 0.5)^2
  EXPECT_EQ(roots(sq, 0, 1), std::vector<double>{0.5});
  // Linear, constant zero (both ends) and no root.
  const double lin[4] = {-1, 4, 0, 0}, zero[4] = {0, 0, 0, 0}, none[4] = {1, 0, 1, 0};
  EXPECT_EQ(roots(lin, 0, 1), std::vector<double>{0.25});
  EXPECT_EQ(roots(zero, 0, 1), (std::vector<double>{0.0, 1.0}));
  EXPECT_TRUE(roots(none, 0, 1).empty());
  const double nan = std::numeric_limits<double>::quiet_NaN(),
               inf = std::numeric_limits<double>::infinity();
  const double bad[4] = {nan, 1, inf, -inf};
  EXPECT_LE(FindPolynomialRoots(bad, 0, 1, r), 4);

  // Random cubics: every root found is a sign change to the last bit, and their number equals
  // the sign changes of a dense sampling (where those are clear of the roots).
  std::mt19937 rng(3);
  std::uniform_real_distribution<double> u(-1, 1);
  for (int trial = 0; trial < 500; ++trial) {
    const double p[4] = {u(rng), u(rng) * 4, u(rng) * 8, u(rng) * 8};
    const int n = FindPolynomialRoots(p, 0, 1, r);
    int changes = 0;
    double prev = Horner(p, 0);
    bool clear = std::fabs(prev) > 1e-6 && std::fabs(Horner(p, 1)) > 1e-6;
    for (int k = 1; k <= 4000; ++k) {
      const double v = Horner(p, k / 4000.0);
      if (std::fabs(v) < 1e-6) clear = false;
      if ((v > 0) != (prev > 0)) ++changes;
      prev = v;
    }
    for (int i = 0; i < n; ++i) {
      EXPECT_LT(std::fabs(Horner(p, r[i])), 1e-13);
      EXPECT_TRUE(r[i] >= 0.0 && r[i] <= 1.0 && (i == 0 || r[i - 1] < r[i]))
          << trial << " root " << r[i];
    }
    if (clear) {
      EXPECT_EQ(n, changes) << trial;
    }
  }
}

TEST(PathIntersections, AxisAndRectangleCrossingsOnCurves) {
  CBPointArray circle;
  circle.CreateCircle(CDRECT(0, 100, 0, 100));  // starts at (50, 0), towards +x
  CArray<double> ts;
  CArray<CDPOINT> pts;
  ts.Add(99);
  FindXIntersections(circle, 25, ts, &pts, true);
  ASSERT_EQ(ts.GetSize(), 2);
  ASSERT_EQ(pts.GetSize(), 2);
  EXPECT_TRUE(ts[0] > 0 && ts[0] < 1 && ts[1] > 3 && ts[1] < 4)
      << ts[0] << " " << ts[1];                              // segments 0 and 3
  const double half = std::sqrt(50.0 * 50.0 - 25.0 * 25.0);  // the true circle, 0.03% off
  for (int i = 0; i < 2; ++i) {
    EXPECT_NEAR(pts[i].y, 25, 1e-9);
    EXPECT_NEAR(std::fabs(pts[i].x - 50), half, 0.03);
  }
  // Unsorted output keeps segment order; the points always keep it.
  CBPointArray rev(circle);
  rev.MakeReverse();
  FindXIntersections(rev, 25, ts, &pts, false);
  ASSERT_EQ(ts.GetSize(), 2);
  EXPECT_LT(ts[0], ts[1]);
  FindYIntersections(circle, 40, ts, nullptr, true);
  EXPECT_EQ(ts.GetSize(), 2);
  FindYIntersections(circle, 120, ts, &pts, true);
  EXPECT_EQ(ts.GetSize(), 0);
  EXPECT_EQ(pts.GetSize(), 0);

  // A vertical strip: each of its vertical sides cuts the circle twice, its horizontal sides
  // lie outside the circle.
  FindRectIntersections(circle, CDRECT(25, 75, -100, 200), ts, &pts, false);
  ASSERT_EQ(ts.GetSize(), 4);
  for (int i = 0; i < 4; ++i) {
    EXPECT_TRUE(std::fabs(pts[i].x - 25) < 1e-9 || std::fabs(pts[i].x - 75) < 1e-9);
    EXPECT_NEAR(std::fabs(pts[i].y - 50), std::sqrt(50.0 * 50.0 - 25.0 * 25.0), 0.03);
  }
  // The y range filters: a short rectangle keeps only the upper crossings of its sides, and
  // a reversed rectangle means the same rectangle.
  FindRectIntersections(circle, CDRECT(25, 75, 5, 40), ts, &pts, true);
  const INT_PTR shortCount = ts.GetSize();
  EXPECT_EQ(shortCount, 2 + 2);  // x = 25 and 75 once each, y = 5 twice, y = 40 outside
  FindRectIntersections(circle, CDRECT(75, 25, 40, 5), ts, nullptr, true);
  EXPECT_EQ(ts.GetSize(), shortCount);

  // A straight horizontal segment lying on the line reports its two ends.
  CBPointArray bar;
  bar.Add(Corner(0, 5));
  bar.Add(Corner(10, 5));
  FindXIntersections(bar, 5, ts, &pts, true);
  ExpectValues(ts, {0.0, 1.0}, 0);
}

TEST(PathIntersections, PolylineAgainstLineHits) {
  const CArray<CDPOINT> wall0 = Line({{10, -20}, {10, 20}});
  CArray<CDPOINT> wall(wall0);
  CDPOINT hit(-1, -1);
  // Stops 2.5 short of the wall: still found; 3.5 short: not.
  EXPECT_EQ(GetPolyLineWithLineIntersection(wall, CDLINE(CDPOINT(0, 0), CDPOINT(7.5, 0)), hit), 1);
  EXPECT_TRUE(std::hypot(hit.x - 10, hit.y) <= 1e-9) << hit.x << ", " << hit.y;
  EXPECT_EQ(GetPolyLineWithLineIntersection(wall, CDLINE(CDPOINT(0, 0), CDPOINT(6.5, 0)), hit), 0);
  EXPECT_EQ(hit, CDPOINT(0, 0));
  // Several crossings: the one nearest the second point wins.
  CArray<CDPOINT> comb = Line({{0, -5}, {0, 5}, {10, 5}, {10, -5}, {20, -5}, {20, 5}});
  ASSERT_EQ(GetPolyLineWithLineIntersection(comb, CDLINE(CDPOINT(-5, 0), CDPOINT(12, 0)), hit), 1);
  EXPECT_NEAR(hit.x, 10, 1e-9);
  // A crossing at the line's first point is never taken.
  ASSERT_EQ(GetPolyLineWithLineIntersection(comb, CDLINE(CDPOINT(0, 0), CDPOINT(5, 0)), hit), 0);

  CArray<CDPOINT> hits;
  CDWordArray segs;
  hits.Add(CDPOINT(9, 9));
  GetPolyLineWithLineIntersections(comb, CDLINE(CDPOINT(-5, 0), CDPOINT(25, 0)), hits, &segs);
  ASSERT_EQ(hits.GetSize(), 3);
  ASSERT_EQ(segs.GetSize(), 3);
  const double xs[3] = {0, 10, 20};
  const DWORD ss[3] = {0, 2, 4};
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(hits[i].x, xs[i], 1e-9);
    EXPECT_EQ(segs[i], ss[i]);
  }
  // Within the line's range only (no margin), and not at its second point.
  GetPolyLineWithLineIntersections(comb, CDLINE(CDPOINT(-5, 0), CDPOINT(10, 0)), hits, nullptr);
  EXPECT_EQ(hits.GetSize(), 1);
  // A segment wholly outside the x band is skipped even though its line would meet.
  CArray<CDPOINT> far = Line({{100, -1}, {101, 1}});
  GetPolyLineWithLineIntersections(far, CDLINE(CDPOINT(0, 0), CDPOINT(10, 0)), hits, &segs);
  EXPECT_EQ(hits.GetSize(), 0);
  EXPECT_EQ(segs.GetSize(), 0);
}

TEST(PathIntersections, IsClockwise) {
  const CArray<CDPOINT> sq = Line({{0, 0}, {1, 0}, {1, 1}, {0, 1}});  // sum -2 on a y-down screen
  EXPECT_TRUE(IsClockwise(sq));
  EXPECT_FALSE(IsClockwise(Line({{0, 1}, {1, 1}, {1, 0}, {0, 0}})));
  EXPECT_TRUE(IsClockwise(CArray<CDPOINT>()));
  EXPECT_TRUE(IsClockwise(Line({{0, 0}, {1, 1}, {2, 2}})));  // zero area: not positive
}

TEST(Preview, DrawsTheFilledOutlineAtTheScreensCorner) {
  CBPointArray square;
  square.CreateRect(PLEXA::CDRECT(100, 140, 200, 230));
  HDC screen = GetDC(nullptr);
  const RECT all{0, 0, 200, 200};
  FillRect(screen, &all, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
  Preview(square, 2);
  // Moved to start at (1, 1): the inside is black, beyond the far corner stays white.
  EXPECT_EQ(GetPixel(screen, 20, 15), RGB(0, 0, 0));
  EXPECT_EQ(GetPixel(screen, 60, 60), RGB(255, 255, 255));
  ReleaseDC(nullptr, screen);
  CArray<PLEXA::CDPOINT> one;
  one.Add(PLEXA::CDPOINT(NAN, 0));
  Preview(one, 1);  // nothing to draw
}
