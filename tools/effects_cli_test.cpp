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
// 890 x 500 units (x 50..940, y 50..550). Each run: its width and height ranges and the least
// node count.
TEST_F(EffectsCli, EnvelopesAndEffectsReshapeTheDrawing) {
  struct Case {
    const char* args;
    double wLo, wHi, hLo, hHi;
    INT_PTR nodes;
  };
  const Case cases[] = {
      // bend-up: both middles rise by 0.2 of the height, the corners stay: 100 units taller.
      {"envelope --preset bend-up", 889.5, 890.5, 598, 602, 0},
      // By number, the plain point form and another amount: bulge pushes both middles out.
      {"envelope --preset 6 --points --amount 0.1", 0, 1e9, 540, 1e9, 0},
      // --twirl 0 leaves the drawing as it was (the library's quarter turn is undone).
      {"effect --twirl 0", 889.5, 890.5, 499.5, 500.5, 0},
      // A wave 3 mm high adds up to 3 mm above and below.
      {"effect --wave 20mm --size 3", 0, 1e9, 520, 561, 0},
      // Zig-zag every 4 mm: many corner nodes within 1 mm of the original bounds.
      {"effect --zigzag 4 --size 1", 869.5, 910.5, 0, 1e9, 61},
      {"effect --pinch 2", 0, 1e9, 0, 1e9, 0},
      {"effect --spherize", 0, 1e9, 0, 1e9, 0},
      {"effect --roughen 3 --smooth", 0, 1e9, 0, 1e9, 0}};
  for (const Case& c : cases) {
    const std::string args = c.args, verb = args.substr(0, args.find(' '));
    ASSERT_EQ(Run(verb + " " + In() + " -o " + Out() + args.substr(verb.size())), 0) << c.args;
    INT_PTR nodes = 0;
    const PLEXA::CDRECT b = Bounds(&nodes);
    EXPECT_TRUE(b.xmax - b.xmin >= c.wLo && b.xmax - b.xmin <= c.wHi) << c.args;
    EXPECT_TRUE(b.ymax - b.ymin >= c.hLo && b.ymax - b.ymin <= c.hHi) << c.args;
    EXPECT_GE(nodes, c.nodes) << c.args;
  }
  for (const char* bad : {"envelope --preset nope", "envelope", "effect",
                          "effect --pinch 1 --twirl 5", "effect --wave abc"}) {
    const std::string args = bad, verb = args.substr(0, args.find(' '));
    EXPECT_EQ(Run(verb + " " + In() + " -o " + Out() + args.substr(verb.size())), 2) << bad;
  }
}
