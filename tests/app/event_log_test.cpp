// The event log's exact lines, read back from standard error, and whole
// lines when two threads log at once.
#include "app/event_log.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <thread>

#include "app_test_support.h"

namespace kitsetup {
namespace {

using kitsetup_test::CaptureStderr;

TEST(EventLog, ExactLines) {
  const std::string log = CaptureStderr([] {
    LogLanguage(u"ru", 1);
    LogKit(u"/Apps/Kit/mivo.efd");
    LogTemplate(u"/home/u/.mivo/Vesk/miv8/tmplts/");
    LogMessage(0x1000001, u"Нет места");
    LogMessage(0x2000002, u"Прервать?");
    LogMessage(1, u"");
    LogPage("welcome");
    LogResult(1223);
    LogResult(0);
    LogSaved(u"/home/u/.Vesk/veskstart/veskstart.cfg");
  });
  EXPECT_EQ(log,
            "kitsetup: language ru 1\n"
            "kitsetup: kit /Apps/Kit/mivo.efd\n"
            "kitsetup: template /home/u/.mivo/Vesk/miv8/tmplts/\n"
            "kitsetup: message 0x1000001 Нет места\n"
            "kitsetup: message 0x2000002 Прервать?\n"
            "kitsetup: message 0x1 \n"
            "kitsetup: page welcome\n"
            "kitsetup: result 1223\n"
            "kitsetup: result 0\n"
            "kitsetup: saved /home/u/.Vesk/veskstart/veskstart.cfg\n");
}

TEST(EventLog, TextsStayOnOneLineAsUtf8WhateverTheLocale) {
  const std::string log = CaptureStderr([] {
    LogMessage(0x1000001, u"line one\nline two\r");
    LogKit(u"/k/\U0001F4E6/\xD800x");  // a pair, then a lone surrogate
    LogTemplate(u"ქართ");
  });
  EXPECT_EQ(log,
            "kitsetup: message 0x1000001 line one\\nline two\\r\n"
            "kitsetup: kit /k/\xF0\x9F\x93\xA6/\xEF\xBF\xBDx\n"
            "kitsetup: template ქართ\n");
}

TEST(EventLogThreadSafety, LinesOfTwoThreadsNeverMix) {
  const std::u16string a(300, u'a');
  const std::u16string b(300, u'б');
  constexpr int kLines = 2000;
  const std::string log = CaptureStderr([&] {
    std::thread first([&] {
      for (int i = 0; i < kLines; ++i) LogTemplate(TextString(a.c_str()));
    });
    std::thread second([&] {
      for (int i = 0; i < kLines; ++i) LogKit(TextString(b.c_str()));
    });
    first.join();
    second.join();
  });
  std::string expectA = "kitsetup: template " + std::string(300, 'a');
  std::string expectB = "kitsetup: kit ";
  for (int i = 0; i < 300; ++i) expectB += "б";
  std::istringstream lines(log);
  std::string line;
  int countA = 0, countB = 0;
  while (std::getline(lines, line)) {
    if (line == expectA) {
      ++countA;
    } else if (line == expectB) {
      ++countB;
    } else {
      ADD_FAILURE() << "mixed line: " << line.substr(0, 80);
      break;
    }
  }
  EXPECT_EQ(countA, kLines);
  EXPECT_EQ(countB, kLines);
}

}  // namespace
}  // namespace kitsetup
