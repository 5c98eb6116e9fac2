// Reading image files into the library's 32-bit bitmap, reduced to two levels for tracing.
//
//   plexa::io::ImageOptions o;           // dark artwork on light paper, threshold 128
//   std::string error;
//   plexa::io::LoadedImage img = plexa::io::LoadTwoLevelImage("art.png", o, error);
//   if (img.bitmap == nullptr) { report(error); }
//   ... CShapeTrace trace(img.bitmap); ...; DeleteObject(img.bitmap);
//
// Formats: PNG, JPEG, BMP, GIF (first frame), PNM, TGA, PSD, HDR, PIC, through stb_image,
// and binary PBM (P4) read directly.
// Transparent pixels are laid over white paper. Luminance is 0.299 R + 0.587 G + 0.114 B,
// in whole steps 0..255 (truncated). The traced pixels (white in the bitmap, the regions the
// tracer follows) are the dark ones, luminance below the threshold; `invert` traces the light
// ones instead (light artwork on dark ground).
//
// Size: the header's width x height is checked against max_pixels before anything is decoded,
// so a small file promising a huge image costs nothing. kDefaultMaxPixels (100 million, about
// 10000 x 10000) bounds the memory of a trace to roughly 1 GB.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "io/input_file.h"
#include "plexa/platform/gdi.h"

namespace plexa::io {

inline constexpr std::int64_t kDefaultMaxPixels = 100'000'000;

// Below this separation (Otsu's between-class share of the luminance variance) an image is
// far from two-level: a clean scan of artwork scores above 0.9, a smooth gradient 0.75, a
// photograph typically lower.
inline constexpr double kTwoLevelSeparation = 0.85;

// Bytes read at most (a compressed image larger than this is refused).
inline constexpr std::size_t kMaxImageBytes = std::size_t{1} << 30;

struct ImageOptions {
  int threshold = 128;  // 0..255: luminance at or above which a pixel is light; -1: Otsu
  bool invert = false;  // trace the light pixels instead of the dark ones
  std::int64_t max_pixels = kDefaultMaxPixels;
};

struct LoadedImage {
  HBITMAP bitmap = nullptr;  // 32-bit, pure black and white; owned by the caller
  int width = 0;
  int height = 0;
  int threshold = 0;        // the threshold used (chosen by Otsu's method when asked)
  double separation = 1.0;  // 0..1: how two-level the luminance is (1 for one flat colour)
};

// The two-level image one bit a pixel, in the layout of a binary PBM file: row y is
// bits[y * stride .. y * stride + stride), pixel x in byte x / 8 at bit 7 - x % 8 (most
// significant first); a set bit is a traced pixel, the bits past the width are clear.
struct TwoLevelMask {
  std::string storage;  // the rows: stride * height bytes
  int width = 0;
  int height = 0;
  int stride = 0;           // bytes a row: (width + 7) / 8
  int threshold = 0;        // as in LoadedImage
  double separation = 1.0;  // as in LoadedImage
  std::span<const std::uint8_t> Bits() const {
    return {reinterpret_cast<const std::uint8_t*>(storage.data()),
            static_cast<std::size_t>(stride) * static_cast<std::size_t>(height)};
  }
};

// Reads path ("-": standard input) into mask, the same pixels LoadTwoLevelImage gives. A
// binary PBM (P4) is read directly, without decoding to colour: its black pixels are the dark
// ones. False, with a one-line reason in error, on failure.
bool LoadTwoLevelMask(const std::string& path, const ImageOptions& options, TwoLevelMask& mask,
                      std::string& error);

// The same pixels, read into memory the caller provides (a tracer's own image): a binary PBM's
// rows come from the file straight into it, so the image is never held twice; any other image
// is read and decoded whole by Open.
//
//   TwoLevelRows rows;
//   if (!rows.Open(path, options, error)) ...;
//   std::vector<std::uint8_t> bits(rows.stride * rows.height);
//   if (!rows.Read(bits, error)) ...;
class TwoLevelRows {
 public:
  // Opens path and reads a PBM's header, or any other image whole. False, with a one-line
  // reason in error, when it cannot be read, is no image or is too large (a PBM's size is
  // checked from its header, before any row is read).
  bool Open(const std::string& path, const ImageOptions& options, std::string& error);
  // Reads every row into bits (stride * height bytes, rows from the top one after another,
  // laid out as in TwoLevelMask). False, with the reason in error, when the file ends early (a
  // truncated PBM) or cannot be read, when bits is shorter, or on a second call.
  bool Read(std::span<std::uint8_t> bits, std::string& error);

  int width = 0;
  int height = 0;
  int stride = 0;           // bytes a row: (width + 7) / 8
  int threshold = 0;        // as in LoadedImage
  double separation = 1.0;  // as in LoadedImage

 private:
  InputFile file_;
  std::string name_;  // as messages give it
  bool pbm_ = false;  // rows come from file_; else from whole_
  bool invert_ = false;
  bool read_ = false;  // Read has run
  TwoLevelMask whole_;
};

// Reads path ("-": standard input). On failure returns a null bitmap and puts a one-line
// reason into error.
LoadedImage LoadTwoLevelImage(const std::string& path, const ImageOptions& options,
                              std::string& error);

// Reads path ("-": standard input) as it is, in colour: a 32-bit bitmap of the image's size
// (transparent pixels laid over white), for the tracers that take photographs. The same size
// limit and messages as LoadTwoLevelImage.
LoadedImage LoadColourBitmap(const std::string& path, std::int64_t maxPixels, std::string& error);

// Otsu's threshold over a 256-bin luminance histogram: the t in 1..255 that maximises the
// between-class variance of {< t} and {>= t} (the smallest such t), and the separation
// (between-class over total variance). An empty or one-colour histogram gives 128 and 1.
int OtsuThreshold(const std::uint64_t (&histogram)[256], double& separation);

}  // namespace plexa::io
