#include "plexa/raster/bitmatrix.h"

#include <gtest/gtest.h>

#include <new>

#include "plexa/raster/imgproc.h"

TEST(CBitMatrix, SizeIsOneMoreAndBitsAreLeastSignificantFirst) {
  CBitMatrix empty;
  EXPECT_EQ(empty.GetWidth(), 0);
  EXPECT_EQ(empty.GetBits(), nullptr);
  EXPECT_FALSE(empty.Get(0, 0));

  CBitMatrix m(7, 0);
  EXPECT_EQ(m.GetWidth(), 8);
  EXPECT_EQ(m.GetHeight(), 1);
  EXPECT_EQ(m.GetBytesPerRow(), 1);
  EXPECT_FALSE(m.Get(8, 0));
  m.Set(8, 0);
  EXPECT_EQ(m.GetBits()[0], 0x00);
  m.Set(0, 0);
  EXPECT_EQ(m.GetBits()[0], 0x01);
  m.Set(7, 0);
  EXPECT_EQ(m.GetBits()[0], 0x81);
  m.Toggle(0, 0);
  EXPECT_EQ(m.GetBits()[0], 0x80);
  m.Set(7, 0, false);
  EXPECT_EQ(m.GetBits()[0], 0x00);
  int mask = 99;
  EXPECT_EQ(m.getP(-1, 0, mask), nullptr);
  EXPECT_EQ(mask, 0);

  // 10 x 3 asked: 11 columns, 4 rows, 2 bytes a row, rows top-down with no padding.
  CBitMatrix g(10, 3);
  EXPECT_EQ(g.GetBytesPerRow(), 2);
  g.Set(10, 3);
  EXPECT_EQ(g.GetBits()[3 * 2 + 1], 0x04);
  EXPECT_TRUE(g.Get(10, 3));
  g.Clear(10, 3);
  EXPECT_FALSE(g.Get(10, 3));
  CBitMatrix copy(g);
  g.Set(1, 1);
  EXPECT_FALSE(copy.Get(1, 1));
  copy = g;
  EXPECT_TRUE(copy.Get(1, 1));
  g.SetSize(4, 4);  // content discarded
  EXPECT_FALSE(g.Get(1, 1));
}

TEST(CBitMatrix, DegenerateAndAbsurdSizes) {
  CBitMatrix neg(-5, -5);  // no cells
  EXPECT_FALSE(neg.Get(0, 0));
  neg.Set(0, 0);
  neg.Toggle(0, 0);
  CBitMatrix zero(-1, 3);  // w + 1 = 0 columns
  EXPECT_EQ(zero.GetWidth(), 0);
  EXPECT_EQ(zero.GetBits(), nullptr);
  CBitMatrix big;
  EXPECT_THROW(big.SetSize(INT32_MAX, INT32_MAX), std::bad_alloc);
}

TEST(CByteMatrix, ExactSizeGetSetAndHitOrder) {
  CByteMatrix none;
  EXPECT_EQ(none.GetWidth(), -1);
  EXPECT_EQ(none.GetHeight(), -1);
  EXPECT_EQ(none.Get(0, 0), 0);

  CByteMatrix m(3, 2);
  EXPECT_EQ(m.GetWidth(), 3);
  EXPECT_EQ(m.Get(3, 0), 0);
  m.Set(3, 0, 9);  // outside: nothing
  m.Set(2, 1, 5);
  EXPECT_EQ(m.Get(2, 1), 5);
  EXPECT_TRUE(m.Hit(2, 1, 0, 4));   // the one cell, 5 is neither 0 nor 4
  EXPECT_FALSE(m.Hit(2, 1, 0, 5));  // equal to v never hits
  EXPECT_FALSE(m.Hit(0, 0, 0, 4));  // 0 never hits
  EXPECT_TRUE(m.Hit(0, 0, 2, 4));
  EXPECT_FALSE(m.Hit(2, 1, -1, 4));
  EXPECT_TRUE(m.Hit(-1000, -1000, INT32_MAX, 4));  // huge radius: clipped, no overflow
  m.SetAll(7);
  EXPECT_EQ(m.Get(0, 0), 7);
  m.Set(1, 1, 2);
  m.SetAllIf(7, 0);
  EXPECT_EQ(m.Get(0, 0), 0);
  EXPECT_EQ(m.Get(1, 1), 2);
  m.SetSize(2, 2);
  EXPECT_EQ(m.Get(1, 1), 0);
  CByteMatrix neg(-3, 4);
  EXPECT_EQ(neg.Get(0, 0), 0);
  EXPECT_FALSE(neg.Hit(0, 0, 5, 1));
  CByteMatrix big;
  EXPECT_THROW(big.SetSize(INT32_MAX, INT32_MAX), std::bad_alloc);
}

TEST(Matrices, DumpsPaintTheScreenOrAGivenSurface) {
  CBitMatrix bits(2, 0);
  bits.Set(1, 0);
  bits.Dump(nullptr);
  HDC screen = GetDC(nullptr);
  EXPECT_EQ(GetPixel(screen, 0, 0), 0x000000u);
  EXPECT_EQ(GetPixel(screen, 1, 0), 0xFFFFFFu);

  CByteMatrix labels(8, 1);
  for (int i = 0; i < 8; ++i) labels.Set(i, 0, static_cast<unsigned char>(i + 8));  // & 7
  HBITMAP bmp = CImgProc::CreateBitmap32(8, 1);
  HDC mem = CreateCompatibleDC(screen);
  HGDIOBJ old = SelectObject(mem, bmp);
  CDC dc(mem);
  labels.Dump(&dc);
  const COLORREF want[8] = {0x000000, 0x0000FF, 0x00FF00, 0xFF0000,
                            0x00FFFF, 0xFF00FF, 0xFFFF00, 0xFFFFFF};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(GetPixel(mem, i, 0), want[i]) << i;
  SelectObject(mem, old);
  DeleteDC(mem);
  // DumpBmp copies the bitmap to the screen's top-left corner.
  CImgProc::DumpBmp(bmp);
  EXPECT_EQ(GetPixel(screen, 1, 0), 0x0000FFu);
  EXPECT_EQ(GetPixel(screen, 7, 0), 0xFFFFFFu);
  ReleaseDC(nullptr, screen);
  DeleteObject(bmp);
}
