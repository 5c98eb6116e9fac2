// The stages of CFaithfulTrace, private to the library:
//  1. BitImage + Decompose: the two-level image, one bit a pixel, cut into closed pixel-edge
//     boundaries with their enclosure tree, in one scan of the rows (faithtrace_contours.cpp);
//  2. FitPolygon: the polygon with the fewest vertices whose edges stay within half a pixel
//     of a boundary, its vertices then moved to where the neighbouring edges' best lines meet
//     (faithtrace_polygon.cpp);
//  3. PlaceCurves: corners or smooth cubics at the polygon's vertices, then consecutive
//     curves merged within a tolerance (faithtrace_curves.cpp).
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "plexa/core/types.h"
#include "plexa/geom/path.h"
#include "plexa/raster/faithtrace.h"

namespace plexa::faith {

struct IPoint {
  int x = 0;
  int y = 0;
};

// One bit a pixel, rows padded to whole 64-bit words with at least one spare bit (so the
// boundary at x = width has a zero pixel beyond it in the same word).
class BitImage {
 public:
  // False (and empty) when the size is outside the tracer's limits or memory is short.
  bool Init(int width, int height);
  int Width() const { return width_; }
  int Height() const { return height_; }
  std::size_t WordsPerRow() const { return words_; }
  const std::uint64_t* Row(int y) const {
    return bits_.data() + static_cast<std::size_t>(y) * words_;
  }
  std::uint64_t* Row(int y) { return bits_.data() + static_cast<std::size_t>(y) * words_; }
  // Pixels outside the image are background.
  bool Get(int x, int y) const {
    if (static_cast<unsigned>(x) >= static_cast<unsigned>(width_) ||
        static_cast<unsigned>(y) >= static_cast<unsigned>(height_))
      return false;
    return (Row(y)[static_cast<unsigned>(x) >> 6] >> (x & 63)) & 1u;
  }

 private:
  int width_ = 0;
  int height_ = 0;
  std::size_t words_ = 0;
  std::vector<std::uint64_t> bits_;
};

// A closed boundary: points[k] to points[k + 1] (and the last back to the first) are unit
// steps along pixel edges, foreground on the right (y down).
struct Boundary {
  std::vector<IPoint> points;
  std::int64_t area = 0;  // shoelace area, positive for outlines, negative for holes
  int parent = -1;        // index among the boundaries handed out, -1 at the top level
  int depth = 0;
  bool hole = false;
};

// Hands every kept boundary to sink in scan order (parents first). Boundaries enclosing at
// most `speckle` pixels are dropped with everything inside them.
void Decompose(const BitImage& image, CFaithfulTrace::TurnPolicy policy, int speckle,
               const std::function<void(Boundary&)>& sink);

// The adjusted polygon of a boundary (at least 3 vertices for any boundary of 4+ points).
std::vector<PLEXA::CDPOINT> FitPolygon(const std::vector<IPoint>& points);

// Appends the closed path of corners, lines and cubics that smooths the polygon.
void PlaceCurves(const std::vector<PLEXA::CDPOINT>& polygon, double cornerThreshold,
                 double optTolerance, CBPointArray& out);

}  // namespace plexa::faith
