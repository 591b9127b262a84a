// Arbitrary bytes as an unpacked kit to the parser and its checks, then as a
// kit file through LoadKit. Neither reads or allocates beyond the input; a
// refusal is 13 with a reason and leaves no staging file.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

#include "fuzz/fuzz_scratch.h"
#include "kit/distribution_kit.h"
#include "kit/file_handle.h"
#include "kit/kit_parser.h"
#include "kit/kit_validator.h"

namespace {

// Every range a loaded kit's entries name lies inside its `size` bytes.
void CheckRanges(const kitsetup::DistributionKit& kit, uint64_t size) {
  for (const kitsetup::KitEntry& e : kit.entries)
    if (uint64_t{e.dataOffset} + e.dataSize > size) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzzscratch::Dir();
  // Cheap inputs, whatever the disk's free space.
  kitsetup::InflateLimits limits;
  limits.maxUnpackedBytes = 4u << 20;
  limits.minFreeBytes = 0;
  kitsetup::SetInflateLimits(limits);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  {
    kitsetup::DistributionKit kit;
    const std::string unpacked = fuzzscratch::WriteInput("unpacked", data, size);
    if (kitsetup::OpenFileHandle(testsupport::Text(unpacked), kitsetup::kAccessReadWrite, 0,
                                 kitsetup::kDispositionOpenExisting, &kit.dataHandle) != 0) {
      std::abort();
    }
    kitsetup::KitProblem problem;
    uint32_t code = kitsetup::ParseKit(kit, &problem);
    if (code == 0) code = kitsetup::ValidateKit(kit, kit.unpackedSize, &problem);
    if (code == 0) {
      CheckRanges(kit, size);
      kitsetup::TextString product, vendor;
      kitsetup::GetKitTexts(kit, testsupport::Text("en"), product, vendor);
      (void)kitsetup::GetDescriptionFile(kit, testsupport::Text("de"));
    } else if (code != 13 || problem.what.empty()) {
      std::abort();
    }
    kitsetup::CloseFileHandle(kit.dataHandle);
  }
  kitsetup::DistributionKit kit;
  kitsetup::KitProblem problem;
  const std::string file = fuzzscratch::WriteInput("kit.efd", data, size);
  const uint32_t code = kitsetup::LoadKit(kit, testsupport::Text(file), &problem);
  if (code == 0) {
    CheckRanges(kit, kit.unpackedSize);
    kitsetup::CloseFileHandle(kit.dataHandle);
    unlink(testsupport::Utf8(kit.stagingPath).c_str());
  } else if (code != 13 || problem.what.empty() || !kit.entries.empty() || kit.dataHandle != kitsetup::kNoHandle ||
             fuzzscratch::StagingFiles() != 0) {
    std::abort();
  }
  return 0;
}
