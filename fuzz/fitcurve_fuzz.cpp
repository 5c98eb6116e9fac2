// Hostile chains for the curve fitter: the bytes are a tolerance and then points (NaN,
// infinities, huge, subnormal and repeated values included). Every call must return with
// at most one node per finite point, exact first and last anchors and finite nodes.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "plexa/plexa.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < sizeof(double)) return 0;
  double tol;
  std::memcpy(&tol, data, sizeof tol);
  std::vector<PLEXA::CDPOINT> pts((size - sizeof tol) / sizeof(PLEXA::CDPOINT));
  if (!pts.empty()) std::memcpy(pts.data(), data + sizeof tol, pts.size() * sizeof(PLEXA::CDPOINT));
  CBPointArray path;
  FitCurve(pts.data(), static_cast<int>(pts.size()), &path, tol);

  std::vector<PLEXA::CDPOINT> finite;
  for (const auto& p : pts)
    if (std::isfinite(p.x) && std::isfinite(p.y)) finite.push_back(p);
  if (path.GetSize() > static_cast<INT_PTR>(finite.size())) __builtin_trap();
  if (finite.empty() != (path.GetSize() == 0)) __builtin_trap();
  if (path.GetSize() == 0) return 0;
  if (!(path[0].anchor == finite.front()) || !(path[path.GetSize() - 1].anchor == finite.back()))
    __builtin_trap();
  for (const auto& n : path)
    for (const auto& q : {n.in, n.anchor, n.out})
      if (!std::isfinite(q.x) || !std::isfinite(q.y)) __builtin_trap();
  return 0;
}
