// install/stat_times_mac.cpp: st_atimespec and st_mtimespec.
#include "install/stat_times.h"

namespace kitsetup {

void StatTimes(const struct stat& info, struct timespec times[2]) {
  times[0] = info.st_atimespec;
  times[1] = info.st_mtimespec;
}

}  // namespace kitsetup
