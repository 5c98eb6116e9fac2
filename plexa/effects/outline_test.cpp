#include "plexa/effects/outline.h"

#include <gtest/gtest.h>

#include <cmath>

#include "plexa/geom/bezier.h"
#include "tests/support.h"

using namespace plexa::test;

namespace {

CDPOINT Moved(void (*fn)(const CDPOINT*, double, double, CDPOINT*), CDPOINT c, double a, double b,
              CDPOINT p) {
  fn(&c, a, b, &p);
  return p;
}

}  // namespace

TEST(OutlineEffects, PointFunctions) {
  const CDPOINT o(10, 20);
  // Pinch: centre and outside unchanged, the rim kept for any amount, r = R/2 bulged to
  // R sin(pi/4) (the formula with a = 1 reduces to R sin x).
  for (CDPOINT p : {o, CDPOINT(70, 20)}) EXPECT_EQ(Moved(PinchPoint, o, 50, 2, p), p);
  EXPECT_EQ(Moved(PinchPoint, o, 0, 2, CDPOINT(30, 20)), CDPOINT(30, 20));
  EXPECT_EQ(Moved(PinchPoint, o, 50, 0, CDPOINT(30, 20)), CDPOINT(30, 20));
  for (double a : {-3.0, -0.5, 0.5, 3.0}) {
    const CDPOINT rim = Moved(PinchPoint, o, 50, a, CDPOINT(10 + 30, 20 + 40));
    EXPECT_NEAR(Dist(rim, o), 50, 1e-6) << a;
    // Inside points keep their direction from the centre.
    const CDPOINT q = Moved(PinchPoint, o, 50, a, CDPOINT(10 + 12, 20 + 16));
    EXPECT_NEAR((q.x - 10) * 16 - (q.y - 20) * 12, 0, 1e-9) << a;
    if (std::fabs(a) > 1) {
      EXPECT_EQ(Dist(q, o) > 20, a > 0) << a;  // a strong bulge pushes out
    }
  }
  const CDPOINT half = Moved(PinchPoint, o, 50, 1, CDPOINT(35, 20));
  EXPECT_NEAR(Dist(half, o), 50 * std::sin(3.1415926 / 4), 1e-9);

  // Spherize: beyond the extent onto the rim of R1; inside at R1 sin(pi r / (2 R2)).
  EXPECT_POINT_NEAR(Moved(SpherizePoint, CDPOINT(0, 0), 10, 5, CDPOINT(12, 16)), CDPOINT(6, 8),
                    1e-12);
  EXPECT_NEAR(Moved(SpherizePoint, CDPOINT(0, 0), 10, 8, CDPOINT(4, 0)).x,
              10 * std::sin(3.1415926 * 4 / 16), 1e-12);
  EXPECT_EQ(Moved(SpherizePoint, o, 10, 8, o), o);
  // Spherize in a rectangle (centre (20, 10), half sizes 20 and 10): the limit L is the
  // boundary along the ray: 20 along +x, 10 straight up, 10 sqrt 2 on the diagonal (1, 1).
  const PLEXA::CDRECT rect(0, 40, 0, 20);
  const struct {
    CDPOINT p;
    double L;
  } rays[] = {{CDPOINT(30, 10), 20}, {CDPOINT(20, 15), 10}, {CDPOINT(40, 30), std::sqrt(200.0)}};
  for (const auto& ray : rays) {
    CDPOINT q = ray.p;
    SpherizePoint(&rect, 15, &q);
    const double r = Dist(ray.p, CDPOINT(20, 10));
    EXPECT_NEAR(Dist(q, CDPOINT(20, 10)), 15 * std::sin(3.1415926 * r / (2 * ray.L)), 1e-9);
    EXPECT_NEAR((q.x - 20) * (ray.p.y - 10) - (q.y - 10) * (ray.p.x - 20), 0, 1e-9);
  }

  // Twirl: angle 0 turns (1, 0) into (0, -1); at r = R an angle of 90 degrees cancels the
  // quarter turn (to the truncated constants).
  EXPECT_POINT_NEAR(Moved(TwirlPoint, CDPOINT(0, 0), 5, 0, CDPOINT(1, 0)), CDPOINT(0, -1), 1e-15);
  EXPECT_POINT_NEAR(Moved(TwirlPoint, o, 30, 90, CDPOINT(28, 44)), CDPOINT(28, 44), 1e-6);

  // Wave and zig-zag: t = x - o.x reduced by whole periods while above the period.
  struct Row {
    void (*fn)(const CDPOINT*, double, double, int, CDPOINT*);
    double offset, want;
  };
  const Row rows[] = {{WavePoint, 25, 25},    {WavePoint, -25, -25},  {WavePoint, 125, 25},
                      {WavePoint, 100, 0},    {ZigZagPoint, 30, 30},  {ZigZagPoint, 70, 30},
                      {ZigZagPoint, 230, 30}, {ZigZagPoint, -20, -20}};
  for (const Row& r : rows) {
    const CDPOINT origin(5, 0);
    CDPOINT q(5 + r.offset, 7);
    r.fn(&origin, 100, 1, 0, &q);
    EXPECT_NEAR(q.y - 7, r.want, 1e-5) << r.offset;
    EXPECT_EQ(q.x, 5 + r.offset);
    CDPOINT v(7, r.offset);  // vertical: along y, moving x
    r.fn(&origin, 100, 1, 1, &v);
    EXPECT_NEAR(v.x - 7, r.want, 1e-5) << r.offset;
  }
}

TEST(OutlineEffects, PointFunctionsHostileInput) {
  const CDPOINT o(0, 0);
  // Periods that cannot be used leave the point alone; huge and infinite offsets end quickly.
  for (double period : {0.0, -1.0, kNaN, kInf, -kInf}) {
    CDPOINT q(33, 4);
    WavePoint(&o, period, 1, 0, &q);
    ZigZagPoint(&o, period, 1, 0, &q);
    EXPECT_EQ(q, CDPOINT(33, 4)) << period;
  }
  CDPOINT far(1e300, 0), inf(kInf, 0), t(3, 4), s(4, 4);
  WavePoint(&o, 1e-12, 1, 0, &far);  // tiny period: widened to 1e-8, reduced by remainder
  WavePoint(&o, 10, 1, 0, &inf);
  EXPECT_TRUE(std::isnan(inf.y));
  TwirlPoint(&o, 0, 90, &t);  // zero radius: divisor 1e-8, finite answer
  EXPECT_TRUE(std::isfinite(t.x) && std::isfinite(t.y));
  PinchPoint(nullptr, 1, 1, &t);
  SpherizePoint(&o, 1, 1, nullptr);
  const PLEXA::CDRECT flat(3, 3, 3, 3);
  SpherizePoint(&flat, 5, &s);
  EXPECT_FALSE(std::isnan(s.x));
}

TEST(OutlineEffects, SubdivisionThenMove) {
  // A straight 100-unit line: floor(100/40) = 2 corner nodes at the thirds.
  CBPointArray line = Poly({CDPOINT(0, 0), CDPOINT(100, 0)});
  line[1].attr = 7;
  const CDPOINT far(1000, 1000);
  PinchOutline(&far, 1, 0, &line);
  ASSERT_EQ(line.GetSize(), 4);
  EXPECT_NEAR(line[1].anchor.x, 100.0 / 3, 1e-12);
  EXPECT_NEAR(line[2].anchor.x, 200.0 / 3, 1e-12);
  EXPECT_EQ(line[2].out, line[2].anchor);
  EXPECT_EQ(line[3].attr, 7);

  // A circle of radius 100: each quarter (length 157) gets 3 inserted nodes; the shape is
  // kept (amount 0 moves nothing); every piece is at most 40 long.
  CBPointArray circle;
  circle.CreateCircle(PLEXA::CDRECT(-100, 100, -100, 100));
  CBPointArray kept(circle);
  PinchOutline(&far, 1, 0, &kept);
  ASSERT_EQ(kept.GetSize(), 17);
  for (INT_PTR i = 0; i + 1 < kept.GetSize(); ++i) {
    const CBezier seg(kept[i], kept[i + 1]);
    EXPECT_LE(seg.GetLength(), 40);
    for (double u = 0; u <= 1; u += 0.125)
      EXPECT_NEAR(Dist(seg.GetCurvePoint(u), CDPOINT(0, 0)), 100, 0.03);
  }
  // Twirl of the subdivided circle about its centre is a rotation: radius kept.
  const CDPOINT c(0, 0);
  CBPointArray tw(circle);
  TwirlOutline(&c, 100, 45, &tw);
  for (INT_PTR i = 0; i < tw.GetSize(); ++i) EXPECT_NEAR(Dist(tw[i].anchor, c), 100, 0.03);
  // Degenerate and hostile paths finish.
  CBPointArray huge = Poly({CDPOINT(0, 0), CDPOINT(1e12, 0)});
  PinchOutline(&far, 1, 0, &huge);
  EXPECT_LE(huge.GetSize(), 2 + kEffectMaxSplits);
  CBPointArray bad = Poly({CDPOINT(0, 0), CDPOINT(kNaN, 0), CDPOINT(kInf, 1)});
  TwirlOutline(&c, 10, 30, &bad);
  PinchOutline(&c, 10, 1, nullptr);
}

TEST(OutlineEffects, ZigZagResampling) {
  // Mode 0 on a rightward horizontal line: nodes every 10 units plus the end, none moved.
  CBPointArray line = Poly({CDPOINT(0, 5), CDPOINT(100, 5)});
  ZigZagOutline(10, 3, 0, false, &line);
  ASSERT_EQ(line.GetSize(), 11);
  for (INT_PTR i = 0; i < line.GetSize(); ++i) {
    EXPECT_NEAR(line[i].anchor.x, 10.0 * i, 1e-9);
    EXPECT_EQ(line[i].anchor.y, 5);
    EXPECT_EQ(line[i].in, line[i].anchor);
  }
  // Mode 1 on the same line: alternately +3 and -3 in y.
  line = Poly({CDPOINT(0, 5), CDPOINT(100, 5)});
  ZigZagOutline(10, 3, 1, false, &line);
  for (INT_PTR i = 0; i < line.GetSize(); ++i) EXPECT_NEAR(line[i].anchor.y, i % 2 ? 2 : 8, 1e-9);

  // Normal mode on a closed square: alternate sides of each edge at distance 4; closed stays
  // closed (last node a copy of the first).
  CBPointArray sq =
      Poly({CDPOINT(0, 0), CDPOINT(100, 0), CDPOINT(100, 100), CDPOINT(0, 100), CDPOINT(0, 0)});
  CBPointArray z(sq);
  ZigZagOutline(20, 4, 2, false, &z);
  ASSERT_EQ(z.GetSize(), 21);
  EXPECT_TRUE(z.IsPolyBezierClosed());
  EXPECT_EQ(z[20].anchor, z[0].anchor);
  // Node 1 sits on the bottom edge (tangent 0, normal -pi/2): pushed by -4 along -y.
  EXPECT_POINT_NEAR(z[1].anchor, CDPOINT(20, 4), 1e-6);
  EXPECT_NEAR(z[2].anchor.y, -4, 1e-6);

  // Per inch: a 254-unit segment at 4 per inch gets 5 nodes (start included), then the last
  // source node of the open path.
  CBPointArray inch = Poly({CDPOINT(0, 0), CDPOINT(254, 0), CDPOINT(254, 127)});
  inch[2].attr = 9;
  ZigZagOutlinePerInch(4, 0, 2, false, &inch);
  ASSERT_EQ(inch.GetSize(), 5 + 3 + 1);
  EXPECT_NEAR(inch[1].anchor.x, 254.0 / 5, 1e-9);
  EXPECT_EQ(inch[8].attr, 9);
  // Per segment: perSegment + 1 nodes a segment.
  CBPointArray seg(sq);
  ZigZagOutlinePerSegment(3, 1, 2, true, &seg);
  EXPECT_EQ(seg.GetSize(), 4 * 4 + 1);
  EXPECT_TRUE(seg.IsPolyBezierClosed());
  for (INT_PTR i = 0; i < seg.GetSize(); ++i) {
    EXPECT_EQ(seg[i].attr & 1, 0);
    EXPECT_TRUE(CBezierPoint(seg[i]).IsSmooth() || Dist(seg[i].in, seg[i].anchor) < 0.1) << i;
  }
  // Refusals: nothing changes.
  for (double step : {0.0, -1.0, kNaN, 1e-9}) {
    CBPointArray r(sq);
    ZigZagOutline(step, 2, 2, false, &r);
    EXPECT_TRUE(r == sq) << step;
  }
  CBPointArray r(sq), point = Poly({CDPOINT(3, 3), CDPOINT(3, 3), CDPOINT(3, 3)}), p0(point);
  ZigZagOutlinePerSegment(0, 2, 2, false, &r);
  ZigZagOutline(1, 2, 2, false, &point);  // zero length
  EXPECT_TRUE(r == sq && point == p0);
  // A huge count is capped.
  CBPointArray longLine = Poly({CDPOINT(0, 0), CDPOINT(1e9, 0)});
  ZigZagOutline(1e-3, 1, 2, false, &longLine);
  EXPECT_LE(longLine.GetSize(), kEffectMaxNodes + 1);
}

TEST(OutlineEffects, RoughenStaysWithinAmplitude) {
  CBPointArray sq =
      Poly({CDPOINT(0, 0), CDPOINT(100, 0), CDPOINT(100, 100), CDPOINT(0, 100), CDPOINT(0, 0)});
  CBPointArray r(sq);
  RoughenOutline(2, 5, 2, false, &r);
  ASSERT_EQ(r.GetSize(), 201);
  EXPECT_TRUE(r.IsPolyBezierClosed());
  double biggest = 0, sum = 0;
  for (INT_PTR i = 0; i + 1 < r.GetSize(); ++i) {
    // Distance from the square's boundary: every node was pushed along its edge's normal.
    const CDPOINT a = r[i].anchor;
    const double d =
        std::min({std::fabs(a.y), std::fabs(a.x - 100), std::fabs(a.y - 100), std::fabs(a.x)});
    biggest = std::max(biggest, d);
    sum += d;
  }
  EXPECT_LE(biggest, 5 + 1e-9);
  EXPECT_GT(sum / 200, 1.0);  // uniform factors in [-1, 1]: mean |push| about 2.5
  RoughenOutlinePerSegment(10, 5, 1, true, &sq);
  EXPECT_TRUE(sq.IsPolyBezierClosed());
}

TEST(OutlineEffects, GeometricEcho) {
  // Anticlockwise on a y-up page (IsClockwise false): copies pushed by +i*step along the
  // turned directions.
  const CBPointArray sq =
      Poly({CDPOINT(0, 0), CDPOINT(0, 100), CDPOINT(100, 100), CDPOINT(100, 0), CDPOINT(0, 0)});
  CPolyPolyBezier out;
  out.Add(new CBPointArray(sq));
  GeometricEcho(sq, out, 3, 5, true);
  ASSERT_EQ(out.GetSize(), 3);
  const double sign = sq.IsClockwise() ? -1 : 1;
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(out[i].GetSize(), sq.GetSize());
    for (INT_PTR j = 0; j < sq.GetSize(); ++j) {
      EXPECT_NEAR(Dist(out[i][j].anchor, sq[j].anchor), 5.0 * (i + 1), 1e-9) << i << " " << j;
      EXPECT_EQ(out[i][j].in, out[i][j].anchor);
    }
    // Node 1 (0, 100): incoming up (0, 1) turns to (-1, 0), outgoing right turns to (0, 1).
    const double s = 5.0 * (i + 1) * sign / std::sqrt(2.0);
    EXPECT_POINT_NEAR(out[i][1].anchor, CDPOINT(-s, 100 + s), 1e-9);
  }
  GeometricEcho(sq, out, 0, 5, false);
  EXPECT_EQ(out.GetSize(), 0);
  GeometricEcho(Poly({CDPOINT(0, 0), CDPOINT(1, 1)}), out, 3, 5, false);
  EXPECT_EQ(out.GetSize(), 0);
}
