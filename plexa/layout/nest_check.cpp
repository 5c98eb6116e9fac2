// The exact geometry of nesting: transforms applied to curves, even-odd areas and the overlap
// check on the true outlines.
#include <algorithm>
#include <cmath>
#include <limits>

#include "plexa/analysis/boolean.h"
#include "plexa/core/internal/numerics.h"
#include "plexa/layout/internal/nest_raster.h"
#include "plexa/layout/nest.h"

using PLEXA::CDPOINT;
using PLEXA::CDRECT;
using plexa::nest::AllFinite;
using plexa::nest::PathArea;
using plexa::nest::UsablePath;
namespace rast = plexa::rasterizer;

void CNest::Transform::Apply(CPolyPolyBezier& set) const {
  for (INT_PTR i = 0; i < set.GetSize(); ++i) {
    CBPointArray* path = set.GetAt(static_cast<int>(i));
    if (path == nullptr) continue;
    for (INT_PTR k = 0; k < path->GetSize(); ++k) {
      PLEXA::CBPOINT& n = (*path)[k];
      n.in = Apply(n.in), n.anchor = Apply(n.anchor), n.out = Apply(n.out);
    }
  }
}

double GetShapeArea(const CPolyPolyBezier& shape) {
  struct Piece {
    double area;
    CDRECT box;
    std::vector<rast::PointD> poly;
  };
  std::vector<Piece> pieces;
  for (INT_PTR i = 0; i < shape.GetSize(); ++i) {
    const CBPointArray* path = shape.GetAt(static_cast<int>(i));
    if (!UsablePath(path)) continue;
    CPolyPolyBezier one;
    one.Add(new CBPointArray(*path));
    if (!AllFinite(one)) continue;
    Piece p{PathArea(*path), {}, {}};
    const CDRECT box = path->GetPolyBezierRect(1.0);
    const double extent = std::max(box.xmax - box.xmin, box.ymax - box.ymin);
    plexa::nest::FlattenPath(*path, plexa::nest::Affine(), 1.0, std::max(extent * 1e-4, 1e-12),
                             p.poly);
    p.box = {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
             std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
    for (const rast::PointD& q : p.poly) {
      p.box.xmin = std::min(p.box.xmin, q.x), p.box.xmax = std::max(p.box.xmax, q.x);
      p.box.ymin = std::min(p.box.ymin, q.y), p.box.ymax = std::max(p.box.ymax, q.y);
    }
    pieces.push_back(std::move(p));
  }
  double total = 0;
  for (size_t i = 0; i < pieces.size(); ++i) {
    const rast::PointD a = pieces[i].poly[0];
    int depth = 0;
    for (size_t j = 0; j < pieces.size(); ++j) {
      const CDRECT& b = pieces[j].box;
      if (j != i && a.x >= b.xmin && a.x <= b.xmax && a.y >= b.ymin && a.y <= b.ymax &&
          plexa::nest::InsidePolygon(pieces[j].poly, a.x, a.y))
        ++depth;
    }
    total += (depth % 2 == 0 ? 1 : -1) * std::abs(pieces[i].area);
  }
  return total;
}

int FindShapeOverlaps(const std::vector<CPolyPolyBezier>& shapes, double minArea,
                      std::vector<std::pair<int, int>>& pairs) {
  pairs.clear();
  std::vector<CDRECT> boxes(shapes.size());
  std::vector<bool> present(shapes.size(), false);
  for (size_t i = 0; i < shapes.size(); ++i) {
    double x0 = std::numeric_limits<double>::infinity(), y0 = x0, x1 = -x0, y1 = -x0;
    for (INT_PTR k = 0; k < shapes[i].GetSize(); ++k) {
      const CBPointArray* path = shapes[i].GetAt(static_cast<int>(k));
      if (!UsablePath(path)) continue;
      for (INT_PTR n = 0; n < path->GetSize(); ++n) {
        for (const CDPOINT& p : {(*path)[n].in, (*path)[n].anchor, (*path)[n].out}) {
          if (!plexa::num::IsFinite(p)) continue;
          x0 = std::min(x0, p.x), x1 = std::max(x1, p.x);
          y0 = std::min(y0, p.y), y1 = std::max(y1, p.y);
        }
      }
    }
    boxes[i] = CDRECT(x0, x1, y0, y1);
    present[i] = x0 <= x1 && y0 <= y1;
  }
  std::vector<size_t> byX;
  for (size_t i = 0; i < shapes.size(); ++i)
    if (present[i]) byX.push_back(i);
  std::sort(byX.begin(), byX.end(),
            [&](size_t a, size_t b) { return boxes[a].xmin < boxes[b].xmin; });
  BooleanOptions options;
  options.fillRule = FillRule::kEvenOdd;
  for (size_t ai = 0; ai < byX.size(); ++ai) {
    const CDRECT& a = boxes[byX[ai]];
    for (size_t bi = ai + 1; bi < byX.size() && boxes[byX[bi]].xmin <= a.xmax; ++bi) {
      const CDRECT& b = boxes[byX[bi]];
      if (b.ymin > a.ymax || a.ymin > b.ymax) continue;
      CPolyPolyBezier common;
      BooleanPolyPolyBezier(shapes[byX[ai]], shapes[byX[bi]], BooleanOp::kIntersection, common,
                            options);
      double area = 0;
      for (INT_PTR k = 0; k < common.GetSize(); ++k) {
        const CBPointArray* path = common.GetAt(static_cast<int>(k));
        if (UsablePath(path)) area += PathArea(*path);
      }
      if (std::abs(area) > minArea) {
        const int i = static_cast<int>(std::min(byX[ai], byX[bi]));
        const int j = static_cast<int>(std::max(byX[ai], byX[bi]));
        pairs.emplace_back(i, j);
      }
    }
  }
  std::sort(pairs.begin(), pairs.end());
  return static_cast<int>(pairs.size());
}
