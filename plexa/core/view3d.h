// CView3D: the library's one transform, a 4x4 homogeneous matrix with row vectors
// (p' = p * M, translation in the fourth row, never a perspective divide), a lazily computed
// inverse, and a current-point register `vector` that holds the last transformed point.
//
//   CView3D v;
//   v.Scale(2, 2, 1);
//   v.Translate(5, 0, 0);     // the newest operation acts first on a point...
//   v.Transfer(0, 0, 0);      // ...so (0,0) moves to (-5,0), then scales: v.x() == -10
//
// Deliberate conventions hosts rely on:
// - Translate3D/Translate move points by the *negated* offsets (a view moves the world
//   opposite to the eye).
// - Translate, Scale, Rotate and Skew pre-multiply (the newest acts first); operator*=
//   post-multiplies (the right-hand transform acts after this one).
// - Editing mat() through the reference does not mark the inverse stale; use SetMat.
// - The Get... functions work through Transfer and leave `vector` at their last image.
// - Copying copies the forward matrix only; the copy recomputes its inverse when needed.
// Singular matrices are inverted with near-zero pivots replaced by +-1e-8 (huge entries);
// an exactly zero pivot yields non-finite entries. Nothing is reported.
#pragma once

#include "plexa/core/types.h"
#include "plexa/platform/export.h"
#include "plexa/platform/records.h"

using MATRIX4 = double[4][4];

PLEXA_API void ZeroMat(double M[4][4]);
PLEXA_API void UnityMat(double M[4][4]);
PLEXA_API void ZeroVec(double v[4]);                                                 // (0, 0, 0, 1)
PLEXA_API void CopyMat(const double src[4][4], double dst[4][4]);                    // source first
PLEXA_API void MultMat(const double A[4][4], const double B[4][4], double C[4][4]);  // C = A * B
PLEXA_API void InvMat(const double A[4][4], double B[4][4]);
PLEXA_API void Transform3D(const double v[4], const double M[4][4], double out[4]);  // out[3] = 1
PLEXA_API void Translate3D(double dx, double dy, double dz,
                           double M[4][4]);  // row 3 = (-dx,-dy,-dz,1)
PLEXA_API void Scale3D(double sx, double sy, double sz, double M[4][4]);
PLEXA_API void Rotate3D(int axis, double a, double M[4][4]);  // axis 1 = x, 2 = y, 3 = z
PLEXA_API void Rotate3D(double ax, double ay, double az, double M[4][4]);  // Rz * Ry * Rx
PLEXA_API void Skew2D(bool vertical, double a, double M[4][4]);
PLEXA_API void PrepareMat3D(double tx, double ty, double tz, double sx, double sy, double sz,
                            double rx, double ry, double rz, double M[4][4]);
PLEXA_API void PrepareInvMat3D(double tx, double ty, double tz, double sx, double sy, double sz,
                               double rx, double ry, double rz, double M[4][4]);

// Diagnostics to the standard error stream; they never affect a result.
PLEXA_API void PrintMat(const double M[4][4]);  // "%12.7f " per entry, a row a line
PLEXA_API void PrintVec(const char* name,
                        const double v[4]);         // "%s=(%12.2f,%12.2f,%12.2f,%12.2f)\n"
PLEXA_API void PrintWorkMat(const double m[4][8]);  // InvMat's [A | I]: "%8.2f " per entry

class PLEXA_API CView3D {
 public:
  CView3D() { Reset(); }
  CView3D(const CView3D& o) {
    Reset();
    SetMat(o.mat_);
  }
  CView3D& operator=(const CView3D& o) {
    if (this != &o) SetMat(o.mat_);
    return *this;
  }
  ~CView3D() = default;

  void Reset();
  void SetMat(const double (&m)[4][4]);
  CView3D& operator*=(const CView3D& o);

  void Translate(double dx, double dy, double dz);
  void Scale(double sx, double sy, double sz);
  void Rotate(double a);
  void Rotate(double ax, double ay, double az);
  void Skew(double a, bool vertical);

  void Transfer(double x, double y, double z);
  void Return(double x, double y, double z);

  double (&mat())[4][4] { return mat_; }
  double (&imat())[4][4];
  double (&vector())[4] { return vector_; }
  double x() const { return vector_[0]; }
  double y() const { return vector_[1]; }
  double z() const { return vector_[2]; }
  double w() const { return vector_[3]; }
  // The current point rounded half upward: floor(v + 0.5) (PLEXA::RoundToLong: NaN gives 0,
  // the 32-bit range saturates).
  tagPOINT point() const;

  double GetXOffset();
  double GetYOffset();
  double GetXScale();
  double GetYScale();
  double GetAngle();

  // Maps `from` onto `to` centre onto centre with positive scales (no mirroring). A zero
  // width or height of `from` gives an infinite scale, unguarded.
  void MakeTransform(const PLEXA::CDRECT& from, const PLEXA::CDRECT& to);

 private:
  void PreMultiply(const double (&op)[4][4]);

  double vector_[4];
  double mat_[4][4];
  double imat_[4][4];
  unsigned char m_bInvValid;
};
