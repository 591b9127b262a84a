// The command-line scan and the language choice, including LANG, which each
// case sets up in a child process so this process's environment stays clean.
#include "app/command_line.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <initializer_list>
#include <string>
#include <vector>

#include "app_test_support.h"
#include "core/messages.h"

namespace kitsetup {
namespace {

using kitsetup_test::CaptureStderr;
using kitsetup_test::RunInChild;
using kitsetup_test::ToStd;

struct ScanCase {
  std::vector<const char*> args;
  bool useCwd;
  bool silent;
  LanguageId id;
  const char* code;
};

TEST(CommandLineScan, SwitchesWordsAndTheirOrder) {
  const ScanCase cases[] = {
      {{"Setup"}, false, false, 0, "en"},
      {{"Setup", "-Lru"}, false, false, 1, "ru"},
      {{"Setup", "/lde"}, false, false, 7, "de"},
      {{"Setup", "-lka"}, false, false, 9, "ka"},
      // Codes are lower case: the switch is unknown and the locale decides.
      {{"Setup", "-LRU"}, false, false, 0, "en"},
      {{"Setup", "-L"}, false, false, 0, "en"},
      {{"Setup", "-Lrus"}, false, false, 0, "en"},
      // The first L switch ends the scan, known or not.
      {{"Setup", "-Lde", "-S"}, false, false, 7, "de"},
      {{"Setup", "-LXX", "-Lru", "-S"}, false, false, 0, "en"},
      {{"Setup", "-S", "-Lde"}, false, true, 7, "de"},
      {{"Setup", "/s"}, false, true, 0, "en"},
      {{"Setup", "-Silent"}, false, true, 0, "en"},
      // Not switches: no leading '-' or '/', a lone '-', an unknown letter.
      {{"Setup", "Lru", "S"}, false, false, 0, "en"},
      {{"Setup", "-", "-X", "/q", "-Lvi"}, false, false, 11, "vi"},
      // "usecwd" only as the exact first word; the scan then starts after it.
      {{"Setup", "usecwd"}, true, false, 0, "en"},
      {{"Setup", "usecwd", "-Lkk", "-S"}, true, false, 10, "kk"},
      {{"Setup", "usecwd", "/S"}, true, true, 0, "en"},
      {{"Setup", "usecwdX", "-S"}, false, true, 0, "en"},
      {{"Setup", "usecw", "-Ltr"}, false, false, 12, "tr"},
      {{"Setup", "-S", "usecwd"}, false, true, 0, "en"},
      {{"usecwd"}, false, false, 0, "en"},
  };
  for (const ScanCase& c : cases) {
    std::string line;
    for (const char* a : c.args) line += std::string(a) + " ";
    SCOPED_TRACE(line);
    std::vector<const char*> argv(c.args);
    argv.push_back(nullptr);
    const StartupChoice choice = ScanCommandLine(static_cast<int>(c.args.size()), argv.data());
    EXPECT_EQ(choice.useCwd, c.useCwd);
    EXPECT_EQ(choice.silent, c.silent);
    EXPECT_EQ(choice.languageId, c.id);
    EXPECT_EQ(ToStd(choice.languageCode), c.code);
  }
}

// Runs ReadStartup in a child with LANG as given (null: unset) and reports
// "LANG=<value or (unset)> <id> <code>".
std::string StartInChild(const char* lang, std::vector<const char*> args, const char* locale) {
  return RunInChild([&] {
    if (lang == nullptr) {
      unsetenv("LANG");
    } else {
      setenv("LANG", lang, 1);
    }
    args.push_back(nullptr);
    const StartupChoice choice = ReadStartup(static_cast<int>(args.size()) - 1, args.data(), locale);
    const char* now = std::getenv("LANG");
    return std::string("LANG=") + (now != nullptr ? now : "(unset)") + " " +
           std::to_string(choice.languageId) + " " + ToStd(choice.languageCode);
  });
}

TEST(LanguageChoice, LocaleDecidesWhenTheSwitchDoesNot) {
  // LANG is filled in only when missing or empty, and never read for the language.
  EXPECT_EQ(StartInChild(nullptr, {"Setup"}, "uk_UA"), "LANG=uk_UA.UTF-8 2 uk");
  EXPECT_EQ(StartInChild("", {"Setup"}, "ru_RU"), "LANG=ru_RU.UTF-8 1 ru");
  EXPECT_EQ(StartInChild("C", {"Setup"}, "fr_FR"), "LANG=C 3 en");
  EXPECT_EQ(StartInChild("ru_RU.UTF-8", {"Setup"}, "de_AT"), "LANG=ru_RU.UTF-8 7 de");
  // Two letters without a region are used as they are; one letter is unknown.
  EXPECT_EQ(StartInChild("C", {"Setup"}, "kk"), "LANG=C 10 kk");
  EXPECT_EQ(StartInChild("C", {"Setup"}, "k"), "LANG=C 3 en");
  // GNUstep's answer without LANG.
  EXPECT_EQ(StartInChild(nullptr, {"Setup"}, "en_US_POSIX"), "LANG=en_US_POSIX.UTF-8 3 en");
  EXPECT_EQ(StartInChild("C", {"Setup"}, nullptr), "LANG=C 3 en");
  // Upper-case locale letters are not codes either.
  EXPECT_EQ(StartInChild("C", {"Setup"}, "RU_ru"), "LANG=C 3 en");
}

TEST(LanguageChoice, KnownSwitchWinsAndLeavesLangAlone) {
  EXPECT_EQ(StartInChild(nullptr, {"Setup", "-Lru"}, "en_US"), "LANG=(unset) 1 ru");
  EXPECT_EQ(StartInChild("C", {"Setup", "usecwd", "/lvi"}, "en_US"), "LANG=C 11 vi");
  // An unknown switch falls through to the locale, LANG handling included.
  EXPECT_EQ(StartInChild(nullptr, {"Setup", "-LRU"}, "en_US"), "LANG=en_US.UTF-8 3 en");
  EXPECT_EQ(StartInChild("C", {"Setup", "-LRU"}, "lt_LT"), "LANG=C 5 lt");
}

TEST(LanguageChoice, ApplySelectsTheTableAndLogsTheChoice) {
  const std::string log = RunInChild([] {
    const char* argv[] = {"Setup", "-Lbg", nullptr};
    const StartupChoice choice = ReadStartup(2, argv, "en_US");
    std::string err = CaptureStderr([&] { ApplyLanguage(choice); });
    return err + "current " + std::to_string(CurrentLanguage());
  });
  EXPECT_EQ(log, "kitsetup: language bg 6\ncurrent 6");
}

}  // namespace
}  // namespace kitsetup
