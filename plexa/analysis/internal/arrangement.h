// The integer arrangement behind the boolean operations: straight edges with integer end points
// (|coordinate| <= kArrangementLimit) from two input sets are snap-rounded into a planar graph,
// every face gets its winding pair, and the edges where the chosen predicate changes are
// linked into simple closed loops with their outline/hole tree.
//
//   std::vector<plexa::arr::InputEdge> edges = ...;   // set 0 = A, 1 = B, source = caller's id
//   plexa::arr::Result result;
//   plexa::arr::BuildBoolean(edges, {plexa::arr::Op::kUnion, false}, result);
//
// Invariants of the result: every loop is simple, has at least 3 vertices, keeps the inside
// of the result on its left (positive shoelace area for outlines, negative for holes), and no
// two loops cross; loops may touch at vertices. Private: never installed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <span>
#include <vector>

namespace plexa::arr {

// Input coordinates must lie in [-kArrangementLimit, kArrangementLimit], so that coordinate
// differences fit 2^28, cross products fit int64 and crossing numerators fit int128.
inline constexpr std::int64_t kArrangementLimit = std::int64_t{1} << 26;

struct IPoint {
  std::int64_t x = 0, y = 0;
  friend bool operator==(const IPoint&, const IPoint&) = default;
  friend auto operator<=>(const IPoint&, const IPoint&) = default;
};

struct InputEdge {
  IPoint a, b;
  int set = 0;     // 0: A, 1: B
  int source = 0;  // the caller's id, handed back on the result edges
};

enum class Op { kUnion, kIntersection, kDifference, kXor };
struct Rule {
  Op op = Op::kUnion;
  bool evenOdd = false;  // even-odd: odd winding is inside; else non-zero winding is inside
};

// Edge k of a result runs from vertices[k] to the next vertex of its loop (the loop's first
// after its last); it is a piece of the caller's edge `source`, from parameter sFrom to sTo
// along it (0 at its a, 1 at its b).
struct ResultEdge {
  int source = 0;
  double sFrom = 0, sTo = 0;
};
struct ResultLoop {
  std::size_t first = 0, count = 0;  // its vertices and edges: [first, first + count)
  bool hole = false;
  int parent = -1;  // index of the innermost loop around this one, -1 at the top level
  int depth = 0;    // 0 for top-level loops, parent's depth + 1 otherwise
};
// The loops side by side. All scratch memory of BuildBoolean comes from the resource of these
// vectors too: a monotonic arena sized from the input makes a call a few allocations.
struct Result {
  explicit Result(std::pmr::memory_resource* mem = std::pmr::get_default_resource())
      : vertices(mem), edges(mem), loops(mem) {}
  std::pmr::vector<IPoint> vertices;
  std::pmr::vector<ResultEdge> edges;
  std::pmr::vector<ResultLoop> loops;
};

struct ArrangementStats {
  std::size_t crossings = 0;  // proper crossings found among the input edges
  std::size_t fragments = 0;  // snap-rounded fragments before merging
  std::size_t edges = 0;      // distinct graph edges with a non-zero contribution
};

// Bounds: refuses (false, result empty) when more than kMaxCrossings proper crossings or
// kMaxFragments fragments arise, or an input coordinate is outside the limit. The inside
// test of a winding pair is the rule's predicate on (inside A, inside B).
inline constexpr std::size_t kMaxCrossings = std::size_t{1} << 24;
inline constexpr std::size_t kMaxFragments = std::size_t{1} << 25;
bool BuildBoolean(std::span<const InputEdge> input, Rule rule, Result& result,
                  ArrangementStats* stats = nullptr);

}  // namespace plexa::arr
