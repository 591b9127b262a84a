// app/event_log.h: one line per event on standard error, for administrators
// and tests. The "kitsetup: " prefix keeps the lines apart from whatever the
// toolkit prints there. Texts are written as UTF-8 whatever the locale, with
// a line feed or carriage return inside a text written as "\n" or "\r";
// each line goes out in one write, so lines of two threads never mix.
#ifndef KITSETUP_APP_EVENT_LOG_H
#define KITSETUP_APP_EVENT_LOG_H

#include <cstdint>
#include <string>

#include "core/messages.h"
#include "core/text_string.h"

namespace kitsetup {

void LogLanguage(const TextString& code, LanguageId id);  // kitsetup: language <code> <id>
void LogKit(const TextString& path);                       // kitsetup: kit <path>
void LogTemplate(const TextString& dir);                   // kitsetup: template <dir>
void LogMessage(uint32_t type, const TextString& text);    // kitsetup: message 0x<type> <text>
void LogPage(const char* page);  // kitsetup: page <welcome|destination|progress|success|failure>
void LogResult(uint32_t code);                             // kitsetup: result <code>
void LogSaved(const TextString& path);                     // kitsetup: saved <configuration path>
void LogRecovered(const TextString& dir);                  // kitsetup: recovered <template directory>
void LogRecoveryIncomplete(const std::string& utf8);       // kitsetup: recovery incomplete <what, where>
// kitsetup: layout <detail> <text>: how a control's text fits its frame,
// written only when the interface is asked for it (KITSETUP_LAYOUT_REPORT).
void LogLayout(const char* detail, const TextString& text);

}  // namespace kitsetup

#endif
