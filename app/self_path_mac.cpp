// The executable's own path on macOS, from the process information service.
#include <libproc.h>
#include <unistd.h>

#include <cstring>

#include "app/kit_location.h"

namespace kitsetup {

ByteString ExecutablePath() {
  char buffer[4096] = {};
  const int n = proc_pidpath(getpid(), buffer, sizeof buffer);
  if (n < 1) return ByteString();
  return ByteString(buffer, strnlen(buffer, sizeof buffer));
}

}  // namespace kitsetup
