// Reading SVG drawings (pugixml parses the XML).
//
//   plexa::io::Drawing d;
//   std::string warning, error;
//   if (!plexa::io::ReadSvgFile("in.svg", d, warning, error)) { report(error); }
//   if (!warning.empty()) { show(warning); }   // one line naming what was skipped
//
// Read: path (every command, absolute and relative, implicit repeats, compact arc flags),
// rect (with rx/ry), circle, ellipse, line, polyline, polygon, g and nested svg, the transform
// attribute (matrix, translate, scale, rotate, skewX, skewY) nested to any depth up to
// kMaxSvgDepth, the root's width/height (px, mm, cm, in, pt, pc; a bare number is px, 96 to
// the inch) with viewBox and preserveAspectRatio, fill-rule (attribute or style, inherited),
// display="none" and visibility are honoured by leaving the element out.
// Each path, rect, ... becomes one item; its subpaths are the item's paths, in drawing units
// (tenths of a millimetre), y down. Lines and polylines are open paths; everything else
// closed by Z or by its nature is closed (its first node repeated as its last).
//
// Arcs (A commands, rounded rects, circles, ellipses) become cubic segments of at most 90
// degrees, split further so that the cubics stay within kArcTolerance of the true ellipse (the
// error of a cubic over an angle t is about 2.7e-4 r (t / 90 deg)^6), at most kMaxArcSegments
// a whole arc. An arc with a zero radius is a straight line, one that ends where it starts is
// left out (the SVG rules).
//
// Skipped with one warning line naming them: text, image, use, style sheets and other
// elements that draw. Silently skipped: defs, title, desc, metadata, and elements of other
// namespaces (editor data). Entities: pugixml expands only the five predefined entities and
// character references, never entities declared in a DOCTYPE, so a billion-laughs document
// costs its own size.
//
// Errors (false, one line): not XML, no svg root, nesting deeper than kMaxSvgDepth, any
// coordinate beyond kMaxCoordinate after transforms (or not finite), more than kMaxSvgNodes
// nodes in total, input larger than kMaxSvgBytes. A malformed path keeps what was read before
// the fault (the SVG error rule) and adds it to the warning.
#pragma once

#include <string>
#include <string_view>

#include "io/drawing.h"

namespace plexa::io {

inline constexpr double kArcTolerance = 0.01;            // drawing units: 1 micrometre
inline constexpr int kMaxArcSegments = 64;               // whole-arc cap (60 km radius at 1 um)
inline constexpr int kMaxSvgDepth = 1024;                // nested elements
inline constexpr double kMaxCoordinate = 1e9;            // drawing units: 100 km
inline constexpr std::size_t kMaxSvgNodes = 20'000'000;  // about 1.1 GB of nodes
inline constexpr std::size_t kMaxSvgBytes = std::size_t{256} << 20;

// Appends to d (d.width and d.height become the page size when the root gives one).
bool ReadSvg(std::string_view text, Drawing& d, std::string& warning, std::string& error);
// Reads path ("-": standard input) and then as ReadSvg.
bool ReadSvgFile(const std::string& path, Drawing& d, std::string& warning, std::string& error);

}  // namespace plexa::io
