#include "plexa/analysis/scanlines.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "tests/support.h"

using PLEXA::CBPOINT;
using PLEXA::CDLINE;
using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

using namespace plexa::test;

// Appends the nodes of a circular arc from angle a0 to a1 in the given number of cubic
// pieces (handles 4/3 tan(d/4) r, tangent to the circle).
void AddArc(CBPointArray& p, CDPOINT c, double r, double a0, double a1, int pieces) {
  const double d = (a1 - a0) / pieces, h = 4.0 / 3.0 * std::tan(d / 4) * r;
  for (int i = 0; i <= pieces; ++i) {
    const double a = a0 + d * i;
    const CDPOINT at(c.x + r * std::cos(a), c.y + r * std::sin(a)),
        tan(-std::sin(a) * h, std::cos(a) * h);
    p.Add(CBPOINT(at - tan, at, at + tan));
  }
}

// A glyph-like "C": an outer and an inner arc of 270 degrees joined by straight caps.
CBPointArray GlyphC(CDPOINT c) {
  CBPointArray p;
  AddArc(p, c, 40, 0.8, 2 * M_PI - 0.8, 4);
  const INT_PTR outerEnd = p.GetUpperBound();
  AddArc(p, c, 22, 2 * M_PI - 0.8, 0.8, 3);
  p.Add(p[0]);
  p.ElementAt(outerEnd).out = p[outerEnd].anchor;
  p.ElementAt(outerEnd + 1).in = p[outerEnd + 1].anchor;
  p.ElementAt(p.GetUpperBound() - 1).out = p[p.GetUpperBound() - 1].anchor;
  p.ElementAt(p.GetUpperBound()).in = p[p.GetUpperBound()].anchor;
  return p;
}

CPolyPolyBezier TestShapes() {
  CPolyPolyBezier set;
  set.Add(new CBPointArray(Circle(0, 0, 40)));  // an "O": ring with an off-centre hole
  set.Add(new CBPointArray(Circle(6, 3, 22)));
  set.Add(new CBPointArray(GlyphC(CDPOINT(60, 30))));
  CBPointArray sq;
  sq.CreateRect(CDRECT(100, 160, -40, 20));  // a square with two round holes
  set.Add(new CBPointArray(sq));
  set.Add(new CBPointArray(Circle(115, -25, 10)));
  set.Add(new CBPointArray(Circle(140, 0, 12)));
  return set;
}

// Whether u lies in one of the spans of a sorted crossing list, and its distance to the
// nearest crossing.
bool InSpans(const CArray<double>& us, double u, double& nearest) {
  nearest = std::numeric_limits<double>::infinity();
  bool in = false;
  for (INT_PTR k = 0; k < us.GetSize(); ++k) nearest = std::min(nearest, std::fabs(us[k] - u));
  for (INT_PTR k = 0; k + 1 < us.GetSize(); k += 2)
    if (u >= us[k] && u <= us[k + 1]) in = true;
  return in;
}

}  // namespace

TEST(CurveScanLines, SpansAgreeWithInsideTestAtAnyAngle) {
  const CPolyPolyBezier shapes = TestShapes();
  const CCurveCollision plain(shapes);  // the unrotated inside test is the oracle
  std::mt19937 rng(5);
  for (const double angle : {0.0, 0.5235987755982988, -1.2, 2.0}) {
    CCurveScanLines fill(shapes, 1.7, angle);
    ASSERT_GT(fill.GetLineCount(), 40);
    std::uniform_int_distribution<int> line(0, fill.GetLineCount() - 1);
    std::uniform_real_distribution<double> along(-250, 250);
    CArray<double> us;
    int checked = 0, inside = 0;
    for (int trial = 0; trial < 3000; ++trial) {
      const int i = line(rng);
      const int n = fill.GetCrossings(i, us);
      EXPECT_EQ(n % 2, 0);
      const double u = along(rng);
      double nearest;
      const bool in = InSpans(us, u, nearest);
      if (nearest < 1e-6) continue;
      const CDPOINT p = fill.ToPlane(u, fill.GetLineLevel(i));
      ++checked;
      inside += in;
      ASSERT_EQ(in, plain.IsPointInCurves(p)) << angle << " line " << i << " u " << u;
      ASSERT_EQ(in, fill.IsPointInside(p));
    }
    EXPECT_GT(inside, 200) << angle;
    EXPECT_GT(checked, 2900);
  }
}

TEST(CurveScanLines, GridSpansAndSerpentine) {
  // Square 0..10 with spacing 1: lines at 0.5 .. 9.5 (phase 0.5), each one span 0..10.
  CPolyPolyBezier square;
  CBPointArray sq;
  sq.CreateRect(CDRECT(0, 10, 0, 10));
  square.Add(new CBPointArray(sq));
  CCurveScanLines fill(square, 1.0, 0.0);
  ASSERT_EQ(fill.GetLineCount(), 10);
  EXPECT_TRUE(fill.GetLineLevel(0) == 0.5 && fill.GetLineLevel(9) == 9.5);
  CArray<CDLINE> spans;
  fill.GetAllSpans(spans, true);
  ASSERT_EQ(spans.GetSize(), 10);
  for (int i = 0; i < 10; ++i) {
    const double a = (i & 1) ? 10 : 0;
    EXPECT_NEAR(spans[i].p1.x, a, 1e-6);
    EXPECT_NEAR(spans[i].p2.x, 10 - a, 1e-6);
    EXPECT_EQ(spans[i].p1.y, i + 0.5);
  }
  CPolyPolyDPoint serp;
  fill.GetSerpentine(serp);
  ASSERT_EQ(serp.GetSize(), 1);  // a convex shape is one zig-zag
  EXPECT_EQ(serp.GetAt(0)->GetSize(), 20);
  // Phase 0 puts lines on the grid itself: 0 and 10 touch the edges.
  CCurveScanLines edges(square, 2.5, 0.0, 0.0);
  EXPECT_EQ(edges.GetLineCount(), 5);
  // At 90 degrees the lines run along +y: u = y, v = -x.
  CCurveScanLines vertical(square, 1.0, M_PI / 2);
  EXPECT_EQ(vertical.GetLineCount(), 10);
  vertical.GetSpans(0, spans);
  ASSERT_GE(spans.GetSize(), 11);
  const CDLINE s = spans[spans.GetSize() - 1];
  EXPECT_NEAR(s.p1.x, s.p2.x, 1e-9);
  EXPECT_NEAR(std::fabs(s.p2.y - s.p1.y), 10, 1e-6);

  // Shapes with holes and a glyph: every span ends up in exactly one serpentine, as two
  // consecutive points, and every join's midpoint lies inside.
  const CPolyPolyBezier shapes = TestShapes();
  for (const double angle : {0.0, 0.7}) {
    CCurveScanLines many(shapes, 2.0, angle);
    CArray<CDLINE> all;
    many.GetAllSpans(all, false);
    many.GetSerpentine(serp);
    INT_PTR points = 0;
    for (INT_PTR k = 0; k < serp.GetSize(); ++k) {
      const CArray<CDPOINT>& pl = *serp.GetAt(static_cast<int>(k));
      ASSERT_EQ(pl.GetSize() % 2, 0);
      points += pl.GetSize();
      // Each join runs inside or along the outline: a point within 0.15 of its middle (the
      // default tolerance is 0.1 here) is inside.
      for (INT_PTR j = 1; j + 1 < pl.GetSize(); j += 2) {
        const CDPOINT mid((pl[j].x + pl[j + 1].x) / 2, (pl[j].y + pl[j + 1].y) / 2);
        const double dx = pl[j + 1].x - pl[j].x, dy = pl[j + 1].y - pl[j].y, l = std::hypot(dx, dy);
        const CDPOINT nrm(-dy / l * 0.15, dx / l * 0.15);
        EXPECT_TRUE(many.IsPointInside(mid) || many.IsPointInside(mid + nrm) ||
                    many.IsPointInside(mid - nrm))
            << mid.x << ", " << mid.y;
      }
    }
    EXPECT_EQ(points, 2 * all.GetSize());
    EXPECT_GT(serp.GetSize(), 3);                  // holes and separate shapes force breaks
    EXPECT_LT(serp.GetSize(), all.GetSize() / 4);  // but most spans are joined
  }
}

TEST(CurveScanLines, RefusesHostileInput) {
  const CPolyPolyBezier shapes = TestShapes();
  CCurveScanLines fill;
  // Spacing and angle: zero, negative and NaN spacing, an infinite angle, far too many lines.
  for (auto [spacing, angle] : {std::pair{0.0, 0.0},
                                {-1.0, 0.0},
                                {std::numeric_limits<double>::quiet_NaN(), 0.0},
                                {1.0, std::numeric_limits<double>::infinity()},
                                {1e-6, 0.0}})
    EXPECT_FALSE(fill.SetCurves(shapes, spacing, angle)) << spacing << " " << angle;
  EXPECT_EQ(fill.GetLineCount(), 0);
  CArray<double> us;
  EXPECT_EQ(fill.GetCrossings(0, us), 0);
  CPolyPolyBezier bad, empty;
  CBPointArray p;
  p.CreateRect(CDRECT(0, std::numeric_limits<double>::quiet_NaN(), 0, 1));
  bad.Add(new CBPointArray(p));
  EXPECT_FALSE(fill.SetCurves(bad, 1.0, 0.0));
  EXPECT_FALSE(fill.SetCurves(empty, 1.0, 0.0));
  ASSERT_TRUE(fill.SetCurves(shapes, 5.0, 0.3));
  EXPECT_EQ(fill.GetCrossings(-1, us), 0);
  EXPECT_EQ(fill.GetCrossings(fill.GetLineCount(), us), 0);
}
