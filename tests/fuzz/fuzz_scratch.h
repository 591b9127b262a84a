// tests/fuzz/fuzz_scratch.h: the scratch directory a fuzz target writes its
// input into. It is also the process's TMPDIR, so staging files land where
// they can be counted, and it goes away with the process.
#ifndef KITSETUP_TESTS_FUZZ_FUZZ_SCRATCH_H
#define KITSETUP_TESTS_FUZZ_FUZZ_SCRATCH_H

#include <cstdint>
#include <cstdlib>
#include <string>

#include "support/test_support.h"

namespace fuzzscratch {

inline const std::string& Dir() {
  static const testsupport::ScratchDir dir;
  static const bool ready = !dir.path().empty() && setenv("TMPDIR", dir.path().c_str(), 1) == 0;
  if (!ready) std::abort();
  return dir.path();
}

// Writes the input as the file `name` in the scratch directory; its path.
inline std::string WriteInput(const char* name, const uint8_t* data, size_t size) {
  const std::string path = Dir() + "/" + name;
  testsupport::WriteFile(path, std::string(reinterpret_cast<const char*>(data), size));
  return path;
}

// Staging files ("edf...") left in the scratch directory.
inline size_t StagingFiles() {
  size_t n = 0;
  for (const std::string& name : testsupport::ListNames(Dir())) n += name.rfind("edf", 0) == 0;
  return n;
}

}  // namespace fuzzscratch

#endif
