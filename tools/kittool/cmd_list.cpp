// kittool list: loads a kit as the installer does and prints what it holds.
#include <sys/stat.h>
#include <time.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/sha256.h"
#include "kit/distribution_kit.h"
#include "kit/file_handle.h"
#include "kit/kit_entry.h"
#include "tools/kittool/cli_report.h"
#include "tools/kittool/cli_util.h"
#include "tools/kittool/commands.h"
#include "tools/kittool/interrupts.h"

namespace kittool {
namespace {

using kitsetup::DistributionKit;

const char kListUsage[] =
    "usage: kittool list [--json] [--hash] KIT\n"
    "\n"
    "Unpacks KIT into a staging file in the temporary directory ($TMPDIR), the\n"
    "way the installer does, and prints its descriptions and entries. The staging\n"
    "file is removed when the command ends.\n"
    "\n"
    "  --json     print one JSON object (schema 1):\n"
    "             {\"schema\": 1, \"kit\", \"kitSize\", \"kitSha256\",\n"
    "             \"descriptionFormat\", \"unpackedSize\", \"descriptions\": [{\"language\",\n"
    "             \"product\", \"vendor\", \"descriptionFile\"}], \"entries\": [{\"name\",\n"
    "             \"path\", \"size\", \"time\", \"writeTime\", \"dataOffset\", \"sha256\"}]}\n"
    "             name as stored (with \\), path with /, time as ISO-8601 UTC,\n"
    "             writeTime as stored (100-ns intervals since 1601-01-01 UTC),\n"
    "             dataOffset absolute in the unpacked kit\n"
    "  --hash     add each entry's SHA-256 (\"sha256\" in JSON)\n"
    "  --version  print the version\n"
    "\n"
    "Exit codes: 0 listed, 1 failed, 2 bad usage, 3 kit missing or refused.\n";

struct ListOptions {
  bool json = false;
  bool hash = false;
  const char* kit = nullptr;
};

// "2020-09-13T12:26:41Z"; the text form puts a blank and " UTC" instead.
std::string UtcText(uint64_t file_time, bool iso) {
  time_t seconds = static_cast<time_t>(kitsetup::FileTimeToUnixSeconds(file_time));
  struct tm parts;
  char text[40];
  if (!gmtime_r(&seconds, &parts) ||
      !strftime(text, sizeof text, iso ? "%Y-%m-%dT%H:%M:%SZ" : "%Y-%m-%d %H:%M:%S UTC", &parts)) {
    return "(bad time)";
  }
  return text;
}

void PrintJson(const DistributionKit& kit, const ListOptions& options, uint64_t kit_size,
               const std::string& kit_sha, const std::vector<std::string>& hashes) {
  std::printf("{\"schema\": 1, \"kit\": %s, \"kitSize\": %" PRIu64 ", \"kitSha256\": \"%s\", "
              "\"descriptionFormat\": %" PRIu32 ", \"unpackedSize\": %" PRIu64 ", \"descriptions\": [",
              JsonString(kitsetup::FromLocaleBytes(options.kit, std::strlen(options.kit))).c_str(), kit_size,
              kit_sha.c_str(), kit.descriptionFormat, kit.unpackedSize);
  for (size_t i = 0; i < kit.descriptions.size(); ++i) {
    const kitsetup::KitDescription& d = kit.descriptions[i];
    std::printf("%s{\"language\": %s, \"product\": %s, \"vendor\": %s, \"descriptionFile\": %s}", i ? ", " : "",
                JsonString(d.language).c_str(), JsonString(d.productName).c_str(), JsonString(d.vendorName).c_str(),
                JsonString(d.descriptionFile).c_str());
  }
  std::printf("], \"entries\": [");
  for (size_t i = 0; i < kit.entries.size(); ++i) {
    const kitsetup::KitEntry& e = kit.entries[i];
    std::printf("%s{\"name\": %s, \"path\": %s, \"size\": %" PRIu32 ", \"time\": \"%s\", \"writeTime\": %" PRIu64
                ", \"dataOffset\": %" PRIu32,
                i ? ", " : "", JsonString(e.name).c_str(), JsonString(kitsetup::EntryRelativePath(e.name)).c_str(),
                e.dataSize, UtcText(e.writeTime, true).c_str(), e.writeTime, e.dataOffset);
    if (options.hash) std::printf(", \"sha256\": \"%s\"", hashes[i].c_str());
    std::printf("}");
  }
  std::printf("]}\n");
}

void PrintText(const DistributionKit& kit, const ListOptions& options, uint64_t kit_size,
               const std::string& kit_sha, const std::vector<std::string>& hashes) {
  std::printf("kit: %s, %" PRIu64 " bytes, SHA-256 %s\n", options.kit, kit_size, kit_sha.c_str());
  std::printf("description format: %" PRIu32 " (%s)\n", kit.descriptionFormat,
              kit.descriptionFormat ? "counted table" : "legacy");
  std::printf("unpacked size: %" PRIu64 " bytes\n", kit.unpackedSize);
  std::printf("descriptions: %zu\n", kit.descriptions.size());
  for (const kitsetup::KitDescription& d : kit.descriptions) {
    std::printf("  [%s] product \"%s\", vendor \"%s\", description file \"%s\"\n", Utf8(d.language).c_str(),
                Utf8(d.productName).c_str(), Utf8(d.vendorName).c_str(), Utf8(d.descriptionFile).c_str());
  }
  std::printf("entries: %zu\n", kit.entries.size());
  for (size_t i = 0; i < kit.entries.size(); ++i) {
    const kitsetup::KitEntry& e = kit.entries[i];
    std::printf("  %s %12" PRIu32 "  %s%s%s\n", UtcText(e.writeTime, false).c_str(), e.dataSize,
                options.hash ? hashes[i].c_str() : "", options.hash ? "  " : "", Utf8(e.name).c_str());
  }
}

int ParseArguments(int argc, char** argv, ListOptions& options) {
  for (int i = 0; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--json")) {
      options.json = true;
    } else if (!std::strcmp(argv[i], "--hash")) {
      options.hash = true;
    } else if (argv[i][0] == '-' && argv[i][1] != '\0') {
      return UsageError("list", std::string("unknown option ") + argv[i]);
    } else if (options.kit) {
      return UsageError("list", "more than one KIT given");
    } else {
      options.kit = argv[i];
    }
  }
  return options.kit ? kExitOk : UsageError("list", "no KIT given");
}

// Each entry's SHA-256. 0, or the code of the failed read (1223 after a
// signal).
uint32_t HashEntries(const DistributionKit& kit, std::vector<std::string>& hashes) {
  hashes.assign(kit.entries.size(), std::string());
  for (size_t i = 0; i < kit.entries.size(); ++i) {
    if (Interrupted()) return kitsetup::kErrCancelled;
    if (uint32_t code = kitsetup::EntrySha256(kit, kit.entries[i], hashes[i])) return code;
  }
  return kitsetup::kOk;
}

}  // namespace

int RunList(int argc, char** argv) {
  for (int i = 0; i < argc; ++i) {
    if (IsHelpOption(argv[i])) {
      std::fputs(kListUsage, stdout);
      return kExitOk;
    }
  }
  ListOptions options;
  if (int code = ParseArguments(argc, argv, options)) return code;

  DistributionKit kit;
  if (int failed = LoadKitForCommand("list", options.kit, kit)) return failed;
  int exit_code = kExitOk;
  struct stat kit_info;
  int os_error = 0;
  const std::string kit_sha = kitsetup::Sha256OfFile(options.kit, &os_error);
  std::vector<std::string> hashes;
  uint32_t code = 0;
  if (kit_sha.empty() || stat(options.kit, &kit_info) != 0) {
    ReportError("list", options.kit, "cannot read the kit again", 0, os_error ? os_error : errno);
    exit_code = kExitFailed;
  } else if (options.hash && (code = HashEntries(kit, hashes)) != 0) {
    if (!Interrupted()) ReportError("list", options.kit, "cannot read an entry from the staging file", code);
    exit_code = kExitFailed;
  } else if (options.json) {
    PrintJson(kit, options, static_cast<uint64_t>(kit_info.st_size), kit_sha, hashes);
  } else {
    PrintText(kit, options, static_cast<uint64_t>(kit_info.st_size), kit_sha, hashes);
  }
  DiscardStaging(kit);
  if (Interrupted()) return InterruptedExit();
  return exit_code;
}

}  // namespace kittool
