// tools/kittool/commands.h: the kittool commands. Each takes the arguments
// after its name and returns the process exit code:
// 0 success, 1 an operation failed, 2 bad usage, 3 kit missing or damaged,
// 4 another installation holds the template directory. A signal makes it
// 128 + its number (interrupts.h).
#ifndef KITSETUP_TOOLS_KITTOOL_COMMANDS_H
#define KITSETUP_TOOLS_KITTOOL_COMMANDS_H

namespace kittool {

enum ExitCode { kExitOk = 0, kExitFailed = 1, kExitUsage = 2, kExitBadKit = 3, kExitBusy = 4 };

int RunPack(int argc, char** argv);
int RunList(int argc, char** argv);
int RunVerify(int argc, char** argv);
int RunInstall(int argc, char** argv);

}  // namespace kittool

#endif
