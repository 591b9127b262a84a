// core/shell.h: handing text to libc: fopen of a TextString path, system()
// and popen() of a TextString command.
#ifndef KITSETUP_CORE_SHELL_H
#define KITSETUP_CORE_SHELL_H

#include <cstdio>

#include "core/text_string.h"

namespace kitsetup {

// fopen with both path and mode converted by ToLocaleBytes and passed as they
// are (a mode such as "rt, ccs=UNICODE" reaches fopen unchanged). Null on
// failure; the caller closes the stream.
FILE* fopen_text(const TextString& path, const TextString& mode);

// system() of the converted command; returns system()'s raw status.
int run_shell(const TextString& command);
int run_shell(const ByteString& command);

// popen(command, "r"), one fgets into a 255-byte buffer, pclose. The empty
// string when popen fails or nothing was read.
TextString read_command_output(const TextString& command);

}  // namespace kitsetup

#endif
