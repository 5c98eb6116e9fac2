// The plexa Python module: paths and path sets, measuring, flattening, inside tests, the
// tracers, text outlines and drawing files, with Pythonic names. Long calls release the GIL;
// the library's failures become Python exceptions carrying its message.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "io/drawing.h"
#include "io/output_file.h"
#include "io/svg_read.h"
#include "io/write.h"
#include "plexa/plexa.h"
#include "python/images.h"
#include "python/paths.h"

namespace py = pybind11;
using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using plexa_python::Path;
using plexa_python::PathSet;
using plexa_python::Point;
using plexa_python::RaiseFileError;

namespace {

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
  m.def("edges", &plexa_python::Edges, py::arg("image"), py::arg("details") = 0.5,
        py::arg("method") = "canny",
        "Edges of a photograph (a file, read in colour, or rows of grey values) as open paths in\n"
        "pixel units: method 'canny' (details 0 coarse .. 1 fine) or 'isef' (strong edges).");
  m.def("centerline", &plexa_python::Centerline, py::arg("image"), py::arg("threshold") = 128,
        py::arg("invert") = false,
        "Centre lines of dark strokes (light with invert=True) as open paths in pixel units, for\n"
        "plotters, engravers and single-line cutting. image as for trace().");
  m.def("trace", &plexa_python::Trace, py::arg("image"), py::arg("engine") = "faithful",
        py::arg("threshold") = 128, py::arg("invert") = false, py::arg("min_points") = 20,
        py::arg("speckle") = 2, py::arg("corner_threshold") = 1.0, py::arg("opt_tolerance") = 0.4,
        "Traces dark artwork (light with invert=True) into closed outlines in pixel units.\n"
        "image: a file path (PNG, JPEG, BMP, GIF, ...) or rows of grey values 0..255 (a 2-D\n"
        "list or NumPy array). engine 'faithful' (default) finds every region, keeps outlines on\n"
        "pixel edges and places few smooth curves (speckle: regions of at most this many pixels\n"
        "are dropped; corner_threshold: 0 all corners .. 4/3 none; opt_tolerance: curve merging\n"
        "in pixels); engine 'shape' is the grid-seeded shape tracer (min_points).");
  m.def("trace_colours", &plexa_python::TraceColours, py::arg("path"), py::arg("colours") = 16,
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
