// Envelopes: artwork is bent vertically between a top and a bottom boundary. The artwork's
// frame is a rectangle (left, top, right, bottom); its top edge becomes the top boundary and
// its bottom edge the bottom boundary, and every point keeps its x while its relative height
// between the two frame edges becomes the same relative height between the boundaries at its
// x. CEnvelop's boundaries are circular arcs through three points (left end, middle, right
// end) flattened into polylines; CEnvelopEx's are smooth poly-Beziers through five points at
// 0, 1/4, 1/2, 3/4 and 1 of the width. Offsets are signed y distances added to the frame edge.
//
//   CEnvelop env;
//   ENVELOP e{};  e.right = 100;  e.bottom = 100;   // frame (0,0)-(100,100), offsets zero
//   env.SetEnvelop(e);
//   env.SetType(1, 10);                             // top arc through (0,0), (50,10), (100,0)
//   set.ApplyEnvelop(env);                          // every y of every node mapped
//   ApplyEnvelopKeepCurves(set, env, 0.05);         // or: curves kept, within 0.05 units
//
// Invariants: a clean object (m_bDirty 0) holds boundaries built from its record; SetEnvelop
// and the constructor make it dirty and envelop/envelop_return rebuild lazily. Editing the
// record through env() does not mark it dirty: call CalcEnvelop or SetEnvelop afterwards.
// Whether y grows up or down is the host's business: top and bottom are the first and second
// y of the frame.
//
// Degenerate and non-finite input: a frame narrower or lower than 1e-8 is widened by 1e-8
// (written back into the record; at coordinates so large that 1e-8 is below their rounding
// step the width stays 0). Non-finite record fields give non-finite mapped y, never a hang:
// CalcArc, the arc walk and the curve evaluation are bounded. CEnvelopEx::CalcCurvePoint
// raises CInvalidArgException when the quarter index is not a node index (a frame of width 0
// or a NaN field makes it so). A frame height of exactly 0 behind the object's back divides
// by zero, unguarded, as designed.
//
// ApplyEnvelop: the containers CPolyPolyBezier and CPolyPolyDPoint declare ApplyEnvelop for
// both envelope kinds (plexa/geom/polypoly.h names the classes without including this
// header); the bodies live with the envelopes in envelope.cpp, so the path layer never
// depends on this one at compile time.
#pragma once

#include "plexa/core/types.h"
#include "plexa/geom/path.h"
#include "plexa/geom/polypoly.h"
#include "plexa/platform/array.h"
#include "plexa/platform/export.h"

// The frame and the six boundary offsets, ten doubles in this order.
struct ENVELOP {
  double left;
  double top;
  double right;
  double bottom;
  double topLeft;
  double topMiddle;
  double topRight;
  double bottomLeft;
  double bottomMiddle;
  double bottomRight;
};

// ENVELOP's ten fields followed by the four quarter offsets.
struct ENVELOPEX {
  double left;
  double top;
  double right;
  double bottom;
  double topLeft;
  double topMiddle;
  double topRight;
  double bottomLeft;
  double bottomMiddle;
  double bottomRight;
  double topQuarter;
  double topThreeQuarter;
  double bottomQuarter;
  double bottomThreeQuarter;
};

// Smallest frame width and height, and the guard of the mapping's divisions.
inline constexpr double kEnvelopEpsilon = 1e-8;

class PLEXA_API CEnvelop : public ENVELOP {
 public:
  // Every field 0, both arcs empty, dirty.
  CEnvelop();
  virtual ~CEnvelop();

  ENVELOP& env() { return *this; }
  CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& arcTop() { return m_arcTop; }
  CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& arcBot() { return m_arcBot; }

  void GetEnvelop(ENVELOP& e);
  // Copies the record in and marks the object dirty.
  void SetEnvelop(ENVELOP& e);
  // Presets; the listed fields are assigned (a repeated call gives the same shape), then the
  // arcs are rebuilt. v is the bend in units:
  //   1 top middle +v            2 bottom middle -v           3 both (1 and 2)
  //   4 top middle -v            5 bottom middle +v           6 bottom +v, top -v
  //   7 both middles +v          8 both middles -v
  //   9 top left +v, top middle v/2, bottom left -v, bottom middle -v/2
  //  10 the same on the right.
  // Any other type changes nothing and rebuilds only when the object was dirty.
  void SetType(int type, double v);
  // Rebuilds both arcs now (CalcArc through the three points of each boundary; two-point
  // fallback) after widening a degenerate frame; clears m_bDirty.
  void CalcEnvelop();
  // Height of a boundary polyline at x: y for an empty arc; the x (deliberately, not the y)
  // of a one-point arc; the first point's y left of the frame and the last's right of it;
  // else the y where the vertical through x meets the first segment whose range holds it
  // (GetLinesIntersection, IsPointInLineRange); y when none does.
  double CalcArcPoint(CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>& arc, double x, double y);
  // New y of (x, y): (y - (top+bottom)/2) * (B - T) / h + (B + T)/2 with T, B the boundary
  // heights at x and h = bottom - top (|h| < 1e-8 becomes sign(h) 1e-8; an exact 0 stays 0).
  double envelop(double x, double y);
  // The y a mapped point had before mapping, inside the frame; y unchanged left or right of
  // it. B - T below 1e-8 in magnitude is replaced by sign(B - T) 1e-8.
  double envelop_return(double x, double y);

  unsigned char m_bDirty;

 private:
  CArray<PLEXA::CDPOINT, PLEXA::CDPOINT> m_arcTop;
  CArray<PLEXA::CDPOINT, PLEXA::CDPOINT> m_arcBot;
};

class PLEXA_API CEnvelopEx {
 public:
  // Every field 0, both curves empty, dirty.
  CEnvelopEx();
  // Member-wise copy: record, flag and both curves.
  CEnvelopEx(const CEnvelopEx& other);
  CEnvelopEx& operator=(const CEnvelopEx& other);
  virtual ~CEnvelopEx();

  ENVELOPEX& env() { return m_env; }
  CBPointArray& curveTop() { return m_curveTop; }
  CBPointArray& curveBottom() { return m_curveBottom; }

  void GetEnvelop(ENVELOPEX& e);
  void SetEnvelop(ENVELOPEX& e);
  // Presets that add to the offsets (a repeated call bends further), with f = v/4, h = v/2:
  //  20 top: quarter -v, middle -h, right -f, three-quarter +f; bottom: quarter +v,
  //     three-quarter -f, right +f, middle +h
  //  21 top: left -f, quarter +f, middle -h, three-quarter -v, right +f; bottom: quarter -f,
  //     three-quarter +v, middle +h (bottom left and right untouched, as designed)
  //  22 the four quarter offsets -v       23 the four quarter offsets +v
  // then the curves are rebuilt. Any other type changes nothing and rebuilds only when dirty.
  void SetType(int type, double v);
  // Five smooth nodes per boundary (CBezierPoint::Smooth between the neighbouring anchors,
  // the ends against points 100 units further out at the same y); clears m_bDirty.
  void CalcEnvelop();
  // Boundary height at x: y for an empty curve, the anchor y of a one-node curve; else, with
  // q = width/4 and t = x clamped into the frame minus left, the y of the cubic from node
  // k = trunc(t/q) to node k+1 (to itself at the last node) at the parameter fmod(t, q)/q:
  // the parameter is the fraction of the quarter, not a solution for x, by design.
  // CInvalidArgException when k is not a node index.
  double CalcCurvePoint(CBPointArray& curve, double x, double y);
  double envelop(double x, double y);
  // No inverse, intended: rebuilds when dirty and returns y unchanged.
  double envelop_return(double x, double y);

  ENVELOPEX m_env;
  unsigned char m_bDirty;

 private:
  CBPointArray m_curveTop;
  CBPointArray m_curveBottom;
};

// ---- Curve-preserving application --------------------------------------------------------
//
// ApplyEnvelop moves the three points of every node, which bends the anchors exactly but not
// the curve between them: a straight line stays straight. These functions instead replace
// each segment by cubic pieces that follow the exact image of the segment under envelop(x, y)
// (the point form, applied to every point of the curve). Each piece's end points are the
// mapped end points and its controls are the source controls carried through the envelope's
// one-sided derivative at the ends (x is kept, so a piece and the exact image share x at
// every parameter); a piece whose y differs from the exact image's at the same parameter by
// more than 0.9 * `tolerance` at any of kEnvelopCheckSamples parameters is split in half and
// both halves are done again. A straight source segment (controls within 1e-8 of its anchors)
// first gets its controls at the thirds, so its image becomes a smooth curve.
//
// CEnvelop's boundaries are polylines (CalcArc's steps of at least 1 degree), so the exact
// image has small corners: a tolerance below their sagitta (r (1 - cos(step / 2)), about
// 4e-5 of the arc radius r) makes the pieces follow those corners and multiplies the nodes.
// Measured on a 100 x 100 mm rounded frame bent by a quarter of its height: 9 nodes become 15
// at 1 unit, 21 at 0.25 and about 530 at 0.01 (the sagitta there is 0.024).
//
// Result: the same node order, the original nodes keep their attribute words, inserted nodes
// have 0; measured against the point form sampled 2,000 times per segment the vertical error
// stays within the tolerance (envelope_test). Bounds: a segment is halved at most
// kEnvelopMaxDepth times, and once a path has kEnvelopMaxNodes nodes the remaining segments are
// mapped by their control points. Returns false, with the paths unchanged, for a tolerance
// that is not a positive finite number. Non-finite coordinates are mapped as they are, never
// subdivided.
// CEnvelopEx's CInvalidArgException (a frame without a valid quarter index) passes through;
// the path being mapped is then left as it was (paths of a set before it are done).
inline constexpr int kEnvelopMaxDepth = 12;
inline constexpr INT_PTR kEnvelopMaxNodes = INT_PTR{1} << 20;
inline constexpr int kEnvelopCheckSamples = 32;

PLEXA_API bool ApplyEnvelopKeepCurves(CBPointArray& path, CEnvelop& env, double tolerance);
PLEXA_API bool ApplyEnvelopKeepCurves(CBPointArray& path, CEnvelopEx& env, double tolerance);
PLEXA_API bool ApplyEnvelopKeepCurves(CPolyPolyBezier& set, CEnvelop& env, double tolerance);
PLEXA_API bool ApplyEnvelopKeepCurves(CPolyPolyBezier& set, CEnvelopEx& env, double tolerance);
