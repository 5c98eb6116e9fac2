#include "plexa/draw/glyph.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "plexa/core/view3d.h"
#include "plexa/draw/internal/glyph_convert.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace plexa::glyph {

namespace {

// Controls within this distance (per coordinate) of a neighbouring anchor move onto their own.
constexpr double kOnAnchor = 1e-8;
// Device units of GetTTOutlinePoints2 and GetGlyphIndexOutlinePoints.
constexpr double kUnitsDivisor = 100.0;

std::int32_t Raw(const FIXED& f) {
  return static_cast<std::int32_t>(
      (static_cast<std::uint32_t>(static_cast<std::uint16_t>(f.value)) << 16) | f.fract);
}

// Integer part plus one when the fraction is at least one half.
long Round(std::int32_t raw) {
  const long whole = raw >> 16;  // arithmetic shift: the signed integer part
  return whole + ((raw & 0xFFFF) >= 0x8000 ? 1 : 0);
}

struct IPt {
  long x, y;
};
struct RawPt {
  std::int32_t x, y;
};

IPt Round(const RawPt& p) {
  return IPt{Round(p.x), Round(p.y)};
}

// Appends the contour's working points as a path (steps: negate y, double start and end,
// nodes of three, controls moved onto their own anchors).
void AppendPath(const std::vector<IPt>& pts, bool divide, CPolyPolyBezier& out) {
  const double d = divide ? kUnitsDivisor : 1.0;
  std::vector<CDPOINT> list;
  list.reserve(pts.size() + 2);
  auto push = [&](const IPt& p) {
    list.emplace_back(static_cast<double>(p.x) / d, static_cast<double>(-p.y) / d);
  };
  push(pts.front());
  for (const IPt& p : pts) push(p);
  push(pts.back());
  auto path = std::make_unique<CBPointArray>();
  const std::size_t n = list.size();
  std::vector<CBPOINT> nodes;
  nodes.reserve(n / 3 + 1);
  for (std::size_t k = 0; k + 2 < n; k += 3) nodes.emplace_back(list[k], list[k + 1], list[k + 2]);
  auto on = [](const CDPOINT& a, const CDPOINT& b) {
    return std::fabs(a.x - b.x) < kOnAnchor && std::fabs(a.y - b.y) < kOnAnchor;
  };
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (i > 0 && on(nodes[i].in, nodes[i - 1].anchor)) nodes[i].in = nodes[i].anchor;
    if (i + 1 < nodes.size() && on(nodes[i].out, nodes[i + 1].anchor))
      nodes[i].out = nodes[i].anchor;
  }
  path->SetSize(static_cast<INT_PTR>(nodes.size()));
  if (!nodes.empty()) std::memcpy(path->GetData(), nodes.data(), nodes.size() * sizeof(CBPOINT));
  out.Add(path.release());
}

}  // namespace

void ConvertNativeOutline(const BYTE* data, std::size_t size, bool divide, CPolyPolyBezier& out) {
  std::size_t at = 0;
  std::vector<IPt> pts;
  while (at + sizeof(TTPOLYGONHEADER) <= size) {
    TTPOLYGONHEADER h;
    std::memcpy(&h, data + at, sizeof h);
    if (h.dwType != TT_POLYGON_TYPE) return;
    if (h.cb < sizeof h || h.cb > size - at) return;
    const std::size_t end = at + h.cb;
    const RawPt start{Raw(h.pfxStart.x), Raw(h.pfxStart.y)};
    pts.assign(1, Round(start));
    RawPt prev = start;
    std::size_t c = at + sizeof h;
    while (c + 4 <= end) {
      WORD type, count;
      std::memcpy(&type, data + c, 2);
      std::memcpy(&count, data + c + 2, 2);
      const std::size_t bytes = 4 + std::size_t{count} * sizeof(POINTFX);
      if (bytes > end - c) break;
      auto point = [&](std::size_t i) {
        POINTFX p;
        std::memcpy(&p, data + c + 4 + i * sizeof(POINTFX), sizeof p);
        return RawPt{Raw(p.x), Raw(p.y)};
      };
      if (type == TT_PRIM_LINE) {
        for (std::size_t i = 0; i < count; ++i) {
          const RawPt q = point(i);
          pts.push_back(Round(q));
          pts.push_back(Round(prev));
          pts.push_back(Round(q));
          prev = q;
        }
      } else if (type == TT_PRIM_QSPLINE) {
        const std::size_t n = count;
        // A run of one point has no span to draw.
        for (std::size_t u = 0; u + 1 < n;) {
          const RawPt b = point(u);
          const bool last = u + 1 == n - 1;
          const RawPt next = point(u + 1);
          const RawPt cpt =
              last ? next
                   : RawPt{static_cast<std::int32_t>((std::int64_t{b.x} + next.x) / 2),
                           static_cast<std::int32_t>((std::int64_t{b.y} + next.y) / 2)};
          const IPt A = Round(prev), B = Round(b), C = Round(cpt);
          pts.push_back(IPt{A.x + 2 * (B.x - A.x) / 3, A.y + 2 * (B.y - A.y) / 3});
          pts.push_back(IPt{B.x + (C.x - B.x) / 3, B.y + (C.y - B.y) / 3});
          pts.push_back(C);
          prev = cpt;
          u += last ? 2 : 1;
        }
      }
      c += bytes;
    }
    const IPt first = pts.front(), lastPt = pts.back();
    if (lastPt.x != first.x || lastPt.y != first.y) {
      pts.push_back(first);
      pts.push_back(lastPt);
      pts.push_back(first);
    }
    AppendPath(pts, divide, out);
    at = end;
  }
}

}  // namespace plexa::glyph

namespace {

constexpr MAT2 kIdentity = {{0, 1}, {0, 0}, {0, 0}, {0, 1}};

// The display surface with the font selected, released on leaving.
class FontSurface {
 public:
  explicit FontSurface(const LOGFONTW& lf) {
    dc_ = CreateDCW(L"DISPLAY", nullptr, nullptr, nullptr);
    if (dc_ == nullptr) return;
    font_ = CreateFontIndirectW(&lf);
    if (font_ != nullptr) SelectObject(dc_, font_);
  }
  ~FontSurface() {
    if (dc_ != nullptr) DeleteDC(dc_);  // releases the font's selection
    if (font_ != nullptr) DeleteObject(font_);
  }
  FontSurface(const FontSurface&) = delete;
  FontSurface& operator=(const FontSurface&) = delete;

  bool Ok() const { return dc_ != nullptr && font_ != nullptr; }
  HDC Dc() const { return dc_; }

  // The native records of ch; empty for an empty glyph or a failure.
  std::vector<BYTE> Outline(UINT ch, UINT format) const {
    GLYPHMETRICS gm;
    const DWORD size = GetGlyphOutlineW(dc_, ch, format, &gm, 0, nullptr, &kIdentity);
    if (size == 0 || size == GDI_ERROR) return {};
    std::vector<BYTE> buf(size);
    if (GetGlyphOutlineW(dc_, ch, format, &gm, size, buf.data(), &kIdentity) == GDI_ERROR)
      return {};
    return buf;
  }
  ABCFLOAT Widths(UINT ch) const {
    ABCFLOAT abc{0, 0, 0};
    if (!GetCharABCWidthsFloatW(dc_, ch, ch, &abc)) abc = ABCFLOAT{0, 0, 0};
    return abc;
  }

 private:
  HDC dc_ = nullptr;
  HFONT font_ = nullptr;
};

void MoveAll(CPolyPolyBezier& out, double dx, double dy) {
  CView3D view;
  view.Translate(-dx, -dy, 0);
  out.ApplyTransformation(view);
}

int Count(const CPolyPolyBezier& out) {
  return static_cast<int>(out.GetSize());
}

}  // namespace

int GetTTOutlinePoints(LOGFONTW& font, unsigned int ch, CPolyPolyBezier& out, PLEXA::CDPOINT& pen,
                       int addLeadingBearing) {
  FontSurface s(font);
  if (!s.Ok()) return 0;
  const ABCFLOAT abc = s.Widths(ch);
  const std::vector<BYTE> records = s.Outline(ch, GGO_NATIVE);
  if (records.empty()) {
    pen.x += static_cast<double>(abc.abcfA) + abc.abcfB + abc.abcfC;
    return 0;
  }
  plexa::glyph::ConvertNativeOutline(records.data(), records.size(), false, out);
  PLEXA::CDRECT frame;
  out.CalcFrame(frame, 1.0);
  CView3D view;
  view.Translate(frame.xmin, 0, 0);
  view.Translate(-pen.x, -pen.y, 0);
  if (addLeadingBearing != 0) view.Translate(-static_cast<double>(abc.abcfA), 0, 0);
  out.ApplyTransformation(view);
  pen.x += std::fabs(frame.xmax - frame.xmin) + abc.abcfA + abc.abcfC;
  return Count(out);
}

int GetTTOutlinePoints2(LOGFONTW& font, unsigned int ch, CPolyPolyBezier& out, PLEXA::CDPOINT& pen,
                        int) {
  FontSurface s(font);
  if (!s.Ok()) return 0;
  const ABCFLOAT abc = s.Widths(ch);
  const double advance = (static_cast<double>(abc.abcfA) + abc.abcfB + abc.abcfC) / 100.0;
  const std::vector<BYTE> records = s.Outline(ch, GGO_NATIVE);
  if (records.empty()) {
    pen.x += advance;
    return 0;
  }
  plexa::glyph::ConvertNativeOutline(records.data(), records.size(), true, out);
  MoveAll(out, pen.x, pen.y);
  pen.x += advance;
  return Count(out);
}

int GetGlyphIndexOutlinePoints(LOGFONTW& font, unsigned int glyph, CPolyPolyBezier& out,
                               const PLEXA::CDPOINT& origin) {
  FontSurface s(font);
  if (!s.Ok()) return 0;
  const std::vector<BYTE> records = s.Outline(glyph, GGO_NATIVE | GGO_GLYPH_INDEX);
  if (records.empty()) return Count(out);
  const INT_PTR before = out.GetSize();
  plexa::glyph::ConvertNativeOutline(records.data(), records.size(), true, out);
  for (INT_PTR i = before; i < out.GetSize(); ++i) {
    CBPointArray* path = out.GetAt(static_cast<int>(i));
    for (INT_PTR k = 0; k < path->GetSize(); ++k) {
      CBPOINT& node = path->ElementAt(k);
      for (CDPOINT* p : {&node.in, &node.anchor, &node.out}) {
        p->x += origin.x;
        p->y += origin.y;
      }
    }
  }
  return Count(out);
}
