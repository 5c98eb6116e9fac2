// Real outlines for benchmarks: the glyphs of a TrueType font (DejaVu Sans by default) as
// closed plexa paths, in font units (2048 an em), each glyph moved to its own place on a line.
// Quadratic pieces are raised exactly to cubics; straight pieces get their handles on their
// anchors. Empty when FreeType or the font is missing.
#pragma once

#include <string>

#include "plexa/plexa.h"

#ifdef PLEXA_BENCH_FREETYPE
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H
#endif

inline constexpr const char* kBenchFont = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

#ifdef PLEXA_BENCH_FREETYPE
namespace bench_detail {

struct Sink {
  CPolyPolyBezier* set = nullptr;
  CBPointArray* path = nullptr;
  double dx = 0;
  PLEXA::CDPOINT last;
  PLEXA::CDPOINT At(const FT_Vector* v) const {
    return PLEXA::CDPOINT(v->x + dx, -static_cast<double>(v->y));
  }
  void Cubic(PLEXA::CDPOINT c1, PLEXA::CDPOINT c2, PLEXA::CDPOINT p) {
    (*path)[path->GetUpperBound()].out = c1;
    path->Add(PLEXA::CBPOINT(c2, p, p));
    last = p;
  }
};

inline int MoveTo(const FT_Vector* to, void* user) {
  auto* s = static_cast<Sink*>(user);
  s->path = new CBPointArray;
  s->set->Add(s->path);
  s->last = s->At(to);
  s->path->Add(PLEXA::CBPOINT(s->last, s->last, s->last));
  return 0;
}
inline int LineTo(const FT_Vector* to, void* user) {
  auto* s = static_cast<Sink*>(user);
  const PLEXA::CDPOINT a = s->last, p = s->At(to);
  s->Cubic(a, p, p);
  return 0;
}
inline int ConicTo(const FT_Vector* c, const FT_Vector* to, void* user) {
  auto* s = static_cast<Sink*>(user);
  const PLEXA::CDPOINT a = s->last, q = s->At(c), p = s->At(to);
  s->Cubic(a + (q - a) * (2.0 / 3), p + (q - p) * (2.0 / 3), p);
  return 0;
}
inline int CubicTo(const FT_Vector* c1, const FT_Vector* c2, const FT_Vector* to, void* user) {
  auto* s = static_cast<Sink*>(user);
  s->Cubic(s->At(c1), s->At(c2), s->At(to));
  return 0;
}

}  // namespace bench_detail
#endif

// Appends the outlines of the characters of text to set; returns how many paths it added.
inline int LoadGlyphPaths(CPolyPolyBezier& set, const std::string& text,
                          const char* font = kBenchFont) {
#ifdef PLEXA_BENCH_FREETYPE
  FT_Library lib;
  if (FT_Init_FreeType(&lib)) return 0;
  FT_Face face;
  if (FT_New_Face(lib, font, 0, &face)) {
    FT_Done_FreeType(lib);
    return 0;
  }
  const INT_PTR before = set.GetSize();
  bench_detail::Sink sink;
  sink.set = &set;
  FT_Outline_Funcs funcs{&bench_detail::MoveTo,
                         &bench_detail::LineTo,
                         &bench_detail::ConicTo,
                         &bench_detail::CubicTo,
                         0,
                         0};
  for (unsigned char c : text) {
    if (FT_Load_Char(face, c, FT_LOAD_NO_SCALE | FT_LOAD_NO_HINTING)) continue;
    FT_Outline_Decompose(&face->glyph->outline, &funcs, &sink);
    // Close every contour of this glyph by repeating its first node.
    for (INT_PTR i = before; i < set.GetSize(); ++i) {
      CBPointArray& p = set[static_cast<int>(i)];
      if (p.GetSize() > 1 && !p.IsPolyBezierClosed()) {
        const PLEXA::CDPOINT a = p[p.GetUpperBound()].anchor, b = p[0].anchor;
        p[p.GetUpperBound()].out = a;
        p.Add(PLEXA::CBPOINT(b, b, b));
      }
    }
    sink.dx += static_cast<double>(face->glyph->metrics.horiAdvance);
  }
  FT_Done_Face(face);
  FT_Done_FreeType(lib);
  return static_cast<int>(set.GetSize() - before);
#else
  (void)set, (void)text, (void)font;
  return 0;
#endif
}
