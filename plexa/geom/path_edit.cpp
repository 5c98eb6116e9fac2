// Node-level editing of one path: restarting, moving anchors, polylines, comparison, splits.
#include <algorithm>
#include <cmath>
#include <utility>

#include "plexa/core/internal/numerics.h"
#include "plexa/geom/path.h"
#include "plexa/platform/internal/grow.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

// FindBPoint's per-coordinate search radius.
constexpr double kFindRadius = 0.001;
// MakeProperPolyline's handle fraction: 0.333, deliberately not one third.
constexpr double kProperHandle = 0.333;

using plexa::num::Dist;

bool Within(const CDPOINT& a, const CDPOINT& b, double tol) {
  return std::fabs(a.x - b.x) < tol && std::fabs(a.y - b.y) < tol;
}

// The scale and turn that carry A - O onto B - O.
void ScaleTurn(const CDPOINT& O, const CDPOINT& A, const CDPOINT& B, double& s, double& theta) {
  const double la = Dist(A, O);
  s = la == 0 ? 1.0 : Dist(B, O) / la;
  theta = std::atan2(B.y - O.y, B.x - O.x) - std::atan2(A.y - O.y, A.x - O.x);
}

CDPOINT Turn(const CDPOINT& v, double theta) {
  const double c = std::cos(theta), s = std::sin(theta);
  return CDPOINT(v.x * c - v.y * s, v.x * s + v.y * c);
}

void AppendRange(const CBPointArray& src, INT_PTR from, INT_PTR to, CBPointArray& out) {
  const INT_PTR before = out.GetSize();
  for (INT_PTR i = from; i <= to; ++i) plexa::grow::Append(out, src.GetData()[i]);
  if (out.GetSize() - before == 1) plexa::grow::Append(out, src.GetData()[from]);
}

}  // namespace

int CBPointArray::FindBPoint(const CDPOINT& p) const {
  const INT_PTR n = GetSize();
  for (INT_PTR i = 0; i + 1 < n; ++i) {
    const CDPOINT& a = GetData()[i].anchor;
    if (std::fabs(a.x - p.x) <= kFindRadius && std::fabs(a.y - p.y) <= kFindRadius)
      return static_cast<int>(i);
  }
  return -1;
}

bool CBPointArray::SetStartingPoint(int k) {
  const INT_PTR n = GetSize();
  if (k < 0 || k >= n || n < 3) return false;
  const CBPOINT& first = GetData()[0];
  const CBPOINT& last = GetData()[n - 1];
  if (!Within(first.in, last.in, PLEXA::kCoincide) ||
      !Within(first.anchor, last.anchor, PLEXA::kCoincide) ||
      !Within(first.out, last.out, PLEXA::kCoincide))
    return false;
  const INT_PTR m = n - 1;
  CBPointArray rotated;
  rotated.SetSize(n);
  for (INT_PTR j = 0; j < m; ++j) rotated.GetData()[j] = GetData()[(j + k) % m];
  rotated.GetData()[m] = rotated.GetData()[0];
  Copy(rotated);
  return true;
}

void CBPointArray::MBPScaleRotate(const CDPOINT& O, CDPOINT& Q, const CDPOINT& A,
                                  const CDPOINT& B) {
  double s, theta;
  ScaleTurn(O, A, B, s, theta);
  Q = O + Turn((Q - O) * s, theta);
}

void CBPointArray::MBPScaleRotate2(const CDPOINT& A, const CDPOINT& B, const CDPOINT& O,
                                   CDPOINT& Q) {
  double s, theta;
  ScaleTurn(O, A, B, s, theta);
  Q = A + Turn((Q - A) * s, theta);
}

void CBPointArray::MoveBezierPoint(int i, const CDPOINT& p) {
  const INT_PTR n = GetSize();
  if (i < 0 || i >= n) return;
  CBPOINT* d = GetData();
  const CDPOINT A = d[i].anchor;
  const CDPOINT delta = p - A;
  if (delta.x == 0 && delta.y == 0) return;
  if (i == 0) {
    d[i].out += delta;
  } else {
    MBPScaleRotate(d[i - 1].anchor, d[i - 1].out, A, p);
    MBPScaleRotate2(A, p, d[i - 1].anchor, d[i].in);
  }
  if (i == n - 1) {
    d[i].in += delta;
  } else {
    MBPScaleRotate(d[i + 1].anchor, d[i + 1].in, A, p);
    MBPScaleRotate2(A, p, d[i + 1].anchor, d[i].out);
  }
  d[i].anchor = A + delta;
}

void CBPointArray::MakeProperPolyline() {
  const INT_PTR n = GetSize();
  CBPOINT* d = GetData();
  for (INT_PTR i = 0; i < n; ++i) {
    const CDPOINT a = d[i].anchor;
    d[i].in = i > 0 ? a + (d[i - 1].anchor - a) * kProperHandle : a;
    d[i].out = i < n - 1 ? a + (d[i + 1].anchor - a) * kProperHandle : a;
  }
}

bool CBPointArray::IsSame(const CBPointArray& other, double tol) const {
  if (GetSize() != other.GetSize()) return false;
  for (INT_PTR i = 0; i < GetSize(); ++i) {
    const CBPOINT& a = GetData()[i];
    const CBPOINT& b = other.GetData()[i];
    if (Dist(a.anchor, b.anchor) > tol || Dist(a.in, b.in) > tol || Dist(a.out, b.out) > tol)
      return false;
  }
  return true;
}

void CBPointArray::SplitBPointArray(int k, CBPointArray& a, CBPointArray& b) const {
  const INT_PTR n = GetSize();
  if (k < 0 || k >= n) return;
  AppendRange(*this, 0, k, a);
  AppendRange(*this, k, n - 1, b);
}

void CBPointArray::SplitBPointArray(int k1, int k2, CBPointArray& a, CBPointArray& b,
                                    CBPointArray& c) const {
  const INT_PTR n = GetSize();
  if (k1 > k2) std::swap(k1, k2);
  if (k1 < 0 || k2 >= n) return;
  AppendRange(*this, 0, k1, a);
  AppendRange(*this, k1, k2, b);
  AppendRange(*this, k2, n - 1, c);
}
