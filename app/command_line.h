// app/command_line.h: what the command line and the locale decide before any
// window exists: "usecwd", the silent switch and the interface language.
//
// The scan is deliberately simple and order-bound: the first "-L"/"/L" switch
// ends it, so a "-S" written after it is never seen. Administrators' scripts
// rely on that order, so it stays.
#ifndef KITSETUP_APP_COMMAND_LINE_H
#define KITSETUP_APP_COMMAND_LINE_H

#include "core/messages.h"
#include "core/text_string.h"

namespace kitsetup {

struct StartupChoice {
  bool useCwd = false;       // argv[1] is exactly "usecwd": the kit lies in the current directory
  bool silent = false;       // "-S" / "/S": install without a click
  LanguageId languageId = 0; // 0 until the command line or the locale decides
  TextString languageCode;   // two letters; "en" until something better is known
};

// Scans argv. Only a "-L<code>" whose code is known sets languageId and
// languageCode; an unknown code leaves languageId 0 (the locale decides).
// Never fails; argv entries must be zero-terminated.
StartupChoice ScanCommandLine(int argc, const char* const* argv);

// Completes the language when the command line did not name a known one
// (languageId 0); otherwise does nothing at all. Takes the first two bytes
// of localeId (when it has three or more) as the code; an unknown code gives
// English (3, "en"). The environment is not read: LANG never decides.
void ChooseLanguage(StartupChoice& choice, const ByteString& localeId);

// PrepareLocaleEnvironment (LANG is set when no locale variable is), then
// ScanCommandLine and ChooseLanguage with the locale identifier (for example
// [[NSLocale currentLocale] localeIdentifier]; null counts as "").
StartupChoice ReadStartup(int argc, const char* const* argv, const char* localeId);

// SetCurrentLanguage(choice.languageId) and the event log's "language" line.
void ApplyLanguage(const StartupChoice& choice);

}  // namespace kitsetup

#endif
