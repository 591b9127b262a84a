// install/install_recovery.cpp: finding ended runs and undoing them.
#include "install/install_recovery.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <set>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/file_system.h"
#include "core/utf8.h"
#include "install/durability.h"
#include "install/install_journal.h"
#include "install/template_change.h"
#include "install/template_lock.h"
#include "kit/staging_file.h"

namespace kitsetup {
namespace {

TextString Text(const std::string& bytes) { return FromLocaleBytes(bytes.c_str(), bytes.size()); }

bool Exists(const std::string& path) {
  struct stat info {};
  return lstat(path.c_str(), &info) == 0;
}

std::u16string Trimmed(const TextString& path) {
  std::u16string units(path.data(), path.length());
  while (units.size() > 1 && units.back() == u'/') units.pop_back();
  return units;
}

// The journal lists a replaced file's backup and then its write. Putting the
// backup back over the target undoes both, and only a backup still in the
// backup directory says the write happened at all: without it the target is
// the user's file (never moved, or already put back), so the write's own
// record must not remove it.
std::vector<TemplateChange> UndoableChanges(const std::vector<TemplateChange>& changes) {
  std::set<std::u16string> backed_up;
  for (const TemplateChange& change : changes)
    if (change.kind == ChangeKind::kMovedToBackup) backed_up.insert(Trimmed(change.path));
  std::vector<TemplateChange> undoable;
  for (const TemplateChange& change : changes)
    if (change.kind != ChangeKind::kWroteFile || !backed_up.count(Trimmed(change.path)))
      undoable.push_back(change);
  return undoable;
}

void RemoveStaging(const TextString& staging_path) {
  if (staging_path.empty()) return;
  const ByteString path = ToLocaleBytes(staging_path);
  unlink(path.c_str());
}

// A backup directory holding no journal yet: a run that ended before it
// made its first change. An empty one is removed (rmdir fails on anything
// else); one with only a journal part nobody holds goes whole.
void RemoveUnbegun(const std::string& directory, RecoveredRun& run, std::vector<RecoveredRun>& out) {
  if (rmdir(directory.c_str()) == 0) return;
  InstallJournal part;
  if (part.Adopt(directory + "/" + kJournalPartName) != kOk) return;
  DIR* listing = opendir(directory.c_str());
  if (!listing) return;
  size_t names = 0;
  while (const dirent* entry = readdir(listing))
    if (std::string(entry->d_name) != "." && std::string(entry->d_name) != "..") ++names;
  closedir(listing);
  if (names != 1) return;  // someone else's files: leave them be
  JournalContents contents;
  ReadJournal(directory + "/" + kJournalPartName, contents);
  run.templateDirectory = contents.templateDirectory;
  RemoveStaging(contents.stagingPath);
  RemoveBackupDirectory(run.backupDirectory);
  out.push_back(run);
}

}  // namespace

std::vector<RecoveredRun> RecoverEndedRuns(const TextString& only) {
  std::vector<RecoveredRun> recovered;
  TextString temp;
  GetTempDirectory(temp);
  const std::string temp_bytes = ToLocaleBytes(temp).c_str();
  std::vector<std::string> names;
  if (DIR* listing = opendir(temp_bytes.c_str())) {
    while (const dirent* entry = readdir(listing)) {
      if (std::string(entry->d_name).rfind("r4stp", 0) == 0) names.push_back(entry->d_name);
      // A staging file of an installer that ended without removing it: only
      // a live process holds its staging file locked.
      if (IsStagingFileName(entry->d_name)) RemoveIfAbandonedStagingFile(temp_bytes + entry->d_name);
    }
    closedir(listing);
  }
  std::sort(names.begin(), names.end());

  for (const std::string& name : names) {
    const std::string directory = temp_bytes + name;
    struct stat info {};
    if (lstat(directory.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) continue;
    RecoveredRun run;
    run.backupDirectory = Text(directory + "/");
    const std::string journal_path = directory + "/" + kJournalName;
    if (!Exists(journal_path)) {
      if (only.empty()) RemoveUnbegun(directory, run, recovered);
      continue;
    }
    InstallJournal journal;
    if (journal.Adopt(journal_path) != kOk) continue;  // a live run's
    JournalContents contents;
    if (ReadJournal(journal_path, contents) != kOk) continue;
    run.templateDirectory = contents.templateDirectory;
    if (!only.empty() && Trimmed(only) != Trimmed(contents.templateDirectory)) continue;
    // The directory's own lock keeps a new run out while it is repaired.
    TemplateLock hold;
    if (hold.Acquire(contents.templateDirectory) != kOk) continue;

    if (!contents.final) {
      for (const TemplateChange& change : UndoChanges(UndoableChanges(contents.changes))) {
        if (change.kind != ChangeKind::kMovedToBackup) continue;
        run.complete = false;
        run.left.push_back(Utf8(change.path) + ": kept as " + Utf8(change.backupPath));
      }
      if (!run.complete) {
        recovered.push_back(run);
        continue;
      }
      // What was put back is on disk before its backup goes.
      if (FlushWrittenFiles(contents.templateDirectory, std::vector<TextString>()) != kOk ||
          journal.MarkFinal() != kOk) {
        run.complete = false;
        run.left.push_back(Utf8(run.backupDirectory) + ": could not be flushed to disk");
        recovered.push_back(run);
        continue;
      }
    }
    RemoveStaging(contents.stagingPath);
    RemoveBackupDirectory(run.backupDirectory);
    recovered.push_back(run);
  }
  return recovered;
}

}  // namespace kitsetup
