// install/template_lock_linux.cpp: open the directory, then flock it. Linux
// has no lock flag on open; flock on NFS is emulated with record locks and
// fails with ENOLCK where no lock daemon answers.
#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "install/template_lock.h"

namespace kitsetup {

DirectoryLockResult LockDirectoryNow(const char* path, bool exclusive, int* descriptor) {
  int fd = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return errno == ENOENT || errno == ENOTDIR ? DirectoryLockResult::kMissing
                                                         : DirectoryLockResult::kUnopenable;
  int rc;
  while ((rc = flock(fd, (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB)) != 0 && errno == EINTR) {
  }
  if (rc == 0) {
    *descriptor = fd;
    return DirectoryLockResult::kLocked;
  }
  const int why = errno;
  close(fd);
  if (why == EWOULDBLOCK) return DirectoryLockResult::kBusy;
  return DirectoryLockResult::kUnsupported;  // ENOLCK, ENOTSUP, EOPNOTSUPP, EINVAL
}

}  // namespace kitsetup
