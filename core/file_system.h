// core/file_system.h: file-system operations on TextString paths. Creating,
// moving and removing are defined by the shell commands named at each
// function, where 'P' (and 'S', 'D') is the path as one literal shell word
// (ShellQuotedPath in core/shell.h: single quotes, each ' as '\'', and "./"
// before a path that begins with "-"), so that a "$", "`", '"', "\", "'",
// blank or line break in the user's folders names the same file for the
// command as for a system call. Where a direct system call has the same
// effect and result in every case, a fast path uses it and falls back to the
// command wherever it cannot decide. Commands run through run_shell, which
// leaves the caller's signal handling alone while they run.
#ifndef KITSETUP_CORE_FILE_SYSTEM_H
#define KITSETUP_CORE_FILE_SYSTEM_H

#include <cstdint>

#include "core/text_string.h"

namespace kitsetup {

// TMPDIR when it names a directory, else "/var/tmp/"; always ends in "/".
// Always returns 0.
uint32_t GetTempDirectory(TextString& out);

// Makes a uniquely named empty file in `directory` (not in TMPDIR) whose name
// starts with `prefix`: `touch 'P' 2>/dev/null`. `out` receives the path
// whatever the outcome. 0, or 1013 when the command failed.
uint32_t CreateTempFile(const TextString& directory, const TextString& prefix, TextString& out);

// `mkdir -p 'P' 2>/dev/null`: 0; 2 when the command failed; 87 when no shell ran.
uint32_t MakeDirectories(const TextString& path);

// `rm -rf 'P' 2>/dev/null`. Always 0.
uint32_t RemoveTree(const TextString& path);

// `mv 'S' 'D' 2>/dev/null`: 2 only for exit status 1 (a missing source
// gives that); 87 when no shell ran; every other status counts as 0.
uint32_t MoveFile(const TextString& source, const TextString& destination);

// `rm -f 'P'` (standard error kept). Always 0.
uint32_t RemoveFile(const TextString& path);

// run_shell of the command; the result is ignored.
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
