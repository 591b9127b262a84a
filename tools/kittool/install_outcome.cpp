#include "tools/kittool/install_outcome.h"

#include <cinttypes>
#include <cstdio>

#include "install/install_plan.h"
#include "tools/kittool/cli_report.h"
#include "tools/kittool/cli_util.h"

namespace kittool {

void InstallOutcome::Planned(const kitsetup::InstallPlan& plan) {
  added = plan.adds;
  replaced = plan.replaces;
  kept = plan.keeps;
  bytes = plan.bytesToWrite;
  result = added + replaced == 0 ? "unchanged" : "installed";
}

void InstallOutcome::Record(const char* ended, const std::string& file, const std::string& what,
                            uint32_t error_code, int os_error) {
  result = ended;
  code = error_code;
  failedAt = file;
  message = ErrorText(what, error_code, os_error);
}

void InstallOutcome::Report(const char* ended, const std::string& file, const std::string& what,
                            uint32_t error_code, int os_error) {
  Record(ended, file, what, error_code, os_error);
  ReportError("install", file, what, error_code, os_error);
}

void PrintInstallJson(const InstallOutcome& outcome) {
  std::printf("{\"schema\": 1, \"result\": \"%s\", \"dryRun\": %s, \"templateDirectory\": %s, \"added\": %zu, "
              "\"replaced\": %zu, \"kept\": %zu, \"bytes\": %" PRIu64 ", \"code\": %" PRIu32
              ", \"message\": %s, \"failedAt\": %s}\n",
              outcome.result, outcome.dryRun ? "true" : "false", JsonUtf8String(outcome.directory).c_str(),
              outcome.added, outcome.replaced, outcome.kept, outcome.bytes, outcome.code,
              JsonUtf8String(outcome.message).c_str(), JsonUtf8String(outcome.failedAt).c_str());
}

}  // namespace kittool
