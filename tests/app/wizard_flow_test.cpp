// The wizard's window-free decisions: the button and key table, the welcome
// sentence, the typed path, the description file's open command (run against
// a stand-in opener on PATH) and the launcher configuration written after a
// successful copy.
#include "app/wizard_flow.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "app_test_support.h"
#include "core/messages.h"

namespace kitsetup {
namespace {

using kitsetup_test::CaptureStderr;
using kitsetup_test::ReadFile;
using kitsetup_test::RunInChild;
using kitsetup_test::ScratchDir;
using kitsetup_test::Text;
using kitsetup_test::ToStd;
using kitsetup_test::WriteFile;

TEST(WizardTable, EveryStateAndEvent) {
  using A = WizardAction;
  using E = WizardEvent;
  constexpr A None = A::None, Close = A::RequestClose;
  // Rows: states 0..5 and one beyond; columns: Back, Next, Cancel, Esc.
  const A table[7][4] = {
      {None, None, Close, Close},
      {None, A::ShowDir, Close, Close},
      {A::ShowWelcome, A::NextFromDir, Close, Close},
      {None, None, A::RequestStop, Close},  // Esc asks even while copying
      {None, A::Finish, Close, Close},
      {None, A::Finish, Close, Close},
      {None, None, Close, Close},
  };
  const E events[4] = {E::Back, E::Next, E::Cancel, E::Esc};
  for (uint32_t state = 0; state < 7; ++state) {
    for (int e = 0; e < 4; ++e) {
      SCOPED_TRACE("state " + std::to_string(state) + " event " + std::to_string(e));
      EXPECT_EQ(WizardActionFor(state, events[e]), table[state][e]);
    }
  }
}

TEST(WizardTexts, WelcomeSentenceWithDefaults) {
  for (LanguageId language : {3, 1, 9}) {
    SetCurrentLanguage(language);
    const TextString title = LookupMessage("IDS_WELCOME_TITLE");
    const TextString product = LookupMessage("IDS_DEFPRODUCT");
    const TextString vendor = LookupMessage("IDS_DEFPROVIDER");
    ASSERT_FALSE(title.empty() || product.empty() || vendor.empty());
    EXPECT_EQ(WelcomeText(u"Ledger", u"Acme"), title + u" Ledger (Acme).");
    EXPECT_EQ(WelcomeText(u"", u"Acme"), title + u" " + product + u" (Acme).");
    EXPECT_EQ(WelcomeText(u"Ledger", u""), title + u" Ledger (" + vendor + u").");
    EXPECT_EQ(WelcomeText(u"", u""), title + u" " + product + u" (" + vendor + u").");
  }
}

TEST(WizardTexts, TypedPathAndOpenCommand) {
  EXPECT_EQ(NormaliseTypedPath(u"tmp\\x"), TextString(u"tmp/x"));
  EXPECT_EQ(NormaliseTypedPath(u"C:\\T\\a b\\"), TextString(u"C:/T/a b/"));
  EXPECT_EQ(NormaliseTypedPath(u""), TextString(u""));

  // No separator is inserted: the kit's name brings its own.
  EXPECT_EQ(ToStd(DescriptionFilePath(u"/t/dir", u"\\Docs\\read me.htm")), "/t/dir/Docs/read me.htm");
  EXPECT_STREQ(DescriptionOpenCommand(u"/t/dir/", u"\\Docs\\a.htm", "open").c_str(),
               "open \"/t/dir//Docs/a.htm\" 2>/dev/null");
  EXPECT_STREQ(DescriptionOpenCommand(u"C:\\t", u"\\a.htm", "xdg-open").c_str(),
               "xdg-open \"C:/t/a.htm\" 2>/dev/null");
}

TEST(WizardFinish, OpensTheDescriptionOnlyWhenCheckedAndPresent) {
  ScratchDir dir;
  const std::string bin = dir / "bin";
  const std::string record = dir / "opened";
  // A stand-in for the desktop's opener that records its argument.
  WriteFile(bin + "/" + DesktopOpenCommand(), "#!/bin/sh\nprintf '%s\\n' \"$1\" >> '" + record + "'\n");
  chmod((bin + "/" + DesktopOpenCommand()).c_str(), 0755);
  const std::string templates = dir / "Шаблоны";
  WriteFile(templates + "/Docs/Описание файла.htm", "<html/>");

  const std::string ran = RunInChild([&] {
    setenv("LANG", "C.UTF-8", 1);
    setenv("PATH", (bin + ":" + std::getenv("PATH")).c_str(), 1);
    std::string out;
    const TextString dirText = Text(templates);
    const TextString file = Text("\\Docs\\Описание файла.htm");
    out += OpenDescriptionFile(dirText, file, true) ? "1" : "0";
    out += OpenDescriptionFile(dirText, file, false) ? "1" : "0";
    out += OpenDescriptionFile(dirText, Text("\\Docs\\missing.htm"), true) ? "1" : "0";
    out += OpenDescriptionFile(dirText, TextString(), true) ? "1" : "0";
    return out;
  });
  EXPECT_EQ(ran, "1000");
  EXPECT_EQ(ReadFile(record), templates + "/Docs/Описание файла.htm\n");
}

// Runs RecordInstalledTemplate with HOME in a scratch directory and reports
// what it returned, the list's front and the event log.
struct Recorded {
  std::string result;
  std::string home;
};

Recorded RecordWithFlags(const ScratchDir& dir, uint8_t flagA, uint8_t flagB) {
  const std::string home = dir / ("home" + std::to_string(flagA) + std::to_string(flagB));
  mkdir(home.c_str(), 0755);
  const std::string result = RunInChild([&] {
    setenv("HOME", home.c_str(), 1);
    InstallerState state;
    state.m_flagA = flagA;
    state.m_flagB = flagB;
    state.m_templateDir = Text(dir / "installed/");
    state.m_dirList = {Text(dir / "older/")};
    int written = 0;
    const std::string log = CaptureStderr([&] { written = RecordInstalledTemplate(state); });
    return std::to_string(written) + "|" + ToStd(state.m_dirList.front()) + "|" + log;
  });
  return {result, home};
}

TEST(WizardSuccess, WritesTheLauncherFilesTheFlagsChoose) {
  ScratchDir dir;
  const std::string installed = dir / "installed";
  const std::string current = "/.Vesk/veskstart/veskstart.cfg";
  const std::string legacy = "/.Vesk/veskstartt/veskstart.cfg";

  Recorded plain = RecordWithFlags(dir, 0, 0);
  EXPECT_EQ(plain.result, "1|" + installed + "|kitsetup: saved " + plain.home + current + "\n");
  const std::string written = ReadFile(plain.home + current);
  EXPECT_NE(written.find(installed), std::string::npos) << written;
  EXPECT_LT(written.find(installed), written.find(dir / "older")) << "installed directory first";
  EXPECT_NE(access((plain.home + legacy).c_str(), F_OK), 0);

  // Candidates from the legacy file: only that file is rewritten.
  Recorded legacyOnly = RecordWithFlags(dir, 1, 1);
  EXPECT_EQ(legacyOnly.result,
            "1|" + installed + "|kitsetup: saved " + legacyOnly.home + legacy + "\n");
  EXPECT_NE(access((legacyOnly.home + current).c_str(), F_OK), 0);

  Recorded both = RecordWithFlags(dir, 0, 1);
  EXPECT_EQ(both.result, "2|" + installed + "|kitsetup: saved " + both.home + current +
                             "\nkitsetup: saved " + both.home + legacy + "\n");

  Recorded none = RecordWithFlags(dir, 1, 0);
  EXPECT_EQ(none.result, "0|" + installed + "|");
}

}  // namespace
}  // namespace kitsetup
