#include "plexa/raster/bitmatrix.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

// Runs paint on dc, or on the screen's surface (released afterwards) when dc is null.
template <class F>
void WithSurface(CDC* dc, F paint) {
  if (dc != nullptr) {
    paint(dc->GetSafeHdc());
    return;
  }
  HDC screen = GetDC(nullptr);
  if (screen == nullptr) return;
  paint(screen);
  ReleaseDC(nullptr, screen);
}

}  // namespace

CBitMatrix::CBitMatrix(const CBitMatrix& other)
    : m_width(other.m_width), m_height(other.m_height), m_bytesPerRow(other.m_bytesPerRow) {
  if (other.m_bits) {
    const std::size_t n =
        static_cast<std::size_t>(m_bytesPerRow) * static_cast<std::size_t>(m_height);
    m_bits = std::make_unique<unsigned char[]>(n);
    std::memcpy(m_bits.get(), other.m_bits.get(), n);
  }
}

CBitMatrix& CBitMatrix::operator=(const CBitMatrix& other) {
  if (this != &other) {
    CBitMatrix copy(other);
    *this = std::move(copy);
  }
  return *this;
}

void CBitMatrix::SetSize(int w, int h) {
  m_bits.reset();
  const std::int64_t width = std::int64_t{w} + 1, height = std::int64_t{h} + 1;
  const std::int64_t bpr = width > 0 ? (width + 7) / 8 : 0;
  if (width > 0 && height > 0 && bpr * height > kMaxMatrixBytes) throw std::bad_alloc();
  // w + 1 of INT32_MAX does not fit an int; such a matrix has no cells anyway (or threw above).
  m_width = static_cast<int>(std::min<std::int64_t>(width, INT32_MAX));
  m_height = static_cast<int>(std::min<std::int64_t>(height, INT32_MAX));
  m_bytesPerRow = static_cast<int>(bpr);
  if (width > 0 && height > 0) {
    m_bits = std::make_unique<unsigned char[]>(static_cast<std::size_t>(bpr * height));  // zeroed
  }
}

const unsigned char* CBitMatrix::getP(int x, int y, int& mask) const {
  if (x < 0 || x >= m_width || y < 0 || y >= m_height || !m_bits) {
    mask = 0;
    return nullptr;
  }
  mask = 1 << (x % 8);
  return m_bits.get() + static_cast<std::size_t>(y) * static_cast<std::size_t>(m_bytesPerRow) +
         static_cast<std::size_t>(x / 8);
}

unsigned char* CBitMatrix::getP(int x, int y, int& mask) {
  return const_cast<unsigned char*>(static_cast<const CBitMatrix*>(this)->getP(x, y, mask));
}

bool CBitMatrix::Get(int x, int y) const {
  int mask;
  const unsigned char* p = getP(x, y, mask);
  return p != nullptr && (*p & mask) != 0;
}

void CBitMatrix::Set(int x, int y) {
  int mask;
  if (unsigned char* p = getP(x, y, mask)) *p = static_cast<unsigned char>(*p | mask);
}

void CBitMatrix::Clear(int x, int y) {
  int mask;
  if (unsigned char* p = getP(x, y, mask)) *p = static_cast<unsigned char>(*p & ~mask);
}

void CBitMatrix::Set(int x, int y, bool on) {
  if (on) {
    Set(x, y);
  } else {
    Clear(x, y);
  }
}

void CBitMatrix::Toggle(int x, int y) {
  int mask;
  if (unsigned char* p = getP(x, y, mask)) *p = static_cast<unsigned char>(*p ^ mask);
}

void CBitMatrix::Dump(CDC* dc) const {
  WithSurface(dc, [&](HDC h) {
    for (int y = 0; y < m_height; ++y) {
      for (int x = 0; x < m_width; ++x) ::SetPixel(h, x, y, Get(x, y) ? 0xFFFFFF : 0x000000);
    }
  });
}

void CByteMatrix::SetSize(int w, int h) {
  m_rows.clear();
  if (w > 0 && h > 0 && std::int64_t{w} * h > kMaxMatrixBytes) throw std::bad_alloc();
  m_width = w;
  m_height = h;
  if (h > 0)
    m_rows.assign(static_cast<std::size_t>(h),
                  std::vector<unsigned char>(w > 0 ? static_cast<std::size_t>(w) : 0, 0));
}

unsigned char CByteMatrix::Get(int x, int y) const {
  if (x < 0 || x >= m_width || y < 0 || y >= m_height) return 0;
  return m_rows[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)];
}

void CByteMatrix::Set(int x, int y, unsigned char v) {
  if (x < 0 || x >= m_width || y < 0 || y >= m_height) return;
  m_rows[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] = v;
}

void CByteMatrix::SetAll(unsigned char v) {
  for (auto& row : m_rows) std::fill(row.begin(), row.end(), v);
}

void CByteMatrix::SetAllIf(unsigned char from, unsigned char to) {
  for (auto& row : m_rows) std::replace(row.begin(), row.end(), from, to);
}

bool CByteMatrix::Hit(int x, int y, int r, unsigned char v) const {
  if (r < 0) return false;
  // Cells outside read as 0 and never hit, so the scan is clipped to the matrix; the order of
  // the cells visited inside it is unchanged.
  const std::int64_t y0 = std::max<std::int64_t>(std::int64_t{y} - r, 0);
  const std::int64_t y1 = std::min<std::int64_t>(std::int64_t{y} + r, std::int64_t{m_height} - 1);
  const std::int64_t x0 = std::max<std::int64_t>(std::int64_t{x} - r, 0);
  const std::int64_t x1 = std::min<std::int64_t>(std::int64_t{x} + r, std::int64_t{m_width} - 1);
  for (std::int64_t yy = y0; yy <= y1; ++yy) {
    const auto& row = m_rows[static_cast<std::size_t>(yy)];
    for (std::int64_t xx = x0; xx <= x1; ++xx) {
      const unsigned char c = row[static_cast<std::size_t>(xx)];
      if (c != 0 && c != v) return true;
    }
  }
  return false;
}

void CByteMatrix::Dump(CDC* dc) const {
  static constexpr COLORREF kColours[8] = {0x000000, 0x0000FF, 0x00FF00, 0xFF0000,
                                           0x00FFFF, 0xFF00FF, 0xFFFF00, 0xFFFFFF};
  WithSurface(dc, [&](HDC h) {
    for (int y = 0; y < m_height; ++y) {
      for (int x = 0; x < m_width; ++x) ::SetPixel(h, x, y, kColours[Get(x, y) & 7]);
    }
  });
}
