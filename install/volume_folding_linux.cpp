// install/volume_folding_linux.cpp: casefold directories and FAT volumes.
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <atomic>

#include "install/volume_folding.h"

#ifndef FS_CASEFOLD_FL
#define FS_CASEFOLD_FL 0x40000000
#endif

namespace kitsetup {
namespace {

std::atomic<VolumeFoldingHook> g_hook{nullptr};

const long kMsdosMagic = 0x4d44;      // vfat, msdos
const long kExfatMagic = 0x2011BAB0;  // exfat

}  // namespace

void SetVolumeFoldingHook(VolumeFoldingHook hook) { g_hook.store(hook); }

NameFolding VolumeFoldingOf(const ByteString& directory) {
  if (VolumeFoldingHook hook = g_hook.load()) return hook(directory);
  NameFolding folding;
  struct statfs volume {};
  if (statfs(directory.c_str(), &volume) == 0 &&
      (volume.f_type == kMsdosMagic || volume.f_type == kExfatMagic)) {
    folding.foldsCase = true;
    return folding;
  }
  const int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return folding;
  int flags = 0;
  // A casefold directory (and everything made in it) folds case with the
  // volume's Unicode encoding, which also normalises.
  if (ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0 && (flags & FS_CASEFOLD_FL)) {
    folding.foldsCase = true;
    folding.foldsNormalisation = true;
  }
  close(fd);
  return folding;
}

}  // namespace kitsetup
