#include "plexa/platform/archive.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>

#include "plexa/core/types.h"
#include "plexa/platform/array.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

std::string Bytes(std::stringstream& s) {
  return s.str();
}

template <typename A>
std::string Store(A& a) {
  std::stringstream s;
  CArchive ar(s, CArchive::store);
  a.Serialize(ar);
  ar.Flush();
  return s.str();
}

double ReadDouble(const std::string& b, std::size_t at) {
  double v;
  std::memcpy(&v, b.data() + at, 8);
  return v;
}

}  // namespace

TEST(CArchive, CountEncodingUsesTheEscapes) {
  const struct {
    std::size_t count;
    std::string bytes;
  } cases[] = {
      {0, std::string("\x00\x00", 2)},
      {0xFFFE, std::string("\xFE\xFF", 2)},
      {0xFFFF, std::string("\xFF\xFF\xFF\xFF\x00\x00", 6)},
      {0x12345678, std::string("\xFF\xFF\x78\x56\x34\x12", 6)},
      {0xFFFFFFFFull, std::string("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x00\x00\x00\x00", 14)},
  };
  for (const auto& c : cases) {
    std::stringstream s;
    CArchive out(s, CArchive::store);
    out.WriteCount(c.count);
    EXPECT_EQ(Bytes(s), c.bytes) << c.count;
    CArchive in(s, CArchive::load);
    EXPECT_EQ(in.ReadCount(), c.count);
  }
}

TEST(CArchive, NodeRecordLayoutIs56BytesWithZeroedReserve) {
  CArray<CBPOINT, CBPOINT> a;
  CBPOINT n(CDPOINT(1, 2), CDPOINT(3, 4), CDPOINT(5, 6));
  n.attr = 0xBEEF;
  a.Add(n);
  // Dirty the padding bytes of the stored node: the archive must still write zeros.
  std::memset(reinterpret_cast<unsigned char*>(a.GetData()) + 50, 0xAA, 6);
  const std::string b = Store(a);
  ASSERT_EQ(b.size(), 2u + 56u);
  EXPECT_EQ(b.substr(0, 2), std::string("\x01\x00", 2));
  for (int k = 0; k < 6; ++k) EXPECT_EQ(ReadDouble(b, 2 + 8 * k), k + 1.0) << k;
  EXPECT_EQ(static_cast<unsigned char>(b[2 + 48]), 0xEF);
  EXPECT_EQ(static_cast<unsigned char>(b[2 + 49]), 0xBE);
  EXPECT_EQ(b.substr(2 + 50), std::string(6, '\0'));

  std::stringstream s(b);
  CArchive in(s, CArchive::load);
  CArray<CBPOINT, CBPOINT> back;
  back.Serialize(in);
  ASSERT_EQ(back.GetSize(), 1);
  EXPECT_EQ(back[0].anchor, CDPOINT(3, 4));
  EXPECT_EQ(back[0].attr, 0xBEEF);  // serialisation is a whole-node copy
}

TEST(CArchive, PointAndDoubleArraysRoundTrip) {
  CArray<CDPOINT, CDPOINT> pts;
  for (int i = 0; i < 70000; ++i) pts.Add(CDPOINT(i, -i * 0.5));  // count needs the 32-bit escape
  const std::string b = Store(pts);
  EXPECT_EQ(b.size(), 6u + 16u * 70000u);
  std::stringstream s(b);
  CArchive in(s, CArchive::load);
  CArray<CDPOINT, CDPOINT> back;
  back.Serialize(in);
  ASSERT_EQ(back.GetSize(), 70000);
  EXPECT_EQ(back[69999], CDPOINT(69999, -69999 * 0.5));

  CArray<double, const double&> d;
  d.Add(0.25);
  d.Add(-8);
  EXPECT_EQ(Store(d).size(), 2u + 16u);
}

TEST(CArchive, TruncatedOrLyingArchivesRaiseEndOfFileAndStayUsable) {
  CArray<CBPOINT, CBPOINT> a;
  for (int i = 0; i < 10; ++i) a.Add(CBPOINT(CDPOINT(i, i), CDPOINT(i, i), CDPOINT(i, i)));
  std::string b = Store(a);
  b.resize(2 + 56 * 4 + 30);  // four whole records and part of a fifth

  std::stringstream s(b);
  CArchive in(s, CArchive::load);
  CArray<CBPOINT, CBPOINT> back;
  try {
    back.Serialize(in);
    FAIL() << "a truncated archive loaded";
  } catch (const CArchiveException& e) {
    EXPECT_EQ(e.m_cause, CArchiveException::endOfFile);
  }
  EXPECT_EQ(back.GetSize(), 4);  // the whole records that were there
  EXPECT_EQ(back[3].anchor, CDPOINT(3, 3));
  back.Add(CBPOINT());  // the array stays usable
  EXPECT_TRUE(s.good());

  // A count claiming 2^40 nodes in a 20-byte archive: fails without a huge allocation.
  std::string lie("\xFF\xFF\xFF\xFF\xFF\xFF\x00\x00\x00\x00\x00\x01\x00\x00", 14);
  lie += std::string(20, '\x01');
  std::stringstream s2(lie);
  CArchive in2(s2, CArchive::load);
  CArray<CBPOINT, CBPOINT> huge;
  EXPECT_THROW(huge.Serialize(in2), CArchiveException);
  EXPECT_LE(huge.GetAllocSize(), 1 << 20);

  // A count cut short is end-of-file too.
  std::stringstream s3(std::string("\xFF", 1));
  CArchive in3(s3, CArchive::load);
  EXPECT_THROW(huge.Serialize(in3), CArchiveException);
}
