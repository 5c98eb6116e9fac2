// Reading a whole input file into memory, with a size limit.
#pragma once

#include <cstddef>
#include <string>

namespace plexa::io {

// Reads all of path ("-": standard input) into bytes. False, with a one-line reason naming the
// file, when it cannot be opened or read or holds more than max_bytes (reading stops there).
bool ReadAll(const std::string& path, std::string& bytes, std::size_t max_bytes,
             std::string& error);

}  // namespace plexa::io
