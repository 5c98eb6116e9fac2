// How the boolean flattens its input: finely only where a curve has company, into chords
// elsewhere. The arrangement decides the same topology on a chord as on the curve when the
// curve lies apart from everything else, and the result keeps the curve anyway (a piece of an
// input segment is rebuilt from its parameters, not from its flattening).
//
//   std::vector<plexa::lone::Segment> segs = ...;  // grid coordinates, next = following one
//   std::vector<plexa::lone::Chord> chords;
//   if (!plexa::lone::PlanChords(segs, tol, 2.0, 12, 1 << 22, chords)) return false;
//
// A piece of a curve (a segment, or a half of a piece, and so on) is lone when (1) the legs of
// its control polygon turn by less than a right angle (the curve and any polygon inscribed in
// it are then simple), (2) the hull of its control points comes within margin of no other
// piece's hull except its neighbours' on its path (boxes grown by margin are tested first),
// and (3) at each end shared with such a
// neighbour, the cones from that end spanned by the two pieces' other control points (each
// narrower than a right angle) meet only at the end. A curve lies in the hull of its control
// points, and its chord does too, so the chord crosses what the curve crosses and passes
// nothing on the other side. Lone pieces become one chord; the others are halved (de
// Casteljau) while at least a quarter of the pieces looked at come out lone, for at most three
// halvings, then until flat within tol (both handles within tol / 0.75 of the chord's thirds,
// the boolean's own flattening) or maxDepth halvings deep, with at most `most` chords. Pieces
// only shrink, so a lone piece stays lone; straight segments are never halved. Work: a grid
// over the boxes of the pieces that are not lone, once per halving looked at
// (plexa/analysis/internal/box_pairs.h), and at most a floor plus a number per piece of the
// overlapping pairs (past that, no piece counts as lone). Private: never installed.
#pragma once

#include <span>
#include <vector>

#include "plexa/core/types.h"

namespace plexa::lone {

struct Segment {
  PLEXA::CDPOINT q[4];
  int next = -1;          // the segment that starts where this one ends (its path read closed)
  bool straight = false;  // flattened as it is, never halved
};

// A chord from a to b standing for the parameters t0..t1 of segment seg.
struct Chord {
  int seg;
  double t0, t1;
  PLEXA::CDPOINT a, b;
};

// The chords of every segment into chords, in segment order and along each segment; false
// (chords incomplete) when more than `most` would be made.
bool PlanChords(std::span<const Segment> segs, double tol, double margin, int maxDepth,
                std::size_t most, std::vector<Chord>& chords);

}  // namespace plexa::lone
