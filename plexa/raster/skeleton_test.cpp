#include "plexa/raster/skeleton.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "plexa/geom/bezier.h"
#include "plexa/raster/imgproc.h"
#include "tests/support.h"

using namespace plexa::test;

namespace {

struct Skel : CSkeleton {
  using CSkeleton::DoSkeleton;
  using CSkeleton::GetPixel;
  using CSkeleton::m_bitmap;
  using CSkeleton::m_bm;
  using CSkeleton::MakeBitmap;
  using CSkeleton::newimage;
  using CSkeleton::pre_smooth;
  using CSkeleton::ReduceThickWhiteAreas;
  using CSkeleton::thnz;
};

// The plain parallel thinning, written from the description: every pass rescans the whole
// image, marks, then deletes. Object 0 on entry and on exit, as the library's.
void ReferenceThin(CSkeleton::image& img) {
  const int R = img.rows, C = img.cols;
  auto at = [&](int r, int c) -> unsigned char& { return img.data[r][c]; };
  for (auto& v : img.pixels) v = !v;
  std::vector<unsigned char> mark(img.pixels.size());
  auto nb = [&](int r, int c, int k) {  // E, NE, N, NW, W, SW, S, SE
    static const int dr[8] = {0, -1, -1, -1, 0, 1, 1, 1}, dc[8] = {1, 1, 0, -1, -1, -1, 0, 1};
    return at(r + dr[k], c + dc[k]) != 0 ? 1 : 0;
  };
  auto sweep = [&](bool a) {
    bool any = false;
    for (int r = 1; r < R - 1; ++r)
      for (int c = 1; c < C - 1; ++c) {
        if (at(r, c) != 1) continue;
        int n = 0, conn = 0;
        for (int k = 0; k < 8; ++k) n += nb(r, c, k), conn += nb(r, c, k) && !nb(r, c, (k + 1) % 8);
        const int E = nb(r, c, 0), N = nb(r, c, 2), W = nb(r, c, 4), S = nb(r, c, 6);
        const bool prod =
            a ? (N * E * W == 0 && N * S * W == 0) : (N * E * S == 0 && E * S * W == 0);
        if (n >= 2 && n <= 6 && conn == 1 && prod) mark[r * C + c] = 1, any = true;
      }
    for (std::size_t i = 0; i < mark.size(); ++i)
      if (mark[i]) img.pixels[i] = 0, mark[i] = 0;
    return any;
  };
  while (sweep(true)) sweep(false);
  for (int r = 1; r < R - 1; ++r)
    for (int c = 1; c < C - 1; ++c) {
      if (at(r, c) != 1 || !nb(r, c, 2)) continue;
      const int E = nb(r, c, 0), NE = nb(r, c, 1), NW = nb(r, c, 3), W = nb(r, c, 4);
      const int SW = nb(r, c, 5), S = nb(r, c, 6), SE = nb(r, c, 7);
      if ((E && !NE && !SW && !(W && S)) || (W && !NW && !SE && !(E && S))) mark[r * C + c] = 1;
    }
  for (std::size_t i = 0; i < mark.size(); ++i)
    if (mark[i]) img.pixels[i] = 0;
  for (int r = 0; r < R; ++r)
    for (int c = 0; c < C; ++c)
      at(r, c) = (r > 0 && c > 0 && r < R - 1 && c < C - 1 && at(r, c)) ? 0 : 255;
}

// A 32-bit picture: paper (white unless told) with black strokes of the given pen width along
// polylines.
struct Picture {
  HBITMAP bmp;
  Picture(int w, int h, int pen, const std::vector<std::vector<POINT>>& lines,
          COLORREF paper = RGB(255, 255, 255))
      : bmp(CImgProc::CreateBitmap32(w, h)) {
    HDC dc = CreateCompatibleDC(nullptr);
    HGDIOBJ old = SelectObject(dc, bmp);
    const RECT all{0, 0, w, h};
    HBRUSH brush = CreateSolidBrush(paper);
    FillRect(dc, &all, brush);
    DeleteObject(brush);
    HPEN p = CreatePen(PS_SOLID, pen, RGB(0, 0, 0));
    SelectObject(dc, p);
    for (const auto& l : lines) Polyline(dc, l.data(), static_cast<int>(l.size()));
    SelectObject(dc, old);
    DeleteObject(p);
    DeleteDC(dc);
  }
  ~Picture() { DeleteObject(bmp); }
};

// Largest distance from the traced curves (cell coordinates, pixel + 1; pixel centres at
// pixel + 0.5) to the source strokes' centre lines, by dense sampling.
double WorstDistance(const CPolyPolyBezier& paths, const std::vector<std::vector<POINT>>& lines) {
  double worst = 0;
  for (INT_PTR i = 0; i < paths.GetSize(); ++i)
    for (INT_PTR k = 0; k + 1 < paths[i].GetSize(); ++k) {
      const CBezier seg(paths[i][k], paths[i][k + 1]);
      for (int s = 0; s <= 16; ++s) {
        CDPOINT p = seg.GetCurvePoint(s / 16.0);
        p.x -= 0.5, p.y -= 0.5;
        double best = kInf;
        for (const auto& l : lines) {
          std::vector<CDPOINT> pts;
          for (POINT q : l) pts.emplace_back(q.x, q.y);
          best = std::min(best, DistanceToPolyline(pts, p));
        }
        worst = std::max(worst, best);
      }
    }
  return worst;
}

CDPOINT End(const CPolyPolyBezier& s, int i, bool last) {
  return s[i][last ? static_cast<int>(s[i].GetSize()) - 1 : 0].anchor;
}

}  // namespace

TEST(CSkeleton, QueuedThinningEqualsTheWholeImagePasses) {
  // Seeded random blobs, thick rendered strokes, a full block, noise and thin lines: the
  // library's thinning and the plain parallel one must agree on every pixel.
  std::mt19937 rng(19);
  std::vector<CSkeleton::image> cases;
  auto blank = [&](int rows, int cols) {
    CSkeleton::image img;
    Skel::newimage(img, rows, cols);
    std::fill(img.pixels.begin(), img.pixels.end(), 1);
    return img;
  };
  for (int n = 0; n < 12; ++n) {  // discs and bars of random sizes, overlapping
    auto img = blank(90, 120);
    for (int k = 0; k < 6; ++k) {
      const int cr = 5 + rng() % 80, cc = 5 + rng() % 110, rad = 2 + rng() % (n + 4);
      const bool bar = rng() % 2;
      for (int r = 1; r < 89; ++r)
        for (int c = 1; c < 119; ++c)
          if (bar ? (std::abs(r - cr) <= rad / 3 && std::abs(c - cc) <= 3 * rad)
                  : ((r - cr) * (r - cr) + (c - cc) * (c - cc) <= rad * rad))
            img.data[r][c] = 0;
    }
    cases.push_back(std::move(img));
  }
  auto noise = blank(64, 64);
  for (int r = 1; r < 63; ++r)
    for (int c = 1; c < 63; ++c) noise.data[r][c] = rng() % 3 ? 0 : 1;
  cases.push_back(std::move(noise));
  auto full = blank(40, 50);
  for (int r = 1; r < 39; ++r) std::fill(full.data[r] + 1, full.data[r] + 49, 0);
  cases.push_back(std::move(full));
  cases.push_back(blank(3, 3));
  {  // thick strokes through the whole pipeline's front stages
    Picture pic(300, 200, 23,
                {{{20, 30}, {280, 40}, {150, 180}, {30, 60}}, {{40, 170}, {260, 120}}});
    Skel s;
    s.MakeBitmap(pic.bmp, true);
    auto img = blank(202, 302);
    for (int y = 0; y < 200; ++y)
      for (int x = 0; x < 300; ++x)
        img.data[y + 1][x + 1] = CImgProc::GetPixel(s.m_bm, x, y) ? 0 : 1;
    Skel::pre_smooth(img);
    cases.push_back(std::move(img));
  }
  for (std::size_t n = 0; n < cases.size(); ++n) {
    CSkeleton::image fast = cases[n], ref = cases[n];
    fast.data.clear(), ref.data.clear();
    for (int r = 0; r < fast.rows; ++r) {
      fast.data.push_back(fast.pixels.data() + r * fast.cols);
      ref.data.push_back(ref.pixels.data() + r * ref.cols);
    }
    Skel s;
    s.thnz(fast);
    ReferenceThin(ref);
    EXPECT_EQ(fast.pixels, ref.pixels) << "case " << n;
  }
}

TEST(CSkeleton, GreyThresholdAndSmallerClass) {
  // g = trunc(0.59 G + 0.3 R + 0.11 B) below 231 is dark (object). Grey 231 gives
  // 230.99999999999997 and truncates to 230: dark; grey 232 gives 232: light. A mostly dark
  // picture is traced as its light part.
  HBITMAP bmp = CImgProc::CreateBitmap32(4, 1);
  tagBITMAP bm{};
  GetObjectW(bmp, sizeof bm, &bm);
  const unsigned long grey[4] = {RGB(231, 231, 231), RGB(232, 232, 232), RGB(255, 255, 255),
                                 RGB(255, 0, 0)};  // red: g = trunc(76.5) = 76, dark
  for (int x = 0; x < 4; ++x) CImgProc::SetPixel32(bm, x, 0, grey[x]);
  Skel s;
  s.MakeBitmap(bmp, true);  // 2 dark, 2 light: no inversion
  EXPECT_TRUE(s.GetPixel(0, 0) && !s.GetPixel(1, 0) && !s.GetPixel(2, 0) && s.GetPixel(3, 0));
  CImgProc::SetPixel32(bm, 2, 0, RGB(0, 0, 0));  // 3 dark: the light pixel is the object
  s.MakeBitmap(bmp, true);
  EXPECT_TRUE(!s.GetPixel(0, 0) && s.GetPixel(1, 0) && !s.GetPixel(2, 0) && !s.GetPixel(3, 0));
  DeleteObject(bmp);
}

TEST(CSkeleton, StagesOnSmallShapes) {
  // A lone object pixel goes in pre_smooth; a 3-pixel-thick bar thins to a line one pixel
  // thick over most of its length (a check on the reference thinning too).
  CSkeleton::image img;
  Skel::newimage(img, 5, 5);
  std::fill(img.pixels.begin(), img.pixels.end(), 1);
  img.data[2][2] = 0;
  Skel::pre_smooth(img);
  EXPECT_EQ(img.data[2][2], 1);
  Skel::newimage(img, 7, 24);
  std::fill(img.pixels.begin(), img.pixels.end(), 1);
  for (int r = 2; r <= 4; ++r) std::fill(img.data[r] + 2, img.data[r] + 22, 0);
  Skel().thnz(img);
  for (int c = 4; c < 20; ++c) {
    int n = 0;
    for (int r = 0; r < 7; ++r) n += img.data[r][c] == 0;
    EXPECT_EQ(n, 1) << "column " << c;
  }
}

TEST(CSkeleton, UnitsAndReduceThickWhiteAreas) {
  // A 9-pixel-thick horizontal stroke from x = 20 to x = 116: at 96 dpi (0.5 and 0 mean 96)
  // 96 pixels are 254 units; InputMono keeps pixels (cell coordinates, pixel + 1).
  const std::vector<std::vector<POINT>> bar = {{{20, 30}, {116, 30}}};
  Picture pic(140, 60, 9, bar);
  Skel s;
  s.Input(pic.bmp, 0.5, 0.0);
  CPolyPolyBezier mm;
  s.Output(mm);
  ASSERT_EQ(mm.GetSize(), 1);
  const double len = std::fabs(End(mm, 0, true).x - End(mm, 0, false).x);
  EXPECT_NEAR(End(mm, 0, false).y, 31.5 * 254.0 / 96.0, 254.0 / 96.0);
  EXPECT_NEAR(len, 254.0, 12 * 254.0 / 96.0);  // the ends shrink by up to half the pen
  // The working bitmap is the same with or without ReduceThickWhiteAreas.
  const std::vector<std::vector<POINT>> blob = {{{30, 30}, {110, 30}}};
  Picture thick(140, 60, 40, blob);
  s.MakeBitmap(thick.bmp, true);
  const std::size_t bytes = CImgProc::WIDTHBYTES(140) * 60;
  const std::vector<BYTE> before(static_cast<BYTE*>(s.m_bm.bmBits),
                                 static_cast<BYTE*>(s.m_bm.bmBits) + bytes);
  s.ReduceThickWhiteAreas(thick.bmp);
  EXPECT_TRUE(std::equal(before.begin(), before.end(), static_cast<BYTE*>(s.m_bm.bmBits)));
}

TEST(CSkeleton, VectorInputComesBackInTheCallersUnits) {
  // An open stroke from (1000, 2000) to (5000, 3000) in drawing units: the centre line comes
  // back on it, within a few working pixels (4000 units over about 500 pixels: 8 a pixel).
  CPolyPolyBezier in;
  auto* path = new CBPointArray;
  const CDPOINT a(1000, 2000), b(5000, 3000);
  path->Add(Corner(a));
  path->Add(Corner(b));
  in.Add(path);
  CDWordArray types;
  Skel s;
  s.Input(in, types, 0, 512);
  CPolyPolyBezier out;
  s.Output(out);
  ASSERT_GE(out.GetSize(), 1);
  const double unit = 4000.0 / 500.0;
  for (INT_PTR i = 0; i < out.GetSize(); ++i)
    for (INT_PTR k = 0; k < out[i].GetSize(); ++k)
      EXPECT_LT(DistanceToPolyline({a, b}, out[i][k].anchor), 2 * unit);
  // No finite node: no paths.
  CPolyPolyBezier bad;
  auto* nan = new CBPointArray;
  nan->Add(Corner(kNaN, 0));
  bad.Add(nan);
  s.Input(bad, types, 0, 512);
  s.Output(out);
  EXPECT_EQ(out.GetSize(), 0);
}

TEST(CSkeleton, RenderedStrokesStayOnTheirCentreLines) {
  // T, X and Y junctions of 12-pixel strokes: every traced point lies within half the stroke
  // width of a source centre line, and the strokes' ends near the junction meet at one point.
  struct Case {
    const char* name;
    std::vector<std::vector<POINT>> lines;
    POINT junction;
  };
  const Case cases[] = {
      {"T", {{{20, 30}, {180, 30}}, {{100, 30}, {100, 180}}}, {100, 30}},
      {"X", {{{20, 20}, {180, 180}}, {{180, 20}, {20, 180}}}, {100, 100}},
      {"Y",
       {{{30, 20}, {100, 100}}, {{170, 20}, {100, 100}}, {{100, 100}, {100, 185}}},
       {100, 100}},
  };
  const int pen = 12;
  for (const Case& c : cases) {
    Picture pic(200, 200, pen, c.lines);
    Skel s;
    s.InputMono(nullptr, 0, 0);      // no bitmap: nothing, no crash
    s.Input(pic.bmp, 254.0, 254.0);  // one unit a pixel
    CPolyPolyBezier out;
    s.Output(out);
    ASSERT_GE(out.GetSize(), 2) << c.name;
    EXPECT_LE(out.GetSize(), 4) << c.name;
    EXPECT_LE(WorstDistance(out, c.lines), pen / 2.0) << c.name;
    // Ends within a stroke width of the junction are all within a few pixels of each other.
    std::vector<CDPOINT> near;
    for (int i = 0; i < out.GetSize(); ++i)
      for (bool last : {false, true}) {
        const CDPOINT e = End(out, i, last);
        if (Dist(e, CDPOINT(c.junction.x + 0.5, c.junction.y + 0.5)) < pen) near.push_back(e);
      }
    EXPECT_GE(near.size(), 2u) << c.name;
    for (const CDPOINT& e : near)
      for (const CDPOINT& f : near) EXPECT_LE(Dist(e, f), 3.0) << c.name;
  }
}

TEST(CSkeleton, DegeneratePictures) {
  // Fully black and fully white pictures finish and give nothing; a 1000 x 1000 page of line
  // art never comes back empty.
  for (COLORREF fill : {RGB(0, 0, 0), RGB(255, 255, 255)}) {
    Picture pic(400, 300, 1, {}, fill);
    Skel s;
    s.Input(pic.bmp, 0, 0);
    CPolyPolyBezier out;
    s.Output(out);
    EXPECT_EQ(out.GetSize(), 0);
    s.InputMono(pic.bmp, 0, 0);  // all white as 1-bit object: a full block thins without hanging
  }
  std::vector<std::vector<POINT>> art;
  for (int k = 0; k < 12; ++k)
    art.push_back({{40 + 70 * k, 50}, {500, 500 + 30 * (k % 5)}, {960 - 60 * k, 950}});
  Picture page(1000, 1000, 2, art);
  Skel s;
  s.Input(page.bmp, 0, 0);
  CPolyPolyBezier out;
  s.Output(out);
  EXPECT_GE(out.GetSize(), 12);
}
