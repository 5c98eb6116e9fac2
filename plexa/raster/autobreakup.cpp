#include "plexa/raster/autobreakup.h"

bool CAutoBreakUp::AutoBreakUp(HBITMAP, double, CPolyPolyDPoint& outlines,
                               CPolyPolyInclination& incl) {
  outlines.RemoveAll();
  incl.RemoveAll();
  return false;
}
