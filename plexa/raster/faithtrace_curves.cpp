// Stage 3 of CFaithfulTrace: curves on the polygon.
//
// Each polygon vertex v owns the piece of outline from the midpoint of the edge before it to
// the midpoint of the edge after it. With h the distance of v from the chord joining the two
// midpoints, a cubic whose control points lie a fraction a of the way from each midpoint to v
// passes at distance (1 - 3a/4) h from v at its middle; a = (4/3)(1 - 1/(2h)) makes it pass
// half a pixel inside the vertex, the edge of the corridor the polygon was fitted in. When a
// exceeds the corner threshold the vertex is sharp (two straight pieces meeting at v);
// otherwise a is held within [kMinArm, 1] (control points never pass the vertex) and the piece
// is a smooth cubic, tangent to both edges at their midpoints.
//
// Merging: runs of consecutive smooth pieces turning the same way, through less than
// kMaxMergedTurn in all, are replaced by one cubic with the run's end points and end tangents
// when one fits: its two arm lengths by least squares over points sampled on the run, each
// arm held to the intersection of the end tangents, and every sample within the tolerance of
// the new curve (nearest points by Newton steps). Greedy from the start of each run, at most
// kMaxMerge pieces a curve. A run may also open with the outgoing half of a corner's edge and
// close with the incoming half of the next corner's: the corner points and the directions
// leaving them stay, the straight stretch beside a curve becomes part of it when the merged
// curve holds the tolerance (on small lettering about one segment in ten fewer, with the same
// fidelity). Straight pieces that continue one another (the halves of a
// polygon edge between two corners, collinear edges of a long straight stretch) are joined.
#include <algorithm>
#include <cmath>

#include "plexa/core/internal/numerics.h"
#include "plexa/raster/internal/faithtrace_stages.h"

namespace plexa::faith {

namespace {

using num::Cross;
using num::Dist;
using num::Dot;
using PLEXA::CDPOINT;

constexpr double kMinArm = 0.55;        // shortest control arm of a smooth piece (fraction)
constexpr double kFlatTurn = 0.02;      // radians: a vertex turning less goes either way
constexpr double kMaxMergedTurn = 3.1;  // radians (about 178 degrees) per merged curve
constexpr int kMaxMerge = 24;           // pieces per merged curve
constexpr int kSamplesPerPiece = 4;     // interior samples of each piece when merging
constexpr double kCollinear = 0.02;     // pixels: straight pieces joined when this near
// Newton's steps per sample when reparametrising (the tolerance check takes up to four).
constexpr int kRefitSteps = 1;
constexpr int kRefits = 2;  // reparametrisations of a merged curve's samples
// Newton's steps for a nearest point stop once the parameter moves less than this.
constexpr double kParamConverged = 1e-9;

using Piece = CurvePiece;

CDPOINT Sub(CDPOINT a, CDPOINT b) {
  return CDPOINT(a.x - b.x, a.y - b.y);
}
CDPOINT Add(CDPOINT a, CDPOINT b) {
  return CDPOINT(a.x + b.x, a.y + b.y);
}
CDPOINT Mul(CDPOINT a, double s) {
  return CDPOINT(a.x * s, a.y * s);
}
CDPOINT Unit(CDPOINT a) {
  const double l = num::Length(a);
  return l > 0 ? Mul(a, 1 / l) : CDPOINT(0, 0);
}

CDPOINT At(const Piece& c, double t) {
  return num::BezierPoint(c.p0, c.p1, c.p2, c.p3, t);
}

// Parameter of the point of the cubic c nearest s, by Newton's steps from t.
double NearestParam(const Piece& c, CDPOINT s, double t, int steps = 4) {
  // The cubic minus s in power form, B(t) - s = ((A t + B) t + C) t + D: point and
  // derivatives by Horner's rule.
  const double ax = c.p3.x - c.p0.x + 3 * (c.p1.x - c.p2.x);
  const double ay = c.p3.y - c.p0.y + 3 * (c.p1.y - c.p2.y);
  const double bx = 3 * (c.p0.x - 2 * c.p1.x + c.p2.x), by = 3 * (c.p0.y - 2 * c.p1.y + c.p2.y);
  const double cx = 3 * (c.p1.x - c.p0.x), cy = 3 * (c.p1.y - c.p0.y);
  const double dx = c.p0.x - s.x, dy = c.p0.y - s.y;
  for (int it = 0; it < steps; ++it) {
    const double rx = ((ax * t + bx) * t + cx) * t + dx, ry = ((ay * t + by) * t + cy) * t + dy;
    const double d1x = (3 * ax * t + 2 * bx) * t + cx, d1y = (3 * ay * t + 2 * by) * t + cy;
    const double d2x = 6 * ax * t + 2 * bx, d2y = 6 * ay * t + 2 * by;
    const double num1 = rx * d1x + ry * d1y;
    const double den = d1x * d1x + d1y * d1y + rx * d2x + ry * d2y;
    if (!(std::fabs(den) > 1e-12)) break;
    const double next = std::clamp(t - num1 / den, 0.0, 1.0);
    const bool done = std::fabs(next - t) < kParamConverged;
    t = next;
    if (done) break;
  }
  return t;
}

// Whether the cubic c passes within tol of s; t is a parameter near s's nearest point. The
// point at t itself answers most samples (the nearest point is no further away).
bool Within(const Piece& c, CDPOINT s, double t, double tol) {
  auto near = [&](double at) {
    const CDPOINT d = Sub(At(c, at), s);
    return d.x * d.x + d.y * d.y <= tol * tol;
  };
  return near(t) || near(NearestParam(c, s, t));
}

// One cubic for pieces[a..b] (indexes modulo the count); false when none fits.
bool FitRun(const CurveWork& work, std::size_t a, std::size_t b, double tol,
            std::vector<CDPOINT>& pts, std::vector<double>& u, Piece& out) {
  const std::vector<Piece>& pieces = work.pieces;
  const std::size_t n = pieces.size();
  const Piece& first = pieces[a % n];
  const Piece& last = pieces[b % n];
  const CDPOINT p0 = first.p0, p3 = last.p3;
  // A straight piece at either end (the half of a corner's edge) gives its own direction.
  const CDPOINT t0 = Unit(first.curve ? Sub(first.p1, first.p0) : Sub(first.p3, first.p0));
  const CDPOINT t1 = Unit(last.curve ? Sub(last.p3, last.p2) : Sub(last.p3, last.p0));
  // Where the end tangents meet: the arms may not pass it.
  const double den = Cross(t0, t1);
  if (std::fabs(den) < 1e-9) return false;
  const CDPOINT d = Sub(p3, p0);
  const double s = Cross(d, t1) / den, r = Cross(t0, d) / den;
  if (!(s > 0 && r > 0)) return false;

  pts.clear();
  u.clear();
  pts.push_back(p0);
  u.push_back(0);
  for (std::size_t k = a; k <= b; ++k)
    for (std::size_t q = (k % n) * kSamplesPerPiece, e = q + kSamplesPerPiece; q < e; ++q) {
      pts.push_back(work.pieceSamples[q]);
      u.push_back(u.back() + work.pieceSteps[q]);
    }
  const double total = u.back();
  if (!(total > 0)) return false;
  for (double& v : u) v /= total;

  out.curve = true;
  out.p0 = p0;
  out.p3 = p3;
  // Least squares for the two arms; while the curve misses the tolerance, the samples'
  // parameters move to their nearest points and the arms are fitted again (kRefits times).
  for (int pass = 0; pass <= kRefits; ++pass) {
    if (pass > 0)
      for (std::size_t k = 1; k + 1 < pts.size(); ++k)
        u[k] = NearestParam(out, pts[k], u[k], kRefitSteps);
    double c11 = 0, c12 = 0, c22 = 0, x1 = 0, x2 = 0;
    for (std::size_t k = 0; k < pts.size(); ++k) {
      const double t = u[k], w = 1 - t;
      const double b0 = w * w * w, b1 = 3 * w * w * t, b2 = 3 * w * t * t, b3 = t * t * t;
      const CDPOINT a1 = Mul(t0, b1), a2 = Mul(t1, -b2);
      const CDPOINT rest = Sub(pts[k], Add(Mul(p0, b0 + b1), Mul(p3, b2 + b3)));
      c11 += Dot(a1, a1);
      c12 += Dot(a1, a2);
      c22 += Dot(a2, a2);
      x1 += Dot(a1, rest);
      x2 += Dot(a2, rest);
    }
    const double det = c11 * c22 - c12 * c12;
    if (!(std::fabs(det) > 1e-12)) return false;
    double arm0 = (x1 * c22 - x2 * c12) / det, arm1 = (c11 * x2 - c12 * x1) / det;
    arm0 = std::min(arm0, s);
    arm1 = std::min(arm1, r);
    if (!(arm0 > 0 && arm1 > 0)) return false;
    out.p1 = Add(p0, Mul(t0, arm0));
    out.p2 = Sub(p3, Mul(t1, arm1));
    // Judged where the pieces meet and at their middles (every second sample).
    bool fits = true;
    for (std::size_t k = 2; k + 1 < pts.size() && fits; k += 2)
      fits = Within(out, pts[k], u[k], tol);
    if (fits) return true;
  }
  return false;
}

}  // namespace

void PlaceCurves(const std::vector<CDPOINT>& poly, double cornerThreshold, double optTolerance,
                 CurveWork& work, CBPointArray& out) {
  const std::size_t m = poly.size();
  if (m < 3) return;
  std::vector<Piece>& pieces = work.pieces;
  pieces.clear();
  for (std::size_t i = 0; i < m; ++i) {
    const CDPOINT& vp = poly[(i + m - 1) % m];
    const CDPOINT& v = poly[i];
    const CDPOINT& vn = poly[(i + 1) % m];
    const CDPOINT m0 = num::Lerp(vp, v, 0.5), m1 = num::Lerp(v, vn, 0.5);
    const double chord = Dist(m0, m1);
    const double h = chord > 0 ? std::fabs(Cross(m0, m1, v)) / chord : 0;
    const double alpha = h > 0.5 ? (4.0 / 3.0) * (1 - 0.5 / h) : 0;
    const double cr = Cross(Sub(v, vp), Sub(vn, v));
    Piece pc;
    pc.angle = std::fabs(std::atan2(cr, Dot(Sub(v, vp), Sub(vn, v))));
    pc.turn = pc.angle < kFlatTurn ? 0 : (cr > 0 ? 1 : -1);
    if (cornerThreshold <= 0 || alpha > cornerThreshold || chord <= 0) {
      pieces.push_back({false, m0, m0, v, v, pc.turn, pc.angle});
      pieces.push_back({false, v, v, m1, m1, pc.turn, pc.angle});
    } else {
      const double a = std::clamp(alpha, kMinArm, 1.0);
      pc.curve = true;
      pc.p0 = m0;
      pc.p1 = num::Lerp(m0, v, a);
      pc.p2 = num::Lerp(m1, v, a);
      pc.p3 = m1;
      pieces.push_back(pc);
    }
  }

  // Merge runs of smooth pieces, starting just after a straight piece when there is one.
  const std::size_t n = pieces.size();
  // Each piece's samples for merging, and the distance of each from the one before.
  work.pieceSamples.resize(n * kSamplesPerPiece);
  work.pieceSteps.resize(n * kSamplesPerPiece);
  for (std::size_t k = 0; k < n; ++k) {
    CDPOINT before = pieces[k].p0;
    for (int q = 1; q <= kSamplesPerPiece; ++q) {
      const CDPOINT at = At(pieces[k], static_cast<double>(q) / kSamplesPerPiece);
      work.pieceSamples[k * kSamplesPerPiece + q - 1] = at;
      work.pieceSteps[k * kSamplesPerPiece + q - 1] = Dist(before, at);
      before = at;
    }
  }
  // Start at the outgoing half of a corner that a smooth piece follows, else just after any
  // straight piece.
  std::size_t start = 0;
  for (std::size_t k = 0; k < n; ++k)
    if (!pieces[k].curve) {
      start = (k + 1) % n;
      break;
    }
  for (std::size_t k = 0; k < n; ++k)
    if (!pieces[k].curve && pieces[(k + 1) % n].curve) {
      start = k;
      break;
    }
  std::vector<Piece>& merged = work.merged;
  merged.clear();
  for (std::size_t k = 0; k < n;) {
    const Piece& here = pieces[(start + k) % n];
    std::size_t best = k;
    Piece fit;
    // A run may open with a corner's outgoing half and close with the next corner's incoming
    // half: the corners stay sharp, the straight stretch next to a curve joins it.
    const bool opens = here.curve || (k + 1 < n && pieces[(start + k + 1) % n].curve);
    if (opens && optTolerance > 0) {
      double turned = here.curve ? here.angle : 0;
      int turn = !here.curve || here.angle < kFlatTurn ? 0 : here.turn;
      for (std::size_t j = k + 1; j < n && j - k < static_cast<std::size_t>(kMaxMerge); ++j) {
        const Piece& next = pieces[(start + j) % n];
        const bool closes = !next.curve;
        if (!closes) turned += next.angle;
        if (turned > kMaxMergedTurn) break;
        // One turning direction a run (a vertex almost on its chord goes either way).
        if (!closes && next.turn != 0) {
          if (turn != 0 && next.turn != turn) break;
          turn = next.turn;
        }
        Piece trial;
        if (!FitRun(work, start + k, start + j, optTolerance, work.samples, work.params, trial))
          break;
        fit = trial;
        best = j;
        if (closes) break;
      }
    }
    merged.push_back(best > k ? fit : here);
    k = best + 1;
  }

  // Join straight pieces that continue one another.
  std::vector<Piece>& segs = work.segs;
  segs.clear();
  for (const Piece& p : merged) {
    if (!segs.empty() && !p.curve && !segs.back().curve) {
      Piece& q = segs.back();
      const double len = Dist(q.p0, p.p3);
      if (len > 0 && std::fabs(Cross(q.p0, p.p3, q.p3)) / len <= kCollinear &&
          Dot(Sub(q.p3, q.p0), Sub(p.p3, q.p3)) > 0) {
        q.p3 = q.p2 = p.p3;
        continue;
      }
    }
    segs.push_back(p);
  }
  while (segs.size() > 2 && !segs.front().curve && !segs.back().curve) {
    Piece& q = segs.back();
    const Piece& p = segs.front();
    const double len = Dist(q.p0, p.p3);
    if (!(len > 0 && std::fabs(Cross(q.p0, p.p3, q.p3)) / len <= kCollinear &&
          Dot(Sub(q.p3, q.p0), Sub(p.p3, q.p3)) > 0))
      break;
    q.p3 = q.p2 = p.p3;
    segs.erase(segs.begin());
  }

  const std::size_t s = segs.size();
  for (std::size_t k = 0; k <= s; ++k) {
    const Piece& cur = segs[k % s];
    const Piece& before = segs[(k + s - 1) % s];
    out.Add(PLEXA::CBPOINT(before.p2, cur.p0, cur.p1));
  }
}

}  // namespace plexa::faith
