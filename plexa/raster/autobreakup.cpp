#include "plexa/raster/autobreakup.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <numbers>
#include <numeric>
#include <unordered_map>
#include <vector>

#include "plexa/core/internal/numerics.h"
#include "plexa/platform/internal/grow.h"
#include "plexa/raster/imgproc.h"
#include "plexa/raster/skeleton.h"

using PLEXA::CDPOINT;

namespace {

// Resolution assumed when the host gives none.
constexpr double kDefaultDpi = 96.0;
// Line ends closer than this (pixels) meet at one node of the centre-line graph.
constexpr double kJoinReach = 2.5;
// Flattening resolution of the skeleton's curves before resampling, in pixels.
constexpr double kSkeletonFlatten = 0.5;
// Chamfer weights of a straight and a diagonal step (3-4 chamfer, divided by 3 at the end).
constexpr int kStraight = 3, kDiagonal = 4;
// Extra pixels searched around a neck for outline points, beyond its half width.
constexpr int kChordSearchMargin = 3;
// Chords whose middles lie within this many times the wider chord's length are one neck.
constexpr double kChordSpacing = 2.0;

using Line = std::vector<CDPOINT>;

struct Mask {
  int w = 0, h = 0;
  std::vector<std::uint8_t> on;
  bool At(int x, int y) const {
    return x >= 0 && y >= 0 && x < w && y < h && on[static_cast<std::size_t>(y) * w + x] != 0;
  }
};

// Chamfer distance (pixels) of every region pixel to the nearest non-region pixel; the
// outside of the picture counts as non-region. Non-region pixels hold 0.
std::vector<float> Distances(const Mask& m) {
  const int big = 1 << 28;
  std::vector<int> d(m.on.size());
  for (std::size_t i = 0; i < d.size(); ++i) d[i] = m.on[i] ? big : 0;
  auto get = [&](int x, int y) {
    return x < 0 || y < 0 || x >= m.w || y >= m.h ? 0 : d[static_cast<std::size_t>(y) * m.w + x];
  };
  for (int y = 0; y < m.h; ++y)
    for (int x = 0; x < m.w; ++x) {
      int& v = d[static_cast<std::size_t>(y) * m.w + x];
      if (v == 0) continue;
      v = std::min({v, get(x - 1, y) + kStraight, get(x, y - 1) + kStraight,
                    get(x - 1, y - 1) + kDiagonal, get(x + 1, y - 1) + kDiagonal});
    }
  for (int y = m.h - 1; y >= 0; --y)
    for (int x = m.w - 1; x >= 0; --x) {
      int& v = d[static_cast<std::size_t>(y) * m.w + x];
      if (v == 0) continue;
      v = std::min({v, get(x + 1, y) + kStraight, get(x, y + 1) + kStraight,
                    get(x + 1, y + 1) + kDiagonal, get(x - 1, y + 1) + kDiagonal});
    }
  std::vector<float> out(d.size());
  for (std::size_t i = 0; i < d.size(); ++i) out[i] = static_cast<float>(d[i]) / kStraight;
  return out;
}

// The width of the region at p: twice the distance to its edge, less the centre pixel's
// own half on each side (a one-pixel line is 1 wide).
double WidthAt(const Mask& m, const std::vector<float>& dist, const CDPOINT& p) {
  const int x = std::clamp(static_cast<int>(std::lround(p.x)), 0, m.w - 1);
  const int y = std::clamp(static_cast<int>(std::lround(p.y)), 0, m.h - 1);
  return std::max(0.0, 2.0 * dist[static_cast<std::size_t>(y) * m.w + x] - 1.0);
}

// Points every pixel of arc length along the polyline, its ends included.
Line Resample(const Line& in) {
  Line out;
  if (in.empty()) return out;
  out.push_back(in.front());
  double carry = 0.0;
  for (std::size_t i = 1; i < in.size(); ++i) {
    const CDPOINT a = in[i - 1], b = in[i];
    const double len = plexa::num::Dist(a, b);
    double t = 1.0 - carry;
    for (; t <= len; t += 1.0) out.push_back(plexa::num::Lerp(a, b, t / len));
    carry = len - (t - 1.0);
  }
  if (plexa::num::Dist(out.back(), in.back()) > 1e-9) out.push_back(in.back());
  return out;
}

double LineLength(const Line& l) {
  double s = 0.0;
  for (std::size_t i = 1; i < l.size(); ++i) s += plexa::num::Dist(l[i - 1], l[i]);
  return s;
}

// The centre lines of the region, in pixels, resampled at one pixel.
std::vector<Line> CentreLines(HBITMAP bmp, double dpi) {
  CSkeleton skeleton;
  skeleton.InputMono(bmp, dpi, dpi);
  CPolyPolyBezier paths;
  skeleton.Output(paths);
  std::vector<Line> lines;
  for (INT_PTR i = 0; i < paths.GetSize(); ++i) {
    const CBPointArray* path = paths.GetAt(static_cast<int>(i));
    if (path == nullptr) continue;
    CArray<CDPOINT> pts;
    CDWordArray segEnds;
    path->ExecuteBPointArrayT(pts, segEnds, kSkeletonFlatten);
    Line l;
    for (const CDPOINT& p : pts) l.push_back(CDPOINT(p.x - 1.0, p.y - 1.0));  // cells to pixels
    if (l.size() >= 2) lines.push_back(Resample(l));
  }
  return lines;
}

struct UnionFind {
  std::vector<int> parent;
  explicit UnionFind(int n) : parent(static_cast<std::size_t>(n)) {
    std::iota(parent.begin(), parent.end(), 0);
  }
  int Find(int a) {
    while (parent[static_cast<std::size_t>(a)] != a)
      a = parent[static_cast<std::size_t>(a)] =
          parent[static_cast<std::size_t>(parent[static_cast<std::size_t>(a)])];
    return a;
  }
  void Join(int a, int b) { parent[static_cast<std::size_t>(Find(a))] = Find(b); }
};

// Rule 3: drops spurs and joins lines that meet two by two.
std::vector<Line> FilterSpurs(std::vector<Line> lines, const Mask& m,
                              const std::vector<float>& dist) {
  const int n = static_cast<int>(lines.size());
  if (n == 0) return lines;
  // End e of line i is end id 2i + e; ends within kJoinReach share a node.
  auto endPoint = [&](int id) {
    const Line& l = lines[static_cast<std::size_t>(id / 2)];
    return id % 2 ? l.back() : l.front();
  };
  UnionFind uf(2 * n);
  std::unordered_map<long long, std::vector<int>> cells;
  auto key = [](long long cx, long long cy) { return cx * 2654435761LL + cy; };
  for (int id = 0; id < 2 * n; ++id) {
    const CDPOINT p = endPoint(id);
    const long long cx = static_cast<long long>(std::floor(p.x / kJoinReach));
    const long long cy = static_cast<long long>(std::floor(p.y / kJoinReach));
    for (long long dy = -1; dy <= 1; ++dy)
      for (long long dx = -1; dx <= 1; ++dx) {
        auto it = cells.find(key(cx + dx, cy + dy));
        if (it == cells.end()) continue;
        for (int other : it->second)
          if (plexa::num::Dist(p, endPoint(other)) <= kJoinReach) uf.Join(id, other);
      }
    cells[key(cx, cy)].push_back(id);
  }
  std::vector<int> node(static_cast<std::size_t>(2 * n));
  for (int id = 0; id < 2 * n; ++id) node[static_cast<std::size_t>(id)] = uf.Find(id);
  std::vector<int> degree(static_cast<std::size_t>(2 * n), 0);
  for (int id = 0; id < 2 * n; ++id) ++degree[static_cast<std::size_t>(node[id])];

  std::vector<bool> alive(static_cast<std::size_t>(n), true);
  for (int i = 0; i < n; ++i) {
    const int d0 = degree[static_cast<std::size_t>(node[2 * i])];
    const int d1 = degree[static_cast<std::size_t>(node[2 * i + 1])];
    if (!((d0 == 1 && d1 >= 3) || (d1 == 1 && d0 >= 3))) continue;
    const Line& l = lines[static_cast<std::size_t>(i)];
    const CDPOINT base = d0 == 1 ? l.back() : l.front();
    if (LineLength(l) < kBreakUpSpurFactor * WidthAt(m, dist, base))
      alive[static_cast<std::size_t>(i)] = false;
  }
  std::fill(degree.begin(), degree.end(), 0);
  std::vector<std::vector<int>> atNode(static_cast<std::size_t>(2 * n));
  for (int id = 0; id < 2 * n; ++id)
    if (alive[static_cast<std::size_t>(id / 2)]) {
      ++degree[static_cast<std::size_t>(node[id])];
      atNode[static_cast<std::size_t>(node[id])].push_back(id);
    }

  // Chains through nodes of degree 2 become one line. Each line is taken once.
  std::vector<bool> taken(static_cast<std::size_t>(n), false);
  std::vector<Line> out;
  auto other = [&](int id) {  // the other end id at the same node of degree 2, or -1
    const int nd = node[static_cast<std::size_t>(id)];
    if (degree[static_cast<std::size_t>(nd)] != 2) return -1;
    for (int e : atNode[static_cast<std::size_t>(nd)])
      if (e != id) return e;
    return -1;
  };
  for (int i = 0; i < n; ++i) {
    if (!alive[static_cast<std::size_t>(i)] || taken[static_cast<std::size_t>(i)]) continue;
    // Walk backwards from end 0 to the chain's first line, then forwards collecting.
    int startEnd = 2 * i;  // the end we leave the current line by, walking backwards
    for (int guard = 0; guard < n; ++guard) {
      const int e = other(startEnd);
      if (e < 0 || e / 2 == i) break;
      startEnd = (e / 2) * 2 + (1 - e % 2);
    }
    Line chain;
    int entry = startEnd;  // enter this line at end `entry`
    for (int guard = 0; guard <= n; ++guard) {
      const int li = entry / 2;
      if (taken[static_cast<std::size_t>(li)]) break;
      taken[static_cast<std::size_t>(li)] = true;
      const Line& l = lines[static_cast<std::size_t>(li)];
      if (entry % 2 == 0)
        chain.insert(chain.end(), l.begin() + (chain.empty() ? 0 : 1), l.end());
      else
        chain.insert(chain.end(), l.rbegin() + (chain.empty() ? 0 : 1), l.rend());
      const int leave = li * 2 + (1 - entry % 2);
      const int e = other(leave);
      if (e < 0) break;
      entry = e;
    }
    if (chain.size() >= 2) out.push_back(std::move(chain));
  }
  return out;
}

struct Chord {
  CDPOINT a, b;
  int ringA, idxA, ringB, idxB;
  double Length() const { return plexa::num::Dist(a, b); }
  CDPOINT Mid() const { return plexa::num::Lerp(a, b, 0.5); }
};

bool Cross(const Chord& p, const Chord& q) {
  auto orient = [](const CDPOINT& a, const CDPOINT& b, const CDPOINT& c) {
    return plexa::num::Cross(CDPOINT(b.x - a.x, b.y - a.y), CDPOINT(c.x - a.x, c.y - a.y));
  };
  const double d1 = orient(p.a, p.b, q.a), d2 = orient(p.a, p.b, q.b);
  const double d3 = orient(q.a, q.b, p.a), d4 = orient(q.a, q.b, p.b);
  if (d1 == 0 && d2 == 0) {  // in line: they cross only where their extents overlap
    return std::max(std::min(p.a.x, p.b.x), std::min(q.a.x, q.b.x)) <=
               std::min(std::max(p.a.x, p.b.x), std::max(q.a.x, q.b.x)) &&
           std::max(std::min(p.a.y, p.b.y), std::min(q.a.y, q.b.y)) <=
               std::min(std::max(p.a.y, p.b.y), std::max(q.a.y, q.b.y));
  }
  return d1 * d2 <= 0 && d3 * d4 <= 0;
}

// The inclinations of one piece.
CArray<double, double>* Inclinations(const CArray<CDPOINT, CDPOINT>& pts) {
  auto out = std::make_unique<CArray<double, double>>();
  const INT_PTR n = pts.GetSize();
  out->SetSize(n);
  const bool closed = n >= 3 && pts[0].x == pts[n - 1].x && pts[0].y == pts[n - 1].y;
  const INT_PTR m = closed ? n - 1 : n;
  for (INT_PTR i = 0; i < n; ++i) {
    INT_PTR a = i - kBreakUpTangentReach, b = i + kBreakUpTangentReach;
    if (closed) {
      a = ((a % m) + m) % m, b = b % m;
    } else {
      a = std::max<INT_PTR>(a, 0), b = std::min(b, n - 1);
    }
    const double dx = pts[b].x - pts[a].x, dy = pts[b].y - pts[a].y;
    double angle =
        std::isfinite(dx) && std::isfinite(dy) && (dx != 0 || dy != 0) ? std::atan2(dy, dx) : 0.0;
    if (angle <= -std::numbers::pi) angle = std::numbers::pi;
    (*out)[i] = angle;
  }
  return out.release();
}

}  // namespace

bool CAutoBreakUp::AutoBreakUp(HBITMAP bmp, double scale, CPolyPolyDPoint& outlines,
                               CPolyPolyInclination& incl) {
  incl.RemoveAll();
  auto refuse = [&] {
    outlines.RemoveAll();
    incl.RemoveAll();
    return false;
  };
  // Rule 1: the complexity limit.
  tagBITMAP bm{};
  if (bmp == nullptr || GetObjectW(bmp, sizeof bm, &bm) == 0 || bm.bmBitsPixel != 1 ||
      bm.bmWidth <= 0 || bm.bmHeight <= 0 || bm.bmBits == nullptr)
    return refuse();
  if (static_cast<long long>(bm.bmWidth) * bm.bmHeight > kBreakUpMaxPixels) return refuse();
  if (outlines.GetSize() > kBreakUpMaxLines) return refuse();
  long long total = 0;
  std::vector<std::vector<CDPOINT>> rings;
  for (INT_PTR i = 0; i < outlines.GetSize(); ++i) {
    const auto* r = outlines.GetAt(static_cast<int>(i));
    if (r == nullptr) continue;
    total += r->GetSize();
    if (total > kBreakUpMaxPoints) return refuse();
    rings.emplace_back(r->GetData(), r->GetData() + r->GetSize());
  }
  const double dpi = std::isfinite(scale) && scale >= 1.0 ? scale : kDefaultDpi;

  Mask m;
  m.w = bm.bmWidth, m.h = bm.bmHeight;
  m.on.resize(static_cast<std::size_t>(m.w) * m.h);
  for (int y = 0; y < m.h; ++y)
    for (int x = 0; x < m.w; ++x)
      m.on[static_cast<std::size_t>(y) * m.w + x] = CImgProc::GetPixel(bm, x, y) ? 1 : 0;

  // Which rings are usable: finite points, closed (first repeated at the end).
  std::vector<bool> usable(rings.size());
  for (std::size_t r = 0; r < rings.size(); ++r) {
    const auto& ring = rings[r];
    bool ok =
        ring.size() >= 3 && ring.front().x == ring.back().x && ring.front().y == ring.back().y;
    for (const CDPOINT& p : ring) ok = ok && std::isfinite(p.x) && std::isfinite(p.y);
    usable[r] = ok;
  }
  // Outline points by pixel, for the chords' search.
  std::vector<int> owner(m.on.size(), -1);
  std::vector<std::pair<int, int>> refs;  // (ring, index) by owner id
  for (std::size_t r = 0; r < rings.size(); ++r) {
    if (!usable[r]) continue;
    for (std::size_t i = 0; i + 1 < rings[r].size(); ++i) {
      const long long x = std::llround(rings[r][i].x), y = std::llround(rings[r][i].y);
      if (x < 0 || y < 0 || x >= m.w || y >= m.h) continue;
      int& o = owner[static_cast<std::size_t>(y * m.w + x)];
      if (o >= 0) continue;
      o = static_cast<int>(refs.size());
      refs.push_back({static_cast<int>(r), static_cast<int>(i)});
    }
  }

  // Rules 2 to 5: necks from the centre lines, chords narrowest first.
  const std::vector<float> dist = Distances(m);
  const std::vector<Line> lines = FilterSpurs(CentreLines(bmp, dpi), m, dist);
  const double neckLimit =
      std::clamp(kBreakUpNeckInches * dpi, kBreakUpNeckMinPixels, kBreakUpNeckMaxPixels);
  std::vector<Chord> chords;
  for (const Line& l : lines) {
    const std::size_t n = l.size();
    if (n < 3) continue;
    std::vector<double> w(n), left(n), right(n);
    for (std::size_t i = 0; i < n; ++i) w[i] = WidthAt(m, dist, l[i]);
    left[0] = w[0];
    for (std::size_t i = 1; i < n; ++i) left[i] = std::max(left[i - 1], w[i]);
    right[n - 1] = w[n - 1];
    for (std::size_t i = n - 1; i-- > 0;) right[i] = std::max(right[i + 1], w[i]);
    auto candidate = [&](std::size_t i) {
      return i > 0 && i + 1 < n && w[i] <= neckLimit && w[i] <= kBreakUpNeckRatio * left[i - 1] &&
             w[i] <= kBreakUpNeckRatio * right[i + 1];
    };
    for (std::size_t i = 1; i + 1 < n;) {
      if (!candidate(i)) {
        ++i;
        continue;
      }
      std::size_t j = i, first = i, last = i;
      for (; j + 1 < n && candidate(j); ++j) {
        if (w[j] < w[first]) first = last = j;
        if (w[j] == w[first]) last = j;
      }
      i = j;
      const CDPOINT p = l[(first + last) / 2];
      // The nearest outline point, then the nearest one on the opposite side.
      const int reach = static_cast<int>(std::ceil(w[first] / 2.0)) + kChordSearchMargin;
      const int px = static_cast<int>(std::lround(p.x)), py = static_cast<int>(std::lround(p.y));
      int best = -1, opposite = -1;
      double bestD = 1e300, oppD = 1e300;
      for (int pass = 0; pass < 2; ++pass)
        for (int y = py - reach; y <= py + reach; ++y)
          for (int x = px - reach; x <= px + reach; ++x) {
            if (x < 0 || y < 0 || x >= m.w || y >= m.h) continue;
            const int o = owner[static_cast<std::size_t>(y) * m.w + x];
            if (o < 0) continue;
            const CDPOINT q(x, y);
            const double d = plexa::num::Dist(p, q);
            if (pass == 0 && d < bestD) bestD = d, best = o;
            if (pass == 1 && best >= 0) {
              const auto& [br, bi] = refs[static_cast<std::size_t>(best)];
              const CDPOINT a = rings[static_cast<std::size_t>(br)][static_cast<std::size_t>(bi)];
              if (plexa::num::Dot(CDPOINT(a.x - p.x, a.y - p.y), CDPOINT(q.x - p.x, q.y - p.y)) <
                      0 &&
                  d < oppD)
                oppD = d, opposite = o;
            }
          }
      if (best < 0 || opposite < 0) continue;
      const auto [ra, ia] = refs[static_cast<std::size_t>(best)];
      const auto [rb, ib] = refs[static_cast<std::size_t>(opposite)];
      chords.push_back({rings[static_cast<std::size_t>(ra)][static_cast<std::size_t>(ia)],
                        rings[static_cast<std::size_t>(rb)][static_cast<std::size_t>(ib)], ra, ia,
                        rb, ib});
    }
  }
  std::stable_sort(chords.begin(), chords.end(),
                   [](const Chord& a, const Chord& b) { return a.Length() < b.Length(); });
  std::vector<std::vector<int>> breaks(rings.size());
  std::vector<Chord> accepted;
  for (const Chord& c : chords) {
    bool keep = true;
    for (const Chord& k : accepted)
      if (Cross(c, k) ||
          plexa::num::Dist(c.Mid(), k.Mid()) < kChordSpacing * std::max(c.Length(), k.Length()))
        keep = false;
    if (!keep) continue;
    accepted.push_back(c);
    breaks[static_cast<std::size_t>(c.ringA)].push_back(c.idxA);
    breaks[static_cast<std::size_t>(c.ringB)].push_back(c.idxB);
  }

  // Rule 6: narrow gaps left by cut lines.
  const int dirs[4][2] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
  for (std::size_t r = 0; r < rings.size(); ++r) {
    if (!usable[r]) continue;
    const auto& ring = rings[r];
    const std::size_t cnt = ring.size() - 1;
    std::vector<bool> cut(cnt, false);
    for (std::size_t i = 0; i < cnt; ++i) {
      const int x = static_cast<int>(std::lround(ring[i].x));
      const int y = static_cast<int>(std::lround(ring[i].y));
      for (const auto& d : dirs) {
        const int nx = x + d[0], ny = y + d[1];
        if (nx < 0 || ny < 0 || nx >= m.w || ny >= m.h || m.At(nx, ny)) continue;
        for (int k = 2; k <= kBreakUpGapPixels + 1 && !cut[i]; ++k)
          cut[i] = m.At(x + k * d[0], y + k * d[1]);
      }
    }
    if (std::all_of(cut.begin(), cut.end(), [](bool b) { return b; })) continue;
    // Start the cyclic scan at a point off any cut, so runs do not wrap; runs separated by
    // a short gap (a cut's end, seen from below) become one.
    std::size_t s = 0;
    while (cut[s]) ++s;
    std::vector<std::pair<std::size_t, std::size_t>> runs;  // [first, last] in scan steps
    for (std::size_t k = 0; k < cnt;) {
      if (!cut[(s + k) % cnt]) {
        ++k;
        continue;
      }
      std::size_t len = 0;
      while (k + len < cnt && cut[(s + k + len) % cnt]) ++len;
      if (!runs.empty() && k - runs.back().second <= 2 * kBreakUpGapPixels)
        runs.back().second = k + len - 1;
      else
        runs.push_back({k, k + len - 1});
      k += len;
    }
    for (const auto& [first, last] : runs)
      if (last - first + 1 >= static_cast<std::size_t>(kBreakUpMinRun)) {
        breaks[r].push_back(static_cast<int>((s + first) % cnt));
        breaks[r].push_back(static_cast<int>((s + last) % cnt));
      }
  }

  // Rules 7 and 8: pieces and inclinations.
  outlines.RemoveAll();
  auto emit = [&](std::unique_ptr<CArray<CDPOINT, CDPOINT>> piece) {
    incl.Add(Inclinations(*piece));
    outlines.Add(piece.release());
  };
  for (std::size_t r = 0; r < rings.size(); ++r) {
    const auto& ring = rings[r];
    auto& b = breaks[r];
    std::sort(b.begin(), b.end());
    b.erase(std::unique(b.begin(), b.end()), b.end());
    if (!usable[r] || b.empty()) {
      auto piece = std::make_unique<CArray<CDPOINT, CDPOINT>>();
      piece->SetSize(static_cast<INT_PTR>(ring.size()));
      std::copy(ring.begin(), ring.end(), piece->GetData());
      if (piece->GetSize() >= 2) emit(std::move(piece));
      continue;
    }
    const std::size_t cnt = ring.size() - 1;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t from = static_cast<std::size_t>(b[j]);
      const std::size_t to = j + 1 < b.size() ? static_cast<std::size_t>(b[j + 1])
                                              : static_cast<std::size_t>(b[0]) + cnt;
      auto piece = std::make_unique<CArray<CDPOINT, CDPOINT>>();
      for (std::size_t t = from; t <= to; ++t) plexa::grow::Append(*piece, ring[t % cnt]);
      if (piece->GetSize() >= 2) emit(std::move(piece));
    }
  }
  return true;
}
