// Writing a drawing as Encapsulated PostScript (EPSF-3.0): the bounding box is the drawing's
// page or, when it has none, the bounds of its paths, in points with y up; closed items are
// filled black by their fill rule (eofill, fill), items with an open path stroked 0.1 mm wide.
//
//   std::string eps = plexa::io::WriteEps(drawing);
#pragma once

#include <string>

#include "io/drawing.h"

namespace plexa::io {

std::string WriteEps(const Drawing& d);

}  // namespace plexa::io
