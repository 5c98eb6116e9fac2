// The value types every outline passes through: points, Bezier nodes, rectangles, line
// segments and single cubic segments. Plain data in namespace PLEXA, copied by value.
//
//   PLEXA::CBPOINT corner(p, p, p);                 // a corner node: controls on the anchor
//   PLEXA::CDRECT box(0, 10, 0, 20);                // xmin, xmax, ymin, ymax: x bounds first
//   PLEXA::CDPOINT g = PLEXA::Quantize(pt, 0.5);    // floor to the grid, not round
//
// The node attribute word belongs to the host: every node built from coordinates has it 0,
// every whole-node copy keeps it, and the library never reads it.
#pragma once

#include <cmath>
#include <cstddef>

#include "plexa/platform/array.h"

namespace PLEXA {

// Anchors coincide when both |dx| and |dy| are below this, tested per coordinate.
inline constexpr double kCoincide = 1e-8;
// Two control handles are distinct only at a Euclidean distance of at least this.
inline constexpr double kHandleDistinct = 0.1;

struct CDPOINT {
  double x = 0;
  double y = 0;
  constexpr CDPOINT() = default;
  constexpr CDPOINT(double px, double py) : x(px), y(py) {}

  constexpr CDPOINT& operator+=(const CDPOINT& o) {
    x += o.x;
    y += o.y;
    return *this;
  }
  constexpr CDPOINT& operator-=(const CDPOINT& o) {
    x -= o.x;
    y -= o.y;
    return *this;
  }
  constexpr CDPOINT& operator*=(double s) {
    x *= s;
    y *= s;
    return *this;
  }
  constexpr CDPOINT& operator/=(double s) {
    x /= s;
    y /= s;
    return *this;
  }
  friend constexpr CDPOINT operator+(CDPOINT a, const CDPOINT& b) { return a += b; }
  friend constexpr CDPOINT operator-(CDPOINT a, const CDPOINT& b) { return a -= b; }
  friend constexpr CDPOINT operator-(const CDPOINT& a) { return CDPOINT(-a.x, -a.y); }
  friend constexpr CDPOINT operator*(CDPOINT a, double s) { return a *= s; }
  friend constexpr CDPOINT operator*(double s, CDPOINT a) { return a *= s; }
  friend constexpr CDPOINT operator/(CDPOINT a, double s) { return a /= s; }
  // Exact comparison, for containers and tests; geometry uses the tolerances above.
  friend constexpr bool operator==(const CDPOINT& a, const CDPOINT& b) {
    return a.x == b.x && a.y == b.y;
  }
};

struct CFPOINT {
  float x = 0;
  float y = 0;
  constexpr CFPOINT() = default;
  constexpr CFPOINT(float px, float py) : x(px), y(py) {}
  friend constexpr bool operator==(const CFPOINT& a, const CFPOINT& b) {
    return a.x == b.x && a.y == b.y;
  }
};

struct CBPOINT {
  CDPOINT in;               // incoming control: second control point of the segment ending here
  CDPOINT anchor;           // the on-curve point
  CDPOINT out;              // outgoing control: first control point of the segment starting here
  unsigned short attr = 0;  // host's attribute word; never interpreted
  constexpr CBPOINT() = default;
  constexpr CBPOINT(const CDPOINT& i, const CDPOINT& a, const CDPOINT& o)
      : in(i), anchor(a), out(o) {}
  // Exact comparison of all six coordinates and the attribute word, for tests and containers.
  friend constexpr bool operator==(const CBPOINT& a, const CBPOINT& b) {
    return a.in == b.in && a.anchor == b.anchor && a.out == b.out && a.attr == b.attr;
  }
};

struct CDRECT {
  double xmin = 0;
  double xmax = 0;
  double ymin = 0;
  double ymax = 0;
  constexpr CDRECT() = default;
  constexpr CDRECT(double x0, double x1, double y0, double y1)
      : xmin(x0), xmax(x1), ymin(y0), ymax(y1) {}
  constexpr double Width() const { return xmax - xmin; }
  constexpr double Height() const { return ymax - ymin; }
  friend constexpr bool operator==(const CDRECT& a, const CDRECT& b) {
    return a.xmin == b.xmin && a.xmax == b.xmax && a.ymin == b.ymin && a.ymax == b.ymax;
  }
};

struct CDLINE {
  CDPOINT p1;
  CDPOINT p2;
  constexpr CDLINE() = default;
  constexpr CDLINE(const CDPOINT& a, const CDPOINT& b) : p1(a), p2(b) {}
};

struct CFLINE {
  CFPOINT p1;
  CFPOINT p2;
  constexpr CFLINE() = default;
  constexpr CFLINE(const CFPOINT& a, const CFPOINT& b) : p1(a), p2(b) {}
};

struct CBEZIER {
  CDPOINT p[4];  // P0, P1, P2, P3
  constexpr CBEZIER() = default;
};

// Floor to the grid: floor(v / q) * q, division first. A step of 0 gives non-finite values.
inline CDPOINT Quantize(const CDPOINT& p, double q) {
  return CDPOINT(std::floor(p.x / q) * q, std::floor(p.y / q) * q);
}

// A new node with each point quantised; the attribute word is 0, as for every built node.
inline CBPOINT Quantize(const CBPOINT& n, double q) {
  return CBPOINT(Quantize(n.in, q), Quantize(n.anchor, q), Quantize(n.out, q));
}

// floor(v + 0.5), the library's rounding of coordinates to integer pixels and points, with
// NaN as 0 and values beyond the 32-bit range saturated (a plain cast would be undefined).
inline LONG RoundToLong(double v) {
  if (std::isnan(v)) return 0;
  const double r = std::floor(v + 0.5);
  if (r <= -2147483648.0) return -2147483647 - 1;
  if (r >= 2147483647.0) return 2147483647;
  return static_cast<LONG>(r);
}

}  // namespace PLEXA

static_assert(sizeof(PLEXA::CDPOINT) == 16);
static_assert(sizeof(PLEXA::CBPOINT) == 56, "the archive record of a node is the node's 56 bytes");
static_assert(offsetof(PLEXA::CBPOINT, attr) == 48);

namespace plexa_detail {
// A node's record: 48 bytes of coordinates, the attribute word at 48, then 6 reserved bytes
// written as zeros.
template <>
struct ArchiveRecord<PLEXA::CBPOINT> {
  static constexpr std::size_t kSize = 56;
  static constexpr std::size_t kDataBytes = 50;
};
}  // namespace plexa_detail
