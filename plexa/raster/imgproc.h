// The bitmap layout that every tracer shares, and the pixel functions over it. A bitmap arrives
// as a handle; its tagBITMAP (GetObjectW) gives the size and the row pointer:
//
//   HBITMAP bmp = CImgProc::CreateBitmapBW(640, 480);  // all black
//   tagBITMAP bm;
//   GetObjectW(bmp, sizeof(bm), &bm);
//   CImgProc::SetPixel(bm, 10, 20, true);               // white
//   bool white = CImgProc::GetPixel(bm, 10, 20);        // true
//   DeleteObject(bmp);
//
// Layout (required exactly): rows bottom-up, image line y (0 = top) is memory row
// bmHeight - 1 - y. 1 bit a pixel: stride WIDTHBYTES(bmWidth), pixel x in byte x / 8 under the
// mask 0x80 >> (x & 7) (most significant bit leftmost), palette {black, white}, 1 = white =
// set. 32 bits a pixel: stride bmWidth * 4, bytes blue, green, red, unused; colour values are
// 0x00BBGGRR (red lowest). The stride is always recomputed from the width: bmWidthBytes is not
// trusted.
// Robustness choices: the pixel functions also do nothing (or give false / 0) when bmBits is
// null or the depth is not the one they address (a 1-bit function on a 32-bit bitmap and the
// other way round), so a wrong record cannot make them read or write outside the buffer.
//
// A CImgProc object also holds a label raster and a family of line walkers over it, which turn
// a bitmap of thin lines into integer polylines (CImageTrace does the same into curves):
//
//   CImgProc lines(bitmap);                       // labels the set pixels, marks anchors
//   CPolyPolyPoint polylines;
//   lines.TraceAnchorPointsAndLines(polylines, 2);  // every branch, then every loop
//
// The label raster is one cell larger than the bitmap on every side (bitmap pixel (x, y) is
// cell (x + 1, y + 1); the frame stays 0), with the labels 0 background, 1 line cell not yet
// traced, 2 anchor, and anchors chosen as CImageTrace chooses them (end points, junctions of
// three or more branches, one junction anchor per cluster of touching ones). The walkers
// return cell coordinates. Every walker takes each line cell at most once, so a full trace
// costs O(cells); walks that find nothing leave the raster unchanged.
#pragma once

#include "plexa/geom/polypoly.h"
#include "plexa/platform/export.h"
#include "plexa/platform/gdi.h"
#include "plexa/raster/bitmatrix.h"

class PLEXA_API CImgProc {
 public:
  CImgProc() = default;  // empty label raster
  // Labels the bitmap's set pixels (InitMat); an unreadable handle leaves the raster empty.
  explicit CImgProc(HBITMAP bmp) { InitMat(bmp); }
  virtual ~CImgProc() = default;

  CByteMatrix& mat() { return m_mat; }
  // Sizes the raster to (width + 2) x (height + 2), sets the cells of set pixels (GetPixel) to
  // 1 and marks anchors. Null or unreadable handles give an empty (0 x 0) raster.
  void InitMat(HBITMAP bmp);

  // 0 when the cell is 0, else the number of non-zero cells among its eight neighbours.
  int CountPointPaths(int x, int y) const;
  // Branches leaving the cell: neighbours that touch each other count once (0 for a
  // background cell). A line cell gives 2, an end 1, a T, Y or X centre 3 or 4.
  int CountPointPaths2(int x, int y) const;
  // Neighbours still labelled 1 (untraced), or labelled `label`.
  int CountPointPaths3(int x, int y) const { return CountPointPaths3(x, y, 1); }
  int CountPointPaths3(int x, int y, unsigned char label) const;
  // On a bitmap: 0 for a background pixel, else the number of set 8-neighbours (GetPixel).
  static int CountPointPaths(const tagBITMAP& bm, int x, int y);

  // From (x, y) onwards in row order (the rest of row y, then the rows below), the next cell
  // labelled 1; true and its position, or false with x, y unchanged.
  bool FindLinePoint(int& x, int& y) const;
  // The same for anchors (label 2).
  bool GetNextAnchorPoint(int& x, int& y) const;
  // Walks one untraced branch from the anchor (x, y) to the next anchor or dead end into pts
  // (emptied first), clearing the line cells it takes; anchors left with no untraced branch
  // are retired (set to 0). False, with pts empty, when (x, y) is no anchor or has no branch
  // left (it is then retired).
  bool GetPolylineFromAnchor(int x, int y, CArray<tagPOINT, tagPOINT>& pts);
  // Walks from the line cell (x, y) (label 1) along untraced cells into pts (emptied first);
  // a loop that comes back next to its start is closed by repeating the start. False when the
  // cell is not labelled 1.
  bool TraceLinePoint(int x, int y, CArray<tagPOINT, tagPOINT>& pts);
  // Every branch of every anchor (anchors in row order), then TraceLoosePoints. Polylines of
  // fewer than minPoints points are dropped. Appends to out; returns the polylines added.
  // An anchor inside a junction cluster that no branch passes through is retired unwalked,
  // so the branches of a thick junction may end a cell or two apart.
  int TraceAnchorPointsAndLines(CPolyPolyPoint& out, int minPoints);
  // Every remaining line cell, in row order of their first cell (closed loops and what the
  // anchor walks left). Appends polylines of at least minPoints points; returns how many.
  int TraceLoosePoints(CPolyPolyPoint& out, int minPoints);
  // Clears the raster (its size stays) and draws the polylines into it as line cells, joining
  // consecutive points by 8-connected steps; cells outside the raster are skipped (of a
  // segment longer than four times the raster's width plus height only the ends are drawn).
  // Then marks anchors, so the walkers can trace the drawing again. Points are cell
  // coordinates.
  void MakeLinesMat(CPolyPolyPoint& lines);

  // Bytes of a row of `bits` bits rounded up to four: ((bits + 31) >> 3) & ~3. Callers pass
  // width * bits per pixel.
  static unsigned int WIDTHBYTES(unsigned int bits) { return ((bits + 31) >> 3) & ~3u; }
  // A bottom-up, uncompressed 1-bit section of w x h with the palette {black, white}, all black;
  // nullptr when w or h is not positive or the platform refuses (too large).
  static HBITMAP CreateBitmapBW(int w, int h);
  // A bottom-up, uncompressed 32-bit section of w x h, all bytes 0; nullptr as above.
  static HBITMAP CreateBitmap32(int w, int h);
  // 1 bit: whether the bit is 1; 32 bits: red + green + blue != 0; false outside the image and
  // for every other depth.
  static bool GetPixel(const tagBITMAP& bm, int x, int y);
  // 1-bit bitmaps only; nothing outside the image.
  static void SetPixel(const tagBITMAP& bm, int x, int y, bool on);
  // 32-bit bitmaps only: the pixel as 0x00BBGGRR; 0 outside the image.
  static unsigned long GetPixel32(const tagBITMAP& bm, int x, int y);
  // 32-bit bitmaps only: blue = bits 16..23 of c, green = 8..15, red = 0..7; the unused byte is
  // never written; nothing outside the image.
  static void SetPixel32(const tagBITMAP& bm, int x, int y, unsigned long c);
  // Debug: copies the bitmap to the top-left corner of the screen surface (source copy).
  static void DumpBmp(HBITMAP bmp);

 protected:
  CByteMatrix m_mat;  // the label raster
};
