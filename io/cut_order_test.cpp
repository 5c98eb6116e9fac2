#include "io/cut_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

namespace plexa::io {
namespace {

double D2(const PlotStep& a, const PlotStep& b) {
  const double dx = static_cast<double>(a.x - b.x), dy = static_cast<double>(a.y - b.y);
  return dx * dx + dy * dy;
}

// The plain greedy rule, every free stroke read every round: the stroke with the nearest
// bounds first (the earlier in the free list among equals), then the others in list order,
// a point replacing the best only when strictly nearer.
std::vector<CutStart> PlainOrder(const std::vector<Stroke>& s, const std::vector<int>& parent) {
  const int n = static_cast<int>(s.size());
  std::vector<int> waiting(s.size(), 0), ready;
  for (int i = 0; i < n; ++i)
    if (parent[i] >= 0 && !s[i].pts.empty()) ++waiting[parent[i]];
  for (int i = 0; i < n; ++i)
    if (!s[i].pts.empty() && waiting[i] == 0) ready.push_back(i);
  const auto boxD = [&](const PlotStep& p, int i) {
    long long x0 = s[i].pts[0].x, x1 = x0, y0 = s[i].pts[0].y, y1 = y0;
    for (const PlotStep& q : s[i].pts)
      x0 = std::min(x0, q.x), x1 = std::max(x1, q.x), y0 = std::min(y0, q.y),
      y1 = std::max(y1, q.y);
    const double dx = static_cast<double>(std::max({x0 - p.x, 0LL, p.x - x1}));
    const double dy = static_cast<double>(std::max({y0 - p.y, 0LL, p.y - y1}));
    return dx * dx + dy * dy;
  };
  std::vector<CutStart> order;
  PlotStep knife{0, 0};
  while (!ready.empty()) {
    std::size_t nearest = 0;
    for (std::size_t k = 1; k < ready.size(); ++k)
      if (boxD(knife, ready[k]) < boxD(knife, ready[nearest])) nearest = k;
    double bestD = std::numeric_limits<double>::infinity();
    std::size_t bestSlot = 0, bestAt = 0;
    const auto scan = [&](std::size_t k) {
      const Stroke& t = s[ready[k]];
      std::vector<std::size_t> starts;
      if (t.closed && t.pts.size() > 1)
        for (std::size_t j = 0; j + 1 < t.pts.size(); ++j) starts.push_back(j);
      else
        starts = {0, t.pts.size() - 1};
      for (std::size_t j : starts)
        if (D2(knife, t.pts[j]) < bestD) bestD = D2(knife, t.pts[j]), bestSlot = k, bestAt = j;
    };
    scan(nearest);
    for (std::size_t k = 0; k < ready.size(); ++k)
      if (k != nearest && boxD(knife, ready[k]) < bestD) scan(k);
    const int best = ready[bestSlot];
    ready[bestSlot] = ready.back();
    ready.pop_back();
    if (parent[best] >= 0 && --waiting[parent[best]] == 0 && !s[parent[best]].pts.empty())
      ready.push_back(parent[best]);
    order.push_back({best, bestAt});
    const Stroke& t = s[best];
    knife = t.closed && t.pts.size() > 1 ? t.pts[bestAt] : (bestAt == 0 ? t.pts.back() : t.pts[0]);
  }
  return order;
}

// Random strokes on a coarse grid (so equal distances are common), open and closed, single
// points and empty strokes among them, in random forests of holes and outlines: the order and
// start points equal the plain rule's.
TEST(NearestCutOrder, SameOrderAsThePlainGreedyRule) {
  struct Case {
    unsigned seed;
    int strokes, grid, maxPoints;
    double nested;  // chance that a stroke has a parent
  };
  const Case cases[] = {{1, 300, 40, 6, 0.0}, {2, 400, 12, 4, 0.3}, {3, 250, 1000, 12, 0.5},
                        {4, 500, 6, 3, 0.2},  {5, 60, 3, 5, 0.6},   {6, 800, 200, 2, 0.1},
                        {7, 1, 10, 1, 0.0},   {8, 0, 10, 1, 0.0}};
  for (const Case& c : cases) {
    std::mt19937 gen(c.seed);
    std::uniform_int_distribution<long long> coord(0, c.grid);
    std::uniform_int_distribution<int> count(0, c.maxPoints);
    std::uniform_real_distribution<double> u(0, 1);
    std::vector<Stroke> strokes(static_cast<std::size_t>(c.strokes));
    std::vector<int> parent(strokes.size(), -1);
    for (std::size_t i = 0; i < strokes.size(); ++i) {
      Stroke& s = strokes[i];
      const int m = count(gen);
      const long long x0 = coord(gen), y0 = coord(gen);
      for (int k = 0; k < m; ++k) s.pts.push_back({x0 + coord(gen) / 4, y0 + coord(gen) / 4});
      s.closed = u(gen) < 0.6;
      if (s.closed && s.pts.size() > 1) s.pts.push_back(s.pts.front());
      if (i + 1 < strokes.size() && u(gen) < c.nested)
        parent[i] = std::uniform_int_distribution<int>(static_cast<int>(i) + 1, c.strokes - 1)(gen);
    }
    const std::vector<CutStart> want = PlainOrder(strokes, parent);
    const std::vector<CutStart> got = NearestCutOrder(strokes, parent);
    ASSERT_EQ(got.size(), want.size()) << "case " << c.seed;
    for (std::size_t k = 0; k < got.size(); ++k) {
      ASSERT_EQ(got[k].stroke, want[k].stroke) << "case " << c.seed << ", cut " << k;
      ASSERT_EQ(got[k].at, want[k].at) << "case " << c.seed << ", cut " << k;
    }
  }
}

}  // namespace
}  // namespace plexa::io
