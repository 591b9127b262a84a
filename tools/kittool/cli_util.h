// tools/kittool/cli_util.h: pieces the kit commands share: text for the
// terminal and for JSON, and the signal handling that lets a command remove
// its staging file before it dies.
#ifndef KITSETUP_TOOLS_KITTOOL_CLI_UTIL_H
#define KITSETUP_TOOLS_KITTOOL_CLI_UTIL_H

#include <csignal>
#include <string>

#include "core/text_string.h"
#include "core/utf8.h"
#include "kit/distribution_kit.h"

namespace kittool {

using kitsetup::Utf8;  // locale-independent UTF-8 for the terminal

// The text as a JSON string literal, quotes included: '"', '\' and control
// characters escaped, lone surrogates as \uXXXX, the rest as UTF-8.
std::string JsonString(const kitsetup::TextString& text);

bool IsHelpOption(const char* arg);

// Names on disk and in kits are converted through the locale: when the
// environment names none, use a UTF-8 one (C.UTF-8 on Linux, en_US.UTF-8 on
// macOS) rather than the C locale, which cannot convert anything beyond ASCII.
void EnsureUtf8Locale();

// SIGINT, SIGTERM, SIGHUP and SIGPIPE are recorded instead of ending the
// process, and a running inflation is asked to stop. The command then cleans
// up and calls DieOfCaughtSignal().
void CatchStopSignals();
int CaughtSignal();
// The flag the handlers set, for work that polls it (inflation, packing).
const volatile std::sig_atomic_t* StopSignalFlag();
// Ends the process by the recorded signal, with its default action.
[[noreturn]] void DieOfCaughtSignal();

// Closes the kit's staging file and removes it (LoadKit leaves it in place
// after a successful load, for the install worker).
void DiscardStaging(kitsetup::DistributionKit& kit);

// Loads KIT as the installer does, with the stop signals caught: a signal
// during the load removes the staging file and ends the process by it.
// Returns kExitOk, or the exit code after one line on standard error
// ("kittool COMMAND: KIT: what is wrong (error N: meaning)"); `problem` and
// `code`, when given, receive what was wrong.
int LoadKitForCommand(const char* command, const char* kit_path, kitsetup::DistributionKit& kit,
                      kitsetup::KitProblem* problem = nullptr, uint32_t* code = nullptr);

// The exit code for a failed LoadKit: 3 when the kit is missing or damaged,
// 1 when the temporary directory let us down.
int LoadFailureExit(const kitsetup::KitProblem& problem);

}  // namespace kittool

#endif
