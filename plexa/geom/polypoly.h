// The owning containers: arrays of pointers to heap-allocated arrays (paths, polylines,
// index and number lists), each element deleted by its container exactly once.
//
//   CPolyPolyBezier set;
//   auto* path = new CBPointArray;          // the container takes ownership on Add/SetAt
//   set.Add(path);
//   set.GetAt(7);                           // out of range: nullptr, no failure
//   CPolyPolyBezier copy(set);              // deep copy (CPolyPolyBezier only)
//
// Invariants: a non-null slot was allocated by the library or handed over by the caller and
// is deleted on RemoveAt, RemoveAll, replacement by SetAt/SetAtGrow and destruction. Null
// slots are allowed and tolerated by every method. Negative indexes are ignored silently;
// SetAt past the end raises CInvalidArgException before anything is deleted.
// Copy: CPolyPolyBezier skips a null source slot and goes on; the other five containers
// stop copying at the first null source slot. The difference is intended.
#pragma once

#include <memory>

#include "plexa/core/types.h"
#include "plexa/core/view3d.h"
#include "plexa/geom/path.h"
#include "plexa/platform/array.h"
#include "plexa/platform/export.h"

// The envelopes of the effects layer. Only named here: the ApplyEnvelop members below are
// defined with the envelopes (plexa/effects/envelope.cpp), so this layer includes nothing of
// the one above it.
class CEnvelop;
class CEnvelopEx;

template <typename T, bool kSkipNullOnCopy>
class CPolyPolyOf : public CPtrArray {
 public:
  using Element = T;

  CPolyPolyOf() = default;
  CPolyPolyOf(const CPolyPolyOf&) = delete;
  CPolyPolyOf& operator=(const CPolyPolyOf&) = delete;
  ~CPolyPolyOf() override { RemoveAll(); }

  INT_PTR GetSize() const { return CPtrArray::GetSize(); }

  // The element pointer, or nullptr when i is outside [0, size).
  T* GetAt(int i) const {
    if (i < 0 || i >= CPtrArray::GetSize()) return nullptr;
    return static_cast<T*>(CPtrArray::GetData()[i]);
  }

  // Takes ownership of p. Returns its index.
  INT_PTR Add(T* p) { return CPtrArray::Add(p); }

  void SetAt(int i, T* p) {
    if (i < 0) return;
    if (i >= CPtrArray::GetSize()) AfxThrowInvalidArgException();
    delete GetAt(i);
    CPtrArray::GetData()[i] = p;
  }

  void SetAtGrow(int i, T* p) {
    if (i < 0) return;
    if (i < CPtrArray::GetSize()) delete GetAt(i);
    CPtrArray::SetAtGrow(i, p);
  }

  void RemoveAt(int i) {
    if (i < 0 || i >= CPtrArray::GetSize()) return;
    if (T* p = GetAt(i)) {
      p->SetSize(0);
      delete p;
    }
    CPtrArray::RemoveAt(i);
  }

  void RemoveAll() {
    for (INT_PTR i = 0; i < CPtrArray::GetSize(); ++i)
      delete static_cast<T*>(CPtrArray::GetData()[i]);
    CPtrArray::SetSize(0);
  }

  void Copy(const CPolyPolyOf& src) {
    if (this == &src) return;
    RemoveAll();
    for (INT_PTR i = 0; i < src.CPtrArray::GetSize(); ++i) {
      const T* p = static_cast<const T*>(src.CPtrArray::GetData()[i]);
      if (p == nullptr) {
        if constexpr (kSkipNullOnCopy)
          continue;
        else
          break;
      }
      CPtrArray::Add(std::make_unique<T>(*p).release());
    }
  }
};

class PLEXA_API CPolyPolyBezier : public CPolyPolyOf<CBPointArray, true> {
 public:
  CPolyPolyBezier() = default;
  CPolyPolyBezier(const CPolyPolyBezier& other) : CPolyPolyOf() { Copy(other); }
  CPolyPolyBezier& operator=(const CPolyPolyBezier& other) {
    Copy(other);
    return *this;
  }

  // The path at i by reference; raises CInvalidArgException for an empty or missing slot.
  CBPointArray& operator[](int i) const;

  // Appends a copy of every non-null path of src, in order.
  void AppendCurve(const CPolyPolyBezier& src);
  // Reverses the order of the paths; with reverseEach also every path's node order.
  void MakeReverse(bool reverseEach);
  void SetOrientation(bool clockwise);
  void ApplyTransformation(CView3D& view);
  // Every node of every non-null path keeps the x of its three points (incoming control,
  // anchor, outgoing control) and gets y = env.envelop(x, y); attribute words are kept.
  // Declared here, defined in plexa/effects/envelope.cpp.
  void ApplyEnvelop(CEnvelop& env);
  void ApplyEnvelop(CEnvelopEx& env);
  // Bounds of the flattened curves: every segment of every non-null path is flattened by
  // CBezier::GetPolyline at this resolution into one shared point list (so only the very
  // first anchor enters as such; later paths start with their first piece's control points,
  // within the resolution of their anchor), and rc gets the bounds of that list. The frame
  // follows the flattened curve, not the control points. No points at all (no path with 2
  // or more nodes): rc is left unchanged. The shared list's 100,000-point ceiling applies:
  // beyond it segments enter by their control points, which still enclose them.
  void CalcFrame(PLEXA::CDRECT& rc, double resolution) const;
};

class PLEXA_API CPolyPolyDPoint
    : public CPolyPolyOf<CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>, false> {
 public:
  // Every point goes through view.Transfer(x, y, 0) and takes the resulting x and y.
  void ApplyTransformation(CView3D& view);
  // Every point of every non-null polyline keeps its x and gets y = env.envelop(x, y).
  // Declared here, defined in plexa/effects/envelope.cpp.
  void ApplyEnvelop(CEnvelop& env);
  void ApplyEnvelop(CEnvelopEx& env);
};

class CPolyPolyDWord : public CPolyPolyOf<CDWordArray, false> {};
class CPolyPolyDouble : public CPolyPolyOf<CArray<double, const double&>, false> {};
class CPolyPolyInclination : public CPolyPolyOf<CArray<double, double>, false> {};
class CPolyPolyPoint : public CPolyPolyOf<CArray<tagPOINT, tagPOINT>, false> {};

// CBPointArray::MakeReverse on every non-null path.
PLEXA_API void ReverseArrays(CPolyPolyBezier& set);
// CBPointArray::RemoveSamePoints(tol) on every non-null path.
PLEXA_API void RemoveSamePoints(CPolyPolyBezier& set, double tol);
// For i below size/2, element i := element size-1-i. Nothing is written into the second
// half, so (A, B, C, D) becomes (D, C, C, D): a one-sided mirror copy, not a reversal. This
// is the intended behaviour, kept for hosts that depend on it.
PLEXA_API void ReverseArray(CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& pts);

// The integer inside test of each present path (IsPointInPolygon over the path). evenOdd
// false: 1 at the first path that holds the point; true: the parity of the paths that do.
PLEXA_API int IsPointInPolyPolyBezier(const CPolyPolyBezier& set, const tagPOINT& p, bool evenOdd);
// Union of CBPointArray::GetPolyBezierRect(1.0) over the present paths. The step argument is
// accepted and ignored (always 1.0, deliberately). While the union is still a point (zero
// width and zero height, compared exactly) the next path's rectangle replaces it.
PLEXA_API PLEXA::CDRECT GetPolyPolyBezierRect(const CPolyPolyBezier& set, double ignoredStep);
// A newly allocated rectangle path (CBPointArray::GetRectBPoints); the caller owns it.
PLEXA_API CBPointArray* CreateBParFromDrect(const PLEXA::CDRECT& r);
