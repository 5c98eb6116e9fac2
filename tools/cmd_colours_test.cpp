// plexa colours as a user runs it: generated colour images in, one SVG group a colour out.
#include <cmath>

#include "tools/tool_test_support.h"

namespace {

using namespace plexa::tooltest;

class Colours : public ToolTest {
 protected:
  int Run(const std::string& args) { return ToolTest::Run("colours " + args); }
};

TEST_F(Colours, FlatColourImageGivesOneGroupPerColourWithHoles) {
  // Four quadrants; a disc of a fifth colour with a hole of the first colour in the middle.
  const std::string in = RgbPng("in.png", 80, 60, [](int x, int y) -> unsigned {
    const double r = std::hypot(x - 40, y - 30);
    if (r < 6) return 0xff0000;
    if (r < 18) return 0x00a0ff;
    return x < 40 ? (y < 30 ? 0xff0000 : 0x00ff00) : (y < 30 ? 0x0000ff : 0xffff00);
  });
  const std::string out = (dir_ / "out.svg").string();
  ASSERT_EQ(Run("'" + in + "' -o '" + out + "' --colours 5"), 0) << err_;
  const std::string svg = Slurp(out);
  EXPECT_EQ(Count(svg, "<g fill="), 5);
  for (const char* c : {"#ff0000", "#00ff00", "#0000ff", "#ffff00", "#00a0ff"})
    EXPECT_EQ(Count(svg, std::string("fill=\"") + c), 1) << c;
  // Loops: 4 quadrants cut by the disc, the disc's outer loop and its hole, the red centre.
  EXPECT_EQ(Count(svg, "M"), 4 + 2 + 1);
  EXPECT_NE(svg.find("viewBox=\"0 0 80 60\""), std::string::npos);
}

TEST_F(Colours, BadInputGivesOneClearLine) {
  const std::string out = (dir_ / "out.svg").string();
  std::ofstream(dir_ / "text.png") << "not an image";
  EXPECT_EQ(Run("'" + (dir_ / "text.png").string() + "' -o '" + out + "'"), 1);
  EXPECT_NE(err_.find("not a readable"), std::string::npos) << err_;
  EXPECT_FALSE(fs::exists(out));
  const std::string in = RgbPng("in.png", 1, 1, [](int, int) { return 0x123456u; });
  EXPECT_EQ(Run("'" + in + "' -o '" + out + "' --colours 100000"), 2);
  EXPECT_NE(err_.find("--colours"), std::string::npos) << err_;
  EXPECT_EQ(Run("'" + in + "' -o '" + out + "' --colours 0"), 2);
  // One pixel: one group, one square loop.
  ASSERT_EQ(Run("'" + in + "' -o - --colours 1"), 0) << err_;
  const std::string svg = out_;
  EXPECT_EQ(Count(svg, "<g fill=\"#123456\""), 1);
  EXPECT_EQ(Count(svg, "M"), 1);
}

}  // namespace
