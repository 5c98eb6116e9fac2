// The Canny stages of CEdgeDetect: Gaussian taps, smoothing and derivatives, non-maximum
// suppression, threshold estimation and hysteresis.
//
// Speed without changing a single value: every convolution runs a whole row at a time (the
// taps in the outer loop, the pixels in the inner one, over a row copied with its wrap-around
// margins), so the compiler vectorises it, and each pixel still sums its terms in the
// published order, in single precision. The gradient magnitude is computed once per pixel
// into a raster that the suppression reads, instead of six times per pixel.
#include <algorithm>
#include <cmath>
#include <vector>

#include "plexa/raster/edgedetect.h"
#include "plexa/raster/internal/edgestages.h"

using edge_internal::OutOfStorage;
using edge_internal::Wrap;
using edge_internal::WrapToByte;

namespace {

// pi as the published Gaussian normalisation writes it.
constexpr double kPi = 3.1415926535;
// Smallest Gaussian tap kept in the kernel.
constexpr double kMinTap = 0.005;
// Gradient magnitudes are stored as bytes times this factor (capped at 255 by the
// suppression).
constexpr double kMagScale = 20.0;
// Orientation bytes: the angle in radians times this factor (kept for hosts; unused here).
constexpr double kOriScale = 40.0;
// Gradients with both components below this are no edge candidates.
constexpr double kMinGradient = 0.01;
// Share of the longer side that the count of strong pixels must reach (the high threshold).
constexpr double kHighShare = 0.9;

inline float Norm(float x, float y) {
  return std::sqrt(x * x + y * y);
}

// The row y of src copied into pad with `margin` wrap-around values on each side: pad[margin
// + j] is src[j mod n] for j in -margin .. n - 1 + margin.
template <typename T>
void PadRow(const T* src, int n, int margin, std::vector<float>& pad) {
  pad.resize(static_cast<std::size_t>(n) + 2 * static_cast<std::size_t>(margin));
  for (int j = -margin; j < n + margin; ++j)
    pad[static_cast<std::size_t>(j + margin)] =
        static_cast<float>(src[j >= 0 && j < n ? j : Wrap(j, n)]);
}

}  // namespace

float CEdgeDetect::gauss(float x, float sigma) {
  if (sigma == 0) return 0.0f;
  return static_cast<float>(std::exp(static_cast<double>((-x * x) / (2 * sigma * sigma))));
}

float CEdgeDetect::meanGauss(float x, float sigma) {
  float z = static_cast<float>((gauss(x, sigma) + gauss(static_cast<float>(x + 0.5), sigma) +
                                gauss(static_cast<float>(x - 0.5), sigma)) /
                               3.0);
  z = static_cast<float>(z / (kPi * 2.0 * sigma * sigma));
  return z;
}

float CEdgeDetect::dGauss(float x, float sigma) {
  return -x / (sigma * sigma) * gauss(x, sigma);
}

void CEdgeDetect::seperable_convolution(const image& im, const float* gau, int width, fimage& smx,
                                        fimage& smy) {
  const int nr = im.nr, nc = im.nc;
  const int margin = std::max(width - 1, 0);
  const float g0 = gau[0];
  std::vector<float> pad;
  for (int i = 0; i < nr; ++i) {  // along x
    PadRow(im[i], nc, margin, pad);
    const float* p = pad.data() + margin;
    float* out = smx[i];
    for (int j = 0; j < nc; ++j) out[j] = g0 * p[j];
    for (int k = 1; k < width; ++k) {
      const float g = gau[k];
      for (int j = 0; j < nc; ++j) out[j] += g * p[j + k] + g * p[j - k];
    }
  }
  for (int i = 0; i < nr; ++i) {  // along y
    const unsigned char* c = im[i];
    float* out = smy[i];
    for (int j = 0; j < nc; ++j) out[j] = g0 * static_cast<float>(c[j]);
    for (int k = 1; k < width; ++k) {
      const float g = gau[k];
      const unsigned char* a = im[Wrap(i + k, nr)];
      const unsigned char* b = im[Wrap(i - k, nr)];
      for (int j = 0; j < nc; ++j)
        out[j] += g * static_cast<float>(a[j]) + g * static_cast<float>(b[j]);
    }
  }
}

void CEdgeDetect::dxy_seperable_convolution(const fimage& im, const float* gau, int width,
                                            fimage& sm, int which) {
  const int nr = im.nr, nc = im.nc;
  const int margin = std::max(width - 1, 0);
  std::vector<float> pad;
  for (int i = 0; i < nr; ++i) {
    float* out = sm[i];
    std::fill(out, out + nc, 0.0f);
    if (which != 0) {  // along x
      PadRow(im[i], nc, margin, pad);
      const float* p = pad.data() + margin;
      for (int k = 1; k < width; ++k) {
        const float g = gau[k], ng = -gau[k];
        for (int j = 0; j < nc; ++j) out[j] += ng * p[j + k] + g * p[j - k];
      }
    } else {  // along y
      for (int k = 1; k < width; ++k) {
        const float g = gau[k], ng = -gau[k];
        const float* a = im[Wrap(i + k, nr)];
        const float* b = im[Wrap(i - k, nr)];
        for (int j = 0; j < nc; ++j) out[j] += ng * a[j] + g * b[j];
      }
    }
  }
}

void CEdgeDetect::canny(float s, const image& im, image& mag, image& ori) {
  float gau[kEdgeMaxTaps] = {}, dgau[kEdgeMaxTaps] = {};
  int width = kEdgeMaxTaps;
  for (int i = 0; i < kEdgeMaxTaps; ++i) {
    gau[i] = meanGauss(static_cast<float>(i), s);
    if (gau[i] < kMinTap) {
      width = i;
      break;
    }
    dgau[i] = dGauss(static_cast<float>(i), s);
  }
  m_border = width / 2;
  const int nr = im.nr, nc = im.nc;

  fimage smx = f2d(nr, nc);
  fimage smy = f2d(nr, nc);
  seperable_convolution(im, gau, width, smx, smy);
  fimage dx = f2d(nr, nc);
  dxy_seperable_convolution(smx, dgau, width, dx, 1);
  free_f2d(smx);
  fimage dy = f2d(nr, nc);
  dxy_seperable_convolution(smy, dgau, width, dy, 0);
  free_f2d(smy);

  // The gradient magnitude; as bytes (times 20, low 8 bits) it stays only in the outermost
  // rows and columns, which the suppression does not visit.
  fimage norm = f2d(nr, nc);
  for (int i = 0; i < nr; ++i) {
    const float *x = dx[i], *y = dy[i];
    float* n = norm[i];
    for (int j = 0; j < nc; ++j) n[j] = Norm(x[j], y[j]);
    unsigned char* m = mag[i];
    if (i == 0 || i == nr - 1) {
      for (int j = 0; j < nc; ++j) m[j] = WrapToByte(n[j] * kMagScale);
    } else if (nc > 0) {
      m[0] = WrapToByte(n[0] * kMagScale);
      m[nc - 1] = WrapToByte(n[nc - 1] * kMagScale);
    }
  }
  nonmax_suppress(dx, dy, norm, mag, ori);
}

void CEdgeDetect::nonmax_suppress(const fimage& dx, const fimage& dy, const fimage& norm,
                                  image& mag, image& ori) {
  const int nr = mag.nr, nc = mag.nc;
  for (int i = 1; i < nr - 1; ++i) {
    const float *up = norm[i - 1], *mid = norm[i], *down = norm[i + 1];
    const float *dxr = dx[i], *dyr = dy[i];
    unsigned char* m = mag[i];
    unsigned char* o = ori[i];
    for (int j = 1; j < nc - 1; ++j) {
      m[j] = 0;
      const float xc = dxr[j], yc = dyr[j];
      if (std::fabs(static_cast<double>(xc)) < kMinGradient &&
          std::fabs(static_cast<double>(yc)) < kMinGradient)
        continue;
      const float g = mid[j];
      float xx, g1, g2, g3, g4;
      const float yy = 1.0f;
      if (std::fabs(yc) > std::fabs(xc)) {  // mostly vertical gradient
        xx = std::fabs(xc) / std::fabs(yc);
        g2 = up[j];
        g4 = down[j];
        if (xc * yc > 0.0f) {
          g3 = down[j + 1];
          g1 = up[j - 1];
        } else {
          g3 = down[j - 1];
          g1 = up[j + 1];
        }
      } else {  // mostly horizontal gradient
        xx = std::fabs(yc) / std::fabs(xc);
        g2 = mid[j + 1];
        g4 = mid[j - 1];
        if (xc * yc > 0.0f) {
          g3 = up[j - 1];
          g1 = down[j + 1];
        } else {
          g1 = up[j + 1];
          g3 = down[j - 1];
        }
      }
      // Strictly above the side of g1, g2 and at least the side of g3, g4: of two equal
      // neighbours along the gradient (the two pixels either side of a clean step) one stays.
      if (g > xx * g1 + (yy - xx) * g2 && g >= xx * g3 + (yy - xx) * g4) {
        const double scaled = g * kMagScale;
        m[j] = scaled <= 255 ? static_cast<unsigned char>(scaled) : 255;
        o[j] = WrapToByte(std::atan2(static_cast<double>(yc), static_cast<double>(xc)) * kOriScale);
      } else {
        m[j] = 0;
        o[j] = 0;
      }
    }
  }
}

bool CEdgeDetect::range(const image& im, int i, int j) {
  return i >= 0 && i < im.nr && j >= 0 && j < im.nc;
}

void CEdgeDetect::estimate_thresh(const image& mag, int& hi, int& low) const {
  std::int64_t hist[256] = {};
  for (int i = m_border; i < mag.nr - m_border; ++i) {
    const unsigned char* row = mag[i];
    for (int j = m_border; j < mag.nc - m_border; ++j) ++hist[row[j]];
  }
  const auto target = static_cast<std::int64_t>(kHighShare * std::max(mag.nr, mag.nc));
  int k = 255;
  std::int64_t count = hist[255];
  while (count < target) {  // at most 256 steps
    --k;
    if (k < 0) break;
    count += hist[k];
  }
  int m = 0;
  while (m < 255 && hist[m] == 0) ++m;
  if (hist[m] == 0) m = 0;  // nothing inside the border at all
  // A level-0 pixel was suppressed: never an edge, whatever the histogram says.
  hi = std::max(k, 1);
  low = std::max(static_cast<int>((hi + m) * 0.5 + 0.5), 1);
}

bool CEdgeDetect::trace(int i, int j, int low, image& im, const image& mag, const image& /*ori*/) {
  if (im[i][j] != 0) return false;
  im[i][j] = 255;
  // Each step marks a new pixel, so the walk ends within rows x columns steps.
  for (;;) {
    bool moved = false;
    for (int n = -1; n <= 1 && !moved; ++n)
      for (int m = -1; m <= 1; ++m) {
        if (i == 0 && m == 0) continue;  // on the top row the walk never steps straight down
        const int a = i + n, b = j + m;
        if (range(mag, a, b) && mag[a][b] >= low && im[a][b] == 0) {
          i = a;
          j = b;
          im[i][j] = 255;
          moved = true;
          break;
        }
      }
    if (!moved) return true;
  }
}

void CEdgeDetect::hysteresis(int high, int low, image& im, const image& mag, const image& ori) {
  std::fill(im.pixels.begin(), im.pixels.end(), 0);
  if (high < low) estimate_thresh(mag, high, low);
  for (int i = 0; i < im.nr; ++i) {
    const unsigned char* row = mag[i];
    for (int j = 0; j < im.nc; ++j)
      if (row[j] >= high) trace(i, j, low, im, mag, ori);
  }
  for (unsigned char& v : im.pixels) v = v == 0 ? 255 : 0;
}

void CEdgeDetect::Input_Canny() {
  RemoveAll();
  image result;
  if (CannyEdges(result)) TraceResult(result);
}

bool CEdgeDetect::CannyEdges(image& grey) {
  m_ratio = 0.1;
  if (!GreyImage(grey)) return false;
  image mag, ori;
  if (!newimage(grey.nr, grey.nc, mag)) OutOfStorage("Out of storage: Magnitude\n");
  if (!newimage(grey.nr, grey.nc, ori)) OutOfStorage("Out of storage: Orientation\n");
  const auto sigma = static_cast<float>(1.5 - m_details);
  canny(sigma, grey, mag, ori);
  hysteresis(-1, 0, grey, mag, ori);
  freeimage(ori);
  freeimage(mag);
  // The frame that the wrap-around smoothing spoils: top rows, bottom rows, left columns.
  const int nr = grey.nr, nc = grey.nc, border = m_border;
  for (int i = 0; i < nr; ++i) {
    unsigned char* row = grey[i];
    if (i < border || i >= nr - border)
      std::fill(row, row + nc, 255);
    else
      std::fill(row, row + std::min(border, nc), 255);
  }
  return true;
}
