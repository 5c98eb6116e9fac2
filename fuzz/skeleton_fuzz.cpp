// Hostile pictures and paths for the centre-line tracers. The first byte picks a mode:
// bitmap modes take a width and height (1..64) and pixel bits from the bytes and run
// CImageTrace, the CImgProc walkers and CSkeleton's 1-bit input; the vector mode reads a size
// and nodes (NaN, infinities and huge values included) for CSkeleton's vector input. Every
// call must return; bitmap results must be finite and inside the raster's cells, and the
// walkers must take every line cell.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "plexa/plexa.h"

namespace {

void Check(const CPolyPolyBezier& out, double lo, double hi) {
  for (int i = 0; i < out.GetSize(); ++i)
    for (const auto& n : out[i])
      for (const auto& q : {n.in, n.anchor, n.out})
        if (!std::isfinite(q.x) || !std::isfinite(q.y)) __builtin_trap();
  for (int i = 0; i < out.GetSize(); ++i) {
    const auto& a = out[i][0].anchor;
    if (a.x < lo || a.y < lo || a.x > hi || a.y > hi) __builtin_trap();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return 0;
  if (data[0] & 1) {  // vector input
    const int pick = data[1] | (data[2] << 8);
    CPolyPolyBezier paths;
    auto* path = new CBPointArray;
    paths.Add(path);
    for (std::size_t at = 3; at + 6 * sizeof(double) <= size; at += 6 * sizeof(double)) {
      double v[6];
      std::memcpy(v, data + at, sizeof v);
      path->Add(PLEXA::CBPOINT({v[0], v[1]}, {v[2], v[3]}, {v[4], v[5]}));
    }
    CDWordArray types;
    CSkeleton skel;
    skel.Input(paths, types, 0, 16 + pick % 240);
    CPolyPolyBezier out;
    skel.Output(out);
    return 0;
  }
  const int w = 1 + data[1] % 64, h = 1 + data[2] % 64;
  HBITMAP bmp = CImgProc::CreateBitmapBW(w, h);
  tagBITMAP bm{};
  GetObjectW(bmp, sizeof bm, &bm);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const std::size_t bit = static_cast<std::size_t>(y) * w + x, byte = 3 + bit / 8;
      if (byte < size && (data[byte] >> (bit % 8)) & 1) CImgProc::SetPixel(bm, x, y, true);
    }
  CImageTrace trace;
  CPolyPolyBezier out;
  trace.AutoTrace(bmp, out);
  Check(out, 1, w > h ? w : h);  // first anchors are cells, pixel + 1
  CImgProc proc(bmp);
  CPolyPolyPoint lines;
  proc.TraceAnchorPointsAndLines(lines, 1);
  for (int y = 0; y < proc.mat().GetHeight(); ++y)
    for (int x = 0; x < proc.mat().GetWidth(); ++x)
      if (proc.mat().Get(x, y) == 1) __builtin_trap();  // a line cell left untaken
  CSkeleton skel;
  skel.InputMono(bmp, 0, 0);
  skel.Output(out);
  DeleteObject(bmp);
  return 0;
}
