#include "plexa/draw/glyph.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "plexa/analysis/collision.h"
#include "plexa/draw/internal/glyph_convert.h"
#include "plexa/geom/bezier.h"
#include "plexa/platform/internal/font_face.h"
#include "tests/support.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

const char* const kFontDir = "/usr/share/fonts/truetype/dejavu/";

// Native records written by hand: one contour a call to Contour, curves added to the last.
class Records {
 public:
  static FIXED Fx(std::int32_t raw) {
    FIXED f;
    f.fract = static_cast<WORD>(raw & 0xFFFF);
    f.value = static_cast<short>(raw >> 16);
    return f;
  }
  void Contour(std::int32_t x, std::int32_t y, DWORD type = TT_POLYGON_TYPE) {
    header_ = bytes_.size();
    const TTPOLYGONHEADER h{sizeof(TTPOLYGONHEADER), type, {Fx(x), Fx(y)}};
    Put(&h, sizeof h);
  }
  void Curve(WORD type, std::initializer_list<std::pair<std::int32_t, std::int32_t>> pts) {
    const WORD head[2] = {type, static_cast<WORD>(pts.size())};
    Put(head, sizeof head);
    for (auto [x, y] : pts) {
      const POINTFX p{Fx(x), Fx(y)};
      Put(&p, sizeof p);
    }
  }
  std::vector<BYTE>& Bytes() { return bytes_; }

 private:
  void Put(const void* p, std::size_t n) {
    const auto* b = static_cast<const BYTE*>(p);
    bytes_.insert(bytes_.end(), b, b + n);
    const auto cb = static_cast<DWORD>(bytes_.size() - header_);
    std::memcpy(bytes_.data() + header_, &cb, sizeof cb);
  }
  std::vector<BYTE> bytes_;
  std::size_t header_ = 0;
};

constexpr std::int32_t kOne = 0x10000;

CPolyPolyBezier Convert(Records& r, bool divide = false) {
  CPolyPolyBezier out;
  plexa::glyph::ConvertNativeOutline(r.Bytes().data(), r.Bytes().size(), divide, out);
  return out;
}

TEST(GlyphConvert, LinesGiveStraightClosedPathsWithControlsOnAnchors) {
  Records r;
  r.Contour(0, 0);
  r.Curve(TT_PRIM_LINE, {{10 * kOne, 0}, {10 * kOne, 10 * kOne}, {0, 10 * kOne}});
  r.Contour(0, 0, 7);  // a contour of another type ends the conversion
  r.Curve(TT_PRIM_LINE, {{kOne, kOne}});
  const CPolyPolyBezier out = Convert(r);
  ASSERT_EQ(out.GetSize(), 1);
  const CBPointArray& p = *out.GetAt(0);
  // The start, three corners and the added closing line back to the start; y negated.
  const CDPOINT want[] = {{0, 0}, {10, 0}, {10, -10}, {0, -10}, {0, 0}};
  ASSERT_EQ(p.GetSize(), 5);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(p[i].anchor, want[i]) << i;
    EXPECT_EQ(p[i].in, p[i].anchor) << i;
    EXPECT_EQ(p[i].out, p[i].anchor) << i;
  }
  // Divided by 100 on request.
  EXPECT_EQ(Convert(r, true).GetAt(0)->GetAt(2).anchor, CDPOINT(0.1, -0.1));
}

TEST(GlyphConvert, QuadraticRunsRoundHalfUpHalveRawValuesAndTruncateThirds) {
  Records r;
  // B0 = (1 + 1/65536, -1.5), B1 = (2, 0), B2 = (-4, 3). The first span ends at the raw midpoint
  // of B0 and B1 halved with truncation: x = 0x18000 (1.5, rounds up to 2); y = -0.75 -> -1 + 1/4
  // fraction 0x4000 -> -1. The second span ends at B2, the run's last point.
  r.Contour(0, 0);
  r.Curve(TT_PRIM_QSPLINE, {{kOne + 1, -(kOne + kOne / 2)}, {2 * kOne, 0}, {-4 * kOne, 3 * kOne}});
  const CPolyPolyBezier out = Convert(r);
  ASSERT_EQ(out.GetSize(), 1);
  const CBPointArray& p = *out.GetAt(0);
  // Nodes: start, end of span 1, end of span 2 (= B2), then the closing line to the start.
  ASSERT_EQ(p.GetSize(), 4);
  EXPECT_EQ(p[1].anchor, CDPOINT(2, 1));
  // Span 1: A = (0, 0), B = round(B0) = (1, -1) (-1.5 rounds half up to -1), C = (2, -1).
  // Controls A + 2 (B - A) / 3 = (0, 0) (2/3 and -2/3 truncate to 0) and B + (C - B) / 3 = (1, -1);
  // y negated. The first control lies on the start anchor, so it moves onto its own anchor.
  EXPECT_EQ(p[0].out, p[0].anchor);
  EXPECT_EQ(p[1].in, CDPOINT(1, 1));
  // Span 2: A = (2, -1), B = (2, 0), C = (-4, 3): controls (2, -1 + 2/3 -> -1) and (0, 1).
  EXPECT_EQ(p[1].out, CDPOINT(2, 1));
  EXPECT_EQ(p[2].in, CDPOINT(0, -1));
  EXPECT_EQ(p[2].anchor, CDPOINT(-4, -3));
  EXPECT_EQ(p[3].anchor, CDPOINT(0, 0));
}

TEST(GlyphConvert, DamagedRecordsStopQuietly) {
  Records r;
  r.Contour(0, 0);
  r.Curve(TT_PRIM_LINE, {{kOne, 0}, {kOne, kOne}});
  std::vector<BYTE> bytes = r.Bytes();
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    CPolyPolyBezier out;
    plexa::glyph::ConvertNativeOutline(bytes.data(), cut, false, out);
    EXPECT_LE(out.GetSize(), 1);
  }
  // A curve count that claims more points than the contour holds ends that contour's curves.
  bytes[sizeof(TTPOLYGONHEADER) + 2] = 200;
  CPolyPolyBezier out;
  plexa::glyph::ConvertNativeOutline(bytes.data(), bytes.size(), false, out);
  ASSERT_EQ(out.GetSize(), 1);
  EXPECT_EQ(out.GetAt(0)->GetSize(), 1);  // the start alone
}

bool HaveDejaVu() {
  return std::ifstream(std::string(kFontDir) + "DejaVuSans.ttf").good();
}

LOGFONTW Font(const wchar_t* face, LONG height) {
  LOGFONTW lf{};
  lf.lfHeight = height;
  std::wcsncpy(lf.lfFaceName, face, LF_FACESIZE - 1);
  return lf;
}

TEST(GlyphFonts, PlatformCallsMatchFacesAndDeliverNativeRecords) {
  if (!HaveDejaVu()) GTEST_SKIP() << "fonts-dejavu-core is not installed";
  const MAT2 id = {{0, 1}, {0, 0}, {0, 0}, {0, 1}};
  HDC dc = CreateDCW(L"DISPLAY", nullptr, nullptr, nullptr);
  ASSERT_NE(dc, nullptr);
  LOGFONTW lf = Font(L"DejaVu Sans", -2048);  // 2048 units an em: pixels are font units
  HFONT font = CreateFontIndirectW(&lf);
  ASSERT_NE(font, nullptr);
  EXPECT_EQ(GetGlyphOutlineW(dc, 'O', GGO_NATIVE, nullptr, 0, nullptr, &id), GDI_ERROR);
  SelectObject(dc, font);
  wchar_t name[LF_FACESIZE];
  ASSERT_GT(GetTextFaceW(dc, LF_FACESIZE, name), 0);
  EXPECT_EQ(std::wstring(name), L"DejaVu Sans");

  GLYPHMETRICS gm;
  const DWORD size = GetGlyphOutlineW(dc, 'O', GGO_NATIVE, &gm, 0, nullptr, &id);
  ASSERT_NE(size, GDI_ERROR);
  ASSERT_GT(size, sizeof(TTPOLYGONHEADER));
  std::vector<BYTE> buf(size);
  EXPECT_EQ(GetGlyphOutlineW(dc, 'O', GGO_NATIVE, &gm, size - 1, buf.data(), &id), GDI_ERROR);
  EXPECT_EQ(GetGlyphOutlineW(dc, 'O', GGO_NATIVE, &gm, size, buf.data(), nullptr), GDI_ERROR);
  ASSERT_EQ(GetGlyphOutlineW(dc, 'O', GGO_NATIVE, &gm, size, buf.data(), &id), size);
  CPolyPolyBezier o;
  plexa::glyph::ConvertNativeOutline(buf.data(), buf.size(), false, o);
  EXPECT_EQ(o.GetSize(), 2);  // outline and counter
  PLEXA::CDRECT frame;
  o.CalcFrame(frame, 1.0);
  // The black box of the metrics holds the converted outline (y negated).
  EXPECT_NEAR(frame.xmin, gm.gmptGlyphOrigin.x, 1.0);
  EXPECT_NEAR(-frame.ymin, gm.gmptGlyphOrigin.y, 1.0);
  EXPECT_NEAR(frame.xmax - frame.xmin, gm.gmBlackBoxX, 2.0);

  ABCFLOAT abc;
  ASSERT_TRUE(GetCharABCWidthsFloatW(dc, 'O', 'O', &abc));
  EXPECT_NEAR(abc.abcfA + abc.abcfB + abc.abcfC, gm.gmCellIncX, 0.5);
  EXPECT_EQ(GetGlyphOutlineW(dc, ' ', GGO_NATIVE, &gm, 0, nullptr, &id), 0u);  // empty glyph
  EXPECT_EQ(GetGlyphOutlineW(dc, 0x10FFFD, GGO_NATIVE, &gm, 0, nullptr, &id), GDI_ERROR);
  EXPECT_FALSE(GetCharABCWidthsFloatW(dc, 'b', 'a', &abc));
  const DWORD fileSize = GetFontData(dc, 0, 0, nullptr, 0);
  EXPECT_GT(fileSize, 100000u);
  EXPECT_EQ(GetFontData(dc, 0, fileSize + 1, nullptr, 0), GDI_ERROR);
  EXPECT_FALSE(DeleteObject(font));  // still selected
  EXPECT_TRUE(DeleteDC(dc));
  EXPECT_TRUE(DeleteObject(font));

  // An unknown face falls back to the closest installed one, which GetTextFaceW names.
  LOGFONTW missing = Font(L"No Such Face Anywhere", -100);
  HFONT fallback = CreateFontIndirectW(&missing);
  ASSERT_NE(fallback, nullptr);
  dc = CreateDCW(L"DISPLAY", nullptr, nullptr, nullptr);
  SelectObject(dc, fallback);
  ASSERT_GT(GetTextFaceW(dc, LF_FACESIZE, name), 0);
  EXPECT_NE(std::wstring(name), L"No Such Face Anywhere");
  DeleteDC(dc);
  DeleteObject(fallback);
}

TEST(GlyphFonts, OutlinesArePlacedAtThePenAndThePenAdvances) {
  if (!HaveDejaVu()) GTEST_SKIP() << "fonts-dejavu-core is not installed";
  LOGFONTW lf = Font(L"DejaVu Sans", -1000);
  for (int bearing : {0, 1}) {
    CPolyPolyBezier out;
    CDPOINT pen(500, 300);
    ASSERT_EQ(GetTTOutlinePoints(lf, 'A', out, pen, bearing), 2);  // outline and counter
    PLEXA::CDRECT frame;
    out.CalcFrame(frame, 1.0);
    HDC dc = CreateDCW(L"DISPLAY", nullptr, nullptr, nullptr);
    HFONT font = CreateFontIndirectW(&lf);
    SelectObject(dc, font);
    ABCFLOAT abc;
    GetCharABCWidthsFloatW(dc, 'A', 'A', &abc);
    DeleteDC(dc);
    DeleteObject(font);
    EXPECT_DOUBLE_EQ(frame.xmin, 500 + (bearing ? abc.abcfA : 0.0f));
    EXPECT_DOUBLE_EQ(pen.x, 500 + (frame.xmax - frame.xmin) + abc.abcfA + abc.abcfC);
    EXPECT_EQ(pen.y, 300);
  }
  // A space appends nothing, returns 0 and moves the pen by its advance.
  CPolyPolyBezier none;
  CDPOINT pen(0, 0), pen2(0, 0);
  EXPECT_EQ(GetTTOutlinePoints(lf, ' ', none, pen, 1), 0);
  EXPECT_EQ(none.GetSize(), 0);
  EXPECT_GT(pen.x, 200);
  EXPECT_EQ(GetTTOutlinePoints2(lf, ' ', none, pen2, 0), 0);
  EXPECT_NEAR(pen2.x, pen.x / 100.0, 1e-9);
  // The second form keeps the glyph's own origin at the pen, in hundredths.
  CPolyPolyBezier h;
  CDPOINT at(10, 20);
  ASSERT_EQ(GetTTOutlinePoints2(lf, 'H', h, at, 0), 1);
  PLEXA::CDRECT box;
  h.CalcFrame(box, 1.0);
  EXPECT_GT(box.xmin, 10);
  EXPECT_LT(box.xmin, 12);
  EXPECT_NEAR(box.ymax, 20, 1e-9);  // the baseline: H stands on it
}

double DenseDistance(const std::vector<std::vector<CDPOINT>>& polys, const CDPOINT& q) {
  double best = INFINITY;
  for (const auto& poly : polys)
    for (const CDPOINT& p : poly) best = std::min(best, std::hypot(p.x - q.x, p.y - q.y));
  return best;
}

// Quadratics raised to cubics leave leading coefficients that should be 0 but are tiny: a hard
// case for the curve code. Every glyph of three whole fonts goes through the exact inside test,
// the tight bounds and the nearest point, each against dense sampling.
TEST(GlyphFonts, WholeFontsPassTheCurveCodeAgainstDenseOracles) {
  if (!HaveDejaVu()) GTEST_SKIP() << "fonts-dejavu-core is not installed";
  const MAT2 id = {{0, 1}, {0, 0}, {0, 0}, {0, 1}};
  std::mt19937 rng(22);
  int glyphs = 0, queries = 0;
  for (const char* file : {"DejaVuSans.ttf", "DejaVuSerif.ttf", "DejaVuSansMono.ttf"}) {
    std::ifstream in(std::string(kFontDir) + file, std::ios::binary);
    std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), {});
    auto face = plexa::gdi::OpenFace(std::move(bytes), 0);
    ASSERT_NE(face, nullptr) << file;
    LOGFONTW lf = Font(L"", -2048);
    plexa::gdi::SetFaceSize(*face, lf);
    HFONT font = plexa::gdi::NewFont(face);
    HDC dc = CreateDCW(L"DISPLAY", nullptr, nullptr, nullptr);
    SelectObject(dc, font);
    for (UINT g = 1;; ++g) {
      GLYPHMETRICS gm;
      const DWORD size =
          GetGlyphOutlineW(dc, g, GGO_NATIVE | GGO_GLYPH_INDEX, &gm, 0, nullptr, &id);
      if (size == GDI_ERROR) break;  // past the last glyph
      if (size == 0) continue;
      std::vector<BYTE> buf(size);
      GetGlyphOutlineW(dc, g, GGO_NATIVE | GGO_GLYPH_INDEX, &gm, size, buf.data(), &id);
      CPolyPolyBezier set;
      plexa::glyph::ConvertNativeOutline(buf.data(), buf.size(), false, set);
      ++glyphs;
      std::vector<std::vector<CDPOINT>> polys;
      double gap = 0;
      for (INT_PTR i = 0; i < set.GetSize(); ++i) {
        const CBPointArray& p = *set.GetAt(static_cast<int>(i));
        ASSERT_GE(p.GetSize(), 3) << file << " glyph " << g;
        ASSERT_TRUE(p.IsPolyBezierClosed()) << file << " glyph " << g;
        polys.push_back(plexa::test::DensePolygons({&p}, 48)[0]);
        for (std::size_t s = 1; s < polys.back().size(); ++s)
          gap = std::max(gap, std::hypot(polys.back()[s].x - polys.back()[s - 1].x,
                                         polys.back()[s].y - polys.back()[s - 1].y));
        for (INT_PTR k = 0; k + 1 < p.GetSize(); ++k) {  // tight bounds hold every sample
          CBezier b(p[k], p[k + 1]);
          const CDRECT r = b.CalcTightRect();
          for (int s = 0; s <= 32; ++s) {
            const CDPOINT q = b.GetCurvePoint(s / 32.0);
            ASSERT_TRUE(q.x >= r.xmin - 1e-9 && q.x <= r.xmax + 1e-9 && q.y >= r.ymin - 1e-9 &&
                        q.y <= r.ymax + 1e-9)
                << file << " glyph " << g;
          }
        }
      }
      if (g % 5 != 0) continue;  // the costlier checks on every fifth glyph
      CCurveCollision hit(set);
      PLEXA::CDRECT frame;
      set.CalcFrame(frame, 1.0);
      std::uniform_real_distribution<double> ux(frame.xmin, frame.xmax), uy(frame.ymin, frame.ymax);
      for (int k = 0; k < 12; ++k) {
        const CDPOINT q(ux(rng), uy(rng));
        // The nearest point on the curves is no farther than the nearest dense sample, and no
        // nearer than that less half the largest gap between samples.
        double best = INFINITY;
        for (INT_PTR i = 0; i < set.GetSize(); ++i) {
          const CBPointArray& p = *set.GetAt(static_cast<int>(i));
          for (INT_PTR s = 0; s + 1 < p.GetSize(); ++s) {
            double dist = INFINITY;
            CBezier(p[s], p[s + 1]).GetNearestCurvePointT2(q, &dist);
            best = std::min(best, dist);
          }
        }
        const double d = DenseDistance(polys, q);
        ASSERT_LE(best, d + 1e-6) << file << " glyph " << g;
        ASSERT_GE(best, d - gap / 2 - 1e-6) << file << " glyph " << g;
        if (best < 2.0) continue;  // the dense polygon strays from the curves by far less
        ++queries;
        double nearest;
        ASSERT_EQ(hit.IsPointInCurves(q), plexa::test::DenseInside(polys, q, nearest))
            << file << " glyph " << g << " at " << q.x << "," << q.y;
      }
    }
    DeleteDC(dc);
    DeleteObject(font);
  }
  EXPECT_GT(glyphs, 9000);
  EXPECT_GT(queries, 10000);
}

}  // namespace
