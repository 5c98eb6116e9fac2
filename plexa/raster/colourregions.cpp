#include "plexa/raster/colourregions.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>
#include <utility>

#include "plexa/geom/fitcurve.h"
#include "plexa/platform/internal/grow.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

// Directions of a step along pixel edges: 0 right, 1 down, 2 left, 3 up (y down).
constexpr int kStepX[4] = {1, 0, -1, 0};
constexpr int kStepY[4] = {0, 1, 0, -1};
// Progress is reported every this many rows.
constexpr int kProgressRows = 64;

// The region indexes of a label image, with -1 for the outside.
struct Grid {
  int w = 0, h = 0;
  std::vector<int> region;
  int At(int x, int y) const {
    return x < 0 || y < 0 || x >= w || y >= h ? -1 : region[static_cast<std::size_t>(y) * w + x];
  }
  // The pixel on the right and on the left of the edge leaving vertex (x, y) in direction d.
  int Right(int x, int y, int d) const {
    switch (d) {
      case 0:
        return At(x, y);
      case 1:
        return At(x - 1, y);
      case 2:
        return At(x - 1, y - 1);
      default:
        return At(x, y - 1);
    }
  }
  int Left(int x, int y, int d) const {
    switch (d) {
      case 0:
        return At(x, y - 1);
      case 1:
        return At(x, y);
      case 2:
        return At(x - 1, y);
      default:
        return At(x - 1, y - 1);
    }
  }
  bool Boundary(int x, int y, int d, int r) const {
    return Right(x, y, d) == r && Left(x, y, d) != r;
  }
  // Chains end here: three or more labels around the corner (the outside counting as one),
  // two meeting crosswise, or a corner of the image.
  bool Junction(int x, int y) const {
    if ((x == 0 || x == w) && (y == 0 || y == h)) return true;
    const int a = At(x - 1, y - 1), b = At(x, y - 1), c = At(x - 1, y), d = At(x, y);
    int distinct = 1;
    distinct += b != a;
    distinct += c != a && c != b;
    distinct += d != a && d != b && d != c;
    if (distinct >= 3) return true;
    return distinct == 2 && a == d && b == c;
  }
};

// A directed edge of the right pixel's boundary is the side `d` of that pixel (0 top, 1 right,
// 2 bottom, 3 left), so the walk marks pixel sides.
std::pair<int, int> SideOwner(int x, int y, int d) {
  switch (d) {
    case 0:
      return {x, y};
    case 1:
      return {x - 1, y};
    case 2:
      return {x - 1, y - 1};
    default:
      return {x, y - 1};
  }
}

void ReversePath(CBPointArray& p) {
  std::reverse(p.GetData(), p.GetData() + p.GetSize());
  for (CBPOINT& n : p) std::swap(n.in, n.out);
}

// Fits one chain of pixel corners (vertex ids along the chain; closed when first == last).
void FitChain(const std::vector<long long>& verts, int stride, double tol, CBPointArray& out) {
  auto pos = [&](long long v) {
    return CDPOINT(static_cast<double>(v % stride), static_cast<double>(v / stride));
  };
  const bool closed = verts.front() == verts.back();
  CArray<CDPOINT, CDPOINT> pts;
  pts.SetSize(0, static_cast<INT_PTR>(verts.size()) + 2);
  if (!closed) plexa::grow::Append(pts, pos(verts.front()));
  for (std::size_t i = 0; i + 1 < verts.size(); ++i) {
    const CDPOINT a = pos(verts[i]), b = pos(verts[i + 1]);
    plexa::grow::Append(pts, CDPOINT((a.x + b.x) / 2, (a.y + b.y) / 2));
  }
  if (closed)
    plexa::grow::Append(pts, pts[0]);
  else
    plexa::grow::Append(pts, pos(verts.back()));
  FitCurve(pts.GetData(), static_cast<int>(pts.GetSize()), &out, tol);
  if (out.GetSize() >= 2) return;
  out.RemoveAll();  // the fitter gave up: the points as corners
  for (const CDPOINT& p : pts) out.Add(CBPOINT(p, p, p));
}

// Appends a chain to a loop under construction, merging the shared junction node.
void Join(CBPointArray& loop, const CBPointArray& chain, bool reversed) {
  CBPointArray piece(chain);
  if (reversed) ReversePath(piece);
  if (loop.IsEmpty()) {
    loop.Copy(piece);
    return;
  }
  loop[loop.GetSize() - 1].out = piece[0].out;
  for (INT_PTR i = 1; i < piece.GetSize(); ++i) plexa::grow::Append(loop, piece[i]);
}

}  // namespace

std::uint32_t CColourRegions::GetLabel(int i) const {
  return i >= 0 && i < GetRegionCount() ? m_labels[static_cast<std::size_t>(i)] : 0;
}

const CPolyPolyBezier& CColourRegions::GetOutlines(int i) const {
  return i >= 0 && i < GetRegionCount() ? *m_outlines[static_cast<std::size_t>(i)] : m_empty;
}

bool CColourRegions::Trace(std::span<const std::uint32_t> labels, int width, int height,
                           double tolerance, const std::function<void(double)>& progress) {
  m_labels.clear();
  m_outlines.clear();
  m_chains = 0;
  if (width <= 0 || height <= 0) return false;
  const long long pixels = static_cast<long long>(width) * height;
  if (pixels > kColourRegionsMaxPixels || static_cast<long long>(labels.size()) != pixels)
    return false;
  const double tol =
      std::isfinite(tolerance) && tolerance > 0 ? tolerance : kColourRegionsDefaultTolerance;

  Grid g;
  g.w = width, g.h = height;
  g.region.resize(static_cast<std::size_t>(pixels));
  {
    std::unordered_map<std::uint32_t, int> index;
    for (std::size_t i = 0; i < labels.size(); ++i) {
      auto [it, added] = index.try_emplace(labels[i], static_cast<int>(m_labels.size()));
      if (added) m_labels.push_back(labels[i]);
      g.region[i] = it->second;
    }
  }
  for (std::size_t i = 0; i < m_labels.size(); ++i)
    m_outlines.push_back(std::make_unique<CPolyPolyBezier>());

  const int stride = width + 1;  // vertex id = y * stride + x
  std::vector<std::uint8_t> visited(static_cast<std::size_t>(pixels), 0);
  std::unordered_map<long long, int> chainIndex;  // canonical key -> fitted chain
  std::vector<CBPointArray> fitted;
  std::vector<long long> verts;
  std::vector<int> dirs;
  std::vector<std::pair<int, bool>> parts;

  for (int py = 0; py < height; ++py) {
    if (progress && py % kProgressRows == 0) progress(static_cast<double>(py) / height);
    for (int px = 0; px < width; ++px)
      for (int side = 0; side < 4; ++side) {
        const int r = g.At(px, py);
        if (visited[static_cast<std::size_t>(py) * width + px] & (1 << side)) continue;
        // The side as a directed edge with this pixel on its right.
        int x0, y0;
        switch (side) {
          case 0:
            x0 = px, y0 = py;
            break;
          case 1:
            x0 = px + 1, y0 = py;
            break;
          case 2:
            x0 = px + 1, y0 = py + 1;
            break;
          default:
            x0 = px, y0 = py + 1;
            break;
        }
        if (!g.Boundary(x0, y0, side, r)) continue;
        // Walk the loop: at each corner turn right if possible, else go straight, else left,
        // which keeps crosswise neighbours apart. Every pixel side is walked once.
        verts.clear();
        dirs.clear();
        int x = x0, y = y0, d = side;
        for (long long guard = 0; guard <= 4 * pixels; ++guard) {
          const auto [ox, oy] = SideOwner(x, y, d);
          visited[static_cast<std::size_t>(oy) * width + ox] |= static_cast<std::uint8_t>(1 << d);
          verts.push_back(static_cast<long long>(y) * stride + x);
          dirs.push_back(d);
          x += kStepX[d], y += kStepY[d];
          int next = -1;
          for (int t : {(d + 1) % 4, d, (d + 3) % 4})
            if (g.Boundary(x, y, t, r)) {
              next = t;
              break;
            }
          if (next < 0 || (x == x0 && y == y0 && next == side)) break;
          d = next;
        }
        verts.push_back(verts.front());
        const std::size_t n = dirs.size();

        // Cut the loop into chains at its junctions.
        parts.clear();
        std::vector<std::size_t> junctions;
        for (std::size_t i = 0; i < n; ++i)
          if (g.Junction(static_cast<int>(verts[i] % stride), static_cast<int>(verts[i] / stride)))
            junctions.push_back(i);
        auto use = [&](long long key, std::vector<long long> chain, bool reversed) {
          auto [it, added] = chainIndex.try_emplace(key, static_cast<int>(fitted.size()));
          if (added) {
            if (reversed) std::reverse(chain.begin(), chain.end());
            fitted.emplace_back();
            FitChain(chain, stride, tol, fitted.back());
            ++m_chains;
          }
          parts.push_back({it->second, reversed});
        };
        if (junctions.empty()) {
          // A closed chain: canonical start at its smallest corner, leaving it to the right.
          const std::size_t m = static_cast<std::size_t>(
              std::min_element(verts.begin(), verts.end() - 1) - verts.begin());
          std::vector<long long> chain(n + 1);
          for (std::size_t i = 0; i <= n; ++i) chain[i] = verts[(m + i) % n];
          use(verts[m] * 4, std::move(chain), dirs[m] != 0);
        } else {
          for (std::size_t k = 0; k < junctions.size(); ++k) {
            const std::size_t a = junctions[k];
            const std::size_t b = k + 1 < junctions.size() ? junctions[k + 1] : junctions[0] + n;
            std::vector<long long> chain;
            chain.reserve(b - a + 1);
            for (std::size_t i = a; i <= b; ++i) chain.push_back(verts[i % n]);
            const long long forward = verts[a] * 4 + dirs[a];
            const long long backward = verts[b % n] * 4 + (dirs[(b - 1) % n] + 2) % 4;
            use(std::min(forward, backward), std::move(chain), forward > backward);
          }
        }
        auto loop = std::make_unique<CBPointArray>();
        for (const auto& [c, rev] : parts) Join(*loop, fitted[static_cast<std::size_t>(c)], rev);
        if (loop->GetSize() >= 2) {
          CBPOINT& first = (*loop)[0];
          const CBPOINT& last = (*loop)[loop->GetSize() - 1];
          first.in = last.in;
          (*loop)[loop->GetSize() - 1] = first;
        }
        m_outlines[static_cast<std::size_t>(r)]->Add(loop.release());
      }
  }
  if (progress) progress(1.0);
  return true;
}
