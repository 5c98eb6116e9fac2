#include "plexa/raster/imgproc.h"

#include <cstdint>

namespace {

HBITMAP CreateSection(int w, int h, WORD bits) {
  if (w <= 0 || h <= 0) return nullptr;
  BITMAPINFO_2 info{};
  info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  info.bmiHeader.biWidth = w;
  info.bmiHeader.biHeight = h;  // positive: bottom-up
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = bits;
  info.bmiHeader.biCompression = BI_RGB;
  info.bmiColors[0] = {0, 0, 0, 0};
  info.bmiColors[1] = {255, 255, 255, 0};
  void* pixels = nullptr;
  return CreateDIBSection(nullptr, reinterpret_cast<const BITMAPINFO*>(&info), DIB_RGB_COLORS,
                          &pixels, nullptr, 0);
}

// The byte of image line y that starts the row, or nullptr outside the image.
BYTE* RowOf(const tagBITMAP& bm, int x, int y, std::int64_t stride) {
  if (bm.bmBits == nullptr || x < 0 || y < 0 || x >= bm.bmWidth || y >= bm.bmHeight) return nullptr;
  return static_cast<BYTE*>(bm.bmBits) + (std::int64_t{bm.bmHeight} - 1 - y) * stride;
}

}  // namespace

HBITMAP CImgProc::CreateBitmapBW(int w, int h) {
  return CreateSection(w, h, 1);
}

HBITMAP CImgProc::CreateBitmap32(int w, int h) {
  return CreateSection(w, h, 32);
}

bool CImgProc::GetPixel(const tagBITMAP& bm, int x, int y) {
  if (bm.bmBitsPixel == 1) {
    const BYTE* row = RowOf(bm, x, y, WIDTHBYTES(static_cast<unsigned>(bm.bmWidth)));
    return row != nullptr && (row[x / 8] & (0x80 >> (x & 7))) != 0;
  }
  if (bm.bmBitsPixel == 32) {
    const BYTE* row = RowOf(bm, x, y, std::int64_t{bm.bmWidth} * 4);
    if (row == nullptr) return false;
    const BYTE* p = row + std::int64_t{x} * 4;
    return p[0] + p[1] + p[2] != 0;
  }
  return false;
}

void CImgProc::SetPixel(const tagBITMAP& bm, int x, int y, bool on) {
  if (bm.bmBitsPixel != 1) return;
  BYTE* row = RowOf(bm, x, y, WIDTHBYTES(static_cast<unsigned>(bm.bmWidth)));
  if (row == nullptr) return;
  const BYTE mask = static_cast<BYTE>(0x80 >> (x & 7));
  row[x / 8] = on ? BYTE(row[x / 8] | mask) : BYTE(row[x / 8] & ~mask);
}

unsigned long CImgProc::GetPixel32(const tagBITMAP& bm, int x, int y) {
  if (bm.bmBitsPixel != 32) return 0;
  const BYTE* row = RowOf(bm, x, y, std::int64_t{bm.bmWidth} * 4);
  if (row == nullptr) return 0;
  const BYTE* p = row + std::int64_t{x} * 4;
  return (static_cast<unsigned long>(p[0]) << 16) | (static_cast<unsigned long>(p[1]) << 8) | p[2];
}

void CImgProc::SetPixel32(const tagBITMAP& bm, int x, int y, unsigned long c) {
  if (bm.bmBitsPixel != 32) return;
  BYTE* row = RowOf(bm, x, y, std::int64_t{bm.bmWidth} * 4);
  if (row == nullptr) return;
  BYTE* p = row + std::int64_t{x} * 4;
  p[0] = static_cast<BYTE>(c >> 16);
  p[1] = static_cast<BYTE>(c >> 8);
  p[2] = static_cast<BYTE>(c);
}

void CImgProc::DumpBmp(HBITMAP bmp) {
  tagBITMAP bm{};
  if (GetObjectW(bmp, sizeof(bm), &bm) == 0) return;
  HDC screen = GetDC(nullptr);
  HDC mem = CreateCompatibleDC(screen);
  HGDIOBJ old = SelectObject(mem, bmp);
  if (old != nullptr) {
    BitBlt(screen, 0, 0, bm.bmWidth, bm.bmHeight, mem, 0, 0, SRCCOPY);
    SelectObject(mem, old);
  }
  DeleteDC(mem);
  ReleaseDC(nullptr, screen);
}
