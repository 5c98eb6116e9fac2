// The two failures the library raises: a bad index or size in an array, and an archive that
// cannot be read. Everything else in the library fails quietly (empty results, 0, -1, false).
#pragma once

#include <stdexcept>

#include "plexa/platform/export.h"

class PLEXA_API CInvalidArgException : public std::invalid_argument {
 public:
  CInvalidArgException() : std::invalid_argument("invalid argument") {}
  explicit CInvalidArgException(const char* what) : std::invalid_argument(what) {}
};

class PLEXA_API CArchiveException : public std::runtime_error {
 public:
  // The platform's cause codes; the library raises only endOfFile.
  enum {
    none = 0,
    genericException = 1,
    readOnly = 2,
    endOfFile = 3,
    writeOnly = 4,
    badIndex = 5,
    badClass = 6,
    badSchema = 7
  };
  explicit CArchiveException(int cause = none, const char* what = "archive failure")
      : std::runtime_error(what), m_cause(cause) {}
  int m_cause;
};

// The platform's raising helpers, kept under their familiar names.
[[noreturn]] inline void AfxThrowInvalidArgException() {
  throw CInvalidArgException();
}
[[noreturn]] inline void AfxThrowArchiveException(int cause) {
  throw CArchiveException(cause, cause == CArchiveException::endOfFile
                                     ? "archive: unexpected end of file"
                                     : "archive failure");
}
