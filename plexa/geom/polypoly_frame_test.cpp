#include <gtest/gtest.h>

#include "plexa/geom/polypoly.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

CBPOINT Node(CDPOINT in, CDPOINT anchor, CDPOINT out) {
  return CBPOINT(in, anchor, out);
}

}  // namespace

TEST(CPolyPolyBezier, CalcFrameFollowsTheFlattenedCurve) {
  CPolyPolyBezier set;
  const CDRECT untouched(1, 2, 3, 4);
  CDRECT rc = untouched;
  set.CalcFrame(rc, 1.0);
  EXPECT_EQ(rc, untouched);  // no paths
  set.Add(nullptr);
  auto* single = new CBPointArray;
  single->Add(Node(CDPOINT(9, 9), CDPOINT(9, 9), CDPOINT(9, 9)));
  set.Add(single);
  set.CalcFrame(rc, 1.0);
  EXPECT_EQ(rc, untouched);  // a null slot and a one-node path give no points

  // An arch whose controls reach y = 100 while the curve peaks at 75 (at t = 0.5).
  auto* arch = new CBPointArray;
  arch->Add(Node(CDPOINT(0, 0), CDPOINT(0, 0), CDPOINT(0, 100)));
  arch->Add(Node(CDPOINT(100, 100), CDPOINT(100, 0), CDPOINT(100, 0)));
  set.Add(arch);
  set.CalcFrame(rc, 0.25);
  EXPECT_EQ(rc.xmin, 0);
  EXPECT_EQ(rc.ymin, 0);
  EXPECT_NEAR(rc.xmax, 100, 1e-9);
  EXPECT_NEAR(rc.ymax, 75, 0.25);  // kept control points lie within the resolution

  // A second path widens the frame.
  auto* line = new CBPointArray;
  line->Add(Node(CDPOINT(-50, 10), CDPOINT(-50, 10), CDPOINT(-50, 10)));
  line->Add(Node(CDPOINT(-40, 200), CDPOINT(-40, 200), CDPOINT(-40, 200)));
  set.Add(line);
  set.CalcFrame(rc, 0.25);
  EXPECT_NEAR(rc.xmin, -50, 0.25);  // the first anchor of a later path enters within r
  EXPECT_EQ(rc.ymax, 200);
}
