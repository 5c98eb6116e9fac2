#include "io/cut_order.h"

#include <algorithm>
#include <limits>

namespace plexa::io {
namespace {

double Dist2(const PlotStep& a, const PlotStep& b) {
  const double dx = static_cast<double>(a.x - b.x), dy = static_cast<double>(a.y - b.y);
  return dx * dx + dy * dy;
}

struct Box {
  long long x0, y0, x1, y1;
};

// Squared distance from p to the box: 0 inside; a lower bound for any point in it.
double BoxDist2(const PlotStep& p, const Box& b) {
  const double dx = static_cast<double>(std::max({b.x0 - p.x, 0LL, p.x - b.x1}));
  const double dy = static_cast<double>(std::max({b.y0 - p.y, 0LL, p.y - b.y1}));
  return dx * dx + dy * dy;
}

Box Union(const Box& a, const Box& b) {
  return {std::min(a.x0, b.x0), std::min(a.y0, b.y0), std::max(a.x1, b.x1), std::max(a.y1, b.y1)};
}

// The first point of a stroke nearest to p, in the stroke's own point order.
std::pair<double, std::size_t> NearestPoint(const Stroke& s, const PlotStep& p) {
  double best = std::numeric_limits<double>::infinity();
  std::size_t at = 0;
  const auto consider = [&](std::size_t k) {
    const double d = Dist2(p, s.pts[k]);
    if (d < best) best = d, at = k;
  };
  if (s.closed && s.pts.size() > 1) {
    for (std::size_t k = 0; k + 1 < s.pts.size(); ++k) consider(k);  // any vertex may start
  } else {
    consider(0);
    consider(s.pts.size() - 1);  // an open stroke may run backwards
  }
  return {best, at};
}

// A bounding-box tree over the strokes: each node holds the union of its strokes' bounds and
// how many of them are free, so searches pass over subtrees that are too far or empty.
class BoxTree {
 public:
  BoxTree(const std::vector<Box>& boxes, std::vector<int> items) : boxes_(boxes) {
    leafOf_.assign(boxes.size(), -1);
    if (!items.empty()) Build(items, 0, items.size(), -1);
  }

  void SetFree(int stroke, bool free) {
    for (int n = leafOf_[static_cast<std::size_t>(stroke)]; n >= 0; n = nodes_[n].parent)
      nodes_[n].free += free ? 1 : -1;
  }

  // Visits every free stroke whose node bounds are within `*limit` (squared), nearer subtrees
  // first; visit(stroke) may lower *limit. Recursion depth is the tree's, log2(n) + 1.
  template <class Visit>
  void Near(const PlotStep& p, const double* limit, Visit&& visit, int n = 0) const {
    if (nodes_.empty()) return;
    const Node& v = nodes_[n];
    if (v.free == 0 || BoxDist2(p, v.box) > *limit) return;
    if (v.stroke >= 0) {
      visit(v.stroke);
      return;
    }
    const double dl = BoxDist2(p, nodes_[v.left].box), dr = BoxDist2(p, nodes_[v.right].box);
    const int first = dr < dl ? v.right : v.left, second = dr < dl ? v.left : v.right;
    Near(p, limit, visit, first);
    Near(p, limit, visit, second);
  }

 private:
  struct Node {
    Box box;
    int left = -1, right = -1, parent = -1, stroke = -1, free = 0;
  };

  // Splits items[lo, hi) at the median of the box centres along the wider spread.
  int Build(std::vector<int>& items, std::size_t lo, std::size_t hi, int parent) {
    const int n = static_cast<int>(nodes_.size());
    nodes_.push_back(Node{});
    nodes_[n].parent = parent;
    const auto centre = [this](int i, bool onX) {
      const Box& b = boxes_[static_cast<std::size_t>(i)];
      return onX ? static_cast<double>(b.x0) + static_cast<double>(b.x1)
                 : static_cast<double>(b.y0) + static_cast<double>(b.y1);
    };
    Box box = boxes_[static_cast<std::size_t>(items[lo])];
    for (std::size_t k = lo + 1; k < hi; ++k)
      box = Union(box, boxes_[static_cast<std::size_t>(items[k])]);
    nodes_[n].box = box;
    if (hi - lo == 1) {
      nodes_[n].stroke = items[lo];
      leafOf_[static_cast<std::size_t>(items[lo])] = n;
      return n;
    }
    const bool onX = static_cast<double>(box.x1) - static_cast<double>(box.x0) >=
                     static_cast<double>(box.y1) - static_cast<double>(box.y0);
    const std::size_t mid = lo + (hi - lo) / 2;
    std::nth_element(items.begin() + static_cast<std::ptrdiff_t>(lo),
                     items.begin() + static_cast<std::ptrdiff_t>(mid),
                     items.begin() + static_cast<std::ptrdiff_t>(hi),
                     [&](int a, int b) { return centre(a, onX) < centre(b, onX); });
    const int l = Build(items, lo, mid, n);
    const int r = Build(items, mid, hi, n);
    nodes_[n].left = l;
    nodes_[n].right = r;
    return n;
  }

  const std::vector<Box>& boxes_;
  std::vector<Node> nodes_;
  std::vector<int> leafOf_;
};

}  // namespace

std::vector<CutStart> NearestCutOrder(const std::vector<Stroke>& strokes,
                                      const std::vector<int>& parent) {
  const int n = static_cast<int>(strokes.size());
  const auto parentOf = [&](int i) {
    const int p =
        static_cast<std::size_t>(i) < parent.size() ? parent[static_cast<std::size_t>(i)] : -1;
    return p >= 0 && p < n ? p : -1;
  };
  const auto empty = [&](int i) { return strokes[static_cast<std::size_t>(i)].pts.empty(); };
  // A stroke waits for every stroke whose parent it is.
  std::vector<int> waiting(static_cast<std::size_t>(n), 0);
  for (int i = 0; i < n; ++i)
    if (parentOf(i) >= 0 && !empty(i)) ++waiting[static_cast<std::size_t>(parentOf(i))];

  std::vector<Box> boxes(static_cast<std::size_t>(n), Box{0, 0, 0, 0});
  std::vector<int> cuttable;
  for (int i = 0; i < n; ++i) {
    if (empty(i)) continue;
    const auto& pts = strokes[static_cast<std::size_t>(i)].pts;
    Box b{pts[0].x, pts[0].y, pts[0].x, pts[0].y};
    for (const PlotStep& s : pts)
      b = Box{std::min(b.x0, s.x), std::min(b.y0, s.y), std::max(b.x1, s.x), std::max(b.y1, s.y)};
    boxes[static_cast<std::size_t>(i)] = b;
    cuttable.push_back(i);
  }
  BoxTree tree(boxes, cuttable);

  // The free list, and each free stroke's place in it (its rank among equally near points).
  std::vector<int> ready;
  std::vector<std::size_t> slot(static_cast<std::size_t>(n), 0);
  const auto free = [&](int i) {
    slot[static_cast<std::size_t>(i)] = ready.size();
    ready.push_back(i);
    tree.SetFree(i, true);
  };
  for (int i : cuttable)
    if (waiting[static_cast<std::size_t>(i)] == 0) free(i);

  std::vector<CutStart> order;
  order.reserve(cuttable.size());
  PlotStep knife{0, 0};
  // Each round takes one stroke off the free list, so there are at most n rounds.
  for (int round = 0; round < n && !ready.empty(); ++round) {
    // The free stroke with the nearest bounds, the earlier in the list among equals.
    int first = -1;
    double firstD = std::numeric_limits<double>::infinity();
    tree.Near(knife, &firstD, [&](int i) {
      const double d = BoxDist2(knife, boxes[static_cast<std::size_t>(i)]);
      if (d < firstD || (d == firstD && slot[static_cast<std::size_t>(i)] <
                                            slot[static_cast<std::size_t>(first)])) {
        firstD = d;
        first = i;
      }
    });
    // Its nearest point, then every free stroke whose bounds are within that distance; an
    // equally near point wins only from a stroke earlier in the list (never from `first`).
    auto [bestD, bestAt] = NearestPoint(strokes[static_cast<std::size_t>(first)], knife);
    int best = first;
    tree.Near(knife, &bestD, [&](int i) {
      if (i == first) return;
      const std::size_t s = slot[static_cast<std::size_t>(i)];
      const double boxD = BoxDist2(knife, boxes[static_cast<std::size_t>(i)]);
      if (boxD > bestD ||
          (boxD == bestD && (best == first || s > slot[static_cast<std::size_t>(best)])))
        return;
      const auto [d, at] = NearestPoint(strokes[static_cast<std::size_t>(i)], knife);
      if (d < bestD || (d == bestD && best != first && s < slot[static_cast<std::size_t>(best)])) {
        bestD = d;
        bestAt = at;
        best = i;
      }
    });

    const std::size_t gone = slot[static_cast<std::size_t>(best)];
    ready[gone] = ready.back();
    slot[static_cast<std::size_t>(ready[gone])] = gone;
    ready.pop_back();
    tree.SetFree(best, false);
    const int p = parentOf(best);
    if (p >= 0 && --waiting[static_cast<std::size_t>(p)] == 0 && !empty(p)) free(p);

    order.push_back(CutStart{best, bestAt});
    const Stroke& s = strokes[static_cast<std::size_t>(best)];
    knife = s.closed && s.pts.size() > 1 ? s.pts[bestAt] : (bestAt == 0 ? s.pts.back() : s.pts[0]);
  }
  return order;
}

}  // namespace plexa::io
