#include "tools/kittool/cli_report.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "core/error_codes.h"
#include "tools/kittool/commands.h"

#ifndef KITSETUP_VERSION
#define KITSETUP_VERSION "unknown"
#endif

namespace kittool {

const char* CodeMeaning(uint32_t code) {
  switch (code) {
    case kitsetup::kOk: return "success";
    case kitsetup::kErrNotFound: return "file not found or command failed";
    case kitsetup::kErrPathNotFound: return "path not found or cannot be made";
    case kitsetup::kErrInvalidHandle: return "invalid file handle";
    case kitsetup::kErrInvalidData: return "damaged or refused kit";
    case kitsetup::kErrInvalidParameter: return "operation failed";
    case kitsetup::kErrAlreadyExists: return "already exists";
    case kitsetup::kErrCannotCreate: return "cannot create the file";
    case kitsetup::kErrCancelled: return "cancelled";
    default: return "unknown error";
  }
}

void ReportError(const char* command, const std::string& file, const std::string& what, uint32_t code,
                 int os_error) {
  std::string line = std::string(*command ? "kittool " : "kittool") + command + ": ";
  if (!file.empty()) line += file + ": ";
  line += what;
  if (code != 0 || os_error != 0) {
    line += " (";
    if (code != 0) line += "error " + std::to_string(code) + ": " + CodeMeaning(code);
    if (code != 0 && os_error != 0) line += "; ";
    if (os_error != 0) line += std::strerror(os_error);
    line += ")";
  }
  std::fprintf(stderr, "%s\n", line.c_str());
}

int UsageError(const char* command, const std::string& reason) {
  std::fprintf(stderr, "kittool%s%s: %s\nRun 'kittool%s%s --help' for usage.\n", *command ? " " : "", command,
               reason.c_str(), *command ? " " : "", command);
  return kExitUsage;
}

const char* VersionLine() { return "kittool " KITSETUP_VERSION "\n"; }

int FinishOutput(const char* command, int exit_code) {
  const bool failed = std::ferror(stdout) != 0;
  errno = 0;
  const bool unwritten = std::fflush(stdout) != 0;
  const int os_error = errno;
  const bool unclosed = std::fclose(stdout) != 0;
  if (!failed && !unwritten && !unclosed) return exit_code;
  ReportError(command, "standard output", "cannot write the output", 0, os_error ? os_error : EIO);
  return exit_code == kExitOk ? kExitFailed : exit_code;
}

}  // namespace kittool
