// install/durability.cpp: the part of flushing that is the same everywhere.
#include <sys/stat.h>

#include "core/encoding.h"
#include "install/durability.h"

namespace kitsetup {

std::string ExistingLevel(const TextString& directory) {
  std::string level = ToLocaleBytes(directory).c_str();
  while (level.size() > 1 && level.back() == '/') level.pop_back();
  for (;;) {
    struct stat info {};
    if (stat(level.c_str(), &info) == 0) return level;
    const size_t slash = level.rfind('/');
    if (slash == std::string::npos) return ".";
    level = slash == 0 ? "/" : level.substr(0, slash);
  }
}

}  // namespace kitsetup
