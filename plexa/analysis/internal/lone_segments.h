// Which segments of the boolean's input may be flattened into their chord alone: those that
// lie apart from everything else, so that the arrangement decides the same topology on the
// chord as on the curve (the result keeps the curve: a piece of an input segment is rebuilt
// from its parameters, not from its flattening).
//
//   std::vector<plexa::lone::Segment> segs = ...;  // grid coordinates, next = following one
//   std::vector<char> chord = plexa::lone::LoneSegments(segs, 2.0);
//
// A segment is lone when (1) the legs of its control polygon turn by less than a right angle
// (the curve and any polygon inscribed in it are then simple), (2) the box of its control
// points, grown by margin, meets no other segment's box except its neighbours' on its path,
// and (3) at each end shared with a neighbour whose box it meets, the cones from that end
// spanned by the two segments' other control points meet only at the end. A curve lies in the
// hull of its control points, and its chord does too, so neither (2) nor (3) lets the chord
// cross what the curve does not, nor pass anything the curve passes on the other side.
// Work: a grid over the boxes (plexa/analysis/internal/box_pairs.h). Private: never installed.
#pragma once

#include <span>
#include <vector>

#include "plexa/core/types.h"

namespace plexa::lone {

struct Segment {
  PLEXA::CDPOINT q[4];
  int next = -1;  // the segment that starts where this one ends (its path read as closed)
};

std::vector<char> LoneSegments(std::span<const Segment> segs, double margin);

}  // namespace plexa::lone
