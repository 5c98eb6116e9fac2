#include "plexa/analysis/connect.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>

#include "plexa/geom/pathset.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

// A curved open piece from a to b: handles a third of the way, pushed sideways by bend.
CBPointArray* Piece(CDPOINT a, CDPOINT b, double bend = 0) {
  auto p = std::make_unique<CBPointArray>();
  const CDPOINT d = b - a, n(-d.y * bend, d.x * bend);
  p->Add(CBPOINT(a, a, a + d / 3 + n));
  p->Add(CBPOINT(b - d / 3 + n, b, b));
  return p.release();
}

double TotalLength(const CPolyPolyBezier& set) {
  double sum = 0;
  for (int i = 0; i < set.GetSize(); ++i)
    if (set.GetAt(i)) sum += set.GetAt(i)->CalcLength();
  return sum;
}

TEST(ConnectPaths, ChainsPiecesInAnyDirection) {
  CPolyPolyBezier src, dst;
  src.Add(Piece(CDPOINT(10, 0), CDPOINT(20, 0), 0.2));   // chain starts here
  src.Add(Piece(CDPOINT(30, 0), CDPOINT(20, 0), -0.1));  // meets the end, reversed
  src.Add(Piece(CDPOINT(0, 0), CDPOINT(10, 0), 0.3));    // meets the start
  src.Add(Piece(CDPOINT(30, 0), CDPOINT(30, 10)));       // meets the new end
  const double length = TotalLength(src);
  ConnectPaths(src, dst);
  ASSERT_EQ(dst.GetSize(), 1);
  const CBPointArray& p = dst[0];
  ASSERT_EQ(p.GetSize(), 5);
  const double xs[] = {0, 10, 20, 30, 30}, ys[] = {0, 0, 0, 0, 10};
  for (int i = 0; i < 5; ++i) {
    EXPECT_DOUBLE_EQ(p[i].anchor.x, xs[i]);
    EXPECT_DOUBLE_EQ(p[i].anchor.y, ys[i]);
  }
  // Every piece keeps its shape, so the length is the sum of the pieces'.
  EXPECT_NEAR(p.CalcLength(), length, 1e-9 * length);
  // The reversed piece runs 20 -> 30 with its controls swapped: out of (20, 0) is the
  // original incoming control of its end.
  EXPECT_EQ(p[2].out, src[1][1].in);
  EXPECT_EQ(p[3].in, src[1][0].out);
  EXPECT_EQ(src.GetSize(), 4);  // src untouched
}

TEST(ConnectPaths, ClosesLoopsAndPassesOthersThrough) {
  CPolyPolyBezier src, dst;
  src.Add(Piece(CDPOINT(0, 0), CDPOINT(10, 0)));
  src.Add(nullptr);
  src.Add(Piece(CDPOINT(10, 10), CDPOINT(10, 0)));
  auto closed = std::make_unique<CBPointArray>();
  closed->CreateCircle(PLEXA::CDRECT(100, 120, 100, 120));
  src.Add(closed.release());
  src.Add(Piece(CDPOINT(0, 10), CDPOINT(0, 1e-9)));  // ends within the tolerance of (0, 0)
  src.Add(Piece(CDPOINT(10, 10), CDPOINT(0, 10)));
  auto lone = std::make_unique<CBPointArray>();
  lone->Add(CBPOINT(CDPOINT(5, 5), CDPOINT(5, 5), CDPOINT(5, 5)));
  src.Add(lone.release());
  ConnectPaths(src, dst);
  ASSERT_EQ(dst.GetSize(), 3);
  EXPECT_EQ(dst[0].GetSize(), 5);
  EXPECT_TRUE(dst[0].IsPolyBezierClosed());
  EXPECT_EQ(dst[0][4].anchor, dst[0][0].anchor);  // closed exactly
  EXPECT_TRUE(ArePolyBezierEqual(dst[1], src[3]));
  EXPECT_EQ(dst[2].GetSize(), 1);
}

TEST(ConnectPaths, BranchesLeaveSeveralPathsAndEveryInputEnds) {
  // Three pieces meet at the origin: one pass joins two, the third stays; the loop stops.
  CPolyPolyBezier src, dst;
  src.Add(Piece(CDPOINT(0, 0), CDPOINT(10, 0)));
  src.Add(Piece(CDPOINT(0, 0), CDPOINT(0, 10)));
  src.Add(Piece(CDPOINT(0, 0), CDPOINT(-10, 0)));
  ConnectPaths(src, dst);
  EXPECT_EQ(dst.GetSize(), 2);
  EXPECT_EQ(dst[0].GetSize() + dst[1].GetSize(), 5);

  // Nothing touches: the count does not change and the loop ends after one pass.
  CPolyPolyBezier apart, out;
  for (int i = 0; i < 5; ++i) apart.Add(Piece(CDPOINT(i * 10, 0), CDPOINT(i * 10 + 5, 0)));
  ConnectPaths(apart, out);
  EXPECT_EQ(out.GetSize(), 5);

  // Hostile coordinates: NaN never touches anything, infinities do not loop.
  const double nan = std::numeric_limits<double>::quiet_NaN(),
               inf = std::numeric_limits<double>::infinity();
  CPolyPolyBezier bad, res;
  bad.Add(Piece(CDPOINT(nan, 0), CDPOINT(1, 1)));
  bad.Add(Piece(CDPOINT(inf, inf), CDPOINT(1, 1)));
  bad.Add(Piece(CDPOINT(inf, inf), CDPOINT(nan, nan)));
  ConnectPaths(bad, res);
  EXPECT_GE(res.GetSize(), 1);

  // Empty input, and src and dst the same set.
  CPolyPolyBezier none;
  ConnectPaths(none, none);
  EXPECT_EQ(none.GetSize(), 0);
  CPolyPolyBezier same;
  same.Add(Piece(CDPOINT(0, 0), CDPOINT(1, 0)));
  same.Add(Piece(CDPOINT(1, 0), CDPOINT(2, 0)));
  ConnectPaths(same, same);
  ASSERT_EQ(same.GetSize(), 1);
  EXPECT_EQ(same[0].GetSize(), 3);
}

}  // namespace
