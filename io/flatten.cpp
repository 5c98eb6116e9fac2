#include "io/flatten.h"

#include <algorithm>
#include <cmath>

namespace plexa::io {

void FlattenPath(const CBPointArray& path, double tolerance, std::vector<PLEXA::CDPOINT>& pts) {
  pts.clear();
  if (path.IsEmpty()) return;
  pts.push_back(path[0].anchor);
  if (!(tolerance > 0)) tolerance = 0.25;
  for (INT_PTR i = 0; i + 1 < path.GetSize(); ++i) {
    const PLEXA::CDPOINT p0 = path[i].anchor, p1 = path[i].out, p2 = path[i + 1].in,
                         p3 = path[i + 1].anchor;
    const double m = std::max(std::hypot(p0.x - 2 * p1.x + p2.x, p0.y - 2 * p1.y + p2.y),
                              std::hypot(p1.x - 2 * p2.x + p3.x, p1.y - 2 * p2.y + p3.y));
    double steps = std::ceil(std::sqrt(0.75 * m / tolerance));
    if (!(steps >= 1)) steps = 1;  // straight, or not finite
    const int n = static_cast<int>(std::min<double>(steps, kMaxFlattenSteps));
    for (int k = 1; k < n; ++k) {
      const double t = static_cast<double>(k) / n, u = 1 - t;
      const double a = u * u * u, b = 3 * u * u * t, c = 3 * u * t * t, d = t * t * t;
      pts.push_back(PLEXA::CDPOINT(a * p0.x + b * p1.x + c * p2.x + d * p3.x,
                                   a * p0.y + b * p1.y + c * p2.y + d * p3.y));
    }
    pts.push_back(p3);
  }
}

}  // namespace plexa::io
