// The Python module's own path types: a path of cubic Bezier nodes owned by Python and a set of
// them read together, each converting to and from the library's arrays.
#pragma once

#include <pybind11/pybind11.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <tuple>
#include <utility>
#include <vector>

#include "plexa/plexa.h"

namespace plexa_python {

namespace py = pybind11;
using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

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

}  // namespace plexa_python
