#include "plexa/raster/colourregions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <vector>

#include "plexa/raster/faithtrace.h"

namespace {

struct RenderBack {
  std::vector<int> cover;  // regions covering each pixel centre
  std::vector<int> wrong;  // pixels rendered by a region of another label
};

// Renders every region back at pixel centres (even-odd) and counts coverage.
RenderBack Render(const CColourRegions& r, const std::vector<std::uint32_t>& labels, int w, int h) {
  RenderBack out{std::vector<int>(labels.size(), 0), std::vector<int>(labels.size(), 0)};
  for (int i = 0; i < r.GetRegionCount(); ++i) {
    std::vector<std::uint8_t> mask;
    EXPECT_TRUE(FillPolyPolyEvenOdd(r.GetOutlines(i), w, h, mask));
    for (std::size_t p = 0; p < labels.size(); ++p)
      if (mask[p]) {
        ++out.cover[p];
        out.wrong[p] += labels[p] != r.GetLabel(i);
      }
  }
  return out;
}

}  // namespace

TEST(ColourRegions, RegionsTileTheImageWithoutGapsOrOverlaps) {
  // Seeded pictures: blocks of 5 labels, blocks with one-pixel noise, and a fine checkerboard.
  std::srand(11);
  for (int kind = 0; kind < 3; ++kind) {
    const int w = 61, h = 47;
    std::vector<std::uint32_t> labels(static_cast<std::size_t>(w) * h);
    std::vector<std::uint32_t> block(100);
    for (auto& b : block) b = static_cast<std::uint32_t>(std::rand() % 5);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        std::uint32_t v = block[static_cast<std::size_t>((y / 7) * 10 + x / 7)];
        if (kind == 1 && std::rand() % 10 == 0) v = static_cast<std::uint32_t>(std::rand() % 5);
        if (kind == 2) v = static_cast<std::uint32_t>((x + y) % 2 + (x / 9) % 2 * 2);
        labels[static_cast<std::size_t>(y) * w + x] = v;
      }
    CColourRegions regions;
    ASSERT_TRUE(regions.Trace(labels, w, h, 1.0));
    const RenderBack rb = Render(regions, labels, w, h);
    int gaps = 0, overlaps = 0, wrong = 0;
    for (std::size_t p = 0; p < labels.size(); ++p) {
      gaps += rb.cover[p] == 0;
      overlaps += rb.cover[p] > 1;
      wrong += rb.wrong[p];
    }
    EXPECT_EQ(gaps, 0) << kind;
    EXPECT_EQ(overlaps, 0) << kind;
    // Smoothing staircases may move a few pixels to a neighbour, never many.
    EXPECT_LT(wrong, static_cast<int>(labels.size()) / (kind == 0 ? 50 : 5)) << kind;
    EXPECT_GT(regions.GetChainCount(), 0);
  }
}

TEST(ColourRegions, LoopsHolesCrosswiseCornersAndDegenerateInput) {
  // A frame of 1 around a square of 2 holding an island of 1: region 1 has three loops (outer,
  // hole, island), region 2 two (outer, hole).
  const int w = 9, h = 9;
  std::vector<std::uint32_t> nested(w * h, 1);
  for (int y = 2; y < 7; ++y)
    for (int x = 2; x < 7; ++x) nested[y * w + x] = (x == 4 && y == 4) ? 1 : 2;
  CColourRegions r;
  ASSERT_TRUE(r.Trace(nested, w, h, 0.5));
  ASSERT_EQ(r.GetRegionCount(), 2);
  EXPECT_EQ(r.GetLabel(0), 1u);
  EXPECT_EQ(r.GetOutlines(0).GetSize(), 3);
  EXPECT_EQ(r.GetOutlines(1).GetSize(), 2);
  // The whole image is one region: one loop through the image's corners exactly.
  PLEXA::CDRECT box;
  std::vector<std::uint32_t> flat(w * h, 7);
  ASSERT_TRUE(r.Trace(flat, w, h, 5.0));
  ASSERT_EQ(r.GetOutlines(0).GetSize(), 1);
  r.GetOutlines(0).CalcFrame(box, 0.1);
  EXPECT_DOUBLE_EQ(box.xmin, 0);
  EXPECT_DOUBLE_EQ(box.xmax, w);
  EXPECT_DOUBLE_EQ(box.ymin, 0);
  EXPECT_DOUBLE_EQ(box.ymax, h);
  // Labels meeting crosswise keep their pieces apart: two loops each.
  const std::vector<std::uint32_t> cross = {0, 1, 1, 0};
  ASSERT_TRUE(r.Trace(cross, 2, 2, 1.0));
  EXPECT_EQ(r.GetOutlines(0).GetSize(), 2);
  EXPECT_EQ(r.GetOutlines(1).GetSize(), 2);
  // One pixel: one region, one loop, the pixel rendered back.
  const std::vector<std::uint32_t> one = {3};
  ASSERT_TRUE(r.Trace(one, 1, 1, std::nan("")));
  std::vector<std::uint8_t> mask;
  ASSERT_TRUE(FillPolyPolyEvenOdd(r.GetOutlines(0), 1, 1, mask));
  EXPECT_EQ(mask[0], 1);
  // Refusals leave an empty result; out-of-range queries are empty.
  EXPECT_FALSE(r.Trace(one, 0, 1, 1.0));
  EXPECT_EQ(r.GetRegionCount(), 0);
  EXPECT_FALSE(r.Trace(one, 2, 1, 1.0));
  EXPECT_EQ(r.GetOutlines(5).GetSize(), 0);
  EXPECT_EQ(r.GetLabel(-1), 0u);
}
