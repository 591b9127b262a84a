// install/durability.h: getting what a run wrote onto stable storage, in the
// order recovery relies on: a journal record before the change it
// describes, and the run's new files before its backups go. Each platform
// takes its cheapest way there (durability_linux.cpp, durability_mac.cpp).
#ifndef KITSETUP_INSTALL_DURABILITY_H
#define KITSETUP_INSTALL_DURABILITY_H

#include <cstdint>
#include <string>
#include <vector>

#include "core/text_string.h"

namespace kitsetup {

// Writes all `size` bytes to `fd`, again after a signal or a partial write.
// False when a write fails or writes nothing (a full disk).
bool WriteFully(int fd, const char* data, size_t size);

// The file's data and size on disk before anything written after it. 0 or an errno.
int FlushFileData(int fd);

// The directory's entries (a file created or renamed in it) on disk. 0 or an errno.
int FlushDirectory(const char* path);

// `directory` as locale bytes or, when it is gone (a rollback removed the
// template directory it had made), the nearest level above it that exists.
std::string ExistingLevel(const TextString& directory);

// Every file in `files` (written under `directory`), and the entries that
// name them, on disk; `directory` may be gone (see ExistingLevel). Linux flushes the directory's whole file system once;
// macOS flushes each file and then the drive's cache once. 0, or 87.
uint32_t FlushWrittenFiles(const TextString& directory, const std::vector<TextString>& files);

}  // namespace kitsetup

#endif
