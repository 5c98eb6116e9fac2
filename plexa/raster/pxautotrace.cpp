#include "plexa/raster/pxautotrace.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>

#include "plexa/platform/internal/grow.h"
#include "plexa/raster/autobreakup.h"
#include "plexa/raster/imgproc.h"
#include "plexa/raster/internal/boundarywalk.h"
#include "plexa/raster/skeleton.h"

using PLEXA::CDPOINT;

namespace {

// The grid on which boundaries are looked for, in pixels.
constexpr int kGridStep = 10;
// A closed boundary needs more than this many points (closing point included) to be kept.
constexpr INT_PTR kMinOutlinePoints = 5;
// Percent to tolerance: tol = trunc((percent * kPercentFactor)^3); 100 % gives 3 * 255^2.
constexpr double kPercentFactor = 0.579963335;
// Clusters of GetMajorityPixel: a pixel joins a cluster whose colour is below this distance.
constexpr int kMajorityDistance = 1000;
// Width of the pen that draws cut lines, in pixels.
constexpr int kCutPenWidth = 2;
// Flattening resolution of the centre lines.
constexpr double kCenterlineResolution = 1.0;
// Marking of deep interior pixels: margin from the run's ends and the block's half size.
constexpr int kMarkMargin = 20;
constexpr int kMarkHalf = 2;
// The fill filter's smoothing block: half size and the pass count (both passes read the same
// Fill layer, so the second marks what the first marked).
constexpr int kSmoothHalf = 2;
constexpr int kSmoothPasses = 2;
// The bits that a clean-up clears: Fill, Trace, Cut and Filter (Digi and the spare bits stay).
constexpr BYTE kWorkBits =
    CPxAutoTrace::kFill | CPxAutoTrace::kTrace | CPxAutoTrace::kCut | CPxAutoTrace::kFilter;

using plexa::walk::kDx;
using plexa::walk::kDy;

int Dist2(const tagRGBQUAD& a, const tagRGBQUAD& b) {
  const int dr = a.rgbRed - b.rgbRed, dg = a.rgbGreen - b.rgbGreen, db = a.rgbBlue - b.rgbBlue;
  return dr * dr + dg * dg + db * db;
}

}  // namespace

CPxAutoTrace::CPxAutoTrace(HBITMAP bmp, double scale) : m_scale(scale), m_bmp(bmp) {
  GdiFlush();
  DIBSECTION ds{};
  const int got = bmp ? GetObjectW(bmp, sizeof(DIBSECTION), &ds) : 0;
  if (got != static_cast<int>(sizeof(DIBSECTION)) || ds.dsBm.bmBitsPixel != 32 ||
      ds.dsBm.bmBits == nullptr || ds.dsBm.bmWidth <= 0 || ds.dsBm.bmHeight <= 0)
    return;
  m_width = ds.dsBm.bmWidth;
  m_height = ds.dsBm.bmHeight;
  const std::ptrdiff_t stride = static_cast<std::ptrdiff_t>(m_width) * 4;
  BYTE* rows = static_cast<BYTE*>(ds.dsBm.bmBits);
  if (ds.dsBmih.biHeight < 0) {  // top-down rows: line y is memory row y
    m_bits = rows;
    m_rowStep = stride;
  } else {  // bottom-up rows: line y is memory row height - 1 - y
    m_bits = rows + (m_height - 1) * stride;
    m_rowStep = -stride;
  }
}

CPxAutoTrace::~CPxAutoTrace() {
  if (m_buBmp) DeleteObject(m_buBmp);
}

HBITMAP CPxAutoTrace::CreateEmptyBmpBW(CSize size) {
  return CImgProc::CreateBitmapBW(size.cx, size.cy);
}

int CPxAutoTrace::ToleranceFromPercent(int percent) {
  const double f = percent * kPercentFactor;
  const double tol = std::trunc(f * f * f);
  return static_cast<int>(std::clamp(tol, static_cast<double>(std::numeric_limits<int>::min()),
                                     static_cast<double>(std::numeric_limits<int>::max())));
}

// ---- Pixel access (clamped) ----

BYTE* CPxAutoTrace::At(int x, int y) const {
  if (m_bits == nullptr) return nullptr;
  x = std::clamp(x, 0, m_width - 1);
  y = std::clamp(y, 0, m_height - 1);
  return m_bits + y * m_rowStep + static_cast<std::ptrdiff_t>(x) * 4;
}

BYTE CPxAutoTrace::Attr(int x, int y) const {
  const BYTE* p = At(x, y);
  return p ? p[3] : 0;
}

void CPxAutoTrace::OrAttr(int x, int y, BYTE bits) {
  if (BYTE* p = At(x, y)) p[3] |= bits;
}

tagRGBQUAD CPxAutoTrace::GetPixel(int x, int y) {
  const BYTE* p = At(x, y);
  if (p == nullptr) return tagRGBQUAD{0, 0, 0, 0};
  return tagRGBQUAD{p[0], p[1], p[2], p[3]};
}

void CPxAutoTrace::GetPixel(int x, int y, int& r, int& g, int& b) {
  const tagRGBQUAD c = GetPixel(x, y);
  r = c.rgbRed, g = c.rgbGreen, b = c.rgbBlue;
}

void CPxAutoTrace::SetPixel(int x, int y, tagRGBQUAD c) {
  if (BYTE* p = At(x, y))
    p[0] = c.rgbBlue, p[1] = c.rgbGreen, p[2] = c.rgbRed, p[3] = c.rgbReserved;
}

void CPxAutoTrace::SetPixel(int x, int y, int r, int g, int b) {
  if (BYTE* p = At(x, y))
    p[0] = static_cast<BYTE>(b), p[1] = static_cast<BYTE>(g), p[2] = static_cast<BYTE>(r);
}

void CPxAutoTrace::ClearPixelAttr(int x, int y) {
  if (BYTE* p = At(x, y)) p[3] &= static_cast<BYTE>(~kWorkBits);
}

void CPxAutoTrace::ResetPixelFilterAttr(int x, int y) {
  if (BYTE* p = At(x, y)) p[3] &= static_cast<BYTE>(~kFilter);
}

void CPxAutoTrace::SetPixelFillAttr(int x, int y) {
  OrAttr(x, y, kFill);
}
void CPxAutoTrace::SetPixelTraceAttr(int x, int y) {
  OrAttr(x, y, kTrace);
}
void CPxAutoTrace::SetPixelCutAttr(int x, int y) {
  OrAttr(x, y, kCut);
}
void CPxAutoTrace::SetPixelDigiAttr(int x, int y) {
  OrAttr(x, y, kDigi);
}
void CPxAutoTrace::SetPixelFilterAttr(int x, int y) {
  OrAttr(x, y, kFilter);
}
void CPxAutoTrace::SetFillPixel(int x, int y) {
  OrAttr(x, y, kFill);
}

void CPxAutoTrace::CleanUpReserved(bool keepDigi) {
  for (int y = 0; y < m_height && m_bits; ++y) {
    BYTE* p = At(0, y);
    for (int x = 0; x < m_width; ++x, p += 4) {
      if (keepDigi && (p[3] & kFill)) p[3] |= kDigi;
      p[3] &= static_cast<BYTE>(~kWorkBits);
    }
  }
}

// ---- Colours ----

int CPxAutoTrace::IsEqual(tagRGBQUAD a, tagRGBQUAD b) {
  return a.rgbRed == b.rgbRed && a.rgbGreen == b.rgbGreen && a.rgbBlue == b.rgbBlue ? 1 : 0;
}

int CPxAutoTrace::IsAlmostEqual(tagRGBQUAD a, tagRGBQUAD b, int tol) {
  return Dist2(a, b) < tol ? 1 : 0;
}

int CPxAutoTrace::IsFillEqual(int x, int y, tagRGBQUAD ref, int tol) {
  if (Attr(x, y) & (kFill | kCut)) return 0;
  const tagRGBQUAD c = tol == 0 ? GetPixel(x, y) : GetMeanPixel(x, y);
  return Dist2(c, ref) <= tol ? 1 : 0;
}

tagRGBQUAD CPxAutoTrace::GetMeanPixel(int x, int y) {
  int r = 0, g = 0, b = 0;
  for (int yy = y - 1; yy <= y + 1; ++yy)
    for (int xx = x - 1; xx <= x + 1; ++xx) {
      const tagRGBQUAD c = GetPixel(xx, yy);
      r += c.rgbRed, g += c.rgbGreen, b += c.rgbBlue;
    }
  return tagRGBQUAD{static_cast<BYTE>(b / 9), static_cast<BYTE>(g / 9), static_cast<BYTE>(r / 9),
                    0};
}

tagRGBQUAD CPxAutoTrace::GetMajorityPixel(int x, int y) {
  struct Cluster {
    tagRGBQUAD colour;
    int count;
  };
  Cluster clusters[49];
  int n = 0;
  for (int yy = y - 3; yy <= y + 3; ++yy)
    for (int xx = x - 3; xx <= x + 3; ++xx) {
      const tagRGBQUAD c = GetPixel(xx, yy);
      int k = 0;
      while (k < n && Dist2(clusters[k].colour, c) >= kMajorityDistance) ++k;
      if (k < n)
        ++clusters[k].count;
      else
        clusters[n++] = Cluster{c, 1};
    }
  int best = 0;
  for (int k = 1; k < n; ++k)
    if (clusters[k].count > clusters[best].count) best = k;
  return clusters[best].colour;
}

// ---- Fill ----

void CPxAutoTrace::PUSH(int y, int xl, int xr, int dy) {
  plexa::walk::PushSpan(m_stack, m_height, y, xl, xr, dy);
}

void CPxAutoTrace::POP(int& y, int& xl, int& xr, int& dy) {
  plexa::walk::PopSpan(m_stack, y, xl, xr, dy);
}

tagRGBQUAD CPxAutoTrace::SeedFill(int x, int y, int tol) {
  m_stack.clear();
  if (m_bits == nullptr || x < 0 || y < 0 || x >= m_width || y >= m_height)
    return tagRGBQUAD{0, 0, 0, 0};
  const tagRGBQUAD ref = tol == 0 ? GetPixel(x, y) : GetMeanPixel(x, y);
  auto inside = [&](int px, int py) { return IsFillEqual(px, py, ref, tol) != 0; };
  // The classic span fill: every pixel is filled once, and a filled pixel fails the test, so
  // each span is pushed a bounded number of times.
  PUSH(y, x, x, 1);
  PUSH(y + 1, x, x, -1);
  while (!m_stack.empty()) {
    int l, r, dy;
    POP(y, l, r, dy);
    for (x = l; x >= 0 && inside(x, y); --x) SetFillPixel(x, y);
    int start = x + 1;
    bool skip = x == l;  // nothing filled to the left: go straight to the skip step
    if (!skip) {
      if (start < l) PUSH(y, start, l - 1, -dy);
      x = l + 1;
    }
    do {
      if (!skip) {
        for (; x <= m_width - 1 && inside(x, y); ++x) SetFillPixel(x, y);
        PUSH(y, start, x - 1, dy);
        if (x > r + 1) PUSH(y, r + 1, x - 1, -dy);
      }
      skip = false;
      for (++x; x <= r && !inside(x, y); ++x) {
      }
      start = x;
    } while (x <= r);
  }
  m_stack.shrink_to_fit();
  return ref;
}

void CPxAutoTrace::FilterFillArea() {
  if (m_bits == nullptr) return;
  // Grow by one pixel in all eight directions.
  for (int y = 0; y < m_height; ++y)
    for (int x = 0; x < m_width; ++x)
      if (Attr(x, y) & kFill)
        for (int d = 0; d < 8; ++d) SetPixelFilterAttr(x + kDx[d], y + kDy[d]);
  auto settle = [&] {
    for (int y = 0; y < m_height; ++y) {
      BYTE* p = At(0, y);
      for (int x = 0; x < m_width; ++x, p += 4)
        if (p[3] & kFilter) p[3] = static_cast<BYTE>((p[3] | kFill) & ~kFilter);
    }
  };
  settle();
  // Smooth: a pixel whose clamped 5 x 5 block holds at least as many filled pixels as unfilled
  // ones is marked. Counted separably: column sums over clamped rows, then clamped columns.
  const int side = 2 * kSmoothHalf + 1, cells = side * side;
  std::vector<int> column(static_cast<std::size_t>(m_width));
  for (int pass = 0; pass < kSmoothPasses; ++pass)
    for (int y = 0; y < m_height; ++y) {
      for (int x = 0; x < m_width; ++x) {
        int s = 0;
        for (int dy = -kSmoothHalf; dy <= kSmoothHalf; ++dy) s += (Attr(x, y + dy) & kFill) ? 1 : 0;
        column[static_cast<std::size_t>(x)] = s;
      }
      for (int x = 0; x < m_width; ++x) {
        int filled = 0;
        for (int dx = -kSmoothHalf; dx <= kSmoothHalf; ++dx)
          filled += column[static_cast<std::size_t>(std::clamp(x + dx, 0, m_width - 1))];
        if (cells - filled <= filled) SetPixelFilterAttr(x, y);
      }
    }
  settle();
}

// ---- Boundaries ----

int CPxAutoTrace::in_cont(int x, int y, tagRGBQUAD c) {
  if (x < 0 || y < 0 || x >= m_width || y >= m_height) return 0;
  return (Attr(x, y) & kFill) == (c.rgbReserved & kFill) ? 1 : 0;
}

int CPxAutoTrace::Probe(int x, int y, int dir, int* nx, int* ny, tagRGBQUAD c) {
  return plexa::walk::Probe(x, y, dir, nx, ny, [&](int px, int py) { return in_cont(px, py, c); });
}

int CPxAutoTrace::Neighbor(int x, int y, int dir, int* nx, int* ny, tagRGBQUAD c) {
  return plexa::walk::Neighbor(x, y, dir, nx, ny,
                               [&](int px, int py) { return in_cont(px, py, c); });
}

int CPxAutoTrace::GetOutline(int x, int y, CArray<tagPOINT, tagPOINT>& pts) {
  if (m_bits == nullptr) return 0;
  const tagRGBQUAD c = GetPixel(x, y);
  int x0 = x;
  while (in_cont(x0, y, c)) --x0;
  return plexa::walk::WalkBoundary(
             x0 + 1, y, pts.GetSize(), 8LL * m_width * m_height + 16,
             [&](int px, int py) { return in_cont(px, py, c); },
             [&](int px, int py) { return (Attr(px, py) & kTrace) != 0; },
             [&](int px, int py) {
               plexa::grow::Append(pts, tagPOINT{px, py});
             })
             ? 1
             : 0;
}

void CPxAutoTrace::TraceIt(int /*x*/, int /*y*/) {
  for (int y = 0; y < m_height; y += kGridStep)
    for (int x = 0; x < m_width; x += kGridStep) {
      const BYTE a = Attr(x, y);
      if (!(a & kFill) || (a & kTrace)) continue;
      CArray<tagPOINT, tagPOINT> pts;
      if (GetOutline(x, y, pts) != 1 || pts.IsEmpty()) continue;
      plexa::grow::Append(pts, pts[0]);
      for (const tagPOINT& p : pts) SetPixelTraceAttr(p.x, p.y);
      if (pts.GetSize() <= kMinOutlinePoints) continue;
      auto line = std::make_unique<CArray<CDPOINT, CDPOINT>>();
      line->SetSize(pts.GetSize());
      for (INT_PTR i = 0; i < pts.GetSize(); ++i) (*line)[i] = CDPOINT(pts[i].x, pts[i].y);
      m_outlines.Add(line.release());
    }
}

void CPxAutoTrace::MarkTracePixels(CArray<tagPOINT, tagPOINT>& pts) {
  std::vector<tagPOINT> sorted(pts.GetData(), pts.GetData() + pts.GetSize());
  std::sort(sorted.begin(), sorted.end(),
            [](const tagPOINT& a, const tagPOINT& b) { return a.y > b.y; });
  for (std::size_t i = 0; i < sorted.size();) {
    const LONG y = sorted[i].y;
    LONG minX = sorted[i].x, maxX = sorted[i].x;
    std::size_t j = i;
    for (; j < sorted.size() && sorted[j].y == y; ++j)
      minX = std::min(minX, sorted[j].x), maxX = std::max(maxX, sorted[j].x);
    i = j;
    if (y < 2 || y >= m_height - 2) continue;
    for (long long x = static_cast<long long>(minX) + kMarkMargin;
         x <= static_cast<long long>(maxX) - kMarkMargin; ++x) {
      const int xi = static_cast<int>(x);
      bool all = true;
      for (int dy = -kMarkHalf; dy <= kMarkHalf && all; ++dy)
        for (int dx = -kMarkHalf; dx <= kMarkHalf && all; ++dx)
          all = (Attr(xi + dx, y + dy) & kFill) != 0;
      if (all) SetPixelTraceAttr(xi, y);
    }
  }
}

// ---- Break-up bitmap and cut lines ----

void CPxAutoTrace::MakeBUBmp(int mask) {
  if (m_buBmp) DeleteObject(m_buBmp);
  m_buBmp = nullptr;
  if (m_bits == nullptr) return;
  m_buBmp = CreateEmptyBmpBW(CSize(m_width, m_height));
  if (m_buBmp == nullptr) return;
  tagBITMAP bm{};
  GetObjectW(m_buBmp, sizeof bm, &bm);
  for (int y = 0; y < m_height; ++y)
    for (int x = 0; x < m_width; ++x)
      if (Attr(x, y) & mask) CImgProc::SetPixel(bm, x, y, true);
}

void CPxAutoTrace::DrawCutLines(HBITMAP bw) {
  tagBITMAP bm{};
  if (bw == nullptr || GetObjectW(bw, sizeof bm, &bm) == 0) return;
  HDC dc = CreateCompatibleDC(nullptr);
  HGDIOBJ oldBmp = SelectObject(dc, bw);
  HPEN pen = CreatePen(PS_SOLID, kCutPenWidth, RGB(255, 255, 255));
  HGDIOBJ oldPen = SelectObject(dc, pen);
  for (INT_PTR i = 0; i < m_cutLines.GetSize(); ++i) {
    const CArray<tagPOINT, tagPOINT>* line = m_cutLines.GetAt(static_cast<int>(i));
    if (line == nullptr || line->IsEmpty()) continue;
    if (line->GetSize() == 1) {
      const POINT dot[2] = {(*line)[0], (*line)[0]};
      Polyline(dc, dot, 2);
    } else {
      Polyline(dc, line->GetData(), static_cast<int>(line->GetSize()));
    }
  }
  SelectObject(dc, oldPen);
  SelectObject(dc, oldBmp);
  DeleteObject(pen);
  DeleteDC(dc);
  GdiFlush();
  for (int y = 0; y < m_height && y < bm.bmHeight; ++y)
    for (int x = 0; x < m_width && x < bm.bmWidth; ++x)
      if (CImgProc::GetPixel(bm, x, y)) SetPixelCutAttr(x, y);
}

// ---- Traces ----

tagRGBQUAD CPxAutoTrace::DoTrace(int x, int y, CPolyPolyInclination* incl, int tol, bool keepDigi,
                                 bool centerline) {
  m_outlines.RemoveAll();
  CleanUpReserved(keepDigi);
  if (m_cutLines.GetSize() > 0 && m_bits != nullptr) {
    HBITMAP bw = CreateEmptyBmpBW(CSize(m_width, m_height));
    if (bw == nullptr) return tagRGBQUAD{0, 0, 0, 0};
    DrawCutLines(bw);
    DeleteObject(bw);
  }
  const tagRGBQUAD ref = SeedFill(x, y, tol);
  if (m_fillFilter) FilterFillArea();
  if (!centerline) {
    TraceIt(x, y);
    if (incl != nullptr) {
      MakeBUBmp(kFill);
      CAutoBreakUp breakUp;
      if (!breakUp.AutoBreakUp(m_buBmp, m_scale, m_outlines, *incl)) m_outlines.RemoveAll();
    }
  } else {
    MakeBUBmp(kFill);
    if (m_buBmp != nullptr) {
      CSkeleton skeleton;
      skeleton.InputMono(m_buBmp, m_scale, m_scale);
      CPolyPolyBezier paths;
      skeleton.Output(paths);
      for (INT_PTR i = 0; i < paths.GetSize(); ++i) {
        const CBPointArray* path = paths.GetAt(static_cast<int>(i));
        if (path == nullptr) continue;
        auto line = std::make_unique<CArray<CDPOINT, CDPOINT>>();
        CDWordArray segEnds;
        path->ExecuteBPointArrayT(*line, segEnds, kCenterlineResolution);
        m_outlines.Add(line.release());
      }
    }
  }
  CleanUpReserved(keepDigi);
  return ref;
}

tagRGBQUAD CPxAutoTrace::DoTracePCTolerance(int x, int y, CPolyPolyInclination* incl, int percent,
                                            bool keepDigi, bool centerline) {
  return DoTrace(x, y, incl, ToleranceFromPercent(percent), keepDigi, centerline);
}

void CPxAutoTrace::SeedFillAD(int x, int y) {
  CleanUpReserved(true);
  SeedFill(x, y, 0);
  TraceIt(x, y);
  CleanUpReserved(true);
}

// ---- Debug ----

void CPxAutoTrace::DumpBUBmp() {
  if (m_buBmp) CImgProc::DumpBmp(m_buBmp);
}

void CPxAutoTrace::DumpImage() {
  if (m_bmp) CImgProc::DumpBmp(m_bmp);
}
