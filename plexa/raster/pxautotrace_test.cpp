#include "plexa/raster/pxautotrace.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <deque>
#include <set>
#include <utility>
#include <vector>

#include "plexa/raster/imgproc.h"
#include "tests/raster_support.h"

namespace {

// A 32-bit picture the tests paint and inspect, attribute bytes included.
struct Picture : plexa::test::Painted {
  Picture(int w, int h, unsigned long background)
      : Painted(Painted::Colour(w, h, [=](int, int) { return background; })), w(w), h(h) {}
  void Rect(int x0, int y0, int x1, int y1, unsigned long c) {
    for (int y = y0; y < y1; ++y)
      for (int x = x0; x < x1; ++x) CImgProc::SetPixel32(bm, x, y, c);
  }
  BYTE& Attr(int x, int y) {
    return static_cast<BYTE*>(bm.bmBits)[(static_cast<std::size_t>(h - 1 - y) * w + x) * 4 + 3];
  }
  unsigned long Colour(int x, int y) const { return CImgProc::GetPixel32(bm, x, y); }
  int w, h;
};

// Opens the protected members to the tests.
struct Probe : CPxAutoTrace {
  using CPxAutoTrace::CPxAutoTrace;
  using CPxAutoTrace::DrawCutLines;
  using CPxAutoTrace::FilterFillArea;
  using CPxAutoTrace::GetMajorityPixel;
  using CPxAutoTrace::GetMeanPixel;
  using CPxAutoTrace::IsAlmostEqual;
  using CPxAutoTrace::IsFillEqual;
  using CPxAutoTrace::MarkTracePixels;
  using CPxAutoTrace::SeedFill;
};

tagRGBQUAD Quad(int r, int g, int b) {
  return tagRGBQUAD{static_cast<BYTE>(b), static_cast<BYTE>(g), static_cast<BYTE>(r), 0};
}

// Independent oracle: the 4-connected region of exactly the seed's colour (breadth first).
std::set<std::pair<int, int>> Region(const Picture& p, int sx, int sy) {
  std::set<std::pair<int, int>> seen{{sx, sy}};
  std::deque<std::pair<int, int>> queue{{sx, sy}};
  const unsigned long c = p.Colour(sx, sy);
  while (!queue.empty()) {
    auto [x, y] = queue.front();
    queue.pop_front();
    const int nx[4] = {x + 1, x - 1, x, x}, ny[4] = {y, y, y + 1, y - 1};
    for (int k = 0; k < 4; ++k)
      if (nx[k] >= 0 && ny[k] >= 0 && nx[k] < p.w && ny[k] < p.h && p.Colour(nx[k], ny[k]) == c &&
          seen.insert({nx[k], ny[k]}).second)
        queue.push_back({nx[k], ny[k]});
  }
  return seen;
}

std::set<std::pair<int, int>> Digi(Picture& p) {
  std::set<std::pair<int, int>> out;
  for (int y = 0; y < p.h; ++y)
    for (int x = 0; x < p.w; ++x)
      if (p.Attr(x, y) & CPxAutoTrace::kDigi) out.insert({x, y});
  return out;
}

// A boundary pixel of a region: in it, with a 4-neighbour outside it or the image.
bool OnBoundary(const std::set<std::pair<int, int>>& r, int x, int y) {
  if (!r.count({x, y})) return false;
  return !r.count({x + 1, y}) || !r.count({x - 1, y}) || !r.count({x, y + 1}) ||
         !r.count({x, y - 1});
}

}  // namespace

TEST(PxAutoTrace, PercentLawAndColourPredicates) {
  const int table[][2] = {{0, 0}, {10, 195}, {50, 24384}, {100, 195075}, {-5, -24}};
  for (const auto& row : table) EXPECT_EQ(CPxAutoTrace::ToleranceFromPercent(row[0]), row[1]);
  EXPECT_GT(CPxAutoTrace::ToleranceFromPercent(1 << 30), 0);  // clamped, not overflowed

  Picture p(5, 5, RGB(10, 20, 30));
  p.Rect(0, 0, 1, 1, RGB(100, 20, 30));  // corner pixel, counted four times by clamping
  Probe t(p.bmp, 1.0);
  // Mean of (0, 0): the corner counts 4 of 9 → red (4 * 100 + 5 * 10) / 9 = 50 (truncated).
  const tagRGBQUAD m = t.GetMeanPixel(0, 0);
  EXPECT_EQ(m.rgbRed, 50);
  EXPECT_EQ(m.rgbGreen, 20);
  EXPECT_EQ(m.rgbBlue, 30);
  // Distance 3^2 = 9: IsFillEqual accepts at tol 9, IsAlmostEqual needs more than 9.
  const tagRGBQUAD ref = Quad(13, 20, 30);
  EXPECT_EQ(t.IsFillEqual(2, 2, ref, 0), 0);  // tol 0: exact colour only
  EXPECT_EQ(t.IsFillEqual(4, 4, ref, 9), 1);
  EXPECT_EQ(t.IsFillEqual(4, 4, ref, 8), 0);
  EXPECT_EQ(t.IsAlmostEqual(Quad(10, 20, 30), ref, 9), 0);
  EXPECT_EQ(t.IsAlmostEqual(Quad(10, 20, 30), ref, 10), 1);
  p.Attr(4, 4) = CPxAutoTrace::kCut;  // a cut pixel never fills
  EXPECT_EQ(t.IsFillEqual(4, 4, ref, 1000), 0);
  p.Attr(4, 4) = 0;

  // Majority of a 7 x 7 block: 28 pixels of one colour beat 21 of a close pair of others.
  Picture q(7, 7, RGB(0, 0, 200));
  q.Rect(0, 0, 7, 3, RGB(200, 0, 0));
  q.Rect(0, 0, 1, 1, RGB(210, 0, 0));  // opens the first cluster; the reds (d2 100) join it
  Probe u(q.bmp, 1.0);
  const tagRGBQUAD maj = u.GetMajorityPixel(3, 3);
  EXPECT_EQ(maj.rgbBlue, 200);
  // One more red row: 28 red-ish against 21 blue.
  q.Rect(0, 3, 7, 4, RGB(200, 0, 0));
  const tagRGBQUAD maj2 = u.GetMajorityPixel(3, 3);
  EXPECT_EQ(maj2.rgbRed, 210);  // the cluster keeps its first pixel's colour
  EXPECT_EQ(maj2.rgbBlue, 0);
}

TEST(PxAutoTrace, FillMatchesFloodOracleAndAttributesComeBack) {
  // A seeded random picture of three colours; the seed's 4-connected region is the oracle.
  Picture p(57, 43, RGB(0, 0, 0));
  std::srand(7);
  const unsigned long colours[3] = {RGB(255, 0, 0), RGB(0, 255, 0), RGB(0, 0, 255)};
  for (int y = 0; y < p.h; ++y)
    for (int x = 0; x < p.w; ++x)
      CImgProc::SetPixel32(p.bm, x, y, colours[std::rand() % 3 ? 0 : 1]);
  // Pre-existing marks: Digi on a few pixels, the spare bits on others.
  for (int y = 0; y < p.h; y += 3)
    for (int x = 0; x < p.w; x += 5) p.Attr(x, y) = (x + y) % 2 ? CPxAutoTrace::kDigi : 0xE0;
  std::vector<BYTE> before;
  for (int y = 0; y < p.h; ++y)
    for (int x = 0; x < p.w; ++x) before.push_back(p.Attr(x, y));
  const std::set<std::pair<int, int>> oldDigi = Digi(p);

  CPxAutoTrace t(p.bmp, 1.0);
  const tagRGBQUAD ref = t.DoTrace(20, 20, nullptr, 0, false, false);
  EXPECT_EQ(RGB(ref.rgbRed, ref.rgbGreen, ref.rgbBlue), p.Colour(20, 20));
  std::size_t i = 0;
  for (int y = 0; y < p.h; ++y)
    for (int x = 0; x < p.w; ++x) EXPECT_EQ(p.Attr(x, y), before[i++]) << x << "," << y;

  t.DoTrace(20, 20, nullptr, 0, true, false);
  std::set<std::pair<int, int>> expected = Region(p, 20, 20);
  expected.insert(oldDigi.begin(), oldDigi.end());
  EXPECT_EQ(Digi(p), expected);
  for (int y = 0; y < p.h; ++y)
    for (int x = 0; x < p.w; ++x) EXPECT_EQ(p.Attr(x, y) & 0x17, 0);

  // Outside seeds and unusable bitmaps: colour 0, no outlines, nothing written.
  const tagRGBQUAD none = t.DoTrace(-1, 5, nullptr, 0, true, false);
  EXPECT_EQ(none.rgbRed | none.rgbGreen | none.rgbBlue, 0);
  EXPECT_EQ(t.GetOutlines().GetSize(), 0);
  HBITMAP mono = CImgProc::CreateBitmapBW(20, 20);
  CPxAutoTrace bad(mono, 1.0);
  EXPECT_EQ(bad.DoTrace(5, 5, nullptr, 100, false, false).rgbRed, 0);
  EXPECT_EQ(bad.GetOutlines().GetSize(), 0);
  CPxAutoTrace null(nullptr, 1.0);
  null.SeedFillAD(1, 1);
  EXPECT_EQ(null.GetOutlines().GetSize(), 0);
  DeleteObject(mono);
}

TEST(PxAutoTrace, BoundariesHolesBorderAndSmallRegions) {
  // A grey square 40 x 30 at (10, 10) with a white hole 10 x 10, and a grey band 10 pixels
  // high along the bottom border, on white.
  Picture p(80, 60, RGB(255, 255, 255));
  p.Rect(10, 10, 50, 40, RGB(128, 128, 128));
  p.Rect(22, 18, 32, 28, RGB(255, 255, 255));
  p.Rect(0, 50, 80, 60, RGB(128, 128, 128));
  p.Rect(70, 10, 72, 12, RGB(0, 0, 0));  // 2 x 2: a boundary of 4 points, dropped
  CPxAutoTrace t(p.bmp, 1.0);
  t.DoTrace(20, 20, nullptr, 0, false, false);
  const std::set<std::pair<int, int>> square = Region(p, 20, 20);
  ASSERT_EQ(t.GetOutlines().GetSize(), 2);  // outer boundary and hole
  std::size_t covered = 0;
  std::set<std::pair<int, int>> seen;
  for (int k = 0; k < 2; ++k) {
    const auto& ring = *t.GetOutlines().GetAt(k);
    ASSERT_GT(ring.GetSize(), 5);
    EXPECT_EQ(ring[0].x, ring[ring.GetSize() - 1].x);
    EXPECT_EQ(ring[0].y, ring[ring.GetSize() - 1].y);
    for (INT_PTR i = 0; i + 1 < ring.GetSize(); ++i) {
      const int x = static_cast<int>(ring[i].x), y = static_cast<int>(ring[i].y);
      EXPECT_TRUE(OnBoundary(square, x, y)) << x << "," << y;
      EXPECT_LE(std::abs(ring[i + 1].x - ring[i].x), 1);  // an 8-connected chain
      EXPECT_LE(std::abs(ring[i + 1].y - ring[i].y), 1);
      seen.insert({x, y});
    }
  }
  for (const auto& [x, y] : square) covered += OnBoundary(square, x, y) && !seen.count({x, y});
  EXPECT_EQ(covered, 0u);  // every boundary pixel is on an outline

  t.DoTrace(40, 57, nullptr, 0, false, false);  // the band: the border is followed
  ASSERT_EQ(t.GetOutlines().GetSize(), 1);
  EXPECT_EQ(t.GetOutlines().GetAt(0)->GetSize(), 2 * 80 + 2 * 8 + 1);
  t.DoTrace(70, 10, nullptr, 0, false, false);
  EXPECT_EQ(t.GetOutlines().GetSize(), 0);

  // SeedFillAD appends.
  t.SeedFillAD(20, 20);
  t.SeedFillAD(40, 57);
  EXPECT_EQ(t.GetOutlines().GetSize(), 3);
}

TEST(PxAutoTrace, CutLinesToleranceFilterAndCentreLine) {
  // A smooth ramp of reds: 100 % fills everything; a 2-pixel cut line splits it.
  Picture p(60, 40, 0);
  for (int x = 0; x < 60; ++x) p.Rect(x, 0, x + 1, 40, RGB(4 * x, 0, 0));
  CPxAutoTrace t(p.bmp, 1.0);
  t.DoTracePCTolerance(5, 5, nullptr, 100, true, false);
  EXPECT_EQ(Digi(p).size(), 60u * 40u);
  for (int y = 0; y < p.h; ++y)
    for (int x = 0; x < p.w; ++x) p.Attr(x, y) = 0;
  auto* cut = new CArray<tagPOINT, tagPOINT>;
  cut->Add({30, -5});
  cut->Add({30, 45});
  t.CutLines().Add(cut);
  t.DoTracePCTolerance(5, 5, nullptr, 100, true, false);
  const auto filled = Digi(p);
  for (const auto& [x, y] : filled) EXPECT_LT(x, 29);  // the pen covers columns 29 and 30
  EXPECT_EQ(filled.size(), 29u * 40u);
  ASSERT_EQ(t.GetOutlines().GetSize(), 1);
  t.CutLines().RemoveAll();

  // The fill filter grows by one pixel and closes one-pixel holes; it never unfills.
  Picture q(50, 50, RGB(255, 255, 255));
  q.Rect(10, 10, 40, 40, RGB(0, 0, 0));
  q.Rect(20, 20, 21, 21, RGB(255, 255, 255));  // a pinhole
  q.Rect(25, 10, 26, 20, RGB(255, 255, 255));  // a slit from the top edge
  CPxAutoTrace f(q.bmp, 1.0);
  f.SetFillFilter(true);
  f.DoTrace(15, 15, nullptr, 0, true, false);
  const auto grown = Digi(q);
  for (int y = 9; y <= 40; ++y)
    for (int x = 9; x <= 40; ++x) EXPECT_TRUE(grown.count({x, y})) << x << "," << y;
  EXPECT_EQ(grown.size(), 32u * 32u);  // nothing beyond the one-pixel growth on a square
  ASSERT_EQ(f.GetOutlines().GetSize(), 1);

  // Centre line of a bar 9 pixels thick: one line along its middle.
  Picture b(80, 30, RGB(255, 255, 255));
  b.Rect(10, 10, 70, 19, RGB(0, 0, 255));
  CPxAutoTrace c(b.bmp, 1.0);
  c.DoTrace(40, 14, nullptr, 0, false, true);
  ASSERT_EQ(c.GetOutlines().GetSize(), 1);
  const auto& line = *c.GetOutlines().GetAt(0);
  double minX = 1e9, maxX = -1e9;
  for (const auto& q2 : line) {
    EXPECT_NEAR(q2.y, 14.5, 2.0);  // pixel + 1 cells: the middle row 14, plus one
    minX = std::min(minX, q2.x), maxX = std::max(maxX, q2.x);
  }
  EXPECT_GT(maxX - minX, 45.0);
  for (int y = 0; y < b.h; ++y)
    for (int x = 0; x < b.w; ++x) EXPECT_EQ(b.Attr(x, y), 0);
}

TEST(PxAutoTrace, MarkTracePixelsMarksDeepInteriorOnly) {
  Picture p(100, 20, RGB(0, 0, 0));
  Probe t(p.bmp, 1.0);
  t.SeedFill(50, 10, 0);  // everything filled
  CArray<tagPOINT, tagPOINT> pts;
  pts.Add({10, 10});
  pts.Add({90, 10});
  pts.Add({40, 1});  // rows too close to the border are skipped
  pts.Add({80, 1});
  t.MarkTracePixels(pts);
  for (int y = 0; y < p.h; ++y)
    for (int x = 0; x < p.w; ++x)
      EXPECT_EQ((p.Attr(x, y) & CPxAutoTrace::kTrace) != 0, y == 10 && x >= 30 && x <= 70)
          << x << "," << y;
}
