// The raster offsets: the parallel offset (drawn with a wide round pen, traced back with the
// colour auto-trace) and the set-level offsets on a 1024 x 1024 grid (a distance field traced
// with the faithful tracer).
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "plexa/analysis/offset.h"
#include "plexa/core/internal/numerics.h"
#include "plexa/core/planar.h"
#include "plexa/geom/fitcurve.h"
#include "plexa/platform/gdi.h"
#include "plexa/raster/faithtrace.h"
#include "plexa/raster/imgproc.h"
#include "plexa/raster/pxautotrace.h"

namespace {

using PLEXA::CDPOINT;
namespace num = plexa::num;

// Area budget (square pixels) above which the drawing is scaled down, the margin in pixels
// beyond the offset band, the auto-trace's colour tolerance and scale.
constexpr double kAreaBudget = 1e6;
constexpr int kMargin = 20;
constexpr int kTraceTolerance = 500;
constexpr double kTraceScale = 96.0;
// Refusal bound of this port: bitmaps of more pixels (thin or huge outlines, which the budget
// on W * H does not bound) are not made; the offset then comes back empty.
constexpr double kMaxPixels = 1 << 25;
// The set-level offsets' grid and its margin in cells.
constexpr int kGrid = 1024;
constexpr int kGridMargin = 2;

// The frame of one raster offset: the bitmap size and the map between units and pixels.
struct Frame {
  double minX = 0, minY = 0, scale = 1, shift = 0;  // p' = (p - min) * scale + shift
  int w = 0, h = 0;
  CDPOINT To(const CDPOINT& p) const {
    return CDPOINT((p.x - minX) * scale + shift, (p.y - minY) * scale + shift);
  }
  CDPOINT Back(const CDPOINT& p) const {
    return CDPOINT((p.x - shift) / scale + minX, (p.y - shift) / scale + minY);
  }
};

// Steps 1 and 2 on the measured points: false when the sizes are not usable.
bool MakeFrame(const CArray<CDPOINT>& pts, double d, Frame& f) {
  double maxX = 0, maxY = 0;
  GetPolylineBounds(pts, f.minX, f.minY, maxX, maxY);
  const double W = maxX - f.minX, H = maxY - f.minY, D = 2 * d;
  double bw = 0, bh = 0;
  if (W * H > kAreaBudget) {
    const double r = (D + W) / (D + H);
    bw = std::trunc(std::sqrt(r * kAreaBudget));
    bh = std::trunc(std::sqrt(kAreaBudget / r));
    f.scale = std::min(bw / (D + W), bh / (D + H));
    bw += 2 * kMargin;
    bh += 2 * kMargin;
  } else {
    f.scale = 1;
    bw = std::trunc(D + W + 2 * kMargin);
    bh = std::trunc(D + H + 2 * kMargin);
  }
  // trunc(d) deliberately: the band is placed by whole units.
  f.shift = std::trunc(d) * f.scale + kMargin;
  if (!(bw >= 1 && bh >= 1 && bw * bh <= kMaxPixels && f.scale > 0 && std::isfinite(f.scale)))
    return false;
  f.w = static_cast<int>(bw);
  f.h = static_cast<int>(bh);
  return true;
}

POINT ToPixel(const CDPOINT& p) {
  const double lim = kMaxCoordinate;
  return POINT{static_cast<LONG>(std::clamp(p.x, -lim, lim)),
               static_cast<LONG>(std::clamp(p.y, -lim, lim))};
}

// Steps 3 to 9: draws with `draw` into a white bitmap with a pen of the colour, traces the
// background from the top-left corner and appends every outline but the first, mapped back.
template <typename Draw>
void DrawAndTrace(const Frame& f, double d, COLORREF pen, Draw draw, CArray<CDPOINT>& out) {
  HBITMAP bmp = CImgProc::CreateBitmap32(f.w, f.h);
  if (!bmp) return;
  HDC dc = CreateCompatibleDC(nullptr);
  HGDIOBJ oldBmp = SelectObject(dc, bmp);
  const RECT all{0, 0, f.w, f.h};
  FillRect(dc, &all, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
  HPEN hpen = CreatePen(PS_SOLID, static_cast<int>(std::trunc(2 * d * f.scale)), pen);
  HGDIOBJ oldPen = SelectObject(dc, hpen);
  HGDIOBJ oldBrush = SelectObject(dc, GetStockObject(BLACK_BRUSH));
  BeginPath(dc);
  draw(dc);
  EndPath(dc);
  StrokeAndFillPath(dc);
  SelectObject(dc, oldBrush);
  SelectObject(dc, oldPen);
  SelectObject(dc, oldBmp);
  DeleteDC(dc);
  DeleteObject(hpen);
  GdiFlush();
  {
    CPxAutoTrace trace(bmp, kTraceScale);
    trace.DoTrace(0, 0, nullptr, kTraceTolerance, true, false);
    CPolyPolyDPoint& rings = trace.GetOutlines();
    for (INT_PTR i = 1; i < rings.GetSize(); ++i)  // the first is the bitmap's frame
      if (const CArray<CDPOINT>* ring = rings.GetAt(static_cast<int>(i)))
        for (const CDPOINT& p : *ring) out.Add(f.Back(p));
  }
  DeleteObject(bmp);
}

bool Finite(const CArray<CDPOINT>& pts) {
  for (const CDPOINT& p : pts)
    if (!num::IsFinite(p)) return false;
  return true;
}

// "Far" in the squared distance transform: beyond any squared distance on the grid.
constexpr double kFar = 1e12;

// Squared Euclidean distance transform along one line (Felzenszwalb and Huttenlocher's lower
// envelope of parabolas): f in, d out, n samples; v and z are scratch of n and n + 1.
void Edt1(const double* f, double* d, int n, std::vector<int>& v, std::vector<double>& z) {
  constexpr double kInf = std::numeric_limits<double>::infinity();
  const auto cut = [&](int q, int p) {
    return ((f[q] + double(q) * q) - (f[p] + double(p) * p)) / (2.0 * q - 2.0 * p);
  };
  int k = 0;
  v[0] = 0;
  z[0] = -kInf;
  z[1] = kInf;
  for (int q = 1; q < n; ++q) {
    double s = cut(q, v[k]);
    while (k > 0 && s <= z[k]) s = cut(q, v[--k]);
    ++k;
    v[k] = q;
    z[k] = s;
    z[k + 1] = kInf;
  }
  k = 0;
  for (int q = 0; q < n; ++q) {
    while (z[k + 1] < q) ++k;
    const double dq = q - v[k];
    d[q] = dq * dq + f[v[k]];
  }
}

// Distance in cells from each cell centre to the nearest cell where mask == target.
std::vector<double> DistanceTo(const std::vector<std::uint8_t>& mask, std::uint8_t target) {
  const int n = kGrid;
  std::vector<double> g(static_cast<std::size_t>(n) * n), f(n), d(n), z(n + 1);
  std::vector<int> v(n);
  for (std::size_t i = 0; i < g.size(); ++i) g[i] = mask[i] == target ? 0 : kFar;
  for (int x = 0; x < n; ++x) {
    for (int y = 0; y < n; ++y) f[y] = g[static_cast<std::size_t>(y) * n + x];
    Edt1(f.data(), d.data(), n, v, z);
    for (int y = 0; y < n; ++y) g[static_cast<std::size_t>(y) * n + x] = d[y];
  }
  for (int y = 0; y < n; ++y) {
    double* row = g.data() + static_cast<std::size_t>(y) * n;
    std::copy(row, row + n, f.begin());
    Edt1(f.data(), row, n, v, z);
  }
  for (double& x : g) x = std::sqrt(x);
  return g;
}

// The grid of a set-level offset: the set's bounds widened by band, fitted into the grid.
struct Grid {
  CDPOINT origin;
  double scale = 0;  // cells a unit
  std::vector<std::uint8_t> mask;
};

bool MakeGrid(const CPolyPolyBezier& set, double band, Grid& g) {
  double x0 = 0, x1 = 0, y0 = 0, y1 = 0;
  bool any = false;
  CPolyPolyBezier cells;
  for (INT_PTR i = 0; i < set.GetSize(); ++i) {
    const CBPointArray* p = set.GetAt(static_cast<int>(i));
    if (!p || p->GetSize() < 2) continue;
    const PLEXA::CDRECT r = p->GetPolyBezierRect(1.0);
    if (!std::isfinite(r.xmin + r.xmax + r.ymin + r.ymax)) continue;
    x0 = any ? std::min(x0, r.xmin) : r.xmin;
    x1 = any ? std::max(x1, r.xmax) : r.xmax;
    y0 = any ? std::min(y0, r.ymin) : r.ymin;
    y1 = any ? std::max(y1, r.ymax) : r.ymax;
    any = true;
    cells.Add(new CBPointArray(*p));
  }
  const double side = std::max(x1 - x0, y1 - y0) + 2 * band;
  if (!any || !(side > 0) || !std::isfinite(side)) return false;
  g.scale = (kGrid - 2 * kGridMargin) / side;
  g.origin = CDPOINT(x0 - band - kGridMargin / g.scale, y0 - band - kGridMargin / g.scale);
  for (INT_PTR i = 0; i < cells.GetSize(); ++i)
    for (PLEXA::CBPOINT& n : *cells.GetAt(static_cast<int>(i))) {
      n.in = (n.in - g.origin) * g.scale;
      n.anchor = (n.anchor - g.origin) * g.scale;
      n.out = (n.out - g.origin) * g.scale;
    }
  return FillPolyPolyEvenOdd(cells, kGrid, kGrid, g.mask);
}

// Traces the cells where keep(i) holds and appends the outlines, mapped back, to out.
template <typename Keep>
void TraceCells(const Grid& g, Keep keep, CPolyPolyBezier& out) {
  std::vector<std::uint8_t> grey(g.mask.size());
  for (std::size_t i = 0; i < grey.size(); ++i) grey[i] = keep(i) ? 0 : 255;
  CFaithfulTrace trace;
  CPolyPolyBezier paths;
  if (!trace.Trace(grey, kGrid, kGrid, kGrid, paths)) return;
  for (INT_PTR i = 0; i < paths.GetSize(); ++i) {
    auto* p = new CBPointArray(*paths.GetAt(static_cast<int>(i)));
    for (PLEXA::CBPOINT& n : *p) {
      n.in = n.in * (1 / g.scale) + g.origin;
      n.anchor = n.anchor * (1 / g.scale) + g.origin;
      n.out = n.out * (1 / g.scale) + g.origin;
    }
    out.Add(p);
  }
}

}  // namespace

void ShrinkOutlineParallel(CBPointArray& path, CArray<CDPOINT>& out, double d, bool shrink) {
  if (path.GetSize() < 2 || !(d >= 0) || !std::isfinite(d)) return;
  CArray<CDPOINT> pts;
  CDWordArray ends;
  path.ExecuteBPointArrayT(pts, ends, 1.0);
  Frame f;
  out.RemoveAll();
  if (!Finite(pts) || !MakeFrame(pts, d, f)) return;
  std::vector<POINT> px;
  px.reserve(static_cast<std::size_t>(path.GetSize()) * 3);
  for (INT_PTR i = 0; i < path.GetSize(); ++i) {
    const PLEXA::CBPOINT& n = path[static_cast<int>(i)];
    if (i > 0) px.push_back(ToPixel(f.To(n.in)));
    px.push_back(ToPixel(f.To(n.anchor)));
    if (i + 1 < path.GetSize()) px.push_back(ToPixel(f.To(n.out)));
  }
  const COLORREF pen = shrink ? RGB(255, 255, 255) : RGB(0, 0, 0);
  DrawAndTrace(
      f, d, pen, [&](HDC dc) { PolyBezier(dc, px.data(), static_cast<DWORD>(px.size())); }, out);
}

void ShrinkOutlineParallel(CBPointArray& path, double d, bool shrink) {
  if (path.GetSize() < 2 || !(d >= 0) || !std::isfinite(d)) return;
  CArray<CDPOINT> pts;
  ShrinkOutlineParallel(path, pts, d, shrink);
  path.RemoveAll();
  if (pts.GetSize() > 0)
    FitCurve(pts.GetData(), static_cast<int>(pts.GetSize()), &path, kShrinkRefit);
}

void ShrinkOutlineParallel(CArray<CDPOINT>& poly, double d, bool /*shrink: ignored*/) {
  if (poly.GetSize() < 2 || !(d >= 0) || !std::isfinite(d) || !Finite(poly)) return;
  Frame f;
  if (!MakeFrame(poly, d, f)) return;
  std::vector<POINT> px;
  for (CDPOINT& p : poly) {
    p = f.To(p);  // the caller's array holds the drawn points until the trace refills it
    px.push_back(ToPixel(p));
  }
  poly.RemoveAll();
  DrawAndTrace(
      f, d, RGB(0, 0, 0),
      [&](HDC dc) {
        MoveToEx(dc, px[0].x, px[0].y, nullptr);
        for (std::size_t i = 1; i < px.size(); ++i) LineTo(dc, px[i].x, px[i].y);
      },
      poly);
}

void ShrinkOutlineParallelBound(CPolyPolyBezier& set, double d, bool shrink) {
  CPolyPolyBezier copy(set);
  set.RemoveAll();
  for (INT_PTR i = 0; i < copy.GetSize(); ++i) {
    CBPointArray* path = copy.GetAt(static_cast<int>(i));
    if (!path) continue;
    CArray<CDPOINT> pts;
    ShrinkOutlineParallel(*path, pts, d, shrink);
    if (pts.GetSize() == 0) continue;
    auto* fitted = new CBPointArray;
    FitCurve(pts.GetData(), static_cast<int>(pts.GetSize()), fitted, kShrinkRefit);
    set.Add(fitted);
  }
}

void ShrinkOutlineParallel(CPolyPolyBezier& set, double d, int mode) {
  if (!(d >= 0) || !std::isfinite(d) || mode < 0 || mode > 2) return;
  Grid g;
  if (!MakeGrid(set, mode == 1 ? 0 : d, g)) return;
  // Cell centres lie half a cell off the boundary they stand beside.
  const double band = d * g.scale;
  CPolyPolyBezier out;
  if (mode == 0 || mode == 2) {
    const std::vector<double> outside = DistanceTo(g.mask, 1);
    TraceCells(
        g, [&](std::size_t i) { return outside[i] <= band + 0.5; }, out);
  }
  if (mode == 1 || mode == 2) {
    const std::vector<double> inside = DistanceTo(g.mask, 0);
    TraceCells(
        g, [&](std::size_t i) { return inside[i] > band + 0.5; }, out);
  }
  set.RemoveAll();
  for (INT_PTR i = 0; i < out.GetSize(); ++i)
    set.Add(new CBPointArray(*out.GetAt(static_cast<int>(i))));
}

void ShrinkOutlineRipples(CPolyPolyBezier& set, double d, int count) {
  if (!(d > 0) || !std::isfinite(d) || count <= 0) return;
  count = std::min(count, kMaxRipples);
  Grid g;
  if (!MakeGrid(set, d * count, g)) return;
  const std::vector<double> outside = DistanceTo(g.mask, 1);
  CPolyPolyBezier out;
  for (int k = 1; k <= count; ++k) {
    const double band = k * d * g.scale + 0.5;
    TraceCells(
        g, [&](std::size_t i) { return outside[i] <= band; }, out);
  }
  set.RemoveAll();
  for (INT_PTR i = 0; i < out.GetSize(); ++i)
    set.Add(new CBPointArray(*out.GetAt(static_cast<int>(i))));
}
