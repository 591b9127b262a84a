// kit/staging_file.cpp: staging-file locks and the removal of abandoned ones.
#include "kit/staging_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/error_codes.h"

namespace kitsetup {

uint32_t HoldStagingFile(FileHandle handle) {
  return flock(static_cast<int>(handle), LOCK_EX | LOCK_NB) == 0 ? kOk : kErrInvalidParameter;
}

bool IsStagingFileName(const char* name) {
  for (size_t i = 0; kStagingPrefix[i] != 0; ++i) {
    if (name[i] != static_cast<char>(kStagingPrefix[i])) return false;
  }
  return true;
}

bool RemoveIfAbandonedStagingFile(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return false;
  struct stat info {};
  // Holding the lock while the name goes keeps a live run's file safe: its
  // owner has it locked, so this never gets that far.
  const bool removed = fstat(fd, &info) == 0 && S_ISREG(info.st_mode) &&
                       flock(fd, LOCK_EX | LOCK_NB) == 0 && unlink(path.c_str()) == 0;
  close(fd);
  return removed;
}

}  // namespace kitsetup
