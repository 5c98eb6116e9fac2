// Outline offsets: closed outlines shrunk or grown by a distance d (drawing units). Two
// techniques: the vertex offset (ShrinkOutline and ShrinkOutlineBound: each vertex of a
// polyline moves along its corner bisector, then loops are cut away) and the raster offset
// (ShrinkOutlineParallel and ShrinkOutlineRipples: the outline is drawn into a bitmap, widened
// or eaten by a round pen or a distance field, traced back and refitted). For an offset with
// curves and a stated accuracy see plexa/analysis/vectoroffset.h.
//
//   CArray<PLEXA::CDPOINT> square = ...;        // (0,0) (100,0) (100,100) (0,100) (0,0)
//   ShrinkOutline(square, 10, true);            // about (10,10) .. (90,90), still closed
//   CPolyPolyBezier letters = ...;
//   ShrinkOutlineBound(letters, 5, false);      // every outline 5 units larger, refitted
//
// Polylines are CArray<PLEXA::CDPOINT>; sets are CPolyPolyBezier. No function reports an
// error: polylines with fewer than two points are left unchanged, NaN or infinite distances
// leave their input unchanged, an offset that comes to nothing gives an empty polyline, which
// the set forms do not append. Every loop is bounded by the point counts (loop removal is at
// worst cubic in the point count).
#pragma once

#include "plexa/geom/polypoly.h"
#include "plexa/platform/array.h"
#include "plexa/platform/export.h"

// Distance below which two neighbouring points are thinned to one, and a polyline counts as
// closed; also the fraction of the way to a crossing at which a bisector that meets the
// outline stops.
inline constexpr double kShrinkThin = 0.3;
// Tolerance of the curve fitter when an offset polyline is turned back into a path.
inline constexpr double kShrinkRefit = 10.0;

// Removes count points from start. Nothing happens when start < 0, start >= size,
// count <= 0 or start + count > size.
PLEXA_API void RemoveOutlinePart(CArray<PLEXA::CDPOINT>& poly, int start, int count);

// Removes self-intersection loops, in place. The first pair of segments (smallest i, then
// smallest j, with segment i from point i to i + 1, i = 0 .. n - 3 and j = i + 2 .. n - 3; the
// last segment is never tested) whose infinite lines meet within both segments' ranges is cut:
// when the loop between them holds at least half of the points (j - i - 1 >= n / 2) it is
// taken as the outline (points i + 1 .. j - 1 stay), otherwise points i + 1 .. j go and the
// outline runs from point i straight on to the old point j + 1 (the crossing point itself is
// deliberately not inserted). Repeats until a pass removes nothing.
PLEXA_API void RemoveOutlineLoops(CArray<PLEXA::CDPOINT>& poly);

// Vertex offset of a polyline, in place. The polyline is thinned (the first point, then only
// points at least kShrinkThin from the last kept one); it is closed when its first and last
// points are less than kShrinkThin apart. Each vertex moves by d along the bisector of its
// corner (d itself, not d over the sine of the half angle): inwards when shrink is true,
// outwards when false, inwards meaning towards the inside of the outline's orientation
// (IsClockwise of the polyline, the open one read with its closing chord). Where the moved
// vertex's bisector segment meets the outline, the vertex stops at kShrinkThin of the way to
// the crossing. Then RemoveOutlineLoops, and a closed outline whose ends came apart gets its
// first point appended.
// Choices made here: the ends of an open polyline move by d along the normal of their one
// segment, on the same side; a vertex with a neighbour on top of it (no corner to bisect)
// stays in place; a negative d moves the other way; corners sharper than the offset get no
// treatment beyond the crossing rule and the loop removal.
PLEXA_API void ShrinkOutline(CArray<PLEXA::CDPOINT>& poly, double d, bool shrink);

// The set as polylines: polys is emptied, then every path with at least 2 nodes and finite
// coordinates is flattened (CBPointArray::ExecuteBPointArrayT, resolution 1.0) and tidied as
// by the single-polyline form; tidied polylines with points left are appended.
PLEXA_API void ExactBound(CPolyPolyBezier& set, CPolyPolyDPoint& polys);
// Tidies a polyline in place: drops non-finite points and consecutive repeats (within 1e-8);
// a polyline left with fewer than 3 points (which cannot bound anything) is emptied.
PLEXA_API void ExactBound(CArray<PLEXA::CDPOINT>& poly);

// ExactBound(set, polylines); the set is emptied; then for every polyline ShrinkOutline(poly,
// d, shrink), ExactBound(poly), and when points remain a path refitted with tolerance
// kShrinkRefit is appended.
PLEXA_API void ShrinkOutlineBound(CPolyPolyBezier& set, double d, bool shrink);
