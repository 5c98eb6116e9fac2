// The Canny stages of CEdgeDetect: Gaussian taps, smoothing and derivatives, non-maximum
// suppression, threshold estimation and hysteresis.
//
// canny() runs the smoothing, the derivatives, the magnitude and the suppression fused, one row
// at a time (edge_internal::CannyMagnitudes), so that no float raster of the picture's size is
// made and the rows stay in cache. The whole-raster stages below (seperable_convolution,
// dxy_seperable_convolution, nonmax_suppress) are the same computation written plainly, one
// stage over the whole picture at a time; the fused kernel gives exactly their bytes.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "plexa/raster/edgedetect.h"
#include "plexa/raster/internal/edgestages.h"

using edge_internal::Wrap;

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
  for (int i = 0; i < nr; ++i)
    for (int j = 0; j < nc; ++j) {
      float x = gau[0] * im[i][j], y = gau[0] * im[i][j];
      for (int k = 1; k < width; ++k) {
        x += gau[k] * im[i][Wrap(j + k, nc)] + gau[k] * im[i][Wrap(j - k, nc)];
        y += gau[k] * im[Wrap(i + k, nr)][j] + gau[k] * im[Wrap(i - k, nr)][j];
      }
      smx[i][j] = x;
      smy[i][j] = y;
    }
}

void CEdgeDetect::dxy_seperable_convolution(const fimage& im, const float* gau, int width,
                                            fimage& sm, int which) {
  const int nr = im.nr, nc = im.nc;
  for (int i = 0; i < nr; ++i)
    for (int j = 0; j < nc; ++j) {
      float x = 0.0f;
      for (int k = 1; k < width; ++k)
        x += which != 0 ? -gau[k] * im[i][Wrap(j + k, nc)] + gau[k] * im[i][Wrap(j - k, nc)]
                        : -gau[k] * im[Wrap(i + k, nr)][j] + gau[k] * im[Wrap(i - k, nr)][j];
      sm[i][j] = x;
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
  // The orientation raster is allocated with the magnitude but not filled: nothing reads it.
  (void)ori;
  if (im.nr <= 0 || im.nc <= 0 || mag.nr != im.nr || mag.nc != im.nc) return;
  fimage scratch =
      f2d(edge_internal::CannyScratchRows(width), edge_internal::CannyScratchColumns(im.nc, width));
  std::vector<float*> rows(static_cast<std::size_t>(scratch.nr));
  for (int r = 0; r < scratch.nr; ++r) rows[static_cast<std::size_t>(r)] = scratch[r];
  edge_internal::CannyMagnitudes(im[0], im.nr, im.nc, {gau, dgau, width}, rows.data(), mag[0]);
}

void CEdgeDetect::nonmax_suppress(const fimage& dx, const fimage& dy, const fimage& norm,
                                  image& mag, image& ori) {
  // Between the two nearest of the eight neighbours along the gradient and against it,
  // interpolated by xx = min(|xc|, |yc|) / max(|xc|, |yc|); kept only when the magnitude beats
  // both sides strictly, as the byte of 20 x magnitude capped at 255. The outermost rows and
  // columns are left as they are.
  (void)ori;
  for (int i = 1; i < mag.nr - 1; ++i)
    for (int j = 1; j < mag.nc - 1; ++j) {
      const float xc = dx[i][j], yc = dy[i][j];
      mag[i][j] = 0;
      if (std::fabs(xc) < kMinGradient && std::fabs(yc) < kMinGradient) continue;
      const float g = norm[i][j];
      float g1, g2, g3, g4, xx;
      if (std::fabs(yc) > std::fabs(xc)) {  // mostly vertical
        xx = std::fabs(xc) / std::fabs(yc);
        g2 = norm[i - 1][j];
        g4 = norm[i + 1][j];
        g1 = xc * yc > 0.0f ? norm[i - 1][j - 1] : norm[i - 1][j + 1];
        g3 = xc * yc > 0.0f ? norm[i + 1][j + 1] : norm[i + 1][j - 1];
      } else {
        xx = std::fabs(yc) / std::fabs(xc);
        g2 = norm[i][j + 1];
        g4 = norm[i][j - 1];
        g1 = xc * yc > 0.0f ? norm[i + 1][j + 1] : norm[i - 1][j + 1];
        g3 = xc * yc > 0.0f ? norm[i - 1][j - 1] : norm[i + 1][j - 1];
      }
      if (g > xx * g1 + (1 - xx) * g2 && g > xx * g3 + (1 - xx) * g4)
        mag[i][j] = g * kMagScale <= 255 ? static_cast<unsigned char>(g * kMagScale) : 255;
    }
}

bool CEdgeDetect::range(const image& im, int i, int j) {
  return i >= 0 && i < im.nr && j >= 0 && j < im.nc;
}

void CEdgeDetect::estimate_thresh(const image& mag, int& hi, int& low) const {
  const auto target = static_cast<std::int64_t>(kHighShare * std::max(mag.nr, mag.nc));
  // Photographs have plenty of pixels at the cap: when level 255 alone reaches the target, high
  // is 255 and only the lowest level is still needed, both found without the histogram.
  std::int64_t capped = 0;
  int lowest = 255;
  bool any = false;
  for (int i = m_border; i < mag.nr - m_border; ++i) {
    const unsigned char* row = mag[i];
    int j = m_border;
    const int end = mag.nc - m_border;
    any = any || j < end;
#if defined(__SSE2__)
    const __m128i full = _mm_set1_epi8(static_cast<char>(0xFF)), one = _mm_set1_epi8(1);
    __m128i count = _mm_setzero_si128(), least = full;
    for (; j + 16 <= end; j += 16) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + j));
      count = _mm_add_epi64(
          count, _mm_sad_epu8(_mm_and_si128(_mm_cmpeq_epi8(v, full), one), _mm_setzero_si128()));
      least = _mm_min_epu8(least, v);
    }
    capped += _mm_cvtsi128_si32(count) + _mm_cvtsi128_si32(_mm_srli_si128(count, 8));
    alignas(16) unsigned char lanes[16];
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes), least);
    for (unsigned char v : lanes) lowest = std::min(lowest, static_cast<int>(v));
#endif
    for (; j < end; ++j) {
      capped += row[j] == 255;
      lowest = std::min(lowest, static_cast<int>(row[j]));
    }
  }
  if (any && capped >= target) {
    hi = 255;
    low = static_cast<int>((hi + lowest) * 0.5 + 0.5);
    return;
  }
  // Four histograms taken in turn, so that runs of one level do not wait on one counter; they
  // are added up before any of their counters could overflow.
  std::int64_t hist[256] = {};
  std::vector<std::uint32_t> part(4 * 256);
  std::int64_t pending = 0;
  auto flush = [&] {
    for (int k = 0; k < 4 * 256; ++k) hist[k % 256] += std::exchange(part[k], 0);
    pending = 0;
  };
  const int end = mag.nc - m_border;
  for (int i = m_border; i < mag.nr - m_border; ++i) {
    if (pending + end > std::int64_t{1} << 31) flush();
    pending += end;
    const unsigned char* row = mag[i];
    int j = m_border;
#if defined(__SSE2__)
    // Mostly zeros: sixteen bytes at a time, the zeros counted at once.
    for (; j + 16 <= end; j += 16) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + j));
      auto nonzero =
          static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128())) ^ 0xFFFF);
      unsigned counted = 0;
      for (; nonzero != 0; nonzero &= nonzero - 1, ++counted)
        ++part[static_cast<std::size_t>(256 * (counted & 3) + row[j + __builtin_ctz(nonzero)])];
      part[0] += 16 - counted;
    }
#endif
    for (; j + 4 <= end; j += 4) {
      ++part[row[j]];
      ++part[256 + row[j + 1]];
      ++part[512 + row[j + 2]];
      ++part[768 + row[j + 3]];
    }
    for (; j < end; ++j) ++hist[row[j]];
  }
  flush();
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
  // The neighbours in the order they are tried: the row above, the same row, the row below,
  // each from left to right (the pixel itself is marked, so never taken).
  constexpr int kRow[8] = {-1, -1, -1, 0, 0, 1, 1, 1}, kCol[8] = {-1, 0, 1, -1, 1, -1, 0, 1};
  const std::ptrdiff_t nc = mag.nc;
  std::ptrdiff_t offset[8];
  for (int k = 0; k < 8; ++k) offset[k] = kRow[k] * nc + kCol[k];
  const bool same = im.nr == mag.nr && im.nc == mag.nc;
  // Each step marks a new pixel, so the walk ends within rows x columns steps.
  for (;;) {
    if (same && i >= 1 && i < mag.nr - 1 && j >= 1 && j < mag.nc - 1) {  // inside: no checks
      const std::ptrdiff_t at = i * nc + j;
      const unsigned char* m = mag.pixels.data() + at;
      unsigned char* done = im.pixels.data() + at;
      int k = 0;
      while (k < 8 && !(m[offset[k]] >= low && done[offset[k]] == 0)) ++k;
      if (k == 8) return true;
      done[offset[k]] = 255;
      i += kRow[k];
      j += kCol[k];
      continue;
    }
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
  const int nc = im.nc;
  for (int i = 0; i < im.nr; ++i) {
    const unsigned char* row = mag[i];
    int j = 0;
#if defined(__SSE2__)
    // Sixteen pixels at a time, skipping those below high (a level of 0 to 255).
    if (high > 0 && high <= 255) {
      const __m128i h = _mm_set1_epi8(static_cast<char>(high));
      for (; j + 16 <= nc; j += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + j));
        auto bits = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_max_epu8(v, h), v)));
        for (; bits != 0; bits &= bits - 1) trace(i, j + __builtin_ctz(bits), low, im, mag, ori);
      }
    }
#endif
    for (; j < nc; ++j)
      if (row[j] >= high) trace(i, j, low, im, mag, ori);
  }
  for (unsigned char& v : im.pixels) v = v == 0 ? 255 : 0;
}
