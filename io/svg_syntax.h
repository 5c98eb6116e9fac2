// SVG attribute syntax for the SVG reader (private to io/): numbers and separators, affine
// maps, the transform list, point lists and path data, which PathBuilder turns into subpaths
// in drawing units (arcs as cubics within kArcTolerance).
//
//   svg::Budget budget;                                   // counts nodes across one document
//   svg::PathBuilder b(map, budget);
//   if (!svg::ParsePathData("M0 0 L10 0 A5 5 0 0 1 20 0", b)) { ... }  // keeps what came before
//   std::vector<CBPointArray> subpaths = b.Finish();
//
// The parsers never read past their text and stop at the first fault (false), leaving what was
// read before it; a coordinate beyond kMaxCoordinate or too many nodes set budget.error.
#pragma once

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "io/svg_read.h"

namespace plexa::io::svg {

using PLEXA::CDPOINT;

// x' = a x + c y + e, y' = b x + d y + f.
struct Affine {
  double a = 1, b = 0, c = 0, d = 1, e = 0, f = 0;
  CDPOINT Apply(CDPOINT p) const { return CDPOINT(a * p.x + c * p.y + e, b * p.x + d * p.y + f); }
  // An upper bound of how much the map stretches a length.
  double Stretch() const { return std::max(std::abs(a) + std::abs(c), std::abs(b) + std::abs(d)); }
};

// p applied after l: p(l(x)).
inline Affine Compose(const Affine& p, const Affine& l) {
  return Affine{p.a * l.a + p.c * l.b, p.b * l.a + p.d * l.b,       p.a * l.c + p.c * l.d,
                p.b * l.c + p.d * l.d, p.a * l.e + p.c * l.f + p.e, p.b * l.e + p.d * l.f + p.f};
}

inline bool IsWsp(char ch) {
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

// Parses path data into b. Returns false at the first fault, leaving what came before.
bool ParsePathData(std::string_view data, PathBuilder& b);
// Parses a transform list; false on a malformed one (the element is then drawn untransformed
// by the list, as browsers do).
bool ParseTransform(std::string_view text, Affine& out);
// Parses a list of coordinate pairs; false on a malformed or odd one.
bool ParsePoints(std::string_view text, std::vector<CDPOINT>& pts);

}  // namespace plexa::io::svg
