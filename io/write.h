// Choosing a writer by name or file extension, and writing a drawing in that format.
//
//   plexa::io::WriteOptions o;
//   std::string error;
//   if (!plexa::io::FormatFromPath("out.plt", o.format, error)) { ... }
//   std::string bytes = plexa::io::WriteDrawing(drawing, o);
#pragma once

#include <string>

#include "io/drawing.h"

namespace plexa::io {

enum class Format { kSvg, kPdf, kEps, kDxf, kHpgl };

enum class DxfVersion { kR12, kR2000 };
enum class DxfCurves { kPolylines, kSplines };

struct WriteOptions {
  Format format = Format::kSvg;
  // Largest distance, in drawing units, between a curve and the lines that replace it where
  // a format or option flattens curves (HPGL always, DXF polylines): 0.25 = 25 micrometres,
  // one HPGL step.
  double tolerance = 0.25;
  DxfVersion dxf_version = DxfVersion::kR12;
  DxfCurves dxf_curves = DxfCurves::kPolylines;
};

// "svg", "pdf", "eps", "dxf", "hpgl" or "plt" (any case). False for any other name.
bool FormatFromName(const std::string& name, Format& format);
// By the extension of path: .svg, .pdf, .eps, .dxf, .plt/.hpgl/.hpg (any case); a name
// without an extension (a device such as /dev/stdout, a pipe) is SVG. False, with a one-line
// reason, for any other extension.
bool FormatFromPath(const std::string& path, Format& format, std::string& error);
// The usual extension of a format, without the dot.
const char* FormatExtension(Format format);

// The bytes of the drawing in the chosen format.
std::string WriteDrawing(const Drawing& d, const WriteOptions& options);

}  // namespace plexa::io
