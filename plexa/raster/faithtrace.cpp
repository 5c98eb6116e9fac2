// CFaithfulTrace: reading the input into one bit a pixel, running the three stages
// (internal/faithtrace_stages.h) and the even-odd render-back.
//
// Bitmaps: 24 and 32-bit pixels are read directly (blue, green, red). For 1 and 8-bit
// pixels the colour of each palette index that occurs is asked of the drawing layer once
// (GetPixel at its first pixel), then every pixel is looked up in a 256-entry table.
#include "plexa/raster/faithtrace.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>

#include "plexa/platform/internal/rasterizer.h"
#include "plexa/raster/internal/faithtrace_stages.h"

namespace {

using plexa::faith::BitImage;

constexpr int kMaxSide = 1 << 20;
constexpr std::int64_t kMaxPixels = std::int64_t{1} << 32;
// Flattening tolerance of the render-back, pixels.
constexpr double kRenderFlatness = 0.02;
constexpr int kRenderMaxSteps = 1 << 12;
// Buffers are kept after images of up to this many pixels whose longest boundary has up to
// this many points (about 0.5 MB of pixels and 8 MB of boundary work at most).
constexpr std::int64_t kKeepPixels = std::int64_t{1} << 22;
constexpr std::size_t kKeepPoints = std::size_t{1} << 16;

int Grey(int r, int g, int b) {
  return (r * 299 + g * 587 + b * 114 + 500) / 1000;
}

// Bit i of the result is set when byte i of v (in memory order) is below t, for t in 1 .. 255:
// eight unsigned comparisons at once. Per byte, (v | 0x80) - (t & 0x7F) never borrows from
// the next byte and has its top bit set when v's low seven bits are at least t's; the top bits
// themselves decide when they differ.
std::uint64_t BelowBits(std::uint64_t v, std::uint64_t t) {
  constexpr std::uint64_t kHigh = 0x8080808080808080ull, kLow = ~kHigh;
  const std::uint64_t vh = v & kHigh, th = t & kHigh;
  const std::uint64_t geLow = ((v | kHigh) - (t & kLow)) & kHigh;
  const std::uint64_t ge = (vh & ~th) | (~(vh ^ th) & geLow & kHigh);
  const std::uint64_t below = ~ge & kHigh;
  // Gather the eight top bits into the low byte, byte i's to bit i.
  return ((below >> 7) * 0x0102040810204080ull) >> 56;
}

// v with the order of the bits within each byte reversed (bit 7 of a byte becomes bit 0).
std::uint64_t ReverseBitsInBytes(std::uint64_t v) {
  v = ((v >> 1) & 0x5555555555555555ull) | ((v & 0x5555555555555555ull) << 1);
  v = ((v >> 2) & 0x3333333333333333ull) | ((v & 0x3333333333333333ull) << 2);
  return ((v >> 4) & 0x0F0F0F0F0F0F0F0Full) | ((v & 0x0F0F0F0F0F0F0F0Full) << 4);
}

// Sets in row the foreground bits of width grey pixels (row starts zeroed).
void PackGreyRow(const std::uint8_t* src, int width, int threshold, bool invert,
                 std::uint64_t* row) {
  if (threshold <= 0 || threshold >= 256) {
    const bool fg = (threshold >= 256) != invert;  // every level is below 256, none below 0
    if (!fg) return;
    for (int x = 0; x < width; ++x) row[x >> 6] |= std::uint64_t{1} << (x & 63);
    return;
  }
  const std::uint64_t t = 0x0101010101010101ull * static_cast<std::uint64_t>(threshold);
  int x = 0;
  if constexpr (std::endian::native == std::endian::little) {
    for (; x + 8 <= width; x += 8) {
      std::uint64_t v;
      std::memcpy(&v, src + x, 8);
      std::uint64_t bits = BelowBits(v, t);
      if (invert) bits ^= 0xFF;
      row[x >> 6] |= bits << (x & 63);
    }
  }
  for (; x < width; ++x) {
    const bool fg = invert ? src[x] >= threshold : src[x] < threshold;
    row[x >> 6] |= static_cast<std::uint64_t>(fg) << (x & 63);
  }
}

// Sets row (the words of one row of the one-bit image) from rowBytes bytes of a row of packed
// bits, most significant bit first, as in a binary PBM file. src may overlap row when it starts
// at or after it (the words are set in order, each from bytes at or after its own). Pixels past
// the width become background.
void PackBitRow(const std::uint8_t* src, std::size_t rowBytes, int width, std::uint64_t flip,
                std::uint64_t* row, std::size_t words) {
  for (std::size_t k = 0; k * 8 < rowBytes; ++k) {
    std::uint64_t v = 0;
    const std::size_t take = std::min<std::size_t>(8, rowBytes - k * 8);
    // Byte j of the word is source byte 8k + j, whatever the machine's byte order.
    if (std::endian::native == std::endian::little && take == 8)
      std::memcpy(&v, src + k * 8, 8);
    else
      for (std::size_t j = 0; j < take; ++j) v |= std::uint64_t{src[k * 8 + j]} << (8 * j);
    // Blank and solid words (most of most artwork) need no reordering.
    row[k] = (v == 0 || v == ~std::uint64_t{0} ? v : ReverseBitsInBytes(v)) ^ flip;
  }
  const std::size_t last = static_cast<std::size_t>(width) >> 6;
  row[last] &= (std::uint64_t{1} << (width & 63)) - 1;
  for (std::size_t k = last + 1; k < words; ++k) row[k] = 0;
}

CFaithfulTrace::OPTIONS Sanitised(CFaithfulTrace::OPTIONS o) {
  const CFaithfulTrace::OPTIONS d;
  if (!std::isfinite(o.cornerThreshold)) o.cornerThreshold = d.cornerThreshold;
  if (!std::isfinite(o.optTolerance)) o.optTolerance = d.optTolerance;
  o.speckle = std::max(0, o.speckle);
  o.threshold = std::clamp(o.threshold, 0, 256);
  return o;
}

}  // namespace

int CFaithfulTrace::OutlineCount() const {
  return static_cast<int>(
      std::count_if(m_tree.begin(), m_tree.end(), [](const NODE& n) { return !n.hole; }));
}
int CFaithfulTrace::HoleCount() const {
  return static_cast<int>(m_tree.size()) - OutlineCount();
}

struct CFaithfulTrace::Work {
  BitImage image;
  plexa::faith::DecomposeWork decompose;
  plexa::faith::PolygonWork polygon;
  plexa::faith::CurveWork curve;
  std::vector<PLEXA::CDPOINT> vertices;
};

CFaithfulTrace::CFaithfulTrace() = default;
CFaithfulTrace::CFaithfulTrace(const OPTIONS& options) : m_options(options) {}
CFaithfulTrace::CFaithfulTrace(const CFaithfulTrace& other)
    : m_options(other.m_options), m_tree(other.m_tree) {}
CFaithfulTrace& CFaithfulTrace::operator=(const CFaithfulTrace& other) {
  m_options = other.m_options;
  m_tree = other.m_tree;
  return *this;
}
CFaithfulTrace::CFaithfulTrace(CFaithfulTrace&& other) noexcept = default;
CFaithfulTrace& CFaithfulTrace::operator=(CFaithfulTrace&& other) noexcept = default;
CFaithfulTrace::~CFaithfulTrace() = default;

CFaithfulTrace::Work& CFaithfulTrace::Buffers() {
  if (!m_work) m_work = std::make_unique<Work>();
  return *m_work;
}

bool CFaithfulTrace::Finish(const OPTIONS& o, CPolyPolyBezier& out) {
  Work& work = *m_work;
  std::size_t longest = 0;
  auto sink = [&](plexa::faith::Boundary& b) {
    auto path = std::make_unique<CBPointArray>();
    longest = std::max(longest, b.points.size());
    plexa::faith::FitPolygon(b.points, b.area, work.polygon, work.vertices);
    plexa::faith::PlaceCurves(work.vertices, o.cornerThreshold, o.optTolerance, work.curve, *path);
    out.Add(path.release());
    m_tree.push_back({b.parent, b.depth, b.hole, b.area});
  };
  plexa::faith::Decompose(work.image, o.turnPolicy, o.speckle, plexa::faith::BoundarySink(sink),
                          work.decompose);
  if (std::int64_t{work.image.Width()} * work.image.Height() > kKeepPixels || longest > kKeepPoints)
    m_work.reset();
  return true;
}

bool CFaithfulTrace::Trace(std::span<const std::uint8_t> grey, int width, int height, int stride,
                           CPolyPolyBezier& out) {
  out.RemoveAll();
  m_tree.clear();
  const OPTIONS o = Sanitised(m_options);
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide || stride < width ||
      std::int64_t{width} * height > kMaxPixels ||
      static_cast<std::int64_t>(grey.size()) < std::int64_t{stride} * (height - 1) + width)
    return false;
  BitImage& img = Buffers().image;
  if (!img.Init(width, height)) return false;
  for (int y = 0; y < height; ++y)
    PackGreyRow(grey.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(stride), width,
                o.threshold, o.invert, img.Row(y));
  return Finish(o, out);
}

bool CFaithfulTrace::TraceBits(std::span<const std::uint8_t> bits, int width, int height,
                               int stride, CPolyPolyBezier& out) {
  out.RemoveAll();
  m_tree.clear();
  const OPTIONS o = Sanitised(m_options);
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide ||
      std::int64_t{width} * height > kMaxPixels || stride < (width + 7) / 8 ||
      static_cast<std::int64_t>(bits.size()) <
          std::int64_t{stride} * (height - 1) + (width + 7) / 8)
    return false;
  // Every word is written below.
  BitImage& img = Buffers().image;
  if (!img.Init(width, height, /*clear=*/false)) return false;
  const std::size_t rowBytes = (static_cast<std::size_t>(width) + 7) / 8;
  const std::uint64_t flip = o.invert ? ~std::uint64_t{0} : 0;
  for (int y = 0; y < height; ++y)
    PackBitRow(bits.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(stride),
               rowBytes, width, flip, img.Row(y), img.WordsPerRow());
  return Finish(o, out);
}

bool CFaithfulTrace::TraceBitRows(int width, int height,
                                  const std::function<bool(std::span<std::uint8_t> rows)>& readRows,
                                  CPolyPolyBezier& out) {
  out.RemoveAll();
  m_tree.clear();
  const OPTIONS o = Sanitised(m_options);
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide ||
      std::int64_t{width} * height > kMaxPixels || !readRows)
    return false;
  BitImage& img = Buffers().image;
  if (!img.Init(width, height, /*clear=*/false)) return false;
  // The packed rows are read into the end of the image's own storage (a row of words holds at
  // least a packed row), then unpacked front to back: row y's words end at or before where
  // packed row y + 1 starts, so every byte is read before it is written over.
  const std::size_t rowBytes = (static_cast<std::size_t>(width) + 7) / 8;
  const std::size_t rows = static_cast<std::size_t>(height);
  const std::size_t rowWords = img.WordsPerRow() * 8;
  auto* storage = reinterpret_cast<std::uint8_t*>(img.Row(0));
  std::uint8_t* packed = storage + (rowWords - rowBytes) * rows;
  if (!readRows(std::span<std::uint8_t>(packed, rowBytes * rows))) return false;
  const std::uint64_t flip = o.invert ? ~std::uint64_t{0} : 0;
  for (int y = 0; y < height; ++y)
    PackBitRow(packed + rowBytes * static_cast<std::size_t>(y), rowBytes, width, flip, img.Row(y),
               img.WordsPerRow());
  return Finish(o, out);
}

bool CFaithfulTrace::Trace(HBITMAP bmp, CPolyPolyBezier& out) {
  out.RemoveAll();
  m_tree.clear();
  const OPTIONS o = Sanitised(m_options);
  DIBSECTION ds{};
  if (bmp == nullptr ||
      GetObjectW(bmp, sizeof(DIBSECTION), &ds) != static_cast<int>(sizeof(DIBSECTION)))
    return false;
  const int bpp = ds.dsBm.bmBitsPixel;
  const int width = ds.dsBm.bmWidth;
  const int height = std::abs(ds.dsBmih.biHeight);
  const bool topDown = ds.dsBmih.biHeight < 0;
  const auto* bits = static_cast<const std::uint8_t*>(ds.dsBm.bmBits);
  const std::size_t stride = static_cast<std::size_t>(ds.dsBm.bmWidthBytes);
  if (bits == nullptr || (bpp != 1 && bpp != 8 && bpp != 24 && bpp != 32)) return false;
  BitImage& img = Buffers().image;
  if (!img.Init(width, height)) return false;
  auto rowBits = [&](int y) {
    return bits + stride * static_cast<std::size_t>(topDown ? y : height - 1 - y);
  };
  auto isFg = [&](int g) { return o.invert ? g >= o.threshold : g < o.threshold; };

  std::array<bool, 256> table{};
  if (bpp <= 8) {
    // The colour of each palette index that occurs, asked once at its first pixel.
    std::array<bool, 256> seen{};
    HDC dc = CreateCompatibleDC(nullptr);
    HGDIOBJ old = SelectObject(dc, bmp);
    for (int y = 0; y < height; ++y) {
      const std::uint8_t* src = rowBits(y);
      for (int x = 0; x < width; ++x) {
        const int idx = bpp == 8 ? src[x] : (src[x >> 3] >> (7 - (x & 7))) & 1;
        if (seen[static_cast<std::size_t>(idx)]) continue;
        seen[static_cast<std::size_t>(idx)] = true;
        const COLORREF c = GetPixel(dc, x, y);
        table[static_cast<std::size_t>(idx)] =
            c != CLR_INVALID && isFg(Grey(c & 0xFF, (c >> 8) & 0xFF, (c >> 16) & 0xFF));
      }
      if (bpp == 1 && seen[0] && seen[1]) break;
    }
    SelectObject(dc, old);
    DeleteDC(dc);
  }
  for (int y = 0; y < height; ++y) {
    const std::uint8_t* src = rowBits(y);
    std::uint64_t* row = img.Row(y);
    if (bpp == 1) {
      const std::uint8_t on0 = table[0], on1 = table[1];
      if (!on0 && !on1) continue;
      for (int x = 0; x < width; ++x) {
        const bool fg = (src[x >> 3] >> (7 - (x & 7))) & 1 ? on1 : on0;
        row[x >> 6] |= static_cast<std::uint64_t>(fg) << (x & 63);
      }
    } else if (bpp == 8) {
      for (int x = 0; x < width; ++x)
        row[x >> 6] |= static_cast<std::uint64_t>(table[src[x]]) << (x & 63);
    } else {
      const int step = bpp / 8;
      for (int x = 0; x < width; ++x) {
        const std::uint8_t* px = src + static_cast<std::size_t>(x) * step;
        row[x >> 6] |= static_cast<std::uint64_t>(isFg(Grey(px[2], px[1], px[0]))) << (x & 63);
      }
    }
  }
  return Finish(o, out);
}

bool FillPolyPolyEvenOdd(const CPolyPolyBezier& paths, int width, int height,
                         std::vector<std::uint8_t>& mask) {
  namespace r = plexa::rasterizer;
  mask.clear();
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide ||
      std::int64_t{width} * height > kMaxPixels)
    return false;
  mask.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0);
  std::vector<r::Figure> figures;
  // Coordinates the scan converter accepts (it works within +-2^28).
  constexpr double kRange = 1 << 27;
  auto ok = [&](const PLEXA::CDPOINT& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::fabs(p.x) < kRange &&
           std::fabs(p.y) < kRange;
  };
  for (INT_PTR i = 0; i < paths.GetSize(); ++i) {
    const CBPointArray* path = paths.GetAt(static_cast<int>(i));
    if (path == nullptr || path->GetSize() < 2) continue;
    r::Figure f;
    f.closed = true;
    bool good = true;
    const PLEXA::CBPOINT* nodes = path->GetData();
    for (INT_PTR k = 0; k < path->GetSize() && good; ++k)
      good = ok(nodes[k].in) && ok(nodes[k].anchor) && ok(nodes[k].out);
    if (!good) continue;
    f.points.push_back({nodes[0].anchor.x, nodes[0].anchor.y});
    for (INT_PTR k = 0; k + 1 < path->GetSize(); ++k) {
      const PLEXA::CBPOINT& a = nodes[k];
      const PLEXA::CBPOINT& b = nodes[k + 1];
      r::FlattenBezier({a.anchor.x, a.anchor.y}, {a.out.x, a.out.y}, {b.in.x, b.in.y},
                       {b.anchor.x, b.anchor.y}, kRenderFlatness, kRenderMaxSteps, f.points);
    }
    figures.push_back(std::move(f));
  }
  r::Coverage cov(width, height);
  r::FillEvenOdd(figures, cov);
  cov.Finish();
  for (const r::Span& s : cov.Spans())
    std::fill(mask.begin() + static_cast<std::ptrdiff_t>(s.y) * width + s.x0,
              mask.begin() + static_cast<std::ptrdiff_t>(s.y) * width + s.x1 + 1, 1);
  return true;
}
