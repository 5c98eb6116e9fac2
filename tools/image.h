// Reading image files into the host's 32-bit bitmap, reduced to two levels.
#pragma once

#include <string>

#include "plexa/platform/gdi.h"

struct TwoLevelOptions {
  int threshold = 128;  // luminance 0..255 at or above which a pixel is white (paper)
  bool invert = false;  // trace the dark pixels instead of the light ones
};

struct LoadedImage {
  HBITMAP bitmap = nullptr;  // 32-bit, pure black and white; owned by the caller
  int width = 0;
  int height = 0;
};

// Reads a PNG, JPEG, BMP or GIF file (the first frame of a GIF). Transparent pixels are laid
// over white paper. Pixels whose luminance (0.299 R + 0.587 G + 0.114 B) reaches the
// threshold become white, the rest black; invert swaps the two, so that dark artwork on light
// paper becomes the white regions the tracer follows. On failure returns a null bitmap and
// puts a one-line reason into error.
LoadedImage LoadTwoLevelImage(const std::string& path, const TwoLevelOptions& options, std::string& error);
