#include "plexa/raster/shapetrace.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>

#include "plexa/geom/fitcurve.h"
#include "plexa/platform/internal/grow.h"
#include "plexa/raster/imgproc.h"
#include "plexa/raster/internal/boundarywalk.h"

using PLEXA::CDPOINT;

namespace {

// The grid on which regions are looked for, in pixels.
constexpr int kGridStep = 10;
// FitCurve's error tolerance for traced boundaries, in pixels.
constexpr double kFitTolerance = 5.0;

}  // namespace

CShapeTrace::CShapeTrace(HBITMAP bmp) {
  DIBSECTION ds{};
  if (bmp == nullptr ||
      GetObjectW(bmp, sizeof(DIBSECTION), &ds) != static_cast<int>(sizeof(DIBSECTION)))
    return;
  const LONG w = ds.dsBmih.biWidth;
  const LONG h = std::abs(ds.dsBmih.biHeight);
  if (w <= 0 || h <= 0) return;

  BITMAPINFO_2 info{};
  info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  info.bmiHeader.biWidth = w;
  info.bmiHeader.biHeight = h;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 1;
  info.bmiHeader.biCompression = ds.dsBmih.biCompression;
  info.bmiColors[0] = RGBQUAD{0, 0, 0, 0};
  info.bmiColors[1] = RGBQUAD{255, 255, 255, 0};
  void* bits = nullptr;
  m_source = CreateDIBSection(nullptr, reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS, &bits,
                              nullptr, 0);
  if (m_source == nullptr) return;

  HDC from = CreateCompatibleDC(nullptr);
  HDC to = CreateCompatibleDC(nullptr);
  HGDIOBJ oldFrom = SelectObject(from, bmp);
  HGDIOBJ oldTo = SelectObject(to, m_source);
  BitBlt(to, 0, 0, w, h, from, 0, 0, SRCCOPY);
  SelectObject(from, oldFrom);
  SelectObject(to, oldTo);
  DeleteDC(from);
  DeleteDC(to);
  GdiFlush();

  BITMAP bm{};
  GetObjectW(m_source, sizeof(BITMAP), &bm);
  m_width = bm.bmWidth;
  m_height = bm.bmHeight;
  m_sourceBits = static_cast<BYTE*>(bm.bmBits);
  m_stride = static_cast<int>(CImgProc::WIDTHBYTES(static_cast<unsigned>(m_width)));

  m_marks = CreateEmptyBmpBW(CSize(m_width, m_height));
  if (m_marks == nullptr) return;
  BITMAP mb{};
  GetObjectW(m_marks, sizeof(BITMAP), &mb);
  m_marksBits = static_cast<BYTE*>(mb.bmBits);
}

CShapeTrace::~CShapeTrace() {
  if (m_source) DeleteObject(m_source);
  if (m_marks) DeleteObject(m_marks);
}

HBITMAP CShapeTrace::CreateEmptyBmpBW(CSize size) {
  HBITMAP bmp = CImgProc::CreateBitmapBW(size.cx, size.cy);
  if (bmp == nullptr) return nullptr;
  HDC dc = CreateCompatibleDC(nullptr);
  HGDIOBJ old = SelectObject(dc, bmp);
  const RECT r{0, 0, size.cx, size.cy};
  FillRect(dc, &r, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
  SelectObject(dc, old);
  DeleteDC(dc);
  return bmp;
}

BYTE* CShapeTrace::Byte(BYTE* bits, int x, int y) const {
  x = std::clamp(x, 0, m_width - 1);
  y = std::clamp(y, 0, m_height - 1);
  return bits + static_cast<std::ptrdiff_t>(m_height - 1 - y) * m_stride + x / 8;
}

bool CShapeTrace::GetPixel(int x, int y) {
  return (*Byte(m_sourceBits, x, y) & (0x80 >> (std::clamp(x, 0, m_width - 1) & 7))) != 0;
}

void CShapeTrace::SetPixel(int x, int y, bool white) {
  const BYTE mask = static_cast<BYTE>(0x80 >> (std::clamp(x, 0, m_width - 1) & 7));
  BYTE* b = Byte(m_sourceBits, x, y);
  *b = white ? (*b | mask) : (*b & ~mask);
}

bool CShapeTrace::GetTracePixel(int x, int y) {
  return (*Byte(m_marksBits, x, y) & (0x80 >> (std::clamp(x, 0, m_width - 1) & 7))) != 0;
}

void CShapeTrace::SetTracePixel(int x, int y, bool set) {
  const BYTE mask = static_cast<BYTE>(0x80 >> (std::clamp(x, 0, m_width - 1) & 7));
  BYTE* b = Byte(m_marksBits, x, y);
  *b = set ? (*b | mask) : (*b & ~mask);
}

int CShapeTrace::in_cont(int x, int y, bool value) {
  if (x < 0 || y < 0 || x >= m_width || y >= m_height) return 0;
  return GetPixel(x, y) == value ? 1 : 0;
}

int CShapeTrace::Probe(int x, int y, int dir, int* nx, int* ny, bool value) {
  return plexa::walk::Probe(x, y, dir, nx, ny,
                            [&](int px, int py) { return in_cont(px, py, value); });
}

int CShapeTrace::Neighbor(int x, int y, int dir, int* nx, int* ny, bool value) {
  return plexa::walk::Neighbor(x, y, dir, nx, ny,
                               [&](int px, int py) { return in_cont(px, py, value); });
}

int CShapeTrace::GetOutline(int x, int y, CArray<CDPOINT, CDPOINT>& pts, int minPoints) {
  if (!GetPixel(x, y)) return 0;
  int x0 = x;
  if (in_cont(x, y, true)) {
    x0 = x - 1;
    while (in_cont(x0, y, true)) --x0;
  }
  if (!plexa::walk::WalkBoundary(
          x0 + 1, y, pts.GetSize(), 8LL * m_width * m_height + 16,
          [&](int px, int py) { return in_cont(px, py, true); },
          [&](int px, int py) { return GetTracePixel(px, py); },
          [&](int px, int py) { plexa::grow::Append(pts, CDPOINT(px, py)); }))
    return 0;
  if (pts.GetSize() <= minPoints) return 0;
  plexa::grow::Append(pts, pts[0]);
  return 1;
}

void CShapeTrace::AddEdges(int x, int y, CPolyPolyBezier& out, int minPoints) {
  CArray<CDPOINT, CDPOINT> pts;
  if (!GetOutline(x, y, pts, minPoints)) return;
  plexa::grow::Append(pts, pts[0]);
  for (const CDPOINT& p : pts) {
    const int px = std::clamp(static_cast<int>(std::floor(p.x + 0.5)), 0, m_width - 1);
    const int py = std::clamp(static_cast<int>(std::floor(p.y + 0.5)), 0, m_height - 1);
    SetTracePixel(px, py, true);
  }
  if (pts.GetSize() <= minPoints) return;
  auto path = std::make_unique<CBPointArray>();
  FitCurve(pts.GetData(), static_cast<int>(pts.GetSize()), path.get(), kFitTolerance);
  if (path->GetSize() < 3) return;
  plexa::grow::Append(out, path.release());
}

bool CShapeTrace::DoTrace(CPolyPolyBezier& out, int minPoints) {
  if (m_source == nullptr || m_marks == nullptr) return false;
  out.RemoveAll();
  for (int y = 0; y < m_height; y += kGridStep)
    for (int x = 0; x < m_width; x += kGridStep)
      if (GetPixel(x, y) && !GetTracePixel(x, y)) AddEdges(x, y, out, minPoints);
  return true;
}

void CShapeTrace::PUSH(int y, int xl, int xr, int dy) {
  plexa::walk::PushSpan(m_stack, m_height, y, xl, xr, dy);
}

void CShapeTrace::POP(int& y, int& xl, int& xr, int& dy) {
  plexa::walk::PopSpan(m_stack, y, xl, xr, dy);
}

void CShapeTrace::SeedFill(int x, int y) {
  m_stack.clear();
  if (m_sourceBits == nullptr || x < 0 || y < 0 || x >= m_width || y >= m_height || !GetPixel(x, y))
    return;
  PUSH(y, x, x, 1);
  PUSH(y + 1, x, x, -1);
  while (!m_stack.empty()) {
    int l, r, dy;
    POP(y, l, r, dy);
    for (x = l; x >= 0 && GetPixel(x, y); --x) SetPixel(x, y, false);
    int start = x + 1;
    bool skip = x == l;  // nothing cleared to the left: go straight to the skip step
    if (!skip) {
      if (start < l) PUSH(y, start, l - 1, -dy);
      x = l + 1;
    }
    do {
      if (!skip) {
        for (; x <= m_width - 1 && GetPixel(x, y); ++x) SetPixel(x, y, false);
        PUSH(y, start, x - 1, dy);
        if (x > r + 1) PUSH(y, r + 1, x - 1, -dy);
      }
      skip = false;
      for (++x; x <= r && !GetPixel(x, y); ++x) {
      }
      start = x;
    } while (x <= r);
  }
}
