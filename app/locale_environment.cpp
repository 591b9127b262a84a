#include "app/locale_environment.h"

#include <locale.h>

#include <cstdlib>

namespace kitsetup {

namespace {

bool IsEmpty(const char* variable) {
  const char* value = std::getenv(variable);
  return value == nullptr || value[0] == '\0';
}

// UTF-8 locales that a system usually has: glibc ships the first, macOS the
// second.
constexpr const char* kFallbackLocales[] = {"C.UTF-8", "en_US.UTF-8"};

}  // namespace

bool LocaleExists(const char* name) {
  // A locale object of its own: the process locale is not touched.
  locale_t locale = newlocale(LC_ALL_MASK, name, static_cast<locale_t>(0));
  if (locale == static_cast<locale_t>(0)) return false;
  freelocale(locale);
  return true;
}

ByteString PrepareLocaleEnvironment(const ByteString& localeId) {
  if (!IsEmpty("LANG") || !IsEmpty("LC_ALL") || !IsEmpty("LC_CTYPE")) return ByteString();
  const ByteString own = localeId.empty() ? ByteString() : localeId + ".UTF-8";
  // The identifier need not name a locale of this system: GNUstep reports
  // en_US_POSIX when nothing is set, and a Mac may name a region no locale has.
  ByteString value = own;
  if (own.empty() || !LocaleExists(own.c_str())) {
    for (const char* fallback : kFallbackLocales) {
      if (LocaleExists(fallback)) {
        value = ByteString(fallback);
        break;
      }
    }
  }
  if (!value.empty()) setenv("LANG", value.c_str(), 1);
  return value;
}

}  // namespace kitsetup
