// kittool verify: loads a kit as the installer does and reports the first
// thing that would make the installer refuse it.
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>

#include "core/encoding.h"
#include "kit/distribution_kit.h"
#include "tools/kittool/cli_util.h"
#include "tools/kittool/commands.h"

namespace kittool {
namespace {

const char kVerifyUsage[] =
    "usage: kittool verify KIT\n"
    "\n"
    "Unpacks KIT into a staging file in the temporary directory ($TMPDIR), the\n"
    "way the installer does, parses it and checks every record: sizes and\n"
    "strings inside their records, tables within their bounds (4096\n"
    "descriptions with 4 MiB of text, 1048576 entries with 64 MiB of names),\n"
    "entry names and description files that stay inside the template directory,\n"
    "hold no shell characters and convert to the current locale and back, entry\n"
    "names that each name one file of their own (no two alike once \\ reads as\n"
    "/, none inside another), and every entry's data inside the unpacked kit.\n"
    "The staging file is removed when the command ends.\n"
    "\n"
    "Exit codes: 0 the kit is sound; 3 it is missing or damaged (one line on\n"
    "standard error says which record failed which check); 1 the check itself\n"
    "failed (the temporary directory); 2 bad usage; 128 + N ended by signal N.\n";

}  // namespace

int RunVerify(int argc, char** argv) {
  const char* kit_path = nullptr;
  for (int i = 0; i < argc; ++i) {
    if (IsHelpOption(argv[i])) {
      std::fputs(kVerifyUsage, stdout);
      return kExitOk;
    }
    if (argv[i][0] == '-' && argv[i][1] != '\0') {
      std::fprintf(stderr, "kittool verify: unknown option '%s'\n\n%s", argv[i], kVerifyUsage);
      return kExitUsage;
    }
    if (kit_path) {
      std::fprintf(stderr, "kittool verify: more than one KIT given\n\n%s", kVerifyUsage);
      return kExitUsage;
    }
    kit_path = argv[i];
  }
  if (!kit_path) {
    std::fprintf(stderr, "kittool verify: no KIT given\n\n%s", kVerifyUsage);
    return kExitUsage;
  }

  kitsetup::DistributionKit kit;
  if (int failed = LoadKitForCommand("verify", kit_path, kit)) return failed;
  // The loader has checked every range already; this is the tool's own
  // statement of what "verified" means, kept next to its output.
  for (size_t i = 0; i < kit.entries.size(); ++i) {
    const kitsetup::KitEntry& e = kit.entries[i];
    if (uint64_t{e.dataOffset} + e.dataSize > kit.unpackedSize) {
      std::fprintf(stderr, "kittool verify: %s: entry record %zu: data reaches past the unpacked kit\n",
                   kit_path, i);
      DiscardStaging(kit);
      return kExitBadKit;
    }
  }
  std::printf("%s: ok: %zu descriptions, %zu entries, %" PRIu64 " bytes unpacked\n", kit_path,
              kit.descriptions.size(), kit.entries.size(), kit.unpackedSize);
  DiscardStaging(kit);
  return kExitOk;
}

}  // namespace kittool
