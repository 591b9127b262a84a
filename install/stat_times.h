// install/stat_times.h: a file's access and modification times to the
// nanosecond, as futimens takes them. struct stat names them differently on
// each platform, so each has its file.
#ifndef KITSETUP_INSTALL_STAT_TIMES_H
#define KITSETUP_INSTALL_STAT_TIMES_H

#include <sys/stat.h>
#include <time.h>

namespace kitsetup {

// times[0] the access time, times[1] the modification time.
void StatTimes(const struct stat& info, struct timespec times[2]);

}  // namespace kitsetup

#endif
