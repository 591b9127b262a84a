// The executable's own path on macOS, from the process information service.
#include <libproc.h>
#include <unistd.h>

#include <cstring>

#include "app/kit_location.h"

namespace kitsetup {

ByteString ExecutablePath() {
  // PROC_PIDPATHINFO_MAXSIZE is the largest buffer the call accepts.
  char buffer[PROC_PIDPATHINFO_MAXSIZE] = {};
  const int n = proc_pidpath(getpid(), buffer, sizeof buffer);
  if (n <= 0) return ByteString();  // 0 (errno set) on failure
  return ByteString(buffer, strnlen(buffer, sizeof buffer));
}

}  // namespace kitsetup
