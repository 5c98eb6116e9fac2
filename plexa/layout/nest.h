// CNest: places many shapes (outlines with holes) on sheets of material without overlap, for
// cutting plotters and routers that waste as little vinyl or board as possible. Every shape is
// rasterised to a monochrome footprint at the sheet's pixel size, and footprints are placed on
// a page raster by bottom-left fill; each placed shape gets a Transform (turn, mirror, move)
// from its own coordinates to its sheet's.
//
//   CNest nest;
//   for (const CPolyPolyBezier& part : parts) nest.AddShape(part);
//   CNest::Options o;
//   o.width = 10000; o.height = 6000;       // a 1 m x 60 cm sheet (drawing units)
//   o.gap = 20;                             // 2 mm between parts (the kerf and a bit)
//   o.rotations = 4;                        // 0, 90, 180 and 270 degrees
//   nest.Nest(o);
//   for (int i = 0; i < nest.GetShapeCount(); ++i) {
//     const CNest::NestData& d = nest.GetShape(i);
//     if (d.status == CNest::Status::kPlaced) Cut(d.transform, d.shape);
//   }
//   // nest.GetNestedCount(), nest.GetElapsedSeconds(), nest.GetFillRatio()
//
// Guarantee: placed shapes never overlap, and any two placed shapes of different units are at
// least `gap` apart; every placed shape lies inside its sheet and outside the keep-out
// rectangles. The footprint of a shape is every pixel whose centre lies within gap / 2 plus
// one pixel of the shape (its outline polygon, flattened to a tenth of a pixel); a pixel square
// that meets the shape grown by gap / 2 has its centre within gap / 2 + 0.71 pixels of the
// shape, so disjoint footprints mean shapes at least `gap` apart whatever the raster error.
// Footprints are moved by whole pixels only, so their pixels never shift. FindShapeOverlaps
// checks a result on the exact curves.
//
// The raster: the pixel is square, the sheet's longer side divided by Options::resolution
// (clamped to 64 .. 2048). Resolution 0 (the default) chooses it from the gap and the parts:
// the pixel is at most a sixth of the gap (so the one-pixel margin costs little of it) and a
// thirty-second of the median part's longer side (so small parts keep their shape), with
// 1024 to 2048 pixels along the sheet's longer side (a coarser raster loses more to rounding
// than it saves in time; a finer one costs more than it brings). Each side of the page raster is
// the sheet side in pixels, clamped to 64 .. 2048 pixels; only whole pixels inside the sheet are
// free (a very narrow sheet whose short side is under 64 pixels keeps the cells beyond it blocked).
// Keep-out rectangles block every pixel they touch, on every sheet.
//
// Units: shapes of one group (NestData::group >= 0, the same number) move as one rigid unit,
// keeping their relative positions; every other shape is a unit of its own. A unit may turn
// by the angles of its first shape (NestData::angles) or, when those are empty, by the
// Options::rotations steps of a full turn (k * 2 pi / rotations); with Options::mirror each
// angle is also tried mirrored (x negated before the turn), unless NestData::mirror is false.
// With part-in-part a shape's holes stay free for smaller shapes; without it every outline is
// filled whole (holes and islands alike).
//
// Order and search: units go largest footprint first (ties: input order). A unit takes the
// first sheet where it fits, opening a new sheet when none does, so parts that end up on later
// sheets have tried every earlier one. On a sheet every orientation is searched for the
// position whose footprint bottom (largest y, y pointing down) is smallest and then whose left
// edge is smallest: the pile grows from y = 0 and the left. Free space is kept per row as run
// lengths (the length of the free run starting at each cell, or the distance to the next free
// cell), so testing a position costs one look-up per footprint span and a failed test tells
// how far to the right the next candidate lies. With Options::attempts above 1 the placement
// is repeated in other orders (the same order with neighbours of similar size swapped by a
// fixed pseudo-random rule, different for each attempt), and the best result is kept: most
// shapes placed, then fewest sheets, then the fullest first sheet. An order that needs more
// sheets than the best so far is given up at once. The result is the same for the same input
// and options (unless the time limit cuts it short).
//
// Status of each shape after Nest: kPlaced; kEmpty (no path of two or more nodes); kInvalid
// (a NaN or infinite coordinate); kTooLarge (fits no empty sheet in any allowed orientation);
// kNoRoom (fits an empty sheet, but every sheet allowed is full); kStopped (time limit or
// cancel came first). A shape that is not placed keeps the identity transform and sheet -1.
// Shapes of a group share the status of the unit, except empty or invalid members, which are
// left out of it.
//
// Bounds: the work is bounded by attempts x units x orientations x sheets x raster cells; the
// time limit is checked between rows of every search and after every unit, and the progress
// callback runs after every unit (returning false cancels). Only the first order can leave
// shapes kStopped: a later order cut short by the time limit or a cancel is dropped and the
// best complete one kept; later orders report progress as (units, units). Orientations are
// capped at kMaxNestAngles; sheets at Options::maxSheets (0: as many as the units need, at
// most one per unit). A sheet costs two bytes a raster cell (8 MB at 2048 x 2048); footprints
// are built once for every set of copies of the same shapes and kept for later orders up to
// 64 MB (beyond that, built again when needed). Nest returns false, placing nothing, for a
// sheet size that is NaN, infinite, zero or negative, or a gap that is NaN, infinite or
// negative; the resolution and attempts are clamped, never refused.
//
// Thread safety: one CNest is used by one thread at a time; separate objects are independent.
#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "plexa/core/types.h"
#include "plexa/geom/polypoly.h"
#include "plexa/platform/export.h"

// Most orientations (angles, mirrored or not) one unit is tried in.
inline constexpr int kMaxNestAngles = 720;

class PLEXA_API CNest {
 public:
  // The map from a shape's own coordinates to its sheet's (row vectors, as CView3D):
  // x' = x * m11 + y * m21 + dx, y' = x * m12 + y * m22 + dy. For a turn by `angle` and an
  // optional mirror: m11 = s cos a, m12 = s sin a, m21 = -sin a, m22 = cos a, where s = -1
  // when mirrored (the shape's x negated first) and 1 otherwise.
  struct Transform {
    double m11 = 1, m12 = 0, m21 = 0, m22 = 1, dx = 0, dy = 0;
    double angle = 0;       // radians
    bool mirrored = false;  // x negated before the turn
    int sheet = -1;         // 0-based sheet index; -1 when not placed
    PLEXA::CDPOINT Apply(const PLEXA::CDPOINT& p) const {
      return PLEXA::CDPOINT(p.x * m11 + p.y * m21 + dx, p.x * m12 + p.y * m22 + dy);
    }
    // Maps every node (anchor and both handles) of every path of set in place.
    void Apply(CPolyPolyBezier& set) const;
  };

  enum class Status { kNotTried, kPlaced, kEmpty, kInvalid, kTooLarge, kNoRoom, kStopped };

  // One shape: what the host gives, and what Nest reports.
  struct NestData {
    CPolyPolyBezier shape;       // the outline and its holes (even-odd), drawing units
    int group = -1;              // >= 0: moves with the other shapes of this group
    std::vector<double> angles;  // allowed turns (radians); empty: Options::rotations steps
    bool mirror = true;          // may be mirrored when Options::mirror is on
    Transform transform;         // result: where the shape went
    Status status = Status::kNotTried;
    double area = 0;  // result: the shape's even-odd area (drawing units squared)
  };

  struct Options {
    double width = 0, height = 0;        // sheet size, drawing units; must be finite and positive
    double gap = 0;                      // least distance between parts; finite, >= 0
    int rotations = 4;                   // turns in steps of 2 pi / rotations (1: never turned)
    bool mirror = false;                 // also try mirrored orientations
    bool partInPart = true;              // small parts may go into holes of big ones
    int maxSheets = 0;                   // 0: as many as needed
    int resolution = 0;                  // pixels along the longer side (64 .. 2048); 0: auto
    int attempts = 1;                    // orders of placement tried, the best kept (1 .. 64)
    double timeLimit = 0;                // seconds; 0 or less: none
    std::vector<PLEXA::CDRECT> keepOut;  // areas of every sheet that no part may touch
    // Called after every unit with (units done, units in all); false stops the nesting.
    std::function<bool(int, int)> progress;
  };

  CNest() = default;

  // Appends a shape (copied) and returns its index.
  int AddShape(const CPolyPolyBezier& shape, int group = -1, std::vector<double> angles = {});
  // Direct access for hosts that fill the records themselves (angles, mirror).
  NestData& GetShape(int i) { return m_shapes[static_cast<size_t>(i)]; }
  const NestData& GetShape(int i) const { return m_shapes[static_cast<size_t>(i)]; }
  int GetShapeCount() const { return static_cast<int>(m_shapes.size()); }
  void RemoveAll() { *this = CNest(); }

  // Places the shapes, replacing any earlier result. False (nothing placed, every status
  // kNotTried) on invalid options; true otherwise, even when some shapes were not placed.
  bool Nest(const Options& options);

  int GetNestedCount() const { return m_nested; }
  double GetElapsedSeconds() const { return m_seconds; }
  int GetSheetCount() const { return static_cast<int>(m_sheetArea.size()); }
  // Placed area over the area of all sheets used (0 when none is used).
  double GetFillRatio() const;
  // Placed area on one sheet over the sheet's area (0 for a sheet index not used).
  double GetSheetFill(int sheet) const;
  // The pixel size of the last nesting (drawing units a pixel; 0 before).
  double GetPixelSize() const { return m_pixel; }

  // The placed shapes moved onto their sheets: out[i] is shape i under its transform (an
  // empty set when not placed).
  void GetPlacedShapes(std::vector<CPolyPolyBezier>& out) const;

 private:
  std::vector<NestData> m_shapes;
  std::vector<double> m_sheetArea;  // placed area per used sheet
  double m_sheetSize = 0;           // width * height of the last nesting
  double m_pixel = 0;
  double m_seconds = 0;
  int m_nested = 0;
};

// Exact overlap check of placed shapes (each an even-odd set of closed paths): every pair whose
// control-point boxes overlap is intersected with the boolean operations, and the pair is
// reported (i < j, ascending) when the intersection's area exceeds minArea. Paths with
// non-finite coordinates are skipped by the booleans. Returns the number of pairs reported;
// pairs is replaced. Cost: one boolean intersection per pair of overlapping boxes.
PLEXA_API int FindShapeOverlaps(const std::vector<CPolyPolyBezier>& shapes, double minArea,
                                std::vector<std::pair<int, int>>& pairs);

// The even-odd area of a set of closed paths (an open path closed by its chord), exact on the
// curves: the sum of the paths' areas, each counted positive or negative by how many of the
// other paths enclose its first anchor (even: outline, odd: hole). Paths with non-finite
// coordinates count 0. Meant for outlines with holes that do not cross one another.
PLEXA_API double GetShapeArea(const CPolyPolyBezier& shape);
