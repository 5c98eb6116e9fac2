// Private helpers over the label raster that the centre-line walkers share (CImageTrace and
// the CImgProc walker family): labels 0 = background, 1 = line cell not yet traced,
// 2 = anchor. The raster is one cell larger than the bitmap on every side, so a cell's eight
// neighbours always exist for bitmap pixels.
#pragma once

#include "plexa/raster/bitmatrix.h"

namespace plexa::lines {

inline constexpr unsigned char kEmpty = 0;
inline constexpr unsigned char kLine = 1;
inline constexpr unsigned char kAnchor = 2;

// Non-zero neighbours of (x, y) among the eight; 0 when the cell itself is 0.
int CountNeighbours(const CByteMatrix& m, int x, int y);
// Branches leaving (x, y) (see CImageTrace): with fewer than 3 neighbours, the runs of set
// cells round its ring; else the groups of touching line cells just outside its crowded
// group (cells of 3 or more neighbours connected to it, within 2 cells of it).
int CountBranches(const CByteMatrix& m, int x, int y);
// The label raster of a 1-bit (or 32-bit) bitmap: one cell larger on every side, the set
// pixels labelled kLine. False, leaving m as it was, for an empty bitmap or one wider or
// taller than kMaxCoordinate.
bool LoadLines(CByteMatrix& m, const tagBITMAP& bm);
// The anchor rule: for every cell (rows outer), n = CountNeighbours, refined by CountBranches
// when above 2; n == 1 or n >= 3 makes the cell an anchor. Then ReduceAnchorClusters.
void MarkAnchors(CByteMatrix& m);
// Shrinks clusters of touching anchors as CImageTrace's header describes.
void ReduceAnchorClusters(CByteMatrix& m);
// The walk step: if (x, y) is an anchor and first is false, false (a walk ends at the next
// anchor). Otherwise the eight neighbours in the order (x-1, y-1), (x-1, y), (x-1, y+1),
// (x, y-1), (x, y+1), (x+1, y-1), (x+1, y), (x+1, y+1): move to the first labelled 1, else to
// the first non-zero; false when all are 0.
bool NextPoint(const CByteMatrix& m, int& x, int& y, bool first);
// An anchor none of whose neighbours is still labelled 1 becomes 0 (all its branches traced).
void RetireAnchor(CByteMatrix& m, int x, int y);

}  // namespace plexa::lines
