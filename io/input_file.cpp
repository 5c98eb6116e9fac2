#include "io/input_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace plexa::io {

bool ReadAll(const std::string& path, std::string& bytes, std::size_t max_bytes,
             std::string& error) {
  const bool stdin_ = path == "-";
  std::unique_ptr<FILE, int (*)(FILE*)> file(stdin_ ? stdin : std::fopen(path.c_str(), "rb"),
                                             stdin_ ? +[](FILE*) { return 0; } : &std::fclose);
  const std::string name = stdin_ ? "standard input" : "'" + path + "'";
  if (!file) {
    error = "cannot open " + name + ": " + std::strerror(errno);
    return false;
  }
  bytes.clear();
  char buf[65536];
  for (;;) {
    const std::size_t n = std::fread(buf, 1, sizeof buf, file.get());
    if (n == 0) break;
    if (bytes.size() + n > max_bytes) {
      error = name + " is larger than " + std::to_string(max_bytes) + " bytes";
      return false;
    }
    bytes.append(buf, n);
  }
  if (std::ferror(file.get())) {
    error = "cannot read " + name + ": " + std::strerror(errno);
    return false;
  }
  return true;
}

}  // namespace plexa::io
