// core/messages.h: the localised message table. Twelve languages, each with
// the same 31 IDS_/IDR_ keys; a lookup consults only the current language.
// It lives in core because the install worker and the interface both post
// localised texts, and neither may depend on the other.
#ifndef KITSETUP_CORE_MESSAGES_H
#define KITSETUP_CORE_MESSAGES_H

#include <cstdint>

#include "core/text_string.h"

namespace kitsetup {

using LanguageId = int32_t;  // ru 1, uk 2, en 3, lv 4, lt 5, bg 6, de 7, ro 8, ka 9, kk 10, vi 11, tr 12

// The text of key in the current language; empty when no language is set or
// the key is unknown (no fallback to another language or to the key).
TextString LookupMessage(const ByteString& key);
TextString LookupMessage(const char* key);

// Exact, case-sensitive match against the two-letter codes; 0 when unknown.
LanguageId LanguageFromCode(const ByteString& code);

void SetCurrentLanguage(LanguageId id);
LanguageId CurrentLanguage();

// The two-letter code of id, or "" when id is not in the table.
const char* LanguageCode(LanguageId id);

}  // namespace kitsetup

#endif
