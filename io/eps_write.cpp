#include "io/eps_write.h"

#include <cmath>

#include "io/number.h"
#include "io/page_ops.h"

namespace plexa::io {

std::string WriteEps(const Drawing& d) {
  static constexpr PageOperators kOps{"moveto", "lineto", "curveto", "closepath",
                                      "fill",   "eofill", "stroke",  "newpath"};
  double w = 0, h = 0;
  PageSize(d, w, h);
  std::string out = "%!PS-Adobe-3.0 EPSF-3.0\n%%Creator: plexa\n%%BoundingBox: 0 0 ";
  AppendNumber(out, std::ceil(w), 0);
  out += ' ';
  AppendNumber(out, std::ceil(h), 0);
  out += "\n%%HiResBoundingBox: 0 0 ";
  AppendNumber(out, w, 3);
  out += ' ';
  AppendNumber(out, h, 3);
  out += "\n%%Pages: 1\n%%EndComments\n%%Page: 1 1\ngsave\n0 setgray 0.283 setlinewidth\n";
  out += PageContent(d, kOps);
  out += "grestore\nshowpage\n%%EOF\n";
  return out;
}

}  // namespace plexa::io
