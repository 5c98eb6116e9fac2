#include "plexa/core/view3d.h"

#include <gtest/gtest.h>

#include <numbers>

#include "tests/support.h"

namespace {
using PLEXA::CDPOINT;
constexpr double kPi = std::numbers::pi;
constexpr double kTol = 1e-12;
// The image register of the last transfer, as a point.
CDPOINT XY(const CView3D& v) {
  return CDPOINT(v.x(), v.y());
}
}  // namespace

TEST(CView3D, TranslationIsNegatedAndNewestOperationActsFirst) {
  CView3D v;
  v.Translate(10, 0, 0);
  v.Transfer(0, 0, 0);
  EXPECT_EQ(v.x(), -10);

  CView3D w;
  w.Scale(2, 2, 1);
  w.Translate(5, 0, 0);  // acts first: (0,0) -> (-5,0) -> (-10,0)
  w.Transfer(0, 0, 0);
  EXPECT_EQ(w.x(), -10);
  EXPECT_EQ(w.w(), 1);

  // operator*= post-multiplies: the right-hand transform acts after this one.
  CView3D a, b;
  a.Scale(2, 2, 1);
  b.Translate(5, 0, 0);
  a *= b;  // scale, then move: (1,0) -> (2,0) -> (-3,0)
  a.Transfer(1, 0, 0);
  EXPECT_EQ(a.x(), -3);
}

TEST(CView3D, RotationSkewAndMeasures) {
  CView3D v;
  v.Rotate(kPi / 2);
  v.Transfer(1, 0, 0);
  EXPECT_POINT_NEAR(XY(v), CDPOINT(0, 1), kTol);
  EXPECT_NEAR(v.GetAngle(), kPi / 2, kTol);
  // Get... leaves the register at its last image, of (1,0,0).
  EXPECT_POINT_NEAR(XY(v), CDPOINT(0, 1), kTol);

  CView3D s;
  s.Scale(3, 4, 1);
  s.Translate(-1, -2, 0);
  EXPECT_NEAR(s.GetXScale(), 3, kTol);
  EXPECT_NEAR(s.GetYScale(), 4, kTol);
  EXPECT_NEAR(s.GetXOffset(), 3, kTol);
  EXPECT_NEAR(s.GetYOffset(), 8, kTol);

  CView3D h;
  h.Skew(kPi / 4, false);
  h.Transfer(1, 0, 0);
  EXPECT_POINT_NEAR(XY(h), CDPOINT(1, 1), kTol);
  CView3D g;
  g.Skew(kPi / 4, true);
  g.Transfer(0, 1, 0);
  EXPECT_POINT_NEAR(XY(g), CDPOINT(1, 1), kTol);
}

TEST(CView3D, ReturnInvertsLazilyAndCopiesShareOnlyTheMatrix) {
  CView3D v;
  v.Rotate(0.3);
  v.Scale(2, 0.5, 1);
  v.Translate(7, -3, 0);
  v.Transfer(1.5, -2.25, 0);
  v.Return(v.x(), v.y(), 0);
  EXPECT_POINT_NEAR(XY(v), CDPOINT(1.5, -2.25), 1e-12);

  double m[4][4];
  Scale3D(4, 4, 1, m);
  v.SetMat(m);  // the cached inverse is stale and must be recomputed
  v.Return(8, 8, 0);
  EXPECT_NEAR(v.x(), 2, kTol);

  v.Transfer(1, 1, 0);
  CView3D copy(v);
  EXPECT_EQ(copy.x(), 0);  // the register is not copied
  copy.Transfer(1, 1, 0);
  EXPECT_EQ(copy.x(), 4);
}

TEST(CView3D, MakeTransformMapsRectangleOntoRectangle) {
  CView3D v;
  v.MakeTransform(PLEXA::CDRECT(0, 10, 0, 20), PLEXA::CDRECT(100, 120, 0, 10));
  v.Transfer(0, 0, 0);
  EXPECT_POINT_NEAR(XY(v), CDPOINT(100, 0), kTol);
  v.Transfer(10, 20, 0);
  EXPECT_POINT_NEAR(XY(v), CDPOINT(120, 10), kTol);
}

TEST(CView3D, PointRoundsHalvesUp) {
  CView3D v;
  v.Transfer(-0.5, 2.5, 0);
  EXPECT_EQ(std::pair(v.point().x, v.point().y), std::pair(0, 3));
  v.Transfer(-1.5, -0.49, 0);
  EXPECT_EQ(std::pair(v.point().x, v.point().y), std::pair(-1, 0));
}

TEST(MatrixFunctions, InverseAndComposition) {
  double a[4][4], inv[4][4], prod[4][4];
  PrepareMat3D(1, 2, 3, 2, 3, 4, 0.1, 0.2, 0.3, a);
  PrepareInvMat3D(1, 2, 3, 2, 3, 4, 0.1, 0.2, 0.3, inv);
  MultMat(a, inv, prod);
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) EXPECT_NEAR(prod[i][j], i == j ? 1 : 0, 1e-12) << i << j;

  // A point is moved by (-tx,-ty,-tz), then rotated, then scaled.
  double v[4] = {1, 2, 3, 1}, out[4];
  PrepareMat3D(1, 2, 3, 5, 5, 5, 0.4, 0.5, 0.6, a);
  Transform3D(v, a, out);
  for (int k = 0; k < 3; ++k) EXPECT_NEAR(out[k], 0, 1e-12);

  // Rotate3D about x, y and z: each keeps its own axis and turns the next one.
  double r[4][4];
  Rotate3D(1, kPi / 2, r);
  double y[4] = {0, 1, 0, 1};
  Transform3D(y, r, out);
  EXPECT_NEAR(out[2], 1, kTol);
  Rotate3D(2, kPi / 2, r);
  double z[4] = {0, 0, 1, 1};
  Transform3D(z, r, out);
  EXPECT_NEAR(out[0], 1, kTol);

  // A singular matrix: the near-zero pivot becomes 1e-8 and the inverse is huge but finite.
  double sing[4][4];
  Scale3D(1, 1e-12, 1, sing);
  InvMat(sing, inv);
  EXPECT_NEAR(inv[1][1], 1e8, 1);
}
