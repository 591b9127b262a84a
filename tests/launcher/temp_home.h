// tests/launcher/temp_home.h: a throw-away home directory for the launcher
// tests. The process's HOME points at it (ExpandHome reads HOME through
// wordexp), the locale is C.UTF-8, and everything is removed afterwards.
#ifndef KITSETUP_TESTS_LAUNCHER_TEMP_HOME_H
#define KITSETUP_TESTS_LAUNCHER_TEMP_HOME_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "core/text_string.h"

namespace kitsetup_test {

namespace fs = std::filesystem;

class TempHome : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("LC_ALL", "C.UTF-8", 1);
    std::string pattern = (fs::temp_directory_path() / "kitsetup-home-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    home_ = pattern;
    const char* old = getenv("HOME");
    old_home_ = old ? old : "";
    setenv("HOME", home_.c_str(), 1);
  }
  void TearDown() override {
    setenv("HOME", old_home_.c_str(), 1);
    std::error_code ignored;
    fs::remove_all(home_, ignored);
  }

  // A path under the temporary home, as UTF-8 text.
  std::string At(const std::string& relative) const { return home_ + "/" + relative; }
  std::string CurrentFile() const { return At(".Vesk/veskstart/veskstart.cfg"); }
  std::string OlderFile() const { return At(".Vesk/veskstartt/veskstart.cfg"); }
  std::string CommonFile() const { return At(".mivo/.Vesk/veskstart/veskstart.cfg"); }

  static void Write(const std::string& path, const std::string& bytes) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
  }
  static std::string Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
  }

  std::string home_;
  std::string old_home_;
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

inline std::u16string U16(const kitsetup::TextString& s) { return std::u16string(s.c_str(), s.length()); }

inline std::u16string U16(const std::string& ascii) { return std::u16string(ascii.begin(), ascii.end()); }

inline kitsetup::TextString Text(const std::u16string& s) { return kitsetup::TextString(s.data(), s.size()); }
inline kitsetup::TextString Text(const std::string& ascii) { return Text(U16(ascii)); }

inline std::vector<std::u16string> U16s(const std::vector<kitsetup::TextString>& list) {
  std::vector<std::u16string> out;
  for (const auto& s : list) out.push_back(U16(s));
  return out;
}

}  // namespace kitsetup_test

#endif
