// plexa nest PARTS.svg... -o OUT.svg --sheet WxH: the parts of SVG drawings placed on sheets
// without overlap, one output file per sheet.
#include <cmath>
#include <cstdio>
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
  int resolution = 1024;
  double timeLimit = 0;
  bool progress = false;
};

// "WxH" with each side a length ParseLength reads ("600x400", "24inx12in", "1.2mx...": no m).
bool ParseSheet(const std::string& text, double& w, double& h) {
  for (size_t at = text.find('x'); at != std::string::npos; at = text.find('x', at + 1)) {
    if (ParseLength(text.substr(0, at), w) && ParseLength(text.substr(at + 1), h)) return true;
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
  CNest::Options options;
  if (!ParseSheet(o.sheet, options.width, options.height))
    return usage("--sheet wants WIDTHxHEIGHT, two positive lengths such as 600x400 or 24inx12in");
  if (o.gap != "0" && !ParseLength(o.gap, options.gap))
    return usage("--gap wants a length that is 0 or positive, such as 2 or 0.1in");
  options.rotations = o.rotations;
  options.mirror = o.mirror;
  options.partInPart = !o.noHoles;
  options.maxSheets = o.maxSheets;
  options.resolution = o.resolution;
  options.timeLimit = o.timeLimit;

  Progress progress("nest", o.progress);
  progress.Stage("reading");
  CNest nest;
  struct Source {
    int file;
    int shape;
  };
  std::vector<Source> sources;
  for (size_t f = 0; f < o.inputs.size(); ++f) {
    io::Drawing d;
    if (!io::ReadSvgFile(o.inputs[f], d, warning, error)) return Fail(error);
    if (!warning.empty()) Warn(warning);
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
  if (sheets > 1 && o.output.path == "-")
    return Fail("the parts need " + std::to_string(sheets) +
                " sheets, one file each: give -o a file name");

  progress.Stage("writing");
  std::vector<CPolyPolyBezier> placed;
  nest.GetPlacedShapes(placed);
  const io::WriteOptions write = o.output.Write();
  std::vector<std::string> names;
  for (int k = 0; k < sheets; ++k) {
    io::Drawing d;
    d.width = options.width, d.height = options.height;
    for (int i = 0; i < nest.GetShapeCount(); ++i) {
      if (nest.GetShape(i).transform.sheet != k) continue;
      io::Item item;
      for (INT_PTR p = 0; p < placed[i].GetSize(); ++p) {
        item.paths.push_back(static_cast<int>(d.paths.GetSize()));
        d.paths.Add(new CBPointArray(placed[i][static_cast<int>(p)]));
      }
      d.items.push_back(std::move(item));
    }
    OutputOptions out = o.output;
    out.path = SheetPath(o.output.path, k);
    const int status = WriteOutput(out, io::WriteDrawing(d, write));
    if (status != kExitOk) return status;
    names.push_back(out.path == "-" ? "standard output" : out.path);
  }
  int left = 0;
  for (int i = 0; i < nest.GetShapeCount(); ++i)
    left += nest.GetShape(i).status != CNest::Status::kPlaced;
  FILE* report = o.output.path == "-" ? stderr : stdout;
  std::fprintf(report, "nested %d of %d parts on %d sheet%s, fill %.1f %% (first sheet %.1f %%)\n",
               nest.GetNestedCount(), nest.GetShapeCount(), sheets, sheets == 1 ? "" : "s",
               100 * nest.GetFillRatio(), 100 * nest.GetSheetFill(0));
  for (const std::string& n : names) std::fprintf(report, "written %s\n", n.c_str());
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
      "parts go into the holes of big ones unless --no-holes. The first sheet is written to\n"
      "OUT, the others to OUT's name with -2, -3, ... before the extension. Lengths are\n"
      "millimetres unless they carry a unit (mm, cm, in, pt, px). A part larger than the sheet\n"
      "is an error and nothing is written.");
  cmd->add_option("PARTS", o->inputs, "SVG drawings of the parts ('-': standard input)")
      ->required();
  AddOutput(*cmd, o->output);
  cmd->add_option("--sheet", o->sheet, "sheet size WIDTHxHEIGHT, e.g. 600x400 or 24inx12in")
      ->required();
  cmd->add_option("--gap", o->gap, "least distance between parts (default 0)");
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
                  "pixels along the sheet's longer side, 64..2048 (default 1024)")
      ->check(CLI::Range(64, 2048));
  cmd->add_option("--time-limit", o->timeLimit, "stop placing after this many seconds")
      ->check(CLI::Range(0.0, 1e6));
  AddProgress(*cmd, o->progress);
}

}  // namespace plexa::tool
