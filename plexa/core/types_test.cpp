#include "plexa/core/types.h"

#include <gtest/gtest.h>

#include "plexa/platform/array.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using PLEXA::Quantize;

TEST(ValueTypes, QuantizeFloorsWithDivisionFirst) {
  EXPECT_EQ(Quantize(CDPOINT(-0.5, 2.5), 1.0), CDPOINT(-1, 2));
  EXPECT_EQ(Quantize(CDPOINT(0.99, -0.0001), 1.0), CDPOINT(0, -1));
  EXPECT_EQ(Quantize(CDPOINT(7.3, 7.5), 2.5), CDPOINT(5, 7.5));
  // floor(0.3 / 0.1) is 2 in doubles (0.3 / 0.1 = 2.9999999999999996): division comes first.
  EXPECT_DOUBLE_EQ(Quantize(CDPOINT(0.3, 0), 0.1).x, 0.2);
  const CDPOINT inf = Quantize(CDPOINT(1, 1), 0.0);
  EXPECT_FALSE(std::isfinite(inf.x));
}

TEST(ValueTypes, AttributeWordClearedOnConstructionKeptOnCopy) {
  CBPOINT n(CDPOINT(0.2, 0.7), CDPOINT(1.5, 1.5), CDPOINT(-0.2, 3));
  n.attr = 42;
  const CBPOINT q = Quantize(n, 1.0);
  EXPECT_EQ(q.attr, 0);
  EXPECT_EQ(q.in, CDPOINT(0, 0));
  EXPECT_EQ(q.out, CDPOINT(-1, 3));
  EXPECT_EQ(CBPOINT().attr, 0);

  CArray<CBPOINT, CBPOINT> a;
  a.Add(n);
  a.InsertAt(0, n, 2);
  CArray<CBPOINT, CBPOINT> b(a);
  for (const CBPOINT& e : b) EXPECT_EQ(e.attr, 42);
}

TEST(ValueTypes, RoundToLongRoundsHalfUpAndSaturates) {
  EXPECT_EQ(PLEXA::RoundToLong(-0.5), 0);
  EXPECT_EQ(PLEXA::RoundToLong(2.5), 3);
  EXPECT_EQ(PLEXA::RoundToLong(-2.51), -3);
  EXPECT_EQ(PLEXA::RoundToLong(NAN), 0);
  EXPECT_EQ(PLEXA::RoundToLong(1e300), 2147483647);
  EXPECT_EQ(PLEXA::RoundToLong(-INFINITY), -2147483647 - 1);
}
