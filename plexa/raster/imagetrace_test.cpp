#include "plexa/raster/imagetrace.h"

#include <gtest/gtest.h>

#include <cmath>

#include "plexa/raster/imgproc.h"
#include "tests/raster_support.h"

using PLEXA::CDPOINT;

namespace {

using plexa::test::Painted;

CDPOINT End(const CPolyPolyBezier& s, int i, bool last) {
  return s[i][last ? static_cast<int>(s[i].GetSize()) - 1 : 0].anchor;
}

}  // namespace

TEST(CImageTrace, SmallLineShapes) {
  CImageTrace t;
  CPolyPolyBezier out;
  {  // a lone pixel: no anchor, a one-point polyline, dropped
    const Painted b = Painted::Mono(10, 10, [](int x, int y) { return x == 4 && y == 4; });
    t.AutoTrace(b.bmp, out);
    EXPECT_EQ(out.GetSize(), 0);
  }
  {  // a straight line of 10 pixels: one path from end to end (cell coordinates)
    const Painted b = Painted::Mono(20, 5, [](int x, int y) { return y == 2 && x >= 3 && x < 13; });
    t.AutoTrace(b.bmp, out);
    ASSERT_EQ(out.GetSize(), 1);
    EXPECT_TRUE(End(out, 0, false) == CDPOINT(4, 3) && End(out, 0, true) == CDPOINT(13, 3));
  }
  {  // a ring without junctions: one path from its first pixel in row order, open by a cell
    const Painted b = Painted::Mono(
        30, 30, [](int x, int y) { return std::abs(std::hypot(x - 15.0, y - 15.0) - 10.0) < 0.5; });
    t.AutoTrace(b.bmp, out);
    ASSERT_EQ(out.GetSize(), 1);
    const CDPOINT s = End(out, 0, false), e = End(out, 0, true);
    EXPECT_LE(std::hypot(s.x - e.x, s.y - e.y), 1.5);
  }
  {  // a T of one-pixel lines: three paths, each with one end on the junction anchor. The
     // corner cell where the stem meets the bar is dropped (its neighbours stay connected),
     // so the anchor is the stem's top cell (11, 4) and no walk slips past it.
    const Painted b = Painted::Mono(20, 20, [](int x, int y) {
      return (y == 2 && x >= 2 && x <= 18) || (x == 10 && y >= 2 && y <= 17);
    });
    t.AutoTrace(b.bmp, out);
    ASSERT_EQ(out.GetSize(), 3);
    for (int i = 0; i < 3; ++i)
      EXPECT_TRUE(End(out, i, false) == CDPOINT(11, 4) || End(out, i, true) == CDPOINT(11, 4)) << i;
  }
  {  // thick input is not what the walk is for, but a solid block and a hatch of 4-connected
     // staircases finish quickly
    const Painted solid = Painted::Mono(300, 300, [](int, int) { return true; });
    t.AutoTrace(solid.bmp, out);
    const Painted hatch = Painted::Mono(
        300, 300, [](int x, int y) { return (x + y) % 7 == 0 || (x + y + 1) % 7 == 0; });
    t.AutoTrace(hatch.bmp, out);
    EXPECT_GE(out.GetSize(), 40);
  }
  t.AutoTrace(nullptr, out);  // nothing happens
  EXPECT_GE(out.GetSize(), 40);
}

TEST(CImgProc, BranchCountsAndWalkers) {
  // A plus sign with a thick 2 x 2 centre: the branch count sees through staircases, the
  // cluster of junction anchors shrinks to one, and the walkers take every cell exactly once.
  const Painted b = Painted::Mono(21, 21, [](int x, int y) {
    return (y == 10 && x >= 2 && x <= 18) || (x == 10 && y >= 2 && y <= 18) ||
           (x >= 10 && x <= 11 && y >= 10 && y <= 11);
  });
  CImgProc proc(b.bmp);
  int anchors = 0, ends = 0, lineCells = 0;
  for (int y = 0; y < proc.mat().GetHeight(); ++y)
    for (int x = 0; x < proc.mat().GetWidth(); ++x) {
      anchors += proc.mat().Get(x, y) == 2;
      ends += proc.mat().Get(x, y) == 2 && proc.CountPointPaths(x, y) == 1;
      lineCells += proc.mat().Get(x, y) != 0;
    }
  EXPECT_EQ(ends, 4);
  // The crowded centre (the 2 x 2 block and the cells touching it, all junction cells by
  // their branch count) keeps at least one anchor and loses most.
  EXPECT_GE(anchors - ends, 1);
  EXPECT_LE(anchors - ends, 3);
  EXPECT_EQ(proc.CountPointPaths2(5, 11), 2);  // a plain line cell
  EXPECT_EQ(proc.CountPointPaths2(3, 11), 1);  // the west end
  EXPECT_EQ(proc.CountPointPaths3(5, 11), 2);
  EXPECT_EQ(CImgProc::CountPointPaths(tagBITMAP{}, 0, 0), 0);
  CPolyPolyPoint lines;
  const int n = proc.TraceAnchorPointsAndLines(lines, 2);
  EXPECT_EQ(n, lines.GetSize());
  EXPECT_GE(n, 3);  // two arms may join through the crossing: a corner, not a fragment
  int taken = 0;
  for (INT_PTR i = 0; i < lines.GetSize(); ++i)
    taken += static_cast<int>(lines.GetAt(i)->GetSize());
  EXPECT_GE(taken, lineCells);  // junction cells are shared by the branches that meet there
  for (int y = 0; y < proc.mat().GetHeight(); ++y)
    for (int x = 0; x < proc.mat().GetWidth(); ++x) EXPECT_EQ(proc.mat().Get(x, y), 0);
  // Drawing the polylines back gives the same cells, except a junction cell that no branch
  // passes through.
  proc.MakeLinesMat(lines);
  int redrawn = 0;
  for (int y = 0; y < proc.mat().GetHeight(); ++y)
    for (int x = 0; x < proc.mat().GetWidth(); ++x) redrawn += proc.mat().Get(x, y) != 0;
  EXPECT_GE(redrawn, lineCells - 1);
  EXPECT_LE(redrawn, lineCells);
}
