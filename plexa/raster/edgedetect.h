// CEdgeDetect: the edges of a photograph as open poly-Bezier paths, for engraving or cutting
// the outline drawing of a picture.
//
//   CEdgeDetect edges;
//   edges.SetDetails(0.7);              // 0 coarse .. 1 fine; default 0.5
//   edges.Input(photo, 300.0, 300.0);   // 32-bit picture at 300 dpi (below 1.0: 96 dpi)
//   CPolyPolyBezier paths;
//   edges.Output(paths);                // tenths of a millimetre, y down
//
// The object is itself the set of resulting paths (it derives from CPolyPolyBezier); every
// Input_Canny / Input_Shen replaces them. The input bitmap is not owned and must stay alive
// during a call.
//
// How (Canny, Input): the picture becomes grey, g = trunc(0.3 R + 0.59 G + 0.11 B); the
// details setting gives the Gaussian's sigma = 1.5 - details (single precision: details 0 is
// sigma 1.5, coarse; 1 is sigma 0.5, fine). The kernel keeps the taps i = 0, 1, ... (at most
// kEdgeMaxTaps) whose pixel-averaged Gaussian (meanGauss) is at least 0.005; w taps give a
// border of w / 2 pixels. The grey image is smoothed along x (for the x derivative) and along
// y (for the y derivative), each derivative taken with derivative-of-Gaussian taps, all with
// wrap-around at the image's sides. Non-maximum suppression keeps the pixels whose gradient
// magnitude beats both neighbours along the gradient (interpolated between the two nearest
// of the eight), scaled by 20 and capped at 255; the test is strict on both sides, as published, so
// of two exactly equal neighbours along the gradient (the two pixels either side of a perfectly
// clean, pixel-aligned step) neither stays: synthetic art of such steps loses those edges,
// photographs practically never tie. Hysteresis then estimates its thresholds from the histogram of
// the suppressed magnitudes inside the border: high is the level at which the count from 255
// downwards first reaches trunc(0.9 x max(rows, columns)) (a length, not a share of the pixels:
// intended), low = trunc((high + m) / 2 + 0.5) with m the lowest level present. Every pixel at or
// above high starts a walk that takes, at each step, the first untaken 8-neighbour at or above low.
// The border frame is painted as no edge on the top rows, the bottom rows and the left columns only
// (the right columns keep their wrap-around response: intended). The edge pixels become the white
// pixels of a 32-bit bitmap that CImageTrace::AutoTrace follows (cell coordinates, pixel + 1);
// ScaleBack then converts every point by 254 / dpi and drops paths shorter than kEdgeMinPathLength
// (tenths of a millimetre, CBPointArray::CalcLength); a path of exactly that length stays.
//
// How (ISEF, Input_Shen, called by the host after Input or instead of it on a bitmap given to
// a previous Input): the grey picture is embedded with wrap-around in a frame of
// kEdgeIsefFrame pixels; the infinite symmetric exponential filter (factor b = 0.9, causal
// plus anti-causal recursion, down the columns then along the rows) smooths it; the
// band-limited Laplacian is the sign of smoothed - original; zero crossings whose sign agrees
// with the first derivative are candidates, each weighted by the adaptive gradient (mean of
// the smoothed values on the Laplacian's negative side minus the mean on its positive side,
// over a window of 7 x 7); hysteresis keeps the candidates above the low threshold (20) in
// every 8-connected chain of candidates that holds one above the high threshold (22). With
// do-hysteresis off only candidates above the high threshold stay. The result is cropped back,
// traced like the Canny result, and left in pixel (cell) coordinates: no ScaleBack.
//
// Choices of this library where the published stages leave it open:
// - when the whole histogram holds fewer pixels than the target, high is 0. The estimate
//   follows the rule above without exception, so a picture with no gradient at all (uniform)
//   gets high = low = 0 and every pixel starts an edge: hosts should not hand over blank
//   pictures;
// - a 1-bit input reads white pixels as 255 and black as 0; other depths, a null or unknown
//   handle give no paths; a dpi that is below 1.0, NaN or infinite means 96 (dpiY: dpiX);
// - wrap-around indexes are taken modulo the side, also for pictures narrower than the kernel.
//
// Failure (intended for hosts): when a work image cannot be allocated, the class writes
// "Out of storage: F2D.\n", "Out of storage: F2D %d.\n" (with the row index),
// "Out of storage: Magnitude\n" or "Out of storage: Orientation\n" to the standard error
// stream and ends the process with status 1. This happens only when the system refuses memory
// for a picture that exists: any work image of a bitmap the platform could create is at most
// a few gigabytes. A size no bitmap can have (negative, or one work raster above
// kEdgeMaxRasterBytes), which only a derived class calling the protected stages can ask for,
// is refused before anything is allocated, with the same message and the same stop.
// Bounds: every stage is linear in the pixels (the kernel has at most kEdgeMaxTaps taps, the
// walks and the chain fill take each pixel once, with explicit stacks: no recursion); the
// trace is CImageTrace's, linear in the pixels too. Besides the grey, magnitude and orientation
// rasters (a byte a pixel each), the Canny stage keeps only 4 x taps + 9 float rows. Results
// assume IEEE single-precision arithmetic without fused multiply-add contraction (the default of
// the project's build).
#pragma once

#include <cstdint>
#include <vector>

#include "plexa/core/types.h"
#include "plexa/geom/polypoly.h"
#include "plexa/platform/export.h"
#include "plexa/platform/gdi.h"

// Most Gaussian taps the Canny kernel keeps.
inline constexpr int kEdgeMaxTaps = 20;
// Paths shorter than this, in tenths of a millimetre after conversion, are dropped.
inline constexpr double kEdgeMinPathLength = 10.0;
// Frame, in pixels, in which the ISEF stage embeds the picture.
inline constexpr int kEdgeIsefFrame = 25;
// Largest work raster, in bytes, that the stages allocate; larger requests stop as above.
inline constexpr std::int64_t kEdgeMaxRasterBytes = std::int64_t{1} << 34;

class PLEXA_API CEdgeDetect : public CPolyPolyBezier {
 public:
  CEdgeDetect() = default;
  ~CEdgeDetect() override = default;

  // details = d clamped to 0..1 (NaN: 0.5, the default).
  void SetDetails(double d);
  double GetDetails() const { return m_details; }

  // Remembers the bitmap and its resolution, runs Input_Canny and converts the paths to
  // tenths of a millimetre (ScaleBack).
  void Input(HBITMAP bmp, double dpiX, double dpiY);
  // Canny edges of the remembered bitmap into this object's paths, in cell coordinates.
  void Input_Canny();
  // ISEF edges of the remembered bitmap into this object's paths, in cell coordinates.
  void Input_Shen();
  // Copies the paths into out (replacing its content).
  void Output(CPolyPolyBezier& out) const;

 protected:
  // A grey raster: rows x columns bytes, row r at data[r].
  struct image {
    int nr = 0, nc = 0;
    std::vector<unsigned char> pixels;
    unsigned char* operator[](int r) { return pixels.data() + static_cast<std::size_t>(r) * nc; }
    const unsigned char* operator[](int r) const {
      return pixels.data() + static_cast<std::size_t>(r) * nc;
    }
  };
  // A float raster made by f2d: rows x columns, all 0, each row its own block.
  struct fimage {
    int nr = 0, nc = 0;
    std::vector<std::vector<float>> rows;
    float* operator[](int r) { return rows[static_cast<std::size_t>(r)].data(); }
    const float* operator[](int r) const { return rows[static_cast<std::size_t>(r)].data(); }
  };

  // A zeroed grey raster; false (nothing allocated) when the memory is refused or the size is
  // impossible. The callers print their own messages.
  static bool newimage(int nr, int nc, image& im);
  static void freeimage(image& im);
  // A zeroed float raster, or the "Out of storage: F2D" stop.
  static fimage f2d(int nr, int nc);
  static void free_f2d(fimage& f);

  unsigned char GetGrayPixel(int x, int y) const;
  static HBITMAP CreateBitmap32(int w, int h);
  static void SetPixel(tagBITMAP& bm, int x, int y, unsigned long colour);

  // Canny stages.
  void canny(float s, const image& im, image& mag, image& ori);
  static float gauss(float x, float sigma);
  static float meanGauss(float x, float sigma);
  static float dGauss(float x, float sigma);
  // smx: smoothed along x; smy: smoothed along y (taps gau[0..width-1], wrap-around).
  static void seperable_convolution(const image& im, const float* gau, int width, fimage& smx,
                                    fimage& smy);
  // which 1: derivative along x (columns), 0: along y (rows).
  static void dxy_seperable_convolution(const fimage& im, const float* gau, int width, fimage& sm,
                                        int which);
  static void nonmax_suppress(const fimage& dx, const fimage& dy, const fimage& norm, image& mag,
                              image& ori);
  void hysteresis(int high, int low, image& im, const image& mag, const image& ori);
  // Walks from (i, j) as described above, marking pixels 255 in im; false when (i, j) was
  // already marked.
  static bool trace(int i, int j, int low, image& im, const image& mag, const image& ori);
  void estimate_thresh(const image& mag, int& hi, int& low) const;
  static bool range(const image& im, int i, int j);

  // ISEF stages.
  void shen(const image& im, image& res);
  void compute_ISEF(const fimage& x, fimage& y) const;
  void apply_ISEF_vertical(const fimage& x, fimage& y, fimage& A, fimage& B) const;
  void apply_ISEF_horizontal(const fimage& x, fimage& y, fimage& A, fimage& B) const;
  static void compute_bli(const fimage& smoothed, const fimage& buffer, image& bli);
  void locate_zero_crossings(fimage& orig, const fimage& smoothed, const image& bli) const;
  void threshold_edges(const fimage& in, image& out) const;
  float compute_adaptive_gradient(const image& bli, const fimage& smoothed, int row, int col) const;
  static bool is_candidate_edge(const image& bli, const fimage& smoothed, int row, int col);
  // Marks the 8-connected chain of non-zero pixels of lap through (i, j): 1 above low, 255
  // otherwise; returns the number of pixels newly visited.
  static std::int64_t mark_connected(int i, int j, double low, const fimage& lap, image& edges);
  static void embed(image& im, int width);
  static void debed(image& im, int width);

  // The edge raster of the remembered bitmap as the tracer receives it (0 edge, 255 none),
  // without tracing; false (out untouched or empty) when there is no usable bitmap.
  bool CannyEdges(image& out);
  bool ShenEdges(image& out);

  // Unit conversion and the dropping of short paths.
  void ScaleBack();
  void ScaleBack(PLEXA::CDPOINT& p) const;
  void ScaleBack(PLEXA::CBPOINT& p) const;
  void ScaleBack(CBPointArray& path) const;
  void DumpImage(const image* im) const;

  double m_details = 0.5;
  HBITMAP m_bitmap = nullptr;
  double m_dpiX = 96.0, m_dpiY = 96.0;
  tagBITMAP m_bm{};
  double m_b = 0.9;           // ISEF smoothing factor, 0 < b < 1
  double m_lowThresh = 20.0;  // ISEF hysteresis thresholds
  double m_highThresh = 22.0;
  double m_ratio = 0.99;  // set to 0.1 by the Canny entry, 0.99 by the ISEF entry
  int m_windowSize = 7;   // ISEF adaptive-gradient window
  int m_doHysteresis = 1;
  int m_border = 0;  // Canny border width of the last run

 private:
  // The grey picture of the remembered bitmap; false when there is none.
  bool GreyImage(image& grey) const;
  // Traces the result raster (0 = edge) into the paths.
  void TraceResult(const image& result);
};
