#include "io/image_decode.h"

#include <stb_image.h>

#include <algorithm>
#include <cstdint>

namespace plexa::io {

std::string SourceName(const std::string& path) {
  return path == "-" ? "standard input" : "'" + path + "'";
}

bool TooManyPixels(const std::string& name, int width, int height, std::int64_t maxPixels,
                   std::string& error) {
  if (static_cast<std::int64_t>(width) * height <= maxPixels) return false;
  error = name + " is " + std::to_string(width) + " x " + std::to_string(height) +
          " pixels, more than the limit of " + std::to_string(maxPixels) +
          " (raise it with --max-pixels)";
  return true;
}

bool DecodeOverWhite(const std::string& name, std::string& bytes, std::int64_t maxPixels,
                     OverWhitePixels& out, std::string& error, bool ownLayout) {
  out = OverWhitePixels{};
  const auto* data = reinterpret_cast<const stbi_uc*>(bytes.data());
  const int size = static_cast<int>(std::min<std::size_t>(bytes.size(), INT32_MAX));
  int w = 0, h = 0, channels = 0;
  const std::string unreadable = name + " is not a readable PNG, JPEG, BMP or GIF image (";
  if (!stbi_info_from_memory(data, size, &w, &h, &channels)) {
    error = unreadable + stbi_failure_reason() + ")";
    return false;
  }
  if (TooManyPixels(name, w, h, maxPixels, error)) return false;
  const int comp = ownLayout && (channels == 1 || channels == 3) ? channels : 4;
  out.rgba = std::unique_ptr<std::uint8_t, void (*)(void*)>(
      stbi_load_from_memory(data, size, &w, &h, &channels, comp), &stbi_image_free);
  if (!out.rgba) {
    error = unreadable + stbi_failure_reason() + ")";
    return false;
  }
  bytes = std::string();  // the compressed bytes are no longer needed
  out.width = w;
  out.height = h;
  out.channels = comp;
  if (comp != 4) return true;  // no alpha: every pixel is opaque already
  const std::size_t n = static_cast<std::size_t>(w) * static_cast<std::size_t>(h);
  std::uint8_t* p = out.rgba.get();
  for (std::size_t i = 0; i < n; ++i, p += 4) {
    const int a = p[3];
    if (a == 255) continue;  // opaque pixels (most) keep their colour exactly
    for (int c = 0; c < 3; ++c)
      p[c] = static_cast<std::uint8_t>((p[c] * a + 255 * (255 - a)) / 255);
  }
  return true;
}

}  // namespace plexa::io
