// A contact sheet of the envelopes and outline effects: every preset and effect applied to one
// sample outline (a rounded frame with an oval hole and a diamond), drawn in black over the
// original in grey, one labelled cell each, into a PNG for a person to look at. It draws with
// the library's own drawing platform (a 32-bit DIB section, pens, PolyBezier) and writes the
// pixels with stb_image_write.
//
//   build/examples/plexa_effects_sheet [out.png]      (default effects_sheet.png)
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_easy_font.h>
#include <stb_image_write.h>

#include "plexa/plexa.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

constexpr int kCell = 220;  // pixels a cell
constexpr int kCols = 7;
constexpr double kScale = 0.15;  // pixels a unit: the 1000-unit (10 cm) sample spans 150
constexpr int kMargin = 35;

// The sample outline in a 1000 x 1000 frame (10 cm, y down): a rounded frame, an oval hole, a
// diamond.
CPolyPolyBezier Sample() {
  CPolyPolyBezier set;
  auto* frame = new CBPointArray;
  frame->CreateRoundRect(PLEXA::CDRECT(0, 1000, 0, 1000), 180);
  set.Add(frame);
  auto* oval = new CBPointArray;
  CEllipse(CDPOINT(350, 500), 220, 320, 0.3).CalcCurve(*oval);
  set.Add(oval);
  auto* diamond = new CBPointArray;
  for (CDPOINT p : {CDPOINT(750, 250), CDPOINT(900, 500), CDPOINT(750, 750), CDPOINT(600, 500),
                    CDPOINT(750, 250)})
    diamond->Add(CBPOINT(p, p, p));
  set.Add(diamond);
  return set;
}

class Sheet {
 public:
  Sheet(int cells) : m_w(kCols * kCell), m_h(((cells + kCols - 1) / kCols) * kCell) {
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    info.bmiHeader.biWidth = m_w;
    info.bmiHeader.biHeight = m_h;  // bottom-up rows, as the library lays them out
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    m_bmp = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &m_bits, nullptr, 0);
    m_dc = CreateCompatibleDC(nullptr);
    m_old = SelectObject(m_dc, m_bmp);
    RECT all{0, 0, m_w, m_h};
    FillRect(m_dc, &all, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
  }
  ~Sheet() {
    SelectObject(m_dc, m_old);
    DeleteDC(m_dc);
    DeleteObject(m_bmp);
  }

  void Draw(int cell, const CPolyPolyBezier& set, COLORREF colour, int width) {
    HPEN pen = CreatePen(PS_SOLID, width, colour);
    HGDIOBJ old = SelectObject(m_dc, pen);
    const int ox = (cell % kCols) * kCell + kMargin, oy = (cell / kCols) * kCell + kMargin;
    for (INT_PTR i = 0; i < set.GetSize(); ++i) {
      const CBPointArray* p = set.GetAt(static_cast<int>(i));
      if (p == nullptr || p->GetSize() < 2) continue;
      std::vector<POINT> pts;
      auto px = [&](const CDPOINT& q) {
        return POINT{static_cast<LONG>(ox + q.x * kScale), static_cast<LONG>(oy + q.y * kScale)};
      };
      pts.push_back(px((*p)[0].anchor));
      for (INT_PTR j = 1; j < p->GetSize(); ++j) {
        pts.push_back(px((*p)[j - 1].out));
        pts.push_back(px((*p)[j].in));
        pts.push_back(px((*p)[j].anchor));
      }
      PolyBezier(m_dc, pts.data(), static_cast<DWORD>(pts.size()));
      // Nodes as small dots, so the node count shows.
      for (INT_PTR j = 0; j < p->GetSize(); ++j) {
        const POINT q = px((*p)[j].anchor);
        RECT dot{q.x - 1, q.y - 1, q.x + 2, q.y + 2};
        HBRUSH b = CreateSolidBrush(RGB(200, 0, 0));
        if (colour != RGB(190, 190, 190)) FillRect(m_dc, &dot, b);
        DeleteObject(b);
      }
    }
    SelectObject(m_dc, old);
    DeleteObject(pen);
  }

  void Label(int cell, const std::string& text) {
    static char buf[60000];
    const int quads =
        stb_easy_font_print(0, 0, const_cast<char*>(text.c_str()), nullptr, buf, sizeof buf);
    const int ox = (cell % kCols) * kCell + 8, oy = (cell / kCols) * kCell + 6;
    HBRUSH b = CreateSolidBrush(RGB(0, 0, 120));
    for (int q = 0; q < quads; ++q) {
      const float* v = reinterpret_cast<const float*>(buf + q * 64);
      // Each quad is four vertices of 16 bytes: x, y, z, colour.
      RECT r{ox + static_cast<LONG>(v[0]), oy + static_cast<LONG>(v[1]),
             ox + static_cast<LONG>(v[8]), oy + static_cast<LONG>(v[9])};
      FillRect(m_dc, &r, b);
    }
    DeleteObject(b);
  }

  bool Write(const char* path) {
    GdiFlush();
    std::vector<unsigned char> rgb(static_cast<size_t>(m_w) * m_h * 3);
    const unsigned char* src = static_cast<const unsigned char*>(m_bits);
    for (int y = 0; y < m_h; ++y) {
      const unsigned char* row = src + static_cast<size_t>(m_h - 1 - y) * m_w * 4;
      for (int x = 0; x < m_w; ++x) {
        unsigned char* d = &rgb[(static_cast<size_t>(y) * m_w + x) * 3];
        d[0] = row[x * 4 + 2];
        d[1] = row[x * 4 + 1];
        d[2] = row[x * 4];
      }
    }
    return stbi_write_png(path, m_w, m_h, 3, rgb.data(), m_w * 3) != 0;
  }

 private:
  int m_w, m_h;
  void* m_bits = nullptr;
  HBITMAP m_bmp;
  HDC m_dc;
  HGDIOBJ m_old;
};

using Effect = std::function<void(CPolyPolyBezier&)>;

// Applies a path function to every path of the set.
Effect EachPath(std::function<void(CBPointArray*)> fn) {
  return [fn](CPolyPolyBezier& set) {
    for (INT_PTR i = 0; i < set.GetSize(); ++i) fn(set.GetAt(static_cast<int>(i)));
  };
}

// A wave: the path resampled densely and smoothly (a zig-zag of amplitude 0), then WavePoint
// on every point.
Effect Wave(double period, double amplitude, int vertical) {
  return EachPath([=](CBPointArray* p) {
    ZigZagOutline(40, 0, 2, true, p);
    const CDPOINT o(0, 0);
    for (INT_PTR j = 0; j < p->GetSize(); ++j) {
      CBPOINT& n = p->ElementAt(j);
      WavePoint(&o, period, amplitude, vertical, &n.in);
      WavePoint(&o, period, amplitude, vertical, &n.anchor);
      WavePoint(&o, period, amplitude, vertical, &n.out);
    }
  });
}

ENVELOP Frame() {
  ENVELOP e{};
  e.right = 1000;
  e.bottom = 1000;
  return e;
}

}  // namespace

int main(int argc, char** argv) {
  const char* out = argc > 1 ? argv[1] : "effects_sheet.png";
  std::vector<std::pair<std::string, Effect>> cells;
  for (int type = 1; type <= 10; ++type) {
    cells.push_back({"envelop " + std::to_string(type), [type](CPolyPolyBezier& s) {
                       CEnvelop env;
                       ENVELOP e = Frame();
                       env.SetEnvelop(e);
                       env.SetType(type, 250);
                       s.ApplyEnvelop(env);
                     }});
  }
  for (int type = 20; type <= 23; ++type) {
    cells.push_back({"envelopex " + std::to_string(type), [type](CPolyPolyBezier& s) {
                       CEnvelopEx env;
                       ENVELOPEX e{};
                       e.right = 1000;
                       e.bottom = 1000;
                       env.SetEnvelop(e);
                       env.SetType(type, 250);
                       s.ApplyEnvelop(env);
                     }});
  }
  cells.push_back({"keep curves 3", [](CPolyPolyBezier& s) {
                     CEnvelop env;
                     ENVELOP e = Frame();
                     env.SetEnvelop(e);
                     env.SetType(3, 250);
                     ApplyEnvelopKeepCurves(s, env, 1.0);
                   }});
  cells.push_back({"keep curves 21", [](CPolyPolyBezier& s) {
                     CEnvelopEx env;
                     ENVELOPEX e{};
                     e.right = 1000;
                     e.bottom = 1000;
                     env.SetEnvelop(e);
                     env.SetType(21, 250);
                     ApplyEnvelopKeepCurves(s, env, 1.0);
                   }});
  const CDPOINT c(500, 500);
  cells.push_back({"pinch 2", EachPath([&](CBPointArray* p) { PinchOutline(&c, 600, 2, p); })});
  cells.push_back({"pinch -2", EachPath([&](CBPointArray* p) { PinchOutline(&c, 600, -2, p); })});
  cells.push_back(
      {"spherize", EachPath([&](CBPointArray* p) { SpherizeOutline(&c, 600, 750, p); })});
  cells.push_back({"twirl 120", EachPath([&](CBPointArray* p) { TwirlOutline(&c, 600, 120, p); })});
  cells.push_back({"wave", Wave(400, 0.3, 0)});
  cells.push_back({"wave vertical", Wave(400, 0.3, 1)});
  cells.push_back(
      {"zigzag normal", EachPath([](CBPointArray* p) { ZigZagOutline(60, 30, 2, false, p); })});
  cells.push_back({"zigzag smooth",
                   EachPath([](CBPointArray* p) { ZigZagOutlinePerInch(4, 30, 2, true, p); })});
  cells.push_back(
      {"zigzag x", EachPath([](CBPointArray* p) { ZigZagOutline(60, 30, 0, false, p); })});
  cells.push_back(
      {"roughen", EachPath([](CBPointArray* p) { RoughenOutline(40, 40, 2, false, p); })});
  cells.push_back({"echo 3 x 50", [](CPolyPolyBezier& s) {
                     CPolyPolyBezier all;
                     for (INT_PTR i = 0; i < s.GetSize(); ++i) {
                       CPolyPolyBezier echo;
                       GeometricEcho(s[static_cast<int>(i)], echo, 3, 50, false);
                       all.AppendCurve(echo);
                     }
                     s.AppendCurve(all);
                   }});
  cells.push_back({"ellipse arcs", [](CPolyPolyBezier& s) {
                     s.RemoveAll();
                     const CEllipse e(CDPOINT(500, 500), 450, 250, 0.5);
                     for (int i = 0; i < 4; ++i) {
                       auto* p = new CBPointArray;
                       CEllipse(e.m_centre, e.m_rx - 80 * i, e.m_ry - 40 * i, 0.5)
                           .CalcArc(*p, 0.3 * i, 3.5 + i * 0.5, 0.1);
                       s.Add(p);
                     }
                   }});

  Sheet sheet(static_cast<int>(cells.size()));
  const CPolyPolyBezier sample = Sample();
  for (std::size_t i = 0; i < cells.size(); ++i) {
    CPolyPolyBezier result(sample);
    cells[i].second(result);
    sheet.Draw(static_cast<int>(i), sample, RGB(190, 190, 190), 1);
    sheet.Draw(static_cast<int>(i), result, RGB(0, 0, 0), 2);
    INT_PTR nodes = 0;
    for (INT_PTR j = 0; j < result.GetSize(); ++j)
      if (result.GetAt(static_cast<int>(j))) nodes += result[static_cast<int>(j)].GetSize();
    sheet.Label(static_cast<int>(i), cells[i].first + " (" + std::to_string(nodes) + " nodes)");
  }
  if (!sheet.Write(out)) {
    std::fprintf(stderr, "cannot write %s\n", out);
    return 1;
  }
  std::printf("%s: %zu cells\n", out, cells.size());
  return 0;
}
