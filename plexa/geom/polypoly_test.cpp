#include "plexa/geom/polypoly.h"

#include <gtest/gtest.h>

#include "tests/support.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

using namespace plexa::test;

CBPointArray* Path(std::initializer_list<CDPOINT> anchors) {
  return new CBPointArray(plexa::test::Poly(anchors));
}

// Counts live elements, so ownership errors show up as a wrong count (and under ASan).
struct Counted : CArray<int, int> {
  static inline int alive = 0;
  Counted() { ++alive; }
  Counted(const Counted& o) : CArray<int, int>(o) { ++alive; }
  ~Counted() override { --alive; }
};

}  // namespace

TEST(CPolyPoly, OwnershipAndSilentIndexRules) {
  {
    CPolyPolyOf<Counted, false> set;
    set.Add(new Counted);
    set.Add(new Counted);
    set.SetAt(-1, nullptr);            // negative: nothing
    EXPECT_EQ(set.GetAt(2), nullptr);  // out of range: null, no failure
    EXPECT_EQ(set.GetAt(-1), nullptr);
    set.SetAt(0, new Counted);  // replaces and deletes the old one
    EXPECT_EQ(Counted::alive, 2);
    auto* spare = new Counted;
    EXPECT_THROW(set.SetAt(2, spare), CInvalidArgException);
    EXPECT_EQ(Counted::alive, 3);  // nothing was deleted before the failure
    delete spare;
    set.SetAtGrow(4, new Counted);  // grows, leaving null slots 2 and 3
    EXPECT_EQ(set.GetSize(), 5);
    EXPECT_EQ(set.GetAt(3), nullptr);
    set.RemoveAt(7);  // outside: nothing
    set.RemoveAt(1);
    EXPECT_EQ(Counted::alive, 2);
    EXPECT_EQ(set.GetSize(), 4);
  }
  EXPECT_EQ(Counted::alive, 0);  // the destructor deleted the rest, null slots included
}

TEST(CPolyPoly, CopySkipsNullPathsButOtherContainersStopAtThem) {
  CPolyPolyBezier paths;
  paths.Add(Path({{0, 0}, {1, 0}}));
  paths.Add(nullptr);
  paths.Add(Path({{5, 5}, {6, 6}, {7, 7}}));
  CPolyPolyBezier copy(paths);
  ASSERT_EQ(copy.GetSize(), 2);  // one path shorter
  EXPECT_EQ(copy[1].GetSize(), 3);
  EXPECT_NE(copy.GetAt(1), paths.GetAt(2));  // deep copy

  CPolyPolyDPoint lines;
  lines.Add(new CArray<CDPOINT, CDPOINT>);
  lines.Add(nullptr);
  lines.Add(new CArray<CDPOINT, CDPOINT>);
  CPolyPolyDPoint lcopy;
  lcopy.Copy(lines);
  EXPECT_EQ(lcopy.GetSize(), 1);  // stops at the first null slot

  copy.AppendCurve(copy);  // appending a set to itself doubles it once
  EXPECT_EQ(copy.GetSize(), 4);
}

TEST(CPolyPoly, ReverseOrientAndTransform) {
  CPolyPolyBezier set;
  set.Add(Path({{0, 0}, {0, 1}, {1, 1}, {1, 0}, {0, 0}}));  // counter-clockwise on screen
  set.Add(Path({{9, 9}}));
  set.MakeReverse(false);
  EXPECT_EQ(set[0].GetSize(), 1);
  set.MakeReverse(true);
  EXPECT_EQ(set[0][1].anchor, CDPOINT(1, 0));

  CPolyPolyBezier sq;
  sq.Add(Path({{0, 0}, {0, 1}, {1, 1}, {1, 0}, {0, 0}}));
  EXPECT_FALSE(sq[0].IsClockwise());
  sq.SetOrientation(true);
  EXPECT_TRUE(sq[0].IsClockwise());

  CView3D v;
  v.Translate(-10, 0, 0);
  sq.ApplyTransformation(v);
  EXPECT_EQ(sq[0][1].anchor, CDPOINT(11, 0));

  CPolyPolyDPoint lines;
  auto* l = new CArray<CDPOINT, CDPOINT>;
  l->Add(CDPOINT(1, 2));
  lines.Add(l);
  lines.Add(nullptr);
  lines.ApplyTransformation(v);
  EXPECT_EQ(lines.GetAt(0)->GetAt(0), CDPOINT(11, 2));
}

TEST(ReverseArray, IsAOneSidedMirrorCopy) {
  CArray<CDPOINT, CDPOINT> four;
  for (int i = 0; i < 4; ++i) four.Add(CDPOINT(i, 0));
  ReverseArray(four);  // (A,B,C,D) -> (D,C,C,D)
  const double want4[] = {3, 2, 2, 3};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(four[i].x, want4[i]);

  CArray<CDPOINT, CDPOINT> three;
  for (int i = 0; i < 3; ++i) three.Add(CDPOINT(i, 0));
  ReverseArray(three);  // (A,B,C) -> (C,B,C)
  const double want3[] = {2, 1, 2};
  for (int i = 0; i < 3; ++i) EXPECT_EQ(three[i].x, want3[i]);
}

TEST(CBPointArray, ReverseKeepsSegmentShapesAndRemoveSamePointsKeepsTheLater) {
  CBPointArray p;
  p.Add(CBPOINT(CDPOINT(-1, 0), CDPOINT(0, 0), CDPOINT(1, 1)));
  p.Add(CBPOINT(CDPOINT(2, 1), CDPOINT(3, 0), CDPOINT(4, -1)));
  p.MakeReverse();
  // Segment 0 now runs (3,0) -> (2,1) -> (1,1) -> (0,0): the old segment backwards.
  EXPECT_EQ(p[0].anchor, CDPOINT(3, 0));
  EXPECT_EQ(p[0].out, CDPOINT(2, 1));
  EXPECT_EQ(p[1].in, CDPOINT(1, 1));

  CBPointArray one;
  one.Add(CBPOINT(CDPOINT(1, 0), CDPOINT(0, 0), CDPOINT(2, 0)));
  one.MakeReverse();
  EXPECT_EQ(one[0].in, CDPOINT(2, 0));

  CBPointArray r;
  CBPOINT a = CBPOINT(CDPOINT(0, 0), CDPOINT(0, 0), CDPOINT(0, 0));
  CBPOINT b = a;
  b.in = CDPOINT(0.05, 0);
  b.attr = 9;
  r.Add(a);
  r.Add(b);
  r.Add(Corner(5, 5));
  r.RemoveSamePoints(0);  // only exact repeats
  EXPECT_EQ(r.GetSize(), 3);
  r.RemoveSamePoints(0.1);
  ASSERT_EQ(r.GetSize(), 2);
  EXPECT_EQ(r[0].attr, 9);  // the later node survives
  CBPointArray chain;       // each node is compared with the next survivor, not its old neighbour
  for (double x : {0.0, 0.08, 0.16, 0.24, 5.0}) chain.Add(Corner(x, 0));
  chain.RemoveSamePoints(0.1);
  ASSERT_EQ(chain.GetSize(), 3);
  EXPECT_EQ(chain[0].anchor, CDPOINT(0.08, 0));
  EXPECT_EQ(chain[1].anchor, CDPOINT(0.24, 0));

  CBPointArray two;  // orientation over a pair and its wrap-around: S = 0, clockwise
  two.Add(Corner(0, 0));
  two.Add(Corner(1, 0));
  EXPECT_EQ(two.SetOrientation(true), 0);
  EXPECT_EQ(two.SetOrientation(false), 1);
}

TEST(CBPointArray, ClosednessAndEqualityTolerances) {
  std::unique_ptr<CBPointArray> tri(Path({{0, 0}, {1, 0}, {0, 1}, {0.5e-8, -0.5e-8}}));
  EXPECT_TRUE(tri->IsPolyBezierClosed());
  std::unique_ptr<CBPointArray> two(Path({{0, 0}, {0, 0}}));
  EXPECT_FALSE(two->IsPolyBezierClosed());  // fewer than 3 nodes
  std::unique_ptr<CBPointArray> open(Path({{0, 0}, {1, 0}, {0, 1}, {2e-8, 0}}));
  EXPECT_FALSE(open->IsPolyBezierClosed());

  CBPointArray a(*tri), b(*tri);
  b[1].attr = 5;        // not compared
  b[1].in.x += 0.5e-8;  // within 1e-8
  EXPECT_TRUE(a == b);
  b[1].out.y += 2e-8;
  EXPECT_FALSE(a == b);
  EXPECT_TRUE(CBPointArray() == CBPointArray());
}

TEST(CPolyPolyBezier, SetInsideTestBoundsAndRectangles) {
  CPolyPolyBezier set;
  set.Add(CreateBParFromDrect(PLEXA::CDRECT(0, 100, 0, 100)));
  set.Add(CreateBParFromDrect(PLEXA::CDRECT(20, 40, 20, 40)));
  set.Add(nullptr);
  ASSERT_EQ(set[0].GetSize(), 5);
  // Inside both squares: the first holding path answers 1; the parity of two is 0.
  EXPECT_EQ(IsPointInPolyPolyBezier(set, tagPOINT{30, 30}, false), 1);
  EXPECT_EQ(IsPointInPolyPolyBezier(set, tagPOINT{30, 30}, true), 0);
  EXPECT_EQ(IsPointInPolyPolyBezier(set, tagPOINT{60, 60}, true), 1);
  EXPECT_EQ(IsPointInPolyPolyBezier(set, tagPOINT{160, 60}, false), 0);

  set.Add(CreateBParFromDrect(PLEXA::CDRECT(-10, 50, 90, 150)));
  const PLEXA::CDRECT r = GetPolyPolyBezierRect(set, 1000.0);  // the step is ignored
  EXPECT_EQ(r, PLEXA::CDRECT(-10, 100, 0, 150));

  // A point-sized first path is replaced, not merged: (5,5) does not widen the union.
  CPolyPolyBezier dots;
  auto* dot = new CBPointArray;
  dot->Add(Corner(5, 5));
  dot->Add(Corner(5, 5));
  dots.Add(dot);
  dots.Add(CreateBParFromDrect(PLEXA::CDRECT(10, 20, 10, 20)));
  EXPECT_EQ(GetPolyPolyBezierRect(dots, 1.0), PLEXA::CDRECT(10, 20, 10, 20));
}
