// plexa centerline as a user runs it: generated stroke images in, open SVG paths out.
#include <gtest/gtest.h>
#include <stb_image_write.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

class Centerline : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("plexa_centerline_" + std::to_string(::getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  // Exit status; standard error into err_.
  int Run(const std::string& args) {
    const std::string cmd = std::string("'") + PLEXA_CLI + "' centerline " + args +
                            " >/dev/null 2>'" + (dir_ / "err.txt").string() + "'";
    const int raw = std::system(cmd.c_str());
    err_ = Slurp(dir_ / "err.txt");
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  }
  static std::string Slurp(const fs::path& p) {
    std::ifstream f(p, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
  }
  // Grey image: dark (20) where ink holds, light (230) elsewhere.
  std::string Png(int w, int h, const std::function<bool(int, int)>& ink) {
    std::vector<unsigned char> px(static_cast<std::size_t>(w) * h);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) px[static_cast<std::size_t>(y) * w + x] = ink(x, y) ? 20 : 230;
    const std::string path = (dir_ / "in.png").string();
    stbi_write_png(path.c_str(), w, h, 1, px.data(), w);
    return path;
  }
  static int Count(const std::string& s, const std::string& what) {
    int n = 0;
    for (auto at = s.find(what); at != std::string::npos; at = s.find(what, at + 1)) ++n;
    return n;
  }

  fs::path dir_;
  std::string err_;
};

}  // namespace

TEST_F(Centerline, StrokesDotsAndBadInput) {
  // An L of 9-pixel strokes and a dot: two open paths (the L has one corner, no junction, so
  // one path; the dot a short one), unfilled and stroked.
  const std::string img = Png(120, 100, [](int x, int y) {
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
  const std::string neg =
      Png(80, 60, [](int x, int y) { return !(y >= 25 && y < 34 && x >= 10 && x < 70); });
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
