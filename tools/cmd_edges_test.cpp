// plexa edges as a user runs it: generated pictures in, open SVG paths out.
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

class Edges : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("plexa_edges_" + std::to_string(::getpid()));
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  int Run(const std::string& args) {  // exit status; standard error into err_
    const std::string cmd = std::string("'") + PLEXA_CLI + "' edges " + args + " >/dev/null 2>'" +
                            (dir_ / "err.txt").string() + "'";
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
  // A colour picture: rgb(x, y) as 0xRRGGBB.
  std::string Png(const std::string& file, int w, int h,
                  const std::function<unsigned(int, int)>& rgb) {
    std::vector<unsigned char> px;
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x)
        for (int s : {16, 8, 0}) px.push_back(static_cast<unsigned char>(rgb(x, y) >> s));
    const std::string path = (dir_ / file).string();
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

}  // namespace

TEST_F(Edges, DiscFlatAndBadInput) {
  const std::string disc = Png("disc.png", 160, 120, [](int x, int y) {
    return std::hypot(x - 80.0, y - 60.0) < 40 ? 0xF0E020u : 0x203080u;
  });
  const std::string svg = (dir_ / "out.svg").string();
  for (const char* method : {"canny", "isef"}) {
    ASSERT_EQ(Run("'" + disc + "' --method " + method + " -o '" + svg + "'"), 0) << err_;
    const std::string out = Slurp(svg);
    EXPECT_GE(Count(out, "<path"), 1) << method;
    EXPECT_EQ(Count(out, "<path"), Count(out, "fill=\"none\"")) << method;
  }
  const std::string flat = Png("flat.png", 50, 40, [](int, int) { return 0x808080u; });
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
