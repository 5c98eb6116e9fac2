// The bitmap layout that every tracer shares, and the pixel functions over it. A bitmap arrives
// as a handle; its tagBITMAP (GetObjectW) gives the size and the row pointer:
//
//   HBITMAP bmp = CImgProc::CreateBitmapBW(640, 480);  // all black
//   tagBITMAP bm;
//   GetObjectW(bmp, sizeof(bm), &bm);
//   CImgProc::SetPixel(bm, 10, 20, true);               // white
//   bool white = CImgProc::GetPixel(bm, 10, 20);        // true
//   DeleteObject(bmp);
//
// Layout (required exactly): rows bottom-up, image line y (0 = top) is memory row
// bmHeight - 1 - y. 1 bit a pixel: stride WIDTHBYTES(bmWidth), pixel x in byte x / 8 under the
// mask 0x80 >> (x & 7) (most significant bit leftmost), palette {black, white}, 1 = white =
// set. 32 bits a pixel: stride bmWidth * 4, bytes blue, green, red, unused; colour values are
// 0x00BBGGRR (red lowest). The stride is always recomputed from the width: bmWidthBytes is not
// trusted.
// Robustness choices: the pixel functions also do nothing (or give false / 0) when bmBits is
// null or the depth is not the one they address (a 1-bit function on a 32-bit bitmap and the
// other way round), so a wrong record cannot make them read or write outside the buffer.
#pragma once

#include "plexa/platform/export.h"
#include "plexa/platform/gdi.h"

class PLEXA_API CImgProc {
 public:
  // Bytes of a row of `bits` bits rounded up to four: ((bits + 31) >> 3) & ~3. Callers pass
  // width * bits per pixel.
  static unsigned int WIDTHBYTES(unsigned int bits) { return ((bits + 31) >> 3) & ~3u; }
  // A bottom-up, uncompressed 1-bit section of w x h with the palette {black, white}, all black;
  // nullptr when w or h is not positive or the platform refuses (too large).
  static HBITMAP CreateBitmapBW(int w, int h);
  // A bottom-up, uncompressed 32-bit section of w x h, all bytes 0; nullptr as above.
  static HBITMAP CreateBitmap32(int w, int h);
  // 1 bit: whether the bit is 1; 32 bits: red + green + blue != 0; false outside the image and
  // for every other depth.
  static bool GetPixel(const tagBITMAP& bm, int x, int y);
  // 1-bit bitmaps only; nothing outside the image.
  static void SetPixel(const tagBITMAP& bm, int x, int y, bool on);
  // 32-bit bitmaps only: the pixel as 0x00BBGGRR; 0 outside the image.
  static unsigned long GetPixel32(const tagBITMAP& bm, int x, int y);
  // 32-bit bitmaps only: blue = bits 16..23 of c, green = 8..15, red = 0..7; the unused byte is
  // never written; nothing outside the image.
  static void SetPixel32(const tagBITMAP& bm, int x, int y, unsigned long c);
  // Debug: copies the bitmap to the top-left corner of the screen surface (source copy).
  static void DumpBmp(HBITMAP bmp);
};
