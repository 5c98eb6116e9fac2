#include "plexa/layout/internal/nest_raster.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <span>

#include "plexa/core/internal/numerics.h"

namespace plexa::nest {
namespace {

using PLEXA::CDPOINT;
using PLEXA::CDRECT;
namespace rast = plexa::rasterizer;

// Flattening tolerance of footprints, in pixels: part of the safety margin (see nest.cpp).
constexpr double kFlattenPixels = 0.1;
// Which height of a footprint its position is ranked by: 0 its top, 1 its middle, 2 its bottom.
// Measured on 50 and 200 glyphs, icons and traced parts (bench/nest_bench.cpp, sheet 18 x 12
// cm): the three fill the first sheet alike (0.727 and 0.846); ranking by the bottom needs the
// fewest sheets (2 against 3 for 50 parts). Choosing among the orientations' lowest spots by
// least pile growth and then most contact with taken cells was tried and kept out: 0.722 /
// 0.844, and a third sheet for 50 parts; so was ranking by the row of the footprint's centre
// of mass (0.724 / 0.842) or halfway between it and the bottom (0.722 / 0.842). Over five
// draws of parts (six orders) the top, middle and bottom stay within 0.3 % of one another;
// ranking by bottom plus a share of the left edge (searching lower rows while they could still
// win) gave 0.703 / 0.860 with a tenth, 0.703 / 0.859 with a half and 0.706 / 0.865 with the
// whole of it against 0.708 / 0.859 by the bottom alone, at 1.4, 2 and 3 times the time.
constexpr int kHeightWeight = 2;

}  // namespace

// ---- Paths ---------------------------------------------------------------------------------

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

double PathArea(const CBPointArray& path) {
  double a = 0;
  for (INT_PTR i = 0; i + 1 < path.GetSize(); ++i)
    a += plexa::num::BezierSignedArea(path[i].anchor, path[i].out, path[i + 1].in,
                                      path[i + 1].anchor);
  const CDPOINT& p = path[path.GetUpperBound()].anchor;
  const CDPOINT& q = path[0].anchor;
  return a + 0.5 * (p.x * q.y - q.x * p.y);  // the closing chord (zero on a closed path)
}

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

// ---- Footprints ----------------------------------------------------------------------------

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
  SetSpans(cov.Spans(), f);
  return true;
}

void SetSpans(std::span<const rast::Span> spans, Footprint& f) {
  f.rowStart.assign(static_cast<size_t>(f.h) + 1, 0);
  for (const rast::Span& s : spans) ++f.rowStart[static_cast<size_t>(s.y) + 1];
  for (int y = 0; y < f.h; ++y) f.rowStart[y + 1] += f.rowStart[y];
  f.spans.resize(spans.size());
  f.cells = 0;
  f.widestLen = 0;
  std::vector<int> fill(f.rowStart.begin(), f.rowStart.end() - 1);
  f.probes.fill({0, 0});
  for (const rast::Span& s : spans) {
    f.spans[static_cast<size_t>(fill[s.y]++)] = {s.x0, s.x1};
    const int len = s.x1 - s.x0 + 1;
    f.cells += len;
    if (len > f.widestLen) f.widestLen = len, f.widestRow = s.y, f.widestStart = s.x0;
    auto& probe = f.probes[static_cast<size_t>(s.y) * f.probes.size() / static_cast<size_t>(f.h)];
    if (len > probe.second) probe = {s.y, len};
  }
}

bool QuarterTurn(const Footprint& from, double angle, int maxW, int maxH, Footprint& f) {
  f = Footprint();
  if (from.h > maxW || from.w > maxH) return false;
  // A point (x, y) of the old frame goes to (-y, x): the pixel of column i and row j, centre
  // (ox + i + 1/2, oy + j + 1/2), to the centre (-oy - j - 1/2, ox + i + 1/2), which is the
  // pixel of column h - 1 - j and row i of a frame whose cell (0, 0) sits at (-oy - h, ox).
  f.angle = angle;
  f.mirrored = from.mirrored;
  f.map = {-from.map.m12, from.map.m11, -from.map.m22, from.map.m21};
  f.ox = -from.oy - from.h, f.oy = from.ox;
  f.w = from.h, f.h = from.w;
  // Old rows are read from the last to the first (new columns left to right); a new row (an
  // old column) opens a span where the column enters the old footprint and closes it where it
  // leaves, so only the columns whose state differs from the row before are visited: the
  // work follows the outline's length, not the area.
  std::vector<int> open(static_cast<size_t>(f.h), -1);  // new column where the row's span began
  std::vector<rast::Span> spans;
  std::vector<int> prev, cur, diff;  // rows as sorted toggles: first cell, one past the last
  const auto visit = [&](int x) {
    for (size_t k = 0; k + 1 < diff.size(); k += 2) {
      for (int c = diff[k]; c < diff[k + 1]; ++c) {
        int& start = open[static_cast<size_t>(c)];
        if (start < 0) {
          start = x;
        } else {
          spans.push_back({c, start, x - 1});
          start = -1;
        }
      }
    }
  };
  for (int x = 0; x <= f.w; ++x) {
    cur.clear();
    const int j = from.h - 1 - x;
    for (int s = x < f.w ? from.rowStart[j] : 0; x < f.w && s < from.rowStart[j + 1]; ++s)
      cur.push_back(from.spans[static_cast<size_t>(s)].first),
          cur.push_back(from.spans[static_cast<size_t>(s)].second + 1);
    diff.clear();  // toggles of prev and cur merged, pairs that meet cancelled
    std::merge(prev.begin(), prev.end(), cur.begin(), cur.end(), std::back_inserter(diff));
    size_t n = 0;
    for (size_t k = 0; k < diff.size(); ++k) {
      if (n > 0 && diff[n - 1] == diff[k])
        --n;
      else
        diff[n++] = diff[k];
    }
    diff.resize(n);
    visit(x);
    std::swap(prev, cur);
  }
  SetSpans(spans, f);
  return true;
}

// ---- The page raster -----------------------------------------------------------------------

Sheet::Sheet(int w, int h, int usableW, int usableH, const std::vector<CDRECT>& keepOut,
             double pixel)
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

bool Sheet::Fits(const Footprint& f, int x, int y, int& hint, int& next) const {
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

int Sheet::FirstFit(const Footprint& f, int y, int& hint) const {
  if (longest_[static_cast<size_t>(y + f.widestRow)] < f.widestLen) return -1;
  // Four more rows checked the same way save 10 to 20 % of the nesting time on the
  // benchmark's 50 and 200 parts (rows that pass the widest span's test but not the others').
  for (const auto& [row, len] : f.probes)
    if (longest_[static_cast<size_t>(y + row)] < len) return -1;
  // Only positions that put the widest span inside a long enough free run of its row can fit:
  // those runs are visited left to right (jumping run to run), and the positions each allows
  // tested in turn, so the first fit found is the leftmost.
  const std::int16_t* wide = &run_[static_cast<size_t>(y + f.widestRow) * w_];
  for (int c = 0; c < w_;) {
    const int v = wide[c];
    if (v >= f.widestLen) {
      const int last = std::min(w_ - f.w, c + v - f.widestLen - f.widestStart);
      for (int x = std::max(0, c - f.widestStart); x <= last;) {
        int next = x + 1;
        if (Fits(f, x, y, hint, next)) return x;
        x = std::max(next, x + 1);
      }
    }
    c += v > 0 ? v : -v;
  }
  return -1;
}

void Sheet::Take(const Footprint& f, int x, int y) {
  for (int r = 0; r < f.h; ++r) {
    const int first = f.rowStart[r], last = f.rowStart[r + 1];
    if (first == last) continue;
    for (int s = first; s < last; ++s) {
      const auto [a, b] = f.spans[static_cast<size_t>(s)];
      for (int c = x + a; c <= x + b; ++c) Cell(c, y + r) = 0;
      free_ -= b - a + 1;
    }
    UpdateRow(y + r, x + f.spans[static_cast<size_t>(first)].first,
              x + f.spans[static_cast<size_t>(last - 1)].second);
  }
}

void Sheet::UpdateRow(int y, int lo, int hi) {
  // Cells right of hi keep their values; leftwards of it a value is recomputed from the cell's
  // state and its right neighbour, until one left of lo comes out unchanged (from there on
  // nothing changes: the states are as before and so is the neighbour's value). Every free run
  // that lost cells starts inside the recomputed stretch, so the row's longest run needs a
  // full look only when one of those runs was as long as it.
  std::int16_t* row = &run_[static_cast<size_t>(y) * w_];
  const int right = hi + 1 < w_ ? row[hi + 1] : 0;
  int free = std::max(right, 0), taken = std::max(-right, 0), oldLongest = 0;
  for (int x = hi; x >= 0; --x) {
    const std::int16_t old = row[x];
    std::int16_t value;
    if (old > 0) {
      taken = 0;
      value = static_cast<std::int16_t>(++free);
    } else {
      free = 0;
      value = static_cast<std::int16_t>(-++taken);
    }
    if (x < lo && value == old) break;
    oldLongest = std::max(oldLongest, static_cast<int>(old));
    row[x] = value;
  }
  int& longest = longest_[static_cast<size_t>(y)];
  if (oldLongest < longest) return;
  longest = 0;
  for (int x = 0; x < w_;) {  // run to run: a value is the length of its run or gap
    const int v = row[x];
    longest = std::max(longest, v);
    x += v > 0 ? v : -v;
  }
}

void Sheet::RebuildRow(int y) {
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

Spot Search(const Sheet& sheet, const std::vector<Footprint>& footprints,
            Clock::time_point deadline, bool timed, bool& stopped) {
  Spot best;
  for (size_t o = 0; o < footprints.size(); ++o) {
    const Footprint& f = footprints[o];
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

}  // namespace plexa::nest
