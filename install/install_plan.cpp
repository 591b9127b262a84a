// install/install_plan.cpp: resolving and checking every target before the
// first change.
//
// Entries come folder by folder, so the directories along each target are
// looked at once and remembered: the plan costs one lstat per entry and one
// stat per folder.
#include "install/install_plan.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/utf8.h"
#include "install/name_fold.h"
#include "install/volume_folding.h"
#include "kit/distribution_kit.h"
#include "kit/file_handle.h"

namespace kitsetup {
namespace {

// Room for what a block count cannot see (directory blocks, the file
// system's own bookkeeping): 1 MiB and one block for every file and folder.
const uint64_t kMarginBytes = 1 << 20;

// A text that converts to locale bytes and back unchanged; its bytes in
// `out`. ASCII survives every locale and is copied without the conversion.
bool SurvivesLocale(const TextString& text, std::string& out) {
  bool ascii = true;
  for (size_t i = 0; i < text.length() && ascii; ++i) ascii = text[i] != 0 && text[i] < 0x80;
  if (ascii) {
    out.resize(text.length());
    for (size_t i = 0; i < text.length(); ++i) out[i] = static_cast<char>(text[i]);
    return true;
  }
  ByteString bytes;
  if (!ToLocaleBytesExactly(text, bytes)) return false;
  out.assign(bytes.c_str(), bytes.length());
  return true;
}

struct Folder {
  bool exists = false;  // there now (otherwise the run makes it)
  NameFolding folding;  // how names inside it compare
  std::u16string key;   // its folded path below the template directory
};

class Planner {
 public:
  Planner(const DistributionKit& kit, InstallPlan& plan) : kit_(kit), plan_(plan) {}

  uint32_t Run(const TextString& directory) {
    plan_ = InstallPlan();
    plan_.directory = directory;
    if (directory.empty()) return Refuse(kErrInvalidParameter, "no template directory", directory);
    if (!SurvivesLocale(directory, root_bytes_))
      return Refuse(kErrInvalidData, "the template directory does not convert to a file name", directory);
    if (uint32_t code = PlanRoot()) return code;
    plan_.entries.reserve(kit_.entries.size());
    for (const KitEntry& entry : kit_.entries)
      if (uint32_t code = PlanEntry(entry)) return code;
    return CheckSpace();
  }

 private:
  uint32_t Refuse(uint32_t code, const char* reason, const TextString& path) {
    plan_.refusal = code;
    plan_.reason = reason;
    plan_.refusedPath = path;
    plan_.entries.clear();
    plan_.newDirectories.clear();
    return code;
  }

  // Looks at the template directory and its ancestors: each that exists must
  // be a directory; the highest missing one is the first the run makes.
  uint32_t PlanRoot() {
    std::string path = root_bytes_;
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    std::vector<std::string> missing;
    anchor_ = ".";  // a relative path none of whose levels exists
    for (;;) {
      struct stat info {};
      if (stat(path.c_str(), &info) == 0) {
        if (!S_ISDIR(info.st_mode))
          return Refuse(kErrPathNotFound, "not a directory", FromLocaleBytes(path.c_str(), path.size()));
        anchor_ = path;
        break;
      }
      if (errno != ENOENT)
        return Refuse(kErrInvalidParameter, "cannot be examined", FromLocaleBytes(path.c_str(), path.size()));
      missing.push_back(path);
      const size_t slash = path.rfind('/');
      if (slash == std::string::npos) break;  // a relative root's first level
      path = slash == 0 ? "/" : path.substr(0, slash);
    }
    root_.exists = missing.empty();
    root_.folding = VolumeFoldingOf(ByteString(anchor_.c_str(), anchor_.size()));
    if (!missing.empty()) {
      const std::string& top = missing.back();
      plan_.newDirectories.push_back(FromLocaleBytes(top.c_str(), top.size()));
      ++new_folders_;
    }
    return kOk;
  }

  // The folder `relative` (bytes below the template directory, no trailing
  // "/"); "" is the template directory itself.
  uint32_t LookAtFolder(const std::string& relative, const Folder*& out) {
    if (relative.empty()) {
      out = &root_;
      return kOk;
    }
    auto found = folders_.find(relative);
    if (found != folders_.end()) {
      out = &found->second;
      return kOk;
    }
    const size_t slash = relative.rfind('/');
    const std::string parent_rel = slash == std::string::npos ? std::string() : relative.substr(0, slash);
    const std::string name = slash == std::string::npos ? relative : relative.substr(slash + 1);
    const Folder* parent = nullptr;
    if (uint32_t code = LookAtFolder(parent_rel, parent)) return code;
    Folder folder;
    folder.folding = parent->folding;
    folder.key = parent->key + u'/' + FoldName(FromLocaleBytes(name.c_str(), name.size()), parent->folding);
    if (files_.count(folder.key))
      return Refuse(kErrAlreadyExists, "one entry's file is another entry's folder", Text(relative));
    const std::string full = root_bytes_ + relative;
    if (parent->exists) {
      struct stat info {};
      if (stat(full.c_str(), &info) == 0) {
        if (!S_ISDIR(info.st_mode)) return Refuse(kErrPathNotFound, "a file stands where the kit needs a folder", Text(relative));
        folder.exists = true;
        folder.folding = VolumeFoldingOf(ByteString(full.c_str(), full.size()));
      } else if (errno == ENOENT || errno == ENOTDIR) {
        plan_.newDirectories.push_back(Text(relative));
      } else {
        return Refuse(kErrInvalidParameter, "cannot be examined", Text(relative));
      }
    }
    if (!folder.exists) ++new_folders_;
    folder_keys_.insert(folder.key);
    out = &folders_.emplace(relative, std::move(folder)).first->second;
    return kOk;
  }

  uint32_t PlanEntry(const KitEntry& entry) {
    // "\" and "/" both separate; repeated separators and a leading one say
    // nothing more (the kit loader refuses names that end in one).
    std::string name;
    if (!SurvivesLocale(entry.name, name))
      return Refuse(kErrInvalidData, "the entry's name does not convert to a file name", entry.name);
    std::string relative;
    for (char c : name) {
      if (c == '\\') c = '/';
      if (c == '/' && (relative.empty() || relative.back() == '/')) continue;
      relative.push_back(c);
    }
    if (relative.empty() || relative.back() == '/')
      return Refuse(kErrInvalidData, "the entry's name names no file", entry.name);

    PlannedEntry planned;
    planned.target = plan_.directory + ReplaceBackslashes(entry.name);
    planned.size = entry.dataSize;
    const size_t slash = relative.rfind('/');
    const Folder* folder = nullptr;
    if (uint32_t code = LookAtFolder(slash == std::string::npos ? std::string() : relative.substr(0, slash), folder))
      return code;
    const std::string leaf = slash == std::string::npos ? relative : relative.substr(slash + 1);
    std::u16string key = folder->key + u'/' + FoldName(FromLocaleBytes(leaf.c_str(), leaf.size()), folder->folding);
    if (folder_keys_.count(key))
      return Refuse(kErrAlreadyExists, "one entry's file is another entry's folder", planned.target);
    if (!files_.insert(std::move(key)).second)
      return Refuse(kErrAlreadyExists, "two entries are one file on this volume", planned.target);

    planned.action = PlanAction::kAdd;
    if (folder->exists) {
      const std::string full = root_bytes_ + relative;
      struct stat info {};
      if (lstat(full.c_str(), &info) == 0) {
        if (S_ISDIR(info.st_mode))
          return Refuse(kErrAlreadyExists, "a folder stands where the kit has a file", planned.target);
        // The date is that of what the name opens (a link's target).
        struct stat opened {};
        const bool kept = stat(full.c_str(), &opened) == 0 && KeptByDate(opened.st_mtime, entry.writeTime);
        planned.action = kept ? PlanAction::kKeep : PlanAction::kReplace;
      } else if (errno != ENOENT) {
        return Refuse(kErrInvalidParameter, "cannot be examined", planned.target);
      }
    }
    switch (planned.action) {
      case PlanAction::kAdd: ++plan_.adds; break;
      case PlanAction::kReplace: ++plan_.replaces; break;
      case PlanAction::kKeep: ++plan_.keeps; break;
    }
    if (planned.action != PlanAction::kKeep) plan_.bytesToWrite += planned.size;
    plan_.entries.push_back(std::move(planned));
    return kOk;
  }

  uint32_t CheckSpace() {
    struct statvfs volume {};
    if (statvfs(anchor_.c_str(), &volume) != 0 || volume.f_frsize == 0) return kOk;  // cannot tell
    const uint64_t block = volume.f_frsize;
    const uint64_t written = plan_.adds + plan_.replaces;
    uint64_t needed = kMarginBytes + (written + new_folders_) * block;
    for (const PlannedEntry& e : plan_.entries)
      if (e.action != PlanAction::kKeep) needed += (uint64_t{e.size} + block - 1) / block * block;
    plan_.bytesNeeded = needed;
    plan_.bytesFree = uint64_t{volume.f_bavail} * block;
    if (plan_.bytesFree < needed)
      return Refuse(kErrCannotCreate, "not enough free space on the template directory's volume", plan_.directory);
    // Volumes without an inode count report 0 files.
    if (volume.f_files != 0 && uint64_t{volume.f_favail} < written + new_folders_)
      return Refuse(kErrCannotCreate, "too few free inodes on the template directory's volume", plan_.directory);
    return kOk;
  }

  static TextString ReplaceBackslashes(TextString name) {
    name.replace_all(TextString(u"\\"), TextString(u"/"));
    return name;
  }

  TextString Text(const std::string& relative) const {
    return plan_.directory + FromLocaleBytes(relative.c_str(), relative.size());
  }

  const DistributionKit& kit_;
  InstallPlan& plan_;
  std::string root_bytes_;  // the template directory in locale bytes, ending in "/"
  std::string anchor_;      // its deepest existing level, for the volume's figures
  Folder root_;
  std::unordered_map<std::string, Folder> folders_;
  std::unordered_set<std::u16string> files_, folder_keys_;
  uint64_t new_folders_ = 0;
};

}  // namespace

bool KeptByDate(int64_t seconds, uint64_t entry_time) {
  // Comparing the high halves and then the low halves, both unsigned, is
  // one unsigned 64-bit comparison.
  return UnixSecondsToFileTime(seconds) >= entry_time;
}

uint32_t MakeInstallPlan(const DistributionKit& kit, const TextString& directory, InstallPlan& plan) {
  return Planner(kit, plan).Run(directory);
}

std::string DescribePlan(const InstallPlan& plan) {
  std::string out;
  if (plan.refusal != kOk) {
    out = "refused (" + std::to_string(plan.refusal) + "): " + plan.reason + ": " + Utf8(plan.refusedPath) + "\n";
    return out;
  }
  static const char* const kWords[] = {"add     ", "replace ", "keep    "};
  for (const PlannedEntry& e : plan.entries)
    out += kWords[static_cast<int>(e.action)] + Utf8(e.target) + "\n";
  for (const TextString& dir : plan.newDirectories) out += "mkdir   " + Utf8(dir) + "\n";
  char summary[200];
  std::snprintf(summary, sizeof summary,
                "%zu to add, %zu to replace, %zu to keep, %zu new folders; %llu bytes to write, "
                "%llu needed, %llu free\n",
                plan.adds, plan.replaces, plan.keeps, plan.newDirectories.size(),
                static_cast<unsigned long long>(plan.bytesToWrite),
                static_cast<unsigned long long>(plan.bytesNeeded),
                static_cast<unsigned long long>(plan.bytesFree));
  return out + summary;
}

}  // namespace kitsetup
