// install/install_job.h: the install job. It plans the whole run first
// (install/install_plan.h) and changes nothing when the plan is refused.
// Then it copies every entry that the plan adds or replaces into the template
// directory, keeps each file it replaces in a backup directory "r4stp<n>"
// under the temporary directory, and records each change it makes
// (install/template_change.h) right before making it. On failure or cancel
// the rollback undoes the record: replaced files go back byte for byte with
// their old times, and exactly what the run created is removed. A user's
// file whose backup cannot be put back stays in the backup directory, which
// is then kept and named on standard error.
//
// The job runs on the worker thread and talks to the interface only through
// the progress channel.
#ifndef KITSETUP_INSTALL_INSTALL_JOB_H
#define KITSETUP_INSTALL_INSTALL_JOB_H

#include <cstdint>
#include <memory>
#include <vector>

#include "core/text_string.h"
#include "install/install_plan.h"
#include "install/template_change.h"

namespace kitsetup {

struct DistributionKit;
struct ProgressChannel;
class InstallJournal;
class TemplateLock;

struct InstallTransaction {
  TextString rootDirectory;    // the template directory, ending in "/"
  TextString backupDirectory;  // ".../r4stp<n>/"; empty when rootDirectory is
  std::vector<TextString> createdDirectories;  // the highest level each call made
  std::vector<TextString> createdFiles;        // files written where none stood
  std::vector<TemplateChange> changes;         // every change, in the order made
  bool backupKept = false;  // a rollback could not put every file back
  // The crash record in the backup directory (install_journal.h), locked
  // while the run lives; none before BeginJournal or without a backup directory.
  std::shared_ptr<InstallJournal> journal;
};

struct InstallJob {
  std::vector<InstallTransaction> transactions;  // the job works on the last one
  ProgressChannel* channel = nullptr;            // not owned
  uint32_t finishPauseMs = 1000;  // pause after the finish post (the wizard shows it)
  InstallPlan plan;               // the run's plan, kept for tools and tests
  RollbackProgress rollbackProgress = nullptr;  // told after each change undone
  void* rollbackContext = nullptr;
  // The last directory made sure of for a target and for a backup: entries
  // come folder by folder, so most need no look at the disk.
  TextString lastParent;
  TextString lastBackupParent;
  // The template directory's lock (template_lock.h), held until the job is
  // destroyed: from before the first look at the tree to after the rollback.
  std::shared_ptr<TemplateLock> runLock;
};

// The whole run: reads the request from the channel, plans, copies every
// entry, posts (0, target, i * 100 / count) before entry i and (0, finish
// text, 100) at the end, then pauses finishPauseMs. Returns 0; the failing
// code after posting (code, error text, percent) and rolling back (a refused
// plan posts percent 0 and has nothing to roll back: see MakeInstallPlan for
// its codes); 1223 after a cancel (rolled back, nothing posted).
uint32_t RunInstallJob(InstallJob& job, ProgressChannel* channel);

// Posts (code, "IDS_INSTALL_ERROR" text, percent), rolls back, returns code.
uint32_t ReportInstallError(InstallJob& job, uint32_t code, int32_t percent);

// Appends a transaction for `directory` and, unless it is empty, makes a
// fresh backup directory "<temp>/r4stp<n>/". 0, or the code of the directory
// that could not be made (3, 87).
uint32_t BeginTransaction(InstallJob& job, const TextString& directory);

// Writes the last transaction's journal: the template directory, the kit's
// staging file and every change the plan foresees, on disk before the first
// change. 0, or 87 when it could not be written (nothing changed yet).
uint32_t BeginJournal(InstallJob& job, const TextString& staging_path);

// Ends a run whose every entry is in place: the written files flushed to
// disk, the journal marked final, then the backup directory removed (its
// journal last). 0, or 87 when the flush or the journal failed (the run then
// rolls back).
uint32_t CommitTransaction(InstallJob& job);

// Moves `target` whole to the same relative place under the backup
// directory. 0; 2 (or 3) only when nothing exists at the target; 87 when an
// existing target could not be backed up (no room, no inodes or no
// permission in the temporary directory, a folder that forbids removing it).
uint32_t BackupFile(InstallJob& job, const TextString& target);

// Makes `path` with its missing parents. Records in the last transaction the
// highest level that did not exist before (also when mkdir -p then fails
// midway, so the levels it made are removed on rollback). 0 (also when the
// directory existed); 3 when it cannot be made; 87.
uint32_t CreateDirectoryRecorded(InstallJob& job, const TextString& path);

// CreateDirectoryRecorded without recording anything.
uint32_t EnsureBackupDirectory(InstallJob& job, const TextString& path);

// Copies entry `index` of the kit to `target` through the kit's copy buffer,
// cuts the target at the end of the data and gives it the entry's time.
// 0; the file layer's code for a failed open, read, truncate or close; 87
// for a write that failed or fell short (a full disk); 13 when the unpacked
// kit ends before the entry's data does.
uint32_t CopyEntry(DistributionKit& kit, size_t index, const TextString& target);

// Undoes the last transaction's changes, newest first, then removes its
// backup directory, unless a file could not be put back: then the backup
// directory stays and standard error says where. Returns `code` unchanged.
uint32_t Rollback(InstallJob& job, uint32_t code);

// Removes `path` and everything under it. Always 0.
uint32_t DeleteTree(InstallJob& job, const TextString& path);

}  // namespace kitsetup

#endif
