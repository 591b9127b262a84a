// install/safe_move.h: moving a user's file between the template directory
// and the backup directory so that it never exists only in part. On one
// volume that is a rename. Across volumes the file is copied whole (bytes,
// mode, times to the nanosecond), flushed, and renamed into its final name
// before the source goes; a copy that fails leaves the source as it was and
// no partial file behind.
#ifndef KITSETUP_INSTALL_SAFE_MOVE_H
#define KITSETUP_INSTALL_SAFE_MOVE_H

#include <cstdint>

#include "core/text_string.h"

namespace kitsetup {

// Moves `from` to `to`, replacing a file at `to`. 0; 2 when nothing is at
// `from`; 87 when it could not be moved whole (then `from` is untouched and
// nothing of the attempt is left at `to`). With the fast paths off the
// move is `mv`'s, its result checked the same way.
uint32_t MoveWhole(const TextString& from, const TextString& to);

}  // namespace kitsetup

#endif
