// The plexa Python module: paths and path sets, measuring, flattening, inside tests, the
// tracers, text outlines and drawing files, with Pythonic names. Long calls release the GIL;
// the library's failures become Python exceptions carrying its message.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "io/colour_image.h"
#include "io/drawing.h"
#include "io/image_read.h"
#include "io/output_file.h"
#include "io/svg_read.h"
#include "io/write.h"
#include "plexa/plexa.h"

namespace py = pybind11;
using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

using Point = std::pair<double, double>;
using Node = std::tuple<Point, Point, Point>;  // incoming control, anchor, outgoing control

// A path owned by Python. CBPointArray is the library's own type; copies are deep.
class Path {
 public:
  Path() = default;
  explicit Path(CBPointArray p) : p_(std::move(p)) {}

  static Path FromNodes(const std::vector<Node>& nodes) {
    CBPointArray p;
    p.SetSize(static_cast<INT_PTR>(nodes.size()));
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      const auto& [in, anchor, out] = nodes[i];
      p[static_cast<INT_PTR>(i)] = CBPOINT(C(in), C(anchor), C(out));
    }
    return Path(std::move(p));
  }
  // A polygon of straight segments through the points; closed repeats the first point.
  static Path FromPoints(const std::vector<Point>& pts, bool closed) {
    CBPointArray p;
    for (const Point& q : pts) p.Add(CBPOINT(C(q), C(q), C(q)));
    if (closed && !pts.empty()) p.Add(p[0]);
    return Path(std::move(p));
  }

  std::vector<Node> Nodes() const {
    std::vector<Node> out;
    out.reserve(static_cast<std::size_t>(p_.GetSize()));
    for (const CBPOINT& n : p_) out.emplace_back(P(n.in), P(n.anchor), P(n.out));
    return out;
  }
  double Length() const { return p_.CalcLength(); }
  std::tuple<double, double, double, double> Bounds(double resolution) const {
    const PLEXA::CDRECT r = p_.GetPolyBezierRect(resolution);
    return {r.xmin, r.ymin, r.xmax, r.ymax};
  }
  std::vector<Point> Flatten(double resolution) const {
    if (!(resolution > 0) || !std::isfinite(resolution))
      throw py::value_error("resolution must be a positive finite number");
    CArray<CDPOINT> pts;
    CDWordArray ends;
    p_.ExecuteBPointArrayT(pts, ends, resolution);
    std::vector<Point> out;
    out.reserve(static_cast<std::size_t>(pts.GetSize()));
    for (const CDPOINT& q : pts) out.emplace_back(q.x, q.y);
    return out;
  }
  bool Closed() const { return p_.IsPolyBezierClosed(); }
  bool Clockwise() const { return p_.IsClockwise(); }
  Path Reversed() const {
    CBPointArray p(p_);
    p.MakeReverse();
    return Path(std::move(p));
  }
  bool Contains(const Point& q) const { return CCurveCollision(p_).IsPointInCurves(C(q)); }
  std::size_t Size() const { return static_cast<std::size_t>(p_.GetSize()); }
  const CBPointArray& Get() const { return p_; }

  static CDPOINT C(const Point& p) { return CDPOINT(p.first, p.second); }
  static Point P(const CDPOINT& p) { return {p.x, p.y}; }

 private:
  CBPointArray p_;
};

// A set of paths: outlines and holes read together (even-odd).
class PathSet {
 public:
  PathSet() = default;
  explicit PathSet(const std::vector<Path>& paths) : paths_(paths) {}
  explicit PathSet(const CPolyPolyBezier& set) {
    for (INT_PTR i = 0; i < set.GetSize(); ++i)
      if (const CBPointArray* p = set.GetAt(static_cast<int>(i))) paths_.emplace_back(*p);
  }
  // Takes the paths' nodes over (set keeps its slots, emptied).
  static PathSet Taking(CPolyPolyBezier& set) {
    PathSet s;
    s.paths_.reserve(static_cast<std::size_t>(set.GetSize()));
    for (INT_PTR i = 0; i < set.GetSize(); ++i)
      if (CBPointArray* p = set.GetAt(static_cast<int>(i))) s.paths_.emplace_back(std::move(*p));
    return s;
  }

  // The library's owning container, built for a call.
  std::unique_ptr<CPolyPolyBezier> Build() const {
    auto set = std::make_unique<CPolyPolyBezier>();
    set->SetSize(0, static_cast<INT_PTR>(paths_.size()));
    for (const Path& p : paths_) set->Add(new CBPointArray(p.Get()));
    set->SetSize(set->GetSize(), 0);
    return set;
  }
  std::size_t Nodes() const {
    std::size_t n = 0;
    for (const Path& p : paths_) n += p.Size();
    return n;
  }

  std::size_t Size() const { return paths_.size(); }
  const Path& At(long i) const {
    const long n = static_cast<long>(paths_.size());
    if (i < 0) i += n;
    if (i < 0 || i >= n) throw py::index_error("path index out of range");
    return paths_[static_cast<std::size_t>(i)];
  }
  const std::vector<Path>& Paths() const { return paths_; }
  void Append(const Path& p) { paths_.push_back(p); }

  std::tuple<double, double, double, double> Bounds(double resolution) const {
    double x0 = INFINITY, y0 = INFINITY, x1 = -INFINITY, y1 = -INFINITY;
    for (const Path& p : paths_) {
      if (p.Size() == 0) continue;
      const auto [a, b, c, d] = p.Bounds(resolution);
      x0 = std::min(x0, a);
      y0 = std::min(y0, b);
      x1 = std::max(x1, c);
      y1 = std::max(y1, d);
    }
    if (x0 > x1) return {0, 0, 0, 0};
    return {x0, y0, x1, y1};
  }
  double Length() const {
    double l = 0;
    for (const Path& p : paths_) l += p.Length();
    return l;
  }
  bool Contains(const Point& q) const {
    auto set = Build();
    return CCurveCollision(*set).IsPointInCurves(Path::C(q));
  }
  std::vector<int> Holes(double ratio) const {
    auto set = Build();
    CArray<int, int> holes;
    GetPolyPolyHoles(*set, holes, ratio);
    return std::vector<int>(holes.GetData(), holes.GetData() + holes.GetSize());
  }

 private:
  std::vector<Path> paths_;
};

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

// FileNotFoundError for a path that does not exist, ValueError for one that cannot be read.
[[noreturn]] void RaiseFileError(const std::string& path, const std::string& error) {
  std::error_code ec;
  PyErr_SetString(
      std::filesystem::exists(path, ec) || path == "-" ? PyExc_ValueError : PyExc_FileNotFoundError,
      error.c_str());
  throw py::error_already_set();
}

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

PathSet FromDrawing(const plexa::io::Drawing& d) {
  return PathSet(d.paths);
}

plexa::io::Drawing ToDrawing(const PathSet& s) {
  plexa::io::Drawing d;
  for (const Path& p : s.Paths()) d.Add(p.Get());
  plexa::io::GroupIntoShapes(d);
  return d;
}

PathSet ReadSvg(const std::string& path) {
  plexa::io::Drawing d;
  std::string warning, error;
  bool ok;
  {
    py::gil_scoped_release release;
    ok = plexa::io::ReadSvgFile(path, d, warning, error);
  }
  if (!ok) RaiseFileError(path, error);
  if (!warning.empty()) PyErr_WarnEx(PyExc_UserWarning, warning.c_str(), 1);
  return FromDrawing(d);
}

void WriteFile(const PathSet& s, const std::string& path, const std::string& format) {
  plexa::io::WriteOptions o;
  std::string error;
  if (format.empty() ? !plexa::io::FormatFromPath(path, o.format, error)
                     : !plexa::io::FormatFromName(format, o.format))
    throw py::value_error(error.empty() ? "unknown format '" + format + "'" : error);
  const plexa::io::Drawing d = ToDrawing(s);
  bool ok;
  {
    py::gil_scoped_release release;
    ok = plexa::io::WriteOutputFile(path, plexa::io::WriteDrawing(d, o), error);
  }
  if (!ok) throw py::value_error(error);
}

PathSet Text(const std::string& text, const std::string& font, double height, bool bold,
             bool italic) {
  if (!(height > 0) || height > 1e6) throw py::value_error("height must be in (0, 1e6]");
  LOGFONTW lf{};
  lf.lfHeight = -1000;
  lf.lfWeight = bold ? FW_BOLD : FW_NORMAL;
  lf.lfItalic = italic ? 1 : 0;
  const py::str wide(font);
  const std::wstring w = wide.cast<std::wstring>();
  std::wcsncpy(lf.lfFaceName, w.c_str(), LF_FACESIZE - 1);
  const std::wstring chars = py::str(text).cast<std::wstring>();
  CPolyPolyBezier out;
  {
    py::gil_scoped_release release;
    CDPOINT pen(0, 0);
    for (wchar_t c : chars) GetTTOutlinePoints2(lf, static_cast<unsigned>(c), out, pen, 0);
  }
  PathSet s(out);
  // Hundredths of a 1000-pixel em: scale so the em is `height` units.
  std::vector<Path> scaled;
  const double k = height / 10.0;
  for (const Path& p : s.Paths()) {
    CBPointArray q(p.Get());
    for (CBPOINT& n : q)
      for (CDPOINT* c : {&n.in, &n.anchor, &n.out}) *c = *c * k;
    scaled.emplace_back(std::move(q));
  }
  return PathSet(scaled);
}

Path FitPoints(const std::vector<Point>& pts, double tolerance) {
  std::vector<CDPOINT> p;
  p.reserve(pts.size());
  for (const Point& q : pts) p.push_back(Path::C(q));
  CBPointArray out;
  {
    py::gil_scoped_release release;
    FitCurve(p.data(), static_cast<int>(p.size()), &out, tolerance);
  }
  return Path(std::move(out));
}

FillRule ParseFillRule(const std::string& rule) {
  if (rule == "nonzero") return FillRule::kNonZero;
  if (rule == "evenodd") return FillRule::kEvenOdd;
  throw py::value_error("fill_rule must be 'nonzero' or 'evenodd', not '" + rule + "'");
}

// A set lending a PathSet's own arrays to one library call, without copies: its slots point
// at them and are emptied before the set is destroyed. Only while the GIL is held, so that no
// other thread can change the PathSet meanwhile.
class BorrowedSet {
 public:
  explicit BorrowedSet(const PathSet& s) {
    set_.SetSize(0, static_cast<INT_PTR>(s.Size()));
    for (const Path& p : s.Paths()) set_.Add(const_cast<CBPointArray*>(&p.Get()));
  }
  ~BorrowedSet() { static_cast<CPtrArray&>(set_).SetSize(0); }
  BorrowedSet(const BorrowedSet&) = delete;
  BorrowedSet& operator=(const BorrowedSet&) = delete;
  const CPolyPolyBezier& Get() const { return set_; }

 private:
  CPolyPolyBezier set_;
};

// Up to this many nodes in both sets a boolean call keeps the GIL (it takes a few
// milliseconds at most) and reads the paths in place; larger ones copy them and release it.
constexpr std::size_t kInPlaceNodes = 20000;

// a op b (b null: the weld of a); the result's outlines run counter-clockwise and holes
// clockwise, so it reads the same under either rule.
PathSet Combine(const PathSet& a, const PathSet* b, BooleanOp op, const std::string& rule,
                double tolerance) {
  BooleanOptions options;
  options.fillRule = ParseFillRule(rule);
  options.tolerance = tolerance;
  CPolyPolyBezier out;
  bool ok = false;
  if (a.Nodes() + (b != nullptr ? b->Nodes() : 0) <= kInPlaceNodes) {
    const BorrowedSet sa(a);
    if (b != nullptr) {
      const BorrowedSet sb(*b);
      ok = BooleanPolyPolyBezier(sa.Get(), sb.Get(), op, out, options);
    } else {
      ok = WeldPolyPolyBezier(sa.Get(), out, options);
    }
  } else {
    const std::unique_ptr<CPolyPolyBezier> sa = a.Build();
    const std::unique_ptr<CPolyPolyBezier> sb = b != nullptr ? b->Build() : nullptr;
    py::gil_scoped_release release;
    ok = sb != nullptr ? BooleanPolyPolyBezier(*sa, *sb, op, out, options)
                       : WeldPolyPolyBezier(*sa, out, options);
  }
  if (!ok)
    throw std::runtime_error(
        "the paths are too large to combine (over 4 million flattened edges or 16 million "
        "crossings)");
  return PathSet::Taking(out);
}

// The parts nested on sheets (CNest) with the GIL released: one entry a part, the placed
// copy and its sheet, or None with the reason it was not placed.
py::dict Nest(const std::vector<PathSet>& parts, double width, double height, double gap,
              int rotations, bool mirror, bool partInPart, int maxSheets, int resolution,
              double timeLimit, int attempts) {
  CNest nest;
  for (const PathSet& part : parts) nest.AddShape(*part.Build());
  CNest::Options o;
  o.width = width, o.height = height, o.gap = gap, o.rotations = rotations;
  o.mirror = mirror, o.partInPart = partInPart, o.maxSheets = maxSheets;
  o.resolution = resolution, o.timeLimit = timeLimit, o.attempts = attempts;
  bool ok = false;
  {
    py::gil_scoped_release release;
    ok = nest.Nest(o);
  }
  if (!ok) throw py::value_error("width and height must be finite and positive, gap >= 0");
  static const char* const kStatus[] = {"not tried", "placed",  "empty",  "invalid",
                                        "too large", "no room", "stopped"};
  std::vector<CPolyPolyBezier> placed;
  nest.GetPlacedShapes(placed);
  py::list items;
  for (int i = 0; i < nest.GetShapeCount(); ++i) {
    const CNest::NestData& d = nest.GetShape(i);
    py::dict item;
    item["status"] = kStatus[static_cast<int>(d.status)];
    item["sheet"] = d.transform.sheet;
    item["paths"] = d.status == CNest::Status::kPlaced ? py::cast(PathSet(placed[i])) : py::none();
    item["angle"] = d.transform.angle;
    item["mirrored"] = d.transform.mirrored;
    items.append(item);
  }
  py::dict result;
  result["parts"] = items;
  result["sheets"] = nest.GetSheetCount();
  result["nested"] = nest.GetNestedCount();
  result["fill"] = nest.GetFillRatio();
  result["seconds"] = nest.GetElapsedSeconds();
  return result;
}

}  // namespace

PYBIND11_MODULE(plexa, m) {
  m.doc() =
      "plexa: geometry for sign making and cutting. Paths of cubic Bezier segments in drawing\n"
      "units (tenths of a millimetre, y down), tracing images into outlines, text as outlines,\n"
      "and drawing files (SVG in; SVG, PDF, EPS, DXF, HPGL out).";
  m.attr("__version__") = PLEXA_VERSION_STRING;

  py::register_exception_translator([](std::exception_ptr p) {
    try {
      if (p) std::rethrow_exception(p);
    } catch (const CArchiveException& e) {
      PyErr_SetString(PyExc_OSError, e.what());
    }
  });

  py::class_<Path>(m, "Path",
                   "One path of cubic Bezier segments; closed when its last anchor "
                   "repeats its first.")
      .def(py::init<>())
      .def_static("from_nodes", &Path::FromNodes, py::arg("nodes"),
                  "A path from (in_control, anchor, out_control) triples of (x, y) points.")
      .def_static("polygon", &Path::FromPoints, py::arg("points"), py::arg("closed") = true,
                  "Straight segments through (x, y) points; closed repeats the first point.")
      .def_static(
          "circle",
          [](double cx, double cy, double r) {
            CBPointArray p;
            p.CreateCircle(PLEXA::CDRECT(cx - r, cx + r, cy - r, cy + r));
            return Path(std::move(p));
          },
          py::arg("cx"), py::arg("cy"), py::arg("r"), "A circle of four Bezier quarter arcs.")
      .def_property_readonly("nodes", &Path::Nodes,
                             "The nodes as (in_control, anchor, out_control) triples.")
      .def_property_readonly("length", &Path::Length, "Arc length of the curves.")
      .def("bounds", &Path::Bounds, py::arg("resolution") = 1.0,
           "(xmin, ymin, xmax, ymax) of the curves flattened at resolution.")
      .def("flatten", &Path::Flatten, py::arg("resolution") = 1.0,
           "Points along the curves, every control leg within resolution of the chord.")
      .def_property_readonly("closed", &Path::Closed)
      .def_property_readonly("clockwise", &Path::Clockwise,
                             "Orientation of the anchor polygon on a y-down screen.")
      .def("reversed", &Path::Reversed)
      .def("contains", &Path::Contains, py::arg("point"),
           "Even-odd inside test, exact on the curves.")
      .def("__len__", &Path::Size)
      .def("__repr__",
           [](const Path& p) { return "<plexa.Path of " + std::to_string(p.Size()) + " nodes>"; });

  py::class_<PathSet>(m, "PathSet", "Paths read together: outlines and their holes (even-odd).")
      .def(py::init<>())
      .def(py::init<const std::vector<Path>&>(), py::arg("paths"))
      .def("__len__", &PathSet::Size)
      .def("__getitem__", &PathSet::At, py::arg("index"))
      .def(
          "__iter__",
          [](const PathSet& s) { return py::make_iterator(s.Paths().begin(), s.Paths().end()); },
          py::keep_alive<0, 1>())
      .def("append", &PathSet::Append, py::arg("path"))
      .def_property_readonly("paths", &PathSet::Paths)
      .def_property_readonly("length", &PathSet::Length)
      .def("bounds", &PathSet::Bounds, py::arg("resolution") = 1.0)
      .def("contains", &PathSet::Contains, py::arg("point"),
           "Even-odd inside test over every path, exact on the curves.")
      .def("holes", &PathSet::Holes, py::arg("ratio") = 0.9,
           "Indexes of the paths lying inside another (at least ratio of their points).")
      .def("__repr__", [](const PathSet& s) {
        return "<plexa.PathSet of " + std::to_string(s.Size()) + " paths>";
      });

  // For the overhead benchmark: the same length call n times inside C++, GIL released.
  m.def(
      "_length_loop",
      [](const Path& p, long n) {
        py::gil_scoped_release release;
        double sum = 0;
        for (long i = 0; i < n; ++i) sum += p.Get().CalcLength();
        return sum;
      },
      py::arg("path"), py::arg("n"));
  m.def("edges", &Edges, py::arg("image"), py::arg("details") = 0.5, py::arg("method") = "canny",
        "Edges of a photograph (a file, read in colour, or rows of grey values) as open paths in\n"
        "pixel units: method 'canny' (details 0 coarse .. 1 fine) or 'isef' (strong edges).");
  m.def("centerline", &Centerline, py::arg("image"), py::arg("threshold") = 128,
        py::arg("invert") = false,
        "Centre lines of dark strokes (light with invert=True) as open paths in pixel units, for\n"
        "plotters, engravers and single-line cutting. image as for trace().");
  m.def("trace", &Trace, py::arg("image"), py::arg("engine") = "faithful",
        py::arg("threshold") = 128, py::arg("invert") = false, py::arg("min_points") = 20,
        py::arg("speckle") = 2, py::arg("corner_threshold") = 1.0, py::arg("opt_tolerance") = 0.4,
        "Traces dark artwork (light with invert=True) into closed outlines in pixel units.\n"
        "image: a file path (PNG, JPEG, BMP, GIF, ...) or rows of grey values 0..255 (a 2-D\n"
        "list or NumPy array). engine 'faithful' (default) finds every region, keeps outlines on\n"
        "pixel edges and places few smooth curves (speckle: regions of at most this many pixels\n"
        "are dropped; corner_threshold: 0 all corners .. 4/3 none; opt_tolerance: curve merging\n"
        "in pixels); engine 'shape' is the grid-seeded shape tracer (min_points).");
  m.def("trace_colours", &TraceColours, py::arg("path"), py::arg("colours") = 16,
        py::arg("speckle") = 8, py::arg("tolerance") = 1.0,
        "Traces every colour region of a picture file, its palette reduced to at most colours\n"
        "(1..256), regions under speckle pixels merged into their neighbours: a list of\n"
        "((r, g, b), PathSet) in pixel units, each set even-odd with its holes; neighbouring\n"
        "regions share their boundary curves (tolerance in pixels).");
  m.def("fit_curve", &FitPoints, py::arg("points"), py::arg("tolerance") = 1.0,
        "A smooth path within tolerance of the (x, y) points, corners kept.");
  m.def("text", &Text, py::arg("text"), py::arg("font") = "DejaVu Sans", py::arg("height") = 100.0,
        py::arg("bold") = false, py::arg("italic") = false,
        "The characters of text as outlines from a system font, the em `height` units tall.");
  constexpr const char* kBooleanNote =
      "\nfill_rule ('nonzero' or 'evenodd') says how each input set's paths fill; tolerance is\n"
      "the largest distance between a curve and its flattening, in drawing units. The result's\n"
      "edges are pieces of the inputs' own curves; outlines run counter-clockwise and holes\n"
      "clockwise (y down). The GIL is released while it works.";
  m.def(
      "union",
      [](const PathSet& a, const PathSet* b, const std::string& fill_rule, double tolerance) {
        return Combine(a, b, BooleanOp::kUnion, fill_rule, tolerance);
      },
      py::arg("a"), py::arg("b") = py::none(), py::kw_only(), py::arg("fill_rule") = "nonzero",
      py::arg("tolerance") = 0.01,
      (std::string("The region covered by a or b; with b None, everything a covers (its weld).") +
       kBooleanNote)
          .c_str());
  m.def(
      "intersection",
      [](const PathSet& a, const PathSet& b, const std::string& fill_rule, double tolerance) {
        return Combine(a, &b, BooleanOp::kIntersection, fill_rule, tolerance);
      },
      py::arg("a"), py::arg("b"), py::kw_only(), py::arg("fill_rule") = "nonzero",
      py::arg("tolerance") = 0.01,
      (std::string("The region covered by both a and b.") + kBooleanNote).c_str());
  m.def(
      "difference",
      [](const PathSet& a, const PathSet& b, const std::string& fill_rule, double tolerance) {
        return Combine(a, &b, BooleanOp::kDifference, fill_rule, tolerance);
      },
      py::arg("a"), py::arg("b"), py::kw_only(), py::arg("fill_rule") = "nonzero",
      py::arg("tolerance") = 0.01,
      (std::string("The region of a outside b (b cut out of a).") + kBooleanNote).c_str());
  m.def(
      "xor",
      [](const PathSet& a, const PathSet& b, const std::string& fill_rule, double tolerance) {
        return Combine(a, &b, BooleanOp::kXor, fill_rule, tolerance);
      },
      py::arg("a"), py::arg("b"), py::kw_only(), py::arg("fill_rule") = "nonzero",
      py::arg("tolerance") = 0.01,
      (std::string("The region covered by exactly one of a and b.") + kBooleanNote).c_str());
  m.def(
      "weld",
      [](const PathSet& paths, const std::string& fill_rule, double tolerance) {
        return Combine(paths, nullptr, BooleanOp::kUnion, fill_rule, tolerance);
      },
      py::arg("paths"), py::arg("fill_rule") = "nonzero", py::kw_only(),
      py::arg("tolerance") = 0.01,
      (std::string("Overlapping outlines of paths merged into one, holes kept (as union(paths)).") +
       kBooleanNote)
          .c_str());
  m.def("nest", &Nest, py::arg("parts"), py::kw_only(), py::arg("width"), py::arg("height"),
        py::arg("gap") = 0.0, py::arg("rotations") = 4, py::arg("mirror") = false,
        py::arg("part_in_part") = true, py::arg("max_sheets") = 0, py::arg("resolution") = 0,
        py::arg("time_limit") = 0.0, py::arg("attempts") = 1,
        "Places the parts (PathSets: outlines with holes) on width x height sheets without\n"
        "overlap, at least gap apart (attempts: orders of placement tried, the best "
        "kept; resolution 0: the raster chosen from the gap and the parts).\nReturns a dict: "
        "'parts' (per part: 'status', 'sheet',\n"
        "'paths' moved onto the sheet or None, 'angle', 'mirrored'), 'sheets', 'nested',\n"
        "'fill' and 'seconds'. The GIL is released while it works.");
  m.def(
      "offset",
      [](const PathSet& paths, double distance, const std::string& join, double accuracy) {
        OffsetOptions options;
        if (join == "round") {
          options.join = OffsetJoin::kRound;
        } else if (join == "miter") {
          options.join = OffsetJoin::kMiter;
        } else if (join == "bevel") {
          options.join = OffsetJoin::kBevel;
        } else {
          throw py::value_error("join must be 'round', 'miter' or 'bevel', not '" + join + "'");
        }
        options.accuracy = accuracy;
        const std::unique_ptr<CPolyPolyBezier> set = paths.Build();
        CPolyPolyBezier out;
        bool ok = false;
        {
          py::gil_scoped_release release;
          ok = OffsetPolyPolyBezier(*set, distance, out, options);
        }
        if (!ok)
          throw py::value_error(
              "cannot offset: the distance or accuracy is not finite, or the paths are too large");
        return PathSet(out);
      },
      py::arg("paths"), py::arg("distance"), py::kw_only(), py::arg("join") = "round",
      py::arg("accuracy") = 1e-3,
      "The shapes of paths (non-zero) grown by distance, or shrunk when it is negative, in\n"
      "curves within accuracy; shapes that vanish are left out. Outlines counter-clockwise,\n"
      "holes clockwise.");
  m.def("read_svg", &ReadSvg, py::arg("path"), "Reads the paths and shapes of an SVG file.");
  m.def("write", &WriteFile, py::arg("paths"), py::arg("path"), py::arg("format") = "",
        "Writes paths as SVG, PDF, EPS, DXF or HPGL (by extension unless format is given).");
}
