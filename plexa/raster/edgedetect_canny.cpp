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
#include <cstring>
#include <utility>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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
// Gradients with both components below this are no edge candidates.
constexpr double kMinGradient = 0.01;
// Share of the longer side that the count of strong pixels must reach (the high threshold).
constexpr double kHighShare = 0.9;

inline float Norm(float x, float y) {
  return std::sqrt(x * x + y * y);
}

// The smallest float whose double value is not below kMinGradient: a float component is
// below kMinGradient (compared in double, as published) exactly when it is below this.
float WeakBelow() {
  float f = static_cast<float>(kMinGradient);
  if (static_cast<double>(f) < kMinGradient) f = std::nextafter(f, 1.0f);
  return f;
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

// out[j] += c1 * a[j] + c2 * b[j] for j in 0..n-1, single precision in that order.
void Accumulate(float* out, const float* a, float c1, const float* b, float c2, int n) {
  int j = 0;
#if defined(__SSE2__)
  const __m128 v1 = _mm_set1_ps(c1), v2 = _mm_set1_ps(c2);
  for (; j + 4 <= n; j += 4) {
    const __m128 t =
        _mm_add_ps(_mm_mul_ps(v1, _mm_loadu_ps(a + j)), _mm_mul_ps(v2, _mm_loadu_ps(b + j)));
    _mm_storeu_ps(out + j, _mm_add_ps(_mm_loadu_ps(out + j), t));
  }
#endif
  for (; j < n; ++j) out[j] += c1 * a[j] + c2 * b[j];
}

// The same over bytes.
void Accumulate(float* out, const unsigned char* a, float c1, const unsigned char* b, float c2,
                int n) {
  int j = 0;
#if defined(__SSE2__)
  const __m128 v1 = _mm_set1_ps(c1), v2 = _mm_set1_ps(c2);
  const __m128i zero = _mm_setzero_si128();
  auto four = [&](const unsigned char* p) {
    int w;
    std::memcpy(&w, p, 4);
    const __m128i bytes = _mm_cvtsi32_si128(w);
    return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpacklo_epi8(bytes, zero), zero));
  };
  for (; j + 4 <= n; j += 4) {
    const __m128 t = _mm_add_ps(_mm_mul_ps(v1, four(a + j)), _mm_mul_ps(v2, four(b + j)));
    _mm_storeu_ps(out + j, _mm_add_ps(_mm_loadu_ps(out + j), t));
  }
#endif
  for (; j < n; ++j) out[j] += c1 * static_cast<float>(a[j]) + c2 * static_cast<float>(b[j]);
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
      Accumulate(out, p + k, g, p - k, g, nc);
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
      Accumulate(out, a, g, b, g, nc);
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
        Accumulate(out, p + k, ng, p - k, g, nc);
      }
    } else {  // along y
      for (int k = 1; k < width; ++k) {
        const float g = gau[k], ng = -gau[k];
        const float* a = im[Wrap(i + k, nr)];
        const float* b = im[Wrap(i - k, nr)];
        Accumulate(out, a, ng, b, g, nc);
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
  fimage dy = f2d(nr, nc);
  dxy_seperable_convolution(smy, dgau, width, dy, 0);
  free_f2d(smy);

  // The gradient magnitude, in the rows of smx (no longer needed); as bytes (times 20, low 8
  // bits) it stays only in the outermost rows and columns, which the suppression does not
  // visit.
  fimage norm = std::move(smx);
  for (int i = 0; i < nr; ++i) {
    const float *x = dx[i], *y = dy[i];
    float* n = norm[i];
    int j = 0;
#if defined(__SSE2__)
    for (; j + 4 <= nc; j += 4) {  // sqrt is correctly rounded in both forms
      const __m128 a = _mm_loadu_ps(x + j), b = _mm_loadu_ps(y + j);
      _mm_storeu_ps(n + j, _mm_sqrt_ps(_mm_add_ps(_mm_mul_ps(a, a), _mm_mul_ps(b, b))));
    }
#endif
    for (; j < nc; ++j) n[j] = Norm(x[j], y[j]);
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
  // Branch-free form of the published test, four pixels at a time where SSE2 is there (the
  // same single-precision operations in the same order, so the same bytes). For every pixel,
  // with xx = min(|xc|, |yc|) / max(|xc|, |yc|) (the published quotient in either case):
  //   mostly vertical (|yc| > |xc|): g2 above, g4 below; g1, g3 the diagonal pair of the
  //   gradient's sign (xc * yc > 0: upper left and lower right, else upper right and lower
  //   left);
  //   mostly horizontal: g2 right, g4 left; g1 lower right and g3 upper left when the signs
  //   agree, else g1 upper right and g3 lower left.
  // Kept: g > xx g1 + (1 - xx) g2 and g > xx g3 + (1 - xx) g4, strict on both sides as
  // published (of two equal neighbours along the gradient neither stays).
  // The orientation raster is allocated with the magnitude but not filled: nothing reads it.
  (void)ori;
  const int nr = mag.nr, nc = mag.nc;
  const float weakBelow = WeakBelow();
  auto byteOf = [](float g) {  // the magnitude byte, in double as published
    const double scaled = g * kMagScale;
    return scaled <= 255 ? static_cast<unsigned char>(scaled) : static_cast<unsigned char>(255);
  };
  for (int i = 1; i < nr - 1; ++i) {
    const float *up = norm[i - 1], *mid = norm[i], *down = norm[i + 1];
    const float *dxr = dx[i], *dyr = dy[i];
    unsigned char* m = mag[i];
    int j = 1;
#if defined(__SSE2__)
    const __m128 absMask = _mm_castsi128_ps(_mm_set1_epi32(0x7fffffff));
    const __m128 weakT = _mm_set1_ps(weakBelow), zero = _mm_setzero_ps(), one = _mm_set1_ps(1);
    auto sel = [](__m128 mask, __m128 a, __m128 b) {
      return _mm_or_ps(_mm_and_ps(mask, a), _mm_andnot_ps(mask, b));
    };
    for (; j + 4 <= nc - 1; j += 4) {
      const __m128 xc = _mm_loadu_ps(dxr + j), yc = _mm_loadu_ps(dyr + j);
      const __m128 ax = _mm_and_ps(xc, absMask), ay = _mm_and_ps(yc, absMask);
      const __m128 weak = _mm_and_ps(_mm_cmplt_ps(ax, weakT), _mm_cmplt_ps(ay, weakT));
      const __m128 vert = _mm_cmpgt_ps(ay, ax);
      const __m128 same = _mm_cmpgt_ps(_mm_mul_ps(xc, yc), zero);
      const __m128 xx = _mm_div_ps(sel(vert, ax, ay), sel(vert, ay, ax));  // NaN only if weak
      const __m128 ur = _mm_loadu_ps(up + j + 1), ul = _mm_loadu_ps(up + j - 1);
      const __m128 dr = _mm_loadu_ps(down + j + 1), dl = _mm_loadu_ps(down + j - 1);
      const __m128 g2 = sel(vert, _mm_loadu_ps(up + j), _mm_loadu_ps(mid + j + 1));
      const __m128 g4 = sel(vert, _mm_loadu_ps(down + j), _mm_loadu_ps(mid + j - 1));
      const __m128 g1 = sel(vert, sel(same, ul, ur), sel(same, dr, ur));
      const __m128 g3 = sel(vert, sel(same, dr, dl), sel(same, ul, dl));
      const __m128 g = _mm_loadu_ps(mid + j), w = _mm_sub_ps(one, xx);
      const __m128 s1 = _mm_add_ps(_mm_mul_ps(xx, g1), _mm_mul_ps(w, g2));
      const __m128 s3 = _mm_add_ps(_mm_mul_ps(xx, g3), _mm_mul_ps(w, g4));
      const __m128 keep = _mm_andnot_ps(weak, _mm_and_ps(_mm_cmpgt_ps(g, s1), _mm_cmpgt_ps(g, s3)));
      // The bytes as byteOf gives them: g * 20 in double (exact), capped at 255, truncated.
      const __m128d cap = _mm_set1_pd(255.0), scale = _mm_set1_pd(kMagScale);
      const __m128d lo2 = _mm_min_pd(_mm_mul_pd(_mm_cvtps_pd(g), scale), cap);
      const __m128d hi2 = _mm_min_pd(_mm_mul_pd(_mm_cvtps_pd(_mm_movehl_ps(g, g)), scale), cap);
      const __m128i ints = _mm_unpacklo_epi64(_mm_cvttpd_epi32(lo2), _mm_cvttpd_epi32(hi2));
      const __m128i kept = _mm_and_si128(ints, _mm_castps_si128(keep));
      const __m128i bytes = _mm_packus_epi16(_mm_packs_epi32(kept, kept), kept);
      const int four = _mm_cvtsi128_si32(bytes);
      std::memcpy(m + j, &four, 4);
    }
#endif
    for (; j < nc - 1; ++j) {
      const float xc = dxr[j], yc = dyr[j];
      const float ax = std::fabs(xc), ay = std::fabs(yc);
      const bool weak = ax < weakBelow && ay < weakBelow;
      const bool vert = ay > ax;
      const bool same = xc * yc > 0.0f;
      const float xx = weak ? 0.0f : (vert ? ax : ay) / (vert ? ay : ax);
      const float ur = up[j + 1], ul = up[j - 1], dr = down[j + 1], dl = down[j - 1];
      const float g2 = vert ? up[j] : mid[j + 1];
      const float g4 = vert ? down[j] : mid[j - 1];
      const float g1 = vert ? (same ? ul : ur) : (same ? dr : ur);
      const float g3 = vert ? (same ? dr : dl) : (same ? ul : dl);
      const float g = mid[j], w = 1.0f - xx;
      const bool keep = !weak && g > xx * g1 + w * g2 && g > xx * g3 + w * g4;
      m[j] = keep ? byteOf(g) : 0;
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
  // Fewer pixels than the target in the whole histogram: every level counts, high is 0.
  hi = std::max(k, 0);
  low = static_cast<int>((hi + m) * 0.5 + 0.5);
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
