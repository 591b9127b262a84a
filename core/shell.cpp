// core/shell.cpp: libc calls that take a TextString path or command.
#include "core/shell.h"

#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "core/encoding.h"

extern char** environ;

namespace kitsetup {

FILE* fopen_text(const TextString& path, const TextString& mode) {
  const ByteString path_bytes = ToLocaleBytes(path);
  const ByteString mode_bytes = ToLocaleBytes(mode);
  return std::fopen(path_bytes.c_str(), mode_bytes.c_str());
}

ByteString ShellQuotedPath(const ByteString& path) {
  ByteString quoted(path.c_str()[0] == '-' ? "'./" : "'");
  const char* units = path.c_str();
  for (size_t i = 0, n = path.length(); i < n; ++i) {
    if (units[i] == '\'') {
      quoted.append("'\\''");
    } else {
      quoted.push_back(units[i]);
    }
  }
  quoted.push_back('\'');
  return quoted;
}

int run_shell(const TextString& command) {
  return run_shell(ToLocaleBytes(command));
}

int run_shell(const ByteString& command) {
  // system() would ignore SIGINT and SIGQUIT here until the command ends;
  // the shell is started and awaited directly so that they still reach the
  // caller's handlers (or end it, as by default).
  char sh[] = "sh";
  char dash_c[] = "-c";
  char* argv[] = {sh, dash_c, const_cast<char*>(command.c_str()), nullptr};
  pid_t pid = 0;
  if (posix_spawn(&pid, "/bin/sh", nullptr, nullptr, argv, environ) != 0) return -1;
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return status;
}

TextString read_command_output(const TextString& command) {
  const ByteString bytes = ToLocaleBytes(command);
  FILE* pipe = popen(bytes.c_str(), "r");
  if (pipe == nullptr) return TextString();
  char line[255];
  TextString result;
  if (std::fgets(line, sizeof(line), pipe) != nullptr) {
    result = FromLocaleBytes(line, std::strlen(line));
  }
  pclose(pipe);
  return result;
}

}  // namespace kitsetup
