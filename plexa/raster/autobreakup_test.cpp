#include "plexa/raster/autobreakup.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>

#include "plexa/raster/imgproc.h"
#include "plexa/raster/pxautotrace.h"

namespace {

// Paints a region (dark) on white where inside(x, y) holds, traces it with CPxAutoTrace from
// the seed and breaks it up at 96 dpi; returns the pieces through trace.
struct Drawn {
  Drawn(int w, int h, const std::function<bool(int, int)>& inside) {
    bmp = CImgProc::CreateBitmap32(w, h);
    tagBITMAP bm{};
    GetObjectW(bmp, sizeof bm, &bm);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x)
        CImgProc::SetPixel32(bm, x, y, inside(x, y) ? RGB(0, 0, 0) : RGB(255, 255, 255));
    trace = std::make_unique<CPxAutoTrace>(bmp, 96.0);
  }
  ~Drawn() {
    trace.reset();
    DeleteObject(bmp);
  }
  CPolyPolyDPoint& Run(int sx, int sy) {
    trace->DoTrace(sx, sy, &incl, 0, false, false);
    return trace->GetOutlines();
  }
  HBITMAP bmp;
  std::unique_ptr<CPxAutoTrace> trace;
  CPolyPolyInclination incl;
};

bool Disc(int x, int y, double cx, double cy, double r) {
  return std::hypot(x - cx, y - cy) <= r;
}

// Two discs of radius 20 joined by a bar 6 pixels thick.
bool Dumbbell(int x, int y) {
  return Disc(x, y, 40, 50, 20) || Disc(x, y, 120, 50, 20) ||
         (x >= 40 && x <= 120 && y >= 47 && y <= 52);
}

}  // namespace

TEST(AutoBreakUp, RefusesPastTheLimitAndOnUnusableBitmaps) {
  CAutoBreakUp b;
  CPolyPolyDPoint outlines;
  CPolyPolyInclination incl;
  auto ring = [] {
    auto* r = new CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>;
    for (PLEXA::CDPOINT p : {PLEXA::CDPOINT(1, 1), {5, 1}, {5, 5}, {1, 1}}) r->Add(p);
    return r;
  };
  outlines.Add(ring());
  EXPECT_FALSE(b.AutoBreakUp(nullptr, 96, outlines, incl));
  EXPECT_EQ(outlines.GetSize(), 0);
  HBITMAP colour = CImgProc::CreateBitmap32(8, 8);
  outlines.Add(ring());
  EXPECT_FALSE(b.AutoBreakUp(colour, 96, outlines, incl));
  EXPECT_EQ(outlines.GetSize(), 0);
  HBITMAP mono = CImgProc::CreateBitmapBW(8, 8);
  auto* huge = new CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>;
  huge->SetSize(kBreakUpMaxPoints + 1);
  outlines.Add(huge);
  EXPECT_FALSE(b.AutoBreakUp(mono, 96, outlines, incl));
  EXPECT_EQ(outlines.GetSize(), 0);
  EXPECT_EQ(incl.GetSize(), 0);
  // Within the limit, NaN points included: kept as one piece with zero inclinations.
  outlines.Add(ring());
  outlines.GetAt(0)->SetAt(1, PLEXA::CDPOINT(std::nan(""), 1));
  EXPECT_TRUE(b.AutoBreakUp(mono, std::nan(""), outlines, incl));
  ASSERT_EQ(incl.GetSize(), 1);
  EXPECT_EQ(incl.GetAt(0)->GetSize(), 4);
  DeleteObject(colour);
  DeleteObject(mono);
}

TEST(AutoBreakUp, ADiscStaysWholeWithTangentInclinations) {
  Drawn d(80, 80, [](int x, int y) { return Disc(x, y, 40, 40, 25); });
  const CPolyPolyDPoint& out = d.Run(40, 40);
  ASSERT_EQ(out.GetSize(), 1);
  const auto& ring = *out.GetAt(0);
  ASSERT_EQ(d.incl.GetSize(), 1);
  ASSERT_EQ(d.incl.GetAt(0)->GetSize(), ring.GetSize());
  EXPECT_EQ(ring[0].x, ring[ring.GetSize() - 1].x);
  for (INT_PTR i = 0; i < ring.GetSize(); ++i) {
    const double radial = std::atan2(ring[i].y - 40, ring[i].x - 40);
    EXPECT_GT(std::fabs(std::sin((*d.incl.GetAt(0))[i] - radial)), 0.85) << i;
  }
}

TEST(AutoBreakUp, NecksBreakOncePerNeckButProtrusionsDoNot) {
  struct Case {
    const char* name;
    std::function<bool(int, int)> inside;
    int pieces;
  } cases[] = {
      {"dumbbell", Dumbbell, 2},
      // A bump on the bar grows a skeleton spur at the neck: the spur is filtered out.
      {"dumbbell with a bump",
       [](int x, int y) { return Dumbbell(x, y) || (x >= 79 && x <= 82 && y >= 44 && y <= 47); },
       2},
      // A wavy bar (6 and 7 pixels thick by turns) still is one neck: one chord.
      {"wavy neck",
       [](int x, int y) {
         return Dumbbell(x, y) || (x >= 40 && x <= 120 && y == 53 && (x / 5) % 2 == 0);
       },
       2},
      // A finger sticking out of a disc narrows on one side only.
      {"protrusion",
       [](int x, int y) {
         return Disc(x, y, 40, 50, 25) || (x >= 60 && x <= 80 && y >= 48 && y <= 51);
       },
       1},
  };
  for (const Case& c : cases) {
    Drawn d(160, 100, c.inside);
    const CPolyPolyDPoint& out = d.Run(40, 50);
    EXPECT_EQ(out.GetSize(), c.pieces) << c.name;
    EXPECT_EQ(d.incl.GetSize(), out.GetSize()) << c.name;
    if (c.pieces != 2 || out.GetSize() != 2) continue;
    // Both pieces end on the bar, one break on its top edge and one on its bottom edge.
    for (int k = 0; k < 2; ++k) {
      const auto& piece = *out.GetAt(k);
      for (const auto& end : {piece[0], piece[piece.GetSize() - 1]}) {
        EXPECT_GT(end.x, 55) << c.name;
        EXPECT_LT(end.x, 105) << c.name;
        EXPECT_TRUE(std::fabs(end.y - 47) <= 1 || std::fabs(end.y - 52.5) <= 1.5) << c.name;
      }
      EXPECT_EQ(d.incl.GetAt(k)->GetSize(), piece.GetSize());
    }
  }
}

TEST(AutoBreakUp, ACutSlitBecomesItsOwnPiece) {
  Drawn d(100, 50, [](int, int) { return true; });
  auto* cut = new CArray<tagPOINT, tagPOINT>;
  cut->Add({50, -5});
  cut->Add({50, 30});
  d.trace->CutLines().Add(cut);
  const CPolyPolyDPoint& out = d.Run(10, 10);
  ASSERT_GE(out.GetSize(), 2);
  int slitPieces = 0;
  for (INT_PTR k = 0; k < out.GetSize(); ++k) {
    const auto& piece = *out.GetAt(static_cast<int>(k));
    bool alongSlit = true;
    for (const auto& p : piece) alongSlit = alongSlit && std::fabs(p.x - 49.5) <= 3 && p.y <= 33;
    slitPieces += alongSlit;
  }
  EXPECT_EQ(slitPieces, 1);
}
