// The scan converter behind the drawing calls of gdi.h: which pixels an even-odd fill, a wide
// round pen or a one-pixel line covers. It knows nothing of colours or bitmaps; it produces
// Coverage, a list of pixel runs that the drawing layer paints.
//
//   plexa::rasterizer::Coverage cov(640, 480);
//   plexa::rasterizer::Figure f{{{10, 10}, {300, 40}, {200, 400}}, true};
//   plexa::rasterizer::StrokeRound({&f, 1}, 20.0, cov);   // pen 20 pixels wide
//   cov.Finish();
//   for (const auto& s : cov.Spans()) { /* paint row s.y, columns s.x0..s.x1 */ }
//
// Geometry (the same for all three): pixel (x, y) is the square [x, x+1) x [y, y+1), sampled at
// its centre (x + 0.5, y + 0.5); y = 0 is the top row.
//  - FillEvenOdd: a centre is covered when a ray from it crosses the figures' edges an odd
//    number of times; every figure is closed by an edge from its last point to its first. A
//    centre on an edge counts for a left or top edge only (edges are half-open: the upper end
//    and the left side belong, the lower end and the right side do not).
//  - StrokeRound(w): a centre is covered when its distance to some segment of some figure is at
//    most w / 2 (closed figures include the closing segment). That is a wide pen with round
//    joins and round ends; a one-point figure gives a disc.
//  - StrokeThin: each figure's points rounded to whole pixels (floor of v + 0.5) and joined by
//    Bresenham lines: on the line from (x0, y0) to (x1, y1), along its major axis, step k lights
//    the pixel at offset round(k * minor / major), halves rounded away from the start. The last
//    pixel of an open figure is left out, as the platform leaves out the end of a line.
// Exactness: with integer coordinates within +-2^20 (and an integer pen width) no rounding
// decides whether a centre is covered; ties are settled by exact integer arithmetic (128-bit
// where needed). Fractional coordinates, and integers beyond 2^20, are computed in doubles: a
// centre closer to the boundary than the rounding error (far below 1e-6 pixels up to 2^20,
// growing with the square of the coordinates beyond) may go either way. Coordinates must be
// finite and within +-2^28; the drawing layer checks that (its range is +-2^27) before it calls.
// Cost: a fill is O(E + rows) in the number E of edge/row crossings inside the bitmap (crossings
// are bucketed by row). A wide stroke visits, for every segment, every row its capsule spans
// (the segment's height plus the pen width, clipped to the bitmap), so the visits grow linearly
// with the pen width; each visit costs a square root and a few products. Each row keeps its
// latest run beside the coverage. When the pen is at least about eight times a figure's mean
// segment length (flattened curves under wide pens), its segments go coarse to fine (every
// 2^k-th first, then those halfway between, down to every one) and a visit whose capsule
// cannot reach beyond the row's run costs only a few comparisons: on lettering most visits at
// pen 200 are of that kind, at pen 20 none are attempted. Every covered pixel is painted once
// however many segments overlap it.
// Thin lines cost O(length clipped to the bitmap).
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace plexa::rasterizer {

struct PointD {
  double x = 0;
  double y = 0;
};

// A sequence of points joined by straight lines; closed joins the last point back to the first.
struct Figure {
  std::vector<PointD> points;
  bool closed = false;
};

// Pixels x0..x1 (inclusive) of row y.
struct Span {
  int y;
  int x0;
  int x1;
};

// Runs of covered pixels inside a width x height grid. Add clips to the grid; Finish sorts the
// runs by row and column and merges touching ones, after which Spans() are disjoint and
// separated by at least one uncovered pixel.
class Coverage {
 public:
  Coverage(int width, int height);
  int Width() const { return width_; }
  int Height() const { return height_; }
  void Add(int y, std::int64_t x0, std::int64_t x1);
  void Finish();
  const std::vector<Span>& Spans() const { return spans_; }
  bool Empty() const { return spans_.empty(); }
  // Whether pixel (x, y) is covered; only after Finish. O(log n).
  bool Covered(int x, int y) const;
  void Clear();

 private:
  int width_;
  int height_;
  std::vector<Span> spans_;
  bool finished_ = true;
};

void FillEvenOdd(std::span<const Figure> figures, Coverage& out);
void StrokeRound(std::span<const Figure> figures, double width, Coverage& out);
void StrokeThin(std::span<const Figure> figures, Coverage& out);
// One Bresenham line between whole pixels, with or without its last pixel.
void ThinLine(std::int64_t x0, std::int64_t y0, std::int64_t x1, std::int64_t y1, bool last,
              Coverage& out);

// Appends the points of the cubic Bezier p0..p3 after p0 (its end p3 last): n equal parameter
// steps with n from Wang's bound so that the lines stay within tolerance of the curve, at least
// 1 and at most maxSteps. A tolerance <= 0 or NaN counts as maxSteps.
void FlattenBezier(PointD p0, PointD p1, PointD p2, PointD p3, double tolerance, int maxSteps,
                   std::vector<PointD>& out);

}  // namespace plexa::rasterizer
