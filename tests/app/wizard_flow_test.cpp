// The wizard's window-free decisions and the event log's exact lines.
#include "app/wizard_flow.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "app/event_log.h"
#include "support/test_support.h"

namespace kitsetup {
namespace {

using namespace testsupport;

// Every cell: the end-to-end runs reach only the common ones.
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
  // Flags, then the files written; a file that cannot be written is not logged.
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

TEST(EventLog, ExactLinesInUtf8OnOneLine) {
  const std::string log = testsupport::CaptureStderr([] {
    LogLanguage(u"ru", 1);
    LogKit(u"/Apps/Kit/mivo.efd");
    LogTemplate(u"/home/u/ქართ/");
    LogMessage(0x1000001, u"Нет места");
    LogMessage(1, u"line one\nline two\r");
    LogPage("welcome");
    LogResult(1223);
    LogSaved(u"/k/\U0001F4E6/\xD800x");  // a pair, then a lone surrogate
  });
  EXPECT_EQ(log,
            "kitsetup: language ru 1\n"
            "kitsetup: kit /Apps/Kit/mivo.efd\n"
            "kitsetup: template /home/u/ქართ/\n"
            "kitsetup: message 0x1000001 Нет места\n"
            "kitsetup: message 0x1 line one\\nline two\\r\n"
            "kitsetup: page welcome\n"
            "kitsetup: result 1223\n"
            "kitsetup: saved /k/\xF0\x9F\x93\xA6/\xEF\xBF\xBDx\n");
}

TEST(EventLogThreadSafety, LinesOfTwoThreadsNeverMix) {
  const std::u16string a(300, u'a'), b(300, u'б');
  constexpr int kLines = 2000;
  const std::string log = testsupport::CaptureStderr([&] {
    std::thread first([&] { for (int i = 0; i < kLines; ++i) LogTemplate(a.c_str()); });
    for (int i = 0; i < kLines; ++i) LogKit(b.c_str());
    first.join();
  });
  std::string lineB = "kitsetup: kit ";
  for (int i = 0; i < 300; ++i) lineB += "б";
  const std::string lineA = "kitsetup: template " + std::string(300, 'a');
  std::istringstream lines(log);
  int count[2] = {0, 0};
  for (std::string line; std::getline(lines, line);) {
    ASSERT_TRUE(line == lineA || line == lineB) << "mixed line: " << line.substr(0, 80);
    ++count[line == lineB];
  }
  EXPECT_EQ(count[0], kLines);
  EXPECT_EQ(count[1], kLines);
}

}  // namespace
}  // namespace kitsetup
