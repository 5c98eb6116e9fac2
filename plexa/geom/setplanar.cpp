// The planar functions over paths and path sets. They live apart from planar.cpp because the
// path containers sit above the planar layer; the declarations are in setplanar.h.
#include "plexa/geom/setplanar.h"

#include <algorithm>
#include <cmath>

#include "plexa/core/internal/numerics.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using PLEXA::CDRECT;

void GetPolygonRects(CPolyPolyDPoint& set, CArray<CDRECT, CDRECT>& rects) {
  const int n = static_cast<int>(set.GetSize());
  rects.SetSize(n);
  for (int i = 0; i < n; ++i) {
    const auto* poly = set.GetAt(i);
    rects[i] = poly != nullptr ? GetPolygonRect(*poly) : CDRECT();
  }
}

void GetPolylineBounds(const CBPointArray& path, CDRECT& r) {
  r = CDRECT();
  const INT_PTR n = path.GetSize();
  if (n < 1) return;
  const CBPOINT* p = path.GetData();
  r = CDRECT(p[0].anchor.x, p[0].anchor.x, p[0].anchor.y, p[0].anchor.y);
  for (INT_PTR i = 1; i < n; ++i) {
    r.xmin = std::min(r.xmin, p[i].anchor.x);
    r.xmax = std::max(r.xmax, p[i].anchor.x);
    r.ymin = std::min(r.ymin, p[i].anchor.y);
    r.ymax = std::max(r.ymax, p[i].anchor.y);
  }
}

double GetPolylineLength(const CBPointArray& path) {
  double len = 0.0;
  const CBPOINT* p = path.GetData();
  for (INT_PTR i = 0; i + 1 < path.GetSize(); ++i)
    len += plexa::num::Dist(p[i].anchor, p[i + 1].anchor);
  return len;
}

void Convert(const CArray<CDPOINT, CDPOINT>& pts, CBPointArray& path) {
  path.SetSize(pts.GetSize());
  for (INT_PTR i = 0; i < pts.GetSize(); ++i) path[i] = CBPOINT(pts[i], pts[i], pts[i]);
}

bool AreSimilar(const CBPointArray& a, const CBPointArray& b, double tol) {
  const INT_PTR n = a.GetSize();
  if (n != b.GetSize()) return false;
  if (n < 2) return true;
  const CBPOINT* pa = a.GetData();
  const CBPOINT* pb = b.GetData();
  for (INT_PTR i = 0; i + 1 < n; ++i) {
    const double dxa = pa[i + 1].anchor.x - pa[i].anchor.x;
    const double dxb = pb[i + 1].anchor.x - pb[i].anchor.x;
    if (std::fabs(dxa - dxb) > tol) return false;
    // The y steps are deliberately not compared: only the x steps decide.
  }
  return true;
}

bool AreSimilar(const CPolyPolyBezier& a, const CPolyPolyBezier& b, double tol) {
  const int n = static_cast<int>(a.GetSize());
  if (n != b.GetSize()) return false;
  for (int i = 0; i < n; ++i) {
    const CBPointArray* pa = a.GetAt(i);
    const CBPointArray* pb = b.GetAt(i);
    if (pa == nullptr && pb == nullptr) continue;
    if (pa == nullptr || pb == nullptr) return false;
    if (!AreSimilar(*pa, *pb, tol)) return false;
  }
  return true;
}

int IsPointInPolygon(CPolyPolyDPoint& set, const CDPOINT& p, CArray<CDRECT, CDRECT>& rects) {
  int count = 0;
  for (int i = 0; i < set.GetSize(); ++i) {
    const auto* poly = set.GetAt(i);
    if (poly == nullptr) continue;
    if (IsPointInPolygon(poly->GetData(), static_cast<int>(poly->GetSize()), p, &rects[i]) != 0)
      ++count;
  }
  return count & 1;
}

int IsPointInPolyPolygon(CPolyPolyPoint& set, const CPoint& p, const CArray<CRect, CRect>& rects) {
  int parity = 0;
  for (int i = 0; i < set.GetSize(); ++i) {
    const auto* poly = set.GetAt(i);
    if (poly == nullptr) continue;
    const int n = static_cast<int>(poly->GetSize());
    const CRect r = i < rects.GetSize() ? rects[i] : GetPolygonRect(poly->GetData(), n);
    if (IsPointInPolygon(poly->GetData(), n, p, &r) != 0) parity ^= 1;
  }
  return parity;
}

bool IsPointInPolyPolygon(const CPolyPolyDPoint& set, const CDPOINT& p,
                          const CArray<CDRECT, CDRECT>& rects, bool evenOdd) {
  int parity = 0;
  for (int i = 0; i < set.GetSize(); ++i) {
    const auto* poly = set.GetAt(i);
    if (poly == nullptr) continue;
    const int n = static_cast<int>(poly->GetSize());
    CDRECT r = i < rects.GetSize() ? rects[i] : GetPolygonRect(poly->GetData(), n);
    if (IsPointInPolygon(poly->GetData(), n, p, &r) == 0) continue;
    if (!evenOdd) return true;
    parity ^= 1;
  }
  return parity != 0;
}
