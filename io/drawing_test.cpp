// Nesting of outlines, holes and islands, on shapes whose nesting is known by construction.
#include "io/drawing.h"

#include <gtest/gtest.h>

namespace plexa::io {
namespace {

TEST(Drawing, NestsHolesAndIslandsAndGroupsThemIntoShapes) {
  // A big disc (flattened into thousands of points: the indexed inside test) with two square
  // holes; in the first hole an island disc with its own hole; a square outside everything,
  // and a square straddling the disc's edge (inside nothing at 90 %).
  struct Shape {
    bool circle;
    PLEXA::CDRECT r;
    int depth, parent;
  };
  const Shape shapes[] = {
      {true, PLEXA::CDRECT(0, 10000, 0, 10000), 0, -1},        // 0 the disc
      {false, PLEXA::CDRECT(2000, 5000, 3000, 6000), 1, 0},    // 1 hole
      {false, PLEXA::CDRECT(5500, 8000, 3000, 6000), 1, 0},    // 2 hole
      {true, PLEXA::CDRECT(2500, 4500, 3500, 5500), 2, 1},     // 3 island in hole 1
      {false, PLEXA::CDRECT(3300, 3700, 4300, 4700), 3, 3},    // 4 the island's hole
      {false, PLEXA::CDRECT(12000, 13000, 0, 1000), 0, -1},    // 5 apart
      {false, PLEXA::CDRECT(9000, 11000, 4000, 6000), 0, -1},  // 6 across the disc's edge
  };
  Drawing d;
  for (const Shape& s : shapes) {
    CBPointArray p;
    if (s.circle)
      p.CreateEllipse(s.r);
    else
      p.CreateRect(s.r);
    d.Add(p);
  }
  std::vector<int> depth, parent;
  NestPaths(d.paths, depth, parent);
  for (std::size_t i = 0; i < std::size(shapes); ++i) {
    EXPECT_EQ(depth[i], shapes[i].depth) << i;
    EXPECT_EQ(parent[i], shapes[i].parent) << i;
  }
  // Shapes: the disc with its two holes, the island with its hole, and the two squares.
  GroupIntoShapes(d);
  ASSERT_EQ(d.items.size(), 4u);
  EXPECT_EQ(d.items[0].paths, (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(d.items[1].paths, (std::vector<int>{3, 4}));
  EXPECT_EQ(d.items[2].paths, (std::vector<int>{5}));
  EXPECT_EQ(d.items[3].paths, (std::vector<int>{6}));
  EXPECT_EQ(PageBox(d).xmax, 13000);
}

}  // namespace
}  // namespace plexa::io
