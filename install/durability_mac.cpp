// install/durability_mac.cpp: macOS has no syncfs, and its fsync leaves data
// in the drive's cache. The journal takes F_BARRIERFSYNC: its record then
// reaches the disk before any later write, which is all a journal needs,
// without waiting for the whole cache. The run's files are fsynced one by
// one and then the cache flushed once with F_FULLFSYNC. Volumes that refuse
// these calls (SMB: ENOTSUP) get a plain fsync.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/file_fault.h"
#include "install/durability.h"

namespace kitsetup {
namespace {

int FullFlush(int fd) {
  if (fcntl(fd, F_FULLFSYNC) == 0) return 0;
  return fsync(fd) == 0 ? 0 : errno;
}

}  // namespace

int FlushFileData(int fd) {
  if (fcntl(fd, F_BARRIERFSYNC) == 0) return 0;
  return FullFlush(fd);
}

int FlushDirectory(const char* path) {
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return errno;
  const int result = FlushFileData(fd);
  close(fd);
  return result;
}

uint32_t FlushWrittenFiles(const TextString& directory, const std::vector<TextString>& files) {
  const std::string root = ExistingLevel(directory);
  if (InjectedFileFault(FileOp::kFlush, root.c_str())) return kErrInvalidParameter;
  for (const TextString& file : files) {
    const int fd = open(ToLocaleBytes(file).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return kErrInvalidParameter;
    const bool ok = fsync(fd) == 0;
    close(fd);
    if (!ok) return kErrInvalidParameter;
  }
  const int fd = open(root.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return kErrInvalidParameter;
  const int result = FullFlush(fd);
  close(fd);
  return result == 0 ? kOk : kErrInvalidParameter;
}

}  // namespace kitsetup
