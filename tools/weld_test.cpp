// plexa weld and plexa boolean as a user runs them: small SVGs in, the written SVG read back
// and probed point by point (even-odd over the flattened result).
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "io/flatten.h"
#include "io/svg_read.h"

namespace fs = std::filesystem;

namespace {

class WeldTool : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("plexa_weld_" + std::to_string(::getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  // An SVG of 100 x 100 mm whose user unit is a millimetre (10 drawing units).
  std::string Svg(const std::string& name, const std::string& body) {
    const std::string path = (dir_ / name).string();
    std::ofstream(path) << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"100mm\" "
                           "height=\"100mm\" viewBox=\"0 0 100 100\">"
                        << body << "</svg>";
    return path;
  }
  int Run(const std::string& args) {
    const std::string cmd = std::string("'") + PLEXA_CLI + "' " + args + " >/dev/null 2>&1";
    const int raw = std::system(cmd.c_str());
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  }
  plexa::io::Drawing Read(const std::string& path) {
    plexa::io::Drawing d;
    std::string warning, error;
    EXPECT_TRUE(plexa::io::ReadSvgFile(path, d, warning, error)) << error;
    return d;
  }
  // Even-odd inside test of (x, y) in millimetres over every path of d.
  static bool Inside(const plexa::io::Drawing& d, double x, double y) {
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
