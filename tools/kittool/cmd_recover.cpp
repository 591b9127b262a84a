// kittool recover: rolls back installs that a crash, a kill or a power loss
// cut short, as every installing command does before it starts; for
// administrators who want only that.
#include <cstdio>
#include <cstring>
#include <vector>

#include "core/encoding.h"
#include "install/install_recovery.h"
#include "tools/kittool/cli_util.h"
#include "tools/kittool/commands.h"

namespace kittool {
namespace {

const char kRecoverUsage[] =
    "usage: kittool recover [TEMPLATE_DIR]\n"
    "\n"
    "Finds installations that ended without finishing (the process was killed,\n"
    "crashed, or the machine lost power) by the backup directories they left in\n"
    "the temporary directory, puts each template directory back exactly as it\n"
    "was before that installation, and removes what it left behind. With\n"
    "TEMPLATE_DIR, only installations into that directory. Installations still\n"
    "running are left alone. Every installing command does this first.\n"
    "\n"
    "Exit codes: 0 nothing left to recover, 1 a recovery could not complete\n"
    "(what is left and where is printed), 2 bad usage.\n";

}  // namespace

bool ReportRecoveries(const char* command, const kitsetup::TextString& only) {
  bool complete = true;
  for (const kitsetup::RecoveredRun& run : kitsetup::RecoverEndedRuns(only)) {
    if (run.complete) {
      std::fprintf(stderr, "kittool %s: recovered %s\n", command, Utf8(run.templateDirectory).c_str());
      continue;
    }
    complete = false;
    for (const std::string& left : run.left)
      std::fprintf(stderr, "kittool %s: recovery of %s incomplete: %s\n", command,
                   Utf8(run.templateDirectory).c_str(), left.c_str());
  }
  return complete;
}

int RunRecover(int argc, char** argv) {
  std::vector<const char*> operands;
  for (int i = 0; i < argc; ++i) {
    if (IsHelpOption(argv[i])) {
      std::fputs(kRecoverUsage, stdout);
      return kExitOk;
    }
    if (argv[i][0] == '-' && argv[i][1] != '\0') {
      std::fprintf(stderr, "kittool recover: unknown option '%s'\n\n%s", argv[i], kRecoverUsage);
      return kExitUsage;
    }
    operands.push_back(argv[i]);
  }
  if (operands.size() > 1 || (operands.size() == 1 && !*operands[0])) {
    std::fputs(kRecoverUsage, stderr);
    return kExitUsage;
  }
  kitsetup::TextString only;
  if (!operands.empty()) only = kitsetup::FromLocaleBytes(operands[0], std::strlen(operands[0]));
  return ReportRecoveries("recover", only) ? kExitOk : kExitFailed;
}

}  // namespace kittool
