// launcher/config_encoding.h: how a launcher configuration file tells its
// encoding. A Windows-side launcher writes UTF-16LE behind the byte-order mark
// FF FE; everything else is the locale's multibyte text (UTF-8 in practice).
//
// The reader opens the file with the mode "rt, ccs=UNICODE", which asks libc
// to consume the mark and deliver UTF-16. Neither glibc nor macOS's libc
// understands that suffix (glibc looks for ",ccs=" without a blank), so the
// mark is looked for here by hand; a libc that did consume it is still
// recognised by the stream position it leaves behind.
#ifndef KITSETUP_LAUNCHER_CONFIG_ENCODING_H
#define KITSETUP_LAUNCHER_CONFIG_ENCODING_H

#include <cstddef>
#include <cstdio>

#include "core/text_string.h"

namespace kitsetup {

enum class ConfigTextKind { kLocaleBytes, kUtf16 };

// Decides how to read `stream`, which was just opened. kUtf16 when libc has
// already moved past a mark (a non-zero ftell) or when the first two bytes
// are FF FE, which are then skipped; otherwise the stream is put back at its
// start and kLocaleBytes is returned (also for an empty or one-byte file).
ConfigTextKind DetectConfigTextKind(FILE* stream);

// Turns `unit_count` little-endian 16-bit units in `bytes` into `out`.
void DecodeUtf16Le(const unsigned char* bytes, size_t unit_count, char16_t* out);

// The writer's look at an existing file: false when two bytes could be read
// and they are not the mark; true otherwise (a mark, or a file too short or
// unreadable to tell). The answer does not change how the file is written.
bool ConfigFileStartsAsUtf16(const TextString& path);

}  // namespace kitsetup

#endif  // KITSETUP_LAUNCHER_CONFIG_ENCODING_H
