// The cubic root finder of the numerics kernel (plexa/core/internal/numerics.h).
#include "plexa/core/internal/numerics.h"

#include <cmath>

namespace plexa::num {
namespace {

// One bisection of a monotone part whose ends have opposite, non-zero signs.
double Bisect(const double c[4], double lo, double hi, double flo) {
  double mid = (lo + hi) / 2;
  for (int step = 0; step < kRootMaxBisections; ++step) {
    mid = (lo + hi) / 2;
    const double fm = Horner(c, mid);
    if (fm == 0) break;
    if (fm * flo >= 0) {
      if (mid == lo) break;
      lo = mid;
      flo = fm;
    } else {
      if (mid == hi) break;
      hi = mid;
    }
  }
  return mid;
}

}  // namespace

int SolveCubic(const double c[4], double a, double b, double roots[4]) {
  if (!(a <= b)) return 0;
  int degree = 3;
  while (degree > 0 && c[degree] == 0) --degree;
  // Ends and the roots of the derivative inside [a, b], ascending and without repeats.
  double split[4];
  int ns = 0;
  split[ns++] = a;
  if (degree == 3) {
    double d[2];
    const int nd = SolveQuadratic(c[1], 2 * c[2], 3 * c[3], d);
    for (int k = 0; k < nd; ++k)
      if (d[k] >= a && d[k] <= b) split[ns++] = d[k];
  } else if (degree == 2) {
    const double r = -c[1] / (2 * c[2]);
    if (r >= a && r <= b) split[ns++] = r;
  }
  split[ns++] = b;
  // Insertion sort of at most four values, dropping repeats.
  int m = 0;
  for (int k = 0; k < ns; ++k) {
    const double v = split[k];
    int j = m;
    while (j > 0 && split[j - 1] > v) {
      split[j] = split[j - 1];
      --j;
    }
    if (j > 0 && split[j - 1] == v) {
      for (int q = j; q < m; ++q) split[q] = split[q + 1];
      continue;
    }
    split[j] = v;
    ++m;
  }
  ns = m;

  int count = 0;
  if (ns == 1) {
    if (Horner(c, a) == 0) roots[count++] = a;
    return count;
  }
  for (int k = 0; k + 1 < ns; ++k) {
    const double lo = split[k], hi = split[k + 1];
    const bool last = k + 2 == ns;
    const double flo = Horner(c, lo), fhi = Horner(c, hi);
    if (flo == 0 || (last && fhi == 0)) {
      if (flo == 0) roots[count++] = lo;
      if (last && fhi == 0) roots[count++] = hi;
      continue;
    }
    if (fhi == 0) continue;  // reported by the next part, which starts there
    if ((flo > 0) == (fhi > 0)) continue;
    if (std::isnan(flo) || std::isnan(fhi)) continue;
    roots[count++] = Bisect(c, lo, hi, flo);
  }
  return count;
}

}  // namespace plexa::num
