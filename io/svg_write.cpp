#include "io/svg_write.h"

#include "io/number.h"

namespace plexa::io {
namespace {

constexpr int kDecimals = 3;  // micrometres

void Point(std::string& out, const PLEXA::CDPOINT& p) {
  AppendNumber(out, p.x / kUnitsPerMm, kDecimals);
  out += ' ';
  AppendNumber(out, p.y / kUnitsPerMm, kDecimals);
}

bool IsLine(const PLEXA::CBPOINT& a, const PLEXA::CBPOINT& b) {
  return a.out.x == a.anchor.x && a.out.y == a.anchor.y && b.in.x == b.anchor.x &&
         b.in.y == b.anchor.y;
}

void PathData(std::string& out, const CBPointArray& path) {
  if (path.IsEmpty()) return;
  if (!out.empty() && out.back() != '"') out += ' ';
  out += 'M';
  Point(out, path[0].anchor);
  const bool closed = path.IsPolyBezierClosed();
  for (INT_PTR i = 0; i + 1 < path.GetSize(); ++i) {
    if (IsLine(path[i], path[i + 1])) {
      if (closed && i + 2 == path.GetSize()) break;  // Z draws the closing line
      out += " L";
    } else {
      out += " C";
      Point(out, path[i].out);
      out += ' ';
      Point(out, path[i + 1].in);
      out += ' ';
    }
    Point(out, path[i + 1].anchor);
  }
  if (closed) out += " Z";
}

// Text as an XML attribute value.
void AppendEscaped(std::string& out, const std::string& text) {
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
}

}  // namespace

std::string WriteSvg(const Drawing& d) {
  const PLEXA::CDRECT box = PageBox(d);
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  out += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"";
  AppendNumber(out, (box.xmax - box.xmin) / kUnitsPerMm, kDecimals);
  out += "mm\" height=\"";
  AppendNumber(out, (box.ymax - box.ymin) / kUnitsPerMm, kDecimals);
  out += "mm\" viewBox=\"";
  AppendNumber(out, box.xmin / kUnitsPerMm, kDecimals);
  out += ' ';
  AppendNumber(out, box.ymin / kUnitsPerMm, kDecimals);
  out += ' ';
  AppendNumber(out, (box.xmax - box.xmin) / kUnitsPerMm, kDecimals);
  out += ' ';
  AppendNumber(out, (box.ymax - box.ymin) / kUnitsPerMm, kDecimals);
  out += "\">\n";
  // Consecutive items of one layer share a group named after it.
  const auto layerOf = [&](const Item& item) {
    return item.layer >= 0 && static_cast<std::size_t>(item.layer) < d.layers.size() ? item.layer
                                                                                     : -1;
  };
  int open = -1;
  for (const Item& item : d.items) {
    const int layer = layerOf(item);
    if (layer != open) {
      if (open >= 0) out += "  </g>\n";
      if (layer >= 0) {
        out += "  <g id=\"";
        AppendEscaped(out, d.layers[static_cast<std::size_t>(layer)]);
        out += "\">\n";
      }
      open = layer;
    }
    bool closed = true;
    std::string data = "\"";
    for (int k : item.paths) {
      const CBPointArray* p = d.paths.GetAt(k);
      if (p == nullptr || p->IsEmpty()) continue;
      closed = closed && p->IsPolyBezierClosed();
      PathData(data, *p);
    }
    if (data.size() == 1) continue;
    if (closed)
      out += item.rule == FillRule::kEvenOdd ? "  <path fill-rule=\"evenodd\" d=" : "  <path d=";
    else
      out += "  <path fill=\"none\" stroke=\"black\" stroke-width=\"0.1\" d=";
    out += data;
    out += "\"/>\n";
  }
  if (open >= 0) out += "  </g>\n";
  out += "</svg>\n";
  return out;
}

}  // namespace plexa::io
