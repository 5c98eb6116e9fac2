// Path sets: closing, equality and containment, index arithmetic, flattening, holes.
#include "plexa/geom/pathset.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <list>
#include <memory>
#include <utility>
#include <vector>

#include "plexa/core/planar.h"
#include "plexa/geom/bezier.h"
#include "plexa/geom/internal/pathset_common.h"
#include "plexa/platform/internal/grow.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

using namespace plexa::pathset;  // NOLINT: the shared private helpers

namespace {

bool NodesEqual(const CBPOINT& a, const CBPOINT& b) {
  return Coincide(a.in, b.in) && Coincide(a.anchor, b.anchor) && Coincide(a.out, b.out);
}

// A path flattened at resolution 1.0 and rounded to integers, with its integer bounds.
struct IntPolygon {
  std::vector<tagPOINT> pts;
  CRect bounds;
  int size() const { return static_cast<int>(pts.size()); }
};

IntPolygon MakeIntPolygon(const CBPointArray* path) {
  IntPolygon poly;
  if (path == nullptr) return poly;
  CArray<CDPOINT> flat;
  CDWordArray ends;
  path->ExecuteBPointArrayT(flat, ends, kHoleFlattenResolution);
  poly.pts.reserve(static_cast<std::size_t>(flat.GetSize()));
  for (const CDPOINT& p : flat)
    poly.pts.push_back(tagPOINT{PLEXA::RoundToLong(p.x), PLEXA::RoundToLong(p.y)});
  poly.bounds = GetPolygonRect(poly.pts.data(), poly.size());
  return poly;
}

bool Inside(const IntPolygon& outer, const tagPOINT& p) {
  return IsPointInPolygon(outer.pts.data(), outer.size(), p, &outer.bounds) != 0;
}

// The test for a run of equal points is made once: flattened curves repeat points after
// rounding, and saturated (huge) coordinates collapse whole paths onto a few points.
struct InsideCache {
  bool valid = false;
  tagPOINT last{};
  bool answer = false;
  bool Inside(const IntPolygon& outer, const tagPOINT& p) {
    if (!valid || p.x != last.x || p.y != last.y) {
      answer = ::Inside(outer, p);
      last = p;
      valid = true;
    }
    return answer;
  }
};

bool RectWithin(const tagRECT& in, const tagRECT& out) {
  return in.left >= out.left && in.right <= out.right && in.top >= out.top &&
         in.bottom <= out.bottom;
}

bool PointInRect(const tagPOINT& p, const tagRECT& r) {
  return p.x >= r.left && p.x <= r.right && p.y >= r.top && p.y <= r.bottom;
}

// Whether j's polygon has at least the share `ratio` of its points inside i's polygon, with
// early exits: bounds first, then a count that stops once the outcome is decided.
bool ReachesRatio(const IntPolygon& i, const IntPolygon& j, double ratio) {
  const int nj = j.size();
  if (nj == 0) return false;  // count / 0 is never >= ratio
  const double n = nj;
  if (0.0 / n >= ratio) return true;
  if (i.size() == 0) return false;
  // Points outside i's bounds never pass the test: their count bounds the answer.
  int candidates = nj;
  if (!RectWithin(j.bounds, i.bounds)) {
    const tagRECT& a = i.bounds;
    const tagRECT& b = j.bounds;
    if (b.right < a.left || b.left > a.right || b.bottom < a.top || b.top > a.bottom) return false;
    candidates = 0;
    for (const tagPOINT& p : j.pts) candidates += PointInRect(p, a) ? 1 : 0;
  }
  if (!(candidates / n >= ratio)) return false;
  int count = 0;
  int left = candidates;  // candidates not yet tested
  InsideCache cache;
  for (const tagPOINT& p : j.pts) {
    if (!PointInRect(p, i.bounds)) continue;
    --left;
    if (cache.Inside(i, p)) {
      ++count;
      if (count / n >= ratio) return true;
    } else if (!((count + left) / n >= ratio)) {
      return false;
    }
  }
  return count / n >= ratio;
}

}  // namespace

// ---- Closing, equality, containment ----------------------------------------------------

void ClosePolyBezier(CBPointArray& path) {
  if (path.GetSize() < 2) return;
  const CBPOINT first = path[0];
  const CDPOINT& last = path[path.GetUpperBound()].anchor;
  if (std::fabs(last.x - first.anchor.x) >= kPathSetEpsilon ||
      std::fabs(last.y - first.anchor.y) >= kPathSetEpsilon)
    plexa::grow::Append(path, first);
}

void ClosePolyPolyBezier(CPolyPolyBezier& set) {
  for (int i = 0; i < set.GetSize(); ++i)
    if (CBPointArray* p = set.GetAt(i)) ClosePolyBezier(*p);
}

bool IsPolyPolyBezierClosed(const CPolyPolyBezier& set) {
  if (set.GetSize() == 0) return false;
  for (int i = 0; i < set.GetSize(); ++i)
    if (const CBPointArray* p = set.GetAt(i); p && !p->IsPolyBezierClosed()) return false;
  return true;
}

bool ArePolyBezierEqual(const CBPointArray& a, const CBPointArray& b) {
  if (a.GetSize() != b.GetSize()) return false;
  for (INT_PTR i = 0; i < a.GetSize(); ++i)
    if (!NodesEqual(a[i], b[i])) return false;
  return true;
}

bool IsPolyBezierInPolyBezier(const CBPointArray& outer, const CBPointArray& inner, double tol) {
  if (std::isnan(tol)) return false;
  const IntPolygon o = MakeIntPolygon(&outer);
  const IntPolygon in = MakeIntPolygon(&inner);
  if (o.size() < 2 || in.size() < 1) return false;
  if (std::fabs(tol) < kPathSetEpsilon) {
    if (!RectWithin(in.bounds, o.bounds)) return false;
    InsideCache cache;
    for (const tagPOINT& p : in.pts)
      if (!cache.Inside(o, p)) return false;
    return true;
  }
  const double allowed = std::fabs(tol);
  const double n = in.size();
  int outside = 0;
  InsideCache cache;
  for (const tagPOINT& p : in.pts) {
    if (!cache.Inside(o, p) && ++outside / n > allowed) return false;
  }
  return true;
}

bool IsPolyBezierInPolyPolyBezier(const CPolyPolyBezier& set, const CBPointArray& path,
                                  double tol) {
  int count = 0;
  for (int i = 0; i < set.GetSize(); ++i)
    if (const CBPointArray* q = set.GetAt(i); q && IsPolyBezierInPolyBezier(*q, path, tol)) ++count;
  return (count & 1) != 0;
}

// ---- Index arithmetic --------------------------------------------------------------------

int GetNextClosedBpArIndex(int i, int n) {
  return i < n - 2 ? i + 1 : 0;
}
int GetPrevClosedBpArIndex(int i, int n) {
  return i < 1 ? n - 2 : i - 1;
}
int GetPointsDistance(int a, int b, int n) {
  return a > b ? b - a + n : b - a;
}

namespace {
int StepToDifferentNode(const CBPointArray& path, int i, int dir) {
  const int n = static_cast<int>(path.GetSize());
  if (n < 2 || i < 0 || i >= n) return -1;
  const CBPOINT& ref = path[i];
  for (int k = 1; k < n; ++k) {
    const int j = ((i + dir * k) % n + n) % n;
    if (!NodesEqual(path[j], ref)) return j;
  }
  return -1;
}
}  // namespace

int GetNextBpArIndex(const CBPointArray& path, int i) {
  return StepToDifferentNode(path, i, 1);
}
int GetPrevBpArIndex(const CBPointArray& path, int i) {
  return StepToDifferentNode(path, i, -1);
}

// ---- Flattening a set --------------------------------------------------------------------

void ExecutePolyPolyBezier(const CPolyPolyBezier& set, CPolyPolyDPoint& polys,
                           CArray<CDWordArray*>& segEnds, double resolution) {
  for (int i = 0; i < set.GetSize(); ++i) {
    auto poly = std::make_unique<CArray<CDPOINT>>();
    auto ends = std::make_unique<CDWordArray>();
    if (const CBPointArray* p = set.GetAt(i)) p->ExecuteBPointArrayT(*poly, *ends, resolution);
    plexa::grow::Append(polys, poly.release());
    plexa::grow::Append(segEnds, ends.get());
    ends.release();
  }
}

void ExecutePolyPolyBezierEx(const CPolyPolyBezier& set, CPolyPolyDPoint& polys,
                             CPolyPolyDouble* params, CArray<CDWordArray*>* segEnds, double ratio) {
  for (int i = 0; i < set.GetSize(); ++i) {
    auto poly = std::make_unique<CArray<CDPOINT>>();
    CArray<double> ts;
    auto ends = std::make_unique<CDWordArray>();
    if (const CBPointArray* p = set.GetAt(i))
      p->ExecuteBPointArrayTEx(*poly, params ? &ts : nullptr, ends.get(), ratio);
    plexa::grow::Append(polys, poly.release());
    if (params) {
      auto list = std::make_unique<CArray<double, const double&>>();
      for (double t : ts) plexa::grow::Append(*list, t);
      plexa::grow::Append(*params, list.release());
    }
    if (segEnds) {
      plexa::grow::Append(*segEnds, ends.get());
      ends.release();
    }
  }
}

// ---- Holes and outlines ------------------------------------------------------------------

void GetPolyPolyHoles(const CPolyPolyBezier& set, CArray<int, int>& holes, double ratio) {
  holes.RemoveAll();
  const int n = static_cast<int>(set.GetSize());
  if (n < 2 || std::isnan(ratio)) return;
  std::vector<IntPolygon> polys;
  polys.reserve(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) polys.push_back(MakeIntPolygon(set.GetAt(i)));
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < n; ++i) {
      if (i != j && ReachesRatio(polys[static_cast<std::size_t>(i)],
                                 polys[static_cast<std::size_t>(j)], ratio)) {
        plexa::grow::Append(holes, j);
        break;  // j is a hole; the other outers cannot change that
      }
    }
  }
}

void GetPolyPolyNoHoles(const CPolyPolyBezier& set, CArray<int, int>& outlines, double ratio) {
  CArray<int, int> holes;
  GetPolyPolyHoles(set, holes, ratio);
  outlines.RemoveAll();
  INT_PTR h = 0;
  for (int i = 0; i < set.GetSize(); ++i) {
    if (h < holes.GetSize() && holes[h] == i)
      ++h;
    else
      plexa::grow::Append(outlines, i);
  }
}

int RemoveHolesFromPolyPoly(CPolyPolyBezier& set, double ratio) {
  CArray<int, int> holes;
  GetPolyPolyHoles(set, holes, ratio);
  for (INT_PTR k = holes.GetSize(); k-- > 0;) set.RemoveAt(holes[k]);
  return static_cast<int>(holes.GetSize());
}
