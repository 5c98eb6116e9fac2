// Drawing calls of gdi.h: lines, curves, fills, the path bracket, pixels and block copies, all
// rendered by the scan converter of raster.h into the bitmap selected into a surface.
#include <algorithm>
#include <cstdlib>
#include <span>
#include <vector>

#include "plexa/platform/internal/gdi_objects.h"

using namespace plexa::gdi;
using plexa::rasterizer::Coverage;
using plexa::rasterizer::Figure;
using plexa::rasterizer::PointD;

namespace {

// Largest distance between a Bezier curve and the lines that stand for it, in pixels.
constexpr double kFlattenTolerance = 0.1;
// Lines per Bezier segment at most, whatever its size: a bound on the work of one curve.
constexpr int kMaxFlattenSteps = 1 << 14;

__extension__ typedef __int128 i128;

bool InRange(int x, int y) {
  return std::abs(std::int64_t{x}) <= kMaxCoordinate && std::abs(std::int64_t{y}) <= kMaxCoordinate;
}

bool AllInRange(const POINT* pts, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    if (!InRange(pts[i].x, pts[i].y)) return false;
  }
  return true;
}

PointD ToD(const POINT& p) {
  return {double(p.x), double(p.y)};
}

Bitmap* Target(Dc* d) {
  return d->bitmap && d->bitmap->HasPixels() ? d->bitmap : nullptr;
}

void Stroke(Dc* d, std::span<const Figure> figures) {
  Bitmap* b = Target(d);
  if (b == nullptr || d->pen == nullptr || d->pen->style == PS_NULL) return;
  Coverage c(b->width, b->rows);
  if (d->pen->width <= 1) {
    plexa::rasterizer::StrokeThin(figures, c);
  } else {
    plexa::rasterizer::StrokeRound(figures, d->pen->width, c);
  }
  c.Finish();
  Paint(*b, c, ToRaw(*b, d->pen->color));
}

void Fill(Dc* d, std::span<const Figure> figures) {
  Bitmap* b = Target(d);
  if (b == nullptr || d->brush == nullptr || d->brush->style == BS_NULL) return;
  Coverage c(b->width, b->rows);
  plexa::rasterizer::FillEvenOdd(figures, c);
  c.Finish();
  Paint(*b, c, ToRaw(*b, d->brush->color));
}

// Records a figure inside the path bracket, or draws it at once.
void Emit(Dc* d, Figure f, bool filled) {
  if (d->path == PathState::Recording) {
    d->figures.push_back(std::move(f));
    d->extendFigure = false;
    return;
  }
  if (filled) Fill(d, {&f, 1});
  Stroke(d, {&f, 1});
}

Figure BezierFigure(const POINT* pts, DWORD count) {
  Figure f;
  f.points.push_back(ToD(pts[0]));
  for (DWORD i = 0; i + 3 < count; i += 3) {
    plexa::rasterizer::FlattenBezier(ToD(pts[i]), ToD(pts[i + 1]), ToD(pts[i + 2]), ToD(pts[i + 3]),
                                     kFlattenTolerance, kMaxFlattenSteps, f.points);
  }
  return f;
}

}  // namespace

BOOL MoveToEx(HDC dc, int x, int y, POINT* previous) {
  Dc* d = Find<Dc>(dc);
  if (d == nullptr || !InRange(x, y)) return FALSE;
  if (previous) *previous = d->pos;
  d->pos = {x, y};
  d->extendFigure = false;
  return TRUE;
}

BOOL LineTo(HDC dc, int x, int y) {
  Dc* d = Find<Dc>(dc);
  if (d == nullptr || !InRange(x, y)) return FALSE;
  const PointD from = ToD(d->pos), to{double(x), double(y)};
  d->pos = {x, y};
  if (d->path == PathState::Recording) {
    if (d->extendFigure && !d->figures.empty()) {
      d->figures.back().points.push_back(to);
    } else {
      d->figures.push_back(Figure{{from, to}, false});
    }
    d->extendFigure = true;
    return TRUE;
  }
  Figure f{{from, to}, false};
  Stroke(d, {&f, 1});
  return TRUE;
}

BOOL Polyline(HDC dc, const POINT* points, int count) {
  Dc* d = Find<Dc>(dc);
  if (d == nullptr || points == nullptr || count < 2 ||
      !AllInRange(points, static_cast<std::size_t>(count))) {
    return FALSE;
  }
  Figure f;
  for (int i = 0; i < count; ++i) f.points.push_back(ToD(points[i]));
  Emit(d, std::move(f), false);
  return TRUE;
}

BOOL Polygon(HDC dc, const POINT* points, int count) {
  Dc* d = Find<Dc>(dc);
  if (d == nullptr || points == nullptr || count < 2 ||
      !AllInRange(points, static_cast<std::size_t>(count))) {
    return FALSE;
  }
  Figure f;
  f.closed = true;
  for (int i = 0; i < count; ++i) f.points.push_back(ToD(points[i]));
  Emit(d, std::move(f), true);
  return TRUE;
}

BOOL PolyBezier(HDC dc, const POINT* points, DWORD count) {
  Dc* d = Find<Dc>(dc);
  if (d == nullptr || points == nullptr || count == 0 || (count - 1) % 3 != 0 ||
      !AllInRange(points, count)) {
    return FALSE;
  }
  if (count == 1) return TRUE;  // no curve
  Emit(d, BezierFigure(points, count), false);
  return TRUE;
}

BOOL BeginPath(HDC dc) {
  Dc* d = Find<Dc>(dc);
  if (d == nullptr) return FALSE;
  d->figures.clear();
  d->path = PathState::Recording;
  d->extendFigure = false;
  return TRUE;
}

BOOL EndPath(HDC dc) {
  Dc* d = Find<Dc>(dc);
  if (d == nullptr || d->path != PathState::Recording) return FALSE;
  d->path = PathState::Ended;
  return TRUE;
}

BOOL CloseFigure(HDC dc) {
  Dc* d = Find<Dc>(dc);
  if (d == nullptr || d->path != PathState::Recording) return FALSE;
  if (d->extendFigure && !d->figures.empty()) d->figures.back().closed = true;
  d->extendFigure = false;
  return TRUE;
}

BOOL AbortPath(HDC dc) {
  Dc* d = Find<Dc>(dc);
  if (d == nullptr) return FALSE;
  d->figures.clear();
  d->path = PathState::None;
  return TRUE;
}

namespace {

BOOL DrawPath(HDC dc, bool fill, bool stroke) {
  Dc* d = Find<Dc>(dc);
  if (d == nullptr || d->path != PathState::Ended) return FALSE;
  // Filling closes every open figure, and StrokeAndFillPath strokes the closed figures.
  if (fill) {
    for (Figure& f : d->figures) f.closed = true;
    Fill(d, d->figures);
  }
  if (stroke) Stroke(d, d->figures);
  d->figures.clear();
  d->path = PathState::None;
  return TRUE;
}

}  // namespace

BOOL StrokePath(HDC dc) {
  return DrawPath(dc, false, true);
}
BOOL FillPath(HDC dc) {
  return DrawPath(dc, true, false);
}
BOOL StrokeAndFillPath(HDC dc) {
  return DrawPath(dc, true, true);
}

BOOL FillRect(HDC dc, const RECT* rect, HBRUSH brush) {
  Dc* d = Find<Dc>(dc);
  Brush* br = Find<Brush>(brush);
  if (d == nullptr || br == nullptr || rect == nullptr) return FALSE;
  Bitmap* b = Target(d);
  if (b == nullptr || br->style == BS_NULL) return TRUE;
  const std::int64_t x0 = std::max<std::int64_t>(rect->left, 0);
  const std::int64_t x1 = std::min<std::int64_t>(rect->right, b->width) - 1;
  const std::int64_t y0 = std::max<std::int64_t>(rect->top, 0);
  const std::int64_t y1 = std::min<std::int64_t>(rect->bottom, b->rows) - 1;
  const std::uint32_t raw = ToRaw(*b, br->color);
  for (std::int64_t y = y0; y <= y1 && x0 <= x1; ++y) {
    PaintSpan(*b, static_cast<int>(y), static_cast<int>(x0), static_cast<int>(x1), raw);
  }
  return TRUE;
}

COLORREF SetPixel(HDC dc, int x, int y, COLORREF color) {
  Dc* d = Find<Dc>(dc);
  Bitmap* b = d ? Target(d) : nullptr;
  if (b == nullptr || x < 0 || y < 0 || x >= b->width || y >= b->rows) return CLR_INVALID;
  const std::uint32_t raw = ToRaw(*b, color & 0xFFFFFF);
  WriteRaw(*b, x, y, raw);
  return FromRaw(*b, raw);
}

COLORREF GetPixel(HDC dc, int x, int y) {
  Dc* d = Find<Dc>(dc);
  Bitmap* b = d ? Target(d) : nullptr;
  if (b == nullptr || x < 0 || y < 0 || x >= b->width || y >= b->rows) return CLR_INVALID;
  return FromRaw(*b, ReadRaw(*b, x, y));
}

namespace {

bool NeedsSource(DWORD rop) {
  return rop == SRCCOPY || rop == SRCPAINT || rop == SRCAND || rop == SRCINVERT ||
         rop == NOTSRCCOPY;
}

std::uint32_t Apply(DWORD rop, std::uint32_t src, std::uint32_t dst, std::uint32_t mask) {
  switch (rop) {
    case SRCCOPY:
      return src;
    case SRCPAINT:
      return src | dst;
    case SRCAND:
      return src & dst;
    case SRCINVERT:
      return src ^ dst;
    case NOTSRCCOPY:
      return ~src & mask;
    case DSTINVERT:
      return ~dst & mask;
    case BLACKNESS:
      return 0;
    default:
      return mask;  // WHITENESS
  }
}

// Which source index (0..sourceCount-1 from the low end) each destination index samples: the
// one under the destination pixel's centre.
std::int64_t Sample(std::int64_t i, std::int64_t destCount, std::int64_t sourceCount, bool mirror) {
  const std::int64_t v =
      static_cast<std::int64_t>((i128(2 * i + 1) * sourceCount) / (2 * destCount));
  return mirror ? sourceCount - 1 - v : v;
}

// The same sampling stepped along a row: floor((2i + 1) * sourceCount / (2 * destCount)) for
// i = start, start + 1, ... in exact integers, without a division per pixel.
class Stepper {
 public:
  Stepper(std::int64_t start, std::int64_t destCount, std::int64_t sourceCount)
      : den_(2 * destCount), qstep_((2 * sourceCount) / den_), rstep_((2 * sourceCount) % den_) {
    const i128 num = i128(2 * start + 1) * sourceCount;
    q_ = static_cast<std::int64_t>(num / den_);
    r_ = static_cast<std::int64_t>(num % den_);
  }
  std::int64_t Value() const { return q_; }
  void Next() {
    q_ += qstep_;
    r_ += rstep_;
    if (r_ >= den_) ++q_, r_ -= den_;
  }

 private:
  std::int64_t den_, qstep_, rstep_, q_ = 0, r_ = 0;
};

BOOL Blit(HDC dest, int x, int y, int width, int height, HDC source, int sx, int sy, int sw, int sh,
          DWORD rop) {
  const bool known = NeedsSource(rop) || rop == BLACKNESS || rop == WHITENESS || rop == DSTINVERT;
  Dc* d = Find<Dc>(dest);
  if (d == nullptr || !known) return FALSE;
  Dc* s = nullptr;
  if (NeedsSource(rop)) {
    s = Find<Dc>(source);
    if (s == nullptr) return FALSE;
  }
  Bitmap* db = Target(d);
  const Bitmap* sb = s ? Target(s) : nullptr;
  if (db == nullptr || (s && sb == nullptr) || width == 0 || height == 0) return TRUE;
  if (s && (sw == 0 || sh == 0)) return TRUE;
  if (!s) sw = width, sh = height;
  // Normalised rectangles; opposite signs of a destination and source extent mirror.
  const std::int64_t dl = std::min<std::int64_t>(x, std::int64_t{x} + width);
  const std::int64_t dt = std::min<std::int64_t>(y, std::int64_t{y} + height);
  const std::int64_t aw = std::abs(std::int64_t{width}), ah = std::abs(std::int64_t{height});
  const std::int64_t sl = std::min<std::int64_t>(sx, std::int64_t{sx} + sw);
  const std::int64_t st = std::min<std::int64_t>(sy, std::int64_t{sy} + sh);
  const std::int64_t asw = std::abs(std::int64_t{sw}), ash = std::abs(std::int64_t{sh});
  const bool mirrorX = (width < 0) != (sw < 0), mirrorY = (height < 0) != (sh < 0);

  // A copy within one bitmap reads from a snapshot, so overlapping rectangles copy correctly.
  Bitmap snapshot;
  if (sb == db) {
    snapshot = *db;
    sb = &snapshot;
  }
  const std::int64_t i0 = std::max<std::int64_t>(0, -dl),
                     i1 = std::min<std::int64_t>(aw, db->width - dl);
  const std::int64_t j0 = std::max<std::int64_t>(0, -dt),
                     j1 = std::min<std::int64_t>(ah, db->rows - dt);
  const std::uint32_t mask = RawMask(*db);
  COLORREF lastColour = CLR_INVALID;
  std::uint32_t lastRaw = 0;
  for (std::int64_t j = j0; j < j1; ++j) {
    const std::int64_t row = st + Sample(j, ah, ash, mirrorY);
    if (s && (row < 0 || row >= sb->rows)) continue;
    const int ty = static_cast<int>(dt + j);
    Stepper column(i0, aw, asw);
    for (std::int64_t i = i0; i < i1; ++i, column.Next()) {
      const int tx = static_cast<int>(dl + i);
      std::uint32_t src = 0;
      if (s) {
        const std::int64_t col = sl + (mirrorX ? asw - 1 - column.Value() : column.Value());
        if (col < 0 || col >= sb->width) continue;
        const COLORREF c = FromRaw(*sb, ReadRaw(*sb, static_cast<int>(col), static_cast<int>(row)));
        if (c != lastColour) {
          lastColour = c;
          lastRaw = ToRaw(*db, c);
        }
        src = lastRaw;
      }
      const std::uint32_t dst = (rop == SRCCOPY || rop == NOTSRCCOPY) ? 0 : ReadRaw(*db, tx, ty);
      WriteRaw(*db, tx, ty, Apply(rop, src, dst, mask));
    }
  }
  return TRUE;
}

}  // namespace

BOOL BitBlt(HDC dest, int x, int y, int width, int height, HDC source, int sx, int sy, DWORD rop) {
  if (width < 0 || height < 0) return Find<Dc>(dest) ? TRUE : FALSE;
  return Blit(dest, x, y, width, height, source, sx, sy, width, height, rop);
}

BOOL StretchBlt(HDC dest, int x, int y, int width, int height, HDC source, int sx, int sy,
                int sourceWidth, int sourceHeight, DWORD rop) {
  return Blit(dest, x, y, width, height, source, sx, sy, sourceWidth, sourceHeight, rop);
}
