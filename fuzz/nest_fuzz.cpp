// Small random nestings: the bytes become a few shapes (small coordinates, or any doubles with
// NaN, infinities and huge values when the first byte asks for them), a sheet and the options.
// Nothing may crash or hang, and shapes placed from small coordinates must never overlap on the
// exact curves.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "plexa/plexa.h"

namespace {

struct Bytes {
  const std::uint8_t* data;
  std::size_t size;
  std::uint8_t Byte() {
    if (size == 0) return 0;
    --size;
    return *data++;
  }
  double Small() { return static_cast<std::int8_t>(Byte()) / 4.0; }
  double Raw() {
    double v = 0;
    if (size >= sizeof v) {
      std::memcpy(&v, data, sizeof v);
      data += sizeof v;
      size -= sizeof v;
    }
    return v;
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return 0;
  Bytes in{data, size};
  const std::uint8_t mode = in.Byte();
  const bool hostile = (mode & 1) != 0;
  const int shapes = 1 + mode / 2 % 6;
  CNest nest;
  for (int s = 0; s < shapes; ++s) {
    CPolyPolyBezier set;
    const int paths = 1 + in.Byte() % 2;
    for (int p = 0; p < paths; ++p) {
      auto* path = new CBPointArray;
      const int nodes = in.Byte() % 7;
      for (int n = 0; n < nodes; ++n) {
        PLEXA::CBPOINT node;
        const double x = hostile ? in.Raw() : in.Small(), y = hostile ? in.Raw() : in.Small();
        node.anchor = PLEXA::CDPOINT(x, y);
        node.in = PLEXA::CDPOINT(x + in.Small() / 4, y + in.Small() / 4);
        node.out = PLEXA::CDPOINT(x + in.Small() / 4, y + in.Small() / 4);
        path->Add(node);
      }
      if (nodes > 0) path->Add((*path)[0]);  // closed
      set.Add(path);
    }
    nest.AddShape(set, in.Byte() % 4 == 0 ? 1 : -1);
  }
  CNest::Options o;
  o.width = 10 + in.Byte();
  o.height = 10 + in.Byte();
  o.gap = in.Byte() % 8 / 2.0;
  o.rotations = 1 + in.Byte() % 8;
  const std::uint8_t flags = in.Byte();
  o.mirror = (flags & 1) != 0;
  o.partInPart = (flags & 2) != 0;
  o.maxSheets = flags / 4 % 3;
  o.resolution = 64 + flags % 5 * 16;
  if (hostile) o.width = in.Raw(), o.gap = in.Raw();
  if (!nest.Nest(o)) return 0;
  if (hostile) return 0;
  std::vector<CPolyPolyBezier> placed;
  nest.GetPlacedShapes(placed);
  // Compare sheet by sheet.
  for (int sheet = 0; sheet < nest.GetSheetCount(); ++sheet) {
    std::vector<CPolyPolyBezier> one(placed.size());
    for (std::size_t i = 0; i < placed.size(); ++i)
      if (nest.GetShape(static_cast<int>(i)).transform.sheet == sheet) one[i] = placed[i];
    std::vector<std::pair<int, int>> pairs;
    if (FindShapeOverlaps(one, 1e-3, pairs) > 0) {
      // Grouped shapes may overlap one another by the host's own drawing.
      for (auto [i, j] : pairs)
        if (nest.GetShape(i).group < 0 || nest.GetShape(i).group != nest.GetShape(j).group)
          __builtin_trap();
    }
  }
  return 0;
}
