// plexa effect IN -o OUT (--pinch X | --spherize | --twirl DEG | --wave LEN | --zigzag LEN |
// --roughen LEN): one of the library's outline effects on every path of a drawing, centred on
// the drawing's bounds.
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>

#include "io/svg_read.h"
#include "plexa/effects/outline.h"
#include "tools/cli.h"

namespace plexa::tool {
namespace {

struct EffectOptions {
  std::string input;
  OutputOptions output;
  double pinch = 0;
  bool spherize = false;
  double twirl = 0;
  std::string wave, zigzag, roughen, size, direction = "normal";
  bool vertical = false;
  bool smooth = false;
};

// The first point of paths' bounds with its half diagonal; false for an empty or
// non-finite drawing.
bool Centre(const io::Drawing& d, PLEXA::CDPOINT& c, double& radius) {
  PLEXA::CDRECT box(0, 0, 0, 0);
  d.paths.CalcFrame(box, 1.0);
  const double w = box.xmax - box.xmin, h = box.ymax - box.ymin;
  c = PLEXA::CDPOINT((box.xmin + box.xmax) / 2, (box.ymin + box.ymax) / 2);
  radius = std::hypot(w, h) / 2;
  return std::isfinite(radius) && radius > 0;
}

template <typename Fn>
void EachPath(io::Drawing& d, Fn fn) {
  for (INT_PTR i = 0; i < d.paths.GetSize(); ++i)
    if (CBPointArray* p = d.paths.GetAt(static_cast<int>(i))) fn(p);
}

int RunEffect(EffectOptions& o, CLI::App* cmd) {
  std::string error, warning;
  if (!o.output.Resolve(error)) {
    std::fprintf(stderr, "plexa: %s (see 'plexa effect --help')\n", error.c_str());
    return kExitUsage;
  }
  const char* names[] = {"--pinch", "--spherize", "--twirl", "--wave", "--zigzag", "--roughen"};
  int given = 0;
  for (const char* n : names) given += cmd->count(n) > 0 ? 1 : 0;
  if (given != 1) {
    std::fprintf(stderr,
                 "plexa: give exactly one of --pinch, --spherize, --twirl, --wave, "
                 "--zigzag, --roughen (see 'plexa effect --help')\n");
    return kExitUsage;
  }
  double spacing = 0, size = 0;
  const std::string& len = !o.wave.empty() ? o.wave : !o.zigzag.empty() ? o.zigzag : o.roughen;
  if (!len.empty() && !ParseLength(len, spacing)) {
    std::fprintf(stderr, "plexa: '%s' is not a length\n", len.c_str());
    return kExitUsage;
  }
  if (!o.size.empty() && !ParseLength(o.size, size)) {
    std::fprintf(stderr, "plexa: --size '%s' is not a length\n", o.size.c_str());
    return kExitUsage;
  }
  if (o.size.empty()) size = spacing / 4;
  const int direction = o.direction == "x" ? 0 : o.direction == "y" ? 1 : 2;

  io::Drawing d;
  if (!io::ReadSvgFile(o.input, d, warning, error)) return Fail(error);
  if (!warning.empty()) Warn(warning);
  PLEXA::CDPOINT c;
  double radius = 0;
  if (!Centre(d, c, radius)) return Fail("'" + o.input + "' has no area to work on");

  if (cmd->count("--pinch")) {
    EachPath(d, [&](CBPointArray* p) { PinchOutline(&c, radius, o.pinch, p); });
  } else if (o.spherize) {
    EachPath(d, [&](CBPointArray* p) { SpherizeOutline(&c, radius, radius, p); });
  } else if (cmd->count("--twirl")) {
    // The library's twirl adds a quarter turn clockwise to every point; turn it back so that
    // the centre stays still and --twirl 0 changes nothing.
    EachPath(d, [&](CBPointArray* p) {
      TwirlOutline(&c, radius, o.twirl, p);
      for (INT_PTR j = 0; j < p->GetSize(); ++j)
        for (PLEXA::CDPOINT* q : {&(*p)[j].in, &(*p)[j].anchor, &(*p)[j].out})
          *q = PLEXA::CDPOINT(c.x - (q->y - c.y), c.y + (q->x - c.x));
    });
  } else if (!o.wave.empty()) {
    // Resampled into smooth nodes 1/16 of a period apart, then every point waved; --size is
    // the wave's height (peak) and the amplitude factor follows from it.
    const double a = 4 * size / spacing;
    const PLEXA::CDPOINT origin(c.x, c.y);
    EachPath(d, [&](CBPointArray* p) {
      ZigZagOutline(spacing / 16, 0, 2, true, p);
      for (INT_PTR j = 0; j < p->GetSize(); ++j)
        for (PLEXA::CDPOINT* q : {&(*p)[j].in, &(*p)[j].anchor, &(*p)[j].out})
          WavePoint(&origin, spacing, a, o.vertical ? 1 : 0, q);
    });
  } else if (!o.zigzag.empty()) {
    EachPath(d, [&](CBPointArray* p) { ZigZagOutline(spacing, size, direction, o.smooth, p); });
  } else {
    EachPath(d, [&](CBPointArray* p) { RoughenOutline(spacing, size, direction, o.smooth, p); });
  }
  d.width = d.height = 0;  // the page follows the result
  const int status = WriteOutput(o.output, io::WriteDrawing(d, o.output.Write()));
  if (status != kExitOk) return status;
  std::fprintf(o.output.path == "-" ? stderr : stdout, "effect: %td paths written to %s\n",
               static_cast<std::ptrdiff_t>(d.paths.GetSize()),
               o.output.path == "-" ? "standard output" : o.output.path.c_str());
  return kExitOk;
}

}  // namespace

void RegisterEffect(Tool& tool) {
  auto o = std::make_shared<EffectOptions>();
  auto self = std::make_shared<CLI::App*>(nullptr);
  CLI::App* cmd =
      tool.Add("effect", "distort a drawing: pinch, spherize, twirl, wave, zig-zag or roughen",
               [o, self] { return RunEffect(*o, *self); });
  *self = cmd;
  cmd->footer(
      "Give exactly one effect. Pinch, spherize and twirl work in the circle about the\n"
      "drawing's centre that reaches its corners (paths are first split into pieces of at\n"
      "most 4 mm). Lengths take units (mm, cm, in, pt, px; a bare number is mm). Roughen\n"
      "draws new random pushes on every run.");
  cmd->add_option("INPUT", o->input, "the SVG to read ('-': standard input)")->required();
  AddOutput(*cmd, o->output);
  cmd->add_option("--pinch", o->pinch, "bulge (> 0) or pinch (< 0) by this amount, e.g. 2")
      ->check(CLI::Range(-1000.0, 1000.0));
  cmd->add_flag("--spherize", o->spherize, "wrap the drawing round a sphere");
  cmd->add_option("--twirl", o->twirl, "turn the rim by this many degrees, the centre less")
      ->check(CLI::Range(-36000.0, 36000.0));
  cmd->add_option("--wave", o->wave, "a sine wave of this period along x (--vertical: y)");
  cmd->add_option("--zigzag", o->zigzag, "nodes this far apart, pushed alternately by --size");
  cmd->add_option("--roughen", o->roughen, "nodes this far apart, pushed at random by --size");
  cmd->add_option("--size", o->size,
                  "height of the wave, the teeth or the roughness (default: a quarter of the "
                  "length)");
  cmd->add_flag("--vertical", o->vertical, "--wave: move points in x along a vertical wave");
  cmd->add_option("--direction", o->direction, "--zigzag, --roughen: push along x, y or normal")
      ->check(CLI::IsMember({"x", "y", "normal"}));
  cmd->add_flag("--smooth", o->smooth, "--zigzag, --roughen: smooth nodes instead of corners");
}

}  // namespace plexa::tool
