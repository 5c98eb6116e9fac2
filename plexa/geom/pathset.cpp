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
#include "plexa/platform/internal/grow.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

bool Coincide(const CDPOINT& a, const CDPOINT& b, double tol = kPathSetEpsilon) {
  return std::fabs(a.x - b.x) < tol && std::fabs(a.y - b.y) < tol;
}

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
  for (const CDPOINT& p : flat) poly.pts.push_back(tagPOINT{PLEXA::RoundToLong(p.x), PLEXA::RoundToLong(p.y)});
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
  return in.left >= out.left && in.right <= out.right && in.top >= out.top && in.bottom <= out.bottom;
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

CBezier Segment(const CBPointArray& p, INT_PTR i) { return CBezier(p.GetData()[i], p.GetData()[i + 1]); }

// Splits segment seg at t (strictly inside) and inserts the new node; returns its index.
int SplitSegmentAt(CBPointArray& path, int seg, double t) {
  CBezier left, right;
  Segment(path, seg).Split(t, left, right);
  path[seg].out = left.GetPoint1();
  path[seg + 1].in = right.GetPoint2();
  path.InsertAt(seg + 1, CBPOINT(left.GetPoint2(), left.GetPoint3(), right.GetPoint1()));
  return seg + 1;
}

// Length fractions of a path's nodes: 0, ..., 1 (index fractions when it has no length).
std::vector<double> NodeFractions(const CBPointArray& p, std::vector<double>& segLengths) {
  const INT_PTR n = p.GetSize();
  std::vector<double> f(static_cast<std::size_t>(n), 0.0);
  segLengths.assign(static_cast<std::size_t>(std::max<INT_PTR>(n - 1, 0)), 0.0);
  double total = 0;
  for (INT_PTR i = 0; i + 1 < n; ++i) total += segLengths[static_cast<std::size_t>(i)] = Segment(p, i).GetLength();
  double run = 0;
  for (INT_PTR i = 1; i < n; ++i) {
    run += segLengths[static_cast<std::size_t>(i - 1)];
    f[static_cast<std::size_t>(i)] = total > kPathSetEpsilon ? run / total : static_cast<double>(i) / static_cast<double>(n - 1);
  }
  if (n > 1) f.back() = 1.0;
  return f;
}

// Builds a path from src with new nodes at the given fractions inside each segment.
// inserts[s] lists ascending fractions strictly between node s and node s + 1.
void BuildWithInserts(const CBPointArray& src, const std::vector<double>& fr, const std::vector<double>& lens,
                      const std::vector<std::vector<double>>& inserts, double total, CBPointArray& out) {
  const INT_PTR n = src.GetSize();
  out.RemoveAll();
  if (n == 1) {
    plexa::grow::Append(out, src[0]);
    for (std::size_t k = 0; k < inserts[0].size(); ++k) plexa::grow::Append(out, src[0]);
    return;
  }
  plexa::grow::Append(out, src[0]);
  for (INT_PTR s = 0; s + 1 < n; ++s) {
    const auto& ins = inserts[static_cast<std::size_t>(s)];
    const CBezier seg = Segment(src, s);
    if (ins.empty()) {
      plexa::grow::Append(out, src[s + 1]);
      continue;
    }
    const double len = lens[static_cast<std::size_t>(s)];
    std::vector<double> ts;
    for (double u : ins) {
      double t;
      if (total > kPathSetEpsilon && len > 0) t = seg.GetTFromLength((u - fr[static_cast<std::size_t>(s)]) * total);
      else t = (u - fr[static_cast<std::size_t>(s)]) / (fr[static_cast<std::size_t>(s) + 1] - fr[static_cast<std::size_t>(s)]);
      if (!std::isfinite(t)) t = 0.5;
      t = std::clamp(t, ts.empty() ? 0.0 : ts.back(), 1.0);
      ts.push_back(t);
    }
    double t0 = 0;
    for (std::size_t k = 0; k <= ts.size(); ++k) {
      const double t1 = k < ts.size() ? ts[k] : 1.0;
      CBezier part;
      if (t0 < 1) seg.Split(t0, t1, part);
      else part = CBezier(seg.GetPoint3(), seg.GetPoint3(), seg.GetPoint3(), seg.GetPoint3());  // Split(1, 1) is not defined
      out[out.GetUpperBound()].out = part.GetPoint1();
      if (k < ts.size()) plexa::grow::Append(out, CBPOINT(part.GetPoint2(), part.GetPoint3(), part.GetPoint3()));
      else {
        CBPOINT end = src[s + 1];
        end.in = part.GetPoint2();
        plexa::grow::Append(out, end);
      }
      t0 = t1;
    }
  }
}

}  // namespace

// ---- Closing, equality, containment ----------------------------------------------------

void ClosePolyBezier(CBPointArray& path) {
  if (path.GetSize() < 2) return;
  const CBPOINT first = path[0];
  const CDPOINT& last = path[path.GetUpperBound()].anchor;
  if (std::fabs(last.x - first.anchor.x) >= kPathSetEpsilon || std::fabs(last.y - first.anchor.y) >= kPathSetEpsilon)
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

bool IsPolyBezierInPolyPolyBezier(const CPolyPolyBezier& set, const CBPointArray& path, double tol) {
  int count = 0;
  for (int i = 0; i < set.GetSize(); ++i)
    if (const CBPointArray* q = set.GetAt(i); q && IsPolyBezierInPolyBezier(*q, path, tol)) ++count;
  return (count & 1) != 0;
}

// ---- Index arithmetic --------------------------------------------------------------------

int GetNextClosedBpArIndex(int i, int n) { return i < n - 2 ? i + 1 : 0; }
int GetPrevClosedBpArIndex(int i, int n) { return i < 1 ? n - 2 : i - 1; }
int GetPointsDistance(int a, int b, int n) { return a > b ? b - a + n : b - a; }

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

int GetNextBpArIndex(const CBPointArray& path, int i) { return StepToDifferentNode(path, i, 1); }
int GetPrevBpArIndex(const CBPointArray& path, int i) { return StepToDifferentNode(path, i, -1); }

// ---- Flattening a set --------------------------------------------------------------------

void ExecutePolyPolyBezier(const CPolyPolyBezier& set, CPolyPolyDPoint& polys, CArray<CDWordArray*>& segEnds,
                           double resolution) {
  for (int i = 0; i < set.GetSize(); ++i) {
    auto poly = std::make_unique<CArray<CDPOINT>>();
    auto ends = std::make_unique<CDWordArray>();
    if (const CBPointArray* p = set.GetAt(i)) p->ExecuteBPointArrayT(*poly, *ends, resolution);
    plexa::grow::Append(polys, poly.release());
    plexa::grow::Append(segEnds, ends.get());
    ends.release();
  }
}

void ExecutePolyPolyBezierEx(const CPolyPolyBezier& set, CPolyPolyDPoint& polys, CPolyPolyDouble* params,
                             CArray<CDWordArray*>* segEnds, double ratio) {
  for (int i = 0; i < set.GetSize(); ++i) {
    auto poly = std::make_unique<CArray<CDPOINT>>();
    CArray<double> ts;
    auto ends = std::make_unique<CDWordArray>();
    if (const CBPointArray* p = set.GetAt(i)) p->ExecuteBPointArrayTEx(*poly, params ? &ts : nullptr, ends.get(), ratio);
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
      if (i != j && ReachesRatio(polys[static_cast<std::size_t>(i)], polys[static_cast<std::size_t>(j)], ratio)) {
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
    if (h < holes.GetSize() && holes[h] == i) ++h;
    else plexa::grow::Append(outlines, i);
  }
}

int RemoveHolesFromPolyPoly(CPolyPolyBezier& set, double ratio) {
  CArray<int, int> holes;
  GetPolyPolyHoles(set, holes, ratio);
  for (INT_PTR k = holes.GetSize(); k-- > 0;) set.RemoveAt(holes[k]);
  return static_cast<int>(holes.GetSize());
}

// ---- Segment length, quantising, duplicates ----------------------------------------------

void SetMaxBezierLength(CPolyPolyBezier& set, double maxLen) {
  if (!(maxLen > 0)) return;
  for (int i = 0; i < set.GetSize(); ++i)
    if (CBPointArray* p = set.GetAt(i)) SetMaxBezierLength(*p, maxLen);
}

void SetMaxBezierLength(CBPointArray& path, double maxLen) {
  if (path.GetSize() < 2 || !(maxLen > 0)) return;
  struct Piece {
    CBezier seg;
    int depth;
  };
  std::list<Piece> pieces;
  for (INT_PTR i = 0; i + 1 < path.GetSize(); ++i) pieces.push_back({Segment(path, i), 0});
  INT_PTR count = static_cast<INT_PTR>(pieces.size());
  for (auto it = pieces.begin(); it != pieces.end();) {
    if (it->depth < kMaxLengthSplitDepth && count < kMaxLengthSegmentCeiling && it->seg.GetLength() > maxLen) {
      CBezier left, right;
      it->seg.Split(0.5, left, right);
      const int depth = it->depth + 1;
      *it = {left, depth};
      pieces.insert(std::next(it), {right, depth});
      ++count;
      continue;  // test the left half again
    }
    ++it;
  }
  CBPointArray out;
  out.SetSize(0, count + 1);
  const CBezier& first = pieces.front().seg;
  plexa::grow::Append(out, CBPOINT(first.GetPoint0(), first.GetPoint0(), first.GetPoint1()));
  for (const Piece& p : pieces) {
    out[out.GetUpperBound()].out = p.seg.GetPoint2();
    plexa::grow::Append(out, CBPOINT(p.seg.GetPoint2(), p.seg.GetPoint3(), p.seg.GetPoint3()));
  }
  path = std::move(out);
}

int DelPolyBezierDuplicatePoints(CBPointArray& path) {
  const INT_PTR n = path.GetSize();
  if (n < 2) return 0;
  CBPointArray out;
  plexa::grow::Append(out, path[0]);
  for (INT_PTR i = 1; i < n; ++i) {
    CBPOINT& kept = out[out.GetUpperBound()];
    if (Coincide(path[i].anchor, kept.anchor)) kept.out = path[i].out;
    else plexa::grow::Append(out, path[i]);
  }
  const int removed = static_cast<int>(n - out.GetSize());
  if (removed > 0) path = std::move(out);
  return removed;
}

void QuantizePoints(CPolyPolyBezier& set, double q, int* removed) {
  if (removed) *removed = 0;
  if (!(q > 0) || !std::isfinite(q)) return;
  int total = 0;
  for (int i = 0; i < set.GetSize(); ++i) {
    CBPointArray* p = set.GetAt(i);
    if (p == nullptr) continue;
    for (CBPOINT& node : *p) {
      node.in = PLEXA::Quantize(node.in, q);
      node.anchor = PLEXA::Quantize(node.anchor, q);
      node.out = PLEXA::Quantize(node.out, q);
    }
    total += DelPolyBezierDuplicatePoints(*p);
  }
  if (removed) *removed = total;
}

// ---- Blends ------------------------------------------------------------------------------

bool MatchPoints(const CBPointArray& a, const CBPointArray& b, CBPointArray& a2, CBPointArray& b2,
                 CArray<double, const double&>& params) {
  a2.RemoveAll();
  b2.RemoveAll();
  params.RemoveAll();
  if (a.IsEmpty() || b.IsEmpty()) return false;
  std::vector<double> la, lb;
  const std::vector<double> fa = NodeFractions(a, la), fb = NodeFractions(b, lb);
  double ta = 0, tb = 0;
  for (double l : la) ta += l;
  for (double l : lb) tb += l;
  std::vector<std::vector<double>> insA(std::max<std::size_t>(la.size(), 1)), insB(std::max<std::size_t>(lb.size(), 1));
  // Merge the two ascending fraction lists; each step emits one node pair. A fraction of one
  // path with no node of the other goes into the other's segment that spans it.
  std::size_t i = 0, j = 0;
  auto seg_of = [](std::size_t next, std::size_t segments) { return std::min(next == 0 ? 0 : next - 1, segments == 0 ? 0 : segments - 1); };
  while (i < fa.size() || j < fb.size()) {
    if (i < fa.size() && j < fb.size() && std::fabs(fa[i] - fb[j]) <= kMatchFractionEpsilon) {
      plexa::grow::Append(params, fa[i]);
      ++i, ++j;
    } else if (j >= fb.size() || (i < fa.size() && fa[i] < fb[j])) {
      plexa::grow::Append(params, fa[i]);
      insB[seg_of(j, lb.size())].push_back(fa[i]);
      ++i;
    } else {
      plexa::grow::Append(params, fb[j]);
      insA[seg_of(i, la.size())].push_back(fb[j]);
      ++j;
    }
  }
  BuildWithInserts(a, fa, la, insA, ta, a2);
  BuildWithInserts(b, fb, lb, insB, tb, b2);
  return true;
}

void Interpolate(CPolyPolyBezier& out, int steps, const CBPointArray& a, const CBPointArray& b, bool withEnds) {
  out.RemoveAll();
  CBPointArray a2, b2;
  CArray<double, const double&> params;
  if (!MatchPoints(a, b, a2, b2, params)) return;
  if (withEnds) plexa::grow::Append(out, std::make_unique<CBPointArray>(a2).release());
  steps = std::min(steps, kMaxInterpolateSteps);
  const INT_PTR n = std::min(a2.GetSize(), b2.GetSize());
  for (int k = 1; k <= steps; ++k) {
    const double t = static_cast<double>(k) / (steps + 1);
    auto path = std::make_unique<CBPointArray>();
    path->SetSize(n);
    for (INT_PTR i = 0; i < n; ++i) (*path)[i] = CBezierPoint::Lerp(t, a2[i], b2[i]);
    plexa::grow::Append(out, path.release());
  }
  if (withEnds) plexa::grow::Append(out, std::make_unique<CBPointArray>(b2).release());
}

// ---- Node insertion ----------------------------------------------------------------------

int AddPointToPolyBezier(CBPointArray& path, int seg, double t) {
  if (path.GetSize() < 2 || seg < 0 || seg > path.GetSize() - 2 || std::isnan(t)) return -1;
  t = std::clamp(t, 0.0, 1.0);
  if (t < kInsertEndT) return seg;
  if (t > 1 - kInsertEndT) return seg + 1;
  return SplitSegmentAt(path, seg, t);
}

int AddPointToPolyBezier(CBPointArray& path, int seg, const CDPOINT& p) {
  if (path.GetSize() < 2 || seg < 0 || seg > path.GetSize() - 2) return -1;
  return AddPointToPolyBezier(path, seg, Segment(path, seg).GetNearestCurvePointT2(p, nullptr));
}

int AddPointToPolyBezier(CBPointArray& path, const CDPOINT& p) {
  int seg;
  double t;
  if (GetCurvePointSegmentT(path, p, seg, t) < 0) return -1;
  return AddPointToPolyBezier(path, seg, t);
}

int AddPointToPolyBezier(CBPointArray& path, const CArray<CDPOINT>& pts, const CDWordArray& segEnds, int index) {
  if (index < 0 || index >= pts.GetSize()) return -1;
  const INT_PTR segments = std::min<INT_PTR>(segEnds.GetSize(), path.GetSize() - 1);
  for (INT_PTR s = 0; s < segments; ++s)
    if (segEnds[s] > static_cast<DWORD>(index)) return AddPointToPolyBezier(path, static_cast<int>(s), pts[index]);
  return -1;
}

// ---- Positions along a path --------------------------------------------------------------

double GetBPointArrayTangentAngle(const CBPointArray& path, int seg, double t) {
  const int segments = static_cast<int>(path.GetSize()) - 1;
  if (segments < 1 || std::isnan(t)) return 0;
  seg = std::clamp(seg, 0, segments - 1);
  t = std::clamp(t, 0.0, 1.0);
  auto has_direction = [&](int s) {
    const CBezier b = Segment(path, s);
    const CDPOINT* q = b.GetPoints();
    return !(Coincide(q[0], q[1]) && Coincide(q[0], q[2]) && Coincide(q[0], q[3]));
  };
  if (has_direction(seg)) return Segment(path, seg).GetCurveTangentAngle(t);
  for (int d = 1; d < segments; ++d) {
    for (int s : {seg + d, seg - d}) {
      if (s < 0 || s >= segments || !has_direction(s)) continue;
      const CBezier b = Segment(path, s);
      const CDPOINT c = b.GetPoint3() - b.GetPoint0();
      if (!Coincide(c, CDPOINT())) return std::atan2(c.y, c.x);
      return b.GetCurveTangentAngle(s > seg ? 0.0 : 1.0);
    }
  }
  return 0;
}

double GetCurvePointSegmentT(const CBPointArray& path, const CDPOINT& p, int& seg, double& t) {
  seg = -1;
  t = 0;
  if (path.GetSize() < 2) return -1;
  double best = 0;
  for (int s = 0; s + 1 < path.GetSize(); ++s) {
    double d = 0;
    const double ts = Segment(path, s).GetNearestCurvePointT2(p, &d);
    if (seg < 0 || d < best) seg = s, t = ts, best = d;
  }
  return best;
}

double GetSegmentT2PathPos(const CBPointArray& path, int seg, double t) {
  const int segments = static_cast<int>(path.GetSize()) - 1;
  if (segments < 1) return 0;
  seg = std::clamp(seg, 0, segments - 1);
  t = std::isnan(t) ? 0.0 : std::clamp(t, 0.0, 1.0);
  double pos = 0;
  for (int s = 0; s < seg; ++s) pos += Segment(path, s).GetLength();
  return pos + Segment(path, seg).GetLength(0, t, 10);
}

CDPOINT GetPointFromPosition(const CBPointArray& path, double pos, int* seg, double* t) {
  if (seg) *seg = -1;
  if (t) *t = 0;
  if (path.GetSize() < 2) return path.IsEmpty() ? CDPOINT() : path[0].anchor;
  CBPointArrayMath math(path);
  int s = 0;
  double ts = 0;
  math.Locate(pos, s, ts);
  if (seg) *seg = s;
  if (t) *t = ts;
  return Segment(path, s).GetCurvePoint(ts);
}

CDPOINT GetPoint(const CPolyPolyDPoint& set, int i, int j, double t) {
  const CArray<CDPOINT>* line = set.GetAt(i);
  if (line == nullptr || j < 0 || j >= line->GetSize()) return CDPOINT();
  if (j == line->GetSize() - 1) return (*line)[j];
  const CDPOINT& a = (*line)[j];
  const CDPOINT& b = (*line)[j + 1];
  return a + (b - a) * t;
}

CDPOINT AveragePoint(const CBPointArray& path, bool flattened, double resolution) {
  if (path.IsEmpty()) return CDPOINT();
  const bool closed = path.IsPolyBezierClosed();
  CArray<CDPOINT> pts;
  if (flattened) {
    CDWordArray ends;
    path.ExecuteBPointArrayT(pts, ends, resolution);
    if (pts.IsEmpty()) plexa::grow::Append(pts, path[0].anchor);
  } else {
    for (const CBPOINT& node : path) plexa::grow::Append(pts, node.anchor);
  }
  INT_PTR n = pts.GetSize();
  if (closed && n > 1) --n;  // the closing repeat
  CDPOINT sum;
  for (INT_PTR k = 0; k < n; ++k) sum += pts[k];
  return sum / static_cast<double>(n);
}

// ---- Shape conversions -------------------------------------------------------------------

void CalcBezierPoints(CBPointArray* path, int tension) {
  if (path == nullptr || path->GetSize() < 2) return;
  CBPointArray& p = *path;
  const int n = static_cast<int>(p.GetSize());
  const bool closed = p.IsPolyBezierClosed();
  const double k = std::clamp(tension, 0, 200) / 600.0;
  std::vector<CDPOINT> anchors;
  for (const CBPOINT& node : p) anchors.push_back(node.anchor);
  for (int i = 0; i < n; ++i) {
    int prev = i - 1, next = i + 1;
    if (closed) {
      if (i == 0 || i == n - 1) prev = n - 2, next = 1;
    } else {
      prev = std::max(prev, 0);
      next = std::min(next, n - 1);
    }
    const CDPOINT d = (anchors[static_cast<std::size_t>(next)] - anchors[static_cast<std::size_t>(prev)]) * k;
    p[i].in = anchors[static_cast<std::size_t>(i)] - d;
    p[i].out = anchors[static_cast<std::size_t>(i)] + d;
  }
}

namespace {
// Appends the quadratic control and end point of one cubic piece, halving it until the
// quadratic stays within kQuadraticTolerance: for the control (3 (P1 + P2) - P0 - P3) / 4 the
// distance is at most sqrt(3) / 36 |P3 - 3 P2 + 3 P1 - P0|.
void AppendQuadratic(const CBezier& c, CArray<CDPOINT>& out, int depth) {
  const CDPOINT* q = c.GetPoints();
  const CDPOINT d = q[3] - q[2] * 3 + q[1] * 3 - q[0];
  const double err = std::sqrt(3.0) / 36.0 * std::hypot(d.x, d.y);
  if (depth < kQuadraticMaxDepth && err > kQuadraticTolerance) {
    CBezier left, right;
    c.Split(0.5, left, right);
    AppendQuadratic(left, out, depth + 1);
    AppendQuadratic(right, out, depth + 1);
    return;
  }
  plexa::grow::Append(out, ((q[1] + q[2]) * 3 - q[0] - q[3]) / 4);
  plexa::grow::Append(out, q[3]);
}
}  // namespace

void TripleToQuadraticBezier(CBPointArray* path, CArray<CDPOINT>& out) {
  out.RemoveAll();
  if (path == nullptr || path->IsEmpty()) return;
  plexa::grow::Append(out, (*path)[0].anchor);
  for (INT_PTR s = 0; s + 1 < path->GetSize(); ++s) AppendQuadratic(Segment(*path, s), out, 0);
}

bool SetStartingPoint(CBPointArray& path, int k) { return path.SetStartingPoint(k); }

// ---- Sub-paths and joins -----------------------------------------------------------------

int AreBPointArraysAdjacent(const CBPointArray& a, const CBPointArray& b, double tol) {
  if (a.GetSize() < 2 || b.GetSize() < 2 || a.IsPolyBezierClosed() || b.IsPolyBezierClosed()) return kAdjacentNone;
  const double t = std::isnan(tol) ? kPathSetEpsilon : std::max(tol, kPathSetEpsilon);
  const CDPOINT& as = a[0].anchor;
  const CDPOINT& ae = a[a.GetUpperBound()].anchor;
  const CDPOINT& bs = b[0].anchor;
  const CDPOINT& be = b[b.GetUpperBound()].anchor;
  if (Coincide(ae, bs, t)) return kAdjacentEndStart;
  if (Coincide(ae, be, t)) return kAdjacentEndEnd;
  if (Coincide(as, bs, t)) return kAdjacentStartStart;
  if (Coincide(as, be, t)) return kAdjacentStartEnd;
  return kAdjacentNone;
}

namespace {
// first + second, the end node of first and the start node of second made one.
CBPointArray Concatenate(const CBPointArray& first, const CBPointArray& second) {
  CBPointArray out(first);
  out[out.GetUpperBound()].out = second[0].out;
  for (INT_PTR i = 1; i < second.GetSize(); ++i) plexa::grow::Append(out, second[i]);
  return out;
}
}  // namespace

bool JoinAdjacentBPointArrays(CBPointArray& a, const CBPointArray& b, double tol) {
  const int how = AreBPointArraysAdjacent(a, b, tol);
  if (how == kAdjacentNone) return false;
  CBPointArray first(a), second(b);
  switch (how) {
    case kAdjacentEndEnd: second.MakeReverse(); break;
    case kAdjacentStartStart: first.MakeReverse(); break;
    case kAdjacentStartEnd: std::swap(first, second); break;
    default: break;
  }
  CBPointArray joined = Concatenate(first, second);
  const double t = std::isnan(tol) ? kPathSetEpsilon : std::max(tol, kPathSetEpsilon);
  const INT_PTR last = joined.GetUpperBound();
  if (joined.GetSize() >= 3 && Coincide(joined[last].anchor, joined[0].anchor, t)) {
    joined[last].anchor = joined[0].anchor;
    joined[last].out = joined[0].out;
  }
  a = std::move(joined);
  return true;
}

int MergePolyBezierCurves(CPolyPolyBezier& set, double tol) {
  for (int i = static_cast<int>(set.GetSize()); i-- > 0;)
    if (set.GetAt(i) == nullptr) set.RemoveAt(i);
  int joins = 0;
  for (int i = 0; i < set.GetSize(); ++i) {
    bool joined = true;
    while (joined) {  // every join removes a path, so this ends
      joined = false;
      for (int j = i + 1; j < set.GetSize(); ++j) {
        if (JoinAdjacentBPointArrays(*set.GetAt(i), *set.GetAt(j), tol)) {
          set.RemoveAt(j);
          ++joins;
          joined = true;
          break;
        }
      }
    }
  }
  return joins;
}

void ConnectPolyBezierCurves(const CPolyPolyBezier& set, CBPointArray& out) {
  CBPointArray result;
  for (int i = 0; i < set.GetSize(); ++i) {
    const CBPointArray* p = set.GetAt(i);
    if (p == nullptr || p->IsEmpty()) continue;
    if (result.IsEmpty()) {
      result.Copy(*p);
      continue;
    }
    CBPOINT& tail = result[result.GetUpperBound()];
    const CBPOINT& head = (*p)[0];
    if (Coincide(tail.anchor, head.anchor)) {
      tail.out = head.out;
    } else {
      tail.out = tail.anchor;
      plexa::grow::Append(result, CBPOINT(head.anchor, head.anchor, head.out));
      result[result.GetUpperBound()].attr = head.attr;
    }
    for (INT_PTR k = 1; k < p->GetSize(); ++k) plexa::grow::Append(result, (*p)[k]);
  }
  out = std::move(result);
}

bool IsSubPolyBezier(const CBPointArray& path, const CBPointArray& sub, double tol) {
  if (path.IsEmpty() || sub.IsEmpty()) return false;
  int first, last;
  if (path.IsSubset(sub, first, last, tol)) return true;
  CBPointArray rev(sub);
  rev.MakeReverse();
  return path.IsSubset(rev, first, last, tol);
}

namespace {
// Nodes from i1 forwards over `count` segments of a closed path with m distinct nodes.
CBPointArray ForwardPiece(const CBPointArray& path, int i1, int count, int m) {
  CBPointArray out;
  plexa::grow::Append(out, path[i1]);
  int s = i1;
  for (int k = 0; k < count; ++k) {
    out[out.GetUpperBound()].out = path[s].out;
    plexa::grow::Append(out, path[s + 1]);
    s = s + 1 == m ? 0 : s + 1;
  }
  return out;
}
}  // namespace

bool GetMinSubCurve(const CBPointArray& path, int i1, int i2, CBPointArray& out) {
  out.RemoveAll();
  const int n = static_cast<int>(path.GetSize());
  if (n < 2 || i1 < 0 || i2 < 0 || i1 >= n || i2 >= n || i1 == i2) return false;
  if (path.IsPolyBezierClosed()) {
    const int m = n - 1;
    const int a = i1 % m, b = i2 % m;  // the closing node is node 0
    if (a == b) return false;
    CBPointArray forward = ForwardPiece(path, a, GetPointsDistance(a, b, m), m);
    CBPointArray backward = ForwardPiece(path, b, GetPointsDistance(b, a, m), m);
    backward.MakeReverse();
    out = backward.CalcLength() < forward.CalcLength() ? std::move(backward) : std::move(forward);
    return true;
  }
  const int lo = std::min(i1, i2), hi = std::max(i1, i2);
  for (int k = lo; k <= hi; ++k) plexa::grow::Append(out, path[k]);
  if (i1 > i2) out.MakeReverse();
  return true;
}
