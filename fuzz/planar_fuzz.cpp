// Hostile geometry for the planar functions: arbitrary bit patterns as coordinates (NaN,
// infinities, denormals, huge values) through the inside tests, arcs, lengths and polyline
// queries. Nothing may crash, hang or trip the sanitizers; answers are not checked here.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "plexa/plexa.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kMaxPoints = 512;
  const std::size_t count = std::min(size / sizeof(CDPOINT), kMaxPoints);
  if (count < 2) return 0;
  CArray<CDPOINT, CDPOINT> pts;
  CArray<tagPOINT, tagPOINT> ipts;
  for (std::size_t i = 0; i < count; ++i) {
    CDPOINT p;
    std::memcpy(&p, data + i * sizeof(CDPOINT), sizeof p);
    pts.Add(p);
    tagPOINT q;
    std::memcpy(&q, data + i * sizeof(CDPOINT), sizeof q);
    ipts.Add(q);
  }
  const CDPOINT p = pts[0];
  const tagPOINT ip = ipts[0];
  volatile int sink = 0;
  sink = sink + IsPointInPolygon(pts, p, nullptr);
  sink = sink + IsPointInPolygon(ipts, ip, nullptr);
  sink = sink + IsPointInPolygon(pts.GetData() + 1, static_cast<int>(count) - 1, p, nullptr);
  int seg = 0;
  const CDPOINT a = GetPolylinePoint(pts, p.x, &seg);
  sink = sink + seg + static_cast<int>(a.x == a.x);
  sink = sink + static_cast<int>(GetPolylineT(pts, static_cast<int>(ip.x % 600), p) > 0.5);
  CDPOINT q;
  GetPolylineClosestPoint(pts, pts[1], &seg, &q);
  CArray<CDPOINT, CDPOINT> arc;
  if (count >= 3) {
    CalcArc(arc, pts[0].x, pts[0].y, pts[1].x, pts[1].y, pts[2].x, pts[2].y);
    CalcArc(arc, pts[0], pts[1].x, pts[1].y, pts[1].y, pts[2].x, pts[2].y, pts[0].x, pts[0].y);
    CBPOINT f, s;
    GetArcBPoints(pts[0], pts[1].x, pts[1].y, pts[2].x, (ip.y & 1) != 0, f, s);
    CDPOINT c;
    double r;
    PLEXA::GetCircle(pts[0], pts[1], pts[2], c, r);
  }
  int index = ip.y % 600;
  GetPolyLineWithLineIntersection(pts, PLEXA::CDLINE(pts[0], pts[1]), q, index);
  DelPolylineDuplicatePoints(pts);
  DelPolylineDuplicatePoints(ipts);
  return 0;
}
