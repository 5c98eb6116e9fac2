// plexa offset and plexa contour as a user runs them: the written SVG read back and probed
// point by point (even-odd over the flattened result).
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "io/flatten.h"
#include "io/svg_read.h"

namespace fs = std::filesystem;

namespace {

class OffsetTool : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("plexa_offset_" + std::to_string(::getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  std::string Path(const std::string& name) { return (dir_ / name).string(); }
  int Run(const std::string& args) {
    const std::string cmd = std::string("'") + PLEXA_CLI + "' " + args + " >/dev/null 2>&1";
    const int raw = std::system(cmd.c_str());
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  }
  // Even-odd inside test of (x, y) in millimetres over every path read from the SVG.
  static bool Inside(const std::string& path, double x, double y) {
    plexa::io::Drawing d;
    std::string warning, error;
    EXPECT_TRUE(plexa::io::ReadSvgFile(path, d, warning, error)) << error;
    x *= 10;
    y *= 10;
    bool in = false;
    std::vector<PLEXA::CDPOINT> pts;
    for (INT_PTR i = 0; i < d.paths.GetSize(); ++i) {
      plexa::io::FlattenPath(*d.paths.GetAt(static_cast<int>(i)), 0.1, pts);
      for (std::size_t k = 0, j = pts.size() - 1; k < pts.size(); j = k++)
        if ((pts[k].y > y) != (pts[j].y > y) &&
            x < pts[j].x + (y - pts[j].y) * (pts[k].x - pts[j].x) / (pts[k].y - pts[j].y))
          in = !in;
    }
    return in;
  }
  fs::path dir_;
};

// A 40 mm square grown by 5 mm with round and miter joins, shrunk by 5 mm, and refused input.
TEST_F(OffsetTool, OffsetGrowsShrinksAndRefuses) {
  const std::string in = Path("sq.svg");
  std::ofstream(in) << "<svg xmlns='http://www.w3.org/2000/svg' width='100mm' height='100mm' "
                       "viewBox='0 0 100 100'><rect x='30' y='30' width='40' height='40'/></svg>";
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
  std::stringstream text;
  text << std::ifstream(out).rdbuf();
  const std::string s = text.str();
  const std::size_t art = s.find("<g id=\"artwork\">"), cut = s.find("<g id=\"cut-contour\">");
  ASSERT_NE(art, std::string::npos);
  ASSERT_NE(cut, std::string::npos);
  EXPECT_NE(s.find("<path", art), std::string::npos);
  EXPECT_NE(s.find("stroke=\"red\"", cut), std::string::npos);
  EXPECT_EQ(Run("contour '" + Path("missing.png") + "' -o '" + Path("x.svg") + "'"), 1);
}

}  // namespace
