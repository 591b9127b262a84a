// install/safe_move.cpp: rename, or a complete copy across volumes.
#include "install/safe_move.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/file_fault.h"
#include "core/file_system.h"
#include "install/durability.h"
#include "install/stat_times.h"

namespace kitsetup {
namespace {

bool Exists(const char* path) {
  struct stat info {};
  return lstat(path, &info) == 0;
}

// Copies the regular file `from` to the new file `part`: every byte, the
// mode and both times, flushed. False on any failure.
bool CopyInto(const char* from, const struct stat& info, const std::string& part) {
  if (InjectedFileFault(FileOp::kCopy, from)) return false;
  const int in = open(from, O_RDONLY | O_CLOEXEC);
  if (in < 0) return false;
  const int out = open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (out < 0) {
    close(in);
    return false;
  }
  static thread_local char buffer[1 << 16];
  bool ok = true;
  for (;;) {
    const ssize_t n = read(in, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) ok = false;
    if (n <= 0) break;
    if (!WriteFully(out, buffer, static_cast<size_t>(n))) {
      ok = false;
      break;
    }
  }
  close(in);
  struct timespec times[2];
  StatTimes(info, times);
  ok = ok && fchmod(out, info.st_mode & 07777) == 0 && futimens(out, times) == 0;
  ok = ok && !InjectedFileFault(FileOp::kFlush, part.c_str()) && fsync(out) == 0;
  ok = close(out) == 0 && ok;
  return ok;
}

// Across volumes: a whole copy under a temporary name beside `to`, renamed
// into place, and only then the source removed.
uint32_t CopyAcross(const char* from, const char* to, const struct stat& info) {
  const std::string part = std::string(to) + ".kitsetup-part";
  if (!CopyInto(from, info, part) || InjectedFileFault(FileOp::kMove, part.c_str()) ||
      rename(part.c_str(), to) != 0) {
    unlink(part.c_str());
    return kErrInvalidParameter;
  }
  if (InjectedFileFault(FileOp::kRemove, from) || unlink(from) != 0) {
    // The source stays (a read-only folder): so must nothing else.
    unlink(to);
    return kErrInvalidParameter;
  }
  return kOk;
}

// mv, with its outcome looked at rather than its status: the source gone
// and the destination there. A failed mv across volumes may leave a part of
// the file at the destination; it goes, the source is the whole file.
uint32_t MoveByCommand(const TextString& from, const TextString& to, const char* src, const char* dst) {
  MoveFile(from, to);
  if (!Exists(src) && Exists(dst)) return kOk;
  if (Exists(src)) RemoveTree(to);
  return kErrInvalidParameter;
}

}  // namespace

uint32_t MoveWhole(const TextString& from, const TextString& to) {
  const ByteString src = ToLocaleBytes(from);
  const ByteString dst = ToLocaleBytes(to);
  struct stat info {};
  if (lstat(src.c_str(), &info) != 0)
    return errno == ENOENT || errno == ENOTDIR ? kErrNotFound : kErrInvalidParameter;
  if (InjectedFileFault(FileOp::kMove, src.c_str())) return kErrInvalidParameter;
  if (!FastPathsEnabled() || !S_ISREG(info.st_mode)) return MoveByCommand(from, to, src.c_str(), dst.c_str());
  if (rename(src.c_str(), dst.c_str()) == 0) return kOk;
  if (errno != EXDEV) return kErrInvalidParameter;
  return CopyAcross(src.c_str(), dst.c_str(), info);
}

}  // namespace kitsetup
