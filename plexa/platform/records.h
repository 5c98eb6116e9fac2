// Integer types, geometry records and handles of the host platform, with the Windows names
// and layouts that hosts already pass around. Plain values: no invariants beyond their fields.
//
//   CRect rc(0, 0, 640, 480);          // left, top, right, bottom
//   LONG w = rc.Width();                // 640
//   COLORREF red = RGB(255, 0, 0);      // 0x000000FF: red is the lowest byte
#pragma once

#include <cstddef>
#include <cstdint>

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using UINT = std::uint32_t;
using BOOL = int;
using INT_PTR = std::ptrdiff_t;
using COLORREF = std::uint32_t;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

// 0x00BBGGRR, red in the lowest byte.
constexpr COLORREF RGB(BYTE r, BYTE g, BYTE b) {
  return static_cast<COLORREF>(r) | (static_cast<COLORREF>(g) << 8) |
         (static_cast<COLORREF>(b) << 16);
}
constexpr BYTE GetRValue(COLORREF c) {
  return static_cast<BYTE>(c & 0xFF);
}
constexpr BYTE GetGValue(COLORREF c) {
  return static_cast<BYTE>((c >> 8) & 0xFF);
}
constexpr BYTE GetBValue(COLORREF c) {
  return static_cast<BYTE>((c >> 16) & 0xFF);
}

struct tagPOINT {
  LONG x;
  LONG y;
};
using POINT = tagPOINT;

struct tagSIZE {
  LONG cx;
  LONG cy;
};
using SIZE = tagSIZE;

struct tagRECT {
  LONG left;
  LONG top;
  LONG right;
  LONG bottom;
};
using RECT = tagRECT;

class CPoint : public tagPOINT {
 public:
  constexpr CPoint() : tagPOINT{0, 0} {}
  constexpr CPoint(LONG px, LONG py) : tagPOINT{px, py} {}
  constexpr CPoint(const tagPOINT& p) : tagPOINT(p) {}  // NOLINT: implicit like the platform's
  constexpr bool operator==(const CPoint& o) const { return x == o.x && y == o.y; }
  constexpr CPoint operator+(const CPoint& o) const { return CPoint(x + o.x, y + o.y); }
  constexpr CPoint operator-(const CPoint& o) const { return CPoint(x - o.x, y - o.y); }
  constexpr void Offset(LONG dx, LONG dy) { x += dx, y += dy; }
};

class CSize : public tagSIZE {
 public:
  constexpr CSize() : tagSIZE{0, 0} {}
  constexpr CSize(LONG w, LONG h) : tagSIZE{w, h} {}
  constexpr CSize(const tagSIZE& s) : tagSIZE(s) {}  // NOLINT
  constexpr bool operator==(const CSize& o) const { return cx == o.cx && cy == o.cy; }
};

class CRect : public tagRECT {
 public:
  constexpr CRect() : tagRECT{0, 0, 0, 0} {}
  constexpr CRect(LONG l, LONG t, LONG r, LONG b) : tagRECT{l, t, r, b} {}
  constexpr CRect(const tagRECT& r) : tagRECT(r) {}  // NOLINT
  constexpr LONG Width() const { return right - left; }
  constexpr LONG Height() const { return bottom - top; }
  constexpr CSize Size() const { return CSize(Width(), Height()); }
  constexpr CPoint TopLeft() const { return CPoint(left, top); }
  constexpr CPoint BottomRight() const { return CPoint(right, bottom); }
  constexpr CPoint CenterPoint() const { return CPoint((left + right) / 2, (top + bottom) / 2); }
  constexpr bool IsRectEmpty() const { return right <= left || bottom <= top; }
  // Half-open like the platform: the right and bottom edges are outside.
  constexpr bool PtInRect(const tagPOINT& p) const {
    return p.x >= left && p.x < right && p.y >= top && p.y < bottom;
  }
  constexpr void SetRect(LONG l, LONG t, LONG r, LONG b) {
    left = l, top = t, right = r, bottom = b;
  }
  constexpr void OffsetRect(LONG dx, LONG dy) { left += dx, right += dx, top += dy, bottom += dy; }
  constexpr void InflateRect(LONG dx, LONG dy) { left -= dx, right += dx, top -= dy, bottom += dy; }
  constexpr void NormalizeRect() {
    if (left > right) {
      LONG t = left;
      left = right;
      right = t;
    }
    if (top > bottom) {
      LONG t = top;
      top = bottom;
      bottom = t;
    }
  }
  constexpr bool operator==(const CRect& o) const {
    return left == o.left && top == o.top && right == o.right && bottom == o.bottom;
  }
};
