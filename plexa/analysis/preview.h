// A diagnostic view of an outline on the screen surface: a host's debugging aid that
// contributes to no result.
//
//   Preview(path, 3);   // the path, stroked 3 pixels wide and filled, top-left on the screen
#pragma once

#include "plexa/core/types.h"
#include "plexa/geom/path.h"
#include "plexa/platform/array.h"
#include "plexa/platform/export.h"

// Diagnostic drawing, contributing to no result: the outline's points, truncated to integers
// and moved so that its bounding rectangle starts at (penWidth / 2, penWidth / 2), are joined
// into one path that is stroked with a solid black pen of penWidth and filled black on a white
// off-screen bitmap sized by the bounding rectangle (at most the screen's size), which is then
// copied to the top-left corner of the screen surface (GetDC(nullptr)). The path form flattens
// the path at resolution 1.0 first. Fewer than 2 points, or non-finite bounds: nothing.
PLEXA_API void Preview(CArray<PLEXA::CDPOINT>& poly, int penWidth);
PLEXA_API void Preview(CBPointArray& path, int penWidth);
