// The object table, bitmaps, pens, brushes and drawing surfaces of gdi.h.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <unordered_map>

#include "plexa/platform/internal/gdi_objects.h"

namespace plexa::gdi {
namespace {

class Table {
 public:
  Table() {
    const BYTE greys[5] = {255, 192, 128, 64, 0};  // white .. black brushes, in index order
    for (int i = 0; i < 5; ++i) {
      auto b = std::make_unique<Brush>();
      b->color = RGB(greys[i], greys[i], greys[i]);
      stock_[i] = Adopt(std::move(b), true);
    }
    auto nullBrush = std::make_unique<Brush>();
    nullBrush->style = BS_NULL;
    stock_[NULL_BRUSH] = Adopt(std::move(nullBrush), true);
    const COLORREF pens[3] = {RGB(255, 255, 255), RGB(0, 0, 0), 0};
    for (int i = 0; i < 3; ++i) {
      auto p = std::make_unique<Pen>();
      p->color = pens[i];
      if (i == 2) p->style = PS_NULL;
      stock_[WHITE_PEN + i] = Adopt(std::move(p), true);
    }
    auto def = std::make_unique<Bitmap>();
    def->width = def->rows = 1;
    def->bpp = 1;
    def->stride = 2;
    def->dib = false;
    default_bitmap_ = static_cast<Bitmap*>(Adopt(std::move(def), true));
  }

  std::mutex& Mutex() { return mutex_; }

  // The caller holds the lock (or is the constructor).
  Object* Adopt(std::unique_ptr<Object> o, bool stock = false) {
    o->stock = stock;
    Object* raw = o.get();
    objects_.emplace(raw, std::move(o));
    return raw;
  }
  Object* Lookup(const void* h) const {
    if (h == nullptr) return nullptr;
    auto it = objects_.find(h);
    return it == objects_.end() ? nullptr : it->second.get();
  }
  void Erase(Object* o) { objects_.erase(o); }

  Object* Stock(int index) const {
    return index >= 0 && index <= NULL_PEN ? stock_[index] : nullptr;
  }
  Bitmap* DefaultBitmap() const { return default_bitmap_; }

  // The screen's 32-bit surface, made on first use; nullptr when memory runs out.
  Bitmap* Screen() {
    if (screen_ == nullptr) {
      auto s = std::make_unique<Bitmap>();
      s->width = kScreenWidth;
      s->rows = kScreenHeight;
      s->bpp = 32;
      s->topDown = true;
      s->stride = std::int64_t{kScreenWidth} * 4;
      s->dib = false;
      try {
        s->buffer.assign(static_cast<std::size_t>(kScreenWidth) * kScreenHeight, 0);
      } catch (const std::bad_alloc&) {
        return nullptr;
      }
      screen_ = static_cast<Bitmap*>(Adopt(std::move(s), true));
    }
    return screen_;
  }

 private:
  std::mutex mutex_;
  std::unordered_map<const void*, std::unique_ptr<Object>> objects_;
  Object* stock_[NULL_PEN + 1] = {};
  Bitmap* default_bitmap_ = nullptr;
  Bitmap* screen_ = nullptr;
};

Table& TheTable() {
  static Table table;
  return table;
}

template <class H>
H HandleOf(Object* o) {
  return reinterpret_cast<H>(o);
}

void Deselect(Pen* p) {
  if (p && !p->stock) --p->selected;
}
void Deselect(Brush* b) {
  if (b && !b->stock) --b->selected;
}
void Deselect(Font* f) {
  if (f) --f->selected;
}

}  // namespace

void* Adopt(std::unique_ptr<Object> object) {
  Table& t = TheTable();
  std::lock_guard lock(t.Mutex());
  return t.Adopt(std::move(object));
}

Object* Find(const void* handle, Kind k) {
  Table& t = TheTable();
  std::lock_guard lock(t.Mutex());
  Object* o = t.Lookup(handle);
  return o && o->kind == k ? o : nullptr;
}

std::uint32_t RawMask(const Bitmap& b) {
  return b.bpp == 1 ? 1u : b.bpp == 8 ? 0xFFu : 0xFFFFFFu;
}

std::uint32_t ToRaw(const Bitmap& b, COLORREF c) {
  if (b.bpp >= 24)
    return GetBValue(c) | (std::uint32_t{GetGValue(c)} << 8) | (std::uint32_t{GetRValue(c)} << 16);
  // Nearest palette entry; the first of equally near entries wins.
  std::uint32_t best = 0;
  int bestDistance = 0x7FFFFFFF;
  for (std::size_t i = 0; i < b.palette.size(); ++i) {
    const RGBQUAD& q = b.palette[i];
    const int dr = q.rgbRed - GetRValue(c), dg = q.rgbGreen - GetGValue(c),
              db = q.rgbBlue - GetBValue(c);
    const int d = dr * dr + dg * dg + db * db;
    if (d < bestDistance) {
      bestDistance = d;
      best = static_cast<std::uint32_t>(i);
    }
  }
  return best;
}

COLORREF FromRaw(const Bitmap& b, std::uint32_t raw) {
  if (b.bpp >= 24) return RGB((raw >> 16) & 0xFF, (raw >> 8) & 0xFF, raw & 0xFF);
  if (raw >= b.palette.size()) return 0;
  const RGBQUAD& q = b.palette[raw];
  return RGB(q.rgbRed, q.rgbGreen, q.rgbBlue);
}

std::uint32_t ReadRaw(const Bitmap& b, int x, int y) {
  const BYTE* row = b.Row(y);
  switch (b.bpp) {
    case 1:
      return (row[x >> 3] >> (7 - (x & 7))) & 1u;
    case 8:
      return row[x];
    case 24:
      return row[3 * x] | (std::uint32_t{row[3 * x + 1]} << 8) |
             (std::uint32_t{row[3 * x + 2]} << 16);
    default:
      return row[4 * x] | (std::uint32_t{row[4 * x + 1]} << 8) |
             (std::uint32_t{row[4 * x + 2]} << 16);
  }
}

void WriteRaw(Bitmap& b, int x, int y, std::uint32_t raw) {
  PaintSpan(b, y, x, x, raw);
}

void PaintSpan(Bitmap& b, int y, int x0, int x1, std::uint32_t raw) {
  BYTE* row = b.Row(y);
  switch (b.bpp) {
    case 1: {
      const int b0 = x0 >> 3, b1 = x1 >> 3;
      const BYTE m0 = static_cast<BYTE>(0xFF >> (x0 & 7));
      const BYTE m1 = static_cast<BYTE>(0xFF << (7 - (x1 & 7)));
      auto apply = [&](int i, BYTE m) { row[i] = raw ? BYTE(row[i] | m) : BYTE(row[i] & ~m); };
      if (b0 == b1) {
        apply(b0, m0 & m1);
      } else {
        apply(b0, m0);
        if (b1 > b0 + 1)
          std::memset(row + b0 + 1, raw ? 0xFF : 0, static_cast<std::size_t>(b1 - b0 - 1));
        apply(b1, m1);
      }
      break;
    }
    case 8:
      std::memset(row + x0, static_cast<int>(raw), static_cast<std::size_t>(x1 - x0 + 1));
      break;
    case 24:
      for (int x = x0; x <= x1; ++x) {
        row[3 * x] = static_cast<BYTE>(raw);
        row[3 * x + 1] = static_cast<BYTE>(raw >> 8);
        row[3 * x + 2] = static_cast<BYTE>(raw >> 16);
      }
      break;
    default: {
      // Rows start at multiples of 4 bytes of a buffer of 32-bit units: these are those units.
      std::uint32_t* p = reinterpret_cast<std::uint32_t*>(row);
      std::fill(p + x0, p + x1 + 1, raw & 0xFFFFFFu);
      break;
    }
  }
}

void Paint(Bitmap& b, const rasterizer::Coverage& c, std::uint32_t raw) {
  for (const rasterizer::Span& s : c.Spans()) PaintSpan(b, s.y, s.x0, s.x1, raw);
}

}  // namespace plexa::gdi

using namespace plexa::gdi;

HBITMAP CreateDIBSection(HDC, const BITMAPINFO* info, UINT usage, void** bits, HANDLE, DWORD) {
  if (bits) *bits = nullptr;
  if (info == nullptr || usage != DIB_RGB_COLORS) return nullptr;
  const BITMAPINFOHEADER& h = info->bmiHeader;
  if (h.biSize < sizeof(BITMAPINFOHEADER) || h.biWidth <= 0 || h.biHeight == 0 ||
      h.biHeight == INT32_MIN || h.biPlanes != 1 || h.biCompression != BI_RGB) {
    return nullptr;
  }
  const int bpp = h.biBitCount;
  if (bpp != 1 && bpp != 8 && bpp != 24 && bpp != 32) return nullptr;
  const std::int64_t stride = ((std::int64_t{h.biWidth} * bpp + 31) >> 5) * 4;
  const std::int64_t rows = h.biHeight < 0 ? -std::int64_t{h.biHeight} : h.biHeight;
  if (stride > kMaxBitmapBytes / rows) return nullptr;
  const std::int64_t bytes = stride * rows;

  auto b = std::make_unique<Bitmap>();
  b->width = h.biWidth;
  b->rows = static_cast<int>(rows);
  b->bpp = bpp;
  b->topDown = h.biHeight < 0;
  b->stride = stride;
  b->header = h;
  b->header.biSize = sizeof(BITMAPINFOHEADER);
  b->header.biSizeImage = static_cast<DWORD>(bytes);
  if (bpp <= 8) {
    const DWORD full = 1u << bpp;
    const DWORD n = h.biClrUsed == 0 ? full : std::min(h.biClrUsed, full);
    b->palette.resize(n);
    // The colour table starts biSize bytes after the start of the record.
    std::memcpy(b->palette.data(), reinterpret_cast<const BYTE*>(info) + h.biSize,
                n * sizeof(RGBQUAD));
  }
  try {
    b->buffer.assign(static_cast<std::size_t>((bytes + 3) / 4), 0);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  Table& t = TheTable();
  std::lock_guard lock(t.Mutex());
  Object* o = t.Adopt(std::move(b));
  if (bits) *bits = static_cast<Bitmap*>(o)->Bits();
  return HandleOf<HBITMAP>(o);
}

int GetObjectW(HANDLE object, int size, LPVOID buffer) {
  Table& t = TheTable();
  std::lock_guard lock(t.Mutex());
  Object* o = t.Lookup(object);
  if (o == nullptr) return 0;
  auto give = [&](const void* record, int n) {
    if (buffer == nullptr) return n;
    if (size < n) return 0;
    std::memcpy(buffer, record, static_cast<std::size_t>(n));
    return n;
  };
  switch (o->kind) {
    case Kind::Bitmap: {
      auto* b = static_cast<Bitmap*>(o);
      DIBSECTION ds{};
      ds.dsBm.bmWidth = b->width;
      ds.dsBm.bmHeight = b->rows;
      ds.dsBm.bmWidthBytes = static_cast<LONG>(b->stride);
      ds.dsBm.bmPlanes = 1;
      ds.dsBm.bmBitsPixel = static_cast<WORD>(b->bpp);
      ds.dsBm.bmBits = b->dib ? b->Bits() : nullptr;
      if (b->dib && buffer != nullptr && size >= static_cast<int>(sizeof(DIBSECTION))) {
        ds.dsBmih = b->header;
        return give(&ds, sizeof(DIBSECTION));
      }
      return give(&ds.dsBm, sizeof(BITMAP));
    }
    case Kind::Pen: {
      auto* p = static_cast<Pen*>(o);
      const LOGPEN lp{static_cast<UINT>(p->style), {p->width, 0}, p->color};
      return give(&lp, sizeof(LOGPEN));
    }
    case Kind::Brush: {
      auto* br = static_cast<Brush*>(o);
      const LOGBRUSH lb{br->style, br->color, 0};
      return give(&lb, sizeof(LOGBRUSH));
    }
    default:
      return 0;
  }
}

BOOL DeleteObject(HGDIOBJ object) {
  Table& t = TheTable();
  std::lock_guard lock(t.Mutex());
  Object* o = t.Lookup(object);
  if (o == nullptr || o->kind == Kind::Dc) return FALSE;
  if (o->stock) return TRUE;
  if (o->kind == Kind::Bitmap && static_cast<Bitmap*>(o)->selectedInto) return FALSE;
  if (o->kind == Kind::Pen && static_cast<Pen*>(o)->selected > 0) return FALSE;
  if (o->kind == Kind::Brush && static_cast<Brush*>(o)->selected > 0) return FALSE;
  if (o->kind == Kind::Font && static_cast<Font*>(o)->selected > 0) return FALSE;
  t.Erase(o);
  return TRUE;
}

BOOL GdiFlush() {
  return TRUE;
}

HGDIOBJ GetStockObject(int index) {
  Table& t = TheTable();
  std::lock_guard lock(t.Mutex());
  return t.Stock(index);
}

HPEN CreatePen(int style, int width, COLORREF color) {
  if (style < PS_SOLID || style > PS_INSIDEFRAME || width < 0 || width > kMaxCoordinate)
    return nullptr;
  auto p = std::make_unique<Pen>();
  p->style = style;
  p->width = width;
  p->color = color & 0xFFFFFF;
  Table& t = TheTable();
  std::lock_guard lock(t.Mutex());
  return HandleOf<HPEN>(t.Adopt(std::move(p)));
}

HBRUSH CreateSolidBrush(COLORREF color) {
  auto b = std::make_unique<Brush>();
  b->color = color & 0xFFFFFF;
  Table& t = TheTable();
  std::lock_guard lock(t.Mutex());
  return HandleOf<HBRUSH>(t.Adopt(std::move(b)));
}

namespace {

HDC NewDc(Table& t, bool screen, Bitmap* bitmap) {
  auto d = std::make_unique<Dc>();
  d->screen = screen;
  d->bitmap = bitmap;
  d->pen = static_cast<Pen*>(t.Stock(BLACK_PEN));
  d->brush = static_cast<Brush*>(t.Stock(WHITE_BRUSH));
  return HandleOf<HDC>(t.Adopt(std::move(d)));
}

void ReleaseSelections(Dc* d) {
  if (d->bitmap && d->bitmap->selectedInto == d) d->bitmap->selectedInto = nullptr;
  Deselect(d->pen);
  Deselect(d->brush);
  Deselect(d->font);
}

}  // namespace

HDC CreateCompatibleDC(HDC dc) {
  Table& t = TheTable();
  std::lock_guard lock(t.Mutex());
  if (dc != nullptr) {
    Object* o = t.Lookup(dc);
    if (o == nullptr || o->kind != Kind::Dc) return nullptr;
  }
  return NewDc(t, false, t.DefaultBitmap());
}

HDC plexa::gdi::NewDisplayDc() {
  Table& t = TheTable();
  std::lock_guard lock(t.Mutex());
  Bitmap* screen = t.Screen();
  if (screen == nullptr) return nullptr;
  HDC dc = NewDc(t, false, screen);
  static_cast<Dc*>(t.Lookup(dc))->display = true;
  return dc;
}

BOOL DeleteDC(HDC dc) {
  Table& t = TheTable();
  std::lock_guard lock(t.Mutex());
  Object* o = t.Lookup(dc);
  if (o == nullptr || o->kind != Kind::Dc || static_cast<Dc*>(o)->screen) return FALSE;
  ReleaseSelections(static_cast<Dc*>(o));
  t.Erase(o);
  return TRUE;
}

HDC GetDC(HWND window) {
  if (window != nullptr) return nullptr;
  Table& t = TheTable();
  std::lock_guard lock(t.Mutex());
  Bitmap* screen = t.Screen();
  return screen ? NewDc(t, true, screen) : nullptr;
}

int ReleaseDC(HWND, HDC dc) {
  Table& t = TheTable();
  std::lock_guard lock(t.Mutex());
  Object* o = t.Lookup(dc);
  if (o == nullptr || o->kind != Kind::Dc || !static_cast<Dc*>(o)->screen) return 0;
  ReleaseSelections(static_cast<Dc*>(o));
  t.Erase(o);
  return 1;
}

HGDIOBJ SelectObject(HDC dc, HGDIOBJ object) {
  Table& t = TheTable();
  std::lock_guard lock(t.Mutex());
  Object* d = t.Lookup(dc);
  Object* o = t.Lookup(object);
  if (d == nullptr || d->kind != Kind::Dc || o == nullptr) return nullptr;
  auto* surface = static_cast<Dc*>(d);
  switch (o->kind) {
    case Kind::Bitmap: {
      auto* b = static_cast<Bitmap*>(o);
      if (surface->screen || surface->display || (b->selectedInto && b->selectedInto != surface))
        return nullptr;
      if (!b->stock && !b->dib) return nullptr;
      Bitmap* old = surface->bitmap;
      if (old && old->selectedInto == surface) old->selectedInto = nullptr;
      surface->bitmap = b;
      if (!b->stock) b->selectedInto = surface;
      return old;
    }
    case Kind::Pen: {
      auto* p = static_cast<Pen*>(o);
      Pen* old = surface->pen;
      Deselect(old);
      if (!p->stock) ++p->selected;
      surface->pen = p;
      return old;
    }
    case Kind::Brush: {
      auto* b = static_cast<Brush*>(o);
      Brush* old = surface->brush;
      Deselect(old);
      if (!b->stock) ++b->selected;
      surface->brush = b;
      return old;
    }
    case Kind::Font: {
      auto* f = static_cast<Font*>(o);
      Font* old = surface->font;
      Deselect(old);
      ++f->selected;
      surface->font = f;
      return old;
    }
    default:
      return nullptr;
  }
}

int GetDeviceCaps(HDC dc, int index) {
  if (Find<Dc>(dc) == nullptr) return 0;
  switch (index) {
    case LOGPIXELSX:
    case LOGPIXELSY:
      return kScreenDpi;
    case HORZRES:
      return kScreenWidth;
    case VERTRES:
      return kScreenHeight;
    case BITSPIXEL:
      return 32;
    case PLANES:
      return 1;
    default:
      return 0;
  }
}

DWORD GetTickCount() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<DWORD>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}
