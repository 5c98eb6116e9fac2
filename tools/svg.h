// Grouping traced paths into outlines with their holes, and writing them as SVG.
#pragma once

#include <string>
#include <vector>

#include "plexa/geom/polypoly.h"

// One filled shape: an outline path and the holes cut into it (indexes into the traced set).
struct Shape {
  int outline = -1;
  std::vector<int> holes;
};

// Sorts the set into shapes. GetPolyPolyHoles (at kHoleRatio) separates the paths that lie in
// no other path, each the outline of a shape. A path inside others is nested by how many
// paths contain it: at an odd depth it is a hole of its innermost container, at an even depth
// (an island inside a hole, such as a letter inside a frame) it is the outline of a shape of
// its own.
std::vector<Shape> GroupOutlines(const CPolyPolyBezier& set);

struct SvgOptions {
  int width = 0;       // image size in pixels
  int height = 0;
  double dpi = 0;      // 0: pixel units; else millimetres at this resolution
};

// The SVG document: one path element per shape with its holes, absolute M/C/Z commands,
// fill-rule evenodd. Traced points are pixel indexes; the paths pass through pixel centres, so
// 0.5 is added to both coordinates to line them up with the image.
std::string WriteSvg(const CPolyPolyBezier& set, const std::vector<Shape>& shapes, const SvgOptions& options);
