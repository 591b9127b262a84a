#include <gtest/gtest.h>

#include <string>

#include "core/message_texts.h"
#include "core/messages.h"
#include "support/test_support.h"

namespace kitsetup {
namespace {

using testsupport::U16;

// Every language has every key, translated, well formed and back whole
// through the locale; no lookup falls back to another language or the key.
TEST(Messages, EveryLanguageHasEveryKeyAndNothingFallsBack) {
  testsupport::ScopedEnv lc_all("LC_ALL", "C.UTF-8");
  const LanguageId old_language = CurrentLanguage();
  const LanguageBlock* blocks = LanguageBlocks();
  const LanguageBlock &ru = blocks[0], &en = blocks[2];
  for (size_t b = 0; b < kLanguageCount; ++b) {
    const LanguageBlock& block = blocks[b];
    SCOPED_TRACE(block.code);
    EXPECT_EQ(LanguageFromCode(ByteString(block.code)), block.id);
    EXPECT_STREQ(LanguageCode(block.id), block.code);
    SetCurrentLanguage(block.id);
    for (size_t i = 0; i < kMessageCount; ++i) {
      const std::string key = ru.texts[i].key;
      ASSERT_STREQ(block.texts[i].key, key.c_str());
      ASSERT_NE(block.texts[i].text, nullptr) << key;
      const std::string got = block.texts[i].text;
      SCOPED_TRACE(key + ": " + got);
      // No malformed byte (U+FFFD here) and nothing beyond the BMP.
      const std::u16string units = U16(got);
      ASSERT_FALSE(units.empty());
      for (char16_t u : units) EXPECT_TRUE(u != 0xFFFD && (u < 0xD800 || u >= 0xE000));
      EXPECT_EQ(U16(LookupMessage(key.c_str())), units);
      // A block pasted from Russian or English and left untranslated.
      if (&block != &ru && &block != &en && got.size() >= 20) {
        EXPECT_NE(got, ru.texts[i].text);
        EXPECT_NE(got, en.texts[i].text);
      }
    }
  }
  for (const char* unknown : {"EN", "", "eng", "en "}) EXPECT_EQ(LanguageFromCode(ByteString(unknown)), 0);
  EXPECT_EQ(LanguageFromCode(ByteString("en\0", 3)), 0) << "the length counts";

  // Under a language (the loop's last) unknown keys find nothing.
  for (const char* key : {"IDS_NOSUCHKEY", "", "ids_wizard_back", "IDS_WIZARD_BACK ", "IDS_WIZARD"})
    EXPECT_TRUE(LookupMessage(key).empty()) << '"' << key << '"';
  for (LanguageId unset : {0, 13, -1}) {
    SetCurrentLanguage(unset);
    EXPECT_TRUE(LookupMessage("IDS_WIZARD_BACK").empty()) << unset;
  }
  SetCurrentLanguage(old_language);
}

}  // namespace
}  // namespace kitsetup
