// First-fit packing of rectangles into a growing strip, one rectangle a call, in two forms
// that place identically:
// - PackRectangleFFD, the plain form: the host keeps the state array and passes it to every
//   call; each call visits the bands in order.
// - CRectanglePacker, the fast path for many rectangles: it owns the packing and keeps its
//   bands in a search tree, so finding the first band with room costs about log(bands)
//   steps instead of a visit of every band.
// The host sorts its rectangles by decreasing size and places them in that order; each call
// writes the placed position into the rectangle.
//
//   CArray<PLEXA::CDPOINT, PLEXA::CDPOINT> state;       // empty: a new packing
//   for (PLEXA::CDRECT& r : sortedBySizeDescending)
//     PackRectangleFFD(r, state, 20.0, true);           // columns, 2 mm apart
//
//   CRectanglePacker packer(20.0, true);                // the same placements, faster
//   for (PLEXA::CDRECT& r : sortedBySizeDescending) packer.Pack(r);
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
//
// Sizes: only a rectangle's size matters on entry (w = |xmax - xmin|, h = |ymax - ymin|, so
// negative sizes count by magnitude). NaN or infinite sizes never crash: such a rectangle
// fits no band, opens a new one at non-finite coordinates, and later new bands (placed after
// the last point) inherit them.
#pragma once

#include <memory>

#include "plexa/core/types.h"
#include "plexa/platform/array.h"
#include "plexa/platform/export.h"

// Places one rectangle with the host's own state. A state of fewer than 2 points starts a
// packing: the rectangle goes to (0, w, 0, h) and its pair is appended. Otherwise the bands
// are visited in order and the first with room is taken; at most one pair is inserted or
// appended. Cost: one test a band, so O(bands) a call and O(n^2) for n rectangles; for
// thousands of rectangles use CRectanglePacker (a function that keeps nothing between calls
// cannot keep a search structure either: building one costs a visit of every band). A
// state the function did not build is read as it stands (bands are the pairs (2, 3),
// (4, 5), ... and a new band follows the last point).
PLEXA_API void PackRectangleFFD(PLEXA::CDRECT& rect, CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& state,
                                double gap, bool vertical);

// A packing that owns its state. State() returns the state that calling
// PackRectangleFFD(rect, state, gap, vertical) with the same rectangles in the same order
// would hold, and each rectangle gets the same position, bit for bit (NaN sizes included).
//
// Invariants: up to 3,000 bands the packer keeps the plain state and scans it
// (faster there); then its bands live in a balanced tree of their own, in state order, each
// subtree knowing a staircase of its widest bands against their lowest filled ends, built
// once from the state and then only by Pack. Gap and mode are fixed at construction. Copies
// are independent packings; a moved-from packer is empty.
//
// Cost a rectangle, past that: finding the first band with room descends the tree, passing
// over every subtree in which no band has room, and a split or a new band adds one node:
// O(log bands) on packings of sorted cut lists (a descent can detour into subtrees whose room
// and width sit on different bands; the band found is still the first). State() builds the
// state array afresh: O(bands) a call, so ask for it once the packing is done.
class PLEXA_API CRectanglePacker {
 public:
  explicit CRectanglePacker(double gap = 0, bool vertical = true);
  ~CRectanglePacker();
  CRectanglePacker(const CRectanglePacker& other);
  CRectanglePacker& operator=(const CRectanglePacker& other);
  CRectanglePacker(CRectanglePacker&& other) noexcept;
  CRectanglePacker& operator=(CRectanglePacker&& other) noexcept;

  // Places one rectangle, exactly as PackRectangleFFD would with State().
  void Pack(PLEXA::CDRECT& rect);
  // The packing's state, as PackRectangleFFD would hold it (empty before the first Pack).
  CArray<PLEXA::CDPOINT, PLEXA::CDPOINT> State() const;
  // Empties the packing; the next rectangle starts a new one (same gap and mode).
  void Reset();
  double Gap() const { return m_gap; }
  bool Vertical() const { return m_vertical; }

 private:
  class Index;
  double m_gap;
  bool m_vertical;
  std::unique_ptr<Index> m_index;  // null until the first rectangle
};
