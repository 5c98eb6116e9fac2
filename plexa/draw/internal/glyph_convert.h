// Inside the glyph outlines: the conversion of native outline records into paths, apart from
// the font layer so that it can be checked on records written by hand.
#pragma once

#include <cstddef>

#include "plexa/geom/polypoly.h"
#include "plexa/platform/records.h"

namespace plexa::glyph {

// Appends one path per contour of the native records (TTPOLYGONHEADER + TTPOLYCURVE) in
// data[0, size), in device units, divided by 100.0 when divide is true. Stops at a contour of
// another type than TT_POLYGON_TYPE or at a record that does not fit the buffer.
void ConvertNativeOutline(const BYTE* data, std::size_t size, bool divide, CPolyPolyBezier& out);

}  // namespace plexa::glyph
