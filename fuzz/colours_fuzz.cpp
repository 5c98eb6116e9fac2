// Hostile pictures for the colour tracers. The bytes give a size (1..48 each way), a seed, a
// tolerance, the trace's switches, a few cut lines and then one colour index (0..3) a pixel.
// CPxAutoTrace must return, leave every attribute byte as it found it (keepDigi false) and give
// finite points; CAutoBreakUp must give one inclination array a piece; CColourRegions, after
// speck merging, must give finite outlines near the image.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "plexa/plexa.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 8) return 0;
  const int w = 1 + data[0] % 48, h = 1 + data[1] % 48;
  const int sx = data[2] % 56 - 4, sy = data[3] % 56 - 4;
  const int percent = data[4] % 101;
  const bool centre = data[5] & 1, breakUp = data[5] & 2, filter = data[5] & 4;
  const int cuts = data[6] % 4;
  std::size_t at = 7;
  HBITMAP bmp = CImgProc::CreateBitmap32(w, h);
  tagBITMAP bm{};
  GetObjectW(bmp, sizeof bm, &bm);
  const unsigned long palette[4] = {0x000000, 0xFFFFFF, 0x0000FF, 0x20FF20};
  std::vector<std::uint32_t> labels(static_cast<std::size_t>(w) * h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const int k = at < size ? data[at++] % 4 : 0;
      labels[static_cast<std::size_t>(y) * w + x] = static_cast<std::uint32_t>(k);
      CImgProc::SetPixel32(bm, x, y, palette[k]);
    }
  auto* bytes = static_cast<std::uint8_t*>(bm.bmBits);
  const std::vector<std::uint8_t> before(bytes, bytes + static_cast<std::size_t>(w) * h * 4);
  {
    CPxAutoTrace trace(bmp, 96.0);
    trace.SetFillFilter(filter);
    for (int c = 0; c < cuts && at + 4 <= size; ++c, at += 4) {
      auto* line = new CArray<tagPOINT, tagPOINT>;
      line->Add({data[at] % 64 - 8, data[at + 1] % 64 - 8});
      line->Add({data[at + 2] % 64 - 8, data[at + 3] % 64 - 8});
      trace.CutLines().Add(line);
    }
    CPolyPolyInclination incl;
    trace.DoTracePCTolerance(sx, sy, breakUp ? &incl : nullptr, percent, false, centre);
    const CPolyPolyDPoint& out = trace.GetOutlines();
    for (INT_PTR i = 0; i < out.GetSize(); ++i)
      for (const auto& p : *out.GetAt(static_cast<int>(i)))
        if (!std::isfinite(p.x) || !std::isfinite(p.y)) __builtin_trap();
    if (breakUp && !centre && incl.GetSize() != out.GetSize()) __builtin_trap();
  }
  for (std::size_t i = 0; i < before.size(); ++i)
    if (bytes[i] != before[i]) __builtin_trap();  // attributes come back, colours untouched
  DeleteObject(bmp);

  MergeSmallRegions(labels, w, h, 1 + data[4] % 6);
  CColourRegions regions;
  if (!regions.Trace(labels, w, h, 0.5 + data[5] % 4)) __builtin_trap();
  for (int i = 0; i < regions.GetRegionCount(); ++i) {
    const CPolyPolyBezier& set = regions.GetOutlines(i);
    for (INT_PTR k = 0; k < set.GetSize(); ++k)
      for (const auto& n : set[static_cast<int>(k)])
        if (!std::isfinite(n.anchor.x) || n.anchor.x < -8 || n.anchor.x > w + 8 ||
            n.anchor.y < -8 || n.anchor.y > h + 8)
          __builtin_trap();
  }
  return 0;
}
