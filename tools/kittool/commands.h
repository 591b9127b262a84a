// tools/kittool/commands.h: the kittool commands. Each takes the arguments
// after its name and returns the process exit code, one table for all:
// 0 success; 1 failed (an install is rolled back; verify --against found a
// difference); 2 bad usage or a refused request (nothing written);
// 3 kit missing or refused; 4 another installation is running;
// 128+n ended by signal n (130 SIGINT, 143 SIGTERM) after cleaning up.
#ifndef KITSETUP_TOOLS_KITTOOL_COMMANDS_H
#define KITSETUP_TOOLS_KITTOOL_COMMANDS_H

#include "core/text_string.h"

namespace kittool {

enum ExitCode { kExitOk = 0, kExitFailed = 1, kExitUsage = 2, kExitBadKit = 3, kExitBusy = 4 };

int RunPack(int argc, char** argv);
int RunList(int argc, char** argv);
int RunVerify(int argc, char** argv);
int RunExtract(int argc, char** argv);
int RunInstall(int argc, char** argv);
int RunRecover(int argc, char** argv);

// Recovers the ended installs (all, or those into `only`), a line on
// standard error for each, prefixed "kittool COMMAND: ". False when one
// could not complete.
bool ReportRecoveries(const char* command, const kitsetup::TextString& only);

}  // namespace kittool

#endif
