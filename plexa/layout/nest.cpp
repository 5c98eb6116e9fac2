#include "plexa/layout/nest.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <numbers>
#include <span>

#include "plexa/analysis/boolean.h"
#include "plexa/core/internal/numerics.h"
#include "plexa/platform/internal/rasterizer.h"

namespace {

using PLEXA::CDPOINT;
using PLEXA::CDRECT;
namespace rast = plexa::rasterizer;

// Flattening tolerance of footprints, in pixels. With the half diagonal of a pixel (0.7071)
// it must stay below the safety margin, leaving about 0.19 pixels for rounding.
constexpr double kFlattenPixels = 0.1;
// Added to gap / 2 when footprints are grown: a pixel whose square meets the shape grown by
// gap / 2 has its centre within gap / 2 + 0.7071 pixels of it, plus the flattening error.
constexpr double kSafetyPixels = 1.0;
// Cap of line pieces one cubic flattens into (footprints and areas).
constexpr int kMaxFlattenSteps = 256;
// Page raster sides. The default resolution of 1024 was measured against 512 and 2048 on the
// benchmark: 512 fills the first sheet 6 % less at 50 parts; 2048 takes 4 to 5 times as long
// for no better fill (the heuristic, not the pixel, limits it there).
constexpr int kMinRaster = 64;
constexpr int kMaxRaster = 2048;
// Slack on the number of whole pixels along a sheet side (sizes that are whole multiples of
// the pixel must not lose their last pixel to rounding); far below the 0.19 pixel reserve.
constexpr double kWholePixelSlack = 1e-9;
// Which height of a footprint its position is ranked by: 0 its top, 1 its middle, 2 its bottom.
// Measured on 50 and 200 glyphs, icons and traced parts (bench/nest_bench.cpp, sheet 18 x 12
// cm): the three fill the first sheet alike (0.727 and 0.846); ranking by the bottom needs the
// fewest sheets (2 against 3 for 50 parts). Ordering units by footprint area beats ordering by
// footprint box area (first sheet 0.727 / 0.846 against 0.682 / 0.664). Choosing among the
// orientations' lowest spots by least pile growth and then most contact with taken cells was
// tried and kept out: 0.722 / 0.844, and a third sheet for 50 parts.
constexpr int kHeightWeight = 2;
// Most turns Options::rotations asks for.
constexpr int kMaxRotationSteps = 360;

using Clock = std::chrono::steady_clock;

struct Affine {
  double m11 = 1, m12 = 0, m21 = 0, m22 = 1;
  rast::PointD Map(const CDPOINT& p, double scale) const {
    return {(p.x * m11 + p.y * m21) * scale, (p.x * m12 + p.y * m22) * scale};
  }
};

Affine Orientation(double angle, bool mirrored) {
  const double c = std::cos(angle), s = std::sin(angle), m = mirrored ? -1.0 : 1.0;
  return {m * c, m * s, -s, c};
}

bool UsablePath(const CBPointArray* path) {
  return path != nullptr && path->GetSize() >= 2;
}

bool AllFinite(const CPolyPolyBezier& set) {
  for (INT_PTR i = 0; i < set.GetSize(); ++i) {
    const CBPointArray* path = set.GetAt(static_cast<int>(i));
    if (path == nullptr) continue;
    for (INT_PTR k = 0; k < path->GetSize(); ++k) {
      const PLEXA::CBPOINT& n = (*path)[k];
      if (!plexa::num::IsFinite(n.in) || !plexa::num::IsFinite(n.anchor) ||
          !plexa::num::IsFinite(n.out))
        return false;
    }
  }
  return true;
}

// The path as a polygon (closed by the figure's closing edge), mapped and scaled.
void FlattenPath(const CBPointArray& path, const Affine& m, double scale, double tolerance,
                 std::vector<rast::PointD>& out) {
  out.clear();
  out.push_back(m.Map(path[0].anchor, scale));
  for (INT_PTR i = 0; i + 1 < path.GetSize(); ++i) {
    rast::FlattenBezier(m.Map(path[i].anchor, scale), m.Map(path[i].out, scale),
                        m.Map(path[i + 1].in, scale), m.Map(path[i + 1].anchor, scale), tolerance,
                        kMaxFlattenSteps, out);
  }
}

bool InsidePolygon(const std::vector<rast::PointD>& poly, double x, double y) {
  bool in = false;
  for (size_t i = 0, j = poly.size() - 1; i < poly.size(); j = i++) {
    const rast::PointD& a = poly[i];
    const rast::PointD& b = poly[j];
    if ((a.y > y) != (b.y > y) && x < a.x + (y - a.y) * (b.x - a.x) / (b.y - a.y)) in = !in;
  }
  return in;
}

// ---- Footprints ----------------------------------------------------------------------------

// One orientation of a unit, rasterised and grown: rows of pixel spans (inclusive ends).
struct Footprint {
  double angle = 0;
  bool mirrored = false;
  Affine map;
  double ox = 0, oy = 0;  // oriented pixel frame position of cell (0, 0) (whole numbers)
  int w = 0, h = 0;
  std::vector<int> rowStart;  // h + 1 entries into spans
  std::vector<std::pair<int, int>> spans;
  std::int64_t cells = 0;
  int widestRow = 0, widestLen = 0;  // the row holding the longest span, and its length
};

struct Unit {
  std::vector<int> members;
  std::vector<std::pair<double, bool>> orientations;  // (angle, mirrored)
  std::vector<Footprint> footprints;  // built when the unit's turn comes, dropped after it
  std::int64_t cells = 0;             // footprint size of the first orientation that fits
  double area = 0;
};

bool SameSet(const CPolyPolyBezier& a, const CPolyPolyBezier& b) {
  if (a.GetSize() != b.GetSize()) return false;
  for (INT_PTR i = 0; i < a.GetSize(); ++i) {
    const CBPointArray* p = a.GetAt(static_cast<int>(i));
    const CBPointArray* q = b.GetAt(static_cast<int>(i));
    if ((p == nullptr) != (q == nullptr)) return false;
    if (p == nullptr) continue;
    if (p->GetSize() != q->GetSize()) return false;
    for (INT_PTR k = 0; k < p->GetSize(); ++k)
      if (!((*p)[k] == (*q)[k])) return false;
  }
  return true;
}

// Builds the footprint; false when the unit is wider or taller than maxW x maxH pixels.
bool MakeFootprint(const std::vector<const CPolyPolyBezier*>& shapes, double angle, bool mirrored,
                   double pixel, double grow, bool partInPart, int maxW, int maxH, Footprint& f) {
  f = Footprint();
  f.angle = angle;
  f.mirrored = mirrored;
  f.map = Orientation(angle, mirrored);
  std::vector<std::vector<rast::Figure>> figures(shapes.size());
  double x0 = std::numeric_limits<double>::infinity(), y0 = x0, x1 = -x0, y1 = -x0;
  std::vector<rast::PointD> poly;
  for (size_t s = 0; s < shapes.size(); ++s) {
    const CPolyPolyBezier& set = *shapes[s];
    for (INT_PTR i = 0; i < set.GetSize(); ++i) {
      const CBPointArray* path = set.GetAt(static_cast<int>(i));
      if (!UsablePath(path)) continue;
      FlattenPath(*path, f.map, 1.0 / pixel, kFlattenPixels, poly);
      for (const rast::PointD& p : poly) {
        x0 = std::min(x0, p.x), x1 = std::max(x1, p.x);
        y0 = std::min(y0, p.y), y1 = std::max(y1, p.y);
      }
      figures[s].push_back(rast::Figure{poly, true});
    }
  }
  if (!(std::isfinite(x0) && std::isfinite(x1) && std::isfinite(y0) && std::isfinite(y1)))
    return false;
  const double ox = std::floor(x0 - grow - 1), oy = std::floor(y0 - grow - 1);
  const double w = std::ceil(x1 + grow + 1) - ox, h = std::ceil(y1 + grow + 1) - oy;
  if (!(w <= maxW && h <= maxH)) return false;
  f.ox = ox, f.oy = oy;
  f.w = static_cast<int>(w), f.h = static_cast<int>(h);
  std::vector<rast::Figure> all;
  for (auto& list : figures) {
    for (rast::Figure& fig : list) {
      for (rast::PointD& p : fig.points) p.x -= ox, p.y -= oy;
      all.push_back(fig);
    }
  }
  rast::Coverage cov(f.w, f.h);
  if (partInPart) {
    // Each shape even-odd on its own: its holes stay free, overlapping members unite.
    size_t at = 0;
    for (const auto& list : figures) {
      rast::FillEvenOdd(std::span<const rast::Figure>(all.data() + at, list.size()), cov);
      at += list.size();
    }
  } else {
    for (const rast::Figure& fig : all) rast::FillEvenOdd({&fig, 1}, cov);
  }
  rast::StrokeRound(all, 2 * grow, cov);
  cov.Finish();
  f.rowStart.assign(static_cast<size_t>(f.h) + 1, 0);
  for (const rast::Span& s : cov.Spans()) ++f.rowStart[static_cast<size_t>(s.y) + 1];
  for (int y = 0; y < f.h; ++y) f.rowStart[y + 1] += f.rowStart[y];
  f.spans.resize(cov.Spans().size());
  std::vector<int> fill(f.rowStart.begin(), f.rowStart.end() - 1);
  for (const rast::Span& s : cov.Spans()) {
    f.spans[static_cast<size_t>(fill[s.y]++)] = {s.x0, s.x1};
    f.cells += s.x1 - s.x0 + 1;
    if (s.x1 - s.x0 + 1 > f.widestLen) f.widestLen = s.x1 - s.x0 + 1, f.widestRow = s.y;
  }
  return true;
}

// ---- The page raster -----------------------------------------------------------------------

// Free space per row: run[x] > 0 is a free cell starting a free run of that length; run[x] <= 0
// is a taken cell, -run[x] cells before the next free one (or the row's end).
class Sheet {
 public:
  Sheet(int w, int h, int usableW, int usableH, const std::vector<CDRECT>& keepOut, double pixel)
      : w_(w), h_(h), run_(static_cast<size_t>(w) * h, 1), longest_(static_cast<size_t>(h), 0) {
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x)
        if (x >= usableW || y >= usableH) Cell(x, y) = 0;
    }
    for (const CDRECT& r : keepOut) {
      const double xa = std::min(r.xmin, r.xmax) / pixel, xb = std::max(r.xmin, r.xmax) / pixel;
      const double ya = std::min(r.ymin, r.ymax) / pixel, yb = std::max(r.ymin, r.ymax) / pixel;
      if (!(std::isfinite(xa) && std::isfinite(xb) && std::isfinite(ya) && std::isfinite(yb)))
        continue;
      const int cx0 = static_cast<int>(std::clamp(std::floor(xa), 0.0, double(w)));
      const int cx1 = static_cast<int>(std::clamp(std::ceil(xb), 0.0, double(w)));
      const int cy0 = static_cast<int>(std::clamp(std::floor(ya), 0.0, double(h)));
      const int cy1 = static_cast<int>(std::clamp(std::ceil(yb), 0.0, double(h)));
      for (int y = cy0; y < cy1; ++y)
        for (int x = cx0; x < cx1; ++x) Cell(x, y) = 0;
    }
    for (int y = 0; y < h; ++y) RebuildRow(y);
    for (std::int16_t v : run_) free_ += v > 0;
  }

  // Whether f fits with its cell (0, 0) at (x, y); when not, next is the smallest x' > x that
  // the blocking cell leaves possible.
  bool Fits(const Footprint& f, int x, int y, int& hint, int& next) const {
    for (int k = 0; k < f.h; ++k) {
      int r = hint + k;
      if (r >= f.h) r -= f.h;
      const std::int16_t* row = &run_[static_cast<size_t>(y + r) * w_];
      for (int s = f.rowStart[r]; s < f.rowStart[r + 1]; ++s) {
        const auto [a, b] = f.spans[static_cast<size_t>(s)];
        const int c = x + a, v = row[c];
        if (v >= b - a + 1) continue;
        next = v > 0 ? c + v - a + 1 : c - v - a;
        hint = r;
        return false;
      }
    }
    return true;
  }

  // First x in row y where f fits, or -1. A row whose longest free run is shorter than the
  // footprint's longest span is refused at once.
  int FirstFit(const Footprint& f, int y, int& hint) const {
    if (longest_[static_cast<size_t>(y + f.widestRow)] < f.widestLen) return -1;
    for (int x = 0; x + f.w <= w_;) {
      int next = x + 1;
      if (Fits(f, x, y, hint, next)) return x;
      x = std::max(next, x + 1);
    }
    return -1;
  }

  void Take(const Footprint& f, int x, int y) {
    for (int r = 0; r < f.h; ++r) {
      for (int s = f.rowStart[r]; s < f.rowStart[r + 1]; ++s) {
        const auto [a, b] = f.spans[static_cast<size_t>(s)];
        for (int c = x + a; c <= x + b; ++c) Cell(c, y + r) = 0;
        free_ -= b - a + 1;
      }
      RebuildRow(y + r);
    }
  }

  std::int64_t FreeCells() const { return free_; }
  int Width() const { return w_; }
  int Height() const { return h_; }

 private:
  std::int16_t& Cell(int x, int y) { return run_[static_cast<size_t>(y) * w_ + x]; }
  void RebuildRow(int y) {
    std::int16_t* row = &run_[static_cast<size_t>(y) * w_];
    int free = 0, taken = 0, longest = 0;
    for (int x = w_ - 1; x >= 0; --x) {
      if (row[x] > 0) {
        taken = 0;
        row[x] = static_cast<std::int16_t>(++free);
        longest = std::max(longest, free);
      } else {
        free = 0;
        row[x] = static_cast<std::int16_t>(-++taken);
      }
    }
    longest_[static_cast<size_t>(y)] = longest;
  }

  int w_, h_;
  std::vector<std::int16_t> run_;
  std::vector<int> longest_;  // longest free run of each row
  std::int64_t free_ = 0;     // free cells in all
};

struct Spot {
  int orientation = -1;
  int x = 0, y = 0;
  int bottom = std::numeric_limits<int>::max();
};

// The lowest-then-leftmost spot of any orientation; orientation -1 when none fits. Sets
// stopped (and gives up) when the deadline passes.
Spot Search(const Sheet& sheet, const Unit& u, Clock::time_point deadline, bool timed,
            bool& stopped) {
  Spot best;
  for (size_t o = 0; o < u.footprints.size(); ++o) {
    const Footprint& f = u.footprints[o];
    if (f.cells > sheet.FreeCells()) continue;
    int hint = 0;
    const int lastY = std::min(sheet.Height() - f.h, (best.bottom - kHeightWeight * f.h) / 2);
    for (int y = 0; y <= lastY; ++y) {
      if (timed && (y & 15) == 0 && Clock::now() > deadline) {
        stopped = true;
        return Spot();
      }
      const int x = sheet.FirstFit(f, y, hint);
      if (x < 0) continue;
      if (2 * y + kHeightWeight * f.h < best.bottom || x < best.x) {
        best.orientation = static_cast<int>(o);
        best.x = x, best.y = y, best.bottom = 2 * y + kHeightWeight * f.h;
      }
      break;
    }
  }
  return best;
}

double PathArea(const CBPointArray& path) {
  double a = 0;
  for (INT_PTR i = 0; i + 1 < path.GetSize(); ++i)
    a += plexa::num::BezierSignedArea(path[i].anchor, path[i].out, path[i + 1].in,
                                      path[i + 1].anchor);
  const CDPOINT& p = path[path.GetUpperBound()].anchor;
  const CDPOINT& q = path[0].anchor;
  return a + 0.5 * (p.x * q.y - q.x * p.y);  // the closing chord (zero on a closed path)
}

}  // namespace

// ---- Public --------------------------------------------------------------------------------

void CNest::Transform::Apply(CPolyPolyBezier& set) const {
  for (INT_PTR i = 0; i < set.GetSize(); ++i) {
    CBPointArray* path = set.GetAt(static_cast<int>(i));
    if (path == nullptr) continue;
    for (INT_PTR k = 0; k < path->GetSize(); ++k) {
      PLEXA::CBPOINT& n = (*path)[k];
      n.in = Apply(n.in), n.anchor = Apply(n.anchor), n.out = Apply(n.out);
    }
  }
}

double GetShapeArea(const CPolyPolyBezier& shape) {
  struct Piece {
    double area;
    CDRECT box;
    std::vector<rast::PointD> poly;
  };
  std::vector<Piece> pieces;
  for (INT_PTR i = 0; i < shape.GetSize(); ++i) {
    const CBPointArray* path = shape.GetAt(static_cast<int>(i));
    if (!UsablePath(path)) continue;
    CPolyPolyBezier one;
    one.Add(new CBPointArray(*path));
    if (!AllFinite(one)) continue;
    Piece p{PathArea(*path), {}, {}};
    const CDRECT box = path->GetPolyBezierRect(1.0);
    const double extent = std::max(box.xmax - box.xmin, box.ymax - box.ymin);
    FlattenPath(*path, Affine(), 1.0, std::max(extent * 1e-4, 1e-12), p.poly);
    p.box = {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
             std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
    for (const rast::PointD& q : p.poly) {
      p.box.xmin = std::min(p.box.xmin, q.x), p.box.xmax = std::max(p.box.xmax, q.x);
      p.box.ymin = std::min(p.box.ymin, q.y), p.box.ymax = std::max(p.box.ymax, q.y);
    }
    pieces.push_back(std::move(p));
  }
  double total = 0;
  for (size_t i = 0; i < pieces.size(); ++i) {
    const rast::PointD a = pieces[i].poly[0];
    int depth = 0;
    for (size_t j = 0; j < pieces.size(); ++j) {
      const CDRECT& b = pieces[j].box;
      if (j != i && a.x >= b.xmin && a.x <= b.xmax && a.y >= b.ymin && a.y <= b.ymax &&
          InsidePolygon(pieces[j].poly, a.x, a.y))
        ++depth;
    }
    total += (depth % 2 == 0 ? 1 : -1) * std::abs(pieces[i].area);
  }
  return total;
}

int CNest::AddShape(const CPolyPolyBezier& shape, int group, std::vector<double> angles) {
  NestData d;
  d.shape = shape;
  d.group = group;
  d.angles = std::move(angles);
  m_shapes.push_back(std::move(d));
  return static_cast<int>(m_shapes.size()) - 1;
}

double CNest::GetFillRatio() const {
  if (m_sheetArea.empty() || m_sheetSize <= 0) return 0;
  double a = 0;
  for (double s : m_sheetArea) a += s;
  return a / (m_sheetSize * static_cast<double>(m_sheetArea.size()));
}

double CNest::GetSheetFill(int sheet) const {
  if (sheet < 0 || sheet >= GetSheetCount() || m_sheetSize <= 0) return 0;
  return m_sheetArea[static_cast<size_t>(sheet)] / m_sheetSize;
}

void CNest::GetPlacedShapes(std::vector<CPolyPolyBezier>& out) const {
  out.clear();
  out.resize(m_shapes.size());
  for (size_t i = 0; i < m_shapes.size(); ++i) {
    if (m_shapes[i].status != Status::kPlaced) continue;
    out[i] = m_shapes[i].shape;
    m_shapes[i].transform.Apply(out[i]);
  }
}

bool CNest::Nest(const Options& o) {
  const Clock::time_point start = Clock::now();
  m_sheetArea.clear();
  m_nested = 0;
  m_seconds = 0;
  m_pixel = 0;
  m_sheetSize = 0;
  for (NestData& d : m_shapes) {
    d.transform = Transform();
    d.status = Status::kNotTried;
  }
  if (!(std::isfinite(o.width) && std::isfinite(o.height) && o.width > 0 && o.height > 0 &&
        std::isfinite(o.gap) && o.gap >= 0 && std::isfinite(o.width * o.height)))
    return false;

  const int resolution = std::clamp(o.resolution, kMinRaster, kMaxRaster);
  const double pixel = std::max(o.width, o.height) / resolution;
  const auto sidePixels = [&](double side) {
    return static_cast<int>(
        std::min(std::floor(side / pixel + kWholePixelSlack), static_cast<double>(kMaxRaster)));
  };
  const int usableW = sidePixels(o.width), usableH = sidePixels(o.height);
  const int rasterW = std::clamp(usableW, kMinRaster, kMaxRaster);
  const int rasterH = std::clamp(usableH, kMinRaster, kMaxRaster);
  const double grow = o.gap / (2 * pixel) + kSafetyPixels;
  const bool timed = o.timeLimit > 0 && std::isfinite(o.timeLimit);
  const Clock::time_point deadline =
      timed ? start + std::chrono::duration_cast<Clock::duration>(
                          std::chrono::duration<double>(std::min(o.timeLimit, 1e6)))
            : start;
  m_pixel = pixel;
  m_sheetSize = o.width * o.height;

  // Units: every valid shape alone, or with the others of its group.
  std::vector<Unit> units;
  std::map<int, size_t> groupUnit;
  for (size_t i = 0; i < m_shapes.size(); ++i) {
    NestData& d = m_shapes[i];
    bool any = false;
    for (INT_PTR k = 0; k < d.shape.GetSize(); ++k) any |= UsablePath(d.shape.GetAt(int(k)));
    if (!any) {
      d.status = Status::kEmpty;
      continue;
    }
    if (!AllFinite(d.shape)) {
      d.status = Status::kInvalid;
      continue;
    }
    d.area = GetShapeArea(d.shape);
    size_t u = units.size();
    if (d.group >= 0) {
      const auto [it, fresh] = groupUnit.emplace(d.group, units.size());
      u = it->second;
      if (fresh) units.emplace_back();
    } else {
      units.emplace_back();
    }
    units[u].members.push_back(static_cast<int>(i));
    units[u].area += d.area;
  }

  // Orientations, and the size that orders the units. Footprints of all orientations are built
  // only when a unit's turn comes (so memory holds one unit's), and reused by the next unit
  // when it is a copy of the same shapes.
  const auto shapesOf = [&](const Unit& u) {
    std::vector<const CPolyPolyBezier*> shapes;
    for (int m : u.members) shapes.push_back(&m_shapes[static_cast<size_t>(m)].shape);
    return shapes;
  };
  for (Unit& u : units) {
    const NestData& first = m_shapes[static_cast<size_t>(u.members[0])];
    std::vector<double> angles;
    for (double a : first.angles)
      if (std::isfinite(a) && angles.size() < kMaxNestAngles / 2) angles.push_back(a);
    if (angles.empty()) {
      const int steps = std::clamp(o.rotations, 1, kMaxRotationSteps);
      for (int k = 0; k < steps; ++k) angles.push_back(2 * std::numbers::pi * k / steps);
    }
    for (int mirror = 0; mirror < ((o.mirror && first.mirror) ? 2 : 1); ++mirror)
      for (double a : angles) u.orientations.emplace_back(a, mirror == 1);
    for (const auto& [a, mirrored] : u.orientations) {
      Footprint f;
      if (MakeFootprint(shapesOf(u), a, mirrored, pixel, grow, o.partInPart, usableW, usableH, f)) {
        u.cells = f.cells;
        break;
      }
    }
  }
  std::vector<size_t> order(units.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(),
                   [&](size_t a, size_t b) { return units[a].cells > units[b].cells; });
  const auto sameUnits = [&](const Unit& a, const Unit& b) {
    if (a.members.size() != b.members.size() || a.orientations != b.orientations) return false;
    for (size_t i = 0; i < a.members.size(); ++i)
      if (!SameSet(m_shapes[static_cast<size_t>(a.members[i])].shape,
                   m_shapes[static_cast<size_t>(b.members[i])].shape))
        return false;
    return true;
  };

  const auto setStatus = [&](const Unit& u, Status s) {
    for (int m : u.members) m_shapes[static_cast<size_t>(m)].status = s;
  };
  std::vector<Sheet> sheets;
  std::unique_ptr<Sheet> empty;  // the bare sheet, to tell "too large" from "no room"
  const int maxSheets = o.maxSheets > 0 ? o.maxSheets : std::numeric_limits<int>::max();
  bool stopped = false;
  int done = 0;
  Unit* previous = nullptr;
  for (size_t idx : order) {
    Unit& u = units[idx];
    if (stopped) {
      setStatus(u, Status::kStopped);
      continue;
    }
    if (previous != nullptr && sameUnits(*previous, u)) {
      u.footprints = std::move(previous->footprints);
    } else {
      if (previous != nullptr) previous->footprints.clear();
      for (const auto& [a, mirrored] : u.orientations) {
        Footprint f;
        if (u.cells > 0 &&
            MakeFootprint(shapesOf(u), a, mirrored, pixel, grow, o.partInPart, usableW, usableH, f))
          u.footprints.push_back(std::move(f));
      }
    }
    previous = &u;
    if (u.footprints.empty()) {
      setStatus(u, Status::kTooLarge);
    } else {
      Spot spot;
      size_t s = 0;
      for (; s < sheets.size() && !stopped; ++s) {
        spot = Search(sheets[s], u, deadline, timed, stopped);
        if (spot.orientation >= 0) break;
      }
      if (spot.orientation < 0 && !stopped) {
        if (!empty)
          empty = std::make_unique<Sheet>(rasterW, rasterH, usableW, usableH, o.keepOut, pixel);
        spot = Search(*empty, u, deadline, timed, stopped);
        if (spot.orientation < 0 && !stopped) {
          setStatus(u, Status::kTooLarge);
        } else if (spot.orientation >= 0 && static_cast<int>(sheets.size()) >= maxSheets) {
          setStatus(u, Status::kNoRoom);
          spot = Spot();
        } else if (spot.orientation >= 0) {
          sheets.push_back(*empty);
          m_sheetArea.push_back(0);
          s = sheets.size() - 1;
        }
      }
      if (stopped) {
        setStatus(u, Status::kStopped);
      } else if (spot.orientation >= 0) {
        const Footprint& f = u.footprints[static_cast<size_t>(spot.orientation)];
        sheets[s].Take(f, spot.x, spot.y);
        Transform t;
        t.m11 = f.map.m11, t.m12 = f.map.m12, t.m21 = f.map.m21, t.m22 = f.map.m22;
        t.dx = pixel * (spot.x - f.ox);
        t.dy = pixel * (spot.y - f.oy);
        t.angle = f.angle;
        t.mirrored = f.mirrored;
        t.sheet = static_cast<int>(s);
        for (int m : u.members) {
          m_shapes[static_cast<size_t>(m)].transform = t;
          m_shapes[static_cast<size_t>(m)].status = Status::kPlaced;
          ++m_nested;
        }
        m_sheetArea[s] += u.area;
      }
    }
    ++done;
    if (o.progress && !stopped && !o.progress(done, static_cast<int>(units.size()))) stopped = true;
    if (timed && Clock::now() > deadline) stopped = true;
  }
  m_seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return true;
}

int FindShapeOverlaps(const std::vector<CPolyPolyBezier>& shapes, double minArea,
                      std::vector<std::pair<int, int>>& pairs) {
  pairs.clear();
  std::vector<CDRECT> boxes(shapes.size());
  std::vector<bool> present(shapes.size(), false);
  for (size_t i = 0; i < shapes.size(); ++i) {
    double x0 = std::numeric_limits<double>::infinity(), y0 = x0, x1 = -x0, y1 = -x0;
    for (INT_PTR k = 0; k < shapes[i].GetSize(); ++k) {
      const CBPointArray* path = shapes[i].GetAt(static_cast<int>(k));
      if (!UsablePath(path)) continue;
      for (INT_PTR n = 0; n < path->GetSize(); ++n) {
        for (const CDPOINT& p : {(*path)[n].in, (*path)[n].anchor, (*path)[n].out}) {
          if (!plexa::num::IsFinite(p)) continue;
          x0 = std::min(x0, p.x), x1 = std::max(x1, p.x);
          y0 = std::min(y0, p.y), y1 = std::max(y1, p.y);
        }
      }
    }
    boxes[i] = CDRECT(x0, x1, y0, y1);
    present[i] = x0 <= x1 && y0 <= y1;
  }
  std::vector<size_t> byX;
  for (size_t i = 0; i < shapes.size(); ++i)
    if (present[i]) byX.push_back(i);
  std::sort(byX.begin(), byX.end(),
            [&](size_t a, size_t b) { return boxes[a].xmin < boxes[b].xmin; });
  BooleanOptions options;
  options.fillRule = FillRule::kEvenOdd;
  for (size_t ai = 0; ai < byX.size(); ++ai) {
    const CDRECT& a = boxes[byX[ai]];
    for (size_t bi = ai + 1; bi < byX.size() && boxes[byX[bi]].xmin <= a.xmax; ++bi) {
      const CDRECT& b = boxes[byX[bi]];
      if (b.ymin > a.ymax || a.ymin > b.ymax) continue;
      CPolyPolyBezier common;
      BooleanPolyPolyBezier(shapes[byX[ai]], shapes[byX[bi]], BooleanOp::kIntersection, common,
                            options);
      double area = 0;
      for (INT_PTR k = 0; k < common.GetSize(); ++k) {
        const CBPointArray* path = common.GetAt(static_cast<int>(k));
        if (UsablePath(path)) area += PathArea(*path);
      }
      if (std::abs(area) > minArea) {
        const int i = static_cast<int>(std::min(byX[ai], byX[bi]));
        const int j = static_cast<int>(std::max(byX[ai], byX[bi]));
        pairs.emplace_back(i, j);
      }
    }
  }
  std::sort(pairs.begin(), pairs.end());
  return static_cast<int>(pairs.size());
}
