#include "plexa/layout/pack.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

using State = CArray<CDPOINT, CDPOINT>;

// Below this many bands the plain scan is as fast as the index and nothing is kept.
constexpr INT_PTR kIndexMinBands = 48;

// The two numbers of band i (its second point's index) that decide whether a rectangle fits,
// written exactly as the rule reads them. Column mode: the column's filled end (y of point i)
// and its width (x_i - x_(i-1)). Row mode: the row's filled end (x of point i) and its height.
double BandEnd(const CDPOINT* p, INT_PTR i, bool vertical) {
  return vertical ? p[i].y : p[i].x;
}
double BandSpan(const CDPOINT* p, INT_PTR i, bool vertical) {
  return vertical ? p[i].x - p[i - 1].x : p[i].y - p[i - 1].y;
}

// A rectangle of length `len` along the band and `across` wide fits band (end, span) when
// gap + end + len <= limit and it is not wider than the span: the comparisons of the rule, in
// its order of evaluation, so NaN answers exactly as the plain scan does.
struct Query {
  double gap, len, across, limit;
  bool Fits(double end, double span) const { return gap + end + len <= limit && !(across > span); }
};

// The bands of one packing in array order, as an implicit treap (a balanced tree keyed by
// position) whose nodes carry the smallest filled end and the largest span of their subtree.
// Rounding is monotone, so gap + minEnd + len <= limit fails only when it fails for every
// band below, and across > maxSpan only when every span is narrower: a subtree failing
// either test holds no band that fits and is skipped. NaN ends count as +inf in the minimum
// (such a band never fits) and NaN spans as +inf in the maximum (a NaN span never rejects),
// so the skips stay safe. Finding the first band that fits visits O(log bands) subtrees when
// the two conditions agree and more when many subtrees hold a low band and a wide band that
// are not the same band; each found band is checked with the exact test.
class BandIndex {
 public:
  void Clear() {
    nodes_.clear();
    root_ = -1;
    owner_ = nullptr;
  }
  // Whether the index mirrors this state as the last call left it (same array, buffer, size,
  // mode, first and last pairs). A host that edits bands in the middle without changing the
  // size breaks the contract of passing the state unchanged and is not detected.
  bool Mirrors(const State& s, bool vertical) const {
    if (owner_ != &s || data_ != s.GetData() || size_ != s.GetSize() || vertical_ != vertical)
      return false;
    const CDPOINT* p = s.GetData();
    return Same(p[0], ends_[0]) && Same(p[1], ends_[1]) && Same(p[size_ - 2], ends_[2]) &&
           Same(p[size_ - 1], ends_[3]);
  }
  void Rebuild(const State& s, bool vertical) {
    Clear();
    const CDPOINT* p = s.GetData();
    nodes_.reserve(static_cast<std::size_t>(s.GetSize() / 2));
    for (INT_PTR i = 3; i < s.GetSize(); i += 2)
      root_ = Merge(root_, NewNode(BandEnd(p, i, vertical), BandSpan(p, i, vertical)));
    Remember(s, vertical);
  }
  void Remember(const State& s, bool vertical) {
    owner_ = &s;
    data_ = s.GetData();
    size_ = s.GetSize();
    vertical_ = vertical;
    const CDPOINT* p = s.GetData();
    ends_[0] = p[0];
    ends_[1] = p[1];
    ends_[2] = p[size_ - 2];
    ends_[3] = p[size_ - 1];
  }
  // Position (0-based, among the bands after the first pair) of the first band that fits, or -1.
  INT_PTR Find(const Query& q) const { return Find(root_, q, 0); }
  void Set(INT_PTR k, double end, double span) {
    path_.clear();
    int t = root_;
    while (t >= 0) {  // one step a level: at most the tree's height
      path_.push_back(t);
      const INT_PTR left = Size(nodes_[t].l);
      if (k == left) break;
      if (k < left) {
        t = nodes_[t].l;
      } else {
        k -= left + 1;
        t = nodes_[t].r;
      }
    }
    if (t < 0) return;
    nodes_[t].end = end;
    nodes_[t].span = span;
    for (auto it = path_.rbegin(); it != path_.rend(); ++it) Pull(*it);
  }
  void Insert(INT_PTR k, double end, double span) {
    int a, b;
    Split(root_, k, a, b);
    root_ = Merge(Merge(a, NewNode(end, span)), b);
  }
  void Append(double end, double span) { root_ = Merge(root_, NewNode(end, span)); }

 private:
  // Recursion (Merge, Split, Find) goes as deep as the tree: with random priorities about
  // 3 log2(bands) levels, some 50 for a million bands.
  struct Node {
    int l, r;
    std::uint32_t prio;
    INT_PTR size;
    double end, span, minEnd, maxSpan;
  };
  static bool Same(const CDPOINT& a, const CDPOINT& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
  }
  static double LowKey(double v) {
    return std::isnan(v) ? std::numeric_limits<double>::infinity() : v;
  }
  INT_PTR Size(int t) const { return t < 0 ? 0 : nodes_[t].size; }
  void Pull(int t) {
    Node& n = nodes_[t];
    n.size = 1 + Size(n.l) + Size(n.r);
    n.minEnd = LowKey(n.end);
    n.maxSpan = LowKey(n.span);
    for (int c : {n.l, n.r}) {
      if (c < 0) continue;
      n.minEnd = std::fmin(n.minEnd, nodes_[c].minEnd);
      n.maxSpan = std::fmax(n.maxSpan, nodes_[c].maxSpan);
    }
  }
  int NewNode(double end, double span) {
    seed_ ^= seed_ << 13;  // xorshift32: fixed priorities, the same tree on every run
    seed_ ^= seed_ >> 17;
    seed_ ^= seed_ << 5;
    nodes_.push_back(Node{-1, -1, seed_, 1, end, span, 0, 0});
    Pull(static_cast<int>(nodes_.size() - 1));
    return static_cast<int>(nodes_.size() - 1);
  }
  int Merge(int a, int b) {
    if (a < 0) return b;
    if (b < 0) return a;
    if (nodes_[a].prio > nodes_[b].prio) {
      nodes_[a].r = Merge(nodes_[a].r, b);
      Pull(a);
      return a;
    }
    nodes_[b].l = Merge(a, nodes_[b].l);
    Pull(b);
    return b;
  }
  // The first k bands to a, the rest to b.
  void Split(int t, INT_PTR k, int& a, int& b) {
    if (t < 0) {
      a = b = -1;
      return;
    }
    if (Size(nodes_[t].l) < k) {
      Split(nodes_[t].r, k - Size(nodes_[t].l) - 1, nodes_[t].r, b);
      a = t;
    } else {
      Split(nodes_[t].l, k, a, nodes_[t].l);
      b = t;
    }
    Pull(t);
  }
  INT_PTR Find(int t, const Query& q, INT_PTR base) const {
    if (t < 0) return -1;
    const Node& n = nodes_[t];
    if (!(q.gap + n.minEnd + q.len <= q.limit) || q.across > n.maxSpan) return -1;
    const INT_PTR left = Find(n.l, q, base);
    if (left >= 0) return left;
    if (q.Fits(n.end, n.span)) return base + Size(n.l);
    return Find(n.r, q, base + Size(n.l) + 1);
  }

  std::vector<Node> nodes_;
  std::vector<int> path_;
  int root_ = -1;
  std::uint32_t seed_ = 2463534242u;
  const State* owner_ = nullptr;
  const CDPOINT* data_ = nullptr;
  INT_PTR size_ = 0;
  bool vertical_ = true;
  CDPOINT ends_[4];
};

// One index per thread, for the packing that thread ran last.
thread_local BandIndex t_index;

// Index (of the second point) of the first band that fits, or -1; maintains the index.
INT_PTR FirstBand(const State& state, const Query& q, bool vertical, bool& indexed) {
  const INT_PTR count = state.GetSize();
  const CDPOINT* p = state.GetData();
  indexed = count % 2 == 0 && count / 2 - 1 >= kIndexMinBands;
  if (!indexed) {
    t_index.Clear();
    for (INT_PTR i = 3; i < count; i += 2)
      if (q.Fits(BandEnd(p, i, vertical), BandSpan(p, i, vertical))) return i;
    return -1;
  }
  if (!t_index.Mirrors(state, vertical)) t_index.Rebuild(state, vertical);
  const INT_PTR k = t_index.Find(q);
  return k < 0 ? -1 : 3 + 2 * k;
}

// Places into band i or opens a new band. `vertical` selects the axes: in column mode the
// band runs along y and x is across; row mode is the same with x and y exchanged.
void Place(CDRECT& rect, State& state, double gap, double w, double h, bool vertical) {
  const double limit = vertical ? state[1].y : state[1].x;
  const double len = vertical ? h : w;  // along the band
  const double across = vertical ? w : h;
  bool indexed = false;
  const INT_PTR i = FirstBand(state, Query{gap, len, across, limit}, vertical, indexed);
  const INT_PTR k = (i - 3) / 2;
  if (i >= 0) {
    const CDPOINT first = state[i - 1];
    const CDPOINT second = state[i];
    const double span = BandSpan(state.GetData(), i, vertical);
    if (vertical)
      rect = CDRECT(first.x, first.x + w, gap + second.y, gap + second.y + h);
    else
      rect = CDRECT(gap + second.x, gap + second.x + w, first.y, first.y + h);
    if (span <= across + gap) {
      // The rectangle fills the band across: the band's end moves up to it.
      if (vertical)
        state[i - 1].y = state[i].y = rect.ymax;
      else
        state[i - 1].x = state[i].x = rect.xmax;
      if (indexed) t_index.Set(k, BandEnd(state.GetData(), i, vertical), span);
    } else {
      // Split: the remainder's first point moves on by the rectangle and the gap, and the
      // narrow band taken by the rectangle goes in front of it.
      if (vertical)
        state[i - 1].x = first.x + w + gap;
      else
        state[i - 1].y = first.y + h + gap;
      const CDPOINT a = vertical ? CDPOINT(rect.xmin, rect.ymax) : CDPOINT(rect.xmax, rect.ymin);
      const CDPOINT b = vertical ? CDPOINT(rect.xmax, rect.ymax) : CDPOINT(rect.xmax, rect.ymax);
      state.InsertAt(i - 1, a, 2);
      state[i] = b;
      if (indexed) {
        const CDPOINT* p = state.GetData();
        t_index.Set(k, BandEnd(p, i + 2, vertical), BandSpan(p, i + 2, vertical));
        t_index.Insert(k, BandEnd(p, i, vertical), BandSpan(p, i, vertical));
      }
    }
  } else {
    const CDPOINT last = state[state.GetSize() - 1];
    if (vertical) {
      const double xmin = gap + last.x;
      rect = CDRECT(xmin, xmin + w, 0, h);
      state.Add(CDPOINT(xmin, h));
      state.Add(CDPOINT(xmin + w, h));
    } else {
      const double ymin = gap + last.y;
      rect = CDRECT(0, w, ymin, ymin + h);
      state.Add(CDPOINT(w, ymin));
      state.Add(CDPOINT(w, ymin + h));
    }
    const INT_PTR n = state.GetSize();
    if (indexed)
      t_index.Append(BandEnd(state.GetData(), n - 1, vertical),
                     BandSpan(state.GetData(), n - 1, vertical));
  }
  if (indexed) t_index.Remember(state, vertical);
}

}  // namespace

void PackRectangleFFD(CDRECT& rect, State& state, double gap, bool vertical) {
  const double w = std::fabs(rect.xmax - rect.xmin);
  const double h = std::fabs(rect.ymax - rect.ymin);
  if (state.GetSize() < 2) {
    rect = CDRECT(0, w, 0, h);
    if (vertical) {
      state.Add(CDPOINT(0, h));
      state.Add(CDPOINT(w, h));
    } else {
      state.Add(CDPOINT(w, 0));
      state.Add(CDPOINT(w, h));
    }
    return;
  }
  Place(rect, state, gap, w, h, vertical);
}
