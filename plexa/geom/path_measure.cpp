// Length, half-way point, flattening, bounds and an inside point of one path.
#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "plexa/core/internal/numerics.h"
#include "plexa/core/planar.h"
#include "plexa/geom/path.h"
#include "plexa/platform/internal/grow.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

// GetInternalPoint flattens at this fraction of the shape's diagonal.
constexpr double kInsideResolution = 1e-3;
// GetInternalPoint cuts at most this many scan lines: the tallest bands between vertex
// heights, plus evenly spaced lines so wide flat shapes are not missed.
constexpr std::size_t kInsideTallBands = 96;
constexpr int kInsideEvenLines = 32;

using plexa::num::Dist;
constexpr auto Distance = [](const CDPOINT& a, const CDPOINT& b) { return Dist(a, b); };

void AddPieces(const CBezier& bez, double t0, double t1, CArray<CDPOINT>& pts,
               CArray<double>* params, double ratio, int depth) {
  CBezier piece;
  bez.Split(t0, t1, piece);
  const CDPOINT* p = piece.GetPoints();
  const double legs = Distance(p[0], p[1]) + Distance(p[1], p[2]) + Distance(p[2], p[3]);
  const double chord = Distance(p[0], p[3]);
  if (chord * ratio < legs && depth < kFlattenExMaxDepth &&
      pts.GetSize() <= kFlattenExPointCeiling) {
    const double tm = (t0 + t1) / 2;
    AddPieces(bez, t0, tm, pts, params, ratio, depth + 1);
    AddPieces(bez, tm, t1, pts, params, ratio, depth + 1);
    return;
  }
  plexa::grow::Append(pts, p[3]);
  if (params) plexa::grow::Append(*params, t1);
}

// Even-odd inside spans of a closed polygon along the horizontal line at y, which passes
// through no vertex.
void Spans(const std::vector<CDPOINT>& poly, double y, std::vector<double>& xs) {
  xs.clear();
  for (std::size_t i = 0; i + 1 < poly.size(); ++i) {
    const CDPOINT& a = poly[i];
    const CDPOINT& b = poly[i + 1];
    if ((a.y < y) == (b.y < y)) continue;
    // The share of the edge first (in [0, 1]), so huge coordinates cannot overflow.
    xs.push_back(a.x + (b.x - a.x) * ((y - a.y) / (b.y - a.y)));
  }
  std::sort(xs.begin(), xs.end());
}

}  // namespace

double CBPointArray::CalcLength() const {
  double len = 0;
  for (INT_PTR i = 0; i + 1 < GetSize(); ++i)
    len += CBezier(GetData()[i], GetData()[i + 1]).GetLength();
  return len;
}

CDPOINT CBPointArray::CalcHalfwayPoint() const {
  const INT_PTR n = GetSize();
  if (n == 0) return CDPOINT();
  if (n == 1) return GetData()[0].anchor;
  const double half = CalcLength() / 2;
  double sum = 0;
  for (INT_PTR i = 0; i + 1 < n; ++i) {
    const CBezier seg(GetData()[i], GetData()[i + 1]);
    const double len = seg.GetLength();
    if (sum + len == half) return GetData()[i + 1].anchor;
    if (sum + len > half) return seg.GetCurvePoint2(seg.GetTFromLength(half - sum));
    sum += len;
  }
  return CDPOINT();
}

void CBPointArray::ExecuteBPointArrayT(CArray<CDPOINT>& pts, CDWordArray& segEnds,
                                       double resolution) const {
  for (INT_PTR i = 0; i + 1 < GetSize(); ++i) {
    CBezier seg(GetData()[i], GetData()[i + 1]);
    seg.SetResolution(resolution);
    seg.GetPolyline(pts);
    plexa::grow::Append(segEnds, static_cast<DWORD>(pts.GetSize()));
  }
}

void CBPointArray::AddBezierPoints(const CBezier& bez, double t0, double t1, CArray<CDPOINT>& pts,
                                   CArray<double>* params, double ratio) {
  AddPieces(bez, t0, t1, pts, params, ratio, 0);
}

void CBPointArray::ExecuteBPointArrayTEx(CArray<CDPOINT>& pts, CArray<double>* params,
                                         CDWordArray* segEnds, double ratio) const {
  if (GetSize() == 0) return;
  pts.Add(GetData()[0].anchor);
  if (params) params->Add(0.0);
  for (INT_PTR i = 0; i + 1 < GetSize(); ++i) {
    AddBezierPoints(CBezier(GetData()[i], GetData()[i + 1]), 0, 1, pts, params, ratio);
    if (segEnds) plexa::grow::Append(*segEnds, static_cast<DWORD>(pts.GetSize()));
  }
}

CDRECT CBPointArray::GetPolyBezierRect(double resolution) const {
  if (GetSize() < 2) return CDRECT();
  CArray<CDPOINT> pts;
  for (INT_PTR i = 0; i + 1 < GetSize(); ++i) {
    CBezier seg(GetData()[i], GetData()[i + 1]);
    seg.SetResolution(resolution);
    seg.GetPolyline(pts);
  }
  CDRECT r(pts[0].x, pts[0].x, pts[0].y, pts[0].y);
  for (const CDPOINT& p : pts) {
    r.xmin = std::min(r.xmin, p.x), r.xmax = std::max(r.xmax, p.x);
    r.ymin = std::min(r.ymin, p.y), r.ymax = std::max(r.ymax, p.y);
  }
  return r;
}

bool CBPointArray::GetInternalPoint(CDPOINT& pt, const CDRECT* clip) const {
  if (GetSize() < 3) return false;
  // Size the flattening from the control polygon, which bounds the curve.
  double x0 = std::numeric_limits<double>::infinity(), x1 = -x0, y0 = x0, y1 = -x0;
  for (const CBPOINT& n : *this)
    for (const CDPOINT* p : {&n.in, &n.anchor, &n.out}) {
      x0 = std::min(x0, p->x), x1 = std::max(x1, p->x);
      y0 = std::min(y0, p->y), y1 = std::max(y1, p->y);
    }
  const double diag = std::hypot(x1 - x0, y1 - y0);
  if (!std::isfinite(diag) || diag <= 0) return false;

  CArray<CDPOINT> flat;
  CDWordArray ends;
  ExecuteBPointArrayT(flat, ends, diag * kInsideResolution);
  std::vector<CDPOINT> poly(flat.begin(), flat.end());
  if (!IsPolyBezierClosed()) poly.push_back(poly.front());

  std::vector<double> ys;
  ys.reserve(poly.size());
  for (const CDPOINT& p : poly) ys.push_back(p.y);
  std::sort(ys.begin(), ys.end());
  ys.erase(std::unique(ys.begin(), ys.end()), ys.end());
  if (ys.size() < 2) return false;

  // Candidate lines: (y, half-height of the band it lies in).
  struct Line {
    double y, room;
  };
  std::vector<Line> bands;
  for (std::size_t i = 0; i + 1 < ys.size(); ++i)
    bands.push_back({ys[i] / 2 + ys[i + 1] / 2, ys[i + 1] / 2 - ys[i] / 2});
  if (clip) {
    std::erase_if(bands, [&](const Line& l) { return l.y <= clip->ymin || l.y >= clip->ymax; });
  }
  std::vector<Line> lines;
  if (bands.size() > kInsideTallBands) {
    std::partial_sort(bands.begin(), bands.begin() + kInsideTallBands, bands.end(),
                      [](const Line& a, const Line& b) { return a.room > b.room; });
    lines.assign(bands.begin(), bands.begin() + kInsideTallBands);
    std::sort(bands.begin(), bands.end(), [](const Line& a, const Line& b) { return a.y < b.y; });
    for (int k = 1; k <= kInsideEvenLines; ++k) {
      const double y = ys.front() + (ys.back() - ys.front()) * k / (kInsideEvenLines + 1);
      auto it = std::lower_bound(bands.begin(), bands.end(), y,
                                 [](const Line& l, double v) { return l.y < v; });
      if (it == bands.end()) continue;
      const auto above = std::upper_bound(ys.begin(), ys.end(), y);
      if (above == ys.begin() || above == ys.end() || *(above - 1) == y) continue;
      const double room = std::min(y - *(above - 1), *above - y);
      if (!clip || (y > clip->ymin && y < clip->ymax)) lines.push_back({y, room});
    }
  } else {
    lines = bands;
  }

  bool found = false;
  double best = -1;
  std::vector<double> xs;
  for (const Line& l : lines) {
    Spans(poly, l.y, xs);
    for (std::size_t k = 0; k + 1 < xs.size(); k += 2) {
      double a = xs[k], b = xs[k + 1];
      if (clip) a = std::max(a, clip->xmin), b = std::min(b, clip->xmax);
      if (!(b > a)) continue;
      const double score = std::min(b / 2 - a / 2, l.room);
      const double mid = a / 2 + b / 2;  // halves first: a + b may overflow
      if (score > best && std::isfinite(mid)) {
        best = score;
        pt = CDPOINT(mid, l.y);
        found = true;
      }
    }
  }
  return found;
}

int IsPointInPolygon(const CBPointArray& path, const tagPOINT& p) {
  CArray<CDPOINT> flat;
  CDWordArray ends;
  path.ExecuteBPointArrayT(flat, ends, 1.0);
  if (flat.IsEmpty()) return 0;
  CArray<tagPOINT> ipts;
  ipts.SetSize(flat.GetSize());
  for (INT_PTR i = 0; i < flat.GetSize(); ++i)
    ipts[i] = tagPOINT{PLEXA::RoundToLong(flat[i].x), PLEXA::RoundToLong(flat[i].y)};
  const CRect bounds = GetPolygonRect(ipts.GetData(), static_cast<int>(ipts.GetSize()));
  return IsPointInPolygon(ipts.GetData(), static_cast<int>(ipts.GetSize()), p, &bounds);
}
