// tools/kittool/cli_report.h: how every kittool command speaks to its
// caller: one line per error that names the file and the reason, short
// usage errors that point to --help, the version, and the check that
// standard output really was written.
#ifndef KITSETUP_TOOLS_KITTOOL_CLI_REPORT_H
#define KITSETUP_TOOLS_KITTOOL_CLI_REPORT_H

#include <cstdint>
#include <string>

namespace kittool {

// The system's code in words: "not found", "damaged or refused kit", ...
const char* CodeMeaning(uint32_t code);

// "kittool COMMAND: FILE: WHAT (error CODE: meaning; OS error text)" on
// standard error; the OS part only when os_error is non-zero, the code part
// only when code is non-zero, the file part only when file is not empty.
void ReportError(const char* command, const std::string& file, const std::string& what, uint32_t code = 0,
                 int os_error = 0);

// "kittool COMMAND: REASON" and a pointer to --help on standard error.
// Returns kExitUsage.
int UsageError(const char* command, const std::string& reason);

// "kittool VERSION" for --version.
const char* VersionLine();

// Flushes and closes standard output. Returns exit_code when that worked;
// otherwise says so on standard error and returns kExitFailed (an exit code
// that already reports a failure is kept).
int FinishOutput(const char* command, int exit_code);

}  // namespace kittool

#endif
