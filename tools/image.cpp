#include "tools/image.h"

#include <stb_image.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "plexa/raster/imgproc.h"

LoadedImage LoadTwoLevelImage(const std::string& path, const TwoLevelOptions& options, std::string& error) {
  LoadedImage result;
  std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
  if (!file) {
    error = "cannot open '" + path + "': " + std::strerror(errno);
    return result;
  }
  int w = 0, h = 0, channels = 0;
  std::unique_ptr<stbi_uc, void (*)(void*)> pixels(stbi_load_from_file(file.get(), &w, &h, &channels, 4),
                                                   &stbi_image_free);
  if (!pixels) {
    error = "'" + path + "' is not a readable PNG, JPEG, BMP or GIF image (" + stbi_failure_reason() + ")";
    return result;
  }
  HBITMAP bmp = CImgProc::CreateBitmap32(w, h);
  if (bmp == nullptr) {
    error = "'" + path + "' is too large to trace (" + std::to_string(w) + " x " + std::to_string(h) + " pixels)";
    return result;
  }
  BITMAP bm{};
  GetObjectW(bmp, sizeof bm, &bm);
  const stbi_uc* p = pixels.get();
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x, p += 4) {
      // Over white paper: c * a + 255 * (1 - a), in integers scaled by 255.
      const int a = p[3];
      const int r = (p[0] * a + 255 * (255 - a)) / 255;
      const int g = (p[1] * a + 255 * (255 - a)) / 255;
      const int b = (p[2] * a + 255 * (255 - a)) / 255;
      const int lum1000 = 299 * r + 587 * g + 114 * b;
      const bool white = (lum1000 >= 1000 * options.threshold) != options.invert;
      if (white) CImgProc::SetPixel32(bm, x, y, RGB(255, 255, 255));
    }
  }
  result.bitmap = bmp;
  result.width = w;
  result.height = h;
  return result;
}
