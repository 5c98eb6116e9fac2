#include "plexa/analysis/hull.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "plexa/core/planar.h"

namespace {

using Pts = std::vector<std::pair<long, long>>;

CArray<tagPOINT> Make(const Pts& v) {
  CArray<tagPOINT> a;
  for (auto [x, y] : v) a.Add(tagPOINT{static_cast<LONG>(x), static_cast<LONG>(y)});
  return a;
}

Pts Read(const CArray<tagPOINT>& a) {
  Pts v;
  for (const tagPOINT& p : a) v.emplace_back(p.x, p.y);
  return v;
}

Pts Hull(const Pts& v) {
  CArray<tagPOINT> a = Make(v);
  GetConvexHull(a);
  return Read(a);
}

// Independent oracle: Andrew's monotone chain with exact 64-bit cross products, strict
// corners only, returned as a closed ring that starts at the largest-y (then largest-x) point
// and runs with decreasing polar angle measured y-up, i.e. the same turn as the scan.
Pts MonotoneChainHull(Pts v) {
  std::sort(v.begin(), v.end());
  v.erase(std::unique(v.begin(), v.end()), v.end());
  auto cross = [](auto o, auto a, auto b) {
    return static_cast<std::int64_t>(a.first - o.first) * (b.second - o.second) -
           static_cast<std::int64_t>(a.second - o.second) * (b.first - o.first);
  };
  Pts h(2 * v.size());
  std::size_t k = 0;
  for (std::size_t i = 0; i < v.size(); ++i) {
    while (k >= 2 && cross(h[k - 2], h[k - 1], v[i]) <= 0) --k;
    h[k++] = v[i];
  }
  for (std::size_t i = v.size() - 1, t = k + 1; i-- > 0;) {
    while (k >= t && cross(h[k - 2], h[k - 1], v[i]) <= 0) --k;
    h[k++] = v[i];
  }
  h.resize(k - 1);  // counter-clockwise in (x, y) with y up
  // The scan's turn: from the pivot towards smaller angles from the +x ray, which on these
  // points (all at or above... below the pivot's y) is the opposite rotation.
  std::reverse(h.begin(), h.end());
  auto pivot = std::max_element(h.begin(), h.end(), [](auto a, auto b) {
    return a.second != b.second ? a.second < b.second : a.first < b.first;
  });
  std::rotate(h.begin(), pivot, h.end());
  h.push_back(h.front());
  return h;
}

TEST(ConvexHull, HandWorkedSets) {
  for (const Pts& v : {Pts{}, Pts{{1, 1}}, Pts{{0, 0}, {5, 5}}, Pts{{0, 0}, {10, 0}, {5, 5}}})
    EXPECT_EQ(Hull(v), v);  // fewer than four points: no hull, no closing point

  // Pivot (10, 10); then by angle from the +x ray: (10, 5) and (10, 0) at 90 degrees (nearer
  // first), (0, 0) at 135, (0, 10) at 180. The filter drops (5, 5), (2, 7) and (0, 4) (left
  // side of its quadrilateral), the scan pops (5, 0) as collinear; (10, 5) is point 1 of the
  // scan and stays because (10, 0), point 2, is never dropped.
  EXPECT_EQ(Hull({{5, 5}, {0, 0}, {10, 0}, {10, 10}, {0, 10}, {10, 5}, {5, 0}, {2, 7}, {0, 4}}),
            (Pts{{10, 10}, {10, 5}, {10, 0}, {0, 0}, {0, 10}, {10, 10}}));

  // Two points of largest y: the one with the larger x is the pivot. (4, 6) and (2, 2) lie
  // on one ray from the pivot (6, 10); the nearer is visited first and then popped by the
  // farther, which stays a corner.
  const Pts pivot = Hull({{0, 10}, {6, 10}, {4, 6}, {2, 2}, {9, 0}, {8, 3}});
  EXPECT_EQ(pivot, MonotoneChainHull({{0, 10}, {6, 10}, {4, 6}, {2, 2}, {9, 0}, {8, 3}}));
  EXPECT_EQ(pivot.front(), (std::pair<long, long>{6, 10}));

  // The even-odd test counts the diamond's left corner (0, 5) as inside the quadrilateral of
  // extreme points, so the filter removes it before the scan: the defined result lacks it.
  EXPECT_EQ(Hull({{5, 10}, {0, 5}, {5, 0}, {10, 5}, {5, 5}}),
            (Pts{{5, 10}, {10, 5}, {5, 0}, {5, 10}}));
  // With the left corner first it is point 0, which the filter never removes.
  EXPECT_EQ(Hull({{0, 5}, {5, 10}, {5, 0}, {10, 5}, {5, 5}}),
            (Pts{{5, 10}, {10, 5}, {5, 0}, {0, 5}, {5, 10}}));

  // Extreme coordinates do not overflow the cross products.
  const long lo = -2147483647L - 1, hi = 2147483647L;
  EXPECT_EQ(Hull({{lo, lo}, {hi, lo}, {hi, hi}, {lo, hi}, {0, 0}, {hi, 0}}),
            (Pts{{hi, hi}, {hi, 0}, {hi, lo}, {lo, lo}, {lo, hi}, {hi, hi}}));
}

TEST(ConvexHull, RepeatsAndCollinearSetsCollapse) {
  const Pts same = Hull({{3, 3}, {3, 3}, {3, 3}, {3, 3}, {3, 3}});
  EXPECT_EQ(same.front(), (std::pair<long, long>{3, 3}));
  EXPECT_LE(same.size(), 2u);

  // All on one line: the scan keeps the two ends (popping the middle ones) and closes.
  const Pts got = Hull({{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}});
  ASSERT_GE(got.size(), 2u);
  EXPECT_EQ(got.front(), (std::pair<long, long>{5, 5}));
  EXPECT_EQ(got.back(), got.front());
  EXPECT_NE(std::find(got.begin(), got.end(), std::pair<long, long>{0, 0}), got.end());
}

// Removes from a closed ring the points that are collinear with their neighbours.
Pts StrictCorners(Pts ring) {
  ring.pop_back();
  bool changed = true;
  while (changed && ring.size() > 2) {
    changed = false;
    for (std::size_t i = 0; i < ring.size(); ++i) {
      auto o = ring[(i + ring.size() - 1) % ring.size()], a = ring[i],
           b = ring[(i + 1) % ring.size()];
      const std::int64_t cr = static_cast<std::int64_t>(a.first - o.first) * (b.second - o.second) -
                              static_cast<std::int64_t>(a.second - o.second) * (b.first - o.first);
      if (cr == 0) {
        ring.erase(ring.begin() + static_cast<std::ptrdiff_t>(i));
        changed = true;
        break;
      }
    }
  }
  ring.push_back(ring.front());
  return ring;
}

TEST(ConvexHull, ScanMatchesAnIndependentHullOfTheFilteredPoints) {
  std::mt19937 rng(12345);
  int compared = 0;
  for (int trial = 0; trial < 300; ++trial) {
    const int n = 4 + static_cast<int>(rng() % 60);
    const long span = trial % 3 == 0 ? 8 : 1000;  // small spans give many ties and collinear runs
    Pts v;
    for (int i = 0; i < n; ++i) {
      const long x = static_cast<long>(rng() % span);
      v.emplace_back(x, static_cast<long>(rng() % span));
    }
    // The filter as defined, applied here with the planar test, so that the scan is checked
    // against a hull computed another way on the same survivors.
    CArray<tagPOINT> all = Make(v);
    std::size_t ix[4] = {0, 0, 0, 0};
    for (std::size_t i = 1; i < v.size(); ++i) {
      if (v[i].first < v[ix[0]].first) ix[0] = i;
      if (v[i].second < v[ix[1]].second) ix[1] = i;
      if (v[i].first > v[ix[2]].first) ix[2] = i;
      if (v[i].second > v[ix[3]].second) ix[3] = i;
    }
    const tagPOINT quad[5] = {all[ix[0]], all[ix[1]], all[ix[2]], all[ix[3]], all[ix[0]]};
    const CRect box = GetPolygonRect(quad, 5);
    Pts survivors{v[0]};
    for (std::size_t i = 1; i < v.size(); ++i)
      if (!IsPointInPolygon(quad, 5, all[i], &box)) survivors.push_back(v[i]);

    const Pts got = Hull(v), want = MonotoneChainHull(survivors);
    if (want.size() < 4) continue;  // collinear survivors are covered above
    ++compared;
    EXPECT_EQ(StrictCorners(got), want) << "trial " << trial;
    EXPECT_EQ(got.front(), want.front());
  }
  EXPECT_GT(compared, 250);
}

}  // namespace
