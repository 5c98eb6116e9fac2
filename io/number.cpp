#include "io/number.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace plexa::io {

void AppendNumber(std::string& out, double v, int decimals) {
  if (!std::isfinite(v)) v = 0;
  decimals = std::clamp(decimals, 0, 9);
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
