// CArray: the library's growable array, with the host platform's member names and growth rule.
//
//   CArray<PLEXA::CDPOINT, PLEXA::CDPOINT> pts;
//   pts.Add(PLEXA::CDPOINT(1, 2));       // returns the new index, 0
//   pts.SetAt(0, PLEXA::CDPOINT(3, 4));  // bounds-checked
//   pts[5];                              // throws CInvalidArgException
//
// Invariants: elements are trivially copyable and live contiguously in GetData()[0, GetSize());
// capacity (GetAllocSize) >= size; elements move bitwise when the buffer grows.
// Growth: SetSize(n) beyond the capacity allocates max(n, capacity + g), where g is the stored
// grow-by or, when that is 0 (the default), size/8 clamped to [4, 1024]; the first allocation
// is max(grow-by, n). Indexes outside [0, size) raise CInvalidArgException where the
// operation says so.
//
// Serialize writes the element count with CArchive::WriteCount, then the raw little-endian
// records back to back (56 bytes a node with 6 reserved zero bytes, 16 a CDPOINT, 8 a
// double), in chunks of at most kSerializeChunk elements. Loading a count larger than the
// bytes the stream still holds raises CArchiveException(endOfFile) without allocating more
// than the bytes present plus one read block; the array then holds the whole records that
// were present, and both it and the stream stay usable.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>

#include "plexa/platform/archive.h"
#include "plexa/platform/errors.h"
#include "plexa/platform/records.h"

namespace plexa_detail {

// The largest element count whose byte size fits 31 bits, for 56-byte node records; every
// element type is written and read in chunks of at most this many elements.
inline constexpr std::size_t kSerializeChunk = 38347922;
// When the stream cannot promise the whole payload, loading grows the array by at most
// this many bytes at a time, so a lying count cannot make it allocate what is not there.
inline constexpr std::size_t kLoadBlockBytes = std::size_t{1} << 20;

// How an element is laid out in an archive. The default is its raw bytes; types with
// padding say how many leading bytes carry data, and the rest of the record is written as
// zeros.
template <typename T>
struct ArchiveRecord {
  static constexpr std::size_t kSize = sizeof(T);
  static constexpr std::size_t kDataBytes = sizeof(T);
};

}  // namespace plexa_detail

// ARG_TYPE defaults to TYPE, so CArray<PLEXA::CDPOINT> is the polyline type
// CArray<PLEXA::CDPOINT, PLEXA::CDPOINT> and CArray<double> is CArray<double, double>.
template <typename TYPE, typename ARG_TYPE = TYPE>
class CArray {
  static_assert(std::is_trivially_copyable_v<TYPE>, "CArray moves its elements bitwise");

 public:
  CArray() = default;
  CArray(const CArray& other) { Copy(other); }
  CArray(CArray&& other) noexcept { Swap(other); }
  CArray& operator=(const CArray& other) {
    Copy(other);
    return *this;
  }
  CArray& operator=(CArray&& other) noexcept {
    if (this != &other) {
      RemoveAll();
      Swap(other);
    }
    return *this;
  }
  virtual ~CArray() { Release(); }

  INT_PTR GetSize() const { return m_size; }
  INT_PTR GetCount() const { return m_size; }
  INT_PTR GetUpperBound() const { return m_size - 1; }
  INT_PTR GetAllocSize() const { return m_cap; }
  bool IsEmpty() const { return m_size == 0; }
  TYPE* GetData() { return m_data; }
  const TYPE* GetData() const { return m_data; }

  void SetSize(INT_PTR n, INT_PTR growBy = -1) {
    if (n < 0) AfxThrowInvalidArgException();
    if (growBy >= 0) m_growBy = growBy;
    if (n == 0) {
      Release();
      return;
    }
    if (m_data == nullptr) {
      const INT_PTR cap = std::max(m_growBy, n);
      m_data = Allocate(cap);
      m_cap = cap;
      std::uninitialized_value_construct_n(m_data, n);
      m_size = n;
      return;
    }
    if (n <= m_cap) {
      if (n > m_size) std::uninitialized_value_construct_n(m_data + m_size, n - m_size);
      m_size = n;
      return;
    }
    INT_PTR g = m_growBy;
    if (g == 0) g = std::clamp<INT_PTR>(m_size / 8, 4, 1024);
    const INT_PTR cap = n < m_cap + g ? m_cap + g : n;
    Reallocate(cap);
    std::uninitialized_value_construct_n(m_data + m_size, n - m_size);
    m_size = n;
  }

  void FreeExtra() {
    if (m_size == m_cap) return;
    if (m_size == 0) {
      Release();
      return;
    }
    Reallocate(m_size);
  }

  void RemoveAll() { SetSize(0); }

  const TYPE& GetAt(INT_PTR i) const {
    Check(i);
    return m_data[i];
  }
  TYPE& GetAt(INT_PTR i) {
    Check(i);
    return m_data[i];
  }
  void SetAt(INT_PTR i, ARG_TYPE e) {
    Check(i);
    m_data[i] = e;
  }
  TYPE& ElementAt(INT_PTR i) {
    Check(i);
    return m_data[i];
  }
  const TYPE& ElementAt(INT_PTR i) const {
    Check(i);
    return m_data[i];
  }
  TYPE& operator[](INT_PTR i) {
    Check(i);
    return m_data[i];
  }
  const TYPE& operator[](INT_PTR i) const {
    Check(i);
    return m_data[i];
  }

  void SetAtGrow(INT_PTR i, ARG_TYPE e) {
    if (i < 0) AfxThrowInvalidArgException();
    const TYPE value = e;  // e may refer into this array's buffer
    if (i >= m_size) SetSize(i + 1);
    m_data[i] = value;
  }

  INT_PTR Add(ARG_TYPE e) {
    const INT_PTR i = m_size;
    SetAtGrow(i, e);
    return i;
  }

  INT_PTR Append(const CArray& src) {
    if (this == &src) AfxThrowInvalidArgException();
    const INT_PTR old = m_size;
    if (src.m_size > 0) {
      SetSize(m_size + src.m_size);
      std::memcpy(static_cast<void*>(m_data + old), src.m_data,
                  sizeof(TYPE) * static_cast<std::size_t>(src.m_size));
    }
    return old;
  }

  void Copy(const CArray& src) {
    if (this == &src) return;
    SetSize(src.m_size);
    if (src.m_size > 0)
      std::memcpy(static_cast<void*>(m_data), src.m_data,
                  sizeof(TYPE) * static_cast<std::size_t>(src.m_size));
  }

  void InsertAt(INT_PTR i, ARG_TYPE e, INT_PTR count = 1) {
    if (i < 0 || count < 0) AfxThrowInvalidArgException();
    if (count == 0) return;
    const TYPE value = e;
    if (i >= m_size) {
      SetSize(i + count);
    } else {
      const INT_PTR old = m_size;
      SetSize(m_size + count);
      std::memmove(static_cast<void*>(m_data + i + count), m_data + i,
                   sizeof(TYPE) * static_cast<std::size_t>(old - i));
    }
    std::fill_n(m_data + i, count, value);
  }

  void InsertAt(INT_PTR i, const CArray* src) {
    if (src == nullptr || i < 0) AfxThrowInvalidArgException();
    if (src->m_size == 0) return;
    const CArray copy = (src == this) ? CArray(*src) : CArray();
    const CArray& from = (src == this) ? copy : *src;
    InsertAt(i, from.m_data[0], from.m_size);
    std::memcpy(static_cast<void*>(m_data + i), from.m_data,
                sizeof(TYPE) * static_cast<std::size_t>(from.m_size));
  }

  void RemoveAt(INT_PTR i, INT_PTR count = 1) {
    if (i < 0 || count < 0 || i > m_size || count > m_size - i) AfxThrowInvalidArgException();
    if (count == 0) return;
    std::memmove(static_cast<void*>(m_data + i), m_data + i + count,
                 sizeof(TYPE) * static_cast<std::size_t>(m_size - i - count));
    m_size -= count;
  }

  virtual void Serialize(CArchive& ar) {
    using Record = plexa_detail::ArchiveRecord<TYPE>;
    if (ar.IsStoring()) {
      if (m_size > 0 && m_data == nullptr) AfxThrowInvalidArgException();
      ar.WriteCount(static_cast<std::size_t>(m_size));
      StoreRecords<Record>(ar);
    } else {
      LoadRecords<Record>(ar, ar.ReadCount());
    }
  }

  // Range access, so arrays work with range-for and the standard algorithms.
  TYPE* begin() { return m_data; }
  TYPE* end() { return m_data + m_size; }
  const TYPE* begin() const { return m_data; }
  const TYPE* end() const { return m_data + m_size; }

 private:
  void Check(INT_PTR i) const {
    if (i < 0 || i >= m_size) AfxThrowInvalidArgException();
  }

  static TYPE* Allocate(INT_PTR n) {
    if (n > static_cast<INT_PTR>(std::numeric_limits<std::ptrdiff_t>::max() / sizeof(TYPE)))
      AfxThrowInvalidArgException();
    return std::allocator<TYPE>().allocate(static_cast<std::size_t>(n));
  }

  void Reallocate(INT_PTR cap) {
    TYPE* fresh = Allocate(cap);
    if (m_size > 0)
      std::memcpy(static_cast<void*>(fresh), m_data,
                  sizeof(TYPE) * static_cast<std::size_t>(m_size));
    if (m_data) std::allocator<TYPE>().deallocate(m_data, static_cast<std::size_t>(m_cap));
    m_data = fresh;
    m_cap = cap;
  }

  void Release() {
    if (m_data) std::allocator<TYPE>().deallocate(m_data, static_cast<std::size_t>(m_cap));
    m_data = nullptr;
    m_size = 0;
    m_cap = 0;
  }

  void Swap(CArray& o) noexcept {
    std::swap(m_data, o.m_data);
    std::swap(m_size, o.m_size);
    std::swap(m_cap, o.m_cap);
    std::swap(m_growBy, o.m_growBy);
  }

  static_assert(std::endian::native == std::endian::little,
                "archive records are little-endian; a big-endian host needs byte swapping here");

  template <typename Record>
  void StoreRecords(CArchive& ar) const {
    constexpr std::size_t kRec = Record::kSize;
    if constexpr (Record::kDataBytes == kRec && kRec == sizeof(TYPE)) {
      for (std::size_t done = 0, n = static_cast<std::size_t>(m_size); done < n;) {
        const std::size_t chunk = std::min(n - done, plexa_detail::kSerializeChunk);
        ar.Write(m_data + done, static_cast<UINT>(chunk * kRec));
        done += chunk;
      }
    } else {
      // Copy through a staging block so the reserved bytes go out as zeros.
      constexpr std::size_t kBlock = 1024;
      auto block = std::make_unique<unsigned char[]>(kBlock * kRec);
      for (std::size_t done = 0, n = static_cast<std::size_t>(m_size); done < n;) {
        const std::size_t chunk = std::min(n - done, kBlock);
        static_assert(kRec == sizeof(TYPE), "records mirror the element layout");
        std::memcpy(block.get(), m_data + done, chunk * kRec);
        for (std::size_t k = 0; k < chunk; ++k)
          std::memset(block.get() + k * kRec + Record::kDataBytes, 0, kRec - Record::kDataBytes);
        ar.Write(block.get(), static_cast<UINT>(chunk * kRec));
        done += chunk;
      }
    }
  }

  template <typename Record>
  void LoadRecords(CArchive& ar, std::size_t count) {
    constexpr std::size_t kRec = Record::kSize;
    static_assert(kRec == sizeof(TYPE), "records are read straight into the elements");
    if (count > static_cast<std::size_t>(std::numeric_limits<INT_PTR>::max()) / kRec)
      AfxThrowArchiveException(CArchiveException::endOfFile);
    if (count == 0) {
      SetSize(0);
      return;
    }
    if (ar.RemainingHint() >= count * kRec) {
      // The stream holds the whole payload: size once, then fill in chunks.
      SetSize(static_cast<INT_PTR>(count));
      for (std::size_t done = 0; done < count;) {
        const std::size_t chunk = std::min(count - done, plexa_detail::kSerializeChunk);
        if (ar.Read(m_data + done, static_cast<UINT>(chunk * kRec)) != chunk * kRec)
          AfxThrowArchiveException(CArchiveException::endOfFile);
        done += chunk;
      }
      return;
    }
    // The count claims more than the stream can promise: grow block by block, so memory
    // follows the bytes that really arrive.
    SetSize(0);
    const std::size_t block = std::max<std::size_t>(1, plexa_detail::kLoadBlockBytes / kRec);
    for (std::size_t done = 0; done < count;) {
      const std::size_t want = std::min(count - done, block);
      if (done + want > static_cast<std::size_t>(m_cap))
        Reallocate(static_cast<INT_PTR>(std::min(count, std::max(done + want, 2 * done))));
      const UINT got = ar.Read(m_data + done, static_cast<UINT>(want * kRec));
      const std::size_t whole = got / kRec;
      m_size = static_cast<INT_PTR>(done + whole);
      if (got != want * kRec) AfxThrowArchiveException(CArchiveException::endOfFile);
      done += want;
    }
  }

  TYPE* m_data = nullptr;
  INT_PTR m_size = 0;
  INT_PTR m_cap = 0;
  INT_PTR m_growBy = 0;
};

class CDWordArray : public CArray<DWORD, DWORD> {};

// An array of untyped pointers. It owns nothing; the owning containers derive from it and
// delete what they hold.
class CPtrArray : public CArray<void*, void*> {};
