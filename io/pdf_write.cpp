#include "io/pdf_write.h"

#include <cstdio>
#include <vector>

#include "io/number.h"
#include "io/page_ops.h"

namespace plexa::io {

std::string WritePdf(const Drawing& d) {
  static constexpr PageOperators kOps{"m", "l", "c", "h", "f", "f*", "S", ""};
  double w = 0, h = 0;
  PageSize(d, w, h);
  const std::string content = "0 g 0 G 0.283 w\n" + PageContent(d, kOps);
  std::string out = "%PDF-1.4\n%\xE2\xE3\xCF\xD3\n";
  std::vector<std::size_t> offsets;
  const auto object = [&](const std::string& body) {
    offsets.push_back(out.size());
    out += std::to_string(offsets.size()) + " 0 obj\n" + body + "\nendobj\n";
  };
  object("<< /Type /Catalog /Pages 2 0 R >>");
  object("<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  std::string page = "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 ";
  AppendNumber(page, w, 3);
  page += ' ';
  AppendNumber(page, h, 3);
  page += "] /Resources << >> /Contents 4 0 R >>";
  object(page);
  object("<< /Length " + std::to_string(content.size()) + " >>\nstream\n" + content + "endstream");
  object("<< /Producer (plexa) >>");
  const std::size_t xref = out.size();
  out += "xref\n0 " + std::to_string(offsets.size() + 1) + "\n0000000000 65535 f \n";
  for (std::size_t at : offsets) {
    char entry[32];
    std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", at);
    out += entry;
  }
  out += "trailer\n<< /Size " + std::to_string(offsets.size() + 1) +
         " /Root 1 0 R /Info 5 0 R >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
  return out;
}

}  // namespace plexa::io
