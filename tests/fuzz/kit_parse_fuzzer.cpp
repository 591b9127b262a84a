// Arbitrary bytes as an unpacked kit: the parser and the checks on what it
// read must refuse or accept them without reading or allocating beyond the
// file, whatever the counts and sizes say.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "core/text_string.h"
#include "kit/distribution_kit.h"
#include "kit/file_handle.h"
#include "kit/kit_parser.h"
#include "kit/kit_validator.h"

namespace {

std::string g_dir;
std::string g_file;

void RemoveDir() {
  unlink(g_file.c_str());
  rmdir(g_dir.c_str());
}

kitsetup::TextString Text(const std::string& ascii) {
  kitsetup::TextString t;
  for (char c : ascii) t.push_back(static_cast<char16_t>(c));
  return t;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  char pattern[] = "/tmp/kit_parse_fuzz_XXXXXX";
  if (!mkdtemp(pattern)) std::abort();
  g_dir = pattern;
  g_file = g_dir + "/unpacked";
  setenv("TMPDIR", g_dir.c_str(), 1);
  std::atexit(RemoveDir);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  int fd = open(g_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (fd < 0) std::abort();
  if (size && write(fd, data, size) != static_cast<ssize_t>(size)) std::abort();
  close(fd);

  static kitsetup::DistributionKit kit;
  kit.descriptions.clear();
  kit.entries.clear();
  if (kitsetup::OpenFileHandle(Text(g_file), kitsetup::kAccessReadWrite, 0, kitsetup::kDispositionOpenExisting,
                               &kit.dataHandle) != 0) {
    std::abort();
  }
  kitsetup::KitProblem problem;
  uint32_t code = kitsetup::ParseKit(kit, &problem);
  if (code == 0) code = kitsetup::ValidateKit(kit, kit.unpackedSize, &problem);
  if (code == 0) {
    for (const kitsetup::KitEntry& e : kit.entries) {
      if (uint64_t{e.dataOffset} + e.dataSize > size) std::abort();  // a range the checks let through
    }
    kitsetup::TextString product, vendor;
    kitsetup::GetKitTexts(kit, Text("en"), product, vendor);
    (void)kitsetup::GetDescriptionFile(kit, Text("de"));
  } else if (code != 13 || problem.what.empty()) {
    std::abort();  // a refusal is always 13 with a reason
  }
  kitsetup::CloseFileHandle(kit.dataHandle);
  kit.dataHandle = kitsetup::kNoHandle;
  return 0;
}
