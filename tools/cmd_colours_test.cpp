// plexa colours as a user runs it: generated colour images in, one SVG group a colour out.
#include <gtest/gtest.h>
#include <stb_image_write.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

class Colours : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("plexa_colours_" + std::to_string(::getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  int Run(const std::string& args) {
    const std::string cmd = std::string("'") + PLEXA_CLI + "' colours " + args + " >'" +
                            (dir_ / "out.txt").string() + "' 2>'" + (dir_ / "err.txt").string() +
                            "'";
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
  std::string Png(int w, int h, const std::function<unsigned(int, int)>& colour) {
    std::vector<unsigned char> px(static_cast<std::size_t>(w) * h * 3);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x)
        for (int c = 0; c < 3; ++c)
          px[(static_cast<std::size_t>(y) * w + x) * 3 + c] =
              static_cast<unsigned char>(colour(x, y) >> (16 - 8 * c));
    const std::string path = (dir_ / "in.png").string();
    stbi_write_png(path.c_str(), w, h, 3, px.data(), w * 3);
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

TEST_F(Colours, FlatColourImageGivesOneGroupPerColourWithHoles) {
  // Four quadrants; a disc of a fifth colour with a hole of the first colour in the middle.
  const std::string in = Png(80, 60, [](int x, int y) -> unsigned {
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
  const std::string in = Png(1, 1, [](int, int) { return 0x123456u; });
  EXPECT_EQ(Run("'" + in + "' -o '" + out + "' --colours 100000"), 2);
  EXPECT_NE(err_.find("--colours"), std::string::npos) << err_;
  EXPECT_EQ(Run("'" + in + "' -o '" + out + "' --colours 0"), 2);
  // One pixel: one group, one square loop.
  ASSERT_EQ(Run("'" + in + "' -o - --colours 1"), 0) << err_;
  const std::string svg = Slurp(dir_ / "out.txt");
  EXPECT_EQ(Count(svg, "<g fill=\"#123456\""), 1);
  EXPECT_EQ(Count(svg, "M"), 1);
}

}  // namespace
