// plexa: two-dimensional geometry and vector-graphics mathematics for sign making and
// cutting. This umbrella header declares every exported class, function and platform record,
// in layer order, bottom to top (one folder a layer; docs/ARCHITECTURE.md).
//
//   #include "plexa/plexa.h"
//   CBPointArray path;  CPolyPolyBezier set;  CView3D view;  ...
#pragma once

// Kept in layer order, not sorted.
// clang-format off

// platform: records, failures, arrays, archive, strings, bitmaps and drawing.
#include "plexa/platform/archive.h"
#include "plexa/platform/array.h"
#include "plexa/platform/errors.h"
#include "plexa/platform/gdi.h"
#include "plexa/platform/records.h"
#include "plexa/platform/text.h"
#include "plexa/platform/font.h"
#include "plexa/platform/version.h"

// core: value types, planar geometry on points and polylines, the view transform.
#include "plexa/core/types.h"
#include "plexa/core/view3d.h"
#include "plexa/core/planar.h"
#include "plexa/core/circle.h"

// geom: Bezier segments, paths, path sets, the curve fitter.
#include "plexa/geom/bezier.h"
#include "plexa/geom/nearest.h"
#include "plexa/geom/path.h"
#include "plexa/geom/polypoly.h"
#include "plexa/geom/pathset.h"
#include "plexa/geom/setplanar.h"
#include "plexa/geom/fitcurve.h"

// raster: bitmaps and matrices, the tracers.
#include "plexa/raster/bitmatrix.h"
#include "plexa/raster/imgproc.h"
#include "plexa/raster/shapetrace.h"
#include "plexa/raster/imagetrace.h"
#include "plexa/raster/skeleton.h"
#include "plexa/raster/faithtrace.h"
#include "plexa/raster/autobreakup.h"
#include "plexa/raster/pxautotrace.h"
#include "plexa/raster/colourregions.h"
#include "plexa/raster/edgedetect.h"

// analysis: inside tests, intersections, fill lines, joins, hull, preview.
#include "plexa/analysis/collision.h"
#include "plexa/analysis/intersect.h"
#include "plexa/analysis/scanlines.h"
#include "plexa/analysis/connect.h"
#include "plexa/analysis/hull.h"
#include "plexa/analysis/preview.h"
#include "plexa/analysis/boolean.h"
#include "plexa/analysis/offset.h"
#include "plexa/analysis/vectoroffset.h"

// effects: envelopes, outline effects, the ellipse generator, the spiral.
#include "plexa/effects/envelope.h"
#include "plexa/effects/outline.h"
#include "plexa/effects/ellipse.h"
#include "plexa/effects/spiral.h"

// draw: colour conversions, string helpers, the world-to-screen mapping.
#include "plexa/draw/colour.h"
#include "plexa/draw/strings.h"
#include "plexa/draw/glyph.h"
#include "plexa/draw/scaledraw.h"

// layout: rectangle packing, the seedable generator, random placement, nesting.
#include "plexa/layout/pack.h"
#include "plexa/layout/random.h"
#include "plexa/layout/placement.h"
#include "plexa/layout/nest.h"
// clang-format on
