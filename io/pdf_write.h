// Writing a drawing as a one-page PDF 1.4: the page (MediaBox) is the drawing's page or, when
// it has none, the bounds of its paths; coordinates in points, y up. Closed items are filled
// black by their fill rule (f* even-odd, f nonzero), items with an open path stroked 0.1 mm
// wide. The content stream is uncompressed (plain text after the binary-marker comment); the
// cross-reference table gives exact byte offsets.
//
//   std::string pdf = plexa::io::WritePdf(drawing);
#pragma once

#include <string>

#include "io/drawing.h"

namespace plexa::io {

std::string WritePdf(const Drawing& d);

}  // namespace plexa::io
