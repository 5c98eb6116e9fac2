// The vertex offset and its clean-up steps: loop removal, part removal, the set form that
// goes through polylines and back through the curve fitter.
#include "plexa/analysis/offset.h"

#include <cmath>
#include <vector>

#include "plexa/analysis/intersect.h"
#include "plexa/core/internal/numerics.h"
#include "plexa/core/planar.h"
#include "plexa/geom/fitcurve.h"

namespace {

using PLEXA::CDLINE;
using PLEXA::CDPOINT;
namespace num = plexa::num;

using Poly = CArray<CDPOINT>;

// The first crossing pair of RemoveOutlineLoops, or false.
bool FindLoop(const Poly& p, int& fi, int& fj) {
  const int n = static_cast<int>(p.GetSize());
  const CDPOINT* q = p.GetData();
  for (int i = 0; i <= n - 3; ++i)
    for (int j = i + 2; j <= n - 3; ++j) {
      double x = 0, y = 0;
      if (!GetLinesIntersection(q[i].x, q[i].y, q[i + 1].x, q[i + 1].y, q[j].x, q[j].y, q[j + 1].x,
                                q[j + 1].y, &x, &y))
        continue;
      if (IsPointInLineRange(q[i].x, q[i].y, q[i + 1].x, q[i + 1].y, x, y) &&
          IsPointInLineRange(q[j].x, q[j].y, q[j + 1].x, q[j + 1].y, x, y)) {
        fi = i;
        fj = j;
        return true;
      }
    }
  return false;
}

// The point at distance d from v towards p (DivideLine with fraction d / |p - v|).
CDPOINT Towards(const CDPOINT& v, const CDPOINT& p, double d) {
  const double l = num::Dist(v, p);
  return l > 0 ? DivideLine(CDLINE(v, p), d / l) : v;
}

}  // namespace

void RemoveOutlinePart(CArray<CDPOINT>& poly, int start, int count) {
  const INT_PTR n = poly.GetSize();
  if (start < 0 || start >= n || count <= 0 || static_cast<INT_PTR>(start) + count > n) return;
  poly.RemoveAt(start, count);
}

void RemoveOutlineLoops(CArray<CDPOINT>& poly) {
  // Each pass that changes anything removes at least one point, so n passes at most.
  for (INT_PTR guard = poly.GetSize() + 1; guard > 0; --guard) {
    const int n = static_cast<int>(poly.GetSize());
    int i = 0, j = 0;
    if (!FindLoop(poly, i, j)) return;
    if (j - (i + 1) >= n / 2) {
      RemoveOutlinePart(poly, j, n - j);
      RemoveOutlinePart(poly, 0, i + 1);
    } else {
      RemoveOutlinePart(poly, i + 1, j - i);
    }
    if (static_cast<int>(poly.GetSize()) == n) return;
  }
}

void ShrinkOutline(CArray<CDPOINT>& poly, double d, bool shrink) {
  if (poly.GetSize() < 2 || !std::isfinite(d)) return;
  Poly thin;
  thin.Add(poly[0]);
  for (INT_PTR k = 1; k < poly.GetSize(); ++k)
    if (num::Dist(poly[k], thin[thin.GetUpperBound()]) >= kShrinkThin) thin.Add(poly[k]);
  const int n = static_cast<int>(thin.GetSize());
  if (n < 2) {
    poly.Copy(thin);
    return;
  }
  const CDPOINT* q = thin.GetData();
  const bool closed = n >= 3 && num::Dist(q[0], q[n - 1]) < kShrinkThin;
  // The bisector (a neighbour turned by -angle/2) points into the corner measured from the
  // next point counter-clockwise to the previous one: inwards for IsClockwise outlines.
  const double sign = (IsClockwise(thin) ? 1.0 : -1.0) * (shrink ? 1.0 : -1.0);
  Poly out;
  out.SetSize(n);
  for (int i = 0; i < n; ++i) {
    const CDPOINT v = q[i];
    int prev = i - 1, next = i + 1;
    if (closed) {
      // The last point repeats the first: both take the neighbours of the first.
      if (i == 0 || i == n - 1) prev = n - 2, next = 1;
    }
    CDPOINT moved = v;
    if (prev < 0 || next >= n) {
      // An open end: along the normal of its one segment, on the bisectors' side.
      const CDPOINT a = prev < 0 ? v : q[prev], b = prev < 0 ? q[next] : v;
      const double l = num::Dist(a, b);
      if (l > 0) {
        const CDPOINT nrm((a.y - b.y) / l, (b.x - a.x) / l);  // left of a->b, y up
        moved = v + nrm * (sign * d);
      }
    } else if (num::Dist(q[prev], v) >= kPlanarEpsilon && num::Dist(q[next], v) >= kPlanarEpsilon) {
      const double angle =
          Bound2PI(GetLinesAngle(q[prev].x, q[prev].y, v.x, v.y, q[next].x, q[next].y));
      double bx = q[prev].x, by = q[prev].y;
      Rotate(&bx, &by, v.x, v.y, -angle / 2);
      moved = Towards(v, CDPOINT(bx, by), sign * d);
    }
    if (moved.x != v.x || moved.y != v.y) {
      CDPOINT hit;
      if (GetPolyLineWithLineIntersection(thin, CDLINE(v, moved), hit))
        moved = DivideLine(CDLINE(v, hit), kShrinkThin);
    }
    out[i] = moved;
  }
  RemoveOutlineLoops(out);
  if (closed && out.GetSize() > 0 && num::Dist(out[0], out[out.GetUpperBound()]) >= kShrinkThin)
    out.Add(out[0]);
  poly.Copy(out);
}

void ExactBound(CArray<CDPOINT>& poly) {
  Poly kept;
  for (const CDPOINT& p : poly)
    if (num::IsFinite(p)) kept.Add(p);
  DelPolylineDuplicatePoints(kept);
  if (kept.GetSize() < 3) kept.RemoveAll();
  poly.Copy(kept);
}

void ExactBound(CPolyPolyBezier& set, CPolyPolyDPoint& polys) {
  polys.RemoveAll();
  for (INT_PTR i = 0; i < set.GetSize(); ++i) {
    const CBPointArray* path = set.GetAt(static_cast<int>(i));
    if (!path || path->GetSize() < 2) continue;
    bool finite = true;
    for (const PLEXA::CBPOINT& b : *path)
      finite = finite && num::IsFinite(b.in) && num::IsFinite(b.anchor) && num::IsFinite(b.out);
    if (!finite) continue;
    auto* poly = new Poly;
    CDWordArray ends;
    path->ExecuteBPointArrayT(*poly, ends, 1.0);
    ExactBound(*poly);
    if (poly->GetSize() > 0) {
      polys.Add(poly);
    } else {
      delete poly;
    }
  }
}

void ShrinkOutlineBound(CPolyPolyBezier& set, double d, bool shrink) {
  if (!std::isfinite(d)) return;
  CPolyPolyDPoint polys;
  ExactBound(set, polys);
  set.RemoveAll();
  for (INT_PTR i = 0; i < polys.GetSize(); ++i) {
    Poly& poly = *polys.GetAt(static_cast<int>(i));
    ShrinkOutline(poly, d, shrink);
    ExactBound(poly);
    if (poly.GetSize() == 0) continue;
    auto* path = new CBPointArray;
    FitCurve(poly.GetData(), static_cast<int>(poly.GetSize()), path, kShrinkRefit);
    if (path->GetSize() > 0) {
      set.Add(path);
    } else {
      delete path;
    }
  }
}
