// Test helpers for the raster tests, beside tests/support.h: painted bitmaps. Apart because the
// drawing platform's names (Polyline, Rectangle ...) would clash with other tests' own.
#pragma once

#include <functional>
#include <utility>

#include "plexa/raster/imgproc.h"
#include "tests/support.h"

namespace plexa::test {

// A bitmap the raster tests paint, deleted on scope exit: Colour gives a 32-bit picture with
// colour(x, y) (an RGB() value) at every pixel, Mono a 1-bit one with the pixels where on(x, y)
// holds set. bm describes the bitmap.
struct Painted {
  static Painted Colour(int w, int h, const std::function<unsigned long(int, int)>& colour) {
    Painted p(CImgProc::CreateBitmap32(w, h));
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) CImgProc::SetPixel32(p.bm, x, y, colour(x, y));
    return p;
  }
  static Painted Mono(int w, int h, const std::function<bool(int, int)>& on) {
    Painted p(CImgProc::CreateBitmapBW(w, h));
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x)
        if (on(x, y)) CImgProc::SetPixel(p.bm, x, y, true);
    return p;
  }
  Painted(Painted&& o) noexcept : bmp(std::exchange(o.bmp, nullptr)), bm(o.bm) {}
  Painted(const Painted&) = delete;
  Painted& operator=(const Painted&) = delete;
  Painted& operator=(Painted&&) = delete;
  ~Painted() {
    if (bmp) DeleteObject(bmp);
  }
  HBITMAP bmp = nullptr;
  tagBITMAP bm{};

 private:
  explicit Painted(HBITMAP b) : bmp(b) { GetObjectW(bmp, sizeof bm, &bm); }
};

}  // namespace plexa::test
