#include "io/page_ops.h"

#include <algorithm>

#include "io/number.h"

namespace plexa::io {
namespace {

constexpr int kDecimals = 3;  // a thousandth of a point: 0.35 micrometres

struct Mapper {
  PLEXA::CDRECT box;
  void Point(std::string& out, const PLEXA::CDPOINT& p) const {
    AppendNumber(out, (p.x - box.xmin) * kPointsPerUnit, kDecimals);
    out += ' ';
    AppendNumber(out, (box.ymax - p.y) * kPointsPerUnit, kDecimals);
    out += ' ';
  }
};

}  // namespace

void PageSize(const Drawing& d, double& width, double& height) {
  const PLEXA::CDRECT box = PageBox(d);
  width = std::max(1.0, (box.xmax - box.xmin) * kPointsPerUnit);
  height = std::max(1.0, (box.ymax - box.ymin) * kPointsPerUnit);
}

std::string PageContent(const Drawing& d, const PageOperators& ops) {
  const Mapper map{PageBox(d)};
  std::string out;
  for (const Item& item : d.items) {
    bool closed = true, any = false;
    const std::size_t start = out.size();
    if (*ops.newpath) {
      out += ops.newpath;
      out += '\n';
    }
    for (int k : item.paths) {
      const CBPointArray* p = d.paths.GetAt(k);
      if (p == nullptr || p->GetSize() < 2) continue;
      any = true;
      closed = closed && p->IsPolyBezierClosed();
      map.Point(out, (*p)[0].anchor);
      out += ops.move;
      out += '\n';
      for (INT_PTR i = 0; i + 1 < p->GetSize(); ++i) {
        const PLEXA::CBPOINT &a = (*p)[i], &b = (*p)[i + 1];
        const bool line = a.out.x == a.anchor.x && a.out.y == a.anchor.y && b.in.x == b.anchor.x &&
                          b.in.y == b.anchor.y;
        if (!line) {
          map.Point(out, a.out);
          map.Point(out, b.in);
        }
        map.Point(out, b.anchor);
        out += line ? ops.line : ops.curve;
        out += '\n';
      }
      if (p->IsPolyBezierClosed()) {
        out += ops.close;
        out += '\n';
      }
    }
    if (!any) {
      out.resize(start);
      continue;
    }
    out += !closed ? ops.stroke : item.rule == FillRule::kEvenOdd ? ops.eofill : ops.fill;
    out += '\n';
  }
  return out;
}

}  // namespace plexa::io
