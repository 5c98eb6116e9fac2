// Random bitmaps for CFaithfulTrace: the first bytes choose the size (1..64 each way), the
// corner policy, the speckle size, the corner threshold and the merging tolerance (NaN and
// absurd values included), the rest are the pixels, one bit each. Every call must return
// closed paths with finite nodes near the image (control points of a merged curve may stand
// out by a fraction of the curve's size), and a tree whose parents come first and alternate
// between outlines and holes.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "plexa/plexa.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 12) return 0;
  const int w = 1 + data[0] % 64, h = 1 + data[1] % 64;
  CFaithfulTrace::OPTIONS opt;
  opt.turnPolicy = static_cast<CFaithfulTrace::TurnPolicy>(data[2] % 4);
  opt.speckle = data[3] % 8;
  float corner, tol;
  std::memcpy(&corner, data + 4, sizeof corner);
  std::memcpy(&tol, data + 8, sizeof tol);
  opt.cornerThreshold = corner;
  opt.optTolerance = tol;
  std::vector<std::uint8_t> grey(static_cast<std::size_t>(w) * h, 255);
  for (std::size_t i = 0; i < grey.size(); ++i) {
    const std::size_t byte = 12 + i / 8;
    if (byte < size && ((data[byte] >> (i % 8)) & 1)) grey[i] = 0;
  }
  CFaithfulTrace trace(opt);
  CPolyPolyBezier out;
  if (!trace.Trace(grey, w, h, w, out)) __builtin_trap();
  const auto& tree = trace.Tree();
  if (tree.size() != static_cast<std::size_t>(out.GetSize())) __builtin_trap();
  for (int i = 0; i < out.GetSize(); ++i) {
    const CBPointArray& p = out[i];
    if (!p.IsPolyBezierClosed()) __builtin_trap();
    for (const auto& n : p)
      for (const auto& q : {n.in, n.anchor, n.out})
        if (!std::isfinite(q.x) || !std::isfinite(q.y) || q.x < -w || q.y < -h || q.x > 2 * w + 1 ||
            q.y > 2 * h + 1)
          __builtin_trap();
    const auto& node = tree[static_cast<std::size_t>(i)];
    if (node.parent >= i) __builtin_trap();
    if (node.parent >= 0 && (tree[static_cast<std::size_t>(node.parent)].hole == node.hole ||
                             tree[static_cast<std::size_t>(node.parent)].depth + 1 != node.depth))
      __builtin_trap();
    if (node.parent < 0 && (node.hole || node.depth != 0)) __builtin_trap();
  }
  std::vector<std::uint8_t> back;
  if (!FillPolyPolyEvenOdd(out, w, h, back)) __builtin_trap();
  return 0;
}
