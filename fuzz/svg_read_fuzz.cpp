// Hostile SVG for the reader: any bytes as a document. Nothing may crash, hang or trip the
// sanitizers; a document that reads must also survive the SVG writer's round trip with the
// same shapes and paths.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "io/svg_read.h"
#include "io/svg_write.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  plexa::io::Drawing d;
  std::string warning, error;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (!plexa::io::ReadSvg(text, d, warning, error)) return 0;
  plexa::io::Drawing back;
  // Rounding to micrometres may carry a coordinate at the range limit just past it.
  if (!plexa::io::ReadSvg(plexa::io::WriteSvg(d), back, warning, error))
    return error.find("beyond") != std::string::npos ? 0 : (__builtin_trap(), 0);
  if (back.paths.GetSize() != d.paths.GetSize() || back.items.size() != d.items.size())
    __builtin_trap();
  return 0;
}
