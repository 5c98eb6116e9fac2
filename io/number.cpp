#include "io/number.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace plexa::io {

namespace {

constexpr std::int64_t kPow10[10] = {1,      10,      100,      1000,      10000,
                                     100000, 1000000, 10000000, 100000000, 1000000000};

// The common case without std::to_chars's exact decimal expansion: v * 10^decimals rounded to
// an integer, when that product is far enough from a half that its one rounding error cannot
// change the result (|v * 10^d| < 2^40 leaves an error under 2^-13; a distance of 0.001 from
// the half is kept). False leaves the exact path to decide.
bool AppendScaled(std::string& out, double v, int decimals) {
  const double scaled = v * static_cast<double>(kPow10[decimals]);
  if (!(std::fabs(scaled) < 1099511627776.0)) return false;
  const double r = std::nearbyint(scaled);
  if (!(std::fabs(scaled - r) < 0.499)) return false;
  std::int64_t q = static_cast<std::int64_t>(r);
  if (q < 0) {
    out += '-';
    q = -q;
  }
  char buf[32];
  const std::int64_t p = kPow10[decimals];
  auto end = std::to_chars(buf, buf + sizeof buf, q / p).ptr;
  std::int64_t frac = q % p;
  if (frac != 0) {
    int digits = decimals;
    while (frac % 10 == 0) {
      frac /= 10;
      --digits;
    }
    *end++ = '.';
    char* stop = end + digits;
    for (char* d = stop; d-- > end;) {
      *d = static_cast<char>('0' + frac % 10);
      frac /= 10;
    }
    end = stop;
  }
  out.append(buf, end);
  return true;
}

}  // namespace

void AppendNumber(std::string& out, double v, int decimals) {
  if (!std::isfinite(v)) v = 0;
  decimals = std::clamp(decimals, 0, 9);
  if (AppendScaled(out, v, decimals)) return;
  // The largest double has 309 integer digits; with sign, point and decimals 330 suffice.
  char buf[330];
  const auto r = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::fixed, decimals);
  std::string_view s(buf, static_cast<std::size_t>(r.ptr - buf));
  if (s.find('.') != std::string_view::npos) {
    while (s.back() == '0') s.remove_suffix(1);
    if (s.back() == '.') s.remove_suffix(1);
  }
  if (s == "-0") s = "0";
  out += s;
}

}  // namespace plexa::io
