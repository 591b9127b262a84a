// tests/core/scratch_dir.h: a fresh directory per test for the file tests,
// removed afterwards, and ASCII bridges between std::string and TextString
// that do not depend on the locale conversions under test elsewhere.
#ifndef KITSETUP_TESTS_CORE_SCRATCH_DIR_H
#define KITSETUP_TESTS_CORE_SCRATCH_DIR_H

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "core/text_string.h"

namespace kitsetup_test {

namespace fs = std::filesystem;

class ScratchDir {
 public:
  ScratchDir() {
    std::string pattern = "/tmp/kitsetup-files-XXXXXX";
    if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
  }
  ~ScratchDir() {
    std::error_code ignored;
    // Tests may leave read-only directories behind; open them up first.
    for (auto it = fs::recursive_directory_iterator(path_, ignored);
         it != fs::recursive_directory_iterator(); it.increment(ignored)) {
      if (it->is_directory(ignored) && !it->is_symlink(ignored)) chmod(it->path().c_str(), 0700);
    }
    fs::remove_all(path_, ignored);
  }
  const std::string& path() const { return path_; }
  std::string At(const std::string& relative) const { return path_ + "/" + relative; }

 private:
  std::string path_;
};

inline void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << bytes;
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream all;
  all << in.rdbuf();
  return all.str();
}

inline kitsetup::TextString Text(const std::string& ascii) {
  const std::u16string units(ascii.begin(), ascii.end());
  return kitsetup::TextString(units.data(), units.size());
}

inline std::string Ascii(const kitsetup::TextString& text) {
  std::string out;
  for (size_t i = 0; i < text.length(); ++i) out.push_back(static_cast<char>(text[i]));
  return out;
}

// Sets or unsets one environment variable for the life of the object.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    const char* old = getenv(name);
    had_ = old != nullptr;
    if (had_) old_ = old;
    if (value != nullptr) {
      setenv(name, value, 1);
    } else {
      unsetenv(name);
    }
  }
  ~ScopedEnv() {
    if (had_) {
      setenv(name_.c_str(), old_.c_str(), 1);
    } else {
      unsetenv(name_.c_str());
    }
  }

 private:
  std::string name_;
  std::string old_;
  bool had_ = false;
};

}  // namespace kitsetup_test

#endif
