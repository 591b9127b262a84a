// kittool list: loads a kit as the installer does and prints what it holds.
#include <time.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>

#include "core/encoding.h"
#include "kit/distribution_kit.h"
#include "kit/file_handle.h"
#include "tools/kittool/cli_util.h"
#include "tools/kittool/commands.h"
#include "tools/kittool/interrupts.h"

namespace kittool {
namespace {

using kitsetup::DistributionKit;

const char kListUsage[] =
    "usage: kittool list [--json] KIT\n"
    "\n"
    "Unpacks KIT into a staging file in the temporary directory ($TMPDIR), the\n"
    "way the installer does, and prints its descriptions and entries. The staging\n"
    "file is removed when the command ends.\n"
    "\n"
    "  --json  print one JSON object:\n"
    "          {\"descriptionFormat\": N, \"descriptions\": [{\"language\", \"product\",\n"
    "          \"vendor\", \"descriptionFile\"}], \"entries\": [{\"name\", \"writeTime\",\n"
    "          \"dataOffset\", \"dataSize\"}], \"unpackedSize\": N}\n"
    "          names as stored (with \\), dataOffset absolute in the unpacked kit,\n"
    "          writeTime in 100-ns intervals since 1601-01-01 UTC.\n"
    "\n"
    "Exit codes: 0 listed, 1 failed, 2 bad usage, 3 kit missing or damaged,\n"
    "128 + N ended by signal N (141: the reader closed the pipe).\n";

void PrintJson(const DistributionKit& kit) {
  std::printf("{\"descriptionFormat\": %" PRIu32 ", \"descriptions\": [", kit.descriptionFormat);
  for (size_t i = 0; i < kit.descriptions.size(); ++i) {
    const kitsetup::KitDescription& d = kit.descriptions[i];
    std::printf("%s{\"language\": %s, \"product\": %s, \"vendor\": %s, \"descriptionFile\": %s}",
                i ? ", " : "", JsonString(d.language).c_str(), JsonString(d.productName).c_str(),
                JsonString(d.vendorName).c_str(), JsonString(d.descriptionFile).c_str());
  }
  std::printf("], \"entries\": [");
  for (size_t i = 0; i < kit.entries.size() && !Interrupted(); ++i) {
    const kitsetup::KitEntry& e = kit.entries[i];
    std::printf("%s{\"name\": %s, \"writeTime\": %" PRIu64 ", \"dataOffset\": %" PRIu32
                ", \"dataSize\": %" PRIu32 "}",
                i ? ", " : "", JsonString(e.name).c_str(), e.writeTime, e.dataOffset, e.dataSize);
  }
  std::printf("], \"unpackedSize\": %" PRIu64 "}\n", kit.unpackedSize);
}

std::string UtcText(uint64_t file_time) {
  time_t seconds = static_cast<time_t>(kitsetup::FileTimeToUnixSeconds(file_time));
  struct tm parts;
  char text[32];
  if (!gmtime_r(&seconds, &parts) || !strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts)) {
    return "(bad time)";
  }
  return text;
}

void PrintText(const DistributionKit& kit) {
  std::printf("description format: %" PRIu32 " (%s)\n", kit.descriptionFormat,
              kit.descriptionFormat ? "counted table" : "legacy");
  std::printf("unpacked size: %" PRIu64 " bytes\n", kit.unpackedSize);
  std::printf("descriptions: %zu\n", kit.descriptions.size());
  for (const kitsetup::KitDescription& d : kit.descriptions) {
    std::printf("  [%s] product \"%s\", vendor \"%s\", description file \"%s\"\n",
                Utf8(d.language).c_str(), Utf8(d.productName).c_str(), Utf8(d.vendorName).c_str(),
                Utf8(d.descriptionFile).c_str());
  }
  std::printf("entries: %zu\n", kit.entries.size());
  for (const kitsetup::KitEntry& e : kit.entries) {
    if (Interrupted()) return;
    std::printf("  %s UTC %12" PRIu32 "  %s\n", UtcText(e.writeTime).c_str(), e.dataSize,
                Utf8(e.name).c_str());
  }
}

}  // namespace

int RunList(int argc, char** argv) {
  bool json = false;
  const char* kit_path = nullptr;
  for (int i = 0; i < argc; ++i) {
    if (IsHelpOption(argv[i])) {
      std::fputs(kListUsage, stdout);
      return kExitOk;
    }
    if (!std::strcmp(argv[i], "--json")) {
      json = true;
    } else if (argv[i][0] == '-' && argv[i][1] != '\0') {
      std::fprintf(stderr, "kittool list: unknown option '%s'\n\n%s", argv[i], kListUsage);
      return kExitUsage;
    } else if (kit_path) {
      std::fprintf(stderr, "kittool list: more than one KIT given\n\n%s", kListUsage);
      return kExitUsage;
    } else {
      kit_path = argv[i];
    }
  }
  if (!kit_path) {
    std::fprintf(stderr, "kittool list: no KIT given\n\n%s", kListUsage);
    return kExitUsage;
  }

  DistributionKit kit;
  if (int failed = LoadKitForCommand("list", kit_path, kit)) return failed;
  if (json) {
    PrintJson(kit);
  } else {
    PrintText(kit);
  }
  DiscardStaging(kit);
  const bool written = std::fflush(stdout) == 0;
  // A closed pipe (kittool list KIT | head -1) ends the listing quietly.
  if (Interrupted()) return InterruptedExit();
  if (!written) {
    std::fprintf(stderr, "kittool list: cannot write the listing\n");
    return kExitFailed;
  }
  return kExitOk;
}

}  // namespace kittool
