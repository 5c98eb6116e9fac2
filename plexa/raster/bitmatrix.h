// Two small in-memory matrices that the tracers keep beside their bitmaps: CBitMatrix, one bit a
// cell, and CByteMatrix, one small label a cell.
//
//   CBitMatrix m(7, 0);        // 8 columns, 1 row: SetSize adds one in each direction
//   m.Set(0, 0); m.Set(7, 0);  // the single byte is now 0x81
//   CByteMatrix labels(3, 2);  // exactly 3 x 2 cells
//   labels.Set(1, 1, 5);
//   bool hit = labels.Hit(0, 0, 1, 2);  // a non-zero label other than 2 within 1 cell: true
//
// CBitMatrix invariants: rows are stored top-down (row y at y * bytes per row), bytes per row is
// ceil(width / 8) with no padding, and cell x is bit x % 8 of byte x / 8 (least significant bit
// leftmost). That is the opposite bit order of a 1-bit bitmap, on purpose: the two are never
// copied into one another byte-wise. SetSize(w, h) makes w + 1 columns and h + 1 rows,
// deliberately one more than asked in each direction.
// CByteMatrix invariants: exactly width x height cells (no +1); 0 means empty, which Hit skips.
// Both: reads outside the matrix give false / 0, writes outside do nothing; SetSize discards the
// content. A size whose storage exceeds kMaxMatrixBytes throws std::bad_alloc, as a failed
// allocation does (allocation failures are not caught); sizes that leave no cells (negative)
// give an empty matrix.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "plexa/platform/export.h"
#include "plexa/platform/gdi.h"

// Largest storage of one matrix, in bytes.
inline constexpr std::int64_t kMaxMatrixBytes = std::int64_t{1} << 31;

class PLEXA_API CBitMatrix {
 public:
  CBitMatrix() = default;  // no buffer, width = height = bytes per row = 0
  CBitMatrix(int w, int h) { SetSize(w, h); }
  CBitMatrix(const CBitMatrix& other);
  CBitMatrix& operator=(const CBitMatrix& other);
  CBitMatrix(CBitMatrix&&) noexcept = default;
  CBitMatrix& operator=(CBitMatrix&&) noexcept = default;
  ~CBitMatrix() = default;

  void SetSize(int w, int h);
  int GetWidth() const { return m_width; }
  int GetHeight() const { return m_height; }
  int GetBytesPerRow() const { return m_bytesPerRow; }
  const unsigned char* GetBits() const { return m_bits.get(); }

  // The byte that holds cell (x, y) and its mask; nullptr and mask 0 outside the matrix.
  unsigned char* getP(int x, int y, int& mask);
  const unsigned char* getP(int x, int y, int& mask) const;
  bool Get(int x, int y) const;
  void Set(int x, int y);
  void Clear(int x, int y);
  void Set(int x, int y, bool on);
  void Toggle(int x, int y);
  // Debug: paints pixel (x, y) of dc white where the bit is 1, black where 0; with no dc, the
  // screen's surface, released afterwards.
  void Dump(CDC* dc) const;

 private:
  std::unique_ptr<unsigned char[]> m_bits;
  int m_width = 0;
  int m_height = 0;
  int m_bytesPerRow = 0;
};

class PLEXA_API CByteMatrix {
 public:
  CByteMatrix() = default;  // width = height = -1, no rows
  CByteMatrix(int w, int h) { SetSize(w, h); }

  void SetSize(int w, int h);
  int GetWidth() const { return m_width; }
  int GetHeight() const { return m_height; }
  unsigned char Get(int x, int y) const;  // 0 outside
  void Set(int x, int y, unsigned char v);
  void SetAll(unsigned char v);
  void SetAllIf(unsigned char from, unsigned char to);
  // Scans rows y - r .. y + r (outer, ascending) and in each columns x - r .. x + r (ascending);
  // true at the first cell that is neither 0 nor v. Cells outside read as 0; r < 0 gives false.
  // Only cells inside the matrix are visited, so a huge r costs at most the matrix.
  bool Hit(int x, int y, int r, unsigned char v) const;
  // Debug: paints pixel (x, y) of dc with the colour of (value & 7): black, red, green, blue,
  // yellow, magenta, cyan, white; with no dc, the screen's surface.
  void Dump(CDC* dc) const;

 private:
  int m_width = -1;
  int m_height = -1;
  std::vector<std::vector<unsigned char>> m_rows;
};
