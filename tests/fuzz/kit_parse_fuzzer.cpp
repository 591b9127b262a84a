// Arbitrary bytes as an unpacked kit: the parser and the checks on what it
// read must refuse or accept them without reading or allocating beyond the
// file, whatever the counts and sizes say.
#include <cstdint>
#include <cstdlib>

#include "fuzz/fuzz_scratch.h"
#include "kit/distribution_kit.h"
#include "kit/file_handle.h"
#include "kit/kit_parser.h"
#include "kit/kit_validator.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = fuzzscratch::WriteInput("unpacked", data, size);
  static kitsetup::DistributionKit kit;
  kit.descriptions.clear();
  kit.entries.clear();
  if (kitsetup::OpenFileHandle(testsupport::Text(path), kitsetup::kAccessReadWrite, 0,
                               kitsetup::kDispositionOpenExisting, &kit.dataHandle) != 0) {
    std::abort();
  }
  kitsetup::KitProblem problem;
  uint32_t code = kitsetup::ParseKit(kit, &problem);
  if (code == 0) code = kitsetup::ValidateKit(kit, kit.unpackedSize, &problem);
  if (code == 0) {
    for (const kitsetup::KitEntry& e : kit.entries)
      if (uint64_t{e.dataOffset} + e.dataSize > size) std::abort();  // a range the checks let through
    kitsetup::TextString product, vendor;
    kitsetup::GetKitTexts(kit, testsupport::Text("en"), product, vendor);
    (void)kitsetup::GetDescriptionFile(kit, testsupport::Text("de"));
  } else if (code != 13 || problem.what.empty()) {
    std::abort();  // a refusal is always 13 with a reason
  }
  kitsetup::CloseFileHandle(kit.dataHandle);
  kit.dataHandle = kitsetup::kNoHandle;
  return 0;
}
