#include "plexa/raster/edgedetect.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <random>

#include "plexa/raster/imagetrace.h"
#include "plexa/raster/imgproc.h"
#include "tests/raster_support.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using plexa::test::DistanceToPath;

namespace {

// A 32-bit picture whose pixel (x, y) has the grey (or colour) grey(x, y); freed on scope exit.
struct Picture : plexa::test::Painted {
  Picture(int w, int h, const std::function<unsigned long(int, int)>& colour)
      : Painted(Painted::Colour(w, h, colour)) {}
};
unsigned long Grey(int v) {
  return RGB(v, v, v);
}

// Opens the protected stages for the tests.
struct Probe : CEdgeDetect {
  using CEdgeDetect::CannyEdges;
  using CEdgeDetect::f2d;
  using CEdgeDetect::image;
  using CEdgeDetect::m_border;
  using CEdgeDetect::meanGauss;
  using CEdgeDetect::newimage;
  using CEdgeDetect::ShenEdges;
  // canny()'s magnitudes and, beside them, the same picture through the whole-raster stages
  // one after the other (the plain reference), each pixel's byte in both.
  void BothWays(const image& grey, float sigma, image& fused, image& plain) {
    image ori;
    newimage(grey.nr, grey.nc, fused);
    newimage(grey.nr, grey.nc, plain);
    canny(sigma, grey, fused, ori);
    float gau[kEdgeMaxTaps] = {}, dgau[kEdgeMaxTaps] = {};
    int width = kEdgeMaxTaps;
    for (int i = 0; i < kEdgeMaxTaps && width == kEdgeMaxTaps; ++i) {
      gau[i] = meanGauss(static_cast<float>(i), sigma);
      dgau[i] = dGauss(static_cast<float>(i), sigma);
      if (gau[i] < 0.005) width = i;
    }
    fimage smx = f2d(grey.nr, grey.nc), smy = f2d(grey.nr, grey.nc);
    fimage dx = f2d(grey.nr, grey.nc), dy = f2d(grey.nr, grey.nc), norm = f2d(grey.nr, grey.nc);
    seperable_convolution(grey, gau, width, smx, smy);
    dxy_seperable_convolution(smx, dgau, width, dx, 1);
    dxy_seperable_convolution(smy, dgau, width, dy, 0);
    for (int i = 0; i < grey.nr; ++i)
      for (int j = 0; j < grey.nc; ++j) {
        norm[i][j] = std::sqrt(dx[i][j] * dx[i][j] + dy[i][j] * dy[i][j]);
        const double scaled = norm[i][j] * 20.0;  // the outermost pixels keep their raw byte
        plain[i][j] = static_cast<unsigned char>(static_cast<std::int32_t>(scaled));
      }
    nonmax_suppress(dx, dy, norm, plain, ori);
  }
  void Use(HBITMAP bmp) {  // remembers the bitmap at one unit a pixel, no paths
    Input(nullptr, 254.0, 254.0);
    m_bitmap = bmp;
    GetObjectW(bmp, sizeof m_bm, &m_bm);
  }
  unsigned char Grey(int x, int y) const { return GetGrayPixel(x, y); }
  void Scale() { ScaleBack(); }
  double DpiX() const { return m_dpiX; }
};

// The edge pixels (value 0) of a result raster that lie outside the painted frame.
std::vector<std::pair<int, int>> EdgePixels(const Probe::image& r) {
  std::vector<std::pair<int, int>> out;
  for (int y = 0; y < r.nr; ++y)
    for (int x = 0; x < r.nc; ++x)
      if (r[y][x] == 0) out.emplace_back(x, y);
  return out;
}

// Whether some edge pixel lies in the 3 x 3 block around pixel (x, y).
bool EdgeNear(const Probe::image& r, int x, int y) {
  for (int dy = -1; dy <= 1; ++dy)
    for (int dx = -1; dx <= 1; ++dx)
      if (y + dy >= 0 && y + dy < r.nr && x + dx >= 0 && x + dx < r.nc && r[y + dy][x + dx] == 0)
        return true;
  return false;
}

}  // namespace

TEST(CEdgeDetect, DetailsKernelGreyAndUnits) {
  Probe e;
  EXPECT_EQ(e.GetDetails(), 0.5);
  e.SetDetails(-3);
  EXPECT_EQ(e.GetDetails(), 0.0);
  e.SetDetails(7);
  EXPECT_EQ(e.GetDetails(), 1.0);
  EXPECT_NEAR(Probe::meanGauss(4, 1.5f), 0.002485, 2e-5);
  EXPECT_NEAR(Probe::meanGauss(3, 1.5f), 0.01062, 2e-5);
  // Grey: trunc(0.3 R + 0.59 G + 0.11 B).
  Picture colours(4, 1, [](int x, int) -> unsigned long {
    const unsigned long c[] = {RGB(255, 0, 0), RGB(0, 255, 0), RGB(0, 0, 255), RGB(10, 20, 30)};
    return c[x];
  });
  e.Use(colours.bmp);
  EXPECT_EQ(e.Grey(0, 0), 76);
  EXPECT_EQ(e.Grey(1, 0), 150);
  EXPECT_EQ(e.Grey(2, 0), 28);
  EXPECT_EQ(e.Grey(3, 0), 18);
  // Units: 96 dpi when none is given; paths of 10 units or more stay, shorter ones go.
  e.Input(nullptr, 0, 0);
  EXPECT_EQ(e.DpiX(), 96.0);
  for (double len : {96.0, 3.78, 3.77})  // 254, 10.0000.., 9.97 units
    e.Add(std::make_unique<CBPointArray>(plexa::test::Poly({{0, 0}, {len, 0}})).release());
  e.Scale();
  ASSERT_EQ(e.GetSize(), 2);
  EXPECT_NEAR(e[0][1].anchor.x, 254.0, 1e-9);
  EXPECT_NEAR(e[1][1].anchor.x, 3.78 * 254 / 96, 1e-9);
}

TEST(CEdgeDetect, CannyRowsMatchTheWholeRasterStages) {
  // Noisy pictures of awkward sizes (narrower than the kernel, one row, odd widths that leave
  // pixels after the groups of four and eight), at the three kernels: the row-streamed
  // gradients give exactly the bytes of the stages run one after the other.
  std::mt19937 rng(5);
  std::uniform_int_distribution<int> level(0, 255);
  // Kernel widths from the pixel-averaged Gaussian (1/3 of the centre and both half-pixel
  // offsets, over 2 pi sigma^2), worked by hand: sigma 1.5 (details 0) keeps 4 taps (the fifth
  // is 0.0025), sigma 1.0 keeps 3, sigma 0.5 keeps 2; the border is half the taps.
  const struct {
    float sigma;
    int border;
  } kernels[] = {{1.5f, 2}, {1.0f, 1}, {0.5f, 1}};
  const int sizes[][2] = {{1, 1}, {3, 1}, {1, 7}, {2, 5}, {13, 9}, {37, 23}, {67, 40}};
  for (const auto& size : sizes)
    for (auto [sigma, border] : kernels)
      for (int kind = 0; kind < 3; ++kind) {  // noise; blocks (many exact ties); ramps
        Probe e;
        Probe::image grey, fused, plain;
        e.newimage(size[1], size[0], grey);
        for (int y = 0; y < grey.nr; ++y)
          for (int x = 0; x < grey.nc; ++x)
            grey[y][x] = static_cast<unsigned char>(kind == 0   ? level(rng) / 2 + 60
                                                    : kind == 1 ? (x / 5 * 40 + y / 3 * 25) % 200
                                                                : x * 3 + y * 2);
        e.BothWays(grey, sigma, fused, plain);
        EXPECT_EQ(e.m_border, border) << sigma;
        EXPECT_EQ(fused.pixels, plain.pixels) << size[0] << " x " << size[1] << " sigma " << sigma;
      }
}

TEST(CEdgeDetect, CannyFindsTrueEdgesWithinAPixel) {
  // A disc on a uniform ground: every edge pixel within a pixel of the circle, every point of
  // the circle with an edge pixel in its 3 x 3 block.
  const double cx = 50.3, cy = 49.6, R = 24.0;
  auto inside = [&](int x, int y) { return std::hypot(x + 0.5 - cx, y + 0.5 - cy) < R; };
  Picture disc(100, 100, [&](int x, int y) { return inside(x, y) ? Grey(200) : Grey(50); });
  // A step between rows 29 and 30 over a noisy ramp (grey rises and falls half a level a
  // column, so that the sides meet without a step; noise +-2): only the step is an edge.
  std::mt19937 rng(7);
  std::uniform_int_distribution<int> noise(-2, 2);
  Picture step(120, 60, [&](int x, int y) {
    return Grey(40 + std::min(x, 120 - x) / 2 + noise(rng) + (y >= 30) * 100);
  });
  for (double details : {0.0, 0.5, 1.0}) {
    Probe e;
    e.SetDetails(details);
    e.Use(disc.bmp);
    Probe::image r;
    ASSERT_TRUE(e.CannyEdges(r));
    for (auto [x, y] : EdgePixels(r))
      EXPECT_LE(std::fabs(std::hypot(x + 0.5 - cx, y + 0.5 - cy) - R), 1.0) << x << "," << y;
    for (int k = 0; k < 360; ++k) {
      const double a = k * M_PI / 180;
      EXPECT_TRUE(EdgeNear(r, static_cast<int>(cx + R * std::cos(a)),
                           static_cast<int>(cy + R * std::sin(a))))
          << "angle " << k << " details " << details;
    }
    e.Use(step.bmp);
    ASSERT_TRUE(e.CannyEdges(r));
    for (auto [x, y] : EdgePixels(r))  // the last column keeps its raw response (intended)
      EXPECT_TRUE(y == 29 || y == 30 || x == 119) << x << "," << y;
    for (int x = e.m_border; x < 119; ++x) EXPECT_TRUE(EdgeNear(r, x, 29)) << x;
  }
}

TEST(CEdgeDetect, ShenFindsStepsAboveItsThreshold) {
  // A band of rows 20..39 on a ground, with +-2 noise: contrast 200 is found along both
  // sides. Contrast 100 gives an adaptive gradient of about 14 (the mean of the smoothed
  // values over the 7 x 7 window, 55 on the bright side, 41 on the dark one): below the
  // thresholds (20, 22), nothing.
  for (int contrast : {200, 100}) {
    std::mt19937 rng(11);
    std::uniform_int_distribution<int> noise(-2, 2);
    Picture band(
        90, 60, [&](int, int y) { return Grey(30 + noise(rng) + (y >= 20 && y < 40) * contrast); });
    Probe e;
    e.Use(band.bmp);
    Probe::image r;
    ASSERT_TRUE(e.ShenEdges(r));
    const auto edges = EdgePixels(r);
    if (contrast == 100) {
      EXPECT_TRUE(edges.empty()) << edges.size() << " pixels";
      continue;
    }
    for (auto [x, y] : edges)
      EXPECT_TRUE(y == 19 || y == 20 || y == 39 || y == 40) << x << "," << y;
    for (int x = 1; x < 89; ++x) EXPECT_TRUE(EdgeNear(r, x, 19) && EdgeNear(r, x, 39)) << x;
  }
}

TEST(CEdgeDetect, TracedPathsFollowTheEdge) {
  const double cx = 60.5, cy = 60.5, R = 30.0;
  Picture disc(120, 120, [&](int x, int y) {
    return std::hypot(x + 0.5 - cx, y + 0.5 - cy) < R ? RGB(255, 255, 200) : RGB(0, 0, 40);
  });
  for (bool isef : {false, true}) {
    CEdgeDetect e;
    e.Input(disc.bmp, 254.0, 254.0);  // one unit a pixel; points are cells (pixel + 1)
    if (isef) e.Input_Shen();
    ASSERT_GE(e.GetSize(), 1) << isef;
    double length = 0;
    for (INT_PTR i = 0; i < e.GetSize(); ++i) {
      const CBPointArray& p = e[static_cast<int>(i)];
      length += p.CalcLength();
      for (const CBPOINT& n : p)
        EXPECT_LE(std::fabs(std::hypot(n.anchor.x - 0.5 - cx, n.anchor.y - 0.5 - cy) - R), 1.5);
    }
    EXPECT_NEAR(length, 2 * M_PI * R, 0.15 * 2 * M_PI * R) << isef;
    // Every point of the circle is near a path: within a pixel of an edge pixel, plus what
    // the curve fit (tolerance kImageTraceTolerance) may stray between its nodes.
    for (int k = 0; k < 72; ++k) {
      const double a = 2 * M_PI * k / 72;
      const CDPOINT q(cx + 0.5 + R * std::cos(a), cy + 0.5 + R * std::sin(a));
      double best = 1e9;
      for (INT_PTR i = 0; i < e.GetSize(); ++i)
        best = std::min(best, DistanceToPath(e[static_cast<int>(i)], q));
      EXPECT_LE(best, 1.0 + kImageTraceTolerance)
          << "angle " << k * 5 << (isef ? " isef" : " canny");
    }
  }
  // A uniform picture or a black one: the Canny thresholds fall to 0, so the whole picture is
  // edge (the estimate has no exception for it); ISEF finds no zero crossing. A null handle
  // gives nothing.
  for (unsigned long c : {RGB(0, 0, 0), RGB(128, 64, 200)}) {
    Picture flat(64, 48, [&](int, int) { return c; });
    CEdgeDetect e;
    e.Input(flat.bmp, 300, 300);
    EXPECT_GT(e.GetSize(), 0);
    e.Input_Shen();
    EXPECT_EQ(e.GetSize(), 0);
  }
  CEdgeDetect none;
  none.Input(nullptr, 300, 300);
  EXPECT_EQ(none.GetSize(), 0);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(CEdgeDetectDeathTest, OutOfStorageStopsWithItsMessage) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // An impossible size is refused before anything is allocated.
  EXPECT_EXIT(Probe::f2d(-1, 5), testing::ExitedWithCode(1), "^Out of storage: F2D\\.\n$");
  EXPECT_EXIT(Probe::f2d(1 << 30, 1 << 30), testing::ExitedWithCode(1),
              "^Out of storage: F2D\\.\n$");
  // A real refusal: the address space is capped just above what the process uses.
  auto capped = [](long extraMb, const std::function<void()>& work) {
    long pages = 0;
    if (FILE* f = std::fopen("/proc/self/statm", "r")) {
      if (std::fscanf(f, "%ld", &pages) != 1) pages = 0;
      std::fclose(f);
    }
    const rlim_t cap = static_cast<rlim_t>(pages) * 4096 + (static_cast<rlim_t>(extraMb) << 20);
    rlimit lim{cap, cap};
    setrlimit(RLIMIT_AS, &lim);
    work();
  };
  EXPECT_EXIT(capped(64, [] { Probe::f2d(200, 1 << 20); }), testing::ExitedWithCode(1),
              "^Out of storage: F2D [1-9][0-9]*\\.\n$");
  Picture big(3000, 3000, [](int x, int) { return Grey(x & 255); });
  EXPECT_EXIT(capped(12,
                     [&] {
                       CEdgeDetect e;
                       e.Input(big.bmp, 0, 0);
                     }),
              testing::ExitedWithCode(1), "^Out of storage: Magnitude\n$");
}
#endif
