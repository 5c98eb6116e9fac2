#include "plexa/layout/pack.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

using State = CArray<CDPOINT, CDPOINT>;
using Pair = std::pair<CDPOINT, CDPOINT>;

// The two numbers of a band (its pair `first`, `second`) that decide whether a rectangle fits,
// written exactly as the rule reads them. Column mode: the column's filled end (y of the
// second point) and its width (x_second - x_first). Row mode: the row's filled end (x of the
// second point) and its height.
double BandEnd(const CDPOINT& second, bool vertical) {
  return vertical ? second.y : second.x;
}
double BandSpan(const CDPOINT& first, const CDPOINT& second, bool vertical) {
  return vertical ? second.x - first.x : second.y - first.y;
}

// A rectangle of length `len` along the band and `across` wide fits band (end, span) when
// gap + end + len <= limit and it is not wider than the span: the comparisons of the rule, in
// its order of evaluation, so NaN answers exactly as the plain scan does.
struct Query {
  double gap, len, across, limit;
  bool Fits(double end, double span) const { return gap + end + len <= limit && !(across > span); }
};

Query MakeQuery(const CDPOINT& limitPoint, double gap, double w, double h, bool vertical) {
  return vertical ? Query{gap, h, w, limitPoint.y} : Query{gap, w, h, limitPoint.x};
}

// The first rectangle of a packing: at the origin; its pair holds the limit.
Pair Start(CDRECT& rect, double w, double h, bool vertical) {
  rect = CDRECT(0, w, 0, h);
  return vertical ? Pair{CDPOINT(0, h), CDPOINT(w, h)} : Pair{CDPOINT(w, 0), CDPOINT(w, h)};
}

// A new band after the state's last point `last`; returns its pair, to be appended.
Pair Open(CDRECT& rect, const CDPOINT& last, double gap, double w, double h, bool vertical) {
  if (vertical) {
    const double xmin = gap + last.x;
    rect = CDRECT(xmin, xmin + w, 0, h);
    return {CDPOINT(xmin, h), CDPOINT(xmin + w, h)};
  }
  const double ymin = gap + last.y;
  rect = CDRECT(0, w, ymin, ymin + h);
  return {CDPOINT(w, ymin), CDPOINT(w, ymin + h)};
}

// Places into the band (first, second), updating its pair. Returns true when the band is
// split: `narrow` is then the pair of the band the rectangle took, to be inserted in front of
// the (updated) remainder. In column mode the band runs along y and x is across; row mode is
// the same with x and y exchanged.
bool Take(CDRECT& rect, CDPOINT& first, CDPOINT& second, double gap, double w, double h,
          bool vertical, Pair& narrow) {
  const double span = BandSpan(first, second, vertical);
  const double across = vertical ? w : h;
  if (vertical)
    rect = CDRECT(first.x, first.x + w, gap + second.y, gap + second.y + h);
  else
    rect = CDRECT(gap + second.x, gap + second.x + w, first.y, first.y + h);
  if (span <= across + gap) {
    // The rectangle fills the band across: the band's end moves up to it.
    if (vertical)
      first.y = second.y = rect.ymax;
    else
      first.x = second.x = rect.xmax;
    return false;
  }
  // Split: the remainder's first point moves on by the rectangle and the gap.
  if (vertical)
    first.x = first.x + w + gap;
  else
    first.y = first.y + h + gap;
  narrow = {vertical ? CDPOINT(rect.xmin, rect.ymax) : CDPOINT(rect.xmax, rect.ymin),
            CDPOINT(rect.xmax, rect.ymax)};
  return true;
}

// The plain scan: the first band (its second point's index) that fits, visiting every band
// in order, or -1.
INT_PTR FirstBand(const State& state, const Query& q, bool vertical) {
  const CDPOINT* p = state.GetData();
  for (INT_PTR i = 3; i < state.GetSize(); i += 2)
    if (q.Fits(BandEnd(p[i], vertical), BandSpan(p[i - 1], p[i], vertical))) return i;
  return -1;
}

}  // namespace

void PackRectangleFFD(CDRECT& rect, State& state, double gap, bool vertical) {
  const double w = std::fabs(rect.xmax - rect.xmin);
  const double h = std::fabs(rect.ymax - rect.ymin);
  if (state.GetSize() < 2) {
    const Pair p = Start(rect, w, h, vertical);
    state.Add(p.first);
    state.Add(p.second);
    return;
  }
  const INT_PTR i = FirstBand(state, MakeQuery(state[1], gap, w, h, vertical), vertical);
  if (i < 0) {
    const Pair p = Open(rect, state[state.GetSize() - 1], gap, w, h, vertical);
    state.Add(p.first);
    state.Add(p.second);
    return;
  }
  Pair narrow;
  if (Take(rect, state[i - 1], state[i], gap, w, h, vertical, narrow)) {
    state.InsertAt(i - 1, narrow.first, 2);
    state[i] = narrow.second;
  }
}

// The bands after the first pair, in state order, as the in-order sequence of a binary tree
// balanced by weight: neither child of a node holds more than 3/4 of its bands (the highest
// subtree that breaks this on an insertion is rebuilt perfectly balanced), so the height stays
// below log(n) / log(4/3) + 1 (about 42 at 160,000 bands) and an insertion costs O(log n)
// amortized. Each node keeps, over its subtree, a staircase of up to kSteps (span, end) steps
// (see Front): exactly the bands that no other band beats on both width and room while there
// are that few, else a merged staircase that only ever claims more room than there is.
//
// Find descends to the first band that fits, passing over a subtree when the lowest end among
// its steps at least as wide as the rectangle leaves no room (gap + end + len > limit: rounding
// is monotone, so no band of it has more room); NaN ends never leave room and are left out, a
// NaN span rejects nothing and counts as +inf, and a NaN sum proves nothing, so it enters.
// Bands themselves are tested with the exact comparisons of the scan, so the band found is the
// scan's, bit for bit. A subtree entered whose staircase claimed too much is left after its own
// pruned descent: on packings of sorted cut lists that is rare and a query costs about
// O(log n); no bound better than O(n) holds for every input (pack_bench measures the growth).
class BandTree {
 public:
  using Id = std::int32_t;  // node ids; the node store would exceed memory long before 2^31
  static constexpr Id kNone = -1;

  explicit BandTree(bool vertical) : vertical_(vertical) {}

  Id Find(const Query& q) const {
    // A NaN gap, length or limit leaves room in no band: answered without a visit.
    if (std::isnan(q.gap) || std::isnan(q.len) || std::isnan(q.limit)) return kNone;
    return FindIn(root_, q);
  }
  CDPOINT& First(Id n) { return nodes_[n].first; }
  CDPOINT& Second(Id n) { return nodes_[n].second; }
  Id Last() const { return last_; }

  // Band n's points were changed through First/Second: refresh the summaries above it.
  void Changed(Id n) {
    Node& v = nodes_[n];
    v.end = BandEnd(v.second, vertical_);
    v.span = BandSpan(v.first, v.second, vertical_);
    for (Id u = n; u != kNone && Pull(u);) u = nodes_[u].parent;
  }

  // A band in front of band n (a split's narrow part): it goes as the last node of n's left
  // subtree, which is n's predecessor's place.
  void InsertBefore(Id n, const Pair& band) {
    const Id v = NewNode(band);
    if (nodes_[n].left == kNone) {
      Attach(v, n, true);
      return;
    }
    Id u = nodes_[n].left;
    while (nodes_[u].right != kNone) u = nodes_[u].right;
    Attach(v, u, false);
  }

  void Append(const Pair& band) {
    const Id v = NewNode(band);
    if (last_ == kNone)
      root_ = v;
    else
      Attach(v, last_, false);
    last_ = v;
  }

  // Appends every band's pair to `out`, in order.
  void AppendTo(State& out) const {
    INT_PTR k = out.GetSize();
    out.SetSize(k + 2 * static_cast<INT_PTR>(nodes_.size()));
    CDPOINT* p = out.GetData();
    InOrder(root_, [&](Id u) {
      p[k++] = nodes_[u].first;
      p[k++] = nodes_[u].second;
    });
  }

 private:
  // A child may hold at most 3/4 of its parent's bands.
  static constexpr int kHeavyNum = 3, kHeavyDen = 4;

  // A staircase of at most kSteps (span, end) steps, widest first with ends falling: for every
  // band of the subtree whose end is not NaN there is a step at least as wide (a NaN span
  // counts as +inf) whose end is at most the band's. While the subtree's Pareto front (the
  // bands no other band beats on both width and room) has at most kSteps bands, the staircase
  // is that front, exactly; beyond, neighbouring steps are merged into (the wider span, the
  // lower end), which can only claim more room than there is, never less.
  static constexpr int kSteps = 8;
  struct Front {
    int count = 0;
    std::array<double, kSteps> span{}, end{};
  };

  struct Node {
    CDPOINT first, second;
    double end = 0, span = 0;  // this band's, as BandEnd/BandSpan read them
    Front front;               // over the subtree
    Id left = kNone, right = kNone, parent = kNone;
    std::int32_t size = 1;  // bands in the subtree
  };

  // Recomputes n's size and staircase from its band and its children's; returns whether the
  // staircase changed (when it did not, no staircase above it changes either).
  bool Pull(Id n) {
    Node& v = nodes_[n];
    v.size = 1;
    const Front* f[2] = {nullptr, nullptr};
    int nf = 0;
    for (Id ch : {v.left, v.right}) {
      if (ch == kNone) continue;
      v.size += nodes_[ch].size;
      f[nf++] = &nodes_[ch].front;
    }
    // Candidates widest first (lower end first among equal widths): the children's staircases
    // merged, and this band put in its place; the sweep then keeps each step that lowers the end.
    std::array<std::pair<double, double>, 2 * kSteps + 1> c;
    int k = 0;
    {
      int i = 0, j = 0;
      const int ni = nf > 0 ? f[0]->count : 0, nj = nf > 1 ? f[1]->count : 0;
      while (i < ni || j < nj) {
        const bool takeI =
            j >= nj ||
            (i < ni && (f[0]->span[i] > f[1]->span[j] ||
                        (f[0]->span[i] == f[1]->span[j] && f[0]->end[i] < f[1]->end[j])));
        if (takeI) {
          c[k++] = {f[0]->span[i], f[0]->end[i]};
          ++i;
        } else {
          c[k++] = {f[1]->span[j], f[1]->end[j]};
          ++j;
        }
      }
    }
    if (!std::isnan(v.end)) {
      const std::pair own{std::isnan(v.span) ? std::numeric_limits<double>::infinity() : v.span,
                          v.end};
      int at = k;
      while (at > 0 && (c[at - 1].first < own.first ||
                        (c[at - 1].first == own.first && c[at - 1].second > own.second))) {
        c[at] = c[at - 1];
        --at;
      }
      c[at] = own;
      ++k;
    }
    int m = 0;
    for (int j = 0; j < k; ++j)
      if (m == 0 || c[j].second < c[m - 1].second) c[m++] = c[j];
    // Too many steps: merge the neighbours whose merge claims the least (the smallest
    // rectangle of width and room between them), one pair at a time.
    for (; m > kSteps; --m) {
      int at = 0;
      double least = std::numeric_limits<double>::infinity();
      for (int j = 0; j + 1 < m; ++j) {
        const double cost = (c[j].first - c[j + 1].first) * (c[j].second - c[j + 1].second);
        if (cost < least) least = cost, at = j;
      }
      c[at].second = c[at + 1].second;
      std::copy(c.begin() + at + 2, c.begin() + m, c.begin() + at + 1);
    }
    bool changed = v.front.count != m;
    for (int j = 0; j < m; ++j) {
      changed = changed || std::memcmp(&v.front.span[j], &c[j].first, sizeof(double)) != 0 ||
                std::memcmp(&v.front.end[j], &c[j].second, sizeof(double)) != 0;
      v.front.span[j] = c[j].first;
      v.front.end[j] = c[j].second;
    }
    v.front.count = m;
    return changed;
  }

  // Whether some band of n's subtree might fit: false only when none can. The lowest end
  // among the steps at least as wide as the rectangle decides (rounding is monotone, so a
  // higher end leaves no more room; a NaN sum proves nothing and enters).
  bool MayFit(const Node& v, const Query& q) const {
    const Front& f = v.front;
    int j = 0;
    while (j < f.count && !(q.across > f.span[j])) ++j;
    return j > 0 && !(q.gap + f.end[j - 1] + q.len > q.limit);
  }

  // Recursion depth is bounded by the tree's height (see the class comment).
  Id FindIn(Id n, const Query& q) const {
    if (n == kNone || !MayFit(nodes_[n], q)) return kNone;
    const Node& v = nodes_[n];
    const Id l = FindIn(v.left, q);
    if (l != kNone) return l;
    if (q.Fits(v.end, v.span)) return n;
    return FindIn(v.right, q);
  }

  Id NewNode(const Pair& band) {
    Node v;
    v.first = band.first;
    v.second = band.second;
    v.end = BandEnd(v.second, vertical_);
    v.span = BandSpan(v.first, v.second, vertical_);
    nodes_.push_back(v);
    const Id n = static_cast<Id>(nodes_.size() - 1);
    Pull(n);
    return n;
  }

  // Hangs leaf v under p (as its left or right child), refreshes the path up and rebuilds the
  // highest subtree on it that lost its balance.
  void Attach(Id v, Id p, bool left) {
    (left ? nodes_[p].left : nodes_[p].right) = v;
    nodes_[v].parent = p;
    Id heavy = kNone;
    bool pull = true;  // the staircases above change no more once one stays as it was
    for (Id u = p; u != kNone; u = nodes_[u].parent) {
      if (pull)
        pull = Pull(u);
      else
        ++nodes_[u].size;
      const Node& s = nodes_[u];
      for (Id c : {s.left, s.right})
        if (c != kNone && kHeavyDen * static_cast<std::int64_t>(nodes_[c].size) >
                              kHeavyNum * static_cast<std::int64_t>(s.size))
          heavy = u;
    }
    if (heavy != kNone) Rebuild(heavy);
  }

  // Visits the subtree under `from` left to right, with an explicit stack (no recursion).
  template <class Visit>
  void InOrder(Id from, Visit&& visit) const {
    std::vector<Id> stack;
    for (Id u = from; u != kNone || !stack.empty();) {
      if (u != kNone) {
        stack.push_back(u);
        u = nodes_[u].left;
        continue;
      }
      u = stack.back();
      stack.pop_back();
      visit(u);
      u = nodes_[u].right;
    }
  }

  void Rebuild(Id n) {
    const Id parent = nodes_[n].parent;
    order_.clear();
    InOrder(n, [&](Id u) { order_.push_back(u); });
    const Id top = Build(0, static_cast<Id>(order_.size()), parent);
    if (parent == kNone)
      root_ = top;
    else
      (nodes_[parent].left == n ? nodes_[parent].left : nodes_[parent].right) = top;
  }

  // A perfectly balanced tree over order_[lo, hi); recursion depth log2(hi - lo) + 1.
  Id Build(Id lo, Id hi, Id parent) {
    if (lo >= hi) return kNone;
    const Id mid = lo + (hi - lo) / 2;
    const Id n = order_[mid];
    nodes_[n].parent = parent;
    nodes_[n].left = Build(lo, mid, n);
    nodes_[n].right = Build(mid + 1, hi, n);
    Pull(n);
    return n;
  }

  bool vertical_;
  std::vector<Node> nodes_;
  Id root_ = kNone, last_ = kNone;
  std::vector<Id> order_;  // scratch for Rebuild
};

// Below this many bands the plain scan is faster than the tree (a band test costs about 0.3 ns
// and a tree update about 1 us; on a sign shop's cut list the two meet near 3,000 bands): the
// packer keeps the plain state until then, and builds the tree from it once, in one pass.
constexpr INT_PTR kTreeMinBands = 3000;

class CRectanglePacker::Index {
 public:
  explicit Index(bool vertical) : bands(vertical) {}
  Pair head;  // the first pair: the first rectangle's band and the limit
  CArray<CDPOINT, CDPOINT>
      plain;  // the whole state while it has fewer than kTreeMinBands bands; then empty
  BandTree bands;
  bool tree = false;  // the bands after the first pair live in `bands`
};

CRectanglePacker::CRectanglePacker(double gap, bool vertical) : m_gap(gap), m_vertical(vertical) {}
CRectanglePacker::~CRectanglePacker() = default;
CRectanglePacker::CRectanglePacker(const CRectanglePacker& other)
    : m_gap(other.m_gap),
      m_vertical(other.m_vertical),
      m_index(other.m_index ? std::make_unique<Index>(*other.m_index) : nullptr) {}
CRectanglePacker& CRectanglePacker::operator=(const CRectanglePacker& other) {
  if (this != &other) *this = CRectanglePacker(other);
  return *this;
}
CRectanglePacker::CRectanglePacker(CRectanglePacker&& other) noexcept = default;
CRectanglePacker& CRectanglePacker::operator=(CRectanglePacker&& other) noexcept = default;

void CRectanglePacker::Reset() {
  m_index.reset();
}

CArray<CDPOINT, CDPOINT> CRectanglePacker::State() const {
  CArray<CDPOINT, CDPOINT> out;
  if (m_index && !m_index->tree) return m_index->plain;
  if (m_index) {
    out.Add(m_index->head.first);
    out.Add(m_index->head.second);
    m_index->bands.AppendTo(out);
  }
  return out;
}

void CRectanglePacker::Pack(CDRECT& rect) {
  const double w = std::fabs(rect.xmax - rect.xmin);
  const double h = std::fabs(rect.ymax - rect.ymin);
  if (!m_index) {
    m_index = std::make_unique<Index>(m_vertical);
    m_index->head = Start(rect, w, h, m_vertical);
    m_index->plain.Add(m_index->head.first);
    m_index->plain.Add(m_index->head.second);
    return;
  }
  if (!m_index->tree) {
    auto& plain = m_index->plain;
    PackRectangleFFD(rect, plain, m_gap, m_vertical);
    if (plain.GetSize() / 2 - 1 < kTreeMinBands) return;
    for (INT_PTR i = 2; i + 1 < plain.GetSize(); i += 2)
      m_index->bands.Append(Pair{plain[i], plain[i + 1]});
    plain.RemoveAll();
    m_index->tree = true;
    return;
  }
  BandTree& bands = m_index->bands;
  const BandTree::Id n = bands.Find(MakeQuery(m_index->head.second, m_gap, w, h, m_vertical));
  if (n == BandTree::kNone) {
    const BandTree::Id last = bands.Last();
    const CDPOINT& end = last == BandTree::kNone ? m_index->head.second : bands.Second(last);
    bands.Append(Open(rect, end, m_gap, w, h, m_vertical));
    return;
  }
  Pair narrow;
  const bool split = Take(rect, bands.First(n), bands.Second(n), m_gap, w, h, m_vertical, narrow);
  bands.Changed(n);
  if (split) bands.InsertBefore(n, narrow);
}
