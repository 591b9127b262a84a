// tests/kit/kit_test_support.h: a private TMPDIR and hand-made kit bytes
// for the kit tests. The byte helpers are written here again on purpose, so
// that the parser is checked against bytes the writer did not make.
#ifndef KITSETUP_TESTS_KIT_KIT_TEST_SUPPORT_H
#define KITSETUP_TESTS_KIT_KIT_TEST_SUPPORT_H

#include <cstdint>
#include <string>
#include <vector>

#include "support/test_support.h"

namespace kittest {

// Points TMPDIR at a directory of its own for the test's lifetime, so that
// staging files can be counted.
class ScopedTmpdir {
 public:
  const std::string& path() const { return dir_.path(); }

  // The size of the staging file that process `pid` holds open in this
  // directory (named or not), from /proc; -1 when it holds none.
  int64_t OpenStagingBytes(pid_t pid) const {
    const std::string fds = "/proc/" + std::to_string(pid) + "/fd";
    const std::string prefix = path() + "/edf";
    for (const std::string& fd : testsupport::ListNames(fds)) {
      char target[4096];
      const ssize_t n = readlink((fds + "/" + fd).c_str(), target, sizeof target);
      struct stat info;
      if (n > 0 && std::string(target, size_t(n)).rfind(prefix, 0) == 0 && stat((fds + "/" + fd).c_str(), &info) == 0)
        return info.st_size;
    }
    return -1;
  }

  // Names in the directory that start with "edf".
  std::vector<std::string> StagingFiles() const {
    std::vector<std::string> names;
    for (const std::string& name : testsupport::ListNames(path()))
      if (name.rfind("edf", 0) == 0) names.push_back(name);
    return names;
  }

 private:
  testsupport::ScratchDir dir_;
  testsupport::ScopedEnv env_{"TMPDIR", dir_.path().c_str()};
};

// Little-endian pieces of an unpacked kit.
struct Bytes {
  std::string b;
  Bytes& u32(uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(static_cast<char>(v >> (8 * i)));
    return *this;
  }
  Bytes& u64(uint64_t v) { return u32(static_cast<uint32_t>(v)).u32(static_cast<uint32_t>(v >> 32)); }
  Bytes& str(const std::u16string& s) {
    u32(static_cast<uint32_t>(s.size()));
    for (char16_t c : s) {
      b.push_back(static_cast<char>(c & 0xFF));
      b.push_back(static_cast<char>(c >> 8));
    }
    return *this;
  }
  Bytes& raw(const std::string& s) {
    b += s;
    return *this;
  }
  Bytes& zeros(size_t n) {
    b.append(n, '\0');
    return *this;
  }
};

// One description record; `spare` bytes of padding at its end.
inline std::string DescriptionRecord(const std::u16string& lang, const std::u16string& product,
                                     const std::u16string& vendor, const std::u16string& file,
                                     size_t spare = 0) {
  Bytes body;
  body.str(lang).str(product).str(vendor).str(file).zeros(spare);
  return Bytes().u32(static_cast<uint32_t>(body.b.size() + 4)).raw(body.b).b;
}

// One entry record; `spare` bytes of padding at its end.
inline std::string EntryRecord(const std::u16string& name, uint64_t time, uint32_t offset, uint32_t size,
                               size_t spare = 0) {
  Bytes body;
  body.str(name).u64(time).u32(offset).u32(size).zeros(spare);
  return Bytes().u32(static_cast<uint32_t>(body.b.size() + 4)).raw(body.b).b;
}

}  // namespace kittest

#endif
