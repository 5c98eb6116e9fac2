// Every writer's output read back (SVG by the reader, PDF and EPS by replaying their path
// operators, DXF by a small group-code reader, HPGL by replaying the pen) and compared with
// the paths written.
#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>

#include "io/dxf_write.h"
#include "io/eps_write.h"
#include "io/flatten.h"
#include "io/hpgl_write.h"
#include "io/page_ops.h"
#include "io/pdf_write.h"
#include "io/svg_read.h"
#include "io/svg_write.h"
#include "io/test_paths.h"

namespace plexa::io {
namespace {

// A square frame with a hole (even-odd), a circle (curves, nonzero), an open wave.
Drawing Sample() {
  Drawing d;
  std::string warning, error;
  const bool ok = ReadSvg(
      "<svg xmlns='http://www.w3.org/2000/svg' width='120mm' height='80mm' viewBox='0 0 120 80'>"
      "<path fill-rule='evenodd' d='M10 10 H60 V60 H10 Z M20 20 V50 H50 V20 Z'/>"
      "<circle cx='90' cy='30' r='20'/>"
      "<path fill='none' d='M10 70 C30 60 50 80 70 70 S100 60 110 70'/></svg>",
      d, warning, error);
  EXPECT_TRUE(ok) << error;
  return d;
}

// Replays PDF or EPS path operators (in points, y up) back into drawing units.
struct Replayed {
  std::vector<CBPointArray> paths;
  std::vector<std::string> paints;  // the painting operator of each item
};

Replayed ReplayPage(const std::string& content, const PageOperators& ops,
                    const PLEXA::CDRECT& box) {
  Replayed r;
  std::istringstream in(content);
  std::vector<double> nums;
  const auto pt = [&](std::size_t i) {
    return PLEXA::CDPOINT(nums[i] / kPointsPerUnit + box.xmin,
                          box.ymax - nums[i + 1] / kPointsPerUnit);
  };
  for (std::string tok; in >> tok;) {
    char* end = nullptr;
    const double v = std::strtod(tok.c_str(), &end);
    if (*end == '\0') {
      nums.push_back(v);
      continue;
    }
    if (tok == ops.move) {
      r.paths.emplace_back();
      r.paths.back().Add(PLEXA::CBPOINT(pt(0), pt(0), pt(0)));
    } else if (tok == ops.line) {
      r.paths.back().Add(PLEXA::CBPOINT(pt(0), pt(0), pt(0)));
    } else if (tok == ops.curve) {
      CBPointArray& p = r.paths.back();
      p[p.GetSize() - 1].out = pt(0);
      p.Add(PLEXA::CBPOINT(pt(2), pt(4), pt(4)));
    } else if (tok == ops.fill || tok == ops.eofill || tok == ops.stroke) {
      r.paints.push_back(tok);
    }
    nums.clear();
  }
  return r;
}

void ExpectSamePaths(const Drawing& d, const std::vector<CBPointArray>& back, double tol) {
  ASSERT_EQ(static_cast<INT_PTR>(back.size()), d.paths.GetSize());
  for (std::size_t i = 0; i < back.size(); ++i)
    EXPECT_TRUE(SameSegments(d.paths[static_cast<int>(i)], back[i], tol)) << "path " << i;
}

TEST(Writers, SvgPdfAndEpsReadBackToThePathsWritten) {
  const Drawing d = Sample();
  const PLEXA::CDRECT box = PageBox(d);
  ASSERT_EQ(d.paths.GetSize(), 4);

  Drawing svg;
  std::string warning, error;
  ASSERT_TRUE(ReadSvg(WriteSvg(d), svg, warning, error)) << error;
  EXPECT_EQ(svg.width, d.width);
  std::vector<CBPointArray> back;
  for (INT_PTR i = 0; i < svg.paths.GetSize(); ++i) back.push_back(svg.paths[static_cast<int>(i)]);
  ExpectSamePaths(d, back, 0.006);  // micrometre rounding: 0.005 units
  ASSERT_EQ(svg.items.size(), 3u);
  EXPECT_EQ(svg.items[0].rule, FillRule::kEvenOdd);
  EXPECT_EQ(svg.items[1].rule, FillRule::kNonZero);

  const std::string pdf = WritePdf(d);
  // Structure: every cross-reference offset names its object, startxref names the table and
  // /Length is the stream's exact size.
  const std::size_t xref = pdf.find("\nxref\n") + 1;
  EXPECT_NE(pdf.find("startxref\n" + std::to_string(xref) + "\n%%EOF"), std::string::npos);
  std::istringstream table(pdf.substr(xref));
  std::string word;
  int first = 0, count = 0;
  table >> word >> first >> count;
  ASSERT_EQ(count, 6);
  for (int i = 0; i < count; ++i) {
    std::size_t offset = 0;
    std::string gen, kind;
    table >> offset >> gen >> kind;
    if (i > 0) {
      const std::string head = std::to_string(i) + " 0 obj";
      EXPECT_EQ(pdf.compare(offset, head.size(), head), 0) << i;
    }
  }
  const std::size_t s0 = pdf.find("stream\n") + 7, s1 = pdf.find("endstream");
  EXPECT_NE(pdf.find("/Length " + std::to_string(s1 - s0) + " "), std::string::npos);
  EXPECT_NE(pdf.find("/MediaBox [0 0 340.157 226.772]"), std::string::npos);  // 120 x 80 mm
  static constexpr PageOperators kPdf{"m", "l", "c", "h", "f", "f*", "S", ""};
  const Replayed rp = ReplayPage(pdf.substr(s0, s1 - s0), kPdf, box);
  ExpectSamePaths(d, rp.paths, 0.01);
  EXPECT_EQ(rp.paints, (std::vector<std::string>{"f*", "f", "S"}));

  const std::string eps = WriteEps(d);
  EXPECT_EQ(eps.rfind("%!PS-Adobe-3.0 EPSF-3.0\n", 0), 0u);
  EXPECT_NE(eps.find("%%BoundingBox: 0 0 341 227\n"), std::string::npos);
  static constexpr PageOperators kEps{"moveto", "lineto", "curveto", "closepath",
                                      "fill",   "eofill", "stroke",  "newpath"};
  const Replayed re = ReplayPage(eps, kEps, box);
  ExpectSamePaths(d, re.paths, 0.01);
  EXPECT_EQ(re.paints, (std::vector<std::string>{"eofill", "fill", "stroke"}));
}

// DXF entities as a small reader sees them: polylines' points (mm, y up) or spline control
// points, with the closed flag.
struct DxfEntity {
  std::string type;
  std::vector<PLEXA::CDPOINT> pts;
  int flags = 0, knots = 0;
  std::string layer;
};

std::vector<DxfEntity> ReadDxf(const std::string& text, std::string& version) {
  std::istringstream in(text);
  std::vector<DxfEntity> out;
  std::string code, value, lastVar;
  bool inEntities = false;
  double x = 0;
  while (std::getline(in, code) && std::getline(in, value)) {
    const int c = std::stoi(code);
    if (c == 9) lastVar = value;
    if (c == 1 && lastVar == "$ACADVER") version = value;
    if (c == 2 && value == "ENTITIES") inEntities = true;
    if (!inEntities) continue;
    if (c == 0) {
      if (value == "VERTEX" || value == "SEQEND") {
        out.back().type += value == "VERTEX" ? "" : "+SEQEND";
        if (value == "VERTEX") out.back().pts.emplace_back(1e300, 0);  // filled by 10/20
        continue;
      }
      if (value == "ENDSEC")
        inEntities = false;
      else
        out.push_back(DxfEntity{value, {}, 0, 0, {}});
      continue;
    }
    if (out.empty()) continue;  // the section's own name and other codes before an entity
    DxfEntity& e = out.back();
    if (c == 8 && e.layer.empty()) e.layer = value;  // the entity's, not its vertices'
    if (c == 70) e.flags = std::stoi(value);
    if (c == 72) e.knots = std::stoi(value);
    if (c == 10) x = std::stod(value);
    if (c == 20) {
      if (e.type.rfind("POLYLINE", 0) == 0) {
        if (!e.pts.empty()) e.pts.back() = PLEXA::CDPOINT(x, std::stod(value));
      } else {
        e.pts.emplace_back(x, std::stod(value));
      }
    }
  }
  return out;
}

TEST(Writers, DxfPolylinesStayWithinTheToleranceAndSplinesAreTheCurvesExactly) {
  Drawing d = Sample();
  // Layers by item: a plain name, one with characters DXF forbids, none.
  d.layers = {"sheet-1", "a/b:c"};
  d.items[0].layer = 0, d.items[1].layer = 1;
  std::vector<std::string> layers(static_cast<size_t>(d.paths.GetSize()), "0");
  for (size_t k = 0; k < 2; ++k)
    for (int p : d.items[k].paths) layers[size_t(p)] = k == 0 ? "sheet-1" : "a_b_c";
  const PLEXA::CDRECT box = PageBox(d);
  const auto toUnits = [&](PLEXA::CDPOINT p) {
    return PLEXA::CDPOINT(p.x * kUnitsPerMm + box.xmin, box.ymax - p.y * kUnitsPerMm);
  };
  for (DxfVersion version : {DxfVersion::kR12, DxfVersion::kR2000}) {
    WriteOptions o;
    o.dxf_version = version;
    o.tolerance = 0.5;
    std::string acad;
    const std::vector<DxfEntity> es = ReadDxf(WriteDxf(d, o), acad);
    EXPECT_EQ(acad, version == DxfVersion::kR12 ? "AC1009" : "AC1015");
    ASSERT_EQ(static_cast<INT_PTR>(es.size()), d.paths.GetSize());
    for (std::size_t i = 0; i < es.size(); ++i) {
      const CBPointArray& path = d.paths[static_cast<int>(i)];
      EXPECT_EQ(es[i].type, version == DxfVersion::kR12 ? "POLYLINE+SEQEND" : "LWPOLYLINE");
      EXPECT_EQ(es[i].flags & 1, path.IsPolyBezierClosed() ? 1 : 0);
      EXPECT_EQ(es[i].layer, layers[i]);
      std::vector<PLEXA::CDPOINT> poly;
      for (const PLEXA::CDPOINT& p : es[i].pts) poly.push_back(toUnits(p));
      if (es[i].flags & 1) poly.push_back(poly.front());
      EXPECT_LE(Hausdorff(path, poly), o.tolerance + 0.001) << i;
    }
  }
  WriteOptions o;
  o.dxf_curves = DxfCurves::kSplines;  // implies R2000
  std::string acad;
  const std::vector<DxfEntity> es = ReadDxf(WriteDxf(d, o), acad);
  EXPECT_EQ(acad, "AC1015");
  ASSERT_EQ(static_cast<INT_PTR>(es.size()), d.paths.GetSize());
  for (std::size_t i = 0; i < es.size(); ++i) {
    const CBPointArray& path = d.paths[static_cast<int>(i)];
    const INT_PTR segments = path.GetSize() - 1;
    ASSERT_EQ(static_cast<INT_PTR>(es[i].pts.size()), 3 * segments + 1);
    EXPECT_EQ(es[i].knots, 3 * segments + 5);
    CBPointArray back;
    back.Add(PLEXA::CBPOINT(toUnits(es[i].pts[0]), toUnits(es[i].pts[0]), toUnits(es[i].pts[1])));
    for (INT_PTR s = 0; s < segments; ++s) {
      const auto at = [&](INT_PTR k) { return toUnits(es[i].pts[static_cast<std::size_t>(k)]); };
      back.Add(PLEXA::CBPOINT(at(3 * s + 2), at(3 * s + 3),
                              s + 1 < segments ? at(3 * s + 4) : at(3 * s + 3)));
    }
    EXPECT_TRUE(SameSegments(path, back, 0.001)) << i;
  }
}

// The pen's strokes: each PU then PD run, in plotter units.
std::vector<std::vector<PLEXA::CDPOINT>> ReplayHpgl(const std::string& text, double& travel) {
  std::vector<std::vector<PLEXA::CDPOINT>> strokes;
  PLEXA::CDPOINT pen(0, 0);
  travel = 0;
  std::istringstream in(text);
  for (std::string cmd; std::getline(in, cmd, ';');) {
    while (!cmd.empty() && (cmd[0] == '\n')) cmd.erase(0, 1);
    if (cmd.size() < 2) continue;
    const std::string op = cmd.substr(0, 2);
    std::vector<double> v;
    std::istringstream args(cmd.substr(2));
    for (std::string n; std::getline(args, n, ',');) v.push_back(std::stod(n));
    for (std::size_t i = 0; i + 1 < v.size(); i += 2) {
      const PLEXA::CDPOINT p(v[i], v[i + 1]);
      if (op == "PU") {
        travel += std::hypot(p.x - pen.x, p.y - pen.y);
        strokes.push_back({p});
      } else if (op == "PD") {
        strokes.back().push_back(p);
      }
      pen = p;
    }
  }
  return strokes;
}

TEST(Writers, HpglCutsWithinToleranceHolesFirstAndTravelsLess) {
  const Drawing d = Sample();
  const PLEXA::CDRECT box = PageBox(d);
  WriteOptions o;
  o.tolerance = 0.25;
  double travel = 0;
  const std::string plt = WriteHpgl(d, o);
  EXPECT_EQ(plt.rfind("IN;SP1;", 0), 0u);
  const auto strokes = ReplayHpgl(plt, travel);
  ASSERT_EQ(static_cast<INT_PTR>(strokes.size()), d.paths.GetSize());
  // Each stroke is one of the paths, within the tolerance and half a plotter unit's rounding.
  const double step = kUnitsPerMm / kHpglUnitsPerMm;
  std::vector<int> cutAt(strokes.size(), -1);
  for (std::size_t s = 0; s < strokes.size(); ++s) {
    std::vector<PLEXA::CDPOINT> poly;
    for (const PLEXA::CDPOINT& p : strokes[s])
      poly.push_back(PLEXA::CDPOINT(p.x * step + box.xmin, box.ymax - p.y * step));
    for (INT_PTR i = 0; i < d.paths.GetSize(); ++i)
      if (Hausdorff(d.paths[static_cast<int>(i)], poly) <= o.tolerance + step * 0.71)
        cutAt[static_cast<std::size_t>(i)] = static_cast<int>(s);
  }
  for (std::size_t i = 0; i < cutAt.size(); ++i) EXPECT_GE(cutAt[i], 0) << "path " << i;
  EXPECT_LT(cutAt[1], cutAt[0]);  // the hole before its frame

  // 36 squares in shuffled order: nearest-first travels less than the order given.
  Drawing grid;
  std::vector<int> order(36);
  for (int i = 0; i < 36; ++i) order[static_cast<std::size_t>(i)] = i;
  std::shuffle(order.begin(), order.end(), std::mt19937(7));
  for (int k : order) {
    CBPointArray sq;
    const double x = (k % 6) * 200, y = (k / 6) * 200;
    sq.CreateRect(PLEXA::CDRECT(x, x + 100, y, y + 100));
    grid.Add(sq);
  }
  grid.width = grid.height = 1200;
  ReplayHpgl(WriteHpgl(grid, o), travel);
  double given = 0;
  PLEXA::CDPOINT pen(0, 1200);  // the plotter's origin, in drawing units
  std::vector<PLEXA::CDPOINT> pts;
  for (INT_PTR i = 0; i < grid.paths.GetSize(); ++i) {
    FlattenPath(grid.paths[static_cast<int>(i)], o.tolerance, pts);
    given += std::hypot(pts[0].x - pen.x, pts[0].y - pen.y);
    pen = pts.back();
  }
  EXPECT_LT(travel * step, given * 0.5) << travel * step << " vs " << given;
}

}  // namespace
}  // namespace plexa::io
