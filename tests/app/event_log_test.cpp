// The event log's exact lines, read back from standard error, and whole
// lines when two threads log at once.
#include "app/event_log.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>

#include "support/test_support.h"

namespace kitsetup {
namespace {

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
  int countA = 0, countB = 0;
  for (std::string line; std::getline(lines, line);) {
    countA += line == lineA;
    countB += line == lineB;
    if (line != lineA && line != lineB) FAIL() << "mixed line: " << line.substr(0, 80);
  }
  EXPECT_EQ(countA, kLines);
  EXPECT_EQ(countB, kLines);
}

}  // namespace
}  // namespace kitsetup
