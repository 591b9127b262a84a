// core/encoding.h: the only bridges between TextString (UTF-16) and the
// locale's bytes (UTF-8 in practice). Every conversion goes through libc's
// wide-character functions inside a locale bracket: setlocale(LC_ALL, "")
// before, the previous setting restored after. Conversion failures are silent:
// the result is shortened or empty.
#ifndef KITSETUP_CORE_ENCODING_H
#define KITSETUP_CORE_ENCODING_H

#include <cstddef>

#include "core/text_string.h"

namespace kitsetup {

// Each UTF-16 unit becomes one wide character (surrogates are not combined).
// An unconvertible character gives an empty or truncated result.
ByteString ToLocaleBytes(const TextString& text);

// Each wide character becomes one unit, narrowed to its low 16 bits.
TextString FromLocaleBytes(const char* bytes, size_t count);
TextString FromLocaleBytes(const ByteString& bytes);

// The index of the first unit of `text` that does not come back unchanged
// from ToLocaleBytes then FromLocaleBytes (a lone surrogate, a character
// above U+FFFF, anything the locale cannot represent); TextString::npos when
// the whole text survives. A path that fails here would name another file.
size_t LocaleBytesLoss(const TextString& text);

// ToLocaleBytes of `text` into `bytes`; false when the bytes do not convert
// back to the same text (then they name, or say, something else).
bool ToLocaleBytesExactly(const TextString& text, ByteString& bytes);

// Writes at most max_units units to out; returns the number of wide
// characters the input holds (possibly more than were written). With
// max_units 0 it only measures. Invalid input never makes it allocate more
// than the input's size warrants; it then returns 0.
int locale_to_units(const char* src, size_t len, char16_t* out, size_t max_units);

// strcasecmp of both texts in locale bytes: negative, zero or positive.
int compare_nocase(const TextString& a, const TextString& b);

}  // namespace kitsetup

#endif
