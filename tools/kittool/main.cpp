// kittool: builds, inspects and installs kits without a window.
#include <cstdio>
#include <cstring>

#include "core/file_fault.h"
#include "tools/kittool/cli_util.h"
#include "tools/kittool/commands.h"

namespace {

const char kUsage[] =
    "usage: kittool <command> [options]\n"
    "\n"
    "commands:\n"
    "  pack     build a kit from a directory of files\n"
    "  list     print a kit's descriptions and entries\n"
    "  verify   check that a kit loads and is consistent\n"
    "  install  install a kit into a template directory\n"
    "  recover  roll back installs that a crash or a kill cut short\n"
    "\n"
    "Run 'kittool <command> --help' for a command's options.\n"
    "Exit codes: 0 success, 1 an operation failed, 2 bad usage, 3 kit missing or damaged.\n";

struct Command {
  const char* name;
  int (*run)(int, char**);
};

const Command kCommands[] = {
    {"pack", kittool::RunPack},
    {"list", kittool::RunList},
    {"verify", kittool::RunVerify},
    {"install", kittool::RunInstall},
    {"recover", kittool::RunRecover},
};

}  // namespace

int main(int argc, char** argv) {
  kitsetup::ArmFileFaultsFromEnvironment();  // crash tests' kill points; nothing when unset
  if (argc < 2) {
    std::fputs(kUsage, stderr);
    return kittool::kExitUsage;
  }
  if (!std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h") || !std::strcmp(argv[1], "help")) {
    std::fputs(kUsage, stdout);
    return kittool::kExitOk;
  }
  kittool::EnsureUtf8Locale();
  for (const Command& command : kCommands) {
    if (!std::strcmp(argv[1], command.name)) return command.run(argc - 2, argv + 2);
  }
  std::fprintf(stderr, "kittool: unknown command '%s'\n\n%s", argv[1], kUsage);
  return kittool::kExitUsage;
}
