// kittool pack: builds a kit from a directory tree.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "kit/file_handle.h"
#include "kit/kit_entry.h"
#include "kit/kit_validator.h"
#include "kit/kit_writer.h"
#include "tools/kittool/cli_report.h"
#include "tools/kittool/cli_util.h"
#include "tools/kittool/commands.h"
#include "tools/kittool/tree_walk.h"
#include "tools/kittool/interrupts.h"

namespace kittool {
namespace {

using kitsetup::TextString;

const char kPackUsage[] =
    "usage: kittool pack [--legacy] [--describe LANG PRODUCT VENDOR DESCFILE]...\n"
    "                    [--level 0-9] [--dereference] [--force] SRC_DIR KIT\n"
    "\n"
    "Writes KIT holding every regular file under SRC_DIR. Names are relative to\n"
    "SRC_DIR with \\ as the separator, in sorted order; write times are the\n"
    "files' modification times, clamped to SOURCE_DATE_EPOCH when it is set, so\n"
    "that the same tree gives the same bytes. KIT is written to a temporary file\n"
    "beside it and renamed into place when complete: an error or Ctrl-C leaves\n"
    "an existing KIT untouched.\n"
    "\n"
    "  --describe LANG PRODUCT VENDOR DESCFILE\n"
    "              one description record: interface language (ru uk en lv lt\n"
    "              bg de ro ka kk vi tr), product and vendor names, and the\n"
    "              description document's path relative to the template\n"
    "              directory (with \\ or /; may be \"\"); the document must be in\n"
    "              SRC_DIR\n"
    "  --legacy    write the legacy description form, which holds exactly one\n"
    "              description (give one --describe, language \"en\")\n"
    "  --level N   compression level, 0 (stored) to 9 (smallest); default 6\n"
    "  --dereference\n"
    "              pack what symbolic links point to; without it every link is\n"
    "              left out with a warning\n"
    "  --force     pack despite an unknown or repeated language, a description\n"
    "              file missing from SRC_DIR, or --legacy with a language other\n"
    "              than \"en\"\n"
    "  --version   print the version\n"
    "\n"
    "Names the installer would refuse (\"..\" components, control characters,\n"
    "\", ` or $, a \\ inside a file name) stop the command before KIT is written.\n"
    "\n"
    "Exit codes: 0 written, 1 failed, 2 bad usage or a refused description\n"
    "(nothing written), 130/143 interrupted (nothing written).\n";

const char* const kLanguages[] = {"ru", "uk", "en", "lv", "lt", "bg", "de", "ro", "ka", "kk", "vi", "tr"};

struct PackOptions {
  bool legacy = false;
  bool force = false;
  bool dereference = false;
  int level = 6;
  std::vector<kitsetup::KitDescription> descriptions;
  const char* source = nullptr;
  const char* kit = nullptr;
};

struct FoundFile {
  std::string relative;  // with "/" separators
  std::string path;
  int64_t mtime = 0;
};

int Usage(const std::string& reason) { return UsageError("pack", reason); }

// Text from locale bytes; false when the bytes are not valid text in the
// current locale (converted back they would differ).
bool ToText(const std::string& bytes, TextString& out) {
  out = kitsetup::FromLocaleBytes(bytes.data(), bytes.size());
  kitsetup::ByteString back = kitsetup::ToLocaleBytes(out);
  return back.length() == bytes.size() && std::memcmp(back.c_str(), bytes.data(), bytes.size()) == 0;
}

// Kits name files with "\" as the separator, given with "\" or "/".
TextString KitPath(TextString text) {
  char16_t* units = text.mutable_data();
  for (size_t i = 0; i < text.length(); ++i) {
    if (units[i] == u'/') units[i] = u'\\';
  }
  return text;
}

bool KnownLanguage(const std::string& code) {
  for (const char* known : kLanguages) {
    if (code == known) return true;
  }
  return false;
}

// What would make the installer show the wrong texts, or none: refused
// unless --force. Empty when the descriptions are sound.
std::string DescriptionProblem(const PackOptions& options) {
  std::set<std::string> seen;
  for (const kitsetup::KitDescription& d : options.descriptions) {
    const std::string code = Utf8(d.language);
    if (!KnownLanguage(code)) {
      return "unknown language \"" + code + "\" (one of ru uk en lv lt bg de ro ka kk vi tr, in lower case)";
    }
    if (!seen.insert(code).second) return "two descriptions for language \"" + code + "\"";
    if (options.legacy && code != "en") {
      return "--legacy stores no language and always loads as \"en\", not \"" + code + "\"";
    }
  }
  return std::string();
}

int ParseArguments(int argc, char** argv, PackOptions& options) {
  std::vector<const char*> positional;
  bool options_done = false;
  for (int i = 0; i < argc; ++i) {
    const char* arg = argv[i];
    if (options_done || arg[0] != '-' || arg[1] == '\0') {
      positional.push_back(arg);
    } else if (!std::strcmp(arg, "--")) {
      options_done = true;
    } else if (!std::strcmp(arg, "--legacy")) {
      options.legacy = true;
    } else if (!std::strcmp(arg, "--force")) {
      options.force = true;
    } else if (!std::strcmp(arg, "--dereference")) {
      options.dereference = true;
    } else if (!std::strcmp(arg, "--level")) {
      if (i + 1 >= argc) return Usage("--level needs a number from 0 to 9");
      const char* n = argv[++i];
      if (n[0] < '0' || n[0] > '9' || n[1] != '\0') return Usage(std::string("--level wants 0 to 9, not ") + n);
      options.level = n[0] - '0';
    } else if (!std::strcmp(arg, "--describe")) {
      if (i + 4 >= argc) return Usage("--describe needs LANG PRODUCT VENDOR DESCFILE");
      kitsetup::KitDescription d;
      TextString* fields[] = {&d.language, &d.productName, &d.vendorName, &d.descriptionFile};
      for (TextString* field : fields) {
        const char* value = argv[++i];
        if (!ToText(value, *field)) {
          return Usage(std::string("not valid text in the current locale (set LANG, e.g. LANG=C.UTF-8): ") +
                       value);
        }
      }
      d.descriptionFile = KitPath(d.descriptionFile);
      if (const char* why = kitsetup::DescriptionFileProblem(d.descriptionFile)) {
        return Usage("description file " + JsonString(d.descriptionFile) + " " + why +
                     "; the installer would refuse the kit");
      }
      options.descriptions.push_back(d);
    } else {
      return Usage(std::string("unknown option ") + arg);
    }
  }
  if (positional.size() != 2) return Usage("expected SRC_DIR and KIT");
  if (options.legacy && options.descriptions.size() != 1) return Usage("--legacy needs exactly one --describe");
  if (!options.force) {
    std::string problem = DescriptionProblem(options);
    if (!problem.empty()) return Usage(problem + "; --force packs it anyway");
  }
  options.source = positional[0];
  options.kit = positional[1];
  return kExitOk;
}

// SOURCE_DATE_EPOCH, when set: the latest time a packed file may carry.
int ReadSourceDateEpoch(bool& set, int64_t& epoch) {
  const char* value = std::getenv("SOURCE_DATE_EPOCH");
  set = value && *value;
  if (!set) return kExitOk;
  char* end = nullptr;
  errno = 0;
  long long seconds = std::strtoll(value, &end, 10);
  if (errno || *end || seconds < 0) {
    return Usage(std::string("SOURCE_DATE_EPOCH is not a count of seconds since 1970: ") + value);
  }
  epoch = seconds;
  return kExitOk;
}

// Collects the regular files under the source, the kit itself left out
// when it lies inside the tree; warns of every link and special file left out.
int Collect(const PackOptions& options, std::vector<FoundFile>& found, size_t& left_out) {
  struct stat kit_info;
  const bool kit_exists = stat(options.kit, &kit_info) == 0;
  std::string error;
  int os_error = 0;
  auto visit = [&](const TreeItem& item) {
    if (item.link) {
      char target[4096];
      ssize_t n = readlink(item.path.c_str(), target, sizeof target - 1);
      target[n > 0 ? n : 0] = '\0';
      std::fprintf(stderr, "kittool pack: warning: %s: symbolic link to %s left out%s\n", item.path.c_str(),
                   target, options.dereference ? " (its target is missing or a loop)" : " (--dereference packs its target)");
      ++left_out;
    } else if (!S_ISREG(item.info.st_mode)) {
      std::fprintf(stderr, "kittool pack: warning: %s: not a regular file, left out\n", item.path.c_str());
      ++left_out;
    } else if (!(kit_exists && item.info.st_dev == kit_info.st_dev && item.info.st_ino == kit_info.st_ino)) {
      found.push_back({item.relative, item.path, static_cast<int64_t>(item.info.st_mtime)});
    }
    return true;
  };
  if (!WalkTree(options.source, options.dereference, visit, error, os_error)) {
    ReportError("pack", options.source, error, 0, os_error);
    return kExitFailed;
  }
  std::sort(found.begin(), found.end(), [](const FoundFile& a, const FoundFile& b) { return a.relative < b.relative; });
  return kExitOk;
}

// Adds every found file to the builder under its kit name. The names the
// installer would refuse fail here, before anything is written.
int AddFiles(const std::vector<FoundFile>& found, bool clamp, int64_t epoch, kitsetup::KitBuilder& builder,
             std::set<TextString>& packed) {
  for (const FoundFile& f : found) {
    if (f.relative.find('\\') != std::string::npos) {
      ReportError("pack", f.path, "cannot pack: a \\ in a file name would read as a separator");
      return kExitFailed;
    }
    TextString name;
    if (!ToText(f.relative, name)) {
      ReportError("pack", f.path,
                  "cannot pack: the name is not valid text in the current locale (set LANG, e.g. LANG=C.UTF-8)");
      return kExitFailed;
    }
    name = KitPath(name);
    if (const char* why = kitsetup::EntryNameProblem(name)) {
      ReportError("pack", f.path,
                  std::string("cannot pack: its name ") + JsonString(name) + " " + why + "; the installer would refuse the kit");
      return kExitFailed;
    }
    const int64_t mtime = clamp ? std::min(f.mtime, epoch) : f.mtime;
    if (uint32_t code = builder.AddFile(name, f.path, kitsetup::UnixSecondsToFileTime(mtime))) {
      ReportError("pack", f.path, "cannot pack: gone, unreadable or 4 GiB or more", code, errno);
      return kExitFailed;
    }
    packed.insert(kitsetup::EntryRelativePath(name));
  }
  return kExitOk;
}

}  // namespace

int RunPack(int argc, char** argv) {
  for (int i = 0; i < argc; ++i) {
    if (IsHelpOption(argv[i])) {
      std::fputs(kPackUsage, stdout);
      return kExitOk;
    }
  }
  PackOptions options;
  if (int code = ParseArguments(argc, argv, options)) return code;
  bool clamp = false;
  int64_t epoch = 0;
  if (int code = ReadSourceDateEpoch(clamp, epoch)) return code;

  struct stat source_info;
  const bool examined = stat(options.source, &source_info) == 0;
  if (!examined || !S_ISDIR(source_info.st_mode)) {
    ReportError("pack", options.source, "not a directory", 0, examined ? ENOTDIR : errno);
    return kExitFailed;
  }
  std::vector<FoundFile> found;
  size_t left_out = 0;
  if (int code = Collect(options, found, left_out)) return code;

  kitsetup::KitBuilder builder;
  builder.SetLegacy(options.legacy);
  builder.SetLevel(options.level);
  builder.SetStopFlag(InterruptFlag());
  for (const kitsetup::KitDescription& d : options.descriptions) builder.AddDescription(d);
  std::set<TextString> packed;
  if (int code = AddFiles(found, clamp, epoch, builder, packed)) return code;
  for (const kitsetup::KitDescription& d : options.descriptions) {
    if (!options.force && !d.descriptionFile.empty() &&
        !packed.count(kitsetup::EntryRelativePath(d.descriptionFile))) {
      return Usage("description file " + JsonString(d.descriptionFile) + " is not in " + options.source +
                   "; --force packs it anyway");
    }
  }
  if (Interrupted()) return InterruptedExit();

  std::string error;
  if (uint32_t code = builder.WriteTo(options.kit, &error)) {
    if (Interrupted()) return InterruptedExit();
    ReportError("pack", options.kit, error, code);
    return kExitFailed;
  }
  std::printf("packed %zu files into %s", builder.entry_count(), options.kit);
  if (left_out) std::printf(" (%zu left out: symbolic links or special files)", left_out);
  std::printf("\n");
  return kExitOk;
}

}  // namespace kittool
