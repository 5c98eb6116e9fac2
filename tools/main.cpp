// plexa: the library from a shell. `plexa trace IMAGE -o OUT.svg` turns a two-level artwork
// into cut-ready outlines.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "plexa/platform/version.h"
#include "plexa/raster/shapetrace.h"
#include "tools/image.h"
#include "tools/svg.h"

namespace {

constexpr const char* kHelp =
    "plexa " "0.1.0" " - geometry for sign making and cutting\n"
    "\n"
    "Usage:\n"
    "  plexa trace IMAGE -o OUT.svg [options]   trace a two-level artwork into outlines\n"
    "  plexa --help | -h                        this text\n"
    "  plexa --version                          the version\n"
    "\n"
    "Run 'plexa trace --help' for the trace options.\n";

constexpr const char* kTraceHelp =
    "Usage: plexa trace IMAGE -o OUT.svg [options]\n"
    "\n"
    "Reads IMAGE (PNG, JPEG, BMP or GIF), reduces it to black and white, follows the boundary\n"
    "of every white region and fits it with Bezier curves, then writes the outlines as SVG:\n"
    "one path element per shape with its holes, absolute M/C/Z commands, fill-rule evenodd.\n"
    "Regions are found on a 10-pixel grid: a region with no pixel on it is not traced.\n"
    "\n"
    "Options:\n"
    "  -o, --output FILE    the SVG file to write (required); replaced only when the trace\n"
    "                       succeeds\n"
    "  --invert             trace the dark pixels (dark artwork on light paper, the usual\n"
    "                       case); without it the light pixels are traced\n"
    "  --threshold N        luminance 0..255 at or above which a pixel is light (default 128)\n"
    "  --min-points N       drop boundaries of N pixels or fewer (default 10)\n"
    "  --dpi N              write millimetres at N pixels per inch (drawing units are tenths\n"
    "                       of a millimetre, 254 to the inch); default: pixel units\n"
    "  -h, --help           this text\n"
    "\n"
    "Exit status: 0 on success, 1 when a file cannot be read or written, 2 on a usage error.\n";

int Usage(const std::string& message) {
  std::fprintf(stderr, "plexa: %s (see 'plexa trace --help')\n", message.c_str());
  return 2;
}

int Fail(const std::string& message) {
  std::fprintf(stderr, "plexa: %s\n", message.c_str());
  return 1;
}

bool ParseInt(const std::string& s, long lo, long hi, long& out) {
  if (s.empty()) return false;
  char* end = nullptr;
  errno = 0;
  const long v = std::strtol(s.c_str(), &end, 10);
  if (errno != 0 || *end != '\0' || v < lo || v > hi) return false;
  out = v;
  return true;
}

// Writes text to path through a temporary file in the same folder and a rename, so a failed
// run never leaves a half-written file behind.
bool WriteAtomically(const std::string& path, const std::string& text, std::string& error) {
  std::string tmp = path + ".XXXXXX";
  std::vector<char> name(tmp.begin(), tmp.end());
  name.push_back('\0');
  const int fd = mkstemp(name.data());
  if (fd < 0) {
    error = "cannot write '" + path + "': " + std::strerror(errno);
    return false;
  }
  // mkstemp creates the file for its owner only; give it the permissions a plain create would.
  const mode_t mask = umask(0);
  umask(mask);
  bool ok = fchmod(fd, 0666 & ~mask) == 0;
  for (std::size_t done = 0; ok && done < text.size();) {
    const ssize_t n = write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) ok = false;
    else done += static_cast<std::size_t>(n);
  }
  const int saved = errno;
  if (close(fd) != 0) ok = false;
  if (ok && std::rename(name.data(), path.c_str()) != 0) ok = false;
  if (!ok) {
    error = "cannot write '" + path + "': " + std::strerror(saved ? saved : errno);
    std::remove(name.data());
  }
  return ok;
}

int Trace(const std::vector<std::string>& args) {
  std::string input, output;
  TwoLevelOptions image;
  long minPoints = 10, dpi = 0;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    auto value = [&](std::string& v) {
      if (i + 1 >= args.size()) return false;
      v = args[++i];
      return true;
    };
    std::string v;
    long n;
    if (a == "-h" || a == "--help") {
      std::fputs(kTraceHelp, stdout);
      return 0;
    } else if (a == "-o" || a == "--output") {
      if (!value(output)) return Usage("option " + a + " needs a file name");
    } else if (a == "--invert") {
      image.invert = true;
    } else if (a == "--threshold") {
      if (!value(v) || !ParseInt(v, 0, 255, n)) return Usage("--threshold needs a whole number from 0 to 255");
      image.threshold = static_cast<int>(n);
    } else if (a == "--min-points") {
      if (!value(v) || !ParseInt(v, 0, 1000000000, n)) return Usage("--min-points needs a whole number of at least 0");
      minPoints = n;
    } else if (a == "--dpi") {
      if (!value(v) || !ParseInt(v, 1, 1000000, n)) return Usage("--dpi needs a whole number from 1 to 1000000");
      dpi = n;
    } else if (a.size() > 1 && a[0] == '-') {
      return Usage("unknown option '" + a + "'");
    } else if (input.empty()) {
      input = a;
    } else {
      return Usage("more than one image given ('" + input + "' and '" + a + "')");
    }
  }
  if (input.empty()) return Usage("no image given");
  if (output.empty()) return Usage("no output file given (-o OUT.svg)");

  std::string error;
  LoadedImage img = LoadTwoLevelImage(input, image, error);
  if (img.bitmap == nullptr) return Fail(error);
  CPolyPolyBezier outlines;
  {
    CShapeTrace trace(img.bitmap);
    const bool ok = trace.DoTrace(outlines, static_cast<int>(minPoints));
    DeleteObject(img.bitmap);
    if (!ok) return Fail("'" + input + "' could not be traced (out of memory)");
  }
  const std::vector<Shape> shapes = GroupOutlines(outlines);
  const std::string svg = WriteSvg(outlines, shapes, SvgOptions{img.width, img.height, static_cast<double>(dpi)});
  if (!WriteAtomically(output, svg, error)) return Fail(error);
  std::size_t holes = 0;
  for (const Shape& s : shapes) holes += s.holes.size();
  std::printf("traced %s (%d x %d pixels): %zu outlines with %zu holes written to %s\n", input.c_str(), img.width,
              img.height, shapes.size(), holes, output.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) {
    std::fputs(kHelp, stderr);
    return 2;
  }
  if (args[0] == "-h" || args[0] == "--help") {
    std::fputs(kHelp, stdout);
    return 0;
  }
  if (args[0] == "--version") {
    std::printf("plexa %s\n", PLEXA_VERSION_STRING);
    return 0;
  }
  if (args[0] == "trace") return Trace(std::vector<std::string>(args.begin() + 1, args.end()));
  std::fprintf(stderr, "plexa: unknown command '%s' (see 'plexa --help')\n", args[0].c_str());
  return 2;
}
