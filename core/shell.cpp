// core/shell.cpp: libc calls that take a TextString path or command.
#include "core/shell.h"

#include <cstdlib>
#include <cstring>

#include "core/encoding.h"

namespace kitsetup {

FILE* fopen_text(const TextString& path, const TextString& mode) {
  const ByteString path_bytes = ToLocaleBytes(path);
  const ByteString mode_bytes = ToLocaleBytes(mode);
  return std::fopen(path_bytes.c_str(), mode_bytes.c_str());
}

int run_shell(const TextString& command) {
  return run_shell(ToLocaleBytes(command));
}

int run_shell(const ByteString& command) {
  return std::system(command.c_str());
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
