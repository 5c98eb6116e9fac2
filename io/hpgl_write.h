// Writing a drawing as HPGL for vinyl cutters and pen plotters (.plt): IN; SP1; then per path
// PU to its start and PD through its points, PU; SP0; at the end. 40 plotter units a
// millimetre (0.025 mm), integers, y up with the page's lower left at 0,0. Curves are
// flattened within o.tolerance, then rounded to whole plotter units (at most 0.018 mm more).
//
//   std::string plt = plexa::io::WriteHpgl(drawing, o);
//
// Order: every hole is cut before the outline that contains it (nesting by GroupIntoShapes's
// rule; an outline moves once its holes are cut, so the weeded part stays put while its
// holes are cut). Among the paths free to go next, the one with the nearest point to the
// knife goes next, a closed path starting at its vertex nearest the knife and an open one at
// its nearer end (greedy nearest neighbour from 0,0, ties as io/cut_order.h states; a tree of
// the paths' bounds keeps a round near O(log n) plus the points of the paths it reads).
#pragma once

#include <string>

#include "io/write.h"

namespace plexa::io {

inline constexpr double kHpglUnitsPerMm = 40.0;

std::string WriteHpgl(const Drawing& d, const WriteOptions& o);

}  // namespace plexa::io
