// install/durability_linux.cpp: fdatasync for a journal, and one syncfs of
// the template directory's file system for the run's files: measured here,
// an fsync per file costs more than the whole install, one syncfs at the end
// little (and it reports write-back errors since Linux 5.8).
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/file_fault.h"
#include "install/durability.h"

namespace kitsetup {

int FlushFileData(int fd) { return fdatasync(fd) == 0 ? 0 : errno; }

int FlushDirectory(const char* path) {
  const int fd = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return errno;
  const int result = fsync(fd) == 0 ? 0 : errno;
  close(fd);
  return result;
}

uint32_t FlushWrittenFiles(const TextString& directory, const std::vector<TextString>& /*files*/) {
  const std::string path = ExistingLevel(directory);
  if (InjectedFileFault(FileOp::kFlush, path.c_str())) return kErrInvalidParameter;
  const int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return kErrInvalidParameter;
  const bool ok = syncfs(fd) == 0;
  close(fd);
  return ok ? kOk : kErrInvalidParameter;
}

}  // namespace kitsetup
