// Hostile sets for the boolean operations: the input bytes become two sets of paths whose
// node coordinates are either small integers (many coincident edges, shared vertices,
// touching and self-intersecting shapes) or raw doubles (NaN, infinities, huge and tiny
// values). Nothing may crash, hang or trip the sanitizers; every result must be closed.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "fuzz/fuzz_bytes.h"
#include "plexa/plexa.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kMaxNodes = 256;
  if (size < 2) return 0;
  const std::uint8_t mode = data[0], opByte = data[1];
  data += 2, size -= 2;
  CPolyPolyBezier sets[2];
  CBPointArray* path = nullptr;
  std::size_t nodes = 0;
  auto next = [&](double& v) { return plexa::fuzz::NextValue(mode, data, size, v); };
  for (; nodes < kMaxNodes; ++nodes) {
    if (size < 1) break;
    const std::uint8_t tag = data[0];
    data += 1, size -= 1;
    if (path == nullptr || (tag & 7) == 0) {
      path = new CBPointArray;
      sets[(tag >> 3) & 1].Add(path);
    }
    CDPOINT a, in, out;
    if (!next(a.x) || !next(a.y)) break;
    in = out = a;
    if (tag & 0x80) {
      if (!next(in.x) || !next(in.y) || !next(out.x) || !next(out.y)) break;
    }
    path->Add(CBPOINT(in, a, out));
  }
  const BooleanOp ops[4] = {BooleanOp::kUnion, BooleanOp::kIntersection, BooleanOp::kDifference,
                            BooleanOp::kXor};
  BooleanOptions opt;
  opt.fillRule = opByte & 4 ? FillRule::kEvenOdd : FillRule::kNonZero;
  opt.tolerance = (opByte & 8) ? 0.001 : 0.05;
  CPolyPolyBezier out;
  BooleanTree tree;
  if (BooleanPolyPolyBezier(sets[0], sets[1], ops[opByte & 3], out, opt, &tree)) {
    if (tree.parent.size() != static_cast<std::size_t>(out.GetSize())) std::abort();
    for (INT_PTR i = 0; i < out.GetSize(); ++i) {
      const CBPointArray& p = out[static_cast<int>(i)];
      if (p.GetSize() < 3 || !(p[0].anchor == p[p.GetUpperBound()].anchor)) std::abort();
    }
  }
  return 0;
}
