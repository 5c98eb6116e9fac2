// The planar graph of the snap-rounded edges (arrangement_snap.cpp: hot pixels, rerouting,
// merging) with exact integer predicates, its faces' windings and the result's loops.
//
// 4. Outgoing half-edges are sorted around each vertex exactly (half-plane, then cross
//    product); faces are the cycles of next(h) = the half-edge clockwise after twin(h).
//    The outer face of each connected component is the one left of the half-edge at the
//    component's lowest-leftmost vertex that is last below the direction (-1, 0); its winding
//    comes from a leftward ray cast from that vertex over all edges (a half-open crossing
//    rule; no other component passes through the vertex after snapping). Breadth-first
//    search across edges then gives every face: w(left of h) = w(right of h) + c(h).
// 5. Edges whose two faces differ in the predicate are kept with the inside on their left;
//    kept half-edges are linked by rotating clockwise around each vertex, so loops touching
//    at a vertex stay separate simple loops. The tree: the nearest kept edge of another loop
//    to the left of a loop's lowest-leftmost vertex belongs to its parent (when the vertex is
//    inside that loop's polygon) or to a sibling (then the sibling's parent is the parent).
//    When several edges meet that leftward line at one vertex, the one rising at the smallest
//    angle is the nearest. Loops that touch the vertex itself are passed by turning around it
//    from the leftward direction to the loop's lower edge, entering and leaving them.
//
// Every vector lives in the result's memory resource: the caller's arena for the call.
#include "plexa/analysis/internal/arrangement.h"

#include <algorithm>
#include <numeric>

#include "plexa/analysis/internal/arrangement_snap.h"

namespace plexa::arr {
namespace {

using detail::Edge;
using detail::i128;
using detail::Orient;
using std::int64_t;

bool Inside(int w, bool evenOdd) {
  return evenOdd ? (w & 1) != 0 : w != 0;
}
bool Predicate(const Rule& r, int wa, int wb) {
  const bool a = Inside(wa, r.evenOdd), b = Inside(wb, r.evenOdd);
  switch (r.op) {
    case Op::kUnion:
      return a || b;
    case Op::kIntersection:
      return a && b;
    case Op::kDifference:
      return a && !b;
    case Op::kXor:
      return a != b;
  }
  return false;
}

// Upper half-plane first (angles [0, pi)), then by cross product: counter-clockwise order.
bool AngleLess(const IPoint& a, const IPoint& b) {
  const bool ha = a.y > 0 || (a.y == 0 && a.x > 0), hb = b.y > 0 || (b.y == 0 && b.x > 0);
  if (ha != hb) return ha;
  return a.x * b.y - a.y * b.x > 0;
}

}  // namespace

bool BuildBoolean(std::span<const InputEdge> input, Rule rule, Result& result,
                  ArrangementStats* stats) {
  std::pmr::memory_resource* mem = result.vertices.get_allocator().resource();
  result.vertices.clear(), result.edges.clear(), result.loops.clear();
  if (stats) *stats = {};
  detail::Snapped snapped(mem);
  if (!detail::SnapRound(input, mem, snapped)) return false;
  if (stats) *stats = snapped.stats;
  const std::pmr::vector<IPoint>& hot = snapped.hot;
  const std::pmr::vector<Edge>& edges = snapped.edges;
  const detail::Grid& g = snapped.grid;
  if (edges.empty()) return true;

  // ---- Half-edges around vertices ----
  const std::size_t nh = 2 * edges.size();
  auto origin = [&](std::size_t h) { return h & 1 ? edges[h >> 1].v : edges[h >> 1].u; };
  auto dest = [&](std::size_t h) { return h & 1 ? edges[h >> 1].u : edges[h >> 1].v; };
  std::pmr::vector<IPoint> dirs(nh, mem);
  for (std::size_t h = 0; h < nh; ++h) {
    const IPoint& a = hot[static_cast<std::size_t>(origin(h))];
    const IPoint& b = hot[static_cast<std::size_t>(dest(h))];
    dirs[h] = {b.x - a.x, b.y - a.y};
  }
  auto dir = [&](std::size_t h) -> const IPoint& { return dirs[h]; };
  std::pmr::vector<std::size_t> vstart(hot.size() + 1, 0, mem);
  for (std::size_t h = 0; h < nh; ++h) ++vstart[static_cast<std::size_t>(origin(h)) + 1];
  for (std::size_t v = 0; v < hot.size(); ++v) vstart[v + 1] += vstart[v];
  std::pmr::vector<int> out(nh, mem);
  {
    std::pmr::vector<std::size_t> fill(vstart.begin(), vstart.end() - 1, mem);
    for (std::size_t h = 0; h < nh; ++h)
      out[fill[static_cast<std::size_t>(origin(h))]++] = static_cast<int>(h);
  }
  // Sorted counter-clockwise around each vertex; cwAfter[h]: the half-edge out of origin(h) next
  // clockwise after h.
  std::pmr::vector<int> cwAfter(nh, mem);
  for (std::size_t v = 0; v < hot.size(); ++v) {
    const std::size_t k0 = vstart[v], k1 = vstart[v + 1];
    if (k1 - k0 > 1)
      std::sort(out.begin() + static_cast<std::ptrdiff_t>(k0),
                out.begin() + static_cast<std::ptrdiff_t>(k1), [&](int a, int b) {
                  return AngleLess(dirs[static_cast<std::size_t>(a)],
                                   dirs[static_cast<std::size_t>(b)]);
                });
    for (std::size_t k = k0; k < k1; ++k)
      cwAfter[static_cast<std::size_t>(out[k])] = out[k == k0 ? k1 - 1 : k - 1];
  }
  // The half-edge out of dest(h) that comes next clockwise after twin(h), among those `ok`.
  auto turn = [&](std::size_t h, auto ok) -> std::size_t {
    const std::size_t v = static_cast<std::size_t>(dest(h));
    const std::size_t deg = vstart[v + 1] - vstart[v];
    std::size_t c = static_cast<std::size_t>(cwAfter[h ^ 1]);
    for (std::size_t step = 0; step < deg; ++step, c = static_cast<std::size_t>(cwAfter[c]))
      if (ok(c)) return c;
    return h ^ 1;
  };

  // ---- Faces ----
  std::pmr::vector<int> faceOf(nh, -1, mem);
  std::pmr::vector<std::size_t> faceStart(1, 0, mem);
  std::pmr::vector<int> faceEdges(mem);
  faceEdges.reserve(nh);
  for (std::size_t h0 = 0; h0 < nh; ++h0) {
    if (faceOf[h0] >= 0) continue;
    const int f = static_cast<int>(faceStart.size()) - 1;
    std::size_t h = h0;
    for (std::size_t step = 0; step < nh && faceOf[h] < 0; ++step) {
      faceOf[h] = f;
      faceEdges.push_back(static_cast<int>(h));
      h = static_cast<std::size_t>(cwAfter[h ^ 1]);
    }
    faceStart.push_back(faceEdges.size());
  }
  const std::size_t nfaces = faceStart.size() - 1;

  // Rows of the grid with the edges whose y-range meets them: the ray casts look at one row.
  detail::Buckets rows(mem);
  detail::MakeBuckets(rows, static_cast<std::size_t>(g.ny), edges.size(), 1,
                      [&](std::size_t i, int64_t& x0, int64_t& y0, int64_t& x1, int64_t& y1) {
                        x0 = x1 = 0;
                        const IPoint& a = hot[static_cast<std::size_t>(edges[i].u)];
                        const IPoint& b = hot[static_cast<std::size_t>(edges[i].v)];
                        y0 = g.Cy(std::min(a.y, b.y)), y1 = g.Cy(std::max(a.y, b.y));
                      });
  // Crossing of edge i with the leftward ray from p (half-open in y), strictly left of p.
  auto crossesLeft = [&](int i, const IPoint& p, bool& down) {
    const IPoint& a = hot[static_cast<std::size_t>(edges[static_cast<std::size_t>(i)].u)];
    const IPoint& b = hot[static_cast<std::size_t>(edges[static_cast<std::size_t>(i)].v)];
    if ((a.y > p.y) == (b.y > p.y)) return false;
    down = a.y > b.y;
    const IPoint& lo = down ? b : a;
    const IPoint& hi = down ? a : b;
    return Orient(lo, hi, p) < 0;
  };

  // ---- Windings: outer face per component by ray cast, then across edges ----
  std::pmr::vector<int> wA(nfaces, 0, mem), wB(nfaces, 0, mem);
  std::pmr::vector<char> known(nfaces, 0, mem);
  std::pmr::vector<int> uf(hot.size(), mem);
  std::iota(uf.begin(), uf.end(), 0);
  auto findRoot = [&](int x) {
    while (uf[static_cast<std::size_t>(x)] != x)
      x = uf[static_cast<std::size_t>(x)] =
          uf[static_cast<std::size_t>(uf[static_cast<std::size_t>(x)])];
    return x;
  };
  // Union by size keeps the trees shallow.
  std::pmr::vector<int> size(hot.size(), 1, mem);
  for (const Edge& e : edges) {
    std::size_t ru = static_cast<std::size_t>(findRoot(e.u)),
                rv = static_cast<std::size_t>(findRoot(e.v));
    if (ru == rv) continue;
    if (size[ru] > size[rv]) std::swap(ru, rv);
    uf[ru] = static_cast<int>(rv), size[rv] += size[ru];
  }
  std::pmr::vector<int> lowest(hot.size(), -1, mem);  // per component root: lowest-leftmost vertex
  for (std::size_t v = 0; v < hot.size(); ++v) {
    if (vstart[v + 1] == vstart[v]) continue;
    int& l = lowest[static_cast<std::size_t>(findRoot(static_cast<int>(v)))];
    if (l < 0 || hot[v] < hot[static_cast<std::size_t>(l)]) l = static_cast<int>(v);
  }
  std::pmr::vector<int> queue(mem);
  for (int v : lowest) {
    if (v < 0) continue;
    const IPoint& p = hot[static_cast<std::size_t>(v)];
    // The outer face: left of the last outgoing half-edge in the upper half-plane, or of the
    // last one overall when none points upward.
    std::size_t h = static_cast<std::size_t>(out[vstart[static_cast<std::size_t>(v) + 1] - 1]);
    for (std::size_t k = vstart[static_cast<std::size_t>(v)];
         k < vstart[static_cast<std::size_t>(v) + 1]; ++k) {
      const IPoint d = dir(static_cast<std::size_t>(out[k]));
      if (d.y > 0 || (d.y == 0 && d.x > 0)) h = static_cast<std::size_t>(out[k]);
    }
    int a = 0, b = 0;
    const std::size_t row = static_cast<std::size_t>(g.Cy(p.y));
    for (int i : rows.Of(row)) {
      bool down;
      if (!crossesLeft(i, p, down)) continue;
      const int s = down ? 1 : -1;
      a += s * edges[static_cast<std::size_t>(i)].cA,
          b += s * edges[static_cast<std::size_t>(i)].cB;
    }
    const int f = faceOf[h];
    if (known[static_cast<std::size_t>(f)]) continue;
    wA[static_cast<std::size_t>(f)] = a, wB[static_cast<std::size_t>(f)] = b,
    known[static_cast<std::size_t>(f)] = 1;
    queue.assign(1, f);
    for (std::size_t qi = 0; qi < queue.size(); ++qi) {
      const std::size_t fc = static_cast<std::size_t>(queue[qi]);
      for (std::size_t k = faceStart[fc]; k < faceStart[fc + 1]; ++k) {
        const std::size_t he = static_cast<std::size_t>(faceEdges[k]);
        const std::size_t gf = static_cast<std::size_t>(faceOf[he ^ 1]);
        if (known[gf]) continue;
        const Edge& e = edges[he >> 1];
        const int sgn = he & 1 ? -1 : 1;
        wA[gf] = wA[fc] - sgn * e.cA, wB[gf] = wB[fc] - sgn * e.cB, known[gf] = 1;
        queue.push_back(static_cast<int>(gf));
      }
    }
  }

  // ---- Kept half-edges, linked into loops ----
  std::pmr::vector<char> kept(nh, 0, mem);
  for (std::size_t i = 0; i < edges.size(); ++i) {
    const std::size_t fl = static_cast<std::size_t>(faceOf[2 * i]),
                      fr = static_cast<std::size_t>(faceOf[2 * i + 1]);
    const bool inL = Predicate(rule, wA[fl], wB[fl]), inR = Predicate(rule, wA[fr], wB[fr]);
    if (inL != inR) kept[inL ? 2 * i : 2 * i + 1] = 1;
  }
  std::pmr::vector<ResultLoop>& loops = result.loops;
  std::pmr::vector<int> loopOf(edges.size(), -1, mem);
  std::pmr::vector<char> used(nh, 0, mem);
  // Vertex ids follow the points' order: the lowest id of a loop is its lowest-leftmost vertex.
  std::pmr::vector<int> lowestIdOfLoop(mem);
  for (std::size_t h0 = 0; h0 < nh; ++h0) {
    if (!kept[h0] || used[h0]) continue;
    ResultLoop loop;
    loop.first = result.vertices.size();
    const int id = static_cast<int>(loops.size());
    std::size_t h = h0;
    i128 area = 0;
    int lowestId = origin(h0);
    for (std::size_t step = 0; step < nh && !used[h]; ++step) {
      used[h] = 1;
      loopOf[h >> 1] = id;
      const IPoint& a = hot[static_cast<std::size_t>(origin(h))];
      const IPoint& b = hot[static_cast<std::size_t>(dest(h))];
      area += static_cast<i128>(a.x) * b.y - static_cast<i128>(b.x) * a.y;
      lowestId = std::min(lowestId, origin(h));
      const Edge& e = edges[h >> 1];
      result.vertices.push_back(a);
      result.edges.push_back({e.source, h & 1 ? e.sv : e.su, h & 1 ? e.su : e.sv});
      h = turn(h, [&](std::size_t c) { return kept[c] != 0; });
    }
    loop.count = result.vertices.size() - loop.first;
    loop.hole = area < 0;
    lowestIdOfLoop.push_back(lowestId);
    loops.push_back(loop);
  }
  auto lowestOfLoop = [&](int li) -> const IPoint& {
    return hot[static_cast<std::size_t>(lowestIdOfLoop[static_cast<std::size_t>(li)])];
  };

  // ---- Tree ----
  struct Touch {
    IPoint back;   // reversed direction of the edge at p
    int loop;      // the loop it belongs to
    bool outward;  // the loop runs along it away from p
  };
  std::pmr::vector<Touch> touching(mem);
  std::pmr::vector<int> held(mem);
  std::pmr::vector<int> byLowest(loops.size(), mem);
  std::iota(byLowest.begin(), byLowest.end(), 0);
  std::sort(byLowest.begin(), byLowest.end(), [&](int a, int b) {
    return lowestIdOfLoop[static_cast<std::size_t>(a)] <
           lowestIdOfLoop[static_cast<std::size_t>(b)];
  });
  for (int li : byLowest) {
    const IPoint& p = lowestOfLoop(li);
    int best = -1;
    i128 bn = 0, bd = 1;
    IPoint bLo, bHi;
    for (int i : rows.Of(static_cast<std::size_t>(g.Cy(p.y)))) {
      const std::size_t ei = static_cast<std::size_t>(i);
      bool down;
      if (loopOf[ei] < 0 || loopOf[ei] == li || !crossesLeft(i, p, down)) continue;
      const IPoint& a = hot[static_cast<std::size_t>(edges[ei].u)];
      const IPoint& b = hot[static_cast<std::size_t>(edges[ei].v)];
      const IPoint& lo = down ? b : a;
      const IPoint& hi = down ? a : b;
      const i128 den = hi.y - lo.y;
      const i128 num =
          static_cast<i128>(lo.x) * den + static_cast<i128>(p.y - lo.y) * (hi.x - lo.x);
      // Edges meeting the line at one point share a vertex there, and all rise from it: the
      // one nearest to the direction toward p (the smallest angle) bounds the sector that holds
      // p, so it decides (an arbitrary one of them could put p on the wrong side).
      const i128 l = num * bd, r = bn * den;
      if (best < 0 || l > r ||
          (l == r && (hi.x - lo.x) * (bHi.y - bLo.y) - (hi.y - lo.y) * (bHi.x - bLo.x) > 0))
        best = i, bn = num, bd = den, bLo = lo, bHi = hi;
    }
    ResultLoop& l = loops[static_cast<std::size_t>(li)];
    // The innermost loop around the points just left of p (and just above the line).
    int container = -1;
    if (best >= 0) {
      const std::size_t be = static_cast<std::size_t>(best);
      const int m = loopOf[be];
      const bool forward = kept[2 * be] != 0;
      const IPoint& a = hot[static_cast<std::size_t>(forward ? edges[be].u : edges[be].v)];
      const IPoint& b = hot[static_cast<std::size_t>(forward ? edges[be].v : edges[be].u)];
      const bool insideM = (Orient(a, b, p) > 0) != loops[static_cast<std::size_t>(m)].hole;
      container = insideM ? m : loops[static_cast<std::size_t>(m)].parent;
    }
    // Other loops touching p: turn counter-clockwise around p from just above the leftward
    // direction to this loop's lower edge, entering and leaving the loops whose edges at p are
    // passed; the loop holding the last sector passed is the parent. Angles are compared on
    // reversed directions, so that the turn starts at the leftward direction.
    const std::size_t pv = static_cast<std::size_t>(lowestIdOfLoop[static_cast<std::size_t>(li)]);
    touching.clear();
    bool others = false;
    IPoint lower{0, 0};
    bool haveLower = false;
    for (std::size_t k = vstart[pv]; k < vstart[pv + 1]; ++k) {
      const std::size_t h = static_cast<std::size_t>(out[k]);
      if (!kept[h] && !kept[h ^ 1]) continue;
      const int owner = loopOf[h >> 1];
      const IPoint d = dir(h);
      const IPoint back{-d.x, -d.y};
      if (owner == li) {
        if (!haveLower || AngleLess(back, lower)) lower = back, haveLower = true;
      } else {
        touching.push_back({back, owner, kept[h] != 0});
        others = true;
      }
    }
    if (others && haveLower) {
      std::sort(touching.begin(), touching.end(),
                [](const Touch& x, const Touch& y) { return AngleLess(x.back, y.back); });
      held.clear();
      for (const Touch& t : touching) {
        if (!AngleLess(t.back, lower)) break;
        const ResultLoop& k = loops[static_cast<std::size_t>(t.loop)];
        if (t.outward != k.hole) {  // the far side of the edge is inside loop t.loop
          held.push_back(container);
          container = t.loop;
        } else if (!held.empty() && container == t.loop) {
          container = held.back();
          held.pop_back();
        } else {
          container = k.parent;
        }
      }
    }
    l.parent = container;
  }
  // Depths once every parent is known (a parent may share its lowest vertex with its child and
  // come later in the order above); each walk up stops at a known depth.
  for (ResultLoop& l : loops) l.depth = -1;
  std::pmr::vector<int> chain(mem);
  for (std::size_t i = 0; i < loops.size(); ++i) {
    chain.clear();
    int c = static_cast<int>(i);
    while (c >= 0 && loops[static_cast<std::size_t>(c)].depth < 0 && chain.size() <= loops.size())
      chain.push_back(c), c = loops[static_cast<std::size_t>(c)].parent;
    int d = c < 0 ? -1 : loops[static_cast<std::size_t>(c)].depth;
    for (std::size_t k = chain.size(); k-- > 0;)
      loops[static_cast<std::size_t>(chain[k])].depth = ++d;
  }
  return true;
}

}  // namespace plexa::arr
