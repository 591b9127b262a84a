// core/file_system.h: file-system operations on TextString paths. Creating,
// moving and removing are defined by the shell commands named at each
// function; each path is put between double quotes and nothing is escaped, so
// callers pass only names they built (kits with shell characters in names are
// refused by the kit loader). Where a direct system call has the same effect
// and result in every case, a fast path uses it and falls back to the command
// wherever it cannot decide.
#ifndef KITSETUP_CORE_FILE_SYSTEM_H
#define KITSETUP_CORE_FILE_SYSTEM_H

#include <cstdint>

#include "core/text_string.h"

namespace kitsetup {

// TMPDIR when it names a directory, else "/var/tmp/"; always ends in "/".
// Always returns 0.
uint32_t GetTempDirectory(TextString& out);

// Makes a uniquely named empty file in `directory` (not in TMPDIR) whose name
// starts with `prefix`: `touch "P" 2>/dev/null`. `out` receives the path
// whatever the outcome. 0, or 1013 when the command failed.
uint32_t CreateTempFile(const TextString& directory, const TextString& prefix, TextString& out);

// `mkdir -p "P" 2>/dev/null`: 0; 2 when the command failed; 87 when no shell ran.
uint32_t MakeDirectories(const TextString& path);

// `rm -rf "P" 2>/dev/null`. Always 0.
uint32_t RemoveTree(const TextString& path);

// `mv "S" "D" 2>/dev/null`: 2 only for exit status 1 (a missing source
// gives that); 87 when no shell ran; every other status counts as 0.
uint32_t MoveFile(const TextString& source, const TextString& destination);

// `rm -f "P"` (standard error kept). Always 0.
uint32_t RemoveFile(const TextString& path);

// system() of the command; the result is ignored.
void RunCommand(const ByteString& command);

// The first output line of the command through popen, its last byte cut.
TextString ReadCommandLine(const TextString& command);

// Fast paths are on by default; tests and benchmarks turn them off to run
// the shell commands alone. KITSETUP_NO_FAST_PATHS=1 in the environment
// turns them off at start.
void SetFastPathsEnabled(bool enabled);
bool FastPathsEnabled();

}  // namespace kitsetup

#endif
