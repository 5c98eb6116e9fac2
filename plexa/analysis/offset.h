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

// ---- Raster offsets ----------------------------------------------------------------------
// The parallel offset draws the outline filled (black brush) and stroked with a round pen
// trunc(2 d scale) pixels wide into a white bitmap, traces the white background from the
// top-left corner with CPxAutoTrace (tolerance 500), drops the first outline (the bitmap's
// frame) and maps the points of all further outlines back, in order, into one polyline:
//   - bitmap: the flattened outline's bounds W x H; when W * H > 1e6 the drawing is scaled
//     into about 1e6 pixels (scale = min(bw / (2d + W), bh / (2d + H))), else scale 1; 20
//     pixels of margin on every side beyond the band;
//   - placement: p' = (p - min) * scale + trunc(d) * scale + 20 (trunc(d) deliberately: the
//     band is placed by whole units), drawn at integer pixels (truncated);
//   - corners are those of a wide round pen: round joins and ends; inner loops vanish because
//     only the background's boundary is traced.
// d must be finite and not negative (else nothing changes). Bitmaps of more than 2^25 pixels
// (thin or huge outlines, which the budget on W * H does not bound) are not made: the result
// is then empty.

// Polyline form, in place: the outline grows by d. The bool is accepted and ignored
// (deliberately: the pen is always black). The caller's array holds the drawn points until
// the trace refills it.
PLEXA_API void ShrinkOutlineParallel(CArray<PLEXA::CDPOINT>& poly, double d, bool shrink);
// Path form: the offset outline's points into out (emptied first): shrink = true moves the
// outline inwards by d (a white pen eats into the shape), false outwards.
PLEXA_API void ShrinkOutlineParallel(CBPointArray& path, CArray<PLEXA::CDPOINT>& out, double d,
                                     bool shrink);
// The path form into a temporary array; the path is emptied and, when points came back,
// refitted from them with tolerance kShrinkRefit.
PLEXA_API void ShrinkOutlineParallel(CBPointArray& path, double d, bool shrink);
// Each path of a copy of the set through the path-to-points form; the set is emptied and each
// non-empty result refitted (kShrinkRefit) and appended.
PLEXA_API void ShrinkOutlineParallelBound(CPolyPolyBezier& set, double d, bool shrink);

// Set-level offsets on a 1024 x 1024 grid. The set (even-odd, every path closed) is fitted
// with its band into the grid, rendered (cell centres inside), and an exact Euclidean
// distance field of the cells is thresholded at d (with half a cell for the centres' offset
// from the boundary) and traced with CFaithfulTrace; the set is replaced by the traced
// outlines and holes (closed paths, outlines clockwise on screen). Accuracy is about one grid
// cell: the larger side of the set plus its band, over 1020. d must be finite and not
// negative; empty sets, a bad d or a bad mode or count leave the set unchanged.
// mode: 0 grows the set by d (round corners), 1 shrinks it by d, 2 gives both outlines at once
// (the grown outline and the shrunk one, as for an in-line and out-line effect).
PLEXA_API void ShrinkOutlineParallel(CPolyPolyBezier& set, double d, int mode);
// count concentric ripples around the set: the set grown by d, 2d, .. count * d (at most
// kMaxRipples rings a call), innermost first, replace the set. count <= 0: unchanged.
inline constexpr int kMaxRipples = 256;
PLEXA_API void ShrinkOutlineRipples(CPolyPolyBezier& set, double d, int count);
