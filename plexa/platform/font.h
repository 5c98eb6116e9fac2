// Fonts on the drawing platform: the Windows calls and records that glyph outlines need,
// answered from the system's fonts through fontconfig (matching) and FreeType (outlines and
// metrics). The library reaches FreeType and fontconfig through this layer only.
//
//   HDC dc = CreateDCW(L"DISPLAY", nullptr, nullptr, nullptr);
//   LOGFONTW lf{};
//   lf.lfHeight = -2048;                       // negative: the em height in pixels
//   wcscpy(lf.lfFaceName, L"DejaVu Sans");
//   HFONT font = CreateFontIndirectW(&lf);
//   HGDIOBJ old = SelectObject(dc, font);
//   const MAT2 identity = {{0, 1}, {0, 0}, {0, 0}, {0, 1}};
//   GLYPHMETRICS gm;
//   DWORD size = GetGlyphOutlineW(dc, L'a', GGO_NATIVE, &gm, 0, nullptr, &identity);
//   std::vector<BYTE> buf(size);
//   GetGlyphOutlineW(dc, L'a', GGO_NATIVE, &gm, size, buf.data(), &identity);
//   SelectObject(dc, old); DeleteObject(font); DeleteDC(dc);
//
// Matching. CreateFontIndirectW asks fontconfig for the face name, weight (lfWeight, 0 meaning
// normal) and italic flag of the record and takes fontconfig's best match, as the Windows font
// mapper does: a face name the system lacks falls back to the closest installed face (usually
// the default sans-serif). GetTextFaceW tells which family was taken, so a caller can tell a
// fallback from the real face. An italic request that only finds an upright face gets that face
// slanted (x += 0.2 y); weight is never synthesised. No font at all (no fontconfig match, or a
// file FreeType cannot open) gives a null HFONT. lfWidth, escapement, orientation, underline,
// strike-out, character set and quality are ignored.
//
// Size. lfHeight < 0 is the em height in pixels; lfHeight > 0 is the cell height (the font's
// Windows ascent plus descent, or FreeType's ascender minus descender when the font has no OS/2
// table); lfHeight == 0 is a default em of 16 pixels (12 points at 96 pixels per inch). Heights
// beyond kMaxFontHeight pixels are clamped to it, and so are outline points beyond the +-32767
// pixels that 16.16 fixed point holds. Outlines are scaled from the font's own units
// in double precision and rounded to 16.16 fixed point, never hinted.
//
// Outlines (GGO_NATIVE). TrueType (quadratic) fonts deliver their own contours: per contour a
// TTPOLYGONHEADER (type TT_POLYGON_TYPE, start = the first on-curve point) followed by
// TTPOLYCURVE records of consecutive straight lines (TT_PRIM_LINE) or of one quadratic B-spline
// run ending on the curve (TT_PRIM_QSPLINE, implied on-curve points between consecutive
// controls). The implicit closing line back to the start is not written; a closing curve is.
// Contours of a single point (anchors some fonts keep for mark placement) are left out.
// A surface starts with no font selected: select one before asking for outlines.
// CFF and other cubic fonts deliver each cubic as quadratic B-spline records within 1/16 of a
// font unit of the cubic (at most 64 quadratics a cubic), so a converter of the native format
// reads every font the same way. The matrix argument transforms the outline (16.16 values; the
// identity is {1, 0, 0, 1}); it is required, as on Windows.
#pragma once

#include <cstddef>

#include "plexa/platform/export.h"
#include "plexa/platform/gdi.h"
#include "plexa/platform/records.h"

using FLOAT = float;
using WCHAR = wchar_t;

inline constexpr int LF_FACESIZE = 32;
inline constexpr LONG FW_NORMAL = 400;
inline constexpr LONG FW_BOLD = 700;

struct tagLOGFONTW {
  LONG lfHeight;
  LONG lfWidth;
  LONG lfEscapement;
  LONG lfOrientation;
  LONG lfWeight;
  BYTE lfItalic;
  BYTE lfUnderline;
  BYTE lfStrikeOut;
  BYTE lfCharSet;
  BYTE lfOutPrecision;
  BYTE lfClipPrecision;
  BYTE lfQuality;
  BYTE lfPitchAndFamily;
  WCHAR lfFaceName[LF_FACESIZE];
};
using LOGFONTW = tagLOGFONTW;

struct _ABCFLOAT {
  FLOAT abcfA;  // leading bearing
  FLOAT abcfB;  // width of the glyph's black box
  FLOAT abcfC;  // trailing bearing; A + B + C is the advance
};
using ABCFLOAT = _ABCFLOAT;

struct _FIXED {
  WORD fract;
  short value;
};
using FIXED = _FIXED;

struct _MAT2 {
  FIXED eM11, eM12, eM21, eM22;
};
using MAT2 = _MAT2;

struct tagPOINTFX {
  FIXED x, y;
};
using POINTFX = tagPOINTFX;

struct _GLYPHMETRICS {
  UINT gmBlackBoxX;
  UINT gmBlackBoxY;
  POINT gmptGlyphOrigin;
  short gmCellIncX;
  short gmCellIncY;
};
using GLYPHMETRICS = _GLYPHMETRICS;

struct tagTTPOLYGONHEADER {
  DWORD cb;  // bytes of the contour, this header included
  DWORD dwType;
  POINTFX pfxStart;
};
using TTPOLYGONHEADER = tagTTPOLYGONHEADER;

struct tagTTPOLYCURVE {
  WORD wType;
  WORD cpfx;
  POINTFX apfx[1];
};
using TTPOLYCURVE = tagTTPOLYCURVE;

inline constexpr UINT GGO_METRICS = 0;
inline constexpr UINT GGO_NATIVE = 2;
inline constexpr UINT GGO_GLYPH_INDEX = 0x80;
inline constexpr DWORD TT_POLYGON_TYPE = 24;
inline constexpr WORD TT_PRIM_LINE = 1;
inline constexpr WORD TT_PRIM_QSPLINE = 2;
inline constexpr WORD TT_PRIM_CSPLINE = 3;
inline constexpr DWORD GDI_ERROR = 0xFFFFFFFF;

// Largest em height, in pixels, that a font is scaled to: glyphs reaching twice the em still
// fit the 16.16 range.
inline constexpr LONG kMaxFontHeight = 1 << 14;

// A drawing surface on the display (the screen of GetDC, 96 pixels per inch) that DeleteDC
// releases. Any driver name is accepted; the other arguments are ignored.
PLEXA_API HDC CreateDCW(const WCHAR* driver, const WCHAR* device, const WCHAR* port,
                        const void* mode);
// A font object for the record (matching above); nullptr for a null record or no font at all.
// Select it into a surface with SelectObject and free it with DeleteObject.
PLEXA_API HFONT CreateFontIndirectW(const LOGFONTW* font);
// The glyph of ch (a Unicode code point, or a glyph index with GGO_GLYPH_INDEX) in the font
// selected into dc. GGO_NATIVE: with a null buffer or size 0, the bytes the outline needs (0 for
// an empty glyph such as a space); otherwise the records written into buffer and their size.
// GGO_METRICS: 0, metrics only. Metrics are written when gm is not null. GDI_ERROR for no
// surface, no selected font, a null matrix, another format, a too small buffer, or a code point
// the font lacks (its missing-glyph box is not substituted).
PLEXA_API DWORD GetGlyphOutlineW(HDC dc, UINT ch, UINT format, GLYPHMETRICS* gm, DWORD size,
                                 void* buffer, const MAT2* matrix);
// Advance widths A, B, C of the characters first..last of the selected font, in pixels as
// floats. FALSE for no surface or font, last < first, a null array, or more than 65,536
// characters. A character the font lacks gets the missing glyph's widths.
PLEXA_API BOOL GetCharABCWidthsFloatW(HDC dc, UINT first, UINT last, ABCFLOAT* widths);
// The family name of the selected font into name (at most count characters with the final 0);
// returns the characters written without the 0, or with a null name the length the name needs
// including the 0. 0 when there is no surface or font.
PLEXA_API int GetTextFaceW(HDC dc, int count, WCHAR* name);
// Bytes of the selected font's file: table 0 and offset 0 give the whole file (for a text
// shaper). With a null buffer or size 0, the file's size. GDI_ERROR for no font, another table
// or an offset beyond the end.
PLEXA_API DWORD GetFontData(HDC dc, DWORD table, DWORD offset, void* buffer, DWORD size);
