// install/template_change.cpp: recording and undoing the run's changes.
#include "install/template_change.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/file_fault.h"
#include "core/file_system.h"
#include "install/install_job.h"
#include "install/install_journal.h"
#include "install/safe_move.h"

namespace kitsetup {
namespace {

bool Gone(const ByteString& path) {
  struct stat info {};
  return lstat(path.c_str(), &info) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

bool Undo(const TemplateChange& change) {
  const ByteString path = ToLocaleBytes(change.path);
  switch (change.kind) {
    case ChangeKind::kWroteFile:
      if (InjectedFileFault(FileOp::kRemove, path.c_str())) return false;
      return unlink(path.c_str()) == 0 || errno == ENOENT || errno == ENOTDIR;
    case ChangeKind::kMadeDirectory:
      if (InjectedFileFault(FileOp::kRemove, path.c_str())) return false;
      RemoveTree(change.path);
      return Gone(path);
    case ChangeKind::kMovedToBackup: {
      // Nothing in the backup: the move never happened (or was undone).
      // The file the run wrote at the path was removed by the newer record
      // of that write; whatever stands there now is replaced.
      if (Gone(ToLocaleBytes(change.backupPath))) return true;
      return MoveWhole(change.backupPath, change.path) == kOk;
    }
  }
  return false;
}

}  // namespace

uint32_t RecordChange(InstallJob& job, ChangeKind kind, const TextString& path,
                      const TextString& backup_path) {
  if (job.transactions.empty()) job.transactions.emplace_back();
  InstallTransaction& t = job.transactions.back();
  const bool replaces = !t.changes.empty() && t.changes.back().kind == ChangeKind::kMovedToBackup &&
                        t.changes.back().path == path;
  if (kind == ChangeKind::kMadeDirectory) t.createdDirectories.push_back(path);
  if (kind == ChangeKind::kWroteFile && !replaces) t.createdFiles.push_back(path);
  t.changes.push_back({kind, path, backup_path});
  // On disk before the change is made; the plan's changes already are.
  return t.journal ? t.journal->Record(t.changes.back()) : kOk;
}

std::vector<TemplateChange> UndoChanges(const std::vector<TemplateChange>& changes,
                                        RollbackProgress progress, void* context) {
  std::vector<const TemplateChange*> again;
  size_t done = 0;
  for (auto it = changes.rbegin(); it != changes.rend(); ++it) {
    if (!Undo(*it)) {
      again.push_back(&*it);
    } else if (it->kind == ChangeKind::kMovedToBackup) {
      // The restored file replaced the run's file at that path, which the
      // first pass may have failed to remove: it is gone now, and trying
      // again would remove the user's file.
      again.erase(std::remove_if(again.begin(), again.end(),
                                 [&](const TemplateChange* c) {
                                   return c->kind == ChangeKind::kWroteFile && c->path == it->path;
                                 }),
                  again.end());
    }
    if (progress) progress(context, ++done, changes.size());
  }
  // A second try for what failed, in the same order.
  std::vector<TemplateChange> failed;
  for (const TemplateChange* change : again)
    if (!Undo(*change)) failed.push_back(*change);
  return failed;
}

}  // namespace kitsetup
