// Hostile segments for CBezier: any 8 coordinates, resolution, parameter and query point
// (NaN, infinities, huge and subnormal values included). Every operation must return, with
// bounded output sizes and nearest parameters inside [0, 1].
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "plexa/plexa.h"

using PLEXA::CDPOINT;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  double v[13] = {};
  std::memcpy(v, data, size < sizeof v ? size : sizeof v);
  CBezier c(CDPOINT(v[0], v[1]), CDPOINT(v[2], v[3]), CDPOINT(v[4], v[5]), CDPOINT(v[6], v[7]));
  c.SetResolution(v[8]);
  c.SetExpandStraightLines(size % 2 == 0);
  const CDPOINT p(v[9], v[10]);

  CArray<CDPOINT, CDPOINT> pts;
  c.GetPolyline(pts);
  if (pts.GetSize() > kFlattenPointCeiling + 3 * kMaxFlattenDepth + 4) std::abort();
  c.GetPolylineEx(pts);
  if (pts.GetSize() > 20481) std::abort();

  const double t = c.GetNearestCurvePointT(p);
  if (!(t >= 0 && t <= 1)) std::abort();
  double d = 0;
  const double t2 = c.GetNearestCurvePointT2(p, &d);
  if (!(t2 >= 0 && t2 <= 1)) std::abort();

  (void)c.GetLength(v[11], v[12], static_cast<int>(size));
  (void)c.GetTFromLength(v[11]);
  (void)c._GetCurveT(p);
  (void)c.CalcTightRect();
  CBezier part;
  c.Split(v[11], v[12], part);
  c.DragToPoint(v[11], p);

  double x1 = v[0], y1 = v[1], x2 = v[2], y2 = v[3];
  const int code = _clip_line(&x1, &y1, &x2, &y2, v[4], v[5], v[6], v[7]);
  if (code < 0 || code > 7) std::abort();
  return 0;
}
