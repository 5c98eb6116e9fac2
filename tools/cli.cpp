#include "tools/cli.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string_view>
#include <thread>

#include "io/output_file.h"
#include "plexa/platform/version.h"

namespace plexa::tool {

const char* Version() {
  return PLEXA_VERSION_STRING;
}

int Fail(const std::string& message) {
  std::fprintf(stderr, "plexa: %s\n", message.c_str());
  return kExitFailure;
}

void Warn(const std::string& message) {
  std::fprintf(stderr, "plexa: warning: %s\n", message.c_str());
}

CLI::App& Tool::App() {
  if (app_) return *app_;
  app_ = std::make_unique<CLI::App>("plexa - geometry for sign making and cutting", "plexa");
  app_->set_version_flag("--version", std::string("plexa ") + Version(), "print the version");
  app_->require_subcommand(1);
  app_->footer(
      "Exit status: 0 on success, 1 when a file cannot be read or written, 2 on a usage error.\n"
      "Run 'plexa COMMAND --help' for the options of a command.");
  return *app_;
}

CLI::App* Tool::Add(const std::string& name, const std::string& description,
                    std::function<int()> run) {
  CLI::App* cmd = App().add_subcommand(name, description);
  commands_.emplace_back(cmd, std::move(run));
  return cmd;
}

namespace {

std::string Lower(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

}  // namespace

bool Tool::Wants(const char* name) {
  const std::string lower = Lower(name);
  if (!selected_) {
    names_.push_back(lower);
    return false;
  }
  return only_.empty() || lower == only_;
}

void Tool::Select(int argc, char** argv) {
  selected_ = true;
  only_.clear();
  if (argc < 2 || std::find(names_.begin(), names_.end(), argv[1]) == names_.end()) return;
  for (int i = 2; i < argc; ++i) {
    if (std::find(names_.begin(), names_.end(), Lower(argv[i])) != names_.end()) return;
  }
  only_ = argv[1];
}

bool Tool::RunPlain(const char* name, PlainRun plain, int argc, char** argv, int& status) const {
  if (argc != 5 || only_ != name) return false;
  // A word the parser takes as a value as it is (Select has made sure none names a subcommand).
  auto word = [](const char* w) {
    return w[0] != '\0' && (w[0] != '-' || std::strcmp(w, "-") == 0);
  };
  auto output = [](const char* w) {
    return std::strcmp(w, "-o") == 0 || std::strcmp(w, "--output") == 0;
  };
  const char* input = nullptr;
  const char* file = nullptr;
  if (word(argv[2]) && output(argv[3]) && word(argv[4])) {
    input = argv[2];
    file = argv[4];
  } else if (output(argv[2]) && word(argv[3]) && word(argv[4])) {
    input = argv[4];
    file = argv[3];
  } else {
    return false;
  }
  status = plain(input, file);
  return true;
}

int Tool::Main(int argc, char** argv) {
  CLI::App& app = App();
  if (argc <= 1) {
    std::fputs(app.help().c_str(), stderr);
    return kExitUsage;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    if (e.get_exit_code() == 0) return app.exit(e);  // --help, --version
    std::string where = "plexa --help";
    for (const CLI::App* sub : app.get_subcommands())
      where = "plexa " + sub->get_name() + " --help";
    std::fprintf(stderr, "plexa: %s (see '%s')\n", e.what(), where.c_str());
    return kExitUsage;
  }
  for (const auto& [cmd, run] : commands_)
    if (cmd->parsed()) return run();
  return kExitUsage;
}

// ---- Output ------------------------------------------------------------------------------

void AddOutput(CLI::App& cmd, OutputOptions& o) {
  cmd.add_option("-o,--output", o.path, "the file to write ('-': standard output)")
      ->required()
      ->type_name("FILE");
  cmd.add_option("--format", o.format,
                 "svg, pdf, eps, dxf or hpgl (default: from the output's extension; SVG for '-')")
      ->check(CLI::IsMember({"svg", "pdf", "eps", "dxf", "hpgl", "plt"}, CLI::ignore_case));
  cmd.add_option("--dxf-version", o.dxf_version, "DXF flavour: r12 or r2000 (default r12)")
      ->check(CLI::IsMember({"r12", "r2000"}, CLI::ignore_case));
  cmd.add_option("--dxf-curves", o.dxf_curves,
                 "DXF curves as polylines (flattened) or splines (exact cubics, R2000 only)")
      ->check(CLI::IsMember({"polylines", "splines"}, CLI::ignore_case));
  cmd.add_option("--tolerance", o.tolerance_mm,
                 "largest distance in mm between a curve and the lines that replace it where a "
                 "format flattens (HPGL, DXF polylines; default 0.025)")
      ->check(InRange(0.0001, 100.0, "FLOAT in [0.0001 - 100]"));
}

bool OutputOptions::Resolve(std::string& error) {
  if (!format.empty()) {
    if (io::FormatFromName(format, resolved)) return true;
    error = "unknown format '" + format + "'";
    return false;
  }
  if (path == "-") {
    resolved = io::Format::kSvg;
    return true;
  }
  return io::FormatFromPath(path, resolved, error);
}

io::WriteOptions OutputOptions::Write() const {
  io::WriteOptions w;
  w.format = resolved;
  w.tolerance = tolerance_mm * io::kUnitsPerMm;
  w.dxf_version = dxf_version == "r2000" || dxf_version == "R2000" ? io::DxfVersion::kR2000
                                                                   : io::DxfVersion::kR12;
  w.dxf_curves = dxf_curves == "splines" ? io::DxfCurves::kSplines : io::DxfCurves::kPolylines;
  return w;
}

int WriteOutput(const OutputOptions& o, const std::string& bytes) {
  std::string error;
  if (!io::WriteOutputFile(o.path, bytes, error)) return Fail(error);
  return kExitOk;
}

// ---- Lengths and resolution ----------------------------------------------------------------

bool ParseLength(const std::string& text, double& units) {
  if (text.empty()) return false;
  char* end = nullptr;
  const double v = std::strtod(text.c_str(), &end);
  if (end == text.c_str()) return false;
  const std::string unit(end);
  double mm = 0;
  if (unit.empty() || unit == "mm")
    mm = v;
  else if (unit == "cm")
    mm = v * 10;
  else if (unit == "in")
    mm = v * 25.4;
  else if (unit == "pt")
    mm = v * 25.4 / 72;
  else if (unit == "px")
    mm = v * 25.4 / 96;
  else
    return false;
  if (!std::isfinite(mm) || mm <= 0 || mm > 1e7) return false;  // up to 10 km
  units = mm * io::kUnitsPerMm;
  return true;
}

void AddSize(CLI::App& cmd, double& width, double& height) {
  const auto length = [](double& target, const char* what) {
    return [&target, what](const std::string& text) {
      if (!ParseLength(text, target))
        throw CLI::ValidationError(
            std::string("--") + what,
            "'" + text + "' is not a length (e.g. 210mm, 8.5in, 20cm, 72pt)");
    };
  };
  cmd.add_option_function<std::string>("--width", length(width, "width"),
                                       "width of the result, with a unit: mm (default), cm, in, "
                                       "pt or px; the height follows unless given")
      ->type_name("LENGTH");
  cmd.add_option_function<std::string>("--height", length(height, "height"),
                                       "height of the result, with a unit; the width follows "
                                       "unless given")
      ->type_name("LENGTH");
}

CLI::Option* AddDpi(CLI::App& cmd, double& dpi, const std::string& help) {
  return cmd.add_option("--dpi", dpi, help)
      ->check(InRange(0.001, 1e6, "FLOAT in [0.001 - 1e+06]"))
      ->type_name("DPI");
}

// ---- Progress ------------------------------------------------------------------------------

// Work shorter than this shows no progress at all.
constexpr std::chrono::milliseconds kProgressDelay{1000};
constexpr std::chrono::milliseconds kProgressTick{250};

struct Progress::State {
  std::string command;
  bool terminal = false;
  std::mutex mutex;
  std::condition_variable wake;
  std::string stage;
  bool done = false;
  bool shown = false;
  std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
  std::thread thread;

  void Show(bool final) {
    const double s =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (terminal) {
      if (final)
        std::fprintf(stderr, "\r\033[K");
      else
        std::fprintf(stderr, "\r\033[Kplexa %s: %s (%.1f s)", command.c_str(), stage.c_str(), s);
    } else if (!final) {
      std::fprintf(stderr, "plexa %s: %s (%.1f s)\n", command.c_str(), stage.c_str(), s);
    } else {
      std::fprintf(stderr, "plexa %s: done in %.1f s\n", command.c_str(), s);
    }
    std::fflush(stderr);
  }

  void Run() {
    std::unique_lock lock(mutex);
    if (wake.wait_for(lock, kProgressDelay, [this] { return done; })) return;
    std::string last;
    while (!done) {
      if (terminal || stage != last) Show(false);
      shown = true;
      last = stage;
      wake.wait_for(lock, kProgressTick, [this] { return done; });
    }
  }
};

Progress::Progress(std::string command, bool force) {
  const bool terminal = ::isatty(STDERR_FILENO) == 1;
  if (!terminal && !force) return;
  state_ = std::make_unique<State>();
  state_->command = std::move(command);
  state_->terminal = terminal;
  state_->thread = std::thread([s = state_.get()] { s->Run(); });
}

Progress::~Progress() {
  if (!state_) return;
  {
    std::lock_guard lock(state_->mutex);
    state_->done = true;
  }
  state_->wake.notify_all();
  state_->thread.join();
  if (state_->shown) state_->Show(true);
}

void Progress::Stage(const std::string& name) {
  if (!state_) return;
  std::lock_guard lock(state_->mutex);
  state_->stage = name;
}

void AddProgress(CLI::App& cmd, bool& progress) {
  cmd.add_flag("--progress", progress,
               "show progress on standard error for work over a second even when it is not a "
               "terminal");
}

void AddThreshold(CLI::App& cmd, std::string& threshold) {
  cmd.add_option("--threshold", threshold,
                 "luminance 0..255 at or above which a pixel is light (default 128), or 'auto' "
                 "(Otsu's method, for photos and scans)")
      ->check([](const std::string& v) -> std::string {
        if (v == "auto") return "";
        char* end = nullptr;
        const long n = std::strtol(v.c_str(), &end, 10);
        if (v.empty() || *end != '\0' || n < 0 || n > 255)
          return "--threshold needs a whole number from 0 to 255 or 'auto'";
        return "";
      });
}

void AddImageOptions(CLI::App& cmd, double& dpi, double& width, double& height,
                     std::int64_t& maxPixels) {
  CLI::Option* d = AddDpi(cmd, dpi, "the image's resolution in pixels per inch (default 96)");
  AddSize(cmd, width, height);
  d->excludes(cmd.get_option("--width"))->excludes(cmd.get_option("--height"));
  cmd.add_option("--max-pixels", maxPixels,
                 "refuse images whose header promises more pixels than this (default "
                 "100000000, about 1 GB of work)")
      ->check(InRange(std::int64_t{1}, std::int64_t{1} << 40, "INT in [1 - 1099511627776]"));
}

namespace {

void WarnIfNotTwoLevel(const std::string& input, const std::string& threshold, double separation,
                       int used, const std::string& noisy) {
  if (threshold != "auto" || separation >= io::kTwoLevelSeparation) return;
  char line[64];
  std::snprintf(line, sizeof line, "%.2f", separation);
  Warn((input == "-" ? std::string("standard input") : input) +
       " is far from two-level (separation " + line + ", clean artwork scores above 0.9): " +
       "threshold " + std::to_string(used) + " may give noisy " + noisy);
}

io::ImageOptions ArtworkOptions(const std::string& threshold, bool invert, std::int64_t maxPixels) {
  io::ImageOptions image;
  image.invert = invert;
  image.threshold = threshold == "auto" ? -1 : std::stoi(threshold);
  image.max_pixels = maxPixels;
  return image;
}

}  // namespace

io::LoadedImage ReadArtwork(const std::string& input, const std::string& threshold, bool invert,
                            std::int64_t maxPixels, const std::string& noisy, std::string& error) {
  io::LoadedImage img =
      io::LoadTwoLevelImage(input, ArtworkOptions(threshold, invert, maxPixels), error);
  if (img.bitmap != nullptr)
    WarnIfNotTwoLevel(input, threshold, img.separation, img.threshold, noisy);
  return img;
}

bool OpenArtworkRows(const std::string& input, const std::string& threshold, bool invert,
                     std::int64_t maxPixels, const std::string& noisy, io::TwoLevelRows& rows,
                     std::string& error) {
  if (!rows.Open(input, ArtworkOptions(threshold, invert, maxPixels), error)) return false;
  WarnIfNotTwoLevel(input, threshold, rows.separation, rows.threshold, noisy);
  return true;
}

}  // namespace plexa::tool
