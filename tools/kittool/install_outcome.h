// tools/kittool/install_outcome.h: how one `kittool install` ended, told
// once for people (an error line on standard error) and once for scripts
// (with --json, one JSON object on standard output, schema 1).
#ifndef KITSETUP_TOOLS_KITTOOL_INSTALL_OUTCOME_H
#define KITSETUP_TOOLS_KITTOOL_INSTALL_OUTCOME_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace kitsetup {
struct InstallPlan;
}

namespace kittool {

struct InstallOutcome {
  // "installed" | "unchanged" | "failed" | "cancelled" | "refused"
  const char* result = "failed";
  bool dryRun = false;
  std::string directory;  // UTF-8 (bytes as typed when the locale cannot convert them)
  // From the plan: what the run wrote; with --dry-run, what it would write;
  // after a failure or a cancel, what it set out to write before it rolled
  // back. Zero when no plan was made.
  size_t added = 0, replaced = 0, kept = 0;
  uint64_t bytes = 0;    // data of the added and replaced files
  uint32_t code = 0;     // the system's code, 0 on success
  std::string message;   // the error line's reason, "" on success
  std::string failedAt;  // the file the run stopped at or refused, or ""

  // Counts and bytes from `plan`: "installed", or "unchanged" when the plan
  // keeps every file.
  void Planned(const kitsetup::InstallPlan& plan);

  // Records the end of the run: result, code, failedAt = `file`, message =
  // `what` with the code in words.
  void Record(const char* ended, const std::string& file, const std::string& what, uint32_t error_code,
              int os_error = 0);

  // Record, and the same as one error line on standard error.
  void Report(const char* ended, const std::string& file, const std::string& what, uint32_t error_code,
              int os_error = 0);
};

// The outcome as one line of JSON on standard output.
void PrintInstallJson(const InstallOutcome& outcome);

}  // namespace kittool

#endif
