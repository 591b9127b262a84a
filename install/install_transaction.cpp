// install/install_transaction.cpp: the transaction of one install run: the
// backup directory, the record of what the run created, and the rollback.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <set>
#include <string>

#include "core/directory_listing.h"
#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/file_system.h"
#include "core/utf8.h"
#include "install/durability.h"
#include "install/install_job.h"
#include "install/install_journal.h"
#include "install/safe_move.h"

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
// EnsureBackupDirectory.
uint32_t MakeDirectoryChain(InstallJob& job, const TextString& path, bool record) {
  if (path.length() == 1 && path[0] == kSlash) return kOk;
  // An existing directory takes the "already exists" branch: it is never
  // recorded, so a rollback never removes it.
  if (IsDirectory(path)) return kOk;
  // Recorded before mkdir -p runs: a chain it makes only in part is
  // removed on rollback all the same.
  if (record) {
    const TextString highest = HighestMissingLevel(path);
    if (!Exists(highest)) {
      const uint32_t code = RecordChange(job, ChangeKind::kMadeDirectory, highest);
      if (code != kOk) return code;
    }
  }
  uint32_t code = MakeDirectories(path);
  if (code == kErrAlreadyExists || code == kOk) return kOk;
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

}  // namespace

uint32_t BeginTransaction(InstallJob& job, const TextString& directory) {
  job.transactions.emplace_back();
  job.transactions.back().rootDirectory = directory;
  job.lastParent.clear();
  job.lastBackupParent.clear();
  if (directory.empty()) return kOk;

  // Neither the temporary directory nor the backup directory is a change to
  // the template directory: they are not recorded, and the backup directory
  // goes only once nothing in it is the last copy of a user's file.
  TextString temp;
  GetTempDirectory(temp);
  uint32_t code = EnsureBackupDirectory(job, temp);
  if (code != kOk) return code;
  if (!temp.ends_with(kSlash)) temp = temp + u"/";

  TextString candidate;
  for (int32_t n = 0;; ++n) {
    candidate = temp + u"r4stp" + from_int(n, 10);
    if (!PathExists(candidate)) break;
  }
  InstallTransaction& t = job.transactions.back();
  t.backupDirectory = candidate + u"/";
  return EnsureBackupDirectory(job, t.backupDirectory);
}

uint32_t BeginJournal(InstallJob& job, const TextString& staging_path) {
  InstallTransaction& t = Current(job);
  if (t.backupDirectory.empty()) return kOk;
  // The plan knows every change before the first: one batch, one flush.
  // The folders are listed as the run will record them (the highest level
  // missing when its first file comes), each before its files, and each
  // backup before its write, so that undoing the records newest first
  // undoes a file before its folder.
  std::vector<TemplateChange> planned;
  std::set<std::u16string> present;  // folders that exist by the time an entry is reached
  auto there = [&](const TextString& folder) {
    const std::u16string key(folder.data(), folder.length());
    if (present.count(key)) return true;
    if (!Exists(folder)) return false;
    present.insert(key);
    return true;
  };
  const size_t root = t.rootDirectory.length();
  for (const PlannedEntry& entry : job.plan.entries) {
    if (entry.action == PlanAction::kKeep) continue;
    const size_t slash = entry.target.rfind(kSlash);
    if (slash != TextString::npos && slash > 0 && !there(entry.target.substr(0, slash))) {
      TextString level = entry.target.substr(0, slash);
      for (size_t up; (up = level.rfind(kSlash)) != TextString::npos && up > 0 && !there(level.substr(0, up));)
        level = level.substr(0, up);
      planned.push_back({ChangeKind::kMadeDirectory, level, TextString()});
      for (TextString folder = entry.target.substr(0, slash); folder.length() >= level.length();) {
        present.insert(std::u16string(folder.data(), folder.length()));
        const size_t up = folder.rfind(kSlash);
        if (up == TextString::npos || up == 0) break;
        folder = folder.substr(0, up);
      }
    }
    if (entry.action == PlanAction::kReplace)
      planned.push_back({ChangeKind::kMovedToBackup, entry.target, t.backupDirectory + entry.target.substr(root)});
    planned.push_back({ChangeKind::kWroteFile, entry.target, TextString()});
  }
  auto journal = std::make_shared<InstallJournal>();
  const uint32_t code = journal->Begin(t.backupDirectory, t.rootDirectory, staging_path, planned);
  if (code == kOk) t.journal = std::move(journal);
  return code;
}

uint32_t CommitTransaction(InstallJob& job) {
  InstallTransaction& t = Current(job);
  if (!t.journal) return kOk;
  // The new files are on disk before the backups of the old ones go.
  std::vector<TextString> written;
  for (const TemplateChange& change : t.changes)
    if (change.kind == ChangeKind::kWroteFile) written.push_back(change.path);
  uint32_t code = FlushWrittenFiles(t.rootDirectory, written);
  if (code == kOk) code = t.journal->MarkFinal();
  if (code != kOk) return code;
  t.changes.clear();
  RemoveBackupDirectory(t.backupDirectory);
  t.journal.reset();
  return kOk;
}

uint32_t BackupFile(InstallJob& job, const TextString& target) {
  InstallTransaction& t = Current(job);
  // Only a target where nothing exists has nothing to back up; every other
  // failure below leaves a user's file that has no backup, and ends the run.
  struct stat info;
  if (lstat(ToLocaleBytes(target).c_str(), &info) != 0)
    return errno == ENOENT ? kErrNotFound : errno == ENOTDIR ? kErrPathNotFound : kErrInvalidParameter;
  size_t root = t.rootDirectory.length();
  TextString relative = root <= target.length() ? target.substr(root) : TextString();
  TextString backup_path = t.backupDirectory + relative;
  size_t slash = backup_path.rfind(kSlash);
  if (slash != TextString::npos) {
    TextString parent = backup_path.substr(0, slash);
    if (parent != job.lastBackupParent) {
      if (EnsureBackupDirectory(job, parent) != kOk) return kErrInvalidParameter;
      job.lastBackupParent = parent;
    }
  }
  uint32_t code = RecordChange(job, ChangeKind::kMovedToBackup, target, backup_path);
  if (code != kOk) return code;
  code = MoveWhole(target, backup_path);
  // Gone meanwhile: nothing to back up after all.
  if (code == kErrNotFound) return kErrNotFound;
  return code == kOk ? kOk : kErrInvalidParameter;
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
  const std::vector<TemplateChange> failed = UndoChanges(t.changes, job.rollbackProgress, job.rollbackContext);
  t.changes.clear();
  bool stranded = false;
  for (const TemplateChange& change : failed) {
    if (change.kind != ChangeKind::kMovedToBackup) continue;
    stranded = true;
    std::fprintf(stderr, "kitsetup: rollback could not put back %s; it is kept as %s\n",
                 Utf8(change.path).c_str(), Utf8(change.backupPath).c_str());
  }
  if (stranded) {
    // The journal stays unfinished: the next start tries the restore again.
    t.backupKept = true;
    std::fprintf(stderr, "kitsetup: the backup directory %s is kept\n", Utf8(t.backupDirectory).c_str());
  } else if (t.journal) {
    // What was put back is on disk before its backup goes; a crash from
    // here on leaves a final journal, and recovery only removes the rest.
    if (FlushWrittenFiles(t.rootDirectory, std::vector<TextString>()) == kOk) t.journal->MarkFinal();
    RemoveBackupDirectory(t.backupDirectory);
  } else if (!t.backupDirectory.empty()) {
    DeleteTree(job, t.backupDirectory);
  }
  t.journal.reset();
  return code;
}

uint32_t DeleteTree(InstallJob& /*job*/, const TextString& path) {
  if (path.empty()) return kOk;
  // Never the root, whatever a record says.
  if (WithoutTrailingSlashes(path) == TextString(u"/")) return kOk;
  // rm -rf (or its walk that never follows a link) removes the tree whole.
  return RemoveTree(path);
}

}  // namespace kitsetup
