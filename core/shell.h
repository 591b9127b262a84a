// core/shell.h: handing text to libc: fopen of a TextString path, shell
// commands and popen() of a TextString command, and the one way a path is
// written into a command.
#ifndef KITSETUP_CORE_SHELL_H
#define KITSETUP_CORE_SHELL_H

#include <cstdio>

#include "core/text_string.h"

namespace kitsetup {

// fopen with both path and mode converted by ToLocaleBytes and passed as they
// are (a mode such as "rt, ccs=UNICODE" reaches fopen unchanged). Null on
// failure; the caller closes the stream.
FILE* fopen_text(const TextString& path, const TextString& mode);

// `path` as one shell word that the shell takes literally: between single
// quotes, each ' written as '\''. A path that begins with "-" gets "./" in
// front, so that no command reads it as an option; it names the same file.
// Every path that goes into a command goes through here.
ByteString ShellQuotedPath(const ByteString& path);

// Runs `/bin/sh -c command` and waits for it. Returns the status word that
// system() would (the exit status in bits 8 to 15, a terminating signal in
// the low bits), or -1 when no shell could be started or its status was lost
// (reaped by someone else). Unlike system(), the caller keeps its SIGINT and
// SIGQUIT handling while the command runs, so a Ctrl-C is not lost.
int run_shell(const TextString& command);
int run_shell(const ByteString& command);

// popen(command, "r"), one fgets into a 255-byte buffer, pclose. The empty
// string when popen fails or nothing was read.
TextString read_command_output(const TextString& command);

}  // namespace kitsetup

#endif
