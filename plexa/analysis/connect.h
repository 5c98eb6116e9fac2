// Joining paths that share end points into as few paths as possible.
//
//   CPolyPolyBezier strokes, joined;          // e.g. cut lines drawn piece by piece
//   ConnectPaths(strokes, joined);            // touching pieces become one path each
//
// The joining pass: paths are taken in set order. Each open path starts a chain, which then
// grows at its end, and afterwards at its start, by the first remaining open path (in set
// order) that has an end point within 1e-8 of the chain's free end in x and in
// y (that path reversed when needed), until no remaining path touches the free end or the
// chain closes on itself (it is then closed exactly: its last node takes the first node's
// anchor and outgoing control). Where two paths meet, one node stands for both ends: the
// anchor of the chain as it was, the incoming control of the earlier path and the outgoing
// control of the later one (earlier and later in the joined path's direction).
// Closed paths and paths with fewer than 2 nodes are copied through unchanged; null slots
// are skipped. The output keeps the order of each chain's first path.
#pragma once

#include "plexa/geom/polypoly.h"
#include "plexa/platform/export.h"

// dst is emptied, then receives the joined paths of src (copies: src is not changed; src and
// dst may be the same set). The joining pass runs on src, then again on its own result while
// that holds more than one path and the previous pass reduced the count, so it always ends
// (one pass already joins every chain it can; the repeat only confirms it). Cost: O(P^2)
// end comparisons per pass for P paths.
PLEXA_API void ConnectPaths(const CPolyPolyBezier& src, CPolyPolyBezier& dst);
