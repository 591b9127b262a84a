// kit/staging_file.cpp: staging-file locks and the removal of abandoned ones.
#include "kit/staging_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "core/encoding.h"
#include "core/error_codes.h"

namespace kitsetup {

uint32_t HoldStagingFile(FileHandle handle) {
  return flock(static_cast<int>(handle), LOCK_EX | LOCK_NB) == 0 ? kOk : kErrInvalidParameter;
}

size_t RemoveAbandonedStagingFiles(const TextString& temp_dir) {
  const ByteString dir_bytes = ToLocaleBytes(temp_dir);
  const std::string dir(dir_bytes.c_str(), dir_bytes.length());
  DIR* listing = opendir(dir.c_str());
  if (listing == nullptr) return 0;
  size_t removed = 0;
  while (const dirent* entry = readdir(listing)) {
    const std::string name = entry->d_name;
    if (name.compare(0, 3, "edf") != 0) continue;
    const std::string path = dir + name;
    const int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) continue;
    struct stat info {};
    // Holding the lock while the name goes keeps a live run's file safe: its
    // owner has it locked, so this never gets that far.
    if (fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && flock(fd, LOCK_EX | LOCK_NB) == 0 &&
        unlink(path.c_str()) == 0) {
      ++removed;
    }
    close(fd);
  }
  closedir(listing);
  return removed;
}

}  // namespace kitsetup
