// core/utf8.h: UTF-8 that does not depend on the locale, for text that
// scripts read (the event log, kittool's listings and JSON). Everything that
// reaches libc as a path or command still goes through the locale
// conversions of core/encoding.h.
#ifndef KITSETUP_CORE_UTF8_H
#define KITSETUP_CORE_UTF8_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "core/text_string.h"

namespace kitsetup {

// The code point at `i`, advancing `i` past it (and past a surrogate pair);
// -1 for a lone surrogate, which is passed over.
int32_t NextCodePoint(const TextString& text, size_t& i);

void AppendUtf8(std::string& out, uint32_t code_point);

// The whole text; a lone surrogate becomes U+FFFD.
std::string Utf8(const TextString& text);

}  // namespace kitsetup

#endif
