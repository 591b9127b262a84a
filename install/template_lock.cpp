// install/template_lock.cpp: which level to lock, the per-process count of
// held locks, and the job's lock step. The open-and-lock call itself is the
// platform part.
#include "install/template_lock.h"

#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <mutex>
#include <vector>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/messages.h"
#include "core/utf8.h"
#include "install/install_job.h"
#include "install/progress_channel.h"

namespace kitsetup {
namespace {

struct HeldLock {
  dev_t device;
  ino_t inode;
  int descriptor;
  int count;
};

// The locks this process holds, so that a second holder in the process
// shares the first one's lock (two opens of one directory would conflict).
std::mutex g_held_mutex;
std::vector<HeldLock> g_held;

HeldLock* FindHeld(dev_t device, ino_t inode) {
  for (HeldLock& h : g_held)
    if (h.device == device && h.inode == inode) return &h;
  return nullptr;
}

void DefaultSink(const std::string& text) {
  const std::string line = "kitsetup: warning " + text + "\n";
  ssize_t ignored = write(STDERR_FILENO, line.data(), line.size());  // one write: lines never mix
  (void)ignored;
}

TemplateLockWarningSink g_sink = DefaultSink;

bool IsDirectory(const std::string& path, struct stat* info) {
  return stat(path.c_str(), info) == 0 && S_ISDIR(info->st_mode);
}

// "/a/b" -> "/a"; "/a" -> "/"; "/" stays "/".
std::string Parent(const std::string& path) {
  size_t slash = path.rfind('/');
  return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

// The directory as an absolute path without trailing separators.
std::string AbsolutePath(const TextString& directory) {
  std::string path = ToLocaleBytes(directory).c_str();
  if (path.empty() || path[0] != '/') {
    char cwd[4096];
    path = std::string(getcwd(cwd, sizeof cwd) ? cwd : ".") + "/" + path;
  }
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

// The directory itself when it exists, else the nearest existing level above.
std::string NearestExistingLevel(const std::string& path) {
  std::string level = path;
  struct stat info;
  while (level != "/" && !IsDirectory(level, &info)) level = Parent(level);
  return level;
}

// Is any level from `level` up to the root held by another run? Levels this
// process holds do not count. Caller holds g_held_mutex.
bool HeldElsewhere(std::string level, bool include_first) {
  for (bool first = true;; first = false) {
    struct stat info;
    if ((include_first || !first) && IsDirectory(level, &info) && !FindHeld(info.st_dev, info.st_ino)) {
      int fd = -1;
      DirectoryLockResult r = LockDirectoryNow(level.c_str(), false, &fd);
      if (r == DirectoryLockResult::kBusy) return true;
      if (r == DirectoryLockResult::kLocked) close(fd);
    }
    if (level == "/") return false;
    level = Parent(level);
  }
}

}  // namespace

uint32_t TemplateLock::Acquire(const TextString& directory) {
  Release();
  warning_.clear();
  if (directory.empty()) return kOk;
  const std::string path = AbsolutePath(directory);
  std::lock_guard<std::mutex> hold(g_held_mutex);
  // A few rounds: the directory may appear while we lock the level above it.
  for (int round = 0; round < 8; ++round) {
    const std::string level = NearestExistingLevel(path);
    struct stat info;
    if (!IsDirectory(level, &info)) continue;
    if (HeldLock* mine = FindHeld(info.st_dev, info.st_ino)) {
      ++mine->count;
    } else {
      int fd = -1;
      switch (LockDirectoryNow(level.c_str(), true, &fd)) {
        case DirectoryLockResult::kLocked:
          fstat(fd, &info);
          g_held.push_back({info.st_dev, info.st_ino, fd, 1});
          break;
        case DirectoryLockResult::kBusy:
          return kErrSharingViolation;
        case DirectoryLockResult::kMissing:
          continue;
        case DirectoryLockResult::kUnsupported:
          warning_ = level + ": the volume cannot lock; installing without protection against a "
                     "second installer";
          return kOk;
        case DirectoryLockResult::kUnopenable:
          warning_ = level + ": cannot be opened to lock it; installing without protection against "
                     "a second installer";
          return kOk;
      }
    }
    held_ = true;
    device_ = info.st_dev;
    inode_ = info.st_ino;
    // The directory (or a level between) appeared after we looked: lock again.
    if (NearestExistingLevel(path) != level) {
      ReleaseLocked();
      continue;
    }
    if (HeldElsewhere(level, false)) {
      ReleaseLocked();
      return kErrSharingViolation;
    }
    return kOk;
  }
  return kErrSharingViolation;
}

void TemplateLock::Release() {
  if (!held_) return;
  std::lock_guard<std::mutex> hold(g_held_mutex);
  ReleaseLocked();
}

void TemplateLock::ReleaseLocked() {
  held_ = false;
  for (size_t i = 0; i < g_held.size(); ++i) {
    if (g_held[i].device != device_ || g_held[i].inode != inode_) continue;
    if (--g_held[i].count == 0) {
      close(g_held[i].descriptor);
      g_held.erase(g_held.begin() + static_cast<std::ptrdiff_t>(i));
    }
    return;
  }
}

bool TemplateDirectoryInUse(const TextString& directory) {
  if (directory.empty()) return false;
  const std::string level = NearestExistingLevel(AbsolutePath(directory));
  std::lock_guard<std::mutex> hold(g_held_mutex);
  struct stat info;
  if (IsDirectory(level, &info) && FindHeld(info.st_dev, info.st_ino)) return true;
  return HeldElsewhere(level, true);
}

uint32_t HoldTemplateDirectory(InstallJob& job, const TextString& directory) {
  auto lock = std::make_shared<TemplateLock>();
  if (uint32_t code = lock->Acquire(directory)) {
    PostProgress(job.channel, code, LookupMessage("IDS_INSTALL_ERROR"), 0);
    return code;
  }
  if (!lock->warning().empty()) g_sink(lock->warning());
  job.runLock = std::move(lock);
  return kOk;
}

void SetTemplateLockWarningSink(TemplateLockWarningSink sink) { g_sink = sink ? sink : DefaultSink; }

std::string TemplateBusyMessage(const TextString& directory) {
  return "another installation into " + Utf8(directory) + " is running";
}

}  // namespace kitsetup
