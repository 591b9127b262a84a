// kittool: builds, inspects and installs kits without a window.
#include <cstdio>
#include <cstring>

#include "core/file_fault.h"
#include "tools/kittool/cli_report.h"
#include "tools/kittool/cli_util.h"
#include "tools/kittool/commands.h"
#include "tools/kittool/interrupts.h"

namespace {

const char kUsage[] =
    "usage: kittool <command> [options]\n"
    "\n"
    "commands:\n"
    "  pack     build a kit from a directory of files\n"
    "  list     print a kit's descriptions and entries (--json, --hash)\n"
    "  verify   check that a kit loads and is consistent (--json, --against DIR)\n"
    "  extract  write every entry of a kit into a directory\n"
    "  install  install a kit into a template directory\n"
    "  recover  roll back installs that a crash or a kill cut short\n"
    "\n"
    "  --help     this text; 'kittool <command> --help' for a command's options\n"
    "  --version  print the version (also after any command)\n"
    "\n"
    "Exit codes, for every command:\n"
    "  0        success\n"
    "  1        failed (an installation is rolled back; verify --against found\n"
    "           a difference; output could not be written)\n"
    "  2        bad usage, or a request refused before anything was written\n"
    "  3        kit missing or refused\n"
    "  4        another installation into the same directory is running\n"
    "  130/143  cancelled by SIGINT/SIGTERM (128 + the signal), after cleaning up\n";

struct Command {
  const char* name;
  int (*run)(int, char**);
};

const Command kCommands[] = {
    {"pack", kittool::RunPack},       {"list", kittool::RunList},       {"verify", kittool::RunVerify},
    {"extract", kittool::RunExtract}, {"install", kittool::RunInstall}, {"recover", kittool::RunRecover},
};

// --version among a command's options (before "--") answers for the command.
bool AsksForVersion(int argc, char** argv) {
  for (int i = 0; i < argc && std::strcmp(argv[i], "--"); ++i) {
    if (!std::strcmp(argv[i], "--version")) return true;
  }
  return false;
}

int Run(int argc, char** argv, const char*& command_name) {
  if (argc < 2) return kittool::UsageError("", "no command given");
  if (!std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h") || !std::strcmp(argv[1], "help")) {
    std::fputs(kUsage, stdout);
    return kittool::kExitOk;
  }
  if (!std::strcmp(argv[1], "--version")) {
    std::fputs(kittool::VersionLine(), stdout);
    return kittool::kExitOk;
  }
  kittool::EnsureUtf8Locale();
  for (const Command& command : kCommands) {
    if (std::strcmp(argv[1], command.name)) continue;
    command_name = command.name;
    if (AsksForVersion(argc - 2, argv + 2)) {
      std::fputs(kittool::VersionLine(), stdout);
      return kittool::kExitOk;
    }
    const int code = command.run(argc - 2, argv + 2);
    return kittool::Interrupted() ? kittool::InterruptedExit() : code;
  }
  return kittool::UsageError("", std::string("unknown command '") + argv[1] + "'");
}

}  // namespace

int main(int argc, char** argv) {
  kitsetup::ArmFileFaultsFromEnvironment();  // crash tests' kill points; nothing when unset
  // Before anything else: a signal at any moment is recorded, acted on where
  // the work can stop cleanly, and turned into the exit code below.
  kittool::CatchInterrupts();
  const char* command_name = "";
  int exit_code = Run(argc, argv, command_name);
  if (!kittool::Interrupted()) exit_code = kittool::FinishOutput(*command_name ? command_name : "", exit_code);
  // A signal wins, also a SIGPIPE met while the output was flushed: a closed
  // pipe is how a reader says it has read enough.
  return kittool::Interrupted() ? kittool::InterruptedExit() : exit_code;
}
