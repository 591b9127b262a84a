// install/install_job.cpp: the run of one install job over the kit's entries.
#include "install/install_job.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/messages.h"
#include "install/progress_channel.h"
#include "install/template_lock.h"
#include "kit/distribution_kit.h"

namespace kitsetup {
namespace {

bool NothingAt(const TextString& path) {
  struct stat info;
  return lstat(ToLocaleBytes(path).c_str(), &info) != 0 && errno == ENOENT;
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
  if (kit == nullptr) {
    PostProgress(channel, kErrInvalidParameter, LookupMessage("IDS_INSTALL_ERROR"), 0);
    return kErrInvalidParameter;
  }

  // A refused plan ends the run before anything exists to roll back, the
  // backup directory included.
  uint32_t code = MakeInstallPlan(*kit, directory, job.plan);
  if (code != kOk) {
    PostProgress(channel, code, LookupMessage("IDS_INSTALL_ERROR"), 0);
    return code;
  }
  code = BeginTransaction(job, directory);
  if (code == kOk) code = BeginJournal(job, kit->stagingPath);
  if (code != kOk) return ReportInstallError(job, code, 0);

  const size_t count = kit->entries.size();
  for (size_t i = 0; i < count; ++i) {
    const PlannedEntry& planned = job.plan.entries[i];
    const TextString& target = planned.target;
    const int32_t percent = static_cast<int32_t>(static_cast<uint64_t>(i) * 100 / count);
    PostProgress(channel, kOk, target, percent);

    if (planned.action == PlanAction::kKeep) continue;
    // A file planned as new is still backed up if one has appeared since.
    if (planned.action == PlanAction::kReplace || !NothingAt(target)) {
      code = BackupFile(job, target);
      if (code != kOk && code != kErrNotFound && code != kErrPathNotFound)
        return ReportInstallError(job, code, percent);
    }

    size_t slash = target.rfind(u'/');
    TextString parent = slash == TextString::npos ? target : target.substr(0, slash);
    if (parent != job.lastParent) {
      code = CreateDirectoryRecorded(job, parent);
      if (code != kOk) return ReportInstallError(job, code, percent);
      job.lastParent = parent;
    }

    code = RecordChange(job, ChangeKind::kWroteFile, target);
    if (code == kOk) code = CopyEntry(*kit, i, target);
    if (code != kOk) return ReportInstallError(job, code, percent);

    if (IsCancelled(channel)) return Rollback(job, kErrCancelled);
  }

  // A cancel that came after the last file's check still wins here; one
  // that comes later is refused, so that nobody reports a committed run as
  // cancelled.
  if (!BeginCommit(channel)) return Rollback(job, kErrCancelled);
  code = CommitTransaction(job);
  if (code != kOk) return ReportInstallError(job, code, 100);
  PostProgress(channel, kOk, LookupMessage("IDS_INSTALL_FINISH"), 100);
  if (job.finishPauseMs) usleep(job.finishPauseMs * 1000);
  return kOk;
}

}  // namespace kitsetup
