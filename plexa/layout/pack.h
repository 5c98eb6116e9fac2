// PackRectangleFFD: first-fit packing of rectangles into a growing strip, one rectangle a
// call. The host sorts its rectangles by decreasing size, keeps one state array for the
// whole packing and calls the function once per rectangle; each call writes the placed
// position into the rectangle.
//
//   CArray<PLEXA::CDPOINT, PLEXA::CDPOINT> state;       // empty: a new packing
//   for (PLEXA::CDRECT& r : sortedBySizeDescending)
//     PackRectangleFFD(r, state, 20.0, true);           // columns, 2 mm apart
//
// The first rectangle fixes the strip's limit: its height in column mode (vertical true),
// its width in row mode. Every later rectangle goes into the first band (column or row)
// that still has room, or opens a new band beyond the last one.
//
// State: pairs of points, one pair a band, in the order the bands were made.
// - Column mode: (x_left, y_end), (x_right, y_end): the column spans x_left .. x_right and
//   is filled from y = 0 up to y_end.
// - Row mode: (x_end, y_bottom), (x_end, y_top): the row spans y_bottom .. y_top and is
//   filled from x = 0 up to x_end.
// The first pair is the first rectangle's band and holds the limit (point 1's y in column
// mode, its x in row mode); it is never offered to later rectangles, deliberately. A band
// that a narrower rectangle takes is split: the new narrow band is inserted in front of the
// rest of it, so the pairs of a split band stay together.
//
// The gap goes in front of a rectangle placed inside a band (on y in column mode, on x in
// row mode) but not in front of the first rectangle of a new band, which starts at y = 0
// (columns) or x = 0 (rows); new bands are offset from the last one by the gap. This is
// the intended layout.
#pragma once

#include "plexa/core/types.h"
#include "plexa/platform/array.h"
#include "plexa/platform/export.h"

// Places one rectangle. Only its size matters on entry (w = |xmax - xmin|, h = |ymax -
// ymin|, so negative sizes count by magnitude); on return it holds the placed position.
// A state of fewer than 2 points starts a packing: the rectangle goes to (0, w, 0, h) and
// its pair is appended.
//
// Cost. Up to a few hundred bands a call tests every band in order. Beyond that it finds the
// first band with room through an index of the bands: blocks of 256 consecutive bands, each
// with the staircase of its widths and lowest filled ends, which answers "does any band here
// fit?" exactly, so a call makes about bands / 256 block tests and scans one block. Each call
// inserts at most one pair (a plain memory move of the pairs behind it). The placements are
// exactly those of testing every band in order. The index lives with the calling thread and
// mirrors the state the thread packed last; a different state, or the same one changed in
// size or at its ends, is re-indexed in one pass (so a thread alternating between two large
// packings pays a pass a call). A state edited in the middle between calls, size unchanged,
// breaks the contract above and is not detected.
//
// NaN or infinite sizes never crash: such a rectangle fits no band, opens a new one at
// non-finite coordinates, and later new bands (placed after the last point) inherit them. A
// state the function did not build is read as it stands: bands are the pairs (2, 3), (4, 5),
// ... and a new band follows the last point.
PLEXA_API void PackRectangleFFD(PLEXA::CDRECT& rect, CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& state,
                                double gap, bool vertical);
