#include "plexa/platform/internal/rasterizer.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace plexa::rasterizer {
namespace {

__extension__ typedef __int128 i128;

constexpr double kInf = std::numeric_limits<double>::infinity();
// Integer inputs up to this size take the exact path of the pen test (doubled coordinates stay
// within 2^29, so every product below fits its integer type).
constexpr double kExactLimit = double(1 << 28);
// The approximate run ends are off by far less than a pixel; the exact test moves each end by
// at most this many pixels (a bound, not a tolerance).
constexpr int kMaxEndAdjust = 2;
// Bound on the rounding error of an approximate run end, as a share of the squared coordinate
// scale (max |coordinate| + radius)^2: the values combined are products of two coordinates, each
// rounded within a few units of 2^-52; this is a hundred times that. Run ends farther than the
// bound from a pixel centre are decided without the exact test.
constexpr double kRoundingShare = 1e-12;
// A row is passed over when the bounding disc of a capsule fits inside the row's run with this
// many pixels to spare on either side: half a pixel from pixel centres to pixel edges, the rest
// a margin for rounding.
constexpr double kBoundMargin = 0.75;
// Relative and absolute widening of the squared bounding radius, against rounding.
constexpr double kBoundSlack = 1e-9;
// Largest stride of the coarse-to-fine order of a wide pen's segments.
constexpr std::size_t kMaxStep = 16;
// Below this first stride the rows are taken as they come, without the containment test.
constexpr std::size_t kCullStep = 4;

struct Crossing {
  int y;
  double x;
};

// Sorts items by row, then within a row by `less`: a counting sort over the rows present
// (dense in practice), then small sorts per row; a plain sort when the rows are sparse.
template <class T, class Less>
void SortByRow(std::vector<T>& v, Less less) {
  if (v.size() < 2) return;
  int lo = v[0].y, hi = v[0].y;
  for (const T& t : v) lo = std::min(lo, t.y), hi = std::max(hi, t.y);
  const std::size_t range = static_cast<std::size_t>(hi - lo) + 1;
  auto full = [&](const T& a, const T& b) { return a.y != b.y ? a.y < b.y : less(a, b); };
  if (range > 4 * v.size() + 1024) {
    std::sort(v.begin(), v.end(), full);
    return;
  }
  std::vector<std::size_t> start(range + 1, 0);
  for (const T& t : v) ++start[static_cast<std::size_t>(t.y - lo) + 1];
  for (std::size_t r = 0; r < range; ++r) start[r + 1] += start[r];
  std::vector<T> out(v.size());
  std::vector<std::size_t> next(start.begin(), start.end() - 1);
  for (const T& t : v) out[next[static_cast<std::size_t>(t.y - lo)]++] = t;
  for (std::size_t r = 0; r < range; ++r) {
    auto b = out.begin() + static_cast<std::ptrdiff_t>(start[r]);
    auto e = out.begin() + static_cast<std::ptrdiff_t>(start[r + 1]);
    if (e - b < 2) continue;
    if (e - b <= 16) {  // insertion sort: rows hold few items
      for (auto i = b + 1; i < e; ++i) {
        T t = *i;
        auto j = i;
        for (; j > b && less(t, *(j - 1)); --j) *j = *(j - 1);
        *j = t;
      }
    } else {
      std::sort(b, e, less);
    }
  }
  v.swap(out);
}

bool IsWhole(double v) {
  return std::floor(v) == v && std::fabs(v) <= kExactLimit;
}

// The latest run of each row of a stroke's band of rows, kept outside the coverage: a run that
// touches or overlaps it merges at once (consecutive capsules of a path overlap on most rows),
// any other pushes it to the coverage and takes its place. Flush hands over what is left.
class RowRuns {
 public:
  RowRuns(Coverage& out, int y0, int y1) : out_(out), first_(std::max(y0, 0)) {
    const int last = std::min(y1, out.Height() - 1);
    const std::size_t n = last >= first_ ? static_cast<std::size_t>(last - first_) + 1 : 0;
    x0_.assign(n, 0);
    x1_.assign(n, -1);
  }
  ~RowRuns() { Flush(); }
  int Width() const { return out_.Width(); }
  int Height() const { return out_.Height(); }
  void Add(int y, std::int64_t x0, std::int64_t x1) {
    const std::int64_t slot = std::int64_t{y} - first_;
    if (slot < 0 || slot >= static_cast<std::int64_t>(x0_.size())) {
      out_.Add(y, x0, x1);
      return;
    }
    x0 = std::max<std::int64_t>(x0, 0);
    x1 = std::min<std::int64_t>(x1, out_.Width() - 1);
    if (x0 > x1) return;
    int& c0 = x0_[static_cast<std::size_t>(slot)];
    int& c1 = x1_[static_cast<std::size_t>(slot)];
    if (c0 > c1) {  // no run yet
    } else if (x0 <= c1 + 1 && x1 >= c0 - 1) {
      c0 = std::min(c0, static_cast<int>(x0));
      c1 = std::max(c1, static_cast<int>(x1));
      return;
    } else {
      out_.Add(y, c0, c1);
    }
    c0 = static_cast<int>(x0);
    c1 = static_cast<int>(x1);
  }
  // The first and last columns of the latest runs of rows y..y+n-1 (first > last: no run),
  // or null unless those rows all lie in the band.
  const int* RunStarts(std::int64_t y, std::size_t n) const { return Slice(x0_, y, n); }
  const int* RunEnds(std::int64_t y, std::size_t n) const { return Slice(x1_, y, n); }
  void Flush() {
    for (std::size_t k = 0; k < x0_.size(); ++k) {
      if (x0_[k] <= x1_[k]) out_.Add(first_ + static_cast<int>(k), x0_[k], x1_[k]);
      x0_[k] = 0;
      x1_[k] = -1;
    }
  }

 private:
  const int* Slice(const std::vector<int>& v, std::int64_t y, std::size_t n) const {
    const std::int64_t slot = y - first_;
    if (slot < 0 || slot + static_cast<std::int64_t>(n) > static_cast<std::int64_t>(v.size()))
      return nullptr;
    return v.data() + slot;
  }

  Coverage& out_;
  int first_;
  std::vector<int> x0_, x1_;
};

// Per-row buffers of a stroke, reused from capsule to capsule (at most one entry per row of
// the grid).
struct Scratch {
  std::vector<double> lo, hi;
  std::vector<unsigned char> skip;
};

// One segment of a wide round pen: the set of points within r of the segment AB (a capsule).
class Capsule {
 public:
  // Without the start disc the run ends are computed for the band and the end disc only (the
  // previous segment's end disc covers the start); the exact test still takes the whole
  // capsule, so the runs lie between those two sets, which is exact for the union.
  Capsule(PointD a, PointD b, double width, bool startDisc = true)
      : start_disc_(startDisc),
        a_(a),
        b_(b),
        r_(width / 2),
        r2_(r_ * r_),
        dx_(b.x - a.x),
        dy_(b.y - a.y),
        l2_(dx_ * dx_ + dy_ * dy_),
        rl_(r_ * std::sqrt(l2_)) {
    exact_ = IsWhole(a.x) && IsWhole(a.y) && IsWhole(b.x) && IsWhole(b.y) && IsWhole(width);
    if (exact_) {
      ax2_ = static_cast<std::int64_t>(2 * a.x);
      ay2_ = static_cast<std::int64_t>(2 * a.y);
      bx2_ = static_cast<std::int64_t>(2 * b.x);
      by2_ = static_cast<std::int64_t>(2 * b.y);
      w_ = static_cast<std::int64_t>(width);
    }
    const double m =
        std::max({std::fabs(a.x), std::fabs(a.y), std::fabs(b.x), std::fabs(b.y)}) + r_;
    slack_ = kRoundingShare * (1 + m * m);
    inv_dx_ = dx_ != 0 ? 1 / dx_ : 0;
    inv_dy_ = dy_ != 0 ? 1 / dy_ : 0;
  }

  // Approximate x extent of the capsule on the lines y = ys0 + k, k < n: lo[k] > hi[k] where
  // it misses. The same arithmetic for every row, selects instead of branches.
  template <bool kStartDisc>
  void Ends(double ys0, std::size_t n, double* __restrict lo, double* __restrict hi) const {
    const double ax = a_.x, ay = a_.y, bx = b_.x, by = b_.y, r2 = r2_;
    const double dx = dx_, dy = dy_, l2 = l2_, rl = rl_, idx = inv_dx_, idy = inv_dy_;
    const bool band = l2 > 0, slopedX = dx != 0, slopedY = dy != 0;
    for (std::size_t k = 0; k < n; ++k) {
      const double ys = ys0 + static_cast<double>(k);
      double l = kInf, g = -kInf;
      {
        const double e = ys - by, h2 = r2 - e * e;
        const double hw = std::sqrt(std::max(h2, 0.0));
        l = h2 >= 0 ? bx - hw : l;
        g = h2 >= 0 ? bx + hw : g;
      }
      if constexpr (kStartDisc) {
        const double e = ys - ay, h2 = r2 - e * e;
        const double hw = std::sqrt(std::max(h2, 0.0));
        l = h2 >= 0 ? std::min(l, ax - hw) : l;
        g = h2 >= 0 ? std::max(g, ax + hw) : g;
      }
      // 0 <= (P - A).d <= |d|^2: the foot of the perpendicular lies on the segment; and
      // |(P - A) x d| <= r |d|: within r of the line.
      const double v = ys - ay, vdy = v * dy, vdx = v * dx;
      const double s0 = (-vdy) * idx, s1 = (l2 - vdy) * idx;
      const bool u1all = !slopedX && !(vdy < 0 || vdy > l2);
      const double u1lo = slopedX ? std::min(s0, s1) : (u1all ? -kInf : kInf);
      const double u1hi = slopedX ? std::max(s0, s1) : kInf;
      const double t0 = (vdx - rl) * idy, t1 = (vdx + rl) * idy;
      const bool u2all = !slopedY && !(std::fabs(vdx) > rl);
      const double u2lo = slopedY ? std::min(t0, t1) : (u2all ? -kInf : kInf);
      const double u2hi = slopedY ? std::max(t0, t1) : kInf;
      const double ulo = std::max(u1lo, u2lo), uhi = std::min(u1hi, u2hi);
      const bool in = band && ulo <= uhi;
      lo[k] = in ? std::min(l, ax + ulo) : l;
      hi[k] = in ? std::max(g, ax + uhi) : g;
    }
  }

  // Whether the centre of pixel (i, j) lies within r of the segment, exactly for whole inputs.
  bool Inside(std::int64_t i, std::int64_t j) const {
    if (exact_) {
      const std::int64_t px = 2 * i + 1, py = 2 * j + 1;
      const std::int64_t ux = px - ax2_, uy = py - ay2_;
      constexpr std::int64_t kFar = std::int64_t{1} << 31;  // beyond any pen of the range
      if (ux > kFar || ux < -kFar || uy > kFar || uy < -kFar) return false;
      const std::int64_t dx = bx2_ - ax2_, dy = by2_ - ay2_;
      const i128 w2 = i128(w_) * w_;  // doubled coordinates: the radius is the width
      const std::int64_t dot = ux * dx + uy * dy;
      const std::int64_t l2 = dx * dx + dy * dy;
      if (dot <= 0) return i128(ux) * ux + i128(uy) * uy <= w2;
      if (dot >= l2) {
        const std::int64_t vx = px - bx2_, vy = py - by2_;
        return i128(vx) * vx + i128(vy) * vy <= w2;
      }
      const std::int64_t cross = ux * dy - uy * dx;
      return i128(cross) * cross <= w2 * l2;
    }
    const double px = i + 0.5, py = j + 0.5;
    const double ux = px - a_.x, uy = py - a_.y;
    const double dot = ux * dx_ + uy * dy_;
    if (dot <= 0) return ux * ux + uy * uy <= r2_;
    if (dot >= l2_) {
      const double vx = px - b_.x, vy = py - b_.y;
      return vx * vx + vy * vy <= r2_;
    }
    const double cross = ux * dy_ - uy * dx_;
    return cross * cross <= r2_ * l2_;
  }

  // Runs of the capsule on the rows it spans, merged into `rows`. A row whose latest run
  // already holds everything the capsule could cover there is passed over: the capsule lies in
  // the disc of radius r + |AB| / 2 about the middle of AB, and that disc's chord on the row is
  // tested without a square root. Then the approximate ends of the remaining rows (a tight
  // loop over each stretch of them), and last rounding to pixels, the exact test of ends that
  // fall on a near tie, and the merge.
  void Rasterise(RowRuns& rows, Scratch& scratch, bool cull) const {
    const int w = rows.Width(), h = rows.Height();
    if (std::max(a_.x, b_.x) + r_ < -1 || std::min(a_.x, b_.x) - r_ > w + 1) return;
    const double top = std::ceil(std::min(a_.y, b_.y) - r_ - 0.5);
    const double bottom = std::floor(std::max(a_.y, b_.y) + r_ - 0.5);
    const std::int64_t j0 = static_cast<std::int64_t>(std::max(top, 0.0));
    const std::int64_t j1 = static_cast<std::int64_t>(std::min(bottom, double(h - 1)));
    if (j1 < j0) return;
    const std::size_t n = static_cast<std::size_t>(j1 - j0) + 1;
    if (scratch.lo.size() < n) {
      scratch.lo.resize(n);
      scratch.hi.resize(n);
      scratch.skip.resize(n);
    }
    double* los = scratch.lo.data();
    double* his = scratch.hi.data();
    unsigned char* skip = scratch.skip.data();
    const double mx = (a_.x + b_.x) / 2, my = (a_.y + b_.y) / 2;
    const double bound = r_ + std::sqrt(l2_) / 2;
    const double bound2 = bound * bound * (1 + kBoundSlack) + kBoundSlack;
    const int* run0 = cull ? rows.RunStarts(j0, n) : nullptr;
    const int* run1 = cull ? rows.RunEnds(j0, n) : nullptr;
    if (run0 == nullptr) {
      std::fill(skip, skip + n, static_cast<unsigned char>(0));
    } else {
      const double e0 = double(j0) + 0.5 - my;
      for (std::size_t k = 0; k < n; ++k) {
        // Pixels the bound covers have centres within the chord mx +- half, so columns within
        // (mx - half - 0.5, mx + half - 0.5): inside the run when half <= room.
        const double c0 = run0[k], c1 = run1[k];
        const double room = std::min(mx - c0, c1 - mx) - kBoundMargin;
        const double e = e0 + static_cast<double>(k);
        skip[k] = c0 <= c1 && room >= 0 && bound2 - e * e <= room * room;
      }
    }
    for (std::size_t k = 0; k < n;) {
      if (skip[k]) {
        ++k;
        continue;
      }
      std::size_t m = k + 1;
      while (m < n && !skip[m]) ++m;
      if (start_disc_) {
        Ends<true>(double(j0 + std::int64_t(k)) + 0.5, m - k, los + k, his + k);
      } else {
        Ends<false>(double(j0 + std::int64_t(k)) + 0.5, m - k, los + k, his + k);
      }
      k = m;
    }
    for (std::size_t k = 0; k < n; ++k) {
      const double lo = los[k], hi = his[k];
      if (skip[k] || !(lo <= hi)) continue;
      const std::int64_t j = j0 + static_cast<std::int64_t>(k);
      // Pixels with lo <= i + 0.5 <= hi, clamped to one pixel beyond the grid either side.
      const double tl = std::clamp(lo - 0.5, -2.0, w + 1.0);
      const double th = std::clamp(hi - 0.5, -2.0, w + 1.0);
      // Ceiling and floor by truncation (cheaper than std::ceil and std::floor on plain x86-64),
      // with the distance of each end from the nearest pixel centre on its side.
      const auto kl = static_cast<std::int64_t>(tl), kh = static_cast<std::int64_t>(th);
      const double dl = static_cast<double>(kl), dh = static_cast<double>(kh);
      std::int64_t i0 = kl + (tl > dl), i1 = kh - (th < dh);
      const double gl = (tl > dl ? dl + 1 : dl) - tl, gh = th - (th < dh ? dh - 1 : dh);
      const bool tieLeft = gl < slack_ || gl > 1 - slack_;
      const bool tieRight = gh < slack_ || gh > 1 - slack_;
      i0 = std::clamp<std::int64_t>(i0, -1, w);
      i1 = std::clamp<std::int64_t>(i1, -1, w);
      if (i0 >= 0 && i0 < w && tieLeft) {
        for (int a = 0; a < kMaxEndAdjust && i0 > 0 && Inside(i0 - 1, j); ++a) --i0;
        for (int a = 0; a < kMaxEndAdjust && i0 <= i1 && !Inside(i0, j); ++a) ++i0;
      }
      if (i1 >= 0 && i1 < w && tieRight) {
        for (int a = 0; a < kMaxEndAdjust && i1 < w - 1 && Inside(i1 + 1, j); ++a) ++i1;
        for (int a = 0; a < kMaxEndAdjust && i1 >= i0 && !Inside(i1, j); ++a) --i1;
      }
      rows.Add(static_cast<int>(j), i0, i1);
    }
  }

 private:
  bool start_disc_;
  PointD a_, b_;
  double r_, r2_, dx_, dy_, l2_, rl_;
  double slack_ = 0, inv_dx_ = 0, inv_dy_ = 0;
  bool exact_ = false;
  std::int64_t ax2_ = 0, ay2_ = 0, bx2_ = 0, by2_ = 0, w_ = 0;
};

// Collects single pixels of thin lines into horizontal runs before they reach the coverage.
class RunBuilder {
 public:
  explicit RunBuilder(Coverage& out) : out_(out) {}
  ~RunBuilder() { Flush(); }
  void Pixel(std::int64_t x, std::int64_t y) {
    if (y < 0 || y >= out_.Height() || x < 0 || x >= out_.Width()) return;
    if (open_ && y == y_ && x == x1_ + 1) {
      x1_ = x;
    } else if (open_ && y == y_ && x == x0_ - 1) {
      x0_ = x;
    } else {
      Flush();
      open_ = true;
      y_ = y;
      x0_ = x1_ = x;
    }
  }
  void Flush() {
    if (open_) out_.Add(static_cast<int>(y_), x0_, x1_);
    open_ = false;
  }

 private:
  Coverage& out_;
  bool open_ = false;
  std::int64_t y_ = 0, x0_ = 0, x1_ = 0;
};

void Line(std::int64_t x0, std::int64_t y0, std::int64_t x1, std::int64_t y1, bool last,
          RunBuilder& runs, int width, int height) {
  const std::int64_t dx = x1 - x0, dy = y1 - y0;
  const std::int64_t adx = dx < 0 ? -dx : dx, ady = dy < 0 ? -dy : dy;
  if (adx == 0 && ady == 0) {
    if (last) runs.Pixel(x0, y0);
    return;
  }
  const bool xMajor = adx >= ady;
  const std::int64_t major = xMajor ? adx : ady, minor = xMajor ? ady : adx;
  const std::int64_t s = xMajor ? (dx < 0 ? -1 : 1) : (dy < 0 ? -1 : 1);
  const std::int64_t t = xMajor ? (dy < 0 ? -1 : 1) : (dx < 0 ? -1 : 1);
  const std::int64_t start = xMajor ? x0 : y0, other = xMajor ? y0 : x0;
  const std::int64_t limit = xMajor ? width : height;
  // Clip the steps to the rows or columns of the grid along the major axis.
  std::int64_t k0 = 0, k1 = last ? major : major - 1;
  if (s > 0) {
    k0 = std::max<std::int64_t>(k0, -start);
    k1 = std::min<std::int64_t>(k1, limit - 1 - start);
  } else {
    k0 = std::max<std::int64_t>(k0, start - (limit - 1));
    k1 = std::min<std::int64_t>(k1, start);
  }
  for (std::int64_t k = k0; k <= k1; ++k) {
    const std::int64_t m = (2 * k * minor + major) / (2 * major);
    const std::int64_t a = start + s * k, b = other + t * m;
    if (xMajor) {
      runs.Pixel(a, b);
    } else {
      runs.Pixel(b, a);
    }
  }
}

}  // namespace

Coverage::Coverage(int width, int height)
    : width_(std::max(width, 0)), height_(std::max(height, 0)) {}

void Coverage::Clear() {
  spans_.clear();
  finished_ = true;
}

void Coverage::Add(int y, std::int64_t x0, std::int64_t x1) {
  if (y < 0 || y >= height_) return;
  x0 = std::max<std::int64_t>(x0, 0);
  x1 = std::min<std::int64_t>(x1, width_ - 1);
  if (x0 > x1) return;
  finished_ = false;
  spans_.push_back({y, static_cast<int>(x0), static_cast<int>(x1)});
}

void Coverage::Finish() {
  if (finished_) return;
  finished_ = true;
  SortByRow(spans_, [](const Span& a, const Span& b) { return a.x0 < b.x0; });
  std::size_t n = 0;
  for (const Span& s : spans_) {
    if (n > 0 && spans_[n - 1].y == s.y && s.x0 <= spans_[n - 1].x1 + 1) {
      spans_[n - 1].x1 = std::max(spans_[n - 1].x1, s.x1);
    } else {
      spans_[n++] = s;
    }
  }
  spans_.resize(n);
}

bool Coverage::Covered(int x, int y) const {
  auto it = std::upper_bound(
      spans_.begin(), spans_.end(), Span{y, x, x},
      [](const Span& a, const Span& b) { return a.y != b.y ? a.y < b.y : a.x0 < b.x0; });
  if (it == spans_.begin()) return false;
  --it;
  return it->y == y && it->x0 <= x && x <= it->x1;
}

void FillEvenOdd(std::span<const Figure> figures, Coverage& out) {
  const int w = out.Width(), h = out.Height();
  if (w == 0 || h == 0) return;
  std::vector<Crossing> xs;
  for (const Figure& f : figures) {
    const std::size_t n = f.points.size();
    if (n < 2) continue;
    for (std::size_t i = 0; i < n; ++i) {
      PointD a = f.points[i], b = f.points[(i + 1) % n];
      if (a.y == b.y) continue;
      if (a.y > b.y) std::swap(a, b);
      // Rows whose centre line y + 0.5 lies in [a.y, b.y).
      const double top = std::max(std::ceil(a.y - 0.5), 0.0);
      const double bottom = std::min(std::ceil(b.y - 0.5) - 1, double(h - 1));
      for (double j = top; j <= bottom; ++j) {
        const double x = a.x + (j + 0.5 - a.y) * (b.x - a.x) / (b.y - a.y);
        xs.push_back({static_cast<int>(j), std::clamp(x, -1.0, w + 1.0)});
      }
    }
  }
  SortByRow(xs, [](const Crossing& p, const Crossing& q) { return p.x < q.x; });
  for (std::size_t i = 0; i + 1 < xs.size();) {
    if (xs[i + 1].y != xs[i].y) {  // cannot happen for closed figures; skip a lone crossing
      ++i;
      continue;
    }
    // Centres in [left, right): left edges include their points, right edges do not.
    const auto i0 = static_cast<std::int64_t>(std::ceil(xs[i].x - 0.5));
    const auto i1 = static_cast<std::int64_t>(std::ceil(xs[i + 1].x - 0.5)) - 1;
    out.Add(xs[i].y, i0, i1);
    i += 2;
  }
}

namespace {
// Capsule of segment i of a figure with at least two points; the start disc only for the
// first segment (every other start is the end of the segment before it).
void Segment(const Figure& f, std::size_t i, double width, bool cull, RowRuns& rows,
             Scratch& scratch) {
  const std::size_t n = f.points.size();
  Capsule(f.points[i], f.points[i + 1 < n ? i + 1 : 0], width, i == 0)
      .Rasterise(rows, scratch, cull);
}
}  // namespace

void StrokeRound(std::span<const Figure> figures, double width, Coverage& out) {
  if (!(width > 0) || out.Width() == 0 || out.Height() == 0) return;
  const double r = width / 2;
  double ymin = kInf, ymax = -kInf;
  for (const Figure& f : figures) {
    for (const PointD& p : f.points) {
      ymin = std::min(ymin, p.y);
      ymax = std::max(ymax, p.y);
    }
  }
  if (!(ymin <= ymax)) return;
  const double top = std::clamp(std::floor(ymin - r), -1.0, double(out.Height()));
  const double bottom = std::clamp(std::ceil(ymax + r), -1.0, double(out.Height()));
  RowRuns rows(out, static_cast<int>(top), static_cast<int>(bottom));
  Scratch scratch;
  for (const Figure& f : figures) {
    const std::size_t n = f.points.size();
    if (n == 0) continue;
    if (n == 1) {
      Capsule(f.points[0], f.points[0], width).Rasterise(rows, scratch, false);
      continue;
    }
    // Segment i joins point i to point i + 1 (the closing one, i = n - 1, back to point 0).
    // Coarse to fine when the pen is wide against the segments: every step-th segment first,
    // then the ones halfway between, and so on, so that most rows of a later capsule already
    // lie inside the run its neighbours left. The first step keeps those capsules within about
    // a pen radius of each other, so that their runs still join.
    const std::size_t segs = f.closed && n > 2 ? n : n - 1;
    double length = 0;
    for (std::size_t i = 0; i < segs; ++i) {
      const PointD p = f.points[i], q = f.points[i + 1 < n ? i + 1 : 0];
      length += std::sqrt((q.x - p.x) * (q.x - p.x) + (q.y - p.y) * (q.y - p.y));
    }
    std::size_t step = 1;
    while (step < kMaxStep && double(2 * step) * length <= r * double(segs)) step *= 2;
    const bool cull = step >= kCullStep;
    if (!cull) step = 1;
    for (std::size_t i = 0; i < segs; i += step) Segment(f, i, width, cull, rows, scratch);
    for (; step > 1; step /= 2) {
      for (std::size_t i = step / 2; i < segs; i += step) Segment(f, i, width, cull, rows, scratch);
    }
  }
}

void StrokeThin(std::span<const Figure> figures, Coverage& out) {
  RunBuilder runs(out);
  std::vector<std::pair<std::int64_t, std::int64_t>> q;
  for (const Figure& f : figures) {
    q.clear();
    for (const PointD& p : f.points) {
      const auto x = static_cast<std::int64_t>(std::floor(p.x + 0.5));
      const auto y = static_cast<std::int64_t>(std::floor(p.y + 0.5));
      if (q.empty() || q.back().first != x || q.back().second != y) q.emplace_back(x, y);
    }
    if (f.closed && q.size() > 1 && q.back() == q.front()) q.pop_back();
    if (q.size() < 2) continue;  // a line of no length draws nothing
    for (std::size_t i = 0; i + 1 < q.size(); ++i) {
      Line(q[i].first, q[i].second, q[i + 1].first, q[i + 1].second, false, runs, out.Width(),
           out.Height());
    }
    if (f.closed) {
      Line(q.back().first, q.back().second, q.front().first, q.front().second, false, runs,
           out.Width(), out.Height());
    }
  }
}

void ThinLine(std::int64_t x0, std::int64_t y0, std::int64_t x1, std::int64_t y1, bool last,
              Coverage& out) {
  RunBuilder runs(out);
  Line(x0, y0, x1, y1, last, runs, out.Width(), out.Height());
}

void FlattenBezier(PointD p0, PointD p1, PointD p2, PointD p3, double tolerance, int maxSteps,
                   std::vector<PointD>& out) {
  maxSteps = std::max(maxSteps, 1);
  const double m = std::max(std::hypot(p0.x - 2 * p1.x + p2.x, p0.y - 2 * p1.y + p2.y),
                            std::hypot(p1.x - 2 * p2.x + p3.x, p1.y - 2 * p2.y + p3.y));
  // Wang's bound for a cubic: n >= sqrt(3/4 * m / tolerance) keeps every line within tolerance.
  const double want = tolerance > 0 ? std::ceil(std::sqrt(0.75 * m / tolerance)) : kInf;
  const int n = want >= 1 && want <= maxSteps ? static_cast<int>(want) : (want < 1 ? 1 : maxSteps);
  for (int k = 1; k < n; ++k) {
    const double t = double(k) / n, s = 1 - t;
    const double b0 = s * s * s, b1 = 3 * s * s * t, b2 = 3 * s * t * t, b3 = t * t * t;
    out.push_back({b0 * p0.x + b1 * p1.x + b2 * p2.x + b3 * p3.x,
                   b0 * p0.y + b1 * p1.y + b2 * p2.y + b3 * p3.y});
  }
  out.push_back(p3);
}

}  // namespace plexa::rasterizer
