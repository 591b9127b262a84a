// kittool verify: loads a kit as the installer does and reports the first
// thing that would make the installer refuse it; with --against, compares
// the kit with a folder as `tar --compare` does.
#include <sys/stat.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "core/encoding.h"
#include "core/sha256.h"
#include "kit/distribution_kit.h"
#include "kit/file_handle.h"
#include "kit/kit_entry.h"
#include "tools/kittool/cli_report.h"
#include "tools/kittool/cli_util.h"
#include "tools/kittool/interrupts.h"
#include "tools/kittool/commands.h"
#include "tools/kittool/tree_walk.h"

namespace kittool {
namespace {

using kitsetup::TextString;

const char kVerifyUsage[] =
    "usage: kittool verify [--json] [--against DIR] KIT\n"
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
    "  --against DIR  also compare the kit with DIR, as an installed template\n"
    "                 directory: one line per difference (\"PATH: missing\",\n"
    "                 \"PATH: extra\", \"PATH: content differs\", \"PATH: time\n"
    "                 differs\", \"PATH: not a regular file\")\n"
    "  --json         print one JSON object (schema 1): {\"schema\": 1, \"kit\",\n"
    "                 \"result\": \"ok\" | \"different\" | \"refused\" | \"failed\", \"code\",\n"
    "                 \"message\", \"descriptions\", \"entries\", \"unpackedSize\",\n"
    "                 \"against\", \"differences\": [{\"path\", \"kind\"}]}\n"
    "  --version      print the version\n"
    "\n"
    "Exit codes: 0 the kit is sound (and matches DIR); 1 the kit differs from\n"
    "DIR, or the check itself failed (the temporary directory); 2 bad usage;\n"
    "3 the kit is missing or refused (one line on standard error says which\n"
    "record failed which check); 128 + N ended by signal N.\n";

struct VerifyOptions {
  bool json = false;
  const char* against = nullptr;
  const char* kit = nullptr;
};

struct Difference {
  std::string path;  // relative, with "/", locale bytes
  const char* kind;  // missing, extra, content, time, type
};

const char* KindText(const char* kind) {
  if (!std::strcmp(kind, "missing")) return "missing";
  if (!std::strcmp(kind, "extra")) return "extra (not in the kit)";
  if (!std::strcmp(kind, "content")) return "content differs";
  if (!std::strcmp(kind, "time")) return "time differs";
  return "not a regular file";
}

int ParseArguments(int argc, char** argv, VerifyOptions& options) {
  for (int i = 0; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--json")) {
      options.json = true;
    } else if (!std::strcmp(argv[i], "--against")) {
      if (i + 1 >= argc) return UsageError("verify", "--against needs a directory");
      options.against = argv[++i];
    } else if (argv[i][0] == '-' && argv[i][1] != '\0') {
      return UsageError("verify", std::string("unknown option ") + argv[i]);
    } else if (options.kit) {
      return UsageError("verify", "more than one KIT given");
    } else {
      options.kit = argv[i];
    }
  }
  return options.kit ? kExitOk : UsageError("verify", "no KIT given");
}

// Compares the loaded kit with the folder. Returns kExitOk with the
// differences filled in, or kExitFailed after an error line.
int Compare(const kitsetup::DistributionKit& kit, const std::string& dir, std::vector<Difference>& differences) {
  std::set<std::string> in_kit;
  for (const kitsetup::KitEntry& e : kit.entries) {
    if (Interrupted()) return kExitFailed;
    const kitsetup::ByteString bytes = kitsetup::ToLocaleBytes(kitsetup::EntryRelativePath(e.name));
    const std::string relative(bytes.c_str(), bytes.length());
    in_kit.insert(relative);
    const std::string path = dir + "/" + relative;
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) {
      differences.push_back({relative, "missing"});
      continue;
    }
    if (!S_ISREG(st.st_mode)) {
      differences.push_back({relative, "type"});
      continue;
    }
    bool same = static_cast<uint64_t>(st.st_size) == e.dataSize;
    if (same) {
      std::string kit_hash;
      int os_error = 0;
      const std::string file_hash = kitsetup::Sha256OfFile(path, &os_error);
      if (file_hash.empty()) {
        ReportError("verify", path, "cannot read", 0, os_error);
        return kExitFailed;
      }
      if (uint32_t code = kitsetup::EntrySha256(kit, e, kit_hash)) {
        ReportError("verify", dir, "cannot read an entry from the staging file", code);
        return kExitFailed;
      }
      same = kit_hash == file_hash;
    }
    if (!same) differences.push_back({relative, "content"});
    if (kitsetup::FileTimeToUnixSeconds(e.writeTime) != static_cast<int64_t>(st.st_mtime)) {
      differences.push_back({relative, "time"});
    }
  }
  std::string error;
  int os_error = 0;
  auto visit = [&](const TreeItem& item) {
    if (!in_kit.count(item.relative)) differences.push_back({item.relative, "extra"});
    return true;
  };
  if (!WalkTree(dir, false, visit, error, os_error)) {
    ReportError("verify", dir, error, 0, os_error);
    return kExitFailed;
  }
  return kExitOk;
}

void PrintJson(const VerifyOptions& options, const char* result, uint32_t code, const std::string& message,
               const kitsetup::DistributionKit& kit, const std::vector<Difference>& differences) {
  auto text = [](const char* bytes) { return JsonString(kitsetup::FromLocaleBytes(bytes, std::strlen(bytes))); };
  std::printf("{\"schema\": 1, \"kit\": %s, \"result\": \"%s\", \"code\": %" PRIu32 ", \"message\": %s, "
              "\"descriptions\": %zu, \"entries\": %zu, \"unpackedSize\": %" PRIu64,
              text(options.kit).c_str(), result, code, JsonString(kitsetup::FromLocaleBytes(message.data(), message.size())).c_str(),
              kit.descriptions.size(), kit.entries.size(), kit.unpackedSize);
  if (options.against) {
    std::printf(", \"against\": %s, \"differences\": [", text(options.against).c_str());
    for (size_t i = 0; i < differences.size(); ++i) {
      std::printf("%s{\"path\": %s, \"kind\": \"%s\"}", i ? ", " : "", text(differences[i].path.c_str()).c_str(),
                  differences[i].kind);
    }
    std::printf("]");
  }
  std::printf("}\n");
}

}  // namespace

int RunVerify(int argc, char** argv) {
  for (int i = 0; i < argc; ++i) {
    if (IsHelpOption(argv[i])) {
      std::fputs(kVerifyUsage, stdout);
      return kExitOk;
    }
  }
  VerifyOptions options;
  if (int code = ParseArguments(argc, argv, options)) return code;

  kitsetup::DistributionKit kit;
  kitsetup::KitProblem problem;
  uint32_t code = 0;
  std::vector<Difference> differences;
  if (int failed = LoadKitForCommand("verify", options.kit, kit, &problem, &code)) {
    if (options.json) PrintJson(options, failed == kExitBadKit ? "refused" : "failed", code, problem.what, kit, differences);
    return failed;
  }
  int exit_code = options.against ? Compare(kit, options.against, differences) : kExitOk;
  DiscardStaging(kit);
  if (Interrupted()) return InterruptedExit();
  if (exit_code != kExitOk) return exit_code;
  if (!differences.empty()) exit_code = kExitFailed;
  if (options.json) {
    PrintJson(options, differences.empty() ? "ok" : "different", 0, "", kit, differences);
  } else {
    for (const Difference& d : differences) std::printf("%s: %s\n", d.path.c_str(), KindText(d.kind));
    if (differences.empty()) {
      std::printf("%s: ok: %zu descriptions, %zu entries, %" PRIu64 " bytes unpacked%s%s\n", options.kit,
                  kit.descriptions.size(), kit.entries.size(), kit.unpackedSize,
                  options.against ? ", the same as " : "", options.against ? options.against : "");
    } else {
      ReportError("verify", options.kit, std::to_string(differences.size()) + " differences from " + options.against);
    }
  }
  return exit_code;
}

}  // namespace kittool
