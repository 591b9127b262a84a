// The command-line scan and the language choice. Whatever touches LANG runs
// in a child process so that this process's environment stays clean.
#include "app/command_line.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "support/test_support.h"

namespace kitsetup {
namespace {

using testsupport::RunInChild;
using testsupport::Utf8;

// "<useCwd><silent> <id> <code>" of a scan.
std::string Scan(std::vector<const char*> args) {
  args.push_back(nullptr);
  const StartupChoice c = ScanCommandLine(static_cast<int>(args.size()) - 1, args.data());
  return std::to_string(c.useCwd) + std::to_string(c.silent) + " " + std::to_string(c.languageId) +
         " " + Utf8(c.languageCode);
}

TEST(CommandLineScan, SwitchesWordsAndTheirOrder) {
  EXPECT_EQ(Scan({"Setup"}), "00 0 en");
  EXPECT_EQ(Scan({"Setup", "/lde"}), "00 7 de");
  // Codes are exact and lower case: these leave the choice to the locale.
  EXPECT_EQ(Scan({"Setup", "-LRU"}), "00 0 en");
  // The first L switch ends the scan, known or not.
  EXPECT_EQ(Scan({"Setup", "-LXX", "-Lru", "/s"}), "00 0 en");
  EXPECT_EQ(Scan({"Setup", "-S", "-Lde"}), "01 7 de");
  EXPECT_EQ(Scan({"Setup", "-Silent"}), "01 0 en");
  // Not switches: no '-' or '/', a lone '-', unknown letters.
  EXPECT_EQ(Scan({"Setup", "Lru", "S", "-", "-X", "/q", "-Lvi"}), "00 11 vi");
  // "usecwd" only as the exact first word; the scan starts after it.
  EXPECT_EQ(Scan({"Setup", "usecwd", "-Lkk", "-S"}), "10 10 kk");
  EXPECT_EQ(Scan({"Setup", "usecwdX", "-S"}), "01 0 en");
  EXPECT_EQ(Scan({"Setup", "-S", "usecwd"}), "01 0 en");
}

// ReadStartup in a child with LANG as given (null: unset), LC_ALL and LC_CTYPE
// only as `lc` says. ru_RU.UTF-8 and C.UTF-8 exist here; xx_XX does not.
std::string Start(const char* lang, std::vector<const char*> args, const char* locale,
                  const char* lc = nullptr) {
  return RunInChild([&] {
    lang != nullptr ? setenv("LANG", lang, 1) : unsetenv("LANG");
    unsetenv("LC_ALL");
    unsetenv("LC_CTYPE");
    if (lc != nullptr) putenv(const_cast<char*>(lc));
    args.push_back(nullptr);
    const StartupChoice c = ReadStartup(static_cast<int>(args.size()) - 1, args.data(), locale);
    const char* now = std::getenv("LANG");
    return std::string("LANG=") + (now != nullptr ? now : "(unset)") + " " +
           std::to_string(c.languageId) + " " + Utf8(c.languageCode);
  });
}

// The switch, then the locale, then English; LANG is kept, and with no locale
// variable at all it is set to a UTF-8 locale that exists.
TEST(LanguageChoice, SwitchThenLocaleThenEnglishAndAUtf8Locale) {
  EXPECT_EQ(Start("C", {"Setup"}, "fr_FR"), "LANG=C 3 en");
  EXPECT_EQ(Start("ru_RU.UTF-8", {"Setup"}, "de_AT"), "LANG=ru_RU.UTF-8 7 de");
  EXPECT_EQ(Start("C", {"Setup"}, "RU_ru"), "LANG=C 3 en");
  EXPECT_EQ(Start("C", {"Setup", "-Lru"}, "en_US"), "LANG=C 1 ru");

  EXPECT_EQ(Start(nullptr, {"Setup"}, "ru_RU"), "LANG=ru_RU.UTF-8 1 ru");
  EXPECT_EQ(Start("", {"Setup", "-Lde"}, "ru_RU"), "LANG=ru_RU.UTF-8 7 de");
  // No such locale: GNUstep's identifier when nothing is set, an unknown region.
  EXPECT_EQ(Start(nullptr, {"Setup"}, "en_US_POSIX"), "LANG=C.UTF-8 3 en");
  EXPECT_EQ(Start(nullptr, {"Setup", "-Lru"}, "xx_XX"), "LANG=C.UTF-8 1 ru");
  // LC_ALL or LC_CTYPE with a value is the user's choice: LANG stays unset.
  EXPECT_EQ(Start(nullptr, {"Setup", "-Lru"}, "ru_RU", "LC_ALL=C"), "LANG=(unset) 1 ru");
  EXPECT_EQ(Start(nullptr, {"Setup"}, "uk_UA", "LC_CTYPE=C.UTF-8"), "LANG=(unset) 2 uk");
  EXPECT_EQ(Start(nullptr, {"Setup"}, "uk_UA", "LC_CTYPE="), "LANG=uk_UA.UTF-8 2 uk");
}

}  // namespace
}  // namespace kitsetup
