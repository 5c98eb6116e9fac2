// plexa scatter as a user runs it: determinism per seed, the count, copies inside the area,
// usage errors.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace {

std::string Slurp(const fs::path& p) {
  std::ifstream f(p, std::ios::binary);
  std::stringstream s;
  s << f.rdbuf();
  return s.str();
}

class Scatter : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("plexa_scatter_" + std::to_string(::getpid()));
    fs::create_directories(dir_);
    // A 20 x 10 mm rectangle with a square hole: two paths in one item.
    std::ofstream(dir_ / "shape.svg")
        << "<svg xmlns='http://www.w3.org/2000/svg' width='20mm' height='10mm' "
           "viewBox='0 0 20 10'><path d='M0 0 H20 V10 H0 Z M8 3 H12 V7 H8 Z'/></svg>";
  }
  void TearDown() override { fs::remove_all(dir_); }
  int Run(const std::string& args) {
    const std::string cmd = std::string("cd '") + dir_.string() + "' && '" + PLEXA_CLI +
                            "' scatter " + args + " >out.txt 2>err.txt";
    const int raw = std::system(cmd.c_str());
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  }
  fs::path dir_;
};

}  // namespace

TEST_F(Scatter, SameSeedSameCopiesInsideTheArea) {
  ASSERT_EQ(Run("shape.svg --area 300x200 --count 12 --seed 9 --margin 4mm -o a.svg"), 0);
  ASSERT_EQ(Run("shape.svg --area 300x200 --count 12 --seed 9 --margin 4mm -o b.svg"), 0);
  ASSERT_EQ(Run("shape.svg --area 300x200 --count 12 --seed 10 --margin 4mm -o c.svg"), 0);
  const std::string a = Slurp(dir_ / "a.svg");
  EXPECT_EQ(a, Slurp(dir_ / "b.svg"));
  EXPECT_NE(a, Slurp(dir_ / "c.svg"));
  EXPECT_NE(Slurp(dir_ / "out.txt").find("scattered 12 of 12 copies"), std::string::npos);
  EXPECT_NE(a.find("width=\"300mm\" height=\"200mm\""), std::string::npos);
  // One path element a copy, each with its outline and its hole.
  const std::regex path("<path d=\"([^\"]*)\"");
  const std::regex number("-?[0-9]+(\\.[0-9]+)?");
  int paths = 0;
  for (std::sregex_iterator it(a.begin(), a.end(), path), end; it != end; ++it) {
    ++paths;
    const std::string d = (*it)[1];
    int moves = 0;
    for (char c : d) moves += c == 'M';
    EXPECT_EQ(moves, 2);
    int k = 0;
    for (std::sregex_iterator n(d.begin(), d.end(), number), e; n != e; ++n, ++k) {
      const double v = std::stod(n->str());
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
  EXPECT_NE(Slurp(dir_ / "out.txt").find("of 1000 copies"), std::string::npos);
}
