#include "plexa/layout/pack.h"

#include <cmath>

using PLEXA::CDPOINT;
using PLEXA::CDRECT;

namespace {

using State = CArray<CDPOINT, CDPOINT>;

// Column mode: bands are columns filled upwards; H is the first column's top.
void PackColumn(CDRECT& rect, State& state, double gap, double w, double h) {
  const double limit = state[1].y;
  const INT_PTR count = state.GetSize();
  // The first pair (points 0 and 1) is never a candidate: bands start at point 3.
  const CDPOINT* pts = state.GetData();
  for (INT_PTR i = 3; i < count; i += 2) {
    const CDPOINT left = pts[i - 1];
    const CDPOINT right = pts[i];
    const double width = right.x - left.x;
    if (!(gap + right.y + h <= limit) || w > width) continue;
    rect = CDRECT(left.x, left.x + w, gap + right.y, gap + right.y + h);
    if (width <= w + gap) {
      state[i - 1].y = rect.ymax;
      state[i].y = rect.ymax;
    } else {
      state[i - 1].x = left.x + w + gap;
      state.InsertAt(i - 1, CDPOINT(rect.xmin, rect.ymax));
      state.InsertAt(i, CDPOINT(rect.xmax, rect.ymax));
    }
    return;
  }
  const double xmin = gap + state[count - 1].x;
  rect = CDRECT(xmin, xmin + w, 0, h);
  state.Add(CDPOINT(xmin, h));
  state.Add(CDPOINT(xmin + w, h));
}

// Row mode: the same with the axes exchanged; W is the first row's right end.
void PackRow(CDRECT& rect, State& state, double gap, double w, double h) {
  const double limit = state[1].x;
  const INT_PTR count = state.GetSize();
  const CDPOINT* pts = state.GetData();
  for (INT_PTR i = 3; i < count; i += 2) {
    const CDPOINT bottom = pts[i - 1];
    const CDPOINT top = pts[i];
    const double height = top.y - bottom.y;
    if (!(gap + top.x + w <= limit) || h > height) continue;
    rect = CDRECT(gap + top.x, gap + top.x + w, bottom.y, bottom.y + h);
    if (height <= h + gap) {
      state[i - 1].x = rect.xmax;
      state[i].x = rect.xmax;
    } else {
      state[i - 1].y = bottom.y + h + gap;
      state.InsertAt(i - 1, CDPOINT(rect.xmax, rect.ymin));
      state.InsertAt(i, CDPOINT(rect.xmax, rect.ymax));
    }
    return;
  }
  const double ymin = gap + state[count - 1].y;
  rect = CDRECT(0, w, ymin, ymin + h);
  state.Add(CDPOINT(w, ymin));
  state.Add(CDPOINT(w, ymin + h));
}

}  // namespace

void PackRectangleFFD(CDRECT& rect, State& state, double gap, bool vertical) {
  const double w = std::fabs(rect.xmax - rect.xmin);
  const double h = std::fabs(rect.ymax - rect.ymin);
  if (state.GetSize() < 2) {
    rect = CDRECT(0, w, 0, h);
    if (vertical) {
      state.Add(CDPOINT(0, h));
      state.Add(CDPOINT(w, h));
    } else {
      state.Add(CDPOINT(w, 0));
      state.Add(CDPOINT(w, h));
    }
    return;
  }
  if (vertical)
    PackColumn(rect, state, gap, w, h);
  else
    PackRow(rect, state, gap, w, h);
}
