// Welding and boolean operations on tool drawings (see weld.h).
#include "tools/weld.h"

#include <memory>
#include <utility>

namespace plexa::tool {
namespace {

constexpr const char* kTooLarge =
    "the drawing is too large to weld (over 4 million flattened edges or 16 million crossings)";

BooleanOptions Options(FillRule rule, double tolerance) {
  BooleanOptions o;
  o.fillRule = rule;
  if (tolerance > 0) o.tolerance = tolerance;
  return o;
}

void Append(CPolyPolyBezier& to, const CBPointArray& p) {
  to.Add(std::make_unique<CBPointArray>(p).release());
}

}  // namespace

bool DrawingRegion(const io::Drawing& d, std::optional<FillRule> rule, double tolerance,
                   CPolyPolyBezier& set, std::string& error) {
  set.RemoveAll();
  if (rule) {
    for (INT_PTR i = 0; i < d.paths.GetSize(); ++i)
      if (const CBPointArray* p = d.paths.GetAt(static_cast<int>(i))) Append(set, *p);
    return true;
  }
  for (const io::Item& item : d.items) {
    CPolyPolyBezier one, clean;
    for (int i : item.paths)
      if (const CBPointArray* p = d.paths.GetAt(i)) Append(one, *p);
    const FillRule r =
        item.rule == io::FillRule::kNonZero ? FillRule::kNonZero : FillRule::kEvenOdd;
    if (!WeldPolyPolyBezier(one, clean, Options(r, tolerance))) {
      error = kTooLarge;
      return false;
    }
    for (INT_PTR i = 0; i < clean.GetSize(); ++i)
      if (const CBPointArray* p = clean.GetAt(static_cast<int>(i))) Append(set, *p);
  }
  return true;
}

void SetResult(io::Drawing& d, const CPolyPolyBezier& result, const BooleanTree& tree) {
  d.paths.RemoveAll();
  d.items.clear();
  const int n = static_cast<int>(result.GetSize());
  std::vector<int> item(n, -1);
  for (int i = 0; i < n; ++i) {
    const CBPointArray* p = result.GetAt(i);
    Append(d.paths, p != nullptr ? *p : CBPointArray());  // keeps the tree's indexes
  }
  // Outlines (even depth) start items; holes join their parent's item. Parents come from the
  // same result, so two passes place every path.
  for (int i = 0; i < n; ++i) {
    const bool hole = i < static_cast<int>(tree.depth.size()) && tree.depth[i] % 2 == 1;
    if (hole) continue;
    item[i] = static_cast<int>(d.items.size());
    d.items.push_back(io::Item{{i}, io::FillRule::kNonZero});
  }
  for (int i = 0; i < n; ++i) {
    if (item[i] >= 0) continue;
    const int parent = i < static_cast<int>(tree.parent.size()) ? tree.parent[i] : -1;
    if (parent >= 0 && parent < n && item[parent] >= 0) {
      d.items[item[parent]].paths.push_back(i);
    } else {  // a tree that does not name the outline: keep the path as a shape of its own
      item[i] = static_cast<int>(d.items.size());
      d.items.push_back(io::Item{{i}, io::FillRule::kNonZero});
    }
  }
}

bool WeldDrawing(io::Drawing& d, std::optional<FillRule> rule, double tolerance,
                 std::string& error) {
  CPolyPolyBezier set, out;
  if (!DrawingRegion(d, rule, tolerance, set, error)) return false;
  BooleanTree tree;
  if (!WeldPolyPolyBezier(set, out, Options(rule.value_or(FillRule::kNonZero), tolerance), &tree)) {
    error = kTooLarge;
    return false;
  }
  SetResult(d, out, tree);
  return true;
}

void AddFillRule(CLI::App& cmd, std::string& ruleText, const std::string& help) {
  cmd.add_option("--fill-rule", ruleText, help)->check(CLI::IsMember({"evenodd", "nonzero"}));
}

void ResolveFillRule(const std::string& text, std::optional<FillRule>& rule) {
  if (text == "evenodd") rule = FillRule::kEvenOdd;
  if (text == "nonzero") rule = FillRule::kNonZero;
}

}  // namespace plexa::tool
