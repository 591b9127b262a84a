// The wizard from start to finish with a real kit: pages, typed paths, the
// copy, the launcher configuration written afterwards and the description
// opened on Finish; silent mode. Screenshots of every page go to artifacts/.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "core/encoding.h"
#include "core/messages.h"
#include "e2e/x_session.h"
#include "kit/kit_writer.h"
#include "support/test_support.h"

namespace {

using e2e::SetupRun;
using e2e::XServer;
using kitsetup::ByteString;
using kitsetup::TextString;

using e2e::Text;

TextString T(const char* utf8) { return kitsetup::FromLocaleBytes(ByteString(utf8)); }

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

const uint64_t kTime = 133000000000000000ull;  // 2022-06-18, as 100-ns ticks since 1601

// Every path under `root` with its bytes and, for files, the modification
// time to the nanosecond. Directories' own times are left out: a rollback
// that removes what it added still touches its parent directory.
std::map<std::string, std::string> Snapshot(const std::string& root) {
  std::map<std::string, std::string> out;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    const std::string path = entry.path().string();
    struct stat st {};
    lstat(path.c_str(), &st);
    std::string& record = out[path.substr(root.size())];
    if (S_ISDIR(st.st_mode)) {
      record = "directory";
    } else {
      record = "file " + std::to_string(testsupport::MtimeNs(st)) + " " + ReadFile(path);
    }
  }
  return out;
}

std::vector<std::string> Names(const std::string& dir) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) names.push_back(entry.path().filename());
  return names;
}

void WriteDated(const std::string& path, const std::string& bytes, time_t when) {
  std::ofstream(path, std::ios::binary) << bytes;
  const timespec times[2] = {{when, 0}, {when, 123456789}};
  utimensat(AT_FDCWD, path.c_str(), times, 0);
}

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

  bool FindWindow(SetupRun& run, int id) { return w_.Find(run, Text(id, "IDR_MAINFRAME")); }
  void At(int x, int y) { w_.At(x, y); }
  void Back() { w_.Back(); }
  void Next() { w_.Next(); }
  void Cancel() { w_.Cancel(); }
  void TypePath(const std::string& path) { w_.TypePath(path); }

  XServer x_{false};
  e2e::WizardWindow w_{x_};
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

// Cancel and Esc on the welcome page both ask; No keeps the wizard where it
// was, only Yes closes it (Esc answered Yes: the start-up tests).
TEST_F(SetupWizard, CancelAndEscapeOnWelcomeCloseOnlyOnYes) {
  SetupRun run;
  WriteKit(run.kitPath());
  ASSERT_TRUE(run.Start(x_, {"-Len"}));
  ASSERT_TRUE(FindWindow(run, 3));
  const std::string question = "message 0x2000002 " + Text(3, "IDS_ACCEPT_CANCEL");
  auto questions = [&run, &question] {
    int n = 0;
    for (const std::string& line : run.Log()) n += line == question;
    return n;
  };

  Cancel();
  ASSERT_EQ(run.WaitForLog("message", 10), question);
  ASSERT_NE(w_.Box(), "");
  x_.Key("Escape");  // No
  e2e::SleepSeconds(0.5);
  EXPECT_TRUE(run.Running());
  EXPECT_EQ(w_.Box(0), "") << "No closes the box";

  x_.Key("Escape");
  e2e::SleepSeconds(0.5);
  EXPECT_EQ(questions(), 2);
  x_.Key("Escape");  // No
  e2e::SleepSeconds(0.5);
  EXPECT_TRUE(run.Running());

  Cancel();
  e2e::SleepSeconds(0.5);
  ASSERT_EQ(questions(), 3);
  x_.Key("Return");  // Yes
  EXPECT_EQ(run.WaitExit(10), 0);
  EXPECT_EQ(run.WaitForLog("page destination", 0), "") << "the wizard never moved on";
}

// A target that cannot be written half way through the copy: a plain file
// stands where the kit needs a directory. The error box, the failure page,
// and the template directory exactly as it was: the replaced file back with
// its bytes and time, the new files and directories gone, the blocking file
// untouched; in the temporary directory only the staging file is left.
TEST_F(SetupWizard, FailureDuringCopyRollsBackCompletely) {
  SetupRun run;
  kitsetup::KitBuilder kit;
  kit.AddDescription({T("en"), T("Trade templates"), T("Example Ltd."), T("\\Docs\\readme.htm")});
  kit.AddEntry(T("\\Docs\\readme.htm"), "<html>readme</html>", kTime);
  kit.AddEntry(T("\\Existing.cfg"), "new\n", kTime);
  kit.AddEntry(T("\\Keep\\new.txt"), "new file in an old folder\n", kTime);
  kit.AddEntry(T("\\Templates\\Trade\\x.xml"), "<x/>", kTime);
  kit.AddEntry(T("\\Zzz\\after.txt"), "never reached\n", kTime);
  ASSERT_EQ(kit.WriteTo(run.kitPath()), 0u);

  const std::string target = run.dir() + "/target";
  const time_t old = 1000000000;  // 2001: older than the kit's files, so they replace them
  ASSERT_EQ(system(("mkdir -p " + e2e::Quote(target + "/Keep")).c_str()), 0);
  WriteDated(target + "/Templates", "a file, not a folder\n", old);
  WriteDated(target + "/Existing.cfg", "old\n", old);
  WriteDated(target + "/Keep/old.txt", "kept\n", old);
  const auto before = Snapshot(target);
  ASSERT_TRUE(Names(run.tmp()).empty());

  ASSERT_TRUE(run.Start(x_, {"-Len"}));
  ASSERT_TRUE(FindWindow(run, 3));
  Next();
  ASSERT_NE(run.WaitForLog("page destination", 10), "");
  TypePath(target);
  Next();
  ASSERT_EQ(run.WaitForLog("page progress", 10), "page progress");
  const std::string result = run.WaitForLog("result", 30);
  EXPECT_NE(result, "result 0");
  EXPECT_NE(result, "result 1223");
  EXPECT_EQ(run.WaitForLog("message", 10), "message 0x1000001 " + Text(3, "IDS_INSTALL_ERROR"));
  ASSERT_NE(w_.Box(), "");
  x_.Key("Return");
  ASSERT_EQ(run.WaitForLog("page failure", 10), "page failure");
  EXPECT_EQ(run.WaitForLog("saved", 0), "") << "a failed run writes no configuration";
  Next();  // Finish
  EXPECT_EQ(run.WaitExit(20), 0);

  EXPECT_EQ(Snapshot(target), before);
  const std::vector<std::string> left = Names(run.tmp());
  ASSERT_EQ(left.size(), 1u) << "only the staging file stays; backups are gone";
  EXPECT_EQ(left[0].compare(0, 3, "edf"), 0) << left[0];
}

// Only the legacy launcher file names a template directory: the silent run
// offers and fills that directory, then rewrites the legacy file alone with
// the directory first and its other keys kept; the current launcher's file
// is not created.
TEST_F(SetupWizard, SilentModeWithLegacyConfigurationRewritesOnlyIt) {
  SetupRun run;
  WriteKit(run.kitPath());
  const std::string legacyDir = run.dir() + "/legacy/";
  const std::string legacyFile = run.home() + "/.Vesk/veskstartt/veskstart.cfg";
  ASSERT_EQ(system(("mkdir -p " + e2e::Quote(legacyDir) + " " + e2e::Quote(run.home() + "/.Vesk/veskstartt"))
                       .c_str()),
            0);
  std::ofstream(legacyFile) << "DefaultVersion=8\nConfigurationTemplatesLocation=" << legacyDir << "\n";

  ASSERT_TRUE(run.Start(x_, {"-S"}));
  EXPECT_EQ(run.WaitForLog("template ", 20), "template " + legacyDir);
  EXPECT_EQ(run.WaitForLog("page success", 30), "page success");
  EXPECT_EQ(run.WaitExit(30), 0);
  EXPECT_EQ(ReadFile(legacyDir + "Trade/template.cfg"), "name=Trade\n");

  std::vector<std::string> saved;
  for (const std::string& line : run.Log()) {
    if (line.rfind("saved ", 0) == 0) saved.push_back(line.substr(6));
  }
  EXPECT_EQ(saved, std::vector<std::string>{legacyFile});
  // The chosen directory goes first, without its slash, and (as any value
  // not ending in a separator) gains a backslash; the value read stays.
  EXPECT_EQ(ReadFile(legacyFile), "DefaultVersion=8\nConfigurationTemplatesLocation=" +
                                      legacyDir.substr(0, legacyDir.size() - 1) +
                                      "\\\nConfigurationTemplatesLocation=" + legacyDir + "\n");
  struct stat st {};
  EXPECT_NE(stat((run.home() + "/.Vesk/veskstart").c_str(), &st), 0);
}

// The folder chooser ("..."): a folder picked and confirmed fills the path
// field, a second pick that is cancelled changes nothing, and Next installs
// into the confirmed folder. On GNUstep the chooser is a modal panel: a path
// typed into its name field opens the folder's parent in the browser, where
// a click selects the folder (its only entry) and enables OK.
TEST_F(SetupWizard, FolderChooserFillsThePathOnlyOnOk) {
  SetupRun run;
  WriteKit(run.kitPath());
  const std::string chosen = run.dir() + "/pick/chosen";
  const std::string other = run.dir() + "/other/dismissed";
  ASSERT_EQ(system(("mkdir -p " + e2e::Quote(chosen) + " " + e2e::Quote(other)).c_str()), 0);
  ASSERT_TRUE(run.Start(x_, {"-Len"}));
  ASSERT_TRUE(FindWindow(run, 3));
  Next();
  ASSERT_NE(run.WaitForLog("page destination", 10), "");

  auto pick = [this](const std::string& folder, bool confirm) {
    w_.Browse();
    const std::vector<std::string> panels = x_.WaitForWindows("Open", 10);
    ASSERT_EQ(panels.size(), 1u) << "the folder chooser did not open";
    int x = 0, y = 0, w = 0, h = 0;
    ASSERT_TRUE(x_.Geometry(panels[0], x, y, w, h));
    x_.Click(x + w / 2, y + h - 50);  // the name field
    x_.Type(folder);
    x_.Click(x + 80, y + 105);  // the first row of the parent's column
    x_.Click(x + (confirm ? w - 54 : w - 126), y + h - 20);  // OK or Cancel
    EXPECT_TRUE(x_.WaitForWindows("Open", 0).empty()) << "the chooser stays open";
  };
  pick(chosen, true);
  pick(other, false);
  x_.Screenshot("page_destination_chosen_en");
  Next();
  ASSERT_EQ(run.WaitForLog("page success", 30), "page success");
  EXPECT_EQ(ReadFile(chosen + "/Trade/template.cfg"), "name=Trade\n");
  EXPECT_TRUE(Names(other).empty());
  struct stat st {};
  EXPECT_NE(stat((run.home() + "/.mivo").c_str(), &st), 0) << "the proposed directory was used";
  Next();
  EXPECT_EQ(run.WaitExit(20), 0);
}

// The old files in `dir` that the test kit replaces, dated before it.
void WriteOldTree(const std::string& dir) {
  ASSERT_EQ(system(("mkdir -p " + e2e::Quote(dir + "/Trade")).c_str()), 0);
  WriteDated(dir + "/Trade/template.cfg", "name=Old\n", 1000000000);
}

int Count(const std::vector<std::string>& log, const std::string& prefix) {
  int n = 0;
  for (const std::string& line : log) n += line.compare(0, prefix.size(), prefix) == 0;
  return n;
}

// Whether the pointer over a place counts as a cancel must not depend on
// where the window stands: at each position the copy (paused) sees the
// pointer cross the whole page and the disabled Back and Next and goes on;
// the pointer on Cancel, not even a click, ends it with 1223. Escape with
// the keyboard in the path field asks, as everywhere, and so does Escape
// during the copy; the answer No changes nothing, and the question also
// proves that every movement before it was seen.
TEST_F(SetupWizard, PointerOnCancelCancelsWhereverTheWindowIs) {
  struct Position {
    const char* name;
    int x, y;  // the client area's top left; -1: where the installer put it
  };
  for (const Position& p : {Position{"centred", -1, -1}, Position{"bottom_left", 0, 768 - 360}}) {
    SCOPED_TRACE(p.name);
    SetupRun run;
    WriteKit(run.kitPath(), 20);
    run.GateCopy("gated");
    const std::string target = run.dir() + "/gated";
    ASSERT_TRUE(run.Start(x_, {"-Len"}));
    ASSERT_TRUE(FindWindow(run, 3));
    if (p.x >= 0) {
      ASSERT_TRUE(w_.MoveTo(p.x, p.y));
    }
    Next();
    ASSERT_NE(run.WaitForLog("page destination", 10), "");
    TypePath(target);
    x_.Key("Escape");  // the keyboard is in the path field
    ASSERT_EQ(run.WaitForLog("message", 10), "message 0x2000002 " + Text(3, "IDS_ACCEPT_CANCEL"));
    x_.Key("Escape");  // No
    Next();
    ASSERT_EQ(run.WaitForLog("page progress", 10), "page progress");

    for (int y = 10; y < 360; y += 50) {
      for (int x = 10; x < 500; x += 60) {
        if (!(x >= 410 && y >= 320)) {
          w_.HoverAt(x, y);
        }
      }
    }
    w_.HoverAt(350, 335);  // Next, disabled
    x_.Key("Escape");
    ASSERT_NE(w_.Box(), "");
    EXPECT_EQ(Count(run.Log(), "message 0x2000002"), 2);
    EXPECT_EQ(run.WaitForLog("result", 0), "") << "a movement off Cancel cancelled the copy";
    x_.Key("Escape");  // No

    w_.HoverAt(450, 335);
    EXPECT_EQ(run.WaitForLog("result", 10), "result 1223");
    run.OpenGate();
    ASSERT_NE(run.WaitForLog("message 0x1000001", 20), "");
    x_.Key("Return");
    ASSERT_EQ(run.WaitForLog("page failure", 20), "page failure");
    Next();  // Finish
    EXPECT_EQ(run.WaitExit(20), 0);
    struct stat st {};
    EXPECT_NE(stat(target.c_str(), &st), 0) << "the directory the run created is removed";
  }
}

// Closing the window during the copy (the window manager's close, as from
// the title bar) is a cancel: the copy stops, rolls back, and only then
// does the program end; no box is shown to nobody.
TEST(SetupWindowManager, ClosingDuringACopyRollsBackThenEnds) {
  setenv("LANG", "C.UTF-8", 1);
  XServer x;
  ASSERT_TRUE(x.ok());
  SetupRun run;
  WriteKit(run.kitPath(), 20);
  const std::string tmplts = run.home() + "/.mivo/Vesk/miv8/tmplts";
  WriteOldTree(tmplts);
  const auto before = Snapshot(tmplts);
  run.GateCopy("tmplts");
  ASSERT_TRUE(run.Start(x, {"-S"}));
  ASSERT_EQ(run.WaitForLog("page progress", 20), "page progress");
  ASSERT_FALSE(x.WaitForWindows(Text(3, "IDR_MAINFRAME"), 10).empty());
  x.Key("alt+F4");
  EXPECT_EQ(run.WaitForLog("result", 10), "result 1223");
  run.OpenGate();
  EXPECT_EQ(run.WaitExit(30), 0);
  EXPECT_EQ(Count(run.Log(), "message"), 0);
  EXPECT_EQ(Snapshot(tmplts), before);
}

// A silent run never waits for a click: its box closes by itself and the
// program ends, whether the copy failed or a signal cancelled it. The
// "result" line says which; the tree is as it was either way. SIGTERM
// before any copy simply ends the program.
TEST_F(SetupWizard, SilentRunEndsByItselfAfterAFailureOrASignal) {
  struct Case {
    const char* name;
    bool blocked;  // a plain file stands where the kit needs a folder
    int signal;    // sent during the copy, 0 for none
  };
  for (const Case& c : {Case{"failure", true, 0}, Case{"sigterm", false, SIGTERM}, Case{"sighup", false, SIGHUP},
                        Case{"sigint", false, SIGINT}}) {
    SCOPED_TRACE(c.name);
    SetupRun run;
    WriteKit(run.kitPath(), 20);
    const std::string tmplts = run.home() + "/.mivo/Vesk/miv8/tmplts";
    WriteOldTree(tmplts);
    if (c.blocked) WriteDated(tmplts + "/Big", "a file, not a folder\n", 1000000000);
    const auto before = Snapshot(tmplts);
    if (c.signal != 0) run.GateCopy("tmplts");
    ASSERT_TRUE(run.Start(x_, {"-S"}));
    ASSERT_EQ(run.WaitForLog("page progress", 20), "page progress");
    if (c.signal != 0) {
      ASSERT_TRUE(run.Signal(c.signal));
      EXPECT_EQ(run.WaitForLog("result", 10), "result 1223");
      run.OpenGate();
    } else {
      const std::string result = run.WaitForLog("result", 30);
      EXPECT_NE(result, "");
      EXPECT_NE(result, "result 0");
      EXPECT_NE(result, "result 1223");
    }
    EXPECT_NE(run.WaitForLog("message 0x1000001", 20), "");
    EXPECT_EQ(run.WaitExit(60), 0) << "the box did not close by itself";
    EXPECT_EQ(run.WaitForLog("page failure", 0), "page failure");
    EXPECT_EQ(Snapshot(tmplts), before);
  }

  SetupRun idle;
  WriteKit(idle.kitPath());
  ASSERT_TRUE(idle.Start(x_, {"-Len"}));
  ASSERT_TRUE(FindWindow(idle, 3));
  ASSERT_TRUE(idle.Signal(SIGTERM));
  EXPECT_EQ(idle.WaitExit(20), 0);
  EXPECT_EQ(idle.WaitForLog("message", 0), "") << "a signal closes without a question";
}

}  // namespace
