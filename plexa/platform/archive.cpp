#include "plexa/platform/archive.h"

#include <bit>
#include <cstring>
#include <istream>
#include <limits>
#include <ostream>

#include "plexa/platform/errors.h"

static_assert(std::endian::native == std::endian::little || std::endian::native == std::endian::big,
              "mixed-endian hosts are not supported");

namespace {

template <typename T>
T ToLittle(T v) {
  if constexpr (std::endian::native == std::endian::big) {
    T r = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i)
      r = static_cast<T>((r << 8) | ((v >> (8 * i)) & 0xFF));
    return r;
  }
  return v;
}

}  // namespace

CArchive::CArchive(std::iostream& stream, UINT mode) : m_stream(stream), m_mode(mode) {}

CArchive::~CArchive() {
  if (IsStoring()) m_stream.flush();
}

void CArchive::Write(const void* data, UINT bytes) {
  if (bytes == 0) return;
  m_stream.write(static_cast<const char*>(data), static_cast<std::streamsize>(bytes));
  if (!m_stream) AfxThrowArchiveException(CArchiveException::genericException);
}

UINT CArchive::Read(void* data, UINT bytes) {
  if (bytes == 0) return 0;
  m_stream.read(static_cast<char*>(data), static_cast<std::streamsize>(bytes));
  const auto got = static_cast<UINT>(m_stream.gcount());
  if (got < bytes) m_stream.clear();  // keep the stream usable after a short read
  return got;
}

void CArchive::ReadExact(void* data, std::size_t bytes) {
  if (Read(data, static_cast<UINT>(bytes)) != bytes)
    AfxThrowArchiveException(CArchiveException::endOfFile);
}

void CArchive::WriteU16(std::uint16_t v) {
  v = ToLittle(v);
  Write(&v, sizeof v);
}
void CArchive::WriteU32(std::uint32_t v) {
  v = ToLittle(v);
  Write(&v, sizeof v);
}
void CArchive::WriteU64(std::uint64_t v) {
  v = ToLittle(v);
  Write(&v, sizeof v);
}

std::uint16_t CArchive::ReadU16() {
  std::uint16_t v;
  ReadExact(&v, sizeof v);
  return ToLittle(v);
}
std::uint32_t CArchive::ReadU32() {
  std::uint32_t v;
  ReadExact(&v, sizeof v);
  return ToLittle(v);
}
std::uint64_t CArchive::ReadU64() {
  std::uint64_t v;
  ReadExact(&v, sizeof v);
  return ToLittle(v);
}

void CArchive::WriteCount(std::size_t count) {
  if (count < 0xFFFF) {
    WriteU16(static_cast<std::uint16_t>(count));
    return;
  }
  WriteU16(0xFFFF);
  if (count < 0xFFFFFFFFull) {
    WriteU32(static_cast<std::uint32_t>(count));
    return;
  }
  WriteU32(0xFFFFFFFFu);
  WriteU64(static_cast<std::uint64_t>(count));
}

std::size_t CArchive::ReadCount() {
  const std::uint16_t c16 = ReadU16();
  if (c16 != 0xFFFF) return c16;
  const std::uint32_t c32 = ReadU32();
  if (c32 != 0xFFFFFFFFu) return c32;
  const std::uint64_t c64 = ReadU64();
  if (c64 > std::numeric_limits<std::size_t>::max())
    AfxThrowArchiveException(CArchiveException::endOfFile);
  return static_cast<std::size_t>(c64);
}

std::size_t CArchive::RemainingHint() {
  const auto here = m_stream.tellg();
  if (here < 0) {
    m_stream.clear();
    return std::numeric_limits<std::size_t>::max();
  }
  m_stream.seekg(0, std::ios::end);
  const auto end = m_stream.tellg();
  m_stream.seekg(here);
  if (end < 0 || !m_stream) {
    m_stream.clear();
    m_stream.seekg(here);
    return std::numeric_limits<std::size_t>::max();
  }
  return static_cast<std::size_t>(end - here);
}

void CArchive::Flush() {
  m_stream.flush();
}
void CArchive::Close() {
  Flush();
}
