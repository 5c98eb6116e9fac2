#include "plexa/draw/colour.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

struct Rgb {
  int r, g, b;
};

Rgb FromHls(double h, double l, double s) {
  Rgb c{-1, -1, -1};
  HLS2RGB(h, l, s, c.r, c.g, c.b);
  return c;
}

::testing::AssertionResult RgbIs(const Rgb& c, int r, int g, int b) {
  if (c.r == r && c.g == g && c.b == b) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "(" << c.r << ", " << c.g << ", " << c.b << ") vs (" << r
                                       << ", " << g << ", " << b << ")";
}

}  // namespace

TEST(Colour, HueScaleIsShiftedBySixtyDegrees) {
  struct Case {
    int r, g, b;
    double hue;
  } cases[] = {{255, 0, 255, 0}, {255, 0, 0, 60},    {255, 255, 0, 120},
               {0, 255, 0, 180}, {0, 255, 255, 240}, {0, 0, 255, 300}};
  for (const Case& c : cases) {
    double h, l, s;
    RGB2HLS(c.r, c.g, c.b, h, l, s);
    EXPECT_DOUBLE_EQ(h, c.hue) << c.r << " " << c.g << " " << c.b;
    EXPECT_DOUBLE_EQ(l, 0.5);
    EXPECT_DOUBLE_EQ(s, 1.0);
    EXPECT_TRUE(RgbIs(FromHls(c.hue, 0.5, 1), c.r, c.g, c.b)) << c.hue;
  }
  EXPECT_TRUE(RgbIs(FromHls(360, 0.5, 1), 255, 0, 255));
  EXPECT_TRUE(RgbIs(FromHls(725, 0.5, 1), 255, 0, 255));  // beyond 360 acts as 360
  EXPECT_TRUE(RgbIs(FromHls(-90, 0.5, 1), 255, 0, 255));  // below 0 acts as 0

  // Orange: the common hue 30.1 degrees reads 90.1 here.
  double h, l, s;
  RGB2HLS(255, 128, 0, h, l, s);
  EXPECT_NEAR(h, 60 + 60 * 128 / 255.0, 1e-12);
  EXPECT_NEAR(l, (1 + 0) / 2.0, 1e-12);
  EXPECT_NEAR(s, 1.0, 1e-12);
}

TEST(Colour, GreysWhiteBlackAndClamping) {
  double h, l, s;
  RGB2HLS(128, 128, 128, h, l, s);
  EXPECT_EQ(h, 60.0);
  EXPECT_EQ(s, 0.0);
  EXPECT_DOUBLE_EQ(l, 128 / 255.0);
  RGB2HLS(255, 255, 255, h, l, s);
  EXPECT_TRUE(h == 60 && s == 0 && l == 1);
  RGB2HLS(-40, 300, 0, h, l, s);  // clamped to (0, 255, 0)
  EXPECT_DOUBLE_EQ(h, 180.0);
  EXPECT_DOUBLE_EQ(s, 1.0);

  // Lightness 0.5 of a grey is 127.5, rounded up: the RGB side rounds.
  EXPECT_TRUE(RgbIs(FromHls(60, 0.5, 0), 128, 128, 128));
  EXPECT_TRUE(RgbIs(FromHls(200, 0.3, -1), 77, 77, 77));  // negative saturation: grey
  EXPECT_TRUE(RgbIs(FromHls(200, 1.7, 0.5), 255, 255, 255));
  EXPECT_TRUE(RgbIs(FromHls(60, 0.25, 5), 128, 0, 0));  // saturation limited to 1
  const Rgb n = FromHls(std::nan(""), std::nan(""), std::nan(""));
  EXPECT_TRUE(n.r >= 0 && n.r <= 255 && n.g >= 0 && n.g <= 255 && n.b >= 0 && n.b <= 255);
}

TEST(Colour, HlsRoundTripsEveryColourOfAGrid) {
  for (int r = 0; r <= 255; r += 15)
    for (int g = 0; g <= 255; g += 17)
      for (int b = 0; b <= 255; b += 5) {
        double h, l, s;
        RGB2HLS(r, g, b, h, l, s);
        ASSERT_TRUE(h >= 0 && h <= 360 && l >= 0 && l <= 1 && s >= 0 && s <= 1);
        ASSERT_TRUE(RgbIs(FromHls(h, l, s), r, g, b)) << h << " " << l << " " << s;
      }
}

TEST(Colour, CmykTruncates) {
  int c, m, y, k;
  auto cmyk = [&](int r, int g, int b) {
    RGB2CMYK(r, g, b, c, m, y, k);
    return std::vector<int>{c, m, y, k};
  };
  EXPECT_EQ(cmyk(0, 0, 0), (std::vector<int>{0, 0, 0, 255}));
  EXPECT_EQ(cmyk(255, 255, 255), (std::vector<int>{0, 0, 0, 0}));
  EXPECT_EQ(cmyk(255, 0, 0), (std::vector<int>{0, 255, 255, 0}));
  // Ideal values: m = 255 * 100/200 = 127.5, y = 255 * 150/200 = 191.25, k = 55. Rounding
  // would give m = 128.
  EXPECT_EQ(cmyk(200, 100, 50), (std::vector<int>{0, 127, 191, 55}));
  // The key always lies on a whole number in exact arithmetic (255 - max channel); the
  // truncation may then lose one to rounding below it.
  cmyk(51, 102, 204);
  EXPECT_TRUE(c == 191 && m == 127 && y == 0 && (k == 50 || k == 51)) << c << m << y << k;
  // Out-of-range inputs are used as given; the outputs stay in 0 .. 255.
  RGB2CMYK(2147483647, -2147483647, 1000, c, m, y, k);
  for (int v : {c, m, y, k}) EXPECT_TRUE(v >= 0 && v <= 255) << v;
}
