// plexa scatter as a user runs it: determinism per seed, the count, copies inside the area,
// usage errors.
#include <cctype>

#include "tools/tool_test_support.h"

namespace {

using namespace plexa::tooltest;

class Scatter : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    // A 20 x 10 mm rectangle with a square hole: two paths in one item.
    Svg("shape.svg", "<path d='M0 0 H20 V10 H0 Z M8 3 H12 V7 H8 Z'/>", 20, 10);
  }
  int Run(const std::string& args) { return ToolTest::Run("scatter " + args); }
};

}  // namespace

TEST_F(Scatter, SameSeedSameCopiesInsideTheArea) {
  ASSERT_EQ(Run("shape.svg --area 300x200 --count 12 --seed 9 --margin 4mm -o a.svg"), 0);
  ASSERT_EQ(Run("shape.svg --area 300x200 --count 12 --seed 9 --margin 4mm -o b.svg"), 0);
  ASSERT_EQ(Run("shape.svg --area 300x200 --count 12 --seed 10 --margin 4mm -o c.svg"), 0);
  const std::string a = Slurp(dir_ / "a.svg");
  EXPECT_EQ(a, Slurp(dir_ / "b.svg"));
  EXPECT_NE(a, Slurp(dir_ / "c.svg"));
  EXPECT_NE(out_.find("scattered 12 of 12 copies"), std::string::npos);
  EXPECT_NE(a.find("width=\"300mm\" height=\"200mm\""), std::string::npos);
  // One path element a copy, each with its outline and its hole.
  int paths = 0;
  const std::string open = "<path d=\"";
  for (std::size_t at = a.find(open); at != std::string::npos; at = a.find(open, at + 1)) {
    ++paths;
    const std::size_t from = at + open.size();
    const std::string d = a.substr(from, a.find('"', from) - from);
    int moves = 0;
    for (char c : d) moves += c == 'M';
    EXPECT_EQ(moves, 2);
    // Every number of the path data, x and y in turn, lies on the page.
    std::string numbers = d;
    for (char& c : numbers)
      if (std::isalpha(static_cast<unsigned char>(c))) c = ' ';
    std::istringstream in(numbers);
    int k = 0;
    for (double v; in >> v; ++k) {
      EXPECT_GE(v, 0.0);
      EXPECT_LE(v, k % 2 == 0 ? 300.0 : 200.0);
    }
  }
  EXPECT_EQ(paths, 12);
}

TEST_F(Scatter, UsageErrors) {
  EXPECT_EQ(Run("shape.svg --area 300 --count 5 -o x.svg"), 2);
  EXPECT_EQ(Run("shape.svg --area 300x0 --count 5 -o x.svg"), 2);
  EXPECT_EQ(Run("shape.svg --area 300x200 --count 0 -o x.svg"), 2);
  EXPECT_EQ(Run("missing.svg --area 300x200 --count 5 -o x.svg"), 1);
  EXPECT_FALSE(fs::exists(dir_ / "x.svg"));
  // A full area stops early with what fits.
  EXPECT_EQ(Run("shape.svg --area 50x50 --count 1000 -o y.svg"), 0);
  EXPECT_NE(out_.find("of 1000 copies"), std::string::npos);
}
