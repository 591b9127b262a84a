#include "app/kit_location.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "core/encoding.h"

namespace kitsetup {
namespace {

constexpr char kBundleTail[] = ".app/Contents/MacOS";
constexpr size_t kBundleTailLength = sizeof kBundleTail - 1;  // 19

// The directory that holds the kit: the bundle's parent, or the executable's
// own directory, or the whole path when it has no "/".
ByteString KitDirectory(const ByteString& path) {
  const char* p = path.c_str();
  const size_t n = path.length();
  size_t from = n == 0 ? 0 : n - 1;  // "not found" searches from the end
  if (n >= kBundleTailLength) {
    for (size_t i = n - kBundleTailLength + 1; i-- > 0;) {
      if (std::memcmp(p + i, kBundleTail, kBundleTailLength) == 0) {
        from = i;
        break;
      }
    }
  }
  for (size_t i = from + 1; n != 0 && i-- > 0;) {
    if (p[i] == '/') return path.substr(0, i);
  }
  return path;
}

}  // namespace

TextString LocateKitFile(bool useCwd, const ByteString& executablePath, const ByteString& cwd) {
  ByteString directory;
  if (useCwd) {
    if (cwd.empty()) return TextString();
    directory = cwd;
  } else {
    if (executablePath.empty()) return TextString();
    directory = KitDirectory(executablePath);
  }
  return FromLocaleBytes(directory + kKitFileName);
}

TextString LocateKitFile(bool useCwd) {
  // Each is asked for only when it is used, as the rule needs one or the other.
  return useCwd ? LocateKitFile(true, ByteString(), CurrentDirectory())
                : LocateKitFile(false, ExecutablePath(), ByteString());
}

ByteString CurrentDirectory() {
  char* cwd = getcwd(nullptr, 0);
  if (cwd == nullptr) return ByteString();
  ByteString result(cwd);
  std::free(cwd);
  return result;
}

}  // namespace kitsetup
