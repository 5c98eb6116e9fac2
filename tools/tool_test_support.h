// The fixture every tool test shares: a scratch folder a test, the tool run as a user runs it,
// generated pictures and SVGs in, the written files read back. Test code only.
//
//   class Weld : public plexa::tooltest::ToolTest {};
//   TEST_F(Weld, Something) {
//     const std::string in = Svg("a.svg", "<rect x='10' y='10' width='40' height='40'/>");
//     ASSERT_EQ(Run("weld '" + in + "' -o '" + Path("w.svg") + "'"), 0) << err_;
//     EXPECT_TRUE(Inside(Read(Path("w.svg")), 20, 20));
//   }
#pragma once

#include <gtest/gtest.h>
#include <stb_image_write.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "io/flatten.h"
#include "io/svg_read.h"

namespace plexa::tooltest {

namespace fs = std::filesystem;

inline std::string Slurp(const fs::path& p) {
  std::ifstream f(p, std::ios::binary);
  std::stringstream s;
  s << f.rdbuf();
  return s.str();
}

// How often `what` occurs in s (overlapping occurrences count).
inline int Count(const std::string& s, const std::string& what) {
  int n = 0;
  for (auto at = s.find(what); at != std::string::npos; at = s.find(what, at + 1)) ++n;
  return n;
}

class ToolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    dir_ = fs::temp_directory_path() / ("plexa_" + std::string(info->test_suite_name()) + "_" +
                                        std::to_string(::getpid()) + "_" + info->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  // Runs `plexa args` in the scratch folder (relative names land there); standard output into
  // out_, standard error into err_. Returns the exit status, -1 when the tool did not exit.
  int Run(const std::string& args) {
    const std::string cmd = "cd '" + dir_.string() + "' && '" + PLEXA_CLI + "' " + args + " >'" +
                            (dir_ / ".stdout").string() + "' 2>'" + (dir_ / ".stderr").string() +
                            "'";
    const int raw = std::system(cmd.c_str());
    out_ = Slurp(dir_ / ".stdout");
    err_ = Slurp(dir_ / ".stderr");
    fs::remove(dir_ / ".stdout");
    fs::remove(dir_ / ".stderr");
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  }

  std::string Path(const std::string& name) const { return (dir_ / name).string(); }

  // An SVG of w x h mm whose user unit is a millimetre (10 drawing units).
  std::string Svg(const std::string& name, const std::string& body, int w = 100, int h = 100) {
    const std::string path = Path(name);
    const std::string W = std::to_string(w), H = std::to_string(h);
    std::ofstream(path) << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << W
                        << "mm\" height=\"" << H << "mm\" viewBox=\"0 0 " << W << " " << H << "\">"
                        << body << "</svg>";
    return path;
  }

  // A grey picture: dark (20) where ink(x, y) holds, light (230) elsewhere.
  std::string GreyPng(const std::string& name, int w, int h,
                      const std::function<bool(int, int)>& ink) {
    std::vector<unsigned char> px(static_cast<std::size_t>(w) * h);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) px[static_cast<std::size_t>(y) * w + x] = ink(x, y) ? 20 : 230;
    const std::string path = Path(name);
    stbi_write_png(path.c_str(), w, h, 1, px.data(), w);
    return path;
  }

  // A colour picture: rgb(x, y) as 0xRRGGBB.
  std::string RgbPng(const std::string& name, int w, int h,
                     const std::function<unsigned(int, int)>& rgb) {
    std::vector<unsigned char> px;
    px.reserve(static_cast<std::size_t>(w) * h * 3);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x)
        for (int s : {16, 8, 0}) px.push_back(static_cast<unsigned char>(rgb(x, y) >> s));
    const std::string path = Path(name);
    stbi_write_png(path.c_str(), w, h, 3, px.data(), w * 3);
    return path;
  }

  // A written SVG read back; a failed read fails the test.
  static plexa::io::Drawing Read(const std::string& path) {
    plexa::io::Drawing d;
    std::string warning, error;
    EXPECT_TRUE(plexa::io::ReadSvgFile(path, d, warning, error)) << error;
    return d;
  }

  // Even-odd inside test of (x, y) in millimetres over every path of d, flattened to 0.01 mm.
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
  std::string out_, err_;
};

}  // namespace plexa::tooltest
