// Path sets: sub-paths, adjacency and joins.
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

// ---- Sub-paths and joins -----------------------------------------------------------------

int AreBPointArraysAdjacent(const CBPointArray& a, const CBPointArray& b, double tol) {
  if (a.GetSize() < 2 || b.GetSize() < 2 || a.IsPolyBezierClosed() || b.IsPolyBezierClosed())
    return kAdjacentNone;
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
    case kAdjacentEndEnd:
      second.MakeReverse();
      break;
    case kAdjacentStartStart:
      first.MakeReverse();
      break;
    case kAdjacentStartEnd:
      std::swap(first, second);
      break;
    default:
      break;
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
