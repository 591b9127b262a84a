// Arbitrary bytes as a compressed kit file, through LoadKit: inflation, the
// staging file, parsing and the checks. A refusal must leave no staging
// file behind.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

#include "fuzz/fuzz_scratch.h"
#include "kit/distribution_kit.h"
#include "kit/file_handle.h"
#include "kit/kit_validator.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzzscratch::Dir();
  // Keep each input cheap: a few MiB unpacked at most, and no dependence on
  // how full the disk happens to be.
  kitsetup::InflateLimits limits;
  limits.maxUnpackedBytes = 4u << 20;
  limits.minFreeBytes = 0;
  kitsetup::SetInflateLimits(limits);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = fuzzscratch::WriteInput("kit.efd", data, size);
  static kitsetup::DistributionKit kit;
  kit.descriptions.clear();
  kit.entries.clear();
  kit.stagingPath = kitsetup::TextString();
  kitsetup::KitProblem problem;
  const uint32_t code = kitsetup::LoadKit(kit, testsupport::Text(path), &problem);
  if (code == 0) {
    for (const kitsetup::KitEntry& e : kit.entries)
      if (uint64_t{e.dataOffset} + e.dataSize > kit.unpackedSize) std::abort();
    kitsetup::CloseFileHandle(kit.dataHandle);
    kit.dataHandle = kitsetup::kNoHandle;
    unlink(testsupport::Utf8(kit.stagingPath).c_str());
  } else if (code != 13 || !kit.entries.empty() || kit.dataHandle != kitsetup::kNoHandle ||
             fuzzscratch::StagingFiles() != 0) {
    std::abort();  // refusals are 13 and clean
  }
  return 0;
}
