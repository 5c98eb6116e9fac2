// plexa: two-dimensional geometry and vector-graphics mathematics for sign making and
// cutting. This umbrella header declares every exported class, function and platform record,
// in layer order, bottom to top.
//
//   #include "plexa/plexa.h"
//   CBPointArray path;  CPolyPolyBezier set;  CView3D view;  ...
#pragma once

// Platform: records, failures, arrays, archive, strings, bitmaps and drawing.
#include "plexa/platform/archive.h"
#include "plexa/platform/array.h"
#include "plexa/platform/errors.h"
#include "plexa/platform/gdi.h"
#include "plexa/platform/records.h"
#include "plexa/platform/text.h"

// Value types and the view transform.
#include "plexa/geom/types.h"
#include "plexa/effects/view3d.h"

// Planar geometry.
#include "plexa/analysis/planar.h"
#include "plexa/analysis/circle.h"

// Bezier segment, nearest point and line clipping.
#include "plexa/geom/bezier.h"
#include "plexa/analysis/nearest.h"

// Paths and path sets.
#include "plexa/geom/path.h"
#include "plexa/geom/polypoly.h"
#include "plexa/geom/pathset.h"
#include "plexa/geom/setplanar.h"

// Curve analysis.
#include "plexa/analysis/collision.h"
#include "plexa/analysis/intersect.h"
#include "plexa/analysis/scanlines.h"
#include "plexa/analysis/fitcurve.h"
#include "plexa/analysis/connect.h"
#include "plexa/analysis/hull.h"

// Raster to vector.
#include "plexa/raster/bitmatrix.h"
#include "plexa/raster/imgproc.h"
#include "plexa/raster/shapetrace.h"

// Effects.
#include "plexa/effects/spiral.h"

// Layout.
#include "plexa/layout/pack.h"

// Presentation helpers.
#include "plexa/draw/colour.h"
#include "plexa/draw/strings.h"
