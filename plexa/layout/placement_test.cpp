// CRandPolylinePlacement: kept copies checked against an independent distance oracle (closest
// approach of their edges), area and obstacle limits, determinism per seed and the bounds on
// degenerate input.
#include "plexa/layout/placement.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "tests/support.h"

using PLEXA::CDPOINT;
using plexa::test::Dist;
using plexa::test::DistanceToPolyline;
using Poly = CRandPolylinePlacement::vvPolyline;

namespace {

CArray<tagPOINT, tagPOINT> Closed(std::initializer_list<tagPOINT> pts) {
  CArray<tagPOINT, tagPOINT> a;
  for (const tagPOINT& p : pts) a.Add(p);
  a.Add(*pts.begin());
  return a;
}

Poly PolyOf(std::initializer_list<tagPOINT> pts) {
  Poly p;
  p.points.assign(pts.begin(), pts.end());
  p.points.push_back(*pts.begin());
  p.rect = CRect(p.points[0].x, p.points[0].y, p.points[0].x, p.points[0].y);
  for (const tagPOINT& q : p.points) {
    p.rect.left = std::min(p.rect.left, q.x);
    p.rect.right = std::max(p.rect.right, q.x);
    p.rect.top = std::min(p.rect.top, q.y);
    p.rect.bottom = std::max(p.rect.bottom, q.y);
  }
  return p;
}

std::vector<CDPOINT> Copy(CView3D v, const CArray<tagPOINT, tagPOINT>& outline) {
  std::vector<CDPOINT> out;
  for (INT_PTR i = 0; i < outline.GetSize(); ++i) {
    v.Transfer(outline[i].x, outline[i].y, 0);
    out.emplace_back(v.x(), v.y());
  }
  return out;
}

// Closest approach of two closed polylines' edges (no crossings assumed: then it lies at a
// vertex of one of them).
double Gap(const std::vector<CDPOINT>& a, const std::vector<CDPOINT>& b) {
  double d = INFINITY;
  for (const CDPOINT& v : a) d = std::min(d, DistanceToPolyline(b, v));
  for (const CDPOINT& v : b) d = std::min(d, DistanceToPolyline(a, v));
  return d;
}

}  // namespace

TEST(RandPolylinePlacement, HitTestFindsContainmentAndCrossings) {
  const Poly big = PolyOf({{0, 0}, {100, 0}, {100, 100}, {0, 100}});
  struct Case {
    Poly other;
    bool hit;
  } cases[] = {
      {PolyOf({{200, 0}, {300, 0}, {300, 100}, {200, 100}}), false},     // apart
      {PolyOf({{40, 40}, {60, 40}, {60, 60}, {40, 60}}), true},          // inside: vertex test
      {PolyOf({{-50, -50}, {150, -50}, {150, 150}, {-50, 150}}), true},  // around
      {PolyOf({{-20, 40}, {120, 40}, {120, 60}, {-20, 60}}), true},      // a bar across: edges only
      {PolyOf({{90, -10}, {200, -10}, {200, 80}}), false},  // boxes overlap, shapes do not
  };
  for (const Case& c : cases) {
    EXPECT_EQ(CRandPolylinePlacement::vvPolylinesHit(big, c.other), c.hit) << c.other.rect.left;
    EXPECT_EQ(CRandPolylinePlacement::vvPolylinesHit(c.other, big), c.hit) << c.other.rect.left;
  }
}

TEST(RandPolylinePlacement, CopiesKeepTheirClearanceInsideTheArea) {
  const auto outline = Closed({{0, 0}, {1000, 0}, {1000, 600}, {500, 1000}, {0, 600}});
  const CRect area(-3000, 1000, 17000, 11000);
  const CRect obstacle(5000, 4000, 9000, 8000);
  CRandPolylinePlacement place;
  std::vector<CView3D> copies;
  CPoint offset;
  std::srand(11);
  place.PlacePolylines(area, outline, {obstacle}, copies, offset);
  ASSERT_GT(copies.size(), 20u);
  ASSERT_EQ(copies.size(), place.GetPolylines().size());

  // Clearance polygons are the copies enlarged by (400 / 1000 + 1): each reaches at least
  // 0.6 * 400 / 2 beyond its copy, so copies keep 240 apart (less 2 for rounding) and 120
  // from the obstacle and the area's border.
  std::vector<std::vector<CDPOINT>> shapes;
  CRect all = place.GetPolylines()[0].rect;
  for (std::size_t i = 0; i < copies.size(); ++i) {
    shapes.push_back(Copy(copies[i], outline));
    const CRect& r = place.GetPolylines()[i].rect;
    all = CRect(std::min(all.left, r.left), std::min(all.top, r.top), std::max(all.right, r.right),
                std::max(all.bottom, r.bottom));
    for (const CDPOINT& p : shapes.back()) {
      EXPECT_TRUE(p.x >= area.left + 118 && p.x <= area.right - 118) << p.x;
      EXPECT_TRUE(p.y >= area.top + 118 && p.y <= area.bottom - 118) << p.y;
      const double dx = std::max({obstacle.left - p.x, p.x - obstacle.right, 0.0});
      const double dy = std::max({obstacle.top - p.y, p.y - obstacle.bottom, 0.0});
      EXPECT_GE(std::hypot(dx, dy), 118) << i;
    }
    // The copy's own transform: scale 0.6 .. 1.2 about the outline's centre (500, 500).
    const double side = Dist(shapes.back()[1], shapes.back()[0]);
    EXPECT_TRUE(side >= 600 - 1e-6 && side <= 1200 + 1e-6) << side;
  }
  for (std::size_t i = 0; i < shapes.size(); ++i)
    for (std::size_t j = i + 1; j < shapes.size(); ++j)
      EXPECT_GE(Gap(shapes[i], shapes[j]), 238) << i << " " << j;
  EXPECT_EQ(offset, CPoint((all.left + all.right) / 2 - 7000, (all.top + all.bottom) / 2 - 6000));

  // The same seed gives the same placement.
  std::vector<CView3D> again;
  std::srand(11);
  place.PlacePolylines(area, outline, {obstacle}, again, offset);
  ASSERT_EQ(again.size(), copies.size());
  for (std::size_t i = 0; i < copies.size(); ++i)
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c) EXPECT_EQ(again[i].mat()[r][c], copies[i].mat()[r][c]);
}

TEST(RandPolylinePlacement, BoundedOnDegenerateInput) {
  const auto square = Closed({{0, 0}, {100, 0}, {100, 100}, {0, 100}});
  struct Case {
    CArray<tagPOINT, tagPOINT> outline;
    CRect area;
    int maxFailures, maxCopies;
    std::size_t expected;
  } cases[] = {
      {square, CRect(0, 0, 100000, 100000), 0, 10000, 0},  // no attempts allowed
      {Closed({{5, 5}, {5, 5}, {5, 5}}), CRect(0, 0, 1000, 1000), 2500, 10000, 0},  // a point
      {Closed({{0, 0}, {100, 0}}), CRect(0, 0, 1000, 1000), 2500, 10000, 0},        // a line
      {CArray<tagPOINT, tagPOINT>(), CRect(0, 0, 1000, 1000), 2500, 10000, 0},      // empty
      {square, CRect(50, 50, 50, 50), 2500, 10000, 0},              // zero-size area
      {square, CRect(0, 0, 100, 100), 2500, 10000, 0},              // the area is too small
      {square, CRect(0, 0, 2000000000, 2000000000), 2500, 25, 25},  // room for far more
  };
  for (const Case& c : cases) {
    CRandPolylinePlacement place;
    place.m_maxFailures = c.maxFailures;
    place.m_maxCopies = c.maxCopies;
    std::vector<CView3D> copies(3);
    CPoint offset(9, 9);
    std::srand(5);
    place.PlacePolylines(c.area, c.outline, {}, copies, offset);
    EXPECT_EQ(copies.size(), c.expected) << c.area.right;
    if (c.expected == 0) {
      EXPECT_EQ(offset, CPoint(0, 0));
    }
  }
}
