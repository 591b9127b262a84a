// Tests of the locale conversions under real locales (C.UTF-8 and C).
#include "core/encoding.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "support/test_support.h"

namespace kitsetup {
namespace {

using testsupport::Text;
using testsupport::U16;

std::string Bytes(const ByteString& s) { return std::string(s.c_str(), s.length()); }

// Runs each test under LC_ALL=C.UTF-8 and puts the old value back after it.
class Utf8Locale : public ::testing::Test {
  testsupport::ScopedEnv lc_all_{"LC_ALL", "C.UTF-8"};
};
using EncodingRoundTrip = Utf8Locale;
using EncodingThreadSafety = Utf8Locale;

TEST_F(EncodingRoundTrip, CyrillicGeorgianVietnameseAndEmpty) {
  const std::pair<std::u16string, std::string> samples[] = {
      {u"/Users/a/Шаблоны конфигураций", u8"/Users/a/Шаблоны конфигураций"},
      {u"კონფიგურაციის შაბლონები", u8"კონფიგურაციის შაბლონები"},
      {u"Mẫu cấu hình Tiếng Việt", u8"Mẫu cấu hình Tiếng Việt"}};
  for (const auto& sample : samples) {
    EXPECT_EQ(Bytes(ToLocaleBytes(Text(sample.first))), sample.second);
    // An exactly sized buffer: a read past the count is an ASan error.
    const std::vector<char> exact(sample.second.begin(), sample.second.end());
    EXPECT_EQ(U16(FromLocaleBytes(exact.data(), exact.size())), sample.first);
  }
  EXPECT_TRUE(ToLocaleBytes(TextString()).empty());
  EXPECT_TRUE(FromLocaleBytes(ByteString()).empty());
  EXPECT_EQ(compare_nocase(TextString(u"ConfigurationTemplatesLocation"),
                           TextString(u"configurationtemplateslocation")), 0);
  EXPECT_LT(compare_nocase(TextString(u"key"), TextString(u"KEYS")), 0);
  EXPECT_GT(compare_nocase(TextString(u"Gamma"), TextString(u"beta")), 0);
}

TEST_F(EncodingRoundTrip, CountsTruncationAndInvalidInput) {
  // U+1F600 is one wide character and comes back as its low 16 bits; the
  // count covers all characters even when fewer units fit.
  const std::string emoji = "a\xF0\x9F\x98\x80z";
  std::vector<char16_t> out(4, u'#');
  EXPECT_EQ(locale_to_units(emoji.data(), emoji.size(), out.data(), 2), 3);
  EXPECT_EQ(std::u16string(out.data(), 4), u"a\xF600##");
  EXPECT_EQ(locale_to_units(emoji.data(), emoji.size(), nullptr, 0), 3);
  // Invalid bytes, or a count ending inside a character, convert nothing.
  for (const std::string bad : {"\xFF\xFE", "prefix \xC3", "\xED\xA0\x80", u8"Тб"}) {
    const size_t len = bad == u8"Тб" ? 3 : bad.size();
    EXPECT_EQ(locale_to_units(bad.data(), len, out.data(), out.size()), 0) << bad;
    EXPECT_TRUE(FromLocaleBytes(bad.data(), len).empty());
  }
  // A lone surrogate has no UTF-8 form: the bytes stop in front of it.
  EXPECT_EQ(Bytes(ToLocaleBytes(Text(u"ab\xD83D" u"cd"))), "ab");
  setenv("LC_ALL", "C", 1);  // only ASCII converts in the C locale
  EXPECT_EQ(Bytes(ToLocaleBytes(Text(u"dir/Шаблоны"))), "dir/");
}

TEST_F(EncodingThreadSafety, ConversionsOnTwoThreadsAgree) {
  const std::u16string text = u"/home/пользователь/.mivo/ვიეტ/Việt";
  auto work = [&text] {
    for (int i = 0; i < 2000; ++i) {
      if (U16(FromLocaleBytes(ToLocaleBytes(Text(text)))) != text) std::abort();
    }
  };
  std::thread other(work);
  work();
  other.join();
}

}  // namespace
}  // namespace kitsetup
