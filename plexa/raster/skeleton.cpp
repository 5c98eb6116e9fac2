#include "plexa/raster/skeleton.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "plexa/raster/imagetrace.h"
#include "plexa/raster/imgproc.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

// Grey level (0..255) below which a pixel counts as dark.
constexpr int kGreyThreshold = 231;
// Resolution assumed when none is given, in pixels per inch.
constexpr double kDefaultDpi = 96.0;
// Drawing units (tenths of a millimetre) per inch.
constexpr double kUnitsPerInch = 254.0;
// Smallest magnitude of a vector scale; smaller non-zero scales keep their sign at this size.
constexpr double kMinScale = 1e-8;
// Half the side of the block that ReduceThickWhiteAreas looks at (21 x 21 pixels).
constexpr int kThickRadius = 10;

}  // namespace

CSkeleton::~CSkeleton() {
  DeleteBitmap();
}

void CSkeleton::DeleteBitmap() {
  if (m_bitmap != nullptr) DeleteObject(m_bitmap);
  m_bitmap = nullptr;
  m_bm = tagBITMAP{};
}

void CSkeleton::Defaults(double dpiX, double dpiY) {
  m_dpiX = dpiX < 1.0 || std::isnan(dpiX) ? kDefaultDpi : dpiX;  // NaN: as if none was given
  m_dpiY = dpiY < 1.0 || std::isnan(dpiY) ? m_dpiX : dpiY;
}

HBITMAP CSkeleton::CreateBitmapBW(int w, int h) {
  return CImgProc::CreateBitmapBW(w, h);
}
HBITMAP CSkeleton::CreateBitmap32(int w, int h) {
  return CImgProc::CreateBitmap32(w, h);
}
bool CSkeleton::GetPixel(int x, int y) {
  return CImgProc::GetPixel(m_bm, x, y);
}
void CSkeleton::SetPixel(int x, int y, bool on) {
  CImgProc::SetPixel(m_bm, x, y, on);
}

void CSkeleton::AutoTrace() {
  CImageTrace trace;
  trace.AutoTrace(m_bitmap, m_paths);
}

void CSkeleton::DumpBmp() {
  CImgProc::DumpBmp(m_bitmap);
}

void CSkeleton::Output(CPolyPolyBezier& out) const {
  out.Copy(m_paths);
}

// ---- inputs ----

void CSkeleton::Input(HBITMAP bmp, double dpiX, double dpiY) {
  m_paths.RemoveAll();
  Defaults(dpiX, dpiY);
  MakeBitmap(bmp, true);
  if (!ThinAndTrace()) return;
  for (INT_PTR i = 0; i < m_paths.GetSize(); ++i) ScaleBackBmp(m_paths[static_cast<int>(i)]);
}

void CSkeleton::Input(HBITMAP bmp, unsigned long keyColour, double dpiX, double dpiY) {
  m_paths.RemoveAll();
  m_keyColour = keyColour;
  Defaults(dpiX, dpiY);
  MakeBitmap(bmp, false);
  if (!ThinAndTrace()) return;
  for (INT_PTR i = 0; i < m_paths.GetSize(); ++i) ScaleBackBmp(m_paths[static_cast<int>(i)]);
}

void CSkeleton::InputMono(HBITMAP bmp, double dpiX, double dpiY) {
  m_paths.RemoveAll();
  Defaults(dpiX, dpiY);
  MakeBitmapMono(bmp);
  ThinAndTrace();
}

bool CSkeleton::ThinAndTrace() {
  if (m_bitmap == nullptr) return false;
  DoSkeleton();
  AutoTrace();
  return true;
}

void CSkeleton::Input(const CPolyPolyBezier& paths, const CDWordArray& types, unsigned long colour,
                      int size) {
  m_paths.RemoveAll();
  m_types.Copy(types);
  m_keyColour = colour;
  MakeBitmap(paths, size);
  if (!ThinAndTrace()) return;
  for (INT_PTR i = 0; i < m_paths.GetSize(); ++i) ScaleBack(m_paths[static_cast<int>(i)]);
}

// ---- working bitmap ----

void CSkeleton::MakeBitmap(HBITMAP bmp, bool grey) {
  DeleteBitmap();
  tagBITMAP in{};
  if (bmp == nullptr || GetObjectW(bmp, sizeof(in), &in) == 0) return;
  m_bitmap = CreateBitmapBW(in.bmWidth, in.bmHeight);
  if (m_bitmap == nullptr) return;
  GetObjectW(m_bitmap, sizeof(m_bm), &m_bm);
  std::int64_t dark = 0, light = 0;
  for (int y = 0; y < in.bmHeight; ++y)
    for (int x = 0; x < in.bmWidth; ++x) {
      const unsigned long c = CImgProc::GetPixel32(in, x, y);
      const unsigned red = c & 0xFF, green = (c >> 8) & 0xFF, blue = (c >> 16) & 0xFF;
      if (!grey) {
        if ((c & 0xFFFFFF) == (m_keyColour & 0xFFFFFF)) SetPixel(x, y, true);
        continue;
      }
      const auto g =
          static_cast<unsigned char>(static_cast<int>(0.59 * green + 0.3 * red + 0.11 * blue));
      if (g < kGreyThreshold) {
        SetPixel(x, y, true);
        ++dark;
      } else {
        ++light;
      }
    }
  if (grey && dark > light) {
    const std::size_t stride = WIDTHBYTES(static_cast<unsigned>(m_bm.bmWidth));
    auto* bits = static_cast<BYTE*>(m_bm.bmBits);
    const int full = m_bm.bmWidth / 8, rest = m_bm.bmWidth % 8;
    for (int row = 0; row < m_bm.bmHeight; ++row) {
      BYTE* p = bits + static_cast<std::size_t>(row) * stride;
      for (int i = 0; i < full; ++i) p[i] = static_cast<BYTE>(~p[i]);
      if (rest != 0) p[full] = static_cast<BYTE>(p[full] ^ (0xFF00 >> rest));
    }
  }
  ReduceThickWhiteAreas(bmp);
}

void CSkeleton::ReduceThickWhiteAreas(HBITMAP /*bmp*/) {
  // Works on a temporary copy only: the result must not depend on it. The copy takes
  // (width * height) / 64 bytes of the working rows; pixels whose 21 x 21 block is all white
  // (pixels outside read black) are cleared, judged on the copy before any is cleared. Run
  // lengths of white along rows, then along columns, make it linear in the pixels.
  if (m_bitmap == nullptr) return;
  const int w = m_bm.bmWidth, h = m_bm.bmHeight;
  HBITMAP tmp = CreateBitmapBW(w, h);
  if (tmp == nullptr) return;
  tagBITMAP t{};
  GetObjectW(tmp, sizeof(t), &t);
  const std::int64_t total = std::int64_t{WIDTHBYTES(static_cast<unsigned>(w))} * h;
  const std::int64_t bytes = std::clamp<std::int64_t>(std::int64_t{w} * h / 64, 0, total);
  std::memcpy(t.bmBits, m_bm.bmBits, static_cast<std::size_t>(bytes));
  const int side = 2 * kThickRadius + 1;
  // across[y * w + x]: the row run of white ending at x reaches back `side` pixels.
  std::vector<unsigned char> across(static_cast<std::size_t>(w) * h, 0);
  for (int y = 0; y < h; ++y) {
    int run = 0;
    for (int x = 0; x < w; ++x) {
      run = CImgProc::GetPixel(t, x, y) ? run + 1 : 0;
      across[static_cast<std::size_t>(y) * w + x] = run >= side ? 1 : 0;
    }
  }
  for (int x = kThickRadius; x + kThickRadius < w; ++x) {
    int run = 0;
    for (int y = 0; y < h; ++y) {
      run = across[static_cast<std::size_t>(y) * w + x + kThickRadius] ? run + 1 : 0;
      if (run >= side) CImgProc::SetPixel(t, x, y - kThickRadius, false);
    }
  }
  DeleteObject(tmp);
}

void CSkeleton::MakeBitmapMono(HBITMAP bmp) {
  DeleteBitmap();
  tagBITMAP in{};
  if (bmp == nullptr || GetObjectW(bmp, sizeof(in), &in) == 0) return;
  m_bitmap = CreateBitmapBW(in.bmWidth, in.bmHeight);
  if (m_bitmap == nullptr) return;
  GetObjectW(m_bitmap, sizeof(m_bm), &m_bm);
  if (in.bmBitsPixel == 1 && in.bmBits != nullptr) {
    std::memcpy(m_bm.bmBits, in.bmBits,
                static_cast<std::size_t>(WIDTHBYTES(static_cast<unsigned>(in.bmWidth))) *
                    static_cast<std::size_t>(in.bmHeight));
    return;
  }
  for (int y = 0; y < in.bmHeight; ++y)
    for (int x = 0; x < in.bmWidth; ++x)
      if (CImgProc::GetPixel(in, x, y)) SetPixel(x, y, true);
}

void CSkeleton::MakeBitmap(const CPolyPolyBezier& paths, int size) {
  DeleteBitmap();
  double xmin = std::numeric_limits<double>::infinity(), ymin = xmin;
  double xmax = -xmin, ymax = -xmin;
  auto take = [&](const CDPOINT& p) {
    if (!std::isfinite(p.x) || !std::isfinite(p.y)) return;
    xmin = std::min(xmin, p.x), xmax = std::max(xmax, p.x);
    ymin = std::min(ymin, p.y), ymax = std::max(ymax, p.y);
  };
  for (INT_PTR i = 0; i < paths.GetSize(); ++i) {
    const CBPointArray* path = paths.GetAt(i);
    if (path == nullptr) continue;
    for (INT_PTR k = 0; k < path->GetSize(); ++k) {
      const CBPOINT& n = (*path)[k];
      take(n.in), take(n.anchor), take(n.out);
    }
  }
  if (!(xmin <= xmax)) return;  // no finite node
  size = std::clamp(size, kSkeletonMinSize, kSkeletonMaxSize);
  const int pen = std::max(3, static_cast<int>(std::lround(size * kSkeletonPenShare)));
  const int margin = pen / 2 + 2;
  const double extent = std::max(xmax - xmin, ymax - ymin);
  const double scale = extent > 0 ? (size - 2 * margin) / extent : 1.0;
  if (!std::isfinite(scale) || !(scale > 0)) return;
  const int w = static_cast<int>(std::ceil((xmax - xmin) * scale)) + 2 * margin + 1;
  const int h = static_cast<int>(std::ceil((ymax - ymin) * scale)) + 2 * margin + 1;
  m_bitmap = CreateBitmapBW(w, h);
  if (m_bitmap == nullptr) return;
  GetObjectW(m_bitmap, sizeof(m_bm), &m_bm);
  m_scale = scale;
  m_offsetX = xmin - (margin + 0.5) / scale;  // cell c is pixel c - 1, centred at c - 0.5
  m_offsetY = ymin - (margin + 0.5) / scale;

  auto toPixel = [&](const CDPOINT& p) {
    const double u = std::isfinite(p.x) ? (p.x - xmin) * scale + margin : margin;
    const double v = std::isfinite(p.y) ? (p.y - ymin) * scale + margin : margin;
    return POINT{static_cast<LONG>(std::lround(std::clamp(u, 0.0, double(w)))),
                 static_cast<LONG>(std::lround(std::clamp(v, 0.0, double(h))))};
  };
  std::vector<POINT> pts;
  auto figure = [&](const CBPointArray& path) {
    pts.clear();
    for (INT_PTR k = 0; k < path.GetSize(); ++k) {
      if (k > 0) pts.push_back(toPixel(path[k - 1].out)), pts.push_back(toPixel(path[k].in));
      pts.push_back(toPixel(path[k].anchor));
    }
  };
  HDC dc = CreateCompatibleDC(nullptr);
  HGDIOBJ oldBitmap = SelectObject(dc, m_bitmap);
  HGDIOBJ oldBrush = SelectObject(dc, GetStockObject(WHITE_BRUSH));
  HGDIOBJ oldPen = SelectObject(dc, GetStockObject(NULL_PEN));
  BeginPath(dc);
  for (INT_PTR i = 0; i < paths.GetSize(); ++i) {
    const CBPointArray* path = paths.GetAt(i);
    if (path == nullptr || path->GetSize() < 2 || !path->IsPolyBezierClosed()) continue;
    figure(*path);
    PolyBezier(dc, pts.data(), static_cast<DWORD>(pts.size()));
    CloseFigure(dc);
  }
  EndPath(dc);
  FillPath(dc);
  HPEN stroke = CreatePen(PS_SOLID, pen, RGB(255, 255, 255));
  SelectObject(dc, stroke);
  for (INT_PTR i = 0; i < paths.GetSize(); ++i) {
    const CBPointArray* path = paths.GetAt(i);
    if (path == nullptr || path->GetSize() < 1 || path->IsPolyBezierClosed()) continue;
    figure(*path);
    if (pts.size() == 1) pts.push_back(pts[0]), pts.push_back(pts[0]), pts.push_back(pts[0]);
    PolyBezier(dc, pts.data(), static_cast<DWORD>(pts.size()));
  }
  SelectObject(dc, oldPen);
  SelectObject(dc, oldBrush);
  SelectObject(dc, oldBitmap);
  DeleteObject(stroke);
  DeleteDC(dc);
  GdiFlush();
}

// ---- scaling back ----

void CSkeleton::ScaleBack(CDPOINT& p) const {
  double s = m_scale;
  if (s != 0 && std::fabs(s) < kMinScale) s = s < 0 ? -kMinScale : kMinScale;
  p.x = p.x / s + m_offsetX;
  p.y = p.y / s + m_offsetY;
}

void CSkeleton::ScaleBack(CBPOINT& p) const {
  ScaleBack(p.in), ScaleBack(p.anchor), ScaleBack(p.out);
}

void CSkeleton::ScaleBack(CBPointArray& path) const {
  for (INT_PTR i = 0; i < path.GetSize(); ++i) ScaleBack(path[i]);
}

void CSkeleton::ScaleBackBmp(CDPOINT& p) const {
  p.x = p.x * kUnitsPerInch / m_dpiX;
  p.y = p.y * kUnitsPerInch / m_dpiY;
}

void CSkeleton::ScaleBackBmp(CBPOINT& p) const {
  ScaleBackBmp(p.in), ScaleBackBmp(p.anchor), ScaleBackBmp(p.out);
}

void CSkeleton::ScaleBackBmp(CBPointArray& path) const {
  for (INT_PTR i = 0; i < path.GetSize(); ++i) ScaleBackBmp(path[i]);
}
