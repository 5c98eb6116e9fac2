// CColourRegions: traces every region of a label image (one label a pixel, such as the palette
// index of a colour-reduced photo) into closed poly-Bezier outlines, so that neighbouring
// regions meet without gaps or overlaps.
//
//   CColourRegions regions;
//   if (regions.Trace(labels, width, height, 1.0)) {         // labels[y * width + x]
//     for (int i = 0; i < regions.GetRegionCount(); ++i)
//       Paint(regions.GetLabel(i), regions.GetOutlines(i));  // even-odd fill
//   }
//
// Geometry. Pixel (x, y) is the square [x, x+1] x [y, y+1], y down, so the image covers
// (0, 0) .. (width, height). The boundary between two labels is cut into chains at junctions
// (pixel corners where three or more labels meet, counting the outside of the image as one,
// corners where two labels meet crosswise, and the image's four corners); a boundary loop
// without any junction is one closed chain. Each chain is fitted once (FitCurve within the
// tolerance, through the midpoints of its pixel edges, its junction ends kept exactly), and
// both regions beside it use that one fitted curve, one of them reversed. So the union of all
// outlines is the image rectangle and two regions never overlap: rendered back at pixel
// centres every pixel belongs to exactly one region, the one whose label it has up to the
// fitting's smoothing of staircases.
//
// Invariants of a result: one region per distinct label, in order of first appearance (rows
// from the top, left to right); its outlines are every boundary loop of that label (all its
// connected parts with their holes), closed (last node a copy of the first), keeping the
// label on their right on a y-down screen (outer loops clockwise, holes counter-clockwise),
// to be filled by the even-odd rule. Pixels of one label are joined through their sides only:
// where two labels meet crosswise at a corner each keeps its own pieces.
//
// Degenerate input: width or height not positive, labels.size() not width * height, or more
// than kColourRegionsMaxPixels pixels: Trace returns false and the result is empty. A tolerance
// that is NaN or not positive means kColourRegionsDefaultTolerance.
// Bounds: the boundary walk visits each pixel side once; fitting is FitCurve's cost per chain.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "plexa/geom/polypoly.h"
#include "plexa/platform/export.h"

inline constexpr long long kColourRegionsMaxPixels = 1LL << 27;
inline constexpr double kColourRegionsDefaultTolerance = 1.0;

class PLEXA_API CColourRegions {
 public:
  CColourRegions() = default;
  CColourRegions(const CColourRegions&) = delete;
  CColourRegions& operator=(const CColourRegions&) = delete;
  virtual ~CColourRegions() = default;

  // Replaces the result with the regions of labels. progress, when given, is called now and
  // then with the share of the chains fitted so far (0..1).
  bool Trace(std::span<const std::uint32_t> labels, int width, int height, double tolerance,
             const std::function<void(double)>& progress = {});

  int GetRegionCount() const { return static_cast<int>(m_labels.size()); }
  // Out of range: 0 and an empty set.
  std::uint32_t GetLabel(int i) const;
  const CPolyPolyBezier& GetOutlines(int i) const;
  // Boundary chains fitted (each shared by the two regions beside it).
  long long GetChainCount() const { return m_chains; }

 private:
  std::vector<std::uint32_t> m_labels;
  std::vector<std::unique_ptr<CPolyPolyBezier>> m_outlines;
  CPolyPolyBezier m_empty;
  long long m_chains = 0;
};
