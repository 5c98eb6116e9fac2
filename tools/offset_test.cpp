// plexa offset and plexa contour as a user runs them: the written SVG read back and probed
// point by point (even-odd over the flattened result).
#include <tuple>

#include "tools/tool_test_support.h"

namespace {

using namespace plexa::tooltest;

class OffsetTool : public ToolTest {
 protected:
  // Even-odd inside test of (x, y) in millimetres over every path read from the SVG.
  static bool Inside(const std::string& path, double x, double y) {
    return ToolTest::Inside(Read(path), x, y);
  }
};

// A 40 mm square grown by 5 mm with round and miter joins, shrunk by 5 mm, and refused input.
TEST_F(OffsetTool, OffsetGrowsShrinksAndRefuses) {
  const std::string in = Svg("sq.svg", "<rect x='30' y='30' width='40' height='40'/>");
  const std::string round = Path("r.svg"), miter = Path("m.svg"), in5 = Path("i.svg");
  ASSERT_EQ(Run("offset '" + in + "' -o '" + round + "' --distance 5mm"), 0);
  ASSERT_EQ(Run("offset '" + in + "' -o '" + miter + "' --distance 5 --join miter"), 0);
  ASSERT_EQ(Run("offset '" + in + "' -o '" + in5 + "' --distance=-5mm"), 0);
  // The corner (26, 26) is 5.66 mm from the square: outside the round join, inside the miter.
  for (auto [x, y, r, m, i] : {std::tuple{50.0, 25.5, true, true, false},
                               {26.0, 26.0, false, true, false},
                               {50.0, 36.0, true, true, true},
                               {50.0, 34.0, true, true, false},
                               {50.0, 24.0, false, false, false}}) {
    EXPECT_EQ(Inside(round, x, y), r) << x << "," << y;
    EXPECT_EQ(Inside(miter, x, y), m) << x << "," << y;
    EXPECT_EQ(Inside(in5, x, y), i) << x << "," << y;
  }
  EXPECT_EQ(Run("offset '" + in + "' -o '" + Path("n.svg") + "' --distance nan"), 2);
  EXPECT_EQ(Run("offset '" + in + "' -o '" + Path("j.svg") + "' -d 1 --join spiky"), 2);
  EXPECT_FALSE(fs::exists(Path("n.svg")));
}

// The sample sign contoured: two groups, the cut line around the artwork.
TEST_F(OffsetTool, ContourWritesArtworkAndCutLine) {
  const std::string out = Path("c.svg");
  ASSERT_EQ(
      Run("contour '" + std::string(PLEXA_EXAMPLES) + "/sign.png' -o '" + out + "' --distance 3mm"),
      0);
  const std::string s = Slurp(out);
  const std::size_t art = s.find("<g id=\"artwork\">"), cut = s.find("<g id=\"cut-contour\">");
  ASSERT_NE(art, std::string::npos);
  ASSERT_NE(cut, std::string::npos);
  EXPECT_NE(s.find("<path", art), std::string::npos);
  EXPECT_NE(s.find("stroke=\"red\"", cut), std::string::npos);
  EXPECT_EQ(Run("contour '" + Path("missing.png") + "' -o '" + Path("x.svg") + "'"), 1);
}

}  // namespace
