// core/message_texts.h: the localised texts as plain data, one block of
// (key, UTF-8 text) pairs per language. Only core/messages.cpp and the tests
// read it; everyone else goes through core/messages.h.
//
// The data is constant-initialised (string literals and their addresses), so
// it is complete before any dynamic initialiser of any translation unit runs
// and the message table may be built from it during static initialisation.
#ifndef KITSETUP_CORE_MESSAGE_TEXTS_H
#define KITSETUP_CORE_MESSAGE_TEXTS_H

#include <cstddef>

#include "core/messages.h"

namespace kitsetup {

struct MessageText {
  const char* key;   // ASCII, "IDS_..." or "IDR_MAINFRAME"
  const char* text;  // UTF-8; never a format string
};

// Every language carries every key, in the same order.
constexpr size_t kMessageCount = 31;
constexpr size_t kLanguageCount = 12;

struct LanguageBlock {
  LanguageId id;
  const char* code;           // two ASCII letters
  const MessageText* texts;   // kMessageCount pairs
};

// The kLanguageCount blocks in the order the table is built (ru, uk, en, lv,
// lt, ro, de, bg, ka, kk, vi, tr); bg, de and ro are numbered 6, 7, 8, the
// reverse of that order. Static storage; never null.
const LanguageBlock* LanguageBlocks();

}  // namespace kitsetup

#endif  // KITSETUP_CORE_MESSAGE_TEXTS_H
