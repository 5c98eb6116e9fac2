#include "io/image_read.h"

#include <stb_image.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "io/input_file.h"
#include "plexa/raster/imgproc.h"

namespace plexa::io {

int OtsuThreshold(const std::uint64_t (&histogram)[256], double& separation) {
  double total = 0, sum = 0, sumSq = 0;
  for (int i = 0; i < 256; ++i) {
    const double h = static_cast<double>(histogram[i]);
    total += h;
    sum += h * i;
    sumSq += h * i * i;
  }
  separation = 1.0;
  if (total <= 0) return 128;
  const double mean = sum / total;
  const double variance = sumSq / total - mean * mean;
  if (variance <= 1e-12) return 128;
  double best = -1, w0 = 0, sum0 = 0;
  int bestT = 128;
  for (int t = 1; t < 256; ++t) {
    w0 += static_cast<double>(histogram[t - 1]);
    sum0 += static_cast<double>(histogram[t - 1]) * (t - 1);
    const double w1 = total - w0;
    if (w0 <= 0 || w1 <= 0) continue;
    const double m0 = sum0 / w0, m1 = (sum - sum0) / w1;
    const double between = (w0 / total) * (w1 / total) * (m0 - m1) * (m0 - m1);
    if (between > best) {
      best = between;
      bestT = t;
    }
  }
  separation = std::min(1.0, best / variance);
  return bestT;
}

LoadedImage LoadTwoLevelImage(const std::string& path, const ImageOptions& options,
                              std::string& error) {
  LoadedImage result;
  const std::string name = path == "-" ? "standard input" : "'" + path + "'";
  std::string bytes;
  if (!ReadAll(path, bytes, kMaxImageBytes, error)) return result;
  const auto* data = reinterpret_cast<const stbi_uc*>(bytes.data());
  const int size = static_cast<int>(std::min<std::size_t>(bytes.size(), INT32_MAX));
  int w = 0, h = 0, channels = 0;
  if (!stbi_info_from_memory(data, size, &w, &h, &channels)) {
    error = name + " is not a readable PNG, JPEG, BMP or GIF image (" + stbi_failure_reason() + ")";
    return result;
  }
  const std::int64_t pixels = static_cast<std::int64_t>(w) * h;
  if (pixels > options.max_pixels) {
    error = name + " is " + std::to_string(w) + " x " + std::to_string(h) +
            " pixels, more than the limit of " + std::to_string(options.max_pixels) +
            " (raise it with --max-pixels)";
    return result;
  }
  std::unique_ptr<stbi_uc, void (*)(void*)> px(
      stbi_load_from_memory(data, size, &w, &h, &channels, 4), &stbi_image_free);
  if (!px) {
    error = name + " is not a readable PNG, JPEG, BMP or GIF image (" + stbi_failure_reason() + ")";
    return result;
  }
  bytes = std::string();  // the compressed bytes are no longer needed
  // Luminance in whole steps, over white paper: c * a + 255 * (1 - a), integers scaled by 255.
  const std::size_t n = static_cast<std::size_t>(w) * static_cast<std::size_t>(h);
  std::vector<std::uint8_t> lum(n);
  std::uint64_t histogram[256] = {};
  const stbi_uc* p = px.get();
  for (std::size_t i = 0; i < n; ++i, p += 4) {
    const int a = p[3];
    const int r = (p[0] * a + 255 * (255 - a)) / 255;
    const int g = (p[1] * a + 255 * (255 - a)) / 255;
    const int b = (p[2] * a + 255 * (255 - a)) / 255;
    lum[i] = static_cast<std::uint8_t>((299 * r + 587 * g + 114 * b) / 1000);
    ++histogram[lum[i]];
  }
  px.reset();
  double separation = 1.0;
  const int otsu = OtsuThreshold(histogram, separation);
  result.threshold = options.threshold < 0 ? otsu : options.threshold;
  result.separation = separation;

  HBITMAP bmp = CImgProc::CreateBitmap32(w, h);
  if (bmp == nullptr) {
    error = name + " is too large to trace (" + std::to_string(w) + " x " + std::to_string(h) +
            " pixels)";
    return result;
  }
  BITMAP bm{};
  GetObjectW(bmp, sizeof bm, &bm);
  std::size_t i = 0;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x, ++i) {
      const bool light = lum[i] >= result.threshold;
      if (light == options.invert) CImgProc::SetPixel32(bm, x, y, RGB(255, 255, 255));
    }
  result.bitmap = bmp;
  result.width = w;
  result.height = h;
  return result;
}

LoadedImage LoadColourImage(const std::string& path, std::int64_t maxPixels, std::string& error) {
  LoadedImage result;
  const std::string name = path == "-" ? "standard input" : "'" + path + "'";
  std::string bytes;
  if (!ReadAll(path, bytes, kMaxImageBytes, error)) return result;
  const auto* data = reinterpret_cast<const stbi_uc*>(bytes.data());
  const int size = static_cast<int>(std::min<std::size_t>(bytes.size(), INT32_MAX));
  int w = 0, h = 0, channels = 0;
  if (!stbi_info_from_memory(data, size, &w, &h, &channels)) {
    error = name + " is not a readable PNG, JPEG, BMP or GIF image (" + stbi_failure_reason() + ")";
    return result;
  }
  if (static_cast<std::int64_t>(w) * h > maxPixels) {
    error = name + " is " + std::to_string(w) + " x " + std::to_string(h) +
            " pixels, more than the limit of " + std::to_string(maxPixels) +
            " (raise it with --max-pixels)";
    return result;
  }
  std::unique_ptr<stbi_uc, void (*)(void*)> px(
      stbi_load_from_memory(data, size, &w, &h, &channels, 4), &stbi_image_free);
  if (!px) {
    error = name + " is not a readable PNG, JPEG, BMP or GIF image (" + stbi_failure_reason() + ")";
    return result;
  }
  bytes = std::string();
  HBITMAP bmp = CImgProc::CreateBitmap32(w, h);
  if (bmp == nullptr) {
    error = name + " is too large to trace (" + std::to_string(w) + " x " + std::to_string(h) +
            " pixels)";
    return result;
  }
  BITMAP bm{};
  GetObjectW(bmp, sizeof bm, &bm);
  const stbi_uc* p = px.get();
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x, p += 4) {
      const int a = p[3];
      const int r = (p[0] * a + 255 * (255 - a)) / 255;
      const int g = (p[1] * a + 255 * (255 - a)) / 255;
      const int b = (p[2] * a + 255 * (255 - a)) / 255;
      CImgProc::SetPixel32(bm, x, y, RGB(r, g, b));
    }
  result.bitmap = bmp;
  result.width = w;
  result.height = h;
  return result;
}

}  // namespace plexa::io
