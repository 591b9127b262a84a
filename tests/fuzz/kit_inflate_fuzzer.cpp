// Arbitrary bytes as a compressed kit file, through LoadKit: inflation, the
// staging file, parsing and the checks. A refusal must leave no staging
// file behind.
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/text_string.h"
#include "kit/distribution_kit.h"
#include "kit/file_handle.h"
#include "kit/kit_validator.h"

namespace {

std::string g_dir;
std::string g_kit;

kitsetup::TextString Text(const std::string& ascii) {
  kitsetup::TextString t;
  for (char c : ascii) t.push_back(static_cast<char16_t>(c));
  return t;
}

int StagingFiles() {
  int n = 0;
  if (DIR* d = opendir(g_dir.c_str())) {
    while (dirent* e = readdir(d)) n += std::strncmp(e->d_name, "edf", 3) == 0;
    closedir(d);
  }
  return n;
}

void RemoveDir() { std::system(("rm -rf '" + g_dir + "'").c_str()); }

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  char pattern[] = "/tmp/kit_inflate_fuzz_XXXXXX";
  if (!mkdtemp(pattern)) std::abort();
  g_dir = pattern;
  g_kit = g_dir + "/kit.efd";
  setenv("TMPDIR", g_dir.c_str(), 1);
  std::atexit(RemoveDir);
  // Keep each input cheap: a few MiB unpacked at most, and no dependence on
  // how full the disk happens to be.
  kitsetup::InflateLimits limits;
  limits.maxUnpackedBytes = 4u << 20;
  limits.minFreeBytes = 0;
  kitsetup::SetInflateLimits(limits);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  int fd = open(g_kit.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (fd < 0) std::abort();
  if (size && write(fd, data, size) != static_cast<ssize_t>(size)) std::abort();
  close(fd);

  static kitsetup::DistributionKit kit;
  kit.descriptions.clear();
  kit.entries.clear();
  kit.stagingPath = kitsetup::TextString();
  kitsetup::KitProblem problem;
  uint32_t code = kitsetup::LoadKit(kit, Text(g_kit), &problem);
  if (code == 0) {
    for (const kitsetup::KitEntry& e : kit.entries) {
      if (uint64_t{e.dataOffset} + e.dataSize > kit.unpackedSize) std::abort();
    }
    kitsetup::CloseFileHandle(kit.dataHandle);
    kit.dataHandle = kitsetup::kNoHandle;
    std::string staging;
    for (size_t i = 0; i < kit.stagingPath.length(); ++i) staging.push_back(static_cast<char>(kit.stagingPath[i]));
    unlink(staging.c_str());
  } else if (code != 13 || !kit.entries.empty() || kit.dataHandle != kitsetup::kNoHandle || StagingFiles() != 0) {
    std::abort();  // refusals are 13 and clean
  }
  return 0;
}
