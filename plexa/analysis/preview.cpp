#include "plexa/analysis/preview.h"

#include <algorithm>
#include <cmath>

#include "plexa/core/planar.h"
#include "plexa/platform/gdi.h"

void Preview(CArray<PLEXA::CDPOINT>& poly, int penWidth) {
  if (poly.GetSize() < 2) return;
  PLEXA::CDRECT r;
  GetPolylineBounds(poly, r);
  if (!std::isfinite(r.xmin) || !std::isfinite(r.xmax) || !std::isfinite(r.ymin) ||
      !std::isfinite(r.ymax))
    return;
  const int pen = std::clamp(penWidth, 1, 1000);
  const double w = std::min(r.xmax - r.xmin + 1.0 + pen, static_cast<double>(kScreenWidth));
  const double h = std::min(r.ymax - r.ymin + 1.0 + pen, static_cast<double>(kScreenHeight));
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  info.bmiHeader.biWidth = static_cast<LONG>(w);
  info.bmiHeader.biHeight = static_cast<LONG>(h);
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  void* bits = nullptr;
  HBITMAP bmp = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  if (bmp == nullptr) return;
  HDC dc = CreateCompatibleDC(nullptr);
  HGDIOBJ oldBmp = SelectObject(dc, bmp);
  const RECT all{0, 0, info.bmiHeader.biWidth, info.bmiHeader.biHeight};
  FillRect(dc, &all, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
  HPEN blackPen = CreatePen(PS_SOLID, pen, RGB(0, 0, 0));
  HBRUSH blackBrush = CreateSolidBrush(RGB(0, 0, 0));
  HGDIOBJ oldPen = SelectObject(dc, blackPen);
  HGDIOBJ oldBrush = SelectObject(dc, blackBrush);
  const double dx = pen / 2 - r.xmin, dy = pen / 2 - r.ymin;
  auto at = [&](const PLEXA::CDPOINT& p, bool move) {
    const int x = static_cast<int>(std::clamp(p.x + dx, -1e6, 1e6));
    const int y = static_cast<int>(std::clamp(p.y + dy, -1e6, 1e6));
    if (move)
      MoveToEx(dc, x, y, nullptr);
    else
      LineTo(dc, x, y);
  };
  BeginPath(dc);
  at(poly[0], true);
  for (INT_PTR i = 1; i < poly.GetSize(); ++i) at(poly[i], false);
  EndPath(dc);
  StrokeAndFillPath(dc);
  HDC screen = GetDC(nullptr);
  BitBlt(screen, 0, 0, all.right, all.bottom, dc, 0, 0, SRCCOPY);
  ReleaseDC(nullptr, screen);
  SelectObject(dc, oldPen);
  SelectObject(dc, oldBrush);
  SelectObject(dc, oldBmp);
  DeleteDC(dc);
  DeleteObject(blackPen);
  DeleteObject(blackBrush);
  DeleteObject(bmp);
}

void Preview(CBPointArray& path, int penWidth) {
  CArray<PLEXA::CDPOINT> pts;
  CDWordArray ends;
  path.ExecuteBPointArrayT(pts, ends, 1.0);
  Preview(pts, penWidth);
}
