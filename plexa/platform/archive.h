// CArchive: a little-endian binary archive over a std::iostream, storing or loading.
//
//   std::stringstream s;
//   { CArchive ar(s, CArchive::store); path.Serialize(ar); }
//   CArchive in(s, CArchive::load);
//   copy.Serialize(in);            // throws CArchiveException(endOfFile) on short data
//
// Counts use the platform's escape encoding: an unsigned 16-bit count; 0xFFFF followed by an
// unsigned 32-bit count when it does not fit; 0xFFFFFFFF after that followed by a 64-bit
// count. The archive never buffers: every Write goes to the stream at once, so Flush and
// Close only flush the stream.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>

#include "plexa/platform/export.h"
#include "plexa/platform/records.h"

class PLEXA_API CArchive {
 public:
  enum Mode : UINT { store = 0, load = 1 };

  CArchive(std::iostream& stream, UINT mode);
  CArchive(const CArchive&) = delete;
  CArchive& operator=(const CArchive&) = delete;
  ~CArchive();

  bool IsStoring() const { return m_mode == store; }
  bool IsLoading() const { return m_mode == load; }

  void Write(const void* data, UINT bytes);
  // Returns the number of bytes actually read; fewer than asked means the stream ended.
  UINT Read(void* data, UINT bytes);
  void WriteCount(std::size_t count);
  // Raises CArchiveException(endOfFile) when the count itself is cut short.
  std::size_t ReadCount();
  void Flush();
  void Close();

  // Bytes left to read, or SIZE_MAX when the stream cannot tell (not seekable).
  std::size_t RemainingHint();

  // Fixed-width little-endian scalars.
  void WriteU16(std::uint16_t v);
  void WriteU32(std::uint32_t v);
  void WriteU64(std::uint64_t v);
  std::uint16_t ReadU16();
  std::uint32_t ReadU32();
  std::uint64_t ReadU64();

  std::iostream& stream() { return m_stream; }

 private:
  void ReadExact(void* data, std::size_t bytes);

  std::iostream& m_stream;
  UINT m_mode;
};
