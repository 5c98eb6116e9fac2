// The order in which a cutter or plotter takes a drawing's strokes: greedy nearest neighbour,
// holes before the outline that holds them.
//
//   std::vector<CutStart> order = NearestCutOrder(strokes, parent);
//   for (const CutStart& c : order) ...  // stroke c.stroke, starting at its point c.at
//
// Rule: the knife starts at 0,0. A stroke is free to go once every stroke whose parent it is
// has been cut (strokes without points are never cut and hold nothing back). Among the free
// strokes, the point nearest to the knife goes next (squared distances, computed in doubles
// from the integer coordinates): any vertex of a closed stroke but its repeated last one, or
// either end of an open one. The knife then rests where the stroke ends (back at its start for
// a closed stroke). Ties between equal distances: first the stroke whose bounds are nearest
// to the knife (among equally near bounds, the earlier in the free list), then the free list's
// order, then the stroke's own point order (an open stroke's first end before its last). The
// free list starts as the free strokes by index; a stroke taken leaves its place to the list's
// last, and a stroke freed joins the end.
//
// Cost: a tree of the strokes' bounds (built once, O(n log n)) finds the strokes whose bounds
// are within the best distance so far, so a round costs about O(log n) plus the points of the
// strokes it reads, instead of a test of every free stroke. Parents must form a forest
// (indexes in [0, n) or -1); a parent outside that range is ignored.
#pragma once

#include <cstddef>
#include <vector>

namespace plexa::io {

struct PlotStep {
  long long x, y;
};

// One stroke: its points (a closed stroke repeats its first point last) and whether it is closed.
struct Stroke {
  std::vector<PlotStep> pts;
  bool closed = false;
};

struct CutStart {
  int stroke;      // index into the strokes
  std::size_t at;  // the point it starts from
};

std::vector<CutStart> NearestCutOrder(const std::vector<Stroke>& strokes,
                                      const std::vector<int>& parent);

}  // namespace plexa::io
