// The thinning raster of CSkeleton: smoothing, acute-angle emphasis and parallel thinning of
// the padded dark-pixel image, and the stair removal after it.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "plexa/raster/skeleton.h"

namespace {

// Largest thinning raster, in bytes: indexes stay 32-bit and the working copies stay within
// what the platform's bitmaps allow.
constexpr std::int64_t kMaxImageBytes = std::int64_t{1} << 31;

// Ring bits, E = 0, NE = 1, N = 2, NW = 3, W = 4, SW = 5, S = 6, SE = 7 (north = previous row).
constexpr int kE = 1, kNE = 2, kN = 4, kNW = 8, kW = 16, kSW = 32, kS = 64, kSE = 128;

constexpr int Popcount8(int m) {
  int n = 0;
  for (int i = 0; i < 8; ++i) n += (m >> i) & 1;
  return n;
}
// Steps from a set ring cell to a clear one, once round the ring.
constexpr int Transitions(int m) {
  int n = 0;
  for (int i = 0; i < 8; ++i) n += ((m >> i) & 1) && !((m >> ((i + 1) % 8)) & 1) ? 1 : 0;
  return n;
}
// Which ring codes a thinning sub-iteration deletes. first: the sub-iteration with N.E.W = 0
// and N.S.W = 0; otherwise N.E.S = 0 and E.S.W = 0.
constexpr std::array<bool, 256> MakeThinTable(bool first) {
  std::array<bool, 256> t{};
  for (int m = 0; m < 256; ++m) {
    const int n = Popcount8(m);
    const bool e = m & kE, nn = m & kN, w = m & kW, s = m & kS;
    bool ok = n >= 2 && n <= 6 && Transitions(m) == 1;
    if (first)
      ok = ok && !(nn && e && w) && !(nn && s && w);
    else
      ok = ok && !(nn && e && s) && !(e && s && w);
    t[static_cast<std::size_t>(m)] = ok;
  }
  return t;
}
constexpr std::array<bool, 256> kThinA = MakeThinTable(true);
constexpr std::array<bool, 256> kThinB = MakeThinTable(false);

// The ring code of the pixel at p in a raster of `cols` columns (non-zero = set).
inline int RingCode(const unsigned char* p, std::ptrdiff_t cols) {
  return (p[1] != 0 ? kE : 0) | (p[1 - cols] != 0 ? kNE : 0) | (p[-cols] != 0 ? kN : 0) |
         (p[-1 - cols] != 0 ? kNW : 0) | (p[-1] != 0 ? kW : 0) | (p[cols - 1] != 0 ? kSW : 0) |
         (p[cols] != 0 ? kS : 0) | (p[cols + 1] != 0 ? kSE : 0);
}

int RingCodeAt(const CSkeleton::image& img, int r, int c) {
  return RingCode(img.data[static_cast<std::size_t>(r)] + c, img.cols);
}

// The acute-angle templates: rows of stroke cells (1) on the stroke side, nearest last.
constexpr unsigned char kNotch[5][2][5] = {
    {{0, 0, 1, 0, 0}, {0, 0, 1, 0, 0}},  // D1 / U1
    {{0, 1, 1, 0, 0}, {0, 0, 1, 0, 0}},  // D2 / U2
    {{0, 0, 1, 1, 0}, {0, 0, 1, 0, 0}},  // D3 / U3
    {{0, 1, 1, 0, 0}, {0, 1, 1, 0, 0}},  // D4 / U4
    {{0, 0, 1, 1, 0}, {0, 0, 1, 1, 0}},  // D5 / U5
};

// One template around (r, c): dir -1 puts the stroke above (D), +1 below (U).
bool MatchNotch(const CSkeleton::image& img, int r, int c, int t, int dir) {
  auto at = [&](int dr, int dc) { return img.data[static_cast<std::size_t>(r + dr)][c + dc]; };
  // The stroke cells first: they reject most pixels at once.
  for (int i = 0; i < 2; ++i)
    for (int j = 0; j < 5; ++j)
      if (at(dir * (2 - i), j - 2) != kNotch[t][i][j]) return false;
  for (int j = -2; j <= 2; ++j)
    if (at(0, j) != 0 || at(-dir, j) != 0) return false;
  for (int j = -1; j <= 1; ++j)
    if (at(-2 * dir, j) != 0) return false;
  return true;
}

}  // namespace

// ---- the thinning raster ----

bool CSkeleton::newimage(image& img, int rows, int cols) {
  freeimage(img);
  if (rows <= 0 || cols <= 0 || std::int64_t{rows} * cols > kMaxImageBytes) return false;
  img.pixels.assign(static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols), 0);
  img.data.resize(static_cast<std::size_t>(rows));
  for (int r = 0; r < rows; ++r)
    img.data[static_cast<std::size_t>(r)] = img.pixels.data() + static_cast<std::size_t>(r) * cols;
  img.rows = rows;
  img.cols = cols;
  return true;
}

void CSkeleton::freeimage(image& img) {
  img = image{};
}

void CSkeleton::DoSkeleton() {
  if (m_bitmap == nullptr || m_bm.bmBits == nullptr) return;
  const int w = m_bm.bmWidth, h = m_bm.bmHeight;
  image img;
  if (!newimage(img, h + 2, w + 2)) return;
  const std::size_t stride = WIDTHBYTES(static_cast<unsigned>(w));
  const auto* bits = static_cast<const BYTE*>(m_bm.bmBits);
  std::fill(img.pixels.begin(), img.pixels.end(), 1);
  for (int y = 0; y < h; ++y) {
    const BYTE* row = bits + static_cast<std::size_t>(h - 1 - y) * stride;
    unsigned char* out = img.data[static_cast<std::size_t>(y) + 1] + 1;
    for (int x = 0; x < w; ++x) out[x] = (row[x >> 3] & (0x80 >> (x & 7))) ? 0 : 1;
  }
  pre_smooth(img);
  aae(img);
  thnz(img);
  auto* wbits = static_cast<BYTE*>(m_bm.bmBits);
  for (int y = 0; y < h; ++y) {
    BYTE* row = wbits + static_cast<std::size_t>(h - 1 - y) * stride;
    std::memset(row, 0, stride);
    const unsigned char* in = img.data[static_cast<std::size_t>(y) + 1] + 1;
    for (int x = 0; x < w; ++x)
      if (in[x] == 0) row[x >> 3] = static_cast<BYTE>(row[x >> 3] | (0x80 >> (x & 7)));
  }
  freeimage(img);
}

int CSkeleton::nays8(const image& img, int r, int c) {
  return Popcount8(RingCodeAt(img, r, c));
}

int CSkeleton::snays(const image& img, int r, int c) {
  return 8 - nays8(img, r, c);
}

int CSkeleton::Connectivity(const image& img, int r, int c) {
  return Transitions(RingCodeAt(img, r, c));
}

int CSkeleton::Yokoi(const image& img, int r, int c) {
  const int m = RingCodeAt(img, r, c);
  int n[10];
  for (int k = 1; k <= 8; ++k) n[k] = (m >> (k - 1)) & 1;
  n[9] = n[1];
  int sum = 0;
  for (int k = 1; k <= 7; k += 2) sum += n[k] - n[k] * n[k + 1] * n[k + 2];
  return sum;
}

void CSkeleton::pre_smooth(image& img) {
  // Only inner pixels are looked at; the frame is background.
  for (int r = 1; r + 1 < img.rows; ++r)
    for (int c = 1; c + 1 < img.cols; ++c)
      if (img.data[static_cast<std::size_t>(r)][c] == 0 && snays(img, r, c) < 3 &&
          Yokoi(img, r, c) < 2)
        img.data[static_cast<std::size_t>(r)][c] = 2;
  for (unsigned char& v : img.pixels)
    if (v == 2) v = 1;
}

bool CSkeleton::match_du(image& img, int r, int c, int k) {
  for (int dir : {-1, 1})  // the D set (stroke above), then the U set
    for (int t = 0; t < std::min(k, 5); ++t)
      if (MatchNotch(img, r, c, t, dir)) {
        img.data[static_cast<std::size_t>(r)][c] = 2;
        return true;
      }
  return false;
}

void CSkeleton::aae(image& img) {
  bool changed = false;
  for (int k : {5, 3, 1}) {
    for (int r = 2; r + 2 < img.rows; ++r)
      for (int c = 2; c + 2 < img.cols; ++c)
        if (img.data[static_cast<std::size_t>(r)][c] == 0 && match_du(img, r, c, k)) changed = true;
    for (unsigned char& v : img.pixels)
      if (v == 2) v = 1;
    if (!changed) break;
  }
}

void CSkeleton::check(int a, int b, int c) {
  const int cells[3] = {a != 0, b != 0, c != 0};
  for (int i = 1; i < 3; ++i) {
    if (cells[i] == 0)
      m_flags[1] = 1;
    else
      m_flags[2] = 1;
    if (cells[i - 1] != 0 && cells[i] == 0) {
      m_flags[3] = m_flags[0];
      m_flags[0] = 1;
    }
  }
}

bool CSkeleton::edge(const image& img, int r, int c) {
  m_flags[0] = m_flags[1] = m_flags[2] = m_flags[3] = 0;
  const unsigned char* up = img.data[static_cast<std::size_t>(r) - 1] + c;
  const unsigned char* mid = img.data[static_cast<std::size_t>(r)] + c;
  const unsigned char* down = img.data[static_cast<std::size_t>(r) + 1] + c;
  check(up[-1], up[0], up[1]);
  check(up[1], mid[1], down[1]);
  check(down[1], down[0], down[-1]);
  check(down[-1], mid[-1], up[-1]);
  return m_flags[0] && m_flags[2] && !m_flags[3];
}

void CSkeleton::Delete(image& img, image& marks) {
  for (std::size_t i = 0; i < img.pixels.size() && i < marks.pixels.size(); ++i)
    if (marks.pixels[i]) img.pixels[i] = 0, marks.pixels[i] = 0;
}

void CSkeleton::stair(image& img, image& marks, int dir) {
  if (dir != 1) return;  // only one direction acts; the other call is empty by design
  for (int r = 1; r + 1 < img.rows; ++r)
    for (int c = 1; c + 1 < img.cols; ++c) {
      unsigned char& mark = marks.data[static_cast<std::size_t>(r)][c];
      mark = 0;
      if (img.data[static_cast<std::size_t>(r)][c] != 1) continue;
      const int m = RingCodeAt(img, r, c);
      if (!(m & kN)) continue;
      const bool e = m & kE, w = m & kW, s = m & kS;
      if ((e && !(m & kNE) && !(m & kSW) && !(w && s)) ||
          (w && !(m & kNW) && !(m & kSE) && !(e && s)))
        mark = 1;
    }
}

void CSkeleton::thnz(image& img) {
  for (unsigned char& v : img.pixels) v = !v;
  const int rows = img.rows, cols = img.cols;
  if (rows >= 3 && cols >= 3) {
    // Parallel thinning that visits only pixels that can still change. A pixel's verdict in a
    // sub-iteration depends only on its 3 x 3 neighbourhood, so a pixel that was judged in a
    // sub-iteration and kept stays kept there until a neighbour is deleted. Each
    // sub-iteration has its own queue: the border pixels at first, then the live neighbours
    // of every deleted pixel. All queued pixels are judged on the image as it stands, then
    // the marked ones are deleted together, exactly as the whole-image pass does.
    constexpr unsigned char kInA = 1, kInB = 2, kFrame = 4;
    std::vector<unsigned char> state(img.pixels.size(), 0);
    for (int c = 0; c < cols; ++c)
      state[static_cast<std::size_t>(c)] = state[static_cast<std::size_t>(rows - 1) * cols + c] =
          kFrame;
    for (int r = 0; r < rows; ++r)
      state[static_cast<std::size_t>(r) * cols] =
          state[static_cast<std::size_t>(r) * cols + cols - 1] = kFrame;
    std::vector<std::uint32_t> queueA, queueB, marked;
    unsigned char* p = img.pixels.data();
    for (int r = 1; r + 1 < rows; ++r)
      for (int c = 1; c + 1 < cols; ++c) {
        const std::size_t i = static_cast<std::size_t>(r) * cols + c;
        if (p[i] != 1 || RingCode(p + i, cols) == 0xFF || !edge(img, r, c)) continue;
        queueA.push_back(static_cast<std::uint32_t>(i));
        queueB.push_back(static_cast<std::uint32_t>(i));
        state[i] = kInA | kInB;
      }
    const std::ptrdiff_t around[8] = {1, 1 - cols, -cols, -1 - cols, -1, cols - 1, cols, cols + 1};
    auto pass = [&](std::vector<std::uint32_t>& queue, unsigned char bit,
                    const std::array<bool, 256>& table) {
      marked.clear();
      for (std::uint32_t i : queue) {
        state[i] = static_cast<unsigned char>(state[i] & ~bit);
        if (p[i] == 1 && table[static_cast<std::size_t>(RingCode(p + i, cols))])
          marked.push_back(i);
      }
      queue.clear();
      for (std::uint32_t i : marked) p[i] = 0;
      for (std::uint32_t i : marked)
        for (std::ptrdiff_t d : around) {
          const std::size_t j = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(i) + d);
          if (p[j] != 1 || (state[j] & kFrame)) continue;
          if (!(state[j] & kInA)) state[j] |= kInA, queueA.push_back(static_cast<std::uint32_t>(j));
          if (!(state[j] & kInB)) state[j] |= kInB, queueB.push_back(static_cast<std::uint32_t>(j));
        }
      return !marked.empty();
    };
    // Every pass that goes on deletes a pixel, so the pixels bound the loop.
    for (std::size_t round = 0; round <= img.pixels.size(); ++round) {
      if (!pass(queueA, kInA, kThinA)) break;
      pass(queueB, kInB, kThinB);
    }
    image marks;
    if (newimage(marks, rows, cols)) {
      stair(img, marks, 1);
      Delete(img, marks);
      stair(img, marks, 3);
      Delete(img, marks);
    }
  }
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < cols; ++c) {
      unsigned char& v = img.data[static_cast<std::size_t>(r)][c];
      const bool inner = r > 0 && c > 0 && r + 1 < rows && c + 1 < cols;
      v = inner && v != 0 ? 0 : 255;
    }
}
