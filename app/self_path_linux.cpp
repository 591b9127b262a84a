// The executable's own path on Linux: the /proc/self/exe link.
#include <unistd.h>

#include "app/kit_location.h"

namespace kitsetup {

ByteString ExecutablePath() {
  char buffer[4096] = {};
  const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (n < 1) return ByteString();
  return ByteString(buffer, static_cast<size_t>(n));
}

}  // namespace kitsetup
