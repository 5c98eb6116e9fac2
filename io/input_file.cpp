#include "io/input_file.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace plexa::io {

bool InputFile::Open(const std::string& path, std::size_t max_bytes, std::string& error) {
  const bool stdin_ = path == "-";
  name_ = stdin_ ? "standard input" : "'" + path + "'";
  max_bytes_ = max_bytes;
  size_ = 0;
  // Standard input is read, never closed.
  file_ = {stdin_ ? stdin : std::fopen(path.c_str(), "rb"),
           stdin_ ? +[](std::FILE*) { return 0; } : &std::fclose};
  if (!file_) {
    error = "cannot open " + name_ + ": " + std::strerror(errno);
    return false;
  }
  struct stat st {};
  if (!stdin_ && ::fstat(::fileno(file_.get()), &st) == 0 && S_ISREG(st.st_mode) &&
      st.st_size > 0) {
    if (static_cast<std::uint64_t>(st.st_size) > max_bytes) {
      error = name_ + " is larger than " + std::to_string(max_bytes) + " bytes";
      return false;
    }
    size_ = static_cast<std::size_t>(st.st_size);
  }
  return true;
}

std::string InputFile::ReadError() const {
  if (!std::ferror(file_.get())) return {};
  return "cannot read " + name_ + ": " + std::strerror(errno);
}

bool InputFile::ReadRest(std::string& bytes, std::string& error) {
  // Straight into the string, no copy and no large stack buffer (a run that reads one small
  // image pays for every fresh page it touches): the rest of a regular file in one piece of its
  // size, any other stream in pieces that double. One byte past the limit tells an oversized
  // input.
  const std::size_t max = max_bytes_;
  const std::size_t limit = max < SIZE_MAX ? max + 1 : max;
  std::size_t piece = std::size_t{1} << 16;
  if (size_ > 0) piece = std::min((size_ > bytes.size() ? size_ - bytes.size() : 0) + 1, limit);
  // Each pass reads a full piece or ends the loop; the string never exceeds limit bytes.
  for (;;) {
    const std::size_t have = bytes.size();
    const std::size_t want = std::min(piece, limit - std::min(have, limit));
    bytes.resize(have + want);
    const std::size_t n = Read(bytes.data() + have, want);
    bytes.resize(have + n);
    if (bytes.size() > max) {
      error = name_ + " is larger than " + std::to_string(max) + " bytes";
      return false;
    }
    if (n < want) break;
    piece = std::min(2 * piece, limit);
  }
  if (std::string reason = ReadError(); !reason.empty()) {
    error = std::move(reason);
    return false;
  }
  return true;
}

bool ReadAll(const std::string& path, std::string& bytes, std::size_t max_bytes,
             std::string& error) {
  bytes.clear();
  InputFile in;
  return in.Open(path, max_bytes, error) && in.ReadRest(bytes, error);
}

}  // namespace plexa::io
