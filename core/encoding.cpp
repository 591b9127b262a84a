// core/encoding.cpp: TextString <-> locale bytes through libc's wide-character
// functions, each call inside a locale bracket.
#include "core/encoding.h"

#include <strings.h>

#include <clocale>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

namespace kitsetup {

namespace {

// Switches to the environment's locale for one conversion and back again.
// setlocale(LC_ALL, "") returns the setting it has just installed, so the
// setting to go back to is always the environment's own, and overlapping
// conversions on two threads agree. Going back therefore needs no call: the
// process stays in the environment's locale. An environment naming a missing
// locale leaves the setting unchanged, as restoring a null name would.
// The switch itself is skipped when it would change nothing: the locale
// variables and the process's setting are those the last switch saw. That
// takes the two setlocale calls out of every file operation of an install.
// Each setlocale call is made under a mutex: glibc serialises them with an
// internal lock that thread checkers cannot see, and the mutex makes that
// order visible (and keeps the name it returns alive while it is copied).
// The conversions themselves still overlap freely.
class LocaleBracket {
 public:
  LocaleBracket() { EnterEnvironmentLocale(); }
  LocaleBracket(const LocaleBracket&) = delete;
  LocaleBracket& operator=(const LocaleBracket&) = delete;

 private:
  // The variables that setlocale(LC_ALL, "") reads, as one text.
  static std::string LocaleEnvironment() {
    static const char* const kVariables[] = {
        "LC_ALL",   "LC_CTYPE", "LC_COLLATE", "LC_MONETARY",  "LC_NUMERIC",     "LC_TIME",
        "LC_MESSAGES", "LC_PAPER", "LC_NAME", "LC_ADDRESS", "LC_TELEPHONE", "LC_MEASUREMENT",
        "LC_IDENTIFICATION", "LANG", "LOCPATH"};
    std::string text;
    for (const char* name : kVariables) {
      if (const char* value = std::getenv(name)) text += value;
      text += '\n';
    }
    return text;
  }

  static void EnterEnvironmentLocale() {
    static std::mutex setlocale_mutex;
    static std::string last_environment;
    static std::string last_setting;
    static bool switched = false;
    std::lock_guard<std::mutex> lock(setlocale_mutex);
    std::string environment = LocaleEnvironment();
    const char* current = std::setlocale(LC_ALL, nullptr);
    const std::string setting = current ? current : "";
    if (switched && environment == last_environment && setting == last_setting) return;
    const char* installed = std::setlocale(LC_ALL, "");
    last_environment = std::move(environment);
    last_setting = installed ? installed : setting;
    switched = true;
  }
};

}  // namespace

ByteString ToLocaleBytes(const TextString& text) {
  const size_t n = text.length();
  if (n == 0) return ByteString();
  // Each unit widens to one wide character; surrogate halves stay apart.
  std::vector<wchar_t> wide(n + 1, L'\0');
  const char16_t* units = text.c_str();
  for (size_t i = 0; i < n && units[i] != 0; ++i) wide[i] = static_cast<wchar_t>(units[i]);

  const size_t size = n * 4 + 1;
  std::vector<char> out(size, '\0');
  {
    LocaleBracket bracket;
    // With no destination the length is ignored; 0 keeps glibc's access
    // attribute from warning about a null buffer of `size` bytes.
    const size_t measured = std::wcstombs(nullptr, wide.data(), 0);
    if (measured != 0) {
      // Unconvertible text measures as (size_t)-1; converting anyway keeps
      // the prefix in front of the bad character (a truncated result). The
      // output is at most 3 bytes per unit, so the buffer keeps its zero.
      std::memset(out.data(), 0, size);
      std::wcstombs(out.data(), wide.data(), size - 1);
    }
  }
  return ByteString(out.data());
}

int locale_to_units(const char* src, size_t len, char16_t* out, size_t max_units) {
  if (src == nullptr || len == 0) return 0;
  // The input need not be terminated; mbstowcs wants a terminated string.
  std::string bytes(src, len);
  LocaleBracket bracket;
  const size_t count = std::mbstowcs(nullptr, bytes.c_str(), 0);
  // Invalid bytes measure as (size_t)-1: convert nothing rather than size a
  // buffer from that value.
  if (count == 0 || count == static_cast<size_t>(-1) || count > len) return 0;
  std::vector<wchar_t> wide(count + 1, L'\0');
  const size_t converted = std::mbstowcs(wide.data(), bytes.c_str(), count);
  if (converted == static_cast<size_t>(-1)) return 0;
  const size_t copy = converted < max_units ? converted : max_units;
  for (size_t i = 0; i < copy; ++i) out[i] = static_cast<char16_t>(wide[i] & 0xFFFF);
  return converted > static_cast<size_t>(INT_MAX) ? INT_MAX : static_cast<int>(converted);
}

TextString FromLocaleBytes(const char* bytes, size_t count) {
  if (bytes == nullptr || count == 0) return TextString();
  // One unit per byte always suffices: a wide character takes a byte at least.
  TextString result;
  result.resize(count);
  const int units = locale_to_units(bytes, count, result.mutable_data(), count);
  result.resize(static_cast<size_t>(units));
  return result;
}

TextString FromLocaleBytes(const ByteString& bytes) {
  return FromLocaleBytes(bytes.c_str(), bytes.length());
}

bool ToLocaleBytesExactly(const TextString& text, ByteString& bytes) {
  bytes = ToLocaleBytes(text);
  return FromLocaleBytes(bytes) == text;
}

size_t LocaleBytesLoss(const TextString& text) {
  const TextString back = FromLocaleBytes(ToLocaleBytes(text));
  const size_t n = text.length();
  for (size_t i = 0; i < n; ++i) {
    if (i >= back.length() || back[i] != text[i]) return i;
  }
  return back.length() == n ? TextString::npos : n;
}

int compare_nocase(const TextString& a, const TextString& b) {
  const ByteString left = ToLocaleBytes(a);
  const ByteString right = ToLocaleBytes(b);
  return strcasecmp(left.c_str(), right.c_str());
}

}  // namespace kitsetup
