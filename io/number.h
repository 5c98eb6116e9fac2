// Number text shared by the writers: fixed decimals, trailing zeros trimmed, "-0" written as
// "0", non-finite values written as 0 (a writer never emits "nan" or "inf").
#pragma once

#include <string>

namespace plexa::io {

// Appends v with at most `decimals` (0..9) digits after the point.
void AppendNumber(std::string& out, double v, int decimals);

}  // namespace plexa::io
