#include "plexa/raster/shapetrace.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "plexa/geom/bezier.h"
#include "plexa/raster/imgproc.h"
#include "tests/raster_support.h"

using PLEXA::CDPOINT;

namespace {

using plexa::test::Painted;

// A 32-bit bitmap painted white where paint(x, y) holds, black elsewhere.
Painted Image(int w, int h, const std::function<bool(int, int)>& paint) {
  return Painted::Colour(w, h, [&](int x, int y) { return paint(x, y) ? RGB(255, 255, 255) : 0; });
}

// Exposes the protected members for the seed fill test.
struct Probe : CShapeTrace {
  using CShapeTrace::CShapeTrace;
  using CShapeTrace::GetPixel;
  using CShapeTrace::SeedFill;
};

// Largest distance from the points of a path's flattening to the closest point of the
// rectangle's boundary.
double WorstDistanceToRect(const CBPointArray& path, double x0, double y0, double x1, double y1) {
  double worst = 0;
  for (INT_PTR i = 0; i + 1 < path.GetSize(); ++i) {
    const CBezier seg(path[i], path[i + 1]);
    for (int k = 0; k <= 20; ++k) {
      const CDPOINT p = seg.GetCurvePoint(k / 20.0);
      const double dx = std::max({x0 - p.x, 0.0, p.x - x1}),
                   dy = std::max({y0 - p.y, 0.0, p.y - y1});
      const double outside = std::hypot(dx, dy);
      const double inside = std::min({p.x - x0, x1 - p.x, p.y - y0, y1 - p.y});
      worst = std::max(worst, outside > 0 ? outside : inside);
    }
  }
  return worst;
}

}  // namespace

TEST(CShapeTrace, RegionsOnTheGridBecomeClosedOutlines) {
  // A 20 x 20 white square at (10, 10) on black: one closed outline along its boundary pixels.
  const Painted img =
      Image(60, 60, [](int x, int y) { return x >= 10 && x < 30 && y >= 10 && y < 30; });
  CShapeTrace trace(img.bmp);
  CPolyPolyBezier out;
  ASSERT_TRUE(trace.DoTrace(out, 4));
  ASSERT_EQ(out.GetSize(), 1);
  const CBPointArray& path = out[0];
  EXPECT_TRUE(path.IsPolyBezierClosed());
  // The boundary pixels' centres lie on the square 10..29; the fit follows within 5.
  EXPECT_LT(WorstDistanceToRect(path, 10, 10, 29, 29), 5.0);

  // A second trace on the same object finds nothing new: the marks accumulate.
  CPolyPolyBezier again;
  ASSERT_TRUE(trace.DoTrace(again, 4));
  EXPECT_EQ(again.GetSize(), 0);
}

TEST(CShapeTrace, OffGridIsolatedAndSmallRegionsGiveNothing) {
  const Painted small =
      Image(40, 40, [](int x, int y) { return x >= 1 && x < 6 && y >= 1 && y < 6; });
  CShapeTrace a(small.bmp);
  CPolyPolyBezier out;
  ASSERT_TRUE(a.DoTrace(out, 4));
  EXPECT_EQ(out.GetSize(), 0);  // no grid point inside

  const Painted dot = Image(40, 40, [](int x, int y) { return x == 20 && y == 20; });
  CShapeTrace b(dot.bmp);
  ASSERT_TRUE(b.DoTrace(out, 0));
  EXPECT_EQ(out.GetSize(), 0);  // isolated pixel

  // 76 boundary pixels (a 20 x 20 square): dropped at minPoints 76, kept at 75.
  const Painted sq =
      Image(60, 60, [](int x, int y) { return x >= 10 && x < 30 && y >= 10 && y < 30; });
  CShapeTrace c(sq.bmp);
  ASSERT_TRUE(c.DoTrace(out, 76));
  EXPECT_EQ(out.GetSize(), 0);
  ASSERT_TRUE(c.DoTrace(out, 75));  // not marked by the dropped attempt
  EXPECT_EQ(out.GetSize(), 1);
}

TEST(CShapeTrace, EdgesHolesAndColours) {
  // A ring touching the image edge: outline along the edge, and the hole as its own outline.
  const Painted ring = Image(80, 80, [](int x, int y) {
    const double r = std::hypot(x - 40, y - 40);
    return r < 45 && !(r < 15);
  });
  CShapeTrace t(ring.bmp);
  CPolyPolyBezier out;
  ASSERT_TRUE(t.DoTrace(out, 4));
  EXPECT_EQ(out.GetSize(), 2);

  // Mid-grey and colour pixels go to the nearer of black and white.
  const Painted grey = Image(40, 40, [](int, int) { return false; });
  for (int y = 5; y < 25; ++y)
    for (int x = 5; x < 25; ++x)
      CImgProc::SetPixel32(grey.bm, x, y, RGB(200, 180, 160));  // nearer white
  CShapeTrace g(grey.bmp);
  ASSERT_TRUE(g.DoTrace(out, 4));
  EXPECT_EQ(out.GetSize(), 1);

  CShapeTrace none(nullptr);
  out.Add(new CBPointArray);
  EXPECT_FALSE(none.DoTrace(out, 4));
  EXPECT_EQ(out.GetSize(), 2);  // unchanged
}

TEST(CShapeTrace, SeedFillClearsOneFourConnectedRegion) {
  // Two squares touching only at a corner: 4-connected fill clears just the first.
  const Painted img = Image(30, 30, [](int x, int y) {
    return (x >= 2 && x < 10 && y >= 2 && y < 10) || (x >= 10 && x < 18 && y >= 10 && y < 18) ||
           (x >= 3 && x < 8 && y == 1) || (y >= 4 && y < 6 && x == 10);  // ragged edges
  });
  Probe p(img.bmp);
  p.SeedFill(5, 5);
  for (int y = 0; y < 30; ++y)
    for (int x = 0; x < 12; ++x)
      if (!(x >= 10 && y >= 10)) {
        EXPECT_FALSE(p.GetPixel(x, y)) << x << "," << y;
      }
  EXPECT_TRUE(p.GetPixel(12, 12));
  p.SeedFill(0, 0);  // black seed: nothing
  EXPECT_TRUE(p.GetPixel(12, 12));
}
