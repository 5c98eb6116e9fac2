#include "io/svg_read.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <numbers>
#include <pugixml.hpp>
#include <vector>

#include "io/input_file.h"

namespace plexa::io {
namespace {

using PLEXA::CDPOINT;

// Drawing units a CSS pixel (96 to the inch) and per absolute unit.
constexpr double kUnitsPerPx = kUnitsPerInch / 96.0;

// Radial error of a cubic over a quarter turn, relative to the radius (the usual
// k = 4/3 tan(t/4) construction); it shrinks as the sixth power of the angle.
constexpr double kQuarterArcError = 2.7e-4;

// x' = a x + c y + e, y' = b x + d y + f.
struct Affine {
  double a = 1, b = 0, c = 0, d = 1, e = 0, f = 0;
  CDPOINT Apply(CDPOINT p) const { return CDPOINT(a * p.x + c * p.y + e, b * p.x + d * p.y + f); }
  // An upper bound of how much the map stretches a length.
  double Stretch() const { return std::max(std::abs(a) + std::abs(c), std::abs(b) + std::abs(d)); }
};

// p applied after l: p(l(x)).
Affine Compose(const Affine& p, const Affine& l) {
  return Affine{p.a * l.a + p.c * l.b, p.b * l.a + p.d * l.b,       p.a * l.c + p.c * l.d,
                p.b * l.c + p.d * l.d, p.a * l.e + p.c * l.f + p.e, p.b * l.e + p.d * l.f + p.f};
}

bool IsWsp(char ch) {
  return ch == ' ' || ch == '\t' || ch == '\n' || ch == '\r' || ch == '\f';
}

// Numbers, flags and separators of SVG attribute values.
class Scanner {
 public:
  explicit Scanner(std::string_view s) : s_(s) {}
  void SkipWsp() {
    while (i_ < s_.size() && IsWsp(s_[i_])) ++i_;
  }
  void SkipCommaWsp() {
    SkipWsp();
    if (i_ < s_.size() && s_[i_] == ',') ++i_;
    SkipWsp();
  }
  bool AtEnd() {
    SkipWsp();
    return i_ >= s_.size();
  }
  char Peek() const { return i_ < s_.size() ? s_[i_] : '\0'; }
  void Skip() { ++i_; }
  std::size_t pos() const { return i_; }

  // An SVG number: sign, digits with an optional point, optional exponent. Out of range: inf.
  bool Number(double& v) {
    SkipWsp();
    std::size_t j = i_;
    bool negative = false;
    if (j < s_.size() && (s_[j] == '+' || s_[j] == '-')) negative = s_[j++] == '-';
    const std::size_t digits = j;
    bool any = false;
    while (j < s_.size() && std::isdigit(static_cast<unsigned char>(s_[j]))) ++j, any = true;
    if (j < s_.size() && s_[j] == '.') {
      ++j;
      while (j < s_.size() && std::isdigit(static_cast<unsigned char>(s_[j]))) ++j, any = true;
    }
    if (!any) return false;
    if (j < s_.size() && (s_[j] == 'e' || s_[j] == 'E')) {
      std::size_t k = j + 1;
      if (k < s_.size() && (s_[k] == '+' || s_[k] == '-')) ++k;
      if (k < s_.size() && std::isdigit(static_cast<unsigned char>(s_[k]))) {
        while (k < s_.size() && std::isdigit(static_cast<unsigned char>(s_[k]))) ++k;
        j = k;
      }
    }
    double x = 0;
    const auto r = std::from_chars(s_.data() + digits, s_.data() + j, x);
    if (r.ec == std::errc::result_out_of_range) {
      // Too large is infinite; too small is zero (from_chars leaves x alone either way).
      const std::string_view t = s_.substr(digits, j - digits);
      const std::size_t e = t.find_first_of("eE");
      x = e != std::string_view::npos && t.find('-', e) != std::string_view::npos
              ? 0.0
              : std::numeric_limits<double>::infinity();
    } else if (r.ec != std::errc()) {
      return false;
    }
    v = negative ? -x : x;
    i_ = j;
    return true;
  }
  bool Flag(bool& f) {
    SkipWsp();
    if (i_ < s_.size() && (s_[i_] == '0' || s_[i_] == '1')) {
      f = s_[i_++] == '1';
      return true;
    }
    return false;
  }
  std::string_view Rest() const { return s_.substr(std::min(i_, s_.size())); }

 private:
  std::string_view s_;
  std::size_t i_ = 0;
};

struct Budget {
  std::size_t nodes = 0;
  std::string error;
};

// Builds the subpaths of one element in drawing units.
class PathBuilder {
 public:
  PathBuilder(const Affine& m, Budget& budget) : m_(m), budget_(budget) {
    tolerance_ = kArcTolerance / std::max(m.Stretch(), 1e-300);
  }

  bool failed() const { return !budget_.error.empty(); }
  CDPOINT pos() const { return pos_; }

  void MoveTo(CDPOINT p) {
    Flush();
    start_ = pos_ = p;
    Add(PLEXA::CBPOINT(m_.Apply(p), m_.Apply(p), m_.Apply(p)));
  }
  void LineTo(CDPOINT p) {
    if (cur_.IsEmpty()) MoveTo(pos_);
    const CDPOINT q = m_.Apply(p);
    cur_[cur_.GetSize() - 1].out = cur_[cur_.GetSize() - 1].anchor;
    Add(PLEXA::CBPOINT(q, q, q));
    pos_ = p;
  }
  void CubicTo(CDPOINT c1, CDPOINT c2, CDPOINT p) {
    if (cur_.IsEmpty()) MoveTo(pos_);
    cur_[cur_.GetSize() - 1].out = m_.Apply(c1);
    const CDPOINT q = m_.Apply(p);
    Add(PLEXA::CBPOINT(m_.Apply(c2), q, q));
    pos_ = p;
  }
  void QuadTo(CDPOINT c, CDPOINT p) {
    const CDPOINT c1(pos_.x + 2.0 / 3.0 * (c.x - pos_.x), pos_.y + 2.0 / 3.0 * (c.y - pos_.y));
    const CDPOINT c2(p.x + 2.0 / 3.0 * (c.x - p.x), p.y + 2.0 / 3.0 * (c.y - p.y));
    CubicTo(c1, c2, p);
  }
  void ArcTo(double rx, double ry, double angle, bool large, bool sweep, CDPOINT p);
  void Close() {
    if (cur_.IsEmpty()) return;
    const PLEXA::CBPOINT& first = cur_[0];
    const PLEXA::CBPOINT& last = cur_[cur_.GetSize() - 1];
    if (last.anchor.x != first.anchor.x || last.anchor.y != first.anchor.y) LineTo(start_);
    if (failed()) return;
    // The closing node repeats the first: same anchor, same outgoing control; the first
    // node's incoming control is the closing segment's.
    const INT_PTR n = cur_.GetSize();
    cur_[n - 1].anchor = cur_[0].anchor;
    cur_[n - 1].out = cur_[0].out;
    cur_[0].in = cur_[n - 1].in;
    Flush();
    pos_ = start_;
  }
  std::vector<CBPointArray> Finish() {
    Flush();
    return std::move(done_);
  }

 private:
  void Add(const PLEXA::CBPOINT& n) {
    if (failed()) return;
    for (const CDPOINT& q : {n.in, n.anchor, n.out})
      if (!(std::abs(q.x) <= kMaxCoordinate && std::abs(q.y) <= kMaxCoordinate)) {
        budget_.error = "a coordinate lies beyond 100 km (or is not a number)";
        return;
      }
    if (++budget_.nodes > kMaxSvgNodes) {
      budget_.error = "the drawing has more than " + std::to_string(kMaxSvgNodes) + " nodes";
      return;
    }
    cur_.Add(n);
  }
  void Flush() {
    if (cur_.GetSize() >= 2 && !failed()) done_.push_back(std::move(cur_));
    cur_ = CBPointArray();
  }

  Affine m_;
  Budget& budget_;
  double tolerance_;
  CBPointArray cur_;
  std::vector<CBPointArray> done_;
  CDPOINT start_, pos_;
};

void PathBuilder::ArcTo(double rx, double ry, double angle, bool large, bool sweep, CDPOINT p) {
  const CDPOINT p0 = pos_;
  if (p0.x == p.x && p0.y == p.y) return;  // ends where it starts: left out
  rx = std::abs(rx);
  ry = std::abs(ry);
  if (!(rx > 0) || !(ry > 0) || !std::isfinite(rx) || !std::isfinite(ry) || !std::isfinite(angle)) {
    LineTo(p);
    return;
  }
  // Endpoint to centre parametrisation (SVG implementation notes F.6.5).
  const double phi = angle * std::numbers::pi / 180.0;
  const double cs = std::cos(phi), sn = std::sin(phi);
  const double dx = (p0.x - p.x) / 2, dy = (p0.y - p.y) / 2;
  const double x1 = cs * dx + sn * dy, y1 = -sn * dx + cs * dy;
  const double lambda = (x1 * x1) / (rx * rx) + (y1 * y1) / (ry * ry);
  if (lambda > 1) {
    rx *= std::sqrt(lambda);
    ry *= std::sqrt(lambda);
  }
  const double num = rx * rx * ry * ry - rx * rx * y1 * y1 - ry * ry * x1 * x1;
  const double den = rx * rx * y1 * y1 + ry * ry * x1 * x1;
  double coef = den > 0 ? std::sqrt(std::max(0.0, num / den)) : 0.0;
  if (large == sweep) coef = -coef;
  const double cx1 = coef * rx * y1 / ry, cy1 = -coef * ry * x1 / rx;
  const double cx = cs * cx1 - sn * cy1 + (p0.x + p.x) / 2;
  const double cy = sn * cx1 + cs * cy1 + (p0.y + p.y) / 2;
  const double theta1 = std::atan2((y1 - cy1) / ry, (x1 - cx1) / rx);
  double dtheta = std::atan2((-y1 - cy1) / ry, (-x1 - cx1) / rx) - theta1;
  if (sweep && dtheta < 0) dtheta += 2 * std::numbers::pi;
  if (!sweep && dtheta > 0) dtheta -= 2 * std::numbers::pi;
  if (!std::isfinite(cx) || !std::isfinite(cy) || !std::isfinite(dtheta)) {
    LineTo(p);
    return;
  }
  // Pieces: at most a quarter turn each, and fine enough for the tolerance.
  const double r = std::max(rx, ry);
  const double maxPiece =
      std::numbers::pi / 2 * std::pow(std::min(1.0, tolerance_ / (kQuarterArcError * r)), 1.0 / 6);
  double pieces = std::ceil(std::abs(dtheta) / std::max(maxPiece, 1e-9));
  if (!(pieces >= 1)) pieces = 1;
  const int n = static_cast<int>(std::min<double>(pieces, kMaxArcSegments));
  const double t = dtheta / n;
  const double k = 4.0 / 3.0 * std::tan(t / 4);
  const auto point = [&](double th) {
    return CDPOINT(cx + rx * cs * std::cos(th) - ry * sn * std::sin(th),
                   cy + rx * sn * std::cos(th) + ry * cs * std::sin(th));
  };
  const auto tangent = [&](double th) {
    return CDPOINT(-rx * cs * std::sin(th) - ry * sn * std::cos(th),
                   -rx * sn * std::sin(th) + ry * cs * std::cos(th));
  };
  for (int i = 0; i < n && !failed(); ++i) {
    const double a0 = theta1 + t * i, a1 = theta1 + t * (i + 1);
    const CDPOINT q0 = point(a0), d0 = tangent(a0), d1 = tangent(a1);
    const CDPOINT q1 = i + 1 == n ? p : point(a1);
    CubicTo(CDPOINT(q0.x + k * d0.x, q0.y + k * d0.y), CDPOINT(q1.x - k * d1.x, q1.y - k * d1.y),
            q1);
  }
}

// Parses path data into b. Returns false at the first fault, leaving what came before.
bool ParsePathData(std::string_view data, PathBuilder& b) {
  Scanner s(data);
  char cmd = 0;
  CDPOINT lastCtrl;  // reflected by S/T
  char lastCmd = 0;
  bool first = true;
  while (!s.AtEnd() && !b.failed()) {
    const char ch = s.Peek();
    if (std::isalpha(static_cast<unsigned char>(ch))) {
      cmd = ch;
      s.Skip();
    } else if (cmd == 0) {
      return false;
    }
    // After a moveto, further pairs are linetos.
    if (first && cmd != 'M' && cmd != 'm') return false;
    first = false;
    const bool rel = std::islower(static_cast<unsigned char>(cmd)) != 0;
    const CDPOINT o = rel ? b.pos() : CDPOINT();
    const auto pt = [&](CDPOINT& p) {
      if (!s.Number(p.x)) return false;
      s.SkipCommaWsp();
      if (!s.Number(p.y)) return false;
      s.SkipCommaWsp();
      p.x += o.x;
      p.y += o.y;
      return true;
    };
    const auto num = [&](double& v) {
      if (!s.Number(v)) return false;
      s.SkipCommaWsp();
      return true;
    };
    const char up = static_cast<char>(std::toupper(static_cast<unsigned char>(cmd)));
    CDPOINT p, c1, c2;
    double v = 0;
    switch (up) {
      case 'M':
        if (!pt(p)) return false;
        b.MoveTo(p);
        cmd = rel ? 'l' : 'L';
        break;
      case 'L':
        if (!pt(p)) return false;
        b.LineTo(p);
        break;
      case 'H':
        if (!num(v)) return false;
        b.LineTo(CDPOINT(v + o.x, b.pos().y));
        break;
      case 'V':
        if (!num(v)) return false;
        b.LineTo(CDPOINT(b.pos().x, v + o.y));
        break;
      case 'C':
        if (!pt(c1) || !pt(c2) || !pt(p)) return false;
        b.CubicTo(c1, c2, p);
        lastCtrl = c2;
        break;
      case 'S':
        c1 = (lastCmd == 'C' || lastCmd == 'S')
                 ? CDPOINT(2 * b.pos().x - lastCtrl.x, 2 * b.pos().y - lastCtrl.y)
                 : b.pos();
        if (!pt(c2) || !pt(p)) return false;
        b.CubicTo(c1, c2, p);
        lastCtrl = c2;
        break;
      case 'Q':
        if (!pt(c1) || !pt(p)) return false;
        b.QuadTo(c1, p);
        lastCtrl = c1;
        break;
      case 'T':
        c1 = (lastCmd == 'Q' || lastCmd == 'T')
                 ? CDPOINT(2 * b.pos().x - lastCtrl.x, 2 * b.pos().y - lastCtrl.y)
                 : b.pos();
        if (!pt(p)) return false;
        b.QuadTo(c1, p);
        lastCtrl = c1;
        break;
      case 'A': {
        double rx = 0, ry = 0, rot = 0;
        bool large = false, sweep = false;
        if (!num(rx) || !num(ry) || !num(rot) || !s.Flag(large)) return false;
        s.SkipCommaWsp();
        if (!s.Flag(sweep)) return false;
        s.SkipCommaWsp();
        if (!pt(p)) return false;
        b.ArcTo(rx, ry, rot, large, sweep, p);
        break;
      }
      case 'Z':
        b.Close();
        s.SkipCommaWsp();
        // Z takes no numbers: a number after it is a fault.
        if (!s.AtEnd() && !std::isalpha(static_cast<unsigned char>(s.Peek()))) return false;
        break;
      default:
        return false;
    }
    lastCmd = up;
  }
  return true;
}

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

// Parses a transform list; false on a malformed one (the element is then drawn untransformed
// by the list, as browsers do).
bool ParseTransform(std::string_view text, Affine& out) {
  Scanner s(text);
  Affine m;
  while (!s.AtEnd()) {
    std::size_t start = s.pos();
    std::string name;
    while (std::isalpha(static_cast<unsigned char>(s.Peek()))) {
      name += s.Peek();
      s.Skip();
    }
    if (name.empty() || s.pos() == start) return false;
    s.SkipWsp();
    if (s.Peek() != '(') return false;
    s.Skip();
    double v[6] = {};
    int count = 0;
    while (count < 6 && s.Number(v[count])) {
      ++count;
      s.SkipCommaWsp();
    }
    s.SkipWsp();
    if (s.Peek() != ')') return false;
    s.Skip();
    s.SkipCommaWsp();
    Affine t;
    const double rad = v[0] * std::numbers::pi / 180;
    if (name == "matrix" && count == 6) {
      t = Affine{v[0], v[1], v[2], v[3], v[4], v[5]};
    } else if (name == "translate" && (count == 1 || count == 2)) {
      t.e = v[0];
      t.f = count == 2 ? v[1] : 0;
    } else if (name == "scale" && (count == 1 || count == 2)) {
      t.a = v[0];
      t.d = count == 2 ? v[1] : v[0];
    } else if (name == "rotate" && (count == 1 || count == 3)) {
      const Affine r{std::cos(rad), std::sin(rad), -std::sin(rad), std::cos(rad), 0, 0};
      t = count == 3 ? Compose(Compose(Affine{1, 0, 0, 1, v[1], v[2]}, r),
                               Affine{1, 0, 0, 1, -v[1], -v[2]})
                     : r;
    } else if (name == "skewX" && count == 1) {
      t.c = std::tan(rad);
    } else if (name == "skewY" && count == 1) {
      t.b = std::tan(rad);
    } else {
      return false;
    }
    m = Compose(m, t);
  }
  out = m;
  return true;
}

bool ParsePoints(std::string_view text, std::vector<CDPOINT>& pts) {
  Scanner s(text);
  CDPOINT p;
  while (!s.AtEnd()) {
    if (!s.Number(p.x)) return false;
    s.SkipCommaWsp();
    if (!s.Number(p.y)) return false;  // an odd count drops the last number (SVG rule)
    s.SkipCommaWsp();
    pts.push_back(p);
  }
  return true;
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
  const bool hasBox = ParsePoints(svg.attribute("viewBox").value(), box) && box.size() == 2 &&
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
  if (ParseTransform(root.attribute("transform").value(), local)) m = Compose(m, local);
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
    if (ParseTransform(f.node.attribute("transform").value(), t)) f.m = Compose(f.m, t);
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
    if (!ParsePathData(data, b) && faults_.empty())
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
    if (!ParsePoints(n.attribute("points").value(), pts) && faults_.empty())
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
