// CRandPolylinePlacement: scatters copies of one outline (a closed integer polyline) over a
// rectangle at random positions, sizes and turns, keeping only copies that hit neither each
// other nor a set of obstacle rectangles, and returns one CView3D per kept copy. Used for
// confetti and pattern backgrounds.
//
//   CRandPolylinePlacement place;                 // scales 0.6 .. 1.2, turns, clearance 400
//   std::vector<CView3D> copies;
//   CPoint offset;
//   std::srand(7);                                // the placement draws from rand()
//   place.PlacePolylines(CRect(0, 0, 20000, 10000), star, {CRect(500, 500, 3000, 2000)},
//                        copies, offset);
//   for (CView3D& v : copies) { v.Transfer(x, y, 0); ... }   // outline point -> copy point
//
// One attempt (vvNewPolyline, then vvKeepPolyline): an anchor point is drawn uniformly over the
// area (rand() values, reduced to 0 .. 32767, over 32767); an anchor inside a kept copy or an
// obstacle fails at once. Otherwise a scale s in [m_minScale, m_maxScale] and, when m_bRotate,
// an angle in [0, 2 pi] are drawn, and the outline is moved centre to origin, scaled, turned and
// moved to the anchor. The candidate polygon is that copy enlarged by the clearance scale
// (m_margin / min(w, h) + 1) * s about the anchor (w, h the outline's extent), rounded to
// integers: two copies whose clearance polygons do not hit keep roughly m_margin * s apart.
// Two polygons hit when a vertex of one lies inside the other (even-odd) or edges cross.
//
// Choices this class makes where hosts would expect them:
// - A copy is kept only when its clearance polygon's bounding rectangle lies inside the area
//   (edges inclusive), so copies stay within the area, half a clearance from its border.
// - `placements` receives the copy's own transform (scale s), not the enlarged one.
// - rand() is reduced to 0 .. 32767 by dividing by RAND_MAX / 32768 + 1 (the identity where
//   RAND_MAX is 32767; the top 15 bits where it is 2^31 - 1), so anchors stay in the area.
// Seeding rand() is the caller's; with one seed and one C library the result is the same.
//
// Bounds: placement stops after m_maxFailures consecutive failed attempts or when m_maxCopies
// copies are kept, whichever comes first, so at most (m_maxCopies + 1) * m_maxFailures attempts
// run; an attempt looks only at the kept copies near the candidate (a grid of cells about one
// copy wide) and at every obstacle, with polygon tests against those whose rectangles overlap
// (O(points^2) each at worst, usually far less), so the cost of a copy hardly grows with the
// count. An outline of fewer than two
// points or with a zero width or height, an area with no width or height, and NaN or infinite
// scales (which give degenerate candidates) return at once or within those bounds, with what
// fits. Kept polygons take (outline points) * 8 bytes a copy.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "plexa/core/view3d.h"
#include "plexa/draw/scaledraw.h"
#include "plexa/platform/array.h"
#include "plexa/platform/export.h"
#include "plexa/platform/gdi.h"
#include "plexa/platform/records.h"

// Default cap on the copies one placement keeps.
inline constexpr int kDefaultMaxCopies = 10000;

class PLEXA_API CRandPolylinePlacement {
 public:
  // One kept polygon (a copy's clearance polygon, or an obstacle's corners) and its bounds.
  struct vvPolyline {
    std::vector<tagPOINT> points;
    CRect rect;
  };

  // Clears the kept copies, turns each obstacle into a kept corner polygon, then attempts
  // until the bounds above. `placements` is replaced by one transform per kept copy, in the
  // order they were kept; `offset` gets (centre of the union of the kept copies' rectangles)
  // minus (centre of area), each centre in integer halves truncated toward zero, or (0, 0)
  // when nothing was kept.
  void PlacePolylines(CRect area, const CArray<tagPOINT, tagPOINT>& outline,
                      const std::vector<CRect>& obstacles, std::vector<CView3D>& placements,
                      CPoint& offset);

  // Steps 1-6 of one attempt: false when the anchor falls inside a kept polygon or the
  // outline is degenerate; otherwise fills `candidate` (clearance polygon) and `transform`
  // (the copy's own transform) and returns true.
  bool vvNewPolyline(const CRect& area, const CArray<tagPOINT, tagPOINT>& outline,
                     vvPolyline& candidate, CView3D& transform);
  // Keeps the candidate (moved into the kept list, with its transform) when it lies inside
  // the area and hits no kept copy and no obstacle; returns whether it was kept.
  bool vvKeepPolyline(const CRect& area, vvPolyline& candidate, const CView3D& transform);
  // Vertex tests first (each vertex of a in b, then of b in a), then edge crossings.
  static bool vvPolylinesHit(const vvPolyline& a, const vvPolyline& b);

  // Preview aid: the polyline through sd's mapping, from a MoveTo and LineTo steps.
  static void vvDrawPolyline(CArray<tagPOINT, tagPOINT>& pts, CDC& dc, CScaleDraw& sd);
  static void vvDrawPolyline(tagPOINT* pts, int n, CDC& dc, CScaleDraw& sd);

  // The kept copies' clearance polygons of the last placement, in placement order.
  const std::vector<vvPolyline>& GetPolylines() const { return m_kept; }

  double m_minScale = 0.6;
  double m_maxScale = 1.2;
  int m_bRotate = 1;
  double m_margin = 400.0;
  int m_maxFailures = 2500;
  int m_maxCopies = kDefaultMaxCopies;

 private:
  bool InsideKept(const tagPOINT& p);
  // Kept copies whose rectangles may meet r, each once (the grid's cells, or all of them).
  template <typename Visit>
  bool AnyNear(const tagRECT& r, Visit visit);
  void Index(int copy);

  std::vector<vvPolyline> m_kept;
  // A uniform grid over the kept copies' rectangles (cells about one copy wide): a query
  // looks at the copies of the few cells it covers instead of every copy. Cell size 0: off.
  double m_cell = 0;
  std::unordered_map<std::uint64_t, std::vector<int>> m_grid;
  std::vector<int> m_wide;             // copies covering too many cells: always visited
  std::vector<std::uint32_t> m_stamp;  // per copy: the query that last visited it
  std::uint32_t m_query = 0;
  std::vector<vvPolyline> m_obstacles;
  std::vector<CView3D> m_transforms;
};
