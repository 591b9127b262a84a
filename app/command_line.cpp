#include "app/command_line.h"

#include <cstring>

#include "app/event_log.h"
#include "app/locale_environment.h"
#include "core/encoding.h"

namespace kitsetup {

StartupChoice ScanCommandLine(int argc, const char* const* argv) {
  StartupChoice choice;
  // strncmp over 7 bytes compares the terminating zero too: "usecwdX" is not the word.
  choice.useCwd = argc >= 2 && std::strncmp(argv[1], "usecwd", 7) == 0;
  choice.languageCode = TextString(u"en");
  for (int i = choice.useCwd ? 2 : 1; i < argc; ++i) {
    const char* arg = argv[i];
    if (arg[0] != '-' && arg[0] != '/') continue;
    const char kind = arg[1];
    if (kind == 'L' || kind == 'l') {
      const char* code = arg + 2;
      const LanguageId id = LanguageFromCode(ByteString(code));
      if (id != 0) {
        choice.languageId = id;
        choice.languageCode = FromLocaleBytes(code, std::strlen(code));
      }
      break;  // the first language switch ends the scan, known or not
    }
    if (kind == 'S' || kind == 's') choice.silent = true;
  }
  return choice;
}

void ChooseLanguage(StartupChoice& choice, const ByteString& localeId) {
  if (choice.languageId != 0) return;
  ByteString code = localeId;
  if (code.length() >= 3) code = code.substr(0, 2);
  const LanguageId id = LanguageFromCode(code);
  if (id != 0) {
    choice.languageId = id;
    choice.languageCode = FromLocaleBytes(code);
  } else {
    choice.languageId = 3;  // English
    choice.languageCode = TextString(u"en");
  }
}

StartupChoice ReadStartup(int argc, const char* const* argv, const char* localeId) {
  const ByteString identifier(localeId != nullptr ? localeId : "");
  // Before the first conversion, whichever way the language is then chosen.
  PrepareLocaleEnvironment(identifier);
  StartupChoice choice = ScanCommandLine(argc, argv);
  ChooseLanguage(choice, identifier);
  return choice;
}

void ApplyLanguage(const StartupChoice& choice) {
  SetCurrentLanguage(choice.languageId);
  LogLanguage(choice.languageCode, choice.languageId);
}

}  // namespace kitsetup
