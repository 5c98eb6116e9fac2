// The font stack and libimagequant, loaded when a subcommand first uses them.
//
// Most runs of `plexa` trace, convert or offset a file in milliseconds, and mapping FreeType,
// fontconfig, HarfBuzz and what they pull in (GLib, graphite2, libpng, Brotli, PCRE2, Expat)
// cost more than the work itself; so does libimagequant's OpenMP runtime, whose start-up code
// (reading the processor count, thread and environment set-up) would run before every command
// although only `plexa colours` uses it. So the tool is linked without them: each function of
// theirs that the tool or the library's font layer calls is defined here, and its first call
// opens the library by its ABI name (dlopen) and looks the function up; later calls go straight
// through. A library that cannot be opened ends the process with one line on stderr, as the
// loader would have refused to start the tool without it.
//
// A function of these libraries used anywhere in the tool or the library and missing here
// fails the tool's link with an undefined symbol: add one line below (its prototype comes from
// the library's header, which this file includes so the compiler checks every line).
#include <dlfcn.h>
#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include <hb-ot.h>
#include <hb.h>
#include <libimagequant.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include FT_FREETYPE_H
#include FT_OUTLINE_H
#include FT_TRUETYPE_TABLES_H

namespace {

enum Lib { kFreeType, kFontconfig, kHarfBuzz, kImageQuant, kLibCount };

// The ABI (soname) versions Debian has shipped for many years.
constexpr const char* kSoname[kLibCount] = {"libfreetype.so.6", "libfontconfig.so.1",
                                            "libharfbuzz.so.0", "libimagequant.so.0"};

void* Symbol(Lib lib, const char* name) {
  static void* handles[kLibCount] = {};
  static std::mutex mutex;
  std::lock_guard<std::mutex> lock(mutex);
  if (handles[lib] == nullptr) handles[lib] = dlopen(kSoname[lib], RTLD_NOW | RTLD_LOCAL);
  void* fn = handles[lib] ? dlsym(handles[lib], name) : nullptr;
  if (fn == nullptr) {
    const char* why = dlerror();
    std::fprintf(stderr, "plexa: cannot load %s from %s: %s\n", name, kSoname[lib],
                 why ? why : "not found");
    std::exit(127);
  }
  return fn;
}

}  // namespace

// One forwarding definition: the function's result, name, parameters and call arguments.
#define PLEXA_LAZY(lib, ret, name, params, args)                                  \
  extern "C" ret name params {                                                    \
    static const auto fn = reinterpret_cast<decltype(&name)>(Symbol(lib, #name)); \
    return fn args;                                                               \
  }

PLEXA_LAZY(kFreeType, FT_Error, FT_Init_FreeType, (FT_Library * a), (a))
PLEXA_LAZY(kFreeType, FT_Error, FT_Done_FreeType, (FT_Library a), (a))
PLEXA_LAZY(kFreeType, FT_Error, FT_New_Memory_Face,
           (FT_Library a, const FT_Byte* b, FT_Long c, FT_Long d, FT_Face* e), (a, b, c, d, e))
PLEXA_LAZY(kFreeType, FT_Error, FT_Done_Face, (FT_Face a), (a))
PLEXA_LAZY(kFreeType, FT_UInt, FT_Get_Char_Index, (FT_Face a, FT_ULong b), (a, b))
PLEXA_LAZY(kFreeType, void*, FT_Get_Sfnt_Table, (FT_Face a, FT_Sfnt_Tag b), (a, b))
PLEXA_LAZY(kFreeType, FT_Error, FT_Load_Glyph, (FT_Face a, FT_UInt b, FT_Int32 c), (a, b, c))
PLEXA_LAZY(kFreeType, void, FT_Outline_Get_CBox, (const FT_Outline* a, FT_BBox* b), (a, b))

PLEXA_LAZY(kFontconfig, FcBool, FcInit, (void), ())
PLEXA_LAZY(kFontconfig, FcBool, FcConfigSubstitute, (FcConfig * a, FcPattern* b, FcMatchKind c),
           (a, b, c))
PLEXA_LAZY(kFontconfig, void, FcDefaultSubstitute, (FcPattern * a), (a))
PLEXA_LAZY(kFontconfig, FcPattern*, FcFontMatch, (FcConfig * a, FcPattern* b, FcResult* c),
           (a, b, c))
PLEXA_LAZY(kFontconfig, FcFontSet*, FcFontList, (FcConfig * a, FcPattern* b, FcObjectSet* c),
           (a, b, c))
PLEXA_LAZY(kFontconfig, void, FcFontSetDestroy, (FcFontSet * a), (a))
PLEXA_LAZY(kFontconfig, FcObjectSet*, FcObjectSetCreate, (void), ())
PLEXA_LAZY(kFontconfig, FcBool, FcObjectSetAdd, (FcObjectSet * a, const char* b), (a, b))
PLEXA_LAZY(kFontconfig, void, FcObjectSetDestroy, (FcObjectSet * a), (a))
PLEXA_LAZY(kFontconfig, FcPattern*, FcPatternCreate, (void), ())
PLEXA_LAZY(kFontconfig, void, FcPatternDestroy, (FcPattern * a), (a))
PLEXA_LAZY(kFontconfig, FcBool, FcPatternAddBool, (FcPattern * a, const char* b, FcBool c),
           (a, b, c))
PLEXA_LAZY(kFontconfig, FcBool, FcPatternAddInteger, (FcPattern * a, const char* b, int c),
           (a, b, c))
PLEXA_LAZY(kFontconfig, FcBool, FcPatternAddString,
           (FcPattern * a, const char* b, const FcChar8* c), (a, b, c))
PLEXA_LAZY(kFontconfig, FcResult, FcPatternGetInteger,
           (const FcPattern* a, const char* b, int c, int* d), (a, b, c, d))
PLEXA_LAZY(kFontconfig, FcResult, FcPatternGetString,
           (const FcPattern* a, const char* b, int c, FcChar8** d), (a, b, c, d))
PLEXA_LAZY(kFontconfig, int, FcWeightFromOpenType, (int a), (a))

// The one variadic function: the names up to the terminating null, added one at a time.
extern "C" FcObjectSet* FcObjectSetBuild(const char* first, ...) {
  FcObjectSet* os = FcObjectSetCreate();
  if (os == nullptr) return nullptr;
  va_list names;
  va_start(names, first);
  for (const char* name = first; name != nullptr; name = va_arg(names, const char*)) {
    if (!FcObjectSetAdd(os, name)) {
      FcObjectSetDestroy(os);
      os = nullptr;
      break;
    }
  }
  va_end(names);
  return os;
}

PLEXA_LAZY(kHarfBuzz, hb_blob_t*, hb_blob_create,
           (const char* a, unsigned int b, hb_memory_mode_t c, void* d, hb_destroy_func_t e),
           (a, b, c, d, e))
PLEXA_LAZY(kHarfBuzz, void, hb_blob_destroy, (hb_blob_t * a), (a))
PLEXA_LAZY(kHarfBuzz, hb_face_t*, hb_face_create, (hb_blob_t * a, unsigned int b), (a, b))
PLEXA_LAZY(kHarfBuzz, void, hb_face_destroy, (hb_face_t * a), (a))
PLEXA_LAZY(kHarfBuzz, unsigned int, hb_face_get_upem, (const hb_face_t* a), (a))
PLEXA_LAZY(kHarfBuzz, hb_font_t*, hb_font_create, (hb_face_t * a), (a))
PLEXA_LAZY(kHarfBuzz, void, hb_font_destroy, (hb_font_t * a), (a))
PLEXA_LAZY(kHarfBuzz, void, hb_font_set_scale, (hb_font_t * a, int b, int c), (a, b, c))
PLEXA_LAZY(kHarfBuzz, hb_bool_t, hb_font_get_glyph_extents,
           (hb_font_t * a, hb_codepoint_t b, hb_glyph_extents_t* c), (a, b, c))
PLEXA_LAZY(kHarfBuzz, hb_bool_t, hb_font_get_nominal_glyph,
           (hb_font_t * a, hb_codepoint_t b, hb_codepoint_t* c), (a, b, c))
PLEXA_LAZY(kHarfBuzz, hb_bool_t, hb_ot_metrics_get_position,
           (hb_font_t * a, hb_ot_metrics_tag_t b, hb_position_t* c), (a, b, c))
PLEXA_LAZY(kHarfBuzz, hb_buffer_t*, hb_buffer_create, (void), ())
PLEXA_LAZY(kHarfBuzz, void, hb_buffer_destroy, (hb_buffer_t * a), (a))
PLEXA_LAZY(kHarfBuzz, void, hb_buffer_reset, (hb_buffer_t * a), (a))
PLEXA_LAZY(kHarfBuzz, void, hb_buffer_add_utf8,
           (hb_buffer_t * a, const char* b, int c, unsigned int d, int e), (a, b, c, d, e))
PLEXA_LAZY(kHarfBuzz, void, hb_buffer_guess_segment_properties, (hb_buffer_t * a), (a))
PLEXA_LAZY(kHarfBuzz, hb_glyph_info_t*, hb_buffer_get_glyph_infos,
           (hb_buffer_t * a, unsigned int* b), (a, b))
PLEXA_LAZY(kHarfBuzz, hb_glyph_position_t*, hb_buffer_get_glyph_positions,
           (hb_buffer_t * a, unsigned int* b), (a, b))
PLEXA_LAZY(kHarfBuzz, void, hb_shape,
           (hb_font_t * a, hb_buffer_t* b, const hb_feature_t* c, unsigned int d), (a, b, c, d))

PLEXA_LAZY(kImageQuant, liq_attr*, liq_attr_create, (void), ())
PLEXA_LAZY(kImageQuant, void, liq_attr_destroy, (liq_attr * a), (a))
PLEXA_LAZY(kImageQuant, liq_error, liq_set_max_colors, (liq_attr * a, int b), (a, b))
PLEXA_LAZY(kImageQuant, liq_error, liq_set_speed, (liq_attr * a, int b), (a, b))
PLEXA_LAZY(kImageQuant, liq_image*, liq_image_create_rgba,
           (const liq_attr* a, const void* b, int c, int d, double e), (a, b, c, d, e))
PLEXA_LAZY(kImageQuant, void, liq_image_destroy, (liq_image * a), (a))
PLEXA_LAZY(kImageQuant, liq_error, liq_image_quantize,
           (liq_image* const a, liq_attr* const b, liq_result** c), (a, b, c))
PLEXA_LAZY(kImageQuant, liq_error, liq_set_dithering_level, (liq_result * a, float b), (a, b))
PLEXA_LAZY(kImageQuant, const liq_palette*, liq_get_palette, (liq_result * a), (a))
PLEXA_LAZY(kImageQuant, liq_error, liq_write_remapped_image,
           (liq_result * a, liq_image* b, void* c, size_t d), (a, b, c, d))
PLEXA_LAZY(kImageQuant, void, liq_result_destroy, (liq_result * a), (a))
