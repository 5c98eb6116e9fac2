#include "plexa/draw/colour.h"

#include <algorithm>
#include <cmath>

namespace {

// RGB2HLS treats a channel spread or a distance from white below this as no colour.
constexpr double kColourEpsilon = 1e-7;
// RGB2CMYK treats a key within this of 1 as black.
constexpr double kBlackEpsilon = 1e-8;

// trunc(v) clamped to 0 .. 255, decided in floating point so that NaN and values beyond
// int's range never reach the conversion.
int TruncToByte(double v) {
  if (!(v > 0)) return 0;
  if (v >= 255) return 255;
  return static_cast<int>(v);
}

double ClampUnit(double v) {
  return std::clamp(v, 0.0, 1.0);
}

}  // namespace

void RGB2HLS(int r, int g, int b, double& h, double& l, double& s) {
  const double R = std::clamp(r, 0, 255) / 255.0;
  const double G = std::clamp(g, 0, 255) / 255.0;
  const double B = std::clamp(b, 0, 255) / 255.0;
  const double max = std::max({R, G, B});
  const double min = std::min({R, G, B});
  l = (max + min) / 2;
  const double delta = max - min;
  double t = 0;
  if (std::fabs(delta) < kColourEpsilon || std::fabs(2 - max - min) < kColourEpsilon) {
    s = 0;
  } else {
    s = l <= 0.5 ? delta / (max + min) : delta / (2 - max - min);
    if (R == max)
      t = (G - B) / delta;
    else if (G == max)
      t = (B - R) / delta + 2;
    else
      t = (R - G) / delta + 4;
  }
  h = std::clamp((t + 1) * 60, 0.0, 360.0);
  l = ClampUnit(l);
  s = ClampUnit(s);
}

void HLS2RGB(double h, double l, double s, int& r, int& g, int& b) {
  const double t = std::clamp(h / 60 - 1, -1.0, 5.0);
  const double L = ClampUnit(l);
  const double S = std::min(s, 1.0);
  double R, G, B;
  if (s < 0 || S == 0) {
    R = G = B = L;
  } else {
    const double m1 = L <= 0.5 ? L * (1 - S) : L - (1 - L) * S;
    const double m2 = 2 * L - m1;
    const double D = m2 - m1;
    if (t < 0) {
      R = m2;
      G = m1;
      B = m1 - D * t;
    } else if (t < 1) {
      R = m2;
      G = m1 + D * t;
      B = m1;
    } else if (t < 2) {
      R = m1 - (t - 2) * D;
      G = m2;
      B = m1;
    } else if (t < 3) {
      R = m1;
      G = m2;
      B = m1 + (t - 2) * D;
    } else if (t < 4) {
      R = m1;
      G = m1 - (t - 4) * D;
      B = m2;
    } else {  // t >= 4 (and a NaN hue)
      R = m1 + (t - 4) * D;
      G = m1;
      B = m2;
    }
  }
  r = TruncToByte(R * 255 + 0.5);
  g = TruncToByte(G * 255 + 0.5);
  b = TruncToByte(B * 255 + 0.5);
}

void RGB2CMYK(int r, int g, int b, int& c, int& m, int& y, int& k) {
  c = m = y = 0;
  k = 255;
  const double C = 1 - r / 255.0;
  const double M = 1 - g / 255.0;
  const double Y = 1 - b / 255.0;
  const double K = std::min({C, M, Y});
  if (std::fabs(K - 1) <= kBlackEpsilon) return;
  c = TruncToByte((C - K) / (1 - K) * 255);
  m = TruncToByte((M - K) / (1 - K) * 255);
  y = TruncToByte((Y - K) / (1 - K) * 255);
  k = TruncToByte(K * 255);
}
