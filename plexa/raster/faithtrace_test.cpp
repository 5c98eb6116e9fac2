// CFaithfulTrace is judged by rendering its result back (even-odd, pixel centres) and counting
// the pixels that differ from the source, and by counting its regions and holes against a
// flood-fill labelling of the source (foreground 8-connected, background 4-connected, or the
// other way round).
#include "plexa/raster/faithtrace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>
#include <span>
#include <vector>

#include "bench/glyph_paths.h"

namespace {

using Image = std::vector<std::uint8_t>;  // 1 = foreground

struct Result {
  int outlines = 0, holes = 0, diff = 0;
  CFaithfulTrace trace;
  CPolyPolyBezier paths;
};

// Traces a 0/1 image (as grey: foreground black) and renders the result back.
void TraceBack(const Image& img, int w, int h, Result& r, CFaithfulTrace::OPTIONS opt = {}) {
  std::vector<std::uint8_t> grey(img.size());
  for (std::size_t i = 0; i < img.size(); ++i) grey[i] = img[i] ? 0 : 255;
  r.trace = CFaithfulTrace(opt);
  ASSERT_TRUE(r.trace.Trace(grey, w, h, w, r.paths));
  r.outlines = r.trace.OutlineCount();
  r.holes = r.trace.HoleCount();
  std::vector<std::uint8_t> back;
  ASSERT_TRUE(FillPolyPolyEvenOdd(r.paths, w, h, back));
  r.diff = 0;
  for (std::size_t i = 0; i < img.size(); ++i) r.diff += (back[i] != 0) != (img[i] != 0);
}

// Components of pixels equal to `level` (8- or 4-connected); with `inner` only those not
// touching the border.
int Components(const Image& img, int w, int h, int level, bool eight, bool inner) {
  std::vector<int> seen(img.size(), 0), stack;
  int count = 0;
  for (int s = 0; s < w * h; ++s) {
    if (seen[s] || img[s] != level) continue;
    bool border = false;
    seen[s] = 1;
    stack.push_back(s);
    while (!stack.empty()) {
      const int p = stack.back(), x = p % w, y = p / w;
      stack.pop_back();
      border |= x == 0 || y == 0 || x == w - 1 || y == h - 1;
      for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
          const int nx = x + dx, ny = y + dy, q = ny * w + nx;
          if ((dx == 0 && dy == 0) || (!eight && dx != 0 && dy != 0)) continue;
          if (nx < 0 || ny < 0 || nx >= w || ny >= h || seen[q] || img[q] != level) continue;
          seen[q] = 1;
          stack.push_back(q);
        }
    }
    count += inner && border ? 0 : 1;
  }
  return count;
}

// Pixel edges between foreground and background (outside counts as background): the length
// of the boundary, which bounds what smoothing may change.
int BoundaryEdges(const Image& img, int w, int h) {
  auto at = [&](int x, int y) {
    return x >= 0 && y >= 0 && x < w && y < h && img[static_cast<std::size_t>(y) * w + x];
  };
  int n = 0;
  for (int y = -1; y < h; ++y)
    for (int x = -1; x < w; ++x) n += (at(x, y) != at(x + 1, y)) + (at(x, y) != at(x, y + 1));
  return n;
}

double SignedArea(const CBPointArray& p) {
  double a = 0;
  for (INT_PTR k = 0; k + 1 < p.GetSize(); ++k)
    a += p[k].anchor.x * p[k + 1].anchor.y - p[k + 1].anchor.x * p[k].anchor.y;
  return a / 2;
}

Image Draw(int w, int h, const std::function<bool(int, int)>& f) {
  Image img(static_cast<std::size_t>(w) * h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) img[static_cast<std::size_t>(y) * w + x] = f(x, y) ? 1 : 0;
  return img;
}

// Regions, holes and the render-back of generated images with known answers. The bound on
// differing pixels is what smoothing staircases may cost: none on axis-aligned art, one pixel
// in six boundary edges on tight round art (-1 below: radii from 3 pixels up).
TEST(FaithfulTrace, GeneratedImagesRenderBack) {
  auto ring = [](int x, int y) {  // concentric rings 3 px wide, 3 px apart, 5 rings
    const double r = std::hypot(x + 0.5 - 60, y + 0.5 - 60);
    return r < 30 && static_cast<int>(r) % 6 < 3;
  };
  struct Case {
    const char* name;
    int w, h;
    std::function<bool(int, int)> f;
    int outlines, holes, maxDiff;
  } cases[] = {
      {"1x1 set", 1, 1, [](int, int) { return true; }, 1, 0, 0},
      {"1x1 clear", 1, 1, [](int, int) { return false; }, 0, 0, 0},
      {"1xN line", 1, 40, [](int, int) { return true; }, 1, 0, 0},
      {"Nx1 dashes", 41, 1, [](int x, int) { return x % 4 < 2; }, 11, 0, 0},
      {"full frame", 30, 20, [](int, int) { return true; }, 1, 0, 0},
      {"frame with 1-px border", 30, 20,
       [](int x, int y) { return x == 0 || y == 0 || x == 29 || y == 19; }, 1, 1, 0},
      {"dots", 20, 20, [](int x, int y) { return x % 3 == 1 && y % 3 == 1; }, 49, 0, 0},
      {"1-px grid lines", 25, 25, [](int x, int y) { return x % 6 == 0 || y % 6 == 0; }, 1, 16, 0},
      {"checkerboard 12 px", 96, 96, [](int x, int y) { return (x / 12 + y / 12) % 2 == 0; }, 32, 0,
       0},
      {"nested rings (a disc and four rings)", 120, 120, ring, 5, 4, -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Image img = Draw(c.w, c.h, c.f);
    Result r;
    CFaithfulTrace::OPTIONS opt;
    opt.speckle = 0;
    opt.turnPolicy = CFaithfulTrace::TurnPolicy::Background;  // checkerboard squares apart
    TraceBack(img, c.w, c.h, r, opt);
    EXPECT_EQ(r.outlines, c.outlines);
    EXPECT_EQ(r.holes, c.holes);
    EXPECT_LE(r.diff, c.maxDiff >= 0 ? c.maxDiff : BoundaryEdges(img, c.w, c.h) / 6);
    // Orientation and tree: outlines clockwise on screen, holes the other way; a hole's
    // parent is an outline one level up.
    for (int i = 0; i < r.paths.GetSize(); ++i) {
      const CFaithfulTrace::NODE& n = r.trace.Tree()[static_cast<std::size_t>(i)];
      EXPECT_TRUE(r.paths[i].IsPolyBezierClosed());
      EXPECT_EQ(SignedArea(r.paths[i]) > 0, !n.hole) << i;
      if (n.parent >= 0) {
        ASSERT_LT(n.parent, i);
        const auto& p = r.trace.Tree()[static_cast<std::size_t>(n.parent)];
        EXPECT_EQ(p.hole, !n.hole);
        EXPECT_EQ(p.depth + 1, n.depth);
      } else {
        EXPECT_FALSE(n.hole);
        EXPECT_EQ(n.depth, 0);
      }
    }
  }
}

// Random bitmaps: the counts match a flood-fill labelling under both corner policies, and the
// deepest nesting of the rings image is found.
TEST(FaithfulTrace, RegionsAndHolesMatchLabelling) {
  std::mt19937 rng(7);
  for (int round = 0; round < 30; ++round) {
    const int w = 1 + static_cast<int>(rng() % 40), h = 1 + static_cast<int>(rng() % 40);
    const unsigned density = 30 + rng() % 40;
    const Image img = Draw(w, h, [&](int, int) { return rng() % 100 < density; });
    for (bool joinFg : {true, false}) {
      SCOPED_TRACE(::testing::Message() << "round " << round << " joinFg " << joinFg);
      CFaithfulTrace::OPTIONS opt;
      opt.speckle = 0;
      opt.turnPolicy =
          joinFg ? CFaithfulTrace::TurnPolicy::Foreground : CFaithfulTrace::TurnPolicy::Background;
      Result r;
      TraceBack(img, w, h, r, opt);
      EXPECT_EQ(r.outlines, Components(img, w, h, 1, joinFg, false));
      EXPECT_EQ(r.holes, Components(img, w, h, 0, !joinFg, true));
      // Noise has no straight pieces to find: at most one pixel in four boundary edges.
      EXPECT_LE(r.diff, BoundaryEdges(img, w, h) / 4);
    }
  }
}

// Lettering from DejaVu Sans at several sizes, drawn by the library's even-odd fill: every
// letter and counter is found, and the render-back differs in few pixels.
TEST(FaithfulTrace, TextRendersBack) {
  CPolyPolyBezier text;
  LoadGlyphPaths(text, "Sign & Vinyl 0123 @ag%");
  if (text.GetSize() == 0) GTEST_SKIP() << "FreeType or DejaVu Sans missing";
  for (double em : {12.0, 24.0, 64.0}) {
    SCOPED_TRACE(em);
    CPolyPolyBezier page;
    page.Copy(text);
    const PLEXA::CDRECT box = GetPolyPolyBezierRect(page, 1.0);
    CView3D v;
    v.Translate(box.xmin, box.ymin, 0);  // translation is negated
    page.ApplyTransformation(v);
    CView3D s;
    s.Scale(em / 2048, em / 2048, 1);
    page.ApplyTransformation(s);
    CView3D t;
    t.Translate(-3, -3, 0);  // a margin of 3 pixels
    page.ApplyTransformation(t);
    const int w = static_cast<int>((box.xmax - box.xmin) * em / 2048) + 7;
    const int h = static_cast<int>((box.ymax - box.ymin) * em / 2048) + 7;
    Image img;
    ASSERT_TRUE(FillPolyPolyEvenOdd(page, w, h, img));
    CFaithfulTrace::OPTIONS opt;
    opt.speckle = 0;
    opt.turnPolicy = CFaithfulTrace::TurnPolicy::Foreground;
    Result r;
    TraceBack(img, w, h, r, opt);
    EXPECT_EQ(r.outlines, Components(img, w, h, 1, true, false));
    EXPECT_EQ(r.holes, Components(img, w, h, 0, false, true));
    // Smoothing flips at most one pixel in eight boundary edges.
    EXPECT_LE(r.diff, BoundaryEdges(img, w, h) / 8);
  }
}

TEST(FaithfulTrace, RefusesWhatItCannotTrace) {
  CFaithfulTrace trace;
  CPolyPolyBezier out;
  std::vector<std::uint8_t> grey(16, 0);
  EXPECT_FALSE(trace.Trace(grey, 0, 4, 4, out));
  EXPECT_FALSE(trace.Trace(grey, 4, 5, 4, out));  // buffer too short
  EXPECT_FALSE(trace.Trace(grey, 4, 4, 3, out));  // stride below width
  EXPECT_FALSE(trace.Trace(static_cast<HBITMAP>(nullptr), out));
  EXPECT_TRUE(trace.Trace(grey, 4, 4, 4, out));
  EXPECT_EQ(out.GetSize(), 1);
  CFaithfulTrace::OPTIONS opt;
  opt.cornerThreshold = std::nan("");
  opt.invert = true;  // nothing light to trace
  CFaithfulTrace inv(opt);
  EXPECT_TRUE(inv.Trace(grey, 4, 4, 4, out));
  EXPECT_EQ(out.GetSize(), 0);
}

// A 1-bit DIB section with a {white, black} palette: index 1 is the dark foreground.
TEST(FaithfulTrace, ReadsOneBitSections) {
  BITMAPINFO_2 info{};
  info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  info.bmiHeader.biWidth = 20;
  info.bmiHeader.biHeight = 10;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 1;
  info.bmiColors[0] = {255, 255, 255, 0};
  info.bmiColors[1] = {0, 0, 0, 0};
  void* bits = nullptr;
  HBITMAP bmp = CreateDIBSection(nullptr, reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS,
                                 &bits, nullptr, 0);
  ASSERT_NE(bmp, nullptr);
  HDC dc = CreateCompatibleDC(nullptr);
  HGDIOBJ old = SelectObject(dc, bmp);
  const RECT r{2, 3, 12, 7};  // 10 x 4 pixels, top row 3
  HBRUSH black = CreateSolidBrush(RGB(0, 0, 0));
  FillRect(dc, &r, black);
  SelectObject(dc, old);
  DeleteDC(dc);
  DeleteObject(black);
  CFaithfulTrace trace;
  CPolyPolyBezier out;
  ASSERT_TRUE(trace.Trace(bmp, out));
  DeleteObject(bmp);
  ASSERT_EQ(out.GetSize(), 1);
  const PLEXA::CDRECT box = GetPolyPolyBezierRect(out, 1.0);
  EXPECT_NEAR(box.xmin, 2, 1e-9);
  EXPECT_NEAR(box.xmax, 12, 1e-9);
  EXPECT_NEAR(box.ymin, 3, 1e-9);
  EXPECT_NEAR(box.ymax, 7, 1e-9);
}

// Packed rows (most significant bit first, garbage in the padding bits) and grey levels around
// every threshold must give the same pixels: the oracle is a per-pixel comparison written
// plainly here, each row traced on its own beside a reference trace of the 0/1 image. One
// tracer per option set reads every width in turn, larger and smaller, both ways: the buffers
// it keeps between calls must carry nothing from one image to the next.
TEST(FaithfulTrace, PackedBitsAndGreyLevelsReadTheSamePixels) {
  std::mt19937 rng(7);
  std::map<std::pair<int, bool>, CFaithfulTrace> kept;
  for (const int w : {130, 1, 64, 7, 65, 8, 63, 9}) {
    const int h = 5, stride = (w + 7) / 8 + 1;
    std::vector<std::uint8_t> grey(static_cast<std::size_t>(w) * h);
    for (auto& g : grey) g = static_cast<std::uint8_t>(rng() & 0xFF);
    for (const int t : {0, 1, 77, 128, 200, 255, 256})
      for (const bool invert : {false, true}) {
        Image fg(grey.size());
        std::vector<std::uint8_t> bits(static_cast<std::size_t>(stride) * h, 0);
        for (int y = 0; y < h; ++y) {
          bits[static_cast<std::size_t>(y) * stride + stride - 1] = 0xA5;  // past the width
          if (w % 8) bits[static_cast<std::size_t>(y) * stride + w / 8] = 0xFF >> (w % 8);
          for (int x = 0; x < w; ++x) {
            const std::size_t i = static_cast<std::size_t>(y) * w + x;
            fg[i] = invert ? grey[i] >= t : grey[i] < t;
            if (fg[i] != invert)
              bits[static_cast<std::size_t>(y) * stride + x / 8] |=
                  static_cast<std::uint8_t>(0x80 >> (x % 8));
          }
        }
        Result ref;
        TraceBack(fg, w, h, ref);
        CFaithfulTrace::OPTIONS opt;
        opt.threshold = t;
        opt.invert = invert;
        CFaithfulTrace& trace = kept.try_emplace({t, invert}, opt).first->second;
        CPolyPolyBezier fromGrey, fromBits, fromRows;
        ASSERT_TRUE(trace.Trace(grey, w, h, w, fromGrey));
        ASSERT_TRUE(trace.TraceBits(bits, w, h, stride, fromBits));
        int calls = 0;  // all rows at once, packed without the stride's gaps
        ASSERT_TRUE(trace.TraceBitRows(
            w, h,
            [&](std::span<std::uint8_t> rows) {
              ++calls;
              const std::size_t n = static_cast<std::size_t>(w + 7) / 8;
              EXPECT_EQ(rows.size(), n * h);
              for (int y = 0; y < h; ++y)
                std::copy_n(bits.begin() + static_cast<std::ptrdiff_t>(y) * stride, n,
                            rows.begin() + static_cast<std::ptrdiff_t>(y * n));
              return true;
            },
            fromRows));
        EXPECT_EQ(calls, 1);
        for (const CPolyPolyBezier* got : {&fromGrey, &fromBits, &fromRows}) {
          ASSERT_EQ(got->GetSize(), ref.paths.GetSize()) << w << " " << t << " " << invert;
          for (int i = 0; i < ref.paths.GetSize(); ++i) {
            ASSERT_EQ((*got)[i].GetSize(), ref.paths[i].GetSize());
            for (INT_PTR k = 0; k < ref.paths[i].GetSize(); ++k)
              EXPECT_EQ((*got)[i][k].anchor, ref.paths[i][k].anchor);
          }
        }
      }
  }
  CFaithfulTrace trace;
  CPolyPolyBezier out;
  const std::vector<std::uint8_t> few(3, 0xFF);
  EXPECT_FALSE(trace.TraceBits(few, 16, 2, 2, out));  // shorter than two rows
  EXPECT_FALSE(trace.TraceBits(few, 16, 1, 1, out));  // stride shorter than a row
  // A reader that gives up fails the trace.
  auto fill = [](bool ok) {
    return [ok](std::span<std::uint8_t> rows) {
      std::fill(rows.begin(), rows.end(), 0xFF);
      return ok;
    };
  };
  EXPECT_TRUE(trace.TraceBitRows(16, 2, fill(true), out));
  EXPECT_EQ(out.GetSize(), 1);
  EXPECT_FALSE(trace.TraceBitRows(16, 3, fill(false), out));
  EXPECT_EQ(out.GetSize(), 0);
  EXPECT_TRUE(trace.Tree().empty());
}

}  // namespace
