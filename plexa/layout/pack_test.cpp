#include "plexa/layout/pack.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

using PLEXA::CDPOINT;
using PLEXA::CDRECT;
using State = CArray<CDPOINT, CDPOINT>;

namespace {

CDRECT Place(State& state, double w, double h, double gap, bool vertical) {
  CDRECT r(0, w, 0, h);
  PackRectangleFFD(r, state, gap, vertical);
  return r;
}

std::vector<CDPOINT> Points(const State& s) {
  return {s.GetData(), s.GetData() + s.GetSize()};
}

CDRECT Transposed(const CDRECT& r) {
  return CDRECT(r.ymin, r.ymax, r.xmin, r.xmax);
}

// The packing rule written out once more, plainly, for columns over a vector of points: the
// oracle for both forms. Rows are columns with x and y exchanged, so a row packing is this one
// run on the transposed sizes (its state and rectangles transposed).
CDRECT ReferenceColumns(std::vector<CDPOINT>& s, double w, double h, double gap) {
  w = std::fabs(w);
  h = std::fabs(h);
  if (s.size() < 2) {
    s = {CDPOINT(0, h), CDPOINT(w, h)};
    return CDRECT(0, w, 0, h);
  }
  const double limit = s[1].y;
  for (std::size_t i = 3; i < s.size(); i += 2) {
    const double width = s[i].x - s[i - 1].x;
    if (!(gap + s[i].y + h <= limit) || w > width) continue;
    const double x0 = s[i - 1].x;
    const CDRECT r(x0, x0 + w, gap + s[i].y, gap + s[i].y + h);
    if (width <= w + gap) {
      s[i - 1].y = s[i].y = r.ymax;
    } else {
      s[i - 1].x = x0 + w + gap;
      s.insert(s.begin() + static_cast<std::ptrdiff_t>(i) - 1,
               {CDPOINT(r.xmin, r.ymax), CDPOINT(r.xmax, r.ymax)});
    }
    return r;
  }
  const double xmin = gap + s.back().x;
  s.push_back(CDPOINT(xmin, h));
  s.push_back(CDPOINT(xmin + w, h));
  return CDRECT(xmin, xmin + w, 0, h);
}

bool SameBits(const CDRECT& a, const CDRECT& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

}  // namespace

TEST(PackRectangleFFD, ColumnsFillAndOpenAsDescribed) {
  State s;
  EXPECT_EQ(Place(s, 5, 10, 0, true), CDRECT(0, 5, 0, 10));
  EXPECT_EQ(Place(s, 5, 6, 0, true), CDRECT(5, 10, 0, 6));   // first pair is never a band
  EXPECT_EQ(Place(s, 5, 4, 0, true), CDRECT(5, 10, 6, 10));  // 6 + 4 <= 10; fills the column
  EXPECT_EQ(Points(s), (std::vector<CDPOINT>{{0, 10}, {5, 10}, {5, 10}, {10, 10}}));
  // Taller than the first: a new column of its own height.
  EXPECT_EQ(Place(s, 2, 12, 0, true), CDRECT(10, 12, 0, 12));

  // A second rectangle never joins the first band, however small.
  State t;
  Place(t, 10, 10, 0, true);
  EXPECT_EQ(Place(t, 1, 1, 0, true), CDRECT(10, 11, 0, 1));
  State rows;
  Place(rows, 10, 10, 0, false);
  EXPECT_EQ(Place(rows, 1, 1, 0, false), CDRECT(0, 1, 10, 11));

  // Negative sizes count by magnitude.
  State n;
  CDRECT r(10, 0, 5, 0);
  PackRectangleFFD(r, n, 0, true);
  EXPECT_EQ(r, CDRECT(0, 10, 0, 5));
}

TEST(PackRectangleFFD, GapAndSplitInColumns) {
  State s;
  const double g = 1;
  EXPECT_EQ(Place(s, 10, 10, g, true), CDRECT(0, 10, 0, 10));
  // New column: offset by the gap from the last point, but starting at y = 0.
  EXPECT_EQ(Place(s, 8, 3, g, true), CDRECT(11, 19, 0, 3));
  // Inside a band the gap goes in front (y 4); width 8 > 3 + 1 splits the column and the
  // narrow part goes in front of the remainder.
  EXPECT_EQ(Place(s, 3, 2, g, true), CDRECT(11, 14, 4, 6));
  EXPECT_EQ(Points(s),
            (std::vector<CDPOINT>{{0, 10}, {10, 10}, {11, 6}, {14, 6}, {15, 3}, {19, 3}}));
  // Too wide for the narrow column, fits the remainder exactly (4 <= 4 + 1): fills it.
  EXPECT_EQ(Place(s, 4, 3, g, true), CDRECT(15, 19, 4, 7));
  EXPECT_EQ(Place(s, 3, 3, g, true), CDRECT(11, 14, 7, 10));  // 1 + 6 + 3 <= 10 exactly
  EXPECT_EQ(Place(s, 1, 1, g, true), CDRECT(15, 16, 8, 9));
  EXPECT_EQ(Points(s),
            (std::vector<CDPOINT>{
                {0, 10}, {10, 10}, {11, 10}, {14, 10}, {15, 9}, {16, 9}, {17, 7}, {19, 7}}));
}

TEST(PackRectangleFFD, NothingOverlaps) {
  std::mt19937 gen(12345);
  std::uniform_real_distribution<double> size(1.0, 50.0);
  std::vector<CDPOINT> sizes(300);
  for (auto& p : sizes) p = CDPOINT(size(gen), size(gen));
  std::sort(sizes.begin(), sizes.end(),
            [](const CDPOINT& a, const CDPOINT& b) { return a.y > b.y; });

  for (double gap : {0.0, 2.5}) {
    State cols;
    std::vector<CDRECT> placed;
    for (const CDPOINT& p : sizes) {
      const CDRECT c = Place(cols, p.x, p.y, gap, true);
      EXPECT_NEAR(c.Width(), p.x, 1e-9);
      EXPECT_NEAR(c.Height(), p.y, 1e-9);
      EXPECT_GE(c.ymin, 0.0);
      EXPECT_LE(c.ymax, cols[1].y);  // sorted by height: nothing exceeds the first
      placed.push_back(c);
    }
    // Every two rectangles keep at least the gap between them on one axis.
    const double eps = 1e-9;
    for (std::size_t i = 0; i < placed.size(); ++i)
      for (std::size_t j = i + 1; j < placed.size(); ++j) {
        const CDRECT& a = placed[i];
        const CDRECT& b = placed[j];
        const bool apart = a.xmax + gap <= b.xmin + eps || b.xmax + gap <= a.xmin + eps ||
                           a.ymax + gap <= b.ymin + eps || b.ymax + gap <= a.ymin + eps;
        ASSERT_TRUE(apart) << "gap " << gap << ": rectangles " << i << " and " << j;
      }
  }
}

TEST(PackRectangleFFD, HostileSizesDoNotCrash) {
  State s;
  Place(s, 10, 10, 0, true);
  const CDRECT r = Place(s, std::nan(""), 3, 0, true);
  EXPECT_TRUE(std::isnan(r.xmax));
  EXPECT_EQ(s.GetSize(), 4);  // the NaN rectangle opened its own band
  Place(s, INFINITY, INFINITY, 0, true);
  Place(s, 1, 1, std::nan(""), false);
  Place(s, 1e308, 1e308, 1e308, true);
  EXPECT_EQ(s.GetSize() % 2, 0);

  // A state with an odd point count is read as it stands.
  State odd;
  odd.Add(CDPOINT(0, 10));
  odd.Add(CDPOINT(10, 10));
  odd.Add(CDPOINT(12, 10));
  EXPECT_EQ(Place(odd, 2, 2, 0, true), CDRECT(12, 14, 0, 2));
}

// Random cut lists (integer sizes with many ties, sorted by height, by area or not at all,
// occasional NaN, infinite and zero sizes) in both modes with several gaps: every placement of
// the packer and of PackRectangleFFD equals the plain rule's, bit for bit, and so do the states
// (thousands of bands, so the packer's tree is rebuilt in parts many times). A copy of the
// packer carries on alike and Reset starts afresh.
TEST(CRectanglePacker, RandomInputsPlaceAsThePlainRule) {
  struct Case {
    unsigned seed;
    bool vertical;
    double gap;
    int order;  // 0 unsorted, 1 by height (along the band) descending, 2 by area descending
    double maxSize;
  };
  const Case cases[] = {{1, true, 0, 1, 40},  {2, false, 0, 1, 40},  {3, true, 2, 2, 90},
                        {4, false, 2, 2, 90}, {5, true, 0.5, 0, 30}, {6, false, 3, 0, 300},
                        {7, true, -1, 1, 20}, {8, true, 0, 2, 8},    {9, false, 0.25, 1, 12}};
  for (const Case& c : cases) {
    std::mt19937 gen(c.seed);
    std::uniform_int_distribution<int> size(0, static_cast<int>(c.maxSize));
    std::uniform_int_distribution<int> odd(0, 199);
    std::vector<CDPOINT> sizes(6000);
    for (CDPOINT& p : sizes) p = CDPOINT(size(gen) + 1, size(gen) + 1);
    const auto along = [&](const CDPOINT& p) { return c.vertical ? p.y : p.x; };
    if (c.order == 1)
      std::stable_sort(sizes.begin(), sizes.end(),
                       [&](const CDPOINT& a, const CDPOINT& b) { return along(a) > along(b); });
    if (c.order == 2)
      std::stable_sort(sizes.begin(), sizes.end(),
                       [](const CDPOINT& a, const CDPOINT& b) { return a.x * a.y > b.x * b.y; });
    for (std::size_t k = 1; k < sizes.size(); ++k) {
      const int r = odd(gen);
      if (r == 0) sizes[k].x = std::nan("");
      if (r == 1) sizes[k].y = INFINITY;
      if (r == 2) sizes[k].x = 0;
    }

    CRectanglePacker packer(c.gap, c.vertical);
    State plain;
    std::vector<CDPOINT> reference;
    for (std::size_t k = 0; k < sizes.size(); ++k) {
      const CDPOINT& p = sizes[k];
      CDRECT a(0, p.x, 0, p.y), b = a;
      packer.Pack(a);
      PackRectangleFFD(b, plain, c.gap, c.vertical);
      if (k == 5000) packer = CRectanglePacker(packer);
      CDRECT want = c.vertical ? ReferenceColumns(reference, p.x, p.y, c.gap)
                               : Transposed(ReferenceColumns(reference, p.y, p.x, c.gap));
      ASSERT_TRUE(SameBits(a, want)) << "case " << c.seed << ", rectangle " << k;
      ASSERT_TRUE(SameBits(b, want)) << "case " << c.seed << ", rectangle " << k;
    }
    const State s = packer.State();
    ASSERT_EQ(s.GetSize(), static_cast<INT_PTR>(reference.size()));
    ASSERT_EQ(plain.GetSize(), s.GetSize());
    for (INT_PTR i = 0; i < s.GetSize(); ++i) {
      const CDPOINT& r = reference[static_cast<std::size_t>(i)];
      const CDPOINT want = c.vertical ? r : CDPOINT(r.y, r.x);
      ASSERT_EQ(std::memcmp(&s[i], &want, sizeof want), 0) << "case " << c.seed << ", point " << i;
      ASSERT_EQ(std::memcmp(&plain[i], &want, sizeof want), 0) << "case " << c.seed;
    }
    // Past 3,000 bands the packer searches its tree (a split adds a band as a new one does).
    EXPECT_GT(s.GetSize() / 2, 4000) << "case " << c.seed;
    packer.Reset();
    CDRECT r(0, 3, 0, 4);
    packer.Pack(r);
    EXPECT_EQ(r, CDRECT(0, 3, 0, 4));
    EXPECT_EQ(packer.State().GetSize(), 2);
  }
}
