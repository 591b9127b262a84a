// Tests of the locale conversions under real locales (C.UTF-8 and C).
#include "core/encoding.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace kitsetup {
namespace {

std::u16string Units(const TextString& s) { return std::u16string(s.c_str(), s.length()); }
std::string Bytes(const ByteString& s) { return std::string(s.c_str(), s.length()); }
TextString Text(const std::u16string& s) { return TextString(s.data(), s.size()); }

// Sets LC_ALL for one test and puts the previous value back afterwards.
class LocaleEnvironment : public ::testing::Test {
 protected:
  void UseLocale(const char* name) { setenv("LC_ALL", name, 1); }
  void SetUp() override {
    const char* old = getenv("LC_ALL");
    had_ = old != nullptr;
    if (had_) old_ = old;
    UseLocale("C.UTF-8");
  }
  void TearDown() override {
    if (had_) {
      setenv("LC_ALL", old_.c_str(), 1);
    } else {
      unsetenv("LC_ALL");
    }
  }

 private:
  bool had_ = false;
  std::string old_;
};

using EncodingRoundTrip = LocaleEnvironment;
using EncodingFailures = LocaleEnvironment;
using EncodingCompare = LocaleEnvironment;
using EncodingThreadSafety = LocaleEnvironment;

TEST_F(EncodingRoundTrip, CyrillicGeorgianVietnameseSurviveAsUtf8) {
  const std::pair<std::u16string, std::string> samples[] = {
      {u"/Users/a/Шаблоны конфигураций", u8"/Users/a/Шаблоны конфигураций"},
      {u"კონფიგურაციის შაბლონები", u8"კონფიგურაციის შაბლონები"},
      {u"Mẫu cấu hình Tiếng Việt", u8"Mẫu cấu hình Tiếng Việt"},
      {u"Ї", u8"Ї"},
      {u"plain ascii path/with spaces", "plain ascii path/with spaces"},
  };
  for (const auto& sample : samples) {
    const ByteString bytes = ToLocaleBytes(Text(sample.first));
    EXPECT_EQ(Bytes(bytes), sample.second);
    EXPECT_EQ(Units(FromLocaleBytes(bytes)), sample.first);
    EXPECT_EQ(Units(FromLocaleBytes(sample.second.data(), sample.second.size())), sample.first);
  }
  EXPECT_TRUE(ToLocaleBytes(TextString()).empty());
  EXPECT_TRUE(FromLocaleBytes(ByteString()).empty());
  EXPECT_TRUE(FromLocaleBytes(nullptr, 0).empty());
}

TEST_F(EncodingRoundTrip, UnitsCountAndTruncationAboveTheBasicPlane) {
  // U+1F600 is one wide character; it comes back as its low 16 bits.
  const std::string emoji = "a\xF0\x9F\x98\x80z";
  std::vector<char16_t> out(8, u'#');
  EXPECT_EQ(locale_to_units(emoji.data(), emoji.size(), out.data(), out.size()), 3);
  EXPECT_EQ(std::u16string(out.data(), 4), u"a\xF600z#");

  // Measuring only, and a buffer smaller than the text: the full count is
  // returned, only max_units are written.
  EXPECT_EQ(locale_to_units(emoji.data(), emoji.size(), nullptr, 0), 3);
  std::vector<char16_t> small(3, u'#');
  EXPECT_EQ(locale_to_units(u8"Київ", std::string(u8"Київ").size(), small.data(), 2), 4);
  EXPECT_EQ(std::u16string(small.data(), 3), u"Ки#");
}

TEST_F(EncodingRoundTrip, InputIsReadOnlyUpToItsCount) {
  // Exactly sized heap buffers without a terminator: a read past the count
  // is caught by the address sanitizer.
  const std::string text = u8"Тбилиси-თბილისი";
  std::vector<char> exact(text.begin(), text.end());
  EXPECT_EQ(Units(FromLocaleBytes(exact.data(), exact.size())), u"Тбилиси-თბილისი");
  EXPECT_EQ(Units(FromLocaleBytes(exact.data(), 4)), u"Тб");
  // A count that ends inside a multibyte character is not convertible.
  EXPECT_TRUE(FromLocaleBytes(exact.data(), 3).empty());
}

TEST_F(EncodingFailures, InvalidBytesConvertToNothing) {
  const std::string bad[] = {"\xFF\xFE", "valid prefix \xC3", "\xED\xA0\x80", "ok\x80ok"};
  for (const auto& bytes : bad) {
    SCOPED_TRACE(bytes);
    std::vector<char16_t> out(4, u'#');
    EXPECT_EQ(locale_to_units(bytes.data(), bytes.size(), out.data(), out.size()), 0);
    EXPECT_EQ(std::u16string(out.data(), out.size()), u"####");
    EXPECT_TRUE(FromLocaleBytes(bytes.data(), bytes.size()).empty());
  }
}

TEST_F(EncodingFailures, UnconvertibleTextIsTruncatedAtTheBadUnit) {
  // A lone surrogate half has no UTF-8 form.
  EXPECT_EQ(Bytes(ToLocaleBytes(Text(u"ab\xD83D" u"cd"))), "ab");
  EXPECT_TRUE(ToLocaleBytes(Text(u"\xDE00")).empty());
  // Under the plain C locale only ASCII converts.
  UseLocale("C");
  EXPECT_EQ(Bytes(ToLocaleBytes(Text(u"dir/Шаблоны"))), "dir/");
  EXPECT_EQ(Bytes(ToLocaleBytes(Text(u"dir/plain"))), "dir/plain");
  EXPECT_TRUE(FromLocaleBytes(u8"Ш", 2).empty());
  UseLocale("C.UTF-8");
  EXPECT_EQ(Bytes(ToLocaleBytes(Text(u"dir/Шаблоны"))), u8"dir/Шаблоны");
}

TEST_F(EncodingCompare, CaseInsensitiveOnLocaleBytes) {
  EXPECT_EQ(compare_nocase(TextString(u"ConfigurationTemplatesLocation"),
                           TextString(u"configurationtemplateslocation")),
            0);
  EXPECT_LT(compare_nocase(TextString(u"alpha"), TextString(u"BETA")), 0);
  EXPECT_GT(compare_nocase(TextString(u"Gamma"), TextString(u"beta")), 0);
  EXPECT_LT(compare_nocase(TextString(u"key"), TextString(u"KEYS")), 0);
  EXPECT_EQ(compare_nocase(TextString(u"/Шаблоны/X"), TextString(u"/Шаблоны/x")), 0);
  EXPECT_EQ(compare_nocase(TextString(), TextString()), 0);
}

TEST_F(EncodingThreadSafety, ConversionsOnTwoThreadsAgree) {
  const std::u16string text = u"/home/пользователь/.mivo/Шаблоны/ვიეტ/Việt";
  const TextString source = Text(text);
  auto work = [&] {
    for (int i = 0; i < 2000; ++i) {
      const ByteString bytes = ToLocaleBytes(source);
      if (Units(FromLocaleBytes(bytes)) != text) std::abort();
    }
  };
  std::thread other(work);
  work();
  other.join();
}

}  // namespace
}  // namespace kitsetup
