// Path sets: segment lengths, quantising, duplicates, blends and node insertion.
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
#include "plexa/geom/pathset.h"
#include "plexa/platform/internal/grow.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

using namespace plexa::pathset;  // NOLINT: the shared private helpers

namespace {

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
  for (INT_PTR i = 0; i + 1 < n; ++i)
    total += segLengths[static_cast<std::size_t>(i)] = Segment(p, i).GetLength();
  double run = 0;
  for (INT_PTR i = 1; i < n; ++i) {
    run += segLengths[static_cast<std::size_t>(i - 1)];
    f[static_cast<std::size_t>(i)] =
        total > kPathSetEpsilon ? run / total : static_cast<double>(i) / static_cast<double>(n - 1);
  }
  if (n > 1) f.back() = 1.0;
  return f;
}

// Builds a path from src with new nodes at the given fractions inside each segment.
// inserts[s] lists ascending fractions strictly between node s and node s + 1.
void BuildWithInserts(const CBPointArray& src, const std::vector<double>& fr,
                      const std::vector<double>& lens,
                      const std::vector<std::vector<double>>& inserts, double total,
                      CBPointArray& out) {
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
      if (total > kPathSetEpsilon && len > 0)
        t = seg.GetTFromLength((u - fr[static_cast<std::size_t>(s)]) * total);
      else
        t = (u - fr[static_cast<std::size_t>(s)]) /
            (fr[static_cast<std::size_t>(s) + 1] - fr[static_cast<std::size_t>(s)]);
      if (!std::isfinite(t)) t = 0.5;
      t = std::clamp(t, ts.empty() ? 0.0 : ts.back(), 1.0);
      ts.push_back(t);
    }
    double t0 = 0;
    for (std::size_t k = 0; k <= ts.size(); ++k) {
      const double t1 = k < ts.size() ? ts[k] : 1.0;
      CBezier part;
      if (t0 < 1)
        seg.Split(t0, t1, part);
      else
        part = CBezier(seg.GetPoint3(), seg.GetPoint3(), seg.GetPoint3(),
                       seg.GetPoint3());  // Split(1, 1) is not defined
      out[out.GetUpperBound()].out = part.GetPoint1();
      if (k < ts.size())
        plexa::grow::Append(out, CBPOINT(part.GetPoint2(), part.GetPoint3(), part.GetPoint3()));
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
    if (it->depth < kMaxLengthSplitDepth && count < kMaxLengthSegmentCeiling &&
        it->seg.GetLength() > maxLen) {
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
    if (Coincide(path[i].anchor, kept.anchor))
      kept.out = path[i].out;
    else
      plexa::grow::Append(out, path[i]);
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
  std::vector<std::vector<double>> insA(std::max<std::size_t>(la.size(), 1)),
      insB(std::max<std::size_t>(lb.size(), 1));
  // Merge the two ascending fraction lists; each step emits one node pair. A fraction of one
  // path with no node of the other goes into the other's segment that spans it.
  std::size_t i = 0, j = 0;
  auto seg_of = [](std::size_t next, std::size_t segments) {
    return std::min(next == 0 ? 0 : next - 1, segments == 0 ? 0 : segments - 1);
  };
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

void Interpolate(CPolyPolyBezier& out, int steps, const CBPointArray& a, const CBPointArray& b,
                 bool withEnds) {
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

int AddPointToPolyBezier(CBPointArray& path, const CArray<CDPOINT>& pts, const CDWordArray& segEnds,
                         int index) {
  if (index < 0 || index >= pts.GetSize()) return -1;
  const INT_PTR segments = std::min<INT_PTR>(segEnds.GetSize(), path.GetSize() - 1);
  for (INT_PTR s = 0; s < segments; ++s)
    if (segEnds[s] > static_cast<DWORD>(index))
      return AddPointToPolyBezier(path, static_cast<int>(s), pts[index]);
  return -1;
}
