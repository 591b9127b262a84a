// The wizard's window-free decisions: the button and key table, the welcome
// sentence, the typed path, the description file's open command (against a
// stand-in opener on PATH) and the launcher files written after a success.
#include "app/wizard_flow.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "support/test_support.h"
#include "core/messages.h"

namespace kitsetup {
namespace {

using namespace testsupport;

// Every cell, because the end-to-end runs reach only the common ones (a
// wrong cell such as Cancel asking while files are copied would go unseen).
TEST(WizardTable, EveryStateAndEvent) {
  using A = WizardAction;
  constexpr A N = A::None, C = A::RequestClose;
  // States 0..5 and one beyond; columns Back, Next, Cancel, Esc.
  const A table[7][4] = {
      {N, N, C, C}, {N, A::ShowDir, C, C}, {A::ShowWelcome, A::NextFromDir, C, C},
      {N, N, A::RequestStop, C},  // Esc still asks while copying
      {N, A::Finish, C, C}, {N, A::Finish, C, C}, {N, N, C, C},
  };
  const WizardEvent events[4] = {WizardEvent::Back, WizardEvent::Next, WizardEvent::Cancel, WizardEvent::Esc};
  for (uint32_t state = 0; state < 7; ++state) {
    for (int e = 0; e < 4; ++e) EXPECT_EQ(WizardActionFor(state, events[e]), table[state][e]) << state << "/" << e;
  }
}

TEST(WizardTexts, WelcomeTypedPathAndOpenCommand) {
  SetCurrentLanguage(1);
  const TextString title = LookupMessage("IDS_WELCOME_TITLE") + u" ";
  const TextString product = LookupMessage("IDS_DEFPRODUCT"), vendor = LookupMessage("IDS_DEFPROVIDER");
  ASSERT_FALSE(title.empty() || product.empty() || vendor.empty());
  EXPECT_EQ(WelcomeText(u"Ledger", u"Acme"), title + u"Ledger (Acme).");
  EXPECT_EQ(WelcomeText(u"", u"Acme"), title + product + u" (Acme).");
  EXPECT_EQ(WelcomeText(u"", u""), title + product + u" (" + vendor + u").");
  EXPECT_EQ(NormaliseTypedPath(u"tmp\\x"), TextString(u"tmp/x"));
  EXPECT_EQ(NormaliseTypedPath(u"C:\\T\\a b\\"), TextString(u"C:/T/a b/"));
  // No separator is inserted: the kit's name brings its own.
  EXPECT_STREQ(DescriptionOpenCommand(u"/t/dir/", u"\\Docs\\a b.htm", "open").c_str(),
               "open '/t/dir//Docs/a b.htm' 2>/dev/null");
}

TEST(WizardFinish, OpensTheDescriptionOnlyWhenCheckedAndPresent) {
  ScratchDir dir;
  const std::string opener = dir.At("bin/") + DesktopOpenCommand(), record = dir.At("opened");
  WriteFile(opener, "#!/bin/sh\nprintf '%s\\n' \"$1\" >> '" + record + "'\n");
  chmod(opener.c_str(), 0755);
  // The shell must see the user's folder name literally.
  const std::string templates = dir.At("Шаблоны $HOME `true` \"it's\"");
  WriteFile(templates + "/Docs/Описание файла.htm", "<html/>");
  EXPECT_EQ(RunInChild([&] {
              setenv("LANG", "C.UTF-8", 1);
              setenv("PATH", (dir.At("bin:") + std::getenv("PATH")).c_str(), 1);
              const TextString to = Text(templates), file = Text("\\Docs\\Описание файла.htm");
              return std::to_string(OpenDescriptionFile(to, file, true)) +
                     std::to_string(OpenDescriptionFile(to, file, false)) +
                     std::to_string(OpenDescriptionFile(to, u"\\Docs\\missing.htm", true)) +
                     std::to_string(OpenDescriptionFile(to, TextString(), true));
            }),
            "1000");
  EXPECT_EQ(ReadFile(record), templates + "/Docs/Описание файла.htm\n");
}

TEST(WizardSuccess, WritesTheLauncherFilesTheFlagsChoose) {
  ScratchDir dir;
  const std::string installed = dir.At("installed"), current = "/.Vesk/veskstart/veskstart.cfg",
                    legacy = "/.Vesk/veskstartt/veskstart.cfg";
  // flags, then the files expected to be written (their contents are the
  // launcher tests' concern); a file that cannot be written is not logged.
  const struct {
    uint8_t flagA, flagB;
    std::vector<std::string> files;
    bool blocked;  // a plain file stands where .Vesk must be a folder
  } cases[] = {{0, 0, {current}, false}, {1, 1, {legacy}, false}, {0, 1, {current, legacy}, false},
               {1, 0, {}, false}, {0, 1, {}, true}};
  for (const auto& c : cases) {
    const std::string home =
        dir.At("home" + std::to_string(c.flagA) + std::to_string(c.flagB) + (c.blocked ? "b" : ""));
    if (c.blocked) WriteFile(home + "/.Vesk", "");
    std::string expected = std::to_string(c.files.size()) + "|" + installed + "|";
    for (const std::string& f : c.files) expected += "kitsetup: saved " + home + f + "\n";
    EXPECT_EQ(RunInChild([&] {
                setenv("HOME", home.c_str(), 1);
                InstallerState state;
                state.m_flagA = c.flagA;
                state.m_flagB = c.flagB;
                state.m_templateDir = Text(installed + "/");
                state.m_dirList = {Text(dir.At("older/"))};
                int written = 0;
                const std::string log = CaptureStderr([&] { written = RecordInstalledTemplate(state); });
                return std::to_string(written) + "|" + Utf8(state.m_dirList.front()) + "|" + log;
              }),
              expected);
  }
}

}  // namespace
}  // namespace kitsetup
