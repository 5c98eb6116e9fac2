#include "plexa/platform/array.h"

#include <gtest/gtest.h>

#include "plexa/core/types.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

TEST(CArray, GrowthRuleFollowsSizeOverEightClampedToFourAnd1024) {
  CArray<CBPOINT, CBPOINT> a;
  a.SetSize(100);
  ASSERT_EQ(a.GetAllocSize(), 100);  // first allocation: max(grow-by 0, n)
  a.Add(CBPOINT());
  EXPECT_EQ(a.GetAllocSize(), 112);  // 100 + 100/8

  CArray<CBPOINT, CBPOINT> small;
  small.SetSize(10);
  small.Add(CBPOINT());
  EXPECT_EQ(small.GetAllocSize(), 14);  // 10/8 = 1, clamped up to 4

  CArray<CBPOINT, CBPOINT> big;
  big.SetSize(20000);
  big.Add(CBPOINT());
  EXPECT_EQ(big.GetAllocSize(), 21024);  // 20000/8 = 2500, clamped down to 1024

  CArray<int, int> jump;
  jump.SetSize(10);
  jump.SetSize(100);  // beyond capacity + g: exactly n
  EXPECT_EQ(jump.GetAllocSize(), 100);

  CArray<int, int> stepped;
  stepped.SetSize(0, 32);  // stored grow-by wins over the size rule
  stepped.Add(1);
  EXPECT_EQ(stepped.GetAllocSize(), 32);
}

TEST(CArray, SetSizeZeroFreesAndNewElementsAreZero) {
  CArray<CBPOINT, CBPOINT> a;
  CBPOINT n(CDPOINT(1, 2), CDPOINT(3, 4), CDPOINT(5, 6));
  n.attr = 7;
  a.Add(n);
  a.Add(n);
  a.SetSize(0);
  EXPECT_EQ(a.GetAllocSize(), 0);
  EXPECT_EQ(a.GetData(), nullptr);
  a.Add(n);
  EXPECT_EQ(a.GetAllocSize(), 1);  // max(grow-by 0, 1)
  a.SetSize(3);
  EXPECT_EQ(a[0].attr, 7);  // whole-node copies keep the attribute word
  EXPECT_EQ(a[2], CBPOINT());
  EXPECT_THROW(a.SetSize(-1), CInvalidArgException);
}

TEST(CArray, IndexErrorsRaiseInvalidArgument) {
  CArray<int, int> a;
  for (int i = 0; i < 5; ++i) a.Add(i);
  EXPECT_THROW(a.GetAt(5), CInvalidArgException);
  EXPECT_THROW(a[-1], CInvalidArgException);
  EXPECT_THROW(a.SetAt(5, 0), CInvalidArgException);
  EXPECT_THROW(a.ElementAt(-1), CInvalidArgException);
  EXPECT_THROW(a.RemoveAt(4, 2), CInvalidArgException);
  EXPECT_THROW(a.RemoveAt(-1), CInvalidArgException);
  EXPECT_THROW(a.Append(a), CInvalidArgException);
  EXPECT_EQ(a.GetSize(), 5);
  a.RemoveAt(5, 0);  // an empty range at the end is inside the array
}

TEST(CArray, InsertRemoveAppendCopy) {
  CArray<int, int> a;
  for (int i = 0; i < 4; ++i) a.Add(i);  // 0 1 2 3
  a.InsertAt(1, 9, 2);                   // 0 9 9 1 2 3
  a.RemoveAt(4);                         // 0 9 9 1 3
  a.InsertAt(7, 5);                      // past the end: grows, zeros between
  const int expect[] = {0, 9, 9, 1, 3, 0, 0, 5};
  ASSERT_EQ(a.GetSize(), 8);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(a[i], expect[i]) << i;

  CArray<int, int> b;
  b.Add(100);
  EXPECT_EQ(b.Append(a), 1);  // returns the old size
  EXPECT_EQ(b.GetSize(), 9);
  b.InsertAt(0, &b);  // inserting an array into itself doubles it
  EXPECT_EQ(b.GetSize(), 18);
  EXPECT_EQ(b[9], 100);
  b.Copy(b);
  EXPECT_EQ(b.GetSize(), 18);
  b.Copy(a);
  EXPECT_EQ(b.GetSize(), 8);
  b.FreeExtra();
  EXPECT_EQ(b.GetAllocSize(), 8);
  EXPECT_EQ(b.GetUpperBound(), 7);

  a.Add(a[0]);  // an argument that refers into the array's own buffer survives the growth
  EXPECT_EQ(a[8], 0);
}
