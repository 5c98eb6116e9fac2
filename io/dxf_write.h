// Writing a drawing as DXF for cutting and CAM software: millimetres, y up (the page's lower
// left at the origin). Each path goes on the DXF layer named after its item's layer
// (Drawing::layers, e.g. one a nested sheet), with the characters DXF forbids in layer names
// (< > / \ " : ; ? * | = ` and controls) made '_'; paths of no item or no layer go on "0".
//
//   WriteOptions o; o.dxf_version = DxfVersion::kR2000; o.dxf_curves = DxfCurves::kSplines;
//   std::string dxf = plexa::io::WriteDxf(drawing, o);
//
// R12 (AC1009): HEADER and ENTITIES; each path a POLYLINE with its VERTEX entities and SEQEND,
// flagged closed (70 = 1) when the path is closed, curves flattened within o.tolerance.
// R2000 (AC1015): HEADER ($INSUNITS 4, millimetres), ENTITIES with handles and subclass
// markers, and an empty OBJECTS section; each path an LWPOLYLINE (flattened as above), or with
// kSplines a cubic SPLINE that is the path exactly: control points P0, P1, P2, P3, P1', ...,
// knots 0 0 0 0 1 1 1 2 2 2 ... k k k k for k segments. Splines need R2000: asking for them
// with R12 writes R2000. The R2000 file has no TABLES or BLOCKS sections: CAM programs and DXF
// libraries read it; a program that insists on complete tables should be given R12.
#pragma once

#include <string>

#include "io/write.h"

namespace plexa::io {

std::string WriteDxf(const Drawing& d, const WriteOptions& o);

}  // namespace plexa::io
