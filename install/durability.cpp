// install/durability.cpp: the part of flushing that is the same everywhere.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "core/encoding.h"
#include "install/durability.h"

namespace kitsetup {

bool WriteFully(int fd, const char* data, size_t size) {
  while (size > 0) {
    const ssize_t n = write(fd, data, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

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
