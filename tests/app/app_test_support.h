// tests/app/app_test_support.h: what the app tests share: a scratch
// directory, child processes for anything that changes the environment or
// the working directory, standard error captured into a string, and kits.
#ifndef KITSETUP_TESTS_APP_APP_TEST_SUPPORT_H
#define KITSETUP_TESTS_APP_APP_TEST_SUPPORT_H

#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "core/encoding.h"
#include "core/text_string.h"
#include "kit/kit_writer.h"

namespace kitsetup_test {

inline std::string ToStd(const kitsetup::TextString& t) {
  const kitsetup::ByteString b = kitsetup::ToLocaleBytes(t);
  return std::string(b.c_str(), b.length());
}
inline kitsetup::TextString Text(const std::string& s) {
  return kitsetup::FromLocaleBytes(s.data(), s.size());
}

// A fresh directory under /tmp, removed with its contents at the end.
class ScratchDir {
 public:
  ScratchDir() {
    char pattern[] = "/tmp/kitsetup-app-XXXXXX";
    path_ = mkdtemp(pattern);
  }
  ~ScratchDir() { std::system(("rm -rf '" + path_ + "'").c_str()); }
  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

inline void WriteFile(const std::string& path, const std::string& bytes) {
  std::system(("mkdir -p \"$(dirname '" + path + "')\"").c_str());
  std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

// Runs body in a forked child and returns what it returned (through a
// pipe). The child's environment and working directory die with it.
inline std::string RunInChild(const std::function<std::string()>& body) {
  int fds[2];
  if (pipe(fds) != 0) return "pipe failed";
  const pid_t pid = fork();
  if (pid == 0) {
    close(fds[0]);
    const std::string out = body();
    ssize_t ignored = write(fds[1], out.data(), out.size());
    (void)ignored;
    close(fds[1]);
    _exit(0);
  }
  close(fds[1]);
  std::string out;
  char buffer[4096];
  ssize_t n;
  while ((n = read(fds[0], buffer, sizeof buffer)) > 0) out.append(buffer, static_cast<size_t>(n));
  close(fds[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) out += "<child failed>";
  return out;
}

// Standard error of everything run inside body.
inline std::string CaptureStderr(const std::function<void()>& body) {
  std::fflush(stderr);
  char name[] = "/tmp/kitsetup-stderr-XXXXXX";
  const int file = mkstemp(name);
  const int saved = dup(STDERR_FILENO);
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

// Writes a legacy-form kit (one description, loaded as "en") with one file
// `name` holding `content` to `path`. 0 on success.
inline uint32_t WriteKit(const std::string& path, const std::u16string& product,
                         const std::u16string& vendor, const std::u16string& name,
                         const std::string& content) {
  kitsetup::KitBuilder builder;
  builder.SetLegacy(true);
  kitsetup::KitDescription description;
  description.productName = kitsetup::TextString(product.c_str());
  description.vendorName = kitsetup::TextString(vendor.c_str());
  builder.AddDescription(description);
  builder.AddEntry(kitsetup::TextString(name.c_str()), content, 133000000000000000ULL);
  std::system(("mkdir -p \"$(dirname '" + path + "')\"").c_str());
  return builder.WriteTo(path);
}

}  // namespace kitsetup_test

#endif
