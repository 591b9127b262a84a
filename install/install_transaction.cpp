// install/install_transaction.cpp: the transaction of one install run: the
// backup directory, the record of what the run created, and the rollback.
#include <sys/stat.h>

#include "core/directory_listing.h"
#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/file_system.h"
#include "install/install_job.h"

namespace kitsetup {
namespace {

const char16_t kSlash = u'/';
const char16_t kBackslash = u'\\';

InstallTransaction& Current(InstallJob& job) {
  if (job.transactions.empty()) job.transactions.emplace_back();
  return job.transactions.back();
}

// The path without trailing "/" (but "/" stays "/").
TextString WithoutTrailingSlashes(const TextString& path) {
  size_t n = path.length();
  while (n > 1 && path[n - 1] == kSlash) --n;
  return path.substr(0, n);
}

bool IsDirectory(const TextString& path) {
  struct stat info;
  return stat(ToLocaleBytes(path).c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool Exists(const TextString& path) {
  struct stat info;
  return lstat(ToLocaleBytes(path).c_str(), &info) == 0;
}

// The highest level of `path` that does not exist yet: what `mkdir -p` is
// about to create first. A rollback that removes it removes every level the
// run made.
TextString HighestMissingLevel(const TextString& path) {
  TextString level = WithoutTrailingSlashes(path);
  for (;;) {
    size_t slash = level.rfind(kSlash);
    if (slash == TextString::npos || slash == 0) return level;
    TextString parent = level.substr(0, slash);
    if (Exists(parent)) return level;
    level = parent;
  }
}

// The directory-making steps shared by CreateDirectoryRecorded and
// EnsureBackupDirectory. `record` is null for the backup tree.
uint32_t MakeDirectoryChain(InstallJob& job, const TextString& path, bool record) {
  if (path.length() == 1 && path[0] == kSlash) return kOk;
  // An existing directory takes the "already exists" branch: it is never
  // recorded, so a rollback never removes it.
  if (IsDirectory(path)) return kOk;
  TextString highest = record ? HighestMissingLevel(path) : TextString();
  uint32_t code = MakeDirectories(path);
  if (code == kErrAlreadyExists) return kOk;
  if (code == kOk) {
    if (record) {
      InstallTransaction& t = Current(job);
      if (t.createdDirectorySet.insert(highest).second) t.createdDirectories.push_back(highest);
    }
    return kOk;
  }
  // Walk up by "\" as the drive-letter world would. Paths here use "/", so a
  // failed mkdir -p ends in 3.
  if (path.empty()) return kErrPathNotFound;
  size_t cut = path.rfind(kBackslash);
  if (cut == TextString::npos) return kErrPathNotFound;
  if (cut == 2 && path[1] == u':') return kErrPathNotFound;
  code = MakeDirectoryChain(job, path.substr(0, cut), record);
  if (code != kOk) return code;
  return MakeDirectoryChain(job, path, record);
}

// Appends a "/" unless the path already ends in a separator.
TextString AsDirectory(const TextString& path) {
  if (path.ends_with(kSlash) || path.ends_with(kBackslash)) return path;
  return path + u"/";
}

// A listed directory is walked into only when it is not a symbolic link: a
// link moved into the backup (a replaced target that was one) must be moved
// or removed as itself, never followed to what it points at.
bool IsWalkableDirectory(const DirectoryListing& listing, const TextString& path) {
  if (!(ListIsDirectory(listing) & 16)) return false;
  struct stat info;
  return lstat(ToLocaleBytes(path).c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool IsDotOrDotDot(const TextString& name) {
  return (name.length() == 1 && name[0] == u'.') ||
         (name.length() == 2 && name[0] == u'.' && name[1] == u'.');
}

}  // namespace

uint32_t BeginTransaction(InstallJob& job, const TextString& directory) {
  job.transactions.emplace_back();
  job.transactions.back().rootDirectory = directory;
  job.lastParent.clear();
  job.lastBackupParent.clear();
  if (directory.empty()) return kOk;

  TextString temp;
  GetTempDirectory(temp);
  uint32_t code = CreateDirectoryRecorded(job, temp);
  if (code != kOk) return code;
  if (!temp.ends_with(kSlash)) temp = temp + u"/";

  TextString candidate;
  for (int32_t n = 0;; ++n) {
    candidate = temp + u"r4stp" + from_int(n, 10);
    if (!PathExists(candidate)) break;
  }
  InstallTransaction& t = job.transactions.back();
  t.backupDirectory = candidate + u"/";
  return CreateDirectoryRecorded(job, t.backupDirectory);
}

uint32_t BackupFile(InstallJob& job, const TextString& target) {
  InstallTransaction& t = Current(job);
  size_t root = t.rootDirectory.length();
  TextString relative = root <= target.length() ? target.substr(root) : TextString();
  TextString backup_path = t.backupDirectory + relative;
  size_t slash = backup_path.rfind(kSlash);
  if (slash != TextString::npos) {
    TextString parent = backup_path.substr(0, slash);
    if (parent != job.lastBackupParent) {
      uint32_t code = EnsureBackupDirectory(job, parent);
      if (code != kOk) return code;
      job.lastBackupParent = parent;
    }
  }
  return MoveFile(target, backup_path);
}

uint32_t CreateDirectoryRecorded(InstallJob& job, const TextString& path) {
  return MakeDirectoryChain(job, path, true);
}

uint32_t EnsureBackupDirectory(InstallJob& job, const TextString& path) {
  return MakeDirectoryChain(job, path, false);
}

uint32_t Rollback(InstallJob& job, uint32_t code) {
  job.lastParent.clear();
  job.lastBackupParent.clear();
  InstallTransaction& t = Current(job);
  if (!t.rootDirectory.empty() && !t.backupDirectory.empty())
    RestoreTree(job, t.rootDirectory, t.backupDirectory);
  if (!t.backupDirectory.empty()) DeleteTree(job, t.backupDirectory);
  for (const TextString& dir : t.createdDirectories) DeleteTree(job, dir);
  for (const TextString& file : t.createdFiles) RemoveFile(file);
  return code;
}

uint32_t DeleteTree(InstallJob& job, const TextString& path) {
  if (path.empty()) return kOk;
  // Never the root, whatever a record says.
  if (WithoutTrailingSlashes(path) == TextString(u"/")) return kOk;
  TextString dir = AsDirectory(path);
  {
    DirectoryListing listing;
    for (bool more = ListFirst(listing, dir + u"*"); more; more = ListNext(listing)) {
      TextString name = ListName(listing);
      if (IsDotOrDotDot(name)) continue;
      if (IsWalkableDirectory(listing, dir + name))
        DeleteTree(job, dir + name);
      else
        RemoveFile(dir + name);
    }
  }
  return RemoveTree(path);
}

void RestoreTree(InstallJob& job, const TextString& root, const TextString& backup) {
  DirectoryListing listing;
  for (bool more = ListFirst(listing, backup + u"*"); more; more = ListNext(listing)) {
    TextString name = ListName(listing);
    if (IsDotOrDotDot(name)) continue;
    // The separator is "/": a "\" would not separate anything here.
    if (IsWalkableDirectory(listing, backup + name))
      RestoreTree(job, root + name + u"/", backup + name + u"/");
    else
      MoveFile(backup + name, root + name);
  }
}

}  // namespace kitsetup
