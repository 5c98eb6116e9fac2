#include <gtest/gtest.h>

#include "plexa/geom/path.h"
#include "tests/support.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

using namespace plexa::test;

// The point at t of segment i of a path, by its own Bezier.
CDPOINT At(const CBPointArray& p, int i, double t) {
  return CBezier(p[i], p[i + 1]).GetCurvePoint(t);
}

void ExpectNear(const CDPOINT& a, const CDPOINT& b, double tol = 1e-9) {
  EXPECT_POINT_NEAR(a, b, tol);
}

}  // namespace

TEST(PathSplit, PieceBetweenParametersFollowsTheCurve) {
  CBPointArray c;
  c.CreateCircle(CDRECT(-10, 10, -10, 10));
  CBPointArray piece;
  c.SplitBPointArray(0, 0.25, 2, 0.5, piece);
  ASSERT_EQ(piece.GetSize(), 4);  // cut start, nodes 1 and 2, cut end
  ExpectNear(piece[0].anchor, At(c, 0, 0.25));
  ExpectNear(piece[3].anchor, At(c, 2, 0.5));
  EXPECT_EQ(piece[1].anchor, c[1].anchor);
  // The piece's first segment is the tail of the original segment 0.
  ExpectNear(CBezier(piece[0], piece[1]).GetCurvePoint(0.5), At(c, 0, 0.625));
  ExpectNear(CBezier(piece[2], piece[3]).GetCurvePoint(0.5), At(c, 2, 0.25));

  // Within one segment, and the same with the cut at a segment end folded into the next.
  c.SplitBPointArray(1, 0.2, 1, 0.6, piece);
  ASSERT_EQ(piece.GetSize(), 2);
  ExpectNear(CBezier(piece[0], piece[1]).GetCurvePoint(0.5), At(c, 1, 0.4));
  c.SplitBPointArray(0, 1.0, 2, 0.0, piece);  // exactly segment 1
  ASSERT_EQ(piece.GetSize(), 2);
  ExpectNear(piece[0].out, c[1].out);
  ExpectNear(piece[1].in, c[2].in);

  // Backwards on a closed path: on through the closing node.
  c.SplitBPointArray(3, 0.5, 0, 0.5, piece);
  ASSERT_EQ(piece.GetSize(), 3);
  ExpectNear(piece[0].anchor, At(c, 3, 0.5));
  EXPECT_EQ(piece[1].anchor, c[0].anchor);
  ExpectNear(CBezier(piece[0], piece[1]).GetCurvePoint(0.5), At(c, 3, 0.75));
  ExpectNear(CBezier(piece[1], piece[2]).GetCurvePoint(0.5), At(c, 0, 0.25));
  ExpectNear(piece[2].anchor, At(c, 0, 0.5));

  // Backwards on an open path: the same piece in path order.
  CBPointArray open;
  open.CreateLine(CDPOINT(0, 0), CDPOINT(10, 0));
  open.SplitBPointArray(0, 0.8, 0, 0.2, piece);
  ASSERT_EQ(piece.GetSize(), 2);
  EXPECT_LT(piece[0].anchor.x, piece[1].anchor.x);

  CBPointArray one;
  one.Add(Corner(1, 1));
  one.SplitBPointArray(0, 0.0, 0, 1.0, piece);
  EXPECT_TRUE(piece.IsEmpty());
}

TEST(PathSplit, PositionsAreArcLengths) {
  CBPointArray p;
  for (int x : {0, 10, 30}) p.Add(Corner(x, 0));
  CBPointArray piece;
  p.SplitBPointArray(5.0, 20.0, piece);
  ASSERT_EQ(piece.GetSize(), 3);
  ExpectNear(piece[0].anchor, CDPOINT(5, 0), 1e-6);
  EXPECT_EQ(piece[1].anchor, CDPOINT(10, 0));
  ExpectNear(piece[2].anchor, CDPOINT(20, 0), 1e-6);
  p.SplitBPointArray(-5.0, 1e9, piece);  // clamped to the whole path
  EXPECT_EQ(piece[0].anchor, CDPOINT(0, 0));
  EXPECT_EQ(piece[piece.GetUpperBound()].anchor, CDPOINT(30, 0));

  CBPointArray a, b;
  p.SplitBPointArray(25.0, a, b);
  ExpectNear(a[a.GetUpperBound()].anchor, CDPOINT(25, 0), 1e-6);
  ExpectNear(b[0].anchor, CDPOINT(25, 0), 1e-6);
  EXPECT_EQ(b[b.GetUpperBound()].anchor, CDPOINT(30, 0));
  EXPECT_NEAR(a.CalcLength() + b.CalcLength(), 30, 1e-6);

  CBPointArrayMath m(p);
  EXPECT_NEAR(m.GetLength(), 30, 1e-9);
  int seg;
  double t;
  ASSERT_TRUE(m.Locate(10.0, seg, t));
  EXPECT_EQ(seg, 0);
  EXPECT_EQ(t, 1.0);
  CBPointArray none;
  CBPointArrayMath empty(none);
  EXPECT_FALSE(empty.Split(1, a, b));
}

TEST(PathSplit, SubsetsAndBlends) {
  CBPointArray sq;
  sq.CreateRect(CDRECT(0, 10, 0, 10));
  CBPointArray piece;
  sq.SplitBPointArray(2, 0.0, 0, 1.0, piece);  // wraps: (10,10), (0,10), (0,0), (10,0)
  int first, last;
  ASSERT_TRUE(sq.IsSubset(piece, first, last, 1e-9));
  EXPECT_EQ(first, 2);
  EXPECT_EQ(last, 1);
  CBPointArray other;
  other.CreateRect(CDRECT(0, 10, 0, 11));
  EXPECT_FALSE(sq.IsSubset(other, first, last, 0.5));
  EXPECT_EQ(first, -1);

  CBPointArray tri;
  for (CDPOINT q : {CDPOINT(0, 0), CDPOINT(10, 0), CDPOINT(5, 10), CDPOINT(0, 0)})
    tri.Add(Corner(q.x, q.y));
  tri[1].attr = 4;
  CBPointArray blend;
  blend.Interpolate(0.5, sq, sq);
  EXPECT_TRUE(blend == sq);
  blend.Interpolate(0.0, tri, sq);  // t = 0 is the triangle, refined to five nodes
  ASSERT_EQ(blend.GetSize(), 5);
  EXPECT_NEAR(blend.CalcLength(), tri.CalcLength(), 1e-9);
  for (const CBPOINT& n : blend) EXPECT_EQ(n.attr, 0);
  blend.Interpolate(1.0, tri, sq);
  EXPECT_TRUE(blend.IsSame(sq, 1e-12));

  blend.InterpolateVaring(tri, sq);
  EXPECT_EQ(blend[0].anchor, CDPOINT(0, 0));
  EXPECT_EQ(blend[4].anchor, sq[4].anchor);
  blend.Interpolate(0.3, CBPointArray(), sq);
  EXPECT_TRUE(blend == sq);
}
