// kit/staging_file.h: the life of a staging file "edf..." in the temporary
// directory. The process that unpacks a kit holds an flock on its staging
// file for as long as it uses it; the lock goes with the process. A staging
// file that nobody holds was therefore left by a process that ended without
// removing it (killed, crashed, power lost), and recovery may remove it.
#ifndef KITSETUP_KIT_STAGING_FILE_H
#define KITSETUP_KIT_STAGING_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "core/text_string.h"
#include "kit/file_handle.h"

namespace kitsetup {

// Takes the lock on the open staging file. 0; 87 when the file system
// refuses locks (the file then simply stays unprotected from nothing: only
// recovery looks at the lock, and it removes only files it could lock).
uint32_t HoldStagingFile(FileHandle handle);

// The start of every staging file's name in the temporary directory.
constexpr char16_t kStagingPrefix[] = u"edf";

// True when `name` (a directory entry) starts like a staging file's.
bool IsStagingFileName(const char* name);

// Removes the staging file at `path` when it is a regular file that no
// process holds. True when it was removed.
bool RemoveIfAbandonedStagingFile(const std::string& path);

}  // namespace kitsetup

#endif
