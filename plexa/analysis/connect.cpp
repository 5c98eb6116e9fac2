#include "plexa/analysis/connect.h"

#include <cmath>
#include <memory>
#include <vector>

#include "plexa/platform/internal/grow.h"

using PLEXA::CBPOINT;
using PLEXA::CDPOINT;

namespace {

// End points closer than this in x and in y are the same point for joining.
constexpr double kConnectTolerance = 1e-8;

bool Touch(const CDPOINT& a, const CDPOINT& b) {
  return std::fabs(a.x - b.x) < kConnectTolerance && std::fabs(a.y - b.y) < kConnectTolerance;
}

bool Joinable(const CBPointArray* p) {
  return p != nullptr && p->GetSize() >= 2 && !p->IsPolyBezierClosed();
}

// chain + piece, the chain's last node and the piece's first made one.
void AppendTo(CBPointArray& chain, const CBPointArray& piece) {
  chain[chain.GetUpperBound()].out = piece[0].out;
  for (INT_PTR i = 1; i < piece.GetSize(); ++i) plexa::grow::Append(chain, piece[i]);
}

// Grows chain at its end with the first unused path that touches it; false when none does.
bool GrowEnd(CBPointArray& chain, const std::vector<const CBPointArray*>& paths,
             std::vector<bool>& used) {
  const CDPOINT end = chain[chain.GetUpperBound()].anchor;
  for (std::size_t k = 0; k < paths.size(); ++k) {
    if (used[k]) continue;
    const CBPointArray& p = *paths[k];
    if (Touch(end, p[0].anchor)) {
      AppendTo(chain, p);
    } else if (Touch(end, p[p.GetUpperBound()].anchor)) {
      CBPointArray rev(p);
      rev.MakeReverse();
      AppendTo(chain, rev);
    } else {
      continue;
    }
    used[k] = true;
    return true;
  }
  return false;
}

bool ClosesOnItself(CBPointArray& chain) {
  const INT_PTR last = chain.GetUpperBound();
  if (chain.GetSize() < 3 || !Touch(chain[last].anchor, chain[0].anchor)) return false;
  chain[last].anchor = chain[0].anchor;
  chain[last].out = chain[0].out;
  return true;
}

// One joining pass from src into dst (appended).
void JoinPass(const CPolyPolyBezier& src, CPolyPolyBezier& dst) {
  std::vector<const CBPointArray*> paths;
  for (int i = 0; i < src.GetSize(); ++i)
    if (const CBPointArray* p = src.GetAt(i)) paths.push_back(p);
  std::vector<bool> used(paths.size(), false);
  for (std::size_t k = 0; k < paths.size(); ++k) {
    if (used[k]) continue;
    used[k] = true;
    auto chain = std::make_unique<CBPointArray>(*paths[k]);
    if (Joinable(paths[k])) {
      // Only open paths with 2 or more nodes join; the others are marked used for the growth.
      std::vector<bool> blocked(used);
      for (std::size_t j = 0; j < paths.size(); ++j)
        if (!Joinable(paths[j])) blocked[j] = true;
      bool closed = false;
      while (!closed && GrowEnd(*chain, paths, blocked)) closed = ClosesOnItself(*chain);
      if (!closed) {
        chain->MakeReverse();
        while (!closed && GrowEnd(*chain, paths, blocked)) closed = ClosesOnItself(*chain);
        chain->MakeReverse();
      }
      for (std::size_t j = 0; j < paths.size(); ++j)
        if (Joinable(paths[j]) && blocked[j]) used[j] = true;
    }
    plexa::grow::Append(dst, chain.release());
  }
}

}  // namespace

void ConnectPaths(const CPolyPolyBezier& src, CPolyPolyBezier& dst) {
  CPolyPolyBezier first;
  JoinPass(src, first);  // reads src before dst is touched, so the two may be one set
  dst.RemoveAll();
  for (int i = 0; i < first.GetSize(); ++i) plexa::grow::Append(dst, first.GetAt(i));
  first.CPtrArray::SetSize(0);  // ownership moved to dst
  INT_PTR before = src.GetSize();
  while (dst.GetSize() > 1 && dst.GetSize() < before) {
    before = dst.GetSize();
    CPolyPolyBezier temp;
    for (int i = 0; i < dst.GetSize(); ++i) plexa::grow::Append(temp, dst.GetAt(i));
    dst.CPtrArray::SetSize(0);  // emptied without freeing: temp owns the paths now
    JoinPass(temp, dst);
  }
}
