// plexa text "STRING" -o OUT: a line (or lines) of text set as cut-ready outlines. HarfBuzz
// shapes the text (kerning and ligatures from the font's own tables); the library's glyph
// outlines give each glyph's curves; fontconfig lists the fonts.
#include <fontconfig/fontconfig.h>
#include <hb-ot.h>
#include <hb.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "io/drawing.h"
#include "plexa/plexa.h"
#include "tools/cli.h"
#include "tools/weld.h"

namespace plexa::tool {
namespace {

struct TextOptions {
  std::string text;
  std::string font = "DejaVu Sans";
  std::string height = "10mm";
  bool em = false;
  double spacing = 1.2;
  double dpi = 0;
  bool listFonts = false;
  bool weld = false;
  OutputOptions output;
};

std::wstring Widen(const std::string& s) {
  std::wstring w;
  for (std::size_t i = 0; i < s.size();) {
    auto c = static_cast<unsigned char>(s[i++]);
    std::uint32_t v = c;
    int extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
    if (extra) v &= 0x3F >> extra;
    for (; extra > 0 && i < s.size(); --extra)
      v = (v << 6) | (static_cast<unsigned char>(s[i++]) & 0x3F);
    w += static_cast<wchar_t>(v);
  }
  return w;
}

std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

// "FAMILY[:bold][:italic]" into a logical-font record at an em of `em` pixels.
bool ParseFont(const std::string& desc, LONG em, LOGFONTW& lf, std::string& family) {
  lf = LOGFONTW{};
  lf.lfHeight = -em;
  lf.lfWeight = FW_NORMAL;
  std::size_t start = 0;
  bool first = true;
  while (start <= desc.size()) {
    const std::size_t end = std::min(desc.find(':', start), desc.size());
    const std::string part = desc.substr(start, end - start);
    if (first) {
      family = part;
    } else if (Lower(part) == "bold") {
      lf.lfWeight = FW_BOLD;
    } else if (Lower(part) == "italic" || Lower(part) == "oblique") {
      lf.lfItalic = 1;
    } else {
      return false;
    }
    first = false;
    start = end + 1;
  }
  if (family.empty() || family.size() >= static_cast<std::size_t>(LF_FACESIZE)) return false;
  const std::wstring w = Widen(family);
  std::wcsncpy(lf.lfFaceName, w.c_str(), LF_FACESIZE - 1);
  return true;
}

int ListFonts() {
  if (!FcInit()) return Fail("fontconfig cannot be initialised");
  FcPattern* pattern = FcPatternCreate();
  FcObjectSet* os = FcObjectSetBuild(FC_FAMILY, nullptr);
  FcFontSet* fonts = FcFontList(nullptr, pattern, os);
  std::set<std::string> families;
  for (int i = 0; fonts != nullptr && i < fonts->nfont; ++i) {
    FcChar8* name = nullptr;
    if (FcPatternGetString(fonts->fonts[i], FC_FAMILY, 0, &name) == FcResultMatch)
      families.insert(reinterpret_cast<const char*>(name));
  }
  if (fonts) FcFontSetDestroy(fonts);
  FcObjectSetDestroy(os);
  FcPatternDestroy(pattern);
  for (const std::string& f : families) std::printf("%s\n", f.c_str());
  return kExitOk;
}

// The font selected into a display surface, freed on leaving.
class Selected {
 public:
  explicit Selected(const LOGFONTW& lf) : dc_(CreateDCW(L"DISPLAY", nullptr, nullptr, nullptr)) {
    font_ = CreateFontIndirectW(&lf);
    if (dc_ && font_) SelectObject(dc_, font_);
  }
  ~Selected() {
    if (dc_) DeleteDC(dc_);
    if (font_) DeleteObject(font_);
  }
  Selected(const Selected&) = delete;
  Selected& operator=(const Selected&) = delete;
  bool Ok() const { return dc_ && font_; }
  HDC dc() const { return dc_; }

 private:
  HDC dc_;
  HFONT font_ = nullptr;
};

// Lines of the text: a real newline or the two characters "\n" break lines.
std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines(1);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\n' || (text[i] == '\\' && i + 1 < text.size() && text[i + 1] == 'n')) {
      lines.emplace_back();
      if (text[i] == '\\') ++i;
    } else {
      lines.back() += text[i];
    }
  }
  return lines;
}

int RunText(TextOptions& o) {
  if (o.listFonts) return ListFonts();
  std::string error;
  if (o.text.empty()) {
    std::fprintf(stderr,
                 "plexa: the text is empty: give the words to set (see 'plexa text --help')\n");
    return kExitUsage;
  }
  if (o.output.path.empty()) {
    std::fprintf(stderr, "plexa: give an output with -o FILE (see 'plexa text --help')\n");
    return kExitUsage;
  }
  if (!o.output.Resolve(error)) {
    std::fprintf(stderr, "plexa: %s (see 'plexa text --help')\n", error.c_str());
    return kExitUsage;
  }
  double height = 0;
  const std::string h = o.height;
  if (o.dpi > 0 && h.size() > 2 && h.compare(h.size() - 2, 2, "px") == 0) {
    height = std::atof(h.c_str()) * io::kUnitsPerInch / o.dpi;
  } else if (!ParseLength(h, height)) {
    std::fprintf(stderr, "plexa: --height '%s' is not a length such as 12mm or 0.5in\n", h.c_str());
    return kExitUsage;
  }
  if (!(height > 0) || height > 1e7) {
    std::fprintf(stderr, "plexa: --height must be above 0 and at most 1 km\n");
    return kExitUsage;
  }

  // The font at a probe size tells its units an em; then it is made at one pixel a font unit,
  // so the library's outlines (hundredths of a pixel) are exact font units / 100.
  LOGFONTW lf;
  std::string family;
  if (!ParseFont(o.font, 1000, lf, family)) {
    std::fprintf(stderr, "plexa: --font '%s' is not FAMILY[:bold][:italic]\n", o.font.c_str());
    return kExitUsage;
  }
  std::vector<unsigned char> file;
  {
    Selected probe(lf);
    if (!probe.Ok()) return Fail("no font is installed that could stand for '" + family + "'");
    wchar_t name[LF_FACESIZE];
    const int n = GetTextFaceW(probe.dc(), LF_FACESIZE, name);
    std::string got;
    for (int i = 0; i < n; ++i) got += static_cast<char>(name[i] < 128 ? name[i] : '?');
    if (Lower(got) != Lower(family))
      return Fail("font '" + family + "' is not installed (the closest is '" + got +
                  "'; 'plexa text --list-fonts' lists them)");
    const DWORD size = GetFontData(probe.dc(), 0, 0, nullptr, 0);
    if (size == GDI_ERROR || size == 0) return Fail("font '" + family + "' cannot be read");
    file.resize(size);
    GetFontData(probe.dc(), 0, 0, file.data(), size);
  }
  hb_blob_t* blob =
      hb_blob_create(reinterpret_cast<const char*>(file.data()), static_cast<unsigned>(file.size()),
                     HB_MEMORY_MODE_READONLY, nullptr, nullptr);
  hb_face_t* face = hb_face_create(blob, 0);
  hb_font_t* font = hb_font_create(face);
  const unsigned upem = std::max(1u, hb_face_get_upem(face));
  hb_font_set_scale(font, static_cast<int>(upem), static_cast<int>(upem));
  lf.lfHeight = -static_cast<LONG>(std::min<unsigned>(upem, kMaxFontHeight));
  const double unit = static_cast<double>(upem) / -lf.lfHeight;  // font units a pixel

  // Cap height from the font's tables, else the top of 'H', else 70% of the em.
  double cap = 0;
  {
    hb_position_t v = 0;
    if (hb_ot_metrics_get_position(font, HB_OT_METRICS_TAG_CAP_HEIGHT, &v) && v > 0) cap = v;
    hb_codepoint_t gid;
    hb_glyph_extents_t ext;
    if (!(cap > 0) && hb_font_get_nominal_glyph(font, 'H', &gid) &&
        hb_font_get_glyph_extents(font, gid, &ext) && ext.y_bearing > 0)
      cap = ext.y_bearing;
    if (!(cap > 0)) cap = 0.7 * upem;
  }
  const double lineHeight = o.spacing * upem;

  io::Drawing d;
  std::set<unsigned> missing;
  double baseline = 0;
  hb_buffer_t* buf = hb_buffer_create();
  for (const std::string& line : Lines(o.text)) {
    hb_buffer_reset(buf);
    hb_buffer_add_utf8(buf, line.c_str(), static_cast<int>(line.size()), 0, -1);
    hb_buffer_guess_segment_properties(buf);
    hb_shape(font, buf, nullptr, 0);
    unsigned count = 0;
    const hb_glyph_info_t* info = hb_buffer_get_glyph_infos(buf, &count);
    const hb_glyph_position_t* pos = hb_buffer_get_glyph_positions(buf, &count);
    double pen = 0;
    for (unsigned i = 0; i < count; ++i) {
      if (info[i].codepoint == 0) {  // .notdef: the font lacks the character
        missing.insert(info[i].cluster);
      } else {
        CPolyPolyBezier glyph;
        // Hundredths of a pixel, y down: the origin at the pen on the baseline.
        const PLEXA::CDPOINT origin((pen + pos[i].x_offset) / unit / 100.0,
                                    (baseline - pos[i].y_offset) / unit / 100.0);
        GetGlyphIndexOutlinePoints(lf, info[i].codepoint, glyph, origin);
        for (INT_PTR k = 0; k < glyph.GetSize(); ++k) {
          CBPointArray* p = glyph.GetAt(static_cast<int>(k));
          if (p != nullptr && p->GetSize() >= 3) d.Add(*p);
        }
      }
      pen += pos[i].x_advance;
    }
    baseline += lineHeight;
  }
  hb_buffer_destroy(buf);
  hb_font_destroy(font);
  hb_face_destroy(face);
  hb_blob_destroy(blob);
  if (!missing.empty())
    Warn("font '" + family + "' has no glyph for " + std::to_string(missing.size()) +
         " character(s); they are left out");
  if (d.paths.GetSize() == 0) return Fail("nothing to draw: the text has no visible glyphs");

  // Hundredths of a font unit to drawing units: the cap (or em) height becomes --height.
  io::Scale(d, height * 100.0 * unit / (o.em ? upem : cap));
  if (o.weld) {
    std::string error;
    if (!WeldDrawing(d, FillRule::kNonZero, o.output.Write().tolerance, error)) return Fail(error);
  } else {
    io::GroupIntoShapes(d);
  }
  const int status = WriteOutput(o.output, io::WriteDrawing(d, o.output.Write()));
  if (status != kExitOk) return status;
  std::fprintf(o.output.path == "-" ? stderr : stdout, "set %zu shapes in %s to %s\n",
               d.items.size(), family.c_str(),
               o.output.path == "-" ? "standard output" : o.output.path.c_str());
  return kExitOk;
}

}  // namespace

void RegisterText(Tool& tool) {
  auto o = std::make_shared<TextOptions>();
  CLI::App* cmd =
      tool.Add("text", "set text as outlines in a system font", [o] { return RunText(*o); });
  cmd->footer(
      "Sets each line ('\\n' breaks lines) with the font's kerning and ligatures. --height is\n"
      "the capital height (the top of 'H') unless --em makes it the em; lines are --spacing ems\n"
      "apart. Characters the font lacks are left out with a warning.");
  cmd->add_option("TEXT", o->text, "the words to set");
  AddOutput(*cmd, o->output);
  cmd->get_option("--output")->required(false);  // --list-fonts writes nothing
  cmd->add_option("--font", o->font, "FAMILY[:bold][:italic] (default: DejaVu Sans)");
  cmd->add_option("--height", o->height, "capital height as a length: 10mm, 2cm, 1in, 72pt, 40px");
  cmd->add_flag("--em", o->em, "--height is the em height instead of the capital height");
  cmd->add_option("--spacing", o->spacing, "line distance in ems (default 1.2)")
      ->check(CLI::Range(0.1, 100.0));
  AddDpi(*cmd, o->dpi, "resolution of 'px' heights (default 96)");
  cmd->add_flag("--weld", o->weld, "merge overlapping letters into one outline");
  cmd->add_flag("--list-fonts", o->listFonts, "list the installed font families and stop");
}

}  // namespace plexa::tool
