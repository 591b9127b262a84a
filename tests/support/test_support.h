// What every test folder needs. The text bridges are a UTF-8 codec of their
// own, so that no test checks the conversions with the conversions under test.
#ifndef KITSETUP_TESTS_SUPPORT_TEST_SUPPORT_H
#define KITSETUP_TESTS_SUPPORT_TEST_SUPPORT_H

#include <stdlib.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/text_string.h"

namespace testsupport {

struct NoCopy {  // for what owns a directory, a variable or a process
  NoCopy() = default;
  NoCopy(const NoCopy&) = delete;
  NoCopy& operator=(const NoCopy&) = delete;
};

// A fresh directory under /tmp (tests redirect TMPDIR), removed with all it holds.
class ScratchDir : NoCopy {
 public:
  ScratchDir() {
    char pattern[] = "/tmp/kitsetup-test-XXXXXX";
    if (mkdtemp(pattern) != nullptr) path_ = pattern;
  }
  ~ScratchDir() {
    std::error_code ignored;
    for (std::filesystem::recursive_directory_iterator it(path_, ignored), end; it != end; it.increment(ignored)) {
      if (it->is_directory(ignored) && !it->is_symlink(ignored)) chmod(it->path().c_str(), 0700);
    }
    std::filesystem::remove_all(path_, ignored);
  }

  const std::string& path() const { return path_; }
  std::string At(const std::string& relative) const { return path_ + "/" + relative; }

 private:
  std::string path_;
};

// Sets (value) or unsets (nullptr) a variable until the object goes.
class ScopedEnv : NoCopy {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = getenv(name)) old_ = old;
    value != nullptr ? setenv(name, value, 1) : unsetenv(name);
  }
  ~ScopedEnv() { old_ ? setenv(name_.c_str(), old_->c_str(), 1) : unsetenv(name_.c_str()); }

 private:
  std::string name_;
  std::optional<std::string> old_;
};

inline void MakeDirs(const std::string& path) {
  std::error_code ignored;
  std::filesystem::create_directories(path, ignored);
}

// Writes bytes to path, making its parent directories first.
inline void WriteFile(const std::string& path, const std::string& bytes) {
  MakeDirs(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary | std::ios::trunc).write(bytes.data(), std::streamsize(bytes.size()));
}

// The same, with the file's access and modification times set to `seconds`.
inline void WriteFile(const std::string& path, const std::string& bytes, time_t seconds) {
  WriteFile(path, bytes);
  const timeval times[2] = {{seconds, 0}, {seconds, 0}};
  utimes(path.c_str(), times);
}

// The whole file; empty when it cannot be read.
inline std::string ReadFile(const std::string& path) {
  return std::string(std::istreambuf_iterator<char>(std::ifstream(path, std::ios::binary).rdbuf()), {});
}

// The names in a directory, "." and ".." left out, sorted.
inline std::vector<std::string> ListNames(const std::string& dir) {
  std::vector<std::string> names;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(dir, ignored))
    names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

// UTF-8 to UTF-16; a malformed byte becomes U+FFFD.
inline std::u16string U16(const std::string& utf8) {
  std::u16string out;
  for (size_t i = 0; i < utf8.size();) {
    const unsigned char lead = utf8[i];
    const int extra = lead < 0x80 ? 0 : (lead >> 5) == 6 ? 1 : (lead >> 4) == 14 ? 2 : (lead >> 3) == 30 ? 3 : -1;
    char32_t c = extra == 0 ? lead : extra == 1 ? lead & 0x1F : extra == 2 ? lead & 0x0F : lead & 0x07;
    bool ok = extra >= 0 && i + extra < utf8.size();
    for (int k = 1; ok && k <= extra; ++k) {
      ok = (utf8[i + k] & 0xC0) == 0x80;
      c = (c << 6) | (utf8[i + k] & 0x3F);
    }
    if (!ok) c = 0xFFFD;
    i += ok ? 1 + extra : 1;
    if (c >= 0x10000) out.push_back(char16_t(0xD800 + ((c - 0x10000) >> 10)));
    out.push_back(char16_t(c >= 0x10000 ? 0xDC00 + ((c - 0x10000) & 0x3FF) : c));
  }
  return out;
}

inline std::u16string U16(const kitsetup::TextString& text) { return std::u16string(text.c_str(), text.length()); }

inline kitsetup::TextString Text(const std::u16string& units) { return kitsetup::TextString(units.data(), units.size()); }
inline kitsetup::TextString Text(const char16_t* units) { return Text(std::u16string(units)); }
inline kitsetup::TextString Text(const std::string& utf8) { return Text(U16(utf8)); }
inline kitsetup::TextString Text(const char* utf8) { return Text(std::string(utf8)); }

// UTF-16 to UTF-8; a lone surrogate becomes U+FFFD.
inline std::string Utf8(const kitsetup::TextString& text) {
  std::string out;
  for (size_t i = 0; i < text.length(); ++i) {
    char32_t c = text[i];
    const bool pair = c >= 0xD800 && c < 0xDC00 && i + 1 < text.length() && (text[i + 1] & 0xFC00) == 0xDC00;
    if (pair) c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
    if (!pair && c >= 0xD800 && c < 0xE000) c = 0xFFFD;
    static const unsigned char kLead[] = {0, 0xC0, 0xE0, 0xF0};
    const int extra = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    out.push_back(char(kLead[extra] | (c >> (6 * extra))));
    for (int k = extra - 1; k >= 0; --k) out.push_back(char(0x80 | ((c >> (6 * k)) & 0x3F)));
  }
  return out;
}

// Shell-quotes one word.
inline std::string Quote(const std::string& word) {
  std::string out = "'";
  for (char c : word) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

// The exit status of a command line (or -1).
inline int RunShell(const std::string& command) {
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// What a command line writes to standard output.
inline std::string RunOutput(const std::string& command) {
  std::string out;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[4096];
    for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
    pclose(pipe);
  }
  return out;
}

inline void SleepSeconds(double seconds) { usleep(static_cast<useconds_t>(seconds * 1e6)); }

inline double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// A small tmpfs at `dir` while the object lives; mounted() is false where mounting is not allowed.
class SmallVolume : NoCopy {
 public:
  SmallVolume(const std::string& dir, const std::string& size) : dir_(dir) {
    MakeDirs(dir);
    mounted_ = RunShell("mount -t tmpfs -o size=" + size + " tmpfs " + Quote(dir) + " 2>/dev/null") == 0;
  }
  ~SmallVolume() {
    if (mounted_) RunShell("umount " + Quote(dir_));
  }
  bool mounted() const { return mounted_; }
  void Fill() const { RunShell("cat /dev/zero >" + Quote(dir_ + "/filler") + " 2>/dev/null"); }  // every free byte

 private:
  std::string dir_;
  bool mounted_ = false;
};

// Starts `args` (args[0] the program's path) with `env` ("NAME=value") put
// into its environment (with `only_env`, nothing else), standard input from
// /dev/null, output and error into the files named; its pid.
inline pid_t Spawn(std::vector<std::string> args, std::vector<std::string> env, const std::string& out,
                   const std::string& err, bool only_env = false) {
  const pid_t pid = fork();
  if (pid == 0) {
    if (only_env) clearenv();
    for (std::string& e : env) putenv(&e[0]);
    dup2(open("/dev/null", O_RDONLY), 0);
    dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), 1);
    dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), 2);
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(&a[0]);
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  return pid;
}

// Waits for `pid`: its exit status, or minus the signal that ended it.
inline int WaitForExit(pid_t pid) {
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// What body returns in a forked child, "<child failed>" appended unless it ends cleanly.
inline std::string RunInChild(const std::function<std::string()>& body) {
  int fds[2];
  if (pipe(fds) != 0) return "pipe failed";
  const pid_t pid = fork();
  if (pid == 0) {
    const std::string out = body();
    _exit(write(fds[1], out.data(), out.size()) == static_cast<ssize_t>(out.size()) ? 0 : 1);
  }
  close(fds[1]);
  std::string out;
  char buffer[4096];
  for (ssize_t n; (n = read(fds[0], buffer, sizeof buffer)) > 0;) out.append(buffer, size_t(n));
  close(fds[0]);
  int status = 0;
  const bool clean = pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return clean ? out : out + "<child failed>";
}

// Another process holding an exclusive flock on a path while the object lives.
class LockHolder : NoCopy {
 public:
  explicit LockHolder(const std::string& directory) {
    int ready[2], release[2];
    if (pipe(ready) != 0 || pipe(release) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      close(release[1]);
      const int fd = open(directory.c_str(), O_RDONLY);
      const char held = fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) == 0 ? 1 : 0;
      if (write(ready[1], &held, 1) != 1) _exit(1);
      for (char ignored; read(release[0], &ignored, 1) > 0;) continue;
      _exit(0);
    }
    close(ready[1]);
    close(release[0]);
    release_ = release[1];
    char held = 0;
    held_ = pid_ > 0 && read(ready[0], &held, 1) == 1 && held == 1;
    close(ready[0]);
  }
  ~LockHolder() {
    if (release_ >= 0) close(release_);
    if (pid_ > 0) waitpid(pid_, nullptr, 0);
  }

  bool held() const { return held_; }

 private:
  pid_t pid_ = -1;
  int release_ = -1;
  bool held_ = false;
};

// What python3 prints for `expression` over `json_text` parsed as `d`, or its error.
inline std::string PythonOnJson(const std::string& json_text, const std::string& expression,
                                const std::string& scratch) {
  WriteFile(scratch + "/doc.json", json_text);
  WriteFile(scratch + "/expr.py",
            "import hashlib, json, os, sys\nd = json.load(open(sys.argv[1]))\nprint(" + expression + ")\n");
  std::string out = RunOutput("python3 " + Quote(scratch + "/expr.py") + " " + Quote(scratch + "/doc.json") + " 2>&1");
  while (!out.empty() && out.back() == '\n') out.pop_back();
  return out;
}

// Everything written to standard error (by this process or its children) in body.
inline std::string CaptureStderr(const std::function<void()>& body) {
  std::fflush(stderr);
  char name[] = "/tmp/kitsetup-stderr-XXXXXX";
  const int file = mkstemp(name), saved = dup(STDERR_FILENO);
  dup2(file, STDERR_FILENO);
  body();
  std::fflush(stderr);
  dup2(saved, STDERR_FILENO);
  close(saved);
  close(file);
  const std::string text = ReadFile(name);
  unlink(name);
  return text;
}

// A file's modification time in nanoseconds (st_mtimespec on macOS).
inline int64_t MtimeNs(const struct stat& info) {
#ifdef __APPLE__
  const struct timespec& t = info.st_mtimespec;
#else
  const struct timespec& t = info.st_mtim;
#endif
  return int64_t(t.tv_sec) * 1000000000 + t.tv_nsec;
}

// Everything under a root: kind, mode (~0u, any, unless asked for), bytes and
// time (not a directory's: it moves with every change).
struct NodeState {
  char kind = '?';
  unsigned mode = ~0u;
  std::string bytes;
  int64_t mtime_ns = 0;
  bool operator==(const NodeState& o) const {
    return kind == o.kind && (mode == ~0u || o.mode == ~0u || mode == o.mode) && bytes == o.bytes &&
           mtime_ns == o.mtime_ns;
  }
};
using Snapshot = std::map<std::string, NodeState>;

inline void SnapshotInto(const std::string& root, const std::string& rel, Snapshot& out, bool modes) {
  for (const std::string& name : ListNames(root + rel)) {
    const std::string path = rel + "/" + name;
    struct stat info;
    if (lstat((root + path).c_str(), &info) != 0) continue;
    NodeState& node = out[path];
    node.kind = S_ISDIR(info.st_mode) ? 'd' : S_ISLNK(info.st_mode) ? 'l' : 'f';
    if (modes) node.mode = info.st_mode & 07777;
    if (node.kind == 'd') SnapshotInto(root, path, out, modes);
    if (node.kind != 'd') node.mtime_ns = MtimeNs(info);
    if (node.kind == 'f') node.bytes = ReadFile(root + path);
  }
}
inline Snapshot TakeSnapshot(const std::string& root, bool modes = false) {
  Snapshot out;
  SnapshotInto(root, "", out, modes);
  return out;
}

}  // namespace testsupport

#endif
