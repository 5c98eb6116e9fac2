#include "plexa/raster/internal/linelabels.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <vector>

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
    table[static_cast<std::size_t>(mask)] = static_cast<unsigned char>(runs == 0 ? 1 : runs);
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

// Largest crowded group that CountBranches follows; beyond it the count is local.
constexpr std::size_t kMaxCrowd = 64;

int RingMask(const CByteMatrix& m, int x, int y) {
  int mask = 0;
  for (int k = 0; k < 8; ++k)
    if (m.Get(x + kRingDx[k], y + kRingDy[k]) != kEmpty) mask |= 1 << k;
  return mask;
}

}  // namespace

int CountNeighbours(const CByteMatrix& m, int x, int y) {
  if (m.Get(x, y) == kEmpty) return 0;
  int n = 0;
  for (int k = 0; k < 8; ++k) n += m.Get(x + kRingDx[k], y + kRingDy[k]) != kEmpty ? 1 : 0;
  return n;
}

int CountBranches(const CByteMatrix& m, int x, int y) {
  if (m.Get(x, y) == kEmpty) return 0;
  if (CountNeighbours(m, x, y) < 3) return kBranches[static_cast<std::size_t>(RingMask(m, x, y))];
  // The crowded group: cells of three or more neighbours 8-connected to (x, y), at most
  // kMaxCrowd of them. Its branches are the groups of touching line cells just outside it.
  struct Cell {
    int x, y;
  };
  std::vector<Cell> crowd{{x, y}}, exits;
  auto has = [](const std::vector<Cell>& v, int cx, int cy) {
    return std::any_of(v.begin(), v.end(), [&](const Cell& c) { return c.x == cx && c.y == cy; });
  };
  for (std::size_t i = 0; i < crowd.size(); ++i) {
    for (int k = 0; k < 8; ++k) {
      const int nx = crowd[i].x + kRingDx[k], ny = crowd[i].y + kRingDy[k];
      if (m.Get(nx, ny) == kEmpty || has(crowd, nx, ny)) continue;
      if (CountNeighbours(m, nx, ny) >= 3) {
        if (crowd.size() >= kMaxCrowd)  // a thick patch, not a junction: look locally
          return kBranches[static_cast<std::size_t>(RingMask(m, x, y))];
        crowd.push_back({nx, ny});
      } else if (!has(exits, nx, ny)) {
        exits.push_back({nx, ny});
      }
    }
  }
  // Exits were collected before every crowded cell was known; drop those that joined it.
  std::erase_if(exits, [&](const Cell& c) { return has(crowd, c.x, c.y); });
  int groups = 0;
  std::vector<int> label(exits.size(), -1);
  for (std::size_t i = 0; i < exits.size(); ++i) {
    if (label[i] >= 0) continue;
    label[i] = groups;
    std::vector<std::size_t> stack{i};
    while (!stack.empty()) {
      const std::size_t j = stack.back();
      stack.pop_back();
      for (std::size_t k = 0; k < exits.size(); ++k)
        if (label[k] < 0 && std::abs(exits[k].x - exits[j].x) <= 1 &&
            std::abs(exits[k].y - exits[j].y) <= 1)
          label[k] = groups, stack.push_back(k);
    }
    ++groups;
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
      // stem meets a bar) are cleared first: a walk could pass beside them.
      for (const Cell& c : cluster)
        if (CountNeighbours(m, c.x, c.y) >= 3 &&
            kGroups[static_cast<std::size_t>(RingMask(m, c.x, c.y))] == 1)
          m.Set(c.x, c.y, kEmpty);
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
      std::vector<const Cell*> demoted;
      for (const Cell* c : order) {
        const bool touches = std::any_of(demoted.begin(), demoted.end(), [&](const Cell* d) {
          return std::abs(d->x - c->x) <= 1 && std::abs(d->y - c->y) <= 1;
        });
        bool gate = false;  // the first cell of a branch, just outside the cluster
        for (int k = 0; k < 8 && !gate; ++k) {
          const int nx = c->x + kRingDx[k], ny = c->y + kRingDy[k];
          gate = m.Get(nx, ny) == kLine && !seen[at(nx, ny)];
        }
        if (touches || !gate) continue;
        m.Set(c->x, c->y, kLine);
        demoted.push_back(c);
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
