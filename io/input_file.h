// Reading an input file into memory, with a size limit: whole, or a piece at a time.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

namespace plexa::io {

// Reads all of path ("-": standard input) into bytes. False, with a one-line reason naming the
// file, when it cannot be opened or read or holds more than max_bytes (reading stops there).
bool ReadAll(const std::string& path, std::string& bytes, std::size_t max_bytes,
             std::string& error);

// An input file open for reading, for a reader that looks at the start before it decides how
// to read the rest:
//
//   InputFile in;
//   std::string head, error;
//   if (!in.Open(path, max_bytes, error)) ...;
//   ... in.Get() / in.Read(...) ...;
//   if (!in.ReadRest(head, error)) ...;   // head: the bytes taken so far, then the rest
//
// Messages name the file as ReadAll's do.
class InputFile {
 public:
  // Opens path ("-": standard input). False, with the reason in error, when it cannot be opened
  // or is a regular file of more than max_bytes (refused before anything is read).
  bool Open(const std::string& path, std::size_t max_bytes, std::string& error);
  // The next byte (0 .. 255), or EOF at the end or on a read error.
  int Get() { return std::getc(file_.get()); }
  // Reads up to n bytes into dst; fewer at the end of the file or on a read error.
  std::size_t Read(void* dst, std::size_t n) { return std::fread(dst, 1, n, file_.get()); }
  // After a short read: the one-line reason when it was a read error, else empty.
  std::string ReadError() const;
  // Appends the rest of the file to bytes (the bytes taken so far, as the caller kept them).
  // False, with the reason in error, on a read error or when the file holds more than max_bytes.
  bool ReadRest(std::string& bytes, std::string& error);

 private:
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_{nullptr, &std::fclose};
  std::string name_;  // as messages give it
  std::size_t max_bytes_ = 0;
  std::size_t size_ = 0;  // a regular file's size when known, else 0
};

}  // namespace plexa::io
