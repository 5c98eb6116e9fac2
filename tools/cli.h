// What every plexa subcommand shares: the program object its registration function adds to,
// the common options (output, format, resolution, sizes with units, progress), and one-line
// messages.
//
// A subcommand lives in tools/cmd_<name>.cpp and exposes one function, called from main.cpp
// by one line `PLEXA_SUBCOMMAND(Name);`:
//
//   namespace plexa::tool {
//   void RegisterFrob(Tool& tool) {
//     auto o = std::make_shared<FrobOptions>();
//     CLI::App* cmd = tool.Add("frob", "frobnicate a drawing", [o] { return RunFrob(*o); });
//     cmd->add_option("INPUT", o->input, "the drawing ('-': standard input)")->required();
//     AddOutput(*cmd, o->output);
//   }
//   }
//
// Exit status: 0 success, 1 a file could not be read or written (or the work failed), 2 a
// usage error. Messages are one line on standard error, starting "plexa: ".
#pragma once

#include <CLI/CLI.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "io/image_read.h"
#include "io/write.h"

namespace plexa::tool {

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

class Tool {
 public:
  CLI::App& app() { return App(); }
  // Adds a subcommand whose run function gives the exit status when it is the one given.
  CLI::App* Add(const std::string& name, const std::string& description, std::function<int()> run);
  // Parses the command line and runs the subcommand given.
  int Main(int argc, char** argv);

  // Registration in two rounds, so a run builds the options of the one subcommand it uses:
  // main.cpp's registration list calls Wants("Name") before each Register function. In the
  // first round Wants only notes the names and is false; Select then picks the subcommand
  // when argv[1] names one and no later argument spells any (in any case), else all of them;
  // in the second round Wants is true for what was picked. Parsing and messages are the same
  // as with every subcommand registered.
  bool Wants(const char* name);
  void Select(int argc, char** argv);

  // The plainest command line, `plexa NAME INPUT -o OUTPUT` (the two in either order, --output
  // for -o) with every option at its default. When Select picked `name` and the line is exactly
  // that, sets status to plain(INPUT, OUTPUT) and returns true, having built no option tree (the
  // same run, without most of a small job's start-up). INPUT and OUTPUT must be words the parser
  // takes as they are: not empty, and not starting with '-' unless "-" itself. Any other line
  // (another option, --output=FILE, --help) returns false and is left to Main.
  using PlainRun = int (*)(const std::string& input, const std::string& output);
  bool RunPlain(const char* name, PlainRun plain, int argc, char** argv, int& status) const;

 private:
  CLI::App& App();  // made on first use
  std::unique_ptr<CLI::App> app_;
  std::vector<std::pair<CLI::App*, std::function<int()>>> commands_;
  std::vector<std::string> names_;  // every subcommand, lower case, from the first round
  bool selected_ = false;           // Select has run
  std::string only_;                // the one subcommand to build; empty for all
};

// `plexa --version` prints "plexa " followed by this (the CMake project version).
const char* Version();

// CLI::Range(lo, hi) with its help text given as written (e.g. "FLOAT in [0 - 10]", what
// CLI::Range would print): an unnamed CLI::Range formats its bounds through a string stream
// each time it is made, a noticeable part of a small job's start-up.
template <class T>
CLI::Validator InRange(T lo, T hi, const char* text) {
  CLI::Range range(lo, hi, text);  // named: nothing is formatted
  range.description(text);
  return range;
}

// Prints "plexa: message" on standard error; Fail returns kExitFailure.
int Fail(const std::string& message);
void Warn(const std::string& message);

// -o/--output FILE (also --output=FILE; '-' is standard output) and --format, with the DXF
// and flattening options. Resolve fills options.format from --format or the extension
// ('-' or no extension without --format: SVG); false with a message for an unknown extension.
struct OutputOptions {
  std::string path;
  std::string format;
  std::string dxf_version = "r12";
  std::string dxf_curves = "polylines";
  double tolerance_mm = 0.025;
  io::WriteOptions Write() const;  // after Resolve
  bool Resolve(std::string& error);
  io::Format resolved = io::Format::kSvg;
};
void AddOutput(CLI::App& cmd, OutputOptions& o);

// Writes bytes to o.path safely (see io/output_file.h); returns an exit status.
int WriteOutput(const OutputOptions& o, const std::string& bytes);

// A length with a unit: "210mm", "21cm", "8.5in", "72pt", "300px" (1/96 in), or a bare number
// in millimetres ("210" = 210 mm). Gives drawing units (tenths of a mm); false
// for text that is not a positive finite length.
bool ParseLength(const std::string& text, double& units);
// --width and --height taking such lengths (0 when not given).
void AddSize(CLI::App& cmd, double& width, double& height);
// Resolution assumed for an image when neither --dpi nor a size is given.
inline constexpr double kDefaultDpi = 96.0;

// --dpi: a positive, possibly fractional resolution.
CLI::Option* AddDpi(CLI::App& cmd, double& dpi, const std::string& help);

// --threshold: a luminance 0..255 at or above which a pixel is light, or "auto" (Otsu).
void AddThreshold(CLI::App& cmd, std::string& threshold);

// The options of an image input: --dpi (the image's resolution, default 96), --width and
// --height (which exclude --dpi), and --max-pixels (refused from the header above it).
void AddImageOptions(CLI::App& cmd, double& dpi, double& width, double& height,
                     std::int64_t& maxPixels);

// Reads an image to trace, reduced to two levels (threshold: a number, or "auto" for Otsu's
// choice, which warns when the image is far from two-level, naming what may come out noisy).
// On failure the bitmap is null and error holds the reason.
io::LoadedImage ReadArtwork(const std::string& input, const std::string& threshold, bool invert,
                            std::int64_t maxPixels, const std::string& noisy, std::string& error);
// The same pixels one bit a pixel (see io::TwoLevelRows), for the tracers that take them so:
// opened here, the rows read into the tracer's own image.
bool OpenArtworkRows(const std::string& input, const std::string& threshold, bool invert,
                     std::int64_t maxPixels, const std::string& noisy, io::TwoLevelRows& rows,
                     std::string& error);

// Progress on standard error for work that takes more than a second: a line naming the stage
// and the time spent, refreshed four times a second, shown only when standard error is a
// terminal unless forced (--progress). Cleared when the object ends.
class Progress {
 public:
  Progress(std::string command, bool force);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  void Stage(const std::string& name);

 private:
  struct State;
  std::unique_ptr<State> state_;
};
void AddProgress(CLI::App& cmd, bool& progress);

}  // namespace plexa::tool
