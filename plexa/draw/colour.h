// Colour conversions for the host's colour pickers: RGB to and from hue/lightness/
// saturation, and RGB to CMYK. Stateless free functions.
//
//   double h, l, s;
//   RGB2HLS(255, 0, 0, h, l, s);   // h = 60 (red), l = 0.5, s = 1
//   int r, g, b;
//   HLS2RGB(h, l, s, r, g, b);     // back to 255, 0, 0
//
// The hue scale is shifted by 60 degrees against the common one, deliberately and in both
// directions, so that the two conversions stay inverse to each other:
//   0 magenta, 60 red, 120 yellow, 180 green, 240 cyan, 300 blue, 360 magenta.
// A grey (no saturation) reports hue 60.
#pragma once

#include "plexa/platform/export.h"

// r, g, b are clamped to 0 .. 255. h in degrees 0 .. 360 on the shifted scale, l and s in
// 0 .. 1. Black, white and greys give h = 60 and s = 0.
PLEXA_API void RGB2HLS(int r, int g, int b, double& h, double& l, double& s);

// The inverse: h is limited to 0 .. 360 (hues beyond 360 act as 360, below 0 as 0), l to
// 0 .. 1, s to at most 1; a negative or zero s gives the grey of lightness l. Each channel
// is rounded (trunc(v*255 + 0.5)) and clamped to 0 .. 255. NaN inputs give channels of 0
// where they reach a channel, never undefined conversions.
PLEXA_API void HLS2RGB(double h, double l, double s, int& r, int& g, int& b);

// c, m, y, k in 0 .. 255; inputs are used as given (not clamped) and the outputs clamped.
// Black (key within 1e-8 of 1) gives (0, 0, 0, 255). The values are truncated,
// not rounded, unlike HLS2RGB; the difference is intended.
PLEXA_API void RGB2CMYK(int r, int g, int b, int& c, int& m, int& y, int& k);
