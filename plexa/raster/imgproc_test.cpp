#include "plexa/raster/imgproc.h"

#include <gtest/gtest.h>

namespace {

tagBITMAP Describe(HBITMAP bmp) {
  tagBITMAP bm{};
  GetObjectW(bmp, sizeof(bm), &bm);
  return bm;
}

}  // namespace

TEST(CImgProc, WidthBytesRoundsUpToFourBytes) {
  EXPECT_EQ(CImgProc::WIDTHBYTES(0), 0u);
  EXPECT_EQ(CImgProc::WIDTHBYTES(1), 4u);
  EXPECT_EQ(CImgProc::WIDTHBYTES(32), 4u);
  EXPECT_EQ(CImgProc::WIDTHBYTES(33), 8u);
  EXPECT_EQ(CImgProc::WIDTHBYTES(24 * 3), 12u);
}

TEST(CImgProc, OneBitPixelsAreBottomUpMostSignificantFirst) {
  HBITMAP bmp = CImgProc::CreateBitmapBW(33, 3);
  ASSERT_NE(bmp, nullptr);
  DIBSECTION ds{};
  ASSERT_EQ(GetObjectW(bmp, sizeof(ds), &ds), int(sizeof(DIBSECTION)));
  EXPECT_GT(ds.dsBmih.biHeight, 0);  // bottom-up
  EXPECT_EQ(ds.dsBmih.biBitCount, 1);
  tagBITMAP bm = Describe(bmp);
  auto* bytes = static_cast<BYTE*>(bm.bmBits);
  for (int i = 0; i < 24; ++i) ASSERT_EQ(bytes[i], 0);  // all black
  CImgProc::SetPixel(bm, 0, 0, true);
  EXPECT_EQ(bytes[2 * 8], 0x80);  // first byte of the last memory row (stride 8)
  EXPECT_TRUE(CImgProc::GetPixel(bm, 0, 0));
  CImgProc::SetPixel(bm, 9, 2, true);
  EXPECT_EQ(bytes[1], 0x40);
  CImgProc::SetPixel(bm, 9, 2, false);
  EXPECT_EQ(bytes[1], 0x00);
  CImgProc::SetPixel(bm, 33, 0, true);  // outside: nothing
  CImgProc::SetPixel(bm, 0, -1, true);
  EXPECT_FALSE(CImgProc::GetPixel(bm, 33, 0));
  EXPECT_FALSE(CImgProc::GetPixel(bm, -1, 0));
  // The white palette entry: a set bit reads back as white through the drawing layer.
  HDC dc = CreateCompatibleDC(nullptr);
  HGDIOBJ old = SelectObject(dc, bmp);
  EXPECT_EQ(GetPixel(dc, 0, 0), 0xFFFFFFu);
  EXPECT_EQ(GetPixel(dc, 1, 0), 0x000000u);
  SelectObject(dc, old);
  DeleteDC(dc);
  // bmWidthBytes is not trusted.
  tagBITMAP lying = bm;
  lying.bmWidthBytes = 1000;
  EXPECT_TRUE(CImgProc::GetPixel(lying, 0, 0));
  DeleteObject(bmp);
}

TEST(CImgProc, ThirtyTwoBitPixelsPackRedLowest) {
  HBITMAP bmp = CImgProc::CreateBitmap32(3, 2);
  ASSERT_NE(bmp, nullptr);
  tagBITMAP bm = Describe(bmp);
  EXPECT_EQ(bm.bmBitsPixel, 32);
  auto* bytes = static_cast<BYTE*>(bm.bmBits);
  // Pixel (1, 0) lives in the last memory row: offset 1 * 12 + 4.
  bytes[16] = 0x10;
  bytes[17] = 0x20;
  bytes[18] = 0x30;
  bytes[19] = 0x77;
  EXPECT_EQ(CImgProc::GetPixel32(bm, 1, 0), 0x00102030ul);
  EXPECT_TRUE(CImgProc::GetPixel(bm, 1, 0));
  EXPECT_FALSE(CImgProc::GetPixel(bm, 0, 0));
  CImgProc::SetPixel32(bm, 2, 1, 0x00AABBCC);
  EXPECT_EQ(bytes[8], 0xAA);  // blue
  EXPECT_EQ(bytes[9], 0xBB);
  EXPECT_EQ(bytes[10], 0xCC);  // red
  CImgProc::SetPixel32(bm, 1, 0, 0);
  EXPECT_EQ(bytes[19], 0x77);  // the spare byte is never written
  EXPECT_FALSE(CImgProc::GetPixel(bm, 1, 0));
  EXPECT_EQ(CImgProc::GetPixel32(bm, 3, 0), 0ul);
  CImgProc::SetPixel32(bm, 0, 2, 0xFFFFFF);  // outside: nothing
  // The 1-bit writer ignores a 32-bit bitmap.
  CImgProc::SetPixel(bm, 0, 0, true);
  EXPECT_EQ(bytes[12], 0);
  DeleteObject(bmp);
}

TEST(CImgProc, OtherDepthsAndBadSizes) {
  BITMAPINFO info{};
  info.bmiHeader = {sizeof(BITMAPINFOHEADER), 4, 4, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
  void* bits = nullptr;
  HBITMAP b24 = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  tagBITMAP bm = Describe(b24);
  static_cast<BYTE*>(bits)[0] = 0xFF;
  EXPECT_FALSE(CImgProc::GetPixel(bm, 0, 3));
  EXPECT_EQ(CImgProc::GetPixel32(bm, 0, 3), 0ul);
  DeleteObject(b24);
  tagBITMAP none{};
  none.bmWidth = none.bmHeight = 10;
  none.bmBitsPixel = 1;
  EXPECT_FALSE(CImgProc::GetPixel(none, 1, 1));  // no rows: false, no crash
  CImgProc::SetPixel(none, 1, 1, true);
  EXPECT_EQ(CImgProc::CreateBitmapBW(0, 5), nullptr);
  EXPECT_EQ(CImgProc::CreateBitmapBW(5, -1), nullptr);
  EXPECT_EQ(CImgProc::CreateBitmap32(-3, 5), nullptr);
  EXPECT_EQ(CImgProc::CreateBitmap32(100000, 100000), nullptr);  // too large
  EXPECT_EQ(CImgProc::CreateBitmapBW(INT32_MAX, INT32_MAX), nullptr);
  CImgProc::DumpBmp(nullptr);  // nothing
}
