// Writing an output file so that nothing is lost.
//
//   std::string error;
//   if (!plexa::io::WriteOutputFile("out.svg", text, error)) { report(error); return 1; }
//
// What each kind of path gets:
// - "-": standard output, written in place; a failed or short write is an error.
// - An existing device, named pipe or socket (e.g. /dev/full, /dev/stdout, a FIFO): opened
//   and written in place, never replaced; a failed write is an error.
// - An existing regular file: refused when it is read-only (no write permission bit, or not
//   writable by this user). Symbolic links are followed to the file they name, which is the
//   one replaced. A file with one link is replaced through a temporary file in its own folder
//   and a rename, keeping its permission bits and (where permitted) its owner, so a failed run
//   leaves the old content whole. A file with several hard links, or in a folder where no
//   temporary file can be made, is written in place so the links stay shared: its space is
//   reserved first (posix_fallocate where the file system supports it), then it is written
//   and cut to length. Extended attributes and ACLs of a replaced file are not carried over.
// - A new file: created through a temporary file and a rename, with the permissions of a
//   plain create (0666 less the umask). A dangling symbolic link gets its target created.
// On failure no temporary file is left behind and error holds one line naming the path. Files
// are not flushed to the disk (no fsync): durability across a power cut is the file system's.
#pragma once

#include <string>
#include <string_view>

namespace plexa::io {

bool WriteOutputFile(const std::string& path, std::string_view data, std::string& error);

}  // namespace plexa::io
