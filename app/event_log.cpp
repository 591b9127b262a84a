#include "app/event_log.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "core/utf8.h"

namespace kitsetup {
namespace {

// The log is read by scripts whatever the process locale is, so texts are
// written as UTF-8 directly rather than through the locale conversion (which
// gives nothing for non-ASCII text under the C locale). A lone surrogate
// becomes U+FFFD; a line feed or carriage return is written as "\n" or "\r".
void AppendLogText(std::string& out, const TextString& text) {
  for (size_t i = 0; i < text.length();) {
    const int32_t c = NextCodePoint(text, i);
    if (c == '\n' || c == '\r') {
      out += '\\';  // keep one event on one line
      out += c == '\n' ? 'n' : 'r';
    } else {
      AppendUtf8(out, c < 0 ? 0xFFFD : static_cast<uint32_t>(c));
    }
  }
}

// One write per line (short lines to a pipe are written whole), with stdio's
// lock held and its buffer flushed first, so lines from the two threads and
// from anything else that prints through stdio never interleave.
void WriteLine(std::string line) {
  line += '\n';
  flockfile(stderr);
  std::fflush(stderr);
  const char* p = line.data();
  size_t left = line.size();
  while (left > 0) {
    const ssize_t n = ::write(STDERR_FILENO, p, left);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;  // nowhere to log to: the installer goes on regardless
    p += n;
    left -= static_cast<size_t>(n);
  }
  funlockfile(stderr);
}

std::string Line(const char* event) {
  std::string line = "kitsetup: ";
  line += event;
  line += ' ';
  return line;
}

// An event whose only argument is a text.
void LogTextEvent(const char* event, const TextString& text) {
  std::string line = Line(event);
  AppendLogText(line, text);
  WriteLine(std::move(line));
}

}  // namespace

void LogLanguage(const TextString& code, LanguageId id) {
  std::string line = Line("language");
  AppendLogText(line, code);
  line += ' ';
  line += std::to_string(id);
  WriteLine(std::move(line));
}

void LogKit(const TextString& path) { LogTextEvent("kit", path); }

void LogTemplate(const TextString& dir) { LogTextEvent("template", dir); }

void LogMessage(uint32_t type, const TextString& text) {
  char hex[16];
  std::snprintf(hex, sizeof hex, "0x%x ", static_cast<unsigned>(type));
  std::string line = Line("message");
  line += hex;
  AppendLogText(line, text);
  WriteLine(std::move(line));
}

void LogPage(const char* page) {
  std::string line = Line("page");
  line += page != nullptr ? page : "";
  WriteLine(std::move(line));
}

void LogResult(uint32_t code) {
  std::string line = Line("result");
  line += std::to_string(code);
  WriteLine(std::move(line));
}

void LogSaved(const TextString& path) { LogTextEvent("saved", path); }

void LogRecovered(const TextString& dir) { LogTextEvent("recovered", dir); }

void LogRecoveryIncomplete(const std::string& utf8) { WriteLine(Line("recovery incomplete") + utf8); }

void LogLayout(const char* detail, const TextString& text) {
  std::string line = Line("layout");
  line += detail != nullptr ? detail : "";
  line += ' ';
  AppendLogText(line, text);
  WriteLine(std::move(line));
}

}  // namespace kitsetup
