// CEdgeDetect: settings, the grey picture, the work rasters, tracing of the result and the
// conversion back to drawing units. The detectors are in edgedetect_canny.cpp and
// edgedetect_shen.cpp.
#include "plexa/raster/edgedetect.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

#include "plexa/raster/imagetrace.h"
#include "plexa/raster/imgproc.h"
#include "plexa/raster/internal/edgestages.h"

namespace edge_internal {

void OutOfStorage(const char* text) {
  std::fputs(text, stderr);
  std::fflush(stderr);
  std::exit(1);
}

}  // namespace edge_internal

namespace {

// Resolution assumed when none usable is given, pixels per inch.
constexpr double kDefaultDpi = 96.0;
// Drawing units (tenths of a millimetre) per inch.
constexpr double kUnitsPerInch = 254.0;

// The grey weights of red, green and blue, applied as trunc(0.3 R + 0.59 G + 0.11 B) in
// double precision. The three products come from tables (the same doubles the multiplication
// gives), added in the same order.
struct GreyTables {
  double r[256], g[256], b[256];
  GreyTables() {
    for (int i = 0; i < 256; ++i) {
      r[i] = 0.3 * i;
      g[i] = 0.59 * i;
      b[i] = 0.11 * i;
    }
  }
};
const GreyTables& Grey() {
  static const GreyTables tables;
  return tables;
}

}  // namespace

// ---- settings and entries ----

void CEdgeDetect::SetDetails(double d) {
  if (std::isnan(d)) d = 0.5;
  m_details = d < 0.0 ? 0.0 : d > 1.0 ? 1.0 : d;
}

void CEdgeDetect::Input(HBITMAP bmp, double dpiX, double dpiY) {
  m_dpiX = dpiX < 1.0 || !std::isfinite(dpiX) ? kDefaultDpi : dpiX;
  m_dpiY = dpiY < 1.0 || !std::isfinite(dpiY) ? m_dpiX : dpiY;
  m_bitmap = bmp;
  m_bm = tagBITMAP{};
  if (bmp == nullptr || GetObjectW(bmp, sizeof(m_bm), &m_bm) == 0) {
    m_bitmap = nullptr;
    m_bm = tagBITMAP{};
  }
  Input_Canny();
  ScaleBack();
}

void CEdgeDetect::Output(CPolyPolyBezier& out) const {
  out.Copy(*this);
}

// ---- work rasters ----

bool CEdgeDetect::newimage(int nr, int nc, image& im) {
  im = image{};
  if (nr < 0 || nc < 0 || std::int64_t{nr} * nc > kEdgeMaxRasterBytes) return false;
  try {
    im.pixels.assign(static_cast<std::size_t>(nr) * static_cast<std::size_t>(nc), 0);
  } catch (const std::bad_alloc&) {
    return false;
  }
  im.nr = nr;
  im.nc = nc;
  return true;
}

void CEdgeDetect::freeimage(image& im) {
  im = image{};
}

CEdgeDetect::fimage CEdgeDetect::f2d(int nr, int nc) {
  if (nr < 0 || nc < 0 ||
      std::int64_t{nr} * nc * static_cast<std::int64_t>(sizeof(float)) > kEdgeMaxRasterBytes)
    edge_internal::OutOfStorage("Out of storage: F2D.\n");
  fimage f;
  try {
    f.rows.resize(static_cast<std::size_t>(nr));
  } catch (const std::bad_alloc&) {
    edge_internal::OutOfStorage("Out of storage: F2D.\n");
  }
  for (int i = 0; i < nr; ++i) {
    try {
      f.rows[static_cast<std::size_t>(i)].assign(static_cast<std::size_t>(nc), 0.0f);
    } catch (const std::bad_alloc&) {
      std::fprintf(stderr, "Out of storage: F2D %d.\n", i);
      edge_internal::OutOfStorage("");
    }
  }
  f.nr = nr;
  f.nc = nc;
  return f;
}

void CEdgeDetect::free_f2d(fimage& f) {
  f = fimage{};
}

// ---- pixels ----

unsigned char CEdgeDetect::GetGrayPixel(int x, int y) const {
  const auto* row = static_cast<const unsigned char*>(m_bm.bmBits) +
                    (std::int64_t{m_bm.bmHeight} - 1 - y) * (std::int64_t{m_bm.bmWidth} * 4);
  const unsigned char* p = row + std::int64_t{x} * 4;
  const GreyTables& t = Grey();
  return static_cast<unsigned char>(t.r[p[2]] + t.g[p[1]] + t.b[p[0]]);
}

HBITMAP CEdgeDetect::CreateBitmap32(int w, int h) {
  return CImgProc::CreateBitmap32(w, h);
}

void CEdgeDetect::SetPixel(tagBITMAP& bm, int x, int y, unsigned long colour) {
  CImgProc::SetPixel32(bm, x, y, colour);
}

void CEdgeDetect::DumpImage(const image* /*im*/) const {}

bool CEdgeDetect::GreyImage(image& grey) const {
  const tagBITMAP& bm = m_bm;
  if (m_bitmap == nullptr || bm.bmBits == nullptr || bm.bmWidth <= 0 || bm.bmHeight <= 0)
    return false;
  if (bm.bmBitsPixel != 32 && bm.bmBitsPixel != 1) return false;
  if (!newimage(bm.bmHeight, bm.bmWidth, grey)) return false;
  if (bm.bmBitsPixel == 1) {
    for (int y = 0; y < bm.bmHeight; ++y) {
      unsigned char* out = grey[y];
      for (int x = 0; x < bm.bmWidth; ++x) out[x] = CImgProc::GetPixel(bm, x, y) ? 255 : 0;
    }
    return true;
  }
  const GreyTables& t = Grey();
  for (int y = 0; y < bm.bmHeight; ++y) {  // GetGrayPixel, one row at a time
    const unsigned char* p = static_cast<const unsigned char*>(bm.bmBits) +
                             (std::int64_t{bm.bmHeight} - 1 - y) * (std::int64_t{bm.bmWidth} * 4);
    unsigned char* out = grey[y];
    for (int x = 0; x < bm.bmWidth; ++x, p += 4)
      out[x] = static_cast<unsigned char>(t.r[p[2]] + t.g[p[1]] + t.b[p[0]]);
  }
  return true;
}

void CEdgeDetect::TraceResult(const image& result) {
  RemoveAll();
  HBITMAP bmp = CreateBitmap32(result.nc, result.nr);
  if (bmp == nullptr) return;
  tagBITMAP bm{};
  GetObjectW(bmp, sizeof(bm), &bm);
  for (int y = 0; y < result.nr; ++y) {
    const unsigned char* row = result[y];
    for (int x = 0; x < result.nc; ++x) {
      const auto c = static_cast<unsigned char>(~row[x]);  // 255 - v: edges become white
      if (c != 0) SetPixel(bm, x, y, RGB(c, c, c));
    }
  }
  CImageTrace trace;
  trace.AutoTrace(bmp, *this);
  DeleteObject(bmp);
}

// ---- drawing units ----

void CEdgeDetect::ScaleBack(PLEXA::CDPOINT& p) const {
  p.x = p.x * kUnitsPerInch / m_dpiX;
  p.y = p.y * kUnitsPerInch / m_dpiY;
}

void CEdgeDetect::ScaleBack(PLEXA::CBPOINT& p) const {
  ScaleBack(p.in);
  ScaleBack(p.anchor);
  ScaleBack(p.out);
}

void CEdgeDetect::ScaleBack(CBPointArray& path) const {
  for (PLEXA::CBPOINT& n : path) ScaleBack(n);
}

void CEdgeDetect::ScaleBack() {
  void** slots = CPtrArray::GetData();
  INT_PTR kept = 0;
  for (INT_PTR i = 0; i < CPtrArray::GetSize(); ++i) {
    std::unique_ptr<CBPointArray> path(static_cast<CBPointArray*>(slots[i]));
    slots[i] = nullptr;
    if (path == nullptr) continue;
    ScaleBack(*path);
    if (path->CalcLength() >= kEdgeMinPathLength) slots[kept++] = path.release();
  }
  CPtrArray::SetSize(kept);
}
