// install/template_lock.h: one run per template directory. A run holds an
// exclusive advisory lock (flock semantics) on the template directory itself
// from before its plan to the end of its rollback; a second run into the same
// directory is refused at once with 32 and changes nothing. Nothing is added
// to the user's tree: the lock lives on the open directory, and it vanishes
// with the process however it ends, which makes a held lock the witness of a
// live run ("journal present and lock free" means that run's process ended).
//
// Protocol:
// - The run locks the template directory when it exists. When it does not
//   exist yet, the run locks the nearest level above it that exists (the one
//   in which it is about to be made), for the whole run; a run that finds
//   the directory appeared while it waited for that level starts over.
// - Having its lock, a run also tests every existing level above the one it
//   holds: a run that made this directory holds one of them. A level held by
//   another run refuses this one too (conservative: that run may be writing
//   here).
// - A volume that cannot lock (SMB, NFS without lockd) is not refused: the
//   run goes on unlocked and the caller logs the warning text.
// - Locks are counted per process: a caller (kittool) that locked before the
//   job shares its lock with the job instead of conflicting with itself.
#ifndef KITSETUP_INSTALL_TEMPLATE_LOCK_H
#define KITSETUP_INSTALL_TEMPLATE_LOCK_H

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "core/text_string.h"

namespace kitsetup {

struct InstallJob;

class TemplateLock {
 public:
  TemplateLock() = default;
  ~TemplateLock() { Release(); }
  TemplateLock(const TemplateLock&) = delete;
  TemplateLock& operator=(const TemplateLock&) = delete;

  // 0 when held, or when the volume cannot lock (warning() then says so);
  // 32 when another run holds the directory or a level above it. An empty
  // directory locks nothing and returns 0.
  uint32_t Acquire(const TextString& directory);
  void Release();

  bool held() const { return held_; }
  // One line for the log, without a prefix; empty unless the volume could
  // not lock.
  const std::string& warning() const { return warning_; }

 private:
  void ReleaseLocked();  // with the process's table of held locks already locked

  bool held_ = false;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  std::string warning_;
};

// Recovery's question: is a run (of this or another process) holding
// `directory`? Tries the locks without waiting and lets go at once.
bool TemplateDirectoryInUse(const TextString& directory);

// The job's lock step, called first in RunInstallJob: takes the lock into the
// job (released when the job is destroyed) and passes a volume's warning to
// the warning sink. 0; 32 after posting (32, "IDS_INSTALL_ERROR", 0), with
// nothing to roll back.
uint32_t HoldTemplateDirectory(InstallJob& job, const TextString& directory);

// Where HoldTemplateDirectory's warnings go: standard error as an event log
// line ("kitsetup: warning <text>") unless a caller sets its own. Null
// restores that default.
using TemplateLockWarningSink = void (*)(const std::string& text);
void SetTemplateLockWarningSink(TemplateLockWarningSink sink);

// The message for a refused run: "another installation into <dir> is running".
std::string TemplateBusyMessage(const TextString& directory);

// --- the platform part (template_lock_linux.cpp, template_lock_mac.cpp) ---
enum class DirectoryLockResult { kLocked, kBusy, kUnsupported, kMissing, kUnopenable };
// Opens `path` as a directory and locks it without waiting (exclusive or
// shared); on kLocked *descriptor is the open directory, close-on-exec.
DirectoryLockResult LockDirectoryNow(const char* path, bool exclusive, int* descriptor);

}  // namespace kitsetup

#endif
