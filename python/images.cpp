// Image calls of the Python module: pictures read from files or rows of grey values, traced,
// thinned or edge-detected by the library with the GIL released.
#include "python/images.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "io/colour_image.h"
#include "io/image_read.h"

namespace plexa_python {
namespace {

// A 32-bit two-level bitmap from rows of grey values: pixels darker than threshold are the
// artwork (white in the bitmap, what the tracers follow), or lighter ones with invert.
HBITMAP BitmapFromRows(const std::vector<std::vector<double>>& rows, int threshold, bool invert) {
  const int h = static_cast<int>(rows.size());
  const int w = h ? static_cast<int>(rows[0].size()) : 0;
  if (w <= 0 || h <= 0) throw py::value_error("the image is empty");
  for (const auto& r : rows)
    if (static_cast<int>(r.size()) != w) throw py::value_error("the image's rows differ in length");
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  info.bmiHeader.biWidth = w;
  info.bmiHeader.biHeight = -h;  // top-down rows, as the pixel list reads
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  void* bits = nullptr;
  HBITMAP bmp = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  if (bmp == nullptr) throw std::bad_alloc();
  auto* px = static_cast<std::uint32_t*>(bits);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const double v = rows[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)];
      const bool ink = invert ? v >= threshold : v < threshold;
      px[static_cast<std::size_t>(y) * w + x] = ink ? 0xFFFFFFu : 0u;
    }
  }
  return bmp;
}

struct BitmapOwner {
  HBITMAP bmp;
  ~BitmapOwner() {
    if (bmp) DeleteObject(bmp);
  }
};

}  // namespace

// FileNotFoundError for a path that does not exist, ValueError for one that cannot be read.
[[noreturn]] void RaiseFileError(const std::string& path, const std::string& error) {
  std::error_code ec;
  PyErr_SetString(
      std::filesystem::exists(path, ec) || path == "-" ? PyExc_ValueError : PyExc_FileNotFoundError,
      error.c_str());
  throw py::error_already_set();
}

namespace {

// Options of the faithful tracer that Python passes by keyword.
struct FaithfulOptions {
  int speckle = 2;
  double corner_threshold = 1.0;
  double opt_tolerance = 0.4;
};

// Traces the artwork of a two-level 32-bit bitmap (white = artwork), which it frees.
PathSet TraceBitmap(HBITMAP bmp, const std::string& engine, int minPoints,
                    const FaithfulOptions& f) {
  BitmapOwner own{bmp};
  CPolyPolyBezier out;
  if (engine == "faithful") {
    CFaithfulTrace::OPTIONS o;
    o.speckle = f.speckle;
    o.cornerThreshold = f.corner_threshold;
    o.optTolerance = f.opt_tolerance;
    o.invert = true;  // the artwork is white in the bitmap
    py::gil_scoped_release release;
    CFaithfulTrace(o).Trace(bmp, out);
  } else if (engine == "shape") {
    py::gil_scoped_release release;
    CShapeTrace trace(bmp);
    trace.DoTrace(out, minPoints);
  } else {
    throw py::value_error("engine must be 'faithful' or 'shape'");
  }
  return PathSet(out);
}

// Centre lines of the artwork's strokes, in pixel units (pixel centres at + 0.5).
PathSet CentreLines(HBITMAP bmp) {
  BitmapOwner own{bmp};
  CPolyPolyBezier out;
  {
    py::gil_scoped_release release;
    CSkeleton skeleton;
    skeleton.InputMono(bmp, 0, 0);
    skeleton.Output(out);
  }
  // Traced points are cells, one more than the pixel's index: move them onto pixel centres.
  for (INT_PTR i = 0; i < out.GetSize(); ++i)
    if (CBPointArray* p = out.GetAt(static_cast<int>(i)))
      for (CBPOINT& n : *p)
        for (CDPOINT* q : {&n.in, &n.anchor, &n.out}) *q = *q - CDPOINT(0.5, 0.5);
  return PathSet(out);
}

// The two-level bitmap of an image given as a path or as rows of grey values.
HBITMAP LoadImage(const py::object& image, int threshold, bool invert) {
  if (threshold < 0 || threshold > 256) throw py::value_error("threshold must be in 0..256");
  if (py::isinstance<py::str>(image) || py::hasattr(image, "__fspath__")) {
    const std::string path = py::str(py::module_::import("os").attr("fspath")(image));
    plexa::io::ImageOptions o;
    o.threshold = threshold;
    o.invert = invert;
    std::string error;
    plexa::io::LoadedImage img;
    {
      py::gil_scoped_release release;
      img = plexa::io::LoadTwoLevelImage(path, o, error);
    }
    if (img.bitmap == nullptr) RaiseFileError(path, error);
    return img.bitmap;
  }
  // A NumPy array or nested lists: rows of grey values (0 dark .. 255 light).
  py::object rows = image;
  if (py::hasattr(image, "tolist")) rows = image.attr("tolist")();
  const auto grey = rows.cast<std::vector<std::vector<double>>>();
  return BitmapFromRows(grey, threshold, invert);
}

}  // namespace

PathSet Trace(const py::object& image, const std::string& engine, int threshold, bool invert,
              int minPoints, int speckle, double cornerThreshold, double optTolerance) {
  if (engine != "faithful" && engine != "shape")
    throw py::value_error("engine must be 'faithful' or 'shape'");
  return TraceBitmap(LoadImage(image, threshold, invert), engine, minPoints,
                     FaithfulOptions{speckle, cornerThreshold, optTolerance});
}

PathSet Centerline(const py::object& image, int threshold, bool invert) {
  return CentreLines(LoadImage(image, threshold, invert));
}

// Every colour region of a picture: a list of ((r, g, b), PathSet) in order of first
// appearance, each set even-odd with its holes, neighbours sharing their boundaries.
py::list TraceColours(const std::string& path, int colours, int speckle, double tolerance) {
  if (colours < 1 || colours > plexa::io::kMaxPaletteColours)
    throw py::value_error("colours must be 1 to " + std::to_string(plexa::io::kMaxPaletteColours));
  std::string error;
  plexa::io::Palette palette;
  CColourRegions regions;
  bool ok = false;
  {
    py::gil_scoped_release release;
    const plexa::io::ColourImage img =
        plexa::io::LoadColourImage(path, plexa::io::kDefaultMaxPixels, error);
    if (!img.rgb.empty() && plexa::io::ReduceColours(img, colours, palette, error)) {
      MergeSmallRegions(palette.labels, img.width, img.height, speckle);
      ok = regions.Trace(palette.labels, img.width, img.height, tolerance);
      if (!ok) error = "the image is too large to trace in colour";
    }
  }
  if (!ok) RaiseFileError(path, error);
  py::list out;
  for (int i = 0; i < regions.GetRegionCount(); ++i) {
    const std::uint32_t c = palette.colours[regions.GetLabel(i)];
    out.append(py::make_tuple(py::make_tuple((c >> 16) & 0xFF, (c >> 8) & 0xFF, c & 0xFF),
                              PathSet(regions.GetOutlines(i))));
  }
  return out;
}

// Edges of a photograph (a path, read in colour, or rows of grey values) as open paths in
// pixel units (pixel centres at + 0.5); paths shorter than 1 mm at 96 dpi are dropped.
PathSet Edges(const py::object& image, double details, const std::string& method) {
  if (method != "canny" && method != "isef")
    throw py::value_error("method must be 'canny' or 'isef'");
  if (!(details >= 0 && details <= 1)) throw py::value_error("details must be in 0..1");
  HBITMAP bmp = nullptr;
  if (py::isinstance<py::str>(image) || py::hasattr(image, "__fspath__")) {
    const std::string path = py::str(py::module_::import("os").attr("fspath")(image));
    std::string error;
    plexa::io::LoadedImage img;
    {
      py::gil_scoped_release release;
      img = plexa::io::LoadColourBitmap(path, plexa::io::kDefaultMaxPixels, error);
    }
    if (img.bitmap == nullptr) RaiseFileError(path, error);
    bmp = img.bitmap;
  } else {
    py::object rows = image;
    if (py::hasattr(image, "tolist")) rows = image.attr("tolist")();
    const auto grey = rows.cast<std::vector<std::vector<double>>>();
    const int h = static_cast<int>(grey.size()), w = h > 0 ? static_cast<int>(grey[0].size()) : 0;
    for (const auto& row : grey)
      if (static_cast<int>(row.size()) != w) throw py::value_error("rows must have one length");
    bmp = CImgProc::CreateBitmap32(std::max(w, 1), std::max(h, 1));
    if (bmp == nullptr) throw py::value_error("image too large");
    tagBITMAP bm{};
    GetObjectW(bmp, sizeof bm, &bm);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const double v = grey[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)];
        const auto c = static_cast<BYTE>(std::clamp(std::isnan(v) ? 0.0 : v, 0.0, 255.0));
        CImgProc::SetPixel32(bm, x, y, RGB(c, c, c));
      }
  }
  BitmapOwner own{bmp};
  struct Detector : CEdgeDetect {
    void Isef(HBITMAP b) {
      m_bitmap = b;
      GetObjectW(b, sizeof m_bm, &m_bm);
      m_dpiX = m_dpiY = 96.0;
      Input_Shen();
      ScaleBack();
    }
  };
  CPolyPolyBezier out;
  {
    py::gil_scoped_release release;
    Detector e;
    e.SetDetails(details);
    if (method == "isef")
      e.Isef(bmp);
    else
      e.Input(bmp, 96.0, 96.0);
    e.Output(out);
  }
  const double back = 96.0 / 254.0;  // units to pixels; cells are pixel + 1
  for (INT_PTR i = 0; i < out.GetSize(); ++i)
    if (CBPointArray* p = out.GetAt(static_cast<int>(i)))
      for (CBPOINT& n : *p)
        for (CDPOINT* q : {&n.in, &n.anchor, &n.out})
          *q = CDPOINT(q->x * back - 0.5, q->y * back - 0.5);
  return PathSet(out);
}

}  // namespace plexa_python
