// Runs `plexa envelope` and `plexa effect` as a user would and reads the results back.
#include "tools/tool_test_support.h"

namespace {

using namespace plexa::tooltest;

class EffectsCli : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    // 100 x 60 mm: a 40 x 50 mm rectangle and a circle of radius 22 mm.
    Svg("in.svg", "<rect x='5' y='5' width='40' height='50'/><circle cx='72' cy='30' r='22'/>", 100,
        60);
  }
  std::string In() const { return "'" + Path("in.svg") + "'"; }
  std::string Out() const { return "'" + Path("out.svg") + "'"; }

  // Bounds of the result in drawing units (tenths of a mm), and its node count.
  PLEXA::CDRECT Bounds(INT_PTR* nodes = nullptr) {
    const plexa::io::Drawing d = Read(Path("out.svg"));
    PLEXA::CDRECT box(0, 0, 0, 0);
    d.paths.CalcFrame(box, 1.0);
    for (INT_PTR i = 0; nodes && i < d.paths.GetSize(); ++i)
      *nodes += d.paths.GetAt(static_cast<int>(i))->GetSize();
    return box;
  }
};

}  // namespace

// The written page starts at the result's bounds, so the checks read sizes: the input spans
// 890 x 500 units (x 50..940, y 50..550).
TEST_F(EffectsCli, EnvelopeBendsBetweenTheDrawingsEdges) {
  // bend-up: both middles rise by 0.2 of the height; the corners stay, so the result is 100
  // units taller and as wide.
  ASSERT_EQ(Run("envelope " + In() + " -o " + Out() + " --preset bend-up"), 0);
  PLEXA::CDRECT b = Bounds();
  EXPECT_NEAR(b.xmax - b.xmin, 890, 0.5);
  EXPECT_NEAR(b.ymax - b.ymin, 600, 2);
  // By number, with the plain point form and another amount: bulge pushes both middles out.
  ASSERT_EQ(Run("envelope " + In() + " -o " + Out() + " --preset 6 --points --amount 0.1"), 0);
  b = Bounds();
  EXPECT_GT(b.ymax - b.ymin, 540);
  for (const char* bad : {" --preset nope", ""})
    EXPECT_EQ(Run("envelope " + In() + " -o " + Out() + bad), 2) << bad;
}

TEST_F(EffectsCli, EffectsRunOneAtATime) {
  // --twirl 0 leaves the drawing as it was (the library's quarter turn is undone).
  ASSERT_EQ(Run("effect " + In() + " -o " + Out() + " --twirl 0"), 0);
  PLEXA::CDRECT b = Bounds();
  EXPECT_NEAR(b.xmax - b.xmin, 890, 0.5);
  EXPECT_NEAR(b.ymax - b.ymin, 500, 0.5);
  // A wave 3 mm high adds up to 3 mm above and below.
  ASSERT_EQ(Run("effect " + In() + " -o " + Out() + " --wave 20mm --size 3"), 0);
  b = Bounds();
  EXPECT_GT(b.ymax - b.ymin, 520);
  EXPECT_LE(b.ymax - b.ymin, 561);
  // Zig-zag every 4 mm gives many corner nodes within 1 mm of the original bounds.
  INT_PTR nodes = 0;
  ASSERT_EQ(Run("effect " + In() + " -o " + Out() + " --zigzag 4 --size 1"), 0);
  b = Bounds(&nodes);
  EXPECT_GT(nodes, 60);
  EXPECT_NEAR(b.xmax - b.xmin, 890, 20.5);
  for (const char* args : {" --pinch 2", " --spherize", " --roughen 3 --smooth"})
    EXPECT_EQ(Run("effect " + In() + " -o " + Out() + args), 0) << args;
  for (const char* bad : {"", " --pinch 1 --twirl 5", " --wave abc"})
    EXPECT_EQ(Run("effect " + In() + " -o " + Out() + bad), 2) << bad;
}
