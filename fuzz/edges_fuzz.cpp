// Random small pictures for the edge detector. Byte 0 picks the method and the details
// setting, bytes 1 and 2 the width and height (1..48), the rest the grey or colour pixels
// (cycled). Every call must return; the paths must be finite and lie within the picture's
// cells (Canny: converted at 96 dpi; ISEF: cells) plus the curve fit's tolerance.
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "plexa/plexa.h"

namespace {

void Check(const CPolyPolyBezier& out, double xmax, double ymax) {
  const double slack = 2 * kImageTraceTolerance + 2;
  for (int i = 0; i < out.GetSize(); ++i)
    for (const auto& n : out[i]) {
      const auto& a = n.anchor;
      if (!std::isfinite(a.x) || !std::isfinite(a.y)) __builtin_trap();
      if (a.x < -slack || a.y < -slack || a.x > xmax + slack || a.y > ymax + slack)
        __builtin_trap();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return 0;
  const int w = 1 + data[1] % 48, h = 1 + data[2] % 48;
  HBITMAP bmp = CImgProc::CreateBitmap32(w, h);
  tagBITMAP bm{};
  GetObjectW(bmp, sizeof bm, &bm);
  const bool colour = data[0] & 2;
  std::size_t at = 3;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      auto next = [&] {
        const std::uint8_t v = data[at];
        at = at + 1 < size ? at + 1 : 3;
        return v;
      };
      const std::uint8_t r = next();
      const std::uint8_t g = colour ? next() : r, b = colour ? next() : r;
      CImgProc::SetPixel32(bm, x, y, RGB(r, g, b));
    }
  CEdgeDetect e;
  e.SetDetails((data[0] >> 2) / 63.0);
  e.Input(bmp, 96, 96);
  Check(e, (w + 1) * 254.0 / 96, (h + 1) * 254.0 / 96);
  if (data[0] & 1) {
    e.Input_Shen();
    Check(e, w + 1, h + 1);
  }
  CPolyPolyBezier out;
  e.Output(out);
  DeleteObject(bmp);
  return 0;
}
