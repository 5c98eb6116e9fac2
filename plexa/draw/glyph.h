// Glyph outlines: one character of a system font as closed poly-Bezier paths placed at a pen,
// so a host can set text as outlines for cutting and advance the pen from character to
// character. The outline comes from the platform font layer (platform/font.h) in its native
// form (lines and quadratic B-splines in 16.16 fixed point) and is converted to cubic segments.
//
//   LOGFONTW lf{};  lf.lfHeight = -1000;  wcscpy(lf.lfFaceName, L"DejaVu Sans");
//   CPolyPolyBezier text;  PLEXA::CDPOINT pen(0, 0);
//   for (wchar_t c : std::wstring(L"SIGN")) {
//     CPolyPolyBezier glyph;
//     GetTTOutlinePoints(lf, c, glyph, pen, 1);   // placed at the pen; pen.x advances
//     ...move glyph's paths into text...
//   }
//
// Conversion, the same in every function: fixed-point values are rounded half up to integers
// (integer part plus one when the fraction is at least 0x8000); a line to Q becomes the cubic
// with controls Q and the previous point; a quadratic B-spline run becomes one cubic a span,
// each span ending at the midpoint of two controls (taken on the raw fixed-point values and
// halved with truncation) or at the run's last point, its controls at A + 2(B - A)/3 and
// B + (C - B)/3 in integers (product first, then division by 3 truncating towards zero); a
// contour whose last point is not its start gets a closing line; y is negated (the font's y
// grows upwards); controls that lie on a neighbouring anchor (within 1e-8) move onto their own
// anchor, so straight segments carry both controls on their end anchors. A contour of an
// unknown type ends the conversion; contours already converted stay.
#pragma once

#include "plexa/core/types.h"
#include "plexa/geom/polypoly.h"
#include "plexa/platform/export.h"
#include "plexa/platform/font.h"

// Appends the contours of ch in integer device units, shifted so that the leftmost point of all
// of out (CalcFrame at resolution 1.0) lands on pen.x, plus the leading bearing A when
// addLeadingBearing is non-zero, and by pen.y; the shift applies to every path in out, paths the
// caller appended earlier included (intended: callers pass an empty set per character). Then
// pen.x += |frame width| + A + C. Returns the number of paths in out. A font that cannot be made:
// 0 and the pen stays. An empty glyph (a space) or a character the font lacks: 0, nothing
// appended, pen.x += A + B + C.
PLEXA_API int GetTTOutlinePoints(LOGFONTW& font, unsigned int ch, CPolyPolyBezier& out,
                                 PLEXA::CDPOINT& pen, int addLeadingBearing);
// As GetTTOutlinePoints but in device units divided by 100.0, the glyph's own origin moved to
// the pen (no bearing adjustment, every path of out moved), and pen.x += (A + B + C) / 100. The
// int argument is ignored. An empty or missing glyph: 0, pen.x += (A + B + C) / 100.
PLEXA_API int GetTTOutlinePoints2(LOGFONTW& font, unsigned int ch, CPolyPolyBezier& out,
                                  PLEXA::CDPOINT& pen, int);
// For text shapers, which name glyphs by index rather than character: the contours of glyph
// `glyph` of the font, converted as GetTTOutlinePoints2 does (device units / 100), with the
// glyph's origin at origin. The pen is the shaper's to advance. Returns the number of paths in
// out (nothing appended for an empty glyph or an index beyond the font); 0 when the font
// cannot be made.
PLEXA_API int GetGlyphIndexOutlinePoints(LOGFONTW& font, unsigned int glyph, CPolyPolyBezier& out,
                                         const PLEXA::CDPOINT& origin);
