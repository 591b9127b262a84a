// install/volume_folding_mac.cpp: case-insensitive volumes and the
// normalisation-insensitive file systems (APFS, HFS).
#include <sys/mount.h>
#include <sys/param.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

#include "install/volume_folding.h"

namespace kitsetup {
namespace {

std::atomic<VolumeFoldingHook> g_hook{nullptr};

}  // namespace

void SetVolumeFoldingHook(VolumeFoldingHook hook) { g_hook.store(hook); }

NameFolding VolumeFoldingOf(const ByteString& directory) {
  if (VolumeFoldingHook hook = g_hook.load()) return hook(directory);
  NameFolding folding;
  folding.foldsCase = pathconf(directory.c_str(), _PC_CASE_SENSITIVE) == 0;
  struct statfs volume {};
  if (statfs(directory.c_str(), &volume) == 0) {
    folding.foldsNormalisation = std::strcmp(volume.f_fstypename, "apfs") == 0 ||
                                 std::strcmp(volume.f_fstypename, "hfs") == 0;
  }
  return folding;
}

}  // namespace kitsetup
