// Decoding image bytes to 8-bit colour laid over white paper, shared by the two-level and the
// colour readers: one size check before decoding, one set of messages, one alpha rule.
//
//   std::string bytes, error;
//   plexa::io::OverWhitePixels px;
//   if (ReadAll(path, bytes, kMaxImageBytes, error) &&
//       plexa::io::DecodeOverWhite(plexa::io::SourceName(path), bytes, maxPixels, px, error))
//     ... px.rgba[4 * (y * px.width + x) + c] ...
//
// Formats are stb_image's (PNG, JPEG, BMP, GIF first frame, PNM, TGA, PSD, HDR, PIC). A pixel
// of alpha a has each channel c replaced by (c * a + 255 * (255 - a)) / 255 (integer division),
// so a transparent pixel is white and an opaque one keeps its colour.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

namespace plexa::io {

// How messages name path: "standard input" for "-", else the path in single quotes.
std::string SourceName(const std::string& path);

// True, with a one-line message in error, when width x height pixels exceed maxPixels.
bool TooManyPixels(const std::string& name, int width, int height, std::int64_t maxPixels,
                   std::string& error);

struct OverWhitePixels {
  int width = 0, height = 0;
  // Bytes a pixel, rows from the top: 4 (red, green, blue over white, then the original alpha),
  // or, when the caller accepts the image's own layout and it has no alpha, 1 (grey) or 3 (RGB).
  int channels = 4;
  std::unique_ptr<std::uint8_t, void (*)(void*)> rgba{nullptr, &std::free};
};

// Decodes bytes (the whole file, named name in messages). The header's size is checked against
// maxPixels before decoding; bytes is released once decoded. False, with a one-line reason in
// error, when the bytes are no readable image or too large. With ownLayout, grey and RGB
// images without alpha keep 1 or 3 bytes a pixel (nothing to lay over white, less to copy).
bool DecodeOverWhite(const std::string& name, std::string& bytes, std::int64_t maxPixels,
                     OverWhitePixels& out, std::string& error, bool ownLayout = false);

}  // namespace plexa::io
