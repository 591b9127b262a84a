// install/install_job.h: the install job. It copies every entry of a loaded
// kit into the template directory, keeps each file it replaces in a backup
// directory "r4stp<n>" under the temporary directory, and on failure or
// cancel undoes its work through the transaction: replaced files go back
// byte for byte with their old times, and exactly what the run created
// (directories with their intermediate levels, files written where none
// stood) is removed. Nothing that existed before a run is ever removed.
//
// The job runs on the worker thread and talks to the interface only through
// the progress channel.
#ifndef KITSETUP_INSTALL_INSTALL_JOB_H
#define KITSETUP_INSTALL_INSTALL_JOB_H

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

#include "core/text_string.h"

namespace kitsetup {

struct DistributionKit;
struct ProgressChannel;
class TemplateLock;

struct InstallTransaction {
  TextString rootDirectory;    // the template directory, ending in "/"
  TextString backupDirectory;  // ".../r4stp<n>/"; empty when rootDirectory is
  std::vector<TextString> createdDirectories;  // the highest level each call made
  std::vector<TextString> createdFiles;        // files written where none stood
  // createdDirectories again, for the "does this file lie in a directory the
  // run made" test (such files go away with their directory and are not
  // listed one by one).
  std::set<TextString> createdDirectorySet;
};

struct InstallJob {
  std::vector<InstallTransaction> transactions;  // the job works on the last one
  ProgressChannel* channel = nullptr;            // not owned
  uint32_t finishPauseMs = 1000;  // pause after the finish post (the wizard shows it)
  // The last directory made sure of for a target and for a backup: entries
  // come folder by folder, so most need no look at the disk.
  TextString lastParent;
  TextString lastBackupParent;
  // The template directory's lock (template_lock.h), held until the job is
  // destroyed: from before the first look at the tree to after the rollback.
  std::shared_ptr<TemplateLock> runLock;
};

// The whole run: reads the request from the channel, copies every entry,
// posts (0, target, i * 100 / count) before entry i and (0, finish text, 100)
// at the end, then pauses finishPauseMs. Returns 0; the failing code after
// posting (code, error text, percent) and rolling back; 1223 after a cancel
// (rolled back, nothing posted); 3 for a directory that could not be made.
uint32_t RunInstallJob(InstallJob& job, ProgressChannel* channel);

// Posts (code, "IDS_INSTALL_ERROR" text, percent), rolls back, returns code.
uint32_t ReportInstallError(InstallJob& job, uint32_t code, int32_t percent);

// Appends a transaction for `directory` and, unless it is empty, makes a
// fresh backup directory "<temp>/r4stp<n>/". 0, or the code of the directory
// that could not be made (3, 87).
uint32_t BeginTransaction(InstallJob& job, const TextString& directory);

// Moves `target` to the same relative place under the backup directory.
// 0; 2 when the target does not exist; 3 when the backup subdirectory could
// not be made; 87 when no shell could run.
uint32_t BackupFile(InstallJob& job, const TextString& target);

// Makes `path` with its missing parents. Records in the last transaction the
// highest level that did not exist before, and only when this call made it.
// 0 (also when the directory existed); 3 when it cannot be made; 87.
uint32_t CreateDirectoryRecorded(InstallJob& job, const TextString& path);

// CreateDirectoryRecorded without recording anything.
uint32_t EnsureBackupDirectory(InstallJob& job, const TextString& path);

// Copies entry `index` of the kit to `target` through the kit's copy buffer,
// cuts the target at the end of the data and gives it the entry's time.
// 0; the file layer's code for a failed open or read; 13 when the unpacked
// kit ends before the entry's data does.
uint32_t CopyEntry(DistributionKit& kit, size_t index, const TextString& target);

// Undoes the last transaction (restore, remove backup, remove what was
// created). Returns `code` unchanged.
uint32_t Rollback(InstallJob& job, uint32_t code);

// Removes `path` and everything under it. Always 0.
uint32_t DeleteTree(InstallJob& job, const TextString& path);

// Moves every file under `backup` (ending in "/") back to the same relative
// place under `root` (ending in "/").
void RestoreTree(InstallJob& job, const TextString& root, const TextString& backup);

}  // namespace kitsetup

#endif
