// plexa::io drawings: what the readers produce and the writers consume. A drawing is a set of
// poly-Bezier paths in drawing units (tenths of a millimetre, y down as on screen) grouped into
// items, each item one filled shape (an outline with its holes, or an SVG path element).
//
//   plexa::io::Drawing d;
//   d.width = 2100; d.height = 2970;                       // an A4 page
//   d.Add(std::move(path));                                // an item of one path
//   plexa::io::GroupIntoShapes(d);                         // outlines with their holes
//
// Invariants: every index in an item names a non-null path of `paths`; an index appears in at
// most one item. A page of width or height 0 means "the bounds of the paths".
#pragma once

#include <string>
#include <vector>

#include "plexa/geom/polypoly.h"

namespace plexa::io {

// Drawing units a millimetre and an inch (the library's units: tenths of a millimetre).
inline constexpr double kUnitsPerMm = 10.0;
inline constexpr double kUnitsPerInch = 254.0;

enum class FillRule { kEvenOdd, kNonZero };

// One filled shape: the paths drawn together (outline first, then its holes, when grouped).
struct Item {
  std::vector<int> paths;
  FillRule rule = FillRule::kEvenOdd;
  int layer = -1;  // index into Drawing::layers; -1 (or out of range): no layer
};

struct Drawing {
  CPolyPolyBezier paths;  // owns every path; closed paths repeat their first node as their last
  std::vector<Item> items;
  double width = 0;  // page size in drawing units; 0: the bounds of the paths
  double height = 0;
  // Drawing units one user unit of the source stands for, along x and y (an SVG root's
  // viewBox scaled to its width and height; 254 / 96, a CSS pixel, without them); 0 when the
  // drawing was not read from a file that has user units.
  double userUnitX = 0, userUnitY = 0;
  // Names of layers (SVG groups) that items may belong to; writers without layers ignore them.
  std::vector<std::string> layers;

  // Takes the path into `paths` and appends an item holding it alone; returns its index.
  int Add(CBPointArray path, FillRule rule = FillRule::kEvenOdd);
};

// The page rectangle: (0, width) x (0, height) when both are positive, else the bounds of
// every path's anchors and control points (which contain the curves); all zeros for an empty
// drawing. Non-finite coordinates are left out of the bounds.
PLEXA::CDRECT PageBox(const Drawing& d);

// Multiplies every coordinate and the page size by s (s finite and positive, else nothing).
void Scale(Drawing& d, double s);
// Multiplies x by sx and y by sy (both finite and positive, else nothing).
void Scale(Drawing& d, double sx, double sy);

// Regroups the items into shapes. A path lies inside another when at least 90 % of its points
// (flattened at 1 unit, rounded to whole units: GetPolyPolyHoles's measure) are inside the
// other's flattened polygon by the even-odd rule. A path inside no other is the outline of a
// shape; a path inside others is nested by how many paths contain it: at an odd depth it is a
// hole of its innermost container (the one with the smallest bounds), at an even depth (an
// island inside a hole, such as a letter inside a frame) the outline of a shape of its own.
// Items become even-odd. Cost: only pairs whose bounds overlap are tested (found through a
// grid), each point test walks one row of an edge index, and a test stops once its answer is
// known, so thousands of traced letters nest in well under a second.
void GroupIntoShapes(Drawing& d);

// Nesting depth of every path (0 for an outline) and its innermost container (-1 for none),
// by the rule of GroupIntoShapes. Null paths get depth 0 and no container.
void NestPaths(const CPolyPolyBezier& set, std::vector<int>& depth, std::vector<int>& parent);

}  // namespace plexa::io
