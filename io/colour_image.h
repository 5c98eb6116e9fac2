// Colour images for whole-image tracing: decoding to RGB, reducing the palette, and writing
// the traced regions as SVG.
//
//   std::string error;
//   plexa::io::ColourImage img = plexa::io::LoadColourImage("photo.jpg", 100'000'000, error);
//   plexa::io::Palette p;
//   if (plexa::io::ReduceColours(img, 16, p, error)) ... p.labels[y * img.width + x] ...
//
// Decoding goes through stb_image like the two-level reader (same formats, same size checks
// before decoding); transparent pixels are laid over white paper. The palette is reduced by
// libimagequant (Debian libimagequant-dev), without dithering so that flat areas stay flat:
// it chooses up to the asked number of colours minimising the perceptual error and maps each
// pixel to the nearest one. Asking for one colour gives the image's mean colour.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class CColourRegions;

namespace plexa::io {

// Colours ReduceColours accepts at most (the quantiser's own limit).
inline constexpr int kMaxPaletteColours = 256;

struct ColourImage {
  int width = 0, height = 0;
  std::vector<std::uint8_t> rgb;  // 3 bytes a pixel, rows from the top; empty on failure
};

struct Palette {
  std::vector<std::uint32_t> colours;  // 0x00RRGGBB
  std::vector<std::uint32_t> labels;   // index into colours, one a pixel
};

// Reads path ("-": standard input); on failure rgb is empty and error holds one line.
ColourImage LoadColourImage(const std::string& path, std::int64_t maxPixels, std::string& error);

// Reduces img to at most colours (1 .. kMaxPaletteColours) colours; false with a reason
// otherwise. speed 1 (best) .. 10 (fastest) is the quantiser's trade-off.
bool ReduceColours(const ColourImage& img, int colours, Palette& out, std::string& error,
                   int speed = 4);

// SVG of traced colour regions: a viewBox of the image's pixels, a physical size of dpi pixels
// an inch, one group a colour (fill from palette[label], even-odd) holding one path of all that
// colour's loops, holes included. Straight segments are written as lines. Counts the loops
// (subpaths) and segments written when the pointers are given.
std::string WriteColourSvg(const CColourRegions& regions, const std::vector<std::uint32_t>& palette,
                           int width, int height, double dpi, long long* loops = nullptr,
                           long long* segments = nullptr);

}  // namespace plexa::io
