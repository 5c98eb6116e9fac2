#include "plexa/core/view3d.h"

#include <cmath>
#include <cstdio>
#include <utility>

#include "plexa/core/internal/numerics.h"

namespace {

// Pivots smaller than this in magnitude are replaced by +-kPivotFloor when inverting.
constexpr double kPivotFloor = 1e-8;
// Rotate3D(ax, ay, az) skips a factor whose angle is smaller than this in magnitude.
constexpr double kAngleSkip = 1e-8;

}  // namespace
void ZeroMat(double M[4][4]) {
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) M[i][j] = 0.0;
}

void UnityMat(double M[4][4]) {
  ZeroMat(M);
  for (int i = 0; i < 4; ++i) M[i][i] = 1.0;
}

void ZeroVec(double v[4]) {
  v[0] = v[1] = v[2] = 0.0;
  v[3] = 1.0;
}

void CopyMat(const double src[4][4], double dst[4][4]) {
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) dst[i][j] = src[i][j];
}

void MultMat(const double A[4][4], const double B[4][4], double C[4][4]) {
  double r[4][4];  // C may alias A or B
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) {
      double s = 0.0;
      for (int k = 0; k < 4; ++k) s += A[i][k] * B[k][j];
      r[i][j] = s;
    }
  CopyMat(r, C);
}

void InvMat(const double A[4][4], double B[4][4]) {
  double m[4][8];
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) {
      m[i][j] = A[i][j];
      m[i][j + 4] = i == j ? 1.0 : 0.0;
    }
  // Forward elimination with partial pivoting; ties keep the earlier row.
  for (int c = 0; c < 4; ++c) {
    int pivot = c;
    for (int r = c + 1; r < 4; ++r)
      if (std::fabs(m[r][c]) > std::fabs(m[pivot][c])) pivot = r;
    if (pivot != c)
      for (int j = 0; j < 8; ++j) std::swap(m[c][j], m[pivot][j]);
    for (int r = c + 1; r < 4; ++r) {
      const double f = m[r][c] / m[c][c];
      for (int j = c; j < 8; ++j) m[r][j] -= f * m[c][j];
    }
  }
  // Back substitution for each right-hand column.
  for (int col = 4; col < 8; ++col) {
    double x[4];
    for (int r = 3; r >= 0; --r) {
      double s = m[r][col];
      for (int k = r + 1; k < 4; ++k) s -= m[r][k] * x[k];
      double p = m[r][r];
      if (p != 0.0 && std::fabs(p) < kPivotFloor) p = p > 0 ? kPivotFloor : -kPivotFloor;
      x[r] = s / p;
    }
    for (int r = 0; r < 4; ++r) B[r][col - 4] = x[r];
  }
}

void Transform3D(const double v[4], const double M[4][4], double out[4]) {
  double r[3];
  for (int j = 0; j < 3; ++j) {
    double s = 0.0;
    for (int k = 0; k < 4; ++k) s += v[k] * M[k][j];
    r[j] = s;
  }
  out[0] = r[0];
  out[1] = r[1];
  out[2] = r[2];
  out[3] = 1.0;
}

void Translate3D(double dx, double dy, double dz, double M[4][4]) {
  UnityMat(M);
  M[3][0] = -dx;
  M[3][1] = -dy;
  M[3][2] = -dz;
}

void Scale3D(double sx, double sy, double sz, double M[4][4]) {
  ZeroMat(M);
  M[0][0] = sx;
  M[1][1] = sy;
  M[2][2] = sz;
  M[3][3] = 1.0;
}

void Rotate3D(int axis, double a, double M[4][4]) {
  ZeroMat(M);
  if (axis < 1 || axis > 3) {  // only 1, 2, 3 are axes; anything else leaves a plain identity
    UnityMat(M);
    return;
  }
  M[axis - 1][axis - 1] = 1.0;
  M[3][3] = 1.0;
  const int i = axis % 3;
  const int j = (i + 1) % 3;
  M[i][i] = std::cos(a);
  M[i][j] = std::sin(a);
  M[j][j] = std::cos(a);
  M[j][i] = -std::sin(a);
}

void Rotate3D(double ax, double ay, double az, double M[4][4]) {
  UnityMat(M);
  double f[4][4];
  if (std::fabs(az) >= kAngleSkip) {
    Rotate3D(3, az, f);
    MultMat(M, f, M);
  }
  if (std::fabs(ay) >= kAngleSkip) {
    Rotate3D(2, ay, f);
    MultMat(M, f, M);
  }
  if (std::fabs(ax) >= kAngleSkip) {
    Rotate3D(1, ax, f);
    MultMat(M, f, M);
  }
}

void Skew2D(bool vertical, double a, double M[4][4]) {
  UnityMat(M);
  const double t = std::tan(a);
  if (vertical)
    M[1][0] = t;
  else
    M[0][1] = t;
}

void PrepareMat3D(double tx, double ty, double tz, double sx, double sy, double sz, double rx,
                  double ry, double rz, double M[4][4]) {
  double f[4][4];
  Translate3D(tx, ty, tz, M);
  Rotate3D(3, rz, f);
  MultMat(M, f, M);
  Rotate3D(2, ry, f);
  MultMat(M, f, M);
  Rotate3D(1, rx, f);
  MultMat(M, f, M);
  Scale3D(sx, sy, sz, f);
  MultMat(M, f, M);
}

void PrepareInvMat3D(double tx, double ty, double tz, double sx, double sy, double sz, double rx,
                     double ry, double rz, double M[4][4]) {
  double f[4][4];
  PrepareMat3D(tx, ty, tz, sx, sy, sz, rx, ry, rz, f);
  InvMat(f, M);
}

void PrintMat(const double M[4][4]) {
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) std::fprintf(stderr, "%12.7f ", M[i][j]);
    std::fprintf(stderr, "\n");
  }
}

void PrintWorkMat(const double m[4][8]) {
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 8; ++j) std::fprintf(stderr, "%8.2f ", m[i][j]);
    std::fprintf(stderr, "\n");
  }
}

void PrintVec(const char* name, const double v[4]) {
  std::fprintf(stderr, "%s=(%12.2f,%12.2f,%12.2f,%12.2f)\n", name, v[0], v[1], v[2], v[3]);
}

void CView3D::Reset() {
  ZeroVec(vector_);
  UnityMat(mat_);
  UnityMat(imat_);
  m_bInvValid = 1;
}

void CView3D::SetMat(const double (&m)[4][4]) {
  CopyMat(m, mat_);
  m_bInvValid = 0;
}

CView3D& CView3D::operator*=(const CView3D& o) {
  double r[4][4];
  MultMat(mat_, o.mat_, r);
  SetMat(r);
  return *this;
}

void CView3D::PreMultiply(const double (&op)[4][4]) {
  double r[4][4];
  MultMat(op, mat_, r);
  SetMat(r);
}

void CView3D::Translate(double dx, double dy, double dz) {
  double m[4][4];
  Translate3D(dx, dy, dz, m);
  PreMultiply(m);
}

void CView3D::Scale(double sx, double sy, double sz) {
  double m[4][4];
  Scale3D(sx, sy, sz, m);
  PreMultiply(m);
}

void CView3D::Rotate(double a) {
  double m[4][4];
  Rotate3D(3, a, m);
  PreMultiply(m);
}

void CView3D::Rotate(double ax, double ay, double az) {
  double m[4][4];
  Rotate3D(ax, ay, az, m);
  PreMultiply(m);
}

void CView3D::Skew(double a, bool vertical) {
  double m[4][4];
  Skew2D(vertical, a, m);
  PreMultiply(m);
}

void CView3D::Transfer(double x, double y, double z) {
  const double v[4] = {x, y, z, 1.0};
  Transform3D(v, mat_, vector_);
}

double (&CView3D::imat())[4][4] {
  if (!m_bInvValid) {
    InvMat(mat_, imat_);
    m_bInvValid = 1;
  }
  return imat_;
}

void CView3D::Return(double x, double y, double z) {
  const double v[4] = {x, y, z, 1.0};
  Transform3D(v, imat(), vector_);
}

tagPOINT CView3D::point() const {
  return tagPOINT{PLEXA::RoundToLong(vector_[0]), PLEXA::RoundToLong(vector_[1])};
}

double CView3D::GetXOffset() {
  Transfer(0, 0, 0);
  return vector_[0];
}

double CView3D::GetYOffset() {
  Transfer(0, 0, 0);
  return vector_[1];
}

double CView3D::GetXScale() {
  Transfer(0, 0, 0);
  const double x0 = vector_[0], y0 = vector_[1];
  Transfer(1, 0, 0);
  { return plexa::num::Dist(x0, y0, vector_[0], vector_[1]); }
}

double CView3D::GetYScale() {
  Transfer(0, 0, 0);
  const double x0 = vector_[0], y0 = vector_[1];
  Transfer(0, 1, 0);
  { return plexa::num::Dist(x0, y0, vector_[0], vector_[1]); }
}

double CView3D::GetAngle() {
  Transfer(0, 0, 0);
  const double x0 = vector_[0], y0 = vector_[1];
  Transfer(1, 0, 0);
  return std::atan2(vector_[1] - y0, vector_[0] - x0);
}

void CView3D::MakeTransform(const PLEXA::CDRECT& from, const PLEXA::CDRECT& to) {
  Reset();
  CView3D a, b, c;
  a.Translate((from.xmin + from.xmax) / 2, (from.ymin + from.ymax) / 2, 0);
  b.Scale(std::fabs(to.xmax - to.xmin) / std::fabs(from.xmax - from.xmin),
          std::fabs(to.ymax - to.ymin) / std::fabs(from.ymax - from.ymin), 1);
  c.Translate(-(to.xmin + to.xmax) / 2, -(to.ymin + to.ymax) / 2, 0);
  *this *= a;
  *this *= b;
  *this *= c;
}
