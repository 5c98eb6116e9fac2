// Pieces of a path between curve positions, splitting at a length, subsets and blends.
#include <algorithm>
#include <cmath>
#include <utility>

#include "plexa/core/internal/numerics.h"
#include "plexa/geom/path.h"
#include "plexa/platform/internal/grow.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

CBezier Segment(const CBPointArray& p, INT_PTR i) {
  return CBezier(p.GetData()[i], p.GetData()[i + 1]);
}

double Clamp01(double t) {
  return std::isnan(t) ? 0.0 : std::clamp(t, 0.0, 1.0);
}

// Appends the forward piece from (i1, t1) to (i2, t2), with (i1, t1) <= (i2, t2). When out
// already ends at the piece's start anchor, the piece's first node is merged into that
// last node (its outgoing control replaced) instead of being appended.
void AppendPiece(const CBPointArray& p, INT_PTR i1, double t1, INT_PTR i2, double t2,
                 CBPointArray& out, bool merge) {
  // A cut at the very end of a segment is the start of the next, and vice versa, so inner
  // nodes stay whole copies.
  if (t1 == 1 && i1 < i2) ++i1, t1 = 0;
  if (t2 == 0 && i2 > i1) --i2, t2 = 1;
  auto put_first = [&](const CBPOINT& n) {
    if (merge && !out.IsEmpty())
      out[out.GetUpperBound()].out = n.out;
    else
      plexa::grow::Append(out, n);
  };
  if (i1 == i2) {
    CBezier part;
    Segment(p, i1).Split(t1, t2, part);
    const CDPOINT* q = part.GetPoints();
    put_first(CBPOINT(q[0], q[0], q[1]));
    plexa::grow::Append(out, CBPOINT(q[2], q[3], q[3]));
    return;
  }
  CBezier left, right;
  Segment(p, i1).Split(t1, left, right);
  put_first(CBPOINT(right.GetPoint0(), right.GetPoint0(), right.GetPoint1()));
  const INT_PTR firstInner = out.GetSize();
  for (INT_PTR k = i1 + 1; k <= i2; ++k) plexa::grow::Append(out, p.GetData()[k]);
  out[firstInner].in = right.GetPoint2();
  Segment(p, i2).Split(t2, left, right);
  out[out.GetUpperBound()].out = left.GetPoint1();
  plexa::grow::Append(out, CBPOINT(left.GetPoint2(), left.GetPoint3(), left.GetPoint3()));
}

}  // namespace

void CBPointArray::SplitBPointArray(int i1, double t1, int i2, double t2, CBPointArray& out) const {
  out.RemoveAll();
  const INT_PTR segments = GetSize() - 1;
  if (segments < 1) return;
  INT_PTR a = std::clamp<INT_PTR>(i1, 0, segments - 1),
          b = std::clamp<INT_PTR>(i2, 0, segments - 1);
  t1 = Clamp01(t1), t2 = Clamp01(t2);
  const bool backwards = a > b || (a == b && t1 > t2);
  if (!backwards) {
    AppendPiece(*this, a, t1, b, t2, out, false);
  } else if (IsPolyBezierClosed()) {
    AppendPiece(*this, a, t1, segments - 1, 1.0, out, false);
    AppendPiece(*this, 0, 0.0, b, t2, out, true);
  } else {
    AppendPiece(*this, b, t2, a, t1, out, false);
  }
}

void CBPointArray::SplitBPointArray(double pos1, double pos2, CBPointArray& out) const {
  out.RemoveAll();
  CBPointArrayMath math(*this);
  int i1, i2;
  double t1, t2;
  if (!math.Locate(pos1, i1, t1) || !math.Locate(pos2, i2, t2)) return;
  SplitBPointArray(i1, t1, i2, t2, out);
}

void CBPointArray::SplitBPointArray(double pos, CBPointArray& a, CBPointArray& b) const {
  CBPointArrayMath math(*this);
  math.Split(pos, a, b);
}

void CBPointArrayMath::Analyse() {
  m_ends.RemoveAll();
  double sum = 0;
  for (INT_PTR i = 0; i + 1 < m_path.GetSize(); ++i) {
    sum += Segment(m_path, i).GetLength();
    plexa::grow::Append(m_ends, sum);
  }
  m_analysed = true;
}

double CBPointArrayMath::GetLength() {
  if (!m_analysed) Analyse();
  return m_ends.IsEmpty() ? 0.0 : m_ends[m_ends.GetUpperBound()];
}

bool CBPointArrayMath::Locate(double pos, int& segment, double& t) {
  if (!m_analysed) Analyse();
  if (m_ends.IsEmpty()) return false;
  const double total = m_ends[m_ends.GetUpperBound()];
  if (!(pos > 0)) pos = 0;  // NaN counts as the start
  pos = std::min(pos, total);
  const double* e = m_ends.GetData();
  const INT_PTR n = m_ends.GetSize();
  INT_PTR i = std::lower_bound(e, e + n, pos) - e;
  if (i >= n) i = n - 1;
  const double before = i == 0 ? 0.0 : e[i - 1];
  const double len = e[i] - before;
  segment = static_cast<int>(i);
  // Exact ends where the position falls on a node; the bisection only between them.
  t = pos >= e[i]                     ? 1.0
      : (pos <= before || !(len > 0)) ? 0.0
                                      : Segment(m_path, i).GetTFromLength(pos - before);
  return true;
}

bool CBPointArrayMath::Split(double pos, CBPointArray& a, CBPointArray& b) {
  a.RemoveAll();
  b.RemoveAll();
  int i;
  double t;
  if (!Locate(pos, i, t)) return false;
  const int last = static_cast<int>(m_path.GetSize()) - 2;
  m_path.SplitBPointArray(0, 0.0, i, t, a);
  m_path.SplitBPointArray(i, t, last, 1.0, b);
  return true;
}

bool CBPointArray::IsSubset(const CBPointArray& other, int& first, int& last, double tol) const {
  first = last = -1;
  const INT_PTR n = GetSize(), k = other.GetSize();
  if (n == 0 || k == 0) return false;
  const bool closed = IsPolyBezierClosed();
  const INT_PTR cycle = closed ? n - 1 : n;  // distinct nodes of a closed path
  if (!closed && k > n) return false;
  auto near = [tol](const CDPOINT& p, const CDPOINT& q) { return plexa::num::Dist(p, q) <= tol; };
  for (INT_PTR s = 0; s < cycle; ++s) {
    if (!closed && s + k > n) break;
    bool all = true;
    for (INT_PTR j = 0; j < k && all; ++j)
      all = near(GetData()[(s + j) % cycle].anchor, other.GetData()[j].anchor);
    if (!all) continue;
    first = static_cast<int>(s);
    last = static_cast<int>((s + k - 1) % cycle);
    // A run that ends on the first node of a closed path ends on its closing repeat too;
    // report the closing node when the run came round to it.
    if (closed && k > 1 && last == 0) last = static_cast<int>(n - 1);
    return true;
  }
  return false;
}

namespace {

// Splits the longest segments (by length) of p in half until it has n nodes; a one-node
// path gets copies of its node.
CBPointArray Refined(const CBPointArray& p, INT_PTR n) {
  CBPointArray r(p);
  while (r.GetSize() < n) {
    if (r.GetSize() < 2) {
      plexa::grow::Append(r, r[0]);
      continue;
    }
    INT_PTR longest = 0;
    double most = -1;
    for (INT_PTR i = 0; i + 1 < r.GetSize(); ++i) {
      const double len = Segment(r, i).GetLength();
      if (len > most) most = len, longest = i;
    }
    CBezier left, right;
    Segment(r, longest).Split(0.5, left, right);
    r[longest].out = left.GetPoint1();
    r[longest + 1].in = right.GetPoint2();
    r.InsertAt(longest + 1, CBPOINT(left.GetPoint2(), left.GetPoint3(), right.GetPoint1()));
  }
  return r;
}

void Blend(CBPointArray& out, const CBPointArray& p, const CBPointArray& q, bool varying,
           double t) {
  if (p.IsEmpty() || q.IsEmpty()) {
    const CBPointArray copy(p.IsEmpty() ? q : p);  // p or q may be out itself
    out.Copy(copy);
    return;
  }
  const INT_PTR n = std::max(p.GetSize(), q.GetSize());
  const CBPointArray a = Refined(p, n), b = Refined(q, n);
  out.SetSize(n);
  for (INT_PTR i = 0; i < n; ++i) {
    const double w =
        varying ? (n > 1 ? static_cast<double>(i) / static_cast<double>(n - 1) : 0.0) : t;
    out[i] = CBezierPoint::Lerp(w, a[i], b[i]);
  }
}

}  // namespace

void CBPointArray::Interpolate(double t, const CBPointArray& p, const CBPointArray& q) {
  Blend(*this, p, q, false, t);
}

void CBPointArray::InterpolateVaring(const CBPointArray& p, const CBPointArray& q) {
  Blend(*this, p, q, true, 0);
}
