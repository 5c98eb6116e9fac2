// Writing a drawing as SVG: one path element per item, absolute M/C/L/Z commands, coordinates
// in millimetres (3 decimals: a micrometre), the page as width/height in mm and a viewBox.
//
//   std::string svg = plexa::io::WriteSvg(drawing);
//
// Items of a layer (Item::layer) are written inside a group <g id="NAME"> of that layer's name
// (one group for each run of consecutive items of one layer). Closed paths end with Z; open paths
// are stroked (black, 0.1 mm) instead of filled. An empty drawing gives a valid document of zero
// size with no path elements.
#pragma once

#include <string>

#include "io/drawing.h"

namespace plexa::io {

std::string WriteSvg(const Drawing& d);

}  // namespace plexa::io
