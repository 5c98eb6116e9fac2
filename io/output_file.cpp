#include "io/output_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace plexa::io {
namespace {

std::string Reason(const std::string& path, int err) {
  return "cannot write '" + path + "': " + std::strerror(err);
}

// Writes all of data to fd; false with errno set on a failed or stalled write.
bool WriteAllTo(int fd, std::string_view data) {
  std::size_t done = 0;
  // Each pass writes at least one byte or fails, so the loop ends after data.size() passes.
  while (done < data.size()) {
    const ssize_t n = ::write(fd, data.data() + done, data.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) {
      errno = EIO;
      return false;
    }
    done += static_cast<std::size_t>(n);
  }
  return true;
}

bool InPlace(const std::string& path, int flags, std::string_view data, bool reserve,
             std::string& error) {
  const int fd = ::open(path.c_str(), flags | O_CLOEXEC, 0666);
  if (fd < 0) {
    error = Reason(path, errno);
    return false;
  }
  bool ok = true;
  if (reserve && !data.empty()) {
    const int rc = ::posix_fallocate(fd, 0, static_cast<off_t>(data.size()));
    if (rc != 0 && rc != EOPNOTSUPP && rc != EINVAL) {
      errno = rc;
      ok = false;
    }
  }
  ok = ok && WriteAllTo(fd, data);
  if (ok && reserve && ::ftruncate(fd, static_cast<off_t>(data.size())) != 0) ok = false;
  int saved = ok ? 0 : errno;
  if (::close(fd) != 0 && ok) {
    ok = false;
    saved = errno;
  }
  if (!ok) error = Reason(path, saved);
  return ok;
}

// Creates a temporary file beside target; returns its descriptor (or -1 with errno set).
int MakeTemporary(const std::string& target, std::string& name) {
  name = target + ".XXXXXX";
  std::vector<char> buf(name.begin(), name.end());
  buf.push_back('\0');
  const int fd = ::mkstemp(buf.data());
  if (fd >= 0) name.assign(buf.data());
  return fd;
}

bool ViaRename(const std::string& target, const std::string& shown, std::string_view data,
               const struct stat* existing, std::string& error, bool& no_temporary) {
  std::string tmp;
  const int fd = MakeTemporary(target, tmp);
  if (fd < 0) {
    no_temporary = true;
    error = Reason(shown, errno);
    return false;
  }
  bool ok = true;
  if (existing != nullptr) {
    // Keep the owner where we may (root, or the owner already), then the mode bits. A temporary
    // that already has the file's owner and group (the usual case) is left as it is.
    struct stat made {};
    const bool same = ::fstat(fd, &made) == 0 && made.st_uid == existing->st_uid &&
                      made.st_gid == existing->st_gid;
    if (!same && ::fchown(fd, existing->st_uid, existing->st_gid) != 0) {
      // Not permitted: the file becomes ours, as a plain overwrite by this user would not do;
      // keep at least the group when we belong to it.
      [[maybe_unused]] const int ignored = ::fchown(fd, static_cast<uid_t>(-1), existing->st_gid);
    }
    ok = ::fchmod(fd, existing->st_mode & 07777) == 0;
  } else {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ok = ::fchmod(fd, 0666 & ~mask) == 0;
  }
  // No fsync: the rename already keeps a failed or interrupted run from touching the target, and
  // a flush to the disk costs more than the whole run of a small trace (batch jobs write
  // thousands of files). Surviving a power cut is left to the file system, as for other
  // command-line tools; ext4 and btrfs write a file's data before a rename that replaces one.
  ok = ok && WriteAllTo(fd, data);
  int saved = ok ? 0 : errno;
  if (::close(fd) != 0 && ok) {
    ok = false;
    saved = errno;
  }
  if (ok && std::rename(tmp.c_str(), target.c_str()) != 0) {
    ok = false;
    saved = errno;
  }
  if (!ok) {
    ::unlink(tmp.c_str());
    error = Reason(shown, saved);
  }
  return ok;
}

}  // namespace

bool WriteOutputFile(const std::string& path, std::string_view data, std::string& error) {
  if (path == "-") {
    if (WriteAllTo(STDOUT_FILENO, data)) return true;
    error = "cannot write to standard output: " + std::string(std::strerror(errno));
    return false;
  }
  if (path.empty()) {
    error = "cannot write '': no file name";
    return false;
  }
  // The path itself first: only a symbolic link needs looking through (stat, then realpath).
  struct stat st {};
  if (::lstat(path.c_str(), &st) != 0) {
    if (errno != ENOENT) {
      error = Reason(path, errno);
      return false;
    }
    bool no_temporary = false;
    return ViaRename(path, path, data, nullptr, error, no_temporary);
  }
  const bool link = S_ISLNK(st.st_mode);
  if (link && ::stat(path.c_str(), &st) != 0) {
    if (errno != ENOENT) {
      error = Reason(path, errno);
      return false;
    }
    // A dangling symbolic link: create its target.
    return InPlace(path, O_WRONLY | O_CREAT | O_TRUNC, data, false, error);
  }
  if (!S_ISREG(st.st_mode)) {
    if (S_ISDIR(st.st_mode)) {
      error = Reason(path, EISDIR);
      return false;
    }
    return InPlace(path, O_WRONLY, data, false, error);  // device, pipe, socket
  }
  if ((st.st_mode & 0222) == 0 || ::access(path.c_str(), W_OK) != 0) {
    error = "cannot write '" + path + "': the file is read-only";
    return false;
  }
  // The file a symbolic link names is the one replaced.
  std::unique_ptr<char, void (*)(void*)> real(link ? ::realpath(path.c_str(), nullptr) : nullptr,
                                              &std::free);
  const std::string target = real ? std::string(real.get()) : path;
  if (st.st_nlink == 1) {
    bool no_temporary = false;
    if (ViaRename(target, path, data, &st, error, no_temporary)) return true;
    if (!no_temporary) return false;
  }
  return InPlace(target, O_WRONLY, data, true, error);
}

}  // namespace plexa::io
