#include "plexa/raster/imagetrace.h"

#include <memory>
#include <vector>

#include "plexa/geom/fitcurve.h"
#include "plexa/raster/imgproc.h"
#include "plexa/raster/internal/linelabels.h"

using namespace plexa::lines;

namespace {

// A polyline needs more than this many points to be fitted.
constexpr INT_PTR kMinPolylinePoints = 2;
// A fitted path needs at least this many nodes to be kept.
constexpr INT_PTR kMinPathNodes = 2;

}  // namespace

void CImageTrace::AutoTrace(HBITMAP bmp, CPolyPolyBezier& out) {
  if (bmp == nullptr) return;
  tagBITMAP bm{};
  if (GetObjectW(bmp, sizeof(bm), &bm) == 0) return;
  out.RemoveAll();
  if (!plexa::lines::LoadLines(m_mat, bm)) return;
  MarkAnchorPoints();

  int row = 0;
  bool fromAnchors = true;
  CArray<tagPOINT, tagPOINT> pts;
  std::vector<PLEXA::CDPOINT> chain;
  // Each polyline retires at least one line cell or anchor, so the cells bound the loop.
  const std::int64_t limit = std::int64_t{m_mat.GetWidth()} * m_mat.GetHeight() + 1;
  for (std::int64_t i = 0; i < limit && GetNextPolyline(pts, row, fromAnchors); ++i) {
    if (pts.GetSize() > kMinPolylinePoints) {
      chain.clear();
      for (const tagPOINT& p : pts) chain.emplace_back(p.x, p.y);
      auto path = std::make_unique<CBPointArray>();
      FitCurve(chain.data(), static_cast<int>(chain.size()), path.get(), kImageTraceTolerance);
      if (path->GetSize() >= kMinPathNodes) out.Add(path.release());
    }
    pts.RemoveAll();
  }
}

void CImageTrace::MarkAnchorPoints() {
  if (m_reduceDoublePoints) ReduceDoublePoints();
  for (int y = 0; y < m_mat.GetHeight(); ++y)
    for (int x = 0; x < m_mat.GetWidth(); ++x) {
      int n = CountPointPaths(x, y);
      if (n > 2) n = CountPointPaths2(x, y);
      if (n == 1 || n >= 3) m_mat.Set(x, y, kAnchor);
    }
  ReduceAnchorPoints_TL3();
}

int CImageTrace::CountPointPaths(int x, int y) {
  return CountNeighbours(m_mat, x, y);
}

int CImageTrace::CountPointPaths2(int x, int y) {
  return CountBranches(m_mat, x, y);
}

void CImageTrace::ReduceDoublePoints() {
  for (int y = 0; y < m_mat.GetHeight(); ++y)
    for (int x = 0; x < m_mat.GetWidth(); ++x) {
      if (m_mat.Get(x, y) != kLine) continue;
      const bool e = m_mat.Get(x + 1, y) == kLine, w = m_mat.Get(x - 1, y) == kLine;
      const bool n = m_mat.Get(x, y - 1) == kLine, s = m_mat.Get(x, y + 1) == kLine;
      if ((e && s) || (e && n) || (w && s) || (w && n)) m_mat.Set(x, y, kEmpty);
    }
}

void CImageTrace::ReduceAnchorPoints_TL3() {
  ReduceAnchorClusters(m_mat);
}

bool CImageTrace::GetNextPolyline(CArray<tagPOINT, tagPOINT>& pts, int& row, bool& fromAnchors) {
  bool found = false;
  if (fromAnchors) {
    found = GetNextPolylineFromAnchor(pts, row);
    if (!found) fromAnchors = false, row = 0;
  }
  if (!found) found = GetNextPolylineFromImage(pts, row);
  if (!found) return false;
  CheckAnchor(pts[0].x, pts[0].y);
  CheckAnchor(pts[pts.GetSize() - 1].x, pts[pts.GetSize() - 1].y);
  return true;
}

// The next polyline walked from the first cell of the given kind at or below row.
bool CImageTrace::NextPolylineFrom(int kind, CArray<tagPOINT, tagPOINT>& pts, int& row) {
  for (int y = row < 0 ? 0 : row; y < m_mat.GetHeight(); ++y)
    for (int x = 0; x < m_mat.GetWidth(); ++x) {
      if (m_mat.Get(x, y) != kind) continue;
      AddPoint(pts, x, y);
      TracePolyline(pts);
      if (pts.GetSize() >= 1) {
        row = y;
        return true;
      }
    }
  return false;
}

bool CImageTrace::GetNextPolylineFromAnchor(CArray<tagPOINT, tagPOINT>& pts, int& row) {
  return NextPolylineFrom(kAnchor, pts, row);
}

bool CImageTrace::GetNextPolylineFromImage(CArray<tagPOINT, tagPOINT>& pts, int& row) {
  return NextPolylineFrom(kLine, pts, row);
}

void CImageTrace::TracePolyline(CArray<tagPOINT, tagPOINT>& pts) {
  if (pts.GetSize() != 1) return;
  int x = pts[0].x, y = pts[0].y;
  // Every step but the last takes a line cell, so the cells bound the walk.
  const std::int64_t limit = std::int64_t{m_mat.GetWidth()} * m_mat.GetHeight() + 1;
  bool first = true;
  for (std::int64_t i = 0; i < limit && GetNextImagePoint(x, y, first); ++i) {
    AddPoint(pts, x, y);
    first = false;
  }
}

bool CImageTrace::GetNextImagePoint(int& x, int& y, bool first) {
  return NextPoint(m_mat, x, y, first);
}

void CImageTrace::AddPoint(CArray<tagPOINT, tagPOINT>& pts, int x, int y) {
  pts.Add(tagPOINT{x, y});
  if (m_mat.Get(x, y) == kLine) m_mat.Set(x, y, kEmpty);
}

void CImageTrace::CheckAnchor(int x, int y) {
  RetireAnchor(m_mat, x, y);
}
