// Private to CNest: footprints (a unit of shapes rasterised and grown at one orientation), the
// page raster of one sheet with its per-row free runs, and the bottom-left search; plus the
// path helpers that the footprints and the exact checks share.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "plexa/core/types.h"
#include "plexa/geom/polypoly.h"
#include "plexa/platform/internal/rasterizer.h"

namespace plexa::nest {

using Clock = std::chrono::steady_clock;

// Cap of line pieces one cubic flattens into (footprints and areas).
inline constexpr int kMaxFlattenSteps = 256;

// A linear map of the plane (turn and mirror), row vectors as CNest::Transform.
struct Affine {
  double m11 = 1, m12 = 0, m21 = 0, m22 = 1;
  rasterizer::PointD Map(const PLEXA::CDPOINT& p, double scale) const {
    return {(p.x * m11 + p.y * m21) * scale, (p.x * m12 + p.y * m22) * scale};
  }
};

// The turn by angle (radians), the x axis negated first when mirrored.
Affine Orientation(double angle, bool mirrored);
// A path of two or more nodes.
bool UsablePath(const CBPointArray* path);
// Every node (anchor and handles) of every path finite.
bool AllFinite(const CPolyPolyBezier& set);
// The path as a polygon (closed by the figure's closing edge), mapped and scaled.
void FlattenPath(const CBPointArray& path, const Affine& m, double scale, double tolerance,
                 std::vector<rasterizer::PointD>& out);
// Even-odd point in polygon.
bool InsidePolygon(const std::vector<rasterizer::PointD>& poly, double x, double y);
// Signed area on the exact curves, closed by its chord.
double PathArea(const CBPointArray& path);
// Node for node equal (copies of one part).
bool SameSet(const CPolyPolyBezier& a, const CPolyPolyBezier& b);

// One orientation of a unit, rasterised and grown: rows of pixel spans (inclusive ends).
struct Footprint {
  double angle = 0;
  bool mirrored = false;
  Affine map;
  double ox = 0, oy = 0;  // oriented pixel frame position of cell (0, 0) (whole numbers)
  int w = 0, h = 0;
  std::vector<int> rowStart;  // h + 1 entries into spans
  std::vector<std::pair<int, int>> spans;
  std::int64_t cells = 0;
  int widestRow = 0, widestLen = 0;  // the row holding the longest span, and its length
  int widestStart = 0;               // and its first column
  // The longest span of each quarter of the rows (row, length; length 0 for none): a row of
  // the sheet with a shorter longest free run rules out the positions that put it there.
  std::array<std::pair<int, int>, 4> probes{};
};

// Builds the footprint of the shapes (one rigid unit) turned and mirrored, in pixels of the
// given size, grown by `grow` pixels; false when it is wider or taller than maxW x maxH pixels.
// With partInPart each shape is filled even-odd on its own (holes stay free); without, every
// outline is filled whole.
bool MakeFootprint(const std::vector<const CPolyPolyBezier*>& shapes, double angle, bool mirrored,
                   double pixel, double grow, bool partInPart, int maxW, int maxH, Footprint& f);

// The footprint of the same unit turned a further quarter (x' = -y, y' = x), cell for cell
// what MakeFootprint builds for the composed map (pixel centres go to pixel centres); the
// result carries `angle`. False when it is wider or taller than maxW x maxH pixels.
bool QuarterTurn(const Footprint& from, double angle, int maxW, int maxH, Footprint& f);
// Fills f's rows (rowStart, spans, cells, widest) from spans of rows 0 .. f.h - 1.
void SetSpans(std::span<const rasterizer::Span> spans, Footprint& f);

// Free space of one sheet, per row: run[x] > 0 is a free cell starting a free run of that
// length; run[x] <= 0 is a taken cell, -run[x] cells before the next free one (or the row's
// end). Cells beyond usableW x usableH and every cell a keep-out rectangle touches are taken.
class Sheet {
 public:
  Sheet(int w, int h, int usableW, int usableH, const std::vector<PLEXA::CDRECT>& keepOut,
        double pixel);

  // Whether f fits with its cell (0, 0) at (x, y); when not, next is the smallest x' > x that
  // the blocking cell leaves possible, and hint the footprint row that blocked (tested first
  // next time).
  bool Fits(const Footprint& f, int x, int y, int& hint, int& next) const;
  // First x in row y where f fits, or -1. A row whose longest free run is shorter than the
  // footprint's longest span is refused at once.
  int FirstFit(const Footprint& f, int y, int& hint) const;
  void Take(const Footprint& f, int x, int y);

  std::int64_t FreeCells() const { return free_; }
  int Width() const { return w_; }
  int Height() const { return h_; }

 private:
  std::int16_t& Cell(int x, int y) { return run_[static_cast<size_t>(y) * w_ + x]; }
  void RebuildRow(int y);
  // RebuildRow after cells of columns lo .. hi were taken.
  void UpdateRow(int y, int lo, int hi);

  int w_, h_;
  std::vector<std::int16_t> run_;
  std::vector<int> longest_;  // longest free run of each row
  std::int64_t free_ = 0;     // free cells in all
};

// A position of one orientation of a unit; orientation -1 when none.
struct Spot {
  int orientation = -1;
  int x = 0, y = 0;
  int bottom = std::numeric_limits<int>::max();
};

// The lowest-then-leftmost spot of any of the footprints (one unit's orientations); sets
// stopped (and gives up, orientation -1) when timed and the deadline passes.
Spot Search(const Sheet& sheet, const std::vector<Footprint>& footprints,
            Clock::time_point deadline, bool timed, bool& stopped);

}  // namespace plexa::nest
