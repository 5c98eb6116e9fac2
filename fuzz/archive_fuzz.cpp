// Feeds arbitrary bytes to array loading: it must either load or raise CArchiveException,
// never crash, read out of bounds or allocate far beyond the bytes given.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "plexa/plexa.h"

template <typename A>
static void Load(const std::string& bytes) {
  std::stringstream s(bytes);
  CArchive ar(s, CArchive::load);
  A a;
  try {
    a.Serialize(ar);
  } catch (const CArchiveException&) {
  }
  if (static_cast<std::size_t>(a.GetAllocSize()) * sizeof(*a.GetData()) > bytes.size() + (2u << 20))
    __builtin_trap();
  a.Add({});  // the array stays usable
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string bytes(reinterpret_cast<const char*>(data + 1), size - 1);
  switch (data[0] % 3) {
    case 0:
      Load<CBPointArray>(bytes);
      break;
    case 1:
      Load<CArray<PLEXA::CDPOINT, PLEXA::CDPOINT>>(bytes);
      break;
    default:
      Load<CArray<double, const double&>>(bytes);
      break;
  }
  return 0;
}
