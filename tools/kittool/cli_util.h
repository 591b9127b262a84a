// tools/kittool/cli_util.h: pieces the kit commands share: text for the
// terminal and for JSON, the locale, and loading a kit.
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

// Closes the kit's staging file and removes it (LoadKit leaves it in place
// after a successful load, for the install worker).
void DiscardStaging(kitsetup::DistributionKit& kit);

// Loads KIT as the installer does, into an unnamed staging file. Returns
// kExitOk; 128 + the signal when one interrupted the load (nothing printed);
// or the exit code after one line on standard error ("kittool COMMAND: KIT:
// what is wrong (error N: meaning)"); `problem` and `code`, when given,
// receive what was wrong.
int LoadKitForCommand(const char* command, const char* kit_path, kitsetup::DistributionKit& kit,
                      kitsetup::KitProblem* problem = nullptr, uint32_t* code = nullptr);

// The exit code for a failed LoadKit: 3 when the kit is missing or damaged,
// 1 when the temporary directory let us down.
int LoadFailureExit(const kitsetup::KitProblem& problem);

}  // namespace kittool

#endif
