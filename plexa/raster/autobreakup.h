// CAutoBreakUp: breaks the closed outlines of a traced region into the open pieces a cutter
// needs, with one inclination array per piece.
#pragma once

#include "plexa/geom/polypoly.h"
#include "plexa/platform/export.h"
#include "plexa/platform/gdi.h"

class PLEXA_API CAutoBreakUp {
 public:
  CAutoBreakUp() = default;
  CAutoBreakUp(const CAutoBreakUp&) = delete;
  CAutoBreakUp& operator=(const CAutoBreakUp&) = delete;
  virtual ~CAutoBreakUp() = default;

  // Not built yet: refuses, leaving outlines and incl empty.
  bool AutoBreakUp(HBITMAP bmp, double scale, CPolyPolyDPoint& outlines,
                   CPolyPolyInclination& incl);
};
