#include "plexa/geom/polypoly.h"

#include <algorithm>
#include <new>

#include "plexa/geom/bezier.h"

CBPointArray& CPolyPolyBezier::operator[](int i) const {
  CBPointArray* p = GetAt(i);
  if (p == nullptr) AfxThrowInvalidArgException();
  return *p;
}

void CPolyPolyBezier::AppendCurve(const CPolyPolyBezier& src) {
  const int n = static_cast<int>(src.GetSize());  // fixed first: src may be this set
  for (int i = 0; i < n; ++i)
    if (const CBPointArray* p = src.GetAt(i)) Add(std::make_unique<CBPointArray>(*p).release());
}

void CPolyPolyBezier::MakeReverse(bool reverseEach) {
  const INT_PTR n = GetSize();
  void** d = GetData();
  for (INT_PTR i = 0; i < n / 2; ++i) std::swap(d[i], d[n - 1 - i]);
  if (!reverseEach) return;
  for (int i = 0; i < n; ++i)
    if (CBPointArray* p = GetAt(i)) p->MakeReverse();
}

void CPolyPolyBezier::SetOrientation(bool clockwise) {
  for (int i = 0; i < GetSize(); ++i)
    if (CBPointArray* p = GetAt(i)) p->SetOrientation(clockwise);
}

void CPolyPolyBezier::ApplyTransformation(CView3D& view) {
  for (int i = 0; i < GetSize(); ++i)
    if (CBPointArray* p = GetAt(i)) p->ApplyTransformation(view);
}

void CPolyPolyBezier::CalcFrame(PLEXA::CDRECT& rc, double resolution) const {
  CArray<PLEXA::CDPOINT, PLEXA::CDPOINT> pts;
  for (INT_PTR i = 0; i < GetSize(); ++i) {
    const CBPointArray* path = GetAt(static_cast<int>(i));
    if (path == nullptr) continue;
    const PLEXA::CBPOINT* nodes = path->GetData();
    for (INT_PTR j = 0; j + 1 < path->GetSize(); ++j) {
      CBezier seg(nodes[j], nodes[j + 1]);
      seg.SetResolution(resolution);
      seg.GetPolyline(pts);
    }
  }
  if (pts.IsEmpty()) return;
  PLEXA::CDRECT box(pts[0].x, pts[0].x, pts[0].y, pts[0].y);
  for (const PLEXA::CDPOINT& p : pts) {
    box.xmin = std::min(box.xmin, p.x);
    box.xmax = std::max(box.xmax, p.x);
    box.ymin = std::min(box.ymin, p.y);
    box.ymax = std::max(box.ymax, p.y);
  }
  rc = box;
}

void CPolyPolyDPoint::ApplyTransformation(CView3D& view) {
  for (int i = 0; i < GetSize(); ++i) {
    if (auto* line = GetAt(i)) {
      for (PLEXA::CDPOINT& p : *line) {
        view.Transfer(p.x, p.y, 0.0);
        p.x = view.x();
        p.y = view.y();
      }
    }
  }
}

void ReverseArrays(CPolyPolyBezier& set) {
  for (int i = 0; i < set.GetSize(); ++i)
    if (CBPointArray* p = set.GetAt(i)) p->MakeReverse();
}

void RemoveSamePoints(CPolyPolyBezier& set, double tol) {
  for (int i = 0; i < set.GetSize(); ++i)
    if (CBPointArray* p = set.GetAt(i)) p->RemoveSamePoints(tol);
}

void ReverseArray(CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts) {
  const INT_PTR n = pts.GetSize();
  PLEXA::CDPOINT* d = pts.GetData();
  for (INT_PTR i = 0; i < n / 2; ++i) d[i] = d[n - 1 - i];
}

int IsPointInPolyPolyBezier(const CPolyPolyBezier& set, const tagPOINT& p, bool evenOdd) {
  int count = 0;
  for (int i = 0; i < set.GetSize(); ++i) {
    const CBPointArray* path = set.GetAt(i);
    if (path == nullptr || !IsPointInPolygon(*path, p)) continue;
    if (!evenOdd) return 1;
    ++count;
  }
  return count & 1;
}

PLEXA::CDRECT GetPolyPolyBezierRect(const CPolyPolyBezier& set, double) {
  PLEXA::CDRECT r;
  for (int i = 0; i < set.GetSize(); ++i) {
    const CBPointArray* path = set.GetAt(i);
    if (path == nullptr) continue;
    const PLEXA::CDRECT q = path->GetPolyBezierRect(1.0);
    if (r.xmax - r.xmin == 0 && r.ymax - r.ymin == 0) {
      r = q;
    } else {
      r.xmin = std::min(r.xmin, q.xmin), r.xmax = std::max(r.xmax, q.xmax);
      r.ymin = std::min(r.ymin, q.ymin), r.ymax = std::max(r.ymax, q.ymax);
    }
  }
  return r;
}

CBPointArray* CreateBParFromDrect(const PLEXA::CDRECT& r) {
  try {
    auto path = std::make_unique<CBPointArray>();
    CBPointArray::GetRectBPoints(r, *path);
    return path.release();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
