// app/locale_environment.h: makes sure the process can convert its texts.
//
// Every text is converted to and from the locale's bytes under the locale
// that the environment names. A process started with none of LANG, LC_ALL
// and LC_CTYPE set (a launcher, an administrator's script) stays in the C
// locale, which converts no letter beyond ASCII, so every translated message
// would come out empty. Start-up therefore names a UTF-8 locale in LANG in
// that case, however the language was chosen. A LANG, LC_ALL or LC_CTYPE
// that has a value is the user's choice and is never changed.
#ifndef KITSETUP_APP_LOCALE_ENVIRONMENT_H
#define KITSETUP_APP_LOCALE_ENVIRONMENT_H

#include "core/text_string.h"

namespace kitsetup {

// True when this system has the locale `name` (for example "ru_RU.UTF-8").
bool LocaleExists(const char* name);

// When LANG, LC_ALL and LC_CTYPE are all missing or empty, sets LANG to
// localeId + ".UTF-8" when that locale exists, else to the first of
// C.UTF-8 and en_US.UTF-8 that exists, else to localeId + ".UTF-8" all the
// same (nothing when localeId is empty too). Otherwise does nothing.
// Returns the value LANG was given, or "" when it was left alone.
ByteString PrepareLocaleEnvironment(const ByteString& localeId);

}  // namespace kitsetup

#endif
