// install/template_lock_mac.cpp: open with O_EXLOCK (or O_SHLOCK) and
// O_NONBLOCK, which takes a flock-style lock atomically with the open. A busy
// lock fails the open with EAGAIN; a file system that cannot lock (SMB)
// fails it with ENOTSUP or EOPNOTSUPP.
#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include "install/template_lock.h"

namespace kitsetup {

DirectoryLockResult LockDirectoryNow(const char* path, bool exclusive, int* descriptor) {
  const int lock = exclusive ? O_EXLOCK : O_SHLOCK;
  int fd;
  while ((fd = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | lock)) < 0 && errno == EINTR) {
  }
  if (fd >= 0) {
    *descriptor = fd;
    return DirectoryLockResult::kLocked;
  }
  switch (errno) {
    case EAGAIN:
      return DirectoryLockResult::kBusy;
    case ENOTSUP:
#if EOPNOTSUPP != ENOTSUP
    case EOPNOTSUPP:
#endif
    case ENOLCK:
      return DirectoryLockResult::kUnsupported;
    case ENOENT:
    case ENOTDIR:
      return DirectoryLockResult::kMissing;
    default:
      return DirectoryLockResult::kUnopenable;
  }
}

}  // namespace kitsetup
