// CFaithfulTrace: turns a two-level image into outlines that stay true to the pixels: every
// region and every hole is found, straight edges stay straight, corners sharp and round
// shapes round. It is a second tracer beside CShapeTrace (which keeps its own behaviour) and
// the engine of `plexa trace`.
//
//   CFaithfulTrace::OPTIONS opt;              // defaults suit scanned or rendered artwork
//   opt.speckle = 4;
//   CFaithfulTrace trace(opt);
//   CPolyPolyBezier paths;
//   if (trace.Trace(bitmap, paths)) {         // bitmap: a 1, 8, 24 or 32-bit DIB section
//     for (const auto& n : trace.Tree()) ... // n.parent, n.depth, n.hole for paths[i]
//   }
//
// Geometry. Coordinates are pixels, y down, pixel (x, y) being the square [x, x+1] x [y, y+1]
// with (0, 0) the top-left corner of the top row: outlines run along pixel edges, not through
// pixel centres, so rendering a result back (even-odd fill sampled at pixel centres,
// FillPolyPolyEvenOdd below) gives back the traced pixels up to the smoothing of staircases.
// Orientation: every path keeps the traced (foreground) pixels on its right on a y-down
// screen, so outlines run clockwise on the screen (positive shoelace area in these
// coordinates) and holes counter-clockwise (negative area).
//
// Which pixels are traced: a pixel's grey level g (0 black .. 255 white; colours weighted
// 0.299 red, 0.587 green, 0.114 blue) is foreground when g < threshold, or when g >= threshold
// with `invert`: by default dark artwork on light paper is traced.
//
// Result. Paths come in scan order (by the top row of each boundary, then its left end), so a
// path's parent always comes before it. Tree()[i] describes paths[i]: `parent` is the index
// of the path directly enclosing it (-1 for none): a hole's parent is the outline it cuts
// into, an outline inside a hole has that hole as its parent; `depth` counts the enclosing
// paths (outlines of top-level regions 0, their holes 1, regions inside holes 2, ...). Each
// path is closed (first node repeated last); straight pieces have their control points on
// their anchors; curve pieces are cubic, each control point on its end's tangent and never
// beyond the point where the two end tangents meet (for a single vertex's curve: between the
// edge midpoint and the polygon vertex, itself within half a pixel of the boundary).
//
// Connectivity: where two foreground pixels touch only at a corner (a 2 x 2 block with a
// diagonal pair), `turnPolicy` says whether the pair is joined (the foreground is 8-connected
// there) or kept apart (the background passes through). The choice is made per pixel corner,
// so every boundary passes such a corner the same way and the boundaries never cross.
//
// Cost: every row is scanned once (64 pixels a step on runs of one level) and every boundary
// followed once, O(pixels / 64 + boundary length) for the decomposition and the tree; the
// polygon and curve stages cost O(boundary length * kMaxSpan) at worst (a bounded window; see
// the .cpp), linear on real art. Memory: one bit a pixel plus O(boundary length).
// Limits: width and height in 1 .. 2^20 and width * height <= 2^32 pixels; anything else, a
// handle that is not a DIB section, or a buffer shorter than height * stride gives false
// with `out` and the tree emptied. NaN options are replaced by their defaults.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "plexa/geom/polypoly.h"
#include "plexa/platform/export.h"
#include "plexa/platform/gdi.h"

class PLEXA_API CFaithfulTrace {
 public:
  // At a pixel corner where foreground pixels touch only diagonally: join them (Foreground),
  // keep them apart (Background), or join whichever level is rarer (Minority) or commoner
  // (Majority) in the 4 x 4 pixels around the corner, a tie joining the foreground.
  enum class TurnPolicy { Foreground, Background, Minority, Majority };

  struct OPTIONS {
    // Regions and holes whose boundary encloses at most this many pixels are dropped (a
    // dropped hole is filled; whatever lies inside a dropped boundary goes with it). 0 keeps
    // everything.
    int speckle = 2;
    // Corner threshold: a polygon vertex becomes a sharp corner when the curve rounding it
    // would need control arms longer than this fraction (4/3 of the way to the vertex being
    // 1.333); 0 makes every vertex a corner (a polygon), 4/3 or more none.
    double cornerThreshold = 1.0;
    // Consecutive curves turning the same way are merged into one when the merged curve stays
    // within this many pixels of them where they meet and at their middles; 0 or less keeps
    // every curve. (Measured against the curves themselves, so 0.4 here merges about as much
    // as potrace's --opttolerance 0.2 does.)
    double optTolerance = 0.4;
    int threshold = 128;  // grey levels below it are foreground (0 .. 256)
    bool invert = false;  // trace the light pixels instead
    TurnPolicy turnPolicy = TurnPolicy::Minority;
  };

  struct NODE {
    int parent = -1;  // index of the enclosing path, -1 at the top level
    int depth = 0;    // number of enclosing paths
    bool hole = false;
    std::int64_t area = 0;  // pixels enclosed by the pixel boundary (holes included)
  };

  CFaithfulTrace();
  explicit CFaithfulTrace(const OPTIONS& options);
  // A tracer keeps its working buffers from one call to the next (after images of at most 4
  // million pixels), so repeated calls allocate little; a copy takes the options and the last
  // result, not the buffers.
  CFaithfulTrace(const CFaithfulTrace& other);
  CFaithfulTrace& operator=(const CFaithfulTrace& other);
  CFaithfulTrace(CFaithfulTrace&& other) noexcept;
  CFaithfulTrace& operator=(CFaithfulTrace&& other) noexcept;
  ~CFaithfulTrace();

  // Traces the DIB section (1, 8, 24 or 32 bits a pixel, either row order); out is emptied
  // first. The caller keeps the bitmap. False on the failures listed above.
  bool Trace(HBITMAP bmp, CPolyPolyBezier& out);
  // Traces a grey buffer: row 0 is the top row, row y starts at grey[y * stride].
  bool Trace(std::span<const std::uint8_t> grey, int width, int height, int stride,
             CPolyPolyBezier& out);

  // Traces a two-level buffer one bit a pixel, rows as in a binary PBM file: row y starts at
  // bits[y * stride] (stride in bytes, at least (width + 7) / 8), pixel x is bit 7 - x % 8 of
  // the row's byte x / 8; set bits are foreground (clear ones with `invert`); `threshold` is
  // not used. The fastest way in: no grey levels to compare.
  bool TraceBits(std::span<const std::uint8_t> bits, int width, int height, int stride,
                 CPolyPolyBezier& out);
  // The same, for a caller that reads the image from a file or a stream: readRows writes all
  // height rows into rows, one after another with no gap ((width + 7) / 8 bytes each, laid out
  // as above), and returns true, or false to give up, which fails the trace. The span lies in
  // the tracer's own one-bit image, so the image is never held twice.
  bool TraceBitRows(int width, int height,
                    const std::function<bool(std::span<std::uint8_t> rows)>& readRows,
                    CPolyPolyBezier& out);

  const std::vector<NODE>& Tree() const { return m_tree; }
  // Paths with hole == false, and with hole == true, in the last result.
  int OutlineCount() const;
  int HoleCount() const;
  const OPTIONS& Options() const { return m_options; }

 private:
  struct Work;      // the stages' buffers (defined where they are used)
  Work& Buffers();  // made on first use
  // Runs the stages on Buffers().image into out and m_tree, then lets go of buffers that grew
  // past what is worth keeping.
  bool Finish(const OPTIONS& o, CPolyPolyBezier& out);

  OPTIONS m_options;
  std::vector<NODE> m_tree;
  std::unique_ptr<Work> m_work;
};

// Paints into mask (width * height bytes, row 0 on top, emptied first) a 1 for every pixel
// whose centre lies inside paths by the even-odd rule, each path closed and its curves
// flattened within 0.02 pixels: the render-back that tracers are judged by. Paths or points
// that are not finite are skipped. False, with mask empty, for sizes outside 1 .. 2^20 or
// more than 2^32 pixels.
PLEXA_API bool FillPolyPolyEvenOdd(const CPolyPolyBezier& paths, int width, int height,
                                   std::vector<std::uint8_t>& mask);
