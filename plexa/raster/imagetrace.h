// CImageTrace: turns a bitmap of thin lines (a skeleton, an edge map) into open poly-Bezier
// paths that a plotter, engraver or single-line cutter follows.
//
//   CImageTrace trace;
//   CPolyPolyBezier paths;
//   trace.AutoTrace(bitmap, paths);  // set pixels are the lines; the caller keeps the bitmap
//   // paths are in cell coordinates: bitmap pixel (x, y) is the point (x + 1, y + 1).
//
// How: every set pixel (a white 1-bit pixel or a non-black 32-bit one) becomes a line cell of
// a label raster one cell larger than the bitmap on every side (0 background, 1 line not yet
// traced, 2 anchor). End points (one neighbour) and junctions (three or more branches) become
// anchors. Polylines are walked from anchor to anchor, scanning for anchors in row order,
// then the remaining line cells (closed loops without anchors) are walked from their first
// cell in row order. Each polyline of more than 2 points is fitted with FitCurve at tolerance
// 5.0 (kImageTraceTolerance), and kept when the fit has at least 2 nodes.
//
// Deliberate behaviour hosts rely on:
// - results are in cell coordinates (one more than the pixel's), not pixel coordinates;
// - polylines of 1 or 2 points are dropped: an isolated pixel, or a two-pixel fleck, gives
//   no path;
// - an anchor stays in place while it has untraced branches, so the paths of a junction all
//   start or end on the same junction cell; a walk ends at the first anchor it reaches;
// - a loop without anchors ends one cell before its start (its first cell is cleared when
//   taken), so it comes out as an open path with a one-cell gap.
//
// Anchors (the choices of this library where the rules leave them open):
// - CountPointPaths2, used when a cell has more than 2 neighbours, counts branches. The cell's
//   crowded group (the cells of 3 or more neighbours 8-connected to it) is taken as one
//   node, and the groups of touching line cells just outside it are its branches: every cell
//   of a T, Y or X centre counts 3 or 4. A group reaching more than 2 cells from the cell (a
//   staircase, a thick patch) is no junction: the cell's own ring decides, by the runs of set
//   neighbours round it (0 for a full ring). Each count looks at a 7 x 7 window at most.
// - ReduceAnchorPoints_TL3 shrinks every 8-connected cluster of touching anchors that holds
//   two or more junction cells: junction cells whose neighbours stay connected without them
//   (the corner cell where a stem meets a bar) are cleared; of the rest, the one with the
//   most neighbours (ties: nearest the cluster's middle, then first in row order) stays an
//   anchor, and the cells where a branch enters the cluster become line cells, nearest
//   first, never two that touch. End points always stay anchors. The strokes of a junction
//   therefore end on one anchor, or on anchors that touch it.
// Bounds: the walk takes each line cell at most once and each polyline retires at least one
// cell or anchor, so a trace costs O(cells) steps. A bitmap whose raster would exceed
// kMaxMatrixBytes throws std::bad_alloc; an unreadable handle gives no paths.
#pragma once

#include "plexa/geom/polypoly.h"
#include "plexa/platform/export.h"
#include "plexa/platform/gdi.h"
#include "plexa/raster/bitmatrix.h"

// FitCurve's error tolerance for walked polylines, in cells.
inline constexpr double kImageTraceTolerance = 5.0;

class PLEXA_API CImageTrace {
 public:
  CImageTrace() = default;
  virtual ~CImageTrace() = default;

  // Empties out and traces the bitmap; nothing happens when bmp is null or unreadable.
  void AutoTrace(HBITMAP bmp, CPolyPolyBezier& out);

  // When set, MarkAnchorPoints first drops the corner cell of every L-shaped step, so lines
  // become 8-connected and one cell thin. Default false.
  bool m_reduceDoublePoints = false;

 protected:
  void MarkAnchorPoints();
  // 0 when the cell is 0, else the number of non-zero cells among its eight neighbours.
  int CountPointPaths(int x, int y);
  // The branch count described above (0 for a background cell).
  int CountPointPaths2(int x, int y);
  void ReduceDoublePoints();
  void ReduceAnchorPoints_TL3();
  // The next polyline into pts (appended): from anchors while fromAnchors, then from the
  // remaining line cells; false when nothing is left. row is where the scan resumes.
  bool GetNextPolyline(CArray<tagPOINT, tagPOINT>& pts, int& row, bool& fromAnchors);
  bool GetNextPolylineFromAnchor(CArray<tagPOINT, tagPOINT>& pts, int& row);
  bool GetNextPolylineFromImage(CArray<tagPOINT, tagPOINT>& pts, int& row);
  void TracePolyline(CArray<tagPOINT, tagPOINT>& pts);
  bool GetNextImagePoint(int& x, int& y, bool first);
  void AddPoint(CArray<tagPOINT, tagPOINT>& pts, int x, int y);
  void CheckAnchor(int x, int y);

  CByteMatrix m_mat;  // the label raster

 private:
  bool NextPolylineFrom(int kind, CArray<tagPOINT, tagPOINT>& pts, int& row);
};
