// Inside the drawing platform of gdi.h: the objects that handles name, the table that owns them,
// and pixel access in each bitmap format. Not part of the library's interface; gdi.h is.
//
// Invariants: every live object is owned by the table and its handle is its address; a bitmap's
// buffer holds stride * rows bytes (stride a multiple of 4) or is empty for the stock 1 x 1
// bitmap, which draws nowhere; a bitmap is selected into at most one memory surface.
#pragma once

#include <bit>
#include <cstdint>
#include <memory>
#include <vector>

#include "plexa/platform/gdi.h"
#include "plexa/platform/internal/rasterizer.h"

namespace plexa::gdi {

static_assert(std::endian::native == std::endian::little, "pixels are addressed little-endian");

enum class Kind { Bitmap, Pen, Brush, Font, Dc };

struct Object {
  explicit Object(Kind k) : kind(k) {}
  virtual ~Object() = default;
  Kind kind;
  bool stock = false;  // never deleted; not counted when selected
};

struct Dc;

struct Bitmap : Object {
  Bitmap() : Object(Kind::Bitmap) {}
  BITMAPINFOHEADER header{};
  int width = 0;
  int rows = 0;
  int bpp = 0;
  bool topDown = false;
  std::int64_t stride = 0;
  bool dib = true;                    // false: the stock bitmap, described as a plain bitmap
  std::vector<std::uint32_t> buffer;  // 32-bit units keep every row aligned for 32-bit pixels
  std::vector<RGBQUAD> palette;       // 1 and 8 bits a pixel
  Dc* selectedInto = nullptr;

  bool HasPixels() const { return !buffer.empty(); }
  BYTE* Bits() { return reinterpret_cast<BYTE*>(buffer.data()); }
  const BYTE* Bits() const { return reinterpret_cast<const BYTE*>(buffer.data()); }
  // Image line y (0 = top) wherever the rows are stored.
  BYTE* Row(int y) { return Bits() + (topDown ? y : rows - 1 - y) * stride; }
  const BYTE* Row(int y) const { return Bits() + (topDown ? y : rows - 1 - y) * stride; }
};

struct Pen : Object {
  Pen() : Object(Kind::Pen) {}
  int style = PS_SOLID;
  int width = 0;
  COLORREF color = 0;
  int selected = 0;
};

struct Brush : Object {
  Brush() : Object(Kind::Brush) {}
  UINT style = BS_SOLID;
  COLORREF color = 0;
  int selected = 0;
};

// A font face opened by the font layer (font.cpp); opaque here.
struct FaceData;

struct Font : Object {
  Font() : Object(Kind::Font) {}
  std::shared_ptr<FaceData> face;
  int selected = 0;
};

enum class PathState { None, Recording, Ended };

struct Dc : Object {
  Dc() : Object(Kind::Dc) {}
  bool screen = false;   // from GetDC: released with ReleaseDC
  bool display = false;  // from CreateDCW: draws on the screen, released with DeleteDC
  Bitmap* bitmap = nullptr;
  Font* font = nullptr;
  Pen* pen = nullptr;
  Brush* brush = nullptr;
  POINT pos{0, 0};
  PathState path = PathState::None;
  std::vector<rasterizer::Figure> figures;
  bool extendFigure = false;  // the next LineTo may continue the last figure
};

// Looks a handle up under the table's lock: the object when it is live and of kind k.
Object* Find(const void* handle, Kind k);
template <class T>
T* Find(const void* handle);
template <>
inline Bitmap* Find<Bitmap>(const void* h) {
  return static_cast<Bitmap*>(Find(h, Kind::Bitmap));
}
template <>
inline Pen* Find<Pen>(const void* h) {
  return static_cast<Pen*>(Find(h, Kind::Pen));
}
template <>
inline Brush* Find<Brush>(const void* h) {
  return static_cast<Brush*>(Find(h, Kind::Brush));
}
template <>
inline Font* Find<Font>(const void* h) {
  return static_cast<Font*>(Find(h, Kind::Font));
}
template <>
inline Dc* Find<Dc>(const void* h) {
  return static_cast<Dc*>(Find(h, Kind::Dc));
}

// Gives a new object to the table; returns its handle.
void* Adopt(std::unique_ptr<Object> object);
// A surface on the screen for CreateDCW; nullptr when memory runs out.
HDC NewDisplayDc();

// A pixel value in the bitmap's own format ("raw"): a palette index for 1 and 8 bits, blue |
// green << 8 | red << 16 for 24 and 32 bits.
std::uint32_t ToRaw(const Bitmap& b, COLORREF c);
COLORREF FromRaw(const Bitmap& b, std::uint32_t raw);
std::uint32_t RawMask(const Bitmap& b);
std::uint32_t ReadRaw(const Bitmap& b, int x, int y);
void WriteRaw(Bitmap& b, int x, int y, std::uint32_t raw);
void PaintSpan(Bitmap& b, int y, int x0, int x1, std::uint32_t raw);
void Paint(Bitmap& b, const rasterizer::Coverage& c, std::uint32_t raw);

}  // namespace plexa::gdi
