// Inside the font layer: a face opened from a font file's bytes. Lets tests and the fuzz
// target load a font without fontconfig; the public calls are in font.h.
#pragma once

#include <memory>
#include <vector>

#include "plexa/platform/font.h"

namespace plexa::gdi {

struct FaceData;

// Opens face `index` of a font file held in memory; nullptr when FreeType cannot read it or the
// face has no scalable outlines. The em height starts at 16 pixels.
std::shared_ptr<FaceData> OpenFace(std::vector<unsigned char> bytes, long index);
// Sets the em height from a logical-font record's lfHeight, as CreateFontIndirectW does.
void SetFaceSize(FaceData& face, const LOGFONTW& font);
// A font object (HFONT) owning the face; nullptr for a null face.
HFONT NewFont(std::shared_ptr<FaceData> face);
// The native records of one glyph (see GetGlyphOutlineW); false for a missing glyph.
bool NativeOutline(FaceData& face, UINT ch, UINT format, const MAT2& matrix,
                   std::vector<unsigned char>& records, GLYPHMETRICS* gm);
// The advance widths of one character; false when FreeType cannot load it.
bool AbcWidths(FaceData& face, UINT ch, ABCFLOAT& abc);

}  // namespace plexa::gdi
