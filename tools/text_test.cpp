// plexa text, run as a user would, its SVG read back with plexa::io.
#include "tools/tool_test_support.h"

namespace {

using namespace plexa::tooltest;

class TextTool : public ToolTest {
 protected:
  int Run(const std::string& args) { return ToolTest::Run("text " + args); }
};

bool HaveDejaVu() {
  return fs::exists("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf");
}

TEST_F(TextTool, SetsCapitalHeightAndLinesAndRefusesWhatItCannotSet) {
  if (!HaveDejaVu()) GTEST_SKIP() << "fonts-dejavu-core is not installed";
  const std::string svg = Path("t.svg");
  ASSERT_EQ(Run("'HI\\nH' -o '" + svg + "' --height 10mm"), 0) << err_;
  const plexa::io::Drawing d = Read(svg);
  // H, I on the first line and H on the second: flat tops and bottoms, so the bounds are exact.
  ASSERT_EQ(d.paths.GetSize(), 3);
  PLEXA::CDRECT b[3];
  for (int i = 0; i < 3; ++i) b[i] = d.paths.GetAt(i)->GetPolyBezierRect(1.0);
  EXPECT_NEAR(b[0].ymax - b[0].ymin, 100.0, 1e-3);  // 10 mm = 100 drawing units
  EXPECT_NEAR(b[1].ymax - b[1].ymin, 100.0, 1e-3);
  EXPECT_GT(b[1].xmin, b[0].xmax);                               // I after H
  EXPECT_NEAR(b[2].ymin - b[0].ymin, 1.2 * 100.0 / 0.729, 2.0);  // 1.2 em below (cap 0.729 em)

  // A missing face, an empty text and a bad font description fail with one line each.
  EXPECT_EQ(Run("x -o '" + svg + "' --font 'No Such Face'"), 1);
  EXPECT_NE(err_.find("not installed"), std::string::npos) << err_;
  EXPECT_EQ(Count(err_, "\n"), 1);
  EXPECT_EQ(Run("'' -o '" + svg + "'"), 2);
  EXPECT_EQ(Run("x -o '" + svg + "' --font 'DejaVu Sans:heavy'"), 2);
  EXPECT_EQ(Run("' ' -o '" + svg + "'"), 1);  // nothing visible
}

}  // namespace
