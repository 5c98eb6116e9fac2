#include "plexa/layout/nest.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <set>

#include "plexa/layout/internal/nest_raster.h"
#include "tests/support.h"

using PLEXA::CDPOINT;
using PLEXA::CDRECT;
using Status = CNest::Status;
using namespace plexa::test;

namespace {

CPolyPolyBezier Set(std::initializer_list<CBPointArray> paths) {
  CPolyPolyBezier s;
  for (const CBPointArray& p : paths) s.Add(new CBPointArray(p));
  return s;
}

// A ring: a circle with a round hole.
CPolyPolyBezier Ring(double r, double hole) {
  return Set({Circle(0, 0, r), Circle(0, 0, hole)});
}

// Points on every path of the set, `per` a segment.
std::vector<CDPOINT> Samples(const CPolyPolyBezier& s, int per) {
  std::vector<CDPOINT> out;
  for (INT_PTR i = 0; i < s.GetSize(); ++i) {
    const CBPointArray& p = s[static_cast<int>(i)];
    for (INT_PTR k = 0; k + 1 < p.GetSize(); ++k)
      for (int j = 0; j < per; ++j) out.push_back(BezierAt(p[k], p[k + 1], double(j) / per));
  }
  return out;
}

// Fails loudly unless every placed shape lies on its sheet, outside the keep-outs, no two
// overlap (exact booleans) and boundaries of separate shapes are at least gap apart (dense
// samples against the exact curves, less half the sampling step).
void ExpectValidNesting(const CNest& nest, const CNest::Options& o, double step) {
  std::vector<CPolyPolyBezier> placed;
  nest.GetPlacedShapes(placed);
  std::vector<std::pair<int, int>> overlaps;
  EXPECT_EQ(FindShapeOverlaps(placed, 1e-6, overlaps), 0);
  for (auto [i, j] : overlaps) ADD_FAILURE() << "shapes " << i << " and " << j << " overlap";
  for (size_t i = 0; i < placed.size(); ++i) {
    if (nest.GetShape(int(i)).status != Status::kPlaced) continue;
    for (const CDPOINT& p : Samples(placed[i], 32)) {
      ASSERT_TRUE(p.x >= 0 && p.x <= o.width && p.y >= 0 && p.y <= o.height)
          << "shape " << i << " leaves the sheet at " << p.x << "," << p.y;
      for (const CDRECT& r : o.keepOut)
        ASSERT_FALSE(p.x > r.xmin && p.x < r.xmax && p.y > r.ymin && p.y < r.ymax)
            << "shape " << i << " enters a keep-out";
    }
    if (o.gap <= 0) continue;
    for (size_t j = i + 1; j < placed.size(); ++j) {
      if (nest.GetShape(int(j)).status != Status::kPlaced ||
          nest.GetShape(int(i)).transform.sheet != nest.GetShape(int(j)).transform.sheet)
        continue;
      double nearest = kInf;
      for (const CDPOINT& p : Samples(placed[i], 16))
        for (INT_PTR k = 0; k < placed[j].GetSize(); ++k)
          nearest = std::min(nearest, DistanceToPath(placed[j][int(k)], p, 16));
      EXPECT_GE(nearest, o.gap - step) << "shapes " << i << " and " << j;
    }
  }
}

}  // namespace

TEST(CNest, MixedShapesNeverOverlapAndKeepTheGap) {
  std::mt19937 rng(5);
  std::uniform_real_distribution<double> size(20, 150);
  CNest nest;
  for (int i = 0; i < 36; ++i) {
    const double s = size(rng);
    switch (i % 4) {
      case 0:
        nest.AddShape(Ring(s / 2, s / 4));
        break;
      case 1:
        nest.AddShape(Set({Rect(0, 0, s, s / 3)}));
        break;
      case 2:
        nest.AddShape(Set({Poly({{0, 0}, {s, 0}, {0, s}, {0, 0}})}));
        break;
      default:
        nest.AddShape(Set({Circle(0, 0, s / 3)}));
        break;
    }
  }
  CNest::Options o;
  o.width = 800, o.height = 500, o.gap = 6, o.rotations = 4;
  o.keepOut = {CDRECT(300, 420, 0, 140)};
  // One order, then several: the best of several places as many on no more sheets, and fills
  // the first sheet at least as well when the sheets are as many.
  int sheets = 0;
  double fill0 = 0;
  for (int attempts : {1, 5}) {
    o.attempts = attempts;
    ASSERT_TRUE(nest.Nest(o));
    EXPECT_GE(nest.GetSheetCount(), 1);
    EXPECT_EQ(nest.GetNestedCount(), 36);  // as many sheets as needed
    double area = 0;
    for (int i = 0; i < nest.GetShapeCount(); ++i) {
      EXPECT_EQ(nest.GetShape(i).status, Status::kPlaced) << i;
      area += nest.GetShape(i).area;
    }
    EXPECT_NEAR(nest.GetFillRatio(), area / (800.0 * 500 * nest.GetSheetCount()), 1e-12);
    EXPECT_GT(nest.GetSheetFill(0), 0.3);
    ExpectValidNesting(nest, o, 1.0);
    if (attempts > 1) {
      EXPECT_LE(nest.GetSheetCount(), sheets);
      if (nest.GetSheetCount() == sheets) {
        EXPECT_GE(nest.GetSheetFill(0), fill0);
      }
    }
    sheets = nest.GetSheetCount(), fill0 = nest.GetSheetFill(0);
  }
}

TEST(CNest, AreasAreExactOnCurvesAndHoles) {
  // The four-cubic circle of radius r encloses pi r^2 within 3e-4 relative (its radius error).
  const struct {
    CPolyPolyBezier shape;
    double area, tol;
  } cases[] = {
      {Set({Rect(0, 0, 10, 20)}), 200, 1e-9},
      {Set({Rect(0, 0, 10, 20), Rect(2, 2, 8, 8)}), 200 - 36, 1e-9},
      {Ring(10, 5), std::numbers::pi * 75, 0.1},
      {Set({Poly({{0, 0}, {4, 0}, {0, 3}})}), 6, 1e-9},  // open: closed by its chord
  };
  for (const auto& c : cases) EXPECT_NEAR(GetShapeArea(c.shape), c.area, c.tol);
}

TEST(CNest, PartInPartRotationsGroupsAndMirrors) {
  // A frame 100 x 100 with a 70 x 70 hole and a 40 x 40 square on a sheet only the frame fits.
  const CPolyPolyBezier frame = Set({Rect(0, 0, 100, 100), Rect(15, 15, 85, 85)});
  const CPolyPolyBezier square = Set({Rect(0, 0, 40, 40)});
  for (bool pip : {true, false}) {
    CNest nest;
    nest.AddShape(frame);
    nest.AddShape(square);
    CNest::Options o;
    o.width = o.height = 110, o.gap = 2, o.partInPart = pip, o.maxSheets = 1;
    ASSERT_TRUE(nest.Nest(o));
    EXPECT_EQ(nest.GetShape(1).status, pip ? Status::kPlaced : Status::kNoRoom);
    ExpectValidNesting(nest, o, 0.5);
  }
  // A bar 90 x 10 on a 30 x 100 sheet fits only turned by a quarter.
  for (int rotations : {1, 4}) {
    CNest nest;
    nest.AddShape(Set({Rect(0, 0, 90, 10)}));
    CNest::Options o;
    o.width = 30, o.height = 100, o.rotations = rotations;
    ASSERT_TRUE(nest.Nest(o));
    const CNest::NestData& d = nest.GetShape(0);
    EXPECT_EQ(d.status, rotations == 1 ? Status::kTooLarge : Status::kPlaced);
    if (d.status == Status::kPlaced) {
      EXPECT_NEAR(std::abs(std::sin(d.transform.angle)), 1, 1e-12);
      ExpectValidNesting(nest, o, 0.5);
    }
  }
  // Two grouped shapes keep their relative place: one transform for both.
  CNest nest;
  nest.AddShape(Set({Rect(0, 0, 10, 10)}), 7);
  nest.AddShape(Set({Rect(50, 0, 60, 30)}), 7);
  nest.AddShape(Set({Rect(0, 0, 20, 20)}));
  CNest::Options o;
  o.width = o.height = 200, o.mirror = true;
  ASSERT_TRUE(nest.Nest(o));
  const CNest::Transform a = nest.GetShape(0).transform, b = nest.GetShape(1).transform;
  EXPECT_EQ(nest.GetNestedCount(), 3);
  EXPECT_TRUE(a.dx == b.dx && a.dy == b.dy && a.m11 == b.m11 && a.m21 == b.m21);
  ExpectValidNesting(nest, o, 0.5);
  // A footprint turned a quarter pixel for pixel is the footprint rasterised turned (oracle).
  const CPolyPolyBezier tri =
      Set({Poly({{0.3, 0.1}, {47.9, 5.3}, {11.2, 33.7}}), Circle(15, 12, 4)});
  for (const auto& [a, mirrored] : {std::pair{0.0, false}, {0.7, false}, {2.0, true}}) {
    using plexa::nest::Footprint;
    Footprint base, turned, direct;
    ASSERT_TRUE(plexa::nest::MakeFootprint({&tri}, a, mirrored, 0.37, 3.3, true, 999, 999, base));
    const double b = a + std::numbers::pi / 2;
    ASSERT_TRUE(plexa::nest::QuarterTurn(base, b, 999, 999, turned));
    ASSERT_TRUE(plexa::nest::MakeFootprint({&tri}, b, mirrored, 0.37, 3.3, true, 999, 999, direct));
    const auto cells = [](const Footprint& f) {
      std::set<std::pair<double, double>> out;
      for (int y = 0; y < f.h; ++y)
        for (int s = f.rowStart[y]; s < f.rowStart[y + 1]; ++s)
          for (int x = f.spans[size_t(s)].first; x <= f.spans[size_t(s)].second; ++x)
            out.emplace(f.ox + x, f.oy + y);
      return out;
    };
    EXPECT_EQ(cells(turned), cells(direct)) << a;
    EXPECT_EQ(turned.cells, direct.cells);
    for (const CDPOINT& p : {CDPOINT(3, 4), CDPOINT(-7, 2)}) {  // the map is the turn, exactly
      EXPECT_NEAR(turned.map.Map(p, 1).x, direct.map.Map(p, 1).x, 1e-12);
      EXPECT_NEAR(turned.map.Map(p, 1).y, direct.map.Map(p, 1).y, 1e-12);
    }
  }
  // Mirroring negates x before the turn.
  CNest::Transform t;
  t.m11 = -1, t.mirrored = true, t.dx = 5;
  EXPECT_POINT_NEAR(t.Apply(CDPOINT(2, 3)), CDPOINT(3, 3), 0);
}

TEST(CNest, BadInputIsReportedNotPlaced) {
  CNest nest;
  nest.AddShape(Set({Rect(0, 0, 500, 10)}));       // 0: longer than the sheet's diagonal
  nest.AddShape(CPolyPolyBezier());                // 1: empty
  nest.AddShape(Set({Rect(0, 0, kNaN, 10)}));      // 2: NaN
  nest.AddShape(Set({Rect(0, 0, 1e300, 1e300)}));  // 3: absurdly large
  for (int i = 0; i < 6; ++i) nest.AddShape(Set({Rect(0, 0, 60, 60)}));  // 4..9: four fit
  CNest::Options o;
  o.width = o.height = 130, o.maxSheets = 1;
  ASSERT_TRUE(nest.Nest(o));
  EXPECT_EQ(nest.GetShape(0).status, Status::kTooLarge);
  EXPECT_EQ(nest.GetShape(1).status, Status::kEmpty);
  EXPECT_EQ(nest.GetShape(2).status, Status::kInvalid);
  EXPECT_EQ(nest.GetShape(3).status, Status::kTooLarge);
  EXPECT_EQ(nest.GetNestedCount(), 4);
  EXPECT_EQ(nest.GetShape(9).status, Status::kNoRoom);
  EXPECT_EQ(nest.GetShape(9).transform.sheet, -1);
  ExpectValidNesting(nest, o, 0.5);
  // Sheets and gaps that are not finite and positive place nothing.
  for (auto [w, h, gap] : {std::tuple{0.0, 100.0, 0.0},
                           {-5.0, 100.0, 0.0},
                           {kNaN, 100.0, 0.0},
                           {100.0, kInf, 0.0},
                           {100.0, 100.0, -1.0},
                           {100.0, 100.0, kNaN}}) {
    o.width = w, o.height = h, o.gap = gap;
    EXPECT_FALSE(nest.Nest(o));
    EXPECT_EQ(nest.GetNestedCount(), 0);
  }
  // A time limit that has passed before the first search stops everything, quietly.
  o.width = o.height = 1000, o.gap = 0, o.maxSheets = 0, o.timeLimit = 1e-9;
  ASSERT_TRUE(nest.Nest(o));
  EXPECT_EQ(nest.GetNestedCount(), 0);
  EXPECT_EQ(nest.GetShape(9).status, Status::kStopped);
  o.timeLimit = 0;
  // The automatic pixel: a sixth of the gap, a 32nd of the median part, 1024..2048 a side.
  for (auto [side, gap, part, pixel] : {std::tuple{5000.0, 20.0, 100.0, 100.0 / 32},
                                        {5000.0, 12.0, 400.0, 5000.0 / 2048},
                                        {1000.0, 6.0, 100.0, 1000.0 / 1024},
                                        {5000.0, 0.0, 400.0, 5000.0 / 1024}}) {
    CNest one;
    one.AddShape(Set({Rect(0, 0, part, part / 2)}));
    CNest::Options a;
    a.width = side, a.height = side / 2, a.gap = gap;
    ASSERT_TRUE(one.Nest(a));
    EXPECT_NEAR(one.GetPixelSize(), pixel, 1e-9) << side << " " << gap << " " << part;
  }
  // Cancelling after the first unit stops the rest.
  o.width = o.height = 1000, o.gap = 0, o.maxSheets = 0;
  o.progress = [](int done, int) { return done < 1; };
  ASSERT_TRUE(nest.Nest(o));
  EXPECT_EQ(nest.GetNestedCount(), 1);
  EXPECT_EQ(nest.GetShape(9).status, Status::kStopped);
}
