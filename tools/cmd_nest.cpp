// plexa nest PARTS.svg... -o OUT.svg --sheet WxH: the parts of SVG drawings placed on sheets
// without overlap: one file with a layer (SVG group or DXF layer "sheet-1", ...) a sheet, the
// sheets one below another, or with --file-per-sheet one file a sheet.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "io/svg_read.h"
#include "plexa/layout/nest.h"
#include "tools/cli.h"

namespace plexa::tool {
namespace {

// Most copies of each part (--copies): a million parts would only ever be a typing error.
constexpr int kMaxCopies = 10000;

struct NestCmdOptions {
  std::vector<std::string> inputs;
  OutputOptions output;
  std::string sheet, gap = "0";
  int rotations = 4;
  int copies = 1;
  bool mirror = false;
  bool noHoles = false;
  bool group = false;
  int maxSheets = 0;
  int resolution = 0;
  int attempts = 4;
  double timeLimit = 0;
  bool progress = false;
  bool filePerSheet = false;
};

// Space between sheets stacked in one file, as a share of the sheet's height.
constexpr double kSheetSpacing = 0.05;
// Largest size, in drawing units (10 km), taken for a sheet or a gap.
constexpr double kMaxLength = 1e8;

// A length as typed: a number and the drawing units one of its unit stands for (0 for a bare
// number, which is in the parts' own user units and is known only once they are read).
struct Length {
  double value = 0, unit = 0;
  // In drawing units, a bare number taking `user` drawing units a unit.
  double Units(double user) const { return value * (unit > 0 ? unit : user); }
};

// A number with no unit or with one ParseLength knows (mm, cm, in, pt, px); positive, or also
// zero when zeroOk.
bool ParseNestLength(const std::string& text, bool zeroOk, Length& out) {
  if (text.find_first_of("xX") != std::string::npos) return false;  // no hexadecimal
  char* end = nullptr;
  const double v = std::strtod(text.c_str(), &end);
  if (text.empty() || end == text.c_str() || !std::isfinite(v) || !(zeroOk ? v >= 0 : v > 0))
    return false;
  out.value = v;
  out.unit = 0;
  return *end == '\0' || ParseLength(std::string("1") + end, out.unit);
}

// "WxH" with each side such a length ("600x400", "24inx12in").
bool ParseSheet(const std::string& text, Length& w, Length& h) {
  for (size_t at = text.find('x'); at != std::string::npos; at = text.find('x', at + 1)) {
    if (ParseNestLength(text.substr(0, at), false, w) &&
        ParseNestLength(text.substr(at + 1), false, h))
      return true;
  }
  return false;
}

// The name of sheet k's file: OUT itself for the first, OUT's stem with "-k" for the others.
std::string SheetPath(const std::string& out, int k) {
  if (k == 0) return out;
  const std::filesystem::path p(out);
  std::filesystem::path name = p.stem();
  name += "-" + std::to_string(k + 1);
  name += p.extension();
  return (p.parent_path() / name).string();
}

const char* Reason(CNest::Status s) {
  switch (s) {
    case CNest::Status::kTooLarge:
      return "larger than the sheet";
    case CNest::Status::kNoRoom:
      return "no room left within --max-sheets";
    case CNest::Status::kStopped:
      return "stopped by --time-limit";
    case CNest::Status::kInvalid:
      return "coordinates that are not finite";
    case CNest::Status::kEmpty:
      return "empty";
    default:
      return "not placed";
  }
}

int RunNest(NestCmdOptions& o) {
  std::string error, warning;
  const auto usage = [](const std::string& message) {
    std::fprintf(stderr, "plexa: %s (see 'plexa nest --help')\n", message.c_str());
    return kExitUsage;
  };
  if (!o.output.Resolve(error)) return usage(error);
  Length sheetW, sheetH, gap;
  if (!ParseSheet(o.sheet, sheetW, sheetH))
    return usage(
        "--sheet wants WIDTHxHEIGHT, two positive lengths such as 600x400 (the parts' units) or "
        "24inx12in");
  if (!ParseNestLength(o.gap, true, gap))
    return usage("--gap wants a length that is 0 or positive, such as 2 or 0.1in");
  CNest::Options options;
  options.rotations = o.rotations;
  options.mirror = o.mirror;
  options.partInPart = !o.noHoles;
  options.maxSheets = o.maxSheets;
  options.resolution = o.resolution;
  options.attempts = o.attempts;
  options.timeLimit = o.timeLimit;

  Progress progress("nest", o.progress);
  progress.Stage("reading");
  CNest nest;
  struct Source {
    int file;
    int shape;
  };
  std::vector<Source> sources;
  double unitX = 0, unitY = 0;  // the first drawing's user unit, in drawing units
  for (size_t f = 0; f < o.inputs.size(); ++f) {
    io::Drawing d;
    if (!io::ReadSvgFile(o.inputs[f], d, warning, error)) return Fail(error);
    if (!warning.empty()) Warn(warning);
    if (f == 0) unitX = d.userUnitX, unitY = d.userUnitY;
    io::GroupIntoShapes(d);
    int shapes = 0;
    for (const io::Item& item : d.items) {
      CPolyPolyBezier part;
      for (int p : item.paths) part.Add(new CBPointArray(d.paths[p]));
      if (GetShapeArea(part) <= 0) continue;  // lines and empty paths are not parts
      for (int c = 0; c < o.copies; ++c) {
        // With --group every copy of a file is one rigid unit of its own.
        const int group = o.group ? static_cast<int>(f) * kMaxCopies + c : -1;
        nest.AddShape(part, group);
        sources.push_back({static_cast<int>(f), shapes});
      }
      ++shapes;
    }
    if (shapes == 0) return Fail(o.inputs[f] + " has no closed outline to nest");
  }
  // Bare numbers are in the first drawing's user units (a stretched drawing's gap takes the
  // mean of its two units).
  if (!(unitX > 0 && unitY > 0)) unitX = unitY = io::kUnitsPerInch / 96;
  options.width = sheetW.Units(unitX);
  options.height = sheetH.Units(unitY);
  options.gap = gap.Units(std::sqrt(unitX * unitY));
  if (!(options.width <= kMaxLength && options.height <= kMaxLength && options.gap <= kMaxLength))
    return usage("--sheet and --gap must be at most 10 km");

  progress.Stage("placing");
  options.progress = [&progress](int done, int total) {
    progress.Stage("placing " + std::to_string(done) + " of " + std::to_string(total));
    return true;
  };
  if (!nest.Nest(options)) return usage("the sheet size and gap must be finite and positive");
  // Parts that can never fit are an error: nothing is written.
  for (int i = 0; i < nest.GetShapeCount(); ++i) {
    const CNest::Status s = nest.GetShape(i).status;
    if (s == CNest::Status::kTooLarge || s == CNest::Status::kInvalid) {
      const Source& src = sources[static_cast<size_t>(i)];
      return Fail("part " + std::to_string(src.shape + 1) + " of " + o.inputs[src.file] + " is " +
                  Reason(s) + " (sheet " + o.sheet + ")");
    }
  }
  const int sheets = nest.GetSheetCount();
  if (o.filePerSheet && sheets > 1 && o.output.path == "-")
    return Fail("the parts need " + std::to_string(sheets) +
                " sheets, one file each: give -o a file name");

  // Every file's bytes are made before the first is written.
  progress.Stage("writing");
  std::vector<CPolyPolyBezier> placed;
  nest.GetPlacedShapes(placed);
  const double step = options.height * (1 + kSheetSpacing);
  std::vector<io::Drawing> files(o.filePerSheet ? static_cast<size_t>(sheets) : 1);
  for (io::Drawing& d : files) {
    d.width = options.width;
    d.height = o.filePerSheet ? options.height : step * std::max(sheets - 1, 0) + options.height;
  }
  for (int k = 0; k < sheets; ++k) {
    io::Drawing& d = files[o.filePerSheet ? static_cast<size_t>(k) : 0];
    d.layers.push_back("sheet-" + std::to_string(k + 1));
    CNest::Transform below;  // sheet k sits k steps down in a shared file
    below.dy = o.filePerSheet ? 0 : step * k;
    for (int i = 0; i < nest.GetShapeCount(); ++i) {
      if (nest.GetShape(i).transform.sheet != k) continue;
      below.Apply(placed[i]);
      io::Item item;
      item.layer = static_cast<int>(d.layers.size()) - 1;
      for (INT_PTR p = 0; p < placed[i].GetSize(); ++p) {
        item.paths.push_back(static_cast<int>(d.paths.GetSize()));
        d.paths.Add(new CBPointArray(placed[i][static_cast<int>(p)]));
      }
      d.items.push_back(std::move(item));
    }
  }
  const io::WriteOptions write = o.output.Write();
  std::vector<std::string> bytes, names;
  for (const io::Drawing& d : files) bytes.push_back(io::WriteDrawing(d, write));
  for (size_t k = 0; k < bytes.size(); ++k) {
    OutputOptions out = o.output;
    out.path = SheetPath(o.output.path, static_cast<int>(k));
    const bool existed = out.path != "-" && std::filesystem::exists(out.path);
    const int status = WriteOutput(out, bytes[k]);
    if (status != kExitOk) {
      // Files this run created are taken back, so no sheet set is left half written.
      std::error_code ec;
      for (size_t j = 0; j < k; ++j)
        if (!names[j].empty()) std::filesystem::remove(names[j], ec);
      return status;
    }
    names.push_back(existed || out.path == "-" ? std::string() : out.path);
  }
  int left = 0;
  for (int i = 0; i < nest.GetShapeCount(); ++i)
    left += nest.GetShape(i).status != CNest::Status::kPlaced;
  FILE* report = o.output.path == "-" ? stderr : stdout;
  std::fprintf(report, "nested %d of %d parts on %d sheet%s, fill %.1f %% (first sheet %.1f %%)\n",
               nest.GetNestedCount(), nest.GetShapeCount(), sheets, sheets == 1 ? "" : "s",
               100 * nest.GetFillRatio(), 100 * nest.GetSheetFill(0));
  for (size_t k = 0; k < bytes.size(); ++k) {
    const std::string path = SheetPath(o.output.path, static_cast<int>(k));
    std::fprintf(report, "written %s\n", path == "-" ? "standard output" : path.c_str());
  }
  if (left > 0) {
    for (int i = 0; i < nest.GetShapeCount(); ++i) {
      if (nest.GetShape(i).status == CNest::Status::kPlaced) continue;
      Warn(std::to_string(left) + " parts not placed: " + Reason(nest.GetShape(i).status));
      break;
    }
  }
  return kExitOk;
}

}  // namespace

void RegisterNest(Tool& tool) {
  auto o = std::make_shared<NestCmdOptions>();
  CLI::App* cmd = tool.Add("nest", "place the parts of SVG drawings on sheets without overlap",
                           [o] { return RunNest(*o); });
  cmd->footer(
      "Every outline of the drawings, with its holes, is a part. Parts are placed largest first\n"
      "on as many sheets as needed, at least --gap apart, turned in --rotations steps; small\n"
      "parts go into the holes of big ones unless --no-holes. OUT holds every sheet, one\n"
      "below another, each in a layer (SVG group, DXF layer) named sheet-1, sheet-2, ...; with\n"
      "--file-per-sheet the first sheet is written to OUT, the others to OUT's name with -2,\n"
      "-3, ... before the extension. Plain numbers in --sheet and --gap are in the parts' own\n"
      "units (the user units of the first drawing: its viewBox scaled to its width and\n"
      "height, else CSS pixels of 1/96 in); a unit (mm, in, cm, pt, px) overrides that. A part\n"
      "larger than the sheet is an error and nothing is written.");
  cmd->add_option("PARTS", o->inputs, "SVG drawings of the parts ('-': standard input)")
      ->required();
  AddOutput(*cmd, o->output);
  cmd->add_option(
         "--sheet", o->sheet,
         "sheet size WIDTHxHEIGHT in the parts' units or with mm/in, e.g. 600x400, 24inx12in")
      ->required();
  cmd->add_option("--gap", o->gap, "least distance between parts, e.g. 2 or 1mm (default 0)");
  cmd->add_option("--rotations", o->rotations, "turns tried: N steps of a full turn (default 4)")
      ->check(CLI::Range(1, 360));
  cmd->add_option("--copies", o->copies, "copies of every part (default 1)")
      ->check(CLI::Range(1, kMaxCopies));
  cmd->add_flag("--mirror", o->mirror, "also try every part mirrored");
  cmd->add_flag("--no-holes", o->noHoles, "never place parts inside the holes of others");
  cmd->add_flag("--group", o->group, "keep the parts of each drawing together as one unit");
  cmd->add_option("--max-sheets", o->maxSheets, "use at most this many sheets (default: any)")
      ->check(CLI::Range(0, 100000));
  cmd->add_option("--resolution", o->resolution,
                  "pixels along the sheet's longer side, 64..2048 (default: chosen from the gap "
                  "and the parts' sizes)")
      ->check(CLI::Range(0, 2048));
  cmd->add_option("--attempts", o->attempts,
                  "orders of placement tried, the best kept: fewest sheets, fullest first "
                  "sheet (default 4)")
      ->check(CLI::Range(1, 64));
  cmd->add_option("--time-limit", o->timeLimit, "stop placing after this many seconds")
      ->check(CLI::Range(0.0, 1e6));
  cmd->add_flag("--file-per-sheet", o->filePerSheet,
                "write each sheet to a file of its own instead of layers of one file");
  AddProgress(*cmd, o->progress);
}

}  // namespace plexa::tool
