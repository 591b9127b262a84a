// core/messages.cpp: the message table, built from core/message_texts.cpp
// before main and only read afterwards.
#include "core/messages.h"

#include <atomic>
#include <map>

#include "core/encoding.h"
#include "core/message_texts.h"

namespace kitsetup {
namespace {

using MessageMap = std::map<ByteString, ByteString>;  // key -> UTF-8 text

struct LanguageEntry {
  ByteString code;
  MessageMap messages;
};

using LanguageTable = std::map<LanguageId, LanguageEntry>;

LanguageTable BuildTable() {
  LanguageTable table;
  const LanguageBlock* blocks = LanguageBlocks();
  for (size_t b = 0; b < kLanguageCount; ++b) {
    MessageMap messages;
    for (size_t i = 0; i < kMessageCount; ++i)
      messages.emplace(ByteString(blocks[b].texts[i].key), ByteString(blocks[b].texts[i].text));
    table.emplace(blocks[b].id, LanguageEntry{ByteString(blocks[b].code), std::move(messages)});
  }
  return table;
}

// Built on first use, so a caller in another unit's static initialiser still
// finds a complete table; kBuiltBeforeMain makes sure the first use happens
// before main, while the program is still single-threaded. The table is
// destroyed at exit with the other statics.
const LanguageTable& Table() {
  static const LanguageTable table = BuildTable();
  return table;
}

[[maybe_unused]] const bool kBuiltBeforeMain = (Table(), true);

// Set on the main thread at start-up; the install worker reads it when it
// posts its texts, hence atomic.
std::atomic<LanguageId> g_current{0};

}  // namespace

TextString LookupMessage(const ByteString& key) {
  const LanguageTable& table = Table();
  auto language = table.find(g_current.load(std::memory_order_relaxed));
  if (language == table.end()) return TextString();
  auto message = language->second.messages.find(key);
  if (message == language->second.messages.end()) return TextString();
  return FromLocaleBytes(message->second);
}

TextString LookupMessage(const char* key) {
  return LookupMessage(ByteString(key ? key : ""));
}

LanguageId LanguageFromCode(const ByteString& code) {
  for (const auto& [id, entry] : Table()) {  // ascending id
    if (entry.code == code) return id;
  }
  return 0;
}

void SetCurrentLanguage(LanguageId id) { g_current.store(id, std::memory_order_relaxed); }

LanguageId CurrentLanguage() { return g_current.load(std::memory_order_relaxed); }

const char* LanguageCode(LanguageId id) {
  const LanguageTable& table = Table();
  auto language = table.find(id);
  return language == table.end() ? "" : language->second.code.c_str();
}

}  // namespace kitsetup
