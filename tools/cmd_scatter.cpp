// plexa scatter SHAPE.svg --area WxH --count N [--seed S] -o OUT: copies of a shape scattered
// over an area at random positions, sizes and turns without touching (confetti and pattern
// backgrounds), through CRandPolylinePlacement.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "io/flatten.h"
#include "io/svg_read.h"
#include "plexa/layout/placement.h"
#include "tools/cli.h"

namespace plexa::tool {
namespace {

// Distance within which the shape's outline is followed by the polyline the placement tests.
constexpr double kOutlineTolerance = 1.0;  // drawing units: a tenth of a millimetre
// Largest --count: the placement keeps every copy's polygon, and output grows with the count.
constexpr int kMaxCount = 100000;

struct ScatterOptions {
  std::string input;
  OutputOptions output;
  std::string area;
  int count = 0;
  unsigned seed = 1;
  double margin = 0;  // drawing units; 0: the library's default
  double min_scale = 0.6, max_scale = 1.2;
  bool no_rotate = false;
};

// "WxH" with a length on each side (units as ParseLength): the first 'x' that splits the text
// into two lengths ("300pxx200px" splits after "300px").
bool ParseArea(const std::string& text, double& w, double& h) {
  for (std::size_t i = text.find('x'); i != std::string::npos; i = text.find('x', i + 1))
    if (ParseLength(text.substr(0, i), w) && ParseLength(text.substr(i + 1), h)) return true;
  return false;
}

// The outline the copies are tested with: the path with the largest bounding box (the shape's
// outer boundary), flattened and rounded to whole drawing units, closed.
bool Outline(const io::Drawing& d, CArray<tagPOINT, tagPOINT>& outline) {
  const CBPointArray* best = nullptr;
  double bestArea = -1;
  for (INT_PTR i = 0; i < d.paths.GetSize(); ++i) {
    const CBPointArray* p = d.paths.GetAt(static_cast<int>(i));
    if (p == nullptr || p->GetSize() < 2) continue;
    double x0 = INFINITY, x1 = -INFINITY, y0 = INFINITY, y1 = -INFINITY;
    for (INT_PTR k = 0; k < p->GetSize(); ++k) {
      const PLEXA::CDPOINT& a = (*p)[k].anchor;
      x0 = std::fmin(x0, a.x), x1 = std::fmax(x1, a.x);
      y0 = std::fmin(y0, a.y), y1 = std::fmax(y1, a.y);
    }
    const double area = (x1 - x0) * (y1 - y0);
    if (area > bestArea) bestArea = area, best = p;
  }
  if (best == nullptr) return false;
  std::vector<PLEXA::CDPOINT> pts;
  io::FlattenPath(*best, kOutlineTolerance, pts);
  for (const PLEXA::CDPOINT& q : pts)
    outline.Add(tagPOINT{PLEXA::RoundToLong(q.x), PLEXA::RoundToLong(q.y)});
  if (outline.GetSize() > 0 && (outline[0].x != outline[outline.GetSize() - 1].x ||
                                outline[0].y != outline[outline.GetSize() - 1].y))
    outline.Add(outline[0]);
  return outline.GetSize() >= 4;
}

int RunScatter(ScatterOptions& o) {
  std::string error, warning;
  if (!o.output.Resolve(error)) {
    std::fprintf(stderr, "plexa: %s (see 'plexa scatter --help')\n", error.c_str());
    return kExitUsage;
  }
  double areaW = 0, areaH = 0;
  if (!ParseArea(o.area, areaW, areaH) || areaW > 2e9 || areaH > 2e9) {
    std::fprintf(stderr,
                 "plexa: --area '%s' is not WIDTHxHEIGHT with lengths (e.g. 600x400, "
                 "60cmx40cm) (see 'plexa scatter --help')\n",
                 o.area.c_str());
    return kExitUsage;
  }
  if (o.min_scale > o.max_scale) {
    std::fprintf(stderr, "plexa: --min-scale is above --max-scale (see 'plexa scatter --help')\n");
    return kExitUsage;
  }
  io::Drawing shape;
  if (!io::ReadSvgFile(o.input, shape, warning, error)) return Fail(error);
  if (!warning.empty()) Warn(warning);
  CArray<tagPOINT, tagPOINT> outline;
  if (!Outline(shape, outline))
    return Fail("'" + o.input + "' has no outline with an area to scatter");

  CRandPolylinePlacement place;
  place.m_maxCopies = o.count;
  place.m_minScale = o.min_scale;
  place.m_maxScale = o.max_scale;
  place.m_bRotate = o.no_rotate ? 0 : 1;
  if (o.margin > 0) place.m_margin = o.margin;
  std::vector<CView3D> copies;
  CPoint offset;
  std::srand(o.seed);
  const CRect area(0, 0, static_cast<LONG>(std::floor(areaW)),
                   static_cast<LONG>(std::floor(areaH)));
  place.PlacePolylines(area, outline, {}, copies, offset);

  io::Drawing out;
  out.width = areaW;
  out.height = areaH;
  for (CView3D& v : copies)
    for (const io::Item& item : shape.items) {
      io::Item placed;
      placed.rule = item.rule;
      for (int index : item.paths) {
        CBPointArray path = *shape.paths.GetAt(index);
        path.ApplyTransformation(v);
        placed.paths.push_back(static_cast<int>(
            out.paths.Add(std::make_unique<CBPointArray>(std::move(path)).release())));
      }
      out.items.push_back(std::move(placed));
    }
  const int status = WriteOutput(o.output, io::WriteDrawing(out, o.output.Write()));
  if (status != kExitOk) return status;
  std::fprintf(o.output.path == "-" ? stderr : stdout,
               "scattered %zu of %d copies of %s over %.1f x %.1f mm (seed %u) into %s\n",
               copies.size(), o.count, o.input == "-" ? "standard input" : o.input.c_str(),
               areaW / io::kUnitsPerMm, areaH / io::kUnitsPerMm, o.seed,
               o.output.path == "-" ? "standard output" : o.output.path.c_str());
  return kExitOk;
}

}  // namespace

void RegisterScatter(Tool& tool) {
  auto o = std::make_shared<ScatterOptions>();
  CLI::App* cmd = tool.Add("scatter", "scatter copies of a shape over an area without overlaps",
                           [o] { return RunScatter(*o); });
  cmd->footer(
      "Places up to --count copies of the shape at random points of the area, each scaled\n"
      "between --min-scale and --max-scale and turned at random, keeping only copies that stay\n"
      "inside the area and keep --margin (scaled with the copy) from every other copy. Stops\n"
      "early when 2,500 attempts in a row find no room, so a full area gives fewer copies.\n"
      "The copies are tested with the outline of the shape's largest path; all its paths are\n"
      "copied. The same --seed gives the same result with the same C library.");
  cmd->add_option("INPUT", o->input, "the shape, an SVG ('-': standard input)")->required();
  AddOutput(*cmd, o->output);
  cmd->add_option("--area", o->area, "WIDTHxHEIGHT of the area, lengths (600x400, 60cmx40cm)")
      ->required();
  cmd->add_option("--count", o->count, "most copies to place")
      ->required()
      ->check(CLI::Range(1, kMaxCount));
  cmd->add_option("--seed", o->seed, "seed of the random placement (default 1)");
  cmd->add_option_function<std::string>(
      "--margin",
      [o](const std::string& text) {
        if (!ParseLength(text, o->margin))
          throw CLI::ValidationError("--margin", "'" + text + "' is not a length (e.g. 5mm)");
      },
      "clearance between copies at scale 1 (default 40mm)");
  cmd->add_option("--min-scale", o->min_scale, "smallest copy, times the shape (default 0.6)")
      ->check(CLI::Range(1e-3, 1e3));
  cmd->add_option("--max-scale", o->max_scale, "largest copy, times the shape (default 1.2)")
      ->check(CLI::Range(1e-3, 1e3));
  cmd->add_flag("--no-rotate", o->no_rotate, "keep every copy upright");
}

}  // namespace plexa::tool
