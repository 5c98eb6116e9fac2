#include "plexa/analysis/scanlines.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "plexa/analysis/intersect.h"
#include "plexa/core/internal/numerics.h"
#include "plexa/geom/bezier.h"
#include "plexa/platform/internal/grow.h"

using PLEXA::CBPOINT;
using PLEXA::CDLINE;
using PLEXA::CDPOINT;

namespace {

// The most scan lines one load accepts (bounds the work of GetAllSpans and GetSerpentine).
constexpr long long kScanMaxLines = 1000000;
// Serpentine joins: the default join tolerance, as a fraction of the line spacing (see above).
constexpr double kScanJoinDefaultTolerance = 0.05;

bool Finite(const CDPOINT& p) {
  return std::isfinite(p.x) && std::isfinite(p.y);
}

// The segments the inside test uses for one path: n - 1 when the ends meet within the
// collision tolerance, else n with the closing curve from the last node to the first.
INT_PTR SegmentCount(const CBPointArray& path) {
  const INT_PTR n = path.GetSize();
  if (n < 2) return 0;
  const CDPOINT a = path[0].anchor, b = path[n - 1].anchor;
  return plexa::num::Dist(a, b) < kCollisionTolerance ? n - 1 : n;
}

}  // namespace

bool CCurveScanLines::SetCurves(const CPolyPolyBezier& set, double spacing, double angle,
                                double phase) {
  m_scan.RemoveAll();
  m_hit = CCurveCollision();
  m_loaded = false;
  m_lineCount = 0;
  if (!(std::isfinite(spacing) && spacing > 0) || !std::isfinite(angle) || !std::isfinite(phase))
    return false;
  m_spacing = spacing;
  m_angle = angle;
  m_phase = phase;
  m_cos = angle == 0 ? 1.0 : std::cos(angle);
  m_sin = angle == 0 ? 0.0 : std::sin(angle);

  double vmin = 0, vmax = 0;
  bool any = false;
  for (INT_PTR i = 0; i < set.GetSize(); ++i) {
    const CBPointArray* src = set.GetAt(static_cast<int>(i));
    if (src == nullptr || src->GetSize() < 2) continue;
    auto path = std::make_unique<CBPointArray>(*src);
    for (INT_PTR k = 0; k < path->GetSize(); ++k) {
      CBPOINT& node = path->ElementAt(k);
      node.in = ToScan(node.in);
      node.anchor = ToScan(node.anchor);
      node.out = ToScan(node.out);
      if (!Finite(node.in) || !Finite(node.anchor) || !Finite(node.out)) {
        m_scan.RemoveAll();
        return false;
      }
    }
    const INT_PTR n = path->GetSize(), segs = SegmentCount(*path);
    for (INT_PTR s = 0; s < segs; ++s) {
      const PLEXA::CDRECT r =
          CBezier(path->GetData()[s], path->GetData()[(s + 1) % n]).CalcTightRect();
      vmin = any ? std::min(vmin, r.ymin) : r.ymin;
      vmax = any ? std::max(vmax, r.ymax) : r.ymax;
      any = true;
    }
    plexa::grow::Append(m_scan, path.release());
  }
  if (!any) return false;
  // Line k lies at (k + phase) * spacing; take every k whose level is within [vmin, vmax].
  const double kFirst = std::ceil(vmin / spacing - phase),
               kLast = std::floor(vmax / spacing - phase);
  if (!(kLast - kFirst < static_cast<double>(kScanMaxLines))) {
    m_scan.RemoveAll();
    return false;
  }
  m_hit.SetCurves(m_scan);
  m_loaded = true;
  m_firstLine = kFirst;
  m_lineCount = kLast >= kFirst ? static_cast<int>(kLast - kFirst) + 1 : 0;
  return true;
}

double CCurveScanLines::GetLineLevel(int i) const {
  if (i < 0 || i >= m_lineCount) return 0;
  return (m_firstLine + i + m_phase) * m_spacing;
}

CDPOINT CCurveScanLines::ToPlane(double u, double v) const {
  if (m_sin == 0 && m_cos == 1) return CDPOINT(u, v);
  return CDPOINT(u * m_cos - v * m_sin, u * m_sin + v * m_cos);
}

CDPOINT CCurveScanLines::ToScan(const CDPOINT& p) const {
  if (m_sin == 0 && m_cos == 1) return p;
  return CDPOINT(p.x * m_cos + p.y * m_sin, -p.x * m_sin + p.y * m_cos);
}

int CCurveScanLines::GetCrossingsAt(double v, CArray<double>& us) const {
  us.SetSize(0);
  if (!m_loaded) return 0;
  return m_hit.GetLineCrossings(v, us);
}

int CCurveScanLines::GetCrossings(int i, CArray<double>& us) const {
  if (i < 0 || i >= m_lineCount) {
    us.SetSize(0);
    return 0;
  }
  return GetCrossingsAt(GetLineLevel(i), us);
}

void CCurveScanLines::LineSpans(int i, std::vector<Span>& out) const {
  out.clear();
  CArray<double> us;
  const int n = GetCrossings(i, us);
  for (int k = 0; k + 1 < n; k += 2)
    if (us[k + 1] > us[k]) out.push_back(Span{us[k], us[k + 1]});
}

int CCurveScanLines::GetSpans(int i, CArray<CDLINE>& spans) const {
  std::vector<Span> line;
  LineSpans(i, line);
  const double v = GetLineLevel(i);
  for (const Span& s : line) plexa::grow::Append(spans, CDLINE(ToPlane(s.u0, v), ToPlane(s.u1, v)));
  return static_cast<int>(line.size());
}

void CCurveScanLines::GetAllSpans(CArray<CDLINE>& spans, bool alternate) const {
  spans.SetSize(0);
  std::vector<Span> line;
  for (int i = 0; i < m_lineCount; ++i) {
    LineSpans(i, line);
    const double v = GetLineLevel(i);
    if (alternate && (i & 1)) {
      for (auto it = line.rbegin(); it != line.rend(); ++it)
        plexa::grow::Append(spans, CDLINE(ToPlane(it->u1, v), ToPlane(it->u0, v)));
    } else {
      for (const Span& s : line)
        plexa::grow::Append(spans, CDLINE(ToPlane(s.u0, v), ToPlane(s.u1, v)));
    }
  }
}

bool CCurveScanLines::ConnectorInside(const CDPOINT& a, const CDPOINT& b, double tol) const {
  const double ex = b.x - a.x, ey = b.y - a.y;
  const double len2 = ex * ex + ey * ey, len = std::sqrt(len2);
  if (len2 == 0) return true;
  // The middle of the connector must lie in a span of the line through it (or within the
  // tolerance of a span's end: a connector running along the outline is accepted).
  CArray<double> us;
  const int n = m_hit.GetLineCrossings((a.y + b.y) / 2, us);
  const double um = (a.x + b.x) / 2;
  bool inside = false;
  for (int k = 0; k + 1 < n; k += 2)
    if (um >= us[k] - tol && um <= us[k + 1] + tol) inside = true;
  if (!inside) return false;
  // No outline may pass from one side of the connector to the other away from its ends:
  // the signed distance (times |e|) of each outline segment is solved for +tol and -tol.
  bool plus = false, minus = false;
  for (INT_PTR p = 0; p < m_scan.GetSize(); ++p) {
    const CBPointArray* path = m_scan.GetAt(static_cast<int>(p));
    const INT_PTR np = path->GetSize(), segs = SegmentCount(*path);
    for (INT_PTR s = 0; s < segs; ++s) {
      double cx[4], cy[4];
      CBezier(path->GetData()[s], path->GetData()[(s + 1) % np]).CalcBezierConstants(cx, cy);
      for (const double side : {1.0, -1.0}) {
        double d[4];
        for (int k = 0; k < 4; ++k) d[k] = cx[k] * ey - cy[k] * ex;
        d[0] -= a.x * ey - a.y * ex + side * tol * len;
        double roots[4];
        const int nr = FindPolynomialRoots(d, 0.0, 1.0, roots);
        for (int r = 0; r < nr; ++r) {
          const double t = roots[r];
          const double px = cx[0] + t * (cx[1] + t * (cx[2] + t * cx[3]));
          const double py = cy[0] + t * (cy[1] + t * (cy[2] + t * cy[3]));
          const double w = ((px - a.x) * ex + (py - a.y) * ey) / len2;
          if (w * len > tol && (1 - w) * len > tol) (side > 0 ? plus : minus) = true;
        }
      }
      if (plus && minus) return false;
    }
  }
  return true;
}

void CCurveScanLines::GetSerpentine(CPolyPolyDPoint& polylines, double tolerance) const {
  polylines.RemoveAll();
  const double tol = tolerance >= 0 ? tolerance : m_spacing * kScanJoinDefaultTolerance;
  std::vector<std::vector<Span>> lines(static_cast<size_t>(m_lineCount));
  std::vector<std::vector<char>> used(static_cast<size_t>(m_lineCount));
  for (int i = 0; i < m_lineCount; ++i) {
    LineSpans(i, lines[static_cast<size_t>(i)]);
    used[static_cast<size_t>(i)].assign(lines[static_cast<size_t>(i)].size(), 0);
  }
  for (int i = 0; i < m_lineCount; ++i) {
    for (size_t j = 0; j < lines[static_cast<size_t>(i)].size(); ++j) {
      if (used[static_cast<size_t>(i)][j]) continue;
      auto poly = std::make_unique<CArray<CDPOINT>>();
      int line = i;
      size_t cur = j;
      bool forward = true;
      for (;;) {
        used[static_cast<size_t>(line)][cur] = 1;
        const Span s = lines[static_cast<size_t>(line)][cur];
        const double v = GetLineLevel(line);
        const double uStart = forward ? s.u0 : s.u1, uEnd = forward ? s.u1 : s.u0;
        plexa::grow::Append(*poly, ToPlane(uStart, v));
        plexa::grow::Append(*poly, ToPlane(uEnd, v));
        if (line + 1 >= m_lineCount) break;
        const auto& next = lines[static_cast<size_t>(line + 1)];
        const double vn = GetLineLevel(line + 1);
        // The next span is entered at the end nearest the current end (its far end when
        // reversed): on the right end when moving right, on the left end when moving left.
        size_t best = next.size();
        double bestDist = 0;
        for (size_t k = 0; k < next.size(); ++k) {
          if (used[static_cast<size_t>(line + 1)][k]) continue;
          if (next[k].u1 < s.u0 || next[k].u0 > s.u1) continue;
          const double entry = forward ? next[k].u1 : next[k].u0;
          const double dist = std::fabs(entry - uEnd);
          if (best == next.size() || dist < bestDist) {
            best = k;
            bestDist = dist;
          }
        }
        if (best == next.size()) break;
        const double entry = forward ? next[best].u1 : next[best].u0;
        if (!ConnectorInside(CDPOINT(uEnd, v), CDPOINT(entry, vn), tol)) break;
        ++line;
        cur = best;
        forward = !forward;
      }
      plexa::grow::Append(polylines, poly.release());
    }
  }
}
