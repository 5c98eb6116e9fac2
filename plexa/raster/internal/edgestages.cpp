// The edge detector's shared helpers and its row-streaming Canny gradient kernel.
//
// The kernel computes, one row at a time, exactly what the whole-raster stages of
// edgedetect_canny.cpp compute (same single-precision operations, each pixel's terms summed in
// the same order, no fused multiply-add), so the bytes are identical; it only keeps the rows
// it still needs: the grey and smoothed-along-y rows of the taps' reach, and three rows of
// gradients for the suppression. Four pixels at a time with SSE2 (part of every x86-64), eight
// with AVX2 when the processor has it (chosen at run time; building with PLEXA_EDGE_NO_AVX2
// leaves it out, to check the four-at-a-time forms alone), a plain loop elsewhere and for the
// last pixels of a row.
#include "plexa/raster/internal/edgestages.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#if defined(__SSE2__)
#include <immintrin.h>
#endif
#if defined(__SSE2__) && defined(__x86_64__) && defined(__GNUC__) && !defined(PLEXA_EDGE_NO_AVX2)
#include <cpuid.h>
#endif

namespace edge_internal {

void OutOfStorage(const char* text) {
  std::fputs(text, stderr);
  std::fflush(stderr);
  std::exit(1);
}

namespace {

// Gradient magnitudes are stored as bytes times this factor (capped at 255 inside).
constexpr double kMagScale = 20.0;
// Gradients with both components below this are no edge candidates.
constexpr double kMinGradient = 0.01;
// Most taps (the kernel keeps at most 20).
constexpr int kTaps = 20;

// The smallest float whose double value is not below kMinGradient: a float component is
// below kMinGradient (compared in double) exactly when it is below this.
float WeakBelow() {
  float f = static_cast<float>(kMinGradient);
  if (static_cast<double>(f) < kMinGradient) f = std::nextafter(f, 1.0f);
  return f;
}

#if defined(__SSE2__)
inline __m128 Load4(const unsigned char* p) {
  int w;
  std::memcpy(&w, p, 4);
  const __m128i zero = _mm_setzero_si128();
  const __m128i bytes = _mm_cvtsi32_si128(w);
  return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpacklo_epi8(bytes, zero), zero));
}
#endif

// One row of a symmetric convolution: out[j] = c0 * first[j] (0 when first is null), then for
// k = 1 .. taps - 1: out[j] += cp[k] * p[k][j] + cq[k] * q[k][j], for j in j0 .. n - 1.
void Combine(float* out, int n, const float* first, float c0, const float* const* p,
             const float* cp, const float* const* q, const float* cq, int taps, int j0 = 0) {
  int j = j0;
#if defined(__SSE2__)
  __m128 vp[kTaps], vq[kTaps];
  for (int k = 1; k < taps; ++k) {
    vp[k] = _mm_set1_ps(cp[k]);
    vq[k] = _mm_set1_ps(cq[k]);
  }
  const __m128 v0 = _mm_set1_ps(c0);
  for (; j + 4 <= n; j += 4) {
    __m128 acc = first != nullptr ? _mm_mul_ps(v0, _mm_loadu_ps(first + j)) : _mm_setzero_ps();
    for (int k = 1; k < taps; ++k)
      acc = _mm_add_ps(acc, _mm_add_ps(_mm_mul_ps(vp[k], _mm_loadu_ps(p[k] + j)),
                                       _mm_mul_ps(vq[k], _mm_loadu_ps(q[k] + j))));
    _mm_storeu_ps(out + j, acc);
  }
#endif
  for (; j < n; ++j) {
    float acc = first != nullptr ? c0 * first[j] : 0.0f;
    for (int k = 1; k < taps; ++k) acc += cp[k] * p[k][j] + cq[k] * q[k][j];
    out[j] = acc;
  }
}

// The suppression of the pixels 1 .. nc - 2 of one row: with xx = min(|xc|, |yc|) / max(|xc|,
// |yc|), mostly vertical (|yc| > |xc|): g2 above, g4 below, g1, g3 the diagonal pair of the
// gradient's sign (xc * yc > 0: upper left and lower right, else upper right and lower left);
// mostly horizontal: g2 right, g4 left, g1 lower right and g3 upper left when the signs agree,
// else g1 upper right and g3 lower left. Kept: g > xx g1 + (1 - xx) g2 and
// g > xx g3 + (1 - xx) g4 (strict on both sides), as the byte of 20 g capped at 255.
void SuppressRow(const float* up, const float* mid, const float* down, const float* dxr,
                 const float* dyr, int nc, float weakBelow, unsigned char* m, int j0 = 1) {
  int j = j0;
#if defined(__SSE2__)
  const __m128 absMask = _mm_castsi128_ps(_mm_set1_epi32(0x7fffffff));
  const __m128 weakT = _mm_set1_ps(weakBelow), zero = _mm_setzero_ps(), one = _mm_set1_ps(1);
  const __m128d cap = _mm_set1_pd(255.0), scale = _mm_set1_pd(kMagScale);
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
    // g * 20 in double (exact), capped at 255, truncated.
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
    const double scaled = g * kMagScale;
    m[j] = !keep ? 0 : scaled <= 255 ? static_cast<unsigned char>(scaled) : 255;
  }
}

// out[j] = bytes[j] for j in 0 .. n - 1.
void ToFloats(const unsigned char* bytes, int n, float* out) {
  int j = 0;
#if defined(__SSE2__)
  for (; j + 4 <= n; j += 4) _mm_storeu_ps(out + j, Load4(bytes + j));
#endif
  for (; j < n; ++j) out[j] = static_cast<float>(bytes[j]);
}

// n[j] = sqrt(x[j]^2 + y[j]^2) (correctly rounded in both forms).
void NormRow(const float* x, const float* y, int nc, float* n, int j0 = 0) {
  int j = j0;
#if defined(__SSE2__)
  for (; j + 4 <= nc; j += 4) {
    const __m128 a = _mm_loadu_ps(x + j), b = _mm_loadu_ps(y + j);
    _mm_storeu_ps(n + j, _mm_sqrt_ps(_mm_add_ps(_mm_mul_ps(a, a), _mm_mul_ps(b, b))));
  }
#endif
  for (; j < nc; ++j) n[j] = std::sqrt(x[j] * x[j] + y[j] * y[j]);
}

#if defined(__SSE2__) && defined(__x86_64__) && defined(__GNUC__) && !defined(PLEXA_EDGE_NO_AVX2)
#define PLEXA_EDGE_AVX2 1
// Whether the processor has AVX2 and the operating system saves the YMM registers: asked on
// the first call only, never at start-up (cpuid can trap to a hypervisor, costing tens of
// microseconds that every short-lived process would otherwise pay).
bool HasAvx2() {
  static const bool has = [] {
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (!__get_cpuid(1, &a, &b, &c, &d) || !(c & bit_OSXSAVE) || !(c & bit_AVX)) return false;
    unsigned lo = 0, hi = 0;
    __asm__("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
    constexpr unsigned kXmmYmm = 6;  // the SSE and AVX state bits
    if ((lo & kXmmYmm) != kXmmYmm) return false;
    return __get_cpuid_count(7, 0, &a, &b, &c, &d) && (b & bit_AVX2) != 0;
  }();
  return has;
}
// The same row operations eight pixels at a time, for processors with AVX2 (chosen at run time;
// the library itself is built for every x86-64), leaving the last pixels of a row to the forms
// above. The same IEEE single-precision operations, so the same values.
// Taps 2 to 4 (the kernels of details 0..1) unrolled, others looped.
template <int kFixed>
__attribute__((target("avx2"))) int CombineAvx2Taps(float* out, int n, const float* first, float c0,
                                                    const float* const* p, const float* cp,
                                                    const float* const* q, const float* cq,
                                                    int taps) {
  const int count = kFixed > 0 ? kFixed : taps;
  __m256 vp[kTaps], vq[kTaps];
  const float* pk[kTaps];
  const float* qk[kTaps];
  for (int k = 1; k < count; ++k) {
    vp[k] = _mm256_set1_ps(cp[k]);
    vq[k] = _mm256_set1_ps(cq[k]);
    pk[k] = p[k];
    qk[k] = q[k];
  }
  const __m256 v0 = _mm256_set1_ps(c0);
  int j = 0;
  for (; j + 8 <= n; j += 8) {
    __m256 acc =
        first != nullptr ? _mm256_mul_ps(v0, _mm256_loadu_ps(first + j)) : _mm256_setzero_ps();
    for (int k = 1; k < count; ++k)
      acc = _mm256_add_ps(acc, _mm256_add_ps(_mm256_mul_ps(vp[k], _mm256_loadu_ps(pk[k] + j)),
                                             _mm256_mul_ps(vq[k], _mm256_loadu_ps(qk[k] + j))));
    _mm256_storeu_ps(out + j, acc);
  }
  return j;
}

__attribute__((target("avx2"))) void CombineAvx2(float* out, int n, const float* first, float c0,
                                                 const float* const* p, const float* cp,
                                                 const float* const* q, const float* cq, int taps) {
  int j = 0;
  switch (taps) {
    case 2:
      j = CombineAvx2Taps<2>(out, n, first, c0, p, cp, q, cq, taps);
      break;
    case 3:
      j = CombineAvx2Taps<3>(out, n, first, c0, p, cp, q, cq, taps);
      break;
    case 4:
      j = CombineAvx2Taps<4>(out, n, first, c0, p, cp, q, cq, taps);
      break;
    default:
      j = CombineAvx2Taps<0>(out, n, first, c0, p, cp, q, cq, taps);
  }
  Combine(out, n, first, c0, p, cp, q, cq, taps, j);
}

__attribute__((target("avx2"))) void NormRowAvx2(const float* x, const float* y, int nc, float* n) {
  int j = 0;
  for (; j + 8 <= nc; j += 8) {
    const __m256 a = _mm256_loadu_ps(x + j), b = _mm256_loadu_ps(y + j);
    _mm256_storeu_ps(n + j,
                     _mm256_sqrt_ps(_mm256_add_ps(_mm256_mul_ps(a, a), _mm256_mul_ps(b, b))));
  }
  NormRow(x, y, nc, n, j);
}

__attribute__((target("avx2"))) void SuppressRowAvx2(const float* up, const float* mid,
                                                     const float* down, const float* dxr,
                                                     const float* dyr, int nc, float weakBelow,
                                                     unsigned char* m) {
  const __m256 absMask = _mm256_castsi256_ps(_mm256_set1_epi32(0x7fffffff));
  const __m256 weakT = _mm256_set1_ps(weakBelow), zero = _mm256_setzero_ps();
  const __m256 one = _mm256_set1_ps(1);
  const __m256d cap = _mm256_set1_pd(255.0), scale = _mm256_set1_pd(kMagScale);
  int j = 1;
  for (; j + 8 <= nc - 1; j += 8) {
    const __m256 xc = _mm256_loadu_ps(dxr + j), yc = _mm256_loadu_ps(dyr + j);
    const __m256 ax = _mm256_and_ps(xc, absMask), ay = _mm256_and_ps(yc, absMask);
    const __m256 weak =
        _mm256_and_ps(_mm256_cmp_ps(ax, weakT, _CMP_LT_OQ), _mm256_cmp_ps(ay, weakT, _CMP_LT_OQ));
    const __m256 vert = _mm256_cmp_ps(ay, ax, _CMP_GT_OQ);
    const __m256 same = _mm256_cmp_ps(_mm256_mul_ps(xc, yc), zero, _CMP_GT_OQ);
    const __m256 xx = _mm256_div_ps(_mm256_blendv_ps(ay, ax, vert), _mm256_blendv_ps(ax, ay, vert));
    const __m256 ur = _mm256_loadu_ps(up + j + 1), ul = _mm256_loadu_ps(up + j - 1);
    const __m256 dr = _mm256_loadu_ps(down + j + 1), dl = _mm256_loadu_ps(down + j - 1);
    const __m256 g2 = _mm256_blendv_ps(_mm256_loadu_ps(mid + j + 1), _mm256_loadu_ps(up + j), vert);
    const __m256 g4 =
        _mm256_blendv_ps(_mm256_loadu_ps(mid + j - 1), _mm256_loadu_ps(down + j), vert);
    const __m256 g1 =
        _mm256_blendv_ps(_mm256_blendv_ps(ur, dr, same), _mm256_blendv_ps(ur, ul, same), vert);
    const __m256 g3 =
        _mm256_blendv_ps(_mm256_blendv_ps(dl, ul, same), _mm256_blendv_ps(dl, dr, same), vert);
    const __m256 g = _mm256_loadu_ps(mid + j), w = _mm256_sub_ps(one, xx);
    const __m256 s1 = _mm256_add_ps(_mm256_mul_ps(xx, g1), _mm256_mul_ps(w, g2));
    const __m256 s3 = _mm256_add_ps(_mm256_mul_ps(xx, g3), _mm256_mul_ps(w, g4));
    const __m256 keep = _mm256_andnot_ps(
        weak, _mm256_and_ps(_mm256_cmp_ps(g, s1, _CMP_GT_OQ), _mm256_cmp_ps(g, s3, _CMP_GT_OQ)));
    const __m128i lo = _mm256_cvttpd_epi32(
        _mm256_min_pd(_mm256_mul_pd(_mm256_cvtps_pd(_mm256_castps256_ps128(g)), scale), cap));
    const __m128i hi = _mm256_cvttpd_epi32(
        _mm256_min_pd(_mm256_mul_pd(_mm256_cvtps_pd(_mm256_extractf128_ps(g, 1)), scale), cap));
    const __m128i keptLo = _mm_and_si128(lo, _mm_castps_si128(_mm256_castps256_ps128(keep)));
    const __m128i keptHi = _mm_and_si128(hi, _mm_castps_si128(_mm256_extractf128_ps(keep, 1)));
    const __m128i words = _mm_packs_epi32(keptLo, keptHi);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(m + j), _mm_packus_epi16(words, words));
  }
  SuppressRow(up, mid, down, dxr, dyr, nc, weakBelow, m, j);
}

// GreyOf of the pixels at bgra, eight at a time while eight remain; returns how many were done.
__attribute__((target("avx2"))) int GreyRowAvx2(const unsigned char* bgra, int n,
                                                unsigned char* out, const unsigned char* next) {
  const __m256i low = _mm256_set1_epi32(0xFF);
  const __m256d wr = _mm256_set1_pd(0.3), wg = _mm256_set1_pd(0.59), wb = _mm256_set1_pd(0.11);
  int x = 0;
  for (; x + 8 <= n; x += 8) {
    if (next != nullptr && x % 16 == 0) _mm_prefetch(next + 4 * x, _MM_HINT_T0);
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bgra + 4 * x));
    const __m256i b = _mm256_and_si256(v, low), g = _mm256_and_si256(_mm256_srli_epi32(v, 8), low),
                  r = _mm256_and_si256(_mm256_srli_epi32(v, 16), low);
    __m128i q[2];
    for (int h = 0; h < 2; ++h) {
      const __m128i rh = h == 0 ? _mm256_castsi256_si128(r) : _mm256_extracti128_si256(r, 1);
      const __m128i gh = h == 0 ? _mm256_castsi256_si128(g) : _mm256_extracti128_si256(g, 1);
      const __m128i bh = h == 0 ? _mm256_castsi256_si128(b) : _mm256_extracti128_si256(b, 1);
      q[h] = _mm256_cvttpd_epi32(
          _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(_mm256_cvtepi32_pd(rh), wr),
                                      _mm256_mul_pd(_mm256_cvtepi32_pd(gh), wg)),
                        _mm256_mul_pd(_mm256_cvtepi32_pd(bh), wb)));
    }
    const __m128i words = _mm_packs_epi32(q[0], q[1]);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + x), _mm_packus_epi16(words, words));
  }
  return x;
}
#endif

// The grey weights' products as doubles (the same doubles the multiplications give), worked
// out by the compiler: read-only data, nothing to compute or write when the program starts.
struct GreyTables {
  double r[256], g[256], b[256];
  constexpr GreyTables() : r{}, g{}, b{} {
    for (int i = 0; i < 256; ++i) {
      r[i] = 0.3 * i;
      g[i] = 0.59 * i;
      b[i] = 0.11 * i;
    }
  }
};
constexpr GreyTables kGrey;

}  // namespace

unsigned char GreyOf(const unsigned char* bgra) {
  return static_cast<unsigned char>(kGrey.r[bgra[2]] + kGrey.g[bgra[1]] + kGrey.b[bgra[0]]);
}

void GreyRow(const unsigned char* bgra, int n, unsigned char* out, const unsigned char* next) {
  // The same double operations as GreyOf (products rounded, added red + green, then + blue),
  // several pixels at a time.
  int x = 0;
#if defined(PLEXA_EDGE_AVX2)
  if (HasAvx2()) x = GreyRowAvx2(bgra, n, out, next);
#endif
#if defined(__SSE2__)
  const __m128i low = _mm_set1_epi32(0xFF);
  const __m128d wr = _mm_set1_pd(0.3), wg = _mm_set1_pd(0.59), wb = _mm_set1_pd(0.11);
  auto two = [&](__m128i r, __m128i g, __m128i b) {  // the low two lanes
    return _mm_cvttpd_epi32(_mm_add_pd(
        _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(r), wr), _mm_mul_pd(_mm_cvtepi32_pd(g), wg)),
        _mm_mul_pd(_mm_cvtepi32_pd(b), wb)));
  };
  for (; x + 4 <= n; x += 4) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bgra + 4 * x));
    const __m128i b = _mm_and_si128(v, low), g = _mm_and_si128(_mm_srli_epi32(v, 8), low),
                  r = _mm_and_si128(_mm_srli_epi32(v, 16), low);
    const __m128i lo = two(r, g, b);
    const __m128i hi = two(_mm_srli_si128(r, 8), _mm_srli_si128(g, 8), _mm_srli_si128(b, 8));
    const __m128i q = _mm_unpacklo_epi64(lo, hi);
    const int four = _mm_cvtsi128_si32(_mm_packus_epi16(_mm_packs_epi32(q, q), q));
    std::memcpy(out + x, &four, 4);
  }
#endif
  for (; x < n; ++x) out[x] = GreyOf(bgra + 4 * x);
}

int CannyScratchRows(int width) {
  const int reach = std::max(width - 1, 0);
  // Rings of smoothed-along-y rows and of grey rows as floats, pad and smx, dx dy norm rings.
  return 2 * (2 * reach + 1) + 2 + 3 * 3;
}

int CannyScratchColumns(int nc, int width) {
  const std::int64_t columns = std::int64_t{nc} + 4 * std::max(width - 1, 0);
  return columns <= INT_MAX ? static_cast<int>(columns) : -1;
}

void CannyMagnitudes(const unsigned char* grey, int nr, int nc, const CannyTaps& taps,
                     float* const* scratch, unsigned char* mag) {
  const int width = std::clamp(taps.width, 0, kTaps);
  const int reach = std::max(width - 1, 0), ring = 2 * reach + 1;
  float cp[kTaps] = {}, cq[kTaps] = {}, dp[kTaps] = {}, dq[kTaps] = {};
  for (int k = 1; k < width; ++k) {
    cp[k] = cq[k] = taps.gau[k];
    dp[k] = -taps.dgau[k];
    dq[k] = taps.dgau[k];
  }
  const float g0 = taps.gau[0], weakBelow = WeakBelow();
#if defined(PLEXA_EDGE_AVX2)
  const bool wide = HasAvx2();
#endif
  auto combine = [&](float* out, int n, const float* first, const float* const* a, const float* ca,
                     const float* const* b, const float* cb) {
#if defined(PLEXA_EDGE_AVX2)
    if (wide) return CombineAvx2(out, n, first, g0, a, ca, b, cb, width);
#endif
    Combine(out, n, first, g0, a, ca, b, cb, width);
  };
  float* pad = scratch[0];
  float* smx = scratch[1];
  float* const* smy = scratch + 2;
  float* const* dxs = scratch + 2 + ring;
  float* const* dys = dxs + 3;
  float* const* norms = dys + 3;
  float* const* gf = norms + 3;  // grey rows as floats, a ring of logical rows
  auto row = [&](int r) { return grey + static_cast<std::size_t>(Wrap(r, nr)) * nc; };
  int converted = -2 * reach;      // the next logical row to convert
  auto convertUpTo = [&](int r) {  // the grey rows up to logical row r as floats
    for (; converted <= r; ++converted) ToFloats(row(converted), nc, gf[Wrap(converted, ring)]);
  };
  const float* fp[kTaps] = {};
  const float* fq[kTaps] = {};
  auto smoothY = [&](int r) {  // the smoothed-along-y row of logical row r into its ring slot
    convertUpTo(r + reach);
    const float* centre = gf[Wrap(r, ring)];
    for (int k = 1; k < width; ++k) {
      fp[k] = gf[Wrap(r + k, ring)];
      fq[k] = gf[Wrap(r - k, ring)];
    }
    combine(smy[Wrap(r, ring)], nc, centre, fp, cp, fq, cq);
  };
  for (int r = -reach; r < reach; ++r) smoothY(r);
  for (int t = 0; t < nr; ++t) {
    smoothY(t + reach);
    // Along x: the row with 2 x reach wrap-around values on each side, smoothed over the row and
    // reach values on each side, then differentiated.
    const float* g = gf[Wrap(t, ring)];
    std::memcpy(pad + 2 * reach, g, static_cast<std::size_t>(nc) * sizeof(float));
    for (int j = 1; j <= 2 * reach; ++j) {
      pad[2 * reach - j] = g[Wrap(-j, nc)];
      pad[2 * reach + nc - 1 + j] = g[Wrap(nc - 1 + j, nc)];
    }
    const float* p = pad + 2 * reach;
    for (int k = 1; k < width; ++k) {
      fp[k] = p - reach + k;
      fq[k] = p - reach - k;
    }
    combine(smx, nc + 2 * reach, p - reach, fp, cp, fq, cq);
    const float* s = smx + reach;
    for (int k = 1; k < width; ++k) {
      fp[k] = s + k;
      fq[k] = s - k;
    }
    float* dx = dxs[t % 3];
    combine(dx, nc, nullptr, fp, dp, fq, dq);
    // Along y, from the ring.
    for (int k = 1; k < width; ++k) {
      fp[k] = smy[Wrap(t + k, ring)];
      fq[k] = smy[Wrap(t - k, ring)];
    }
    float* dy = dys[t % 3];
    combine(dy, nc, nullptr, fp, dp, fq, dq);
    float* n = norms[t % 3];
#if defined(PLEXA_EDGE_AVX2)
    if (wide)
      NormRowAvx2(dx, dy, nc, n);
    else
#endif
      NormRow(dx, dy, nc, n);
    unsigned char* m = mag + static_cast<std::size_t>(t) * nc;
    if (t == 0 || t == nr - 1) {
      for (int j = 0; j < nc; ++j) m[j] = WrapToByte(n[j] * kMagScale);
    } else {
      m[0] = WrapToByte(n[0] * kMagScale);
      m[nc - 1] = WrapToByte(n[nc - 1] * kMagScale);
    }
    if (t >= 2) {
      const int i = t - 1;
      unsigned char* out = mag + static_cast<std::size_t>(i) * nc;
#if defined(PLEXA_EDGE_AVX2)
      if (wide) {
        SuppressRowAvx2(norms[(i + 2) % 3], norms[i % 3], n, dxs[i % 3], dys[i % 3], nc, weakBelow,
                        out);
        continue;
      }
#endif
      SuppressRow(norms[(i + 2) % 3], norms[i % 3], n, dxs[i % 3], dys[i % 3], nc, weakBelow, out);
    }
  }
}

}  // namespace edge_internal
