// plexa centerline as a user runs it: generated stroke images in, open SVG paths out.
#include "tools/tool_test_support.h"

namespace {

using namespace plexa::tooltest;

class Centerline : public ToolTest {
 protected:
  int Run(const std::string& args) { return ToolTest::Run("centerline " + args); }
};

}  // namespace

TEST_F(Centerline, StrokesDotsAndBadInput) {
  // An L of 9-pixel strokes and a dot: two open paths (the L has one corner, no junction, so
  // one path; the dot a short one), unfilled and stroked.
  const std::string img = GreyPng("in.png", 120, 100, [](int x, int y) {
    const bool bar = y >= 76 && y < 85 && x >= 10 && x < 100;
    const bool stem = x >= 10 && x < 19 && y >= 10 && y < 85;
    const bool dot = (x - 60) * (x - 60) + (y - 30) * (y - 30) <= 9;
    return bar || stem || dot;
  });
  const std::string svg = (dir_ / "out.svg").string();
  ASSERT_EQ(Run("'" + img + "' -o '" + svg + "'"), 0) << err_;
  const std::string out = Slurp(svg);
  EXPECT_EQ(Count(out, "<path"), 2);
  EXPECT_EQ(Count(out, "fill=\"none\""), 2);
  EXPECT_EQ(Count(out, "stroke-width"), 2);
  EXPECT_EQ(Count(out, " Z"), 0);  // open paths
  // Light strokes on dark: --invert; nothing to trace without it (the paper is the strokes'
  // colour then, and a full page thins to nothing or to a stray line, never a hang).
  const std::string neg = GreyPng(
      "neg.png", 80, 60, [](int x, int y) { return !(y >= 25 && y < 34 && x >= 10 && x < 70); });
  ASSERT_EQ(Run("'" + neg + "' --invert --dpi 254 -o '" + svg + "'"), 0) << err_;
  EXPECT_EQ(Count(Slurp(svg), "<path"), 1);
  // Bad input: one line, status 1, the old output untouched; usage errors give 2.
  const std::string before = Slurp(svg);
  EXPECT_EQ(Run("'" + (dir_ / "missing.png").string() + "' -o '" + svg + "'"), 1);
  EXPECT_EQ(Count(err_, "\n"), 1);
  EXPECT_EQ(Slurp(svg), before);
  std::ofstream(dir_ / "notes.png") << "not an image";
  EXPECT_EQ(Run("'" + (dir_ / "notes.png").string() + "' -o '" + svg + "'"), 1);
  EXPECT_EQ(Slurp(svg), before);
  EXPECT_EQ(Run("'" + img + "'"), 2);
  EXPECT_EQ(Run("'" + img + "' -o '" + svg + "' --min-dot 0"), 2);
  EXPECT_EQ(Run("--help"), 0);
}
