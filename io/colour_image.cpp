#include "io/colour_image.h"

#include <libimagequant.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "io/image_decode.h"
#include "io/image_read.h"
#include "io/input_file.h"
#include "io/number.h"
#include "plexa/raster/colourregions.h"

namespace plexa::io {

ColourImage LoadColourImage(const std::string& path, std::int64_t maxPixels, std::string& error) {
  ColourImage result;
  std::string bytes;
  OverWhitePixels px;
  if (!ReadAll(path, bytes, kMaxImageBytes, error) ||
      !DecodeOverWhite(SourceName(path), bytes, maxPixels, px, error))
    return result;
  const std::size_t n = static_cast<std::size_t>(px.width) * static_cast<std::size_t>(px.height);
  result.rgb.resize(3 * n);
  const std::uint8_t* p = px.rgba.get();
  for (std::size_t i = 0; i < n; ++i, p += 4)
    for (int c = 0; c < 3; ++c) result.rgb[3 * i + c] = p[c];
  result.width = px.width;
  result.height = px.height;
  return result;
}

bool ReduceColours(const ColourImage& img, int colours, Palette& out, std::string& error,
                   int speed) {
  out = Palette();
  const std::size_t n = static_cast<std::size_t>(img.width) * static_cast<std::size_t>(img.height);
  if (img.width <= 0 || img.height <= 0 || img.rgb.size() != 3 * n) {
    error = "no image to reduce";
    return false;
  }
  if (colours < 1 || colours > kMaxPaletteColours) {
    error = "the number of colours must be 1 to " + std::to_string(kMaxPaletteColours) + ", not " +
            std::to_string(colours);
    return false;
  }
  if (colours == 1) {
    std::uint64_t sum[3] = {0, 0, 0};
    for (std::size_t i = 0; i < n; ++i)
      for (int c = 0; c < 3; ++c) sum[c] += img.rgb[3 * i + c];
    std::uint32_t mean = 0;
    for (int c = 0; c < 3; ++c)
      mean = (mean << 8) | static_cast<std::uint32_t>((sum[c] + n / 2) / n);
    out.colours = {mean};
    out.labels.assign(n, 0);
    return true;
  }
  std::vector<std::uint8_t> rgba(4 * n);
  for (std::size_t i = 0; i < n; ++i) {
    rgba[4 * i] = img.rgb[3 * i];
    rgba[4 * i + 1] = img.rgb[3 * i + 1];
    rgba[4 * i + 2] = img.rgb[3 * i + 2];
    rgba[4 * i + 3] = 255;
  }
  std::unique_ptr<liq_attr, void (*)(liq_attr*)> attr(liq_attr_create(), &liq_attr_destroy);
  if (!attr || liq_set_max_colors(attr.get(), colours) != LIQ_OK ||
      liq_set_speed(attr.get(), std::clamp(speed, 1, 10)) != LIQ_OK) {
    error = "the colour quantiser refused its settings";
    return false;
  }
  std::unique_ptr<liq_image, void (*)(liq_image*)> image(
      liq_image_create_rgba(attr.get(), rgba.data(), img.width, img.height, 0), &liq_image_destroy);
  liq_result* raw = nullptr;
  if (!image || liq_image_quantize(image.get(), attr.get(), &raw) != LIQ_OK || raw == nullptr) {
    error = "the colour quantiser could not reduce the image";
    return false;
  }
  std::unique_ptr<liq_result, void (*)(liq_result*)> result(raw, &liq_result_destroy);
  liq_set_dithering_level(result.get(), 0.0f);
  std::vector<std::uint8_t> indexes(n);
  if (liq_write_remapped_image(result.get(), image.get(), indexes.data(), n) != LIQ_OK) {
    error = "the colour quantiser could not map the image";
    return false;
  }
  const liq_palette* pal = liq_get_palette(result.get());
  for (unsigned i = 0; i < pal->count; ++i)
    out.colours.push_back((static_cast<std::uint32_t>(pal->entries[i].r) << 16) |
                          (static_cast<std::uint32_t>(pal->entries[i].g) << 8) | pal->entries[i].b);
  out.labels.assign(indexes.begin(), indexes.end());
  return true;
}

std::string WriteColourSvg(const CColourRegions& regions, const std::vector<std::uint32_t>& palette,
                           int width, int height, double dpi, long long* loops,
                           long long* segments) {
  constexpr int kDecimals = 2;  // a hundredth of a pixel
  long long nLoops = 0, nSegments = 0;
  std::string s = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  s += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"";
  AppendNumber(s, width * 25.4 / dpi, 3);
  s += "mm\" height=\"";
  AppendNumber(s, height * 25.4 / dpi, 3);
  s += "mm\" viewBox=\"0 0 " + std::to_string(width) + " " + std::to_string(height) + "\">\n";
  auto point = [&](const PLEXA::CDPOINT& p) {
    AppendNumber(s, p.x, kDecimals);
    s += ' ';
    AppendNumber(s, p.y, kDecimals);
  };
  for (int i = 0; i < regions.GetRegionCount(); ++i) {
    const std::uint32_t label = regions.GetLabel(i);
    const std::uint32_t c = label < palette.size() ? palette[label] : 0;
    char colour[8];
    std::snprintf(colour, sizeof colour, "#%06x", c & 0xFFFFFFu);
    s += "<g fill=\"";
    s += colour;
    s += "\" fill-rule=\"evenodd\"><path d=\"";
    const CPolyPolyBezier& set = regions.GetOutlines(i);
    for (INT_PTR k = 0; k < set.GetSize(); ++k) {
      const CBPointArray* p = set.GetAt(static_cast<int>(k));
      if (p == nullptr || p->GetSize() < 2) continue;
      ++nLoops;
      s += 'M';
      point((*p)[0].anchor);
      for (INT_PTR j = 0; j + 1 < p->GetSize(); ++j) {
        const PLEXA::CBPOINT &a = (*p)[j], &b = (*p)[j + 1];
        const bool straight = a.out.x == a.anchor.x && a.out.y == a.anchor.y &&
                              b.in.x == b.anchor.x && b.in.y == b.anchor.y;
        ++nSegments;
        if (straight) {
          s += 'L';
        } else {
          s += 'C';
          point(a.out);
          s += ' ';
          point(b.in);
          s += ' ';
        }
        point(b.anchor);
      }
      s += 'Z';
    }
    s += "\"/></g>\n";
  }
  s += "</svg>\n";
  if (loops) *loops = nLoops;
  if (segments) *segments = nSegments;
  return s;
}

}  // namespace plexa::io
