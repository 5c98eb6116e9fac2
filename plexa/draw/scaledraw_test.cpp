// CScaleDraw: zoom limits, the mapping and its inverse, zoom about a point, fitting, grid
// snapping, and drawing checked by reading the pixels back.
#include "plexa/draw/scaledraw.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <tuple>

#include "tests/support.h"

using namespace plexa::test;

namespace {

constexpr COLORREF kWhite = 0xFFFFFF;

// A 32-bit memory surface of w x h black pixels drawing with a one-pixel white pen and a white
// brush.
struct Canvas {
  Canvas(int w, int h) : w(w), h(h), dc(CreateCompatibleDC(nullptr)) {
    BITMAPINFO info{};
    info.bmiHeader = {sizeof(BITMAPINFOHEADER), w, h, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* bits = nullptr;
    bmp = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    old = SelectObject(dc, bmp);
    SelectObject(dc, GetStockObject(WHITE_PEN));
    SelectObject(dc, GetStockObject(WHITE_BRUSH));
  }
  ~Canvas() {
    SelectObject(dc, old);
    DeleteDC(dc);
    DeleteObject(bmp);
  }
  bool Lit(int x, int y) const { return GetPixel(dc, x, y) == kWhite; }
  int Count() const {
    int n = 0;
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) n += Lit(x, y);
    return n;
  }
  int w, h;
  HDC dc;
  HBITMAP bmp;
  HGDIOBJ old;
};

}  // namespace

TEST(ScaleDraw, ScaleIsClampedAndSignless) {
  struct Case {
    double in, out;
  } cases[] = {{-2.0, 2.0}, {0.0, 1e-5}, {1e9, 100000.0}, {NAN, 1e-5}, {-INFINITY, 100000.0}};
  for (const Case& c : cases) {
    CScaleDraw sd;
    sd.SetScale(c.in);
    EXPECT_EQ(sd.GetScale(), c.out) << c.in;
  }
  CScaleDraw sd;
  sd.SetScale(50);
  sd.SetMaxScale(10);  // a new limit does not re-clamp
  EXPECT_EQ(sd.GetScale(), 50);
  sd.SetScale(50);
  EXPECT_EQ(sd.GetScale(), 10);
  sd.SetScaleToFit(0, 0, 0, 0);  // 1 / 1e-6, clamped to the maximum
  EXPECT_EQ(sd.GetScale(), 10);
  sd.Clear();
  sd.SetScaleToFit(0, 0, 0, 0);
  EXPECT_EQ(sd.GetScale(), 100000.0);
}

TEST(ScaleDraw, MappingRoundsHalfUpAndInvertsItself) {
  CScaleDraw sd;
  EXPECT_EQ(sd.x2s(0.5), 1);
  EXPECT_EQ(sd.x2s(-0.5), 0);
  EXPECT_EQ(sd.y2s(-1.5), -1);
  EXPECT_EQ(sd.x2s(NAN), 0);
  EXPECT_EQ(sd.x2s(1e300), 2147483647);

  // Screen = (world - world offset) * scale + screen offset, checked by hand, then the inverse
  // on seeded points.
  sd.SetScale(0.25);
  sd.SetOffset(100, -40, 7, 9);
  EXPECT_DOUBLE_EQ(sd.x2sd(300), 57.0);
  EXPECT_DOUBLE_EQ(sd.y2sd(0), 19.0);
  EXPECT_EQ(sd.r2s(CDRECT(100, 300, -40, 0)), CRect(7, 9, 57, 19));
  std::mt19937 gen(7);
  std::uniform_real_distribution<double> u(-1e5, 1e5);
  for (int i = 0; i < 100; ++i) {
    const CDPOINT p(u(gen), u(gen));
    EXPECT_POINT_NEAR(sd.s2p(sd.p2sd(p)), p, 1e-9 * (std::fabs(p.x) + std::fabs(p.y)) + 2e-9);
  }
  double wx, wy;
  int sx, sy;
  sd.MoveOffset({10, 10}, {13, 5});  // panning moves the screen offset only
  sd.GetOffset(wx, wy, sx, sy);
  EXPECT_EQ(std::tie(wx, wy, sx, sy), std::make_tuple(100.0, -40.0, 10, 4));

  // Grid snapping: floor(w / q + 0.5) * q; a tiny step divides by 1e-8 but multiplies by q.
  CScaleDraw g;
  EXPECT_EQ(g.s2x(14, 10.0), 10.0);
  EXPECT_EQ(g.s2y(15.0, 10.0), 20.0);
  EXPECT_EQ(g.s2x(-15, 10.0), -10.0);
  EXPECT_DOUBLE_EQ(g.s2x(3, 1e-9), std::floor(3 / 1e-8 + 0.5) * 1e-9);
  EXPECT_TRUE(std::isnan(g.s2x(3, 0.0)));
}

TEST(ScaleDraw, ZoomKeepsThePointAndFitCentres) {
  CScaleDraw sd;
  sd.SetScale(0.3);
  sd.SetOffset(55, 66, 12, -8);
  const tagPOINT p{140, 90};
  const CDPOINT before = sd.s2p(p);
  sd.SetScaleZoomInPoint(p);
  EXPECT_DOUBLE_EQ(sd.GetScale(), 0.6);
  EXPECT_POINT_NEAR(sd.s2p(p), before, 1e-9);
  sd.SetScaleZoomOutPoint(p);
  sd.SetScaleZoomOutPoint(p);
  EXPECT_DOUBLE_EQ(sd.GetScale(), 0.15);
  sd.SetScale(80000);
  sd.SetScaleZoomInPoint(p);  // clamped
  EXPECT_EQ(sd.GetScale(), 100000.0);
  EXPECT_NEAR(sd.s2p(p).x, sd.s2x(static_cast<int>(p.x)), 0);

  // A 2540 x 1270 world rectangle fitted into 800 x 600: width limits, scale 800 / 2540, the
  // centre lands on the window's centre and the rectangle spans the full width.
  const CRect window(0, 0, 800, 600);
  sd.SetScaleToRect(0, 0, 2540, 1270, &window);
  EXPECT_DOUBLE_EQ(sd.GetScale(), 800.0 / 2540.0);
  EXPECT_EQ(sd.p2s(CDPOINT(1270, 635)).x, 400);
  EXPECT_EQ(sd.p2s(CDPOINT(1270, 635)).y, 300);
  EXPECT_EQ(sd.r2s(CDRECT(0, 2540, 0, 1270)), CRect(0, 100, 800, 500));

  // Zoom to a dragged rectangle: the drawing under it fills the window's height afterwards.
  const CDRECT world = sd.s2r(CRect(100, 100, 300, 400));
  const CRect dragged(100, 100, 300, 400);
  sd.SetScaleToRect(&dragged, &window);
  const CRect shown = sd.r2s(world);
  EXPECT_EQ(std::make_tuple(shown.top, shown.bottom, (shown.left + shown.right) / 2),
            std::make_tuple(0, 600, 400));
  // Integer halves truncate toward zero.
  const CRect odd(-5, -5, 0, 0);
  sd.SetScaleToRect(0, 0, 10, 10, &odd);
  double wx, wy;
  int sx, sy;
  sd.GetOffset(wx, wy, sx, sy);
  EXPECT_EQ(std::tie(wx, sx, sy), std::make_tuple(5.0, -2, -2));
}

TEST(ScaleDraw, ScreenIsNinetySixPixelsAnInchAndCopiesAreValues) {
  EXPECT_DOUBLE_EQ(CScaleDraw::g_scale121, 96.0 / 254.0);
  EXPECT_EQ(CScaleDraw::Scale121(nullptr), CScaleDraw::g_scale121);
  Canvas c(4, 4);
  CScaleDraw sd;
  sd.SetScale121(c.dc);
  EXPECT_DOUBLE_EQ(sd.GetScalePercent(c.dc), 100.0);
  // A handle that is no surface reports no resolution: the screen's 1:1 scale stands in.
  EXPECT_EQ(CScaleDraw::Scale121(reinterpret_cast<HDC>(&sd)), CScaleDraw::g_scale121);

  const CRect clip(1, 2, 3, 4);
  sd.SetClipRect(&clip);
  sd.SetOffset(1, 2, 3, 4);
  CScaleDraw copy(sd);
  CScaleDraw assigned;
  assigned = sd;
  for (const CScaleDraw* d : {&copy, &assigned}) {
    tagRECT r{};
    d->GetClipRect(&r);
    EXPECT_EQ(CRect(r), clip);
    EXPECT_EQ(d->x2sd(10), sd.x2sd(10));
    EXPECT_EQ(d->GetScale(), sd.GetScale());
  }
  sd.Clear();
  tagRECT r{};
  sd.GetClipRect(&r);
  EXPECT_EQ(CRect(r), CRect(-2147483647 - 1, -2147483647 - 1, 2147483647, 2147483647));
}

TEST(ScaleDraw, LinesAreClippedAndCurvesStrokedOrFilled) {
  Canvas c(40, 40);
  CScaleDraw sd;
  sd.SetScale(0.5);  // drawing units to pixels: halve
  const CRect clip(10, 0, 30, 40);
  sd.SetClipRect(&clip);
  // Horizontal line across the whole canvas at y = 5 px: only x 10..30 is drawn (the last
  // pixel of an open line is left out by the platform).
  sd.MoveTo(c.dc, 0, 10);
  sd.LineTo(c.dc, 78, 10);
  for (int x = 0; x < 40; ++x) EXPECT_EQ(c.Lit(x, 5), x >= 10 && x < 30) << x;
  const int afterFirst = c.Count();
  // From (0, 20) to (4, 30) px lies wholly left of the clip rectangle: nothing is drawn, and
  // the next line starts from (4, 30), so it is horizontal.
  sd.MoveTo(c.dc, 0, 40);
  sd.LineTo(c.dc, 8, 60);
  EXPECT_EQ(c.Count(), afterFirst);
  sd.LineTo(c.dc, 78, 60);
  for (int x = 0; x < 40; ++x) EXPECT_EQ(c.Lit(x, 30), x >= 10 && x < 30) << x;
  EXPECT_EQ(c.Count(), 2 * afterFirst);

  // Clipping off: lines go from the surface's current position.
  Canvas d(40, 40);
  sd.SetClipRect(nullptr);
  sd.MoveTo(d.dc, 0, 60);
  sd.LineTo(d.dc, 78, 60);
  for (int x = 0; x < 39; ++x) EXPECT_TRUE(d.Lit(x, 30)) << x;

  // A closed Bezier figure (a square drawn as straight cubic segments): stroking leaves its
  // middle dark, filling lights it. The points are drawing units, mapped at scale 0.5.
  const tagPOINT square[] = {{10, 10}, {40, 10}, {40, 10}, {70, 10}, {70, 40}, {70, 40}, {70, 70},
                             {40, 70}, {40, 70}, {10, 70}, {10, 40}, {10, 40}, {10, 10}};
  Canvas e(40, 40), f(40, 40);
  sd.PolyBezier(e.dc, square, 13, false);
  sd.PolyBezier(f.dc, square, 13, true);
  sd.PolyBezier(f.dc, nullptr, 13, true);  // nothing
  EXPECT_TRUE(e.Lit(5, 20) && e.Lit(35, 20) && !e.Lit(20, 20));
  EXPECT_TRUE(f.Lit(20, 20) && !f.Lit(37, 20));
}
