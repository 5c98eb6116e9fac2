#include "plexa/geom/path.h"

#include <cmath>
#include <utility>
#include <vector>

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using PLEXA::kCoincide;

namespace {

bool Near(const CDPOINT& a, const CDPOINT& b, double tol) {
  return std::fabs(a.x - b.x) <= tol && std::fabs(a.y - b.y) <= tol;
}

}  // namespace

bool CBPointArray::operator==(const CBPointArray& other) const {
  if (GetSize() != other.GetSize()) return false;
  const auto within = [](const CDPOINT& a, const CDPOINT& b) {
    return std::fabs(a.x - b.x) < kCoincide && std::fabs(a.y - b.y) < kCoincide;
  };
  for (INT_PTR i = 0; i < GetSize(); ++i) {
    const CBPOINT& a = GetData()[i];
    const CBPOINT& b = other.GetData()[i];
    if (!within(a.in, b.in) || !within(a.anchor, b.anchor) || !within(a.out, b.out)) return false;
  }
  return true;
}

bool CBPointArray::IsPolyBezierClosed() const {
  const INT_PTR n = GetSize();
  if (n < 3) return false;
  const CDPOINT& a = GetData()[0].anchor;
  const CDPOINT& b = GetData()[n - 1].anchor;
  return std::fabs(a.x - b.x) < kCoincide && std::fabs(a.y - b.y) < kCoincide;
}

double CBPointArray::OrientationSum() const {
  const INT_PTR n = GetSize();
  double s = 0.0;
  for (INT_PTR i = 0; i < n; ++i) {
    const CDPOINT& p = GetData()[i].anchor;
    const CDPOINT& q = GetData()[(i + 1) % n].anchor;
    s += (q.x - p.x) * (q.y + p.y);
  }
  return s;
}

bool CBPointArray::IsClockwise() const {
  return OrientationSum() <= 0.0;
}

void CBPointArray::ApplyTransformation(CView3D& view) {
  for (CBPOINT& node : *this) {
    for (CDPOINT* p : {&node.in, &node.anchor, &node.out}) {
      view.Transfer(p->x, p->y, 0.0);
      p->x = view.x();
      p->y = view.y();
    }
  }
}

void CBPointArray::MakeReverse() {
  const INT_PTR n = GetSize();
  CBPOINT* d = GetData();
  for (INT_PTR i = 0; i < n / 2; ++i) std::swap(d[i], d[n - 1 - i]);
  for (INT_PTR i = 0; i < n; ++i) std::swap(d[i].in, d[i].out);
}

int CBPointArray::SetOrientation(bool clockwise) {
  if (GetSize() < 2) return 0;
  if ((OrientationSum() <= 0.0) == clockwise) return 0;
  MakeReverse();
  return 1;
}

void CBPointArray::RemoveSamePoints(double tol) {
  // Removing from the end backwards compares each node with the next node that survives (the
  // later node of a run). One backward pass marks, one forward pass compacts: linear, where
  // removing nodes one at a time would move the tail once per removal.
  const INT_PTR n = GetSize();
  if (n < 2) return;
  CBPOINT* d = GetData();
  std::vector<bool> keep(static_cast<std::size_t>(n), true);
  INT_PTR next = n - 1;
  for (INT_PTR i = n - 2; i >= 0; --i) {
    const CBPOINT& a = d[i];
    const CBPOINT& b = d[next];
    if (Near(a.in, b.in, tol) && Near(a.anchor, b.anchor, tol) && Near(a.out, b.out, tol))
      keep[static_cast<std::size_t>(i)] = false;
    else
      next = i;
  }
  INT_PTR kept = 0;
  for (INT_PTR i = 0; i < n; ++i)
    if (keep[static_cast<std::size_t>(i)]) d[kept++] = d[i];
  SetSize(kept);
}
