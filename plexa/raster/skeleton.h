// CSkeleton: reduces the strokes of a picture to one-pixel centre lines and traces them into
// open poly-Bezier paths (through CImageTrace), for plotters, engravers and single-line
// cutters.
//
//   CSkeleton skel;
//   skel.Input(photo, 300.0, 300.0);  // 32-bit scan at 300 dpi; dark strokes on paper
//   CPolyPolyBezier lines;
//   skel.Output(lines);               // tenths of a millimetre, y down
//
// Inputs, each replacing the previous result:
// - Input(bmp, dpiX, dpiY): a 32-bit picture reduced at grey 231 (g = trunc(0.59 G + 0.3 R +
//   0.11 B) below 231 is dark); the smaller of the dark and light classes is the object, so
//   dark strokes on light paper and light strokes on a dark ground both work. Other depths
//   read as black (use InputMono for 1-bit pictures). Result in tenths of a millimetre
//   (254 / dpi per pixel; a resolution below 1.0 or NaN means 96 dpi, a missing dpiY means
//   dpiX).
// - Input(bmp, keyColour, dpiX, dpiY): the pixels of exactly that colour (0x00BBGGRR) are the
//   object; units as above.
// - InputMono(bmp, dpiX, dpiY): a 1-bit picture whose white pixels are the object (32-bit:
//   non-black); the result stays in pixels.
// - Input(paths, types, colour, size): vector paths are drawn into a working bitmap whose
//   longer side is about `size` pixels (closed paths filled even-odd, open paths stroked),
//   thinned, traced and mapped back into the paths' own coordinates.
//
// The working raster goes through: pre_smooth (isolated specks and one-pixel spurs go), aae
// (acute-angle emphasis: 5x5 templates for narrow notches, for k = 5, 3, 1), thnz (Zhang and
// Suen's two-sub-iteration parallel thinning, then Holt's staircase removal), and the
// centre-line trace. The thinning visits only pixels that can still change; its output is
// identical to the plain parallel algorithm that rescans the whole image every pass.
//
// Deliberate behaviour hosts rely on:
// - traced points are cell coordinates (pixel + 1) before scaling back, so a bitmap result is
//   shifted by one pixel's worth of units; InputMono results are pixel + 1;
// - ReduceThickWhiteAreas works on a temporary copy and has no effect on the result;
// - a vector scale of exactly 0 is not guarded (ScaleBack then divides by zero).
// Vector input (this library's choice): `size` is clamped to kSkeletonMinSize ..
// kSkeletonMaxSize; the drawing keeps the paths' aspect ratio with a margin of a few pixels;
// open paths are stroked kSkeletonPenShare of the size wide (at least 3 pixels). Only finite
// nodes count; no finite node, or a bitmap the platform refuses, gives no working bitmap and
// no paths.
// Bounds: every stage is linear in the pixels except thinning, which is linear in the object
// pixels times a small constant per pass that still changes something; a bitmap whose working
// raster the platform refuses (see gdi.h) gives no paths.
#pragma once

#include <vector>

#include "plexa/core/types.h"
#include "plexa/geom/polypoly.h"
#include "plexa/platform/export.h"
#include "plexa/platform/gdi.h"

// Longer side of the working bitmap of vector input, in pixels: smallest and largest.
inline constexpr int kSkeletonMinSize = 16;
inline constexpr int kSkeletonMaxSize = 8192;
// Pen width for open vector paths, as a share of the working size.
inline constexpr double kSkeletonPenShare = 1.0 / 128.0;

class PLEXA_API CSkeleton {
 public:
  CSkeleton() = default;
  CSkeleton(const CSkeleton&) = delete;
  CSkeleton& operator=(const CSkeleton&) = delete;
  virtual ~CSkeleton();

  void Input(HBITMAP bmp, double dpiX, double dpiY);
  void Input(HBITMAP bmp, unsigned long keyColour, double dpiX, double dpiY);
  void InputMono(HBITMAP bmp, double dpiX, double dpiY);
  void Input(const CPolyPolyBezier& paths, const CDWordArray& types, unsigned long colour,
             int size);
  // Copies the result paths into out (replacing its content).
  void Output(CPolyPolyBezier& out) const;

  // The thinning raster: rows x cols bytes, reached through row pointers (data[r][c]).
  struct image {
    int rows = 0;
    int cols = 0;
    std::vector<unsigned char*> data;
    std::vector<unsigned char> pixels;
  };

 protected:
  static unsigned int WIDTHBYTES(unsigned int bits) { return ((bits + 31) >> 3) & ~3u; }
  static HBITMAP CreateBitmapBW(int w, int h);
  static HBITMAP CreateBitmap32(int w, int h);
  bool GetPixel(int x, int y);
  void SetPixel(int x, int y, bool on);
  void AutoTrace();

  // Builds the working bitmap from a 32-bit picture (grey: threshold; else the key colour).
  void MakeBitmap(HBITMAP bmp, bool grey);
  void MakeBitmap(const CPolyPolyBezier& paths, int size);
  void MakeBitmapMono(HBITMAP bmp);
  void ReduceThickWhiteAreas(HBITMAP bmp);

  void DoSkeleton();
  // All zeros; false (and an empty image) when rows or cols is not positive or too large.
  static bool newimage(image& img, int rows, int cols);
  static void freeimage(image& img);
  static void pre_smooth(image& img);
  static void aae(image& img);
  static bool match_du(image& img, int r, int c, int k);
  void thnz(image& img);
  static void stair(image& img, image& marks, int dir);
  static void Delete(image& img, image& marks);
  static int Yokoi(const image& img, int r, int c);
  static int Connectivity(const image& img, int r, int c);
  static int nays8(const image& img, int r, int c);
  static int snays(const image& img, int r, int c);
  // For an object pixel (non-zero, as in the thinning) of an inner position: true when its
  // eight neighbours hold object and background and the background forms one run round the
  // ring, that is when Connectivity is 1. edge clears the four flags and calls check on the
  // triples of the ring (top row left to right, right column down, bottom row right to left,
  // left column up); check counts, for its two steps b after a and c after b, the steps from
  // object to background: the first sets flag 0, a later one shifts flag 0 into flag 3; flag 1
  // and flag 2 record background and object cells seen. edge is true when flags 0 and 2 are
  // set and 3 is not. The thinning uses it to seed its border queue.
  bool edge(const image& img, int r, int c);
  void check(int a, int b, int c);

  void ScaleBack(PLEXA::CDPOINT& p) const;
  void ScaleBack(PLEXA::CBPOINT& p) const;
  void ScaleBack(CBPointArray& path) const;
  void ScaleBackBmp(PLEXA::CDPOINT& p) const;
  void ScaleBackBmp(PLEXA::CBPOINT& p) const;
  void ScaleBackBmp(CBPointArray& path) const;
  void DumpBmp();

  CPolyPolyBezier m_paths;
  HBITMAP m_bitmap = nullptr;
  unsigned long m_keyColour = 0;
  CDWordArray m_types;
  tagBITMAP m_bm{};
  double m_dpiX = 96.0;
  double m_dpiY = 96.0;
  double m_scale = 1.0;
  double m_offsetX = 0.0;
  double m_offsetY = 0.0;
  int m_flags[4] = {0, 0, 0, 0};

 private:
  void DeleteBitmap();
  void Defaults(double dpiX, double dpiY);
  // Thins and traces the working bitmap; false (nothing traced) when there is none.
  bool ThinAndTrace();
};
