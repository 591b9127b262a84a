// install/template_change.h: the one place through which a run changes the
// template directory. Each change (a directory made, a file moved into the
// backup, a file written) is recorded here right before it is made, and the
// rollback undoes the record newest first. A record whose change never
// happened, or happened only in part, undoes cleanly: each undo looks at
// what is on disk.
#ifndef KITSETUP_INSTALL_TEMPLATE_CHANGE_H
#define KITSETUP_INSTALL_TEMPLATE_CHANGE_H

#include <cstdint>
#include <vector>

#include "core/text_string.h"

namespace kitsetup {

struct InstallJob;

enum class ChangeKind : uint8_t {
  kMadeDirectory,  // path: the highest level a mkdir -p is about to make
  kMovedToBackup,  // path: the user's file; backupPath: where it goes
  kWroteFile,      // path: a file the run writes (fresh, or after its backup)
};

struct TemplateChange {
  ChangeKind kind = ChangeKind::kWroteFile;
  TextString path;
  TextString backupPath;
};

// Records a change the run is about to make, in the job's last transaction.
// 0, or the code that ends the run when the record cannot be kept.
uint32_t RecordChange(InstallJob& job, ChangeKind kind, const TextString& path,
                      const TextString& backup_path = TextString());

// Called after each change undone: (undone so far, changes in all).
using RollbackProgress = void (*)(void* context, size_t done, size_t total);

// Undoes `changes` newest first; a change that could not be undone is tried
// once more after the others. Returns those that still could not be: for
// each kMovedToBackup among them the user's file is still (only) in the
// backup.
std::vector<TemplateChange> UndoChanges(const std::vector<TemplateChange>& changes,
                                        RollbackProgress progress = nullptr, void* context = nullptr);

}  // namespace kitsetup

#endif
