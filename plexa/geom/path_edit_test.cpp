#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "plexa/geom/path.h"
#include "tests/support.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

constexpr double kK = 0.5522847771644592;

using namespace plexa::test;

void ExpectNear(const CDPOINT& a, const CDPOINT& b, double tol = 1e-12) {
  EXPECT_POINT_NEAR(a, b, tol);
}

}  // namespace

TEST(ShapeBuilders, RectSquareEllipseCircleLine) {
  CBPointArray p;
  p.Add(Corner(9, 9));
  p.CreateRect(CDRECT(0, 10, 0, 5));  // empties first
  const CDPOINT rect[] = {{0, 0}, {10, 0}, {10, 5}, {0, 5}, {0, 0}};
  ASSERT_EQ(p.GetSize(), 5);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(p[i], Corner(rect[i].x, rect[i].y)) << i;
  EXPECT_TRUE(p.IsPolyBezierClosed());

  p.CreateSquare(CDRECT(0, 10, 0, 4));  // half-side 5 about (5, 2)
  EXPECT_EQ(p[0].anchor, CDPOINT(0, -3));
  EXPECT_EQ(p[2].anchor, CDPOINT(10, 7));

  p.CreateCircle(CDRECT(0, 10, 0, 4));  // radius 5 about (5, 2)
  ASSERT_EQ(p.GetSize(), 5);
  ExpectNear(p[0].anchor, CDPOINT(5, -3));
  ExpectNear(p[0].out, CDPOINT(5 + 5 * kK, -3));
  ExpectNear(p[1].anchor, CDPOINT(10, 2));
  ExpectNear(p[1].in, CDPOINT(10, 2 - 5 * kK));
  ExpectNear(p[3].out, CDPOINT(0, 2 - 5 * kK));
  EXPECT_EQ(p[4], p[0]);
  for (const CBPOINT& n : p) EXPECT_EQ(n.attr, 0);

  p.CreateEllipse(CDRECT(0, 20, 0, 10));
  ExpectNear(p[2].in, CDPOINT(10 + 10 * kK, 10));
  ExpectNear(p[2].out, CDPOINT(10 - 10 * kK, 10));

  p.CreateLine(CDPOINT(0, 0), CDPOINT(10, 20), 77);
  ASSERT_EQ(p.GetSize(), 2);
  EXPECT_EQ(p[0], CBPOINT(CDPOINT(0, 0), CDPOINT(0, 0), CDPOINT(3, 6)));
  EXPECT_EQ(p[1], CBPOINT(CDPOINT(7, 14), CDPOINT(10, 20), CDPOINT(10, 20)));
  EXPECT_FALSE(p.IsPolyBezierClosed());
}

TEST(ShapeBuilders, PolygonIsScaledAboutTheCentreButNotRecentred) {
  CBPointArray p;
  p.CreatePolygon(CDRECT(0, 10, 0, 10), 2);
  EXPECT_EQ(p.GetSize(), 0);
  p.CreatePolygon(CDRECT(0, 10, 0, 0), 5);
  EXPECT_EQ(p.GetSize(), 0);

  // Square (n = 4): vertices on the axes through the centre, stretched to the rectangle.
  p.CreatePolygon(CDRECT(0, 20, 0, 10), 4);
  ASSERT_EQ(p.GetSize(), 5);
  ExpectNear(p[0].anchor, CDPOINT(10, 0), 1e-9);
  // Rotation by +90 degrees (counter-clockwise, y-up sense) carries (0, -R) to (R, 0).
  ExpectNear(p[1].anchor, CDPOINT(20, 5), 1e-9);
  ExpectNear(p[2].anchor, CDPOINT(10, 10), 1e-9);
  EXPECT_EQ(p[4], p[0]);

  // Triangle: the vertices span the rectangle's height but start at the top edge, so the
  // figure is not centred vertically.
  p.CreatePolygon(CDRECT(0, 12, 0, 12), 3);
  ASSERT_EQ(p.GetSize(), 4);
  double ymin = 1e9, ymax = -1e9, xmin = 1e9, xmax = -1e9;
  for (int i = 0; i < 3; ++i) {
    ymin = std::min(ymin, p[i].anchor.y), ymax = std::max(ymax, p[i].anchor.y);
    xmin = std::min(xmin, p[i].anchor.x), xmax = std::max(xmax, p[i].anchor.x);
  }
  EXPECT_NEAR(ymax - ymin, 12, 1e-9);
  EXPECT_NEAR(xmax - xmin, 12, 1e-9);
  // Before scaling the apex is at y 0 and the base at 9 (radius 6 about y 6); the height
  // scale 12/9 about y 6 puts the apex at -2 and the base at 10.
  EXPECT_NEAR(ymin, -2, 1e-9);
  EXPECT_NEAR(p[0].anchor.x, 6, 1e-9);
}

TEST(ShapeBuilders, RoundRectCornersOutwardAndInward) {
  CBPointArray p;
  p.CreateRoundRect(CDRECT(0, 20, 0, 10), 0.5e-8);
  EXPECT_EQ(p.GetSize(), 5);  // a plain rectangle

  p.CreateRoundRect(CDRECT(0, 20, 0, 10), 8);  // ry clamps to 5
  ASSERT_EQ(p.GetSize(), 9);
  EXPECT_EQ(p[0].anchor, CDPOINT(8, 0));
  ExpectNear(p[0].in, CDPOINT(8 - 8 * kK, 0));
  EXPECT_EQ(p[0].out, p[0].anchor);
  EXPECT_EQ(p[1].anchor, CDPOINT(12, 0));
  ExpectNear(p[1].out, CDPOINT(12 + 8 * kK, 0));
  EXPECT_EQ(p[2].anchor, CDPOINT(20, 5));
  ExpectNear(p[2].in, CDPOINT(20, 5 - 5 * kK));
  EXPECT_EQ(p[7].anchor, CDPOINT(0, 5));
  ExpectNear(p[7].out, CDPOINT(0, 5 - 5 * kK));
  EXPECT_EQ(p[8], p[0]);

  // Inward: the corner arc from (12, 0) to (20, 5) is a quarter circle about (20, 0).
  p.CreateRoundRect(CDRECT(0, 20, 0, 10), -8);
  ASSERT_EQ(p.GetSize(), 9);
  EXPECT_EQ(p[1].anchor, CDPOINT(12, 0));
  ExpectNear(p[1].out, CDPOINT(12, 5 * kK));
  ExpectNear(p[2].in, CDPOINT(20 - 8 * kK, 5));
  EXPECT_EQ(p[8], p[0]);
}

TEST(PathEditing, FindBPointNeverReturnsTheLastNode) {
  CBPointArray p;
  p.CreateRect(CDRECT(0, 10, 0, 5));
  EXPECT_EQ(p.FindBPoint(CDPOINT(0.0009, -0.0009)), 0);
  EXPECT_EQ(p.FindBPoint(CDPOINT(10, 5)), 2);
  EXPECT_EQ(p.FindBPoint(CDPOINT(0.0011, 0)), -1);
  CBPointArray open;
  open.Add(Corner(0, 0));
  open.Add(Corner(1, 1));
  EXPECT_EQ(open.FindBPoint(CDPOINT(1, 1)), -1);  // the last node
  CBPointArray one;
  one.Add(Corner(0, 0));
  EXPECT_EQ(one.FindBPoint(CDPOINT(0, 0)), -1);
}

TEST(PathEditing, SetStartingPointRotatesClosedPathsOnly) {
  CBPointArray p;
  p.CreateRect(CDRECT(0, 10, 0, 5));
  CBPointArray same(p);
  EXPECT_TRUE(same.SetStartingPoint(0));
  EXPECT_TRUE(same == p);
  EXPECT_TRUE(p.SetStartingPoint(2));
  ASSERT_EQ(p.GetSize(), 5);
  EXPECT_EQ(p[0].anchor, CDPOINT(10, 5));
  EXPECT_EQ(p[1].anchor, CDPOINT(0, 5));
  EXPECT_EQ(p[2].anchor, CDPOINT(0, 0));
  EXPECT_EQ(p[4].anchor, CDPOINT(10, 5));
  EXPECT_FALSE(p.SetStartingPoint(5));
  EXPECT_FALSE(p.SetStartingPoint(-1));

  CBPointArray loose;  // closed by its anchors but with other controls at the ends
  loose.CreateCircle(CDRECT(0, 10, 0, 10));
  loose[4].in.x += 1;
  EXPECT_TRUE(loose.IsPolyBezierClosed());
  EXPECT_FALSE(loose.SetStartingPoint(1));
}

TEST(PathEditing, MoveBezierPointTurnsNeighbourHandlesAboutTheOldAnchor) {
  // A straight three-node line along x; moving the middle anchor up by 10.
  CBPointArray p;
  p.Add(CBPOINT(CDPOINT(0, 0), CDPOINT(0, 0), CDPOINT(5, 0)));
  p.Add(CBPOINT(CDPOINT(15, 0), CDPOINT(20, 0), CDPOINT(25, 0)));
  p.Add(CBPOINT(CDPOINT(35, 0), CDPOINT(40, 0), CDPOINT(40, 0)));
  p.MoveBezierPoint(1, CDPOINT(20, 20));
  const double s = std::sqrt(2.0), q = std::numbers::pi / 4;
  // Node 0's out handle turns 45 degrees about node 0 and grows by sqrt 2.
  ExpectNear(p[0].out, CDPOINT(5 * s * std::cos(q), 5 * s * std::sin(q)));
  // Node 1's in handle: (15,0) - A = (-5,0) scaled and turned, then placed about the old A.
  ExpectNear(p[1].in, CDPOINT(20 - 5, -5));
  ExpectNear(p[1].anchor, CDPOINT(20, 20));
  ExpectNear(p[2].in, CDPOINT(40 - 5, 5));
  ExpectNear(p[1].out, CDPOINT(25, -5));

  CBPointArray ends;
  ends.CreateLine(CDPOINT(0, 0), CDPOINT(10, 0));
  ends.MoveBezierPoint(0, CDPOINT(0, 10));
  // The first node's out handle moves with the anchor to (3, 10), then also turns with the
  // segment about the old anchor: s = sqrt 2, theta = -45 degrees gives (13, 7).
  ExpectNear(ends[0].out, CDPOINT(13, 7));
  ExpectNear(ends[1].in, CDPOINT(7, 3));
  EXPECT_EQ(ends[0].in, CDPOINT(0, 0));
  CBPointArray copy(ends);
  ends.MoveBezierPoint(2, CDPOINT(5, 5));
  ends.MoveBezierPoint(0, ends[0].anchor);
  EXPECT_TRUE(ends == copy);
}

TEST(PathEditing, ProperPolylineSameAndSplits) {
  CBPointArray p;
  p.Add(Corner(0, 0));
  p.Add(Corner(10, 0));
  p.MakeProperPolyline();
  EXPECT_NEAR(p[0].out.x, 3.33, 1e-12);  // 0.333, not a third
  EXPECT_NEAR(p[1].in.x, 10 - 3.33, 1e-12);
  EXPECT_EQ(p[0].in, p[0].anchor);
  EXPECT_EQ(p[1].out, p[1].anchor);

  CBPointArray q(p);
  q[1].in.x += 0.3;
  q[1].in.y += 0.4;  // 0.5 away
  EXPECT_TRUE(p.IsSame(q, 0.5));
  EXPECT_FALSE(p.IsSame(q, 0.49));
  EXPECT_TRUE(CBPointArray().IsSame(CBPointArray(), 0));

  CBPointArray three;
  for (int i = 0; i < 3; ++i) three.Add(Corner(i, 0));
  three[0].attr = 3;
  CBPointArray a, b;
  three.SplitBPointArray(0, a, b);
  ASSERT_EQ(a.GetSize(), 2);
  EXPECT_EQ(a[1], three[0]);  // a one-node result is doubled, attribute included
  EXPECT_EQ(b.GetSize(), 3);
  three.SplitBPointArray(3, a, b);  // outside: nothing
  EXPECT_EQ(a.GetSize(), 2);

  CBPointArray five, x, y, z;
  for (int i = 0; i < 5; ++i) five.Add(Corner(i, 0));
  five.SplitBPointArray(3, 1, x, y, z);
  EXPECT_EQ(x.GetSize(), 2);
  EXPECT_EQ(y.GetSize(), 3);
  EXPECT_EQ(z.GetSize(), 2);
  EXPECT_EQ(z[0].anchor.x, 3);
}
