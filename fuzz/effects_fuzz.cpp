// Hostile input for the envelopes, the outline effects and the ellipse generator: a short
// path of any coordinates, any envelope record and preset, any effect parameters (NaN,
// infinities, huge and subnormal values included). Every call must return with output sizes
// inside the stated caps.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "plexa/plexa.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  double v[40] = {};
  std::memcpy(v, data, size < sizeof v ? size : sizeof v);
  const int nodes = 2 + static_cast<int>(size % 5);
  CBPointArray path;
  for (int i = 0; i < nodes; ++i)
    path.Add(CBPOINT(CDPOINT(v[6 * i], v[6 * i + 1]), CDPOINT(v[6 * i + 2], v[6 * i + 3]),
                     CDPOINT(v[6 * i + 4], v[6 * i + 5])));
  if (size % 3 == 0) path.Add(path[0]);  // closed
  const double a = v[30], b = v[31], c = v[32];
  const int mode = static_cast<int>(size % 4);
  const CDPOINT centre(v[33], v[34]);

  // Envelopes: every preset on the record; the curve form within its caps.
  CEnvelop env;
  ENVELOP e;
  std::memcpy(&e, v + 20, sizeof e);
  env.SetEnvelop(e);
  env.SetType(static_cast<int>(size % 12), a);
  CPolyPolyBezier set;
  set.Add(new CBPointArray(path));
  set.ApplyEnvelop(env);
  CBPointArray kept(path);
  ApplyEnvelopKeepCurves(kept, env, b);
  if (kept.GetSize() > 1 + (path.GetSize() - 1) * (INT_PTR{1} << kEnvelopMaxDepth)) std::abort();
  CEnvelopEx ex;
  ENVELOPEX ee;
  std::memcpy(&ee, v + 20, sizeof ee);
  ex.SetEnvelop(ee);
  try {
    ex.SetType(20 + static_cast<int>(size % 5), a);
    set.ApplyEnvelop(ex);
  } catch (const CInvalidArgException&) {
    // A NaN or zero-width frame gives no valid quarter index: the stated failure.
  }

  // Outline effects.
  CBPointArray p1(path), p2(path), p3(path), p4(path), p5(path), p6(path);
  PinchOutline(&centre, a, b, &p1);
  SpherizeOutline(&centre, a, b, &p2);
  TwirlOutline(&centre, a, c, &p3);
  if (p1.GetSize() > kEffectMaxNodes + nodes + 1) std::abort();
  ZigZagOutline(a, b, mode, size % 2 == 0, &p4);
  ZigZagOutlinePerInch(a, b, mode, size % 2 == 1, &p5);
  RoughenOutlinePerSegment(static_cast<int>(v[35]) % 64, b, mode, true, &p6);
  if (p4.GetSize() > kEffectMaxNodes + 2 || p5.GetSize() > kEffectMaxNodes + 2) std::abort();
  CDPOINT q(v[36], v[37]);
  WavePoint(&centre, a, b, mode, &q);
  ZigZagPoint(&centre, a, b, mode, &q);
  CPolyPolyBezier echo;
  GeometricEcho(path, echo, static_cast<int>(v[38]) % 1000, c, true);

  // Ellipses.
  const CEllipse el(centre, a, b, c);
  CBPointArray arc;
  el.CalcArc(arc, v[36], v[37], v[38]);
  if (arc.GetSize() > kEllipseMaxPieces + 1) std::abort();
  (void)el.CalcLength(v[36], v[37]);
  (void)el.CalcPointAtLength(v[36], v[39]);
  (void)el.IsPointInside(q);
  return 0;
}
