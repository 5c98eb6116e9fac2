#include "plexa/geom/pathset.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "plexa/core/planar.h"
#include "tests/support.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

using namespace plexa::test;

// An S-shaped open path of two curved segments.
CBPointArray Wave() {
  CBPointArray p;
  p.Add(CBPOINT(CDPOINT(0, 0), CDPOINT(0, 0), CDPOINT(10, 30)));
  p.Add(CBPOINT(CDPOINT(30, 30), CDPOINT(40, 0), CDPOINT(50, -30)));
  p.Add(CBPOINT(CDPOINT(70, -30), CDPOINT(80, 0), CDPOINT(80, 0)));
  return p;
}

void AddTo(CPolyPolyBezier& set, const CBPointArray& p) {
  set.Add(std::make_unique<CBPointArray>(p).release());
}

std::vector<int> Ints(const CArray<int, int>& a) {
  return std::vector<int>(a.begin(), a.end());
}

// The node count after closing a copy of p.
INT_PTR SizeAfterClosing(CBPointArray p) {
  ClosePolyBezier(p);
  return p.GetSize();
}

// The indexes GetPolyPolyHoles (or, with holes false, GetPolyPolyNoHoles) reports.
std::vector<int> Holes(const CPolyPolyBezier& set, double ratio, bool holes = true) {
  CArray<int, int> out;
  out.Add(-9);  // replaced, not appended to
  if (holes)
    GetPolyPolyHoles(set, out, ratio);
  else
    GetPolyPolyNoHoles(set, out, ratio);
  return Ints(out);
}

TEST(PathSet, ClosingAndClosedness) {
  CBPointArray open = Poly({{0, 0}, {10, 0}});
  open[0].attr = 7;
  ClosePolyBezier(open);
  ASSERT_EQ(open.GetSize(), 3);
  EXPECT_EQ(open[2], open[0]);  // whole node, attribute word included

  EXPECT_EQ(SizeAfterClosing(Rect(0, 0, 10, 10)), 5);  // already closed
  // The test is per coordinate: just under 1e-8 counts as closed, exactly 1e-8 does not.
  EXPECT_EQ(SizeAfterClosing(Poly({{0, 0}, {10, 0}, {10, 10}, {0.5e-8, 0}})), 4);
  EXPECT_EQ(SizeAfterClosing(Poly({{0, 0}, {10, 0}, {10, 10}, {0, 1e-8}})), 5);
  EXPECT_EQ(SizeAfterClosing(Poly({{3, 3}})), 1);

  CPolyPolyBezier set;
  EXPECT_FALSE(IsPolyPolyBezierClosed(set));
  set.Add(nullptr);
  EXPECT_TRUE(IsPolyPolyBezierClosed(set));
  AddTo(set, Poly({{0, 0}, {5, 0}, {5, 5}}));
  EXPECT_FALSE(IsPolyPolyBezierClosed(set));
  ClosePolyPolyBezier(set);
  EXPECT_TRUE(IsPolyPolyBezierClosed(set));
}

TEST(PathSet, EqualityWithinTheEpsilon) {
  EXPECT_TRUE(ArePolyBezierEqual(CBPointArray(), CBPointArray()));
  CBPointArray a = Wave(), b = Wave();
  b[1].out.x += 0.9e-8;
  b[2].attr = 3;
  EXPECT_TRUE(ArePolyBezierEqual(a, b));
  b[1].in.y += 1e-8;
  EXPECT_FALSE(ArePolyBezierEqual(a, b));
  b = Wave();
  b.RemoveAt(2);
  EXPECT_FALSE(ArePolyBezierEqual(a, b));
}

TEST(PathSet, CyclicIndexes) {
  // On a closed list of 5 the closing index 4 is skipped; distances are cyclic.
  EXPECT_EQ((std::vector<int>{GetNextClosedBpArIndex(3, 5), GetNextClosedBpArIndex(2, 5),
                              GetNextClosedBpArIndex(4, 5), GetPrevClosedBpArIndex(0, 5),
                              GetPrevClosedBpArIndex(3, 5), GetPointsDistance(4, 1, 6),
                              GetPointsDistance(1, 4, 6), GetPointsDistance(2, 2, 6)}),
            (std::vector<int>{0, 3, 0, 3, 2, 3, 3, 0}));
  // Node 1 repeats node 0; backwards from 1 past 0 and the closing node 4; cyclically from 4
  // past 0 and 1; out of range, or no other node: -1. A different control is a different node.
  const CBPointArray p = Poly({{0, 0}, {0, 0}, {5, 0}, {5, 5}, {0, 0}});
  CBPointArray ctl = Poly({{0, 0}, {0, 0}});
  ctl[1].out.x = 1;
  EXPECT_EQ(
      (std::vector<int>{GetNextBpArIndex(p, 0), GetNextBpArIndex(p, 3), GetPrevBpArIndex(p, 1),
                        GetNextBpArIndex(p, 4), GetNextBpArIndex(p, 5), GetPrevBpArIndex(p, -1),
                        GetNextBpArIndex(Poly({{1, 1}, {1, 1}, {1, 1}}), 1),
                        GetNextBpArIndex(Poly({{1, 1}}), 0), GetPrevBpArIndex(ctl, 0)}),
      (std::vector<int>{2, 4, 3, 2, -1, -1, -1, -1, 1}));
}

// The hole rule written out plainly, every ordered pair and every point, as the reference for
// the accelerated version; every share it computes is appended to shares.
std::vector<int> HolesByDefinition(const CPolyPolyBezier& set, double ratio,
                                   std::vector<double>* shares = nullptr) {
  std::vector<int> holes;
  const int n = static_cast<int>(set.GetSize());
  if (n < 2) return holes;
  std::vector<CArray<tagPOINT>> polys(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    if (!set.GetAt(i)) continue;
    CArray<CDPOINT> flat;
    CDWordArray ends;
    set.GetAt(i)->ExecuteBPointArrayT(flat, ends, 1.0);
    for (const CDPOINT& q : flat)
      polys[static_cast<std::size_t>(i)].Add(tagPOINT{static_cast<LONG>(std::floor(q.x + 0.5)),
                                                      static_cast<LONG>(std::floor(q.y + 0.5))});
  }
  for (int j = 0; j < n; ++j) {
    bool hole = false;
    for (int i = 0; i < n && !hole; ++i) {
      if (i == j) continue;
      const auto& pi = polys[static_cast<std::size_t>(i)];
      const auto& pj = polys[static_cast<std::size_t>(j)];
      const CRect r = GetPolygonRect(pi.GetData(), static_cast<int>(pi.GetSize()));
      int count = 0;
      for (const tagPOINT& q : pj)
        count += IsPointInPolygon(pi.GetData(), static_cast<int>(pi.GetSize()), q, &r);
      const double share = static_cast<double>(count) / static_cast<double>(pj.GetSize());
      if (shares && !pj.IsEmpty()) shares->push_back(share);
      hole = share >= ratio;
    }
    if (hole) holes.push_back(j);
  }
  return holes;
}

TEST(PathSet, HolesAreContainmentNotParity) {
  CPolyPolyBezier set;
  AddTo(set, Rect(0, 0, 100, 100));
  AddTo(set, Rect(10, 10, 90, 90));
  AddTo(set, Rect(20, 20, 80, 80));
  EXPECT_EQ(Holes(set, 1.0), (std::vector<int>{1, 2}));  // the island in the hole is a hole too
  EXPECT_EQ(Holes(set, 1.0, false), (std::vector<int>{0}));
  EXPECT_TRUE(Holes(set, 1.0000001).empty());
  EXPECT_EQ(Holes(set, 0.0), (std::vector<int>{0, 1, 2}));
  EXPECT_TRUE(Holes(set, kNaN).empty());

  // Touching from outside: the shared edge is the outer's left edge, which counts as inside.
  CPolyPolyBezier touch;
  AddTo(touch, Rect(0, 0, 100, 100));
  AddTo(touch, Rect(-50, 20, 0, 80));
  EXPECT_EQ(Holes(touch, 0.05), (std::vector<int>{1}));

  // Fewer than two paths, and a null slot (no points: never a hole, never holds one).
  CPolyPolyBezier single;
  AddTo(single, Rect(0, 0, 1, 1));
  EXPECT_TRUE(Holes(single, 0.0).empty());
  single.Add(nullptr);
  EXPECT_EQ(Holes(single, 0.0), (std::vector<int>{0}));
  EXPECT_EQ(Holes(single, 0.0, false), (std::vector<int>{1}));

  EXPECT_EQ(RemoveHolesFromPolyPoly(set, 1.0), 2);
  ASSERT_EQ(set.GetSize(), 1);
  EXPECT_DOUBLE_EQ(set[0][2].anchor.x, 100);
}

TEST(PathSet, HolesMatchTheDefinitionOnRandomPages) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> pos(0, 400), size(5, 120);
  for (int trial = 0; trial < 40; ++trial) {
    CPolyPolyBezier set;
    const int n = 2 + trial % 12;
    for (int k = 0; k < n; ++k) {
      const double x = pos(rng), y = pos(rng), s = size(rng);
      if (k % 3 == 0)
        AddTo(set, Circle(x, y, s / 2));
      else
        AddTo(set, Rect(x, y, x + s, y + size(rng) / 2));
    }
    std::vector<double> ratios{-1.0, 0.0, 0.2, 0.5, 0.75, 1.0, 1.5};
    HolesByDefinition(set, 2.0, &ratios);  // and every pair's exact share
    for (double ratio : ratios)
      EXPECT_EQ(Holes(set, ratio), HolesByDefinition(set, ratio))
          << "trial " << trial << " ratio " << ratio;
  }
}

TEST(PathSet, ContainmentAndParity) {
  const CBPointArray outer = Rect(0, 0, 100, 100), inner = Rect(10, 10, 90, 90),
                     dot = Circle(50, 50, 5);
  EXPECT_TRUE(IsPolyBezierInPolyBezier(outer, inner, 0));
  EXPECT_FALSE(IsPolyBezierInPolyBezier(inner, outer, 0));
  // Bounds must nest in the exact case: a path over the edge fails, with a share allowed
  // outside it passes.
  // A quarter of this outline's length lies outside (x >= 100 counts as outside: right
  // edges are outside in the even-odd test); its flattening has about 31% of its points there.
  const CBPointArray over = Rect(50, 40, 110, 60);
  EXPECT_FALSE(IsPolyBezierInPolyBezier(outer, over, 0));
  EXPECT_FALSE(IsPolyBezierInPolyBezier(outer, over, 0.2));
  EXPECT_TRUE(IsPolyBezierInPolyBezier(outer, over, 0.4));
  EXPECT_TRUE(IsPolyBezierInPolyBezier(outer, over, -0.4));  // the size of tol counts
  EXPECT_FALSE(IsPolyBezierInPolyBezier(outer, over, kNaN));
  EXPECT_FALSE(IsPolyBezierInPolyBezier(Poly({{0, 0}}), dot, 0));
  EXPECT_FALSE(IsPolyBezierInPolyBezier(outer, CBPointArray(), 0.5));

  CPolyPolyBezier set;
  AddTo(set, outer);
  EXPECT_TRUE(IsPolyBezierInPolyPolyBezier(set, dot, 0));
  AddTo(set, inner);
  set.Add(nullptr);
  EXPECT_FALSE(IsPolyBezierInPolyPolyBezier(set, dot, 0));  // inside two: count 2, even
  EXPECT_TRUE(IsPolyBezierInPolyPolyBezier(set, Rect(2, 2, 5, 5), 0));
}

TEST(PathSet, FlatteningASet) {
  CPolyPolyBezier set;
  AddTo(set, Rect(0, 0, 10, 10));
  set.Add(nullptr);
  AddTo(set, Circle(0, 0, 20));
  CPolyPolyDPoint polys;
  CArray<CDWordArray*> ends;
  ExecutePolyPolyBezier(set, polys, ends, 1.0);
  ASSERT_EQ(polys.GetSize(), 3);
  ASSERT_EQ(ends.GetSize(), 3);
  EXPECT_EQ(ends[0]->GetSize(), 4);
  EXPECT_EQ(polys.GetAt(1)->GetSize(), 0);
  EXPECT_EQ(ends[2]->GetSize(), 4);
  EXPECT_EQ((*ends[2])[3], static_cast<DWORD>(polys.GetAt(2)->GetSize()));
  for (CDWordArray* e : ends) delete e;  // the caller owns the index arrays

  CPolyPolyDPoint polysEx;
  CPolyPolyDouble params;
  CArray<CDWordArray*> endsEx;
  ExecutePolyPolyBezierEx(set, polysEx, &params, &endsEx, 1.01);
  ASSERT_EQ(polysEx.GetSize(), 3);
  ASSERT_EQ(params.GetSize(), 3);
  EXPECT_EQ(params.GetAt(2)->GetSize(), polysEx.GetAt(2)->GetSize());
  EXPECT_EQ(endsEx[0]->GetSize(), 4);
  for (CDWordArray* e : endsEx) delete e;
  CPolyPolyDPoint only;
  ExecutePolyPolyBezierEx(set, only, nullptr, nullptr, 1.01);
  EXPECT_EQ(only.GetSize(), 3);
}

TEST(PathSet, MaxSegmentLengthRebuild) {
  // A straight 100-unit segment, limit 30: halved at t = 0.5, then each half at its own
  // t = 0.5, so the anchors are the original curve's points at t = 1/4, 1/2, 3/4.
  CBPointArray line;
  line.CreateLine(CDPOINT(0, 0), CDPOINT(100, 0));  // handles at 30 and 70
  const CBezier original(line[0], line[1]);
  SetMaxBezierLength(line, 30);
  ASSERT_EQ(line.GetSize(), 5);
  for (int i = 0; i < 5; ++i)
    EXPECT_POINT_NEAR(line[i].anchor, original.GetCurvePoint(i / 4.0), 1e-9);
  CBezier left, right, quarter, rest;
  original.Split(0.5, left, right);
  left.Split(0.5, quarter, rest);
  EXPECT_EQ(line[0].out, quarter.GetPoint2());  // the first piece's P2 on both its controls
  EXPECT_EQ(line[1].in, quarter.GetPoint2());
  for (int i = 0; i + 1 < 5; ++i) EXPECT_EQ(line[i].out, line[i + 1].in);
  EXPECT_EQ(line[0].in, line[0].anchor);
  EXPECT_EQ(line[4].out, line[4].anchor);

  // Nothing to split: P1 is still dropped in favour of P2.
  CBPointArray w = Wave();
  const CBPointArray before = w;
  w[0].in = CDPOINT(-5, -5);
  w[0].attr = 9;
  SetMaxBezierLength(w, 1e6);
  ASSERT_EQ(w.GetSize(), 3);
  EXPECT_EQ(w[0].in, before[0].anchor);
  EXPECT_EQ(w[0].out, before[1].in);
  EXPECT_EQ(w[1].in, before[1].in);
  EXPECT_EQ(w[1].out, before[2].in);
  EXPECT_EQ(w[2].out, before[2].anchor);
  EXPECT_EQ(w[0].attr, 0);

  CBPointArray keep = Wave();
  SetMaxBezierLength(keep, 0);
  SetMaxBezierLength(keep, -1);
  SetMaxBezierLength(keep, kNaN);
  EXPECT_TRUE(ArePolyBezierEqual(keep, Wave()));

  // Every piece of the curve is within the limit afterwards.
  CPolyPolyBezier set;
  AddTo(set, Circle(0, 0, 100));
  set.Add(nullptr);
  SetMaxBezierLength(set, 7);
  const CBPointArray& c = set[0];
  EXPECT_GT(c.GetSize(), 90);
  for (int i = 0; i + 1 < c.GetSize(); ++i) EXPECT_LE(CBezier(c[i], c[i + 1]).GetLength(), 7);

  // Hostile input ends: infinite lengths stop at the depth cap, tiny limits at the ceiling.
  CBPointArray inf = Poly({{0, 0}, {kInf, 0}});
  SetMaxBezierLength(inf, 1);
  EXPECT_LE(inf.GetSize(), kMaxLengthSegmentCeiling + 1);
  CBPointArray nan = Poly({{0, 0}, {kNaN, 0}});
  SetMaxBezierLength(nan, 1);
  EXPECT_EQ(nan.GetSize(), 2);
}

TEST(PathSet, MatchingAndBlending) {
  // A 2-node and a 3-node version of the same 0..90 line: the longer list of fractions wins.
  const CBPointArray a = Poly({{0, 0}, {90, 0}});
  const CBPointArray b = Poly({{0, 10}, {30, 10}, {90, 10}});
  CBPointArray a2, b2;
  CArray<double, const double&> params;
  ASSERT_TRUE(MatchPoints(a, b, a2, b2, params));
  ASSERT_TRUE(a2.GetSize() == 3 && b2.GetSize() == 3 && params.GetSize() == 3);
  EXPECT_NEAR(params[1], 1.0 / 3, 1e-12);
  EXPECT_NEAR(a2[1].anchor.x, 30, 1e-6);   // inserted at a third of the length
  EXPECT_NEAR(a2.CalcLength(), 90, 1e-9);  // shape unchanged

  // Curves: corresponding nodes sit at equal length fractions of both.
  const CBPointArray c1 = Circle(0, 0, 50), w = Wave();
  ASSERT_TRUE(MatchPoints(c1, w, a2, b2, params));
  EXPECT_EQ(a2.GetSize(), b2.GetSize());
  EXPECT_NEAR(a2.CalcLength(), c1.CalcLength(), 1e-3);
  EXPECT_NEAR(b2.CalcLength(), w.CalcLength(), 1e-3);
  for (int i = 1; i + 1 < a2.GetSize(); ++i) {
    EXPECT_NEAR(CBezier::GetBPointArrayLength(a2, i) / a2.CalcLength(), params[i], 1e-3);
    EXPECT_NEAR(CBezier::GetBPointArrayLength(b2, i) / b2.CalcLength(), params[i], 1e-3);
  }

  EXPECT_FALSE(MatchPoints(CBPointArray(), w, a2, b2, params));
  EXPECT_TRUE(a2.IsEmpty());
  ASSERT_TRUE(MatchPoints(Poly({{5, 5}}), w, a2, b2, params));  // one node is repeated
  EXPECT_EQ(a2.GetSize(), 3);
  EXPECT_EQ(a2[2].anchor, CDPOINT(5, 5));

  // The first anchor's y of each blend: t = k / (steps + 1), the ends included on request.
  // One output set throughout: each call empties it first.
  CPolyPolyBezier out;
  const auto blend = [&out](int steps, const CBPointArray& from, const CBPointArray& to,
                            bool ends) {
    Interpolate(out, steps, from, to, ends);
    std::vector<double> ys;
    for (INT_PTR k = 0; k < out.GetSize(); ++k) ys.push_back(out[static_cast<int>(k)][0].anchor.y);
    return ys;
  };
  EXPECT_EQ(blend(3, a, b, false), (std::vector<double>{2.5, 5, 7.5}));
  EXPECT_EQ(blend(3, a, b, true), (std::vector<double>{0, 2.5, 5, 7.5, 10}));
  EXPECT_EQ(blend(0, a, b, true), (std::vector<double>{0, 10}));
  EXPECT_TRUE(blend(-4, a, b, false).empty());
  EXPECT_TRUE(blend(3, a, CBPointArray(), true).empty());

  // Hostile coordinates finish and keep the counts equal.
  ASSERT_TRUE(MatchPoints(Poly({{0, 0}, {kNaN, 1}, {2, 2}}),
                          Poly({{0, 0}, {kInf, 0}, {3, 3}, {4, 4}}), a2, b2, params));
  EXPECT_EQ(a2.GetSize(), b2.GetSize());
}

// Points of the path at many parameters of each segment, to compare shapes.
std::vector<CDPOINT> Sample(const CBPointArray& p) {
  std::vector<CDPOINT> s;
  for (int i = 0; i + 1 < p.GetSize(); ++i)
    for (int k = 0; k <= 8; ++k) s.push_back(CBezier(p[i], p[i + 1]).GetCurvePoint(k / 8.0));
  return s;
}

// Largest distance from the sample points to the path (by the exact nearest point).
double Deviation(const std::vector<CDPOINT>& samples, const CBPointArray& path) {
  double worst = 0;
  for (const CDPOINT& q : samples) {
    int seg;
    double t;
    worst = std::max(worst, GetCurvePointSegmentT(path, q, seg, t));
  }
  return worst;
}

TEST(PathSet, InsertingNodesKeepsTheShape) {
  CBPointArray p = Wave();
  const std::vector<CDPOINT> shape = Sample(p);
  const CDPOINT at = CBezier(p[1], p[2]).GetCurvePoint(0.3);
  EXPECT_EQ(AddPointToPolyBezier(p, 1, 0.3), 2);
  ASSERT_EQ(p.GetSize(), 4);
  EXPECT_POINT_NEAR(p[2].anchor, at, 1e-12);
  EXPECT_LT(Deviation(shape, p), 1e-9);
  EXPECT_LT(Deviation(Sample(p), Wave()), 1e-9);

  // At a point of the curve, on a given segment and anywhere; repeated subdivision from the
  // highest parameter down, as the outline effects do it.
  CBPointArray q = Wave();
  const CBezier seg0(q[0], q[1]);
  for (int j = 3; j >= 1; --j)
    EXPECT_EQ(AddPointToPolyBezier(q, 0, seg0.GetCurvePoint(j / 4.0)), 1);
  ASSERT_EQ(q.GetSize(), 6);
  for (int j = 1; j <= 3; ++j) EXPECT_POINT_NEAR(q[j].anchor, seg0.GetCurvePoint(j / 4.0), 1e-7);
  EXPECT_LT(Deviation(shape, q), 1e-7);
  const CDPOINT target = CBezier(q[4], q[5]).GetCurvePoint(0.5);
  EXPECT_EQ(AddPointToPolyBezier(q, CDPOINT(target.x, target.y + 1e-3)), 5);
  EXPECT_POINT_NEAR(q[5].anchor, target, 2e-3);

  // At a point of the flattening.
  CBPointArray r = Wave();
  CArray<CDPOINT> flat;
  CDWordArray ends;
  r.ExecuteBPointArrayT(flat, ends, 1.0);
  const int idx = static_cast<int>(ends[0]) + 3;  // a point of segment 1
  EXPECT_EQ(AddPointToPolyBezier(r, flat, ends, idx), 2);
  EXPECT_LT(Deviation(shape, r), 1e-9);

  // Ends and refusals.
  CBPointArray s = Wave();
  EXPECT_EQ(AddPointToPolyBezier(s, 1, 0.0), 1);
  EXPECT_EQ(AddPointToPolyBezier(s, 1, 1.0), 2);
  EXPECT_EQ(AddPointToPolyBezier(s, 0, 5.0), 1);  // clamped to the end
  EXPECT_EQ(AddPointToPolyBezier(s, 2, 0.5), -1);
  EXPECT_EQ(AddPointToPolyBezier(s, 0, kNaN), -1);
  EXPECT_EQ(AddPointToPolyBezier(s, flat, ends, -1), -1);
  EXPECT_EQ(AddPointToPolyBezier(s, flat, ends, static_cast<int>(flat.GetSize())), -1);
  EXPECT_EQ(s.GetSize(), 3);
  CBPointArray one = Poly({{1, 1}});
  EXPECT_EQ(AddPointToPolyBezier(one, CDPOINT(1, 1)), -1);
}

TEST(PathSet, PositionsAndTangents) {
  const CBPointArray w = Wave();
  const double length = w.CalcLength();
  for (double pos : {0.0, 10.0, length / 2, length * 0.8}) {
    int seg;
    double t;
    const CDPOINT pt = GetPointFromPosition(w, pos, &seg, &t);
    EXPECT_NEAR(GetSegmentT2PathPos(w, seg, t), pos, 1e-6);
    int seg2;
    double t2;
    EXPECT_LT(GetCurvePointSegmentT(w, pt, seg2, t2), 1e-6);
    EXPECT_POINT_NEAR(CBezier(w[seg2], w[seg2 + 1]).GetCurvePoint(t2), pt, 1e-6);
  }
  EXPECT_NEAR(GetSegmentT2PathPos(w, 9, 2.0), length, 1e-9);  // clamped to the end
  EXPECT_EQ(GetSegmentT2PathPos(Poly({{1, 1}}), 0, 0.5), 0);
  int seg = 5;
  double t = 5;
  EXPECT_EQ(GetPointFromPosition(Poly({{4, 2}}), 3, &seg, &t), CDPOINT(4, 2));
  EXPECT_EQ(seg, -1);
  EXPECT_EQ(GetCurvePointSegmentT(CBPointArray(), CDPOINT(), seg, t), -1);

  const CBPointArray diag = Poly({{0, 0}, {10, 10}, {10, 10}, {10, 20}});
  EXPECT_NEAR(GetBPointArrayTangentAngle(diag, 0, 0.5), M_PI / 4, 1e-9);
  EXPECT_NEAR(GetBPointArrayTangentAngle(diag, 1, 0.5), M_PI / 2,
              1e-9);  // a point: the next segment's chord
  EXPECT_NEAR(GetBPointArrayTangentAngle(diag, 2, 0.0), M_PI / 2, 1e-9);
  EXPECT_NEAR(GetBPointArrayTangentAngle(diag, 7, 1.0), M_PI / 2, 1e-9);
  // A circle starts at the middle of its top (ymin) edge heading towards +x.
  EXPECT_NEAR(GetBPointArrayTangentAngle(Circle(0, 0, 10), 0, 0.0), 0, 1e-2);
  EXPECT_EQ(GetBPointArrayTangentAngle(Poly({{1, 1}, {1, 1}}), 0, 0.5), 0);
  EXPECT_EQ(GetBPointArrayTangentAngle(diag, 0, kNaN), 0);

  CPolyPolyDPoint polys;
  auto line = std::make_unique<CArray<CDPOINT>>();
  line->Add(CDPOINT(0, 0));
  line->Add(CDPOINT(10, 20));
  polys.Add(line.release());
  EXPECT_EQ(GetPoint(polys, 0, 0, 0.25), CDPOINT(2.5, 5));
  EXPECT_EQ(GetPoint(polys, 0, 1, 0.25), CDPOINT(10, 20));
  EXPECT_EQ(GetPoint(polys, 1, 0, 0.25), CDPOINT());
  EXPECT_EQ(GetPoint(polys, 0, 2, 0.25), CDPOINT());

  EXPECT_POINT_NEAR(AveragePoint(Rect(0, 0, 10, 20), false, 1.0), CDPOINT(5, 10), 1e-12);
  EXPECT_POINT_NEAR(AveragePoint(Circle(7, -3, 40), true, 0.5), CDPOINT(7, -3), 0.3);
  EXPECT_EQ(AveragePoint(CBPointArray(), true, 1.0), CDPOINT());
  EXPECT_EQ(AveragePoint(Poly({{2, 3}}), true, 1.0), CDPOINT(2, 3));
}

TEST(PathSet, SmoothAndQuadraticConversions) {
  CBPointArray p = Poly({{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}});
  CBPointArray straight = p;
  CalcBezierPoints(&straight, 0);
  EXPECT_TRUE(ArePolyBezierEqual(straight, p));
  CalcBezierPoints(&p, 100);
  // Catmull-Rom: node 1's tangent is (anchor 2 - anchor 0) / 6 = (10, 10) / 6.
  EXPECT_POINT_NEAR(p[1].out, CDPOINT(10 + 10 / 6.0, 10 / 6.0), 1e-12);
  EXPECT_POINT_NEAR(p[1].in, CDPOINT(10 - 10 / 6.0, -10 / 6.0), 1e-12);
  EXPECT_EQ(p[0].out, p[4].out);            // closed: wraps round
  EXPECT_EQ(p[2].anchor, CDPOINT(10, 10));  // the curve still passes through the anchors
  CalcBezierPoints(nullptr, 50);

  // A cubic that is an elevated quadratic converts exactly in one piece.
  const CDPOINT q0(0, 0), qc(30, 60), q2(90, 0);
  CBPointArray cubic;
  cubic.Add(CBPOINT(q0, q0, q0 + (qc - q0) * (2.0 / 3)));
  cubic.Add(CBPOINT(q2 + (qc - q2) * (2.0 / 3), q2, q2));
  CArray<CDPOINT> quad;
  TripleToQuadraticBezier(&cubic, quad);
  ASSERT_EQ(quad.GetSize(), 3);
  EXPECT_POINT_NEAR(quad[1], qc, 1e-9);

  // A circle: every quadratic piece stays within the tolerance of the cubic.
  CBPointArray circle = Circle(0, 0, 100);
  TripleToQuadraticBezier(&circle, quad);
  ASSERT_EQ(quad.GetSize() % 2, 1);
  EXPECT_GT(quad.GetSize(), 9);
  for (int k = 0; k + 2 < quad.GetSize(); k += 2)
    for (int s = 1; s < 8; ++s) {
      const double t = s / 8.0;
      const CDPOINT pt =
          quad[k] * ((1 - t) * (1 - t)) + quad[k + 1] * (2 * t * (1 - t)) + quad[k + 2] * (t * t);
      EXPECT_NEAR(std::hypot(pt.x, pt.y), 100,
                  kQuadraticTolerance + 0.03);  // cubic circle error ~0.03
    }
  TripleToQuadraticBezier(nullptr, quad);
  EXPECT_TRUE(quad.IsEmpty());

  CBPointArray sq = Rect(0, 0, 10, 10);
  EXPECT_TRUE(SetStartingPoint(sq, 2));
  EXPECT_EQ(sq[0].anchor, CDPOINT(10, 10));
  EXPECT_FALSE(SetStartingPoint(sq, 9));
}

TEST(PathSet, AdjacencyJoinsAndMerges) {
  const CBPointArray a = Wave();                        // (0,0) -> (80,0)
  const CBPointArray fwd = Poly({{80, 0}, {80, 50}});   // starts at a's end
  const CBPointArray back = Poly({{80, 50}, {80, 0}});  // ends at a's end
  const CBPointArray before = Poly({{0, 50}, {0, 0}});  // ends at a's start
  const CBPointArray head = Poly({{0, 0}, {0, 50}});    // starts at a's start
  EXPECT_EQ(AreBPointArraysAdjacent(a, fwd, 0), kAdjacentEndStart);
  EXPECT_EQ(AreBPointArraysAdjacent(a, back, 0), kAdjacentEndEnd);
  EXPECT_EQ(AreBPointArraysAdjacent(a, head, 0), kAdjacentStartStart);
  EXPECT_EQ(AreBPointArraysAdjacent(a, before, 0), kAdjacentStartEnd);
  EXPECT_EQ(AreBPointArraysAdjacent(a, Poly({{80.5, 0}, {90, 0}}), 0), kAdjacentNone);
  EXPECT_EQ(AreBPointArraysAdjacent(a, Poly({{80.5, 0}, {90, 0}}), 0.6), kAdjacentEndStart);
  EXPECT_EQ(AreBPointArraysAdjacent(Rect(0, 0, 80, 5), fwd, 1), kAdjacentNone);  // closed

  for (const CBPointArray* other : {&fwd, &back, &head, &before}) {
    CBPointArray j = a;
    ASSERT_TRUE(JoinAdjacentBPointArrays(j, *other, 0));
    EXPECT_EQ(j.GetSize(), 4);
    EXPECT_NEAR(j.CalcLength(), a.CalcLength() + 50, 1e-9);
    EXPECT_TRUE(IsSubPolyBezier(j, a, 1e-9));
  }
  CBPointArray j = a;
  EXPECT_FALSE(JoinAdjacentBPointArrays(j, Poly({{5, 5}, {6, 6}}), 0));
  EXPECT_TRUE(ArePolyBezierEqual(j, a));

  // Three sides of a triangle in mixed directions merge into one closed path.
  CPolyPolyBezier set;
  AddTo(set, Poly({{0, 0}, {10, 0}}));
  set.Add(nullptr);
  AddTo(set, Poly({{5, 8}, {10, 0}}));
  AddTo(set, Poly({{30, 30}, {40, 40}}));
  AddTo(set, Poly({{0, 0}, {5, 8}}));
  EXPECT_EQ(MergePolyBezierCurves(set, 0), 2);
  ASSERT_EQ(set.GetSize(), 2);
  EXPECT_TRUE(set[0].IsPolyBezierClosed());
  EXPECT_EQ(set[0].GetSize(), 4);

  CBPointArray all;
  ConnectPolyBezierCurves(set, all);
  EXPECT_EQ(all.GetSize(), 4 + 2);  // a straight link to (30, 30), then the second path
  EXPECT_NEAR(all.CalcLength(), set[0].CalcLength() + std::hypot(30, 30) + set[1].CalcLength(),
              1e-9);
  CPolyPolyBezier touching;
  AddTo(touching, Poly({{0, 0}, {1, 0}}));
  AddTo(touching, Poly({{1, 0}, {2, 0}}));
  ConnectPolyBezierCurves(touching, all);
  EXPECT_EQ(all.GetSize(), 3);  // coinciding ends merge

  EXPECT_TRUE(
      IsSubPolyBezier(Rect(0, 0, 10, 10), Poly({{0, 10}, {0, 0}, {10, 0}}), 1e-9));  // wraps
  EXPECT_TRUE(IsSubPolyBezier(Rect(0, 0, 10, 10), Poly({{10, 0}, {0, 0}}), 1e-9));   // reversed
  EXPECT_FALSE(IsSubPolyBezier(Rect(0, 0, 10, 10), Poly({{10, 0}, {0, 10}}), 1e-9));
  EXPECT_FALSE(IsSubPolyBezier(Rect(0, 0, 10, 10), CBPointArray(), 1));
}

TEST(PathSet, SubCurvesDuplicatesAndQuantising) {
  // A 10 x 30 rectangle: from corner 0 to corner 1 the short way is the 10-long top edge.
  const CBPointArray r = Rect(0, 0, 10, 30);
  CBPointArray piece;
  ASSERT_TRUE(GetMinSubCurve(r, 0, 1, piece));
  EXPECT_EQ(piece.GetSize(), 2);
  ASSERT_TRUE(GetMinSubCurve(r, 1, 0, piece));  // runs from node 1 to node 0
  EXPECT_EQ(piece[0].anchor, CDPOINT(10, 0));
  EXPECT_EQ(piece[1].anchor, CDPOINT(0, 0));
  ASSERT_TRUE(GetMinSubCurve(r, 3, 1, piece));  // both ways 40 long: the forward one
  EXPECT_NEAR(piece.CalcLength(), 40, 1e-9);
  ASSERT_TRUE(GetMinSubCurve(r, 4, 3, piece));  // the closing node is node 0
  EXPECT_EQ(piece.GetSize(), 2);
  EXPECT_FALSE(GetMinSubCurve(r, 0, 4, piece));
  EXPECT_FALSE(GetMinSubCurve(r, 0, 5, piece));
  const CBPointArray w = Wave();
  ASSERT_TRUE(GetMinSubCurve(w, 2, 0, piece));
  EXPECT_EQ(piece.GetSize(), 3);
  EXPECT_EQ(piece[0].anchor, w[2].anchor);

  CBPointArray d = Poly({{0, 0}, {5, 0}, {5, 0.5e-8}, {5, 0}, {9, 9}});
  d[2].out = CDPOINT(7, 1);
  EXPECT_EQ(DelPolyBezierDuplicatePoints(d), 2);
  ASSERT_EQ(d.GetSize(), 3);
  EXPECT_EQ(d[1].out, CDPOINT(5, 0));  // the last removed node's control (node 3's)
  EXPECT_EQ(DelPolyBezierDuplicatePoints(d), 0);

  CPolyPolyBezier set;
  AddTo(set, Poly({{0.2, 0.2}, {0.7, 0.9}, {1.6, 0.1}, {2.2, 2.4}}));
  (*set.GetAt(0))[1].attr = 5;
  set.Add(nullptr);
  int removed = -1;
  QuantizePoints(set, 1.0, &removed);
  EXPECT_EQ(removed, 1);
  ASSERT_EQ(set[0].GetSize(), 3);
  EXPECT_EQ(set[0][0].attr, 0);
  EXPECT_EQ(set[0][1].anchor, CDPOINT(1, 0));
  EXPECT_EQ(set[0][2].anchor, CDPOINT(2, 2));
  QuantizePoints(set, 0, &removed);
  EXPECT_EQ(removed, 0);
  QuantizePoints(set, kNaN, nullptr);
  EXPECT_EQ(set[0].GetSize(), 3);
}

TEST(PathSet, HostileCoordinatesFinish) {
  // NaN rounds to 0 and huge values saturate in the integer polygons; nothing traps.
  CPolyPolyBezier set;
  AddTo(set, Rect(0, 0, 100, 100));
  AddTo(set, Poly({{kNaN, 0}, {10, kNaN}, {kNaN, kNaN}}));
  AddTo(set, Rect(-1e300, -1e300, 1e300, 1e300));
  AddTo(set, Poly({{kInf, 5}, {5, -kInf}, {kInf, 5}}));
  EXPECT_NE(Holes(set, 0.5).size(), 0u);
  EXPECT_FALSE(IsPolyBezierInPolyPolyBezier(set, Poly({{kNaN, kNaN}, {kNaN, kNaN}}), 0.5) &&
               IsPolyBezierInPolyPolyBezier(set, Poly({{kNaN, kNaN}, {kNaN, kNaN}}), 0));

  CBPointArray p = Poly({{0, 0}, {kNaN, 1}, {2, kInf}});
  EXPECT_GE(AddPointToPolyBezier(p, CDPOINT(kNaN, kNaN)), -1);
  int seg;
  double t;
  GetCurvePointSegmentT(p, CDPOINT(1, 1), seg, t);
  GetPointFromPosition(p, 3, &seg, &t);
  GetBPointArrayTangentAngle(p, 1, 0.5);
  CArray<CDPOINT> quad;
  TripleToQuadraticBezier(&p, quad);
  EXPECT_LE(quad.GetSize(), 2 * 2 * (1 << kQuadraticMaxDepth) + 1);
  CPolyPolyBezier huge;
  AddTo(huge, Poly({{0, 0}, {1e300, 0}}));
  SetMaxBezierLength(huge, 1e-300);  // a length that overflows is not split
  EXPECT_GE(huge[0].GetSize(), 2);
}

}  // namespace
