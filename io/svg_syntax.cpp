#include "io/svg_syntax.h"

#include <numbers>

namespace plexa::io::svg {
namespace {

// Radial error of a cubic over a quarter turn, relative to the radius (the usual
// k = 4/3 tan(t/4) construction); it shrinks as the sixth power of the angle.
constexpr double kQuarterArcError = 2.7e-4;

}  // namespace

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

}  // namespace plexa::io::svg
