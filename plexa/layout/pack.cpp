#include "plexa/layout/pack.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

using State = CArray<CDPOINT, CDPOINT>;

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

// Below this many bands the plain scan is faster than the index: a band test costs about
// 0.3 ns and a change of the index about 1 us (moves within a block's staircase), so on a
// sign shop's cut list (nearly a band a rectangle) the two cost the same near 3,500 bands.
// A packer builds its index once, in one pass, when its packing reaches this many bands.
constexpr INT_PTR kIndexMinBands = 3500;

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
  // The block holding band k, with k made relative to it; null when k is out of range.
  Block* Locate(INT_PTR& k) {
    for (Block& b : blocks_) {
      if (k < static_cast<INT_PTR>(b.end.size())) return &b;
      k -= static_cast<INT_PTR>(b.end.size());
    }
    return nullptr;
  }

  std::vector<Block> blocks_;
};

// A rectangle's size and the numbers of its query, for a state of at least 2 points.
Query MakeQuery(const State& state, double gap, double w, double h, bool vertical) {
  const double limit = vertical ? state[1].y : state[1].x;
  return vertical ? Query{gap, h, w, limit} : Query{gap, w, h, limit};
}

// The first rectangle of a packing: at the origin, its pair holds the limit.
void Start(CDRECT& rect, State& state, double w, double h, bool vertical) {
  rect = CDRECT(0, w, 0, h);
  if (vertical) {
    state.Add(CDPOINT(0, h));
    state.Add(CDPOINT(w, h));
  } else {
    state.Add(CDPOINT(w, 0));
    state.Add(CDPOINT(w, h));
  }
}

// The plain scan: the first band (its second point's index) that fits, visiting every band
// in order, or -1.
INT_PTR FirstBand(const State& state, const Query& q, bool vertical) {
  const CDPOINT* p = state.GetData();
  for (INT_PTR i = 3; i < state.GetSize(); i += 2)
    if (q.Fits(BandEnd(p, i, vertical), BandSpan(p, i, vertical))) return i;
  return -1;
}

enum class Change { kFilled, kSplit, kOpened };

// Places into band i (its second point's index) or, for i < 0, opens a new band after the
// last point. `vertical` selects the axes: in column mode the band runs along y and x is
// across; row mode is the same with x and y exchanged.
Change Apply(CDRECT& rect, State& state, INT_PTR i, double gap, double w, double h, bool vertical) {
  if (i < 0) {
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
    return Change::kOpened;
  }
  const CDPOINT first = state[i - 1];
  const CDPOINT second = state[i];
  const double span = BandSpan(state.GetData(), i, vertical);
  const double across = vertical ? w : h;
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
    return Change::kFilled;
  }
  // Split: the remainder's first point moves on by the rectangle and the gap, and the narrow
  // band taken by the rectangle goes in front of it.
  if (vertical)
    state[i - 1].x = first.x + w + gap;
  else
    state[i - 1].y = first.y + h + gap;
  const CDPOINT a = vertical ? CDPOINT(rect.xmin, rect.ymax) : CDPOINT(rect.xmax, rect.ymin);
  state.InsertAt(i - 1, a, 2);
  state[i] = CDPOINT(rect.xmax, rect.ymax);
  return Change::kSplit;
}

}  // namespace

void PackRectangleFFD(CDRECT& rect, State& state, double gap, bool vertical) {
  const double w = std::fabs(rect.xmax - rect.xmin);
  const double h = std::fabs(rect.ymax - rect.ymin);
  if (state.GetSize() < 2) {
    Start(rect, state, w, h, vertical);
    return;
  }
  Apply(rect, state, FirstBand(state, MakeQuery(state, gap, w, h, vertical), vertical), gap, w, h,
        vertical);
}

class CRectanglePacker::Index {
 public:
  BandIndex bands;
};

CRectanglePacker::CRectanglePacker(double gap, bool vertical) : m_gap(gap), m_vertical(vertical) {}
CRectanglePacker::~CRectanglePacker() = default;
CRectanglePacker::CRectanglePacker(const CRectanglePacker& other)
    : m_gap(other.m_gap),
      m_vertical(other.m_vertical),
      m_state(other.m_state),
      m_index(other.m_index ? std::make_unique<Index>(*other.m_index) : nullptr) {}
CRectanglePacker& CRectanglePacker::operator=(const CRectanglePacker& other) {
  if (this != &other) *this = CRectanglePacker(other);
  return *this;
}
CRectanglePacker::CRectanglePacker(CRectanglePacker&& other) noexcept = default;
CRectanglePacker& CRectanglePacker::operator=(CRectanglePacker&& other) noexcept = default;

void CRectanglePacker::Reset() {
  m_state.RemoveAll();
  m_index.reset();
}

void CRectanglePacker::Pack(CDRECT& rect) {
  const double w = std::fabs(rect.xmax - rect.xmin);
  const double h = std::fabs(rect.ymax - rect.ymin);
  if (m_state.GetSize() < 2) {
    Start(rect, m_state, w, h, m_vertical);
    return;
  }
  const Query q = MakeQuery(m_state, m_gap, w, h, m_vertical);
  if (!m_index) {
    Apply(rect, m_state, FirstBand(m_state, q, m_vertical), m_gap, w, h, m_vertical);
    if (m_state.GetSize() / 2 - 1 >= kIndexMinBands) {
      m_index = std::make_unique<Index>();
      const CDPOINT* p = m_state.GetData();
      for (INT_PTR i = 3; i < m_state.GetSize(); i += 2)
        m_index->bands.Append(BandEnd(p, i, m_vertical), BandSpan(p, i, m_vertical));
    }
    return;
  }
  BandIndex& bands = m_index->bands;
  const INT_PTR k = bands.Find(q);
  const INT_PTR i = k < 0 ? -1 : 3 + 2 * k;
  const Change change = Apply(rect, m_state, i, m_gap, w, h, m_vertical);
  const CDPOINT* p = m_state.GetData();
  switch (change) {
    case Change::kFilled:
      bands.Set(k, BandEnd(p, i, m_vertical), BandSpan(p, i, m_vertical));
      break;
    case Change::kSplit:  // band k became the narrow band k and the remainder k + 1
      bands.Set(k, BandEnd(p, i + 2, m_vertical), BandSpan(p, i + 2, m_vertical));
      bands.Insert(k, BandEnd(p, i, m_vertical), BandSpan(p, i, m_vertical));
      break;
    case Change::kOpened: {
      const INT_PTR n = m_state.GetSize() - 1;
      bands.Append(BandEnd(p, n, m_vertical), BandSpan(p, n, m_vertical));
      break;
    }
  }
}
