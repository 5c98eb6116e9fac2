// plexa edges as a user runs it: generated pictures in, open SVG paths out.
#include <cmath>

#include "tools/tool_test_support.h"

namespace {

using namespace plexa::tooltest;

class Edges : public ToolTest {
 protected:
  int Run(const std::string& args) { return ToolTest::Run("edges " + args); }
};

}  // namespace

TEST_F(Edges, DiscFlatAndBadInput) {
  const std::string disc = RgbPng("disc.png", 160, 120, [](int x, int y) {
    return std::hypot(x - 80.0, y - 60.0) < 40 ? 0xF0E020u : 0x203080u;
  });
  const std::string svg = (dir_ / "out.svg").string();
  for (const char* method : {"canny", "isef"}) {
    ASSERT_EQ(Run("'" + disc + "' --method " + method + " -o '" + svg + "'"), 0) << err_;
    const std::string out = Slurp(svg);
    EXPECT_GE(Count(out, "<path"), 1) << method;
    EXPECT_EQ(Count(out, "<path"), Count(out, "fill=\"none\"")) << method;
  }
  const std::string flat = RgbPng("flat.png", 50, 40, [](int, int) { return 0x808080u; });
  ASSERT_EQ(Run("'" + flat + "' --details 1 -o '" + svg + "'"), 0) << err_;
  EXPECT_EQ(Count(Slurp(svg), "<path"), 0);
  // Bad input: one line, status 1, the old output untouched; usage errors give 2.
  const std::string before = Slurp(svg);
  EXPECT_EQ(Run("'" + (dir_ / "missing.png").string() + "' -o '" + svg + "'"), 1);
  EXPECT_EQ(Count(err_, "\n"), 1);
  EXPECT_EQ(Slurp(svg), before);
  EXPECT_EQ(Run("'" + disc + "' -o '" + svg + "' --details 1.5"), 2);
  EXPECT_EQ(Run("'" + disc + "' -o '" + svg + "' --method sobel"), 2);
  EXPECT_EQ(Run("'" + disc + "'"), 2);
  EXPECT_EQ(Run("--help"), 0);
}
