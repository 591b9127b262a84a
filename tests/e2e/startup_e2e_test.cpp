// The installer started for real: refusals before the window, the window's
// language and title, and closing it with Escape. Each test has its own X
// server; screenshots go to artifacts/ for a person to look at.
#include <gtest/gtest.h>
#include <sys/statvfs.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "core/encoding.h"
#include "core/messages.h"
#include "e2e/x_session.h"
#include "kit/distribution_kit.h"
#include "kit/kit_writer.h"

namespace {

using e2e::SetupRun;
using e2e::XServer;
using kitsetup::ByteString;
using e2e::Text;
using kitsetup::TextString;

TextString T(const char* utf8) { return kitsetup::FromLocaleBytes(ByteString(utf8)); }

void WriteSampleKit(const std::string& path) {
  kitsetup::KitBuilder kit;
  kit.AddDescription({T("ru"), T("Шаблоны «Торговля»"), T("ООО «Пример»"), T("\\Docs\\readme.htm")});
  kit.AddDescription({T("en"), T("Trade templates"), T("Example Ltd."), T("\\Docs\\readme.htm")});
  kit.AddDescription({T("ka"), T("ვაჭრობის შაბლონები"), T("Example"), T("\\Docs\\readme.htm")});
  kit.AddDescription({T("vi"), T("Mẫu Thương mại"), T("Công ty Example"), T("\\Docs\\readme.htm")});
  kit.AddEntry(T("\\Docs\\readme.htm"), "<html>readme</html>", 133000000000000000ull);
  kit.AddEntry(T("\\Trade\\template.cfg"), "name=Trade\n", 133000000000000000ull);
  ASSERT_EQ(kit.WriteTo(path), 0u);
}

class SetupStartup : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("LANG", "C.UTF-8", 1);  // the texts below are compared as UTF-8
    ASSERT_TRUE(x_.ok()) << "Xvfb did not start";
  }

  std::string Shot(const std::string& what) {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    return x_.Screenshot(std::string(info->name()) + "_" + what);
  }

  // The main window once the welcome page is up; a click on its text gives
  // it the keyboard, as a person's first click would.
  std::string WaitForWelcome(SetupRun& run, const std::string& title) {
    EXPECT_EQ(run.WaitForLog("page welcome", 20), "page welcome");
    std::vector<std::string> windows = x_.WaitForWindows(title, 10);
    if (windows.empty()) return "";
    int x = 0, y = 0, w = 0, h = 0;
    if (x_.Geometry(windows[0], x, y, w, h)) x_.Click(x + 330, y + 200);
    return windows[0];
  }

  XServer x_;
};

// Every refusal shows its error box in the chosen language before any
// window, Return closes it, and the program ends with status 0. The first
// starts with an empty LANG and no other locale variable, as launchers and
// scripts often do: the Russian text must still come through whole.
TEST_F(SetupStartup, RefusesMissingDamagedAndTooLargeKits) {
  {
    SetupRun run;
    run.AddEnv("LANG=");
    ASSERT_TRUE(run.Start(x_, {"-Lru"}));
    const std::string expected = "message 0x1000001 " + Text(1, "IDS_ERROR_NOSOURCE");
    EXPECT_EQ(run.WaitForLog("message", 20), expected);
    EXPECT_EQ(x_.WaitForWindows(Text(1, "IDR_MAINFRAME"), 5).size(), 1u) << "the box carries the title";
    Shot("nokit_ru");
    x_.Key("Return");
    EXPECT_EQ(run.WaitExit(10), 0);
    EXPECT_EQ(run.WaitForLog("page", 0), "");
  }
  {
    SetupRun run;
    std::ofstream(run.kitPath()) << "this is not a kit, only some text that does not inflate";
    ASSERT_TRUE(run.Start(x_, {"-Len"}));
    EXPECT_EQ(run.WaitForLog("message", 20),
              "message 0x1000001 " + Text(3, "IDS_ERROR_DAMAGEDSOURCE"));
    Shot("damaged_en");
    x_.Key("Return");
    EXPECT_EQ(run.WaitExit(10), 0);
  }
  {
    // A temporary directory on a 1 MiB file system and a kit whose size
    // needs three times more than that; the kit is sparse, so it costs
    // nothing, and the check refuses it before anything is unpacked.
    SetupRun run;
    const std::string small = run.dir() + "/small";
    if (system(("mkdir -p " + e2e::Quote(small) + " && mount -t tmpfs -o size=1m tmpfs " +
                e2e::Quote(small) + " 2>/dev/null")
                   .c_str()) != 0) {
      GTEST_SKIP() << "cannot mount a small tmpfs here (needs root); the space check is not tested";
    }
    run.SetTmp(small);
    ASSERT_EQ(truncate((run.kitPath()).c_str(), 0), -1);  // not there yet
    std::ofstream(run.kitPath()).close();
    ASSERT_EQ(truncate(run.kitPath().c_str(), 512 * 1024), 0);
    ASSERT_TRUE(run.Start(x_, {"/lka"}));
    EXPECT_EQ(run.WaitForLog("message", 20), "message 0x1000001 " + Text(9, "IDS_ERROR_NOSPACE"));
    Shot("nospace_ka");
    x_.Key("Return");
    EXPECT_EQ(run.WaitExit(10), 0);
    system(("umount " + e2e::Quote(small)).c_str());
  }
}

// The language switch decides the log line, the window title and the texts;
// the welcome page names the kit's product and vendor in that language, or
// the defaults when the kit has none for it.
TEST_F(SetupStartup, WindowSpeaksTheChosenLanguage) {
  struct Case {
    std::string arg, code;
    kitsetup::LanguageId id;
  };
  // Every language of the table, switches written both ways.
  for (const Case& c : {Case{"-Lru", "ru", 1}, Case{"-Luk", "uk", 2}, Case{"-Len", "en", 3},
                        Case{"/Llv", "lv", 4}, Case{"-llt", "lt", 5}, Case{"-Lbg", "bg", 6},
                        Case{"-Lde", "de", 7}, Case{"/lro", "ro", 8}, Case{"/lka", "ka", 9},
                        Case{"-Lkk", "kk", 10}, Case{"-Lvi", "vi", 11}, Case{"-Ltr", "tr", 12}}) {
    SCOPED_TRACE(c.arg);
    SetupRun run;
    WriteSampleKit(run.kitPath());
    ASSERT_TRUE(run.Start(x_, {c.arg}));
    EXPECT_EQ(run.WaitForLog("language", 20), "language " + c.code + " " + std::to_string(c.id));
    const std::string window = WaitForWelcome(run, Text(c.id, "IDR_MAINFRAME"));
    EXPECT_FALSE(window.empty()) << "no window titled " << Text(c.id, "IDR_MAINFRAME");
    EXPECT_EQ(run.WaitForLog("template ", 1), "template " + run.home() + "/.mivo/Vesk/miv8/tmplts/");
    Shot("welcome_" + c.code);
    x_.Key("Escape");
    EXPECT_EQ(run.WaitForLog("message", 10),
              "message 0x2000002 " + Text(c.id, "IDS_ACCEPT_CANCEL"));
    Shot("question_" + c.code);
    x_.Key("Return");
    EXPECT_EQ(run.WaitExit(10), 0);
  }
}

// Escape asks; "No" (Escape in the box) keeps the window; a second Escape
// asks again and "Yes" (Return) closes the window and ends the program.
TEST_F(SetupStartup, EscapeAsksAndClosesOnlyOnYes) {
  SetupRun run;
  WriteSampleKit(run.kitPath());
  ASSERT_TRUE(run.Start(x_, {"-Lru"}));
  const std::string title = Text(1, "IDR_MAINFRAME");
  ASSERT_FALSE(WaitForWelcome(run, title).empty());

  x_.Key("Escape");
  ASSERT_NE(run.WaitForLog("message 0x2000002", 10), "");
  EXPECT_EQ(x_.WaitForWindows(title, 5).size(), 2u) << "the window and the question";
  x_.Key("Escape");
  e2e::SleepSeconds(0.5);
  EXPECT_TRUE(run.Running()) << "No must keep the installer open";
  EXPECT_EQ(x_.WaitForWindows(title, 5).size(), 1u);

  x_.Key("Escape");
  e2e::SleepSeconds(0.5);
  int questions = 0;
  for (const std::string& line : run.Log()) questions += line.rfind("message 0x2000002", 0) == 0;
  EXPECT_EQ(questions, 2);
  x_.Key("Return");
  EXPECT_EQ(run.WaitExit(10), 0);
}

}  // namespace
