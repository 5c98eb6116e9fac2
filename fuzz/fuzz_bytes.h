// Reading fuzz input bytes as coordinates, shared by the harnesses that build paths from them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace plexa::fuzz {

// Takes the next value from the bytes: a raw double when mode's bit 0 is set (NaN, infinities,
// huge and tiny values), otherwise a small integer 0..15 from one byte, in quarters when bit 1
// is set. False when the bytes run out.
inline bool NextValue(std::uint8_t mode, const std::uint8_t*& data, std::size_t& size, double& v) {
  if (mode & 1) {
    if (size < sizeof(double)) return false;
    std::memcpy(&v, data, sizeof v);
    data += sizeof v, size -= sizeof v;
  } else {
    if (size < 1) return false;
    v = static_cast<double>(data[0] & 15) * ((mode & 2) ? 0.25 : 1.0);
    data += 1, size -= 1;
  }
  return true;
}

}  // namespace plexa::fuzz
