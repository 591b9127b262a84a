// kittool extract: writes every entry of a kit into a folder, whatever the
// dates, for vendors who want to look inside a kit.
#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/file_system.h"
#include "kit/distribution_kit.h"
#include "kit/file_handle.h"
#include "kit/kit_entry.h"
#include "tools/kittool/cli_report.h"
#include "tools/kittool/cli_util.h"
#include "tools/kittool/interrupts.h"
#include "tools/kittool/commands.h"

namespace kittool {
namespace {

using kitsetup::TextString;

const char kExtractUsage[] =
    "usage: kittool extract [--force] KIT DIR\n"
    "\n"
    "Writes every entry of KIT into DIR with its write time, whatever the dates\n"
    "(unlike install, which keeps files as new as the kit's). DIR is made when\n"
    "missing. The kit is loaded and refused exactly as the installer does, and\n"
    "nothing is written outside DIR: a symbolic link or a file standing where an\n"
    "entry needs a directory stops the command.\n"
    "\n"
    "  --force    write into DIR even when it is not empty (files of the kit\n"
    "             are overwritten, others left alone)\n"
    "  --version  print the version\n"
    "\n"
    "Exit codes: 0 extracted, 1 failed (what was written stays), 2 bad usage or\n"
    "DIR not empty, 3 kit missing or refused.\n";

std::string Bytes(const TextString& text) {
  const kitsetup::ByteString bytes = kitsetup::ToLocaleBytes(text);
  return std::string(bytes.c_str(), bytes.length());
}

// 1 when DIR holds anything, 0 when it is empty or missing, -1 when it
// cannot be read.
int HoldsAnything(const char* dir) {
  DIR* d = opendir(dir);
  if (!d) return errno == ENOENT ? 0 : -1;
  int found = 0;
  while (struct dirent* entry = readdir(d)) {
    if (std::strcmp(entry->d_name, ".") && std::strcmp(entry->d_name, "..")) {
      found = 1;
      break;
    }
  }
  closedir(d);
  return found;
}

// Refuses a path under dir whose existing parts would lead elsewhere: a
// symbolic link or a non-directory on the way, or a link or directory at the
// end. An empty answer means the path is safe to write.
std::string PathProblem(const std::string& dir, const std::string& relative) {
  for (size_t at = relative.find('/'); ; at = relative.find('/', at + 1)) {
    const bool last = at == std::string::npos;
    const std::string path = dir + "/" + relative.substr(0, at);
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) return std::string();  // the rest is made fresh
    if (S_ISLNK(st.st_mode)) return "a symbolic link stands at " + path;
    if (last) return S_ISDIR(st.st_mode) ? "a directory stands at " + path : std::string();
    if (!S_ISDIR(st.st_mode)) return "a file stands where a directory is needed: " + path;
  }
}

// Writes one entry through the file layer. 0, or the code of what failed.
uint32_t WriteEntry(const kitsetup::DistributionKit& kit, const kitsetup::KitEntry& entry, const TextString& target) {
  kitsetup::FileHandle out = kitsetup::kNoHandle;
  uint32_t code = kitsetup::OpenFileHandle(target, kitsetup::kAccessWrite, 0, kitsetup::kDispositionCreate, &out);
  if (out == kitsetup::kNoHandle) return code != kitsetup::kOk ? code : kitsetup::kErrInvalidParameter;
  code = kitsetup::ReadEntryData(kit, entry, [out](const unsigned char* data, size_t size) {
    uint32_t written = 0;
    return !Interrupted() &&
           kitsetup::WriteFileHandle(out, data, static_cast<uint32_t>(size), &written, nullptr) == kitsetup::kOk &&
           written == size;
  });
  if (code == kitsetup::kErrCancelled && !Interrupted()) code = kitsetup::kErrInvalidParameter;  // a short write
  if (code == kitsetup::kOk && kitsetup::TruncateFileHandle(out) != kitsetup::kOk) code = kitsetup::LastFileError();
  if (code == kitsetup::kOk) kitsetup::SetFileHandleTime(out, nullptr, nullptr, &entry.writeTime);
  kitsetup::CloseFileHandle(out);
  return code;
}

}  // namespace

int RunExtract(int argc, char** argv) {
  bool force = false;
  const char* positional[2] = {nullptr, nullptr};
  int count = 0;
  for (int i = 0; i < argc; ++i) {
    if (IsHelpOption(argv[i])) {
      std::fputs(kExtractUsage, stdout);
      return kExitOk;
    }
    if (!std::strcmp(argv[i], "--force")) {
      force = true;
    } else if (argv[i][0] == '-' && argv[i][1] != '\0') {
      return UsageError("extract", std::string("unknown option ") + argv[i]);
    } else if (count == 2) {
      return UsageError("extract", "expected KIT and DIR only");
    } else {
      positional[count++] = argv[i];
    }
  }
  if (count != 2) return UsageError("extract", "expected KIT and DIR");
  const char* kit_path = positional[0];
  const std::string dir = positional[1];
  const int holds = HoldsAnything(dir.c_str());
  if (holds < 0) {
    ReportError("extract", dir, "cannot read the directory", 0, errno);
    return kExitFailed;
  }
  if (holds && !force) return UsageError("extract", dir + " is not empty; --force writes into it");

  kitsetup::DistributionKit kit;
  if (int failed = LoadKitForCommand("extract", kit_path, kit)) return failed;
  const TextString dir_text = kitsetup::FromLocaleBytes(dir.data(), dir.size());
  int exit_code = kExitOk;
  if (kitsetup::MakeDirectories(dir_text) != kitsetup::kOk) {
    ReportError("extract", dir, "cannot make the directory", kitsetup::kErrNotFound);
    exit_code = kExitFailed;
  }
  size_t written = 0;
  for (const kitsetup::KitEntry& entry : kit.entries) {
    if (exit_code != kExitOk || Interrupted()) break;
    const TextString relative = kitsetup::EntryRelativePath(entry.name);
    const std::string relative_bytes = Bytes(relative);
    const std::string problem = PathProblem(dir, relative_bytes);
    if (!problem.empty()) {
      ReportError("extract", dir + "/" + relative_bytes, "refused: " + problem);
      exit_code = kExitFailed;
      break;
    }
    TextString target = dir_text;
    target.push_back(u'/');
    target.append(relative);
    const size_t slash = relative.rfind(u'/');
    if (slash != TextString::npos) {
      TextString parent = dir_text;
      parent.push_back(u'/');
      parent.append(relative.substr(0, slash));
      if (uint32_t code = kitsetup::MakeDirectories(parent)) {
        ReportError("extract", Bytes(parent), "cannot make the directory", code);
        exit_code = kExitFailed;
        break;
      }
    }
    errno = 0;
    if (uint32_t code = WriteEntry(kit, entry, target)) {
      if (Interrupted()) break;
      ReportError("extract", Bytes(target), "cannot write", code, errno);
      exit_code = kExitFailed;
      break;
    }
    ++written;
  }
  DiscardStaging(kit);
  if (Interrupted()) return InterruptedExit();
  if (exit_code == kExitOk) std::printf("extracted %zu files into %s\n", written, dir.c_str());
  return exit_code;
}

}  // namespace kittool
