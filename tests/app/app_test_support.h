// tests/app/app_test_support.h: scratch directories, child processes for
// anything that changes the environment or the working directory, captured
// standard error, and kits.
#ifndef KITSETUP_TESTS_APP_APP_TEST_SUPPORT_H
#define KITSETUP_TESTS_APP_APP_TEST_SUPPORT_H

#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>

#include "core/encoding.h"
#include "kit/kit_writer.h"

namespace kitsetup_test {

inline std::string ToStd(const kitsetup::TextString& t) { return kitsetup::ToLocaleBytes(t).c_str(); }
inline kitsetup::TextString Text(const std::string& s) { return kitsetup::FromLocaleBytes(s.data(), s.size()); }

// A fresh directory under /tmp, removed with its contents at the end.
struct ScratchDir {
  std::string path;
  ScratchDir() {
    char pattern[] = "/tmp/kitsetup-app-XXXXXX";
    path = mkdtemp(pattern);
  }
  ~ScratchDir() { std::system(("rm -rf '" + path + "'").c_str()); }
  std::string operator/(const std::string& name) const { return path + "/" + name; }
};

inline void WriteFile(const std::string& path, const std::string& bytes) {
  std::system(("mkdir -p \"$(dirname '" + path + "')\"").c_str());
  std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// Runs body in a forked child and returns the text it returned. The
// child's environment and working directory die with it.
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
  for (ssize_t n; (n = read(fds[0], buffer, sizeof buffer)) > 0;) out.append(buffer, n);
  close(fds[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? out : out + "<child failed>";
}

// Standard error of everything run inside body.
inline std::string CaptureStderr(const std::function<void()>& body) {
  std::fflush(stderr);
  char name[] = "/tmp/kitsetup-stderr-XXXXXX";
  const int file = mkstemp(name), saved = dup(STDERR_FILENO);
  dup2(file, STDERR_FILENO);
  body();
  dup2(saved, STDERR_FILENO);
  close(saved);
  close(file);
  const std::string text = ReadFile(name);
  unlink(name);
  return text;
}

// A legacy-form kit (one description, loaded as "en") holding one file.
inline uint32_t WriteKit(const std::string& path, const char16_t* product, const char16_t* name,
                         const std::string& content) {
  kitsetup::KitBuilder builder;
  builder.SetLegacy(true);
  kitsetup::KitDescription description;
  description.productName = product;
  description.vendorName = u"Acme";
  builder.AddDescription(description);
  builder.AddEntry(name, content, 133000000000000000ULL);
  std::system(("mkdir -p \"$(dirname '" + path + "')\"").c_str());
  return builder.WriteTo(path);
}

}  // namespace kitsetup_test

#endif
