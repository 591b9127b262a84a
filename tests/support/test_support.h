// tests/support/test_support.h: the pieces every test folder needs — a
// scratch directory, a scoped environment variable, whole-file reads and
// writes, text bridges, a forked child and captured standard error.
//
// The text bridges are a small UTF-8 codec of their own, independent of the
// locale and of core/encoding, so a test never checks the conversions with
// the conversions under test.
#ifndef KITSETUP_TESTS_SUPPORT_TEST_SUPPORT_H
#define KITSETUP_TESTS_SUPPORT_TEST_SUPPORT_H

#include <stdlib.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "core/text_string.h"

#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

namespace testsupport {

// A fresh directory under /tmp (not TMPDIR, which tests redirect), removed
// with its contents at the end, read-only directories included.
class ScratchDir {
 public:
  ScratchDir() {
    char pattern[] = "/tmp/kitsetup-test-XXXXXX";
    if (mkdtemp(pattern) != nullptr) path_ = pattern;
  }
  ~ScratchDir() {
    namespace fs = std::filesystem;
    std::error_code ignored;
    if (path_.empty()) return;
    for (auto it = fs::recursive_directory_iterator(path_, ignored);
         it != fs::recursive_directory_iterator(); it.increment(ignored)) {
      if (it->is_directory(ignored) && !it->is_symlink(ignored)) chmod(it->path().c_str(), 0700);
    }
    fs::remove_all(path_, ignored);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  const std::string& path() const { return path_; }
  std::string At(const std::string& relative) const { return path_ + "/" + relative; }

 private:
  std::string path_;
};

// Sets (value) or unsets (nullptr) one environment variable for the life of
// the object; the earlier state comes back afterwards.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    const char* old = getenv(name);
    had_ = old != nullptr;
    if (had_) old_ = old;
    value != nullptr ? setenv(name, value, 1) : unsetenv(name);
  }
  ~ScopedEnv() { had_ ? setenv(name_.c_str(), old_.c_str(), 1) : unsetenv(name_.c_str()); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name_, old_;
  bool had_ = false;
};

inline void MakeDirs(const std::string& path) {
  std::error_code ignored;
  std::filesystem::create_directories(path, ignored);
}

// Writes bytes to path, making its parent directories first.
inline void WriteFile(const std::string& path, const std::string& bytes) {
  const size_t slash = path.rfind('/');
  if (slash != std::string::npos && slash > 0) MakeDirs(path.substr(0, slash));
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
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The names in a directory, "." and ".." left out, sorted.
inline std::vector<std::string> ListNames(const std::string& dir) {
  std::vector<std::string> names;
  if (DIR* d = opendir(dir.c_str())) {
    while (const dirent* e = readdir(d)) {
      const std::string name = e->d_name;
      if (name != "." && name != "..") names.push_back(name);
    }
    closedir(d);
  }
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
      const unsigned char next = utf8[i + k];
      ok = (next & 0xC0) == 0x80;
      c = (c << 6) | (next & 0x3F);
    }
    if (!ok) {
      out.push_back(0xFFFD);
      ++i;
      continue;
    }
    i += 1 + extra;
    if (c >= 0x10000) {
      out.push_back(char16_t(0xD800 + ((c - 0x10000) >> 10)));
      out.push_back(char16_t(0xDC00 + ((c - 0x10000) & 0x3FF)));
    } else {
      out.push_back(char16_t(c));
    }
  }
  return out;
}

inline std::u16string U16(const kitsetup::TextString& text) { return std::u16string(text.c_str(), text.length()); }

inline std::vector<std::u16string> U16s(const std::vector<kitsetup::TextString>& list) {
  std::vector<std::u16string> out;
  for (const auto& s : list) out.push_back(U16(s));
  return out;
}

inline kitsetup::TextString Text(const std::u16string& units) { return kitsetup::TextString(units.data(), units.size()); }
inline kitsetup::TextString Text(const char16_t* units) { return Text(std::u16string(units)); }
inline kitsetup::TextString Text(const std::string& utf8) { return Text(U16(utf8)); }
inline kitsetup::TextString Text(const char* utf8) { return Text(std::string(utf8)); }

// UTF-16 to UTF-8; a lone surrogate becomes U+FFFD.
inline std::string Utf8(const kitsetup::TextString& text) {
  std::string out;
  const size_t n = text.length();
  for (size_t i = 0; i < n; ++i) {
    char32_t c = text[i];
    if (c >= 0xD800 && c < 0xDC00 && i + 1 < n && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
    } else if (c >= 0xD800 && c < 0xE000) {
      c = 0xFFFD;
    }
    if (c < 0x80) {
      out.push_back(char(c));
    } else if (c < 0x800) {
      out += {char(0xC0 | (c >> 6)), char(0x80 | (c & 0x3F))};
    } else if (c < 0x10000) {
      out += {char(0xE0 | (c >> 12)), char(0x80 | ((c >> 6) & 0x3F)), char(0x80 | (c & 0x3F))};
    } else {
      out += {char(0xF0 | (c >> 18)), char(0x80 | ((c >> 12) & 0x3F)), char(0x80 | ((c >> 6) & 0x3F)),
              char(0x80 | (c & 0x3F))};
    }
  }
  return out;
}

// Runs body in a forked child and returns its exit status; -1 when the
// child could not start or did not exit normally. Whatever the child changes
// (environment, working directory, locale, user id) dies with it.
inline int ExitStatusInChild(const std::function<int()>& body) {
  const pid_t pid = fork();
  if (pid == 0) _exit(body());
  int status = 0;
  if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

// Runs body in a forked child and returns the text it returned, with
// "<child failed>" appended when the child did not end cleanly.
inline std::string RunInChild(const std::function<std::string()>& body) {
  int fds[2];
  if (pipe(fds) != 0) return "pipe failed";
  const pid_t pid = fork();
  if (pid == 0) {
    close(fds[0]);
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

// Another process holding an exclusive flock on a directory (or a file)
// until the object goes, as a second installer would.
class LockHolder {
 public:
  explicit LockHolder(const std::string& directory) {
    int ready[2], release[2];
    if (pipe(ready) != 0 || pipe(release) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      close(ready[0]);
      close(release[1]);
      const int fd = open(directory.c_str(), O_RDONLY);
      const char held = fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) == 0 ? 1 : 0;
      if (write(ready[1], &held, 1) != 1) _exit(1);
      char ignored;
      while (read(release[0], &ignored, 1) > 0) {
      }
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
  LockHolder(const LockHolder&) = delete;
  LockHolder& operator=(const LockHolder&) = delete;

  bool held() const { return held_; }

 private:
  pid_t pid_ = -1;
  int release_ = -1;
  bool held_ = false;
};

// Parses `json_text` with python3's json module (as `d`, with json, hashlib
// and os imported), evaluates `expression` and returns what it prints, less
// the final line feeds. Python's own error, when it has one, is returned
// instead. `scratch` is a directory for the two files this needs.
inline std::string PythonOnJson(const std::string& json_text, const std::string& expression,
                                const std::string& scratch) {
  WriteFile(scratch + "/doc.json", json_text);
  WriteFile(scratch + "/expr.py", "import hashlib, json, os, sys\n"
                                  "d = json.load(open(sys.argv[1]))\n"
                                  "print(" + expression + ")\n");
  const std::string command = "python3 '" + scratch + "/expr.py' '" + scratch + "/doc.json' 2>&1";
  std::string out;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char chunk[4096];
    while (size_t n = fread(chunk, 1, sizeof chunk, pipe)) out.append(chunk, n);
    pclose(pipe);
  }
  while (!out.empty() && out.back() == '\n') out.pop_back();
  return out;
}

// Everything written to standard error (by this process or its children)
// while body runs.
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


// A file's modification time in nanoseconds (the field is st_mtimespec on
// macOS, st_mtim on Linux).
inline int64_t MtimeNs(const struct stat& info) {
#ifdef __APPLE__
  const struct timespec& t = info.st_mtimespec;
#else
  const struct timespec& t = info.st_mtim;
#endif
  return int64_t(t.tv_sec) * 1000000000 + t.tv_nsec;
}

// This test program's own path, to start it again; "" when unknown.
inline std::string SelfExecutable() {
  char path[4096];
#ifdef __APPLE__
  uint32_t size = sizeof path;
  return _NSGetExecutablePath(path, &size) == 0 ? std::string(path) : std::string();
#else
  const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  return n > 0 ? std::string(path, size_t(n)) : std::string();
#endif
}

}  // namespace testsupport

#endif
