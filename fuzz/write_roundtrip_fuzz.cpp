// Every writer on hostile drawings (arbitrary bit patterns as coordinates: NaN, infinities,
// huge values), its output read back by a small reader of that format. The first byte picks
// the writer and its options, the rest are nodes (six doubles each); paths break every few
// nodes. Nothing may crash or hang; the checks trap when the output is not well formed:
// SVG reads back with the same paths (when every coordinate is within the reader's range),
// PDF's cross-reference offsets name their objects, DXF is whole code/value pairs ending in
// EOF, HPGL is PU/PD commands of whole numbers with one pen-up a path.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>

#include "io/svg_read.h"
#include "io/write.h"

namespace {

using plexa::io::Format;

void Check(bool ok) {
  if (!ok) __builtin_trap();
}

void CheckPdf(const std::string& pdf) {
  const std::size_t xref = pdf.rfind("\nxref\n");
  Check(xref != std::string::npos);
  std::istringstream table(pdf.substr(xref + 1));
  std::string word;
  int first = 0, count = 0;
  table >> word >> first >> count;
  for (int i = 0; i < count; ++i) {
    std::size_t offset = 0;
    std::string gen, kind;
    table >> offset >> gen >> kind;
    const std::string head = std::to_string(i) + " 0 obj";
    if (i > 0) Check(pdf.compare(offset, head.size(), head) == 0);
  }
}

void CheckDxf(const std::string& dxf) {
  std::istringstream in(dxf);
  std::string code, value, last;
  while (std::getline(in, code)) {
    Check(static_cast<bool>(std::getline(in, value)));
    Check(!code.empty() && code.find_first_not_of("0123456789") == std::string::npos);
    last = value;
  }
  Check(last == "EOF");
}

void CheckHpgl(const std::string& plt, int paths) {
  int ups = 0;
  std::istringstream in(plt);
  for (std::string cmd; std::getline(in, cmd, ';');) {
    while (!cmd.empty() && cmd[0] == '\n') cmd.erase(0, 1);
    if (cmd.empty() || cmd == "IN" || cmd == "SP1" || cmd == "SP0" || cmd == "PU") continue;
    Check(cmd.rfind("PU", 0) == 0 || cmd.rfind("PD", 0) == 0);
    ups += cmd[1] == 'U';
    Check(cmd.find_first_not_of("0123456789,-", 2) == std::string::npos);
  }
  Check(ups == paths);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kNode = 6 * sizeof(double);
  constexpr std::size_t kMaxNodes = 256;
  if (size < 1) return 0;
  const std::uint8_t pick = data[0];
  const std::size_t count = std::min((size - 1) / kNode, kMaxNodes);
  const std::size_t every = 2 + (pick >> 5);
  plexa::io::Drawing d;
  CBPointArray path;
  bool inRange = true;
  for (std::size_t i = 0; i < count; ++i) {
    double v[6];
    std::memcpy(v, data + 1 + i * kNode, sizeof v);
    for (double x : v) inRange = inRange && std::abs(x) < 1e8;
    path.Add(PLEXA::CBPOINT(PLEXA::CDPOINT(v[0], v[1]), PLEXA::CDPOINT(v[2], v[3]),
                            PLEXA::CDPOINT(v[4], v[5])));
    if (path.GetSize() == static_cast<INT_PTR>(every) || i + 1 == count) {
      if ((pick & 8) && path.GetSize() >= 2) path.Add(path[0]);  // closed
      d.Add(path);
      path = CBPointArray();
    }
  }
  plexa::io::WriteOptions o;
  o.format = static_cast<Format>(pick % 5);
  o.dxf_version = (pick & 16) ? plexa::io::DxfVersion::kR2000 : plexa::io::DxfVersion::kR12;
  o.dxf_curves = (pick & 32) ? plexa::io::DxfCurves::kSplines : plexa::io::DxfCurves::kPolylines;
  const std::string out = plexa::io::WriteDrawing(d, o);
  int drawn = 0;
  for (INT_PTR i = 0; i < d.paths.GetSize(); ++i) drawn += d.paths[static_cast<int>(i)].GetSize() >= 2;
  switch (o.format) {
    case Format::kSvg: {
      plexa::io::Drawing back;
      std::string warning, error;
      const bool ok = plexa::io::ReadSvg(out, back, warning, error);
      if (inRange) Check(ok && back.paths.GetSize() == drawn);
      break;
    }
    case Format::kPdf: CheckPdf(out); break;
    case Format::kEps: Check(out.size() >= 6 && out.compare(out.size() - 6, 6, "%%EOF\n") == 0); break;
    case Format::kDxf: CheckDxf(out); break;
    case Format::kHpgl: CheckHpgl(out, drawn); break;
  }
  return 0;
}
