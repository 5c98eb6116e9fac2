// The drawing as a page description in points (1/72 inch, y up, origin at the page's lower
// left), shared by the PDF and EPS writers, which differ only in operator names.
#pragma once

#include <string>

#include "io/drawing.h"

namespace plexa::io {

// Points a drawing unit.
inline constexpr double kPointsPerUnit = 72.0 / kUnitsPerInch;

struct PageOperators {
  const char* move;     // "m" / "moveto"
  const char* line;     // "l" / "lineto"
  const char* curve;    // "c" / "curveto"
  const char* close;    // "h" / "closepath"
  const char* fill;     // "f" / "fill"
  const char* eofill;   // "f*" / "eofill"
  const char* stroke;   // "S" / "stroke"
  const char* newpath;  // "" / "newpath"
};

// Page size in points (at least 1 x 1: viewers refuse an empty page).
void PageSize(const Drawing& d, double& width, double& height);

// One filled (closed items: even-odd or nonzero as the item says) or stroked (items with an
// open path) shape per item, coordinates with 3 decimals.
std::string PageContent(const Drawing& d, const PageOperators& ops);

}  // namespace plexa::io
