#include "plexa/layout/placement.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <numbers>

#include "plexa/core/planar.h"
#include "plexa/core/types.h"

namespace {

using KeptPoly = CRandPolylinePlacement::vvPolyline;

// The random values' range, as on the platform the placement was made for.
constexpr double kRandRange = 32767.0;

// rand() reduced to 0 .. 32767 by its top bits: the identity where RAND_MAX is 32767.
int Rand15() {
  return std::rand() / (RAND_MAX / 32768 + 1);
}

// floor((a + b) * 0.5 + 0.5), the centre of an extent in whole units.
double RoundedCentre(double a, double b) {
  return std::floor((a + b) * 0.5 + 0.5);
}

struct Bounds {
  double left, top, right, bottom;
};

Bounds Extent(const tagPOINT* pts, int n) {
  Bounds b{pts[0].x * 1.0, pts[0].y * 1.0, pts[0].x * 1.0, pts[0].y * 1.0};
  for (int i = 1; i < n; ++i) {
    b.left = std::min(b.left, 1.0 * pts[i].x);
    b.right = std::max(b.right, 1.0 * pts[i].x);
    b.top = std::min(b.top, 1.0 * pts[i].y);
    b.bottom = std::max(b.bottom, 1.0 * pts[i].y);
  }
  return b;
}

CRect RectOf(const std::vector<tagPOINT>& pts) {
  CRect r(pts[0].x, pts[0].y, pts[0].x, pts[0].y);
  for (const tagPOINT& p : pts) {
    r.left = std::min(r.left, p.x);
    r.right = std::max(r.right, p.x);
    r.top = std::min(r.top, p.y);
    r.bottom = std::max(r.bottom, p.y);
  }
  return r;
}

bool Overlap(const tagRECT& a, const tagRECT& b) {
  return a.left <= b.right && b.left <= a.right && a.top <= b.bottom && b.top <= a.bottom;
}

bool EdgeTouches(const tagPOINT& p, const tagPOINT& q, const tagRECT& r) {
  return std::min(p.x, q.x) <= r.right && std::max(p.x, q.x) >= r.left &&
         std::min(p.y, q.y) <= r.bottom && std::max(p.y, q.y) >= r.top;
}

// Indexes of the edges (i, i + 1) of a whose bounding boxes meet rectangle r: an edge that
// stays clear of the other polygon's bounding box can cross none of its edges.
void EdgesNear(const KeptPoly& a, const tagRECT& r, std::vector<int>& out) {
  out.clear();
  const int n = static_cast<int>(a.points.size());
  for (int i = 0; i + 1 < n; ++i)
    if (EdgeTouches(a.points[i], a.points[i + 1], r)) out.push_back(i);
}

int Half(LONG a, LONG b) {
  return static_cast<int>((static_cast<std::int64_t>(a) + b) / 2);
}

CView3D Placed(double cx, double cy, double scale, double angle, double x, double y) {
  CView3D t, s, r, u;
  t.Translate(cx, cy, 0);  // Translate moves by the negated offset: the centre to the origin
  s.Scale(scale, scale, 1);
  r.Rotate(angle);
  u.Translate(-x, -y, 0);  // the origin to the anchor
  t *= s;
  t *= r;
  t *= u;
  return t;
}

}  // namespace

// Most grid cells a rectangle may cover and still be looked up cell by cell.
constexpr std::int64_t kMaxCellsPerRect = 64;

namespace {

std::int64_t CellOf(double v, double cell) {
  const double c = std::floor(v / cell);
  return static_cast<std::int64_t>(std::clamp(c, -4e18, 4e18));
}

std::uint64_t CellKey(std::int64_t cx, std::int64_t cy) {
  return (static_cast<std::uint64_t>(cx) << 32) ^ static_cast<std::uint32_t>(cy);
}

}  // namespace

template <typename Visit>
bool CRandPolylinePlacement::AnyNear(const tagRECT& r, Visit visit) {
  const int count = static_cast<int>(m_kept.size());
  const std::int64_t x0 = m_cell > 0 ? CellOf(r.left, m_cell) : 0;
  const std::int64_t x1 = m_cell > 0 ? CellOf(r.right, m_cell) : 0;
  const std::int64_t y0 = m_cell > 0 ? CellOf(r.top, m_cell) : 0;
  const std::int64_t y1 = m_cell > 0 ? CellOf(r.bottom, m_cell) : 0;
  if (m_cell <= 0 || (x1 - x0 + 1) * (y1 - y0 + 1) > kMaxCellsPerRect) {
    for (int i = 0; i < count; ++i)
      if (visit(m_kept[i])) return true;
    return false;
  }
  if (++m_query == 0) {  // the stamps wrapped: start them afresh
    std::fill(m_stamp.begin(), m_stamp.end(), 0u);
    m_query = 1;
  }
  for (int i : m_wide)
    if (visit(m_kept[i])) return true;
  for (std::int64_t cx = x0; cx <= x1; ++cx)
    for (std::int64_t cy = y0; cy <= y1; ++cy) {
      const auto it = m_grid.find(CellKey(cx, cy));
      if (it == m_grid.end()) continue;
      for (int i : it->second) {
        if (m_stamp[i] == m_query) continue;
        m_stamp[i] = m_query;
        if (visit(m_kept[i])) return true;
      }
    }
  return false;
}

void CRandPolylinePlacement::Index(int copy) {
  m_stamp.push_back(0);
  if (m_cell <= 0) return;
  const CRect& r = m_kept[copy].rect;
  const std::int64_t x0 = CellOf(r.left, m_cell), x1 = CellOf(r.right, m_cell);
  const std::int64_t y0 = CellOf(r.top, m_cell), y1 = CellOf(r.bottom, m_cell);
  if ((x1 - x0 + 1) * (y1 - y0 + 1) > kMaxCellsPerRect) {
    m_wide.push_back(copy);
    return;
  }
  for (std::int64_t cx = x0; cx <= x1; ++cx)
    for (std::int64_t cy = y0; cy <= y1; ++cy) m_grid[CellKey(cx, cy)].push_back(copy);
}

bool CRandPolylinePlacement::InsideKept(const tagPOINT& p) {
  auto inside = [&p](const KeptPoly& k) {
    return IsPointInPolygon(k.points.data(), static_cast<int>(k.points.size()), p, &k.rect) != 0;
  };
  for (const KeptPoly& k : m_obstacles)
    if (inside(k)) return true;
  return AnyNear(tagRECT{p.x, p.y, p.x, p.y}, inside);
}

bool CRandPolylinePlacement::vvNewPolyline(const CRect& area,
                                           const CArray<tagPOINT, tagPOINT>& outline,
                                           vvPolyline& candidate, CView3D& transform) {
  const int n = static_cast<int>(std::min<INT_PTR>(outline.GetSize(), 0x7FFFFFFF));
  if (n < 2) return false;
  const Bounds b = Extent(outline.GetData(), n);
  const double cx = RoundedCentre(b.left, b.right), cy = RoundedCentre(b.top, b.bottom);
  const double w = b.right - b.left, h = b.bottom - b.top;
  if (!(std::min(w, h) > 0)) return false;

  const double r1 = Rand15(), r2 = Rand15();
  const double width = static_cast<double>(area.right) - area.left;
  const double height = static_cast<double>(area.bottom) - area.top;
  const double x = std::floor(area.left + r1 * width / kRandRange + 0.5);
  const double y = std::floor(area.top + r2 * height / kRandRange + 0.5);
  if (InsideKept(tagPOINT{PLEXA::RoundToLong(x), PLEXA::RoundToLong(y)})) return false;

  // r3 and r4 are drawn only once the anchor is free.
  const double r3 = Rand15(), r4 = Rand15();
  const double s = m_minScale + (m_maxScale - m_minScale) * r3 / kRandRange;
  const double a = m_bRotate ? r4 * 2 * std::numbers::pi / kRandRange : 0.0;
  const double m = (m_margin / std::min(w, h) + 1) * s;

  transform = Placed(cx, cy, s, a, x, y);
  CView3D clearance = Placed(cx, cy, m, a, x, y);
  candidate.points.resize(static_cast<std::size_t>(n));
  const tagPOINT* src = outline.GetData();
  for (int i = 0; i < n; ++i) {
    clearance.Transfer(src[i].x, src[i].y, 0);
    candidate.points[i] =
        tagPOINT{PLEXA::RoundToLong(clearance.x()), PLEXA::RoundToLong(clearance.y())};
  }
  candidate.rect = RectOf(candidate.points);
  return true;
}

bool CRandPolylinePlacement::vvPolylinesHit(const vvPolyline& a, const vvPolyline& b) {
  if (a.points.empty() || b.points.empty() || !Overlap(a.rect, b.rect)) return false;
  const int na = static_cast<int>(a.points.size()), nb = static_cast<int>(b.points.size());
  for (const tagPOINT& p : a.points)
    if (IsPointInPolygon(b.points.data(), nb, p, &b.rect) != 0) return true;
  for (const tagPOINT& p : b.points)
    if (IsPointInPolygon(a.points.data(), na, p, &a.rect) != 0) return true;
  std::vector<int> ea, eb;
  EdgesNear(a, b.rect, ea);
  if (ea.empty()) return false;
  EdgesNear(b, a.rect, eb);
  for (int i : ea) {
    const tagPOINT& p = a.points[i];
    const tagPOINT& q = a.points[i + 1];
    const tagRECT box{std::min(p.x, q.x), std::min(p.y, q.y), std::max(p.x, q.x),
                      std::max(p.y, q.y)};
    for (int j : eb) {
      const tagPOINT& u = b.points[j];
      const tagPOINT& v = b.points[j + 1];
      if (!EdgeTouches(u, v, box)) continue;
      if (GetSegmentIntersection(p.x, p.y, q.x, q.y, u.x, u.y, v.x, v.y, nullptr, nullptr) != 0)
        return true;
    }
  }
  return false;
}

bool CRandPolylinePlacement::vvKeepPolyline(const CRect& area, vvPolyline& candidate,
                                            const CView3D& transform) {
  if (candidate.points.empty()) return false;
  const CRect& r = candidate.rect;
  if (r.left < area.left || r.right > area.right || r.top < area.top || r.bottom > area.bottom)
    return false;
  for (const KeptPoly& k : m_obstacles)
    if (vvPolylinesHit(candidate, k)) return false;
  if (AnyNear(candidate.rect,
              [&candidate](const KeptPoly& k) { return vvPolylinesHit(candidate, k); }))
    return false;
  m_kept.push_back(std::move(candidate));
  m_transforms.push_back(transform);
  Index(static_cast<int>(m_kept.size() - 1));
  return true;
}

void CRandPolylinePlacement::PlacePolylines(CRect area, const CArray<tagPOINT, tagPOINT>& outline,
                                            const std::vector<CRect>& obstacles,
                                            std::vector<CView3D>& placements, CPoint& offset) {
  m_kept.clear();
  m_transforms.clear();
  m_obstacles.clear();
  m_grid.clear();
  m_wide.clear();
  m_stamp.clear();
  m_cell = 0;
  placements.clear();
  offset = CPoint(0, 0);
  for (const CRect& o : obstacles) {
    vvPolyline p;
    p.points = {{o.left, o.top},
                {o.right, o.top},
                {o.right, o.bottom},
                {o.left, o.bottom},
                {o.left, o.top}};
    p.rect = RectOf(p.points);
    m_obstacles.push_back(std::move(p));
  }
  const int n = static_cast<int>(std::min<INT_PTR>(outline.GetSize(), 0x7FFFFFFF));
  if (n < 2 || area.right <= area.left || area.bottom <= area.top) return;
  const Bounds b = Extent(outline.GetData(), n);
  const double w = b.right - b.left, h = b.bottom - b.top;
  if (!(std::min(w, h) > 0)) return;
  // Cells as wide as the largest clearance polygon can be (its diagonal at the larger scale),
  // so a copy covers at most four; off when the scales make that meaningless.
  const double reach = std::hypot(w, h) * std::max(std::fabs(m_minScale), std::fabs(m_maxScale)) *
                       (std::fabs(m_margin) / std::min(w, h) + 1);
  m_cell = std::isfinite(reach) && reach >= 1 ? reach + 2 : 0;

  CRect all;
  int failures = 0;
  while (failures < m_maxFailures && static_cast<int>(m_kept.size()) < m_maxCopies) {
    vvPolyline candidate;
    CView3D transform;
    if (!vvNewPolyline(area, outline, candidate, transform) ||
        !vvKeepPolyline(area, candidate, transform)) {
      ++failures;
      continue;
    }
    failures = 0;
    const CRect& r = m_kept.back().rect;
    if (m_kept.size() == 1) {
      all = r;
    } else {
      all.left = std::min(all.left, r.left);
      all.top = std::min(all.top, r.top);
      all.right = std::max(all.right, r.right);
      all.bottom = std::max(all.bottom, r.bottom);
    }
  }
  placements = m_transforms;
  if (!m_kept.empty())
    offset = CPoint(Half(all.left, all.right) - Half(area.left, area.right),
                    Half(all.top, all.bottom) - Half(area.top, area.bottom));
}

void CRandPolylinePlacement::vvDrawPolyline(CArray<tagPOINT, tagPOINT>& pts, CDC& dc,
                                            CScaleDraw& sd) {
  vvDrawPolyline(pts.GetData(), static_cast<int>(std::min<INT_PTR>(pts.GetSize(), 0x7FFFFFFF)), dc,
                 sd);
}

void CRandPolylinePlacement::vvDrawPolyline(tagPOINT* pts, int n, CDC& dc, CScaleDraw& sd) {
  if (pts == nullptr || n < 1) return;
  sd.MoveTo(dc.GetSafeHdc(), pts[0].x, pts[0].y);
  for (int i = 1; i < n; ++i) sd.LineTo(dc.GetSafeHdc(), pts[i].x, pts[i].y);
}
