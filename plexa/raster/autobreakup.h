// CAutoBreakUp: breaks the closed outlines of one traced region into the open pieces a cutter
// needs, with one inclination array per piece. CPxAutoTrace calls it in boundary mode when the
// host asks for inclinations; hosts may call it on any 1-bit region and its closed outlines.
//
//   CAutoBreakUp breakUp;
//   CPolyPolyInclination incl;
//   if (breakUp.AutoBreakUp(region, 96.0, outlines, incl)) ...  // outlines: open pieces
//
// Input: a 1-bit bitmap whose white pixels are the region (the library's 1-bit layout), the
// picture's resolution in dots per inch (below 1, or NaN: 96), and the region's closed
// boundary polylines in pixel coordinates (first point repeated at the end, as CPxAutoTrace
// gives them). Output: outlines replaced by the pieces, incl emptied and given one array per
// piece with one angle per point.
//
// The rules, in the order they run, and why:
// 1. Complexity limit. More than kBreakUpMaxPixels pixels, more than kBreakUpMaxPoints outline
//    points or more than kBreakUpMaxLines outlines, a missing or non-1-bit bitmap: return
//    false with outlines and incl empty. The break-up is an aid; past these sizes its cost
//    (a skeleton of the whole picture) is not worth it and the host keeps its own outlines.
// 2. Skeleton. The region is thinned (CSkeleton) and its centre lines resampled at one pixel;
//    the width at each centre point is twice its distance to the nearest non-region pixel
//    (chamfer distance; the outside of the picture counts as non-region).
// 3. Spur filter. A centre line with one free end whose other end meets other lines, and
//    whose length is below kBreakUpSpurFactor times the width at that meeting end, is a spur:
//    thinning grows one from every corner and bump. Spurs are dropped, and lines left meeting
//    two by two are joined into one, so a bump on a narrow neck does not hide the neck.
// 4. Necks. On each remaining line, a point whose width is at most the neck limit
//    (kBreakUpNeckInches at the resolution, clamped to kBreakUpNeckMinPixels ..
//    kBreakUpNeckMaxPixels) and at most kBreakUpNeckRatio times the widest point on either
//    side of it along the line, is a neck candidate; each run of candidates gives its
//    narrowest point. Its chord joins the nearest outline point to the two nearest outline
//    points on the opposite side. A narrowing that widens on one side only (a protrusion, a
//    tapering end) is no neck: a cutter gains nothing from splitting there.
// 5. Crossing reduction. Chords are taken narrowest first; a chord that crosses an accepted
//    one or whose middle lies within twice the wider chord's length of an accepted one's
//    middle is dropped, so one neck gives one pair of break points and cut paths never cross.
// 6. Cut lines. A cut line that the host drew into the region (CPxAutoTrace's cut lines) shows
//    as a narrow gap: outline points with a non-region 4-neighbour and region again within
//    kBreakUpGapPixels pixels beyond it in that direction lie along a cut. Stretches of such
//    points separated by at most 2 * kBreakUpGapPixels others (the way round a cut's end) are
//    one stretch; each stretch of at least kBreakUpMinRun points becomes a piece of its own
//    (both ends are breaks), so a slit is cut as one piece. A cut right across the region
//    shows only as the region's edge and gives no break.
// 7. Pieces. Each closed outline is split at its break points into open pieces that share
//    their end points; an outline without breaks stays one closed piece. Pieces of fewer than
//    2 points are dropped.
// 8. Inclinations. The angle of the local direction of travel at each point: atan2(dy, dx) in
//    the picture's coordinates (y down) of the chord from kBreakUpTangentReach points before
//    to as many after (clamped at open ends, wrapped on closed pieces), in (-pi, pi]; a
//    tangential knife turns to it.
// Non-finite outline points: the outline is kept as one piece and its inclinations are 0.
#pragma once

#include "plexa/geom/polypoly.h"
#include "plexa/platform/export.h"
#include "plexa/platform/gdi.h"

inline constexpr long long kBreakUpMaxPixels = 16LL << 20;
inline constexpr long long kBreakUpMaxPoints = 1LL << 20;
inline constexpr long long kBreakUpMaxLines = 1LL << 16;
inline constexpr double kBreakUpSpurFactor = 1.0;
inline constexpr double kBreakUpNeckInches = 0.125;
inline constexpr double kBreakUpNeckMinPixels = 4.0;
inline constexpr double kBreakUpNeckMaxPixels = 64.0;
inline constexpr double kBreakUpNeckRatio = 0.5;
inline constexpr int kBreakUpGapPixels = 4;
inline constexpr int kBreakUpMinRun = 3;
inline constexpr int kBreakUpTangentReach = 2;

class PLEXA_API CAutoBreakUp {
 public:
  CAutoBreakUp() = default;
  CAutoBreakUp(const CAutoBreakUp&) = delete;
  CAutoBreakUp& operator=(const CAutoBreakUp&) = delete;
  virtual ~CAutoBreakUp() = default;

  // Breaks outlines up as above. False (outlines and incl empty) past the complexity limit
  // or on an unusable bitmap; true otherwise, also when nothing needed breaking.
  bool AutoBreakUp(HBITMAP bmp, double scale, CPolyPolyDPoint& outlines,
                   CPolyPolyInclination& incl);
};
