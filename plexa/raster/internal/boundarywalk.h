// What CShapeTrace and CPxAutoTrace share: the boundary walk, from a region's leftmost pixel
// on a row round its 8-connected boundary clockwise (y down) until the start comes round
// again, and the span stack of their scan-line seed fills. The region is whatever inside(x, y)
// says; a walk that meets a pixel traced before within its first kRetraceWindow steps, or runs
// past 8 steps a pixel of the image, gives up.
#pragma once

#include <vector>

#include "plexa/platform/array.h"

namespace plexa::walk {

// Direction d steps to (x + kDx[d], y + kDy[d]): east first, then clockwise (y down).
inline constexpr int kDx[8] = {1, 1, 0, -1, -1, -1, 0, 1};
inline constexpr int kDy[8] = {0, 1, 1, 1, 0, -1, -1, -1};
// Within this many points a pixel marked as traced means the boundary was traced before.
inline constexpr INT_PTR kRetraceWindow = 10;

// The neighbour in direction dir and whether it is inside.
template <class Inside>
int Probe(int x, int y, int dir, int* nx, int* ny, const Inside& inside) {
  *nx = x + kDx[dir];
  *ny = y + kDy[dir];
  return inside(*nx, *ny);
}

// The next boundary direction after arriving by dir: the first inside neighbour counting
// back from just past dir; 0 (with the last probe in nx, ny) when none is inside.
template <class Inside>
int Neighbor(int x, int y, int dir, int* nx, int* ny, const Inside& inside) {
  int s = dir + 1 + (dir & 1);
  if (s >= 8) s -= 8;
  for (int k = 0; k < 8; ++k) {
    if (Probe(x, y, s, nx, ny, inside)) return s;
    s = s == 0 ? 7 : s - 1;
  }
  return 0;
}

// Walks the boundary from (sx, sy) with add(x, y) for each boundary pixel in order (the start
// once, not repeated); count is how many points the caller holds already. False when (sx, sy)
// has no inside neighbour, when traced(x, y) holds while fewer than kRetraceWindow points are
// held, or after limit steps.
template <class Inside, class Traced, class Add>
bool WalkBoundary(int sx, int sy, INT_PTR count, long long limit, const Inside& inside,
                  const Traced& traced, const Add& add) {
  int nx, ny;
  bool any = false;
  for (int d = 0; d < 8 && !any; ++d) any = Probe(sx, sy, d, &nx, &ny, inside) != 0;
  if (!any) return false;
  int dir = 1, cx = sx, cy = sy;
  for (long long step = 0;; ++step) {
    if (step > limit) return false;
    dir = Neighbor(cx, cy, dir, &nx, &ny, inside);
    if (cx == sx && cy == sy && count > 0) break;
    if (traced(cx, cy) && count < kRetraceWindow) return false;
    add(cx, cy);
    ++count;
    cx = nx, cy = ny;
  }
  return true;
}

// The seed fills' span stack: a span of row y from xl to xr, to be continued on row y + dy.
// PushSpan drops a span whose next row is outside 0 .. height - 1; PopSpan takes the newest
// and gives its next row.
template <class Span>
void PushSpan(std::vector<Span>& stack, int height, int y, int xl, int xr, int dy) {
  if (y + dy >= 0 && y + dy < height) stack.push_back({y, xl, xr, dy});
}
template <class Span>
void PopSpan(std::vector<Span>& stack, int& y, int& xl, int& xr, int& dy) {
  const Span s = stack.back();
  stack.pop_back();
  y = s.y + s.dy;
  xl = s.xl;
  xr = s.xr;
  dy = s.dy;
}

}  // namespace plexa::walk
