// CShapeTrace: turns a bitmap into closed outline paths. The image is reduced to two levels
// in a 1-bit working copy, the boundary of every white region hit by the 10-pixel sampling
// grid is followed pixel by pixel as an 8-connected chain, and each boundary is fitted with
// FitCurve at tolerance 5.0 pixels.
//
//   CShapeTrace trace(bitmap);            // the caller keeps ownership of bitmap
//   CPolyPolyBezier outlines;
//   if (trace.DoTrace(outlines, 20)) ...  // closed paths in pixel coordinates, y down
//
// Deliberate behaviour hosts rely on:
// - only white regions with a white pixel exactly on the grid (x, y multiples of 10) are found;
//   smaller regions are not traced at all;
// - a boundary of no more than minPoints pixels is dropped and left unmarked, so other grid
//   points may try it again;
// - the marks of traced outlines accumulate across DoTrace calls: a second call on the same
//   object finds nothing new where marks remain. Make a new object for a new trace;
// - the polygon handed to FitCurve ends with its first point twice;
// - fitted paths of fewer than 3 nodes are discarded.
// Colours are reduced by the platform's block copy onto a {black, white} bitmap: each pixel
// goes to the nearer palette entry. Inputs whose rows are stored top-down (negative height)
// are copied into a bottom-up working copy of the same size. An input that is not a
// device-independent section (or is missing) leaves the object unusable: DoTrace returns false.
// Boundary following stops after 8 * width * height + 16 steps at most (a safety bound that a
// real boundary never reaches), dropping that boundary.
#pragma once

#include <vector>

#include "plexa/geom/polypoly.h"
#include "plexa/platform/export.h"
#include "plexa/platform/gdi.h"

class PLEXA_API CShapeTrace {
 public:
  explicit CShapeTrace(HBITMAP bmp);
  CShapeTrace(const CShapeTrace&) = delete;
  CShapeTrace& operator=(const CShapeTrace&) = delete;
  virtual ~CShapeTrace();

  // Empties out and traces every white region the grid hits; false only when either working
  // bitmap is missing (out is then left unchanged).
  bool DoTrace(CPolyPolyBezier& out, int minPoints);
  // An all-black 1-bit bitmap of the size (the rectangle also painted with the black brush).
  static HBITMAP CreateEmptyBmpBW(CSize size);

 protected:
  void AddEdges(int x, int y, CPolyPolyBezier& out, int minPoints);
  int GetOutline(int x, int y, CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts, int minPoints);
  // The four accessors clamp x and y into the image; they never fail.
  bool GetPixel(int x, int y);
  void SetPixel(int x, int y, bool white);
  bool GetTracePixel(int x, int y);
  void SetTracePixel(int x, int y, bool set);
  // 1 when (x, y) is inside the image and its pixel equals value; outside holds no value.
  int in_cont(int x, int y, bool value);
  int Probe(int x, int y, int dir, int* nx, int* ny, bool value);
  int Neighbor(int x, int y, int dir, int* nx, int* ny, bool value);
  // Clears the 4-connected white region holding (x, y) from the working copy.
  void SeedFill(int x, int y);
  void PUSH(int y, int xl, int xr, int dy);
  void POP(int& y, int& xl, int& xr, int& dy);

  struct Span {
    int y, xl, xr, dy;
  };

  HBITMAP m_source = nullptr;
  HBITMAP m_marks = nullptr;
  BYTE* m_sourceBits = nullptr;
  BYTE* m_marksBits = nullptr;
  int m_width = 0;
  int m_height = 0;
  std::vector<Span> m_stack;

 private:
  BYTE* Byte(BYTE* bits, int x, int y) const;
  int m_stride = 0;
};
