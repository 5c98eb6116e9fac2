// Planar geometry on points, lines and polylines: angles, distances, intersections, bounds,
// lengths, even-odd inside tests, arcs and small in-place point transforms. Stateless free
// functions in the library's plane coordinates (x right, y as stored, nothing flipped).
//
//   double a = GetLinesAngle(1, 0, 0, 0, 0, 1);   // -pi/2: P1 is clockwise of P3 seen from P2
//   Rotate(&x, &y, cx, cy, M_PI / 2);              // in place, counter-clockwise positive
//
// One absolute epsilon, kPlanarEpsilon = 1e-8, decides zero, coincidence and parallelism.
#pragma once

#include "plexa/geom/types.h"

// Zero, coincidence and parallelism throughout the planar functions.
inline constexpr double kPlanarEpsilon = 1e-8;

// Signed angle at P2 from ray P2->P3 to ray P2->P1, in [-pi, pi], positive when P1 lies
// counter-clockwise of P3. 0 when any two of the points coincide (both differences < 1e-8).
double GetLinesAngle(double x1, double y1, double x2, double y2, double x3, double y3);

// Distance from P to the infinite line P1P2; the distance to P1 when |P1P2| < 1e-8.
double GetDistanceFromLine(double x1, double y1, double x2, double y2, double px, double py);

// Rotate (x, y) about (cx, cy) by a radians, counter-clockwise positive.
void Rotate(double* x, double* y, double cx, double cy, double a);
// The double rotation on widened values; a result below 1e-8 in magnitude is stored as 0.
void Rotate(float* x, float* y, float cx, float cy, double a);
// x = (x - cx) * sx + cx; y = (y - cy) * sy + cy.
void Stretch(double* x, double* y, double cx, double cy, double sx, double sy);
// The same, with a factor below 1e-8 in magnitude taken as 0.
void Stretch(float* x, float* y, float cx, float cy, double sx, double sy);
