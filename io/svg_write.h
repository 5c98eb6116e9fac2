// Writing a drawing as SVG: one path element per item, absolute M/C/L/Z commands, coordinates
// in millimetres (3 decimals: a micrometre), the page as width/height in mm and a viewBox.
//
//   std::string svg = plexa::io::WriteSvg(drawing);
//
// Closed paths end with Z; open paths are stroked (black, 0.1 mm) instead of filled. An empty
// drawing gives a valid document of zero size with no path elements.
#pragma once

#include <string>

#include "io/drawing.h"

namespace plexa::io {

std::string WriteSvg(const Drawing& d);

}  // namespace plexa::io
