// Boolean operations on poly-Bezier sets: flatten with provenance, decide the topology on an
// integer grid (plexa/analysis/internal/arrangement.h), then rebuild the result's edges as
// pieces of the input segments.
//
// Scaling: the bounding box of every control point of both sets is centred on the origin and
// its larger half side mapped to kGridHalf, so integer coordinates stay within the
// arrangement's limit. Flattening works in these grid units (no overflow for any finite input)
// and every flattened edge remembers its set, path, segment and parameter range, so a run of
// result edges along one segment becomes one CBezier::Split piece. Curves are flattened within
// the tolerance only where other segments come near them; a curve (or a part of one) alone
// stands as its chord, which decides the same topology (plexa/analysis/internal/
// lone_segments.h).
#include "plexa/analysis/boolean.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory_resource>

#include "plexa/analysis/internal/arrangement.h"
#include "plexa/analysis/internal/lone_segments.h"
#include "plexa/core/internal/numerics.h"
#include "plexa/geom/bezier.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

namespace arr = plexa::arr;

// Half side of the grid: a little below the arrangement's limit so rounding never crosses it.
constexpr double kGridHalf = static_cast<double>(arr::kArrangementLimit - 16);
// Flattening halves a segment at most this deep: 4,096 edges per segment at most.
constexpr int kMaxHalvings = 12;
// More flattened edges than this make the operation refuse (false).
constexpr std::size_t kMaxFlatEdges = std::size_t{1} << 22;
// A bounding box half side below this is taken as a point: the scale would not be finite.
constexpr double kMinHalfExtent = 1e-290;
// A segment whose handles lie within this distance (grid units) of its chord, between its
// ends, is straight: one flattened edge and a straight result.
constexpr double kStraightGrid = 1e-6;
constexpr double kDefaultTolerance = 0.01;
// Grid units a segment's box is grown by before it is tested for company (rounding moves
// points by half a unit).
constexpr double kLoneMargin = 2.0;
// The call's arena starts with this many bytes plus kArenaPerNode a node of the input: enough
// for the whole call on straight input of evenly spread edges, so that it allocates once;
// curves and crowded crossings make it grow (doubling) a few times.
constexpr std::size_t kArenaBase = 8192;
constexpr std::size_t kArenaPerNode = 640;
// Above this many flattened edges the arrangement allocates from the heap instead: an arena
// never reuses what a step frees, and fresh pages cost more than the allocations they save.
constexpr std::size_t kArenaEdges = std::size_t{1} << 14;

struct FlatEdge {
  int set, path, seg;  // seg -1: the closing chord of an open path
  double t0, t1;       // parameter range on the segment
  bool straight;
};

struct Source {
  int set;
  const CPolyPolyBezier* paths;
};

bool PathUsable(const CBPointArray* p) {
  if (p == nullptr || p->GetSize() < 2) return false;
  for (INT_PTR i = 0; i < p->GetSize(); ++i) {
    const CBPOINT& n = p->GetData()[i];
    if (!plexa::num::IsFinite(n.in) || !plexa::num::IsFinite(n.anchor) ||
        !plexa::num::IsFinite(n.out))
      return false;
  }
  return true;
}

// std::llround inline for |v| < 2^52 (grid coordinates stay within 2^27): the truncated value
// and the exact remainder decide, halves away from zero.
std::int64_t RoundHalfAway(double v) {
  std::int64_t t = static_cast<std::int64_t>(v);
  const double r = v - static_cast<double>(t);
  if (r >= 0.5)
    ++t;
  else if (r <= -0.5)
    --t;
  return t;
}

class Flattener {
 public:
  Flattener(double cx, double cy, double scale, double tolGrid, std::pmr::memory_resource* mem)
      : flat(mem), edges(mem), cx_(cx), cy_(cy), scale_(scale), tol_(tolGrid) {}

  CDPOINT ToGrid(const CDPOINT& p) const {
    return CDPOINT((p.x * 0.5 - cx_ * 0.5) * (2 * scale_), (p.y * 0.5 - cy_ * 0.5) * (2 * scale_));
  }
  CDPOINT FromGrid(const arr::IPoint& p) const {
    return CDPOINT(cx_ + static_cast<double>(p.x) / scale_,
                   cy_ + static_cast<double>(p.y) / scale_);
  }
  static arr::IPoint Round(const CDPOINT& p) { return {RoundHalfAway(p.x), RoundHalfAway(p.y)}; }

  double Tolerance() const { return tol_; }
  bool Add(const CDPOINT& a, const CDPOINT& b, const FlatEdge& f) {
    if (flat.size() >= kMaxFlatEdges) return false;
    edges.push_back({Round(a), Round(b), f.set, static_cast<int>(flat.size())});
    flat.push_back(f);
    return true;
  }

  std::pmr::vector<FlatEdge> flat;
  std::pmr::vector<arr::InputEdge> edges;

  // Whether the handles lie on the chord, between its ends (within kStraightGrid).
  static bool IsStraight(const CDPOINT q[4]) {
    const CDPOINT d(q[3].x - q[0].x, q[3].y - q[0].y);
    const double len = plexa::num::Length(d);
    for (int i = 1; i <= 2; ++i) {
      const CDPOINT v(q[i].x - q[0].x, q[i].y - q[0].y);
      if (len == 0) {
        if (plexa::num::Length(v) > kStraightGrid) return false;
        continue;
      }
      if (std::fabs(plexa::num::Cross(d, v)) > kStraightGrid * len) return false;
      const double proj = plexa::num::Dot(d, v);
      if (proj < -kStraightGrid * len || proj > len * len + kStraightGrid * len) return false;
    }
    return true;
  }

 private:
  double cx_, cy_, scale_, tol_;
};

// One step of an output loop in emission order, with its segment parameters.
struct Step {
  arr::IPoint from, to;
  const FlatEdge* f;
  double tA, tB;
};

// Whether next extends prev's result segment: the same input segment, parameters running on.
bool Continues(const Step& prev, const Step& next) {
  const FlatEdge& a = *prev.f;
  const FlatEdge& b = *next.f;
  if (a.set != b.set || a.path != b.path || a.seg != b.seg) return false;
  if (prev.tB != next.tA) return false;
  return (prev.tB > prev.tA) == (next.tB > next.tA);
}
// Whether the straight step next runs on the line of the straight step first, the same way:
// straight pieces of any sources then merge into one straight result segment.
bool SameLine(const Step& first, const Step& next) {
  if (!first.f->straight || !next.f->straight) return false;
  const std::int64_t ux = first.to.x - first.from.x, uy = first.to.y - first.from.y;
  const std::int64_t vx = next.to.x - next.from.x, vy = next.to.y - next.from.y;
  return ux * vy - uy * vx == 0 && ux * vx + uy * vy > 0;
}

}  // namespace

bool BooleanPolyPolyBezier(const CPolyPolyBezier& a, const CPolyPolyBezier& b, BooleanOp op,
                           CPolyPolyBezier& out, const BooleanOptions& options, BooleanTree* tree) {
  out.RemoveAll();
  if (tree) *tree = {};
  const Source sources[2] = {{0, &a}, {1, &b}};

  // Bounding box of every usable control point.
  double minx = 0, miny = 0, maxx = 0, maxy = 0;
  bool any = false;
  std::size_t inputNodes = 0;
  for (const Source& s : sources)
    for (INT_PTR i = 0; i < s.paths->GetSize(); ++i) {
      const CBPointArray* p = s.paths->GetAt(static_cast<int>(i));
      if (!PathUsable(p)) continue;
      inputNodes += static_cast<std::size_t>(p->GetSize());
      for (INT_PTR k = 0; k < p->GetSize(); ++k)
        for (const CDPOINT& q : {p->GetData()[k].in, p->GetData()[k].anchor, p->GetData()[k].out}) {
          if (!any) minx = maxx = q.x, miny = maxy = q.y, any = true;
          minx = std::min(minx, q.x), maxx = std::max(maxx, q.x);
          miny = std::min(miny, q.y), maxy = std::max(maxy, q.y);
        }
    }
  if (!any) return true;
  const double half = std::max(maxx * 0.5 - minx * 0.5, maxy * 0.5 - miny * 0.5);
  if (!(half >= kMinHalfExtent)) return true;
  const double scale = kGridHalf / half;
  double tol = options.tolerance;
  if (!(tol > 0) || !std::isfinite(tol)) tol = kDefaultTolerance;
  // Small calls keep every vector in one arena, released at once on return.
  std::pmr::monotonic_buffer_resource arena(kArenaBase +
                                            kArenaPerNode * std::min(inputNodes, kArenaEdges));
  Flattener fl(minx * 0.5 + maxx * 0.5, miny * 0.5 + maxy * 0.5, scale, std::max(tol * scale, 1.0),
               inputNodes <= kArenaEdges ? static_cast<std::pmr::memory_resource*>(&arena)
                                         : std::pmr::new_delete_resource());
  fl.flat.reserve(inputNodes), fl.edges.reserve(inputNodes);

  // Every segment in grid units (the closing chord of an open path too), each linked to the
  // next on its path: curves are flattened finely only where they have company.
  std::vector<plexa::lone::Segment> segs;
  std::vector<FlatEdge> origin;  // set, path and segment of each
  segs.reserve(inputNodes + 2), origin.reserve(inputNodes + 2);
  for (const Source& s : sources)
    for (INT_PTR i = 0; i < s.paths->GetSize(); ++i) {
      const CBPointArray* p = s.paths->GetAt(static_cast<int>(i));
      if (!PathUsable(p)) continue;
      const CBPOINT* n = p->GetData();
      const INT_PTR count = p->GetSize();
      const int head = static_cast<int>(segs.size()), path = static_cast<int>(i);
      for (INT_PTR k = 0; k + 1 < count; ++k) {
        plexa::lone::Segment g{{fl.ToGrid(n[k].anchor), fl.ToGrid(n[k].out), fl.ToGrid(n[k + 1].in),
                                fl.ToGrid(n[k + 1].anchor)},
                               static_cast<int>(segs.size()) + 1};
        // A segment that is one point (a node repeated) adds nothing, and would stand between
        // its neighbours as company of both.
        const auto same = [&](int i) { return g.q[i].x == g.q[0].x && g.q[i].y == g.q[0].y; };
        if (same(1) && same(2) && same(3)) continue;
        g.straight = Flattener::IsStraight(g.q);
        segs.push_back(g);
        origin.push_back({s.set, path, static_cast<int>(k), 0, 1, g.straight});
      }
      const CDPOINT first = fl.ToGrid(n[0].anchor), last = fl.ToGrid(n[count - 1].anchor);
      if (first.x != last.x || first.y != last.y) {
        segs.push_back({{last, last, first, first}, static_cast<int>(segs.size()) + 1, true});
        origin.push_back({s.set, path, -1, 0, 1, true});
      }
      if (static_cast<int>(segs.size()) > head) segs.back().next = head;
    }
  std::vector<plexa::lone::Chord> chords;
  if (!plexa::lone::PlanChords(segs, fl.Tolerance(), kLoneMargin, kMaxHalvings, kMaxFlatEdges,
                               chords))
    return false;
  for (const plexa::lone::Chord& c : chords) {
    FlatEdge f = origin[static_cast<std::size_t>(c.seg)];
    f.t0 = c.t0, f.t1 = c.t1;
    if (!fl.Add(c.a, c.b, f)) return false;
  }

  arr::Rule rule;
  rule.evenOdd = options.fillRule == FillRule::kEvenOdd;
  switch (op) {
    case BooleanOp::kUnion:
      rule.op = arr::Op::kUnion;
      break;
    case BooleanOp::kIntersection:
      rule.op = arr::Op::kIntersection;
      break;
    case BooleanOp::kDifference:
      rule.op = arr::Op::kDifference;
      break;
    case BooleanOp::kXor:
      rule.op = arr::Op::kXor;
      break;
  }
  std::pmr::memory_resource* mem =
      fl.edges.size() <= kArenaEdges ? &arena : std::pmr::new_delete_resource();
  arr::Result result(mem);
  if (!arr::BuildBoolean(fl.edges, rule, result)) return false;

  std::pmr::vector<Step> steps(mem);
  out.SetSize(0, static_cast<INT_PTR>(result.loops.size()));
  if (tree) {
    tree->parent.reserve(result.loops.size());
    tree->depth.reserve(result.loops.size());
  }
  for (const arr::ResultLoop& loop : result.loops) {
    // Emission order is the loop reversed, so outlines come out counter-clockwise on screen.
    const std::size_t nv = loop.count;
    const arr::IPoint* vertices = result.vertices.data() + loop.first;
    const arr::ResultEdge* edges = result.edges.data() + loop.first;
    steps.clear();
    for (std::size_t k = nv; k-- > 0;) {
      const arr::ResultEdge& e = edges[k];
      const FlatEdge* f = &fl.flat[static_cast<std::size_t>(e.source)];
      const auto t = [&](double s) { return f->t0 + s * (f->t1 - f->t0); };
      steps.push_back({vertices[(k + 1) % nv], vertices[k], f, t(e.sTo), t(e.sFrom)});
    }
    std::size_t start = nv, breaks = 0;
    for (std::size_t k = 0; k < nv; ++k)
      if (!Continues(steps[(k + nv - 1) % nv], steps[k]) &&
          !SameLine(steps[(k + nv - 1) % nv], steps[k])) {
        if (start == nv) start = k;
        ++breaks;
      }
    if (start == nv) start = 0;
    // A loop that is one run of one segment (a cubic's own loop) is cut in two pieces, so the
    // path has the three nodes a closed path needs.
    const std::size_t forced = breaks <= 1 ? nv / 2 : nv;
    auto* path = new CBPointArray;
    out.Add(path);
    // One allocation for the path's nodes (one a run, and the closing one); growth then
    // returns to the array's default.
    path->SetSize(0, static_cast<INT_PTR>(std::max<std::size_t>(breaks, 2) + 1));
    const CDPOINT v0 = fl.FromGrid(steps[start].from);
    path->Add(CBPOINT(v0, v0, v0));
    for (std::size_t k = 0; k < nv;) {
      const Step& s0 = steps[(start + k) % nv];
      std::size_t j = k + 1;
      // A run is one input segment's pieces, or straight pieces on the line of its first.
      while (j < nv && j != forced &&
             (s0.f->straight ? SameLine(s0, steps[(start + j) % nv])
                             : Continues(steps[(start + j - 1) % nv], steps[(start + j) % nv])))
        ++j;
      const Step& s1 = steps[(start + j - 1) % nv];
      const CDPOINT p0 = fl.FromGrid(s0.from), p3 = fl.FromGrid(s1.to);
      CDPOINT c1 = p0, c2 = p3;
      // Equal ends (a piece too short for the parameter to move) stay straight; it also keeps
      // CBezier::Split away from its unguarded lo = 1.
      if (!s0.f->straight && s0.tA != s1.tB) {
        const CBPointArray& src = *(s0.f->set == 0 ? a : b).GetAt(s0.f->path);
        const CBezier seg(src.GetData()[s0.f->seg], src.GetData()[s0.f->seg + 1]);
        CBezier part;
        seg.Split(s0.tA, s1.tB, part);
        c1 = part.GetPoint1() + (p0 - part.GetPoint0());
        c2 = part.GetPoint2() + (p3 - part.GetPoint3());
      }
      (*path)[static_cast<int>(path->GetUpperBound())].out = c1;
      path->Add(CBPOINT(c2, p3, p3));
      k = j;
    }
    CBPOINT* nodes = path->GetData();
    const INT_PTR last = path->GetUpperBound();
    nodes[last].anchor = nodes[0].anchor;
    nodes[0].in = nodes[last].in;
    nodes[last].out = nodes[0].out;
    path->SetSize(path->GetSize(), 0);
    if (tree) {
      tree->parent.push_back(loop.parent);
      tree->depth.push_back(loop.depth);
    }
  }
  out.SetSize(out.GetSize(), 0);
  return true;
}

bool WeldPolyPolyBezier(const CPolyPolyBezier& set, CPolyPolyBezier& out,
                        const BooleanOptions& options, BooleanTree* tree) {
  const CPolyPolyBezier none;
  return BooleanPolyPolyBezier(set, none, BooleanOp::kUnion, out, options, tree);
}
