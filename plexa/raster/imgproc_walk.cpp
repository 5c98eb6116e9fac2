// The line walkers of CImgProc over its label raster.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "plexa/raster/imgproc.h"
#include "plexa/raster/internal/linelabels.h"

using namespace plexa::lines;

namespace {

constexpr int kRingDx[8] = {1, 1, 0, -1, -1, -1, 0, 1};
constexpr int kRingDy[8] = {0, -1, -1, -1, 0, 1, 1, 1};

std::int64_t Cells(const CByteMatrix& m) {
  return std::int64_t{std::max(m.GetWidth(), 0)} * std::max(m.GetHeight(), 0) + 1;
}

// Finds the next cell holding `label` from (x, y) in row order.
bool FindLabel(const CByteMatrix& m, int& x, int& y, unsigned char label) {
  for (int yy = std::max(y, 0); yy < m.GetHeight(); ++yy)
    for (int xx = yy == y ? std::max(x, 0) : 0; xx < m.GetWidth(); ++xx)
      if (m.Get(xx, yy) == label) {
        x = xx, y = yy;
        return true;
      }
  return false;
}

// Walks from (cx, cy) along the line cells, appending each step to pts and clearing the line
// cells it passes (anchors stay); (cx, cy) ends on the walk's last cell. At most one step a
// cell of the raster.
void Follow(CByteMatrix& m, int& cx, int& cy, CArray<tagPOINT, tagPOINT>& pts) {
  bool first = true;
  for (std::int64_t i = 0, limit = Cells(m); i < limit && NextPoint(m, cx, cy, first); ++i) {
    pts.Add(tagPOINT{cx, cy});
    if (m.Get(cx, cy) == kLine) m.Set(cx, cy, kEmpty);
    first = false;
  }
}

}  // namespace

void CImgProc::InitMat(HBITMAP bmp) {
  m_mat.SetSize(0, 0);
  tagBITMAP bm{};
  if (bmp == nullptr || GetObjectW(bmp, sizeof(bm), &bm) == 0) return;
  if (!plexa::lines::LoadLines(m_mat, bm)) return;
  MarkAnchors(m_mat);
}

int CImgProc::CountPointPaths(int x, int y) const {
  return CountNeighbours(m_mat, x, y);
}

int CImgProc::CountPointPaths2(int x, int y) const {
  return CountBranches(m_mat, x, y);
}

int CImgProc::CountPointPaths3(int x, int y, unsigned char label) const {
  int n = 0;
  for (int k = 0; k < 8; ++k) n += m_mat.Get(x + kRingDx[k], y + kRingDy[k]) == label ? 1 : 0;
  return n;
}

int CImgProc::CountPointPaths(const tagBITMAP& bm, int x, int y) {
  if (!GetPixel(bm, x, y)) return 0;
  int n = 0;
  for (int k = 0; k < 8; ++k) n += GetPixel(bm, x + kRingDx[k], y + kRingDy[k]) ? 1 : 0;
  return n;
}

bool CImgProc::FindLinePoint(int& x, int& y) const {
  return FindLabel(m_mat, x, y, kLine);
}

bool CImgProc::GetNextAnchorPoint(int& x, int& y) const {
  return FindLabel(m_mat, x, y, kAnchor);
}

bool CImgProc::GetPolylineFromAnchor(int x, int y, CArray<tagPOINT, tagPOINT>& pts) {
  pts.RemoveAll();
  if (m_mat.Get(x, y) != kAnchor) return false;
  if (CountPointPaths3(x, y, kLine) == 0) {
    RetireAnchor(m_mat, x, y);
    return false;
  }
  pts.Add(tagPOINT{x, y});
  int cx = x, cy = y;
  Follow(m_mat, cx, cy, pts);
  RetireAnchor(m_mat, x, y);
  RetireAnchor(m_mat, cx, cy);
  return true;
}

bool CImgProc::TraceLinePoint(int x, int y, CArray<tagPOINT, tagPOINT>& pts) {
  pts.RemoveAll();
  if (m_mat.Get(x, y) != kLine) return false;
  pts.Add(tagPOINT{x, y});
  m_mat.Set(x, y, kEmpty);
  int cx = x, cy = y;
  Follow(m_mat, cx, cy, pts);
  RetireAnchor(m_mat, cx, cy);
  const tagPOINT last = pts[pts.GetSize() - 1];
  if (pts.GetSize() > 2 && std::abs(last.x - x) <= 1 && std::abs(last.y - y) <= 1)
    pts.Add(tagPOINT{x, y});
  return true;
}

int CImgProc::TraceAnchorPointsAndLines(CPolyPolyPoint& out, int minPoints) {
  int added = 0;
  CArray<tagPOINT, tagPOINT> pts;
  int x = 0, y = 0;
  // Each round takes a branch (line cells) or retires the anchor: bounded by the cells.
  for (std::int64_t i = 0, limit = 2 * Cells(m_mat); i < limit && GetNextAnchorPoint(x, y); ++i) {
    if (!GetPolylineFromAnchor(x, y, pts)) continue;  // the anchor is retired: scan on
    if (pts.GetSize() >= minPoints) {
      out.Add(std::make_unique<CArray<tagPOINT, tagPOINT>>(pts).release());
      ++added;
    }
    x = 0;  // the walk may have retired anchors anywhere in this row: rescan it
  }
  return added + TraceLoosePoints(out, minPoints);
}

int CImgProc::TraceLoosePoints(CPolyPolyPoint& out, int minPoints) {
  int added = 0;
  CArray<tagPOINT, tagPOINT> pts;
  int x = 0, y = 0;
  for (std::int64_t i = 0, limit = Cells(m_mat); i < limit && FindLinePoint(x, y); ++i) {
    TraceLinePoint(x, y, pts);
    if (pts.GetSize() >= minPoints) {
      out.Add(std::make_unique<CArray<tagPOINT, tagPOINT>>(pts).release());
      ++added;
    }
  }
  return added;
}

void CImgProc::MakeLinesMat(CPolyPolyPoint& lines) {
  m_mat.SetAll(kEmpty);
  for (INT_PTR i = 0; i < lines.GetSize(); ++i) {
    const CArray<tagPOINT, tagPOINT>* line = lines.GetAt(i);
    if (line == nullptr) continue;
    for (INT_PTR k = 0; k < line->GetSize(); ++k) {
      const tagPOINT a = (*line)[k == 0 ? 0 : k - 1], b = (*line)[k];
      // 8-connected steps from a to b; far-off segments are clipped to the raster's extent
      // so a huge coordinate costs no more than the raster.
      const std::int64_t dx = std::int64_t{b.x} - a.x, dy = std::int64_t{b.y} - a.y;
      const std::int64_t steps = std::max(std::llabs(dx), std::llabs(dy));
      const std::int64_t span = std::int64_t{m_mat.GetWidth()} + m_mat.GetHeight();
      if (steps > 4 * span + 4) {  // draw only the ends of absurd segments
        m_mat.Set(a.x, a.y, kLine);
        m_mat.Set(b.x, b.y, kLine);
        continue;
      }
      for (std::int64_t s = 0; s <= steps; ++s) {
        const double t = steps == 0 ? 0.0 : static_cast<double>(s) / static_cast<double>(steps);
        const auto px = static_cast<int>(a.x + static_cast<std::int64_t>(std::llround(t * dx)));
        const auto py = static_cast<int>(a.y + static_cast<std::int64_t>(std::llround(t * dy)));
        m_mat.Set(px, py, kLine);
      }
    }
  }
  MarkAnchors(m_mat);
}
