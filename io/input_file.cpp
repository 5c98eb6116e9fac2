#include "io/input_file.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
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
  // Straight into the string, no copy and no large stack buffer (a run that reads one small
  // image pays for every fresh page it touches): a regular file in one piece of its size, any
  // other stream in pieces that double. One byte past the limit tells an oversized input.
  const std::size_t limit = max_bytes < SIZE_MAX ? max_bytes + 1 : max_bytes;
  std::size_t piece = std::size_t{1} << 16;
  struct stat st {};
  if (!stdin_ && ::fstat(::fileno(file.get()), &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0) {
    if (static_cast<std::uint64_t>(st.st_size) > max_bytes) {  // refused before reading
      error = name + " is larger than " + std::to_string(max_bytes) + " bytes";
      return false;
    }
    piece = std::min(static_cast<std::size_t>(st.st_size) + 1, limit);
  }
  // Each pass reads a full piece or ends the loop; the string never exceeds limit bytes.
  for (;;) {
    const std::size_t have = bytes.size();
    const std::size_t want = std::min(piece, limit - have);
    bytes.resize(have + want);
    const std::size_t n = std::fread(bytes.data() + have, 1, want, file.get());
    bytes.resize(have + n);
    if (bytes.size() > max_bytes) {
      error = name + " is larger than " + std::to_string(max_bytes) + " bytes";
      return false;
    }
    if (n < want) break;
    piece = std::min(2 * piece, limit);
  }
  if (std::ferror(file.get())) {
    error = "cannot read " + name + ": " + std::strerror(errno);
    return false;
  }
  return true;
}

}  // namespace plexa::io
