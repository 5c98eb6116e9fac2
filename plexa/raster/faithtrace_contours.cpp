// Stage 1 of CFaithfulTrace: the boundaries of a two-level image and their enclosure tree, in
// one pass over the rows.
//
// Boundaries are closed chains of pixel edges between a foreground and a background pixel
// (outside the image is background), followed with the foreground on the right. Every
// vertical boundary edge crosses the middle line of its row, so a row's boundary edges are
// exactly the places where the row changes level; they are read 64 pixels a step as
// word ^ (word << 1). The first such edge of a boundary met in raster order is its topmost,
// leftmost one: foreground to its right means an outline, background a hole.
//
// Marks: when a boundary is followed, each of its vertical edges is recorded against its row
// (the rows below in per-row lists, the current row in a per-column table), so a later
// crossing of a known boundary costs O(1) and nothing is followed twice.
//
// Tree: along the middle line of a row, boundaries do not cross, so their crossings nest like
// brackets. A stack of the boundaries entered so far gives, at each new boundary's first edge,
// the one enclosing it (the top of the stack); a crossing of the boundary on top leaves it,
// any other crossing enters. Cost O(crossings), no containment tests.
#include <algorithm>
#include <bit>
#include <cstdlib>

#include "plexa/raster/internal/faithtrace_stages.h"

namespace plexa::faith {

namespace {

// The tracer's size limits (see faithtrace.h).
constexpr int kMaxSide = 1 << 20;
constexpr std::int64_t kMaxPixels = std::int64_t{1} << 32;

// Directions: 0 east (+x), 1 south (+y), 2 west, 3 north; right turn = +1.
constexpr int kStepX[4] = {1, 0, -1, 0};
constexpr int kStepY[4] = {0, 1, 0, -1};

// Whether the foreground is joined at pixel corner (x, y), where it touches only diagonally.
bool JoinsForeground(const BitImage& img, int x, int y, CFaithfulTrace::TurnPolicy policy) {
  using P = CFaithfulTrace::TurnPolicy;
  if (policy == P::Foreground) return true;
  if (policy == P::Background) return false;
  int fg = 0;
  for (int yy = y - 2; yy < y + 2; ++yy)
    for (int xx = x - 2; xx < x + 2; ++xx) fg += img.Get(xx, yy) ? 1 : 0;
  if (fg == 8) return true;
  return policy == P::Minority ? fg < 8 : fg > 8;
}

}  // namespace

bool BitImage::Init(int width, int height, bool clear) {
  width_ = height_ = 0;
  words_ = 0;
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide ||
      std::int64_t{width} * height > kMaxPixels) {
    bits_ = {};
    return false;
  }
  words_ = static_cast<std::size_t>(width) / 64 + 1;  // at least one spare bit per row
  const std::size_t n = words_ * static_cast<std::size_t>(height);
  try {
    const std::size_t kept = std::min(bits_.size(), n);
    bits_.resize(n);  // new words are zero
    if (clear) std::fill_n(bits_.begin(), kept, 0);
  } catch (const std::bad_alloc&) {
    bits_ = {};
    words_ = 0;
    return false;
  }
  width_ = width;
  height_ = height;
  return true;
}

void Decompose(const BitImage& img, CFaithfulTrace::TurnPolicy policy, int speckle,
               BoundarySink sink, DecomposeWork& work) {
  const int w = img.Width(), h = img.Height();
  if (w < 1 || h < 1) return;
  // Marks for the rows below the current one: per row a singly linked list in flat arrays
  // (no allocation per row).
  using Mark = DecomposeWork::Mark;
  using Info = DecomposeWork::Info;
  std::vector<Mark>& marks = work.marks;
  std::vector<std::int64_t>& below = work.below;
  std::vector<int>& rowId = work.rowId;
  std::vector<int>& touched = work.touched;
  std::vector<int>& stack = work.stack;
  std::vector<Info>& infos = work.infos;
  Boundary& b = work.boundary;
  marks.clear();
  below.assign(static_cast<std::size_t>(h), -1);
  rowId.assign(static_cast<std::size_t>(w) + 1, -1);
  touched.clear();
  stack.clear();
  infos.clear();
  int kept = 0;
  // A boundary uses each pixel edge at most once.
  const std::int64_t maxSteps =
      (std::int64_t{w} + 1) * h + std::int64_t{w} * (std::int64_t{h} + 1) + 4;

  const std::size_t words = img.WordsPerRow();
  for (int y = 0; y < h; ++y) {
    for (std::int64_t k = below[static_cast<std::size_t>(y)]; k >= 0;) {
      const Mark& m = marks[static_cast<std::size_t>(k)];
      rowId[static_cast<std::size_t>(m.x)] = m.id;
      touched.push_back(m.x);
      k = m.next;
    }
    stack.clear();

    auto mark = [&](int x, int row, int id) {
      if (row == y) {
        rowId[static_cast<std::size_t>(x)] = id;
        touched.push_back(x);
      } else {
        std::int64_t& head = below[static_cast<std::size_t>(row)];
        marks.push_back({x, id, head});
        head = static_cast<std::int64_t>(marks.size()) - 1;
      }
    };

    const std::uint64_t* row = img.Row(y);
    std::uint64_t carry = 0;
    for (std::size_t k = 0; k < words; ++k) {
      // Blank and solid stretches: no edge, nothing to do (the common case, kept tight).
      while (k < words && row[k] == (carry != 0 ? ~std::uint64_t{0} : 0)) ++k;
      if (k == words) break;
      const std::uint64_t word = row[k];
      std::uint64_t change = word ^ ((word << 1) | carry);
      carry = word >> 63;
      while (change != 0) {
        const int x = static_cast<int>(k * 64) + std::countr_zero(change);
        change &= change - 1;
        if (x > w) break;
        const int known = rowId[static_cast<std::size_t>(x)];
        if (known >= 0) {
          if (!stack.empty() && stack.back() == known)
            stack.pop_back();
          else
            stack.push_back(known);
          continue;
        }
        // A new boundary: follow it, marking its vertical edges.
        const int id = static_cast<int>(infos.size());
        const bool hole = !img.Get(x, y);
        const int sx = x, sy = hole ? y : y + 1, sd = hole ? 1 : 3;
        int vx = sx, vy = sy, d = sd;
        b.points.clear();
        std::int64_t area = 0;
        for (std::int64_t step = 0; step < maxSteps; ++step) {
          b.points.push_back({vx, vy});
          if (d == 1) {
            mark(vx, vy, id);
            area += vx;
          } else if (d == 3) {
            mark(vx, vy - 1, id);
            area -= vx;
          }
          vx += kStepX[d];
          vy += kStepY[d];
          // Pixels ahead of the corner (vx, vy): front-left and front-right.
          bool fl, fr;
          switch (d) {
            case 0:
              fl = img.Get(vx, vy - 1);
              fr = img.Get(vx, vy);
              break;
            case 1:
              fl = img.Get(vx, vy);
              fr = img.Get(vx - 1, vy);
              break;
            case 2:
              fl = img.Get(vx - 1, vy);
              fr = img.Get(vx - 1, vy - 1);
              break;
            default:
              fl = img.Get(vx - 1, vy - 1);
              fr = img.Get(vx, vy - 1);
              break;
          }
          if (fr && fl)
            d = (d + 3) & 3;
          else if (!fr && !fl)
            d = (d + 1) & 3;
          else if (!fr && fl)
            d = JoinsForeground(img, vx, vy, policy) ? (d + 3) & 3 : (d + 1) & 3;
          if (vx == sx && vy == sy && d == sd) break;
        }
        const int parent = stack.empty() ? -1 : stack.back();
        const bool parentKept = parent < 0 || infos[static_cast<std::size_t>(parent)].kept >= 0;
        Info info{-1, parent < 0 ? 0 : infos[static_cast<std::size_t>(parent)].depth + 1};
        if (parentKept && std::llabs(area) > speckle) {
          info.kept = kept++;
          b.area = area;
          b.hole = hole;
          b.depth = info.depth;
          b.parent = parent < 0 ? -1 : infos[static_cast<std::size_t>(parent)].kept;
          sink(b);
        }
        infos.push_back(info);
        stack.push_back(id);
      }
    }
    for (int x : touched) rowId[static_cast<std::size_t>(x)] = -1;
    touched.clear();
  }
}

}  // namespace plexa::faith
