#include "io/image_read.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "io/image_decode.h"
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

namespace {

// A binary PBM's header: "P4", width, height, then one whitespace byte; '#' starts a comment
// running to the end of its line. Returns the offset of the pixel data, 0 when the bytes are
// not a binary PBM. byte(i, c) sets c to byte i of the file and is false past its end; the
// bytes are asked for in order, none past the header's last.
template <class ByteAt>
std::size_t PbmHeader(ByteAt byte, int& w, int& h) {
  unsigned char c = 0;
  if (!byte(0, c) || c != 'P' || !byte(1, c) || c != '4') return 0;
  std::size_t i = 2;
  int* fields[2] = {&w, &h};
  for (int* f : fields) {
    for (;;) {  // whitespace and comments; i only grows, bounded by the size
      if (!byte(i, c)) return 0;
      if (c == '#') {
        while (byte(i, c) && c != '\n') ++i;
      } else if (std::isspace(c)) {
        ++i;
      } else {
        break;
      }
    }
    std::int64_t v = 0;
    const std::size_t digits = i;
    while (byte(i, c) && c >= '0' && c <= '9' && v <= INT32_MAX) {
      v = v * 10 + (c - '0');
      ++i;
    }
    if (i == digits || v < 1 || v > INT32_MAX) return 0;
    *f = static_cast<int>(v);
  }
  if (!byte(i, c) || !std::isspace(c)) return 0;
  return i + 1;
}

// Decodes any image but a PBM (bytes: the whole file) into mask.
bool DecodeMask(const std::string& name, std::string& bytes, const ImageOptions& options,
                TwoLevelMask& mask, std::string& error) {
  OverWhitePixels px;
  if (!DecodeOverWhite(name, bytes, options.max_pixels, px, error, /*ownLayout=*/true))
    return false;
  const int w = px.width, h = px.height;
  // Luminance in whole steps of the colour over white; grey needs no sum ((299 + 587 + 114) g /
  // 1000 is g).
  const int comp = px.channels;
  const std::size_t n = static_cast<std::size_t>(w) * static_cast<std::size_t>(h);
  std::vector<std::uint8_t> lum(n);
  std::uint64_t histogram[256] = {};
  const std::uint8_t* p = px.rgba.get();
  for (std::size_t i = 0; i < n; ++i, p += comp) {
    lum[i] =
        comp == 1 ? p[0] : static_cast<std::uint8_t>((299 * p[0] + 587 * p[1] + 114 * p[2]) / 1000);
    ++histogram[lum[i]];
  }
  px.rgba.reset();
  double separation = 1.0;
  const int otsu = OtsuThreshold(histogram, separation);
  mask.threshold = options.threshold < 0 ? otsu : options.threshold;
  mask.separation = separation;
  const std::size_t stride = (static_cast<std::size_t>(w) + 7) / 8;
  mask.storage.assign(stride * static_cast<std::size_t>(h), '\0');
  auto* bits = reinterpret_cast<std::uint8_t*>(mask.storage.data());
  // Eight pixels a byte, most significant bit first.
  const std::uint8_t* l = lum.data();
  const int t = mask.threshold;
  for (std::size_t y = 0; y < static_cast<std::size_t>(h); ++y) {
    std::uint8_t* row = bits + y * stride;
    for (std::size_t x0 = 0; x0 < static_cast<std::size_t>(w); x0 += 8) {
      const std::size_t count = std::min<std::size_t>(8, static_cast<std::size_t>(w) - x0);
      unsigned byte = 0;
      for (std::size_t k = 0; k < count; ++k)
        byte |= static_cast<unsigned>((l[k] >= t) == options.invert) << (7 - k);
      row[x0 >> 3] = static_cast<std::uint8_t>(byte);
      l += count;
    }
  }
  mask.width = w;
  mask.height = h;
  mask.stride = static_cast<int>(stride);
  return true;
}

}  // namespace

bool TwoLevelRows::Open(const std::string& path, const ImageOptions& options, std::string& error) {
  width = height = stride = threshold = 0;
  separation = 1.0;
  name_ = SourceName(path);
  pbm_ = false;
  invert_ = options.invert;
  read_ = false;
  whole_ = TwoLevelMask{};
  if (!file_.Open(path, kMaxImageBytes, error)) return false;
  // The header straight from the file, every byte taken kept in case the file is no PBM.
  std::string head;
  auto byte = [&](std::size_t i, unsigned char& c) {
    while (head.size() <= i) {
      const int got = head.size() <= kMaxImageBytes ? file_.Get() : EOF;
      if (got == EOF) return false;
      head.push_back(static_cast<char>(got));
    }
    c = static_cast<unsigned char>(head[i]);
    return true;
  };
  int w = 0, h = 0;
  if (PbmHeader(byte, w, h) > 0) {
    if (TooManyPixels(name_, w, h, options.max_pixels, error)) return false;
    pbm_ = true;
    width = w;
    height = h;
    stride = static_cast<int>((static_cast<std::size_t>(w) + 7) / 8);
    threshold = options.threshold < 0 ? 128 : options.threshold;
    return true;
  }
  if (!file_.ReadRest(head, error) || !DecodeMask(name_, head, options, whole_, error))
    return false;
  width = whole_.width;
  height = whole_.height;
  stride = whole_.stride;
  threshold = whole_.threshold;
  separation = whole_.separation;
  return true;
}

bool TwoLevelRows::Read(std::span<std::uint8_t> bits, std::string& error) {
  const std::size_t n = static_cast<std::size_t>(stride);
  const std::size_t size = n * static_cast<std::size_t>(height);
  if (read_ || bits.size() < size) {
    error = "cannot read " + name_ + ": its rows were read already or do not fit";
    return false;
  }
  read_ = true;
  if (!pbm_) {
    std::memcpy(bits.data(), whole_.Bits().data(), size);
    whole_ = TwoLevelMask{};
    return true;
  }
  if (file_.Read(bits.data(), size) != size) {
    error = file_.ReadError();
    if (error.empty()) error = name_ + " is a truncated PBM image";
    return false;
  }
  // Black (set) is dark; the padding bits past the width are cleared.
  const std::uint8_t pad = static_cast<std::uint8_t>(0xFF00 >> (width % 8 == 0 ? 8 : width % 8));
  for (std::size_t y = 0; y < static_cast<std::size_t>(height); ++y) {
    std::uint8_t* row = bits.data() + y * n;
    if (invert_)
      for (std::size_t k = 0; k < n; ++k) row[k] = static_cast<std::uint8_t>(~row[k]);
    row[n - 1] &= pad;
  }
  return true;
}

bool LoadTwoLevelMask(const std::string& path, const ImageOptions& options, TwoLevelMask& mask,
                      std::string& error) {
  mask = TwoLevelMask{};
  TwoLevelRows rows;
  if (!rows.Open(path, options, error)) return false;
  mask.width = rows.width;
  mask.height = rows.height;
  mask.stride = rows.stride;
  mask.threshold = rows.threshold;
  mask.separation = rows.separation;
  mask.storage.resize(static_cast<std::size_t>(rows.stride) *
                      static_cast<std::size_t>(rows.height));
  if (!rows.Read({reinterpret_cast<std::uint8_t*>(mask.storage.data()), mask.storage.size()},
                 error)) {
    mask = TwoLevelMask{};
    return false;
  }
  return true;
}

LoadedImage LoadTwoLevelImage(const std::string& path, const ImageOptions& options,
                              std::string& error) {
  LoadedImage result;
  TwoLevelMask mask;
  if (!LoadTwoLevelMask(path, options, mask, error)) return result;
  const int w = mask.width, h = mask.height;
  result.threshold = mask.threshold;
  result.separation = mask.separation;
  HBITMAP bmp = CImgProc::CreateBitmap32(w, h);
  if (bmp == nullptr) {
    const std::string name = SourceName(path);
    error = name + " is too large to trace (" + std::to_string(w) + " x " + std::to_string(h) +
            " pixels)";
    return result;
  }
  BITMAP bm{};
  GetObjectW(bmp, sizeof bm, &bm);
  for (int y = 0; y < h; ++y) {
    const std::uint8_t* row = mask.Bits().data() + static_cast<std::size_t>(y) * mask.stride;
    for (int x = 0; x < w; ++x)
      if ((row[x >> 3] >> (7 - (x & 7))) & 1) CImgProc::SetPixel32(bm, x, y, RGB(255, 255, 255));
  }
  result.bitmap = bmp;
  result.width = w;
  result.height = h;
  return result;
}

LoadedImage LoadColourBitmap(const std::string& path, std::int64_t maxPixels, std::string& error) {
  LoadedImage result;
  const std::string name = SourceName(path);
  std::string bytes;
  OverWhitePixels px;
  if (!ReadAll(path, bytes, kMaxImageBytes, error) ||
      !DecodeOverWhite(name, bytes, maxPixels, px, error))
    return result;
  const int w = px.width, h = px.height;
  HBITMAP bmp = CImgProc::CreateBitmap32(w, h);
  if (bmp == nullptr) {
    error = name + " is too large to trace (" + std::to_string(w) + " x " + std::to_string(h) +
            " pixels)";
    return result;
  }
  BITMAP bm{};
  GetObjectW(bmp, sizeof bm, &bm);
  const std::uint8_t* p = px.rgba.get();
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x, p += 4) CImgProc::SetPixel32(bm, x, y, RGB(p[0], p[1], p[2]));
  result.bitmap = bmp;
  result.width = w;
  result.height = h;
  return result;
}

}  // namespace plexa::io
