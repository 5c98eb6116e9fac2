// plexa weld and plexa boolean as a user runs them: small SVGs in, the written SVG read back
// and probed point by point (even-odd over the flattened result).
#include <tuple>

#include "tools/tool_test_support.h"

namespace {

using namespace plexa::tooltest;

class WeldTool : public ToolTest {};

TEST_F(WeldTool, WeldMergesOverlapsAndBooleansKeepHoles) {
  const std::string two = Svg("two.svg",
                              "<rect x='10' y='10' width='40' height='40'/>"
                              "<rect x='30' y='30' width='40' height='40'/>");
  const std::string out = (dir_ / "w.svg").string();
  ASSERT_EQ(Run("weld '" + two + "' -o '" + out + "'"), 0);
  plexa::io::Drawing w = Read(out);
  EXPECT_EQ(w.paths.GetSize(), 1);
  // Under even-odd the overlap of the two input squares would be empty; welded it is filled.
  for (auto [x, y, in] : {std::tuple{20.0, 20.0, true},
                          {40.0, 40.0, true},
                          {60.0, 60.0, true},
                          {60.0, 20.0, false},
                          {20.0, 60.0, false}})
    EXPECT_EQ(Inside(w, x, y), in) << x << "," << y;

  const std::string big = Svg("big.svg", "<rect x='10' y='10' width='80' height='80'/>");
  const std::string hole = Svg("hole.svg", "<circle cx='50' cy='50' r='20'/>");
  const std::string sub = (dir_ / "s.svg").string();
  ASSERT_EQ(Run("boolean subtract '" + big + "' '" + hole + "' -o '" + sub + "'"), 0);
  plexa::io::Drawing s = Read(sub);
  ASSERT_EQ(s.items.size(), 1u);  // one shape: the outline and its hole
  EXPECT_EQ(s.items[0].paths.size(), 2u);
  for (auto [x, y, in] : {std::tuple{15.0, 15.0, true},
                          {50.0, 50.0, false},
                          {50.0, 31.0, false},
                          {50.0, 29.0, true},
                          {95.0, 50.0, false}})
    EXPECT_EQ(Inside(s, x, y), in) << x << "," << y;

  const std::string inter = (dir_ / "i.svg").string();
  ASSERT_EQ(Run("boolean intersect '" + big + "' '" + hole + "' -o '" + inter + "'"), 0);
  plexa::io::Drawing i = Read(inter);
  EXPECT_TRUE(Inside(i, 50, 50));
  EXPECT_FALSE(Inside(i, 15, 15));
}

TEST_F(WeldTool, ErrorsLeaveNoFile) {
  const std::string a = Svg("a.svg", "<rect x='10' y='10' width='40' height='40'/>");
  const std::string out = (dir_ / "out.svg").string();
  EXPECT_EQ(Run("boolean frobnicate '" + a + "' '" + a + "' -o '" + out + "'"), 2);
  EXPECT_EQ(Run("weld '" + a + "' --fill-rule odd -o '" + out + "'"), 2);
  EXPECT_EQ(
      Run("boolean union '" + a + "' '" + (dir_ / "missing.svg").string() + "' -o '" + out + "'"),
      1);
  EXPECT_FALSE(fs::exists(out));
}

}  // namespace
