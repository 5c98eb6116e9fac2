// Helpers shared by the path-set files: coincidence within the set epsilon and one segment of
// a path as a CBezier. Private: never installed, never included by a public header.
#pragma once

#include <cmath>

#include "plexa/geom/bezier.h"
#include "plexa/geom/pathset.h"

namespace plexa::pathset {

using PLEXA::CDPOINT;

inline bool Coincide(const CDPOINT& a, const CDPOINT& b, double tol = kPathSetEpsilon) {
  return std::fabs(a.x - b.x) < tol && std::fabs(a.y - b.y) < tol;
}

inline CBezier Segment(const CBPointArray& p, INT_PTR i) {
  return CBezier(p.GetData()[i], p.GetData()[i + 1]);
}

}  // namespace plexa::pathset
