#include "plexa/draw/scaledraw.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "plexa/geom/nearest.h"

namespace {

// Drawing units an inch.
constexpr double kUnitsPerInch = 254.0;
// A world extent smaller than this is taken as +-this in SetScaleToFit.
constexpr double kFitExtentFloor = 1e-6;
// A grid step smaller than this is taken as +-this in the snapping conversions.
constexpr double kGridFloor = 1e-8;

// Integer half, truncated toward zero, without overflow.
int Half(LONG a, LONG b) {
  return static_cast<int>((static_cast<std::int64_t>(a) + b) / 2);
}

}  // namespace

// The screen's 1:1 scale: every surface compatible with the screen reports the platform's
// screen resolution, so it is known before the library loads (a constant, no drawing surface
// made at start-up).
double CScaleDraw::g_scale121 = kScreenDpi / kUnitsPerInch;

CScaleDraw::CScaleDraw() {
  Clear();
}

CScaleDraw::~CScaleDraw() = default;

void CScaleDraw::Clear() {
  m_scale = 1.0;
  m_maxScale = kScaleDrawMaxScale;
  m_minScale = kScaleDrawMinScale;
  m_wx = m_wy = 0;
  m_sx = m_sy = 0;
  m_word = 0;
  SetClipRect(nullptr);
}

void CScaleDraw::SetScale(double s) {
  // std::max(min, NaN) keeps min, so NaN lands on the minimum.
  m_scale = std::min(m_maxScale, std::max(m_minScale, std::fabs(s)));
}

void CScaleDraw::SetOffset(double wx, double wy, int sx, int sy) {
  m_wx = wx;
  m_wy = wy;
  m_sx = sx;
  m_sy = sy;
}

void CScaleDraw::GetOffset(double& wx, double& wy, int& sx, int& sy) const {
  wx = m_wx;
  wy = m_wy;
  sx = m_sx;
  sy = m_sy;
}

void CScaleDraw::MoveOffset(const tagPOINT& from, const tagPOINT& to) {
  // Wrapping arithmetic: absurd pans wrap instead of overflowing.
  m_sx = static_cast<int>(static_cast<std::uint32_t>(m_sx) + static_cast<std::uint32_t>(to.x) -
                          static_cast<std::uint32_t>(from.x));
  m_sy = static_cast<int>(static_cast<std::uint32_t>(m_sy) + static_cast<std::uint32_t>(to.y) -
                          static_cast<std::uint32_t>(from.y));
}

void CScaleDraw::SetScaleToFit(double w, double h, int sw, int sh) {
  auto floorExtent = [](double v) {
    if (std::fabs(v) >= kFitExtentFloor) return v;
    return v >= 0 ? kFitExtentFloor : -kFitExtentFloor;
  };
  const double swd = sw != 0 ? sw : 1;
  const double shd = sh != 0 ? sh : 1;
  SetScale(std::min(shd / floorExtent(h), swd / floorExtent(w)));
}

void CScaleDraw::SetScaleToRect(double x1, double y1, double x2, double y2, const tagRECT* r) {
  if (r == nullptr) return;
  SetOffset((x1 + x2) * 0.5, (y1 + y2) * 0.5, Half(r->left, r->right), Half(r->top, r->bottom));
  SetScaleToFit(x2 - x1, y2 - y1, static_cast<int>(static_cast<std::int64_t>(r->right) - r->left),
                static_cast<int>(static_cast<std::int64_t>(r->bottom) - r->top));
}

void CScaleDraw::SetScaleToRect(const tagRECT* s, const tagRECT* r) {
  if (s == nullptr || r == nullptr) return;
  SetScaleToRect(s2x(static_cast<int>(s->left)), s2y(static_cast<int>(s->top)),
                 s2x(static_cast<int>(s->right)), s2y(static_cast<int>(s->bottom)), r);
}

void CScaleDraw::SetScaleZoomPoint(double f, const tagPOINT& p) {
  const double s = m_scale;
  SetOffset(s2x(static_cast<int>(p.x)), s2y(static_cast<int>(p.y)), p.x, p.y);
  SetScale(s * f);
}

double CScaleDraw::Scale121(HDC dc) {
  if (dc == nullptr) return g_scale121;
  const int dpi = GetDeviceCaps(dc, LOGPIXELSX);
  return dpi > 0 ? dpi / kUnitsPerInch : g_scale121;
}

double CScaleDraw::GetScalePercent(HDC dc) const {
  return m_scale * 100 / Scale121(dc);
}

CRect CScaleDraw::r2s(const PLEXA::CDRECT& r) const {
  return CRect(x2s(r.xmin), y2s(r.ymin), x2s(r.xmax), y2s(r.ymax));
}

PLEXA::CDRECT CScaleDraw::r2sd(const PLEXA::CDRECT& r) const {
  return PLEXA::CDRECT(x2sd(r.xmin), x2sd(r.xmax), y2sd(r.ymin), y2sd(r.ymax));
}

PLEXA::CDRECT CScaleDraw::s2r(const CRect& r) const {
  return PLEXA::CDRECT(s2x(static_cast<int>(r.left)), s2x(static_cast<int>(r.right)),
                       s2y(static_cast<int>(r.top)), s2y(static_cast<int>(r.bottom)));
}

double CScaleDraw::Snap(double w, double q) {
  double divisor = q;
  if (std::fabs(q) < kGridFloor) divisor = q > 0 ? kGridFloor : (q < 0 ? -kGridFloor : 0.0);
  return std::floor(w / divisor + 0.5) * q;
}

void CScaleDraw::SetClipRect(const tagRECT* r) {
  if (r != nullptr) {
    m_clip = *r;
    m_bClip = true;
  } else {
    m_clip = tagRECT{-2147483647 - 1, -2147483647 - 1, 2147483647, 2147483647};
    m_bClip = false;
  }
}

void CScaleDraw::GetClipRect(tagRECT* r) const {
  if (r != nullptr) *r = m_clip;
}

void CScaleDraw::MoveTo(HDC dc, double x, double y) {
  m_lastX = x2sd(x);
  m_lastY = y2sd(y);
  MoveToEx(dc, PLEXA::RoundToLong(m_lastX), PLEXA::RoundToLong(m_lastY), nullptr);
}

void CScaleDraw::LineTo(HDC dc, double x, double y) {
  const double ex = x2sd(x);
  const double ey = y2sd(y);
  if (m_bClip) {
    double x1 = m_lastX, y1 = m_lastY, x2 = ex, y2 = ey;
    if (ClipLine(&x1, &y1, &x2, &y2, &m_clip) != 0) {
      MoveToEx(dc, PLEXA::RoundToLong(x1), PLEXA::RoundToLong(y1), nullptr);
      ::LineTo(dc, PLEXA::RoundToLong(x2), PLEXA::RoundToLong(y2));
      MoveToEx(dc, PLEXA::RoundToLong(ex), PLEXA::RoundToLong(ey), nullptr);
    }
  } else {
    ::LineTo(dc, PLEXA::RoundToLong(ex), PLEXA::RoundToLong(ey));
  }
  m_lastX = ex;
  m_lastY = ey;
}

void CScaleDraw::PolyBezier(HDC dc, const tagPOINT* pts, int n, bool fill) {
  if (pts == nullptr || n < 1) return;
  std::vector<POINT> screen(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i)
    screen[i] = POINT{x2s(static_cast<double>(pts[i].x)), y2s(static_cast<double>(pts[i].y))};
  BeginPath(dc);
  ::PolyBezier(dc, screen.data(), static_cast<DWORD>(n));
  EndPath(dc);
  if (fill)
    StrokeAndFillPath(dc);
  else
    StrokePath(dc);
}
