// Feeds arbitrary bytes to the font layer as a font file: every glyph the face claims (up to a
// bound) goes through the native outline call and the conversion to paths, and the advance
// widths of a range of characters are read. Nothing may crash, hang or grow without bound.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "plexa/draw/internal/glyph_convert.h"
#include "plexa/platform/internal/font_face.h"
#include "plexa/plexa.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return 0;
  // The first two bytes choose the em height (negative: em, positive: cell) and the matrix.
  LOGFONTW lf{};
  lf.lfHeight = static_cast<std::int16_t>(data[0] | data[1] << 8);
  const bool mirror = data[2] & 1;
  auto face = plexa::gdi::OpenFace(std::vector<unsigned char>(data + 3, data + size), 0);
  if (!face) return 0;
  plexa::gdi::SetFaceSize(*face, lf);
  HFONT font = plexa::gdi::NewFont(face);
  HDC dc = CreateDCW(L"DISPLAY", nullptr, nullptr, nullptr);
  SelectObject(dc, font);
  MAT2 m = {{0, 1}, {0, 0}, {0, 0}, {0, 1}};
  if (mirror) m.eM22.value = -1;
  std::vector<BYTE> buf;
  for (UINT g = 0; g < 64; ++g) {
    GLYPHMETRICS gm;
    const DWORD n = GetGlyphOutlineW(dc, g, GGO_NATIVE | GGO_GLYPH_INDEX, &gm, 0, nullptr, &m);
    if (n == GDI_ERROR || n == 0 || n > (1u << 24)) continue;
    buf.resize(n);
    if (GetGlyphOutlineW(dc, g, GGO_NATIVE | GGO_GLYPH_INDEX, &gm, n, buf.data(), &m) != n)
      continue;
    CPolyPolyBezier out;
    plexa::glyph::ConvertNativeOutline(buf.data(), buf.size(), g & 1, out);
  }
  ABCFLOAT abc[96];
  GetCharABCWidthsFloatW(dc, 32, 127, abc);
  DeleteDC(dc);
  DeleteObject(font);
  return 0;
}
