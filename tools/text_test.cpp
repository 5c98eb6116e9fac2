// plexa text, run as a user would, its SVG read back with plexa::io.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "io/svg_read.h"

namespace fs = std::filesystem;

namespace {

struct Outcome {
  int status;
  std::string err;
};

Outcome Text(const std::string& args, const fs::path& dir) {
  const fs::path err = dir / "err.txt";
  const std::string cmd =
      std::string("'") + PLEXA_CLI + "' text " + args + " >/dev/null 2>'" + err.string() + "'";
  const int raw = std::system(cmd.c_str());
  std::ifstream f(err);
  std::stringstream s;
  s << f.rdbuf();
  return Outcome{WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, s.str()};
}

bool HaveDejaVu() {
  return fs::exists("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf");
}

TEST(TextTool, SetsCapitalHeightAndLinesAndRefusesWhatItCannotSet) {
  if (!HaveDejaVu()) GTEST_SKIP() << "fonts-dejavu-core is not installed";
  const fs::path dir = fs::temp_directory_path() / ("plexa_text_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  const std::string svg = (dir / "t.svg").string();
  ASSERT_EQ(Text("'HI\\nH' -o '" + svg + "' --height 10mm", dir).status, 0);
  plexa::io::Drawing d;
  std::string warning, error;
  ASSERT_TRUE(plexa::io::ReadSvgFile(svg, d, warning, error)) << error;
  // H, I on the first line and H on the second: flat tops and bottoms, so the bounds are exact.
  ASSERT_EQ(d.paths.GetSize(), 3);
  PLEXA::CDRECT b[3];
  for (int i = 0; i < 3; ++i) b[i] = d.paths.GetAt(i)->GetPolyBezierRect(1.0);
  EXPECT_NEAR(b[0].ymax - b[0].ymin, 100.0, 1e-3);  // 10 mm = 100 drawing units
  EXPECT_NEAR(b[1].ymax - b[1].ymin, 100.0, 1e-3);
  EXPECT_GT(b[1].xmin, b[0].xmax);                               // I after H
  EXPECT_NEAR(b[2].ymin - b[0].ymin, 1.2 * 100.0 / 0.729, 2.0);  // 1.2 em below (cap 0.729 em)

  // A missing face, an empty text and a bad font description fail with one line each.
  const Outcome missing = Text("x -o '" + svg + "' --font 'No Such Face'", dir);
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("not installed"), std::string::npos) << missing.err;
  EXPECT_EQ(std::count(missing.err.begin(), missing.err.end(), '\n'), 1);
  EXPECT_EQ(Text("'' -o '" + svg + "'", dir).status, 2);
  EXPECT_EQ(Text("x -o '" + svg + "' --font 'DejaVu Sans:heavy'", dir).status, 2);
  EXPECT_EQ(Text("' ' -o '" + svg + "'", dir).status, 1);  // nothing visible
  fs::remove_all(dir);
}

}  // namespace
