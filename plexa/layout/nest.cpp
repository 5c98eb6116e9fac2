#include "plexa/layout/nest.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <numbers>

#include "plexa/layout/internal/nest_raster.h"

namespace {

using namespace plexa::nest;

// Added to gap / 2 when footprints are grown: a pixel whose square meets the shape grown by
// gap / 2 has its centre within gap / 2 + 0.7071 pixels of it, plus the flattening error of
// the footprints (0.1 pixels, nest_raster.cpp).
constexpr double kSafetyPixels = 1.0;
// Page raster sides.
constexpr int kMinRaster = 64;
constexpr int kMaxRaster = 2048;
// The automatic resolution (Options::resolution 0): pixels a gap, pixels along the median
// part's longer side, and the least resolution. Measured on the benchmark's parts (sheet 1800
// x 1200, gap 10, five draws of 50 and 200 parts, four orders): 512 fills the first sheet 6 %
// less; 768, 1024, 1088, 1152, 1280, 1536 and 2048 fill 0.690 .. 0.705 (50 parts) and 0.849
// .. 0.857 (200) in no steady order, single draws moving by 2 % either way, the time growing
// with the square of the resolution (2048 takes four to five times 1024's). The heuristic,
// not the pixel, limits the fill there; the gap's rule (1080 on the benchmark) matters when
// the pixel would otherwise be large against the gap, as on a big sheet.
constexpr double kPixelsPerGap = 6;
constexpr double kPixelsPerPart = 32;
constexpr int kAutoMinRaster = 1024;
// Slack on the number of whole pixels along a sheet side (sizes that are whole multiples of
// the pixel must not lose their last pixel to rounding); far below the 0.19 pixel reserve.
constexpr double kWholePixelSlack = 1e-9;
// Ordering units by footprint area beats ordering by footprint box area (first sheet 0.727 /
// 0.846 against 0.682 / 0.664 on the benchmark's 50 and 200 parts). Over five draws of parts
// (six orders, automatic resolution) the footprint's area gives 0.708 / 0.859, its box 0.648
// / 0.721, its height 0.628 / 0.682, its width 0.632 / 0.723 and its longer side 0.626 /
// 0.676. Trying every open sheet (first fit) rather than only the last one (next fit) lifts
// the first sheet from 0.509 / 0.513 and saves sheets (2.4 / 7.8 against 2.6 / 11.6).
// Once all are placed, moving a unit of a later sheet into the first in place of a smaller
// one (which then goes where there is room) was tried and kept out: 0.6977 / 0.8541 against
// 0.6976 / 0.8534 (four orders) at 2.6 to 3 times the time. Sliding placed units lower and
// further left afterwards cannot help: each already took the lowest spot it could, and later
// units only took more room.
// One swap of neighbours in this many in the orders after the first (see SortForAttempt).
// Measured on the benchmark's parts: the swapped orders fill the first sheet 0.69 .. 0.72 (50
// parts; none beats the first order's 0.727) and 0.83 .. 0.86 (200; the third lifts it from
// 0.846 to 0.861, and sixteen find nothing better than four). Orders by the footprint's short
// or long side gave 0.59 .. 0.67, sizes scaled at random by up to 30 % 0.67 .. 0.85, and four
// orders ranked by another height of the footprint (nest_raster.cpp) 0.697 .. 0.727 / 0.849
// .. 0.861. Over five draws of parts (automatic resolution) six orders fill 0.708 / 0.859 on
// average against 0.698 / 0.856 with four, and eight no more than six; ranking positions by
// the top or middle in every second or third order instead of the bottom gave 0.708 / 0.858.
constexpr std::uint64_t kSwapOdds = 4;
// A later order replaces the best so far only when its first sheet holds this share more.
constexpr double kBetterFill = 1e-9;
// Footprints kept for the later orders, in bytes; beyond, they are built again each time.
constexpr std::size_t kFootprintCacheBytes = std::size_t{64} << 20;
// Angles this close to a quarter turn apart (radians) count as one: the footprint of the later
// is the earlier's turned pixel for pixel, four to eight times faster than rasterising again
// (50 and 200 parts in four turns: footprints in 3.4 and 31 ms instead of 12 and 45 ms). The
// map then is the earlier's turned exactly, so what is reported is what was placed.
constexpr double kQuarterTurnSlack = 1e-12;
// Most orders Options::attempts asks for.
constexpr int kMaxAttempts = 64;
// Most turns Options::rotations asks for.
constexpr int kMaxRotationSteps = 360;

struct Unit {
  std::vector<int> members;
  std::vector<std::pair<double, bool>> orientations;  // (angle, mirrored)
  std::int64_t cells = 0;  // footprint size of the first orientation that fits (0: none)
  int w = 0, h = 0;        // and its width and height in pixels
  double area = 0;
  int copyOf = -1;  // the class of units of the same shapes (they share footprints)
};

// One placement of all units: where each went and what became of it.
struct Outcome {
  std::vector<CNest::Transform> where;
  std::vector<CNest::Status> status;
  std::vector<double> sheetArea;
  int nested = 0;
  bool stopped = false;
};

// Most shapes placed, then fewest sheets, then the fullest first sheet.
bool Better(const Outcome& a, const Outcome& b) {
  if (a.nested != b.nested) return a.nested > b.nested;
  if (a.sheetArea.size() != b.sheetArea.size()) return a.sheetArea.size() < b.sheetArea.size();
  return !a.sheetArea.empty() && a.sheetArea[0] > b.sheetArea[0] * (1 + kBetterFill);
}

// The order of attempt k: largest footprint first (ties: input order); for k >= 1 then a pass
// that swaps neighbours of similar size (the smaller at least half the larger) one time in
// kSwapOdds, by a fixed pseudo-random sequence of its own for each attempt (the same input
// gives the same orders).
void SortForAttempt(int k, const std::vector<Unit>& units, std::vector<size_t>& order) {
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(),
                   [&](size_t a, size_t b) { return units[a].cells > units[b].cells; });
  std::uint64_t state = 0x9E3779B97F4A7C15ull * static_cast<std::uint64_t>(k);
  for (size_t i = 0; k > 0 && i + 1 < order.size(); ++i) {
    state ^= state << 13, state ^= state >> 7, state ^= state << 17;
    const Unit& a = units[order[i]];
    const Unit& b = units[order[i + 1]];
    if (state % kSwapOdds == 0 && b.cells * 2 > a.cells) std::swap(order[i], order[i + 1]);
  }
}

// Options::resolution 0: the pixel a kPixelsPerGap-th of the gap and a kPixelsPerPart-th of
// the median longer side of the valid shapes' boxes (control points), no coarser than
// kAutoMinRaster and no finer than kMaxRaster along the sheet's longer side.
int AutoResolution(const std::vector<CNest::NestData>& shapes, double longer, double gap) {
  std::vector<double> extents;
  for (const CNest::NestData& d : shapes) {
    if (!AllFinite(d.shape)) continue;
    const PLEXA::CDRECT box = GetPolyPolyBezierRect(d.shape, 0);
    const double e = std::max(box.xmax - box.xmin, box.ymax - box.ymin);
    if (std::isfinite(e) && e > 0) extents.push_back(e);
  }
  double pixel = gap > 0 ? gap / kPixelsPerGap : std::numeric_limits<double>::infinity();
  if (!extents.empty()) {
    std::nth_element(extents.begin(), extents.begin() + long(extents.size() / 2), extents.end());
    pixel = std::min(pixel, extents[extents.size() / 2] / kPixelsPerPart);
  }
  const double wanted = longer / pixel;  // +inf for a zero pixel, 0 for an infinite one
  return static_cast<int>(
      std::clamp(std::ceil(wanted), double(kAutoMinRaster), double(kMaxRaster)));
}

}  // namespace

int CNest::AddShape(const CPolyPolyBezier& shape, int group, std::vector<double> angles) {
  NestData d;
  d.shape = shape;
  d.group = group;
  d.angles = std::move(angles);
  m_shapes.push_back(std::move(d));
  return static_cast<int>(m_shapes.size()) - 1;
}

double CNest::GetFillRatio() const {
  if (m_sheetArea.empty() || m_sheetSize <= 0) return 0;
  double a = 0;
  for (double s : m_sheetArea) a += s;
  return a / (m_sheetSize * static_cast<double>(m_sheetArea.size()));
}

double CNest::GetSheetFill(int sheet) const {
  if (sheet < 0 || sheet >= GetSheetCount() || m_sheetSize <= 0) return 0;
  return m_sheetArea[static_cast<size_t>(sheet)] / m_sheetSize;
}

void CNest::GetPlacedShapes(std::vector<CPolyPolyBezier>& out) const {
  out.clear();
  out.resize(m_shapes.size());
  for (size_t i = 0; i < m_shapes.size(); ++i) {
    if (m_shapes[i].status != Status::kPlaced) continue;
    out[i] = m_shapes[i].shape;
    m_shapes[i].transform.Apply(out[i]);
  }
}

bool CNest::Nest(const Options& o) {
  const Clock::time_point start = Clock::now();
  m_sheetArea.clear();
  m_nested = 0;
  m_seconds = 0;
  m_pixel = 0;
  m_sheetSize = 0;
  for (NestData& d : m_shapes) {
    d.transform = Transform();
    d.status = Status::kNotTried;
  }
  if (!(std::isfinite(o.width) && std::isfinite(o.height) && o.width > 0 && o.height > 0 &&
        std::isfinite(o.gap) && o.gap >= 0 && std::isfinite(o.width * o.height)))
    return false;

  const double longer = std::max(o.width, o.height);
  const int resolution = o.resolution > 0 ? std::clamp(o.resolution, kMinRaster, kMaxRaster)
                                          : AutoResolution(m_shapes, longer, o.gap);
  const double pixel = longer / resolution;
  const auto sidePixels = [&](double side) {
    return static_cast<int>(
        std::min(std::floor(side / pixel + kWholePixelSlack), static_cast<double>(kMaxRaster)));
  };
  const int usableW = sidePixels(o.width), usableH = sidePixels(o.height);
  const int rasterW = std::clamp(usableW, kMinRaster, kMaxRaster);
  const int rasterH = std::clamp(usableH, kMinRaster, kMaxRaster);
  const double grow = o.gap / (2 * pixel) + kSafetyPixels;
  const bool timed = o.timeLimit > 0 && std::isfinite(o.timeLimit);
  const Clock::time_point deadline =
      timed ? start + std::chrono::duration_cast<Clock::duration>(
                          std::chrono::duration<double>(std::min(o.timeLimit, 1e6)))
            : start;
  m_pixel = pixel;
  m_sheetSize = o.width * o.height;

  // Units: every valid shape alone, or with the others of its group.
  std::vector<Unit> units;
  std::map<int, size_t> groupUnit;
  for (size_t i = 0; i < m_shapes.size(); ++i) {
    NestData& d = m_shapes[i];
    bool any = false;
    for (INT_PTR k = 0; k < d.shape.GetSize(); ++k) any |= UsablePath(d.shape.GetAt(int(k)));
    if (!any) {
      d.status = Status::kEmpty;
      continue;
    }
    if (!AllFinite(d.shape)) {
      d.status = Status::kInvalid;
      continue;
    }
    d.area = GetShapeArea(d.shape);
    size_t u = units.size();
    if (d.group >= 0) {
      const auto [it, fresh] = groupUnit.emplace(d.group, units.size());
      u = it->second;
      if (fresh) units.emplace_back();
    } else {
      units.emplace_back();
    }
    units[u].members.push_back(static_cast<int>(i));
    units[u].area += d.area;
  }

  // Orientations, copies (units of the same shapes, which share footprints) and the sizes
  // that order the units. Footprints are built when a unit's turn first comes and kept for the
  // other orders while the cache stays within kFootprintCacheBytes.
  const auto shapesOf = [&](const Unit& u) {
    std::vector<const CPolyPolyBezier*> shapes;
    for (int m : u.members) shapes.push_back(&m_shapes[static_cast<size_t>(m)].shape);
    return shapes;
  };
  const auto sameUnits = [&](const Unit& a, const Unit& b) {
    if (a.members.size() != b.members.size() || a.orientations != b.orientations) return false;
    for (size_t i = 0; i < a.members.size(); ++i)
      if (!SameSet(m_shapes[static_cast<size_t>(a.members[i])].shape,
                   m_shapes[static_cast<size_t>(b.members[i])].shape))
        return false;
    return true;
  };
  // Footprints of every class of copies, kept while within kFootprintCacheBytes.
  std::vector<std::vector<Footprint>> cache;
  std::vector<bool> built;
  std::size_t cacheBytes = 0;
  // The footprints of a unit's orientations that fit an empty sheet.
  const auto footprintsOf = [&](const Unit& u,
                                std::vector<Footprint>& scratch) -> const std::vector<Footprint>& {
    const size_t c = static_cast<size_t>(u.copyOf);
    if (built[c]) return cache[c];
    scratch.clear();
    for (const auto& [a, mirrored] : u.orientations) {
      // A quarter turn more than one built already is that footprint's pixels turned.
      const Footprint* base = nullptr;
      for (const Footprint& b : scratch) {
        const double turn =
            std::remainder(a - b.angle - std::numbers::pi / 2, 2 * std::numbers::pi);
        if (b.mirrored == mirrored && std::abs(turn) <= kQuarterTurnSlack) base = &b;
      }
      Footprint f;
      if (base != nullptr ? QuarterTurn(*base, a, usableW, usableH, f)
                          : MakeFootprint(shapesOf(u), a, mirrored, pixel, grow, o.partInPart,
                                          usableW, usableH, f))
        scratch.push_back(std::move(f));
    }
    std::size_t bytes = 0;
    for (const Footprint& f : scratch)
      bytes += f.spans.size() * sizeof(f.spans[0]) + f.rowStart.size() * sizeof(int);
    if (cacheBytes + bytes > kFootprintCacheBytes) return scratch;
    cacheBytes += bytes;
    cache[c] = std::move(scratch);
    built[c] = true;
    return cache[c];
  };
  std::vector<Footprint> scratch;
  bool cancelled = false;          // by the progress callback, or out of time before any placing
  std::vector<size_t> classFirst;  // the first unit of each class of copies
  std::map<std::pair<double, size_t>, std::vector<size_t>> byArea;  // classes by (area, size)
  for (size_t k = 0; k < units.size(); ++k) {
    if (timed && Clock::now() > deadline) {
      cancelled = true;  // out of time before placing: every unit is left stopped
      break;
    }
    Unit& u = units[k];
    const NestData& first = m_shapes[static_cast<size_t>(u.members[0])];
    std::vector<double> angles;
    for (double a : first.angles)
      if (std::isfinite(a) && angles.size() < kMaxNestAngles / 2) angles.push_back(a);
    if (angles.empty()) {
      const int steps = std::clamp(o.rotations, 1, kMaxRotationSteps);
      for (int i = 0; i < steps; ++i) angles.push_back(2 * std::numbers::pi * i / steps);
    }
    for (int mirror = 0; mirror < ((o.mirror && first.mirror) ? 2 : 1); ++mirror)
      for (double a : angles) u.orientations.emplace_back(a, mirror == 1);
    std::vector<size_t>& candidates = byArea[{u.area, u.members.size()}];
    for (size_t c : candidates)
      if (u.copyOf < 0 && sameUnits(units[classFirst[c]], u)) u.copyOf = static_cast<int>(c);
    if (u.copyOf >= 0) {
      const Unit& same = units[classFirst[static_cast<size_t>(u.copyOf)]];
      u.cells = same.cells, u.w = same.w, u.h = same.h;
      continue;
    }
    u.copyOf = static_cast<int>(classFirst.size());
    candidates.push_back(classFirst.size());
    classFirst.push_back(k);
    cache.emplace_back();
    built.push_back(false);
    const std::vector<Footprint>& prints = footprintsOf(u, scratch);
    if (!prints.empty()) u.cells = prints[0].cells, u.w = prints[0].w, u.h = prints[0].h;
  }

  // One placement of every unit in the given order: first fit over the sheets, bottom-left on
  // each. Later orders (extra) only improve on the first: their end by the time limit or a
  // cancel drops them, as does a need for more than sheetLimit sheets (the best's count, which
  // they could not beat: the best opened a sheet for every unit that found no room, unless
  // Options::maxSheets forbade it, which holds them too), and they report progress as all done.
  const int maxSheets = o.maxSheets > 0 ? o.maxSheets : std::numeric_limits<int>::max();
  std::unique_ptr<Sheet> empty;  // the bare sheet, to tell "too large" from "no room"
  const auto place = [&](const std::vector<size_t>& order, bool extra, size_t sheetLimit,
                         Outcome& out) {
    out.where.assign(units.size(), Transform());
    out.status.assign(units.size(), Status::kNotTried);
    std::vector<Sheet> sheets;
    bool stopped = cancelled;
    int done = 0;
    for (size_t idx : order) {
      const Unit& u = units[idx];
      Status& status = out.status[idx];
      if (stopped) {
        status = Status::kStopped;
        continue;
      }
      const std::vector<Footprint>& prints = footprintsOf(u, scratch);
      if (prints.empty()) {
        status = Status::kTooLarge;
      } else {
        Spot spot;
        size_t s = 0;
        for (; s < sheets.size() && !stopped; ++s) {
          spot = Search(sheets[s], prints, deadline, timed, stopped);
          if (spot.orientation >= 0) break;
        }
        if (spot.orientation < 0 && !stopped) {
          if (!empty)
            empty = std::make_unique<Sheet>(rasterW, rasterH, usableW, usableH, o.keepOut, pixel);
          spot = Search(*empty, prints, deadline, timed, stopped);
          if (spot.orientation < 0 && !stopped) {
            status = Status::kTooLarge;
          } else if (spot.orientation >= 0 && static_cast<int>(sheets.size()) >= maxSheets) {
            status = Status::kNoRoom;
            spot = Spot();
          } else if (spot.orientation >= 0 && extra && sheets.size() >= sheetLimit) {
            out.stopped = true;  // a later order that needs more sheets than the best: dropped
            return;
          } else if (spot.orientation >= 0) {
            sheets.push_back(*empty);
            out.sheetArea.push_back(0);
            s = sheets.size() - 1;
          }
        }
        if (stopped) {
          status = Status::kStopped;
        } else if (spot.orientation >= 0) {
          const Footprint& f = prints[static_cast<size_t>(spot.orientation)];
          sheets[s].Take(f, spot.x, spot.y);
          Transform& t = out.where[idx];
          t.m11 = f.map.m11, t.m12 = f.map.m12, t.m21 = f.map.m21, t.m22 = f.map.m22;
          t.dx = pixel * (spot.x - f.ox);
          t.dy = pixel * (spot.y - f.oy);
          t.angle = f.angle;
          t.mirrored = f.mirrored;
          t.sheet = static_cast<int>(s);
          status = Status::kPlaced;
          out.nested += static_cast<int>(u.members.size());
          out.sheetArea[s] += u.area;
        }
      }
      ++done;
      const int total = static_cast<int>(units.size());
      if (o.progress && !stopped && !o.progress(extra ? total : done, total))
        stopped = cancelled = true;
      if (timed && Clock::now() > deadline) stopped = true;
    }
    out.stopped = stopped;
  };

  // The first order: largest footprint first. Further orders while time and
  // Options::attempts allow; the best result is kept (most shapes placed, then fewest sheets,
  // then the fullest first sheet).
  std::vector<size_t> order(units.size());
  SortForAttempt(0, units, order);
  Outcome best;
  place(order, false, 0, best);
  const int attempts = std::clamp(o.attempts, 1, kMaxAttempts);
  for (int k = 1; k < attempts && !best.stopped && !cancelled; ++k) {
    SortForAttempt(k, units, order);
    Outcome next;
    place(order, true, best.sheetArea.size(), next);
    if (!next.stopped && Better(next, best)) best = std::move(next);
  }
  for (size_t k = 0; k < units.size(); ++k) {
    for (int m : units[k].members) {
      m_shapes[static_cast<size_t>(m)].transform = best.where[k];
      m_shapes[static_cast<size_t>(m)].status = best.status[k];
    }
  }
  m_sheetArea = best.sheetArea;
  m_nested = best.nested;
  m_seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return true;
}
