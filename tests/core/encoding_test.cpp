// The locale conversions under real locales (C.UTF-8 and C).
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

TEST(Encoding, RoundTripsCountsAndInvalidInput) {
  testsupport::ScopedEnv lc_all("LC_ALL", "C.UTF-8");
  for (const std::u16string sample : {u"/Users/a/Шаблоны конфигураций", u"კონფიგურაციის შაბლონები",
                                      u"Mẫu cấu hình Tiếng Việt"}) {
    const std::string utf8 = testsupport::Utf8(Text(sample));
    EXPECT_EQ(Bytes(ToLocaleBytes(Text(sample))), utf8);
    // An exactly sized buffer: a read past the count is an ASan error.
    const std::vector<char> exact(utf8.begin(), utf8.end());
    EXPECT_EQ(U16(FromLocaleBytes(exact.data(), exact.size())), sample);
  }
  EXPECT_TRUE(ToLocaleBytes(TextString()).empty());

  // U+1F600 comes back as its low 16 bits; the count covers all characters.
  const std::string emoji = "a\xF0\x9F\x98\x80z";
  std::vector<char16_t> out(4, u'#');
  EXPECT_EQ(locale_to_units(emoji.data(), emoji.size(), out.data(), 2), 3);
  EXPECT_EQ(std::u16string(out.data(), 4), u"a\xF600##");
  // Invalid bytes, or a count ending inside a character, convert nothing.
  for (const std::string bad : {"\xFF\xFE", "prefix \xC3", "\xED\xA0\x80", u8"Тб"}) {
    const size_t len = bad == u8"Тб" ? 3 : bad.size();
    EXPECT_EQ(locale_to_units(bad.data(), len, out.data(), out.size()), 0) << bad;
    EXPECT_TRUE(FromLocaleBytes(bad.data(), len).empty());
  }
  // What the locale cannot carry stops the bytes, and the loss check names where.
  EXPECT_EQ(Bytes(ToLocaleBytes(Text(u"ab\xD83D" u"cd"))), "ab");
  EXPECT_EQ(LocaleBytesLoss(Text(u"ab\xD83D" u"cd")), 2u);
  EXPECT_EQ(LocaleBytesLoss(Text(u"Шаблоны")), TextString::npos);
  setenv("LC_ALL", "C", 1);
  EXPECT_EQ(Bytes(ToLocaleBytes(Text(u"dir/Шаблоны"))), "dir/");
  EXPECT_EQ(LocaleBytesLoss(Text(u"dir/Шаблоны")), 4u);
}

// Copies of one string taken, detached, converted and dropped on two threads.
TEST(Encoding, ConversionsAndSharedCopiesOnTwoThreads) {
  testsupport::ScopedEnv lc_all("LC_ALL", "C.UTF-8");
  const std::u16string text = u"/home/пользователь/.mivo/ვიეტ/Việt";
  const TextString shared = Text(text);
  auto work = [&](int id) {
    for (int i = 0; i < 20000; ++i) {
      TextString a = shared;
      TextString b;
      b = a;
      if (i % 64 == id) b.push_back(u'!');
      if (i % 10 == id && U16(FromLocaleBytes(ToLocaleBytes(a))) != text) std::abort();
      if (b.length() < text.size()) std::abort();
    }
  };
  std::thread other(work, 1);
  work(0);
  other.join();
  EXPECT_EQ(shared.use_count(), 1u);
  EXPECT_EQ(U16(shared), text);
}

}  // namespace
}  // namespace kitsetup
