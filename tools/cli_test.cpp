// Runs the plexa tool as a user would: on generated images and on the bundled example.
#include <cmath>

#include "tools/tool_test_support.h"

namespace {

using namespace plexa::tooltest;

struct Result {
  int status;
  std::string out, err;
};

class Cli : public ToolTest {
 protected:
  Result Run(const std::string& args) {
    const int status = ToolTest::Run(args);
    return Result{status, out_, err_};
  }
  std::string Png(const std::string& name, int w, int h, const std::function<bool(int, int)>& ink) {
    return GreyPng(name, w, h, ink);
  }
};

int CountPaths(const std::string& svg) {
  return Count(svg, "<path");
}

// The page reads back without a warning, with one even-odd item a path element and every
// path closed.
bool WellFormed(const std::string& svg) {
  plexa::io::Drawing d;
  std::string warning, error;
  if (svg.rfind("<?xml", 0) != 0 || !plexa::io::ReadSvg(svg, d, warning, error) ||
      !warning.empty() || static_cast<int>(d.items.size()) != CountPaths(svg))
    return false;
  for (const plexa::io::Item& item : d.items)
    if (item.rule != plexa::io::FillRule::kEvenOdd) return false;
  for (INT_PTR i = 0; i < d.paths.GetSize(); ++i)
    if (!d.paths[static_cast<int>(i)].IsPolyBezierClosed()) return false;
  return true;
}

}  // namespace

// A binary PBM (comment in the header, padding bits set) reads as the same pixels as a PNG of
// the same art: the same shapes, with or without --invert.
TEST_F(Cli, TracesBinaryPbmLikeThePng) {
  auto art = [](int x, int y) {
    const double r = std::hypot(x - 20, y - 15);
    return (r < 12 && r >= 5) || (x >= 36 && x < 45 && y >= 4 && y < 26);
  };
  const int w = 45, h = 30, stride = (w + 7) / 8;
  std::string pbm = "P4\n# made by hand\n45 30\n";
  for (int y = 0; y < h; ++y)
    for (int b = 0; b < stride; ++b) {
      unsigned byte = 0;
      for (int k = 0; k < 8; ++k)
        if (8 * b + k >= w || art(8 * b + k, y)) byte |= 0x80u >> k;
      pbm += static_cast<char>(byte);
    }
  const std::string file = (dir_ / "art.pbm").string();
  std::ofstream(file, std::ios::binary) << pbm;
  const std::string png = Png("art.png", w, h, art);
  const std::string svg = (dir_ / "art.svg").string();
  for (const char* flags : {"", " --invert"}) {
    const Result a = Run("trace '" + file + "'" + flags + " -o '" + svg + "'");
    ASSERT_EQ(a.status, 0) << a.err;
    const std::string fromPbm = Slurp(svg);
    const Result b = Run("trace '" + png + "'" + flags + " -o '" + svg + "'");
    ASSERT_EQ(b.status, 0) << b.err;
    EXPECT_EQ(fromPbm, Slurp(svg)) << flags;
  }
  // The plain line (every option at its default, run without building the option tree) and
  // the same run through the full parser (an option given its default value) agree.
  const Result plain = Run("trace '" + file + "' -o '" + svg + "'");
  const std::string plainSvg = Slurp(svg);
  const Result full = Run("trace --threshold 128 -o '" + svg + "' '" + file + "'");
  EXPECT_EQ(full.status, plain.status);
  EXPECT_EQ(full.out, plain.out);
  EXPECT_EQ(Slurp(svg), plainSvg);
  std::ofstream(file, std::ios::binary) << pbm.substr(0, pbm.size() / 2);
  const Result cut = Run("trace '" + file + "' -o '" + svg + "'");
  EXPECT_EQ(cut.status, 1);
  EXPECT_EQ(cut.err, Run("trace --threshold 128 '" + file + "' -o '" + svg + "'").err);
}

TEST_F(Cli, TracesDarkArtworkWithHolesIntoOneShapeEach) {
  // A dark ring (outline with a hole) and a dark square, on light paper.
  const std::string img = Png("art.png", 120, 80, [](int x, int y) {
    const double r = std::hypot(x - 40, y - 40);
    return (r < 30 && r >= 12) || (x >= 80 && x < 110 && y >= 20 && y < 60);
  });
  const std::string svg = (dir_ / "art.svg").string();
  const Result r = Run("trace '" + img + "' -o '" + svg + "'");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("2 outlines with 1 holes"), std::string::npos) << r.out;
  const std::string text = Slurp(svg);
  EXPECT_EQ(CountPaths(text), 2);
  EXPECT_TRUE(WellFormed(text)) << text;
  // 96 pixels an inch unless told: 120 x 80 pixels are 31.75 x 21.167 mm.
  EXPECT_NE(text.find("width=\"31.75mm\" height=\"21.167mm\""), std::string::npos) << text;
  // Written through a temporary, but with the permissions of a plain create (umask applied).
  const mode_t mask = umask(0);
  umask(mask);
  const auto perms = fs::status(svg).permissions();
  EXPECT_EQ(static_cast<unsigned>(perms & fs::perms::all), 0666u & ~static_cast<unsigned>(mask));

  // With --invert the light paper is traced instead: the sheet with the ring and the
  // square cut out, and the paper disc inside the ring as a shape of its own.
  const Result paper = Run("trace '" + img + "' --invert -o '" + svg + "'");
  ASSERT_EQ(paper.status, 0) << paper.err;
  EXPECT_NE(paper.out.find("2 outlines with 2 holes"), std::string::npos) << paper.out;

  // Millimetres at 254 dpi: 120 pixels are 12 mm.
  const Result mm = Run("trace '" + img + "' --dpi 254 -o '" + svg + "'");
  ASSERT_EQ(mm.status, 0) << mm.err;
  EXPECT_NE(Slurp(svg).find("width=\"12mm\" height=\"8mm\""), std::string::npos);

  // A threshold above the paper's grey makes everything dark: the light ones (--invert) are
  // none, so nothing is traced.
  const Result dark = Run("trace '" + img + "' --invert --threshold 240 -o '" + svg + "'");
  ASSERT_EQ(dark.status, 0) << dark.err;
  EXPECT_EQ(CountPaths(Slurp(svg)), 0);
}

TEST_F(Cli, TracesTheBundledExample) {
  const std::string svg = (dir_ / "sign.svg").string();
  const Result r = Run("trace '" + std::string(PLEXA_EXAMPLES) + "/sign.png' -o '" + svg + "'");
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string text = Slurp(svg);
  // The frame and the letters P, L, E, X, A: six shapes; the frame, P and A have holes.
  EXPECT_EQ(CountPaths(text), 6);
  EXPECT_NE(r.out.find("6 outlines with 3 holes"), std::string::npos) << r.out;
  EXPECT_TRUE(WellFormed(text));
}

TEST_F(Cli, ErrorsAreOneLineWithStatusAndNoHalfWrittenFile) {
  const std::string svg = (dir_ / "x.svg").string();
  Result r = Run("trace '" + (dir_ / "missing.png").string() + "' -o '" + svg + "'");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("missing.png"), std::string::npos);
  EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1);
  EXPECT_FALSE(fs::exists(svg));

  std::ofstream(dir_ / "notes.txt") << "not an image";
  r = Run("trace '" + (dir_ / "notes.txt").string() + "' -o '" + svg + "'");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("not a readable"), std::string::npos) << r.err;
  EXPECT_FALSE(fs::exists(svg));

  const std::string img =
      Png("ok.png", 30, 30, [](int x, int y) { return x > 5 && y > 5 && x < 25 && y < 25; });
  r = Run("trace '" + img + "' -o '" + (dir_ / "no" / "such" / "dir.svg").string() + "'");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("cannot write"), std::string::npos) << r.err;

  EXPECT_EQ(Run("trace '" + img + "' -o '" + svg + "' --bogus").status, 2);
  EXPECT_EQ(Run("trace '" + img + "' -o '" + svg + "' --threshold 300").status, 2);
  EXPECT_EQ(Run("trace '" + img + "'").status, 2);
  EXPECT_EQ(Run("frobnicate").status, 2);
  // A run builds its one subcommand unless another is named too; either way it parses alike.
  r = Run("trace '" + img + "' convert -o '" + svg + "'");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("not expected: convert"), std::string::npos);
  EXPECT_FALSE(fs::exists(svg));
  // Nothing but the inputs was left behind: no temporary files.
  int files = 0;
  for (const auto& e : fs::directory_iterator(dir_))
    files += e.path().extension() != ".txt" && e.path().extension() != ".png";
  EXPECT_EQ(files, 0);

  r = Run("--help");
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("trace"), std::string::npos);
  r = Run("trace --help");
  EXPECT_NE(r.out.find("--min-points"), std::string::npos);
  r = Run("--version");
  EXPECT_EQ(r.out, "plexa " PLEXA_VERSION "\n");
}

TEST_F(Cli, OptionsPeopleKnow) {
  const std::string img =
      Png("art.png", 120, 80, [](int x, int y) { return x >= 20 && x < 100 && y >= 20 && y < 60; });
  const std::string svg = (dir_ / "a.svg").string();
  // '-' for standard output (the summary moves to standard error), --output=FILE, '-' for
  // standard input.
  Result r = Run("trace '" + img + "' -o -");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(WellFormed(r.out)) << r.out;
  EXPECT_NE(r.err.find("1 outlines"), std::string::npos) << r.err;
  EXPECT_FALSE(fs::exists(dir_ / "-"));
  r = Run("trace - --output='" + svg + "' < '" + img + "'");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("standard input"), std::string::npos) << r.out;

  // Sizes: fractional resolution, or a width or height with a unit (the other side follows).
  struct Size {
    const char* option;
    const char* expect;
  };
  const Size sizes[] = {{"--dpi 50.8", "width=\"60mm\" height=\"40mm\""},
                        {"--width 30mm", "width=\"30mm\" height=\"20mm\""},
                        {"--width=3cm", "width=\"30mm\" height=\"20mm\""},
                        {"--height 1in", "width=\"38.1mm\" height=\"25.4mm\""},
                        {"--width 72pt --height 72pt", "width=\"25.4mm\" height=\"25.4mm\""}};
  for (const Size& s : sizes) {
    r = Run("trace '" + img + "' " + s.option + " -o '" + svg + "'");
    ASSERT_EQ(r.status, 0) << s.option << r.err;
    EXPECT_NE(Slurp(svg).find(s.expect), std::string::npos) << s.option << Slurp(svg);
  }
  EXPECT_EQ(Run("trace '" + img + "' --width 3furlongs -o '" + svg + "'").status, 2);
  EXPECT_EQ(Run("trace '" + img + "' --width 3cm --dpi 300 -o '" + svg + "'").status, 2);

  // The format follows the extension or --format; an unknown extension is a usage error.
  struct Format {
    std::string args;
    std::string starts;
  };
  const Format formats[] = {{"-o '" + (dir_ / "a.pdf").string() + "'", "%PDF-1.4"},
                            {"-o '" + (dir_ / "a.eps").string() + "'", "%!PS-Adobe-3.0 EPSF"},
                            {"-o '" + (dir_ / "a.plt").string() + "'", "IN;SP1;"},
                            {"-o '" + (dir_ / "a.dxf").string() + "'", "0\nSECTION"},
                            {"--format dxf -o -", "0\nSECTION"}};
  for (const Format& f : formats) {
    r = Run("trace '" + img + "' " + f.args);
    ASSERT_EQ(r.status, 0) << f.args << r.err;
    const std::size_t q = f.args.find('\'');
    const std::string text =
        q == std::string::npos ? r.out : Slurp(f.args.substr(q + 1, f.args.size() - q - 2));
    EXPECT_EQ(text.rfind(f.starts, 0), 0u) << f.args;
  }
  EXPECT_EQ(Run("trace '" + img + "' -o '" + (dir_ / "a.foo").string() + "'").status, 2);
  // A device is written in place and a failed write there fails the run.
  r = Run("trace '" + img + "' -o /dev/full");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("/dev/full"), std::string::npos) << r.err;
}

TEST_F(Cli, ThresholdAutoAndPixelLimit) {
  // A clean two-level image: Otsu separates it without a warning. A smooth gradient: traced
  // with a warning that it is far from two levels.
  const std::string clean =
      Png("clean.png", 60, 60, [](int x, int y) { return x > 10 && x < 50 && y > 10 && y < 50; });
  Result r = Run("trace '" + clean + "' --threshold auto -o -");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err.find("warning"), std::string::npos) << r.err;
  std::vector<unsigned char> ramp(64 * 64);
  for (int i = 0; i < 64 * 64; ++i)
    ramp[static_cast<std::size_t>(i)] = static_cast<unsigned char>((i % 64) * 4);
  const std::string grad = (dir_ / "grad.png").string();
  stbi_write_png(grad.c_str(), 64, 64, 1, ramp.data(), 64);
  r = Run("trace '" + grad + "' --threshold auto -o -");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.err.find("far from two-level"), std::string::npos) << r.err;
  EXPECT_EQ(Run("trace '" + grad + "' --threshold half -o -").status, 2);

  // The limit is checked against the header before decoding: a PNG whose header promises
  // 20000 x 20000 pixels is refused at once; --max-pixels raises the limit.
  r = Run("trace '" + clean + "' --max-pixels 3000 -o -");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("limit of 3000"), std::string::npos) << r.err;
  std::string png = Slurp(clean);
  for (int k : {16, 20}) {  // IHDR width and height, big-endian
    png[static_cast<std::size_t>(k)] = 0;
    png[static_cast<std::size_t>(k) + 1] = 0;
    png[static_cast<std::size_t>(k) + 2] = static_cast<char>(20000 >> 8);
    png[static_cast<std::size_t>(k) + 3] = static_cast<char>(20000 & 0xff);
  }
  std::ofstream(dir_ / "big.png", std::ios::binary) << png;
  r = Run("trace '" + (dir_ / "big.png").string() + "' -o -");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("20000 x 20000"), std::string::npos) << r.err;
}

TEST_F(Cli, ConvertsSvgToEveryFormat) {
  const std::string in = (dir_ / "in.svg").string();
  std::ofstream(in) << "<svg xmlns='http://www.w3.org/2000/svg' width='50mm' height='20mm' "
                       "viewBox='0 0 50 20'><circle cx='10' cy='10' r='8'/><text>x</text>"
                       "<rect x='25' y='2' width='20' height='16'/></svg>";
  Result r = Run("convert '" + in + "' -o -");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("width=\"50mm\" height=\"20mm\""), std::string::npos) << r.out;
  EXPECT_NE(r.err.find("warning: skipped what plexa does not read: text"), std::string::npos)
      << r.err;
  r = Run("convert '" + in + "' --scale 2 --flatten -o -");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("width=\"100mm\" height=\"40mm\""), std::string::npos) << r.out;
  EXPECT_EQ(r.out.find(" C"), std::string::npos);  // flattened: lines only
  for (const char* ext : {"pdf", "eps", "dxf", "plt"}) {
    r = Run("convert - -o '" + (dir_ / (std::string("out.") + ext)).string() + "' < '" + in + "'");
    EXPECT_EQ(r.status, 0) << ext << r.err;
  }
  r = Run("convert '" + (dir_ / "notes.svg").string() + "' -o -");
  EXPECT_EQ(r.status, 1);
  std::ofstream(dir_ / "bad.svg") << "<svg><path d='M0 0 L1e308 0'/></svg>";
  r = Run("convert '" + (dir_ / "bad.svg").string() + "' -o -");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("beyond 100 km"), std::string::npos) << r.err;
}

TEST_F(Cli, DefaultEngineFindsEveryRegionOnPixelEdges) {
  // A 3 x 3 grid of 8-pixel squares (none on the shape tracer's 10-pixel grid) and a frame
  // with a 1-pixel window: every square, the frame and its hole come out, the squares' edges
  // on whole pixels with sharp corners, drawn with straight segments only.
  const std::string img = Png("grid.png", 60, 40, [](int x, int y) {
    const bool square = x < 30 && y < 30 && x % 10 >= 1 && x % 10 < 9 && y % 10 >= 1 && y % 10 < 9;
    const bool frame = x >= 40 && x < 55 && y >= 10 && y < 25 && !(x == 47 && y == 17);
    return square || frame;
  });
  Result r = Run("trace '" + img + "' --turdsize 0 --dpi 254 -o -");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(CountPaths(r.out), 10);
  EXPECT_NE(r.err.find("10 outlines with 1 holes"), std::string::npos) << r.err;
  const std::string first =
      r.out.substr(r.out.find("<path"), r.out.find("Z\"/>") - r.out.find("<path"));
  EXPECT_EQ(first.find('C'), std::string::npos) << first;
  // At 254 dpi a pixel is 0.1 mm: the first square's corners are (0.1, 0.1) .. (0.9, 0.9).
  for (const char* corner : {"0.1 0.1", "0.9 0.1", "0.9 0.9", "0.1 0.9"})
    EXPECT_NE(first.find(corner), std::string::npos) << first;
  // The 1-pixel window is a speckle at the default --turdsize 2: filled.
  r = Run("trace '" + img + "' -o -");
  EXPECT_NE(r.err.find("10 outlines with 0 holes"), std::string::npos) << r.err;
  // The shape tracer still answers to --engine shape (its grid misses the small squares).
  r = Run("trace '" + img + "' --engine shape -o -");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_LT(CountPaths(r.out), 10);
  EXPECT_EQ(Run("trace '" + img + "' --engine potrace -o -").status, 2);
  // Nothing to trace: said on standard error, and an empty drawing written.
  const std::string blank = Png("blank.png", 20, 20, [](int, int) { return false; });
  r = Run("trace '" + blank + "' -o -");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.err.find("nothing traced"), std::string::npos) << r.err;
}
