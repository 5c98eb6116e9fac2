// The SVG reader against shapes whose geometry is known: analytic circles and ellipses
// sampled densely, transforms computed by hand, and hostile documents.
#include "io/svg_read.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <string>

#include "io/test_paths.h"

namespace plexa::io {
namespace {

// A page of 100 x 100 mm whose user unit is one millimetre (10 drawing units).
std::string Page(const std::string& body, const std::string& root = "") {
  return "<svg xmlns='http://www.w3.org/2000/svg' width='100mm' height='100mm' "
         "viewBox='0 0 100 100' " +
         root + ">" + body + "</svg>";
}

Drawing Read(const std::string& text, std::string* warning = nullptr) {
  Drawing d;
  std::string w, error;
  EXPECT_TRUE(ReadSvg(text, d, w, error)) << error << "\n" << text.substr(0, 200);
  if (warning) *warning = w;
  return d;
}

TEST(SvgRead, PathCommandsAbsoluteAndRelativeGiveTheSameNodes) {
  struct Case {
    const char* absolute;
    const char* relative;
  };
  const Case cases[] = {
      {"M10 10 L20 10 H30 V20 L10 20 Z", "m10 10 l10 0 h10 v10 l-20 0 z"},
      {"M10 10 C20 0 30 0 40 10 S60 20 70 10", "m10 10 c10-10 20-10 30 0 s20 10 30 0"},
      {"M10 10 Q20 0 30 10 T50 10", "m10 10 q10-10 20 0 t20 0"},
      {"M10 50 A20 10 30 1 0 50 50", "m10 50 a20 10 30 1 0 40 0"},
      {"M1e1,5e1A20,10,30,1,0,50,50", "m10 50a20 10 30 1 0 40 0"},  // compact forms
      {"M10 10 20 10 20 20", "m10 10 10 0 0 10"},                   // implicit linetos
  };
  for (const Case& c : cases) {
    const Drawing a = Read(Page(std::string("<path d='") + c.absolute + "'/>"));
    const Drawing r = Read(Page(std::string("<path d='") + c.relative + "'/>"));
    ASSERT_EQ(a.paths.GetSize(), 1) << c.absolute;
    ASSERT_EQ(r.paths.GetSize(), 1) << c.relative;
    EXPECT_TRUE(a.paths[0].IsSame(r.paths[0], 1e-9)) << c.absolute;
  }
  // The first case: a closed square path in drawing units (1 mm = 10).
  const Drawing sq = Read(Page("<path d='M10 10 L20 10 H30 V20 L10 20 Z'/>"));
  EXPECT_TRUE(sq.paths[0].IsPolyBezierClosed());
  EXPECT_DOUBLE_EQ(sq.paths[0][2].anchor.x, 300);
  EXPECT_DOUBLE_EQ(sq.paths[0][3].anchor.y, 200);
  EXPECT_DOUBLE_EQ(sq.width, 1000);
  // Quadratics become the equivalent cubics: the curve's mid point is (20, 5) mm.
  const Drawing q = Read(Page("<path d='M10 10 Q20 0 30 10'/>"));
  EXPECT_NEAR(BezierAt(q.paths[0][0], q.paths[0][1], 0.5).y, 50, 1e-9);
}

TEST(SvgRead, ArcsCirclesAndEllipsesStayWithinTheStatedAccuracy) {
  struct Case {
    std::string element;
    double cx, cy, rx, ry, degrees;  // the true ellipse, in mm
  };
  const Case cases[] = {
      {"<circle cx='50' cy='40' r='30'/>", 50, 40, 30, 30, 0},
      {"<ellipse cx='50' cy='40' rx='45' ry='5'/>", 50, 40, 45, 5, 0},
      // Half of a rotated ellipse by an arc command, closed by its chord.
      {"<path d='M20 50 A40 10 30 0 1 80 50'/>", 0, 0, 0, 0, 0},
      {"<circle cx='0' cy='0' r='1e6'/>", 0, 0, 1e6, 1e6, 0},  // a kilometre: still 1 um
  };
  for (const Case& c : cases) {
    const Drawing d = Read(Page(c.element));
    ASSERT_EQ(d.paths.GetSize(), 1) << c.element;
    if (c.rx == 0) continue;
    double worst = 0;
    ForEachSample(d.paths[0], 64, [&](PLEXA::CDPOINT p) {
      // Distance from the ellipse along the normal, approximated by the radial error of the
      // normalised equation scaled by the smaller radius: exact for circles, an upper bound
      // for ellipses.
      const double x = p.x / 10 - c.cx, y = p.y / 10 - c.cy;
      const double e = std::hypot(x / c.rx, y / c.ry);
      worst = std::max(worst, std::abs(e - 1) * std::min(c.rx, c.ry) * 10);
    });
    EXPECT_LE(worst, kArcTolerance) << c.element;
  }
  // The arc's end points are exact and its centre lies where SVG puts it: every sample is
  // on the ellipse rotated by 30 degrees through the two points.
  const Drawing arc = Read(Page("<path d='M20 50 A40 10 0 0 1 80 50'/>"));
  const CBPointArray& p = arc.paths[0];
  EXPECT_DOUBLE_EQ(p[p.GetSize() - 1].anchor.x, 800);
  // Radii too small are scaled up, keeping their ratio, until the chord is a diameter: 30 by
  // 6 mm, so the top of the half ellipse is at y = 44 mm.
  const Drawing up = Read(Page("<path d='M20 50 A5 1 0 0 1 80 50'/>"));
  double top = 1e9;
  ForEachSample(up.paths[0], 64, [&](PLEXA::CDPOINT q) { top = std::min(top, q.y); });
  EXPECT_NEAR(top, 440, kArcTolerance);
  // Zero radius: a straight line; an arc ending where it starts: left out.
  const Drawing zero = Read(Page("<path d='M10 10 A0 5 0 0 1 30 10 A5 5 0 0 1 30 10'/>"));
  ASSERT_EQ(zero.paths[0].GetSize(), 2);
  EXPECT_DOUBLE_EQ(zero.paths[0][1].out.x, 300);
}

TEST(SvgRead, TransformsUnitsViewBoxAndFillRules) {
  // Nested: translate(10,0) then rotate(90) maps (5, 0) to (10, 5) mm.
  Drawing d = Read(
      Page("<g transform='translate(10,0)'><g transform='rotate(90)' style='fill-rule: evenodd'>"
           "<line x1='5' y1='0' x2='5' y2='2'/></g></g><rect x='1' y='1' width='2' height='3'/>"));
  ASSERT_EQ(d.items.size(), 2u);
  EXPECT_NEAR(d.paths[0][0].anchor.x, 100, 1e-9);
  EXPECT_NEAR(d.paths[0][0].anchor.y, 50, 1e-9);
  EXPECT_NEAR(d.paths[0][1].anchor.x, 80, 1e-9);
  EXPECT_FALSE(d.paths[0].IsPolyBezierClosed());
  EXPECT_EQ(d.items[0].rule, FillRule::kEvenOdd);
  EXPECT_EQ(d.items[1].rule, FillRule::kNonZero);  // SVG's default
  EXPECT_TRUE(d.paths[1].IsPolyBezierClosed());

  struct Unit {
    const char* root;
    double width;  // page width in drawing units
    double x;      // where user x = 10 lands
  };
  const Unit units[] = {
      {"width='1in' height='1in' viewBox='0 0 96 96'", 254, 10 * 254 / 96.0},
      {"width='72pt' height='36pt'", 254, 10 * 254 / 96.0},
      {"width='10cm' height='5cm' viewBox='0 0 20 10'", 1000, 500},
      {"viewBox='0 0 96 48'", 254, 10 * 254 / 96.0},  // no size: px of the viewBox
      {"width='200mm' height='100mm' viewBox='0 0 100 100'", 2000, 100 + 500},  // meet, centred
      {"width='200mm' height='100mm' viewBox='0 0 100 100' preserveAspectRatio='none'", 2000, 200},
  };
  for (const Unit& u : units) {
    d = Read(std::string("<svg xmlns='http://www.w3.org/2000/svg' ") + u.root +
             "><line x1='10' y1='0' x2='10' y2='1'/></svg>");
    EXPECT_NEAR(d.width, u.width, 1e-9) << u.root;
    EXPECT_NEAR(d.paths[0][0].anchor.x, u.x, 1e-9) << u.root;
  }
}

TEST(SvgRead, SkipsWhatItDoesNotReadWithOneWarningLine) {
  std::string warning;
  const Drawing d =
      Read(Page("<title>t</title><defs><rect width='5' height='5'/></defs><text>a</text>"
                "<text>b</text><image href='x.png'/><rect width='5' height='5' display='none'/>"
                "<foo:bar xmlns:foo='urn:x'/><polygon points='0,0 10,0 10,10'/>"
                "<path d='M0 0 L10 0 L 10'/>"),
           &warning);
  EXPECT_EQ(d.items.size(), 2u);  // the polygon and the path up to its fault
  EXPECT_EQ(warning.find('\n'), std::string::npos);
  EXPECT_NE(warning.find("text (2)"), std::string::npos) << warning;
  EXPECT_NE(warning.find("image"), std::string::npos) << warning;
  EXPECT_NE(warning.find("path data"), std::string::npos) << warning;
  EXPECT_EQ(warning.find("foo"), std::string::npos) << warning;
  EXPECT_EQ(d.paths[1].GetSize(), 2);
}

TEST(SvgRead, HostileDocumentsEndWithAClearErrorOrAStatedQuietResult) {
  Drawing d;
  std::string warning, error;
  const auto start = std::chrono::steady_clock::now();
  // Billion laughs: declared entities are never expanded, so the document is its own size.
  std::string laughs = "<?xml version='1.0'?><!DOCTYPE svg [<!ENTITY a 'hahahahahaha'>";
  for (char c = 'b'; c <= 'j'; ++c) {
    std::string ten;
    for (int k = 0; k < 10; ++k) ten += std::string("&") + static_cast<char>(c - 1) + ";";
    laughs += std::string("<!ENTITY ") + c + " '" + ten + "'>";
  }
  laughs += "]><svg xmlns='http://www.w3.org/2000/svg'><text>&j;</text></svg>";
  EXPECT_TRUE(ReadSvg(laughs, d, warning, error)) << error;
  EXPECT_EQ(d.items.size(), 0u);

  struct Bad {
    std::string text;
    const char* error;
  };
  std::string deep;
  for (int i = 0; i < kMaxSvgDepth + 5; ++i) deep += "<g>";
  for (int i = 0; i < kMaxSvgDepth + 5; ++i) deep += "</g>";
  const Bad bad[] = {
      {"not xml at all <", "not a readable SVG"},
      {"<html/>", "not an SVG"},
      {Page(deep), "nested deeper"},
      {Page("<path d='M0 0 L1e308 0'/>"), "beyond 100 km"},
      {Page("<path d='M0 0 L1e999 0'/>"), "beyond 100 km"},
      {Page("<g transform='scale(1e300)'><rect width='1' height='1'/></g>"), "beyond 100 km"},
  };
  for (const Bad& b : bad) {
    Drawing e;
    EXPECT_FALSE(ReadSvg(b.text, e, warning, error)) << b.error;
    EXPECT_NE(error.find(b.error), std::string::npos) << error;
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

}  // namespace
}  // namespace plexa::io
