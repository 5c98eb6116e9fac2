#include "plexa/raster/autobreakup.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "plexa/raster/imgproc.h"
#include "plexa/raster/pxautotrace.h"
#include "tests/raster_support.h"

namespace {

// Paints a region (dark) on white where inside(x, y) holds, traces it with CPxAutoTrace from
// the seed and breaks it up at 96 dpi; returns the pieces through trace.
struct Drawn {
  Drawn(int w, int h, const std::function<bool(int, int)>& inside)
      : pic(plexa::test::Painted::Colour(
            w, h, [&](int x, int y) { return inside(x, y) ? RGB(0, 0, 0) : RGB(255, 255, 255); })),
        trace(std::make_unique<CPxAutoTrace>(pic.bmp, 96.0)) {}
  CPolyPolyDPoint& Run(int sx, int sy) {
    trace->DoTrace(sx, sy, &incl, 0, false, false);
    return trace->GetOutlines();
  }
  plexa::test::Painted pic;
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

// Two discs of radius r joined by two bars spanning rows [top, top + thick) and
// [top2, top2 + thick), with a square-ended hole between them (x 62 to 98).
bool TwoBars(int x, int y, double r, int top, int top2, int thick) {
  return Disc(x, y, 40, 50, r) || Disc(x, y, 120, 50, r) ||
         (x >= 40 && x <= 120 && y >= top && y < top2 + thick &&
          !(x >= 62 && x <= 98 && y >= top + thick && y < top2));
}

bool SegmentsIntersect(PLEXA::CDPOINT a, PLEXA::CDPOINT b, PLEXA::CDPOINT c, PLEXA::CDPOINT d) {
  auto side = [](PLEXA::CDPOINT p, PLEXA::CDPOINT q, PLEXA::CDPOINT s) {
    const double v = (q.x - p.x) * (s.y - p.y) - (q.y - p.y) * (s.x - p.x);
    return (v > 0) - (v < 0);
  };
  auto within = [](PLEXA::CDPOINT p, PLEXA::CDPOINT q, PLEXA::CDPOINT s) {
    return std::min(p.x, q.x) <= s.x && s.x <= std::max(p.x, q.x) && std::min(p.y, q.y) <= s.y &&
           s.y <= std::max(p.y, q.y);
  };
  const int s1 = side(a, b, c), s2 = side(a, b, d), s3 = side(c, d, a), s4 = side(c, d, b);
  if (s1 * s2 < 0 && s3 * s4 < 0) return true;
  return (s1 == 0 && within(a, b, c)) || (s2 == 0 && within(a, b, d)) ||
         (s3 == 0 && within(c, d, a)) || (s4 == 0 && within(c, d, b));
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
    int pieces, chords;
    bool dumbbellBar;  // the breaks lie on the dumbbell's bar
  } cases[] = {
      {"dumbbell", Dumbbell, 2, 1, true},
      // A bump on the bar grows a skeleton spur at the neck: the spur is filtered out.
      {"dumbbell with a bump",
       [](int x, int y) { return Dumbbell(x, y) || (x >= 79 && x <= 82 && y >= 44 && y <= 47); }, 2,
       1, true},
      // A wavy bar (6 and 7 pixels thick by turns) still is one neck: one chord.
      {"wavy neck",
       [](int x, int y) {
         return Dumbbell(x, y) || (x >= 40 && x <= 120 && y == 53 && (x / 5) % 2 == 0);
       },
       2, 1, true},
      // Two bars 12 thick, 7 apart, each a neck: their chords (11 long, rows 35 to 46 and
      // 54 to 65) have middles 19 apart, within twice a chord's length, so they are one
      // neck: one chord, one break on the outline and one on the hole, each one piece.
      {"twin bars", [](int x, int y) { return TwoBars(x, y, 20, 35, 54, 12); }, 2, 1, false},
      // A C: a column with two bars to two discs, each bar notched to 4 rows at x 77 to 83.
      // Two necks 50 apart whose chords lie in one line yet do not meet: both are kept.
      {"C with two arms",
       [](int x, int y) {
         return (x >= 20 && x <= 60 && y >= 7 && y <= 93) || Disc(x, y, 120, 25, 18) ||
                Disc(x, y, 120, 75, 18) ||
                (x >= 60 && x <= 120 && ((y >= 22 && y <= 27) || (y >= 73 && y <= 78)) &&
                 !(x >= 77 && x <= 83 && y >= 26 && y <= 74));
       },
       4, 2, false},
      // A finger sticking out of a disc narrows on one side only.
      {"protrusion",
       [](int x, int y) {
         return Disc(x, y, 40, 50, 25) || (x >= 60 && x <= 80 && y >= 48 && y <= 51);
       },
       1, 0, false},
  };
  for (const Case& c : cases) {
    Drawn d(160, 100, c.inside);
    const CPolyPolyDPoint& out = d.Run(40, 50);
    EXPECT_EQ(out.GetSize(), c.pieces) << c.name;
    EXPECT_EQ(d.incl.GetSize(), out.GetSize()) << c.name;
    // The break points are the pieces' distinct ends; each chord joins a break to the
    // nearest other one, across a bar (short and near upright). Chords neither repeat nor
    // cross.
    std::vector<PLEXA::CDPOINT> ends;
    for (int k = 0; k < out.GetSize(); ++k) {
      const auto& piece = *out.GetAt(k);
      ASSERT_GE(piece.GetSize(), 2) << c.name;
      EXPECT_EQ(d.incl.GetAt(k)->GetSize(), piece.GetSize()) << c.name;
      for (const auto& e : {piece[0], piece[piece.GetSize() - 1]})
        if (std::none_of(ends.begin(), ends.end(),
                         [&](const PLEXA::CDPOINT& q) { return q.x == e.x && q.y == e.y; }))
          ends.push_back(e);
    }
    if (c.chords == 0) continue;
    ASSERT_EQ(ends.size(), 2u * c.chords) << c.name;
    std::vector<std::pair<PLEXA::CDPOINT, PLEXA::CDPOINT>> chords;
    for (const auto& e : ends) {
      const PLEXA::CDPOINT* near = nullptr;
      for (const auto& q : ends)
        if (&q != &e && (near == nullptr || std::hypot(q.x - e.x, q.y - e.y) <
                                                std::hypot(near->x - e.x, near->y - e.y)))
          near = &q;
      if (e.y < near->y) chords.push_back({e, *near});
    }
    ASSERT_EQ(chords.size(), static_cast<std::size_t>(c.chords)) << c.name;
    for (std::size_t i = 0; i < chords.size(); ++i) {
      const auto [a, b] = chords[i];
      EXPECT_LE(std::hypot(b.x - a.x, b.y - a.y), 12) << c.name;
      EXPECT_LE(std::fabs(b.x - a.x), 3) << c.name;
      EXPECT_GT(a.x, 55) << c.name;
      EXPECT_LT(a.x, 105) << c.name;
      if (c.dumbbellBar) {  // one break on the bar's top edge and one on its bottom edge
        EXPECT_NEAR(a.y, 47, 1) << c.name;
        EXPECT_NEAR(b.y, 52.5, 1.5) << c.name;
      }
      for (std::size_t j = 0; j < i; ++j)
        EXPECT_FALSE(SegmentsIntersect(a, b, chords[j].first, chords[j].second)) << c.name;
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
