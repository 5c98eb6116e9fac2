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

TEST(PackRectangleFFD, RowsAreColumnsTransposedAndNothingOverlaps) {
  std::mt19937 gen(12345);
  std::uniform_real_distribution<double> size(1.0, 50.0);
  std::vector<CDPOINT> sizes(300);
  for (auto& p : sizes) p = CDPOINT(size(gen), size(gen));
  std::sort(sizes.begin(), sizes.end(),
            [](const CDPOINT& a, const CDPOINT& b) { return a.y > b.y; });

  for (double gap : {0.0, 2.5}) {
    State cols, rows;
    std::vector<CDRECT> placed;
    for (const CDPOINT& p : sizes) {
      const CDRECT c = Place(cols, p.x, p.y, gap, true);
      const CDRECT r = Place(rows, p.y, p.x, gap, false);
      ASSERT_EQ(Transposed(r), c);
      EXPECT_NEAR(c.Width(), p.x, 1e-9);
      EXPECT_NEAR(c.Height(), p.y, 1e-9);
      EXPECT_GE(c.ymin, 0.0);
      EXPECT_LE(c.ymax, cols[1].y);  // sorted by height: nothing exceeds the first
      placed.push_back(c);
    }
    ASSERT_EQ(cols.GetSize(), rows.GetSize());
    for (INT_PTR i = 0; i < cols.GetSize(); ++i) EXPECT_EQ(cols[i], CDPOINT(rows[i].y, rows[i].x));
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

namespace {

// The rule read literally: visit every band in order (the oracle for the indexed search).
void PlainPack(CDRECT& rect, State& s, double gap, bool vertical) {
  const double w = std::fabs(rect.xmax - rect.xmin), h = std::fabs(rect.ymax - rect.ymin);
  if (s.GetSize() < 2) {
    rect = CDRECT(0, w, 0, h);
    s.Add(vertical ? CDPOINT(0, h) : CDPOINT(w, 0));
    s.Add(CDPOINT(w, h));
    return;
  }
  const double limit = vertical ? s[1].y : s[1].x;
  for (INT_PTR i = 3; i < s.GetSize(); i += 2) {
    const CDPOINT a = s[i - 1], b = s[i];
    if (vertical) {
      if (!(gap + b.y + h <= limit) || w > b.x - a.x) continue;
      rect = CDRECT(a.x, a.x + w, gap + b.y, gap + b.y + h);
      if (b.x - a.x <= w + gap) {
        s[i - 1].y = s[i].y = rect.ymax;
      } else {
        s[i - 1].x = a.x + w + gap;
        s.InsertAt(i - 1, CDPOINT(rect.xmin, rect.ymax));
        s.InsertAt(i, CDPOINT(rect.xmax, rect.ymax));
      }
    } else {
      if (!(gap + b.x + w <= limit) || h > b.y - a.y) continue;
      rect = CDRECT(gap + b.x, gap + b.x + w, a.y, a.y + h);
      if (b.y - a.y <= h + gap) {
        s[i - 1].x = s[i].x = rect.xmax;
      } else {
        s[i - 1].y = a.y + h + gap;
        s.InsertAt(i - 1, CDPOINT(rect.xmax, rect.ymin));
        s.InsertAt(i, CDPOINT(rect.xmax, rect.ymax));
      }
    }
    return;
  }
  const CDPOINT last = s[s.GetSize() - 1];
  if (vertical) {
    rect = CDRECT(gap + last.x, gap + last.x + w, 0, h);
    s.Add(CDPOINT(rect.xmin, h));
    s.Add(CDPOINT(rect.xmax, h));
  } else {
    rect = CDRECT(0, w, gap + last.y, gap + last.y + h);
    s.Add(CDPOINT(w, rect.ymin));
    s.Add(CDPOINT(w, rect.ymax));
  }
}

}  // namespace

// Large packings go through the band index: every placement and the whole state must equal
// the plain scan's, also when two packings alternate on one thread, when the host replaces
// the state, and with unsorted sizes, ties and non-finite sizes mixed in.
TEST(PackRectangleFFD, IndexedSearchEqualsThePlainScan) {
  std::mt19937 gen(777);
  std::uniform_real_distribution<double> size(1.0, 60.0);
  for (bool vertical : {true, false})
    for (double gap : {0.0, 1.5}) {
      State a, b, plainA, plainB;
      for (int n = 0; n < 3000; ++n) {
        double w = std::round(size(gen)), h = std::round(size(gen) * 1.5);
        if (n == 0) h = 200, w = 200;  // a tall first band: many rectangles share a band
        if (n % 500 == 499) w = std::nan("");
        CDRECT r(0, w, 0, h), p = r;
        State& s = n % 7 == 3 ? b : a;  // a second packing interleaved now and then
        State& t = n % 7 == 3 ? plainB : plainA;
        PackRectangleFFD(r, s, gap, vertical);
        PlainPack(p, t, gap, vertical);
        ASSERT_EQ(std::memcmp(&r, &p, sizeof r), 0) << n;
        if (n == 2000) {  // the host copies its state into a fresh array and carries on
          State moved(a);
          a = State(moved);
        }
      }
      ASSERT_EQ(a.GetSize(), plainA.GetSize());
      EXPECT_EQ(std::memcmp(a.GetData(), plainA.GetData(), sizeof(CDPOINT) * a.GetSize()), 0);
      EXPECT_GT(a.GetSize(), 1600);  // hundreds of bands: the index was in use
    }
}
