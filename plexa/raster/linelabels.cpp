#include "plexa/raster/internal/linelabels.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <vector>

#include "plexa/raster/imgproc.h"

namespace plexa::lines {
namespace {

// Neighbours round the ring E, NE, N, NW, W, SW, S, SE (y down: north is y - 1).
constexpr int kRingDx[8] = {1, 1, 0, -1, -1, -1, 0, 1};
constexpr int kRingDy[8] = {0, -1, -1, -1, 0, 1, 1, 1};
// The walk's fixed order of neighbours.
constexpr int kWalkDx[8] = {-1, -1, -1, 0, 0, 1, 1, 1};
constexpr int kWalkDy[8] = {-1, 0, 1, -1, 1, -1, 0, 1};

// Runs of set cells round the ring (the crossing number): the branches that leave a cell.
constexpr std::array<unsigned char, 256> MakeBranchTable() {
  std::array<unsigned char, 256> table{};
  for (int mask = 1; mask < 256; ++mask) {
    int runs = 0;
    for (int i = 0; i < 8; ++i) runs += ((mask >> i) & 1) && !((mask >> ((i + 1) % 8)) & 1);
    table[static_cast<std::size_t>(mask)] = static_cast<unsigned char>(runs);  // full ring: 0
  }
  return table;
}
constexpr std::array<unsigned char, 256> kBranches = MakeBranchTable();

// Groups among the set ring cells under 8-adjacency: ring neighbours touch, and so do the
// orthogonal cells two steps apart (E-N, N-W, W-S, S-E). One group means that clearing the
// centre keeps its neighbours connected.
constexpr std::array<unsigned char, 256> MakeGroupTable() {
  std::array<unsigned char, 256> table{};
  for (int mask = 0; mask < 256; ++mask) {
    int parent[8] = {0, 1, 2, 3, 4, 5, 6, 7};
    auto find = [&](int a) {
      while (parent[a] != a) a = parent[a];
      return a;
    };
    auto join = [&](int a, int b) {
      if (((mask >> a) & 1) && ((mask >> b) & 1)) parent[find(a)] = find(b);
    };
    for (int i = 0; i < 8; ++i) join(i, (i + 1) % 8);
    for (int i = 0; i < 8; i += 2) join(i, (i + 2) % 8);
    int groups = 0;
    for (int i = 0; i < 8; ++i)
      if (((mask >> i) & 1) && find(i) == i) ++groups;
    table[static_cast<std::size_t>(mask)] = static_cast<unsigned char>(groups);
  }
  return table;
}
constexpr std::array<unsigned char, 256> kGroups = MakeGroupTable();

// How far, in cells, CountBranches follows a crowded group; beyond it the count is local.
constexpr int kCrowdReach = 2;

int RingMask(const CByteMatrix& m, int x, int y) {
  int mask = 0;
  for (int k = 0; k < 8; ++k)
    if (m.Get(x + kRingDx[k], y + kRingDy[k]) != kEmpty) mask |= 1 << k;
  return mask;
}

}  // namespace

bool LoadLines(CByteMatrix& m, const tagBITMAP& bm) {
  if (bm.bmWidth <= 0 || bm.bmHeight <= 0 || bm.bmWidth > kMaxCoordinate ||
      bm.bmHeight > kMaxCoordinate)
    return false;
  m.SetSize(bm.bmWidth + 2, bm.bmHeight + 2);
  for (int y = 0; y < bm.bmHeight; ++y)
    for (int x = 0; x < bm.bmWidth; ++x)
      if (CImgProc::GetPixel(bm, x, y)) m.Set(x + 1, y + 1, kLine);
  return true;
}

int CountNeighbours(const CByteMatrix& m, int x, int y) {
  if (m.Get(x, y) == kEmpty) return 0;
  int n = 0;
  for (int k = 0; k < 8; ++k) n += m.Get(x + kRingDx[k], y + kRingDy[k]) != kEmpty ? 1 : 0;
  return n;
}

int CountBranches(const CByteMatrix& m, int x, int y) {
  if (m.Get(x, y) == kEmpty) return 0;
  const int local = kBranches[static_cast<std::size_t>(RingMask(m, x, y))];
  if (CountNeighbours(m, x, y) < 3) return local;
  // The crowded group: cells of three or more neighbours 8-connected to (x, y) within
  // kCrowdReach cells of it. Its branches are the groups of touching line cells just outside
  // it. A group that reaches further is a thick patch or a staircase, not a junction: the
  // cell's own ring decides. Everything stays in a (2 kCrowdReach + 3)-cell window.
  constexpr int R = kCrowdReach + 1, S = 2 * R + 1;
  unsigned char state[S][S] = {};  // 0 unseen, 1 crowded, 2 exit
  struct Cell {
    int x, y;
  };
  Cell crowd[(2 * kCrowdReach + 1) * (2 * kCrowdReach + 1)];
  int crowded = 0;
  crowd[crowded++] = {x, y};
  state[R][R] = 1;
  for (int i = 0; i < crowded; ++i)
    for (int k = 0; k < 8; ++k) {
      const int nx = crowd[i].x + kRingDx[k], ny = crowd[i].y + kRingDy[k];
      unsigned char& st = state[ny - y + R][nx - x + R];
      if (st == 1 || m.Get(nx, ny) == kEmpty) continue;
      if (CountNeighbours(m, nx, ny) >= 3) {
        if (std::abs(nx - x) > kCrowdReach || std::abs(ny - y) > kCrowdReach) return local;
        st = 1;
        crowd[crowded++] = {nx, ny};
      } else {
        st = 2;
      }
    }
  // Groups of touching exits, by a flood over the window.
  int groups = 0;
  Cell stack[S * S];
  for (int r = 0; r < S; ++r)
    for (int c = 0; c < S; ++c) {
      if (state[r][c] != 2) continue;
      ++groups;
      int top = 0;
      stack[top++] = {c, r};
      state[r][c] = 3;
      while (top > 0) {  // each exit enters once
        const Cell e = stack[--top];
        for (int k = 0; k < 8; ++k) {
          const int cc = e.x + kRingDx[k], rr = e.y + kRingDy[k];
          if (cc < 0 || rr < 0 || cc >= S || rr >= S || state[rr][cc] != 2) continue;
          state[rr][cc] = 3;
          stack[top++] = {cc, rr};
        }
      }
    }
  return groups;
}

void MarkAnchors(CByteMatrix& m) {
  for (int y = 0; y < m.GetHeight(); ++y)
    for (int x = 0; x < m.GetWidth(); ++x) {
      int n = CountNeighbours(m, x, y);
      if (n > 2) n = CountBranches(m, x, y);
      if (n == 1 || n >= 3) m.Set(x, y, kAnchor);
    }
  ReduceAnchorClusters(m);
}

void ReduceAnchorClusters(CByteMatrix& m) {
  const int w = m.GetWidth(), h = m.GetHeight();
  if (w <= 0 || h <= 0) return;
  // Visited anchors, so each cluster is gathered once; the stack and the cluster are reused.
  std::vector<unsigned char> seen(static_cast<std::size_t>(w) * static_cast<std::size_t>(h), 0);
  auto at = [&](int x, int y) { return static_cast<std::size_t>(y) * w + x; };
  struct Cell {
    int x, y;
  };
  std::vector<Cell> stack, cluster;
  for (int y0 = 0; y0 < h; ++y0)
    for (int x0 = 0; x0 < w; ++x0) {
      if (m.Get(x0, y0) != kAnchor || seen[at(x0, y0)]) continue;
      cluster.clear();
      stack.assign(1, {x0, y0});
      seen[at(x0, y0)] = 1;
      while (!stack.empty()) {  // each anchor enters once: bounded by the raster
        const Cell c = stack.back();
        stack.pop_back();
        cluster.push_back(c);
        for (int k = 0; k < 8; ++k) {
          const int nx = c.x + kRingDx[k], ny = c.y + kRingDy[k];
          if (m.Get(nx, ny) == kAnchor && !seen[at(nx, ny)]) {
            seen[at(nx, ny)] = 1;
            stack.push_back({nx, ny});
          }
        }
      }
      if (cluster.size() < 2) continue;
      // Junction cells whose neighbours stay connected without them (the corner cell where a
      // stem meets a bar) are cleared first: a walk could pass beside them. One of the four
      // side neighbours must be empty, or clearing the cell would open a hole.
      for (const Cell& c : cluster) {
        const int ring = RingMask(m, c.x, c.y);
        if (CountNeighbours(m, c.x, c.y) >= 3 && kGroups[static_cast<std::size_t>(ring)] == 1 &&
            (ring & 0x55) != 0x55)
          m.Set(c.x, c.y, kEmpty);
      }
      std::erase_if(cluster, [&](const Cell& c) { return m.Get(c.x, c.y) == kEmpty; });
      double mx = 0, my = 0;
      int junctions = 0;
      for (const Cell& c : cluster)
        if (CountNeighbours(m, c.x, c.y) != 1) mx += c.x, my += c.y, ++junctions;
      if (junctions < 2) continue;
      mx /= junctions, my /= junctions;
      const Cell* keep = nullptr;
      int keepN = -1;
      double keepD = std::numeric_limits<double>::infinity();
      std::int64_t keepOrder = 0;
      for (const Cell& c : cluster) {
        const int n = CountNeighbours(m, c.x, c.y);
        if (n == 1) continue;
        const double d = (c.x - mx) * (c.x - mx) + (c.y - my) * (c.y - my);
        const std::int64_t order = std::int64_t{c.y} * w + c.x;
        if (n > keepN || (n == keepN && (d < keepD || (d == keepD && order < keepOrder)))) {
          keep = &c, keepN = n, keepD = d, keepOrder = order;
        }
      }
      // Demote the others nearest first, but only cells where a branch enters the cluster and
      // never two touching ones: a walk could step from one line cell to the next and pass the
      // kept anchor by, or bounce off a cell that leads nowhere else.
      std::vector<const Cell*> order;
      for (const Cell& c : cluster)
        if (&c != keep && CountNeighbours(m, c.x, c.y) != 1) order.push_back(&c);
      auto d2 = [&](const Cell* c) {
        return (c->x - keep->x) * (c->x - keep->x) + (c->y - keep->y) * (c->y - keep->y);
      };
      std::stable_sort(order.begin(), order.end(),
                       [&](const Cell* a, const Cell* b) { return d2(a) < d2(b); });
      for (const Cell* c : order) {
        bool touches = false;  // a demoted cell of this cluster is marked 2 in seen
        for (int k = 0; k < 8 && !touches; ++k) {
          const int nx = c->x + kRingDx[k], ny = c->y + kRingDy[k];
          touches = nx >= 0 && ny >= 0 && nx < w && ny < h && seen[at(nx, ny)] == 2;
        }
        bool gate = false;  // the first cell of a branch, just outside the cluster
        for (int k = 0; k < 8 && !gate; ++k) {
          const int nx = c->x + kRingDx[k], ny = c->y + kRingDy[k];
          gate = m.Get(nx, ny) == kLine && !seen[at(nx, ny)];
        }
        if (touches || !gate) continue;
        m.Set(c->x, c->y, kLine);
        seen[at(c->x, c->y)] = 2;
      }
    }
}

bool NextPoint(const CByteMatrix& m, int& x, int& y, bool first) {
  if (m.Get(x, y) == kAnchor && !first) return false;
  for (int k = 0; k < 8; ++k)
    if (m.Get(x + kWalkDx[k], y + kWalkDy[k]) == kLine) {
      x += kWalkDx[k], y += kWalkDy[k];
      return true;
    }
  for (int k = 0; k < 8; ++k)
    if (m.Get(x + kWalkDx[k], y + kWalkDy[k]) != kEmpty) {
      x += kWalkDx[k], y += kWalkDy[k];
      return true;
    }
  return false;
}

void RetireAnchor(CByteMatrix& m, int x, int y) {
  if (m.Get(x, y) != kAnchor) return;
  for (int k = 0; k < 8; ++k)
    if (m.Get(x + kRingDx[k], y + kRingDy[k]) == kLine) return;
  m.Set(x, y, kEmpty);
}

}  // namespace plexa::lines
