// install/install_job.cpp: the run of one install job over the kit's entries.
#include "install/install_job.h"

#include <sys/stat.h>
#include <unistd.h>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/messages.h"
#include "install/progress_channel.h"
#include "install/template_lock.h"
#include "kit/distribution_kit.h"
#include "kit/file_handle.h"

namespace kitsetup {
namespace {

// True when the target is at least as new as the entry, comparing the high
// 32-bit halves of the two file times first and then the low halves: such a
// file is kept as it is.
bool KeepsExistingFile(const TextString& target, uint64_t entry_time) {
  FileHandle handle = kNoHandle;
  if (OpenFileHandle(target, kAccessRead, 0, kDispositionOpenExisting, &handle) != kOk) return false;
  uint64_t target_time = 0;
  GetFileHandleTimes(handle, nullptr, nullptr, &target_time);
  CloseFileHandle(handle);
  uint32_t target_high = static_cast<uint32_t>(target_time >> 32);
  uint32_t entry_high = static_cast<uint32_t>(entry_time >> 32);
  if (target_high != entry_high) return target_high > entry_high;
  return static_cast<uint32_t>(target_time) >= static_cast<uint32_t>(entry_time);
}

bool NothingAt(const TextString& path) {
  struct stat info;
  return lstat(ToLocaleBytes(path).c_str(), &info) != 0;
}

// Does `dir` (or one of its ancestors) appear among the directories this
// transaction made? Files in there leave with their directory.
bool InCreatedDirectory(const InstallTransaction& t, TextString dir) {
  if (t.createdDirectorySet.empty()) return false;
  for (;;) {
    if (t.createdDirectorySet.count(dir)) return true;
    size_t slash = dir.rfind(u'/');
    if (slash == TextString::npos || slash == 0) return false;
    dir = dir.substr(0, slash);
  }
}

}  // namespace

uint32_t ReportInstallError(InstallJob& job, uint32_t code, int32_t percent) {
  PostProgress(job.channel, code, LookupMessage("IDS_INSTALL_ERROR"), percent);
  return Rollback(job, code);
}

uint32_t RunInstallJob(InstallJob& job, ProgressChannel* channel) {
  job.channel = channel;
  DistributionKit* kit = nullptr;
  TextString directory;
  ReadRequest(channel, &kit, &directory);
  if (uint32_t busy = HoldTemplateDirectory(job, directory)) return busy;

  uint32_t code = BeginTransaction(job, directory);
  if (code != kOk) return ReportInstallError(job, code, 0);
  if (kit == nullptr) return ReportInstallError(job, kErrInvalidParameter, 0);

  const size_t count = kit->entries.size();
  for (size_t i = 0; i < count; ++i) {
    const KitEntry& entry = kit->entries[i];
    TextString name = entry.name;
    name.replace_all(TextString(u"\\"), TextString(u"/"));
    TextString target = directory + name;

    const int32_t percent = static_cast<int32_t>(static_cast<uint64_t>(i) * 100 / count);
    PostProgress(channel, kOk, target, percent);

    if (KeepsExistingFile(target, entry.writeTime)) continue;
    // Asked before the backup moves the old file away: was anything there?
    const bool fresh = NothingAt(target);

    code = BackupFile(job, target);
    if (code != kOk && code != kErrNotFound && code != kErrPathNotFound)
      return ReportInstallError(job, code, percent);

    size_t slash = target.rfind(u'/');
    TextString parent = slash == TextString::npos ? target : target.substr(0, slash);
    if (parent != job.lastParent) {
      code = CreateDirectoryRecorded(job, parent);
      if (code != kOk) return ReportInstallError(job, code, percent);
      job.lastParent = parent;
    }

    InstallTransaction& t = job.transactions.back();
    if (fresh && !InCreatedDirectory(t, parent)) t.createdFiles.push_back(target);

    code = CopyEntry(*kit, i, target);
    if (code != kOk) return ReportInstallError(job, code, percent);

    if (IsCancelled(channel)) return Rollback(job, kErrCancelled);
  }

  DeleteTree(job, job.transactions.back().backupDirectory);
  PostProgress(channel, kOk, LookupMessage("IDS_INSTALL_FINISH"), 100);
  if (job.finishPauseMs) usleep(job.finishPauseMs * 1000);
  return kOk;
}

}  // namespace kitsetup
