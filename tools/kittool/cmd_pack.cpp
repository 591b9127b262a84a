// kittool pack: builds a kit from a directory tree.
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "core/encoding.h"
#include "kit/file_handle.h"
#include "kit/kit_validator.h"
#include "kit/kit_writer.h"
#include "tools/kittool/cli_util.h"
#include "tools/kittool/commands.h"
#include "tools/kittool/interrupts.h"

namespace kittool {
namespace {

using kitsetup::TextString;

const char kPackUsage[] =
    "usage: kittool pack [--legacy] [--describe LANG PRODUCT VENDOR DESCFILE]...\n"
    "                    [--level 0-9] SRC_DIR KIT\n"
    "\n"
    "Writes KIT holding every regular file under SRC_DIR (symbolic links and\n"
    "special files are skipped). Names are relative to SRC_DIR with \\ as the\n"
    "separator, in sorted order; write times are the files' modification times.\n"
    "\n"
    "  --describe LANG PRODUCT VENDOR DESCFILE\n"
    "              one description record: interface language (\"en\", \"ru\", ...),\n"
    "              product and vendor names, and the description document's path\n"
    "              relative to the template directory (with \\ or /; may be \"\")\n"
    "  --legacy    write the legacy description form, which holds exactly one\n"
    "              description (give one --describe; it loads as language \"en\")\n"
    "  --level N   compression level, 0 (stored) to 9 (smallest); default 6\n"
    "\n"
    "Names the installer would refuse (\"..\" components, control characters,\n"
    "\", ` or $, a \\ inside a file name) stop the command before KIT is written.\n"
    "\n"
    "Exit codes: 0 written, 1 failed, 2 bad usage.\n";

struct PackOptions {
  bool legacy = false;
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

int Usage(const char* message, const char* detail = "") {
  std::fprintf(stderr, "kittool pack: %s%s\n\n%s", message, detail, kPackUsage);
  return kExitUsage;
}

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
    } else if (!std::strcmp(arg, "--level")) {
      if (i + 1 >= argc) return Usage("--level needs a number from 0 to 9");
      const char* n = argv[++i];
      if (n[0] < '0' || n[0] > '9' || n[1] != '\0') return Usage("--level wants 0 to 9, not ", n);
      options.level = n[0] - '0';
    } else if (!std::strcmp(arg, "--describe")) {
      if (i + 4 >= argc) return Usage("--describe needs LANG PRODUCT VENDOR DESCFILE");
      kitsetup::KitDescription d;
      TextString* fields[] = {&d.language, &d.productName, &d.vendorName, &d.descriptionFile};
      for (TextString* field : fields) {
        const char* value = argv[++i];
        if (!ToText(value, *field)) {
          return Usage("not valid text in the current locale (set LANG, e.g. LANG=C.UTF-8): ", value);
        }
      }
      d.descriptionFile = KitPath(d.descriptionFile);
      if (const char* why = kitsetup::DescriptionFileProblem(d.descriptionFile)) {
        std::fprintf(stderr, "kittool pack: description file %s %s; the installer would refuse the kit\n",
                     JsonString(d.descriptionFile).c_str(), why);
        return kExitUsage;
      }
      options.descriptions.push_back(d);
    } else {
      return Usage("unknown option ", arg);
    }
  }
  if (positional.size() != 2) return Usage("expected SRC_DIR and KIT");
  if (options.legacy && options.descriptions.size() != 1) {
    return Usage("--legacy needs exactly one --describe");
  }
  options.source = positional[0];
  options.kit = positional[1];
  return kExitOk;
}

// Collects the regular files under root/relative. `skip` is the kit itself
// when it already exists inside the tree.
bool Walk(const std::string& root, const std::string& relative, const struct stat* skip,
          std::vector<FoundFile>& found, std::string& error) {
  std::string directory = relative.empty() ? root : root + "/" + relative;
  DIR* dir = opendir(directory.c_str());
  if (!dir) {
    error = "cannot read the directory " + directory + ": " + std::strerror(errno);
    return false;
  }
  std::vector<std::string> names;
  while (struct dirent* entry = readdir(dir)) {
    if (!std::strcmp(entry->d_name, ".") || !std::strcmp(entry->d_name, "..")) continue;
    names.emplace_back(entry->d_name);
  }
  closedir(dir);
  for (const std::string& name : names) {
    std::string rel = relative.empty() ? name : relative + "/" + name;
    std::string path = root + "/" + rel;
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) {
      error = "cannot examine " + path + ": " + std::strerror(errno);
      return false;
    }
    if (S_ISDIR(st.st_mode)) {
      if (!Walk(root, rel, skip, found, error)) return false;
    } else if (S_ISREG(st.st_mode)) {
      if (skip && st.st_dev == skip->st_dev && st.st_ino == skip->st_ino) continue;
      found.push_back({rel, path, static_cast<int64_t>(st.st_mtime)});
    }
  }
  return true;
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

  struct stat source_info;
  if (stat(options.source, &source_info) != 0 || !S_ISDIR(source_info.st_mode)) {
    std::fprintf(stderr, "kittool pack: %s is not a directory\n", options.source);
    return kExitFailed;
  }
  struct stat kit_info;
  bool kit_exists = stat(options.kit, &kit_info) == 0;

  std::vector<FoundFile> found;
  std::string error;
  if (!Walk(options.source, "", kit_exists ? &kit_info : nullptr, found, error)) {
    std::fprintf(stderr, "kittool pack: %s\n", error.c_str());
    return kExitFailed;
  }
  std::sort(found.begin(), found.end(),
            [](const FoundFile& a, const FoundFile& b) { return a.relative < b.relative; });

  kitsetup::KitBuilder builder;
  builder.SetLegacy(options.legacy);
  builder.SetLevel(options.level);
  for (const kitsetup::KitDescription& d : options.descriptions) builder.AddDescription(d);
  for (const FoundFile& f : found) {
    if (f.relative.find('\\') != std::string::npos) {
      std::fprintf(stderr, "kittool pack: cannot pack %s: a \\ in a file name would read as a separator\n",
                   f.relative.c_str());
      return kExitFailed;
    }
    TextString name;
    if (!ToText(f.relative, name)) {
      std::fprintf(stderr,
                   "kittool pack: cannot pack %s: the name is not valid text in the current locale "
                   "(set LANG, e.g. LANG=C.UTF-8)\n",
                   f.relative.c_str());
      return kExitFailed;
    }
    name = KitPath(name);
    if (const char* why = kitsetup::EntryNameProblem(name)) {
      std::fprintf(stderr, "kittool pack: cannot pack %s: its name %s; the installer would refuse the kit\n",
                   JsonString(name).c_str(), why);
      return kExitFailed;
    }
    if (uint32_t code = builder.AddFile(name, f.path, kitsetup::UnixSecondsToFileTime(f.mtime))) {
      std::fprintf(stderr, "kittool pack: cannot pack %s (error %u: gone, unreadable or 4 GiB or more)\n",
                   f.path.c_str(), code);
      return kExitFailed;
    }
  }
  if (uint32_t code = builder.WriteTo(options.kit, &error)) {
    std::fprintf(stderr, "kittool pack: %s (error %u)\n", error.c_str(), code);
    return kExitFailed;
  }
  // An interrupted pack leaves no kit that looks finished.
  if (Interrupted()) {
    unlink(options.kit);
    return InterruptedExit();
  }
  std::printf("packed %zu files into %s\n", builder.entry_count(), options.kit);
  return kExitOk;
}

}  // namespace kittool
