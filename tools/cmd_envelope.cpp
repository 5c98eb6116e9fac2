// plexa envelope IN -o OUT --preset NAME [--amount X]: bends a drawing between two envelope
// boundaries (the library's CEnvelop and CEnvelopEx presets) fitted to the drawing's bounds.
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <string>

#include "io/svg_read.h"
#include "plexa/effects/envelope.h"
#include "tools/cli.h"

namespace plexa::tool {
namespace {

// Preset names (y down, as drawn): what each does to the top and bottom edges' middles.
struct Preset {
  int type;
  const char* help;
};
const std::map<std::string, Preset>& Presets() {
  static const std::map<std::string, Preset> presets = {
      {"top-dip", {1, "the top edge's middle moves down"}},
      {"bottom-dip", {2, "the bottom edge's middle moves up"}},
      {"squeeze", {3, "both middles move inwards"}},
      {"top-arch", {4, "the top edge's middle moves up"}},
      {"bottom-arch", {5, "the bottom edge's middle moves down"}},
      {"bulge", {6, "both middles move outwards"}},
      {"bend-down", {7, "both middles move down"}},
      {"bend-up", {8, "both middles move up"}},
      {"narrow-left", {9, "the left side shrinks (perspective)"}},
      {"narrow-right", {10, "the right side shrinks"}},
      {"flag", {20, "five-point curves: a flag-like wave"}},
      {"flag-reverse", {21, "five-point curves: the other wave"}},
      {"double-arch", {22, "five-point curves: both quarter points up"}},
      {"double-dip", {23, "five-point curves: both quarter points down"}},
  };
  return presets;
}

struct EnvelopeOptions {
  std::string input;
  OutputOptions output;
  std::string preset;
  double amount = 0.2;
  bool points = false;
};

// The preset's number from its name or the number itself.
int PresetType(const std::string& name) {
  const auto it = Presets().find(name);
  if (it != Presets().end()) return it->second.type;
  for (const auto& [key, p] : Presets())
    if (name == std::to_string(p.type)) return p.type;
  return 0;
}

template <typename Env, typename Record>
void Apply(Env& env, Record& frame, int type, double v, bool points, double tolerance,
           CPolyPolyBezier& paths) {
  env.SetEnvelop(frame);
  env.SetType(type, v);
  if (points)
    paths.ApplyEnvelop(env);
  else
    ApplyEnvelopKeepCurves(paths, env, tolerance);
}

int RunEnvelope(EnvelopeOptions& o) {
  std::string error, warning;
  if (!o.output.Resolve(error)) {
    std::fprintf(stderr, "plexa: %s (see 'plexa envelope --help')\n", error.c_str());
    return kExitUsage;
  }
  const int type = PresetType(o.preset);
  if (type == 0) {
    std::fprintf(stderr, "plexa: unknown preset '%s' (see 'plexa envelope --help')\n",
                 o.preset.c_str());
    return kExitUsage;
  }
  io::Drawing d;
  if (!io::ReadSvgFile(o.input, d, warning, error)) return Fail(error);
  if (!warning.empty()) Warn(warning);
  PLEXA::CDRECT box(0, 0, 0, 0);
  d.paths.CalcFrame(box, 1.0);
  const double w = box.xmax - box.xmin, h = box.ymax - box.ymin;
  if (!(w > 0) || !(h > 0) || !std::isfinite(w) || !std::isfinite(h))
    return Fail("'" + o.input + "' has no area to bend");
  const double v = o.amount * h;
  const double tolerance = o.output.Write().tolerance;
  if (type < 20) {
    CEnvelop env;
    ENVELOP frame{};
    frame.left = box.xmin, frame.top = box.ymin, frame.right = box.xmax, frame.bottom = box.ymax;
    Apply(env, frame, type, v, o.points, tolerance, d.paths);
  } else {
    CEnvelopEx env;
    ENVELOPEX frame{};
    frame.left = box.xmin, frame.top = box.ymin, frame.right = box.xmax, frame.bottom = box.ymax;
    Apply(env, frame, type, v, o.points, tolerance, d.paths);
  }
  d.width = d.height = 0;  // the page follows the bent drawing
  const int status = WriteOutput(o.output, io::WriteDrawing(d, o.output.Write()));
  if (status != kExitOk) return status;
  std::fprintf(o.output.path == "-" ? stderr : stdout, "envelope %s: %td paths written to %s\n",
               o.preset.c_str(), static_cast<std::ptrdiff_t>(d.paths.GetSize()),
               o.output.path == "-" ? "standard output" : o.output.path.c_str());
  return kExitOk;
}

}  // namespace

void RegisterEnvelope(Tool& tool) {
  auto o = std::make_shared<EnvelopeOptions>();
  CLI::App* cmd = tool.Add("envelope", "bend a drawing between curved top and bottom edges",
                           [o] { return RunEnvelope(*o); });
  std::string footer =
      "The frame is the drawing's bounds; every point keeps its x and moves vertically so\n"
      "that its height between the frame's edges stays the same between the bent edges.\n"
      "Curves stay curves (split where needed to stay within --tolerance of the exact bend)\n"
      "unless --points is given. Presets (name or number):\n";
  for (const auto& [name, p] : Presets())
    footer += "  " + name + std::string(14 - name.size(), ' ') + std::to_string(p.type) +
              (p.type < 10 ? "   " : "  ") + p.help + "\n";
  cmd->footer(footer);
  cmd->add_option("INPUT", o->input, "the SVG to read ('-': standard input)")->required();
  AddOutput(*cmd, o->output);
  cmd->add_option("--preset", o->preset, "the envelope shape (see below)")->required();
  cmd->add_option("--amount", o->amount,
                  "the bend as a share of the drawing's height (default 0.2)")
      ->check(CLI::Range(-10.0, 10.0));
  cmd->add_flag("--points", o->points,
                "move only the nodes and their handles (the library's plain form)");
}

}  // namespace plexa::tool
