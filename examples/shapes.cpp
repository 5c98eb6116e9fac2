// A first look at plexa: build a few shapes and containers, transform them, store and load
// them through an archive, and print what happened at each step.
#include <cstdio>
#include <numbers>
#include <sstream>

#include "plexa/plexa.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

CBPointArray Polygon(std::initializer_list<CDPOINT> corners) {
  CBPointArray path;
  for (const CDPOINT& p : corners) path.Add(CBPOINT(p, p, p));
  path.Add(path[0]);  // a closed path repeats its first node
  return path;
}

void Print(const char* what, const CPolyPolyBezier& set) {
  std::printf("%s\n", what);
  for (int i = 0; i < set.GetSize(); ++i) {
    const CBPointArray& path = set[i];
    std::printf("  path %d: %lld nodes, %s, %s:", i, static_cast<long long>(path.GetSize()),
                path.IsPolyBezierClosed() ? "closed" : "open",
                path.IsClockwise() ? "clockwise" : "counter-clockwise");
    for (const CBPOINT& n : path) std::printf(" (%.2f, %.2f)", n.anchor.x, n.anchor.y);
    std::printf("\n");
  }
}

}  // namespace

int main() {
  CPolyPolyBezier set;
  set.Add(new CBPointArray(Polygon({{0, 0}, {100, 0}, {100, 50}, {0, 50}})));
  set.Add(new CBPointArray(Polygon({{20, 10}, {20, 40}, {40, 25}})));
  Print("Two shapes, in drawing units (tenths of a millimetre):", set);

  CView3D view;
  view.Rotate(std::numbers::pi / 2);  // acts second
  view.Translate(50, 25, 0);          // acts first: moves the rectangle's centre to the origin
  set.ApplyTransformation(view);
  Print("Centred on the origin, then turned a quarter turn:", set);

  set.SetOrientation(true);
  Print("Every path made clockwise on screen:", set);

  CView3D fit;
  fit.MakeTransform(PLEXA::CDRECT(-25, 25, -50, 50), PLEXA::CDRECT(0, 254, 0, 508));
  set.ApplyTransformation(fit);
  Print("Fitted into a one-by-two-inch box:", set);

  std::stringstream stream;
  {
    CArchive ar(stream, CArchive::store);
    set[0].Serialize(ar);
  }
  std::printf("The first path archived in %zu bytes (2-byte count + 56 bytes a node)\n",
              stream.str().size());
  CBPointArray loaded;
  CArchive in(stream, CArchive::load);
  loaded.Serialize(in);
  std::printf("Loaded back: %lld nodes, identical: %s\n", static_cast<long long>(loaded.GetSize()),
              loaded == set[0] ? "yes" : "no");
  return loaded == set[0] ? 0 : 1;
}
