// Bezier segment benchmarks on real curves: the curved segments of DejaVu Sans glyph outlines
// (bench/glyph_curves.py, run at configure time), or seeded random curves at glyph scale when
// the font is missing. Every operation is checked against a high-precision reference before
// it is timed, and its accuracy is printed next to its time:
//   arc length    relative error against adaptive Simpson integration to 1e-13
//   exact bounds  largest excess or shortfall against bounds from the derivative's roots
//                 refined by bisection
//   nearest point distance excess against a dense scan refined by Newton steps
//   flattening    largest distance from the curve to the polyline, and points per curve
// Peers, when installed (scripts/bench-peers.sh): lib2geom for length, bounds and nearest
// point; cairo's cairo_copy_path_flat for flattening, at the tolerance that matches plexa's
// measured flattening error.
//
// The summary table times every operation over all curves, 9 rounds, and prints the median
// thread-CPU nanoseconds per operation and the ratio plexa / peer (below 1: plexa is faster).
// Google Benchmark runs afterwards on the plexa operations for the usual statistics.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "plexa/plexa.h"

#ifdef PLEXA_PEER_2GEOM
#include <2geom/bezier-curve.h>
#endif
#ifdef PLEXA_PEER_CAIRO
#include <cairo.h>
#endif

using PLEXA::CDPOINT;
using PointList = CArray<CDPOINT, CDPOINT>;

namespace {

struct Query {
  CDPOINT p;
  double refDist;
};

std::vector<CBezier> g_curves;
std::vector<Query> g_queries;  // one per curve
std::vector<double> g_refLength;
std::vector<PLEXA::CDRECT> g_refBounds;
const char* g_source = "random";

double Dist(const CDPOINT& a, const CDPOINT& b) {
  return std::hypot(a.x - b.x, a.y - b.y);
}

void LoadCurves() {
#ifdef PLEXA_GLYPH_CURVES
  std::ifstream in(PLEXA_GLYPH_CURVES);
  double v[8];
  while (in >> v[0] >> v[1] >> v[2] >> v[3] >> v[4] >> v[5] >> v[6] >> v[7])
    g_curves.emplace_back(CDPOINT(v[0], v[1]), CDPOINT(v[2], v[3]), CDPOINT(v[4], v[5]),
                          CDPOINT(v[6], v[7]));
  if (!g_curves.empty()) g_source = "DejaVu Sans glyph outlines";
#endif
  if (g_curves.empty()) {
    std::mt19937 rng(1);
    std::uniform_real_distribution<double> u(0, 1000);
    for (int i = 0; i < 2000; ++i)
      g_curves.emplace_back(CDPOINT(u(rng), u(rng)), CDPOINT(u(rng), u(rng)),
                            CDPOINT(u(rng), u(rng)), CDPOINT(u(rng), u(rng)));
  }
}

// ---- references ----

double Speed(const CBezier& c, double t) {
  const CDPOINT* p = c.GetPoints();
  const double u = 1 - t;
  const CDPOINT d =
      (p[1] - p[0]) * (3 * u * u) + (p[2] - p[1]) * (6 * u * t) + (p[3] - p[2]) * (3 * t * t);
  return std::hypot(d.x, d.y);
}

double AdaptiveSimpson(const CBezier& c, double a, double b, double fa, double fm, double fb,
                       double whole, double tol, int depth) {
  const double m = (a + b) / 2, lm = (a + m) / 2, rm = (m + b) / 2;
  const double flm = Speed(c, lm), frm = Speed(c, rm);
  const double left = (m - a) / 6 * (fa + 4 * flm + fm), right = (b - m) / 6 * (fm + 4 * frm + fb);
  if (depth <= 0 || std::fabs(left + right - whole) <= 15 * tol)
    return left + right + (left + right - whole) / 15;
  return AdaptiveSimpson(c, a, m, fa, flm, fm, left, tol / 2, depth - 1) +
         AdaptiveSimpson(c, m, b, fm, frm, fb, right, tol / 2, depth - 1);
}

double ReferenceLength(const CBezier& c) {
  const double f0 = Speed(c, 0), fm = Speed(c, 0.5), f1 = Speed(c, 1);
  return AdaptiveSimpson(c, 0, 1, f0, fm, f1, (f0 + 4 * fm + f1) / 6, 1e-13, 40);
}

double ReferenceNearest(const CBezier& c, const CDPOINT& p) {
  constexpr int kScan = 2000;
  double best = 0, bestD = Dist(c.GetCurvePoint(0), p);
  for (int i = 1; i <= kScan; ++i) {
    const double d = Dist(c.GetCurvePoint(double(i) / kScan), p);
    if (d < bestD) bestD = d, best = double(i) / kScan;
  }
  // Golden-section inside the bracket, then the better of it and the scan.
  double lo = std::max(0.0, best - 1.0 / kScan), hi = std::min(1.0, best + 1.0 / kScan);
  for (int k = 0; k < 80; ++k) {
    const double m1 = lo + (hi - lo) * 0.381966011250105, m2 = hi - (hi - lo) * 0.381966011250105;
    if (Dist(c.GetCurvePoint(m1), p) < Dist(c.GetCurvePoint(m2), p))
      hi = m2;
    else
      lo = m1;
  }
  return std::min(bestD, Dist(c.GetCurvePoint((lo + hi) / 2), p));
}

PLEXA::CDRECT ReferenceBounds(const CBezier& c) {
  PLEXA::CDRECT r(c.GetPoint0().x, c.GetPoint0().x, c.GetPoint0().y, c.GetPoint0().y);
  const auto widen = [&](const CDPOINT& q) {
    r.xmin = std::min(r.xmin, q.x), r.xmax = std::max(r.xmax, q.x);
    r.ymin = std::min(r.ymin, q.y), r.ymax = std::max(r.ymax, q.y);
  };
  widen(c.GetPoint3());
  const CDPOINT* p = c.GetPoints();
  for (int axis = 0; axis < 2; ++axis) {
    const auto d = [&](double t) {
      const double u = 1 - t;
      const auto at = [axis](const CDPOINT& q) { return axis == 0 ? q.x : q.y; };
      return (at(p[1]) - at(p[0])) * u * u + 2 * (at(p[2]) - at(p[1])) * u * t +
             (at(p[3]) - at(p[2])) * t * t;
    };
    constexpr int kSteps = 512;  // sign changes of the derivative, refined by bisection
    for (int i = 0; i < kSteps; ++i) {
      double a = double(i) / kSteps, b = double(i + 1) / kSteps;
      if ((d(a) < 0) == (d(b) < 0)) continue;
      for (int k = 0; k < 80; ++k) {
        const double m = (a + b) / 2;
        ((d(a) < 0) == (d(m) < 0) ? a : b) = m;
      }
      widen(c.GetCurvePoint((a + b) / 2));
    }
  }
  return r;
}

// Largest distance from the curve (dense samples) to the polyline points[begin, end).
double CurveToPolyline(const CBezier& c, const CDPOINT* pts, std::size_t count) {
  double worst = 0;
  for (int i = 0; i <= 200; ++i) {
    const CDPOINT q = c.GetCurvePoint(i / 200.0);
    double best = 1e300;
    for (std::size_t k = 0; k + 1 < count; ++k) {
      const CDPOINT a = pts[k], b = pts[k + 1], ab = b - a;
      const double len2 = ab.x * ab.x + ab.y * ab.y;
      double s = len2 > 0 ? ((q.x - a.x) * ab.x + (q.y - a.y) * ab.y) / len2 : 0;
      s = std::clamp(s, 0.0, 1.0);
      best = std::min(best, Dist(q, a + ab * s));
    }
    worst = std::max(worst, best);
  }
  return worst;
}

void BuildReferences() {
  std::mt19937 rng(42);
  std::uniform_real_distribution<double> u(-0.3, 1.3);
  for (const CBezier& c : g_curves) {
    const PLEXA::CDRECT box = c.CalcTightRect();
    const double w = std::max({box.Width(), box.Height(), 1.0});
    const CDPOINT p(box.xmin + u(rng) * w, box.ymin + u(rng) * w);
    g_queries.push_back({p, ReferenceNearest(c, p)});
    g_refLength.push_back(ReferenceLength(c));
    g_refBounds.push_back(ReferenceBounds(c));
  }
}

// ---- timing ----

// Thread CPU time, so that other processes on a shared machine do not inflate the figures.
double ThreadNs() {
  timespec ts{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return double(ts.tv_sec) * 1e9 + double(ts.tv_nsec);
}

double MedianNsPerOp(const std::function<void()>& pass) {
  std::vector<double> rounds;
  for (int r = 0; r < 9; ++r) {
    const double t0 = ThreadNs();
    pass();
    rounds.push_back((ThreadNs() - t0) / double(g_curves.size()));
  }
  std::nth_element(rounds.begin(), rounds.begin() + 4, rounds.end());
  return rounds[4];
}

double g_sink = 0;

void Row(const char* op, double ns, const std::string& acc, double peerNs,
         const std::string& peerAcc) {
  if (peerNs > 0)
    std::printf("%-28s %9.1f  %-22s %9.1f  %-22s %6.2f\n", op, ns, acc.c_str(), peerNs,
                peerAcc.c_str(), ns / peerNs);
  else
    std::printf("%-28s %9.1f  %-22s %9s  %-22s %6s\n", op, ns, acc.c_str(), "-", "-", "-");
}

std::string Err(const char* what, double v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%s %.1e", what, v);
  return buf;
}

// ---- accuracy of each implementation over all curves ----

double LengthError(const std::function<double(const CBezier&)>& f) {
  double worst = 0;
  for (std::size_t i = 0; i < g_curves.size(); ++i)
    worst = std::max(worst,
                     std::fabs(f(g_curves[i]) - g_refLength[i]) / std::max(g_refLength[i], 1e-300));
  return worst;
}

double NearestError(const std::function<CDPOINT(const CBezier&, const CDPOINT&)>& f) {
  double worst = 0;
  for (std::size_t i = 0; i < g_curves.size(); ++i) {
    const Query& q = g_queries[i];
    worst = std::max(worst, Dist(f(g_curves[i], q.p), q.p) - q.refDist);
  }
  return worst;
}

double BoundsError(const std::function<PLEXA::CDRECT(const CBezier&)>& f) {
  double worst = 0;
  for (std::size_t i = 0; i < g_curves.size(); ++i) {
    const PLEXA::CDRECT a = f(g_curves[i]), b = g_refBounds[i];
    worst = std::max({worst, std::fabs(a.xmin - b.xmin), std::fabs(a.xmax - b.xmax),
                      std::fabs(a.ymin - b.ymin), std::fabs(a.ymax - b.ymax)});
  }
  return worst;
}

#ifdef PLEXA_PEER_2GEOM
Geom::CubicBezier ToGeom(const CBezier& c) {
  const CDPOINT* p = c.GetPoints();
  return Geom::CubicBezier(Geom::Point(p[0].x, p[0].y), Geom::Point(p[1].x, p[1].y),
                           Geom::Point(p[2].x, p[2].y), Geom::Point(p[3].x, p[3].y));
}
#endif

#ifdef PLEXA_PEER_CAIRO
// Flattens every curve with cairo; calls sink(curve index, points) for each.
struct Cairo {
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_A8, 1, 1);
  cairo_t* cr = cairo_create(surface);
  ~Cairo() {
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
  }
  template <typename Sink>
  void Flatten(const CBezier& c, std::vector<CDPOINT>& pts, Sink&& sink) {
    const CDPOINT* p = c.GetPoints();
    cairo_new_path(cr);
    cairo_move_to(cr, p[0].x, p[0].y);
    cairo_curve_to(cr, p[1].x, p[1].y, p[2].x, p[2].y, p[3].x, p[3].y);
    cairo_path_t* path = cairo_copy_path_flat(cr);
    pts.clear();
    for (int i = 0; i < path->num_data; i += path->data[i].header.length) {
      const cairo_path_data_t& d = path->data[i];
      if (d.header.type == CAIRO_PATH_MOVE_TO || d.header.type == CAIRO_PATH_LINE_TO)
        pts.emplace_back(path->data[i + 1].point.x, path->data[i + 1].point.y);
    }
    sink(pts);
    cairo_path_destroy(path);
  }
};
#endif

void Summary() {
  std::printf("\nplexa Bezier segment: %zu curves (%s); median of 9 rounds, ns per curve\n",
              g_curves.size(), g_source);
  std::printf("%-28s %9s  %-22s %9s  %-22s %6s\n", "operation", "plexa", "plexa accuracy", "peer",
              "peer accuracy", "ratio");

  // Arc length.
  const double eLen10 = LengthError([](const CBezier& c) { return c.GetLength(); });
  const double eLen64 = LengthError([](const CBezier& c) { return c.GetLength(0, 1, 64); });
  const double tLen10 = MedianNsPerOp([] {
    for (const CBezier& c : g_curves) g_sink += c.GetLength();
  });
  const double tLen64 = MedianNsPerOp([] {
    for (const CBezier& c : g_curves) g_sink += c.GetLength(0, 1, 64);
  });
  double tGeomLen = 0, eGeomLen = 0;
#ifdef PLEXA_PEER_2GEOM
  std::vector<Geom::CubicBezier> geom;
  for (const CBezier& c : g_curves) geom.push_back(ToGeom(c));
  {
    double worst = 0;
    for (std::size_t i = 0; i < geom.size(); ++i)
      worst = std::max(worst, std::fabs(geom[i].length(0.01) - g_refLength[i]) / g_refLength[i]);
    eGeomLen = worst;
    tGeomLen = MedianNsPerOp([&] {
      for (const auto& c : geom) g_sink += c.length(0.01);
    });
  }
#endif
  Row("length GetLength() n=10", tLen10, Err("rel", eLen10), tGeomLen, Err("rel", eGeomLen));
  Row("length GetLength(0,1,64)", tLen64, Err("rel", eLen64), tGeomLen, Err("rel", eGeomLen));

  // Exact bounds.
  const double eBox = BoundsError([](const CBezier& c) { return c.CalcTightRect(); });
  const double tBox = MedianNsPerOp([] {
    for (const CBezier& c : g_curves) g_sink += c.CalcTightRect().xmax;
  });
  double tGeomBox = 0, eGeomBox = 0;
#ifdef PLEXA_PEER_2GEOM
  {
    double worst = 0;
    for (std::size_t i = 0; i < geom.size(); ++i) {
      const Geom::Rect r = geom[i].boundsExact();
      const PLEXA::CDRECT& b = g_refBounds[i];
      worst = std::max({worst, std::fabs(r.left() - b.xmin), std::fabs(r.right() - b.xmax),
                        std::fabs(r.top() - b.ymin), std::fabs(r.bottom() - b.ymax)});
    }
    eGeomBox = worst;
    tGeomBox = MedianNsPerOp([&] {
      for (const auto& c : geom) g_sink += c.boundsExact().right();
    });
  }
#endif
  Row("exact bounds CalcTightRect", tBox, Err("abs", eBox), tGeomBox, Err("abs", eGeomBox));

  // Nearest point.
  const double eNear =
      NearestError([](const CBezier& c, const CDPOINT& p) { return c.GetNearestCurvePoint(p); });
  const double eNear2 = NearestError(
      [](const CBezier& c, const CDPOINT& p) { return c.GetNearestCurvePoint2(p, nullptr); });
  const double tNear = MedianNsPerOp([] {
    for (std::size_t i = 0; i < g_curves.size(); ++i)
      g_sink += g_curves[i].GetNearestCurvePointT(g_queries[i].p);
  });
  const double tNear2 = MedianNsPerOp([] {
    for (std::size_t i = 0; i < g_curves.size(); ++i)
      g_sink += g_curves[i].GetNearestCurvePointT2(g_queries[i].p, nullptr);
  });
  double tGeomNear = 0, eGeomNear = 0;
#ifdef PLEXA_PEER_2GEOM
  {
    double worst = 0;
    for (std::size_t i = 0; i < geom.size(); ++i) {
      const CDPOINT p = g_queries[i].p;
      const Geom::Point q = geom[i].pointAt(geom[i].nearestTime(Geom::Point(p.x, p.y)));
      worst = std::max(worst, Dist(CDPOINT(q.x(), q.y()), p) - g_queries[i].refDist);
    }
    eGeomNear = worst;
    tGeomNear = MedianNsPerOp([&] {
      for (std::size_t i = 0; i < geom.size(); ++i)
        g_sink += geom[i].nearestTime(Geom::Point(g_queries[i].p.x, g_queries[i].p.y));
    });
  }
#endif
  Row("nearest GetNearestCurvePointT", tNear, Err("excess", eNear), tGeomNear,
      Err("excess", eGeomNear));
  Row("nearest ...PointT2", tNear2, Err("excess", eNear2), tGeomNear, Err("excess", eGeomNear));

  // Flattening.
  PointList pts;
  double devAdaptive = 0, devUniform = 0;
  std::size_t nAdaptive = 0, nUniform = 0;
  for (const CBezier& c : g_curves) {
    pts.RemoveAll();
    c.GetPolyline(pts);
    nAdaptive += static_cast<std::size_t>(pts.GetSize());
    devAdaptive = std::max(
        devAdaptive, CurveToPolyline(c, pts.GetData(), static_cast<std::size_t>(pts.GetSize())));
    c.GetPolylineEx(pts);
    nUniform += static_cast<std::size_t>(pts.GetSize());
    devUniform = std::max(
        devUniform, CurveToPolyline(c, pts.GetData(), static_cast<std::size_t>(pts.GetSize())));
  }
  const double tAdaptive = MedianNsPerOp([&] {
    for (const CBezier& c : g_curves) {
      pts.RemoveAll();
      c.GetPolyline(pts);
      g_sink += double(pts.GetSize());
    }
  });
  const double tUniform = MedianNsPerOp([&] {
    for (const CBezier& c : g_curves) {
      c.GetPolylineEx(pts);
      g_sink += double(pts.GetSize());
    }
  });
  double tCairo = 0, devCairo = 0;
  std::size_t nCairo = 0;
#ifdef PLEXA_PEER_CAIRO
  {
    Cairo cairo;
    cairo_set_tolerance(cairo.cr, devAdaptive);  // the same accuracy as the adaptive flattening
    std::vector<CDPOINT> flat;
    for (const CBezier& c : g_curves) {
      cairo.Flatten(c, flat, [&](const std::vector<CDPOINT>& f) {
        nCairo += f.size();
        devCairo = std::max(devCairo, CurveToPolyline(c, f.data(), f.size()));
      });
    }
    tCairo = MedianNsPerOp([&] {
      for (const CBezier& c : g_curves)
        cairo.Flatten(c, flat, [](const std::vector<CDPOINT>& f) { g_sink += double(f.size()); });
    });
  }
#endif
  const double per = 1.0 / double(g_curves.size());
  char a[64], u[64], cairoAcc[64];
  std::snprintf(a, sizeof a, "dev %.2f, %.1f pts", devAdaptive, double(nAdaptive) * per);
  std::snprintf(u, sizeof u, "dev %.2f, %.1f pts", devUniform, double(nUniform) * per);
  std::snprintf(cairoAcc, sizeof cairoAcc, "dev %.2f, %.1f pts", devCairo, double(nCairo) * per);
  Row("flatten GetPolyline r=1", tAdaptive, a, tCairo, cairoAcc);
  Row("flatten GetPolylineEx r=1", tUniform, u, tCairo, cairoAcc);
  std::printf(
      "(peers: lib2geom length at tolerance 0.01, nearestTime, boundsExact; cairo_copy_path_flat "
      "at tolerance = plexa's adaptive deviation)\n\n");
}

// ---- Google Benchmark cases (plexa only) ----

void BM_Length(benchmark::State& state) {
  for (auto _ : state)
    for (const CBezier& c : g_curves) benchmark::DoNotOptimize(c.GetLength());
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(g_curves.size()));
}
BENCHMARK(BM_Length);

void BM_TFromLength(benchmark::State& state) {
  for (auto _ : state)
    for (std::size_t i = 0; i < g_curves.size(); ++i)
      benchmark::DoNotOptimize(g_curves[i].GetTFromLength(g_refLength[i] * 0.37));
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(g_curves.size()));
}
BENCHMARK(BM_TFromLength);

void BM_NearestT(benchmark::State& state) {
  for (auto _ : state)
    for (std::size_t i = 0; i < g_curves.size(); ++i)
      benchmark::DoNotOptimize(g_curves[i].GetNearestCurvePointT(g_queries[i].p));
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(g_curves.size()));
}
BENCHMARK(BM_NearestT);

void BM_NearestT2(benchmark::State& state) {
  for (auto _ : state)
    for (std::size_t i = 0; i < g_curves.size(); ++i)
      benchmark::DoNotOptimize(g_curves[i].GetNearestCurvePointT2(g_queries[i].p, nullptr));
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(g_curves.size()));
}
BENCHMARK(BM_NearestT2);

void BM_GetPolyline(benchmark::State& state) {
  PointList pts;
  for (auto _ : state)
    for (const CBezier& c : g_curves) {
      pts.RemoveAll();
      c.GetPolyline(pts);
      benchmark::DoNotOptimize(pts.GetData());
    }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(g_curves.size()));
}
BENCHMARK(BM_GetPolyline);

void BM_GetPolylineEx(benchmark::State& state) {
  PointList pts;
  for (auto _ : state)
    for (const CBezier& c : g_curves) {
      c.GetPolylineEx(pts);
      benchmark::DoNotOptimize(pts.GetData());
    }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(g_curves.size()));
}
BENCHMARK(BM_GetPolylineEx);

}  // namespace

int main(int argc, char** argv) {
  LoadCurves();
  BuildReferences();
  Summary();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return g_sink == 12345.678 ? 1 : 0;  // keeps the summary's results alive
}
