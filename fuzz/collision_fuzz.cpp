// Hostile geometry for the curve inside test, the path intersections and the scan lines: the
// bytes become node coordinates (any doubles, NaN and infinities included) and query points.
// Nothing may crash, hang or read out of bounds, and the accelerated inside test must give
// the verdicts of the plain profile walk on every point.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "plexa/plexa.h"

namespace {

double Take(const std::uint8_t*& data, std::size_t& size) {
  double v = 0;
  if (size >= sizeof v) {
    std::memcpy(&v, data, sizeof v);
    data += sizeof v;
    size -= sizeof v;
  } else if (size > 0) {
    v = static_cast<double>(*data++) - 128;  // short tails give small integers
    --size;
  }
  return v;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::uint8_t select = data[0];
  const int paths = 1 + data[0] % 3, nodes = 1 + data[1] % 12;
  data += 2;
  size -= 2;
  CPolyPolyBezier set;
  for (int p = 0; p < paths; ++p) {
    auto* path = new CBPointArray;
    for (int n = 0; n < nodes; ++n) {
      PLEXA::CBPOINT node;
      node.in = PLEXA::CDPOINT(Take(data, size), Take(data, size));
      node.anchor = PLEXA::CDPOINT(Take(data, size), Take(data, size));
      node.out = PLEXA::CDPOINT(Take(data, size), Take(data, size));
      path->Add(node);
    }
    set.Add(path);
  }
  CCurveCollision plain(set);
  for (int q = 0; q < 8; ++q) {
    const PLEXA::CDPOINT pt(Take(data, size), Take(data, size));
    if (plain.IsPointInCurves(pt) != plain.IsPointInCurvesPlain(pt)) __builtin_trap();
  }
  PLEXA::CDPOINT inner;
  plain.CalcInnerPoint(inner);

  CArray<double> ts;
  CArray<PLEXA::CDPOINT> pts;
  FindXIntersections(set[0], Take(data, size), ts, &pts, true);
  FindRectIntersections(set[0], PLEXA::CDRECT(-10, 10, -10, 10), ts, &pts, true);

  CCurveScanLines fill;
  if (fill.SetCurves(set, 1.0 + (select % 16), 0.3) && fill.GetLineCount() <= 200) {
    CArray<PLEXA::CDLINE> spans;
    fill.GetAllSpans(spans, true);
    CPolyPolyDPoint serp;
    fill.GetSerpentine(serp);
  }
  return 0;
}
