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
  // False (and empty) when the size is outside the tracer's limits or memory is short. The
  // pixels are all background, or left as they are (for a caller that sets every word) when
  // `clear` is false; the storage of an earlier Init is reused.
  bool Init(int width, int height, bool clear = true);
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

// A callable taking Boundary&, by reference (the callable outlives the call it is passed to).
class BoundarySink {
 public:
  template <class F>
  explicit BoundarySink(F& f)
      : obj_(&f), call_([](void* o, Boundary& b) { (*static_cast<F*>(o))(b); }) {}
  void operator()(Boundary& b) const { call_(obj_, b); }

 private:
  void* obj_;
  void (*call_)(void*, Boundary&);
};

// Buffers of the decomposition, kept from one image to the next.
struct DecomposeWork {
  struct Mark {
    int x;
    int id;
    std::int64_t next;  // index of the row's next mark, -1 at the end
  };
  struct Info {
    int kept;  // index among handed-out boundaries, -1 when dropped
    int depth;
  };
  std::vector<Mark> marks;
  std::vector<std::int64_t> below;  // first mark of each row
  std::vector<int> rowId, touched, stack;
  std::vector<Info> infos;
  Boundary boundary;
};

// Hands every kept boundary to sink in scan order (parents first). Boundaries enclosing at
// most `speckle` pixels are dropped with everything inside them.
void Decompose(const BitImage& image, CFaithfulTrace::TurnPolicy policy, int speckle,
               BoundarySink sink, DecomposeWork& work);

// Prefix sums of boundary coordinates and their products, wrapping modulo 2^64.
struct Sums {
  std::uint64_t x = 0, y = 0, xx = 0, xy = 0, yy = 0;
};

// Buffers of the polygon stage, kept from one boundary to the next.
struct PolygonWork {
  std::vector<IPoint> points;
  std::vector<std::uint8_t> dirs;
  // Distances forward (next corner, farthest edge end) and back (previous vertex), each at most
  // a little over the longest edge: two bytes a point instead of eight.
  std::vector<std::uint16_t> nextCorner, lon, prev;
  std::vector<std::size_t> idx;
  std::vector<Sums> sums;
  std::vector<int> count;
  std::vector<double> pen;
  std::vector<PLEXA::CDPOINT> centre, dir;
};

// The adjusted polygon of a boundary enclosing `area` pixels (signed as Boundary::area) into
// out (at least 3 vertices for any boundary of 4+ points).
void FitPolygon(const std::vector<IPoint>& points, std::int64_t area, PolygonWork& work,
                std::vector<PLEXA::CDPOINT>& out);

// Buffers of the curve stage, kept from one polygon to the next.
struct CurvePiece {
  bool curve = false;
  PLEXA::CDPOINT p0, p1, p2, p3;  // a straight piece has p1 == p0, p2 == p3
  int turn = 0;                   // sign of the turn at the vertex
  double angle = 0;               // turning angle at the vertex, radians
};
struct CurveWork {
  std::vector<CurvePiece> pieces, merged, segs;
  std::vector<PLEXA::CDPOINT> samples, pieceSamples;
  std::vector<double> params, pieceSteps;
};

// Appends the closed path of corners, lines and cubics that smooths the polygon.
void PlaceCurves(const std::vector<PLEXA::CDPOINT>& polygon, double cornerThreshold,
                 double optTolerance, CurveWork& work, CBPointArray& out);

}  // namespace plexa::faith
