// Hostile sets for the vector offset and the vertex offset: the input bytes become paths whose
// coordinates are small integers (coincident edges, cusps, zero-length segments, touching and
// self-intersecting shapes) or raw doubles (NaN, infinities, huge and tiny values), and a
// distance that is small, large or raw. Nothing may crash, hang or trip the sanitizers; every
// result path must be closed, and the tree must match the result.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "fuzz/fuzz_bytes.h"
#include "plexa/plexa.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kMaxNodes = 64;
  if (size < 2) return 0;
  const std::uint8_t mode = data[0], opByte = data[1];
  data += 2, size -= 2;
  const auto next = [&](double& v) { return plexa::fuzz::NextValue(mode, data, size, v); };
  double d = 0;
  if (!next(d)) return 0;
  if (!(mode & 1)) d = (d - 4) * ((mode & 4) ? 3.0 : 0.5);
  CPolyPolyBezier set;
  CBPointArray* path = nullptr;
  for (std::size_t nodes = 0; nodes < kMaxNodes && size > 0; ++nodes) {
    const std::uint8_t tag = data[0];
    data += 1, size -= 1;
    if (path == nullptr || (tag & 7) == 0) {
      path = new CBPointArray;
      set.Add(path);
    }
    CDPOINT a, in, out;
    if (!next(a.x) || !next(a.y)) break;
    in = out = a;
    if (tag & 0x80) {
      if (!next(in.x) || !next(in.y) || !next(out.x) || !next(out.y)) break;
    }
    path->Add(CBPOINT(in, a, out));
  }
  OffsetOptions opt;
  const OffsetJoin joins[3] = {OffsetJoin::kRound, OffsetJoin::kMiter, OffsetJoin::kBevel};
  opt.join = joins[(opByte & 3) % 3];
  opt.cap = static_cast<OffsetCap>((opByte >> 2) % 3);
  opt.accuracy = (opByte & 16) ? 0.01 : 1e-3;
  CPolyPolyBezier out;
  BooleanTree tree;
  const bool ok = (opByte & 32) ? StrokePolyPolyBezier(set, d, out, opt, &tree)
                                : OffsetPolyPolyBezier(set, d, out, opt, &tree);
  if (ok) {
    if (tree.parent.size() != static_cast<std::size_t>(out.GetSize())) std::abort();
    for (INT_PTR i = 0; i < out.GetSize(); ++i) {
      const CBPointArray& p = out[static_cast<int>(i)];
      if (p.GetSize() < 3 || !(p[0].anchor == p[p.GetUpperBound()].anchor)) std::abort();
    }
  }
  // The vertex offset on the anchors of the first path.
  if (set.GetSize() > 0) {
    CArray<CDPOINT> poly;
    for (const CBPOINT& n : set[0]) poly.Add(n.anchor);
    ShrinkOutline(poly, d, opByte & 64);
  }
  return 0;
}
