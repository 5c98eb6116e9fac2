// The bottom of the edge detector (private): helpers that every CEdgeDetect file uses and the
// row-streaming Canny gradient kernel. Nothing here knows CEdgeDetect; the files above it call
// down only: edgedetect.cpp (entries) -> edgedetect_canny.cpp, edgedetect_shen.cpp (stages)
// -> edgedetect_rasters.cpp (work images) -> this header and edgestages.cpp.
#pragma once

#include <cmath>
#include <cstdint>

namespace edge_internal {

// Writes text to the standard error stream and ends the process with status 1.
[[noreturn]] void OutOfStorage(const char* text);

// i modulo n in 0..n-1 (n > 0), also for negative i and for i beyond n.
inline int Wrap(int i, int n) {
  const int r = i % n;
  return r < 0 ? r + n : r;
}

// A value stored into a byte the way a conversion through a 32-bit integer does: truncated
// towards zero, then the low 8 bits. NaN and values beyond the integer range give 0.
inline unsigned char WrapToByte(double v) {
  if (!(std::fabs(v) < 2147483648.0)) return 0;
  return static_cast<unsigned char>(static_cast<std::uint32_t>(static_cast<std::int32_t>(v)));
}

// trunc(0.3 R + 0.59 G + 0.11 B) in double precision (each product rounded, then added in that
// order) of the pixel at bgra (blue, green, red, spare byte).
unsigned char GreyOf(const unsigned char* bgra);
// GreyOf of the n pixels at bgra into out[0 .. n - 1]; next (if not null): the pixels of the
// row converted next, fetched ahead into the cache.
void GreyRow(const unsigned char* bgra, int n, unsigned char* out,
             const unsigned char* next = nullptr);

// The Canny taps: gau[0..width-1] smoothing, dgau[1..width-1] derivative (width 0..20).
struct CannyTaps {
  const float* gau;
  const float* dgau;
  int width;
};

// Rows of scratch that CannyMagnitudes needs, each of CannyScratchColumns(nc, width) floats
// (-1 when that is beyond an int: a size that f2d refuses).
int CannyScratchRows(int width);
int CannyScratchColumns(int nc, int width);

// The suppressed gradient magnitudes of a grey raster (nr x nc bytes, row r at
// grey + r * nc, nr and nc above 0) into mag (same layout), exactly as the whole-raster
// stages give them: smoothing along x then the x derivative, smoothing along y then the y
// derivative (wrap-around at every side, single precision, terms summed in the same order),
// magnitude sqrt(dx^2 + dy^2); inside, non-maximum suppression (strict on both sides, bytes of
// 20 x magnitude capped at 255); on the outermost rows and columns the magnitude's byte
// (20 x magnitude truncated, low 8 bits). The rows are streamed, so only the scratch rows
// (see above) are live: work and memory are linear in the pixels, and the rows stay in cache.
void CannyMagnitudes(const unsigned char* grey, int nr, int nc, const CannyTaps& taps,
                     float* const* scratch, unsigned char* mag);

}  // namespace edge_internal
