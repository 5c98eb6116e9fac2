// The font layer: fontconfig finds the file, FreeType reads the outlines and metrics, and the
// results come back in the platform's native records. See font.h for the contract.
#include "plexa/platform/font.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "plexa/platform/internal/font_face.h"
#include "plexa/platform/internal/gdi_objects.h"

#if PLEXA_HAVE_FONTS
#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H
#include FT_TRUETYPE_TABLES_H
#endif

namespace plexa::gdi {

namespace {

// Default em height for lfHeight == 0: 12 points at 96 pixels per inch.
constexpr double kDefaultEmPixels = 16.0;
// Slant given to an upright face when an italic one was asked for and none exists.
constexpr double kSyntheticSlant = 0.2;
// A cubic of a CFF font is split into quadratics until each is within this many font units.
constexpr double kCubicToQuadTolerance = 1.0 / 16.0;
// At most 2^6 = 64 quadratics stand for one cubic.
constexpr int kCubicSplitDepth = 6;
// Largest number of characters one GetCharABCWidthsFloatW call answers.
constexpr UINT kMaxAbcRange = 65536;

}  // namespace

#if PLEXA_HAVE_FONTS

struct FaceData {
  FT_Library library = nullptr;
  FT_Face face = nullptr;
  std::vector<unsigned char> bytes;  // the font file, kept for GetFontData and for FreeType
  std::wstring family;
  double emPixels = kDefaultEmPixels;
  double slant = 0;  // synthetic oblique: x += slant * y
  // The last outline asked for, so that the fill after a size query does not load it again.
  bool cached = false;
  UINT cachedCh = 0, cachedFormat = 0;
  MAT2 cachedMatrix{};
  std::vector<unsigned char> cachedRecords;
  GLYPHMETRICS cachedMetrics{};
  ~FaceData() {
    if (face) FT_Done_Face(face);
    if (library) FT_Done_FreeType(library);
  }
};

namespace {

std::string ToUtf8(const WCHAR* text, std::size_t max) {
  std::string out;
  for (std::size_t i = 0; i < max && text[i] != 0; ++i) {
    const auto c = static_cast<std::uint32_t>(text[i]);
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x110000) {
      out += static_cast<char>(0xF0 | (c >> 18));
      out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

std::wstring FromUtf8(const char* s) {
  std::wstring out;
  const auto* p = reinterpret_cast<const unsigned char*>(s);
  while (*p) {
    std::uint32_t c = *p++;
    int extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
    if (extra) c &= 0x3F >> extra;
    for (; extra > 0 && (*p & 0xC0) == 0x80; --extra) c = (c << 6) | (*p++ & 0x3F);
    out += static_cast<wchar_t>(c);
  }
  return out;
}

// The em height in pixels for the record's lfHeight.
double EmPixels(const LOGFONTW& lf, FT_Face face) {
  if (lf.lfHeight == 0) return kDefaultEmPixels;
  const double h = std::min<double>(std::fabs(static_cast<double>(lf.lfHeight)), kMaxFontHeight);
  if (lf.lfHeight < 0) return h;
  double cell = 0;
  if (const auto* os2 = static_cast<const TT_OS2*>(FT_Get_Sfnt_Table(face, FT_SFNT_OS2));
      os2 != nullptr && os2->version != 0xFFFF) {
    cell = static_cast<double>(os2->usWinAscent) + os2->usWinDescent;
  }
  if (cell <= 0) cell = static_cast<double>(face->ascender) - face->descender;
  if (cell <= 0) cell = face->units_per_EM;
  return h * face->units_per_EM / cell;
}

bool ReadFile(const char* path, std::vector<unsigned char>& bytes) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  in.seekg(0, std::ios::end);
  const std::streamoff size = in.tellg();
  if (size <= 0 || size > (std::streamoff{1} << 31)) return false;
  in.seekg(0);
  bytes.resize(static_cast<std::size_t>(size));
  return static_cast<bool>(in.read(reinterpret_cast<char*>(bytes.data()), size));
}

}  // namespace

std::shared_ptr<FaceData> OpenFace(std::vector<unsigned char> bytes, long index) {
  auto data = std::make_shared<FaceData>();
  data->bytes = std::move(bytes);
  if (FT_Init_FreeType(&data->library) != 0) {
    data->library = nullptr;
    return nullptr;
  }
  if (FT_New_Memory_Face(data->library, data->bytes.data(),
                         static_cast<FT_Long>(data->bytes.size()), index, &data->face) != 0) {
    data->face = nullptr;
    return nullptr;
  }
  if (!FT_IS_SCALABLE(data->face) || data->face->units_per_EM == 0) return nullptr;
  if (data->face->family_name) data->family = FromUtf8(data->face->family_name);
  return data;
}

void SetFaceSize(FaceData& data, const LOGFONTW& lf) {
  data.emPixels = EmPixels(lf, data.face);
}

namespace {

// Builds the native records of one glyph outline given in font units. Scale maps font units to
// 16.16 device units; the matrix is applied after scaling.
class NativeWriter {
 public:
  NativeWriter(double scale, double slant, const MAT2& m) : scale_(scale), slant_(slant) {
    auto f = [](const FIXED& v) { return v.value + v.fract / 65536.0; };
    m11_ = f(m.eM11);
    m12_ = f(m.eM12);
    m21_ = f(m.eM21);
    m22_ = f(m.eM22);
  }

  void BeginContour(double x, double y) {
    header_ = out_.size();
    Append(TTPOLYGONHEADER{0, TT_POLYGON_TYPE, Point(x, y)});
    curve_ = std::string::npos;
    type_ = 0;
  }
  void Line(double x, double y) {
    if (type_ != TT_PRIM_LINE) Begin(TT_PRIM_LINE);
    Add(x, y);
  }
  // One quadratic run: a control then the on-curve end (its own record, as B-spline records
  // read every point but the last as a control).
  void Quad(double cx, double cy, double x, double y) {
    Begin(TT_PRIM_QSPLINE);
    Add(cx, cy);
    Add(x, y);
    type_ = 0;  // the next quadratic starts a record of its own
  }
  void EndContour() {
    const auto cb = static_cast<DWORD>(out_.size() - header_);
    std::memcpy(out_.data() + header_, &cb, sizeof cb);
  }
  std::vector<unsigned char>& Bytes() { return out_; }

 private:
  template <class T>
  void Append(const T& record) {
    const auto* p = reinterpret_cast<const unsigned char*>(&record);
    out_.insert(out_.end(), p, p + sizeof(T));
  }
  static FIXED Fixed(double v) {
    const double r = std::clamp(std::round(v * 65536.0), -2147483648.0, 2147483647.0);
    const auto bits = static_cast<std::uint32_t>(static_cast<std::int32_t>(r));
    FIXED f;
    f.fract = static_cast<WORD>(bits & 0xFFFF);
    f.value = static_cast<short>(static_cast<std::int16_t>(bits >> 16));
    return f;
  }
  POINTFX Point(double x, double y) const {
    x = (x + slant_ * y) * scale_;
    y *= scale_;
    return POINTFX{Fixed(m11_ * x + m21_ * y), Fixed(m12_ * x + m22_ * y)};
  }
  void Begin(WORD type) {
    curve_ = out_.size();
    const WORD head[2] = {type, 0};
    out_.insert(out_.end(), reinterpret_cast<const unsigned char*>(head),
                reinterpret_cast<const unsigned char*>(head) + sizeof head);
    type_ = type;
  }
  void Add(double x, double y) {
    Append(Point(x, y));
    WORD count;
    std::memcpy(&count, out_.data() + curve_ + 2, sizeof count);
    ++count;
    std::memcpy(out_.data() + curve_ + 2, &count, sizeof count);
  }

  double scale_, slant_;
  double m11_ = 1, m12_ = 0, m21_ = 0, m22_ = 1;
  std::vector<unsigned char> out_;
  std::size_t header_ = 0;
  std::size_t curve_ = std::string::npos;
  WORD type_ = 0;
};

struct Pt {
  double x, y;
};

// Splits the cubic p0..p3 into quadratics within kCubicToQuadTolerance (font units).
void CubicToQuads(NativeWriter& w, Pt p0, Pt p1, Pt p2, Pt p3, int depth) {
  // A single quadratic's control at (3 (p1 + p2) - p0 - p3) / 4 differs from the cubic by at
  // most sqrt(3) / 36 * |p3 - 3 p2 + 3 p1 - p0|.
  const double ex = p3.x - 3 * p2.x + 3 * p1.x - p0.x, ey = p3.y - 3 * p2.y + 3 * p1.y - p0.y;
  const double err = std::sqrt(3.0) / 36.0 * std::hypot(ex, ey);
  if (depth >= kCubicSplitDepth || !(err > kCubicToQuadTolerance)) {
    w.Quad((3 * (p1.x + p2.x) - p0.x - p3.x) / 4, (3 * (p1.y + p2.y) - p0.y - p3.y) / 4, p3.x,
           p3.y);
    return;
  }
  auto mid = [](Pt a, Pt b) { return Pt{(a.x + b.x) / 2, (a.y + b.y) / 2}; };
  const Pt a = mid(p0, p1), b = mid(p1, p2), c = mid(p2, p3), d = mid(a, b), e = mid(b, c),
           m = mid(d, e);
  CubicToQuads(w, p0, a, d, m, depth + 1);
  CubicToQuads(w, m, e, c, p3, depth + 1);
}

// Writes the contours of an outline in font units as native records.
void WriteOutline(const FT_Outline& o, NativeWriter& w) {
  std::vector<Pt> pts;
  std::vector<char> tags;
  int first = 0;
  for (int c = 0; c < o.n_contours; ++c) {
    const int last = o.contours[c];
    if (last < first || last >= o.n_points) break;
    const int n = last - first + 1;
    if (n < 2) {  // a lone point (an anchor for mark placement) draws nothing
      first = last + 1;
      continue;
    }
    auto at = [&](int i) {
      const FT_Vector& v = o.points[first + i % n];
      return Pt{static_cast<double>(v.x), static_cast<double>(v.y)};
    };
    auto tag = [&](int i) { return static_cast<char>(FT_CURVE_TAG(o.tags[first + i % n])); };
    // Start at the first on-curve point; a contour of controls only starts at the implied
    // point between its last and first controls. pts holds the rest of the contour in order.
    int s = 0;
    while (s < n && tag(s) != FT_CURVE_TAG_ON) ++s;
    Pt start;
    pts.clear();
    tags.clear();
    if (s < n) {
      start = at(s);
      for (int k = 1; k < n; ++k) {
        pts.push_back(at(s + k));
        tags.push_back(tag(s + k));
      }
    } else {
      start = Pt{(at(n - 1).x + at(0).x) / 2, (at(n - 1).y + at(0).y) / 2};
      for (int k = 0; k < n; ++k) {
        pts.push_back(at(k));
        tags.push_back(tag(k));
      }
    }
    const std::size_t m = pts.size();
    auto P = [&](std::size_t j) { return j < m ? pts[j] : start; };
    auto T = [&](std::size_t j) { return j < m ? tags[j] : static_cast<char>(FT_CURVE_TAG_ON); };
    w.BeginContour(start.x, start.y);
    Pt prev = start;
    std::size_t i = 0;
    // Index m stands for the start again: reaching it by a line closes implicitly (not
    // written); reaching it by a curve writes that curve.
    while (i < m) {
      if (T(i) == FT_CURVE_TAG_ON) {
        prev = P(i);
        w.Line(prev.x, prev.y);
        ++i;
      } else if (T(i) == FT_CURVE_TAG_CONIC) {
        const Pt ctrl = P(i);
        Pt next;
        if (T(i + 1) == FT_CURVE_TAG_CONIC) {
          next = Pt{(ctrl.x + P(i + 1).x) / 2, (ctrl.y + P(i + 1).y) / 2};
          i += 1;
        } else {
          next = P(i + 1);
          i += 2;
        }
        w.Quad(ctrl.x, ctrl.y, next.x, next.y);
        prev = next;
      } else {  // cubic: two controls, then an on-curve point
        const Pt p = P(i + 2);
        CubicToQuads(w, prev, P(i), P(i + 1), p, 0);
        prev = p;
        i += 3;
      }
    }
    w.EndContour();
    first = last + 1;
  }
}

FT_UInt GlyphIndex(FT_Face face, UINT ch, UINT format) {
  if (format & GGO_GLYPH_INDEX) return ch < static_cast<UINT>(face->num_glyphs) ? ch : 0;
  return FT_Get_Char_Index(face, ch);
}

}  // namespace

bool LoadNativeOutline(FaceData& data, UINT ch, UINT format, const MAT2& matrix,
                       std::vector<unsigned char>& records, GLYPHMETRICS& metrics);

bool NativeOutline(FaceData& data, UINT ch, UINT format, const MAT2& matrix,
                   std::vector<unsigned char>& records, GLYPHMETRICS* gm) {
  if (data.cached && data.cachedCh == ch && data.cachedFormat == format &&
      std::memcmp(&data.cachedMatrix, &matrix, sizeof matrix) == 0) {
    records = data.cachedRecords;
    if (gm != nullptr) *gm = data.cachedMetrics;
    return true;
  }
  GLYPHMETRICS metrics{};
  if (!LoadNativeOutline(data, ch, format, matrix, records, metrics)) return false;
  data.cached = true;
  data.cachedCh = ch;
  data.cachedFormat = format;
  data.cachedMatrix = matrix;
  data.cachedRecords = records;
  data.cachedMetrics = metrics;
  if (gm != nullptr) *gm = metrics;
  return true;
}

bool LoadNativeOutline(FaceData& data, UINT ch, UINT format, const MAT2& matrix,
                       std::vector<unsigned char>& records, GLYPHMETRICS& metrics) {
  GLYPHMETRICS* gm = &metrics;
  FT_Face face = data.face;
  const FT_UInt index = GlyphIndex(face, ch, format);
  if (index == 0 && !(format & GGO_GLYPH_INDEX && ch == 0)) return false;
  if (FT_Load_Glyph(face, index, FT_LOAD_NO_SCALE | FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP) != 0)
    return false;
  const FT_GlyphSlot slot = face->glyph;
  if (slot->format != FT_GLYPH_FORMAT_OUTLINE) return false;
  const double scale = data.emPixels / face->units_per_EM;
  NativeWriter writer(scale, data.slant, matrix);
  WriteOutline(slot->outline, writer);
  records = std::move(writer.Bytes());
  if (gm != nullptr) {
    FT_BBox box;
    FT_Outline_Get_CBox(&slot->outline, &box);
    const bool empty = slot->outline.n_points == 0;
    *gm = GLYPHMETRICS{};
    gm->gmBlackBoxX = empty ? 1 : static_cast<UINT>(std::ceil((box.xMax - box.xMin) * scale));
    gm->gmBlackBoxY = empty ? 1 : static_cast<UINT>(std::ceil((box.yMax - box.yMin) * scale));
    gm->gmptGlyphOrigin.x = empty ? 0 : static_cast<LONG>(std::floor(box.xMin * scale));
    gm->gmptGlyphOrigin.y = empty ? 0 : static_cast<LONG>(std::ceil(box.yMax * scale));
    gm->gmCellIncX = static_cast<short>(
        std::clamp(std::lround(slot->metrics.horiAdvance * scale), -32768L, 32767L));
  }
  return true;
}

bool AbcWidths(FaceData& data, UINT ch, ABCFLOAT& abc) {
  FT_Face face = data.face;
  const FT_UInt index = FT_Get_Char_Index(face, ch);
  if (FT_Load_Glyph(face, index, FT_LOAD_NO_SCALE | FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP) != 0)
    return false;
  const double scale = data.emPixels / face->units_per_EM;
  const FT_Glyph_Metrics& m = face->glyph->metrics;
  abc.abcfA = static_cast<FLOAT>(m.horiBearingX * scale);
  abc.abcfB = static_cast<FLOAT>(m.width * scale);
  abc.abcfC = static_cast<FLOAT>((m.horiAdvance - m.horiBearingX - m.width) * scale);
  return true;
}

namespace {

std::shared_ptr<FaceData> MatchFace(const LOGFONTW& lf) {
  if (!FcInit()) return nullptr;
  std::unique_ptr<FcPattern, decltype(&FcPatternDestroy)> pattern(FcPatternCreate(),
                                                                  FcPatternDestroy);
  if (!pattern) return nullptr;
  const std::string family = ToUtf8(lf.lfFaceName, LF_FACESIZE);
  if (!family.empty())
    FcPatternAddString(pattern.get(), FC_FAMILY, reinterpret_cast<const FcChar8*>(family.c_str()));
  const int weight = lf.lfWeight <= 0 ? FW_NORMAL : std::min<LONG>(lf.lfWeight, 1000);
  FcPatternAddInteger(pattern.get(), FC_WEIGHT, FcWeightFromOpenType(weight));
  FcPatternAddInteger(pattern.get(), FC_SLANT, lf.lfItalic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
  FcPatternAddBool(pattern.get(), FC_SCALABLE, FcTrue);
  FcConfigSubstitute(nullptr, pattern.get(), FcMatchPattern);
  FcDefaultSubstitute(pattern.get());
  FcResult result = FcResultNoMatch;
  std::unique_ptr<FcPattern, decltype(&FcPatternDestroy)> match(
      FcFontMatch(nullptr, pattern.get(), &result), FcPatternDestroy);
  if (!match) return nullptr;
  FcChar8* file = nullptr;
  if (FcPatternGetString(match.get(), FC_FILE, 0, &file) != FcResultMatch || file == nullptr)
    return nullptr;
  int index = 0;
  FcPatternGetInteger(match.get(), FC_INDEX, 0, &index);
  std::vector<unsigned char> bytes;
  if (!ReadFile(reinterpret_cast<const char*>(file), bytes)) return nullptr;
  auto data = OpenFace(std::move(bytes), index);
  if (!data) return nullptr;
  int slant = FC_SLANT_ROMAN;
  FcPatternGetInteger(match.get(), FC_SLANT, 0, &slant);
  if (lf.lfItalic && slant == FC_SLANT_ROMAN) data->slant = kSyntheticSlant;
  SetFaceSize(*data, lf);
  return data;
}

}  // namespace

#else  // no FreeType and fontconfig: there are no fonts

struct FaceData {};
std::shared_ptr<FaceData> OpenFace(std::vector<unsigned char>, long) {
  return nullptr;
}
void SetFaceSize(FaceData&, const LOGFONTW&) {}
bool NativeOutline(FaceData&, UINT, UINT, const MAT2&, std::vector<unsigned char>&, GLYPHMETRICS*) {
  return false;
}
bool AbcWidths(FaceData&, UINT, ABCFLOAT&) {
  return false;
}
namespace {
std::shared_ptr<FaceData> MatchFace(const LOGFONTW&) {
  return nullptr;
}
}  // namespace

#endif

namespace {

FaceData* SelectedFace(HDC dc) {
  Dc* d = Find<Dc>(dc);
  return d && d->font && d->font->face ? d->font->face.get() : nullptr;
}

}  // namespace

HFONT NewFont(std::shared_ptr<FaceData> face) {
  if (!face) return nullptr;
  auto f = std::make_unique<Font>();
  f->face = std::move(face);
  return static_cast<HFONT>(Adopt(std::move(f)));
}

}  // namespace plexa::gdi

using namespace plexa::gdi;

HDC CreateDCW(const WCHAR*, const WCHAR*, const WCHAR*, const void*) {
  return NewDisplayDc();
}

HFONT CreateFontIndirectW(const LOGFONTW* font) {
  if (font == nullptr) return nullptr;
  return NewFont(MatchFace(*font));
}

DWORD GetGlyphOutlineW(HDC dc, UINT ch, UINT format, GLYPHMETRICS* gm, DWORD size, void* buffer,
                       const MAT2* matrix) {
  FaceData* face = SelectedFace(dc);
  if (face == nullptr || matrix == nullptr) return GDI_ERROR;
  const UINT kind = format & ~GGO_GLYPH_INDEX;
  if (kind != GGO_NATIVE && kind != GGO_METRICS) return GDI_ERROR;
  std::vector<unsigned char> records;
  if (!NativeOutline(*face, ch, format, *matrix, records, gm)) return GDI_ERROR;
  if (kind == GGO_METRICS) return 0;
  const auto need = static_cast<DWORD>(records.size());
  if (buffer == nullptr || size == 0) return need;
  if (size < need) return GDI_ERROR;
  std::memcpy(buffer, records.data(), need);
  return need;
}

BOOL GetCharABCWidthsFloatW(HDC dc, UINT first, UINT last, ABCFLOAT* widths) {
  FaceData* face = SelectedFace(dc);
  if (face == nullptr || widths == nullptr || last < first || last - first >= kMaxAbcRange)
    return FALSE;
  for (UINT c = first;; ++c) {
    if (!AbcWidths(*face, c, widths[c - first])) return FALSE;
    if (c == last) break;
  }
  return TRUE;
}

int GetTextFaceW(HDC dc, int count, WCHAR* name) {
  FaceData* face = SelectedFace(dc);
  if (face == nullptr) return 0;
#if PLEXA_HAVE_FONTS
  const std::wstring& family = face->family;
#else
  const std::wstring family;
#endif
  if (name == nullptr) return static_cast<int>(family.size()) + 1;
  if (count <= 0) return 0;
  const int n = std::min(static_cast<int>(family.size()), count - 1);
  std::copy_n(family.begin(), n, name);
  name[n] = 0;
  return n;
}

DWORD GetFontData(HDC dc, DWORD table, DWORD offset, void* buffer, DWORD size) {
  FaceData* face = SelectedFace(dc);
  if (face == nullptr || table != 0) return GDI_ERROR;
#if PLEXA_HAVE_FONTS
  const std::vector<unsigned char>& bytes = face->bytes;
  if (offset > bytes.size()) return GDI_ERROR;
  const auto left = static_cast<DWORD>(bytes.size() - offset);
  if (buffer == nullptr || size == 0) return left;
  const DWORD n = std::min(left, size);
  std::memcpy(buffer, bytes.data() + offset, n);
  return n;
#else
  (void)offset;
  (void)buffer;
  (void)size;
  return GDI_ERROR;
#endif
}
