// CScaleDraw: the world-to-screen mapping a host uses to show drawings. It converts points,
// rectangles and single coordinates between drawing units (tenths of a millimetre) and device
// pixels, keeps the zoom factor within limits, zooms about a screen point, fits a drawing into
// a screen rectangle, and draws lines and Bezier figures on a drawing surface, lines clipped
// to a rectangle when clipping is on.
//
//   CScaleDraw sd;
//   CRect window(0, 0, 800, 600);
//   sd.SetScaleToRect(0, 0, 2540, 1270, &window);  // a 254 x 127 mm drawing, centred and fitted
//   tagPOINT p = sd.p2s(PLEXA::CDPOINT(1270, 635));  // (400, 300): the window's centre
//   sd.SetScaleZoomInPoint(p);                       // twice as large, (1270, 635) stays at p
//   sd.MoveTo(dc, 0, 0);
//   sd.LineTo(dc, 2540, 1270);
//
// The mapping, for every conversion (y is not flipped: both grow downwards):
//   screen = (world - world offset) * scale + screen offset      (as a double)
//   integer screen coordinate = floor(screen + 0.5), saturated to the 32-bit range, NaN as 0
//   world = (screen - screen offset) / scale + world offset
// Invariant: after any SetScale the scale lies in [minimum, maximum] (defaults 1e-5 and
// 100000). The limits are the host's to change; setting one does not re-clamp the current scale.
//
// A plain value: it owns no resources, copies every field, and has a virtual destructor so
// hosts may derive from it. The process-wide g_scale121 is the 1:1 scale of the screen (pixels
// per drawing unit); it is set when the library loads from the screen's pixels per inch
// (96 on this platform, so 96 / 254). Reading or setting it is not synchronised.
//
// NaN and infinite inputs never crash: they travel through the arithmetic, integer conversions
// give 0 for NaN and saturate otherwise, and SetScale(NaN) gives the minimum scale. The drawing
// calls refuse coordinates beyond the drawing platform's range and then draw nothing.
#pragma once

#include <cstdint>

#include "plexa/core/types.h"
#include "plexa/platform/export.h"
#include "plexa/platform/gdi.h"
#include "plexa/platform/records.h"

// Default zoom limits, pixels per drawing unit.
inline constexpr double kScaleDrawMaxScale = 100000.0;
inline constexpr double kScaleDrawMinScale = 1e-5;

class PLEXA_API CScaleDraw {
 public:
  CScaleDraw();
  CScaleDraw(const CScaleDraw&) = default;
  CScaleDraw& operator=(const CScaleDraw&) = default;
  virtual ~CScaleDraw();

  // Scale 1, default limits, zero offsets, clipping off. The last drawing position is kept.
  void Clear();

  // scale = min(maximum, max(minimum, |s|)); the sign is dropped, NaN gives the minimum.
  void SetScale(double s);
  double GetScale() const { return m_scale; }
  void SetMinScale(double s) { m_minScale = s; }
  void SetMaxScale(double s) { m_maxScale = s; }
  double GetMinScale() const { return m_minScale; }
  double GetMaxScale() const { return m_maxScale; }

  void SetOffset(double wx, double wy, int sx, int sy);
  void GetOffset(double& wx, double& wy, int& sx, int& sy) const;
  // Panning: the screen offset moves by to - from; the world offset stays.
  void MoveOffset(const tagPOINT& from, const tagPOINT& to);

  // SetScale(min(sh / h, sw / w)) with a screen extent of 0 taken as 1 and a world extent
  // below 1e-6 in magnitude taken as +-1e-6 (its sign; 0 counts as positive). Offsets untouched.
  void SetScaleToFit(double w, double h, int sw, int sh);
  // Centres the world rectangle (x1, y1)-(x2, y2) in the screen rectangle r (integer halves
  // truncate toward zero) and fits it. A null r does nothing.
  void SetScaleToRect(double x1, double y1, double x2, double y2, const tagRECT* r);
  // Zoom to a dragged rectangle: s in screen pixels is converted with the current mapping,
  // then fitted into r as above. A null s or r does nothing.
  void SetScaleToRect(const tagRECT* s, const tagRECT* r);
  // Multiplies the scale by f (then clamps) keeping the drawing point under p in place.
  void SetScaleZoomPoint(double f, const tagPOINT& p);
  void SetScaleZoomInPoint(const tagPOINT& p) { SetScaleZoomPoint(2.0, p); }
  void SetScaleZoomOutPoint(const tagPOINT& p) { SetScaleZoomPoint(0.5, p); }

  // Pixels per drawing unit at 1:1 on dc: its horizontal pixels per inch / 254. A null dc, or
  // a handle that reports no resolution (not a drawing surface), gives g_scale121.
  static double Scale121(HDC dc);
  static double GetScale121() { return g_scale121; }
  static void SetScale121(double s) { g_scale121 = s; }
  void SetScale121(HDC dc) { SetScale(Scale121(dc)); }
  // scale * 100 / Scale121(dc): the zoom in percent of 1:1.
  double GetScalePercent(HDC dc) const;

  // World to screen.
  double x2sd(double x) const { return (x - m_wx) * m_scale + m_sx; }
  double y2sd(double y) const { return (y - m_wy) * m_scale + m_sy; }
  int x2s(double x) const { return PLEXA::RoundToLong(x2sd(x)); }
  int y2s(double y) const { return PLEXA::RoundToLong(y2sd(y)); }
  PLEXA::CDPOINT p2sd(const PLEXA::CDPOINT& p) const { return {x2sd(p.x), y2sd(p.y)}; }
  tagPOINT p2s(const PLEXA::CDPOINT& p) const { return {x2s(p.x), y2s(p.y)}; }
  tagPOINT p2s(const PLEXA::CFPOINT& p) const { return {x2s(p.x), y2s(p.y)}; }
  CRect r2s(const PLEXA::CDRECT& r) const;
  PLEXA::CDRECT r2sd(const PLEXA::CDRECT& r) const;

  // Screen to world.
  double s2x(int x) const { return s2x(static_cast<double>(x)); }
  double s2x(double x) const { return (x - m_sx) / m_scale + m_wx; }
  double s2y(int y) const { return s2y(static_cast<double>(y)); }
  double s2y(double y) const { return (y - m_sy) / m_scale + m_wy; }
  // Snapped to the grid q: floor(w / q' + 0.5) * q, q' being q or +-1e-8 when |q| < 1e-8.
  // The product uses q itself and an exact 0 stays 0 in the divisor, so q = 0 gives NaN:
  // intended, a grid of 0 has no points.
  double s2x(int x, double q) const { return Snap(s2x(x), q); }
  double s2x(double x, double q) const { return Snap(s2x(x), q); }
  double s2y(int y, double q) const { return Snap(s2y(y), q); }
  double s2y(double y, double q) const { return Snap(s2y(y), q); }
  PLEXA::CDPOINT s2p(const tagPOINT& p) const { return {s2x(p.x), s2y(p.y)}; }
  PLEXA::CDPOINT s2p(const PLEXA::CDPOINT& p) const { return {s2x(p.x), s2y(p.y)}; }
  PLEXA::CDRECT s2r(const CRect& r) const;

  // Non-null r: copied, clipping on. Null: the whole 32-bit plane, clipping off.
  void SetClipRect(const tagRECT* r);
  void GetClipRect(tagRECT* r) const;  // a null r is ignored

  // The last position becomes (x2sd(x), y2sd(y)); dc's current position its rounded value.
  void MoveTo(HDC dc, double x, double y);
  // Clipping on: the segment from the last position to (x, y) on screen is clipped to the
  // clip rectangle; a remaining part is drawn between its rounded ends and dc's position left
  // at the rounded end (x, y); nothing remaining draws nothing and leaves dc's position as it
  // was. Clipping off: a line from dc's current position. Either way the last position
  // becomes the unrounded screen (x, y), so the next LineTo continues from there.
  void LineTo(HDC dc, double x, double y);
  // The n points (drawing units) mapped and rounded, drawn as one Bezier figure inside a path
  // bracket, stroked and filled when fill, else only stroked. Null pts or n < 1 does nothing;
  // n must be 3k + 1 for the surface to accept the figure (not checked here).
  void PolyBezier(HDC dc, const tagPOINT* pts, int n, bool fill);

  // The 1:1 scale of the screen, pixels per drawing unit.
  static double g_scale121;

 private:
  static double Snap(double w, double q);

  std::uint64_t m_word = 0;  // carried by copies, read by nothing
  double m_scale = 1.0;
  double m_wx = 0, m_wy = 0;
  int m_sx = 0, m_sy = 0;
  double m_maxScale = kScaleDrawMaxScale;
  double m_minScale = kScaleDrawMinScale;
  double m_lastX = 0, m_lastY = 0;
  tagRECT m_clip{};
  bool m_bClip = false;
};
