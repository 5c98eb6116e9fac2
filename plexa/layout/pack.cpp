#include "plexa/layout/pack.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

using State = CArray<CDPOINT, CDPOINT>;

// Below this many bands the plain scan is as fast as the index and nothing is kept.
constexpr INT_PTR kIndexMinBands = 384;

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

// Bands a block holds before it is split in two (and after a split, half as many).
constexpr std::size_t kBlockBands = 256;

// The bands of one packing in array order, cut into blocks of consecutive bands. Each block
// keeps, besides its bands' filled ends and spans, their staircase: spans sorted from the
// widest down with the lowest end among the bands at least that wide. A query asks each block
// in order "is there a band at least as wide as the rectangle whose end leaves room?" with one
// binary search on the staircase; the answer is exact (rounding is monotone, so the lowest
// end among the wide enough bands decides), so only the block holding the first band that
// fits is scanned band by band. NaN spans count as +inf (a NaN span never rejects) and NaN
// ends as +inf (they never leave room; a block that only seems to have room because of one
// is scanned and passed over). A query costs O(bands / kBlockBands) block tests and one block
// scan; a change moves one entry of one block's staircase (O(kBlockBands)), and a block split
// in two re-sorts both halves at the next query that reaches them.
class BandIndex {
 public:
  void Clear() {
    blocks_.clear();
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
    for (INT_PTR i = 3; i < s.GetSize(); i += 2)
      Append(BandEnd(p, i, vertical), BandSpan(p, i, vertical));
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
  INT_PTR Find(const Query& q) {
    INT_PTR base = 0;
    for (Block& b : blocks_) {
      if (b.MayFit(q))
        for (std::size_t j = 0; j < b.end.size(); ++j)
          if (q.Fits(b.end[j], b.span[j])) return base + static_cast<INT_PTR>(j);
      base += static_cast<INT_PTR>(b.end.size());
    }
    return -1;
  }
  void Set(INT_PTR k, double end, double span) {
    Block* b = Locate(k);
    if (b == nullptr) return;
    b->Replace(b->span[k], b->end[k], true, span, end);
    b->end[k] = end;
    b->span[k] = span;
  }
  void Insert(INT_PTR k, double end, double span) {
    std::size_t at = 0;
    while (at < blocks_.size() && k > static_cast<INT_PTR>(blocks_[at].end.size())) {
      k -= static_cast<INT_PTR>(blocks_[at].end.size());
      ++at;
    }
    if (at == blocks_.size()) {
      Append(end, span);
      return;
    }
    Block& b = blocks_[at];
    b.end.insert(b.end.begin() + k, end);
    b.span.insert(b.span.begin() + k, span);
    b.Replace(0, 0, false, span, end);
    if (b.end.size() >= 2 * kBlockBands) {
      Block tail;
      tail.end.assign(b.end.begin() + kBlockBands, b.end.end());
      tail.span.assign(b.span.begin() + kBlockBands, b.span.end());
      b.end.resize(kBlockBands);
      b.span.resize(kBlockBands);
      b.dirty = true;
      blocks_.insert(blocks_.begin() + static_cast<std::ptrdiff_t>(at) + 1, std::move(tail));
    }
  }
  void Append(double end, double span) {
    if (blocks_.empty() || blocks_.back().end.size() >= kBlockBands) blocks_.emplace_back();
    Block& b = blocks_.back();
    b.end.push_back(end);
    b.span.push_back(span);
    b.Replace(0, 0, false, span, end);
  }

 private:
  struct Block {
    std::vector<double> end, span;  // the bands, in order
    // The staircase: (span, end) of every band, widest first (NaN spans as +inf), and the
    // lowest end among the first i + 1 entries (NaN ends as +inf).
    std::vector<std::pair<double, double>> stair;
    std::vector<double> lowest;
    bool dirty = true;  // the staircase must be rebuilt

    static double Key(double v) {
      return std::isnan(v) ? std::numeric_limits<double>::infinity() : v;
    }
    bool MayFit(const Query& q) {
      if (dirty) Restair();
      // Bands at least q.across wide: the leading run of the staircase (all of it for NaN).
      std::size_t n = stair.size();
      if (!std::isnan(q.across))
        n = static_cast<std::size_t>(std::partition_point(stair.begin(), stair.end(),
                                                          [&](const std::pair<double, double>& e) {
                                                            return e.first >= q.across;
                                                          }) -
                                     stair.begin());
      return n > 0 && q.gap + lowest[n - 1] + q.len <= q.limit;
    }
    void Restair() {
      stair.resize(end.size());
      for (std::size_t i = 0; i < end.size(); ++i) stair[i] = {Key(span[i]), end[i]};
      std::stable_sort(stair.begin(), stair.end(),
                       [](const auto& a, const auto& b) { return a.first > b.first; });
      Relow(0);
      dirty = false;
    }
    void Relow(std::size_t from) {
      lowest.resize(stair.size());
      double low = from > 0 ? lowest[from - 1] : std::numeric_limits<double>::infinity();
      for (std::size_t i = from; i < stair.size(); ++i) {
        const double e = stair[i].second;
        if (!std::isnan(e) && e < low) low = e;
        lowest[i] = low;
      }
    }
    // One band's (span, end) leaves the staircase and another enters: O(block) moves.
    void Replace(double oldSpan, double oldEnd, bool remove, double newSpan, double newEnd) {
      if (dirty) return;  // rebuilt whole at the next query
      std::size_t from = stair.size();
      if (remove) {
        const double k = Key(oldSpan);
        auto it = std::partition_point(stair.begin(), stair.end(),
                                       [&](const auto& e) { return e.first > k; });
        while (it != stair.end() && it->first == k &&
               std::memcmp(&it->second, &oldEnd, sizeof oldEnd) != 0)
          ++it;
        if (it == stair.end() || it->first != k) {
          dirty = true;
          return;
        }
        from = static_cast<std::size_t>(it - stair.begin());
        stair.erase(it);
      }
      const double k = Key(newSpan);
      auto at = std::partition_point(stair.begin(), stair.end(),
                                     [&](const auto& e) { return e.first >= k; });
      from = std::min(from, static_cast<std::size_t>(at - stair.begin()));
      stair.insert(at, {k, newEnd});
      Relow(from);
    }
  };
  static bool Same(const CDPOINT& a, const CDPOINT& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
  }
  // The block holding band k, with k made relative to it; null when k is out of range.
  Block* Locate(INT_PTR& k) {
    for (Block& b : blocks_) {
      if (k < static_cast<INT_PTR>(b.end.size())) return &b;
      k -= static_cast<INT_PTR>(b.end.size());
    }
    return nullptr;
  }

  std::vector<Block> blocks_;
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
