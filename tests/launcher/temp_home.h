// tests/launcher/temp_home.h: a throw-away home directory for the launcher
// tests. The process's HOME points at it (ExpandHome reads HOME through
// wordexp), the locale is C.UTF-8, and everything is removed afterwards.
#ifndef KITSETUP_TESTS_LAUNCHER_TEMP_HOME_H
#define KITSETUP_TESTS_LAUNCHER_TEMP_HOME_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/test_support.h"

namespace kitsetup_test {

namespace fs = std::filesystem;
using testsupport::ReadFile;
using testsupport::Text;
using testsupport::U16;
using testsupport::U16s;
using testsupport::WriteFile;

class TempHome : public ::testing::Test {
 protected:
  // A path under the temporary home, as UTF-8 text.
  std::string At(const std::string& relative) const { return home_ + "/" + relative; }
  std::string CurrentFile() const { return At(".Vesk/veskstart/veskstart.cfg"); }
  std::string OlderFile() const { return At(".Vesk/veskstartt/veskstart.cfg"); }
  std::string CommonFile() const { return At(".mivo/.Vesk/veskstart/veskstart.cfg"); }

  testsupport::ScratchDir dir_;
  const std::string home_ = dir_.path();
  testsupport::ScopedEnv home_env_{"HOME", home_.c_str()};
  testsupport::ScopedEnv locale_{"LC_ALL", "C.UTF-8"};
};

// The byte-order mark and little-endian units, as a Windows-side launcher
// writes its file.
inline std::string Utf16LeWithMark(const std::u16string& text) {
  std::string bytes = "\xFF\xFE";
  for (char16_t u : text) {
    bytes.push_back(static_cast<char>(u & 0xFF));
    bytes.push_back(static_cast<char>(u >> 8));
  }
  return bytes;
}

}  // namespace kitsetup_test

#endif
