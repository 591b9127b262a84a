// install/stat_times_linux.cpp: st_atim and st_mtim.
#include "install/stat_times.h"

namespace kitsetup {

void StatTimes(const struct stat& info, struct timespec times[2]) {
  times[0] = info.st_atim;
  times[1] = info.st_mtim;
}

}  // namespace kitsetup
