#include "plexa/draw/strings.h"

#include <gtest/gtest.h>

TEST(Strings, Hex2WcharDigitsWrapAndRejects) {
  EXPECT_EQ(hex2wchar(L"41"), 0x41);
  EXPECT_EQ(hex2wchar(L"FFFF"), 0xFFFF);
  EXPECT_EQ(hex2wchar(L"aBcD"), 0xABCD);
  EXPECT_EQ(hex2wchar(L"7"), 7);
  EXPECT_EQ(hex2wchar(L"12345"), 0x2345);  // only the low 16 bits survive
  EXPECT_EQ(hex2wchar(L"ffffffffffffffffffff1"), 0xFFF1);
  EXPECT_EQ(hex2wchar(L"0x41"), 0);  // the x is no hexadecimal digit
  EXPECT_EQ(hex2wchar(L" 41"), 0);
  EXPECT_EQ(hex2wchar(L"-1"), 0);
  EXPECT_EQ(hex2wchar(L"4g"), 0);
  EXPECT_EQ(hex2wchar(L"\xFF21"), 0);  // a full-width A is not a digit
  EXPECT_EQ(hex2wchar(L""), 0);
  EXPECT_EQ(hex2wchar(nullptr), 0);
}

TEST(Strings, SubStringFields) {
  EXPECT_EQ(sub_string(L"a,,c", 0, L','), L"a");
  EXPECT_EQ(sub_string(L"a,,c", 1, L','), L"");
  EXPECT_EQ(sub_string(L"a,,c", 2, L','), L"c");
  EXPECT_EQ(sub_string(L"a,,c", 3, L','), L"");
  EXPECT_EQ(sub_string(L"a,,c", -1, L','), L"");
  EXPECT_EQ(sub_string(L"red;green;blue", 1, L';'), L"green");
  EXPECT_EQ(sub_string(L"no separator", 0, L','), L"no separator");
  EXPECT_EQ(sub_string(L",x", 0, L','), L"");
  EXPECT_EQ(sub_string(L",x", 1, L','), L"x");
  EXPECT_EQ(sub_string(nullptr, 0, L','), L"");
}

TEST(Strings, SubStringCount) {
  EXPECT_EQ(sub_string_count(L"a,b", L','), 2);
  EXPECT_EQ(sub_string_count(L"a,b,", L','), 2);
  EXPECT_EQ(sub_string_count(L",", L','), 1);
  EXPECT_EQ(sub_string_count(L",,", L','), 2);
  EXPECT_EQ(sub_string_count(L"abc", L','), 1);
  EXPECT_EQ(sub_string_count(L",a", L','), 2);
  EXPECT_EQ(sub_string_count(L"", L','), 0);  // chosen: an empty text has no fields
  EXPECT_EQ(sub_string_count(nullptr, L','), 0);
  // Every counted field is reachable with sub_string and the next one is empty.
  const wchar_t* text = L"x;y;;z";
  const int n = sub_string_count(text, L';');
  ASSERT_EQ(n, 4);
  EXPECT_EQ(sub_string(text, n - 1, L';'), L"z");
  EXPECT_EQ(sub_string(text, n, L';'), L"");
}
