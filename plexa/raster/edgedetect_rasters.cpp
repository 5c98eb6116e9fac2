// CEdgeDetect's work images (grey and float rasters) and bitmaps, with the "Out of storage"
// stops. Both detectors' stages allocate through these; they call nothing above them.
#include <cstdio>
#include <new>

#include "plexa/raster/edgedetect.h"
#include "plexa/raster/imgproc.h"
#include "plexa/raster/internal/edgestages.h"

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

HBITMAP CEdgeDetect::CreateBitmap32(int w, int h) {
  return CImgProc::CreateBitmap32(w, h);
}

void CEdgeDetect::SetPixel(tagBITMAP& bm, int x, int y, unsigned long colour) {
  CImgProc::SetPixel32(bm, x, y, colour);
}

void CEdgeDetect::DumpImage(const image* /*im*/) const {}
