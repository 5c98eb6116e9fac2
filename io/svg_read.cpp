#include "io/svg_read.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <pugixml.hpp>
#include <vector>

#include "io/input_file.h"
#include "io/svg_syntax.h"

namespace plexa::io {
namespace {

using PLEXA::CDPOINT;

// Drawing units a CSS pixel (96 to the inch) and per absolute unit.
constexpr double kUnitsPerPx = kUnitsPerInch / 96.0;

using svg::Affine;
using svg::Budget;
using svg::Compose;
using svg::IsWsp;
using svg::PathBuilder;
using svg::Scanner;

// ---- Attributes ----------------------------------------------------------------------------

// A length in user units (px): number with an optional unit. % and em are not read: false.
bool UserLength(const char* text, double& v) {
  Scanner s(text);
  if (!s.Number(v)) return false;
  const std::string unit(s.Rest());
  if (unit.empty() || unit == "px") return true;
  const double perUnit = unit == "mm"   ? 96 / 25.4
                         : unit == "cm" ? 96 / 2.54
                         : unit == "in" ? 96
                         : unit == "pt" ? 96.0 / 72
                         : unit == "pc" ? 16
                                        : 0;
  v *= perUnit;
  return perUnit > 0;
}

double Attr(const pugi::xml_node& n, const char* name, double fallback = 0) {
  double v = 0;
  const pugi::xml_attribute a = n.attribute(name);
  return a && UserLength(a.value(), v) ? v : fallback;
}

// The value of a property from the style attribute, else from the attribute of that name.
std::string Property(const pugi::xml_node& n, const char* name) {
  const std::string style = n.attribute("style").value();
  const std::size_t len = std::strlen(name);
  for (std::size_t at = style.find(name); at != std::string::npos; at = style.find(name, at + 1)) {
    if (at > 0 && style[at - 1] != ';' && !IsWsp(style[at - 1])) continue;
    std::size_t j = at + len;
    while (j < style.size() && IsWsp(style[j])) ++j;
    if (j >= style.size() || style[j] != ':') continue;
    const std::size_t end = style.find(';', j);
    std::string v = style.substr(j + 1, end == std::string::npos ? std::string::npos : end - j - 1);
    v.erase(0, v.find_first_not_of(" \t\r\n"));
    v.erase(v.find_last_not_of(" \t\r\n") + 1);
    return v;
  }
  return n.attribute(name).value();
}

// ---- The document walk -------------------------------------------------------------------

struct Frame {
  pugi::xml_node node;
  Affine m;
  FillRule rule;
  int depth;
};

class Reader {
 public:
  Reader(Drawing& d) : d_(d) {}
  bool Read(const pugi::xml_node& root, std::string& warning, std::string& error);

 private:
  void Element(const Frame& f);
  void Shape(const Frame& f);
  void Skipped(const std::string& what) { ++skipped_[what]; }

  Drawing& d_;
  Budget budget_;
  std::map<std::string, int> skipped_;
  std::string faults_;
  std::vector<Frame> stack_;
};

bool Drawn(const pugi::xml_node& n) {
  return Property(n, "display") != "none" && Property(n, "visibility") != "hidden";
}

// The root's map from user units to drawing units, and the page size.
Affine RootMap(const pugi::xml_node& svg, Drawing& d) {
  const auto absolute = [](const pugi::xml_attribute& a, double& units) {
    double px = 0;
    if (!a || !UserLength(a.value(), px) || !(px > 0) || !std::isfinite(px)) return false;
    units = px * kUnitsPerPx;
    return true;
  };
  double width = 0, height = 0;
  const bool hasW = absolute(svg.attribute("width"), width);
  const bool hasH = absolute(svg.attribute("height"), height);
  std::vector<CDPOINT> box;
  const bool hasBox = svg::ParsePoints(svg.attribute("viewBox").value(), box) && box.size() == 2 &&
                      box[1].x > 0 && box[1].y > 0 && std::isfinite(box[1].x) &&
                      std::isfinite(box[1].y);
  Affine m{kUnitsPerPx, 0, 0, kUnitsPerPx, 0, 0};
  if (hasBox) {
    const CDPOINT origin = box[0], size = box[1];
    if (!hasW) width = hasH ? height * size.x / size.y : size.x * kUnitsPerPx;
    if (!hasH) height = hasW ? width * size.y / size.x : size.y * kUnitsPerPx;
    double sx = width / size.x, sy = height / size.y;
    const std::string aspect = svg.attribute("preserveAspectRatio").value();
    double ax = 0.5, ay = 0.5;  // xMidYMid
    if (aspect.find("none") == std::string::npos) {
      const double s =
          aspect.find("slice") != std::string::npos ? std::max(sx, sy) : std::min(sx, sy);
      sx = sy = s;
      if (aspect.find("xMin") != std::string::npos) ax = 0;
      if (aspect.find("xMax") != std::string::npos) ax = 1;
      if (aspect.find("YMin") != std::string::npos) ay = 0;
      if (aspect.find("YMax") != std::string::npos) ay = 1;
    }
    m = Affine{sx,
               0,
               0,
               sy,
               -origin.x * sx + ax * (width - size.x * sx),
               -origin.y * sy + ay * (height - size.y * sy)};
  }
  if (width > 0 && height > 0 && width <= kMaxCoordinate && height <= kMaxCoordinate) {
    d.width = width;
    d.height = height;
  }
  d.userUnitX = m.a, d.userUnitY = m.d;
  return m;
}

std::string LocalName(const pugi::xml_node& n) {
  std::string name = n.name();
  if (name.rfind("svg:", 0) == 0) name.erase(0, 4);
  return name;
}

bool Reader::Read(const pugi::xml_node& root, std::string& warning, std::string& error) {
  const FillRule rule =
      Property(root, "fill-rule") == "evenodd" ? FillRule::kEvenOdd : FillRule::kNonZero;
  Affine m = RootMap(root, d_);
  Affine local;
  if (svg::ParseTransform(root.attribute("transform").value(), local)) m = Compose(m, local);
  // Children are pushed last first, so they are handled in document order.
  const auto pushChildren = [&](const Frame& f) {
    const std::size_t mark = stack_.size();
    for (pugi::xml_node c = f.node.first_child(); c; c = c.next_sibling())
      if (c.type() == pugi::node_element) stack_.push_back(Frame{c, f.m, f.rule, f.depth + 1});
    std::reverse(stack_.begin() + static_cast<std::ptrdiff_t>(mark), stack_.end());
  };
  if (!Drawn(root)) return true;
  pushChildren(Frame{root, m, rule, 0});
  while (!stack_.empty() && budget_.error.empty()) {
    Frame f = stack_.back();
    stack_.pop_back();
    if (f.depth > kMaxSvgDepth) {
      error = "elements are nested deeper than " + std::to_string(kMaxSvgDepth);
      return false;
    }
    const std::string name = LocalName(f.node);
    if (name.find(':') != std::string::npos) continue;  // other namespaces: editor data
    if (name == "defs" || name == "title" || name == "desc" || name == "metadata" ||
        name == "symbol" || name == "clipPath" || name == "mask" || name == "marker" ||
        name == "pattern" || name == "linearGradient" || name == "radialGradient" ||
        name == "filter" || name == "script")
      continue;
    if (!Drawn(f.node)) continue;
    const std::string fr = Property(f.node, "fill-rule");
    if (fr == "evenodd") f.rule = FillRule::kEvenOdd;
    if (fr == "nonzero") f.rule = FillRule::kNonZero;
    Affine t;
    if (svg::ParseTransform(f.node.attribute("transform").value(), t)) f.m = Compose(f.m, t);
    if (name == "g" || name == "a" || name == "svg") {
      if (name == "svg")
        f.m = Compose(f.m, Affine{1, 0, 0, 1, Attr(f.node, "x"), Attr(f.node, "y")});
      pushChildren(f);
    } else if (name == "path" || name == "rect" || name == "circle" || name == "ellipse" ||
               name == "line" || name == "polyline" || name == "polygon") {
      Shape(f);
    } else {
      Skipped(name);
    }
  }
  if (!budget_.error.empty()) {
    error = budget_.error;
    return false;
  }
  std::string w;
  if (!skipped_.empty()) {
    w = "skipped what plexa does not read:";
    for (const auto& [what, count] : skipped_)
      w += " " + what + (count > 1 ? " (" + std::to_string(count) + ")" : "") + ",";
    w.pop_back();
  }
  if (!faults_.empty()) w += (w.empty() ? "" : "; ") + faults_;
  warning = w;
  return true;
}

void Reader::Shape(const Frame& f) {
  const pugi::xml_node& n = f.node;
  const std::string name = LocalName(n);
  PathBuilder b(f.m, budget_);
  if (name == "path") {
    const char* data = n.attribute("d").value();
    if (!svg::ParsePathData(data, b) && faults_.empty())
      faults_ = "path data with an error kept up to the error";
  } else if (name == "rect") {
    const double x = Attr(n, "x"), y = Attr(n, "y"), w = Attr(n, "width"), h = Attr(n, "height");
    if (!(w > 0) || !(h > 0)) return;
    double rx = Attr(n, "rx", -1), ry = Attr(n, "ry", -1);
    if (rx < 0) rx = ry;
    if (ry < 0) ry = rx;
    rx = std::clamp(rx, 0.0, w / 2);
    ry = std::clamp(ry, 0.0, h / 2);
    b.MoveTo(CDPOINT(x + rx, y));
    b.LineTo(CDPOINT(x + w - rx, y));
    b.ArcTo(rx, ry, 0, false, true, CDPOINT(x + w, y + ry));
    b.LineTo(CDPOINT(x + w, y + h - ry));
    b.ArcTo(rx, ry, 0, false, true, CDPOINT(x + w - rx, y + h));
    b.LineTo(CDPOINT(x + rx, y + h));
    b.ArcTo(rx, ry, 0, false, true, CDPOINT(x, y + h - ry));
    b.LineTo(CDPOINT(x, y + ry));
    b.ArcTo(rx, ry, 0, false, true, CDPOINT(x + rx, y));
    b.Close();
  } else if (name == "circle" || name == "ellipse") {
    const double cx = Attr(n, "cx"), cy = Attr(n, "cy");
    const double rx = name == "circle" ? Attr(n, "r") : Attr(n, "rx");
    const double ry = name == "circle" ? rx : Attr(n, "ry");
    if (!(rx > 0) || !(ry > 0)) return;
    b.MoveTo(CDPOINT(cx + rx, cy));
    b.ArcTo(rx, ry, 0, false, true, CDPOINT(cx, cy + ry));
    b.ArcTo(rx, ry, 0, false, true, CDPOINT(cx - rx, cy));
    b.ArcTo(rx, ry, 0, false, true, CDPOINT(cx, cy - ry));
    b.ArcTo(rx, ry, 0, false, true, CDPOINT(cx + rx, cy));
    b.Close();
  } else if (name == "line") {
    b.MoveTo(CDPOINT(Attr(n, "x1"), Attr(n, "y1")));
    b.LineTo(CDPOINT(Attr(n, "x2"), Attr(n, "y2")));
  } else {  // polyline, polygon
    std::vector<CDPOINT> pts;
    if (!svg::ParsePoints(n.attribute("points").value(), pts) && faults_.empty())
      faults_ = "a points list with an error kept up to the error";
    for (std::size_t i = 0; i < pts.size(); ++i) {
      if (i == 0)
        b.MoveTo(pts[i]);
      else
        b.LineTo(pts[i]);
    }
    if (name == "polygon") b.Close();
  }
  std::vector<CBPointArray> paths = b.Finish();
  if (paths.empty() || !budget_.error.empty()) return;
  Item item;
  item.rule = f.rule;
  for (CBPointArray& p : paths)
    item.paths.push_back(
        static_cast<int>(d_.paths.Add(std::make_unique<CBPointArray>(std::move(p)).release())));
  d_.items.push_back(std::move(item));
}

}  // namespace

bool ReadSvg(std::string_view text, Drawing& d, std::string& warning, std::string& error) {
  warning.clear();
  if (text.size() > kMaxSvgBytes) {
    error = "the SVG is larger than " + std::to_string(kMaxSvgBytes) + " bytes";
    return false;
  }
  pugi::xml_document doc;
  const pugi::xml_parse_result r =
      doc.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_auto);
  if (!r) {
    error = std::string("not a readable SVG: ") + r.description() + " at byte " +
            std::to_string(r.offset);
    return false;
  }
  const pugi::xml_node root = doc.document_element();
  if (LocalName(root) != "svg") {
    error = "not an SVG: the document's root element is '" + std::string(root.name()) + "'";
    return false;
  }
  Reader reader(d);
  return reader.Read(root, warning, error);
}

bool ReadSvgFile(const std::string& path, Drawing& d, std::string& warning, std::string& error) {
  std::string bytes;
  if (!ReadAll(path, bytes, kMaxSvgBytes, error)) return false;
  if (ReadSvg(bytes, d, warning, error)) return true;
  error = (path == "-" ? std::string("standard input") : "'" + path + "'") + ": " + error;
  return false;
}

}  // namespace plexa::io
