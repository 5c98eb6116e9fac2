#include "io/dxf_write.h"

#include <cstdio>
#include <string_view>
#include <vector>

#include "io/flatten.h"
#include "io/number.h"

namespace plexa::io {
namespace {

constexpr int kDecimals = 4;  // tenths of a micrometre

class Dxf {
 public:
  explicit Dxf(const PLEXA::CDRECT& box) : box_(box) {}
  void Code(int code, const std::string& value) {
    out_ += std::to_string(code);
    out_ += '\n';
    out_ += value;
    out_ += '\n';
  }
  void Code(int code, double value) {
    out_ += std::to_string(code);
    out_ += '\n';
    AppendNumber(out_, value, kDecimals);
    out_ += '\n';
  }
  void Point(int code, const PLEXA::CDPOINT& p, bool z) {
    Code(code, (p.x - box_.xmin) / kUnitsPerMm);
    Code(code + 10, (box_.ymax - p.y) / kUnitsPerMm);
    if (z) Code(code + 20, 0.0);
  }
  void Handle() {
    char buf[24];
    std::snprintf(buf, sizeof buf, "%X", next_++);
    Code(5, buf);
  }
  unsigned next() const { return next_; }
  std::string& out() { return out_; }

 private:
  PLEXA::CDRECT box_;
  std::string out_;
  unsigned next_ = 0x100;
};

// The DXF layer of every path: its item's layer name with forbidden characters made '_', or
// "0" when it has none (an empty name too).
std::vector<std::string> PathLayers(const Drawing& d) {
  std::vector<std::string> names(static_cast<size_t>(d.paths.GetSize()), "0");
  for (const Item& item : d.items) {
    if (item.layer < 0 || static_cast<size_t>(item.layer) >= d.layers.size()) continue;
    std::string name = d.layers[static_cast<size_t>(item.layer)];
    if (name.empty()) continue;
    for (char& c : name)
      if (static_cast<unsigned char>(c) < 0x20 ||
          std::string_view("<>/\\\":;?*|=`").find(c) != std::string_view::npos)
        c = '_';
    for (int p : item.paths)
      if (p >= 0 && p < d.paths.GetSize()) names[static_cast<size_t>(p)] = name;
  }
  return names;
}

}  // namespace

std::string WriteDxf(const Drawing& d, const WriteOptions& o) {
  const bool splines = o.dxf_curves == DxfCurves::kSplines;
  const bool r2000 = o.dxf_version == DxfVersion::kR2000 || splines;
  Dxf dxf(PageBox(d));
  dxf.Code(0, "SECTION");
  dxf.Code(2, "HEADER");
  dxf.Code(9, "$ACADVER");
  dxf.Code(1, r2000 ? "AC1015" : "AC1009");
  if (r2000) {  // R12 has no unit variables: its readers take the numbers as millimetres
    dxf.Code(9, "$INSUNITS");
    dxf.Code(70, "4");
    dxf.Code(9, "$MEASUREMENT");
    dxf.Code(70, "1");
  }
  dxf.Code(0, "ENDSEC");
  dxf.Code(0, "SECTION");
  dxf.Code(2, "ENTITIES");
  std::vector<PLEXA::CDPOINT> pts;
  const std::vector<std::string> layers = PathLayers(d);
  for (INT_PTR i = 0; i < d.paths.GetSize(); ++i) {
    const CBPointArray* p = d.paths.GetAt(static_cast<int>(i));
    const std::string& layer = layers[static_cast<size_t>(i)];
    if (p == nullptr || p->GetSize() < 2) continue;
    const bool closed = p->IsPolyBezierClosed();
    if (splines) {
      const int segments = static_cast<int>(p->GetSize() - 1);
      dxf.Code(0, "SPLINE");
      dxf.Handle();
      dxf.Code(100, "AcDbEntity");
      dxf.Code(8, layer);
      dxf.Code(100, "AcDbSpline");
      dxf.Code(210, 0.0);
      dxf.Code(220, 0.0);
      dxf.Code(230, 1.0);
      dxf.Code(70, "8");  // planar
      dxf.Code(71, "3");
      dxf.Code(72, std::to_string(3 * segments + 5));
      dxf.Code(73, std::to_string(3 * segments + 1));
      dxf.Code(74, "0");
      for (int k = 0; k < 4; ++k) dxf.Code(40, 0.0);
      for (int s = 1; s < segments; ++s)
        for (int k = 0; k < 3; ++k) dxf.Code(40, static_cast<double>(s));
      for (int k = 0; k < 4; ++k) dxf.Code(40, static_cast<double>(segments));
      dxf.Point(10, (*p)[0].anchor, true);
      for (int s = 0; s < segments; ++s) {
        dxf.Point(10, (*p)[s].out, true);
        dxf.Point(10, (*p)[s + 1].in, true);
        dxf.Point(10, (*p)[s + 1].anchor, true);
      }
      continue;
    }
    FlattenPath(*p, o.tolerance, pts);
    if (closed && pts.size() > 1) pts.pop_back();  // the closed flag draws the last edge
    if (r2000) {
      dxf.Code(0, "LWPOLYLINE");
      dxf.Handle();
      dxf.Code(100, "AcDbEntity");
      dxf.Code(8, layer);
      dxf.Code(100, "AcDbPolyline");
      dxf.Code(90, std::to_string(pts.size()));
      dxf.Code(70, closed ? "1" : "0");
      for (const PLEXA::CDPOINT& q : pts) dxf.Point(10, q, false);
    } else {
      dxf.Code(0, "POLYLINE");
      dxf.Code(8, layer);
      dxf.Code(66, "1");
      dxf.Code(10, 0.0);  // the polyline's own point: only its elevation counts
      dxf.Code(20, 0.0);
      dxf.Code(30, 0.0);
      dxf.Code(70, closed ? "1" : "0");
      for (const PLEXA::CDPOINT& q : pts) {
        dxf.Code(0, "VERTEX");
        dxf.Code(8, layer);
        dxf.Point(10, q, true);
      }
      dxf.Code(0, "SEQEND");
      dxf.Code(8, layer);
    }
  }
  dxf.Code(0, "ENDSEC");
  if (r2000) {
    dxf.Code(0, "SECTION");
    dxf.Code(2, "OBJECTS");
    dxf.Code(0, "ENDSEC");
  }
  dxf.Code(0, "EOF");
  return std::move(dxf.out());
}

}  // namespace plexa::io
