// CEdgeDetect: settings, the grey picture, the two entries (Canny and ISEF), tracing of the
// result and the conversion back to drawing units. The top of the detector's files: it calls
// the stages of edgedetect_canny.cpp and edgedetect_shen.cpp, which call the work images of
// edgedetect_rasters.cpp and the helpers of internal/edgestages.h; nothing calls back up.
#include "plexa/raster/edgedetect.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "plexa/raster/imagetrace.h"
#include "plexa/raster/imgproc.h"
#include "plexa/raster/internal/edgestages.h"

namespace {

// Resolution assumed when none usable is given, pixels per inch.
constexpr double kDefaultDpi = 96.0;
// Drawing units (tenths of a millimetre) per inch.
constexpr double kUnitsPerInch = 254.0;

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

// ---- pixels ----

unsigned char CEdgeDetect::GetGrayPixel(int x, int y) const {
  const auto* row = static_cast<const unsigned char*>(m_bm.bmBits) +
                    (std::int64_t{m_bm.bmHeight} - 1 - y) * (std::int64_t{m_bm.bmWidth} * 4);
  const unsigned char* p = row + std::int64_t{x} * 4;
  return edge_internal::GreyOf(p);
}

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
  const auto* bits = static_cast<const unsigned char*>(bm.bmBits);
  const std::int64_t rowBytes = std::int64_t{bm.bmWidth} * 4;
  for (int y = 0; y < bm.bmHeight; ++y) {  // GetGrayPixel, one row at a time (bottom-up rows)
    const unsigned char* row = bits + (std::int64_t{bm.bmHeight} - 1 - y) * rowBytes;
    edge_internal::GreyRow(row, bm.bmWidth, grey[y],
                           y + 1 < bm.bmHeight ? row - rowBytes : nullptr);
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

// ---- the detectors ----

void CEdgeDetect::Input_Canny() {
  RemoveAll();
  image result;
  if (CannyEdges(result)) TraceResult(result);
}

bool CEdgeDetect::CannyEdges(image& grey) {
  m_ratio = 0.1;
  if (!GreyImage(grey)) return false;
  image mag, ori;
  if (!newimage(grey.nr, grey.nc, mag)) edge_internal::OutOfStorage("Out of storage: Magnitude\n");
  if (!newimage(grey.nr, grey.nc, ori))
    edge_internal::OutOfStorage("Out of storage: Orientation\n");
  const auto sigma = static_cast<float>(1.5 - m_details);
  canny(sigma, grey, mag, ori);
  hysteresis(-1, 0, grey, mag, ori);
  freeimage(ori);
  freeimage(mag);
  // The frame that the wrap-around smoothing spoils: top rows, bottom rows, left columns.
  const int nr = grey.nr, nc = grey.nc, border = m_border;
  for (int i = 0; i < nr; ++i) {
    unsigned char* row = grey[i];
    if (i < border || i >= nr - border)
      std::fill(row, row + nc, 255);
    else
      std::fill(row, row + std::min(border, nc), 255);
  }
  return true;
}

void CEdgeDetect::Input_Shen() {
  RemoveAll();
  image result;
  if (ShenEdges(result)) TraceResult(result);
}

bool CEdgeDetect::ShenEdges(image& res) {
  m_ratio = 0.99;
  image grey;
  if (!GreyImage(grey)) return false;
  embed(grey, kEdgeIsefFrame);
  if (grey.nr == 0 || !newimage(grey.nr, grey.nc, res)) return false;
  shen(grey, res);
  freeimage(grey);
  debed(res, kEdgeIsefFrame);
  return res.nr > 0;
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
