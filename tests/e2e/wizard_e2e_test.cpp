// The wizard from start to finish with a real kit: pages, typed paths, the
// copy, the launcher configuration written afterwards and the description
// opened on Finish; silent mode. Screenshots of every page go to artifacts/.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "core/encoding.h"
#include "core/messages.h"
#include "e2e/x_session.h"
#include "kit/kit_writer.h"

namespace {

using e2e::SetupRun;
using e2e::XServer;
using kitsetup::ByteString;
using kitsetup::TextString;

TextString T(const char* utf8) { return kitsetup::FromLocaleBytes(ByteString(utf8)); }

std::string Text(kitsetup::LanguageId id, const char* key) {
  kitsetup::SetCurrentLanguage(id);
  return kitsetup::ToLocaleBytes(kitsetup::LookupMessage(key)).c_str();
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

const uint64_t kTime = 133000000000000000ull;  // 2022-06-18, as 100-ns ticks since 1601

void WriteKit(const std::string& path, size_t smallFiles = 0) {
  kitsetup::KitBuilder kit;
  kit.AddDescription({T("ru"), T("Шаблоны «Торговля»"), T("ООО «Пример»"), T("\\Docs\\readme.htm")});
  kit.AddDescription({T("en"), T("Trade templates"), T("Example Ltd."), T("\\Docs\\readme.htm")});
  kit.AddEntry(T("\\Docs\\readme.htm"), "<html>readme</html>", kTime);
  kit.AddEntry(T("\\Trade\\template.cfg"), "name=Trade\n", kTime);
  for (size_t i = 0; i < smallFiles; ++i) {
    kit.AddEntry(T(("\\Big\\d" + std::to_string(i % 50) + "\\part" + std::to_string(i) + ".txt").c_str()),
                 "part " + std::to_string(i) + "\n", kTime);
  }
  ASSERT_EQ(kit.WriteTo(path), 0u);
}

class SetupWizard : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("LANG", "C.UTF-8", 1);
    ASSERT_TRUE(x_.ok()) << "Xvfb did not start";
  }

  std::string Shot(const std::string& what) { return x_.Screenshot("page_" + what); }

  // Waits for the main window; remembers its client origin.
  bool FindWindow(SetupRun& run, kitsetup::LanguageId id) {
    if (run.WaitForLog("page welcome", 20).empty()) return false;
    std::vector<std::string> windows = x_.WaitForWindows(Text(id, "IDR_MAINFRAME"), 10);
    int w = 0, h = 0;
    if (windows.empty() || !x_.Geometry(windows[0], x0_, y0_, w, h)) return false;
    At(330, 200);  // the page text: gives the window the keyboard
    return true;
  }
  void At(int x, int y) { x_.Click(x0_ + x, y0_ + y); }
  void Back() { At(270, 335); }
  void Next() { At(350, 335); }
  void Cancel() { At(450, 335); }
  void TypePath(const std::string& path) {
    At(300, 290);
    x_.Key("End");
    x_.Xdo("key --repeat 200 --delay 5 BackSpace");
    x_.Type(path);
  }

  XServer x_{false};
  int x0_ = 0, y0_ = 0;
};

// Welcome, Next, a typed path with backslashes, Next, the copy, the success
// page, Finish: the files are there byte for byte with their times, the
// launcher configuration names the directory first, and the description is
// opened through the desktop's command exactly once.
TEST_F(SetupWizard, InstallsFromWelcomeToFinish) {
  SetupRun run;
  WriteKit(run.kitPath());
  const std::string bin = run.dir() + "/bin";
  const std::string opened = run.dir() + "/opened.txt";
  system(("mkdir -p " + e2e::Quote(bin)).c_str());
  for (const char* name : {"xdg-open", "open"}) {
    std::ofstream(bin + "/" + name) << "#!/bin/sh\necho \"$1\" >> " << e2e::Quote(opened) << "\n";
    chmod((bin + "/" + name).c_str(), 0755);
  }
  run.SetPathPrefix(bin);
  ASSERT_TRUE(run.Start(x_, {"-Len"}));
  ASSERT_TRUE(FindWindow(run, 3));
  Shot("welcome_en");

  Next();
  ASSERT_NE(run.WaitForLog("page destination", 10), "");
  Shot("destination_en");
  // An empty destination is refused and the page stays.
  TypePath("");
  Next();
  EXPECT_EQ(run.WaitForLog("message", 10), "message 0x1 " + Text(3, "IDS_SETUP_EMPTYTARGET"));
  x_.Key("Return");
  // Back and Next keep what was typed.
  const std::string target = run.dir() + "/target";
  std::string typed = target + "\\templates";
  TypePath(typed);
  Back();
  ASSERT_NE(run.WaitForLog("page welcome", 5), "");
  Next();
  Shot("destination_typed_en");
  Next();
  EXPECT_EQ(run.WaitForLog("page progress", 10), "page progress");
  EXPECT_EQ(run.WaitForLog("result", 30), "result 0");
  ASSERT_EQ(run.WaitForLog("page success", 10), "page success");
  Shot("success_en");

  const std::string installed = target + "/templates";
  EXPECT_EQ(ReadFile(installed + "/Trade/template.cfg"), "name=Trade\n");
  EXPECT_EQ(ReadFile(installed + "/Docs/readme.htm"), "<html>readme</html>");
  struct stat st {};
  ASSERT_EQ(stat((installed + "/Trade/template.cfg").c_str(), &st), 0);
  EXPECT_EQ(st.st_mtime, static_cast<time_t>(kTime / 10000000 - 11644473600ull));
  const std::string saved = run.WaitForLog("saved ", 5);
  ASSERT_NE(saved, "");
  const std::string config = ReadFile(saved.substr(6));
  EXPECT_NE(config.find("ConfigurationTemplatesLocation=" + installed), std::string::npos) << config;

  Next();  // Finish
  EXPECT_EQ(run.WaitExit(20), 0);
  EXPECT_EQ(ReadFile(opened), installed + "/Docs/readme.htm\n");
}

// Cancel on the destination page asks; No stays, Yes closes. On the success
// page with the box cleared, Finish opens nothing.
TEST_F(SetupWizard, CancelAsksAndUncheckedFinishOpensNothing) {
  SetupRun run;
  WriteKit(run.kitPath());
  ASSERT_TRUE(run.Start(x_, {"-Lru"}));
  ASSERT_TRUE(FindWindow(run, 1));
  Shot("welcome_ru");
  Next();
  ASSERT_NE(run.WaitForLog("page destination", 10), "");
  Shot("destination_ru");
  Cancel();
  ASSERT_NE(run.WaitForLog("message 0x2000002", 10), "");
  x_.Key("Escape");  // No
  e2e::SleepSeconds(0.5);
  ASSERT_TRUE(run.Running());
  TypePath(run.dir() + "/t");
  Next();
  ASSERT_EQ(run.WaitForLog("page success", 30), "page success");
  Shot("success_ru");
  At(180, 180);  // the check box
  Next();
  EXPECT_EQ(run.WaitExit(20), 0);
}

// The window's close button ends the installer at once, without a question.
TEST(SetupWindowManager, TitleBarCloseDoesNotAsk) {
  setenv("LANG", "C.UTF-8", 1);
  XServer x;
  ASSERT_TRUE(x.ok());
  SetupRun run;
  WriteKit(run.kitPath());
  ASSERT_TRUE(run.Start(x, {"-Lde"}));
  ASSERT_NE(run.WaitForLog("page welcome", 20), "");
  ASSERT_FALSE(x.WaitForWindows(Text(7, "IDR_MAINFRAME"), 10).empty());
  x.Screenshot("page_welcome_de");
  x.Key("alt+F4");  // the window manager's close, as from the title bar
  EXPECT_EQ(run.WaitExit(10), 0);
  for (const std::string& line : run.Log()) EXPECT_EQ(line.find("message"), std::string::npos) << line;
}

// Cancel during the copy of a large kit: the loop ends with 1223, the box,
// the failure page; the job rolls back, so the target holds nothing new.
// Many small files through the shell commands make the copy take seconds.
TEST_F(SetupWizard, CancelDuringCopyRollsBack) {
  SetupRun run;
  WriteKit(run.kitPath(), 3000);
  run.AddEnv("KITSETUP_NO_FAST_PATHS=1");
  ASSERT_TRUE(run.Start(x_, {"-Len"}));
  ASSERT_TRUE(FindWindow(run, 3));
  Next();
  ASSERT_NE(run.WaitForLog("page destination", 10), "");
  const std::string target = run.dir() + "/big";
  TypePath(target);
  Next();
  ASSERT_EQ(run.WaitForLog("page progress", 10), "page progress");
  Shot("progress_en");
  Cancel();
  EXPECT_EQ(run.WaitForLog("result", 30), "result 1223");
  ASSERT_NE(run.WaitForLog("message 0x1000001", 10), "");
  x_.Key("Return");
  ASSERT_EQ(run.WaitForLog("page failure", 10), "page failure");
  Shot("failure_en");
  Next();  // Finish
  EXPECT_EQ(run.WaitExit(60), 0);
  struct stat st {};
  EXPECT_NE(stat(target.c_str(), &st), 0) << "the directory the run created is removed";
}

// -S installs with nothing clicked and the process ends by itself.
TEST_F(SetupWizard, SilentModeInstallsWithoutAClick) {
  SetupRun run;
  WriteKit(run.kitPath());
  ASSERT_TRUE(run.Start(x_, {"-S"}));
  EXPECT_EQ(run.WaitForLog("page success", 30), "page success");
  EXPECT_EQ(run.WaitExit(30), 0);
  const std::string tmplts = run.home() + "/.mivo/Vesk/miv8/tmplts";
  EXPECT_EQ(ReadFile(tmplts + "/Trade/template.cfg"), "name=Trade\n");
  EXPECT_NE(run.WaitForLog("saved ", 0), "");
}

}  // namespace
