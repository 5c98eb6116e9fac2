#include "plexa/effects/envelope.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "plexa/platform/errors.h"
#include "tests/support.h"

using namespace plexa::test;

namespace {

template <typename Record = ENVELOP>
Record Frame(double l, double t, double r, double b) {
  Record e{};
  e.left = l, e.top = t, e.right = r, e.bottom = b;
  return e;
}

// Sign-like test outlines: a rectangle of corner nodes, an ellipse of smooth ones.
CBPointArray Lettering(int which) {
  CBPointArray p;
  if (which == 0)
    p.CreateRect(PLEXA::CDRECT(5, 45, 10, 90));
  else
    p.CreateEllipse(PLEXA::CDRECT(50, 95, 20, 80));
  return p;
}

// Largest vertical miss of the curve-kept result against the exact image of the source (the
// point form applied to 2,000 samples of every piece). The pieces of each source segment are
// found by their anchors, which lie at dyadic parameters of that segment.
template <typename Env>
double KeptCurveError(const CBPointArray& src, const CBPointArray& out, Env& env, double* xMiss) {
  const int kGrid = 1 << 12;
  double worst = 0;
  INT_PTR k = 0;
  auto find = [&](const CDPOINT sp[4], const CDPOINT& a) {
    for (int g = 0; g <= kGrid; ++g) {
      const CDPOINT s = BezierAt(sp, static_cast<double>(g) / kGrid);
      if (std::fabs(s.x - a.x) < 1e-9 && std::fabs(env.envelop(s.x, s.y) - a.y) < 1e-9)
        return static_cast<double>(g) / kGrid;
    }
    return -1.0;
  };
  for (INT_PTR i = 0; i + 1 < src.GetSize(); ++i) {
    CDPOINT sp[4] = {src[i].anchor, src[i].out, src[i + 1].in, src[i + 1].anchor};
    if (sp[1] == sp[0] && sp[2] == sp[3]) {  // straight: controls at the thirds, as the code
      sp[1] = CDPOINT((2 * sp[0].x + sp[3].x) / 3, (2 * sp[0].y + sp[3].y) / 3);
      sp[2] = CDPOINT((sp[0].x + 2 * sp[3].x) / 3, (sp[0].y + 2 * sp[3].y) / 3);
    }
    double ta = 0;
    do {
      const CDPOINT q[4] = {out[k].anchor, out[k].out, out[k + 1].in, out[k + 1].anchor};
      const double tb = find(sp, q[3]);
      if (tb <= ta) return 1e9;  // a piece that does not belong to this segment
      for (int j = 0; j <= 2000; ++j) {
        const double u = j / 2000.0;
        const CDPOINT c = BezierAt(q, u);
        const CDPOINT s = BezierAt(sp, ta + (tb - ta) * u);
        worst = std::max(worst, std::fabs(c.y - env.envelop(s.x, s.y)));
        *xMiss = std::max(*xMiss, std::fabs(c.x - s.x));
      }
      ta = tb;
      ++k;
    } while (ta < 1);
  }
  return worst;
}

}  // namespace

TEST(CEnvelop, IdentityFlatExtensionAndInverse) {
  CEnvelop env;
  ENVELOP e = Frame(0, 0, 100, 100);
  env.SetEnvelop(e);
  for (double x : {-50.0, 0.0, 30.0, 100.0, 170.0})
    for (double y : {-20.0, 0.0, 42.0, 100.0, 300.0}) EXPECT_NEAR(env.envelop(x, y), y, 1e-9);
  EXPECT_EQ(env.m_bDirty, 0);

  // The edge case of the preset table: top arc through (0,0), (50,10), (100,0).
  env.SetType(1, 10);
  ASSERT_GE(env.arcTop().GetSize(), 3);
  EXPECT_EQ(env.arcTop()[0].x, 0);
  EXPECT_EQ(env.arcTop()[env.arcTop().GetSize() - 1].x, 100);
  const double T = env.CalcArcPoint(env.arcTop(), 50, 0);
  EXPECT_NEAR(T, 10, 0.01);  // the flattened arc's sagitta at 1-degree steps is 0.005
  EXPECT_NEAR(env.envelop(50, 0), T, 1e-9);
  EXPECT_NEAR(env.envelop(50, 100), 100, 1e-9);
  EXPECT_NEAR(env.envelop(50, 50), (T + 100) / 2, 1e-9);
  // The circle through the three points has radius 130 and centre (50, -120).
  for (double x : {10.0, 25.0, 80.0}) {
    const double exact = -120 + std::sqrt(130.0 * 130 - (x - 50) * (x - 50));
    EXPECT_NEAR(env.CalcArcPoint(env.arcTop(), x, 0), exact, 0.01) << x;
  }
  // Outside the frame the arcs run on flat; the inverse is the identity there.
  EXPECT_NEAR(env.envelop(-30, 0), 0, 1e-9);
  EXPECT_NEAR(env.envelop(130, 50), 50, 1e-9);
  EXPECT_EQ(env.envelop_return(-30, 7.5), 7.5);
  EXPECT_EQ(env.envelop_return(130, 7.5), 7.5);
  // Inside the frame envelop_return undoes envelop, for every preset shape.
  for (int type = 1; type <= 10; ++type) {
    env.SetEnvelop(e);
    env.SetType(type, 12);
    for (double x = 0; x <= 100; x += 7)
      for (double y = -10; y <= 110; y += 13)
        EXPECT_NEAR(env.envelop_return(x, env.envelop(x, y)), y, 1e-7) << type << " " << x;
  }
}

TEST(CEnvelop, PresetsAssignAndUnknownTypesKeepState) {
  struct Row {
    int type;
    double tl, tm, tr, bl, bm, br;
  };
  const double v = 8;
  const Row rows[] = {{1, 0, v, 0, 0, 0, 0},           {2, 0, 0, 0, 0, -v, 0},
                      {3, 0, v, 0, 0, -v, 0},          {4, 0, -v, 0, 0, 0, 0},
                      {5, 0, 0, 0, 0, v, 0},           {6, 0, -v, 0, 0, v, 0},
                      {7, 0, v, 0, 0, v, 0},           {8, 0, -v, 0, 0, -v, 0},
                      {9, v, v / 2, 0, -v, -v / 2, 0}, {10, 0, v / 2, v, 0, -v / 2, -v}};
  for (const Row& r : rows) {
    CEnvelop env;
    ENVELOP e = Frame(0, 0, 100, 50);
    env.SetEnvelop(e);
    env.SetType(r.type, v);
    env.SetType(r.type, v);  // assigned, not accumulated
    ENVELOP g;
    env.GetEnvelop(g);
    const double got[] = {g.topLeft,    g.topMiddle,    g.topRight,
                          g.bottomLeft, g.bottomMiddle, g.bottomRight};
    const double want[] = {r.tl, r.tm, r.tr, r.bl, r.bm, r.br};
    for (int k = 0; k < 6; ++k) EXPECT_EQ(got[k], want[k]) << r.type << " field " << k;
    EXPECT_EQ(env.m_bDirty, 0) << r.type;
    // The frame's corners land on the boundaries' end points.
    EXPECT_NEAR(env.envelop(0, 0), r.tl, 1e-9) << r.type;
    EXPECT_NEAR(env.envelop(100, 50), 50 + r.br, 1e-9) << r.type;
  }
  // An unknown type on a clean object changes nothing and leaves it clean; on a dirty one it
  // rebuilds.
  CEnvelop env;
  ENVELOP e = Frame(0, 0, 100, 50);
  env.SetEnvelop(e);
  env.SetType(1, 5);
  env.env().topMiddle = 99;  // edited behind its back: stays clean, arcs stale
  env.SetType(11, 3);
  EXPECT_EQ(env.m_bDirty, 0);
  EXPECT_EQ(env.env().topMiddle, 99);
  EXPECT_NEAR(env.CalcArcPoint(env.arcTop(), 50, 0), 5, 0.01);
  env.SetEnvelop(e);
  env.SetType(0, 3);
  EXPECT_EQ(env.m_bDirty, 0);
}

TEST(CEnvelop, DegenerateFramesAndArcs) {
  CEnvelop env;
  ENVELOP e = Frame(10, 20, 10, 20);
  env.SetEnvelop(e);
  env.CalcEnvelop();
  EXPECT_EQ(env.env().right, 10 + 1e-8);
  EXPECT_EQ(env.env().bottom, 20 + 1e-8);
  EXPECT_EQ(env.arcTop().GetSize(), 2);  // collinear points: the two ends
  // An empty arc answers y; a one-point arc answers that point's x, as designed.
  CArray<CDPOINT, CDPOINT> arc;
  EXPECT_EQ(env.CalcArcPoint(arc, 10, 3), 3);
  arc.Add(CDPOINT(77, 5));
  EXPECT_EQ(env.CalcArcPoint(arc, 10, 3), 77);
  // Non-finite fields and points give non-finite answers, quickly.
  e = Frame(0, 0, 100, 100);
  e.topMiddle = kNaN;
  env.SetEnvelop(e);
  env.envelop(50, 0);  // finishes; the value is unspecified
  EXPECT_TRUE(std::isnan(env.envelop(50, kNaN)));
}

TEST(CEnvelopEx, CurvesPresetsAndEvaluation) {
  CEnvelopEx env;
  ENVELOPEX e = Frame<ENVELOPEX>(0, 0, 200, 100);
  env.SetEnvelop(e);
  for (double x : {-10.0, 0.0, 77.0, 200.0, 250.0})
    for (double y : {0.0, 33.0, 100.0}) EXPECT_NEAR(env.envelop(x, y), y, 1e-9);

  // Types 22/23 accumulate on the quarter points.
  env.SetType(22, 5);
  env.SetType(22, 5);
  EXPECT_EQ(env.env().topQuarter, -10);
  EXPECT_EQ(env.env().bottomThreeQuarter, -10);
  env.SetType(23, 10);
  EXPECT_EQ(env.env().topThreeQuarter, 0);
  // Types 20 and 21 as listed, asymmetries included.
  const double v = 8, f = 2, h = 4;
  CEnvelopEx a;
  ENVELOPEX z = Frame<ENVELOPEX>(0, 0, 200, 100);
  a.SetEnvelop(z);
  a.SetType(20, v);
  // Offsets in record order from topLeft: topLeft, topMiddle, topRight, bottomLeft,
  // bottomMiddle, bottomRight, topQuarter, topThreeQuarter, bottomQuarter, bottomThreeQuarter.
  const double want20[] = {0, -h, -f, 0, h, f, -v, f, v, -f};
  double got[10];
  std::memcpy(got, &a.env().topLeft, sizeof got);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(got[i], want20[i]) << i;
  a.SetEnvelop(z);
  a.SetType(21, v);
  const double want21[] = {-f, -h, f, 0, h, 0, f, -v, -f, v};
  std::memcpy(got, &a.env().topLeft, sizeof got);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(got[i], want21[i]) << i;
  EXPECT_EQ(a.m_bDirty, 0);

  // Five nodes at the quarters; the boundary passes through each anchor; beyond the frame
  // the end heights hold; x = right is node 4 itself.
  ASSERT_EQ(a.curveTop().GetSize(), 5);
  const double topOff[5] = {-f, f, -h, -v, f};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(a.curveTop()[i].anchor.x, 50.0 * i);
    EXPECT_EQ(a.curveTop()[i].anchor.y, topOff[i]);
    EXPECT_NEAR(a.CalcCurvePoint(a.curveTop(), 50.0 * i, 0), topOff[i], 1e-12) << i;
  }
  EXPECT_NEAR(a.CalcCurvePoint(a.curveTop(), -40, 0), -f, 1e-12);
  EXPECT_NEAR(a.CalcCurvePoint(a.curveTop(), 260, 0), f, 1e-12);
  // Between nodes: the y of the cubic at the fraction of the quarter (not solved for x).
  const CBPOINT& n1 = a.curveTop()[1];
  const CBPOINT& n2 = a.curveTop()[2];
  const CDPOINT cp[4] = {n1.anchor, n1.out, n2.in, n2.anchor};
  EXPECT_NEAR(a.CalcCurvePoint(a.curveTop(), 50 + 0.3 * 50, 0), BezierAt(cp, 0.3).y, 1e-9);
  // No inverse, intended; the copy copies everything.
  EXPECT_EQ(a.envelop_return(60, 12.5), 12.5);
  EXPECT_EQ(CEnvelopEx(a).envelop(120, 40), a.envelop(120, 40));
  // A curve too short for the quarter index fails with the containers' failure.
  CBPointArray two;
  two.Add(Corner(0, 0));
  two.Add(Corner(50, 0));
  EXPECT_THROW(a.CalcCurvePoint(two, 199, 0), CInvalidArgException);
  EXPECT_EQ(a.CalcCurvePoint(two, 10, 0), 0);
}

TEST(ApplyEnvelop, ContainersMapYOnly) {
  CEnvelop env;
  ENVELOP e = Frame(0, 0, 100, 100);
  env.SetEnvelop(e);
  env.SetType(3, 15);
  CEnvelopEx ex;
  ENVELOPEX ee = Frame<ENVELOPEX>(0, 0, 100, 100);
  ex.SetEnvelop(ee);
  ex.SetType(20, 10);

  CPolyPolyBezier set;
  set.Add(new CBPointArray(Lettering(0)));
  set.Add(nullptr);  // skipped
  set.Add(new CBPointArray(Lettering(1)));
  set[0][1].attr = 0x1234;
  CPolyPolyBezier setEx(set);  // the copy leaves the null slot out
  set.ApplyEnvelop(env);
  setEx.ApplyEnvelop(ex);
  for (int i : {0, 1}) {
    const CBPointArray src = Lettering(i);
    for (INT_PTR j = 0; j < src.GetSize(); ++j) {
      const CBPOINT &s = src[j], &d = set[2 * i][j];
      EXPECT_TRUE(d.in.x == s.in.x && d.anchor.x == s.anchor.x && d.out.x == s.out.x);
      EXPECT_EQ(d.anchor.y, env.envelop(s.anchor.x, s.anchor.y));
      EXPECT_EQ(d.out.y, env.envelop(s.out.x, s.out.y));
      EXPECT_EQ(setEx[i][j].in.y, ex.envelop(s.in.x, s.in.y));
    }
  }
  EXPECT_EQ(set[0][1].attr, 0x1234);

  CPolyPolyDPoint lines;
  lines.Add(new CArray<CDPOINT, CDPOINT>);
  for (double x : {-10.0, 30.0, 110.0}) lines.GetAt(0)->Add(CDPOINT(x, 30));
  lines.ApplyEnvelop(env);
  for (INT_PTR j = 0; j < 3; ++j)
    EXPECT_EQ((*lines.GetAt(0))[j].y, env.envelop((*lines.GetAt(0))[j].x, 30));
}

TEST(ApplyEnvelopKeepCurves, FollowsThePointFormWithinTolerance) {
  for (int kind = 0; kind < 2; ++kind) {
    CEnvelop env;
    ENVELOP e = Frame(0, 0, 100, 100);
    env.SetEnvelop(e);
    env.SetType(kind == 0 ? 3 : 9, 20);
    CEnvelopEx ex;
    ENVELOPEX ee = Frame<ENVELOPEX>(0, 0, 100, 100);
    ex.SetEnvelop(ee);
    ex.SetType(kind == 0 ? 20 : 21, 20);
    for (double tol : {0.5, 0.05, 0.005}) {
      for (int which = 0; which < 2; ++which) {
        const CBPointArray src = Lettering(which);
        CBPointArray a(src), b(src);
        ASSERT_TRUE(ApplyEnvelopKeepCurves(a, env, tol));
        ASSERT_TRUE(ApplyEnvelopKeepCurves(b, ex, tol));
        double xMiss = 0;
        EXPECT_LE(KeptCurveError(src, a, env, &xMiss), tol) << kind << " " << tol;
        EXPECT_LE(KeptCurveError(src, b, ex, &xMiss), tol) << kind << " " << tol;
        EXPECT_LE(xMiss, 1e-9);
        // Closed stays closed; the node count stays modest (few, smooth segments).
        EXPECT_TRUE(a.IsPolyBezierClosed() && b.IsPolyBezierClosed());
        EXPECT_LE(a.GetSize(), 5 + 4 * 24);
      }
    }
  }
}

TEST(ApplyEnvelopKeepCurves, RefusalsAndHostileInput) {
  CEnvelop env;
  ENVELOP e = Frame(0, 0, 100, 100);
  env.SetEnvelop(e);
  env.SetType(1, 30);
  const CBPointArray src = Lettering(1);
  CBPointArray a(src);
  for (double tol : {0.0, -1.0, kNaN, kInf}) {
    EXPECT_FALSE(ApplyEnvelopKeepCurves(a, env, tol));
    EXPECT_TRUE(a == src);
  }
  // A NaN node and a huge one finish and keep the node order; a tiny tolerance is bounded by
  // the depth cap.
  CBPointArray h(src);
  h[2].anchor.x = kNaN;
  h[3].anchor.y = 1e300;
  EXPECT_TRUE(ApplyEnvelopKeepCurves(h, env, 1e-300));
  EXPECT_LE(h.GetSize(), 5 + 4 * (1 << kEnvelopMaxDepth));
}
