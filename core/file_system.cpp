// core/file_system.cpp: temporary directory and file, directory chains,
// moving and removing.
//
// What each operation does and returns is defined by its shell command. The
// commands cost a shell each (milliseconds, against microseconds for a system
// call), and an install runs two per file, so each operation first tries a
// fast path of plain system calls. A fast path answers only in the cases where
// it is certain to leave the disk as the command would and to return the same
// code; in every other case (an unexpected errno, a trailing "/", a symlink
// where one matters, a destination that exists) it hands the job to the
// command. SetFastPathsEnabled(false) or KITSETUP_NO_FAST_PATHS=1 runs the
// commands alone.
#include "core/file_system.h"

#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/file_fault.h"
#include "core/shell.h"

namespace kitsetup {
namespace {

bool FastPathsFromEnvironment() {
  const char* value = getenv("KITSETUP_NO_FAST_PATHS");
  return !(value != nullptr && strcmp(value, "1") == 0);
}

std::atomic<bool> g_fast_paths{FastPathsFromEnvironment()};

// Bits 8 to 15 of system()'s value, as the result rules read them. A
// command killed by a signal (a Ctrl-C reaches the whole process group) has
// no exit status there, and must not read as a success.
int ExitStatus(int status) { return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : (status >> 8) & 0xFF; }

// `tool P rest`, P reaching the shell literally.
int RunOnPath(const char* tool, const ByteString& path, const char* rest) {
  return run_shell(ByteString(tool) + " " + ShellQuotedPath(path) + rest);
}

bool EndsWithSlash(const std::string& path) { return !path.empty() && path.back() == '/'; }

std::string Plain(const ByteString& bytes) { return std::string(bytes.c_str(), bytes.length()); }

// ---- MakeDirectories --------------------------------------------------------

bool IsDirectory(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// mkdir -p gives the parents it makes u+wx whatever the umask, so that it can
// go on creating below them.
bool GiveParentOwnerWriteSearch(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) return false;
  const mode_t wanted = S_IWUSR | S_IXUSR;
  if ((info.st_mode & wanted) == wanted) return true;
  return chmod(path.c_str(), (info.st_mode & 07777) | wanted) == 0;
}

// Creates the chain level by level. True when every level now exists as a
// directory; false when some step was not plainly "missing" or "there as a
// directory", and mkdir -p must decide (it finishes whatever was begun).
bool MakeChainDirectly(const std::string& path) {
  std::vector<size_t> ends;  // one past the last byte of each component
  for (size_t i = 0; i < path.size(); ++i) {
    if (path[i] != '/' && (i + 1 == path.size() || path[i + 1] == '/')) ends.push_back(i + 1);
  }
  if (ends.empty()) return false;
  size_t first_missing = ends.size() - 1;  // the whole path is known to be missing
  while (first_missing > 0) {
    const std::string parent = path.substr(0, ends[first_missing - 1]);
    struct stat info {};
    if (stat(parent.c_str(), &info) == 0) {
      if (!S_ISDIR(info.st_mode)) return false;
      break;
    }
    if (errno != ENOENT) return false;
    --first_missing;
  }
  for (size_t level = first_missing; level < ends.size(); ++level) {
    const std::string prefix = path.substr(0, ends[level]);
    if (mkdir(prefix.c_str(), 0777) != 0) {
      if (errno == EEXIST && IsDirectory(prefix)) continue;  // made by someone else meanwhile
      return false;
    }
    if (level + 1 < ends.size() && !GiveParentOwnerWriteSearch(prefix)) return false;
  }
  return true;
}

// ---- RemoveTree -------------------------------------------------------------

int RemoveWalkedEntry(const char* path, const struct stat*, int type, struct FTW*) {
  if (type == FTW_NS) return -1;
  if (type == FTW_DP || type == FTW_DNR) return rmdir(path) == 0 ? 0 : -1;
  return unlink(path) == 0 ? 0 : -1;
}

// True when the tree is gone, or was never there.
bool RemoveTreeDirectly(const std::string& path) {
  std::string base = path;
  while (EndsWithSlash(base)) base.pop_back();
  if (base.empty()) return false;  // "" or "/": rm decides (and refuses "/")
  const size_t slash = base.rfind('/');
  const std::string last = slash == std::string::npos ? base : base.substr(slash + 1);
  if (last == "." || last == "..") return false;  // rm refuses these
  struct stat info {};
  if (lstat(base.c_str(), &info) != 0) return errno == ENOENT;
  if (!S_ISDIR(info.st_mode)) {
    // "x/" on a file or a symlink means something else to rm.
    if (EndsWithSlash(path)) return false;
    return unlink(base.c_str()) == 0;
  }
  return nftw(base.c_str(), RemoveWalkedEntry, 16, FTW_DEPTH | FTW_PHYS) == 0;
}

// ---- MoveFile -----------------------------------------------------------------

enum class FastMove { kMoved, kSourceMissing, kUseCommand };

// rename gives mv's result only when the destination does not exist at all:
// mv moves into an existing directory, refuses to move a file onto itself
// and may ask before replacing a write-protected file.
FastMove MoveDirectly(const std::string& source, const std::string& destination) {
  struct stat info {};
  if (lstat(source.c_str(), &info) != 0) {
    return errno == ENOENT ? FastMove::kSourceMissing : FastMove::kUseCommand;
  }
  if (EndsWithSlash(source) || EndsWithSlash(destination) || destination.empty()) {
    return FastMove::kUseCommand;
  }
  if (lstat(destination.c_str(), &info) == 0 || errno != ENOENT) return FastMove::kUseCommand;
  // EXDEV (another file system) and every other failure go to mv.
  return rename(source.c_str(), destination.c_str()) == 0 ? FastMove::kMoved
                                                            : FastMove::kUseCommand;
}

// ---- CreateTempFile ---------------------------------------------------------

std::string UniqueSuffix() {
  static const char kChars[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  thread_local std::mt19937_64 generator([] {
    std::random_device device;
    const uint64_t clock =
        static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    return (static_cast<uint64_t>(device()) << 32) ^ clock ^ static_cast<uint64_t>(getpid());
  }());
  std::uniform_int_distribution<size_t> pick(0, sizeof(kChars) - 2);
  std::string suffix(6, ' ');
  for (char& c : suffix) c = kChars[pick(generator)];
  return suffix;
}

// A name in `directory` that names nothing yet (as far as lstat can tell).
std::string UniqueNameIn(const std::string& directory, const std::string& prefix) {
  std::string base = directory;
  if (!base.empty() && !EndsWithSlash(base)) base += '/';
  std::string name;
  for (int attempt = 0; attempt < 100; ++attempt) {
    name = base + prefix + UniqueSuffix();
    struct stat info {};
    if (lstat(name.c_str(), &info) != 0) break;  // missing, or touch will tell
  }
  return name;
}

enum class FastCreate { kCreated, kCannotCreate, kUseCommand };

FastCreate CreateDirectly(const std::string& name) {
  const int fd = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOCTTY | O_CLOEXEC, 0666);
  if (fd >= 0) {
    close(fd);
    return FastCreate::kCreated;
  }
  // The name is free, so touch would fail for the same reasons: no such
  // directory, not a directory, no permission, read-only file system.
  if (errno == ENOENT || errno == ENOTDIR || errno == EACCES || errno == EROFS) {
    return FastCreate::kCannotCreate;
  }
  return FastCreate::kUseCommand;
}

}  // namespace

void SetFastPathsEnabled(bool enabled) { g_fast_paths.store(enabled); }

bool FastPathsEnabled() { return g_fast_paths.load(); }

uint32_t GetTempDirectory(TextString& out) {
  const char* tmpdir = getenv("TMPDIR");
  const char* chosen = "/var/tmp/";
  struct stat info {};
  if (tmpdir != nullptr && stat(tmpdir, &info) == 0 && (info.st_mode & 0xF000) == 0x4000) {
    chosen = tmpdir;
  }
  TextString path = FromLocaleBytes(chosen, strlen(chosen));
  if (!path.empty() && !path.ends_with(u'/')) path.push_back(u'/');
  out = path;
  return kOk;
}

uint32_t CreateTempFile(const TextString& directory, const TextString& prefix, TextString& out) {
  const std::string name = UniqueNameIn(Plain(ToLocaleBytes(directory)), Plain(ToLocaleBytes(prefix)));
  out = FromLocaleBytes(name.c_str(), name.size());
  if (FastPathsEnabled()) {
    switch (CreateDirectly(name)) {
      case FastCreate::kCreated:
        return kOk;
      case FastCreate::kCannotCreate:
        return kErrCannotCreate;
      case FastCreate::kUseCommand:
        break;
    }
  }
  const int status = RunOnPath("touch", ByteString(name.c_str(), name.size()), " 2>/dev/null");
  return status != 0 ? kErrCannotCreate : kOk;
}

uint32_t MakeDirectories(const TextString& path) {
  const ByteString bytes = ToLocaleBytes(path);
  if (InjectedFileFault(FileOp::kMakeDirectory, bytes.c_str())) return kErrNotFound;
  if (FastPathsEnabled() && !bytes.empty()) {
    const std::string plain = Plain(bytes);
    struct stat info {};
    if (stat(plain.c_str(), &info) == 0) {
      if (S_ISDIR(info.st_mode)) return kOk;
    } else if (errno == ENOENT && MakeChainDirectly(plain)) {
      return kOk;
    }
  }
  const int status = RunOnPath("mkdir -p", bytes, " 2>/dev/null");
  if (status == -1) return kErrInvalidParameter;
  return ExitStatus(status) != 0 ? kErrNotFound : kOk;
}

uint32_t RemoveTree(const TextString& path) {
  const ByteString bytes = ToLocaleBytes(path);
  if (FastPathsEnabled() && RemoveTreeDirectly(Plain(bytes))) return kOk;
  RunOnPath("rm -rf", bytes, " 2>/dev/null");
  return kOk;
}

uint32_t MoveFile(const TextString& source, const TextString& destination) {
  const ByteString from = ToLocaleBytes(source);
  const ByteString to = ToLocaleBytes(destination);
  if (InjectedFileFault(FileOp::kMove, from.c_str())) return kErrNotFound;
  if (FastPathsEnabled()) {
    switch (MoveDirectly(Plain(from), Plain(to))) {
      case FastMove::kMoved:
        return kOk;
      case FastMove::kSourceMissing:
        return kErrNotFound;
      case FastMove::kUseCommand:
        break;
    }
  }
  const int status =
      run_shell(ByteString("mv ") + ShellQuotedPath(from) + " " + ShellQuotedPath(to) + " 2>/dev/null");
  if (status == -1) return kErrInvalidParameter;
  // Only exit status 1 is a failure; mv's other statuses count as success.
  // A killed mv may not have moved anything: the caller looks at the disk.
  return (status & 0xFF00) == 0x100 || WIFSIGNALED(status) ? kErrNotFound : kOk;
}

uint32_t RemoveFile(const TextString& path) {
  const ByteString bytes = ToLocaleBytes(path);
  if (FastPathsEnabled()) {
    // Anything but "gone" or "was never there" goes to rm, whose complaint
    // (a directory, no permission) stays visible on standard error.
    if (unlink(bytes.c_str()) == 0 || errno == ENOENT) return kOk;
  }
  RunOnPath("rm -f", bytes, "");
  return kOk;
}

void RunCommand(const ByteString& command) { (void)run_shell(command); }

TextString ReadCommandLine(const TextString& command) {
  const ByteString bytes = ToLocaleBytes(command);
  FILE* stream = popen(bytes.c_str(), "r");
  if (stream == nullptr) return TextString();
  char line[255] = {};
  size_t kept = 0;
  if (fgets(line, sizeof(line), stream) != nullptr) {
    // The last byte goes, newline or not.
    kept = strlen(line);
    if (kept > 0) line[--kept] = '\0';
  }
  pclose(stream);
  return FromLocaleBytes(line, kept);
}

}  // namespace kitsetup
