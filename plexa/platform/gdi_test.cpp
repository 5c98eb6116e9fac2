// The drawing platform through its public calls: bitmap records and layout, object lifetimes and
// failures on bad handles, drawing into selected bitmaps, block copies with colour reduction.
#include "plexa/platform/gdi.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>
#include <vector>

#include "tests/support.h"

namespace {

HBITMAP MakeDib(int w, int h, int bpp, void** bits = nullptr) {
  BITMAPINFO_256 info{};
  info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  info.bmiHeader.biWidth = w;
  info.bmiHeader.biHeight = h;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = static_cast<WORD>(bpp);
  info.bmiHeader.biCompression = BI_RGB;
  if (bpp == 1) {
    info.bmiHeader.biClrUsed = 2;
    info.bmiColors[1] = {255, 255, 255, 0};
  } else if (bpp == 8) {
    for (int i = 0; i < 256; ++i) info.bmiColors[i] = {BYTE(i), BYTE(i), BYTE(i), 0};  // greys
  }
  void* dummy = nullptr;
  return CreateDIBSection(nullptr, reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS,
                          bits ? bits : &dummy, nullptr, 0);
}

// A memory surface with a bitmap selected; releases both.
struct Canvas {
  Canvas(int w, int h, int bpp) : bmp(MakeDib(w, h, bpp)), dc(CreateCompatibleDC(nullptr)) {
    old = SelectObject(dc, bmp);
  }
  ~Canvas() {
    SelectObject(dc, old);
    DeleteDC(dc);
    DeleteObject(bmp);
  }
  int Count(COLORREF c, int w, int h) const {
    int n = 0;
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) n += GetPixel(dc, x, y) == c;
    return n;
  }
  HBITMAP bmp;
  HDC dc;
  HGDIOBJ old;
};

constexpr COLORREF kWhite = 0xFFFFFF;
using PLEXA::CDPOINT;
using plexa::test::DenseInside;

}  // namespace

TEST(Gdi, RecordsHaveThePlatformSizes) {
  EXPECT_EQ(sizeof(BITMAPINFOHEADER), 40u);
  EXPECT_EQ(sizeof(RGBQUAD), 4u);
  if (sizeof(void*) == 8) {
    EXPECT_EQ(sizeof(BITMAP), 32u);
    EXPECT_EQ(sizeof(DIBSECTION), 104u);
  }
}

TEST(Gdi, DibSectionDescribesItselfBothWays) {
  void* bits = nullptr;
  HBITMAP bmp = MakeDib(33, 5, 1, &bits);
  ASSERT_NE(bmp, nullptr);
  ASSERT_NE(bits, nullptr);
  BITMAP bm{};
  EXPECT_EQ(GetObjectW(bmp, sizeof(bm), &bm), int(sizeof(BITMAP)));
  // Width, height, row bytes (33 bits round up to two 32-bit words), planes, depth, memory.
  EXPECT_EQ(std::make_tuple(bm.bmWidth, bm.bmHeight, bm.bmWidthBytes, bm.bmPlanes, bm.bmBitsPixel,
                            bm.bmBits),
            std::make_tuple(33, 5, 8, WORD(1), WORD(1), bits));
  const auto* bytes = static_cast<const BYTE*>(bits);
  for (int i = 0; i < 40; ++i) ASSERT_EQ(bytes[i], 0);  // starts black

  DIBSECTION ds{};
  EXPECT_EQ(GetObjectW(bmp, sizeof(ds), &ds), int(sizeof(DIBSECTION)));
  EXPECT_EQ(std::make_tuple(ds.dsBm.bmBits, ds.dsBmih.biWidth, ds.dsBmih.biHeight,
                            ds.dsBmih.biBitCount, ds.dsBmih.biSizeImage),
            std::make_tuple(bits, 33, 5, WORD(1), 40u));
  EXPECT_EQ(GetObjectW(bmp, 0, nullptr), int(sizeof(BITMAP)));
  EXPECT_EQ(GetObjectW(bmp, 8, &bm), 0);  // too small

  // Pixel (0, 0) of a bottom-up bitmap is the top bit of the last memory row.
  Canvas c(33, 5, 1);
  BITMAP cb{};
  GetObjectW(c.bmp, sizeof(cb), &cb);
  EXPECT_EQ(SetPixel(c.dc, 0, 0, kWhite), kWhite);
  EXPECT_EQ(static_cast<const BYTE*>(cb.bmBits)[4 * 8], 0x80);
  SetPixel(c.dc, 32, 4, kWhite);
  EXPECT_EQ(static_cast<const BYTE*>(cb.bmBits)[4], 0x80);  // byte 4 of memory row 0
  EXPECT_TRUE(DeleteObject(bmp));
}

TEST(Gdi, TopDownAndColourDepthsAddressTheirPixels) {
  BITMAPINFO info{};
  info.bmiHeader = {sizeof(BITMAPINFOHEADER), 3, -2, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
  void* bits = nullptr;
  HBITMAP bmp = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  ASSERT_NE(bmp, nullptr);
  BITMAP bm{};
  GetObjectW(bmp, sizeof(bm), &bm);
  EXPECT_EQ(bm.bmHeight, 2);       // the record reports the height positive
  EXPECT_EQ(bm.bmWidthBytes, 12);  // 9 bytes padded to 12
  HDC dc = CreateCompatibleDC(nullptr);
  HGDIOBJ old = SelectObject(dc, bmp);
  SetPixel(dc, 1, 0, RGB(1, 2, 3));  // top-down: line 0 is memory row 0
  const auto* b = static_cast<const BYTE*>(bits);
  EXPECT_EQ(std::vector<BYTE>(b + 3, b + 6), (std::vector<BYTE>{3, 2, 1}));  // blue, green, red
  EXPECT_EQ(GetPixel(dc, 1, 0), RGB(1, 2, 3));
  SelectObject(dc, old);
  DeleteDC(dc);
  DeleteObject(bmp);

  // 32 bits: blue, green, red, spare 0; 8 bits: the nearest grey of the palette.
  Canvas c32(2, 2, 32);
  BITMAP b32{};
  GetObjectW(c32.bmp, sizeof(b32), &b32);
  SetPixel(c32.dc, 0, 1, RGB(0x30, 0x20, 0x10));
  const auto* p = static_cast<const BYTE*>(b32.bmBits);
  EXPECT_EQ(std::vector<BYTE>(p, p + 4), (std::vector<BYTE>{0x10, 0x20, 0x30, 0x00}));
  Canvas c8(2, 2, 8);
  EXPECT_EQ(SetPixel(c8.dc, 0, 0, RGB(100, 110, 120)), RGB(110, 110, 110));
}

TEST(Gdi, BadSizesAndRecordsGiveNoBitmap) {
  struct Bad {
    LONG w, h;
    WORD planes, bpp;
    DWORD compression;
  };
  const Bad cases[] = {{0, 10, 1, 32, BI_RGB},
                       {-5, 10, 1, 32, BI_RGB},
                       {10, 0, 1, 32, BI_RGB},
                       {10, INT32_MIN, 1, 32, BI_RGB},
                       {100000, 100000, 1, 32, BI_RGB} /* 40 GB */,
                       {INT32_MAX, INT32_MAX, 1, 32, BI_RGB},
                       {4, 4, 1, 16, BI_RGB} /* depth */,
                       {4, 4, 2, 32, BI_RGB} /* planes */,
                       {4, 4, 1, 32, 3} /* compression */};
  for (const Bad& c : cases) {
    void* bits = reinterpret_cast<void*>(1);
    BITMAPINFO info{};
    info.bmiHeader = {
        sizeof(BITMAPINFOHEADER), c.w, c.h, c.planes, c.bpp, c.compression, 0, 0, 0, 0, 0};
    EXPECT_EQ(CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0), nullptr)
        << c.w << "x" << c.h;
    EXPECT_EQ(bits, nullptr);  // the bits pointer is cleared on failure
  }
  void* bits = nullptr;
  EXPECT_EQ(CreateDIBSection(nullptr, nullptr, DIB_RGB_COLORS, &bits, nullptr, 0), nullptr);
}

TEST(Gdi, NullAndUnknownHandlesFailLikeThePlatform) {
  int local = 0;
  void* bogus = &local;
  HDC fake = reinterpret_cast<HDC>(bogus);
  for (HDC dc : {HDC(nullptr), fake}) {
    POINT pts[4] = {{0, 0}, {5, 5}, {9, 0}, {12, 3}};
    RECT r{0, 0, 5, 5};
    EXPECT_FALSE(MoveToEx(dc, 1, 1, nullptr));
    EXPECT_FALSE(LineTo(dc, 1, 1));
    EXPECT_FALSE(Polyline(dc, pts, 3));
    EXPECT_FALSE(Polygon(dc, pts, 3));
    EXPECT_FALSE(PolyBezier(dc, pts, 4));
    EXPECT_FALSE(BeginPath(dc));
    EXPECT_FALSE(EndPath(dc));
    EXPECT_FALSE(StrokeAndFillPath(dc));
    EXPECT_FALSE(FillRect(dc, &r, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH))));
    EXPECT_EQ(SetPixel(dc, 0, 0, 0), CLR_INVALID);
    EXPECT_EQ(GetPixel(dc, 0, 0), CLR_INVALID);
    EXPECT_FALSE(BitBlt(dc, 0, 0, 4, 4, dc, 0, 0, SRCCOPY));
    EXPECT_FALSE(DeleteDC(dc));
    EXPECT_EQ(ReleaseDC(nullptr, dc), 0);
    EXPECT_EQ(GetDeviceCaps(dc, LOGPIXELSX), 0);
    EXPECT_EQ(SelectObject(dc, GetStockObject(BLACK_PEN)), nullptr);
  }
  EXPECT_EQ(CreateCompatibleDC(fake), nullptr);
  EXPECT_FALSE(DeleteObject(nullptr));
  EXPECT_FALSE(DeleteObject(bogus));
  EXPECT_EQ(GetObjectW(bogus, 100, &local), 0);
  EXPECT_EQ(GetStockObject(-1), nullptr);
  EXPECT_EQ(GetStockObject(9), nullptr);
  EXPECT_EQ(GetDC(reinterpret_cast<HWND>(bogus)), nullptr);
  EXPECT_EQ(CreatePen(PS_SOLID, -1, 0), nullptr);
  EXPECT_EQ(CreatePen(7, 1, 0), nullptr);
  EXPECT_EQ(CreatePen(PS_SOLID, kMaxCoordinate + 1, 0), nullptr);
}

TEST(Gdi, ObjectLifetimesFollowSelection) {
  HBITMAP bmp = MakeDib(8, 8, 32);
  HDC a = CreateCompatibleDC(nullptr);
  HDC b = CreateCompatibleDC(a);
  ASSERT_NE(b, nullptr);
  HGDIOBJ stockBitmap = SelectObject(a, bmp);
  ASSERT_NE(stockBitmap, nullptr);
  BITMAP bm{};
  EXPECT_EQ(GetObjectW(stockBitmap, sizeof(bm), &bm), int(sizeof(BITMAP)));
  EXPECT_EQ(bm.bmWidth, 1);                  // the 1 x 1 bitmap a new surface starts with
  EXPECT_EQ(SelectObject(b, bmp), nullptr);  // one surface at a time
  EXPECT_FALSE(DeleteObject(bmp));           // still selected
  HPEN pen = CreatePen(PS_SOLID, 3, RGB(1, 2, 3));
  EXPECT_EQ(SelectObject(a, pen), GetStockObject(BLACK_PEN));
  EXPECT_FALSE(DeleteObject(pen));
  LOGPEN lp{};
  EXPECT_EQ(GetObjectW(pen, sizeof(lp), &lp), int(sizeof(LOGPEN)));
  EXPECT_EQ(lp.lopnWidth.x, 3);
  EXPECT_EQ(lp.lopnColor, RGB(1, 2, 3));
  EXPECT_EQ(SelectObject(a, stockBitmap), bmp);
  EXPECT_EQ(SelectObject(b, bmp), stockBitmap);  // free again
  EXPECT_TRUE(DeleteDC(a));                      // the pen is released with the surface
  EXPECT_TRUE(DeleteObject(pen));
  EXPECT_FALSE(DeleteObject(pen));  // gone
  EXPECT_TRUE(DeleteDC(b));
  EXPECT_FALSE(DeleteDC(b));
  EXPECT_TRUE(DeleteObject(bmp));
  EXPECT_TRUE(DeleteObject(GetStockObject(WHITE_BRUSH)));  // harmless, stays usable
  LOGBRUSH lb{};
  EXPECT_EQ(GetObjectW(GetStockObject(GRAY_BRUSH), sizeof(lb), &lb), int(sizeof(LOGBRUSH)));
  EXPECT_EQ(lb.lbColor, RGB(128, 128, 128));
}

TEST(Gdi, ScreenSurfaceIsNinetySixDpi) {
  HDC screen = GetDC(nullptr);
  ASSERT_NE(screen, nullptr);
  EXPECT_EQ(GetDeviceCaps(screen, LOGPIXELSX), 96);
  EXPECT_EQ(GetDeviceCaps(screen, LOGPIXELSY), 96);
  EXPECT_EQ(GetDeviceCaps(screen, HORZRES), kScreenWidth);
  EXPECT_EQ(SetPixel(screen, 3, 4, RGB(9, 8, 7)), RGB(9, 8, 7));
  EXPECT_EQ(GetPixel(screen, 3, 4), RGB(9, 8, 7));
  HBITMAP bmp = MakeDib(4, 4, 32);
  EXPECT_EQ(SelectObject(screen, bmp), nullptr);  // no bitmaps on the screen
  EXPECT_FALSE(DeleteDC(screen));                 // released, not deleted
  EXPECT_EQ(ReleaseDC(nullptr, screen), 1);
  EXPECT_EQ(ReleaseDC(nullptr, screen), 0);
  DeleteObject(bmp);
}

TEST(Gdi, FillRectAndPolygonFillExactPixels) {
  Canvas c(20, 20, 1);
  HBRUSH white = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
  const RECT r{3, 4, 9, 7};
  EXPECT_TRUE(FillRect(c.dc, &r, white));
  EXPECT_EQ(c.Count(kWhite, 20, 20), 6 * 3);
  EXPECT_EQ(GetPixel(c.dc, 3, 4), kWhite);
  EXPECT_EQ(GetPixel(c.dc, 9, 4), 0u);
  const RECT all{-100, -100, 100, 100};
  FillRect(c.dc, &all, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
  EXPECT_EQ(c.Count(0, 20, 20), 400);

  // Polygon with the null pen: the fill alone, columns 2..11 and rows 2..11.
  SelectObject(c.dc, GetStockObject(NULL_PEN));
  HGDIOBJ oldBrush = SelectObject(c.dc, white);
  POINT square[4] = {{2, 2}, {12, 2}, {12, 12}, {2, 12}};
  EXPECT_TRUE(Polygon(c.dc, square, 4));
  EXPECT_EQ(c.Count(kWhite, 20, 20), 100);
  // With a one-pixel pen the outline adds column 12 and row 12 (the platform's look).
  FillRect(c.dc, &all, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
  SelectObject(c.dc, GetStockObject(WHITE_PEN));
  EXPECT_TRUE(Polygon(c.dc, square, 4));
  EXPECT_EQ(c.Count(kWhite, 20, 20), 121);
  SelectObject(c.dc, oldBrush);
}

TEST(Gdi, WidePenPathCoversFillPlusBandOfHalfTheWidth) {
  // StrokeAndFillPath of a triangle with pen 8: covered exactly where the centre is inside the
  // triangle or within 4 of its boundary (a 40 x 40 brute-force check in doubles, far from ties).
  Canvas c(40, 40, 1);
  HPEN pen = CreatePen(PS_SOLID, 8, kWhite);
  HBRUSH brush = CreateSolidBrush(RGB(250, 250, 250));  // nearer white than black
  HGDIOBJ oldPen = SelectObject(c.dc, pen);
  HGDIOBJ oldBrush = SelectObject(c.dc, brush);
  const POINT tri[3] = {{8, 7}, {31, 12}, {13, 33}};
  EXPECT_TRUE(BeginPath(c.dc));
  MoveToEx(c.dc, tri[0].x, tri[0].y, nullptr);
  LineTo(c.dc, tri[1].x, tri[1].y);
  LineTo(c.dc, tri[2].x, tri[2].y);
  EXPECT_TRUE(CloseFigure(c.dc));
  EXPECT_EQ(GetPixel(c.dc, 20, 15), 0u);  // recording draws nothing
  EXPECT_FALSE(StrokeAndFillPath(c.dc));  // not ended yet
  EXPECT_TRUE(EndPath(c.dc));
  EXPECT_TRUE(StrokeAndFillPath(c.dc));
  EXPECT_FALSE(StrokePath(c.dc));  // the path was used up
  const std::vector<CDPOINT> outline{{8, 7}, {31, 12}, {13, 33}, {8, 7}};
  int checked = 0;
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 40; ++x) {
      double d;
      const bool inside = DenseInside({outline}, CDPOINT(x + 0.5, y + 0.5), d);
      if (std::fabs(d - 4) < 1e-9) continue;  // no ties here, but do not depend on it
      ++checked;
      EXPECT_EQ(GetPixel(c.dc, x, y) == kWhite, inside || d <= 4) << x << "," << y;
    }
  }
  EXPECT_GT(checked, 1500);
  SelectObject(c.dc, oldPen);
  SelectObject(c.dc, oldBrush);
  DeleteObject(pen);
  DeleteObject(brush);
}

TEST(Gdi, StrokeAndFillPathClosesOpenFiguresStrokePathDoesNot) {
  const POINT open[3] = {{2, 2}, {12, 2}, {12, 12}};
  for (bool fill : {false, true}) {
    Canvas c(16, 16, 1);
    SelectObject(c.dc, GetStockObject(WHITE_PEN));
    SelectObject(c.dc, GetStockObject(NULL_BRUSH));
    BeginPath(c.dc);
    MoveToEx(c.dc, open[0].x, open[0].y, nullptr);
    LineTo(c.dc, open[1].x, open[1].y);
    LineTo(c.dc, open[2].x, open[2].y);
    EndPath(c.dc);
    EXPECT_TRUE(fill ? StrokeAndFillPath(c.dc) : StrokePath(c.dc));
    // The closing line from (12, 12) back to (2, 2) passes (5, 5).
    EXPECT_EQ(GetPixel(c.dc, 5, 5), fill ? kWhite : 0u);
    EXPECT_EQ(GetPixel(c.dc, 7, 2), kWhite);
    EXPECT_EQ(GetPixel(c.dc, 12, 12), fill ? kWhite : 0u);  // an open figure leaves its end out
  }
}

TEST(Gdi, LinesPolylinesAndBeziersDrawWithTheSelectedPen) {
  Canvas c(30, 30, 8);
  SelectObject(c.dc, GetStockObject(WHITE_PEN));
  POINT prev{};
  EXPECT_TRUE(MoveToEx(c.dc, 2, 3, nullptr));
  EXPECT_TRUE(LineTo(c.dc, 12, 3));  // pixels 2..11: the end is left out
  EXPECT_TRUE(MoveToEx(c.dc, 0, 0, &prev));
  EXPECT_EQ(std::make_pair(prev.x, prev.y), std::make_pair(LONG(12), LONG(3)));
  EXPECT_EQ(c.Count(kWhite, 30, 30), 10);
  const POINT zig[3] = {{2, 10}, {8, 10}, {8, 14}};
  EXPECT_TRUE(Polyline(c.dc, zig, 3));
  EXPECT_EQ(c.Count(kWhite, 30, 30), 10 + 6 + 4);
  // A straight Bezier along row 20 from 2 to 22 with a one-pixel pen: the row, end left out.
  const POINT bez[4] = {{2, 20}, {9, 20}, {16, 20}, {22, 20}};
  EXPECT_TRUE(PolyBezier(c.dc, bez, 4));
  EXPECT_EQ(c.Count(kWhite, 30, 30), 20 + 20);
  EXPECT_FALSE(PolyBezier(c.dc, bez, 3));  // not 1 + 3k points
  EXPECT_FALSE(Polyline(c.dc, zig, 1));
  EXPECT_TRUE(PolyBezier(c.dc, bez, 1));  // no curve, nothing drawn
  const POINT far[2] = {{0, 0}, {kMaxCoordinate + 1, 0}};
  EXPECT_FALSE(Polyline(c.dc, far, 2));  // outside the drawing range
  EXPECT_FALSE(LineTo(c.dc, 0, -kMaxCoordinate - 1));
  EXPECT_EQ(c.Count(kWhite, 30, 30), 40);
  // Drawing on a surface that has only its initial 1 x 1 bitmap goes nowhere, and succeeds.
  HDC bare = CreateCompatibleDC(nullptr);
  EXPECT_TRUE(Polyline(bare, zig, 3));
  EXPECT_EQ(SetPixel(bare, 0, 0, 0), CLR_INVALID);
  DeleteDC(bare);
}

TEST(Gdi, BlockCopyReducesColoursToTheNearerPaletteEntry) {
  Canvas colour(4, 2, 32);
  const COLORREF px[8] = {RGB(0, 0, 0),       RGB(127, 127, 127), RGB(128, 128, 128),
                          RGB(255, 0, 0),     RGB(255, 255, 0),   RGB(30, 200, 220),
                          RGB(255, 255, 255), RGB(10, 10, 250)};
  for (int i = 0; i < 8; ++i) SetPixel(colour.dc, i % 4, i / 4, px[i]);
  Canvas mono(4, 2, 1);
  EXPECT_TRUE(BitBlt(mono.dc, 0, 0, 4, 2, colour.dc, 0, 0, SRCCOPY));
  for (int i = 0; i < 8; ++i) {
    const COLORREF c = px[i];
    const int r = GetRValue(c), g = GetGValue(c), b = GetBValue(c);
    const int toBlack = r * r + g * g + b * b;
    const int toWhite = (255 - r) * (255 - r) + (255 - g) * (255 - g) + (255 - b) * (255 - b);
    EXPECT_EQ(GetPixel(mono.dc, i % 4, i / 4), toWhite < toBlack ? kWhite : 0u) << i;
  }
  // And back: the palette's colours; NOTSRCCOPY inverts, WHITENESS needs no source.
  Canvas back(4, 2, 32);
  EXPECT_TRUE(BitBlt(back.dc, 0, 0, 4, 2, mono.dc, 0, 0, NOTSRCCOPY));
  EXPECT_EQ(GetPixel(back.dc, 0, 0), kWhite);
  EXPECT_TRUE(BitBlt(back.dc, 1, 1, 2, 1, nullptr, 0, 0, WHITENESS));
  EXPECT_EQ(GetPixel(back.dc, 2, 1), kWhite);
  EXPECT_FALSE(BitBlt(back.dc, 0, 0, 4, 2, mono.dc, 0, 0, 0x12345678));  // unknown operation
  EXPECT_FALSE(BitBlt(back.dc, 0, 0, 4, 2, nullptr, 0, 0, SRCCOPY));     // needs a source
}

TEST(Gdi, StretchCopySamplesUnderPixelCentresAndMirrors) {
  Canvas src(4, 1, 32);
  for (int x = 0; x < 4; ++x) SetPixel(src.dc, x, 0, RGB(x * 10, 0, 0));
  Canvas dst(8, 2, 32);
  EXPECT_TRUE(StretchBlt(dst.dc, 0, 0, 8, 2, src.dc, 0, 0, 4, 1, SRCCOPY));
  for (int i = 0; i < 16; ++i)
    EXPECT_EQ(GetPixel(dst.dc, i % 8, i / 8), RGB((i % 8 / 2) * 10, 0, 0));
  Canvas half(2, 1, 32);  // shrinking picks source pixels 1 and 3 (under the centres)
  EXPECT_TRUE(StretchBlt(half.dc, 0, 0, 2, 1, src.dc, 0, 0, 4, 1, SRCCOPY));
  EXPECT_EQ(GetPixel(half.dc, 0, 0), RGB(10, 0, 0));
  EXPECT_EQ(GetPixel(half.dc, 1, 0), RGB(30, 0, 0));
  Canvas mirror(4, 1, 32);  // a negative source width mirrors
  EXPECT_TRUE(StretchBlt(mirror.dc, 0, 0, 4, 1, src.dc, 4, 0, -4, 1, SRCCOPY));
  for (int x = 0; x < 4; ++x) EXPECT_EQ(GetPixel(mirror.dc, x, 0), RGB((3 - x) * 10, 0, 0));
  // Odd ratios, both ways and mirrored: destination pixel i shows the source pixel under its
  // centre, (i + 1/2) * 7 / n.
  Canvas seven(7, 1, 32);
  for (int x = 0; x < 7; ++x) SetPixel(seven.dc, x, 0, RGB(x * 30, 1, 2));
  for (int n : {3, 11}) {
    for (bool mirror : {false, true}) {
      Canvas out(n, 1, 32);
      EXPECT_TRUE(
          StretchBlt(out.dc, mirror ? n : 0, 0, mirror ? -n : n, 1, seven.dc, 0, 0, 7, 1, SRCCOPY));
      for (int i = 0; i < n; ++i) {
        const int u = int(std::floor((i + 0.5) * 7 / n));
        EXPECT_EQ(GetPixel(out.dc, i, 0), RGB((mirror ? 6 - u : u) * 30, 1, 2)) << n << " " << i;
      }
    }
  }
  // Overlapping copy within one bitmap reads the old pixels.
  EXPECT_TRUE(BitBlt(src.dc, 1, 0, 3, 1, src.dc, 0, 0, SRCCOPY));
  for (int x = 1; x < 4; ++x) EXPECT_EQ(GetPixel(src.dc, x, 0), RGB((x - 1) * 10, 0, 0));
  // Parts outside either bitmap are skipped; huge extents cost only the destination.
  EXPECT_TRUE(
      StretchBlt(dst.dc, -5, -5, INT32_MAX / 2, INT32_MAX / 2, src.dc, -2, 0, 1000000, 3, SRCCOPY));
}

TEST(Gdi, HostileGeometryStaysBoundedAndSafe) {
  // Coordinates at the edge of the drawing range, the widest pen, curves that would need far
  // more lines than the flattening bound: each call returns quickly and paints only the bitmap.
  Canvas c(64, 48, 32);
  const LONG m = kMaxCoordinate;
  const POINT far[5] = {{-m, -m}, {m, m}, {-m, m}, {m, -m}, {0, 20}};
  for (int width : {0, 2, 7, 1000, int(m)}) {
    HPEN pen = CreatePen(PS_SOLID, width, RGB(255, 0, 0));
    ASSERT_NE(pen, nullptr);
    HGDIOBJ old = SelectObject(c.dc, pen);
    EXPECT_TRUE(Polyline(c.dc, far, 5));
    EXPECT_TRUE(Polygon(c.dc, far, 5));
    EXPECT_TRUE(PolyBezier(c.dc, far, 4));
    EXPECT_TRUE(BeginPath(c.dc));
    EXPECT_TRUE(PolyBezier(c.dc, far, 4));
    EXPECT_TRUE(LineTo(c.dc, m, -m));
    EXPECT_TRUE(EndPath(c.dc));
    EXPECT_TRUE(StrokeAndFillPath(c.dc));
    SelectObject(c.dc, old);
    DeleteObject(pen);
  }
  // The widest pen through the middle covers everything.
  EXPECT_EQ(c.Count(RGB(255, 0, 0), 64, 48), 64 * 48);
  const RECT huge{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX};
  EXPECT_TRUE(FillRect(c.dc, &huge, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH))));
  EXPECT_EQ(c.Count(0, 64, 48), 64 * 48);
}
