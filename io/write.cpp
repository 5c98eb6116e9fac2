#include "io/write.h"

#include <algorithm>
#include <cctype>

#include "io/dxf_write.h"
#include "io/eps_write.h"
#include "io/hpgl_write.h"
#include "io/pdf_write.h"
#include "io/svg_write.h"

namespace plexa::io {
namespace {

std::string Lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return s;
}

}  // namespace

bool FormatFromName(const std::string& name, Format& format) {
  const std::string n = Lower(name);
  if (n == "svg")
    format = Format::kSvg;
  else if (n == "pdf")
    format = Format::kPdf;
  else if (n == "eps")
    format = Format::kEps;
  else if (n == "dxf")
    format = Format::kDxf;
  else if (n == "hpgl" || n == "plt" || n == "hpg")
    format = Format::kHpgl;
  else
    return false;
  return true;
}

bool FormatFromPath(const std::string& path, Format& format, std::string& error) {
  const std::size_t slash = path.find_last_of('/');
  const std::size_t dot = path.find_last_of('.');
  const bool hasExtension =
      dot != std::string::npos && (slash == std::string::npos || dot > slash + 1);
  if (!hasExtension) {
    format = Format::kSvg;
    return true;
  }
  if (FormatFromName(path.substr(dot + 1), format)) return true;
  error = "cannot tell the format of '" + path +
          "' from its extension (.svg, .pdf, .eps, .dxf or .plt); give --format";
  return false;
}

const char* FormatExtension(Format format) {
  switch (format) {
    case Format::kSvg:
      return "svg";
    case Format::kPdf:
      return "pdf";
    case Format::kEps:
      return "eps";
    case Format::kDxf:
      return "dxf";
    case Format::kHpgl:
      return "plt";
  }
  return "svg";
}

std::string WriteDrawing(const Drawing& d, const WriteOptions& options) {
  switch (options.format) {
    case Format::kSvg:
      return WriteSvg(d);
    case Format::kPdf:
      return WritePdf(d);
    case Format::kEps:
      return WriteEps(d);
    case Format::kDxf:
      return WriteDxf(d, options);
    case Format::kHpgl:
      return WriteHpgl(d, options);
  }
  return WriteSvg(d);
}

}  // namespace plexa::io
