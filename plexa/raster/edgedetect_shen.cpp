// The ISEF stages of CEdgeDetect (Shen and Castan's infinite symmetric exponential filter):
// embedding, recursive smoothing, band-limited Laplacian, zero crossings weighted by the
// adaptive gradient, and hysteresis over connected chains.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "plexa/raster/edgedetect.h"
#include "plexa/raster/internal/edgestages.h"

using edge_internal::Wrap;

namespace {

constexpr int kFrame = kEdgeIsefFrame;

// Whether (row, col) lies in the frame around the embedded picture.
inline bool InFrame(int row, int col, int nr, int nc) {
  return row < kFrame || row >= nr - kFrame || col < kFrame || col >= nc - kFrame;
}

}  // namespace

void CEdgeDetect::embed(image& im, int width) {
  image out;
  width = std::max(width, 0);
  if (im.nr <= 0 || im.nc <= 0 ||
      !newimage(im.nr + 2 * width, im.nc + 2 * width, out)) {  // no picture: nothing to embed
    freeimage(im);
    return;
  }
  for (int i = 0; i < out.nr; ++i) {
    const unsigned char* src = im[Wrap(i - width, im.nr)];
    unsigned char* dst = out[i];
    for (int j = 0; j < out.nc; ++j) dst[j] = src[Wrap(j - width, im.nc)];
  }
  im = std::move(out);
}

void CEdgeDetect::debed(image& im, int width) {
  image out;
  width = std::max(width, 0);
  if (im.nr - 2 * width <= 0 || im.nc - 2 * width <= 0 ||
      !newimage(im.nr - 2 * width, im.nc - 2 * width, out)) {
    freeimage(im);
    return;
  }
  for (int i = 0; i < out.nr; ++i) std::copy_n(im[i + width] + width, out.nc, out[i]);
  im = std::move(out);
}

void CEdgeDetect::apply_ISEF_vertical(const fimage& x, fimage& y, fimage& A, fimage& B) const {
  const int nr = x.nr, nc = x.nc;
  if (nr <= 0) return;
  const auto b1 = static_cast<float>((1.0 - m_b) / (1.0 + m_b));
  const auto b2 = static_cast<float>(m_b * b1);
  for (int col = 0; col < nc; ++col) {
    A[0][col] = b1 * x[0][col];
    B[nr - 1][col] = b2 * x[nr - 1][col];
  }
  for (int row = 1; row < nr; ++row) {  // causal, downwards
    const float *xr = x[row], *prev = A[row - 1];
    float* a = A[row];
    for (int col = 0; col < nc; ++col) a[col] = static_cast<float>(b1 * xr[col] + m_b * prev[col]);
  }
  for (int row = nr - 2; row >= 0; --row) {  // anti-causal, upwards
    const float *xr = x[row], *next = B[row + 1];
    float* b = B[row];
    for (int col = 0; col < nc; ++col) b[col] = static_cast<float>(b2 * xr[col] + m_b * next[col]);
  }
  for (int row = 0; row < nr - 1; ++row) {
    const float *a = A[row], *b = B[row + 1];
    float* out = y[row];
    for (int col = 0; col < nc; ++col) out[col] = a[col] + b[col];
  }
  std::copy_n(A[nr - 1], nc, y[nr - 1]);
}

void CEdgeDetect::apply_ISEF_horizontal(const fimage& x, fimage& y, fimage& A, fimage& B) const {
  const int nr = x.nr, nc = x.nc;
  if (nc <= 0) return;
  const auto b1 = static_cast<float>((1.0 - m_b) / (1.0 + m_b));
  const auto b2 = static_cast<float>(m_b * b1);
  for (int row = 0; row < nr; ++row) {  // each row on its own: x may be y
    const float* xr = x[row];
    float *a = A[row], *b = B[row];
    a[0] = b1 * xr[0];
    for (int col = 1; col < nc; ++col) a[col] = static_cast<float>(b1 * xr[col] + m_b * a[col - 1]);
    b[nc - 1] = b2 * xr[nc - 1];
    for (int col = nc - 2; col >= 0; --col)
      b[col] = static_cast<float>(b2 * xr[col] + m_b * b[col + 1]);
    float* out = y[row];
    for (int col = 0; col < nc - 1; ++col) out[col] = a[col] + b[col + 1];
    out[nc - 1] = a[nc - 1];
  }
}

void CEdgeDetect::compute_ISEF(const fimage& x, fimage& y) const {
  fimage A = f2d(x.nr, x.nc);  // causal part
  fimage B = f2d(x.nr, x.nc);  // anti-causal part
  apply_ISEF_vertical(x, y, A, B);
  apply_ISEF_horizontal(y, y, A, B);
}

void CEdgeDetect::compute_bli(const fimage& smoothed, const fimage& buffer, image& bli) {
  const int nr = smoothed.nr, nc = smoothed.nc;
  for (int row = kFrame; row < nr - kFrame; ++row) {
    const float *s = smoothed[row], *o = buffer[row];
    unsigned char* out = bli[row];
    for (int col = kFrame; col < nc - kFrame; ++col) out[col] = s[col] - o[col] > 0.0f ? 1 : 0;
  }
}

bool CEdgeDetect::is_candidate_edge(const image& bli, const fimage& smoothed, int row, int col) {
  // A zero crossing of the Laplacian whose sign agrees with the first derivative: a positive
  // crossing (Laplacian from positive to negative) needs a rising slope.
  if (bli[row][col] == 1 && bli[row + 1][col] == 0)
    return smoothed[row + 1][col] - smoothed[row - 1][col] > 0;
  if (bli[row][col] == 1 && bli[row][col + 1] == 0)
    return smoothed[row][col + 1] - smoothed[row][col - 1] > 0;
  if (bli[row][col] == 1 && bli[row - 1][col] == 0)
    return smoothed[row + 1][col] - smoothed[row - 1][col] < 0;
  if (bli[row][col] == 1 && bli[row][col - 1] == 0)
    return smoothed[row][col + 1] - smoothed[row][col - 1] < 0;
  return false;
}

float CEdgeDetect::compute_adaptive_gradient(const image& bli, const fimage& smoothed, int row,
                                             int col) const {
  // The window never leaves the frame, whatever the window size is set to.
  const int half = std::clamp(m_windowSize / 2, 0, kFrame);
  float sumOn = 0, sumOff = 0;
  int numOn = 0, numOff = 0;
  for (int i = -half; i <= half; ++i)
    for (int j = -half; j <= half; ++j) {
      if (bli[row + i][col + j]) {
        sumOn += smoothed[row + i][col + j];
        ++numOn;
      } else {
        sumOff += smoothed[row + i][col + j];
        ++numOff;
      }
    }
  const float avgOff = sumOff != 0 ? sumOff / static_cast<float>(numOff) : 0.0f;
  const float avgOn = sumOn != 0 ? sumOn / static_cast<float>(numOn) : 0.0f;
  return avgOff - avgOn;
}

void CEdgeDetect::locate_zero_crossings(fimage& orig, const fimage& smoothed,
                                        const image& bli) const {
  const int nr = orig.nr, nc = orig.nc;
  for (int row = 0; row < nr; ++row)
    for (int col = 0; col < nc; ++col) {
      if (InFrame(row, col, nr, nc))
        orig[row][col] = 0.0f;
      else if (is_candidate_edge(bli, smoothed, row, col))
        orig[row][col] = compute_adaptive_gradient(bli, smoothed, row, col);
      else
        orig[row][col] = 0.0f;
    }
}

std::int64_t CEdgeDetect::mark_connected(int i, int j, double low, const fimage& lap,
                                         image& edges) {
  // The chain of non-zero Laplacian pixels through (i, j), 8-connected: above the low
  // threshold 1, else 255 (erased afterwards). Every pixel enters the stack once.
  auto enter = [&](int a, int b, std::vector<std::int64_t>& stack) {
    if (a < 0 || a >= edges.nr || b < 0 || b >= edges.nc) return false;
    if (edges[a][b] != 0 || lap[a][b] == 0.0f) return false;
    edges[a][b] = lap[a][b] > low ? 1 : 255;
    stack.push_back(std::int64_t{a} * edges.nc + b);
    return true;
  };
  std::vector<std::int64_t> stack;
  std::int64_t visited = 0;
  if (!enter(i, j, stack)) return 0;
  while (!stack.empty()) {
    const std::int64_t p = stack.back();
    stack.pop_back();
    ++visited;
    const int a = static_cast<int>(p / edges.nc), b = static_cast<int>(p % edges.nc);
    for (int da = -1; da <= 1; ++da)
      for (int db = -1; db <= 1; ++db)
        if (da != 0 || db != 0) enter(a + da, b + db, stack);
  }
  return visited;
}

void CEdgeDetect::threshold_edges(const fimage& in, image& out) const {
  const double high = m_highThresh;
  const double low = m_doHysteresis ? m_lowThresh : high;  // without hysteresis: one threshold
  std::fill(out.pixels.begin(), out.pixels.end(), 0);
  for (int i = kFrame; i < in.nr - kFrame; ++i)
    for (int j = kFrame; j < in.nc - kFrame; ++j)
      if (in[i][j] > high) mark_connected(i, j, low, in, out);
  for (unsigned char& v : out.pixels)
    if (v == 255) v = 0;
}

void CEdgeDetect::shen(const image& im, image& res) {
  const int nr = im.nr, nc = im.nc;
  fimage buffer = f2d(nr, nc);
  for (int i = 0; i < nr; ++i)
    for (int j = 0; j < nc; ++j) buffer[i][j] = static_cast<float>(im[i][j]);
  fimage smoothed = f2d(nr, nc);
  compute_ISEF(buffer, smoothed);
  image bli;
  if (!newimage(nr, nc, bli)) {  // no Laplacian: no edges
    std::fill(res.pixels.begin(), res.pixels.end(), 255);
    return;
  }
  compute_bli(smoothed, buffer, bli);
  locate_zero_crossings(buffer, smoothed, bli);
  free_f2d(smoothed);
  freeimage(bli);
  threshold_edges(buffer, res);
  for (unsigned char& v : res.pixels) v = v > 0 ? 0 : 255;
}
