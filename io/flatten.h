// Flattening paths into polylines within a stated distance, for the formats that draw only
// straight lines (HPGL, DXF polylines).
//
//   std::vector<PLEXA::CDPOINT> pts;
//   plexa::io::FlattenPath(path, 0.25, pts);   // within 25 micrometres of the curves
//
// Each cubic segment is cut into n equal parameter steps with n = ceil(sqrt(0.75 M / tol)),
// M the larger of |P0 - 2 P1 + P2| and |P1 - 2 P2 + P3|: the chord of a step of h = 1/n lies
// within h^2 max|B''| / 8 <= 0.75 M / n^2 <= tol of the curve. At most kMaxFlattenSteps steps a
// segment (a segment longer than that many times the tolerance gets coarser steps); a
// straight segment is one step. Non-finite coordinates pass through as one step.
#pragma once

#include <vector>

#include "plexa/geom/path.h"

namespace plexa::io {

inline constexpr int kMaxFlattenSteps = 4096;

// Replaces pts with the first anchor and the end of every step. A closed path ends on its
// first point again; fewer than 2 nodes give just the anchor (or nothing when empty).
void FlattenPath(const CBPointArray& path, double tolerance, std::vector<PLEXA::CDPOINT>& pts);

}  // namespace plexa::io
