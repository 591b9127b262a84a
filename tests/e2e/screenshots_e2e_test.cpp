// Every page and box of the wizard in all twelve languages: each text is
// measured against its frame in code (the installer's "layout" events) and
// must fit, and the pictures of six languages go to the user documentation.
// Run with KITSETUP_SCREENSHOT_DIR set (see tests/e2e/take_screenshots.sh);
// skipped otherwise, as it takes minutes. Each picture is one window, the
// wizard's or a message box's, as an eight-bit PNG named
// <language>-<page>.png.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>

#include "core/encoding.h"
#include "e2e/x_session.h"
#include "kit/kit_writer.h"

namespace {

using e2e::SetupRun;
using e2e::Text;
using e2e::XServer;
using kitsetup::TextString;

TextString T(const std::string& utf8) { return kitsetup::FromLocaleBytes(kitsetup::ByteString(utf8.c_str())); }

const uint64_t kTime = 133000000000000000ull;  // 2022-06-18

// The sample kit's descriptions (examples/sample.describe), so the welcome
// page names a product as a real kit would; `files` entries make the copy
// last long enough to be seen, `blocked` adds one that cannot be written
// when a plain file named Templates stands in the target.
void WriteKit(const std::string& path, size_t files, bool blocked) {
  kitsetup::KitBuilder kit;
  std::ifstream describe(std::string(KITSETUP_SOURCE_DIR) + "/examples/sample.describe");
  for (std::string line; std::getline(describe, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> f;
    for (size_t start = 0;;) {
      const size_t tab = line.find('\t', start);
      f.push_back(line.substr(start, tab - start));
      if (tab == std::string::npos) break;
      start = tab + 1;
    }
    ASSERT_EQ(f.size(), 4u) << line;
    kit.AddDescription({T(f[0]), T(f[1]), T(f[2]), T(f[3])});
  }
  kit.AddEntry(T("\\Docs\\readme.htm"), "<html>readme</html>", kTime);
  for (size_t i = 0; i < files; ++i) {
    kit.AddEntry(T("\\Trade\\d" + std::to_string(i % 40) + "\\form" + std::to_string(i) + ".xml"),
                 "<form/>\n", kTime);
  }
  if (blocked) kit.AddEntry(T("\\Templates\\Trade\\x.xml"), "<x/>", kTime);
  ASSERT_EQ(kit.WriteTo(path), 0u);
}

struct Language {
  const char* code;
  int id;
  bool pictures;  // shown in the documentation
};

// Every text the run measured fits its frame: the wizard's labels and
// buttons on each page, and each message box's text and buttons.
void ExpectEverythingFits(const SetupRun& run, const char* what) {
  int measured = 0;
  for (const std::string& line : run.Log()) {
    if (line.compare(0, 7, "layout ") != 0) continue;
    ++measured;
    EXPECT_EQ(line.find(" clipped "), std::string::npos) << what << ": " << line;
  }
  EXPECT_GT(measured, 0) << what << ": nothing was measured";
}

class Screenshots : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* dir = getenv("KITSETUP_SCREENSHOT_DIR");
    if (dir == nullptr || *dir == '\0') GTEST_SKIP() << "KITSETUP_SCREENSHOT_DIR is not set";
    dir_ = dir;
    setenv("LANG", "C.UTF-8", 1);
    ASSERT_TRUE(x_.ok());
  }

  void Save(const std::string& window, const Language& l, const char* page) {
    ASSERT_NE(window, "") << l.code << " " << page;
    if (!l.pictures) return;
    e2e::SleepSeconds(0.3);  // let the window finish drawing
    const std::string path = dir_ + "/" + l.code + "-" + page + ".png";
    EXPECT_TRUE(x_.CaptureWindow(window, path)) << path;
  }

  // Welcome, destination, the cancel question (answered No), progress and
  // success; the description is "opened" by a stand-in that does nothing.
  void Success(const Language& l) {
    e2e::WizardWindow w(x_);
    SetupRun run;
    run.AddEnv("KITSETUP_LAYOUT_REPORT=1");
    WriteKit(run.kitPath(), l.pictures ? 20000 : 200, false);  // a copy long enough to be seen
    const std::string bin = run.dir() + "/bin";
    system(("mkdir -p " + e2e::Quote(bin)).c_str());
    for (const char* name : {"xdg-open", "open"}) {
      std::ofstream(bin + "/" + name) << "#!/bin/sh\nexit 0\n";
      chmod((bin + "/" + name).c_str(), 0755);
    }
    run.SetPathPrefix(bin);
    ASSERT_TRUE(run.Start(x_, {std::string("-L") + l.code}));
    ASSERT_TRUE(w.Find(run, Text(l.id, "IDR_MAINFRAME")));
    Save(w.id(), l, "welcome");
    w.Next();
    ASSERT_NE(run.WaitForLog("page destination", 10), "");
    Save(w.id(), l, "destination");
    w.Cancel();
    ASSERT_NE(run.WaitForLog("message 0x2000002", 10), "");
    Save(w.Box(), l, "cancel");
    x_.Key("Escape");  // No
    w.Next();
    ASSERT_NE(run.WaitForLog("page progress", 10), "");
    e2e::SleepSeconds(2);
    Save(w.id(), l, "progress");
    ASSERT_EQ(run.WaitForLog("result", 300), "result 0");
    ASSERT_NE(run.WaitForLog("page success", 10), "");
    Save(w.id(), l, "success");
    w.Next();
    EXPECT_EQ(run.WaitExit(30), 0);
    ExpectEverythingFits(run, "wizard");
  }

  // A copy that fails: the error box and the failure page.
  void Failure(const Language& l) {
    e2e::WizardWindow w(x_);
    SetupRun run;
    run.AddEnv("KITSETUP_LAYOUT_REPORT=1");
    WriteKit(run.kitPath(), 0, true);
    const std::string target = run.dir() + "/target";
    system(("mkdir -p " + e2e::Quote(target) + " && touch " + e2e::Quote(target + "/Templates")).c_str());
    ASSERT_TRUE(run.Start(x_, {std::string("-L") + l.code}));
    ASSERT_TRUE(w.Find(run, Text(l.id, "IDR_MAINFRAME")));
    w.Next();
    ASSERT_NE(run.WaitForLog("page destination", 10), "");
    w.TypePath(target);
    w.Next();
    ASSERT_EQ(run.WaitForLog("message", 30), "message 0x1000001 " + Text(l.id, "IDS_INSTALL_ERROR"));
    Save(w.Box(), l, "error");
    x_.Key("Return");
    ASSERT_NE(run.WaitForLog("page failure", 10), "");
    Save(w.id(), l, "failure");
    w.Next();
    EXPECT_EQ(run.WaitExit(30), 0);
    ExpectEverythingFits(run, "failure");
  }

  // The boxes before the window: no kit beside Setup.app, and a damaged one.
  void RefusedKits(const Language& l) {
    for (const char* kit : {"", "not a kit"}) {
      SetupRun run;
      run.AddEnv("KITSETUP_LAYOUT_REPORT=1");
      if (*kit != '\0') std::ofstream(run.kitPath()) << kit;
      ASSERT_TRUE(run.Start(x_, {std::string("-L") + l.code}));
      ASSERT_NE(run.WaitForLog("message", 20), "");
      ASSERT_FALSE(x_.WaitForWindows(Text(l.id, "IDR_MAINFRAME"), 10).empty());
      x_.Key("Return");
      EXPECT_EQ(run.WaitExit(30), 0);
      ExpectEverythingFits(run, *kit != '\0' ? "damaged kit" : "missing kit");
    }
  }

  XServer x_{false};
  std::string dir_;
};

// KITSETUP_SCREENSHOT_LANGUAGES="de ka" limits the run to some languages.
TEST_F(Screenshots, EveryPageFitsInTwelveLanguages) {
  const char* only = getenv("KITSETUP_SCREENSHOT_LANGUAGES");
  for (const Language& l :
       {Language{"ru", 1, true}, Language{"uk", 2, false}, Language{"en", 3, true}, Language{"lv", 4, false},
        Language{"lt", 5, false}, Language{"bg", 6, false}, Language{"de", 7, true}, Language{"ro", 8, false},
        Language{"ka", 9, true}, Language{"kk", 10, true}, Language{"vi", 11, true}, Language{"tr", 12, false}}) {
    if (only != nullptr && std::string(only).find(l.code) == std::string::npos) continue;
    SCOPED_TRACE(l.code);
    Success(l);
    Failure(l);
    RefusedKits(l);
  }
}

}  // namespace
