// plexa nest as a user runs it: SVG parts in, the sheets read back and checked for overlaps on
// the exact curves; bad input refused with nothing written.
#include "plexa/layout/nest.h"

#include <algorithm>
#include <iterator>

#include "tools/tool_test_support.h"

namespace {

using namespace plexa::tooltest;

class NestTool : public ToolTest {
 protected:
  // An SVG whose user unit is a millimetre.
  std::string Svg(const std::string& name, const std::string& body) {
    return ToolTest::Svg(name, body, 200, 200);
  }
  int Run(const std::string& args) { return ToolTest::Run("nest " + args); }
  // The shapes of a written sheet (outlines with their holes).
  std::vector<CPolyPolyBezier> Shapes(const std::string& path) {
    plexa::io::Drawing d = Read(path);
    plexa::io::GroupIntoShapes(d);
    std::vector<CPolyPolyBezier> out;
    for (const plexa::io::Item& item : d.items) {
      out.emplace_back();
      for (int p : item.paths) out.back().Add(new CBPointArray(d.paths[p]));
    }
    return out;
  }
};

TEST_F(NestTool, PartsFillSheetsWithoutOverlap) {
  // A ring (with a hole big enough for the small squares) and squares, 6 copies each, on
  // 130 x 130 mm sheets: four rings a sheet, so the copies need two sheets.
  const std::string parts =
      Svg("parts.svg",
          "<path d='M0 0H60V60H0Z M10 10V50H50V10Z'/>"
          "<rect x='100' y='0' width='18' height='18'/><circle cx='150' cy='30' r='12'/>");
  const double expected = 6 * (3600 - 1600 + 324 + 3.14159265 * 144) * 100;  // drawing units
  // One file, a layer a sheet, the second sheet 1.05 sheet heights below the first.
  const std::string out = (dir_ / "out.svg").string();
  ASSERT_EQ(Run(parts + " -o " + out + " --sheet 130x130 --gap 1 --copies 6"), 0);
  std::ifstream in(out);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_NE(text.find("<g id=\"sheet-2\">"), std::string::npos);
  EXPECT_EQ(text.find("<g id=\"sheet-3\">"), std::string::npos);
  double area = 0;
  int count = 0;
  std::vector<CPolyPolyBezier> shapes = Shapes(out);
  std::vector<std::pair<int, int>> pairs;
  EXPECT_EQ(FindShapeOverlaps(shapes, 1e-6, pairs), 0);
  for (const CPolyPolyBezier& s : shapes) {
    const PLEXA::CDRECT box = GetPolyPolyBezierRect(s, 1.0);
    const double top = box.ymin >= 1365 ? 1365 : 0;  // in drawing units: tenths of a mm
    EXPECT_TRUE(box.xmin >= 0 && box.xmax <= 1300 && box.ymin >= top && box.ymax <= top + 1300);
    area += GetShapeArea(s), ++count;
  }
  EXPECT_EQ(count, 18);
  EXPECT_NEAR(area, expected, 6 * 0.5 * 100);
  // One file a sheet on request.
  ASSERT_EQ(Run(parts + " -o " + out + " --sheet 130x130 --gap 1 --copies 6 --file-per-sheet"), 0);
  area = 0, count = 0;
  for (const std::string name : {"out.svg", "out-2.svg"}) {
    ASSERT_TRUE(fs::exists(dir_ / name)) << name;
    shapes = Shapes((dir_ / name).string());
    EXPECT_EQ(FindShapeOverlaps(shapes, 1e-6, pairs), 0) << name;
    for (const CPolyPolyBezier& s : shapes) area += GetShapeArea(s), ++count;
  }
  EXPECT_FALSE(fs::exists(dir_ / "out-3.svg"));
  EXPECT_EQ(count, 18);
  EXPECT_NEAR(area, expected, 6 * 0.5 * 100);
}

TEST_F(NestTool, PlainSizesAreInThePartsUnits) {
  // A user unit of 2 mm: the 20 x 20 squares are 40 mm, a 30 x 100 sheet 60 x 200 mm.
  const std::string path = (dir_ / "coarse.svg").string();
  std::ofstream(path) << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"100mm\" "
                         "height=\"100mm\" viewBox=\"0 0 50 50\"><rect width='20' height='20'/>"
                         "<rect x='25' width='20' height='20'/></svg>";
  const std::string out = (dir_ / "out.svg").string();
  EXPECT_EQ(Run(path + " -o " + out + " --sheet 30mmx100mm"), 1);  // 40 mm parts, 30 mm sheet
  EXPECT_EQ(Run(path + " -o " + out + " --sheet 3.6inx8in --gap 4"), 0);
  // A gap of 4 user units: the squares' boxes are 8 mm (80 drawing units) apart.
  const std::vector<CPolyPolyBezier> shapes = Shapes(out);
  ASSERT_EQ(shapes.size(), 2u);
  const PLEXA::CDRECT a = GetPolyPolyBezierRect(shapes[0], 1.0);
  const PLEXA::CDRECT b = GetPolyPolyBezierRect(shapes[1], 1.0);
  EXPECT_NEAR(a.xmax - a.xmin, 400, 0.01);
  const double apart =
      std::max({b.xmin - a.xmax, a.xmin - b.xmax, b.ymin - a.ymax, a.ymin - b.ymax});
  EXPECT_GE(apart, 80 - 0.01);
  EXPECT_LT(apart, 100);  // and not much more: the gap is not read as 4 mm or 4 inches
  EXPECT_EQ(Run(path + " -o " + out + " --sheet 30x100 --gap 4mm"), 0);
}

TEST_F(NestTool, BadInputIsRefusedAndNothingWritten) {
  const std::string big = Svg("big.svg", "<rect x='0' y='0' width='150' height='150'/>");
  const std::string empty = Svg("empty.svg", "");
  const std::string ok = Svg("ok.svg", "<rect x='0' y='0' width='10' height='10'/>");
  const std::string out = (dir_ / "out.svg").string();
  EXPECT_EQ(Run(big + " -o " + out + " --sheet 100x100"), 1);          // larger than the sheet
  EXPECT_EQ(Run(empty + " -o " + out + " --sheet 100x100"), 1);        // no part
  EXPECT_EQ(Run(ok + " -o " + out + " --sheet 0x100"), 2);             // zero sheet
  EXPECT_EQ(Run(ok + " -o " + out + " --sheet -5x100"), 2);            // negative sheet
  EXPECT_EQ(Run(ok + " -o " + out + " --sheet nanxnan"), 2);           // not a number
  EXPECT_EQ(Run(ok + " -o " + out + " --sheet 100x100 --gap -1"), 2);  // negative gap
  EXPECT_FALSE(fs::exists(out));
  EXPECT_EQ(Run(ok + " -o " + out + " --sheet 4inx4in --rotations 3"), 0);
  EXPECT_TRUE(fs::exists(out));
}

}  // namespace
