// CPxAutoTrace: traces the one colour region that a host clicks on. The host hands over its own
// 32-bit colour bitmap and a seed pixel; the tracer flood-fills the 4-connected region whose
// colour is close to the seed's, optionally grows and smooths it, and returns the region's
// boundaries as closed pixel polylines, or its centre lines (through CSkeleton), or the
// boundaries broken into cutter pieces (through CAutoBreakUp).
//
//   CPxAutoTrace trace(bitmap, 1.0);   // the host keeps ownership of bitmap
//   trace.DoTracePCTolerance(120, 45, nullptr, 10, false, false);  // 10 %: tolerance 195
//   CPolyPolyDPoint& rings = trace.GetOutlines();  // closed: first point repeated at the end
//
// All working state lives in the host's pixels: the fourth byte of every 32-bit pixel (unused
// by the colour) carries five attribute bits, Fill (1), Trace (2), Cut (4), Digi (8) and
// Filter (16); the other three bits are never touched. Between traces the bytes hold only Digi
// marks: a trace with keepDigi true leaves Digi on every pixel it filled, one with keepDigi
// false leaves every attribute byte as it found it (earlier Digi marks stay; Digi is never
// cleared by this class). The bitmap must not be used by another tracer during a call.
//
// Colour distance is the squared Euclidean distance in red, green and blue (0..195075). The
// fill accepts a pixel at distance <= tol from the reference (IsFillEqual); IsAlmostEqual is
// strictly less than. With tol 0 the fill matches the seed's colour exactly; with tol > 0 both
// the reference and every candidate are 3 x 3 means (edge pixels counted again). Percentages
// map onto tolerances by a cube on purpose (finer control at small percentages):
// tol = trunc((percent * 0.579963335)^3), so 100 % is 195075, 50 % 24384, 10 % 195.
//
// Deliberate behaviour hosts rely on:
// - every pixel accessor clamps x and y into the image instead of refusing outside pixels;
// - boundaries are looked for from the 10-pixel grid only (x, y multiples of 10), so a filled
//   region that no grid pixel hits gives no outline; a boundary of 5 points or fewer (closing
//   point included) is dropped;
// - cut lines (CutLines(), integer pixel polylines) are drawn with a 2-pixel pen and the fill
//   never enters them; a cut line of one point is drawn as a dot of the same pen;
// - the fill filter only adds pixels (one-pixel growth, then 5 x 5 majority smoothing).
// Degenerate input: a missing handle or one that is not a 32-bit section gives an empty image
// in which every trace fills nothing and returns colour 0 with empty outlines; so does a seed
// outside the image. Percentages whose cube does not fit an int are clamped to the int range.
// Bounds: the fill visits each pixel a bounded number of times, each boundary walk stops after
// 8 * width * height + 16 steps (a real boundary never reaches that), and the filter is linear
// in the pixels.
#pragma once

#include <vector>

#include "plexa/geom/polypoly.h"
#include "plexa/platform/export.h"
#include "plexa/platform/gdi.h"

class PLEXA_API CPxAutoTrace {
 public:
  // The five attribute bits of a pixel's fourth byte.
  static constexpr BYTE kFill = 1;
  static constexpr BYTE kTrace = 2;
  static constexpr BYTE kCut = 4;
  static constexpr BYTE kDigi = 8;
  static constexpr BYTE kFilter = 16;

  CPxAutoTrace(HBITMAP bmp, double scale);
  CPxAutoTrace(const CPxAutoTrace&) = delete;
  CPxAutoTrace& operator=(const CPxAutoTrace&) = delete;
  virtual ~CPxAutoTrace();

  // Traces the region holding (x, y) into GetOutlines() (emptied first) and returns the fill's
  // reference colour (rgbReserved: the seed's attribute byte for tol 0, else 0). Boundary mode
  // (centerline false) gives closed polylines; with incl given they are broken up by
  // CAutoBreakUp into open pieces with one inclination array each in *incl (outlines end empty
  // when the break-up refuses). Centre-line mode gives the skeleton's lines flattened at 1.0.
  tagRGBQUAD DoTrace(int x, int y, CPolyPolyInclination* incl, int tol, bool keepDigi,
                     bool centerline);
  // DoTrace with tol = trunc((percent * 0.579963335)^3).
  tagRGBQUAD DoTracePCTolerance(int x, int y, CPolyPolyInclination* incl, int percent,
                                bool keepDigi, bool centerline);
  // Exact-colour fill and boundary trace that appends to GetOutlines(); every filled pixel ends
  // with Digi set.
  void SeedFillAD(int x, int y);
  void SetFillFilter(bool on) { m_fillFilter = on; }
  // An all-black 1-bit bitmap of the size; nullptr when the platform refuses it.
  static HBITMAP CreateEmptyBmpBW(CSize size);

  // The outlines of the last trace, and the cut lines the host fills before a trace.
  CPolyPolyDPoint& GetOutlines() { return m_outlines; }
  CPolyPolyPoint& CutLines() { return m_cutLines; }

  // The tolerance that a percentage stands for.
  static int ToleranceFromPercent(int percent);

 protected:
  struct Span {
    int y, xl, xr, dy;
  };

  tagRGBQUAD SeedFill(int x, int y, int tol);
  int IsFillEqual(int x, int y, tagRGBQUAD ref, int tol);
  int IsEqual(tagRGBQUAD a, tagRGBQUAD b);
  int IsAlmostEqual(tagRGBQUAD a, tagRGBQUAD b, int tol);
  tagRGBQUAD GetMeanPixel(int x, int y);
  tagRGBQUAD GetMajorityPixel(int x, int y);
  void FilterFillArea();
  void TraceIt(int x, int y);
  int GetOutline(int x, int y, CArray<tagPOINT, tagPOINT>& pts);
  // Inside: (x, y) in the image and its Fill bit equal to that of c.
  int in_cont(int x, int y, tagRGBQUAD c);
  int Probe(int x, int y, int dir, int* nx, int* ny, tagRGBQUAD c);
  int Neighbor(int x, int y, int dir, int* nx, int* ny, tagRGBQUAD c);
  void MarkTracePixels(CArray<tagPOINT, tagPOINT>& pts);
  void MakeBUBmp(int mask);
  void DrawCutLines(HBITMAP bw);
  void CleanUpReserved(bool keepDigi);
  void ClearPixelAttr(int x, int y);
  void ResetPixelFilterAttr(int x, int y);
  void SetPixelFillAttr(int x, int y);
  void SetPixelTraceAttr(int x, int y);
  void SetPixelCutAttr(int x, int y);
  void SetPixelDigiAttr(int x, int y);
  void SetPixelFilterAttr(int x, int y);
  void SetFillPixel(int x, int y);
  tagRGBQUAD GetPixel(int x, int y);
  void GetPixel(int x, int y, int& r, int& g, int& b);
  void SetPixel(int x, int y, tagRGBQUAD c);
  void SetPixel(int x, int y, int r, int g, int b);
  void PUSH(int y, int xl, int xr, int dy);
  void POP(int& y, int& xl, int& xr, int& dy);
  void DumpBUBmp();
  void DumpImage();

  CPolyPolyPoint m_cutLines;
  CPolyPolyDPoint m_outlines;
  BYTE* m_bits = nullptr;
  int m_width = 0;
  int m_height = 0;
  std::vector<Span> m_stack;
  double m_scale = 1.0;
  bool m_fillFilter = false;
  HBITMAP m_buBmp = nullptr;

 private:
  // The four bytes of pixel (x, y), x and y clamped into the image; nullptr for an empty image.
  BYTE* At(int x, int y) const;
  BYTE Attr(int x, int y) const;
  void OrAttr(int x, int y, BYTE bits);
  HBITMAP m_bmp = nullptr;
  std::ptrdiff_t m_rowStep = 0;  // bytes from one image line to the next (y down)
};
